#include "tools/fsys/Tool.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <system_error>
#include <vector>

#include "tools/fsys/BestCommand.h"
#include "tools/fsys/CopyCommand.h"
#include "tools/fsys/DoctorCommand.h"
#include "tools/fsys/DrivesCommand.h"
#include "tools/fsys/EngineSession.h"
#include "tools/fsys/FindCommand.h"
#include "tools/fsys/Interrupt.h"
#include "tools/fsys/LinkCheckCommand.h"
#include "tools/fsys/LinkCreateCommand.h"
#include "tools/fsys/LinkShowCommand.h"
#include "tools/fsys/LocationsAddCommand.h"
#include "tools/fsys/LocationsCheckCommand.h"
#include "tools/fsys/LocationsListCommand.h"
#include "tools/fsys/LocationsRemoveCommand.h"
#include "tools/fsys/LocationsRenameCommand.h"
#include "tools/fsys/LoginCommand.h"
#include "tools/fsys/LogoutCommand.h"
#include "tools/fsys/MediaListCommand.h"
#include "tools/fsys/MediaOfflineCommand.h"
#include "tools/fsys/Messages.h"
#include "tools/fsys/PrepareCommand.h"
#include "tools/fsys/ProxyNameCommand.h"
#include "tools/fsys/ProxyParseCommand.h"
#include "tools/fsys/ReadCommand.h"
#include "tools/fsys/RmCommand.h"
#include "tools/fsys/ScanCommand.h"
#include "tools/fsys/ShotCommand.h"
#include "tools/fsys/TaskClearCommand.h"
#include "tools/fsys/TaskGetCommand.h"
#include "tools/fsys/TaskSetCommand.h"
#include "tools/fsys/TimeCommand.h"
#include "tools/fsys/UncFromCommand.h"
#include "tools/fsys/UncToCommand.h"
#include "tools/fsys/VerifyCommand.h"
#include "tools/fsys/WatchCommand.h"
#include "tools/fsys/WhoCommand.h"
#include "tools/fsys/WriteCommand.h"
#include "tools/fsys/demo/DemoCommand.h"

namespace {

using Commands = std::vector<std::unique_ptr<Command>>;

constexpr int kSignalExit = 128;  // and the signal's number

template <typename... Kinds>
Commands made() {
  Commands commands;
  (commands.push_back(std::make_unique<Kinds>()), ...);
  return commands;
}

Commands makeCommands(CLI::App& app) {
  Commands commands =
      made<ReadCommand, WriteCommand, CopyCommand, VerifyCommand, DoctorCommand, DemoCommand,
           DrivesCommand, LocationsListCommand, LocationsAddCommand, LocationsRemoveCommand,
           LocationsRenameCommand, LocationsCheckCommand, PrepareCommand, TaskSetCommand,
           TaskGetCommand, TaskClearCommand, BestCommand, TimeCommand, UncToCommand, UncFromCommand,
           ScanCommand, FindCommand, ShotCommand, MediaListCommand, MediaOfflineCommand,
           LinkCreateCommand, LinkShowCommand, LinkCheckCommand, ProxyNameCommand,
           ProxyParseCommand, RmCommand, WatchCommand, LoginCommand, LogoutCommand, WhoCommand>();
  for (const auto& command : commands) command->attach(app);
  return commands;
}

int exitCodeOf(const ToolError& error) {
  if (error.code() == ExitCode::eInterrupted) return kSignalExit + Interrupt::requested();
  return static_cast<int>(error.code());
}

bool wantsJson(int count, const char* const* arguments) {
  return std::any_of(arguments, arguments + count,
                     [](const char* word) { return std::strcmp(word, "--json") == 0; });
}

int reportUsage(const CLI::App& app, const CLI::ParseError& error, bool json) {
  // --help and --version are no errors.
  if (error.get_exit_code() == 0) return app.exit(error);
  constexpr int code = static_cast<int>(ExitCode::eUsage);
  if (json) {
    Json result;
    result["ok"] = false;
    Json& failure = result["error"];
    failure["kind"] = nameOf(ExitCode::eUsage);
    failure["exit_code"] = code;
    failure["why"] = error.what();
    result.print(stdout);
    std::fputc('\n', stdout);
  } else {
    std::fprintf(stderr, "fsys: %s\nfsys --help, or fsys COMMAND --help, says more.\n",
                 error.what());
  }
  return code;
}

int reported(Command& command, const ToolError& error) {
  command.report(error, exitCodeOf(error));
  return exitCodeOf(error);
}

int runCommand(Command& command) {
  try {
    Interrupt::install();
    sendMessages(command.isVerbose());
    std::optional<EngineSession> engine;
    if (command.usesEngine()) engine.emplace();
    return static_cast<int>(command.run());
  } catch (const ToolError& error) {
    return reported(command, error);
  } catch (const std::bad_alloc&) {
    return reported(command, noMemory());
  } catch (const std::system_error& error) {
    // Of all that the standard library asks of the system only threads can be refused here.
    return reported(command, ToolError(ExitCode::eResources, "", "", error.what()));
  }
}

// What standard output did not take was not told.
int flushed(int code) {
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return code;
  std::fprintf(stderr, "fsys: writing to standard output: %s\n", std::strerror(errno));
  return code == 0 ? static_cast<int>(ExitCode::eIo) : code;
}

int runCommandLine(int count, const char* const* arguments) {
  CLI::App app("Streams media files through the fsys engine, and knows where media is kept.",
               "fsys");
  app.set_version_flag("--version", "fsys " FSYS_TOOL_VERSION);
  app.require_subcommand(1);
  app.get_formatter()->column_width(34);
  Commands commands = makeCommands(app);
  try {
    app.parse(count, arguments);
  } catch (const CLI::ParseError& error) {
    return reportUsage(app, error, wantsJson(count, arguments));
  }
  for (const auto& command : commands)
    if (command->wasNamed()) return runCommand(*command);
  return static_cast<int>(ExitCode::eUsage);
}

}  // namespace

int runTool(int count, const char* const* arguments) {
  try {
    return flushed(runCommandLine(count, arguments));
  } catch (const std::bad_alloc&) {
    // A command says so itself: there was none yet.
    constexpr int code = static_cast<int>(ExitCode::eResources);
    if (wantsJson(count, arguments))
      printShortFailure(stdout, ExitCode::eResources, code);
    else
      std::fputs("fsys: no memory\n", stderr);
    return flushed(code);
  }
}
