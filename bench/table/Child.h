#pragma once

#include <string>
#include <vector>

// Child: runs a program and gathers its standard output.
namespace Child {

struct Result {
  int status = -1;  // exit status; -1 when it could not be started or was ended by a signal
  std::string output;
};

// `settings`: "KEY=value", added to the environment.
Result run(const std::vector<std::string>& command, const std::vector<std::string>& settings = {});

// This program.
std::string self();

}  // namespace Child
