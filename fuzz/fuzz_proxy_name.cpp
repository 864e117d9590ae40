// Names of proxies: any text is read to its end and not past it; what is made is read back.

#include <cwchar>
#include <string>

#include "fsys/ProxyName.h"
#include "fuzz/InputBytes.h"
#include "fuzz/Require.h"
#include "platform/LightweightString.h"

namespace {

using ProxyName::kNoChannels;
using ProxyName::kNoHeight;

// The library's own scan reads the same, for numbers that it can hold.
uint32_t scanned(const std::wstring& name, const wchar_t* mark, const wchar_t* format,
                 uint32_t none) {
  const size_t start = name.find(mark);
  int number = 0;
  if (start == name.npos || std::swscanf(name.c_str() + start, format, &number) != 1) return none;
  return static_cast<uint32_t>(number);
}

// Longer ones are cut off by the scan, and no number here.
bool hasLongNumber(const std::wstring& name) {
  size_t digits = 0;
  for (wchar_t character : name) {
    digits = character >= L'0' && character <= L'9' ? digits + 1 : 0;
    if (digits > 9) return true;
  }
  return false;
}

void checkReading(const std::wstring& name) {
  const uint32_t height = ProxyName::height(name);
  const uint32_t channels = ProxyName::audioChannels(name);
  const bool hasZero = name.find(L'\0') != name.npos;
  if (!hasZero && !hasLongNumber(name)) {
    require(height == scanned(name, L"proxy", L"proxy.%d", kNoHeight), "a height is a number");
    require(channels == scanned(name, L".A", L".A%d", kNoChannels), "so are channels");
  }
  require(height == kNoHeight || name.find(L"proxy.") != name.npos, "a height has its mark");
  require(channels == kNoChannels || name.find(L".A") != name.npos, "channels have their mark");
  const std::wstring longer = name + L"9";
  const std::wstring_view same = std::wstring_view(longer).substr(0, name.size());
  require(ProxyName::height(same) == height, "nothing behind the name is read");
  require(ProxyName::audioChannels(same) == channels, "nothing behind the name is read");
}

void checkMaking(const std::wstring& stem, uint32_t height, uint8_t channels) {
  const std::wstring name = ProxyName::make(stem, L"mov", height, channels);
  require(name.starts_with(stem) && name.ends_with(L".mov"), "a name keeps its stem and its end");
  if (stem.find(L"proxy") == stem.npos)
    require(ProxyName::height(name) == height, "a height is read back");
  if ((stem + L".").find(L".A") == stem.npos)
    require(ProxyName::audioChannels(name) == channels, "channels are read back");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  InputBytes input(data, size);
  const auto height = static_cast<uint32_t>(input.number(4));
  const auto channels = static_cast<uint8_t>(input.number(1));
  const std::wstring text(fromUTF8(input.rest()).view());
  checkReading(text);
  checkMaking(text, height, channels);
  return 0;
}
