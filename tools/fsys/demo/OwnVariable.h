#pragma once

#include <optional>
#include <string>

// OwnVariable: a variable of the environment that is another one for a scope.
// Threads    one; no other thread reads the environment as it begins and ends.
class OwnVariable {
public:
  OwnVariable(std::string name, const std::string& value);
  ~OwnVariable();
  OwnVariable(const OwnVariable&) = delete;
  OwnVariable& operator=(const OwnVariable&) = delete;

private:
  std::string name_;
  std::optional<std::string> before_;
};
