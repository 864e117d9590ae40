#include "PictureSequence.h"

#include <algorithm>
#include <cctype>

namespace {

constexpr size_t kMostDigits = 9;  // what a number of 32 bits holds

// "/a/shot.0001.dpx" is "/a/shot.", "0001" and ".dpx".
bool isPicture(std::string ending) {
  std::transform(ending.begin(), ending.end(), ending.begin(),
                 [](unsigned char letter) { return std::tolower(letter); });
  for (const char* known :
       {".dpx", ".png", ".tif", ".tiff", ".exr", ".jpg", ".jpeg", ".tga", ".bmp"})
    if (ending == known) return true;
  return false;
}

// A '%' that is no place for a number.
std::string doubled(const std::string& text) {
  std::string result;
  for (char letter : text) result += letter == '%' ? "%%" : std::string(1, letter);
  return result;
}

}  // namespace

PictureSequence::PictureSequence(const std::string& path) {
  const size_t dot = path.rfind('.');
  if (dot == std::string::npos || !isPicture(path.substr(dot))) return;
  size_t digits = dot;
  while (digits > 0 && std::isdigit(static_cast<unsigned char>(path[digits - 1]))) --digits;
  const size_t count = dot - digits;
  if (count == 0 || count > kMostDigits) return;
  first = path.substr(digits, count);
  pattern = doubled(path.substr(0, digits)) + "%0" + std::to_string(count) + "d" +
            doubled(path.substr(dot));
}
