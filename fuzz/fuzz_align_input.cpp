// The velmora-align input reader on arbitrary bytes. The first byte chooses the layout: even, one
// pairs file (the rest of the input); odd, a --from file and a --to file (the rest, split at its first
// zero byte). Whatever the bytes, the result is either a set of pairs whose coordinates are all finite
// and within the accepted magnitude, with as many points to move as targets, or one clear line of
// error naming the file; never a crash, a hang or unbounded memory.
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

// One line of printable ASCII that starts with the name of a file read.
bool clearError(const std::string& error, std::string_view name1, std::string_view name2) {
  if (error.empty() || error.size() > 1024) return false;
  for (char c : error)
    if (static_cast<unsigned char>(c) < 0x20 || static_cast<unsigned char>(c) > 0x7e) return false;
  return error.compare(0, name1.size(), name1) == 0 ||
         (!name2.empty() && error.compare(0, name2.size(), name2) == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const std::string_view rest(reinterpret_cast<const char*>(data) + 1, size - 1);
  valign::PointPairs pairs;
  if ((data[0] & 1) == 0) {
    const std::string error = valign::readPairs(rest, "pairs.txt", pairs);
    VFUZZ_CHECK(pairs.from.size() == pairs.to.size());
    if (!error.empty()) {
      VFUZZ_CHECK(clearError(error, "pairs.txt", ""));
      VFUZZ_CHECK(pairs.size() == 0);
      return 0;
    }
  } else {
    const size_t zero = rest.find('\0');
    const std::string_view fromText = rest.substr(0, zero);
    const std::string_view toText =
        zero == std::string_view::npos ? std::string_view() : rest.substr(zero + 1);
    std::string error = valign::readPoints(fromText, "from.txt", pairs.from);
    if (error.empty()) error = valign::readPoints(toText, "to.txt", pairs.to);
    if (error.empty())
      error = valign::matchingCountMessage("from.txt", pairs.from.size(), "to.txt", pairs.to.size());
    if (!error.empty()) {
      VFUZZ_CHECK(clearError(error, "from.txt", "to.txt"));
      return 0;
    }
    VFUZZ_CHECK(pairs.from.size() == pairs.to.size());
  }
  VFUZZ_CHECK(finiteAndBounded(pairs.from));
  VFUZZ_CHECK(finiteAndBounded(pairs.to));
  return 0;
}
