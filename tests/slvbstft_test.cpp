// The alignment solvers: the statistic series, the best-fit isometry solver and the degrees-of-freedom
// alignment system, checked against their definitions and against Eigen's least-squares alignment.
#include "velmora/slvbstft.h"

#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <Eigen/Geometry>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "test_support.h"
#include "velmora/transf3d.h"

namespace {

const int kAnyLine = -1;  // a report at any line of the unit

const char kUnit[] = "source/align/slvbstft";

// Agreement with Eigen's least-squares motion. The Newton iteration stops once |f| <= 1e-8 with a step
// below 1e-8 relative, and its symmetrised Jacobian makes it converge linearly; with unit-scaled, well
// spread points the Jacobian's eigenvalues are above about 0.1, so the parameters are within about 1e-7
// and the matrix entries (twice as sensitive) within 2e-7. Translations are bTo - R bFrom, with |bFrom|
// below 1 in these tests.
const double kRotationTolerance = 2e-7;

Eigen::Vector3d eig(const ERPoint3D& p) { return Eigen::Vector3d(p[X3D], p[Y3D], p[Z3D]); }
ERPoint3D er(const Eigen::Vector3d& v) { return ERPoint3D(v.x(), v.y(), v.z()); }

Eigen::Matrix3d matrixOf(const ERTr3DRev& t) {
  const ERDoubleMatrix m = t.getMatrix();
  Eigen::Matrix3d r;
  for (unsigned i = 0; i < 3; ++i)
    for (unsigned j = 0; j < 3; ++j) r(i, j) = m(i, j);
  return r;
}

// A seeded random rigid motion: a rotation by angle about a random axis, and a translation.
struct Motion {
  Eigen::Matrix3d R;
  Eigen::Vector3d t;
  Eigen::Vector3d operator()(const Eigen::Vector3d& p) const { return R * p + t; }
};
Motion randomMotion(std::mt19937& rng, double angle) {
  std::normal_distribution<double> g(0.0, 1.0);
  const Eigen::Vector3d axis = Eigen::Vector3d(g(rng), g(rng), g(rng)).normalized();
  return Motion{Eigen::AngleAxisd(angle, axis).toRotationMatrix(),
                Eigen::Vector3d(g(rng), g(rng), g(rng)) * 10.0};
}

// n random points of the cube [-1, 1]^3, and their images under m with optional Gaussian noise.
void randomPairs(std::mt19937& rng, unsigned n, const Motion& m, double noise,
                 std::vector<Eigen::Vector3d>& a, std::vector<Eigen::Vector3d>& b) {
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  std::normal_distribution<double> g(0.0, noise > 0.0 ? noise : 1.0);
  a.clear();
  b.clear();
  for (unsigned i = 0; i < n; ++i) {
    a.emplace_back(u(rng), u(rng), u(rng));
    Eigen::Vector3d q = m(a.back());
    if (noise > 0.0) q += Eigen::Vector3d(g(rng), g(rng), g(rng));
    b.push_back(q);
  }
}

// Eigen's least-squares rigid motion (no scaling) of a onto b.
Eigen::Matrix4d reference(const std::vector<Eigen::Vector3d>& a, const std::vector<Eigen::Vector3d>& b) {
  Eigen::Matrix3Xd src(3, a.size()), dst(3, b.size());
  for (size_t i = 0; i < a.size(); ++i) {
    src.col(static_cast<Eigen::Index>(i)) = a[i];
    dst.col(static_cast<Eigen::Index>(i)) = b[i];
  }
  return Eigen::umeyama(src, dst, false);
}

// Runs f and checks the report of condition: a death test in the checking build, the captured standard
// error in the continuing build.
// With line kAnyLine, any line of the unit.
template <class F>
void expectReport(F f, const std::string& condition, const std::string& unit, int line) {
  const std::string err = "\n\n" + condition + " failed in " + unit + " at line ";
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(f(), line == kAnyLine ? vtest::reportRegexAnyLine(condition, unit)
                                       : vtest::reportRegex(condition, unit, line));
  } else if (line == kAnyLine) {
    EXPECT_TRUE(vtest::contains(vtest::captureStderr(f), err));
  } else {
    EXPECT_TRUE(vtest::contains(vtest::captureStderr(f), vtest::report(condition, unit, line)));
  }
}

// ---------------------------------------------------------------------------------------------
// Statistic series

TEST(ERSerieStatistiqueTest, ResetEmptiesTheSeries) {
  ERSerieStatistique s;
  s.Reset();
  s.Add(3.0);
  s.Add(4.0);
  s.Reset();
  EXPECT_EQ(s.values.length(), 0u);
  EXPECT_EQ(s.mean, 0.0);
  EXPECT_EQ(s.variance, 0.0);
  EXPECT_EQ(s.meanSquare, 0.0);
  EXPECT_EQ(s.min, 0.0);
  EXPECT_EQ(s.max, 0.0);
}

TEST(ERSerieStatistiqueTest, OneValue) {
  ERSerieStatistique s;
  s.Reset();
  s.Add(5.0);
  EXPECT_EQ(s.values.length(), 1u);
  EXPECT_EQ(s.values[0], 5.0);
  EXPECT_EQ(s.mean, 5.0);
  EXPECT_EQ(s.meanSquare, 25.0);
  EXPECT_EQ(s.min, 5.0);
  EXPECT_EQ(s.max, 5.0);
  EXPECT_EQ(s.variance, 0.0);
}

TEST(ERSerieStatistiqueTest, OneTwoThree) {
  ERSerieStatistique s;
  s.Reset();
  s.Add(1.0);
  s.Add(2.0);
  s.Add(3.0);
  EXPECT_DOUBLE_EQ(s.mean, 2.0);
  EXPECT_DOUBLE_EQ(s.meanSquare, 14.0 / 3.0);
  EXPECT_NEAR(s.variance, 1.0, 1e-14);  // through the running mean of squares, not exactly 1
  EXPECT_EQ(s.min, 1.0);
  EXPECT_EQ(s.max, 3.0);
  ASSERT_EQ(s.values.length(), 3u);
  EXPECT_EQ(s.values[0], 1.0);
  EXPECT_EQ(s.values[1], 2.0);
  EXPECT_EQ(s.values[2], 3.0);
}

