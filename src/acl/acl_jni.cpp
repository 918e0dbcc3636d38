// JNI entry points of the POSIX ACL methods. They always work in the calling
// process (the connection argument is not used) and look their Java classes
// up by name at every call.
#include <jni.h>

#include <cstring>
#include <list>
#include <memory>

#include "acl/aclutil.h"
#include "acl/libopenacl.h"
#include "jni/entry_guard.h"
#include "jni/exceptions.h"
#include "jni/logging.h"
#include "jni/scoped.h"
#include "org_apache_hadoop_fs_kelp_KelpFileSystem.h"

namespace kelp {
namespace {

constexpr const char* kAclEntryClass = "org/apache/hadoop/fs/kelp/KELPAclEntry";
constexpr const char* kAclStatusClass = "org/apache/hadoop/fs/kelp/KELPAclStatus";

// Raises "Failed to load libacl" unless the ACL library is loaded.
bool require_libacl(JNIEnv* env) {
  if (ACLUtil::libacl_handle.load() != nullptr) return true;
  throw_io_exception(env, "Failed to load libacl");
  return false;
}

// Reads one KELPAclEntry into |out|; false when a field cannot be found.
bool read_acl_entry(JNIEnv* env, jobject obj, jclass cls, AclEntry& out) {
  jfieldID field = env->GetFieldID(cls, "type", "I");
  if (field == nullptr) return false;
  out.type = env->GetIntField(obj, field);

  field = env->GetFieldID(cls, "name", "Ljava/lang/String;");
  if (field == nullptr) return false;
  ScopedLocalRef<jstring> name(env, static_cast<jstring>(env->GetObjectField(obj, field)));
  ScopedUtfChars chars(env, name.get());

  field = env->GetFieldID(cls, "permission", "I");
  if (field == nullptr) return false;
  out.permission = env->GetIntField(obj, field);

  field = env->GetFieldID(cls, "scope", "I");
  if (field == nullptr) return false;
  out.scope = env->GetIntField(obj, field);

  std::memset(out.name, 0, sizeof out.name);
  if (chars.c_str() != nullptr) {
    // A name that does not fit is refused rather than cut: a shortened name
    // could be another account's, and no account name is that long anyway.
    size_t len = std::strlen(chars.c_str());
    if (len >= sizeof out.name) {
      debug_log("ACL entry refused: a name of %zu bytes", len);
      return false;
    }
    std::memcpy(out.name, chars.c_str(), len);
  }
  return true;
}

// Copies the entries of a KELPAclEntry[] into |out|, in order. Null elements
// and elements that cannot be read are skipped; a pending Java exception is
// left pending.
int convert_jAclArray(JNIEnv* env, jobjectArray entries, std::list<AclEntry*>& out) {
  if (entries == nullptr) return 1;
  jsize n = env->GetArrayLength(entries);
  for (jsize i = 0; i < n; ++i) {
    std::unique_ptr<AclEntry> entry(new AclEntry());
    ScopedLocalRef<jobject> obj(env, env->GetObjectArrayElement(entries, i));
    if (!obj) continue;
    ScopedLocalRef<jclass> cls(env, env->GetObjectClass(obj.get()));
    if (!cls) continue;
    if (!read_acl_entry(env, obj.get(), cls.get(), *entry)) continue;
    out.push_back(entry.get());
    entry.release();
  }
  return 1;
}

// The shared body of the three entry-list methods.
jint apply_acl_entries(JNIEnv* env, jstring jpath, jobjectArray jentries,
                       int (*engine)(const char*, std::list<AclEntry*>&)) {
  return guarded<jint>(0, [&]() -> jint {
    JavaString path(env, jpath);
    if (!require_libacl(env)) return 0;
    std::list<AclEntry*> entries;
    AclEntryListGuard guard(entries);
    convert_jAclArray(env, jentries, entries);
    int result = engine(path.c_str(), entries);
    if (jentries != nullptr) env->DeleteLocalRef(jentries);
    return result;
  });
}

// The two methods that take only a path.
jint apply_to_path(JNIEnv* env, jstring jpath, int (*engine)(const char*)) {
  return guarded<jint>(0, [&]() -> jint {
    JavaString path(env, jpath);
    if (!require_libacl(env)) return 0;
    return engine(path.c_str());
  });
}

// Builds the KELPAclStatus for |status|; null when a class, constructor or
// object cannot be made (the JVM's exception stays pending).
jobject make_acl_status(JNIEnv* env, const AclStatusInfo& status) {
  ScopedLocalRef<jclass> entry_class(env, env->FindClass(kAclEntryClass));
  if (!entry_class) return nullptr;
  jmethodID entry_ctor = env->GetMethodID(entry_class.get(), "<init>", "(ILjava/lang/String;II)V");
  if (entry_ctor == nullptr) return nullptr;
  ScopedLocalRef<jclass> status_class(env, env->FindClass(kAclStatusClass));
  if (!status_class) return nullptr;
  jmethodID status_ctor = env->GetMethodID(
      status_class.get(), "<init>",
      "(Ljava/lang/String;Ljava/lang/String;Z[Lorg/apache/hadoop/fs/kelp/KELPAclEntry;)V");
  if (status_ctor == nullptr) return nullptr;

  ScopedLocalRef<jobjectArray> array(
      env, env->NewObjectArray(static_cast<jsize>(status.entries.size()), entry_class.get(), nullptr));
  if (!array) return nullptr;
  jsize index = 0;
  for (const AclEntry* e : status.entries) {
    // Unnamed entries carry a null name, never an empty string.
    ScopedLocalRef<jstring> name(env, e->name[0] != '\0' ? env->NewStringUTF(e->name) : nullptr);
    if (env->ExceptionCheck()) return nullptr;
    ScopedLocalRef<jobject> obj(
        env, env->NewObject(entry_class.get(), entry_ctor, e->type, name.get(), e->permission, e->scope));
    if (!obj) return nullptr;
    env->SetObjectArrayElement(array.get(), index++, obj.get());
  }
  ScopedLocalRef<jstring> owner(env, env->NewStringUTF(status.owner));
  ScopedLocalRef<jstring> group(env, env->NewStringUTF(status.group));
  if (!owner || !group) return nullptr;
  return env->NewObject(status_class.get(), status_ctor, owner.get(), group.get(),
                        status.sticky != 0 ? JNI_TRUE : JNI_FALSE, array.get());
}

}  // namespace
}  // namespace kelp

