// Many threads making the first block-location queries of a process at
// once (no JVM, so ThreadSanitizer sees all of it): each map is built by one
// of them, and every thread reads the same complete answer.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "fsops/kelpHadoop.h"
#include "support/sandbox.h"
#include "topology/block_locations.h"
#include "topology/topology.h"

// glibc's name-service code keeps its parsed configuration in a shared list
// guarded by a lock of its own, which ThreadSanitizer does not see; the
// first lookups of several threads look like a race on that list.
extern "C" const char* __tsan_default_suppressions() {
  return "race:__libc_dynarray_emplace_enlarge\n";
}

namespace {

using kelptest::admin_invocations;

TEST(TopologyThreads, ConcurrentFirstQueriesBuildEachMapOnce) {
  kelptest::use_scenario("default");
  kelptest::ScratchDir dir("topo-threads");
  const std::string file = dir / "f";
  kelptest::write_file(file, "");
  ASSERT_EQ(::truncate(file.c_str(), 10 << 20), 0);
  kelptest::clear_admin_invocations();

  constexpr int kThreads = 8;
  std::atomic<int> waiting{kThreads};
  std::vector<int> results(kThreads, -1);
  std::vector<kelp::BlockHostsPlan> plans(kThreads);
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      // Start together, so that the first calls really overlap.
      --waiting;
      while (waiting > 0) std::this_thread::yield();
      results[i] = kelp::build_devid_map();
      kelp::FilemapIn filemap;
      filemap.length = -1;
      filemap.blockSize = 4 << 20;
      kelp::BlockMap map;
      if (kelp::kelpGetFileBlockLocationOLD(kelp::kLocalConnection, file.c_str(), filemap, map,
                                            -1) != 0) {
        results[i] = -2;
      }
      plans[i] = kelp::plan_block_hosts(static_cast<int>(map.count), filemap.replicas, 0, map);
    });
  }
  for (std::thread& t : threads) t.join();

  EXPECT_EQ(admin_invocations("kplsnsd").size(), 1u);
  EXPECT_EQ(admin_invocations("kplsdisk").size(), 2u) << "kelpfs1 and kelpfs2";
  EXPECT_EQ(admin_invocations("kplscluster").size(), 1u);
  EXPECT_EQ(kelp::isCacheInMemEnabled, 1);
  for (int i = 0; i < kThreads; ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(results[i], 0);
    const kelp::BlockHostsPlan& plan = plans[i];
    ASSERT_EQ(plan.block_count(), 3u);
    EXPECT_EQ(plan.offsets[2], 8 << 20);
    EXPECT_EQ(plan.lengths[2], 2 << 20);
    // Block 2, replica 1: disk 104 on kelpnode4, which also caches it.
    EXPECT_EQ(plan.replica_host(2, 1).name, "kelpnode4");
    EXPECT_EQ(plan.replica_host(2, 1).address, "127.0.1.14:0");
    ASSERT_EQ(plan.cached_count(2), 3);
    EXPECT_EQ(plan.cached_host(2, 1).name, "kelpnode4");
  }
}

}  // namespace
