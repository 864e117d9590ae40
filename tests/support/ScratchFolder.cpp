#include "tests/support/ScratchFolder.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

ScratchFolder::ScratchFolder() {
  const char* place = std::getenv("FSYS_TEST_FOLDER");
  path_ = std::filesystem::canonical(place ? place : ".").string() + "/fsys-test-XXXXXX";
  if (!mkdtemp(path_.data())) throw std::runtime_error("no scratch folder: " + path_);
}

ScratchFolder::~ScratchFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

void ScratchFolder::put(std::string_view name, std::string_view content) const {
  std::ofstream file(bytes(name), std::ios::binary | std::ios::trunc);
  file.write(content.data(), static_cast<std::streamsize>(content.size()));
}

std::string ScratchFolder::content(std::string_view name) const {
  std::ifstream file(bytes(name), std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

ScopedEnvironment::ScopedEnvironment(const char* name, const char* value) : name_(name) {
  if (const char* before = std::getenv(name)) {
    wasSet_ = true;
    before_ = before;
  }
  value ? setenv(name, value, 1) : unsetenv(name);
}

ScopedEnvironment::~ScopedEnvironment() {
  wasSet_ ? setenv(name_.c_str(), before_.c_str(), 1) : unsetenv(name_.c_str());
}
