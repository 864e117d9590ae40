#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>

// AutomountedFolder: a folder on which the system mounts memory of 1 MiB when somebody goes there.
// Story      Mounted by the constructor where that is allowed; a process of its own mounts what is
//            asked for, at once or when the test lets it go. The destructor unmounts all of it.
// Threads    one.
class AutomountedFolder {
public:
  enum eAnswers { eAtOnce, eWhenLetGo };

  AutomountedFolder(const std::string& folder, eAnswers answers);
  ~AutomountedFolder();
  AutomountedFolder(const AutomountedFolder&) = delete;
  AutomountedFolder& operator=(const AutomountedFolder&) = delete;

  bool isMounted() const { return isMounted_; }
  // Whether the system has asked for what is to be mounted there.
  bool isAsked();
  void waitUntilAsked();
  void letGo();

private:
  void serve(int requests, int line, eAnswers answers) const;
  void mountOnIt(unsigned long request) const;

  const std::string folder_;
  pid_t server_ = 0;
  int line_ = -1;  // to the server: a byte from it for each request, a byte to it lets go
  bool isMounted_ = false;
  bool isAsked_ = false;
};
