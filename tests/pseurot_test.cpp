// Rotation pseudo-vector: its matrix against Eigen's angle-axis rotation, the matrix constructor's
// round trip, the axis and angle, the cross-product matrix, the rotation angles of an isometry, and
// every assertion report.
#include "velmora/pseurot.h"

#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <cmath>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "eigen_support.h"
#include "test_support.h"
#include "velmora/matrix.h"
#include "velmora/transf3d.h"

namespace {

const double kPi = 3.141592653589793;
const char* const kUnit = "source/align/pseurot";

using vtest::RowMat;
using vtest::toEigen;
using vtest::toMatrix;
using vtest::toPoint;
using vtest::toVector;

::testing::AssertionResult near(const ERDoubleMatrix& m, const Eigen::Matrix3d& ref, double tol) {
  if ((toEigen(m) - ref).cwiseAbs().maxCoeff() <= tol) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "\n" << toEigen(m) << "\nvs\n" << ref;
}
::testing::AssertionResult near(const ERVector3D& v, const Eigen::Vector3d& ref, double tol) {
  if ((toEigen(v) - ref).norm() <= tol * std::max(1.0, ref.norm())) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << toEigen(v).transpose() << " vs " << ref.transpose();
}

Eigen::Vector3d randomDirection(std::mt19937& rng) {
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  Eigen::Vector3d v;
  do v = Eigen::Vector3d(u(rng), u(rng), u(rng));
  while (v.norm() < 0.2);
  return v;
}
// An angle in (-pi, pi), away from the half-turn that the pseudo-vector cannot hold.
double randomAngle(std::mt19937& rng) {
  std::uniform_real_distribution<double> u(-kPi + 0.01, kPi - 0.01);
  return u(rng);
}

Eigen::Matrix3d rzRyRx(double rx, double ry, double rz) {
  return (Eigen::AngleAxisd(rz, Eigen::Vector3d::UnitZ()) * Eigen::AngleAxisd(ry, Eigen::Vector3d::UnitY()) *
          Eigen::AngleAxisd(rx, Eigen::Vector3d::UnitX()))
      .toRotationMatrix();
}

// An isometry handle whose matrix is m (a rotation): the change of frame on its first two columns.
ERPmIsometrie3D isometryOf(const Eigen::Matrix3d& m) {
  return ERPmIsometrie3D(ERChgRepere3D(toVector(m.col(0)), toVector(m.col(1)), ERPoint3D()));
}

bool hasReport(const std::string& text, const std::string& condition, const std::string& unit) {
  const std::string head = "\n\n" + condition + " failed in " + unit + " at line ";
  for (size_t at = text.find(head); at != std::string::npos; at = text.find(head, at + 1)) {
    size_t i = at + head.size();
    size_t digits = 0;
    while (i < text.size() && text[i] >= '0' && text[i] <= '9') ++i, ++digits;
    if (digits > 0 && i < text.size() && text[i] == '\n') return true;
  }
  return false;
}

// A death test in the checking build; in the continuing build f returns and the caller checks what it
// did next.
void expectReport(const std::function<void()>& f, const std::string& condition) {
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(f(), vtest::reportRegexAnyLine(condition, kUnit));
  } else {
    std::string err = vtest::captureStderr(f);
    EXPECT_TRUE(hasReport(err, condition, kUnit)) << err;
  }
}

// ---------------------------------------------------------------------------------------------
// Matrix of the pseudo-vector

TEST(ERPseudoVecteurRotationTest, MatrixMatchesAngleAxisOnRandomAxesAndAngles) {
  std::mt19937 rng(101);
  for (int i = 0; i < 200; ++i) {
    Eigen::Vector3d axis = randomDirection(rng);
    double a = randomAngle(rng);
    ERPseudoVecteurRotation r(toVector(axis), a);
    Eigen::Matrix3d ref = Eigen::AngleAxisd(a, axis.normalized()).toRotationMatrix();
    EXPECT_TRUE(near(r.GetMatrix(), ref, 1e-13));
    EXPECT_TRUE(near(static_cast<ERDoubleMatrix>(r), ref, 1e-13));
  }
}

TEST(ERPseudoVecteurRotationTest, StoresTheAxisTimesTanOfHalfTheAngle) {
  std::mt19937 rng(102);
  for (int i = 0; i < 50; ++i) {
    Eigen::Vector3d axis = randomDirection(rng);
    double a = randomAngle(rng);
    ERPseudoVecteurRotation r(toVector(axis), a);
    EXPECT_TRUE(near(r.getVector(), std::tan(a / 2.0) * axis.normalized(), 1e-15));
  }
  ERPseudoVecteurRotation v(ERVector3D(1, 2, 3));
  EXPECT_EQ(v.getVector(), ERVector3D(1, 2, 3));
}

