// The per-pair passes of the rigid solve (sums, largest norm, running cross mean, residuals), compiled
// for the vector widths the processor may offer and chosen at run time, and the solvers' templated
// paths that run them over any source of pairs. Internal to the library: the alignment entry and the
// solvers include it; the public headers do not.
#ifndef VELMORA_SOURCE_PAIRPASSES_H
#define VELMORA_SOURCE_PAIRPASSES_H

#include <cmath>

#include "velmora/slvbstft.h"

#if defined(__GNUC__) && defined(__x86_64__)
#define ER_PAIRPASSES_WIDE 1
#else
#define ER_PAIRPASSES_WIDE 0
#endif

// An isometry as the passes apply it: a change of frame as its matrix (row-major) and origin, any
// other representation through its handle.
struct ERPassFrame {
  explicit ERPassFrame(const ERIsometrieApplier& apply);
  int isFrame;
  double m[9];
  double t[3];
  const ERIsometrieApplier* apply;
  // The handle of f applied to the point (x, y, z).
  static void applyHandle(const ERPassFrame& f, double x, double y, double z, double& rx, double& ry,
                          double& rz);
};

// The pairs a pass works on, made from the pairs (from, to) of a source: (frame(from - cFrom), to - cTo),
// or (from - cFrom, to - cTo) when frame is null. A zero centre leaves every coordinate as it is, to the
// bit, so the pairs of the source themselves are the zero centring without a frame.
struct ERPairCentring {
  const ERPassFrame* frame;
  double cFrom[3];
  double cTo[3];
};

// The running part of a statistic series, as the residual pass updates it: the count of values so far
// and the fields of ERSerieStatistique.
struct ERPassSeries {
  double count;
  double mean, meanSquare, min, max;
};

// Where a pass reads its pairs. Either two arrays of points, three doubles each (from[i], to[i]), or
// rows: the pairs in chunks of ERRowChunk, each chunk six rows of ERRowChunk doubles (the x, y and z of
// the first points, then of the second points), the lanes past the last pair repeating it.
struct ERPairSource {
  const double* rows;  // the rows, or null for the two arrays
  const double* from;
  const double* to;
};
constexpr unsigned ERRowChunk = 8;
// Where coordinate 0 of pair i sits in the rows; coordinate k is k * ERRowChunk further.
inline unsigned ERRowOffset(unsigned i) { return 6 * ERRowChunk * (i / ERRowChunk) + i % ERRowChunk; }
// The doubles that the rows of n pairs take.
inline unsigned ERRowsLength(unsigned n) { return 6 * ERRowChunk * ((n + ERRowChunk - 1) / ERRowChunk); }

