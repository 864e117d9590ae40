#pragma once

#include <gtest/gtest.h>

#include <iostream>
#include <utility>

#include "fsys/EngineSettings.h"
#include "platform/Log.h"
#include "tests/fault/FaultSweep.h"
#include "tests/support/Soak.h"

// FaultSweepFixture: for the sweeps of one sort of scenarios: short waits, no diagnostics, and the
// points that were tried are told.
template <typename Scenario>
class FaultSweepFixture : public testing::TestWithParam<Scenario> {
public:
  static std::string nameOf(const testing::TestParamInfo<Scenario>& test) {
    return test.param.name;
  }

protected:
  FaultSweepFixture() {
    // Not kept: what the heap holds is looked at.
    DiagnosticSinks quiet;
    quiet.out = quiet.log = quiet.logBoth = [](const std::string&) {};
    quiet.splat = [](int, const std::string&) {};
    before_ = setDiagnosticSinks(std::move(quiet));
    EngineSettings::ReadPollDelay = EngineSettings::WritePollDelay = kPollDelay_ms;
    EngineSettings::MaxFsysWriteRetries = kWriteRetries;
  }
  ~FaultSweepFixture() override {
    setDiagnosticSinks(std::move(before_));
    EngineSettings::ReadPollDelay = readDelay_;
    EngineSettings::WritePollDelay = writeDelay_;
    EngineSettings::MaxFsysWriteRetries = retries_;
  }

  static FaultSweep::eDepth depth() {
    return isSoaking() ? FaultSweep::eAll : FaultSweep::eOneOfEach;
  }
  static void tell(const FaultSweep& sweep) {
    std::cout << sweep.points() << std::endl;
    EXPECT_EQ(sweep.findings(), "");
  }

private:
  static constexpr int kPollDelay_ms = 1;
  static constexpr int kWriteRetries = 5;

  DiagnosticSinks before_;
  int readDelay_ = EngineSettings::ReadPollDelay;
  int writeDelay_ = EngineSettings::WritePollDelay;
  int retries_ = EngineSettings::MaxFsysWriteRetries;
};
