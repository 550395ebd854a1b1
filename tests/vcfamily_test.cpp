// The behaviour every vector family shares, checked for all five element types: construction, copy on
// write, slices with positive and negative strides, editing (against std::vector), comparison, text and
// binary forms, sorting of shared blocks, and the unit each family names in its reports.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <string>
#include <vector>

#include "test_support.h"
#include "vec_family_support.h"
#include "velmora/erfile.h"
#include "velmora/vecrep.h"

namespace {

using vtest::ElemInfo;
using vtest::samples;
using vtest::toStd;

template <class V>
class VecFamilyTest : public ::testing::Test {
 protected:
  using T = typename V::Elem;
  using S = typename V::Slice;
  using Info = ElemInfo<V>;
  static constexpr unsigned size = sizeof(T);

  static T e(double k) { return Info::make(k); }
  static std::vector<T> values(unsigned n, double first = 1) { return samples<V>(n, first); }
  static V vec(unsigned n, double first = 1) { return vtest::fromStd<V>(values(n, first)); }
  static std::string unit() { return std::string("source/notempl/") + Info::vc; }
  static std::string inlineUnit() { return std::string("velmora/notempl/") + Info::vc; }
  // The capacity of a block asked for the given bytes: 64, then steps of 64.
  static unsigned blockCapacityFor(unsigned bytes) {
    return bytes <= 64 ? 64 : 64 + ((bytes - 64 + 63) / 64) * 64;
  }
};
TYPED_TEST_SUITE(VecFamilyTest, vtest::FamilyTypes);

const ERVecRep* emptyBlock() { return reinterpret_cast<const ERVecRep*>(ERVecRep::nullref_); }

// ---------------------------------------------------------------------------------------------
// Construction and copy on write

TYPED_TEST(VecFamilyTest, DefaultSharesTheEmptyBlock) {
  TypeParam v;
  EXPECT_EQ(v.length(), 0u);
  EXPECT_EQ(v.capacity(), 0u);
  EXPECT_EQ(reinterpret_cast<const char*>(v.data()), emptyBlock()->data());
}

TYPED_TEST(VecFamilyTest, SizedConstructionGivesZeroElements) {
  TypeParam v(3);
  EXPECT_EQ(toStd(v), std::vector<typename TestFixture::T>(3, typename TestFixture::T()));
}

TYPED_TEST(VecFamilyTest, FillConstructionRepeatsTheValue) {
  TypeParam v(4, this->e(2));
  EXPECT_EQ(toStd(v), std::vector<typename TestFixture::T>(4, this->e(2)));
}

TYPED_TEST(VecFamilyTest, ArrayConstructionCopiesTheElements) {
  auto values = this->values(5);
  TypeParam v(values.data(), 5);
  values[0] = this->e(100);  // the vector keeps its own copy
  EXPECT_EQ(toStd(v), this->values(5));
}

TYPED_TEST(VecFamilyTest, CapacityIsTheBlockCapacityInElements) {
  // 9 elements of 8, 16, 24 or 32 bytes: 72, 144, 216, 288 bytes, in blocks of 128, 192, 256, 320.
  TypeParam v(9);
  EXPECT_EQ(v.capacity(), this->blockCapacityFor(9 * this->size) / this->size);
}

TYPED_TEST(VecFamilyTest, CopySharesTheBlock) {
  TypeParam a = this->vec(3);
  TypeParam b(a);
  EXPECT_EQ(a.data(), b.data());
  TypeParam c;
  c = a;
  EXPECT_EQ(c.data(), a.data());
}

TYPED_TEST(VecFamilyTest, WritingThroughACopyLeavesTheOriginal) {
  TypeParam a = this->vec(3);
  TypeParam b(a);
  b[0] = this->e(50);
  EXPECT_NE(a.data(), b.data());
  EXPECT_EQ(toStd(a), this->values(3));
  EXPECT_EQ(b[0], this->e(50));
  EXPECT_EQ(b[1], this->e(2));
}

TYPED_TEST(VecFamilyTest, EveryWritableAccessCopiesOnWrite) {
  const TypeParam a = this->vec(3);
  {
    TypeParam b(a);
    b(1) = this->e(9);
    EXPECT_EQ(toStd(a), this->values(3));
  }
  {
    TypeParam b(a);
    b.first() = this->e(9);
    EXPECT_EQ(toStd(a), this->values(3));
    EXPECT_EQ(b[0], this->e(9));
  }
  {
    TypeParam b(a);
    b.last() = this->e(9);
    EXPECT_EQ(toStd(a), this->values(3));
    EXPECT_EQ(b[2], this->e(9));
  }
}

TYPED_TEST(VecFamilyTest, ReadingDoesNotCopy) {
  TypeParam a = this->vec(3);
  TypeParam b(a);
  const TypeParam& cb = b;
  EXPECT_EQ(cb[0], this->e(1));
  EXPECT_EQ(cb(1), this->e(2));
  EXPECT_EQ(cb.first(), this->e(1));
  EXPECT_EQ(cb.last(), this->e(3));
  EXPECT_EQ(a.data(), b.data());
}

TYPED_TEST(VecFamilyTest, SoleOwnerWritesInPlace) {
  TypeParam a = this->vec(3);
  const auto* before = a.data();
  a[1] = this->e(7);
  EXPECT_EQ(a.data(), before);
}

TYPED_TEST(VecFamilyTest, SelfAssignmentKeepsTheBlock) {
  TypeParam a = this->vec(3);
  TypeParam& alias = a;
  a = alias;
  EXPECT_EQ(toStd(a), this->values(3));
}

TYPED_TEST(VecFamilyTest, AssigningAValueSetsEveryElementOfThisCopyOnly) {
  TypeParam a = this->vec(4);
  TypeParam b(a);
  b = this->e(8);
  EXPECT_EQ(toStd(b), std::vector<typename TestFixture::T>(4, this->e(8)));
  EXPECT_EQ(toStd(a), this->values(4));
}

TYPED_TEST(VecFamilyTest, AssigningAValueToAnEmptyVectorDoesNothing) {
  TypeParam a;
  std::string err = vtest::captureStderr([&] { a = this->e(8); });
  EXPECT_EQ(err, "");
  EXPECT_EQ(a.length(), 0u);
}

// ---------------------------------------------------------------------------------------------
// Slices

TYPED_TEST(VecFamilyTest, SliceViewsEveryStrideElement) {
  TypeParam v = this->vec(7);
  typename TestFixture::S s = v.slice(1, 2, 3);
  EXPECT_EQ(&s.vector(), &v);
  EXPECT_EQ(s.start(), 1u);
  EXPECT_EQ(s.length(), 3u);
  EXPECT_EQ(s.stride(), 2);
  EXPECT_EQ(s.data(), v.data() + 1);
  EXPECT_EQ(s[0], this->e(2));
  EXPECT_EQ(s(1), this->e(4));
  EXPECT_EQ(s[2], this->e(6));
}

TYPED_TEST(VecFamilyTest, NegativeStrideViewsBackwards) {
  TypeParam v = this->vec(5);
  typename TestFixture::S s = v.slice(4, -2, 3);
  EXPECT_EQ(s[0], this->e(5));
  EXPECT_EQ(s[1], this->e(3));
  EXPECT_EQ(s(2), this->e(1));
}

TYPED_TEST(VecFamilyTest, WholeVectorSlice) {
  TypeParam v = this->vec(4);
  typename TestFixture::S s(v);
  EXPECT_EQ(s.start(), 0u);
  EXPECT_EQ(s.length(), 4u);
  EXPECT_EQ(s.stride(), 1);
  EXPECT_EQ(vtest::sliceToStd(s), this->values(4));
}

TYPED_TEST(VecFamilyTest, SliceConstructorsStoreFieldsAndCompose) {
  TypeParam v = this->vec(10);
  typename TestFixture::S parent(v, 9, 5, -2);     // 10, 8, 6, 4, 2
  typename TestFixture::S child(parent, 1, 2, 2);  // parent's 1 and 3: values 8 and 4
  EXPECT_EQ(child.start(), 7u);
  EXPECT_EQ(child.stride(), -4);
  EXPECT_EQ(child.length(), 2u);
  EXPECT_EQ(child[0], this->e(8));
  EXPECT_EQ(child[1], this->e(4));
  typename TestFixture::S viaMember = parent.slice(1, 2, 2);
  EXPECT_EQ(viaMember.start(), 7u);
  EXPECT_EQ(viaMember.stride(), -4);
  EXPECT_EQ(viaMember.length(), 2u);
}

TYPED_TEST(VecFamilyTest, VectorFromSliceTakesViewedElementsInOrder) {
  TypeParam v = this->vec(6);
  TypeParam forward(v.slice(0, 2, 3));
  TypeParam backward(v.slice(5, -2, 3));
  EXPECT_EQ(toStd(forward), (std::vector<typename TestFixture::T>{this->e(1), this->e(3), this->e(5)}));
  EXPECT_EQ(toStd(backward), (std::vector<typename TestFixture::T>{this->e(6), this->e(4), this->e(2)}));
}

TYPED_TEST(VecFamilyTest, WritingThroughASliceChangesOnlyItsVector) {
  TypeParam v = this->vec(4);
  TypeParam copy(v);
  typename TestFixture::S s = v.slice(3, -1, 4);
  s[0] = this->e(40);
  s(3) = this->e(10);
  EXPECT_EQ(v[3], this->e(40));
  EXPECT_EQ(v[0], this->e(10));
  EXPECT_EQ(toStd(copy), this->values(4));
}

TYPED_TEST(VecFamilyTest, SliceValueAssignmentFillsTheView) {
  TypeParam v = this->vec(6);
  TypeParam copy(v);
  v.slice(1, 2, 3) = this->e(0);
  auto expected = this->values(6);
  expected[1] = expected[3] = expected[5] = this->e(0);
  EXPECT_EQ(toStd(v), expected);
  EXPECT_EQ(toStd(copy), this->values(6));
}

TYPED_TEST(VecFamilyTest, SliceToSliceAssignmentCopiesAlongBothStrides) {
  TypeParam v = this->vec(6);
  TypeParam w = this->vec(3, 20);
  TypeParam copy(v);
  v.slice(4, -2, 3) = w.slice(0, 1, 3);  // v[4] = 20, v[2] = 21, v[0] = 22
  auto expected = this->values(6);
  expected[4] = this->e(20);
  expected[2] = this->e(21);
  expected[0] = this->e(22);
  EXPECT_EQ(toStd(v), expected);
  EXPECT_EQ(toStd(copy), this->values(6));
}

TYPED_TEST(VecFamilyTest, SliceAssignmentWithinOneVectorCopiesElementByElement) {
  // Overlapping views of one vector: each element is read after the previous ones were written.
  TypeParam v = this->vec(5);
  v.slice(1, 1, 4) = v.slice(0, 1, 4);
  EXPECT_EQ(toStd(v), std::vector<typename TestFixture::T>(5, this->e(1)));
}

TYPED_TEST(VecFamilyTest, SliceAssignmentFromSharedVectorWritesPrivateCopy) {
  TypeParam v = this->vec(4);
  TypeParam shared(v);
  v.slice(0, 1, 2) = shared.slice(2, 1, 2);
  auto expected = this->values(4);
  expected[0] = this->e(3);
  expected[1] = this->e(4);
  EXPECT_EQ(toStd(v), expected);
  EXPECT_EQ(toStd(shared), this->values(4));
}

TYPED_TEST(VecFamilyTest, SliceAssignedFromVectorTakesItsElements) {
  TypeParam v = this->vec(4);
  typename TestFixture::S s = v.slice(0, 2, 2);
  s = this->vec(2, 30);
  auto expected = this->values(4);
  expected[0] = this->e(30);
  expected[2] = this->e(31);
  EXPECT_EQ(toStd(v), expected);
}

TYPED_TEST(VecFamilyTest, SwapExchangesViewedContentsNotViews) {
  TypeParam v = this->vec(6);
  typename TestFixture::S a = v.slice(0, 1, 3);
  typename TestFixture::S b = v.slice(5, -1, 3);
  swap(a, b);
  EXPECT_EQ(a.start(), 0u);
  EXPECT_EQ(b.start(), 5u);
  auto expected = this->values(6);
  std::reverse(expected.begin(), expected.end());
  EXPECT_EQ(toStd(v), expected);
  using std::swap;  // the family's swap still wins over the standard one
  swap(a, b);
  EXPECT_EQ(toStd(v), this->values(6));
}

TYPED_TEST(VecFamilyTest, ReversedViewsBackwardsAndReverseReorders) {
  TypeParam v = this->vec(4);
  typename TestFixture::S r = v.reversed();
  EXPECT_EQ(r.start(), 3u);
  EXPECT_EQ(r.stride(), -1);
  EXPECT_EQ(r.length(), 4u);
  TypeParam copy(v);
  v.reverse();
  auto expected = this->values(4);
  std::reverse(expected.begin(), expected.end());
  EXPECT_EQ(toStd(v), expected);
  EXPECT_EQ(toStd(copy), this->values(4));
}

TYPED_TEST(VecFamilyTest, EmptyVectorReversesSilently) {
  TypeParam v;
  std::string err = vtest::captureStderr([&] {
    EXPECT_EQ(v.reversed().length(), 0u);
    v.reverse();
  });
  EXPECT_EQ(err, "");
  EXPECT_EQ(v.length(), 0u);
}

TYPED_TEST(VecFamilyTest, ConcatJoinsVectorsAndSlices) {
  TypeParam a = this->vec(2);
  TypeParam b = this->vec(3, 10);
  auto expected = this->values(2);
  for (auto x : this->values(3, 10)) expected.push_back(x);
  EXPECT_EQ(toStd(concat(a, b)), expected);
  TypeParam fromSlices = concat(a.reversed(), b.slice(0, 2, 2));
  EXPECT_EQ(toStd(fromSlices),
            (std::vector<typename TestFixture::T>{this->e(2), this->e(1), this->e(10), this->e(12)}));
  EXPECT_EQ(concat(TypeParam(), TypeParam()).length(), 0u);
}

// ---------------------------------------------------------------------------------------------
// Editing: random sequences against std::vector

template <class V>
class Mirror {
 public:
  using T = typename V::Elem;
  explicit Mirror(std::mt19937& rng) : rng_(rng) {}

