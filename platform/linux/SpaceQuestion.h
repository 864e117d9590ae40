#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "platform/OsThreads.h"

// SpaceQuestion: asks a mount how much space it has.
// Threads    run: one; the answer is read by whoever knows that it has run.
// Units      bytes; what 64 bits do not hold is the most that they do.
class SpaceQuestion final : public iTask {
public:
  // Of that mount, which lies on that folder unless something has changed.
  SpaceQuestion(std::string folder, uint64_t mount) : folder_(std::move(folder)), mount_(mount) {}

  void run() override;

  // 0, or the system's error number: ENOENT when another mount lies there, or none.
  int error() const { return error_; }
  // What may still be written by anybody, and all.
  uint64_t freeBytes() const { return freeBytes_; }
  uint64_t totalBytes() const { return totalBytes_; }

private:
  int ask();

  const std::string folder_;
  const uint64_t mount_;
  int error_ = 0;
  uint64_t freeBytes_ = 0;
  uint64_t totalBytes_ = 0;
};
