// JNI entry points that set a file's replication and block-group factor.
#include "channel/framing.h"
#include "details/fcntl_requests.h"
#include "fsops/kelpHadoop.h"
#include "fsops/namespace_common_jni.h"
#include "jni/entry_guard.h"
#include "jni/scoped.h"
#include "org_apache_hadoop_fs_kelp_KelpFileSystem.h"

// KelpFileSystem.nSetReplication(int conn, String path, short replication) -> boolean
//   (ILjava/lang/String;S)Z
// Through the daemon only the descriptor comes from it ('o'); the request
// itself is made here.
extern "C" JNIEXPORT jboolean JNICALL Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nSetReplication(
    JNIEnv* env, jobject, jint conn, jstring jpath, jshort replication) {
  return kelp::guarded<jboolean>(JNI_FALSE, [&] {
    kelp::JavaString path(env, jpath);
    return kelp::kelp_set_replication(conn, path.c_str(), replication) ? JNI_TRUE : JNI_FALSE;
  });
}

// KelpFileSystem.nSetBlockGroupFactor(int conn, String path, int factor) -> boolean
//   (ILjava/lang/String;I)Z
// Setting the factor needs the file open for writing, so through the daemon
// the daemon does it ('b') and its reply byte is the result.
extern "C" JNIEXPORT jboolean JNICALL
Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nSetBlockGroupFactor(JNIEnv* env, jobject, jint conn,
                                                                   jstring jpath, jint factor) {
  return kelp::guarded<jboolean>(JNI_FALSE, [&]() -> jboolean {
    kelp::JavaString path(env, jpath);
    if (conn == kelp::kLocalConnection) {
      return kelp::kelp_set_block_group_factor(path.c_str(), factor) ? JNI_TRUE : JNI_FALSE;
    }
    return kelp::remote_bool(conn, kelp::kMsgSetBlockGroupFactor,
                             kelp::Payload().str(path.str()).i32(factor));
  });
}
