#pragma once

#include <sys/resource.h>

// NoDescriptors: while it lives this process can open nothing (EMFILE), and has what it has open.
class NoDescriptors {
public:
  NoDescriptors() {
    getrlimit(RLIMIT_NOFILE, &before_);
    // The first one is in use; with none at all no descriptor could be waited for either.
    rlimit none = {1, before_.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
  }
  ~NoDescriptors() { setrlimit(RLIMIT_NOFILE, &before_); }
  NoDescriptors(const NoDescriptors&) = delete;
  NoDescriptors& operator=(const NoDescriptors&) = delete;

private:
  rlimit before_ = {};
};
