#include "platform/Check.h"

#include <cstdlib>

#include "platform/Log.h"

bool reportFailedCheck(const char* condition, const char* place) {
  putOut("assertion failed %s at %s\n", condition, place);
  return false;
}

void reportBrokenInvariant(const char* condition, const char* file, int line) {
  Log("broken invariant %s at %s line %d\n", condition, file, line);
#ifdef FSYS_ABORT_ON_INVARIANT
  std::abort();
#endif
}
