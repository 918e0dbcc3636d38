// JNI entry point that ends a helper-daemon connection.
#include <unistd.h>

#include "channel/framing.h"
#include "fsops/kelpHadoop.h"
#include "org_apache_hadoop_fs_kelp_KelpFileSystem.h"

using kelp::kLocalConnection;

// KelpFileSystem.nClose(int conn) -> boolean   (I)Z
extern "C" JNIEXPORT jboolean JNICALL
Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nClose(JNIEnv*, jobject, jint connection) {
  if (connection == kLocalConnection) return JNI_TRUE;
  kelp::send_message(connection, kelp::kMsgQuit, nullptr, 0);
  return ::close(connection) == 0 ? JNI_TRUE : JNI_FALSE;
}
