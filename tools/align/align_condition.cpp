// Shape diagnostics of a point set for the velmora-align tool.
#include "align/align_condition.h"

#include <algorithm>
#include <cmath>

namespace valign {

std::array<double, 3> symmetricEigenvalues(const double a[3][3]) {
  double largest = 0.0;
  for (int r = 0; r < 3; ++r)
    for (int c = r; c < 3; ++c) largest = std::max(largest, std::fabs(a[r][c]));
  if (largest == 0.0 || !std::isfinite(largest)) return {0.0, 0.0, 0.0};
  const double s = powerOfTwoAbove(largest);
  const double a00 = a[0][0] / s, a11 = a[1][1] / s, a22 = a[2][2] / s;
  const double a01 = a[0][1] / s, a02 = a[0][2] / s, a12 = a[1][2] / s;
  std::array<double, 3> e;
  const double offDiagonal = a01 * a01 + a02 * a02 + a12 * a12;
  if (offDiagonal == 0.0) {
    e = {a00, a11, a22};
  } else {
    // Shift by the mean eigenvalue q and scale by p: B = (A - qI) / p has eigenvalues 2cos(phi + 2k pi/3)
    // with cos(3 phi) = det(B) / 2.
    const double q = (a00 + a11 + a22) / 3.0;
    const double d0 = a00 - q, d1 = a11 - q, d2 = a22 - q;
    const double p = std::sqrt((d0 * d0 + d1 * d1 + d2 * d2 + 2.0 * offDiagonal) / 6.0);
    const double b00 = d0 / p, b11 = d1 / p, b22 = d2 / p;
    const double b01 = a01 / p, b02 = a02 / p, b12 = a12 / p;
    const double detB =
        b00 * (b11 * b22 - b12 * b12) - b01 * (b01 * b22 - b12 * b02) + b02 * (b01 * b12 - b11 * b02);
    const double r = std::clamp(detB / 2.0, -1.0, 1.0);
    const double phi = std::acos(r) / 3.0;
    const double kTwoThirdsPi = 2.0943951023931954923;
    const double largestE = q + 2.0 * p * std::cos(phi);
    const double smallestE = q + 2.0 * p * std::cos(phi + kTwoThirdsPi);
    e = {smallestE, 3.0 * q - largestE - smallestE, largestE};
  }
  std::sort(e.begin(), e.end());
  for (double& v : e) v *= s;
  return e;
}

namespace {

// Covariance of the centred points divided by s squared, where s is returned: a power of two that
// brings every centred coordinate into [-1, 1], so that no square overflows or underflows.
double normalisedCovariance(const std::vector<Vec3>& points, double c[3][3]) {
  for (int r = 0; r < 3; ++r)
    for (int k = 0; k < 3; ++k) c[r][k] = 0.0;
  if (points.empty()) return 1.0;
  const double n = static_cast<double>(points.size());
  double bx = 0.0, by = 0.0, bz = 0.0;
  for (const Vec3& p : points) {
    bx += p.x;
    by += p.y;
    bz += p.z;
  }
  bx /= n;
  by /= n;
  bz /= n;
  double largest = 0.0;
  for (const Vec3& p : points)
    largest = std::max({largest, std::fabs(p.x - bx), std::fabs(p.y - by), std::fabs(p.z - bz)});
  const double s = powerOfTwoAbove(largest);
  double sxx = 0, syy = 0, szz = 0, sxy = 0, sxz = 0, syz = 0;
  for (const Vec3& p : points) {
    const double x = (p.x - bx) / s, y = (p.y - by) / s, z = (p.z - bz) / s;
    sxx += x * x;
    syy += y * y;
    szz += z * z;
    sxy += x * y;
    sxz += x * z;
    syz += y * z;
  }
  c[0][0] = sxx / n;
  c[1][1] = syy / n;
  c[2][2] = szz / n;
  c[0][1] = c[1][0] = sxy / n;
  c[0][2] = c[2][0] = sxz / n;
  c[1][2] = c[2][1] = syz / n;
  return s;
}

}  // namespace

void covariance(const std::vector<Vec3>& points, double c[3][3]) {
  const double s = normalisedCovariance(points, c);
  for (int r = 0; r < 3; ++r)
    for (int k = 0; k < 3; ++k) c[r][k] = c[r][k] * s * s;
}

std::array<double, 3> principalSpreads(const std::vector<Vec3>& points) {
  double c[3][3];
  const double s = normalisedCovariance(points, c);
  std::array<double, 3> e = symmetricEigenvalues(c);
  for (double& v : e) v = std::sqrt(std::max(v, 0.0)) * s;
  return e;
}

double conditioning(const std::vector<Vec3>& points) {
  double c[3][3];
  normalisedCovariance(points, c);
  const std::array<double, 3> e = symmetricEigenvalues(c);
  if (!(e[2] > 0.0)) return 0.0;
  return std::sqrt(std::max(e[0], 0.0) / e[2]);
}

}  // namespace valign
