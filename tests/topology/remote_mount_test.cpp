// A node that sees the file systems only as a remote mount: kplsnsd finds no
// disks. Its own process, since the library remembers that for good.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "fsops/kelpHadoop.h"
#include "support/sandbox.h"
#include "topology/topology.h"

namespace {

using kelptest::admin_invocations;
using kelptest::clear_admin_invocations;
using Argvs = std::vector<std::vector<std::string>>;

TEST(RemoteMount, NoDisksMeansNoTopologyCommandAgain) {
  kelptest::use_scenario("topology-remote");
  clear_admin_invocations();
  EXPECT_EQ(kelp::build_devid_map(), 0);
  EXPECT_EQ(kelp::isRemoteMount, 1);
  EXPECT_EQ(admin_invocations(), Argvs{{"kplsnsd"}});
  EXPECT_TRUE(kelp::gDevIdToNodeMap.empty());

  clear_admin_invocations();
  EXPECT_EQ(kelp::build_devid_map(), 0);
  // Without write affinity a cache node is not looked for: success, and the
  // name keeps what it held.
  kelp::isCacheInMemEnabled = 1;
  std::string name = "kept";
  EXPECT_EQ(kelp::nodeId2Name(1, name), 0);
  EXPECT_EQ(name, "kept");
  EXPECT_TRUE(admin_invocations().empty());

  // With write affinity the cluster listing is asked as on a local mount.
  kelp::isAllowWriteAffinity = 1;
  EXPECT_EQ(kelp::nodeId2Name(1, name), 0);
  EXPECT_EQ(name, "kelpnode1");
  EXPECT_EQ(kelp::nodeId2Name(7, name), 1);
  EXPECT_EQ(admin_invocations("kplscluster").size(), 3u);
  EXPECT_EQ(admin_invocations().size(), 3u);
}

}  // namespace
