// Block locations of a file: the block-map reader (requests 3006 and 3005 of
// libkelp.so) and the BlockLocation[] builder.
#ifndef KELP_TOPOLOGY_BLOCK_LOCATIONS_H
#define KELP_TOPOLOGY_BLOCK_LOCATIONS_H

#include <jni.h>

#include <cstdint>
#include <vector>

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

// Reads the block map of |path| (or of the open descriptor |fd| when it is
// not negative) into |out|. 0 on success, also when a later pass failed
// after earlier ones; 1 on failure. Always closes the descriptor it worked on.
int kelpGetFileBlockLocationOLD(int daemonFd, const char* path, FilemapIn& filemap,
                                BlockMap& out, int fd);

// A BlockLocation[] of |blockCount| elements built from |map|, or null with a
// Java exception pending when a class or method is missing.
jobjectArray get_file_blocklocation_array(JNIEnv* env, int blockCount, int replicas, jlong start,
                                          const BlockMap& map);

}  // namespace kelp

#endif  // KELP_TOPOLOGY_BLOCK_LOCATIONS_H
