// JNI entry points of the namespace: each copies its strings, then runs the
// local operation (connection -42) or asks the helper daemon, and turns the
// result into a Java value.
#include <algorithm>
#include <cstdio>
#include <string>

#include "channel/connection.h"
#include "channel/framing.h"
#include "fsops/kelpHadoop.h"
#include "fsops/local_ops.h"
#include "fsops/namespace_common_jni.h"
#include "jni/entry_guard.h"
#include "jni/exceptions.h"
#include "jni/fd.h"
#include "org_apache_hadoop_fs_kelp_KelpFileSystem.h"

using kelp::FdObject;
using kelp::guarded;
using kelp::JavaString;
using kelp::kLocalConnection;
using kelp::Payload;

namespace {

constexpr const char* kSnapshotsExistText =
    "One or more snapshots exist for this directory.\t\t   Before removing a directory, all "
    "snapshots for that directory must be deleted.";

// The boolean result of a local operation, passed on as it stands.
jboolean local_bool(int result) { return static_cast<jboolean>(result); }

// The methods that take a path and a mode and answer a boolean.
jboolean path_and_mode(JNIEnv* env, jint conn, jstring jpath, jint mode,
                       int (*local)(const char*, int), char type) {
  return guarded<jboolean>(JNI_FALSE, [&] {
    JavaString path(env, jpath);
    if (conn == kLocalConnection) return local_bool(local(path.c_str(), mode));
    return kelp::remote_bool(conn, type, Payload().str(path.str()).i32(mode));
  });
}

}  // namespace

// KelpFileSystem.nOpen(int conn, String path) -> FileDescriptor
//   (ILjava/lang/String;)Ljava/io/FileDescriptor;
extern "C" JNIEXPORT jobject JNICALL Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nOpen(
    JNIEnv* env, jobject, jint conn, jstring jpath) {
  return guarded<jobject>(nullptr, [&] {
    JavaString path(env, jpath);
    int fd = kelp::helper_get_fd(conn, path.c_str());
    return kelp::file_descriptor_object(env, FdObject::kIntConstructor, fd);
  });
}

// KelpFileSystem.nCreate(int conn, String path, int mode, int replication,
//     boolean overwrite, int blockGroupFactor) -> FileDescriptor
//   (ILjava/lang/String;IIZI)Ljava/io/FileDescriptor;
extern "C" JNIEXPORT jobject JNICALL Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nCreate(
    JNIEnv* env, jobject, jint conn, jstring jpath, jint mode, jint replication, jboolean overwrite,
    jint bgf) {
  return guarded<jobject>(nullptr, [&] {
    JavaString path(env, jpath);
    int fd;
    bool owned = true;
    if (conn == kLocalConnection) {
      fd = kelp::kelp_create(path.c_str(), mode, replication, overwrite != 0, bgf);
    } else {
      Payload request;
      request.str(path.str()).i32(mode).i32(replication).i32(kelp::wire_bool(overwrite)).i32(bgf);
      fd = kelp::create_reply_fd(kelp::exchange_for_fd(conn, kelp::kMsgCreate, request), owned);
    }
    return kelp::file_descriptor_object(env, FdObject::kCachedField, fd, owned);
  });
}

// KelpFileSystem.nAppend(int conn, String path) -> FileDescriptor
//   (ILjava/lang/String;)Ljava/io/FileDescriptor;
extern "C" JNIEXPORT jobject JNICALL Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nAppend(
    JNIEnv* env, jobject, jint conn, jstring jpath) {
  return guarded<jobject>(nullptr, [&] {
    JavaString path(env, jpath);
    int fd = conn == kLocalConnection
                 ? kelp::kelp_append(path.c_str())
                 : kelp::exchange_for_fd(conn, kelp::kMsgAppend, Payload().str(path.str())).fd;
    return kelp::file_descriptor_object(env, FdObject::kCachedField, fd);
  });
}

// KelpFileSystem.nExists(int conn, String path) -> boolean   (ILjava/lang/String;)Z
extern "C" JNIEXPORT jboolean JNICALL Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nExists(
    JNIEnv* env, jobject, jint conn, jstring jpath) {
  return guarded<jboolean>(JNI_FALSE, [&] {
    JavaString path(env, jpath);
    if (conn == kLocalConnection) return local_bool(kelp::kelp_exists(path.c_str()));
    return kelp::remote_bool(conn, kelp::kMsgExists, Payload().str(path.str()));
  });
}

// KelpFileSystem.nMkdirs(int conn, String path, int mode) -> boolean   (ILjava/lang/String;I)Z
extern "C" JNIEXPORT jboolean JNICALL Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nMkdirs(
    JNIEnv* env, jobject, jint conn, jstring jpath, jint mode) {
  return path_and_mode(env, conn, jpath, mode, kelp::kelp_mkdirs, kelp::kMsgMkdirs);
}

// KelpFileSystem.nDelete(int conn, String path, boolean recursive) -> boolean
//   (ILjava/lang/String;Z)Z
extern "C" JNIEXPORT jboolean JNICALL Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nDelete(
    JNIEnv* env, jobject, jint conn, jstring jpath, jboolean recursive) {
  return guarded<jboolean>(JNI_FALSE, [&]() -> jboolean {
    JavaString path(env, jpath);
    int result = kelp::kDeleteFailed;
    if (conn == kLocalConnection) {
      result = kelp::kelp_delete(path.c_str(), recursive != 0);
    } else {
      signed char reply = 0;
      Payload request;
      request.str(path.str()).i32(kelp::wire_bool(recursive));
      if (!kelp::exchange_byte(conn, kelp::kMsgDelete, request, reply)) return JNI_FALSE;
      result = reply;
    }
    // Without the exception class even a successful delete reports false.
    kelp::IoException error(env);
    if (!error.available()) return JNI_FALSE;
    if (result == kelp::kDeleteSnapshotFound) {
      error.raise(kSnapshotsExistText);
      return JNI_FALSE;
    }
    return static_cast<jboolean>(result);
  });
}