TEST(ERSerieStatistiqueTest, MinAndMaxFollowTheValuesInAnyOrder) {
  ERSerieStatistique s;
  s.Reset();
  for (double v : {4.0, -2.0, 9.0, 0.5}) s.Add(v);
  EXPECT_EQ(s.min, -2.0);
  EXPECT_EQ(s.max, 9.0);
}

TEST(ERSerieStatistiqueTest, UpdatesFollowTheIncrementalFormulas) {
  // The same recurrences written out, applied to seeded random values: bit for bit the same.
  std::mt19937 rng(7);
  std::uniform_real_distribution<double> u(-10.0, 10.0);
  ERSerieStatistique s;
  s.Reset();
  double mean = 0.0, meanSquare = 0.0, variance = 0.0;
  for (int i = 1; i <= 1000; ++i) {
    const double x = u(rng);
    s.Add(x);
    const double n = i, w = (n - 1) / n;
    mean = x / n + mean * w;
    meanSquare = x * x / n + meanSquare * w;
    if (i > 1) variance = (meanSquare * n - n * mean * mean) / (n - 1);
    ASSERT_EQ(s.mean, mean) << i;
    ASSERT_EQ(s.meanSquare, meanSquare) << i;
    ASSERT_EQ(s.variance, variance) << i;
  }
}

TEST(ERSerieStatistiqueTest, AgreesWithTheStoredValues) {
  std::mt19937 rng(11);
  std::normal_distribution<double> g(3.0, 2.0);
  ERSerieStatistique s;
  s.Reset();
  std::vector<double> xs;
  for (int i = 0; i < 5000; ++i) {
    xs.push_back(g(rng));
    s.Add(xs.back());
  }
  ASSERT_EQ(s.values.length(), xs.size());
  double sum = 0.0;
  for (size_t i = 0; i < xs.size(); ++i) {
    EXPECT_EQ(s.values[static_cast<unsigned>(i)], xs[i]);
    sum += xs[i];
  }
  const double mean = sum / xs.size();
  double ss = 0.0;
  for (double x : xs) ss += (x - mean) * (x - mean);
  EXPECT_NEAR(s.mean, mean, 1e-12);
  EXPECT_NEAR(s.variance, ss / (xs.size() - 1), 1e-9);
}

TEST(ERSerieStatistiqueTest, AddWithoutResetStartsFromWhatTheFieldsHeld) {
  ERSerieStatistique s;
  s.Reset();
  s.Add(2.0);
  // Fields left as an earlier use set them, never reset.
  s.mean = 100.0;
  s.meanSquare = 0.0;
  s.min = -50.0;
  s.max = 50.0;
  s.Add(4.0);  // n = 2, w = 1/2
  EXPECT_EQ(s.mean, 4.0 / 2.0 + 100.0 / 2.0);
  EXPECT_EQ(s.meanSquare, 16.0 / 2.0);
  EXPECT_EQ(s.variance, (8.0 * 2.0 - 2.0 * 52.0 * 52.0) / 1.0);
  EXPECT_EQ(s.min, -50.0);
  EXPECT_EQ(s.max, 50.0);
}

TEST(ERSerieStatistiqueTest, FirstAddKeepsAVarianceThatWasNeverReset) {
  ERSerieStatistique s;
  s.Reset();
  s.variance = 7.0;  // as a series whose doubles were never reset might hold
  s.Add(4.0);
  EXPECT_EQ(s.variance, 7.0);
  EXPECT_EQ(s.mean, 4.0);
}

TEST(ERSerieStatistiqueTest, CapacityGrowsGeometrically) {
  ERSerieStatistique s;
  s.Reset();
  unsigned rebuilds = 0, capacity = s.values.capacity();
  for (int i = 0; i < 100000; ++i) {
    s.Add(i);
    if (s.values.capacity() != capacity) {
      ++rebuilds;
      capacity = s.values.capacity();
    }
  }
  EXPECT_EQ(s.values.length(), 100000u);
  EXPECT_LE(rebuilds, 20u);  // a doubling rule: about log2(100000 / 16) rebuilds
}

// ---------------------------------------------------------------------------------------------
// Point vector

TEST(ERBestFit_Point3DVecTest, DefaultIsEmpty) { EXPECT_EQ(ERBestFit_Point3DVec().length(), 0u); }

TEST(ERBestFit_Point3DVecTest, BarycentreIsTheMeanOfThePoints) {
  ERBestFit_Point3DVec v;
  v.append(ERPoint3D(1, 2, 3));
  v.append(ERPoint3D(3, -2, 5));
  v.append(ERPoint3D(2, 6, 1));
  const ERPoint3D b = v.GetBarycentre();
  EXPECT_EQ(b, ERPoint3D(2, 2, 3));
}

TEST(ERBestFit_Point3DVecTest, BarycentreOfNothingIsNotANumber) {
  const ERPoint3D b = ERBestFit_Point3DVec().GetBarycentre();
  EXPECT_TRUE(std::isnan(b[X3D]));
}

// ---------------------------------------------------------------------------------------------
// Isometry applier

TEST(ERIsometrieApplierTest, GivesTheHandlesOwnResultsBitForBit) {
  std::mt19937 rng(29);
  std::uniform_real_distribution<double> u(-1e3, 1e3);
  const ERPmIsometrie3D frame =
      ERTranslation3D(ERPoint3D(3.5, -2.25, 1e4)) * ERRotation3D(ERVector3D(0.3, -1, 2), 2.7);
  ASSERT_EQ(frame.getRep()->isA(), ERChgRepere3D::desc());
  const ERPmIsometrie3D others[] = {ERPmIsometrie3D(), ERPmIsometrie3D(ERTranslation3D(ERPoint3D(1, 2, 3))),
                                    ERPmIsometrie3D(ERRotation3D(ERVector3D(1, 1, 0), 0.5)), frame};
  for (const ERPmIsometrie3D& iso : others) {
    const ERIsometrieApplier apply(iso);
    for (int i = 0; i < 100; ++i) {
      const ERPoint3D p(u(rng), u(rng), u(rng));
      EXPECT_EQ(apply(p), iso * p) << iso.getRep()->className();
    }
  }
}

// ---------------------------------------------------------------------------------------------
// Best-fit isometry solver

