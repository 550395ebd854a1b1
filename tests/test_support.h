// Shared helpers of the test programs: the exact assertion report as a regular expression, standard
// error capture, and the guard that picks the death test or the continuing-build check.
#ifndef VELMORA_TESTS_TEST_SUPPORT_H
#define VELMORA_TESTS_TEST_SUPPORT_H

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "velmora/erconfig.h"
#include "velmora/slvbstft.h"

namespace vtest {

// Escapes text for the POSIX extended regular expressions of death tests.
inline std::string regexEscape(const std::string& text) {
  std::string out;
  for (char c : text) {
    if (std::string("\\^$.|?*+()[]{}").find(c) != std::string::npos) out += '\\';
    out += c;
  }
  return out;
}

// The exact text ER_assert writes for a failed check.
inline std::string report(const std::string& condition, const std::string& unit, int line) {
  return "\n\n" + condition + " failed in " + unit + " at line " + std::to_string(line) + "\n";
}

// A regular expression matching that report exactly (anywhere in the output).
inline std::string reportRegex(const std::string& condition, const std::string& unit, int line) {
  return regexEscape(report(condition, unit, line));
}

// A regular expression matching the report of a condition at any line of the unit.
inline std::string reportRegexAnyLine(const std::string& condition, const std::string& unit) {
  return regexEscape("\n\n" + condition + " failed in " + unit + " at line ") + "[0-9]+\n";
}

// Runs f with standard error captured and returns what it wrote.
inline std::string captureStderr(const std::function<void()>& f) {
  testing::internal::CaptureStderr();
  f();
  return testing::internal::GetCapturedStderr();
}

// The conditions of the assertion reports at the start of captured standard error, each prefixed with
// its unit when that is not `home`, and the text after them.
struct Reports {
  std::vector<std::string> conditions;
  std::string rest;
};
inline Reports parseReports(const std::string& err, const std::string& home) {
  Reports out;
  std::size_t pos = 0;
  while (err.compare(pos, 2, "\n\n") == 0) {
    const std::size_t failed = err.find(" failed in ", pos + 2);
    const std::size_t atLine = err.find(" at line ", failed == std::string::npos ? pos : failed);
    const std::size_t end = err.find('\n', atLine == std::string::npos ? pos + 2 : atLine);
    if (failed == std::string::npos || atLine == std::string::npos || end == std::string::npos) break;
    const std::string line = err.substr(atLine + 9, end - atLine - 9);
    if (line.empty() || line.find_first_not_of("0123456789") != std::string::npos) break;
    const std::string unit = err.substr(failed + 11, atLine - failed - 11);
    const std::string condition = err.substr(pos + 2, failed - pos - 2);
    out.conditions.push_back(unit == home ? condition : unit + ": " + condition);
    pos = end + 1;
  }
  out.rest = err.substr(pos);
  return out;
}

inline bool contains(const std::string& haystack, const std::string& needle) {
  return haystack.find(needle) != std::string::npos;
}

// The vector widths the per-pair passes can be capped at; each gives the same results to the bit.
inline std::vector<unsigned> vectorWidths() { return {2u, 4u, 8u}; }

// Caps the width of the per-pair passes for the life of the object, then lets the processor decide
// again.
struct VectorWidthCap {
  explicit VectorWidthCap(unsigned widest) : inUse(ERSetVectorWidth(widest)) {}
  ~VectorWidthCap() { ERSetVectorWidth(0); }
  VectorWidthCap(const VectorWidthCap&) = delete;
  VectorWidthCap& operator=(const VectorWidthCap&) = delete;
  unsigned inUse;
};

}  // namespace vtest

#if VELMORA_ASSERT_CONTINUE
#define VELMORA_CHECKING_BUILD 0
#else
#define VELMORA_CHECKING_BUILD 1
#endif

// Death tests only make sense in the checking build; continuing-build tests only in the other one.
#define VTEST_CHECKING_ONLY() \
  if (!VELMORA_CHECKING_BUILD) GTEST_SKIP() << "checking build only"
#define VTEST_CONTINUING_ONLY() \
  if (VELMORA_CHECKING_BUILD) GTEST_SKIP() << "continuing build only"

#endif
