// Output of the velmora-align tool: the readable block and the JSON object, numbers at full double
// precision (velmora::formatNumber: up to 17 significant digits), independent of the locale.
#ifndef VELMORA_TOOLS_ALIGN_FORMAT_H
#define VELMORA_TOOLS_ALIGN_FORMAT_H

#include <cstddef>
#include <string>
#include <vector>

#include "align/align_residuals.h"
#include "velmora/fit.h"

namespace valign {

// Everything one successful run reports.
struct AlignReport {
  std::size_t pairs = 0;  // pairs read, zero weights included
  velmora::Model model = velmora::Model::rigid;
  velmora::Motion motion;
  ErrorStats error;
  bool weighted = false;  // weights were given: the weight sum is reported
  double weightSum = 0.0;
  double conditioningFrom = 0.0;
  double conditioningTo = 0.0;
  const std::vector<double>* residuals = nullptr;  // printed when not null, in input order
  // --proj and --ros: asked for, and the line (empty when the motion cannot be written so).
  bool proj = false;
  std::string projLine;
  bool ros = false;
  std::string rosLine;
};

// `text` as a JSON string, quotes included.
std::string jsonString(const std::string& text);

// One JSON object on one line (ended by a newline) with the keys "status" ("ok"), "pairs", "matrix"
// (4 rows of 4), "model", "scale", "det", "quaternion" ([w, x, y, z]), "rotvec", "euler_zyx_deg"
// ([yaw, pitch, roll]), "inverse" (4 rows of 4), "error" ("mean", "rms", "max", "min"), "weight_sum" when
// weighted, "conditioning" ("from", "to"), and when asked for "residuals", "proj" and "ros" (null when
// the motion cannot be written so). A non-finite number, which a successful run never produces, is
// written null.
std::string formatJson(const AlignReport& report);

// The readable block: pair count, the matrix row by row, model, scale, determinant, quaternion, rotation
// vector, Euler angles, the inverse matrix, the error statistics, the weight sum when weighted, the
// conditioning of both sets, when given the residuals numbered from 1 in input order, and last the
// --proj and --ros lines as they are to be used (none when the motion cannot be written so).
std::string formatText(const AlignReport& report);

}  // namespace valign

#endif
