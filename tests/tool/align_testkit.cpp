// Helper of the velmora-align command-line tests.
//   gen KIND SEED N OUT [options]   writes pairs moved by a known motion:
//        OUT (the tool's input), OUT.canon (six numbers a line, 17 digits), OUT.motion (the 3x4 matrix
//        of the motion, row by row) and, with weights, OUT.weights (one a line, 17 digits). Options:
//        --noise SIGMA, --scale S (coordinates and translation multiplied by S), --header, --comments,
//        --crlf, --mixed (commas, semicolons and runs of separators, leading '+' signs), --split A B
//        (write the two sets to A and B instead), --model rigid|similarity|translation|axis (the kind
//        of motion: similarity adds a scale factor, translation has no rotation, axis rotates about
//        --axis X,Y,Z), --mirror (the motion includes a reflection: for the axis model, in a plane that
//        holds the axis), --outliers K (the targets of the
//        first K pairs are moved far off), --weights FILE (random weights written to FILE, one a line
//        after a header and a comment), --weight-column (the weights as a 7th number of every line of
//        OUT instead), --weight-scale F (every weight multiplied by F), --zero-outliers (the outliers
//        get weight 0, so that the known motion still fits the rest exactly).
//        KIND: random, collinear-first, near-collinear-first, duplicate-first, tiny-first, planar,
//        fiducial.
//   check OUTPUT CANON MOTION TOLERANCE [options]
//        checks the tool's JSON output against the pairs of CANON (lines of six numbers; other lines
//        are skipped, so a pair file with comments and a header will do): every key, a matrix equal to
//        the least-squares solution of the model (computed here from its definition: the SVD method
//        for rigid and similarity, the mean difference for translation, the closed angle for axis,
//        all weighted) and, unless MOTION is -, within TOLERANCE (relative to the extent of the data)
//        to the known motion; the scale, determinant, quaternion, rotation vector, Euler angles and
//        inverse rebuilt into matrices from their conventions; the error statistics, weight sum and
//        residuals recomputed from the printed matrix. Options: --residuals, --model M, --axis X,Y,Z,
//        --allow-reflection, --weights FILE (one weight a line), --det D (the expected determinant),
//        --proj (the "proj" line rebuilt into a matrix), --ros PARENT CHILD (the "ros" line likewise),
//        --optimum-rms (for data that fix the motion poorly, where two correct solvers may give
//        visibly different matrices of the same residual: the weighted RMS residual of the printed
//        matrix must not exceed the reference's by more than 1e-9 relative, instead of the matrices
//        being equal).
//   garbage SEED OUT                 writes random bytes.
// Exits 0 when all is well, 1 with a message otherwise.
#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "reference_fit.h"

