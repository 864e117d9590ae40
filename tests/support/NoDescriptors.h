#pragma once

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

// NoDescriptors: while it lives this process can open nothing (EMFILE), and has what it has open.
class NoDescriptors {
public:
  enum eLeft { eNone, eOne };

  // eOne: one descriptor can still be opened. Then no other thread may open or close any.
  explicit NoDescriptors(eLeft left = eNone) {
    getrlimit(RLIMIT_NOFILE, &before_);
    // The first one is in use; with none at all no descriptor could be waited for either.
    rlimit most = {1, before_.rlim_max};
    if (left == eOne) most.rlim_cur = lowestFree() + 1;
    setrlimit(RLIMIT_NOFILE, &most);
  }
  ~NoDescriptors() { setrlimit(RLIMIT_NOFILE, &before_); }
  NoDescriptors(const NoDescriptors&) = delete;
  NoDescriptors& operator=(const NoDescriptors&) = delete;

private:
  static rlim_t lowestFree() {
    int lowest = fcntl(0, F_DUPFD_CLOEXEC, 0);
    close(lowest);
    return static_cast<rlim_t>(lowest);
  }

  rlimit before_ = {};
};
