// Command line of the velmora-align tool: the options, their checks and the help text.
#ifndef VELMORA_TOOLS_ALIGN_OPTIONS_H
#define VELMORA_TOOLS_ALIGN_OPTIONS_H

#include <string>

#include "velmora/fit.h"

namespace valign {

// How the motion is computed: the library's closed-form fit (the default), or the host entry's Newton
// iteration, kept so that the two can be compared.
enum class Method { closedForm, newton };

struct Options {
  bool help = false;
  bool version = false;
  bool json = false;
  bool residuals = false;
  std::string file = "-";  // the pairs file; "-" is standard input
  std::string from;        // with `to`: the two three-column files, paired by line order
  std::string to;
  velmora::Model model = velmora::Model::rigid;
  bool axisGiven = false;
  double axis[3] = {0.0, 0.0, 1.0};  // the direction of --model axis, as given
  bool allowReflection = false;
  std::string weights;  // --weights FILE: one weight a line, in pair order; empty when not given
  Method method = Method::closedForm;
  bool proj = false;  // print the motion as a PROJ helmert line
  bool ros = false;   // print the motion as static_transform_publisher arguments
  std::string rosParent;
  std::string rosChild;
  bool fromTo() const { return !from.empty() || !to.empty(); }
};

// Reads argv[1..argc-1]: -h/--help, --version, --json, --residuals, --from FILE, --to FILE, --model NAME,
// --axis X,Y,Z, --allow-reflection, --weights FILE, --method closed-form|newton, --proj, --ros PARENT
// CHILD (the options with one value also as --name=VALUE), "--" ending the options, and at most one FILE
// ("-": standard input). Returns an empty string on success, otherwise the one-line complaint. --help
// and --version are accepted whatever else the line holds, unless it holds an unknown option.
std::string parseOptions(int argc, const char* const* argv, Options& options);

// Reads "X,Y,Z" (or the three numbers separated by blanks or semicolons) into axis: an empty string when
// it holds three finite numbers of magnitude at most 1e150, not all zero, otherwise the complaint.
std::string parseAxis(const std::string& text, double axis[3]);

// The usage text printed by --help.
std::string helpText();

// "velmora-align <version>" and a line end.
std::string versionText();

}  // namespace valign

#endif
