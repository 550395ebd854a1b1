// Points, vectors and homogeneous poles: the operations that are not hot enough to live in-line
// (metric helpers, axis selection, casts, text and binary forms).
#include "velmora/vector3d.h"

#include <cmath>
#include <istream>
#include <ostream>

#include "velmora/ercommon.h"
#include "velmora/erfile.h"

#define ER_THIS_UNIT "source/align/vector3d"

namespace {

// "<c0,c1,...>" with the stream's own double format, no spaces.
void writeCoords(std::ostream& os, const double* c, int n) {
  os << '<' << c[0];
  for (int i = 1; i < n; ++i) os << ',' << c[i];
  os << '>';
}

// One character, then a double and one character per coordinate. The characters are not checked;
// on a stream failure the values read so far, and zero for the rest, are returned all the same.
template <int N>
void readCoords(std::istream& is, double (&out)[N]) {
  char sep;
  double read[N] = {};
  is >> sep;
  for (int i = 0; i < N; ++i) {
    is >> read[i];
    is >> sep;
  }
  for (int i = 0; i < N; ++i) out[i] = read[i];
}

void saveRaw(ERFile& f, const double* c, unsigned bytes) { f.Write(reinterpret_cast<const char*>(c), bytes); }
void restoreRaw(ERFile& f, double* c, unsigned bytes) { f.Read(reinterpret_cast<char*>(c), bytes); }

// The stored coordinates of a pole are all but the last component, the weight.
template <int N>
void scaleWeighted(double (&c)[N], double s) {
  for (int i = 0; i < N - 1; ++i) c[i] *= s;
}
template <int N>
void translateWeighted(double (&c)[N], const double* t) {
  for (int i = 0; i < N - 1; ++i) c[i] += t[i] * c[N - 1];
}

ERVector3D vectorOfText(const char* text) {
  ERVector3D v;
  v[static_cast<Coord3D>(text[0] - 'X')] = (text[1] == '+') ? 1.0 : -1.0;
  return v;
}

}  // namespace

// ---------------------------------------------------------------------------------------------------
// Points

ERPoint3D ERPoint2D::castToPoint3D(Coord3D a, double w) const {
  switch (a) {
    case X3D:
      return ERPoint3D(w, c_[0], c_[1]);
    case Y3D:
      return ERPoint3D(c_[0], w, c_[1]);
    case Z3D:
      return ERPoint3D(c_[0], c_[1], w);
    default:
      return ERPoint3D();
  }
}

ERPoint2D ERPoint3D::castToPoint2D(Coord3D a) const {
  switch (a) {
    case X3D:
      return ERPoint2D(c_[1], c_[2]);
    case Y3D:
      return ERPoint2D(c_[0], c_[2]);
    default:
      return ERPoint2D(c_[0], c_[1]);
  }
}

void ERPoint2D::printOn(std::ostream& os) const { writeCoords(os, c_, 2); }
void ERPoint3D::printOn(std::ostream& os) const { writeCoords(os, c_, 3); }
void ERPoint2D::saveGuts(ERFile& f) const { saveRaw(f, c_, sizeof(c_)); }
void ERPoint3D::saveGuts(ERFile& f) const { saveRaw(f, c_, sizeof(c_)); }
void ERPoint2D::restoreGuts(ERFile& f) { restoreRaw(f, c_, sizeof(c_)); }
void ERPoint3D::restoreGuts(ERFile& f) { restoreRaw(f, c_, sizeof(c_)); }

int isEqual(const ERPoint2D& a, const ERPoint2D& b, double tol) { return a.closeTo(b, tol); }
int isEqual(const ERPoint3D& a, const ERPoint3D& b, double tol) { return a.closeTo(b, tol); }

double distance(const ERPoint2D& a, const ERPoint2D& b) { return ERVector2D(a - b).norme(); }
double distance(const ERPoint3D& a, const ERPoint3D& b) { return ERVector3D(a - b).norme(); }
double distance2(const ERPoint2D& a, const ERPoint2D& b) { return ERVector2D(a - b).norme2(); }
double distance2(const ERPoint3D& a, const ERPoint3D& b) { return ERVector3D(a - b).norme2(); }

