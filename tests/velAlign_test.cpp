// The host-facing alignment entry: the count report, the collinearity checks, the conversion of host
// points, the in-place writing of the host transform, the mean error, and end to end agreement with
// Eigen's least-squares rigid motion on seeded random point sets.
#include "velmora/velAlign.h"

#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <Eigen/Geometry>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "test_support.h"
#include "velmora/host.h"
#include "velmora/slvbstft.h"
#include "velmora/transf3d.h"
#include "velmora/vector3d.h"

namespace {

const std::string kCountReport =
    "source/wrapper/velAlign(57): argument out of range | velAlign::calc_align_transform - invalid number of "
    "points for alignment\n";

using Points = std::vector<Eigen::Vector3d>;

// Interleaves the pairs: element 2k is a[k], element 2k + 1 is b[k].
giPoint3coPageArr interleave(const Points& a, const Points& b) {
  giPoint3coPageArr arr;
  for (size_t k = 0; k < a.size(); ++k) {
    arr.append(giPoint3(a[k].x(), a[k].y(), a[k].z()));
    if (k < b.size()) arr.append(giPoint3(b[k].x(), b[k].y(), b[k].z()));
  }
  return arr;
}

Eigen::Matrix4d matrixOf(const giXform3& x) {
  Eigen::Matrix4d m;
  for (int r = 0; r < 4; ++r)
    for (int c = 0; c < 4; ++c) m(r, c) = x.matrix_value(r, c);
  return m;
}

// The mean distance of the pairs after the transform, computed here in long double.
double meanResidual(const Eigen::Matrix4d& t, const Points& a, const Points& b) {
  long double sum = 0.0L;
  for (size_t i = 0; i < a.size(); ++i) {
    const Eigen::Vector3d p = t.block<3, 3>(0, 0) * a[i] + t.block<3, 1>(0, 3);
    sum += static_cast<long double>((p - b[i]).norm());
  }
  return static_cast<double>(sum / static_cast<long double>(a.size()));
}

Eigen::Matrix4d umeyama(const Points& a, const Points& b) {
  Eigen::Matrix3Xd src(3, a.size()), dst(3, b.size());
  for (size_t i = 0; i < a.size(); ++i) {
    src.col(static_cast<Eigen::Index>(i)) = a[i];
    dst.col(static_cast<Eigen::Index>(i)) = b[i];
  }
  return Eigen::umeyama(src, dst, false);
}

Eigen::Matrix3d rotation(double angle, const Eigen::Vector3d& axis) {
  return Eigen::AngleAxisd(angle, axis.normalized()).toRotationMatrix();
}

Points moved(const Points& a, const Eigen::Matrix3d& R, const Eigen::Vector3d& t) {
  Points b;
  for (const auto& p : a) b.push_back(R * p + t);
  return b;
}

// ---------------------------------------------------------------------------------------------
// Counts and collinear sets

TEST(VelAlignTest, SixPointsOfARigidMotionAreAligned) {
  const Points a = {{0, 0, 0}, {2, 0, 0}, {0, 3, 1}};
  const Eigen::Matrix3d R = rotation(1.2, Eigen::Vector3d(1, -1, 2));
  const Eigen::Vector3d t(5, -3, 8);
  const Points b = moved(a, R, t);
  giXform3 xform;
  double error = -1.0;
  std::string err;
  int result = 0;
  err =
      vtest::captureStderr([&] { result = velAlign::calc_align_transform(interleave(a, b), xform, error); });
  EXPECT_EQ(result, 1);
  EXPECT_EQ(err, "");
  const Eigen::Matrix4d m = matrixOf(xform);
  for (size_t k = 0; k < a.size(); ++k)
    EXPECT_LT((m.block<3, 3>(0, 0) * a[k] + m.block<3, 1>(0, 3) - b[k]).norm(), 1e-12) << k;
  EXPECT_LT((m.block<3, 3>(0, 0) - R).cwiseAbs().maxCoeff(), 1e-12);
  EXPECT_EQ(m.row(3), Eigen::RowVector4d(0, 0, 0, 1));
  EXPECT_GE(error, 0.0);
  EXPECT_LT(error, 1e-12);
}

TEST(VelAlignTest, FourPointsAreReportedAndReturnZero) {
  const Points a = {{0, 0, 0}, {1, 0, 0}};
  const Points b = {{0, 0, 1}, {1, 0, 1}};
  giXform3 xform;
  double error = 42.0;
  int result = -1;
  const std::string err =
      vtest::captureStderr([&] { result = velAlign::calc_align_transform(interleave(a, b), xform, error); });
  EXPECT_EQ(err, kCountReport);
  EXPECT_EQ(result, 0);  // no three points in a set
  EXPECT_EQ(matrixOf(xform), Eigen::Matrix4d::Identity());
  EXPECT_EQ(error, 42.0);
}

TEST(VelAlignTest, EmptyArrayIsReportedAndReturnsZero) {
  giXform3 xform;
  double error = 42.0;
  int result = -1;
  const std::string err = vtest::captureStderr(
      [&] { result = velAlign::calc_align_transform(giPoint3coPageArr(), xform, error); });
  EXPECT_EQ(err, kCountReport);
  EXPECT_EQ(result, 0);
  EXPECT_EQ(error, 42.0);
}

TEST(VelAlignTest, SevenPointsAreReportedAndAlignedWithTheFirstThreePairs) {
  const Points a = {{0, 0, 0}, {2, 0, 0}, {0, 3, 1}};
  const Points b = moved(a, rotation(0.4, Eigen::Vector3d(0, 1, 1)), Eigen::Vector3d(1, 2, 3));
  giPoint3coPageArr seven = interleave(a, b);
  seven.append(giPoint3(100, -50, 7));  // unpaired
  giXform3 x7, x6;
  double e7 = -1.0, e6 = -1.0;
  int result = 0;
  const std::string err =
      vtest::captureStderr([&] { result = velAlign::calc_align_transform(seven, x7, e7); });
  EXPECT_EQ(err, kCountReport);
  EXPECT_EQ(result, 1);
  ASSERT_EQ(velAlign::calc_align_transform(interleave(a, b), x6, e6), 1);
  EXPECT_EQ(matrixOf(x7), matrixOf(x6));  // the unpaired point takes no part in the fit
  EXPECT_EQ(e7, e6);
}

TEST(VelAlignTest, OddCountBelowSixIsReportedAndReturnsZero) {
  const Points a = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
  const Points b = {{0, 0, 0}, {1, 0, 0}};  // five points: the second set has two
  giXform3 xform;
  double error = 42.0;
  int result = -1;
  const std::string err =
      vtest::captureStderr([&] { result = velAlign::calc_align_transform(interleave(a, b), xform, error); });
  EXPECT_EQ(err, kCountReport);
  EXPECT_EQ(result, 0);
  EXPECT_EQ(error, 42.0);
}

TEST(VelAlignTest, UnpairedPointTakesPartInTheCollinearitySearch) {
  // The paired points of the first set lie on a line; the unpaired seventh point does not, so the
  // search passes and the solver receives three collinear leading points: the frame check reports.
  const Points a = {{0, 0, 0}, {1, 0, 0}, {2, 0, 0}};
  const Points b = {{0, 0, 0}, {0, 1, 0}, {0, 0, 1}};
  giPoint3coPageArr seven = interleave(a, b);
  seven.append(giPoint3(0, 5, 0));
  giXform3 xform;
  double error = 42.0;
  const std::string regex =
      vtest::reportRegexAnyLine("::isEqual(determinant(m_mat),1.0)", "source/align/transf3d");
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(velAlign::calc_align_transform(seven, xform, error), regex);
  } else {
    const std::string err =
        vtest::captureStderr([&] { velAlign::calc_align_transform(seven, xform, error); });
    EXPECT_TRUE(vtest::contains(err, kCountReport));
    EXPECT_TRUE(vtest::contains(err, "::isEqual(determinant(m_mat),1.0) failed in source/align/transf3d"));
  }
  // Without the seventh point the first set has no plane at all.
  giXform3 x6;
  EXPECT_EQ(velAlign::calc_align_transform(interleave(a, b), x6, error), 0);
}

