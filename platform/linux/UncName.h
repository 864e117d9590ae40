#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/LightweightString.h"

// UncName: the name by which other machines know a path: two backslashes, a server, and the names
// behind it with a backslash before each.
// Threads    any; pure.
// Errors     an empty name where there is none: no server, or a name with a backslash in it.
// `rest` is what the path has below the mount or the share, and may be empty. A name never ends in
// a backslash.
namespace UncName {

// What the system tells of a mount.
struct Mounted {
  std::string_view source;
  std::string_view fileSystem;
  std::string_view options;
  std::string_view root;  // which folder of the file system lies there; "/": all of it
};

// Below a mount. Known are the file systems of Samba's kind ("//server/share"), of NFS
// ("server:/folder") and of sshfs ("user@host:/folder"). The root counts from the source's folder,
// save where the source has it already: NFS adds it there, and of a folder in a Samba share the
// root counts from the share, unless the folder stands among the options.
LightweightString<wchar_t> ofMount(const Mounted& mount, std::string_view rest);

// Below a share of this machine.
LightweightString<wchar_t> ofShare(const LightweightString<wchar_t>& workstation,
                                   std::string_view share, std::string_view rest);

// What the path has below the folder; nothing when it does not lie there. Both are absolute and
// without links; whole names count.
std::optional<std::string> restBelow(std::string_view folder, std::string_view path);

}  // namespace UncName
