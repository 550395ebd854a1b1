// Choice of the leading triple of pairs in velmora-align.
#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <vector>

#include "align/align_order.h"
#include "tool/align_fixtures.h"

using valign::chooseLeadingTriple;
using valign::kMinLeadingSine;
using valign::LeadingStatus;
using valign::LeadingTriple;
using valign::PointPairs;
using valign::Vec3;
using valign::vertexSine;

namespace {

// The sine at the first point of the triangle the triple puts in front, in one set (from the
// definition, with Eigen).
double leadingSine(const std::vector<Vec3>& set, const LeadingTriple& t) {
  const Eigen::Vector3d a = vtool::toEigen(set[t.index[0]]);
  const Eigen::Vector3d u = vtool::toEigen(set[t.index[1]]) - a;
  const Eigen::Vector3d v = vtool::toEigen(set[t.index[2]]) - a;
  return u.cross(v).norm() / (u.norm() * v.norm());
}

void expectWellShaped(const PointPairs& pairs, const LeadingTriple& t) {
  ASSERT_EQ(t.status, LeadingStatus::Ok);
  const std::set<std::size_t> distinct(t.index, t.index + 3);
  EXPECT_EQ(distinct.size(), 3u);
  for (std::size_t k : t.index) EXPECT_LT(k, pairs.size());
  EXPECT_GE(leadingSine(pairs.from, t), kMinLeadingSine);
  EXPECT_GE(leadingSine(pairs.to, t), kMinLeadingSine);
}

// Random pairs moved by the sample motion, whose first three pairs are then replaced by `first`.
PointPairs withFirstTriple(const std::vector<Vec3>& first, double sigma, unsigned seed) {
  std::vector<Vec3> points = vtool::randomPoints(40, 50.0, {200.0, -30.0, 5.0}, seed);
  for (std::size_t i = 0; i < first.size(); ++i) points[i] = first[i];
  return vtool::movedPairs(points, vtool::sampleMotion(), sigma, seed + 100);
}

}  // namespace

TEST(VertexSineTest, RightAngleGivesOne) {
  EXPECT_NEAR(vertexSine({0, 0, 0}, {2, 0, 0}, {0, 5, 0}), 1.0, 1e-15);
}

TEST(VertexSineTest, ThirtyDegreesGivesOneHalf) {
  EXPECT_NEAR(vertexSine({1, 1, 1}, {1 + 2, 1, 1}, {1 + std::sqrt(3.0), 1 + 1, 1}), 0.5, 1e-15);
}

TEST(VertexSineTest, CollinearOrCoincidentPointsGiveZero) {
  EXPECT_EQ(vertexSine({0, 0, 0}, {1, 1, 1}, {2, 2, 2}), 0.0);
  EXPECT_EQ(vertexSine({0, 0, 0}, {0, 0, 0}, {1, 2, 3}), 0.0);
  EXPECT_EQ(vertexSine({1, 2, 3}, {1, 2, 3}, {1, 2, 3}), 0.0);
}

TEST(VertexSineTest, IsTheSameAtEveryScale) {
  for (double s : {1e-300, 1e-200, 1e-10, 1e10, 1e150}) {
    EXPECT_NEAR(vertexSine({0, 0, 0}, {2 * s, 0, 0}, {s, s, 0}), std::sqrt(0.5), 1e-15) << s;
  }
}

TEST(ChooseLeadingTripleTest, CollinearFirstTripleIsReplaced) {
  for (double sigma : {0.0, 0.01}) {
    const PointPairs pairs = withFirstTriple({{0, 0, 0}, {1, 1, 1}, {2, 2, 2}}, sigma, 1);
    expectWellShaped(pairs, chooseLeadingTriple(pairs));
  }
}

TEST(ChooseLeadingTripleTest, NearlyCollinearFirstTripleIsReplaced) {
  for (double sigma : {0.0, 0.01}) {
    const PointPairs pairs = withFirstTriple({{0, 0, 0}, {10, 0, 0}, {20, 1e-9, 0}}, sigma, 2);
    expectWellShaped(pairs, chooseLeadingTriple(pairs));
  }
}

