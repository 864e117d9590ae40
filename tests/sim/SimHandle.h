#pragma once

#include <cstdint>
#include <vector>

#include "fsys/FsysFile.h"
#include "platform/fake/FakeDrive.h"
#include "tests/sim/SimReel.h"
#include "tests/sim/WriteStream.h"

// SimPlace: a path, and the bytes that the model says are on its disk.
struct SimPlace {
  LightweightString<wchar_t> path;
  LightweightString<wchar_t> prefix;  // of its drive
  FakeDrive drive;
  bool hasVolume = false;  // transfers are judged on their speed
  std::vector<unsigned char> disk;
};

// SimMove: a transfer that has ended, as its callers may be told about it.
struct SimMove {
  bool write;
  uint64_t offset;
  uint32_t bytes;
  uint32_t done;
  uint32_t error;
  uint64_t requestOffset;  // from where the callers' shares of `done` are counted
  uint64_t moment;
  bool tooSlow;
  bool speedKnown;                  // not of one that a task made
  mutable bool isTold;              // to its first caller
  std::vector<unsigned char> seen;  // what a read found; zeros where it found nothing
};

// SimHandle: one open file of the engine.
struct SimHandle {
  enum eState { eOpen, eClosing, eClosed, eLeft };  // eLeft: its engine ended and left it open

  unsigned number = 0;
  SimPlace* place = nullptr;
  FsysFile* file = nullptr;  // gone before the state says so while the engine ends
  uint32_t sectorSize = 0;   // of the file
  bool writing = false;
  bool async = false;
  bool attached = false;  // its completions come by themselves; otherwise tasks transfer
  eState state = eOpen;
  bool cacheDisabled = false;
  bool readsNothing = false;   // some of its reads ask for no bytes
  bool wholeSectors = false;   // it is written in whole sectors alone
  uint32_t longestMerge = 0;   // its largest coalesce length, ever
  unsigned refusedBefore = 0;  // starts of writes, when its close began
  unsigned writesInside = 0;   // calls of DirectWrite on the stack
  uint64_t lastOffset = 0;     // of the last read
  uint32_t lastLength = 0;
  WriteStream stream;
  Qv::Ptr<SimReel> reel;
  std::vector<SimMove> moves;

  bool isAlive() const { return state == eOpen || state == eClosing; }
};
