// The velmora-align program as a function.
#include "align/align_app.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>
#include <new>
#include <vector>

#include "align/align_condition.h"
#include "align/align_fileio.h"
#include "align/align_format.h"
#include "align/align_input.h"
#include "align/align_options.h"
#include "align/align_order.h"
#include "align/align_residuals.h"
#include "align/align_validate.h"

namespace valign {

namespace {

constexpr const char* kErrorPrefix = "velmora-align: error: ";
constexpr const char* kWarningPrefix = "velmora-align: warning: ";

// Coordinates are handed to the alignment as they are while their largest magnitude lies within
// [2^-100, 2^100]; outside, all of them are divided by one power of two (exact), so that no square
// the alignment forms underflows or overflows, and the translation is scaled back afterwards.
constexpr double kPlainLow = 0x1p-100;
constexpr double kPlainHigh = 0x1p+100;

int fail(std::ostream& err, int status, const std::string& message) {
  err << kErrorPrefix << message << '\n';
  return status;
}

// Reads the pairs as the options say; returns an empty string or the complaint.
std::string readInput(const Options& options, const FileReader& read, PointPairs& pairs,
                      std::string& source) {
  std::string content;
  if (!options.fromTo()) {
    source = displayName(options.file);
    std::string error = read(options.file, content);
    if (!error.empty()) return error;
    return readPairs(content, source, pairs);
  }
  const std::string fromName = displayName(options.from);
  const std::string toName = displayName(options.to);
  source = fromName + " and " + toName;
  std::string error = read(options.from, content);
  if (error.empty()) error = readPoints(content, fromName, pairs.from);
  if (!error.empty()) return error;
  error = read(options.to, content);
  if (error.empty()) error = readPoints(content, toName, pairs.to);
  if (!error.empty()) return error;
  return matchingCountMessage(fromName, pairs.from.size(), toName, pairs.to.size());
}

void warnIfIllConditioned(std::ostream& err, const char* setName, double value) {
  if (value >= kConditioningWarning) return;
  char text[32];
  std::snprintf(text, sizeof text, "%.3g", value);
  err << kWarningPrefix << "the " << setName << " are close to a plane or a line (conditioning " << text
      << ", below 1e-3): the alignment may be poorly determined\n";
}

double largestCoordinate(const PointPairs& pairs) {
  double largest = 0.0;
  for (const std::vector<Vec3>* set : {&pairs.from, &pairs.to})
    for (const Vec3& p : *set) largest = std::max({largest, std::fabs(p.x), std::fabs(p.y), std::fabs(p.z)});
  return largest;
}

void divideAll(std::vector<Vec3>& points, double s) {
  for (Vec3& p : points) p = {p.x / s, p.y / s, p.z / s};
}

bool isFinite(const Transform4& t) {
  for (const auto& row : t.m)
    for (double v : row)
      if (!std::isfinite(v)) return false;
  return true;
}

int run(int argc, const char* const* argv, const Aligner& align, const FileReader& read, std::ostream& out,
        std::ostream& err) {
  Options options;
  std::string error = parseOptions(argc, argv, options);
  if (!error.empty()) return fail(err, kExitBadInput, error);
  if (options.help) {
    out << helpText();
    return kExitOk;
  }
  if (options.version) {
    out << versionText();
    return kExitOk;
  }

  PointPairs pairs;
  std::string source;
  error = readInput(options, read, pairs, source);
  if (error.empty()) error = pairCountMessage(pairs.size(), source);
  if (!error.empty()) return fail(err, kExitBadInput, error);

  AlignReport report;
  report.pairs = pairs.size();
  report.conditioningFrom = conditioning(pairs.from);
  report.conditioningTo = conditioning(pairs.to);

  // The alignment receives the pairs rescaled when their magnitude calls for it (in place: all that
  // follows is computed in those units and scaled back), with a well-shaped triple in front.
  const double largest = largestCoordinate(pairs);
  double scale = 1.0;
  if (largest > 0.0 && (largest < kPlainLow || largest > kPlainHigh)) {
    scale = powerOfTwoAbove(largest);
    divideAll(pairs.from, scale);
    divideAll(pairs.to, scale);
  }
  const LeadingTriple leading = chooseLeadingTriple(pairs);
  if (leading.status != LeadingStatus::Ok) return fail(err, kExitNotComputed, leadingMessage(leading));
  warnIfIllConditioned(err, "points to move", report.conditioningFrom);
  warnIfIllConditioned(err, "target points", report.conditioningTo);

  double meanError = 0.0;
  if (align(withLeadingTriple(pairs, leading), report.transform, meanError) != 1 ||
      !isFinite(report.transform)) {
    return fail(err, kExitNotComputed, "the alignment could not be computed");
  }
  std::vector<double> distances = residuals(pairs, report.transform);
  for (double& d : distances) d *= scale;
  for (int r = 0; r < 3; ++r) report.transform.m[r][3] *= scale;
  report.error = errorStats(distances);
  if (options.residuals) report.residuals = &distances;
  out << (options.json ? formatJson(report) : formatText(report));
  out.flush();
  return kExitOk;
}

}  // namespace

int runAlign(int argc, const char* const* argv, const Aligner& align, const FileReader& read,
             std::ostream& out, std::ostream& err) {
  try {
    return run(argc, argv, align, read, out, err);
  } catch (const std::bad_alloc&) {
    return fail(err, kExitBadInput, "not enough memory for this input");
  } catch (const std::exception& e) {
    return fail(err, kExitNotComputed, e.what());
  }
}

}  // namespace valign
