// The listing engine without Java, built and run under ThreadSanitizer too:
// how many workers a listing gets, that every entry comes back exactly once
// with the right record, and that no worker is left waiting. Workers only
// start with daemon connections, so the suites run beside the real daemon.
#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "channel/connection.h"
#include "jni/fd.h"
#include "status/listing.h"
#include "support/helper_daemon.h"
#include "support/sandbox.h"

namespace {

using kelp::ListRequest;

constexpr int kEntries = 60;

// The simulated library would log the 64 KiB block-map request of every
// entry listed; nothing here reads that log.
const int kSimLogOff = ::setenv("KELP_SIM_LOG", "0", 1);

ListRequest request_for(const std::string& path, int threads, int threshold, int conn = -42) {
  ListRequest r;
  r.daemonFd = conn;
  r.path = path;
  r.threadCount = threads;
  r.threadThreshold = threshold;
  r.user = "root";
  r.defaultBlockSize = 4096;
  return r;
}

// Owner and group of each examined entry by name; "<null>" for an entry
// without a record. Fails the test on an entry listed twice.
std::map<std::string, std::string> owners(const kelp::Listing& listing, const std::string& dir) {
  std::map<std::string, std::string> out;
  for (const auto& e : listing.completed) {
    std::string name = e->path.substr(dir.size() + 1);
    std::string owner = e->result ? e->result->owner + ":" + e->result->group : "<null>";
    EXPECT_TRUE(out.emplace(name, owner).second) << name << " listed twice";
  }
  return out;
}

class ListingThreads : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { start({"--serve", "--allow-uid", "0"}); }
  static void TearDownTestSuite() { stop(); }

  static void start(const std::vector<std::string>& args) {
    kelptest::require_sandbox();
    ::unlink(kelp::kDaemonSocketPath);
    daemon_ = std::make_unique<kelptest::HelperDaemon>(args);
  }
  static void stop() {
    if (!daemon_) return;
    EXPECT_EQ(daemon_->stop(), 0);
    std::string log = daemon_->log();
    EXPECT_EQ(log.find("ThreadSanitizer"), std::string::npos) << log;
    daemon_.reset();
  }

  void SetUp() override {
    if (daemon_) {
      ASSERT_TRUE(daemon_->ready()) << daemon_->log();
    }
    // Entries owned by named and unnamed users and groups, so that the
    // workers share the listing's name cache.
    struct Owner {
      uid_t uid;
      gid_t gid;
      const char* text;
    };
    const Owner kOwners[] = {{0, kelptest::kGroup1Gid, "root:kelpgrp1"},
                             {kelptest::kUser1Uid, 0, "kelpuser1:root"},
                             {4242424, kelptest::kGroup1Gid, "4242424:6001"},
                             {kelptest::kUser1Uid, 4242425, "5001:4242425"}};
    for (int i = 0; i < kEntries; ++i) {
      std::string name = "f" + std::to_string(i);
      const Owner& o = kOwners[i % 4];
      kelp::UniqueFd fd(::open((dir_ / name).c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644));
      ASSERT_TRUE(fd);
      ASSERT_EQ(::fchown(fd.get(), o.uid, o.gid), 0);
      expected_[name] = o.text;
    }
  }

  static std::unique_ptr<kelptest::HelperDaemon> daemon_;
  kelptest::ScratchDir dir_{"engine"};
  std::map<std::string, std::string> expected_;
};

std::unique_ptr<kelptest::HelperDaemon> ListingThreads::daemon_;

TEST_F(ListingThreads, WorkersPastTheThresholdShareEveryEntry) {
  kelptest::FdSnapshot fds;
  kelp::UniqueFd conn(kelp::connect_daemon(0, "root"));
  ASSERT_TRUE(conn);
  for (int caller : {-42, conn.get()}) {
    for (int threads : {0, 1, 2, 4}) {
      for (int threshold : {-1, 0, 7, kEntries - 1, kEntries}) {
        SCOPED_TRACE("caller " + std::to_string(caller) + " threads " + std::to_string(threads) +
                     " threshold " + std::to_string(threshold));
        kelp::Listing l =
            kelp::list_directory(request_for(dir_.path(), threads, threshold, caller));
        EXPECT_EQ(l.outcome, kelp::ListOutcome::kListed);
        EXPECT_EQ(l.entries, static_cast<size_t>(kEntries));
        bool started = threshold >= 0 && threshold < kEntries && threads >= 2;
        EXPECT_EQ(l.workers, started ? threads : 1);
        EXPECT_EQ(owners(l, dir_.path()), expected_);
      }
    }
  }
  EXPECT_EQ(fds.added(), 1);
}

TEST_F(ListingThreads, NoWorkerIsLeftWaiting) {
  // Workers started before the first entry wait on an empty queue when the
  // directory ends; the listing must wake them to finish.
  kelptest::ScratchDir one("one");
  kelptest::write_file(one / "only", "");
  for (int i = 0; i < 100; ++i) {
    kelp::Listing l = kelp::list_directory(request_for(one.path(), 4, 0));
    ASSERT_EQ(l.workers, 4);
    ASSERT_EQ(l.completed.size(), 1u);
  }
  // Listings running side by side share nothing.
  std::vector<std::thread> side;
  std::vector<kelp::Listing> results(3);
  for (auto& r : results) {
    side.emplace_back([&] { r = kelp::list_directory(request_for(dir_.path(), 3, 1)); });
  }
  for (auto& t : side) t.join();
  for (auto& r : results) EXPECT_EQ(owners(r, dir_.path()), expected_);
}

// A daemon that lets clients work locally keeps only the connections that
// act for a proxy user.
class ListingLocalDaemon : public ListingThreads {
 protected:
  static void SetUpTestSuite() {
    start({"--local", "--allow-uid", "0", "--proxy-user", "root", "--proxy-users", "kelpuser1"});
  }
};

TEST_F(ListingLocalDaemon, OnlyProxyListingsGetWorkers) {
  ListRequest r = request_for(dir_.path(), 4, 0);
  EXPECT_EQ(kelp::list_directory(r).workers, 1);
  r.impersonate = true;
  r.user = "kelpuser1";
  kelp::Listing l = kelp::list_directory(r);
  EXPECT_EQ(l.workers, 4);
  EXPECT_EQ(owners(l, dir_.path()), expected_);
}

}  // namespace
