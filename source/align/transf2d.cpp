// Plane transformation: construction, application to points, vectors, point and pole vectors,
// composition and inversion, decomposition, text and binary forms.
#include "velmora/transf2d.h"

#include <cmath>
#include <ostream>

#include "velmora/erfile.h"

#define ER_THIS_UNIT "source/align/transf2d"

ER_DEFINE_CLASS(ERTransfo2D, ER_CREATABLE, ERObject)

// ---------------------------------------------------------------------------------------------
// Construction

ERTransfo2D::ERTransfo2D() : ERTransfo2D(1.0, 0.0, 0.0, 1.0, ERVector2D()) {}

ERTransfo2D::ERTransfo2D(const ERVector2D& v) : ERTransfo2D(1.0, 0.0, 0.0, 1.0, v) {}

ERTransfo2D::ERTransfo2D(ERVector2D u, const ERPoint2D& p) : t(p) {
  u.normalize();
  a00 = a11 = u[X2D];
  a01 = -u[Y2D];
  a10 = u[Y2D];
}

ERTransfo2D::ERTransfo2D(Coord2D c)
    : ERTransfo2D(c == X2D ? 1.0 : -1.0, 0.0, 0.0, c == Y2D ? 1.0 : -1.0, ERVector2D()) {}

ERTransfo2D::ERTransfo2D(double k, const ERPoint2D& p) : ERTransfo2D(k, 0.0, 0.0, k, (1 - k) * p) {}

ERObject* ERTransfo2D::getCopy() const { return new ERTransfo2D(*this); }

ERTransfo2D rotation(ERRadian a) {
  return ERTransfo2D(std::cos(a), -std::sin(a), std::sin(a), std::cos(a), ERVector2D());
}

ERTransfo2D Scaling(double k) { return ERTransfo2D(k, 0.0, 0.0, k, ERVector2D()); }

ERTransfo2D Symmetry(ERVector2D symAxe) {
  ER_ASSERT_T(norme(symAxe) >= 1e-15, "norme(symAxe) >= 1e-15");
  // The angle between the X axis and the axis, from the norm of their cross product: it lies in
  // [0, pi], so an axis below the X axis is taken as its mirror image above it (deliberately).
  const ERVector3D s = symAxe.castToVector3D(Z3D, 0.0);
  const ERVector3D ex(X3D);
  const double n = s.norme();
  const double theta = std::atan2((ex ^ s).norme() / n, (ex * s) / n);
  const double c = std::cos(-2 * theta);
  const double sn = std::sin(-2 * theta);
  return ERTransfo2D(c, -sn, -sn, -c, ERVector2D());
}

// ---------------------------------------------------------------------------------------------
// Application

ERPoint2D ERTransfo2D::TransFrom(const ERPoint2D& p) const {
  return ERPoint2D(a00 * p[X2D] + a01 * p[Y2D] + t[X2D], a10 * p[X2D] + a11 * p[Y2D] + t[Y2D]);
}

ERVector2D ERTransfo2D::TransFrom(const ERVector2D& v) const {
  return ERVector2D(a00 * v[X2D] + a01 * v[Y2D], a10 * v[X2D] + a11 * v[Y2D]);
}

ERPoint2D ERTransfo2D::TransTo(const ERPoint2D& p) const {
  return transposeOverDet().TransFrom(ERVector2D(p - t));
}

ERVector2D ERTransfo2D::TransTo(const ERVector2D& v) const { return transposeOverDet().TransFrom(v); }

namespace {

// The weighted point (x, y) of weight w moves as w times its Cartesian point: its translation part is
// scaled by the weight, and the weight stays.
ERPole2DH poleFrom(const ERTransfo2D& T, const ERPole2DH& p) {
  const double w = p.weigth();
  const ERVector2D s = T.TransFrom(ERVector2D(p[X2DH], p[Y2DH])) + w * T.getTrans();
  return ERPole2DH(s, w);
}
ERPole2DH poleTo(const ERTransfo2D& T, const ERPole2DH& p) {
  const double w = p.weigth();
  const ERVector2D s = T.TransTo(ERVector2D(p[X2DH], p[Y2DH]) - w * T.getTrans());
  return ERPole2DH(s, w);
}

// Replaces every element by move(element). An empty vector is not touched, so it keeps sharing its block.
template <class Vec, class Move>
void moveEach(Vec& v, Move move) {
  for (unsigned int i = 0; i < v.length(); ++i) v[i] = move(v[i]);
}

}  // namespace

void ERTransfo2D::TransFrom(ERPoint2DVec& v) const {
  moveEach(v, [this](const ERPoint2D& p) { return TransFrom(p); });
}
void ERTransfo2D::TransFrom(ERPole2DHVec& v) const {
  moveEach(v, [this](const ERPole2DH& p) { return poleFrom(*this, p); });
}
void ERTransfo2D::TransTo(ERPoint2DVec& v) const {
  moveEach(v, [this](const ERPoint2D& p) { return TransTo(p); });
}
void ERTransfo2D::TransTo(ERPole2DHVec& v) const {
  moveEach(v, [this](const ERPole2DH& p) { return poleTo(*this, p); });
}

