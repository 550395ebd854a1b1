// Command line of the velmora-align tool.
#include "align/align_options.h"

#include <string_view>
#include <vector>

#include "align/align_fileio.h"
#include "align/align_input.h"
#include "align/align_text.h"
#include "align/align_validate.h"
#include "velmora/erconfig.h"

namespace valign {

namespace {

// Reads the value of an option that takes one, given as "--name=VALUE" or as the next argument.
std::string optionValue(std::string_view name, std::string_view arg, int argc, const char* const* argv,
                        int& i, const char* what, std::string& value) {
  if (arg.size() > name.size()) {
    value = std::string(arg.substr(name.size() + 1));
  } else if (i + 1 < argc && argv[i + 1] != nullptr) {
    value = argv[++i];
  } else {
    value.clear();
  }
  if (value.empty()) return "option " + std::string(name) + " needs " + what;
  return std::string();
}

bool isOption(std::string_view arg, std::string_view name) {
  return arg == name ||
         (arg.size() > name.size() && arg.substr(0, name.size()) == name && arg[name.size()] == '=');
}

// A frame name goes on a line of blank-separated words: it must be one printable word that is not
// taken for an option.
bool goodFrameName(std::string_view name) {
  if (name.empty() || name[0] == '-') return false;
  for (char ch : name) {
    const unsigned char c = static_cast<unsigned char>(ch);
    if (c <= 0x20 || c == 0x7f) return false;
  }
  return true;
}

// The options that take one value, and what the value is called in complaints.
struct ValuedOption {
  const char* name;
  const char* what;
};
constexpr ValuedOption kValued[] = {
    {"--from", "a file name"},   {"--to", "a file name"},         {"--weights", "a file name"},
    {"--model", "a model name"}, {"--axis", "a direction X,Y,Z"}, {"--method", "a method name"},
};

}  // namespace

std::string parseAxis(const std::string& text, double axis[3]) {
  std::vector<std::string_view> tokens;
  const std::string_view all(text);
  std::size_t at = 0;
  while (at < all.size()) {
    while (at < all.size() && (all[at] == ',' || all[at] == ';' || all[at] == ' ' || all[at] == '\t')) ++at;
    const std::size_t start = at;
    while (at < all.size() && all[at] != ',' && all[at] != ';' && all[at] != ' ' && all[at] != '\t') ++at;
    if (at > start) tokens.push_back(all.substr(start, at - start));
  }
  double v[3] = {0.0, 0.0, 0.0};
  bool numbers = tokens.size() == 3;
  for (std::size_t k = 0; numbers && k < 3; ++k) numbers = parseNumber(tokens[k], v[k]);
  if (!numbers) return "option --axis needs three numbers X,Y,Z, not " + quoteToken(text);
  for (double c : v) {
    if (checkCoordinate(c) != CoordinateCheck::Ok)
      return "option --axis needs three finite numbers of magnitude at most 1e150, not " + quoteToken(text);
  }
  if (v[0] == 0.0 && v[1] == 0.0 && v[2] == 0.0)
    return "option --axis: " + quoteToken(text) + " is a zero vector, which gives no direction";
  for (int k = 0; k < 3; ++k) axis[k] = v[k];
  return std::string();
}

std::string parseOptions(int argc, const char* const* argv, Options& options) {
  options = Options();
  int files = 0;
  bool seen[sizeof kValued / sizeof kValued[0]] = {};
  bool rosSeen = false;
  std::string problem;  // the first complaint that --help and --version override
  auto complain = [&problem](const std::string& text) {
    if (problem.empty()) problem = text;
  };
  bool endOfOptions = false;
  for (int i = 1; i < argc; ++i) {
    const std::string_view arg = argv[i] != nullptr ? argv[i] : "";
    if (!endOfOptions && arg.size() > 1 && arg[0] == '-') {
      std::size_t valued = 0;
      while (valued < sizeof kValued / sizeof kValued[0] && !isOption(arg, kValued[valued].name)) ++valued;
      if (arg == "--") {
        endOfOptions = true;
      } else if (arg == "-h" || arg == "--help") {
        options.help = true;
      } else if (arg == "--version") {
        options.version = true;
      } else if (arg == "--json") {
        options.json = true;
      } else if (arg == "--residuals") {
        options.residuals = true;
      } else if (arg == "--allow-reflection") {
        options.allowReflection = true;
      } else if (arg == "--proj") {
        options.proj = true;
      } else if (arg == "--ros") {
        // Two values, PARENT and CHILD: always the next two arguments.
        if (i + 2 >= argc || argv[i + 1] == nullptr || argv[i + 2] == nullptr) {
          complain("option --ros needs two frame names, PARENT and CHILD");
          i = argc;
          continue;
        }
        const std::string parent = argv[i + 1];
        const std::string child = argv[i + 2];
        i += 2;
        if (!goodFrameName(parent) || !goodFrameName(child)) {
          complain(
              "option --ros needs two frame names, PARENT and CHILD, each one word without blanks "
              "that does not start with -, not " +
              quoteToken(parent) + " " + quoteToken(child));
          continue;
        }
        if (rosSeen) complain("--ros given more than once");
        rosSeen = true;
        options.ros = true;
        options.rosParent = parent;
        options.rosChild = child;
      } else if (valued < sizeof kValued / sizeof kValued[0]) {
        const std::string name = kValued[valued].name;
        std::string value;
        std::string error = optionValue(name, arg, argc, argv, i, kValued[valued].what, value);
        if (error.empty() && seen[valued]) error = name + " given more than once";
        seen[valued] = true;
        if (!error.empty()) {
          complain(error);
          continue;
        }
        if (name == "--from") {
          options.from = value;
        } else if (name == "--to") {
          options.to = value;
        } else if (name == "--weights") {
          options.weights = value;
        } else if (name == "--model") {
          if (!velmora::parseModel(value.c_str(), options.model))
            complain("unknown model " + quoteToken(value) + " (rigid, similarity, translation or axis)");
        } else if (name == "--axis") {
          options.axisGiven = true;
          const std::string axisError = parseAxis(value, options.axis);
          if (!axisError.empty()) complain(axisError);
        } else if (value == "closed-form") {
          options.method = Method::closedForm;
        } else if (value == "newton") {
          options.method = Method::newton;
        } else {
          complain("unknown method " + quoteToken(value) + " (closed-form or newton)");
        }
      } else {
        return "unknown option " + quoteToken(arg) + " (see --help)";
      }
      continue;
    }
    if (++files == 1) {
      options.file = std::string(arg);
    } else {
      complain("more than one input file given (" + displayName(options.file) + ", " +
               displayName(std::string(arg)) + ")");
    }
  }
  if (options.help || options.version) return std::string();
  if (!problem.empty()) return problem;
  const bool fromSeen = !options.from.empty(), toSeen = !options.to.empty();
  if (fromSeen && !toSeen) return "--from needs --to";
  if (toSeen && !fromSeen) return "--to needs --from";
  if (options.fromTo() && files > 0) return "give either FILE or --from and --to, not both";
  const bool stdinPairs = options.fromTo() ? options.from == kStdinArgument || options.to == kStdinArgument
                                           : options.file == kStdinArgument;
  if ((options.from == kStdinArgument && options.to == kStdinArgument) ||
      (options.weights == kStdinArgument && stdinPairs))
    return "standard input can be read only once";
  if (options.axisGiven && options.model != velmora::Model::axis) return "--axis needs --model axis";
  if (options.method == Method::newton) {
    if (options.model != velmora::Model::rigid)
      return std::string("--method newton fits the rigid model only, not --model ") +
             velmora::modelName(options.model);
    if (options.allowReflection) return "--method newton does not take --allow-reflection";
    if (!options.weights.empty()) return "--method newton does not take --weights";
  }
  return std::string();
}

std::string helpText() {
  return R"(Usage: velmora-align [options] [FILE]
       velmora-align [options] --from A --to B

Computes the motion that best carries a set of points onto another in the least-squares sense: the
global minimum of sum w_k |target_k - T(source_k)|^2, in closed form, for the model asked for. Reports
it in several forms with the residual distances that remain.

Input
  FILE holds one pair a line: six numbers "x y z x' y' z'", the point to move (source) and the point
  it must reach (target); a seventh number on every line is the pair's weight. With no FILE, or when
  FILE is -, the pairs are read from standard input. Numbers are separated by blanks, tabs, commas or
  semicolons (a run such as ", " counts as one separator) and written in decimal or exponent form with
  an optional leading + or -. Blank lines and lines starting with # are ignored, a first line without
  any number is taken as a header and skipped, and Windows line endings are accepted.
  --from A --to B   read the points to move from A and the points to reach from B instead, three
                    numbers a line, paired by line order (the two files must hold as many points;
                    one of them may be - for standard input).
  --weights FILE    one weight a line, in pair order (blank lines, comments and a header as above).
                    Weights are finite, non-negative and at most 1e150; a zero weight leaves its pair
                    out of the fit and of the statistics, and scaling every weight changes nothing.
  Coordinates must be finite and at most 1e150 in magnitude. Pairs needed (with a non-zero weight):
  3 for rigid and similarity, 2 for axis, 1 for translation.

Model
  --model rigid        rotation and translation (the default)
  --model similarity   rotation, translation and one scale factor
  --model translation  translation only
  --model axis         rotation about a given direction, through a point the fit finds, and translation
  --axis X,Y,Z         the direction of --model axis (default 0,0,1; any non-zero length)
  --allow-reflection   the fit may return a mirror image (det -1) when it fits better; without it the
                       rotation is always proper (det +1). For --model axis the mirror is in a plane
                       that holds the axis.
  --method closed-form the closed-form fit (the default)
  --method newton      the library's host entry instead: rigid, unweighted, a Newton iteration started
                       from three of the pairs (a well-shaped triple is moved to the front). A warning
                       goes to standard error when its RMS residual exceeds the closed form's by more
                       than 1e-9 relative (and more than the rounding of the coordinates): the
                       iteration stopped at another stationary point.

Output
  By default a readable block: the pair count (pairs read, zero weights included); the 4x4 matrix;
  the model, scale, determinant, quaternion, rotation vector, Euler angles and the inverse matrix; the
  mean, RMS, largest and smallest residual distance; the weight sum when weighted; and the
  conditioning of both sets (the smallest principal spread of the centred points divided by the
  largest: 1 for a well spread set, near 0 for a flat or nearly linear one; a warning goes to standard
  error below 1e-3). Numbers have up to 17 significant digits and read back exactly.
  --json            print one JSON object on one line instead, with the keys "status" ("ok"), "pairs",
                    "matrix" (4 rows of 4), "model", "scale", "det", "quaternion" ([w, x, y, z]),
                    "rotvec", "euler_zyx_deg" ([yaw, pitch, roll]), "inverse" (4 rows of 4), "error"
                    ("mean", "rms", "max", "min"), "weight_sum" (when weighted), "conditioning"
                    ("from", "to"), and "residuals", "proj", "ros" when asked for.
  --residuals       also give the distance left for every pair, in input order, zero weights included.
  --proj            also print the motion as one line that PROJ's helmert operation reads:
                    +proj=helmert +convention=position_vector +x +y +z (translation) +rx +ry +rz
                    (rotations in arc-seconds) +s (scale difference in ppm) +exact. A reflection
                    cannot be written so: a warning, and no line (null in JSON).
  --ros PARENT CHILD
                    also print the arguments of a static_transform_publisher: x y z qx qy qz qw
                    PARENT CHILD, the pose of the CHILD frame (the points to move) in the PARENT frame
                    (the targets). A reflection or a scale other than 1 cannot be written so: a
                    warning, and no line (null in JSON).
  -h, --help        print this text and exit.
  --version         print the version and exit.

Conventions
  The motion maps the points to move onto the targets: target ~ T(p) = scale * R * p + t.
  matrix: row-major, scale * R in the upper-left 3x3 block, t in the last column, last row 0 0 0 1.
  residual of a pair: the vector target - T(source); its length is the residual distance.
  "rms" is weighted when weights are given: sqrt(sum w d^2 / sum w); "mean", "max" and "min" are
  over the pairs with a non-zero weight.
  quaternion (w, x, y, z): Hamilton convention (i j = k), rotating p to q p q*, with w >= 0.
  rotation vector: the unit axis times the angle, in radians, angle in [0, pi].
  Euler angles (yaw, pitch, roll) in degrees, intrinsic Z-Y'-X'': R = Rz(yaw) Ry(pitch) Rx(roll),
  pitch in [-90, 90].
  det -1 (a reflection, only with --allow-reflection): R = -P with P a proper rotation, and the
  quaternion, rotation vector and Euler angles describe P.
  Helmert line: position-vector convention, target = t + (1 + s 1e-6) Rz(rz) Ry(ry) Rx(rx) source,
  with rx = roll, ry = pitch, rz = yaw.

Exit status
  0  success (warnings, if any, on standard error as "velmora-align: warning: ...").
  1  the motion cannot be determined by the data: for example all the points of one set are collinear
     or coincident (the message says why).
  2  bad input: an unreadable file, a line that is not a row of numbers or has the wrong count of
     them, a bad coordinate or weight (the message names the file and the line), a weight count that
     differs from the pairs, too few pairs for the model, different point counts in --from and --to,
     or a bad command line.
  Errors are reported on standard error as one line starting "velmora-align: error: ".

Example
  velmora-align --json --residuals fiducials.txt
  velmora-align --model similarity --proj --ros map scanner fiducials.txt
)";
}

std::string versionText() { return std::string("velmora-align ") + VELMORA_VERSION + "\n"; }

}  // namespace valign