using kelp::JavaString;

// KelpFileSystem.nGetAclStatus(int conn, String path) -> KELPAclStatus
//   (ILjava/lang/String;)Lorg/apache/hadoop/fs/kelp/KELPAclStatus;
extern "C" JNIEXPORT jobject JNICALL Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nGetAclStatus(
    JNIEnv* env, jobject, jint, jstring jpath) {
  return kelp::guarded<jobject>(nullptr, [&]() -> jobject {
    JavaString path(env, jpath);
    if (!kelp::require_libacl(env)) return nullptr;
    // A path that cannot be read reaches Java as null, without an exception.
    std::unique_ptr<kelp::AclStatusInfo> status = kelp::getAclStatus(path.c_str());
    if (!status) return nullptr;
    return kelp::make_acl_status(env, *status);
  });
}

// KelpFileSystem.nSetAcl(int conn, String path, KELPAclEntry[] entries) -> int
//   (ILjava/lang/String;[Lorg/apache/hadoop/fs/kelp/KELPAclEntry;)I
extern "C" JNIEXPORT jint JNICALL Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nSetAcl(
    JNIEnv* env, jobject, jint, jstring jpath, jobjectArray jentries) {
  return kelp::apply_acl_entries(env, jpath, jentries, kelp::setAcl);
}

// KelpFileSystem.nModifyAclEntries(int conn, String path, KELPAclEntry[] entries) -> int
//   (ILjava/lang/String;[Lorg/apache/hadoop/fs/kelp/KELPAclEntry;)I
extern "C" JNIEXPORT jint JNICALL Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nModifyAclEntries(
    JNIEnv* env, jobject, jint, jstring jpath, jobjectArray jentries) {
  return kelp::apply_acl_entries(env, jpath, jentries, kelp::modifyAclEntries);
}

// KelpFileSystem.nRemoveAclEntries(int conn, String path, KELPAclEntry[] entries) -> int
//   (ILjava/lang/String;[Lorg/apache/hadoop/fs/kelp/KELPAclEntry;)I
extern "C" JNIEXPORT jint JNICALL Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nRemoveAclEntries(
    JNIEnv* env, jobject, jint, jstring jpath, jobjectArray jentries) {
  return kelp::apply_acl_entries(env, jpath, jentries, kelp::removeAclEntries);
}

// KelpFileSystem.nRemoveAcl(int conn, String path) -> int   (ILjava/lang/String;)I
extern "C" JNIEXPORT jint JNICALL Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nRemoveAcl(
    JNIEnv* env, jobject, jint, jstring jpath) {
  return kelp::apply_to_path(env, jpath, kelp::removeACL);
}

// KelpFileSystem.nRemoveDefaultAcl(int conn, String path) -> int   (ILjava/lang/String;)I
extern "C" JNIEXPORT jint JNICALL Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nRemoveDefaultAcl(
    JNIEnv* env, jobject, jint, jstring jpath) {
  return kelp::apply_to_path(env, jpath, kelp::removeDefaultAcl);
}
