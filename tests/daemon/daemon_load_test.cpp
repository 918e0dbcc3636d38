// The reference helper daemon under load: a hundred clients at once doing
// mixed requests, among them clients that send garbage or vanish mid-frame.
// Afterwards it must still serve and hold no more descriptors than before.
#include <gtest/gtest.h>
#include <signal.h>

#include <string>
#include <thread>
#include <vector>

#include "channel/connection.h"
#include "support/daemon_clients.h"
#include "support/helper_daemon.h"
#include "support/sandbox.h"

namespace {

using kelptest::bad_client;
using kelptest::good_client;
using kelptest::kBadKinds;

constexpr int kClients = 100;
constexpr int kRounds = 10;

TEST(DaemonLoad, ServesManyClientsAndSurvivesBadOnesWithoutLeaking) {
  // Writing to a client that has gone must not end this process either.
  ::signal(SIGPIPE, SIG_IGN);
  ::unlink(kelp::kDaemonSocketPath);
  kelptest::ScratchDir dir("load");
  kelptest::HelperDaemon daemon({"--serve", "--allow-uid", "0"});
  ASSERT_TRUE(daemon.ready()) << daemon.log();

  // Once every kind of request has run once, nothing more stays open.
  ASSERT_EQ(good_client(dir / "warmup", kRounds), "");
  int baseline = daemon.open_fds();
  ASSERT_GT(baseline, 0);

  std::vector<std::string> failures(kClients);
  std::vector<std::thread> clients;
  for (int i = 0; i < kClients; ++i) {
    // Every fourth client misbehaves, each kind several times over.
    clients.emplace_back([&, i] {
      failures[i] = i % 4 == 3 ? bad_client((i / 4) % kBadKinds, dir.path())
                               : good_client(dir / ("c" + std::to_string(i)), kRounds);
    });
  }
  for (auto& t : clients) t.join();
  for (int i = 0; i < kClients; ++i) EXPECT_EQ(failures[i], "") << "client " << i;

  EXPECT_EQ(daemon.open_fds(), baseline);
  EXPECT_EQ(good_client(dir / "after", kRounds), "") << "it still serves";
  EXPECT_EQ(daemon.stop(), 0);
  std::string log = daemon.log();
  EXPECT_NE(log.find("unknown request type 0x5a"), std::string::npos) << log;
  EXPECT_NE(log.find("truncated frame"), std::string::npos) << log;
  EXPECT_NE(log.find("frame over"), std::string::npos) << log;
}

}  // namespace
