#include "jni/mutex.h"

namespace kelp {

void init_recursive_mutex(pthread_mutex_t* m) {
  pthread_mutexattr_t attr;
  pthread_mutexattr_init(&attr);
  pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(m, &attr);
  pthread_mutexattr_destroy(&attr);
}

}  // namespace kelp
