// The exact fit: weighted moments in one pass, the motion of each model in closed form from them, and the
// residual statistics in one more pass.
#include "velmora/fit.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>

#include "fitpasses.h"
#include "motionforms.h"

namespace velmora {

namespace {

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();
// A set whose second principal spread is below this fraction of its largest (eigenvalues of the covariance
// below 1e-12 of the largest) is taken as collinear: the covariance's own rounding is about 1e-15 of it.
constexpr double kCollinearRatio = 1e-12;
// Points of the first pairs averaged into the origin of the sums: any nearby point keeps the sums of
// products small; an average of several is rarely an outlier.
constexpr std::size_t kOriginPoints = 32;
// Mean square spreads (per pair, in the current unit) kept without rescaling.
const double kSpreadLow = std::ldexp(1.0, -500);
const double kSpreadHigh = std::ldexp(1.0, 500);

std::string text(const char* format, double v) {
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, format, v);
  return buffer;
}

double coordinate(const PointsView& p, std::size_t i, int c) {
  return p.data[static_cast<std::ptrdiff_t>(i) * p.pointStride + c * p.coordStride];
}

// ---- symmetric eigenproblems -------------------------------------------------------------------------

// Eigenvalues (ascending) and eigenvectors (columns of v, in the same order) of the symmetric N x N matrix a,
// by the cyclic Jacobi method: orthogonal to working precision and accurate to the rounding of a's norm.
template <int N>
void symmetricEigen(const double in[N][N], double values[N], double v[N][N]) {
  double a[N][N];
  for (int r = 0; r < N; ++r)
    for (int c = 0; c < N; ++c) {
      a[r][c] = in[r][c];
      v[r][c] = r == c ? 1.0 : 0.0;
    }
  double norm = 0.0;
  for (int r = 0; r < N; ++r)
    for (int c = 0; c < N; ++c) norm += in[r][c] * in[r][c];
  // An off-diagonal element below this, or negligible beside both diagonal elements it couples, is set to
  // zero: what it would still move is below the rounding of the eigenvectors.
  const double negligible = 1e-3 * kEpsilon * std::sqrt(norm);
  for (int sweep = 0; sweep < 64; ++sweep) {
    bool rotated = false;
    for (int p = 0; p < N - 1; ++p)
      for (int q = p + 1; q < N; ++q) {
        const double g = 100.0 * std::fabs(a[p][q]);
        if (std::fabs(a[p][q]) <= negligible ||
            (std::fabs(a[p][p]) + g == std::fabs(a[p][p]) && std::fabs(a[q][q]) + g == std::fabs(a[q][q]))) {
          a[p][q] = a[q][p] = 0.0;
          continue;
        }
        rotated = true;
        // The rotation that zeroes a[p][q], with the smaller of the two angles (Golub and Van Loan 8.5.2).
        const double theta = (a[q][q] - a[p][p]) / (2.0 * a[p][q]);
        const double t = (theta >= 0.0 ? 1.0 : -1.0) / (std::fabs(theta) + std::sqrt(1.0 + theta * theta));
        const double c = 1.0 / std::sqrt(1.0 + t * t), s = t * c;
        for (int k = 0; k < N; ++k) {
          const double akp = a[k][p], akq = a[k][q];
          a[k][p] = c * akp - s * akq;
          a[k][q] = s * akp + c * akq;
        }
        for (int k = 0; k < N; ++k) {
          const double apk = a[p][k], aqk = a[q][k];
          a[p][k] = c * apk - s * aqk;
          a[q][k] = s * apk + c * aqk;
        }
        for (int k = 0; k < N; ++k) {
          const double vkp = v[k][p], vkq = v[k][q];
          v[k][p] = c * vkp - s * vkq;
          v[k][q] = s * vkp + c * vkq;
        }
        // Zero by construction; what the arithmetic left there is rounding.
        a[p][q] = a[q][p] = 0.0;
      }
    if (!rotated) break;
  }
  // Ascending order (selection sort: N is at most 4).
  for (int k = 0; k < N; ++k) values[k] = a[k][k];
  for (int i = 0; i < N; ++i) {
    int low = i;
    for (int j = i + 1; j < N; ++j)
      if (values[j] < values[low]) low = j;
    if (low == i) continue;
    std::swap(values[i], values[low]);
    for (int k = 0; k < N; ++k) std::swap(v[k][i], v[k][low]);
  }
}

// The packed symmetric 3x3 (xx, xy, xz, yy, yz, zz) as a full matrix.
void unpack(const double s[6], double m[3][3]) {
  m[0][0] = s[0], m[0][1] = m[1][0] = s[1], m[0][2] = m[2][0] = s[2];
  m[1][1] = s[3], m[1][2] = m[2][1] = s[4], m[2][2] = s[5];
}

// What the shape of one set allows.
struct Shape {
  double values[3];     // eigenvalues of the centred co-moments, ascending, in units of the moments' unit
  double conditioning;  // sqrt(smallest / largest), 0 for coincident points
  bool coincident;
  bool collinear;  // collinear or coincident
};

Shape shapeOf(const double comoments[6], const double mean[3], double weightSum, double unit) {
  Shape shape{};
  double m[3][3], v[3][3];
  unpack(comoments, m);
  symmetricEigen<3>(m, shape.values, v);
  const double largest = shape.values[2];
  // Coincident: no spread, or a spread at the rounding level of the coordinates themselves.
  const double magnitude = std::max({std::fabs(mean[0]), std::fabs(mean[1]), std::fabs(mean[2])});
  const double spread = largest > 0.0 ? std::sqrt(largest / weightSum) * unit : 0.0;
  shape.coincident = !(spread > 64.0 * kEpsilon * magnitude) || !(largest > 0.0);
  shape.collinear = shape.coincident || !(shape.values[1] > kCollinearRatio * largest);
  shape.conditioning = largest > 0.0 ? std::sqrt(std::max(shape.values[0], 0.0) / largest) : 0.0;
  return shape;
}

// ---- rotations ----------------------------------------------------------------------------------------

// The rotation of the unit quaternion (w, x, y, z), Hamilton convention.
void rotationOf(const double q[4], double r[3][3]) {
  const double w = q[0], x = q[1], y = q[2], z = q[3];
  r[0][0] = (w * w + x * x) - (y * y + z * z);
  r[1][1] = (w * w + y * y) - (x * x + z * z);
  r[2][2] = (w * w + z * z) - (x * x + y * y);
  r[0][1] = 2.0 * (x * y - w * z), r[1][0] = 2.0 * (x * y + w * z);
  r[0][2] = 2.0 * (x * z + w * y), r[2][0] = 2.0 * (x * z - w * y);
  r[1][2] = 2.0 * (y * z - w * x), r[2][1] = 2.0 * (y * z + w * x);
}

// sum over pairs of w (R x_c) . y_c = trace(R^T-free form): sum_ab R[b][a] st[a][b].
double alignmentScore(const double r[3][3], const double st[3][3]) {
  double score = 0.0;
  for (int a = 0; a < 3; ++a)
    for (int b = 0; b < 3; ++b) score += r[b][a] * st[a][b];
  return score;
}

// The rotation (or, when allowed and better, the reflection) R that maximises sum w (R x_c) . y_c, from
// Horn's symmetric 4x4 matrix (B. K. P. Horn, "Closed-form solution of absolute orientation using unit
// quaternions", J. Opt. Soc. Am. A 4(4), 1987): its largest eigenvalue's vector is the best rotation's
// quaternion. The matrix is linear in the co-moments, so its smallest eigenvalue's vector gives the best
// rotation P for the negated co-moments, and -P is the best reflection (K. S. Arun, T. S. Huang and
// S. D. Blostein, 1987; S. Umeyama, 1991, for the determinant). Returns false when two rotations fit
// equally well (the eigenvalue is double).
bool bestOrthogonal(const double st[3][3], bool allowReflection, double r[3][3], double& det) {
  const double sxx = st[0][0], sxy = st[0][1], sxz = st[0][2];
  const double syx = st[1][0], syy = st[1][1], syz = st[1][2];
  const double szx = st[2][0], szy = st[2][1], szz = st[2][2];
  const double n[4][4] = {
      {sxx + syy + szz, syz - szy, szx - sxz, sxy - syx},
      {syz - szy, sxx - syy - szz, sxy + syx, szx + sxz},
      {szx - sxz, sxy + syx, -sxx + syy - szz, syz + szy},
      {sxy - syx, szx + sxz, syz + szy, -sxx - syy + szz},
  };
  double values[4], v[4][4];
  symmetricEigen<4>(n, values, v);
  const double size = std::max(std::fabs(values[0]), std::fabs(values[3]));
  const double tie = 64.0 * kEpsilon * size;
  const bool reflect = allowReflection && -values[0] > values[3] + 1e-12 * size;
  const int k = reflect ? 0 : 3;
  const double gap = reflect ? values[1] - values[0] : values[3] - values[2];
  if (!(size > 0.0) || !(gap > tie)) return false;
  const double q[4] = {v[0][k], v[1][k], v[2][k], v[3][k]};
  const double norm = std::sqrt(q[0] * q[0] + q[1] * q[1] + q[2] * q[2] + q[3] * q[3]);
  const double unitQ[4] = {q[0] / norm, q[1] / norm, q[2] / norm, q[3] / norm};
  rotationOf(unitQ, r);
  det = 1.0;
  if (reflect) {
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j) r[i][j] = -r[i][j];
    det = -1.0;
  }
  return true;
}

