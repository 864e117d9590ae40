// The commands that ask the registry of media drives.
#include <algorithm>
#include <filesystem>

#include "platform/OS.h"
#include "tests/fault/tool/ToolScenario.h"

namespace {

using Stage = ToolStage;
using Run = ToolRun;

constexpr const char* kList = "project/DefNetDrive.txt";
constexpr const char* kUnmounted = "project/UnmountedDrives.txt";
constexpr const char* kInfo = "given/one/Material/MediaSpaceInfo.txt";
constexpr const char* kOldName = "name=Old\n";
constexpr const char* kSettings = "config/fsys/preferences";

// As the tool writes it.
std::string line(const Stage& s, const char* name) {
  return std::filesystem::path(s.path(name)).lexically_normal().native() + "/\n";
}

// Two locations are registered, one of which has its folders; a third is not.
void givenLocations(const Stage& s) {
  for (const char* name : {"given/one/Material", "given/one/Sound", "given/two", "given/three"})
    s.makeFolder(name);
  s.putText("given/smb.conf", "[media]\npath = " + s.path("given/two") + "\n");
}
std::string oldLines(const Stage& s) { return line(s, "given/one") + line(s, "given/two"); }
void withLists(const Stage& s) {
  s.makeFolder("project");
  s.putText(kList, oldLines(s));
  s.putText(kUnmounted, "/away/\n");
  s.putText(kInfo, kOldName);
}
void withSettings(const Stage& s) {
  withLists(s);
  s.makeFolder("config/fsys");
  s.putText(kSettings, "Other = kept\nMedia Location (Record) = " + s.path("given/two") + "\n");
}
void withFolder(const Stage& s) {
  withLists(s);
  s.makeFolder("fresh");
}

bool says(const Run& run, const std::string& what) {
  return run.out.find(what) != std::string::npos;
}

// A file has the old content or the new one, and the new one after a success.
std::string whyNotChanged(const Stage& s, const Run& run, const char* name,
                          const std::string& before, const std::string& after) {
  std::string is = s.exists(name) ? s.content(name) : "";
  if (is == after || (run.code != 0 && is == before)) return "";
  return std::string(name) + " has \"" + is + "\"; ";
}
std::string whyNotKept(const Stage& s, const Run& run) {
  return whyNotChanged(s, run, kList, oldLines(s), oldLines(s)) +
         whyNotChanged(s, run, kUnmounted, "/away/\n", "/away/\n") +
         whyNotChanged(s, run, kInfo, kOldName, kOldName);
}

template <size_t kWords>
std::string saidOf(const Stage& s, const Run& run, const char* const (&words)[kWords]) {
  bool isMissing = std::any_of(std::begin(words), std::end(words),
                               [&](const char* what) { return !says(run, what); });
  return whyNotKept(s, run) + (run.code == 0 && isMissing ? "not all of it was said; " : "");
}

std::string listed(const Stage& s, const Run& run) {
  return saidOf(s, run, {"\"locations\"", "given/one/", "given/two/", "/away/"});
}
std::string drivesListed(const Stage& s, const Run& run) {
  return saidOf(s, run, {"as a media drive", "given/one/", "given/two/"});
}
std::string checked(const Stage& s, const Run& run) {
  return saidOf(s, run, {"given/one/", "given/two/", "yes"});
}
std::string timed(const Stage& s, const Run& run) { return saidOf(s, run, {"time left"}); }
std::string chosen(const Stage& s, const Run& run) { return saidOf(s, run, {"media drive '"}); }
std::string named(const Stage& s, const Run& run) { return saidOf(s, run, {"\\media\\x"}); }
std::string found(const Stage& s, const Run& run) { return saidOf(s, run, {"given/two/x"}); }

std::string added(const Stage& s, const Run& run) {
  return whyNotChanged(s, run, kList, oldLines(s), oldLines(s) + line(s, "given/three"));
}
std::string addedFirst(const Stage& s, const Run& run) {
  return whyNotChanged(s, run, kList, "", line(s, "given/three"));
}
std::string removed(const Stage& s, const Run& run) {
  return whyNotChanged(s, run, kList, oldLines(s), line(s, "given/two"));
}
std::string renamed(const Stage& s, const Run& run) {
  return whyNotChanged(s, run, kInfo, kOldName, "name=New\n");
}
std::string prepared(const Stage& s, const Run& run) {
  bool isDone = s.exists("fresh/Material") && s.exists("fresh/Sound");
  return whyNotKept(s, run) + (run.code == 0 && !isDone ? "a folder is missing; " : "");
}

// The setting of the task, and the other one.
std::string whyNotSet(const Stage& s, const Run& run, const std::string& after) {
  std::string is = s.content(kSettings);
  std::string why = is.find("Other = kept\n") == 0 ? "" : "another setting is gone; ";
  std::string before = s.path("given/two");
  size_t at = is.find("Media Location (Record) = ");
  std::string value = at == std::string::npos ? "" : is.substr(is.find('=', at) + 2);
  if (!value.empty() && value.back() == '\n') value.pop_back();
  bool isRight = value == after || (run.code != 0 && value == before);
  return whyNotKept(s, run) + why + (isRight ? "" : "the setting is \"" + value + "\"; ");
}
std::string set(const Stage& s, const Run& run) { return whyNotSet(s, run, s.path("given/one")); }
std::string unset(const Stage& s, const Run& run) { return whyNotSet(s, run, ""); }
std::string got(const Stage& s, const Run& run) {
  return whyNotSet(s, run, s.path("given/two")) +
         (run.code == 0 && !says(run, "given/two/") ? "another drive; " : "");
}

std::string sharesName() {
  LightweightString<wchar_t> name = L"\\\\" + OS()->getSystemInfo()->getWorkstationName();
  return std::string(toUTF8(name).view()) + "\\media";
}

ToolScenario scenario(const char* name, std::vector<std::string> words,
                      void (*prepare)(const Stage&),
                      std::string (*judge)(const Stage&, const Run&)) {
  words.insert(words.end(), {"--project", "@project"});
  ToolScenario made = {name, std::move(words), givenLocations, prepare, judge};
  made.callsVary = made.asksTheRegistry = true;
  return made;
}

void nothing(const Stage&) {}

}  // namespace

std::vector<ToolScenario> storageScenarios() {
  return {
      scenario("Drives", {"drives"}, withLists, drivesListed),
      scenario("LocationsList", {"locations", "list", "--json"}, withLists, listed),
      scenario("LocationsAdd", {"locations", "add", "@given/three"}, withLists, added),
      scenario("LocationsAddTheFirst", {"locations", "add", "@given/three"}, nothing, addedFirst),
      scenario("LocationsRemove", {"locations", "remove", "@given/one"}, withLists, removed),
      scenario("LocationsRename", {"locations", "rename", "@given/one", "New"}, withLists, renamed),
      scenario("LocationsCheck", {"locations", "check"}, withLists, checked),
      scenario("Prepare", {"prepare", "@fresh"}, withFolder, prepared),
      scenario("TaskSet", {"task", "set", "Record", "@given/one"}, withSettings, set),
      scenario("TaskGet", {"task", "get", "Record"}, withSettings, got),
      scenario("TaskClear", {"task", "clear", "Record"}, withSettings, unset),
      scenario("Best", {"best", "--size", "1", "--match", "most-free"}, withLists, chosen),
      scenario("Time", {"time", "--rate", "1M"}, withLists, timed),
      scenario("UncTo", {"unc", "to", "@given/two/x"}, withLists, named),
      scenario("UncFrom", {"unc", "from", sharesName() + "\\x"}, withLists, found),
  };
}