ERPoint2D operator>>(const ERTransfo2D& T, const ERPoint2D& p) { return T.TransFrom(p); }
ERVector2D operator>>(const ERTransfo2D& T, const ERVector2D& v) { return T.TransFrom(v); }
ERPoint2D operator<<(const ERTransfo2D& T, const ERPoint2D& p) { return T.TransTo(p); }
ERVector2D operator<<(const ERTransfo2D& T, const ERVector2D& v) { return T.TransTo(v); }

ERPoint2DVec operator>>(const ERTransfo2D& T, const ERPoint2DVec& v) {
  ERPoint2DVec r(v);
  T.TransFrom(r);
  return r;
}
ERPole2DHVec operator>>(const ERTransfo2D& T, const ERPole2DHVec& v) {
  ERPole2DHVec r(v);
  T.TransFrom(r);
  return r;
}
ERPoint2DVec operator<<(const ERTransfo2D& T, const ERPoint2DVec& v) {
  ERPoint2DVec r(v);
  T.TransTo(r);
  return r;
}
ERPole2DHVec operator<<(const ERTransfo2D& T, const ERPole2DHVec& v) {
  ERPole2DHVec r(v);
  T.TransTo(r);
  return r;
}

// ---------------------------------------------------------------------------------------------
// Composition and inversion

ERTransfo2D operator*(const ERTransfo2D& a, const ERTransfo2D& b) {
  return ERTransfo2D(a.a00 * b.a00 + a.a01 * b.a10, a.a00 * b.a01 + a.a01 * b.a11,
                     a.a10 * b.a00 + a.a11 * b.a10, a.a10 * b.a01 + a.a11 * b.a11,
                     a.TransFrom(static_cast<const ERPoint2D&>(b.t)));  // the point rule: Aa·tb + ta
}

ERTransfo2D ERTransfo2D::transposeOverDet() const {
  const double d = det();
  return ERTransfo2D(a00 / d, a10 / d, a01 / d, a11 / d, ERVector2D());
}

ERTransfo2D ERTransfo2D::operator~() const {
  const double firstDet = det();
  ER_ASSERT_T(firstDet != 0, "det() != 0");
  // Only a NaN entry makes the recomputed determinant differ.
  ER_ASSERT_T(det() == firstDet, "det() == _det");
  ERTransfo2D inv = transposeOverDet();
  inv.t = -inv.TransFrom(t);
  return inv;
}

// ---------------------------------------------------------------------------------------------
// Decomposition and comparison

double ERTransfo2D::factHomo() const { return std::sqrt(std::fabs(det())); }

ERRadian ERTransfo2D::angle() const { return std::atan2(-a01, a00); }

void ERTransfo2D::Decompose(ERVector2D& T, double& H, int& sym, ERRadian& R) const {
  T = t;
  H = factHomo();
  sym = isDirect();
  R = angle();
}

int ERTransfo2D::operator==(const ERTransfo2D& o) const {
  return a00 == o.a00 && a01 == o.a01 && a10 == o.a10 && a11 == o.a11 && t == o.t;
}

int isEqual(const ERTransfo2D& a, const ERTransfo2D& b, double tol) {
  return std::fabs(a.a00 - b.a00) <= tol && std::fabs(a.a01 - b.a01) <= tol &&
         std::fabs(a.a10 - b.a10) <= tol && std::fabs(a.a11 - b.a11) <= tol && isEqual(a.t, b.t, tol);
}

// ---------------------------------------------------------------------------------------------
// Text and binary forms

void ERTransfo2D::printOn(std::ostream& os) const {
  ERVector2D T;
  double H;
  int sym;
  ERRadian R;
  Decompose(T, H, sym, R);
  os << "Transfo2D definie par :  T*H*Sym*R :\n";
  os << "    Matrice de transfo                   :\n";
  os << "    [" << a00 << ',' << a01 << "]\n";
  os << "    [" << a10 << ',' << a11 << "]\n";
  os << "    Translation de vecteur               : " << T << '\n';
  os << "    Homothetie de rapport                : " << H << '\n';
  os << "    Symetrie par rapport a l'axe 'Ox' ?  : " << sym << '\n';
  os << "    Rotation d'angle  :                  : " << R << '\n';
}

void ERTransfo2D::saveGuts(ERFile& f) const {
  const double m[4] = {a00, a01, a10, a11};
  f.Write(m, 4);
  f << t;
}

void ERTransfo2D::restoreGuts(ERFile& f) {
  double m[4];
  if (f.Read(m, 4)) {
    a00 = m[0];
    a01 = m[1];
    a10 = m[2];
    a11 = m[3];
  }
  f >> t;
}
