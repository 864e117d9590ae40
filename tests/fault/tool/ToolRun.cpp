#include "tests/fault/tool/ToolRun.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <stdexcept>

#include "tests/fault/FaultPause.h"
#include "tools/fsys/Tool.h"

namespace {

// Redirected: for a scope, a standard descriptor is another file.
class Redirected {
public:
  Redirected(int standard, int other)
      : standard_(standard), before_(::dup(standard)), other_(other) {
    if (other_ < 0 || before_ < 0 || ::dup2(other_, standard_) < 0)
      throw std::runtime_error("a standard descriptor cannot be redirected");
  }
  ~Redirected() {
    ::dup2(before_, standard_);
    ::close(before_);
    ::close(other_);
  }
  Redirected(const Redirected&) = delete;
  Redirected& operator=(const Redirected&) = delete;

  std::string content() const {
    std::string all(static_cast<size_t>(::lseek(other_, 0, SEEK_END)), '\0');
    ssize_t done = ::pread(other_, all.data(), all.size(), 0);
    if (done != static_cast<ssize_t>(all.size())) throw std::runtime_error("words were lost");
    return all;
  }

private:
  int standard_;
  int before_;
  int other_;
};

int run(const std::vector<const char*>& arguments) {
  FaultWatch watch;
  try {
    return runTool(static_cast<int>(arguments.size()), arguments.data());
  } catch (...) {
    return -1;
  }
}

}  // namespace

ToolRun runToolHere(const std::vector<std::string>& words, const std::string& input) {
  std::vector<const char*> arguments{"fsys"};
  for (const std::string& word : words) arguments.push_back(word.c_str());
  ToolRun result;
  std::fflush(stdout);
  {
    Redirected in(STDIN_FILENO, ::open(input.c_str(), O_RDONLY | O_CLOEXEC));
    Redirected out(STDOUT_FILENO, ::memfd_create("out", MFD_CLOEXEC));
    Redirected err(STDERR_FILENO, ::memfd_create("err", MFD_CLOEXEC));
    result.code = run(arguments);
    std::fflush(stdout);
    result.out = out.content();
    result.err = err.content();
  }
  return result;
}
