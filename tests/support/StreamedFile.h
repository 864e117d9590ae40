#pragma once

#include <algorithm>
#include <cstdint>
#include <string>

#include "fsys/Fsys.h"
#include "fsys/FsysFile.h"
#include "tests/support/Pattern.h"
#include "tests/support/Recorder.h"
#include "tests/support/TestHolder.h"

// Writes pattern bytes [from, to) to a file through the engine, in pieces of `block` bytes, and
// closes it. True when every piece was taken and told as a success.
inline bool streamOut(const LightweightString<wchar_t>& path, uint64_t from, uint64_t to,
                      uint32_t block) {
  FsysFile* file = nullptr;
  if (FsysOpen(&file, path, 1 << 20, 2, nullptr) != 1) return false;
  Qv::Ptr<Recorder> recorder(new Recorder);
  bool taken = file->GetPosition() == from;
  for (uint64_t at = from; taken && at < to; at += block) {
    Qv::Ptr<iMemHolder> data =
        TestHolder::ofPattern(static_cast<unsigned>(std::min<uint64_t>(block, to - at)), at);
    Qv::Ptr<iObject> context = recorder->context();
    taken = file->DirectWrite(data, false, &Recorder::told, context, false) == 1;
  }
  if (FsysClose(file, nullptr) != 1) return false;
  for (const Recorder::Call& call : recorder->calls())
    taken = taken && call.status == eRequestSucceeded;
  return taken;
}

// Reads [0, size) back in pieces of `block` bytes, eight in flight. Empty when every byte is right.
inline std::string whyNotStreamedBack(const LightweightString<wchar_t>& path, uint64_t size,
                                      uint32_t block) {
  FsysFile* file = nullptr;
  if (FsysOpen(&file, path, 1 << 20, 1, nullptr) != 1) return "cannot be opened";
  Qv::Ptr<Recorder> recorder(new Recorder);
  std::string wrong;
  size_t asked = 0;
  for (uint64_t at = 0; at < size; at += block) {
    Qv::Ptr<iObject> context = recorder->ticket(static_cast<int>(asked));
    auto bytes = static_cast<uint32_t>(std::min<uint64_t>(block, size - at));
    if (file->DirectRead(static_cast<long>(at), bytes, false, &Recorder::told, context) != 1)
      wrong = "a read was not taken";
    ++asked;
    if (asked > 8 && !recorder->waitFor(asked - 8)) wrong = "a read was not answered";
    if (!wrong.empty()) break;
  }
  if (!recorder->waitFor(asked)) wrong = "a read was not answered";
  FsysClose(file, nullptr);
  for (const Recorder::Call& call : recorder->calls()) {
    if (!wrong.empty()) break;
    wrong = call.status == eRequestSucceeded
                ? whyNotPattern(call.bytes, static_cast<uint64_t>(call.ticket) * block)
                : "a read failed";
  }
  return wrong;
}
