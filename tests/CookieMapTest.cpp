// The catalogue's entries in their cookies' order, beside the standard map.
#include "fsys/CookieMap.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <cstdio>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/support/FailingHeap.h"

namespace {

using Entry = CookieMap::Entry;
using Reference = std::map<Cookie, FsysDirectoryEntry*>;

// The cookies of one map in the order of their numbers, three channels and both types a shot.
Cookie cookieOf(unsigned number) {
  char shot[16];
  std::snprintf(shot, sizeof(shot), "%08u", number / 6);
  const CookieType type = number % 6 < 3 ? eCookieSound : eCookieVision;
  const std::string text = std::string(1, static_cast<char>(type)) + shot + "00";
  const Cookie cookie(fromUTF8(text.c_str()));
  return convertCookie(cookie, type, static_cast<unsigned char>(number % 3));
}

Entry newEntry() { return Entry(new FsysDirectoryEntry); }

std::vector<Cookie> cookiesOf(const CookieMap& map) {
  std::vector<Cookie> cookies;
  map.walk([&cookies](const Cookie& cookie, const Entry&) {
    cookies.push_back(cookie);
    return true;
  });
  return cookies;
}

// Counts what ends.
struct Counted : FsysDirectoryEntry {
  explicit Counted(int& ended) : ended_(ended) {}
  ~Counted() override { ++ended_; }
  int& ended_;
};

void expectSame(const CookieMap& map, const Reference& reference, unsigned numbers) {
  RC_ASSERT(map.size() == reference.size());
  auto expected = reference.begin();
  map.walk([&](const Cookie& cookie, const Entry& entry) {
    RC_ASSERT(expected != reference.end());
    RC_ASSERT(cookie == expected->first);
    RC_ASSERT(entry.get() == expected->second);
    ++expected;
    return true;
  });
  RC_ASSERT(expected == reference.end());
  for (unsigned number = 0; number < numbers; ++number) {
    auto found = reference.find(cookieOf(number));
    RC_ASSERT(map.find(cookieOf(number)).get() ==
              (found == reference.end() ? nullptr : found->second));
  }
}

// Numbers in order and mixed, far more than one block holds.
constexpr unsigned kMany = 5 * CookieBlock::kMost + 7;

CookieMap filled(unsigned numbers, unsigned step) {
  CookieMap map;
  for (unsigned i = 0; i < numbers; ++i) map.put(cookieOf(i * step % numbers), newEntry());
  return map;
}

}  // namespace

TEST(CookieMapTest, AnEmptyOneHasNothing) {
  CookieMap map;
  EXPECT_EQ(map.size(), 0u);
  EXPECT_FALSE(map.find(cookieOf(0)));
  EXPECT_FALSE(map.remove(cookieOf(0)));
  EXPECT_TRUE(map.removeIf([](const FsysDirectoryEntry&) { return true; }).empty());
  EXPECT_TRUE(cookiesOf(map).empty());
}

TEST(CookieMapTest, EntriesStandInTheirCookiesOrderHoweverTheyCame) {
  for (unsigned step : {1u, kMany - 1, 17u}) {
    const CookieMap map = filled(kMany, step);
    EXPECT_EQ(map.size(), kMany);
    std::vector<Cookie> cookies = cookiesOf(map);
    ASSERT_EQ(cookies.size(), kMany);
    for (unsigned i = 0; i < kMany; ++i) {
      EXPECT_EQ(cookies[i], cookieOf(i));
      EXPECT_TRUE(map.find(cookieOf(i)));
    }
    EXPECT_FALSE(map.find(cookieOf(kMany)));
    EXPECT_FALSE(map.find(Cookie()));
  }
}

TEST(CookieMapTest, AnotherEntryOfACookieGivesTheFormerBack) {
  CookieMap map;
  const Entry first = newEntry();
  const Entry second = newEntry();
  EXPECT_FALSE(map.put(cookieOf(1), first));
  EXPECT_EQ(map.put(cookieOf(1), second), first);
  EXPECT_EQ(map.find(cookieOf(1)), second);
  EXPECT_EQ(map.size(), 1u);
}

