#pragma once

#include <functional>
#include <optional>
#include <utility>

#include "platform/OS.h"

// DriveErrand: a question to a drive that may fall silent.
// Story      Made by askDrive and given to the file manager, which runs it where the drive can be
//            waited for. What it needs it has copied, since it may end when nobody waits any more.
// Threads    run: one; the answer is read by the asker once the file manager says that it has run.
template <typename Answer>
class DriveErrand final : public iTask {
public:
  explicit DriveErrand(std::function<Answer()> work) : work_(std::move(work)) {}

  void run() override {
    answer_ = work_();
    error_ = OS()->getErrors()->getLastError();
  }
  std::optional<Answer> take() {
    OS()->getErrors()->setLastError(error_);
    return std::move(answer_);
  }

private:
  std::function<Answer()> work_;
  std::optional<Answer> answer_;
  uint32_t error_ = 0;
};

// How long a drive is waited for by whoever only wants to know something of it.
inline constexpr unsigned kDrivePatience_ms = 500;

// What `work` answers, or nothing when the drive that holds the path does not answer in time; the
// thread's last error says why, or is what the work left. `work` copies what it uses, and throws
// nothing but std::bad_alloc: then there is no answer either, and the last error is eOsNoMemory.
// Threads    any that holds no lock which `work` takes.
template <typename Work, typename Answer = std::invoke_result_t<Work>>
std::optional<Answer> askDrive(const LightweightString<wchar_t>& path, Work work,
                               unsigned patience_ms = kDrivePatience_ms) {
  Qv::Ptr<DriveErrand<Answer>> errand(new DriveErrand<Answer>(std::move(work)));
  if (!OS()->getFileManager()->onDrive(path, errand, patience_ms)) return std::nullopt;
  return errand->take();
}
