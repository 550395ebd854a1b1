// Output of the velmora-align tool.
#include "align/align_format.h"

#include <charconv>
#include <cmath>

namespace valign {

namespace {

std::string jsonNumber(double v) { return std::isfinite(v) ? formatNumber(v) : "null"; }

// Right-aligns text in a field of `width` characters.
std::string padded(const std::string& text, std::size_t width) {
  return text.size() >= width ? text : std::string(width - text.size(), ' ') + text;
}

}  // namespace

std::string formatNumber(double v) {
  if (std::isnan(v)) return "nan";
  if (std::isinf(v)) return v > 0 ? "inf" : "-inf";
  char buffer[40];
  const std::to_chars_result r =
      std::to_chars(buffer, buffer + sizeof buffer, v, std::chars_format::general, 17);
  return std::string(buffer, r.ptr);
}

std::string formatJson(const AlignReport& report) {
  std::string out = "{\"status\":\"ok\",\"pairs\":" + std::to_string(report.pairs) + ",\"matrix\":[";
  for (int r = 0; r < 4; ++r) {
    out += r == 0 ? "[" : ",[";
    for (int c = 0; c < 4; ++c) {
      if (c > 0) out += ',';
      out += jsonNumber(report.transform.m[r][c]);
    }
    out += ']';
  }
  out += "],\"error\":{\"mean\":" + jsonNumber(report.error.mean) +
         ",\"rms\":" + jsonNumber(report.error.rms) + ",\"max\":" + jsonNumber(report.error.max) +
         ",\"min\":" + jsonNumber(report.error.min) + "}";
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
  out += "}\n";
  return out;
}

std::string formatText(const AlignReport& report) {
  constexpr std::size_t kColumn = 25;
  std::string out = "pairs: " + std::to_string(report.pairs) + "\n";
  out += "matrix (row-major, translation in the last column):\n";
  for (int r = 0; r < 4; ++r) {
    for (int c = 0; c < 4; ++c) out += padded(formatNumber(report.transform.m[r][c]), kColumn);
    out += '\n';
  }
  out += "error:\n";
  out += "  mean: " + formatNumber(report.error.mean) + "\n";
  out += "  rms:  " + formatNumber(report.error.rms) + "\n";
  out += "  max:  " + formatNumber(report.error.max) + "\n";
  out += "  min:  " + formatNumber(report.error.min) + "\n";
  out += "conditioning:\n";
  out += "  from: " + formatNumber(report.conditioningFrom) + "\n";
  out += "  to:   " + formatNumber(report.conditioningTo) + "\n";
  if (report.residuals != nullptr) {
    out += "residuals:\n";
    std::size_t k = 0;
    for (double d : *report.residuals) out += "  " + std::to_string(++k) + ": " + formatNumber(d) + "\n";
  }
  return out;
}

}  // namespace valign
