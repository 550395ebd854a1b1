// The stand-in host library: transforms, the point validity test and the three-point normal.
#include "velmora/host.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <string>

#include "test_support.h"

namespace {

TEST(GiXform3Test, DefaultIsIdentity) {
  giXform3 x;
  for (int r = 0; r < 4; ++r)
    for (int c = 0; c < 4; ++c) EXPECT_EQ(x.matrix_value(r, c), r == c ? 1.0 : 0.0);
}

TEST(GiXform3Test, PremultiplyAppliesTheArgumentAfter) {
  giXform3 rot;
  // Quarter turn about z: (x, y) -> (-y, x).
  giXform3Acc* acc = giXform3Acc::access(&rot);
  acc->set_matrix_value(0, 0, 0.0);
  acc->set_matrix_value(0, 1, -1.0);
  acc->set_matrix_value(1, 0, 1.0);
  acc->set_matrix_value(1, 1, 0.0);
  rot.premultiply(giXform3(giXformTranslate, giVector3(10, 20, 30)));
  giPoint3 p = rot.transform(giPoint3(1, 2, 3));
  EXPECT_EQ(p.x(), -2 + 10.0);
  EXPECT_EQ(p.y(), 1 + 20.0);
  EXPECT_EQ(p.z(), 3 + 30.0);
  EXPECT_EQ(rot.matrix_value(0, 3), 10.0);
  EXPECT_EQ(rot.matrix_value(3, 3), 1.0);
}

TEST(GiXform3Test, AccessorWritesTheTransformItWasAskedFor) {
  giXform3 a;
  giXform3 b(a);  // a copy has its own accessor
  giXform3Acc::access(&b)->set_matrix_value(2, 1, 5.0);
  EXPECT_EQ(b.matrix_value(2, 1), 5.0);
  EXPECT_EQ(a.matrix_value(2, 1), 0.0);
  giXform3 c;
  c = b;  // assignment copies the matrix, not the accessor's aim
  giXform3Acc::access(&c)->set_matrix_value(0, 0, -1.0);
  EXPECT_EQ(c.matrix_value(0, 0), -1.0);
  EXPECT_EQ(c.matrix_value(2, 1), 5.0);
  EXPECT_EQ(b.matrix_value(0, 0), 1.0);
}

TEST(GiXform3Test, AccessorReportsEntriesOutsideTheLinearBlock) {
  giXform3 x;
  const std::string err = vtest::captureStderr([&] { giXform3Acc::access(&x)->set_matrix_value(0, 3, 7.0); });
  EXPECT_EQ(err, "giXform3Acc.h(30): argument out of range | giXform3Acc::set_matrix_value\n");
  EXPECT_EQ(x.matrix_value(0, 3), 0.0);
}

TEST(GiPoint3Test, InvalidTestIsAsymmetric) {
  EXPECT_EQ(giPoint3(1, 2, 3).invalid(), 0);
  EXPECT_EQ(giPoint3(DBL_MAX, 0, 0).invalid(), 1);
  EXPECT_EQ(giPoint3(-DBL_MAX, 0, 0).invalid(), 1);
  EXPECT_EQ(giPoint3(0, DBL_MAX, 0).invalid(), 1);
  EXPECT_EQ(giPoint3(0, -DBL_MAX, 0).invalid(), 0);
  EXPECT_EQ(giPoint3(0, 0, DBL_MAX).invalid(), 1);
  EXPECT_EQ(giPoint3(0, 0, -DBL_MAX).invalid(), 0);
}

TEST(GiPoint3Test, InvalidPointIsReportedPerCoordinateAndReadAnyway) {
  giPoint3 p(DBL_MAX, 2, 3);
  double y = 0;
  std::string err = vtest::captureStderr([&] { y = p.y(); });
  EXPECT_EQ(y, 2.0);
  EXPECT_TRUE(vtest::contains(err, "object in incorrect state for operation |giPoint::y const")) << err;
}

TEST(CcMathTest, NormalOfGeneralTriangle) {
  giVector3 n;
  ASSERT_NE(ccMath::calc_norm_3pt(giPoint3(0, 0, 0), giPoint3(2, 0, 0), giPoint3(0, 3, 0), n), 0);
  EXPECT_DOUBLE_EQ(n.z(), 1.0);
}

TEST(CcMathTest, CollinearAndCoincidentGiveZero) {
  giVector3 n;
  EXPECT_EQ(ccMath::calc_norm_3pt(giPoint3(0, 0, 0), giPoint3(1, 1, 1), giPoint3(2, 2, 2), n), 0);
  EXPECT_EQ(ccMath::calc_norm_3pt(giPoint3(1, 1, 1), giPoint3(1, 1, 1), giPoint3(1, 1, 1), n), 0);
  EXPECT_EQ(ccMath::calc_norm_3pt(giPoint3(0, 0, 0), giPoint3(0, 0, 0), giPoint3(1, 0, 0), n), 0);
}

TEST(CcMathTest, TestIsScaleAware) {
  giVector3 n;
  // A tiny but well-shaped triangle has a normal; a huge nearly-flat one does not.
  EXPECT_NE(ccMath::calc_norm_3pt(giPoint3(0, 0, 0), giPoint3(1e-9, 0, 0), giPoint3(0, 1e-9, 0), n), 0);
  EXPECT_EQ(ccMath::calc_norm_3pt(giPoint3(0, 0, 0), giPoint3(1e6, 0, 0), giPoint3(2e6, 1e-9, 0), n), 0);
}

TEST(CcMathTest, NormalIsTheUnitNormalOfTheTwoEdges) {
  giVector3 n;
  // Edges (0, 2, 0) and (0, 0, 3): (b - a) x (c - a) points along +x.
  ASSERT_NE(ccMath::calc_norm_3pt(giPoint3(1, 1, 1), giPoint3(1, 3, 1), giPoint3(1, 1, 4), n), 0);
  EXPECT_DOUBLE_EQ(n.x(), 1.0);
  EXPECT_EQ(n.y(), 0.0);
  EXPECT_EQ(n.z(), 0.0);
}

TEST(CcMathTest, HugeTriangleDoesNotOverflow) {
  giVector3 n;
  // Squares of these coordinates overflow; the triangle is well shaped all the same.
  ASSERT_NE(ccMath::calc_norm_3pt(giPoint3(0, 0, 0), giPoint3(1e300, 0, 0), giPoint3(0, 1e300, 0), n), 0);
  EXPECT_DOUBLE_EQ(n.z(), 1.0);
}

TEST(CcMathTest, InfiniteEdgeGivesZero) {
  giVector3 n;
  EXPECT_EQ(ccMath::calc_norm_3pt(giPoint3(-DBL_MAX, 0, 0), giPoint3(DBL_MAX, 0, 0), giPoint3(0, 1, 0), n),
            0);
}

TEST(GiPoint3coPageArrTest, AppendAndIndex) {
  giPoint3coPageArr a;
  EXPECT_EQ(a.count(), 0);
  a.append(giPoint3(1, 2, 3));
  a.append(giPoint3(4, 5, 6));
  EXPECT_EQ(a.count(), 2);
  EXPECT_EQ(a[1].y(), 5.0);
}

}  // namespace
