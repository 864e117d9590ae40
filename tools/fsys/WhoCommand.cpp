#include "tools/fsys/WhoCommand.h"

#include <array>
#include <utility>

#include "fsys/NetLogin.h"
#include "platform/OS.h"
#include "tools/fsys/DriveQuestion.h"
#include "tools/fsys/Table.h"
#include "tools/fsys/Text.h"

namespace {

constexpr const char* kDoing = "looking for logins in";
constexpr std::wstring_view kEnding = L".cli";

// In the largest unit of which there is one.
std::string ageText(int64_t age_s) {
  constexpr std::array<std::pair<int64_t, const char*>, 3> kUnits = {
      {{86400, "d"}, {3600, "h"}, {60, "min"}}};
  for (const auto& [seconds, unit] : kUnits)
    if (age_s >= seconds) return text("%lld %s", static_cast<long long>(age_s / seconds), unit);
  return text("%lld s", static_cast<long long>(age_s));
}

}  // namespace

// Looked: what is read of the folder, on a thread of its drive's; read by the asker once that has
// ended.
struct WhoCommand::Looked {
  uint32_t error = 0;
  std::vector<Login> logins;

  void look(const PathString& folder, const PathString& own) {
    Vector<iFileManager::ListedFile> files;
    if (!OS()->getFileManager()->listFiles(joinPaths(folder, L"*.cli"), files)) {
      error = OS()->getErrors()->getLastError();
      return;
    }
    for (const iFileManager::ListedFile& file : files) {
      std::wstring_view name = file.name.view();
      name.remove_suffix(kEnding.size());
      if (name.empty()) continue;
      PathString path = joinPaths(folder, file.name);
      LockFile seen = LockFile::look(path, path == own);
      // A link is none, and what has gone meanwhile is none any more.
      if (seen.state != LockFile::eMissing && seen.state != LockFile::eNoFile)
        logins.push_back({bytesOf(PathString(name)), path == own, std::move(seen)});
    }
  }
};

CLI::App* WhoCommand::define(CLI::App& app) {
  CLI::App* command =
      addCommand(app, "who", "List the workstations that are logged in, and what crashes left");
  addWord(command, "FOLDER", folder_, "The shared folder");
  return command;
}

ExitCode WhoCommand::execute() {
  PathString folder = LoginFolder::of(kDoing, folder_);
  auto looked = std::make_shared<Looked>();
  PathString own = getNetLoginLockFileName(folder);
  if (!doOnDrive(folder, [looked, folder, own] { looked->look(folder, own); }))
    throw driveError(kDoing, folder, OS()->getErrors()->getLastError());
  if (looked->error != 0) throw driveError(kDoing, folder, looked->error);
  putName(results(), "folder", bytesOf(folder));
  tell(looked->logins);
  return ExitCode::eSuccess;
}

void WhoCommand::tell(const std::vector<Login>& logins) {
  Table table({{"workstation"}, {"state"}, {"age", Table::eRight}, {""}});
  results()["logins"] = Json::array();
  for (const Login& login : logins) {
    const LockFile& file = login.file;
    Json entry;
    putName(entry, "workstation", login.workstation);
    entry["state"] = file.stateName();
    entry["age_s"] = file.isSeen() ? Json(file.age_s()) : Json(nullptr);
    entry["this"] = login.isOwn;
    if (!file.why.empty()) entry["why"] = file.why;
    results()["logins"].push_back(entry);
    std::string remark = login.isOwn ? "this workstation" : "";
    if (!file.why.empty()) remark += (remark.empty() ? "" : "; ") + file.why;
    table.add({escaped(login.workstation), file.stateName(),
               file.isSeen() ? ageText(file.age_s()) : "-", remark});
  }
  if (logins.empty()) return say("nobody is logged in");
  for (const std::string& line : table.lines()) say(line);
}
