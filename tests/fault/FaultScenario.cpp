#include "tests/fault/FaultScenario.h"

namespace {

using Trial = FaultTrial;

constexpr uint32_t kRead = 1;
constexpr uint32_t kWrite = 2;
constexpr uint32_t kBlock = 8192;
constexpr uint32_t kMerged = 1 << 20;
constexpr uint32_t kFile = 10 * kBlock + 100;
constexpr uint32_t kStaged = 50001;  // three of them are more than is held

void nothing(Trial&) {}
void end(Trial& t) { t.end(); }
void withFile(Trial& t) { t.put("a", kFile); }
void withServedFile(Trial& t) { t.put("mem:a", kFile); }
void withShortFile(Trial& t) { t.put("w", 1001); }

void readAgain(Trial& t) {
  t.read("a", kBlock, kBlock);
  t.wait();
}
void writeAgain(Trial& t) {
  t.write("w", 4096);
  t.write("w", 333);
  t.write("w", 512, {.synchronous = true});
  t.wait();
}

void openForReading(Trial& t) { t.open("a", kRead); }
void openForWriting(Trial& t) { t.open("w", kWrite); }

void readOne(Trial& t) {
  t.open("a", kRead);
  t.read("a", 100, kBlock);
  t.wait();
}
void readAcrossTheEnd(Trial& t) {
  t.open("a", kRead);
  t.read("a", kFile - 1000, 4096);
  t.wait();
}
void readDeferred(Trial& t) {
  FsysSetImmediateRequestHandling(false);
  t.open("a", kRead);
  for (unsigned i = 0; i < 2; ++i) t.read("a", i * 4 * kBlock, kBlock, {.deferrable = true});
  t.wait();
}
void readMerged(Trial& t) {
  FsysSetImmediateRequestHandling(false);
  t.open("a", kRead, kMerged);
  for (unsigned i = 0; i < 4; ++i) t.read("a", i * kBlock, kBlock, {.deferrable = true});
  t.wait();
}
void readSeveral(Trial& t) {
  t.open("a", kRead);
  for (unsigned i = 0; i < 4; ++i) t.read("a", i * kBlock, kBlock);
  t.wait();
}
void readFromCache(Trial& t) {
  t.open("a", kRead);
  t.read("a", 0, 4 * kBlock);
  t.wait();
  t.read("a", 1000, kBlock);
  t.wait();
}
void readAndCloseInTheCallback(Trial& t) {
  t.open("a", kRead);
  t.read("a", 0, kBlock, {.closes = true});
  t.wait();
}

void writeStraight(Trial& t) {
  t.open("w", kWrite);
  for (unsigned i = 0; i < 3; ++i) t.write("w", kBlock);
  t.wait();
}
void writeSynchronously(Trial& t) {
  t.open("w", kWrite);
  for (unsigned i = 0; i < 2; ++i) t.write("w", kBlock, {.synchronous = true});
  t.wait();
}
void writeMerged(Trial& t) {
  FsysSetImmediateRequestHandling(false);
  t.open("w", kWrite, kMerged);
  t.writePieces("w", kBlock, 4);
  t.wait();
}
void writeHeld(Trial& t) {
  t.open("w", kWrite);
  for (unsigned i = 0; i < 3; ++i) t.write("w", 1000);
  t.wait();
}
void writeStaged(Trial& t) {
  t.open("w", kWrite);
  for (unsigned i = 0; i < 4; ++i) t.write("w", kStaged);
  t.wait();
}
void writeUnalignedByOne(Trial& t) {
  t.open("w", kWrite);
  t.write("w", 1);
  for (unsigned i = 0; i < 3; ++i) t.write("w", 65536);
  t.wait();
}
void writeMoreThanIsHeld(Trial& t) {
  t.open("w", kWrite);
  t.write("w", 600001);
  t.wait();
}
void transferNow(Trial& t) {
  t.open("w", kRead | kWrite);
  t.write("w", 700);
  t.writeNow("w", 4096);
  t.seek("w", 0);
  t.readNow("w", 512);
  t.seek("w", 4096 + 700);
  t.write("w", 300);
  t.seek("w", 4096 + 700 + 300);
}

void closeWhileReading(Trial& t) {
  t.open("a", kRead);
  for (unsigned i = 0; i < 4; ++i) t.read("a", i * kBlock, kBlock);
  t.closeAll();
}
void closeWhileWriting(Trial& t) {
  t.open("w", kWrite);
  for (unsigned i = 0; i < 4; ++i) t.write("w", kBlock);
  t.write("w", 77);
  t.closeAll();
}
void endWithThingsOutstanding(Trial& t) {
  t.open("a", kRead);
  t.open("w", kWrite);
  for (unsigned i = 0; i < 3; ++i) t.read("a", i * kBlock, kBlock);
  for (unsigned i = 0; i < 3; ++i) t.write("w", kBlock);
  t.write("w", 77);
  t.end();
}

void readServed(Trial& t) {
  t.open("mem:a", kRead);
  for (unsigned i = 0; i < 3; ++i) t.read("mem:a", i * kBlock, kBlock);
  t.wait();
}
void readServedAgain(Trial& t) {
  t.read("mem:a", kBlock, kBlock);
  t.wait();
}
void writeServed(Trial& t) {
  t.open("mem:w", kWrite);
  for (unsigned i = 0; i < 3; ++i) t.write("mem:w", kStaged);
  t.wait();
}
void writeServedAgain(Trial& t) {
  t.write("mem:w", 1000);
  t.wait();
}

}  // namespace

const std::vector<FaultScenario>& faultScenarios() {
  static const std::vector<FaultScenario> all = {
      {"StartAndEnd", nothing, end, nothing},
      {"OpenForReading", withFile, openForReading, readAgain},
      {"OpenForWriting", nothing, openForWriting, writeAgain},
      {"OpenToContinue", withShortFile, openForWriting, writeAgain},
      {"ReadOne", withFile, readOne, readAgain},
      {"ReadAcrossTheEnd", withFile, readAcrossTheEnd, readAgain},
      {"ReadMerged", withFile, readMerged, readAgain},
      {"ReadDeferred", withFile, readDeferred, readAgain},
      {"ReadSeveral", withFile, readSeveral, readAgain},
      {"ReadFromCache", withFile, readFromCache, readAgain},
      {"ReadAndCloseInTheCallback", withFile, readAndCloseInTheCallback, nothing},
      {"WriteStraight", nothing, writeStraight, writeAgain},
      {"WriteSynchronously", nothing, writeSynchronously, writeAgain},
      {"WriteMerged", nothing, writeMerged, writeAgain},
      {"WriteHeld", nothing, writeHeld, writeAgain},
      {"WriteStaged", nothing, writeStaged, writeAgain},
      {"WriteUnalignedByOne", nothing, writeUnalignedByOne, writeAgain},
      {"WriteMoreThanIsHeld", nothing, writeMoreThanIsHeld, writeAgain},
      {"ContinueStaged", withShortFile, writeStaged, writeAgain},
      {"SeekReadAndWrite", nothing, transferNow, writeAgain},
      {"CloseWhileReading", withFile, closeWhileReading, nothing},
      {"CloseWhileWriting", nothing, closeWhileWriting, nothing},
      {"EndWithThingsOutstanding", withFile, endWithThingsOutstanding, nothing},
      {"ReadServed", withServedFile, readServed, readServedAgain},
      {"WriteServed", nothing, writeServed, writeServedAgain},
  };
  return all;
}
