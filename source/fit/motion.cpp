// The forms of a motion (quaternion, rotation vector, Euler angles, inverse) and the text forms other
// tools read (a PROJ Helmert line, a static transform publisher line).
#include <charconv>
#include <cmath>
#include <string>

#include "motionforms.h"
#include "velmora/fit.h"

namespace velmora {

namespace {

constexpr double kDegreesPerRadian = 57.295779513082320876798154814105;

// The unit quaternion (w, x, y, z) of the rotation p, by the branch of Shepperd's method (J. Guidance and
// Control 1(3), 1978) that divides by the largest of its four candidates, so that no branch loses digits.
void quaternionOf(const double p[3][3], double q[4]) {
  const double trace = p[0][0] + p[1][1] + p[2][2];
  if (trace >= p[0][0] && trace >= p[1][1] && trace >= p[2][2]) {
    const double w = 0.5 * std::sqrt(1.0 + trace);
    const double f = 0.25 / w;
    q[0] = w, q[1] = (p[2][1] - p[1][2]) * f, q[2] = (p[0][2] - p[2][0]) * f, q[3] = (p[1][0] - p[0][1]) * f;
  } else if (p[0][0] >= p[1][1] && p[0][0] >= p[2][2]) {
    const double x = 0.5 * std::sqrt(1.0 + p[0][0] - p[1][1] - p[2][2]);
    const double f = 0.25 / x;
    q[0] = (p[2][1] - p[1][2]) * f, q[1] = x, q[2] = (p[0][1] + p[1][0]) * f, q[3] = (p[0][2] + p[2][0]) * f;
  } else if (p[1][1] >= p[2][2]) {
    const double y = 0.5 * std::sqrt(1.0 - p[0][0] + p[1][1] - p[2][2]);
    const double f = 0.25 / y;
    q[0] = (p[0][2] - p[2][0]) * f, q[1] = (p[0][1] + p[1][0]) * f, q[2] = y, q[3] = (p[1][2] + p[2][1]) * f;
  } else {
    const double z = 0.5 * std::sqrt(1.0 - p[0][0] - p[1][1] + p[2][2]);
    const double f = 0.25 / z;
    q[0] = (p[1][0] - p[0][1]) * f, q[1] = (p[0][2] + p[2][0]) * f, q[2] = (p[1][2] + p[2][1]) * f, q[3] = z;
  }
  const double norm = std::sqrt(q[0] * q[0] + q[1] * q[1] + q[2] * q[2] + q[3] * q[3]);
  for (int k = 0; k < 4; ++k) q[k] /= norm;
  // One sign for the two quaternions of a rotation: w >= 0, and for a half turn (w = 0) the first non-zero
  // of x, y, z positive.
  int lead = 0;
  while (lead < 3 && q[lead] == 0.0) ++lead;
  if (q[lead] < 0.0)
    for (int k = 0; k < 4; ++k) q[k] = -q[k];
}

}  // namespace

void Motion::apply(const double p[3], double out[3]) const {
  for (int r = 0; r < 3; ++r)
    out[r] = ((matrix[r][0] * p[0] + matrix[r][1] * p[1]) + matrix[r][2] * p[2]) + matrix[r][3];
}

namespace detail {

void fillMotion(Motion& m, const double rotation[3][3], double scale, double det,
                const double translation[3]) {
  m.scale = scale;
  m.det = det;
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 3; ++c) {
      m.rotation[r][c] = rotation[r][c];
      m.matrix[r][c] = scale * rotation[r][c];
    }
    m.translation[r] = translation[r];
    m.matrix[r][3] = translation[r];
    m.matrix[3][r] = 0.0;
  }
  m.matrix[3][3] = 1.0;

