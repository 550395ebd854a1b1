// Independent references of the velmora-align tests, through Eigen alone and from the definitions of the
// models: the weighted least-squares motion of every model over point pairs, and the rotation that
// yaw, pitch and roll angles describe. The testkit and the in-process tests both check against these.
#ifndef VELMORA_TESTS_TOOL_REFERENCE_FIT_H
#define VELMORA_TESTS_TOOL_REFERENCE_FIT_H

#include <Eigen/Dense>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

namespace vreference {

// Pairs (a, b): the fit carries every a onto its b.
using Pairs = std::vector<std::pair<Eigen::Vector3d, Eigen::Vector3d>>;

// A motion a -> scale * rotation * a + translation (rotation orthogonal, det -1 for a mirror image).
struct Fit {
  Eigen::Matrix3d rotation = Eigen::Matrix3d::Identity();
  Eigen::Vector3d translation = Eigen::Vector3d::Zero();
  double scale = 1.0;
};

// The weighted least-squares motion of `model` (rigid, similarity, translation or axis), from its
// definition. Rigid and similarity: the SVD of H = sum w (a - ma)(b - mb)^T = U S V^T gives R = V D U^T
// with D = diag(1, 1, det(V U^T)) unless reflections are allowed (D = I), and the scale
// trace(S D) / sum w |a - ma|^2. Translation: the difference of the weighted means. Axis (unit u): the
// angle that maximises sum w b'.R(angle) a' over the centred points, atan2 of its sine and cosine
// coefficients; with reflections allowed, the mirror in a plane that holds the axis, a -> a - 2 (n.a) n
// with n normal to u, is taken when it does better: it scores trace(H) - 2 n^T H n, best for the n of the
// smaller eigenvalue of sym(H) within that plane. An empty `weights` means every weight is 1.
inline Fit referenceFit(const Pairs& pairs, const std::vector<double>& weights, const std::string& model,
                        const Eigen::Vector3d& axis = Eigen::Vector3d::UnitZ(),
                        bool allowReflection = false) {
  double wsum = 0.0;
  Eigen::Vector3d ma = Eigen::Vector3d::Zero(), mb = Eigen::Vector3d::Zero();
  for (std::size_t k = 0; k < pairs.size(); ++k) {
    const double w = weights.empty() ? 1.0 : weights[k];
    wsum += w;
    ma += w * pairs[k].first;
    mb += w * pairs[k].second;
  }
  ma /= wsum;
  mb /= wsum;
  Eigen::Matrix3d h = Eigen::Matrix3d::Zero();
  double varA = 0.0, c = 0.0, sn = 0.0, along = 0.0;
  const Eigen::Vector3d u = axis.normalized();
  for (std::size_t k = 0; k < pairs.size(); ++k) {
    const double w = weights.empty() ? 1.0 : weights[k];
    const Eigen::Vector3d a = pairs[k].first - ma, b = pairs[k].second - mb;
    h += w * a * b.transpose();
    varA += w * a.squaredNorm();
    c += w * (b.dot(a) - u.dot(a) * u.dot(b));
    sn += w * b.dot(u.cross(a));
    along += w * u.dot(a) * u.dot(b);
  }
  Fit fit;
  if (model == "rigid" || model == "similarity") {
    Eigen::JacobiSVD<Eigen::Matrix3d> svd(h, Eigen::ComputeFullU | Eigen::ComputeFullV);
    Eigen::Matrix3d d = Eigen::Matrix3d::Identity();
    if (!allowReflection)
      d(2, 2) = (svd.matrixV() * svd.matrixU().transpose()).determinant() < 0 ? -1.0 : 1.0;
    fit.rotation = svd.matrixV() * d * svd.matrixU().transpose();
    if (model == "similarity") fit.scale = (svd.singularValues().asDiagonal() * d).trace() / varA;
  } else if (model == "axis") {
    fit.rotation = Eigen::AngleAxisd(std::atan2(sn, c), u).toRotationMatrix();
    if (allowReflection) {
      const Eigen::Vector3d e1 = u.unitOrthogonal(), e2 = u.cross(e1);
      const Eigen::Matrix3d sym = 0.5 * (h + h.transpose());
      Eigen::Matrix2d b;
      b << e1.dot(sym * e1), e1.dot(sym * e2), e2.dot(sym * e1), e2.dot(sym * e2);
      Eigen::SelfAdjointEigenSolver<Eigen::Matrix2d> solver(b);
      if (h.trace() - 2.0 * solver.eigenvalues()(0) > along + std::hypot(c, sn)) {
        const Eigen::Vector3d n = solver.eigenvectors()(0, 0) * e1 + solver.eigenvectors()(1, 0) * e2;
        fit.rotation = Eigen::Matrix3d::Identity() - 2.0 * n * n.transpose();
      }
    }
  }
  fit.translation = mb - fit.scale * fit.rotation * ma;
  return fit;
}

// Rz(yaw) Ry(pitch) Rx(roll), angles in degrees.
inline Eigen::Matrix3d eulerZyx(double yaw, double pitch, double roll) {
  const double d = 3.14159265358979323846 / 180.0;
  return (Eigen::AngleAxisd(yaw * d, Eigen::Vector3d::UnitZ()) *
          Eigen::AngleAxisd(pitch * d, Eigen::Vector3d::UnitY()) *
          Eigen::AngleAxisd(roll * d, Eigen::Vector3d::UnitX()))
      .toRotationMatrix();
}

}  // namespace vreference

#endif
