// Input validation of the velmora-align tool: the bounds every coordinate, weight and count must respect
// before the fit is called, and the one-line texts that describe a violation.
#ifndef VELMORA_TOOLS_ALIGN_VALIDATE_H
#define VELMORA_TOOLS_ALIGN_VALIDATE_H

#include <cstddef>
#include <string>
#include <string_view>

namespace valign {

// Largest accepted coordinate or weight magnitude: squares of coordinates and of their differences, and
// sums of millions of them or of the weights, stay finite.
constexpr double kMaxCoordinate = 1e150;
constexpr double kMaxWeight = 1e150;

enum class CoordinateCheck { Ok, NonFinite, TooLarge };

// Ok for a finite value of magnitude at most kMaxCoordinate.
CoordinateCheck checkCoordinate(double value);

// The text describing a rejected coordinate, quoting the token as written.
std::string coordinateMessage(CoordinateCheck issue, std::string_view token);

enum class WeightCheck { Ok, NonFinite, Negative, TooLarge };

// Ok for a finite, non-negative value of at most kMaxWeight (-0 is a zero weight).
WeightCheck checkWeight(double value);

// The text describing a rejected weight, quoting the token as written.
std::string weightMessage(WeightCheck issue, std::string_view token);

// Empty when `pairs` reaches `needed`, otherwise "<source>: N pairs found, at least K are needed".
std::string pairCountMessage(std::size_t pairs, std::size_t needed, const std::string& source);

// Empty when `weighted` (the pairs with a non-zero weight) reaches `needed`, otherwise
// "<source>: N pairs have a non-zero weight, at least K are needed".
std::string weightedCountMessage(std::size_t weighted, std::size_t needed, const std::string& source);

// Empty when both files hold as many points, otherwise the text naming both files and counts.
std::string matchingCountMessage(const std::string& fromName, std::size_t fromCount,
                                 const std::string& toName, std::size_t toCount);

}  // namespace valign

#endif
