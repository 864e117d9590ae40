#include "platform/Clocks.h"

#include "platform/OS.h"

double Qv::now() { return OS()->getClock()->now_ms(); }

uint32_t service_get_msecs() { return static_cast<uint32_t>(static_cast<uint64_t>(Qv::now())); }

double service_get_msecs_precise() { return Qv::now(); }
