#include "tools/fsys/EngineSession.h"

#include <cstdio>

#include "fsys/Fsys.h"
#include "platform/Log.h"
#include "platform/OS.h"
#include "tools/fsys/ToolError.h"

EngineSession::EngineSession(bool verbose) {
  auto show = [verbose](const std::string& line) {
    if (verbose) std::fputs(line.c_str(), stderr);
  };
  DiagnosticSinks sinks;
  sinks.log = show;
  sinks.logBoth = show;
  sinks.out = show;
  sinks.splat = [show](int, const std::string& line) { show(line); };
  sinks.display = [](int, int, const std::wstring&) {};
  setDiagnosticSinks(sinks);
  if (FsysInitialize() != 1)
    throw ToolError(ExitCode::eResources, "starting the engine", "", "no memory or no threads");
}

EngineSession::~EngineSession() { Shutdown::run(Shutdown::eNormal); }

std::string EngineSession::transport() {
  iAsyncIo::Description description = OS()->getAsyncIo()->describe();
  if (description.ring) return "ring";
  return std::string("threads (") + description.why + ")";
}
