#include "platform/linux/AutomountVisit.h"

#include <sys/stat.h>

void AutomountVisit::run() {
  found_ = tree_->find(path_, MountTree::eGoIn, error_);
  if (!found_.mount || !found_.mount->isAutomount) return;
  // A look at the folder from inside: at its name alone nothing would be mounted.
  struct stat ignored;
  stat((found_.folder + "/").c_str(), &ignored);
}