TEST(ERPseudoVecteurRotationTest, UnitZIsAQuarterTurnAboutZ) {
  ERPseudoVecteurRotation r(ERVector3D(0, 0, 1));
  Eigen::Matrix3d expected;
  expected << 0, -1, 0, 1, 0, 0, 0, 0, 1;
  EXPECT_TRUE(near(r.GetMatrix(), expected, 0.0));
}

TEST(ERPseudoVecteurRotationTest, ZeroAngleIsTheIdentity) {
  ERPseudoVecteurRotation r(ERVector3D(1, 2, 3), 0.0);
  EXPECT_EQ(r.getVector(), ERVector3D());
  EXPECT_EQ(r.GetMatrix(), IdentityMatrix(3));
}

TEST(ERPseudoVecteurRotationTest, MatrixIsAlwaysARotation) {
  std::mt19937 rng(103);
  std::uniform_real_distribution<double> u(-50.0, 50.0);
  for (int i = 0; i < 100; ++i) {
    ERPseudoVecteurRotation r(ERVector3D(u(rng), u(rng), u(rng)));
    Eigen::Matrix3d m = toEigen(r.GetMatrix());
    EXPECT_TRUE((m * m.transpose()).isApprox(Eigen::Matrix3d::Identity(), 1e-13));
    EXPECT_NEAR(m.determinant(), 1.0, 1e-13);
  }
}

TEST(ERPseudoVecteurRotationTest, MatrixIsItsMatrixExpressionBitForBit) {
  // I + (2 / (1 + |v|^2)) (A + A A) written with the library's matrix operations, against GetMatrix and
  // matrixElements, on random vectors of every size, zero components of either sign and the zero vector.
  std::mt19937 rng(105);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  std::vector<ERVector3D> vectors = {ERVector3D(), ERVector3D(-0.0, 0.0, -0.0), ERVector3D(0.0, -0.5, 0.0),
                                     ERVector3D(1e-300, -1e-300, 2.0), ERVector3D(1e150, 3.0, -2.0)};
  for (int i = 0; i < 300; ++i) {
    const double scale = std::pow(10.0, 8.0 * u(rng));
    vectors.emplace_back(scale * u(rng), scale * u(rng), (i % 7 == 0) ? -0.0 : scale * u(rng));
  }
  for (const ERVector3D& v : vectors) {
    SCOPED_TRACE(testing::Message() << v[X3D] << " " << v[Y3D] << " " << v[Z3D]);
    const ERDoubleMatrix A = DotProductMatrix(v);
    const ERDoubleMatrix want = IdentityMatrix(3) + (2.0 / (1 + v.norme2())) * (A + A * A);
    const ERPseudoVecteurRotation r(v);
    const ERDoubleMatrix got = r.GetMatrix();
    double elements[9];
    r.matrixElements(elements);
    ASSERT_EQ(got.rows(), 3u);
    ASSERT_EQ(got.cols(), 3u);
    for (unsigned e = 0; e < 9; ++e) {
      EXPECT_EQ(std::memcmp(got.data() + e, want.data() + e, sizeof(double)), 0)
          << e << ": " << got.data()[e] << " vs " << want.data()[e];
      EXPECT_EQ(std::memcmp(elements + e, want.data() + e, sizeof(double)), 0) << e;
    }
  }
}

TEST(ERPseudoVecteurRotationTest, FromThreeDoubles) {
  ERDoubleVec v(3);
  v[0] = 0.1;
  v[1] = -0.2;
  v[2] = 0.3;
  ERPseudoVecteurRotation r(v);
  EXPECT_EQ(r.getVector(), ERVector3D(0.1, -0.2, 0.3));
}

// ---------------------------------------------------------------------------------------------
// Axis and angle

TEST(ERPseudoVecteurRotationTest, AngleAndAxisOfPositiveAngles) {
  std::mt19937 rng(104);
  std::uniform_real_distribution<double> u(0.01, kPi - 0.01);
  for (int i = 0; i < 50; ++i) {
    Eigen::Vector3d axis = randomDirection(rng);
    double a = u(rng);
    ERPseudoVecteurRotation r(toVector(axis), a);
    EXPECT_NEAR(r.Angle(), a, 1e-14);
    EXPECT_TRUE(near(static_cast<ERVector3D>(r), axis.normalized(), 1e-15));
  }
}

