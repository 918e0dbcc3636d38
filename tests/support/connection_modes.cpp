#include "support/connection_modes.h"

#include <sys/stat.h>

namespace kelptest {

std::unique_ptr<HelperDaemon> ConnectionModeTest::daemon_;

void ConnectionModeTest::SetUp() {
  ASSERT_NO_FATAL_FAILURE(JniTest::SetUp());
  // Requested modes are taken as they are, by this process and the daemon.
  ::umask(0);
  if (local()) {
    conn_ = -42;
    return;
  }
  if (!daemon_) {
    std::vector<std::string> args = {"--serve", "--allow-uid", "0"};
    for (auto& a : suite_policy()) args.push_back(a);
    daemon_ = std::make_unique<HelperDaemon>(args);
  }
  ASSERT_TRUE(daemon_->ready()) << daemon_->log();
  conn_ = Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nConnect(env_, fs_, jstr("root"), nullptr);
  ASSERT_GE(conn_, 0);
}

void ConnectionModeTest::TearDown() {
  if (conn_ != -1) {
    EXPECT_TRUE(Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nClose(env_, fs_, conn_));
  }
  JniTest::TearDown();
}

}  // namespace kelptest
