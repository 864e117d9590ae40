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
constexpr const char* kComing = "media/Material/V4K7Q2M9A04.mov";
constexpr const char* kCanary = "canary/bird";
// A link to media in a folder below its own, and one to nowhere.
constexpr const char* kLinkedCookie = "V4K7Q2M9A02";
constexpr const char* kLinked = "media/Material/V4K7Q2M9A02.mov";
constexpr const char* kClipFolder = "media/Material/clip/\"";  // as it is said in quotes
constexpr const char* kClip = "media/Material/clip/a.mxf";
constexpr const char* kBesideClip = "media/Material/clip/b.mxf";
constexpr const char* kBrokenCookie = "V4K7Q2M9A03";
constexpr const char* kBroken = "media/Material/V4K7Q2M9A03.mov";
constexpr const char* kLink = "link.mov";
constexpr size_t kLinkBytes = 512;
constexpr uint64_t kBytes = 3000;
constexpr int kInterrupted = 130;

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
void withLinkedMedia(const Stage& s) {
  withMedia(s);
  s.makeFolder("media/Material/clip");
  for (const char* name : {kClip, kBesideClip}) s.put(name, kBytes);
  s.putText(kLinked, linkTo(absolute(s, kClip)));
  s.putText(kBroken, linkTo("/none/a.mxf"));
}
void withLink(const Stage& s) { s.putText(kLink, linkTo("/old/target")); }
void withLinkToMedia(const Stage& s) {
  s.put("target.mov", kBytes);
  s.putText(kLink, linkTo(absolute(s, "target.mov")));
}

void comes(const Stage& s) { s.put(kComing, kBytes); }

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

// Of the media, the proxy alone.
std::string proxyDeleted(const Stage& s, const Run& run) {
  std::string why = whyNotKept(s);
  for (const char* name : {kMedia, kBeside})
    why += s.exists(name) ? s.whyNot(name, kBytes) : std::string(name) + " is gone; ";
  if (run.code == 0 && s.exists(kProxy)) why += "the proxy is there; ";
  return why;
}
// With the folder of what it leads to; a target that cannot be seen is one that is not there, and
// its folder stays.
std::string linkDeleted(const Stage& s, const Run& run) {
  std::string why = whyNotAllKept(s);
  if (!s.exists(kBroken)) why += "the other link is gone; ";
  if (run.code != 0) return why;
  if (s.exists(kLinked)) why += "the link is there; ";
  for (const char* name : {kClip, kBesideClip})
    if (s.exists(name) && !run.isDisturbed) why += std::string(name) + " is there; ";
  return why;
}

// Whoever only looks changes nothing.
std::string lookedAt(const Stage& s, const Run&) {
  std::string why = whyNotAllKept(s);
  for (const char* name : {kClip, kBesideClip}) why += s.whyNot(name, kBytes);
  if (s.content(kLinked) != linkTo(absolute(s, kClip))) why += "the link is another; ";
  return why;
}
std::string offlineTold(const Stage& s, const Run& run) {
  return lookedAt(s, run) + (says(run, kOther) ? "media that is there was told; " : "");
}
std::string linkTold(const Stage& s, const Run&) {
  bool isKept = s.content(kLink) == linkTo(absolute(s, "target.mov"));
  return s.whyNot("target.mov", kBytes) + (isKept ? "" : "the link is another; ");
}
std::string parsed(const Stage&, const Run&) { return ""; }

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
                       std::string (*judge)(const Stage&, const Run&),
                       void (*prepare)(const Stage&) = withMedia,
                       std::vector<std::string> tells = {}) {
  words.insert(words.end(), {"--project", "@project"});
  ToolScenario made = {name, std::move(words), nothing, prepare, judge};
  made.callsVary = made.asksTheRegistry = true;
  made.tells = std::move(tells);
  return made;
}
ToolScenario alone(const char* name, std::vector<std::string> words, void (*prepare)(const Stage&),
                   std::string (*judge)(const Stage&, const Run&),
                   std::vector<std::string> tells = {}) {
  ToolScenario made = {name, std::move(words), nothing, prepare, judge};
  made.callsVary = made.asksTheRegistry = true;
  made.tells = std::move(tells);
  return made;
}

ToolScenario watch() {
  ToolScenario made = catalogue("Watch", {"watch", "--interval", "0.1"}, lookedAt, withLinkedMedia,
                                {"watching 1 media drive", "SysCacheAdd", kComing});
  made.code = kInterrupted;
  made.meanwhile = comes;
  made.keeps = 1;  // a listener of the registry stays
  return made;
}

}  // namespace

std::vector<ToolScenario> catalogueScenarios() {
  return {
      catalogue("Scan", {"scan", "--stats"}, scanned),
      catalogue("Find", {"find", kCookie}, foundIt),
      catalogue("Shot", {"shot", kCookie}, lookedAt, withLinkedMedia, {kMedia, kOther, kClip}),
      catalogue("MediaList", {"media", "list"}, lookedAt, withLinkedMedia,
                {kCookie, kLinkedCookie, kBrokenCookie}),
      catalogue("MediaOffline", {"media", "offline"}, offlineTold, withLinkedMedia,
                {kBrokenCookie}),
      catalogue("Rm", {"rm", kCookie, "--high", "--yes"}, deleted, withMedia, {kMedia, kBeside}),
      catalogue("RmProxy", {"rm", kCookie, "--proxy", "--yes"}, proxyDeleted, withMedia, {kProxy}),
      catalogue("RmALinkWithItsFolder", {"rm", kLinkedCookie, "--high", "--yes"}, linkDeleted,
                withLinkedMedia, {kLinked, kClipFolder}),
      watch(),
      alone("LinkCreate", {"link", "create", "@link.mov", "@given/target"}, nothing, linked),
      alone("LinkReplace", {"link", "create", "@link.mov", "@given/target", "--replace"}, withLink,
            linkedAnew),
      alone("LinkShow", {"link", "show", "@link.mov"}, withLinkToMedia, linkTold, {"target.mov"}),
      alone("LinkCheck", {"link", "check", "@link.mov"}, withLinkToMedia, linkTold, {"there"}),
      alone("ProxyParse", {"proxy", "parse", "clip.A2.proxy.360.mov"}, nothing, parsed, {"360"}),
  };
}
