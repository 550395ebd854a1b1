// Shared fixtures of the velmora-align tests: point sets moved by a known rigid motion, with optional
// noise, and an independent least-squares alignment (the SVD method, through Eigen) that stands in
// for the library's entry where a test needs a whole run without it.
#ifndef VELMORA_TESTS_TOOL_ALIGN_FIXTURES_H
#define VELMORA_TESTS_TOOL_ALIGN_FIXTURES_H

#include <Eigen/Dense>
#include <cmath>
#include <random>
#include <vector>

#include "align/align_types.h"

namespace vtool {

using valign::PointPairs;
using valign::Transform4;
using valign::Vec3;

inline Eigen::Vector3d toEigen(const Vec3& p) { return {p.x, p.y, p.z}; }
inline Vec3 fromEigen(const Eigen::Vector3d& p) { return {p.x(), p.y(), p.z()}; }

// A rigid motion given by an axis, an angle and a translation.
struct Motion {
  Eigen::Matrix3d rotation;
  Eigen::Vector3d translation;
  Vec3 apply(const Vec3& p) const { return fromEigen(rotation * toEigen(p) + translation); }
};

inline Motion makeMotion(const Eigen::Vector3d& axis, double angle, const Eigen::Vector3d& translation) {
  return {Eigen::AngleAxisd(angle, axis.normalized()).toRotationMatrix(), translation};
}

// A fixed, unremarkable motion used by most tests.
inline Motion sampleMotion() {
  return makeMotion(Eigen::Vector3d(1.0, -2.0, 0.5), 0.7, Eigen::Vector3d(12.5, -3.25, 40.0));
}

// `n` points uniformly in a box of half-size `size` centred at `centre`.
inline std::vector<Vec3> randomPoints(std::size_t n, double size, const Vec3& centre, unsigned seed) {
  std::mt19937_64 gen(seed);
  std::uniform_real_distribution<double> u(-size, size);
  std::vector<Vec3> points(n);
  for (Vec3& p : points) p = {centre.x + u(gen), centre.y + u(gen), centre.z + u(gen)};
  return points;
}

// Pairs (p, motion(p) + noise), the noise Gaussian with standard deviation `sigma` per coordinate.
inline PointPairs movedPairs(const std::vector<Vec3>& points, const Motion& motion, double sigma,
                             unsigned seed) {
  std::mt19937_64 gen(seed);
  std::normal_distribution<double> noise(0.0, sigma > 0.0 ? sigma : 1.0);
  PointPairs pairs;
  for (const Vec3& p : points) {
    Vec3 q = motion.apply(p);
    if (sigma > 0.0) q = {q.x + noise(gen), q.y + noise(gen), q.z + noise(gen)};
    pairs.from.push_back(p);
    pairs.to.push_back(q);
  }
  return pairs;
}

// The least-squares rigid motion carrying from[k] onto to[k], by the SVD of the cross-covariance.
inline Motion svdAlignment(const PointPairs& pairs) {
  const std::size_t n = pairs.size();
  Eigen::Vector3d ca = Eigen::Vector3d::Zero(), cb = Eigen::Vector3d::Zero();
  for (std::size_t k = 0; k < n; ++k) {
    ca += toEigen(pairs.from[k]);
    cb += toEigen(pairs.to[k]);
  }
  ca /= static_cast<double>(n);
  cb /= static_cast<double>(n);
  Eigen::Matrix3d h = Eigen::Matrix3d::Zero();
  for (std::size_t k = 0; k < n; ++k)
    h += (toEigen(pairs.from[k]) - ca) * (toEigen(pairs.to[k]) - cb).transpose();
  Eigen::JacobiSVD<Eigen::Matrix3d> svd(h, Eigen::ComputeFullU | Eigen::ComputeFullV);
  Eigen::Matrix3d d = Eigen::Matrix3d::Identity();
  d(2, 2) = (svd.matrixV() * svd.matrixU().transpose()).determinant() < 0 ? -1.0 : 1.0;
  const Eigen::Matrix3d r = svd.matrixV() * d * svd.matrixU().transpose();
  return {r, cb - r * ca};
}

inline Transform4 toTransform(const Motion& m) {
  Transform4 t;
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 3; ++c) t.m[r][c] = m.rotation(r, c);
    t.m[r][3] = m.translation(r);
  }
  return t;
}

// Largest entry-wise difference between a transform and a motion (rotation and translation).
inline double maxDifference(const Transform4& t, const Motion& m) {
  double worst = 0.0;
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 3; ++c) worst = std::fmax(worst, std::fabs(t.m[r][c] - m.rotation(r, c)));
    worst = std::fmax(worst, std::fabs(t.m[r][3] - m.translation(r)));
  }
  return worst;
}

}  // namespace vtool

#endif
