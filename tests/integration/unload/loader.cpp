// Loads a plug-in that uses the library, and unloads it, several times: no thread, no descriptor
// and nothing of the library may be left. While the system holds its transfers, it stays in memory.
// Usage: fsys_unload PLUG-IN shut-down|leave-it|held

#include <dlfcn.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/HeldFileSystem.h"
#include "tests/support/Pattern.h"

namespace {

constexpr int kTurns = 5;
constexpr std::chrono::seconds kForgetting(2);
constexpr uint64_t kFileBytes = 1 << 20;
constexpr const char* kFile = "media";

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

long countIn(const char* folder) {
  std::filesystem::directory_iterator all(folder);
  return std::distance(begin(all), end(all));
}

long threads() { return countIn("/proc/self/task"); }
long descriptors() { return countIn("/proc/self/fd"); }

// A thread that has ended is counted until the kernel has forgotten it.
bool returnsTo(long before) {
  const auto end = std::chrono::steady_clock::now() + kForgetting;
  while (threads() > before && std::chrono::steady_clock::now() < end) std::this_thread::yield();
  return threads() == before;
}

// `shared`: a folder to log in to; null: none.
int loadAndUnload(const char* plugIn, const std::string& path, const char* shared, bool waits,
                  bool shutsDown) {
  void* loaded = dlopen(plugIn, RTLD_NOW | RTLD_LOCAL);
  if (!loaded) return fail("loading", dlerror());
  auto use =
      reinterpret_cast<int (*)(const char*, const char*, bool, bool)>(dlsym(loaded, "useEngine"));
  if (!use) return fail("loading", dlerror());
  if (!isMapped("libfsys.so")) return fail("loading", "the library is not there");
  if (int code = use(path.c_str(), shared, waits, shutsDown))
    return fail("using", std::to_string(code).c_str());
  if (dlclose(loaded) != 0) return fail("unloading", dlerror());
  return 0;
}

int leaveNothing(const char* plugIn, const std::filesystem::path& folder, bool shutsDown) {
  const long threadsBefore = threads();
  const long descriptorsBefore = descriptors();
  if (int code = loadAndUnload(plugIn, folder / kFile, folder.c_str(), shutsDown, shutsDown))
    return code;
  if (isMapped("libfsys.so")) return fail("unloading", "the library is still there");
  if (!returnsTo(threadsBefore)) return fail("unloading", "a thread is left");
  if (descriptors() != descriptorsBefore) return fail("unloading", "a descriptor is left");
  return 0;
}

// The threads that the share holds go on in the library's code when it lets them go.
int leaveWhatIsHeld(const char* plugIn) {
  const std::string folder = (std::filesystem::current_path() / "unload-share").string();
  std::filesystem::remove(folder);
  HeldFileSystem share(folder);
  if (!share.isMounted()) {
    std::puts("skipped: no file system can be mounted here");
    return 77;
  }
  const long before = threads();
  if (int code = loadAndUnload(plugIn, folder + "/held", nullptr, false, true)) return code;
  if (threads() == before) return fail("unloading", "nothing is held");
  if (!isMapped("libfsys.so")) return fail("unloading", "the library is gone under its threads");
  share.letGo();
  while (threads() != before) std::this_thread::yield();
  std::puts("what was held has ended");
  return 0;
}

}  // namespace

int main(int count, char** words) {
#ifdef __SANITIZE_THREAD__
  std::puts("skipped: the race detector goes on looking at what was unloaded");
  return 77;
#endif
  if (count != 3) return fail("usage", "fsys_unload PLUG-IN shut-down|leave-it|held");
  if (std::strcmp(words[2], "held") == 0) return leaveWhatIsHeld(words[1]);
  const std::filesystem::path folder =
      std::filesystem::current_path() / (std::string("unload-") + words[2]);
  std::filesystem::create_directories(folder);
  std::vector<unsigned char> bytes = patternBytes(kFileBytes);
  std::ofstream(folder / kFile, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(kFileBytes));
  int code = 0;
  for (int turn = 0; code == 0 && turn < kTurns; ++turn)
    code = leaveNothing(words[1], folder, std::strcmp(words[2], "shut-down") == 0);
  std::filesystem::remove_all(folder);
  return code;
}
