#pragma once

#include <string>

// EngineSession: the engine, from its start to its orderly end.
// Story      main makes one around a command that transfers media.
// Errors     throws a ToolError when the engine cannot be started.
class EngineSession {
public:
  EngineSession();
  ~EngineSession();
  EngineSession(const EngineSession&) = delete;
  EngineSession& operator=(const EngineSession&) = delete;

  // How files are transferred: "ring", or "threads (why)".
  static std::string transport();
};
