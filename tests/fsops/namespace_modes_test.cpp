// The plain namespace entry points, called from a real JVM, each in both
// modes: locally (connection -42) and through the reference helper daemon.
// Results are checked against the file system afterwards.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "org_apache_hadoop_fs_kelp_KelpFileSystem.h"
#include "support/connection_modes.h"
#include "support/file_info.h"
#include "support/java_io.h"
#include "support/jvm.h"
#include "support/sandbox.h"

namespace {

using kelptest::jstr;
using kelptest::mode_of;
using kelptest::ScratchDir;
using kelptest::stat_of;
using kelptest::take_exception;

constexpr const char* kSnapshotText =
    "java.io.IOException: One or more snapshots exist for this directory.\t\t   Before removing a "
    "directory, all snapshots for that directory must be deleted.";

class NamespaceOps : public kelptest::ConnectionModeTest {
 protected:
  jobject open(const std::string& p) {
    return Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nOpen(env_, fs_, conn_, jstr(p));
  }
  jobject create(const std::string& p, int mode, int replication, jboolean overwrite, int bgf) {
    return Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nCreate(env_, fs_, conn_, jstr(p), mode,
                                                                 replication, overwrite, bgf);
  }
  jobject append(const std::string& p) {
    return Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nAppend(env_, fs_, conn_, jstr(p));
  }
  bool exists(const std::string& p) {
    return Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nExists(env_, fs_, conn_, jstr(p));
  }
  bool mkdirs(const std::string& p, int mode) {
    return Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nMkdirs(env_, fs_, conn_, jstr(p), mode);
  }
  bool remove(const std::string& p, bool recursive) {
    return Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nDelete(env_, fs_, conn_, jstr(p),
                                                                 recursive);
  }
  bool rename(const std::string& a, const std::string& b) {
    return Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nRename(env_, fs_, conn_, jstr(a),
                                                                 jstr(b));
  }
  bool chown(const std::string& p, const char* user, const char* group) {
    return Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nChown(env_, fs_, conn_, jstr(p),
                                                                jstr(user), jstr(group));
  }
  bool chmod(const std::string& p, int mode) {
    return Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nChmod(env_, fs_, conn_, jstr(p), mode);
  }
  std::string resolve(const std::string& p) {
    return kelptest::to_std(
        Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nResolveSymlink(env_, fs_, conn_, jstr(p)));
  }
  std::string readlink(const std::string& p) {
    return kelptest::to_std(
        Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nReadSymlink(env_, fs_, conn_, jstr(p)));
  }
  bool symlink(const std::string& target, const std::string& link) {
    return Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nCreateSymlink(env_, fs_, conn_,
                                                                        jstr(target), jstr(link));
  }

