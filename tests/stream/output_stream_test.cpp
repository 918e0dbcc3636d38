// KELPDataOutputStream's natives: the write-descriptor cache behind range and
// data sync, the sync-range request as the file system receives it, and
// preallocation. The JNI library runs in this process, so its cached
// descriptors show among this process's open descriptors.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "jni/fd.h"
#include "jni/scoped.h"
#include "org_apache_hadoop_fs_kelp_KELPDataOutputStream.h"
#include "support/jvm.h"
#include "support/sandbox.h"

namespace {

using kelptest::count_fds_on;
using kelptest::jstr;
using kelptest::jvm_env;
using kelptest::ScratchDir;
using kelptest::sim_records;

using LocalString = kelp::ScopedLocalRef<jstring>;

jint fsync_range(const std::string& path, jlong offset, jlong length, JNIEnv* env = jvm_env()) {
  LocalString p(env, env->NewStringUTF(path.c_str()));
  return Java_org_apache_hadoop_fs_kelp_KELPDataOutputStream_kelp_1fsync_1range(
      env, kelptest::output_stream(), p.get(), offset, length);
}

jint fdatasync_path(const char* path) {
  JNIEnv* env = jvm_env();
  LocalString p(env, jstr(path));
  return Java_org_apache_hadoop_fs_kelp_KELPDataOutputStream_kelp_1fdatasync(
      env, kelptest::output_stream(), p.get());
}
jint fdatasync_path(const std::string& path) { return fdatasync_path(path.c_str()); }

jint preallocate(const std::string& path, jlong length) {
  JNIEnv* env = jvm_env();
  LocalString p(env, jstr(path));
  return Java_org_apache_hadoop_fs_kelp_KELPDataOutputStream_kelp_1preallocate(
      env, kelptest::output_stream(), p.get(), length);
}

// This process's descriptors open on |path|.
std::vector<int> fds_on(const std::string& path) {
  std::vector<int> out;
  kelp::UniqueDir dir(::opendir("/proc/self/fd"));
  if (!dir) return out;
  while (struct dirent* e = ::readdir(dir.get())) {
    if (e->d_name[0] == '.') continue;
    int fd = std::atoi(e->d_name);
    if (fd != ::dirfd(dir.get()) && kelpsim::fd_path(fd) == path) out.push_back(fd);
  }
  return out;
}

std::string make_file(const ScratchDir& dir, const std::string& name) {
  std::string path = dir / name;
  kelptest::write_file(path, "some data");
  return path;
}

template <typename T>
T field(const std::vector<uint8_t>& bytes, size_t offset) {
  T v;
  std::memcpy(&v, bytes.data() + offset, sizeof v);
  return v;
}

TEST(OutputStreamSync, SyncsOfOnePathShareOneCloseOnExecWriteDescriptor) {
  ScratchDir dir("sync-cache");
  std::string file = make_file(dir, "f");
  ASSERT_EQ(count_fds_on(file), 0);

  EXPECT_EQ(fsync_range(file, 0, 9), 0);
  EXPECT_EQ(fdatasync_path(file), 0);
  EXPECT_EQ(fsync_range(file, 0, 0), 0);
  std::vector<int> fds = fds_on(file);
  ASSERT_EQ(fds.size(), 1u);
  EXPECT_TRUE(kelptest::is_cloexec(fds[0]));
  EXPECT_EQ(::fcntl(fds[0], F_GETFL) & O_ACCMODE, O_WRONLY);
  EXPECT_EQ(sim_records("fcntl", file).size(), 2u);
}

TEST(OutputStreamSync, EverySpellingOfAPathIsCachedApart) {
  ScratchDir dir("sync-spelling");
  std::string file = make_file(dir, "f");
  EXPECT_EQ(fsync_range(file, 0, 9), 0);
  EXPECT_EQ(fsync_range(dir.path() + "//f", 0, 9), 0);
  EXPECT_EQ(fdatasync_path(dir.path() + "/./f"), 0);
  EXPECT_EQ(fsync_range(dir.path() + "//f", 0, 9), 0);
  EXPECT_EQ(count_fds_on(file), 3);
}

TEST(OutputStreamSync, PathThatCannotBeOpenedGivesOneAndIsNotCached) {
  ScratchDir dir("sync-noopen");
  std::string later = dir / "later";
  EXPECT_EQ(fsync_range(later, 0, 9), 1);
  EXPECT_EQ(fdatasync_path(later), 1);
  EXPECT_EQ(fsync_range(dir.path(), 0, 9), 1);  // a directory does not open for writing
  EXPECT_EQ(fdatasync_path(dir.path()), 1);
  EXPECT_EQ(fdatasync_path(nullptr), 1);
  EXPECT_EQ(count_fds_on(dir.path()), 0);

  // Once the file exists the same path opens: no failure was remembered.
  kelptest::write_file(later, "now");
  EXPECT_EQ(fsync_range(later, 0, 3), 0);
  EXPECT_EQ(fdatasync_path(later), 0);
  EXPECT_EQ(count_fds_on(later), 1);
}

TEST(OutputStreamSync, RequestCarriesRangeInHostOrder) {
  ScratchDir dir("sync-request");
  std::string file = make_file(dir, "f");
  const int64_t offset = 0x100000010;  // above 32 bits
  const int64_t length = 0x200000020;
  ASSERT_EQ(fsync_range(file, offset, length), 0);

  auto records = sim_records("fcntl", file);
  ASSERT_EQ(records.size(), 1u);
  const std::vector<uint8_t>& r = records[0].bytes;
  ASSERT_EQ(r.size(), 48u);
  EXPECT_EQ(field<int32_t>(r, 0), 48);
  EXPECT_EQ(field<int32_t>(r, 4), 1);
  EXPECT_EQ(field<int32_t>(r, 12), 0);
  EXPECT_EQ(field<int32_t>(r, 16), 32);
  EXPECT_EQ(field<int32_t>(r, 20), 2009);
  EXPECT_EQ(field<int64_t>(r, 32), offset);
  EXPECT_EQ(field<int64_t>(r, 40), length);
}

TEST(OutputStreamSync, FileSystemResultsPassThroughUnchanged) {
  ScratchDir dir("sync-result");
  std::string file = make_file(dir, "f");
  // Rejected by the file system: its -1, not the 1 of a file that won't open.
  EXPECT_EQ(fsync_range(file, 0, -5), -1);
  ASSERT_TRUE(kelpsim::inject_failure("2009", EIO));
  EXPECT_EQ(fsync_range(file, 0, 9), -1);
  EXPECT_EQ(fsync_range(file, 0, 9), 0);  // the injected failure was one-shot
  EXPECT_EQ(sim_records("fcntl", file).size(), 3u);

  ASSERT_TRUE(kelpsim::inject_failure("prealloc", ENOSPC));
  EXPECT_EQ(preallocate(file, 4096), -1);
  EXPECT_EQ(count_fds_on(file), 1);  // the cached one only
}

TEST(OutputStreamSync, SyncAfterRenameActsOnTheFileFirstOpened) {
  ScratchDir dir("sync-rename");
  std::string file = dir / "f";
  std::string moved = dir / "moved";
  kelptest::write_file(file, "first");
  ASSERT_EQ(fsync_range(file, 0, 5), 0);
  ASSERT_EQ(::rename(file.c_str(), moved.c_str()), 0);

  // The old name is gone, yet the sync succeeds through the cached descriptor.
  EXPECT_EQ(fsync_range(file, 0, 5), 0);
  EXPECT_EQ(fdatasync_path(file), 0);
  EXPECT_EQ(sim_records("fcntl", moved).size(), 1u);

  // A new file under the old name is not opened either.
  kelptest::write_file(file, "second");
  EXPECT_EQ(fsync_range(file, 0, 6), 0);
  EXPECT_EQ(count_fds_on(file), 0);
  EXPECT_EQ(count_fds_on(moved), 1);
  EXPECT_EQ(sim_records("fcntl", file).size(), 1u);  // the one from before the rename
  EXPECT_EQ(sim_records("fcntl", moved).size(), 2u);
}

TEST(OutputStreamSync, ConcurrentFirstSyncsOfAPathOpenItOnce) {
  ScratchDir dir("sync-threads");
  constexpr int kPaths = 100;
  constexpr int kThreads = 4;
  std::vector<std::string> paths;
  for (int i = 0; i < kPaths; ++i) paths.push_back(make_file(dir, "f" + std::to_string(i)));

  // The JVM and the stream object come from this thread: the workers only attach.
  JavaVM* vm = kelptest::jvm();
  ASSERT_NE(kelptest::output_stream(), nullptr);

  // The threads meet before each path, so its first syncs start together.
  std::vector<std::atomic<int>> arrived(kPaths);
  std::vector<int> failures(kThreads, 0);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      JNIEnv* env = nullptr;
      bool attached =
          vm->AttachCurrentThread(reinterpret_cast<void**>(&env), nullptr) == JNI_OK;
      for (int i = 0; i < kPaths; ++i) {
        ++arrived[i];
        while (arrived[i].load() < kThreads) std::this_thread::yield();
        if (attached) failures[t] += fsync_range(paths[i], 0, 9, env) != 0;
      }
      if (attached) vm->DetachCurrentThread();
      else failures[t] = -1;
    });
  }
  for (std::thread& th : threads) th.join();
  for (int t = 0; t < kThreads; ++t) EXPECT_EQ(failures[t], 0) << "thread " << t;
  for (const std::string& p : paths) EXPECT_EQ(count_fds_on(p), 1) << p;
}

