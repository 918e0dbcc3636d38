// Using a java.io.FileDescriptor returned by the library the way Java code
// does: through FileOutputStream and FileInputStream.
#ifndef KELP_TESTS_SUPPORT_JAVA_IO_H
#define KELP_TESTS_SUPPORT_JAVA_IO_H

#include <jni.h>

#include <string>

namespace kelptest {

// Writes |text| through a new FileOutputStream over |fd|, then closes the
// stream (and with it the descriptor). False for a null |fd| and when Java
// raised anything.
bool java_write(jobject fd, const std::string& text);

// Reads |fd| to its end through a FileInputStream and closes the stream.
// "<error>" for a null |fd| and when Java raised anything.
std::string java_read(jobject fd);

}  // namespace kelptest

#endif  // KELP_TESTS_SUPPORT_JAVA_IO_H
