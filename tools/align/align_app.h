// The velmora-align program as a function: command line in, exit status out. The host entry (the
// Newton path), the closed-form fit and the file system are passed in, so that the whole run can be
// exercised without any of them.
#ifndef VELMORA_TOOLS_ALIGN_APP_H
#define VELMORA_TOOLS_ALIGN_APP_H

#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "align/align_fit.h"
#include "align/align_types.h"
#include "velmora/fit.h"

namespace valign {

// Exit statuses.
constexpr int kExitOk = 0;
constexpr int kExitNotComputed = 1;
constexpr int kExitBadInput = 2;

// The --method newton path: computes the rigid alignment of pairs (from[k] onto to[k]); returns 1 and
// fills transform and meanError on success, 0 when no alignment was computed. The pairs it receives
// are validated, hold at least three pairs, start with a well-shaped triple and have coordinates of
// moderate magnitude.
using Aligner = std::function<int(const PointPairs& pairs, Transform4& transform, double& meanError)>;

// The closed-form fit of the pairs as read, with one weight a pair or none (empty `weights`).
using Fitter = std::function<velmora::FitResult(const PointPairs& pairs, const std::vector<double>& weights,
                                                const velmora::FitOptions& options)>;

// Reads a whole file ("-": standard input): empty string on success, else the complaint.
using FileReader = std::function<std::string(const std::string& path, std::string& content)>;

// Runs the tool: parses the command line, reads and validates the input, computes the motion with
// `fit` (or, with --method newton, orders the pairs and calls `newton`, then compares its residual with
// `fit`'s), and writes the report to `out`; errors (one line, "velmora-align: error: ...") and warnings
// ("velmora-align: warning: ...") go to `err`. Returns kExitOk, kExitNotComputed or kExitBadInput.
int runAlign(int argc, const char* const* argv, const Aligner& newton, const FileReader& read,
             std::ostream& out, std::ostream& err, const Fitter& fit = fitPairs);

}  // namespace valign

#endif
