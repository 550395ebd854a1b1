// Reading numbers, rows of numbers and the two input layouts of velmora-align.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <string>
#include <vector>

#include "align/align_input.h"

using valign::parseNumber;
using valign::PointPairs;
using valign::readColumns;
using valign::readPairs;
using valign::readPoints;
using valign::Vec3;

namespace {

double parsed(const std::string& token) {
  double v = -12345.0;
  EXPECT_TRUE(parseNumber(token, v)) << token;
  return v;
}

bool accepted(const std::string& token) {
  double v = 0.0;
  return parseNumber(token, v);
}

}  // namespace

TEST(ParseNumberTest, ReadsDecimalAndExponentForms) {
  EXPECT_EQ(parsed("1.5"), 1.5);
  EXPECT_EQ(parsed("42"), 42.0);
  EXPECT_EQ(parsed(".5"), 0.5);
  EXPECT_EQ(parsed("5."), 5.0);
  EXPECT_EQ(parsed("-3e2"), -300.0);
  EXPECT_EQ(parsed("1E+05"), 1e5);
  EXPECT_EQ(parsed("2.5e-3"), 0.0025);
  EXPECT_EQ(parsed("007"), 7.0);
}

TEST(ParseNumberTest, AcceptsOneLeadingPlusSign) {
  EXPECT_EQ(parsed("+2"), 2.0);
  EXPECT_EQ(parsed("+0.25e1"), 2.5);
  EXPECT_EQ(parsed("-0"), 0.0);
  EXPECT_TRUE(std::signbit(parsed("-0")));
}

TEST(ParseNumberTest, RefusesDoubledOrLoneSigns) {
  EXPECT_FALSE(accepted("+-1"));
  EXPECT_FALSE(accepted("++1"));
  EXPECT_FALSE(accepted("-+1"));
  EXPECT_FALSE(accepted("--1"));
  EXPECT_FALSE(accepted("+"));
  EXPECT_FALSE(accepted("-"));
  EXPECT_FALSE(accepted(""));
}

TEST(ParseNumberTest, RefusesTokensThatAreNotWhollyANumber) {
  EXPECT_FALSE(accepted("abc"));
  EXPECT_FALSE(accepted("1e"));
  EXPECT_FALSE(accepted("e5"));
  EXPECT_FALSE(accepted("."));
  EXPECT_FALSE(accepted("0x10"));
  EXPECT_FALSE(accepted("1.5x"));
  EXPECT_FALSE(accepted("1_000"));
  EXPECT_FALSE(accepted("1,5"));
  EXPECT_FALSE(accepted(std::string("1\0", 2)));
}

TEST(ParseNumberTest, ReadsNonFiniteWordsForValidationToReject) {
  EXPECT_TRUE(std::isnan(parsed("nan")));
  EXPECT_TRUE(std::isnan(parsed("NaN")));
  EXPECT_TRUE(std::isinf(parsed("inf")));
  EXPECT_TRUE(std::isinf(parsed("-Infinity")));
  EXPECT_TRUE(std::isinf(parsed("+inf")));
}

TEST(ParseNumberTest, OverflowReadsAsTheLargestDouble) {
  EXPECT_EQ(parsed("1e400"), DBL_MAX);
  EXPECT_EQ(parsed("-1e400"), -DBL_MAX);
  EXPECT_EQ(parsed("+1e0400"), DBL_MAX);
}

TEST(ParseNumberTest, UnderflowReadsAsTheNearestRepresentableValue) {
  EXPECT_EQ(parsed("1e-400"), 0.0);
  EXPECT_EQ(parsed("4.9406564584124654e-324"), std::numeric_limits<double>::denorm_min());
  EXPECT_EQ(parsed("1e-310"), 1e-310);
}