TEST(BestFitSolverTest, ConstructionState) {
  BestFitSolver s(0);
  EXPECT_EQ(s.m_NbPt, 0);
  EXPECT_EQ(s.from.length(), 0u);
  EXPECT_EQ(s.to.length(), 0u);
  EXPECT_EQ(s.scale, 1.0);
  EXPECT_EQ(s.cross, ERDoubleMatrix(3, 9));
  EXPECT_EQ(s.delta, 1e-8);
  EXPECT_EQ(s.rotationOf, &BestFitSolver::rotationOfPseudoVecteur);
  EXPECT_EQ(BestFitSolver(1).rotationOf, &BestFitSolver::rotationOfAngles);
  EXPECT_EQ(BestFitSolver(-4).rotationOf, &BestFitSolver::rotationOfAngles);
}

TEST(BestFitSolverTest, AddPointAppendsAndCounts) {
  BestFitSolver s(0);
  s.AddPoint(ERPoint3D(1, 2, 3), ERPoint3D(4, 5, 6));
  s.AddPoint(ERPoint3D(7, 8, 9), ERPoint3D(0, 1, 2));
  EXPECT_EQ(s.m_NbPt, 2);
  ASSERT_EQ(s.from.length(), 2u);
  EXPECT_EQ(s.from[1], ERPoint3D(7, 8, 9));
  EXPECT_EQ(s.to[0], ERPoint3D(4, 5, 6));
}

TEST(BestFitSolverTest, NegativePairCountIsReported) {
  BestFitSolver s(0);
  s.m_NbPt = -1;
  expectReport([&] { s.AddPoint(ERPoint3D(1, 2, 3), ERPoint3D(4, 5, 6)); }, "m_NbPt>=0", kUnit, 104);
}

TEST(BestFitSolverTest, NegativePairCountAppendsAfterTheReport) {
  VTEST_CONTINUING_ONLY();
  BestFitSolver s(0);
  s.m_NbPt = -1;
  const std::string err = vtest::captureStderr([&] { s.AddPoint(ERPoint3D(1, 2, 3), ERPoint3D(4, 5, 6)); });
  EXPECT_EQ(err, vtest::report("m_NbPt>=0", kUnit, 104));
  EXPECT_EQ(s.m_NbPt, 0);
  EXPECT_EQ(s.from.length(), 1u);
}

TEST(BestFitSolverTest, RAZEmptiesButKeepsCross) {
  BestFitSolver s(0);
  const ERPmIsometrie3D small(ERRotation3D(ERVector3D(0, 0, 1), 0.1));
  for (const ERPoint3D& p : {ERPoint3D(0, 0, 0), ERPoint3D(1, 0, 0), ERPoint3D(0, 1, 0), ERPoint3D(0, 0, 1)})
    s.AddPoint(p, small * p);
  ERPmIsometrie3D r;
  ASSERT_EQ(s.Resoudre(r), 0);
  const ERDoubleMatrix cross = s.cross;
  EXPECT_NE(cross, ERDoubleMatrix(3, 9));
  s.RAZ();
  EXPECT_EQ(s.m_NbPt, 0);
  EXPECT_EQ(s.from.length(), 0u);
  EXPECT_EQ(s.to.length(), 0u);
  EXPECT_EQ(s.scale, 1.0);
  EXPECT_EQ(s.cross, cross);
}

TEST(BestFitSolverTest, FewerThanThreePairsReturnTwoBeforeAnyWork) {
  BestFitSolver s(0);
  s.AddPoint(ERPoint3D(5, 0, 0), ERPoint3D(0, 5, 0));
  s.AddPoint(ERPoint3D(0, 0, 0), ERPoint3D(1, 0, 0));
  ERPmIsometrie3D r(ERTranslation3D(ERPoint3D(1, 2, 3)));
  const ERTr3DRevRep* before = r.getRep();
  EXPECT_EQ(s.Resoudre(r), 2);
  EXPECT_EQ(r.getRep(), before);
  EXPECT_EQ(s.scale, 1.0);
  EXPECT_EQ(s.cross, ERDoubleMatrix(3, 9));
}

TEST(BestFitSolverTest, CoincidingPairsGiveTheIdentityAndTheTranslationBetweenBarycentres) {
  // After centring the two sets coincide, and each centred point has one non-zero coordinate, so that
  // every product of the cross terms is exact: f(0) = 0 exactly.
  BestFitSolver s(0);
  const ERPoint3D shift(3, -1, 2);
  const ERPoint3D pts[6] = {ERPoint3D(1, 0, 0),  ERPoint3D(-1, 0, 0), ERPoint3D(0, 2, 0),
                            ERPoint3D(0, -2, 0), ERPoint3D(0, 0, 3),  ERPoint3D(0, 0, -3)};
  for (const ERPoint3D& p : pts) s.AddPoint(p, p + shift);
  ERPmIsometrie3D r;
  ASSERT_EQ(s.Resoudre(r), 0);
  const ERDoubleVec f = s.f(ERDoubleVec(3));
  for (unsigned i = 0; i < 3; ++i) EXPECT_EQ(f[i], 0.0);
  EXPECT_EQ(r.getMatrix(), IdentityMatrix(3));
  EXPECT_EQ(r.getTrans(), s.to.GetBarycentre() - s.from.GetBarycentre());
}

TEST(BestFitSolverTest, FromPointsAtTheirBarycentreAreSingular) {
  BestFitSolver s(0);
  for (int i = 0; i < 4; ++i) s.AddPoint(ERPoint3D(1, 2, 3), ERPoint3D(i, 2 * i, -i));
  ERPmIsometrie3D r;
  const ERTr3DRevRep* before = r.getRep();
  EXPECT_EQ(s.Resoudre(r), 3);
  EXPECT_EQ(s.scale, 1.0);
  EXPECT_EQ(s.cross, ERDoubleMatrix(3, 9));
  EXPECT_EQ(r.getRep(), before);
}

TEST(BestFitSolverTest, ScaleIsTheLargestDistanceToTheBarycentre) {
  BestFitSolver s(0);
  s.AddPoint(ERPoint3D(0, 0, 0), ERPoint3D(1, 0, 0));
  s.AddPoint(ERPoint3D(4, 0, 0), ERPoint3D(5, 0, 0));
  s.AddPoint(ERPoint3D(2, 6, 0), ERPoint3D(3, 6, 0));
  ERPmIsometrie3D r;
  ASSERT_EQ(s.Resoudre(r), 0);
  // Barycentre (2, 2, 0): distances sqrt(8), sqrt(8), 4.
  EXPECT_EQ(s.scale, 4.0);
}

