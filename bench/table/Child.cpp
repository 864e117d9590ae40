#include "bench/table/Child.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>

#include "bench/table/Descriptor.h"

namespace {

std::vector<char*> pointers(std::vector<std::string>& texts) {
  std::vector<char*> result;
  for (std::string& text : texts) result.push_back(text.data());
  result.push_back(nullptr);
  return result;
}

std::string readAll(int descriptor) {
  std::string text;
  std::array<char, 4096> part;
  for (;;) {
    ssize_t count = ::read(descriptor, part.data(), part.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return text;
    text.append(part.data(), static_cast<size_t>(count));
  }
}

}  // namespace

Child::Result Child::run(const std::vector<std::string>& command,
                         const std::vector<std::string>& settings) {
  std::array<int, 2> ends;
  if (pipe2(ends.data(), O_CLOEXEC) != 0) return {};
  Descriptor readEnd(ends[0]);
  Descriptor writeEnd(ends[1]);

  std::vector<std::string> words = command;
  std::vector<std::string> environment = settings;
  for (char** entry = environ; *entry; ++entry) environment.emplace_back(*entry);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, writeEnd.get(), STDOUT_FILENO);
  pid_t child = 0;
  int refused = posix_spawnp(&child, words[0].c_str(), &actions, nullptr, pointers(words).data(),
                             pointers(environment).data());
  posix_spawn_file_actions_destroy(&actions);
  if (refused != 0) return {};
  writeEnd.close();

  Result result;
  result.output = readAll(readEnd.get());
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  if (WIFEXITED(status)) result.status = WEXITSTATUS(status);
  return result;
}

std::string Child::self() { return std::filesystem::read_symlink("/proc/self/exe").string(); }
