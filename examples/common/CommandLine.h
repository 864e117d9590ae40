#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

// CommandLine: one word, and options that begin with two dashes.
// Errors     throws Failures.
class CommandLine {
public:
  // What an option is followed by.
  enum Takes { eNothing, eValue };
  using Known = std::map<std::string, Takes>;

  // `usage` is told when the line is not as it should be.
  CommandLine(int count, char** words, const Known& known, const std::string& usage);

  const std::string& word() const { return word_; }
  bool has(const std::string& option) const { return values_.count(option) != 0; }
  // In the order in which they were given.
  std::vector<std::string> all(const std::string& option) const;
  // Each of them in turn; "-" stands for the lines of standard input, as they come, until Ctrl-C.
  void each(const std::string& option, const std::function<void(const std::string&)>& tell) const;
  // The last one, or `otherwise`.
  std::string last(const std::string& option, const std::string& otherwise) const;
  // The same as a number that is not negative.
  double number(const std::string& option, double otherwise) const;
  static double toNumber(const std::string& text);

private:
  std::string word_;
  std::multimap<std::string, std::string> values_;
};
