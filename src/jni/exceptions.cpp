#include "jni/exceptions.h"

namespace kelp {

IoException::IoException(JNIEnv* env) : env_(env), cls_(env, env->FindClass("java/io/IOException")) {}

bool IoException::raise(const char* text) {
  if (!cls_) return false;
  return env_->ThrowNew(cls_.get(), text) == 0;
}

bool throw_io_exception(JNIEnv* env, const char* text) { return IoException(env).raise(text); }

}  // namespace kelp