// KelpFileSystem.nRename(int conn, String src, String dst) -> boolean
//   (ILjava/lang/String;Ljava/lang/String;)Z
extern "C" JNIEXPORT jboolean JNICALL Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nRename(
    JNIEnv* env, jobject, jint conn, jstring jsrc, jstring jdst) {
  return guarded<jboolean>(JNI_FALSE, [&]() -> jboolean {
    JavaString src(env, jsrc);
    JavaString dst(env, jdst);
    int result;
    if (conn == kLocalConnection) {
      result = kelp::kelp_rename(src.c_str(), dst.c_str());
    } else {
      signed char reply = 0;
      if (!kelp::exchange_byte(conn, kelp::kMsgRename, Payload().str(src.str()).str(dst.str()),
                               reply)) {
        return JNI_FALSE;
      }
      result = reply;
    }
    // Codes 2 to 4 (rename failed, no memory, fallback not run) are errors;
    // 0 (the fallback ran and failed) is a plain false.
    if (static_cast<unsigned char>(result - kelp::kRenameFailed) < 3) {
      char text[64];
      std::snprintf(text, sizeof text, " Rename failed. Cause: %d\n", result);
      kelp::throw_io_exception(env, text);
      return JNI_FALSE;
    }
    return static_cast<jboolean>(result);
  });
}

// KelpFileSystem.nChown(int conn, String path, String user, String group) -> boolean
//   (ILjava/lang/String;Ljava/lang/String;Ljava/lang/String;)Z
extern "C" JNIEXPORT jboolean JNICALL Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nChown(
    JNIEnv* env, jobject, jint conn, jstring jpath, jstring juser, jstring jgroup) {
  return guarded<jboolean>(JNI_FALSE, [&] {
    JavaString path(env, jpath);
    // A null name is the empty one: that part of the ownership stays.
    JavaString user(env, juser);
    JavaString group(env, jgroup);
    if (conn == kLocalConnection) {
      return local_bool(kelp::kelp_chown(path.c_str(), user.c_str(), group.c_str()));
    }
    return kelp::remote_bool(conn, kelp::kMsgChown,
                             Payload().str(path.str()).str(user.str()).str(group.str()));
  });
}

// KelpFileSystem.nChmod(int conn, String path, int mode) -> boolean   (ILjava/lang/String;I)Z
extern "C" JNIEXPORT jboolean JNICALL Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nChmod(
    JNIEnv* env, jobject, jint conn, jstring jpath, jint mode) {
  return path_and_mode(env, conn, jpath, mode, kelp::kelp_chmod, kelp::kMsgChmod);
}

// KelpFileSystem.nResolveSymlink(int conn, String path) -> String
//   (ILjava/lang/String;)Ljava/lang/String;
extern "C" JNIEXPORT jstring JNICALL Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nResolveSymlink(
    JNIEnv* env, jobject, jint conn, jstring jpath) {
  return guarded<jstring>(nullptr, [&]() -> jstring {
    JavaString path(env, jpath);
    // One byte beyond the reply's limit keeps the text terminated.
    char resolved[kelp::kSymlinkBufferSize + 1] = {};
    if (conn == kLocalConnection) {
      // An unresolvable path leaves the buffer empty: Java gets "".
      kelp::kelp_resolvesymlink(path.c_str(), resolved, kelp::kSymlinkBufferSize);
    } else if (!kelp::exchange(conn, kelp::kMsgResolveSymlink, Payload().str(path.str()), resolved,
                               kelp::kPathReplySize)) {
      return nullptr;
    }
    return env->NewStringUTF(resolved);
  });
}

// KelpFileSystem.nReadSymlink(int conn, String path) -> String
//   (ILjava/lang/String;)Ljava/lang/String;
extern "C" JNIEXPORT jstring JNICALL Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nReadSymlink(
    JNIEnv* env, jobject, jint conn, jstring jpath) {
  return guarded<jstring>(nullptr, [&]() -> jstring {
    JavaString path(env, jpath);
    char target[kelp::kSymlinkBufferSize + 1] = {};
    // The link is read by its (absolute) path; the descriptor only proves
    // that the caller, or the daemon for it, could open what it points to.
    kelp::UniqueFd fd(kelp::helper_get_fd(conn, path.c_str()));
    if (!fd) return nullptr;
    int n = kelp::kelp_readsymlink(fd.get(), path.c_str(), target, kelp::kSymlinkBufferSize);
    if (n < 0) return nullptr;
    std::string text(target, std::min<size_t>(static_cast<size_t>(n), kelp::kSymlinkBufferSize));
    return env->NewStringUTF(text.c_str());
  });
}

// KelpFileSystem.nCreateSymlink(int conn, String target, String link) -> boolean
//   (ILjava/lang/String;Ljava/lang/String;)Z
extern "C" JNIEXPORT jboolean JNICALL Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nCreateSymlink(
    JNIEnv* env, jobject, jint conn, jstring jtarget, jstring jlink) {
  return guarded<jboolean>(JNI_FALSE, [&] {
    JavaString target(env, jtarget);
    JavaString link(env, jlink);
    if (conn == kLocalConnection) {
      return local_bool(kelp::kelp_createsymlink(target.c_str(), link.c_str()));
    }
    return kelp::remote_bool(conn, kelp::kMsgCreateSymlink,
                             Payload().str(target.str()).str(link.str()));
  });
}
