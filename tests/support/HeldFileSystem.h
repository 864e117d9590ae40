#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>

// HeldFileSystem: a mounted file system of one file, "held", whose reads, or all that is asked of
// it, wait until the test lets them go: a share that does not answer, at will. The file's bytes are
// those of Pattern.h.
// Story      Mounted by the constructor where that is allowed; a process of its own answers, so
//            that a test which is killed leaves nobody waiting. The destructor lets everything go
//            and unmounts.
// Threads    one.
class HeldFileSystem {
public:
  static constexpr uint64_t kFileBytes = 1 << 20;

  enum eHolds { eReads, eEverything };

  // `kind` is the name under which the system lists it.
  explicit HeldFileSystem(const std::string& folder, eHolds holds = eReads,
                          const char* kind = "fuse");
  ~HeldFileSystem();
  HeldFileSystem(const HeldFileSystem&) = delete;
  HeldFileSystem& operator=(const HeldFileSystem&) = delete;

  bool isMounted() const { return server_ > 0; }
  // Returns when that many reads have been held since the beginning.
  void waitUntilHeld(size_t reads);
  // Answers what is held, and from now on everything at once.
  void letGo();

private:
  std::string folder_;
  pid_t server_ = 0;
  int line_ = -1;  // to the server: a byte from it for each held read, a byte to it to let go
  size_t held_ = 0;
};
