#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include "platform/PlatformExport.h"

// LightweightString: a text that is cheap to copy: copies share one text until one of them changes.
// Wide texts hold one UTF-32 code point a character.
// Threads    one string is used by one thread at a time; strings that share a text may live on
//            many threads (the count is atomic, a shared text never changes).
// Units      lengths and positions count characters. The text is always followed by a zero.
// States     null    never held a string        isNull(), empty(), length 0
//            empty   holds a text of length 0   !isNull(), empty()
//            A null and an empty string are equal to each other; only isNull() tells them apart.
template <typename C>
class LightweightString {
public:
  using View = std::basic_string_view<C>;
  static constexpr size_t npos = View::npos;

  LightweightString() = default;
  LightweightString(const C* text) : rep_(text ? new Rep{View(text)} : nullptr) {}
  LightweightString(const C* text, size_t length) : rep_(new Rep{View(text, length)}) {}
  explicit LightweightString(View text) : rep_(new Rep{text}) {}
  LightweightString(const LightweightString& other) : rep_(other.rep_) {
    if (rep_) rep_->count.fetch_add(1, std::memory_order_relaxed);
  }
  LightweightString(LightweightString&& other) noexcept
      : rep_(std::exchange(other.rep_, nullptr)) {}
  ~LightweightString() { release(); }
  LightweightString& operator=(LightweightString other) noexcept {
    std::swap(rep_, other.rep_);
    return *this;
  }

  bool isNull() const { return rep_ == nullptr; }
  bool empty() const { return length() == 0; }
  size_t length() const { return rep_ ? rep_->text.size() : 0; }
  size_t size() const { return length(); }
  // Good until this string changes or goes. Never null.
  const C* c_str() const { return rep_ ? rep_->text.c_str() : &zero; }
  View view() const { return rep_ ? View(rep_->text) : View(); }
  C operator[](size_t index) const { return index < length() ? rep_->text[index] : C(); }

  LightweightString& operator+=(View tail) {
    own().append(tail);
    return *this;
  }
  LightweightString& operator+=(const LightweightString& tail) {
    LightweightString kept(tail);  // NOLINT(performance-unnecessary-copy-initialization): may be us
    return *this += kept.view();
  }
  LightweightString& operator+=(const C* tail) { return *this += View(tail); }
  LightweightString& operator+=(C tail) { return *this += View(&tail, 1); }

  // A position past the end gives an empty text.
  LightweightString substr(size_t position, size_t count = npos) const {
    return LightweightString(view().substr(std::min(position, length()), count));
  }
  size_t find(View what, size_t from = 0) const { return view().find(what, from); }
  size_t rfind(View what) const { return view().rfind(what); }

  friend bool operator==(const LightweightString& a, const LightweightString& b) {
    return a.view() == b.view();
  }
  friend bool operator==(const LightweightString& a, const C* b) { return a.view() == View(b); }
  friend auto operator<=>(const LightweightString& a, const LightweightString& b) {
    return a.view() <=> b.view();
  }
  friend LightweightString operator+(LightweightString a, const LightweightString& b) {
    return a += b;
  }
  friend LightweightString operator+(LightweightString a, const C* b) { return a += b; }
  friend LightweightString operator+(LightweightString a, C b) { return a += b; }

private:
  struct Rep {
    explicit Rep(View view) : text(view) {}
    std::atomic<int> count{1};
    std::basic_string<C> text;
  };
  static constexpr C zero = C();

  void release() {
    if (rep_ && rep_->count.fetch_sub(1, std::memory_order_acq_rel) == 1) delete rep_;
    rep_ = nullptr;
  }
  // The text for this string alone.
  std::basic_string<C>& own() {
    if (!rep_) {
      rep_ = new Rep{View()};
    } else if (rep_->count.load(std::memory_order_acquire) != 1) {
      Rep* mine = new Rep{View(rep_->text)};
      release();
      rep_ = mine;
    }
    return rep_->text;
  }

  Rep* rep_ = nullptr;
};

// Names on disk are bytes. An undecodable byte b stands as U+DC00+b in the wide text, and back, so
// that bytes -> wide -> bytes gives the same bytes for every byte string.
PLATFORM_EXPORT LightweightString<wchar_t> fromUTF8(const char* text);
// The same of bytes among which a NUL may be.
PLATFORM_EXPORT LightweightString<wchar_t> fromUTF8(std::string_view bytes);
// What has no UTF-8 form (surrogates other than the above, numbers past U+10FFFF) becomes U+FFFD.
PLATFORM_EXPORT LightweightString<char> toUTF8(const LightweightString<wchar_t>& text);
// The exact bytes of a name for the system. False, and `bytes` empty, when the text is no name: it
// has a NUL, a code point without a byte form, or escaped bytes that together forge valid UTF-8.
PLATFORM_EXPORT bool toPathBytes(const LightweightString<wchar_t>& text, std::string& bytes);