// The unit vector of a non-zero finite vector, free of overflow and underflow.
bool unitVector(const double in[3], double out[3]) {
  const double largest = std::max({std::fabs(in[0]), std::fabs(in[1]), std::fabs(in[2])});
  if (!(largest > 0.0) || !std::isfinite(largest)) return false;
  const double s[3] = {in[0] / largest, in[1] / largest, in[2] / largest};
  const double norm = std::sqrt(s[0] * s[0] + s[1] * s[1] + s[2] * s[2]);
  for (int k = 0; k < 3; ++k) out[k] = s[k] / norm;
  return true;
}

// a^T m a for the packed symmetric m.
double quadratic(const double s[6], const double a[3]) {
  double m[3][3];
  unpack(s, m);
  double sum = 0.0;
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 3; ++c) sum += a[r] * m[r][c] * a[c];
  return sum;
}

// Rotation about the unit axis a by the angle whose cosine and sine are c and s (Rodrigues).
void axisRotation(const double a[3], double c, double s, double r[3][3]) {
  const double k = 1.0 - c;
  r[0][0] = c + k * a[0] * a[0], r[0][1] = k * a[0] * a[1] - s * a[2], r[0][2] = k * a[0] * a[2] + s * a[1];
  r[1][0] = k * a[1] * a[0] + s * a[2], r[1][1] = c + k * a[1] * a[1], r[1][2] = k * a[1] * a[2] - s * a[0];
  r[2][0] = k * a[2] * a[0] - s * a[1], r[2][1] = k * a[2] * a[1] + s * a[0], r[2][2] = c + k * a[2] * a[2];
}

