#pragma once

#include <cstdint>
#include <exception>
#include <string>

// ExitCode: how the process ends, by kind of failure. The manual page lists them.
enum class ExitCode : int {
  eSuccess = 0,
  eOther = 1,
  eUsage = 2,
  eNotFound = 3,
  ePermission = 4,
  eNoSpace = 5,
  eIo = 6,
  eVerification = 7,
  eExists = 8,
  eNotAFile = 9,
  eResources = 10,
  eInterrupted = 130,
};

// The kind in one or two words, for people and for --json.
const char* nameOf(ExitCode code);

// ToolError: why a command ends early: what was being done, to which file, and why it failed.
// Ownership  a value; it is thrown.
class ToolError : public std::exception {
public:
  ToolError(ExitCode code, std::string doing, std::string file, std::string why);

  const char* what() const noexcept override { return message_.c_str(); }
  ExitCode code() const { return code_; }
  const std::string& doing() const { return doing_; }
  const std::string& file() const { return file_; }
  const std::string& why() const { return why_; }
  // More about what was done and what is left; may be empty.
  const std::string& remark() const { return remark_; }
  ToolError& withRemark(std::string remark);

private:
  void compose();

  ExitCode code_;
  std::string doing_;
  std::string file_;
  std::string why_;
  std::string remark_;
  std::string message_;
};

// For an error of the engine: an OsError, or one of its own result codes.
ToolError engineError(std::string doing, std::string file, uint32_t error);
// The same where a transfer failed: no name and no option is to blame for that.
ToolError transferError(std::string doing, std::string file, uint32_t error);
// When memory ran out; takes none.
ToolError noMemory();
// For an errno value.
ToolError systemError(std::string doing, std::string file, int error);