  // The proper rotation the forms describe: R itself, or -R for a reflection.
  double p[3][3];
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 3; ++c) p[r][c] = det < 0.0 ? -rotation[r][c] : rotation[r][c];
  quaternionOf(p, m.quaternion);

  // Rotation vector: the angle from atan2 of the quaternion's halves is accurate near 0 and near a half turn.
  const double* q = m.quaternion;
  const double sine = std::sqrt(q[1] * q[1] + q[2] * q[2] + q[3] * q[3]);
  const double angle = 2.0 * std::atan2(sine, q[0]);
  for (int k = 0; k < 3; ++k) m.rotvec[k] = sine > 0.0 ? q[k + 1] / sine * angle : 0.0;

  // R = Rz(yaw) Ry(pitch) Rx(roll): p[2][0] = -sin(pitch), p[1][0] / p[0][0] = tan(yaw), p[2][1] / p[2][2] =
  // tan(roll). With cos(pitch) at the rounding level the sequence is locked: roll 0, yaw from the second
  // column.
  const double cosPitch = std::hypot(p[0][0], p[1][0]);
  const double pitch = std::atan2(-p[2][0], cosPitch);
  double yaw, roll;
  if (cosPitch > 1e-12) {
    yaw = std::atan2(p[1][0], p[0][0]);
    roll = std::atan2(p[2][1], p[2][2]);
  } else {
    yaw = std::atan2(-p[0][1], p[1][1]);
    roll = 0.0;
  }
  m.eulerZyxDeg[0] = yaw * kDegreesPerRadian;
  m.eulerZyxDeg[1] = pitch * kDegreesPerRadian;
  m.eulerZyxDeg[2] = roll * kDegreesPerRadian;

  // Inverse: p = R^T (q - t) / scale.
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 3; ++c) m.inverse[r][c] = rotation[c][r] / scale;
    m.inverse[r][3] = -((m.inverse[r][0] * translation[0] + m.inverse[r][1] * translation[1]) +
                        m.inverse[r][2] * translation[2]);
    m.inverse[3][r] = 0.0;
  }
  m.inverse[3][3] = 1.0;
}

}  // namespace detail

Motion motionFromMatrix(const double m[4][4]) {
  const double det = m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) -
                     m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
                     m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
  const double scale = std::cbrt(std::fabs(det));
  double rotation[3][3], translation[3];
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 3; ++c) rotation[r][c] = m[r][c] / scale;
    translation[r] = m[r][3];
  }
  Motion motion;
  detail::fillMotion(motion, rotation, scale, det < 0.0 ? -1.0 : 1.0, translation);
  // The matrix as given, to the bit, rather than rebuilt from its parts.
  for (int r = 0; r < 4; ++r)
    for (int c = 0; c < 4; ++c) motion.matrix[r][c] = m[r][c];
  return motion;
}

std::string formatNumber(double v) {
  if (std::isnan(v)) return "nan";
  if (std::isinf(v)) return v > 0 ? "inf" : "-inf";
  char buffer[40];
  const std::to_chars_result r =
      std::to_chars(buffer, buffer + sizeof buffer, v, std::chars_format::general, 17);
  return std::string(buffer, r.ptr);
}

std::string projHelmert(const Motion& motion) {
  if (motion.det < 0.0) return std::string();
  const double arcSeconds = 3600.0;
  return "+proj=helmert +convention=position_vector +x=" + formatNumber(motion.translation[0]) +
         " +y=" + formatNumber(motion.translation[1]) + " +z=" + formatNumber(motion.translation[2]) +
         " +rx=" + formatNumber(motion.eulerZyxDeg[2] * arcSeconds) +
         " +ry=" + formatNumber(motion.eulerZyxDeg[1] * arcSeconds) +
         " +rz=" + formatNumber(motion.eulerZyxDeg[0] * arcSeconds) +
         " +s=" + formatNumber((motion.scale - 1.0) * 1e6) + " +exact";
}

std::string rosStaticTransform(const Motion& motion, const std::string& parent, const std::string& child) {
  // A scale within rounding of 1 (a rigid matrix handed to motionFromMatrix) is no scale.
  if (motion.det < 0.0 || !(std::fabs(motion.scale - 1.0) <= 1e-9)) return std::string();
  const double* t = motion.translation;
  const double* q = motion.quaternion;
  return formatNumber(t[0]) + " " + formatNumber(t[1]) + " " + formatNumber(t[2]) + " " + formatNumber(q[1]) +
         " " + formatNumber(q[2]) + " " + formatNumber(q[3]) + " " + formatNumber(q[0]) + " " + parent + " " +
         child;
}

}  // namespace velmora
