#include "bench/table/ToolProbe.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <vector>

#include "bench/table/Child.h"
#include "bench/table/PrivateMounts.h"
#include "bench/table/Statistics.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned kRuns = 9;
constexpr unsigned kHungRuns = 3;

// The median of so many runs; none when one failed or did not list the mount.
std::optional<double> listing_ms(const std::string& tool, const std::string& folder,
                                 const std::string& mount, unsigned runs) {
  std::vector<double> times_ms;
  for (unsigned i = 0; i < runs; ++i) {
    const auto start = Clock::now();
    Child::Result result = Child::run({tool, "drives", "--json"}, {"FSYS_PROJECT=" + folder});
    times_ms.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
    if (result.status != 0 || result.output.find(mount) == std::string::npos) return std::nullopt;
  }
  return Statistics::median(times_ms);
}

// Prints a figure or the reason why there is none.
void tell(const char* key, const std::optional<double>& figure_ms, const std::string& why) {
  if (figure_ms)
    std::printf("%s=%.2f\n", key, *figure_ms);
  else
    std::printf("%s: %s\n", key, why.empty() ? "it failed, or left a mount out" : why.c_str());
}

}  // namespace

int ToolProbe::run(const std::string& tool, const std::string& where) {
  std::filesystem::create_directories(where);
  const std::string folder = std::filesystem::canonical(where).string();  // as mounts are listed
  PrivateMounts mounts;
  std::string mount;
  bool mounted = true;
  for (unsigned i = 0; i < kMounts; ++i) {
    mount = folder + "/mount" + std::to_string(i);
    mounted = mounted && mounts.addMemory(mount);
  }
  std::optional<double> listed_ms, hung_ms;
  if (mounted) listed_ms = listing_ms(tool, folder, mount, kRuns);
  tell("listed_ms", listed_ms, mounts.why());
  mount = folder + "/silent";
  if (mounted && mounts.addSilent(mount)) hung_ms = listing_ms(tool, folder, mount, kHungRuns);
  tell("hung_ms", hung_ms, mounts.why());
  return 0;
}
