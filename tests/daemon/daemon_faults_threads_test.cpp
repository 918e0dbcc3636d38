// The reference helper daemon under faults for a set time: 200 clients at
// once, most of them well-behaved (every answer checked), the others sending
// garbage, oversized lengths, cut-short frames, unknown types, leaving
// abruptly or naming a user they may not act for; beside them a process of
// a uid off the allow list keeps knocking and pipelining requests. The
// daemon must keep serving correctly, end with the descriptors it started
// with and its memory flat, and never answer a refused peer's request.
//
// KELP_FAULT_SECONDS sets the duration (default 12; the README runs 60).
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "channel/connection.h"
#include "channel/framing.h"
#include "channel/payload.h"
#include "support/daemon_clients.h"
#include "support/helper_daemon.h"
#include "support/sandbox.h"

namespace {

using Clock = std::chrono::steady_clock;
using kelp::UniqueFd;

constexpr int kClients = 200;
constexpr int kDefaultSeconds = 12;

int fault_seconds() {
  const char* v = std::getenv("KELP_FAULT_SECONDS");
  int n = v != nullptr ? std::atoi(v) : 0;
  return n > 0 && n <= 3600 ? n : kDefaultSeconds;
}

// Resident memory of |pid| in KiB (0 when unreadable).
long rss_kib(pid_t pid) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.compare(0, 6, "VmRSS:") == 0) return std::atol(line.c_str() + 6);
  }
  return 0;
}

// A refused peer's attempt: the handshake and, without waiting, a mkdirs of
// |path|. True when all that came back is the refusal (answer 0) and the
// end of the connection.
bool refused_and_not_served(const std::string& user, const std::string& path) {
  UniqueFd s(kelptest::raw_connect());
  if (!s) return false;
  std::string frames;
  kelp::Payload hello;
  hello.str(user);
  frames += kelptest::header(kelp::kMsgHandshake, static_cast<uint32_t>(hello.size()));
  frames.append(hello.data(), static_cast<size_t>(hello.size()));
  kelp::Payload mkdirs;
  mkdirs.str(path).i32(0755);
  frames += kelptest::header(kelp::kMsgMkdirs, static_cast<uint32_t>(mkdirs.size()));
  frames.append(mkdirs.data(), static_cast<size_t>(mkdirs.size()));
  if (::write(s.get(), frames.data(), frames.size()) != static_cast<ssize_t>(frames.size())) {
    return false;
  }
  std::string got;
  char buf[64];
  ssize_t n;
  while ((n = ::read(s.get(), buf, sizeof buf)) > 0) got.append(buf, static_cast<size_t>(n));
  return got == kelptest::header(kelp::kMsgHandshake, 1) + std::string(1, '\0');
}

struct Counts {
  std::atomic<long> served{0};   // well-behaved rounds, every answer right
  std::atomic<long> faults{0};   // misbehaving connections
  std::atomic<long> refused{0};  // refused handshakes, none served
  long rss_mid = 0;              // the daemon's VmRSS half way through (KiB)
  std::vector<std::string> failures;
  std::mutex mu;
  void fail(const std::string& what) {
    std::lock_guard<std::mutex> lock(mu);
    if (failures.size() < 20) failures.push_back(what);
  }
};

// Client |i| until |end|: three in four of its connections behave, the
// rest are the faults of bad_client or a root client naming a user it has
// no rule for.
void client(int i, Clock::time_point end, const std::string& base, Counts& counts,
            pid_t daemon) {
  std::string mine = base + "/c" + std::to_string(i);
  auto mid = end - (end - Clock::now()) / 2;
  for (long n = 0; Clock::now() < end; ++n) {
    if (i == 0 && counts.rss_mid == 0 && Clock::now() >= mid) counts.rss_mid = rss_kib(daemon);
    int pick = static_cast<int>((n * 7 + i) % 16);
    if (pick < 12) {
      std::string failure = kelptest::good_client(mine, 1);
      if (!failure.empty()) counts.fail("client " + std::to_string(i) + ": " + failure);
      ++counts.served;
    } else if (pick < 15) {
      std::string failure = kelptest::bad_client(static_cast<int>(n % kelptest::kBadKinds), mine);
      if (!failure.empty()) counts.fail("bad client " + std::to_string(i) + ": " + failure);
      ++counts.faults;
    } else {
      if (!refused_and_not_served("kelpuser1", mine + "/proxied")) {
        counts.fail("root acting for kelpuser1 was served");
      }
      ++counts.refused;
      ++counts.faults;
    }
  }
}

