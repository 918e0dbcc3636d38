// nListStatus from a real JVM: what a listing holds, locally and through the
// helper daemon; how many daemon connections its workers open (counted by
// the daemon); and a 100,000-entry listing that leaves nothing behind.
#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>

#include "support/connection_modes.h"
#include "support/sandbox.h"
#include "support/status_view.h"

namespace {

using kelptest::jstr;
using kelptest::write_file;
using statustest::Slot;

constexpr jlong kDefaultBlockSize = 1 << 20;

// The simulated library would log the 64 KiB block-map request of every
// entry listed (gigabytes for the big listing); nothing here reads that log.
const int kSimLogOff = ::setenv("KELP_SIM_LOG", "0", 1);

// Makes |n| empty files f0, f1, ... in |dir|.
void make_files(const std::string& dir, int n, int first = 0) {
  for (int i = first; i < first + n; ++i) {
    std::string f = dir + "/f" + std::to_string(i);
    int fd = ::open(f.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644);
    ASSERT_GE(fd, 0);
    ::close(fd);
  }
}

// The non-null slots by path; |nulls| counts the others.
std::map<std::string, statustest::StatusView> by_path(const std::vector<Slot>& slots, int& nulls) {
  std::map<std::string, statustest::StatusView> out;
  nulls = 0;
  for (const Slot& s : slots) {
    if (s.null) ++nulls;
    else out[s.status.path] = s.status;
  }
  return out;
}

class ListStatus : public kelptest::ConnectionModeTest {
 protected:
  jobjectArray list(const std::string& path, int threads = 4, int threshold = 0) {
    return KELP_NS(nListStatus, jstr(path), threads, threshold, JNI_FALSE, jstr("root"), nullptr,
                   kDefaultBlockSize);
  }
  kelptest::ScratchDir dir_{"list"};
};

TEST_P(ListStatus, EveryEntryOnceSnapshotsSkippedUnexaminableNull) {
  write_file(dir_ / "a", "abc");
  ASSERT_EQ(::mkdir((dir_ / "b").c_str(), 0750), 0);
  ASSERT_EQ(::mkdir((dir_ / ".snapshot").c_str(), 0755), 0);
  write_file(dir_ / ".snapshots", "");
  write_file(dir_ / ".snapshotx", "");
  // stat and the fallback open both fail on a dangling link.
  ASSERT_EQ(::symlink("nowhere", (dir_ / "dangling").c_str()), 0);

  for (int threads : {0, 1, 4}) {
    SCOPED_TRACE("threads " + std::to_string(threads));
    jobjectArray array = list(dir_.path(), threads);
    ASSERT_NE(array, nullptr);
    int nulls = 0;
    auto found = by_path(statustest::slots(array), nulls);
    EXPECT_EQ(env_->GetArrayLength(array), 4);
    EXPECT_EQ(nulls, 1);
    ASSERT_EQ(found.size(), 3u);
    EXPECT_EQ(found[dir_ / "a"].length, 3);
    EXPECT_FALSE(found[dir_ / "a"].isdir);
    EXPECT_TRUE(found[dir_ / "b"].isdir);
    EXPECT_EQ(found[dir_ / "b"].permission, 0750);
    EXPECT_EQ(found[dir_ / ".snapshotx"].owner, "root");
    EXPECT_EQ(found[dir_ / "a"].cls, "org.apache.hadoop.fs.LocatedFileStatus");
  }

  // The path is joined as given: a trailing slash makes "//", which Hadoop's
  // Path folds back into one.
  int nulls = 0;
  auto found = by_path(statustest::slots(list(dir_.path() + "/", 1)), nulls);
  EXPECT_EQ(found.count(dir_.path() + "/a"), 1u);
  EXPECT_EQ(found.count(dir_.path() + "/b"), 1u);
}

TEST_P(ListStatus, EmptyMissingAndNotADirectory) {
  ASSERT_EQ(::mkdir((dir_ / "e").c_str(), 0755), 0);
  ASSERT_EQ(::mkdir((dir_ / "e/.snapshot").c_str(), 0755), 0);
  write_file(dir_ / "e/.snapshots", "");
  jobjectArray empty = list(dir_ / "e", 4, 0);
  ASSERT_NE(empty, nullptr);
  EXPECT_EQ(env_->GetArrayLength(empty), 0);

  // A directory that cannot be opened lists as empty; a file lists as null.
  jobjectArray missing = list(dir_ / "missing");
  ASSERT_NE(missing, nullptr);
  EXPECT_EQ(env_->GetArrayLength(missing), 0);
  write_file(dir_ / "file", "x");
  kelptest::FdSnapshot before;
  EXPECT_EQ(list(dir_ / "file"), nullptr);
  EXPECT_EQ(before.added(), 0) << "the file's descriptor is closed";
}

TEST_P(ListStatus, LocatedListingsCarryEveryBlockOfEveryFile) {
  // default.scn: 4 MiB blocks, 3 replicas; replica r of block b on the disk
  // of kelpnode((b + r) mod 4 + 1), cached by that node too.
  constexpr long long kMiB = 1 << 20;
  std::string big = dir_ / "ten-mib";
  {
    std::FILE* f = std::fopen(big.c_str(), "w");
    ASSERT_NE(f, nullptr);
    ASSERT_EQ(::ftruncate(::fileno(f), 10 * kMiB), 0);
    std::fclose(f);
  }
  ASSERT_EQ(::mkdir((dir_ / "sub").c_str(), 0755), 0);

  auto listed = [&](jboolean located) {
    int nulls = 0;
    auto found = by_path(statustest::slots(KELP_NS(nListStatus, jstr(dir_.path()), 2, 0, located,
                                                   jstr("root"), nullptr, kDefaultBlockSize)),
                         nulls);
    EXPECT_EQ(nulls, 0);
    return found;
  };
  auto located = listed(JNI_TRUE);
  const statustest::StatusView& file = located[big];
  EXPECT_EQ(file.replication, 3);
  EXPECT_EQ(file.blocksize, 4 * kMiB) << "the file system's block size beats a smaller default";
  ASSERT_EQ(file.blocks.size(), 3u);
  const long long lengths[] = {4 * kMiB, 4 * kMiB, 2 * kMiB};
  for (int b = 0; b < 3; ++b) {
    SCOPED_TRACE("block " + std::to_string(b));
    EXPECT_EQ(file.blocks[b].offset, b * 4 * kMiB);
    EXPECT_EQ(file.blocks[b].length, lengths[b]);
    std::vector<std::string> hosts, names;
    for (int r = 0; r < 3; ++r) {
      int node = (b + r) % 4 + 1;
      hosts.push_back("kelpnode" + std::to_string(node));
      names.push_back("127.0.1.1" + std::to_string(node) + ":0");
    }
    EXPECT_EQ(file.blocks[b].hosts, hosts);
    EXPECT_EQ(file.blocks[b].names, names);
    EXPECT_EQ(file.blocks[b].cached, hosts);
  }
  EXPECT_TRUE(located[dir_ / "sub"].has_blocks);
  EXPECT_TRUE(located[dir_ / "sub"].blocks.empty()) << "a directory has no blocks";

  // Not located: no blocks, but the same replication and block size.
  auto plain = listed(JNI_FALSE);
  EXPECT_TRUE(plain[big].blocks.empty());
  EXPECT_EQ(plain[big].replication, 3);
  EXPECT_EQ(plain[big].blocksize, 4 * kMiB);
}

KELP_INSTANTIATE_IN_BOTH_MODES(ListStatus);

// Listings through a daemon that logs every connection it accepts, so the
// workers' own connections can be counted.
class ListingConnections : public kelptest::JniTest {
 protected:
  static void SetUpTestSuite() {
    ::unlink("/var/run/kelp_conn_sock");
    daemon_ = std::make_unique<kelptest::HelperDaemon>(
        std::vector<std::string>{"--serve", "--allow-uid", "0", "--log-connections"});
  }
  static void TearDownTestSuite() { daemon_.reset(); }