  unsigned pick(unsigned lo, unsigned hi) { return std::uniform_int_distribution<unsigned>(lo, hi)(rng_); }
  T value() { return ElemInfo<V>::make(static_cast<double>(pick(0, 1000)) / 4); }
  std::vector<T> values(unsigned n) {
    std::vector<T> out;
    for (unsigned i = 0; i < n; ++i) out.push_back(value());
    return out;
  }

  // A valid random slice of v (positive or negative stride) and its elements.
  typename V::Slice slice(const V& v, std::vector<T>& viewed) {
    viewed.clear();
    if (v.length() == 0) return typename V::Slice(v, 0, 0, 1);
    int stride = static_cast<int>(pick(1, 3));
    unsigned start = pick(0, v.length() - 1);
    unsigned lgt;
    if (pick(0, 1) == 0) {
      lgt = pick(0, (v.length() - 1 - start) / stride + 1);
    } else {
      lgt = pick(0, start / stride + 1);
      stride = -stride;
    }
    for (unsigned i = 0; i < lgt; ++i)
      viewed.push_back(
          v.data()[static_cast<std::ptrdiff_t>(start) + static_cast<std::ptrdiff_t>(i) * stride]);
    return typename V::Slice(v, start, lgt, stride);
  }

  // One random editing member applied to v and to ref; returns its name.
  std::string step(V& v, std::vector<T>& ref) {
    const unsigned n = static_cast<unsigned>(ref.size());
    switch (pick(0, 15)) {
      case 0: {
        unsigned pos = pick(0, n), cnt = pick(0, n - pos);
        std::vector<T> src = values(pick(0, 4));
        v.replace(pos, cnt, src.data(), static_cast<unsigned>(src.size()));
        ref.erase(ref.begin() + pos, ref.begin() + pos + cnt);
        ref.insert(ref.begin() + pos, src.begin(), src.end());
        return "replace(array)";
      }
      case 1: {
        V other = vtest::fromStd<V>(values(pick(0, 6)));
        std::vector<T> viewed;
        typename V::Slice s = slice(other, viewed);
        unsigned pos = pick(0, n), cnt = pick(0, n - pos);
        v.replace(pos, cnt, s);
        ref.erase(ref.begin() + pos, ref.begin() + pos + cnt);
        ref.insert(ref.begin() + pos, viewed.begin(), viewed.end());
        return "replace(slice)";
      }
      case 2: {
        unsigned pos = pick(0, n), cnt = pick(0, n - pos);
        std::vector<T> src = ref;  // the vector itself as the source
        v.replace(pos, cnt, v);
        ref.erase(ref.begin() + pos, ref.begin() + pos + cnt);
        ref.insert(ref.begin() + pos, src.begin(), src.end());
        return "replace(self)";
      }
      case 3: {
        unsigned pos = pick(0, n), cnt = pick(0, n - pos);
        T x = value();
        v.replace(pos, cnt, x);
        ref.erase(ref.begin() + pos, ref.begin() + pos + cnt);
        ref.insert(ref.begin() + pos, x);
        return "replace(value)";
      }
      case 4: {
        unsigned pos = pick(0, n), cnt = pick(0, n - pos);
        v.remove(pos, cnt);
        ref.erase(ref.begin() + pos, ref.begin() + pos + cnt);
        return "remove";
      }
      case 5: {
        if (n == 0) return "none";
        unsigned i = pick(0, n - 1);
        T removed = v.removeAt(i);
        EXPECT_EQ(removed, ref[i]);
        ref.erase(ref.begin() + i);
        return "removeAt";
      }
      case 6: {
        unsigned cnt = pick(0, n);
        v.removeFirst(cnt);
        ref.erase(ref.begin(), ref.begin() + cnt);
        return "removeFirst";
      }
      case 7: {
        unsigned cnt = pick(0, n);
        v.removeLast(cnt);
        ref.erase(ref.end() - cnt, ref.end());
        return "removeLast";
      }
      case 8: {
        T x = value();
        unsigned nb = pick(1, 5);
        v.append(x, nb);
        ref.insert(ref.end(), nb, x);
        return "append(value)";
      }
      case 9: {
        std::vector<T> viewed;
        typename V::Slice s = slice(v, viewed);  // a view of the vector itself
        v.append(s);
        ref.insert(ref.end(), viewed.begin(), viewed.end());
        return "append(slice)";
      }
      case 10: {
        unsigned pos = pick(0, n), nb = pick(0, 3);
        T x = value();
        v.insertAt(pos, x, nb);
        ref.insert(ref.begin() + pos, nb, x);
        return "insertAt(value)";
      }
      case 11: {
        std::vector<T> viewed;
        typename V::Slice s = slice(v, viewed);
        unsigned pos = pick(0, n);
        v.insertAt(s, pos);
        ref.insert(ref.begin() + pos, viewed.begin(), viewed.end());
        return "insertAt(slice)";
      }
      case 12: {
        unsigned len = pick(0, n);
        v.troncat(len);
        ref.resize(len);
        return "troncat";
      }
      case 13: {
        unsigned len = pick(0, n + 6);
        T x = value();
        v.resize(len, x);
        ref.resize(len, x);
        return "resize";
      }
      case 14: {
        v.reverse();
        std::reverse(ref.begin(), ref.end());
        return "reverse";
      }
      default: {
        unsigned want = pick(0, n + 20);
        unsigned got = v.capacity(want);
        EXPECT_GE(got, n);
        if (want > n) {
          EXPECT_GE(got, want);
        }
        return "capacity";
      }
    }
  }

