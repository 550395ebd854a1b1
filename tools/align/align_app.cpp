// The velmora-align program as a function.
#include "align/align_app.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>
#include <new>
#include <utility>
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

// On the Newton path, coordinates are handed to the entry as they are while their largest magnitude lies
// within [2^-100, 2^100]; outside, all of them are divided by one power of two (exact), so that no square
// the entry forms underflows or overflows, and the translation is scaled back afterwards. The closed
// form needs none of this: the fit scales its moments itself.
constexpr double kPlainLow = 0x1p-100;
constexpr double kPlainHigh = 0x1p+100;

int fail(std::ostream& err, int status, const std::string& message) {
  err << kErrorPrefix << message << '\n';
  return status;
}

void warn(std::ostream& err, const std::string& message) { err << kWarningPrefix << message << '\n'; }

// What was read: the pairs, their weights (none when empty), and the names that messages use.
struct Input {
  PointPairs pairs;
  std::vector<double> weights;
  std::string source;         // the pair file, or "A and B"
  std::string weightsSource;  // the file the weights came from
};

// Reads the pairs as the options say (a pair file may carry a weight column); returns an empty string
// or the complaint.
std::string readInput(const Options& options, const FileReader& read, Input& input) {
  std::string content;
  if (!options.fromTo()) {
    input.source = displayName(options.file);
    std::string error = read(options.file, content);
    if (!error.empty()) return error;
    error = readPairs(content, input.source, input.pairs, &input.weights);
    input.weightsSource = input.source;
    return error;
  }
  const std::string fromName = displayName(options.from);
  const std::string toName = displayName(options.to);
  input.source = fromName + " and " + toName;
  std::string error = read(options.from, content);
  if (error.empty()) error = readPoints(content, fromName, input.pairs.from);
  if (!error.empty()) return error;
  error = read(options.to, content);
  if (error.empty()) error = readPoints(content, toName, input.pairs.to);
  if (!error.empty()) return error;
  return matchingCountMessage(fromName, input.pairs.from.size(), toName, input.pairs.to.size());
}

// Reads the --weights file when there is one and checks the weights against the pairs and the model;
// returns an empty string or the complaint (all of them bad input).
std::string readAndCheckWeights(const Options& options, const FileReader& read, std::size_t needed,
                                Input& input) {
  if (!input.weights.empty()) {
    if (!options.weights.empty()) {
      return input.source + " has a weight column and --weights " + displayName(options.weights) +
             " gives weights too: give one or the other";
    }
    if (options.method == Method::newton)
      return input.source + ": --method newton does not take weights (the pairs have a 7th number)";
  }
  if (!options.weights.empty()) {
    input.weightsSource = displayName(options.weights);
    std::string content;
    std::string error = read(options.weights, content);
    if (error.empty()) error = readWeights(content, input.weightsSource, input.pairs.size(), input.weights);
    if (!error.empty()) return error;
  }
  if (input.weights.empty()) return std::string();
  const std::size_t weighted = static_cast<std::size_t>(
      std::count_if(input.weights.begin(), input.weights.end(), [](double w) { return w != 0.0; }));
  return weightedCountMessage(weighted, needed, input.weightsSource);
}