TEST(VelAlignTest, CollinearFirstSetReturnsZeroAndLeavesTheTransform) {
  const Points a = {{0, 0, 0}, {1, 1, 1}, {2, 2, 2}, {-3, -3, -3}, {5, 5, 5}};
  const Points b = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {1, 1, 1}};
  giXform3 xform(giXformTranslate, giVector3(1, 2, 3));
  const Eigen::Matrix4d before = matrixOf(xform);
  double error = 42.0;
  int result = -1;
  const std::string err =
      vtest::captureStderr([&] { result = velAlign::calc_align_transform(interleave(a, b), xform, error); });
  EXPECT_EQ(result, 0);
  EXPECT_EQ(err, "");
  EXPECT_EQ(matrixOf(xform), before);
  EXPECT_EQ(error, 42.0);
}

TEST(VelAlignTest, CollinearSecondSetReturnsZeroAndLeavesTheTransform) {
  const Points a = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
  const Points b = {{0, 0, 0}, {0, 0, 1}, {0, 0, 2}, {0, 0, -7}};
  giXform3 xform;
  double error = 42.0;
  EXPECT_EQ(velAlign::calc_align_transform(interleave(a, b), xform, error), 0);
  EXPECT_EQ(matrixOf(xform), Eigen::Matrix4d::Identity());
  EXPECT_EQ(error, 42.0);
}

