// The stand-in host libraries.
#include <cmath>
#include <cfloat>
#include <iostream>

#include "velmora/host.h"

void ut_report_assert_failure(const char* file, int line, const char* message) {
  std::cerr << file << "(" << line << "): " << message << std::endl;
}

double utMath::max_double() { return DBL_MAX; }

int utCheckValid::check_ok(const void* obj, const char* file, int line) const {
  if (obj != nullptr) return 1;
  ut_report_assert_failure(file, line, "null object");
  return 0;
}

giXform3::giXform3() {
  for (int r = 0; r < 4; ++r)
    for (int c = 0; c < 4; ++c) m_[r][c] = (r == c) ? 1.0 : 0.0;
}

giXform3::giXform3(giXformTranslateTag, const giVector3& t) : giXform3() {
  m_[0][3] = t.x();
  m_[1][3] = t.y();
  m_[2][3] = t.z();
}

void giXform3::premultiply(const giXform3& m) {
  double r[4][4];
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j) {
      double s = 0.0;
      for (int k = 0; k < 4; ++k) s += m.m_[i][k] * m_[k][j];
      r[i][j] = s;
    }
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j) m_[i][j] = r[i][j];
}

giPoint3 giXform3::transform(const giPoint3& p) const {
  const double x = p.x(), y = p.y(), z = p.z();
  return giPoint3(m_[0][0] * x + m_[0][1] * y + m_[0][2] * z + m_[0][3],
                  m_[1][0] * x + m_[1][1] * y + m_[1][2] * z + m_[1][3],
                  m_[2][0] * x + m_[2][1] * y + m_[2][2] * z + m_[2][3]);
}

giXform3Acc* giXform3Acc::access(giXform3* x) { return reinterpret_cast<giXform3Acc*>(x); }

void giXform3Acc::set_matrix_value(int row, int col, double v) {
  if (row < 0 || row > 2 || col < 0 || col > 2) {
    ut_report_assert_failure("giXform3Acc.h", 30, "argument out of range | giXform3Acc::set_matrix_value");
    return;
  }
  reinterpret_cast<giXform3*>(this)->m_[row][col] = v;
}

int ccMath::calc_norm_3pt(const giPoint3& a, const giPoint3& b, const giPoint3& c, giVector3& n) {
  const double ux = b.x() - a.x(), uy = b.y() - a.y(), uz = b.z() - a.z();
  const double vx = c.x() - a.x(), vy = c.y() - a.y(), vz = c.z() - a.z();
  const double cx = uy * vz - uz * vy, cy = uz * vx - ux * vz, cz = ux * vy - uy * vx;
  const double cross = std::sqrt(cx * cx + cy * cy + cz * cz);
  const double lu = std::sqrt(ux * ux + uy * uy + uz * uz);
  const double lv = std::sqrt(vx * vx + vy * vy + vz * vz);
  // Scale-aware: the sine of the angle at a must exceed 1e-12. Coincident points give 0 <= 0.
  if (!(cross > 1e-12 * lu * lv) || !std::isfinite(cross)) return 0;
  n = giVector3(cx / cross, cy / cross, cz / cross);
  return 1;
}
