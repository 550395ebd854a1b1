// Shared fixtures of the velmora-align tests: point sets moved by a known motion, with optional noise,
// and independent least-squares fits of every model (through Eigen, from their definitions): the SVD
// method stands in for the library's entry where a test needs a whole run without it, and all of them
// are the reference the closed form is checked against.
#ifndef VELMORA_TESTS_TOOL_ALIGN_FIXTURES_H
#define VELMORA_TESTS_TOOL_ALIGN_FIXTURES_H

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "align/align_types.h"
#include "tool/reference_fit.h"

namespace vtool {

using valign::PointPairs;
using valign::Transform4;
using valign::Vec3;

inline Eigen::Vector3d toEigen(const Vec3& p) { return {p.x, p.y, p.z}; }
inline Vec3 fromEigen(const Eigen::Vector3d& p) { return {p.x(), p.y(), p.z()}; }

// A motion p -> scale * rotation * p + translation (rotation orthogonal, det -1 for a mirror image).
struct Motion {
  Eigen::Matrix3d rotation;
  Eigen::Vector3d translation;
  double scale = 1.0;
  Vec3 apply(const Vec3& p) const { return fromEigen(scale * rotation * toEigen(p) + translation); }
  Eigen::Matrix3d block() const { return scale * rotation; }
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

// The pairs as Eigen vectors, for the references of reference_fit.h.
inline vreference::Pairs toEigenPairs(const PointPairs& pairs) {
  vreference::Pairs out;
  out.reserve(pairs.size());
  for (std::size_t k = 0; k < pairs.size(); ++k)
    out.emplace_back(toEigen(pairs.from[k]), toEigen(pairs.to[k]));
  return out;
}

// The weighted least-squares motion of a model, from its definition (vreference::referenceFit). An
// empty `weights` means every weight is 1.
inline Motion referenceFit(const PointPairs& pairs, const std::vector<double>& weights,
                           const std::string& model, const Eigen::Vector3d& axis = Eigen::Vector3d::UnitZ(),
                           bool allowReflection = false) {
  const vreference::Fit fit =
      vreference::referenceFit(toEigenPairs(pairs), weights, model, axis, allowReflection);
  return {fit.rotation, fit.translation, fit.scale};
}

// The least-squares rigid motion carrying from[k] onto to[k], by the SVD of the cross-covariance.
inline Motion svdAlignment(const PointPairs& pairs) { return referenceFit(pairs, {}, "rigid"); }

// sqrt(sum w |b - T(a)|^2 / sum w): the weighted RMS residual of a motion.
inline double weightedRms(const PointPairs& pairs, const std::vector<double>& weights, const Motion& m) {
  double sum = 0.0, wsum = 0.0;
  for (std::size_t k = 0; k < pairs.size(); ++k) {
    const double w = weights.empty() ? 1.0 : weights[k];
    sum += w * (toEigen(pairs.to[k]) - toEigen(m.apply(pairs.from[k]))).squaredNorm();
    wsum += w;
  }
  return std::sqrt(sum / wsum);
}

inline Transform4 toTransform(const Motion& m) {
  Transform4 t;
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 3; ++c) t.m[r][c] = m.scale * m.rotation(r, c);
    t.m[r][3] = m.translation(r);
  }
  return t;
}

// Largest entry-wise difference between a transform and a motion (rotation and translation).
inline double maxDifference(const Transform4& t, const Motion& m) {
  double worst = 0.0;
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 3; ++c) worst = std::fmax(worst, std::fabs(t.m[r][c] - m.scale * m.rotation(r, c)));
    worst = std::fmax(worst, std::fabs(t.m[r][3] - m.translation(r)));
  }
  return worst;
}

}  // namespace vtool

#endif