TEST(BestFitSolverTest, CrossIsTheMeanOfThePerPairTerms) {
  std::mt19937 rng(3);
  std::vector<Eigen::Vector3d> a, b;
  randomPairs(rng, 50, randomMotion(rng, 0.7), 0.05, a, b);
  BestFitSolver s(0);
  for (size_t i = 0; i < a.size(); ++i) s.AddPoint(er(a[i]), er(b[i]));
  ERPmIsometrie3D r;
  ASSERT_EQ(s.Resoudre(r), 0);
  // The definition: the mean over the pairs of the terms of B x (R A), with A and B centred and scaled.
  Eigen::Vector3d ca = Eigen::Vector3d::Zero(), cb = Eigen::Vector3d::Zero();
  for (size_t i = 0; i < a.size(); ++i) {
    ca += a[i];
    cb += b[i];
  }
  ca /= a.size();
  cb /= b.size();
  double scale = 0.0;
  for (const auto& p : a) scale = std::max(scale, (p - ca).norm());
  Eigen::Matrix<double, 3, 9> expected = Eigen::Matrix<double, 3, 9>::Zero();
  for (size_t i = 0; i < a.size(); ++i) {
    const Eigen::Vector3d A = (a[i] - ca) / scale, B = (b[i] - cb) / scale;
    for (int k = 0; k < 3; ++k) {
      expected(1, k) += B.z() * A[k];
      expected(2, k) -= B.y() * A[k];
      expected(0, k + 3) -= B.z() * A[k];
      expected(2, k + 3) += B.x() * A[k];
      expected(0, k + 6) += B.y() * A[k];
      expected(1, k + 6) -= B.x() * A[k];
    }
  }
  expected /= static_cast<double>(a.size());
  EXPECT_NEAR(s.scale, scale, 1e-14);
  for (unsigned i = 0; i < 3; ++i)
    for (unsigned j = 0; j < 9; ++j) EXPECT_NEAR(s.cross(i, j), expected(i, j), 1e-14) << i << "," << j;
  // f(x) = cross * R(x) is the mean of B x R A: it vanishes at the solution.
  const Eigen::Matrix3d R = matrixOf(r);
  Eigen::Vector3d mean = Eigen::Vector3d::Zero();
  for (size_t i = 0; i < a.size(); ++i) mean += ((b[i] - cb) / scale).cross(R * ((a[i] - ca) / scale));
  // The solver stops once |f| <= 1e-8 (the rebuilt rotation adds only rounding).
  EXPECT_LT((mean / a.size()).norm(), 1e-8);
}

TEST(BestFitSolverTest, SecondResoudreStartsFromThePreviousCross) {
  std::mt19937 rng(5);
  std::vector<Eigen::Vector3d> a, b;
  randomPairs(rng, 20, randomMotion(rng, 1.1), 0.01, a, b);
  BestFitSolver s(0);
  for (size_t i = 0; i < a.size(); ++i) s.AddPoint(er(a[i]), er(b[i]));
  ERPmIsometrie3D r1, r2;
  ASSERT_EQ(s.Resoudre(r1), 0);
  const ERDoubleMatrix first = s.cross;
  ASSERT_EQ(s.Resoudre(r2), 0);
  // The old content enters with weight 1 at the first pair: cross = old / n + mean = (1 + 1 / n) mean.
  const double n = static_cast<double>(a.size());
  for (unsigned i = 0; i < 3; ++i)
    for (unsigned j = 0; j < 9; ++j) EXPECT_NEAR(s.cross(i, j), first(i, j) * (1.0 + 1.0 / n), 1e-14);
  // A multiple of the same equations has the same root.
  EXPECT_LT((matrixOf(r1) - matrixOf(r2)).cwiseAbs().maxCoeff(), kRotationTolerance);
}

TEST(BestFitSolverTest, RotationOfPseudoVecteurIsTheCayleyMatrix) {
  ERDoubleVec x(3);
  x[0] = 0.3;
  x[1] = -0.4;
  x[2] = 1.2;
  const ERDoubleVec r = BestFitSolver::rotationOfPseudoVecteur(x);
  ASSERT_EQ(r.length(), 9u);
  const Eigen::Vector3d v(0.3, -0.4, 1.2);
  Eigen::Matrix3d A;
  A << 0, -v.z(), v.y(), v.z(), 0, -v.x(), -v.y(), v.x(), 0;
  const Eigen::Matrix3d R = Eigen::Matrix3d::Identity() + 2.0 / (1.0 + v.squaredNorm()) * (A + A * A);
  // The same rotation: about v by 2 atan |v|.
  const Eigen::Matrix3d Q = Eigen::AngleAxisd(2.0 * std::atan(v.norm()), v.normalized()).toRotationMatrix();
  for (int i = 0; i < 9; ++i) {
    EXPECT_NEAR(r[static_cast<unsigned>(i)], R(i / 3, i % 3), 1e-15);
    EXPECT_NEAR(r[static_cast<unsigned>(i)], Q(i / 3, i % 3), 1e-14);
  }
}

TEST(BestFitSolverTest, RotationOfAnglesIsRzRyRx) {
  ERDoubleVec x(3);
  x[0] = 0.7;
  x[1] = -0.2;
  x[2] = 2.5;
  const ERDoubleVec r = BestFitSolver::rotationOfAngles(x);
  ASSERT_EQ(r.length(), 9u);
  const Eigen::Matrix3d Q =
      (Eigen::AngleAxisd(0.7, Eigen::Vector3d::UnitZ()) * Eigen::AngleAxisd(-0.2, Eigen::Vector3d::UnitY()) *
       Eigen::AngleAxisd(2.5, Eigen::Vector3d::UnitX()))
          .toRotationMatrix();
  for (int i = 0; i < 9; ++i) EXPECT_NEAR(r[static_cast<unsigned>(i)], Q(i / 3, i % 3), 1e-15);
}

// The solvers of both parametrisations agree with Eigen's least-squares motion.
class BestFitSolverKindTest : public testing::TestWithParam<int> {};

