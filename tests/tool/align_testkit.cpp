// Helper of the velmora-align command-line tests.
//   gen KIND SEED N OUT [options]   writes pairs moved by a known rigid motion:
//        OUT (the tool's input), OUT.canon (six numbers a line, 17 digits) and OUT.motion (the 3x4
//        matrix of the motion, row by row). Options: --noise SIGMA, --scale S (coordinates and
//        translation multiplied by S), --header, --comments, --crlf, --mixed (commas, semicolons and
//        runs of separators, leading '+' signs), --split A B (write the two sets to A and B instead).
//        KIND: random, collinear-first, near-collinear-first, duplicate-first, tiny-first, planar,
//        fiducial.
//   check OUTPUT CANON MOTION TOLERANCE [--residuals]
//        checks the tool's JSON output: the keys, a proper rigid matrix equal to the least-squares
//        solution of the pairs (computed here by the SVD method) and, within TOLERANCE (relative to
//        the extent of the data), to the known motion; the error statistics and residuals
//        recomputed from the printed matrix.
//   garbage SEED OUT                 writes random bytes.
// Exits 0 when all is well, 1 with a message otherwise.
#include <Eigen/Dense>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

using Pairs = std::vector<std::pair<Eigen::Vector3d, Eigen::Vector3d>>;

int failure(const std::string& message) {
  std::cerr << "align_testkit: " << message << '\n';
  return 1;
}

std::string num(double v) {
  char b[40];
  std::snprintf(b, sizeof b, "%.17g", v);
  return b;
}

std::string slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

// ---- gen -------------------------------------------------------------------------------------------

std::vector<Eigen::Vector3d> makePoints(const std::string& kind, int n, std::mt19937_64& gen) {
  std::uniform_real_distribution<double> u(-50.0, 50.0);
  const Eigen::Vector3d centre(200.0, -30.0, 5.0);
  std::vector<Eigen::Vector3d> p(static_cast<std::size_t>(n));
  for (auto& q : p) q = centre + Eigen::Vector3d(u(gen), u(gen), u(gen));
  if (kind == "collinear-first") {
    p[0] = centre;
    p[1] = centre + Eigen::Vector3d(1, 1, 1);
    p[2] = centre + Eigen::Vector3d(2, 2, 2);
  } else if (kind == "near-collinear-first") {
    p[0] = centre;
    p[1] = centre + Eigen::Vector3d(40, 0, 0);
    p[2] = centre + Eigen::Vector3d(80, 1e-8, 0);
  } else if (kind == "duplicate-first") {
    p[1] = p[0];
    p[2] = p[0];
  } else if (kind == "tiny-first") {
    p[1] = p[0] + Eigen::Vector3d(1e-9, 0, 0);
    p[2] = p[0] + Eigen::Vector3d(0, 1e-9, 0);
  } else if (kind == "planar") {
    for (auto& q : p) q.z() = 5.0;
  } else if (kind == "fiducial") {
    // Holes on the faces of a 400 x 250 x 120 block.
    std::uniform_int_distribution<int> face(0, 5);
    for (auto& q : p) {
      Eigen::Vector3d h(u(gen) * 4.0, u(gen) * 2.5, u(gen) * 1.2);
      const int f = face(gen);
      if (f < 2)
        h.x() = f == 0 ? -200.0 : 200.0;
      else if (f < 4)
        h.y() = f == 2 ? -125.0 : 125.0;
      else
        h.z() = f == 4 ? -60.0 : 60.0;
      q = h;
    }
  } else if (kind != "random") {
    p.clear();
  }
  return p;
}

