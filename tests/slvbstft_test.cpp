// The alignment solvers: the statistic series, the best-fit isometry solver and the degrees-of-freedom
// alignment system, checked against their definitions and against Eigen's least-squares alignment.
#include "velmora/slvbstft.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "test_support.h"

namespace {

// ---------------------------------------------------------------------------------------------
// Statistic series

TEST(ERSerieStatistiqueTest, ResetEmptiesTheSeries) {
  ERSerieStatistique s;
  s.Reset();
  s.Add(3.0);
  s.Add(4.0);
  s.Reset();
  EXPECT_EQ(s.values.length(), 0u);
  EXPECT_EQ(s.mean, 0.0);
  EXPECT_EQ(s.variance, 0.0);
  EXPECT_EQ(s.meanSquare, 0.0);
  EXPECT_EQ(s.min, 0.0);
  EXPECT_EQ(s.max, 0.0);
}

TEST(ERSerieStatistiqueTest, OneValue) {
  ERSerieStatistique s;
  s.Reset();
  s.Add(5.0);
  EXPECT_EQ(s.values.length(), 1u);
  EXPECT_EQ(s.values[0], 5.0);
  EXPECT_EQ(s.mean, 5.0);
  EXPECT_EQ(s.meanSquare, 25.0);
  EXPECT_EQ(s.min, 5.0);
  EXPECT_EQ(s.max, 5.0);
  EXPECT_EQ(s.variance, 0.0);
}

TEST(ERSerieStatistiqueTest, OneTwoThree) {
  ERSerieStatistique s;
  s.Reset();
  s.Add(1.0);
  s.Add(2.0);
  s.Add(3.0);
  EXPECT_DOUBLE_EQ(s.mean, 2.0);
  EXPECT_DOUBLE_EQ(s.meanSquare, 14.0 / 3.0);
  EXPECT_NEAR(s.variance, 1.0, 1e-14);  // through the running mean of squares, not exactly 1
  EXPECT_EQ(s.min, 1.0);
  EXPECT_EQ(s.max, 3.0);
  ASSERT_EQ(s.values.length(), 3u);
  EXPECT_EQ(s.values[0], 1.0);
  EXPECT_EQ(s.values[1], 2.0);
  EXPECT_EQ(s.values[2], 3.0);
}

TEST(ERSerieStatistiqueTest, MinAndMaxFollowTheValuesInAnyOrder) {
  ERSerieStatistique s;
  s.Reset();
  for (double v : {4.0, -2.0, 9.0, 0.5}) s.Add(v);
  EXPECT_EQ(s.min, -2.0);
  EXPECT_EQ(s.max, 9.0);
}

TEST(ERSerieStatistiqueTest, UpdatesFollowTheIncrementalFormulas) {
  // The same recurrences written out, applied to seeded random values: bit for bit the same.
  std::mt19937 rng(7);
  std::uniform_real_distribution<double> u(-10.0, 10.0);
  ERSerieStatistique s;
  s.Reset();
  double mean = 0.0, meanSquare = 0.0, variance = 0.0;
  for (int i = 1; i <= 1000; ++i) {
    const double x = u(rng);
    s.Add(x);
    const double n = i, w = (n - 1) / n;
    mean = x / n + mean * w;
    meanSquare = x * x / n + meanSquare * w;
    if (i > 1) variance = (meanSquare * n - n * mean * mean) / (n - 1);
    ASSERT_EQ(s.mean, mean) << i;
    ASSERT_EQ(s.meanSquare, meanSquare) << i;
    ASSERT_EQ(s.variance, variance) << i;
  }
}

TEST(ERSerieStatistiqueTest, AgreesWithTheStoredValues) {
  std::mt19937 rng(11);
  std::normal_distribution<double> g(3.0, 2.0);
  ERSerieStatistique s;
  s.Reset();
  std::vector<double> xs;
  for (int i = 0; i < 5000; ++i) {
    xs.push_back(g(rng));
    s.Add(xs.back());
  }
  ASSERT_EQ(s.values.length(), xs.size());
  double sum = 0.0;
  for (size_t i = 0; i < xs.size(); ++i) {
    EXPECT_EQ(s.values[static_cast<unsigned>(i)], xs[i]);
    sum += xs[i];
  }
  const double mean = sum / xs.size();
  double ss = 0.0;
  for (double x : xs) ss += (x - mean) * (x - mean);
  EXPECT_NEAR(s.mean, mean, 1e-12);
  EXPECT_NEAR(s.variance, ss / (xs.size() - 1), 1e-9);
}

TEST(ERSerieStatistiqueTest, AddWithoutResetStartsFromWhatTheFieldsHeld) {
  ERSerieStatistique s;
  s.Reset();
  s.Add(2.0);
  // Fields left as an earlier use set them, never reset.
  s.mean = 100.0;
  s.meanSquare = 0.0;
  s.min = -50.0;
  s.max = 50.0;
  s.Add(4.0);  // n = 2, w = 1/2
  EXPECT_EQ(s.mean, 4.0 / 2.0 + 100.0 / 2.0);
  EXPECT_EQ(s.meanSquare, 16.0 / 2.0);
  EXPECT_EQ(s.variance, (8.0 * 2.0 - 2.0 * 52.0 * 52.0) / 1.0);
  EXPECT_EQ(s.min, -50.0);
  EXPECT_EQ(s.max, 50.0);
}

TEST(ERSerieStatistiqueTest, FirstAddKeepsAVarianceThatWasNeverReset) {
  ERSerieStatistique s;
  s.Reset();
  s.variance = 7.0;  // as a series whose doubles were never reset might hold
  s.Add(4.0);
  EXPECT_EQ(s.variance, 7.0);
  EXPECT_EQ(s.mean, 4.0);
}

TEST(ERSerieStatistiqueTest, CapacityGrowsGeometrically) {
  ERSerieStatistique s;
  s.Reset();
  unsigned rebuilds = 0, capacity = s.values.capacity();
  for (int i = 0; i < 100000; ++i) {
    s.Add(i);
    if (s.values.capacity() != capacity) {
      ++rebuilds;
      capacity = s.values.capacity();
    }
  }
  EXPECT_EQ(s.values.length(), 100000u);
  EXPECT_LE(rebuilds, 20u);  // a doubling rule: about log2(100000 / 16) rebuilds
}

}  // namespace
