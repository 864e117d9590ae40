#include "tools/fsys/Messages.h"

#include <cstdio>

#include "platform/Log.h"

void sendMessages(bool wanted) {
  auto show = [wanted](const std::string& line) {
    if (wanted) std::fputs(line.c_str(), stderr);
  };
  DiagnosticSinks sinks;
  sinks.log = show;
  sinks.logBoth = show;
  sinks.out = show;
  sinks.splat = [show](int, const std::string& line) { show(line); };
  sinks.display = [](int, int, const std::wstring&) {};
  setDiagnosticSinks(sinks);
}
