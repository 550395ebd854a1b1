// The exact fit: the motion that best carries one set of points onto another in the weighted least-squares
// sense, in closed form, for four models (rigid, similarity, translation only, rotation about a given axis),
// with an explicit reflection policy, residual statistics and the usual forms of the result (quaternion,
// rotation vector, Euler angles, inverse). Plain doubles in, a result struct out; no exception is thrown
// for bad data: the result's status says what is wrong.
//
// Conventions, everywhere in velmora's fit API, in velmora-align and in the Python package:
// - the motion maps the source onto the target: target[i] ~ T(source[i]) = scale * R * source[i] + t;
// - matrix: 4x4, row-major, scale * R in the upper-left 3x3 block, t in the last column, last row 0 0 0 1;
// - residual vector of pair i: target[i] - T(source[i]); its length is the pair's residual distance;
// - quaternion (w, x, y, z), Hamilton convention (i j = k), the rotation x -> q x q*, with w >= 0 (when
//   w is 0, the first non-zero of x, y, z is positive);
// - rotation vector: the unit axis times the angle in radians, the angle in [0, pi];
// - Euler angles (yaw, pitch, roll) in degrees, intrinsic Z-Y'-X'': R = Rz(yaw) Ry(pitch) Rx(roll), pitch in
//   [-90, 90]; at pitch +-90 (gimbal lock) roll is 0;
// - det -1 (a reflection, only when allowed and better): R = -P with P a proper rotation, and the
//   quaternion, rotation vector and Euler angles describe P.
#ifndef VELMORA_FIT_H
#define VELMORA_FIT_H

#include <cstddef>
#include <limits>
#include <string>
#include <vector>

namespace velmora {

// N points read in place: coordinate c of point i is data[i * pointStride + c * coordStride] (strides in
// doubles, either sign). The default strides are those of an array of N x 3 doubles.
struct PointsView {
  const double* data = nullptr;
  std::size_t count = 0;
  std::ptrdiff_t pointStride = 3;
  std::ptrdiff_t coordStride = 1;
};

// N weights read in place: weight i is data[i * stride]. A null data means every weight is 1.
struct WeightsView {
  const double* data = nullptr;
  std::ptrdiff_t stride = 1;
};

enum class Model {
  rigid,        // rotation and translation (6 degrees of freedom)
  similarity,   // rotation, translation and one scale factor (7: the Helmert transformation)
  translation,  // translation only (3)
  axis,         // rotation about a given direction, through a point the fit finds, and translation (4)
};

enum class Status {
  ok,
  badArgument,    // inconsistent call: null data with a non-zero count, counts that differ, a zero axis
  badCoordinate,  // a NaN or infinite coordinate
  badWeight,      // a negative, NaN or infinite weight
  tooFewPairs,    // fewer pairs with a non-zero weight than the model needs
  degenerate,     // the data cannot determine the model (collinear or coincident points, ...)
  outOfRange,     // the coordinates are too large or too small for their squares to be formed
};

// "rigid", "similarity", "translation", "axis"; parseModel returns false for any other text.
const char* modelName(Model model);
bool parseModel(const char* text, Model& model);

// The least number of pairs with a non-zero weight each model needs: 3, 3, 1, 2.
std::size_t minimumPairs(Model model);

// Below this conditioning (see FitResult) a set is nearly flat or nearly a line and the fit warns.
constexpr double kConditioningWarning = 1e-3;

struct FitOptions {
  Model model = Model::rigid;
  double axis[3] = {0.0, 0.0, 1.0};  // the rotation axis of Model::axis; any non-zero length
  bool allowReflection = false;      // rigid, similarity and axis: a mirror image may be returned (det -1)
  bool statistics = true;            // mean, rms, max, min of the residual distances (one more pass)
  bool perPair = false;              // every pair's residual vector and distance (implies statistics)
};

// A motion in every form the fit reports. Built from a 4x4 matrix by motionFromMatrix.
struct Motion {
  double matrix[4][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}};
  double rotation[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};  // R, orthogonal, det R = det
  double translation[3] = {0, 0, 0};
  double scale = 1.0;
  double det = 1.0;
  double quaternion[4] = {1, 0, 0, 0};  // w, x, y, z
  double rotvec[3] = {0, 0, 0};         // radians
  double eulerZyxDeg[3] = {0, 0, 0};    // yaw, pitch, roll
  double inverse[4][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}};
  // T(p): scale * R * p + t.
  void apply(const double p[3], double out[3]) const;
};

// The forms of the motion whose matrix is m (upper-left block scale * R with R orthogonal): the scale is
// the cube root of the block's determinant in magnitude, det its sign.
Motion motionFromMatrix(const double m[4][4]);

