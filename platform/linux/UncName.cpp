#include "platform/linux/UncName.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace {

// Server: where a mount comes from.
struct Server {
  std::string name;    // empty: none
  std::string folder;  // on it
};

template <size_t N>
bool isOneOf(std::string_view name, const std::array<std::string_view, N>& names) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

// Each name with a separator before it.
std::string separated(std::string_view path) {
  std::string result;
  while (!path.empty()) {
    std::string_view name = path.substr(0, path.find('/'));
    path.remove_prefix(std::min(name.size() + 1, path.size()));
    if (!name.empty()) result.append("/").append(name);
  }
  return result;
}

std::string_view valueOf(std::string_view options, std::string_view key) {
  while (!options.empty()) {
    std::string_view option = options.substr(0, options.find(','));
    options.remove_prefix(std::min(option.size() + 1, options.size()));
    if (option.starts_with(key) && option.substr(key.size()).starts_with('='))
      return option.substr(key.size() + 1);
  }
  return {};
}

// "//server/share", the folder in it behind that or among the options.
Server sambaServer(const UncName::Mounted& mount) {
  std::string_view source = mount.source;
  if (!source.starts_with("//")) return {};
  source.remove_prefix(2);
  size_t nameEnd = std::min(source.find('/'), source.size());
  std::string folder = separated(source.substr(nameEnd));
  if (folder.empty()) return {};
  std::string root = separated(mount.root);
  std::string option = separated(valueOf(mount.options, "prefixpath"));
  std::string inShare = folder.substr(std::min(folder.find('/', 1), folder.size()));
  if (inShare.empty()) folder += option;
  if (option.empty()) root = UncName::restBelow(inShare, root).value_or(root);
  return {std::string(source.substr(0, nameEnd)), folder + root};
}

// "host:folder", an address in brackets or not. `mark` ends the host's name.
Server hostAndFolder(std::string_view source, std::string_view mark) {
  size_t end = source.find(mark);
  size_t nameStart = 0;
  size_t nameEnd = end;
  if (source.starts_with('[')) {
    nameStart = 1;
    nameEnd = source.find("]:");
    end = nameEnd == source.npos ? nameEnd : nameEnd + 1;
  }
  if (end == source.npos) return {};
  return {std::string(source.substr(nameStart, nameEnd - nameStart)),
          separated(source.substr(end + 1))};
}

Server nfsServer(const UncName::Mounted& mount) {
  Server server = hostAndFolder(mount.source, ":/");
  std::string root = separated(mount.root);
  if (!server.folder.ends_with(root)) server.folder += root;
  return server;
}

// The user before the host is no part of its name.
Server sshServer(const UncName::Mounted& mount) {
  std::string_view source = mount.source;
  size_t colon = source.find(':');
  if (colon == source.npos) return {};
  size_t sign = source.rfind('@', colon);
  if (sign != source.npos) source.remove_prefix(sign + 1);
  Server server = hostAndFolder(source, ":");
  server.folder += separated(mount.root);
  return server;
}

LightweightString<wchar_t> uncName(const LightweightString<wchar_t>& server,
                                   std::string_view folder, std::string_view rest) {
  std::string below = separated(folder) + separated(rest);
  bool isServer = !server.empty() && server.view().find_first_of(L"/\\") == server.npos;
  if (!isServer || below.find('\\') != below.npos) return {};
  std::replace(below.begin(), below.end(), '/', '\\');
  return LightweightString<wchar_t>(L"\\\\") + server + fromUTF8(std::string_view(below));
}

}  // namespace

LightweightString<wchar_t> UncName::ofMount(const Mounted& mount, std::string_view rest) {
  constexpr std::array<std::string_view, 2> kSamba = {"cifs", "smb3"};
  constexpr std::array<std::string_view, 2> kNfs = {"nfs", "nfs4"};
  Server server;
  if (isOneOf(mount.fileSystem, kSamba)) server = sambaServer(mount);
  if (isOneOf(mount.fileSystem, kNfs)) server = nfsServer(mount);
  if (mount.fileSystem == "fuse.sshfs") server = sshServer(mount);
  return uncName(fromUTF8(std::string_view(server.name)), server.folder, rest);
}

LightweightString<wchar_t> UncName::ofShare(const LightweightString<wchar_t>& workstation,
                                            std::string_view share, std::string_view rest) {
  return uncName(workstation, share, rest);
}

std::optional<std::string> UncName::restBelow(std::string_view folder, std::string_view path) {
  while (folder.ends_with('/')) folder.remove_suffix(1);
  if (!path.starts_with(folder)) return std::nullopt;
  path.remove_prefix(folder.size());
  if (!path.empty() && path.front() != '/') return std::nullopt;
  return std::string(path);
}