int gen(int argc, char** argv) {
  if (argc < 6) return failure("gen KIND SEED N OUT [options]");
  const std::string kind = argv[2];
  const unsigned seed = static_cast<unsigned>(std::strtoul(argv[3], nullptr, 10));
  const int n = std::atoi(argv[4]);
  const std::string out = argv[5];
  double sigma = 0.0, scale = 1.0;
  bool header = false, comments = false, crlf = false, mixed = false;
  std::string splitA, splitB;
  for (int i = 6; i < argc; ++i) {
    const std::string a = argv[i];
    if (a == "--noise" && i + 1 < argc)
      sigma = std::atof(argv[++i]);
    else if (a == "--scale" && i + 1 < argc)
      scale = std::atof(argv[++i]);
    else if (a == "--header")
      header = true;
    else if (a == "--comments")
      comments = true;
    else if (a == "--crlf")
      crlf = true;
    else if (a == "--mixed")
      mixed = true;
    else if (a == "--split" && i + 2 < argc) {
      splitA = argv[++i];
      splitB = argv[++i];
    } else {
      return failure("unknown gen option " + a);
    }
  }
  std::mt19937_64 g(seed);
  std::vector<Eigen::Vector3d> from = makePoints(kind, n, g);
  if (from.size() < 3) return failure("unknown kind or fewer than 3 points: " + kind);
  std::normal_distribution<double> normal(0.0, 1.0);
  std::uniform_real_distribution<double> unit(-1.0, 1.0);
  const Eigen::Vector3d axis = Eigen::Vector3d(unit(g), unit(g), unit(g)).normalized();
  const double angle = 3.0 * unit(g);  // up to about 172 degrees either way
  const Eigen::Matrix3d r = Eigen::AngleAxisd(angle, axis).toRotationMatrix();
  const Eigen::Vector3d t(100.0 * unit(g), 100.0 * unit(g), 100.0 * unit(g));
  const std::string eol = crlf ? "\r\n" : "\n";
  std::ofstream main(splitA.empty() ? out : splitA, std::ios::binary);
  std::ofstream second;
  if (!splitA.empty()) second.open(splitB, std::ios::binary);
  std::ofstream canon(out + ".canon", std::ios::binary);
  if (header) {
    main << (splitA.empty() ? "x y z x' y' z'" : "x,y,z") << eol;
    if (!splitA.empty()) second << "X;Y;Z" << eol;
  }
  if (comments) main << "# generated: " << kind << eol << eol;
  int line = 0;
  for (const Eigen::Vector3d& a0 : from) {
    const Eigen::Vector3d a = a0 * scale;
    Eigen::Vector3d b = r * a0 + t;
    if (sigma > 0.0) b += sigma * Eigen::Vector3d(normal(g), normal(g), normal(g));
    b *= scale;
    canon << num(a.x()) << ' ' << num(a.y()) << ' ' << num(a.z()) << ' ' << num(b.x()) << ' ' << num(b.y())
          << ' ' << num(b.z()) << '\n';
    auto plus = [mixed](double v) { return (mixed && v >= 0 ? "+" : "") + num(v); };
    const std::string sep = mixed ? (line % 3 == 0 ? ", " : line % 3 == 1 ? " ;\t" : ",") : " ";
    if (splitA.empty()) {
      main << (mixed ? "  " : "") << plus(a.x()) << sep << plus(a.y()) << sep << plus(a.z()) << sep
           << plus(b.x()) << sep << plus(b.y()) << sep << plus(b.z()) << (mixed ? " ," : "") << eol;
    } else {
      main << plus(a.x()) << sep << plus(a.y()) << sep << plus(a.z()) << eol;
      second << plus(b.x()) << sep << plus(b.y()) << sep << plus(b.z()) << eol;
    }
    if (comments && line % 7 == 3) main << "# a comment line" << eol << "   " << eol;
    ++line;
  }
  std::ofstream motion(out + ".motion", std::ios::binary);
  for (int i = 0; i < 3; ++i)
    motion << num(r(i, 0)) << ' ' << num(r(i, 1)) << ' ' << num(r(i, 2)) << ' ' << num(t(i) * scale) << '\n';
  return main && canon && motion ? 0 : failure("cannot write " + out);
}

// ---- check -----------------------------------------------------------------------------------------

// The numbers of the JSON array after "key": (nested arrays flattened); false when absent or broken.
bool jsonArray(const std::string& json, const std::string& key, std::vector<double>& values) {
  values.clear();
  std::size_t at = json.find("\"" + key + "\":[");
  if (at == std::string::npos) return false;
  at += key.size() + 4;
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
      if (end == json.c_str() + at) return false;
      values.push_back(v);
      at = static_cast<std::size_t>(end - json.c_str());
    }
  }
  return depth == 0;
}

