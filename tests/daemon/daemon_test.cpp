// The reference helper daemon as an operator meets it: who it lets in, how
// it answers, how it starts next to an old socket and how it stops.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <string>

#include "channel/connection.h"
#include "channel/framing.h"
#include "jni/fd.h"
#include "support/file_info.h"
#include "support/helper_daemon.h"
#include "support/sandbox.h"

namespace {

using kelp::connect_daemon;
using kelptest::HelperDaemon;

class Daemon : public ::testing::Test {
 protected:
  void SetUp() override {
    kelptest::require_sandbox();
    ::unlink(kelp::kDaemonSocketPath);
  }
};

TEST_F(Daemon, TheAllowListDecidesTheHandshake) {
  HelperDaemon d({"--allow-user", "kelpuser2", "--local"});
  ASSERT_TRUE(d.ready()) << d.log();
  EXPECT_EQ(connect_daemon(0, "root"), -1) << "root is not on this list";
  EXPECT_EQ(kelptest::run_as(kelptest::kUser2Uid, kelptest::kGroup2Gid,
                             [] { return connect_daemon(0, "kelpuser2") == -42 ? 0 : 1; }),
            0);
  EXPECT_EQ(kelptest::run_as(kelptest::kUser1Uid, kelptest::kGroup1Gid,
                             [] { return connect_daemon(0, "kelpuser2") == -1 ? 0 : 1; }),
            0);
  EXPECT_EQ(d.stop(), 0);
  std::string log = d.log();
  int refusals = 0;
  for (size_t at = 0; (at = log.find("refused peer", at)) != std::string::npos; ++at) ++refusals;
  EXPECT_EQ(refusals, 2) << log;
  EXPECT_NE(log.find("uid 0 "), std::string::npos) << log;
  EXPECT_NE(log.find("uid 5001 "), std::string::npos) << log;
}

TEST_F(Daemon, StartsAnswersAndStopsBesideOldSockets) {
  {
    HelperDaemon dead({"--allow-uid", "0", "--proxy-user", "0", "--proxy-users", "kelpuser1"});
    ASSERT_TRUE(dead.ready()) << dead.log();
    EXPECT_EQ(connect_daemon(0, "root"), -42) << "local is the default";
    kelp::UniqueFd conn(connect_daemon(1, "kelpuser1"));
    ASSERT_TRUE(conn) << "impersonation keeps the connection";
    char reply = 0;
    ASSERT_TRUE(kelp::send_message(conn.get(), kelp::kMsgExists, "/mnt/kelp", 10));
    ASSERT_TRUE(kelp::expect_message(conn.get(), kelp::kMsgExists, &reply, 1));
    EXPECT_EQ(reply, 1) << "accepted with 1, it still serves what it is sent";
    // Killed, it leaves its socket file behind.
    ::kill(dead.pid(), SIGKILL);
    dead.wait();
  }
  ASSERT_TRUE(kelptest::path_exists(kelp::kDaemonSocketPath));
  HelperDaemon d({"--serve", "--allow-uid", "0"});
  ASSERT_TRUE(d.ready()) << d.log();
  EXPECT_EQ(kelptest::mode_of(kelp::kDaemonSocketPath), 0666u) << "every user may knock";

  HelperDaemon second({"--serve", "--allow-uid", "0"});
  ASSERT_FALSE(second.ready());
  EXPECT_EQ(second.wait(), 1);
  EXPECT_NE(second.log().find("another daemon"), std::string::npos) << second.log();

  // The first one still serves; stopped, it ends its idle connections.
  kelp::UniqueFd a(connect_daemon(0, "root")), b(connect_daemon(0, "root"));
  ASSERT_TRUE(a && b);
  EXPECT_EQ(d.stop(), 0);
  ASSERT_FALSE(kelptest::path_exists(kelp::kDaemonSocketPath));
  char c;
  EXPECT_EQ(::read(a.get(), &c, 1), 0);
  EXPECT_EQ(::read(b.get(), &c, 1), 0);

  kelptest::write_file(kelp::kDaemonSocketPath, "not a socket");
  HelperDaemon third({"--serve"});
  ASSERT_FALSE(third.ready());
  EXPECT_EQ(third.wait(), 1);
  EXPECT_EQ(kelptest::read_file(kelp::kDaemonSocketPath), "not a socket");
}

}  // namespace
