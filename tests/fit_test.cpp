// The exact fit (velmora/fit.h) against an independent long double reference: the singular value
// decomposition of the weighted cross-covariance of the centred pairs with Umeyama's determinant correction
// (Umeyama 1991) for the rigid and similarity models, the weighted mean difference for the translation
// model, and the planar Procrustes angle of the projections across the axis for the axis model. The
// library solves Horn's quaternion eigenproblem (Horn 1987), so the two routes share nothing but the data.
// Also here: weights, the reflection policy, the forms of a motion, residual statistics, refusals, layouts
// read in place, moments that merge, extreme magnitudes and the text helpers.
#include "velmora/fit.h"

#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <Eigen/SVD>
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <map>
#include <ostream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace velmora {
// Readable statuses in failure messages.
inline void PrintTo(Status s, std::ostream* os) {
  static const char* const names[] = {"ok",          "badArgument", "badCoordinate", "badWeight",
                                      "tooFewPairs", "degenerate",  "outOfRange"};
  const int i = static_cast<int>(s);
  *os << (i >= 0 && i < 7 ? names[i] : "?");
}
inline void PrintTo(Model m, std::ostream* os) {
  static const char* const names[] = {"rigid", "similarity", "translation", "axis"};
  const int i = static_cast<int>(m);
  *os << (i >= 0 && i < 4 ? names[i] : "?");
}
}  // namespace velmora

namespace {

using velmora::FitOptions;
using velmora::FitResult;
using velmora::Model;
using velmora::Moments;
using velmora::Motion;
using velmora::PointsView;
using velmora::Status;
using velmora::WeightsView;

using LD = long double;

// The reference works in long double, which on x86-64 carries 64 bits of mantissa and a wider exponent than
// double. Under a simulator that computes it as double (valgrind does) the reference loses both, and the
// tests that lean on them (coordinates at 5e6, magnitudes of 1e-200) cannot judge the fit; they skip there.
bool longDoubleIsExtended() {
  volatile LD one = 1.0L, tiny = 1e-18L;
  volatile LD sum = one + tiny;
  return sum != one;
}
using Mat3L = Eigen::Matrix<LD, 3, 3>;
using Vec3L = Eigen::Matrix<LD, 3, 1>;

const Model kModels[] = {Model::rigid, Model::similarity, Model::translation, Model::axis};
const char* const kModelLabels[] = {"rigid", "similarity", "translation", "axis"};
const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();
const LD kPi = 3.141592653589793238462643383279502884L;

const char* label(Model m) { return kModelLabels[static_cast<int>(m)]; }

// ---------------------------------------------------------------------------------------------------------
// Rotations in long double.

Mat3L rotationAbout(const Vec3L& axis, LD angle) {
  const Vec3L k = axis.normalized();
  Mat3L K;
  K << 0, -k.z(), k.y(), k.z(), 0, -k.x(), -k.y(), k.x(), 0;
  return Mat3L::Identity() + std::sin(angle) * K + (1 - std::cos(angle)) * K * K;
}

// x -> q x q* for the Hamilton quaternion (w, x, y, z), normalised first.
Mat3L quaternionMatrix(LD w, LD x, LD y, LD z) {
  const LD n = std::sqrt(w * w + x * x + y * y + z * z);
  w /= n, x /= n, y /= n, z /= n;
  Mat3L R;
  R << 1 - 2 * (y * y + z * z), 2 * (x * y - w * z), 2 * (x * z + w * y),  //
      2 * (x * y + w * z), 1 - 2 * (x * x + z * z), 2 * (y * z - w * x),   //
      2 * (x * z - w * y), 2 * (y * z + w * x), 1 - 2 * (x * x + y * y);
  return R;
}

Mat3L rotationVectorMatrix(const double v[3]) {
  const Vec3L r(v[0], v[1], v[2]);
  const LD angle = r.norm();
  if (angle == 0) return Mat3L::Identity();
  return rotationAbout(r, angle);
}

LD radians(LD degrees) { return degrees * kPi / 180; }

// R = Rz(yaw) Ry(pitch) Rx(roll), angles in degrees.
Mat3L eulerMatrix(LD yaw, LD pitch, LD roll) {
  return rotationAbout(Vec3L(0, 0, 1), radians(yaw)) * rotationAbout(Vec3L(0, 1, 0), radians(pitch)) *
         rotationAbout(Vec3L(1, 0, 0), radians(roll));
}

Mat3L toMat(const double r[3][3]) {
  Mat3L m;
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) m(i, j) = r[i][j];
  return m;
}
Vec3L toVec(const double v[3]) { return Vec3L(v[0], v[1], v[2]); }

LD maxAbs(const Mat3L& m) { return m.cwiseAbs().maxCoeff(); }

// The 4x4 row-major matrix [scale * R | t], rounded to doubles.
struct Matrix4 {
  double m[4][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}};
};
Matrix4 matrixOf(LD scale, const Mat3L& R, const Vec3L& t) {
  Matrix4 out;
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) out.m[i][j] = static_cast<double>(scale * R(i, j));
    out.m[i][3] = static_cast<double>(t(i));
  }
  return out;
}

Vec3L applyMatrix(const double m[4][4], const Vec3L& p) {
  Vec3L q;
  for (int i = 0; i < 3; ++i)
    q(i) = LD(m[i][0]) * p(0) + LD(m[i][1]) * p(1) + LD(m[i][2]) * p(2) + LD(m[i][3]);
  return q;
}

// ---------------------------------------------------------------------------------------------------------
// Random data.

struct Rng {
  std::mt19937_64 engine;
  explicit Rng(unsigned seed) : engine(seed) {}
  double uniform(double lo, double hi) { return std::uniform_real_distribution<double>(lo, hi)(engine); }
  double normal() { return std::normal_distribution<double>(0.0, 1.0)(engine); }
  Vec3L cube(double half) {
    Vec3L v;
    for (int c = 0; c < 3; ++c) v(c) = uniform(-half, half);
    return v;
  }
  Vec3L direction() {
    Vec3L v;
    for (int c = 0; c < 3; ++c) v(c) = normal();
    return v.normalized();
  }
  Mat3L rotation() {
    const LD w = normal(), x = normal(), y = normal(), z = normal();
    return quaternionMatrix(w, x, y, z);
  }
};

// A known motion: target = scale * R * source + t.
struct TrueMotion {
  Mat3L R = Mat3L::Identity();
  Vec3L t = Vec3L::Zero();
  LD scale = 1;
  Vec3L axis = Vec3L(0, 0, 1);  // for Model::axis
};

TrueMotion randomMotion(Rng& rng, Model model, double reach) {
  TrueMotion m;
  m.t = rng.cube(reach);
  switch (model) {
    case Model::rigid:
      m.R = rng.rotation();
      break;
    case Model::similarity:
      m.R = rng.rotation();
      m.scale = rng.uniform(0.5, 2.0);
      break;
    case Model::translation:
      break;
    case Model::axis:
      m.axis = rng.direction();
      m.R = rotationAbout(m.axis, rng.uniform(-3.0, 3.0));
      break;
  }
  return m;
}

// Pairs as N x 3 contiguous doubles, with optional weights (empty: all 1).
struct PairSet {
  std::vector<double> from, to, weights;
  std::size_t size() const { return from.size() / 3; }
  const double* w() const { return weights.empty() ? nullptr : weights.data(); }
  LD weight(std::size_t i) const { return weights.empty() ? LD(1) : LD(weights[i]); }
  Vec3L source(std::size_t i) const { return Vec3L(from[3 * i], from[3 * i + 1], from[3 * i + 2]); }
  Vec3L target(std::size_t i) const { return Vec3L(to[3 * i], to[3 * i + 1], to[3 * i + 2]); }
  void add(const Vec3L& s, const Vec3L& t, double weight = 1.0) {
    for (int c = 0; c < 3; ++c) from.push_back(static_cast<double>(s(c)));
    for (int c = 0; c < 3; ++c) to.push_back(static_cast<double>(t(c)));
    if (!weights.empty() || weight != 1.0) {
      weights.resize(size() - 1, 1.0);
      weights.push_back(weight);
    }
  }
  // The largest coordinate magnitude of both sets.
  LD magnitude() const {
    LD m = 0;
    for (double v : from) m = std::max(m, std::fabs(LD(v)));
    for (double v : to) m = std::max(m, std::fabs(LD(v)));
    return m;
  }
};

// n sources spread uniformly in a cube of half side `spread` about `centre`, rounded to doubles, and their
// images by the motion plus Gaussian noise (standard deviation `noise` a coordinate), rounded to doubles.
PairSet makePairs(Rng& rng, std::size_t n, const TrueMotion& m, double spread, const Vec3L& centre,
                  double noise, bool weighted) {
  PairSet d;
  for (std::size_t i = 0; i < n; ++i) {
    Vec3L p = centre + rng.cube(spread);
    for (int c = 0; c < 3; ++c) p(c) = static_cast<double>(p(c));
    Vec3L q = m.scale * (m.R * p) + m.t;
    for (int c = 0; c < 3; ++c) q(c) += noise * rng.normal();
    d.add(p, q);
  }
  if (weighted) {
    d.weights.resize(n);
    for (auto& w : d.weights) w = rng.uniform(0.2, 3.0);
  }
  return d;
}

// ---------------------------------------------------------------------------------------------------------
// The long double reference fit.

struct Reference {
  Mat3L R = Mat3L::Identity();
  Vec3L t = Vec3L::Zero();
  LD scale = 1;
  int det = 1;
};

Reference referenceFit(const PairSet& d, Model model, bool allowReflection = false,
                       const Vec3L& axisDirection = Vec3L(0, 0, 1)) {
  // Weighted means, then the centred sums in a second pass.
  LD W = 0;
  Vec3L mx = Vec3L::Zero(), my = Vec3L::Zero();
  for (std::size_t i = 0; i < d.size(); ++i) {
    const LD w = d.weight(i);
    if (w == 0) continue;
    W += w;
    mx += w * d.source(i);
    my += w * d.target(i);
  }
  mx /= W;
  my /= W;
  Mat3L S = Mat3L::Zero();  // sum w (y - my)(x - mx)^T
  LD sxx = 0;
  for (std::size_t i = 0; i < d.size(); ++i) {
    const LD w = d.weight(i);
    if (w == 0) continue;
    const Vec3L xc = d.source(i) - mx, yc = d.target(i) - my;
    S += w * yc * xc.transpose();
    sxx += w * xc.squaredNorm();
  }

  Reference r;
  switch (model) {
    case Model::translation:
      break;
    case Model::rigid:
    case Model::similarity: {
      // Umeyama 1991: R = U diag(1, 1, d) V^T, d = det(U) det(V) unless a reflection is allowed.
      Eigen::JacobiSVD<Mat3L> svd(S, Eigen::ComputeFullU | Eigen::ComputeFullV);
      Vec3L correction(1, 1, 1);
      if (!allowReflection && svd.matrixU().determinant() * svd.matrixV().determinant() < 0)
        correction(2) = -1;
      r.R = svd.matrixU() * correction.asDiagonal() * svd.matrixV().transpose();
      if (model == Model::similarity) r.scale = svd.singularValues().cwiseProduct(correction).sum() / sxx;
      break;
    }
    case Model::axis: {
      // The component along the axis is untouched by the rotation; across it, the planar Procrustes angle
      // of the projections, or the best mirror line when a reflection is allowed and fits better.
      const Vec3L a = axisDirection.normalized();
      int k = 0;
      for (int c = 1; c < 3; ++c)
        if (std::fabs(a(c)) < std::fabs(a(k))) k = c;
      const Vec3L e1 = a.cross(Vec3L::Unit(k)).normalized();
      const Vec3L e2 = a.cross(e1);
      LD C = 0, D = 0, A = 0, B = 0;
      for (std::size_t i = 0; i < d.size(); ++i) {
        const LD w = d.weight(i);
        if (w == 0) continue;
        const Vec3L xc = d.source(i) - mx, yc = d.target(i) - my;
        const LD x1 = xc.dot(e1), x2 = xc.dot(e2), y1 = yc.dot(e1), y2 = yc.dot(e2);
        C += w * (x1 * y1 + x2 * y2);
        D += w * (x1 * y2 - x2 * y1);
        A += w * (x1 * y1 - x2 * y2);
        B += w * (x2 * y1 + x1 * y2);
      }
      Eigen::Matrix<LD, 2, 2> R2;
      if (allowReflection && std::hypot(A, B) > std::hypot(C, D)) {
        const LD phi = std::atan2(B, A);
        R2 << std::cos(phi), std::sin(phi), std::sin(phi), -std::cos(phi);
      } else {
        const LD theta = std::atan2(D, C);
        R2 << std::cos(theta), -std::sin(theta), std::sin(theta), std::cos(theta);
      }
      Eigen::Matrix<LD, 3, 2> E;
      E.col(0) = e1;
      E.col(1) = e2;
      r.R = a * a.transpose() + E * R2 * E.transpose();
      break;
    }
  }
  r.t = my - r.scale * (r.R * mx);
  r.det = r.R.determinant() > 0 ? 1 : -1;
  return r;
}

