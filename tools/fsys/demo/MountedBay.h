#pragma once

#include "tools/fsys/demo/DriveBay.h"

// MountedBay: a mounted file system: it is unmounted and mounted again.
// Units      milliseconds. What the system lets go of some moments after its close is waited for.
class MountedBay final : public DriveBay {
public:
  static constexpr double kPatience_ms = 10000;

  MountedBay(const std::string& root, const std::string& device, const std::string& type);
  ~MountedBay() override;

  std::string kind() const override;
  const char* way() const override;
  void takeOut() override;
  void putBack() override;

private:
  bool mount() const;

  std::string root_;
  std::string device_;
  std::string type_;
  bool isOut_ = false;
};
