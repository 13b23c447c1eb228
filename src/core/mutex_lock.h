// A mutex held for the length of a scope.
#pragma once

#include <pthread.h>

namespace vorel {

class MutexLock {
  public:
    explicit MutexLock(pthread_mutex_t *mutex) : mutex_(mutex) { pthread_mutex_lock(mutex); }
    ~MutexLock() { pthread_mutex_unlock(mutex_); }
    MutexLock(const MutexLock &) = delete;
    MutexLock &operator=(const MutexLock &) = delete;

  private:
    pthread_mutex_t *mutex_;
};

}  // namespace vorel
