#include "tests/support/HeldFileServer.h"

#include <linux/fuse.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "tests/support/Pattern.h"

namespace {

using Order = HeldFileSystem::Order;

constexpr uint64_t kFirstNode = 2;  // of the files
constexpr size_t kMessageBytes = 1 << 20;
constexpr uint32_t kLargestWrite = 128 * 1024;

template <typename T>
T bodyOf(const char* message) {
  T body;
  std::memcpy(&body, message + sizeof(fuse_in_header), sizeof(body));
  return body;
}

// Where a transfer begins; what is none begins at 0.
uint64_t beginOf(const char* message, uint32_t opcode) {
  if (opcode == FUSE_READ) return bodyOf<fuse_read_in>(message).offset;
  return opcode == FUSE_WRITE ? bodyOf<fuse_write_in>(message).offset : 0;
}

bool isFor(const Order& order, uint32_t opcode) {
  switch (order.what) {
    case HeldFileSystem::eRead:
      return opcode == FUSE_READ;
    case HeldFileSystem::eWrite:
      return opcode == FUSE_WRITE;
    case HeldFileSystem::eFlush:
      return opcode == FUSE_FLUSH;
    case HeldFileSystem::eSync:
      return opcode == FUSE_FSYNC;
    case HeldFileSystem::eAskSpace:
      return opcode == FUSE_STATFS;
    default:
      return true;
  }
}

}  // namespace

HeldFileServer::HeldFileServer(int device, int line, HeldFileSystem::eHolds holds)
    : device_(device),
      line_(line),
      holds_(holds),
      files_{File{"held", patternBytes(HeldFileSystem::kFileBytes)}, File{"empty", {}}} {}

// Null for the folder.
HeldFileServer::File* HeldFileServer::fileOf(uint64_t node) {
  bool isFile = node >= kFirstNode && node < kFirstNode + files_.size();
  return isFile ? &files_[node - kFirstNode] : nullptr;
}

fuse_attr HeldFileServer::attributesOf(uint64_t node) {
  const File* file = fileOf(node);
  fuse_attr attributes = {};
  attributes.ino = node;
  attributes.mode = file ? S_IFREG | 0644 : S_IFDIR | 0755;
  attributes.size = file ? file->content.size() : 0;
  attributes.nlink = 1;
  return attributes;
}

// What the test has said comes before what it has asked the system for since.
void HeldFileServer::serve() {
  message_.resize(kMessageBytes);
  for (;;) {
    std::array<pollfd, 2> sources = {pollfd{device_, POLLIN, 0}, pollfd{line_, POLLIN, 0}};
    if (poll(sources.data(), sources.size(), -1) < 0) return;
    if (sources[1].revents != 0) {
      if (!takeLine()) return;
      continue;
    }
    if (sources[0].revents != 0 && !takeMessage()) return;
  }
}

bool HeldFileServer::takeLine() {
  Message said;
  if (recv(line_, &said, sizeof(said), MSG_WAITALL) != sizeof(said)) return false;
  if (said.kind == Message::eLetGo) letGo();
  if (said.kind == Message::eOrder) orders_.push_back(said.order);
  if (said.kind == Message::eSpace) space_ = said.space;
  return true;
}

bool HeldFileServer::takeMessage() {
  ssize_t bytes = read(device_, message_.data(), message_.size());
  if (bytes > 0) answerOrHold(static_cast<size_t>(bytes));
  return bytes > 0 || errno == EINTR || errno == ENOENT || errno == EAGAIN;
}

void HeldFileServer::letGo() {
  holds_ = HeldFileSystem::eNothing;
  orders_.clear();
  for (const std::vector<char>& message : held_) answer(message.data());
  held_.clear();
}

// Not what mounting takes, nor what nobody waits for.
bool HeldFileServer::isToBeHeld(uint32_t opcode) const {
  if (opcode == FUSE_INIT || opcode == FUSE_INTERRUPT) return false;
  if (opcode == FUSE_FORGET || opcode == FUSE_BATCH_FORGET) return false;
  return holds_ == HeldFileSystem::eEverything ||
         (holds_ == HeldFileSystem::eReads && opcode == FUSE_READ);
}

