// Output of the velmora-align tool.
#include "align/align_format.h"

#include <cmath>

namespace valign {

namespace {

using velmora::formatNumber;

std::string jsonNumber(double v) { return std::isfinite(v) ? formatNumber(v) : "null"; }

std::string jsonList(const double* v, int n) {
  std::string out = "[";
  for (int i = 0; i < n; ++i) {
    if (i > 0) out += ',';
    out += jsonNumber(v[i]);
  }
  return out + "]";
}

std::string jsonMatrix(const double m[4][4]) {
  std::string out = "[";
  for (int r = 0; r < 4; ++r) {
    if (r > 0) out += ',';
    out += jsonList(m[r], 4);
  }
  return out + "]";
}

std::string textList(const double* v, int n) {
  std::string out;
  for (int i = 0; i < n; ++i) {
    if (i > 0) out += ' ';
    out += formatNumber(v[i]);
  }
  return out;
}

// Right-aligns text in a field of `width` characters.
std::string padded(const std::string& text, std::size_t width) {
  return text.size() >= width ? text : std::string(width - text.size(), ' ') + text;
}

std::string textMatrix(const double m[4][4]) {
  constexpr std::size_t kColumn = 25;
  std::string out;
  for (int r = 0; r < 4; ++r) {
    for (int c = 0; c < 4; ++c) out += padded(formatNumber(m[r][c]), kColumn);
    out += '\n';
  }
  return out;
}

}  // namespace

std::string jsonString(const std::string& text) {
  static const char kHex[] = "0123456789abcdef";
  std::string out = "\"";
  for (char ch : text) {
    const unsigned char c = static_cast<unsigned char>(ch);
    if (c == '"' || c == '\\') {
      out += '\\';
      out += ch;
    } else if (c < 0x20) {
      out += "\\u00";
      out += kHex[c >> 4];
      out += kHex[c & 15];
    } else {
      out += ch;
    }
  }
  return out + "\"";
}

std::string formatJson(const AlignReport& report) {
  const velmora::Motion& m = report.motion;
  std::string out = "{\"status\":\"ok\",\"pairs\":" + std::to_string(report.pairs);
  out += ",\"matrix\":" + jsonMatrix(m.matrix);
  out += std::string(",\"model\":\"") + velmora::modelName(report.model) + "\"";
  out += ",\"scale\":" + jsonNumber(m.scale) + ",\"det\":" + jsonNumber(m.det);
  out += ",\"quaternion\":" + jsonList(m.quaternion, 4);
  out += ",\"rotvec\":" + jsonList(m.rotvec, 3);
  out += ",\"euler_zyx_deg\":" + jsonList(m.eulerZyxDeg, 3);
  out += ",\"inverse\":" + jsonMatrix(m.inverse);
  out += ",\"error\":{\"mean\":" + jsonNumber(report.error.mean) +
         ",\"rms\":" + jsonNumber(report.error.rms) + ",\"max\":" + jsonNumber(report.error.max) +
         ",\"min\":" + jsonNumber(report.error.min) + "}";
  if (report.weighted) out += ",\"weight_sum\":" + jsonNumber(report.weightSum);
  out += ",\"conditioning\":{\"from\":" + jsonNumber(report.conditioningFrom) +
         ",\"to\":" + jsonNumber(report.conditioningTo) + "}";
  if (report.residuals != nullptr) {
    out += ",\"residuals\":[";
    bool first = true;
    for (double d : *report.residuals) {
      if (!first) out += ',';
      first = false;
      out += jsonNumber(d);
    }
    out += ']';
  }
  if (report.proj) out += ",\"proj\":" + (report.projLine.empty() ? "null" : jsonString(report.projLine));
  if (report.ros) out += ",\"ros\":" + (report.rosLine.empty() ? "null" : jsonString(report.rosLine));
  out += "}\n";
  return out;
}

std::string formatText(const AlignReport& report) {
  const velmora::Motion& m = report.motion;
  std::string out = "pairs: " + std::to_string(report.pairs) + "\n";
  out += "matrix (row-major, translation in the last column):\n" + textMatrix(m.matrix);
  out += std::string("model: ") + velmora::modelName(report.model) + "\n";
  out += "scale: " + formatNumber(m.scale) + "\n";
  out += "det: " + formatNumber(m.det) + "\n";
  out += "quaternion (w, x, y, z): " + textList(m.quaternion, 4) + "\n";
  out += "rotation vector (radians): " + textList(m.rotvec, 3) + "\n";
  out += "euler zyx (yaw, pitch, roll; degrees): " + textList(m.eulerZyxDeg, 3) + "\n";
  out += "inverse (row-major):\n" + textMatrix(m.inverse);
  out += "error:\n";
  out += "  mean: " + formatNumber(report.error.mean) + "\n";
  out += "  rms:  " + formatNumber(report.error.rms) + "\n";
  out += "  max:  " + formatNumber(report.error.max) + "\n";
  out += "  min:  " + formatNumber(report.error.min) + "\n";
  if (report.weighted) out += "weight sum: " + formatNumber(report.weightSum) + "\n";
  out += "conditioning:\n";
  out += "  from: " + formatNumber(report.conditioningFrom) + "\n";
  out += "  to:   " + formatNumber(report.conditioningTo) + "\n";
  if (report.residuals != nullptr) {
    out += "residuals:\n";
    std::size_t k = 0;
    for (double d : *report.residuals) out += "  " + std::to_string(++k) + ": " + formatNumber(d) + "\n";
  }
  if (report.proj && !report.projLine.empty()) out += report.projLine + "\n";
  if (report.ros && !report.rosLine.empty()) out += report.rosLine + "\n";
  return out;
}

}  // namespace valign