TEST_P(BestFitSolverKindTest, AgreesWithEigenOnNoisyPairs) {
  std::mt19937 rng(17 + GetParam());
  for (int trial = 0; trial < 10; ++trial) {
    std::vector<Eigen::Vector3d> a, b;
    // Rotations well inside the reach of a start at the identity.
    randomPairs(rng, 30, randomMotion(rng, 0.1 * trial), 0.02, a, b);
    BestFitSolver s(GetParam());
    for (size_t i = 0; i < a.size(); ++i) s.AddPoint(er(a[i]), er(b[i]));
    ERPmIsometrie3D r;
    ASSERT_EQ(s.Resoudre(r), 0);
    const Eigen::Matrix4d ref = reference(a, b);
    EXPECT_LT((matrixOf(r) - ref.block<3, 3>(0, 0)).cwiseAbs().maxCoeff(), kRotationTolerance) << trial;
    EXPECT_LT((eig(r.getTrans()) - ref.block<3, 1>(0, 3)).cwiseAbs().maxCoeff(), 2 * kRotationTolerance)
        << trial;
  }
}

INSTANTIATE_TEST_SUITE_P(Kinds, BestFitSolverKindTest, testing::Values(0, 1));

// ---------------------------------------------------------------------------------------------
// Degrees-of-freedom alignment system

TEST(DegauLibreSystemTest, ConstructionState) {
  DegauLibreSystem s(DegauLibreSystem::Isometrie);
  EXPECT_EQ(s.type, DegauLibreSystem::Isometrie);
  EXPECT_EQ(s.from.length(), 0u);
  EXPECT_EQ(s.to.length(), 0u);
  EXPECT_EQ(s.initial.getRep(), GetIdentity());
  EXPECT_EQ(static_cast<int>(DegauLibreSystem::Translation), 2);
  EXPECT_EQ(static_cast<int>(DegauLibreSystem::Isometrie), 3);
}

TEST(DegauLibreSystemTest, ThreeExactPairsAreMappedOntoEachOther) {
  const ERPmIsometrie3D motion =
      ERTranslation3D(ERPoint3D(4, -2, 7)) * ERRotation3D(ERVector3D(1, 2, 2), 0.9);
  const ERPoint3D pts[3] = {ERPoint3D(0, 0, 0), ERPoint3D(3, 1, 0), ERPoint3D(-1, 2, 5)};
  DegauLibreSystem s(DegauLibreSystem::Isometrie);
  for (const ERPoint3D& p : pts) s.AddPoint(p, motion * p);
  ERPmIsometrie3D r;
  ASSERT_EQ(s.Resoudre(r), 0);
  for (const ERPoint3D& p : pts) EXPECT_TRUE(isEqual(r * p, motion * p, 1e-12)) << (r * p);
  EXPECT_TRUE(r.isValid());
}

TEST(DegauLibreSystemTest, InitialIsTheClosedFormOnTheCentredLeadingPoints) {
  const ERPmIsometrie3D motion = ERTranslation3D(ERPoint3D(1, 1, 1)) * ERRotation3D(ERVector3D(0, 1, 0), 2.0);
  const ERPoint3D pts[5] = {ERPoint3D(0, 0, 0), ERPoint3D(3, 1, 0), ERPoint3D(-1, 2, 5), ERPoint3D(2, 2, 2),
                            ERPoint3D(-3, 0, 1)};
  DegauLibreSystem s(DegauLibreSystem::Isometrie);
  for (const ERPoint3D& p : pts) s.AddPoint(p, motion * p);
  ERPmIsometrie3D r;
  ASSERT_EQ(s.Resoudre(r), 0);
  const ERPoint3D bFrom = s.from.GetBarycentre(), bTo = s.to.GetBarycentre();
  // Exact pairs: the frames of the first three centred points already carry every centred point.
  for (const ERPoint3D& p : pts) EXPECT_TRUE(isEqual(s.initial * (p - bFrom), motion * p - bTo, 1e-12));
  EXPECT_EQ(s.initial.getRep()->isA(), ERChgRepere3D::desc());
}

TEST(DegauLibreSystemTest, TranslationTypeReturnsTheZeroTranslation) {
  DegauLibreSystem s(DegauLibreSystem::Translation);
  s.AddPoint(ERPoint3D(0, 0, 0), ERPoint3D(10, 0, 0));
  s.AddPoint(ERPoint3D(1, 0, 0), ERPoint3D(11, 5, 0));
  ERPmIsometrie3D r(ERRotation3D(ERVector3D(0, 0, 1), 1.0));
  EXPECT_EQ(s.Resoudre(r), 0);
  EXPECT_EQ(r.getRep()->isA(), ERTranslation3D::desc());
  EXPECT_EQ(r.getTrans(), ERPoint3D(0, 0, 0));
  EXPECT_EQ(r.getMatrix(), IdentityMatrix(3));
}

TEST(DegauLibreSystemTest, ResoudreTranslationIgnoresTheSecondSet) {
  DegauLibreSystem s(DegauLibreSystem::Isometrie);
  for (int i = 0; i < 4; ++i) s.AddPoint(ERPoint3D(i, i * i, 1), ERPoint3D(i + 100, 0, -50));
  ERPmIsometrie3D r;
  s.ResoudreTranslation(r);
  EXPECT_EQ(r.getTrans(), ERPoint3D(0, 0, 0));
}

TEST(DegauLibreSystemTest, TwoPairsReturnTwoAndLeaveTheResult) {
  DegauLibreSystem s(DegauLibreSystem::Isometrie);
  s.AddPoint(ERPoint3D(0, 0, 0), ERPoint3D(1, 0, 0));
  s.AddPoint(ERPoint3D(1, 0, 0), ERPoint3D(2, 0, 0));
  ERPmIsometrie3D r(ERTranslation3D(ERPoint3D(1, 2, 3)));
  const ERTr3DRevRep* before = r.getRep();
  EXPECT_EQ(s.Resoudre(r), 2);
  EXPECT_EQ(r.getRep(), before);
  EXPECT_EQ(s.initial.getRep(), GetIdentity());
}

TEST(DegauLibreSystemTest, AddPointAfterResoudreExtendsTheSets) {
  DegauLibreSystem s(DegauLibreSystem::Isometrie);
  const ERPoint3D pts[4] = {ERPoint3D(0, 0, 0), ERPoint3D(3, 1, 0), ERPoint3D(-1, 2, 5), ERPoint3D(2, 2, 2)};
  for (int i = 0; i < 3; ++i) s.AddPoint(pts[i], pts[i]);
  ERPmIsometrie3D r;
  ASSERT_EQ(s.Resoudre(r), 0);
  s.AddPoint(pts[3], pts[3] + ERPoint3D(0, 0, 1));
  ASSERT_EQ(s.from.length(), 4u);
  ASSERT_EQ(s.to.length(), 4u);
  EXPECT_EQ(s.from[3], pts[3]);
  EXPECT_EQ(s.to[3], pts[3] + ERPoint3D(0, 0, 1));
  EXPECT_EQ(s.from[0], pts[0]);
}

