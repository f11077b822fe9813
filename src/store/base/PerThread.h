#pragma once

#include <pthread.h>

#include <new>

#include "store/base/psExport.h"

namespace ps::detail {

// An object of each thread, made at its first use and destroyed with the thread. Unlike a thread_local with a
// destructor it needs no memory beside its own: the C library ends the process when it cannot note a destructor down.
// The one of the thread that ends the process is destroyed among the objects of static lifetime. There is one for
// each T.
template <class T>
class PerThread {
 public:
  static T& get() {
    if (PS_UNLIKELY(!isMade)) make();
    return *std::launder(reinterpret_cast<T*>(space));
  }

 private:
  static void make() {
    static const Ends ends;
    ::new (static_cast<void*>(space)) T;
    isMade = true;
    pthread_setspecific(ends.key, space);
  }

  // What calls destroy at the end of a thread, and of the process, where no thread ends.
  struct Ends {
    Ends() { pthread_key_create(&key, &destroy); }
    Ends(const Ends&) = delete;
    Ends& operator=(const Ends&) = delete;
    ~Ends() {
      pthread_key_delete(key);
      if (isMade) destroy(space);
    }

    pthread_key_t key{};
  };

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
