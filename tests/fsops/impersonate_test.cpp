// The "As" entry points, from a real JVM, locally and through the reference
// helper daemon: what they create goes to the named user and group, and
// only what they create.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "org_apache_hadoop_fs_kelp_KelpFileSystem.h"
#include "support/connection_modes.h"
#include "support/file_info.h"
#include "support/java_io.h"
#include "support/jvm.h"
#include "support/sandbox.h"

namespace {

using kelptest::group_of;
using kelptest::jstr;
using kelptest::kGroup1Gid;
using kelptest::kUser1Uid;
using kelptest::owner_of;
using kelptest::path_exists;
using kelptest::ScratchDir;

// Longer than any file name may be: mkdir fails with ENAMETOOLONG.
const std::string kTooLong(300, 'n');

class ImpersonatedOps : public kelptest::ConnectionModeTest {
 protected:
  jobject create_as(const std::string& p, int replication, jboolean overwrite, const char* user,
                    const char* group, int bgf) {
    return Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nCreateAs(
        env_, fs_, conn_, jstr(p), 0640, replication, overwrite, jstr(user), jstr(group), bgf);
  }
  jobject append_as(const std::string& p, const char* user, const char* group) {
    return Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nAppendAs(env_, fs_, conn_, jstr(p),
                                                                   jstr(user), jstr(group));
  }
  bool mkdirs_as(const std::string& p, const char* user, const char* group) {
    return Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nMkdirsAs(env_, fs_, conn_, jstr(p), 0755,
                                                                   jstr(user), jstr(group));
  }
  bool symlink_as(const std::string& target, const std::string& link, const char* user,
                  const char* group) {
    return Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nCreateSymlinkAs(
        env_, fs_, conn_, jstr(target), jstr(link), jstr(user), jstr(group));
  }

