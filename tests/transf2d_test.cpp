// Plane transformation: constructors and builders, application to points, vectors, point and pole
// vectors (checked against Eigen), composition, the transpose-over-determinant inverse with its mirror
// case, decomposition, every report, the printed labels, the registry entry and the exact binary form.
#include "velmora/transf2d.h"

#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <cmath>
#include <limits>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "test_support.h"
#include "vec_file_support.h"
#include "velmora/erfile.h"

namespace {

using vtest::Bytes;
using vtest::le64;
using vtest::operator+=;
const char kUnit[] = "source/align/transf2d";
const double kPi = 3.14159265358979323846;

// The independent reference: x -> A·x + t with Eigen's matrices.
struct Affine {
  Eigen::Matrix2d A = Eigen::Matrix2d::Identity();
  Eigen::Vector2d t = Eigen::Vector2d::Zero();

  Affine then(const Affine& first) const { return Affine{A * first.A, A * first.t + t}; }
};

Eigen::Vector2d ev(const ERPoint2D& p) { return Eigen::Vector2d(p[X2D], p[Y2D]); }

// True when every entry of T is within tol of ref.
::testing::AssertionResult near(const ERTransfo2D& T, const Affine& ref, double tol) {
  const Coord2D axes[2] = {X2D, Y2D};
  for (int i = 0; i < 2; ++i) {
    for (int j = 0; j < 2; ++j) {
      if (!(std::fabs(T.getCoef(axes[i], axes[j]) - ref.A(i, j)) <= tol))
        return ::testing::AssertionFailure() << "A(" << i << "," << j << ") = " << T.getCoef(axes[i], axes[j])
                                             << ", expected " << ref.A(i, j);
    }
    if (!(std::fabs(T.getTrans()[axes[i]] - ref.t(i)) <= tol))
      return ::testing::AssertionFailure()
             << "t(" << i << ") = " << T.getTrans()[axes[i]] << ", expected " << ref.t(i);
  }
  return ::testing::AssertionSuccess();
}

::testing::AssertionResult near(const ERPoint2D& p, const Eigen::Vector2d& ref, double tol) {
  if (std::fabs(p[X2D] - ref(0)) <= tol && std::fabs(p[Y2D] - ref(1)) <= tol)
    return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << p << " differs from <" << ref(0) << "," << ref(1) << ">";
}

// The exact matrix and translation of T.
void expectEntries(const ERTransfo2D& T, double a00, double a01, double a10, double a11, double tx,
                   double ty) {
  EXPECT_EQ(T.getCoef(X2D, X2D), a00);
  EXPECT_EQ(T.getCoef(X2D, Y2D), a01);
  EXPECT_EQ(T.getCoef(Y2D, X2D), a10);
  EXPECT_EQ(T.getCoef(Y2D, Y2D), a11);
  EXPECT_EQ(T.getTrans()[X2D], tx);
  EXPECT_EQ(T.getTrans()[Y2D], ty);
}

bool allNaN(const ERTransfo2D& T) {
  return std::isnan(T.getCoef(X2D, X2D)) && std::isnan(T.getCoef(X2D, Y2D)) &&
         std::isnan(T.getCoef(Y2D, X2D)) && std::isnan(T.getCoef(Y2D, Y2D));
}

// One report of condition in this unit, at whatever line: the whole captured text.
bool isOneReport(const std::string& err, const std::string& condition) {
  const std::string head = "\n\n" + condition + " failed in " + kUnit + " at line ";
  if (err.size() <= head.size() + 1 || err.compare(0, head.size(), head) != 0 || err.back() != '\n')
    return false;
  const std::string number = err.substr(head.size(), err.size() - head.size() - 1);
  return !number.empty() && number.find_first_not_of("0123456789") == std::string::npos;
}

// Seeded random transformations with their references.
class RandomTransfos {
 public:
  explicit RandomTransfos(unsigned seed) : rng(seed) {}

  double uniform(double lo, double hi) { return std::uniform_real_distribution<double>(lo, hi)(rng); }
  ERPoint2D point() { return ERPoint2D(uniform(-10, 10), uniform(-10, 10)); }

