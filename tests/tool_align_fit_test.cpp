// The closed-form fit over the tool's pairs, and the comparison with the Newton entry, in velmora-align.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "align/align_fit.h"
#include "tool/align_fixtures.h"

using valign::PointPairs;
using valign::Vec3;

namespace {

std::vector<double> flat(const std::vector<Vec3>& points) {
  std::vector<double> v;
  for (const Vec3& p : points) v.insert(v.end(), {p.x, p.y, p.z});
  return v;
}

PointPairs noisyPairs(std::size_t n, unsigned seed) {
  return vtool::movedPairs(vtool::randomPoints(n, 30.0, {100.0, -20.0, 5.0}, seed), vtool::sampleMotion(),
                           0.1, seed + 1);
}

double maxDifference(const velmora::Motion& got, const vtool::Motion& want) {
  double worst = 0.0;
  const Eigen::Matrix3d a = want.block();
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 3; ++c) worst = std::fmax(worst, std::fabs(got.matrix[r][c] - a(r, c)));
    worst = std::fmax(worst, std::fabs(got.matrix[r][3] - want.translation(r)));
  }
  return worst;
}

}  // namespace

TEST(FitPairsTest, ReadsThePairsInPlaceAsTheContiguousCallDoes) {
  const PointPairs pairs = noisyPairs(50, 3);
  const std::vector<double> from = flat(pairs.from), to = flat(pairs.to);
  velmora::FitOptions options;
  options.perPair = true;
  const velmora::FitResult viaTool = valign::fitPairs(pairs, {}, options);
  const velmora::FitResult direct = velmora::fit(from.data(), to.data(), pairs.size(), nullptr, options);
  ASSERT_TRUE(viaTool.ok()) << viaTool.message;
  for (int r = 0; r < 4; ++r)
    for (int c = 0; c < 4; ++c) EXPECT_EQ(viaTool.motion.matrix[r][c], direct.motion.matrix[r][c]);
  EXPECT_EQ(viaTool.residuals, direct.residuals);
  EXPECT_EQ(viaTool.rms, direct.rms);
}

TEST(FitPairsTest, GivesTheLeastSquaresMotion) {
  const PointPairs pairs = noisyPairs(40, 5);
  const velmora::FitResult r = valign::fitPairs(pairs, {}, velmora::FitOptions());
  ASSERT_TRUE(r.ok()) << r.message;
  EXPECT_LT(maxDifference(r.motion, vtool::referenceFit(pairs, {}, "rigid")), 1e-9);
}

TEST(FitPairsTest, PassesTheWeightsInPairOrder) {
  PointPairs pairs = noisyPairs(30, 7);
  std::vector<double> weights(30);
  for (std::size_t k = 0; k < weights.size(); ++k) weights[k] = 0.25 + 0.1 * static_cast<double>(k % 7);
  weights[4] = 0.0;
  pairs.to[4].x += 1000.0;  // a zero weight: the gross error must not count
  const velmora::FitResult r = valign::fitPairs(pairs, weights, velmora::FitOptions());
  ASSERT_TRUE(r.ok()) << r.message;
  EXPECT_LT(maxDifference(r.motion, vtool::referenceFit(pairs, weights, "rigid")), 1e-9);
  double sum = 0.0;
  for (double w : weights) sum += w;
  EXPECT_NEAR(r.weightSum, sum, 1e-12 * sum);
}

TEST(FitPairsTest, NoPairsIsAStatusNotACrash) {
  const velmora::FitResult r = valign::fitPairs(PointPairs(), {}, velmora::FitOptions());
  EXPECT_FALSE(r.ok());
}

TEST(NewtonIsWorseTest, EqualResidualsAreNotWorse) {
  EXPECT_FALSE(valign::newtonIsWorse(1.0, 1.0, 10.0));
  EXPECT_FALSE(valign::newtonIsWorse(0.5, 1.0, 10.0));
}

TEST(NewtonIsWorseTest, TheMarginIsRelativeToTheOptimum) {
  // An optimum of 2 among coordinates of 1: the margin is 2e-9 and 64 ulps of 1 (1.4e-14).
  EXPECT_FALSE(valign::newtonIsWorse(2.0 + 1.9e-9, 2.0, 1.0));
  EXPECT_TRUE(valign::newtonIsWorse(2.0 + 2.1e-9, 2.0, 1.0));
  EXPECT_TRUE(valign::newtonIsWorse(308.16, 133.94, 1000.0));
}

TEST(NewtonIsWorseTest, OnExactDataTheRoundingOfTheCoordinatesSetsTheMargin) {
  // Both residuals are rounding noise of coordinates up to 1e6: 64 ulps of 1e6 is 1.42e-8.
  const double ulps = 64.0 * std::numeric_limits<double>::epsilon() * 1e6;
  EXPECT_FALSE(valign::newtonIsWorse(5e-10, 1.3e-10, 1e6));
  EXPECT_FALSE(valign::newtonIsWorse(1.3e-10 + 0.9 * ulps, 1.3e-10, 1e6));
  EXPECT_TRUE(valign::newtonIsWorse(1.3e-10 + 1.1 * ulps, 1.3e-10, 1e6));
  EXPECT_TRUE(valign::newtonIsWorse(1e-9, 0.0, 1.0));
}

TEST(NewtonIsWorseTest, ANonFiniteNewtonResidualIsWorse) {
  EXPECT_TRUE(valign::newtonIsWorse(std::numeric_limits<double>::quiet_NaN(), 1.0, 1.0));
  EXPECT_TRUE(valign::newtonIsWorse(std::numeric_limits<double>::infinity(), 1.0, 1.0));
}

TEST(TextLinesTest, SplitsAtLineEndsAndDropsEmptyLines) {
  EXPECT_EQ(valign::textLines(""), std::vector<std::string>());
  EXPECT_EQ(valign::textLines("one"), std::vector<std::string>({"one"}));
  EXPECT_EQ(valign::textLines("one\ntwo\n"), std::vector<std::string>({"one", "two"}));
  EXPECT_EQ(valign::textLines("\none\n\ntwo"), std::vector<std::string>({"one", "two"}));
}
