// JNI entry points of the library state: the connection entry point.
#include "channel/connection.h"
#include "jni/entry_guard.h"
#include "jni/scoped.h"
#include "org_apache_hadoop_fs_kelp_KelpFileSystem.h"

// KelpFileSystem.nConnect(String userName, String actAsUser) -> int
//   (Ljava/lang/String;Ljava/lang/String;)I
extern "C" JNIEXPORT jint JNICALL Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nConnect(
    JNIEnv* env, jobject, jstring userName, jstring actAsUser) {
  return kelp::guarded<jint>(-1, [&] {
    kelp::JavaString user(env, userName);
    // A null act-as user is the same as an empty one.
    kelp::JavaString actAs(env, actAsUser);
    // Acting for someone else needs the daemon whatever it answers; otherwise
    // it may let this process work on its own.
    if (actAs.size() > 0) return kelp::connect_daemon(1, actAs.c_str());
    return kelp::connect_daemon(0, user.c_str());
  });
}
