// Choice of the leading pairs for the velmora-align tool. The alignment entry builds its starting
// rotation from the first three pairs only, so a thin, collinear or coincident first triangle in
// either set spoils the start (or stops the process in the checking build) even when the whole set
// fixes the rotation well. The tool therefore moves a well-shaped triple of pairs to the front; the
// least-squares result over all pairs is the same.
#ifndef VELMORA_TOOLS_ALIGN_ORDER_H
#define VELMORA_TOOLS_ALIGN_ORDER_H

#include <cstddef>
#include <string>

#include "align/align_types.h"

namespace valign {

// A triple spans a plane when the sine of its angle at the first point exceeds this (the host's
// scale-aware three-point test).
constexpr double kPlaneSine = 1e-12;
// The starting frame of each set is orthonormal to within the library's 1e-11 checks only when the
// sine at the first point of its leading triangle is at least this.
constexpr double kMinLeadingSine = 1e-4;

// Sine of the angle at a of the triangle (a, b, c): |(b - a) x (c - a)| / (|b - a| |c - a|), computed
// scale-free; 0 when two of the points coincide.
double vertexSine(const Vec3& a, const Vec3& b, const Vec3& c);

enum class LeadingStatus {
  Ok,              // index holds the leading triple
  FromCollinear,   // no triple of the points to move spans a plane
  ToCollinear,     // no triple of the target points spans a plane
  FromTooThin,     // the points to move span a plane, but no triangle of theirs is shaped well enough
  ToTooThin,       // the same for the target points
  NoCommonTriple,  // each set alone has good triangles, but no triple of pairs is good in both
};

struct LeadingTriple {
  LeadingStatus status = LeadingStatus::NoCommonTriple;
  std::size_t index[3] = {0, 0, 0};  // pair indices, in the order they go to the front
  double sineFrom = 0.0;             // sine at the first point of the best triangle found, per set
  double sineTo = 0.0;
};

// Picks the leading triple: the pair farthest from the barycentres, then the pair farthest from it,
// then the pair that makes the largest triangle with both, each judged by the smaller relative value
// over the two sets; the vertex whose angle has the largest sine in both sets goes first. When that
// triangle is not good enough, the best triangles of each set alone are tried, then every triple
// among the 24 pairs farthest from the barycentres. Deterministic: ties go to the earlier pair.
LeadingTriple chooseLeadingTriple(const PointPairs& pairs);

// The pairs with the leading triple moved to the front (in its order) and the others after it in
// input order. `triple` must have status Ok.
PointPairs withLeadingTriple(const PointPairs& pairs, const LeadingTriple& triple);

// The text for a failed choice (status other than Ok).
std::string leadingMessage(const LeadingTriple& triple);

}  // namespace valign

#endif
