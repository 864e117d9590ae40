#include "tests/sim/AnswerModel.h"

#include <algorithm>
#include <cstring>

#include "fsys/ResultCodes.h"

namespace {

constexpr unsigned kStartTries = 40;

bool covers(uint64_t offset, uint64_t bytes, const SimQuestion& question) {
  return offset <= question.offset && question.offset - offset <= bytes &&
         question.length <= bytes - (question.offset - offset);
}

bool covers(const SimMove& move, const SimQuestion& question) {
  return move.write != question.reading && covers(move.offset, move.bytes, question);
}

bool reachesFirstByte(const SimMove& move, const SimQuestion& question) {
  return question.offset < move.requestOffset + move.done;
}

std::string text(uint64_t number) { return std::to_string(number); }

}  // namespace

SimQuestion::Before AnswerModel::now(uint64_t moment) const {
  FaultPlan& faults = os_.faults();
  return {moment,
          os_.files().transfers().size(),
          os_.threads().sleeps().size(),
          faults.fired(FaultPlan::eCreateContext),
          faults.fired(FaultPlan::ePostTask),
          faults.fired(FaultPlan::eCreateTaskQueue),
          faults.fired(FaultPlan::eAllocateRegion)};
}

std::string AnswerModel::whyNot(const SimQuestion& question, const iMemHolder* data,
                                RequestStatus status, uint32_t error) const {
  if (question.answers > 0) return "it is told twice";
  if (question.expects == SimQuestion::eNoAnswer) return "it is told, and is not to be";
  if (question.state == SimQuestion::eRefused) return "it was refused, and is told";
  if (question.handle->state == SimHandle::eClosed) return "it is told after its file was closed";
  if (question.handle->state == SimHandle::eLeft) return "it is told after its engine ended";
  if (status == eRequestSucceeded)
    return question.reading ? whyNotRead(question, data) : whyNotWritten(question, data, error);
  if (status != eRequestFailed) return "its status is " + text(status);
  if (data) return "it failed and has data";
  return whyNotFailed(question, error);
}

std::string AnswerModel::whyNotRead(const SimQuestion& question, const iMemHolder* data) const {
  if (!data) return "it succeeded without data";
  if (data->getSize() != question.length) return "it has " + text(data->getSize()) + " bytes";
  if (question.length == 0) return "";
  const bool fromCache = question.state == SimQuestion::eAsking;
  bool anyCovers = false;
  const std::vector<SimMove>& moves = question.handle->moves;
  for (auto move = moves.rbegin(); move != moves.rend(); ++move) {
    if (move->error != 0 || !covers(*move, question)) continue;
    if (!fromCache &&
        (move->moment <= question.before.moment || !reachesFirstByte(*move, question)))
      continue;
    anyCovers = true;
    const unsigned char* seen = move->seen.data() + (question.offset - move->offset);
    if (std::memcmp(seen, data->getBuffer(), question.length) == 0) return "";
  }
  return anyCovers ? "its bytes are not what any finished read of its range saw"
                   : "it succeeded, and no read of its range did";
}

std::string AnswerModel::whyNotWritten(const SimQuestion& question, const iMemHolder* data,
                                       uint32_t error) const {
  if (question.expects == SimQuestion::eAnswerAtOnce) {
    if (question.state != SimQuestion::eAsking) return "it is told late";
    return question.data == data ? "" : "it is absorbed, and told other data than its own";
  }
  for (const SimMove& move : question.handle->moves) {
    if (!move.write || move.error != 0 || move.moment <= question.before.moment) continue;
    bool begins = question.offset >= move.offset && reachesFirstByte(move, question);
    if (!begins || (move.done == move.bytes && !covers(move, question))) continue;
    if (!move.speedKnown) return "";
    if (move.tooSlow != !data) return data ? "it was too slow, and has data" : "it has no data";
    // What the first one's callback does may leave another error for the next.
    if (move.tooSlow && !move.isTold && error != eResultTooSlow)
      return "it was too slow, and no error says so";
    move.isTold = true;
    return "";
  }
  return "it succeeded, and was not written";
}

std::string AnswerModel::whyNotFailed(const SimQuestion& question, uint32_t error) const {
  if (error == eOsCancelled)
    return question.handle->state == SimHandle::eClosing ? "" : "it was given up without a close";
  if (question.length == 0 && error == 0) return "";
  if (transferFailed(question, error) || startFailed(question, error)) return "";
  return "it failed with " + text(error) + " without a cause";
}

bool AnswerModel::transferFailed(const SimQuestion& question, uint32_t error) const {
  const std::vector<SimMove>& moves = question.handle->moves;
  return std::any_of(moves.begin(), moves.end(), [&](const SimMove& move) {
    if (move.moment <= question.before.moment || !covers(move, question) || move.error != error)
      return false;
    // The callers are told in order up to the first that begins where nothing came; a read of no
    // bytes may begin at the very end.
    return error != 0 || move.done < move.bytes || question.handle->readsNothing;
  });
}

bool AnswerModel::startFailed(const SimQuestion& question, uint32_t error) const {
  const SimQuestion::Before& before = question.before;
  const SimQuestion::Before now = this->now(0);
  if (error == eResultNoBufferSpace)
    // The tries of a request into which this one was merged count too.
    return now.regions >= kStartTries && now.regions > before.regions;
  if (error == eOsNoMemory && (now.contexts > before.contexts || now.tasks > before.tasks))
    return true;
  if (error == eOsNotSupported && now.queues > before.queues) return true;
  if (error == eOsInvalid && question.offset + question.length > INT64_MAX / 2) return true;
  const std::wstring path(question.handle->place->path.view());
  const std::vector<FakeTransferRecord>& records = os_.files().transfers();
  return std::any_of(records.begin() + static_cast<std::ptrdiff_t>(before.records), records.end(),
                     [&](const FakeTransferRecord& record) {
                       return record.way == FakeTransferRecord::eAsync && record.result == error &&
                              record.write != question.reading && record.path == path &&
                              covers(record.offset, record.bytes, question);
                     });
}
