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

namespace {

void say(int line, const HeldFileServer::Message& message) {
  // The server is gone when the file system is: that is nothing to end the test for.
  [[maybe_unused]] ssize_t told = send(line, &message, sizeof(message), MSG_NOSIGNAL);
}

}  // namespace

HeldFileSystem::HeldFileSystem(const std::string& folder, eHolds holds, const char* kind,
                               const char* source)
    : folder_(folder) {
  int device = open("/dev/fuse", O_RDWR | O_CLOEXEC);
  if (device < 0) return;
  std::string options = "fd=" + std::to_string(device) + ",rootmode=40755,user_id=0,group_id=0";
  std::array<int, 2> ends = {-1, -1};
  if (mkdir(folder.c_str(), 0700) == 0 &&
      mount(source, folder.c_str(), kind, MS_NOSUID | MS_NODEV, options.c_str()) == 0 &&
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
  HeldFileServer::Message message;
  message.kind = HeldFileServer::Message::eOrder;
  message.order = order;
  say(line_, message);
}

void HeldFileSystem::setSpace(const Space& space) {
  HeldFileServer::Message message;
  message.kind = HeldFileServer::Message::eSpace;
  message.space = space;
  say(line_, message);
}

void HeldFileSystem::letGo() {
  HeldFileServer::Message message;
  message.kind = HeldFileServer::Message::eLetGo;
  say(line_, message);
}

void HeldFileSystem::waitUntilHeld(size_t requests) {
  std::array<char, 64> bytes;
  while (held_ < requests) {
    ssize_t told = read(line_, bytes.data(), bytes.size());
    if (told <= 0) return;
    held_ += static_cast<size_t>(told);
  }
}
