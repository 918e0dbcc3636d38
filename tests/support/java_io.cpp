#include "support/java_io.h"

#include "support/jvm.h"

namespace kelptest {
namespace {

// Runs |use| on a new stream of |class_name| over |fd|, then closes the
// stream. False when |use| did or Java raised anything.
template <typename Use>
bool with_stream(const char* class_name, jobject fd, Use use) {
  if (fd == nullptr) return false;
  JNIEnv* env = jvm_env();
  env->PushLocalFrame(16);
  jclass cls = env->FindClass(class_name);
  jobject s =
      env->NewObject(cls, env->GetMethodID(cls, "<init>", "(Ljava/io/FileDescriptor;)V"), fd);
  bool ok = take_exception().empty() && use(env, cls, s);
  ok = take_exception().empty() && ok;
  if (s != nullptr) env->CallVoidMethod(s, env->GetMethodID(cls, "close", "()V"));
  ok = take_exception().empty() && ok;
  env->PopLocalFrame(nullptr);
  return ok;
}

}  // namespace

bool java_write(jobject fd, const std::string& text) {
  return with_stream("java/io/FileOutputStream", fd, [&](JNIEnv* env, jclass cls, jobject out) {
    auto size = static_cast<jsize>(text.size());
    jbyteArray bytes = env->NewByteArray(size);
    env->SetByteArrayRegion(bytes, 0, size, reinterpret_cast<const jbyte*>(text.data()));
    env->CallVoidMethod(out, env->GetMethodID(cls, "write", "([B)V"), bytes);
    return true;
  });
}

std::string java_read(jobject fd) {
  std::string text;
  bool ok = with_stream("java/io/FileInputStream", fd, [&](JNIEnv* env, jclass cls, jobject in) {
    auto bytes = static_cast<jbyteArray>(
        env->CallObjectMethod(in, env->GetMethodID(cls, "readAllBytes", "()[B")));
    if (env->ExceptionCheck() || bytes == nullptr) return false;
    text.resize(static_cast<size_t>(env->GetArrayLength(bytes)));
    env->GetByteArrayRegion(bytes, 0, static_cast<jsize>(text.size()),
                            reinterpret_cast<jbyte*>(&text[0]));
    return true;
  });
  return ok ? text : "<error>";
}

}  // namespace kelptest
