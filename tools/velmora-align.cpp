// velmora-align: the least-squares motion between point pairs from the command line, through the
// library's closed-form fit, or its host-facing entry with --method newton. Everything but the entry's
// call lives in the velmora_align_core modules.
#include <climits>
#include <iostream>

#include "align/align_app.h"
#include "align/align_fileio.h"
#include "velmora/host.h"
#include "velmora/velAlign.h"

namespace {

// Interleaves the pairs into the host's point array (point to move, then its target), calls the
// entry with a fresh host transform and copies the 4x4 result out.
int alignThroughEntry(const valign::PointPairs& pairs, valign::Transform4& transform, double& meanError) {
  if (pairs.size() > static_cast<std::size_t>(INT_MAX / 2)) return 0;  // the host array counts in int
  giPoint3coPageArr points;
  points.reserve(static_cast<int>(2 * pairs.size()));
  for (std::size_t k = 0; k < pairs.size(); ++k) {
    const valign::Vec3& a = pairs.from[k];
    const valign::Vec3& b = pairs.to[k];
    points.append(giPoint3(a.x, a.y, a.z));
    points.append(giPoint3(b.x, b.y, b.z));
  }
  giXform3 xform;
  double error = 0.0;
  if (velAlign::calc_align_transform(points, xform, error) != 1) return 0;
  for (int r = 0; r < 4; ++r)
    for (int c = 0; c < 4; ++c) transform.m[r][c] = xform.matrix_value(r, c);
  meanError = error;
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  return valign::runAlign(argc, argv, alignThroughEntry, valign::readWholeFile, std::cout, std::cerr);
}
