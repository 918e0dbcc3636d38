// A process mutex of the recursive kind and its scoped lock.
#ifndef KELP_JNI_MUTEX_H
#define KELP_JNI_MUTEX_H

#include <pthread.h>

namespace kelp {

// Initialises |m| as a recursive mutex (attribute made, typed, used, destroyed).
void init_recursive_mutex(pthread_mutex_t* m);

// Holds |m| for the lifetime of the object.
class MutexLock final {
 public:
  explicit MutexLock(pthread_mutex_t* m) : m_(m) { pthread_mutex_lock(m_); }
  ~MutexLock() { pthread_mutex_unlock(m_); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  pthread_mutex_t* m_;
};

}  // namespace kelp

#endif  // KELP_JNI_MUTEX_H
