// JNI entry points that create objects on behalf of a named user and group.
// In daemon mode the daemon gives them away; locally the library tries with
// the rights of the Java process.
#include "channel/framing.h"
#include "fsops/kelpHadoop.h"
#include "fsops/local_ops.h"
#include "fsops/namespace_common_jni.h"
#include "jni/entry_guard.h"
#include "org_apache_hadoop_fs_kelp_KelpFileSystem.h"

using kelp::FdObject;
using kelp::guarded;
using kelp::JavaString;
using kelp::kLocalConnection;
using kelp::or_null;
using kelp::Payload;

// KelpFileSystem.nCreateAs(int conn, String path, int mode, int replication,
//     boolean overwrite, String user, String group, int blockGroupFactor) -> FileDescriptor
//   (ILjava/lang/String;IIZLjava/lang/String;Ljava/lang/String;I)Ljava/io/FileDescriptor;
extern "C" JNIEXPORT jobject JNICALL Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nCreateAs(
    JNIEnv* env, jobject, jint conn, jstring jpath, jint mode, jint replication, jboolean overwrite,
    jstring juser, jstring jgroup, jint bgf) {
  return guarded<jobject>(nullptr, [&] {
    JavaString path(env, jpath);
    JavaString user(env, juser);
    JavaString group(env, jgroup);
    int fd;
    bool owned = true;
    if (conn == kLocalConnection) {
      fd = kelp::kelp_createAs(path.c_str(), mode, replication, overwrite != 0, or_null(user),
                               or_null(group), bgf);
    } else {
      Payload request;
      request.str(path.str()).i32(mode).i32(replication).i32(kelp::wire_bool(overwrite));
      request.str(user.str()).str(group.str()).i32(bgf);
      fd = kelp::create_reply_fd(kelp::exchange_for_fd(conn, kelp::kMsgCreateAs, request), owned);
    }
    return kelp::file_descriptor_object(env, FdObject::kLookedUp, fd, owned);
  });
}

// KelpFileSystem.nAppendAs(int conn, String path, String user, String group) -> FileDescriptor
//   (ILjava/lang/String;Ljava/lang/String;Ljava/lang/String;)Ljava/io/FileDescriptor;
extern "C" JNIEXPORT jobject JNICALL Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nAppendAs(
    JNIEnv* env, jobject, jint conn, jstring jpath, jstring juser, jstring jgroup) {
  return guarded<jobject>(nullptr, [&] {
    JavaString path(env, jpath);
    JavaString user(env, juser);
    JavaString group(env, jgroup);
    // Locally the file keeps its owner: appending creates nothing to give away.
    int fd = conn == kLocalConnection
                 ? kelp::kelp_append(path.c_str())
                 : kelp::exchange_for_fd(conn, kelp::kMsgAppendAs,
                                         Payload().str(path.str()).str(user.str()).str(group.str()))
                       .fd;
    return kelp::file_descriptor_object(env, FdObject::kLookedUp, fd);
  });
}

// KelpFileSystem.nMkdirsAs(int conn, String path, int mode, String user, String group)
//   -> boolean   (ILjava/lang/String;ILjava/lang/String;Ljava/lang/String;)Z
extern "C" JNIEXPORT jboolean JNICALL Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nMkdirsAs(
    JNIEnv* env, jobject, jint conn, jstring jpath, jint mode, jstring juser, jstring jgroup) {
  return guarded<jboolean>(JNI_FALSE, [&] {
    JavaString path(env, jpath);
    JavaString user(env, juser);
    JavaString group(env, jgroup);
    if (conn == kLocalConnection) {
      return static_cast<jboolean>(
          kelp::kelp_mkdirsAs(path.c_str(), mode, or_null(user), or_null(group)));
    }
    return kelp::remote_bool(conn, kelp::kMsgMkdirsAs,
                             Payload().str(path.str()).i32(mode).str(user.str()).str(group.str()));
  });
}

// KelpFileSystem.nCreateSymlinkAs(int conn, String target, String link, String user,
//     String group) -> boolean
//   (ILjava/lang/String;Ljava/lang/String;Ljava/lang/String;Ljava/lang/String;)Z
extern "C" JNIEXPORT jboolean JNICALL
Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nCreateSymlinkAs(JNIEnv* env, jobject, jint conn,
                                                               jstring jtarget, jstring jlink,
                                                               jstring juser, jstring jgroup) {
  return guarded<jboolean>(JNI_FALSE, [&] {
    JavaString target(env, jtarget);
    JavaString link(env, jlink);
    JavaString user(env, juser);
    JavaString group(env, jgroup);
    if (conn == kLocalConnection) {
      return static_cast<jboolean>(
          kelp::kelp_createsymlinkAs(target.c_str(), link.c_str(), or_null(user), or_null(group)));
    }
    return kelp::remote_bool(
        conn, kelp::kMsgCreateSymlinkAs,
        Payload().str(target.str()).str(link.str()).str(user.str()).str(group.str()));
  });
}
