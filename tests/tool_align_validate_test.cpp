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

TEST(PairCountMessageTest, EnoughPairsPass) {
  EXPECT_EQ(valign::pairCountMessage(3, 3, "f"), "");
  EXPECT_EQ(valign::pairCountMessage(1000000, 3, "f"), "");
  EXPECT_EQ(valign::pairCountMessage(1, 1, "f"), "");
  EXPECT_EQ(valign::pairCountMessage(2, 2, "f"), "");
}

TEST(PairCountMessageTest, TooFewNameTheSourceTheCountAndTheNeed) {
  EXPECT_EQ(valign::pairCountMessage(2, 3, "data.txt"), "data.txt: 2 pairs found, at least 3 are needed");
  EXPECT_EQ(valign::pairCountMessage(1, 3, "<stdin>"), "<stdin>: 1 pair found, at least 3 are needed");
  EXPECT_EQ(valign::pairCountMessage(0, 3, "e.txt"), "e.txt: 0 pairs found, at least 3 are needed");
  EXPECT_EQ(valign::pairCountMessage(1, 2, "p"), "p: 1 pair found, at least 2 are needed");
  EXPECT_EQ(valign::pairCountMessage(0, 1, "p"), "p: 0 pairs found, at least 1 is needed");
}

TEST(WeightedCountMessageTest, CountsThePairsWithANonZeroWeight) {
  EXPECT_EQ(valign::weightedCountMessage(3, 3, "w"), "");
  EXPECT_EQ(valign::weightedCountMessage(2, 3, "w.txt"),
            "w.txt: 2 pairs have a non-zero weight, at least 3 are needed");
  EXPECT_EQ(valign::weightedCountMessage(1, 2, "w"),
            "w: 1 pair has a non-zero weight, at least 2 are needed");
  EXPECT_EQ(valign::weightedCountMessage(0, 1, "w"),
            "w: 0 pairs have a non-zero weight, at least 1 is needed");
}

TEST(CheckWeightTest, FiniteNonNegativeValuesUpTo1e150AreAccepted) {
  EXPECT_EQ(valign::checkWeight(0.0), valign::WeightCheck::Ok);
  EXPECT_EQ(valign::checkWeight(-0.0), valign::WeightCheck::Ok);
  EXPECT_EQ(valign::checkWeight(2.5), valign::WeightCheck::Ok);
  EXPECT_EQ(valign::checkWeight(1e150), valign::WeightCheck::Ok);
  EXPECT_EQ(valign::checkWeight(std::numeric_limits<double>::denorm_min()), valign::WeightCheck::Ok);
}

TEST(CheckWeightTest, NegativeNonFiniteAndHugeWeightsAreRefused) {
  EXPECT_EQ(valign::checkWeight(-1e-300), valign::WeightCheck::Negative);
  EXPECT_EQ(valign::checkWeight(-std::numeric_limits<double>::denorm_min()), valign::WeightCheck::Negative);
  EXPECT_EQ(valign::checkWeight(std::numeric_limits<double>::quiet_NaN()), valign::WeightCheck::NonFinite);
  EXPECT_EQ(valign::checkWeight(std::numeric_limits<double>::infinity()), valign::WeightCheck::NonFinite);
  EXPECT_EQ(valign::checkWeight(-std::numeric_limits<double>::infinity()), valign::WeightCheck::NonFinite);
  EXPECT_EQ(valign::checkWeight(std::nextafter(1e150, 2e150)), valign::WeightCheck::TooLarge);
}

TEST(WeightMessageTest, QuotesTheTokenAsWritten) {
  EXPECT_EQ(valign::weightMessage(valign::WeightCheck::Negative, "-2"), "weight '-2' is negative");
  EXPECT_EQ(valign::weightMessage(valign::WeightCheck::NonFinite, "NaN"),
            "weight 'NaN' is not a finite number");
  EXPECT_EQ(valign::weightMessage(valign::WeightCheck::TooLarge, "1e200"), "weight '1e200' exceeds 1e150");
  EXPECT_EQ(valign::weightMessage(valign::WeightCheck::Ok, "1"), "");
}

TEST(MatchingCountMessageTest, EqualCountsPass) {
  EXPECT_EQ(valign::matchingCountMessage("a", 4, "b", 4), "");
}

TEST(MatchingCountMessageTest, DifferentCountsNameBothFiles) {
  EXPECT_EQ(valign::matchingCountMessage("a.txt", 5, "b.txt", 4),
            "a.txt has 5 points but b.txt has 4: the counts must match");
}
