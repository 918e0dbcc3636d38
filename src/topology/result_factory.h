// Handing the library's answers to Java in bulk. The values of a block map
// (or of a whole listing) are worked out natively; the Java half's
// KELPResultFactory then makes the many small objects in one call, where
// compiled Java makes them far faster than one JNI call per object would.
#ifndef KELP_TOPOLOGY_RESULT_FACTORY_H
#define KELP_TOPOLOGY_RESULT_FACTORY_H

#include <jni.h>

#include <vector>

#include "topology/block_locations.h"

namespace kelp {

// org.apache.hadoop.fs.kelp.KELPResultFactory and its two methods, resolved
// once per process (global reference). Null, with the JVM's exception
// pending, when the class cannot be loaded.
struct ResultFactory {
  jclass cls;
  jmethodID blockLocations;
  jmethodID statuses;
};
const ResultFactory* result_factory(JNIEnv* env);

// The block arrays of a plan, as KELPResultFactory takes them: the host
// table, then per block its offset, length, replicas, cached hosts and
// whether it was read with cache nodes. Local references of the caller's
// frame.
struct PlanArrays {
  jobjectArray hostNames = nullptr;
  jobjectArray hostAddresses = nullptr;
  jlongArray offsets = nullptr;
  jlongArray lengths = nullptr;
  jintArray replicaStart = nullptr;
  jintArray replicaHosts = nullptr;
  jintArray cachedStart = nullptr;
  jintArray cachedHosts = nullptr;
  jbooleanArray cachedLayout = nullptr;
};

// Primitive arrays holding |values|, or null with an exception pending (also
// when one is pending already, so a run of them can be checked once).
jintArray new_int_array(JNIEnv* env, const std::vector<jint>& values);
jlongArray new_long_array(JNIEnv* env, const std::vector<jlong>& values);
jshortArray new_short_array(JNIEnv* env, const std::vector<jshort>& values);
jbooleanArray new_boolean_array(JNIEnv* env, const std::vector<jboolean>& values);

// A String[] of |texts| (modified UTF-8; a null text gives a null element),
// or null with an exception pending.
jobjectArray new_string_array(JNIEnv* env, const std::vector<const char*>& texts);

// Fills |out| from |plan|. False, with an exception pending, when the JVM
// could not make an array or a string.
bool make_plan_arrays(JNIEnv* env, const BlockHostsPlan& plan, PlanArrays& out);

}  // namespace kelp

#endif  // KELP_TOPOLOGY_RESULT_FACTORY_H