struct Stats {
  LD mean = 0, rms = 0, max = 0, min = 0;
};

// Residual statistics over the pairs with a non-zero weight: the plain mean, the weighted rms, max, min.
template <class Apply>
Stats residualStats(const PairSet& d, Apply apply) {
  Stats s;
  s.min = std::numeric_limits<LD>::infinity();
  LD sum = 0, sumW = 0, sumWD2 = 0;
  std::size_t k = 0;
  for (std::size_t i = 0; i < d.size(); ++i) {
    const LD w = d.weight(i);
    if (w == 0) continue;
    const LD dist = (d.target(i) - apply(d.source(i))).norm();
    sum += dist;
    sumW += w;
    sumWD2 += w * dist * dist;
    s.max = std::max(s.max, dist);
    s.min = std::min(s.min, dist);
    ++k;
  }
  s.mean = sum / k;
  s.rms = std::sqrt(sumWD2 / sumW);
  return s;
}
Stats statsOfMatrix(const PairSet& d, const double m[4][4]) {
  return residualStats(d, [&](const Vec3L& p) { return applyMatrix(m, p); });
}
Stats statsOfReference(const PairSet& d, const Reference& r) {
  return residualStats(d, [&](const Vec3L& p) { return Vec3L(r.scale * (r.R * p) + r.t); });
}

// ---------------------------------------------------------------------------------------------------------
// Checks.

FitOptions optionsFor(Model model, const Vec3L& axis = Vec3L(0, 0, 1), bool allowReflection = false) {
  FitOptions o;
  o.model = model;
  for (int c = 0; c < 3; ++c) o.axis[c] = static_cast<double>(axis(c));
  o.allowReflection = allowReflection;
  return o;
}

// The fit's rotation, translation and scale against expected ones: rotation elements to rotTol,
// translation to transTol (absolute), scale relative to scaleTol.
void expectMotion(const FitResult& r, const Mat3L& R, const Vec3L& t, LD scale, int det, double rotTol,
                  double transTol, double scaleTol) {
  ASSERT_EQ(r.status, Status::ok) << r.message;
  EXPECT_TRUE(r.message.empty());
  EXPECT_LE(static_cast<double>(maxAbs(toMat(r.motion.rotation) - R)), rotTol);
  EXPECT_LE(static_cast<double>((toVec(r.motion.translation) - t).cwiseAbs().maxCoeff()), transTol);
  EXPECT_LE(static_cast<double>(std::fabs(r.motion.scale - scale) / scale), scaleTol);
  EXPECT_EQ(r.motion.det, det);
}

void expectMatchesReference(const FitResult& r, const Reference& ref, double rotTol, double transTol,
                            double scaleTol) {
  expectMotion(r, ref.R, ref.t, ref.scale, ref.det, rotTol, transTol, scaleTol);
}

bool finiteMotion(const Motion& m) {
  bool ok = std::isfinite(m.scale) && std::isfinite(m.det);
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j) ok = ok && std::isfinite(m.matrix[i][j]) && std::isfinite(m.inverse[i][j]);
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) ok = ok && std::isfinite(m.rotation[i][j]);
    ok = ok && std::isfinite(m.translation[i]) && std::isfinite(m.rotvec[i]) &&
         std::isfinite(m.eulerZyxDeg[i]);
  }
  for (double q : m.quaternion) ok = ok && std::isfinite(q);
  return ok;
}

void expectRefused(const FitResult& r, Status status) {
  EXPECT_EQ(r.status, status);
  EXPECT_FALSE(r.ok());
  EXPECT_FALSE(r.message.empty());
  EXPECT_EQ(r.message.find('\n'), std::string::npos) << r.message;
  EXPECT_TRUE(finiteMotion(r.motion));
}

// Every rotation form of the motion rebuilt into a matrix equals P, the proper rotation the forms describe.
void expectFormsDescribe(const Motion& m, const Mat3L& P, double tol) {
  const double* q = m.quaternion;
  EXPECT_NEAR(std::sqrt(q[0] * q[0] + q[1] * q[1] + q[2] * q[2] + q[3] * q[3]), 1.0, 1e-15);
  EXPECT_GE(q[0], 0.0);
  if (q[0] == 0.0) {
    const double firstNonZero = q[1] != 0.0 ? q[1] : (q[2] != 0.0 ? q[2] : q[3]);
    EXPECT_GT(firstNonZero, 0.0);
  }
  EXPECT_LE(static_cast<double>(maxAbs(quaternionMatrix(q[0], q[1], q[2], q[3]) - P)), tol) << "quaternion";

  const LD angle = toVec(m.rotvec).norm();
  EXPECT_GE(angle, 0.0L);
  EXPECT_LE(angle, kPi + 1e-15L);
  EXPECT_LE(static_cast<double>(maxAbs(rotationVectorMatrix(m.rotvec) - P)), tol) << "rotation vector";

  const double* e = m.eulerZyxDeg;
  EXPECT_GE(e[1], -90.0);
  EXPECT_LE(e[1], 90.0);
  EXPECT_LE(static_cast<double>(maxAbs(eulerMatrix(e[0], e[1], e[2]) - P)), tol) << "Euler angles";
}

// matrix times inverse and inverse times matrix are the identity.
void expectInverse(const Motion& m, double tol) {
  Eigen::Matrix<LD, 4, 4> A, B;
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j) A(i, j) = m.matrix[i][j], B(i, j) = m.inverse[i][j];
  const LD reach = 1 + std::max(A.block<3, 1>(0, 3).norm(), B.block<3, 1>(0, 3).norm());
  for (const Eigen::Matrix<LD, 4, 4>& P : {Eigen::Matrix<LD, 4, 4>(A * B), Eigen::Matrix<LD, 4, 4>(B * A)}) {
    const Eigen::Matrix<LD, 4, 4> gap = P - Eigen::Matrix<LD, 4, 4>::Identity();
    EXPECT_LE(static_cast<double>(gap.block<3, 3>(0, 0).cwiseAbs().maxCoeff()), tol);
    EXPECT_LE(static_cast<double>(gap.block<3, 1>(0, 3).cwiseAbs().maxCoeff()), tol * reach);
    EXPECT_EQ(static_cast<double>(gap.row(3).cwiseAbs().maxCoeff()), 0.0);
  }
}

// Two fits of the same pairs read through different layouts.
void expectSameFit(const FitResult& a, const FitResult& b, double tol) {
  ASSERT_EQ(a.status, Status::ok) << a.message;
  ASSERT_EQ(b.status, Status::ok) << b.message;
  auto near = [tol](double x, double y) { return std::fabs(x - y) <= tol * std::max(1.0, std::fabs(x)); };
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j) EXPECT_PRED2(near, a.motion.matrix[i][j], b.motion.matrix[i][j]);
  EXPECT_PRED2(near, a.motion.scale, b.motion.scale);
  EXPECT_EQ(a.motion.det, b.motion.det);
  EXPECT_PRED2(near, a.mean, b.mean);
  EXPECT_PRED2(near, a.rms, b.rms);
  EXPECT_PRED2(near, a.max, b.max);
  EXPECT_PRED2(near, a.min, b.min);
  EXPECT_EQ(a.pairs, b.pairs);
  EXPECT_PRED2(near, a.weightSum, b.weightSum);
  ASSERT_EQ(a.residuals.size(), b.residuals.size());
  ASSERT_EQ(a.residualVectors.size(), b.residualVectors.size());
  for (std::size_t i = 0; i < a.residuals.size(); ++i) EXPECT_PRED2(near, a.residuals[i], b.residuals[i]);
  for (std::size_t i = 0; i < a.residualVectors.size(); ++i)
    EXPECT_PRED2(near, a.residualVectors[i], b.residualVectors[i]);
}

// Two fits of equivalent data (a reordered, reweighted or split set): motion and statistics agree.
void expectEquivalentFits(const FitResult& a, const FitResult& b, double rotTol, double statTol, LD reach) {
  ASSERT_EQ(a.status, Status::ok) << a.message;
  ASSERT_EQ(b.status, Status::ok) << b.message;
  EXPECT_LE(static_cast<double>(maxAbs(toMat(a.motion.rotation) - toMat(b.motion.rotation))), rotTol);
  EXPECT_LE(
      static_cast<double>((toVec(a.motion.translation) - toVec(b.motion.translation)).cwiseAbs().maxCoeff()),
      rotTol * reach);
  EXPECT_NEAR(a.motion.scale, b.motion.scale, rotTol * a.motion.scale);
  EXPECT_EQ(a.motion.det, b.motion.det);
  if (a.hasStatistics && b.hasStatistics) {
    const double floor = 1e-14 * static_cast<double>(reach);
    EXPECT_NEAR(a.rms, b.rms, statTol * a.rms + floor);
  }
}

std::string trace(Model model, std::size_t n, unsigned seed) {
  std::ostringstream s;
  s << label(model) << ", " << n << " pairs, seed " << seed;
  return s.str();
}

// ---------------------------------------------------------------------------------------------------------
// Accuracy of every model.

TEST(FitTest, NoiseFreePairsGiveBackTheMotionForEveryModel) {
  const std::size_t sizes[] = {4, 5, 9, 64, 257, 1000};
  for (Model model : kModels) {
    for (std::size_t n : sizes) {
      for (unsigned seed = 1; seed <= 3; ++seed) {
        SCOPED_TRACE(trace(model, n, seed));
        Rng rng(seed * 1000 + static_cast<unsigned>(n));
        const TrueMotion m = randomMotion(rng, model, 50.0);
        const double spread = rng.uniform(0.5, 20.0);
        const Vec3L centre = rng.cube(30.0);
        const PairSet d = makePairs(rng, n, m, spread, centre, 0.0, seed == 2);
        // The axis may be given with any length.
        const FitResult r =
            velmora::fit(d.from.data(), d.to.data(), n, d.w(), optionsFor(model, m.axis * 3.75L));
        const LD reach = spread + d.magnitude();
        expectMotion(r, m.R, m.t, m.scale, 1, 1e-13, static_cast<double>(1e-13L * reach), 1e-13);
        EXPECT_EQ(r.model, model);
        EXPECT_TRUE(r.warning.empty()) << r.warning;
        if (model != Model::similarity) {
          EXPECT_EQ(r.motion.scale, 1.0);
        }
        if (model == Model::translation) {
          EXPECT_EQ(maxAbs(toMat(r.motion.rotation) - Mat3L::Identity()), 0.0L);
        }
        EXPECT_EQ(r.pairs, n);
        // Noise-free pairs fit to the rounding level of the coordinates.
        EXPECT_LE(r.max, static_cast<double>(1e-13L * reach));
      }
    }
  }
}

