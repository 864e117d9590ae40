#include "tests/fault/tool/ToolPlay.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <iterator>
#include <optional>
#include <string_view>

#include "platform/OsErrors.h"
#include "tests/fault/tool/ToolMeanwhile.h"

namespace {

// As the manual page lists them.
enum Code {
  eUsage = 2,
  eNotFound,
  ePermission,
  eNoSpace,
  eIo,
  eWrong,
  eExists,
  eNoFile,
  eResources,
  eInterrupted = 130
};

int codeOfOpening(uint32_t error) {
  switch (error - eOsErrorBase) {
    case ENOENT:
    case ENOTDIR:
      return eNotFound;
    case EISDIR:
    case ENXIO:
      return eNoFile;
    case ENAMETOOLONG:
      return eUsage;
    case EMFILE:
    case ENFILE:
      return eResources;
    default:
      return 0;
  }
}

// Whether the name may be to blame.
bool isOfAName(FaultCall call) {
  return call == FaultCall::eOpenMedia || call == FaultCall::eOpenFile ||
         (call >= FaultCall::eGetDisk && call <= FaultCall::eGetShares);
}

int codeOf(FaultCall call, uint32_t error) {
  switch (call) {
    case FaultCall::eCreateContext:
    case FaultCall::eCreatePort:
    case FaultCall::eCreateEvent:
    case FaultCall::eCreateThread:
    case FaultCall::eCreateTaskQueue:
    case FaultCall::ePostTask:
    case FaultCall::eAllocateRegion:
    case FaultCall::eAllocate:
      return eResources;
    default:
      break;
  }
  if (int code = isOfAName(call) ? codeOfOpening(error) : 0) return code;
  switch (error - eOsErrorBase) {
    case EPERM:
    case EACCES:
    case EROFS:
      return ePermission;
    case ENOSPC:
    case EDQUOT:
      return eNoSpace;
    case ENOMEM:
      return eResources;
    case ENOTEMPTY:
      return eExists;
    default:
      return eIo;
  }
}

// The exit codes that may come of a fault, and the one without.
std::set<int> codesOf(const Fault& fault, const FaultPoints& points, int code) {
  std::set<int> codes{code};
  if (points.fired() == 0) return codes;
  for (FaultCall call : everyFaultCall()) {
    bool mayHaveStruck = fault.call         ? call == *fault.call
                         : fault.fromThenOn ? call != FaultCall::eAllocate && points.calls(call) > 0
                                            : call == points.lastFired();
    if (!mayHaveStruck) continue;
    std::span<const uint32_t> errors = faultErrors(call);
    codes.insert(codeOf(call, errors[fault.pick % errors.size()]));
    // Bytes that were not read are missing, or wrong.
    if (fault.cutShort && isTransfer(call)) codes.insert({eIo, eWrong});
  }
  return codes;
}

// With the group that it belongs to.
std::string commandOf(const std::vector<std::string>& words) {
  constexpr std::string_view kGroups[] = {"locations", "task", "unc", "link", "media", "proxy"};
  bool isGrouped = std::find(std::begin(kGroups), std::end(kGroups), words[0]) != std::end(kGroups);
  return isGrouped ? words[0] + " " + words[1] : words[0];
}

}  // namespace

ToolPlay::ToolPlay(const std::string& folder, const ToolScenario& scenario)
    : stage_(folder), scenario_(scenario) {
  stage_.makeFolder("given");
  scenario.given(stage_);
  for (const std::string& word : scenario.words)
    words_.push_back(word[0] == '@' ? stage_.path(word.substr(1)) : word);
  if (scenario.input) input_ = stage_.path(scenario.input);
  // Neither settings nor shares of whoever runs this.
  ::setenv("XDG_CONFIG_HOME", stage_.path("config").c_str(), 1);
  ::setenv("FSYS_SAMBA_CONFIG", stage_.path("given/smb.conf").c_str(), 1);
  ::setenv("FSYS_SHARES", "", 1);
}

// Pictures that come late merge, and a machine has more drives or fewer: half of such calls are
// sure, and one of any that are made. A figure with more digits takes a piece of the heap.
unsigned ToolPlay::surely(std::optional<FaultCall> call, unsigned calls) const {
  if (scenario_.callsVary) return (calls + 1) / 2;
  return call == FaultCall::eAllocate ? calls - calls / 20 : calls;
}

FaultPlayed ToolPlay::play(FaultLayer& layer, const Fault& fault, eUntil) {
  FaultPlayed played;
  stage_.allowZeros(fault.cutShort.has_value());
  scenario_.prepare(stage_);
  layer.points().arm(fault);
  std::optional<ToolMeanwhile> meanwhile;
  if (scenario_.meanwhile) meanwhile.emplace(scenario_, stage_);
  ToolRun run = runToolHere(words_, input_);
  meanwhile.reset();
  run.isDisturbed = layer.points().fired() > 0;
  played.note(layer.points());
  layer.points().disarm();
  std::set<int> codes = codesOf(fault, layer.points(), scenario_.code);
  if (run.isDisturbed && scenario_.asksTheRegistry) codes.insert({eNotFound, eIo});
  // Who did not see what happened waits on.
  if (run.isDisturbed && scenario_.meanwhile) codes.insert(eInterrupted);
  if (run.isDisturbed && scenario_.checksItself) codes.insert(eWrong);
  played.wrong = run.isDisturbed ? "" : whyNotTold(run);
  // The next change of a list takes away what could not be.
  bool mayLeave = scenario_.asksTheRegistry && fault.fromThenOn && run.code != 0;
  played.wrong += whyNot(run, codes, mayLeave ? "" : stage_.leftovers());
  stage_.clear();
  return played;
}

std::string ToolPlay::whyNotTold(const ToolRun& run) const {
  std::string wrong;
  for (const std::string& what : scenario_.tells)
    if (run.out.find(what) == std::string::npos) wrong += what + " was not told; ";
  return wrong;
}

std::string ToolPlay::whyNot(const ToolRun& run, const std::set<int>& codes,
                             const std::string& left) const {
  std::string wrong = scenario_.judge(stage_, run) + left;
  if (!codes.contains(run.code)) {
    wrong += "not one of the exit codes";
    for (int code : codes) wrong += " " + std::to_string(code);
    wrong += "; ";
  }
  bool isJson = std::find(words_.begin(), words_.end(), "--json") != words_.end();
  std::string why = isJson ? "\"why\": \"" : "fsys " + commandOf(words_) + ": ";
  size_t at = (isJson ? run.out : run.err).find(why);
  if (run.code != 0 && at == std::string::npos && run.err.find("fsys: ") == std::string::npos)
    wrong += "no word says why; ";
  if (!wrong.empty())
    wrong += "exit code " + std::to_string(run.code) + ", \"" + run.out.substr(0, 300) + "\", \"" +
             run.err + "\"";
  return wrong;
}