  void SetUp() override {
    ASSERT_NO_FATAL_FAILURE(JniTest::SetUp());
    ASSERT_TRUE(daemon_->ready()) << daemon_->log();
    conn_ = Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nConnect(env_, fs_, jstr("root"),
                                                                  nullptr);
    ASSERT_GE(conn_, 0);
  }
  void TearDown() override {
    EXPECT_TRUE(Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nClose(env_, fs_, conn_));
    JniTest::TearDown();
  }

  // Connections the daemon accepted so far. Each is logged before its
  // handshake is answered, so a listing's are all in once it returns.
  static int connections() {
    std::string log = daemon_->log();
    int n = 0;
    for (size_t at = 0; (at = log.find(": connected\n", at)) != std::string::npos; ++at) ++n;
    return n;
  }

  // Lists |dir| and returns the connections its workers opened; |entries|
  // receives the array's length, |nulls| its null slots.
  int worker_connections(const std::string& dir, int threads, int threshold, bool located,
                         int& entries, int& nulls) {
    int before = connections();
    jobjectArray array = KELP_NS(nListStatus, jstr(dir), threads, threshold,
                                 located ? JNI_TRUE : JNI_FALSE, jstr("root"), nullptr,
                                 kDefaultBlockSize);
    int after = connections();
    entries = array != nullptr ? env_->GetArrayLength(array) : -1;
    nulls = 0;
    for (jsize i = 0; i < entries; ++i) {
      jobject s = env_->GetObjectArrayElement(array, i);
      if (s == nullptr) ++nulls;
      env_->DeleteLocalRef(s);
    }
    env_->DeleteLocalRef(array);
    return after - before;
  }