TEST(FitTest, NoisyPairsAgreeWithTheLongDoubleReferenceForEveryModel) {
  const std::size_t sizes[] = {4, 6, 20, 100, 1000};
  for (Model model : kModels) {
    for (std::size_t n : sizes) {
      for (unsigned seed = 1; seed <= 4; ++seed) {
        SCOPED_TRACE(trace(model, n, seed));
        Rng rng(seed * 7919 + static_cast<unsigned>(n));
        const TrueMotion m = randomMotion(rng, model, 100.0);
        const double spread = rng.uniform(1.0, 10.0);
        const PairSet d =
            makePairs(rng, n, m, spread, rng.cube(20.0), spread * rng.uniform(0.001, 0.2), seed % 2);
        const Reference ref = referenceFit(d, model, false, m.axis);
        const FitResult r = velmora::fit(d.from.data(), d.to.data(), n, d.w(), optionsFor(model, m.axis));
        const LD reach = spread + d.magnitude();
        expectMatchesReference(r, ref, 1e-12, static_cast<double>(1e-12L * reach), 1e-12);
        const Stats s = statsOfReference(d, ref);
        EXPECT_NEAR(r.rms, static_cast<double>(s.rms), static_cast<double>(1e-12L * s.rms + 1e-14L * reach));
      }
    }
  }
}

TEST(FitTest, LargeOffsetsWithSmallSpreadAgreeWithTheReferenceForEveryModel) {
  if (!longDoubleIsExtended()) GTEST_SKIP() << "long double is computed as double here";
  // Survey-like coordinates: near 5e6 with a 10 m spread on both sides.
  for (Model model : kModels) {
    for (unsigned seed = 1; seed <= 4; ++seed) {
      const std::size_t n = seed == 1 ? 4 : 50 * seed * seed;
      SCOPED_TRACE(trace(model, n, seed));
      Rng rng(seed + 31);
      TrueMotion m = randomMotion(rng, model, 5.0);
      const Vec3L offset(4.9e6 + rng.uniform(0, 2e5), -5.1e6 + rng.uniform(0, 2e5), 5.0e6);
      m.t = offset + m.t - m.scale * (m.R * offset);  // a small motion about the local origin
      const PairSet d = makePairs(rng, n, m, 10.0, offset, seed == 1 ? 0.0 : 1e-3, seed % 2 == 0);
      const Reference ref = referenceFit(d, model, false, m.axis);
      const FitResult r = velmora::fit(d.from.data(), d.to.data(), n, d.w(), optionsFor(model, m.axis));
      const LD reach = 10 + d.magnitude();
      expectMatchesReference(r, ref, 1e-12, static_cast<double>(1e-12L * reach), 1e-12);
      // The residuals are measured at the rounding level of the coordinates (about 1e-9 here).
      const Stats s = statsOfReference(d, ref);
      EXPECT_NEAR(r.rms, static_cast<double>(s.rms), 1e-8);
      EXPECT_NEAR(r.max, static_cast<double>(s.max), 1e-8);
    }
  }
}

TEST(FitTest, UnweightedFitCountsEveryPairWithWeightOne) {
  Rng rng(5);
  const TrueMotion m = randomMotion(rng, Model::rigid, 10.0);
  const PairSet d = makePairs(rng, 17, m, 3.0, Vec3L::Zero(), 0.01, false);
  const FitResult r = velmora::fit(d.from.data(), d.to.data(), 17);
  ASSERT_TRUE(r.ok()) << r.message;
  EXPECT_EQ(r.pairs, 17u);
  EXPECT_EQ(r.weightSum, 17.0);
  EXPECT_EQ(r.model, Model::rigid);
}

TEST(FitTest, WellSpreadSetsHaveNoWarningAndTheirConditioning) {
  Rng rng(11);
  for (Model model : kModels) {
    SCOPED_TRACE(label(model));
    const TrueMotion m = randomMotion(rng, model, 10.0);
    const PairSet d = makePairs(rng, 200, m, 5.0, rng.cube(5.0), 0.01, true);
    const FitResult r = velmora::fit(d.from.data(), d.to.data(), d.size(), d.w(), optionsFor(model, m.axis));
    ASSERT_TRUE(r.ok()) << r.message;
    EXPECT_TRUE(r.warning.empty()) << r.warning;
    // The conditioning: square root of the smallest over the largest eigenvalue of each set's weighted
    // covariance, from a long double eigensolver.
    for (int set = 0; set < 2; ++set) {
      LD W = 0;
      Vec3L mean = Vec3L::Zero();
      for (std::size_t i = 0; i < d.size(); ++i) {
        W += d.weight(i);
        mean += d.weight(i) * (set ? d.target(i) : d.source(i));
      }
      mean /= W;
      Mat3L C = Mat3L::Zero();
      for (std::size_t i = 0; i < d.size(); ++i) {
        const Vec3L c = (set ? d.target(i) : d.source(i)) - mean;
        C += d.weight(i) * c * c.transpose();
      }
      Eigen::SelfAdjointEigenSolver<Mat3L> eig(C);
      const LD expected = std::sqrt(eig.eigenvalues()(0) / eig.eigenvalues()(2));
      EXPECT_NEAR(set ? r.conditioningTo : r.conditioningFrom, static_cast<double>(expected), 1e-12);
      EXPECT_GT(set ? r.conditioningTo : r.conditioningFrom, velmora::kConditioningWarning);
    }
  }
}

// ---------------------------------------------------------------------------------------------------------
// Weights.

TEST(FitWeightsTest, ZeroWeightsEqualRemovingThosePairs) {
  for (Model model : kModels) {
    SCOPED_TRACE(label(model));
    Rng rng(101 + static_cast<unsigned>(model));
    const TrueMotion m = randomMotion(rng, model, 10.0);
    PairSet all = makePairs(rng, 80, m, 4.0, rng.cube(10.0), 0.05, true);
    PairSet kept;
    for (std::size_t i = 0; i < all.size(); ++i) {
      if (i % 4 == 1) {
        // Far outliers, harmless only if their zero weight removes them.
        all.weights[i] = 0.0;
        for (int c = 0; c < 3; ++c) all.to[3 * i + c] += 500.0 * (c + 1);
      } else {
        kept.add(all.source(i), all.target(i), all.weights[i]);
      }
    }
    FitOptions o = optionsFor(model, m.axis);
    const FitResult a = velmora::fit(all.from.data(), all.to.data(), all.size(), all.w(), o);
    const FitResult b = velmora::fit(kept.from.data(), kept.to.data(), kept.size(), kept.w(), o);
    const LD reach = all.magnitude();
    expectEquivalentFits(a, b, 1e-13, 1e-12, reach);
    EXPECT_EQ(a.pairs, kept.size());
    EXPECT_EQ(b.pairs, kept.size());
    EXPECT_NEAR(a.weightSum, b.weightSum, 1e-14 * b.weightSum);
    const double floor = static_cast<double>(1e-14L * reach);
    EXPECT_NEAR(a.mean, b.mean, 1e-12 * b.mean + floor);
    EXPECT_NEAR(a.max, b.max, 1e-12 * b.max + floor);
    EXPECT_NEAR(a.min, b.min, 1e-12 * b.min + floor);
    // And both equal the reference that skips zero weights.
    expectMatchesReference(a, referenceFit(kept, model, false, m.axis), 1e-12,
                           static_cast<double>(1e-12L * reach), 1e-12);
  }
}

TEST(FitWeightsTest, ScalingEveryWeightChangesNothingButTheWeightSum) {
  for (Model model : kModels) {
    for (double factor : {1024.0, 3.7, 1e-6, 2.5e7}) {
      SCOPED_TRACE(std::string(label(model)) + " x" + std::to_string(factor));
      Rng rng(202 + static_cast<unsigned>(model));
      const TrueMotion m = randomMotion(rng, model, 10.0);
      const PairSet d = makePairs(rng, 150, m, 6.0, rng.cube(10.0), 0.2, true);
      PairSet scaled = d;
      for (auto& w : scaled.weights) w *= factor;
      const FitOptions o = optionsFor(model, m.axis);
      const FitResult a = velmora::fit(d.from.data(), d.to.data(), d.size(), d.w(), o);
      const FitResult b = velmora::fit(scaled.from.data(), scaled.to.data(), d.size(), scaled.w(), o);
      expectEquivalentFits(a, b, 1e-14, 1e-14, d.magnitude());
      EXPECT_NEAR(a.mean, b.mean, 1e-14 * a.mean);
      EXPECT_NEAR(a.max, b.max, 1e-14 * a.max);
      EXPECT_NEAR(a.min, b.min, 1e-14 * a.max);
      EXPECT_NEAR(b.weightSum, a.weightSum * factor, 1e-14 * b.weightSum);
    }
  }
}

TEST(FitWeightsTest, WeightTwoEqualsThePairGivenTwice) {
  // The doubled pair is an outlier, so a weight applied squared (4) would move the fit visibly.
  for (Model model : kModels) {
    SCOPED_TRACE(label(model));
    Rng rng(303 + static_cast<unsigned>(model));
    const TrueMotion m = randomMotion(rng, model, 10.0);
    PairSet d = makePairs(rng, 12, m, 5.0, Vec3L::Zero(), 0.01, false);
    for (int c = 0; c < 3; ++c) d.to[3 * 5 + c] += 2.0 - c;
    PairSet twice = d;
    twice.add(d.source(5), d.target(5));
    PairSet weighted = d;
    weighted.weights.assign(d.size(), 1.0);
    weighted.weights[5] = 2.0;
    const FitOptions o = optionsFor(model, m.axis);
    const FitResult a = velmora::fit(weighted.from.data(), weighted.to.data(), d.size(), weighted.w(), o);
    const FitResult b = velmora::fit(twice.from.data(), twice.to.data(), twice.size(), nullptr, o);
    expectEquivalentFits(a, b, 1e-13, 1e-12, d.magnitude());
    EXPECT_EQ(a.weightSum, 13.0);
    EXPECT_EQ(b.weightSum, 13.0);
    // The same doubled pair with weight 4 gives a different fit.
    weighted.weights[5] = 4.0;
    const FitResult c = velmora::fit(weighted.from.data(), weighted.to.data(), d.size(), weighted.w(), o);
    ASSERT_TRUE(c.ok());
    EXPECT_GT(std::fabs(c.motion.translation[0] - b.motion.translation[0]) +
                  std::fabs(c.motion.translation[1] - b.motion.translation[1]) +
                  std::fabs(c.motion.translation[2] - b.motion.translation[2]),
              1e-3);
  }
}

// ---------------------------------------------------------------------------------------------------------
// Reflection policy.

TEST(FitReflectionTest, MirroredTargetGivesDetMinusOneOnlyWhenAllowed) {
  for (Model model : {Model::rigid, Model::similarity}) {
    for (unsigned seed = 1; seed <= 3; ++seed) {
      SCOPED_TRACE(trace(model, 30 * seed, seed));
      Rng rng(400 + seed);
      TrueMotion m = randomMotion(rng, model, 20.0);
      const Vec3L n = rng.direction();
      m.R = m.R * (Mat3L::Identity() - 2 * n * n.transpose());  // a rotation after a mirror
      const PairSet d = makePairs(rng, 30 * seed, m, 5.0, rng.cube(10.0), seed == 1 ? 0.0 : 0.02, seed == 3);
      const LD reach = d.magnitude();

      const FitResult mirrored =
          velmora::fit(d.from.data(), d.to.data(), d.size(), d.w(), optionsFor(model, Vec3L(0, 0, 1), true));
      const Reference refMirror = referenceFit(d, model, true);
      EXPECT_EQ(refMirror.det, -1);
      expectMatchesReference(mirrored, refMirror, 1e-12, static_cast<double>(1e-12L * reach), 1e-12);
      if (seed == 1)
        expectMotion(mirrored, m.R, m.t, m.scale, -1, 1e-13, static_cast<double>(1e-13L * reach), 1e-13);
      EXPECT_NEAR(toMat(mirrored.motion.rotation).determinant(), -1.0L, 1e-14L);

      const FitResult proper = velmora::fit(d.from.data(), d.to.data(), d.size(), d.w(), optionsFor(model));
      const Reference refProper = referenceFit(d, model, false);
      EXPECT_EQ(refProper.det, 1);
      expectMatchesReference(proper, refProper, 1e-12, static_cast<double>(1e-12L * reach), 1e-12);
      EXPECT_NEAR(toMat(proper.motion.rotation).determinant(), 1.0L, 1e-14L);
      const LD rms = statsOfReference(d, refProper).rms;
      EXPECT_NEAR(proper.rms, static_cast<double>(rms), static_cast<double>(1e-12L * rms));
      EXPECT_GT(proper.rms, mirrored.rms);
    }
  }
}

