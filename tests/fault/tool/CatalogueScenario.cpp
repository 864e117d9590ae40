// The commands that ask the catalogue, and those of links.
#include <filesystem>

#include "tests/fault/tool/ToolScenario.h"

namespace {

using Stage = ToolStage;
using Run = ToolRun;

constexpr const char* kCookie = "V4K7Q2M9A00";
constexpr const char* kMedia = "media/Material/V4K7Q2M9A00.mov";
constexpr const char* kProxy = "media/Material/V4K7Q2M9A00.A0.proxy.360.mov";
constexpr const char* kBeside = "media/Material/V4K7Q2M9A00.mov.qvix";
constexpr const char* kOther = "media/Material/V4K7Q2M9A01.mov";
constexpr const char* kCanary = "canary/bird";
constexpr const char* kLink = "link.mov";
constexpr size_t kLinkBytes = 512;
constexpr uint64_t kBytes = 3000;

std::string absolute(const Stage& s, const char* name) {
  return std::filesystem::path(s.path(name)).lexically_normal().native();
}
std::string linkTo(const std::string& target) {
  std::string content = target;
  content.resize(kLinkBytes);
  return content;
}

void nothing(const Stage&) {}
void withMedia(const Stage& s) {
  for (const char* name : {"project", "media/Material", "media/Sound", "canary"})
    s.makeFolder(name);
  for (const char* name : {kMedia, kProxy, kBeside, kOther, kCanary}) s.put(name, kBytes);
  s.putText("project/DefNetDrive.txt", absolute(s, "media") + "/\n");
}
void withLink(const Stage& s) { s.putText(kLink, linkTo("/old/target")); }

bool says(const Run& run, const std::string& what) {
  return run.out.find(what) != std::string::npos;
}

// What no command may touch.
std::string whyNotKept(const Stage& s) {
  std::string why;
  for (const char* name : {kOther, kCanary})
    why += s.exists(name) ? s.whyNot(name, kBytes) : std::string(name) + " is gone; ";
  return why;
}
std::string whyNotAllKept(const Stage& s) {
  std::string why = whyNotKept(s);
  for (const char* name : {kMedia, kProxy, kBeside})
    why += s.exists(name) ? s.whyNot(name, kBytes) : std::string(name) + " is gone; ";
  return why;
}

std::string scanned(const Stage& s, const Run& run) {
  bool isMissing = run.code == 0 && !says(run, absolute(s, "media"));
  return whyNotAllKept(s) + (isMissing ? "the folder was not told; " : "");
}
std::string foundIt(const Stage& s, const Run& run) {
  bool isOther = run.code == 0 && !says(run, absolute(s, kMedia));
  return whyNotAllKept(s) + (isOther ? "another file; " : "");
}
// What was said to be beside is gone, too.
std::string deleted(const Stage& s, const Run& run) {
  std::string why = whyNotKept(s);
  if (!s.exists(kProxy)) why += "the proxy is gone; ";
  if (run.code != 0) return why;
  if (s.exists(kMedia)) why += "the media is there; ";
  if (s.exists(kBeside) && says(run, kBeside)) why += "what was beside it is there; ";
  return why;
}

std::string whyNotLink(const Stage& s, const Run& run, const char* before) {
  std::string is = s.exists(kLink) ? s.content(kLink) : "";
  if (is == linkTo(absolute(s, "given/target"))) return "";
  bool isBefore = before ? is == linkTo(before) : is.empty();
  if (run.code != 0 && isBefore) return "";
  return "the link has " + std::to_string(is.size()) + " other bytes; ";
}
std::string linked(const Stage& s, const Run& run) { return whyNotLink(s, run, nullptr); }
std::string linkedAnew(const Stage& s, const Run& run) { return whyNotLink(s, run, "/old/target"); }

ToolScenario catalogue(const char* name, std::vector<std::string> words,
                       std::string (*judge)(const Stage&, const Run&)) {
  words.insert(words.end(), {"--project", "@project"});
  ToolScenario made = {name, std::move(words), nothing, withMedia, judge};
  made.callsVary = made.asksTheRegistry = true;
  return made;
}
ToolScenario link(const char* name, std::vector<std::string> words, void (*prepare)(const Stage&),
                  std::string (*judge)(const Stage&, const Run&)) {
  ToolScenario made = {name, std::move(words), nothing, prepare, judge};
  made.callsVary = made.asksTheRegistry = true;
  return made;
}

}  // namespace

std::vector<ToolScenario> catalogueScenarios() {
  return {
      catalogue("Scan", {"scan", "--stats"}, scanned),
      catalogue("Find", {"find", kCookie}, foundIt),
      catalogue("Rm", {"rm", kCookie, "--high", "--yes"}, deleted),
      link("LinkCreate", {"link", "create", "@link.mov", "@given/target"}, nothing, linked),
      link("LinkReplace", {"link", "create", "@link.mov", "@given/target", "--replace"}, withLink,
           linkedAnew),
  };
}