TEST(ChooseLeadingTripleTest, DuplicatedFirstTripleIsReplaced) {
  for (double sigma : {0.0, 0.01}) {
    const PointPairs pairs = withFirstTriple({{3, 4, 5}, {3, 4, 5}, {3, 4, 5}}, sigma, 3);
    expectWellShaped(pairs, chooseLeadingTriple(pairs));
  }
}

TEST(ChooseLeadingTripleTest, TinyFirstTriangleIsReplaced) {
  for (double sigma : {0.0, 0.01}) {
    const PointPairs pairs = withFirstTriple({{1, 1, 1}, {1 + 1e-9, 1, 1}, {1, 1 + 1e-9, 1}}, sigma, 4);
    const LeadingTriple t = chooseLeadingTriple(pairs);
    expectWellShaped(pairs, t);
    // The chosen triangle is of the size of the set, not of the tiny one.
    const Eigen::Vector3d a = vtool::toEigen(pairs.from[t.index[0]]);
    EXPECT_GT((vtool::toEigen(pairs.from[t.index[1]]) - a).norm(), 1.0);
  }
}

TEST(ChooseLeadingTripleTest, FlatSetsAreFine) {
  std::vector<Vec3> points = vtool::randomPoints(30, 10.0, {0, 0, 0}, 9);
  for (Vec3& p : points) p.z = 0.0;
  points[0] = {0, 0, 0};
  points[1] = {1, 0, 0};
  points[2] = {2, 0, 0};
  const PointPairs pairs = vtool::movedPairs(points, vtool::sampleMotion(), 0.0, 1);
  expectWellShaped(pairs, chooseLeadingTriple(pairs));
}

