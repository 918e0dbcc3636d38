// Reading ACLs: what Java receives agrees with what getfacl reports for the
// same files, after leaving out what the mode bits already say.
#include <gtest/gtest.h>
#include <unistd.h>

#include <list>

#include "acl/aclutil.h"
#include "acl/libopenacl.h"
#include "acl/acl_support.h"

namespace {

using acltest::getfacl;
using acltest::java_entries;
using acltest::Lines;
using acltest::reported;
using acltest::setfacl;
using acltest::status_string;
using kelptest::ScratchDir;

class AclRead : public ::testing::Test {
 protected:
  void SetUp() override { kelptest::require_sandbox(); }
  acltest::LocalFrame frame_;
};

TEST_F(AclRead, FilesAgreeWithGetfacl) {
  ScratchDir dir("aclread");
  std::string plain = dir / "plain";
  kelptest::write_file(plain, "x");
  ASSERT_EQ(::chmod(plain.c_str(), 0640), 0);
  jobject status = acltest::acl_status(plain);
  ASSERT_NE(status, nullptr);
  EXPECT_EQ(java_entries(status), Lines{});
  EXPECT_EQ(reported(getfacl(plain)), Lines{});

  std::string named = dir / "named";
  kelptest::write_file(named, "x");
  ASSERT_EQ(::chmod(named.c_str(), 0640), 0);
  setfacl("-m u:kelpuser1:rw", named);
  EXPECT_EQ(java_entries(acltest::acl_status(named)), (Lines{"user:kelpuser1:rw-", "group::r--"}));
  EXPECT_EQ(java_entries(acltest::acl_status(named)), reported(getfacl(named)));

  std::string mixed = dir / "mixed";
  kelptest::write_file(mixed, "x");
  setfacl("-m u:kelpuser2:rwx,g:kelpgrp2:rw,g:kelpadmins:x,m::r", mixed);
  Lines expected = reported(getfacl(mixed));
  EXPECT_EQ(expected.size(), 4u);
  EXPECT_EQ(java_entries(acltest::acl_status(mixed)), expected);
}

TEST_F(AclRead, DirectoryDefaultEntriesFollowTheAccessEntries) {
  ScratchDir dir("aclread");
  std::string d = dir / "withdefault";
  ASSERT_EQ(::mkdir(d.c_str(), 0750), 0);
  setfacl("-m g:kelpgrp1:rx", d);
  setfacl("-d -m u:kelpuser2:rwx,g:kelpadmins:r", d);
  jobject status = acltest::acl_status(d);
  ASSERT_NE(status, nullptr);
  Lines entries = java_entries(status);
  EXPECT_EQ(entries, reported(getfacl(d)));
  ASSERT_EQ(entries.size(), 8u);  // 2 access, then user, 2 named, group, mask, other
  EXPECT_EQ(entries[2], "default:user::rwx");
  EXPECT_EQ(entries[7], "default:other::---");

  JNIEnv* env = kelptest::jvm_env();
  jobjectArray array = acltest::entry_array(status);
  for (jsize i = 0; i < env->GetArrayLength(array); ++i) {
    jobject e = env->GetObjectArrayElement(array, i);
    EXPECT_EQ(kelptest::int_field(e, "scope"), i < 2 ? 0 : 1) << entries[i];
    // Unnamed entries carry a null name, never an empty string.
    bool named = entries[i].find("::") == std::string::npos;
    EXPECT_EQ(kelptest::string_field(e, "name") == "<null>", !named) << entries[i];
  }

  std::string bare = dir / "bare";
  ASSERT_EQ(::mkdir(bare.c_str(), 0755), 0);
  setfacl("-m u:kelpuser1:r", bare);
  EXPECT_EQ(java_entries(acltest::acl_status(bare)), (Lines{"user:kelpuser1:r--", "group::r-x"}));
}

TEST_F(AclRead, OwnerGroupAndStickyBit) {
  ScratchDir dir("aclread");
  std::string d = dir / "sticky";
  ASSERT_EQ(::mkdir(d.c_str(), 0777), 0);
  ASSERT_EQ(::chmod(d.c_str(), 01777), 0);
  ASSERT_EQ(::chown(d.c_str(), kelptest::kUser1Uid, kelptest::kGroup1Gid), 0);
  jobject status = acltest::acl_status(d);
  ASSERT_NE(status, nullptr);
  EXPECT_EQ(status_string(status, "getOwner"), "kelpuser1");
  EXPECT_EQ(status_string(status, "getGroup"), "kelpgrp1");
  EXPECT_TRUE(acltest::sticky(status));

  // An owner and group without names are reported empty, not as a failure.
  std::string f = dir / "nameless";
  kelptest::write_file(f, "x");
  ASSERT_EQ(::chown(f.c_str(), 4243, 4244), 0);
  status = acltest::acl_status(f);
  ASSERT_NE(status, nullptr);
  EXPECT_EQ(status_string(status, "getOwner"), "");
  EXPECT_EQ(status_string(status, "getGroup"), "");
  EXPECT_FALSE(acltest::sticky(status));
}

TEST_F(AclRead, SymlinkUsesItsOwnTypeAndMode) {
  ScratchDir dir("aclread");
  std::string target = dir / "target";
  ASSERT_EQ(::mkdir(target.c_str(), 0755), 0);
  ASSERT_EQ(::chmod(target.c_str(), 01755), 0);
  setfacl("-m u:kelpuser1:rwx", target);
  setfacl("-d -m u:kelpuser2:r", target);
  std::string link = dir / "link";
  ASSERT_EQ(::symlink(target.c_str(), link.c_str()), 0);
  ASSERT_EQ(::lchown(link.c_str(), kelptest::kUser2Uid, kelptest::kGroup2Gid), 0);

  jobject status = acltest::acl_status(link);
  ASSERT_NE(status, nullptr);
  EXPECT_EQ(status_string(status, "getOwner"), "kelpuser2");
  EXPECT_EQ(status_string(status, "getGroup"), "kelpgrp2");
  EXPECT_FALSE(acltest::sticky(status));
  // A link is no directory: no default entries, although its target has some.
  Lines target_access;
  for (const std::string& l : reported(getfacl(target))) {
    if (!acltest::starts_with(l, "default:")) target_access.push_back(l);
  }
  EXPECT_EQ(target_access.size(), 2u);
  EXPECT_EQ(java_entries(status), target_access);
}

TEST_F(AclRead, UnreadableAclsGiveNullWithoutException) {
  ScratchDir dir("aclread");
  EXPECT_EQ(acltest::acl_status(dir / "missing"), nullptr);
  EXPECT_EQ(kelptest::take_exception(), "");

  // A named entry whose uid has no name fails the whole read.
  std::string f = dir / "orphan";
  kelptest::write_file(f, "x");
  setfacl("-m u:4242:r", f);
  EXPECT_EQ(acltest::acl_status(f), nullptr);
  EXPECT_EQ(kelptest::take_exception(), "");
  EXPECT_EQ(kelp::getAclStatus(f.c_str()), nullptr);
}

TEST_F(AclRead, FileSystemWithoutAclsReadsTheMode) {
  ScratchDir dir("aclread", kelptest::kNoAclMount);
  std::string f = dir / "file";
  kelptest::write_file(f, "x");
  ASSERT_EQ(::chmod(f.c_str(), 0754), 0);
  std::string d = dir / "dir";
  ASSERT_EQ(::mkdir(d.c_str(), 0700), 0);
  for (const std::string& p : {f, d}) {
    jobject status = acltest::acl_status(p);
    ASSERT_NE(status, nullptr) << p;
    EXPECT_EQ(java_entries(status), Lines{}) << p;
    EXPECT_EQ(status_string(status, "getOwner"), "root");
  }

  kelp::ScopedAcl access(kelp::get_acl_from_path(f.c_str(), ACL_TYPE_ACCESS));
  ASSERT_TRUE(access);
  mode_t mode = 0;
  EXPECT_EQ(kelp::ACLUtil::acl_equiv_mode(access.get(), &mode), 0);
  EXPECT_EQ(mode, 0754u);
  EXPECT_EQ(kelp::ACLUtil::acl_entries(access.get()), 3);
  kelp::ScopedAcl def(kelp::get_acl_from_path(d.c_str(), ACL_TYPE_DEFAULT));
  ASSERT_TRUE(def);
  EXPECT_EQ(kelp::ACLUtil::acl_entries(def.get()), 0);
}

TEST_F(AclRead, EntryListQuirks) {
  ScratchDir dir("aclread");
  std::string d = dir / "d";
  ASSERT_EQ(::mkdir(d.c_str(), 0755), 0);
  setfacl("-d -m u:kelpuser1:rw", d);

  // The access pruning runs over the whole list: read the default ACL first
  // and only its named entry survives the access read.
  std::list<kelp::AclEntry*> entries;
  kelp::AclEntryListGuard guard(entries);
  ASSERT_TRUE(kelp::get_acl_list(d.c_str(), entries, ACL_TYPE_DEFAULT));
  EXPECT_EQ(entries.size(), 5u);
  ASSERT_TRUE(kelp::get_acl_list(d.c_str(), entries, ACL_TYPE_ACCESS));
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_STREQ(entries.front()->name, "kelpuser1");
  EXPECT_EQ(entries.front()->scope, 1);
  EXPECT_EQ(entries.front()->permission, 6);

  // A regular file has no default ACL to ask for: nothing is added.
  std::string f = dir / "f";
  kelptest::write_file(f, "x");
  ASSERT_TRUE(kelp::get_acl_list(f.c_str(), entries, ACL_TYPE_DEFAULT));
  EXPECT_EQ(entries.size(), 1u);

  // A failed read throws away what the list held.
  EXPECT_FALSE(kelp::get_acl_list((dir / "missing").c_str(), entries, ACL_TYPE_ACCESS));
  EXPECT_TRUE(entries.empty());
}

}  // namespace
