// Principal spreads and conditioning of point sets in velmora-align, checked against Eigen's
// self-adjoint eigen-solver.
#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "align/align_condition.h"
#include "tool/align_fixtures.h"

using valign::Vec3;

namespace {

Eigen::Vector3d eigenReference(const double a[3][3]) {
  Eigen::Matrix3d m;
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 3; ++c) m(r, c) = a[r][c];
  Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> solver(m, Eigen::EigenvaluesOnly);
  return solver.eigenvalues();  // ascending
}

void expectEigenvaluesMatch(const double a[3][3], double relative) {
  const std::array<double, 3> mine = valign::symmetricEigenvalues(a);
  const Eigen::Vector3d ref = eigenReference(a);
  const double scale = std::max(std::fabs(ref(0)), std::fabs(ref(2)));
  for (int i = 0; i < 3; ++i) EXPECT_NEAR(mine[i], ref(i), relative * scale) << "eigenvalue " << i;
}

// Covariance of the points about their mean, computed directly from the definition with Eigen.
Eigen::Matrix3d referenceCovariance(const std::vector<Vec3>& points) {
  Eigen::Vector3d mean = Eigen::Vector3d::Zero();
  for (const Vec3& p : points) mean += vtool::toEigen(p);
  mean /= static_cast<double>(points.size());
  Eigen::Matrix3d c = Eigen::Matrix3d::Zero();
  for (const Vec3& p : points) c += (vtool::toEigen(p) - mean) * (vtool::toEigen(p) - mean).transpose();
  return c / static_cast<double>(points.size());
}

}  // namespace

TEST(SymmetricEigenvaluesTest, MatchesEigenOnRandomSymmetricMatrices) {
  std::mt19937_64 gen(7);
  std::uniform_real_distribution<double> u(-10.0, 10.0);
  for (int trial = 0; trial < 2000; ++trial) {
    double a[3][3];
    for (int r = 0; r < 3; ++r)
      for (int c = r; c < 3; ++c) a[r][c] = a[c][r] = u(gen);
    expectEigenvaluesMatch(a, 1e-12);
  }
}

TEST(SymmetricEigenvaluesTest, MatchesEigenOnPositiveSemidefiniteMatrices) {
  std::mt19937_64 gen(11);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  for (int trial = 0; trial < 2000; ++trial) {
    Eigen::Matrix3d b;
    for (int r = 0; r < 3; ++r)
      for (int c = 0; c < 3; ++c) b(r, c) = u(gen);
    if (trial % 3 == 0) b.col(2) = 0.5 * b.col(0) - 2.0 * b.col(1);  // rank 2: one zero eigenvalue
    const Eigen::Matrix3d m = b * b.transpose();
    double a[3][3];
    for (int r = 0; r < 3; ++r)
      for (int c = 0; c < 3; ++c) a[r][c] = m(r, c);
    expectEigenvaluesMatch(a, 1e-12);
  }
}

TEST(SymmetricEigenvaluesTest, DiagonalMatrixGivesItsSortedDiagonal) {
  const double a[3][3] = {{3, 0, 0}, {0, -1, 0}, {0, 0, 2}};
  const std::array<double, 3> e = valign::symmetricEigenvalues(a);
  EXPECT_EQ(e[0], -1.0);
  EXPECT_EQ(e[1], 2.0);
  EXPECT_EQ(e[2], 3.0);
}

TEST(SymmetricEigenvaluesTest, RepeatedEigenvaluesAreFound) {
  // Eigenvalues 1, 1, 4: 1 + 3 u u^T with u = (1, 1, 1) / sqrt(3).
  const double a[3][3] = {{2, 1, 1}, {1, 2, 1}, {1, 1, 2}};
  const std::array<double, 3> e = valign::symmetricEigenvalues(a);
  EXPECT_NEAR(e[0], 1.0, 1e-14);
  EXPECT_NEAR(e[1], 1.0, 1e-14);
  EXPECT_NEAR(e[2], 4.0, 1e-14);
  const double triple[3][3] = {{5, 0, 0}, {0, 5, 0}, {0, 0, 5}};
  const std::array<double, 3> f = valign::symmetricEigenvalues(triple);
  EXPECT_EQ(f[0], 5.0);
  EXPECT_EQ(f[2], 5.0);
}

TEST(SymmetricEigenvaluesTest, ZeroMatrixGivesZeros) {
  const double a[3][3] = {{0, 0, 0}, {0, 0, 0}, {0, 0, 0}};
  const std::array<double, 3> e = valign::symmetricEigenvalues(a);
  EXPECT_EQ(e[0], 0.0);
  EXPECT_EQ(e[1], 0.0);
  EXPECT_EQ(e[2], 0.0);
}

