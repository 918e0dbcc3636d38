#include "topology/result_factory.h"

#include <atomic>
#include <vector>

#include "jni/jniutil.h"
#include "jni/mutex.h"
#include "jni/scoped.h"

namespace kelp {
namespace {

constexpr const char* kFactoryClass = "org/apache/hadoop/fs/kelp/KELPResultFactory";
constexpr const char* kBlockLocationsSignature =
    "(I[Ljava/lang/String;[Ljava/lang/String;[J[J[I[I[I[I[ZZ)[Lorg/apache/hadoop/fs/BlockLocation;";
constexpr const char* kStatusesSignature =
    "([Ljava/lang/String;[J[Z[I[J[J[J[S[Ljava/lang/String;[I[I[I[I[I"
    "[Ljava/lang/String;[Ljava/lang/String;[J[J[I[I[I[I[ZZ)"
    "[Lorg/apache/hadoop/fs/LocatedFileStatus;";

std::atomic<const ResultFactory*> gFactory{nullptr};

template <typename Array, typename T>
Array region(JNIEnv* env, const std::vector<T>& v, Array (JNIEnv::*make)(jsize),
             void (JNIEnv::*set)(Array, jsize, jsize, const T*)) {
  if (env->ExceptionCheck()) return nullptr;
  Array a = (env->*make)(static_cast<jsize>(v.size()));
  if (a != nullptr && !v.empty()) (env->*set)(a, 0, static_cast<jsize>(v.size()), v.data());
  return a;
}

}  // namespace

const ResultFactory* result_factory(JNIEnv* env) {
  if (const ResultFactory* f = gFactory.load(std::memory_order_acquire)) return f;
  MutexLock lock(&JniUtil::m_mutex);
  if (const ResultFactory* f = gFactory.load(std::memory_order_acquire)) return f;
  ScopedLocalRef<jclass> cls(env, env->FindClass(kFactoryClass));
  if (!cls) return nullptr;
  jmethodID blocks = env->GetStaticMethodID(cls.get(), "blockLocations", kBlockLocationsSignature);
  if (blocks == nullptr) return nullptr;
  jmethodID statuses = env->GetStaticMethodID(cls.get(), "statuses", kStatusesSignature);
  if (statuses == nullptr) return nullptr;
  auto global = static_cast<jclass>(env->NewGlobalRef(cls.get()));
  if (global == nullptr) return nullptr;
  // Kept for the life of the process, like every class the library caches.
  auto* f = new ResultFactory{global, blocks, statuses};
  gFactory.store(f, std::memory_order_release);
  return f;
}

jintArray new_int_array(JNIEnv* env, const std::vector<jint>& v) {
  return region(env, v, &JNIEnv::NewIntArray, &JNIEnv::SetIntArrayRegion);
}
jlongArray new_long_array(JNIEnv* env, const std::vector<jlong>& v) {
  return region(env, v, &JNIEnv::NewLongArray, &JNIEnv::SetLongArrayRegion);
}
jshortArray new_short_array(JNIEnv* env, const std::vector<jshort>& v) {
  return region(env, v, &JNIEnv::NewShortArray, &JNIEnv::SetShortArrayRegion);
}
jbooleanArray new_boolean_array(JNIEnv* env, const std::vector<jboolean>& v) {
  return region(env, v, &JNIEnv::NewBooleanArray, &JNIEnv::SetBooleanArrayRegion);
}

jobjectArray new_string_array(JNIEnv* env, const std::vector<const char*>& texts) {
  ScopedLocalRef<jclass> string(env, env->FindClass("java/lang/String"));
  if (!string) return nullptr;
  jobjectArray array = env->NewObjectArray(static_cast<jsize>(texts.size()), string.get(), nullptr);
  if (array == nullptr) return nullptr;
  for (size_t i = 0; i < texts.size(); ++i) {
    if (texts[i] == nullptr) continue;
    jstring s = env->NewStringUTF(texts[i]);
    if (s == nullptr) {
      env->DeleteLocalRef(array);
      return nullptr;
    }
    env->SetObjectArrayElement(array, static_cast<jsize>(i), s);
    env->DeleteLocalRef(s);
  }
  return array;
}

bool make_plan_arrays(JNIEnv* env, const BlockHostsPlan& plan, PlanArrays& out) {
  std::vector<const char*> names, addresses;
  for (const BlockHostsPlan::Host& h : plan.hosts) {
    names.push_back(h.name.c_str());
    addresses.push_back(h.resolves ? h.address.c_str() : nullptr);
  }
  if ((out.hostNames = new_string_array(env, names)) == nullptr) return false;
  if ((out.hostAddresses = new_string_array(env, addresses)) == nullptr) return false;

  return (out.offsets = new_long_array(env, plan.offsets)) != nullptr &&
         (out.lengths = new_long_array(env, plan.lengths)) != nullptr &&
         (out.replicaStart = new_int_array(env, plan.replicaStart)) != nullptr &&
         (out.replicaHosts = new_int_array(env, plan.replicaHosts)) != nullptr &&
         (out.cachedStart = new_int_array(env, plan.cachedStart)) != nullptr &&
         (out.cachedHosts = new_int_array(env, plan.cachedHosts)) != nullptr &&
         (out.cachedLayout = new_boolean_array(env, plan.cachedLayout)) != nullptr;
}

}  // namespace kelp
