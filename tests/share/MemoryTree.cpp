#include "tests/share/MemoryTree.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <utility>

namespace {

constexpr mode_t kPermissions = 07777;

bool isFolder(const struct stat& status) { return S_ISDIR(status.st_mode); }

// What the paths of all that lies in a folder begin with.
std::string inside(const std::string& folder) { return folder == "/" ? folder : folder + "/"; }

}  // namespace

MemoryTree::MemoryTree() {
  Node root;
  root.status.st_mode = S_IFDIR | 0755;
  root.status.st_uid = geteuid();
  root.status.st_gid = getegid();
  nodes_["/"] = root;
}

std::string MemoryTree::folderOf(const std::string& path) {
  size_t last = path.rfind('/');
  return last == 0 ? "/" : path.substr(0, last);
}

const MemoryTree::Node* MemoryTree::find(const std::string& path) const {
  auto place = nodes_.find(path);
  return place == nodes_.end() ? nullptr : &place->second;
}

MemoryTree::Node* MemoryTree::find(const std::string& path) {
  return const_cast<Node*>(std::as_const(*this).find(path));
}

bool MemoryTree::isEmpty(const std::string& folder) const {
  auto next = nodes_.upper_bound(inside(folder));
  return next == nodes_.end() || !next->first.starts_with(inside(folder));
}

int MemoryTree::status(const std::string& path, struct stat& status) const {
  const Node* node = find(path);
  if (!node) return -ENOENT;
  status = node->status;
  status.st_nlink = 1;
  status.st_size = static_cast<off_t>(node->content.size());
  return 0;
}

int MemoryTree::list(const std::string& path, std::vector<std::string>& names) const {
  const std::string begin = inside(path);
  for (auto next = nodes_.upper_bound(begin); next != nodes_.end(); ++next) {
    if (!next->first.starts_with(begin)) break;
    std::string name = next->first.substr(begin.size());
    if (name.find('/') == name.npos) names.push_back(name);
  }
  return find(path) ? 0 : -ENOENT;
}

int MemoryTree::make(const std::string& path, mode_t mode) {
  const Node* folder = find(folderOf(path));
  if (!folder) return -ENOENT;
  if (!isFolder(folder->status)) return -ENOTDIR;
  if (find(path)) return -EEXIST;
  Node made;
  made.status.st_mode = mode;
  made.status.st_uid = geteuid();
  made.status.st_gid = getegid();
  clock_gettime(CLOCK_REALTIME, &made.status.st_mtim);
  nodes_[path] = made;
  return 0;
}

int MemoryTree::removeFile(const std::string& path) {
  const Node* node = find(path);
  if (!node) return -ENOENT;
  if (isFolder(node->status)) return -EISDIR;
  nodes_.erase(path);
  return 0;
}

int MemoryTree::removeFolder(const std::string& path) {
  const Node* node = find(path);
  if (!node) return -ENOENT;
  if (!isFolder(node->status)) return -ENOTDIR;
  if (!isEmpty(path)) return -ENOTEMPTY;
  nodes_.erase(path);
  return 0;
}

int MemoryTree::rename(const std::string& from, const std::string& to) {
  const Node* node = find(from);
  const Node* old = find(to);
  if (!node || !find(folderOf(to))) return -ENOENT;
  if (old && isFolder(old->status) != isFolder(node->status))
    return isFolder(old->status) ? -EISDIR : -ENOTDIR;
  if (old && !isEmpty(to)) return -ENOTEMPTY;
  Nodes moved;
  std::erase_if(nodes_, [&](auto& entry) {
    bool isMoved = entry.first == from || entry.first.starts_with(inside(from));
    if (isMoved) moved[to + entry.first.substr(from.size())] = std::move(entry.second);
    return isMoved;
  });
  for (auto& [path, each] : moved) nodes_[path] = std::move(each);
  return 0;
}

int MemoryTree::setMode(const std::string& path, mode_t permissions) {
  Node* node = find(path);
  if (!node) return -ENOENT;
  node->status.st_mode = (node->status.st_mode & S_IFMT) | (permissions & kPermissions);
  return 0;
}

int MemoryTree::setOwner(const std::string& path, uid_t user, gid_t group) {
  Node* node = find(path);
  if (!node) return -ENOENT;
  if (user != static_cast<uid_t>(-1)) node->status.st_uid = user;
  if (group != static_cast<gid_t>(-1)) node->status.st_gid = group;
  return 0;
}

int MemoryTree::setTime(const std::string& path, const timespec& time) {
  Node* node = find(path);
  if (!node) return -ENOENT;
  node->status.st_mtim = time;
  return 0;
}

int MemoryTree::resize(const std::string& path, size_t bytes) {
  Node* node = find(path);
  if (!node) return -ENOENT;
  node->content.resize(bytes);
  return 0;
}

int MemoryTree::read(const std::string& path, uint64_t offset, char* to, size_t bytes) const {
  const Node* node = find(path);
  if (!node) return -ENOENT;
  if (offset >= node->content.size()) return 0;
  size_t done = std::min<size_t>(bytes, node->content.size() - offset);
  std::memcpy(to, node->content.data() + offset, done);
  return static_cast<int>(done);
}

int MemoryTree::write(const std::string& path, uint64_t offset, const char* from, size_t bytes) {
  Node* node = find(path);
  if (!node) return -ENOENT;
  if (node->content.size() < offset + bytes) node->content.resize(offset + bytes);
  std::memcpy(node->content.data() + offset, from, bytes);
  return static_cast<int>(bytes);
}
