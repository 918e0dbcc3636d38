// nGetFileBlockLocations from a real JVM against the default scenario: block
// offsets and lengths, hosts and their addresses, cached hosts, and block
// maps that take several requests. Tests that need a fresh library (the
// first query of a process, another class path) are in
// block_locations_fresh.cpp.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/connection_modes.h"
#include "support/file_info.h"
#include "support/sandbox.h"
#include "support/block_location_view.h"

namespace {

using kelptest::admin_invocations;
using kelptest::clear_admin_invocations;
using kelptest::address;
using kelptest::kMiB;
using kelptest::locations_of;
using kelptest::make_file;
using kelptest::node;
using kelptest::query;
using kelptest::Strings;

class BlockLocations : public kelptest::ConnectionModeTest {
 protected:
  void SetUp() override {
    ASSERT_NO_FATAL_FAILURE(ConnectionModeTest::SetUp());
    kelptest::use_scenario("default");
  }
  kelptest::ScratchDir dir_{"blocks"};
};

TEST_P(BlockLocations, TenMiBFileInFourMiBBlocks) {
  std::string f = dir_ / "f";
  make_file(f, 10 * kMiB);
  auto locations = locations_of(query(conn_, f, 0, 10 * kMiB));
  ASSERT_EQ(locations.size(), 3u);
  // Replica r of block b lies on disk 101 + (b + r) % 4, served by
  // kelpnode(1 + (b + r) % 4), which also caches it.
  for (int b = 0; b < 3; ++b) {
    SCOPED_TRACE(b);
    EXPECT_EQ(locations[b].offset, b * 4 * kMiB);
    EXPECT_EQ(locations[b].length, b < 2 ? 4 * kMiB : 2 * kMiB);
    Strings hosts, names;
    for (int r = 0; r < 3; ++r) {
      hosts.push_back(node(1 + (b + r) % 4));
      names.push_back(address(1 + (b + r) % 4));
    }
    EXPECT_EQ(locations[b].hosts, hosts);
    EXPECT_EQ(locations[b].names, names);
    EXPECT_EQ(locations[b].cached, hosts);
  }
}

TEST_P(BlockLocations, WholeFileLaterStartsDirectoriesAndMissingPaths) {
  std::string f = dir_ / "f";
  make_file(f, 10 * kMiB);
  // len -1: up to the file's size.
  auto whole = locations_of(query(conn_, f, 0, -1));
  ASSERT_EQ(whole.size(), 3u);
  EXPECT_EQ(whole[2].offset, 8 * kMiB);
  EXPECT_EQ(whole[2].length, 2 * kMiB);

  auto later = locations_of(query(conn_, f, 4 * kMiB, -1));
  ASSERT_EQ(later.size(), 2u);
  EXPECT_EQ(later[0].offset, 4 * kMiB);
  EXPECT_EQ(later[0].length, 4 * kMiB);
  EXPECT_EQ(later[0].hosts, (Strings{node(2), node(3), node(4)}));
  EXPECT_EQ(later[1].offset, 8 * kMiB);
  EXPECT_EQ(later[1].length, 2 * kMiB);

  // A block's length is cut where the absolute block offset passes the
  // requested length, not the requested end: one block of length 0 here.
  auto cut = locations_of(query(conn_, f, 4 * kMiB, 4 * kMiB));
  ASSERT_EQ(cut.size(), 1u);
  EXPECT_EQ(cut[0].offset, 4 * kMiB);
  EXPECT_EQ(cut[0].length, 0);

  // A directory has no blocks, whatever range is asked for.
  jobjectArray dir = query(conn_, dir_.path(), 0, 100 * kMiB);
  ASSERT_NE(dir, nullptr);
  EXPECT_EQ(env_->GetArrayLength(dir), 0);
  auto requests = kelptest::map_requests(dir_.path());
  ASSERT_FALSE(requests.empty());
  EXPECT_EQ(requests.back().start, 0);
  EXPECT_EQ(requests.back().length, 0);

  EXPECT_EQ(query(conn_, dir_ / "missing", 0, -1), nullptr);
}

TEST_P(BlockLocations, CachedHostsAtMostThreeNoneForUncachedOrUnknownNodes) {
  // Four replicas, all cached: only the first three cached hosts are kept.
  std::string four = dir_ / "four";
  make_file(four, 8 * kMiB);
  struct stat st = kelptest::stat_of(four);
  ASSERT_TRUE(kelpsim::set_attr(st, "replication", "4"));
  auto wide = locations_of(query(conn_, four, 0, -1));
  ASSERT_EQ(wide.size(), 2u);
  EXPECT_EQ(wide[1].hosts, (Strings{node(2), node(3), node(4), node(1)}));
  EXPECT_EQ(wide[1].cached, (Strings{node(2), node(3), node(4)}));

  // On kelpfs2 each block has one replica on kelpnode5 (known to the
  // cluster, but its name does not resolve), one on a directly attached
  // disk and one on kelpnode3; cache nodes 5, none and the unknown 9.
  kelptest::ScratchDir dir2("blocks", "/mnt/kelp2");
  std::string f = dir2 / "f";
  make_file(f, 10 * kMiB);
  // The query of |four| has filled the node map: only unknown nodes run
  // the cluster listing now.
  clear_admin_invocations();
  auto locations = locations_of(query(conn_, f, 0, -1));
  ASSERT_EQ(locations.size(), 3u);
  EXPECT_EQ(locations[0].hosts, (Strings{node(5), "(directly", node(3)}));
  EXPECT_EQ(locations[0].names, (Strings{"<null>", "<null>", address(3)}));
  EXPECT_EQ(locations[1].hosts, (Strings{"(directly", node(3), node(5)}));
  EXPECT_EQ(locations[1].names, (Strings{"<null>", address(3), "<null>"}));
  for (const auto& l : locations) EXPECT_EQ(l.cached, Strings{node(5)});
  // Node 9 costs two runs of the cluster listing in every block.
  auto runs = admin_invocations();
  EXPECT_EQ(runs.size(), 6u);
  EXPECT_EQ(admin_invocations("kplscluster").size(), 6u);
  for (const auto& argv : runs) EXPECT_EQ(argv, Strings{"kplscluster"});
}

TEST_P(BlockLocations, FilesNeedingSeveralRequests) {
  // 3072 blocks of three replicas: 24-byte records, 2688 to a reply.
  std::string f = dir_ / "big";
  const int64_t blocks = 3072;
  make_file(f, blocks * 4 * kMiB - kMiB);
  kelpsim::clear_log();
  jobjectArray array = query(conn_, f, 0, -1);
  ASSERT_NE(array, nullptr);
  ASSERT_EQ(env_->GetArrayLength(array), blocks);
  auto requests = kelptest::map_requests(f);
  ASSERT_EQ(requests.size(), 2u);
  EXPECT_EQ(requests[0].start, 0);
  EXPECT_EQ(requests[1].start, 2688 * 4 * kMiB);
  EXPECT_EQ(requests[1].length, (blocks - 2688) * 4 * kMiB - kMiB);
  auto locations = locations_of(array);
  for (int64_t b : {int64_t{0}, int64_t{2687}, int64_t{2688}, blocks - 1}) {
    SCOPED_TRACE(b);
    EXPECT_EQ(locations[b].offset, b * 4 * kMiB);
    EXPECT_EQ(locations[b].length, b == blocks - 1 ? 3 * kMiB : 4 * kMiB);
    EXPECT_EQ(locations[b].hosts[0], node(1 + b % 4));
  }
}

KELP_INSTANTIATE_IN_BOTH_MODES(BlockLocations);

}  // namespace
