// Identity lookups against the sandbox's account database.
#include "status/identity.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "support/sandbox.h"

namespace {

using namespace kelp;
using namespace kelptest;

constexpr uid_t kNoSuchUid = 4242424;
constexpr gid_t kNoSuchGid = 4242425;
constexpr gid_t kBigGid = 6004;  // kelpbig: an entry far larger than the first buffer

TEST(Identity, NamesOfIds) {
  require_sandbox();
  char name[16];
  ASSERT_EQ(gid_to_grpname(kAdminsGid, name, sizeof name), 0);
  EXPECT_STREQ(name, "kelpadmins");
  // Failures, including a name that does not fit, leave the buffer alone.
  std::strcpy(name, "untouched");
  EXPECT_EQ(uid_to_usrname(kNoSuchUid, name, sizeof name), 1);
  EXPECT_EQ(gid_to_grpname(kNoSuchGid, name, sizeof name), 1);
  EXPECT_EQ(uid_to_usrname(kUser1Uid, name, 9), 1);  // "kelpuser1" needs 10
  EXPECT_STREQ(name, "untouched");
  EXPECT_EQ(uid_to_usrname(kUser1Uid, name, 10), 0);
  EXPECT_STREQ(name, "kelpuser1");

  // Both names: "unknown" for each not found; no group lookup after the user failed.
  auto both = [](uid_t uid, gid_t gid) {
    char user[64], group[64];
    int rc = uidgid_to_names(uid, gid, user, sizeof user, group, sizeof group);
    return std::to_string(rc) + " " + user + " " + group;
  };
  EXPECT_EQ(both(kUser2Uid, kGroup2Gid), "0 kelpuser2 kelpgrp2");
  EXPECT_EQ(both(kNoSuchUid, kGroup1Gid), "1 unknown unknown");
  EXPECT_EQ(both(kUser1Uid, kNoSuchGid), "1 kelpuser1 unknown");
}

TEST(Identity, IdsOfNamesAndTheHugeGroup) {
  require_sandbox();
  uid_t uid = 77;
  gid_t gid = 77;
  EXPECT_EQ(usrname_to_uid("no-such-user", uid), 1);
  EXPECT_EQ(grpname_to_gid("no-such-group", gid), 1);
  EXPECT_EQ(uid, 77u);
  EXPECT_EQ(gid, 77u);
  ASSERT_EQ(usrname_to_uid("kelpsvc", uid), 0);
  EXPECT_EQ(uid, 5003u);
  ASSERT_EQ(grpname_to_gid("kelpgrp1", gid), 0);
  EXPECT_EQ(gid, kGroup1Gid);

  // kelpbig resolves through growing buffers: its entry must outgrow the first one.
  std::string line;
  ASSERT_EQ(run_command("grep '^kelpbig:' /etc/group", &line), 0);
  long first = ::sysconf(_SC_GETGR_R_SIZE_MAX);
  ASSERT_GT(static_cast<long>(line.size()), first > 0 ? first : 16384);

  char name[256];
  ASSERT_EQ(gid_to_grpname(kBigGid, name, sizeof name), 0);
  EXPECT_STREQ(name, "kelpbig");
  ASSERT_EQ(grpname_to_gid("kelpbig", gid), 0);
  EXPECT_EQ(gid, kBigGid);
}

}  // namespace