namespace erpasses {

// The width in doubles of the passes in use: 8 with AVX-512, 4 with AVX2, 2 otherwise, unless
// ERSetVectorWidth capped it.
unsigned width();

// The passes, one set per width. Each reads the n pairs of a source and carries its state from block to
// block in its last arguments.
#define ER_PAIR_PASSES_DECLARED                                                                              \
  /* Reads n pairs of six doubles each (x y z x' y' z', one pair after another, as the host lays out its     \
     points) into rows, when rows is not null, and adds their coordinates in pair order to sum[0..5], when   \
     sum is not null. With sum, answers (in answer) the index of the first pair holding a point that the     \
     host counts as unset (x = -max or one coordinate = max), where it stops, and n when there is none. */   \
  void gatherPairs(const double* pairs, unsigned n, double* rows, double* sum, unsigned& answer);            \
  /* The sums in pair order, into sum[0..2] and sum[3..5], of both points of the pairs of c. */              \
  void sumCentred(const ERPairSource& s, unsigned n, const ERPairCentring& c, double sum[6]);                \
  /* The largest squared norm of the first points of the pairs of c less centre, folded into largest with    \
     ERMax in pair order. */                                                                                 \
  void largestNorme2(const ERPairSource& s, unsigned n, const ERPairCentring& c, const double centre[3],     \
                     double& largest);                                                                       \
  /* The running mean (3 x 9, row-major) of the best-fit cross-product terms of the pairs of c centred on cA \
     and cB and divided by scale; base is the index of the block's first pair in the whole sequence. */      \
  void crossMean(const ERPairSource& s, unsigned n, unsigned base, const ERPairCentring& c,                  \
                 const double cA[3], const double cB[3], double scale, double cross[27]);                    \
  /* The distances |to - f(from)| into the series as ERSerieStatistique::Add adds them, and into             \
     values[0..n-1] unless values is null. */                                                                \
  void residuals(const ERPairSource& s, unsigned n, const ERPassFrame& f, ERPassSeries& series,              \
                 double* values);

namespace w2 {
ER_PAIR_PASSES_DECLARED
}
#if ER_PAIRPASSES_WIDE
namespace w4 {
ER_PAIR_PASSES_DECLARED
}
namespace w8 {
ER_PAIR_PASSES_DECLARED
}

// Runs the pass call (a pass with its arguments) at the width in use.
#define ER_PAIR_PASS(call)         \
  do {                             \
    switch (::erpasses::width()) { \
      case 8:                      \
        ::erpasses::w8::call;      \
        break;                     \
      case 4:                      \
        ::erpasses::w4::call;      \
        break;                     \
      default:                     \
        ::erpasses::w2::call;      \
    }                              \
  } while (0)
#else
#define ER_PAIR_PASS(call) ::erpasses::w2::call
#endif

}  // namespace erpasses

// The three coordinates of a point as plain doubles.
inline void ERCoordsOf(const ERPoint3D& p, double c[3]) {
  c[0] = p[X3D];
  c[1] = p[Y3D];
  c[2] = p[Z3D];
}

// gatherPairs at the width in use.
inline unsigned ERGatherPairs(const double* pairs, unsigned n, double* rows, double* sum) {
  unsigned answer = 0;
  ER_PAIR_PASS(gatherPairs(pairs, n, rows, sum, answer));
  return answer;
}

// The source of a block of pairs as a source of pairs hands it to forEachBlock: two arrays of points, or
// a source already made.
inline ERPairSource ERSourceOf(const ERPoint3D* from, const ERPoint3D* to) {
  return ERPairSource{nullptr, reinterpret_cast<const double*>(from), reinterpret_cast<const double*>(to)};
}
inline const ERPairSource& ERSourceOf(const ERPairSource& s) { return s; }

// The residual distances |to - isometry(from)| of a source of pairs, folded in pair order into the
// running series as Add folds them, and written to values[0..size-1] unless values is null.
template <class Pairs>
void ERRunResiduals(const Pairs& pairs, const ERPmIsometrie3D& isometry, ERPassSeries& running,
                    double* values) {
  const ERIsometrieApplier apply(isometry);
  const ERPassFrame frame(apply);
  pairs.forEachBlock([&](unsigned first, unsigned count, const auto&... block) {
    ER_PAIR_PASS(residuals(ERSourceOf(block...), count, frame, running, values ? values + first : nullptr));
  });
}

// The residual distances |to - isometry(from)| of a source of pairs, added in pair order to the series
// as Add adds them.
template <class Pairs>
void ERAddResiduals(const Pairs& pairs, const ERPmIsometrie3D& isometry, ERSerieStatistique& series) {
  const unsigned n = pairs.size();
  if (n == 0) return;
  const unsigned before = series.values.length();
  if (before == 0)
    series.values = ERDoubleVec(n);  // zero-filled in one go, then overwritten
  else
    series.values.resize(before + n);
  ERPassSeries running{static_cast<double>(before), series.mean, series.meanSquare, series.min, series.max};
  ERRunResiduals(pairs, isometry, running, &series.values[before]);
  series.mean = running.mean;
  series.meanSquare = running.meanSquare;
  series.min = running.min;
  series.max = running.max;
  series.settleVariance(running.count);
}

