#pragma once

#include <map>
#include <string>

#include "platform/OsSystemInfo.h"

// FakeSystemInfo: a machine that is what the test says.
class FakeSystemInfo final : public iSystemInfo {
public:
  static constexpr uint32_t kPageSize = 4096;
  static constexpr uint32_t kProcessId = 4711;

  LightweightString<wchar_t> getWorkstationName() const override { return name_; }
  unsigned getProcessorCount() const override { return processors_; }
  uint32_t getPageSize() const override { return kPageSize; }
  uint32_t getProcessId() const override { return kProcessId; }
  double getProcessCpu_ms() const override { return cpu_ms_; }
  bool getEnvironment(const char* name, std::string& value) const override {
    auto place = environment_.find(name ? name : "");
    if (place == environment_.end()) return false;
    value = place->second;
    return true;
  }

  void setWorkstationName(const LightweightString<wchar_t>& name) { name_ = name; }
  void setProcessorCount(unsigned count) { processors_ = count; }
  void setProcessCpu_ms(double ms) { cpu_ms_ = ms; }
  void setEnvironment(const std::string& name, const std::string& value) {
    environment_[name] = value;
  }

private:
  LightweightString<wchar_t> name_ = L"STATION";
  unsigned processors_ = 4;
  double cpu_ms_ = 0;
  std::map<std::string, std::string> environment_;
};