// The best rotation about the unit axis a (or, when allowed and better, the best reflection in a plane
// that holds the axis). Writing x = x_par + x_perp, the rotation by t about a scores
// const + cos t S + sin t C with S = sum w x_perp . y_perp = trace(st) - a^T st a and
// C = sum w a . (x x y), so t = atan2(C, S) and the best score is hypot(C, S). A reflection I - 2 n n^T with
// n normal to a scores const + S - 2 n^T sym(st) n: n is the eigenvector of the smallest eigenvalue of
// sym(st) restricted to the plane normal to a. Returns false when no angle is better than another.
bool bestAboutAxis(const double st[3][3], const double a[3], bool allowReflection, double r[3][3],
                   double& det) {
  double ata = 0.0;
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) ata += a[i] * st[i][j] * a[j];
  const double s = (st[0][0] + st[1][1] + st[2][2]) - ata;
  const double c = a[0] * (st[1][2] - st[2][1]) + a[1] * (st[2][0] - st[0][2]) + a[2] * (st[0][1] - st[1][0]);
  const double proper = std::hypot(c, s);
  double size = 0.0;
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) size = std::max(size, std::fabs(st[i][j]));
  det = 1.0;
  if (allowReflection) {
    // An orthonormal basis (e1, e2) of the plane normal to a.
    const int lowest = std::fabs(a[0]) <= std::fabs(a[1]) ? (std::fabs(a[0]) <= std::fabs(a[2]) ? 0 : 2)
                                                          : (std::fabs(a[1]) <= std::fabs(a[2]) ? 1 : 2);
    double other[3] = {0, 0, 0};
    other[lowest] = 1.0;
    const double cross[3] = {a[1] * other[2] - a[2] * other[1], a[2] * other[0] - a[0] * other[2],
                             a[0] * other[1] - a[1] * other[0]};
    double e1[3], e2[3];
    unitVector(cross, e1);
    e2[0] = a[1] * e1[2] - a[2] * e1[1], e2[1] = a[2] * e1[0] - a[0] * e1[2],
    e2[2] = a[0] * e1[1] - a[1] * e1[0];
    const double* e[2] = {e1, e2};
    double b[2][2];
    for (int i = 0; i < 2; ++i)
      for (int j = 0; j < 2; ++j) {
        double sum = 0.0;
        for (int p = 0; p < 3; ++p)
          for (int q = 0; q < 3; ++q) sum += e[i][p] * 0.5 * (st[p][q] + st[q][p]) * e[j][q];
        b[i][j] = sum;
      }
    double mu[2], v[2][2];
    symmetricEigen<2>(b, mu, v);
    const double improper = mu[1] - mu[0];
    // Better by more than rounding, which also keeps a tie (planar sets, where the mirror fits as well)
    // proper.
    if (improper > proper + 1e-12 * size) {
      double n[3];
      for (int p = 0; p < 3; ++p) n[p] = v[0][0] * e1[p] + v[1][0] * e2[p];
      for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) r[i][j] = (i == j ? 1.0 : 0.0) - 2.0 * n[i] * n[j];
      det = -1.0;
      return true;
    }
  }
  if (!(proper > 64.0 * kEpsilon * size)) return false;
  axisRotation(a, s / proper, c / proper, r);
  return true;
}

