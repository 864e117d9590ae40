#pragma once

#include "platform/PathHelpers.h"
#include "tools/fsys/Command.h"

// LinkCommand: what the commands have in common that look at material links.
// Threads    the main thread. A drive that is silent is not waited for.
class LinkCommand : public Command {
public:
  bool usesEngine() const override { return false; }

protected:
  static constexpr Group kLinks = {"link", "Small files that stand for media elsewhere"};

  // What is found under a name.
  struct Look {
    bool isThere = false;
    bool isLink = false;
    PathString target;            // of a link; empty when it leads nowhere
    bool isTargetThere = false;   // of a link
    bool isTargetSilent = false;  // its drive does not answer

    // "there", "missing" or "no answer".
    const char* targetState() const;
    void put(Json& json) const;
  };

  // Throws when the drive of the path does not answer, or the file cannot be read.
  static Look lookAt(const char* doing, const PathString& path);
  // Absolute; throws for a network's name, which is no file here.
  static PathString linkPath(const char* doing, const std::string& word);
};
