// Plain value types shared by the modules of the velmora-align command-line tool: a 3D point, the
// two point sets of an alignment problem and a 4x4 homogeneous transform.
#ifndef VELMORA_TOOLS_ALIGN_TYPES_H
#define VELMORA_TOOLS_ALIGN_TYPES_H

#include <cmath>
#include <cstddef>
#include <vector>

namespace valign {

struct Vec3 {
  double x = 0.0, y = 0.0, z = 0.0;
};

// The alignment problem: from[k] must be carried onto to[k]. Both vectors always have the same length.
struct PointPairs {
  std::vector<Vec3> from;
  std::vector<Vec3> to;
  std::size_t size() const { return from.size(); }
};

// A rigid motion as a row-major 4x4 matrix: rotation in the upper-left 3x3 block, translation in the
// last column, last row 0 0 0 1.
struct Transform4 {
  double m[4][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}};
  Vec3 apply(const Vec3& p) const {
    return {m[0][0] * p.x + m[0][1] * p.y + m[0][2] * p.z + m[0][3],
            m[1][0] * p.x + m[1][1] * p.y + m[1][2] * p.z + m[1][3],
            m[2][0] * p.x + m[2][1] * p.y + m[2][2] * p.z + m[2][3]};
  }
};

// The power of two just above `largest` (1 for 0): dividing by it is exact and brings every value of
// magnitude up to `largest` into [-1, 1].
inline double powerOfTwoAbove(double largest) {
  if (largest == 0.0) return 1.0;
  int exponent = 0;
  std::frexp(largest, &exponent);
  return std::ldexp(1.0, exponent);
}

}  // namespace valign

#endif
