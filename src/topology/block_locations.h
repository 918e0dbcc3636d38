// Block locations of a file: the block-map reader (requests 3006 and 3005 of
// libkelp.so), the per-block hosts worked out from the topology maps, and
// the BlockLocation[] builder.
#ifndef KELP_TOPOLOGY_BLOCK_LOCATIONS_H
#define KELP_TOPOLOGY_BLOCK_LOCATIONS_H

#include <jni.h>
#include <sys/stat.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string>
#include <vector>

#include "jni/fd.h"

namespace kelp {

// In/out record of the block-map reader.
struct FilemapIn {
  int64_t start = 0;      // first byte wanted
  int64_t blockSize = 0;  // in: a hint; out: max(hint, the file system's block size)
  int64_t length = 0;     // bytes wanted; -1: up to the file's size
  int32_t replicas = 0;   // in: passed on (0); out: replicas per block
};

// The blocks the reader gathered over all its passes.
struct BlockMap {
  int64_t count = 0;
  // |count| block records back to back, in the layout of the request they
  // were read with (see cached_layout).
  std::vector<uint8_t> records;
  std::vector<int64_t> lengths;  // one per block
  bool cached_layout = false;    // records of request 3006 (disks, then cache nodes)
};

// Bytes of one block record of |replicas| replicas in either layout:
// 3006: the disk numbers, then the cache node numbers (4 bytes each);
// 3005: the block's offset (8 bytes), then the disk numbers.
inline int64_t block_record_size(bool cachedLayout, int32_t replicas) {
  return cachedLayout ? 8 * int64_t{replicas} : 8 + 4 * int64_t{replicas};
}

// A cache node number meaning "not cached".
constexpr uint32_t kNotCached = 0xFFFFFFFF;
// Cached hosts reported per block at most (the file system's replica limit).
constexpr int kMaxCachedHosts = 3;

// Examines |path| for a status or block query: stat (links followed), or,
// when this process may not, fstat of a read-only descriptor from
// helper_get_fd (the daemon may open what the caller cannot). |fd| receives
// that descriptor, or, working locally, the path opened for the block-map
// reader now (kelp_open would stat it once more); it may stay empty. False
// when the path cannot be examined.
bool examine_path(int daemonFd, const char* path, struct stat& st, UniqueFd& fd);

// Reads the block map of |path| (or of the open descriptor |fd| when it is
// not negative) into |out|. 0 on success, also when a later pass failed
// after earlier ones; 1 on failure. Always closes the descriptor it worked on.
int kelpGetFileBlockLocationOLD(int daemonFd, const char* path, FilemapIn& filemap,
                                BlockMap& out, int fd);

// Resolves |hostName| to its first IPv4 address and stores "a.b.c.d:0" in
// |out|: 1. 0 when it does not resolve to one (|out| untouched). Safe to call
// on several threads at once.
int host2IP(const std::string& hostName, std::string& out);

// What the BlockLocation objects of one call hold (the blocks of one file, or
// those of every located entry of a listing), worked out without Java, in
// the flat layout the Java half's KELPResultFactory takes. Host names are
// stored once and referred to by index.
struct BlockHostsPlan {
  struct Host {
    std::string name;     // the node name ("" for an unknown disk)
    std::string address;  // "ip:0", when |resolves|
    bool resolves = false;
  };
  std::vector<Host> hosts;
  // Per block b: its offset and length; its replicas' hosts are
  // replicaHosts[replicaStart[b] .. replicaStart[b + 1]), its cached hosts
  // cachedHosts[cachedStart[b] .. cachedStart[b + 1]); cachedLayout[b] when
  // it was read with cache nodes (and so gets setCachedHosts).
  std::vector<jlong> offsets;
  std::vector<jlong> lengths;
  std::vector<jint> replicaStart{0};
  std::vector<jint> replicaHosts;
  std::vector<jint> cachedStart{0};
  std::vector<jint> cachedHosts;
  std::vector<jboolean> cachedLayout;
  bool anyCachedLayout = false;

  size_t block_count() const { return offsets.size(); }
  int replica_count(size_t block) const { return replicaStart[block + 1] - replicaStart[block]; }
  int cached_count(size_t block) const { return cachedStart[block + 1] - cachedStart[block]; }
  const Host& replica_host(size_t block, int replica) const {
    return hosts[replicaHosts[replicaStart[block] + replica]];
  }
  const Host& cached_host(size_t block, int i) const {
    return hosts[cachedHosts[cachedStart[block] + i]];
  }
};

// Collects the blocks of one or more block maps into one plan. Within one
// planner each disk is named once, each cache node once it has been named (an
// unknown one is asked about every time), and each distinct host is resolved
// once, in finish(). Not thread-safe; use one per call.
class BlockPlanner final {
 public:
  BlockPlanner();
  ~BlockPlanner();
  BlockPlanner(const BlockPlanner&) = delete;
  BlockPlanner& operator=(const BlockPlanner&) = delete;

  // Adds the hosts, offsets and lengths of the first |blockCount| blocks of
  // |map| (none when |replicas| is not positive; never more than the map
  // holds). In the 3006 layout offsets run from |start|; in the 3005 layout
  // they are the records' own. Returns the number of blocks added, which
  // follow those of earlier calls.
  size_t add(int blockCount, int replicas, int64_t start, const BlockMap& map);
  // Resolves the hosts and hands the plan over; the planner is spent.
  BlockHostsPlan finish();

 private:
  struct Lookups;
  BlockHostsPlan plan_;
  std::unique_ptr<Lookups> lookups_;
};

// The plan of one block map: a planner with one add().
BlockHostsPlan plan_block_hosts(int blockCount, int replicas, int64_t start, const BlockMap& map);

// Whether the blocks of |plan| read with cache nodes get setCachedHosts:
// BlockLocation has it. An older Hadoop's lacks it; then the Java exception
// is cleared and isCacheInMemEnabled drops to 0, so later queries ask for
// the plain block map only.
bool set_cached_hosts_wanted(JNIEnv* env, const BlockHostsPlan& plan);

// A BlockLocation[] of |blockCount| elements built from |map|, or null with a
// Java exception pending when a class or method is missing.
jobjectArray get_file_blocklocation_array(JNIEnv* env, int blockCount, int replicas, jlong start,
                                          const BlockMap& map);

}  // namespace kelp

#endif  // KELP_TOPOLOGY_BLOCK_LOCATIONS_H
