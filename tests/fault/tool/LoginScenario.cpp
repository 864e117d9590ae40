// The commands of the login, and what holds of them however they end.

#include <unistd.h>

#include <array>
#include <climits>

#include "fsys/NetLogin.h"
#include "platform/OS.h"
#include "tests/fault/tool/ToolScenario.h"

namespace {

using Stage = ToolStage;
using Run = ToolRun;

constexpr int kInterrupted = 130;

std::string station() {
  std::array<char, HOST_NAME_MAX + 1> name = {};
  gethostname(name.data(), HOST_NAME_MAX);
  return name.data();
}
std::string ownFile() { return "shared/" + station() + ".cli"; }
bool says(const Run& run, const std::string& what) {
  return (run.out + run.err).find(what) != std::string::npos;
}
std::string expected(bool isRight, const char* what) {
  return isRight ? std::string() : std::string(what) + "; ";
}

void nothing(const Stage&) {}
void withFolder(const Stage& s) { s.makeFolder("shared"); }
void withLeftovers(const Stage& s) {
  withFolder(s);
  s.putText(ownFile(), "");
  s.putText("shared/other.cli", "");
}
void goes(const Stage& s) { unlink(s.path(ownFile()).c_str()); }

// The process is logged out, or ends and is; then the file is free, if it is there.
bool isLocked(const Stage& s) {
  iFileManager::LockState state = iFileManager::eLockUnknown;
  return OS()->getFileManager()->askLock(fromUTF8(std::string_view(s.path(ownFile()))), state) &&
         state == iFileManager::eLockHeld;
}

std::string loggedIn(const Stage& s, const Run& run) {
  std::string why = expected(run.code != 0, "it ended by itself");
  why += expected(!isLocked(s), "it is still logged in");
  // What there was no memory to tell of.
  bool mayStay = run.code != kInterrupted || says(run, "may still be there") || says(run, "memory");
  why += expected(mayStay || !s.exists(ownFile()), "the file stays, and no word says so");
  NetLogout();
  return why;
}
std::string loggedOutElsewhere(const Stage& s, const Run& run) {
  std::string why =
      expected(run.code != 0 || says(run, "the lock file is gone"), "it ended without a word");
  NetLogout();
  return why + expected(!isLocked(s), "it is still locked");
}
std::string loggedOut(const Stage& s, const Run& run) {
  std::string why = expected(s.exists("shared/other.cli"), "another workstation's file is gone");
  return why + expected(run.code != 0 || !s.exists(ownFile()), "the file stays");
}
std::string listed(const Stage& s, const Run& run) {
  std::string why = expected(s.exists(ownFile()) && s.exists("shared/other.cli"), "a file is gone");
  return why + expected(run.code != 0 || says(run, "other"), "a workstation is missing");
}

ToolScenario login(const char* name, void (*meanwhile)(const Stage&), int code,
                   std::string (*judge)(const Stage&, const Run&), const char* tells) {
  ToolScenario made = {name, {"login", "@shared"}, nothing, withFolder, judge};
  made.callsVary = true;
  made.meanwhile = meanwhile;
  made.code = code;
  made.tells = {"is logged in with", tells};
  return made;
}
ToolScenario once(const char* name, std::vector<std::string> words,
                  std::string (*judge)(const Stage&, const Run&), const char* tells) {
  ToolScenario made = {name, std::move(words), nothing, withLeftovers, judge};
  made.callsVary = true;
  made.tells = {tells};
  return made;
}

}  // namespace

std::vector<ToolScenario> loginScenarios() {
  return {
      login("Login", nothing, kInterrupted, loggedIn, "logged in"),
      login("LoginThatIsLoggedOut", goes, 0, loggedOutElsewhere, "the lock file is gone"),
      once("Logout", {"logout", "@shared"}, loggedOut, "is deleted"),
      once("LogoutByForce", {"logout", "@shared", "--force", "--json"}, loggedOut, "stale"),
      once("Who", {"who", "@shared"}, listed, "other"),
  };
}
