#include "tools/fsys/DoctorCommand.h"

#include <sys/resource.h>
#include <sys/statvfs.h>
#include <sys/utsname.h>

#include <CLI/CLI.hpp>
#include <array>
#include <fstream>

#include "platform/OS.h"
#include "tools/fsys/DirectIoProbe.h"
#include "tools/fsys/DriveKind.h"
#include "tools/fsys/PlainFile.h"
#include "tools/fsys/Text.h"

namespace {

// The first line of a file of the system's; empty when it is not there.
std::string firstLine(const char* name) {
  std::ifstream file(name);
  std::string line;
  std::getline(file, line);
  return line;
}

std::string limitText(rlim_t limit, bool bytes) {
  if (limit == RLIM_INFINITY) return "unlimited";
  return bytes ? sizeText(limit) : std::to_string(limit);
}

}  // namespace

CLI::App* DoctorCommand::define(CLI::App& app) {
  CLI::App* command =
      app.add_subcommand("doctor", "Say what this machine and the drive behind a path allow");
  command->add_option("PATH", path_, "A file or a folder (the current folder)");
  return command;
}

ExitCode DoctorCommand::execute() {
  tellTransport();
  tellMachine();
  tellLimits();
  tellPath();
  return ExitCode::eSuccess;
}

void DoctorCommand::line(const std::string& what, const std::string& how) const {
  say(text("%-20s ", what.c_str()) + how);
}

void DoctorCommand::tellTransport() {
  iAsyncIo::Description description = OS()->getAsyncIo()->describe();
  std::string refused = firstLine("/proc/sys/kernel/io_uring_disabled");
  Json& json = results()["transfers"];
  json["by"] = description.ring ? "ring" : "threads";
  json["why"] = description.why;
  json["in_flight_limit"] = description.inFlightLimit;
  json["io_uring_disabled"] = refused;
  line("transfers", description.ring ? "a ring of the kernel's (io_uring)"
                                     : std::string("threads, because ") + description.why);
  line("  in flight", text("at most %u at once for reads, and as many for writes",
                           static_cast<unsigned>(description.inFlightLimit)));
  if (!refused.empty()) line("  io_uring_disabled", refused);
}

void DoctorCommand::tellMachine() {
  utsname system = {};
  uname(&system);
  iSystemInfo* info = OS()->getSystemInfo();
  iVirtualMemory::Figures memory = OS()->getVirtualMemory()->figures();
  std::string huge = firstLine("/sys/kernel/mm/transparent_hugepage/enabled");
  Json& json = results()["machine"];
  json["system"] = std::string(system.sysname) + " " + system.release;
  json["processors"] = info->getProcessorCount();
  json["page_size"] = info->getPageSize();
  json["huge_pages"] = huge;
  json["memory_kept_at_most"] = memory.keepLimit;
  line("system", std::string(system.sysname) + " " + system.release);
  line("processors", std::to_string(info->getProcessorCount()));
  line("pages", sizeText(info->getPageSize()) +
                    (huge.empty() ? ", no huge pages" : ", huge pages: " + huge));
  line("memory", "the engine keeps at most " + sizeText(memory.keepLimit) + " of idle buffers");
}

void DoctorCommand::tellLimits() {
  struct Limit {
    int resource;
    const char* name;
    bool bytes;
  };
  static constexpr std::array<Limit, 4> limits = {{{RLIMIT_NOFILE, "RLIMIT_NOFILE", false},
                                                   {RLIMIT_MEMLOCK, "RLIMIT_MEMLOCK", true},
                                                   {RLIMIT_FSIZE, "RLIMIT_FSIZE", true},
                                                   {RLIMIT_AS, "RLIMIT_AS", true}}};
  for (const Limit& limit : limits) {
    rlimit found = {};
    if (getrlimit(static_cast<__rlimit_resource_t>(limit.resource), &found) != 0) continue;
    Json& json = results()["limits"][limit.name];
    json["soft"] = found.rlim_cur == RLIM_INFINITY ? Json(nullptr) : Json(found.rlim_cur);
    json["hard"] = found.rlim_max == RLIM_INFINITY ? Json(nullptr) : Json(found.rlim_max);
    line(limit.name, limitText(found.rlim_cur, limit.bytes) + " (can be raised to " +
                         limitText(found.rlim_max, limit.bytes) + ")");
  }
}

void DoctorCommand::tellPath() {
  FileFacts facts = factsOf(path_);
  Json& json = results()["path"];
  putName(json, "name", path_);
  if (!facts.exists) throw ToolError(ExitCode::eNotFound, "looking at", path_, "no such file");
  if (!facts.isFolder && !facts.isRegular)
    throw ToolError(ExitCode::eNotAFile, "looking at", path_, "neither a folder nor a file");
  line("path", inQuotes(path_));
  Qv::Ptr<iDiskDrive> drive = OS()->getFileManager()->getDisk(enginePath(path_));
  json["drive"] = drive ? driveKind(drive->getType()) : "unknown";
  json["sector_size"] = drive ? drive->getSectorSize() : 0;
  line("  drive", drive ? text("%s, sectors of %u bytes", driveKind(drive->getType()),
                               static_cast<unsigned>(drive->getSectorSize()))
                        : "unknown");
  struct statvfs space = {};
  if (statvfs(path_.c_str(), &space) == 0) {
    uint64_t free = uint64_t{space.f_bavail} * space.f_frsize;
    json["free_bytes"] = free;
    line("  free", sizeText(free));
  }
  DirectIoProbe probe = DirectIoProbe::of(path_, facts.isFolder);
  json["direct"] = probe.tried ? Json(probe.works) : Json(nullptr);
  if (!probe.works) json["direct_why_not"] = probe.why;
  json["memory_alignment"] = probe.memoryAlignment;
  json["offset_alignment"] = probe.offsetAlignment;
  if (!probe.tried)
    line("  direct transfers", "not known: trying one failed (" + probe.why + ")");
  else if (!probe.works)
    line("  direct transfers", "no (" + probe.why + "): the page cache is used");
  else
    line("  direct transfers", "yes");
  if (probe.offsetAlignment > 0)
    line("  alignment", text("memory %u, offsets and lengths %u bytes",
                             static_cast<unsigned>(probe.memoryAlignment),
                             static_cast<unsigned>(probe.offsetAlignment)));
}
