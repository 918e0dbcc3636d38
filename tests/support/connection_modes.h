// A test fixture run twice: once working locally (connection -42) and once
// through the reference helper daemon, started for the test binary with
// --serve and stopped after the suite.
#ifndef KELP_TESTS_SUPPORT_CONNECTION_MODES_H
#define KELP_TESTS_SUPPORT_CONNECTION_MODES_H

#include <gtest/gtest.h>
#include <jni.h>

#include <memory>
#include <string>

#include "support/helper_daemon.h"

namespace kelptest {

enum class Mode { kLocal, kDaemon };

class ConnectionModeTest : public ::testing::TestWithParam<Mode> {
 protected:
  static void TearDownTestSuite();
  // Opens the connection (nConnect in daemon mode) and a local frame for
  // the JNI references the test makes.
  void SetUp() override;
  // Closes the connection, checks that no Java exception is left pending.
  void TearDown() override;

  bool local() const { return GetParam() == Mode::kLocal; }
  // The running daemon (daemon mode only).
  HelperDaemon& daemon() { return *daemon_; }

  JNIEnv* env_ = nullptr;
  jobject fs_ = nullptr;
  int conn_ = -1;

 private:
  static std::unique_ptr<HelperDaemon> daemon_;
};

// Names the instantiations "Local" and "Daemon".
std::string mode_name(const ::testing::TestParamInfo<Mode>& info);

}  // namespace kelptest

// Instantiates |fixture| in both modes.
#define KELP_INSTANTIATE_IN_BOTH_MODES(fixture)                                                \
  INSTANTIATE_TEST_SUITE_P(Modes, fixture,                                                     \
                           ::testing::Values(kelptest::Mode::kLocal, kelptest::Mode::kDaemon), \
                           kelptest::mode_name)

#endif  // KELP_TESTS_SUPPORT_CONNECTION_MODES_H