RC_GTEST_PROP(CookieMapTest, AnyChangesGiveWhatTheyGiveInTheStandardMap, ()) {
  constexpr unsigned kNumbers = 4 * CookieBlock::kMost;
  CookieMap map;
  Reference reference;
  const auto turns = *rc::gen::inRange<unsigned>(0, 3000);
  unsigned number = *rc::gen::inRange<unsigned>(0, kNumbers);
  const unsigned step = *rc::gen::inRange<unsigned>(1, kNumbers);
  const unsigned removeEvery = *rc::gen::inRange<unsigned>(1, 6);
  for (unsigned turn = 0; turn < turns; ++turn) {
    number = (number * 5 + step) % kNumbers;
    const Cookie cookie = cookieOf(number);
    auto found = reference.find(cookie);
    FsysDirectoryEntry* const former = found == reference.end() ? nullptr : found->second;
    if (turn % removeEvery == 1) {
      RC_ASSERT(map.remove(cookie).get() == former);
      reference.erase(cookie);
    } else {
      const Entry entry = newEntry();
      RC_ASSERT(map.put(cookie, entry).get() == former);
      reference[cookie] = entry.get();
    }
  }
  expectSame(map, reference, kNumbers);
}

TEST(CookieMapTest, AWalkEndsWhenItIsToldTo) {
  const CookieMap map = filled(kMany, 1);
  unsigned visited = 0;
  map.walk([&visited](const Cookie&, const Entry&) { return ++visited < 3; });
  EXPECT_EQ(visited, 3u);
}

TEST(CookieMapTest, AWalkGoesOnBehindTheLastCookieWhateverItsVisitorChanges) {
  using Change = std::function<void(CookieMap&, unsigned)>;
  const Change changes[] = {
      [](CookieMap& map, unsigned at) { map.remove(cookieOf(at)); },
      [](CookieMap& map, unsigned at) {
        for (unsigned i = 0; i <= at; ++i) map.remove(cookieOf(i));
      },
      [](CookieMap& map, unsigned at) { map.put(cookieOf(at), newEntry()); },
      [](CookieMap& map, unsigned at) { map.put(cookieOf(kMany + at), newEntry()); },
  };
  for (const Change& change : changes) {
    CookieMap map = filled(kMany, 1);
    unsigned next = 0;
    map.walk([&](const Cookie& cookie, const Entry&) {
      EXPECT_EQ(cookie, cookieOf(next));
      change(map, next);
      return ++next < kMany;
    });
    EXPECT_EQ(next, kMany);
  }
}

TEST(CookieMapTest, AWalkOverWhatWasEmptiedEnds) {
  CookieMap map = filled(kMany, 1);
  unsigned visited = 0;
  map.walk([&](const Cookie&, const Entry& entry) {
    CookieMap forgotten;
    map.swap(forgotten);
    ++visited;
    return static_cast<bool>(entry);
  });
  EXPECT_EQ(visited, 1u);
}

TEST(CookieMapTest, WhatMatchesIsTakenOutAndNothingElse) {
  CookieMap map = filled(kMany, 1);
  unsigned asked = 0;
  EXPECT_EQ(map.removeIf([&asked](const FsysDirectoryEntry&) { return ++asked % 3 == 0; }).size(),
            kMany / 3);
  EXPECT_EQ(asked, kMany);
  EXPECT_EQ(map.size(), kMany - kMany / 3);
  const std::vector<Cookie> left = cookiesOf(map);
  EXPECT_EQ(left.size(), map.size());
  for (const Cookie& cookie : left) EXPECT_TRUE(map.find(cookie));
  EXPECT_EQ(map.removeIf([](const FsysDirectoryEntry&) { return true; }).size(), left.size());
  EXPECT_EQ(map.size(), 0u);
  EXPECT_FALSE(map.find(left[0]));
}

TEST(CookieMapTest, WhatLeavesEndsWithTheCaller) {
  int ended = 0;
  CookieMap map;
  for (unsigned i = 0; i < 3; ++i) map.put(cookieOf(i), Entry(new Counted(ended)));
  {
    const Entry taken = map.remove(cookieOf(0));
    const std::vector<Entry> more = map.removeIf([](const FsysDirectoryEntry&) { return true; });
    EXPECT_EQ(ended, 0);
  }
  EXPECT_EQ(ended, 3);
}

TEST(CookieMapTest, RefusedMemoryChangesNothing) {
  FailingHeap heap;
  if (!heap.isAsked()) GTEST_SKIP() << "a sanitizer's own operators stand here";
  CookieMap map;
  unsigned refused = 0;
  for (unsigned i = 0; i < kMany; ++i) {
    const unsigned number = i * 17 % kMany;
    const Entry entry = newEntry();
    heap.refuse(0, true);
    try {
      map.put(cookieOf(number), entry);
    } catch (const std::bad_alloc&) {
      ++refused;
      heap.letBe();
      EXPECT_EQ(map.size(), i);
      EXPECT_FALSE(map.find(cookieOf(number)));
      map.put(cookieOf(number), entry);
    }
    heap.letBe();
    ASSERT_EQ(map.find(cookieOf(number)), entry);
  }
  EXPECT_GT(refused, 4u);
  EXPECT_EQ(cookiesOf(map).size(), kMany);
}
