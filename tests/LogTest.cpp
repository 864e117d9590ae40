#include "platform/Log.h"

#include <gtest/gtest.h>

#include <cstdint>

#include "tests/support/CapturedDiagnostics.h"
#include "tests/support/FailingHeap.h"

TEST(LogTest, EachKindOfTextGoesToItsOwnSink) {
  CapturedDiagnostics captured;
  Log("a%d\n", 1);
  LogBoth("b%s\n", "2");
  qa_splat(8, "c%c", '3');
  putOut("d%u\n", 4u);
  herc_putstr(32, 6, L"e5");
  EXPECT_EQ(captured.log, "a1\n");
  EXPECT_EQ(captured.logBoth, "b2\n");
  EXPECT_EQ(captured.splat, "c3");
  EXPECT_EQ(captured.splatLevel, 8);
  EXPECT_EQ(captured.out, "d4\n");
  EXPECT_EQ(captured.display, L"e5");
  EXPECT_EQ(captured.displayColumn, 32);
  EXPECT_EQ(captured.displayRow, 6);
}

TEST(LogTest, WithoutSinksTextsGoToTheirStreams) {
  DiagnosticSinks before = setDiagnosticSinks({});
  testing::internal::CaptureStderr();
  testing::internal::CaptureStdout();
  Log("one\n");
  LogBoth("two\n");
  qa_splat(0, "three\n");
  putOut("four\n");
  herc_putstr(1, 1, L"f\u00FCnf");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "two\nfour\n");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "one\ntwo\nthree\nf\xC3\xBCnf\n");
  setDiagnosticSinks(before);
}

TEST(LogTest, SettingSinksReturnsThoseThatWereThere) {
  CapturedDiagnostics outer;
  {
    CapturedDiagnostics inner;
    Log("in");
    EXPECT_EQ(inner.log, "in");
  }
  Log("out");
  EXPECT_EQ(outer.log, "out");
}

TEST(LogTest, WideTextIsWrittenAsUtf8WhateverTheLocale) {
  CapturedDiagnostics captured;
  Log("'%ls' '%8ls' '%-3ls|' %lc", L"\u00E9\u20AC", L"ab", L"c", static_cast<wint_t>(0xE9));
  EXPECT_EQ(captured.log, "'\xC3\xA9\xE2\x82\xAC' '      ab' 'c  |' \xC3\xA9");
}

TEST(LogTest, AnUndecodableNameIsWrittenAsItsBytes) {
  CapturedDiagnostics captured;
  const wchar_t name[] = {L'a', 0xDCFF, 0};
  Log("%ls", name);
  EXPECT_EQ(captured.log, "a\xFF");
}

TEST(LogTest, EveryConversionOfTheFormatTakesItsOwnArgument) {
  CapturedDiagnostics captured;
  Log("%5d|%-5u|%05x|%lld|%lu|%zu|%hhd|%.2f|%*d|%.*s|%%|%s", -1, 2u, 0xABu, -5'000'000'000LL, 6ul,
      size_t{7}, 300, 1.255, 4, 8, 2, "abc", "end");
  EXPECT_EQ(captured.log, "   -1|2    |000ab|-5000000000|6|7|44|1.25|   8|ab|%|end");
}

TEST(LogTest, TheLongestAndTheSmallestNumbersAreWhole) {
  CapturedDiagnostics captured;
  Log("%lld %llu %jd %Lg %e", INT64_MIN + 0LL, UINT64_MAX + 0ULL, INTMAX_MAX, 0.5L, 1e300);
  EXPECT_EQ(captured.log,
            "-9223372036854775808 18446744073709551615 9223372036854775807 0.5 1.000000e+300");
}

TEST(LogTest, ATextOfAMillionCharactersIsPassedOnWhole) {
  CapturedDiagnostics captured;
  std::string text(1'000'000, 'x');
  Log("<%s>", text.c_str());
  EXPECT_EQ(captured.log.size(), 1'000'002u);
}

TEST(LogTest, ASinkMayLogItself) {
  DiagnosticSinks sinks;
  std::string seen;
  sinks.splat = [](int, const std::string& text) { Log("again %s", text.c_str()); };
  sinks.log = [&](const std::string& text) { seen = text; };
  DiagnosticSinks before = setDiagnosticSinks(std::move(sinks));
  qa_splat(1, "loud");
  setDiagnosticSinks(before);
  EXPECT_EQ(seen, "again loud");
}

TEST(LogTest, ATextForWhichThereIsNoMemoryIsTheFormatAsItStands) {
  FailingHeap heap;
  if (!heap.isAsked()) GTEST_SKIP() << "the sanitizer's own heap stands where the library's would";
  testing::internal::CaptureStderr();
  heap.refuse(0, false);
  Log("the last %u bytes of a rather long name %s\n", 7u, "a");
  EXPECT_TRUE(heap.letBe());
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "the last %u bytes of a rather long name %s\n");
}
