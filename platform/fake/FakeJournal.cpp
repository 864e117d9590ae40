#include "platform/fake/FakeJournal.h"

#include <algorithm>
#include <array>

#include "platform/fake/FakePath.h"

std::string FakeEffect::describe() const {
  constexpr std::array<const char*, eSyncFolder + 1> kWords = {
      "create", "rename to", "delete",      "make folder", "remove folder",
      "write",  "empty",     "set mode of", "flush",       "sync folder"};
  std::string text = kWords[kind];
  if (kind == eWrite)
    text += " " + std::to_string(bytes.size()) + " bytes at " + std::to_string(offset) + " of";
  return text + " " + toUTF8(LightweightString<wchar_t>(std::wstring_view(name))).c_str();
}

void FakeJournal::add(FakeEffect effect) {
  size_t half = effect.bytes.size() / 2;
  if (half == 0) {
    effects_.push_back(std::move(effect));
    return;
  }
  FakeEffect second = effect;
  auto middle = static_cast<std::ptrdiff_t>(half);
  second.bytes.erase(second.bytes.begin(), second.bytes.begin() + middle);
  second.offset += half;
  effect.bytes.resize(half);
  effects_.push_back(std::move(effect));
  effects_.push_back(std::move(second));
}

bool FakeJournal::makesDurable(const FakeEffect& barrier, const FakeEffect& effect) const {
  if (barrier.kind == FakeEffect::eFlush)
    return !effect.isOfNames() && effect.content == barrier.content;
  return barrier.kind == FakeEffect::eSyncFolder && effect.isOfNames() &&
         FakePath::folderOf(effect.name, separator_) == barrier.name;
}

bool FakeJournal::isDurable(size_t effect, size_t count) const {
  auto first = effects_.begin() + static_cast<std::ptrdiff_t>(effect);
  auto end = effects_.begin() + static_cast<std::ptrdiff_t>(count);
  return std::any_of(
      first, end, [&](const FakeEffect& later) { return makesDurable(later, effects_[effect]); });
}

std::vector<size_t> FakeJournal::select(size_t count, bool durable) const {
  std::vector<size_t> found;
  for (size_t i = 0; i < count; ++i)
    if (!effects_[i].isBarrier() && isDurable(i, count) == durable) found.push_back(i);
  return found;
}
