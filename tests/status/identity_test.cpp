// Identity lookups against the sandbox's account database.
#include "status/identity.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "support/sandbox.h"

namespace {

using namespace kelp;

constexpr uid_t kNoSuchUid = 4242424;
constexpr gid_t kNoSuchGid = 4242425;
constexpr gid_t kBigGid = 6004;  // kelpbig: an entry far larger than the first buffer

TEST(Identity, NamesOfIds) {
  kelptest::require_sandbox();
  char name[16];
  ASSERT_EQ(uid_to_usrname(kelptest::kUser1Uid, name, sizeof name), 0);
  EXPECT_STREQ(name, "kelpuser1");
  ASSERT_EQ(gid_to_grpname(kelptest::kAdminsGid, name, sizeof name), 0);
  EXPECT_STREQ(name, "kelpadmins");

  // Failures, including a name that does not fit, leave the buffer alone.
  std::strcpy(name, "untouched");
  EXPECT_EQ(uid_to_usrname(kNoSuchUid, name, sizeof name), 1);
  EXPECT_EQ(gid_to_grpname(kNoSuchGid, name, sizeof name), 1);
  EXPECT_EQ(uid_to_usrname(kelptest::kUser1Uid, name, 9), 1);  // "kelpuser1" needs 10
  EXPECT_STREQ(name, "untouched");
  EXPECT_EQ(uid_to_usrname(kelptest::kUser1Uid, name, 10), 0);
  EXPECT_STREQ(name, "kelpuser1");
}

TEST(Identity, BothNamesWithUnknownAsPlaceholder) {
  kelptest::require_sandbox();
  char user[64];
  char group[64];
  ASSERT_EQ(uidgid_to_names(kelptest::kUser2Uid, kelptest::kGroup2Gid, user, sizeof user, group, sizeof group), 0);
  EXPECT_STREQ(user, "kelpuser2");
  EXPECT_STREQ(group, "kelpgrp2");

  EXPECT_EQ(uidgid_to_names(kNoSuchUid, kelptest::kGroup1Gid, user, sizeof user, group, sizeof group), 1);
  EXPECT_STREQ(user, "unknown");
  EXPECT_STREQ(group, "unknown");  // not looked up after the user failed

  EXPECT_EQ(uidgid_to_names(kelptest::kUser1Uid, kNoSuchGid, user, sizeof user, group, sizeof group), 1);
  EXPECT_STREQ(user, "kelpuser1");
  EXPECT_STREQ(group, "unknown");
}

TEST(Identity, HugeGroupEntryResolvesThroughGrowingBuffers) {
  kelptest::require_sandbox();
  // The entry must outgrow the first buffer for this to mean anything.
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
}

TEST(Identity, IdsOfNames) {
  kelptest::require_sandbox();
  uid_t uid = 77;
  ASSERT_EQ(usrname_to_uid("kelpsvc", uid), 0);
  EXPECT_EQ(uid, 5003u);
  gid_t gid = 77;
  ASSERT_EQ(grpname_to_gid("kelpgrp1", gid), 0);
  EXPECT_EQ(gid, kelptest::kGroup1Gid);

  uid = 77;
  gid = 77;
  EXPECT_EQ(usrname_to_uid("no-such-user", uid), 1);
  EXPECT_EQ(grpname_to_gid("no-such-group", gid), 1);
  EXPECT_EQ(uid, 77u);
  EXPECT_EQ(gid, 77u);
}

}  // namespace
