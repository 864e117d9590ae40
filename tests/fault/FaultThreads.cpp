#include "tests/fault/FaultThreads.h"

#include "tests/fault/FaultTaskQueue.h"

bool FaultThreads::isRefused(FaultCall call) {
  uint32_t error = state_->points().next(call).error;
  if (error != 0) failFault(error);
  return error != 0;
}

Qv::Ptr<iThreadEvent> FaultThreads::createEvent(int a, int b, int c) {
  if (isRefused(FaultCall::eCreateEvent)) return {};
  return inner_.getThreads()->createEvent(a, b, c);
}

Qv::Ptr<iTaskQueue> FaultThreads::createTaskQueue(const char* name, unsigned threads) {
  if (isRefused(FaultCall::eCreateTaskQueue)) return {};
  Qv::Ptr<iTaskQueue> inner = inner_.getThreads()->createTaskQueue(name, threads);
  FaultPause own;
  return inner ? Qv::Ptr<iTaskQueue>(new FaultTaskQueue(state_, inner)) : inner;
}

uint32_t FaultThreads::create(unsigned (*entry)(void*), const char* name, void* argument) {
  if (isRefused(FaultCall::eCreateThread)) return 0;
  return inner_.getThreads()->create(entry, name, argument);
}
