// The reference helper daemon as an operator meets it: who it lets in, how
// it answers, how it starts next to an old socket and how it stops.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "channel/connection.h"
#include "channel/framing.h"
#include "support/helper_daemon.h"
#include "support/sandbox.h"

namespace {

using kelp::connect_daemon;
using kelptest::HelperDaemon;

int count_lines_with(const std::string& text, const std::string& what) {
  int n = 0;
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
  return n;
}

// A socket file nobody listens on, as a daemon that died leaves behind.
void leave_stale_socket() {
  int s = ::socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un addr{};
  addr.sun_family = AF_UNIX;
  std::strncpy(addr.sun_path, kelp::kDaemonSocketPath, sizeof addr.sun_path - 1);
  ASSERT_EQ(::bind(s, reinterpret_cast<sockaddr*>(&addr), sizeof addr), 0);
  ::close(s);
}

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
  EXPECT_EQ(count_lines_with(log, "refused peer"), 2) << log;
  EXPECT_NE(log.find("uid 0 "), std::string::npos) << log;
  EXPECT_NE(log.find("uid 5001 "), std::string::npos) << log;
}

TEST_F(Daemon, ServeAndLocalAnswers) {
  {
    HelperDaemon d({"--serve", "--allow-uid", "0"});
    ASSERT_TRUE(d.ready()) << d.log();
    int conn = connect_daemon(0, "root");
    EXPECT_GE(conn, 0) << "the daemon serves";
    ::close(conn);
  }
  HelperDaemon d({"--allow-uid", "0"});
  ASSERT_TRUE(d.ready()) << d.log();
  EXPECT_EQ(connect_daemon(0, "root"), -42) << "local is the default";
  int conn = connect_daemon(1, "kelpuser1");
  EXPECT_GE(conn, 0) << "impersonation keeps the connection";
  // Accepted with 1, it still serves what it is sent.
  char reply = 0;
  ASSERT_TRUE(kelp::send_message(conn, kelp::kMsgExists, "/mnt/kelp", 10));
  ASSERT_TRUE(kelp::expect_message(conn, kelp::kMsgExists, &reply, 1));
  EXPECT_EQ(reply, 1);
  ::close(conn);
}

TEST_F(Daemon, StopsCleanlyWithIdleClients) {
  HelperDaemon d({"--serve", "--allow-uid", "0"});
  ASSERT_TRUE(d.ready()) << d.log();
  int a = connect_daemon(0, "root");
  int b = connect_daemon(0, "root");
  ASSERT_GE(a, 0);
  ASSERT_GE(b, 0);
  EXPECT_EQ(d.stop(), 0);
  EXPECT_FALSE(kelptest::path_exists(kelp::kDaemonSocketPath));
  // The connections were ended by the daemon.
  char c;
  EXPECT_EQ(::read(a, &c, 1), 0);
  EXPECT_EQ(::read(b, &c, 1), 0);
  ::close(a);
  ::close(b);
}

TEST_F(Daemon, ReplacesAStaleSocketButNeverALiveDaemonOrAnotherFile) {
  ASSERT_NO_FATAL_FAILURE(leave_stale_socket());
  HelperDaemon d({"--serve", "--allow-uid", "0"});
  ASSERT_TRUE(d.ready()) << d.log();
  struct stat st;
  ASSERT_EQ(::stat(kelp::kDaemonSocketPath, &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0666u) << "every user may knock";

  HelperDaemon second({"--serve", "--allow-uid", "0"});
  EXPECT_FALSE(second.ready());
  EXPECT_EQ(second.wait(), 1);
  EXPECT_NE(second.log().find("another daemon"), std::string::npos) << second.log();
  int conn = connect_daemon(0, "root");
  EXPECT_GE(conn, 0) << "the first one still serves";
  ::close(conn);
  EXPECT_EQ(d.stop(), 0);

  kelptest::write_file(kelp::kDaemonSocketPath, "not a socket");
  HelperDaemon third({"--serve"});
  EXPECT_FALSE(third.ready());
  EXPECT_EQ(third.wait(), 1);
  EXPECT_EQ(kelptest::read_file(kelp::kDaemonSocketPath), "not a socket");
}

}  // namespace
