// Out-of-line members of the vector and slice family. Included by the five element-type units, each of
// which instantiates the family once for its traits; reports name that unit (Tr::unit).
#ifndef VELMORA_SOURCE_NOTEMPL_VCFAMILY_INL
#define VELMORA_SOURCE_NOTEMPL_VCFAMILY_INL

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <ostream>

#include "velmora/ercommon.h"
#include "velmora/erfile.h"
#include "velmora/notempl/vcfamily.h"
#include "velmora/vecrep.h"

template <class Tr>
int (*ERVecT<Tr>::s_sortCompare)(const Elem&, const Elem&) = nullptr;

// ---------------------------------------------------------------------------------------------
// Construction and assignment

template <class Tr>
ERVecT<Tr>::ERVecT() {
  ER_ASSERT_AT(((ERVecRep*)ERVecRep::nullref_)->capacity() == 0,
               "((ERVecRep* )ERVecRep::nullref_)->capacity()==0", Tr::unit, 26);
  ER_ASSERT_AT(((ERVecRep*)ERVecRep::nullref_)->length() == 0,
               "((ERVecRep* )ERVecRep::nullref_)->length()==0", Tr::unit, 27);
  block = reinterpret_cast<ERVecRep*>(ERVecRep::nullref_);
  block->addReference();
}

template <class Tr>
ERVecT<Tr>::ERVecT(unsigned int n) : block(ERVecRep::getRep(n * Tr::size, 0)) {
  block->addReference();
}

template <class Tr>
ERVecT<Tr>::ERVecT(unsigned int n, const Elem& value) : block(ERVecRep::getRep(n, Tr::size, &value)) {
  block->addReference();
}

template <class Tr>
ERVecT<Tr>::ERVecT(const Elem* p, unsigned int n) : block(ERVecRep::getRep(p, n * Tr::size)) {
  block->addReference();
}

template <class Tr>
ERVecT<Tr>::ERVecT(const ERSliceT<Tr>& s) : block(ERVecRep::getRep(s.length() * Tr::size, 1)) {
  block->addReference();
  Elem* out = rawData();
  const Elem* in = s.data();
  for (unsigned int i = 0; i < s.length(); ++i) out[i] = in[(std::ptrdiff_t)i * s.stride()];
}

template <class Tr>
typename Tr::Vec& ERVecT<Tr>::operator=(const Elem& value) {
  // An empty vector has nothing to set (the strided fill would report an empty run).
  if (length() != 0) init(value, 0, length(), 1);
  return self();
}

// ---------------------------------------------------------------------------------------------
// Access

template <class Tr>
unsigned int ERVecT<Tr>::findFirst(const Elem& v) const {
  const Elem* p = data();
  for (unsigned int i = 0; i < length(); ++i)
    if (Tr::equal(p[i], v)) return i;
  return (unsigned int)-1;
}

template <class Tr>
unsigned int ERVecT<Tr>::findLast(const Elem& v) const {
  // The scan moves back one element before each comparison, so the last element is never examined, and
  // the counter goes up while the position goes down: both are the defined behaviour.
  const Elem* p = data();
  std::ptrdiff_t position = (std::ptrdiff_t)length() - 1;
  unsigned int counter = length() - 1;
  while (counter != 0) {
    if (position <= 0) return (unsigned int)-1;  // the front is passed
    --position;
    if (Tr::equal(p[position], v)) return counter - 1;
    ++counter;
  }
  return (unsigned int)-1;
}

// ---------------------------------------------------------------------------------------------
// Capacity and copy on write

template <class Tr>
void ERVecT<Tr>::clone() const {
  ERVecRep* fresh = block->duplicate();
  fresh->addReference();
  block->release();
  block = fresh;
  ER_ASSERT_AT(block->references() == 1, "block->references() == 1", Tr::unit, 167);
}

template <class Tr>
void ERVecT<Tr>::clone(unsigned int n) {
  block = ERVecRep::clone(block, n * Tr::size);
  ER_ASSERT_AT(block->references() == 1, "block->references() == 1", Tr::unit, 176);
}

template <class Tr>
unsigned int ERVecT<Tr>::capacity(unsigned int n) {
  if (n > length() && n != capacity()) clone(n);
  ER_ASSERT_AT(capacity() >= length(), "capacity() >= length()", Tr::unit, 19);
  return capacity();
}

// ---------------------------------------------------------------------------------------------
// Editing

template <class Tr>
void ERVecT<Tr>::replace(unsigned int pos, unsigned int n, const Elem* src, unsigned int m) {
  block = ERVecRep::replace(block, pos * Tr::size, n * Tr::size, src, m * Tr::size);
}

