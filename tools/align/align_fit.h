// The closed-form fit over the velmora-align tool's pairs (the library's velmora::fit, reading the pairs
// in place), and the comparison that tells when the Newton entry stopped short of the optimum.
#ifndef VELMORA_TOOLS_ALIGN_FIT_H
#define VELMORA_TOOLS_ALIGN_FIT_H

#include <string>
#include <vector>

#include "align/align_types.h"
#include "velmora/fit.h"

namespace valign {

// velmora::fit of the pairs (from[k] onto to[k]) as read, with one weight a pair, or none when `weights`
// is empty.
velmora::FitResult fitPairs(const PointPairs& pairs, const std::vector<double>& weights,
                            const velmora::FitOptions& options);

// The relative margin by which the Newton entry's RMS residual may exceed the closed form's before the
// tool warns.
constexpr double kNewtonRmsMargin = 1e-9;

// True when newtonRms exceeds closedFormRms by more than kNewtonRmsMargin relative and by more than the
// rounding of the coordinates (64 units in the last place of `largest`, the largest coordinate
// magnitude), so that on data fitted exactly, where both residuals are rounding noise, agreeing results
// never warn.
bool newtonIsWorse(double newtonRms, double closedFormRms, double largest);

// The lines of a multi-line text (a FitResult's warning), without their line ends; empty lines dropped.
std::vector<std::string> textLines(const std::string& text);

}  // namespace valign

#endif
