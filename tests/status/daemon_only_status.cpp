// A path only the root helper daemon may open, examined from a JVM that runs
// as kelpuser1: the status and the listing come from descriptors the daemon
// passes back. Run by beside_root_daemon.sh (see tests.cmake).
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "support/connection_modes.h"
#include "support/java_io.h"
#include "support/sandbox.h"
#include "support/status_view.h"

namespace {

using kelptest::jstr;

constexpr jlong kDefaultBlockSize = 1 << 20;

class DaemonOnly : public kelptest::JniTest {};

TEST_F(DaemonOnly, StatusAndListingOfAPathOnlyTheDaemonMayOpen) {
  ASSERT_EQ(::getuid(), kelptest::kUser1Uid) << "run by beside_root_daemon.sh";
  conn_ = Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nConnect(env_, fs_, jstr("kelpuser1"),
                                                                nullptr);
  ASSERT_GE(conn_, 0);
  // Made by the daemon, so owned by root and closed to everybody else.
  std::string dir = std::string(kelptest::kKelpMount) + "/private." + std::to_string(::getpid());
  std::string f = dir + "/f";
  ASSERT_TRUE(KELP_NS(nMkdirs, jstr(dir), 0700));
  ASSERT_TRUE(kelptest::java_write(KELP_NS(nCreate, jstr(f), 0600, 1, JNI_TRUE, 0), "hello"));

  EXPECT_EQ(Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nGetFileStatus(env_, fs_, -42, jstr(f),
                                                                         kDefaultBlockSize),
            nullptr);
  jobject status = KELP_NS(nGetFileStatus, jstr(f), kDefaultBlockSize);
  ASSERT_NE(status, nullptr);
  statustest::StatusView s = statustest::view(status);
  EXPECT_EQ(s.path, f);
  EXPECT_EQ(s.length, 5);
  EXPECT_EQ(s.permission, 0600);
  EXPECT_EQ(s.owner, "root");

  // The directory is read through the daemon, and so is every entry, on the
  // caller's connection and on the worker's own.
  jobjectArray listed = KELP_NS(nListStatus, jstr(dir), 2, 0, JNI_FALSE, jstr("kelpuser1"),
                                nullptr, kDefaultBlockSize);
  ASSERT_NE(listed, nullptr);
  auto slots = statustest::slots(listed);
  ASSERT_EQ(slots.size(), 1u);
  ASSERT_FALSE(slots[0].null);
  EXPECT_EQ(slots[0].status.path, f);
  EXPECT_EQ(slots[0].status.length, 5);
  // Locally the directory cannot be opened: an empty listing.
  jobjectArray local = Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nListStatus(
      env_, fs_, -42, jstr(dir), 2, 0, JNI_FALSE, jstr("kelpuser1"), nullptr, kDefaultBlockSize);
  ASSERT_NE(local, nullptr);
  EXPECT_EQ(env_->GetArrayLength(local), 0);

  EXPECT_TRUE(KELP_NS(nDelete, jstr(dir), JNI_TRUE));
  EXPECT_TRUE(Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nClose(env_, fs_, conn_));
}

}  // namespace
