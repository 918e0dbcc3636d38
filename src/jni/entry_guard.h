// Keeps C++ exceptions (an allocation failure while copying a string, say)
// from leaving a JNI entry point: the JVM cannot unwind them.
#ifndef KELP_JNI_ENTRY_GUARD_H
#define KELP_JNI_ENTRY_GUARD_H

#include <utility>

namespace kelp {

// Runs |body| and returns its result, or |failure| when it threw.
template <typename R, typename F>
R guarded(R failure, F&& body) noexcept {
  try {
    return std::forward<F>(body)();
  } catch (...) {
    return failure;
  }
}

}  // namespace kelp

#endif  // KELP_JNI_ENTRY_GUARD_H
