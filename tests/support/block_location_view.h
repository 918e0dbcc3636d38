// Shared by the block-location tests: the BlockLocation[] that
// nGetFileBlockLocations returns, read back into plain values, sparse files
// of a given size, and the block-map requests the simulated library saw.
#ifndef KELP_TESTS_SUPPORT_BLOCK_LOCATION_VIEW_H
#define KELP_TESTS_SUPPORT_BLOCK_LOCATION_VIEW_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <jni.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "org_apache_hadoop_fs_kelp_KelpFileSystem.h"
#include "support/jvm.h"
#include "support/sandbox.h"

namespace kelptest {

constexpr int64_t kMiB = int64_t{1} << 20;

using Strings = std::vector<std::string>;

// One BlockLocation as plain values; a null name reads "<null>".
struct Location {
  Strings names;
  Strings hosts;
  Strings cached;  // empty when not asked for
  int64_t offset = -1;
  int64_t length = -1;
};

inline Strings strings_of(jobjectArray array) {
  JNIEnv* env = kelptest::jvm_env();
  Strings out;
  if (array == nullptr) return {"<null array>"};
  for (jsize i = 0; i < env->GetArrayLength(array); ++i) {
    auto s = static_cast<jstring>(env->GetObjectArrayElement(array, i));
    out.push_back(kelptest::to_std(s));
    if (s != nullptr) env->DeleteLocalRef(s);
  }
  return out;
}

// Calls a getter of |obj| (no arguments) with |call|; a Java exception
// fails the running test.
template <typename R, typename Call>
R call_getter(jobject obj, const char* getter, const char* signature, Call call) {
  JNIEnv* env = kelptest::jvm_env();
  jclass cls = env->GetObjectClass(obj);
  jmethodID method = env->GetMethodID(cls, getter, signature);
  env->DeleteLocalRef(cls);
  R value = call(env, method);
  EXPECT_EQ(kelptest::take_exception(), "") << getter;
  return value;
}

inline int64_t long_of(jobject obj, const char* getter) {
  return call_getter<jlong>(obj, getter, "()J", [&](JNIEnv* env, jmethodID m) {
    return env->CallLongMethod(obj, m);
  });
}

inline Strings strings_of(jobject obj, const char* getter) {
  auto array = call_getter<jobjectArray>(obj, getter, "()[Ljava/lang/String;",
      [&](JNIEnv* env, jmethodID m) { return static_cast<jobjectArray>(env->CallObjectMethod(obj, m)); });
  Strings out = strings_of(array);
  if (array != nullptr) kelptest::jvm_env()->DeleteLocalRef(array);
  return out;
}

// A BlockLocation read through its getters, cached hosts only when
// |withCached| (the stand-in of an older Hadoop has no getCachedHosts).
inline Location location_of(jobject loc, bool withCached = true) {
  Location l;
  if (loc == nullptr) return l;
  l.names = strings_of(loc, "getNames");
  l.hosts = strings_of(loc, "getHosts");
  if (withCached) l.cached = strings_of(loc, "getCachedHosts");
  l.offset = long_of(loc, "getOffset");
  l.length = long_of(loc, "getLength");
  return l;
}

// Element |i| of |array|.
inline Location location_at(jobjectArray array, jsize i, bool withCached = true) {
  JNIEnv* env = kelptest::jvm_env();
  jobject loc = env->GetObjectArrayElement(array, i);
  Location l = location_of(loc, withCached);
  if (loc != nullptr) env->DeleteLocalRef(loc);
  return l;
}

inline std::vector<Location> locations_of(jobjectArray array, bool withCached = true) {
  std::vector<Location> out;
  if (array == nullptr) return out;
  for (jsize i = 0; i < kelptest::jvm_env()->GetArrayLength(array); ++i) {
    out.push_back(location_at(array, i, withCached));
  }
  return out;
}

// nGetFileBlockLocations on |conn|.
inline jobjectArray query(int conn, const std::string& path, int64_t start, int64_t len,
                          int64_t blockSize = 4 * kMiB) {
  JNIEnv* env = kelptest::jvm_env();
  jstring jpath = kelptest::jstr(path);
  jobjectArray result = Java_org_apache_hadoop_fs_kelp_KelpFileSystem_nGetFileBlockLocations(
      env, kelptest::kelp_fs(), conn, jpath, start, len, blockSize);
  env->DeleteLocalRef(jpath);
  return result;
}

// A sparse file of |size| bytes.
inline void make_file(const std::string& path, int64_t size) {
  int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  ASSERT_GE(fd, 0) << path;
  ASSERT_EQ(::ftruncate(fd, size), 0) << path;
  ::close(fd);
}

// The hosts of the default scenario's nodes: name and "ip:0".
inline std::string node(int n) { return "kelpnode" + std::to_string(n); }
inline std::string address(int n) { return "127.0.1.1" + std::to_string(n) + ":0"; }

// A block-map request as the simulated library received it.
struct MapRequest {
  uint32_t type = 0;
  int64_t start = 0;
  int64_t length = 0;
};

inline std::vector<MapRequest> map_requests(const std::string& path) {
  std::vector<MapRequest> out;
  for (const kelpsim::Record& r : kelptest::sim_records("fcntl", path)) {
    if (r.bytes.size() < 48) continue;
    MapRequest m;
    std::memcpy(&m.type, r.bytes.data() + 20, 4);
    std::memcpy(&m.start, r.bytes.data() + 24, 8);
    std::memcpy(&m.length, r.bytes.data() + 40, 8);
    if (m.type == 3005 || m.type == 3006) out.push_back(m);
  }
  return out;
}

inline std::vector<uint32_t> types_of(const std::vector<MapRequest>& requests) {
  std::vector<uint32_t> out;
  for (const MapRequest& m : requests) out.push_back(m.type);
  return out;
}

}  // namespace kelptest

#endif  // KELP_TESTS_SUPPORT_BLOCK_LOCATION_VIEW_H
