#include "tools/fsys/demo/DemoClock.h"

#include <time.h>

double threadCpu_ms() {
  timespec used{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
  return static_cast<double>(used.tv_sec) * 1e3 + static_cast<double>(used.tv_nsec) * 1e-6;
}
