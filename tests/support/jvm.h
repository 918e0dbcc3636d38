// A real JVM for tests of the JNI entry points. Each test binary starts one,
// on first use, with the project's classes on its class path; the library
// under test is the built libkelphadoopmap.so.
#ifndef KELP_TESTS_SUPPORT_JVM_H
#define KELP_TESTS_SUPPORT_JVM_H

#include <jni.h>

#include <string>
#include <vector>

namespace kelptest {

// The environment of the calling (main) thread; starts the JVM on first use.
JNIEnv* jvm_env();
JavaVM* jvm();

// A KelpFileSystem and a KELPDataOutputStream to call instance natives on
// (global references, made once).
jobject kelp_fs();
jobject output_stream();

// A new local Java string, or null for a null pointer.
jstring jstr(const char* s);
inline jstring jstr(const std::string& s) { return jstr(s.c_str()); }
// The Java string whose modified UTF-8 (what the library receives) is
// exactly |bytes|; null when no Java string has those bytes (they are not
// modified UTF-8: a stray continuation byte, a plain zero byte, a four-byte
// sequence). Overlong forms other than C0 80 are not refused.
jstring java_string_of(const std::string& bytes);
// The UTF-8 text of a Java string ("<null>" for null).
std::string to_std(jstring s);

// The pending Java exception as "class: message", cleared; "" when none.
std::string take_exception();

// The int field "fd" of a java.io.FileDescriptor (-1 for null).
int fd_of(jobject file_descriptor);

// Builds a KELPAclEntry[] from (type, name or null, permission, scope).
struct AclSpec {
  int type;
  const char* name;
  int permission;
  int scope;
};
jobjectArray acl_entries(const std::vector<AclSpec>& entries);

// The method |method| of |obj|'s class; aborts when there is none.
jmethodID method_of(jobject obj, const char* method, const char* signature);

// Calls an int/boolean/object getter with no arguments.
jobject call_object(jobject obj, const char* method, const char* signature);
bool call_boolean(jobject obj, const char* method);
int int_field(jobject obj, const char* field);
std::string string_field(jobject obj, const char* field);

}  // namespace kelptest

#endif  // KELP_TESTS_SUPPORT_JVM_H