TEST(ReadColumnsTest, AcceptsEverySeparatorAndRunsOfThem) {
  std::vector<double> v;
  const std::string text = "1 2 3\n4,5,6\n7;8;9\n10, 11 ;\t12\n  13,,14  15  \n;16;17;18;\n";
  EXPECT_EQ(readColumns(text, "f", 3, v), "");
  std::vector<double> expected;
  for (int i = 1; i <= 18; ++i) expected.push_back(i);
  EXPECT_EQ(v, expected);
}

TEST(ReadColumnsTest, SkipsBlankLinesAndComments) {
  std::vector<double> v;
  EXPECT_EQ(readColumns("\n# a comment\n   \n1 2 3\n  # indented comment 7 8\n\t\n4 5 6\n#", "f", 3, v), "");
  EXPECT_EQ(v, (std::vector<double>{1, 2, 3, 4, 5, 6}));
}

TEST(ReadColumnsTest, SkipsAFirstLineWithoutNumbersAsAHeader) {
  std::vector<double> v;
  EXPECT_EQ(readColumns("x,y,z\n1,2,3\n", "f", 3, v), "");
  EXPECT_EQ(v, (std::vector<double>{1, 2, 3}));
  v.clear();
  EXPECT_EQ(readColumns("# exported\n\nX Y Z\n1 2 3\n", "f", 3, v), "");
  EXPECT_EQ(v, (std::vector<double>{1, 2, 3}));
}

TEST(ReadColumnsTest, AHeaderIsOnlyAcceptedBeforeTheFirstRow) {
  std::vector<double> v;
  EXPECT_EQ(readColumns("1 2 3\nx y z\n", "f", 3, v), "f:2: 'x' is not a number");
  EXPECT_EQ(readColumns("x y z\nu v w\n", "f", 3, v), "f:2: 'u' is not a number");
}

TEST(ReadColumnsTest, AFirstLineMixingWordsAndNumbersIsAnError) {
  std::vector<double> v;
  EXPECT_EQ(readColumns("x 2 3\n1 2 3\n", "data.txt", 3, v), "data.txt:1: 'x' is not a number");
}

TEST(ReadColumnsTest, AcceptsWindowsLineEndingsAndAByteOrderMark) {
  std::vector<double> v;
  EXPECT_EQ(readColumns("\xEF\xBB\xBFx,y,z\r\n1,2,3\r\n\r\n4,5,6\r\n", "f", 3, v), "");
  EXPECT_EQ(v, (std::vector<double>{1, 2, 3, 4, 5, 6}));
}

TEST(ReadColumnsTest, ReadsALastLineWithoutLineEnd) {
  std::vector<double> v;
  EXPECT_EQ(readColumns("1 2 3\n4 5 6", "f", 3, v), "");
  EXPECT_EQ(v.size(), 6u);
  EXPECT_EQ(v.back(), 6.0);
}

TEST(ReadColumnsTest, EmptyTextGivesNoRowsAndNoError) {
  std::vector<double> v;
  EXPECT_EQ(readColumns("", "f", 6, v), "");
  EXPECT_EQ(readColumns("\n\n# nothing\n", "f", 6, v), "");
  EXPECT_TRUE(v.empty());
}

TEST(ReadColumnsTest, WrongCountNamesFileLineAndCounts) {
  std::vector<double> v;
  EXPECT_EQ(readColumns("1 2 3 4 5 6\n\n# c\n1 2 3 4 5\n", "pairs.txt", 6, v),
            "pairs.txt:4: expected 6 numbers, found 5");
  EXPECT_EQ(readColumns("1 2 3 4 5 6 7\n", "pairs.txt", 6, v), "pairs.txt:1: expected 6 numbers, found 7");
  EXPECT_EQ(readColumns("1 2 3 4 5 6 7 8 9 10 11 12\n", "p", 6, v), "p:1: expected 6 numbers, found 12");
}