namespace {

using vreference::eulerZyx;
using Pairs = vreference::Pairs;

const double kPi = 3.14159265358979323846;

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

bool parseAxis(const std::string& text, Eigen::Vector3d& axis) {
  std::string spaced = text;
  std::replace(spaced.begin(), spaced.end(), ',', ' ');
  std::istringstream in(spaced);
  return static_cast<bool>(in >> axis.x() >> axis.y() >> axis.z()) && axis.norm() > 0.0;
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
  double sigma = 0.0, scale = 1.0, weightScale = 1.0;
  bool header = false, comments = false, crlf = false, mixed = false, mirror = false;
  bool weightColumn = false, zeroOutliers = false;
  int outliers = 0;
  std::string splitA, splitB, model = "rigid", weightsFile;
  Eigen::Vector3d givenAxis(0, 0, 1);
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
    } else if (a == "--model" && i + 1 < argc)
      model = argv[++i];
    else if (a == "--axis" && i + 1 < argc) {
      if (!parseAxis(argv[++i], givenAxis)) return failure("bad --axis");
    } else if (a == "--mirror")
      mirror = true;
    else if (a == "--outliers" && i + 1 < argc)
      outliers = std::atoi(argv[++i]);
    else if (a == "--weights" && i + 1 < argc)
      weightsFile = argv[++i];
    else if (a == "--weight-column")
      weightColumn = true;
    else if (a == "--weight-scale" && i + 1 < argc)
      weightScale = std::atof(argv[++i]);
    else if (a == "--zero-outliers")
      zeroOutliers = true;
    else
      return failure("unknown gen option " + a);
  }
  std::mt19937_64 g(seed);
  std::vector<Eigen::Vector3d> from = makePoints(kind, n, g);
  if (from.empty()) return failure("unknown kind or no points: " + kind);
  std::normal_distribution<double> normal(0.0, 1.0);
  std::uniform_real_distribution<double> unit(-1.0, 1.0);
  Eigen::Vector3d axis = Eigen::Vector3d(unit(g), unit(g), unit(g)).normalized();
  const double angle = 3.0 * unit(g);  // up to about 172 degrees either way
  if (model == "axis") axis = givenAxis.normalized();
  Eigen::Matrix3d r = Eigen::AngleAxisd(angle, axis).toRotationMatrix();
  const Eigen::Vector3d t(100.0 * unit(g), 100.0 * unit(g), 100.0 * unit(g));
  double factor = 1.0;
  if (model == "similarity") {
    factor = std::exp(0.7 * unit(g));  // about 0.5 to 2
  } else if (model == "translation") {
    r.setIdentity();
  } else if (model != "rigid" && model != "axis") {
    return failure("unknown model " + model);
  }
  // A mirror image: in the plane z = 0, or for the axis model in a plane that holds the axis.
  if (mirror && model == "axis") {
    const Eigen::Vector3d n = axis.unitOrthogonal();
    r = r * (Eigen::Matrix3d::Identity() - 2.0 * n * n.transpose());
  } else if (mirror) {
    r = r * Eigen::Vector3d(1.0, 1.0, -1.0).asDiagonal();
  }
  const Eigen::Matrix3d a = factor * r;

  const bool weighted = !weightsFile.empty() || weightColumn;
  std::mt19937_64 wg(seed + 1);
  std::uniform_real_distribution<double> weightDraw(0.5, 2.0);
  std::vector<double> weights;
  if (weighted)
    for (std::size_t k = 0; k < from.size(); ++k)
      weights.push_back((zeroOutliers && static_cast<int>(k) < outliers) ? 0.0
                                                                         : weightDraw(wg) * weightScale);

  const std::string eol = crlf ? "\r\n" : "\n";
  std::ofstream main(splitA.empty() ? out : splitA, std::ios::binary);
  std::ofstream second;
  if (!splitA.empty()) second.open(splitB, std::ios::binary);
  std::ofstream canon(out + ".canon", std::ios::binary);
  if (header) {
    main << (splitA.empty() ? (weightColumn ? "x y z x' y' z' w" : "x y z x' y' z'") : "x,y,z") << eol;
    if (!splitA.empty()) second << "X;Y;Z" << eol;
  }
  if (comments) main << "# generated: " << kind << eol << eol;
  int line = 0;
  for (const Eigen::Vector3d& a0 : from) {
    const Eigen::Vector3d p = a0 * scale;
    Eigen::Vector3d b = a * a0 + t;
    if (sigma > 0.0) b += sigma * Eigen::Vector3d(normal(g), normal(g), normal(g));
    if (line < outliers) b += Eigen::Vector3d(60.0 * unit(g), 60.0 * unit(g), 60.0 * unit(g));
    b *= scale;
    canon << num(p.x()) << ' ' << num(p.y()) << ' ' << num(p.z()) << ' ' << num(b.x()) << ' ' << num(b.y())
          << ' ' << num(b.z()) << '\n';
    auto plus = [mixed](double v) { return (mixed && v >= 0 ? "+" : "") + num(v); };
    const std::string sep = mixed ? (line % 3 == 0 ? ", " : line % 3 == 1 ? " ;\t" : ",") : " ";
    if (splitA.empty()) {
      main << (mixed ? "  " : "") << plus(p.x()) << sep << plus(p.y()) << sep << plus(p.z()) << sep
           << plus(b.x()) << sep << plus(b.y()) << sep << plus(b.z());
      if (weightColumn) main << sep << plus(weights[static_cast<std::size_t>(line)]);
      main << (mixed ? " ," : "") << eol;
    } else {
      main << plus(p.x()) << sep << plus(p.y()) << sep << plus(p.z()) << eol;
      second << plus(b.x()) << sep << plus(b.y()) << sep << plus(b.z()) << eol;
    }
    if (comments && line % 7 == 3) main << "# a comment line" << eol << "   " << eol;
    ++line;
  }
  if (weighted) {
    std::ofstream plain(out + ".weights", std::ios::binary);
    for (double w : weights) plain << num(w) << '\n';
    if (!weightsFile.empty()) {
      std::ofstream file(weightsFile, std::ios::binary);
      file << "weight" << eol << "# one a pair" << eol;
      for (double w : weights) file << num(w) << eol;
    }
  }
  std::ofstream motion(out + ".motion", std::ios::binary);
  for (int i = 0; i < 3; ++i)
    motion << num(a(i, 0)) << ' ' << num(a(i, 1)) << ' ' << num(a(i, 2)) << ' ' << num(t(i) * scale) << '\n';
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

