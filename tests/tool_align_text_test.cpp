// Message text helpers of velmora-align.
#include <gtest/gtest.h>

#include <string>

#include "align/align_text.h"

using valign::printable;
using valign::quoteToken;

TEST(PrintableTest, PlainAsciiIsKept) { EXPECT_EQ(printable("abc 1.5,;#", false), "abc 1.5,;#"); }

TEST(PrintableTest, ControlBytesAndBackslashAreEscaped) {
  EXPECT_EQ(printable(std::string("a\nb\r\t\0\x7f\\", 8), false), "a\\x0ab\\x0d\\x09\\x00\\x7f\\x5c");
}

TEST(PrintableTest, NonAsciiBytesAreKeptOnlyWhenAsked) {
  EXPECT_EQ(printable("caf\xC3\xA9", true), "caf\xC3\xA9");
  EXPECT_EQ(printable("caf\xC3\xA9", false), "caf\\xc3\\xa9");
}

TEST(QuoteTokenTest, ShortTokensAreQuotedWhole) {
  EXPECT_EQ(quoteToken("abc"), "'abc'");
  EXPECT_EQ(quoteToken(""), "''");
}

TEST(QuoteTokenTest, LongTokensAreCutAfterFortyBytes) {
  const std::string forty(40, 'x');
  EXPECT_EQ(quoteToken(forty), "'" + forty + "'");
  EXPECT_EQ(quoteToken(forty + "yz"), "'" + forty + "...'");
}
