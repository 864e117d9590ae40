#pragma once

#include <string>

// EngineSession: the engine, from its start to its orderly end.
// Story      main makes one around a command. The engine's own texts go to standard error when they
//            are wanted, and nowhere otherwise: standard output is for data.
// Errors     throws a ToolError when the engine cannot be started.
class EngineSession {
public:
  explicit EngineSession(bool verbose);
  ~EngineSession();
  EngineSession(const EngineSession&) = delete;
  EngineSession& operator=(const EngineSession&) = delete;

  // How files are transferred: "ring", or "threads (why)".
  static std::string transport();
};