  static std::unique_ptr<kelptest::HelperDaemon> daemon_;
};

std::unique_ptr<kelptest::HelperDaemon> ListingConnections::daemon_;

TEST_F(ListingConnections, WorkersStartPastTheThresholdOneConnectionEach) {
  kelptest::ScratchDir dir("conns");
  make_files(dir.path(), 10);
  int entries = 0, nulls = 0;
  // The threshold is compared before an entry is queued: 10 entries never
  // reach a count of 10 with another entry to come.
  EXPECT_EQ(worker_connections(dir.path(), 4, 10, false, entries, nulls), 0);
  EXPECT_EQ(entries, 10);
  make_files(dir.path(), 1, 10);
  EXPECT_EQ(worker_connections(dir.path(), 4, 10, false, entries, nulls), 3);
  EXPECT_EQ(entries, 11);
  EXPECT_EQ(nulls, 0);
  EXPECT_EQ(worker_connections(dir.path(), 4, 11, false, entries, nulls), 0);
  EXPECT_EQ(worker_connections(dir.path(), 2, 0, true, entries, nulls), 1);
  // One thread, or none, is the calling thread alone.
  EXPECT_EQ(worker_connections(dir.path(), 1, 0, false, entries, nulls), 0);
  EXPECT_EQ(worker_connections(dir.path(), 0, 0, false, entries, nulls), 0);
  EXPECT_EQ(entries, 11);
  EXPECT_EQ(nulls, 0);
}

std::string first_line(const std::string& path) {
  std::string text = kelptest::read_file(path);
  return text.substr(0, text.find('\n'));
}

// Threads of this process named like it: the main thread and any the library
// starts (the JVM names each of its own, and starts and ends them at will).
int native_threads() {
  std::string own = first_line("/proc/self/comm");
  int n = 0;
  DIR* d = ::opendir("/proc/self/task");
  while (struct dirent* e = ::readdir(d)) {
    if (e->d_name[0] == '.') continue;
    n += first_line(std::string("/proc/self/task/") + e->d_name + "/comm") == own;
  }
  ::closedir(d);
  return n;
}

// Runs |fn| with this process's standard output going to a file; returns what
// was written there (the JVM's -Xcheck:jni warnings go to standard output).
template <typename F>
std::string capture_stdout(F fn) {
  std::fflush(stdout);
  char path[] = "/tmp/kelp-stdout.XXXXXX";
  int file = ::mkstemp(path);
  int saved = ::dup(STDOUT_FILENO);
  ::dup2(file, STDOUT_FILENO);
  fn();
  std::fflush(stdout);
  ::dup2(saved, STDOUT_FILENO);
  ::close(saved);
  ::close(file);
  std::string out = kelptest::read_file(path);
  ::unlink(path);
  return out;
}

TEST_F(ListingConnections, AHundredThousandEntriesLeaveNothingBehind) {
  constexpr int kEntries = 100000;
  kelptest::ScratchDir dir("big");
  make_files(dir.path(), kEntries);
  kelptest::FdSnapshot fds;
  int threads = native_threads();
  int entries = 0, nulls = 0, workers = -1;
  // Every object is built in the local frame this test holds (256 slots);
  // one reference kept per entry would overflow it and -Xcheck:jni says so.
  std::string out = capture_stdout(
      [&] { workers = worker_connections(dir.path(), 4, 0, true, entries, nulls); });
  EXPECT_EQ(out.find("WARNING"), std::string::npos) << out.substr(0, 2000);
  EXPECT_EQ(workers, 3);
  EXPECT_EQ(entries, kEntries);
  EXPECT_EQ(nulls, 0);
  EXPECT_EQ(fds.added(), 0);
  EXPECT_EQ(native_threads(), threads);
}

}  // namespace
