#include "platform/linux/SambaConfig.h"

#include <algorithm>
#include <array>
#include <unordered_map>
#include <utility>

namespace {

constexpr std::string_view kBlanks = " \t\r\f\v";
constexpr std::string_view kNotInAShareName = "%<>*?|/\\+=;:\",";
constexpr std::array<std::string_view, 3> kServersOwn = {"homes", "printers", "print$"};

bool isBlank(char character) { return kBlanks.find(character) != kBlanks.npos; }

// Of the letters A to Z, whatever the locale.
std::string inSmallLetters(std::string_view text) {
  std::string small(text);
  for (char& character : small)
    if (character >= 'A' && character <= 'Z')
      character = static_cast<char>(character + ('a' - 'A'));
  return small;
}

std::string keyOf(std::string_view text) {
  std::string key = inSmallLetters(text);
  key.erase(std::remove_if(key.begin(), key.end(), isBlank), key.end());
  return key;
}

// Without blanks at its ends, and with one space for each of those between.
std::string squeezed(std::string_view text) {
  std::string result;
  for (char character : text) {
    if (!isBlank(character)) {
      result.push_back(character);
    } else if (!result.empty() && result.back() != ' ') {
      result.push_back(' ');
    }
  }
  if (!result.empty() && result.back() == ' ') result.pop_back();
  return result;
}

std::string_view withoutQuotes(std::string_view text) {
  bool quoted = text.size() >= 2 && text.front() == '"' && text.back() == '"';
  return quoted ? text.substr(1, text.size() - 2) : text;
}

std::optional<bool> truthOf(std::string_view value) {
  std::string text = inSmallLetters(value);
  if (text == "yes" || text == "true" || text == "on" || text == "1") return true;
  if (text == "no" || text == "false" || text == "off" || text == "0") return false;
  return std::nullopt;
}

std::string_view takeOneLine(std::string_view& rest) {
  std::string_view line = rest.substr(0, rest.find('\n'));
  rest.remove_prefix(std::min(line.size() + 1, rest.size()));
  return line;
}

// With the lines that it goes on in, and without blanks at its ends. Remarks do not go on.
std::string takeLine(std::string_view& rest) {
  std::string line;
  for (bool goesOn = true; goesOn;) {
    line += takeOneLine(rest);
    line.erase(line.find_last_not_of(kBlanks) + 1);
    line.erase(0, line.find_first_not_of(kBlanks));
    bool isRemark = line.starts_with(';') || line.starts_with('#');
    if (isRemark) return "";
    goesOn = line.ends_with('\\');
    if (goesOn) line.pop_back();
  }
  return line;
}

bool isShareName(std::string_view name) {
  bool isClean = std::none_of(name.begin(), name.end(), [](char character) {
    auto byte = static_cast<unsigned char>(character);
    return byte < ' ' || byte == 0x7F || kNotInAShareName.find(character) != std::string_view::npos;
  });
  return isClean && !name.empty() && name != "." && name != "..";
}

bool isKnownFolder(std::string_view folder) {
  return folder.starts_with('/') && folder.find('%') == folder.npos &&
         folder.find('\0') == folder.npos;
}

// Section: what one section says; what it does not say is left to [global].
struct Section {
  std::string name;
  std::optional<std::string> folder;
  std::optional<bool> available;
  std::optional<bool> printable;
  bool copies = false;

  void set(const std::string& key, const std::string& value) {
    if (key == "path" || key == "directory") folder = withoutQuotes(value);
    if (key == "available") available = truthOf(value);
    if (key == "printable" || key == "printok") printable = truthOf(value);
    if (key == "copy") copies = true;
  }
};

// SectionReader: the sections of a text.
class SectionReader {
public:
  explicit SectionReader(std::string_view text) {
    Section* current = &global_;
    while (!text.empty()) {
      std::string line = takeLine(text);
      if (line.starts_with('[')) {
        current = open(line);
      } else if (current) {
        assign(*current, line);
      }
    }
  }

  const Section& global() const { return global_; }
  const std::vector<Section>& sections() const { return sections_; }
  std::optional<std::string> userShareFolder() const {
    return userSharesAreOff_ ? std::string() : userShareFolder_;
  }

private:
  // Null when what follows belongs to no share.
  Section* open(std::string_view line) {
    size_t end = line.find(']');
    if (end == line.npos) return nullptr;
    std::string name = squeezed(line.substr(1, end - 1));
    std::string key = keyOf(name);
    if (key == "global") return &global_;
    if (std::find(kServersOwn.begin(), kServersOwn.end(), key) != kServersOwn.end()) return nullptr;
    if (!isShareName(name)) return nullptr;
    auto known = byName_.find(inSmallLetters(name));
    if (known != byName_.end()) return &sections_[known->second];
    if (sections_.size() == SambaConfig::kMostShares) return nullptr;
    byName_[inSmallLetters(name)] = sections_.size();
    sections_.emplace_back();
    sections_.back().name = name;
    return &sections_.back();
  }

  void assign(Section& section, std::string_view line) {
    size_t sign = line.find('=');
    if (sign == line.npos) return;
    std::string key = keyOf(line.substr(0, sign));
    std::string value = squeezed(line.substr(sign + 1));
    section.set(key, value);
    if (&section != &global_) return;
    if (key == "usersharepath") userShareFolder_ = withoutQuotes(value);
    if (key == "usersharemaxshares") userSharesAreOff_ = value == "0";
  }

  Section global_;
  std::vector<Section> sections_;
  std::unordered_map<std::string, size_t> byName_;
  std::optional<std::string> userShareFolder_;
  bool userSharesAreOff_ = false;
};

}  // namespace

SambaConfig::SambaConfig(std::string_view text) {
  SectionReader reader(text);
  const Section& global = reader.global();
  for (const Section& section : reader.sections()) {
    bool isServed = section.available.value_or(global.available.value_or(true)) &&
                    !section.printable.value_or(global.printable.value_or(false));
    std::string folder = section.folder.value_or(global.folder.value_or(""));
    if (isServed && !section.copies && isKnownFolder(folder))
      shares_.push_back({section.name, folder});
  }
  userShareFolder_ = reader.userShareFolder();
}

std::optional<SambaConfig::Share> SambaConfig::userShare(std::string_view fileName,
                                                         std::string_view text) {
  if (!text.starts_with("#VERSION ")) return std::nullopt;
  Share share;
  share.name = fileName;
  while (!text.empty()) {
    std::string_view line = takeOneLine(text);
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (line.starts_with("path=")) share.folder = line.substr(line.find('=') + 1);
    if (line.starts_with("sharename=")) share.name = line.substr(line.find('=') + 1);
  }
  bool isItsOwn = inSmallLetters(share.name) == inSmallLetters(fileName);
  if (!isItsOwn || !isShareName(share.name) || !isKnownFolder(share.folder)) return std::nullopt;
  return share;
}
