// Text input of the velmora-align tool: numbers, lines of numbers, and the input layouts (one file of six
// numbers a line, or seven with a weight; two files of three numbers a line paired by line order; a file
// of one weight a line).
#ifndef VELMORA_TOOLS_ALIGN_INPUT_H
#define VELMORA_TOOLS_ALIGN_INPUT_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "align/align_types.h"

namespace valign {

// Reads one whole token as a double, independently of the locale: an optional leading '+' or '-',
// then a decimal or exponent form (the words inf, infinity and nan are numbers too; validation
// rejects them afterwards). A value beyond the double range reads as +-DBL_MAX so that validation
// reports it as too large; one below the smallest subnormal reads as the nearest representable value.
// Returns false when the token is not a number in full.
bool parseNumber(std::string_view token, double& value);

// Reads lines of exactly `columns` numbers (1 to 7) from `text` and appends them to `values`, row after
// row. Separators are blanks, tabs, carriage returns, commas and semicolons, any run of them counting as
// one. Blank lines and lines whose first token starts with '#' are skipped, and so is the first
// other line when none of its tokens is a number (a header). A UTF-8 byte order mark is ignored.
// Every coordinate is validated as it is read. Returns an empty string on success, otherwise
// "<name>:<line>: <what is wrong>".
std::string readColumns(std::string_view text, const std::string& name, int columns,
                        std::vector<double>& values);

// One file of six numbers a line, x y z x' y' z': replaces `pairs`. Same result convention. When
// `weights` is not null, lines of seven numbers are read as well, the seventh being the pair's weight:
// the first line decides, and every other line must hold as many numbers. `weights` then receives one
// validated weight a pair, or is left empty for a file of six numbers a line.
std::string readPairs(std::string_view text, const std::string& name, PointPairs& pairs,
                      std::vector<double>* weights = nullptr);

// One file of three numbers a line: replaces `points`. Same result convention.
std::string readPoints(std::string_view text, const std::string& name, std::vector<Vec3>& points);

// One file of one weight a line, in pair order, for `pairs` pairs: replaces `weights`. Same result
// convention; a count other than `pairs` is an error at the line of the first weight too many, or at
// the last line of a file that holds too few.
std::string readWeights(std::string_view text, const std::string& name, std::size_t pairs,
                        std::vector<double>& weights);

}  // namespace valign

#endif
