// The plain namespace entry points, called from a real JVM, each in both
// modes: locally (connection -42) and through the reference helper daemon.
// Results are checked against the file system afterwards.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "support/connection_modes.h"
#include "support/file_info.h"
#include "support/java_io.h"
#include "support/jvm.h"
#include "support/sandbox.h"

namespace {

using kelptest::java_write;
using kelptest::jstr;
using kelptest::mode_of;
using kelptest::path_exists;
using kelptest::read_file;
using kelptest::take_exception;
using kelptest::to_std;
using kelptest::write_file;

class NamespaceOps : public kelptest::ConnectionModeTest {
 protected:
  kelptest::ScratchDir dir_{"ns"};
};

TEST_P(NamespaceOps, CreateAppendAndOpenHandJavaUsableDescriptors) {
  std::string f = dir_ / "a/b/f";
  ASSERT_TRUE(java_write(KELP_NS(nCreate, jstr(f), 0640, 3, JNI_FALSE, 5000), "data"));
  EXPECT_EQ(mode_of(f), 0640u);
  EXPECT_EQ(kelptest::sim_attr(f, "replication"), "3");
  EXPECT_EQ(kelptest::sim_attr(f, "bgf"), "1024");

  // An existing file without overwrite: null, and the file is untouched.
  EXPECT_EQ(KELP_NS(nCreate, jstr(f), 0640, 0, JNI_FALSE, 0), nullptr);
  EXPECT_EQ(read_file(f), "data");
  // With overwrite the file starts empty; an append writes at its end.
  ASSERT_TRUE(java_write(KELP_NS(nCreate, jstr(f), 0640, 0, JNI_TRUE, 0), "new"));
  ASSERT_TRUE(java_write(KELP_NS(nAppend, jstr(f)), "er"));

  kelptest::FdSnapshot before;
  jobject fd = KELP_NS(nOpen, jstr(f));
  EXPECT_EQ(before.added(), 1);
  EXPECT_EQ(kelptest::java_read(fd), "newer");
  EXPECT_EQ(before.added(), 0) << "closing the stream closes the descriptor";

  EXPECT_EQ(KELP_NS(nOpen, jstr(dir_ / "missing")), nullptr);
  EXPECT_EQ(KELP_NS(nAppend, jstr(dir_ / "no/such/file")), nullptr);
}

TEST_P(NamespaceOps, ExistsMkdirsChmodChownAndDelete) {
  EXPECT_TRUE(KELP_NS(nExists, jstr(dir_.path())));
  EXPECT_FALSE(KELP_NS(nExists, jstr(dir_ / "missing")));
  ASSERT_TRUE(KELP_NS(nMkdirs, jstr(dir_ / "t/sub"), 0750));
  EXPECT_TRUE(S_ISDIR(kelptest::stat_of(dir_ / "t/sub").st_mode));
  EXPECT_EQ(mode_of(dir_ / "t/sub"), 0750u);
  std::string f = dir_ / "t/sub/f";
  write_file(f, "");

  EXPECT_TRUE(KELP_NS(nChmod, jstr(f), 0604));
  EXPECT_EQ(mode_of(f), 0604u);
  EXPECT_FALSE(KELP_NS(nChmod, jstr(dir_ / "missing"), 0600));
  // A null name leaves that part of the ownership as it is.
  EXPECT_TRUE(KELP_NS(nChown, jstr(f), jstr("kelpuser1"), nullptr));
  EXPECT_EQ(kelptest::owner_of(f), kelptest::kUser1Uid);
  EXPECT_EQ(kelptest::group_of(f), 0u);
  EXPECT_TRUE(KELP_NS(nChown, jstr(f), nullptr, jstr("kelpgrp2")));
  EXPECT_EQ(kelptest::owner_of(f), kelptest::kUser1Uid);
  EXPECT_EQ(kelptest::group_of(f), kelptest::kGroup2Gid);

  // A non-empty directory without recursion is refused quietly.
  EXPECT_FALSE(KELP_NS(nDelete, jstr(dir_ / "t"), JNI_FALSE));
  EXPECT_EQ(take_exception(), "");
  EXPECT_TRUE(KELP_NS(nDelete, jstr(f), JNI_FALSE));
  EXPECT_FALSE(path_exists(f));
  EXPECT_TRUE(KELP_NS(nDelete, jstr(dir_ / "t"), JNI_TRUE));
  EXPECT_FALSE(path_exists(dir_ / "t"));

  ASSERT_TRUE(KELP_NS(nMkdirs, jstr(dir_ / "s/.snapshot"), 0755));
  write_file(dir_ / "s/.snapshot/s1", "");
  EXPECT_FALSE(KELP_NS(nDelete, jstr(dir_ / "s"), JNI_TRUE));
  EXPECT_EQ(take_exception(),
            "java.io.IOException: One or more snapshots exist for this directory.\t\t   Before "
            "removing a directory, all snapshots for that directory must be deleted.");
  EXPECT_TRUE(path_exists(dir_ / "s/.snapshot/s1"));
}

TEST_P(NamespaceOps, RenameWithinAndAcrossDevices) {
  write_file(dir_ / "a", "A");
  EXPECT_TRUE(KELP_NS(nRename, jstr(dir_ / "a"), jstr(dir_ / "b")));
  EXPECT_EQ(read_file(dir_ / "b"), "A");
  EXPECT_FALSE(path_exists(dir_ / "a"));

  EXPECT_FALSE(KELP_NS(nRename, jstr(dir_ / "b"), jstr(dir_ / "no/such/dir/b")));
  EXPECT_EQ(take_exception(), "java.io.IOException:  Rename failed. Cause: 2\n");

  // Another device: the move falls back to mv.
  kelptest::ScratchDir other("ns-other", kelptest::kOtherMount);
  EXPECT_TRUE(KELP_NS(nRename, jstr(dir_ / "b"), jstr(other / "b")));
  EXPECT_EQ(read_file(other / "b"), "A");
  // mv refuses to put a directory over a file: plain false.
  ASSERT_EQ(::mkdir((dir_ / "d").c_str(), 0755), 0);
  EXPECT_FALSE(KELP_NS(nRename, jstr(dir_ / "d"), jstr(other / "b")));
  EXPECT_EQ(take_exception(), "");
}

TEST_P(NamespaceOps, SymbolicLinks) {
  write_file(dir_ / "target", "");
  ASSERT_TRUE(KELP_NS(nCreateSymlink, jstr("target"), jstr(dir_ / "link")));
  EXPECT_FALSE(KELP_NS(nCreateSymlink, jstr("target"), jstr(dir_ / "link"))) << "it exists";
  EXPECT_EQ(take_exception(), "");

  EXPECT_EQ(to_std(KELP_NS(nResolveSymlink, jstr(dir_ / "link"))), dir_ / "target");
  EXPECT_EQ(to_std(KELP_NS(nResolveSymlink, jstr(dir_ / "sub/../link"))), "") << "no sub";

  kelptest::FdSnapshot before;
  EXPECT_EQ(to_std(KELP_NS(nReadSymlink, jstr(dir_ / "link"))), "target");
  EXPECT_EQ(to_std(KELP_NS(nReadSymlink, jstr(dir_ / "target"))), "<null>") << "not a link";
  ASSERT_TRUE(KELP_NS(nCreateSymlink, jstr("nowhere"), jstr(dir_ / "dangling")));
  EXPECT_EQ(to_std(KELP_NS(nReadSymlink, jstr(dir_ / "dangling"))), "<null>")
      << "nothing to open behind it";
  EXPECT_EQ(before.added(), 0) << "the descriptor used for reading is closed";
}

// Through the daemon the delete runs as root: a link in the tree must still
// go as a link, whatever it names.
TEST_P(NamespaceOps, RecursiveDeleteRemovesLinksNotTheirTargets) {
  kelptest::ScratchDir outside("ns-outside", kelptest::kOtherMount);
  ASSERT_TRUE(KELP_NS(nMkdirs, jstr(outside / "dir/deep"), 0755));
  write_file(outside / "dir/deep/keep", "keep");
  write_file(outside / "file", "keep");
  ASSERT_TRUE(KELP_NS(nMkdirs, jstr(dir_ / "t/sub"), 0755));
  ASSERT_TRUE(KELP_NS(nCreateSymlink, jstr(outside / "dir"), jstr(dir_ / "t/sub/to-dir")));
  ASSERT_TRUE(KELP_NS(nCreateSymlink, jstr(outside / "file"), jstr(dir_ / "t/to-file")));
  EXPECT_TRUE(KELP_NS(nDelete, jstr(dir_ / "t"), JNI_TRUE));
  EXPECT_FALSE(path_exists(dir_ / "t"));
  EXPECT_EQ(read_file(outside / "dir/deep/keep"), "keep");
  EXPECT_EQ(read_file(outside / "file"), "keep");

  ASSERT_TRUE(KELP_NS(nCreateSymlink, jstr(outside / "dir"), jstr(dir_ / "l")));
  EXPECT_FALSE(KELP_NS(nDelete, jstr(dir_ / "l"), JNI_FALSE)) << "its target is not empty";
  EXPECT_TRUE(KELP_NS(nDelete, jstr(dir_ / "l"), JNI_TRUE));
  EXPECT_FALSE(path_exists(dir_ / "l"));
  EXPECT_EQ(read_file(outside / "dir/deep/keep"), "keep");
}

KELP_INSTANTIATE_IN_BOTH_MODES(NamespaceOps);

}  // namespace