TEST(ReadColumnsTest, UnparsableTokenIsNamedQuoted) {
  std::vector<double> v;
  EXPECT_EQ(readColumns("1 2 3\n1 2 three\n", "f", 3, v), "f:2: 'three' is not a number");
  EXPECT_EQ(readColumns("1 2 3 # trailing\n", "f", 3, v), "f:1: '#' is not a number");
  EXPECT_EQ(readColumns("1 2 +-3\n", "f", 3, v), "f:1: '+-3' is not a number");
}

TEST(ReadColumnsTest, AnUnparsableTokenIsReportedBeforeAWrongCount) {
  std::vector<double> v;
  EXPECT_EQ(readColumns("1 2 3\n1 x\n", "f", 3, v), "f:2: 'x' is not a number");
}

TEST(ReadColumnsTest, ControlBytesInATokenAreEscapedInTheMessage) {
  std::vector<double> v;
  EXPECT_EQ(readColumns(std::string("1 2 3\n1 2 3\x01\n", 13), "f", 3, v), "f:2: '3\\x01' is not a number");
  EXPECT_EQ(readColumns(std::string("1 2 \0\n", 6), "f", 3, v), "f:1: '\\x00' is not a number");
}

TEST(ReadColumnsTest, NonFiniteCoordinatesAreRejected) {
  std::vector<double> v;
  EXPECT_EQ(readColumns("1 2 3\n1 nan 3\n", "f", 3, v), "f:2: 'nan' is not a finite coordinate");
  EXPECT_EQ(readColumns("-inf 2 3\n", "f", 3, v), "f:1: '-inf' is not a finite coordinate");
}

TEST(ReadColumnsTest, CoordinatesAbove1e150AreRejected) {
  std::vector<double> v;
  EXPECT_EQ(readColumns("1 2 1e151\n", "f", 3, v), "f:1: coordinate '1e151' exceeds 1e150 in magnitude");
  EXPECT_EQ(readColumns("-1.0000001e150 2 3\n", "f", 3, v),
            "f:1: coordinate '-1.0000001e150' exceeds 1e150 in magnitude");
  EXPECT_EQ(readColumns("1e999 0 0\n", "f", 3, v), "f:1: coordinate '1e999' exceeds 1e150 in magnitude");
}

TEST(ReadColumnsTest, CoordinatesOfMagnitude1e150AreAccepted) {
  std::vector<double> v;
  EXPECT_EQ(readColumns("1e150 -1e150 +1e150\n", "f", 3, v), "");
  EXPECT_EQ(v, (std::vector<double>{1e150, -1e150, 1e150}));
}

TEST(ReadColumnsTest, LineNumbersCountEveryPhysicalLine) {
  std::vector<double> v;
  EXPECT_EQ(readColumns("h1 h2 h3\r\n\r\n# c\r\n1 2 3\r\n\r\n1 2\r\n", "f", 3, v),
            "f:6: expected 3 numbers, found 2");
}

TEST(ReadPairsTest, SplitsSixColumnsIntoTheTwoPointsOfEachPair) {
  PointPairs pairs;
  EXPECT_EQ(readPairs("x y z X Y Z\n1 2 3 4 5 6\n-1,-2,-3,-4,-5,-6\n", "f", pairs), "");
  ASSERT_EQ(pairs.size(), 2u);
  ASSERT_EQ(pairs.to.size(), 2u);
  EXPECT_EQ(pairs.from[0].x, 1.0);
  EXPECT_EQ(pairs.from[0].z, 3.0);
  EXPECT_EQ(pairs.to[0].x, 4.0);
  EXPECT_EQ(pairs.to[0].z, 6.0);
  EXPECT_EQ(pairs.from[1].y, -2.0);
  EXPECT_EQ(pairs.to[1].y, -5.0);
}

TEST(ReadPairsTest, AnErrorLeavesNoPairs) {
  PointPairs pairs;
  pairs.from.push_back({});
  pairs.to.push_back({});
  EXPECT_EQ(readPairs("1 2 3 4 5 6\n1 2 3\n", "f", pairs), "f:2: expected 6 numbers, found 3");
  EXPECT_EQ(pairs.size(), 0u);
  EXPECT_TRUE(pairs.to.empty());
}