std::string conditioningWarning(const char* setName, double conditioning) {
  return std::string("the ") + setName + " are close to a plane or a line (conditioning " +
         text("%.3g", conditioning) + ", below 1e-3): the alignment may be poorly determined";
}

void addLine(std::string& lines, const std::string& line) {
  if (!lines.empty()) lines += '\n';
  lines += line;
}

FitResult failure(FitResult result, Status status, const std::string& message) {
  result.status = status;
  result.message = message;
  return result;
}

// Largest |coordinate - origin| over both sets, pairs of weight 0 left out: what sets the unit of very
// large or very small data.
double largestOffset(const PointsView& s, const PointsView& t, const WeightsView& w,
                     const double originFrom[3], const double originTo[3]) {
  double largest = 0.0;
  for (std::size_t i = 0; i < s.count; ++i)
    for (int c = 0; c < 3; ++c)
      if (w.data == nullptr || w.data[static_cast<std::ptrdiff_t>(i) * w.stride] != 0.0)
        largest = std::max({largest, std::fabs(coordinate(s, i, c) - originFrom[c]),
                            std::fabs(coordinate(t, i, c) - originTo[c])});
  return largest;
}

// mean + low += d, the sum kept to about twice the double precision (Knuth's two-sum of the high parts, the
// error carried in the low part).
void addToMean(double& mean, double& low, double d) {
  const double sum = mean + d;
  const double back = sum - d;
  const double error = (mean - back) + (d - (sum - back));
  const double carried = low + error;
  mean = sum + carried;
  low = carried - (mean - sum);
}

}  // namespace

