// The vector and slice family: growable copy-on-write vectors over a shared ERVecRep block, and strided
// views of them. The five element types (double, ERPoint2D, ERPoint3D, ERPole2DH, ERPole3DH) share this
// one template; each element type's traits class names the element, its byte size, its equality and
// tolerance tests, the concrete vector and slice classes, and the source units named in reports. Users
// work with the concrete classes (ERDoubleVec, ERDoubleSlice, ...) of the element type's header; the
// template is instantiated once per element type inside the library.
#ifndef VELMORA_NOTEMPL_VCFAMILY_H
#define VELMORA_NOTEMPL_VCFAMILY_H

#include <cmath>
#include <cstddef>
#include <iosfwd>

#include "velmora/ercommon.h"
#include "velmora/vecrep.h"

class ERFile;
template <class Tr>
class ERSliceT;
template <class Tr>
class ERVecArith;

// A vector of elements stored by value in one ERVecRep block. Copies share the block (one count
// increment); every member that writes first makes the block private (cow), so writing through one copy
// never changes another. Reads (indexing, length, data) are in-line and never copy. Index checks report
// through ER_assert and then go on with the index given.
template <class Tr>
class ERVecT {
 public:
  using Elem = typename Tr::Elem;
  using Vec = typename Tr::Vec;
  using Slice = typename Tr::Slice;

  // Construction and assignment
  ERVecT();                                   // shares the empty block
  explicit ERVecT(unsigned int n);            // n zero-filled elements
  ERVecT(unsigned int n, const Elem& value);  // n copies of value
  ERVecT(const Elem* p, unsigned int n);      // copies n elements from p
  ERVecT(const ERVecT& other) : block(other.block) { block->addReference(); }
  ERVecT(const ERSliceT<Tr>& s);  // NOLINT: the viewed elements, in slice order
  virtual ~ERVecT() { block->release(); }
  // Takes the other block before releasing its own, so self-assignment is safe.
  ERVecT& operator=(const ERVecT& other) {
    other.block->addReference();
    block->release();
    block = other.block;
    return *this;
  }
  // Sets every element to value.
  Vec& operator=(const Elem& value);

  // Access
  unsigned int length() const { return block->length() / Tr::size; }
  unsigned int capacity() const { return block->capacity() / Tr::size; }
  const Elem* data() const { return reinterpret_cast<const Elem*>(block->data()); }

  const Elem& operator()(unsigned int i) const {
    ER_ASSERT_AT((size_t)i < length(), "(size_t)i<length()", Tr::inlineUnit, 15);
    return data()[i];
  }
  Elem& operator()(unsigned int i) {
    ER_ASSERT_AT((size_t)i < length(), "(size_t)i<length()", Tr::inlineUnit, 16);
    cow();
    return rawData()[i];
  }
  const Elem& operator[](unsigned int i) const {
    ER_ASSERT_AT((size_t)i < length(), "(size_t)i<length()", Tr::inlineUnit, 17);
    return data()[i];
  }
  Elem& operator[](unsigned int i) {
    ER_ASSERT_AT((size_t)i < length(), "(size_t)i<length()", Tr::inlineUnit, 18);
    cow();
    return rawData()[i];
  }
  const Elem& first() const {
    ER_ASSERT_AT(length() > 0, "length()>0", Tr::inlineUnit, 59);
    return data()[0];
  }
  Elem& first() {
    ER_ASSERT_AT(length() > 0, "length()>0", Tr::inlineUnit, 60);
    cow();
    return rawData()[0];
  }
  const Elem& last() const {
    ER_ASSERT_AT(length() > 0, "length()>0", Tr::inlineUnit, 61);
    return data()[length() - 1];
  }
  Elem& last() {
    ER_ASSERT_AT(length() > 0, "length()>0", Tr::inlineUnit, 62);
    cow();
    return rawData()[length() - 1];
  }
  // The index of the first element equal to v, or (unsigned)-1.
  unsigned int findFirst(const Elem& v) const;
  // A backward scan that deliberately never examines the last element and whose index runs the wrong
  // way: a match k rounds after the start (at element length - 2 - k) returns length - 2 + k.
  // (unsigned)-1 when the front is passed without a match.
  unsigned int findLast(const Elem& v) const;

