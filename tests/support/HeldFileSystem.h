#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>

// HeldFileSystem: a mounted file system of two files that answers as the test wants it to: at once,
// late, never, with an error, or with a part of what was asked for. The file "held" has the bytes
// of Pattern.h, and "empty" none; what is written to them stays.
// Story      Mounted by the constructor where that is allowed; a process of its own answers, so
//            that a test which is killed leaves nobody waiting. It speaks to the kernel itself, and
//            not through a library: that would answer for it what the test is to answer. What waits
//            is answered when the test lets it go. The destructor lets everything go and unmounts.
// Threads    one.
class HeldFileSystem {
public:
  static constexpr uint64_t kFileBytes = 1 << 20;

  // What waits until it is let go, unless an order says otherwise.
  enum eHolds { eNothing, eReads, eEverything };
  enum eWhat : uint32_t { eRead, eWrite, eFlush, eSync, eAskSpace, eAnything };
  enum eHow : uint32_t { eHold, eFail, eShorten };

  // How the next requests of a kind are answered that begin in [from, to) of their file: they wait,
  // they fail with the error number `value`, or they move only so many bytes. What is no transfer
  // begins at 0.
  struct Order {
    eWhat what;
    eHow how;
    uint64_t from = 0;
    uint64_t to = UINT64_MAX;
    uint32_t value = 0;
    uint32_t times = UINT32_MAX;
  };

  // What it says of its space.
  struct Space {
    uint64_t blocks = 0;
    uint64_t available = 0;
    uint32_t blockBytes = 0;
  };

  // `kind` and `source` are what the system lists it as.
  explicit HeldFileSystem(const std::string& folder, eHolds holds = eReads,
                          const char* kind = "fuse", const char* source = "held");
  ~HeldFileSystem();
  HeldFileSystem(const HeldFileSystem&) = delete;
  HeldFileSystem& operator=(const HeldFileSystem&) = delete;

  bool isMounted() const { return server_ > 0; }
  // Holds for every request that is made from now on. The first order that fits one counts.
  void order(const Order& order);
  void setSpace(const Space& space);
  // Returns when that many requests have been held since the beginning.
  void waitUntilHeld(size_t requests);
  // Answers what is held, and from now on everything at once and as it should.
  void letGo();

private:
  std::string folder_;
  pid_t server_ = 0;
  int line_ = -1;  // to the server: a byte from it for each held request, a message to it
  size_t held_ = 0;
};
