// Shared by the ACL tests: the system's getfacl/setfacl as the reference,
// and the Java view of an ACL status.
#ifndef KELP_TESTS_ACL_ACL_SUPPORT_H
#define KELP_TESTS_ACL_ACL_SUPPORT_H

#include <gtest/gtest.h>
#include <jni.h>
#include <sys/stat.h>

#include <sstream>
#include <string>
#include <vector>

#include "org_apache_hadoop_fs_kelp_KelpFileSystem.h"
#include "support/jvm.h"
#include "support/sandbox.h"

namespace acltest {

using Lines = std::vector<std::string>;

// Local references made inside one test are dropped with it.
class LocalFrame final {
 public:
  LocalFrame() { kelptest::jvm_env()->PushLocalFrame(64); }
  ~LocalFrame() { kelptest::jvm_env()->PopLocalFrame(nullptr); }
  LocalFrame(const LocalFrame&) = delete;
  LocalFrame& operator=(const LocalFrame&) = delete;
};

inline std::string quoted(const std::string& s) { return "'" + s + "'"; }

// "setfacl <args> <path>"; fails the test if setfacl does.
inline void setfacl(const std::string& args, const std::string& path) {
  ASSERT_EQ(kelptest::run_command("setfacl " + args + " " + quoted(path)), 0) << args << " " << path;
}

// The entries getfacl reports, one "[default:]tag:qualifier:perms" per line.
inline Lines getfacl(const std::string& path) {
  std::string out;
  EXPECT_EQ(kelptest::run_command("getfacl --omit-header --no-effective " + quoted(path) + " 2>/dev/null", &out), 0)
      << path;
  Lines lines;
  std::istringstream in(out);
  std::string line;
  while (std::getline(in, line)) {
    if (!line.empty()) lines.push_back(line);
  }
  return lines;
}

inline bool starts_with(const std::string& s, const std::string& prefix) {
  return s.compare(0, prefix.size(), prefix) == 0;
}

// What a status should report of getfacl's lines: of the access entries the
// named users and groups, and the owning group when there is a mask; every
// default entry.
inline Lines reported(const Lines& facl) {
  bool has_mask = false;
  for (const std::string& l : facl) has_mask = has_mask || starts_with(l, "mask::");
  Lines out;
  for (const std::string& l : facl) {
    if (starts_with(l, "default:")) {
      out.push_back(l);
    } else if ((starts_with(l, "user:") && !starts_with(l, "user::")) ||
               (starts_with(l, "group:") && !starts_with(l, "group::")) ||
               (starts_with(l, "group::") && has_mask)) {
      out.push_back(l);
    }
  }
  return out;
}

inline Lines default_lines(const Lines& facl) {
  Lines out;
  for (const std::string& l : facl) {
    if (starts_with(l, "default:")) out.push_back(l);
  }
  return out;
}

inline jobject acl_status(const std::string& path) {
  return Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nGetAclStatus(
      kelptest::jvm_env(), kelptest::kelp_fs(), -42, kelptest::jstr(path));
}

// A Java method call that must not throw.
inline jobject call(jobject obj, const char* method, const char* signature) {
  jobject result = kelptest::call_object(obj, method, signature);
  EXPECT_EQ(kelptest::take_exception(), "") << method;
  return result;
}

inline jobjectArray entry_array(jobject status) {
  return static_cast<jobjectArray>(call(status, "getEntries", "()[Lorg/apache/hadoop/fs/kelp/KELPAclEntry;"));
}

// KELPAclEntry.toString of each entry of a KELPAclStatus, in order.
inline Lines java_entries(jobject status) {
  JNIEnv* env = kelptest::jvm_env();
  jobjectArray array = entry_array(status);
  Lines out;
  for (jsize i = 0; i < env->GetArrayLength(array); ++i) {
    jobject e = env->GetObjectArrayElement(array, i);
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

// The three entry-list methods, called as Java would.
inline int set_acl(const std::string& path, const std::vector<kelptest::AclSpec>& entries) {
  return Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nSetAcl(
      kelptest::jvm_env(), kelptest::kelp_fs(), -42, kelptest::jstr(path), kelptest::acl_entries(entries));
}
inline int modify_acl(const std::string& path, const std::vector<kelptest::AclSpec>& entries) {
  return Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nModifyAclEntries(
      kelptest::jvm_env(), kelptest::kelp_fs(), -42, kelptest::jstr(path), kelptest::acl_entries(entries));
}
inline int remove_acl_entries(const std::string& path, const std::vector<kelptest::AclSpec>& entries) {
  return Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nRemoveAclEntries(
      kelptest::jvm_env(), kelptest::kelp_fs(), -42, kelptest::jstr(path), kelptest::acl_entries(entries));
}

inline mode_t mode_of(const std::string& path) {
  struct stat st{};
  EXPECT_EQ(::lstat(path.c_str(), &st), 0) << path;
  return st.st_mode & 07777;
}

}  // namespace acltest

#endif  // KELP_TESTS_ACL_ACL_SUPPORT_H
