#include "tools/fsys/LoginCommand.h"

#include <new>
#include <optional>

#include "fsys/NetLogin.h"
#include "platform/DriveErrand.h"
#include "platform/OS.h"
#include "tools/fsys/DriveQuestion.h"
#include "tools/fsys/Interrupt.h"
#include "tools/fsys/Text.h"

namespace {

constexpr const char* kDoing = "logging in to";
constexpr double kLook_ms = 1000;

// What is found of the lock file; nothing where its drive does not answer, or there is no memory to
// ask it. A look has a logout's patience: one that is given up keeps the drive from doing anything
// else until it ends, the deletion of the file too.
std::optional<LockFile> ask(const PathString& file, LockFile (*question)(const PathString&)) try {
  return askDrive(file, [file, question] { return question(file); }, kNetLoginPatience_ms);
} catch (const std::bad_alloc&) {
  return std::nullopt;
}

LockFile lookAtOwn(const PathString& file) { return LockFile::look(file, true); }

// Login: a login for a scope. It ends with the deletion of its file, and not of one that another
// login has made in its place.
class Login {
public:
  explicit Login(const PathString& file) : file_(file), own_(find()) {}
  ~Login() { end(); }
  Login(const Login&) = delete;
  Login& operator=(const Login&) = delete;

  // Whether another file, or none, has the name. What cannot be looked at is not gone.
  bool isGone() {
    LockFile now = find();
    if (!own_.isSeen()) own_ = now;
    isOver_ = isOver_ || now.state == LockFile::eMissing || (now.isSeen() && !own_.isSameFile(now));
    return isOver_;
  }
  // False when the file is still there, or its drive does not tell.
  bool end() {
    if (isOver_ || isGone()) return true;
    isOver_ = true;
    NetLogout();
    LockFile left = find();
    return left.state == LockFile::eMissing || (left.isSeen() && !own_.isSameFile(left));
  }

private:
  LockFile find() const {
    LockFile silent;
    silent.state = LockFile::eUnknown;
    return ask(file_, &LockFile::find).value_or(silent);
  }

  PathString file_;
  LockFile own_;
  bool isOver_ = false;
};

// Throws where what has the name keeps a login out. Two of one workstation would have one file, and
// the first to log out would delete it.
void requireFree(const PathString& file) {
  std::optional<LockFile> there = ask(file, &lookAtOwn);
  if (!there) return;
  if (there->state == LockFile::eLive)
    throw ToolError(ExitCode::eResources, kDoing, bytesOf(file), LockFile::kIsLive);
  if (there->state == LockFile::eNoFile)
    throw ToolError(ExitCode::eNotAFile, kDoing, bytesOf(file), LockFile::kIsNone);
}

}  // namespace

CLI::App* LoginCommand::define(CLI::App& app) {
  CLI::App* command =
      addCommand(app, "login", "Log this workstation in to shared media, until it is interrupted");
  addWord(command, "FOLDER", folder_, "The shared folder");
  return command;
}

ExitCode LoginCommand::execute() {
  PathString folder = LoginFolder::of(kDoing, folder_);
  PathString file = LoginFolder::ownLockFile(kDoing, folder);
  requireFree(file);
  if (NetLogin(folder) != 1) {
    uint32_t error = OS()->getErrors()->getLastError();
    // That another has the lock and that the file may not be written are told by one number.
    if (error == eOsAccessDenied) requireFree(file);
    throw driveError(kDoing, file, error);
  }
  Login login(file);
  try {
    tellBegin(file);
    while (!login.isGone()) Interrupt::wait(-1, kLook_ms);
  } catch (ToolError& error) {
    if (!login.end()) error.withRemark("the lock file may still be there");
    throw;
  }
  results()["ended"] = "the lock file is gone";
  say("the lock file is gone: somebody has logged this workstation out");
  return ExitCode::eSuccess;
}

void LoginCommand::tellBegin(const PathString& file) const {
  std::string workstation = bytesOf(OS()->getSystemInfo()->getWorkstationName());
  Json json;
  putName(json, "workstation", workstation);
  putName(json, "file", bytesOf(file));
  tellNow(json);
  say(escaped(workstation) + " is logged in with " + inQuotes(bytesOf(file)));
}