ERPoint2D milieu(const ERPoint2D& a, const ERPoint2D& b) { return (a + b) / 2.0; }
ERPoint3D milieu(const ERPoint3D& a, const ERPoint3D& b) { return (a + b) / 2.0; }

void swap(ERPoint2D& a, ERPoint2D& b) {
  ERPoint2D t = a;
  a = b;
  b = t;
}
void swap(ERPoint3D& a, ERPoint3D& b) {
  ERPoint3D t = a;
  a = b;
  b = t;
}
void swap(ERVector3D& a, ERVector3D& b) { swap(static_cast<ERPoint3D&>(a), static_cast<ERPoint3D&>(b)); }

std::ostream& operator<<(std::ostream& os, const ERPoint2D& p) {
  p.printOn(os);
  return os;
}
std::ostream& operator<<(std::ostream& os, const ERPoint3D& p) {
  p.printOn(os);
  return os;
}
std::istream& operator>>(std::istream& is, ERPoint2D& p) {
  readCoords(is, p.c_);
  return is;
}
std::istream& operator>>(std::istream& is, ERPoint3D& p) {
  readCoords(is, p.c_);
  return is;
}

ERFile& operator<<(ERFile& f, const ERPoint2D& p) {
  p.saveGuts(f);
  return f;
}
ERFile& operator<<(ERFile& f, const ERPoint3D& p) {
  p.saveGuts(f);
  return f;
}
ERFile& operator>>(ERFile& f, ERPoint2D& p) {
  p.restoreGuts(f);
  return f;
}
ERFile& operator>>(ERFile& f, ERPoint3D& p) {
  p.restoreGuts(f);
  return f;
}

// ---------------------------------------------------------------------------------------------------
// Vectors

// The norm is taken twice, once for the test and once for the division, and each component is divided
// by it; an exact 0.0 leaves the vector alone.
ERVector2D& ERVector2D::normalize() {
  if (norme() != 0.0) divIn(norme());
  return *this;
}
ERVector3D& ERVector3D::normalize() {
  if (norme() != 0.0) divIn(norme());
  return *this;
}
ERVector2D ERVector2D::getnormalized() const { return ERVector2D(*this).normalize(); }
ERVector3D ERVector3D::getnormalized() const { return ERVector3D(*this).normalize(); }

ERVector3D ERVector2D::castToVector3D(Coord3D a, double w) const {
  if (a != X3D && a != Y3D && a != Z3D) {
    ER_ASSERT_L(false, ER_UNREACHABLE_TEXT, 89);
    return ERVector3D();
  }
  return ERVector3D(castToPoint3D(a, w));
}

ERVector2D ERVector3D::castToVector2D(Coord3D a) const { return ERVector2D(castToPoint2D(a)); }

Coord3D ERVector3D::axeOptimum() const {
  const double ax = std::fabs(*this * ERVector3D(X3D));
  const double ay = std::fabs(*this * ERVector3D(Y3D));
  const double az = std::fabs(*this * ERVector3D(Z3D));
  if (ay < ax && az < ax) return X3D;
  return (az < ay) ? Y3D : Z3D;
}

DirPrincSgn ERVector3D::mainDirection() const { return DirPrincSgn(*this); }

double AnglePI(const ERVector2D& u, const ERVector2D& v) {
  return std::acos(u.getnormalized() * v.getnormalized());
}
double AnglePI(const ERVector3D& u, const ERVector3D& v) {
  return std::acos(u.getnormalized() * v.getnormalized());
}

// ---------------------------------------------------------------------------------------------------
// Signed main direction

DirPrincSgn::DirPrincSgn(const ERVector3D& v) {
  const Coord3D axis = v.axeOptimum();
  const double d = v * ERVector3D(axis);
  const int s = (d <= 0.0) ? 1 : 0;
  code_ = s + 2 * axis;
}

