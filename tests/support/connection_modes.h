// Fixtures for tests that call the KelpFileSystem entry points from this
// thread. ConnectionModeTest runs each test twice: once working locally
// (connection -42) and once through the reference helper daemon, started
// for the test binary with --serve and stopped after the suite.
#ifndef KELP_TESTS_SUPPORT_CONNECTION_MODES_H
#define KELP_TESTS_SUPPORT_CONNECTION_MODES_H

#include <gtest/gtest.h>
#include <jni.h>

#include <memory>

#include "org_apache_hadoop_fs_kelp_KelpFileSystem.h"
#include "support/helper_daemon.h"
#include "support/jvm.h"

// Calls the KelpFileSystem entry point |method| on the fixture's connection.
#define KELP_NS(method, ...) \
  Java_org_apache_hadoop_fs_kelp_KelpFileSystem_##method(env_, fs_, conn_, __VA_ARGS__)

namespace kelptest {

// Holds a local frame for the JNI references a test makes (this thread
// never returns to Java) and checks that no Java exception is left pending.
class JniTest : public ::testing::Test {
 protected:
  void SetUp() override {
    env_ = jvm_env();
    fs_ = kelp_fs();
    ASSERT_EQ(env_->PushLocalFrame(256), 0);
  }
  void TearDown() override {
    EXPECT_EQ(take_exception(), "");
    env_->PopLocalFrame(nullptr);
  }

  JNIEnv* env_ = nullptr;
  jobject fs_ = nullptr;
  int conn_ = -1;
};

enum class Mode { kLocal, kDaemon };

class ConnectionModeTest : public JniTest, public ::testing::WithParamInterface<Mode> {
 protected:
  static void TearDownTestSuite() { daemon_.reset(); }
  // Connects (nConnect in daemon mode); closes with nClose.
  void SetUp() override;
  void TearDown() override;

  bool local() const { return GetParam() == Mode::kLocal; }
  // The running daemon (daemon mode only).
  HelperDaemon& daemon() { return *daemon_; }

 private:
  static std::unique_ptr<HelperDaemon> daemon_;
};

}  // namespace kelptest

// Instantiates |fixture| in both modes, named "Local" and "Daemon".
#define KELP_INSTANTIATE_IN_BOTH_MODES(fixture)                                           \
  INSTANTIATE_TEST_SUITE_P(                                                               \
      Modes, fixture, ::testing::Values(kelptest::Mode::kLocal, kelptest::Mode::kDaemon), \
      [](const auto& info) { return info.param == kelptest::Mode::kLocal ? "Local" : "Daemon"; })

#endif  // KELP_TESTS_SUPPORT_CONNECTION_MODES_H
