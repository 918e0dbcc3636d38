// A fixture for tests of entry points against the scripted stand-in daemon
// (fake_daemon.h): serve() starts a stand-in and connects to it with
// nConnect; the connection and the stand-in end with the test.
#ifndef KELP_TESTS_SUPPORT_FAKE_DAEMON_TEST_H
#define KELP_TESTS_SUPPORT_FAKE_DAEMON_TEST_H

#include <map>
#include <memory>
#include <string>
#include <utility>

#include "support/connection_modes.h"
#include "support/fake_daemon.h"
#include "support/jvm.h"

namespace kelptest {

// A string as requests carry it: its bytes and a NUL.
inline std::string str0(const std::string& s) { return s + '\0'; }

class FakeDaemonTest : public JniTest {
 protected:
  void TearDown() override {
    hang_up();
    JniTest::TearDown();
  }

  // Starts a stand-in that serves with |script| (after the one before) and
  // connects to it.
  void serve(std::map<char, FakeDaemon::Answer> script) {
    hang_up();
    script['l'] = byte_answer(2);
    daemon_ = std::make_unique<FakeDaemon>(std::move(script));
    conn_ = Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nConnect(env_, fs_, jstr("u"), nullptr);
    ASSERT_GE(conn_, 0);
  }
  void hang_up() {
    if (conn_ >= 0) Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nClose(env_, fs_, conn_);
    conn_ = -1;
    daemon_.reset();
  }
  // The last request the stand-in received: its type, then its payload.
  std::string last() {
    auto frames = daemon_->frames();
    return frames.empty() ? "" : frames.back();
  }

  std::unique_ptr<FakeDaemon> daemon_;
};

}  // namespace kelptest

#endif  // KELP_TESTS_SUPPORT_FAKE_DAEMON_TEST_H