TEST(FitReflectionTest, AxisMirrorIsInAPlaneThatHoldsTheAxis) {
  for (unsigned seed = 1; seed <= 3; ++seed) {
    SCOPED_TRACE(seed);
    Rng rng(450 + seed);
    TrueMotion m = randomMotion(rng, Model::axis, 20.0);
    const Vec3L n = m.axis.cross(rng.direction()).normalized();  // the mirror's normal, across the axis
    m.R = m.R * (Mat3L::Identity() - 2 * n * n.transpose());
    const PairSet d = makePairs(rng, 25 * seed, m, 5.0, rng.cube(10.0), seed == 1 ? 0.0 : 0.02, seed == 2);
    const LD reach = d.magnitude();
    const Vec3L a = m.axis;

    const FitResult mirrored =
        velmora::fit(d.from.data(), d.to.data(), d.size(), d.w(), optionsFor(Model::axis, a, true));
    const Reference refMirror = referenceFit(d, Model::axis, true, a);
    EXPECT_EQ(refMirror.det, -1);
    expectMatchesReference(mirrored, refMirror, 1e-12, static_cast<double>(1e-12L * reach), 1e-12);
    if (seed == 1) expectMotion(mirrored, m.R, m.t, 1, -1, 1e-13, static_cast<double>(1e-13L * reach), 1e-13);
    EXPECT_LE(static_cast<double>((toMat(mirrored.motion.rotation) * a - a).cwiseAbs().maxCoeff()), 1e-14);

    const FitResult proper =
        velmora::fit(d.from.data(), d.to.data(), d.size(), d.w(), optionsFor(Model::axis, a));
    const Reference refProper = referenceFit(d, Model::axis, false, a);
    expectMatchesReference(proper, refProper, 1e-12, static_cast<double>(1e-12L * reach), 1e-12);
    const LD rms = statsOfReference(d, refProper).rms;
    EXPECT_NEAR(proper.rms, static_cast<double>(rms), static_cast<double>(1e-12L * rms));
  }
}

TEST(FitReflectionTest, ProperDataStaysProperWhenReflectionIsAllowed) {
  for (Model model : kModels) {
    SCOPED_TRACE(label(model));
    Rng rng(480 + static_cast<unsigned>(model));
    const TrueMotion m = randomMotion(rng, model, 10.0);
    const PairSet d = makePairs(rng, 40, m, 5.0, Vec3L::Zero(), 0.05, false);
    const FitResult a =
        velmora::fit(d.from.data(), d.to.data(), d.size(), nullptr, optionsFor(model, m.axis, true));
    const FitResult b =
        velmora::fit(d.from.data(), d.to.data(), d.size(), nullptr, optionsFor(model, m.axis, false));
    ASSERT_TRUE(a.ok()) << a.message;
    EXPECT_EQ(a.motion.det, 1.0);
    expectEquivalentFits(a, b, 1e-14, 1e-14, d.magnitude());
  }
}

// ---------------------------------------------------------------------------------------------------------
// The axis model.

TEST(FitAxisTest, RotationKeepsTheAxisFixed) {
  for (unsigned seed = 1; seed <= 10; ++seed) {
    SCOPED_TRACE(seed);
    Rng rng(500 + seed);
    const TrueMotion m = randomMotion(rng, Model::axis, 30.0);
    const PairSet d = makePairs(rng, 60, m, 8.0, rng.cube(10.0), 0.3, seed % 2);
    const Vec3L given = m.axis * rng.uniform(0.01, 100.0);
    const FitResult r =
        velmora::fit(d.from.data(), d.to.data(), d.size(), d.w(), optionsFor(Model::axis, given));
    ASSERT_TRUE(r.ok()) << r.message;
    const Mat3L R = toMat(r.motion.rotation);
    const Vec3L a = m.axis;
    EXPECT_LE(static_cast<double>((R * a - a).cwiseAbs().maxCoeff()), 1e-14);
    EXPECT_LE(static_cast<double>((R.transpose() * a - a).cwiseAbs().maxCoeff()), 1e-14);
    EXPECT_LE(static_cast<double>(maxAbs(R.transpose() * R - Mat3L::Identity())), 1e-14);
    EXPECT_EQ(r.motion.det, 1.0);
    EXPECT_EQ(r.motion.scale, 1.0);
    // A proper rotation that fixes a is a rotation about a: R equals the rotation about a by its angle.
    const Vec3L v = toVec(r.motion.rotvec);
    const LD angle = v.dot(a) >= 0 ? v.norm() : -v.norm();
    EXPECT_LE(static_cast<double>(maxAbs(rotationAbout(a, angle) - R)), 1e-14);
    EXPECT_LE(static_cast<double>(toVec(r.motion.rotvec).cross(a).norm()), 1e-14);
  }
}

TEST(FitAxisTest, TwoPairsAreEnough) {
  for (unsigned seed = 1; seed <= 5; ++seed) {
    SCOPED_TRACE(seed);
    Rng rng(550 + seed);
    const TrueMotion m = randomMotion(rng, Model::axis, 10.0);
    const PairSet d = makePairs(rng, 2, m, 4.0, rng.cube(5.0), 0.0, false);
    const FitResult r = velmora::fit(d.from.data(), d.to.data(), 2, nullptr, optionsFor(Model::axis, m.axis));
    expectMotion(r, m.R, m.t, 1, 1, 1e-13, static_cast<double>(1e-13L * (4 + d.magnitude())), 0);
    EXPECT_EQ(r.pairs, 2u);
  }
}

TEST(FitAxisTest, AnyNonZeroAxisLengthOrSignGivesTheSameMotion) {
  Rng rng(600);
  const TrueMotion m = randomMotion(rng, Model::axis, 10.0);
  const PairSet d = makePairs(rng, 50, m, 4.0, rng.cube(5.0), 0.1, true);
  const FitResult unit =
      velmora::fit(d.from.data(), d.to.data(), d.size(), d.w(), optionsFor(Model::axis, m.axis));
  for (LD length : {1e-12L, 1e-3L, 7.5L, 1e9L, -1.0L, -42.0L}) {
    SCOPED_TRACE(static_cast<double>(length));
    const FitResult r =
        velmora::fit(d.from.data(), d.to.data(), d.size(), d.w(), optionsFor(Model::axis, m.axis * length));
    expectEquivalentFits(unit, r, 1e-14, 1e-14, d.magnitude());
  }
}

TEST(FitAxisTest, PointsOnALineAcrossTheAxisAreEnough) {
  Rng rng(620);
  TrueMotion m;
  m.axis = Vec3L(0, 0, 1);
  m.R = rotationAbout(m.axis, 0.7);
  m.t = Vec3L(1, -2, 3);
  PairSet d;
  for (int i = 0; i < 6; ++i) {
    const Vec3L p(1.0 + 0.5 * i, 2.0 - 0.25 * i, 0.0);  // exact, on a line across the axis
    d.add(p, m.R * p + m.t);
  }
  const FitResult r =
      velmora::fit(d.from.data(), d.to.data(), d.size(), nullptr, optionsFor(Model::axis, m.axis));
  expectMotion(r, m.R, m.t, 1, 1, 1e-13, 1e-13 * 10, 0);
}

// ---------------------------------------------------------------------------------------------------------
// The forms of a motion.

TEST(MotionTest, MatrixHoldsScaledRotationAndTranslation) {
  for (Model model : kModels) {
    SCOPED_TRACE(label(model));
    Rng rng(700 + static_cast<unsigned>(model));
    const TrueMotion m = randomMotion(rng, model, 10.0);
    const PairSet d = makePairs(rng, 30, m, 5.0, Vec3L::Zero(), 0.1, false);
    const FitResult r =
        velmora::fit(d.from.data(), d.to.data(), d.size(), nullptr, optionsFor(model, m.axis));
    ASSERT_TRUE(r.ok()) << r.message;
    const Motion& mo = r.motion;
    for (int i = 0; i < 3; ++i) {
      for (int j = 0; j < 3; ++j)
        EXPECT_NEAR(mo.matrix[i][j], mo.scale * mo.rotation[i][j], 1e-15 * mo.scale) << i << j;
      EXPECT_EQ(mo.matrix[i][3], mo.translation[i]);
    }
    EXPECT_EQ(mo.matrix[3][0], 0.0);
    EXPECT_EQ(mo.matrix[3][1], 0.0);
    EXPECT_EQ(mo.matrix[3][2], 0.0);
    EXPECT_EQ(mo.matrix[3][3], 1.0);
    const Mat3L R = toMat(mo.rotation);
    EXPECT_LE(static_cast<double>(maxAbs(R.transpose() * R - Mat3L::Identity())), 1e-15);
    EXPECT_NEAR(R.determinant(), static_cast<LD>(mo.det), 1e-15L);
    // apply is scale * R * p + t.
    const double p[3] = {1.5, -2.25, 3.125};
    double out[3];
    mo.apply(p, out);
    const Vec3L expected = applyMatrix(mo.matrix, toVec(p));
    for (int c = 0; c < 3; ++c) EXPECT_NEAR(out[c], static_cast<double>(expected(c)), 1e-14);
  }
}

TEST(MotionTest, FitFormsRebuildTheRotation) {
  for (Model model : kModels) {
    for (unsigned seed = 1; seed <= 5; ++seed) {
      SCOPED_TRACE(trace(model, 25, seed));
      Rng rng(720 + seed);
      const TrueMotion m = randomMotion(rng, model, 10.0);
      const PairSet d = makePairs(rng, 25, m, 5.0, Vec3L::Zero(), 0.05, false);
      const FitResult r =
          velmora::fit(d.from.data(), d.to.data(), d.size(), nullptr, optionsFor(model, m.axis));
      ASSERT_TRUE(r.ok()) << r.message;
      expectFormsDescribe(r.motion, toMat(r.motion.rotation), 1e-14);
      expectInverse(r.motion, 1e-13);
    }
  }
}

TEST(MotionTest, ReflectionFormsDescribeMinusR) {
  Rng rng(740);
  TrueMotion m = randomMotion(rng, Model::similarity, 10.0);
  m.R = -m.R;
  const PairSet d = makePairs(rng, 25, m, 5.0, Vec3L::Zero(), 0.05, false);
  const FitResult r = velmora::fit(d.from.data(), d.to.data(), d.size(), nullptr,
                                   optionsFor(Model::similarity, Vec3L(0, 0, 1), true));
  ASSERT_TRUE(r.ok()) << r.message;
  ASSERT_EQ(r.motion.det, -1.0);
  expectFormsDescribe(r.motion, -toMat(r.motion.rotation), 1e-14);
  expectInverse(r.motion, 1e-13);

  // The same from a hand-built matrix.
  const Mat3L P = rng.rotation();
  const Matrix4 h = matrixOf(1.5, -P, Vec3L(3, -4, 5));
  const Motion mo = velmora::motionFromMatrix(h.m);
  EXPECT_EQ(mo.det, -1.0);
  EXPECT_NEAR(mo.scale, 1.5, 1e-15);
  EXPECT_LE(static_cast<double>(maxAbs(toMat(mo.rotation) + P)), 1e-15);
  expectFormsDescribe(mo, P, 1e-14);
  expectInverse(mo, 1e-13);
}

