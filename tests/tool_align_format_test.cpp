// Output formats of velmora-align.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "align/align_format.h"

using valign::AlignReport;
using valign::formatNumber;

namespace {

std::string printf17(double v) {
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%.17g", v);
  return buffer;
}

AlignReport simpleReport() {
  AlignReport r;
  r.pairs = 3;
  r.transform.m[0][3] = 1.5;
  r.transform.m[1][3] = -2;
  r.transform.m[2][3] = 0.25;
  r.error = {0.5, 0.75, 1, 0};
  r.conditioningFrom = 0.125;
  r.conditioningTo = 1;
  return r;
}

}  // namespace

TEST(FormatNumberTest, MatchesPrintfWithSeventeenSignificantDigits) {
  std::mt19937_64 gen(5);
  std::uniform_real_distribution<double> mantissa(-10.0, 10.0);
  std::uniform_int_distribution<int> exponent(-300, 300);
  for (int i = 0; i < 5000; ++i) {
    const double v = mantissa(gen) * std::pow(10.0, exponent(gen));
    EXPECT_EQ(formatNumber(v), printf17(v));
  }
  for (double v : {0.0, 1.0, -1.0, 0.1, 1.0 / 3.0, 1e-5, 123456789012345678.0, 1e150, 5e-324})
    EXPECT_EQ(formatNumber(v), printf17(v));
}

TEST(FormatNumberTest, ReadsBackExactly) {
  std::mt19937_64 gen(6);
  std::uniform_real_distribution<double> u(-1e6, 1e6);
  for (int i = 0; i < 5000; ++i) {
    const double v = u(gen);
    EXPECT_EQ(std::strtod(formatNumber(v).c_str(), nullptr), v);
  }
}

TEST(FormatNumberTest, ShortValuesStayShort) {
  EXPECT_EQ(formatNumber(1.0), "1");
  EXPECT_EQ(formatNumber(-0.25), "-0.25");
  EXPECT_EQ(formatNumber(0.1), "0.10000000000000001");
}

TEST(FormatNumberTest, NonFiniteValuesAreNamed) {
  EXPECT_EQ(formatNumber(std::numeric_limits<double>::quiet_NaN()), "nan");
  EXPECT_EQ(formatNumber(std::numeric_limits<double>::infinity()), "inf");
  EXPECT_EQ(formatNumber(-std::numeric_limits<double>::infinity()), "-inf");
}

TEST(FormatJsonTest, WritesTheKeysInOneObjectOnOneLine) {
  EXPECT_EQ(valign::formatJson(simpleReport()),
            "{\"status\":\"ok\",\"pairs\":3,\"matrix\":[[1,0,0,1.5],[0,1,0,-2],[0,0,1,0.25],[0,0,0,1]],"
            "\"error\":{\"mean\":0.5,\"rms\":0.75,\"max\":1,\"min\":0},\"conditioning\":{\"from\":0.125,"
            "\"to\":1}}\n");
}

TEST(FormatJsonTest, ResidualsFollowWhenGiven) {
  AlignReport r = simpleReport();
  const std::vector<double> d = {0.5, 0.0, 1.0};
  r.residuals = &d;
  const std::string json = valign::formatJson(r);
  EXPECT_NE(json.find(",\"conditioning\":{\"from\":0.125,\"to\":1},\"residuals\":[0.5,0,1]}\n"),
            std::string::npos)
      << json;
  const std::vector<double> none;
  r.residuals = &none;
  EXPECT_NE(valign::formatJson(r).find("\"residuals\":[]}"), std::string::npos);
}

TEST(FormatJsonTest, NonFiniteNumbersBecomeNull) {
  AlignReport r = simpleReport();
  r.error.max = std::numeric_limits<double>::quiet_NaN();
  EXPECT_NE(valign::formatJson(r).find("\"max\":null"), std::string::npos);
}

TEST(FormatJsonTest, NumbersKeepFullPrecision) {
  AlignReport r = simpleReport();
  r.transform.m[0][0] = 0.1;
  r.error.mean = 1.0 / 3.0;
  const std::string json = valign::formatJson(r);
  EXPECT_NE(json.find("[[0.10000000000000001,"), std::string::npos);
  EXPECT_NE(json.find("\"mean\":0.33333333333333331"), std::string::npos);
}

TEST(FormatTextTest, ShowsCountMatrixErrorsAndConditioning) {
  const std::string padding = "                        ";  // 24 blanks: one-character numbers in 25 columns
  const std::string expected =
      "pairs: 3\n"
      "matrix (row-major, translation in the last column):\n" +
      padding + "1" + padding + "0" + padding + "0" + padding.substr(2) + "1.5\n" + padding + "0" + padding +
      "1" + padding + "0" + padding.substr(1) + "-2\n" + padding + "0" + padding + "0" + padding + "1" +
      padding.substr(3) + "0.25\n" + padding + "0" + padding + "0" + padding + "0" + padding + "1\n" +
      "error:\n  mean: 0.5\n  rms:  0.75\n  max:  1\n  min:  0\n"
      "conditioning:\n  from: 0.125\n  to:   1\n";
  EXPECT_EQ(valign::formatText(simpleReport()), expected);
}

TEST(FormatTextTest, ResidualsAreNumberedFromOne) {
  AlignReport r = simpleReport();
  const std::vector<double> d = {0.5, 0.0, 1.0};
  r.residuals = &d;
  const std::string text = valign::formatText(r);
  EXPECT_NE(text.find("residuals:\n  1: 0.5\n  2: 0\n  3: 1\n"), std::string::npos) << text;
}