TEST(DaemonFaults, KeepsServingWithoutLeakingOrLettingRefusedPeersIn) {
  ::signal(SIGPIPE, SIG_IGN);
  ::unlink(kelp::kDaemonSocketPath);
  kelptest::ScratchDir dir("faults");
  ASSERT_EQ(::chmod(dir.path().c_str(), 0777), 0);
  kelptest::HelperDaemon daemon({"--serve", "--allow-uid", "0"});
  ASSERT_TRUE(daemon.ready()) << daemon.log();
  const int seconds = fault_seconds();

  // Warm-up: every kind of request once, then a short burst at full load
  // so the baselines include what a busy daemon keeps (its heap arenas).
  ASSERT_EQ(kelptest::good_client(dir / "warmup", 2), "");
  const int fds_before = daemon.open_fds();
  Counts warm;
  {
    std::vector<std::thread> burst;
    auto end = Clock::now() + std::chrono::seconds(1);
    for (int i = 0; i < kClients; ++i) {
      burst.emplace_back(client, i, end, dir / "warm", std::ref(warm), daemon.pid());
    }
    for (auto& t : burst) t.join();
  }
  ASSERT_TRUE(warm.failures.empty()) << warm.failures[0];
  const long rss_before = rss_kib(daemon.pid());
  ASSERT_GT(rss_before, 0);
  ASSERT_EQ(daemon.open_fds(), fds_before);

  // A uid off the allow list knocks for the whole run, from its own
  // process (forked while no other thread of this one runs).
  std::string intruder = dir / "intruder";
  int out[2];
  ASSERT_EQ(::pipe(out), 0);
  pid_t knocker = ::fork();
  ASSERT_GE(knocker, 0);
  if (knocker == 0) {
    ::close(out[0]);
    if (::setgid(kelptest::kGroup2Gid) != 0 || ::setuid(kelptest::kUser2Uid) != 0) ::_exit(2);
    auto end = Clock::now() + std::chrono::seconds(seconds);
    long attempts = 0;
    bool ok = true;
    while (ok && Clock::now() < end) {
      ok = refused_and_not_served("kelpuser2", intruder);
      ++attempts;
    }
    ssize_t ignored = ::write(out[1], &attempts, sizeof attempts);
    (void)ignored;
    ::_exit(ok ? 0 : 1);
  }
  ::close(out[1]);

  Counts counts;
  std::vector<std::thread> clients;
  auto end = Clock::now() + std::chrono::seconds(seconds);
  for (int i = 0; i < kClients; ++i) {
    clients.emplace_back(client, i, end, dir.path(), std::ref(counts), daemon.pid());
  }
  for (auto& t : clients) t.join();
  int status = 0;
  ASSERT_EQ(::waitpid(knocker, &status, 0), knocker);
  const long rss_after = rss_kib(daemon.pid());
  const int fds_after = daemon.open_fds();
  long knocks = 0;
  EXPECT_EQ(::read(out[0], &knocks, sizeof knocks), static_cast<ssize_t>(sizeof knocks));
  ::close(out[0]);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "a refused uid was served";
  EXPECT_FALSE(kelptest::path_exists(intruder));

  for (const auto& f : counts.failures) ADD_FAILURE() << f;
  EXPECT_GT(counts.served.load(), kClients);
  EXPECT_EQ(fds_after, fds_before);
  // Flat: no growth worth the name over the second half of the run, and
  // what a busy daemon holds after the warm-up burst, give or take a
  // quarter for the allocator's caches settling. A sanitizer's own memory
  // grows with every thread it has seen (ThreadSanitizer) and every block
  // freed (AddressSanitizer's quarantine, which LeakSanitizer's check at the
  // daemon's exit stands in for here).
  const std::string sanitizer = KELP_TEST_SANITIZE;
  if (sanitizer.find("address") == std::string::npos) {
    EXPECT_LE(rss_after, counts.rss_mid + counts.rss_mid / 10) << counts.rss_mid << " KiB half way";
  }
  if (sanitizer.empty() || sanitizer == "OFF") {
    EXPECT_LE(rss_after, rss_before + rss_before / 4) << rss_before << " KiB before";
  }
  EXPECT_EQ(kelptest::good_client(dir / "after", 2), "") << "it still serves";
  std::printf("daemon faults over %d s with %d clients: %ld rounds served, %ld faults injected "
              "(%ld refused proxy handshakes), %ld refused-uid attempts; descriptors %d before, "
              "%d after; VmRSS %ld KiB before, %ld KiB half way, %ld KiB after\n",
              seconds, kClients, counts.served.load(), counts.faults.load(),
              counts.refused.load(), knocks, fds_before, fds_after, rss_before, counts.rss_mid,
              rss_after);
  EXPECT_EQ(daemon.stop(), 0);
  std::string log = daemon.log();
  EXPECT_EQ(log.find("ThreadSanitizer"), std::string::npos) << log.substr(0, 4000);
  EXPECT_EQ(log.find("AddressSanitizer"), std::string::npos) << log.substr(0, 4000);
}

}  // namespace