TEST(ReadPointsTest, ReadsThreeColumns) {
  std::vector<Vec3> points;
  EXPECT_EQ(readPoints("1 2 3\n4 5 6\n", "a.txt", points), "");
  ASSERT_EQ(points.size(), 2u);
  EXPECT_EQ(points[1].x, 4.0);
  EXPECT_EQ(points[1].z, 6.0);
  EXPECT_EQ(readPoints("1 2 3 4 5 6\n", "a.txt", points), "a.txt:1: expected 3 numbers, found 6");
  EXPECT_TRUE(points.empty());
}

TEST(ReadColumnsTest, OneColumnCountsInTheSingular) {
  std::vector<double> v;
  EXPECT_EQ(readColumns("1\n2 3\n", "w", 1, v), "w:2: expected 1 number, found 2");
}

TEST(ReadPairsTest, WithoutAWeightVectorSevenNumbersAreWrong) {
  PointPairs pairs;
  EXPECT_EQ(readPairs("1 2 3 4 5 6 7\n", "p", pairs), "p:1: expected 6 numbers, found 7");
}

TEST(ReadPairsTest, ASeventhNumberOnEveryLineIsTheWeight) {
  PointPairs pairs;
  std::vector<double> weights = {9.0};
  EXPECT_EQ(readPairs("x y z X Y Z w\n1 2 3 4 5 6 0.5\n\n# c\n-1,-2,-3,-4,-5,-6,0\n", "f", pairs, &weights),
            "");
  ASSERT_EQ(pairs.size(), 2u);
  EXPECT_EQ(pairs.to[1].z, -6.0);
  EXPECT_EQ(weights, (std::vector<double>{0.5, 0.0}));
}

TEST(ReadPairsTest, SixNumbersALineLeaveTheWeightsEmpty) {
  PointPairs pairs;
  std::vector<double> weights = {9.0};
  EXPECT_EQ(readPairs("1 2 3 4 5 6\n1 2 3 4 5 6\n", "f", pairs, &weights), "");
  EXPECT_EQ(pairs.size(), 2u);
  EXPECT_TRUE(weights.empty());
}

TEST(ReadPairsTest, MixedSixAndSevenNumberLinesAreRefused) {
  PointPairs pairs;
  std::vector<double> weights;
  EXPECT_EQ(readPairs("# w\n1 2 3 4 5 6 1\n1 2 3 4 5 6\n", "p.txt", pairs, &weights),
            "p.txt:3: 6 numbers, but line 2 has 7: give the weight (a 7th number) on every line or on none");
  EXPECT_EQ(readPairs("1 2 3 4 5 6\n\n1 2 3 4 5 6 1\n", "p.txt", pairs, &weights),
            "p.txt:3: 7 numbers, but line 1 has 6: give the weight (a 7th number) on every line or on none");
  EXPECT_TRUE(weights.empty());
  EXPECT_EQ(pairs.size(), 0u);
}

TEST(ReadPairsTest, OtherCountsNameWhatIsExpected) {
  PointPairs pairs;
  std::vector<double> weights;
  EXPECT_EQ(readPairs("1 2 3 4 5\n", "p", pairs, &weights), "p:1: expected 6 or 7 numbers, found 5");
  EXPECT_EQ(readPairs("1 2 3 4 5 6 7\n1 2 3 4 5 6 7 8\n", "p", pairs, &weights),
            "p:2: expected 7 numbers, found 8");
  EXPECT_EQ(readPairs("1 2 3 4 5 6\n1 2 3\n", "p", pairs, &weights), "p:2: expected 6 numbers, found 3");
}

