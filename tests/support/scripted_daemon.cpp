#include "support/scripted_daemon.h"

namespace kelptest {

void ScriptedDaemonTest::TearDown() {
  hang_up();
  JniTest::TearDown();
}

void ScriptedDaemonTest::serve(std::map<char, FakeDaemon::Answer> script) {
  hang_up();
  script['l'] = byte_answer(2);
  daemon_ = std::make_unique<FakeDaemon>(std::move(script));
  conn_ = Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nConnect(env_, fs_, jstr("u"), nullptr);
  ASSERT_GE(conn_, 0);
}

void ScriptedDaemonTest::hang_up() {
  if (conn_ >= 0) Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nClose(env_, fs_, conn_);
  conn_ = -1;
  daemon_.reset();
}

std::string ScriptedDaemonTest::last() {
  auto frames = daemon_->frames();
  return frames.empty() ? "" : frames.back();
}

}  // namespace kelptest