TEST(DegauLibreSystemTest, AddPointsOnAnEmptySystemSharesTheVectors) {
  ERBestFit_Point3DVec a, b;
  for (int i = 0; i < 5; ++i) {
    a.append(ERPoint3D(i, 2 * i, 1));
    b.append(ERPoint3D(-i, 0, i * i));
  }
  DegauLibreSystem s(DegauLibreSystem::Isometrie);
  s.AddPoints(a, b);
  EXPECT_EQ(s.from.data(), a.data());  // the same storage, not a copy
  EXPECT_EQ(s.to.data(), b.data());
  EXPECT_EQ(s.from, a);
  EXPECT_EQ(s.to, b);
  // Writing through either side leaves the other as it was.
  s.AddPoint(ERPoint3D(9, 9, 9), ERPoint3D(8, 8, 8));
  EXPECT_EQ(a.length(), 5u);
  EXPECT_EQ(s.from.length(), 6u);
}

TEST(DegauLibreSystemTest, AddPointsAppendsLikeAddPoint) {
  ERBestFit_Point3DVec a, b;
  for (int i = 0; i < 4; ++i) {
    a.append(ERPoint3D(i, 1, 0));
    b.append(ERPoint3D(0, i, 1));
  }
  DegauLibreSystem bulk(DegauLibreSystem::Isometrie), single(DegauLibreSystem::Isometrie);
  bulk.AddPoint(ERPoint3D(7, 7, 7), ERPoint3D(6, 6, 6));
  single.AddPoint(ERPoint3D(7, 7, 7), ERPoint3D(6, 6, 6));
  bulk.AddPoints(a, b);
  for (unsigned i = 0; i < a.length(); ++i) single.AddPoint(a[i], b[i]);
  EXPECT_EQ(bulk.from, single.from);
  EXPECT_EQ(bulk.to, single.to);
  EXPECT_NE(bulk.from.data(), a.data());
}

TEST(DegauLibreSystemTest, AddPointsOfUnequalLengthsIsReported) {
  ERBestFit_Point3DVec a, b;
  a.append(ERPoint3D(1, 0, 0));
  a.append(ERPoint3D(2, 0, 0));
  b.append(ERPoint3D(3, 0, 0));
  DegauLibreSystem s(DegauLibreSystem::Isometrie);
  expectReport([&] { s.AddPoints(a, b); }, "a.length()==b.length()", kUnit, kAnyLine);
}

TEST(DegauLibreSystemTest, AddPointsOfUnequalLengthsTakesTheShorter) {
  VTEST_CONTINUING_ONLY();
  ERBestFit_Point3DVec a, b;
  a.append(ERPoint3D(1, 0, 0));
  a.append(ERPoint3D(2, 0, 0));
  b.append(ERPoint3D(3, 0, 0));
  DegauLibreSystem s(DegauLibreSystem::Isometrie);
  vtest::captureStderr([&] { s.AddPoints(a, b); });
  ASSERT_EQ(s.from.length(), 1u);
  ASSERT_EQ(s.to.length(), 1u);
  EXPECT_EQ(s.from[0], ERPoint3D(1, 0, 0));
  EXPECT_EQ(s.to[0], ERPoint3D(3, 0, 0));
}

TEST(DegauLibreSystemTest, RAZEmptiesTheSetsButKeepsTypeAndInitial) {
  DegauLibreSystem s(DegauLibreSystem::Isometrie);
  const ERPmIsometrie3D motion(ERRotation3D(ERVector3D(1, 0, 0), 0.5));
  const ERPoint3D pts[3] = {ERPoint3D(0, 0, 0), ERPoint3D(3, 1, 0), ERPoint3D(-1, 2, 5)};
  for (const ERPoint3D& p : pts) s.AddPoint(p, motion * p);
  ERPmIsometrie3D r;
  ASSERT_EQ(s.Resoudre(r), 0);
  const ERTr3DRevRep* initial = s.initial.getRep();
  s.RAZ();
  EXPECT_EQ(s.from.length(), 0u);
  EXPECT_EQ(s.to.length(), 0u);
  EXPECT_EQ(s.type, DegauLibreSystem::Isometrie);
  EXPECT_EQ(s.initial.getRep(), initial);
  EXPECT_EQ(s.Resoudre(r), 2);
}

TEST(DegauLibreSystemTest, AnyTypeOtherThanTwoSolvesTheRigidMotion) {
  DegauLibreSystem s(static_cast<DegauLibreSystem::Type>(7));
  const ERPmIsometrie3D motion = ERTranslation3D(ERPoint3D(0, 5, 0)) * ERRotation3D(ERVector3D(0, 0, 1), 0.3);
  const ERPoint3D pts[3] = {ERPoint3D(0, 0, 0), ERPoint3D(3, 1, 0), ERPoint3D(-1, 2, 5)};
  for (const ERPoint3D& p : pts) s.AddPoint(p, motion * p);
  ERPmIsometrie3D r;
  ASSERT_EQ(s.Resoudre(r), 0);
  for (const ERPoint3D& p : pts) EXPECT_TRUE(isEqual(r * p, motion * p, 1e-12));
}

TEST(DegauLibreSystemTest, AgreesWithEigenOnNoisyPairsAtAnyAngle) {
  std::mt19937 rng(23);
  const double pi = 3.141592653589793;
  for (double angle : {0.0, 1e-6, 0.5, 2.0, pi - 1e-6, pi}) {
    std::vector<Eigen::Vector3d> a, b;
    randomPairs(rng, 200, randomMotion(rng, angle), 0.01, a, b);
    DegauLibreSystem s(DegauLibreSystem::Isometrie);
    for (size_t i = 0; i < a.size(); ++i) s.AddPoint(er(a[i]), er(b[i]));
    ERPmIsometrie3D r;
    ASSERT_EQ(s.Resoudre(r), 0) << angle;
    const Eigen::Matrix4d ref = reference(a, b);
    EXPECT_LT((matrixOf(r) - ref.block<3, 3>(0, 0)).cwiseAbs().maxCoeff(), kRotationTolerance) << angle;
    EXPECT_LT((eig(r.getTrans()) - ref.block<3, 1>(0, 3)).cwiseAbs().maxCoeff(), 2 * kRotationTolerance)
        << angle;
  }
}

