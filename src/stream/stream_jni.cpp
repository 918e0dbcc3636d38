// KELPDataOutputStream's natives: range sync, data sync and preallocation of
// the file the stream writes, addressed by path. Nothing is raised in Java;
// the result code is the whole report.
#include <jni.h>

#include <string>

#include "jni/entry_guard.h"
#include "jni/scoped.h"
#include "org_apache_hadoop_fs_kelp_KELPDataOutputStream.h"
#include "stream/output_stream.h"

namespace {

// Runs |op| on a native copy of the path. Running out of memory while
// copying or caching reads as a file that cannot be opened.
template <typename Op>
jint with_path(JNIEnv* env, jstring jpath, Op op) {
  return kelp::guarded<jint>(kelp::kCannotOpen, [&]() -> jint {
    kelp::JavaString path(env, jpath);
    return op(path.str());
  });
}

}  // namespace

// KELPDataOutputStream.kelp_fsync_range(String path, long offset, long length) -> int
//   (Ljava/lang/String;JJ)I
extern "C" JNIEXPORT jint JNICALL Java_org_apache_hadoop_fs_kelp_KELPDataOutputStream_kelp_1fsync_1range(
    JNIEnv* env, jobject, jstring jpath, jlong offset, jlong length) {
  return with_path(env, jpath, [&](const std::string& path) {
    return kelp::sync_file_range_cached(path, offset, length);
  });
}

// KELPDataOutputStream.kelp_fdatasync(String path) -> int   (Ljava/lang/String;)I
extern "C" JNIEXPORT jint JNICALL Java_org_apache_hadoop_fs_kelp_KELPDataOutputStream_kelp_1fdatasync(
    JNIEnv* env, jobject, jstring jpath) {
  return with_path(env, jpath, kelp::fdatasync_cached);
}

// KELPDataOutputStream.kelp_preallocate(String path, long length) -> int   (Ljava/lang/String;J)I
extern "C" JNIEXPORT jint JNICALL Java_org_apache_hadoop_fs_kelp_KELPDataOutputStream_kelp_1preallocate(
    JNIEnv* env, jobject, jstring jpath, jlong length) {
  return with_path(env, jpath, [&](const std::string& path) {
    return kelp::preallocate_file(path, length);
  });
}
