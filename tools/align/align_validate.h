// Input validation of the velmora-align tool: the bounds every coordinate and every point count must
// respect before the alignment entry is called, and the one-line texts that describe a violation.
#ifndef VELMORA_TOOLS_ALIGN_VALIDATE_H
#define VELMORA_TOOLS_ALIGN_VALIDATE_H

#include <cstddef>
#include <string>
#include <string_view>

namespace valign {

// Largest accepted coordinate magnitude: squares of coordinates and of their differences, and sums of
// millions of them, stay finite.
constexpr double kMaxCoordinate = 1e150;
// The alignment needs at least three pairs.
constexpr std::size_t kMinPairs = 3;

enum class CoordinateCheck { Ok, NonFinite, TooLarge };

// Ok for a finite value of magnitude at most kMaxCoordinate.
CoordinateCheck checkCoordinate(double value);

// The text describing a rejected coordinate, quoting the token as written.
std::string coordinateMessage(CoordinateCheck issue, std::string_view token);

// Empty when `pairs` is enough, otherwise "<source>: N pairs found, at least 3 are needed".
std::string pairCountMessage(std::size_t pairs, const std::string& source);

// Empty when both files hold as many points, otherwise the text naming both files and counts.
std::string matchingCountMessage(const std::string& fromName, std::size_t fromCount,
                                 const std::string& toName, std::size_t toCount);

}  // namespace valign

#endif
