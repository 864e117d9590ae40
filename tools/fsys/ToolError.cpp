#include "tools/fsys/ToolError.h"

#include <utility>

#include "platform/OS.h"
#include "tools/fsys/Text.h"

namespace {

constexpr uint32_t kEndOfFile = 0;  // a read that the file's end cut off
constexpr uint32_t kListFull = 8;
constexpr uint32_t kTooSlow = 9;
constexpr uint32_t kNoBufferSpace = 10;
constexpr uint32_t kNotEmptyNumber = 39;
constexpr uint32_t kNotADevice = 6;
constexpr uint32_t kTooManyFilesInAll = 23;
constexpr uint32_t kQuotaNumber = 122;

ExitCode codeOf(uint32_t error) {
  switch (error) {
    case eOsNotFound:
    case eOsNotAFolder:
      return ExitCode::eNotFound;
    case eOsNotPermitted:
    case eOsAccessDenied:
    case eOsReadOnly:
      return ExitCode::ePermission;
    case eOsNoSpace:
    case eOsErrorBase + kQuotaNumber:
      return ExitCode::eNoSpace;
    case eOsExists:
    case eOsErrorBase + kNotEmptyNumber:
      return ExitCode::eExists;
    case eOsIsAFolder:
    case eOsNotSupported:
    case eOsErrorBase + kNotADevice:
      return ExitCode::eNotAFile;
    case eOsInvalid:
    case eOsNameTooLong:
      return ExitCode::eUsage;
    case eOsNoMemory:
    case eOsTooManyFiles:
    case eOsErrorBase + kTooManyFilesInAll:
    case kListFull:
    case kNoBufferSpace:
      return ExitCode::eResources;
    default:
      return ExitCode::eIo;
  }
}

std::string wordsOf(uint32_t error) {
  switch (error) {
    case kEndOfFile:
      return "the file ended before the bytes that were asked for";
    case kListFull:
      return "the engine's request list stayed full";
    case kTooSlow:
      return "the drive is too slow";
    case kNoBufferSpace:
      return "no memory for a buffer";
    case eOsNotSupported:
      return "not a regular file";
    default:
      break;
  }
  if (error < eOsErrorBase) return "the engine refused (result " + std::to_string(error) + ")";
  return OS()->getErrors()->describe(error);
}

}  // namespace

const char* nameOf(ExitCode code) {
  switch (code) {
    case ExitCode::eSuccess:
      return "success";
    case ExitCode::eUsage:
      return "usage";
    case ExitCode::eNotFound:
      return "not found";
    case ExitCode::ePermission:
      return "permission";
    case ExitCode::eNoSpace:
      return "no space";
    case ExitCode::eIo:
      return "input/output";
    case ExitCode::eVerification:
      return "verification";
    case ExitCode::eExists:
      return "exists";
    case ExitCode::eNotAFile:
      return "not a regular file";
    case ExitCode::eResources:
      return "resources";
    case ExitCode::eInterrupted:
      return "interrupted";
    case ExitCode::eOther:
      break;
  }
  return "other";
}

ToolError::ToolError(ExitCode code, std::string doing, std::string file, std::string why)
    : code_(code), doing_(std::move(doing)), file_(std::move(file)), why_(std::move(why)) {
  compose();
}

ToolError& ToolError::withRemark(std::string remark) {
  remark_ = std::move(remark);
  compose();
  return *this;
}

void ToolError::compose() {
  message_ = doing_;
  if (!file_.empty()) message_ += (message_.empty() ? "" : " ") + inQuotes(file_);
  message_ += (message_.empty() ? "" : ": ") + why_;
  if (!remark_.empty()) message_ += "; " + remark_;
}

ToolError engineError(std::string doing, std::string file, uint32_t error) {
  return ToolError(codeOf(error), std::move(doing), std::move(file), wordsOf(error));
}

ToolError transferError(std::string doing, std::string file, uint32_t error) {
  return ToolError(error == eOsInvalid ? ExitCode::eIo : codeOf(error), std::move(doing),
                   std::move(file), wordsOf(error));
}

ToolError noMemory() { return ToolError(ExitCode::eResources, "", "", "no memory"); }

ToolError systemError(std::string doing, std::string file, int error) {
  return ToolError(codeOf(eOsErrorBase + static_cast<uint32_t>(error)), std::move(doing),
                   std::move(file),
                   OS()->getErrors()->describe(eOsErrorBase + static_cast<uint32_t>(error)));
}