TEST(ChooseLeadingTripleTest, ThreePairsAreUsedAsTheyAreWhenWellShaped) {
  const PointPairs pairs =
      vtool::movedPairs({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, vtool::sampleMotion(), 0.0, 1);
  expectWellShaped(pairs, chooseLeadingTriple(pairs));
}

TEST(ChooseLeadingTripleTest, IsDeterministic) {
  const PointPairs pairs = withFirstTriple({{0, 0, 0}, {1, 1, 1}, {2, 2, 2}}, 0.01, 5);
  const LeadingTriple a = chooseLeadingTriple(pairs);
  const LeadingTriple b = chooseLeadingTriple(pairs);
  EXPECT_EQ(std::vector<std::size_t>(a.index, a.index + 3), std::vector<std::size_t>(b.index, b.index + 3));
}

TEST(ChooseLeadingTripleTest, TriangleGoodInOneSetOnlyIsAvoided) {
  // The triple 0, 1, 2 is the largest triangle of the points to move, but collinear among the
  // targets; 0, 1, 3 is good in both.
  PointPairs pairs;
  pairs.from = {{0, 0, 0}, {10, 0, 0}, {0, 10, 0}, {1, 1, 0}};
  pairs.to = {{0, 0, 0}, {10, 0, 0}, {20, 0, 0}, {1, 1, 0}};
  const LeadingTriple t = chooseLeadingTriple(pairs);
  expectWellShaped(pairs, t);
}

TEST(ChooseLeadingTripleTest, CollinearPointsToMoveAreReported) {
  PointPairs pairs;
  for (int i = 0; i < 10; ++i) {
    pairs.from.push_back({1.0 * i, 2.0 * i, 3.0 * i});
    pairs.to.push_back({std::cos(i), std::sin(i), 0.1 * i});
  }
  EXPECT_EQ(chooseLeadingTriple(pairs).status, LeadingStatus::FromCollinear);
  std::swap(pairs.from, pairs.to);
  EXPECT_EQ(chooseLeadingTriple(pairs).status, LeadingStatus::ToCollinear);
}

TEST(ChooseLeadingTripleTest, CoincidentPointsAreCollinear) {
  PointPairs pairs;
  pairs.from = {{1, 1, 1}, {1, 1, 1}, {1, 1, 1}, {1, 1, 1}};
  pairs.to = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
  EXPECT_EQ(chooseLeadingTriple(pairs).status, LeadingStatus::FromCollinear);
  std::swap(pairs.from, pairs.to);
  EXPECT_EQ(chooseLeadingTriple(pairs).status, LeadingStatus::ToCollinear);
}

TEST(ChooseLeadingTripleTest, TwoDistinctPositionsAreCollinear) {
  PointPairs pairs;
  pairs.from = {{1, 1, 1}, {2, 2, 2}, {1, 1, 1}, {2, 2, 2}};
  pairs.to = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
  EXPECT_EQ(chooseLeadingTriple(pairs).status, LeadingStatus::FromCollinear);
}

TEST(ChooseLeadingTripleTest, SetsTooCloseToALineAreReported) {
  // Points along x within 1e-7 of the axis: they span a plane, but every triangle is thinner than
  // the starting frame tolerates.
  PointPairs pairs;
  for (int i = 0; i < 20; ++i) {
    pairs.from.push_back({1.0 * i, 1e-7 * ((i * 7) % 5), 1e-7 * ((i * 3) % 4)});
    pairs.to.push_back({std::cos(i), std::sin(i), 0.1 * i});
  }
  const LeadingTriple t = chooseLeadingTriple(pairs);
  EXPECT_EQ(t.status, LeadingStatus::FromTooThin);
  EXPECT_GT(t.sineFrom, valign::kPlaneSine);
  EXPECT_LT(t.sineFrom, kMinLeadingSine);
  std::swap(pairs.from, pairs.to);
  EXPECT_EQ(chooseLeadingTriple(pairs).status, LeadingStatus::ToTooThin);
}

TEST(ChooseLeadingTripleTest, ThinButSufficientSetsAreAccepted) {
  // Width 1e-2 of the length: every good triangle has a sine of about that size.
  PointPairs pairs;
  for (int i = 0; i < 20; ++i) {
    const Vec3 p = {1.0 * i, 0.2 * ((i * 7) % 5) - 0.4, 0.2 * ((i * 3) % 4) - 0.3};
    pairs.from.push_back(p);
    pairs.to.push_back(vtool::sampleMotion().apply(p));
  }
  expectWellShaped(pairs, chooseLeadingTriple(pairs));
}

TEST(ChooseLeadingTripleTest, FewerThanThreePairsAreRefused) {
  PointPairs pairs;
  pairs.from = {{0, 0, 0}, {1, 0, 0}};
  pairs.to = pairs.from;
  EXPECT_NE(chooseLeadingTriple(pairs).status, LeadingStatus::Ok);
}

TEST(WithLeadingTripleTest, MovesTheTripleToTheFrontAndKeepsTheRestInOrder) {
  PointPairs pairs;
  for (int i = 0; i < 6; ++i) {
    pairs.from.push_back({1.0 * i, 0, 0});
    pairs.to.push_back({0, 1.0 * i, 0});
  }
  LeadingTriple t;
  t.status = LeadingStatus::Ok;
  t.index[0] = 4;
  t.index[1] = 1;
  t.index[2] = 5;
  const PointPairs out = valign::withLeadingTriple(pairs, t);
  ASSERT_EQ(out.size(), 6u);
  const double expected[] = {4, 1, 5, 0, 2, 3};
  for (int i = 0; i < 6; ++i) {
    EXPECT_EQ(out.from[i].x, expected[i]);
    EXPECT_EQ(out.to[i].y, expected[i]);
  }
}

TEST(LeadingMessageTest, NamesTheFailure) {
  LeadingTriple t;
  t.status = LeadingStatus::FromCollinear;
  EXPECT_EQ(valign::leadingMessage(t),
            "the points to move are all collinear or coincident: the rotation is not determined");
  t.status = LeadingStatus::ToCollinear;
  EXPECT_EQ(valign::leadingMessage(t),
            "the target points are all collinear or coincident: the rotation is not determined");
  t.status = LeadingStatus::FromTooThin;
  t.sineFrom = 2.5e-7;
  EXPECT_EQ(valign::leadingMessage(t),
            "the points to move lie too close to a line (best triangle angle sine 2.5e-07, below 1e-4) for a "
            "reliable starting rotation");
  t.status = LeadingStatus::ToTooThin;
  t.sineTo = 3e-9;
  EXPECT_EQ(valign::leadingMessage(t),
            "the target points lie too close to a line (best triangle angle sine 3e-09, below 1e-4) for a "
            "reliable starting rotation");
  t.status = LeadingStatus::NoCommonTriple;
  EXPECT_EQ(valign::leadingMessage(t),
            "no three pairs form a well-shaped triangle in both sets: the starting rotation cannot be built");
  t.status = LeadingStatus::Ok;
  EXPECT_EQ(valign::leadingMessage(t), "");
}