bool jsonNumber(const std::string& json, const std::string& key, double& v) {
  const std::size_t at = json.find("\"" + key + "\":");
  if (at == std::string::npos) return false;
  const char* start = json.c_str() + at + key.size() + 3;
  char* end = nullptr;
  v = std::strtod(start, &end);
  return end != start;
}

bool readCanon(const std::string& path, Pairs& pairs) {
  std::ifstream in(path);
  double v[6];
  while (in >> v[0] >> v[1] >> v[2] >> v[3] >> v[4] >> v[5])
    pairs.push_back({Eigen::Vector3d(v[0], v[1], v[2]), Eigen::Vector3d(v[3], v[4], v[5])});
  return !pairs.empty();
}

// Least-squares rigid motion by the SVD of the cross-covariance of the centred sets, computed on the
// pairs divided by `extent` so that tiny and huge units neither underflow nor overflow.
void svdAlignment(const Pairs& pairs, double extent, Eigen::Matrix3d& r, Eigen::Vector3d& t) {
  Pairs unit;
  for (const auto& p : pairs) unit.push_back({p.first / extent, p.second / extent});
  Eigen::Vector3d ca = Eigen::Vector3d::Zero(), cb = Eigen::Vector3d::Zero();
  for (const auto& p : unit) {
    ca += p.first;
    cb += p.second;
  }
  ca /= static_cast<double>(pairs.size());
  cb /= static_cast<double>(pairs.size());
  Eigen::Matrix3d h = Eigen::Matrix3d::Zero();
  for (const auto& p : unit) h += (p.first - ca) * (p.second - cb).transpose();
  Eigen::JacobiSVD<Eigen::Matrix3d> svd(h, Eigen::ComputeFullU | Eigen::ComputeFullV);
  Eigen::Matrix3d d = Eigen::Matrix3d::Identity();
  d(2, 2) = (svd.matrixV() * svd.matrixU().transpose()).determinant() < 0 ? -1.0 : 1.0;
  r = svd.matrixV() * d * svd.matrixU().transpose();
  t = (cb - r * ca) * extent;
}