// ---- names --------------------------------------------------------------------------------------------

const char* modelName(Model model) {
  switch (model) {
    case Model::rigid:
      return "rigid";
    case Model::similarity:
      return "similarity";
    case Model::translation:
      return "translation";
    case Model::axis:
      return "axis";
  }
  return "rigid";
}

bool parseModel(const char* text, Model& model) {
  if (text == nullptr) return false;
  for (Model m : {Model::rigid, Model::similarity, Model::translation, Model::axis})
    if (std::strcmp(text, modelName(m)) == 0) {
      model = m;
      return true;
    }
  return false;
}

std::size_t minimumPairs(Model model) {
  switch (model) {
    case Model::translation:
      return 1;
    case Model::axis:
      return 2;
    default:
      return 3;
  }
}

// ---- moments ------------------------------------------------------------------------------------------

void Moments::merge(const Moments& other) {
  if (other.weightSum == 0.0) {
    pairs += other.pairs;
    return;
  }
  if (weightSum == 0.0) {
    const std::size_t mine = pairs;
    *this = other;
    pairs += mine;
    return;
  }
  // Both sets of co-moments in the larger unit (powers of two: the conversion is exact unless it underflows).
  Moments b = other;
  const double common = std::max(unit, b.unit);
  auto rescale = [common](Moments& m) {
    if (m.unit == common) return;
    const double f = (m.unit / common) * (m.unit / common);
    for (int k = 0; k < 6; ++k) m.ss[k] *= f, m.tt[k] *= f;
    for (auto& row : m.st)
      for (double& e : row) e *= f;
    m.unit = common;
  };
  rescale(*this);
  rescale(b);
  // Chan, Golub and LeVeque's pairwise update: co-moments about the merged means gain the product of the
  // mean differences weighted by wa wb / (wa + wb).
  const double total = weightSum + b.weightSum;
  const double f = weightSum * (b.weightSum / total);
  double dFrom[3], dTo[3];
  for (int c = 0; c < 3; ++c) {
    dFrom[c] = ((b.meanFrom[c] - meanFrom[c]) + (b.meanFromLow[c] - meanFromLow[c])) / common;
    dTo[c] = ((b.meanTo[c] - meanTo[c]) + (b.meanToLow[c] - meanToLow[c])) / common;
  }
  const int index[6][2] = {{0, 0}, {0, 1}, {0, 2}, {1, 1}, {1, 2}, {2, 2}};
  for (int k = 0; k < 6; ++k) {
    ss[k] += b.ss[k] + f * dFrom[index[k][0]] * dFrom[index[k][1]];
    tt[k] += b.tt[k] + f * dTo[index[k][0]] * dTo[index[k][1]];
  }
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 3; ++c) st[r][c] += b.st[r][c] + f * dFrom[r] * dTo[c];
  const double share = b.weightSum / total;
  for (int c = 0; c < 3; ++c) {
    addToMean(meanFrom[c], meanFromLow[c], dFrom[c] * common * share);
    addToMean(meanTo[c], meanToLow[c], dTo[c] * common * share);
  }
  weightSum = total;
  pairs += b.pairs;
}