TEST(VelAlignTest, CoincidentPointsReturnZero) {
  const Points a = {{1, 2, 3}, {1, 2, 3}, {1, 2, 3}};
  const Points b = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
  giXform3 xform;
  double error = 42.0;
  EXPECT_EQ(velAlign::calc_align_transform(interleave(a, b), xform, error), 0);
  EXPECT_EQ(error, 42.0);
}

// ---------------------------------------------------------------------------------------------
// The host transform and the error

TEST(VelAlignTest, TransformIsWrittenInPlaceAndPremultiplied) {
  const Points a = {{0, 0, 0}, {2, 0, 0}, {0, 3, 1}, {1, 1, 1}};
  const Eigen::Matrix3d R = rotation(2.0, Eigen::Vector3d(1, 2, 3));
  const Points b = moved(a, R, Eigen::Vector3d(-4, 1, 9));
  giXform3 fresh;
  double error = 0.0;
  ASSERT_EQ(velAlign::calc_align_transform(interleave(a, b), fresh, error), 1);
  // A transform that already holds a translation keeps it: the linear block is overwritten and the
  // alignment's translation is added by the premultiplication.
  giXform3 shifted(giXformTranslate, giVector3(10, 20, 30));
  ASSERT_EQ(velAlign::calc_align_transform(interleave(a, b), shifted, error), 1);
  const Eigen::Matrix4d f = matrixOf(fresh), s = matrixOf(shifted);
  EXPECT_EQ((s.block<3, 3>(0, 0)), (f.block<3, 3>(0, 0)));
  EXPECT_EQ(s(0, 3), f(0, 3) + 10);
  EXPECT_EQ(s(1, 3), f(1, 3) + 20);
  EXPECT_EQ(s(2, 3), f(2, 3) + 30);
}

