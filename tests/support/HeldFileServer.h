#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/HeldFileSystem.h"

struct fuse_attr;

// HeldFileServer: answers for the file system of HeldFileSystem, in a process of its own.
// Threads    one.
class HeldFileServer {
public:
  // What the test says: an order, how much space there is, or to let everything go.
  struct Message {
    enum eKind : uint32_t { eOrder, eSpace, eLetGo };
    eKind kind = eLetGo;
    HeldFileSystem::Order order = {};
    HeldFileSystem::Space space = {};
  };

  HeldFileServer(int device, int line, HeldFileSystem::eHolds holds);

  // Returns when the file system is unmounted or the test has gone.
  void serve();

private:
  struct File {
    const char* name;
    std::vector<unsigned char> content;
  };

  File* fileOf(uint64_t node);
  fuse_attr attributesOf(uint64_t node);
  bool takeLine();
  bool takeMessage();
  void letGo();
  void answer(const char* message);
  void answerOrHold(size_t bytes);
  void answerInit(uint64_t id);
  void answerEntry(uint64_t id, const std::string& name);
  void answerAttributes(uint64_t id, uint64_t node);
  void answerOpen(uint64_t id);
  void answerRead(uint64_t id, File& file, uint64_t offset, uint32_t bytes);
  void answerWrite(uint64_t id, File& file, uint64_t offset, const char* from, uint32_t bytes);
  void answerSpace(uint64_t id);
  bool isToBeHeld(uint32_t opcode) const;
  // Null when no order is for the request.
  HeldFileSystem::Order* orderFor(const char* message);
  void reply(uint64_t id, int error, const void* body, size_t bytes);

  const int device_;
  const int line_;
  HeldFileSystem::eHolds holds_;
  HeldFileSystem::Space space_;
  std::array<File, 2> files_;
  std::vector<HeldFileSystem::Order> orders_;
  std::vector<char> message_;
  std::vector<std::vector<char>> held_;
};
