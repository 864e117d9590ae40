#include "tests/fault/EnginePlay.h"

#include "platform/OS.h"

namespace {

// The next operations, without a fault: a file is written and read back.
void recover(FaultTrial& trial) {
  if (!trial.start()) return;
  trial.open("recovery", 2);
  trial.write("recovery", 4096);
  trial.write("recovery", 100);
  trial.wait();
  trial.close("recovery");
  trial.open("recovery", 1);
  trial.read("recovery", 0, 4196);
  trial.wait();
  trial.close("recovery");
}

}  // namespace

FaultPlayed EnginePlay::play(FaultLayer& layer, const Fault& fault, eUntil until) {
  FaultPlayed played;
  OsAtomics::store(FsysError, 1u);
  FaultTrial trial(layer, folder_);
  scenario_.prepare(trial);
  if (fault.cutShort) trial.allowReadsThatEndEarly();
  layer.points().arm(fault);
  if (trial.start()) scenario_.act(trial);
  if (until == eOperation) {
    trial.calm();
    scenario_.again(trial);
  }
  trial.closeAll();
  played.note(layer.points());
  trial.calm();
  recover(trial);
  trial.end();
  played.wrong = trial.findings();
  return played;
}