TEST(VelAlignTest, ErrorIsTheMeanNotTheRootMeanSquareNorTheMaximum) {
  // A square and its centre: the square's points are matched, the centre is lifted by 5. The offsets are
  // balanced against the centred points, so the best rotation is the identity and the translation lifts
  // everything by the mean offset 1: the distances are 1, 1, 1, 1 and 4. Mean 1.6, RMS 2, maximum 4.
  // The whole second set is then moved rigidly, which changes nothing in the distances.
  const Points a = {{1, 0, 0}, {-1, 0, 0}, {0, 1, 0}, {0, -1, 0}, {0, 0, 0}};
  Points lifted = a;
  lifted[4].z() = 5.0;
  const Eigen::Matrix3d R = rotation(0.8, Eigen::Vector3d(2, -1, 1));
  const Points b = moved(lifted, R, Eigen::Vector3d(3, 4, 5));
  giXform3 xform;
  double error = 0.0;
  ASSERT_EQ(velAlign::calc_align_transform(interleave(a, b), xform, error), 1);
  EXPECT_NEAR(error, 1.6, 1e-12);
  const Eigen::Matrix4d m = matrixOf(xform);
  EXPECT_LT((m.block<3, 3>(0, 0) - R).cwiseAbs().maxCoeff(), 1e-9);
  EXPECT_NEAR(error, meanResidual(m, a, b), 1e-14);
}

TEST(VelAlignTest, InvalidPointIsReportedPerCoordinateAndItsValueUsed) {
  // The fourth point of the first set holds the host's "unset" marker. It is reported once per
  // coordinate, z then y then x, and its stored value is used: its squared distance overflows, the
  // refinement's scale becomes infinite and finds no rotation, so the call returns 0.
  const Points a = {{0, 0, 0}, {0, 1, 0}, {0, 0, 1}, {DBL_MAX, 0, 0}};
  const Points b = {{0, 0, 0}, {0, 1, 0}, {0, 0, 1}, {1, 1, 1}};
  giXform3 xform;
  double error = 42.0;
  int result = -1;
  const std::string err =
      vtest::captureStderr([&] { result = velAlign::calc_align_transform(interleave(a, b), xform, error); });
  EXPECT_EQ(err,
            "giPoint3.h(53): object in incorrect state for operation |giPoint::z const\n"
            "giPoint3.h(47): object in incorrect state for operation |giPoint::y const\n"
            "giPoint3.h(41): object in incorrect state for operation |giPoint::x const\n");
  EXPECT_EQ(result, 0);
  EXPECT_EQ(matrixOf(xform), Eigen::Matrix4d::Identity());
  EXPECT_EQ(error, 42.0);
}

// ---------------------------------------------------------------------------------------------
// End to end against Eigen's least-squares rigid motion

// Tolerances. The rotation comes from a Newton iteration on the stationarity condition of the scaled,
// centred problem that stops once the residual is below 1e-8 with a step below 1e-8 relative; its
// symmetrised Jacobian converges linearly, and for well spread points the Jacobian's eigenvalues are above
// about 0.1, so the rotation parameters are within about 1e-7 and the matrix entries within 2e-7. The
// translation is bTo - R bFrom: its error is the rotation's times the distance of the points from the
// origin, plus rounding. The image of the first set's barycentre depends on the rotation only through
// rounding (about 1e-16 of the coordinates), and is compared much more tightly.
const double kRotationTolerance = 2e-7;

struct Case {
  unsigned pairs;
  double angle;
  double noise;
  double offset;  // distance of the points from the origin
  unsigned seed;
};

std::ostream& operator<<(std::ostream& os, const Case& c) {
  return os << c.pairs << " pairs, angle " << c.angle << ", noise " << c.noise << ", offset " << c.offset
            << ", seed " << c.seed;
}

class VelAlignEndToEndTest : public testing::TestWithParam<Case> {};

