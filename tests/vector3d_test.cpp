// Points, vectors, the signed main direction and homogeneous poles.
#include "velmora/vector3d.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <limits>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "test_support.h"
#include "velmora/ercommon.h"
#include "velmora/erfile.h"

#if VELMORA_HAVE_EIGEN
#include <Eigen/Dense>
#endif

namespace {

const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();
const char* const kUnit = "source/align/vector3d";
const Coord3D kBadAxis = static_cast<Coord3D>(3);

using Bytes = std::vector<unsigned char>;

// The eight little-endian bytes of an IEEE 754 double given by its bit pattern.
Bytes le(std::uint64_t bits) {
  Bytes out;
  for (int i = 0; i < 8; ++i) out.push_back(static_cast<unsigned char>(bits >> (8 * i)));
  return out;
}
Bytes cat(std::initializer_list<Bytes> parts) {
  Bytes out;
  for (const Bytes& p : parts) out.insert(out.end(), p.begin(), p.end());
  return out;
}
// IEEE 754 bit patterns of the values used below.
const std::uint64_t k1 = 0x3FF0000000000000ull, k2 = 0x4000000000000000ull, k3 = 0x4008000000000000ull,
                    k4 = 0x4010000000000000ull, kHalf = 0x3FE0000000000000ull,
                    kMinus2 = 0xC000000000000000ull;

std::string tempPath() {
  static int counter = 0;
  return testing::TempDir() + "vector3d_test_" + std::to_string(::getpid()) + "_" + std::to_string(++counter);
}

// Opens an ERFile (its constructor's report on standard error is expected and swallowed).
std::unique_ptr<ERFile> openFile(const std::string& path, const char* mode) {
  std::unique_ptr<ERFile> f;
  vtest::captureStderr([&] { f.reset(new ERFile(path.c_str(), mode)); });
  return f;
}

// The bytes that write(ERFile&) leaves in a fresh file.
template <class Write>
Bytes bytesWritten(Write write) {
  std::string path = tempPath();
  {
    std::unique_ptr<ERFile> f = openFile(path, "wb");
    EXPECT_TRUE(f->isValid());
    write(*f);
  }
  std::ifstream in(path, std::ios::binary);
  Bytes out((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::remove(path.c_str());
  return out;
}

// Runs read(ERFile&) on a file holding exactly these bytes.
template <class Read>
void readBytes(const Bytes& bytes, Read read) {
  std::string path = tempPath();
  {
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  }
  {
    std::unique_ptr<ERFile> f = openFile(path, "rb");
    EXPECT_TRUE(f->isValid());
    read(*f);
  }
  std::remove(path.c_str());
}

template <class T>
std::string text(const T& value) {
  std::ostringstream os;
  os << value;
  return os.str();
}

void expectPoint(const ERPoint3D& p, double x, double y, double z) {
  EXPECT_EQ(p[X3D], x);
  EXPECT_EQ(p[Y3D], y);
  EXPECT_EQ(p[Z3D], z);
}
void expectPoint(const ERPoint2D& p, double x, double y) {
  EXPECT_EQ(p[X2D], x);
  EXPECT_EQ(p[Y2D], y);
}
void expectPole(const ERPole3DH& p, double x, double y, double z, double w) {
  EXPECT_EQ(p[X3DH], x);
  EXPECT_EQ(p[Y3DH], y);
  EXPECT_EQ(p[Z3DH], z);
  EXPECT_EQ(p[W3DH], w);
}
void expectPole(const ERPole2DH& p, double x, double y, double w) {
  EXPECT_EQ(p[X2DH], x);
  EXPECT_EQ(p[Y2DH], y);
  EXPECT_EQ(p[W2DH], w);
}

// ---------------------------------------------------------------------------------------------------
// Storage

TEST(ERPoint3DTest, TypesArePackedTriviallyCopyableDoubles) {
  EXPECT_TRUE(std::is_trivially_copyable<ERPoint3D>::value);
  EXPECT_TRUE(std::is_standard_layout<ERVector3D>::value);
  EXPECT_EQ(sizeof(ERPoint2D), 16u);
  EXPECT_EQ(sizeof(ERVector2D), 16u);
  EXPECT_EQ(sizeof(ERPoint3D), 24u);
  EXPECT_EQ(sizeof(ERVector3D), 24u);
  EXPECT_EQ(sizeof(ERPole2DH), 24u);
  EXPECT_EQ(sizeof(ERPole3DH), 32u);
  EXPECT_EQ(sizeof(DirPrincSgn), 4u);
  EXPECT_TRUE(std::is_trivially_copyable<ERPole3DH>::value);
  EXPECT_TRUE(std::is_standard_layout<ERPole3DH>::value);
}

TEST(ERPoint3DTest, RawBytesAreTheCoordinatesInAxisOrder) {
  ERPoint3D p(1, 2, 3);
  double raw[3];
  std::memcpy(raw, &p, sizeof raw);
  EXPECT_EQ(raw[0], 1.0);
  EXPECT_EQ(raw[1], 2.0);
  EXPECT_EQ(raw[2], 3.0);
  ERPole3DH h(1, 2, 3, 4);
  double rawh[4];
  std::memcpy(rawh, &h, sizeof rawh);
  EXPECT_EQ(rawh[3], 4.0);
}

TEST(ERPoint3DTest, AxisEnumerationsHaveTheirIndexValues) {
  EXPECT_EQ(X2D, 0);
  EXPECT_EQ(Y2D, 1);
  EXPECT_EQ(X3D, 0);
  EXPECT_EQ(Y3D, 1);
  EXPECT_EQ(Z3D, 2);
  EXPECT_EQ(X2DH, 0);
  EXPECT_EQ(Y2DH, 1);
  EXPECT_EQ(W2DH, 2);
  EXPECT_EQ(X3DH, 0);
  EXPECT_EQ(Y3DH, 1);
  EXPECT_EQ(Z3DH, 2);
  EXPECT_EQ(W3DH, 3);
}

// ---------------------------------------------------------------------------------------------------
// Construction and access

TEST(ERPoint3DTest, DefaultIsOrigin) {
  expectPoint(ERPoint3D(), 0, 0, 0);
  expectPoint(ERPoint2D(), 0, 0);
  expectPoint(ERVector3D(), 0, 0, 0);
  expectPoint(ERVector2D(), 0, 0);
}

TEST(ERPoint3DTest, CoordinateConstructorsTakeAxisOrder) {
  expectPoint(ERPoint3D(1, 2, 3), 1, 2, 3);
  expectPoint(ERPoint2D(4, 5), 4, 5);
  expectPoint(ERVector3D(-1, -2, -3), -1, -2, -3);
  expectPoint(ERVector2D(-4, -5), -4, -5);
}

TEST(ERPoint3DTest, NonConstIndexWritesTheCoordinate) {
  ERPoint3D p;
  p[Y3D] = 7.5;
  expectPoint(p, 0, 7.5, 0);
  ERPoint2D q;
  q[X2D] = -1;
  expectPoint(q, -1, 0);
}

TEST(ERVector3DTest, AxisConstructorGivesUnitVector) {
  expectPoint(ERVector3D(X3D), 1, 0, 0);
  expectPoint(ERVector3D(Y3D), 0, 1, 0);
  expectPoint(ERVector3D(Z3D), 0, 0, 1);
  expectPoint(ERVector2D(X2D), 1, 0);
  expectPoint(ERVector2D(Y2D), 0, 1);
}

TEST(ERVector3DTest, TwoPointConstructorIsBMinusA) {
  expectPoint(ERVector3D(ERPoint3D(1, 2, 3), ERPoint3D(4, 0, -3)), 3, -2, -6);
  expectPoint(ERVector2D(ERPoint2D(1, 2), ERPoint2D(4, 0)), 3, -2);
}

TEST(ERVector3DTest, PointConstructorKeepsCoordinates) {
  expectPoint(ERVector3D(ERPoint3D(1, 2, 3)), 1, 2, 3);
  expectPoint(ERPoint3D(1, 2, 3).asVector3D(), 1, 2, 3);
  expectPoint(ERVector2D(ERPoint2D(1, 2)), 1, 2);
}

TEST(ERPoint3DTest, PointAnswersAsItsOwnPointOfWeightOne) {
  ERPoint3D p(1, 2, 3);
  EXPECT_EQ(&p.castToPoint(), &p);
  EXPECT_EQ(p.weigth(), 1.0);
  ERPoint2D q(1, 2);
  EXPECT_EQ(q.weigth(), 1.0);
  EXPECT_EQ(&q.castToPoint(), &q);
}

// ---------------------------------------------------------------------------------------------------
// Arithmetic

TEST(ERPoint3DTest, ResultTypesFollowPointAndVectorRules) {
  ERPoint3D p;
  ERVector3D v;
  ERPoint2D p2;
  ERVector2D v2;
  EXPECT_TRUE((std::is_same<decltype(p + p), ERPoint3D>::value));
  EXPECT_TRUE((std::is_same<decltype(p - p), ERPoint3D>::value));
  EXPECT_TRUE((std::is_same<decltype(p + v), ERPoint3D>::value));
  EXPECT_TRUE((std::is_same<decltype(p - v), ERPoint3D>::value));
  EXPECT_TRUE((std::is_same<decltype(v + v), ERVector3D>::value));
  EXPECT_TRUE((std::is_same<decltype(v - v), ERVector3D>::value));
  EXPECT_TRUE((std::is_same<decltype(v * 2.0), ERVector3D>::value));
  EXPECT_TRUE((std::is_same<decltype(2.0 * v), ERVector3D>::value));
  EXPECT_TRUE((std::is_same<decltype(p * 2.0), ERPoint3D>::value));
  EXPECT_TRUE((std::is_same<decltype(2.0 * p), ERPoint3D>::value));
  EXPECT_TRUE((std::is_same<decltype(v / 2.0), ERPoint3D>::value));
  EXPECT_TRUE((std::is_same<decltype(-v), ERVector3D>::value));
  EXPECT_TRUE((std::is_same<decltype(-p), ERPoint3D>::value));
  EXPECT_TRUE((std::is_same<decltype(v * v), double>::value));
  EXPECT_TRUE((std::is_same<decltype(v ^ v), ERVector3D>::value));
  EXPECT_TRUE((std::is_same<decltype(p2 + v2), ERPoint2D>::value));
  EXPECT_TRUE((std::is_same<decltype(v2 + v2), ERVector2D>::value));
  EXPECT_TRUE((std::is_same<decltype(v2 / 2.0), ERPoint2D>::value));
  EXPECT_TRUE((std::is_same<decltype(v2 ^ v2), double>::value));
  EXPECT_TRUE((std::is_same<decltype(v2 * v2), double>::value));
}

TEST(ERPoint3DTest, BinaryOperatorsAreComponentWise) {
  ERPoint3D a(1, 2, 3), b(10, 20, 30);
  expectPoint(a + b, 11, 22, 33);
  expectPoint(b - a, 9, 18, 27);
  expectPoint(a * 2.0, 2, 4, 6);
  expectPoint(2.0 * a, 2, 4, 6);
  expectPoint(b / 4.0, 2.5, 5, 7.5);
  expectPoint(-a, -1, -2, -3);
  expectPoint(a + ERVector3D(1, 1, 1), 2, 3, 4);
  expectPoint(a - ERVector3D(1, 1, 1), 0, 1, 2);
  expectPoint(ERPoint2D(1, 2) + ERPoint2D(3, 4), 4, 6);
  expectPoint(ERPoint2D(1, 2) - ERVector2D(3, 4), -2, -2);
  expectPoint(0.5 * ERPoint2D(1, 2), 0.5, 1);
  expectPoint(ERPoint2D(1, 2) / 2.0, 0.5, 1);
  expectPoint(-ERPoint2D(1, 2), -1, -2);
}

TEST(ERVector3DTest, VectorOperatorsAreComponentWise) {
  ERVector3D a(1, 2, 3), b(10, 20, 30);
  expectPoint(a + b, 11, 22, 33);
  expectPoint(b - a, 9, 18, 27);
  expectPoint(a * 3.0, 3, 6, 9);
  expectPoint(-a, -1, -2, -3);
  expectPoint(ERVector2D(1, 2) + ERVector2D(3, 4), 4, 6);
  expectPoint(ERVector2D(1, 2) * -1.0, -1, -2);
  expectPoint(-ERVector2D(1, 2), -1, -2);
}

TEST(ERPoint3DTest, CompoundOperatorsAssignAndReturnLeftOperand) {
  ERPoint3D p(1, 2, 3);
  EXPECT_EQ(&(p += ERPoint3D(1, 1, 1)), &p);
  expectPoint(p, 2, 3, 4);
  EXPECT_EQ(&(p -= ERVector3D(2, 2, 2)), &p);
  expectPoint(p, 0, 1, 2);
  EXPECT_EQ(&(p *= 3.0), &p);
  expectPoint(p, 0, 3, 6);
  EXPECT_EQ(&(p /= 2.0), &p);
  expectPoint(p, 0, 1.5, 3);
  EXPECT_EQ(&p.scale(2.0), &p);
  expectPoint(p, 0, 3, 6);
  EXPECT_EQ(&p.translate(ERPoint3D(1, 1, 1)), &p);
  expectPoint(p, 1, 4, 7);

  ERVector3D v(1, 2, 3);
  EXPECT_EQ(&(v += ERVector3D(1, 1, 1)), &v);
  EXPECT_EQ(&(v -= ERVector3D(0, 1, 0)), &v);
  EXPECT_EQ(&(v *= 2.0), &v);
  expectPoint(v, 4, 4, 8);

  ERPoint2D q(1, 2);
  q += ERPoint2D(1, 1);
  q -= ERVector2D(0, 2);
  q *= 4.0;
  q /= 2.0;
  expectPoint(q, 4, 2);
  q.scale(0.5).translate(ERPoint2D(1, -1));
  expectPoint(q, 3, 0);
  ERVector2D w(1, 2);
  w += ERVector2D(1, 1);
  w -= ERVector2D(0, 1);
  w *= 2.0;
  expectPoint(w, 4, 4);
}

// 3 / 10 rounds to 0.3, while 3 * (1 / 10) rounds to 0.30000000000000004: the two division rules differ.
TEST(ERVector3DTest, CompoundDivisionMultipliesByReciprocal) {
  const double reciprocal = 3.0 * (1.0 / 10.0);
  ASSERT_NE(reciprocal, 3.0 / 10.0);
  ERVector3D v(3, 3, 3);
  EXPECT_EQ(&(v /= 10.0), &v);
  expectPoint(v, reciprocal, reciprocal, reciprocal);
}

TEST(ERPoint3DTest, EveryOtherDivisionDivides) {
  const double quotient = 3.0 / 10.0;
  ERPoint3D p(3, 3, 3);
  p /= 10.0;
  expectPoint(p, quotient, quotient, quotient);
  ERPoint2D q(3, 3);
  q /= 10.0;
  expectPoint(q, quotient, quotient);
  ERVector2D v2(3, 3);
  v2 /= 10.0;
  expectPoint(v2, quotient, quotient);
  expectPoint(ERVector3D(3, 3, 3) / 10.0, quotient, quotient, quotient);
  expectPoint(ERVector2D(3, 3) / 10.0, quotient, quotient);
  expectPoint(ERPoint3D(3, 3, 3) / 10.0, quotient, quotient, quotient);
}

TEST(ERPoint3DTest, DivisionByZeroFollowsIeee) {
  ERPoint3D p = ERPoint3D(1, -1, 0) / 0.0;
  EXPECT_EQ(p[X3D], kInf);
  EXPECT_EQ(p[Y3D], -kInf);
  EXPECT_TRUE(std::isnan(p[Z3D]));
}

// ---------------------------------------------------------------------------------------------------
// Products and metric

TEST(ERVector3DTest, DotProductSumsInAxisOrder) {
  // 1e16 + 1 - 1e16 in this order loses the 1; summed differently it would not.
  ERVector3D a(1e16, 1, -1e16), b(1, 1, 1);
  EXPECT_EQ(a * b, (1e16 + 1.0) + -1e16);
  EXPECT_EQ(ERVector3D(1, 2, 3) * ERVector3D(4, -5, 6), 4 - 10 + 18);
  EXPECT_EQ(ERVector2D(1, 2) * ERVector2D(3, 4), 11);
}

TEST(ERVector3DTest, CrossProductOfAxesFollowsRightHand) {
  expectPoint(ERVector3D(X3D) ^ ERVector3D(Y3D), 0, 0, 1);
  expectPoint(ERVector3D(Y3D) ^ ERVector3D(Z3D), 1, 0, 0);
  expectPoint(ERVector3D(Z3D) ^ ERVector3D(X3D), 0, 1, 0);
  expectPoint(ERVector3D(1, 2, 3) ^ ERVector3D(4, 5, 6), 2 * 6 - 3 * 5, 3 * 4 - 1 * 6, 1 * 5 - 2 * 4);
  EXPECT_EQ(ERVector2D(1, 2) ^ ERVector2D(3, 4), 1 * 4 - 2 * 3);
}

TEST(ERVector3DTest, NormIsRootOfSelfDot) {
  ERVector3D v(2, 3, 6);
  EXPECT_EQ(v.norme2(), 49.0);
  EXPECT_EQ(v.norme(), 7.0);
  EXPECT_EQ(norme2(v), 49.0);
  EXPECT_EQ(norme(v), 7.0);
  ERVector2D w(3, 4);
  EXPECT_EQ(w.norme2(), 25.0);
  EXPECT_EQ(w.norme(), 5.0);
  EXPECT_EQ(norme2(w), 25.0);
  EXPECT_EQ(norme(w), 5.0);
}

TEST(ERPoint3DTest, DistanceIsNormOfDifference) {
  ERPoint3D a(1, 2, 3), b(3, 5, 9);
  EXPECT_EQ(distance(a, b), 7.0);
  EXPECT_EQ(distance2(a, b), 49.0);
  EXPECT_EQ(distance(ERPoint2D(1, 1), ERPoint2D(4, 5)), 5.0);
  EXPECT_EQ(distance2(ERPoint2D(1, 1), ERPoint2D(4, 5)), 25.0);
  // Rounding: the differences are formed first, then squared and summed x first.
  ERPoint3D c(0.1, 0.7, 1e8), d(0.3, -0.2, 1e8 + 0.5);
  const double dx = 0.1 - 0.3, dy = 0.7 - -0.2, dz = 1e8 - (1e8 + 0.5);
  EXPECT_EQ(distance(c, d), std::sqrt(dx * dx + dy * dy + dz * dz));
  EXPECT_EQ(distance2(c, d), dx * dx + dy * dy + dz * dz);
}

TEST(ERPoint3DTest, MilieuHalvesTheSum) {
  expectPoint(milieu(ERPoint3D(1, 2, 3), ERPoint3D(2, 4, 8)), 1.5, 3, 5.5);
  expectPoint(milieu(ERPoint2D(1, 2), ERPoint2D(2, 5)), 1.5, 3.5);
  // (a + b) / 2 overflows where a + (b - a) / 2 would not.
  ERPoint3D m = milieu(ERPoint3D(1e308, 0, 0), ERPoint3D(1e308, 0, 0));
  EXPECT_EQ(m[X3D], kInf);
}

// ---------------------------------------------------------------------------------------------------
// Normalisation and angles

TEST(ERVector3DTest, NormalizeDividesEachComponentByNorm) {
  // 3 / 5 is 0.6 while 3 * (1 / 5) is not: normalisation divides.
  ASSERT_NE(3.0 * (1.0 / 5.0), 3.0 / 5.0);
  ERVector3D v(3, 4, 0);
  EXPECT_EQ(&v.normalize(), &v);
  expectPoint(v, 3.0 / 5.0, 4.0 / 5.0, 0);
  ERVector2D w(3, 4);
  EXPECT_EQ(&w.normalize(), &w);
  expectPoint(w, 3.0 / 5.0, 4.0 / 5.0);
}

TEST(ERVector3DTest, GetnormalizedReturnsDividedCopy) {
  const ERVector3D v(3, 4, 0);
  expectPoint(v.getnormalized(), 0.6, 0.8, 0);
  expectPoint(v, 3, 4, 0);
  const ERVector2D w(0, -2);
  expectPoint(w.getnormalized(), 0, -1);
  expectPoint(w, 0, -2);
}

TEST(ERVector3DTest, ZeroVectorNormalizesToItself) {
  ERVector3D v(0, 0, 0);
  v.normalize();
  expectPoint(v, 0, 0, 0);
  expectPoint(ERVector3D(0, 0, 0).getnormalized(), 0, 0, 0);
  ERVector2D w;
  w.normalize();
  expectPoint(w, 0, 0);
}

TEST(ERVector3DTest, NaNNormStillDivides) {
  ERVector3D v(kNaN, 1, 1);
  v.normalize();
  EXPECT_TRUE(std::isnan(v[Y3D]));
}

TEST(ERVector3DTest, AnglePIOfKnownPairs) {
  const double pi = std::acos(-1.0);
  EXPECT_DOUBLE_EQ(AnglePI(ERVector3D(X3D), ERVector3D(Y3D)), pi / 2);
  EXPECT_DOUBLE_EQ(AnglePI(ERVector3D(1, 0, 0), ERVector3D(-2, 0, 0)), pi);
  EXPECT_DOUBLE_EQ(AnglePI(ERVector3D(1, 0, 0), ERVector3D(1, 1, 0)), pi / 4);
  EXPECT_EQ(AnglePI(ERVector3D(2, 0, 0), ERVector3D(5, 0, 0)), 0.0);
  EXPECT_DOUBLE_EQ(AnglePI(ERVector2D(1, 0), ERVector2D(-1, 1)), 3 * pi / 4);
}

TEST(ERVector3DTest, AnglePIWithZeroVectorIsHalfPi) {
  EXPECT_EQ(AnglePI(ERVector3D(1, 2, 3), ERVector3D()), std::acos(0.0));
  EXPECT_EQ(AnglePI(ERVector3D(), ERVector3D()), std::acos(0.0));
  EXPECT_EQ(AnglePI(ERVector2D(1, 2), ERVector2D()), std::acos(0.0));
}

// Normalised, (1,1,1) has components 1/sqrt(3) whose squares sum to just above 1: no clamp, so NaN.
TEST(ERVector3DTest, AnglePIIsNotClampedAndParallelVectorsMayGiveNaN) {
  const double n = std::sqrt(3.0);
  const double c = 1.0 / n;
  ASSERT_GT(c * c + c * c + c * c, 1.0);
  EXPECT_TRUE(std::isnan(AnglePI(ERVector3D(1, 1, 1), ERVector3D(1, 1, 1))));
}

// ---------------------------------------------------------------------------------------------------
// Equality and tolerance

TEST(ERPoint3DTest, EqualityIsExactAndReturnsInt) {
  EXPECT_TRUE((std::is_same<decltype(ERPoint3D() == ERPoint3D()), int>::value));
  EXPECT_EQ(ERPoint3D(1, 2, 3) == ERPoint3D(1, 2, 3), 1);
  EXPECT_EQ(ERPoint3D(1, 2, 3) == ERPoint3D(1, 2, 3.0000000001), 0);
  EXPECT_EQ(ERPoint3D(1, 2, 3) != ERPoint3D(1, 2, 4), 1);
  EXPECT_EQ(ERPoint3D(1, 2, 3) != ERPoint3D(1, 2, 3), 0);
  EXPECT_EQ(ERVector3D(1, 2, 3) == ERPoint3D(1, 2, 3), 1);
  EXPECT_EQ(ERPoint2D(1, 2) == ERPoint2D(1, 2), 1);
  EXPECT_EQ(ERPoint2D(1, 2) == ERPoint2D(2, 2), 0);
  EXPECT_EQ(ERVector2D(1, 2) != ERVector2D(1, 3), 1);
}

TEST(ERPoint3DTest, NaNCoordinateIsNeverEqual) {
  ERPoint3D p(kNaN, 0, 0);
  EXPECT_EQ(p == p, 0);
  EXPECT_EQ(p != p, 1);
  EXPECT_EQ(isEqual(p, p, 1.0), 0);
}

TEST(ERPoint3DTest, IsEqualBoundIsInclusive) {
  EXPECT_EQ(isEqual(ERPoint3D(0, 0, 0), ERPoint3D(1e-6, 0, 0), 1e-6), 1);
  EXPECT_EQ(isEqual(ERPoint3D(0, 0, 0), ERPoint3D(0, 0, 2e-6), 1e-6), 0);
  EXPECT_EQ(isEqual(ERPoint3D(0, 0, 0), ERPoint3D(0, -1e-6, 0), 1e-6), 1);
  EXPECT_EQ(isEqual(ERPoint2D(0, 0), ERPoint2D(0, 0.5), 0.5), 1);
  EXPECT_EQ(isEqual(ERPoint2D(0, 0), ERPoint2D(0.6, 0), 0.5), 0);
  EXPECT_EQ(isEqual(ERVector3D(1, 2, 3), ERVector3D(1, 2, 3), 0.0), 1);
}

// ---------------------------------------------------------------------------------------------------
// Axis selection and the signed main direction

TEST(ERVector3DTest, AxeOptimumPicksDominantAxisTiesGoLater) {
  EXPECT_EQ(ERVector3D(1, 1, 0).axeOptimum(), Y3D);
  EXPECT_EQ(ERVector3D(1, 1, 1).axeOptimum(), Z3D);
  EXPECT_EQ(ERVector3D(2, 1, 1).axeOptimum(), X3D);
  EXPECT_EQ(ERVector3D(0, 0, 0).axeOptimum(), Z3D);
  EXPECT_EQ(ERVector3D(-5, 1, 2).axeOptimum(), X3D);
  EXPECT_EQ(ERVector3D(0, -5, 2).axeOptimum(), Y3D);
  EXPECT_EQ(ERVector3D(1, 0, -1).axeOptimum(), Z3D);
}

TEST(DirPrincSgnTest, MainDirectionOfVectors) {
  EXPECT_EQ(ERVector3D(0, 0, 0).mainDirection().code(), 5);
  EXPECT_EQ(ERVector3D(0, -3, 1).mainDirection().code(), 3);
  EXPECT_EQ(ERVector3D(2, 1, 1).mainDirection().code(), 0);
  EXPECT_EQ(ERVector3D(-2, 1, 1).mainDirection().code(), 1);
  EXPECT_EQ(ERVector3D(0, 3, 1).mainDirection().code(), 2);
  EXPECT_EQ(ERVector3D(0, 0, 7).mainDirection().code(), 4);
  EXPECT_EQ(DirPrincSgn(ERVector3D(0, 0, -7)).code(), 5);
}

TEST(DirPrincSgnTest, CodeDecomposesIntoAxisAndSign) {
  DirPrincSgn d(ERVector3D(0, -3, 1));
  EXPECT_EQ(static_cast<int>(d), 3);
  EXPECT_EQ(d.axis(), Y3D);
  EXPECT_EQ(d.isNegative(), 1);
  EXPECT_EQ(DirPrincSgn(4).axis(), Z3D);
  EXPECT_EQ(DirPrincSgn(4).isNegative(), 0);
}

TEST(DirPrincSgnTest, TextGivesAxisAndSign) {
  EXPECT_EQ(DirPrincSgn("X+").code(), 0);
  EXPECT_EQ(DirPrincSgn("X-").code(), 1);
  EXPECT_EQ(DirPrincSgn("Y+").code(), 2);
  EXPECT_EQ(DirPrincSgn("Y-").code(), 3);
  EXPECT_EQ(DirPrincSgn("Z+").code(), 4);
  EXPECT_EQ(DirPrincSgn("Z-").code(), 5);
}

TEST(DirPrincSgnTest, AnySignOtherThanPlusMeansNegative) {
  EXPECT_EQ(DirPrincSgn("Y*").code(), 3);
  EXPECT_EQ(DirPrincSgn("X ").code(), 1);
  EXPECT_EQ(DirPrincSgn("Z").code(), 5);  // the terminating zero is a sign too
}

// ---------------------------------------------------------------------------------------------------
// Plane and space casts

TEST(ERPoint3DTest, CastToPoint2DDropsTheAxis) {
  ERPoint3D p(1, 2, 3);
  expectPoint(p.castToPoint2D(X3D), 2, 3);
  expectPoint(p.castToPoint2D(Y3D), 1, 3);
  expectPoint(p.castToPoint2D(Z3D), 1, 2);
  expectPoint(p.castToPoint2D(kBadAxis), 1, 2);
  ERVector3D v(1, 2, 3);
  expectPoint(v.castToVector2D(X3D), 2, 3);
  expectPoint(v.castToVector2D(Y3D), 1, 3);
  expectPoint(v.castToVector2D(Z3D), 1, 2);
  expectPoint(v.castToVector2D(kBadAxis), 1, 2);
}

TEST(ERPoint2DTest, CastToPoint3DInsertsTheValue) {
  ERPoint2D p(1, 2);
  expectPoint(p.castToPoint3D(X3D, 7), 7, 1, 2);
  expectPoint(p.castToPoint3D(Y3D, 7), 1, 7, 2);
  expectPoint(p.castToPoint3D(Z3D, 7), 1, 2, 7);
  ERVector2D v(1, 2);
  std::string err = vtest::captureStderr([&] {
    expectPoint(v.castToVector3D(X3D, 7), 7, 1, 2);
    expectPoint(v.castToVector3D(Y3D, 7), 1, 7, 2);
    expectPoint(v.castToVector3D(Z3D, 7), 1, 2, 7);
  });
  EXPECT_EQ(err, "");
}

TEST(ERPoint2DTest, CastToPoint3DWithBadAxisGivesOriginSilently) {
  ERPoint3D q(9, 9, 9);
  std::string err = vtest::captureStderr([&] { q = ERPoint2D(1, 2).castToPoint3D(kBadAxis, 7.0); });
  EXPECT_EQ(err, "");
  expectPoint(q, 0, 0, 0);
}

TEST(ERVector2DTest, CastToVector3DWithBadAxisReports) {
  VTEST_CHECKING_ONLY();
  EXPECT_DEATH(ERVector2D(1, 2).castToVector3D(kBadAxis, 7.0),
               vtest::reportRegex("!\"Erreur Dans La Fonction\"", kUnit, 89));
}

TEST(ERVector2DTest, CastToVector3DWithBadAxisReportsAndGivesZeroVector) {
  VTEST_CONTINUING_ONLY();
  ERVector3D r(9, 9, 9);
  std::string err = vtest::captureStderr([&] { r = ERVector2D(1, 2).castToVector3D(kBadAxis, 7.0); });
  EXPECT_EQ(err, vtest::report("!\"Erreur Dans La Fonction\"", kUnit, 89));
  expectPoint(r, 0, 0, 0);
}

// ---------------------------------------------------------------------------------------------------
// Swap

TEST(ERPoint3DTest, SwapExchangesCoordinates) {
  ERPoint3D a(1, 2, 3), b(4, 5, 6);
  swap(a, b);
  expectPoint(a, 4, 5, 6);
  expectPoint(b, 1, 2, 3);
  ERPoint2D c(1, 2), d(3, 4);
  swap(c, d);
  expectPoint(c, 3, 4);
  expectPoint(d, 1, 2);
  ERVector3D u(1, 0, 0), v(0, 1, 0);
  swap(u, v);
  expectPoint(u, 0, 1, 0);
  expectPoint(v, 1, 0, 0);
}

// ---------------------------------------------------------------------------------------------------
// Text streams

TEST(ERPoint3DTest, PrintsAngleBracketsWithoutSpaces) {
  EXPECT_EQ(text(ERVector3D(1.5, -2, 0)), "<1.5,-2,0>");
  EXPECT_EQ(text(ERPoint3D(1, 2, 3)), "<1,2,3>");
  EXPECT_EQ(text(ERPoint2D(1, 2)), "<1,2>");
  EXPECT_EQ(text(ERVector2D(-0.25, 1e20)), "<-0.25,1e+20>");
  std::ostringstream os;
  ERPoint3D(1, 2, 3).printOn(os);
  EXPECT_EQ(os.str(), "<1,2,3>");
}

TEST(ERPoint3DTest, PrintUsesTheStreamsDoubleFormat) {
  std::ostringstream os;
  os.precision(3);
  os << ERPoint3D(3.14159, 2.0 / 3.0, 100);
  EXPECT_EQ(os.str(), "<3.14,0.667,100>");
  std::ostringstream fixed;
  fixed << std::fixed;
  fixed.precision(1);
  fixed << ERPoint2D(1, 2);
  EXPECT_EQ(fixed.str(), "<1.0,2.0>");
}

TEST(ERPoint3DTest, ReadsTheTextItPrints) {
  std::istringstream is("<1.5,-2,0><7,8>");
  ERVector3D v;
  ERPoint2D q;
  is >> v >> q;
  EXPECT_TRUE(is);
  expectPoint(v, 1.5, -2, 0);
  expectPoint(q, 7, 8);
}

TEST(ERPoint3DTest, ReadSeparatorsAreNotChecked) {
  std::istringstream is("(1;2;3)");
  ERPoint3D p;
  is >> p;
  EXPECT_TRUE(is);
  expectPoint(p, 1, 2, 3);
  std::istringstream is2("[4|5]");
  ERPoint2D q;
  is2 >> q;
  EXPECT_TRUE(is2);
  expectPoint(q, 4, 5);
}

TEST(ERPoint3DTest, ReadFailureStoresWhatWasReadAndZeros) {
  std::istringstream is("<1,x,3>");
  ERPoint3D p(9, 9, 9);
  is >> p;
  EXPECT_TRUE(is.fail());
  expectPoint(p, 1, 0, 0);
  std::istringstream empty("");
  ERPoint2D q(9, 9);
  empty >> q;
  EXPECT_TRUE(empty.fail());
  expectPoint(q, 0, 0);
}

// ---------------------------------------------------------------------------------------------------
// Binary persistence

TEST(ERPoint3DTest, SavesTheRawDoublesInAxisOrder) {
  EXPECT_EQ(bytesWritten([](ERFile& f) { ERPoint3D(1, 2, 3).saveGuts(f); }), cat({le(k1), le(k2), le(k3)}));
  EXPECT_EQ(bytesWritten([](ERFile& f) { f << ERVector3D(0.5, -2, 4); }),
            cat({le(kHalf), le(kMinus2), le(k4)}));
  EXPECT_EQ(bytesWritten([](ERFile& f) { ERPoint2D(1, 2).saveGuts(f); }), cat({le(k1), le(k2)}));
  EXPECT_EQ(bytesWritten([](ERFile& f) { f << ERVector2D(3, 0.5); }), cat({le(k3), le(kHalf)}));
}

TEST(ERPoint3DTest, BinaryStoreSizeIsTheBytesWritten) {
  EXPECT_EQ(ERPoint3D().binaryStoreSize(), 24u);
  EXPECT_EQ(ERVector3D().binaryStoreSize(), 24u);
  EXPECT_EQ(ERPoint2D().binaryStoreSize(), 16u);
  EXPECT_EQ(ERVector2D().binaryStoreSize(), 16u);
}

TEST(ERPoint3DTest, RestoresTheRawDoubles) {
  ERPoint3D p;
  ERVector3D v;
  ERPoint2D q;
  readBytes(cat({le(k1), le(k2), le(k3), le(kHalf), le(kMinus2), le(k4), le(k4), le(k3)}), [&](ERFile& f) {
    p.restoreGuts(f);
    f >> v;
    f >> q;
  });
  expectPoint(p, 1, 2, 3);
  expectPoint(v, 0.5, -2, 4);
  expectPoint(q, 4, 3);
  ERPoint2D r;
  readBytes(cat({le(k2), le(kHalf)}), [&](ERFile& f) { r.restoreGuts(f); });
  expectPoint(r, 2, 0.5);
}

// ---------------------------------------------------------------------------------------------------
// Against an independent reference

#if VELMORA_HAVE_EIGEN
class ERVector3DEigenTest : public testing::Test {
 protected:
  static ERVector3D er(const Eigen::Vector3d& e) { return ERVector3D(e.x(), e.y(), e.z()); }
  Eigen::Vector3d random() { return Eigen::Vector3d(dist_(gen_), dist_(gen_), dist_(gen_)); }
  std::mt19937 gen_{20240611u};
  std::uniform_real_distribution<double> dist_{-10.0, 10.0};
};

TEST_F(ERVector3DEigenTest, ProductsAndNormsMatchEigen) {
  for (int k = 0; k < 500; ++k) {
    Eigen::Vector3d a = random(), b = random();
    const double scale = a.norm() * b.norm();
    ERVector3D c = er(a) ^ er(b);
    Eigen::Vector3d ce = a.cross(b);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(c[static_cast<Coord3D>(i)], ce[i], 1e-13 * scale);
    EXPECT_NEAR(er(a) * er(b), a.dot(b), 1e-13 * scale);
    EXPECT_DOUBLE_EQ(er(a).norme(), a.norm());
    EXPECT_DOUBLE_EQ(er(a).norme2(), a.squaredNorm());
    EXPECT_DOUBLE_EQ(distance(ERPoint3D(a.x(), a.y(), a.z()), ERPoint3D(b.x(), b.y(), b.z())),
                     (a - b).norm());
  }
}

TEST_F(ERVector3DEigenTest, NormalisationAndAngleMatchEigen) {
  for (int k = 0; k < 500; ++k) {
    Eigen::Vector3d a = random(), b = random();
    ERVector3D n = er(a).getnormalized();
    Eigen::Vector3d ne = a.normalized();
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(n[static_cast<Coord3D>(i)], ne[i], 1e-15);
    // atan2 of |a x b| and a.b is an independent, well-conditioned formula for the same angle.
    const double reference = std::atan2(a.cross(b).norm(), a.dot(b));
    EXPECT_NEAR(AnglePI(er(a), er(b)), reference, 1e-7);
  }
}

TEST_F(ERVector3DEigenTest, AxeOptimumIsLargestAbsoluteComponent) {
  for (int k = 0; k < 500; ++k) {
    Eigen::Vector3d a = random();
    Eigen::Index i;
    a.cwiseAbs().maxCoeff(&i);
    EXPECT_EQ(er(a).axeOptimum(), static_cast<Coord3D>(i));
    const int sign = a[i] > 0 ? 0 : 1;
    EXPECT_EQ(er(a).mainDirection().code(), 2 * static_cast<int>(i) + sign);
  }
}

TEST_F(ERVector3DEigenTest, PlaneCrossIsZComponentOfSpaceCross) {
  for (int k = 0; k < 200; ++k) {
    Eigen::Vector3d a = random(), b = random();
    a.z() = 0;
    b.z() = 0;
    EXPECT_NEAR(ERVector2D(a.x(), a.y()) ^ ERVector2D(b.x(), b.y()), a.cross(b).z(), 1e-12);
    EXPECT_NEAR(AnglePI(ERVector2D(a.x(), a.y()), ERVector2D(b.x(), b.y())),
                std::atan2(a.cross(b).norm(), a.dot(b)), 1e-7);
  }
}
#endif

// ---------------------------------------------------------------------------------------------------
// Homogeneous poles

TEST(ERPole3DHTest, DefaultIsZeroPoleOfWeightZero) {
  expectPole(ERPole3DH(), 0, 0, 0, 0);
  expectPole(ERPole2DH(), 0, 0, 0);
}

TEST(ERPole3DHTest, ConstructorsStoreValuesAsGiven) {
  expectPole(ERPole3DH(1, 2, 3, 4), 1, 2, 3, 4);
  expectPole(ERPole2DH(1, 2, 3), 1, 2, 3);
  expectPole(ERPole3DH(ERPoint3D(1, 2, 3), 2), 1, 2, 3, 2);
  expectPole(ERPole2DH(ERPoint2D(1, 2), 4), 1, 2, 4);
}

TEST(ERPole3DHTest, DimensionCountsTheWeight) {
  EXPECT_EQ(ERPole3DH::getDim(), 4);
  EXPECT_EQ(ERPole2DH::getDim(), 3);
}

TEST(ERPole3DHTest, CastToPointDividesByWeight) {
  ERPole3DH p(2, 4, 6, 2);
  expectPoint(p.castToPoint(), 1, 2, 3);
  EXPECT_EQ(p.weigth(), 2.0);
  expectPoint(ERPole2DH(3, 6, 3).castToPoint(), 1, 2);
  EXPECT_EQ(ERPole2DH(3, 6, 3).weigth(), 3.0);
}

TEST(ERPole3DHTest, CastToPointUsesPointDivision) {
  // 0.3 / 0.1 and 0.3 * (1 / 0.1) differ: the Cartesian point is a division.
  ASSERT_NE(0.3 / 0.1, 0.3 * (1.0 / 0.1));
  expectPoint(ERPole3DH(0.3, 0.3, 0.3, 0.1).castToPoint(), 0.3 / 0.1, 0.3 / 0.1, 0.3 / 0.1);
  EXPECT_EQ(ERPole3DH(0.3, 0.3, 0.3, 0.1)[Z3D], 0.3 / 0.1);
}

TEST(ERPole3DHTest, PointConstructorDoesNotWeightTheCoordinates) {
  expectPoint(ERPole3DH(ERPoint3D(1, 2, 3), 2).castToPoint(), 0.5, 1, 1.5);
  expectPoint(ERPole2DH(ERPoint2D(1, 2), 2).castToPoint(), 0.5, 1);
}

TEST(ERPole3DHTest, CartesianAndStoredIndexing) {
  ERPole3DH p(2, 4, 6, 2);
  EXPECT_EQ(p[Y3D], 2.0);
  EXPECT_EQ(p[Y3DH], 4.0);
  EXPECT_EQ(p[X3D], 1.0);
  EXPECT_EQ(p[Z3D], 3.0);
  EXPECT_EQ(p[W3DH], 2.0);
  p[W3DH] = 4.0;
  EXPECT_EQ(p[Z3D], 1.5);
  p[X3DH] = 8.0;
  EXPECT_EQ(p[X3D], 2.0);
  ERPole2DH q(2, 4, 2);
  EXPECT_EQ(q[X2D], 1.0);
  EXPECT_EQ(q[Y2D], 2.0);
  EXPECT_EQ(q[Y2DH], 4.0);
  q[W2DH] = 0.5;
  EXPECT_EQ(q[X2D], 4.0);
}

TEST(ERPole3DHTest, ZeroWeightGivesIeeeResults) {
  ERPole3DH p(1, -1, 0, 0);
  ERPoint3D c = p.castToPoint();
  EXPECT_EQ(c[X3D], kInf);
  EXPECT_EQ(c[Y3D], -kInf);
  EXPECT_TRUE(std::isnan(c[Z3D]));
  EXPECT_EQ(p[X3D], kInf);
  EXPECT_TRUE(std::isnan(ERPole2DH(0, 0, 0)[Y2D]));
}

TEST(ERPole3DHTest, AdditionIncludesWeight) {
  ERPole3DH s = ERPole3DH(1, 1, 1, 1) + ERPole3DH(1, 1, 1, 1);
  expectPole(s, 2, 2, 2, 2);
  expectPoint(s.castToPoint(), 1, 1, 1);
  expectPole(ERPole3DH(5, 6, 7, 8) - ERPole3DH(1, 2, 3, 4), 4, 4, 4, 4);
  expectPole(ERPole2DH(1, 2, 3) + ERPole2DH(1, 1, 1), 2, 3, 4);
  expectPole(ERPole2DH(1, 2, 3) - ERPole2DH(1, 1, 1), 0, 1, 2);
}

TEST(ERPole3DHTest, ScalingOperatorsIncludeWeight) {
  expectPole(ERPole3DH(1, 2, 3, 4) * 2.0, 2, 4, 6, 8);
  expectPole(2.0 * ERPole3DH(1, 2, 3, 4), 2, 4, 6, 8);
  expectPole(ERPole3DH(1, 2, 3, 4) / 2.0, 0.5, 1, 1.5, 2);
  expectPole(-ERPole3DH(1, 2, 3, 4), -1, -2, -3, -4);
  expectPole(ERPole2DH(1, 2, 3) * 2.0, 2, 4, 6);
  expectPole(2.0 * ERPole2DH(1, 2, 3), 2, 4, 6);
  expectPole(ERPole2DH(1, 2, 4) / 2.0, 0.5, 1, 2);
  expectPole(-ERPole2DH(1, 2, 3), -1, -2, -3);
  // Division divides: 3 / 10 rather than 3 * (1 / 10).
  expectPole(ERPole3DH(3, 3, 3, 3) / 10.0, 0.3, 0.3, 0.3, 0.3);
}

TEST(ERPole3DHTest, CompoundOperatorsIncludeWeight) {
  ERPole3DH p(1, 2, 3, 4);
  EXPECT_EQ(&(p += ERPole3DH(1, 1, 1, 1)), &p);
  expectPole(p, 2, 3, 4, 5);
  EXPECT_EQ(&(p -= ERPole3DH(2, 2, 2, 2)), &p);
  expectPole(p, 0, 1, 2, 3);
  EXPECT_EQ(&(p *= 2.0), &p);
  expectPole(p, 0, 2, 4, 6);
  EXPECT_EQ(&(p /= 10.0), &p);
  expectPole(p, 0.0 / 10.0, 2.0 / 10.0, 4.0 / 10.0, 6.0 / 10.0);
  ERPole2DH q(1, 2, 3);
  q += ERPole2DH(1, 1, 1);
  q -= ERPole2DH(0, 1, 0);
  q *= 2.0;
  q /= 4.0;
  expectPole(q, 1, 1, 2);
}

TEST(ERPole3DHTest, ScaleKeepsWeight) {
  ERPole3DH p(2, 4, 6, 2);
  EXPECT_EQ(&p.scale(3.0), &p);
  expectPole(p, 6, 12, 18, 2);
  expectPoint(p.castToPoint(), 3, 6, 9);
  ERPole2DH q(2, 4, 2);
  q.scale(0.5);
  expectPole(q, 1, 2, 2);
}

TEST(ERPole3DHTest, TranslateMovesTheCartesianPoint) {
  ERPole3DH p(2, 4, 6, 2);
  EXPECT_EQ(&p.translate(ERPoint3D(1, 0, 0)), &p);
  expectPole(p, 4, 4, 6, 2);
  expectPoint(p.castToPoint(), 2, 2, 3);
  ERPole2DH q(2, 4, 2);
  q.translate(ERPoint2D(1, -1));
  expectPole(q, 4, 2, 2);
  expectPoint(q.castToPoint(), 2, 1);
}

TEST(ERPole3DHTest, EqualityComparesStoredValuesAndWeight) {
  EXPECT_EQ(ERPole3DH(1, 2, 3, 4) == ERPole3DH(1, 2, 3, 4), 1);
  EXPECT_EQ(ERPole3DH(1, 2, 3, 4) == ERPole3DH(1, 2, 3, 5), 0);
  // Same Cartesian point, different stored values: not equal.
  EXPECT_EQ(ERPole3DH(1, 1, 1, 1) == ERPole3DH(2, 2, 2, 2), 0);
  EXPECT_EQ(ERPole3DH(1, 2, 3, 4) != ERPole3DH(0, 2, 3, 4), 1);
  EXPECT_EQ(ERPole3DH(1, 2, 3, 4) != ERPole3DH(1, 2, 3, 4), 0);
  EXPECT_EQ(ERPole2DH(1, 2, 3) == ERPole2DH(1, 2, 3), 1);
  EXPECT_EQ(ERPole2DH(1, 2, 3) != ERPole2DH(1, 2, 4), 1);
  EXPECT_EQ(ERPole3DH(kNaN, 0, 0, 1) == ERPole3DH(kNaN, 0, 0, 1), 0);
}

TEST(ERPole3DHTest, IsEqualIsInclusiveOnCoordinatesAndWeight) {
  EXPECT_EQ(isEqual(ERPole3DH(0, 0, 0, 1), ERPole3DH(0, 0, 0, 1 + 0.5), 0.5), 1);
  EXPECT_EQ(isEqual(ERPole3DH(0, 0, 0, 1), ERPole3DH(0, 0, 0, 2), 0.5), 0);
  EXPECT_EQ(isEqual(ERPole3DH(0, 0, 0, 1), ERPole3DH(0, 0.5, 0, 1), 0.5), 1);
  EXPECT_EQ(isEqual(ERPole3DH(0, 0, 0, 1), ERPole3DH(0, 0, 0.75, 1), 0.5), 0);
  EXPECT_EQ(isEqual(ERPole2DH(0, 0, 1), ERPole2DH(0.25, 0, 1.25), 0.25), 1);
  EXPECT_EQ(isEqual(ERPole2DH(0, 0, 1), ERPole2DH(0, 0, 1.5), 0.25), 0);
  EXPECT_EQ(isEqual(ERPole2DH(0, 0, kNaN), ERPole2DH(0, 0, kNaN), 1.0), 0);
}

TEST(ERPole3DHTest, CastToPole2DDropsAxisAndKeepsWeight) {
  ERPole3DH p(1, 2, 3, 4);
  expectPole(p.castToPole2D(X3D), 2, 3, 4);
  expectPole(p.castToPole2D(Y3D), 1, 3, 4);
  expectPole(p.castToPole2D(Z3D), 1, 2, 4);
}

TEST(ERPole3DHTest, CastToPole2DWithBadAxisGivesZeroPoleOfWeightZero) {
  std::string err =
      vtest::captureStderr([] { expectPole(ERPole3DH(1, 2, 3, 4).castToPole2D(kBadAxis), 0, 0, 0); });
  EXPECT_EQ(err, "");
}

TEST(ERPole2DHTest, CastToPole3DInsertsValueUnweighted) {
  ERPole2DH p(1, 2, 4);
  expectPole(p.castToPole3D(X3D, 9), 9, 1, 2, 4);
  expectPole(p.castToPole3D(Y3D, 9), 1, 9, 2, 4);
  expectPole(p.castToPole3D(Z3D, 9), 1, 2, 9, 4);
  std::string err = vtest::captureStderr([&] { expectPole(p.castToPole3D(kBadAxis, 9), 0, 0, 0, 0); });
  EXPECT_EQ(err, "");
}

TEST(ERPole3DHTest, PrintsPointFormThenWeight) {
  EXPECT_EQ(text(ERPole3DH(1, 2, 3, 0.5)), "<1,2,3>(0.5)");
  EXPECT_EQ(text(ERPole2DH(1, -2, 0.5)), "<1,-2>(0.5)");
  std::ostringstream os;
  ERPole3DH(4, 5, 6, 7).printOn(os);
  EXPECT_EQ(os.str(), "<4,5,6>(7)");
}

TEST(ERPole3DHTest, ReadingA3DPoleLeavesItUnchangedAndConsumesNothing) {
  std::istringstream is("<1,2,3>(0.5)");
  ERPole3DH p(9, 8, 7, 6);
  is >> p;
  expectPole(p, 9, 8, 7, 6);
  EXPECT_TRUE(is.good());
  EXPECT_EQ(is.tellg(), std::streampos(0));
}

TEST(ERPole2DHTest, ReadsPointFormThenBareWeight) {
  std::istringstream is("<1,2>0.5");
  ERPole2DH p;
  is >> p;
  EXPECT_FALSE(is.fail());
  expectPole(p, 1, 2, 0.5);
}

TEST(ERPole2DHTest, PrintedTextDoesNotReadBack) {
  std::istringstream is(text(ERPole2DH(1, 2, 0.5)));
  ERPole2DH p(9, 9, 9);
  is >> p;
  EXPECT_TRUE(is.fail());
  expectPole(p, 1, 2, 0);
}

TEST(ERPole3DHTest, SavesRawStoredValuesInStorageOrder) {
  EXPECT_EQ(bytesWritten([](ERFile& f) { ERPole3DH(1, 2, 3, 0.5).saveGuts(f); }),
            cat({le(k1), le(k2), le(k3), le(kHalf)}));
  EXPECT_EQ(bytesWritten([](ERFile& f) { f << ERPole3DH(4, -2, 1, 3); }),
            cat({le(k4), le(kMinus2), le(k1), le(k3)}));
  EXPECT_EQ(bytesWritten([](ERFile& f) { ERPole2DH(1, 2, 0.5).saveGuts(f); }),
            cat({le(k1), le(k2), le(kHalf)}));
  EXPECT_EQ(bytesWritten([](ERFile& f) { f << ERPole2DH(3, 4, -2); }), cat({le(k3), le(k4), le(kMinus2)}));
}

TEST(ERPole3DHTest, BinaryStoreSizeIs24ForBothEvenThough3DWrites32) {
  EXPECT_EQ(ERPole2DH().binaryStoreSize(), 24u);
  EXPECT_EQ(ERPole3DH().binaryStoreSize(), 24u);
  EXPECT_EQ(bytesWritten([](ERFile& f) { ERPole3DH().saveGuts(f); }).size(), 32u);
  EXPECT_EQ(bytesWritten([](ERFile& f) { ERPole2DH().saveGuts(f); }).size(), 24u);
}

TEST(ERPole3DHTest, RestoresRawStoredValues) {
  ERPole3DH p;
  ERPole2DH q, r;
  readBytes(cat({le(k1), le(k2), le(k3), le(kHalf), le(k4), le(k3), le(k2), le(kMinus2), le(k1), le(kHalf)}),
            [&](ERFile& f) {
              p.restoreGuts(f);
              q.restoreGuts(f);
              f >> r;
            });
  expectPole(p, 1, 2, 3, 0.5);
  expectPole(q, 4, 3, 2);
  expectPole(r, -2, 1, 0.5);
  ERPole3DH s;
  readBytes(cat({le(k4), le(k3), le(k2), le(k1)}), [&](ERFile& f) { f >> s; });
  expectPole(s, 4, 3, 2, 1);
}

}  // namespace
