// Loads a plug-in that uses the library, and unloads it, several times: no thread and nothing of
// the library may be left. Usage: fsys_unload PLUG-IN shut-down|leave-it

#include <dlfcn.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tests/support/Pattern.h"

namespace {

constexpr int kTurns = 5;
constexpr uint64_t kFileBytes = 1 << 20;

int fail(const char* what, const char* why) {
  std::fprintf(stderr, "%s: %s\n", what, why);
  return 1;
}

bool isMapped(const char* library) {
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);)
    if (line.find(library) != std::string::npos) return true;
  return false;
}

long threads() {
  std::filesystem::directory_iterator all("/proc/self/task");
  return std::distance(begin(all), end(all));
}

int loadAndUnload(const char* plugIn, const std::string& path, bool shutsDown) {
  const long before = threads();
  void* loaded = dlopen(plugIn, RTLD_NOW | RTLD_LOCAL);
  if (!loaded) return fail("loading", dlerror());
  auto use = reinterpret_cast<int (*)(const char*, bool)>(dlsym(loaded, "useEngine"));
  if (!use) return fail("loading", dlerror());
  if (!isMapped("libfsys.so")) return fail("loading", "the library is not there");
  if (int code = use(path.c_str(), shutsDown)) return fail("using", std::to_string(code).c_str());
  if (dlclose(loaded) != 0) return fail("unloading", dlerror());
  if (isMapped("libfsys.so")) return fail("unloading", "the library is still there");
  if (threads() != before) return fail("unloading", "a thread is left");
  return 0;
}

}  // namespace

int main(int count, char** words) {
  if (count != 3) return fail("usage", "fsys_unload PLUG-IN shut-down|leave-it");
  const std::string path =
      (std::filesystem::current_path() / (std::string("unload-") + words[2])).string();
  std::vector<unsigned char> bytes = patternBytes(kFileBytes);
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(kFileBytes));
  int code = 0;
  for (int turn = 0; code == 0 && turn < kTurns; ++turn)
    code = loadAndUnload(words[1], path, std::strcmp(words[2], "shut-down") == 0);
  std::filesystem::remove(path);
  return code;
}
