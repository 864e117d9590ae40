#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

// HeldFileServer: answers for the file system of HeldFileSystem, in a process of its own.
// Threads    one.
class HeldFileServer {
public:
  // `holdsAll`: holds whatever is asked of it, not only reads.
  HeldFileServer(int device, int line, bool holdsAll)
      : device_(device), line_(line), holdsAll_(holdsAll) {}

  // Returns when the file system is unmounted or the test has gone.
  void serve();

private:
  bool takeMessage();
  void letGo();
  void answer(const char* message);
  void answerOrHold(size_t bytes);
  void answerInit(uint64_t id);
  void answerEntry(uint64_t id, const char* name);
  void answerAttributes(uint64_t id, uint64_t node);
  void answerOpen(uint64_t id);
  void answerRead(uint64_t id, uint64_t offset, uint32_t bytes);
  bool isToBeHeld(uint32_t opcode) const;
  void reply(uint64_t id, int error, const void* body, size_t bytes);

  const int device_;
  const int line_;
  const bool holdsAll_;
  std::vector<char> message_;
  std::vector<std::vector<char>> held_;
  bool holds_ = true;
};