TEST(ERPseudoVecteurRotationTest, NegativeAngleComesBackAsThePositiveOneAboutTheOppositeAxis) {
  // 2 atan(|v|) is never negative: the rotation by -a about u is the rotation by a about -u.
  std::mt19937 rng(105);
  std::uniform_real_distribution<double> u(-kPi + 0.01, -0.01);
  for (int i = 0; i < 50; ++i) {
    Eigen::Vector3d axis = randomDirection(rng);
    double a = u(rng);
    ERPseudoVecteurRotation r(toVector(axis), a);
    EXPECT_NEAR(r.Angle(), -a, 1e-14);
    EXPECT_TRUE(near(static_cast<ERVector3D>(r), -axis.normalized(), 1e-15));
  }
}

TEST(ERPseudoVecteurRotationTest, AngleBeyondAHalfTurnIsReduced) {
  ERPseudoVecteurRotation r(ERVector3D(0, 0, 1), 1.5 * kPi);
  EXPECT_NEAR(r.Angle(), 0.5 * kPi, 1e-14);
  ERPseudoVecteurRotation s(ERVector3D(0, 0, 1), 2.0 * kPi + 0.5);
  EXPECT_NEAR(s.Angle(), 0.5, 1e-14);
}

TEST(ERPseudoVecteurRotationTest, AngleOfTheZeroVectorReportsAndAnswersZero) {
  ERPseudoVecteurRotation r(ERVector3D(1, 0, 0), 0.0);
  double a = -1.0;
  expectReport([&] { a = r.Angle(); }, "m_vec.norme()!=0");
  if (!VELMORA_CHECKING_BUILD) {
    EXPECT_EQ(a, 0.0);
  }
}

TEST(ERPseudoVecteurRotationTest, AxisOfTheZeroVectorReports) {
  ERPseudoVecteurRotation r(ERVector3D(0, 0, 0));
  ERVector3D axis(9, 9, 9);
  expectReport([&] { axis = static_cast<ERVector3D>(r); }, "m_vec.norme()!=0");
  if (!VELMORA_CHECKING_BUILD) {
    EXPECT_EQ(axis, ERVector3D());  // normalising the zero vector leaves it
  }
}

// ---------------------------------------------------------------------------------------------
// From a rotation matrix

TEST(ERPseudoVecteurRotationTest, MatrixConstructorRoundTrips) {
  std::mt19937 rng(106);
  for (int i = 0; i < 200; ++i) {
    Eigen::Vector3d axis = randomDirection(rng).normalized();
    double a = randomAngle(rng);
    Eigen::Matrix3d m = Eigen::AngleAxisd(a, axis).toRotationMatrix();
    ERPseudoVecteurRotation r(toMatrix(m));
    EXPECT_TRUE(near(r.GetMatrix(), m, 1e-12));
    EXPECT_TRUE(near(r.getVector(), std::tan(a / 2.0) * axis, 1e-11));
  }
}

TEST(ERPseudoVecteurRotationTest, MatrixConstructorAcceptsNearlyOrthogonalMatrices) {
  Eigen::Matrix3d m = Eigen::AngleAxisd(0.5, Eigen::Vector3d::UnitY()).toRotationMatrix();
  m(0, 0) += 1e-8;
  ERPseudoVecteurRotation r(toMatrix(m));
  EXPECT_TRUE(near(r.GetMatrix(), m, 1e-7));
}

TEST(ERPseudoVecteurRotationTest, NonSquareMatrixReports) {
  ERDoubleMatrix m(2, 2, 0.0);
  ERVector3D v(9, 9, 9);
  expectReport([&] { v = ERPseudoVecteurRotation(m).getVector(); }, "m.cols()==3 && m.rows()==3");
  if (!VELMORA_CHECKING_BUILD) {
    EXPECT_EQ(v, ERVector3D());
  }
}

TEST(ERPseudoVecteurRotationTest, NonOrthogonalMatrixReports) {
  Eigen::Matrix3d m = 2.0 * Eigen::Matrix3d::Identity();
  expectReport([&] { ERPseudoVecteurRotation r(toMatrix(m)); }, "norme(m*transpose(m)-Identite)<1E-6");
  Eigen::Matrix3d n = Eigen::AngleAxisd(0.5, Eigen::Vector3d::UnitY()).toRotationMatrix();
  n(0, 0) += 1e-6;  // m.m^T - I then has a norm just above 1e-6
  expectReport([&] { ERPseudoVecteurRotation r(toMatrix(n)); }, "norme(m*transpose(m)-Identite)<1E-6");
}

TEST(ERPseudoVecteurRotationTest, HalfTurnMatrixReports) {
  Eigen::Matrix3d m = Eigen::Vector3d(1.0, -1.0, -1.0).asDiagonal();
  expectReport([&] { ERPseudoVecteurRotation r(toMatrix(m)); }, "4-Gamma>0");
}

