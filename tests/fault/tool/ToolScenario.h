#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "tests/fault/tool/ToolRun.h"
#include "tests/fault/tool/ToolStage.h"

// ToolScenario: a command of the tool, with small files, and what holds of it however it ends.
struct ToolScenario {
  const char* name;
  std::vector<std::string> words;   // "@NAME" is a name on the stage
  void (*given)(const ToolStage&);  // once
  void (*prepare)(const ToolStage&);
  // What is not as it is promised; empty when all is. Exit code 0: every byte is right.
  std::string (*judge)(const ToolStage&, const ToolRun&);
  const char* input = nullptr;   // the name of standard input; nothing comes without
  bool callsVary = false;        // how many calls it makes depends on the clock, or on the machine
  bool asksTheRegistry = false;  // which goes on without what it could not learn
  bool checksItself = false;     // what such a fault has done it calls wrong
  std::vector<std::string> tells = {};  // what it says where nothing failed
  int code = 0;                         // its exit code there
  // What happens while it waits; then it is interrupted. None: it ends by itself.
  void (*meanwhile)(const ToolStage&) = nullptr;
  long keeps = 0;  // pieces of the heap, for good
};

// For the names of tests.
inline void PrintTo(const ToolScenario& scenario, std::ostream* out) { *out << scenario.name; }

// The commands, in their forms, but the demo. Those that ask the registry are the storage ones, and
// the catalogue's.
const std::vector<ToolScenario>& toolScenarios();
std::vector<ToolScenario> storageScenarios();
std::vector<ToolScenario> catalogueScenarios();
std::vector<ToolScenario> loginScenarios();
const ToolScenario& toolDemoScenario();
