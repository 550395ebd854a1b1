// The fit's two passes over the pairs: their sums against a straightforward long double summation, every
// layout and tail length, and the portable and AVX2 variants equal to the bit.
#include "source/fit/fitpasses.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

namespace {

using velmora::PointsView;
using velmora::WeightsView;
using velmora::detail::RawMoments;
using velmora::detail::ResidualSums;

// Pairs stored interleaved (x y z x' y' z' per pair) with weights, and views of them in several layouts.
struct Pairs {
  std::vector<double> rows;     // interleaved pairs
  std::vector<double> weights;  // one a pair, some zero
  std::vector<double> columns;  // 6 x n column-major: coordinate c of pair i at c * n + i
  std::size_t n;

  Pairs(std::size_t count, unsigned seed, double offset) : n(count) {
    std::mt19937_64 rng(seed);
    std::uniform_real_distribution<double> u(-10.0, 10.0), w(0.0, 3.0);
    for (std::size_t i = 0; i < n; ++i) {
      for (int c = 0; c < 6; ++c) rows.push_back(offset + u(rng));
      weights.push_back(i % 5 == 3 ? 0.0 : w(rng));
    }
    columns.resize(6 * n);
    for (std::size_t i = 0; i < n; ++i)
      for (int c = 0; c < 6; ++c) columns[c * n + i] = rows[6 * i + c];
  }
  PointsView interleaved(int set) const { return PointsView{rows.data() + 3 * set, n, 6, 1}; }
  PointsView columnMajor(int set) const {
    return PointsView{columns.data() + 3 * set * n, n, 1, static_cast<std::ptrdiff_t>(n)};
  }
  double at(int set, std::size_t i, int c) const { return rows[6 * i + 3 * set + c]; }
};

// The contiguous copy of one set (N x 3).
std::vector<double> contiguous(const Pairs& p, int set) {
  std::vector<double> out;
  for (std::size_t i = 0; i < p.n; ++i)
    for (int c = 0; c < 3; ++c) out.push_back(p.at(set, i, c));
  return out;
}

// The moments summed pair by pair in long double.
struct Reference {
  long double w = 0, sx[3] = {}, sy[3] = {}, sxx[6] = {}, syy[6] = {}, sxy[3][3] = {};
};

Reference referenceMoments(const Pairs& p, bool weighted, const double of[3], const double ot[3],
                           double unit) {
  Reference r;
  const int index[6][2] = {{0, 0}, {0, 1}, {0, 2}, {1, 1}, {1, 2}, {2, 2}};
  for (std::size_t i = 0; i < p.n; ++i) {
    const long double w = weighted ? p.weights[i] : 1.0L;
    long double dx[3], dy[3];
    for (int c = 0; c < 3; ++c) {
      dx[c] = (static_cast<long double>(p.at(0, i, c)) - of[c]) / unit;
      dy[c] = (static_cast<long double>(p.at(1, i, c)) - ot[c]) / unit;
    }
    r.w += w;
    for (int c = 0; c < 3; ++c) r.sx[c] += w * dx[c], r.sy[c] += w * dy[c];
    for (int k = 0; k < 6; ++k) {
      r.sxx[k] += w * dx[index[k][0]] * dx[index[k][1]];
      r.syy[k] += w * dy[index[k][0]] * dy[index[k][1]];
    }
    for (int a = 0; a < 3; ++a)
      for (int b = 0; b < 3; ++b) r.sxy[a][b] += w * dx[a] * dy[b];
  }
  return r;
}

void expectClose(double actual, long double expected, long double scale, const char* what) {
  EXPECT_LE(std::fabs(static_cast<long double>(actual) - expected), 1e-14L * scale) << what;
}

void expectMomentsMatch(const RawMoments& m, const Reference& r) {
  long double scale = 1;
  for (long double v : r.sxx) scale = std::max(scale, std::fabs(v));
  expectClose(m.w, r.w, std::fabs(r.w), "w");
  for (int c = 0; c < 3; ++c) {
    expectClose(m.sx[c], r.sx[c], scale, "sx");
    expectClose(m.sy[c], r.sy[c], scale, "sy");
  }
  for (int k = 0; k < 6; ++k) {
    expectClose(m.sxx[k], r.sxx[k], scale, "sxx");
    expectClose(m.syy[k], r.syy[k], scale, "syy");
  }
  for (int a = 0; a < 3; ++a)
    for (int b = 0; b < 3; ++b) expectClose(m.sxy[a][b], r.sxy[a][b], scale, "sxy");
}

bool sameBits(const void* a, const void* b, std::size_t bytes) { return std::memcmp(a, b, bytes) == 0; }

class FitPassesTest : public ::testing::TestWithParam<std::size_t> {
 protected:
  void TearDown() override { velmora::detail::usePortablePasses(false); }
};

TEST_P(FitPassesTest, MomentsEqualLongDoubleSumsInEveryLayout) {
  const Pairs p(GetParam(), 11u + static_cast<unsigned>(GetParam()), 1000.0);
  const double of[3] = {1000.5, 999.25, 1001.0}, ot[3] = {998.0, 1000.0, 1000.75};
  const std::vector<double> s = contiguous(p, 0), t = contiguous(p, 1);
  const PointsView cs{s.data(), p.n, 3, 1}, ct{t.data(), p.n, 3, 1};
  for (bool weighted : {false, true}) {
    const WeightsView w{weighted ? p.weights.data() : nullptr, 1};
    for (double unit : {1.0, 0.125}) {
      const Reference r = referenceMoments(p, weighted, of, ot, unit);
      RawMoments a{}, b{}, c{};
      velmora::detail::sumMoments(cs, ct, w, of, ot, unit, a);
      velmora::detail::sumMoments(p.interleaved(0), p.interleaved(1), w, of, ot, unit, b);
      velmora::detail::sumMoments(p.columnMajor(0), p.columnMajor(1), w, of, ot, unit, c);
      expectMomentsMatch(a, r);
      // The layout changes where the numbers are read from, not the arithmetic.
      EXPECT_TRUE(sameBits(&a, &b, sizeof a));
      EXPECT_TRUE(sameBits(&a, &c, sizeof a));
    }
  }
}

TEST_P(FitPassesTest, PortableAndWideVariantsGiveTheSameBits) {
  const Pairs p(GetParam(), 23u + static_cast<unsigned>(GetParam()), -5e6);
  const double of[3] = {-5e6, -5e6, -5e6}, ot[3] = {-5e6 + 1, -5e6, -5e6};
  const double a[3][3] = {{0.36, 0.48, -0.8}, {-0.8, 0.6, 0.0}, {0.48, 0.64, 0.6}};
  const WeightsView w{p.weights.data(), 1};
  RawMoments wide{}, portable{};
  ResidualSums wideSums{}, portableSums{};
  std::vector<double> wideVectors(3 * p.n), portableVectors(3 * p.n), wideDistances(p.n),
      portableDistances(p.n);
  velmora::detail::sumMoments(p.interleaved(0), p.interleaved(1), w, of, ot, 1.0, wide);
  velmora::detail::sumResiduals(p.interleaved(0), p.interleaved(1), w, of, ot, a, 1.0, wideSums,
                                wideVectors.data(), wideDistances.data());
  velmora::detail::usePortablePasses(true);
  velmora::detail::sumMoments(p.interleaved(0), p.interleaved(1), w, of, ot, 1.0, portable);
  velmora::detail::sumResiduals(p.interleaved(0), p.interleaved(1), w, of, ot, a, 1.0, portableSums,
                                portableVectors.data(), portableDistances.data());
  EXPECT_TRUE(sameBits(&wide, &portable, sizeof wide));
  EXPECT_TRUE(sameBits(&wideSums, &portableSums, sizeof wideSums));
  EXPECT_EQ(wideVectors, portableVectors);
  EXPECT_EQ(wideDistances, portableDistances);
}

TEST_P(FitPassesTest, ResidualsAreTargetMinusMovedSourceOverCountedPairs) {
  const Pairs p(GetParam(), 37u + static_cast<unsigned>(GetParam()), 0.0);
  const double mf[3] = {0.5, -0.25, 1.0}, mt[3] = {2.0, 1.0, -1.0};
  const double a[3][3] = {{0.0, -1.2, 0.0}, {1.2, 0.0, 0.0}, {0.0, 0.0, 1.2}};
  for (bool weighted : {false, true}) {
    for (double unit : {1.0, 4.0}) {
      const WeightsView w{weighted ? p.weights.data() : nullptr, 1};
      ResidualSums sums{};
      std::vector<double> vectors(3 * p.n), distances(p.n);
      velmora::detail::sumResiduals(p.interleaved(0), p.interleaved(1), w, mf, mt, a, unit, sums,
                                    vectors.data(), distances.data());
      long double sumD = 0, sumW2 = 0, largest = -INFINITY, smallest = INFINITY;
      for (std::size_t i = 0; i < p.n; ++i) {
        long double r[3], d2 = 0;
        for (int k = 0; k < 3; ++k) {
          long double moved = 0;
          for (int c = 0; c < 3; ++c) moved += a[k][c] * (static_cast<long double>(p.at(0, i, c)) - mf[c]);
          r[k] = (p.at(1, i, k) - static_cast<long double>(mt[k])) - moved;
          EXPECT_NEAR(vectors[3 * i + k], static_cast<double>(r[k]), 1e-13);
          d2 += r[k] * r[k];
        }
        const long double d = std::sqrt(d2);
        EXPECT_NEAR(distances[i], static_cast<double>(d), 1e-13);
        const long double wi = weighted ? p.weights[i] : 1.0L;
        if (wi == 0) continue;
        sumD += d, sumW2 += wi * d2 / (static_cast<long double>(unit) * unit);
        largest = std::max(largest, d), smallest = std::min(smallest, d);
      }
      EXPECT_NEAR(sums.sumDistance, static_cast<double>(sumD), 1e-13 * static_cast<double>(sumD));
      EXPECT_NEAR(sums.sumWeightedSquare, static_cast<double>(sumW2), 1e-13 * static_cast<double>(sumW2));
      EXPECT_NEAR(sums.max, static_cast<double>(largest), 1e-13);
      EXPECT_NEAR(sums.min, static_cast<double>(smallest), 1e-13);
    }
  }
}

// Lengths around the group of four and the block of 256 pairs, so that every tail is met.
INSTANTIATE_TEST_SUITE_P(Lengths, FitPassesTest, ::testing::Values(1, 2, 3, 4, 5, 7, 255, 256, 257, 1031));

TEST(FitPassesZeroWeightTest, ZeroWeightPairsLeaveEverySumUnchanged) {
  const Pairs p(40, 5u, 3.0);
  std::vector<double> w(p.n, 1.0);
  const double of[3] = {3, 3, 3}, ot[3] = {3, 3, 3};
  RawMoments all{}, some{};
  velmora::detail::sumMoments(p.interleaved(0), p.interleaved(1), WeightsView{w.data(), 1}, of, ot, 1.0, all);
  // Pair 7 moved far away but weighed 0: the sums are those of the others, which the reference gives.
  Pairs moved = p;
  for (int c = 0; c < 6; ++c) moved.rows[6 * 7 + c] = 1e9;
  w[7] = 0.0;
  velmora::detail::sumMoments(moved.interleaved(0), moved.interleaved(1), WeightsView{w.data(), 1}, of, ot,
                              1.0, some);
  EXPECT_EQ(some.w, all.w - 1.0);
  Pairs without = p;
  without.rows.erase(without.rows.begin() + 6 * 7, without.rows.begin() + 6 * 8);
  without.n -= 1;
  expectMomentsMatch(some, referenceMoments(without, false, of, ot, 1.0));
}

}  // namespace