  // A rotation, a homothety (about a random centre), a translation or a rotation by a direction.
  ERTransfo2D elementary(Affine& ref) {
    switch (std::uniform_int_distribution<int>(0, 3)(rng)) {
      case 0: {
        const double a = uniform(-kPi, kPi);
        ref = Affine{Eigen::Rotation2Dd(a).toRotationMatrix(), Eigen::Vector2d::Zero()};
        return rotation(a);
      }
      case 1: {
        const double k = uniform(0.2, 5.0) * (uniform(0, 1) < 0.3 ? -1 : 1);
        const ERPoint2D c = point();
        ref = Affine{k * Eigen::Matrix2d::Identity(), (1 - k) * ev(c)};
        return ERTransfo2D(k, c);
      }
      case 2: {
        const ERVector2D v(point());
        ref = Affine{Eigen::Matrix2d::Identity(), ev(v)};
        return ERTransfo2D(v);
      }
      default: {
        const ERVector2D u(point());
        const ERPoint2D p = point();
        ref = Affine{Eigen::Rotation2Dd(std::atan2(u[Y2D], u[X2D])).toRotationMatrix(), ev(p)};
        return ERTransfo2D(u, p);
      }
    }
  }

  // A product of one to four elementary direct transformations.
  ERTransfo2D direct(Affine& ref) {
    ERTransfo2D T = elementary(ref);
    const int n = std::uniform_int_distribution<int>(0, 3)(rng);
    for (int i = 0; i < n; ++i) {
      Affine next;
      T = elementary(next) * T;
      ref = next.then(ref);
    }
    return T;
  }

  // A direct product followed by a mirror about a random axis through the origin.
  ERTransfo2D mirrored(Affine& ref) {
    Affine d;
    ERTransfo2D T = direct(d);
    ERVector2D axis(point());
    // The mirror about the line whose angle is the axis's, folded into [0, pi].
    Eigen::Vector2d u(axis[X2D], std::fabs(axis[Y2D]));
    u.normalize();
    Affine m{2 * u * u.transpose() - Eigen::Matrix2d::Identity(), Eigen::Vector2d::Zero()};
    ref = m.then(d);
    return Symmetry(axis) * T;
  }