TEST_P(VelAlignEndToEndTest, AgreesWithEigenAndReportsTheMeanResidual) {
  const Case c = GetParam();
  std::mt19937 rng(c.seed);
  std::uniform_real_distribution<double> u(-5.0, 5.0);
  std::normal_distribution<double> g(0.0, 1.0);
  const Eigen::Vector3d axis = Eigen::Vector3d(g(rng), g(rng), g(rng)).normalized();
  const Eigen::Matrix3d R = rotation(c.angle, axis);
  const Eigen::Vector3d centre = Eigen::Vector3d(g(rng), g(rng), g(rng)).normalized() * c.offset;
  const Eigen::Vector3d t(u(rng), u(rng), u(rng));
  Points a, b;
  for (unsigned i = 0; i < c.pairs; ++i) {
    a.push_back(centre + Eigen::Vector3d(u(rng), u(rng), u(rng)));
    b.push_back(R * a.back() + t + c.noise * Eigen::Vector3d(g(rng), g(rng), g(rng)));
  }
  giXform3 xform;
  double error = -1.0;
  ASSERT_EQ(velAlign::calc_align_transform(interleave(a, b), xform, error), 1);
  const Eigen::Matrix4d m = matrixOf(xform);
  const Eigen::Matrix4d ref = umeyama(a, b);

  EXPECT_LT((m.block<3, 3>(0, 0) - ref.block<3, 3>(0, 0)).cwiseAbs().maxCoeff(), kRotationTolerance);
  EXPECT_NEAR((m.block<3, 3>(0, 0).determinant()), 1.0, 1e-12);
  EXPECT_LT((m.block<3, 3>(0, 0).transpose() * m.block<3, 3>(0, 0) - Eigen::Matrix3d::Identity()).norm(),
            1e-12);
  const double far = 10.0 + c.offset;
  EXPECT_LT((m.block<3, 1>(0, 3) - ref.block<3, 1>(0, 3)).cwiseAbs().maxCoeff(), kRotationTolerance * far);
  Eigen::Vector3d barycentre = Eigen::Vector3d::Zero();
  for (const auto& p : a) barycentre += p;
  barycentre /= static_cast<double>(a.size());
  const Eigen::Vector3d mine = m.block<3, 3>(0, 0) * barycentre + m.block<3, 1>(0, 3);
  const Eigen::Vector3d theirs = ref.block<3, 3>(0, 0) * barycentre + ref.block<3, 1>(0, 3);
  EXPECT_LT((mine - theirs).cwiseAbs().maxCoeff(), 1e-13 * far);
  EXPECT_EQ(m.row(3), Eigen::RowVector4d(0, 0, 0, 1));

  // The error is the mean residual of the transform written, within the rounding of the residuals
  // (about 1e-16 of the coordinates each) and of the running mean (at most pairs x 1.1e-16 relative).
  const double mean = meanResidual(m, a, b);
  EXPECT_NEAR(error, mean, 2e-16 * c.pairs * mean + 1e-14 * far);
  if (c.noise == 0.0) {
    EXPECT_LT(error, 1e-12 * far);
  }
}

std::vector<Case> endToEndCases() {
  const double pi = 3.141592653589793;
  std::vector<Case> cases;
  unsigned seed = 1;
  for (unsigned pairs : {3u, 4u, 10u, 1000u})
    for (double angle : {0.0, 1e-6, 1e-3, 1.0, pi - 1e-3, pi - 1e-6, pi})
      for (double noise : {0.0, 0.01})
        for (double offset : {0.0, 1e4}) cases.push_back(Case{pairs, angle, noise, offset, seed++});
  cases.push_back(Case{100000, 2.5, 0.01, 0.0, seed++});
  cases.push_back(Case{100000, pi - 1e-6, 0.01, 1e4, seed++});
  cases.push_back(Case{100000, 1e-6, 0.0, 1e4, seed++});
  return cases;
}

INSTANTIATE_TEST_SUITE_P(Random, VelAlignEndToEndTest, testing::ValuesIn(endToEndCases()));

// ---------------------------------------------------------------------------------------------
// The entry against its steps written out with the public classes, bit for bit

// What the entry answers, with the reports it made.
struct Outcome {
  int result = -1;
  double error = 42.0;
  giXform3 xform;
  std::string reports;
};

