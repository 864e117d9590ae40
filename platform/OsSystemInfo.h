#pragma once

#include <cstdint>
#include <string>

#include "platform/LightweightString.h"

// iSystemInfo: what machine this is.
// Threads    any.
class iSystemInfo {
public:
  virtual LightweightString<wchar_t> getWorkstationName() const = 0;
  virtual unsigned getProcessorCount() const = 0;
  virtual uint32_t getPageSize() const = 0;  // bytes
  // A process that was forked has another one.
  virtual uint32_t getProcessId() const = 0;
  // Processor time that this process has used, all threads, user and system.
  virtual double getProcessCpu_ms() const = 0;
  // An environment variable; false when it is not set.
  virtual bool getEnvironment(const char* name, std::string& value) const = 0;

protected:
  ~iSystemInfo() = default;
};
