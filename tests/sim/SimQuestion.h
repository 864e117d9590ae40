#pragma once

#include <memory>

#include "fsys/CompletionInfo.h"
#include "tests/sim/SimHandle.h"

class Simulation;

// SimQuestion: one request that was asked of the engine: the context of its callback.
class SimQuestion final : public iObject {
public:
  enum eThen { eNothing, eReadOn, eWriteOn, eClose, eKeepData };
  enum eExpects {
    eAnswer,        // later, or at once from the read cache
    eAnswerAtOnce,  // before the call returns: absorbed by the write cache
    eNoAnswer,      // accepted and never called back
  };
  enum eState { eAsking, eAccepted, eRefused };
  // What had gone wrong when it was asked: what came later may be the cause of a failure.
  struct Before {
    uint64_t moment = 0;
    size_t records = 0;  // of the fake's transfers
    size_t sleeps = 0;
    unsigned contexts = 0, tasks = 0, queues = 0, regions = 0;
  };

  SimQuestion(Simulation& simulation, unsigned& live) : simulation_(simulation), live_(live) {
    ++live_;
  }
  ~SimQuestion() override { --live_; }

  static void told(Qv::Ptr<iObject>& context, Qv::Ptr<iMemHolder>& data, RequestStatus status);

  unsigned number = 0;
  std::shared_ptr<SimHandle> handle;
  bool reading = false;
  uint64_t offset = 0;
  uint32_t length = 0;
  Qv::Ptr<iMemHolder> data;  // of a write, until it was answered
  eExpects expects = eAnswer;
  eThen then = eNothing;
  eState state = eAsking;
  Before before;
  unsigned answers = 0;

private:
  Simulation& simulation_;
  unsigned& live_;
};