TEST(MotionTest, MotionFromMatrixGivesBackAngleAxisScaleAndTranslation) {
  Rng rng(760);
  for (int k = 0; k < 20; ++k) {
    SCOPED_TRACE(k);
    const Eigen::Vector3d axis = Eigen::Vector3d::Random().normalized();
    const double angle = rng.uniform(0.01, 3.1);
    const double scale = k % 2 ? 1.0 : rng.uniform(0.1, 10.0);
    const Eigen::Matrix3d R = Eigen::AngleAxisd(angle, axis).toRotationMatrix();
    double h[4][4] = {{0, 0, 0, 0}, {0, 0, 0, 0}, {0, 0, 0, 0}, {0, 0, 0, 1}};
    const double t[3] = {rng.uniform(-100, 100), rng.uniform(-100, 100), rng.uniform(-100, 100)};
    for (int i = 0; i < 3; ++i) {
      for (int j = 0; j < 3; ++j) h[i][j] = scale * R(i, j);
      h[i][3] = t[i];
    }
    const Motion mo = velmora::motionFromMatrix(h);
    EXPECT_NEAR(mo.scale, scale, 1e-15 * scale);
    EXPECT_EQ(mo.det, 1.0);
    for (int c = 0; c < 3; ++c) {
      EXPECT_NEAR(mo.rotvec[c], angle * axis(c), 1e-14);
      EXPECT_EQ(mo.translation[c], t[c]);
    }
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j) EXPECT_NEAR(mo.rotation[i][j], R(i, j), 1e-15);
    const Eigen::Quaterniond q(R);
    const double sign = q.w() >= 0 ? 1.0 : -1.0;
    EXPECT_NEAR(mo.quaternion[0], sign * q.w(), 1e-15);
    EXPECT_NEAR(mo.quaternion[1], sign * q.x(), 1e-15);
    EXPECT_NEAR(mo.quaternion[2], sign * q.y(), 1e-15);
    EXPECT_NEAR(mo.quaternion[3], sign * q.z(), 1e-15);
    expectFormsDescribe(mo, toMat(mo.rotation), 1e-14);
    expectInverse(mo, 1e-13);
  }
}

TEST(MotionTest, EulerAnglesAreYawPitchRollOfRzRyRx) {
  Rng rng(780);
  for (int k = 0; k < 50; ++k) {
    const double yaw = rng.uniform(-175, 175), pitch = rng.uniform(-89, 89), roll = rng.uniform(-175, 175);
    SCOPED_TRACE(std::to_string(yaw) + " " + std::to_string(pitch) + " " + std::to_string(roll));
    const Matrix4 h = matrixOf(1, eulerMatrix(yaw, pitch, roll), Vec3L::Zero());
    const Motion mo = velmora::motionFromMatrix(h.m);
    EXPECT_NEAR(mo.eulerZyxDeg[0], yaw, 1e-11);
    EXPECT_NEAR(mo.eulerZyxDeg[1], pitch, 1e-11);
    EXPECT_NEAR(mo.eulerZyxDeg[2], roll, 1e-11);
    EXPECT_LE(static_cast<double>(maxAbs(toMat(mo.rotation) - eulerMatrix(yaw, pitch, roll))), 1e-15);
    expectFormsDescribe(mo, toMat(mo.rotation), 1e-14);
  }
}

TEST(MotionTest, GimbalLockGivesPitch90AndRollZero) {
  for (double pitch : {90.0, -90.0}) {
    for (double yaw : {0.0, 30.0, -135.0}) {
      for (double roll : {0.0, 20.0, 170.0}) {
        SCOPED_TRACE(std::to_string(pitch) + " " + std::to_string(yaw) + " " + std::to_string(roll));
        // Ry(+-90) exactly, so that the matrix is exactly at the lock.
        Mat3L Ry;
        const LD s = pitch > 0 ? 1 : -1;
        Ry << 0, 0, s, 0, 1, 0, -s, 0, 0;
        const Mat3L R =
            rotationAbout(Vec3L(0, 0, 1), radians(yaw)) * Ry * rotationAbout(Vec3L(1, 0, 0), radians(roll));
        const Matrix4 h = matrixOf(1, R, Vec3L::Zero());
        const Motion mo = velmora::motionFromMatrix(h.m);
        EXPECT_NEAR(mo.eulerZyxDeg[1], pitch, 1e-12);
        EXPECT_EQ(mo.eulerZyxDeg[2], 0.0);
        expectFormsDescribe(mo, toMat(mo.rotation), 1e-14);
      }
    }
  }
}

TEST(MotionTest, NearGimbalLockStillRebuildsTheRotation) {
  for (double pitch : {90 - 1e-9, 89.9999, -90 + 1e-7, 90 - 1e-13}) {
    SCOPED_TRACE(pitch);
    const Matrix4 h = matrixOf(1, eulerMatrix(40, pitch, -25), Vec3L::Zero());
    const Motion mo = velmora::motionFromMatrix(h.m);
    expectFormsDescribe(mo, toMat(mo.rotation), 1e-13);
  }
}

TEST(MotionTest, HalfTurnsFollowTheSignConvention) {
  const Vec3L axes[] = {Vec3L(1, 0, 0),  Vec3L(0, 1, 0),  Vec3L(0, 0, 1),  Vec3L(1, 1, 0),
                        Vec3L(0, -1, 1), Vec3L(1, -2, 2), Vec3L(-3, 1, 2), Vec3L(0, 0, -1)};
  for (const Vec3L& axis : axes) {
    SCOPED_TRACE(static_cast<double>(axis(0)) * 100 + static_cast<double>(axis(1)) * 10 +
                 static_cast<double>(axis(2)));
    const Vec3L a = axis.normalized();
    const Mat3L R = 2 * a * a.transpose() - Mat3L::Identity();  // the half turn about a
    const Matrix4 h = matrixOf(1, R, Vec3L::Zero());
    const Motion mo = velmora::motionFromMatrix(h.m);
    EXPECT_NEAR(toVec(mo.rotvec).norm(), kPi, 1e-14L);
    EXPECT_NEAR(mo.quaternion[0], 0.0, 1e-15);
    expectFormsDescribe(mo, R, 1e-14);
    expectInverse(mo, 1e-13);
  }
  // Exact half turns about the coordinate axes give w == 0 and a positive first component.
  const double diag[3][3] = {{1, -1, -1}, {-1, 1, -1}, {-1, -1, 1}};
  for (int k = 0; k < 3; ++k) {
    double h[4][4] = {{diag[k][0], 0, 0, 0}, {0, diag[k][1], 0, 0}, {0, 0, diag[k][2], 0}, {0, 0, 0, 1}};
    const Motion mo = velmora::motionFromMatrix(h);
    EXPECT_EQ(mo.quaternion[0], 0.0);
    for (int c = 0; c < 3; ++c) EXPECT_EQ(mo.quaternion[1 + c], c == k ? 1.0 : 0.0);
    EXPECT_NEAR(mo.rotvec[k], static_cast<double>(kPi), 1e-15);
  }
}

TEST(MotionTest, IdentityHasZeroForms) {
  const double h[4][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}};
  const Motion mo = velmora::motionFromMatrix(h);
  EXPECT_EQ(mo.scale, 1.0);
  EXPECT_EQ(mo.det, 1.0);
  EXPECT_EQ(mo.quaternion[0], 1.0);
  for (int c = 0; c < 3; ++c) {
    EXPECT_EQ(mo.quaternion[1 + c], 0.0);
    EXPECT_EQ(mo.rotvec[c], 0.0);
    EXPECT_EQ(mo.eulerZyxDeg[c], 0.0);
  }
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j) EXPECT_EQ(mo.inverse[i][j], i == j ? 1.0 : 0.0);
}

TEST(MotionTest, InverseComposedWithMatrixIsIdentityInBothOrders) {
  Rng rng(800);
  for (int k = 0; k < 20; ++k) {
    SCOPED_TRACE(k);
    const LD scale = k % 3 == 0 ? 1.0 : rng.uniform(0.01, 100.0);
    const Mat3L R = (k % 4 == 1 ? -1 : 1) * rng.rotation();
    const Matrix4 h = matrixOf(scale, R, rng.cube(1000.0));
    const Motion mo = velmora::motionFromMatrix(h.m);
    expectInverse(mo, 1e-13);
    EXPECT_NEAR(mo.scale, static_cast<double>(scale), static_cast<double>(1e-15L * scale));
    EXPECT_EQ(mo.det, R.determinant() > 0 ? 1.0 : -1.0);
  }
}

// ---------------------------------------------------------------------------------------------------------
// Residual statistics.

TEST(FitStatisticsTest, StatisticsAreThoseOfTheReturnedMatrix) {
  for (Model model : kModels) {
    SCOPED_TRACE(label(model));
    Rng rng(900 + static_cast<unsigned>(model));
    const TrueMotion m = randomMotion(rng, model, 10.0);
    PairSet d = makePairs(rng, 90, m, 5.0, rng.cube(3.0), 0.2, true);
    std::size_t nonZero = 0;
    LD weightSum = 0;
    for (std::size_t i = 0; i < d.size(); ++i) {
      if (i % 7 == 2) d.weights[i] = 0.0;
      if (d.weights[i] != 0.0) ++nonZero, weightSum += d.weights[i];
    }
    const FitResult r = velmora::fit(d.from.data(), d.to.data(), d.size(), d.w(), optionsFor(model, m.axis));
    ASSERT_TRUE(r.ok()) << r.message;
    EXPECT_TRUE(r.hasStatistics);
    const Stats s = statsOfMatrix(d, r.motion.matrix);
    const double floor = static_cast<double>(1e-14L * d.magnitude());
    EXPECT_NEAR(r.mean, static_cast<double>(s.mean), static_cast<double>(1e-12L * s.mean) + floor);
    EXPECT_NEAR(r.rms, static_cast<double>(s.rms), static_cast<double>(1e-12L * s.rms) + floor);
    EXPECT_NEAR(r.max, static_cast<double>(s.max), static_cast<double>(1e-12L * s.max) + floor);
    EXPECT_NEAR(r.min, static_cast<double>(s.min), static_cast<double>(1e-12L * s.min) + floor);
    EXPECT_EQ(r.pairs, nonZero);
    EXPECT_NEAR(r.weightSum, static_cast<double>(weightSum), 1e-14 * r.weightSum);
    EXPECT_TRUE(r.residuals.empty());
    EXPECT_TRUE(r.residualVectors.empty());
  }
}

TEST(FitStatisticsTest, PerPairGivesEveryResidualIncludingZeroWeightPairs) {
  for (Model model : kModels) {
    SCOPED_TRACE(label(model));
    Rng rng(950 + static_cast<unsigned>(model));
    const TrueMotion m = randomMotion(rng, model, 10.0);
    PairSet d = makePairs(rng, 40, m, 5.0, rng.cube(3.0), 0.2, true);
    for (std::size_t i = 0; i < d.size(); i += 5) d.weights[i] = 0.0;
    FitOptions o = optionsFor(model, m.axis);
    o.perPair = true;
    o.statistics = false;  // perPair implies them
    const FitResult r = velmora::fit(d.from.data(), d.to.data(), d.size(), d.w(), o);
    ASSERT_TRUE(r.ok()) << r.message;
    EXPECT_TRUE(r.hasStatistics);
    EXPECT_FALSE(std::isnan(r.rms));
    ASSERT_EQ(r.residualVectors.size(), 3 * d.size());
    ASSERT_EQ(r.residuals.size(), d.size());
    const double floor = static_cast<double>(1e-14L * d.magnitude());
    LD largest = 0;
    for (std::size_t i = 0; i < d.size(); ++i) {
      const Vec3L expected = d.target(i) - applyMatrix(r.motion.matrix, d.source(i));
      const Vec3L got(r.residualVectors[3 * i], r.residualVectors[3 * i + 1], r.residualVectors[3 * i + 2]);
      EXPECT_LE(static_cast<double>((got - expected).cwiseAbs().maxCoeff()), floor) << i;
      EXPECT_NEAR(r.residuals[i], static_cast<double>(got.norm()), 1e-15 * r.residuals[i]) << i;
      if (d.weights[i] != 0.0) largest = std::max(largest, got.norm());
    }
    EXPECT_NEAR(r.max, static_cast<double>(largest), 1e-15 * r.max);
  }
}

