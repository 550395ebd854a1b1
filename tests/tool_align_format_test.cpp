// Output formats of velmora-align, and the library's number format they use.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "align/align_format.h"
#include "velmora/fit.h"

using valign::AlignReport;
using velmora::formatNumber;

namespace {

std::string printf17(double v) {
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%.17g", v);
  return buffer;
}

// A translation by (1.5, -2, 0.25), its forms written out from their definitions.
AlignReport simpleReport() {
  AlignReport r;
  r.pairs = 3;
  const double t[3] = {1.5, -2, 0.25};
  for (int k = 0; k < 3; ++k) {
    r.motion.matrix[k][3] = t[k];
    r.motion.translation[k] = t[k];
    r.motion.inverse[k][3] = -t[k];
  }
  r.error = {0.5, 0.75, 1, 0};
  r.conditioningFrom = 0.125;
  r.conditioningTo = 1;
  return r;
}

// A quarter turn about z scaled by 2 (the forms as the conventions define them).
AlignReport turnedReport() {
  AlignReport r = simpleReport();
  r.model = velmora::Model::similarity;
  const double h = std::sqrt(0.5);
  const double m[4][4] = {{0, -2, 0, 1}, {2, 0, 0, 0}, {0, 0, 2, 0}, {0, 0, 0, 1}};
  const double inv[4][4] = {{0, 0.5, 0, 0}, {-0.5, 0, 0, 0.5}, {0, 0, 0.5, 0}, {0, 0, 0, 1}};
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j) {
      r.motion.matrix[i][j] = m[i][j];
      r.motion.inverse[i][j] = inv[i][j];
    }
  r.motion.scale = 2;
  r.motion.quaternion[0] = h;
  r.motion.quaternion[3] = h;
  r.motion.rotvec[2] = std::acos(-1.0) / 2;
  r.motion.eulerZyxDeg[0] = 90;
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
            "\"model\":\"rigid\",\"scale\":1,\"det\":1,\"quaternion\":[1,0,0,0],\"rotvec\":[0,0,0],"
            "\"euler_zyx_deg\":[0,0,0],\"inverse\":[[1,0,0,-1.5],[0,1,0,2],[0,0,1,-0.25],[0,0,0,1]],"
            "\"error\":{\"mean\":0.5,\"rms\":0.75,\"max\":1,\"min\":0},\"conditioning\":{\"from\":0.125,"
            "\"to\":1}}\n");
}

TEST(FormatJsonTest, GivesEveryFormOfTheMotion) {
  const std::string json = valign::formatJson(turnedReport());
  EXPECT_NE(
      json.find("\"matrix\":[[0,-2,0,1],[2,0,0,0],[0,0,2,0],[0,0,0,1]],\"model\":\"similarity\",\"scale\":2,"
                "\"det\":1,\"quaternion\":[" +
                formatNumber(std::sqrt(0.5)) + ",0,0," + formatNumber(std::sqrt(0.5)) + "],\"rotvec\":[0,0," +
                formatNumber(std::acos(-1.0) / 2) +
                "],\"euler_zyx_deg\":[90,0,0],\"inverse\":[[0,0.5,0,0],[-0.5,0,0,0.5],[0,0,0.5,0],[0,0,0,1]],"
                "\"error\":"),
      std::string::npos)
      << json;
}

TEST(FormatJsonTest, WeightSumOnlyWhenWeighted) {
  AlignReport r = simpleReport();
  EXPECT_EQ(valign::formatJson(r).find("weight_sum"), std::string::npos);
  r.weighted = true;
  r.weightSum = 12.5;
  EXPECT_NE(valign::formatJson(r).find("\"min\":0},\"weight_sum\":12.5,\"conditioning\":"),
            std::string::npos);
}

TEST(FormatJsonTest, ExportsAreStringsOrNullWhenAskedFor) {
  AlignReport r = simpleReport();
  r.proj = true;
  r.projLine = "+proj=helmert +x=1.5";
  r.ros = true;
  const std::string json = valign::formatJson(r);
  EXPECT_NE(json.find(",\"proj\":\"+proj=helmert +x=1.5\",\"ros\":null}\n"), std::string::npos) << json;
}

