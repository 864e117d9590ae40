#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

// Json: what a command prints with --json: null, a word, a number, a list or an object, whose keys
// keep their order.
// Story      It is filled, and printed once. A failure is printed this way too, when there may be
//            no memory left: so neither printing nor destroying one takes any.
// Ownership  a value. A reference into an object or list is good until that gets one more.
class Json {
public:
  Json() = default;
  Json(std::nullptr_t) {}
  Json(bool value);
  Json(double value);
  Json(std::string value);
  Json(const char* value) : Json(std::string(value)) {}
  template <std::integral Number>
  Json(Number value) : kind_(ePrinted), text_(std::to_string(value)) {}
  static Json array();

  // The value of a key, null while it is new. Makes this an object.
  Json& operator[](const std::string& key);
  // Makes this a list.
  void push_back(Json value);
  // In lines, those inside by two columns further in. Bytes that are no UTF-8 are replaced.
  void print(FILE* to) const { print(to, eInLines, 0); }
  // The same on one line.
  void printOnALine(FILE* to) const { print(to, eOnALine, 0); }

private:
  enum eKind { eNull, ePrinted, eText, eArray, eObject };
  enum eLayout { eInLines, eOnALine };

  void print(FILE* to, eLayout layout, size_t depth) const;
  static void printBreak(FILE* to, eLayout layout, size_t depth);

  eKind kind_ = eNull;
  std::string text_;
  std::vector<std::string> keys_;  // of an object, one for each value
  std::vector<Json> values_;
};