// The JSON string after "key": (no escapes expected); false when absent or not a string.
bool jsonText(const std::string& json, const std::string& key, std::string& text) {
  const std::size_t at = json.find("\"" + key + "\":\"");
  if (at == std::string::npos) return false;
  const std::size_t start = at + key.size() + 4;
  const std::size_t end = json.find('"', start);
  if (end == std::string::npos) return false;
  text = json.substr(start, end - start);
  return true;
}

// Lines of six numbers; anything else (comments, a header, blank lines) is skipped.
bool readCanon(const std::string& path, Pairs& pairs) {
  std::ifstream in(path);
  std::string line;
  while (std::getline(in, line)) {
    std::replace(line.begin(), line.end(), ',', ' ');
    std::replace(line.begin(), line.end(), ';', ' ');
    std::istringstream s(line);
    // Six numbers a pair, and a 7th (the pair's weight, which --weights gives the check) allowed.
    double v[6], weight;
    std::string rest;
    if (!(s >> v[0] >> v[1] >> v[2] >> v[3] >> v[4] >> v[5])) continue;
    if ((s >> weight) && (s >> rest)) continue;
    pairs.push_back({Eigen::Vector3d(v[0], v[1], v[2]), Eigen::Vector3d(v[3], v[4], v[5])});
  }
  return !pairs.empty();
}

struct Fit {
  Eigen::Matrix3d a;  // scale * R
  Eigen::Vector3d t;
};

Eigen::Matrix3d rotationAbout(const Eigen::Vector3d& unitAxis, double angle) {
  return Eigen::AngleAxisd(angle, unitAxis).toRotationMatrix();
}

// The weighted least-squares motion of the model (vreference::referenceFit), computed on the pairs divided
// by `extent` so that tiny and huge units neither underflow nor overflow.
Fit referenceFit(const Pairs& pairs, const std::vector<double>& weights, const std::string& model,
                 const Eigen::Vector3d& axis, bool allowReflection, double extent) {
  Pairs scaled;
  scaled.reserve(pairs.size());
  for (const auto& q : pairs) scaled.emplace_back(q.first / extent, q.second / extent);
  const vreference::Fit fit = vreference::referenceFit(scaled, weights, model, axis, allowReflection);
  return {fit.scale * fit.rotation, fit.translation * extent};
}

// The "proj" line rebuilt: PROJ's helmert in the position-vector convention with the exact rotation,
// target = T + (1 + s 1e-6) Rz(rz) Ry(ry) Rx(rx) source, rotations in arc-seconds.
std::string rebuildProj(const std::string& line, Eigen::Matrix3d& a, Eigen::Vector3d& t) {
  std::istringstream in(line);
  std::string word;
  std::vector<std::string> words;
  while (in >> word) words.push_back(word);
  const std::vector<std::string> order = {
      "+proj=helmert", "+convention=position_vector", "+x=", "+y=", "+z=", "+rx=", "+ry=", "+rz=", "+s=",
      "+exact"};
  if (words.size() != order.size()) return "the proj line has " + std::to_string(words.size()) + " words";
  double v[7];
  for (std::size_t i = 0; i < order.size(); ++i) {
    if (words[i].compare(0, order[i].size(), order[i]) != 0) return "proj word " + words[i];
    if (i >= 2 && i <= 8) {
      char* end = nullptr;
      v[i - 2] = std::strtod(words[i].c_str() + order[i].size(), &end);
      if (*end != '\0' || end == words[i].c_str() + order[i].size()) return "proj number " + words[i];
    } else if (words[i] != order[i]) {
      return "proj word " + words[i];
    }
  }
  a = (1.0 + v[6] * 1e-6) * eulerZyx(v[5] / 3600.0, v[4] / 3600.0, v[3] / 3600.0);  // arc-seconds to degrees
  t = Eigen::Vector3d(v[0], v[1], v[2]);
  return std::string();
}

