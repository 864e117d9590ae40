#pragma once

#include <cstdint>

#include "tools/fsys/Command.h"

// ProxyNameCommand: fsys proxy name FILE EXTENSION HEIGHT CHANNELS: what a proxy is called.
class ProxyNameCommand : public Command {
public:
  bool usesEngine() const override { return false; }

protected:
  CLI::App* define(CLI::App& app) override;
  ExitCode execute() override;

private:
  std::string file_;
  std::string extension_;
  uint32_t height_ = 0;
  unsigned channels_ = 0;
};
