#include "tests/fault/tool/ToolScenario.h"

#include <algorithm>
#include <sstream>

#include "tests/fault/tool/DemoStage.h"

namespace {

using Stage = ToolStage;
using Run = ToolRun;

constexpr uint64_t kFile = 300001;
constexpr uint64_t kSmall = 60001;
constexpr uint64_t kStart = 5000;  // where a file ends that is gone on with: within a sector
constexpr uint64_t kSeed = 4;
constexpr uint64_t kOld = 77;

void nothing(const Stage&) {}
void givenFile(const Stage& s) { s.put("given/file", kFile); }
void givenRest(const Stage& s) { s.put("given/rest", kFile - kStart, kStart); }
void givenStamped(const Stage& s) { s.putStamped("given/stamped", kFile, kSeed); }
void givenTwo(const Stage& s) {
  s.put("given/1", kSmall);
  s.put("given/2", kFile);
}
void withOld(const Stage& s) { s.put("target", kOld); }
void withStart(const Stage& s) { s.put("target", kStart); }
void withFolder(const Stage& s) { s.makeFolder("work"); }

bool says(const std::string& words, const std::string& what) {
  return words.find(what) != std::string::npos;
}

// Behind the key of an object; -1 when it is not there.
long long valueOf(const std::string& json, const std::string& key) {
  size_t at = json.find("\"" + key + "\": ");
  return at == std::string::npos ? -1 : std::atoll(json.c_str() + at + key.size() + 4);
}

// A file that gets its name when it is whole. One that has it all the same is whole: its safety is
// then in doubt, or what would have been said of it found no memory.
std::string whyNotNamed(const Stage& s, const Run& run, const std::string& name, uint64_t bytes) {
  if (run.code == 0) return s.whyNot(name, bytes);
  if (!s.exists(name)) return "";
  if (says(run.err + run.out, "it is whole and has its name") || says(run.err + run.out, "memory"))
    return s.whyNot(name, bytes);
  return name + " is there; ";
}

std::string wholeOrNothing(const Stage& s, const Run& run) {
  return whyNotNamed(s, run, "target", kFile);
}
std::string wholeOrOld(const Stage& s, const Run& run) {
  if (run.code != 0 && s.whyNot("target", kOld).empty()) return "";
  return whyNotNamed(s, run, "target", kFile);
}
std::string twoOfTwo(const Stage& s, const Run& run) {
  std::string second = whyNotNamed(s, run, "work/2", kFile);
  if (run.code == 0) return second + s.whyNot("work/1", kSmall);
  return second + (s.exists("work/1") ? s.whyNot("work/1", kSmall) : "");
}

std::string printedWhole(const Stage& s, const Run& run) {
  if (run.code == 0 && run.out.size() != kFile) return "not all of it was printed; ";
  return s.whyNotRead(run.out);
}
std::string saidAll(const Stage&, const Run& run) {
  return run.code == 0 && !says(run.out, "cache hits") ? "not all of it was said; " : "";
}

// Of a write that failed every byte is right that is left, and there is no file without any.
std::string whyNotLeft(const Stage& s, const Run& run, uint64_t start) {
  if (run.code == 0) return s.whyNot("target", kFile);
  if (!s.exists("target")) return start == 0 ? "" : "the file is gone; ";
  uint64_t size = s.size("target");
  if (size < start) return "the file was cut; ";
  if (size == 0) return "an empty file is left; ";
  return s.whyNot("target", size);
}
std::string leftIsRight(const Stage& s, const Run& run) { return whyNotLeft(s, run, 0); }
std::string startAndLeftAreRight(const Stage& s, const Run& run) {
  return whyNotLeft(s, run, kStart);
}
std::string newOrOld(const Stage& s, const Run& run) {
  if (run.code != 0 && s.exists("target") && s.whyNot("target", kOld).empty()) return "";
  return whyNotLeft(s, run, 0);
}
std::string leftIsAsSaid(const Stage& s, const Run& run) {
  std::string why = whyNotLeft(s, run, 0);
  long long said = valueOf(run.out, "size");
  uint64_t size = s.exists("target") ? s.size("target") : 0;
  if (said >= 0 && static_cast<uint64_t>(said) != size)
    why += std::to_string(size) + " bytes are left, and " + std::to_string(said) + " were said; ";
  if (valueOf(run.out, "durable") > static_cast<long long>(size)) why += "less than was durable; ";
  return why;
}
std::string reportedIsThere(const Stage& s, const Run& run) {
  std::istringstream lines(run.out);
  std::string state;
  uint64_t reached = 0;
  for (uint64_t end; lines >> state >> end;)
    if (state != "accepted") reached = std::max(reached, end);
  std::string why = whyNotLeft(s, run, 0);
  if (reached > 0 && (!s.exists("target") || s.size("target") < reached))
    why += "what was reported to be written is not there; ";
  return why;
}

std::string stampedOrPart(const Stage& s, const Run& run) {
  if (run.code == 0) return s.whyNotStamped("target", kFile, kSeed);
  if (!s.exists("target")) return "";
  uint64_t size = s.size("target");
  return size == 0 ? "an empty file is left; " : s.whyNotStamped("target", size, kSeed);
}
// It stays, unless it could not be finished.
std::string stampedOrNothing(const Stage& s, const Run& run) {
  if (run.code != 0 && !s.exists("target")) return "";
  return s.whyNotStamped("target", kFile, kSeed);
}
std::string stampedOrRemoved(const Stage& s, const Run& run) {
  if (!s.exists("target")) return "";
  if (run.code == 0) return "it was not removed; ";
  if (s.whyNot("target", kOld).empty()) return "";
  return s.whyNotStamped("target", kFile, kSeed);
}
std::string checked(const Stage&, const Run& run) {
  return run.code == 0 && !says(run.out, "is right") ? "it was not checked; " : "";
}
std::string examined(const Stage&, const Run& run) {
  return run.code == 0 && !says(run.out, "transfers ") ? "nothing was said; " : "";
}
std::string demonstrated(const Stage& s, const Run& run) {
  std::string why = DemoStage::whyNotEmpty(s);
  if (run.code == 0 && !says(run.out, "every one is right")) why += "it was not checked; ";
  return why;
}

std::vector<ToolScenario> readScenarios() {
  return {
      {"Read",
       {"read", "@given/file", "--block", "64K", "--repeat", "2"},
       givenFile,
       nothing,
       saidAll},
      {"ReadToAFile",
       {"read", "@given/file", "--block", "64K", "--to", "@target"},
       givenFile,
       nothing,
       wholeOrNothing},
      {"ReadToAFileThatIsThere",
       {"read", "@given/file", "--block", "100000", "--to", "@target", "--force", "--json"},
       givenFile,
       withOld,
       wholeOrOld},
      {"ReadToStandardOutput",
       {"read", "@given/file", "--block", "64K", "--to", "-"},
       givenFile,
       nothing,
       printedWhole},
  };
}

std::vector<ToolScenario> writeScenarios() {
  return {
      {"Write",
       {"write", "@target", "--block", "64K"},
       givenFile,
       nothing,
       leftIsRight,
       "given/file"},
      {"WriteOn",
       {"write", "@target", "--block", "40000"},
       givenRest,
       withStart,
       startAndLeftAreRight,
       "given/rest"},
      {"WriteAndFlush",
       {"write", "@target", "--block", "64K", "--flush-every", "100K", "--json"},
       givenFile,
       nothing,
       leftIsAsSaid,
       "given/file"},
      {"WriteAndReport",
       {"write", "@target", "--block", "64K", "--flush-every", "128K", "--report"},
       givenFile,
       nothing,
       reportedIsThere,
       "given/file"},
      {"WriteAnew",
       {"write", "@target", "--block", "100000", "--truncate"},
       givenFile,
       withOld,
       newOrOld,
       "given/file"},
      {"WriteAPattern",
       {"write", "@target", "--block", "64K", "--pattern", "--size", "300001", "--seed", "4"},
       nothing,
       nothing,
       stampedOrPart},
  };
}

std::vector<ToolScenario> otherScenarios() {
  return {
      {"Copy",
       {"copy", "@given/file", "@target", "--block", "64K"},
       givenFile,
       nothing,
       wholeOrNothing},
      {"CopyToAFileThatIsThere",
       {"copy", "@given/file", "@target", "--block", "64K", "--force", "--json"},
       givenFile,
       withOld,
       wholeOrOld},
      {"CopySeveral",
       {"copy", "@given/1", "@given/2", "@work", "--block", "100000"},
       givenTwo,
       withFolder,
       twoOfTwo},
      {"Verify",
       {"verify", "@target", "--size", "300001", "--seed", "4", "--block", "64K"},
       nothing,
       nothing,
       stampedOrNothing},
      {"VerifyAndRemove",
       {"verify", "@target", "--size", "300001", "--seed", "4", "--remove", "--force"},
       nothing,
       withOld,
       stampedOrRemoved},
      {"VerifyOnlyCheck",
       {"verify", "@given/stamped", "--check-only", "--size", "300001", "--seed", "4"},
       givenStamped,
       nothing,
       checked},
      {"Doctor", {"doctor", "@given"}, nothing, nothing, examined},
  };
}

}  // namespace

const std::vector<ToolScenario>& toolScenarios() {
  static const std::vector<ToolScenario> all = [] {
    std::vector<ToolScenario> together;
    for (const auto& scenarios : {readScenarios(), writeScenarios(), otherScenarios(),
                                  storageScenarios(), catalogueScenarios(), loginScenarios()})
      together.insert(together.end(), scenarios.begin(), scenarios.end());
    return together;
  }();
  return all;
}

const ToolScenario& toolDemoScenario() {
  static const ToolScenario demo = [] {
    ToolScenario made = {"Demo",
                         {"demo", "@given/media", "--work", "@work", "--seconds", "0.2"},
                         DemoStage::putMedia,
                         DemoStage::prepare,
                         demonstrated};
    made.callsVary = made.asksTheRegistry = made.checksItself = true;
    made.keeps = 1;  // a listener of the registry stays
    return made;
  }();
  return demo;
}
