// Residuals of an alignment for the velmora-align tool: the distance left between each moved point
// and its target, and their summary statistics.
#ifndef VELMORA_TOOLS_ALIGN_RESIDUALS_H
#define VELMORA_TOOLS_ALIGN_RESIDUALS_H

#include <vector>

#include "align/align_types.h"

namespace valign {

struct ErrorStats {
  double mean = 0.0;
  double rms = 0.0;
  double max = 0.0;
  double min = 0.0;
};

// Euclidean distance between a and b, free of overflow and underflow in the squares.
double distance(const Vec3& a, const Vec3& b);

// |transform(from[k]) - to[k]| for every pair, in input order.
std::vector<double> residuals(const PointPairs& pairs, const Transform4& transform);

// Mean, root mean square, largest and smallest of the distances (compensated sums); all 0 for none.
ErrorStats errorStats(const std::vector<double>& distances);

}  // namespace valign

#endif
