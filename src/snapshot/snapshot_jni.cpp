// JNI entry points of the directory snapshots: each copies its strings, runs
// the snapshot operation here (connection -42) or has the daemon run it, and
// turns the operation's code into a result or an IOException.
#include <functional>
#include <initializer_list>
#include <optional>
#include <utility>

#include "channel/framing.h"
#include "channel/payload.h"
#include "channel/request.h"
#include "fsops/kelpHadoop.h"
#include "jni/entry_guard.h"
#include "jni/exceptions.h"
#include "jni/scoped.h"
#include "org_apache_hadoop_fs_kelp_KelpFileSystem.h"
#include "snapshot/snapshot.h"

using kelp::guarded;
using kelp::JavaString;
using kelp::Payload;

namespace {

constexpr const char* kCreateFailedText = "Failed to create Snapshot";
constexpr const char* kCreateCommandText = "KELP failed to create Snapshot by kpcrsnap";
constexpr const char* kCreateNotRootText = "permission deny to create snapshot";
constexpr const char* kCreateAsNotRootText =
    "Permmison denied, only root user allow to createSnapshot";
constexpr const char* kDeleteFailedText = "Failed to delete Snapshot";
constexpr const char* kDeleteCommandText = "KELP failed to delete Snapshot by kpdelsnap";

// The operation's code, from |local| for the local connection and otherwise
// from the daemon's reply to a request of |type| carrying |args|; none when
// no reply came.
template <typename Local>
std::optional<int> snapshot_code(
    jint conn, char type, std::initializer_list<std::reference_wrapper<const JavaString>> args,
    Local&& local) {
  if (conn == kelp::kLocalConnection) return std::forward<Local>(local)();
  Payload request;
  for (const JavaString& arg : args) request.str(arg.str());
  signed char reply = 0;
  if (!kelp::exchange_byte(conn, type, request, reply)) return std::nullopt;
  return reply;
}

// Create and create-as: the link path on success, otherwise null and the
// exception the code names (|not_root_text| for a caller without root).
jstring create_result(JNIEnv* env, int code, const JavaString& dir, const JavaString& link,
                      const char* not_root_text) {
  // Without the exception class even a success answers null.
  kelp::IoException error(env);
  if (!error.available()) return nullptr;
  switch (code) {
    case kelp::kSnapshotOk:
      return env->NewStringUTF(kelp::snapshot_link_path(dir.str(), link.str()).c_str());
    case kelp::kSnapshotCommandNotRun:
      error.raise(kCreateCommandText);
      break;
    case kelp::kSnapshotNotRoot:
      error.raise(not_root_text);
      break;
    default:
      error.raise(kCreateFailedText);
      break;
  }
  return nullptr;
}

}  // namespace

// KelpFileSystem.nCreateSnapshot(int conn, String dir, String snapshotName,
//     String linkName) -> String
//   (ILjava/lang/String;Ljava/lang/String;Ljava/lang/String;)Ljava/lang/String;
extern "C" JNIEXPORT jstring JNICALL Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nCreateSnapshot(
    JNIEnv* env, jobject, jint conn, jstring jdir, jstring jname, jstring jlink) {
  return guarded<jstring>(nullptr, [&]() -> jstring {
    JavaString dir(env, jdir);
    JavaString name(env, jname);
    JavaString link(env, jlink);
    std::optional<int> code = snapshot_code(conn, kelp::kMsgCreateSnapshot, {dir, name, link}, [&] {
      return kelp::kelp_createSnapshot(dir.c_str(), name.c_str(), link.c_str());
    });
    return code ? create_result(env, *code, dir, link, kCreateNotRootText) : nullptr;
  });
}

// KelpFileSystem.nCreateSnapshotAs(int conn, String dir, String snapshotName,
//     String linkName, String user, String group) -> String
//   (ILjava/lang/String;Ljava/lang/String;Ljava/lang/String;Ljava/lang/String;
//    Ljava/lang/String;)Ljava/lang/String;
extern "C" JNIEXPORT jstring JNICALL
Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nCreateSnapshotAs(JNIEnv* env, jobject, jint conn,
                                                                 jstring jdir, jstring jname,
                                                                 jstring jlink, jstring juser,
                                                                 jstring jgroup) {
  return guarded<jstring>(nullptr, [&]() -> jstring {
    JavaString dir(env, jdir);
    JavaString name(env, jname);
    JavaString link(env, jlink);
    JavaString user(env, juser);
    JavaString group(env, jgroup);
    std::optional<int> code =
        snapshot_code(conn, kelp::kMsgCreateSnapshotAs, {dir, name, link, user, group}, [&] {
          return kelp::kelp_createSnapshotAs(dir.c_str(), name.c_str(), link.c_str(),
                                             user.c_str(), group.c_str());
        });
    return code ? create_result(env, *code, dir, link, kCreateAsNotRootText) : nullptr;
  });
}

// KelpFileSystem.nDeleteSnapshot(int conn, String dir, String linkName) -> boolean
//   (ILjava/lang/String;Ljava/lang/String;)Z
extern "C" JNIEXPORT jboolean JNICALL Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nDeleteSnapshot(
    JNIEnv* env, jobject, jint conn, jstring jdir, jstring jlink) {
  return guarded<jboolean>(JNI_FALSE, [&]() -> jboolean {
    JavaString dir(env, jdir);
    JavaString link(env, jlink);
    std::optional<int> code = snapshot_code(conn, kelp::kMsgDeleteSnapshot, {dir, link}, [&] {
      return kelp::kelp_deleteSnapshot(dir.c_str(), link.c_str());
    });
    if (!code) return JNI_FALSE;
    // Without the exception class even a success answers false.
    kelp::IoException error(env);
    if (!error.available()) return JNI_FALSE;
    if (*code == kelp::kSnapshotFailed) {
      error.raise(kDeleteFailedText);
      return JNI_FALSE;
    }
    if (*code == kelp::kSnapshotCommandNotRun) {
      error.raise(kDeleteCommandText);
      return JNI_FALSE;
    }
    return JNI_TRUE;
  });
}

// KelpFileSystem.nRenameSnapshot(int conn, String dir, String oldLinkName,
//     String newLinkName) -> boolean
//   (ILjava/lang/String;Ljava/lang/String;Ljava/lang/String;)Z
extern "C" JNIEXPORT jboolean JNICALL Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nRenameSnapshot(
    JNIEnv* env, jobject, jint conn, jstring jdir, jstring jold, jstring jnew) {
  return guarded<jboolean>(JNI_FALSE, [&] {
    JavaString dir(env, jdir);
    JavaString from(env, jold);
    JavaString to(env, jnew);
    std::optional<int> code = snapshot_code(conn, kelp::kMsgRenameSnapshot, {dir, from, to}, [&] {
      return kelp::kelp_renameSnapshot(dir.c_str(), from.c_str(), to.c_str());
    });
    // A failed rename raises nothing.
    return code && *code != kelp::kSnapshotFailed ? JNI_TRUE : JNI_FALSE;
  });
}
