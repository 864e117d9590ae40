#pragma once

#include "tools/fsys/LinkCommand.h"

// LinkCreateCommand: fsys link create LINK TARGET: makes a small file that stands for media.
class LinkCreateCommand : public LinkCommand {
protected:
  CLI::App* define(CLI::App& app) override;
  ExitCode execute() override;

private:
  void requirePlace(const PathString& link) const;

  std::string link_;
  std::string target_;
  bool replace_ = false;
};