TEST(JsonStringTest, EscapesQuotesBackslashesAndControls) {
  EXPECT_EQ(valign::jsonString("a\"b\\c\n\x01"), "\"a\\\"b\\\\c\\u000a\\u0001\"");
  EXPECT_EQ(valign::jsonString("map"), "\"map\"");
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
  r.motion.matrix[0][0] = 0.1;
  r.error.mean = 1.0 / 3.0;
  const std::string json = valign::formatJson(r);
  EXPECT_NE(json.find("[[0.10000000000000001,"), std::string::npos);
  EXPECT_NE(json.find("\"mean\":0.33333333333333331"), std::string::npos);
}

TEST(FormatTextTest, ShowsCountMatrixFormsErrorsAndConditioning) {
  const std::string padding = "                        ";  // 24 blanks: one-character numbers in 25 columns
  const std::string expected =
      "pairs: 3\n"
      "matrix (row-major, translation in the last column):\n" +
      padding + "1" + padding + "0" + padding + "0" + padding.substr(2) + "1.5\n" + padding + "0" + padding +
      "1" + padding + "0" + padding.substr(1) + "-2\n" + padding + "0" + padding + "0" + padding + "1" +
      padding.substr(3) + "0.25\n" + padding + "0" + padding + "0" + padding + "0" + padding + "1\n" +
      "model: rigid\nscale: 1\ndet: 1\nquaternion (w, x, y, z): 1 0 0 0\nrotation vector (radians): 0 0 0\n"
      "euler zyx (yaw, pitch, roll; degrees): 0 0 0\ninverse (row-major):\n" +
      padding + "1" + padding + "0" + padding + "0" + padding.substr(3) + "-1.5\n" + padding + "0" + padding +
      "1" + padding + "0" + padding + "2\n" + padding + "0" + padding + "0" + padding + "1" +
      padding.substr(4) + "-0.25\n" + padding + "0" + padding + "0" + padding + "0" + padding + "1\n" +
      "error:\n  mean: 0.5\n  rms:  0.75\n  max:  1\n  min:  0\n"
      "conditioning:\n  from: 0.125\n  to:   1\n";
  EXPECT_EQ(valign::formatText(simpleReport()), expected);
}

TEST(FormatTextTest, ShowsTheModelAndTheAnglesOfATurn) {
  const std::string text = valign::formatText(turnedReport());
  EXPECT_NE(text.find("model: similarity\nscale: 2\ndet: 1\nquaternion (w, x, y, z): " +
                      formatNumber(std::sqrt(0.5)) + " 0 0 " + formatNumber(std::sqrt(0.5)) +
                      "\nrotation vector (radians): 0 0 " + formatNumber(std::acos(-1.0) / 2) +
                      "\neuler zyx (yaw, pitch, roll; degrees): 90 0 0\n"),
            std::string::npos)
      << text;
}

TEST(FormatTextTest, WeightSumFollowsTheErrors) {
  AlignReport r = simpleReport();
  r.weighted = true;
  r.weightSum = 0.5;
  EXPECT_NE(valign::formatText(r).find("  min:  0\nweight sum: 0.5\nconditioning:\n"), std::string::npos);
}

TEST(FormatTextTest, ExportLinesComeLastAndOnlyWhenExpressible) {
  AlignReport r = simpleReport();
  const std::vector<double> d = {0.5, 0.0, 1.0};
  r.residuals = &d;
  r.proj = true;
  r.projLine = "+proj=helmert +x=1.5";
  r.ros = true;
  r.rosLine = "1.5 -2 0.25 0 0 0 1 map part";
  std::string text = valign::formatText(r);
  EXPECT_NE(text.find("  3: 1\n+proj=helmert +x=1.5\n1.5 -2 0.25 0 0 0 1 map part\n"), std::string::npos)
      << text;
  EXPECT_EQ(text.substr(text.size() - 29), "1.5 -2 0.25 0 0 0 1 map part\n");
  r.projLine.clear();
  r.rosLine.clear();
  text = valign::formatText(r);
  EXPECT_EQ(text.substr(text.size() - 7), "  3: 1\n");
}

TEST(FormatTextTest, ResidualsAreNumberedFromOne) {
  AlignReport r = simpleReport();
  const std::vector<double> d = {0.5, 0.0, 1.0};
  r.residuals = &d;
  const std::string text = valign::formatText(r);
  EXPECT_NE(text.find("residuals:\n  1: 0.5\n  2: 0\n  3: 1\n"), std::string::npos) << text;
}
