#include "platform/DurableFolder.h"

#include "platform/OS.h"
#include "platform/PathHelpers.h"

bool makeDurableFolder(const PathString& path) {
  iFileManager* files = OS()->getFileManager();
  PathString folder = withoutSeparator(path);
  if (folder.empty() || files->folderExists(folder)) return true;
  PathString parent = getPath(folder);
  return makeDurableFolder(parent) && files->createFolder(folder) &&
         files->syncFolder(parent.empty() ? PathString(L".") : parent);
}
