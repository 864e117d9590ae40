// What is told of Samba's shares, against the server itself.

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <set>
#include <sstream>
#include <string>

#include "fsys/DiskManager.h"
#include "fsys/VolumeRegistry.h"
#include "platform/PathHelpers.h"
#include "platform/linux/LinuxFileManager.h"
#include "tests/support/AsNobody.h"
#include "tests/support/ScratchFolder.h"

namespace {

using Manager = iFileManager;
using Text = LightweightString<wchar_t>;

constexpr char kAddress[] = "127.0.0.1";
constexpr auto kPatience = std::chrono::seconds(20);

sockaddr_in addressOf(uint16_t port) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  inet_pton(AF_INET, kAddress, &address.sin_addr);
  return address;
}

// A port that nobody listens on; 0 when there is none.
uint16_t freePort() {
  int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = addressOf(0);
  socklen_t bytes = sizeof(address);
  bool found = bind(descriptor, reinterpret_cast<sockaddr*>(&address), bytes) == 0 &&
               getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &bytes) == 0;
  close(descriptor);
  return found ? ntohs(address.sin_port) : uint16_t{0};
}

bool listens(uint16_t port) {
  int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = addressOf(port);
  int result = connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof(address));
  close(descriptor);
  return result == 0;
}

bool isInstalled(const std::string& program) {
  return std::system(("command -v " + program + " >/dev/null 2>&1").c_str()) == 0;
}

// SambaServer: the system's SMB server on the loopback, with a configuration and folders of its
// own, for as long as it lives. It ends with this process, however that ends.
// Errors     whyNot() says why there is none.
class SambaServer {
public:
  explicit SambaServer(const ScratchFolder& folder) : folder_(folder) {
    if (!isInstalled("smbd") || !isInstalled("smbclient"))
      whyNot_ = "smbd or smbclient is not installed";
    else if (geteuid() != 0)
      whyNot_ = "only root can start smbd";
    else if (asNobody(folder, [] { return true; }) == eCannotTry)
      whyNot_ = "guests of the server may not enter the folder of the tests";
    mkdir(folder.bytes("state").c_str(), 0755);
    // The server takes users' shares only from a folder in which nobody can remove another's.
    mkdir(folder.bytes("users").c_str(), 0755);
    chmod(folder.bytes("users").c_str(), 01770);
  }
  ~SambaServer() { stop(); }
  SambaServer(const SambaServer&) = delete;
  SambaServer& operator=(const SambaServer&) = delete;

  const std::string& whyNot() const { return whyNot_; }
  std::string configuration() const { return folder_.bytes("smb.conf"); }

