#include "support/java_io.h"

#include "support/jvm.h"

namespace kelptest {
namespace {

// A stream object of |class_name| over |fd|.
jobject open_stream(const char* class_name, jobject fd) {
  JNIEnv* env = jvm_env();
  jclass cls = env->FindClass(class_name);
  if (cls == nullptr) return nullptr;
  jmethodID ctor = env->GetMethodID(cls, "<init>", "(Ljava/io/FileDescriptor;)V");
  jobject stream = ctor != nullptr ? env->NewObject(cls, ctor, fd) : nullptr;
  env->DeleteLocalRef(cls);
  return stream;
}

bool close_stream(jobject stream) {
  JNIEnv* env = jvm_env();
  jclass cls = env->GetObjectClass(stream);
  env->CallVoidMethod(stream, env->GetMethodID(cls, "close", "()V"));
  env->DeleteLocalRef(cls);
  env->DeleteLocalRef(stream);
  return take_exception().empty();
}

}  // namespace

bool java_write(jobject fd, const std::string& text) {
  JNIEnv* env = jvm_env();
  jobject out = open_stream("java/io/FileOutputStream", fd);
  if (out == nullptr) {
    take_exception();
    return false;
  }
  jbyteArray bytes = env->NewByteArray(static_cast<jsize>(text.size()));
  env->SetByteArrayRegion(bytes, 0, static_cast<jsize>(text.size()),
                          reinterpret_cast<const jbyte*>(text.data()));
  jclass cls = env->GetObjectClass(out);
  env->CallVoidMethod(out, env->GetMethodID(cls, "write", "([B)V"), bytes);
  env->DeleteLocalRef(cls);
  env->DeleteLocalRef(bytes);
  bool wrote = take_exception().empty();
  return close_stream(out) && wrote;
}

std::string java_read(jobject fd) {
  JNIEnv* env = jvm_env();
  jobject in = open_stream("java/io/FileInputStream", fd);
  if (in == nullptr) {
    take_exception();
    return "<error>";
  }
  jclass cls = env->GetObjectClass(in);
  auto bytes = static_cast<jbyteArray>(
      env->CallObjectMethod(in, env->GetMethodID(cls, "readAllBytes", "()[B")));
  env->DeleteLocalRef(cls);
  std::string text = "<error>";
  if (take_exception().empty() && bytes != nullptr) {
    text.assign(static_cast<size_t>(env->GetArrayLength(bytes)), '\0');
    env->GetByteArrayRegion(bytes, 0, static_cast<jsize>(text.size()),
                            reinterpret_cast<jbyte*>(&text[0]));
    env->DeleteLocalRef(bytes);
  }
  return close_stream(in) ? text : "<error>";
}

}  // namespace kelptest
