// The replication and block-group-factor control requests, byte for byte,
// and the simulated client library's handling of them.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "details/fcntl_requests.h"
#include "kelp.h"
#include "support/sandbox.h"

namespace {

uint32_t le32(const uint8_t* p) {
  uint32_t v;
  std::memcpy(&v, p, 4);
  return v;
}

TEST(FcntlRequests, WireLayouts) {
  auto r = kelp::build_replication_request(3);
  const uint32_t expected_words[] = {56, 1, 0, 0, 40, 2005, 0, 0, 3, 0, 0, 0, 0, 0};
  for (size_t i = 0; i < 14; ++i) EXPECT_EQ(le32(r.data() + 4 * i), expected_words[i]) << "word " << i;

  auto b = kelp::build_block_group_factor_request(1);
  const uint32_t header[] = {56, 1, 0, 0, 40, 6002, 8, 4, 32768, 0};
  for (size_t i = 0; i < 10; ++i) EXPECT_EQ(le32(b.data() + 4 * i), header[i]) << "word " << i;
  EXPECT_EQ(std::memcmp(b.data() + 40, "kelp.BGF", 8), 0);
  EXPECT_EQ(std::memcmp(b.data() + 48, "\x00\x00\x00\x01", 4), 0);  // big-endian
  EXPECT_EQ(le32(b.data() + 52), 0u);
  b = kelp::build_block_group_factor_request(0x01020304);
  EXPECT_EQ(std::memcmp(b.data() + 48, "\x01\x02\x03\x04", 4), 0);
}

TEST(FcntlRequests, SetBlockGroupFactorNeedsAReadWriteOpen) {
  kelptest::ScratchDir dir("bgf");
  std::string f = dir / "f";
  kelptest::write_file(f, "x");
  EXPECT_TRUE(kelp::kelp_set_block_group_factor(f.c_str(), 16));
  EXPECT_EQ(kelptest::sim_attr(f, "bgf"), "16");
  EXPECT_FALSE(kelp::kelp_set_block_group_factor((dir / "missing").c_str(), 16));
  ::chmod(f.c_str(), 0444);
  int status = kelptest::run_as(kelptest::kUser1Uid, kelptest::kGroup1Gid,
                                [&] { return kelp::kelp_set_block_group_factor(f.c_str(), 8) ? 1 : 0; });
  EXPECT_EQ(status, 0);
  EXPECT_EQ(kelptest::sim_attr(f, "bgf"), "16");
  // The library refuses what it cannot apply.
  EXPECT_FALSE(kelp::kelp_set_block_group_factor(f.c_str(), 0));
  ASSERT_TRUE(kelpsim::inject_failure("6002", ENOSPC));
  EXPECT_FALSE(kelp::kelp_set_block_group_factor(f.c_str(), 4));
  EXPECT_TRUE(kelp::kelp_set_block_group_factor(f.c_str(), 4));  // one-shot
}

TEST(FcntlRequests, SimulatedLibraryRejectsMalformedRequests) {
  kelptest::ScratchDir dir("malformed");
  std::string f = dir / "f";
  kelptest::write_file(f, "x");
  int fd = ::open(f.c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_GE(fd, 0);
  auto r = kelp::build_replication_request(2);
  EXPECT_EQ(kelp_fcntl(fd, r.data()), 0);
  EXPECT_EQ(kelptest::sim_attr(f, "replication"), "2");

  auto bad = r;
  uint32_t two = 2;
  std::memcpy(bad.data() + 4, &two, 4);  // version
  errno = 0;
  EXPECT_EQ(kelp_fcntl(fd, bad.data()), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_NE(le32(bad.data() + 8), 0u);  // error offset filled in

  bad = r;
  uint32_t unknown = 4242;
  std::memcpy(bad.data() + 20, &unknown, 4);
  EXPECT_EQ(kelp_fcntl(fd, bad.data()), -1);
  EXPECT_EQ(errno, EINVAL);

  bad = r;
  uint32_t huge = 1u << 30;
  std::memcpy(bad.data(), &huge, 4);
  EXPECT_EQ(kelp_fcntl(fd, bad.data()), -1);
  EXPECT_EQ(kelp_fcntl(-1, r.data()), -1);
  EXPECT_EQ(errno, EBADF);
  ::close(fd);
  // Every well-formed request is recorded with its bytes.
  auto records = kelptest::sim_records("fcntl", f);
  ASSERT_GE(records.size(), 3u);
  EXPECT_EQ(std::vector<uint8_t>(r.begin(), r.end()), records[0].bytes);
}

}  // namespace
