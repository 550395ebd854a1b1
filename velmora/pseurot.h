// Rotations as three numbers: the rotation pseudo-vector (axis times tan(angle / 2)) with its rotation
// matrix, the cross-product matrix of a vector, and the three axis angles read back from an isometry.
// The alignment solvers take the pseudo-vector's components as the unknowns of a rotation.
#ifndef VELMORA_PSEUROT_H
#define VELMORA_PSEUROT_H

#include "velmora/notempl/matdbl.h"
#include "velmora/notempl/vcdouble.h"
#include "velmora/transf3d.h"
#include "velmora/vector3d.h"

// A rotation held as one vector: the unit axis times tan(theta / 2). The zero vector is the identity;
// a half-turn cannot be held (infinite length).
class ERPseudoVecteurRotation {
 public:
  // v taken as it is.
  explicit ERPseudoVecteurRotation(const ERVector3D& v) : m_vec(v) {}
  ERPseudoVecteurRotation(const ERVector3D& axis, double angle);
  // The three elements of vec.
  explicit ERPseudoVecteurRotation(const ERDoubleVec& vec);
  // From a rotation matrix other than a half-turn.
  explicit ERPseudoVecteurRotation(const ERDoubleMatrix& m);

  // The 3x3 rotation matrix: I + 2 / (1 + |v|^2) . (A + A.A), A the cross-product matrix of v.
  ERDoubleMatrix GetMatrix() const;
  // The nine entries of GetMatrix(), row by row, to the bit, without making a matrix.
  void matrixElements(double r[9]) const;
  operator ERDoubleMatrix() const { return GetMatrix(); }  // NOLINT: a rotation is its matrix
  // The unit axis; the zero vector is reported.
  explicit operator ERVector3D() const;
  // 2 atan(|v|), in [0, pi); the zero vector is reported.
  double Angle() const;
  // The stored vector itself.
  const ERVector3D& getVector() const { return m_vec; }

 private:
  ERVector3D m_vec;
};

// The cross-product matrix of v: DotProductMatrix(v) . w = v ^ w (zero diagonal).
ERDoubleMatrix DotProductMatrix(const ERVector3D& v);

// The angles of iso's matrix M = Rz(rz) . Ry(ry) . Rx(rx), in radians. Returns 1.
int GetRotation(const ERPmIsometrie3D& iso, double& rx, double& ry, double& rz);

#endif
