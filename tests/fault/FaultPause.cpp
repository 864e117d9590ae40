#include "tests/fault/FaultPause.h"

namespace {

// Local to this file: the sanitizers mistake an access to another file's for one through null.
thread_local int depth = 0;

}  // namespace

FaultPause::FaultPause() { ++depth; }
FaultPause::~FaultPause() { --depth; }
bool FaultPause::active() { return depth > 0; }

FaultWatch::FaultWatch() : depth_(depth) { depth = 0; }
FaultWatch::~FaultWatch() { depth = depth_; }