TEST(DegauLibreSystemTest, FarPointMakesTheRefinementFail) {
  // The far point's squared distance overflows: the refinement's scale is infinite, every scaled point
  // is zero, the Jacobian vanishes and the best-fit solver gives up: -1, result untouched.
  DegauLibreSystem s(DegauLibreSystem::Isometrie);
  s.AddPoint(ERPoint3D(0, 0, 0), ERPoint3D(0, 0, 0));
  s.AddPoint(ERPoint3D(0, 1, 0), ERPoint3D(0, 1, 0));
  s.AddPoint(ERPoint3D(0, 0, 1), ERPoint3D(0, 0, 1));
  s.AddPoint(ERPoint3D(1e300, 0, 0), ERPoint3D(1, 1, 1));
  ERPmIsometrie3D r;
  const ERTr3DRevRep* before = r.getRep();
  EXPECT_EQ(s.Resoudre(r), -1);
  EXPECT_EQ(r.getRep(), before);
}

TEST(DegauLibreSystemTest, CollinearLeadingPointsReachTheFrameCheck) {
  // The first three points of the first set lie on a line: the frame has no third axis.
  DegauLibreSystem s(DegauLibreSystem::Isometrie);
  const ERPoint3D pts[4] = {ERPoint3D(0, 0, 0), ERPoint3D(1, 0, 0), ERPoint3D(2, 0, 0), ERPoint3D(0, 1, 0)};
  for (const ERPoint3D& p : pts) s.AddPoint(p, p);
  ERPmIsometrie3D r;
  const std::string regex =
      vtest::reportRegexAnyLine("::isEqual(determinant(m_mat),1.0)", "source/align/transf3d");
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(s.Resoudre(r), regex);
  } else {
    const std::string err = vtest::captureStderr([&] { s.Resoudre(r); });
    EXPECT_TRUE(vtest::contains(err, "::isEqual(determinant(m_mat),1.0) failed in source/align/transf3d"));
  }
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// The fast paths against the literal sequence of steps, bit for bit

namespace {

// Equal to the last bit (NaN never occurs here).
void expectSameBits(const ERPmIsometrie3D& a, const ERPmIsometrie3D& b) {
  const ERDoubleMatrix ma = a.getMatrix(), mb = b.getMatrix();
  for (unsigned i = 0; i < 3; ++i)
    for (unsigned j = 0; j < 3; ++j) EXPECT_EQ(ma(i, j), mb(i, j)) << i << "," << j;
  const ERPoint3D ta = a.getTrans(), tb = b.getTrans();
  for (Coord3D c : {X3D, Y3D, Z3D}) EXPECT_EQ(ta[c], tb[c]) << c;
}

// The full rigid solve written out step by step with the public classes: centred copies, the
// closed-form frames on the first three points, a best-fit solver holding every moved pair, and the
// composition with the translation between the barycentres.
ERPmIsometrie3D literalSolve(const ERBestFit_Point3DVec& from, const ERBestFit_Point3DVec& to) {
  const ERPoint3D bFrom = from.GetBarycentre();
  const ERPoint3D bTo = to.GetBarycentre();
  ERBestFit_Point3DVec cFrom, cTo;
  for (unsigned i = 0; i < from.length(); ++i) {
    cFrom.append(from[i] - bFrom);
    cTo.append(to[i] - bTo);
  }
  const ERChgRepere3D frameA(ERVector3D(cFrom[1] - cFrom[0]), ERVector3D(cFrom[2] - cFrom[0]), cFrom[0]);
  const ERChgRepere3D frameB(ERVector3D(cTo[1] - cTo[0]), ERVector3D(cTo[2] - cTo[0]), cTo[0]);
  const ERPmIsometrie3D initial = frameB * ~frameA;
  BestFitSolver solver(0);
  for (unsigned i = 0; i < cFrom.length(); ++i) solver.AddPoint(initial * cFrom[i], cTo[i]);
  ERPmIsometrie3D refinement;
  EXPECT_EQ(solver.Resoudre(refinement), 0);
  const ERPmIsometrie3D R = refinement * initial;
  const ERTranslation3D translation(bTo - R * bFrom);
  return translation * refinement * initial;
}

}  // namespace

TEST(DegauLibreSystemTest, ResoudreEqualsTheLiteralStepsBitForBit) {
  std::mt19937 rng(4242);
  for (unsigned width : vtest::vectorWidths())
    for (unsigned n : {3u, 4u, 7u, 17u, 250u, 3000u}) {
      const vtest::VectorWidthCap cap(width);
      SCOPED_TRACE(testing::Message() << "width " << cap.inUse);
      for (double angle : {0.3, 2.9}) {
        std::vector<Eigen::Vector3d> a, b;
        randomPairs(rng, n, randomMotion(rng, angle), 0.01, a, b);
        ERBestFit_Point3DVec from, to;
        DegauLibreSystem system(DegauLibreSystem::Isometrie);
        for (unsigned i = 0; i < n; ++i) {
          from.append(er(a[i] * 50.0 + Eigen::Vector3d(300, -20, 7)));
          to.append(er(b[i] * 50.0));
          system.AddPoint(from[i], to[i]);
        }
        ERPmIsometrie3D fast;
        ASSERT_EQ(system.Resoudre(fast), 0) << n;
        SCOPED_TRACE(n);
        expectSameBits(fast, literalSolve(from, to));
      }
    }
}

TEST(ERSetVectorWidthTest, CapsTheWidthAndZeroLetsTheProcessorDecide) {
  const unsigned widest = ERSetVectorWidth(0);
  EXPECT_TRUE(widest == 2 || widest == 4 || widest == 8) << widest;
  EXPECT_EQ(ERSetVectorWidth(2), 2u);
  EXPECT_EQ(ERSetVectorWidth(3), 2u);  // rounded down to a width the passes have
  EXPECT_EQ(ERSetVectorWidth(4), std::min(4u, widest));
  EXPECT_EQ(ERSetVectorWidth(8), widest);
  EXPECT_EQ(ERSetVectorWidth(100), widest);
  EXPECT_EQ(ERSetVectorWidth(0), widest);
}

