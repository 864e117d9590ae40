#include "tests/support/HeldFileSystem.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>

#include "tests/support/HeldFileServer.h"

HeldFileSystem::HeldFileSystem(const std::string& folder, eHolds holds, const char* kind)
    : folder_(folder) {
  int device = open("/dev/fuse", O_RDWR | O_CLOEXEC);
  if (device < 0) return;
  std::string options = "fd=" + std::to_string(device) + ",rootmode=40755,user_id=0,group_id=0";
  std::array<int, 2> ends = {-1, -1};
  if (mkdir(folder.c_str(), 0700) == 0 &&
      mount("held", folder.c_str(), kind, MS_NOSUID | MS_NODEV, options.c_str()) == 0 &&
      socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) == 0)
    server_ = fork();
  if (server_ == 0 && ends[0] >= 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    close(ends[0]);
    HeldFileServer(device, ends[1], holds).serve();
    _exit(0);
  }
  if (ends[1] >= 0) close(ends[1]);
  line_ = ends[0];
  // The server's alone, so that the system fails every request should it go.
  close(device);
}

HeldFileSystem::~HeldFileSystem() {
  if (isMounted()) {
    letGo();
    umount2(folder_.c_str(), MNT_DETACH);
    close(line_);
    waitpid(server_, nullptr, 0);
  }
}

void HeldFileSystem::order(const Order& order) {
  HeldFileServer::Message message = {false, order};
  [[maybe_unused]] ssize_t told = write(line_, &message, sizeof(message));
}

void HeldFileSystem::waitUntilHeld(size_t requests) {
  std::array<char, 64> bytes;
  while (held_ < requests) {
    ssize_t told = read(line_, bytes.data(), bytes.size());
    if (told <= 0) return;
    held_ += static_cast<size_t>(told);
  }
}

void HeldFileSystem::letGo() {
  HeldFileServer::Message message = {true, {}};
  [[maybe_unused]] ssize_t told = write(line_, &message, sizeof(message));
}
