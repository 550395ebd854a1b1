// Whole runs of velmora-align with an independent least-squares alignment in place of the library's
// entry and an in-memory file system: exit statuses, messages, ordering, scaling and output.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <map>
#include <new>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "align/align_app.h"
#include "align/align_order.h"
#include "tool/align_fixtures.h"

using valign::PointPairs;
using valign::Transform4;
using valign::Vec3;

namespace {

struct RunResult {
  int status = -1;
  std::string out;
  std::string err;
};

// Records what the alignment received and answers with the SVD solution (or as told).
struct RecordingAligner {
  int calls = 0;
  PointPairs received;
  int answer = 1;
  bool poison = false;  // answer with a NaN in the matrix
  bool throwBadAlloc = false;
  int operator()(const PointPairs& pairs, Transform4& t, double& meanError) {
    ++calls;
    received = pairs;
    if (throwBadAlloc) throw std::bad_alloc();
    if (answer != 1) return answer;
    t = vtool::toTransform(vtool::svdAlignment(pairs));
    if (poison) t.m[1][1] = std::nan("");
    meanError = 0.0;
    return 1;
  }
};

class AppTest : public ::testing::Test {
 protected:
  RunResult run(std::vector<const char*> args) {
    args.insert(args.begin(), "velmora-align");
    std::ostringstream out, err;
    RunResult r;
    r.status = valign::runAlign(
        static_cast<int>(args.size()), args.data(),
        [this](const PointPairs& p, Transform4& t, double& e) { return aligner(p, t, e); },
        [this](const std::string& path, std::string& content) -> std::string {
          const auto it = files.find(path);
          if (it == files.end()) return "cannot open " + path + ": No such file or directory";
          content = it->second;
          return std::string();
        },
        out, err);
    r.out = out.str();
    r.err = err.str();
    return r;
  }
  // Expects a failed run: the status, nothing on standard output, one error line with `message`.
  void expectFailure(const RunResult& r, int status, const std::string& message) {
    EXPECT_EQ(r.status, status);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "velmora-align: error: " + message + "\n");
  }
  std::map<std::string, std::string> files;
  RecordingAligner aligner;
};

std::string pairsText(const PointPairs& pairs) {
  std::ostringstream s;
  s.precision(17);
  for (std::size_t k = 0; k < pairs.size(); ++k) {
    s << pairs.from[k].x << ' ' << pairs.from[k].y << ' ' << pairs.from[k].z << ' ' << pairs.to[k].x << ' '
      << pairs.to[k].y << ' ' << pairs.to[k].z << '\n';
  }
  return s.str();
}

std::string pointsText(const std::vector<Vec3>& points) {
  std::ostringstream s;
  s.precision(17);
  for (const Vec3& p : points) s << p.x << ',' << p.y << ',' << p.z << '\n';
  return s.str();
}

// The numbers of the JSON array that follows "key": in `json`, in order, nested arrays flattened.
std::vector<double> jsonArray(const std::string& json, const std::string& key) {
  std::vector<double> values;
  std::size_t at = json.find("\"" + key + "\":[");
  if (at == std::string::npos) return values;
  at += key.size() + 4;  // just after the opening bracket
  int depth = 1;
  while (at < json.size() && depth > 0) {
    const char c = json[at];
    if (c == '[') {
      ++depth;
      ++at;
    } else if (c == ']') {
      --depth;
      ++at;
    } else if (c == ',') {
      ++at;
    } else {
      char* end = nullptr;
      const double v = std::strtod(json.c_str() + at, &end);
      if (end == json.c_str() + at) {
        ADD_FAILURE() << "not a number at " << at << " in " << json;
        break;
      }
      values.push_back(v);
      at = static_cast<std::size_t>(end - json.c_str());
    }
  }
  return values;
}

double jsonValue(const std::string& json, const std::string& key) {
  const std::size_t at = json.find("\"" + key + "\":");
  if (at == std::string::npos) return std::nan("");
  return std::strtod(json.c_str() + at + key.size() + 3, nullptr);
}

// Random pairs under the sample motion whose first three points are collinear.
PointPairs badlyStartedPairs(std::size_t n, double sigma) {
  std::vector<Vec3> points = vtool::randomPoints(n, 25.0, {100.0, 50.0, -20.0}, 21);
  points[0] = {0, 0, 0};
  points[1] = {1, 1, 1};
  points[2] = {2, 2, 2};
  return vtool::movedPairs(points, vtool::sampleMotion(), sigma, 22);
}