 private:
  std::mt19937& rng_;
};

TYPED_TEST(VecFamilyTest, RandomEditingMatchesStdVectorAndSparesCopies) {
  std::mt19937 rng(20240611);
  Mirror<TypeParam> mirror(rng);
  for (int run = 0; run < 20; ++run) {
    std::vector<typename TestFixture::T> ref = mirror.values(mirror.pick(0, 8));
    TypeParam v = vtest::fromStd<TypeParam>(ref);
    for (int i = 0; i < 40; ++i) {
      TypeParam before(v);  // shares the block: the edit must not reach it
      const auto beforeValues = ref;
      std::string op = mirror.step(v, ref);
      ASSERT_EQ(toStd(v), ref) << "after " << op << " (run " << run << ", step " << i << ")";
      ASSERT_EQ(toStd(before), beforeValues) << op << " changed a copy";
      ASSERT_LE(v.length(), v.capacity()) << op;
    }
  }
}

TYPED_TEST(VecFamilyTest, RemoveAtReturnsTheRemovedElement) {
  TypeParam v = this->vec(3);
  EXPECT_EQ(v.removeAt(1), this->e(2));
  EXPECT_EQ(toStd(v), (std::vector<typename TestFixture::T>{this->e(1), this->e(3)}));
}

TYPED_TEST(VecFamilyTest, AppendReusesSpareCapacity) {
  TypeParam v = this->vec(1);
  const auto* before = v.data();
  v.append(this->e(5));
  EXPECT_EQ(v.data(), before);
  EXPECT_EQ(v.length(), 2u);
}

TYPED_TEST(VecFamilyTest, AppendingASliceAlwaysBuildsANewBlock) {
  TypeParam v = this->vec(1);
  const auto* before = v.data();
  TypeParam w = this->vec(1, 9);
  v.append(typename TestFixture::S(w));
  EXPECT_NE(v.data(), before);
  EXPECT_EQ(toStd(v), (std::vector<typename TestFixture::T>{this->e(1), this->e(9)}));
}

TYPED_TEST(VecFamilyTest, CapacityReservesAndCanShrink) {
  TypeParam v = this->vec(2);
  const unsigned big = 300 / this->size + 1;
  EXPECT_GE(v.capacity(big), big);
  const auto* reserved = v.data();
  for (unsigned i = 2; i < big; ++i) v.append(this->e(i + 1));
  EXPECT_EQ(v.data(), reserved);  // no reallocation while filling the reserved room
  EXPECT_EQ(toStd(v), this->values(big));
  TypeParam w = this->vec(2);
  w.capacity(big);
  unsigned shrunk = w.capacity(3);  // between the length and the capacity: a smaller block
  EXPECT_EQ(shrunk, this->blockCapacityFor(3 * this->size) / this->size);
  EXPECT_LT(shrunk, big);
  EXPECT_EQ(toStd(w), this->values(2));
  EXPECT_EQ(w.capacity(1), shrunk);  // at or below the length: nothing changes
}

TYPED_TEST(VecFamilyTest, TroncatKeepsTheCapacity) {
  TypeParam v = this->vec(9);
  const unsigned capacity = v.capacity();
  v.troncat(2);
  EXPECT_EQ(v.length(), 2u);
  EXPECT_EQ(v.capacity(), capacity);
  EXPECT_EQ(toStd(v), this->values(2));
}

// ---------------------------------------------------------------------------------------------
// Search and comparison

TYPED_TEST(VecFamilyTest, FindFirstScansFromTheFront) {
  TypeParam v = vtest::fromStd<TypeParam>({this->e(1), this->e(2), this->e(2)});
  EXPECT_EQ(v.findFirst(this->e(2)), 1u);
  EXPECT_EQ(v.findFirst(this->e(7)), static_cast<unsigned>(-1));
  EXPECT_EQ(TypeParam().findFirst(this->e(1)), static_cast<unsigned>(-1));
}

TYPED_TEST(VecFamilyTest, FindLastSkipsLastElementAndCountsUpwards) {
  // (1,2,3,2): element 2 first (no match), then element 1 (match one round later): 4 - 2 + 1 = 3.
  TypeParam v = vtest::fromStd<TypeParam>({this->e(1), this->e(2), this->e(3), this->e(2)});
  EXPECT_EQ(v.findLast(this->e(2)), 3u);
  // A match in the first round is at element length - 2 and returns length - 2.
  EXPECT_EQ(v.findLast(this->e(3)), 2u);
  // The last element is never examined; a scan past the front finds nothing.
  TypeParam w = vtest::fromStd<TypeParam>({this->e(1), this->e(5), this->e(7), this->e(9)});
  EXPECT_EQ(w.findLast(this->e(9)), static_cast<unsigned>(-1));
  // A match at the front, three rounds after the start: 5 - 2 + 3 = 6.
  TypeParam u = vtest::fromStd<TypeParam>({this->e(4), this->e(5), this->e(6), this->e(7), this->e(8)});
  EXPECT_EQ(u.findLast(this->e(4)), 6u);
}

TYPED_TEST(VecFamilyTest, FindLastOnOneOrNoElementFindsNothing) {
  TypeParam one = this->vec(1);
  EXPECT_EQ(one.findLast(this->e(1)), static_cast<unsigned>(-1));
  EXPECT_EQ(TypeParam().findLast(this->e(1)), static_cast<unsigned>(-1));
}

TYPED_TEST(VecFamilyTest, EqualityComparesLengthsThenElementsExactly) {
  TypeParam a = this->vec(3);
  TypeParam b = this->vec(3);
  EXPECT_TRUE(a == b);
  EXPECT_FALSE(a != b);
  b[2] = this->e(4);
  EXPECT_FALSE(a == b);
  EXPECT_TRUE(a != b);
  EXPECT_FALSE(a == this->vec(2));
  TypeParam shared(a);
  EXPECT_TRUE(a == shared);
  EXPECT_TRUE(TypeParam() == TypeParam());
}

TYPED_TEST(VecFamilyTest, EqualityWithOneValue) {
  EXPECT_TRUE(TypeParam(3, this->e(2)) == this->e(2));
  EXPECT_FALSE(this->vec(3) == this->e(1));
  EXPECT_TRUE(TypeParam() == this->e(1));
  TypeParam v = this->vec(5);
  v.slice(0, 2, 3) = this->e(7);
  EXPECT_TRUE(v.slice(0, 2, 3) == this->e(7));
  EXPECT_FALSE(v.slice(0, 1, 3) == this->e(7));
}

TYPED_TEST(VecFamilyTest, ToleranceComparisonIsInclusive) {
  using Info = typename TestFixture::Info;
  TypeParam a = this->vec(3);
  TypeParam b = a;
  b[1] = Info::moved(b[1], 0.5);
  EXPECT_TRUE(isEqual(a, b, 0.5));
  EXPECT_FALSE(isEqual(a, b, 0.25));
  EXPECT_FALSE(isEqual(a, this->vec(2), 100.0));
  EXPECT_TRUE(isEqual(a, a, -1.0));  // the same object, whatever the tolerance
  EXPECT_TRUE(isEqual(a.slice(0, 1, 3), b.slice(0, 1, 3), 0.5));
  EXPECT_FALSE(isEqual(a.slice(0, 1, 3), b.slice(0, 1, 3), 0.25));
  EXPECT_TRUE(isEqual(a.slice(0, 1, 3), a.slice(0, 1, 3), -1.0));  // identical views
  EXPECT_FALSE(isEqual(a.slice(0, 1, 3), a.slice(0, 1, 2), 100.0));
}

TYPED_TEST(VecFamilyTest, SliceEqualityComparesViewedElements) {
  TypeParam v = vtest::fromStd<TypeParam>({this->e(1), this->e(2), this->e(1), this->e(2)});
  EXPECT_TRUE(v.slice(0, 1, 2) == v.slice(2, 1, 2));
  EXPECT_TRUE(v.slice(0, 2, 2) == v.slice(2, -2, 2));
  EXPECT_FALSE(v.slice(0, 1, 2) == v.slice(1, 1, 2));
  EXPECT_TRUE(v.slice(0, 1, 2) != v.slice(1, 1, 2));
  EXPECT_FALSE(v.slice(0, 1, 2) == v.slice(0, 1, 3));
  EXPECT_TRUE(v.slice(1, 2, 2) == v.slice(1, 2, 2));
}

// ---------------------------------------------------------------------------------------------
// Text and binary forms

TYPED_TEST(VecFamilyTest, PrintsLengthThenElementsAndALineEnd) {
  TypeParam v = this->vec(3);
  std::string expected = "(3)[" + vtest::textOf(this->e(1)) + "," + vtest::textOf(this->e(2)) + "," +
                         vtest::textOf(this->e(3)) + "]\n";
  std::ostringstream os;
  os << v;
  EXPECT_EQ(os.str(), expected);
  std::ostringstream viaMember;
  v.printOn(viaMember);
  EXPECT_EQ(viaMember.str(), expected);
  std::ostringstream empty;
  empty << TypeParam();
  EXPECT_EQ(empty.str(), "(0)[]\n");
}

TYPED_TEST(VecFamilyTest, SlicePrintsItsViewedElements) {
  TypeParam v = this->vec(4);
  std::ostringstream os;
  os << v.slice(3, -2, 2);
  EXPECT_EQ(os.str(), "(2)[" + vtest::textOf(this->e(4)) + "," + vtest::textOf(this->e(2)) + "]\n");
}

TYPED_TEST(VecFamilyTest, SavesByteLengthThenRawElements) {
  vtest::ScratchDir dir;
  TypeParam v = this->vec(3);
  EXPECT_EQ(v.binaryStoreSize(), 3ul * this->size + 4);
  std::string name = dir.path("v.bin");
  vtest::captureStderr([&] {
    ERFile file(name.c_str(), "wb");
    file << v;
  });
  EXPECT_EQ(vtest::readBytes(name), vtest::imageOf<TypeParam>(this->values(3), this->size));
}

TYPED_TEST(VecFamilyTest, RestoresWhatItSavedIntoAPrivateBlock) {
  vtest::ScratchDir dir;
  TypeParam v = this->vec(5);
  TypeParam target = this->vec(2, 40);
  TypeParam sharedWithTarget(target);
  std::string name = dir.path("v.bin");
  vtest::captureStderr([&] {
    {
      ERFile file(name.c_str(), "wb");
      v.saveGuts(file);
      TypeParam().saveGuts(file);
    }
    ERFile file(name.c_str(), "rb");
    file >> target;
    TypeParam empty = this->vec(1);
    empty.restoreGuts(file);
    EXPECT_EQ(empty.length(), 0u);
  });
  EXPECT_EQ(toStd(target), this->values(5));
  EXPECT_NE(target.data(), v.data());
  EXPECT_EQ(toStd(sharedWithTarget), this->values(2, 40));
}

// ---------------------------------------------------------------------------------------------
// Sorting

template <class V>
int byFirstCoordinate(const typename V::Elem& a, const typename V::Elem& b) {
  double x = ElemInfo<V>::coords(a)[0], y = ElemInfo<V>::coords(b)[0];
  return x < y ? -1 : (x > y ? 1 : 0);
}
template <class V>
int descending(const typename V::Elem& a, const typename V::Elem& b) {
  return byFirstCoordinate<V>(b, a);
}

TYPED_TEST(VecFamilyTest, SortReordersTheSharedBlockForEveryCopy) {
  TypeParam v = vtest::fromStd<TypeParam>({this->e(3), this->e(1), this->e(4), this->e(2)});
  TypeParam copy(v);
  qsort(&byFirstCoordinate<TypeParam>, v);
  const auto sorted = std::vector<typename TestFixture::T>{this->e(1), this->e(2), this->e(3), this->e(4)};
  EXPECT_EQ(toStd(v), sorted);
  EXPECT_EQ(toStd(copy), sorted);
  EXPECT_EQ(copy.data(), v.data());
}

TYPED_TEST(VecFamilyTest, SortUsesTheLatestComparison) {
  TypeParam v = this->vec(5);
  qsort(&descending<TypeParam>, v);
  auto expected = this->values(5);
  std::reverse(expected.begin(), expected.end());
  EXPECT_EQ(toStd(v), expected);
  TypeParam empty;
  qsort(&descending<TypeParam>, empty);
  EXPECT_EQ(empty.length(), 0u);
}

// ---------------------------------------------------------------------------------------------
// Reports name the element type's units

TYPED_TEST(VecFamilyTest, IndexReportNamesTheInlineUnit) {
  const TypeParam v = this->vec(2);
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH((void)v[2], vtest::reportRegex("(size_t)i<length()", this->inlineUnit(), 17));
  } else {
    std::string err = vtest::captureStderr([&] { (void)&v[2]; });
    EXPECT_EQ(err, vtest::report("(size_t)i<length()", this->inlineUnit(), 17));
  }
}

TYPED_TEST(VecFamilyTest, EditingReportNamesTheSourceUnit) {
  TypeParam v = this->vec(2);
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(v.append(this->e(1), 0), vtest::reportRegex("nb>=1", this->unit(), 182));
  } else {
    std::string err = vtest::captureStderr([&] { v.append(this->e(1), 0); });
    EXPECT_EQ(err, vtest::report("nb>=1", this->unit(), 182));
    EXPECT_EQ(toStd(v), this->values(2));
  }
}

}  // namespace
