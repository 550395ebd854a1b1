// Helpers of the vector family tests: per element type, distinct sample values, the coordinates a value
// stores (for byte images and sorting), the expected source unit names, and plain std::vector
// references of vectors and slices.
#ifndef VELMORA_TESTS_VEC_FAMILY_SUPPORT_H
#define VELMORA_TESTS_VEC_FAMILY_SUPPORT_H

#include <gtest/gtest.h>

#include <cstddef>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "vec_file_support.h"
#include "velmora/dblvec.h"
#include "velmora/notempl/vcpt2d.h"
#include "velmora/notempl/vcpt2dh.h"
#include "velmora/notempl/vcpt3d.h"
#include "velmora/notempl/vcpt3dh.h"
#include "velmora/vector3d.h"

namespace vtest {

// For each vector class: its element's sample values (make(k) differ for different k and vary in every
// coordinate), the element's stored doubles, a value moved by d in every stored double, and the short
// names of the source units of the family and of its arithmetic.
template <class V>
struct ElemInfo;

template <>
struct ElemInfo<ERDoubleVec> {
  using T = double;
  static T make(double k) { return k; }
  static std::vector<double> coords(const T& v) { return {v}; }
  static T moved(const T& v, double d) { return v + d; }
  static constexpr const char* vc = "vcdouble";
  static constexpr const char* ma = "madouble";
};
template <>
struct ElemInfo<ERPoint2DVec> {
  using T = ERPoint2D;
  static T make(double k) { return T(k, 10 - 2 * k); }
  static std::vector<double> coords(const T& v) { return {v[X2D], v[Y2D]}; }
  static T moved(const T& v, double d) { return T(v[X2D] + d, v[Y2D] + d); }
  static constexpr const char* vc = "vcpt2d";
  static constexpr const char* ma = "mapt2d";
};
template <>
struct ElemInfo<ERPoint3DVec> {
  using T = ERPoint3D;
  static T make(double k) { return T(k, 2 * k + 1, -k - 0.5); }
  static std::vector<double> coords(const T& v) { return {v[X3D], v[Y3D], v[Z3D]}; }
  static T moved(const T& v, double d) { return T(v[X3D] + d, v[Y3D] + d, v[Z3D] + d); }
  static constexpr const char* vc = "vcpt3d";
  static constexpr const char* ma = "mapt3d";
};
template <>
struct ElemInfo<ERPole2DHVec> {
  using T = ERPole2DH;
  static T make(double k) { return T(k, k + 3, 1 + k / 8); }
  static std::vector<double> coords(const T& v) { return {v[X2DH], v[Y2DH], v[W2DH]}; }
  static T moved(const T& v, double d) { return T(v[X2DH] + d, v[Y2DH] + d, v[W2DH] + d); }
  static constexpr const char* vc = "vcpt2dh";
  static constexpr const char* ma = "mapt2dh";
};
template <>
struct ElemInfo<ERPole3DHVec> {
  using T = ERPole3DH;
  static T make(double k) { return T(k, -2 * k, k + 5, 2 - k / 16); }
  static std::vector<double> coords(const T& v) { return {v[X3DH], v[Y3DH], v[Z3DH], v[W3DH]}; }
  static T moved(const T& v, double d) { return T(v[X3DH] + d, v[Y3DH] + d, v[Z3DH] + d, v[W3DH] + d); }
  static constexpr const char* vc = "vcpt3dh";
  static constexpr const char* ma = "mapt3dh";
};

using FamilyTypes = ::testing::Types<ERDoubleVec, ERPoint2DVec, ERPoint3DVec, ERPole2DHVec, ERPole3DHVec>;

// The vector's elements, read through its data pointer.
template <class V>
std::vector<typename V::Elem> toStd(const V& v) {
  return std::vector<typename V::Elem>(v.data(), v.data() + v.length());
}

// The viewed elements of a slice, read from the vector's data with the slice's fields.
template <class S>
auto sliceToStd(const S& s) {
  std::vector<typename S::Elem> out;
  for (unsigned i = 0; i < s.length(); ++i)
    out.push_back(s.vector().data()[static_cast<std::ptrdiff_t>(s.start()) +
                                    static_cast<std::ptrdiff_t>(i) * s.stride()]);
  return out;
}

// A vector holding the given elements, built from an array.
template <class V>
V fromStd(const std::vector<typename V::Elem>& values) {
  return V(values.data(), static_cast<unsigned>(values.size()));
}

// n sample values make(first), make(first + 1), ...
template <class V>
std::vector<typename V::Elem> samples(unsigned n, double first = 1) {
  std::vector<typename V::Elem> out;
  for (unsigned i = 0; i < n; ++i) out.push_back(ElemInfo<V>::make(first + i));
  return out;
}

// The text an element writes on a stream (the element type's own form).
template <class T>
std::string textOf(const T& v) {
  std::ostringstream os;
  os << v;
  return os.str();
}

// The byte image of a stored vector: the byte length, then every stored double of every element.
template <class V>
Bytes imageOf(const std::vector<typename V::Elem>& values, unsigned elementSize) {
  Bytes out = le32(static_cast<uint32_t>(values.size() * elementSize));
  for (const auto& v : values)
    for (double c : ElemInfo<V>::coords(v)) out += le64(c);
  return out;
}

}  // namespace vtest

#endif
