#include "tools/fsys/demo/DemoFigures.h"

void DemoFigures::add(const DemoFigures& other) {
  bytes += other.bytes;
  pictures += other.pictures;
  late += other.late;
  cacheHits += other.cacheHits;
  checkedBytes += other.checkedBytes;
  checking_ms += other.checking_ms;
  latency.add(other.latency);
}