// The entry's steps after the collinearity checks, one by one: the points copied into two vectors
// reserved at half the point count (z, y, x through the host's accessors), one AddPoint per pair, Resoudre,
// one Add per residual, the linear block set element by element and the translation premultiplied.
Outcome literalSteps(const giPoint3coPageArr& points) {
  Outcome out;
  out.reports = vtest::captureStderr([&] {
    ERBestFit_Point3DVec first, second;
    first.capacity(static_cast<unsigned>(points.count() / 2));
    second.capacity(static_cast<unsigned>(points.count() / 2));
    for (int k = 0; k < points.count() - 1; k += 2) {
      for (int side = 0; side < 2; ++side) {
        const giPoint3& p = points[k + side];
        const double z = p.z();
        const double y = p.y();
        const double x = p.x();
        (side == 0 ? first : second).append(ERPoint3D(x, y, z));
      }
    }
    ERPmIsometrie3D isometry;
    DegauLibreSystem system(DegauLibreSystem::Isometrie);
    for (unsigned i = 0; i < first.length(); ++i) system.AddPoint(first[i], second[i]);
    if (system.Resoudre(isometry) != 0) {
      out.result = 0;
      return;
    }
    ERSerieStatistique series;
    series.Reset();
    for (unsigned i = 0; i < first.length(); ++i) series.Add(distance(second[i], isometry * first[i]));
    out.error = series.mean;
    const ERDoubleMatrix m = isometry.getMatrix();
    for (int row = 0; row < 3; ++row)
      for (int col = 0; col < 3; ++col)
        giXform3Acc::access(&out.xform)
            ->set_matrix_value(row, col, m(static_cast<unsigned>(row), static_cast<unsigned>(col)));
    const ERPoint3D t = isometry.getTrans();
    const giXform3 translation(giXformTranslate, giVector3(t[X3D], t[Y3D], t[Z3D]));
    out.xform.premultiply(translation);
    out.result = 1;
  });
  return out;
}

Outcome entry(const giPoint3coPageArr& points) {
  Outcome out;
  out.reports = vtest::captureStderr(
      [&] { out.result = velAlign::calc_align_transform(points, out.xform, out.error); });
  return out;
}

std::uint64_t bitsOf(double v) {
  std::uint64_t b;
  std::memcpy(&b, &v, sizeof b);
  return b;
}

void expectSameBits(const Outcome& got, const Outcome& want) {
  EXPECT_EQ(got.reports, want.reports);
  ASSERT_EQ(got.result, want.result);
  EXPECT_EQ(bitsOf(got.error), bitsOf(want.error)) << got.error << " vs " << want.error;
  for (int r = 0; r < 4; ++r)
    for (int c = 0; c < 4; ++c)
      EXPECT_EQ(bitsOf(got.xform.matrix_value(r, c)), bitsOf(want.xform.matrix_value(r, c)))
          << "(" << r << ", " << c << "): " << got.xform.matrix_value(r, c) << " vs "
          << want.xform.matrix_value(r, c);
}

// Seeded pairs: points in a box about offset, moved by a random rotation and translation, with noise.
giPoint3coPageArr randomPairs(unsigned pairs, double noise, double offset, unsigned seed) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> box(-100.0, 100.0), unit(-1.0, 1.0);
  std::normal_distribution<double> jitter(0.0, 1.0);
  const Eigen::Matrix3d R = rotation(3.0 * unit(rng), Eigen::Vector3d(unit(rng), unit(rng), unit(rng)));
  const Eigen::Vector3d t(box(rng), box(rng), box(rng));
  Points a, b;
  for (unsigned k = 0; k < pairs; ++k) {
    const Eigen::Vector3d p(offset + box(rng), offset + box(rng), offset + box(rng));
    a.push_back(p);
    b.push_back(R * p + t + noise * Eigen::Vector3d(jitter(rng), jitter(rng), jitter(rng)));
  }
  return interleave(a, b);
}

TEST(VelAlignTest, EqualsItsLiteralStepsBitForBit) {
  unsigned seed = 100;
  // Sizes on both sides of the passes' chunks of 2, 4 and 8 pairs and of a block of 256 pairs, at every
  // vector width.
  for (unsigned width : vtest::vectorWidths())
    for (unsigned pairs : {3u, 4u, 5u, 9u, 10u, 255u, 256u, 257u, 1000u, 4099u})
      for (double noise : {0.0, 0.01})
        for (double offset : {0.0, 1e4, 1e7}) {
          const giPoint3coPageArr points = randomPairs(pairs, noise, offset, seed++);
          const vtest::VectorWidthCap cap(width);
          SCOPED_TRACE(testing::Message() << pairs << " pairs, noise " << noise << ", offset " << offset
                                          << ", width " << cap.inUse);
          const Outcome want = literalSteps(points);
          ASSERT_EQ(want.result, 1);
          expectSameBits(entry(points), want);
        }
}

