// Debug log. Off unless the environment variable KELPHADOOP_DEBUG is set to a
// value other than "" or "0" when the library loads; then each message goes
// to standard error as one line prefixed "kelphadoopmap[pid]: ". Logging never
// changes a result and leaves errno as it found it.
#ifndef KELP_JNI_LOGGING_H
#define KELP_JNI_LOGGING_H

extern "C" {
// The debug switch, exported for the host to inspect or set.
extern bool _isDebugEnabled;
}

namespace kelp {

// Writes a printf-style message when debugging is on.
void debug_log(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace kelp

#endif  // KELP_JNI_LOGGING_H
