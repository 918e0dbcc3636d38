// Editing ACLs through the entry points, checked with getfacl afterwards.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <list>
#include <string>

#include "acl/acl_support.h"
#include "acl/libopenacl.h"

namespace {

using namespace acltest;
using kelptest::ScratchDir;

constexpr int kUser = 0, kGroup = 1, kMask = 2, kOther = 3;
constexpr int kAccess = 0, kDefault = 1;

class AclEdit : public ::testing::Test {
 protected:
  void SetUp() override { kelptest::require_sandbox(); }

  // A file, or with |dir| a directory, with |mode| and the given setfacl
  // modifications of its access and default ACLs.
  std::string make(const std::string& name, mode_t mode, const std::string& acl = "",
                   const std::string& default_acl = "", bool dir = false) {
    std::string p = dir_ / name;
    if (dir) {
      EXPECT_EQ(::mkdir(p.c_str(), mode), 0);
    } else {
      kelptest::write_file(p, "x");
    }
    EXPECT_EQ(::chmod(p.c_str(), mode), 0);
    if (!acl.empty()) setfacl("-m " + acl, p);
    if (!default_acl.empty()) setfacl("-d -m " + default_acl, p);
    return p;
  }
  std::string make_dir(const std::string& name, mode_t mode, const std::string& acl = "",
                       const std::string& default_acl = "") {
    return make(name, mode, acl, default_acl, true);
  }
  static int remove_acl(const std::string& path) {
    return Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nRemoveAcl(jvm_env(), kelp_fs(), -42, jstr(path));
  }

