// Element-wise arithmetic of the vector and slice family, for every element type: scaling by a double,
// addition and subtraction of vectors, slices and one constant element, and the sum sigma. Every result
// is a new vector; the compound forms compute the new vector and then assign it.
#ifndef VELMORA_NOTEMPL_MAFAMILY_H
#define VELMORA_NOTEMPL_MAFAMILY_H

#include "velmora/notempl/vcfamily.h"

// The computations behind the operators below, instantiated once per element type inside the library.
// Length mismatches report "a.length()==b.length()"; the result then has the left operand's length and
// the pairs stop at the shorter operand.
template <class Tr>
class ERVecArith {
 public:
  using Elem = typename Tr::Elem;
  using Vec = typename Tr::Vec;
  using V = ERVecT<Tr>;
  using S = ERSliceT<Tr>;

  // The vector forms copy the operand and scale the private copy in place; the slice forms fill a new
  // vector through its checked index.
  static Vec times(const V& v, double s);
  static Vec divided(const V& v, double s);
  static Vec times(const S& v, double s);
  static Vec divided(const S& v, double s);

  // Two vectors: a new vector filled walking both. With a slice on the left: the left's elements,
  // combined with the right's read through its checked index.
  static Vec plus(const V& a, const V& b);
  static Vec minus(const V& a, const V& b);
  static Vec plus(const S& a, const S& b);
  static Vec minus(const S& a, const S& b);
  static Vec plus(const S& a, const V& b);
  static Vec minus(const S& a, const V& b);
  // Every element plus or minus c.
  static Vec plus(const S& a, const Elem& c);
  static Vec minus(const S& a, const Elem& c);

  // The viewed elements added in index order to the zero element.
  static Elem sigma(const S& s);

 private:
  template <class Op>
  static Vec mapVector(const V& v, Op op);
  template <class Op>
  static Vec mapSlice(const S& v, Op op);
  template <class Op>
  static Vec combineVectors(const V& a, const V& b, Op op, int line);
  template <class R, class Op>
  static Vec combineWithSlice(const S& a, const R& b, Op op, int line);
  template <class Op>
  static Vec combineWithConstant(const S& a, const Elem& c, Op op);
};

// A compound form's vector result replaces the vector's block.
template <class Tr>
inline typename Tr::Vec& erReplaceBy(ERVecT<Tr>& v, const typename Tr::Vec& result) {
  v = result;
  return static_cast<typename Tr::Vec&>(v);
}

// Scaling by a double: OP is * or /, COMPOUND its compound form, FN the computation.
#define ER_VEC_SCALING_OPERATORS(OP, COMPOUND, FN)                          \
  template <class Tr>                                                       \
  inline typename Tr::Vec operator OP(const ERVecT<Tr>& v, double s) {      \
    return ERVecArith<Tr>::FN(v, s);                                        \
  }                                                                         \
  template <class Tr>                                                       \
  inline typename Tr::Vec operator OP(const ERSliceT<Tr>& v, double s) {    \
    return ERVecArith<Tr>::FN(v, s);                                        \
  }                                                                         \
  template <class Tr>                                                       \
  inline typename Tr::Vec& operator COMPOUND(ERVecT<Tr>& v, double s) {     \
    return erReplaceBy(v, ERVecArith<Tr>::FN(v, s));                        \
  }                                                                         \
  template <class Tr>                                                       \
  inline typename Tr::Slice& operator COMPOUND(ERSliceT<Tr>& v, double s) { \
    return v = ERVecArith<Tr>::FN(v, s);                                    \
  }

ER_VEC_SCALING_OPERATORS(*, *=, times)
ER_VEC_SCALING_OPERATORS(/, /=, divided)

// s * v is v * s.
template <class Tr>
inline typename Tr::Vec operator*(double s, const ERVecT<Tr>& v) {
  return ERVecArith<Tr>::times(v, s);
}
template <class Tr>
inline typename Tr::Vec operator*(double s, const ERSliceT<Tr>& v) {
  return ERVecArith<Tr>::times(v, s);
}

