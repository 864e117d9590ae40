#include "tests/fault/tool/ToolStage.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string_view>
#include <vector>

#include "platform/common/FileReplacement.h"
#include "tests/support/Pattern.h"
#include "tools/fsys/Stamp.h"

namespace {

namespace fs = std::filesystem;

const unsigned char* bytesOf(const std::string& text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

std::string whyNotSize(const std::string& name, uint64_t is, uint64_t bytes) {
  if (is == bytes) return "";
  return name + " has " + std::to_string(is) + " bytes, not " + std::to_string(bytes) + "; ";
}

}  // namespace

void ToolStage::write(const std::string& name, const void* bytes, uint64_t count) const {
  std::ofstream file(path(name), std::ios::binary | std::ios::trunc);
  file.write(static_cast<const char*>(bytes), static_cast<std::streamsize>(count));
}

void ToolStage::put(const std::string& name, uint64_t bytes, uint64_t offset) const {
  std::vector<unsigned char> content = patternBytes(bytes, offset);
  write(name, content.data(), bytes);
}

void ToolStage::putStamped(const std::string& name, uint64_t bytes, uint64_t seed) const {
  std::vector<unsigned char> content(bytes);
  Stamp::fill(content.data(), 0, bytes, seed);
  write(name, content.data(), bytes);
}

void ToolStage::putText(const std::string& name, const std::string& text) const {
  write(name, text.data(), text.size());
}

void ToolStage::makeFolder(const std::string& name) const { fs::create_directories(path(name)); }

void ToolStage::clear() const {
  std::vector<fs::path> doomed;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder_))
    if (entry.path().filename() != "given") doomed.push_back(entry.path());
  for (const fs::path& name : doomed) fs::remove_all(name);
}

bool ToolStage::exists(const std::string& name) const { return fs::exists(path(name)); }

uint64_t ToolStage::size(const std::string& name) const { return fs::file_size(path(name)); }

std::string ToolStage::content(const std::string& name) const {
  std::ifstream file(path(name), std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string ToolStage::whyNotRead(const std::string& bytes) const {
  const unsigned char* read = bytesOf(bytes);
  if (!zerosAllowed_) return whyNotPattern(read, bytes.size(), 0);
  for (uint64_t i = 0; i < bytes.size(); ++i)
    if (read[i] != 0 && read[i] != patternByte(i))
      return "byte " + std::to_string(i) + " is neither right nor zero";
  return "";
}

std::string ToolStage::whyNot(const std::string& name, uint64_t bytes) const {
  std::string is = content(name);
  std::string why = whyNotRead(is);
  return whyNotSize(name, is.size(), bytes) + (why.empty() ? "" : name + ": " + why + "; ");
}

std::string ToolStage::whyNotStamped(const std::string& name, uint64_t bytes, uint64_t seed) const {
  std::string is = content(name);
  uint64_t right = Stamp::check(bytesOf(is), 0, is.size(), seed);
  return whyNotSize(name, is.size(), bytes) +
         (right == is.size() ? "" : name + ": byte " + std::to_string(right) + " is wrong; ");
}

// What a save could not take away is left to the next save of that file.
void ToolStage::sweepLists() const {
  std::set<fs::path> lists;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder_))
    for (const char* list :
         {"DefNetDrive.txt", "UnmountedDrives.txt", "MediaSpaceInfo.txt", "preferences"})
      if (entry.path().filename().string().starts_with(".fsys-" + std::string(list) + "."))
        lists.insert(entry.path().parent_path() / list);
  for (const fs::path& list : lists)
    FileReplacement::sweep(fromUTF8(std::string_view(list.string())));
}

std::string ToolStage::leftovers() const {
  sweepLists();
  std::string left;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder_))
    if (entry.path().filename().string().rfind(".fsys-", 0) == 0)
      left += entry.path().filename().string() + " is left; ";
  return left;
}
