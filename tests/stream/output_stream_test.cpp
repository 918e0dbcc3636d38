// KELPDataOutputStream's natives: the write-descriptor cache behind range and
// data sync, the sync-range request as the file system receives it, and
// preallocation. The JNI library runs in this process, so its cached
// descriptors show among this process's open descriptors.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "jni/scoped.h"
#include "org_apache_hadoop_fs_kelp_KELPDataOutputStream.h"
#include "support/jvm.h"
#include "support/sandbox.h"

namespace {

using namespace kelptest;
using LocalString = kelp::ScopedLocalRef<jstring>;

jint fsync_range(const std::string& path, jlong offset, jlong length, JNIEnv* env = jvm_env()) {
  LocalString p(env, env->NewStringUTF(path.c_str()));
  return Java_org_apache_hadoop_fs_kelp_KELPDataOutputStream_kelp_1fsync_1range(env, output_stream(), p.get(),
                                                                                  offset, length);
}

jint fdatasync_path(const std::string& path) {
  LocalString p(jvm_env(), jstr(path));
  return Java_org_apache_hadoop_fs_kelp_KELPDataOutputStream_kelp_1fdatasync(jvm_env(), output_stream(), p.get());
}

jint preallocate(const std::string& path, jlong length) {
  LocalString p(jvm_env(), jstr(path));
  return Java_org_apache_hadoop_fs_kelp_KELPDataOutputStream_kelp_1preallocate(jvm_env(), output_stream(), p.get(),
                                                                                 length);
}

// This process's descriptors open on |path|.
std::vector<int> fds_on(const std::string& path) {
  std::vector<int> out;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    int fd = std::stoi(entry.path().filename());
    if (kelpsim::fd_path(fd) == path) out.push_back(fd);
  }
  return out;
}

// |values| laid one after another in host order.
template <typename... T>
std::vector<uint8_t> bytes_of(T... values) {
  std::vector<uint8_t> out;
  auto append = [&](auto v) {
    out.insert(out.end(), reinterpret_cast<uint8_t*>(&v), reinterpret_cast<uint8_t*>(&v + 1));
  };
  (append(values), ...);
  return out;
}

// A scratch directory holding file_, with some data.
class OutputStream : public ::testing::Test {
 protected:
  OutputStream() { write_file(file_, "some data"); }
  ScratchDir dir_{"stream"};
  std::string file_ = dir_ / "f";
};

TEST_F(OutputStream, SyncsOfOnePathShareOneCloseOnExecWriteDescriptor) {
  EXPECT_EQ(fsync_range(file_, 0, 9), 0);
  EXPECT_EQ(fdatasync_path(file_), 0);
  std::vector<int> fds = fds_on(file_);
  ASSERT_EQ(fds.size(), 1u);
  EXPECT_TRUE(is_cloexec(fds[0]));
  EXPECT_EQ(::fcntl(fds[0], F_GETFL) & O_ACCMODE, O_WRONLY);

  // Renamed, with a new file under the old name: the sync still reaches the
  // file first opened, through the descriptor cached for the name.
  std::string moved = dir_ / "moved";
  ASSERT_EQ(::rename(file_.c_str(), moved.c_str()), 0);
  write_file(file_, "second");
  EXPECT_EQ(fsync_range(file_, 0, 6), 0);
  EXPECT_EQ(count_fds_on(file_), 0);
  EXPECT_EQ(sim_records("fcntl", moved).size(), 1u);
}

