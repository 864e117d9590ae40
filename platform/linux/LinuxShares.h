#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/OsFiles.h"
#include "platform/linux/SambaConfig.h"

// LinuxShares: the folders that this machine serves to others through Samba.
// Story      Made by reading the server's configuration, and the files of the folder in which users
//            make shares of their own, links among them left out. A share of the configuration
//            comes before one of that name that a user made. The configuration is the file that the
//            environment names in FSYS_SAMBA_CONFIG, else /etc/samba/smb.conf; the users' folder is
//            the one named in FSYS_SHARES, else by the configuration, else
//            /var/lib/samba/usershares.
// Threads    one. Reading waits for the disk; for a drive that may fall silent kDrivePatience_ms at
//            most, for the configuration and for the users' folder.
// Errors     none, and the thread's last error stays: what cannot be read, does not answer, or is
//            larger than kMostFile_bytes, serves nothing. A configuration that is there and is not
//            read is logged. std::bad_alloc.
class LinuxShares {
public:
  static constexpr uint64_t kMostFile_bytes = 1 << 20;

  LinuxShares();

  // Sorted by name without regard to case, no name twice; at most SambaConfig::kMostShares.
  const std::vector<SambaConfig::Share>& all() const { return shares_; }
  // As others name them by the name of this machine; none when that is empty.
  Vector<iFileManager::Share> ofWorkstation(const LightweightString<wchar_t>& workstation) const;

private:
  void addConfigured();
  void addUsers();
  // Sorted.
  void keepFirstOfEachName();

  std::string userFolder_;
  std::vector<SambaConfig::Share> shares_;
};
