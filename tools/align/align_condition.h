// Shape diagnostics of a point set for the velmora-align tool: the principal spreads of the centred
// points (square roots of the eigenvalues of their 3x3 covariance) and their ratio, which tells how
// close the set is to a plane or a line.
#ifndef VELMORA_TOOLS_ALIGN_CONDITION_H
#define VELMORA_TOOLS_ALIGN_CONDITION_H

#include <array>
#include <vector>

#include "align/align_types.h"
#include "velmora/fit.h"

namespace valign {

// Below this conditioning the tool warns that the set is nearly flat or nearly a line (the fit's own
// threshold, so that both paths warn alike).
using velmora::kConditioningWarning;

// Eigenvalues of the symmetric 3x3 matrix `a` (its upper triangle is read), in ascending order, by
// the closed trigonometric form of the characteristic cubic.
std::array<double, 3> symmetricEigenvalues(const double a[3][3]);

// Covariance (divided by the point count) of the points about their barycentre. Empty input gives 0.
// Entries of a set whose spread is far below 1e-150 underflow; the two functions below do not.
void covariance(const std::vector<Vec3>& points, double c[3][3]);

// Square roots of the covariance eigenvalues, ascending; tiny negative rounding is clamped to 0.
std::array<double, 3> principalSpreads(const std::vector<Vec3>& points);

// Smallest principal spread divided by the largest: 1 for an isotropic set, 0 for a flat one; 0
// when the points all coincide.
double conditioning(const std::vector<Vec3>& points);

}  // namespace valign

#endif
