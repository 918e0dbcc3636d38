// Setting a file's replication and block-group factor from Java, locally and
// through the reference helper daemon, checked in the requests the simulated
// file system recorded and in the file's attributes; then the frames sent
// to a scripted stand-in daemon and what its answers become.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "details/fcntl_requests.h"
#include "support/block_location_view.h"
#include "support/connection_modes.h"
#include "support/fake_daemon.h"
#include "support/jvm.h"
#include "support/sandbox.h"
#include "support/scripted_daemon.h"

namespace {

using kelptest::jstr;
using kelptest::sim_attr;
using Bytes = std::vector<uint8_t>;

template <typename Request>
Bytes bytes_of(const Request& r) {
  return Bytes(r.begin(), r.end());
}

class Placement : public kelptest::ConnectionModeTest {
 protected:
  // The control requests the simulated library received for |path|.
  std::vector<kelpsim::Record> requests(const std::string& path) {
    return kelptest::sim_records("fcntl", path);
  }

  kelptest::ScratchDir dir_{"placement"};
};

TEST_P(Placement, SetReplication) {
  std::string f = dir_ / "f";
  kelptest::write_file(f, "data");
  EXPECT_TRUE(KELP_NS(nSetReplication, jstr(f), jshort{3}));
  EXPECT_EQ(sim_attr(f, "replication"), "3");
  auto sent = requests(f);
  ASSERT_EQ(sent.size(), 1u);
  EXPECT_EQ(sent[0].bytes, bytes_of(kelp::build_replication_request(3)));
  // Through the daemon only the descriptor is the daemon's: the request is
  // this process's in both modes.
  EXPECT_EQ(sent[0].pid, ::getpid());
  // Block locations report the replicas the file now has.
  auto blocks = kelptest::locations_of(kelptest::query(conn_, f, 0, -1));
  ASSERT_EQ(blocks.size(), 1u);
  EXPECT_EQ(blocks[0].hosts.size(), 3u);

  // Refusals of the file system, and a path that does not open.
  EXPECT_FALSE(KELP_NS(nSetReplication, jstr(f), jshort{4})) << "above the cluster's maximum";
  ASSERT_TRUE(kelpsim::inject_failure("2005", EIO));
  EXPECT_FALSE(KELP_NS(nSetReplication, jstr(f), jshort{2}));
  EXPECT_EQ(sim_attr(f, "replication"), "3");
  EXPECT_FALSE(KELP_NS(nSetReplication, jstr(dir_ / "missing"), jshort{2}));
  EXPECT_EQ(requests(dir_ / "missing").size(), 0u);

  ASSERT_TRUE(KELP_NS(nSetReplication, jstr(f), jshort{1}));
  blocks = kelptest::locations_of(kelptest::query(conn_, f, 0, -1));
  ASSERT_EQ(blocks.size(), 1u);
  EXPECT_EQ(blocks[0].hosts, (kelptest::Strings{blocks[0].hosts.at(0)}));
}

TEST_P(Placement, SetBlockGroupFactor) {
  std::string f = dir_ / "f";
  kelptest::write_file(f, "data");
  EXPECT_TRUE(KELP_NS(nSetBlockGroupFactor, jstr(f), 16));
  EXPECT_EQ(sim_attr(f, "bgf"), "16");
  auto sent = requests(f);
  ASSERT_EQ(sent.size(), 1u);
  EXPECT_EQ(sent[0].bytes, bytes_of(kelp::build_block_group_factor_request(16)));
  EXPECT_EQ(Bytes(sent[0].bytes.begin() + 48, sent[0].bytes.begin() + 52), (Bytes{0, 0, 0, 16}));
  // The factor needs a read-write open, so the daemon makes this request.
  EXPECT_EQ(sent[0].pid, local() ? ::getpid() : daemon().pid());

  EXPECT_TRUE(KELP_NS(nSetBlockGroupFactor, jstr(f), 1024));
  EXPECT_EQ(sim_attr(f, "bgf"), "1024");
  ASSERT_TRUE(kelpsim::inject_failure("6002", ENOSPC));
  EXPECT_FALSE(KELP_NS(nSetBlockGroupFactor, jstr(f), 8));
  EXPECT_EQ(sim_attr(f, "bgf"), "1024");
  // What cannot be opened read-write: a directory, a missing file.
  EXPECT_FALSE(KELP_NS(nSetBlockGroupFactor, jstr(dir_.path()), 8));
  EXPECT_FALSE(KELP_NS(nSetBlockGroupFactor, jstr(dir_ / "missing"), 8));
}

KELP_INSTANTIATE_IN_BOTH_MODES(Placement);

class PlacementReplies : public kelptest::ScriptedDaemonTest {
 protected:
  // Every request after the handshake.
  std::vector<std::string> requests() {
    auto frames = daemon_->frames();
    frames.erase(frames.begin());
    return frames;
  }
};

TEST_F(PlacementReplies, FramesAndAnswers) {
  ASSERT_NO_FATAL_FAILURE(serve({{'b', kelptest::byte_answer(1)}, {'o', kelptest::byte_answer(0)}}));
  EXPECT_TRUE(KELP_NS(nSetBlockGroupFactor, jstr("/k/f"), 300));
  // No descriptor from the daemon, no replication request.
  EXPECT_FALSE(KELP_NS(nSetReplication, jstr("/k/f"), jshort{2}));
  std::string path("/k/f\0", 5);
  EXPECT_EQ(requests(), (std::vector<std::string>{"b" + path + kelptest::be32(300), "o" + path}));

  ASSERT_NO_FATAL_FAILURE(serve({{'b', kelptest::byte_answer(0)}}));
  EXPECT_FALSE(KELP_NS(nSetBlockGroupFactor, jstr("/k/f"), 4));
  ASSERT_NO_FATAL_FAILURE(serve({{'b', kelptest::byte_answer(1, 'o')}}));
  EXPECT_FALSE(KELP_NS(nSetBlockGroupFactor, jstr("/k/f"), 4)) << "a reply of another type";
}

}  // namespace