Order* HeldFileServer::orderFor(const char* message) {
  fuse_in_header header;
  std::memcpy(&header, message, sizeof(header));
  uint64_t begin = beginOf(message, header.opcode);
  for (Order& order : orders_) {
    if (order.times == 0 || !isFor(order, header.opcode)) continue;
    if (begin >= order.from && begin < order.to) return &order;
  }
  return nullptr;
}

void HeldFileServer::answerOrHold(size_t bytes) {
  fuse_in_header header;
  std::memcpy(&header, message_.data(), sizeof(header));
  Order* order = orderFor(message_.data());
  if (order) --order->times;
  if (order && order->how == HeldFileSystem::eFail)
    return reply(header.unique, -static_cast<int>(order->value), nullptr, 0);
  if (order && order->how == HeldFileSystem::eShorten) {
    // The size stands at one place in both kinds of transfer.
    static_assert(offsetof(fuse_read_in, size) == offsetof(fuse_write_in, size));
    char* place = message_.data() + sizeof(header) + offsetof(fuse_read_in, size);
    uint32_t size = std::min(order->value, bodyOf<fuse_read_in>(message_.data()).size);
    std::memcpy(place, &size, sizeof(size));
    return answer(message_.data());
  }
  if (!order && !isToBeHeld(header.opcode)) return answer(message_.data());
  held_.emplace_back(message_.begin(), message_.begin() + static_cast<ptrdiff_t>(bytes));
  [[maybe_unused]] ssize_t told = write(line_, "h", 1);
}

void HeldFileServer::answer(const char* message) {
  fuse_in_header header;
  std::memcpy(&header, message, sizeof(header));
  File* file = fileOf(header.nodeid);
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
      return answerRead(header.unique, *file, read.offset, read.size);
    }
    case FUSE_WRITE: {
      auto write = bodyOf<fuse_write_in>(message);
      const char* from = message + sizeof(header) + sizeof(write);
      return answerWrite(header.unique, *file, write.offset, from, write.size);
    }
    case FUSE_STATFS:
      return answerSpace(header.unique);
    case FUSE_FLUSH:
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
  out.flags = FUSE_BIG_WRITES;
  out.max_write = kLargestWrite;
  out.max_background = 64;
  reply(id, 0, &out, sizeof(out));
}

void HeldFileServer::answerEntry(uint64_t id, const std::string& name) {
  uint64_t node = kFirstNode;
  while (fileOf(node) && fileOf(node)->name != name) ++node;
  if (!fileOf(node)) return reply(id, -ENOENT, nullptr, 0);
  fuse_entry_out out = {};
  out.nodeid = node;
  out.attr = attributesOf(node);
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

void HeldFileServer::answerSpace(uint64_t id) {
  fuse_statfs_out out = {};
  out.st.blocks = space_.blocks;
  out.st.bfree = out.st.bavail = space_.available;
  out.st.bsize = out.st.frsize = space_.blockBytes;
  reply(id, 0, &out, sizeof(out));
}

void HeldFileServer::answerRead(uint64_t id, File& file, uint64_t offset, uint32_t bytes) {
  uint64_t end = std::min<uint64_t>(offset + bytes, file.content.size());
  const unsigned char* from = offset < end ? file.content.data() + offset : nullptr;
  reply(id, 0, from, from ? end - offset : 0);
}

void HeldFileServer::answerWrite(uint64_t id, File& file, uint64_t offset, const char* from,
                                 uint32_t bytes) {
  if (file.content.size() < offset + bytes) file.content.resize(offset + bytes);
  std::memcpy(file.content.data() + offset, from, bytes);
  fuse_write_out out = {};
  out.size = bytes;
  reply(id, 0, &out, sizeof(out));
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
