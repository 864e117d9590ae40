#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

// HeldFileServer: answers for the file system of HeldFileSystem, in a process of its own.
// Threads    one.
class HeldFileServer {
public:
  HeldFileServer(int device, int line) : device_(device), line_(line) {}

  // Returns when the file system is unmounted or the test has gone.
  void serve();

private:
  struct HeldRead {
    uint64_t id = 0;
    uint64_t offset = 0;
    uint32_t bytes = 0;
  };

  bool takeMessage();
  void letGo();
  void answer(const char* message);
  void answerInit(uint64_t id);
  void answerEntry(uint64_t id, const char* name);
  void answerAttributes(uint64_t id, uint64_t node);
  void answerOpen(uint64_t id);
  void answerRead(const HeldRead& read);
  void holdOrAnswer(const HeldRead& read);
  void reply(uint64_t id, int error, const void* body, size_t bytes);

  const int device_;
  const int line_;
  std::vector<char> message_;
  std::vector<HeldRead> held_;
  bool holds_ = true;
};
