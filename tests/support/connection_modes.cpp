#include "support/connection_modes.h"

#include <sys/stat.h>

#include "org_apache_hadoop_fs_kelp_KelpFileSystem.h"
#include "support/jvm.h"

namespace kelptest {

std::unique_ptr<HelperDaemon> ConnectionModeTest::daemon_;

void ConnectionModeTest::TearDownTestSuite() { daemon_.reset(); }

void ConnectionModeTest::SetUp() {
  env_ = jvm_env();
  fs_ = kelp_fs();
  // This thread never returns to Java: local references go with the frame.
  ASSERT_EQ(env_->PushLocalFrame(256), 0);
  // Requested modes are taken as they are, by this process and the daemon.
  ::umask(0);
  if (local()) {
    conn_ = -42;
    return;
  }
  if (!daemon_) {
    daemon_ =
        std::make_unique<HelperDaemon>(std::vector<std::string>{"--serve", "--allow-uid", "0"});
  }
  ASSERT_TRUE(daemon_->ready()) << daemon_->log();
  conn_ = Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nConnect(env_, fs_, jstr("root"), nullptr);
  ASSERT_GE(conn_, 0);
}

void ConnectionModeTest::TearDown() {
  if (conn_ >= 0) {
    EXPECT_TRUE(Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nClose(env_, fs_, conn_));
  }
  EXPECT_EQ(take_exception(), "");
  env_->PopLocalFrame(nullptr);
}

std::string mode_name(const ::testing::TestParamInfo<Mode>& info) {
  return info.param == Mode::kLocal ? "Local" : "Daemon";
}

}  // namespace kelptest
