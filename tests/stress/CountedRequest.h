#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <string>

#include "fsys/Fsys.h"
#include "fsys/FsysFile.h"
#include "tests/support/Pattern.h"
#include "tests/support/TestHolder.h"

// Tally: what was asked for and what was told, over many requests and threads.
struct Tally {
  std::atomic<uint64_t> accepted{0};
  std::atomic<uint64_t> answered{0};  // requests, each once
  std::atomic<uint64_t> failed{0};    // of those
  std::atomic<uint64_t> again{0};     // answers to who had one
  std::atomic<uint64_t> wrong{0};     // untrue answers, and answers to who was refused

  // Empty when everybody has had one answer, and a true one.
  std::string whyNotSettled() const {
    if (accepted == answered && again == 0 && wrong == 0) return "";
    return std::to_string(answered) + " of " + std::to_string(accepted) + " answered, " +
           std::to_string(again) + " again, " + std::to_string(wrong) + " wrong";
  }
};

// CountedRequest: one request of pattern bytes, which counts its answers. The context of it.
// Story      Made, and asked once by read() or write(). A tally counts it.
// Threads    asked by one; told on any.
class CountedRequest final : public iObject {
public:
  CountedRequest(Tally& tally, uint64_t offset, uint32_t bytes)
      : tally_(tally), offset_(offset), bytes_(bytes) {}

  // Set-up. The answer closes this file.
  void closeWhenTold(FsysFile* file) { closes_ = file; }

  // Whether it was taken.
  bool read(FsysFile* file, bool deferrable) {
    Qv::Ptr<iObject> context(this);
    return note(
        file->DirectRead(static_cast<long>(offset_), bytes_, deferrable, &toldRead, context));
  }
  bool write(FsysFile* file, bool deferrable, bool synchronous) {
    Qv::Ptr<iObject> context(this);
    Qv::Ptr<iMemHolder> data = TestHolder::ofPattern(bytes_, offset_);
    return note(file->DirectWrite(data, deferrable, &toldWrite, context, synchronous));
  }

  uint64_t offset() const { return offset_; }
  uint32_t bytes() const { return bytes_; }
  bool hasAnswer() const { return answers_ > 0; }
  bool hasSucceeded() const { return succeeded_; }

private:
  static void toldRead(Qv::Ptr<iObject>& context, Qv::Ptr<iMemHolder>& data, RequestStatus status) {
    auto& request = static_cast<CountedRequest&>(*context);
    request.told(status, status == eRequestSucceeded ? request.holds(data) : !data);
  }
  static void toldWrite(Qv::Ptr<iObject>& context, Qv::Ptr<iMemHolder>& data,
                        RequestStatus status) {
    static_cast<CountedRequest&>(*context).told(status, status == eRequestSucceeded || !data);
  }

  // The ends tell whose bytes they are.
  bool holds(const Qv::Ptr<iMemHolder>& data) const {
    if (!data || data->getSize() != bytes_) return false;
    uint32_t looked = std::min(bytes_, 64u);
    return whyNotPattern(data->getBuffer(), looked, offset_).empty() &&
           whyNotPattern(data->getBuffer() + bytes_ - looked, looked, offset_ + bytes_ - looked)
               .empty();
  }

  void told(RequestStatus status, bool isTrue) {
    if (!isTrue || refused_) ++tally_.wrong;
    if (status == eRequestSucceeded)
      succeeded_ = true;
    else
      ++tally_.failed;
    if (closes_ && FsysClose(closes_, nullptr) != 1) ++tally_.wrong;
    // Last: who sees the answer may end the tally.
    if (answers_.fetch_add(1) == 0)
      ++tally_.answered;
    else
      ++tally_.again;
  }

  bool note(uint32_t result) {
    if (result == 1) {
      ++tally_.accepted;
      return true;
    }
    refused_ = true;
    if (hasAnswer()) ++tally_.wrong;
    return false;
  }

  Tally& tally_;
  uint64_t offset_;
  uint32_t bytes_;
  FsysFile* closes_ = nullptr;
  std::atomic<unsigned> answers_{0};
  std::atomic<bool> succeeded_{false};
  std::atomic<bool> refused_{false};
};
