// The one way the library reports an error to Java: a java/io/IOException
// with a fixed text. The class is looked up afresh at every use.
#ifndef KELP_JNI_EXCEPTIONS_H
#define KELP_JNI_EXCEPTIONS_H

#include <jni.h>

#include "jni/scoped.h"

namespace kelp {

// The exception class, looked up at construction. Entry points that must know
// whether an exception could be raised before they decide (delete, the
// snapshot methods) hold one of these; the rest call throw_io_exception.
class IoException final {
 public:
  explicit IoException(JNIEnv* env);
  // False when java/io/IOException could not be found: nothing can be raised.
  bool available() const { return static_cast<bool>(cls_); }
  // Raises the exception with |text|; returns whether it was raised.
  bool raise(const char* text);

 private:
  JNIEnv* env_;
  ScopedLocalRef<jclass> cls_;
};

// Looks up java/io/IOException and raises it with |text|. Returns false, and
// raises nothing, when the class cannot be found.
bool throw_io_exception(JNIEnv* env, const char* text);

}  // namespace kelp

#endif  // KELP_JNI_EXCEPTIONS_H