// The mean of the residual distances |to - isometry(from)| of a non-empty source of pairs: the mean of a
// series that they are added to in pair order, to the bit, without keeping the distances.
template <class Pairs>
double ERMeanResidual(const Pairs& pairs, const ERPmIsometrie3D& isometry) {
  ERPassSeries running{0.0, 0.0, 0.0, 0.0, 0.0};
  ERRunResiduals(pairs, isometry, running, nullptr);
  return running.mean;
}

// ---------------------------------------------------------------------------------------------
// The solvers' templated paths, read by any source of pairs that also has
// forEachBlock(f): f(first, count, block...) for consecutive blocks of pairs in index order, where
// ERSourceOf(block...) is where the pass reads the block.

template <class Pairs>
int DegauLibreSystem::solveRigid(const Pairs& pairs, const ERPoint3D& bFrom, const ERPoint3D& bTo,
                                 ERPmIsometrie3D& result) {
  // Only the first three centred points take part in the closed form; the others are centred as the
  // refinement takes them.
  ERBestFit_Point3DVec leadFrom;
  ERBestFit_Point3DVec leadTo;
  for (unsigned i = 0; i < 3; ++i) {
    leadFrom.append(pairs.from(i) - bFrom);
    leadTo.append(pairs.to(i) - bTo);
  }
  initial = SolutionInitiale(leadFrom, leadTo);

  const ERIsometrieApplier apply(initial);
  const ERPassFrame frame(apply);
  ERPairCentring centring{&frame, {}, {}};
  ERCoordsOf(bFrom, centring.cFrom);
  ERCoordsOf(bTo, centring.cTo);
  BestFitSolver refiner(0);
  ERPoint3D refinedFrom, refinedTo;
  ERDoubleVec x;
  if (refiner.solveRotation(pairs, centring, refinedFrom, refinedTo, x) != 0) return -1;
  composeSolution(refiner, x, refinedFrom, refinedTo, bFrom, bTo, result);
  return 0;
}

template <class Pairs>
int BestFitSolver::solveRotation(const Pairs& pairs, const ERPairCentring& centring, ERPoint3D& bFrom,
                                 ERPoint3D& bTo, ERDoubleVec& x) {
  const unsigned n = pairs.size();
  if (n < 3) return 2;
  double sum[6] = {0, 0, 0, 0, 0, 0};
  pairs.forEachBlock([&](unsigned, unsigned count, const auto&... block) {
    ER_PAIR_PASS(sumCentred(ERSourceOf(block...), count, centring, sum));
  });
  bFrom = ERPoint3D(sum[0], sum[1], sum[2]) / static_cast<double>(n);
  bTo = ERPoint3D(sum[3], sum[4], sum[5]) / static_cast<double>(n);
  double cA[3], cB[3];
  ERCoordsOf(bFrom, cA);
  ERCoordsOf(bTo, cB);
  // The centred points a[i] = from[i] - bFrom and b[i] = to[i] - bTo are formed as they are used.

  // The largest norm is the square root of the largest squared norm: the square root is monotonic and
  // correctly rounded, so this is the same value with one square root instead of one per point.
  double largest2 = 0;
  pairs.forEachBlock([&](unsigned, unsigned count, const auto&... block) {
    ER_PAIR_PASS(largestNorme2(ERSourceOf(block...), count, centring, cA, largest2));
  });
  scale = std::sqrt(largest2);
  if (scale == 0.0) scale = 1.0;

  // The running mean of the cross-product terms, starting from cross as it stands (not zeroed).
  double* c = cross.mutableData();
  pairs.forEachBlock([&](unsigned first, unsigned count, const auto&... block) {
    ER_PAIR_PASS(crossMean(ERSourceOf(block...), count, first, centring, cA, cB, scale, c));
  });
  return converge(x);
}

#endif
