#include "tools/fsys/demo/DemoFile.h"

#include "tools/fsys/Text.h"

std::string DemoFile::extension() const { return source.substr(source.rfind('.') + 1); }

void DemoFile::setName(const MaterialFilename& there) {
  name = there;
  path = bytesOf(there.getOsPath());
}

void DemoFile::forgetName() {
  setName({});
  beside.clear();
}
