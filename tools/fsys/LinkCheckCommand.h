#pragma once

#include <vector>

#include "tools/fsys/LinkCommand.h"

class Table;

// LinkCheckCommand: fsys link check PATH...: whether what links lead to is there.
class LinkCheckCommand : public LinkCommand {
protected:
  CLI::App* define(CLI::App& app) override;
  ExitCode execute() override;

private:
  // Whether media can be opened there.
  bool check(Table& table, const std::string& word);

  std::vector<std::string> paths_;
};
