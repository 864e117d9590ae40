#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>

#include "platform/fake/FakeContent.h"

// FakeNames: which names the fake's file manager has, and what stands behind them. No name is a
// file and a link at once.
struct FakeNames {
  std::map<std::wstring, std::shared_ptr<FakeContent>> files;
  std::set<std::wstring> folders;              // without a separator at their ends
  std::map<std::wstring, std::wstring> links;  // the same, and where they go

  // What had the name has it no more.
  void putFile(const std::wstring& name, const std::shared_ptr<FakeContent>& content) {
    links.erase(name);
    files[name] = content;
  }
  void putLink(const std::wstring& name, const std::wstring& target) {
    files.erase(name);
    links[name] = target;
  }
  // A file or a link.
  void remove(const std::wstring& name) {
    files.erase(name);
    links.erase(name);
  }
};
