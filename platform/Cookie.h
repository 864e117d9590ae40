#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "platform/LightweightString.h"
#include "platform/PlatformExport.h"

// What kind of media a cookie is for; the number is the letter.
enum CookieType : char { eCookieInvalid = 'I', eCookieVision = 'V', eCookieSound = 'S' };

// Cookie: the editor's identifier of one piece of media.
// Story      Its text is a letter for the type ('V' or 'S'), eight characters of the shot (0-9 and
//            A-Z) and two hexadecimal digits of the channel: "V4K7Q2M9A00". A text that is not a
//            cookie gives one of type 'I', which has an empty text.
// Threads    a value.
class PLATFORM_EXPORT Cookie {
public:
  static constexpr size_t kShotLength = 8;
  static constexpr size_t kLength = 1 + kShotLength + 2;

  Cookie() = default;
  // Strict: the eleven characters in capitals. Lenient: letters of either case, a missing channel
  // is 00, and what follows the channel is ignored.
  explicit Cookie(const LightweightString<wchar_t>& text, bool lenient = false);
  // The same of a part of a text. Allocates nothing.
  static Cookie fromView(std::wstring_view text, bool lenient);

  CookieType getType() const { return static_cast<CookieType>(value_ >> kTypeShift & 0xFF); }
  uint8_t getChannel() const { return static_cast<uint8_t>(value_); }
  bool isValid() const { return getType() != eCookieInvalid; }
  LightweightString<wchar_t> asWString() const;
  // Whether that is asWString() in any case. Allocates nothing.
  bool isTextNoCase(std::wstring_view text) const;
  // The same for either value of the flag.
  LightweightString<char> asString(bool whole = false) const;
  // Below, at or above 0. By shot, then type, then channel.
  int compare(const Cookie& other) const {
    return int{value_ > other.value_} - int{value_ < other.value_};
  }

  friend bool operator==(const Cookie& a, const Cookie& b) { return a.compare(b) == 0; }
  friend bool operator<(const Cookie& a, const Cookie& b) { return a.compare(b) < 0; }
  friend PLATFORM_EXPORT Cookie convertCookie(const Cookie& from, CookieType type,
                                              unsigned char channel);

private:
  static constexpr unsigned kTypeShift = 8;
  static constexpr unsigned kShotShift = 16;
  static constexpr unsigned kCharacterBits = 6;

  Cookie(uint64_t shot, CookieType type, uint8_t channel)
      : value_(shot << kShotShift | uint64_t{static_cast<uint8_t>(type)} << kTypeShift | channel) {}
  // The text of one that is valid.
  std::array<char, kLength> characters() const;

  // The shot's characters in six bits each, the first in the highest, then the type's letter, then
  // the channel: so cookies compare as numbers.
  uint64_t value_ = uint64_t{eCookieInvalid} << kTypeShift;
};

static_assert(sizeof(Cookie) == 8, "a catalogue holds a million of them");

// The cookie of the same shot for another type and channel; an invalid one stays so.
PLATFORM_EXPORT Cookie convertCookie(const Cookie& from, CookieType type, unsigned char channel);
