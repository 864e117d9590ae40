#pragma once

#include <cstdint>
#include <string>

struct FakeTransfer;

// FakeMove: bytes that have just moved.
struct FakeMove {
  uint64_t transfer;  // its number; 0: the caller waited for it
  void* request;      // who is told as soon as the watcher returns; null: nobody
  bool write;
  const std::wstring& path;
  uint64_t offset;
  uint32_t bytes;
  const unsigned char* buffer;
  uint32_t done;   // bytes of them that moved
  uint32_t error;  // 0: it went well
};

// FakeTransferWatcher: a test's eye on every transfer of the fake, and its hand on when they end.
// Threads    one; endOne is called inside waits, which nest.
class FakeTransferWatcher {
public:
  // A transfer was taken: the last one that is pending.
  virtual void started(const FakeTransfer& transfer) = 0;
  // Bytes moved, or did not because of an error; with a transfer's end, or while a caller waited.
  virtual void moved(const FakeMove& move) = 0;
  // In a wait: ends one pending transfer, as it likes; false when none ends now.
  virtual bool endOne() = 0;

protected:
  ~FakeTransferWatcher() = default;
};