TEST(BestFitSolverTest, ResoudreIsTheSameAtEveryVectorWidth) {
  // The solver on its own: barycentres, scale and running cross mean read the stored pairs directly.
  std::mt19937 rng(515);
  std::vector<Eigen::Vector3d> a, b;
  randomPairs(rng, 1001, randomMotion(rng, 0.2), 0.01, a, b);
  std::vector<ERPmIsometrie3D> results;
  std::vector<std::vector<double>> crosses;
  for (unsigned width : vtest::vectorWidths()) {
    const vtest::VectorWidthCap cap(width);
    BestFitSolver solver(0);
    for (size_t i = 0; i < a.size(); ++i) solver.AddPoint(er(a[i] * 20.0), er(b[i] * 20.0));
    ERPmIsometrie3D result;
    ASSERT_EQ(solver.Resoudre(result), 0);
    results.push_back(result);
    crosses.emplace_back(solver.cross.data(), solver.cross.data() + 27);
  }
  for (size_t k = 1; k < results.size(); ++k) {
    SCOPED_TRACE(k);
    expectSameBits(results[k], results[0]);
    for (int e = 0; e < 27; ++e)
      EXPECT_EQ(std::memcmp(&crosses[k][e], &crosses[0][e], sizeof(double)), 0) << e;
  }
}

// Scale and cross exactly as the solver defines them: the largest norm of the centred first points,
// and the running mean of the six products per column group with the weights keep and add.
void literalScaleAndCross(const ERBestFit_Point3DVec& from, const ERBestFit_Point3DVec& to, double& scale,
                          ERDoubleMatrix& cross) {
  const ERPoint3D bFrom = from.GetBarycentre(), bTo = to.GetBarycentre();
  scale = 0;
  for (unsigned i = 0; i < from.length(); ++i) scale = ERMax(scale, ERVector3D(from[i] - bFrom).norme());
  if (scale == 0.0) scale = 1.0;
  cross = ERDoubleMatrix(3, 9);
  double keep = 1.0, add = 1.0;
  for (unsigned i = 0; i < from.length(); ++i) {
    const ERPoint3D A = (from[i] - bFrom) / scale, B = (to[i] - bTo) / scale;
    for (unsigned k = 0; k < 3; ++k) {
      const double a = A[static_cast<Coord3D>(k)];
      cross(1, k) = keep * cross(1, k) + add * B[Z3D] * a;
      cross(2, k) = keep * cross(2, k) - add * B[Y3D] * a;
      cross(0, k + 3) = keep * cross(0, k + 3) - add * B[Z3D] * a;
      cross(2, k + 3) = keep * cross(2, k + 3) + add * B[X3D] * a;
      cross(0, k + 6) = keep * cross(0, k + 6) + add * B[Y3D] * a;
      cross(1, k + 6) = keep * cross(1, k + 6) - add * B[X3D] * a;
    }
    keep = static_cast<double>(i + 1) / static_cast<double>(i + 2);
    add = 1.0 / static_cast<double>(i + 2);
  }
}

TEST(BestFitSolverTest, ScaleAndCrossAreTheirDefinitionsBitForBit) {
  // At every vector width, on both sides of the chunks, with a point that is not a number or infinite
  // in the middle (the largest norm then depends on the order of the pairs), and with flat sets whose
  // products in z are all zero (entries that end at a zero of either sign).
  std::mt19937 rng(616);
  std::uniform_real_distribution<double> u(-300.0, 300.0);
  for (unsigned width : vtest::vectorWidths())
    for (unsigned n : {3u, 8u, 9u, 20u, 1001u})
      for (double odd : {0.0, std::nan(""), HUGE_VAL})
        for (bool flat : {false, true}) {
          const vtest::VectorWidthCap cap(width);
          SCOPED_TRACE(testing::Message() << "width " << cap.inUse << ", " << n << " pairs, odd " << odd
                                          << (flat ? ", flat" : ""));
          ERBestFit_Point3DVec from, to;
          BestFitSolver solver(0);
          for (unsigned i = 0; i < n; ++i) {
            const double z = flat ? 0.0 : u(rng);
            from.append(ERPoint3D(u(rng), u(rng), (odd != 0.0 && i == n / 2) ? odd : z));
            to.append(ERPoint3D(u(rng), u(rng), flat ? 0.0 : u(rng)));
            solver.AddPoint(from[i], to[i]);
          }
          ERPmIsometrie3D result;
          solver.Resoudre(result);
          double scale = 0;
          ERDoubleMatrix cross;
          literalScaleAndCross(from, to, scale, cross);
          EXPECT_EQ(std::memcmp(&solver.scale, &scale, sizeof scale), 0) << solver.scale << " vs " << scale;
          for (unsigned e = 0; e < 27; ++e)
            EXPECT_EQ(std::memcmp(solver.cross.data() + e, cross.data() + e, sizeof(double)), 0)
                << e << ": " << solver.cross.data()[e] << " vs " << cross.data()[e];
        }
}

TEST(ERSerieStatistiqueTest, AddEachEqualsAddOneByOneBitForBit) {
  std::mt19937 rng(77);
  std::uniform_real_distribution<double> u(0.0, 3.0);
  for (unsigned n : {1u, 2u, 3u, 1000u}) {
    std::vector<double> x(n);
    for (double& v : x) v = u(rng);
    ERSerieStatistique one, each;
    one.Reset();
    each.Reset();
    one.Add(0.5);  // a series that already holds a value
    each.Add(0.5);
    for (double v : x) one.Add(v);
    each.AddEach(n, [&](unsigned i) { return x[i]; });
    EXPECT_EQ(each.values.length(), one.values.length());
    for (unsigned i = 0; i < one.values.length(); ++i) EXPECT_EQ(each.values[i], one.values[i]);
    EXPECT_EQ(each.mean, one.mean);
    EXPECT_EQ(each.meanSquare, one.meanSquare);
    EXPECT_EQ(each.variance, one.variance);
    EXPECT_EQ(each.min, one.min);
    EXPECT_EQ(each.max, one.max);
  }
}

TEST(ERSerieStatistiqueTest, AddEachOfOneValueOnAnEmptySeriesKeepsTheVariance) {
  ERSerieStatistique s;
  s.Reset();
  s.variance = 7.0;  // left as it was by a first value
  s.AddEach(1, [](unsigned) { return 2.0; });
  EXPECT_EQ(s.variance, 7.0);
  EXPECT_EQ(s.mean, 2.0);
  EXPECT_EQ(s.min, 2.0);
  EXPECT_EQ(s.max, 2.0);
}
