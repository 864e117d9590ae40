#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "platform/Log.h"

// TestDiagnostics: catches the library's texts for a scope, instead of printing them.
// Threads    any thread may write texts; the test reads copies.
class TestDiagnostics {
public:
  struct Splat {
    int level;
    std::string text;
    bool operator==(const Splat&) const = default;
  };
  struct Shown {
    int column;
    int row;
    std::wstring text;
    bool operator==(const Shown&) const = default;
  };

  TestDiagnostics();
  ~TestDiagnostics();
  TestDiagnostics(const TestDiagnostics&) = delete;
  TestDiagnostics& operator=(const TestDiagnostics&) = delete;

  // The texts of putOut (standard output), of Log, of LogBoth; one entry a call.
  std::vector<std::string> out() const { return copy(out_); }
  std::vector<std::string> log() const { return copy(log_); }
  std::vector<std::string> logBoth() const { return copy(logBoth_); }
  std::vector<Splat> splats() const { return copy(splats_); }
  std::vector<Shown> display() const { return copy(display_); }
  // All of out() in one text, for diagnostics that are written in pieces.
  std::string outText() const;
  void clear();

private:
  template <typename T>
  std::vector<T> copy(const std::vector<T>& texts) const {
    std::lock_guard lock(lock_);
    return texts;
  }
  template <typename T>
  void add(std::vector<T>& texts, T text) {
    std::lock_guard lock(lock_);
    texts.push_back(std::move(text));
  }

  mutable std::mutex lock_;  // guards the texts
  std::vector<std::string> out_;
  std::vector<std::string> log_;
  std::vector<std::string> logBoth_;
  std::vector<Splat> splats_;
  std::vector<Shown> display_;
  DiagnosticSinks before_;
};
