#pragma once

#include <pthread.h>

#include <new>

#include "store/base/psExport.h"

namespace ps::detail {

// An object of each thread, made at its first use and destroyed with the thread. Unlike a thread_local with a
// destructor it needs no memory beside its own: the C library ends the process when it cannot note a destructor down.
// The main thread's object stays. There is one for each T.
template <class T>
class PerThread {
 public:
  static T& get() {
    if (PS_UNLIKELY(!isMade)) make();
    return *std::launder(reinterpret_cast<T*>(space));
  }

 private:
  static void make() {
    static const pthread_key_t key = [] {
      pthread_key_t made{};
      pthread_key_create(&made, &destroy);
      return made;
    }();
    ::new (static_cast<void*>(space)) T;
    isMade = true;
    pthread_setspecific(key, space);
  }

  static void destroy(void*) {
    isMade = false;
    std::launder(reinterpret_cast<T*>(space))->~T();
  }

  alignas(T) static thread_local unsigned char space[sizeof(T)];
  static thread_local bool isMade;
};

template <class T>
alignas(T) thread_local unsigned char PerThread<T>::space[sizeof(T)];
template <class T>
thread_local bool PerThread<T>::isMade = false;

}  // namespace ps::detail
