// Choice of the leading pairs for the velmora-align tool.
#include "align/align_order.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <utility>
#include <vector>

namespace valign {

namespace {

Vec3 minus(const Vec3& a, const Vec3& b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
Vec3 cross(const Vec3& a, const Vec3& b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
double norm2(const Vec3& a) { return a.x * a.x + a.y * a.y + a.z * a.z; }
double largestMagnitude(const Vec3& a) { return std::max({std::fabs(a.x), std::fabs(a.y), std::fabs(a.z)}); }

// One set seen about its barycentre (taken as the alignment does: the sum divided by the count) and
// scaled by a power of two into [-1, 1], so that every square below is safe whatever the units.
class CentredSet {
 public:
  explicit CentredSet(const std::vector<Vec3>& points) : points_(points) {
    const double n = static_cast<double>(points.size());
    for (const Vec3& p : points) {
      centre_.x += p.x;
      centre_.y += p.y;
      centre_.z += p.z;
    }
    if (!points.empty()) centre_ = {centre_.x / n, centre_.y / n, centre_.z / n};
    double largest = 0.0;
    for (const Vec3& p : points) largest = std::max(largest, largestMagnitude(minus(p, centre_)));
    scale_ = powerOfTwoAbove(largest);
    for (std::size_t i = 0; i < points.size(); ++i) spread2_ = std::max(spread2_, norm2(at(i)));
  }
  Vec3 at(std::size_t i) const {
    const Vec3 d = minus(points_[i], centre_);
    return {d.x / scale_, d.y / scale_, d.z / scale_};
  }
  // Largest squared distance of a point from the barycentre, in the scaled units; 0 when all coincide.
  double spread2() const { return spread2_; }

 private:
  const std::vector<Vec3>& points_;
  Vec3 centre_;
  double scale_ = 1.0;
  double spread2_ = 0.0;
};

using Triple = std::array<std::size_t, 3>;

// Index maximising the smallest of score(set, i) over the sets; the first one on ties.
template <class Score>
std::size_t argmaxOfMin(const std::vector<const CentredSet*>& sets, std::size_t n, Score score) {
  std::size_t best = 0;
  double bestValue = -1.0;
  for (std::size_t i = 0; i < n; ++i) {
    double value = HUGE_VAL;
    for (const CentredSet* s : sets) value = std::min(value, score(*s, i));
    if (value > bestValue) {
      bestValue = value;
      best = i;
    }
  }
  return best;
}

// Farthest from the barycentre, farthest from that one, then the largest triangle with both; every
// measure is relative to the set's own spread and judged on all the given sets at once.
Triple greedyTriple(const std::vector<const CentredSet*>& sets, std::size_t n) {
  const std::size_t i0 =
      argmaxOfMin(sets, n, [](const CentredSet& s, std::size_t i) { return norm2(s.at(i)) / s.spread2(); });
  const std::size_t i1 = argmaxOfMin(sets, n, [i0](const CentredSet& s, std::size_t i) {
    return norm2(minus(s.at(i), s.at(i0))) / s.spread2();
  });
  const std::size_t i2 = argmaxOfMin(sets, n, [i0, i1](const CentredSet& s, std::size_t i) {
    const Vec3 a = s.at(i0);
    const Vec3 u = minus(s.at(i1), a);
    const double u2 = norm2(u);
    if (u2 == 0.0) return 0.0;
    return norm2(cross(u, minus(s.at(i), a))) / (u2 * s.spread2());
  });
  return {i0, i1, i2};
}

struct Ordered {
  Triple index;
  double sine[2];  // per set, at the first point; only the given sets are filled, the others are 1
  double worst() const { return std::min(sine[0], sine[1]); }
};

// The rotation of the triple whose first angle has the largest sine in the worse of the sets.
Ordered bestRotation(const Triple& t, const CentredSet* from, const CentredSet* to) {
  Ordered best{t, {-1.0, -1.0}};
  for (int r = 0; r < 3; ++r) {
    const Triple o = {t[r], t[(r + 1) % 3], t[(r + 2) % 3]};
    Ordered candidate{o, {1.0, 1.0}};
    if (from != nullptr) candidate.sine[0] = vertexSine(from->at(o[0]), from->at(o[1]), from->at(o[2]));
    if (to != nullptr) candidate.sine[1] = vertexSine(to->at(o[0]), to->at(o[1]), to->at(o[2]));
    if (candidate.worst() > best.worst()) best = candidate;
  }
  return best;
}

// Last resort when the greedy choices fail: every triple among the pairs farthest from the
// barycentres (judged on both sets), a bounded exhaustive search.
Ordered bestAmongOutermost(const std::vector<const CentredSet*>& sets, std::size_t n) {
  constexpr std::size_t kCandidates = 24;
  std::vector<std::pair<double, std::size_t>> reach(n);
  for (std::size_t i = 0; i < n; ++i) {
    double value = HUGE_VAL;
    for (const CentredSet* s : sets) value = std::min(value, norm2(s->at(i)) / s->spread2());
    reach[i] = {-value, i};  // ascending order puts the farthest, then the earliest, first
  }
  const std::size_t m = std::min(kCandidates, n);
  std::partial_sort(reach.begin(), reach.begin() + static_cast<std::ptrdiff_t>(m), reach.end());
  Ordered best{{0, 0, 0}, {-1.0, -1.0}};
  for (std::size_t a = 0; a < m; ++a)
    for (std::size_t b = a + 1; b < m; ++b)
      for (std::size_t c = b + 1; c < m; ++c) {
        const Ordered candidate =
            bestRotation({reach[a].second, reach[b].second, reach[c].second}, sets[0], sets[1]);
        if (candidate.worst() > best.worst()) best = candidate;
      }
  return best;
}

}  // namespace

double vertexSine(const Vec3& a, const Vec3& b, const Vec3& c) {
  Vec3 u = minus(b, a);
  Vec3 v = minus(c, a);
  const double s = powerOfTwoAbove(std::max(largestMagnitude(u), largestMagnitude(v)));
  u = {u.x / s, u.y / s, u.z / s};
  v = {v.x / s, v.y / s, v.z / s};
  const double lu = std::sqrt(norm2(u));
  const double lv = std::sqrt(norm2(v));
  if (lu == 0.0 || lv == 0.0) return 0.0;
  const double sine = std::sqrt(norm2(cross(u, v))) / lu / lv;
  return std::isfinite(sine) ? std::min(sine, 1.0) : 0.0;
}

LeadingTriple chooseLeadingTriple(const PointPairs& pairs) {
  LeadingTriple result;
  const std::size_t n = pairs.size();
  if (n < 3 || pairs.to.size() != n) return result;
  const CentredSet from(pairs.from);
  const CentredSet to(pairs.to);
  if (from.spread2() == 0.0) {
    result.status = LeadingStatus::FromCollinear;
    return result;
  }
  if (to.spread2() == 0.0) {
    result.status = LeadingStatus::ToCollinear;
    return result;
  }
  Ordered best = bestRotation(greedyTriple({&from, &to}, n), &from, &to);
  if (best.worst() >= kMinLeadingSine) {
    result.status = LeadingStatus::Ok;
    std::copy(best.index.begin(), best.index.end(), result.index);
    result.sineFrom = best.sine[0];
    result.sineTo = best.sine[1];
    return result;
  }
  // The joint choice failed: look at each set alone, both to classify the failure and for triples
  // that are good in one set and may do in the other.
  const Triple fromTriple = greedyTriple({&from}, n);
  const Triple toTriple = greedyTriple({&to}, n);
  const double fromAlone = bestRotation(fromTriple, &from, nullptr).sine[0];
  const double toAlone = bestRotation(toTriple, nullptr, &to).sine[1];
  result.sineFrom = fromAlone;
  result.sineTo = toAlone;
  if (fromAlone <= kPlaneSine) {
    result.status = LeadingStatus::FromCollinear;
    return result;
  }
  if (toAlone <= kPlaneSine) {
    result.status = LeadingStatus::ToCollinear;
    return result;
  }
  for (const Triple& t : {fromTriple, toTriple}) {
    const Ordered candidate = bestRotation(t, &from, &to);
    if (candidate.worst() > best.worst()) best = candidate;
  }
  if (best.worst() < kMinLeadingSine) {
    const Ordered searched = bestAmongOutermost({&from, &to}, n);
    if (searched.worst() > best.worst()) best = searched;
  }
  if (best.worst() >= kMinLeadingSine) {
    result.status = LeadingStatus::Ok;
    std::copy(best.index.begin(), best.index.end(), result.index);
    result.sineFrom = best.sine[0];
    result.sineTo = best.sine[1];
    return result;
  }
  if (fromAlone < kMinLeadingSine) {
    result.status = LeadingStatus::FromTooThin;
  } else if (toAlone < kMinLeadingSine) {
    result.status = LeadingStatus::ToTooThin;
  } else {
    result.status = LeadingStatus::NoCommonTriple;
  }
  return result;
}

PointPairs withLeadingTriple(const PointPairs& pairs, const LeadingTriple& triple) {
  const std::size_t n = pairs.size();
  PointPairs out;
  out.from.reserve(n);
  out.to.reserve(n);
  for (std::size_t k : triple.index) {
    out.from.push_back(pairs.from[k]);
    out.to.push_back(pairs.to[k]);
  }
  for (std::size_t k = 0; k < n; ++k) {
    if (k == triple.index[0] || k == triple.index[1] || k == triple.index[2]) continue;
    out.from.push_back(pairs.from[k]);
    out.to.push_back(pairs.to[k]);
  }
  return out;
}

std::string leadingMessage(const LeadingTriple& triple) {
  char sine[32];
  switch (triple.status) {
    case LeadingStatus::Ok:
      return std::string();
    case LeadingStatus::FromCollinear:
      return "the points to move are all collinear or coincident: the rotation is not determined";
    case LeadingStatus::ToCollinear:
      return "the target points are all collinear or coincident: the rotation is not determined";
    case LeadingStatus::FromTooThin:
      std::snprintf(sine, sizeof sine, "%.3g", triple.sineFrom);
      return std::string("the points to move lie too close to a line (best triangle angle sine ") + sine +
             ", below 1e-4) for a reliable starting rotation";
    case LeadingStatus::ToTooThin:
      std::snprintf(sine, sizeof sine, "%.3g", triple.sineTo);
      return std::string("the target points lie too close to a line (best triangle angle sine ") + sine +
             ", below 1e-4) for a reliable starting rotation";
    case LeadingStatus::NoCommonTriple:
      break;
  }
  return "no three pairs form a well-shaped triangle in both sets: the starting rotation cannot be built";
}

}  // namespace valign
