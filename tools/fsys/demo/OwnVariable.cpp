#include "tools/fsys/demo/OwnVariable.h"

#include <cstdlib>
#include <new>
#include <utility>

OwnVariable::OwnVariable(std::string name, const std::string& value) : name_(std::move(name)) {
  if (const char* before = std::getenv(name_.c_str())) before_ = before;
  if (::setenv(name_.c_str(), value.c_str(), 1) != 0) throw std::bad_alloc();
}

OwnVariable::~OwnVariable() {
  if (before_)
    ::setenv(name_.c_str(), before_->c_str(), 1);
  else
    ::unsetenv(name_.c_str());
}
