// The velmora-align program as a function: command line in, exit status out. The alignment itself
// and the file system are passed in, so that the whole run can be exercised without either.
#ifndef VELMORA_TOOLS_ALIGN_APP_H
#define VELMORA_TOOLS_ALIGN_APP_H

#include <functional>
#include <ostream>
#include <string>

#include "align/align_types.h"

namespace valign {

// Exit statuses.
constexpr int kExitOk = 0;
constexpr int kExitNotComputed = 1;
constexpr int kExitBadInput = 2;

// Computes the alignment of pairs (from[k] onto to[k]); returns 1 and fills transform and meanError
// on success, 0 when no alignment was computed. The pairs it receives are validated, hold at least
// three pairs, start with a well-shaped triple and have coordinates of moderate magnitude.
using Aligner = std::function<int(const PointPairs& pairs, Transform4& transform, double& meanError)>;

// Reads a whole file ("-": standard input): empty string on success, else the complaint.
using FileReader = std::function<std::string(const std::string& path, std::string& content)>;

// Runs the tool: parses the command line, reads and validates the input, orders the pairs, calls
// `align`, and writes the report to `out`; errors (one line, "velmora-align: error: ...") and
// warnings go to `err`. Returns kExitOk, kExitNotComputed or kExitBadInput.
int runAlign(int argc, const char* const* argv, const Aligner& align, const FileReader& read,
             std::ostream& out, std::ostream& err);

}  // namespace valign

#endif
