#pragma once

#include <sys/types.h>

#include <string>

// MountedShare: a mounted network share, empty at first, in whose folders and files whatever is
// made stays until the end. The system lists it as one of sshfs.
// Story      A program of its own serves it from memory (tests/share); it is told to fall silent,
//            to answer again, slowly, and in pieces. However this process ends, that program sees
//            it and unmounts.
// Threads    one.
// Errors     whyNot() says why there is none.
class MountedShare {
public:
  explicit MountedShare(const std::string& folder, const char* source = "media@server:/share");
  ~MountedShare();
  MountedShare(const MountedShare&) = delete;
  MountedShare& operator=(const MountedShare&) = delete;

  const std::string& whyNot() const { return whyNot_; }
  // From its return on nothing is answered; what is asked meanwhile is, when it answers again.
  void fallSilent() { order('s'); }
  void answer() { order('a'); }
  // Each answer takes 5 ms from then on, and one is given after the other.
  void answerSlowly() { order('d'); }
  // Files that are opened from then on are read three bytes at a time.
  void answerInPieces() { order('p'); }

private:
  void start(const std::string& folder, const char* source);
  void order(char order);
  bool hears();

  std::string whyNot_;
  pid_t program_ = 0;
  int orders_ = -1;   // to the program
  int answers_ = -1;  // from it: a byte when it is mounted, and one for each order
};
