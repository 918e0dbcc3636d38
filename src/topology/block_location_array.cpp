// The BlockLocation[] builder: turns a block map into Hadoop's objects.
#include <algorithm>
#include <atomic>
#include <vector>

#include "fsops/kelpHadoop.h"
#include "jni/jniutil.h"
#include "jni/mutex.h"
#include "jni/scoped.h"
#include "topology/block_locations.h"
#include "topology/result_factory.h"

namespace kelp {
namespace {

// The classes and constructor the builder uses, resolved once and kept as
// global references (the objects themselves are made by KELPResultFactory). Kept apart from JniUtil's cache: a missing class must
// leave its Java exception pending here, and these handles are never
// released while a listing may still use them.
struct BlockLocationClasses {
  jclass blockLocation;
  jmethodID constructor;
  jclass string;
  jclass stringArray;
};

std::atomic<const BlockLocationClasses*> gClasses{nullptr};
// BlockLocation.setCachedHosts, once found (older Hadoop lacks it).
std::atomic<jmethodID> gSetCachedHosts{nullptr};

// Null, with the Java exception pending, when a class or the constructor is
// missing; the next call tries again.
const BlockLocationClasses* block_location_classes(JNIEnv* env) {
  if (const BlockLocationClasses* c = gClasses.load(std::memory_order_acquire)) return c;
  MutexLock lock(&JniUtil::m_mutex);
  if (const BlockLocationClasses* c = gClasses.load(std::memory_order_acquire)) return c;
  ScopedLocalRef<jclass> blockLocation(env,
                                       find_class(env, "Lorg/apache/hadoop/fs/BlockLocation;"));
  if (!blockLocation) return nullptr;
  jmethodID constructor = env->GetMethodID(blockLocation.get(), "<init>",
                                           "([Ljava/lang/String;[Ljava/lang/String;JJ)V");
  if (constructor == nullptr) return nullptr;
  ScopedLocalRef<jclass> string(env, find_class(env, "java/lang/String"));
  if (!string) return nullptr;
  ScopedLocalRef<jclass> stringArray(env, find_class(env, "[Ljava/lang/String;"));
  if (!stringArray) return nullptr;
  auto* c = new BlockLocationClasses{static_cast<jclass>(env->NewGlobalRef(blockLocation.get())),
                                     constructor,
                                     static_cast<jclass>(env->NewGlobalRef(string.get())),
                                     static_cast<jclass>(env->NewGlobalRef(stringArray.get()))};
  if (c->blockLocation == nullptr || c->string == nullptr || c->stringArray == nullptr) {
    for (jclass g : {c->blockLocation, c->string, c->stringArray}) {
      if (g != nullptr) env->DeleteGlobalRef(g);
    }
    delete c;
    return nullptr;
  }
  gClasses.store(c, std::memory_order_release);
  return c;
}

// setCachedHosts, or null when the class lacks it: the exception is
// cleared and later queries ask only for the plain block map.
jmethodID set_cached_hosts_method(JNIEnv* env, jclass blockLocation) {
  if (jmethodID m = gSetCachedHosts.load(std::memory_order_acquire)) return m;
  jmethodID m = env->GetMethodID(blockLocation, "setCachedHosts", "([Ljava/lang/String;)V");
  if (env->ExceptionCheck()) {
    env->ExceptionClear();
    isCacheInMemEnabled = 0;
    return nullptr;
  }
  gSetCachedHosts.store(m, std::memory_order_release);
  return m;
}

}  // namespace

bool set_cached_hosts_wanted(JNIEnv* env, const BlockHostsPlan& plan) {
  if (!plan.anyCachedLayout) return false;
  const BlockLocationClasses* cls = block_location_classes(env);
  return cls != nullptr && set_cached_hosts_method(env, cls->blockLocation) != nullptr;
}

jobjectArray get_file_blocklocation_array(JNIEnv* env, int blockCount, int replicas, jlong start,
                                          const BlockMap& map) {
  const BlockLocationClasses* cls = block_location_classes(env);
  if (cls == nullptr) return nullptr;
  const jsize count = std::max(blockCount, 0);
  BlockHostsPlan plan = plan_block_hosts(blockCount, replicas, start, map);
  if (plan.block_count() == 0) return env->NewObjectArray(count, cls->blockLocation, nullptr);
  // Looked up once the array has blocks: an older Hadoop still gets this
  // first array, without cached hosts.
  bool setCachedHosts = set_cached_hosts_wanted(env, plan);
  const ResultFactory* factory = result_factory(env);
  if (factory == nullptr || env->PushLocalFrame(16) != 0) return nullptr;
  PlanArrays a;
  jobject result = nullptr;
  if (make_plan_arrays(env, plan, a)) {
    result = env->CallStaticObjectMethod(factory->cls, factory->blockLocations, count,
                                         a.hostNames, a.hostAddresses, a.offsets, a.lengths,
                                         a.replicaStart, a.replicaHosts, a.cachedStart,
                                         a.cachedHosts, a.cachedLayout,
                                         setCachedHosts ? JNI_TRUE : JNI_FALSE);
    // A factory that threw (no memory for the array, say) leaves its error
    // pending and gives null.
    if (env->ExceptionCheck()) result = nullptr;
  }
  return static_cast<jobjectArray>(env->PopLocalFrame(result));
}

}  // namespace kelp