  // Capacity and copy on write
  // Makes the block private when it has other owners.
  void cow() const {
    if (block->references() > 1) clone();
  }
  // Reserves room for n elements: when n is above the length and differs from the capacity, the block is
  // rebuilt with that room (a request between the length and the capacity shrinks it). Returns the
  // capacity.
  unsigned int capacity(unsigned int n);

  // Editing
  // Replaces elements pos to pos + n - 1 by m elements from src.
  void replace(unsigned int pos, unsigned int n, const Elem* src, unsigned int m);
  void replace(unsigned int pos, unsigned int n, const ERSliceT<Tr>& s);
  void replace(unsigned int pos, unsigned int n, const ERVecT& v);
  void replace(unsigned int pos, unsigned int n, const Elem& v);
  void remove(unsigned int pos, unsigned int n);
  Elem removeAt(unsigned int i);  // the removed value
  void removeFirst(unsigned int n = 1);
  // The last n elements; n is not checked against the length.
  void removeLast(unsigned int n = 1);
  // nb copies of v. One element into a private block with room to spare is written in-line: appending
  // one at a time is the inner loop of the solvers.
  void append(const Elem& v, unsigned int nb = 1) {
    const unsigned int len = length();
    if (nb == 1 && block->references() == 1 && capacity() > len) {
      rawData()[len] = v;
      block->setLength((len + 1) * Tr::size);
      return;
    }
    appendCopies(v, nb);
  }
  // Always builds a new block: the spare capacity is not reused.
  void append(const ERSliceT<Tr>& s);
  // Inserts nb copies of v, or the viewed elements of s, before element pos.
  void insertAt(unsigned int pos, const Elem& v, unsigned int nb = 1);
  void insertAt(const ERSliceT<Tr>& s, unsigned int pos);
  // Shortens to n elements; the capacity stays.
  void troncat(unsigned int n);
  // Shortens, or appends copies of v up to n elements.
  void resize(unsigned int n, const Elem& v = Elem());
  // The whole vector viewed backwards, and the vector reversed in place.
  Slice reversed() const;
  void reverse();

  // Views
  // lgt elements from start, stride apart (negative: backwards). The bound accepts a last index equal to
  // the length (one past the end); this lenient bound is the defined behaviour.
  Slice slice(unsigned int start, int stride, unsigned int lgt) const;

  // Text and binary forms
  // "(" length ")[" elements separated by "," "]" and a line end: (3)[1,2,3]
  virtual void printOn(std::ostream& os) const;
  virtual unsigned long binaryStoreSize() const;  // byte length + 4
  // The byte length as an unsigned 32-bit value, then the raw elements; no element size or type.
  virtual void saveGuts(ERFile& file) const;
  virtual void restoreGuts(ERFile& file);

  // Free operations of the family (called through the operators below).
  static int equal(const ERVecT& a, const ERVecT& b);
  static int equalTo(const ERVecT& a, const Elem& v);
  static int isEqual(const ERVecT& a, const ERVecT& b, double tol);
  static Vec concat(const ERVecT& a, const ERVecT& b);
  // Sorts the block in place without copying it first, so every vector sharing it sees the new order.
  // cmp is kept in one variable per family: the sort is not re-entrant.
  static void qsort(int (*cmp)(const Elem&, const Elem&), ERVecT& v);

 protected:
  // The writable elements; the caller has made the block private.
  Elem* rawData() const { return reinterpret_cast<Elem*>(block->data()); }
  // Makes the block private with room for at least n elements.
  void cow(unsigned int n) {
    if (block->references() != 1 || capacity() < n) clone(n);
  }
  // Strided insertion and removal of whole elements (see ERVecRep).
  void polyInsert(unsigned int start, unsigned int width, unsigned int step);
  void polyRemove(unsigned int start, unsigned int width, unsigned int step);
  // Writes v to elements start, start + step, ... len times.
  void init(const Elem& v, unsigned int start, unsigned int len, int step);

  const Vec& self() const { return static_cast<const Vec&>(*this); }
  Vec& self() { return static_cast<Vec&>(*this); }

 private:
  void appendCopies(const Elem& v, unsigned int nb);  // every other case of append
  friend class ERSliceT<Tr>;
  friend class ERVecArith<Tr>;

  void clone() const;
  void clone(unsigned int n);
  static int compareThroughStored(const void* a, const void* b);

  static int (*s_sortCompare)(const Elem&, const Elem&);

  mutable ERVecRep* block;
};