// Addition and subtraction: OP is + or -, COMPOUND its compound form, FN the computation. A vector with
// a slice or with a constant element (a double for the double vectors, an element value for the others)
// goes through the vector's whole-vector slice; a slice's compound form copies the result back through
// the slice.
#define ER_VEC_ADDITIVE_OPERATORS(OP, COMPOUND, FN)                                           \
  template <class Tr>                                                                         \
  inline typename Tr::Vec operator OP(const ERVecT<Tr>& a, const ERVecT<Tr>& b) {             \
    return ERVecArith<Tr>::FN(a, b);                                                          \
  }                                                                                           \
  template <class Tr>                                                                         \
  inline typename Tr::Vec operator OP(const ERSliceT<Tr>& a, const ERSliceT<Tr>& b) {         \
    return ERVecArith<Tr>::FN(a, b);                                                          \
  }                                                                                           \
  template <class Tr>                                                                         \
  inline typename Tr::Vec operator OP(const ERSliceT<Tr>& a, const ERVecT<Tr>& b) {           \
    return ERVecArith<Tr>::FN(a, b);                                                          \
  }                                                                                           \
  template <class Tr>                                                                         \
  inline typename Tr::Vec operator OP(const ERVecT<Tr>& a, const typename Tr::Elem& c) {      \
    return ERVecArith<Tr>::FN(typename Tr::Slice(a), c);                                      \
  }                                                                                           \
  template <class Tr>                                                                         \
  inline typename Tr::Vec operator OP(const ERSliceT<Tr>& a, const typename Tr::Elem& c) {    \
    return ERVecArith<Tr>::FN(a, c);                                                          \
  }                                                                                           \
  template <class Tr>                                                                         \
  inline typename Tr::Vec& operator COMPOUND(ERVecT<Tr>& a, const ERVecT<Tr>& b) {            \
    return erReplaceBy(a, ERVecArith<Tr>::FN(a, b));                                          \
  }                                                                                           \
  template <class Tr>                                                                         \
  inline typename Tr::Vec& operator COMPOUND(ERVecT<Tr>& a, const ERSliceT<Tr>& b) {          \
    return erReplaceBy(a, ERVecArith<Tr>::FN(typename Tr::Slice(a), b));                      \
  }                                                                                           \
  template <class Tr>                                                                         \
  inline typename Tr::Vec& operator COMPOUND(ERVecT<Tr>& a, const typename Tr::Elem& c) {     \
    return erReplaceBy(a, ERVecArith<Tr>::FN(typename Tr::Slice(a), c));                      \
  }                                                                                           \
  template <class Tr>                                                                         \
  inline typename Tr::Slice& operator COMPOUND(ERSliceT<Tr>& a, const ERSliceT<Tr>& b) {      \
    return a = ERVecArith<Tr>::FN(a, b);                                                      \
  }                                                                                           \
  template <class Tr>                                                                         \
  inline typename Tr::Slice& operator COMPOUND(ERSliceT<Tr>& a, const ERVecT<Tr>& b) {        \
    return a = ERVecArith<Tr>::FN(a, b);                                                      \
  }                                                                                           \
  template <class Tr>                                                                         \
  inline typename Tr::Slice& operator COMPOUND(ERSliceT<Tr>& a, const typename Tr::Elem& c) { \
    return a = ERVecArith<Tr>::FN(a, c);                                                      \
  }

ER_VEC_ADDITIVE_OPERATORS(+, +=, plus)
ER_VEC_ADDITIVE_OPERATORS(-, -=, minus)

// The sum of the viewed elements; a vector is summed through its whole-vector slice.
template <class Tr>
inline typename Tr::Elem sigma(const ERSliceT<Tr>& s) {
  return ERVecArith<Tr>::sigma(s);
}
template <class Tr>
inline typename Tr::Elem sigma(const ERVecT<Tr>& v) {
  return ERVecArith<Tr>::sigma(typename Tr::Slice(v));
}

// The family and its arithmetic for one element type: the traits class VecClass##Traits, the concrete
// classes VecClass and SliceClass, and the declarations of the library's instantiations. The unit names
// are the short names of the element type's source units ("vcdouble", "madouble").
#define ER_VEC_FAMILY(ElemType, VecClass, SliceClass, vcName, maName)     \
  class VecClass;                                                         \
  class SliceClass;                                                       \
  struct VecClass##Traits : ERVecTraits<ElemType, VecClass, SliceClass> { \
    static constexpr const char* unit = "source/notempl/" vcName;         \
    static constexpr const char* inlineUnit = "velmora/notempl/" vcName;  \
    static constexpr const char* arithUnit = "source/notempl/" maName;    \
  };                                                                      \
  ER_VEC_FAMILY_CLASSES(VecClass, SliceClass, VecClass##Traits);          \
  extern template class ERVecArith<VecClass##Traits>

#endif
