// The rotation pseudo-vector, the cross-product matrix and the rotation angles of an isometry.
#include "velmora/pseurot.h"

#include <cmath>

#include "velmora/matrix.h"

#define ER_THIS_UNIT "source/align/pseurot"

ERPseudoVecteurRotation::ERPseudoVecteurRotation(const ERVector3D& axis, double angle)
    : m_vec(std::tan(angle / 2.0) * axis.getnormalized()) {}

ERPseudoVecteurRotation::ERPseudoVecteurRotation(const ERDoubleVec& vec) {
  ER_ASSERT_T(vec.length() == 3, "vec.length()==3");
  // Past the report, a vector of another length leaves the identity rather than reading outside it.
  if (vec.length() != 3) return;
  m_vec = ERVector3D(vec[0], vec[1], vec[2]);
}

ERPseudoVecteurRotation::ERPseudoVecteurRotation(const ERDoubleMatrix& m) {
  ER_ASSERT_T(m.cols() == 3 && m.rows() == 3, "m.cols()==3 && m.rows()==3");
  // Past the report, a matrix of another shape leaves the identity rather than reading outside it.
  if (m.cols() != 3 || m.rows() != 3) return;
  const ERDoubleMatrix Identite = IdentityMatrix(3);
  const ERDoubleMatrix mt = transpose(m);
  ER_ASSERT_T(norme(m * mt - Identite) < 1E-6, "norme(m*transpose(m)-Identite)<1E-6");
  // The antisymmetric part holds the axis scaled by sin(theta); the symmetric part gives
  // Gamma = 3 - trace(m) = 4 sin^2(theta / 2).
  const ERDoubleMatrix B = 0.5 * (m - mt);
  const ERVector3D w = 0.5 * ERVector3D(B(2, 1), B(0, 2), B(1, 0));
  const ERDoubleMatrix S = 0.5 * (m + mt);
  const double Gamma = trace(Identite - S);
  ER_ASSERT_T(4.0 - Gamma > 0.0, "4-Gamma>0");
  const double s = std::sqrt(Gamma / (4.0 - Gamma));
  m_vec = s * w.getnormalized();
}

void ERPseudoVecteurRotation::matrixElements(double r[9]) const {
  // I + (2 / (1 + |v|^2)) (A + A A), A the cross-product matrix of v, worked out on the stack with the
  // operations of the matrix expression in their order: each entry of A A summed as a product runs,
  // A + A A and the identity added entry by entry, the scale applied to each entry.
  const double a[9] = {0.0,         -m_vec[Z3D], m_vec[Y3D], m_vec[Z3D], 0.0,
                       -m_vec[X3D], -m_vec[Y3D], m_vec[X3D], 0.0};
  const double scale = 2.0 / (1 + m_vec.norme2());
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) {
      double square = 0.0;
      for (int k = 0; k < 3; ++k) square = a[3 * i + k] * a[3 * k + j] + square;
      r[3 * i + j] = ((i == j) ? 1.0 : 0.0) + (a[3 * i + j] + square) * scale;
    }
}

ERDoubleMatrix ERPseudoVecteurRotation::GetMatrix() const {
  ERDoubleMatrix m(3, 3);
  matrixElements(m.mutableData());
  return m;
}

ERPseudoVecteurRotation::operator ERVector3D() const {
  ER_ASSERT_T(m_vec.norme() != 0, "m_vec.norme()!=0");
  return m_vec.getnormalized();
}

double ERPseudoVecteurRotation::Angle() const {
  ER_ASSERT_T(m_vec.norme() != 0, "m_vec.norme()!=0");
  return 2.0 * std::atan(m_vec.norme());
}

ERDoubleMatrix DotProductMatrix(const ERVector3D& v) {
  ERDoubleMatrix M(3, 3);
  M(0, 1) = -v[Z3D];
  M(0, 2) = v[Y3D];
  M(1, 0) = v[Z3D];
  M(1, 2) = -v[X3D];
  M(2, 0) = -v[Y3D];
  M(2, 1) = v[X3D];
  return M;
}

int GetRotation(const ERPmIsometrie3D& iso, double& rx, double& ry, double& rz) {
  const ERDoubleMatrix M = iso.getMatrix();
  ry = std::asin(-M(2, 0));
  // The gimbal cases compare exactly: a value of +-1.0 within rounding takes the general branch.
  if (M(2, 0) == 1.0) {
    rx = 0.0;
    rz = -std::atan2(M(0, 1), M(1, 1));
  } else if (M(2, 0) == -1.0) {
    rz = 0.0;
    rx = std::atan2(M(0, 1), M(1, 1));
  } else {
    rx = std::atan2(M(2, 1), M(2, 2));
    rz = std::atan2(M(1, 0), M(0, 0));
  }
  return 1;
}
