#pragma once

#include <string>

#include "tests/fault/tool/ToolStage.h"

// What a demo needs on a stage, and what is there after it.
namespace DemoStage {

// Four shots below given/media, and two with proxies; small, each file with bytes of its own.
void putMedia(const ToolStage& stage);
// An empty work folder. The registry ends with the shutdown again, as in a process that has not
// run one yet.
void prepare(const ToolStage& stage);
// What is wrong with what is left; empty: nothing is.
std::string whyNotEmpty(const ToolStage& stage);

}  // namespace DemoStage
