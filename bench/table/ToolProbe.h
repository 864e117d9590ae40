#pragma once

#include <string>

// ToolProbe: how long `fsys drives` takes where there are many mounts.
namespace ToolProbe {

constexpr unsigned kMounts = 50;  // besides those of the machine

// Mounts in `folder` what nobody else sees, and prints listed_ms, and hung_ms with one more that
// never answers; or the reason why a figure is missing. The exit status.
int run(const std::string& tool, const std::string& folder);

}  // namespace ToolProbe
