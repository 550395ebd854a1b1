// Command line of the velmora-align tool.
#include "align/align_options.h"

#include <string_view>

#include "align/align_fileio.h"
#include "align/align_text.h"
#include "velmora/erconfig.h"

namespace valign {

namespace {

// Reads the value of --from or --to, given as "--from=FILE" or as the next argument.
std::string optionValue(std::string_view name, std::string_view arg, int argc, const char* const* argv,
                        int& i, std::string& value) {
  if (arg.size() > name.size()) {
    value = std::string(arg.substr(name.size() + 1));
  } else if (i + 1 < argc) {
    value = argv[++i];
  } else {
    return "option " + std::string(name) + " needs a file name";
  }
  if (value.empty()) return "option " + std::string(name) + " needs a file name";
  return std::string();
}

bool isOption(std::string_view arg, std::string_view name) {
  return arg == name ||
         (arg.size() > name.size() && arg.substr(0, name.size()) == name && arg[name.size()] == '=');
}

}  // namespace

std::string parseOptions(int argc, const char* const* argv, Options& options) {
  options = Options();
  int files = 0;
  bool fromSeen = false, toSeen = false;
  std::string problem;  // the first complaint that --help and --version override
  bool endOfOptions = false;
  for (int i = 1; i < argc; ++i) {
    const std::string_view arg = argv[i] != nullptr ? argv[i] : "";
    if (!endOfOptions && arg.size() > 1 && arg[0] == '-') {
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
      } else if (isOption(arg, "--from") || isOption(arg, "--to")) {
        const bool isFrom = isOption(arg, "--from");
        std::string value;
        std::string error = optionValue(isFrom ? "--from" : "--to", arg, argc, argv, i, value);
        bool& seen = isFrom ? fromSeen : toSeen;
        if (error.empty() && seen) error = std::string(isFrom ? "--from" : "--to") + " given more than once";
        seen = true;
        if (!error.empty()) {
          if (problem.empty()) problem = error;
          continue;
        }
        (isFrom ? options.from : options.to) = value;
      } else {
        return "unknown option " + quoteToken(arg) + " (see --help)";
      }
      continue;
    }
    if (++files == 1) {
      options.file = std::string(arg);
    } else if (problem.empty()) {
      problem = "more than one input file given (" + displayName(options.file) + ", " +
                displayName(std::string(arg)) + ")";
    }
  }
  if (options.help || options.version) return std::string();
  if (!problem.empty()) return problem;
  if (fromSeen && !toSeen) return "--from needs --to";
  if (toSeen && !fromSeen) return "--to needs --from";
  if (options.fromTo() && files > 0) return "give either FILE or --from and --to, not both";
  if (options.from == kStdinArgument && options.to == kStdinArgument)
    return "standard input can be read only once";
  return std::string();
}

std::string helpText() {
  return R"(Usage: velmora-align [options] [FILE]
       velmora-align [options] --from A --to B

Computes the rigid motion (rotation and translation) that best carries a set of points onto another in
the least-squares sense, and reports it with the residual distances that remain.

Input
  FILE holds one pair a line: six numbers "x y z x' y' z'", the point to move and the point it must
  reach. With no FILE, or when FILE is -, the pairs are read from standard input. Numbers are
  separated by blanks, tabs, commas or semicolons (a run such as ", " counts as one separator) and
  written in decimal or exponent form with an optional leading + or -. Blank lines and lines starting
  with # are ignored, a first line without any number is taken as a header and skipped, and Windows
  line endings are accepted.
  --from A --to B   read the points to move from A and the points to reach from B instead, three
                    numbers a line, paired by line order (the two files must hold as many points;
                    one of them may be - for standard input).
  At least 3 pairs are needed; coordinates must be finite and at most 1e150 in magnitude.

Output
  By default a readable block: the pair count; the 4x4 matrix, row-major, with the rotation in the
  upper-left 3x3 block and the translation in the last column; the mean, RMS, largest and smallest
  residual distance; and the conditioning of both sets (the smallest principal spread of the centred
  points divided by the largest: 1 for a well spread set, near 0 for a flat or nearly linear one; a
  warning goes to standard error below 1e-3). Numbers have 17 significant digits.
  --json            print one JSON object instead, with the keys "status" ("ok"), "pairs", "matrix"
                    (4 rows of 4), "error" ("mean", "rms", "max", "min") and "conditioning"
                    ("from", "to").
  --residuals       also give the distance left for every pair, in input order ("residuals" in JSON).
  -h, --help        print this text and exit.
  --version         print the version and exit.

Exit status
  0  success.
  1  the alignment could not be computed: for example all the points of one set are collinear or
     coincident, or lie too close to a line to fix the rotation.
  2  bad input: an unreadable file, a line that is not a row of numbers or has the wrong count of
     them (the message names the file and the line), a NaN, infinite or too large coordinate, fewer
     than 3 pairs, different point counts in --from and --to, or a bad command line.
  Errors are reported on standard error as one line starting "velmora-align: error: ".

Example
  velmora-align --json --residuals fiducials.txt
)";
}

std::string versionText() { return std::string("velmora-align ") + VELMORA_VERSION + "\n"; }

}  // namespace valign
