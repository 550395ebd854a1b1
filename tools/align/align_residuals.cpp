// Residuals of an alignment for the velmora-align tool.
#include "align/align_residuals.h"

#include <algorithm>
#include <cmath>

namespace valign {

namespace {

// Neumaier's compensated running sum: millions of terms add up to the last bits.
class CompensatedSum {
 public:
  void add(double v) {
    const double t = sum_ + v;
    if (std::fabs(sum_) >= std::fabs(v)) {
      compensation_ += (sum_ - t) + v;
    } else {
      compensation_ += (v - t) + sum_;
    }
    sum_ = t;
  }
  double value() const { return sum_ + compensation_; }

 private:
  double sum_ = 0.0;
  double compensation_ = 0.0;
};

}  // namespace

double distance(const Vec3& a, const Vec3& b) {
  const double dx = a.x - b.x, dy = a.y - b.y, dz = a.z - b.z;
  const double m = std::max({std::fabs(dx), std::fabs(dy), std::fabs(dz)});
  if (m == 0.0 || !std::isfinite(m)) return m;
  const double x = dx / m, y = dy / m, z = dz / m;
  return m * std::sqrt(x * x + y * y + z * z);
}

std::vector<double> residuals(const PointPairs& pairs, const Transform4& transform) {
  std::vector<double> out(pairs.size());
  for (std::size_t k = 0; k < pairs.size(); ++k)
    out[k] = distance(transform.apply(pairs.from[k]), pairs.to[k]);
  return out;
}

ErrorStats errorStats(const std::vector<double>& distances) {
  ErrorStats stats;
  if (distances.empty()) return stats;
  const double n = static_cast<double>(distances.size());
  stats.max = *std::max_element(distances.begin(), distances.end());
  stats.min = *std::min_element(distances.begin(), distances.end());
  CompensatedSum sum, squares;
  // Squares are taken relative to the largest distance so that tiny or huge units stay exact enough.
  const double scale = stats.max > 0.0 ? stats.max : 1.0;
  for (double d : distances) {
    sum.add(d);
    const double r = d / scale;
    squares.add(r * r);
  }
  stats.mean = sum.value() / n;
  stats.rms = scale * std::sqrt(squares.value() / n);
  return stats;
}

}  // namespace valign
