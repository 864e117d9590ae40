#pragma once

#include <cstdint>
#include <string>

#include "fsys/CompletionInfo.h"

class FaultTrial;
class FsysFile;

// FaultHow: how a request is to be made.
struct FaultHow {
  bool deferrable = false;
  bool synchronous = false;
  bool closes = false;  // the callback closes the file
};

// FaultAsked: one thing that was asked of a file, and what was answered. It is the context of the
// request's callback.
class FaultAsked final : public iObject {
public:
  FaultAsked(FaultTrial& owner, const std::string& file, bool isWrite, uint64_t at, uint32_t size)
      : trial(owner), name(file), write(isWrite), offset(at), bytes(size) {}

  FaultTrial& trial;
  const std::string name;
  const bool write;
  const uint64_t offset;
  const uint32_t bytes;
  FsysFile* closes = nullptr;  // the callback closes it
  bool mustSucceed = false;
  bool staged = false;         // goes through the write cache, and may be told before it is written
  bool mayStayUntold = false;  // a write that tips the cache of a file without asynchronous ones

  // Guarded by the trial's lock.
  bool accepted = false;
  bool closed = false;  // by its callback
  int told = 0;
  RequestStatus status = eRequestFailed;
};