void warnIfIllConditioned(std::ostream& err, const char* setName, double value) {
  if (value >= kConditioningWarning) return;
  char text[32];
  std::snprintf(text, sizeof text, "%.3g", value);
  warn(err, std::string("the ") + setName + " are close to a plane or a line (conditioning " + text +
                ", below 1e-3): the alignment may be poorly determined");
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

bool isFinite(const double m[4][4]) {
  for (int r = 0; r < 4; ++r)
    for (int c = 0; c < 4; ++c)
      if (!std::isfinite(m[r][c])) return false;
  return true;
}

// A fit that did not succeed: data that cannot determine the model is "not computed", anything else
// the fit refuses is a problem of the input.
int exitStatusOf(velmora::Status status) {
  return status == velmora::Status::degenerate ? kExitNotComputed : kExitBadInput;
}

// The closed-form fit of the pairs as read, in input order. `distances` keeps the residuals printed.
int runClosedForm(const Options& options, Input& input, const Fitter& fit, AlignReport& report,
                  std::vector<double>& distances, std::ostream& err) {
  velmora::FitOptions fitOptions;
  fitOptions.model = options.model;
  if (options.model == velmora::Model::axis) {
    // Only the direction matters: bring the largest component into [0.5, 1) (exact), so that the fit
    // never squares an extreme value.
    const double s = powerOfTwoAbove(
        std::max({std::fabs(options.axis[0]), std::fabs(options.axis[1]), std::fabs(options.axis[2])}));
    for (int k = 0; k < 3; ++k) fitOptions.axis[k] = options.axis[k] / s;
  }
  fitOptions.allowReflection = options.allowReflection;
  fitOptions.statistics = true;
  fitOptions.perPair = options.residuals;
  // Weights all far below 1 would make the fit's weighted sums lose digits to underflow: they are
  // multiplied by one power of two (exact; scaling every weight leaves the fit unchanged) and the weight
  // sum is scaled back.
  double weightUnit = 1.0;
  const double largestWeight =
      input.weights.empty() ? 0.0 : *std::max_element(input.weights.begin(), input.weights.end());
  if (largestWeight > 0.0 && largestWeight < kPlainLow) {
    weightUnit = powerOfTwoAbove(largestWeight);
    for (double& w : input.weights) w /= weightUnit;
  }
  velmora::FitResult result = fit(input.pairs, input.weights, fitOptions);
  if (!result.ok()) {
    return fail(err, exitStatusOf(result.status),
                result.message.empty() ? "the motion could not be computed" : result.message);
  }
  if (!isFinite(result.motion.matrix) ||
      (options.residuals && result.residuals.size() != input.pairs.size())) {
    return fail(err, kExitNotComputed, "the motion could not be computed");
  }
  for (const std::string& line : textLines(result.warning)) warn(err, line);
  report.motion = result.motion;
  report.error = {result.mean, result.rms, result.max, result.min};
  report.weighted = !input.weights.empty();
  report.weightSum = result.weightSum * weightUnit;
  report.conditioningFrom = result.conditioningFrom;
  report.conditioningTo = result.conditioningTo;
  if (options.residuals) {
    distances = std::move(result.residuals);
    report.residuals = &distances;
  }
  return kExitOk;
}

// The host entry's Newton iteration, on the pairs reordered and rescaled as it needs, compared with the
// closed form.
int runNewton(const Options& options, Input& input, const Aligner& newton, const Fitter& fit,
              AlignReport& report, std::vector<double>& distances, std::ostream& err) {
  PointPairs& pairs = input.pairs;
  report.conditioningFrom = conditioning(pairs.from);
  report.conditioningTo = conditioning(pairs.to);
  // The optimum, for the comparison: on the pairs as read, before any rescaling.
  velmora::FitOptions rigid;
  rigid.statistics = true;
  const velmora::FitResult optimum = fit(pairs, std::vector<double>(), rigid);

  // The entry receives the pairs rescaled when their magnitude calls for it (in place: all that
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

  Transform4 transform;
  double meanError = 0.0;
  if (newton(withLeadingTriple(pairs, leading), transform, meanError) != 1 || !isFinite(transform.m))
    return fail(err, kExitNotComputed, "the alignment could not be computed");
  distances = residuals(pairs, transform);
  for (double& d : distances) d *= scale;
  for (int r = 0; r < 3; ++r) transform.m[r][3] *= scale;
  report.error = errorStats(distances);
  report.motion = velmora::motionFromMatrix(transform.m);
  if (options.residuals) report.residuals = &distances;
  if (optimum.ok() && newtonIsWorse(report.error.rms, optimum.rms, largest)) {
    warn(err,
         "--method newton stopped at a stationary point that is not the least-squares optimum: its RMS "
         "residual " +
             velmora::formatNumber(report.error.rms) + " exceeds the closed form's " +
             velmora::formatNumber(optimum.rms));
  }
  return kExitOk;
}

// The --proj and --ros lines, or a warning when the motion cannot be written so.
void addExports(const Options& options, AlignReport& report, std::ostream& err) {
  const velmora::Motion& motion = report.motion;
  if (options.proj) {
    report.proj = true;
    report.projLine = velmora::projHelmert(motion);
    if (report.projLine.empty()) {
      warn(err, std::string(motion.det < 0 ? "the motion is a reflection (det -1)" : "the motion") +
                    ", which a helmert operation cannot express: no --proj line");
    }
  }
  if (options.ros) {
    report.ros = true;
    report.rosLine = velmora::rosStaticTransform(motion, options.rosParent, options.rosChild);
    if (report.rosLine.empty()) {
      const std::string what = motion.det < 0
                                   ? "the motion is a reflection (det -1)"
                                   : "the motion has a scale of " + velmora::formatNumber(motion.scale);
      warn(err, what + ", which a static transform cannot express: no --ros line");
    }
  }
}

int run(int argc, const char* const* argv, const Aligner& newton, const FileReader& read, const Fitter& fit,
        std::ostream& out, std::ostream& err) {
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

  Input input;
  error = readInput(options, read, input);
  const std::size_t needed = options.method == Method::newton ? 3 : velmora::minimumPairs(options.model);
  if (error.empty()) error = pairCountMessage(input.pairs.size(), needed, input.source);
  if (error.empty()) error = readAndCheckWeights(options, read, needed, input);
  if (!error.empty()) return fail(err, kExitBadInput, error);

  AlignReport report;
  report.pairs = input.pairs.size();
  report.model = options.method == Method::newton ? velmora::Model::rigid : options.model;
  std::vector<double> distances;
  const int status = options.method == Method::newton
                         ? runNewton(options, input, newton, fit, report, distances, err)
                         : runClosedForm(options, input, fit, report, distances, err);
  if (status != kExitOk) return status;
  addExports(options, report, err);
  out << (options.json ? formatJson(report) : formatText(report));
  out.flush();
  return kExitOk;
}

}  // namespace

int runAlign(int argc, const char* const* argv, const Aligner& newton, const FileReader& read,
             std::ostream& out, std::ostream& err, const Fitter& fit) {
  try {
    return run(argc, argv, newton, read, fit, out, err);
  } catch (const std::bad_alloc&) {
    return fail(err, kExitBadInput, "not enough memory for this input");
  } catch (const std::exception& e) {
    return fail(err, kExitNotComputed, e.what());
  }
}

}  // namespace valign
