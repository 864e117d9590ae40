#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// The grammar of proxies' names: stem ".A" channels ".proxy." height "." extension.
// Threads    any; pure.
// Kept       only the first "proxy" and the first ".A" of a name count, wherever they stand
//            (ProxyNameTest.OnlyTheFirstMarkOfANameCounts).
namespace ProxyName {

constexpr uint32_t kNoHeight = 0xFFFFFFFF;
constexpr uint32_t kNoChannels = 0;

// `stem` is the media file's name without its extension; `extension` has no leading dot.
std::wstring make(std::wstring_view stem, std::wstring_view extension, uint32_t height,
                  uint8_t channels);

// The number behind a name's mark. It may have blanks and a sign before its digits, and anything
// behind them. One from -2147483648 to 4294967295 fits 32 bits: a negative one is read as what it
// is without a sign there (so a height of -1 is none). One that does not fit is no number.
uint32_t height(std::wstring_view name);
uint32_t audioChannels(std::wstring_view name);

// Whether a name has the older form, without a height: "proxy-..." in a folder "proxy".
bool isOlderForm(std::wstring_view name);

}  // namespace ProxyName
