#include "tests/support/AutomountedFolder.h"

#include <fcntl.h>
#include <linux/auto_fs.h>
#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>

AutomountedFolder::AutomountedFolder(const std::string& folder, eAnswers answers)
    : folder_(folder) {
  std::array<int, 2> requests = {-1, -1};
  std::array<int, 2> ends = {-1, -1};
  if (mkdir(folder.c_str(), 0700) != 0 || pipe2(requests.data(), O_CLOEXEC) != 0) return;
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) == 0) server_ = fork();
  if (server_ == 0 && ends[0] >= 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    close(ends[0]);
    close(requests[1]);
    serve(requests[0], ends[1], answers);
    _exit(0);
  }
  // Whoever is of the server's group goes there as if nothing were to be mounted.
  if (server_ > 0) setpgid(server_, server_);
  std::string options = "fd=" + std::to_string(requests[1]) + ",pgrp=" + std::to_string(server_) +
                        ",minproto=5,maxproto=5,direct";
  isMounted_ = server_ > 0 && mount("automount", folder.c_str(), "autofs", 0, options.c_str()) == 0;
  close(requests[0]);
  close(requests[1]);
  if (ends[1] >= 0) close(ends[1]);
  line_ = ends[0];
}

AutomountedFolder::~AutomountedFolder() {
  letGo();
  // Nobody is left waiting: the server mounts what it was asked for before it ends.
  if (line_ >= 0) shutdown(line_, SHUT_WR);
  if (server_ > 0) waitpid(server_, nullptr, 0);
  if (isMounted_) umount2(folder_.c_str(), MNT_DETACH);
  if (isMounted_) umount2(folder_.c_str(), MNT_DETACH);
  if (line_ >= 0) close(line_);
}

bool AutomountedFolder::isAsked() {
  char byte = 0;
  isAsked_ = isAsked_ || recv(line_, &byte, 1, MSG_DONTWAIT) == 1;
  return isAsked_;
}

void AutomountedFolder::waitUntilAsked() {
  char byte = 0;
  isAsked_ = isAsked_ || recv(line_, &byte, 1, 0) == 1;
}

void AutomountedFolder::letGo() {
  [[maybe_unused]] ssize_t told = send(line_, "g", 1, MSG_NOSIGNAL);
}

// Until the test has gone; what the system has asked for by then is mounted.
void AutomountedFolder::serve(int requests, int line, eAnswers answers) const {
  bool mayAnswer = answers == eAtOnce;
  bool hasGone = false;
  autofs_v5_packet request = {};
  bool isOpen = false;
  for (;;) {
    std::array<pollfd, 2> sources = {pollfd{hasGone ? -1 : line, POLLIN, 0},
                                     pollfd{isOpen ? -1 : requests, POLLIN, 0}};
    int ready = poll(sources.data(), sources.size(), hasGone ? 0 : -1);
    if (ready < 0 || (ready == 0 && hasGone)) return;
    char byte = 0;
    if (sources[0].revents != 0) {
      hasGone = recv(line, &byte, 1, 0) != 1;
      mayAnswer = true;
    }
    if (sources[1].revents != 0) {
      if (read(requests, &request, sizeof(request)) <= 0) return;
      send(line, "a", 1, MSG_NOSIGNAL);
      isOpen = true;
    }
    if (isOpen && mayAnswer) mountOnIt(request.wait_queue_token);
    isOpen = isOpen && !mayAnswer;
  }
}

void AutomountedFolder::mountOnIt(unsigned long request) const {
  int below = open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  bool isDone = mount("none", folder_.c_str(), "tmpfs", 0, "size=1m") == 0;
  ioctl(below, isDone ? AUTOFS_IOC_READY : AUTOFS_IOC_FAIL, request);
  close(below);
}
