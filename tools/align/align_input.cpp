// Text input of the velmora-align tool.
#include "align/align_input.h"

#include <algorithm>
#include <cerrno>
#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <system_error>

#include "align/align_text.h"
#include "align/align_validate.h"

namespace valign {

namespace {

// The widest row any layout reads; longer rows are only counted.
constexpr int kMaxColumns = 6;

bool isSeparator(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == ',' || c == ';' || c == '\v' || c == '\f';
}

std::string located(const std::string& name, long line, const std::string& what) {
  return name + ":" + std::to_string(line) + ": " + what;
}

}  // namespace

bool parseNumber(std::string_view token, double& value) {
  const char* first = token.data();
  const char* last = first + token.size();
  // std::from_chars takes no leading '+'; a sign after it ("+-1") is still refused below.
  if (first != last && *first == '+') {
    ++first;
    if (first != last && (*first == '+' || *first == '-')) return false;
  }
  if (first == last) return false;
  double parsed = 0.0;
  const std::from_chars_result r = std::from_chars(first, last, parsed, std::chars_format::general);
  if (r.ptr != last) return false;
  if (r.ec == std::errc()) {
    value = parsed;
    return true;
  }
  if (r.ec != std::errc::result_out_of_range) return false;
  // Out of range: strtod (the C locale; the tool never changes it) tells overflow from underflow.
  const std::string copy(first, last);
  errno = 0;
  const double approx = std::strtod(copy.c_str(), nullptr);
  if (std::isinf(approx)) {
    value = approx > 0 ? DBL_MAX : -DBL_MAX;
  } else {
    value = approx;
  }
  return true;
}

std::string readColumns(std::string_view text, const std::string& name, int columns,
                        std::vector<double>& values) {
  if (columns < 1 || columns > kMaxColumns)
    return name + ": cannot read rows of " + std::to_string(columns) + " numbers";
  if (text.size() >= 3 && text.substr(0, 3) == "\xEF\xBB\xBF") text.remove_prefix(3);
  const char* p = text.data();
  const char* const end = p + text.size();
  // One row a line at most: reserving for all of them spares the copies of a growing vector.
  values.reserve(values.size() + static_cast<std::size_t>(columns) *
                                     (static_cast<std::size_t>(std::count(p, end, '\n')) + 1));
  long line = 0;
  bool seenContent = false;
  std::string_view tokens[kMaxColumns];
  double row[kMaxColumns];
  while (p < end) {
    ++line;
    const char* lineEnd = p;
    while (lineEnd < end && *lineEnd != '\n') ++lineEnd;
    int count = 0;
    int numeric = 0;
    std::string_view firstBad;
    bool bad = false;
    bool comment = false;
    const char* q = p;
    while (q < lineEnd) {
      while (q < lineEnd && isSeparator(*q)) ++q;
      if (q == lineEnd) break;
      const char* tokenStart = q;
      while (q < lineEnd && !isSeparator(*q)) ++q;
      const std::string_view token(tokenStart, static_cast<std::size_t>(q - tokenStart));
      if (count == 0 && token[0] == '#') {
        comment = true;
        break;
      }
      double v = 0.0;
      if (parseNumber(token, v)) {
        ++numeric;
      } else if (!bad) {
        bad = true;
        firstBad = token;
      }
      if (count < kMaxColumns) {
        tokens[count] = token;
        row[count] = v;
      }
      ++count;
    }
    p = lineEnd < end ? lineEnd + 1 : end;
    if (comment || count == 0) continue;
    const bool header = !seenContent && numeric == 0;
    seenContent = true;
    if (header) continue;
    if (bad) return located(name, line, quoteToken(firstBad) + " is not a number");
    if (count != columns) {
      return located(name, line,
                     "expected " + std::to_string(columns) + " numbers, found " + std::to_string(count));
    }
    for (int i = 0; i < columns; ++i) {
      const CoordinateCheck check = checkCoordinate(row[i]);
      if (check != CoordinateCheck::Ok) return located(name, line, coordinateMessage(check, tokens[i]));
    }
    values.insert(values.end(), row, row + columns);
  }
  return std::string();
}

std::string readPairs(std::string_view text, const std::string& name, PointPairs& pairs) {
  std::vector<double> values;
  std::string error = readColumns(text, name, 6, values);
  pairs.from.clear();
  pairs.to.clear();
  if (!error.empty()) return error;
  const std::size_t n = values.size() / 6;
  pairs.from.resize(n);
  pairs.to.resize(n);
  for (std::size_t k = 0; k < n; ++k) {
    const double* v = &values[6 * k];
    pairs.from[k] = {v[0], v[1], v[2]};
    pairs.to[k] = {v[3], v[4], v[5]};
  }
  return error;
}

std::string readPoints(std::string_view text, const std::string& name, std::vector<Vec3>& points) {
  std::vector<double> values;
  std::string error = readColumns(text, name, 3, values);
  points.clear();
  if (!error.empty()) return error;
  const std::size_t n = values.size() / 3;
  points.resize(n);
  for (std::size_t k = 0; k < n; ++k) points[k] = {values[3 * k], values[3 * k + 1], values[3 * k + 2]};
  return error;
}

}  // namespace valign
