#pragma once

#include <string>

#include "platform/fake/FakeOS.h"
#include "tests/sim/SimQuestion.h"

// AnswerModel: which answers a request may get.
// Story      An answer must have a cause that was seen since the request was asked.
//            A read that succeeds gives what one finished read of this file saw in its place: of
//            the moment at which that one ended, also when the file has changed since; zeros where
//            it found no bytes. Unless it is answered on the asker's own stack, that read ended
//            since the asking, and reached the answer's first byte.
//            A write that succeeds was transferred, with its own bytes; told without data it was
//            too slow. One that the write cache absorbs is answered at once with its own data.
//            A failure has no data, and its error says why: 0, the transfer ended before it; that
//            the file is being closed; the error of a transfer in its place; of a start; 10, forty
//            times no buffer.
// Errors     what does not hold is said in words; an empty text: it holds.
class AnswerModel {
public:
  explicit AnswerModel(FakeOS& os) : os_(os) {}

  SimQuestion::Before now(uint64_t moment) const;
  std::string whyNot(const SimQuestion& question, const iMemHolder* data, RequestStatus status,
                     uint32_t error) const;

private:
  std::string whyNotRead(const SimQuestion& question, const iMemHolder* data) const;
  std::string whyNotWritten(const SimQuestion& question, const iMemHolder* data,
                            uint32_t error) const;
  std::string whyNotFailed(const SimQuestion& question, uint32_t error) const;
  bool transferFailed(const SimQuestion& question, uint32_t error) const;
  bool startFailed(const SimQuestion& question, uint32_t error) const;

  FakeOS& os_;
};
