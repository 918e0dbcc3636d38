// The disk and node maps built from the fake administration commands, in
// this process's own copy of the library core (no JVM). The disk map is
// built once per process, so one test reads everything off one build.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "fsops/kelpHadoop.h"
#include "support/sandbox.h"
#include "topology/topology.h"

namespace {

using kelptest::admin_invocations;
using kelptest::clear_admin_invocations;
using Argvs = std::vector<std::vector<std::string>>;

TEST(DiskMap, BuiltOnceFromTheListingsOfEveryFileSystem) {
  kelptest::use_scenario("topology-quirks");
  clear_admin_invocations();
  ASSERT_EQ(kelp::build_devid_map(), 0);
  // The free disk names no file system to list; the name the shell would
  // split at ";" reaches kplsdisk as one argument.
  EXPECT_EQ(admin_invocations(), (Argvs{{"kplsnsd"},
                                        {"kplsdisk", "kelpfs1", "-L"},
                                        {"kplsdisk", "kelp;fs", "-L"}}));
  std::vector<int> ids;
  for (const auto& e : kelp::gDevIdToNodeMap) ids.push_back(e.first);
  EXPECT_EQ(ids, (std::vector<int>{11, 12, 13, 14, 15})) << "the row without a disk id is skipped";
  EXPECT_EQ(kelp::gDevIdToNodeMap[11].diskName, "qd1");
  // Every kplsnsd row is wider than 511 characters, yet read whole: the
  // first server of the list.
  EXPECT_EQ(kelp::devid_node_name(11), "kelpnode1");
  EXPECT_EQ(kelp::devid_node_name(12), "kelpnode4") << "the later row of a disk wins";
  EXPECT_EQ(kelp::devid_node_name(13), "kelpnode3");
  EXPECT_EQ(kelp::devid_node_name(14), "(directly");
  EXPECT_EQ(kelp::devid_node_name(15), "") << "a disk kplsnsd did not list";
  EXPECT_EQ(kelp::devid_node_name(99), "");
  EXPECT_EQ(kelp::gDevIdToNodeMap.count(99), 1u) << "unknown ids are entered empty";
  EXPECT_EQ(kelp::isRemoteMount, -1);

  clear_admin_invocations();
  EXPECT_EQ(kelp::build_devid_map(), 0);
  EXPECT_TRUE(admin_invocations().empty());
}

TEST(NodeMap, BuiltForCachedBlockMapsOnlyAndUnknownNodesCostTwoRuns) {
  kelptest::use_scenario("topology-quirks");
  clear_admin_invocations();
  kelp::isCacheInMemEnabled = -1;
  EXPECT_EQ(kelp::build_nodeid_map(0), 0);
  kelp::isCacheInMemEnabled = 0;
  EXPECT_EQ(kelp::build_nodeid_map(1), 0);
  EXPECT_TRUE(admin_invocations().empty()) << "no cache nodes without request 3006";

  kelp::isCacheInMemEnabled = 1;
  EXPECT_EQ(kelp::build_nodeid_map(0), 0);
  EXPECT_EQ(admin_invocations(), Argvs{{"kplscluster"}});
  EXPECT_EQ(kelp::gNodeIdToNameMap,
            (std::map<int, std::string>{{1, "kelpnode1"}, {2, "kelpnode2"}, {3, "node3"}, {4, "kelpnode4"}}));
  EXPECT_EQ(kelp::build_nodeid_map(0), 0);
  EXPECT_EQ(admin_invocations().size(), 1u) << "a filled map is kept";

  clear_admin_invocations();
  std::string name = "before";
  EXPECT_EQ(kelp::nodeId2Name(3, name), 0);
  EXPECT_EQ(name, "node3");
  EXPECT_TRUE(admin_invocations().empty());
  EXPECT_EQ(kelp::nodeId2Name(77, name), 1);
  EXPECT_EQ(name, "node3");
  EXPECT_EQ(admin_invocations(), (Argvs{{"kplscluster"}, {"kplscluster"}}));
}

}  // namespace
