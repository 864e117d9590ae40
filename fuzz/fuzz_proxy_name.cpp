// Names of proxies: any text is read to its end and not past it; what is made is read back.

#include <algorithm>
#include <cwchar>
#include <string>

#include "fsys/MediaFileInfo.h"
#include "fsys/ProxyName.h"
#include "fuzz/InputBytes.h"
#include "fuzz/Require.h"
#include "platform/LightweightString.h"
#include "platform/fake/FakeOSScope.h"

namespace {

using Text = LightweightString<wchar_t>;
using ProxyName::kNoChannels;
using ProxyName::kNoHeight;

// What the text has behind its first mark is a number if its digits, without zeros before them, are
// no more than the largest that fits.
uint32_t numberBehind(const std::wstring& name, const std::wstring& mark, const std::wstring& dot,
                      uint32_t none) {
  constexpr const wchar_t* kDigits = L"0123456789";
  const size_t place = name.find(mark);
  if (place == name.npos || name.compare(place + mark.size(), dot.size(), dot) != 0) return none;
  std::wstring text = name.substr(place + mark.size() + dot.size());
  text.erase(0, std::min(text.find_first_not_of(L" \t\n\v\f\r"), text.size()));
  const bool isNegative = text.starts_with(L'-');
  if (isNegative || text.starts_with(L'+')) text.erase(0, 1);
  std::wstring digits = text.substr(0, text.find_first_not_of(kDigits));
  if (digits.empty()) return none;
  digits.erase(0, std::min(digits.find_first_not_of(L'0'), digits.size() - 1));
  const std::wstring most = isNegative ? L"2147483648" : L"4294967295";
  if (digits.size() > most.size() || (digits.size() == most.size() && digits > most)) return none;
  const auto value = static_cast<uint32_t>(std::stoull(digits));
  return isNegative ? 0 - value : value;
}

// The library's own scan reads the same, for numbers that it can hold.
uint32_t scanned(const std::wstring& name, const wchar_t* mark, const wchar_t* format,
                 uint32_t none) {
  const size_t start = name.find(mark);
  int number = 0;
  if (start == name.npos || std::swscanf(name.c_str() + start, format, &number) != 1) return none;
  return static_cast<uint32_t>(number);
}

// It says nothing sure of longer ones.
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
  require(height == numberBehind(name, L"proxy", L".", kNoHeight), "a height that fits is one");
  require(channels == numberBehind(name, L".A", L"", kNoChannels), "and so are channels");
  const bool hasZero = name.find(L'\0') != name.npos;
  if (!hasZero && !hasLongNumber(name)) {
    require(height == scanned(name, L"proxy", L"proxy.%d", kNoHeight), "a height is a number");
    require(channels == scanned(name, L".A", L".A%d", kNoChannels), "so are channels");
  }
  const std::wstring longer = name + L"9";
  const std::wstring_view same = std::wstring_view(longer).substr(0, name.size());
  require(ProxyName::height(same) == height, "nothing behind the name is read");
  require(ProxyName::audioChannels(same) == channels, "nothing behind the name is read");
}

// Without the ending of its last part.
std::wstring stemOf(const std::wstring& name) {
  const size_t dot = name.rfind(L'.');
  const size_t separator = name.rfind(L'/');
  const bool hasEnding = dot != name.npos && (separator == name.npos || dot > separator);
  return hasEnding ? name.substr(0, dot) : name;
}

void checkMaking(const std::wstring& file, const std::wstring& extension, uint32_t height,
                 uint8_t channels) {
  const std::wstring stem = stemOf(file);
  const std::wstring name(MediaFileInfo::makeProxyName(Text(std::wstring_view(file)),
                                                       Text(std::wstring_view(extension)), height,
                                                       channels)
                              .view());
  std::wstring built = stem + L".A" + std::to_wstring(channels);
  built += L".proxy." + std::to_wstring(height) + L"." + extension;
  require(name == built, "a name is its six parts");
  if (stem.find(L"proxy") == stem.npos)
    require(ProxyName::height(name) == height, "a height is read back");
  if ((stem + L".").find(L".A") == stem.npos)
    require(ProxyName::audioChannels(name) == channels, "channels are read back");
}

// One of the older form is a proxy if its file is there.
void checkKind(FakeOSScope& os, const std::wstring& name, bool isPut) {
  const Text text{std::wstring_view(name)};
  if (isPut) os->files().addFile(text);
  const bool isThere = isPut && os->files().exists(text);
  const bool isOlder = name.find(L"/proxy/proxy-") != name.npos;
  const bool isProxy = ProxyName::height(name) != kNoHeight || (isOlder && isThere);
  require(MediaFileInfo::isProxy(text) == isProxy, "a height, or the older form, makes a proxy");
  const MediaFileInfo info(MaterialFilename(DriveId(), text), 1);
  require(info.isProxy() == isProxy, "a file is one by its name");
  require(info.proxyHeight() == (isProxy ? ProxyName::height(name) : 0), "and has its height");
  require(info.proxyAudioChannels() == (isProxy ? ProxyName::audioChannels(name) : 0),
          "and its channels");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FakeOSScope os;
  InputBytes input(data, size);
  const auto height = static_cast<uint32_t>(input.number(4));
  const auto channels = static_cast<uint8_t>(input.number(1));
  const bool isPut = input.flag();
  const std::wstring extension(fromUTF8(input.text()).view());
  const std::wstring name(fromUTF8(input.rest()).view());
  checkReading(name);
  checkMaking(name, extension, height, channels);
  checkKind(os, name, isPut);
  return 0;
}
