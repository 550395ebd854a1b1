// Assertion reports and the numeric helpers.
#include "velmora/ercommon.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "test_support.h"

namespace {

int g_calls = 0;
int countingCompare(const void* element, const void* key) {
  ++g_calls;
  return compareDouble(static_cast<const double*>(element), static_cast<const double*>(key));
}

int search(const std::vector<double>& v, double key, unsigned& index) {
  g_calls = 0;
  return ERbsearch(&key, v.data(), static_cast<unsigned>(v.size()), sizeof(double), countingCompare, index);
}

TEST(ERAssertTest, ReportFormatIsBlankLineConditionFileLine) {
  VTEST_CHECKING_ONLY();
  EXPECT_DEATH(ER_assert("i<n", "f", 12), "^" + vtest::reportRegex("i<n", "f", 12));
}

TEST(ERAssertTest, CheckingBuildStopsThroughStandardAssertion) {
  VTEST_CHECKING_ONLY();
  EXPECT_DEATH(ER_assert("i<n", "f", 12), "Assertion `0' failed");
}

TEST(ERAssertTest, ContinuingBuildReturnsAfterReport) {
  VTEST_CONTINUING_ONLY();
  bool after = false;
  std::string err = vtest::captureStderr([&] {
    ER_assert("i<n", "f", 12);
    after = true;
  });
  EXPECT_EQ(err, vtest::report("i<n", "f", 12));
  EXPECT_TRUE(after);
}

TEST(ERAssertTest, UnreachableBranchReportsNegatedLiteral) {
  const char* expected = "!\"Erreur Dans La Fonction\"";
  EXPECT_STREQ(ER_UNREACHABLE_TEXT, expected);
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(ER_assert(ER_UNREACHABLE_TEXT, "u", 3), vtest::reportRegex(expected, "u", 3));
  } else {
    std::string err = vtest::captureStderr([] { ER_assert(ER_UNREACHABLE_TEXT, "u", 3); });
    EXPECT_EQ(err, vtest::report(expected, "u", 3));
  }
}

TEST(CompareDoubleTest, ThreeWay) {
  double one = 1.0, two = 2.0, other = 1.0;
  EXPECT_EQ(compareDouble(&one, &two), -1);
  EXPECT_EQ(compareDouble(&two, &one), 1);
  EXPECT_EQ(compareDouble(&one, &other), 0);
}

TEST(CompareDoubleTest, NaNIsUnorderedAndGivesZero) {
  double nan = std::numeric_limits<double>::quiet_NaN(), one = 1.0;
  EXPECT_EQ(compareDouble(&nan, &one), 0);
  EXPECT_EQ(compareDouble(&one, &nan), 0);
}

TEST(ERbsearchTest, EmptyArrayNotFoundIndexZeroNoComparison) {
  std::vector<double> v;
  unsigned index = 77;
  EXPECT_EQ(search(v, 1.0, index), 0);
  EXPECT_EQ(index, 0u);
  EXPECT_EQ(g_calls, 0);
}

TEST(ERbsearchTest, FindsFirstOfEqualRun) {
  std::vector<double> v{1, 2, 2, 2, 3};
  unsigned index = 99;
  EXPECT_EQ(search(v, 2.0, index), 1);
  EXPECT_EQ(index, 1u);
}

TEST(ERbsearchTest, FindsFirstOfEqualRunWhateverItsPosition) {
  // Runs of equal keys at every offset and length: the first of them is always reported.
  for (unsigned n = 1; n <= 12; ++n)
    for (unsigned first = 0; first < n; ++first)
      for (unsigned len = 1; first + len <= n; ++len) {
        std::vector<double> v;
        for (unsigned i = 0; i < n; ++i) v.push_back(i < first ? i : (i < first + len ? 100.0 : 200.0 + i));
        unsigned index = 999;
        ASSERT_EQ(search(v, 100.0, index), 1) << n << " " << first << " " << len;
        ASSERT_EQ(index, first) << n << " " << first << " " << len;
      }
}

TEST(ERbsearchTest, MissingKeysGiveInsertionPosition) {
  std::vector<double> v{1, 2, 3};
  unsigned index = 99;
  EXPECT_EQ(search(v, 0.0, index), 0);
  EXPECT_EQ(index, 0u);
  EXPECT_EQ(search(v, 4.0, index), 0);
  EXPECT_EQ(index, 3u);
  EXPECT_EQ(search(v, 2.5, index), 0);
  EXPECT_EQ(index, 2u);
}

TEST(ERbsearchTest, InsertionPositionMatchesLowerBound) {
  std::vector<double> v{-3, -1, 0, 0, 2, 5, 5, 5, 9};
  for (double key = -5; key <= 11; key += 0.5) {
    unsigned index = 0;
    int found = search(v, key, index);
    auto lb = std::lower_bound(v.begin(), v.end(), key) - v.begin();
    EXPECT_EQ(index, static_cast<unsigned>(lb)) << key;
    EXPECT_EQ(found, std::count(v.begin(), v.end(), key) > 0 ? 1 : 0) << key;
  }
}

TEST(ERbsearchTest, OneElementEqualIsComparedOnce) {
  std::vector<double> v{5};
  unsigned index = 9;
  EXPECT_EQ(search(v, 5.0, index), 1);
  EXPECT_EQ(index, 0u);
  EXPECT_EQ(g_calls, 1);
}

TEST(ERbsearchTest, OneElementBeforeKeyIsComparedTwice) {
  std::vector<double> v{5};
  unsigned index = 9;
  EXPECT_EQ(search(v, 7.0, index), 0);
  EXPECT_EQ(index, 1u);
  EXPECT_EQ(g_calls, 2);
}

TEST(ERbsearchTest, OneElementAfterKeyIsComparedTwice) {
  std::vector<double> v{5};
  unsigned index = 9;
  EXPECT_EQ(search(v, 3.0, index), 0);
  EXPECT_EQ(index, 0u);
  EXPECT_EQ(g_calls, 2);
}

TEST(ERMinMaxTest, TiesGoToDifferentOperands) {
  // Signed zeros compare equal: ERMin keeps its first operand, ERMax takes its second.
  EXPECT_TRUE(std::signbit(ERMin(-0.0, 0.0)));
  EXPECT_FALSE(std::signbit(ERMin(0.0, -0.0)));
  EXPECT_FALSE(std::signbit(ERMax(-0.0, 0.0)));
  EXPECT_TRUE(std::signbit(ERMax(0.0, -0.0)));
}

TEST(ERMinMaxTest, UnorderedPairs) {
  double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_TRUE(std::isnan(ERMin(nan, 1.0)));
  EXPECT_EQ(ERMin(1.0, nan), 1.0);
  EXPECT_EQ(ERMax(nan, 1.0), 1.0);
  EXPECT_TRUE(std::isnan(ERMax(1.0, nan)));
}

TEST(ERMinMaxTest, OrdinaryValues) {
  EXPECT_EQ(ERMin(3.0, 2.0), 2.0);
  EXPECT_EQ(ERMax(3.0, 2.0), 3.0);
  EXPECT_EQ(ERMin(3u, 2u), 2u);
  EXPECT_EQ(ERMin(2u, 2u), 2u);
  EXPECT_EQ(ERMax(2u, 7u), 7u);
}

}  // namespace
