#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// SambaConfig: the folders that a configuration of Samba serves.
// Story      Made of the text of smb.conf, as the server reads it: sections in brackets, lines of
//            key and value, a line that ends in a backslash goes on in the next, the later of two
//            values counts, also where a section is opened again. What stands in [global] holds
//            for every share that does not say otherwise.
//            A share is passed over when it is switched off, when it is a printer, and when its
//            folder is not known from the text alone: a path that is not absolute or that has a
//            variable ('%'), settings that are copied from another share. The server's own shares
//            (homes, printers, print$) are none. Files that the text includes, and a configuration
//            in the registry, are not followed.
// Threads    any; pure; it never changes.
// Errors     none: a line that is none of the above is passed over, as is a name that cannot stand
//            in a UNC name. The text may be anybody's.
// Units      names and folders are bytes.
class SambaConfig {
public:
  static constexpr size_t kMostShares = 1000;  // those that come later are passed over

  struct Share {
    std::string name;
    std::string folder;  // absolute, as it is written
    bool operator==(const Share&) const = default;
  };

  explicit SambaConfig(std::string_view text);

  // In the order in which they are opened.
  const std::vector<Share>& shares() const { return shares_; }
  // The folder of the shares that users made; nothing when it is not said, and an empty text when
  // there are to be none.
  const std::optional<std::string>& userShareFolder() const { return userShareFolder_; }

  // One file of that folder. Nothing when it does not begin as such files do, names no folder, or
  // is of another share than its own name says.
  static std::optional<Share> userShare(std::string_view fileName, std::string_view text);

private:
  std::vector<Share> shares_;
  std::optional<std::string> userShareFolder_;
};
