#include "tests/sim/SimQuestion.h"

#include "tests/sim/Simulation.h"

void SimQuestion::told(Qv::Ptr<iObject>& context, Qv::Ptr<iMemHolder>& data, RequestStatus status) {
  auto& question = static_cast<SimQuestion&>(*context);
  question.simulation_.told(question, data, status);
}
