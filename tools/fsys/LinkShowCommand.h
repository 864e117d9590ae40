#pragma once

#include "tools/fsys/LinkCommand.h"

// LinkShowCommand: fsys link show PATH: where a link leads.
class LinkShowCommand : public LinkCommand {
protected:
  CLI::App* define(CLI::App& app) override;
  ExitCode execute() override;

private:
  std::string path_;
};
