// The "As" entry points, from a real JVM, locally and through the reference
// helper daemon: what they create goes to the named user and group, and
// only what they create.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "support/connection_modes.h"
#include "support/file_info.h"
#include "support/java_io.h"
#include "support/jvm.h"
#include "support/sandbox.h"

namespace {

using kelptest::group_of;
using kelptest::java_write;
using kelptest::jstr;
using kelptest::kUser1Uid;
using kelptest::owner_of;
using kelptest::path_exists;
using kelptest::read_file;

// Longer than any file name may be: mkdir fails with ENAMETOOLONG.
const std::string kTooLong(300, 'n');

class ImpersonatedOps : public kelptest::ConnectionModeTest {
 protected:
  bool mkdirs_as(const std::string& p, const char* user) {
    return KELP_NS(nMkdirsAs, jstr(p), 0755, jstr(user), jstr(user ? "kelpgrp1" : nullptr));
  }
  jobject create_as(const std::string& p, const char* user, int replication = 0, int bgf = 0) {
    return KELP_NS(nCreateAs, jstr(p), 0640, replication, JNI_FALSE, jstr(user), jstr("kelpgrp1"),
                   bgf);
  }

  kelptest::ScratchDir dir_{"as"};
};

TEST_P(ImpersonatedOps, MkdirsAsGivesAwayOnlyWhatItCreates) {
  ASSERT_EQ(::mkdir((dir_ / "a").c_str(), 0755), 0);
  ASSERT_TRUE(mkdirs_as(dir_ / "a/b/c", "kelpuser1"));
  EXPECT_EQ(owner_of(dir_ / "a"), 0u);
  EXPECT_EQ(owner_of(dir_ / "a/b"), kUser1Uid);
  EXPECT_EQ(owner_of(dir_ / "a/b/c"), kUser1Uid);
  EXPECT_EQ(group_of(dir_ / "a/b/c"), kelptest::kGroup1Gid);
  // Without names the directories stay with their creator.
  ASSERT_TRUE(mkdirs_as(dir_ / "plain/sub", nullptr));
  EXPECT_EQ(owner_of(dir_ / "plain/sub"), 0u);

  // The last component cannot be made, yet the one before it was made and
  // given away: that outcome is the result.
  EXPECT_TRUE(mkdirs_as(dir_ / "new/" + kTooLong, "kelpuser1"));
  EXPECT_EQ(owner_of(dir_ / "new"), kUser1Uid);
  // Here the one before could be made but not given away.
  EXPECT_FALSE(mkdirs_as(dir_ / "new2/" + kTooLong, "no-such-user"));
  EXPECT_EQ(owner_of(dir_ / "new2"), 0u);
  // The first component fails: nothing was made.
  EXPECT_FALSE(mkdirs_as("/" + kTooLong + "/x", "kelpuser1"));
}

TEST_P(ImpersonatedOps, CreateAsGivesAwayTheFileAndItsNewParents) {
  std::string f = dir_ / "d/f";
  ASSERT_TRUE(java_write(create_as(f, "kelpuser1", 3, 7), "mine"));
  EXPECT_EQ(read_file(f), "mine");
  EXPECT_EQ(owner_of(f), kUser1Uid);
  EXPECT_EQ(group_of(f), kelptest::kGroup1Gid);
  EXPECT_EQ(owner_of(dir_ / "d"), kUser1Uid);
  EXPECT_EQ(owner_of(dir_.path()), 0u);
  EXPECT_EQ(kelptest::sim_attr(f, "replication"), "3");
  EXPECT_EQ(kelptest::sim_attr(f, "bgf"), "7");
  EXPECT_EQ(create_as(f, "kelpuser1"), nullptr) << "no overwrite";

  // An unknown user, the parent exists: the file is made and kept by its
  // creator.
  ASSERT_TRUE(java_write(create_as(dir_ / "g", "no-such-user"), "x"));
  EXPECT_EQ(owner_of(dir_ / "g"), 0u);
  // The parent had to be made and could not be given away: no file.
  EXPECT_EQ(create_as(dir_ / "p/f", "no-such-user"), nullptr);
  EXPECT_TRUE(path_exists(dir_ / "p"));
  EXPECT_FALSE(path_exists(dir_ / "p/f"));
}

TEST_P(ImpersonatedOps, AppendAsAndCreateSymlinkAs) {
  std::string f = dir_ / "log";
  kelptest::write_file(f, "a");
  ASSERT_TRUE(java_write(KELP_NS(nAppendAs, jstr(f), jstr("kelpuser1"), jstr("kelpgrp1")), "b"));
  EXPECT_EQ(read_file(f), "ab");
  // Only the daemon gives the file away; locally the names are not used.
  EXPECT_EQ(owner_of(f), local() ? 0u : kUser1Uid);
  EXPECT_EQ(java_write(KELP_NS(nAppendAs, jstr(f), jstr("no-such-user"), jstr("kelpgrp1")), "c"),
            local());
  if (!local()) {
    EXPECT_EQ(daemon().open_fds(f), 0) << "the daemon keeps no descriptor of a failed append";
  }

  // The target changes hands, the link stays with its creator.
  ASSERT_TRUE(KELP_NS(nCreateSymlinkAs, jstr("log"), jstr(dir_ / "link"), jstr("kelpuser2"),
                      jstr("kelpgrp2")));
  EXPECT_EQ(owner_of(f), kelptest::kUser2Uid);
  EXPECT_EQ(group_of(f), kelptest::kGroup2Gid);
  EXPECT_EQ(owner_of(dir_ / "link"), 0u);
  // The link is made before the names are looked up.
  EXPECT_FALSE(KELP_NS(nCreateSymlinkAs, jstr("log"), jstr(dir_ / "link2"), jstr("no-such-user"),
                       jstr("kelpgrp1")));
  EXPECT_TRUE(path_exists(dir_ / "link2"));
  EXPECT_FALSE(KELP_NS(nCreateSymlinkAs, jstr("log"), jstr(dir_ / "link2"), jstr("kelpuser1"),
                       jstr("kelpgrp1")));
}

KELP_INSTANTIATE_IN_BOTH_MODES(ImpersonatedOps);

}  // namespace