TEST_F(OutputStream, EachSpellingIsCachedApartAndFailuresNotAtAll) {
  EXPECT_EQ(fsync_range(file_, 0, 9), 0);
  EXPECT_EQ(fsync_range(dir_.path() + "/./f", 0, 9), 0);
  EXPECT_EQ(fdatasync_path(dir_.path() + "/./f"), 0);
  EXPECT_EQ(count_fds_on(file_), 2);

  // What cannot be opened for writing gives 1 and leaves nothing cached.
  std::string later = dir_ / "later";
  for (const std::string& p : {dir_.path(), later}) {
    EXPECT_EQ(fsync_range(p, 0, 9), 1) << p;
    EXPECT_EQ(fdatasync_path(p), 1) << p;
  }
  EXPECT_EQ(Java_org_apache_hadoop_fs_kelp_KELPDataOutputStream_kelp_1fdatasync(jvm_env(), output_stream(), nullptr),
            1);
  EXPECT_EQ(count_fds_on(dir_.path()), 0);
  write_file(later, "now");
  EXPECT_EQ(fdatasync_path(later), 0);
  EXPECT_EQ(count_fds_on(later), 1);
}

TEST_F(OutputStream, RequestAndResultsPassUnchanged) {
  const int64_t offset = 0x100000010, length = 0x200000020;  // above 32 bits
  ASSERT_EQ(fsync_range(file_, offset, length), 0);
  auto records = sim_records("fcntl", file_);
  ASSERT_EQ(records.size(), 1u);
  using I = int32_t;
  EXPECT_EQ(records[0].bytes, bytes_of(I{48}, I{1}, I{0}, I{0}, I{32}, I{2009}, int64_t{0}, offset, length));

  // The file system's -1, not the 1 of a file that won't open.
  EXPECT_EQ(fsync_range(file_, 0, -5), -1);
  ASSERT_TRUE(kelpsim::inject_failure("2009", EIO));
  EXPECT_EQ(fsync_range(file_, 0, 9), -1);
  ASSERT_TRUE(kelpsim::inject_failure("prealloc", ENOSPC));
  EXPECT_EQ(preallocate(file_, 4096), -1);
  EXPECT_EQ(count_fds_on(file_), 1);  // the cached one: the failed preallocation closed its own
}

TEST_F(OutputStream, ConcurrentFirstSyncsOfAPathOpenItOnce) {
  constexpr int kPaths = 100, kThreads = 4;
  std::vector<std::string> paths;
  for (int i = 0; i < kPaths; ++i) write_file(paths.emplace_back(dir_ / std::to_string(i)), "some data");
  // The JVM and the stream object come from this thread: the workers only attach.
  JavaVM* vm = jvm();
  ASSERT_NE(output_stream(), nullptr);

  // The threads meet before each path, so its first syncs start together.
  std::vector<std::atomic<int>> arrived(kPaths);
  std::vector<int> failures(kThreads, 0);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      JNIEnv* env = nullptr;
      bool attached = vm->AttachCurrentThread(reinterpret_cast<void**>(&env), nullptr) == JNI_OK;
      for (int i = 0; i < kPaths; ++i) {
        for (++arrived[i]; arrived[i].load() < kThreads;) std::this_thread::yield();
        failures[t] += !attached || fsync_range(paths[i], 0, 9, env) != 0;
      }
      if (attached) vm->DetachCurrentThread();
    });
  }
  for (std::thread& th : threads) th.join();
  for (int t = 0; t < kThreads; ++t) EXPECT_EQ(failures[t], 0) << "thread " << t;
  for (const std::string& p : paths) EXPECT_EQ(count_fds_on(p), 1) << p;
}

TEST_F(OutputStream, PreallocationReservesFromOffsetZeroWithADescriptorOfItsOwn) {
  const int64_t length = 1 << 20;
  EXPECT_EQ(preallocate(file_, length), 0);
  struct stat st;
  ASSERT_EQ(::stat(file_.c_str(), &st), 0);
  EXPECT_GE(st.st_blocks * 512, length);
  EXPECT_EQ(st.st_size, 9);  // space reserved, size unchanged
  EXPECT_EQ(count_fds_on(file_), 0);
  auto records = sim_records("prealloc", file_);
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].bytes, bytes_of(int64_t{0}, length));

  EXPECT_EQ(preallocate(dir_ / "missing", length), 1);
  EXPECT_EQ(preallocate(dir_.path(), length), 1);
}

}  // namespace
