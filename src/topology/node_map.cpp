// gNodeIdToNameMap: cluster node numbers to node names, from kplscluster.
#include "fsops/kelpHadoop.h"
#include "jni/mutex.h"
#include "topology/command_runner.h"
#include "topology/listings.h"
#include "topology/topology.h"

namespace kelp {

int build_nodeid_map(int force) {
  // Only the extended block map names cache nodes.
  if (isCacheInMemEnabled != 1) return 0;
  MutexLock lock(&m_mutex);
  if (force == 0 && !gNodeIdToNameMap.empty()) return 0;
  gNodeIdToNameMap.clear();
  std::string output;
  if (int rc = exec_command(kClusterListCommand, output)) return rc;
  gNodeIdToNameMap = parse_node_table(output);
  return 0;
}

int nodeId2Name(int32_t nodeNumber, std::string& name) {
  // Held across the rebuilds (the mutex is recursive), so the look-up never
  // meets a map that another thread is refilling.
  MutexLock lock(&m_mutex);
  for (int rebuilds = 0;;) {
    auto it = gNodeIdToNameMap.find(nodeNumber);
    if (it != gNodeIdToNameMap.end()) {
      name = it->second;
      return 0;
    }
    if (isRemoteMount == 1 && isAllowWriteAffinity != 1) return 0;
    // Nodes added to the cluster are learnt here; the second run is kept
    // although it rarely finds more than the first.
    build_nodeid_map(1);
    if (++rebuilds == 2) return 1;
  }
}

}  // namespace kelp
