// Plane transformation: an affine map of the plane stored directly as a 2x2 matrix A and a translation t
// (TransFrom(p) = A·p + t), meant for similitudes and mirrors of the plane described as the product
// T*H*Sym*R (translation, homothety, optional mirror about the X axis, rotation).
#ifndef VELMORA_TRANSF2D_H
#define VELMORA_TRANSF2D_H

#include <iosfwd>

#include "velmora/ercommon.h"
#include "velmora/notempl/vcpt2d.h"
#include "velmora/notempl/vcpt2dh.h"
#include "velmora/vector3d.h"

// A registered, persistent value: copies are deep, nothing is shared. The inverse (TransTo, operator~)
// is taken as transpose(A) / det(A), which is A's inverse for direct similitudes only: for a
// transformation with a mirror it gives minus the inverse.
class ERTransfo2D : public ERObject {
  ER_DECLARE_CLASS(ERTransfo2D)

 public:
  // Construction
  ERTransfo2D();                              // the identity
  explicit ERTransfo2D(const ERVector2D& v);  // the translation by v
  // The rotation by the direction of u (normalised here) about the origin, then the translation to p.
  ERTransfo2D(ERVector2D u, const ERPoint2D& p);
  // X: the mirror about the X axis; Y: the mirror about the Y axis; any other value: the half-turn -I.
  explicit ERTransfo2D(Coord2D c);
  ERTransfo2D(double k, const ERPoint2D& p);  // the homothety of ratio k centred at p
  ERTransfo2D(const ERTransfo2D& other) = default;
  ERTransfo2D& operator=(const ERTransfo2D& other) = default;

  // Access
  // The matrix entry of row r and column c (not range-checked) and the translation.
  double getCoef(Coord2D r, Coord2D c) const {
    return r == X2D ? (c == X2D ? a00 : a01) : (c == X2D ? a10 : a11);
  }
  const ERVector2D& getTrans() const { return t; }

  // Operations
  ERPoint2D TransFrom(const ERPoint2D& p) const;    // A·p + t
  ERVector2D TransFrom(const ERVector2D& v) const;  // A·v
  ERPoint2D TransTo(const ERPoint2D& p) const;      // (transpose(A) / det)·(p - t)
  ERVector2D TransTo(const ERVector2D& v) const;    // (transpose(A) / det)·v
  // Every element in place. A pole (x, y, w) is moved as the weighted point it is: its Cartesian point
  // follows the point rule and its weight stays.
  void TransFrom(ERPoint2DVec& v) const;
  void TransFrom(ERPole2DHVec& v) const;
  void TransTo(ERPoint2DVec& v) const;
  void TransTo(ERPole2DHVec& v) const;

  // Asserts a non-zero determinant, then gives A' = transpose(A) / det and t' = -(A'·t).
  ERTransfo2D operator~() const;

  int isDirect() const { return det() > 0.0; }
  double factHomo() const;  // sqrt(|det|)
  ERPoint2D origine() const { return ERPoint2D(t[X2D], t[Y2D]); }
  ERRadian angle() const;  // atan2(-a01, a00)
  // T = t, H = factHomo(), sym = isDirect() (1 when there is NO mirror, kept so although the printed
  // label asks whether a mirror is present), R = angle().
  void Decompose(ERVector2D& T, double& H, int& sym, ERRadian& R) const;

  // Exact equality of the four matrix entries and the translation.
  int operator==(const ERTransfo2D& o) const;
  int operator!=(const ERTransfo2D& o) const { return !(*this == o); }

  // Text and binary forms
  void printOn(std::ostream& os) const override;
  // The four matrix doubles as one array (a00, a01, a10, a11), then t as a plane vector: 48 bytes.
  void saveGuts(ERFile& f) const override;
  // Reads the same; a short read leaves the matrix as it was.
  void restoreGuts(ERFile& f) override;
  // 32, the matrix only, although t is written too: the value is kept as it is.
  unsigned long binaryStoreSize() const override { return 32; }
  ERObject* getCopy() const override;

  friend ERTransfo2D operator*(const ERTransfo2D& a, const ERTransfo2D& b);
  friend ERTransfo2D rotation(ERRadian a);
  friend ERTransfo2D Scaling(double k);
  friend ERTransfo2D Symmetry(ERVector2D symAxe);
  friend int isEqual(const ERTransfo2D& a, const ERTransfo2D& b, double tol);

 private:
  ERTransfo2D(double m00, double m01, double m10, double m11, const ERVector2D& tr)
      : a00(m00), a01(m01), a10(m10), a11(m11), t(tr) {}
  double det() const { return a00 * a11 - a01 * a10; }
  // transpose(A) / det, the inverse matrix of both TransTo and operator~.
  ERTransfo2D transposeOverDet() const;

  double a00, a01, a10, a11;  // A, row-major
  ERVector2D t;
};

ER_DECLARE_CREATOR(ERTransfo2D);

// Apply b, then a: A = Aa·Ab, t = Aa·tb + ta.
ERTransfo2D operator*(const ERTransfo2D& a, const ERTransfo2D& b);

// The rotation by a about the origin.
ERTransfo2D rotation(ERRadian a);
// The homothety of ratio k centred at the origin.
ERTransfo2D Scaling(double k);
// The mirror about the line through the origin along symAxe, whose norm must be at least 1e-15. The axis
// angle is taken in [0, pi]: an axis pointing below the X axis stands for its mirror image above it, so
// (1,-1) gives the mirror about y = x.
ERTransfo2D Symmetry(ERVector2D symAxe);

// 1 when every matrix entry and translation coordinate differs by at most tol (inclusive).
int isEqual(const ERTransfo2D& a, const ERTransfo2D& b, double tol);

// Transformed copies: T >> x applies TransFrom, T << x applies TransTo.
ERPoint2D operator>>(const ERTransfo2D& T, const ERPoint2D& p);
ERVector2D operator>>(const ERTransfo2D& T, const ERVector2D& v);
ERPoint2DVec operator>>(const ERTransfo2D& T, const ERPoint2DVec& v);
ERPole2DHVec operator>>(const ERTransfo2D& T, const ERPole2DHVec& v);
ERPoint2D operator<<(const ERTransfo2D& T, const ERPoint2D& p);
ERVector2D operator<<(const ERTransfo2D& T, const ERVector2D& v);
ERPoint2DVec operator<<(const ERTransfo2D& T, const ERPoint2DVec& v);
ERPole2DHVec operator<<(const ERTransfo2D& T, const ERPole2DHVec& v);

#endif
