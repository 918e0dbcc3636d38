// JNI entry points of file status and directory listing: each copies its
// strings, makes the native records (the listing on its worker threads) and
// builds the Java objects on the calling thread.
#include "jni/entry_guard.h"
#include "jni/scoped.h"
#include "org_apache_hadoop_fs_kelp_KelpFileSystem.h"
#include "status/file_status.h"
#include "status/listing.h"
#include "status/status_object.h"

using kelp::guarded;
using kelp::JavaString;

// KelpFileSystem.nGetFileStatus(int conn, String path, long defaultBlockSize)
//     -> LocatedFileStatus
//   (ILjava/lang/String;J)Lorg/apache/hadoop/fs/LocatedFileStatus;
extern "C" JNIEXPORT jobject JNICALL Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nGetFileStatus(
    JNIEnv* env, jobject, jint conn, jstring jpath, jlong defaultBlockSize) {
  return guarded<jobject>(nullptr, [&] {
    JavaString path(env, jpath);
    return kelp::build_object(
        env, kelp::make_file_status(conn, path.c_str(), false, defaultBlockSize), path.str());
  });
}

// KelpFileSystem.nListStatus(int conn, String path, int threadCount,
//     int threadThreshold, boolean located, String user, String proxyUser,
//     long defaultBlockSize) -> LocatedFileStatus[]
//   (ILjava/lang/String;IIZLjava/lang/String;Ljava/lang/String;J)
//       [Lorg/apache/hadoop/fs/LocatedFileStatus;
extern "C" JNIEXPORT jobjectArray JNICALL
Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nListStatus(JNIEnv* env, jobject, jint conn,
                                                          jstring jpath, jint threadCount,
                                                          jint threadThreshold, jboolean located,
                                                          jstring juser, jstring jproxyUser,
                                                          jlong defaultBlockSize) {
  return guarded<jobjectArray>(nullptr, [&]() -> jobjectArray {
    kelp::ListRequest request;
    {
      JavaString path(env, jpath);
      JavaString user(env, juser);
      JavaString proxyUser(env, jproxyUser);
      request.path = path.str();
      // The workers connect as the proxy user when one is named.
      request.impersonate = proxyUser.present();
      request.user = request.impersonate ? proxyUser.str() : user.str();
    }
    request.daemonFd = conn;
    request.threadCount = threadCount;
    request.threadThreshold = threadThreshold;
    request.located = located != JNI_FALSE;
    request.defaultBlockSize = defaultBlockSize;
    kelp::Listing listing = kelp::list_directory(request);
    if (listing.outcome == kelp::ListOutcome::kNoStream) return nullptr;
    return kelp::status_array(env, listing);
  });
}
