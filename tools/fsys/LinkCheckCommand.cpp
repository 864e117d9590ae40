#include "tools/fsys/LinkCheckCommand.h"

#include <CLI/CLI.hpp>

#include "tools/fsys/Interrupt.h"
#include "tools/fsys/Table.h"
#include "tools/fsys/Text.h"

namespace {

constexpr const char* kDoing = "checking the link";

}  // namespace

CLI::App* LinkCheckCommand::define(CLI::App& app) {
  CLI::App* command = addCommand(app, kLinks, "check", "Say whether what links lead to is there");
  command->add_option("PATH", paths_, "Links, or media")->required();
  return command;
}

ExitCode LinkCheckCommand::execute() {
  Table table({{"state"}, {"path"}, {"target"}});
  results()["links"] = Json::array();
  std::string firstBad;
  size_t bad = 0;
  for (const std::string& word : paths_) {
    Interrupt::check();
    if (check(table, word)) continue;
    if (bad++ == 0) firstBad = word;
  }
  for (const std::string& line : table.lines()) say(line);
  if (bad == 0) return ExitCode::eSuccess;
  throw ToolError(ExitCode::eNotFound, kDoing, firstBad, "there is no media behind it")
      .withRemark(text("so it is with %zu of %zu", bad, paths_.size()));
}

// One that cannot be looked at is told like the others, and those behind it are looked at too.
bool LinkCheckCommand::check(Table& table, const std::string& word) {
  std::string name = word;
  std::string state;
  std::string why;
  Look look;
  try {
    PathString path = linkPath(kDoing, word);
    name = bytesOf(path);
    look = lookAt(kDoing, path);
    state = !look.isThere ? "missing" : look.isLink ? look.targetState() : "no link";
  } catch (const ToolError& error) {
    if (error.code() == ExitCode::eUsage) throw;
    state = error.code() == ExitCode::eNotFound ? "missing" : "unreadable";
    why = error.why();
  }
  Json entry;
  putName(entry, "path", name);
  if (why.empty())
    look.put(entry);
  else
    entry["why"] = why;
  entry["state"] = state;
  results()["links"].push_back(entry);
  table.add({state, escaped(name), look.isLink ? escaped(bytesOf(look.target)) : "-"});
  return look.isThere && (!look.isLink || look.isTargetThere);
}
