// Out-of-line members of the family's element-wise arithmetic. Included by the five arithmetic units,
// each of which instantiates it once for its element type; reports name that unit (Tr::arithUnit).
#ifndef VELMORA_SOURCE_NOTEMPL_MAFAMILY_INL
#define VELMORA_SOURCE_NOTEMPL_MAFAMILY_INL

#include "velmora/ercommon.h"
#include "velmora/notempl/mafamily.h"

namespace erarith {

struct Add {
  template <class T>
  T operator()(const T& a, const T& b) const {
    return a + b;
  }
};
struct Subtract {
  template <class T>
  T operator()(const T& a, const T& b) const {
    return a - b;
  }
};
struct Times {
  double s;
  template <class T>
  T operator()(const T& a) const {
    return a * s;
  }
};
struct Divided {
  double s;
  template <class T>
  T operator()(const T& a) const {
    return a / s;
  }
};

}  // namespace erarith

// ---------------------------------------------------------------------------------------------
// The shapes of the computations

// A copy sharing the operand's block, made private once, then changed in place in index order.
template <class Tr>
template <class Op>
typename Tr::Vec ERVecArith<Tr>::mapVector(const V& v, Op op) {
  Vec result(static_cast<const Vec&>(v));
  result.cow();
  Elem* p = result.rawData();
  for (unsigned int i = 0; i < result.length(); ++i) p[i] = op(p[i]);
  return result;
}

// A new zero-filled vector whose elements are set through its checked index.
template <class Tr>
template <class Op>
typename Tr::Vec ERVecArith<Tr>::mapSlice(const S& v, Op op) {
  Vec result(v.length());
  for (unsigned int i = 0; i < v.length(); ++i) result[i] = op(v[i]);
  return result;
}

template <class Tr>
template <class Op>
typename Tr::Vec ERVecArith<Tr>::combineVectors(const V& a, const V& b, Op op, int line) {
  ER_ASSERT_AT(a.length() == b.length(), "a.length()==b.length()", Tr::arithUnit, line);
  Vec result(a.length());
  Elem* p = result.rawData();
  const Elem* x = a.data();
  const Elem* y = b.data();
  // After a reported mismatch the pairs stop at the shorter operand; the rest of the result stays zero.
  const unsigned int n = ERMin(a.length(), b.length());
  for (unsigned int i = 0; i < n; ++i) p[i] = op(x[i], y[i]);
  return result;
}

// The left slice's elements, each combined with the right operand's element read through its checked
// index (R is a slice or a vector).
template <class Tr>
template <class R, class Op>
typename Tr::Vec ERVecArith<Tr>::combineWithSlice(const S& a, const R& b, Op op, int line) {
  ER_ASSERT_AT(a.length() == b.length(), "a.length()==b.length()", Tr::arithUnit, line);
  Vec result(a);
  result.cow();
  Elem* p = result.rawData();
  // After a reported mismatch the pairs stop at the shorter operand; the rest keeps the left's values.
  const unsigned int n = ERMin(a.length(), b.length());
  for (unsigned int i = 0; i < n; ++i) p[i] = op(p[i], b[i]);
  return result;
}

template <class Tr>
template <class Op>
typename Tr::Vec ERVecArith<Tr>::combineWithConstant(const S& a, const Elem& c, Op op) {
  Vec result(a);
  result.cow();
  Elem* p = result.rawData();
  for (unsigned int i = 0; i < result.length(); ++i) p[i] = op(p[i], c);
  return result;
}

// ---------------------------------------------------------------------------------------------
// The operations

template <class Tr>
typename Tr::Vec ERVecArith<Tr>::times(const V& v, double s) {
  return mapVector(v, erarith::Times{s});
}

template <class Tr>
typename Tr::Vec ERVecArith<Tr>::divided(const V& v, double s) {
  return mapVector(v, erarith::Divided{s});
}

template <class Tr>
typename Tr::Vec ERVecArith<Tr>::times(const S& v, double s) {
  return mapSlice(v, erarith::Times{s});
}

template <class Tr>
typename Tr::Vec ERVecArith<Tr>::divided(const S& v, double s) {
  return mapSlice(v, erarith::Divided{s});
}

template <class Tr>
typename Tr::Vec ERVecArith<Tr>::plus(const V& a, const V& b) {
  return combineVectors(a, b, erarith::Add(), 38);
}

template <class Tr>
typename Tr::Vec ERVecArith<Tr>::minus(const V& a, const V& b) {
  return combineVectors(a, b, erarith::Subtract(), __LINE__);
}

template <class Tr>
typename Tr::Vec ERVecArith<Tr>::plus(const S& a, const S& b) {
  return combineWithSlice(a, b, erarith::Add(), 66);
}

template <class Tr>
typename Tr::Vec ERVecArith<Tr>::minus(const S& a, const S& b) {
  return combineWithSlice(a, b, erarith::Subtract(), __LINE__);
}

template <class Tr>
typename Tr::Vec ERVecArith<Tr>::plus(const S& a, const V& b) {
  return combineWithSlice(a, b, erarith::Add(), __LINE__);
}

template <class Tr>
typename Tr::Vec ERVecArith<Tr>::minus(const S& a, const V& b) {
  return combineWithSlice(a, b, erarith::Subtract(), __LINE__);
}

template <class Tr>
typename Tr::Vec ERVecArith<Tr>::plus(const S& a, const Elem& c) {
  return combineWithConstant(a, c, erarith::Add());
}

template <class Tr>
typename Tr::Vec ERVecArith<Tr>::minus(const S& a, const Elem& c) {
  return combineWithConstant(a, c, erarith::Subtract());
}

template <class Tr>
typename Tr::Elem ERVecArith<Tr>::sigma(const S& s) {
  Elem sum = Elem();
  for (unsigned int i = 0; i < s.length(); ++i) sum += s(i);
  return sum;
}

#endif
