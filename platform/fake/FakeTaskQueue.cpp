#include "platform/fake/FakeTaskQueue.h"

#include "platform/fake/FakeThreads.h"

FakeTaskQueue::FakeTaskQueue(FakeThreads& threads, const char* name, unsigned count)
    : threads_(threads) {
  threads_.addQueue(this, name ? name : "", count);
}

FakeTaskQueue::~FakeTaskQueue() { threads_.removeQueue(this); }

bool FakeTaskQueue::post(const Qv::Ptr<iTask>& task) { return threads_.post(this, task); }
