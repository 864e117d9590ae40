#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "fsys/Fsys.h"
#include "fsys/FsysFile.h"
#include "fuzz/InputBytes.h"
#include "platform/fake/FakeOSScope.h"
#include "tests/support/TestDiagnostics.h"

class Question;

// EngineDriver: an engine on the fake, driven by a list of operations.
// Story      Each operation of the input opens, reads, writes, closes, lets a poller pass, or lets
//            a transfer end well, badly or not at all. At the end every file is closed and the
//            engine ends. Then every request that was accepted must have been answered once, no
//            other at all; a read must have given the file's bytes, with zeros behind its end; a
//            file must hold what was written to it; and nothing is left of memory and open files.
// Threads    one, like everything in the fake.
class EngineDriver {
public:
  explicit EngineDriver(InputBytes input);
  ~EngineDriver();
  EngineDriver(const EngineDriver&) = delete;
  EngineDriver& operator=(const EngineDriver&) = delete;

  void run();

private:
  friend class Question;

  // A name, what its file holds as far as that is known, and the file while it is open.
  struct Place {
    LightweightString<wchar_t> path;
    std::vector<unsigned char> content;
    bool known = true;     // false: a write was lost on purpose, nobody knows what is there
    bool writing = false;  // the file is open for writing
    bool leaving = false;  // a callback asked for the close: not used any more
    FsysFile* file = nullptr;
  };
  static constexpr uint32_t kPlaces = 4;
  static constexpr size_t kMostOperations = 200;

  void step();
  void open(Place& place);
  void close(Place& place);
  void read(Place& place);
  void write(Place& place);
  void endTransfer();
  void plan();
  void finishAll();
  Place& anyPlace() { return places_[input_.below(kPlaces)]; }
  uint64_t anyOffset(const Place& place);
  uint32_t anyReadLength();
  uint32_t anyWriteLength();
  void loseWrites();

  // For questions that are answered.
  void checkBytes(const Place& place, uint64_t offset, const iMemHolder& data, uint32_t length);
  void askAgain(Place& place, uint64_t offset, uint32_t length);
  void closeFromCallback(Place& place);

  InputBytes input_;
  FakeOSScope os_;
  TestDiagnostics texts_;
  std::array<Place, kPlaces> places_;
  std::vector<Qv::Ptr<Question>> questions_;
  bool held_;             // transfers end by an operation, and not while somebody waits
  bool planned_ = false;  // a fault is armed
};
