#pragma once

#include "tools/fsys/Command.h"

// ProxyParseCommand: fsys proxy parse NAME: what a name says of a proxy.
class ProxyParseCommand : public Command {
public:
  bool usesEngine() const override { return false; }

protected:
  CLI::App* define(CLI::App& app) override;
  ExitCode execute() override;

private:
  std::string name_;
};
