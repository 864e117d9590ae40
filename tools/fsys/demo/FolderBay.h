#pragma once

#include "tools/fsys/demo/DriveBay.h"

// FolderBay: a folder in the place of a drive: it goes away by another name.
class FolderBay final : public DriveBay {
public:
  explicit FolderBay(const std::string& root);
  ~FolderBay() override;

  std::string kind() const override;
  const char* way() const override;
  void takeOut() override;
  void putBack() override;

private:
  std::string root_;
  std::string away_;
  bool isOut_ = false;
};
