#include "topology/block_locations.h"

#include <unistd.h>

namespace kelp {

// Placeholders until block locations are built: no blocks.
int kelpGetFileBlockLocationOLD(int, const char*, FilemapIn&, BlockMap& out, int fd) {
  out = BlockMap();
  if (fd >= 0) ::close(fd);
  return 1;
}

jobjectArray get_file_blocklocation_array(JNIEnv* env, int blockCount, int, jlong,
                                          const BlockMap&) {
  jclass cls = env->FindClass("org/apache/hadoop/fs/BlockLocation");
  if (cls == nullptr) return nullptr;
  jobjectArray array = env->NewObjectArray(blockCount < 0 ? 0 : blockCount, cls, nullptr);
  env->DeleteLocalRef(cls);
  return array;
}

}  // namespace kelp
