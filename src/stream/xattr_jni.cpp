// Extended attributes of a path. The connection argument is accepted like
// every other KelpFileSystem method's but ignored: the calls run in this
// process with its own rights.
#include <jni.h>

#include "jni/exceptions.h"
#include "jni/scoped.h"
#include "org_apache_hadoop_fs_kelp_KelpFileSystem.h"
#include "stream/xattr.h"

// KelpFileSystem.nSetExtendedAttribute(int conn, String path, String name, String value) -> int
//   (ILjava/lang/String;Ljava/lang/String;Ljava/lang/String;)I
extern "C" JNIEXPORT jint JNICALL Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nSetExtendedAttribute(
    JNIEnv* env, jobject, jint, jstring jpath, jstring jname, jstring jvalue) {
  kelp::ScopedUtfChars path(env, jpath);
  kelp::ScopedUtfChars name(env, jname);
  kelp::ScopedUtfChars value(env, jvalue);
  if (path.c_str() == nullptr || name.c_str() == nullptr || value.c_str() == nullptr) return 0;
  if (kelp::set_extended_attribute(path.c_str(), name.c_str(), value.c_str())) return 1;
  kelp::throw_io_exception(env, "setxattr failed.");
  return 0;
}

// KelpFileSystem.nGetExtendedAttribute(int conn, String path, String name) -> String
//   (ILjava/lang/String;Ljava/lang/String;)Ljava/lang/String;
extern "C" JNIEXPORT jstring JNICALL Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nGetExtendedAttribute(
    JNIEnv* env, jobject, jint, jstring jpath, jstring jname) {
  kelp::ScopedUtfChars path(env, jpath);
  kelp::ScopedUtfChars name(env, jname);
  if (path.c_str() == nullptr || name.c_str() == nullptr) return nullptr;
  kelp::XattrValue attr = kelp::get_extended_attribute(path.c_str(), name.c_str());
  switch (attr.status) {
    case kelp::XattrStatus::kFound:
      return env->NewStringUTF(attr.text.get());
    case kelp::XattrStatus::kReadFailed:
      kelp::throw_io_exception(env, "getxattr failed.");
      return nullptr;
    case kelp::XattrStatus::kAbsent:
      break;
  }
  return nullptr;
}