DirPrincSgn::DirPrincSgn(const char* text) : DirPrincSgn(vectorOfText(text)) {}

// ---------------------------------------------------------------------------------------------------
// Poles

ERPoint2D ERPole2DH::castToPoint() const { return ERPoint2D(c_[0], c_[1]) / c_[W2DH]; }
ERPoint3D ERPole3DH::castToPoint() const { return ERPoint3D(c_[0], c_[1], c_[2]) / c_[W3DH]; }

ERPole2DH& ERPole2DH::scale(double s) {
  scaleWeighted(c_, s);
  return *this;
}
ERPole3DH& ERPole3DH::scale(double s) {
  scaleWeighted(c_, s);
  return *this;
}
ERPole2DH& ERPole2DH::translate(const ERPoint2D& t) {
  const double d[2] = {t[X2D], t[Y2D]};
  translateWeighted(c_, d);
  return *this;
}
ERPole3DH& ERPole3DH::translate(const ERPoint3D& t) {
  const double d[3] = {t[X3D], t[Y3D], t[Z3D]};
  translateWeighted(c_, d);
  return *this;
}

ERPole3DH ERPole2DH::castToPole3D(Coord3D a, double v) const {
  switch (a) {
    case X3D:
      return ERPole3DH(v, c_[0], c_[1], c_[W2DH]);
    case Y3D:
      return ERPole3DH(c_[0], v, c_[1], c_[W2DH]);
    case Z3D:
      return ERPole3DH(c_[0], c_[1], v, c_[W2DH]);
    default:
      return ERPole3DH();
  }
}

ERPole2DH ERPole3DH::castToPole2D(Coord3D a) const {
  switch (a) {
    case X3D:
      return ERPole2DH(c_[1], c_[2], c_[W3DH]);
    case Y3D:
      return ERPole2DH(c_[0], c_[2], c_[W3DH]);
    case Z3D:
      return ERPole2DH(c_[0], c_[1], c_[W3DH]);
    default:
      return ERPole2DH();
  }
}

int isEqual(const ERPole2DH& a, const ERPole2DH& b, double tol) { return a.closeTo(b, tol); }
int isEqual(const ERPole3DH& a, const ERPole3DH& b, double tol) { return a.closeTo(b, tol); }

void ERPole2DH::printOn(std::ostream& os) const {
  writeCoords(os, c_, 2);
  os << '(' << c_[W2DH] << ')';
}
void ERPole3DH::printOn(std::ostream& os) const {
  writeCoords(os, c_, 3);
  os << '(' << c_[W3DH] << ')';
}
std::ostream& operator<<(std::ostream& os, const ERPole2DH& p) {
  p.printOn(os);
  return os;
}
std::ostream& operator<<(std::ostream& os, const ERPole3DH& p) {
  p.printOn(os);
  return os;
}
std::istream& operator>>(std::istream& is, ERPole2DH& p) {
  ERPoint2D q;
  double w = 0.0;
  is >> q;
  is >> w;
  p = ERPole2DH(q, w);
  return is;
}
std::istream& operator>>(std::istream& is, ERPole3DH&) { return is; }

void ERPole2DH::saveGuts(ERFile& f) const { saveRaw(f, c_, sizeof(c_)); }
void ERPole3DH::saveGuts(ERFile& f) const { saveRaw(f, c_, sizeof(c_)); }
void ERPole2DH::restoreGuts(ERFile& f) { restoreRaw(f, c_, sizeof(c_)); }
void ERPole3DH::restoreGuts(ERFile& f) { restoreRaw(f, c_, sizeof(c_)); }

ERFile& operator<<(ERFile& f, const ERPole2DH& p) {
  p.saveGuts(f);
  return f;
}
ERFile& operator<<(ERFile& f, const ERPole3DH& p) {
  p.saveGuts(f);
  return f;
}
ERFile& operator>>(ERFile& f, ERPole2DH& p) {
  p.restoreGuts(f);
  return f;
}
ERFile& operator>>(ERFile& f, ERPole3DH& p) {
  p.restoreGuts(f);
  return f;
}
