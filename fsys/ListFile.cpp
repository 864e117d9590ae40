#include "fsys/ListFile.h"

#include <string>

#include "platform/Log.h"

bool ListFile::isEntry(const Text& text) {
  std::string bytes;
  return toPathBytes(text, bytes) && TextFile::isLine(bytes);
}

ListFile::ListFile(const Text& name) : file_(name), isReadable_(file_.load() != TextFile::eFailed) {
  if (!isReadable_)
    Log("Disk Manager - the list '%s' cannot be read and stays as it is\n", toUTF8(name).c_str());
}

bool ListFile::append(const Text& text) {
  if (isEntry(text) && file_.appendLine(toUTF8(text))) return true;
  Log("Disk Manager - '%s' cannot stand in the list '%s'\n", toUTF8(text).c_str(),
      toUTF8(file_.name()).c_str());
  return false;
}

void ListFile::save() {
  if (isReadable_ && !file_.save(TextFile::eLineFeed)) sayUnsaved();
}

void ListFile::remove() {
  if (isReadable_ && !file_.remove()) sayUnsaved();
}

void ListFile::sayUnsaved() const {
  Log("Disk Manager - the list '%s' cannot be saved\n", toUTF8(file_.name()).c_str());
}
