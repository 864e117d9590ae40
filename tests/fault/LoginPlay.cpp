#include "tests/fault/LoginPlay.h"

#include "fsys/NetLogin.h"
#include "platform/OS.h"
#include "tests/fault/FaultPause.h"

namespace {

using Text = LightweightString<wchar_t>;

iFileManager* files() { return OS()->getFileManager(); }

bool isHeld(const Text& folder) {
  iFileManager::LockState state = iFileManager::eLockUnknown;
  return files()->askLock(getNetLoginLockFileName(folder), state) &&
         state == iFileManager::eLockHeld;
}

uint32_t logIn(const Text& folder) {
  FaultWatch calling;
  return NetLogin(folder);
}

uint32_t logOut() {
  FaultWatch calling;
  return NetLogout();
}

std::string expected(bool isRight, const char* what) {
  return isRight ? std::string() : std::string(what) + "; ";
}

}  // namespace

FaultPlayed LoginPlay::play(FaultLayer& layer, const Fault& fault, eUntil) {
  FaultPlayed played;
  layer.points().arm(fault);
  played.wrong = playIn();
  played.note(layer.points());
  layer.points().disarm();
  played.wrong += playAgain();
  for (const Text& folder : {first_, second_}) files()->deleteFile(getNetLoginLockFileName(folder));
  return played;
}

std::string LoginPlay::playIn() const {
  bool isFirst = logIn(first_) == 1;
  std::string wrong = expected(isFirst == isHeld(first_), "the first login is not as it answers");
  wrong +=
      expected(isFirst == static_cast<bool>(lockFilehandle), "the handle is not as it answers");
  bool isSecond = logIn(second_) == 1;
  wrong += expected(isSecond == isHeld(second_), "the second login is not as it answers");
  wrong += expected(isHeld(first_) == (isFirst && !isSecond), "the first login is not as it was");
  wrong += expected(!lockFilehandle || (isSecond && !isFirst), "the handle is not empty");
  wrong += expected(logOut() == 1, "the logout does not answer 1");
  wrong += expected(!lockFilehandle, "the handle is there after the logout");
  return wrong + expected(!isHeld(first_) && !isHeld(second_), "a file is locked after the logout");
}

std::string LoginPlay::playAgain() const {
  std::string wrong = expected(NetLogin(first_) == 1 && isHeld(first_), "no login afterwards");
  wrong += expected(NetLogout() == 1, "no logout afterwards");
  return wrong + expected(!files()->exists(getNetLoginLockFileName(first_)), "its file stays");
}
