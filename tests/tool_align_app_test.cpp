// Whole runs of velmora-align with an in-memory file system: the closed-form fit of the library on
// every model and option, checked against independent least-squares solutions (Eigen); the Newton path
// with an independent alignment in place of the library's entry; exit statuses and messages.
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
#include "align/align_fit.h"
#include "align/align_order.h"
#include "tool/align_fixtures.h"

using valign::PointPairs;
using valign::Transform4;
using valign::Vec3;

namespace {

using vreference::eulerZyx;

const double kPi = 3.14159265358979323846;

struct RunResult {
  int status = -1;
  std::string out;
  std::string err;
};

// Stands in for the host entry: records what it received and answers with the SVD solution, or with
// `replacement` when set, or as told.
struct RecordingAligner {
  int calls = 0;
  PointPairs received;
  int answer = 1;
  bool poison = false;  // answer with a NaN in the matrix
  bool useReplacement = false;
  vtool::Motion replacement;
  int operator()(const PointPairs& pairs, Transform4& t, double& meanError) {
    ++calls;
    received = pairs;
    if (answer != 1) return answer;
    t = vtool::toTransform(useReplacement ? replacement : vtool::svdAlignment(pairs));
    if (poison) t.m[1][1] = std::nan("");
    meanError = 0.0;
    return 1;
  }
};

// The library's closed form as the tool calls it, recording what it received; or a canned result.
struct RecordingFitter {
  int calls = 0;
  PointPairs received;
  std::vector<double> weights;
  velmora::FitOptions options;
  bool canned = false;
  velmora::FitResult result;
  bool throwBadAlloc = false;
  velmora::FitResult operator()(const PointPairs& pairs, const std::vector<double>& w,
                                const velmora::FitOptions& o) {
    ++calls;
    received = pairs;
    weights = w;
    options = o;
    if (throwBadAlloc) throw std::bad_alloc();
    return canned ? result : valign::fitPairs(pairs, w, o);
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
        out, err,
        [this](const PointPairs& p, const std::vector<double>& w, const velmora::FitOptions& o) {
          return fitter(p, w, o);
        });
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
  RecordingFitter fitter;
};

std::string pairsText(const PointPairs& pairs, const std::vector<double>& weights = {}) {
  std::ostringstream s;
  s.precision(17);
  for (std::size_t k = 0; k < pairs.size(); ++k) {
    s << pairs.from[k].x << ' ' << pairs.from[k].y << ' ' << pairs.from[k].z << ' ' << pairs.to[k].x << ' '
      << pairs.to[k].y << ' ' << pairs.to[k].z;
    if (!weights.empty()) s << ' ' << weights[k];
    s << '\n';
  }
  return s.str();
}

std::string pointsText(const std::vector<Vec3>& points) {
  std::ostringstream s;
  s.precision(17);
  for (const Vec3& p : points) s << p.x << ',' << p.y << ',' << p.z << '\n';
  return s.str();
}

std::string weightsText(const std::vector<double>& weights) {
  std::ostringstream s;
  s.precision(17);
  s << "weight\n";
  for (double w : weights) s << w << '\n';
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

// The JSON string value of "key", or "<absent>".
std::string jsonText(const std::string& json, const std::string& key) {
  const std::size_t at = json.find("\"" + key + "\":\"");
  if (at == std::string::npos) return "<absent>";
  const std::size_t start = at + key.size() + 4;
  return json.substr(start, json.find('"', start) - start);
}

// The matrix of the JSON output as a motion (scale from the block's determinant).
vtool::Motion jsonMotion(const std::string& json) {
  const std::vector<double> m = jsonArray(json, "matrix");
  vtool::Motion motion{Eigen::Matrix3d::Zero(), Eigen::Vector3d::Zero()};
  if (m.size() != 16) {
    ADD_FAILURE() << "no matrix in " << json;
    return motion;
  }
  Eigen::Matrix3d a;
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 3; ++c) a(r, c) = m[4 * r + c];
    motion.translation(r) = m[4 * r + 3];
  }
  motion.scale = std::cbrt(std::fabs(a.determinant()));
  motion.rotation = a / motion.scale;
  return motion;
}

// Largest difference between the blocks and the translations of two motions.
double motionDifference(const vtool::Motion& a, const vtool::Motion& b) {
  return std::max((a.block() - b.block()).cwiseAbs().maxCoeff(),
                  (a.translation - b.translation).cwiseAbs().maxCoeff());
}

// Random pairs under the sample motion whose first three points are collinear.
PointPairs badlyStartedPairs(std::size_t n, double sigma) {
  std::vector<Vec3> points = vtool::randomPoints(n, 25.0, {100.0, 50.0, -20.0}, 21);
  points[0] = {0, 0, 0};
  points[1] = {1, 1, 1};
  points[2] = {2, 2, 2};
  return vtool::movedPairs(points, vtool::sampleMotion(), sigma, 22);
}

PointPairs pairsUnder(const vtool::Motion& motion, std::size_t n, double sigma, unsigned seed) {
  return vtool::movedPairs(vtool::randomPoints(n, 40.0, {150.0, -60.0, 25.0}, seed), motion, sigma, seed + 7);
}

void expectMatrixIsMotion(const std::vector<double>& m, const vtool::Motion& motion, double tolerance) {
  ASSERT_EQ(m.size(), 16u);
  const Eigen::Matrix3d a = motion.block();
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 3; ++c) EXPECT_NEAR(m[4 * r + c], a(r, c), tolerance);
    EXPECT_NEAR(m[4 * r + 3], motion.translation(r), tolerance * (1.0 + std::fabs(motion.translation(r))));
  }
  EXPECT_EQ(m[12], 0.0);
  EXPECT_EQ(m[13], 0.0);
  EXPECT_EQ(m[14], 0.0);
  EXPECT_EQ(m[15], 1.0);
}

bool samePairs(const PointPairs& a, const PointPairs& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t k = 0; k < a.size(); ++k) {
    const Vec3 p[4] = {a.from[k], b.from[k], a.to[k], b.to[k]};
    if (p[0].x != p[1].x || p[0].y != p[1].y || p[0].z != p[1].z || p[2].x != p[3].x || p[2].y != p[3].y ||
        p[2].z != p[3].z)
      return false;
  }
  return true;
}

// Every form of the JSON output rebuilt from its convention and compared with the matrix.
void expectFormsMatchTheMatrix(const std::string& json) {
  const vtool::Motion motion = jsonMotion(json);
  const double det = motion.rotation.determinant() < 0 ? -1.0 : 1.0;
  EXPECT_NEAR(jsonValue(json, "scale"), motion.scale, 1e-12 * motion.scale);
  EXPECT_EQ(jsonValue(json, "det"), det);
  const Eigen::Matrix3d p = det * motion.rotation;  // the proper rotation the angles describe
  const std::vector<double> q = jsonArray(json, "quaternion");
  ASSERT_EQ(q.size(), 4u);
  EXPECT_GE(q[0], 0.0);
  const Eigen::Quaterniond quat(q[0], q[1], q[2], q[3]);
  EXPECT_NEAR(quat.norm(), 1.0, 1e-12);
  EXPECT_LT((quat.toRotationMatrix() - p).cwiseAbs().maxCoeff(), 1e-12) << json;
  const std::vector<double> v = jsonArray(json, "rotvec");
  ASSERT_EQ(v.size(), 3u);
  const Eigen::Vector3d rv(v[0], v[1], v[2]);
  EXPECT_LE(rv.norm(), kPi + 1e-12);
  const Eigen::Matrix3d fromVector = rv.norm() == 0.0
                                         ? Eigen::Matrix3d::Identity()
                                         : Eigen::AngleAxisd(rv.norm(), rv.normalized()).toRotationMatrix();
  EXPECT_LT((fromVector - p).cwiseAbs().maxCoeff(), 1e-12) << json;
  const std::vector<double> e = jsonArray(json, "euler_zyx_deg");
  ASSERT_EQ(e.size(), 3u);
  EXPECT_LE(std::fabs(e[1]), 90.0);
  EXPECT_LT((eulerZyx(e[0], e[1], e[2]) - p).cwiseAbs().maxCoeff(), 1e-10) << json;
  const std::vector<double> inv = jsonArray(json, "inverse");
  ASSERT_EQ(inv.size(), 16u);
  Eigen::Matrix4d m = Eigen::Matrix4d::Identity(), mi;
  m.block<3, 3>(0, 0) = motion.block();
  m.block<3, 1>(0, 3) = motion.translation;
  for (int i = 0; i < 16; ++i) mi(i / 4, i % 4) = inv[static_cast<std::size_t>(i)];
  const Eigen::Matrix4d product = mi * m;
  const double size = 1.0 + motion.translation.cwiseAbs().maxCoeff();
  EXPECT_LT((product - Eigen::Matrix4d::Identity()).cwiseAbs().maxCoeff(), 1e-12 * size) << json;
}

}  // namespace