  ScratchDir dir_{"as"};
};

TEST_P(ImpersonatedOps, MkdirsAsGivesAwayOnlyWhatItCreates) {
  ASSERT_EQ(::mkdir((dir_ / "a").c_str(), 0755), 0);
  ASSERT_TRUE(mkdirs_as(dir_ / "a/b/c", "kelpuser1", "kelpgrp1"));
  EXPECT_EQ(owner_of(dir_ / "a"), 0u);
  EXPECT_EQ(owner_of(dir_ / "a/b"), kUser1Uid);
  EXPECT_EQ(group_of(dir_ / "a/b"), kGroup1Gid);
  EXPECT_EQ(owner_of(dir_ / "a/b/c"), kUser1Uid);
  EXPECT_EQ(group_of(dir_ / "a/b/c"), kGroup1Gid);

  // Without names the directories stay with their creator.
  ASSERT_TRUE(mkdirs_as(dir_ / "plain/sub", nullptr, nullptr));
  EXPECT_EQ(owner_of(dir_ / "plain/sub"), 0u);
}

TEST_P(ImpersonatedOps, MkdirsAsReportsTheLastComponentThatWasMade) {
  // The last component cannot be made, yet the one before it was made and
  // given away: that outcome is the result.
  EXPECT_TRUE(mkdirs_as(dir_ / "new" + "/" + kTooLong, "kelpuser1", "kelpgrp1"));
  EXPECT_EQ(owner_of(dir_ / "new"), kUser1Uid);

  // Here the one before could be made but not given away.
  EXPECT_FALSE(mkdirs_as(dir_ / "new2" + "/" + kTooLong, "no-such-user", "kelpgrp1"));
  EXPECT_EQ(owner_of(dir_ / "new2"), 0u);

  // The first component fails: nothing was made.
  EXPECT_FALSE(mkdirs_as("/" + kTooLong + "/x", "kelpuser1", "kelpgrp1"));
}

TEST_P(ImpersonatedOps, CreateAsGivesAwayTheFileAndItsNewParents) {
  std::string f = dir_ / "d/f";
  jobject fd = create_as(f, 3, JNI_FALSE, "kelpuser1", "kelpgrp1", 7);
  ASSERT_NE(fd, nullptr);
  ASSERT_TRUE(kelptest::java_write(fd, "mine"));
  EXPECT_EQ(kelptest::read_file(f), "mine");
  EXPECT_EQ(owner_of(f), kUser1Uid);
  EXPECT_EQ(group_of(f), kGroup1Gid);
  EXPECT_EQ(owner_of(dir_ / "d"), kUser1Uid);
  EXPECT_EQ(owner_of(dir_.path()), 0u);
  EXPECT_EQ(kelptest::sim_attr(f, "replication"), "3");
  EXPECT_EQ(kelptest::sim_attr(f, "bgf"), "7");

  EXPECT_EQ(create_as(f, 0, JNI_FALSE, "kelpuser1", "kelpgrp1", 0), nullptr);
  EXPECT_EQ(kelptest::read_file(f), "mine");
}

TEST_P(ImpersonatedOps, CreateAsForAnUnknownUser) {
  // The parent exists: the file is made and kept by its creator.
  jobject fd = create_as(dir_ / "f", 0, JNI_FALSE, "no-such-user", "kelpgrp1", 0);
  ASSERT_NE(fd, nullptr);
  ASSERT_TRUE(kelptest::java_write(fd, "x"));
  EXPECT_EQ(owner_of(dir_ / "f"), 0u);

  // The parent had to be made and could not be given away: no file.
  EXPECT_EQ(create_as(dir_ / "p/f", 0, JNI_FALSE, "no-such-user", "kelpgrp1", 0), nullptr);
  EXPECT_TRUE(path_exists(dir_ / "p"));
  EXPECT_FALSE(path_exists(dir_ / "p/f"));
}

TEST_P(ImpersonatedOps, AppendAsGivesTheFileAwayOnlyThroughTheDaemon) {
  std::string f = dir_ / "log";
  kelptest::write_file(f, "a");
  jobject fd = append_as(f, "kelpuser1", "kelpgrp1");
  ASSERT_NE(fd, nullptr);
  ASSERT_TRUE(kelptest::java_write(fd, "b"));
  EXPECT_EQ(kelptest::read_file(f), "ab");
  EXPECT_EQ(owner_of(f), local() ? 0u : kUser1Uid);

  if (local()) {
    // The names are not used locally.
    fd = append_as(f, "no-such-user", "kelpgrp1");
    ASSERT_NE(fd, nullptr);
    ASSERT_TRUE(kelptest::java_write(fd, "c"));
    EXPECT_EQ(kelptest::read_file(f), "abc");
  } else {
    EXPECT_EQ(append_as(f, "no-such-user", "kelpgrp1"), nullptr);
    EXPECT_EQ(daemon().fds_on(f), 0) << "the daemon keeps no descriptor of a failed append";
  }
}

TEST_P(ImpersonatedOps, CreateSymlinkAsGivesAwayTheTargetNotTheLink) {
  kelptest::write_file(dir_ / "target", "");
  ASSERT_TRUE(symlink_as("target", dir_ / "link", "kelpuser1", "kelpgrp1"));
  EXPECT_EQ(owner_of(dir_ / "target"), kUser1Uid);
  EXPECT_EQ(group_of(dir_ / "target"), kGroup1Gid);
  EXPECT_EQ(owner_of(dir_ / "link"), 0u);

  // The link is made before the names are looked up.
  EXPECT_FALSE(symlink_as("target", dir_ / "link2", "no-such-user", "kelpgrp1"));
  EXPECT_TRUE(path_exists(dir_ / "link2"));
  EXPECT_FALSE(symlink_as("target", dir_ / "link2", "kelpuser1", "kelpgrp1"));
}

KELP_INSTANTIATE_IN_BOTH_MODES(ImpersonatedOps);

}  // namespace
