// Concurrent first calls for the file-system details: one build, run by
// whichever caller gets there first, and every caller sees the finished
// cache. No JVM: this runs under ThreadSanitizer too.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "details/details.h"
#include "support/sandbox.h"

namespace {

TEST(DetailsThreads, ConcurrentFirstCallsBuildOnce) {
  kelptest::require_sandbox();
  kelptest::clear_admin_invocations();
  constexpr int kThreads = 8;
  const char* mounts[] = {"/mnt/kelp", "/mnt/kelp2", ""};
  std::vector<const kelp::kelpDetails_t*> got(kThreads, nullptr);
  std::vector<int64_t> blockSizes(kThreads, 0);
  std::atomic<int> waiting{kThreads};
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      // Start together, so that the calls really overlap.
      waiting.fetch_sub(1);
      while (waiting.load() > 0) std::this_thread::yield();
      got[i] = kelp::getDetails(mounts[i % 3]);
      if (got[i] != nullptr) blockSizes[i] = got[i]->blockSize;
    });
  }
  for (auto& t : threads) t.join();

  for (int i = 0; i < kThreads; ++i) {
    ASSERT_NE(got[i], nullptr) << "thread " << i;
    EXPECT_EQ(got[i], kelp::getDetails(mounts[i % 3])) << "thread " << i;
    EXPECT_EQ(blockSizes[i], i % 3 == 1 ? 1 << 20 : 4 << 20) << "thread " << i;
  }
  EXPECT_EQ(kelptest::admin_invocations("ps").size(), 1u);
  EXPECT_EQ(kelptest::admin_invocations("df").size(), 1u);
  EXPECT_EQ(kelptest::admin_invocations("kplsfs").size(), 2u);
}

}  // namespace