// ---- the closed form --------------------------------------------------------------------------------

TEST_F(AppTest, RecoversTheKnownMotionAsJson) {
  files["p.txt"] = pairsText(badlyStartedPairs(30, 0.0));
  const RunResult r = run({"--json", "p.txt"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.out.rfind("{\"status\":\"ok\",\"pairs\":30,\"matrix\":[[", 0), 0u) << r.out;
  expectMatrixIsMotion(jsonArray(r.out, "matrix"), vtool::sampleMotion(), 1e-12);
  EXPECT_EQ(jsonText(r.out, "model"), "rigid");
  EXPECT_EQ(jsonValue(r.out, "scale"), 1.0);
  EXPECT_EQ(jsonValue(r.out, "det"), 1.0);
  EXPECT_LT(jsonValue(r.out, "max"), 1e-11);
  EXPECT_EQ(r.out.find("\"residuals\""), std::string::npos);
  EXPECT_EQ(r.out.find("\"weight_sum\""), std::string::npos);
  EXPECT_EQ(fitter.calls, 1);
  EXPECT_EQ(aligner.calls, 0);
}

TEST_F(AppTest, JsonKeysComeInTheirOrder) {
  files["p.txt"] = pairsText(badlyStartedPairs(10, 0.01));
  const RunResult r = run({"--json", "--residuals", "--proj", "--ros", "a", "b", "p.txt"});
  ASSERT_EQ(r.status, 0) << r.err;
  std::size_t last = 0;
  for (const char* key :
       {"\"status\":",       "\"pairs\":",      "\"matrix\":", "\"model\":",         "\"scale\":",
        "\"det\":",          "\"quaternion\":", "\"rotvec\":", "\"euler_zyx_deg\":", "\"inverse\":",
        "\"error\":",        "\"mean\":",       "\"rms\":",    "\"max\":",           "\"min\":",
        "\"conditioning\":", "\"from\":",       "\"to\":",     "\"residuals\":",     "\"proj\":",
        "\"ros\":"}) {
    const std::size_t at = r.out.find(key);
    ASSERT_NE(at, std::string::npos) << key;
    EXPECT_GT(at, last) << key;
    last = at;
  }
}

TEST_F(AppTest, TheClosedFormReceivesThePairsAsReadInInputOrder) {
  // Collinear first pairs and coordinates far below 2^-100: neither reordered nor rescaled.
  PointPairs pairs = badlyStartedPairs(12, 0.01);
  for (std::vector<Vec3>* set : {&pairs.from, &pairs.to})
    for (Vec3& p : *set) p = {p.x * 1e-200, p.y * 1e-200, p.z * 1e-200};
  files["p.txt"] = pairsText(pairs);
  ASSERT_EQ(run({"p.txt"}).status, 0);
  EXPECT_TRUE(samePairs(fitter.received, pairs));
  EXPECT_TRUE(fitter.weights.empty());
  EXPECT_EQ(fitter.options.model, velmora::Model::rigid);
  EXPECT_FALSE(fitter.options.allowReflection);
  EXPECT_TRUE(fitter.options.statistics);
  EXPECT_FALSE(fitter.options.perPair);
  ASSERT_EQ(run({"--residuals", "p.txt"}).status, 0);
  EXPECT_TRUE(fitter.options.perPair);
}

TEST_F(AppTest, NoisyPairsGiveTheLeastSquaresOptimum) {
  for (unsigned seed = 1; seed <= 20; ++seed) {
    const PointPairs pairs = pairsUnder(vtool::sampleMotion(), 5 + seed % 30, 2.0, seed);
    files["p.txt"] = pairsText(pairs);
    const RunResult r = run({"--json", "p.txt"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_LT(motionDifference(jsonMotion(r.out), vtool::referenceFit(pairs, {}, "rigid")), 1e-9) << seed;
  }
}

TEST_F(AppTest, OutliersAndSmallNoisySetsGiveTheGlobalOptimum) {
  // Where a local iteration can stop at another stationary point: a few gross mismatches, and three to
  // five pairs whose noise is as large as their spread.
  std::mt19937_64 gen(77);
  std::uniform_real_distribution<double> off(-80.0, 80.0);
  for (unsigned seed = 1; seed <= 30; ++seed) {
    PointPairs pairs =
        pairsUnder(vtool::sampleMotion(), seed <= 15 ? 25 : 3 + seed % 3, seed <= 15 ? 0.5 : 30.0, seed);
    if (seed <= 15)
      for (std::size_t k = 0; k < 5; ++k)
        pairs.to[k] = {pairs.to[k].x + off(gen), pairs.to[k].y + off(gen), pairs.to[k].z + off(gen)};
    files["p.txt"] = pairsText(pairs);
    const RunResult r = run({"--json", "p.txt"});
    ASSERT_EQ(r.status, 0) << r.err;
    const vtool::Motion best = vtool::referenceFit(pairs, {}, "rigid");
    const double rms = vtool::weightedRms(pairs, {}, jsonMotion(r.out));
    EXPECT_LE(rms, vtool::weightedRms(pairs, {}, best) * (1.0 + 1e-9)) << seed;
    EXPECT_NEAR(jsonValue(r.out, "rms"), rms, 1e-9 * rms) << seed;
  }
}

TEST_F(AppTest, TheFormsOfTheMotionFollowTheirConventions) {
  for (unsigned seed = 1; seed <= 10; ++seed) {
    std::mt19937_64 gen(seed);
    std::uniform_real_distribution<double> u(-1.0, 1.0);
    const vtool::Motion motion = vtool::makeMotion(Eigen::Vector3d(u(gen), u(gen), u(gen)), 3.1 * u(gen),
                                                   Eigen::Vector3d(u(gen), 5, -3));
    files["p.txt"] = pairsText(pairsUnder(motion, 20, 0.0, seed));
    const RunResult r = run({"--json", "p.txt"});
    ASSERT_EQ(r.status, 0) << r.err;
    expectMatrixIsMotion(jsonArray(r.out, "matrix"), motion, 1e-11);
    expectFormsMatchTheMatrix(r.out);
  }
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
  // The statistics are those of the reported residuals, which are those of the printed matrix.
  const vtool::Motion printed = jsonMotion(r.out);
  double sum = 0.0, squares = 0.0, largest = 0.0, smallest = 1e300;
  for (std::size_t k = 0; k < d.size(); ++k) {
    EXPECT_NEAR(d[k], (vtool::toEigen(pairs.to[k]) - vtool::toEigen(printed.apply(pairs.from[k]))).norm(),
                1e-12);
    sum += d[k];
    squares += d[k] * d[k];
    largest = std::max(largest, d[k]);
    smallest = std::min(smallest, d[k]);
  }
  EXPECT_NEAR(jsonValue(r.out, "mean"), sum / 20.0, 1e-15);
  EXPECT_NEAR(jsonValue(r.out, "rms"), std::sqrt(squares / 20.0), 1e-15);
  EXPECT_NEAR(jsonValue(r.out, "max"), largest, 1e-15);
  EXPECT_NEAR(jsonValue(r.out, "min"), smallest, 1e-15);
}

TEST_F(AppTest, ReadableOutputByDefault) {
  files["p.txt"] = pairsText(badlyStartedPairs(12, 0.0));
  const RunResult r = run({"p.txt"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out.rfind("pairs: 12\nmatrix (row-major, translation in the last column):\n", 0), 0u) << r.out;
  for (const char* label : {"\nmodel: rigid\n", "\nscale: 1\n", "\ndet: 1\n", "\nquaternion (w, x, y, z): ",
                            "\nrotation vector (radians): ", "\neuler zyx (yaw, pitch, roll; degrees): ",
                            "\ninverse (row-major):\n", "\nerror:\n  mean: ", "\nconditioning:\n  from: "})
    EXPECT_NE(r.out.find(label), std::string::npos) << label;
  EXPECT_EQ(r.out.find("residuals:"), std::string::npos);
  EXPECT_EQ(r.out.find("weight sum:"), std::string::npos);
  EXPECT_NE(run({"--residuals", "p.txt"}).out.find("residuals:\n  1: "), std::string::npos);
}

TEST_F(AppTest, TheReadableFormsAreThoseOfTheJson) {
  files["p.txt"] = pairsText(badlyStartedPairs(12, 0.3));
  const RunResult json = run({"--json", "p.txt"});
  const RunResult text = run({"p.txt"});
  ASSERT_EQ(json.status, 0);
  ASSERT_EQ(text.status, 0);
  const auto line = [&text](const std::string& label) {
    const std::size_t at = text.out.find("\n" + label);
    EXPECT_NE(at, std::string::npos) << label;
    std::istringstream in(text.out.substr(at + label.size() + 1));
    std::vector<double> v;
    double x;
    while (in.peek() != '\n' && in >> x) v.push_back(x);
    return v;
  };
  EXPECT_EQ(line("quaternion (w, x, y, z): "), jsonArray(json.out, "quaternion"));
  EXPECT_EQ(line("rotation vector (radians): "), jsonArray(json.out, "rotvec"));
  EXPECT_EQ(line("euler zyx (yaw, pitch, roll; degrees): "), jsonArray(json.out, "euler_zyx_deg"));
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

TEST_F(AppTest, TinyAndHugeCoordinatesAreFittedAsRead) {
  for (double s : {1e-200, 1e140}) {
    std::vector<Vec3> points = vtool::randomPoints(10, 1.0, {0.5, 0.2, 0.1}, 5);
    for (Vec3& p : points) p = {p.x * s, p.y * s, p.z * s};
    vtool::Motion motion = vtool::sampleMotion();
    motion.translation *= s;
    const PointPairs pairs = vtool::movedPairs(points, motion, 0.0, 1);
    files["p.txt"] = pairsText(pairs);
    const RunResult r = run({"--json", "--residuals", "p.txt"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(samePairs(fitter.received, pairs)) << s;
    const std::vector<double> m = jsonArray(r.out, "matrix");
    ASSERT_EQ(m.size(), 16u);
    for (int row = 0; row < 3; ++row) {
      for (int c = 0; c < 3; ++c) EXPECT_NEAR(m[4 * row + c], motion.rotation(row, c), 1e-12);
      EXPECT_NEAR(m[4 * row + 3] / s, motion.translation(row) / s, 1e-10);
    }
    for (double d : jsonArray(r.out, "residuals")) EXPECT_LT(d, 1e-12 * s);
    EXPECT_LT(jsonValue(r.out, "max"), 1e-11 * s);
  }
}

TEST_F(AppTest, FlatSetsWarnButSucceed) {
  std::vector<Vec3> points = vtool::randomPoints(10, 5.0, {0, 0, 0}, 8);
  for (Vec3& p : points) p.z = 1.0;
  files["p.txt"] = pairsText(vtool::movedPairs(points, vtool::sampleMotion(), 0.0, 1));
  for (const char* method : {"closed-form", "newton"}) {
    const RunResult r = run({"--json", "--method", method, "p.txt"});
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
}

TEST_F(AppTest, EveryLineOfTheFitsWarningIsPrinted) {
  files["p.txt"] = pairsText(badlyStartedPairs(10, 0.0));
  fitter.canned = true;
  fitter.result = valign::fitPairs(badlyStartedPairs(10, 0.0), {}, velmora::FitOptions());
  fitter.result.warning = "first thing\nsecond thing\n";
  const RunResult r = run({"p.txt"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, "velmora-align: warning: first thing\nvelmora-align: warning: second thing\n");
}

TEST_F(AppTest, SetsTooThinForTheEntryAreFittedByTheClosedForm) {
  // Within 3e-4 of a line 30 long: no starting triangle good enough for the entry (angle sines below
  // 1e-4), but the optimum is well defined.
  PointPairs pairs;
  pairs.from = {{0, 0, 0}, {10, 0, 0}, {20, 3e-4, 0}, {30, 0, 3e-4}};
  pairs.to = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
  files["p.txt"] = pairsText(pairs);
  const RunResult r = run({"--json", "p.txt"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err.rfind("velmora-align: warning: the points to move are close to a plane or a line", 0), 0u)
      << r.err;
  EXPECT_LE(vtool::weightedRms(pairs, {}, jsonMotion(r.out)),
            vtool::weightedRms(pairs, {}, vtool::referenceFit(pairs, {}, "rigid")) * (1.0 + 1e-9));
  EXPECT_EQ(aligner.calls, 0);
  const RunResult newton = run({"--method", "newton", "p.txt"});
  EXPECT_EQ(newton.status, 1);
  EXPECT_EQ(newton.err.rfind("velmora-align: error: the points to move lie too close to a line", 0), 0u)
      << newton.err;
}

// ---- models -------------------------------------------------------------------------------------------

TEST_F(AppTest, SimilarityRecoversTheScale) {
  vtool::Motion motion = vtool::sampleMotion();
  motion.scale = 1.75;
  files["p.txt"] = pairsText(pairsUnder(motion, 20, 0.0, 3));
  const RunResult r = run({"--json", "--model", "similarity", "p.txt"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(fitter.options.model, velmora::Model::similarity);
  EXPECT_EQ(jsonText(r.out, "model"), "similarity");
  EXPECT_NEAR(jsonValue(r.out, "scale"), 1.75, 1e-12);
  expectMatrixIsMotion(jsonArray(r.out, "matrix"), motion, 1e-11);
  expectFormsMatchTheMatrix(r.out);
}

TEST_F(AppTest, NoisySimilarityIsTheLeastSquaresOptimum) {
  vtool::Motion motion = vtool::sampleMotion();
  motion.scale = 0.6;
  const PointPairs pairs = pairsUnder(motion, 30, 1.5, 4);
  files["p.txt"] = pairsText(pairs);
  const RunResult r = run({"--json", "--model=similarity", "p.txt"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_LT(motionDifference(jsonMotion(r.out), vtool::referenceFit(pairs, {}, "similarity")), 1e-9);
}

TEST_F(AppTest, TranslationKeepsTheOrientation) {
  const vtool::Motion rotated = vtool::sampleMotion();
  const PointPairs pairs = pairsUnder(rotated, 25, 0.5, 5);
  files["p.txt"] = pairsText(pairs);
  const RunResult r = run({"--json", "--model", "translation", "p.txt"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(jsonText(r.out, "model"), "translation");
  const vtool::Motion best = vtool::referenceFit(pairs, {}, "translation");
  expectMatrixIsMotion(jsonArray(r.out, "matrix"), best, 1e-9);
  EXPECT_EQ(jsonArray(r.out, "quaternion"), std::vector<double>({1, 0, 0, 0}));
  expectFormsMatchTheMatrix(r.out);
}

TEST_F(AppTest, AxisRotatesAboutTheGivenDirection) {
  const Eigen::Vector3d axis(1.0, -2.0, 3.0);
  const vtool::Motion motion = vtool::makeMotion(axis, 1.2, Eigen::Vector3d(4, 5, 6));
  files["p.txt"] = pairsText(pairsUnder(motion, 20, 0.0, 6));
  const RunResult r = run({"--json", "--model", "axis", "--axis", "1,-2,3", "p.txt"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(jsonText(r.out, "model"), "axis");
  expectMatrixIsMotion(jsonArray(r.out, "matrix"), motion, 1e-11);
  const std::vector<double> v = jsonArray(r.out, "rotvec");
  ASSERT_EQ(v.size(), 3u);
  EXPECT_LT((Eigen::Vector3d(v[0], v[1], v[2]) - 1.2 * axis.normalized()).norm(), 1e-11);
  expectFormsMatchTheMatrix(r.out);
}

TEST_F(AppTest, NoisyAxisFitIsTheLeastSquaresOptimum) {
  for (const char* given : {"0,0,1", "0.3,0.4,-1"}) {
    Eigen::Vector3d axis;
    std::istringstream(std::string(given) == "0,0,1" ? "0 0 1" : "0.3 0.4 -1") >> axis.x() >> axis.y() >>
        axis.z();
    const PointPairs pairs = pairsUnder(vtool::makeMotion(axis, -2.5, Eigen::Vector3d(1, 2, 3)), 30, 1.0, 9);
    files["p.txt"] = pairsText(pairs);
    std::vector<const char*> args = {"--json", "--model", "axis", "p.txt"};
    if (std::string(given) != "0,0,1") args = {"--json", "--model", "axis", "--axis", given, "p.txt"};
    const RunResult r = run(args);
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_LT(motionDifference(jsonMotion(r.out), vtool::referenceFit(pairs, {}, "axis", axis)), 1e-9)
        << given;
  }
}

TEST_F(AppTest, TheAxisReachesTheFitAsADirection) {
  files["p.txt"] = pairsText(pairsUnder(vtool::sampleMotion(), 10, 0.1, 10));
  ASSERT_EQ(run({"--model", "axis", "--axis", "3e-300,-4e-300,0", "p.txt"}).status, 0);
  const double* a = fitter.options.axis;
  // Parallel to the given direction (an exact power-of-two rescaling), largest component in [0.5, 1).
  EXPECT_EQ(a[0] / a[1], 3.0 / -4.0);
  EXPECT_EQ(a[2], 0.0);
  EXPECT_GE(std::fabs(a[1]), 0.5);
  EXPECT_LT(std::fabs(a[1]), 1.0);
  ASSERT_EQ(run({"--model", "axis", "p.txt"}).status, 0);
  EXPECT_EQ(fitter.options.axis[2] / fitter.options.axis[2], 1.0);
  EXPECT_EQ(fitter.options.axis[0], 0.0);
  EXPECT_EQ(fitter.options.axis[1], 0.0);
}

TEST_F(AppTest, EachModelTakesItsFewestPairs) {
  files["one"] = "1 2 3 11 -2 3.5\n";
  files["two"] = "0 0 0 1 1 1\n1 0 0 2 1 1\n";
  RunResult r = run({"--json", "--model", "translation", "one"});
  ASSERT_EQ(r.status, 0) << r.err;
  expectMatrixIsMotion(jsonArray(r.out, "matrix"),
                       {Eigen::Matrix3d::Identity(), Eigen::Vector3d(10, -4, 0.5)}, 1e-15);
  r = run({"--json", "--model", "axis", "two"});
  ASSERT_EQ(r.status, 0) << r.err;
  expectMatrixIsMotion(jsonArray(r.out, "matrix"), {Eigen::Matrix3d::Identity(), Eigen::Vector3d(1, 1, 1)},
                       1e-15);
  expectFailure(run({"--model", "axis", "one"}), 2, "one: 1 pair found, at least 2 are needed");
  expectFailure(run({"--model", "similarity", "two"}), 2, "two: 2 pairs found, at least 3 are needed");
  expectFailure(run({"two"}), 2, "two: 2 pairs found, at least 3 are needed");
  files["none"] = "# nothing\n";
  expectFailure(run({"--model", "translation", "none"}), 2, "none: 0 pairs found, at least 1 is needed");
}

TEST_F(AppTest, BadModelOrAxisIsBadInput) {
  files["p.txt"] = pairsText(badlyStartedPairs(10, 0.0));
  expectFailure(run({"--model", "affine", "p.txt"}), 2,
                "unknown model 'affine' (rigid, similarity, translation or axis)");
  expectFailure(run({"--model", "axis", "--axis", "0,0,0", "p.txt"}), 2,
                "option --axis: '0,0,0' is a zero vector, which gives no direction");
  expectFailure(run({"--axis", "1,0,0", "p.txt"}), 2, "--axis needs --model axis");
  EXPECT_EQ(fitter.calls, 0);
}

// ---- reflections ----------------------------------------------------------------------------------------

TEST_F(AppTest, AMirroredSetGivesDetMinusOneOnlyWhenAllowed) {
  vtool::Motion mirror = vtool::sampleMotion();
  mirror.rotation = mirror.rotation * Eigen::Vector3d(1, 1, -1).asDiagonal();
  const PointPairs pairs = pairsUnder(mirror, 25, 0.0, 11);
  files["p.txt"] = pairsText(pairs);
  RunResult r = run({"--json", "p.txt"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(jsonValue(r.out, "det"), 1.0);
  EXPECT_GT(jsonMotion(r.out).rotation.determinant(), 0.0);
  EXPECT_LT(motionDifference(jsonMotion(r.out), vtool::referenceFit(pairs, {}, "rigid")), 1e-9);
  r = run({"--json", "--allow-reflection", "p.txt"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(fitter.options.allowReflection);
  EXPECT_EQ(jsonValue(r.out, "det"), -1.0);
  expectMatrixIsMotion(jsonArray(r.out, "matrix"), mirror, 1e-11);
  expectFormsMatchTheMatrix(r.out);
}

TEST_F(AppTest, AllowingReflectionsKeepsAProperMotionWhenItFitsBetter) {
  const PointPairs pairs = pairsUnder(vtool::sampleMotion(), 25, 0.5, 12);
  files["p.txt"] = pairsText(pairs);
  const RunResult r = run({"--json", "--allow-reflection", "p.txt"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(jsonValue(r.out, "det"), 1.0);
  EXPECT_LT(motionDifference(jsonMotion(r.out), vtool::referenceFit(pairs, {}, "rigid")), 1e-9);
}

TEST_F(AppTest, MirroredSimilarityWithReflections) {
  vtool::Motion mirror = vtool::sampleMotion();
  mirror.rotation = -mirror.rotation;
  mirror.scale = 2.5;
  const PointPairs pairs = pairsUnder(mirror, 25, 0.2, 13);
  files["p.txt"] = pairsText(pairs);
  const RunResult r = run({"--json", "--model", "similarity", "--allow-reflection", "p.txt"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(jsonValue(r.out, "det"), -1.0);
  EXPECT_LT(motionDifference(jsonMotion(r.out),
                             vtool::referenceFit(pairs, {}, "similarity", Eigen::Vector3d::UnitZ(), true)),
            1e-9);
}

// ---- weights ----------------------------------------------------------------------------------------------

TEST_F(AppTest, AWeightsFileWeightsTheFit) {
  const PointPairs pairs = pairsUnder(vtool::sampleMotion(), 30, 1.0, 14);
  std::vector<double> weights(30);
  for (std::size_t k = 0; k < 30; ++k) weights[k] = 0.1 + static_cast<double>((k * 7) % 10);
  files["p.txt"] = pairsText(pairs);
  files["w.txt"] = weightsText(weights);
  const RunResult r = run({"--json", "--weights", "w.txt", "p.txt"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(fitter.weights, weights);
  const vtool::Motion best = vtool::referenceFit(pairs, weights, "rigid");
  EXPECT_LT(motionDifference(jsonMotion(r.out), best), 1e-9);
  EXPECT_GT(motionDifference(jsonMotion(r.out), vtool::referenceFit(pairs, {}, "rigid")), 1e-6);
  double sum = 0.0;
  for (double w : weights) sum += w;
  EXPECT_NEAR(jsonValue(r.out, "weight_sum"), sum, 1e-12 * sum);
  EXPECT_NEAR(jsonValue(r.out, "rms"), vtool::weightedRms(pairs, weights, jsonMotion(r.out)), 1e-12);
}

TEST_F(AppTest, ASeventhColumnIsTheSameAsAWeightsFile) {
  const PointPairs pairs = pairsUnder(vtool::sampleMotion(), 20, 1.0, 15);
  std::vector<double> weights(20);
  for (std::size_t k = 0; k < 20; ++k) weights[k] = 0.5 + static_cast<double>(k % 3);
  files["p6.txt"] = pairsText(pairs);
  files["w.txt"] = weightsText(weights);
  files["p7.txt"] = "x y z X Y Z w\n" + pairsText(pairs, weights);
  const RunResult a = run({"--json", "--residuals", "--weights", "w.txt", "p6.txt"});
  const RunResult b = run({"--json", "--residuals", "p7.txt"});
  ASSERT_EQ(a.status, 0) << a.err;
  ASSERT_EQ(b.status, 0) << b.err;
  EXPECT_EQ(fitter.weights, weights);
  EXPECT_EQ(a.out, b.out);
}

TEST_F(AppTest, ZeroWeightsEqualRemovingThosePairs) {
  PointPairs pairs = pairsUnder(vtool::sampleMotion(), 24, 0.3, 16);
  std::vector<double> weights(24, 1.0);
  PointPairs kept;
  for (std::size_t k = 0; k < 24; ++k) {
    if (k % 4 == 1) {
      weights[k] = 0.0;
      pairs.to[k] = {pairs.to[k].x + 500.0, pairs.to[k].y - 300.0, pairs.to[k].z};  // gross, but weightless
    } else {
      kept.from.push_back(pairs.from[k]);
      kept.to.push_back(pairs.to[k]);
    }
  }
  files["p.txt"] = pairsText(pairs, weights);
  files["kept.txt"] = pairsText(kept);
  const RunResult w = run({"--json", "--residuals", "p.txt"});
  const RunResult k = run({"--json", "kept.txt"});
  ASSERT_EQ(w.status, 0) << w.err;
  ASSERT_EQ(k.status, 0) << k.err;
  EXPECT_LT(motionDifference(jsonMotion(w.out), jsonMotion(k.out)), 1e-10);
  for (const char* key : {"mean", "rms", "max", "min"})
    EXPECT_NEAR(jsonValue(w.out, key), jsonValue(k.out, key), 1e-10) << key;
  EXPECT_EQ(jsonValue(w.out, "pairs"), 24.0);  // the pairs read
  EXPECT_EQ(jsonValue(w.out, "weight_sum"), 18.0);
  // The residuals of the weightless pairs are still given, in input order.
  const std::vector<double> d = jsonArray(w.out, "residuals");
  ASSERT_EQ(d.size(), 24u);
  EXPECT_GT(d[1], 100.0);
  EXPECT_LT(d[2], 10.0);
}

TEST_F(AppTest, ScalingTheWeightsChangesNothingButTheirSum) {
  const PointPairs pairs = pairsUnder(vtool::sampleMotion(), 20, 1.0, 17);
  std::vector<double> weights(20), scaled(20);
  for (std::size_t k = 0; k < 20; ++k) {
    weights[k] = 1.0 + static_cast<double>(k % 5);
    scaled[k] = weights[k] * 1e-5;
  }
  files["p.txt"] = pairsText(pairs);
  files["w.txt"] = weightsText(weights);
  files["s.txt"] = weightsText(scaled);
  const RunResult a = run({"--json", "--weights", "w.txt", "p.txt"});
  const RunResult b = run({"--json", "--weights", "s.txt", "p.txt"});
  ASSERT_EQ(a.status, 0);
  ASSERT_EQ(b.status, 0);
  EXPECT_LT(motionDifference(jsonMotion(a.out), jsonMotion(b.out)), 1e-12);
  for (const char* key : {"mean", "rms", "max", "min"})
    EXPECT_NEAR(jsonValue(a.out, key), jsonValue(b.out, key), 1e-12) << key;
  EXPECT_NEAR(jsonValue(b.out, "weight_sum"), 60.0e-5, 1e-17);
}

TEST_F(AppTest, TinyWeightsReachTheFitScaledAndTheirSumIsReportedAsGiven) {
  const PointPairs pairs = pairsUnder(vtool::sampleMotion(), 10, 1.0, 18);
  std::vector<double> weights(10, 3e-310);  // subnormal
  weights[0] = 6e-310;
  files["p.txt"] = pairsText(pairs);
  files["w.txt"] = weightsText(weights);
  const RunResult r = run({"--json", "--weights", "w.txt", "p.txt"});
  ASSERT_EQ(r.status, 0) << r.err;
  ASSERT_EQ(fitter.weights.size(), 10u);
  EXPECT_GE(fitter.weights[0], 0.5);
  EXPECT_LT(fitter.weights[0], 1.0);
  EXPECT_EQ(fitter.weights[1] * 2.0, fitter.weights[0]);
  std::vector<double> relative(10, 1.0);
  relative[0] = 2.0;
  EXPECT_LT(motionDifference(jsonMotion(r.out), vtool::referenceFit(pairs, relative, "rigid")), 1e-9);
  EXPECT_NEAR(jsonValue(r.out, "weight_sum") / 33e-310, 1.0, 1e-3);  // a subnormal keeps few digits
}

TEST_F(AppTest, WeightedStatisticsFollowTheirDefinitions) {
  const PointPairs pairs = pairsUnder(vtool::sampleMotion(), 12, 2.0, 19);
  const std::vector<double> weights = {1, 2, 0, 4, 1, 0.5, 3, 1, 0, 2, 1, 1};
  files["p.txt"] = pairsText(pairs, weights);
  const RunResult r = run({"--json", "--residuals", "p.txt"});
  ASSERT_EQ(r.status, 0) << r.err;
  const vtool::Motion printed = jsonMotion(r.out);
  double wsum = 0, wsq = 0, sum = 0, largest = 0, smallest = 1e300, used = 0;
  for (std::size_t k = 0; k < 12; ++k) {
    const double d = (vtool::toEigen(pairs.to[k]) - vtool::toEigen(printed.apply(pairs.from[k]))).norm();
    wsum += weights[k];
    wsq += weights[k] * d * d;
    if (weights[k] == 0.0) continue;
    ++used;
    sum += d;
    largest = std::max(largest, d);
    smallest = std::min(smallest, d);
  }
  EXPECT_NEAR(jsonValue(r.out, "rms"), std::sqrt(wsq / wsum), 1e-12);
  EXPECT_NEAR(jsonValue(r.out, "mean"), sum / used, 1e-12);
  EXPECT_NEAR(jsonValue(r.out, "max"), largest, 1e-12);
  EXPECT_NEAR(jsonValue(r.out, "min"), smallest, 1e-12);
  EXPECT_EQ(jsonValue(r.out, "weight_sum"), 16.5);
  EXPECT_NE(run({"p.txt"}).out.find("\nweight sum: 16.5\n"), std::string::npos);
}

TEST_F(AppTest, WeightsWorkWithFromAndTo) {
  const PointPairs pairs = pairsUnder(vtool::sampleMotion(), 15, 1.0, 20);
  std::vector<double> weights(15);
  for (std::size_t k = 0; k < 15; ++k) weights[k] = static_cast<double>(k % 4);
  files["a"] = pointsText(pairs.from);
  files["b"] = pointsText(pairs.to);
  files["w"] = weightsText(weights);
  const RunResult r = run({"--json", "--from", "a", "--to", "b", "--weights", "w"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_LT(motionDifference(jsonMotion(r.out), vtool::referenceFit(pairs, weights, "rigid")), 1e-9);
}

TEST_F(AppTest, BadWeightsAreBadInputNamingFileAndLine) {
  files["p.txt"] = pairsText(badlyStartedPairs(4, 0.0));
  files["neg"] = "weight\n1\n-1\n1\n1\n";
  expectFailure(run({"--weights", "neg", "p.txt"}), 2, "neg:3: weight '-1' is negative");
  files["nan"] = "1\n1\n1\nNaN\n";
  expectFailure(run({"--weights", "nan", "p.txt"}), 2, "nan:4: weight 'NaN' is not a finite number");
  files["inf"] = "inf\n1\n1\n1\n";
  expectFailure(run({"--weights", "inf", "p.txt"}), 2, "inf:1: weight 'inf' is not a finite number");
  files["many"] = "1\n1\n1\n1\n1\n";
  expectFailure(run({"--weights", "many", "p.txt"}), 2,
                "many:5: weight number 5, but there are 4 pairs (one weight a pair, in pair order)");
  files["few"] = "1\n1\n1\n";
  expectFailure(run({"--weights", "few", "p.txt"}), 2,
                "few:3: the weights end after 3, but there are 4 pairs (one weight a pair, in pair order)");
  files["zero"] = "0\n1\n0\n1\n";
  expectFailure(run({"--weights", "zero", "p.txt"}), 2,
                "zero: 2 pairs have a non-zero weight, at least 3 are needed");
  expectFailure(run({"--weights", "missing", "p.txt"}), 2, "cannot open missing: No such file or directory");
  EXPECT_EQ(fitter.calls, 0);
}

TEST_F(AppTest, BadWeightColumnsAreBadInputNamingFileAndLine) {
  files["neg.txt"] = "0 0 0 1 1 1 1\n1 0 0 2 1 1 -0.5\n0 1 0 1 2 1 1\n";
  expectFailure(run({"neg.txt"}), 2, "neg.txt:2: weight '-0.5' is negative");
  files["mixed.txt"] = "0 0 0 1 1 1 1\n1 0 0 2 1 1\n0 1 0 1 2 1 1\n";
  expectFailure(
      run({"mixed.txt"}), 2,
      "mixed.txt:2: 6 numbers, but line 1 has 7: give the weight (a 7th number) on every line or on none");
  files["w7.txt"] = "0 0 0 1 1 1 1\n1 0 0 2 1 1 1\n0 1 0 1 2 1 1\n";
  files["w"] = "1\n1\n1\n";
  expectFailure(run({"--weights", "w", "w7.txt"}), 2,
                "w7.txt has a weight column and --weights w gives weights too: give one or the other");
  files["zero7.txt"] = "0 0 0 1 1 1 0\n1 0 0 2 1 1 1\n0 1 0 1 2 1 0\n";
  expectFailure(run({"--model", "axis", "zero7.txt"}), 2,
                "zero7.txt: 1 pair has a non-zero weight, at least 2 are needed");
  EXPECT_EQ(fitter.calls, 0);
}

// ---- exports ----------------------------------------------------------------------------------------------

TEST_F(AppTest, TheProjLineRebuildsTheMatrix) {
  vtool::Motion motion = vtool::sampleMotion();
  motion.scale = 1.0 + 25e-6;
  files["p.txt"] = pairsText(pairsUnder(motion, 20, 0.0, 21));
  const RunResult r = run({"--json", "--model", "similarity", "--proj", "p.txt"});
  ASSERT_EQ(r.status, 0) << r.err;
  const std::string line = jsonText(r.out, "proj");
  // +proj=helmert +convention=position_vector +x +y +z +rx +ry +rz (arc-seconds) +s (ppm) +exact, with
  // target = T + (1 + s 1e-6) Rz(rz) Ry(ry) Rx(rx) source.
  std::istringstream in(line);
  std::vector<std::string> words;
  std::string word;
  while (in >> word) words.push_back(word);
  ASSERT_EQ(words.size(), 10u) << line;
  EXPECT_EQ(words[0], "+proj=helmert");
  EXPECT_EQ(words[1], "+convention=position_vector");
  EXPECT_EQ(words[9], "+exact");
  const char* names[] = {"+x=", "+y=", "+z=", "+rx=", "+ry=", "+rz=", "+s="};
  double v[7];
  for (int i = 0; i < 7; ++i) {
    ASSERT_EQ(words[static_cast<std::size_t>(i + 2)].rfind(names[i], 0), 0u) << line;
    v[i] =
        std::strtod(words[static_cast<std::size_t>(i + 2)].c_str() + std::string(names[i]).size(), nullptr);
  }
  const double arcsec = kPi / (180.0 * 3600.0);
  const Eigen::Matrix3d a =
      (1.0 + v[6] * 1e-6) *
      eulerZyx(v[5] * arcsec * 180.0 / kPi, v[4] * arcsec * 180.0 / kPi, v[3] * arcsec * 180.0 / kPi);
  EXPECT_LT((a - motion.block()).cwiseAbs().maxCoeff(), 1e-11);
  EXPECT_LT((Eigen::Vector3d(v[0], v[1], v[2]) - motion.translation).cwiseAbs().maxCoeff(), 1e-10);
  EXPECT_NEAR(v[6], 25.0, 1e-6);
  // The readable output prints the line itself, last.
  const RunResult text = run({"--model", "similarity", "--proj", "p.txt"});
  EXPECT_EQ(text.out.substr(text.out.size() - line.size() - 1), line + "\n");
}

TEST_F(AppTest, TheRosLineRebuildsTheMatrix) {
  files["p.txt"] = pairsText(pairsUnder(vtool::sampleMotion(), 20, 0.0, 22));
  const RunResult r = run({"--json", "--ros", "world", "part", "p.txt"});
  ASSERT_EQ(r.status, 0) << r.err;
  const std::string line = jsonText(r.out, "ros");
  std::istringstream in(line);
  double v[7];
  std::string parent, child, rest;
  ASSERT_TRUE(
      static_cast<bool>(in >> v[0] >> v[1] >> v[2] >> v[3] >> v[4] >> v[5] >> v[6] >> parent >> child))
      << line;
  EXPECT_FALSE(static_cast<bool>(in >> rest));
  EXPECT_EQ(parent, "world");
  EXPECT_EQ(child, "part");
  const Eigen::Quaterniond q(v[6], v[3], v[4], v[5]);  // given as qx qy qz qw
  EXPECT_LT((q.toRotationMatrix() - vtool::sampleMotion().rotation).cwiseAbs().maxCoeff(), 1e-11);
  EXPECT_LT((Eigen::Vector3d(v[0], v[1], v[2]) - vtool::sampleMotion().translation).cwiseAbs().maxCoeff(),
            1e-10);
  const RunResult text = run({"--ros", "world", "part", "p.txt"});
  EXPECT_EQ(text.out.substr(text.out.size() - line.size() - 1), line + "\n");
}

TEST_F(AppTest, AReflectionHasNoExportLines) {
  vtool::Motion mirror = vtool::sampleMotion();
  mirror.rotation = -mirror.rotation;
  files["p.txt"] = pairsText(pairsUnder(mirror, 20, 0.0, 23));
  const RunResult r = run({"--json", "--allow-reflection", "--proj", "--ros", "a", "b", "p.txt"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find(",\"proj\":null,\"ros\":null}"), std::string::npos) << r.out;
  EXPECT_EQ(
      r.err,
      "velmora-align: warning: the motion is a reflection (det -1), which a helmert operation cannot "
      "express: "
      "no --proj line\nvelmora-align: warning: the motion is a reflection (det -1), which a static transform "
      "cannot express: no --ros line\n");
  const RunResult text = run({"--allow-reflection", "--proj", "--ros", "a", "b", "p.txt"});
  EXPECT_EQ(text.out.find("+proj"), std::string::npos);
  EXPECT_EQ(text.out.substr(text.out.size() - 7).find(" a b"), std::string::npos);
}

TEST_F(AppTest, AScaledMotionHasAProjLineButNoRosLine) {
  vtool::Motion motion = vtool::sampleMotion();
  motion.scale = 2.0;
  files["p.txt"] = pairsText(pairsUnder(motion, 20, 0.0, 24));
  const RunResult r = run({"--json", "--model", "similarity", "--proj", "--ros", "a", "b", "p.txt"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find(",\"proj\":\"+proj=helmert "), std::string::npos);
  EXPECT_NE(r.out.find(",\"ros\":null}"), std::string::npos);
  EXPECT_EQ(r.err.rfind("velmora-align: warning: the motion has a scale of 2", 0), 0u) << r.err;
  EXPECT_NE(r.err.find(", which a static transform cannot express: no --ros line\n"), std::string::npos);
}

// ---- failures of the fit
// ------------------------------------------------------------------------------------

TEST_F(AppTest, CollinearSetsCannotBeAligned) {
  files["p.txt"] = "0 0 0 0 0 0\n1 1 1 1 0 0\n2 2 2 0 1 0\n3 3 3 0 0 1\n";
  expectFailure(run({"p.txt"}), 1,
                "the points to move are all collinear or coincident: the rotation is not determined");
  files["p.txt"] = "0 0 0 0 0 0\n1 0 0 1 1 1\n0 1 0 2 2 2\n0 0 1 2 2 2\n";
  expectFailure(run({"p.txt"}), 1,
                "the target points are all collinear or coincident: the rotation is not determined");
  files["p.txt"] = "5 5 5 0 0 0\n5 5 5 1 0 0\n5 5 5 0 1 0\n5 5 5 0 0 1\n";
  expectFailure(run({"p.txt"}), 1,
                "the points to move are all collinear or coincident: the rotation is not determined");
  EXPECT_EQ(aligner.calls, 0);
}

TEST_F(AppTest, TheFitsStatusDecidesTheExitStatus) {
  files["p.txt"] = pairsText(badlyStartedPairs(10, 0.0));
  fitter.canned = true;
  const std::pair<velmora::Status, int> cases[] = {
      {velmora::Status::degenerate, 1},    {velmora::Status::badArgument, 2},
      {velmora::Status::badCoordinate, 2}, {velmora::Status::badWeight, 2},
      {velmora::Status::tooFewPairs, 2},   {velmora::Status::outOfRange, 2}};
  for (const auto& c : cases) {
    fitter.result = velmora::FitResult();
    fitter.result.status = c.first;
    fitter.result.message = "what the fit says";
    expectFailure(run({"p.txt"}), c.second, "what the fit says");
  }
  fitter.result.message.clear();
  expectFailure(run({"p.txt"}), 2, "the motion could not be computed");
}

TEST_F(AppTest, ANonFiniteFitIsNotPrinted) {
  files["p.txt"] = pairsText(badlyStartedPairs(10, 0.0));
  fitter.canned = true;
  fitter.result = valign::fitPairs(badlyStartedPairs(10, 0.0), {}, velmora::FitOptions());
  fitter.result.motion.matrix[0][3] = std::nan("");
  expectFailure(run({"p.txt"}), 1, "the motion could not be computed");
}

TEST_F(AppTest, RunningOutOfMemoryIsReported) {
  files["p.txt"] = pairsText(badlyStartedPairs(10, 0.0));
  fitter.throwBadAlloc = true;
  expectFailure(run({"p.txt"}), 2, "not enough memory for this input");
}

// ---- the Newton path
// ---------------------------------------------------------------------------------------

TEST_F(AppTest, NewtonReceivesAWellShapedLeadingTriple) {
  files["p.txt"] = pairsText(badlyStartedPairs(30, 0.05));
  const RunResult r = run({"--method", "newton", "p.txt"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "");
  ASSERT_EQ(aligner.calls, 1);
  const PointPairs& got = aligner.received;
  ASSERT_EQ(got.size(), 30u);
  EXPECT_GE(valign::vertexSine(got.from[0], got.from[1], got.from[2]), valign::kMinLeadingSine);
  EXPECT_GE(valign::vertexSine(got.to[0], got.to[1], got.to[2]), valign::kMinLeadingSine);
}

TEST_F(AppTest, NewtonGivesEveryKeyFromItsMatrix) {
  files["p.txt"] = pairsText(badlyStartedPairs(20, 0.0));
  const RunResult r = run({"--json", "--method", "newton", "--residuals", "p.txt"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(jsonText(r.out, "model"), "rigid");
  expectMatrixIsMotion(jsonArray(r.out, "matrix"), vtool::sampleMotion(), 1e-12);
  expectFormsMatchTheMatrix(r.out);
  EXPECT_EQ(jsonArray(r.out, "residuals").size(), 20u);
  EXPECT_EQ(r.out.find("weight_sum"), std::string::npos);
}

TEST_F(AppTest, NewtonWarnsWhenItStopsShortOfTheOptimum) {
  const PointPairs pairs = pairsUnder(vtool::sampleMotion(), 20, 0.5, 25);
  files["p.txt"] = pairsText(pairs);
  // The entry answers with the optimum turned by half a turn about an axis through the centroid: a
  // stationary point of the sum of squares, and a much worse one.
  aligner.useReplacement = true;
  aligner.replacement = vtool::referenceFit(pairs, {}, "rigid");
  const Eigen::Matrix3d half = Eigen::AngleAxisd(kPi, Eigen::Vector3d::UnitX()).toRotationMatrix();
  Eigen::Vector3d centroid = Eigen::Vector3d::Zero();
  for (const Vec3& p : pairs.to) centroid += vtool::toEigen(p) / 20.0;
  aligner.replacement.rotation = half * aligner.replacement.rotation;
  aligner.replacement.translation = half * (aligner.replacement.translation - centroid) + centroid;
  const RunResult r = run({"--json", "--method", "newton", "p.txt"});
  ASSERT_EQ(r.status, 0) << r.err;
  const double worse = jsonValue(r.out, "rms");
  const double best = vtool::weightedRms(pairs, {}, vtool::referenceFit(pairs, {}, "rigid"));
  EXPECT_GT(worse, 2.0 * best);
  EXPECT_EQ(
      r.err.rfind("velmora-align: warning: --method newton stopped at a stationary point that is not the "
                  "least-squares optimum: its RMS residual ",
                  0),
      0u)
      << r.err;
  EXPECT_NE(r.err.find(" exceeds the closed form's "), std::string::npos);
  EXPECT_NE(r.err.find("warning"), std::string::npos);
}

TEST_F(AppTest, NewtonAtTheOptimumDoesNotWarn) {
  for (double sigma : {0.0, 0.5}) {
    files["p.txt"] = pairsText(pairsUnder(vtool::sampleMotion(), 20, sigma, 26));
    const RunResult r = run({"--json", "--method", "newton", "p.txt"});
    ASSERT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "") << sigma;
  }
}

TEST_F(AppTest, NewtonReceivesTinyAndHugeCoordinatesScaled) {
  for (double s : {1e-200, 1e140}) {
    std::vector<Vec3> points = vtool::randomPoints(10, 1.0, {0.5, 0.2, 0.1}, 5);
    for (Vec3& p : points) p = {p.x * s, p.y * s, p.z * s};
    vtool::Motion motion = vtool::sampleMotion();
    motion.translation *= s;
    files["p.txt"] = pairsText(vtool::movedPairs(points, motion, 0.0, 1));
    const RunResult r = run({"--json", "--method", "newton", "--residuals", "p.txt"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "");
    double largest = 0.0;
    for (const std::vector<Vec3>* set : {&aligner.received.from, &aligner.received.to})
      for (const Vec3& p : *set)
        largest = std::max({largest, std::fabs(p.x), std::fabs(p.y), std::fabs(p.z)});
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
}

TEST_F(AppTest, NewtonOnModerateCoordinatesOnlyReorders) {
  const PointPairs pairs = badlyStartedPairs(8, 0.0);
  files["p.txt"] = pairsText(pairs);
  ASSERT_EQ(run({"--method", "newton", "p.txt"}).status, 0);
  double sumIn = 0.0, sumGot = 0.0;
  for (std::size_t k = 0; k < pairs.size(); ++k) {
    sumIn += pairs.from[k].x + pairs.to[k].z;
    sumGot += aligner.received.from[k].x + aligner.received.to[k].z;
  }
  EXPECT_NEAR(sumGot, sumIn, 1e-9);
  EXPECT_EQ(aligner.received.size(), pairs.size());
}

TEST_F(AppTest, NewtonCannotStartOnSetsTooCloseToALine) {
  files["p.txt"] = "0 0 0 0 0 0\n1 0 0 1 0 0\n2 1e-9 0 0 1 0\n3 0 0 0 0 1\n";
  const RunResult r = run({"--method", "newton", "p.txt"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err.rfind("velmora-align: error: the points to move lie too close to a line", 0), 0u) << r.err;
  EXPECT_EQ(aligner.calls, 0);
  files["p.txt"] = "0 0 0 0 0 0\n1 1 1 1 0 0\n2 2 2 0 1 0\n3 3 3 0 0 1\n";
  expectFailure(run({"--method", "newton", "p.txt"}), 1,
                "the points to move are all collinear or coincident: the rotation is not determined");
}

TEST_F(AppTest, NewtonFailuresAreReported) {
  files["p.txt"] = pairsText(badlyStartedPairs(10, 0.0));
  aligner.answer = 0;
  expectFailure(run({"--method", "newton", "p.txt"}), 1, "the alignment could not be computed");
  aligner.answer = 1;
  aligner.poison = true;
  expectFailure(run({"--method", "newton", "p.txt"}), 1, "the alignment could not be computed");
}

TEST_F(AppTest, NewtonTakesNoWeights) {
  files["p7.txt"] = "0 0 0 1 1 1 1\n1 0 0 2 1 1 1\n0 1 0 1 2 1 1\n";
  expectFailure(run({"--method", "newton", "p7.txt"}), 2,
                "p7.txt: --method newton does not take weights (the pairs have a 7th number)");
  EXPECT_EQ(aligner.calls, 0);
}

// ---- command line and input
// -----------------------------------------------------------------------------------

TEST_F(AppTest, HelpAndVersionPrintAndSucceed) {
  const RunResult h = run({"--help"});
  EXPECT_EQ(h.status, 0);
  EXPECT_EQ(h.out.rfind("Usage: velmora-align", 0), 0u);
  EXPECT_EQ(h.err, "");
  const RunResult v = run({"--version"});
  EXPECT_EQ(v.status, 0);
  EXPECT_EQ(v.out.rfind("velmora-align ", 0), 0u);
  EXPECT_EQ(aligner.calls, 0);
  EXPECT_EQ(fitter.calls, 0);
}

TEST_F(AppTest, BadCommandLineIsBadInput) {
  expectFailure(run({"--bogus"}), 2, "unknown option '--bogus' (see --help)");
  expectFailure(run({"--from", "a"}), 2, "--from needs --to");
  expectFailure(run({"--method", "newton", "--model", "axis"}), 2,
                "--method newton fits the rigid model only, not --model axis");
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
  files["-"] = "1 2 3 4 5 6 7 8\n";
  expectFailure(run({}), 2, "<stdin>:1: expected 6 or 7 numbers, found 8");
}

TEST_F(AppTest, NonFiniteOrHugeCoordinatesAreBadInput) {
  files["p.txt"] = "1 2 3 4 5 6\n1 2 3 4 NaN 6\n";
  expectFailure(run({"p.txt"}), 2, "p.txt:2: 'NaN' is not a finite coordinate");
  files["p.txt"] = "1 2 3 4 5 6\n1 2 -2e150 4 5 6\n";
  expectFailure(run({"p.txt"}), 2, "p.txt:2: coordinate '-2e150' exceeds 1e150 in magnitude");
}

TEST_F(AppTest, FewerThanThreePairsAreBadInputForTheRigidModel) {
  files["p.txt"] = "0 0 0 1 1 1\n1 0 0 2 1 1\n";
  expectFailure(run({"p.txt"}), 2, "p.txt: 2 pairs found, at least 3 are needed");
  expectFailure(run({"--method", "newton", "p.txt"}), 2, "p.txt: 2 pairs found, at least 3 are needed");
  files["e.txt"] = "";
  expectFailure(run({"e.txt"}), 2, "e.txt: 0 pairs found, at least 3 are needed");
  files["a"] = "1 2 3\n";
  files["b"] = "1 2 3\n";
  expectFailure(run({"--from", "a", "--to", "b"}), 2, "a and b: 1 pair found, at least 3 are needed");
  EXPECT_EQ(aligner.calls, 0);
  EXPECT_EQ(fitter.calls, 0);
}

TEST_F(AppTest, MismatchedFromToCountsAreBadInput) {
  files["a"] = "0 0 0\n1 0 0\n0 1 0\n0 0 1\n";
  files["b"] = "0 0 0\n1 0 0\n0 1 0\n";
  expectFailure(run({"--from", "a", "--to", "b"}), 2, "a has 4 points but b has 3: the counts must match");
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
  const char* models[] = {"rigid", "similarity", "translation", "axis"};
  for (int trial = 0; trial < 3000; ++trial) {
    std::string text;
    const int n = length(gen);
    for (int i = 0; i < n; ++i) text += pieces[pick(gen)];
    files["p.txt"] = text;
    const RunResult r = trial % 5 == 4 ? run({"--json", "--method", "newton", "p.txt"})
                                       : run({"--json", "--model", models[trial % 4], "p.txt"});
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
  // Rows of six or seven numbers drawn from a few values, so that coincident, collinear and flat sets
  // and zero weights are frequent: every run ends with 0 (and a finite result that is no worse than the
  // reference's) or 1, or 2 for too few weighted pairs.
  const double values[] = {0.0, 1.0, -1.0, 2.0, 1e-9, 1e6};
  std::mt19937_64 gen(7);
  std::uniform_int_distribution<int> pick(0, 5);
  std::uniform_int_distribution<int> rows(3, 8);
  const char* models[] = {"rigid", "similarity", "translation", "axis"};
  for (int trial = 0; trial < 3000; ++trial) {
    const bool weighted = trial % 3 == 2;
    std::string text;
    PointPairs pairs;
    std::vector<double> weights;
    const int n = rows(gen);
    for (int i = 0; i < n; ++i) {
      double v[7];
      for (int c = 0; c < (weighted ? 7 : 6); ++c) {
        v[c] = values[pick(gen)];
        if (c == 6) v[c] = std::fabs(v[c]);
        text += velmora::formatNumber(v[c]) + (c < (weighted ? 6 : 5) ? " " : "\n");
      }
      pairs.from.push_back({v[0], v[1], v[2]});
      pairs.to.push_back({v[3], v[4], v[5]});
      if (weighted) weights.push_back(v[6]);
    }
    files["p.txt"] = text;
    const bool newton = trial % 5 == 4 && !weighted;
    const char* model = models[trial % 4];
    const RunResult r =
        newton ? run({"--json", "--method", "newton", "p.txt"}) : run({"--json", "--model", model, "p.txt"});
    if (weighted) {
      ASSERT_TRUE(r.status == 0 || r.status == 1 || r.status == 2) << text << r.err;
      if (r.status == 2) {
        EXPECT_NE(r.err.find("a non-zero weight"), std::string::npos) << r.err;
      }
    } else {
      ASSERT_TRUE(r.status == 0 || r.status == 1) << text << r.err;
    }
    if (r.status != 0) continue;
    if (newton) {
      EXPECT_GE(
          valign::vertexSine(aligner.received.from[0], aligner.received.from[1], aligner.received.from[2]),
          valign::kMinLeadingSine);
      continue;
    }
    const vtool::Motion got = jsonMotion(r.out);
    ASSERT_TRUE(got.block().allFinite()) << text;
    // Without a warning the data determine the motion well: it is the optimum.
    if (!r.err.empty()) continue;
    const double best = vtool::weightedRms(pairs, weights, vtool::referenceFit(pairs, weights, model));
    EXPECT_LE(vtool::weightedRms(pairs, weights, got), best * (1.0 + 1e-6) + 1e-6) << model << "\n" << text;
  }
}