int check(int argc, char** argv) {
  if (argc < 6) return failure("check OUTPUT CANON MOTION TOLERANCE [--residuals]");
  const std::string json = slurp(argv[2]);
  Pairs pairs;
  if (!readCanon(argv[3], pairs)) return failure(std::string("no pairs in ") + argv[3]);
  std::ifstream motionIn(argv[4]);
  Eigen::Matrix3d rTrue;
  Eigen::Vector3d tTrue;
  for (int i = 0; i < 3; ++i) motionIn >> rTrue(i, 0) >> rTrue(i, 1) >> rTrue(i, 2) >> tTrue(i);
  if (!motionIn) return failure(std::string("cannot read the motion ") + argv[4]);
  const double tolerance = std::atof(argv[5]);
  const bool withResiduals = argc > 6 && std::string(argv[6]) == "--residuals";

  if (json.rfind("{\"status\":\"ok\",", 0) != 0)
    return failure("output does not start with the ok status: " + json);
  if (json.empty() || json.back() != '\n' || json.find('\n') != json.size() - 1)
    return failure("output is not one line");
  double count = 0;
  if (!jsonNumber(json, "pairs", count) || count != static_cast<double>(pairs.size()))
    return failure("wrong pair count in " + json.substr(0, 60));
  std::vector<double> m;
  if (!jsonArray(json, "matrix", m) || m.size() != 16) return failure("no 4x4 matrix");
  if (m[12] != 0 || m[13] != 0 || m[14] != 0 || m[15] != 1) return failure("last matrix row is not 0 0 0 1");
  Eigen::Matrix3d r;
  Eigen::Vector3d t;
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) r(i, j) = m[4 * i + j];
    t(i) = m[4 * i + 3];
  }
  if ((r * r.transpose() - Eigen::Matrix3d::Identity()).cwiseAbs().maxCoeff() > 1e-12)
    return failure("the rotation is not orthonormal");
  if (std::fabs(r.determinant() - 1.0) > 1e-12) return failure("the rotation is not proper");

  double extent = 0.0;
  for (const auto& p : pairs)
    extent = std::max({extent, p.first.cwiseAbs().maxCoeff(), p.second.cwiseAbs().maxCoeff()});
  Eigen::Matrix3d rLsq;
  Eigen::Vector3d tLsq;
  svdAlignment(pairs, extent, rLsq, tLsq);
  const double dLsqR = (r - rLsq).cwiseAbs().maxCoeff();
  const double dLsqT = (t - tLsq).cwiseAbs().maxCoeff() / extent;
  if (dLsqR > 1e-9 || dLsqT > 1e-9)
    return failure("not the least-squares motion: rotation off by " + num(dLsqR) + ", translation by " +
                   num(dLsqT) + " of the extent");
  const double dTrueR = (r - rTrue).cwiseAbs().maxCoeff();
  const double dTrueT = (t - tTrue).cwiseAbs().maxCoeff() / extent;
  if (dTrueR > tolerance || dTrueT > tolerance)
    return failure("not the known motion: rotation off by " + num(dTrueR) + ", translation by " +
                   num(dTrueT));

  std::vector<double> d;
  double sum = 0, largest = 0, smallest = HUGE_VAL;
  for (const auto& p : pairs) {
    const double v = (r * p.first + t - p.second).stableNorm();
    d.push_back(v);
    sum += v;
    largest = std::max(largest, v);
    smallest = std::min(smallest, v);
  }
  double squares = 0;  // of the residuals relative to the largest, so that tiny units do not underflow
  for (double v : d) squares += largest > 0 ? (v / largest) * (v / largest) : 0.0;
  const double n = static_cast<double>(pairs.size());
  const double slack = 1e-12 * extent;
  double mean = 0, rms = 0, max = 0, min = 0;
  if (!jsonNumber(json, "mean", mean) || !jsonNumber(json, "rms", rms) || !jsonNumber(json, "max", max) ||
      !jsonNumber(json, "min", min))
    return failure("missing error statistics");
  if (std::fabs(mean - sum / n) > slack || std::fabs(rms - largest * std::sqrt(squares / n)) > slack ||
      std::fabs(max - largest) > slack || std::fabs(min - smallest) > slack)
    return failure("error statistics differ from the residuals of the printed matrix");
  double from = 0, to = 0;
  if (json.find("\"conditioning\":{\"from\":") == std::string::npos || !jsonNumber(json, "from", from) ||
      !jsonNumber(json, "to", to) || !(from >= 0 && from <= 1) || !(to >= 0 && to <= 1))
    return failure("missing or out-of-range conditioning");
  std::vector<double> printed;
  const bool has = jsonArray(json, "residuals", printed);
  if (has != withResiduals) return failure(withResiduals ? "residuals missing" : "unexpected residuals");
  if (withResiduals) {
    if (printed.size() != d.size()) return failure("wrong residual count");
    for (std::size_t k = 0; k < d.size(); ++k)
      if (std::fabs(printed[k] - d[k]) > slack)
        return failure("residual " + std::to_string(k + 1) + " differs");
  }
  return 0;
}

int garbage(int argc, char** argv) {
  if (argc < 4) return failure("garbage SEED OUT");
  std::mt19937_64 g(std::strtoul(argv[2], nullptr, 10));
  std::uniform_int_distribution<int> byte(0, 255);
  std::ofstream out(argv[3], std::ios::binary);
  for (int i = 0; i < 4096; ++i) out.put(static_cast<char>(byte(g)));
  return out ? 0 : failure("cannot write");
}

}  // namespace

int main(int argc, char** argv) {
  const std::string command = argc > 1 ? argv[1] : "";
  if (command == "gen") return gen(argc, argv);
  if (command == "check") return check(argc, argv);
  if (command == "garbage") return garbage(argc, argv);
  return failure("usage: gen | check | garbage (see the source)");
}
