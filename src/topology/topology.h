// Cluster topology: which node serves each disk (gDevIdToNodeMap, built from
// kplsnsd and kplsdisk) and the name of each cluster node number
// (gNodeIdToNameMap, built from kplscluster).
#ifndef KELP_TOPOLOGY_TOPOLOGY_H
#define KELP_TOPOLOGY_TOPOLOGY_H

#include <string>

namespace kelp {

// Fills gDevIdToNodeMap once per process. 0 on success (also when there was
// nothing to do), 1 when a command could not be run.
int build_devid_map();

}  // namespace kelp

#endif  // KELP_TOPOLOGY_TOPOLOGY_H