TEST(ReadPairsTest, BadWeightsInTheSeventhColumnNameTheLine) {
  PointPairs pairs;
  std::vector<double> weights;
  EXPECT_EQ(readPairs("1 2 3 4 5 6 1\n1 2 3 4 5 6 -1\n", "p", pairs, &weights),
            "p:2: weight '-1' is negative");
  EXPECT_EQ(readPairs("1 2 3 4 5 6 nan\n", "p", pairs, &weights), "p:1: weight 'nan' is not a finite number");
  EXPECT_EQ(readPairs("1 2 3 4 5 6 -inf\n", "p", pairs, &weights),
            "p:1: weight '-inf' is not a finite number");
  EXPECT_EQ(readPairs("1 2 3 4 5 6 1e151\n", "p", pairs, &weights), "p:1: weight '1e151' exceeds 1e150");
  // A coordinate is still a coordinate when a weight follows.
  EXPECT_EQ(readPairs("1 2 3 4 5 nan 1\n", "p", pairs, &weights), "p:1: 'nan' is not a finite coordinate");
  EXPECT_TRUE(weights.empty());
}

TEST(ReadPairsTest, NegativeZeroWeightIsAZeroWeight) {
  PointPairs pairs;
  std::vector<double> weights;
  EXPECT_EQ(readPairs("1 2 3 4 5 6 -0\n", "p", pairs, &weights), "");
  ASSERT_EQ(weights.size(), 1u);
  EXPECT_EQ(weights[0], 0.0);
  EXPECT_FALSE(std::signbit(weights[0]));
}

TEST(ReadWeightsTest, ReadsOneWeightALineWithHeaderCommentsAndBlankLines) {
  std::vector<double> weights;
  EXPECT_EQ(valign::readWeights("weight\r\n# per pair\r\n1\r\n\r\n0.25\r\n0\r\n", "w", 3, weights), "");
  EXPECT_EQ(weights, (std::vector<double>{1.0, 0.25, 0.0}));
}

TEST(ReadWeightsTest, BadWeightsNameTheFileAndLine) {
  std::vector<double> weights;
  EXPECT_EQ(valign::readWeights("1\n-2\n", "w.txt", 2, weights), "w.txt:2: weight '-2' is negative");
  EXPECT_EQ(valign::readWeights("1\nNaN\n", "w.txt", 2, weights),
            "w.txt:2: weight 'NaN' is not a finite number");
  EXPECT_EQ(valign::readWeights("inf\n1\n", "w.txt", 2, weights),
            "w.txt:1: weight 'inf' is not a finite number");
  EXPECT_EQ(valign::readWeights("1\nheavy\n", "w.txt", 2, weights), "w.txt:2: 'heavy' is not a number");
  EXPECT_EQ(valign::readWeights("1\n1 1\n", "w.txt", 2, weights), "w.txt:2: expected 1 number, found 2");
  EXPECT_TRUE(weights.empty());
}

TEST(ReadWeightsTest, TooManyWeightsNameTheFirstOneTooMany) {
  std::vector<double> weights;
  EXPECT_EQ(valign::readWeights("1\n1\n# c\n1\n", "w", 2, weights),
            "w:4: weight number 3, but there are 2 pairs (one weight a pair, in pair order)");
  EXPECT_EQ(valign::readWeights("1\n1\n", "w", 1, weights),
            "w:2: weight number 2, but there is 1 pair (one weight a pair, in pair order)");
  EXPECT_TRUE(weights.empty());
}

TEST(ReadWeightsTest, TooFewWeightsNameTheLastLine) {
  std::vector<double> weights;
  EXPECT_EQ(valign::readWeights("1\n1\n\n# end\n", "w", 3, weights),
            "w:4: the weights end after 2, but there are 3 pairs (one weight a pair, in pair order)");
  EXPECT_EQ(valign::readWeights("", "w", 3, weights),
            "w:1: the weights end after 0, but there are 3 pairs (one weight a pair, in pair order)");
  EXPECT_TRUE(weights.empty());
}