// A view of sliceLength elements of a vector, stride apart from start: viewed element i is vector element
// start + i * stride. A plain value: copying a slice copies the view, assigning to a slice copies
// elements into the viewed vector. It neither owns nor counts its vector and must not outlive it.
template <class Tr>
class ERSliceT {
 public:
  using Elem = typename Tr::Elem;
  using Vec = typename Tr::Vec;
  using Slice = typename Tr::Slice;

  ERSliceT(const ERVecT<Tr>& v)  // NOLINT: the whole vector
      : sliceVector(viewed(v)), sliceStart(0), sliceLength(v.length()), sliceStride(1) {}
  // The fields as given, unchecked.
  ERSliceT(const ERVecT<Tr>& v, unsigned int start, unsigned int length, int stride)
      : sliceVector(viewed(v)), sliceStart(start), sliceLength(length), sliceStride(stride) {}
  // A view of parent's view: start and stride are taken in parent's elements.
  ERSliceT(const ERSliceT& parent, unsigned int start, unsigned int length, int stride)
      : sliceVector(parent.sliceVector),
        sliceStart(start * parent.sliceStride + parent.sliceStart),
        sliceLength(length),
        sliceStride(stride * parent.sliceStride) {}
  ERSliceT(const ERSliceT&) = default;

  // Assignment copies values into the viewed elements.
  Slice& operator=(const Elem& value);  // through the vector's strided fill
  // Both slices must have the same length: checked by the standard assertion, which stops the checking
  // build; the continuing build copies as many elements as the shorter one holds.
  Slice& operator=(const ERSliceT& s);
  Slice& operator=(const ERVecT<Tr>& v);  // the whole vector

  Vec& vector() const { return *sliceVector; }
  unsigned int start() const { return sliceStart; }
  unsigned int length() const { return sliceLength; }
  int stride() const { return sliceStride; }
  const Elem* data() const { return sliceVector->data() + sliceStart; }  // viewed element 0

  // The const forms read the block; the others go through the vector's writable index, so they copy on
  // write and check the vector's bound as well.
  const Elem& operator()(unsigned int i) const {
    ER_ASSERT_AT((size_t)i < length(), "(size_t)i<length()", Tr::inlineUnit, 27);
    return data()[(std::ptrdiff_t)i * sliceStride];
  }
  const Elem& operator[](unsigned int i) const {
    ER_ASSERT_AT((size_t)i < sliceLength, "(size_t)i<sliceLength", Tr::inlineUnit, 28);
    return data()[(std::ptrdiff_t)i * sliceStride];
  }
  Elem& operator()(unsigned int i) {
    ER_ASSERT_AT((size_t)i < length(), "(size_t)i<length()", Tr::inlineUnit, 29);
    return (*sliceVector)[sliceStart + i * sliceStride];
  }
  Elem& operator[](unsigned int i) {
    ER_ASSERT_AT((size_t)i < sliceLength, "(size_t)i<sliceLength", Tr::inlineUnit, 30);
    return (*sliceVector)[sliceStart + i * sliceStride];
  }

  // A view of this view, checked against this view's length as the vector's slice is.
  Slice slice(unsigned int start, int stride, unsigned int lgt) const;

  void printOn(std::ostream& os) const;  // the vector's text form, for the viewed elements

  static int equal(const ERSliceT& a, const ERSliceT& b);
  static int equalTo(const ERSliceT& a, const Elem& v);
  static int isEqual(const ERSliceT& a, const ERSliceT& b, double tol);
  static Vec concat(const ERSliceT& a, const ERSliceT& b);
  // Exchanges the viewed contents (not the views).
  static void swapContents(ERSliceT& a, ERSliceT& b);

 protected:
  Elem* base() const { return sliceVector->rawData() + sliceStart; }  // writable, no copy

 private:
  friend class ERVecArith<Tr>;

  // Every ERVecT is the base of its family's vector class.
  static Vec* viewed(const ERVecT<Tr>& v) { return static_cast<Vec*>(const_cast<ERVecT<Tr>*>(&v)); }

  Vec* sliceVector;
  unsigned int sliceStart;
  unsigned int sliceLength;
  int sliceStride;
};

// ---------------------------------------------------------------------------------------------
// Free operations over every family

