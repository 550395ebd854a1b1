// Input validation of the velmora-align tool.
#include "align/align_validate.h"

#include <cmath>

#include "align/align_text.h"

namespace valign {

namespace {

// "1 pair", "2 pairs"; "at least 1 is needed", "at least 3 are needed".
std::string pairs(std::size_t n) { return std::to_string(n) + (n == 1 ? " pair" : " pairs"); }
std::string atLeast(std::size_t n) {
  return "at least " + std::to_string(n) + (n == 1 ? " is" : " are") + " needed";
}

}  // namespace

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

WeightCheck checkWeight(double value) {
  if (!std::isfinite(value)) return WeightCheck::NonFinite;
  if (value < 0.0) return WeightCheck::Negative;
  if (value > kMaxWeight) return WeightCheck::TooLarge;
  return WeightCheck::Ok;
}

std::string weightMessage(WeightCheck issue, std::string_view token) {
  switch (issue) {
    case WeightCheck::NonFinite:
      return "weight " + quoteToken(token) + " is not a finite number";
    case WeightCheck::Negative:
      return "weight " + quoteToken(token) + " is negative";
    case WeightCheck::TooLarge:
      return "weight " + quoteToken(token) + " exceeds 1e150";
    case WeightCheck::Ok:
      break;
  }
  return std::string();
}

std::string pairCountMessage(std::size_t found, std::size_t needed, const std::string& source) {
  if (found >= needed) return std::string();
  return source + ": " + pairs(found) + " found, " + atLeast(needed);
}

std::string weightedCountMessage(std::size_t weighted, std::size_t needed, const std::string& source) {
  if (weighted >= needed) return std::string();
  return source + ": " + pairs(weighted) + (weighted == 1 ? " has" : " have") + " a non-zero weight, " +
         atLeast(needed);
}

std::string matchingCountMessage(const std::string& fromName, std::size_t fromCount,
                                 const std::string& toName, std::size_t toCount) {
  if (fromCount == toCount) return std::string();
  return fromName + " has " + std::to_string(fromCount) + " points but " + toName + " has " +
         std::to_string(toCount) + ": the counts must match";
}

}  // namespace valign
