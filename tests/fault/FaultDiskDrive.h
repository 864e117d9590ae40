#pragma once

#include "tests/fault/FaultState.h"

// FaultDiskDrive: a drive of the system below that may not tell its space.
class FaultDiskDrive final : public iDiskDrive {
public:
  FaultDiskDrive(const Qv::Ptr<FaultState>& state, const Qv::Ptr<iDiskDrive>& inner)
      : state_(state), inner_(inner) {}

  eType getType() const override { return inner_->getType(); }
  uint32_t getSectorSize() const override { return inner_->getSectorSize(); }
  LightweightString<wchar_t> getRootPath() const override { return inner_->getRootPath(); }
  LightweightString<wchar_t> getFileSystem() const override { return inner_->getFileSystem(); }
  bool isExcluded() const override { return inner_->isExcluded(); }
  bool isHidden() const override { return inner_->isHidden(); }
  bool isAvailable() override { return inner_->isAvailable(); }
  bool getSpace(uint64_t& freeBytes, uint64_t& totalBytes) override {
    uint32_t error = state_->points().next(FaultCall::eGetSpace).error;
    if (error == 0) return inner_->getSpace(freeBytes, totalBytes);
    freeBytes = totalBytes = 0;
    failFault(error);
    return false;
  }

private:
  Qv::Ptr<FaultState> state_;
  Qv::Ptr<iDiskDrive> inner_;
};
