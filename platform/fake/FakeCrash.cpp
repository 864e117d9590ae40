#include "platform/fake/FakeCrash.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "platform/fake/FakeOS.h"
#include "platform/fake/FakePath.h"

FakeCrash::FakeCrash(FakeOS& os)
    : os_(os), journal_(os.files().getSeparator()), before_(os.files().names()) {
  if (os_.files().journal())
    throw std::logic_error("what is done to the fake's files is recorded already");
  for (const auto& [name, content] : before_.files) copies_[content] = content->copy();
  os_.files().setJournal(&journal_);
}

FakeCrash::~FakeCrash() { os_.files().setJournal(nullptr); }

size_t FakeCrash::forEachState(const Look& look) { return show(states(0), look); }

size_t FakeCrash::forEachStateNow(const Look& look) {
  return show(states(journal_.effects().size()), look);
}

// Each once, whatever the number of effects that were done: what was done and lost is the same as
// what was never done.
std::vector<FakeCrash::Kept> FakeCrash::states(size_t first) const {
  std::vector<Kept> all;
  std::set<Kept> seen;
  for (size_t count = first; count <= journal_.effects().size(); ++count)
    for (Kept& kept : statesAfter(count)) {
      Kept whole = kept;
      whole.resize(journal_.effects().size());
      if (seen.insert(whole).second) all.push_back(std::move(kept));
    }
  return all;
}

std::vector<FakeCrash::Kept> FakeCrash::statesAfter(size_t count) const {
  Kept certain(count);
  for (size_t effect : journal_.durable(count)) certain[effect] = true;
  std::vector<size_t> pending = journal_.pending(count);
  std::vector<Kept> all;
  for (const Kept& choice : choices(pending.size())) {
    Kept kept = certain;
    for (size_t i = 0; i < pending.size(); ++i) kept[pending[i]] = choice[i];
    all.push_back(std::move(kept));
  }
  return all;
}

std::vector<FakeCrash::Kept> FakeCrash::choices(size_t pending) {
  std::vector<Kept> all;
  if (pending <= kMostPending) {
    for (size_t bits = 0; bits < size_t{1} << pending; ++bits) {
      Kept choice(pending);
      for (size_t i = 0; i < pending; ++i) choice[i] = (bits >> i & 1) != 0;
      all.push_back(std::move(choice));
    }
    return all;
  }
  for (size_t i = 0; i <= pending; ++i) {
    Kept first(pending);
    std::fill_n(first.begin(), i, true);
    all.push_back(std::move(first));
    if (i == pending) break;
    Kept missing(pending, true);
    missing[i] = false;
    all.push_back(std::move(missing));
    Kept alone(pending);
    alone[i] = true;
    all.push_back(std::move(alone));
  }
  return all;
}

size_t FakeCrash::show(const std::vector<Kept>& states, const Look& look) {
  // Whatever the callback throws, the files come back.
  struct Restored {
    Restored(FakeFileManager& of, FakeJournal& journal)
        : files(of), names(of.names()), recording(journal) {
      files.setJournal(nullptr);
    }
    ~Restored() {
      files.names() = std::move(names);
      files.setJournal(&recording);
    }
    Restored(const Restored&) = delete;
    Restored& operator=(const Restored&) = delete;
    FakeFileManager& files;
    FakeNames names;
    FakeJournal& recording;
  } restored(os_.files(), journal_);
  for (const Kept& kept : states) {
    os_.files().names() = namesWith(kept);
    look(describe(kept));
  }
  return states.size();
}

FakeNames FakeCrash::namesWith(const Kept& kept) const {
  Contents contents;
  FakeNames names = before_;
  for (auto& [name, content] : names.files) content = contentOf(content, contents);
  for (size_t i = 0; i < kept.size(); ++i)
    if (kept[i]) apply(journal_.effects()[i], names, contents);
  wchar_t separator = os_.files().getSeparator();
  for (size_t i = 0; i < kept.size(); ++i) {
    const FakeEffect& effect = journal_.effects()[i];
    if (kept[i] || effect.kind != FakeEffect::eMakeFolder) continue;
    auto isLost = [&](const auto& entry) {
      return FakePath::isWithin(entry.first, effect.name, separator);
    };
    std::erase_if(names.files, isLost);
    std::erase_if(names.links, isLost);
    std::erase_if(names.folders, [&](const std::wstring& folder) {
      return FakePath::isWithin(folder, effect.name, separator);
    });
  }
  return names;
}

// What is kept of a file that was made later begins empty.
FakeCrash::Content FakeCrash::contentOf(const Content& recorded, Contents& contents) const {
  Content& content = contents[recorded];
  if (content) return content;
  auto copy = copies_.find(recorded);
  content = copy == copies_.end() ? std::make_shared<FakeContent>() : copy->second->copy();
  return content;
}

void FakeCrash::apply(const FakeEffect& effect, FakeNames& names, Contents& contents) const {
  Content content = effect.content ? contentOf(effect.content, contents) : nullptr;
  switch (effect.kind) {
    case FakeEffect::eCreate:
      names.putFile(effect.name, content);
      break;
    case FakeEffect::eRename:
      names.remove(effect.from);
      if (content)
        names.putFile(effect.name, content);
      else
        names.putLink(effect.name, effect.linkTarget);
      break;
    case FakeEffect::eDelete:
      names.remove(effect.name);
      break;
    case FakeEffect::eMakeFolder:
      names.folders.insert(effect.name);
      break;
    case FakeEffect::eRemoveFolder:
      names.folders.erase(effect.name);
      break;
    case FakeEffect::eWrite:
      content->write(effect.offset, effect.bytes.data(),
                     static_cast<uint32_t>(effect.bytes.size()));
      break;
    case FakeEffect::eTruncate:
      content->clear();
      break;
    case FakeEffect::eMode:
      content->mode = effect.mode;
      break;
    case FakeEffect::eFlush:
    case FakeEffect::eSyncFolder:
      break;
  }
}

std::string FakeCrash::describe(const Kept& kept) const {
  std::string text = "the power went after " + std::to_string(kept.size()) + " of " +
                     std::to_string(journal_.effects().size()) + " effects";
  const char* between = "; lost: ";
  for (size_t i = 0; i < kept.size(); ++i) {
    const FakeEffect& effect = journal_.effects()[i];
    if (kept[i] || effect.isBarrier()) continue;
    text += between + effect.describe();
    between = ", ";
  }
  return text;
}