TEST(FitStatisticsTest, NoStatisticsGiveNaNAndTheSameMotion) {
  Rng rng(980);
  const TrueMotion m = randomMotion(rng, Model::similarity, 10.0);
  const PairSet d = makePairs(rng, 30, m, 5.0, Vec3L::Zero(), 0.2, true);
  FitOptions o = optionsFor(Model::similarity);
  const FitResult with = velmora::fit(d.from.data(), d.to.data(), d.size(), d.w(), o);
  o.statistics = false;
  const FitResult without = velmora::fit(d.from.data(), d.to.data(), d.size(), d.w(), o);
  ASSERT_TRUE(without.ok()) << without.message;
  EXPECT_FALSE(without.hasStatistics);
  EXPECT_TRUE(std::isnan(without.mean));
  EXPECT_TRUE(std::isnan(without.rms));
  EXPECT_TRUE(std::isnan(without.max));
  EXPECT_TRUE(std::isnan(without.min));
  EXPECT_TRUE(without.residuals.empty());
  EXPECT_TRUE(without.residualVectors.empty());
  EXPECT_EQ(without.pairs, 30u);
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j) EXPECT_EQ(with.motion.matrix[i][j], without.motion.matrix[i][j]);
}

// ---------------------------------------------------------------------------------------------------------
// Refusals and warnings.

// n well-spread pairs about the origin, the target a rigid motion of the source.
PairSet smallSet(std::size_t n, unsigned seed) {
  Rng rng(seed);
  TrueMotion m;
  m.R = rng.rotation();
  m.t = rng.cube(5.0);
  return makePairs(rng, n, m, 3.0, Vec3L::Zero(), 0.0, false);
}

TEST(FitRefusalTest, TooFewPairsForEachModel) {
  for (Model model : kModels) {
    SCOPED_TRACE(label(model));
    const std::size_t need = model == Model::translation ? 1 : (model == Model::axis ? 2 : 3);
    // Exactly one pair short.
    const PairSet d = smallSet(need - 1, 1);
    const FitResult a = velmora::fit(d.from.data(), d.to.data(), d.size(), nullptr, optionsFor(model));
    expectRefused(a, Status::tooFewPairs);
    // Plenty of pairs, but only need - 1 with a non-zero weight.
    PairSet w = smallSet(10, 2);
    w.weights.assign(10, 0.0);
    for (std::size_t i = 0; i + 1 < need; ++i) w.weights[3 * i + 1] = 1.5;
    const FitResult b = velmora::fit(w.from.data(), w.to.data(), w.size(), w.w(), optionsFor(model));
    expectRefused(b, Status::tooFewPairs);
    // No pairs at all.
    const FitResult c =
        velmora::fit(static_cast<const double*>(nullptr), nullptr, 0, nullptr, optionsFor(model));
    expectRefused(c, Status::tooFewPairs);
    // And exactly enough succeeds.
    const PairSet e = smallSet(need, 3);
    const FitResult f = velmora::fit(e.from.data(), e.to.data(), e.size(), nullptr, optionsFor(model));
    EXPECT_EQ(f.status, Status::ok) << f.message;
  }
}

TEST(FitRefusalTest, CollinearOrCoincidentSetsAreDegenerate) {
  Rng rng(1100);
  const Vec3L p0(1.5, -2.0, 0.5), dir = rng.direction();
  PairSet spread = smallSet(8, 4);
  for (Model model : {Model::rigid, Model::similarity}) {
    for (int which = 0; which < 4; ++which) {
      SCOPED_TRACE(std::string(label(model)) + " case " + std::to_string(which));
      PairSet d = spread;
      for (std::size_t i = 0; i < d.size(); ++i) {
        const Vec3L q = which < 2 ? Vec3L(p0 + rng.uniform(-5, 5) * dir) : p0;  // collinear, or coincident
        for (int c = 0; c < 3; ++c) (which % 2 ? d.to : d.from)[3 * i + c] = static_cast<double>(q(c));
      }
      const FitResult r = velmora::fit(d.from.data(), d.to.data(), d.size(), nullptr, optionsFor(model));
      expectRefused(r, Status::degenerate);
      FitOptions o = optionsFor(model);
      o.allowReflection = true;
      expectRefused(velmora::fit(d.from.data(), d.to.data(), d.size(), nullptr, o), Status::degenerate);
    }
  }
}

TEST(FitRefusalTest, AxisWithEveryProjectionCoincidentIsDegenerate) {
  Rng rng(1150);
  for (const Vec3L& axis : {Vec3L(0, 0, 1), Vec3L(1, 2, -0.5)}) {
    for (int which = 0; which < 2; ++which) {
      SCOPED_TRACE(which);
      PairSet d = smallSet(6, 5);
      const Vec3L a = axis.normalized();
      for (std::size_t i = 0; i < d.size(); ++i) {
        const Vec3L q = Vec3L(3, -1, 2) + rng.uniform(-5, 5) * a;  // on a line parallel to the axis
        for (int c = 0; c < 3; ++c) (which ? d.to : d.from)[3 * i + c] = static_cast<double>(q(c));
      }
      const FitResult r =
          velmora::fit(d.from.data(), d.to.data(), d.size(), nullptr, optionsFor(Model::axis, axis));
      expectRefused(r, Status::degenerate);
    }
  }
}

TEST(FitRefusalTest, BadWeightsAreRefused) {
  for (Model model : kModels) {
    for (double bad : {-1.0, -1e-300, kNaN, kInf, -kInf}) {
      SCOPED_TRACE(std::string(label(model)) + " " + std::to_string(bad));
      PairSet d = smallSet(6, 6);
      d.weights.assign(6, 1.0);
      d.weights[4] = bad;
      const FitResult r = velmora::fit(d.from.data(), d.to.data(), d.size(), d.w(), optionsFor(model));
      expectRefused(r, Status::badWeight);
    }
  }
}

TEST(FitRefusalTest, BadCoordinatesAreRefused) {
  for (Model model : kModels) {
    for (double bad : {kNaN, kInf, -kInf}) {
      for (int set = 0; set < 2; ++set) {
        SCOPED_TRACE(std::string(label(model)) + " " + std::to_string(bad) + (set ? " target" : " source"));
        PairSet d = smallSet(6, 7);
        (set ? d.to : d.from)[3 * 3 + set + 1] = bad;
        const FitResult r = velmora::fit(d.from.data(), d.to.data(), d.size(), nullptr, optionsFor(model));
        expectRefused(r, Status::badCoordinate);
      }
    }
  }
}

TEST(FitRefusalTest, ZeroAxisIsABadArgument) {
  const PairSet d = smallSet(6, 8);
  const FitResult r =
      velmora::fit(d.from.data(), d.to.data(), d.size(), nullptr, optionsFor(Model::axis, Vec3L::Zero()));
  expectRefused(r, Status::badArgument);
}

TEST(FitRefusalTest, NullDataOrDifferentCountsAreBadArguments) {
  const PairSet d = smallSet(6, 9);
  for (Model model : kModels) {
    SCOPED_TRACE(label(model));
    const FitOptions o = optionsFor(model);
    expectRefused(velmora::fit(static_cast<const double*>(nullptr), d.to.data(), 6, nullptr, o),
                  Status::badArgument);
    expectRefused(velmora::fit(d.from.data(), static_cast<const double*>(nullptr), 6, nullptr, o),
                  Status::badArgument);
    expectRefused(velmora::fit(PointsView{d.from.data(), 6}, PointsView{d.to.data(), 5}, WeightsView(), o),
                  Status::badArgument);
    expectRefused(velmora::fit(PointsView{nullptr, 6}, PointsView{d.to.data(), 6}, WeightsView(), o),
                  Status::badArgument);
  }
}

TEST(FitTest, NearlyFlatSetsSucceedWithAWarning) {
  Rng rng(1200);
  for (Model model : {Model::rigid, Model::similarity}) {
    for (double thickness : {0.0, 1e-5}) {
      SCOPED_TRACE(std::string(label(model)) + " " + std::to_string(thickness));
      TrueMotion m = randomMotion(rng, model, 10.0);
      PairSet d;
      for (int i = 0; i < 12; ++i) {
        const Vec3L p(rng.uniform(-5, 5), rng.uniform(-5, 5), thickness * rng.uniform(-5, 5));
        d.add(p, m.scale * (m.R * p) + m.t);
      }
      const FitResult r = velmora::fit(d.from.data(), d.to.data(), d.size(), nullptr, optionsFor(model));
      expectMotion(r, m.R, m.t, m.scale, 1, 1e-13, 1e-13 * 30, 1e-13);
      EXPECT_FALSE(r.warning.empty());
      EXPECT_LT(r.conditioningFrom, velmora::kConditioningWarning);
      EXPECT_LT(r.conditioningTo, velmora::kConditioningWarning);
      EXPECT_NEAR(r.conditioningFrom, thickness, thickness * 0.9 + 1e-12);
    }
  }
}

// ---------------------------------------------------------------------------------------------------------
// Layouts read in place.

struct LayoutCase {
  PairSet d;
  FitOptions o;
};

LayoutCase layoutCase(Model model, std::size_t n) {
  Rng rng(1300 + static_cast<unsigned>(n));
  const TrueMotion m = randomMotion(rng, model, 10.0);
  LayoutCase c{makePairs(rng, n, m, 5.0, rng.cube(5.0), 0.1, true), optionsFor(model, m.axis)};
  c.d.weights[1] = 0.0;
  c.o.perPair = true;
  return c;
}

TEST(FitLayoutTest, InterleavedRowsGiveTheSameFitAsContiguousCopies) {
  for (Model model : kModels) {
    for (std::size_t n : {5u, 37u, 300u}) {
      SCOPED_TRACE(trace(model, n, 0));
      const LayoutCase c = layoutCase(model, n);
      std::vector<double> rows(6 * n);
      for (std::size_t i = 0; i < n; ++i)
        for (int k = 0; k < 3; ++k)
          rows[6 * i + k] = c.d.from[3 * i + k], rows[6 * i + 3 + k] = c.d.to[3 * i + k];
      const FitResult a = velmora::fit(c.d.from.data(), c.d.to.data(), n, c.d.w(), c.o);
      const FitResult b = velmora::fit(PointsView{rows.data(), n, 6, 1}, PointsView{rows.data() + 3, n, 6, 1},
                                       WeightsView{c.d.weights.data(), 1}, c.o);
      expectSameFit(a, b, 1e-15);
    }
  }
}

TEST(FitLayoutTest, ColumnMajorGivesTheSameFitAsContiguousCopies) {
  for (Model model : kModels) {
    for (std::size_t n : {5u, 37u, 300u}) {
      SCOPED_TRACE(trace(model, n, 0));
      const LayoutCase c = layoutCase(model, n);
      const std::ptrdiff_t sn = static_cast<std::ptrdiff_t>(n);
      std::vector<double> from(3 * n), to(3 * n);  // 3 x N column-major: coordinate k of point i at k * n + i
      for (std::size_t i = 0; i < n; ++i)
        for (int k = 0; k < 3; ++k) from[k * n + i] = c.d.from[3 * i + k], to[k * n + i] = c.d.to[3 * i + k];
      const FitResult a = velmora::fit(c.d.from.data(), c.d.to.data(), n, c.d.w(), c.o);
      const FitResult b = velmora::fit(PointsView{from.data(), n, 1, sn}, PointsView{to.data(), n, 1, sn},
                                       WeightsView{c.d.weights.data(), 1}, c.o);
      expectSameFit(a, b, 1e-15);
    }
  }
}

TEST(FitLayoutTest, NegativeStridesGiveTheSameFitAsContiguousCopies) {
  for (Model model : kModels) {
    for (std::size_t n : {5u, 37u, 300u}) {
      SCOPED_TRACE(trace(model, n, 0));
      const LayoutCase c = layoutCase(model, n);
      const PairSet& d = c.d;
      // Points read backwards: the copy holds them in reverse order.
      PairSet reversed;
      for (std::size_t i = n; i-- > 0;) reversed.add(d.source(i), d.target(i), d.weights[i]);
      const FitResult a = velmora::fit(reversed.from.data(), reversed.to.data(), n, reversed.w(), c.o);
      const FitResult b = velmora::fit(PointsView{d.from.data() + 3 * (n - 1), n, -3, 1},
                                       PointsView{d.to.data() + 3 * (n - 1), n, -3, 1},
                                       WeightsView{d.weights.data() + (n - 1), -1}, c.o);
      expectSameFit(a, b, 1e-15);
      // Coordinates read backwards: the copy holds z y x.
      PairSet swapped = d;
      for (std::size_t i = 0; i < n; ++i) {
        std::swap(swapped.from[3 * i], swapped.from[3 * i + 2]);
        std::swap(swapped.to[3 * i], swapped.to[3 * i + 2]);
      }
      FitOptions o = c.o;
      std::swap(o.axis[0], o.axis[2]);
      const FitResult e = velmora::fit(swapped.from.data(), swapped.to.data(), n, swapped.w(), o);
      const FitResult f =
          velmora::fit(PointsView{d.from.data() + 2, n, 3, -1}, PointsView{d.to.data() + 2, n, 3, -1},
                       WeightsView{d.weights.data(), 1}, o);
      expectSameFit(e, f, 1e-15);
    }
  }
}

