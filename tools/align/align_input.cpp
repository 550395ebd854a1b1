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
constexpr int kMaxColumns = 7;

bool isSeparator(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == ',' || c == ';' || c == '\v' || c == '\f';
}

std::string located(const std::string& name, long line, const std::string& what) {
  return name + ":" + std::to_string(line) + ": " + what;
}

std::string numbers(int n) { return std::to_string(n) + (n == 1 ? " number" : " numbers"); }

// One line of numbers as the scanner hands it over: its count of tokens (all of them numbers), and the
// first kMaxColumns of them as written and as read.
struct Row {
  long line = 0;
  int count = 0;
  std::string_view tokens[kMaxColumns];
  double values[kMaxColumns];
};

// Splits `text` into lines and tokens and calls onRow(row) for every line that holds numbers only,
// skipping blank lines, comments and a header; onRow returns an empty string or the complaint about
// the row, which stops the scan. Returns an empty string or "<name>:<line>: <complaint>". `lines`
// receives the number of the last line of the text.
template <class OnRow>
std::string scanRows(std::string_view text, const std::string& name, long& lines, OnRow onRow) {
  if (text.size() >= 3 && text.substr(0, 3) == "\xEF\xBB\xBF") text.remove_prefix(3);
  const char* p = text.data();
  const char* const end = p + text.size();
  long line = 0;
  bool seenContent = false;
  Row row;
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
        row.tokens[count] = token;
        row.values[count] = v;
      }
      ++count;
    }
    p = lineEnd < end ? lineEnd + 1 : end;
    if (comment || count == 0) continue;
    const bool header = !seenContent && numeric == 0;
    seenContent = true;
    if (header) continue;
    if (bad) return located(name, line, quoteToken(firstBad) + " is not a number");
    row.line = line;
    row.count = count;
    const std::string complaint = onRow(row);
    if (!complaint.empty()) return located(name, line, complaint);
  }
  lines = line;
  return std::string();
}

// The complaint about the first bad coordinate among the row's first `columns` numbers, or "".
std::string coordinatesComplaint(const Row& row, int columns) {
  for (int i = 0; i < columns; ++i) {
    const CoordinateCheck check = checkCoordinate(row.values[i]);
    if (check != CoordinateCheck::Ok) return coordinateMessage(check, row.tokens[i]);
  }
  return std::string();
}

std::string wrongCount(int expected, int found) {
  return "expected " + numbers(expected) + ", found " + std::to_string(found);
}

std::size_t lineCount(std::string_view text) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
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
  if (columns < 1 || columns > kMaxColumns) return name + ": cannot read rows of " + numbers(columns);
  // One row a line at most: reserving for all of them spares the copies of a growing vector.
  values.reserve(values.size() + static_cast<std::size_t>(columns) * lineCount(text));
  long lines = 0;
  return scanRows(text, name, lines, [&](const Row& row) {
    if (row.count != columns) return wrongCount(columns, row.count);
    std::string complaint = coordinatesComplaint(row, columns);
    if (complaint.empty()) values.insert(values.end(), row.values, row.values + columns);
    return complaint;
  });
}

std::string readPairs(std::string_view text, const std::string& name, PointPairs& pairs,
                      std::vector<double>* weights) {
  pairs.from.clear();
  pairs.to.clear();
  if (weights != nullptr) weights->clear();
  const std::size_t most = lineCount(text);
  pairs.from.reserve(most);
  pairs.to.reserve(most);
  int width = 0;  // 6 or 7, set by the first row
  long firstLine = 0;
  long lines = 0;
  std::string error = scanRows(text, name, lines, [&](const Row& row) {
    if (width == 0) {
      if (row.count == 6 || (row.count == 7 && weights != nullptr)) {
        width = row.count;
        firstLine = row.line;
        if (width == 7) weights->reserve(most);
      } else {
        return weights != nullptr ? "expected 6 or 7 numbers, found " + std::to_string(row.count)
                                  : wrongCount(6, row.count);
      }
    } else if (row.count != width) {
      if (weights != nullptr && (row.count == 6 || row.count == 7)) {
        return numbers(row.count) + ", but line " + std::to_string(firstLine) + " has " +
               std::to_string(width) + ": give the weight (a 7th number) on every line or on none";
      }
      return wrongCount(width, row.count);
    }
    std::string complaint = coordinatesComplaint(row, 6);
    if (!complaint.empty()) return complaint;
    if (width == 7) {
      const WeightCheck check = checkWeight(row.values[6]);
      if (check != WeightCheck::Ok) return weightMessage(check, row.tokens[6]);
      weights->push_back(row.values[6] == 0.0 ? 0.0 : row.values[6]);
    }
    const double* v = row.values;
    pairs.from.push_back({v[0], v[1], v[2]});
    pairs.to.push_back({v[3], v[4], v[5]});
    return std::string();
  });
  if (!error.empty()) {
    pairs.from.clear();
    pairs.to.clear();
    if (weights != nullptr) weights->clear();
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

std::string readWeights(std::string_view text, const std::string& name, std::size_t pairs,
                        std::vector<double>& weights) {
  weights.clear();
  weights.reserve(std::min(pairs, lineCount(text)));
  const std::string tail = " (one weight a pair, in pair order)";
  long lines = 0;
  std::string error = scanRows(text, name, lines, [&](const Row& row) {
    if (row.count != 1) return wrongCount(1, row.count);
    const WeightCheck check = checkWeight(row.values[0]);
    if (check != WeightCheck::Ok) return weightMessage(check, row.tokens[0]);
    if (weights.size() == pairs) {
      return "weight number " + std::to_string(pairs + 1) + ", but there " + (pairs == 1 ? "is " : "are ") +
             std::to_string(pairs) + (pairs == 1 ? " pair" : " pairs") + tail;
    }
    weights.push_back(row.values[0] == 0.0 ? 0.0 : row.values[0]);
    return std::string();
  });
  if (error.empty() && weights.size() != pairs) {
    error = located(name, std::max(lines, 1L),
                    "the weights end after " + std::to_string(weights.size()) + ", but there " +
                        (pairs == 1 ? "is " : "are ") + std::to_string(pairs) +
                        (pairs == 1 ? " pair" : " pairs") + tail);
  }
  if (!error.empty()) weights.clear();
  return error;
}

}  // namespace valign