// The "ros" line rebuilt: x y z qx qy qz qw PARENT CHILD, the pose of CHILD in PARENT.
std::string rebuildRos(const std::string& line, const std::string& parent, const std::string& child,
                       Eigen::Matrix3d& a, Eigen::Vector3d& t) {
  std::istringstream in(line);
  double v[7];
  std::string p, c, rest;
  if (!(in >> v[0] >> v[1] >> v[2] >> v[3] >> v[4] >> v[5] >> v[6] >> p >> c) || (in >> rest))
    return "the ros line is not x y z qx qy qz qw PARENT CHILD: " + line;
  if (p != parent || c != child) return "the ros frames are " + p + " " + c;
  const Eigen::Quaterniond q(v[6], v[3], v[4], v[5]);
  if (std::fabs(q.norm() - 1.0) > 1e-12) return "the ros quaternion is not a unit one";
  a = q.toRotationMatrix();
  t = Eigen::Vector3d(v[0], v[1], v[2]);
  return std::string();
}

int check(int argc, char** argv) {
  if (argc < 6) return failure("check OUTPUT CANON MOTION TOLERANCE [options]");
  const std::string json = slurp(argv[2]);
  Pairs pairs;
  if (!readCanon(argv[3], pairs)) return failure(std::string("no pairs in ") + argv[3]);
  const std::string motionPath = argv[4];
  const double tolerance = std::atof(argv[5]);
  bool withResiduals = false, allowReflection = false, proj = false, ros = false, optimumRms = false;
  std::string model = "rigid", weightsPath, parent, child;
  Eigen::Vector3d axis(0, 0, 1);
  double expectedDet = 0.0;
  for (int i = 6; i < argc; ++i) {
    const std::string a = argv[i];
    if (a == "--residuals") {
      withResiduals = true;
    } else if (a == "--model" && i + 1 < argc) {
      model = argv[++i];
    } else if (a == "--axis" && i + 1 < argc) {
      if (!parseAxis(argv[++i], axis)) return failure("bad --axis");
    } else if (a == "--allow-reflection") {
      allowReflection = true;
    } else if (a == "--weights" && i + 1 < argc) {
      weightsPath = argv[++i];
    } else if (a == "--det" && i + 1 < argc) {
      expectedDet = std::atof(argv[++i]);
    } else if (a == "--proj") {
      proj = true;
    } else if (a == "--optimum-rms") {
      optimumRms = true;
    } else if (a == "--ros" && i + 2 < argc) {
      ros = true;
      parent = argv[++i];
      child = argv[++i];
    } else {
      return failure("unknown check option " + a);
    }
  }
  std::vector<double> weights;
  if (!weightsPath.empty()) {
    std::ifstream in(weightsPath);
    double w;
    while (in >> w) weights.push_back(w);
    if (weights.size() != pairs.size()) return failure("the weights do not match the pairs");
  }

  if (json.rfind("{\"status\":\"ok\",", 0) != 0)
    return failure("output does not start with the ok status: " + json);
  if (json.empty() || json.back() != '\n' || json.find('\n') != json.size() - 1)
    return failure("output is not one line");
  double count = 0;
  if (!jsonNumber(json, "pairs", count) || count != static_cast<double>(pairs.size()))
    return failure("wrong pair count in " + json.substr(0, 60));
  std::string printedModel;
  if (!jsonText(json, "model", printedModel) || printedModel != model)
    return failure("the model is not " + model);
  std::vector<double> m;
  if (!jsonArray(json, "matrix", m) || m.size() != 16) return failure("no 4x4 matrix");
  if (m[12] != 0 || m[13] != 0 || m[14] != 0 || m[15] != 1) return failure("last matrix row is not 0 0 0 1");
  Eigen::Matrix3d a;
  Eigen::Vector3d t;
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) a(i, j) = m[4 * i + j];
    t(i) = m[4 * i + 3];
  }

  // Scale, determinant and the rotation part.
  const double blockDet = a.determinant();
  const double scale = std::cbrt(std::fabs(blockDet));
  const double det = blockDet < 0 ? -1.0 : 1.0;
  double printedScale = 0, printedDet = 0;
  if (!jsonNumber(json, "scale", printedScale) || std::fabs(printedScale - scale) > 1e-12 * scale)
    return failure("the scale is not the cube root of the block's determinant: " + num(printedScale));
  if (model != "similarity" && std::fabs(scale - 1.0) > 1e-12) return failure("a scale other than 1");
  if (!jsonNumber(json, "det", printedDet) || printedDet != det)
    return failure("det is not the block's sign");
  if (!allowReflection && det != 1.0) return failure("a reflection without --allow-reflection");
  if (expectedDet != 0.0 && det != expectedDet)
    return failure("det is " + num(det) + ", not " + num(expectedDet));
  const Eigen::Matrix3d r = a / scale;
  if ((r * r.transpose() - Eigen::Matrix3d::Identity()).cwiseAbs().maxCoeff() > 1e-12)
    return failure("the block is not a scaled orthonormal matrix");
  const Eigen::Matrix3d p = det * r;  // the proper rotation the angles describe

  double extent = 0.0;
  for (const auto& q : pairs)
    extent = std::max({extent, q.first.cwiseAbs().maxCoeff(), q.second.cwiseAbs().maxCoeff()});
  const Fit best = referenceFit(pairs, weights, model, axis, allowReflection, extent);
  if (optimumRms) {
    // Weighted sums of squares, in units of the extent.
    double printedSs = 0.0, bestSs = 0.0, wsum = 0.0;
    for (std::size_t k = 0; k < pairs.size(); ++k) {
      const double w = weights.empty() ? 1.0 : weights[k];
      printedSs += w * ((pairs[k].second - (a * pairs[k].first + t)) / extent).squaredNorm();
      bestSs += w * ((pairs[k].second - (best.a * pairs[k].first + best.t)) / extent).squaredNorm();
      wsum += w;
    }
    const double printedRms = std::sqrt(printedSs / wsum), bestRms = std::sqrt(bestSs / wsum);
    if (printedRms > bestRms * (1.0 + 1e-9) + 1e-13)
      return failure("not the least-squares optimum: RMS " + num(printedRms * extent) + " against " +
                     num(bestRms * extent));
  } else {
    const double dLsqA = (a - best.a).cwiseAbs().maxCoeff() / std::max(1.0, best.a.cwiseAbs().maxCoeff());
    const double dLsqT = (t - best.t).cwiseAbs().maxCoeff() / extent;
    if (dLsqA > 1e-9 || dLsqT > 1e-9)
      return failure("not the least-squares motion: block off by " + num(dLsqA) + ", translation by " +
                     num(dLsqT) + " of the extent");
  }
  if (motionPath != "-") {
    std::ifstream motionIn(motionPath);
    Eigen::Matrix3d aTrue;
    Eigen::Vector3d tTrue;
    for (int i = 0; i < 3; ++i) motionIn >> aTrue(i, 0) >> aTrue(i, 1) >> aTrue(i, 2) >> tTrue(i);
    if (!motionIn) return failure("cannot read the motion " + motionPath);
    const double dTrueA = (a - aTrue).cwiseAbs().maxCoeff();
    const double dTrueT = (t - tTrue).cwiseAbs().maxCoeff() / extent;
    if (dTrueA > tolerance || dTrueT > tolerance)
      return failure("not the known motion: block off by " + num(dTrueA) + ", translation by " + num(dTrueT));
  }

  // The other forms, rebuilt into matrices from their conventions.
  std::vector<double> q, v, e, inv;
  if (!jsonArray(json, "quaternion", q) || q.size() != 4) return failure("no quaternion");
  const Eigen::Quaterniond quat(q[0], q[1], q[2], q[3]);  // Eigen's quaternions are Hamilton's
  if (std::fabs(quat.norm() - 1.0) > 1e-12 || q[0] < 0.0)
    return failure("the quaternion is not unit with w >= 0");
  if ((quat.toRotationMatrix() - p).cwiseAbs().maxCoeff() > 1e-12) return failure("the quaternion is not R");
  if (!jsonArray(json, "rotvec", v) || v.size() != 3) return failure("no rotation vector");
  const Eigen::Vector3d rv(v[0], v[1], v[2]);
  if (rv.norm() > kPi + 1e-12) return failure("the rotation angle exceeds pi");
  const Eigen::Matrix3d fromVector =
      rv.norm() == 0.0 ? Eigen::Matrix3d::Identity() : rotationAbout(rv.normalized(), rv.norm());
  if ((fromVector - p).cwiseAbs().maxCoeff() > 1e-12) return failure("the rotation vector is not R");
  if (!jsonArray(json, "euler_zyx_deg", e) || e.size() != 3) return failure("no Euler angles");
  if (std::fabs(e[1]) > 90.0) return failure("the pitch is outside [-90, 90]");
  if ((eulerZyx(e[0], e[1], e[2]) - p).cwiseAbs().maxCoeff() > 1e-9)
    return failure("the Euler angles are not R");
  if (!jsonArray(json, "inverse", inv) || inv.size() != 16) return failure("no 4x4 inverse");
  Eigen::Matrix4d mm, mi;
  for (int i = 0; i < 16; ++i) {
    mm(i / 4, i % 4) = m[static_cast<std::size_t>(i)];
    mi(i / 4, i % 4) = inv[static_cast<std::size_t>(i)];
  }
  Eigen::Matrix4d product = mi * mm;
  product.block<3, 1>(0, 3) /= extent;  // translations relative to the extent of the data
  if ((product - Eigen::Matrix4d::Identity()).cwiseAbs().maxCoeff() > 1e-12)
    return failure("the inverse times the matrix is not the identity");

  // Statistics of the residuals of the printed matrix.
  std::vector<double> d;
  double sum = 0, wsum = 0, largest = 0, smallest = HUGE_VAL, used = 0;
  for (std::size_t k = 0; k < pairs.size(); ++k) {
    const double w = weights.empty() ? 1.0 : weights[k];
    const double dk = (pairs[k].second - (a * pairs[k].first + t)).stableNorm();
    d.push_back(dk);
    wsum += w;
    if (w == 0.0) continue;
    ++used;
    sum += dk;
    largest = std::max(largest, dk);
    smallest = std::min(smallest, dk);
  }
  double squares = 0;  // of the residuals relative to the largest, so that tiny units do not underflow
  for (std::size_t k = 0; k < pairs.size(); ++k) {
    const double w = weights.empty() ? 1.0 : weights[k];
    if (largest > 0) squares += w * (d[k] / largest) * (d[k] / largest);
  }
  const double slack = 1e-12 * extent;
  double mean = 0, rms = 0, max = 0, min = 0;
  if (!jsonNumber(json, "mean", mean) || !jsonNumber(json, "rms", rms) || !jsonNumber(json, "max", max) ||
      !jsonNumber(json, "min", min))
    return failure("missing error statistics");
  if (std::fabs(mean - sum / used) > slack || std::fabs(rms - largest * std::sqrt(squares / wsum)) > slack ||
      std::fabs(max - largest) > slack || std::fabs(min - smallest) > slack)
    return failure("error statistics differ from the residuals of the printed matrix");
  double printedSum = 0;
  const bool hasSum = jsonNumber(json, "weight_sum", printedSum);
  if (hasSum != !weights.empty()) return failure(weights.empty() ? "unexpected weight_sum" : "no weight_sum");
  if (hasSum && std::fabs(printedSum - wsum) > 1e-12 * wsum) return failure("weight_sum is not the sum");
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

  // The exported lines, rebuilt.
  for (int which = 0; which < 2; ++which) {
    if (!(which == 0 ? proj : ros)) continue;
    std::string line;
    if (!jsonText(json, which == 0 ? "proj" : "ros", line))
      return failure(which == 0 ? "no proj line" : "no ros line");
    Eigen::Matrix3d ea;
    Eigen::Vector3d et;
    const std::string error =
        which == 0 ? rebuildProj(line, ea, et) : rebuildRos(line, parent, child, ea, et);
    if (!error.empty()) return failure(error);
    if ((ea - a).cwiseAbs().maxCoeff() > 1e-12 * std::max(1.0, scale) ||
        (et - t).cwiseAbs().maxCoeff() > slack)
      return failure(std::string(which == 0 ? "the proj" : "the ros") + " line is not the matrix: " + line);
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
