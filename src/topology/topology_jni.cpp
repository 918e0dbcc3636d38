// JNI entry points of the cluster topology and block locations.
#include <sys/stat.h>

#include <algorithm>
#include <climits>

#include "jni/entry_guard.h"
#include "jni/fd.h"
#include "jni/scoped.h"
#include "org_apache_hadoop_fs_kelp_KelpFileSystem.h"
#include "topology/block_locations.h"
#include "topology/topology.h"

namespace {

// The whole block-location query of nGetFileBlockLocations.
jobjectArray JNI_kelpGetFileBlockLocationOLD(JNIEnv* env, jint daemonFd, jstring jpath,
                                             jlong start, jlong len, jlong blockSize) {
  kelp::JavaString path(env, jpath);
  kelp::UniqueFd fd;
  struct stat st;
  if (!kelp::examine_path(daemonFd, path.c_str(), st, fd)) return nullptr;
  if (kelp::build_devid_map() != 0) return nullptr;
  kelp::FilemapIn filemap;
  filemap.start = start;
  filemap.length = len;
  filemap.blockSize = blockSize;
  filemap.replicas = 0;
  if (S_ISDIR(st.st_mode)) {
    filemap.start = 0;
    filemap.length = 0;
  }
  // A reader failure leaves the map empty: the result is then an empty array.
  kelp::BlockMap map;
  kelp::kelpGetFileBlockLocationOLD(daemonFd, path.c_str(), filemap, map, fd.release());
  int count = static_cast<int>(std::min<int64_t>(map.count, INT_MAX));
  return kelp::get_file_blocklocation_array(env, count, filemap.replicas, start, map);
}

}  // namespace

// KelpFileSystem.nGetInitInfo() -> int   ()I
extern "C" JNIEXPORT jint JNICALL Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nGetInitInfo(
    JNIEnv*, jobject) {
  return kelp::guarded<jint>(0, [] {
    kelp::build_nodeid_map(0);
    return 0;
  });
}

// KelpFileSystem.nGetFileBlockLocations(int conn, String path, long start, long len,
//     long blockSize) -> BlockLocation[]
//   (ILjava/lang/String;JJJ)[Lorg/apache/hadoop/fs/BlockLocation;
extern "C" JNIEXPORT jobjectArray JNICALL
Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nGetFileBlockLocations(JNIEnv* env, jobject,
                                                                     jint conn, jstring jpath,
                                                                     jlong start, jlong len,
                                                                     jlong blockSize) {
  return kelp::guarded<jobjectArray>(nullptr, [&] {
    return JNI_kelpGetFileBlockLocationOLD(env, conn, jpath, start, len, blockSize);
  });
}
