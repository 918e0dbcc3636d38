// Editing ACLs through the entry points, checked with getfacl afterwards.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <list>
#include <string>

#include "acl/acl_support.h"
#include "acl/libopenacl.h"

namespace {

using namespace acltest;
using AclEdit = AclTest;

constexpr int kUser = 0, kGroup = 1, kMask = 2, kOther = 3;
constexpr int kAccess = 0, kDefault = 1;

using EntryListMethod = jint (*)(JNIEnv*, jobject, jint, jstring, jobjectArray);
constexpr EntryListMethod kSet = Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nSetAcl;
constexpr EntryListMethod kModify = Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nModifyAclEntries;
constexpr EntryListMethod kRemove = Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nRemoveAclEntries;

int edit(EntryListMethod method, const std::string& path, const std::vector<AclSpec>& entries) {
  return method(jvm_env(), kelp_fs(), -42, jstr(path), acl_entries(entries));
}
int remove_acl(const std::string& path) {
  return Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nRemoveAcl(jvm_env(), kelp_fs(), -42, jstr(path));
}

TEST_F(AclEdit, RequestsThatChangeNothing) {
  std::string f = make("f", 0640, "u:kelpuser1:rw");
  Lines before = getfacl(f);
  // Empty requests succeed.
  EXPECT_EQ(edit(kSet, f, {}), 1);
  EXPECT_EQ(edit(kModify, f, {}), 1);
  EXPECT_EQ(kSet(jvm_env(), kelp_fs(), -42, jstr(f), nullptr), 1);
  // The access mask beside named entries is not recomputed: invalid.
  EXPECT_EQ(edit(kRemove, f, {{kMask, nullptr, 0, kAccess}}), 0);
  // A default entry on a regular file: modify and set fail, remove ignores it.
  EXPECT_EQ(edit(kModify, f, {{kUser, "kelpuser2", 7, kDefault}}), 0);
  EXPECT_EQ(edit(kSet, f, {{kUser, "kelpuser2", 7, kDefault}}), 0);
  EXPECT_EQ(edit(kRemove, f, {{kUser, "kelpuser2", 7, kDefault}}), 1);
  // Unknown names fail the whole request before anything is written.
  EXPECT_EQ(edit(kModify, f, {{kUser, "kelpuser2", 7, kAccess}, {kUser, "no-such-user", 7, kAccess}}), 0);
  EXPECT_EQ(edit(kSet, f, {{kGroup, "no-such-group", 7, kAccess}}), 0);
  EXPECT_EQ(getfacl(f), before);
  EXPECT_EQ(edit(kModify, dir_ / "missing", {{kUser, nullptr, 7, kAccess}}), 0);
}

TEST_F(AclEdit, SetRebuildsOnlyTheAclsItNames) {
  // Access entries only: the access ACL is rebuilt, the default ACL stays.
  std::string d = make("d", S_IFDIR | 0750, "u:kelpuser2:rwx", "g:kelpgrp1:rx");
  Lines defaults = getfacl(d, kDefaultPart);
  ASSERT_EQ(edit(kSet, d, {{kUser, nullptr, 6, kAccess}, {kUser, "kelpuser1", 4, kAccess},
                           {kGroup, nullptr, 4, kAccess}, {kOther, "", 0, kAccess}}), 1);
  EXPECT_EQ(getfacl(d, kAccessPart),
            (Lines{"user::rw-", "user:kelpuser1:r--", "group::r--", "mask::r--", "other::---"}));
  EXPECT_EQ(getfacl(d, kDefaultPart), defaults);

  // Default entries only: base entries from the mode, a computed mask, and
  // the access ACL (with its named entry) left alone.
  std::string e = make("e", S_IFDIR | 0750, "u:kelpuser2:rx");
  Lines access = getfacl(e);
  ASSERT_EQ(edit(kSet, e, {{kUser, "kelpuser1", 6, kDefault}}), 1);
  EXPECT_EQ(getfacl(e, kAccessPart), access);
  EXPECT_EQ(getfacl(e, kDefaultPart), (Lines{"default:user::rwx", "default:user:kelpuser1:rw-", "default:group::r-x",
                                             "default:mask::rwx", "default:other::---"}));
}

TEST_F(AclEdit, ModifyReplacesPermissionsAndRecomputesTheMask) {
  std::string f = make("f", 0640, "u:kelpuser1:rwx");
  ASSERT_EQ(edit(kModify, f, {{kUser, "kelpuser1", 4, kAccess}}), 1);
  EXPECT_EQ(getfacl(f), (Lines{"user::rw-", "user:kelpuser1:r--", "group::r--", "mask::r--", "other::---"}));
  ASSERT_EQ(edit(kModify, f, {{kGroup, "kelpgrp2", 6, kAccess}, {kUser, "", 7, kAccess}}), 1);
  EXPECT_EQ(getfacl(f), (Lines{"user::rwx", "user:kelpuser1:r--", "group::r--", "group:kelpgrp2:rw-", "mask::rw-",
                               "other::---"}));
  // A permission outside 0..7 leaves none.
  ASSERT_EQ(edit(kModify, f, {{kUser, "kelpuser1", 8, kAccess}, {kGroup, "kelpgrp2", 12, kAccess}}), 1);
  EXPECT_EQ(getfacl(f), (Lines{"user::rwx", "user:kelpuser1:---", "group::r--", "group:kelpgrp2:---", "mask::r--",
                               "other::---"}));
  ASSERT_EQ(edit(kSet, f, {{kUser, "kelpuser2", -1, kAccess}}), 1);
  EXPECT_EQ(getfacl(f), (Lines{"user::rwx", "user:kelpuser2:---", "group::r--", "mask::r--", "other::---"}));

  // Any non-zero scope means the default ACL.
  std::string d = make("d", S_IFDIR | 0755);
  ASSERT_EQ(edit(kModify, d, {{kUser, "kelpuser2", 5, 7}}), 1);
  EXPECT_EQ(getfacl(d, kDefaultPart), (Lines{"default:user::rwx", "default:user:kelpuser2:r-x", "default:group::r-x",
                                             "default:mask::r-x", "default:other::r-x"}));
}

TEST_F(AclEdit, UnchangedAclIsNotWritten) {
  // Owned by root and edited by kelpuser2: a write would be refused, so
  // success means nothing was written.
  std::string f = make("f", 0644, "u:kelpuser1:rw");
  int status = run_as(kUser2Uid, kGroup2Gid, [&] {
    std::list<kelp::AclEntry*> entries;
    kelp::AclEntryListGuard guard(entries);
    entries.push_back(new kelp::AclEntry{kUser, 6, kAccess, "kelpuser1"});
    if (kelp::modifyAclEntries(f.c_str(), entries) != 1) return 10;
    entries.front()->permission = 4;
    return kelp::modifyAclEntries(f.c_str(), entries) == 0 ? 0 : 11;
  });
  EXPECT_EQ(status, 0);
}

TEST_F(AclEdit, Removing) {
  std::string d = make("d", S_IFDIR | 0755, "", "u:kelpuser1:rw");
  ASSERT_EQ(edit(kRemove, d, {{kUser, "kelpuser1", 0, kDefault}, {kMask, nullptr, 0, kDefault}}), 1);
  EXPECT_EQ(getfacl(d, kDefaultPart), (Lines{"default:user::rwx", "default:group::r-x", "default:other::r-x"}));
  // Without entries the default ACL is deleted.
  ASSERT_EQ(edit(kRemove, d, {{kUser, nullptr, 0, kDefault}, {kGroup, nullptr, 0, kDefault}, {kOther, nullptr, 0, 1}}),
            1);
  EXPECT_EQ(getfacl(d), (Lines{"user::rwx", "group::r-x", "other::r-x"}));

  // removeACL strips both ACLs; the owning group keeps its own permissions,
  // not the mask's.
  std::string e = make("e", S_IFDIR | 0750, "u:kelpuser1:rwx,g:kelpgrp2:r", "u:kelpuser2:rx");
  ASSERT_EQ(remove_acl(e), 1);
  EXPECT_EQ(getfacl(e), (Lines{"user::rwx", "group::r-x", "other::---"}));
  EXPECT_EQ(remove_acl(dir_ / "missing"), 0);

  std::string g = make("g", S_IFDIR | 0750, "u:kelpuser1:rwx", "u:kelpuser2:rx");
  Lines access = getfacl(g, kAccessPart);
  ASSERT_EQ(Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nRemoveDefaultAcl(jvm_env(), kelp_fs(), -42, jstr(g)), 1);
  EXPECT_EQ(getfacl(g), access);
}

TEST_F(AclEdit, RecordsOfUnknownTypeOrUnusable) {
  std::string f = make("f", 0640, "u:kelpuser1:rwx,u:kelpuser2:rwx");
  // The second record is a user entry without a qualifier: the first named
  // user entry matches it.
  ASSERT_EQ(edit(kModify, f, {{kUser, "kelpuser2", 7, kAccess}, {9, nullptr, 4, kAccess}}), 1);
  Lines after = getfacl(f);
  EXPECT_EQ(after, (Lines{"user::rw-", "user:kelpuser1:r--", "user:kelpuser2:rwx", "group::r--", "mask::rwx",
                          "other::---"}));
  // First in a request it has no tag: nothing to remove, nothing valid to add.
  EXPECT_EQ(edit(kRemove, f, {{9, nullptr, 4, kAccess}}), 1);
  EXPECT_EQ(edit(kModify, f, {{9, nullptr, 4, kAccess}}), 0);
  EXPECT_EQ(getfacl(f), after);

  // Java entries that cannot be used (null, a name too long) are skipped.
  std::string too_long(300, 'u');
  jobjectArray request = acl_entries(
      {{kUser, nullptr, 0, kAccess}, {kUser, too_long.c_str(), 7, kAccess}, {kUser, "kelpuser1", 5, kAccess}});
  jvm_env()->SetObjectArrayElement(request, 0, nullptr);
  ASSERT_EQ(kModify(jvm_env(), kelp_fs(), -42, jstr(f), request), 1);
  EXPECT_EQ(take_exception(), "");
  after[1] = "user:kelpuser1:r-x";
  EXPECT_EQ(getfacl(f), after);
  // 255 bytes still fit (and name no account).
  EXPECT_EQ(edit(kModify, f, {{kUser, std::string(255, 'u').c_str(), 7, kAccess}}), 0);
}

TEST_F(AclEdit, FileSystemWithoutAclsWorksFromTheMode) {
  ScratchDir noacl("acl", kNoAclMount);
  std::string f = noacl / "f", d = noacl / "d";
  write_file(f, "x");
  ASSERT_EQ(::chmod(f.c_str(), 0644), 0);
  ASSERT_EQ(::mkdir(d.c_str(), 0700), 0);
  // Read: an access ACL made from the mode, an empty default ACL.
  EXPECT_EQ(entries_of(f), Lines{});
  EXPECT_EQ(entries_of(d), Lines{});
  // Edit: the other entries come from the mode, the result is set with chmod.
  ASSERT_EQ(edit(kModify, f, {{kGroup, nullptr, 5, kAccess}}), 1);
  struct stat st {};
  ASSERT_EQ(::stat(f.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0654u);
  EXPECT_EQ(remove_acl(f), 0);  // no fallback for stripping
}

}  // namespace
