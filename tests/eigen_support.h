// Conversions between the library's 3D values and Eigen's, for the test programs that check results
// against Eigen.
#ifndef VELMORA_TESTS_EIGEN_SUPPORT_H
#define VELMORA_TESTS_EIGEN_SUPPORT_H

#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <cstring>

#include "velmora/notempl/matdbl.h"
#include "velmora/vector3d.h"

namespace vtest {

using RowMat = Eigen::Matrix<double, 3, 3, Eigen::RowMajor>;

inline ERDoubleMatrix toMatrix(const Eigen::Matrix3d& m) {
  RowMat r = m;
  return ERDoubleMatrix(r.data(), 3, 3);
}
inline Eigen::Matrix3d toEigen(const ERDoubleMatrix& m) {
  EXPECT_EQ(m.rows(), 3u);
  EXPECT_EQ(m.cols(), 3u);
  RowMat r;
  std::memcpy(r.data(), m.data(), sizeof(double) * 9);
  return r;
}
inline Eigen::Vector3d toEigen(const ERPoint3D& p) { return Eigen::Vector3d(p[X3D], p[Y3D], p[Z3D]); }
inline Eigen::Vector3d toEigen(const ERVector3D& v) { return Eigen::Vector3d(v[X3D], v[Y3D], v[Z3D]); }
inline ERPoint3D toPoint(const Eigen::Vector3d& v) { return ERPoint3D(v.x(), v.y(), v.z()); }
inline ERVector3D toVector(const Eigen::Vector3d& v) { return ERVector3D(v.x(), v.y(), v.z()); }

}  // namespace vtest

#endif
