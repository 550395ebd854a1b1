// The velmora-align input reader on arbitrary bytes. The first byte chooses the layout: even, one
// pairs file (the rest of the input), read with a weight column allowed when its bit 1 is set; odd, a
// --from file and a --to file (the rest, split at its first zero byte), and when bit 1 is set a --weights
// file after a second zero byte. Whatever the bytes, the result is either a set of pairs whose
// coordinates are all finite and within the accepted magnitude, with as many points to move as targets
// and no weights or one finite, non-negative, bounded weight a pair, or one clear line of error naming
// the file; never a crash, a hang or unbounded memory.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "align/align_input.h"
#include "align/align_validate.h"
#include "fuzz_support.h"

namespace {

bool finiteAndBounded(const std::vector<valign::Vec3>& points) {
  for (const valign::Vec3& p : points)
    for (double c : {p.x, p.y, p.z})
      if (!std::isfinite(c) || std::fabs(c) > valign::kMaxCoordinate) return false;
  return true;
}

// No weights, or one a pair, each accepted by the weight check.
bool goodWeights(const std::vector<double>& weights, std::size_t pairs) {
  if (weights.empty()) return true;
  if (weights.size() != pairs) return false;
  for (double w : weights)
    if (valign::checkWeight(w) != valign::WeightCheck::Ok) return false;
  return true;
}

// One line of printable ASCII that starts with the name of a file read.
bool clearError(const std::string& error, std::string_view name1, std::string_view name2,
                std::string_view name3 = std::string_view()) {
  if (error.empty() || error.size() > 1024) return false;
  for (char c : error)
    if (static_cast<unsigned char>(c) < 0x20 || static_cast<unsigned char>(c) > 0x7e) return false;
  for (std::string_view name : {name1, name2, name3})
    if (!name.empty() && error.compare(0, name.size(), name) == 0) return true;
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const bool withWeights = (data[0] & 2) != 0;
  const std::string_view rest(reinterpret_cast<const char*>(data) + 1, size - 1);
  valign::PointPairs pairs;
  std::vector<double> weights;
  if ((data[0] & 1) == 0) {
    const std::string error = valign::readPairs(rest, "pairs.txt", pairs, withWeights ? &weights : nullptr);
    VFUZZ_CHECK(pairs.from.size() == pairs.to.size());
    if (!error.empty()) {
      VFUZZ_CHECK(clearError(error, "pairs.txt", ""));
      VFUZZ_CHECK(pairs.size() == 0);
      VFUZZ_CHECK(weights.empty());
      return 0;
    }
  } else {
    const size_t zero = rest.find('\0');
    const std::string_view fromText = rest.substr(0, zero);
    std::string_view toText = zero == std::string_view::npos ? std::string_view() : rest.substr(zero + 1);
    std::string_view weightsText;
    if (withWeights) {
      const size_t second = toText.find('\0');
      if (second != std::string_view::npos) {
        weightsText = toText.substr(second + 1);
        toText = toText.substr(0, second);
      }
    }
    std::string error = valign::readPoints(fromText, "from.txt", pairs.from);
    if (error.empty()) error = valign::readPoints(toText, "to.txt", pairs.to);
    if (error.empty())
      error = valign::matchingCountMessage("from.txt", pairs.from.size(), "to.txt", pairs.to.size());
    if (error.empty() && withWeights)
      error = valign::readWeights(weightsText, "w.txt", pairs.from.size(), weights);
    if (!error.empty()) {
      VFUZZ_CHECK(clearError(error, "from.txt", "to.txt", "w.txt"));
      VFUZZ_CHECK(weights.empty());
      return 0;
    }
    VFUZZ_CHECK(pairs.from.size() == pairs.to.size());
    VFUZZ_CHECK(!withWeights || weights.size() == pairs.size());
  }
  VFUZZ_CHECK(finiteAndBounded(pairs.from));
  VFUZZ_CHECK(finiteAndBounded(pairs.to));
  VFUZZ_CHECK(goodWeights(weights, pairs.size()));
  return 0;
}
