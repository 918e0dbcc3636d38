// Shared by the ACL tests: getfacl/setfacl as the reference, the entry
// points called as Java calls them, and the Java view of an ACL status.
#ifndef KELP_TESTS_ACL_ACL_SUPPORT_H
#define KELP_TESTS_ACL_ACL_SUPPORT_H

#include <gtest/gtest.h>
#include <jni.h>

#include <sstream>
#include <string>
#include <vector>

#include "org_apache_hadoop_fs_kelp_KelpFileSystem.h"
#include "support/jvm.h"
#include "support/sandbox.h"

namespace acltest {

using Lines = std::vector<std::string>;
using kelptest::AclSpec;
using kelptest::jstr;
using kelptest::jvm_env;
using kelptest::kelp_fs;

// Drops the local references a test makes.
struct LocalFrame {
  LocalFrame() { jvm_env()->PushLocalFrame(64); }
  ~LocalFrame() { jvm_env()->PopLocalFrame(nullptr); }
};

inline void setfacl(const std::string& args, const std::string& path) {
  ASSERT_EQ(kelptest::run_command("setfacl " + args + " '" + path + "'"), 0) << args << " " << path;
}

// getfacl's entries, one "[default:]tag:qualifier:perms" per line.
inline Lines getfacl(const std::string& path) {
  std::string out;
  EXPECT_EQ(kelptest::run_command("getfacl --omit-header --no-effective '" + path + "' 2>/dev/null", &out), 0);
  Lines lines;
  std::istringstream in(out);
  for (std::string line; std::getline(in, line);) {
    if (!line.empty()) lines.push_back(line);
  }
  return lines;
}

inline bool starts_with(const std::string& s, const char* prefix) { return s.rfind(prefix, 0) == 0; }

// The lines with (|defaults|) or without the "default:" prefix.
inline Lines filter(const Lines& facl, bool defaults) {
  Lines out;
  for (const std::string& l : facl) {
    if (starts_with(l, "default:") == defaults) out.push_back(l);
  }
  return out;
}

// What a status reports of getfacl's lines: the named access entries, the
// owning group when there is a mask, and every default entry.
inline Lines reported(const Lines& facl) {
  bool has_mask = false;
  for (const std::string& l : facl) has_mask = has_mask || starts_with(l, "mask::");
  Lines out;
  for (const std::string& l : facl) {
    bool owning_group = starts_with(l, "group::");
    bool named = !starts_with(l, "user::") && !owning_group && !starts_with(l, "mask::") && !starts_with(l, "other::");
    if (named || (owning_group && has_mask)) out.push_back(l);
  }
  return out;
}

inline jobject call(jobject obj, const char* method, const char* signature) {
  jobject result = kelptest::call_object(obj, method, signature);
  EXPECT_EQ(kelptest::take_exception(), "") << method;
  return result;
}

inline jobject acl_status(const std::string& path) {
  return Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nGetAclStatus(jvm_env(), kelp_fs(), -42, jstr(path));
}

inline jobjectArray entry_array(jobject status) {
  return static_cast<jobjectArray>(call(status, "getEntries", "()[Lorg/apache/hadoop/fs/kelp/KELPAclEntry;"));
}

// KELPAclEntry.toString of each entry of a status, in order.
inline Lines java_entries(jobject status) {
  jobjectArray array = entry_array(status);
  Lines out;
  for (jsize i = 0; i < jvm_env()->GetArrayLength(array); ++i) {
    jobject e = jvm_env()->GetObjectArrayElement(array, i);
    out.push_back(kelptest::to_std(static_cast<jstring>(call(e, "toString", "()Ljava/lang/String;"))));
  }
  return out;
}

inline std::string status_string(jobject status, const char* getter) {
  return kelptest::to_std(static_cast<jstring>(call(status, getter, "()Ljava/lang/String;")));
}

inline bool sticky(jobject status) {
  bool result = kelptest::call_boolean(status, "isStickyBit");
  EXPECT_EQ(kelptest::take_exception(), "");
  return result;
}

using EntryListMethod = jint (*)(JNIEnv*, jobject, jint, jstring, jobjectArray);
inline int call_with(EntryListMethod method, const std::string& path, const std::vector<AclSpec>& entries) {
  return method(jvm_env(), kelp_fs(), -42, jstr(path), kelptest::acl_entries(entries));
}
inline int set_acl(const std::string& path, const std::vector<AclSpec>& entries) {
  return call_with(Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nSetAcl, path, entries);
}
inline int modify_acl(const std::string& path, const std::vector<AclSpec>& entries) {
  return call_with(Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nModifyAclEntries, path, entries);
}
inline int remove_entries(const std::string& path, const std::vector<AclSpec>& entries) {
  return call_with(Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nRemoveAclEntries, path, entries);
}

}  // namespace acltest

#endif  // KELP_TESTS_ACL_ACL_SUPPORT_H
