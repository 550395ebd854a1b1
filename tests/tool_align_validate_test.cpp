// Coordinate and count validation of velmora-align.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>

#include "align/align_validate.h"

using valign::checkCoordinate;
using valign::CoordinateCheck;

TEST(CheckCoordinateTest, FiniteValuesUpTo1e150AreAccepted) {
  EXPECT_EQ(checkCoordinate(0.0), CoordinateCheck::Ok);
  EXPECT_EQ(checkCoordinate(-2.5), CoordinateCheck::Ok);
  EXPECT_EQ(checkCoordinate(1e150), CoordinateCheck::Ok);
  EXPECT_EQ(checkCoordinate(-1e150), CoordinateCheck::Ok);
  EXPECT_EQ(checkCoordinate(std::numeric_limits<double>::denorm_min()), CoordinateCheck::Ok);
}

TEST(CheckCoordinateTest, MagnitudesAbove1e150AreTooLarge) {
  EXPECT_EQ(checkCoordinate(std::nextafter(1e150, 2e150)), CoordinateCheck::TooLarge);
  EXPECT_EQ(checkCoordinate(-1e151), CoordinateCheck::TooLarge);
  EXPECT_EQ(checkCoordinate(DBL_MAX), CoordinateCheck::TooLarge);
}

TEST(CheckCoordinateTest, NanAndInfinityAreNotFinite) {
  EXPECT_EQ(checkCoordinate(std::numeric_limits<double>::quiet_NaN()), CoordinateCheck::NonFinite);
  EXPECT_EQ(checkCoordinate(std::numeric_limits<double>::infinity()), CoordinateCheck::NonFinite);
  EXPECT_EQ(checkCoordinate(-std::numeric_limits<double>::infinity()), CoordinateCheck::NonFinite);
}

TEST(CoordinateMessageTest, QuotesTheTokenAsWritten) {
  EXPECT_EQ(valign::coordinateMessage(CoordinateCheck::NonFinite, "NaN"), "'NaN' is not a finite coordinate");
  EXPECT_EQ(valign::coordinateMessage(CoordinateCheck::TooLarge, "2e150"),
            "coordinate '2e150' exceeds 1e150 in magnitude");
  EXPECT_EQ(valign::coordinateMessage(CoordinateCheck::Ok, "1"), "");
}

TEST(PairCountMessageTest, ThreePairsOrMoreAreEnough) {
  EXPECT_EQ(valign::pairCountMessage(3, "f"), "");
  EXPECT_EQ(valign::pairCountMessage(1000000, "f"), "");
}

TEST(PairCountMessageTest, FewerThanThreeNameTheSourceAndCount) {
  EXPECT_EQ(valign::pairCountMessage(2, "data.txt"), "data.txt: 2 pairs found, at least 3 are needed");
  EXPECT_EQ(valign::pairCountMessage(1, "<stdin>"), "<stdin>: 1 pair found, at least 3 are needed");
  EXPECT_EQ(valign::pairCountMessage(0, "e.txt"), "e.txt: 0 pairs found, at least 3 are needed");
}

TEST(MatchingCountMessageTest, EqualCountsPass) {
  EXPECT_EQ(valign::matchingCountMessage("a", 4, "b", 4), "");
}

TEST(MatchingCountMessageTest, DifferentCountsNameBothFiles) {
  EXPECT_EQ(valign::matchingCountMessage("a.txt", 5, "b.txt", 4),
            "a.txt has 5 points but b.txt has 4: the counts must match");
}
