// Command line of the velmora-align tool: the options, their checks and the help text.
#ifndef VELMORA_TOOLS_ALIGN_OPTIONS_H
#define VELMORA_TOOLS_ALIGN_OPTIONS_H

#include <string>

namespace valign {

struct Options {
  bool help = false;
  bool version = false;
  bool json = false;
  bool residuals = false;
  std::string file = "-";  // the pairs file; "-" is standard input
  std::string from;        // with `to`: the two three-column files, paired by line order
  std::string to;
  bool fromTo() const { return !from.empty() || !to.empty(); }
};

// Reads argv[1..argc-1]: -h/--help, --version, --json, --residuals, --from FILE, --to FILE (also
// --from=FILE, --to=FILE), "--" ending the options, and at most one FILE ("-": standard input).
// Returns an empty string on success, otherwise the one-line complaint. --help and --version are
// accepted whatever else the line holds, unless it holds an unknown option.
std::string parseOptions(int argc, const char* const* argv, Options& options);

// The usage text printed by --help.
std::string helpText();

// "velmora-align <version>" and a line end.
std::string versionText();

}  // namespace valign

#endif