// The comparisons, concatenation and text output of vectors (Family = ERVecT) and of slices
// (Family = ERSliceT), through the class's own static members:
// - a == b: for vectors 1 for the same object or the same data, for slices 1 for the same view of the
//   same vector; else 0 for different lengths, then element by element, exactly. != is its negation.
// - a == v: 1 when every element equals v (an empty one gives 1).
// - isEqual(a, b, tol): the same short cuts (vectors: the same object only), then every pair passes the
//   element type's tolerance test (inclusive of tol).
// - concat(a, b): a new vector, the elements of a then those of b.
#define ER_VEC_FAMILY_FREE_OPERATIONS(Family)                                \
  template <class Tr>                                                        \
  inline int operator==(const Family<Tr>& a, const Family<Tr>& b) {          \
    return Family<Tr>::equal(a, b);                                          \
  }                                                                          \
  template <class Tr>                                                        \
  inline int operator!=(const Family<Tr>& a, const Family<Tr>& b) {          \
    return !Family<Tr>::equal(a, b);                                         \
  }                                                                          \
  template <class Tr>                                                        \
  inline int operator==(const Family<Tr>& a, const typename Tr::Elem& v) {   \
    return Family<Tr>::equalTo(a, v);                                        \
  }                                                                          \
  template <class Tr>                                                        \
  inline int isEqual(const Family<Tr>& a, const Family<Tr>& b, double tol) { \
    return Family<Tr>::isEqual(a, b, tol);                                   \
  }                                                                          \
  template <class Tr>                                                        \
  inline typename Tr::Vec concat(const Family<Tr>& a, const Family<Tr>& b) { \
    return Family<Tr>::concat(a, b);                                         \
  }                                                                          \
  template <class Tr>                                                        \
  inline std::ostream& operator<<(std::ostream& os, const Family<Tr>& a) {   \
    a.printOn(os);                                                           \
    return os;                                                               \
  }

ER_VEC_FAMILY_FREE_OPERATIONS(ERVecT)
ER_VEC_FAMILY_FREE_OPERATIONS(ERSliceT)

template <class Tr>
inline void qsort(int (*cmp)(const typename Tr::Elem&, const typename Tr::Elem&), ERVecT<Tr>& v) {
  ERVecT<Tr>::qsort(cmp, v);
}

template <class Tr>
inline ERFile& operator<<(ERFile& file, const ERVecT<Tr>& v) {
  v.saveGuts(file);
  return file;
}
template <class Tr>
inline ERFile& operator>>(ERFile& file, ERVecT<Tr>& v) {
  v.restoreGuts(file);
  return file;
}

// The element tests of the family: exact equality with ==, and the tolerance test, abs(a - b) <= tol for
// doubles and the element type's own isEqual(a, b, tol) otherwise (both inclusive of tol).
inline int erElemNear(double a, double b, double tol) { return std::fabs(a - b) <= tol; }
template <class T>
inline int erElemNear(const T& a, const T& b, double tol) {
  return isEqual(a, b, tol);
}

// The traits of one element type: the element, its byte size, its tests and the concrete vector and slice
// classes. The element type's header adds the source units its reports name (ER_VEC_FAMILY).
template <class T, class V, class S>
struct ERVecTraits {
  using Elem = T;
  using Vec = V;
  using Slice = S;
  static constexpr unsigned int size = sizeof(T);
  static int equal(const T& a, const T& b) { return a == b; }
  static int near(const T& a, const T& b, double tol) { return erElemNear(a, b, tol); }
};

// Declares the concrete vector and slice classes of one element type: thin classes over the template
// that keep its constructors and assignments, so that other classes can derive from them. The slice
// class's swap exchanges the viewed contents.
#define ER_VEC_FAMILY_CLASSES(VecClass, SliceClass, TraitsClass)                                  \
  class VecClass : public ERVecT<TraitsClass> {                                                   \
   public:                                                                                        \
    using ERVecT<TraitsClass>::ERVecT;                                                            \
    using ERVecT<TraitsClass>::operator=;                                                         \
  };                                                                                              \
  class SliceClass : public ERSliceT<TraitsClass> {                                               \
   public:                                                                                        \
    using ERSliceT<TraitsClass>::ERSliceT;                                                        \
    using ERSliceT<TraitsClass>::operator=;                                                       \
    friend void swap(SliceClass& a, SliceClass& b) { ERSliceT<TraitsClass>::swapContents(a, b); } \
  };                                                                                              \
  extern template class ERVecT<TraitsClass>;                                                      \
  extern template class ERSliceT<TraitsClass>

#endif