TEST(Preallocation, ReservesFromOffsetZeroWithADescriptorOfItsOwn) {
  ScratchDir dir("prealloc");
  std::string file = dir / "f";
  kelptest::write_file(file, "");
  struct stat before;
  ASSERT_EQ(::stat(file.c_str(), &before), 0);
  ASSERT_EQ(before.st_blocks, 0);

  const int64_t length = 1 << 20;
  EXPECT_EQ(preallocate(file, length), 0);
  struct stat after;
  ASSERT_EQ(::stat(file.c_str(), &after), 0);
  EXPECT_GE(after.st_blocks * 512, length);
  EXPECT_EQ(after.st_size, 0);  // space reserved, size unchanged
  EXPECT_EQ(count_fds_on(file), 0);

  auto records = sim_records("prealloc", file);
  ASSERT_EQ(records.size(), 1u);
  ASSERT_EQ(records[0].bytes.size(), 16u);
  EXPECT_EQ(field<int64_t>(records[0].bytes, 0), 0);
  EXPECT_EQ(field<int64_t>(records[0].bytes, 8), length);

  // A preallocation neither fills the sync cache nor closes its descriptor.
  EXPECT_EQ(fdatasync_path(file), 0);
  EXPECT_EQ(preallocate(file, 2 * length), 0);
  EXPECT_EQ(count_fds_on(file), 1);

  EXPECT_EQ(preallocate(dir / "missing", length), 1);
  EXPECT_EQ(preallocate(dir.path(), length), 1);
}

}  // namespace
