#include "tests/support/MountedShare.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>

MountedShare::MountedShare(const std::string& folder, const char* source) {
  if (*FSYS_SHARE_SERVER == '\0')
    whyNot_ = "the share's server needs libfuse3, which was not installed";
  else if (mkdir(folder.c_str(), 0700) != 0)
    whyNot_ = "no folder can be made for the share";
  else
    start(folder, source);
}

MountedShare::~MountedShare() {
  if (orders_ >= 0) close(orders_);
  if (program_ > 0) waitpid(program_, nullptr, 0);
  if (answers_ >= 0) close(answers_);
}

// Not by a fork: this process may have threads.
void MountedShare::start(const std::string& folder, const char* source) {
  whyNot_ = "no file system can be mounted here";
  std::array<int, 2> to = {-1, -1};
  std::array<int, 2> from = {-1, -1};
  if (pipe2(to.data(), O_CLOEXEC) != 0) return;
  orders_ = to[1];
  if (pipe2(from.data(), O_CLOEXEC) == 0) {
    answers_ = from[0];
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, to[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, from[1], STDOUT_FILENO);
    std::array<const char*, 4> words = {FSYS_SHARE_SERVER, folder.c_str(), source, nullptr};
    if (posix_spawn(&program_, FSYS_SHARE_SERVER, &actions, nullptr,
                    const_cast<char**>(words.data()), environ) != 0)
      program_ = 0;
    posix_spawn_file_actions_destroy(&actions);
    close(from[1]);
  }
  close(to[0]);
  if (program_ > 0 && hears()) whyNot_.clear();
}

// False when the program has ended.
bool MountedShare::hears() {
  char byte = 0;
  return read(answers_, &byte, 1) == 1;
}

void MountedShare::order(char order) {
  if (write(orders_, &order, 1) == 1) hears();
}
