#include "status/status_object.h"

#include <algorithm>
#include <atomic>
#include <unordered_map>
#include <vector>

#include "topology/result_factory.h"

namespace kelp {
namespace {

// Whether the classes a status needs are there. The objects are made by
// KELPResultFactory; checking here keeps the designed answer to a class path
// that lacks one: null, and no exception.
std::atomic<bool> g_classes_resolved{false};

bool status_classes(JNIEnv* env) {
  if (g_classes_resolved.load(std::memory_order_acquire)) return true;
  for (const char* name : {"org/apache/hadoop/fs/Path", "org/apache/hadoop/fs/kelp/KELPFsPermission",
                           "org/apache/hadoop/fs/LocatedFileStatus",
                           "org/apache/hadoop/fs/BlockLocation"}) {
    jclass cls = env->FindClass(name);
    if (cls == nullptr) {
      env->ExceptionClear();
      return false;
    }
    env->DeleteLocalRef(cls);
  }
  g_classes_resolved.store(true, std::memory_order_release);
  return true;
}

// The records of one call (one status, or a listing) in the form
// KELPResultFactory.statuses takes them.
class StatusBatch final {
 public:
  void add(const fileStatus* r, const std::string& path) {
    paths_.push_back(r != nullptr ? path.c_str() : nullptr);
    lengths_.push_back(r != nullptr ? r->length : 0);
    dirs_.push_back(r != nullptr && r->isdir ? JNI_TRUE : JNI_FALSE);
    // The replication travels as a 16-bit value, sign-extended.
    replications_.push_back(r != nullptr ? static_cast<int16_t>(r->replication) : 0);
    blockSizes_.push_back(r != nullptr ? r->blocksize : 0);
    mtimes_.push_back(r != nullptr ? r->modification_time : 0);
    atimes_.push_back(r != nullptr ? r->access_time : 0);
    permissions_.push_back(r != nullptr ? static_cast<jshort>(r->permission) : 0);
    owners_.push_back(r != nullptr ? name_index(r->owner) : 0);
    groups_.push_back(r != nullptr ? name_index(r->group) : 0);
    const size_t first = planned_;
    size_t added = 0;
    int count = 0;
    if (r != nullptr && r->blocks.count > 0) {
      count = static_cast<int>(r->blocks.count);
      added = planner_.add(count, r->replication, 0, r->blocks);
    }
    blockCounts_.push_back(std::max(count, 0));
    blockFirst_.push_back(static_cast<jint>(first));
    blockAvailable_.push_back(static_cast<jint>(added));
    planned_ += added;
  }

  // The LocatedFileStatus[] of the batch, or null with an exception pending.
  jobjectArray build(JNIEnv* env, const ResultFactory& factory) {
    BlockHostsPlan plan = planner_.finish();
    bool setCachedHosts = set_cached_hosts_wanted(env, plan);
    if (env->PushLocalFrame(32) != 0) return nullptr;
    // Every argument is made before the call; any the JVM cannot make
    // leaves its exception pending and the call is not made.
    PlanArrays b;
    jobjectArray paths = new_string_array(env, paths_);
    jobjectArray names = paths != nullptr ? new_string_array(env, names_) : nullptr;
    bool blocks = names != nullptr && make_plan_arrays(env, plan, b);
    jlongArray lengths = new_long_array(env, lengths_);
    jbooleanArray dirs = new_boolean_array(env, dirs_);
    jintArray replications = new_int_array(env, replications_);
    jlongArray blockSizes = new_long_array(env, blockSizes_);
    jlongArray mtimes = new_long_array(env, mtimes_);
    jlongArray atimes = new_long_array(env, atimes_);
    jshortArray permissions = new_short_array(env, permissions_);
    jintArray owners = new_int_array(env, owners_);
    jintArray groups = new_int_array(env, groups_);
    jintArray counts = new_int_array(env, blockCounts_);
    jintArray first = new_int_array(env, blockFirst_);
    jintArray available = new_int_array(env, blockAvailable_);
    jobject result = nullptr;
    if (blocks && !env->ExceptionCheck()) {
      result = env->CallStaticObjectMethod(
          factory.cls, factory.statuses, paths, lengths, dirs, replications, blockSizes, mtimes,
          atimes, permissions, names, owners, groups, counts, first, available, b.hostNames,
          b.hostAddresses, b.offsets, b.lengths, b.replicaStart, b.replicaHosts, b.cachedStart,
          b.cachedHosts, b.cachedLayout, setCachedHosts ? JNI_TRUE : JNI_FALSE);
      if (env->ExceptionCheck()) result = nullptr;
    }
    return static_cast<jobjectArray>(env->PopLocalFrame(result));
  }

 private:
  // One Java string per distinct owner or group name of the call.
  jint name_index(const std::string& name) {
    auto it = nameIndex_.find(name);
    if (it != nameIndex_.end()) return it->second;
    auto index = static_cast<jint>(names_.size());
    nameIndex_.emplace(name, index);
    // The key's characters stay put for the batch's life (node-based map).
    names_.push_back(nameIndex_.find(name)->first.c_str());
    return index;
  }

  std::vector<const char*> paths_;
  std::vector<jlong> lengths_, blockSizes_, mtimes_, atimes_;
  std::vector<jboolean> dirs_;
  std::vector<jint> replications_, owners_, groups_, blockCounts_, blockFirst_, blockAvailable_;
  std::vector<jshort> permissions_;
  std::unordered_map<std::string, jint> nameIndex_;
  std::vector<const char*> names_;
  BlockPlanner planner_;
  size_t planned_ = 0;
};

// The factory, or null: a class path without it answers like one without
// the status classes, null with no exception.
const ResultFactory* factory_or_clear(JNIEnv* env) {
  const ResultFactory* f = result_factory(env);
  if (f == nullptr) env->ExceptionClear();
  return f;
}

}  // namespace

jobject build_object(JNIEnv* env, std::unique_ptr<fileStatus> record, const std::string& path) {
  if (!record || !status_classes(env)) return nullptr;
  const ResultFactory* factory = factory_or_clear(env);
  if (factory == nullptr) return nullptr;
  StatusBatch batch;
  batch.add(record.get(), path);
  jobjectArray one = batch.build(env, *factory);
  if (one == nullptr) return nullptr;
  jobject status = env->GetObjectArrayElement(one, 0);
  env->DeleteLocalRef(one);
  return status;
}

jobjectArray status_array(JNIEnv* env, Listing& listing) {
  if (!status_classes(env)) return nullptr;
  const ResultFactory* factory = factory_or_clear(env);
  if (factory == nullptr) return nullptr;
  StatusBatch batch;
  size_t slot = 0;
  for (; slot < listing.completed.size() && slot < listing.entries; ++slot) {
    const queueElement& e = *listing.completed[slot];
    batch.add(e.result.get(), e.path);
  }
  static const std::string none;
  for (; slot < listing.entries; ++slot) batch.add(nullptr, none);
  return batch.build(env, *factory);
}

}  // namespace kelp
