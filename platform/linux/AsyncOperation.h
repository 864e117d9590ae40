#pragma once

#include "platform/OsAsyncIo.h"
#include "platform/QvLockFree.h"
#include "platform/linux/FileTransfer.h"

// AsyncOperation: one transfer in flight, with everything that the system may still touch.
// Story      Made when a transfer is started, handed through the port's queue to whoever carries
//            it out, and destroyed when it has ended, on the way to the command.
// Threads    one at a time; whoever hands it on makes what it wrote visible to the next.
// Ownership  holds the descriptors, the context and the buffer's keeper.
class AsyncOperation : public Qv::PooledObject<AsyncOperation> {
public:
  AsyncOperation(FileTransfer::eDirection direction, const Qv::Ptr<OpenDescriptors>& descriptors,
                 const Qv::Ptr<iAsyncContext>& context, const AsyncTransfer& transfer)
      : transfer_(direction, descriptors.get(), transfer.offset, transfer.buffer, transfer.bytes),
        descriptors_(descriptors),
        context_(context),
        keep_(transfer.keep) {}

  FileTransfer& transfer() { return transfer_; }
  iAsyncContext& context() { return *context_; }
  bool startingWaits() const { return descriptors_->startingWaits(); }
  bool needsThread() const { return descriptors_->ringsMisplace(); }

private:
  friend class OperationQueue;

  FileTransfer transfer_;
  Qv::Ptr<OpenDescriptors> descriptors_;
  Qv::Ptr<iAsyncContext> context_;
  Qv::Ptr<iObject> keep_;
  AsyncOperation* next_ = nullptr;
};

// OperationQueue: operations in the order in which they came. It owns none and allocates nothing.
// Threads    one at a time.
class OperationQueue {
public:
  OperationQueue() = default;
  OperationQueue(const OperationQueue&) = delete;
  OperationQueue& operator=(const OperationQueue&) = delete;

  bool empty() const { return first_ == nullptr; }
  // Null when it is empty.
  AsyncOperation* first() const { return first_; }
  void push(AsyncOperation* operation) {
    operation->next_ = nullptr;
    *end_ = operation;
    end_ = &operation->next_;
  }
  // Null when it is empty.
  AsyncOperation* pop() {
    AsyncOperation* operation = first_;
    if (!operation) return nullptr;
    first_ = operation->next_;
    if (!first_) end_ = &first_;
    return operation;
  }
  void moveTo(OperationQueue& other) {
    while (AsyncOperation* operation = pop()) other.push(operation);
  }

private:
  AsyncOperation* first_ = nullptr;
  AsyncOperation** end_ = &first_;
};