  LocalFrame frame_;
  ScratchDir dir_{"acledit"};
};

TEST_F(AclEdit, EmptyRequestsChangeNothing) {
  std::string f = make("f", 0640, "u:kelpuser1:rw");
  Lines before = getfacl(f);
  EXPECT_EQ(set_acl(f, {}), 1);
  EXPECT_EQ(modify_acl(f, {}), 1);
  EXPECT_EQ(Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nSetAcl(jvm_env(), kelp_fs(), -42, jstr(f), nullptr), 1);
  EXPECT_EQ(getfacl(f), before);
}

TEST_F(AclEdit, SetRebuildsOnlyTheAclsItNames) {
  std::string f = make("f", 0640, "u:kelpuser2:rwx");
  ASSERT_EQ(set_acl(f, {{kUser, nullptr, 6, kAccess},
                        {kUser, "kelpuser1", 4, kAccess},
                        {kGroup, nullptr, 4, kAccess},
                        {kOther, "", 0, kAccess}}),
            1);
  EXPECT_EQ(getfacl(f), (Lines{"user::rw-", "user:kelpuser1:r--", "group::r--", "mask::r--", "other::---"}));

  // Access entries only: the default ACL stays.
  std::string d = make_dir("d", 0755, "", "g:kelpgrp1:rx");
  Lines defaults = filter(getfacl(d), true);
  ASSERT_EQ(set_acl(d, {{kUser, "kelpuser1", 7, kAccess}}), 1);
  EXPECT_EQ(getfacl(d)[1], "user:kelpuser1:rwx");
  EXPECT_EQ(filter(getfacl(d), true), defaults);

  // Default entries only: base entries from the mode, a computed mask, and
  // the access ACL (with its named entry) left alone.
  std::string e = make_dir("e", 0750, "u:kelpuser2:rx");
  Lines access = getfacl(e);
  ASSERT_EQ(set_acl(e, {{kUser, "kelpuser1", 6, kDefault}}), 1);
  EXPECT_EQ(filter(getfacl(e), false), access);
  EXPECT_EQ(filter(getfacl(e), true), (Lines{"default:user::rwx", "default:user:kelpuser1:rw-", "default:group::r-x",
                                             "default:mask::rwx", "default:other::---"}));
}

TEST_F(AclEdit, ModifyReplacesPermissionsAndRecomputesTheMask) {
  std::string f = make("f", 0640, "u:kelpuser1:rwx");
  ASSERT_EQ(modify_acl(f, {{kUser, "kelpuser1", 4, kAccess}}), 1);
  EXPECT_EQ(getfacl(f), (Lines{"user::rw-", "user:kelpuser1:r--", "group::r--", "mask::r--", "other::---"}));
  ASSERT_EQ(modify_acl(f, {{kGroup, "kelpgrp2", 6, kAccess}, {kUser, "", 7, kAccess}}), 1);
  EXPECT_EQ(getfacl(f), (Lines{"user::rwx", "user:kelpuser1:r--", "group::r--", "group:kelpgrp2:rw-", "mask::rw-",
                               "other::---"}));

  // Any non-zero scope means the default ACL.
  std::string d = make_dir("d", 0755);
  ASSERT_EQ(modify_acl(d, {{kUser, "kelpuser2", 5, 7}}), 1);
  EXPECT_EQ(filter(getfacl(d), true), (Lines{"default:user::rwx", "default:user:kelpuser2:r-x", "default:group::r-x",
                                             "default:mask::r-x", "default:other::r-x"}));
}

TEST_F(AclEdit, UnchangedAclIsNotWritten) {
  // Owned by root and edited by kelpuser2: a write would be refused, so
  // success means nothing was written.
  std::string f = make("f", 0644, "u:kelpuser1:rw");
  int status = kelptest::run_as(kelptest::kUser2Uid, kelptest::kGroup2Gid, [&] {
    std::list<kelp::AclEntry*> entries;
    kelp::AclEntryListGuard guard(entries);
    entries.push_back(new kelp::AclEntry{kUser, 6, kAccess, "kelpuser1"});
    if (kelp::modifyAclEntries(f.c_str(), entries) != 1) return 10;
    entries.front()->permission = 4;
    return kelp::modifyAclEntries(f.c_str(), entries) == 0 ? 0 : 11;
  });
  EXPECT_EQ(status, 0);
}

TEST_F(AclEdit, RemovingEntries) {
  // The access mask beside named entries is not recomputed: invalid.
  std::string f = make("f", 0640, "u:kelpuser1:rw");
  Lines before = getfacl(f);
  EXPECT_EQ(remove_entries(f, {{kMask, nullptr, 0, kAccess}}), 0);
  EXPECT_EQ(getfacl(f), before);

  std::string d = make_dir("d", 0755, "", "u:kelpuser1:rw");
  ASSERT_EQ(remove_entries(d, {{kUser, "kelpuser1", 0, kDefault}, {kMask, nullptr, 0, kDefault}}), 1);
  EXPECT_EQ(filter(getfacl(d), true), (Lines{"default:user::rwx", "default:group::r-x", "default:other::r-x"}));
  // Without entries the default ACL is deleted.
  ASSERT_EQ(remove_entries(d, {{kUser, nullptr, 0, kDefault}, {kGroup, nullptr, 0, kDefault}, {kOther, nullptr, 0, 1}}),
            1);
  EXPECT_EQ(getfacl(d), (Lines{"user::rwx", "group::r-x", "other::r-x"}));
}

TEST_F(AclEdit, PermissionOutsideZeroToSevenLeavesNone) {
  std::string f = make("f", 0640, "u:kelpuser1:rwx");
  ASSERT_EQ(modify_acl(f, {{kUser, "kelpuser1", 8, kAccess}}), 1);
  EXPECT_EQ(getfacl(f)[1], "user:kelpuser1:---");
  ASSERT_EQ(modify_acl(f, {{kUser, "kelpuser1", 12, kAccess}}), 1);
  EXPECT_EQ(getfacl(f)[1], "user:kelpuser1:---");
  ASSERT_EQ(set_acl(f, {{kUser, "kelpuser2", -1, kAccess}}), 1);
  EXPECT_EQ(getfacl(f)[1], "user:kelpuser2:---");
}

TEST_F(AclEdit, RequestsThatFail) {
  std::string f = make("f", 0640, "u:kelpuser1:rw");
  Lines before = getfacl(f);
  // A default entry on a regular file: modify and set fail, remove ignores it.
  EXPECT_EQ(modify_acl(f, {{kUser, "kelpuser2", 7, kDefault}}), 0);
  EXPECT_EQ(set_acl(f, {{kUser, "kelpuser2", 7, kDefault}}), 0);
  EXPECT_EQ(remove_entries(f, {{kUser, "kelpuser2", 7, kDefault}}), 1);
  // Unknown names fail the whole request before anything is written.
  EXPECT_EQ(modify_acl(f, {{kUser, "kelpuser2", 7, kAccess}, {kUser, "no-such-user", 7, kAccess}}), 0);
  EXPECT_EQ(set_acl(f, {{kGroup, "no-such-group", 7, kAccess}}), 0);
  EXPECT_EQ(getfacl(f), before);
  EXPECT_EQ(modify_acl(dir_ / "missing", {{kUser, nullptr, 7, kAccess}}), 0);
}

TEST_F(AclEdit, UnknownTypeCodeTakesThePreviousTag) {
  std::string f = make("f", 0640, "u:kelpuser1:rwx,u:kelpuser2:rwx");
  // The second record is a user entry without a qualifier: the first named
  // user entry matches it.
  ASSERT_EQ(modify_acl(f, {{kUser, "kelpuser2", 7, kAccess}, {9, nullptr, 4, kAccess}}), 1);
  Lines before = getfacl(f);
  EXPECT_EQ(before[1], "user:kelpuser1:r--");
  EXPECT_EQ(before[2], "user:kelpuser2:rwx");
  // First in a request it has no tag: nothing to remove, nothing valid to add.
  EXPECT_EQ(remove_entries(f, {{9, nullptr, 4, kAccess}}), 1);
  EXPECT_EQ(modify_acl(f, {{9, nullptr, 4, kAccess}}), 0);
  EXPECT_EQ(getfacl(f), before);
}

TEST_F(AclEdit, JavaEntriesThatCannotBeUsedAreSkipped) {
  std::string f = make("f", 0600);
  std::string too_long(300, 'u');
  jobjectArray request = kelptest::acl_entries(
      {{kUser, nullptr, 0, kAccess}, {kUser, too_long.c_str(), 7, kAccess}, {kUser, "kelpuser1", 5, kAccess}});
  jvm_env()->SetObjectArrayElement(request, 0, nullptr);
  ASSERT_EQ(Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nModifyAclEntries(jvm_env(), kelp_fs(), -42, jstr(f), request),
            1);
  EXPECT_EQ(kelptest::take_exception(), "");
  EXPECT_EQ(getfacl(f), (Lines{"user::rw-", "user:kelpuser1:r-x", "group::---", "mask::r-x", "other::---"}));
  // 255 bytes still fit (and name no account).
  EXPECT_EQ(modify_acl(f, {{kUser, std::string(255, 'u').c_str(), 7, kAccess}}), 0);
}

TEST_F(AclEdit, RemoveAclStripsExtendedEntries) {
  std::string d = make_dir("d", 0750, "u:kelpuser1:rwx,g:kelpgrp2:r", "u:kelpuser2:rx");
  ASSERT_EQ(remove_acl(d), 1);
  // The owning group keeps its own permissions, not the mask's.
  EXPECT_EQ(getfacl(d), (Lines{"user::rwx", "group::r-x", "other::---"}));
  EXPECT_EQ(remove_acl(dir_ / "missing"), 0);

  std::string e = make_dir("e", 0750, "u:kelpuser1:rwx", "u:kelpuser2:rx");
  Lines access = filter(getfacl(e), false);
  ASSERT_EQ(Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nRemoveDefaultAcl(jvm_env(), kelp_fs(), -42, jstr(e)), 1);
  EXPECT_EQ(getfacl(e), access);
}

TEST_F(AclEdit, FileSystemWithoutAclsFallsBackToTheMode) {
  ScratchDir noacl("acledit", kelptest::kNoAclMount);
  std::string f = noacl / "f";
  kelptest::write_file(f, "x");
  ASSERT_EQ(::chmod(f.c_str(), 0644), 0);
  ASSERT_EQ(modify_acl(f, {{kUser, nullptr, 7, kAccess}, {kGroup, nullptr, 5, kAccess}, {kOther, nullptr, 0, kAccess}}),
            1);
  struct stat st {};
  ASSERT_EQ(::stat(f.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0750u);
  EXPECT_EQ(remove_acl(f), 0);  // no fallback for stripping
}

}  // namespace
