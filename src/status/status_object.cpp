#include "status/status_object.h"

#include <atomic>

#include "jni/jniutil.h"
#include "jni/mutex.h"

namespace kelp {
namespace {

// Locals one object needs at once, with room for the block-location builder's.
constexpr jint kObjectFrameCapacity = 64;

struct StatusClasses {
  jclass path = nullptr;
  jmethodID path_init = nullptr;
  jclass permission = nullptr;
  jmethodID permission_init = nullptr;
  jclass located = nullptr;
  jmethodID located_init = nullptr;
  jclass block_location = nullptr;
};

StatusClasses g_classes;
std::atomic<bool> g_classes_resolved{false};

// Resolves the classes once; false (no exception pending) when one is missing.
bool status_classes(JNIEnv* env) {
  if (g_classes_resolved.load(std::memory_order_acquire)) return true;
  MutexLock lock(&JniUtil::m_mutex);
  if (g_classes_resolved.load(std::memory_order_relaxed)) return true;
  try {
    StatusClasses& c = g_classes;
    JniUtil::findJavaClass(env, "org/apache/hadoop/fs/Path", c.path);
    JniUtil::getMethodId(env, c.path, "<init>", "(Ljava/lang/String;)V", c.path_init);
    JniUtil::findJavaClass(env, "org/apache/hadoop/fs/kelp/KELPFsPermission", c.permission);
    JniUtil::getMethodId(env, c.permission, "<init>", "(S)V", c.permission_init);
    JniUtil::findJavaClass(env, "org/apache/hadoop/fs/LocatedFileStatus", c.located);
    JniUtil::getMethodId(env, c.located, "<init>",
                         "(JZIJJJLorg/apache/hadoop/fs/permission/FsPermission;Ljava/lang/String;"
                         "Ljava/lang/String;Lorg/apache/hadoop/fs/Path;Lorg/apache/hadoop/fs/Path;"
                         "[Lorg/apache/hadoop/fs/BlockLocation;)V",
                         c.located_init);
    JniUtil::findJavaClass(env, "org/apache/hadoop/fs/BlockLocation", c.block_location);
  } catch (int) {
    return false;
  }
  g_classes_resolved.store(true, std::memory_order_release);
  return true;
}

// The object of build_object, made inside a local frame of its own.
jobject new_status(JNIEnv* env, const fileStatus& r, const std::string& path) {
  const StatusClasses& c = g_classes;
  jstring jpath = env->NewStringUTF(path.c_str());
  jstring owner = env->NewStringUTF(r.owner.c_str());
  jstring group = env->NewStringUTF(r.group.c_str());
  if (jpath == nullptr || owner == nullptr || group == nullptr) return nullptr;
  jobject path_object = env->NewObject(c.path, c.path_init, jpath);
  if (path_object == nullptr) return nullptr;
  jobject permission =
      env->NewObject(c.permission, c.permission_init, static_cast<jshort>(r.permission));
  if (permission == nullptr) return nullptr;
  // Most records have no blocks (every one of a listing that is not located):
  // their empty array needs none of the builder's class lookups.
  jobjectArray blocks =
      r.blocks.count == 0
          ? env->NewObjectArray(0, c.block_location, nullptr)
          : get_file_blocklocation_array(env, static_cast<int>(r.blocks.count), r.replication, 0,
                                         r.blocks);
  if (env->ExceptionCheck()) return nullptr;
  // The replication travels as a 16-bit value, sign-extended.
  jint replication = static_cast<int16_t>(r.replication);
  return env->NewObject(c.located, c.located_init, static_cast<jlong>(r.length),
                        static_cast<jboolean>(r.isdir), replication,
                        static_cast<jlong>(r.blocksize), static_cast<jlong>(r.modification_time),
                        static_cast<jlong>(r.access_time), permission, owner, group,
                        static_cast<jobject>(nullptr), path_object, blocks);
}

}  // namespace

jobject build_object(JNIEnv* env, std::unique_ptr<fileStatus> record, const std::string& path) {
  if (!record || !status_classes(env)) return nullptr;
  // The frame takes every intermediate reference with it, whatever fails.
  if (env->PushLocalFrame(kObjectFrameCapacity) != 0) return nullptr;
  jobject object = new_status(env, *record, path);
  return env->PopLocalFrame(object);
}

jobjectArray status_array(JNIEnv* env, Listing& listing) {
  if (!status_classes(env)) return nullptr;
  auto* array = static_cast<jobjectArray>(
      env->NewObjectArray(static_cast<jsize>(listing.entries), g_classes.located, nullptr));
  if (array == nullptr) return nullptr;
  jsize index = 0;
  while (!listing.completed.empty() && index < static_cast<jsize>(listing.entries)) {
    std::unique_ptr<queueElement> e = std::move(listing.completed.front());
    listing.completed.pop_front();
    jobject object = build_object(env, std::move(e->result), e->path);
    if (env->ExceptionCheck()) {
      // Out of Java memory: the pending exception is the answer.
      env->DeleteLocalRef(array);
      return nullptr;
    }
    if (object != nullptr) {
      env->SetObjectArrayElement(array, index, object);
      env->DeleteLocalRef(object);
    }
    ++index;
  }
  return array;
}

}  // namespace kelp
