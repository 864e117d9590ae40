#pragma once

#include <string>
#include <vector>

#include "bench/table/Descriptor.h"

// PrivateMounts: file systems that only this thread sees, and the programs that it starts.
// Story      From its making on the thread has a list of mounts of its own. What is mounted goes
//            when the last of those has ended.
// Threads    the one that made it.
// Errors     where mounting is refused, add answers false and why() says what was refused.
class PrivateMounts {
public:
  PrivateMounts();

  // Each makes the folder. An empty file system in memory:
  bool addMemory(const std::string& folder);
  // One that never answers: nobody reads what it is asked.
  bool addSilent(const std::string& folder);

  const std::string& why() const { return why_; }

private:
  bool add(const std::string& folder, const char* kind, const std::string& options);
  bool refused(const std::string& what);

  std::vector<Descriptor> devices_;  // of the silent ones, which fail once they are closed
  std::string why_;
};
