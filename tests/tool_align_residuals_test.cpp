// Residual distances and their statistics in velmora-align.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "align/align_residuals.h"

using valign::ErrorStats;
using valign::PointPairs;
using valign::Transform4;

TEST(DistanceTest, IsEuclidean) {
  EXPECT_EQ(valign::distance({1, 2, 3}, {1 + 3, 2 + 4, 3 + 12}), 13.0);
  EXPECT_EQ(valign::distance({5, 5, 5}, {5, 5, 5}), 0.0);
}

TEST(DistanceTest, NeitherUnderflowsNorOverflows) {
  EXPECT_NEAR(valign::distance({0, 0, 0}, {3e-200, 4e-200, 12e-200}) / 13e-200, 1.0, 1e-15);
  EXPECT_NEAR(valign::distance({-1e150, -1e150, -1e150}, {1e150, 1e150, 1e150}) / (2e150 * std::sqrt(3.0)),
              1.0, 1e-15);
}

TEST(ResidualsTest, ApplyTheTransformToEachPointInInputOrder) {
  Transform4 t;  // a quarter turn about z, then a shift of (1, 0, 0)
  t.m[0][0] = 0;
  t.m[0][1] = -1;
  t.m[1][0] = 1;
  t.m[1][1] = 0;
  t.m[0][3] = 1;
  PointPairs pairs;
  pairs.from = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
  // Images: (1, 1, 0), (0, 0, 0), (1, 0, 1).
  pairs.to = {{1, 1, 0}, {3, 4, 0}, {1, 0, 3}};
  const std::vector<double> d = valign::residuals(pairs, t);
  ASSERT_EQ(d.size(), 3u);
  EXPECT_EQ(d[0], 0.0);
  EXPECT_EQ(d[1], 5.0);
  EXPECT_EQ(d[2], 2.0);
}

TEST(ErrorStatsTest, FollowTheirDefinitions) {
  const ErrorStats s = valign::errorStats({3.0, 4.0, 0.0, 1.0});
  EXPECT_EQ(s.mean, 2.0);
  EXPECT_NEAR(s.rms, std::sqrt((9.0 + 16.0 + 0.0 + 1.0) / 4.0), 1e-15);
  EXPECT_EQ(s.max, 4.0);
  EXPECT_EQ(s.min, 0.0);
}

TEST(ErrorStatsTest, MeanIsNotTheRmsNorTheMax) {
  const ErrorStats s = valign::errorStats({1.0, 2.0, 6.0});
  EXPECT_EQ(s.mean, 3.0);
  EXPECT_NEAR(s.rms, std::sqrt(41.0 / 3.0), 1e-15);
  EXPECT_EQ(s.max, 6.0);
  EXPECT_EQ(s.min, 1.0);
}

TEST(ErrorStatsTest, NoDistancesGiveZeros) {
  const ErrorStats s = valign::errorStats({});
  EXPECT_EQ(s.mean, 0.0);
  EXPECT_EQ(s.rms, 0.0);
  EXPECT_EQ(s.max, 0.0);
  EXPECT_EQ(s.min, 0.0);
}

TEST(ErrorStatsTest, TinyDistancesKeepTheirRms) {
  const ErrorStats s = valign::errorStats({3e-200, 4e-200});
  EXPECT_NEAR(s.rms / (std::sqrt(12.5) * 1e-200), 1.0, 1e-15);
}

TEST(ErrorStatsTest, MillionsOfTermsSumAccurately) {
  // 0.1 is not representable: a plain running sum of a million of them drifts in the 11th digit.
  const std::vector<double> d(1000000, 0.1);
  const ErrorStats s = valign::errorStats(d);
  EXPECT_NEAR(s.mean, 0.1, 1e-16);
  EXPECT_NEAR(s.rms, 0.1, 1e-16);
}
