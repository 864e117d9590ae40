#include "platform/common/Utf8.h"

#include "platform/LightweightString.h"

static_assert(sizeof(wchar_t) == sizeof(char32_t), "wide texts are UTF-32");

namespace {

constexpr char32_t kEscapeBase = 0xDC00;
constexpr char32_t kReplacement = 0xFFFD;
constexpr char32_t kLast = 0x10FFFF;

constexpr bool isSurrogate(char32_t c) { return c >= 0xD800 && c <= 0xDFFF; }
// Only bytes from 0x80 can be undecodable.
constexpr bool isEscape(char32_t c) { return c >= kEscapeBase + 0x80 && c <= kEscapeBase + 0xFF; }
constexpr bool isContinuation(unsigned char byte) { return (byte & 0xC0) == 0x80; }

// How many bytes a sequence with this first byte has; 0 when none begins so.
constexpr size_t sequenceLength(unsigned char lead) {
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead <= 0xDF) return 2;
  if (lead >= 0xE0 && lead <= 0xEF) return 3;
  if (lead >= 0xF0 && lead <= 0xF4) return 4;
  return 0;
}

constexpr char32_t smallestOf(size_t length) {
  return length == 4 ? 0x10000 : length == 3 ? 0x800 : length == 2 ? 0x80 : 0;
}

std::wstring decode(std::string_view bytes) {
  std::wstring wide;
  wide.reserve(bytes.size());
  while (!bytes.empty()) {
    Utf8::Decoded next = Utf8::decodeOne(bytes);
    wide.push_back(static_cast<wchar_t>(next.character));
    bytes.remove_prefix(next.bytes);
  }
  return wide;
}

}  // namespace

Utf8::Decoded Utf8::decodeOne(std::string_view text) {
  auto byteAt = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
  Decoded escaped{kEscapeBase + byteAt(0), 1};
  size_t length = sequenceLength(byteAt(0));
  if (length == 1) return {byteAt(0), 1};
  if (length == 0 || length > text.size()) return escaped;
  char32_t character = byteAt(0) & (0x7Fu >> length);
  for (size_t i = 1; i < length; ++i) {
    if (!isContinuation(byteAt(i))) return escaped;
    character = character << 6 | (byteAt(i) & 0x3Fu);
  }
  if (character < smallestOf(length) || isSurrogate(character) || character > kLast) return escaped;
  return {character, length};
}

bool Utf8::appendBytes(char32_t c, std::string& bytes) {
  auto put = [&](char32_t byte) { bytes.push_back(static_cast<char>(byte)); };
  auto putTail = [&](unsigned shift) { put(0x80 | (c >> shift & 0x3F)); };
  if (isEscape(c)) {
    put(c - kEscapeBase);
  } else if (isSurrogate(c) || c > kLast) {
    return false;
  } else if (c < 0x80) {
    put(c);
  } else if (c < 0x800) {
    put(0xC0 | c >> 6);
    putTail(0);
  } else if (c < 0x10000) {
    put(0xE0 | c >> 12);
    putTail(6);
    putTail(0);
  } else {
    put(0xF0 | c >> 18);
    putTail(12);
    putTail(6);
    putTail(0);
  }
  return true;
}

LightweightString<wchar_t> fromUTF8(const char* text) {
  return text ? fromUTF8(std::string_view(text)) : LightweightString<wchar_t>();
}

LightweightString<wchar_t> fromUTF8(std::string_view bytes) {
  return LightweightString<wchar_t>(std::wstring_view(decode(bytes)));
}

LightweightString<char> toUTF8(const LightweightString<wchar_t>& text) {
  if (text.isNull()) return {};
  std::string bytes;
  for (wchar_t c : text.view())
    if (!Utf8::appendBytes(static_cast<char32_t>(c), bytes)) Utf8::appendBytes(kReplacement, bytes);
  return LightweightString<char>(std::string_view(bytes));
}

bool toPathBytes(const LightweightString<wchar_t>& text, std::string& bytes) {
  bytes.clear();
  bool named = true;
  for (wchar_t c : text.view())
    named = named && c != 0 && Utf8::appendBytes(static_cast<char32_t>(c), bytes);
  // Bytes that read back as another text are escapes that forge a character.
  named = named && decode(bytes) == text.view();
  if (!named) bytes.clear();
  return named;
}