template <class Tr>
void ERVecT<Tr>::replace(unsigned int pos, unsigned int n, const ERSliceT<Tr>& s) {
  const Vec copy(s);
  replace(pos, n, copy.data(), copy.length());
}

template <class Tr>
void ERVecT<Tr>::replace(unsigned int pos, unsigned int n, const ERVecT& v) {
  replace(pos, n, v.data(), v.length());
}

template <class Tr>
void ERVecT<Tr>::replace(unsigned int pos, unsigned int n, const Elem& v) {
  replace(pos, n, &v, 1);
}

template <class Tr>
void ERVecT<Tr>::remove(unsigned int pos, unsigned int n) {
  replace(pos, n, nullptr, 0);
}

template <class Tr>
typename Tr::Elem ERVecT<Tr>::removeAt(unsigned int i) {
  Elem value = (*this)[i];
  remove(i, 1);
  return value;
}

template <class Tr>
void ERVecT<Tr>::removeFirst(unsigned int n) {
  remove(0, n);
}

template <class Tr>
void ERVecT<Tr>::removeLast(unsigned int n) {
  remove(length() - n, n);
}

template <class Tr>
void ERVecT<Tr>::appendCopies(const Elem& v, unsigned int nb) {
  ER_ASSERT_AT(nb >= 1, "nb>=1", Tr::unit, 182);
  const Elem value = v;  // v may lie in the block that cow is about to replace
  const unsigned int len = length();
  cow(len + nb);
  Elem* p = rawData();
  for (unsigned int i = 0; i < nb; ++i) p[len + i] = value;
  block->setLength((len + nb) * Tr::size);
}

template <class Tr>
void ERVecT<Tr>::append(const ERSliceT<Tr>& s) {
  const unsigned int len = length();
  ERVecRep* fresh = ERVecRep::getRep((len + s.length()) * Tr::size, 1);
  Elem* out = reinterpret_cast<Elem*>(fresh->data());
  if (len != 0) std::memcpy(static_cast<void*>(out), block->data(), len * Tr::size);
  const Elem* in = s.data();
  for (unsigned int i = 0; i < s.length(); ++i) out[len + i] = in[(std::ptrdiff_t)i * s.stride()];
  fresh->addReference();
  block->release();
  block = fresh;
}

template <class Tr>
void ERVecT<Tr>::insertAt(unsigned int pos, const Elem& v, unsigned int nb) {
  ER_ASSERT_AT(pos <= length(), "pos<=length()", Tr::unit, 220);
  if (pos > length()) pos = length();  // a reported position inserts at the end
  const Vec values(nb, v);
  insertAt(ERSliceT<Tr>(values), pos);
}

template <class Tr>
void ERVecT<Tr>::insertAt(const ERSliceT<Tr>& s, unsigned int pos) {
  ER_ASSERT_AT(pos <= length(), "pos<=length()", Tr::unit, 231);
  const unsigned int len = length();
  if (pos > len) pos = len;  // a reported position inserts at the end
  const unsigned int newsize = len + s.length();
  ERVecRep* fresh = ERVecRep::getRep(newsize * Tr::size, 1);
  Elem* out = reinterpret_cast<Elem*>(fresh->data());
  const Elem* old = data();
  if (pos != 0) std::memcpy(static_cast<void*>(out), old, pos * Tr::size);
  const Elem* in = s.data();
  for (unsigned int i = 0; i < s.length(); ++i) out[pos + i] = in[(std::ptrdiff_t)i * s.stride()];
  if (len != pos) std::memcpy(static_cast<void*>(out + pos + s.length()), old + pos, (len - pos) * Tr::size);
  fresh->addReference();
  block->release();
  block = fresh;
  ER_ASSERT_AT(length() == newsize, "length()==newsize", Tr::unit, 250);
}

template <class Tr>
void ERVecT<Tr>::troncat(unsigned int n) {
  ER_ASSERT_AT(n <= length(), "size<=length()", Tr::unit, 524);
  if (n > length()) return;  // nothing to cut; the elements past the end are not made up
  if (n != length()) {
    cow();
    block->setLength(n * Tr::size);
  }
}

template <class Tr>
void ERVecT<Tr>::resize(unsigned int n, const Elem& v) {
  const unsigned int newsize = n;
  if (n < length())
    troncat(n);
  else if (n > length())
    append(v, n - length());
  ER_ASSERT_AT(newsize == length(), "newsize==length()", Tr::unit, 103);
}

template <class Tr>
void ERVecT<Tr>::polyInsert(unsigned int start, unsigned int width, unsigned int step) {
  block = ERVecRep::polyInsert(block, start * Tr::size, width * Tr::size, step * Tr::size);
}

template <class Tr>
void ERVecT<Tr>::polyRemove(unsigned int start, unsigned int width, unsigned int step) {
  cow();
  block->polyRemove(start * Tr::size, width * Tr::size, step * Tr::size);
}

