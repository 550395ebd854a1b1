// The stand-in host libraries.
#include "velmora/host.h"

#include <cmath>
#include <iostream>

void ut_report_assert_failure(const char* file, int line, const char* message) {
  std::cerr << file << "(" << line << "): " << message << std::endl;
}


int utCheckValid::check_ok(const void* obj, const char* file, int line) const {
  if (obj != nullptr) return 1;
  ut_report_assert_failure(file, line, "null object");
  return 0;
}

giXform3::giXform3() {
  acc_.target_ = this;
  for (int r = 0; r < 4; ++r)
    for (int c = 0; c < 4; ++c) m_[r][c] = (r == c) ? 1.0 : 0.0;
}

giXform3::giXform3(giXformTranslateTag, const giVector3& t) : giXform3() {
  m_[0][3] = t.x();
  m_[1][3] = t.y();
  m_[2][3] = t.z();
}

giXform3::giXform3(const giXform3& other) {
  acc_.target_ = this;
  for (int r = 0; r < 4; ++r)
    for (int c = 0; c < 4; ++c) m_[r][c] = other.m_[r][c];
}

giXform3& giXform3::operator=(const giXform3& other) {
  for (int r = 0; r < 4; ++r)
    for (int c = 0; c < 4; ++c) m_[r][c] = other.m_[r][c];
  return *this;
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

giXform3Acc* giXform3Acc::access(giXform3* x) { return &x->acc_; }

void giXform3Acc::set_matrix_value(int row, int col, double v) {
  if (row < 0 || row > 2 || col < 0 || col > 2) {
    ut_report_assert_failure("giXform3Acc.h", 30, "argument out of range | giXform3Acc::set_matrix_value");
    return;
  }
  target_->m_[row][col] = v;
}

int ccMath::calc_norm_3pt(const giPoint3& a, const giPoint3& b, const giPoint3& c, giVector3& n) {
  const double ux = b.x() - a.x(), uy = b.y() - a.y(), uz = b.z() - a.z();
  const double vx = c.x() - a.x(), vy = c.y() - a.y(), vz = c.z() - a.z();
  // The edges are made unit vectors first, so that the test is scale-aware and squares never overflow:
  // the cross product's norm is then the sine of the angle at a, which must exceed 1e-12.
  const double lu = std::hypot(ux, uy, uz);
  const double lv = std::hypot(vx, vy, vz);
  if (!(lu > 0.0) || !(lv > 0.0) || !std::isfinite(lu) || !std::isfinite(lv)) return 0;  // coincident
  const double ax = ux / lu, ay = uy / lu, az = uz / lu;
  const double bx = vx / lv, by = vy / lv, bz = vz / lv;
  const double cx = ay * bz - az * by, cy = az * bx - ax * bz, cz = ax * by - ay * bx;
  const double sine = std::hypot(cx, cy, cz);
  if (!(sine > 1e-12)) return 0;
  n = giVector3(cx / sine, cy / sine, cz / sine);
  return 1;
}
