// Reading ACLs: what Java receives agrees with getfacl for the same files,
// leaving out what the mode bits already say.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>

#include "acl/acl_support.h"

namespace {

using namespace acltest;
using AclRead = AclTest;

// What a status reports of getfacl's lines: the named access entries, the
// owning group when there is a mask, and every default entry.
Lines reported(const Lines& facl) {
  bool has_mask = std::any_of(facl.begin(), facl.end(), [](const std::string& l) { return l.rfind("mask::", 0) == 0; });
  Lines out;
  for (const std::string& l : facl) {
    bool named = l.find("::") == std::string::npos;
    if (named || l.rfind("default:", 0) == 0 || (has_mask && l.rfind("group::", 0) == 0)) out.push_back(l);
  }
  return out;
}

// "owner/group", with " sticky" when the status has the sticky bit.
std::string owner_group(const std::string& path) {
  jobject status = acl_status(path);
  if (status == nullptr) return "<null>";
  auto text = [&](const char* getter) {
    return to_std(static_cast<jstring>(call(status, getter, "()Ljava/lang/String;")));
  };
  bool sticky = call_boolean(status, "isStickyBit");
  EXPECT_EQ(take_exception(), "");
  return text("getOwner") + "/" + text("getGroup") + (sticky ? " sticky" : "");
}

TEST_F(AclRead, FilesAgreeWithGetfacl) {
  EXPECT_EQ(entries_of(make("plain", 0640)), Lines{});
  EXPECT_EQ(entries_of(make("named", 0640, "u:kelpuser1:rw")), (Lines{"user:kelpuser1:rw-", "group::r--"}));
  std::string mixed = make("mixed", 0644, "u:kelpuser2:rwx,g:kelpgrp2:rw,g:kelpadmins:x,m::r");
  Lines expected = reported(getfacl(mixed));
  EXPECT_EQ(expected.size(), 4u);
  EXPECT_EQ(entries_of(mixed), expected);
}

TEST_F(AclRead, DirectoriesAndLinksToThem) {
  std::string d = make("d", S_IFDIR | 01750, "g:kelpgrp1:rx", "u:kelpuser2:rwx,g:kelpadmins:r");
  ASSERT_EQ(::chown(d.c_str(), kUser1Uid, kGroup1Gid), 0);
  EXPECT_EQ(owner_group(d), "kelpuser1/kelpgrp1 sticky");
  // 2 access entries, then owner, 2 named, group, mask, other with scope 1.
  Lines expected = reported(getfacl(d));
  EXPECT_EQ(expected.size(), 8u);
  EXPECT_EQ(entries_of(d), expected);
  // A link to it is no directory: its own owner and mode, no default entries.
  std::string link = dir_ / "link";
  ASSERT_EQ(::symlink(d.c_str(), link.c_str()), 0);
  ASSERT_EQ(::lchown(link.c_str(), kUser2Uid, kGroup2Gid), 0);
  EXPECT_EQ(owner_group(link), "kelpuser2/kelpgrp2");
  EXPECT_EQ(entries_of(link), Lines(expected.begin(), expected.begin() + 2));
  // Without a default ACL a directory reports no default entries.
  EXPECT_EQ(entries_of(make("bare", S_IFDIR | 0755, "u:kelpuser1:r")), (Lines{"user:kelpuser1:r--", "group::r-x"}));
}

TEST_F(AclRead, NamesThatCannotBeFound) {
  // An owner and group without names are reported empty.
  std::string f = make("nameless", 0644);
  ASSERT_EQ(::chown(f.c_str(), 4243, 4244), 0);
  EXPECT_EQ(owner_group(f), "/");
  // A named entry whose uid has no name fails the whole read, quietly.
  setfacl("-m u:4242:r", f);
  EXPECT_EQ(entries_of(f), Lines{"<null>"});
  EXPECT_EQ(entries_of(dir_ / "missing"), Lines{"<null>"});
  EXPECT_EQ(take_exception(), "");
}

}  // namespace
