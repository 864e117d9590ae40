#include "platform/common/ConfigFolder.h"

#include <string>

PathString configFolder(const iSystemInfo& system) {
  std::string folder;
  PathString base;
  if (system.getEnvironment("XDG_CONFIG_HOME", folder) && !folder.empty())
    base = fromUTF8(folder);
  else if (system.getEnvironment("HOME", folder) && !folder.empty())
    base = joinPaths(fromUTF8(folder), L".config");
  return base.empty() ? base : joinPaths(base, L"fsys");
}