template <class Tr>
void ERVecT<Tr>::init(const Elem& v, unsigned int start, unsigned int len, int step) {
  const Elem value = v;  // v may lie in the block that cow is about to replace
  cow();
  ER_ASSERT_AT((len > 0) && (step > 0), "(len>0)&&(step>0)", Tr::unit, 35);
  ER_ASSERT_AT((unsigned)(start + (len - 1) * step) < length(), "(unsigned)(start+(len-1)*step)<length()",
               Tr::unit, 36);
  // The run is written whatever the checks said, backwards for a negative step; only elements of the
  // vector are written.
  Elem* p = rawData();
  const std::ptrdiff_t n = length();
  for (unsigned int k = 0; k < len; ++k) {
    const std::ptrdiff_t index = (std::ptrdiff_t)start + (std::ptrdiff_t)k * step;
    if (index >= 0 && index < n) p[index] = value;
  }
}

template <class Tr>
typename Tr::Slice ERVecT<Tr>::reversed() const {
  // An empty vector has an empty reversed view; there is no last element to start from.
  if (length() == 0) return Slice(*this, 0, 0, -1);
  return slice(length() - 1, -1, length());
}

template <class Tr>
void ERVecT<Tr>::reverse() {
  *this = Vec(reversed());
}

template <class Tr>
typename Tr::Slice ERVecT<Tr>::slice(unsigned int start, int stride, unsigned int lgt) const {
  ER_ASSERT_AT(stride != 0, "stride!=0", Tr::unit, 145);
  ER_ASSERT_AT((stride > 0) ? ((length() >= size_t(start + stride * (lgt - 1)))) : 1,
               "(stride>0)? ( (length()>=size_t(start+stride*(lgt-1)))):1", Tr::unit, 146);
  ER_ASSERT_AT((stride < 0) ? ((start < length()) && ((long)start + stride * ((long)lgt - 1) + 1) >= 0) : 1,
               "(stride<0)? ( (start<length()) && ((long)start+stride*((long)lgt-1)+1)>=0):1", Tr::unit, 147);
  return Slice(*this, start, lgt, stride);
}

// ---------------------------------------------------------------------------------------------
// Text and binary forms

template <class Tr>
void ERVecT<Tr>::printOn(std::ostream& os) const {
  os << ERSliceT<Tr>(*this);
}

template <class Tr>
unsigned long ERVecT<Tr>::binaryStoreSize() const {
  return block->binaryStoreSize();
}

template <class Tr>
void ERVecT<Tr>::saveGuts(ERFile& file) const {
  block->saveGuts(file);
}

template <class Tr>
void ERVecT<Tr>::restoreGuts(ERFile& file) {
  ERVecRep* fresh = ERVecRep::getRep(file);
  fresh->addReference();
  block->release();
  block = fresh;
  ER_ASSERT_AT(block->references() == 1, "block->references() == 1", Tr::unit, 520);
}

// ---------------------------------------------------------------------------------------------
// Comparison, concatenation, sorting

template <class Tr>
int ERVecT<Tr>::equal(const ERVecT& a, const ERVecT& b) {
  if (&a == &b || a.data() == b.data()) return 1;
  if (a.length() != b.length()) return 0;
  for (unsigned int i = 0; i < a.length(); ++i)
    if (!Tr::equal(a.data()[i], b.data()[i])) return 0;
  return 1;
}

template <class Tr>
int ERVecT<Tr>::equalTo(const ERVecT& a, const Elem& v) {
  return ERSliceT<Tr>::equalTo(ERSliceT<Tr>(a), v);
}

template <class Tr>
int ERVecT<Tr>::isEqual(const ERVecT& a, const ERVecT& b, double tol) {
  if (&a == &b) return 1;
  if (a.length() != b.length()) return 0;
  for (unsigned int i = 0; i < a.length(); ++i)
    if (!Tr::near(a.data()[i], b.data()[i], tol)) return 0;
  return 1;
}

template <class Tr>
typename Tr::Vec ERVecT<Tr>::concat(const ERVecT& a, const ERVecT& b) {
  return ERSliceT<Tr>::concat(ERSliceT<Tr>(a), ERSliceT<Tr>(b));
}

template <class Tr>
int ERVecT<Tr>::compareThroughStored(const void* a, const void* b) {
  return s_sortCompare(*static_cast<const Elem*>(a), *static_cast<const Elem*>(b));
}

template <class Tr>
void ERVecT<Tr>::qsort(int (*cmp)(const Elem&, const Elem&), ERVecT& v) {
  s_sortCompare = cmp;
  std::qsort(v.block->data(), v.length(), Tr::size, &ERVecT::compareThroughStored);
}

