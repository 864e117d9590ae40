#pragma once

#include "tests/fault/FaultState.h"

// FaultThreads: the threads of the system below, of which one may be refused.
class FaultThreads final : public iThreads {
public:
  FaultThreads(const Qv::Ptr<FaultState>& state, iOS& inner) : state_(state), inner_(inner) {}

  Qv::Ptr<iThreadEvent> createEvent(int a, int b, int c) override;
  void sleep(uint32_t ms) override { inner_.getThreads()->sleep(ms); }
  void yield() override { inner_.getThreads()->yield(); }
  Qv::Ptr<iTaskQueue> createTaskQueue(const char* name, unsigned threads) override;
  uint32_t create(unsigned (*entry)(void*), const char* name, void* argument) override;
  void kill(uint32_t id) override { inner_.getThreads()->kill(id); }

private:
  bool isRefused(FaultCall call);

  Qv::Ptr<FaultState> state_;
  iOS& inner_;
};
