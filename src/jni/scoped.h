// RAII owners of JNI resources and the string copy rule.
#ifndef KELP_JNI_SCOPED_H
#define KELP_JNI_SCOPED_H

#include <jni.h>

#include <string>

namespace kelp {

// The modified-UTF-8 characters of a Java string, released on destruction.
// Thread-compatible: use on the thread that owns |env|.
class ScopedUtfChars final {
 public:
  ScopedUtfChars(JNIEnv* env, jstring s)
      : env_(env), s_(s), chars_(s != nullptr ? env->GetStringUTFChars(s, nullptr) : nullptr) {}
  ~ScopedUtfChars() {
    if (chars_ != nullptr) env_->ReleaseStringUTFChars(s_, chars_);
  }
  ScopedUtfChars(const ScopedUtfChars&) = delete;
  ScopedUtfChars& operator=(const ScopedUtfChars&) = delete;

  // Null when the string was null or its characters could not be obtained.
  const char* c_str() const { return chars_; }

 private:
  JNIEnv* env_;
  jstring s_;
  const char* chars_;
};

// A Java string copied into native memory at construction; the Java
// characters are released before the constructor returns, so no file-system
// work or daemon traffic ever runs while they are pinned.
class JavaString final {
 public:
  JavaString(JNIEnv* env, jstring s) {
    ScopedUtfChars chars(env, s);
    if (chars.c_str() != nullptr) {
      value_ = chars.c_str();
      present_ = true;
    }
  }
  // False for a null string (or one whose characters were unavailable);
  // such a string reads as "".
  bool present() const { return present_; }
  const char* c_str() const { return value_.c_str(); }
  const std::string& str() const { return value_; }
  size_t size() const { return value_.size(); }

 private:
  std::string value_;
  bool present_ = false;
};

// A JNI local reference, deleted on destruction.
template <typename T>
class ScopedLocalRef final {
 public:
  ScopedLocalRef(JNIEnv* env, T ref) : env_(env), ref_(ref) {}
  ~ScopedLocalRef() { reset(); }
  ScopedLocalRef(const ScopedLocalRef&) = delete;
  ScopedLocalRef& operator=(const ScopedLocalRef&) = delete;

  T get() const { return ref_; }
  explicit operator bool() const { return ref_ != nullptr; }
  // Hands the reference to the caller (for instance to return it to Java).
  T release() {
    T r = ref_;
    ref_ = nullptr;
    return r;
  }
  void reset(T ref = nullptr) {
    if (ref_ != nullptr) env_->DeleteLocalRef(ref_);
    ref_ = ref;
  }

 private:
  JNIEnv* env_;
  T ref_;
};

}  // namespace kelp

#endif  // KELP_JNI_SCOPED_H
