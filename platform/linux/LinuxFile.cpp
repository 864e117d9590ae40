#include "platform/linux/LinuxFile.h"

#include <sys/stat.h>
#include <unistd.h>

#include "platform/Log.h"
#include "platform/linux/LinuxCompletionPort.h"
#include "platform/linux/LinuxFailure.h"
#include "platform/linux/PositionalTransfer.h"

void LinuxFile::close() {
  Qv::Ptr<OpenDescriptors> last;
  {
    MutexLock lock(lock_);
    last.swap(descriptors_);
  }
  if (!last) return;
  // Without the lock: the system may take its time.
  Qv::Ptr<SlowClose> closing = last->closing();
  last.reset();
  if (closing && !closing->wait())
    Log("A file was not closed in time; the system goes on with it\n");
}

Qv::Ptr<OpenDescriptors> LinuxFile::opened() const {
  MutexLock lock(lock_);
  return descriptors_;
}

Qv::Ptr<TransferPort> LinuxFile::attachedPort() const {
  MutexLock lock(lock_);
  return port_;
}

bool LinuxFile::usesDirect() const {
  Qv::Ptr<OpenDescriptors> descriptors = opened();
  return descriptors && descriptors->usesDirect();
}

uint32_t LinuxFile::size(uint64_t& bytes) const {
  bytes = 0;
  Qv::Ptr<OpenDescriptors> descriptors = opened();
  if (!descriptors) return failWith(eOsInvalid);
  struct stat status;
  if (fstat(descriptors->cached(), &status) != 0) return failWithErrno(errno);
  bytes = static_cast<uint64_t>(status.st_size);
  return 1;
}

uint64_t LinuxFile::getSize() const {
  uint64_t bytes = 0;
  size(bytes);
  return bytes;
}

uint32_t LinuxFile::getInfo(FILE_INFO* info) const {
  if (!info) return failWith(eOsInvalid);
  return size(info->writePosition);
}

uint32_t LinuxFile::transferAt(FileTransfer::eDirection direction, uint64_t offset, void* buffer,
                               uint32_t bytes, uint32_t* done, bool behind) {
  if (done) *done = 0;
  Qv::Ptr<OpenDescriptors> descriptors = opened();
  if (!descriptors) return failWith(eOsInvalid);
  if (uint32_t error = FileTransfer::check(direction, *descriptors, offset, buffer, bytes))
    return failWith(error);
  FileTransfer transfer(direction, descriptors.get(), offset, buffer, bytes);
  if (behind) transfer.goThroughCache();
  carryOut(transfer);
  if (behind) behind_.wrote(descriptors->cached(), offset, transfer.done());
  if (done) *done = transfer.done();
  return transfer.error() == 0 ? 1 : failWithErrno(transfer.error());
}

uint32_t LinuxFile::readAt(uint64_t offset, void* buffer, uint32_t bytes, uint32_t* done) {
  return transferAt(FileTransfer::eRead, offset, buffer, bytes, done);
}

uint32_t LinuxFile::writeAt(uint64_t offset, const void* buffer, uint32_t bytes, uint32_t* done) {
  return transferAt(FileTransfer::eWrite, offset, const_cast<void*>(buffer), bytes, done);
}

uint32_t LinuxFile::writeBehind(uint64_t offset, const void* buffer, uint32_t bytes,
                                uint32_t* done) {
  return transferAt(FileTransfer::eWrite, offset, const_cast<void*>(buffer), bytes, done, true);
}

uint32_t LinuxFile::settle() {
  Qv::Ptr<OpenDescriptors> descriptors = opened();
  if (!descriptors) return failWith(eOsInvalid);
  int error = behind_.settle(descriptors->cached());
  return error == 0 ? 1 : failWithErrno(error);
}

uint32_t LinuxFile::flush() {
  Qv::Ptr<OpenDescriptors> descriptors = opened();
  if (!descriptors) return failWith(eOsInvalid);
  while (fsync(descriptors->cached()) != 0)
    if (errno != EINTR) return failWithErrno(errno);
  return 1;
}

uint32_t LinuxFile::read(void* buffer, uint32_t bytes, uint32_t* done) {
  uint32_t moved = 0;
  uint32_t result = readAt(position_, buffer, bytes, &moved);
  position_ += moved;
  if (done) *done = moved;
  return result;
}

uint32_t LinuxFile::write(const void* buffer, uint32_t bytes, uint32_t* done) {
  uint32_t moved = 0;
  uint32_t result = writeAt(position_, buffer, bytes, &moved);
  position_ += moved;
  if (done) *done = moved;
  return result;
}

uint32_t LinuxFile::attach(CompletionPortHandler* handler) {
  if (!handler || !isOpen()) return failWith(eOsInvalid);
  if (!(capabilities_ & eAsyncTransfers)) return failWith(eOsNotSupported);
  auto* port = dynamic_cast<LinuxCompletionPort*>(handler->port());
  if (!port) return failWith(eOsNotSupported);
  MutexLock lock(lock_);
  if (port_) return failWith(eOsInvalid);
  port_ = port->transfers();
  return 1;
}

uint32_t LinuxFile::start(FileTransfer::eDirection direction, const Qv::Ptr<iAsyncContext>& context,
                          const AsyncTransfer& transfer) {
  Qv::Ptr<OpenDescriptors> descriptors = opened();
  Qv::Ptr<TransferPort> port = attachedPort();
  if (!port) return failWith(eOsNotSupported);
  if (!descriptors || !context || !transfer.request) return failWith(eOsInvalid);
  if (uint32_t error = FileTransfer::check(direction, *descriptors, transfer.offset,
                                           transfer.buffer, transfer.bytes))
    return failWith(error);
  AsyncOperation* operation = nullptr;
  try {
    operation = new AsyncOperation(direction, descriptors, context, transfer);
  } catch (const std::bad_alloc&) {
    return failWith(eOsNoMemory);
  }
  context->setLink(transfer.request);
  uint32_t result = port->start(operation);
  if (result == 1) return 1;
  context->takeLink();
  delete operation;
  return failWith(result);
}

uint32_t LinuxFile::startRead(const Qv::Ptr<iAsyncContext>& context,
                              const AsyncTransfer& transfer) {
  return start(FileTransfer::eRead, context, transfer);
}

uint32_t LinuxFile::startWrite(const Qv::Ptr<iAsyncContext>& context,
                               const AsyncTransfer& transfer) {
  return start(FileTransfer::eWrite, context, transfer);
}
