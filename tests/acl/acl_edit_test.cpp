// Editing ACLs through the entry points, checked with getfacl afterwards.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <list>
#include <string>

#include "acl/acl_support.h"
#include "acl/libopenacl.h"

namespace {

using acltest::default_lines;
using acltest::getfacl;
using acltest::Lines;
using acltest::modify_acl;
using acltest::remove_acl_entries;
using acltest::set_acl;
using acltest::setfacl;
using kelptest::AclSpec;
using kelptest::ScratchDir;

constexpr int kUser = 0, kGroup = 1, kMask = 2, kOther = 3;
constexpr int kAccess = 0, kDefault = 1;

class AclEdit : public ::testing::Test {
 protected:
  void SetUp() override { kelptest::require_sandbox(); }

  // A file (or directory) in the scratch directory with |mode|, plus the
  // given setfacl modifications.
  std::string file(const std::string& name, mode_t mode, const std::string& acl = "") {
    std::string p = dir_ / name;
    kelptest::write_file(p, "x");
    EXPECT_EQ(::chmod(p.c_str(), mode), 0);
    if (!acl.empty()) setfacl("-m " + acl, p);
    return p;
  }
  std::string directory(const std::string& name, mode_t mode, const std::string& acl = "",
                        const std::string& default_acl = "") {
    std::string p = dir_ / name;
    EXPECT_EQ(::mkdir(p.c_str(), mode), 0);
    EXPECT_EQ(::chmod(p.c_str(), mode), 0);
    if (!acl.empty()) setfacl("-m " + acl, p);
    if (!default_acl.empty()) setfacl("-d -m " + default_acl, p);
    return p;
  }

  static int remove_acl(const std::string& path) {
    return Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nRemoveAcl(kelptest::jvm_env(), kelptest::kelp_fs(),
                                                                    -42, kelptest::jstr(path));
  }
  static int remove_default_acl(const std::string& path) {
    return Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nRemoveDefaultAcl(
        kelptest::jvm_env(), kelptest::kelp_fs(), -42, kelptest::jstr(path));
  }