TEST(FitLayoutTest, StridedWeightsAreReadInPlace) {
  const LayoutCase c = layoutCase(Model::similarity, 41);
  std::vector<double> wide(2 * c.d.size(), kNaN);  // the gaps are never read
  for (std::size_t i = 0; i < c.d.size(); ++i) wide[2 * i] = c.d.weights[i];
  const FitResult a = velmora::fit(c.d.from.data(), c.d.to.data(), c.d.size(), c.d.w(), c.o);
  const FitResult b = velmora::fit(PointsView{c.d.from.data(), c.d.size()},
                                   PointsView{c.d.to.data(), c.d.size()}, WeightsView{wide.data(), 2}, c.o);
  expectSameFit(a, b, 1e-15);
}

// ---------------------------------------------------------------------------------------------------------
// Moments that merge.

Moments momentsOf(const PairSet& d, std::size_t begin, std::size_t end) {
  Moments m;
  std::string message;
  const Status s = velmora::computeMoments(
      PointsView{d.from.data() + 3 * begin, end - begin}, PointsView{d.to.data() + 3 * begin, end - begin},
      WeightsView{d.weights.empty() ? nullptr : d.weights.data() + begin, 1}, m, &message);
  EXPECT_EQ(s, Status::ok) << message;
  return m;
}

// The moments of all pairs of d against their definition, summed in long double: weight sum, pair count,
// means, and the centred co-moments (to tol relative to the largest).
void expectMomentsOf(const Moments& mo, const PairSet& d, LD tol) {
  LD W = 0;
  std::size_t pairs = 0;
  Vec3L mx = Vec3L::Zero(), my = Vec3L::Zero();
  for (std::size_t i = 0; i < d.size(); ++i) {
    W += d.weight(i);
    pairs += d.weight(i) != 0;
    mx += d.weight(i) * d.source(i);
    my += d.weight(i) * d.target(i);
  }
  mx /= W;
  my /= W;
  Mat3L ss = Mat3L::Zero(), tt = Mat3L::Zero(), st = Mat3L::Zero();
  for (std::size_t i = 0; i < d.size(); ++i) {
    const Vec3L a = d.source(i) - mx, b = d.target(i) - my;
    ss += d.weight(i) * a * a.transpose();
    tt += d.weight(i) * b * b.transpose();
    st += d.weight(i) * a * b.transpose();
  }
  EXPECT_NEAR(mo.weightSum, static_cast<double>(W), 1e-14 * mo.weightSum);
  EXPECT_EQ(mo.pairs, pairs);
  int exponent = 0;
  EXPECT_EQ(std::frexp(mo.unit, &exponent), 0.5);  // a power of two
  const LD reach = d.magnitude();
  for (int c = 0; c < 3; ++c) {
    EXPECT_NEAR(mo.meanFrom[c], static_cast<double>(mx(c)), static_cast<double>(1e-15L * reach));
    EXPECT_NEAR(mo.meanTo[c], static_cast<double>(my(c)), static_cast<double>(1e-15L * reach));
  }
  const int index[6][2] = {{0, 0}, {0, 1}, {0, 2}, {1, 1}, {1, 2}, {2, 2}};
  const LD unit2 = LD(mo.unit) * mo.unit;
  const LD bound = tol * std::max(maxAbs(ss), maxAbs(tt));
  LD gap = 0;
  for (int k = 0; k < 6; ++k) {
    gap = std::max(gap, std::fabs(mo.ss[k] * unit2 - ss(index[k][0], index[k][1])));
    gap = std::max(gap, std::fabs(mo.tt[k] * unit2 - tt(index[k][0], index[k][1])));
  }
  for (int a = 0; a < 3; ++a)
    for (int b = 0; b < 3; ++b) gap = std::max(gap, std::fabs(mo.st[a][b] * unit2 - st(a, b)));
  EXPECT_LE(static_cast<double>(gap), static_cast<double>(bound)) << "largest co-moment error";
}

TEST(FitMomentsTest, MomentsMatchTheirDefinition) {
  for (double offset : {0.0, 5e6}) {
    SCOPED_TRACE(offset);
    Rng rng(1400);
    const TrueMotion m = randomMotion(rng, Model::rigid, 10.0);
    PairSet d = makePairs(rng, 123, m, 8.0, Vec3L(offset, -offset, offset), 0.1, true);
    d.weights[7] = 0.0;
    const Moments mo = momentsOf(d, 0, d.size());
    EXPECT_EQ(mo.unit, 1.0);
    expectMomentsOf(mo, d, 1e-13);
  }
}

TEST(FitMomentsTest, MergedMomentsMatchTheDefinitionOfAllPairs) {
  // Two spatial tiles (sources split by x), near the origin and near 5e6.
  for (double offset : {0.0, 5e6}) {
    SCOPED_TRACE(offset);
    Rng rng(1450);
    const TrueMotion m = randomMotion(rng, Model::rigid, 10.0);
    PairSet d = makePairs(rng, 200, m, 10.0, Vec3L(offset, 0.9 * offset, -offset), 0.1, true);
    std::vector<std::size_t> order(d.size());
    for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
    std::sort(order.begin(), order.end(),
              [&](std::size_t a, std::size_t b) { return d.from[3 * a] < d.from[3 * b]; });
    PairSet sorted;
    for (std::size_t i : order) sorted.add(d.source(i), d.target(i), d.weights[i]);
    Moments merged = momentsOf(sorted, 0, 100);
    merged.merge(momentsOf(sorted, 100, sorted.size()));
    expectMomentsOf(merged, sorted, 1e-13);
  }
}

// The whole fit, and the solve of the moments of [0, split) merged with those of [split, n).
void expectMergedHalvesSolveToTheWholeFit(const PairSet& d, std::size_t split, Model model, const Vec3L& axis,
                                          LD spread) {
  const FitOptions o = optionsFor(model, axis);
  const FitResult whole = velmora::fit(d.from.data(), d.to.data(), d.size(), d.w(), o);
  Moments merged = momentsOf(d, 0, split);
  merged.merge(momentsOf(d, split, d.size()));
  EXPECT_EQ(merged.pairs, d.size());
  const FitResult solved = velmora::solve(merged, o);
  ASSERT_TRUE(solved.ok()) << solved.message;
  const LD reach = spread + d.magnitude();
  expectEquivalentFits(whole, solved, 1e-12, 0, reach);
  EXPECT_EQ(solved.pairs, whole.pairs);
  EXPECT_NEAR(solved.weightSum, whole.weightSum, 1e-14 * whole.weightSum);
  // Both against the long double reference of all pairs.
  const Reference ref = referenceFit(d, model, false, axis);
  expectMatchesReference(solved, ref, 1e-12, static_cast<double>(1e-12L * reach), 1e-12);
}

TEST(FitMomentsTest, MergedHalvesSolveToTheWholeFit) {
  for (Model model : kModels) {
    SCOPED_TRACE(label(model));
    Rng rng(1500 + static_cast<unsigned>(model));
    const TrueMotion m = randomMotion(rng, model, 50.0);
    const PairSet d = makePairs(rng, 301, m, 10.0, rng.cube(100.0), 0.05, model != Model::rigid);
    expectMergedHalvesSolveToTheWholeFit(d, 150, model, m.axis, 10.0);
  }
}

TEST(FitMomentsTest, MergedHalvesKeepLargeOffsetsHarmless) {
  // Survey-like coordinates near 5e6 with a 10 m spread, split at random and as two spatial tiles (the
  // halves' means then differ by metres).
  for (Model model : kModels) {
    for (bool tiles : {false, true}) {
      SCOPED_TRACE(std::string(label(model)) + (tiles ? " tiles" : " random halves"));
      Rng rng(1500 + static_cast<unsigned>(model));
      TrueMotion m = randomMotion(rng, model, 5.0);
      const Vec3L offset(5e6, 4.5e6, -5e6);
      m.t = offset + m.t - m.scale * (m.R * offset);
      PairSet d = makePairs(rng, 301, m, 10.0, offset, 0.05, model != Model::rigid);
      if (tiles) {
        std::vector<std::size_t> order(d.size());
        for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
        std::sort(order.begin(), order.end(),
                  [&](std::size_t a, std::size_t b) { return d.from[3 * a] < d.from[3 * b]; });
        PairSet sorted;
        for (std::size_t i : order)
          sorted.add(d.source(i), d.target(i), d.weights.empty() ? 1.0 : d.weights[i]);
        d = sorted;
      }
      expectMergedHalvesSolveToTheWholeFit(d, 150, model, m.axis, 10.0);
    }
  }
}

TEST(FitMomentsTest, MergeOrderDoesNotMatter) {
  for (Model model : kModels) {
    SCOPED_TRACE(label(model));
    Rng rng(1600 + static_cast<unsigned>(model));
    const TrueMotion m = randomMotion(rng, model, 10.0);
    const PairSet d = makePairs(rng, 200, m, 6.0, rng.cube(100.0), 0.1, true);
    const Moments a = momentsOf(d, 0, 1), b = momentsOf(d, 1, 60), c = momentsOf(d, 60, 200);
    Moments abc = a;
    abc.merge(b);
    abc.merge(c);
    Moments cba = c;
    cba.merge(b);
    cba.merge(a);
    Moments bc = b;
    bc.merge(c);
    Moments a_bc = a;
    a_bc.merge(bc);
    const FitOptions o = optionsFor(model, m.axis);
    const FitResult r1 = velmora::solve(abc, o), r2 = velmora::solve(cba, o), r3 = velmora::solve(a_bc, o);
    expectEquivalentFits(r1, r2, 1e-13, 0, d.magnitude());
    expectEquivalentFits(r1, r3, 1e-13, 0, d.magnitude());
    for (int k = 0; k < 3; ++k) EXPECT_NEAR(abc.meanFrom[k], cba.meanFrom[k], 1e-13 * d.magnitude());
  }
}

TEST(FitMomentsTest, MergingEmptyMomentsChangesNothing) {
  Rng rng(1650);
  const TrueMotion m = randomMotion(rng, Model::rigid, 10.0);
  const PairSet d = makePairs(rng, 50, m, 6.0, rng.cube(10.0), 0.1, false);
  const Moments whole = momentsOf(d, 0, d.size());
  Moments left = Moments();
  left.merge(whole);
  Moments right = whole;
  right.merge(Moments());
  for (const Moments* mo : {&left, &right}) {
    EXPECT_EQ(mo->pairs, whole.pairs);
    EXPECT_EQ(mo->weightSum, whole.weightSum);
    for (int k = 0; k < 3; ++k) EXPECT_EQ(mo->meanFrom[k], whole.meanFrom[k]);
    for (int k = 0; k < 6; ++k)
      EXPECT_EQ(mo->ss[k] * mo->unit * mo->unit, whole.ss[k] * whole.unit * whole.unit);
  }
}

TEST(FitMomentsTest, SolveGivesNoStatistics) {
  const PairSet d = smallSet(20, 12);
  FitOptions o;
  o.perPair = true;
  const FitResult r = velmora::solve(momentsOf(d, 0, d.size()), o);
  ASSERT_TRUE(r.ok()) << r.message;
  EXPECT_FALSE(r.hasStatistics);
  EXPECT_TRUE(std::isnan(r.mean));
  EXPECT_TRUE(std::isnan(r.rms));
  EXPECT_TRUE(std::isnan(r.max));
  EXPECT_TRUE(std::isnan(r.min));
  EXPECT_TRUE(r.residuals.empty());
  EXPECT_TRUE(r.residualVectors.empty());
  EXPECT_EQ(r.pairs, 20u);
}