Status computeMoments(const PointsView& source, const PointsView& target, const WeightsView& weights,
                      Moments& moments, std::string* message) {
  auto fail = [message](Status status, const std::string& why) {
    if (message != nullptr) *message = why;
    return status;
  };
  moments = Moments();
  const std::size_t n = source.count;
  if (target.count != n)
    return fail(Status::badArgument, "the source has " + std::to_string(n) + " points but the target has " +
                                         std::to_string(target.count) + ": the counts must match");
  if (n > 0 && (source.data == nullptr || target.data == nullptr))
    return fail(Status::badArgument, "point data missing for a non-empty set");
  if (message != nullptr) message->clear();
  if (n == 0) return Status::ok;

  // The weights first: one cheap pass that also counts the pairs that take part.
  std::size_t counted = n;
  if (weights.data != nullptr) {
    counted = 0;
    for (std::size_t i = 0; i < n; ++i) {
      const double w = weights.data[static_cast<std::ptrdiff_t>(i) * weights.stride];
      if (!(w >= 0.0) || !std::isfinite(w))
        return fail(Status::badWeight, "weight[" + std::to_string(i) + "] is " + formatNumber(w) +
                                           ": weights must be finite and >= 0");
      counted += w != 0.0;
    }
  }
  moments.pairs = counted;

  // Sums about the average of the first points that take part (a pair of weight 0 may lie anywhere):
  // differences from a nearby point keep the sums of products small, so that removing the means afterwards
  // costs no digits even far from the coordinates' origin.
  auto counts = [&weights](std::size_t i) {
    return weights.data == nullptr || weights.data[static_cast<std::ptrdiff_t>(i) * weights.stride] != 0.0;
  };
  double originFrom[3] = {0, 0, 0}, originTo[3] = {0, 0, 0};
  std::size_t taken = 0;
  for (std::size_t i = 0; i < n && taken < kOriginPoints; ++i)
    if (counts(i)) {
      ++taken;
      for (int c = 0; c < 3; ++c)
        originFrom[c] += coordinate(source, i, c), originTo[c] += coordinate(target, i, c);
    }
  for (int c = 0; c < 3; ++c) {
    originFrom[c] = taken > 0 ? originFrom[c] / static_cast<double>(taken) : coordinate(source, 0, c);
    originTo[c] = taken > 0 ? originTo[c] / static_cast<double>(taken) : coordinate(target, 0, c);
  }
  double unit = 1.0;
  detail::RawMoments sums{};
  bool finite = true;
  for (int attempt = 0; attempt < 2; ++attempt) {
    detail::sumMoments(source, target, weights, originFrom, originTo, unit, sums);
    finite = std::isfinite(sums.w);
    double spread = 0.0;
    for (int c = 0; c < 3; ++c) {
      finite = finite && std::isfinite(sums.sx[c]) && std::isfinite(sums.sy[c]);
      spread = std::max(
          {spread, sums.sxx[0] + sums.sxx[3] + sums.sxx[5], sums.syy[0] + sums.syy[3] + sums.syy[5]});
    }
    for (int k = 0; k < 6; ++k) finite = finite && std::isfinite(sums.sxx[k]) && std::isfinite(sums.syy[k]);
    for (const auto& row : sums.sxy)
      for (double e : row) finite = finite && std::isfinite(e);
    const bool originFinite = std::isfinite(originFrom[0] + originFrom[1] + originFrom[2] + originTo[0] +
                                            originTo[1] + originTo[2]);
    if (attempt > 0 || !originFinite) break;
    // Squares out of range: divide the differences by a power of two near their size and sum again.
    const double perPair = sums.w > 0.0 ? spread / sums.w : 0.0;
    if (finite && perPair > kSpreadLow && perPair < kSpreadHigh) break;
    const double largest = largestOffset(source, target, weights, originFrom, originTo);
    if (!std::isfinite(largest) || largest == 0.0) break;
    int exponent = 0;
    std::frexp(largest, &exponent);
    unit = std::ldexp(1.0, exponent);
  }
  if (!finite) {
    for (std::size_t i = 0; i < n; ++i)
      for (int c = 0; c < 3; ++c)
        for (const PointsView* p : {&source, &target})
          if (!std::isfinite(coordinate(*p, i, c)))
            return fail(Status::badCoordinate, std::string(p == &source ? "source" : "target") + " point " +
                                                   std::to_string(i) + " has the coordinate " +
                                                   formatNumber(coordinate(*p, i, c)) +
                                                   ": coordinates must be finite");
    return fail(Status::outOfRange, "the coordinates are too large for their squares to be formed");
  }

  // Means and co-moments about the means (in the unit).
  moments.weightSum = sums.w;
  moments.unit = unit;
  if (!(sums.w > 0.0)) {
    for (int c = 0; c < 3; ++c) moments.meanFrom[c] = originFrom[c], moments.meanTo[c] = originTo[c];
    return Status::ok;
  }
  double mx[3], my[3];
  for (int c = 0; c < 3; ++c) {
    mx[c] = sums.sx[c] / sums.w;
    my[c] = sums.sy[c] / sums.w;
    moments.meanFrom[c] = originFrom[c];
    moments.meanTo[c] = originTo[c];
    addToMean(moments.meanFrom[c], moments.meanFromLow[c], mx[c] * unit);
    addToMean(moments.meanTo[c], moments.meanToLow[c], my[c] * unit);
  }
  const int index[6][2] = {{0, 0}, {0, 1}, {0, 2}, {1, 1}, {1, 2}, {2, 2}};
  for (int k = 0; k < 6; ++k) {
    moments.ss[k] = sums.sxx[k] - sums.sx[index[k][0]] * mx[index[k][1]];
    moments.tt[k] = sums.syy[k] - sums.sy[index[k][0]] * my[index[k][1]];
  }
  for (int k : {0, 3, 5}) {
    moments.ss[k] = std::max(moments.ss[k], 0.0);
    moments.tt[k] = std::max(moments.tt[k], 0.0);
  }
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 3; ++c) moments.st[r][c] = sums.sxy[r][c] - sums.sx[r] * my[c];
  return Status::ok;
}