 private:
  std::mt19937 rng;
};

double scaleOf(const Affine& a) { return 1.0 + a.A.cwiseAbs().maxCoeff() + a.t.cwiseAbs().maxCoeff(); }

// ---------------------------------------------------------------------------------------------
// Construction and builders

TEST(ERTransfo2DTest, DefaultIsTheIdentity) { expectEntries(ERTransfo2D(), 1, 0, 0, 1, 0, 0); }

TEST(ERTransfo2DTest, VectorGivesTheTranslation) {
  expectEntries(ERTransfo2D(ERVector2D(1.5, -2)), 1, 0, 0, 1, 1.5, -2);
}

TEST(ERTransfo2DTest, DirectionAndPointGiveRotationThenTranslation) {
  ERTransfo2D T(ERVector2D(3, 4), ERPoint2D(1, 2));
  EXPECT_TRUE(
      near(T, Affine{(Eigen::Matrix2d() << 0.6, -0.8, 0.8, 0.6).finished(), Eigen::Vector2d(1, 2)}, 1e-15));
  // The rotation is about the origin: the origin goes to p.
  EXPECT_TRUE(near(T.TransFrom(ERPoint2D(0, 0)), Eigen::Vector2d(1, 2), 0));
}

TEST(ERTransfo2DTest, AxisGivesMirrorsAndHalfTurn) {
  expectEntries(ERTransfo2D(X2D), 1, 0, 0, -1, 0, 0);
  expectEntries(ERTransfo2D(Y2D), -1, 0, 0, 1, 0, 0);
  expectEntries(ERTransfo2D(static_cast<Coord2D>(2)), -1, 0, 0, -1, 0, 0);
}

TEST(ERTransfo2DTest, HomothetyStoresRatioAndCentreTerm) {
  expectEntries(ERTransfo2D(3.0, ERPoint2D(1, -2)), 3, 0, 0, 3, -2, 4);
}

TEST(ERTransfo2DTest, HomothetyOfRatioTwoLeavesItsCentreFixed) {
  const ERPoint2D centres[] = {ERPoint2D(0, 0), ERPoint2D(1, -2), ERPoint2D(0.3, 7.1), ERPoint2D(-1e3, 2e-3)};
  for (const ERPoint2D& p : centres) {
    ERTransfo2D H(2.0, p);
    EXPECT_TRUE(near(H.TransFrom(p), ev(p), 1e-12 * (1 + std::fabs(p[X2D]) + std::fabs(p[Y2D]))));
    // Every other point moves away from the centre twice as far.
    const ERPoint2D q = p + ERVector2D(1, 1);
    EXPECT_TRUE(near(H.TransFrom(q), ev(p) + 2 * Eigen::Vector2d(1, 1), 1e-9));
  }
}

TEST(ERTransfo2DTest, CopiesAreDeepAndStartWithoutHolders) {
  ERTransfo2D a(ERVector2D(1, 2));
  a.addReference();
  ERTransfo2D b(a);
  EXPECT_EQ(b.references(), -1);
  EXPECT_TRUE(b == a);
  b = rotation(1.0);
  expectEntries(a, 1, 0, 0, 1, 1, 2);
  EXPECT_TRUE(b == rotation(1.0));
}

TEST(ERTransfo2DTest, RotationAndScalingBuilders) {
  const double a = 0.7;
  expectEntries(rotation(a), std::cos(a), -std::sin(a), std::sin(a), std::cos(a), 0, 0);
  expectEntries(Scaling(-2.5), -2.5, 0, 0, -2.5, 0, 0);
}

TEST(ERTransfo2DTest, SymmetryAboutTheAxes) {
  EXPECT_TRUE(near(Symmetry(ERVector2D(2, 0)),
                   Affine{(Eigen::Matrix2d() << 1, 0, 0, -1).finished(), Eigen::Vector2d::Zero()}, 1e-15));
  EXPECT_TRUE(near(Symmetry(ERVector2D(0, 0.5)),
                   Affine{(Eigen::Matrix2d() << -1, 0, 0, 1).finished(), Eigen::Vector2d::Zero()}, 1e-15));
  EXPECT_TRUE(near(Symmetry(ERVector2D(-1, 0)),
                   Affine{(Eigen::Matrix2d() << 1, 0, 0, -1).finished(), Eigen::Vector2d::Zero()}, 1e-15));
}

TEST(ERTransfo2DTest, SymmetryAboutTheDiagonal) {
  const Affine swapXY{(Eigen::Matrix2d() << 0, 1, 1, 0).finished(), Eigen::Vector2d::Zero()};
  EXPECT_TRUE(near(Symmetry(ERVector2D(1, 1)), swapXY, 1e-15));
  EXPECT_TRUE(near(Symmetry(ERVector2D(3, 3)).TransFrom(ERPoint2D(2, 5)), Eigen::Vector2d(5, 2), 1e-14));
}

TEST(ERTransfo2DTest, SymmetryTakesAnAxisBelowXAsItsMirrorImage) {
  // (1,-1) gives the mirror about y = x, not about y = -x.
  const Affine swapXY{(Eigen::Matrix2d() << 0, 1, 1, 0).finished(), Eigen::Vector2d::Zero()};
  EXPECT_TRUE(near(Symmetry(ERVector2D(1, -1)), swapXY, 1e-15));
}

TEST(ERTransfo2DTest, SymmetryOfRandomAxesAgreesWithEigen) {
  RandomTransfos r(11);
  for (int i = 0; i < 200; ++i) {
    const ERVector2D axis(r.point());
    Eigen::Vector2d u(axis[X2D], std::fabs(axis[Y2D]));
    u.normalize();
    const Affine ref{2 * u * u.transpose() - Eigen::Matrix2d::Identity(), Eigen::Vector2d::Zero()};
    EXPECT_TRUE(near(Symmetry(axis), ref, 1e-14)) << axis;
    EXPECT_FALSE(Symmetry(axis).isDirect());
  }
}

TEST(ERTransfo2DTest, SymmetryOfAZeroAxisDies) {
  VTEST_CHECKING_ONLY();
  EXPECT_DEATH(Symmetry(ERVector2D(0, 0)), vtest::reportRegexAnyLine("norme(symAxe) >= 1e-15", kUnit));
}

TEST(ERTransfo2DTest, SymmetryOfAZeroAxisReportsAndGivesNaN) {
  VTEST_CONTINUING_ONLY();
  ERTransfo2D S;
  const std::string err = vtest::captureStderr([&] { S = Symmetry(ERVector2D(0, 0)); });
  EXPECT_TRUE(isOneReport(err, "norme(symAxe) >= 1e-15")) << err;
  // The angle is then taken from 0/0: the matrix is NaN, the translation zero.
  EXPECT_TRUE(allNaN(S));
  EXPECT_EQ(S.getTrans(), ERVector2D(0, 0));
}

TEST(ERTransfo2DTest, SymmetryJustAboveTheBoundIsNotReported) {
  const std::string err = vtest::captureStderr([] {
    ERTransfo2D S = Symmetry(ERVector2D(2e-15, 0));
    EXPECT_TRUE(
        near(S, Affine{(Eigen::Matrix2d() << 1, 0, 0, -1).finished(), Eigen::Vector2d::Zero()}, 1e-15));
  });
  EXPECT_EQ(err, "");
}

// ---------------------------------------------------------------------------------------------
// Application, composition, inverse

TEST(ERTransfo2DTest, TransToUndoesTransFromForRotationsHomothetiesAndProducts) {
  RandomTransfos r(1);
  for (int i = 0; i < 300; ++i) {
    Affine ref;
    const ERTransfo2D T = r.direct(ref);
    const ERPoint2D p = r.point();
    EXPECT_TRUE(near(T.TransTo(T.TransFrom(p)), ev(p), 1e-9 * scaleOf(ref)));
    const ERVector2D v(r.point());
    EXPECT_TRUE(near(T.TransTo(T.TransFrom(v)), ev(v), 1e-9 * scaleOf(ref)));
  }
}

TEST(ERTransfo2DTest, TransToOfAMirrorGivesMinusThePoint) {
  const ERTransfo2D M(X2D);
  const ERPoint2D points[] = {ERPoint2D(1, 2), ERPoint2D(-3.5, 0.25), ERPoint2D(0, 7)};
  for (const ERPoint2D& p : points) {
    EXPECT_EQ(M.TransTo(M.TransFrom(p)), -p);
    EXPECT_EQ(M.TransTo(M.TransFrom(ERVector2D(p))), -ERVector2D(p));
    EXPECT_EQ(M << (M >> p), -p);
  }
}

TEST(ERTransfo2DTest, TransFromAgreesWithEigen) {
  RandomTransfos r(2);
  for (int i = 0; i < 300; ++i) {
    Affine ref;
    const ERTransfo2D T = (i % 3 == 0) ? r.mirrored(ref) : r.direct(ref);
    const ERPoint2D p = r.point();
    const double tol = 1e-11 * scaleOf(ref) * 10;
    EXPECT_TRUE(near(T.TransFrom(p), ref.A * ev(p) + ref.t, tol));
    const ERVector2D v(r.point());
    EXPECT_TRUE(near(T.TransFrom(v), ref.A * ev(v), tol));  // vectors ignore the translation
  }
}

TEST(ERTransfo2DTest, TransToIsTransposeOverDeterminant) {
  RandomTransfos r(3);
  for (int i = 0; i < 300; ++i) {
    Affine ref;
    const bool mirror = i % 2 == 0;
    const ERTransfo2D T = mirror ? r.mirrored(ref) : r.direct(ref);
    const Eigen::Matrix2d inv = ref.A.transpose() / ref.A.determinant();
    // For a direct similitude that is the inverse; with a mirror it is minus the inverse.
    EXPECT_TRUE(inv.isApprox((mirror ? -1.0 : 1.0) * ref.A.inverse(), 1e-12));
    const ERPoint2D p = r.point();
    const double tol = 1e-9 * scaleOf(ref);
    EXPECT_TRUE(near(T.TransTo(p), inv * (ev(p) - ref.t), tol));
    const ERVector2D v(r.point());
    EXPECT_TRUE(near(T.TransTo(v), inv * ev(v), tol));
  }
}

TEST(ERTransfo2DTest, CompositionAppliesTheRightOperandFirst) {
  const ERTransfo2D moveRight(ERVector2D(1, 0));
  const ERTransfo2D quarter = rotation(kPi / 2);
  // Rotate (1,0) to (0,1), then move right: (1,1).
  EXPECT_TRUE(near((moveRight * quarter).TransFrom(ERPoint2D(1, 0)), Eigen::Vector2d(1, 1), 1e-15));
  // Move right to (2,0), then rotate: (0,2).
  EXPECT_TRUE(near((quarter * moveRight).TransFrom(ERPoint2D(1, 0)), Eigen::Vector2d(0, 2), 1e-15));
}

TEST(ERTransfo2DTest, CompositionAgreesWithEigen) {
  RandomTransfos r(4);
  for (int i = 0; i < 300; ++i) {
    Affine ra, rb;
    const ERTransfo2D a = (i % 4 == 0) ? r.mirrored(ra) : r.direct(ra);
    const ERTransfo2D b = (i % 5 == 0) ? r.mirrored(rb) : r.direct(rb);
    const Affine ab = ra.then(rb);
    EXPECT_TRUE(near(a * b, ab, 1e-11 * scaleOf(ra) * scaleOf(rb) * 10));
    const ERPoint2D p = r.point();
    EXPECT_TRUE(near((a * b).TransFrom(p), ab.A * ev(p) + ab.t, 1e-10 * scaleOf(ab) * 10));
  }
}

TEST(ERTransfo2DTest, InverseAgreesWithEigen) {
  RandomTransfos r(5);
  for (int i = 0; i < 300; ++i) {
    Affine ref;
    const bool mirror = i % 3 == 0;
    const ERTransfo2D T = mirror ? r.mirrored(ref) : r.direct(ref);
    const Eigen::Matrix2d inv = ref.A.transpose() / ref.A.determinant();
    const Affine expected{inv, -(inv * ref.t)};
    const ERTransfo2D I = ~T;
    EXPECT_TRUE(near(I, expected, 1e-9 * scaleOf(expected)));
    if (!mirror) {
      // A true inverse: both products are the identity.
      EXPECT_TRUE(near(I * T, Affine{}, 1e-9 * scaleOf(ref) * scaleOf(expected)));
      EXPECT_TRUE(near(T * I, Affine{}, 1e-9 * scaleOf(ref) * scaleOf(expected)));
    }
  }
}

TEST(ERTransfo2DTest, InverseOfAMirrorComposedWithItIsTheHalfTurn) {
  const ERTransfo2D M = ERTransfo2D(ERVector2D(2, -1)) * ERTransfo2D(Y2D);
  expectEntries(~M * M, -1, 0, 0, -1, 0, 0);
}

TEST(ERTransfo2DTest, InverseOfASingularMatrixDies) {
  VTEST_CHECKING_ONLY();
  EXPECT_DEATH(~Scaling(0.0), vtest::reportRegexAnyLine("det() != 0", kUnit));
}

TEST(ERTransfo2DTest, InverseOfASingularMatrixReportsAndDividesByZero) {
  VTEST_CONTINUING_ONLY();
  ERTransfo2D I;
  const std::string err = vtest::captureStderr([&] { I = ~Scaling(0.0); });
  EXPECT_TRUE(isOneReport(err, "det() != 0")) << err;
  // It then goes on dividing by the zero determinant.
  EXPECT_TRUE(allNaN(I));
}

// A NaN entry passes the non-zero check and fails the recomputed-determinant check.
TEST(ERTransfo2DTest, InverseWithANaNDeterminantDies) {
  VTEST_CHECKING_ONLY();
  const ERTransfo2D T(std::numeric_limits<double>::quiet_NaN(), ERPoint2D(1, 1));
  EXPECT_DEATH(~T, vtest::reportRegexAnyLine("det() == _det", kUnit));
}

TEST(ERTransfo2DTest, InverseWithANaNDeterminantReportsAndGivesNaN) {
  VTEST_CONTINUING_ONLY();
  const ERTransfo2D T(std::numeric_limits<double>::quiet_NaN(), ERPoint2D(1, 1));
  ERTransfo2D I;
  const std::string err = vtest::captureStderr([&] { I = ~T; });
  EXPECT_TRUE(isOneReport(err, "det() == _det")) << err;
  EXPECT_TRUE(allNaN(I));
}

TEST(ERTransfo2DTest, TransToOfASingularMatrixIsNotChecked) {
  const std::string err = vtest::captureStderr([] {
    const ERPoint2D p = Scaling(0.0).TransTo(ERPoint2D(1, 1));
    EXPECT_TRUE(std::isnan(p[X2D]) && std::isnan(p[Y2D]));
  });
  EXPECT_EQ(err, "");
}

// ---------------------------------------------------------------------------------------------
// Point and pole vectors, free operators

TEST(ERTransfo2DTest, OperatorsOnPointsAndVectorsGiveTransformedCopies) {
  RandomTransfos r(6);
  for (int i = 0; i < 50; ++i) {
    Affine ref;
    const ERTransfo2D T = r.direct(ref);
    const ERPoint2D p = r.point();
    const ERVector2D v(r.point());
    const double tol = 1e-9 * scaleOf(ref);
    EXPECT_TRUE(near(T >> p, ref.A * ev(p) + ref.t, tol));
    EXPECT_TRUE(near(T >> v, ref.A * ev(v), tol));
    EXPECT_TRUE(near(T << p, ref.A.inverse() * (ev(p) - ref.t), tol));
    EXPECT_TRUE(near(T << v, ref.A.inverse() * ev(v), tol));
  }
}

TEST(ERTransfo2DTest, InPlaceOnPointVectorsAgreesWithEigen) {
  RandomTransfos r(7);
  for (int i = 0; i < 30; ++i) {
    Affine ref;
    const ERTransfo2D T = r.direct(ref);
    std::vector<ERPoint2D> pts;
    for (int k = 0; k < 1 + i % 7; ++k) pts.push_back(r.point());
    ERPoint2DVec v(pts.data(), static_cast<unsigned>(pts.size()));
    const ERPoint2DVec shared = v;
    T.TransFrom(v);
    const double tol = 1e-9 * scaleOf(ref);
    ASSERT_EQ(v.length(), pts.size());
    for (unsigned k = 0; k < pts.size(); ++k) {
      EXPECT_TRUE(near(v[k], ref.A * ev(pts[k]) + ref.t, tol));
      EXPECT_EQ(shared[k], pts[k]);  // the copy sharing the block is left alone
    }
    T.TransTo(v);
    for (unsigned k = 0; k < pts.size(); ++k) EXPECT_TRUE(near(v[k], ev(pts[k]), tol));
  }
}

TEST(ERTransfo2DTest, InPlaceOnPolesMovesTheCartesianPointAndKeepsTheWeight) {
  RandomTransfos r(8);
  for (int i = 0; i < 30; ++i) {
    Affine ref;
    const ERTransfo2D T = r.direct(ref);
    std::vector<ERPole2DH> poles;
    for (int k = 0; k < 1 + i % 5; ++k) poles.push_back(ERPole2DH(r.point(), r.uniform(0.5, 3.0)));
    ERPole2DHVec v(poles.data(), static_cast<unsigned>(poles.size()));
    T.TransFrom(v);
    const double tol = 1e-9 * scaleOf(ref);
    for (unsigned k = 0; k < poles.size(); ++k) {
      EXPECT_EQ(v[k].weigth(), poles[k].weigth());
      EXPECT_TRUE(near(v[k].castToPoint(), ref.A * ev(poles[k].castToPoint()) + ref.t, tol));
    }
    T.TransTo(v);
    for (unsigned k = 0; k < poles.size(); ++k) {
      EXPECT_EQ(v[k].weigth(), poles[k].weigth());
      EXPECT_TRUE(near(v[k].castToPoint(), ev(poles[k].castToPoint()), tol));
    }
  }
}

TEST(ERTransfo2DTest, PoleOfWeightOneMovesLikeItsPoint) {
  const ERTransfo2D T = ERTransfo2D(ERVector2D(0.5, -1)) * rotation(0.3) * Scaling(2);
  const ERPoint2D p(1.25, -3);
  ERPole2DHVec v(1, ERPole2DH(p, 1.0));
  EXPECT_EQ((T >> v)[0], ERPole2DH(T.TransFrom(p), 1.0));
  EXPECT_EQ((T << v)[0], ERPole2DH(T.TransTo(p), 1.0));
}

TEST(ERTransfo2DTest, OperatorsOnContainersLeaveTheSourceAlone) {
  const ERTransfo2D T(ERVector2D(1, 2));
  const ERPoint2D pts[] = {ERPoint2D(0, 0), ERPoint2D(1, -1)};
  const ERPoint2DVec pv(pts, 2);
  const ERPoint2DVec moved = T >> pv;
  const ERPoint2DVec back = T << pv;
  EXPECT_EQ(pv[0], pts[0]);
  EXPECT_EQ(pv[1], pts[1]);
  EXPECT_EQ(moved[0], ERPoint2D(1, 2));
  EXPECT_EQ(moved[1], ERPoint2D(2, 1));
  EXPECT_EQ(back[0], ERPoint2D(-1, -2));
  EXPECT_EQ(back[1], ERPoint2D(0, -3));

  const ERPole2DH poles[] = {ERPole2DH(2, 4, 2), ERPole2DH(0, 0, 0.5)};
  const ERPole2DHVec hv(poles, 2);
  const ERPole2DHVec hmoved = T >> hv;
  const ERPole2DHVec hback = T << hv;
  EXPECT_EQ(hv[0], poles[0]);
  // (2,4) of weight 2 is the point (1,2): it goes to (2,4), stored as (4,8) with weight 2.
  EXPECT_EQ(hmoved[0], ERPole2DH(4, 8, 2));
  EXPECT_EQ(hmoved[1], ERPole2DH(0.5, 1, 0.5));
  EXPECT_EQ(hback[0], ERPole2DH(0, 0, 2));
  EXPECT_EQ(hback[1], ERPole2DH(-0.5, -1, 0.5));
}

TEST(ERTransfo2DTest, EmptyVectorsKeepSharingTheirStorage) {
  const ERTransfo2D T = rotation(1.0);
  ERPoint2DVec a;
  const ERPoint2DVec a2 = a;
  T.TransFrom(a);
  T.TransTo(a);
  EXPECT_EQ(a.data(), a2.data());
  ERPole2DHVec b;
  const ERPole2DHVec b2 = b;
  T.TransFrom(b);
  T.TransTo(b);
  EXPECT_EQ(b.data(), b2.data());
  EXPECT_EQ((T >> a).length(), 0u);
  EXPECT_EQ((T << b).length(), 0u);
}

// ---------------------------------------------------------------------------------------------
// Decomposition and comparison

TEST(ERTransfo2DTest, DecomposeOfADirectSimilitude) {
  const double a = 0.8, k = 2.5;
  const ERTransfo2D T = ERTransfo2D(ERVector2D(3, -1)) * Scaling(k) * rotation(a);
  ERVector2D t;
  double h = 0;
  int sym = -1;
  ERRadian r = 0;
  T.Decompose(t, h, sym, r);
  EXPECT_TRUE(near(t, Eigen::Vector2d(3, -1), 0));
  EXPECT_NEAR(h, k, 1e-14);
  EXPECT_EQ(sym, 1);  // isDirect(): 1 without a mirror
  EXPECT_NEAR(r, a, 1e-14);
  EXPECT_EQ(T.isDirect(), 1);
  EXPECT_NEAR(T.factHomo(), k, 1e-14);
  EXPECT_NEAR(T.angle(), a, 1e-14);
  EXPECT_EQ(T.origine(), ERPoint2D(3, -1));
}

TEST(ERTransfo2DTest, DecomposeFlagIsZeroForAMirror) {
  const ERTransfo2D T = Scaling(3) * ERTransfo2D(X2D);
  ERVector2D t;
  double h = 0;
  int sym = -1;
  ERRadian r = 1;
  T.Decompose(t, h, sym, r);
  EXPECT_EQ(sym, 0);
  EXPECT_EQ(T.isDirect(), 0);
  EXPECT_NEAR(h, 3, 1e-15);
  EXPECT_EQ(r, 0);
}

TEST(ERTransfo2DTest, AngleOfRandomRotations) {
  RandomTransfos r(9);
  for (int i = 0; i < 100; ++i) {
    const double a = r.uniform(-3.1, 3.1);
    EXPECT_NEAR(rotation(a).angle(), a, 1e-14);
    EXPECT_NEAR((Scaling(r.uniform(0.1, 9)) * rotation(a)).angle(), a, 1e-14);
  }
}

TEST(ERTransfo2DTest, SingularMatrixIsNotDirect) {
  EXPECT_EQ(Scaling(0).isDirect(), 0);
  EXPECT_EQ(Scaling(0).factHomo(), 0);
}

TEST(ERTransfo2DTest, EqualityIsExactAndIsEqualHasAnInclusiveTolerance) {
  const ERTransfo2D a(ERVector2D(1, 2));
  const ERTransfo2D b(ERVector2D(1, 2.5));
  EXPECT_TRUE(a == ERTransfo2D(ERVector2D(1, 2)));
  EXPECT_TRUE(a != b);
  EXPECT_FALSE(a == b);
  EXPECT_TRUE(isEqual(a, b, 0.5));
  EXPECT_FALSE(isEqual(a, b, 0.25));
  EXPECT_FALSE(isEqual(a, Scaling(1.5), 1.0));  // the matrix differs by 0.5, the translation by 2
  EXPECT_TRUE(isEqual(ERTransfo2D(), Scaling(1.5), 0.5));
}

// ---------------------------------------------------------------------------------------------
// Text form

TEST(ERTransfo2DTest, PrintOnWritesTheDecompositionUnderItsLabels) {
  const ERTransfo2D T(ERVector2D(0, 1), ERPoint2D(1.5, -2));  // quarter turn, then (1.5,-2)
  std::ostringstream expected;
  expected << "Transfo2D definie par :  T*H*Sym*R :\n"
           << "    Matrice de transfo                   :\n"
           << "    [0,-1]\n"
           << "    [1,0]\n"
           << "    Translation de vecteur               : <1.5,-2>\n"
           << "    Homothetie de rapport                : 1\n"
           << "    Symetrie par rapport a l'axe 'Ox' ?  : 1\n"
           << "    Rotation d'angle  :                  : " << kPi / 2 << "\n";
  std::ostringstream os;
  os << T;
  EXPECT_EQ(os.str(), expected.str());
}

TEST(ERTransfo2DTest, PrintOnOfAMirrorShowsTheDirectFlagAtZero) {
  std::ostringstream expected;
  expected << "Transfo2D definie par :  T*H*Sym*R :\n"
           << "    Matrice de transfo                   :\n"
           << "    [-2,0]\n"
           << "    [0,2]\n"
           << "    Translation de vecteur               : <0,0>\n"
           << "    Homothetie de rapport                : 2\n"
           << "    Symetrie par rapport a l'axe 'Ox' ?  : 0\n"
           << "    Rotation d'angle  :                  : " << -kPi << "\n";
  std::ostringstream os;
  (Scaling(2) * ERTransfo2D(Y2D)).printOn(os);
  EXPECT_EQ(os.str(), expected.str());
}

// ---------------------------------------------------------------------------------------------
// Registry and persistence

TEST(ERTransfo2DTest, IsRegisteredWithItsFactory) {
  EXPECT_STREQ(ERTransfo2D::desc()->getName(), "ERTransfo2D");
  EXPECT_EQ(ERTransfo2D::desc()->getSize(), sizeof(ERTransfo2D));
  EXPECT_EQ(ERClassRegistration::findCreator("ERTransfo2D"), &create_ERTransfo2D);
  std::unique_ptr<ERObject> made(create_ERTransfo2D());
  EXPECT_EQ(made->isA(), ERTransfo2D::desc());
  EXPECT_STREQ(made->className(), "ERTransfo2D");
  EXPECT_TRUE(made->isKindOf(ERObject::desc()));
  const ERTransfo2D* t = ERTransfo2D::castdown(made.get());
  ASSERT_NE(t, nullptr);
  EXPECT_TRUE(*t == ERTransfo2D());
}

TEST(ERTransfo2DTest, GetCopyIsAnEqualTransformation) {
  const ERTransfo2D T = rotation(0.4) * ERTransfo2D(ERVector2D(1, 2));
  std::unique_ptr<ERObject> copy(T.getCopy());
  EXPECT_EQ(copy->isA(), ERTransfo2D::desc());
  EXPECT_TRUE(*ERTransfo2D::castdown(copy.get()) == T);
}

TEST(ERTransfo2DTest, BinaryStoreSizeIsAlways32) {
  RandomTransfos r(10);
  EXPECT_EQ(ERTransfo2D().binaryStoreSize(), 32u);
  EXPECT_EQ(ERTransfo2D(X2D).binaryStoreSize(), 32u);
  EXPECT_EQ(Symmetry(ERVector2D(1, 2)).binaryStoreSize(), 32u);
  for (int i = 0; i < 10; ++i) {
    Affine ref;
    EXPECT_EQ(r.direct(ref).binaryStoreSize(), 32u);
  }
}

class ERTransfo2DFileTest : public testing::Test {
 protected:
  std::unique_ptr<ERFile> open(const std::string& name, const char* mode) {
    std::unique_ptr<ERFile> f;
    vtest::captureStderr([&] { f = std::make_unique<ERFile>(scratch.path(name).c_str(), mode); });
    return f;
  }
  vtest::ScratchDir scratch;
};

TEST_F(ERTransfo2DFileTest, SavesTheFourMatrixDoublesThenTheTranslation) {
  const ERTransfo2D T = ERTransfo2D(ERVector2D(0.5, -7)) * Scaling(3) * ERTransfo2D(X2D);
  {
    auto f = open("t.bin", "wb");
    ASSERT_TRUE(f->isValid());
    *f << T;
  }
  Bytes expected;
  for (double d : {3.0, 0.0, 0.0, -3.0, 0.5, -7.0}) expected += le64(d);
  EXPECT_EQ(vtest::readBytes(scratch.path("t.bin")), expected);
  EXPECT_EQ(expected.size(), 48u);  // although binaryStoreSize() says 32
}

TEST_F(ERTransfo2DFileTest, RoundTripGivesBackTheSameTransformation) {
  RandomTransfos r(12);
  std::vector<ERTransfo2D> saved;
  {
    auto f = open("t.bin", "wb");
    for (int i = 0; i < 20; ++i) {
      Affine ref;
      saved.push_back(i % 2 ? r.mirrored(ref) : r.direct(ref));
      saved.back().saveGuts(*f);
    }
  }
  auto f = open("t.bin", "rb");
  for (const ERTransfo2D& s : saved) {
    std::unique_ptr<ERObject> obj(ERClassRegistration::findCreator("ERTransfo2D")());
    *f >> *obj;
    EXPECT_TRUE(*ERTransfo2D::castdown(obj.get()) == s);
  }
  char c = 0;
  EXPECT_EQ(f->Read(c), 0);  // nothing was left over
}

TEST_F(ERTransfo2DFileTest, ShortFileLeavesTheMatrixAsItWas) {
  {
    auto f = open("t.bin", "wb");
    const double three[3] = {5, 6, 7};
    f->Write(three, 3);
  }
  auto f = open("t.bin", "rb");
  ERTransfo2D T(ERVector2D(1, 2));
  T.restoreGuts(*f);
  EXPECT_EQ(T.getCoef(X2D, X2D), 1);
  EXPECT_EQ(T.getCoef(X2D, Y2D), 0);
  EXPECT_EQ(T.getCoef(Y2D, X2D), 0);
  EXPECT_EQ(T.getCoef(Y2D, Y2D), 1);
}

}  // namespace
