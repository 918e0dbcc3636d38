#include "topology/topology.h"

#include <atomic>
#include <vector>

#include "fsops/kelpHadoop.h"
#include "jni/mutex.h"
#include "topology/command_runner.h"
#include "topology/listings.h"

namespace kelp {
namespace {

// Set once a build has left gDevIdToNodeMap non-empty. The map is never
// emptied after that, so callers that see it set need not take the lock.
std::atomic<bool> devIdMapFilled{false};

// The build itself; the caller holds m_mutex.
int build_devid_map_locked() {
  if (!gDevIdToNodeMap.empty() || isRemoteMount == 1) return 0;
  gDevIdToNodeMap.clear();
  std::string output;
  if (int rc = exec_command(kNsdListCommand, output)) return rc;
  if (reports_no_disks(output)) {
    isRemoteMount = 1;
    return 0;
  }
  std::vector<FsToNsdMap> fileSystems = parse_nsd_listing(output);
  for (FsToNsdMap& fs : fileSystems) {
    output.clear();
    // Disks of file systems listed before a failure stay mapped.
    if (exec_command(disk_list_command(fs.fsName), output) != 0) return 1;
    for (auto& disk : parse_disk_ids(output)) {
      const NsdToNodeMap& nsd = fs.nsds[disk.first];
      gDevIdToNodeMap[disk.second] = DevIdToNode{disk.second, disk.first, nsd.nodeName, 0, 0};
    }
  }
  return 0;
}

}  // namespace

std::string disk_list_command(const std::string& fsName) {
  return "/opt/kelp/bin/kplsdisk " + shell_quote(fsName) + " -L 2>/dev/null";
}

int build_devid_map() {
  if (devIdMapFilled.load(std::memory_order_acquire) || isRemoteMount == 1) return 0;
  MutexLock lock(&m_mutex);
  int rc = build_devid_map_locked();
  if (!gDevIdToNodeMap.empty()) devIdMapFilled.store(true, std::memory_order_release);
  return rc;
}

std::string devid_node_name(int32_t devId) {
  MutexLock lock(&m_mutex);
  DevIdToNode& entry = gDevIdToNodeMap[devId];
  return entry.nodeName;
}

}  // namespace kelp
