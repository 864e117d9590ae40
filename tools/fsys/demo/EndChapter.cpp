#include "tools/fsys/demo/EndChapter.h"

#include <array>

#include "fsys/DiskManager.h"
#include "fsys/Fsys.h"
#include "platform/Shutdown.h"

namespace {

// Before the engine's 499, between that and the registry's 201, and after both.
constexpr std::array<int, 3> kPriorities = {500, 300, 100};

struct Seen {
  bool engine = false;
  bool drives = false;
};
std::array<Seen, kPriorities.size()> seen;
size_t looks = 0;

void look(Shutdown::eExitType) {
  DriveId first;
  if (looks < seen.size())
    seen[looks] = {theFsys != nullptr, DiskManager::getFirstMaterialVolume(first)};
  ++looks;
}

}  // namespace

EndChapter::EndChapter() : DemoChapter("end", "shutting down in order") {}

void EndChapter::run(DemoDay& day, DemoStep& step) {
  day.news.reset();
  looks = 0;
  for (int priority : kPriorities) Shutdown::addCallback(&look, priority);
  day.engine.reset();
  step.checks.same("calls of the shutdown", kPriorities.size(), looks);
  step.checks.isThere("the engine when the shutdown begins", true, seen[0].engine);
  step.checks.isThere("the drives when the shutdown begins", true, seen[0].drives);
  step.checks.isThere("the engine once it has ended", false, seen[1].engine);
  step.checks.isThere("the drives once the engine has ended", true, seen[1].drives);
  step.checks.isThere("the drives once the registry has ended", false, seen[2].drives);
  step.what = "the engine first, then the registry";
  step.amount = "0 drives";
}
