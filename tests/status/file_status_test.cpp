// nGetFileStatus from a real JVM, locally and through the helper daemon: the
// fields of the LocatedFileStatus against what the file system says.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "support/connection_modes.h"
#include "support/sandbox.h"
#include "support/status_view.h"

namespace {

using kelptest::jstr;
using kelptest::run_command;
using kelptest::write_file;
using statustest::StatusView;

constexpr jlong kDefaultBlockSize = 1 << 20;

class FileStatus : public kelptest::ConnectionModeTest {
 protected:
  // The status of |path|; fails the test when there is none.
  StatusView status(const std::string& path) {
    jobject s = KELP_NS(nGetFileStatus, jstr(path), kDefaultBlockSize);
    EXPECT_NE(s, nullptr) << path;
    return s != nullptr ? statustest::view(s) : StatusView();
  }
  int permission(const std::string& path) { return status(path).permission; }

  kelptest::ScratchDir dir_{"status"};
};

void set_times(const std::string& path, timespec atime, timespec mtime) {
  timespec times[2] = {atime, mtime};
  ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
}

TEST_P(FileStatus, DescribesAFileAndFollowsLinks) {
  std::string f = dir_ / "f";
  write_file(f, "12345");
  ASSERT_EQ(::chmod(f.c_str(), 0640), 0);
  // Nanoseconds are cut to milliseconds, never rounded up.
  set_times(f, {1600000000, 123999999}, {1700000000, 999999999});

  StatusView s = status(f);
  EXPECT_EQ(s.cls, "org.apache.hadoop.fs.LocatedFileStatus");
  EXPECT_EQ(s.permission_cls, "org.apache.hadoop.fs.kelp.KELPFsPermission");
  EXPECT_EQ(s.path, f);
  EXPECT_EQ(s.length, 5);
  EXPECT_FALSE(s.isdir);
  EXPECT_EQ(s.mtime, 1700000000999LL);
  EXPECT_EQ(s.atime, 1600000000123LL);
  EXPECT_EQ(s.permission, 0640);
  EXPECT_EQ(s.owner, "root");
  EXPECT_EQ(s.group, "root");
  EXPECT_FALSE(s.has_symlink);
  // A single status carries no block locations, only an empty array, but
  // the block map's replication and block size (default.scn: 3, 4 MiB).
  EXPECT_TRUE(s.has_blocks);
  EXPECT_TRUE(s.blocks.empty());
  EXPECT_EQ(s.replication, 3);
  EXPECT_EQ(s.blocksize, 4 << 20);
  jobject larger = KELP_NS(nGetFileStatus, jstr(f), 8 << 20);
  ASSERT_NE(larger, nullptr);
  EXPECT_EQ(statustest::view(larger).blocksize, 8 << 20) << "a larger default stands";

  // A link is reported as its target, under the link's own path.
  std::string link = dir_ / "link";
  ASSERT_EQ(::symlink(f.c_str(), link.c_str()), 0);
  StatusView l = status(link);
  EXPECT_EQ(l.path, link);
  EXPECT_EQ(l.length, 5);
  EXPECT_EQ(l.mtime, s.mtime);
  EXPECT_FALSE(l.has_symlink);

  // Nothing to examine: null, and no exception.
  EXPECT_EQ(KELP_NS(nGetFileStatus, jstr(dir_ / "missing"), kDefaultBlockSize), nullptr);
  std::string dangling = dir_ / "dangling";
  ASSERT_EQ(::symlink("missing", dangling.c_str()), 0);
  EXPECT_EQ(KELP_NS(nGetFileStatus, jstr(dangling), kDefaultBlockSize), nullptr);
}

TEST_P(FileStatus, PermissionKeepsModeAndStickyBitsAndMarksAccessAcls) {
  std::string f = dir_ / "f";
  write_file(f, "");
  ASSERT_EQ(::chmod(f.c_str(), 04755), 0);
  EXPECT_EQ(permission(f), 0x1ED) << "set-user-id is dropped";
  ASSERT_EQ(::chmod(f.c_str(), 02755), 0);
  EXPECT_EQ(permission(f), 0x1ED) << "set-group-id is dropped";

  std::string d = dir_ / "sticky";
  ASSERT_EQ(::mkdir(d.c_str(), 0700), 0);
  ASSERT_EQ(::chmod(d.c_str(), 01777), 0);
  StatusView sd = status(d);
  EXPECT_EQ(sd.permission, 0x3FF);
  EXPECT_TRUE(sd.isdir);
  struct stat st;
  ASSERT_EQ(::stat(d.c_str(), &st), 0);
  EXPECT_EQ(sd.length, st.st_size);

  // An access ACL adds 0x1000; a default ACL alone does not.
  ASSERT_EQ(run_command("setfacl -m u:kelpuser1:r '" + f + "'"), 0);
  ASSERT_EQ(::stat(f.c_str(), &st), 0);
  EXPECT_EQ(permission(f), 0x1000 | static_cast<int>(st.st_mode & 0777));
  ASSERT_EQ(run_command("setfacl -d -m u:kelpuser1:rx '" + d + "'"), 0);
  EXPECT_EQ(permission(d), 0x3FF);
  ASSERT_EQ(run_command("setfacl -m u:kelpuser1:rx '" + d + "'"), 0);
  ASSERT_EQ(::stat(d.c_str(), &st), 0);
  EXPECT_EQ(permission(d), 0x1000 | static_cast<int>(st.st_mode & 0x3FF));
  // On a file system without ACLs the bit never appears.
  kelptest::ScratchDir noacl("status", kelptest::kNoAclMount);
  write_file(noacl / "f", "");
  ASSERT_EQ(::chmod((noacl / "f").c_str(), 0604), 0);
  EXPECT_EQ(permission(noacl / "f"), 0604);
}

TEST_P(FileStatus, IdsWithoutNamesMakeBothNumeric) {
  std::string f = dir_ / "f";
  write_file(f, "");
  auto owners = [&](uid_t uid, gid_t gid) {
    EXPECT_EQ(::chown(f.c_str(), uid, gid), 0);
    StatusView s = status(f);
    return s.owner + ":" + s.group;
  };
  EXPECT_EQ(owners(kelptest::kUser1Uid, kelptest::kGroup2Gid), "kelpuser1:kelpgrp2");
  EXPECT_EQ(owners(4242424, kelptest::kGroup1Gid), "4242424:6001");
  EXPECT_EQ(owners(kelptest::kUser1Uid, 4242425), "5001:4242425");
  // Printed as signed 32-bit numbers.
  EXPECT_EQ(owners(4294967294u, 4294967293u), "-2:-3");
}

KELP_INSTANTIATE_IN_BOTH_MODES(FileStatus);

}  // namespace
