#include "platform/linux/LinuxErrors.h"

#include <cstring>

#include "platform/common/NeverDestroyed.h"

namespace {

thread_local uint32_t lastError = 0;

class LinuxErrors final : public iOsErrors {
public:
  uint32_t getLastError() const override { return lastError; }
  void setLastError(uint32_t error) override { lastError = error; }

  std::string describe(uint32_t error) const override {
    if (error == 0) return "no error";
    const char* words = nullptr;
    if (error > eOsErrorBase) words = strerrordesc_np(static_cast<int>(error - eOsErrorBase));
    return words ? words : "unknown error " + std::to_string(error);
  }
};

constinit NeverDestroyed<LinuxErrors> theErrors;

}  // namespace

iOsErrors* linuxErrors() { return &theErrors.value; }
