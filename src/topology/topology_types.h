// Topology records: which node serves each disk of the file system.
#ifndef KELP_TOPOLOGY_TOPOLOGY_TYPES_H
#define KELP_TOPOLOGY_TOPOLOGY_TYPES_H

#include <cstdint>
#include <map>
#include <string>

namespace kelp {

// One network shared disk as the disk listing reports it.
struct NsdToNodeMap {
  std::string nsdName;
  std::string nodeName;  // the first server listed for the disk
};

// The disks of one file system, by disk name.
struct FsToNsdMap {
  std::string fsName;
  std::map<std::string, NsdToNodeMap> nsds;
};

// What the library needs to know about one disk number.
struct DevIdToNode {
  int32_t devId = 0;
  std::string diskName;
  std::string nodeName;  // empty when no server is known
  int32_t reserved1 = 0;
  int32_t reserved2 = 0;
};

}  // namespace kelp

#endif  // KELP_TOPOLOGY_TOPOLOGY_TYPES_H