TEST(VelAlignTest, LargeInputReadInPlaceEqualsItsLiteralStepsBitForBit) {
  // Past 131072 pairs the entry reads the host array block by block instead of copying it once.
  for (unsigned pairs : {131072u, 131073u}) {
    const giPoint3coPageArr points = randomPairs(pairs, 0.01, 1e4, pairs);
    SCOPED_TRACE(pairs);
    const Outcome want = literalSteps(points);
    ASSERT_EQ(want.result, 1);
    expectSameBits(entry(points), want);
  }
}

TEST(VelAlignTest, OddCountEqualsItsLiteralStepsBitForBit) {
  giPoint3coPageArr points = randomPairs(300, 0.01, 1e4, 7);
  points.append(giPoint3(1.0, 2.0, 3.0));  // unpaired: reported, and left out of the fit
  const Outcome want = literalSteps(points);
  const Outcome got = entry(points);
  EXPECT_EQ(got.reports, kCountReport + want.reports);
  ASSERT_EQ(got.result, 1);
  Outcome unreported = got;
  unreported.reports = want.reports;
  expectSameBits(unreported, want);
}

TEST(VelAlignTest, InvalidPointEqualsItsLiteralStepsBitForBit) {
  // A point holding an "unset" marker is reported coordinate by coordinate and its value used, on
  // either side of a pair, past the first three pairs (a marker there stops the checking build in the
  // closed-form frame) and on both sides of the entry's block of 256 pairs; the answer is still that of
  // the literal steps, up to the very last point.
  // At every vector width; -max in y or z is no marker and is read without a report.
  const double m = DBL_MAX;
  for (unsigned width : vtest::vectorWidths())
    for (unsigned at : {6u, 7u, 9u, 511u, 512u, 600u, 1001u, 1038u, 1039u})
      for (int which = 0; which < 6; ++which) {
        const giPoint3coPageArr clean = randomPairs(520, 0.01, 1e4, 50 + at);
        giPoint3coPageArr points;
        for (int k = 0; k < clean.count(); ++k) {
          const giPoint3& p = clean[k];
          if (static_cast<unsigned>(k) != at) {
            points.append(p);
            continue;
          }
          const double x = p.x(), y = p.y(), z = p.z();
          const giPoint3 marked[6] = {giPoint3(m, y, z), giPoint3(-m, y, z), giPoint3(x, m, z),
                                      giPoint3(x, y, m), giPoint3(x, -m, z), giPoint3(x, y, -m)};
          points.append(marked[which]);
        }
        const vtest::VectorWidthCap cap(width);
        SCOPED_TRACE(testing::Message() << "point " << at << ", marker " << which << ", width " << cap.inUse);
        const Outcome want = literalSteps(points);
        if (which < 4)
          EXPECT_NE(want.reports, "");
        else
          EXPECT_EQ(want.reports, "");
        expectSameBits(entry(points), want);
      }
}

TEST(VelAlignTest, InvalidUnpairedPointIsNeitherReadNorReported) {
  // The unpaired last point of an odd count is left out of the fit and never read through the
  // checked accessors, even when it holds an "unset" marker.
  giPoint3coPageArr points = randomPairs(300, 0.01, 1e4, 8);
  const Outcome want = literalSteps(points);
  points.append(giPoint3(DBL_MAX, DBL_MAX, DBL_MAX));
  Outcome got = entry(points);
  EXPECT_EQ(got.reports, kCountReport);
  got.reports = want.reports;
  expectSameBits(got, want);
}

}  // namespace
