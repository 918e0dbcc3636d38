// Reading ACLs: what Java receives agrees with getfacl for the same files,
// leaving out what the mode bits already say.
#include <gtest/gtest.h>
#include <unistd.h>

#include "acl/acl_support.h"
#include "acl/aclutil.h"
#include "acl/libopenacl.h"

namespace {

using namespace acltest;
using kelptest::ScratchDir;

class AclRead : public ::testing::Test {
 protected:
  void SetUp() override { kelptest::require_sandbox(); }
  std::string file(const std::string& name, mode_t mode) {
    std::string p = dir_ / name;
    kelptest::write_file(p, "x");
    EXPECT_EQ(::chmod(p.c_str(), mode), 0);
    return p;
  }
  LocalFrame frame_;
  ScratchDir dir_{"aclread"};
};

TEST_F(AclRead, FilesAgreeWithGetfacl) {
  std::string plain = file("plain", 0640);
  ASSERT_NE(acl_status(plain), nullptr);
  EXPECT_EQ(java_entries(acl_status(plain)), Lines{});

  std::string named = file("named", 0640);
  setfacl("-m u:kelpuser1:rw", named);
  EXPECT_EQ(java_entries(acl_status(named)), (Lines{"user:kelpuser1:rw-", "group::r--"}));

  std::string mixed = file("mixed", 0644);
  setfacl("-m u:kelpuser2:rwx,g:kelpgrp2:rw,g:kelpadmins:x,m::r", mixed);
  Lines expected = reported(getfacl(mixed));
  EXPECT_EQ(expected.size(), 4u);
  EXPECT_EQ(java_entries(acl_status(mixed)), expected);
}

TEST_F(AclRead, DirectoryDefaultEntriesFollowTheAccessEntries) {
  std::string d = dir_ / "d";
  ASSERT_EQ(::mkdir(d.c_str(), 0750), 0);
  ASSERT_EQ(::chmod(d.c_str(), 01750), 0);
  ASSERT_EQ(::chown(d.c_str(), kelptest::kUser1Uid, kelptest::kGroup1Gid), 0);
  setfacl("-m g:kelpgrp1:rx", d);
  setfacl("-d -m u:kelpuser2:rwx,g:kelpadmins:r", d);
  jobject status = acl_status(d);
  ASSERT_NE(status, nullptr);
  EXPECT_EQ(status_string(status, "getOwner"), "kelpuser1");
  EXPECT_EQ(status_string(status, "getGroup"), "kelpgrp1");
  EXPECT_TRUE(sticky(status));
  Lines entries = java_entries(status);
  EXPECT_EQ(entries, reported(getfacl(d)));
  ASSERT_EQ(entries.size(), 8u);  // 2 access, then owner, 2 named, group, mask, other
  jobjectArray array = entry_array(status);
  for (jsize i = 0; i < 8; ++i) {
    jobject e = jvm_env()->GetObjectArrayElement(array, i);
    EXPECT_EQ(kelptest::int_field(e, "scope"), i < 2 ? 0 : 1) << entries[i];
    // Unnamed entries carry a null name, never an empty string.
    EXPECT_EQ(kelptest::string_field(e, "name") == "<null>", entries[i].find("::") != std::string::npos);
  }

  std::string bare = dir_ / "bare";
  ASSERT_EQ(::mkdir(bare.c_str(), 0755), 0);
  setfacl("-m u:kelpuser1:r", bare);
  EXPECT_EQ(java_entries(acl_status(bare)), (Lines{"user:kelpuser1:r--", "group::r-x"}));
}

TEST_F(AclRead, SymlinkUsesItsOwnTypeAndMode) {
  std::string target = dir_ / "target";
  ASSERT_EQ(::mkdir(target.c_str(), 0755), 0);
  ASSERT_EQ(::chmod(target.c_str(), 01755), 0);
  setfacl("-m u:kelpuser1:rwx", target);
  setfacl("-d -m u:kelpuser2:r", target);
  std::string link = dir_ / "link";
  ASSERT_EQ(::symlink(target.c_str(), link.c_str()), 0);
  ASSERT_EQ(::lchown(link.c_str(), kelptest::kUser2Uid, kelptest::kGroup2Gid), 0);

  jobject status = acl_status(link);
  ASSERT_NE(status, nullptr);
  EXPECT_EQ(status_string(status, "getOwner"), "kelpuser2");
  EXPECT_FALSE(sticky(status));
  // A link is no directory: no default entries, although its target has some.
  Lines target_access = filter(reported(getfacl(target)), false);
  EXPECT_EQ(target_access.size(), 2u);
  EXPECT_EQ(java_entries(status), target_access);
}

TEST_F(AclRead, NamesThatCannotBeFound) {
  // An owner and group without names are reported empty.
  std::string f = file("nameless", 0644);
  ASSERT_EQ(::chown(f.c_str(), 4243, 4244), 0);
  jobject status = acl_status(f);
  ASSERT_NE(status, nullptr);
  EXPECT_EQ(status_string(status, "getOwner"), "");
  EXPECT_EQ(status_string(status, "getGroup"), "");

  // A named entry whose uid has no name fails the whole read, quietly.
  setfacl("-m u:4242:r", f);
  EXPECT_EQ(acl_status(f), nullptr);
  EXPECT_EQ(acl_status(dir_ / "missing"), nullptr);
  EXPECT_EQ(kelptest::take_exception(), "");
}

TEST_F(AclRead, FileSystemWithoutAclsReadsTheMode) {
  ScratchDir noacl("aclread", kelptest::kNoAclMount);
  std::string f = noacl / "file";
  kelptest::write_file(f, "x");
  ASSERT_EQ(::chmod(f.c_str(), 0754), 0);
  std::string d = noacl / "dir";
  ASSERT_EQ(::mkdir(d.c_str(), 0700), 0);
  for (const std::string& p : {f, d}) {
    jobject status = acl_status(p);
    ASSERT_NE(status, nullptr) << p;
    EXPECT_EQ(java_entries(status), Lines{}) << p;
  }

  kelp::ScopedAcl access(kelp::get_acl_from_path(f.c_str(), ACL_TYPE_ACCESS));
  ASSERT_TRUE(access);
  mode_t mode = 0;
  EXPECT_EQ(kelp::ACLUtil::acl_equiv_mode(access.get(), &mode), 0);
  EXPECT_EQ(mode, 0754u);
  kelp::ScopedAcl def(kelp::get_acl_from_path(d.c_str(), ACL_TYPE_DEFAULT));
  ASSERT_TRUE(def);
  EXPECT_EQ(kelp::ACLUtil::acl_entries(def.get()), 0);
}

}  // namespace
