// The gathering pass of the per-pair passes, at every vector width: the pairs laid out as rows, both
// sums in pair order, and the first pair holding a point that the host counts as unset, against a
// one-pair-at-a-time reading of the same doubles.
#include "source/align/pairpasses.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "test_support.h"

namespace {

std::uint64_t bitsOf(double v) {
  std::uint64_t b;
  std::memcpy(&b, &v, sizeof b);
  return b;
}

// n pairs of six seeded doubles, one pair after another.
std::vector<double> randomPairs(unsigned n, unsigned seed) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> u(-1e3, 1e3);
  std::vector<double> pairs(6 * n);
  for (double& v : pairs) v = u(rng);
  return pairs;
}

// Whether coordinate k (0..5) of a pair holding v is the host's unset marker: max anywhere, -max in x.
bool marks(unsigned k, double v) { return v == DBL_MAX || ((k == 0 || k == 3) && v == -DBL_MAX); }

// The index of the first pair with a marker, n when none, and the sums of the pairs before it.
unsigned literalGather(const std::vector<double>& pairs, unsigned n, double sum[6]) {
  for (unsigned k = 0; k < 6; ++k) sum[k] = 0.0;
  for (unsigned i = 0; i < n; ++i) {
    for (unsigned k = 0; k < 6; ++k)
      if (marks(k, pairs[6 * i + k])) return i;
    for (unsigned k = 0; k < 6; ++k) sum[k] += pairs[6 * i + k];
  }
  return n;
}

// Checks ERGatherPairs against the literal reading: the answer, the sums bit for bit when every pair is
// valid, and every row (lanes past the last pair repeating it).
void expectGathered(const std::vector<double>& pairs, unsigned n) {
  double want[6];
  const unsigned wantAnswer = literalGather(pairs, n, want);
  std::vector<double> rows(ERRowsLength(n) + 1, -1.0);
  const double guard = rows.back();
  double sum[6] = {0, 0, 0, 0, 0, 0};
  const unsigned answer = ERGatherPairs(pairs.data(), n, rows.data(), sum);
  ASSERT_EQ(answer, wantAnswer);
  EXPECT_EQ(bitsOf(rows.back()), bitsOf(guard));
  if (answer != n) return;
  for (unsigned k = 0; k < 6; ++k)
    EXPECT_EQ(bitsOf(sum[k]), bitsOf(want[k])) << k << ": " << sum[k] << " vs " << want[k];
  for (unsigned i = 0; i < (n + ERRowChunk - 1) / ERRowChunk * ERRowChunk; ++i)
    for (unsigned k = 0; k < 6; ++k) {
      const double got = rows[6 * ERRowChunk * (i / ERRowChunk) + k * ERRowChunk + i % ERRowChunk];
      const double expected = pairs[6 * ((i < n) ? i : n - 1) + k];
      EXPECT_EQ(bitsOf(got), bitsOf(expected)) << "pair " << i << ", coordinate " << k;
    }
  // Without rows, the same answer and sums; with neither, every pair.
  double again[6] = {0, 0, 0, 0, 0, 0};
  EXPECT_EQ(ERGatherPairs(pairs.data(), n, nullptr, again), n);
  for (unsigned k = 0; k < 6; ++k) EXPECT_EQ(bitsOf(again[k]), bitsOf(want[k]));
  EXPECT_EQ(ERGatherPairs(pairs.data(), n, nullptr, nullptr), n);
}

TEST(GatherPairsTest, RowsAndSumsOfValidPairsAtEveryWidth) {
  for (unsigned width : vtest::vectorWidths())
    for (unsigned n : {1u, 2u, 3u, 4u, 5u, 7u, 8u, 9u, 15u, 16u, 17u, 33u, 300u}) {
      const vtest::VectorWidthCap cap(width);
      SCOPED_TRACE(testing::Message() << "width " << cap.inUse << ", " << n << " pairs");
      expectGathered(randomPairs(n, n + 17 * width), n);
    }
}

TEST(GatherPairsTest, FirstPairHoldingAMarkerAtEveryWidth) {
  // A marker in every coordinate at positions across chunk edges, a second one after it, and values
  // that are not markers: -max in y or z, infinities and NaN, alone or in the same chunk as a marker.
  const double inf = std::numeric_limits<double>::infinity(), nan = std::nan("");
  for (unsigned width : vtest::vectorWidths())
    for (unsigned n : {1u, 3u, 8u, 9u, 20u}) {
      const vtest::VectorWidthCap cap(width);
      for (unsigned at = 0; at < n; ++at)
        for (unsigned k = 0; k < 6; ++k)
          for (double value : {DBL_MAX, -DBL_MAX, inf, -inf, nan}) {
            SCOPED_TRACE(testing::Message() << "width " << cap.inUse << ", " << n << " pairs, pair " << at
                                            << ", coordinate " << k << ", value " << value);
            std::vector<double> pairs = randomPairs(n, 7 * n + at);
            pairs[6 * at + k] = value;
            expectGathered(pairs, n);
            if (at + 1 < n) {
              // In the same coordinate (where an infinity before it could hide it) and in the next one.
              pairs[6 * (at + 1) + k] = (k % 3 == 0) ? -DBL_MAX : DBL_MAX;
              expectGathered(pairs, n);
              pairs[6 * (at + 1) + k] = 1.0;
              pairs[6 * (at + 1) + (k + 1) % 6] = DBL_MAX;
              expectGathered(pairs, n);
            }
          }
    }
}

}  // namespace
