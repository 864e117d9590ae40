#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tools/fsys/Command.h"
#include "tools/fsys/demo/DemoChapter.h"

// DemoCommand: fsys demo: an editor's day in a few seconds, on drives of its own: everything that
// the library does for an editor, step by step, and each step checked.
class DemoCommand : public Command {
public:
  // The day begins with its start.
  bool usesEngine() const override { return false; }

protected:
  CLI::App* define(CLI::App& app) override;
  ExitCode execute() override;

private:
  using Chapters = std::vector<std::unique_ptr<DemoChapter>>;

  static Chapters chapters();
  void requireDevice() const;
  void setBays(DemoDay& day) const;
  void live(DemoDay& day);
  void runChapter(DemoChapter& chapter, DemoDay& day);
  void tell(const DemoDay& day);
  void tellSteps();
  void tellShows(const DemoStream& stream);
  void tellTotals(const DemoDay& day);

  std::string media_;
  std::string work_;
  std::vector<std::string> drives_;
  std::string device_;
  std::string type_;
  double seconds_ = 8;
  bool keep_ = false;
  std::vector<DemoStep> steps_;
};
