#include "tests/support/HeldFileServer.h"

#include <linux/fuse.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "tests/support/HeldFileSystem.h"
#include "tests/support/Pattern.h"

namespace {

constexpr uint64_t kFileNode = 2;
constexpr size_t kMessageBytes = 1 << 20;

fuse_attr attributesOf(uint64_t node) {
  fuse_attr attributes = {};
  attributes.ino = node;
  attributes.mode = node == kFileNode ? S_IFREG | 0644 : S_IFDIR | 0755;
  attributes.size = node == kFileNode ? HeldFileSystem::kFileBytes : 0;
  attributes.nlink = 1;
  return attributes;
}

template <typename T>
T bodyOf(const char* message) {
  T body;
  std::memcpy(&body, message + sizeof(fuse_in_header), sizeof(body));
  return body;
}

}  // namespace

void HeldFileServer::serve() {
  message_.resize(kMessageBytes);
  for (;;) {
    std::array<pollfd, 2> sources = {pollfd{device_, POLLIN, 0}, pollfd{line_, POLLIN, 0}};
    if (poll(sources.data(), sources.size(), -1) < 0) return;
    if (sources[1].revents != 0) {
      char byte = 0;
      if (read(line_, &byte, 1) != 1) return;
      letGo();
    }
    if (sources[0].revents != 0 && !takeMessage()) return;
  }
}

bool HeldFileServer::takeMessage() {
  ssize_t bytes = read(device_, message_.data(), message_.size());
  if (bytes > 0) answerOrHold(static_cast<size_t>(bytes));
  return bytes > 0 || errno == EINTR || errno == ENOENT || errno == EAGAIN;
}

void HeldFileServer::letGo() {
  holds_ = false;
  for (const std::vector<char>& message : held_) answer(message.data());
  held_.clear();
}

// Not what mounting takes, nor what nobody waits for.
bool HeldFileServer::isToBeHeld(uint32_t opcode) const {
  if (!holds_ || opcode == FUSE_INIT || opcode == FUSE_INTERRUPT) return false;
  if (opcode == FUSE_FORGET || opcode == FUSE_BATCH_FORGET) return false;
  return holdsAll_ || opcode == FUSE_READ;
}

void HeldFileServer::answerOrHold(size_t bytes) {
  fuse_in_header header;
  std::memcpy(&header, message_.data(), sizeof(header));
  if (!isToBeHeld(header.opcode)) return answer(message_.data());
  held_.emplace_back(message_.begin(), message_.begin() + static_cast<ptrdiff_t>(bytes));
  [[maybe_unused]] ssize_t told = write(line_, "h", 1);
}

void HeldFileServer::answer(const char* message) {
  fuse_in_header header;
  std::memcpy(&header, message, sizeof(header));
  switch (header.opcode) {
    case FUSE_INIT:
      return answerInit(header.unique);
    case FUSE_LOOKUP:
      return answerEntry(header.unique, message + sizeof(header));
    case FUSE_GETATTR:
      return answerAttributes(header.unique, header.nodeid);
    case FUSE_OPEN:
      return answerOpen(header.unique);
    case FUSE_READ: {
      auto read = bodyOf<fuse_read_in>(message);
      return answerRead(header.unique, read.offset, read.size);
    }
    case FUSE_RELEASE:
      return reply(header.unique, 0, nullptr, 0);
    case FUSE_FORGET:
    case FUSE_BATCH_FORGET:
    case FUSE_INTERRUPT:
      return;
    default:
      return reply(header.unique, -ENOSYS, nullptr, 0);
  }
}

void HeldFileServer::answerInit(uint64_t id) {
  fuse_init_out out = {};
  out.major = FUSE_KERNEL_VERSION;
  out.minor = 31;
  out.max_write = 128 * 1024;
  out.max_background = 64;
  reply(id, 0, &out, sizeof(out));
}

void HeldFileServer::answerEntry(uint64_t id, const char* name) {
  fuse_entry_out out = {};
  if (std::strcmp(name, "held") != 0) return reply(id, -ENOENT, nullptr, 0);
  out.nodeid = kFileNode;
  out.attr = attributesOf(kFileNode);
  out.attr_valid = out.entry_valid = 3600;
  reply(id, 0, &out, sizeof(out));
}

void HeldFileServer::answerAttributes(uint64_t id, uint64_t node) {
  fuse_attr_out out = {};
  out.attr = attributesOf(node);
  out.attr_valid = 3600;
  reply(id, 0, &out, sizeof(out));
}

void HeldFileServer::answerOpen(uint64_t id) {
  fuse_open_out out = {};
  out.open_flags = FOPEN_DIRECT_IO;
  reply(id, 0, &out, sizeof(out));
}

void HeldFileServer::answerRead(uint64_t id, uint64_t offset, uint32_t bytes) {
  uint64_t end = std::min(offset + bytes, HeldFileSystem::kFileBytes);
  std::vector<unsigned char> content;
  if (offset < end) content = patternBytes(end - offset, offset);
  reply(id, 0, content.data(), content.size());
}

void HeldFileServer::reply(uint64_t id, int error, const void* body, size_t bytes) {
  fuse_out_header header = {};
  header.unique = id;
  header.error = error;
  header.len = static_cast<uint32_t>(sizeof(header) + bytes);
  std::array<iovec, 2> parts = {iovec{&header, sizeof(header)},
                                iovec{const_cast<void*>(body), bytes}};
  [[maybe_unused]] ssize_t written = writev(device_, parts.data(), bytes != 0 ? 2 : 1);
}
