// Shared by the ACL tests: getfacl/setfacl as the reference, files carrying
// ACLs, and the entries of an ACL status as Java receives them.
#ifndef KELP_TESTS_ACL_ACL_SUPPORT_H
#define KELP_TESTS_ACL_ACL_SUPPORT_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <jni.h>
#include <sys/stat.h>
#include <unistd.h>

#include <sstream>
#include <string>
#include <vector>

#include "org_apache_hadoop_fs_kelp_KelpFileSystem.h"
#include "support/jvm.h"
#include "support/sandbox.h"

namespace acltest {

using namespace kelptest;
using Lines = std::vector<std::string>;

// Drops the local references a test makes.
struct LocalFrame {
  LocalFrame() { jvm_env()->PushLocalFrame(64); }
  ~LocalFrame() { jvm_env()->PopLocalFrame(nullptr); }
};

inline void setfacl(const std::string& args, const std::string& path) {
  ASSERT_EQ(run_command("setfacl " + args + " '" + path + "'"), 0) << args << " " << path;
}

enum Part { kWhole, kAccessPart, kDefaultPart };

// getfacl's entries, one "[default:]tag:qualifier:perms" per line: all of
// them, or those of the access or the default ACL.
inline Lines getfacl(const std::string& path, Part part = kWhole) {
  std::string out;
  EXPECT_EQ(run_command("getfacl --omit-header --no-effective '" + path + "' 2>/dev/null", &out), 0);
  Lines lines;
  std::istringstream in(out);
  for (std::string line; std::getline(in, line);) {
    bool is_default = line.rfind("default:", 0) == 0;
    if (!line.empty() && (part == kWhole || is_default == (part == kDefaultPart))) lines.push_back(line);
  }
  return lines;
}

inline jobject call(jobject obj, const char* method, const char* signature) {
  jobject result = call_object(obj, method, signature);
  EXPECT_EQ(take_exception(), "") << method;
  return result;
}

inline jobject acl_status(const std::string& path) {
  return Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nGetAclStatus(jvm_env(), kelp_fs(), -42, jstr(path));
}

// The entries of |path|'s status as getfacl writes them ({"<null>"} for no
// status). A scope other than 0 and 1, or an empty name where an unnamed
// entry must carry null, shows as a leading "?".
inline Lines entries_of(const std::string& path) {
  jobject status = acl_status(path);
  if (status == nullptr) return {"<null>"};
  auto array = static_cast<jobjectArray>(call(status, "getEntries", "()[Lorg/apache/hadoop/fs/kelp/KELPAclEntry;"));
  Lines out;
  for (jsize i = 0; i < jvm_env()->GetArrayLength(array); ++i) {
    jobject e = jvm_env()->GetObjectArrayElement(array, i);
    int scope = int_field(e, "scope");
    bool odd = (scope != 0 && scope != 1) || string_field(e, "name").empty();
    auto text = static_cast<jstring>(call(e, "toString", "()Ljava/lang/String;"));
    out.push_back((odd ? "?" : "") + to_std(text));
  }
  return out;
}

// A scratch directory in which to make files carrying ACLs.
class AclTest : public ::testing::Test {
 protected:
  // A file, or with S_IFDIR in |mode| a directory, with the permission bits
  // of |mode| and setfacl's modifications of its access and default ACLs.
  std::string make(const std::string& name, mode_t mode, const std::string& acl = "",
                   const std::string& default_acl = "") {
    std::string p = dir_ / name;
    EXPECT_EQ(S_ISDIR(mode) ? ::mkdir(p.c_str(), 0700) : ::close(::creat(p.c_str(), 0600)), 0) << p;
    EXPECT_EQ(::chmod(p.c_str(), mode & 07777), 0);
    if (!acl.empty()) setfacl("-m " + acl, p);
    if (!default_acl.empty()) setfacl("-d -m " + default_acl, p);
    return p;
  }

  LocalFrame frame_;
  ScratchDir dir_{"acl"};
};

}  // namespace acltest

#endif  // KELP_TESTS_ACL_ACL_SUPPORT_H
