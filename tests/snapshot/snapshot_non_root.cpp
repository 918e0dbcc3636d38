// The snapshot entry points called locally by a user other than root (the
// binary runs as kelpuser1, see tests.cmake): create is refused with its
// permission texts before anything is touched; rename needs no root.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "support/connection_modes.h"
#include "support/jvm.h"
#include "support/sandbox.h"

namespace {

using kelptest::jstr;
using kelptest::path_exists;
using kelptest::take_exception;

class NonRoot : public kelptest::JniTest {
 protected:
  void SetUp() override {
    ASSERT_NO_FATAL_FAILURE(JniTest::SetUp());
    ASSERT_NE(::getuid(), 0u) << "run by the snapshot_non_root test, as kelpuser1";
    conn_ = -42;
  }

  kelptest::ScratchDir dir_{"snapuser"};
};

TEST_F(NonRoot, CreateIsRefusedBeforeAnythingIsTouched) {
  EXPECT_EQ(KELP_NS(nCreateSnapshot, jstr(dir_.path()), jstr("s"), jstr("l")), nullptr);
  EXPECT_EQ(take_exception(), "java.io.IOException: permission deny to create snapshot");
  EXPECT_EQ(KELP_NS(nCreateSnapshotAs, jstr(dir_.path()), jstr("s"), jstr("l"), jstr("kelpuser1"),
                    jstr("kelpgrp1")),
            nullptr);
  EXPECT_EQ(take_exception(),
            "java.io.IOException: Permmison denied, only root user allow to createSnapshot");
  EXPECT_FALSE(path_exists(dir_ / ".snapshot"));
  EXPECT_TRUE(kelptest::admin_invocations().empty());
}

TEST_F(NonRoot, RenameWorksWithTheCallersOwnRights) {
  ASSERT_EQ(::mkdir((dir_ / ".snapshot").c_str(), 0750), 0);
  ASSERT_EQ(::symlink(dir_.path().c_str(), (dir_ / ".snapshot/a").c_str()), 0);
  EXPECT_TRUE(KELP_NS(nRenameSnapshot, jstr(dir_.path()), jstr("a"), jstr("b")));
  EXPECT_TRUE(path_exists(dir_ / ".snapshot/b"));
}

}  // namespace