  acltest::LocalFrame frame_;
  ScratchDir dir_{"acledit"};
};

TEST_F(AclEdit, EmptyRequestsChangeNothing) {
  std::string f = file("f", 0640, "u:kelpuser1:rw");
  Lines before = getfacl(f);
  EXPECT_EQ(set_acl(f, {}), 1);
  EXPECT_EQ(modify_acl(f, {}), 1);
  EXPECT_EQ(remove_acl_entries(f, {}), 1);
  EXPECT_EQ(getfacl(f), before);
  // Java may pass no array at all.
  EXPECT_EQ(Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nSetAcl(kelptest::jvm_env(), kelptest::kelp_fs(), -42,
                                                                   kelptest::jstr(f), nullptr),
            1);
  EXPECT_EQ(getfacl(f), before);
  EXPECT_EQ(kelptest::take_exception(), "");
}

TEST_F(AclEdit, SetReplacesTheAccessAclAndKeepsTheDefaultAcl) {
  std::string f = file("f", 0640, "u:kelpuser2:rwx");
  ASSERT_EQ(set_acl(f, {{kUser, nullptr, 6, kAccess},
                        {kUser, "kelpuser1", 4, kAccess},
                        {kGroup, nullptr, 4, kAccess},
                        {kOther, nullptr, 0, kAccess}}),
            1);
  EXPECT_EQ(getfacl(f), (Lines{"user::rw-", "user:kelpuser1:r--", "group::r--", "mask::r--", "other::---"}));

  std::string d = directory("d", 0755, "", "g:kelpgrp1:rx");
  Lines defaults = default_lines(getfacl(d));
  ASSERT_FALSE(defaults.empty());
  ASSERT_EQ(set_acl(d, {{kUser, "kelpuser1", 7, kAccess}}), 1);
  Lines after = getfacl(d);
  EXPECT_EQ(after[1], "user:kelpuser1:rwx");
  EXPECT_EQ(default_lines(after), defaults);
}

TEST_F(AclEdit, SetWithOnlyDefaultEntriesBuildsTheDefaultAcl) {
  std::string d = directory("d", 0750, "u:kelpuser2:rx");
  Lines access_before = getfacl(d);
  ASSERT_EQ(set_acl(d, {{kUser, "kelpuser1", 6, kDefault}}), 1);
  Lines after = getfacl(d);
  // The access ACL is not written: its named entry stays.
  Lines access_after(after.begin(), after.end() - static_cast<long>(default_lines(after).size()));
  EXPECT_EQ(access_after, access_before);
  // Owner, owning group and other come from the mode; the mask is computed.
  EXPECT_EQ(default_lines(after), (Lines{"default:user::rwx", "default:user:kelpuser1:rw-", "default:group::r-x",
                                         "default:mask::rwx", "default:other::---"}));
}

TEST_F(AclEdit, ModifyReplacesPermissionsAndRecomputesTheMask) {
  std::string f = file("f", 0640, "u:kelpuser1:rwx");
  ASSERT_EQ(modify_acl(f, {{kUser, "kelpuser1", 4, kAccess}}), 1);
  EXPECT_EQ(getfacl(f), (Lines{"user::rw-", "user:kelpuser1:r--", "group::r--", "mask::r--", "other::---"}));

  ASSERT_EQ(modify_acl(f, {{kGroup, "kelpgrp2", 6, kAccess}, {kOther, "", 4, kAccess}}), 1);
  EXPECT_EQ(getfacl(f), (Lines{"user::rw-", "user:kelpuser1:r--", "group::r--", "group:kelpgrp2:rw-",
                               "mask::rw-", "other::r--"}));

  // An empty name is the unnamed entry, exactly like a null one.
  ASSERT_EQ(modify_acl(f, {{kUser, "", 7, kAccess}}), 1);
  EXPECT_EQ(getfacl(f)[0], "user::rwx");

  // Any non-zero scope means the default ACL.
  std::string d = directory("d", 0755);
  ASSERT_EQ(modify_acl(d, {{kUser, "kelpuser2", 5, 7}}), 1);
  EXPECT_EQ(default_lines(getfacl(d)), (Lines{"default:user::rwx", "default:user:kelpuser2:r-x", "default:group::r-x",
                                              "default:mask::r-x", "default:other::r-x"}));
}

TEST_F(AclEdit, UnchangedAclIsNotWritten) {
  // Owned by root and edited by kelpuser2: any write would be refused, so
  // success proves nothing was written.
  std::string f = file("f", 0644, "u:kelpuser1:rw");
  int status = kelptest::run_as(kelptest::kUser2Uid, kelptest::kGroup2Gid, [&] {
    std::list<kelp::AclEntry*> same;
    kelp::AclEntryListGuard guard(same);
    same.push_back(new kelp::AclEntry{kUser, 6, kAccess, "kelpuser1"});
    if (kelp::modifyAclEntries(f.c_str(), same) != 1) return 10;
    same.front()->permission = 4;
    if (kelp::modifyAclEntries(f.c_str(), same) != 0) return 11;
    return 0;
  });
  EXPECT_EQ(status, 0);
}

TEST_F(AclEdit, RemovingTheAccessMaskBesideNamedEntriesFails) {
  std::string f = file("f", 0640, "u:kelpuser1:rw");
  Lines before = getfacl(f);
  EXPECT_EQ(remove_acl_entries(f, {{kMask, nullptr, 0, kAccess}}), 0);
  EXPECT_EQ(getfacl(f), before);

  // Removing the named entry and the mask together leaves a valid ACL.
  EXPECT_EQ(remove_acl_entries(f, {{kUser, "kelpuser1", 0, kAccess}, {kMask, nullptr, 0, kAccess}}), 1);
  EXPECT_EQ(getfacl(f), (Lines{"user::rw-", "group::r--", "other::---"}));
}

TEST_F(AclEdit, RemovingDefaultEntries) {
  std::string d = directory("d", 0755, "", "u:kelpuser1:rw");
  ASSERT_EQ(default_lines(getfacl(d)).size(), 5u);
  ASSERT_EQ(remove_acl_entries(d, {{kUser, "kelpuser1", 0, kDefault}, {kMask, nullptr, 0, kDefault}}), 1);
  EXPECT_EQ(default_lines(getfacl(d)), (Lines{"default:user::rwx", "default:group::r-x", "default:other::r-x"}));

  ASSERT_EQ(remove_acl_entries(d, {{kUser, nullptr, 0, kDefault},
                                   {kGroup, nullptr, 0, kDefault},
                                   {kOther, nullptr, 0, kDefault}}),
            1);
  EXPECT_EQ(default_lines(getfacl(d)), Lines{});
  EXPECT_EQ(getfacl(d), (Lines{"user::rwx", "group::r-x", "other::r-x"}));
}

TEST_F(AclEdit, PermissionOutsideZeroToSevenLeavesNone) {
  std::string f = file("f", 0640, "u:kelpuser1:rwx");
  ASSERT_EQ(modify_acl(f, {{kUser, "kelpuser1", 8, kAccess}}), 1);
  EXPECT_EQ(getfacl(f)[1], "user:kelpuser1:---");
  ASSERT_EQ(modify_acl(f, {{kUser, "kelpuser1", 12, kAccess}}), 1);
  EXPECT_EQ(getfacl(f)[1], "user:kelpuser1:---");
  ASSERT_EQ(set_acl(f, {{kUser, "kelpuser2", -1, kAccess}}), 1);
  EXPECT_EQ(getfacl(f)[1], "user:kelpuser2:---");
}

TEST_F(AclEdit, DefaultRecordOnARegularFile) {
  std::string f = file("f", 0640, "u:kelpuser1:rw");
  Lines before = getfacl(f);
  std::vector<AclSpec> request = {{kUser, "kelpuser2", 7, kDefault}};
  EXPECT_EQ(modify_acl(f, request), 0);
  EXPECT_EQ(set_acl(f, request), 0);
  EXPECT_EQ(remove_acl_entries(f, request), 1);
  EXPECT_EQ(getfacl(f), before);
}

TEST_F(AclEdit, UnknownNamesFailTheRequest) {
  std::string f = file("f", 0640);
  EXPECT_EQ(modify_acl(f, {{kUser, "kelpuser1", 7, kAccess}, {kUser, "no-such-user", 7, kAccess}}), 0);
  EXPECT_EQ(modify_acl(f, {{kGroup, "no-such-group", 7, kAccess}}), 0);
  EXPECT_EQ(set_acl(f, {{kGroup, "no-such-group", 7, kAccess}}), 0);
  EXPECT_EQ(getfacl(f), (Lines{"user::rw-", "group::r--", "other::---"}));
  EXPECT_EQ(modify_acl(dir_ / "missing", {{kUser, nullptr, 7, kAccess}}), 0);
}

TEST_F(AclEdit, UnknownTypeCodeTakesThePreviousTag) {
  std::string f = file("f", 0640, "u:kelpuser1:rwx,u:kelpuser2:rwx");
  // The second record is a user entry without a qualifier: the first named
  // user entry matches it.
  ASSERT_EQ(modify_acl(f, {{kUser, "kelpuser2", 7, kAccess}, {9, nullptr, 4, kAccess}}), 1);
  Lines after = getfacl(f);
  EXPECT_EQ(after[1], "user:kelpuser1:r--");
  EXPECT_EQ(after[2], "user:kelpuser2:rwx");
  // First in the request it matches nothing and adds nothing valid.
  Lines before = getfacl(f);
  EXPECT_EQ(remove_acl_entries(f, {{9, nullptr, 4, kAccess}}), 1);
  EXPECT_EQ(modify_acl(f, {{9, nullptr, 4, kAccess}}), 0);
  EXPECT_EQ(getfacl(f), before);
}

TEST_F(AclEdit, JavaEntriesThatCannotBeUsedAreSkipped) {
  std::string f = file("f", 0600);
  std::string too_long(300, 'u');
  JNIEnv* env = kelptest::jvm_env();
  jobjectArray request = kelptest::acl_entries({{kUser, nullptr, 0, kAccess},
                                                {kUser, too_long.c_str(), 7, kAccess},
                                                {kUser, "kelpuser1", 5, kAccess},
                                                {kGroup, nullptr, 4, kAccess}});
  env->SetObjectArrayElement(request, 0, nullptr);
  ASSERT_EQ(Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nModifyAclEntries(env, kelptest::kelp_fs(), -42,
                                                                            kelptest::jstr(f), request),
            1);
  EXPECT_EQ(kelptest::take_exception(), "");
  EXPECT_EQ(getfacl(f), (Lines{"user::rw-", "user:kelpuser1:r-x", "group::r--", "mask::r-x", "other::---"}));

  // A name of 255 bytes still fits (and names no account).
  EXPECT_EQ(modify_acl(f, {{kUser, std::string(255, 'u').c_str(), 7, kAccess}}), 0);
}

TEST_F(AclEdit, RemoveAclStripsExtendedEntries) {
  std::string d = directory("d", 0750, "u:kelpuser1:rwx,g:kelpgrp2:r", "u:kelpuser2:rx");
  ASSERT_EQ(remove_acl(d), 1);
  // The owning group keeps its own permissions, not the mask's.
  EXPECT_EQ(getfacl(d), (Lines{"user::rwx", "group::r-x", "other::---"}));

  std::string f = file("f", 0604, "g:kelpadmins:rw,m::r");
  ASSERT_EQ(remove_acl(f), 1);
  EXPECT_EQ(getfacl(f), (Lines{"user::rw-", "group::---", "other::r--"}));
  EXPECT_EQ(remove_acl(dir_ / "missing"), 0);
}

TEST_F(AclEdit, RemoveDefaultAclLeavesTheAccessAcl) {
  std::string d = directory("d", 0750, "u:kelpuser1:rwx", "u:kelpuser2:rx");
  Lines before = getfacl(d);
  ASSERT_EQ(remove_default_acl(d), 1);
  Lines after = getfacl(d);
  EXPECT_EQ(default_lines(after), Lines{});
  EXPECT_EQ(after, Lines(before.begin(), before.begin() + static_cast<long>(after.size())));
  EXPECT_EQ(after.size(), 5u);
}

TEST_F(AclEdit, FileSystemWithoutAclsFallsBackToTheMode) {
  ScratchDir noacl("acledit", kelptest::kNoAclMount);
  std::string f = noacl / "f";
  kelptest::write_file(f, "x");
  ASSERT_EQ(::chmod(f.c_str(), 0644), 0);
  ASSERT_EQ(modify_acl(f, {{kUser, nullptr, 7, kAccess}, {kGroup, nullptr, 5, kAccess}, {kOther, nullptr, 0, kAccess}}),
            1);
  EXPECT_EQ(acltest::mode_of(f), 0750u);
  ASSERT_EQ(set_acl(f, {{kUser, nullptr, 6, kAccess}, {kGroup, nullptr, 4, kAccess}, {kOther, nullptr, 4, kAccess}}),
            1);
  EXPECT_EQ(acltest::mode_of(f), 0644u);
  // Stripping ACLs has no fallback.
  EXPECT_EQ(remove_acl(f), 0);
  EXPECT_EQ(kelptest::take_exception(), "");
}

}  // namespace
