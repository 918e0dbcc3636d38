// Every entry point called many times (KELP_FLAT_ITERATIONS, default 10,000;
// 1,000 under the sanitizers) on success and failure paths, locally and
// through the helper daemon, and against a misbehaving stand-in that sends
// malformed replies, truncated control data and extra descriptors: the
// process's open descriptors and resident memory stay flat. The only
// descriptors kept on purpose, one per call each, are a failed handshake's
// socket and the sync cache's one descriptor per path; the tests below
// count both exactly.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "channel/connection.h"
#include "channel/framing.h"
#include "jni/fd.h"
#include "topology/command_runner.h"
#include "org_apache_hadoop_fs_kelp_KELPDataOutputStream.h"
#include "sim_state.h"
#include "support/descriptor_message.h"
#include "support/connection_modes.h"
#include "support/helper_daemon.h"
#include "support/sandbox.h"

namespace {

// A fixed, touched Java heap, so that what the JVM keeps does not read as
// growth; the simulated library's request log stays off.
const bool kJvmOptions =
    ::setenv("KELP_TEST_JVM_OPTIONS", "-Xms96m -Xmx96m -XX:+AlwaysPreTouch", 1) == 0 &&
    ::setenv("KELP_SIM_LOG", "0", 1) == 0;

bool sanitized() {
  const std::string sanitize = KELP_TEST_SANITIZE;
  return sanitize.find("address") != std::string::npos || sanitize.find("thread") != std::string::npos;
}

int iterations() {
  if (const char* n = std::getenv("KELP_FLAT_ITERATIONS")) return std::atoi(n);
  return sanitized() ? 1000 : 10000;
}

// Resident memory says nothing under AddressSanitizer, which holds freed
// blocks in its quarantine (256 MiB by default): there only descriptors count.
bool memory_counts() { return !sanitized(); }

long resident_kib() {
  long pages = 0, resident = 0;
  FILE* f = std::fopen("/proc/self/statm", "r");
  if (f == nullptr) return -1;
  if (std::fscanf(f, "%ld %ld", &pages, &resident) != 2) resident = -1;
  std::fclose(f);
  return resident * (::sysconf(_SC_PAGESIZE) / 1024);
}

// One call of an entry point (or a few, for its success and failure paths);
// |every| > 1 runs it on every |every|-th iteration only (the calls that
// start a command each time). |kept_without_daemon|: descriptors each call
// keeps on purpose when no daemon listens (a failed connection's socket).
struct Case {
  const char* name;
  int every;
  std::function<void()> call;
  int kept_without_daemon = 0;
};

// Calls an entry point and then, as Java would on its return, looks at (and
// clears) the exception it may have raised before any other JNI call.
#define FS_CALL(method, ...) \
  checked(Java_org_apache_hadoop_fs_kelp_KelpFileSystem_##method(env_, fs_, __VA_ARGS__))
#define OS_CALL(method, ...) \
  checked(Java_org_apache_hadoop_fs_kelp_KELPDataOutputStream_##method(env_, os, __VA_ARGS__))

// Shared by both fixtures below.
class Checked {
 protected:
  template <typename T>
  T checked(T value) {
    JNIEnv* env = kelptest::jvm_env();
    if (env->ExceptionCheck()) env->ExceptionClear();
    return value;
  }
};

class Flatness : public kelptest::ConnectionModeTest, protected Checked {
 protected:
  void SetUp() override {
    ASSERT_TRUE(kJvmOptions);
    ASSERT_NO_FATAL_FAILURE(ConnectionModeTest::SetUp());
    kelptest::use_scenario("default");
    kelptest::write_file(dir_ / "file", std::string(5 << 20, 'x'));
    ASSERT_EQ(::mkdir((dir_ / "sub").c_str(), 0755), 0);
    ASSERT_EQ(::symlink("file", (dir_ / "link").c_str()), 0);
  }

  jstring s(const std::string& v) { return kelptest::jstr(v); }
  // Closes the descriptor of a returned java.io.FileDescriptor.
  void close_fd(jobject fd) {
    if (fd != nullptr) ::close(kelptest::fd_of(fd));
  }

  // Runs every case |n| times, each call in a local frame of its own, and
  // expects each to leave the descriptor count as it found it.
  void run_all(const std::vector<Case>& cases, int n) {
    for (const Case& c : cases) {
      kelptest::FdSnapshot before;
      auto start = std::chrono::steady_clock::now();
      int calls = 0;
      for (int i = 0; i < n; ++i) {
        if (i % c.every != 0) continue;
        ASSERT_EQ(env_->PushLocalFrame(32), 0);
        c.call();
        env_->PopLocalFrame(nullptr);
        ++calls;
      }
      if (std::getenv("KELP_FLAT_VERBOSE") != nullptr) {
        std::printf("  %-24s %d calls, %.1f ms\n", c.name, calls,
                    std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
      }
      int kept = local() ? c.kept_without_daemon * calls : 0;
      EXPECT_EQ(before.added(), kept) << c.name << ": descriptors left";
      kept_ += kept;
    }
  }

  std::vector<Case> cases() {
    // |missing| can never be made: its parent is a file.
    const std::string f = dir_ / "file", missing = f + "/no/x", d = dir_.path();
    jobject os = kelptest::output_stream();
    // The entry points may delete the array's reference: one per call.
    auto acl = [] { return kelptest::acl_entries({{0, "kelpuser1", 6, 0}}); };
    return {
        {"nOpen", 1, [=] { close_fd(FS_CALL(nOpen, conn_, s(f))); close_fd(FS_CALL(nOpen, conn_, s(missing))); }},
        {"nCreate", 1, [=] {
           close_fd(FS_CALL(nCreate, conn_, s(d + "/c"), 0644, 1, JNI_TRUE, 1));
           close_fd(FS_CALL(nCreate, conn_, s(missing), 0644, 1, JNI_TRUE, 1));
         }},
        {"nAppend", 1, [=] { close_fd(FS_CALL(nAppend, conn_, s(f))); close_fd(FS_CALL(nAppend, conn_, s(missing))); }},
        {"nExists", 1, [=] { FS_CALL(nExists, conn_, s(f)); FS_CALL(nExists, conn_, s(missing)); }},
        {"nMkdirs", 1, [=] { FS_CALL(nMkdirs, conn_, s(d + "/m/n"), 0755); FS_CALL(nMkdirs, conn_, s(f + "/x"), 0755); }},
        {"nDelete", 1, [=] {
           FS_CALL(nDelete, conn_, s(d + "/m"), JNI_TRUE);
           FS_CALL(nDelete, conn_, s(missing), JNI_FALSE);
         }},
        {"nRename", 1, [=] {
           FS_CALL(nRename, conn_, s(d + "/c"), s(d + "/c2"));
           FS_CALL(nRename, conn_, s(d + "/c2"), s(d + "/c"));
           FS_CALL(nRename, conn_, s(missing), s(d + "/y"));
         }},
        {"nChown", 1, [=] {
           FS_CALL(nChown, conn_, s(d + "/c"), s("kelpuser1"), s("kelpgrp1"));
           FS_CALL(nChown, conn_, s(missing), s("nosuchuser"), s("kelpgrp1"));
         }},
        {"nChmod", 1, [=] { FS_CALL(nChmod, conn_, s(d + "/c"), 0640); FS_CALL(nChmod, conn_, s(missing), 0640); }},
        {"nResolveSymlink", 1, [=] { FS_CALL(nResolveSymlink, conn_, s(d + "/link")); FS_CALL(nResolveSymlink, conn_, s(missing)); }},
        {"nReadSymlink", 1, [=] { FS_CALL(nReadSymlink, conn_, s(d + "/link")); FS_CALL(nReadSymlink, conn_, s(missing)); }},
        {"nCreateSymlink", 1, [=] {
           FS_CALL(nCreateSymlink, conn_, s("file"), s(d + "/l2"));
           ::unlink((d + "/l2").c_str());
           FS_CALL(nCreateSymlink, conn_, s("file"), s(missing));
         }},
        {"nCreateAs", 1, [=] {
           close_fd(FS_CALL(nCreateAs, conn_, s(d + "/ca"), 0644, 1, JNI_TRUE, s("kelpuser1"), s("kelpgrp1"), 1));
           close_fd(FS_CALL(nCreateAs, conn_, s(missing), 0644, 1, JNI_TRUE, s("kelpuser1"), s("kelpgrp1"), 1));
         }},
        {"nAppendAs", 1, [=] {
           close_fd(FS_CALL(nAppendAs, conn_, s(d + "/ca"), s("kelpuser1"), s("kelpgrp1")));
           close_fd(FS_CALL(nAppendAs, conn_, s(missing), s("kelpuser1"), s("kelpgrp1")));
         }},
        {"nMkdirsAs", 1, [=] {
           FS_CALL(nMkdirsAs, conn_, s(d + "/ma"), 0755, s("kelpuser1"), s("kelpgrp1"));
           FS_CALL(nMkdirsAs, conn_, s(f + "/x"), 0755, s("kelpuser1"), s("kelpgrp1"));
         }},
        {"nCreateSymlinkAs", 1, [=] {
           FS_CALL(nCreateSymlinkAs, conn_, s("file"), s(d + "/la"), s("kelpuser1"), s("kelpgrp1"));
           ::unlink((d + "/la").c_str());
         }},
        {"nGetFileStatus", 1, [=] {
           FS_CALL(nGetFileStatus, conn_, s(f), 4 << 20);
           FS_CALL(nGetFileStatus, conn_, s(missing), 4 << 20);
         }},
        // A worker's connection is tried (and kept, failing, without a daemon).
        {"nListStatus", 100, [=] {
           FS_CALL(nListStatus, conn_, s(d), 2, 0, JNI_TRUE, s("kelpuser1"), nullptr, 4 << 20);
           FS_CALL(nListStatus, conn_, s(missing), 2, 0, JNI_FALSE, nullptr, nullptr, 4 << 20);
         }, 1},
        {"nGetInitInfo", 1, [=] { checked(Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nGetInitInfo(env_, fs_)); }},
        {"nGetFileBlockLocations", 1, [=] {
           FS_CALL(nGetFileBlockLocations, conn_, s(f), 0, -1, 4 << 20);
           FS_CALL(nGetFileBlockLocations, conn_, s(missing), 0, -1, 4 << 20);
         }},
        {"nGetDetails", 1, [=] { FS_CALL(nGetDetails, conn_, s("/mnt/kelp")); FS_CALL(nGetDetails, conn_, s(missing)); }},
        {"nSetReplication", 1, [=] { FS_CALL(nSetReplication, conn_, s(f), 2); FS_CALL(nSetReplication, conn_, s(missing), 2); }},
        {"nSetBlockGroupFactor", 1, [=] { FS_CALL(nSetBlockGroupFactor, conn_, s(f), 2); FS_CALL(nSetBlockGroupFactor, conn_, s(missing), 2); }},
        {"snapshots", 200, [=] {
           FS_CALL(nCreateSnapshot, conn_, s(d), s("flat-" + std::to_string(serial_)), s("a"));
           FS_CALL(nRenameSnapshot, conn_, s(d), s("a"), s("b"));
           FS_CALL(nCreateSnapshotAs, conn_, s(d), s("flat-" + std::to_string(serial_) + "as"), s("c"), s("kelpuser1"), s("kelpgrp1"));
           FS_CALL(nDeleteSnapshot, conn_, s(d), s("b"));
           FS_CALL(nDeleteSnapshot, conn_, s(d), s("c"));
           FS_CALL(nDeleteSnapshot, conn_, s(d), s("gone"));
           ++serial_;
         }},
        {"acls", 1, [=] {
           FS_CALL(nModifyAclEntries, conn_, s(f), acl());
           FS_CALL(nGetAclStatus, conn_, s(f));
           FS_CALL(nRemoveAclEntries, conn_, s(f), acl());
           FS_CALL(nSetAcl, conn_, s(f), acl());
           FS_CALL(nRemoveAcl, conn_, s(f));
           FS_CALL(nRemoveDefaultAcl, conn_, s(d + "/sub"));
           FS_CALL(nGetAclStatus, conn_, s(missing));
           FS_CALL(nSetAcl, conn_, s(missing), acl());
         }},
        {"xattrs", 1, [=] {
           FS_CALL(nSetExtendedAttribute, conn_, s(f), s("user.k"), s("v"));
           FS_CALL(nGetExtendedAttribute, conn_, s(f), s("user.k"));
           FS_CALL(nSetExtendedAttribute, conn_, s(missing), s("user.k"), s("v"));
           FS_CALL(nGetExtendedAttribute, conn_, s(missing), s("user.k"));
         }},
        {"sync", 1, [=] {
           OS_CALL(kelp_1fsync_1range, s(f), 0, 4096);
           OS_CALL(kelp_1fdatasync, s(f));
           OS_CALL(kelp_1preallocate, s(f), 1 << 20);
           OS_CALL(kelp_1preallocate, s(missing), 1);
           OS_CALL(kelp_1fdatasync, s(missing));
         }},
        {"connections", 1, [=] {
           // A serving daemon keeps the connection, closed again here;
           // without one the failed connection's socket stays.
           jint c = checked(Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nConnect(env_, fs_, s("kelpuser1"), nullptr));
           checked(Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nClose(env_, fs_, c));
         }, 1},
    };
  }

  kelptest::ScratchDir dir_{"flat"};
  int serial_ = 0;
  int kept_ = 0;  // descriptors kept on purpose so far
};

TEST_P(Flatness, EveryEntryPointLeavesNoDescriptorAndNoMemory) {
  std::vector<Case> all = cases();
  // One round first: caches, classes and the failed paths' first debug
  // texts settle; the sync cache takes its one descriptor for the file.
  for (const Case& c : all) c.call();
  const int n = iterations();
  kelptest::FdSnapshot fds_before;
  long rss_before = resident_kib();
  run_all(all, n / 2);
  long rss_half = resident_kib();
  run_all(all, n - n / 2);
  int added = fds_before.added();
  long rss_after = resident_kib();
  std::printf("%d calls of each entry point: %d descriptors added (%d kept on purpose); "
              "resident %ld, %ld, %ld KiB\n",
              n, added, kept_, rss_before, rss_half, rss_after);
  EXPECT_EQ(added, kept_);
  // Flat: the second half adds no more than a little allocator slack.
  if (memory_counts()) {
    // A leak grows with every call; the JVM's compiler or a new allocator
    // arena grows once. So growth must stop: after a half that grew, the
    // next as many calls must not.
    long grown = rss_after - rss_half;
    if (grown >= 4096) {
      run_all(all, n / 2);
      long rss_more = resident_kib();
      std::printf("resident grew by %ld KiB, then by %ld KiB over %d more calls of each\n", grown,
                  rss_more - rss_after, n / 2);
      grown = rss_more - rss_after;
    }
    EXPECT_LT(grown, 4096) << "resident memory grew by " << grown << " KiB";
  }
}

KELP_INSTANTIATE_IN_BOTH_MODES(Flatness);

// A stand-in daemon that misbehaves: the library's end of a socket pair,
// with the reply already waiting in it.
class Misbehaving : public kelptest::JniTest, protected Checked {
 protected:
  struct Pair {
    Pair() {
      int fds[2];
      EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds), 0);
      library.reset(fds[0]);
      daemon.reset(fds[1]);
    }
    kelp::UniqueFd library, daemon;
  };

  // Writes a frame and then, when |count| > 0, a message of |byte| with
  // |count| descriptors of /dev/null.
  static void reply(int socket, char type, const std::string& payload, char byte = 0, int count = 0) {
    kelp::send_message(socket, type, payload.data(), static_cast<int>(payload.size()));
    if (count > 0) send_with_fds(socket, std::string(1, byte), count);
  }

  // Sends |data| as one message carrying |count| descriptors of /dev/null.
  static void send_with_fds(int socket, const std::string& data, int count) {
    EXPECT_EQ(kelptest::send_with_null_descriptors(socket, data.data(), data.size(), count),
              static_cast<ssize_t>(data.size()));
  }
};

TEST_F(Misbehaving, MalformedRepliesTruncatedControlDataAndExtraDescriptors) {
  const std::string path = "/mnt/kelp/anything";
  auto once = [&](const std::function<void(int library, int daemon)>& call) {
    ASSERT_EQ(env_->PushLocalFrame(16), 0);
    Pair p;
    call(p.library.get(), p.daemon.get());
    env_->ExceptionClear();
    env_->PopLocalFrame(nullptr);
  };
  std::vector<std::function<void(int, int)>> calls = {
      // The descriptor that is due.
      [&](int l, int d) {
        reply(d, 'o', "\x01", 'F', 1);
        jobject fd = FS_CALL(nOpen, l, kelptest::jstr(path));
        EXPECT_NE(fd, nullptr);
        if (fd != nullptr) ::close(kelptest::fd_of(fd));
      },
      // More descriptors than the control buffer holds: truncated, refused.
      [&](int l, int d) {
        reply(d, 'o', "\x01", 'F', 3);
        EXPECT_EQ(FS_CALL(nOpen, l, kelptest::jstr(path)), nullptr);
      },
      // Extra descriptors riding on a reply frame that carries none.
      [&](int l, int d) {
        std::string frame("e\0\0\0\x01\x01", 6);
        send_with_fds(d, frame, 2);
        EXPECT_TRUE(FS_CALL(nExists, l, kelptest::jstr(path)));
      },
      // A descriptor message with the wrong data byte.
      [&](int l, int d) {
        reply(d, 'c', "\x01", 'X', 1);
        EXPECT_EQ(FS_CALL(nCreate, l, kelptest::jstr(path), 0644, 1, JNI_TRUE, 1), nullptr);
      },
      // A reply of another type, one too long, one cut short.
      [&](int l, int d) {
        reply(d, 'x', "\x01");
        EXPECT_FALSE(FS_CALL(nExists, l, kelptest::jstr(path)));
      },
      [&](int l, int d) {
        reply(d, 'y', std::string(5000, 'p'));
        EXPECT_EQ(FS_CALL(nResolveSymlink, l, kelptest::jstr(path)), nullptr);
      },
      [&](int l, int d) {
        ::write(d, "o\0\0\0\x10" "ab", 7);
        ::shutdown(d, SHUT_WR);
        EXPECT_EQ(FS_CALL(nGetFileStatus, l, kelptest::jstr("/no/such/path"), 4 << 20), nullptr);
      },
      // Descriptors sent with a refusal.
      [&](int l, int d) {
        reply(d, 'a', std::string(1, '\0'), 'F', 2);
        EXPECT_EQ(FS_CALL(nAppend, l, kelptest::jstr(path)), nullptr);
      },
  };
  for (auto& call : calls) once(call);  // classes and texts settle
  const int n = iterations();
  kelptest::FdSnapshot before;
  long rss_half = 0;
  for (int i = 0; i < n; ++i) {
    if (i == n / 2) rss_half = resident_kib();
    for (auto& call : calls) once(call);
  }
  EXPECT_EQ(before.added(), 0);
  if (memory_counts()) {
    EXPECT_LT(resident_kib() - rss_half, 4096);
  }
}

// A daemon that refuses (here a stand-in on the socket path answering 0):
// each failed handshake keeps its socket, exactly one per call, as the
// library always has.
TEST_F(Misbehaving, FailedHandshakeKeepsExactlyOneSocketPerCall) {
  const std::string saved = std::string(kelp::kDaemonSocketPath) + ".flat";
  bool moved = ::rename(kelp::kDaemonSocketPath, saved.c_str()) == 0;
  kelp::UniqueFd listener(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un addr{};
  addr.sun_family = AF_UNIX;
  std::strncpy(addr.sun_path, kelp::kDaemonSocketPath, sizeof addr.sun_path - 1);
  ASSERT_EQ(::bind(listener.get(), reinterpret_cast<sockaddr*>(&addr), sizeof addr), 0);
  ASSERT_EQ(::listen(listener.get(), 16), 0);
  std::thread refuser([&] {
    for (;;) {
      kelp::UniqueFd c(::accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
      if (!c) return;
      char type;
      char payload[256];
      if (kelp::recv_message(c.get(), &type, payload, sizeof payload) < 0) return;
      char no = 0;
      kelp::send_message(c.get(), 'l', &no, 1);
    }
  });
  const int calls = 100;
  kelptest::FdSnapshot before;
  for (int i = 0; i < calls; ++i) {
    EXPECT_EQ(checked(Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nConnect(env_, fs_, kelptest::jstr("u"), nullptr)), -1);
  }
  // Counted once the stand-in (a thread of this process) has let go of its
  // last connection.
  ::shutdown(listener.get(), SHUT_RDWR);
  refuser.join();
  EXPECT_EQ(before.added(), calls);
  ::unlink(kelp::kDaemonSocketPath);
  if (moved) ::rename(saved.c_str(), kelp::kDaemonSocketPath);
}

// The sync cache: one descriptor per distinct path string, kept for the
// process's life; a path synced again opens nothing.
TEST_F(Misbehaving, SyncCacheKeepsOneDescriptorPerPath) {
  kelptest::ScratchDir dir("flat-sync");
  jobject os = kelptest::output_stream();
  const int paths = 50;
  for (int i = 0; i < paths; ++i) kelptest::write_file(dir / std::to_string(i), "x");
  kelptest::FdSnapshot before;
  for (int round = 0; round < 3; ++round) {
    for (int i = 0; i < paths; ++i) {
      ASSERT_EQ(env_->PushLocalFrame(4), 0);
      EXPECT_EQ(OS_CALL(kelp_1fdatasync, kelptest::jstr(dir / std::to_string(i))), 0);
      env_->PopLocalFrame(nullptr);
    }
    EXPECT_EQ(before.added(), paths) << "round " << round;
  }
}

// A command the library runs inherits none of its descriptors: the fake
// kpcrsnapshot (kelpsim) notes the descriptors it was started with. Only
// those this test process itself leaves inheritable may be among them.
TEST_F(Misbehaving, CommandsInheritNoDescriptor) {
  kelptest::use_scenario("default");
  kelptest::ScratchDir dir("flat-inherit");
  kelptest::write_file(dir / "f", "x");
  // The library's own descriptors of every kind: a daemon connection, a
  // synced file, a descriptor received from the daemon.
  kelptest::HelperDaemon daemon({"--serve"});
  ASSERT_TRUE(daemon.ready());
  jint conn = checked(Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nConnect(env_, fs_, kelptest::jstr("root"), nullptr));
  ASSERT_GE(conn, 0);
  jobject opened = FS_CALL(nOpen, conn, kelptest::jstr(dir / "f"));
  ASSERT_NE(opened, nullptr);
  jobject os = kelptest::output_stream();
  EXPECT_EQ(OS_CALL(kelp_1fdatasync, kelptest::jstr(dir / "f")), 0);
  std::vector<int> inheritable = {};
  for (int fd = 0; fd < 1024; ++fd) {
    int flags = ::fcntl(fd, F_GETFD);
    if (flags >= 0 && (flags & FD_CLOEXEC) == 0) inheritable.push_back(fd);
  }
  std::vector<int> library = {conn, kelptest::fd_of(opened)};
  for (int fd = 3; fd < 1024; ++fd) {
    if (kelpsim::fd_path(fd) == dir / "f") library.push_back(fd);  // the sync cache's
  }
  ASSERT_GE(library.size(), 3u);

  kelptest::clear_admin_invocations();
  jstring link = FS_CALL(nCreateSnapshot, -42, kelptest::jstr(dir.path()), kelptest::jstr("inherit"),
                         kelptest::jstr("l"));
  ASSERT_NE(link, nullptr) << kelptest::take_exception();
  std::vector<int> got = kelptest::admin_descriptors("kpcrsnapshot");
  ASSERT_FALSE(got.empty());
  for (int fd : library) {
    EXPECT_EQ(std::find(got.begin(), got.end(), fd), got.end()) << "inherited library descriptor " << fd;
  }
  for (int fd : got) {
    if (fd <= 2) continue;  // the command's standard streams
    EXPECT_NE(std::find(inheritable.begin(), inheritable.end(), fd), inheritable.end())
        << "the command inherited descriptor " << fd;
  }
  EXPECT_TRUE(FS_CALL(nDeleteSnapshot, -42, kelptest::jstr(dir.path()), kelptest::jstr("l")));
  ::close(kelptest::fd_of(opened));
  checked(Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nClose(env_, fs_, conn));
}

}  // namespace