// ---------------------------------------------------------------------------------------------
// Slices

template <class Tr>
typename Tr::Slice& ERSliceT<Tr>::operator=(const Elem& value) {
  sliceVector->init(value, sliceStart, sliceLength, sliceStride);
  return static_cast<Slice&>(*this);
}

template <class Tr>
typename Tr::Slice& ERSliceT<Tr>::operator=(const ERVecT<Tr>& v) {
  return *this = ERSliceT(v);
}

template <class Tr>
typename Tr::Slice ERSliceT<Tr>::slice(unsigned int start, int stride, unsigned int lgt) const {
  ER_ASSERT_AT(stride != 0, "stride!=0", Tr::unit, 153);
  ER_ASSERT_AT((stride > 0) ? ((length() >= (start + stride * (lgt - 1)))) : 1,
               "(stride>0)? ( (length()>=(start+stride*(lgt-1)))):1", Tr::unit, 154);
  ER_ASSERT_AT((stride < 0) ? ((start < length()) && ((long)start + stride * ((long)lgt - 1) + 1) >= 0) : 1,
               "(stride<0)? ((start<length()) && ((long)start+stride*((long)lgt-1)+1)>=0):1", Tr::unit, 155);
  return Slice(*this, start, lgt, stride);
}

template <class Tr>
void ERSliceT<Tr>::printOn(std::ostream& os) const {
  os << "(" << sliceLength << ")[";
  for (unsigned int i = 0; i < sliceLength; ++i) {
    if (i != 0) os << ",";
    os << data()[(std::ptrdiff_t)i * sliceStride];
  }
  os << "]" << std::endl;
}

template <class Tr>
int ERSliceT<Tr>::equal(const ERSliceT& a, const ERSliceT& b) {
  if (a.sliceLength != b.sliceLength) return 0;
  if (a.sliceVector == b.sliceVector && a.sliceStart == b.sliceStart && a.sliceStride == b.sliceStride)
    return 1;
  for (unsigned int i = 0; i < a.sliceLength; ++i)
    if (!Tr::equal(a.data()[(std::ptrdiff_t)i * a.sliceStride], b.data()[(std::ptrdiff_t)i * b.sliceStride]))
      return 0;
  return 1;
}

template <class Tr>
int ERSliceT<Tr>::equalTo(const ERSliceT& a, const Elem& v) {
  for (unsigned int i = 0; i < a.sliceLength; ++i)
    if (!Tr::equal(a.data()[(std::ptrdiff_t)i * a.sliceStride], v)) return 0;
  return 1;
}

template <class Tr>
int ERSliceT<Tr>::isEqual(const ERSliceT& a, const ERSliceT& b, double tol) {
  if (a.sliceLength != b.sliceLength) return 0;
  if (a.sliceVector == b.sliceVector && a.sliceStart == b.sliceStart && a.sliceStride == b.sliceStride)
    return 1;
  for (unsigned int i = 0; i < a.sliceLength; ++i)
    if (!Tr::near(a.data()[(std::ptrdiff_t)i * a.sliceStride], b.data()[(std::ptrdiff_t)i * b.sliceStride],
                  tol))
      return 0;
  return 1;
}

template <class Tr>
typename Tr::Vec ERSliceT<Tr>::concat(const ERSliceT& a, const ERSliceT& b) {
  Vec result(a.sliceLength + b.sliceLength);
  ERSliceT(result, 0, a.sliceLength, 1) = a;
  ERSliceT(result, a.sliceLength, b.sliceLength, 1) = b;
  return result;
}

template <class Tr>
void ERSliceT<Tr>::swapContents(ERSliceT& a, ERSliceT& b) {
  const Vec firstValues(a);
  a = b;
  b = firstValues;
}

// Slice-to-slice assignment checks its lengths with the standard assertion: active in the checking build
// whatever the build type says, compiled out in the continuing build.
#if VELMORA_ASSERT_CONTINUE
#ifndef NDEBUG
#define NDEBUG 1
#endif
#else
#undef NDEBUG
#endif
#include <cassert>

template <class Tr>
typename Tr::Slice& ERSliceT<Tr>::operator=(const ERSliceT& s) {
  // clang-format off
  assert(s.sliceLength==sliceLength);
  // clang-format on
  sliceVector->cow();
  // The source is read after the target's copy on write: it may view the same vector.
  const unsigned int n = ERMin(s.sliceLength, sliceLength);
  Elem* out = base();
  const Elem* in = s.data();
  for (unsigned int i = 0; i < n; ++i)
    out[(std::ptrdiff_t)i * sliceStride] = in[(std::ptrdiff_t)i * s.sliceStride];
  return static_cast<Slice&>(*this);
}

#endif