TEST(ERPseudoVecteurRotationTest, WrongLengthVectorReports) {
  ERDoubleVec v(2);
  ERVector3D got(9, 9, 9);
  expectReport([&] { got = ERPseudoVecteurRotation(v).getVector(); }, "vec.length()==3");
  if (!VELMORA_CHECKING_BUILD) {
    EXPECT_EQ(got, ERVector3D());
  }
}

// ---------------------------------------------------------------------------------------------
// Cross-product matrix

TEST(DotProductMatrixTest, TimesAVectorIsTheCrossProduct) {
  std::mt19937 rng(107);
  for (int i = 0; i < 50; ++i) {
    Eigen::Vector3d v = 3.0 * randomDirection(rng), w = 3.0 * randomDirection(rng);
    ERDoubleMatrix m = DotProductMatrix(toVector(v));
    Eigen::Matrix3d e = toEigen(m);
    EXPECT_TRUE((e * w - v.cross(w)).norm() <= 1e-14);
    EXPECT_TRUE(e.diagonal() == Eigen::Vector3d::Zero());
    EXPECT_TRUE(e == -e.transpose());
  }
}

// ---------------------------------------------------------------------------------------------
// Rotation angles

TEST(GetRotationTest, AnglesReproduceTheMatrixAsRzRyRx) {
  std::mt19937 rng(108);
  std::uniform_real_distribution<double> full(-kPi + 0.01, kPi - 0.01), half(-kPi / 2 + 0.01, kPi / 2 - 0.01);
  for (int i = 0; i < 200; ++i) {
    double rx = full(rng), ry = half(rng), rz = full(rng);
    Eigen::Matrix3d m = rzRyRx(rx, ry, rz);
    double gx = 9, gy = 9, gz = 9;
    EXPECT_EQ(GetRotation(isometryOf(m), gx, gy, gz), 1);
    EXPECT_NEAR(gx, rx, 1e-12);
    EXPECT_NEAR(gy, ry, 1e-12);
    EXPECT_NEAR(gz, rz, 1e-12);
    EXPECT_TRUE(rzRyRx(gx, gy, gz).isApprox(m, 1e-12));
  }
}

TEST(GetRotationTest, AxisRotationsOfTheLibraryComposeAsRzRyRx) {
  ERPmIsometrie3D m = ERRotation3D(Z3D, 0.3) * ERRotation3D(Y3D, -0.4) * ERRotation3D(X3D, 1.1);
  double rx, ry, rz;
  GetRotation(m, rx, ry, rz);
  EXPECT_NEAR(rx, 1.1, 1e-14);
  EXPECT_NEAR(ry, -0.4, 1e-14);
  EXPECT_NEAR(rz, 0.3, 1e-14);
}

TEST(GetRotationTest, IdentityGivesZeroAnglesThroughTheGeneralBranch) {
  double rx = 9, ry = 9, rz = 9;
  EXPECT_EQ(GetRotation(ERPmIsometrie3D(), rx, ry, rz), 1);
  EXPECT_EQ(rx, 0.0);
  EXPECT_EQ(ry, 0.0);
  EXPECT_EQ(rz, 0.0);
}

TEST(GetRotationTest, QuarterTurnAboutYTakesTheMinusOneBranch) {
  ERPmIsometrie3D iso(ERRotation3D(Y3D, kPi / 2));
  ERDoubleMatrix m = iso.getMatrix();
  ASSERT_EQ(m(2, 0), -1.0);
  double rx = 9, ry = 9, rz = 9;
  GetRotation(iso, rx, ry, rz);
  EXPECT_EQ(rz, 0.0);
  EXPECT_EQ(ry, std::asin(1.0));
  EXPECT_EQ(rx, std::atan2(m(0, 1), m(1, 1)));
}

TEST(GetRotationTest, MinusQuarterTurnAboutYTakesThePlusOneBranch) {
  // M = Ry(-pi/2) . Rz(0.3): M(2,0) is exactly 1, M(0,1) and M(1,1) carry the rotation about z.
  ERPmIsometrie3D iso = ERRotation3D(Y3D, -kPi / 2) * ERRotation3D(X3D, 0.3);
  ERDoubleMatrix m = iso.getMatrix();
  ASSERT_EQ(m(2, 0), 1.0);
  double rx = 9, ry = 9, rz = 9;
  GetRotation(iso, rx, ry, rz);
  EXPECT_EQ(rx, 0.0);
  EXPECT_EQ(ry, std::asin(-1.0));
  EXPECT_EQ(rz, -std::atan2(m(0, 1), m(1, 1)));
  // Rz(rz) Ry(ry) with rx = 0 gives back the matrix.
  EXPECT_TRUE(rzRyRx(rx, ry, rz).isApprox(toEigen(m), 1e-12));
}

}  // namespace
