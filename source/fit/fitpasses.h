// The two passes of the exact fit over the pairs: the weighted first and second moments about an origin,
// and the residual statistics of a motion. Internal to the library: the fit API's unit uses them, the
// public headers do not.
#ifndef VELMORA_SOURCE_FIT_FITPASSES_H
#define VELMORA_SOURCE_FIT_FITPASSES_H

#include <cstddef>

#include "velmora/fit.h"

namespace velmora {
namespace detail {

// Sums over the pairs of (w, w dx, w dy, w dx dx^T, w dy dy^T, w dx dy^T), where dx = (source - originFrom)
// / unit and dy = (target - originTo) / unit, unit a power of two. Weights are 1 when the view has no data.
struct RawMoments {
  double w;
  double sx[3], sy[3];
  double sxx[6], syy[6];  // xx, xy, xz, yy, yz, zz
  double sxy[3][3];
};

void sumMoments(const PointsView& source, const PointsView& target, const WeightsView& weights,
                const double originFrom[3], const double originTo[3], double unit, RawMoments& sums);

// The residual vectors r = (target - meanTo) - A (source - meanFrom) of the pairs, A = scale * R, which are
// target - T(source) for the motion whose translation carries meanFrom onto meanTo; over the pairs with a
// non-zero weight: the sum of |r|, of w |r / unit|^2, and the largest and smallest |r|. When vectors (3
// doubles a pair) or distances are not null they receive every pair's r and |r|.
struct ResidualSums {
  double sumDistance;
  double sumWeightedSquare;
  double max, min;
};

void sumResiduals(const PointsView& source, const PointsView& target, const WeightsView& weights,
                  const double meanFrom[3], const double meanTo[3], const double a[3][3], double unit,
                  ResidualSums& sums, double* vectors, double* distances);

// For tests and measurements: true makes the passes use their portable variant even where the processor
// offers a wider one (both give the same bits). Returns the previous setting.
bool usePortablePasses(bool portable);

}  // namespace detail
}  // namespace velmora

#endif
