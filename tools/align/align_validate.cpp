// Input validation of the velmora-align tool.
#include "align/align_validate.h"

#include <cmath>

#include "align/align_text.h"

namespace valign {

CoordinateCheck checkCoordinate(double value) {
  if (!std::isfinite(value)) return CoordinateCheck::NonFinite;
  if (std::fabs(value) > kMaxCoordinate) return CoordinateCheck::TooLarge;
  return CoordinateCheck::Ok;
}

std::string coordinateMessage(CoordinateCheck issue, std::string_view token) {
  switch (issue) {
    case CoordinateCheck::NonFinite:
      return quoteToken(token) + " is not a finite coordinate";
    case CoordinateCheck::TooLarge:
      return "coordinate " + quoteToken(token) + " exceeds 1e150 in magnitude";
    case CoordinateCheck::Ok:
      break;
  }
  return std::string();
}

std::string pairCountMessage(std::size_t pairs, const std::string& source) {
  if (pairs >= kMinPairs) return std::string();
  return source + ": " + std::to_string(pairs) + (pairs == 1 ? " pair" : " pairs") +
         " found, at least 3 are needed";
}

std::string matchingCountMessage(const std::string& fromName, std::size_t fromCount,
                                 const std::string& toName, std::size_t toCount) {
  if (fromCount == toCount) return std::string();
  return fromName + " has " + std::to_string(fromCount) + " points but " + toName + " has " +
         std::to_string(toCount) + ": the counts must match";
}

}  // namespace valign
