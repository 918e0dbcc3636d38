// The Java form of status records: org.apache.hadoop.fs.LocatedFileStatus
// objects, built on the Java thread that called in, by the Java half's
// KELPResultFactory in one call per status or listing (with one host table,
// each host resolved once, for all the block locations of the call).
#ifndef KELP_STATUS_STATUS_OBJECT_H
#define KELP_STATUS_STATUS_OBJECT_H

#include <jni.h>

#include <memory>
#include <string>

#include "status/file_status.h"
#include "status/listing.h"

namespace kelp {

// A new LocatedFileStatus (a local reference) for |record| of |path|, with a
// KELPFsPermission and the record's block locations; null for a null record
// and when a Java class, constructor or allocation fails (an exception may
// then be pending). Consumes the record. Leaves no other local reference.
jobject build_object(JNIEnv* env, std::unique_ptr<fileStatus> record, const std::string& path);

// A LocatedFileStatus[] of |listing.entries| slots holding the completed
// entries in order of completion; an entry without a record is a null slot.
// Null when the array cannot be made.
jobjectArray status_array(JNIEnv* env, Listing& listing);

}  // namespace kelp

#endif  // KELP_STATUS_STATUS_OBJECT_H
