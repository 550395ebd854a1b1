// The closed-form fit over the velmora-align tool's pairs.
#include "align/align_fit.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <type_traits>

namespace valign {

// The fit reads the points in place, as rows of three doubles.
static_assert(std::is_standard_layout<Vec3>::value && sizeof(Vec3) == 3 * sizeof(double),
              "Vec3 must be three contiguous doubles");

velmora::FitResult fitPairs(const PointPairs& pairs, const std::vector<double>& weights,
                            const velmora::FitOptions& options) {
  velmora::PointsView source, target;
  source.count = pairs.from.size();
  target.count = pairs.to.size();
  if (!pairs.from.empty()) source.data = &pairs.from.front().x;
  if (!pairs.to.empty()) target.data = &pairs.to.front().x;
  velmora::WeightsView w;
  if (!weights.empty()) w.data = weights.data();
  return velmora::fit(source, target, w, options);
}

bool newtonIsWorse(double newtonRms, double closedFormRms, double largest) {
  if (!std::isfinite(newtonRms)) return true;
  if (!std::isfinite(closedFormRms)) return false;
  const double rounding = 64.0 * std::numeric_limits<double>::epsilon() * largest;
  return newtonRms - closedFormRms > kNewtonRmsMargin * closedFormRms + rounding;
}

std::vector<std::string> textLines(const std::string& text) {
  std::vector<std::string> lines;
  std::size_t at = 0;
  while (at < text.size()) {
    std::size_t end = text.find('\n', at);
    if (end == std::string::npos) end = text.size();
    if (end > at) lines.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  return lines;
}

}  // namespace valign
