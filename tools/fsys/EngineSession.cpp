#include "tools/fsys/EngineSession.h"

#include "fsys/Fsys.h"
#include "platform/OS.h"
#include "tools/fsys/ToolError.h"

EngineSession::EngineSession() {
  if (FsysInitialize() != 1)
    throw ToolError(ExitCode::eResources, "starting the engine", "", "no memory or no threads");
}

EngineSession::~EngineSession() { Shutdown::run(Shutdown::eNormal); }

std::string EngineSession::transport() {
  iAsyncIo::Description description = OS()->getAsyncIo()->describe();
  if (description.ring) return "ring";
  return std::string("threads (") + description.why + ")";
}
