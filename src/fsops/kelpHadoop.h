// Process-wide state of the library: created when the library is loaded,
// destroyed when it is unloaded. The caches are filled lazily by the
// subsystems that own them; m_mutex guards the ones built under a lock.
#ifndef KELP_FSOPS_KELPHADOOP_H
#define KELP_FSOPS_KELPHADOOP_H

#include <pthread.h>

#include <atomic>
#include <map>
#include <string>

#include "details/details_types.h"
#include "topology/topology_types.h"

namespace kelp {

// The connection value that means "no helper daemon: work locally" (-ENOMSG).
constexpr int kLocalConnection = -42;

// Tri-state flags: -1 not yet known, 0 no, 1 yes.
extern std::atomic<int> isAllowWriteAffinity;
extern std::atomic<int> isCacheInMemEnabled;
extern std::atomic<int> isRemoteMount;

// Copy of KELP_FCNTL_CALL (or its default), set by the details builder.
extern char skipKELPfcntl[101];

extern std::map<int, DevIdToNode> gDevIdToNodeMap;
extern std::map<std::string, kelpDetails_t> gPathToBlockSize;
extern std::map<std::string, int> gFileId;
extern std::map<int, std::string> gNodeIdToNameMap;

// The library's recursive mutex (distinct from JniUtil::m_mutex).
extern pthread_mutex_t m_mutex;

}  // namespace kelp

#endif  // KELP_FSOPS_KELPHADOOP_H