// ---- solving ------------------------------------------------------------------------------------------

FitResult solve(const Moments& moments, const FitOptions& options) {
  FitResult result;
  result.model = options.model;
  result.pairs = moments.pairs;
  result.weightSum = moments.weightSum;
  const char* name = modelName(options.model);

  double axis[3] = {0, 0, 1};
  if (options.model == Model::axis && !unitVector(options.axis, axis))
    return failure(result, Status::badArgument, "the axis must be a finite, non-zero vector");
  const std::size_t needed = minimumPairs(options.model);
  if (moments.pairs < needed || !(moments.weightSum > 0.0))
    return failure(result, Status::tooFewPairs,
                   std::string("the ") + name + " model needs at least " + std::to_string(needed) +
                       (needed == 1 ? " pair" : " pairs") + " with a non-zero weight, " +
                       std::to_string(moments.pairs) + " given");

  const Shape from = shapeOf(moments.ss, moments.meanFrom, moments.weightSum, moments.unit);
  const Shape to = shapeOf(moments.tt, moments.meanTo, moments.weightSum, moments.unit);
  result.conditioningFrom = from.conditioning;
  result.conditioningTo = to.conditioning;

  double r[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
  double det = 1.0, scale = 1.0;
  switch (options.model) {
    case Model::translation:
      break;
    case Model::rigid:
    case Model::similarity: {
      if (from.collinear)
        return failure(result, Status::degenerate,
                       "the points to move are all collinear or coincident: the rotation is not determined");
      if (to.collinear)
        return failure(result, Status::degenerate,
                       "the target points are all collinear or coincident: the rotation is not determined");
      if (!bestOrthogonal(moments.st, options.allowReflection, r, det))
        return failure(
            result, Status::degenerate,
            "two different rotations fit these pairs equally well: the rotation is not determined");
      if (options.model == Model::similarity) {
        // Umeyama's scale: the score of the best rotation over the source's centred sum of squares.
        const double sum = moments.ss[0] + moments.ss[3] + moments.ss[5];
        scale = alignmentScore(r, moments.st) / sum;
        if (!(scale > 0.0) || !std::isfinite(scale))
          return failure(result, Status::degenerate, "the pairs do not determine a positive scale");
      }
      if (from.conditioning < kConditioningWarning)
        addLine(result.warning, conditioningWarning("points to move", from.conditioning));
      if (to.conditioning < kConditioningWarning)
        addLine(result.warning, conditioningWarning("target points", to.conditioning));
      break;
    }
    case Model::axis: {
      // The spread of each set across the axis decides the angle.
      const struct {
        const double* comoments;
        const Shape* shape;
        const char* setName;
      } sets[2] = {{moments.ss, &from, "points to move"}, {moments.tt, &to, "target points"}};
      for (const auto& set : sets) {
        const double total = set.comoments[0] + set.comoments[3] + set.comoments[5];
        const double across = std::max(total - quadratic(set.comoments, axis), 0.0);
        if (set.shape->coincident || !(across > kCollinearRatio * total))
          return failure(result, Status::degenerate,
                         std::string("the ") + set.setName +
                             " all lie on one line parallel to the axis: the rotation about the axis is not "
                             "determined");
        const double ratio = std::sqrt(across / total);
        if (ratio < kConditioningWarning)
          addLine(result.warning, std::string("the ") + set.setName +
                                      " lie close to a line parallel to the axis (spread across the axis " +
                                      text("%.3g", ratio) +
                                      " of the whole, below 1e-3): the rotation may be poorly determined");
      }
      if (!bestAboutAxis(moments.st, axis, options.allowReflection, r, det))
        return failure(
            result, Status::degenerate,
            "every angle about the axis fits these pairs equally well: the rotation is not determined");
      break;
    }
  }

  // The translation carries the source mean, moved, onto the target mean.
  double t[3];
  for (int i = 0; i < 3; ++i)
    t[i] = moments.meanTo[i] - scale * ((r[i][0] * moments.meanFrom[0] + r[i][1] * moments.meanFrom[1]) +
                                        r[i][2] * moments.meanFrom[2]);
  detail::fillMotion(result.motion, r, scale, det, t);
  result.status = Status::ok;
  return result;
}

FitResult fit(const PointsView& source, const PointsView& target, const WeightsView& weights,
              const FitOptions& options) {
  Moments moments;
  std::string message;
  const Status status = computeMoments(source, target, weights, moments, &message);
  if (status != Status::ok) {
    FitResult result;
    result.model = options.model;
    return failure(result, status, message);
  }
  FitResult result = solve(moments, options);
  if (!result.ok() || !(options.statistics || options.perPair)) return result;

  if (options.perPair) {
    result.residualVectors.assign(3 * source.count, 0.0);
    result.residuals.assign(source.count, 0.0);
  }
  double a[3][3];
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 3; ++c) a[r][c] = result.motion.scale * result.motion.rotation[r][c];
  detail::ResidualSums sums{};
  detail::sumResiduals(source, target, weights, moments.meanFrom, moments.meanTo, a, moments.unit, sums,
                       options.perPair ? result.residualVectors.data() : nullptr,
                       options.perPair ? result.residuals.data() : nullptr);
  result.mean = sums.sumDistance / static_cast<double>(moments.pairs);
  result.rms = std::sqrt(sums.sumWeightedSquare / moments.weightSum) * moments.unit;
  result.max = sums.max;
  result.min = sums.min;
  result.hasStatistics = true;
  return result;
}

FitResult fit(const double* source, const double* target, std::size_t n, const double* weights,
              const FitOptions& options) {
  PointsView s, t;
  s.data = source, s.count = n;
  t.data = target, t.count = n;
  WeightsView w;
  w.data = weights;
  return fit(s, t, w, options);
}

}  // namespace velmora
