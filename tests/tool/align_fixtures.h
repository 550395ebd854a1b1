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

// The weighted least-squares motion of a model, from its definition. Rigid and similarity: the SVD of
// H = sum w (a - ma)(b - mb)^T = U S V^T gives R = V D U^T with D = diag(1, 1, det(V U^T)) unless
// reflections are allowed (D = I), and the scale trace(S D) / sum w |a - ma|^2. Translation: the
// difference of the weighted means. Axis (unit u): the angle that maximises sum w b'.R(angle) a' over
// the centred points, atan2 of its sine and cosine coefficients; with reflections allowed, the mirror
// in a plane that holds the axis, a -> a - 2 (n.a) n with n normal to u, is taken when it does better:
// it scores trace(H) - 2 n^T H n, best for the n of the smaller eigenvalue of sym(H) within that plane.
// An empty `weights` means every weight is 1.
inline Motion referenceFit(const PointPairs& pairs, const std::vector<double>& weights,
                           const std::string& model, const Eigen::Vector3d& axis = Eigen::Vector3d::UnitZ(),
                           bool allowReflection = false) {
  double wsum = 0.0;
  Eigen::Vector3d ma = Eigen::Vector3d::Zero(), mb = Eigen::Vector3d::Zero();
  for (std::size_t k = 0; k < pairs.size(); ++k) {
    const double w = weights.empty() ? 1.0 : weights[k];
    wsum += w;
    ma += w * toEigen(pairs.from[k]);
    mb += w * toEigen(pairs.to[k]);
  }
  ma /= wsum;
  mb /= wsum;
  Eigen::Matrix3d h = Eigen::Matrix3d::Zero();
  double varA = 0.0, c = 0.0, sn = 0.0, along = 0.0;
  const Eigen::Vector3d u = axis.normalized();
  for (std::size_t k = 0; k < pairs.size(); ++k) {
    const double w = weights.empty() ? 1.0 : weights[k];
    const Eigen::Vector3d a = toEigen(pairs.from[k]) - ma, b = toEigen(pairs.to[k]) - mb;
    h += w * a * b.transpose();
    varA += w * a.squaredNorm();
    c += w * (b.dot(a) - u.dot(a) * u.dot(b));
    sn += w * b.dot(u.cross(a));
    along += w * u.dot(a) * u.dot(b);
  }
  Motion m{Eigen::Matrix3d::Identity(), Eigen::Vector3d::Zero()};
  if (model == "rigid" || model == "similarity") {
    Eigen::JacobiSVD<Eigen::Matrix3d> svd(h, Eigen::ComputeFullU | Eigen::ComputeFullV);
    Eigen::Matrix3d d = Eigen::Matrix3d::Identity();
    if (!allowReflection)
      d(2, 2) = (svd.matrixV() * svd.matrixU().transpose()).determinant() < 0 ? -1.0 : 1.0;
    m.rotation = svd.matrixV() * d * svd.matrixU().transpose();
    if (model == "similarity") m.scale = (svd.singularValues().asDiagonal() * d).trace() / varA;
  } else if (model == "axis") {
    m.rotation = Eigen::AngleAxisd(std::atan2(sn, c), u).toRotationMatrix();
    if (allowReflection) {
      const Eigen::Vector3d e1 = u.unitOrthogonal(), e2 = u.cross(e1);
      const Eigen::Matrix3d sym = 0.5 * (h + h.transpose());
      Eigen::Matrix2d b;
      b << e1.dot(sym * e1), e1.dot(sym * e2), e2.dot(sym * e1), e2.dot(sym * e2);
      Eigen::SelfAdjointEigenSolver<Eigen::Matrix2d> solver(b);
      if (h.trace() - 2.0 * solver.eigenvalues()(0) > along + std::hypot(c, sn)) {
        const Eigen::Vector3d n = solver.eigenvectors()(0, 0) * e1 + solver.eigenvectors()(1, 0) * e2;
        m.rotation = Eigen::Matrix3d::Identity() - 2.0 * n * n.transpose();
      }
    }
  }
  m.translation = mb - m.scale * m.rotation * ma;
  return m;
}

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