TEST(SymmetricEigenvaluesTest, ExtremeScalesNeitherOverflowNorUnderflow) {
  for (double s : {1e-300, 1e-150, 1e150, 1e300}) {
    const double a[3][3] = {{2 * s, 1 * s, 0}, {1 * s, 3 * s, 0.5 * s}, {0, 0.5 * s, 1 * s}};
    const double unit[3][3] = {{2, 1, 0}, {1, 3, 0.5}, {0, 0.5, 1}};
    const std::array<double, 3> e = valign::symmetricEigenvalues(a);
    const Eigen::Vector3d ref = eigenReference(unit);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(e[i] / s, ref(i), 1e-12) << "scale " << s;
  }
}

TEST(CovarianceTest, IsTheMeanOuterProductOfTheCentredPoints) {
  const std::vector<Vec3> points = vtool::randomPoints(500, 3.0, {100.0, -50.0, 7.0}, 3);
  double c[3][3];
  valign::covariance(points, c);
  const Eigen::Matrix3d ref = referenceCovariance(points);
  for (int r = 0; r < 3; ++r)
    for (int k = 0; k < 3; ++k) EXPECT_NEAR(c[r][k], ref(r, k), 1e-12);
}

TEST(CovarianceTest, EmptyInputGivesZero) {
  double c[3][3];
  valign::covariance({}, c);
  for (int r = 0; r < 3; ++r)
    for (int k = 0; k < 3; ++k) EXPECT_EQ(c[r][k], 0.0);
}

TEST(PrincipalSpreadsTest, AreSquareRootsOfTheCovarianceEigenvalues) {
  for (unsigned seed = 1; seed <= 20; ++seed) {
    std::vector<Vec3> points = vtool::randomPoints(200, 1.0, {5.0, 6.0, 7.0}, seed);
    for (Vec3& p : points) p = {p.x * 10.0, p.y * 0.3 + p.x, p.z};  // anisotropic, correlated
    const std::array<double, 3> s = valign::principalSpreads(points);
    Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> solver(referenceCovariance(points));
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(s[i], std::sqrt(solver.eigenvalues()(i)), 1e-10 * s[2]);
  }
}

TEST(PrincipalSpreadsTest, AxisAlignedBoxCornersGiveHalfTheSides) {
  // The eight corners of a 2 x 4 x 6 box: the spread along each axis is half the side.
  std::vector<Vec3> corners;
  for (int i = 0; i < 8; ++i)
    corners.push_back({(i & 1) ? 1.0 : -1.0, (i & 2) ? 2.0 : -2.0, (i & 4) ? 3.0 : -3.0});
  const std::array<double, 3> s = valign::principalSpreads(corners);
  EXPECT_NEAR(s[0], 1.0, 1e-14);
  EXPECT_NEAR(s[1], 2.0, 1e-14);
  EXPECT_NEAR(s[2], 3.0, 1e-14);
}

TEST(ConditioningTest, CubeCornersAreIsotropic) {
  std::vector<Vec3> corners;
  for (int i = 0; i < 8; ++i)
    corners.push_back({(i & 1) ? 1.0 : 0.0, (i & 2) ? 1.0 : 0.0, (i & 4) ? 1.0 : 0.0});
  EXPECT_NEAR(valign::conditioning(corners), 1.0, 1e-14);
}

TEST(ConditioningTest, IsTheRatioOfSmallestToLargestSpread) {
  std::vector<Vec3> corners;
  for (int i = 0; i < 8; ++i)
    corners.push_back({(i & 1) ? 1.0 : -1.0, (i & 2) ? 2.0 : -2.0, (i & 4) ? 0.5 : -0.5});
  EXPECT_NEAR(valign::conditioning(corners), 0.25, 1e-14);
}

TEST(ConditioningTest, FlatAndLinearSetsAreNearZero) {
  std::vector<Vec3> flat = vtool::randomPoints(100, 1.0, {0, 0, 0}, 5);
  for (Vec3& p : flat) p.z = 0.3 * p.x - 0.2 * p.y + 4.0;  // a tilted plane
  EXPECT_LT(valign::conditioning(flat), 1e-7);
  std::vector<Vec3> line;
  for (int i = 0; i < 50; ++i) line.push_back({1.0 + i, 2.0 + 2.0 * i, -3.0 * i});
  EXPECT_LT(valign::conditioning(line), 1e-7);
}

TEST(ConditioningTest, CoincidentOrNoPointsGiveZero) {
  EXPECT_EQ(valign::conditioning({{1, 2, 3}, {1, 2, 3}, {1, 2, 3}}), 0.0);
  EXPECT_EQ(valign::conditioning({}), 0.0);
}

TEST(ConditioningTest, DoesNotDependOnUnits) {
  std::vector<Vec3> points;
  for (int i = 0; i < 8; ++i)
    points.push_back({(i & 1) ? 1.0 : -1.0, (i & 2) ? 2.0 : -2.0, (i & 4) ? 0.5 : -0.5});
  for (double s : {1e-250, 1e-120, 1e120, 1e150}) {
    std::vector<Vec3> scaled;
    for (const Vec3& p : points) scaled.push_back({p.x * s, p.y * s, p.z * s});
    EXPECT_NEAR(valign::conditioning(scaled), 0.25, 1e-13) << "scale " << s;
  }
}
