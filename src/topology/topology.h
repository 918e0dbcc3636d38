// Cluster topology: which node serves each disk (gDevIdToNodeMap, built from
// kplsnsd and kplsdisk) and the name of each cluster node number
// (gNodeIdToNameMap, built from kplscluster). Both maps are built and read
// under the library mutex, so no reader ever sees one half built.
#ifndef KELP_TOPOLOGY_TOPOLOGY_H
#define KELP_TOPOLOGY_TOPOLOGY_H

#include <cstdint>
#include <string>

namespace kelp {

// The exact command lines.
constexpr const char* kNsdListCommand = "/opt/kelp/bin/kplsnsd 2>&1";
constexpr const char* kClusterListCommand = "/opt/kelp/bin/kplscluster 2>&1";
// "/opt/kelp/bin/kplsdisk <file system> -L 2>/dev/null", the name quoted
// for the shell (a plain name stands as it is).
std::string disk_list_command(const std::string& fsName);

// Fills gDevIdToNodeMap once per process. 0 on success (also when there was
// nothing to do), 1 when a command could not be run. When kplsnsd reports no
// disks, isRemoteMount becomes 1 and no command runs again.
int build_devid_map();

// The name of the node serving disk |devId|; "" for a disk the listings did
// not name, which from then on stands in the map with empty fields.
std::string devid_node_name(int32_t devId);

// Fills gNodeIdToNameMap from kplscluster: always when |force| is non-zero,
// otherwise only while it is empty. Does nothing unless isCacheInMemEnabled
// is 1. 0 when nothing was to be done or the command ran, 1 when it could
// not be run (the map then stays empty).
int build_nodeid_map(int force);

// Stores the name of cluster node |nodeNumber| in |name| and returns 0. An
// unknown number rebuilds the map (twice at most) and then returns 1. On a
// remote mount without write affinity nothing is rebuilt: the result is 0
// and |name| keeps what it held.
int nodeId2Name(int32_t nodeNumber, std::string& name);

}  // namespace kelp

#endif  // KELP_TOPOLOGY_TOPOLOGY_H
