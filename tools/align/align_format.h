// Output of the velmora-align tool: the readable block and the JSON object, numbers at full double
// precision (17 significant digits), independent of the locale.
#ifndef VELMORA_TOOLS_ALIGN_FORMAT_H
#define VELMORA_TOOLS_ALIGN_FORMAT_H

#include <cstddef>
#include <string>
#include <vector>

#include "align/align_residuals.h"
#include "align/align_types.h"

namespace valign {

// Everything one successful run reports.
struct AlignReport {
  std::size_t pairs = 0;
  Transform4 transform;
  ErrorStats error;
  double conditioningFrom = 0.0;
  double conditioningTo = 0.0;
  const std::vector<double>* residuals = nullptr;  // printed when not null, in input order
};

// The shortest text of at most 17 significant digits that reads back as v (the %.17g form, without
// trailing zeros): "1", "0.10000000000000001", "1.5e-05". Non-finite values give "nan", "inf", "-inf".
std::string formatNumber(double v);

// One JSON object on one line (ended by a newline) with the keys "status" ("ok"), "pairs", "matrix"
// (4 rows of 4), "error" ("mean", "rms", "max", "min"), "conditioning" ("from", "to") and, when
// given, "residuals". A non-finite number, which a successful run never produces, is written null.
std::string formatJson(const AlignReport& report);

// The readable block: pair count, the matrix row by row, the error statistics, the conditioning of
// both sets and, when given, the residuals numbered from 1 in input order.
std::string formatText(const AlignReport& report);

}  // namespace valign

#endif
