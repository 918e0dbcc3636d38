// Identity lookups against the sandbox's account database.
#include "status/identity.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "support/sandbox.h"

namespace {

using kelp::gid_to_grpname;
using kelp::grpname_to_gid;
using kelp::uid_to_usrname;
using kelp::uidgid_to_names;
using kelp::usrname_to_uid;

constexpr uid_t kNoSuchUid = 4242424;
constexpr gid_t kNoSuchGid = 4242425;
constexpr gid_t kBigGid = 6004;  // kelpbig: an entry far larger than the first buffer

class Identity : public ::testing::Test {
 protected:
  void SetUp() override { kelptest::require_sandbox(); }
};

TEST_F(Identity, NamesOfKnownIdsAndFailuresLeaveTheBufferAlone) {
  char name[256];
  ASSERT_EQ(uid_to_usrname(kelptest::kUser1Uid, name, sizeof name), 0);
  EXPECT_STREQ(name, "kelpuser1");
  ASSERT_EQ(uid_to_usrname(0, name, sizeof name), 0);
  EXPECT_STREQ(name, "root");
  ASSERT_EQ(gid_to_grpname(kelptest::kAdminsGid, name, sizeof name), 0);
  EXPECT_STREQ(name, "kelpadmins");

  std::strcpy(name, "untouched");
  EXPECT_EQ(uid_to_usrname(kNoSuchUid, name, sizeof name), 1);
  EXPECT_STREQ(name, "untouched");
  EXPECT_EQ(gid_to_grpname(kNoSuchGid, name, sizeof name), 1);
  EXPECT_STREQ(name, "untouched");
}

TEST_F(Identity, NamesAreCopiedOnlyWhenTheyFit) {
  char name[16];
  std::memset(name, 'x', sizeof name);
  // "kelpuser1" needs 10 bytes with its terminator.
  EXPECT_EQ(uid_to_usrname(kelptest::kUser1Uid, name, 9), 1);
  EXPECT_EQ(name[0], 'x');
  EXPECT_EQ(name[8], 'x');
  ASSERT_EQ(uid_to_usrname(kelptest::kUser1Uid, name, 10), 0);
  EXPECT_STREQ(name, "kelpuser1");
  EXPECT_EQ(name[10], 'x');

  EXPECT_EQ(gid_to_grpname(kelptest::kAdminsGid, name, 10), 1);
  EXPECT_STREQ(name, "kelpuser1");
}

TEST_F(Identity, BothNamesWithUnknownAsPlaceholder) {
  char user[64];
  char group[64];
  ASSERT_EQ(uidgid_to_names(kelptest::kUser2Uid, kelptest::kGroup2Gid, user, sizeof user, group,
                            sizeof group),
            0);
  EXPECT_STREQ(user, "kelpuser2");
  EXPECT_STREQ(group, "kelpgrp2");

  // An unknown user stops before the group is looked up.
  EXPECT_EQ(uidgid_to_names(kNoSuchUid, kelptest::kGroup1Gid, user, sizeof user, group, sizeof group),
            1);
  EXPECT_STREQ(user, "unknown");
  EXPECT_STREQ(group, "unknown");

  EXPECT_EQ(uidgid_to_names(kelptest::kUser1Uid, kNoSuchGid, user, sizeof user, group, sizeof group),
            1);
  EXPECT_STREQ(user, "kelpuser1");
  EXPECT_STREQ(group, "unknown");
}

TEST_F(Identity, HugeGroupEntryResolvesThroughGrowingBuffers) {
  // The lookup must have outgrown its first buffer for this to mean anything.
  std::string line;
  ASSERT_EQ(kelptest::run_command("grep '^kelpbig:' /etc/group", &line), 0);
  long first = ::sysconf(_SC_GETGR_R_SIZE_MAX);
  ASSERT_GT(static_cast<long>(line.size()), first > 0 ? first : 16384);

  char name[256];
  ASSERT_EQ(gid_to_grpname(kBigGid, name, sizeof name), 0);
  EXPECT_STREQ(name, "kelpbig");
  gid_t gid = 0;
  ASSERT_EQ(grpname_to_gid("kelpbig", gid), 0);
  EXPECT_EQ(gid, kBigGid);

  char user[64];
  char group[64];
  ASSERT_EQ(uidgid_to_names(kelptest::kUser1Uid, kBigGid, user, sizeof user, group, sizeof group), 0);
  EXPECT_STREQ(group, "kelpbig");
}

TEST_F(Identity, IdsOfNames) {
  uid_t uid = 77;
  ASSERT_EQ(usrname_to_uid("kelpsvc", uid), 0);
  EXPECT_EQ(uid, 5003u);
  uid = 77;
  EXPECT_EQ(usrname_to_uid("no-such-user", uid), 1);
  EXPECT_EQ(uid, 77u);

  gid_t gid = 77;
  ASSERT_EQ(grpname_to_gid("kelpgrp1", gid), 0);
  EXPECT_EQ(gid, kelptest::kGroup1Gid);
  gid = 77;
  EXPECT_EQ(grpname_to_gid("no-such-group", gid), 1);
  EXPECT_EQ(gid, 77u);
}

}  // namespace