void expectMatrixIsMotion(const std::vector<double>& m, const vtool::Motion& motion, double tolerance) {
  ASSERT_EQ(m.size(), 16u);
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 3; ++c) EXPECT_NEAR(m[4 * r + c], motion.rotation(r, c), tolerance);
    EXPECT_NEAR(m[4 * r + 3], motion.translation(r), tolerance * (1.0 + std::fabs(motion.translation(r))));
  }
  EXPECT_EQ(m[12], 0.0);
  EXPECT_EQ(m[13], 0.0);
  EXPECT_EQ(m[14], 0.0);
  EXPECT_EQ(m[15], 1.0);
}

}  // namespace

TEST_F(AppTest, RecoversTheKnownMotionAsJson) {
  files["p.txt"] = pairsText(badlyStartedPairs(30, 0.0));
  const RunResult r = run({"--json", "p.txt"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.out.rfind("{\"status\":\"ok\",\"pairs\":30,\"matrix\":[[", 0), 0u) << r.out;
  expectMatrixIsMotion(jsonArray(r.out, "matrix"), vtool::sampleMotion(), 1e-12);
  EXPECT_LT(jsonValue(r.out, "max"), 1e-11);
  EXPECT_EQ(r.out.find("\"residuals\""), std::string::npos);
  EXPECT_EQ(aligner.calls, 1);
}

TEST_F(AppTest, TheAlignmentAlwaysReceivesAWellShapedLeadingTriple) {
  files["p.txt"] = pairsText(badlyStartedPairs(30, 0.05));
  ASSERT_EQ(run({"p.txt"}).status, 0);
  const PointPairs& got = aligner.received;
  ASSERT_EQ(got.size(), 30u);
  EXPECT_GE(valign::vertexSine(got.from[0], got.from[1], got.from[2]), valign::kMinLeadingSine);
  EXPECT_GE(valign::vertexSine(got.to[0], got.to[1], got.to[2]), valign::kMinLeadingSine);
}

TEST_F(AppTest, ResidualsAreReportedInInputOrder) {
  PointPairs pairs = badlyStartedPairs(20, 0.0);
  // Spoil one pair by a known offset far from the front: its residual stands out.
  pairs.to[17].x += 1e-3;
  files["p.txt"] = pairsText(pairs);
  const RunResult r = run({"--json", "--residuals", "p.txt"});
  ASSERT_EQ(r.status, 0) << r.err;
  const std::vector<double> d = jsonArray(r.out, "residuals");
  ASSERT_EQ(d.size(), 20u);
  for (std::size_t k = 0; k < d.size(); ++k) {
    if (k == 17)
      EXPECT_GT(d[k], 5e-4);
    else
      EXPECT_LT(d[k], 2e-4) << k;
  }
  // The statistics are those of the reported residuals.
  double sum = 0.0, squares = 0.0, largest = 0.0, smallest = 1e300;
  for (double v : d) {
    sum += v;
    squares += v * v;
    largest = std::max(largest, v);
    smallest = std::min(smallest, v);
  }
  EXPECT_NEAR(jsonValue(r.out, "mean"), sum / 20.0, 1e-15);
  EXPECT_NEAR(jsonValue(r.out, "rms"), std::sqrt(squares / 20.0), 1e-15);
  EXPECT_EQ(jsonValue(r.out, "max"), largest);
  EXPECT_EQ(jsonValue(r.out, "min"), smallest);
}

TEST_F(AppTest, ReadableOutputByDefault) {
  files["p.txt"] = pairsText(badlyStartedPairs(12, 0.0));
  const RunResult r = run({"p.txt"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out.rfind("pairs: 12\nmatrix (row-major, translation in the last column):\n", 0), 0u) << r.out;
  EXPECT_NE(r.out.find("\nerror:\n  mean: "), std::string::npos);
  EXPECT_NE(r.out.find("\nconditioning:\n  from: "), std::string::npos);
  EXPECT_EQ(r.out.find("residuals:"), std::string::npos);
  EXPECT_NE(run({"--residuals", "p.txt"}).out.find("residuals:\n  1: "), std::string::npos);
}

TEST_F(AppTest, ReadsStandardInputWithNoFileOrDash) {
  files["-"] = "x y z X Y Z\r\n# measured\r\n" + pairsText(badlyStartedPairs(10, 0.0));
  EXPECT_EQ(run({"--json"}).status, 0);
  const RunResult r = run({"--json", "-"});
  ASSERT_EQ(r.status, 0) << r.err;
  expectMatrixIsMotion(jsonArray(r.out, "matrix"), vtool::sampleMotion(), 1e-12);
}

TEST_F(AppTest, FromAndToFilesArePairedByLineOrder) {
  const PointPairs pairs = badlyStartedPairs(15, 0.0);
  files["a.csv"] = "x,y,z\n" + pointsText(pairs.from);
  files["b.csv"] = pointsText(pairs.to);
  const RunResult r = run({"--json", "--from", "a.csv", "--to", "b.csv"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("\"pairs\":15"), std::string::npos);
  expectMatrixIsMotion(jsonArray(r.out, "matrix"), vtool::sampleMotion(), 1e-12);
}

TEST_F(AppTest, TinyCoordinatesAreScaledForTheAlignmentAndBack) {
  const double s = 1e-200;
  std::vector<Vec3> points = vtool::randomPoints(10, 1.0, {0.5, 0.2, 0.1}, 5);
  for (Vec3& p : points) p = {p.x * s, p.y * s, p.z * s};
  vtool::Motion motion = vtool::sampleMotion();
  motion.translation *= s;
  files["p.txt"] = pairsText(vtool::movedPairs(points, motion, 0.0, 1));
  const RunResult r = run({"--json", "--residuals", "p.txt"});
  ASSERT_EQ(r.status, 0) << r.err;
  double largest = 0.0;
  for (const std::vector<Vec3>* set : {&aligner.received.from, &aligner.received.to})
    for (const Vec3& p : *set) largest = std::max({largest, std::fabs(p.x), std::fabs(p.y), std::fabs(p.z)});
  EXPECT_GE(largest, 0.5);
  EXPECT_LE(largest, 1.0);
  const std::vector<double> m = jsonArray(r.out, "matrix");
  ASSERT_EQ(m.size(), 16u);
  for (int row = 0; row < 3; ++row) {
    for (int c = 0; c < 3; ++c) EXPECT_NEAR(m[4 * row + c], motion.rotation(row, c), 1e-12);
    EXPECT_NEAR(m[4 * row + 3] / s, motion.translation(row) / s, 1e-10);
  }
  for (double d : jsonArray(r.out, "residuals")) EXPECT_LT(d, 1e-12 * s);
}

TEST_F(AppTest, HugeCoordinatesAreScaledForTheAlignmentAndBack) {
  const double s = 1e140;
  std::vector<Vec3> points = vtool::randomPoints(10, 1.0, {0.5, 0.2, 0.1}, 6);
  for (Vec3& p : points) p = {p.x * s, p.y * s, p.z * s};
  vtool::Motion motion = vtool::sampleMotion();
  motion.translation *= s;
  files["p.txt"] = pairsText(vtool::movedPairs(points, motion, 0.0, 1));
  const RunResult r = run({"--json", "p.txt"});
  ASSERT_EQ(r.status, 0) << r.err;
  double largest = 0.0;
  for (const Vec3& p : aligner.received.to)
    largest = std::max({largest, std::fabs(p.x), std::fabs(p.y), std::fabs(p.z)});
  EXPECT_LE(largest, 1.0);
  const std::vector<double> m = jsonArray(r.out, "matrix");
  ASSERT_EQ(m.size(), 16u);
  for (int row = 0; row < 3; ++row) EXPECT_NEAR(m[4 * row + 3] / s, motion.translation(row) / s, 1e-10);
  EXPECT_LT(jsonValue(r.out, "max"), 1e-11 * s);
}

TEST_F(AppTest, ModerateCoordinatesReachTheAlignmentUnchanged) {
  const PointPairs pairs = badlyStartedPairs(8, 0.0);
  files["p.txt"] = pairsText(pairs);
  ASSERT_EQ(run({"p.txt"}).status, 0);
  // The same pairs as read (the text carries 17 digits), only reordered.
  double sumIn = 0.0, sumGot = 0.0;
  for (std::size_t k = 0; k < pairs.size(); ++k) {
    sumIn += pairs.from[k].x + pairs.to[k].z;
    sumGot += aligner.received.from[k].x + aligner.received.to[k].z;
  }
  EXPECT_NEAR(sumGot, sumIn, 1e-9);
  EXPECT_EQ(aligner.received.size(), pairs.size());
}

TEST_F(AppTest, FlatSetsWarnButSucceed) {
  std::vector<Vec3> points = vtool::randomPoints(10, 5.0, {0, 0, 0}, 8);
  for (Vec3& p : points) p.z = 1.0;
  files["p.txt"] = pairsText(vtool::movedPairs(points, vtool::sampleMotion(), 0.0, 1));
  const RunResult r = run({"--json", "p.txt"});
  EXPECT_EQ(r.status, 0);
  // A flat set has a conditioning of 0 up to rounding; the value shown is that of the computation.
  const std::string middle = " are close to a plane or a line (conditioning ";
  const std::string tail = ", below 1e-3): the alignment may be poorly determined";
  const std::size_t split = r.err.find('\n');
  ASSERT_NE(split, std::string::npos) << r.err;
  const std::string first = r.err.substr(0, split);
  const std::string second = r.err.substr(split + 1);
  EXPECT_EQ(first.rfind("velmora-align: warning: the points to move" + middle, 0), 0u) << first;
  EXPECT_EQ(second.rfind("velmora-align: warning: the target points" + middle, 0), 0u) << second;
  EXPECT_EQ(first.substr(first.size() - tail.size()), tail);
  EXPECT_EQ(second.substr(second.size() - tail.size() - 1), tail + "\n");
  expectMatrixIsMotion(jsonArray(r.out, "matrix"), vtool::sampleMotion(), 1e-10);
}

TEST_F(AppTest, HelpAndVersionPrintAndSucceed) {
  const RunResult h = run({"--help"});
  EXPECT_EQ(h.status, 0);
  EXPECT_EQ(h.out.rfind("Usage: velmora-align", 0), 0u);
  EXPECT_EQ(h.err, "");
  const RunResult v = run({"--version"});
  EXPECT_EQ(v.status, 0);
  EXPECT_EQ(v.out.rfind("velmora-align ", 0), 0u);
  EXPECT_EQ(aligner.calls, 0);
}

TEST_F(AppTest, BadCommandLineIsBadInput) {
  expectFailure(run({"--bogus"}), 2, "unknown option '--bogus' (see --help)");
  expectFailure(run({"--from", "a"}), 2, "--from needs --to");
}

TEST_F(AppTest, MissingFileIsBadInput) {
  expectFailure(run({"nowhere.txt"}), 2, "cannot open nowhere.txt: No such file or directory");
  files["a"] = "1 2 3\n";
  expectFailure(run({"--from", "a", "--to", "b"}), 2, "cannot open b: No such file or directory");
}

TEST_F(AppTest, UnparsableLineIsBadInput) {
  files["p.txt"] = "1 2 3 4 5 6\n1 2 3 4 5 six\n";
  expectFailure(run({"p.txt"}), 2, "p.txt:2: 'six' is not a number");
}

TEST_F(AppTest, WrongCountOfNumbersIsBadInput) {
  files["p.txt"] = "# pairs\n1 2 3 4 5 6\n1 2 3 4 5\n";
  expectFailure(run({"p.txt"}), 2, "p.txt:3: expected 6 numbers, found 5");
  files["-"] = "1 2 3 4 5 6 7\n";
  expectFailure(run({}), 2, "<stdin>:1: expected 6 numbers, found 7");
}

TEST_F(AppTest, NonFiniteOrHugeCoordinatesAreBadInput) {
  files["p.txt"] = "1 2 3 4 5 6\n1 2 3 4 NaN 6\n";
  expectFailure(run({"p.txt"}), 2, "p.txt:2: 'NaN' is not a finite coordinate");
  files["p.txt"] = "1 2 3 4 5 6\n1 2 -2e150 4 5 6\n";
  expectFailure(run({"p.txt"}), 2, "p.txt:2: coordinate '-2e150' exceeds 1e150 in magnitude");
}

TEST_F(AppTest, FewerThanThreePairsAreBadInput) {
  files["p.txt"] = "0 0 0 1 1 1\n1 0 0 2 1 1\n";
  expectFailure(run({"p.txt"}), 2, "p.txt: 2 pairs found, at least 3 are needed");
  files["e.txt"] = "";
  expectFailure(run({"e.txt"}), 2, "e.txt: 0 pairs found, at least 3 are needed");
  files["a"] = "1 2 3\n";
  files["b"] = "1 2 3\n";
  expectFailure(run({"--from", "a", "--to", "b"}), 2, "a and b: 1 pair found, at least 3 are needed");
  EXPECT_EQ(aligner.calls, 0);
}

TEST_F(AppTest, MismatchedFromToCountsAreBadInput) {
  files["a"] = "0 0 0\n1 0 0\n0 1 0\n0 0 1\n";
  files["b"] = "0 0 0\n1 0 0\n0 1 0\n";
  expectFailure(run({"--from", "a", "--to", "b"}), 2, "a has 4 points but b has 3: the counts must match");
}

TEST_F(AppTest, CollinearSetsCannotBeAligned) {
  files["p.txt"] = "0 0 0 0 0 0\n1 1 1 1 0 0\n2 2 2 0 1 0\n3 3 3 0 0 1\n";
  expectFailure(run({"p.txt"}), 1,
                "the points to move are all collinear or coincident: the rotation is not determined");
  files["p.txt"] = "0 0 0 0 0 0\n1 0 0 1 1 1\n0 1 0 2 2 2\n0 0 1 2 2 2\n";
  expectFailure(run({"p.txt"}), 1,
                "the target points are all collinear or coincident: the rotation is not determined");
  EXPECT_EQ(aligner.calls, 0);
}

TEST_F(AppTest, SetsTooCloseToALineCannotBeAligned) {
  files["p.txt"] = "0 0 0 0 0 0\n1 0 0 1 0 0\n2 1e-9 0 0 1 0\n3 0 0 0 0 1\n";
  const RunResult r = run({"p.txt"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err.rfind("velmora-align: error: the points to move lie too close to a line", 0), 0u) << r.err;
  EXPECT_EQ(aligner.calls, 0);
}

TEST_F(AppTest, FailedAlignmentIsReported) {
  files["p.txt"] = pairsText(badlyStartedPairs(10, 0.0));
  aligner.answer = 0;
  expectFailure(run({"p.txt"}), 1, "the alignment could not be computed");
  aligner.answer = 1;
  aligner.poison = true;
  expectFailure(run({"p.txt"}), 1, "the alignment could not be computed");
}

TEST_F(AppTest, RunningOutOfMemoryIsReported) {
  files["p.txt"] = pairsText(badlyStartedPairs(10, 0.0));
  aligner.throwBadAlloc = true;
  expectFailure(run({"p.txt"}), 2, "not enough memory for this input");
}

TEST_F(AppTest, AnyInputEndsInOneOfTheThreeStatuses) {
  // Texts made of number-like pieces, separators, comments and noise: whatever comes out, the run
  // ends with 0, 1 or 2, and a failure is one error line with nothing on standard output.
  const std::vector<std::string> pieces = {
      "0",  "1",    "-2.5", "+3e2", "1e151", "nan", "inf", "1e-320", "4", "7", " ", ",", ";",  "\t", ", ",
      "\n", "\r\n", "#",    "x",    "+-",    "1e",  "\0",  "\xff",   "5", "6", "8", "9", "-0", ".",  "2"};
  std::mt19937_64 gen(99);
  std::uniform_int_distribution<std::size_t> pick(0, pieces.size() - 1);
  std::uniform_int_distribution<int> length(0, 120);
  for (int trial = 0; trial < 3000; ++trial) {
    std::string text;
    const int n = length(gen);
    for (int i = 0; i < n; ++i) text += pieces[pick(gen)];
    files["p.txt"] = text;
    const RunResult r = run({"--json", "p.txt"});
    ASSERT_TRUE(r.status == 0 || r.status == 1 || r.status == 2) << text;
    if (r.status != 0) {
      EXPECT_EQ(r.out, "");
      const std::size_t last = r.err.rfind("velmora-align: error: ");
      ASSERT_NE(last, std::string::npos) << r.err;
      EXPECT_EQ(r.err.find('\n', last), r.err.size() - 1) << r.err;
    }
  }
}

TEST_F(AppTest, StructuredRandomPairsNeverFailToRun) {
  // Rows of six numbers drawn from a few values, so that coincident, collinear and flat sets are
  // frequent: every run ends with 0 (and a proper result) or 1.
  const double values[] = {0.0, 1.0, -1.0, 2.0, 1e-9, 1e6};
  std::mt19937_64 gen(7);
  std::uniform_int_distribution<int> pick(0, 5);
  std::uniform_int_distribution<int> rows(3, 8);
  for (int trial = 0; trial < 3000; ++trial) {
    std::string text;
    const int n = rows(gen);
    for (int i = 0; i < n; ++i) {
      for (int c = 0; c < 6; ++c) text += std::to_string(values[pick(gen)]) + (c < 5 ? " " : "\n");
    }
    files["p.txt"] = text;
    const RunResult r = run({"--json", "p.txt"});
    ASSERT_TRUE(r.status == 0 || r.status == 1) << text << r.err;
    if (r.status == 0) {
      EXPECT_GE(
          valign::vertexSine(aligner.received.from[0], aligner.received.from[1], aligner.received.from[2]),
          valign::kMinLeadingSine);
      EXPECT_GE(valign::vertexSine(aligner.received.to[0], aligner.received.to[1], aligner.received.to[2]),
                valign::kMinLeadingSine);
    }
  }
}
