// The BlockLocation[] builder: turns a block map into Hadoop's objects.
#include <algorithm>
#include <atomic>
#include <vector>

#include "fsops/kelpHadoop.h"
#include "jni/jniutil.h"
#include "jni/mutex.h"
#include "jni/scoped.h"
#include "topology/block_locations.h"

namespace kelp {
namespace {

// The classes and constructor the builder uses, resolved once and kept as
// global references. Kept apart from JniUtil's cache: a missing class must
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
  ScopedLocalRef<jclass> string(env, find_class(env, "Ljava/lang/String;"));
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

// One Java string per distinct host name (and per address) of a call, made
// when first needed and released with the builder.
class HostStrings final {
 public:
  HostStrings(JNIEnv* env, const BlockHostsPlan& plan)
      : env_(env), plan_(plan), names_(plan.hosts.size()), addresses_(plan.hosts.size()) {}
  ~HostStrings() {
    for (jstring s : names_) {
      if (s != nullptr) env_->DeleteLocalRef(s);
    }
    for (jstring s : addresses_) {
      if (s != nullptr) env_->DeleteLocalRef(s);
    }
  }
  HostStrings(const HostStrings&) = delete;
  HostStrings& operator=(const HostStrings&) = delete;

  // Null only when the JVM could not make the string (exception pending).
  jstring name(uint32_t host) { return make(names_, host, plan_.hosts[host].name); }
  jstring address(uint32_t host) { return make(addresses_, host, plan_.hosts[host].address); }

 private:
  jstring make(std::vector<jstring>& cache, uint32_t host, const std::string& text) {
    if (cache[host] == nullptr) cache[host] = env_->NewStringUTF(text.c_str());
    return cache[host];
  }

  JNIEnv* env_;
  const BlockHostsPlan& plan_;
  std::vector<jstring> names_;
  std::vector<jstring> addresses_;
};

// A String[] holding |count| host names; null with an exception pending on failure.
template <typename HostOf>
jobjectArray string_array(JNIEnv* env, jclass string, int count, HostStrings& strings,
                          HostOf hostOf) {
  jobjectArray array = env->NewObjectArray(count, string, nullptr);
  if (array == nullptr) return nullptr;
  for (int i = 0; i < count; ++i) {
    jstring s = hostOf(strings, i);
    if (s == nullptr) {
      if (env->ExceptionCheck()) {
        env->DeleteLocalRef(array);
        return nullptr;
      }
      continue;  // an address that does not resolve stays null
    }
    env->SetObjectArrayElement(array, i, s);
  }
  return array;
}

}  // namespace

jobjectArray get_file_blocklocation_array(JNIEnv* env, int blockCount, int replicas, jlong start,
                                          const BlockMap& map) {
  const BlockLocationClasses* cls = block_location_classes(env);
  if (cls == nullptr) return nullptr;
  ScopedLocalRef<jobjectArray> result(
      env, env->NewObjectArray(std::max(blockCount, 0), cls->blockLocation, nullptr));
  if (!result) return nullptr;
  BlockHostsPlan plan = plan_block_hosts(blockCount, replicas, start, map);
  if (plan.blocks.empty()) return result.release();

  // Room for the host strings of the call and one block's own references;
  // each block's references are deleted before the next.
  if (env->EnsureLocalCapacity(static_cast<jint>(2 * plan.hosts.size() + 8)) != 0) return nullptr;
  HostStrings strings(env, plan);
  // Looked up once the array has blocks: an older Hadoop still gets this
  // first array, without cached hosts.
  jmethodID setCachedHosts =
      plan.cachedLayout ? set_cached_hosts_method(env, cls->blockLocation) : nullptr;
  const int r = plan.replicas;
  for (size_t b = 0; b < plan.blocks.size(); ++b) {
    const BlockHostsPlan::Block& block = plan.blocks[b];
    ScopedLocalRef<jobjectArray> names(env, string_array(env, cls->string, r, strings,
        [&](HostStrings& s, int i) {
          uint32_t host = plan.replicaHosts[b * r + i];
          return plan.hosts[host].resolves ? s.address(host) : nullptr;
        }));
    if (!names) return nullptr;
    ScopedLocalRef<jobjectArray> hosts(env, string_array(env, cls->string, r, strings,
        [&](HostStrings& s, int i) { return s.name(plan.replicaHosts[b * r + i]); }));
    if (!hosts) return nullptr;
    ScopedLocalRef<jobject> location(env, env->NewObject(cls->blockLocation, cls->constructor,
                                                         names.get(), hosts.get(),
                                                         static_cast<jlong>(block.offset),
                                                         static_cast<jlong>(block.length)));
    if (!location) return nullptr;
    if (setCachedHosts != nullptr) {
      ScopedLocalRef<jobjectArray> cached(env, string_array(env, cls->string, block.cachedCount,
          strings, [&](HostStrings& s, int i) {
            return s.name(plan.cachedHosts[b * kMaxCachedHosts + i]);
          }));
      if (!cached) return nullptr;
      env->CallVoidMethod(location.get(), setCachedHosts, cached.get());
      if (env->ExceptionCheck()) return nullptr;
    }
    env->SetObjectArrayElement(result.get(), static_cast<jsize>(b), location.get());
  }
  return result.release();
}

}  // namespace kelp
