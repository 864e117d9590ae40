#pragma once

#include <string>

#include "tests/support/ForwardingOS.h"

// ForwardingSystemInfo: a ForwardingOS whose facts about the machine are those of what stood there.
// A test overrides the one that it wants to be different.
class ForwardingSystemInfo : public ForwardingOS, protected iSystemInfo {
public:
  iSystemInfo* getSystemInfo() final { return this; }

protected:
  ~ForwardingSystemInfo() = default;

  LightweightString<wchar_t> getWorkstationName() const override {
    return real()->getWorkstationName();
  }
  unsigned getProcessorCount() const override { return real()->getProcessorCount(); }
  uint32_t getPageSize() const override { return real()->getPageSize(); }
  uint32_t getProcessId() const override { return real()->getProcessId(); }
  double getProcessCpu_ms() const override { return real()->getProcessCpu_ms(); }
  bool getEnvironment(const char* name, std::string& value) const override {
    return real()->getEnvironment(name, value);
  }

private:
  iSystemInfo* real() const { return inner()->getSystemInfo(); }
};
