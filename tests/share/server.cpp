// Serves a network share from memory: fsys_share_server FOLDER SOURCE. The system lists the mount
// as one of sshfs, from SOURCE. It writes a byte when the share is mounted, and one for each order,
// which is a byte that it reads: 's' for silence, 'a' to answer again, 'd' to take 5 ms for each
// answer from then on, 'p' to read files that are opened from then on in pieces of three bytes, 'b'
// for a disk that is broken from then on, and again for one that is not: the second half of no file
// can be read.
// When there is nothing more to read the share is unmounted, whatever it was doing.
// The process that takes the orders asks the share nothing, so that it can always end it; its child
// answers the system, and is stopped for a silence.

#define FUSE_USE_VERSION 31

#include <fuse.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string>

#include "tests/share/MemoryTree.h"

namespace {

constexpr unsigned kBlockBytes = 4096;
constexpr unsigned kBlocks = 1 << 18;
constexpr timespec kDelay = {0, 5'000'000};
constexpr int kDelaySignal = SIGUSR1;
constexpr size_t kPieceBytes = 3;
constexpr int kPiecesSignal = SIGUSR2;
constexpr int kBrokenSignal = SIGALRM;

volatile sig_atomic_t isSlow = 0;
volatile sig_atomic_t isInPieces = 0;
volatile sig_atomic_t isBroken = 0;

// Asked once for each answer.
MemoryTree& tree() {
  static MemoryTree& all = *new MemoryTree;
  if (isSlow) clock_nanosleep(CLOCK_MONOTONIC, 0, &kDelay, nullptr);
  return all;
}

// Nothing is remembered by the system: each question is asked here.
void* begin(fuse_conn_info*, fuse_config* config) {
  config->attr_timeout = config->entry_timeout = config->negative_timeout = 0;
  return nullptr;
}

int list(const char* path, void* buffer, fuse_fill_dir_t fill, off_t, fuse_file_info*,
         fuse_readdir_flags) {
  std::vector<std::string> names = {".", ".."};
  int result = tree().list(path, names);
  for (const std::string& name : names)
    fill(buffer, name.c_str(), nullptr, 0, static_cast<fuse_fill_dir_flags>(0));
  return result;
}

int tellSpace(const char*, struct statvfs* space) {
  space->f_bsize = space->f_frsize = kBlockBytes;
  space->f_blocks = kBlocks;
  space->f_bfree = space->f_bavail = kBlocks / 2;
  space->f_namemax = 255;
  return 0;
}

// Read directly, a file's short answers reach whoever reads.
int open(const char*, fuse_file_info* file) {
  file->direct_io = isInPieces != 0;
  file->fh = file->direct_io;  // all that a read is told of it
  return 0;
}

bool isInSecondHalf(const char* path, uint64_t end) {
  struct stat status = {};
  return tree().status(path, status) == 0 && end > static_cast<uint64_t>(status.st_size) / 2;
}

int readFile(const char* path, char* to, size_t bytes, off_t offset, fuse_file_info* file) {
  const size_t most = file->fh != 0 ? std::min(bytes, kPieceBytes) : bytes;
  const auto begin = static_cast<uint64_t>(offset);
  if (isBroken && isInSecondHalf(path, begin + most)) return -EIO;
  return tree().read(path, begin, to, most);
}

fuse_operations operations() {
  fuse_operations all = {};
  all.init = begin;
  all.getattr = [](const char* path, struct stat* status, fuse_file_info*) {
    return tree().status(path, *status);
  };
  all.readdir = list;
  all.mkdir = [](const char* path, mode_t mode) { return tree().make(path, S_IFDIR | mode); };
  all.create = [](const char* path, mode_t mode, fuse_file_info*) {
    return tree().make(path, mode);
  };
  all.unlink = [](const char* path) { return tree().removeFile(path); };
  all.rmdir = [](const char* path) { return tree().removeFolder(path); };
  all.rename = [](const char* from, const char* to, unsigned) { return tree().rename(from, to); };
  all.chmod = [](const char* path, mode_t mode, fuse_file_info*) {
    return tree().setMode(path, mode);
  };
  all.chown = [](const char* path, uid_t user, gid_t group, fuse_file_info*) {
    return tree().setOwner(path, user, group);
  };
  all.utimens = [](const char* path, const timespec* times, fuse_file_info*) {
    return tree().setTime(path, times[1]);
  };
  all.truncate = [](const char* path, off_t bytes, fuse_file_info*) {
    return tree().resize(path, static_cast<size_t>(bytes));
  };
  all.open = open;
  all.read = readFile;
  all.write = [](const char* path, const char* from, size_t bytes, off_t offset, fuse_file_info*) {
    return tree().write(path, static_cast<uint64_t>(offset), from, bytes);
  };
  // All is in memory, and flushed as soon as it is written.
  all.flush = [](const char*, fuse_file_info*) { return 0; };
  all.fsync = [](const char*, int, fuse_file_info*) { return 0; };
  all.statfs = tellSpace;
  return all;
}

int signalOf(char order) {
  switch (order) {
    case 's':
      return SIGSTOP;
    case 'd':
      return kDelaySignal;
    case 'p':
      return kPiecesSignal;
    case 'b':
      return kBrokenSignal;
    default:
      return SIGCONT;
  }
}

bool tell() { return write(STDOUT_FILENO, "!", 1) == 1; }

// False when there are no more orders.
bool obey(pid_t server) {
  char order = 0;
  if (read(STDIN_FILENO, &order, 1) != 1) return false;
  kill(server, signalOf(order));
  siginfo_t stopped;
  if (order == 's') waitid(P_PID, static_cast<id_t>(server), &stopped, WSTOPPED | WNOWAIT);
  return tell();
}

void obeyUntilTheEnd(pid_t server) {
  int watch = static_cast<int>(syscall(SYS_pidfd_open, server, 0));
  std::array<pollfd, 2> sources = {pollfd{STDIN_FILENO, POLLIN, 0}, pollfd{watch, POLLIN, 0}};
  while (poll(sources.data(), sources.size(), -1) > 0 && sources[1].revents == 0)
    if (!obey(server)) break;
  kill(server, SIGKILL);
  waitpid(server, nullptr, 0);
}

}  // namespace

int main(int count, char** words) {
  if (count != 3) return 2;
  // It ends when whoever started it has ended, and not before.
  for (int number : {SIGPIPE, SIGINT, SIGTERM, SIGHUP}) signal(number, SIG_IGN);
  std::string options = std::string("subtype=sshfs,fsname=") + words[2];
  std::array<char*, 4> arguments = {words[0], const_cast<char*>("-o"), options.data(), nullptr};
  fuse_args list = FUSE_ARGS_INIT(3, arguments.data());
  fuse_operations all = operations();
  fuse* share = fuse_new(&list, &all, sizeof(all), nullptr);
  if (!share || fuse_mount(share, words[1]) != 0) return 1;
  signal(kDelaySignal, [](int) { isSlow = 1; });
  signal(kPiecesSignal, [](int) { isInPieces = 1; });
  signal(kBrokenSignal, [](int) { isBroken = !isBroken; });
  pid_t server = fork();
  if (server == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    _exit(fuse_loop(share));
  }
  if (server > 0 && tell()) obeyUntilTheEnd(server);
  fuse_unmount(share);
  fuse_destroy(share);
  fuse_opt_free_args(&list);
  return 0;
}
