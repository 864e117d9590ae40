#pragma once

#include <string>

#include "platform/OS.h"
#include "platform/PathHelpers.h"

// ConfigFile: the configuration file of the process, as it is read.
// Story      FSYS_CONFIG names it, else it is fsys.conf in the configuration folder. Where its
//            drive does not answer in time, and where it is too large, it is ignored, and that is
//            logged; where there is none it has no text.
// Threads    any that holds no lock which opening a file takes; works before main.
// Ownership  the services outlive the reading of a file whose drive answers late.
struct ConfigFile {
  static constexpr uint64_t kMost_bytes = 1024 * 1024;

  std::string name;
  std::string text;

  // Where it is looked for; empty when there is no place for one.
  static PathString pathOf(const iSystemInfo& system);
  static ConfigFile read(iOS& os);
};
