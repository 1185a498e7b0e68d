#pragma once

#include <cstddef>

#if defined(__GLIBC__)
#include <pthread.h>

/// While it lives no thread can be made: each would get a stack beyond any address space.
class NoThreads {
 public:
  NoThreads() {
    pthread_getattr_default_np(&former_);
    pthread_attr_t impossible;
    pthread_attr_init(&impossible);
    pthread_attr_setstacksize(&impossible, std::size_t{1} << 47);
    pthread_setattr_default_np(&impossible);
    pthread_attr_destroy(&impossible);
  }
  ~NoThreads() {
    pthread_setattr_default_np(&former_);
    pthread_attr_destroy(&former_);
  }

 private:
  pthread_attr_t former_;
};
#endif