  // Serves those sections, and the files of "users".
  void start(const std::string& sections) {
    if (!whyNot_.empty()) return;
    port_ = freePort();
    folder_.put("smb.conf", globalSection() + sections);
    server_ = fork();
    if (server_ == 0) runServer();
    if (server_ < 0 || !waitUntilItListens()) whyNot_ = "smbd does not listen on the loopback";
  }
  // What the client answers to those words.
  bool ask(const std::string& words, std::string& answer) const {
    std::string output = folder_.bytes("answer");
    std::string command = "timeout 15 smbclient -N -p " + std::to_string(port_) + " -s '" +
                          configuration() + "' " + words + " >'" + output + "' 2>&1";
    bool succeeded = std::system(command.c_str()) == 0;
    answer = folder_.content("answer");
    return succeeded;
  }

private:
  std::string globalSection() const {
    std::string text =
        "[global]\nworkgroup = FSYSTEST\nserver role = standalone server\n"
        "map to guest = Bad User\ninterfaces = lo\nbind interfaces only = yes\n"
        "disable netbios = yes\nload printers = no\nprintcap name = /dev/null\n"
        "disable spoolss = yes\nlogging = file\nmax log size = 100\n"
        "usershare max shares = 10\nusershare allow guests = yes\nusershare owner only = no\n";
    for (const char* kind : {"private dir", "lock directory", "state directory", "ncalrpc dir",
                             "cache directory", "pid directory"})
      text += std::string(kind) + " = " + folder_.bytes("state") + "\n";
    return text + "log file = " + folder_.bytes("state/log") +
           "\nsmb ports = " + std::to_string(port_) +
           "\nusershare path = " + folder_.bytes("users") + "\n";
  }
  // The first process in a set of its own, all of which the system ends with it: the server starts
  // others that leave its group.
  [[noreturn]] void runServer() const {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    unshare(CLONE_NEWPID);
    pid_t first = fork();
    if (first != 0) {
      waitpid(first, nullptr, 0);
      _exit(0);
    }
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    std::string conf = configuration();
    std::string log = folder_.bytes("state");
    execlp("smbd", "smbd", "--foreground", "--no-process-group", "-s", conf.c_str(), "-l",
           log.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  // Looks again every few milliseconds, and no more once the server is gone.
  bool waitUntilItListens() const {
    constexpr int kPause_ms = 20;
    int watch = static_cast<int>(syscall(SYS_pidfd_open, server_, 0));
    auto deadline = std::chrono::steady_clock::now() + kPatience;
    bool isThere = listens(port_);
    pollfd gone = {watch, POLLIN, 0};
    while (!isThere && watch >= 0 && std::chrono::steady_clock::now() < deadline &&
           poll(&gone, 1, kPause_ms) == 0)
      isThere = listens(port_);
    if (watch >= 0) close(watch);
    return isThere;
  }
  void stop() {
    if (server_ <= 0) return;
    kill(server_, SIGKILL);
    waitpid(server_, nullptr, 0);
    server_ = 0;
  }

  const ScratchFolder& folder_;
  std::string whyNot_;
  uint16_t port_ = 0;
  pid_t server_ = 0;
};

class SambaServerTest : public ::testing::Test {
protected:
  void makeFolder(std::string_view name) const {
    ASSERT_EQ(mkdir(folder_.bytes(name).c_str(), 0755), 0);
  }
  std::string share(const std::string& name, const std::string& folder) const {
    return "[" + name + "]\npath = " + folder_.bytes(folder) +
           "\nguest ok = yes\nread only = no\nforce user = root\n";
  }
  static Vector<Manager::Share> known() {
    return linuxFileManager()->getShares(fromUTF8(kAddress));
  }
  // The shares that the server itself lists, without its own.
  std::set<std::string> listed() const {
    std::string answer;
    EXPECT_TRUE(server_.ask("-g -L " + std::string(kAddress), answer)) << answer;
    std::set<std::string> names;
    std::istringstream lines(answer);
    for (std::string line; std::getline(lines, line);) {
      if (!line.starts_with("Disk|")) continue;
      line.erase(0, line.find('|') + 1);
      names.insert(line.substr(0, line.find('|')));
    }
    return names;
  }

  ScratchFolder folder_;
  SambaServer server_{folder_};
  ScopedEnvironment configuration_{"FSYS_SAMBA_CONFIG", server_.configuration().c_str()};
  ScopedEnvironment users_{"FSYS_SHARES", nullptr};
};

}  // namespace

TEST_F(SambaServerTest, AFileThatIsPutByTheNetworkNameOfAShareLiesInItsLocalFolder) {
  makeFolder("media");
  makeFolder("mine");
  folder_.put("users/mine", "#VERSION 2\npath=" + folder_.bytes("mine") +
                                "\ncomment=\nusershare_acl=S-1-1-0:F\nguest_ok=y\n"
                                "sharename=Mine\n");
  server_.start(share("Media", "media"));
  if (!server_.whyNot().empty()) GTEST_SKIP() << server_.whyNot();
  folder_.put("clip", "frames");
  // A guest writes there as nobody.
  ASSERT_EQ(chmod(folder_.bytes("mine").c_str(), 0777), 0);
  ASSERT_EQ(chmod(folder_.path().c_str(), 0711), 0);
  Vector<Manager::Share> shares = known();
  ASSERT_EQ(shares.size(), 2u);
  for (const Manager::Share& one : shares) {
    std::string unc = toUTF8(one.uncName).c_str();
    std::string answer;
    ASSERT_TRUE(
        server_.ask("'" + unc + "' -c 'put \"" + folder_.bytes("clip") + "\" clip.mov'", answer))
        << unc << ": " << answer;
    uint64_t bytes = 0;
    EXPECT_TRUE(linuxFileManager()->getFileSize(one.localPath + L"clip.mov", bytes)) << unc;
    EXPECT_EQ(bytes, 6u);
  }
  EXPECT_EQ(folder_.content("media/clip.mov"), "frames");
  EXPECT_EQ(folder_.content("mine/clip.mov"), "frames");
}

TEST_F(SambaServerTest, AFileThatIsPutByItsNetworkNameIsReadByItsLocalOneAndBothLeadToEachOther) {
  for (const char* name : {"media", "media/Material", "project"}) makeFolder(name);
  server_.start(share("Media", "media"));
  if (!server_.whyNot().empty()) GTEST_SKIP() << server_.whyNot();
  folder_.put("clip", "frames");
  ASSERT_EQ(chmod(folder_.path().c_str(), 0711), 0);
  VolumeRegistry::get().shares.forget();
  DiskManager::init(folder_ / "project/", true);
  ASSERT_TRUE(DiskManager::addMediaLocation(folder_ / "media/"));
  const MaterialFilename file(DiskManager::get_drive(0), L"/Material/clip.mov");
  const Text unc = DiskManager::convertLocalToUNC(file);
  const std::string name = toUTF8(unc).c_str();
  const size_t rest = name.find('\\', name.find('\\', 2) + 1);
  ASSERT_NE(rest, name.npos) << name;
  std::string answer;
  ASSERT_TRUE(server_.ask("'" + name.substr(0, rest) + "' -I " + kAddress + " -c 'put \"" +
                              folder_.bytes("clip") + "\" \"" + name.substr(rest) + "\"'",
                          answer))
      << name << ": " << answer;
  EXPECT_EQ(file.getOsPath(), folder_ / "media/Material/clip.mov");
  EXPECT_EQ(folder_.content("media/Material/clip.mov"), "frames");
  EXPECT_EQ(fixForeignOSFileName(DiskManager::convertUNCtoLocalShare(unc)), file.getOsPath());
  const MaterialFilename back = DiskManager::convertUNCtoFsysFilename(unc);
  EXPECT_EQ(back.getDrive(), file.getDrive());
  EXPECT_EQ(fixForeignOSFileName(back.getPath()), file.getPath());
  DiskManager::deInit();
  VolumeRegistry::get().shares.forget();
}

TEST_F(SambaServerTest, TheSharesAreThoseThatTheServerLists) {
  for (const char* name : {"a", "b", "my media", "off"}) makeFolder(name);
  std::string path = folder_.bytes("");
  ASSERT_EQ(chmod(folder_.path().c_str(), 0711), 0);
  std::string user = "path=" + path + "a\ncomment=\nusershare_acl=S-1-1-0:F\nguest_ok=y\n";
  folder_.put("users/right", "#VERSION 2\n" + user + "sharename=Right\n");
  folder_.put("users/old", "#VERSION 1\n" + user);
  folder_.put("users/mismatch", "#VERSION 2\n" + user + "sharename=other\n");
  folder_.put("users/versionless", user);
  folder_.put("users/twice", "#VERSION 2\n" + user + "sharename=tWICE\n");
  server_.start(share("Plain", "a") + share("twice", "none") + share("TWICE", "b") +
                share("two  words", "my media") + share("off", "off") + "available = no\n" +
                "[quoted]\npath = \"" + path + "my media\"\n" + "[goes on]\npa\\\nth = " + path +
                "\\\n/a\n" + share("remarked", "a") + " ; remark \\\n available = no\n" +
                "# [remark]\n[empty]\npath =\n[homes]\npath = /home\n[homes]\n" +
                "available = no\n[print$]\npath = /var\navailable = no\n");
  if (!server_.whyNot().empty()) GTEST_SKIP() << server_.whyNot();
  std::set<std::string> names;
  for (const Manager::Share& one : known()) {
    std::string name = toUTF8(one.uncName).c_str();
    names.insert(name.substr(name.rfind('\\') + 1));
    EXPECT_TRUE(linuxFileManager()->folderExists(one.localPath)) << toUTF8(one.localPath).c_str();
  }
  EXPECT_EQ(names, listed());
  EXPECT_EQ(names, (std::set<std::string>{"Plain", "twice", "two words", "quoted", "goes on",
                                          "Right", "old"}));
}
