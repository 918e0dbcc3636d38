// Pieces shared by the namespace entry points: turning results into Java
// values and building java.io.FileDescriptor objects.
#ifndef KELP_FSOPS_NAMESPACE_COMMON_JNI_H
#define KELP_FSOPS_NAMESPACE_COMMON_JNI_H

#include <jni.h>

#include "channel/payload.h"
#include "channel/request.h"
#include "jni/scoped.h"

namespace kelp {

// The three ways the entry points build a java.io.FileDescriptor. Each is
// kept because Java code has come to rely on the objects as they are.
enum class FdObject {
  kIntConstructor,  // open: the cached (I)V constructor
  kCachedField,     // create, append: the cached ()V constructor, then the "fd" field
  kLookedUp,        // the "As" methods: the class looked up afresh, ()V, then "fd"
};

// Wraps |fd| in a new java.io.FileDescriptor. Null for a negative |fd| and
// when the class, constructor or field is missing; the descriptor is then
// closed if |owned| (it came from an open or from the daemon).
jobject file_descriptor_object(JNIEnv* env, FdObject how, int fd, bool owned = true);

// The descriptor of a create answered by the daemon ('c', 'C'): received
// after the byte 1, otherwise the byte itself taken as a descriptor number
// (negative: the failure). -1 when no reply came. |owned| tells whether the
// descriptor was received.
int create_reply_fd(const DescriptorReply& reply, bool& owned);

// A Java boolean sent in a request: 1 only for exactly JNI_TRUE.
inline int wire_bool(jboolean b) { return b == 1 ? 1 : 0; }

// A one-byte request whose reply byte is the boolean result, passed on as it
// stands; false when the exchange failed.
jboolean remote_bool(int connection, char type, const Payload& request);

// A Java string argument for an operation where a null user or group means
// "not given".
inline const char* or_null(const JavaString& s) { return s.present() ? s.c_str() : nullptr; }

}  // namespace kelp

#endif  // KELP_FSOPS_NAMESPACE_COMMON_JNI_H