  ScratchDir dir_{"ns"};
};

TEST_P(NamespaceOps, OpenHandsJavaAReadableDescriptor) {
  std::string f = dir_ / "f";
  kelptest::write_file(f, "hello");
  jobject fd = open(f);
  ASSERT_NE(fd, nullptr);
  EXPECT_EQ(kelptest::java_read(fd), "hello");
  // Once the JVM has loaded what it needs, descriptors are the only change.
  int before = kelptest::count_open_fds();
  fd = open(f);
  ASSERT_NE(fd, nullptr);
  EXPECT_EQ(kelptest::count_open_fds(), before + 1);
  EXPECT_EQ(kelptest::java_read(fd), "hello");
  EXPECT_EQ(kelptest::count_open_fds(), before) << "closing the stream closes the descriptor";

  EXPECT_EQ(open(dir_ / "missing"), nullptr);
  EXPECT_EQ(take_exception(), "");
}

TEST_P(NamespaceOps, CreateMakesParentsAndAWritableFile) {
  std::string f = dir_ / "a/b/f";
  jobject fd = create(f, 0640, 0, JNI_TRUE, 0);
  ASSERT_NE(fd, nullptr);
  ASSERT_TRUE(kelptest::java_write(fd, "data"));
  EXPECT_EQ(kelptest::read_file(f), "data");
  EXPECT_EQ(mode_of(f), 0640u);

  // An existing file without overwrite: null, and the file is untouched.
  EXPECT_EQ(create(f, 0640, 0, JNI_FALSE, 0), nullptr);
  EXPECT_EQ(take_exception(), "");
  EXPECT_EQ(kelptest::read_file(f), "data");

  // With overwrite the file starts empty.
  fd = create(f, 0640, 0, JNI_TRUE, 0);
  ASSERT_NE(fd, nullptr);
  ASSERT_TRUE(kelptest::java_write(fd, "new"));
  EXPECT_EQ(kelptest::read_file(f), "new");
}

TEST_P(NamespaceOps, CreatePassesReplicationAndBlockGroupFactorOn) {
  std::string f = dir_ / "placed";
  jobject fd = create(f, 0644, 3, JNI_FALSE, 5000);
  ASSERT_NE(fd, nullptr);
  ASSERT_TRUE(kelptest::java_write(fd, "x"));
  EXPECT_EQ(kelptest::sim_attr(f, "replication"), "3");
  EXPECT_EQ(kelptest::sim_attr(f, "bgf"), "1024");
  EXPECT_EQ(kelptest::read_file(f), "x");
}

TEST_P(NamespaceOps, AppendWritesAtTheEnd) {
  std::string f = dir_ / "log";
  kelptest::write_file(f, "abc");
  jobject fd = append(f);
  ASSERT_NE(fd, nullptr);
  ASSERT_TRUE(kelptest::java_write(fd, "def"));
  EXPECT_EQ(kelptest::read_file(f), "abcdef");

  EXPECT_EQ(append(dir_ / "no/such/file"), nullptr);
  EXPECT_EQ(take_exception(), "");
}

TEST_P(NamespaceOps, ExistsMkdirsAndChmod) {
  EXPECT_TRUE(exists(dir_.path()));
  EXPECT_FALSE(exists(dir_ / "missing"));

  ASSERT_TRUE(mkdirs(dir_ / "x/y/z", 0750));
  EXPECT_TRUE(S_ISDIR(stat_of(dir_ / "x/y/z").st_mode));
  EXPECT_EQ(mode_of(dir_ / "x/y/z"), 0750u);
  EXPECT_TRUE(exists(dir_ / "x/y/z"));
  kelptest::write_file(dir_ / "file", "");
  EXPECT_FALSE(mkdirs(dir_ / "file/sub", 0755));
  EXPECT_FALSE(kelptest::path_exists(dir_ / "file/sub"));

  EXPECT_TRUE(chmod(dir_ / "file", 0604));
  EXPECT_EQ(mode_of(dir_ / "file"), 0604u);
  EXPECT_FALSE(chmod(dir_ / "missing", 0600));
}

TEST_P(NamespaceOps, ChownByNamesWithNullAsUnchanged) {
  std::string f = dir_ / "owned";
  kelptest::write_file(f, "");
  EXPECT_TRUE(chown(f, "kelpuser1", "kelpgrp1"));
  EXPECT_EQ(stat_of(f).st_uid, kelptest::kUser1Uid);
  EXPECT_EQ(stat_of(f).st_gid, kelptest::kGroup1Gid);

  EXPECT_TRUE(chown(f, nullptr, nullptr));
  EXPECT_EQ(stat_of(f).st_uid, kelptest::kUser1Uid);
  EXPECT_EQ(stat_of(f).st_gid, kelptest::kGroup1Gid);

  EXPECT_TRUE(chown(f, nullptr, "kelpgrp2"));
  EXPECT_EQ(stat_of(f).st_uid, kelptest::kUser1Uid);
  EXPECT_EQ(stat_of(f).st_gid, kelptest::kGroup2Gid);

  EXPECT_FALSE(chown(f, "no-such-user", "kelpgrp1"));
  EXPECT_EQ(stat_of(f).st_gid, kelptest::kGroup2Gid);
}

TEST_P(NamespaceOps, DeleteFilesAndTrees) {
  kelptest::write_file(dir_ / "f", "");
  EXPECT_TRUE(remove(dir_ / "f", false));
  EXPECT_FALSE(kelptest::path_exists(dir_ / "f"));
  EXPECT_FALSE(remove(dir_ / "f", false));

  ASSERT_EQ(::mkdir((dir_ / "t").c_str(), 0755), 0);
  ASSERT_EQ(::mkdir((dir_ / "t/sub").c_str(), 0755), 0);
  kelptest::write_file(dir_ / "t/sub/f", "");
  // A non-empty directory without recursion is refused quietly.
  EXPECT_FALSE(remove(dir_ / "t", false));
  EXPECT_EQ(take_exception(), "");
  EXPECT_TRUE(kelptest::path_exists(dir_ / "t/sub/f"));
  EXPECT_TRUE(remove(dir_ / "t", true));
  EXPECT_FALSE(kelptest::path_exists(dir_ / "t"));
}

TEST_P(NamespaceOps, DeleteStopsAtSnapshots) {
  ASSERT_EQ(::mkdir((dir_ / "t").c_str(), 0755), 0);
  ASSERT_EQ(::mkdir((dir_ / "t/.snapshot").c_str(), 0755), 0);
  kelptest::write_file(dir_ / "t/.snapshot/s1", "");
  EXPECT_FALSE(remove(dir_ / "t", true));
  EXPECT_EQ(take_exception(), kSnapshotText);
  EXPECT_TRUE(kelptest::path_exists(dir_ / "t/.snapshot/s1"));
}

TEST_P(NamespaceOps, RenameWithinAndAcrossDevices) {
  kelptest::write_file(dir_ / "a", "A");
  EXPECT_TRUE(rename(dir_ / "a", dir_ / "b"));
  EXPECT_EQ(kelptest::read_file(dir_ / "b"), "A");
  EXPECT_FALSE(kelptest::path_exists(dir_ / "a"));

  EXPECT_FALSE(rename(dir_ / "b", dir_ / "no/such/dir/b"));
  EXPECT_EQ(take_exception(), "java.io.IOException:  Rename failed. Cause: 2\n");
  EXPECT_TRUE(kelptest::path_exists(dir_ / "b"));

  // Another device: the move falls back to mv.
  ScratchDir other("ns-other", kelptest::kOtherMount);
  EXPECT_TRUE(rename(dir_ / "b", other / "b"));
  EXPECT_EQ(kelptest::read_file(other / "b"), "A");
  EXPECT_FALSE(kelptest::path_exists(dir_ / "b"));

  // mv refuses to put a directory over a file: plain false.
  ASSERT_EQ(::mkdir((dir_ / "d").c_str(), 0755), 0);
  kelptest::write_file(other / "file", "keep");
  EXPECT_FALSE(rename(dir_ / "d", other / "file"));
  EXPECT_EQ(take_exception(), "");
  EXPECT_EQ(kelptest::read_file(other / "file"), "keep");
  EXPECT_TRUE(kelptest::path_exists(dir_ / "d"));
}

TEST_P(NamespaceOps, SymbolicLinks) {
  kelptest::write_file(dir_ / "target", "");
  ASSERT_TRUE(symlink("target", dir_ / "link"));
  EXPECT_FALSE(symlink("target", dir_ / "link")) << "the link exists already";
  EXPECT_EQ(take_exception(), "");

  EXPECT_EQ(resolve(dir_ / "link"), dir_ / "target");
  EXPECT_EQ(resolve(dir_ / "sub/../link"), "") << "sub does not exist";
  EXPECT_EQ(resolve(dir_ / "missing"), "");

  int before = kelptest::count_open_fds();
  EXPECT_EQ(readlink(dir_ / "link"), "target");
  EXPECT_EQ(readlink(dir_ / "target"), "<null>") << "not a link";
  EXPECT_EQ(readlink(dir_ / "missing"), "<null>");
  ASSERT_TRUE(symlink("nowhere", dir_ / "dangling"));
  EXPECT_EQ(readlink(dir_ / "dangling"), "<null>") << "nothing to open behind it";
  EXPECT_EQ(kelptest::count_open_fds(), before) << "the descriptor used for reading is closed";
}

KELP_INSTANTIATE_IN_BOTH_MODES(NamespaceOps);

// What only the calling process's own environment can provoke.
class LocalNamespaceOps : public NamespaceOps {};

TEST_P(LocalNamespaceOps, RenameFallbackThatCannotStartRaisesCodeFour) {
  ScratchDir other("ns-other", kelptest::kOtherMount);
  kelptest::write_file(dir_ / "f", "F");
  std::string path = ::getenv("PATH");
  ::setenv("PATH", "/nonexistent", 1);
  bool renamed = rename(dir_ / "f", other / "f");
  ::setenv("PATH", path.c_str(), 1);
  EXPECT_FALSE(renamed);
  EXPECT_EQ(take_exception(), "java.io.IOException:  Rename failed. Cause: 4\n");
  EXPECT_TRUE(kelptest::path_exists(dir_ / "f"));
}

INSTANTIATE_TEST_SUITE_P(LocalOnly, LocalNamespaceOps, ::testing::Values(kelptest::Mode::kLocal),
                         kelptest::mode_name);

}  // namespace
