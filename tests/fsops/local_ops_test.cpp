// Local path operations against real files in the sandbox.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstring>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "fsops/local_ops.h"
#include "support/sandbox.h"

namespace {

using kelptest::path_exists;
using kelptest::ScratchDir;

mode_t mode_of(const std::string& path) {
  struct stat st;
  EXPECT_EQ(::lstat(path.c_str(), &st), 0) << path;
  return st.st_mode & 07777;
}

struct stat stat_of(const std::string& path) {
  struct stat st {};
  EXPECT_EQ(::lstat(path.c_str(), &st), 0) << path;
  return st;
}

class LocalOps : public ::testing::Test {
 protected:
  void SetUp() override { ::umask(0); }
  ScratchDir dir_{"localops"};
};

TEST_F(LocalOps, MkdirsSplitsFromTheThirdCharacterAndAcceptsExistingObjects) {
  std::string leaf = dir_ / "a/b/c";
  EXPECT_EQ(kelp::kelp_mkdirs(leaf.c_str(), 0751), 1);
  EXPECT_EQ(mode_of(dir_ / "a"), 0751u);  // every level gets the leaf's mode
  EXPECT_EQ(mode_of(leaf), 0751u);
  EXPECT_EQ(kelp::kelp_mkdirs(leaf.c_str(), 0700), 1);  // all exist
  kelptest::write_file(dir_ / "file", "x");
  EXPECT_EQ(kelp::kelp_mkdirs((dir_ / "file").c_str(), 0755), 1);  // EEXIST of a non-directory

  std::string base = dir_.path();
  int status = kelptest::run_as(0, 0, [&] {
    if (::chdir(base.c_str()) != 0) return 10;
    // "x/y": the slash at index 1 is not a separator, so x is never made.
    if (kelp::kelp_mkdirs("x/y", 0755) != 0 || errno != ENOENT) return 11;
    if (path_exists("x")) return 12;
    // "xy/z" splits after "xy".
    if (kelp::kelp_mkdirs("xy/z", 0755) != 1 || !path_exists("xy/z")) return 13;
    return 0;
  });
  EXPECT_EQ(status, 0);

  errno = 0;
  EXPECT_EQ(kelp::kelp_mkdirs((dir_ / "file/sub").c_str(), 0755), 0);
  EXPECT_EQ(errno, ENOTDIR);
}

TEST_F(LocalOps, CreateMakesParentsTruncatesOrRefusesAndSetsReplication) {
  std::string f = dir_ / "p/q/f";
  int fd = kelp::kelp_create(f.c_str(), 0640, 3, false, 0);
  ASSERT_GE(fd, 0);
  EXPECT_TRUE(kelptest::is_cloexec(fd));
  EXPECT_EQ(::fcntl(fd, F_GETFL) & O_ACCMODE, O_WRONLY);
  EXPECT_EQ(::write(fd, "hello", 5), 5);
  ::close(fd);
  EXPECT_EQ(mode_of(dir_ / "p/q"), 0640u);  // parents get the file's own mode
  EXPECT_EQ(mode_of(f), 0640u);
  EXPECT_EQ(kelptest::sim_attr(f, "replication"), "3");

  EXPECT_EQ(kelp::kelp_create(f.c_str(), 0640, 0, false, 0), -EEXIST);
  EXPECT_EQ(kelptest::read_file(f), "hello");
  fd = kelp::kelp_create(f.c_str(), 0640, 0, true, 0);
  ASSERT_GE(fd, 0);
  ::close(fd);
  EXPECT_EQ(kelptest::read_file(f), "");
  EXPECT_TRUE(kelptest::sim_records("fcntl", f).size() == 1u) << "no request without replication";
}

TEST_F(LocalOps, FailedReplicationRequestLeavesNoFile) {
  std::string f = dir_ / "r";
  ASSERT_TRUE(kelpsim::inject_failure("2005", EDQUOT));
  EXPECT_EQ(kelp::kelp_create(f.c_str(), 0644, 2, false, 0), -EDQUOT);
  EXPECT_FALSE(path_exists(f));
  // The simulated library refuses a replication beyond its limit.
  EXPECT_EQ(kelp::kelp_create(f.c_str(), 0644, 9, false, 0), -EINVAL);
  EXPECT_FALSE(path_exists(f));
}

TEST_F(LocalOps, BlockGroupFactorIsClampedAndSentBigEndian) {
  struct Case {
    const char* name;
    int bgf;
    uint32_t sent;
  } cases[] = {{"big", 5000, 1024}, {"negative", -3, 1}};
  for (const Case& c : cases) {
    std::string f = dir_ / c.name;
    int fd = kelp::kelp_create(f.c_str(), 0644, 0, true, c.bgf);
    ASSERT_GE(fd, 0) << c.name;
    EXPECT_EQ(::fcntl(fd, F_GETFL) & O_ACCMODE, O_WRONLY);
    ::close(fd);
    auto records = kelptest::sim_records("fcntl", f);
    ASSERT_EQ(records.size(), 1u) << c.name;
    const auto& b = records[0].bytes;
    ASSERT_EQ(b.size(), 56u);
    EXPECT_EQ(b[20] | b[21] << 8, 6002);
    EXPECT_EQ(std::string(b.begin() + 40, b.begin() + 48), "kelp.BGF");
    uint32_t sent = uint32_t{b[48]} << 24 | uint32_t{b[49]} << 16 | uint32_t{b[50]} << 8 | b[51];
    EXPECT_EQ(sent, c.sent) << c.name;
    EXPECT_EQ(kelptest::sim_attr(f, "bgf"), std::to_string(c.sent));
  }
}

TEST_F(LocalOps, OpenAndAppend) {
  std::string f = dir_ / "data";
  EXPECT_EQ(kelp::kelp_open(f.c_str()), -1);
  for (const char* chunk : {"ab", "cd"}) {  // the first append creates the file
    int fd = kelp::kelp_append(f.c_str());
    ASSERT_GE(fd, 0);
    EXPECT_TRUE(kelptest::is_cloexec(fd));
    EXPECT_EQ(::write(fd, chunk, 2), 2);
    ::close(fd);
  }
  EXPECT_EQ(kelptest::read_file(f), "abcd");
  EXPECT_EQ(mode_of(f), 0666u);
  int fd = kelp::kelp_open(f.c_str());
  ASSERT_GE(fd, 0);
  EXPECT_EQ(::fcntl(fd, F_GETFL) & O_ACCMODE, O_RDONLY);
  ::close(fd);
}

TEST_F(LocalOps, ExistsCountsWhatCannotBeExaminedAsPresent) {
  std::string secret = dir_ / "secret";
  ASSERT_EQ(::mkdir(secret.c_str(), 0700), 0);
  kelptest::write_file(secret + "/inside", "x");
  kelptest::write_file(dir_ / "locked", "x");
  ::chmod((dir_ / "locked").c_str(), 0);
  kelptest::write_file(dir_ / "plain", "x");
  std::string base = dir_.path();
  int status = kelptest::run_as(kelptest::kUser1Uid, kelptest::kGroup1Gid, [&] {
    if (kelp::kelp_exists((secret + "/inside").c_str()) != 1) return 1;   // EACCES on the parent
    if (kelp::kelp_exists((secret + "/nothing").c_str()) != 1) return 2;  // cannot tell either
    if (kelp::kelp_exists((base + "/locked").c_str()) != 1) return 3;     // open fails EACCES
    if (kelp::kelp_exists((base + "/plain").c_str()) != 1) return 4;
    if (kelp::kelp_exists((base + "/absent").c_str()) != 0) return 5;
    if (kelp::kelp_exists((base + "/plain/below").c_str()) != 1) return 6;  // ENOTDIR
    return 0;
  });
  EXPECT_EQ(status, 0);
}

TEST_F(LocalOps, DeleteRefusesNonEmptyDirectoriesUnlessRecursive) {
  std::string d = dir_ / "tree";
  ASSERT_EQ(kelp::kelp_mkdirs((d + "/a/b").c_str(), 0755), 1);
  kelptest::write_file(d + "/a/b/f", "x");
  kelptest::write_file(d + "/g", "x");
  EXPECT_EQ(kelp::kelp_delete(d.c_str(), false), kelp::kDeleteFailed);
  EXPECT_TRUE(path_exists(d + "/a/b/f"));
  EXPECT_EQ(kelp::kelp_delete(d.c_str(), true), kelp::kDeleteOk);
  EXPECT_FALSE(path_exists(d));

  ASSERT_EQ(::mkdir(d.c_str(), 0755), 0);
  EXPECT_EQ(kelp::kelp_delete(d.c_str(), false), kelp::kDeleteOk);  // empty
  EXPECT_EQ(kelp::kelp_delete(d.c_str(), false), kelp::kDeleteFailed);  // gone
  kelptest::write_file(d, "file");
  EXPECT_EQ(kelp::kelp_delete(d.c_str(), false), kelp::kDeleteOk);
}

TEST_F(LocalOps, DeleteStopsAtSnapshotDirectories) {
  std::string d = dir_ / "snapped";
  ASSERT_EQ(kelp::kelp_mkdirs((d + "/sub/.snapshot").c_str(), 0755), 1);
  ASSERT_EQ(::symlink("/nowhere", (d + "/sub/.snapshot/s1").c_str()), 0);
  EXPECT_EQ(kelp::kelp_delete(d.c_str(), true), kelp::kDeleteSnapshotFound);
  EXPECT_TRUE(path_exists(d + "/sub/.snapshot/s1"));

  ASSERT_EQ(::unlink((d + "/sub/.snapshot/s1").c_str()), 0);  // now empty
  kelptest::FdSnapshot before;
  EXPECT_EQ(kelp::kelp_delete(d.c_str(), true), kelp::kDeleteFailed);
  EXPECT_TRUE(path_exists(d + "/sub/.snapshot"));
  EXPECT_EQ(before.added(), 0);

  // A regular file of that name, and ".snapshots", are ordinary entries.
  ASSERT_EQ(::rmdir((d + "/sub/.snapshot").c_str()), 0);
  kelptest::write_file(d + "/sub/.snapshot", "not a directory");
  ASSERT_EQ(::mkdir((d + "/.snapshots").c_str(), 0755), 0);
  kelptest::write_file(d + "/.snapshots/x", "x");
  EXPECT_EQ(kelp::kelp_delete(d.c_str(), true), kelp::kDeleteOk);
  EXPECT_FALSE(path_exists(d));
  EXPECT_EQ(before.added(), 0);
}

TEST_F(LocalOps, DeleteRemovesLinksNeverWhatTheyName) {
  ScratchDir outside("delete-outside", kelptest::kOtherMount);
  std::string target = outside / "dir";
  ASSERT_EQ(kelp::kelp_mkdirs((target + "/deep").c_str(), 0755), 1);
  kelptest::write_file(target + "/deep/keep", "keep");
  kelptest::write_file(outside / "file", "keep");
  std::string d = dir_ / "linked";
  ASSERT_EQ(kelp::kelp_mkdirs((d + "/sub").c_str(), 0755), 1);
  ASSERT_EQ(::symlink(target.c_str(), (d + "/sub/to-dir").c_str()), 0);
  ASSERT_EQ(::symlink((outside / "file").c_str(), (d + "/to-file").c_str()), 0);
  ASSERT_EQ(::symlink("/nowhere", (d + "/dangling").c_str()), 0);
  ASSERT_EQ(::mkfifo((d + "/fifo").c_str(), 0600), 0);  // unlinked, never opened
  EXPECT_EQ(kelp::kelp_delete(d.c_str(), true), kelp::kDeleteOk);
  EXPECT_FALSE(path_exists(d));
  EXPECT_EQ(kelptest::read_file(target + "/deep/keep"), "keep");
  EXPECT_EQ(kelptest::read_file(outside / "file"), "keep");

  // The path itself a link: the link goes; its target decides as before.
  std::string link = dir_ / "link";
  ASSERT_EQ(::symlink(target.c_str(), link.c_str()), 0);
  EXPECT_EQ(kelp::kelp_delete(link.c_str(), false), kelp::kDeleteFailed) << "not empty";
  EXPECT_EQ(kelp::kelp_delete(link.c_str(), true), kelp::kDeleteOk);
  EXPECT_FALSE(path_exists(link));
  EXPECT_EQ(kelptest::read_file(target + "/deep/keep"), "keep");

  // A ".snapshot" link still stops the delete, its target only read.
  ASSERT_EQ(::mkdir(d.c_str(), 0755), 0);
  ASSERT_EQ(::symlink(target.c_str(), (d + "/.snapshot").c_str()), 0);
  EXPECT_EQ(kelp::kelp_delete(d.c_str(), true), kelp::kDeleteSnapshotFound);
  EXPECT_EQ(kelptest::read_file(target + "/deep/keep"), "keep");
  ASSERT_EQ(::unlink((d + "/.snapshot").c_str()), 0);
}

// A directory and a link to the outside swap places (atomically, over and
// over) while the tree is deleted: whatever the delete finds, it never
// reaches through the link.
TEST_F(LocalOps, DeleteNeverFollowsALinkSwappedInDuringTheWalk) {
  ScratchDir outside("race-outside", kelptest::kOtherMount);
  std::string target = outside / "dir";
  for (int round = 0; round < 200; ++round) {
    ASSERT_EQ(kelp::kelp_mkdirs((target + "/deep").c_str(), 0755), 1);
    kelptest::write_file(target + "/deep/keep", "keep");
    std::string d = dir_ / "race";
    ASSERT_EQ(kelp::kelp_mkdirs((d + "/x/y").c_str(), 0755), 1);
    kelptest::write_file(d + "/x/y/f", "");
    ASSERT_EQ(::symlink(target.c_str(), (d + "/l").c_str()), 0);
    std::atomic<bool> stop{false};
    std::thread swapper([&] {
      while (!stop.load()) {
        ::syscall(SYS_renameat2, AT_FDCWD, (d + "/x").c_str(), AT_FDCWD, (d + "/l").c_str(),
                  RENAME_EXCHANGE);
      }
    });
    int result = kelp::kelp_delete(d.c_str(), true);
    stop = true;
    swapper.join();
    EXPECT_NE(result, kelp::kDeleteSnapshotFound);
    ASSERT_EQ(kelptest::read_file(target + "/deep/keep"), "keep") << "round " << round;
    kelptest::run_command("rm -rf " + d);
  }
}

TEST_F(LocalOps, RenameResultCodes) {
  kelptest::write_file(dir_ / "a", "A");
  EXPECT_EQ(kelp::kelp_rename((dir_ / "a").c_str(), (dir_ / "b").c_str()), kelp::kRenameOk);
  EXPECT_EQ(kelptest::read_file(dir_ / "b"), "A");
  EXPECT_EQ(kelp::kelp_rename((dir_ / "a").c_str(), (dir_ / "c").c_str()), kelp::kRenameFailed);

  // A busy target (a mount point) counts as success, and nothing moves.
  std::string busy = dir_ / "busy";
  ASSERT_EQ(::mkdir(busy.c_str(), 0755), 0);
  ASSERT_EQ(::mount("busy", busy.c_str(), "tmpfs", 0, nullptr), 0);
  ASSERT_EQ(::mkdir((dir_ / "d").c_str(), 0755), 0);
  EXPECT_EQ(kelp::kelp_rename((dir_ / "d").c_str(), busy.c_str()), kelp::kRenameOk);
  EXPECT_TRUE(path_exists(dir_ / "d"));
  ::umount(busy.c_str());
}

TEST_F(LocalOps, RenameAcrossDevicesFallsBackToMv) {
  ScratchDir other("rename", kelptest::kOtherMount);
  kelptest::write_file(dir_ / "f", "payload");
  EXPECT_EQ(kelp::kelp_rename((dir_ / "f").c_str(), (other / "f").c_str()), kelp::kRenameOk);
  EXPECT_FALSE(path_exists(dir_ / "f"));
  EXPECT_EQ(kelptest::read_file(other / "f"), "payload");
  // mv runs but fails (it would replace a non-empty directory): plain 0.
  ASSERT_EQ(kelp::kelp_mkdirs((dir_ / "d/x").c_str(), 0755), 1);
  ASSERT_EQ(kelp::kelp_mkdirs((other / "into/d/full").c_str(), 0755), 1);
  EXPECT_EQ(kelp::kelp_rename((dir_ / "d").c_str(), (other / "into").c_str()),
            kelp::kRenameFallbackFailed);
  EXPECT_TRUE(path_exists(dir_ / "d/x"));

  // mv cannot be started at all: 4.
  std::string src = other / "f";
  std::string dst = dir_ / "g";
  ASSERT_EQ(::chmod(other.path().c_str(), 0777), 0);
  ASSERT_EQ(::chown(src.c_str(), kelptest::kUser1Uid, kelptest::kGroup1Gid), 0);
  int status = kelptest::run_as(kelptest::kUser1Uid, kelptest::kGroup1Gid, [&] {
    struct rlimit none = {0, 0};
    if (::setrlimit(RLIMIT_NPROC, &none) != 0) return 100;
    return kelp::kelp_rename(src.c_str(), dst.c_str());
  });
  EXPECT_EQ(status, kelp::kRenameFallbackNotRun);
  EXPECT_TRUE(path_exists(src));
}

TEST_F(LocalOps, MvFallbackGetsEachPathAsOneArgument) {
  ScratchDir other("quoting", kelptest::kOtherMount);
  // A stand-in mv first on PATH records its argument vector, then moves.
  std::string bin = dir_ / "bin";
  ASSERT_EQ(::mkdir(bin.c_str(), 0755), 0);
  std::string argv_log = dir_ / "argv";
  kelptest::write_file(bin + "/mv",
                       "#!/bin/sh\nprintf '%s\\n' \"$#\" > '" + argv_log +
                           "'\nfor a in \"$@\"; do printf '[%s]\\n' \"$a\" >> '" + argv_log +
                           "'; done\nexec /bin/mv \"$@\"\n");
  ASSERT_EQ(::chmod((bin + "/mv").c_str(), 0755), 0);
  std::string old_path = std::getenv("PATH");
  ::setenv("PATH", (bin + ":" + old_path).c_str(), 1);

  const std::string nasty = "a b;touch PWNED$(touch PWNED2)`touch PWNED3`'\"q\\ $HOME &|";
  std::string src = dir_ / nasty;
  std::string dst = other / (nasty + " copy");
  kelptest::write_file(src, "x");
  int result = kelp::kelp_rename(src.c_str(), dst.c_str());
  ::setenv("PATH", old_path.c_str(), 1);

  EXPECT_EQ(result, kelp::kRenameOk);
  EXPECT_EQ(kelptest::read_file(argv_log), "2\n[" + src + "]\n[" + dst + "]\n");
  EXPECT_EQ(kelptest::read_file(dst), "x");
  for (const char* p : {"PWNED", "PWNED2", "PWNED3"}) {
    EXPECT_FALSE(path_exists(dir_ / p));
    EXPECT_FALSE(path_exists(other / p));
    EXPECT_FALSE(path_exists(std::string("/") + p));
  }
}

TEST_F(LocalOps, ChownByNameWithEmptyNamesLeavingIdsUnchanged) {
  std::string f = dir_ / "owned";
  kelptest::write_file(f, "x");
  EXPECT_EQ(kelp::kelp_chown(f.c_str(), "kelpuser1", "kelpgrp2"), 1);
  EXPECT_EQ(stat_of(f).st_uid, kelptest::kUser1Uid);
  EXPECT_EQ(stat_of(f).st_gid, kelptest::kGroup2Gid);
  EXPECT_EQ(kelp::kelp_chown(f.c_str(), "", "kelpgrp1"), 1);
  EXPECT_EQ(stat_of(f).st_uid, kelptest::kUser1Uid);
  EXPECT_EQ(stat_of(f).st_gid, kelptest::kGroup1Gid);
  EXPECT_EQ(kelp::kelp_chown(f.c_str(), "kelpuser2", ""), 1);
  EXPECT_EQ(kelp::kelp_chown(f.c_str(), "", ""), 1);
  EXPECT_EQ(kelp::kelp_chown(f.c_str(), nullptr, nullptr), 1);
  EXPECT_EQ(kelp::kelp_chown(f.c_str(), "nosuchuser", "kelpgrp2"), 0);
  EXPECT_EQ(kelp::kelp_chown(f.c_str(), "kelpuser1", "nosuchgroup"), 0);
  EXPECT_EQ(stat_of(f).st_uid, kelptest::kUser2Uid);  // the empty group left the gid alone
  EXPECT_EQ(stat_of(f).st_gid, kelptest::kGroup1Gid);
  // A group entry far larger than the first lookup buffer.
  EXPECT_EQ(kelp::kelp_chown(f.c_str(), "", "kelpbig"), 1);
  EXPECT_EQ(stat_of(f).st_gid, 6004u);
  EXPECT_EQ(kelp::kelp_chown((dir_ / "absent").c_str(), "", ""), 0);
}

TEST_F(LocalOps, ChownFollowsLinksAndLchownDoesNot) {
  std::string target = dir_ / "target";
  std::string link = dir_ / "link";
  kelptest::write_file(target, "x");
  ASSERT_EQ(::symlink(target.c_str(), link.c_str()), 0);
  EXPECT_EQ(kelp::kelp_lchown(link.c_str(), "kelpuser1", "kelpgrp1"), 1);
  EXPECT_EQ(stat_of(link).st_uid, kelptest::kUser1Uid);
  EXPECT_EQ(stat_of(target).st_uid, 0u);
  EXPECT_EQ(kelp::kelp_chown(link.c_str(), "kelpuser2", ""), 1);
  EXPECT_EQ(stat_of(target).st_uid, kelptest::kUser2Uid);
  EXPECT_EQ(stat_of(link).st_uid, kelptest::kUser1Uid);
}

TEST_F(LocalOps, SymbolicLinks) {
  std::string target = dir_ / "t";
  std::string link = dir_ / "l";
  kelptest::write_file(target, "x");
  EXPECT_EQ(kelp::kelp_createsymlink(target.c_str(), link.c_str()), 1);
  EXPECT_EQ(kelp::kelp_createsymlink(target.c_str(), link.c_str()), 0);  // exists

  char buf[kelp::kSymlinkBufferSize] = {};
  int dirfd = ::open(dir_.path().c_str(), O_RDONLY | O_CLOEXEC);
  EXPECT_EQ(kelp::kelp_readsymlink(dirfd, "l", buf, sizeof buf), static_cast<int>(target.size()));
  EXPECT_EQ(std::string(buf), target);
  EXPECT_EQ(kelp::kelp_readsymlink(dirfd, "t", buf, sizeof buf), -1);  // not a link
  ::close(dirfd);
  char small[8];
  EXPECT_EQ(kelp::kelp_readsymlink(AT_FDCWD, link.c_str(), small, sizeof small),
            static_cast<int>(target.size()));
  EXPECT_EQ(std::string(small), target.substr(0, 7));  // bounded copy

  std::memset(buf, 0, sizeof buf);
  std::string indirect = dir_ / "sub/../l";
  ASSERT_EQ(::mkdir((dir_ / "sub").c_str(), 0755), 0);
  EXPECT_EQ(kelp::kelp_resolvesymlink(indirect.c_str(), buf, sizeof buf),
            static_cast<int>(target.size()));
  EXPECT_EQ(std::string(buf), target);
  EXPECT_EQ(kelp::kelp_resolvesymlink((dir_ / "missing").c_str(), buf, sizeof buf), -1);
  EXPECT_EQ(kelp::kelp_resolvesymlink(indirect.c_str(), small, sizeof small), -1);  // too long
}

}  // namespace