TEST(FitMomentsTest, SolveRefusesTooFewPairs) {
  const PairSet d = smallSet(2, 13);
  expectRefused(velmora::solve(momentsOf(d, 0, 2), FitOptions()), Status::tooFewPairs);
  expectRefused(velmora::solve(Moments(), FitOptions()), Status::tooFewPairs);
}

TEST(FitMomentsTest, ComputeMomentsReportsBadData) {
  PairSet d = smallSet(6, 14);
  Moments m;
  std::string message;
  EXPECT_EQ(velmora::computeMoments(PointsView{d.from.data(), 6}, PointsView{d.to.data(), 5}, WeightsView(),
                                    m, &message),
            Status::badArgument);
  EXPECT_FALSE(message.empty());
  message.clear();
  std::vector<double> w(6, 1.0);
  w[2] = -3;
  EXPECT_EQ(velmora::computeMoments(PointsView{d.from.data(), 6}, PointsView{d.to.data(), 6},
                                    WeightsView{w.data(), 1}, m, &message),
            Status::badWeight);
  EXPECT_FALSE(message.empty());
  message.clear();
  d.to[7] = kNaN;
  EXPECT_EQ(velmora::computeMoments(PointsView{d.from.data(), 6}, PointsView{d.to.data(), 6}, WeightsView(),
                                    m, &message),
            Status::badCoordinate);
  EXPECT_FALSE(message.empty());
}

// ---------------------------------------------------------------------------------------------------------
// Extreme magnitudes.

TEST(FitMagnitudeTest, HugeAndTinyCoordinatesGiveBackTheMotion) {
  if (!longDoubleIsExtended()) GTEST_SKIP() << "long double is computed as double here";
  for (LD factor : {1e140L, 1e-200L}) {
    for (Model model : kModels) {
      for (double noise : {0.0, 0.05}) {
        SCOPED_TRACE(std::string(label(model)) + " x" +
                     std::to_string(static_cast<double>(std::log10(factor))) + " noise " +
                     std::to_string(noise));
        Rng rng(1700 + static_cast<unsigned>(model));
        const TrueMotion m = randomMotion(rng, model, 10.0);
        const PairSet unit = makePairs(rng, 100, m, 5.0, rng.cube(5.0), noise, noise > 0);
        PairSet d = unit;
        for (auto& v : d.from) v = static_cast<double>(v * factor);
        for (auto& v : d.to) v = static_cast<double>(v * factor);
        const FitResult r =
            velmora::fit(d.from.data(), d.to.data(), d.size(), d.w(), optionsFor(model, m.axis));
        const LD reach = d.magnitude();
        if (noise == 0) {
          expectMotion(r, m.R, Vec3L(m.t * factor), m.scale, 1, 1e-13, static_cast<double>(1e-13L * reach),
                       1e-13);
        } else {
          const Reference ref = referenceFit(d, model, false, m.axis);
          expectMatchesReference(r, ref, 1e-12, static_cast<double>(1e-12L * reach), 1e-12);
          const LD rms = statsOfReference(d, ref).rms;
          EXPECT_TRUE(r.hasStatistics);
          EXPECT_NEAR(r.rms / static_cast<double>(rms), 1.0, 1e-12);
          EXPECT_TRUE(std::isfinite(r.max));
          EXPECT_GT(r.min, 0.0);
        }
      }
    }
  }
}

// ---------------------------------------------------------------------------------------------------------
// Text helpers.

TEST(FitTextTest, ModelNamesRoundTrip) {
  for (Model model : kModels) {
    EXPECT_STREQ(velmora::modelName(model), label(model));
    Model parsed = model == Model::rigid ? Model::axis : Model::rigid;
    EXPECT_TRUE(velmora::parseModel(velmora::modelName(model), parsed));
    EXPECT_EQ(parsed, model);
  }
}

TEST(FitTextTest, ParseModelRejectsUnknownText) {
  for (const char* text : {"", "affine", "rigid2", "rigid ", "simil", "axes", "translations"}) {
    Model parsed = Model::similarity;
    EXPECT_FALSE(velmora::parseModel(text, parsed)) << '"' << text << '"';
  }
}

TEST(FitTextTest, MinimumPairsOfEachModel) {
  EXPECT_EQ(velmora::minimumPairs(Model::rigid), 3u);
  EXPECT_EQ(velmora::minimumPairs(Model::similarity), 3u);
  EXPECT_EQ(velmora::minimumPairs(Model::translation), 1u);
  EXPECT_EQ(velmora::minimumPairs(Model::axis), 2u);
}

TEST(FitTextTest, FormatNumberWritesTheDocumentedTexts) {
  EXPECT_EQ(velmora::formatNumber(1.0), "1");
  EXPECT_EQ(velmora::formatNumber(0.1), "0.10000000000000001");
  EXPECT_EQ(velmora::formatNumber(1.5e-05), "1.5e-05");
  EXPECT_EQ(velmora::formatNumber(kNaN), "nan");
  EXPECT_EQ(velmora::formatNumber(kInf), "inf");
  EXPECT_EQ(velmora::formatNumber(-kInf), "-inf");
  EXPECT_EQ(velmora::formatNumber(-2.25), "-2.25");
  EXPECT_EQ(velmora::formatNumber(0.0), "0");
}

TEST(FitTextTest, FormatNumberReadsBackWithAtMost17Digits) {
  std::mt19937_64 rng(1800);
  std::vector<double> values = {std::numeric_limits<double>::max(),
                                std::numeric_limits<double>::min(),
                                std::numeric_limits<double>::denorm_min(),
                                5e6 + 1.0 / 3,
                                -1e-300,
                                123456789.0};
  while (values.size() < 3000) {
    const std::uint64_t bits = rng();
    double v;
    std::memcpy(&v, &bits, sizeof v);
    if (std::isfinite(v)) values.push_back(v);
  }
  for (double v : values) {
    const std::string text = velmora::formatNumber(v);
    char* end = nullptr;
    EXPECT_EQ(std::strtod(text.c_str(), &end), v) << text;
    EXPECT_EQ(*end, '\0') << text;
    // Significant digits: the mantissa's digits without leading zeros.
    std::string mantissa = text.substr(0, text.find_first_of("eE"));
    std::string digits;
    for (char ch : mantissa)
      if (ch >= '0' && ch <= '9' && !(digits.empty() && ch == '0')) digits += ch;
    if (mantissa.find('.') == std::string::npos)
      while (!digits.empty() && digits.back() == '0') digits.pop_back();
    EXPECT_LE(digits.size(), 17u) << text;
    EXPECT_EQ(text.find(','), std::string::npos) << text;
  }
}

// Splits "+key=value +flag" into key -> value ("" for a flag).
std::map<std::string, std::string> projFields(const std::string& line) {
  std::map<std::string, std::string> fields;
  std::istringstream in(line);
  std::string token;
  while (in >> token) {
    EXPECT_EQ(token[0], '+') << token;
    const std::size_t eq = token.find('=');
    fields[token.substr(1, eq == std::string::npos ? std::string::npos : eq - 1)] =
        eq == std::string::npos ? "" : token.substr(eq + 1);
  }
  return fields;
}

double parseNumber(const std::string& text) {
  char* end = nullptr;
  const double v = std::strtod(text.c_str(), &end);
  EXPECT_TRUE(!text.empty() && *end == '\0') << '"' << text << '"';
  return v;
}

TEST(FitTextTest, ProjHelmertWritesTheMotionInPositionVectorConvention) {
  const LD yaw = 12.5, pitch = -33.25, roll = 71.0, scale = 1 + 4.5e-6L;
  const Vec3L t(123.4, -56.7, 8.9);
  const Matrix4 h = matrixOf(scale, eulerMatrix(yaw, pitch, roll), t);
  const Motion mo = velmora::motionFromMatrix(h.m);
  const std::string line = velmora::projHelmert(mo);
  EXPECT_EQ(line.rfind("+proj=helmert +convention=position_vector", 0), 0u) << line;
  EXPECT_EQ(line.find('\n'), std::string::npos);
  auto f = projFields(line);
  EXPECT_EQ(f.count("exact"), 1u) << line;
  for (const char* key : {"x", "y", "z", "rx", "ry", "rz", "s"})
    ASSERT_EQ(f.count(key), 1u) << key << " in " << line;
  const double x = parseNumber(f["x"]), y = parseNumber(f["y"]), z = parseNumber(f["z"]);
  const double rx = parseNumber(f["rx"]), ry = parseNumber(f["ry"]), rz = parseNumber(f["rz"]);
  const double s = parseNumber(f["s"]);
  EXPECT_NEAR(x, 123.4, 1e-13);
  EXPECT_NEAR(y, -56.7, 1e-13);
  EXPECT_NEAR(z, 8.9, 1e-13);
  EXPECT_NEAR(rx, static_cast<double>(roll * 3600), 1e-8);
  EXPECT_NEAR(ry, static_cast<double>(pitch * 3600), 1e-8);
  EXPECT_NEAR(rz, static_cast<double>(yaw * 3600), 1e-8);
  EXPECT_NEAR(s, 4.5, 1e-8);
  // target = t + (1 + s 1e-6) Rz(rz) Ry(ry) Rx(rx) source rebuilds the matrix.
  const Mat3L block = (1 + LD(s) * 1e-6L) * eulerMatrix(LD(rz) / 3600, LD(ry) / 3600, LD(rx) / 3600);
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) EXPECT_NEAR(h.m[i][j], static_cast<double>(block(i, j)), 1e-13);
  // A fitted similarity can be written; a reflection cannot.
  const Matrix4 mirror = matrixOf(2, -eulerMatrix(10, 20, 30), t);
  EXPECT_EQ(velmora::projHelmert(velmora::motionFromMatrix(mirror.m)), "");
}

TEST(FitTextTest, RosStaticTransformWritesTranslationQuaternionAndFrames) {
  Rng rng(1900);
  const TrueMotion m = randomMotion(rng, Model::rigid, 10.0);
  const PairSet d = makePairs(rng, 10, m, 5.0, Vec3L::Zero(), 0.0, false);
  const FitResult r = velmora::fit(d.from.data(), d.to.data(), d.size());
  ASSERT_TRUE(r.ok()) << r.message;
  const std::string line = velmora::rosStaticTransform(r.motion, "map", "scanner");
  std::istringstream in(line);
  std::vector<std::string> tokens;
  for (std::string token; in >> token;) tokens.push_back(token);
  ASSERT_EQ(tokens.size(), 9u) << line;
  EXPECT_EQ(tokens[7], "map");
  EXPECT_EQ(tokens[8], "scanner");
  double v[7];
  for (int k = 0; k < 7; ++k) v[k] = parseNumber(tokens[k]);
  for (int c = 0; c < 3; ++c) EXPECT_EQ(v[c], r.motion.translation[c]);
  EXPECT_EQ(v[3], r.motion.quaternion[1]);
  EXPECT_EQ(v[4], r.motion.quaternion[2]);
  EXPECT_EQ(v[5], r.motion.quaternion[3]);
  EXPECT_EQ(v[6], r.motion.quaternion[0]);
  EXPECT_LE(static_cast<double>(maxAbs(quaternionMatrix(v[6], v[3], v[4], v[5]) - m.R)), 1e-13);
  for (int c = 0; c < 3; ++c) EXPECT_NEAR(v[c], static_cast<double>(m.t(c)), 1e-13 * 20);
}

TEST(FitTextTest, RosStaticTransformIsEmptyForScaleOrReflection) {
  const Matrix4 scaled = matrixOf(1.5, eulerMatrix(10, 20, 30), Vec3L(1, 2, 3));
  EXPECT_EQ(velmora::rosStaticTransform(velmora::motionFromMatrix(scaled.m), "a", "b"), "");
  const Matrix4 mirror = matrixOf(1, -eulerMatrix(10, 20, 30), Vec3L(1, 2, 3));
  EXPECT_EQ(velmora::rosStaticTransform(velmora::motionFromMatrix(mirror.m), "a", "b"), "");
}

}  // namespace
