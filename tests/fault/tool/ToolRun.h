#pragma once

#include <string>
#include <vector>

// ToolRun: what came of one run of the tool.
struct ToolRun {
  int code = -1;  // -1: an exception left it
  std::string out;
  std::string err;
  bool isDisturbed = false;  // a fault struck
};

// Runs the tool in this process, as `fsys` with those words behind it; standard input is the file
// of that name, and what it prints is caught. The run alone is looked at by a fault layer.
ToolRun runToolHere(const std::vector<std::string>& words, const std::string& input);
