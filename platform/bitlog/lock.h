// A pthread mutex held for the length of a block; std::mutex would need the C++ runtime.
#pragma once

#include <pthread.h>

namespace bitlog {

class lock {
  public:
    explicit lock(pthread_mutex_t &mutex) : mutex_(mutex) { pthread_mutex_lock(&mutex_); }
    ~lock() { pthread_mutex_unlock(&mutex_); }
    lock(const lock &) = delete;
    lock &operator=(const lock &) = delete;

  private:
    pthread_mutex_t &mutex_;
};

}  // namespace bitlog
