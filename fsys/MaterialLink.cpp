#include "fsys/MaterialLink.h"

bool MaterialLink::getLinkedFilename(const LightweightString<wchar_t>& path,
                                     LightweightString<wchar_t>& result) {
  result = path;
  return false;
}
