// Runs a command where drives are mounted that never answer: silent_mount COUNT FOLDER COMMAND...
// They are FOLDER/1 to FOLDER/COUNT, in a mount namespace of their own. With "automount" for COUNT
// there is one, FOLDER/1, at which the system would mount something that never comes. It ends as
// the command does, with 76 where the system was made to mount that, or with 77 where mounting is
// not allowed.

#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/AutomountedFolder.h"
#include "tests/support/HeldFileSystem.h"

namespace {

constexpr int kAsked = 76;
constexpr int kSkipped = 77;
constexpr char kNotAllowed[] = "mounting is not allowed here";
constexpr int kNoCommand = 127;
constexpr int kFirstWord = 3;

int skip(const char* why) {
  std::printf("skipped: %s\n", why);
  return kSkipped;
}

int run(char** words) {
  pid_t child = fork();
  if (child == 0) {
    signal(SIGPIPE, SIG_DFL);
    execvp(words[0], words);
    _exit(kNoCommand);
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child) return kNoCommand;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

int runBesideAutomount(char** words) {
  AutomountedFolder drive(std::string(words[2]) + "/1", AutomountedFolder::eWhenLetGo);
  if (!drive.isMounted()) return skip(kNotAllowed);
  int code = run(words + kFirstWord);
  return drive.isAsked() ? kAsked : code;
}

}  // namespace

int main(int count, char** words) {
  if (count <= kFirstWord) return kNoCommand;
  // What is unmounted when its server has ended may still be asked for.
  signal(SIGPIPE, SIG_IGN);
  if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
    return skip("a mount namespace of one's own is not allowed here");
  if (std::string(words[1]) == "automount") return runBesideAutomount(words);
  std::vector<std::unique_ptr<HeldFileSystem>> drives;
  for (int number = 1; number <= std::atoi(words[1]); ++number) {
    std::string folder = std::string(words[2]) + "/" + std::to_string(number);
    // A network's: what the system knows to be there, and asks.
    drives.push_back(
        std::make_unique<HeldFileSystem>(folder, HeldFileSystem::eEverything, "fuse.sshfs"));
    if (!drives.back()->isMounted()) return skip(kNotAllowed);
  }
  int code = run(words + kFirstWord);
  // Those that were mounted later hold the lines to the earlier ones.
  while (!drives.empty()) drives.pop_back();
  return code;
}