// The sufficient statistics of a weighted fit: the weight sum, the weighted means of both sets and their
// centred second moments (sums of w (a - mean a)(b - mean b)). Two sets of moments merge into those of all
// their pairs, to rounding, in the centred form that keeps large offsets harmless.
struct Moments {
  double weightSum = 0.0;  // sum of the weights
  std::size_t pairs = 0;   // pairs with a non-zero weight
  double meanFrom[3] = {0, 0, 0};
  double meanTo[3] = {0, 0, 0};
  // What rounding the means to doubles left out (the mean is meanFrom + meanFromLow): far from the origin
  // the rounding of a mean is larger than the digits that merging chunks metres apart needs.
  double meanFromLow[3] = {0, 0, 0};
  double meanToLow[3] = {0, 0, 0};
  // Centred co-moments, in units of `unit` squared: ss = source with source (xx, xy, xz, yy, yz, zz),
  // tt = target with target (same order), st[a][b] = source coordinate a with target coordinate b.
  double ss[6] = {0, 0, 0, 0, 0, 0};
  double tt[6] = {0, 0, 0, 0, 0, 0};
  double st[3][3] = {{0, 0, 0}, {0, 0, 0}, {0, 0, 0}};
  // A power of two by which the centred coordinates were divided before their products were formed, so
  // that neither very large nor very small coordinates overflow or underflow (1 for ordinary data).
  double unit = 1.0;

  // Adds other's pairs to these.
  void merge(const Moments& other);
};

// The moments of the pairs (source[i], target[i]) in one pass over the data. Returns Status::ok, or the
// problem with the data (and its text in message): counts that differ, a bad coordinate or weight.
Status computeMoments(const PointsView& source, const PointsView& target, const WeightsView& weights,
                      Moments& moments, std::string* message = nullptr);

struct FitResult {
  Status status = Status::badArgument;
  // Empty when status is ok, else one line saying what is wrong, e.g. "the points to move are all
  // collinear or coincident: the rotation is not determined".
  std::string message;
  // Empty, or one line per nearly degenerate set (the fit is still returned), e.g. "the target points are
  // close to a plane or a line (conditioning 2.5e-05, below 1e-3): the alignment may be poorly determined".
  std::string warning;
  Model model = Model::rigid;
  Motion motion;

  // Residual distances |target[i] - T(source[i])| over the pairs with a non-zero weight: their mean,
  // largest and smallest, and the root mean square weighted by the weights (sqrt(sum w d^2 / sum w));
  // NaN when statistics were not asked for.
  double mean = std::numeric_limits<double>::quiet_NaN();
  double rms = std::numeric_limits<double>::quiet_NaN();
  double max = std::numeric_limits<double>::quiet_NaN();
  double min = std::numeric_limits<double>::quiet_NaN();
  bool hasStatistics = false;
  // When perPair was asked for: every pair's residual vector (x, y, z, pair after pair) and distance, in
  // input order, zero-weight pairs included.
  std::vector<double> residualVectors;
  std::vector<double> residuals;

  // Conditioning of each set: the smallest principal spread (square root of an eigenvalue of the weighted
  // covariance of the centred points) divided by the largest; 1 for a well spread set, 0 for a flat one.
  double conditioningFrom = 0.0;
  double conditioningTo = 0.0;
  std::size_t pairs = 0;   // pairs with a non-zero weight
  double weightSum = 0.0;  // their weight sum (the pair count when unweighted)

  bool ok() const { return status == Status::ok; }
};

// The least-squares fit of the model to the pairs (source[i], target[i]) with weights w[i]: the motion T
// that minimises sum w[i] |target[i] - T(source[i])|^2, in closed form.
FitResult fit(const PointsView& source, const PointsView& target, const WeightsView& weights = WeightsView(),
              const FitOptions& options = FitOptions());

// The same for n points of three doubles each, contiguous, and optional weights (null: all 1).
FitResult fit(const double* source, const double* target, std::size_t n, const double* weights = nullptr,
              const FitOptions& options = FitOptions());

// The motion of the model from moments alone (no residuals: statistics are NaN, per-pair fields empty).
FitResult solve(const Moments& moments, const FitOptions& options = FitOptions());

// The motion as one line that PROJ's helmert operation reads, in the position-vector convention with the
// exact rotation: "+proj=helmert +convention=position_vector +x=.. +y=.. +z=.. +rx=.. +ry=.. +rz=.. +s=..
// +exact", rotations in arc-seconds (rx = roll, ry = pitch, rz = yaw), s the scale difference in ppm.
// Empty for a reflection, which the operation cannot express.
std::string projHelmert(const Motion& motion);

// The motion as the arguments of a static transform publisher: "x y z qx qy qz qw PARENT CHILD".
// Empty for a reflection or a scale other than 1.
std::string rosStaticTransform(const Motion& motion, const std::string& parent, const std::string& child);

// v with 17 significant digits (C's %.17g) and no trailing zeros, which reads back as v, independent of the
// locale: "1", "0.10000000000000001", "1.5e-05"; "nan", "inf", "-inf" for non-finite values.
std::string formatNumber(double v);

}  // namespace velmora

#endif
