// Element-wise arithmetic of the vector families: every operator and sigma against plain loops over
// std::vector for all five element types, copy on write of the compound forms, the length reports, and
// the double vector's cases checked against Eigen.
#include <gtest/gtest.h>

#include <cstddef>
#include <random>
#include <regex>
#include <string>
#include <vector>

#include "test_support.h"
#include "vec_family_support.h"

#ifdef VELMORA_HAVE_EIGEN
#include <Eigen/Dense>
#endif

namespace {

using vtest::ElemInfo;
using vtest::toStd;

template <class V>
class VecArithTest : public ::testing::Test {
 protected:
  using T = typename V::Elem;
  using S = typename V::Slice;
  using Ref = std::vector<T>;

  VecArithTest() : rng(777) {}

  unsigned pick(unsigned lo, unsigned hi) { return std::uniform_int_distribution<unsigned>(lo, hi)(rng); }
  T value() { return ElemInfo<V>::make(static_cast<double>(pick(0, 400)) / 8 - 25); }
  double scalar() { return static_cast<double>(pick(1, 64)) / 4 * (pick(0, 1) ? 1 : -1); }
  Ref values(unsigned n) {
    Ref out;
    for (unsigned i = 0; i < n; ++i) out.push_back(value());
    return out;
  }
  // A vector of total elements and a random view of count of them, with the viewed indices.
  S view(const V& v, unsigned count, std::vector<std::ptrdiff_t>& indices) {
    indices.clear();
    if (count == 0) return S(v, 0, 0, 1);
    const unsigned total = v.length();
    int stride = 1;
    unsigned start = 0;
    if (count > 1) {
      const unsigned maxStride = (total - 1) / (count - 1);
      stride = static_cast<int>(pick(1, maxStride));
    }
    const unsigned span = (count - 1) * static_cast<unsigned>(stride);
    start = pick(0, total - 1 - span);
    if (pick(0, 1) == 1) {  // the same elements, backwards
      start += span;
      stride = -stride;
    }
    for (unsigned i = 0; i < count; ++i)
      indices.push_back(static_cast<std::ptrdiff_t>(start) + static_cast<std::ptrdiff_t>(i) * stride);
    return S(v, start, count, stride);
  }
  static Ref gather(const V& v, const std::vector<std::ptrdiff_t>& indices) {
    Ref out;
    for (std::ptrdiff_t i : indices) out.push_back(v.data()[i]);
    return out;
  }
  static std::string arithUnit() { return std::string("source/notempl/") + ElemInfo<V>::ma; }

  std::mt19937 rng;
};
TYPED_TEST_SUITE(VecArithTest, vtest::FamilyTypes);

template <class T, class F>
std::vector<T> zip(const std::vector<T>& a, const std::vector<T>& b, F f) {
  std::vector<T> out;
  for (std::size_t i = 0; i < a.size(); ++i) out.push_back(f(a[i], b[i]));
  return out;
}
template <class T, class F>
std::vector<T> each(const std::vector<T>& a, F f) {
  std::vector<T> out;
  for (const T& x : a) out.push_back(f(x));
  return out;
}

// ---------------------------------------------------------------------------------------------
// Random checks against loops

TYPED_TEST(VecArithTest, VectorOperatorsMatchElementLoops) {
  using T = typename TestFixture::T;
  for (int run = 0; run < 30; ++run) {
    const unsigned n = this->pick(0, 12);
    const auto ra = this->values(n), rb = this->values(n);
    const TypeParam a = vtest::fromStd<TypeParam>(ra), b = vtest::fromStd<TypeParam>(rb);
    const T c = this->value();
    const double s = this->scalar();
    EXPECT_EQ(toStd(a + b), zip(ra, rb, [](const T& x, const T& y) { return x + y; }));
    EXPECT_EQ(toStd(a - b), zip(ra, rb, [](const T& x, const T& y) { return x - y; }));
    EXPECT_EQ(toStd(a + c), each(ra, [&](const T& x) { return x + c; }));
    EXPECT_EQ(toStd(a - c), each(ra, [&](const T& x) { return x - c; }));
    EXPECT_EQ(toStd(a * s), each(ra, [&](const T& x) { return x * s; }));
    EXPECT_EQ(toStd(s * a), each(ra, [&](const T& x) { return x * s; }));
    EXPECT_EQ(toStd(a / s), each(ra, [&](const T& x) { return x / s; }));
    T sum = T();
    for (const T& x : ra) sum += x;
    EXPECT_EQ(sigma(a), sum);
    EXPECT_EQ(toStd(a), ra);  // operands untouched
    EXPECT_EQ(toStd(b), rb);
  }
}

TYPED_TEST(VecArithTest, SliceOperatorsMatchElementLoops) {
  using T = typename TestFixture::T;
  for (int run = 0; run < 30; ++run) {
    const unsigned n = this->pick(0, 6);
    const TypeParam va = vtest::fromStd<TypeParam>(this->values(n + this->pick(0, 8)));
    const TypeParam vb = vtest::fromStd<TypeParam>(this->values(n + this->pick(0, 8)));
    const TypeParam w = vtest::fromStd<TypeParam>(this->values(n));
    std::vector<std::ptrdiff_t> ia, ib;
    const typename TestFixture::S a = this->view(va, n, ia);
    const typename TestFixture::S b = this->view(vb, n, ib);
    const auto ra = this->gather(va, ia), rb = this->gather(vb, ib), rw = toStd(w);
    const T c = this->value();
    const double s = this->scalar();
    EXPECT_EQ(toStd(a + b), zip(ra, rb, [](const T& x, const T& y) { return x + y; }));
    EXPECT_EQ(toStd(a - b), zip(ra, rb, [](const T& x, const T& y) { return x - y; }));
    EXPECT_EQ(toStd(a + w), zip(ra, rw, [](const T& x, const T& y) { return x + y; }));
    EXPECT_EQ(toStd(a - w), zip(ra, rw, [](const T& x, const T& y) { return x - y; }));
    EXPECT_EQ(toStd(a + c), each(ra, [&](const T& x) { return x + c; }));
    EXPECT_EQ(toStd(a - c), each(ra, [&](const T& x) { return x - c; }));
    EXPECT_EQ(toStd(a * s), each(ra, [&](const T& x) { return x * s; }));
    EXPECT_EQ(toStd(s * a), each(ra, [&](const T& x) { return x * s; }));
    EXPECT_EQ(toStd(a / s), each(ra, [&](const T& x) { return x / s; }));
    T sum = T();
    for (const T& x : ra) sum += x;
    EXPECT_EQ(sigma(a), sum);
  }
}

TYPED_TEST(VecArithTest, VectorCompoundFormsReplaceOnlyTheirOwnVector) {
  using T = typename TestFixture::T;
  for (int run = 0; run < 20; ++run) {
    const unsigned n = this->pick(0, 10);
    const auto ra = this->values(n), rb = this->values(n);
    const TypeParam b = vtest::fromStd<TypeParam>(rb);
    const TypeParam other = vtest::fromStd<TypeParam>(this->values(n + this->pick(0, 5)));
    std::vector<std::ptrdiff_t> indices;
    const typename TestFixture::S sb = this->view(other, n, indices);
    const auto rsb = this->gather(other, indices);
    const T c = this->value();
    const double s = this->scalar();
    auto check = [&](auto op, const std::vector<T>& expected, const char* name) {
      TypeParam v = vtest::fromStd<TypeParam>(ra);
      TypeParam shared(v);
      op(v);
      EXPECT_EQ(toStd(v), expected) << name;
      EXPECT_EQ(toStd(shared), ra) << name << " changed a copy";
    };
    check([&](TypeParam& v) { v += b; }, zip(ra, rb, [](const T& x, const T& y) { return x + y; }),
          "+= vector");
    check([&](TypeParam& v) { v -= b; }, zip(ra, rb, [](const T& x, const T& y) { return x - y; }),
          "-= vector");
    check([&](TypeParam& v) { v += sb; }, zip(ra, rsb, [](const T& x, const T& y) { return x + y; }),
          "+= slice");
    check([&](TypeParam& v) { v -= sb; }, zip(ra, rsb, [](const T& x, const T& y) { return x - y; }),
          "-= slice");
    check([&](TypeParam& v) { v += c; }, each(ra, [&](const T& x) { return x + c; }), "+= constant");
    check([&](TypeParam& v) { v -= c; }, each(ra, [&](const T& x) { return x - c; }), "-= constant");
    check([&](TypeParam& v) { v *= s; }, each(ra, [&](const T& x) { return x * s; }), "*=");
    check([&](TypeParam& v) { v /= s; }, each(ra, [&](const T& x) { return x / s; }), "/=");
  }
}

TYPED_TEST(VecArithTest, SliceCompoundFormsWriteBackThroughTheView) {
  using T = typename TestFixture::T;
  for (int run = 0; run < 20; ++run) {
    const unsigned n = this->pick(0, 6);
    const auto rv = this->values(n + this->pick(0, 8));
    const TypeParam w = vtest::fromStd<TypeParam>(this->values(n));
    const TypeParam other = vtest::fromStd<TypeParam>(this->values(n + this->pick(0, 5)));
    std::vector<std::ptrdiff_t> iw;
    const typename TestFixture::S so = this->view(other, n, iw);
    const auto rw = toStd(w), rso = this->gather(other, iw);
    const T c = this->value();
    const double s = this->scalar();
    auto check = [&](auto op, auto f, const char* name) {
      TypeParam v = vtest::fromStd<TypeParam>(rv);
      TypeParam shared(v);
      std::vector<std::ptrdiff_t> indices;
      typename TestFixture::S view = this->view(v, n, indices);
      op(view);
      std::vector<T> expected = rv;
      for (std::size_t i = 0; i < indices.size(); ++i) expected[indices[i]] = f(rv[indices[i]], i);
      EXPECT_EQ(toStd(v), expected) << name;
      EXPECT_EQ(toStd(shared), rv) << name << " changed a copy";
    };
    check([&](typename TestFixture::S& x) { x += so; }, [&](const T& e, std::size_t i) { return e + rso[i]; },
          "+= slice");
    check([&](typename TestFixture::S& x) { x -= so; }, [&](const T& e, std::size_t i) { return e - rso[i]; },
          "-= slice");
    check([&](typename TestFixture::S& x) { x += w; }, [&](const T& e, std::size_t i) { return e + rw[i]; },
          "+= vector");
    check([&](typename TestFixture::S& x) { x -= w; }, [&](const T& e, std::size_t i) { return e - rw[i]; },
          "-= vector");
    check([&](typename TestFixture::S& x) { x += c; }, [&](const T& e, std::size_t) { return e + c; },
          "+= constant");
    check([&](typename TestFixture::S& x) { x -= c; }, [&](const T& e, std::size_t) { return e - c; },
          "-= constant");
    check([&](typename TestFixture::S& x) { x *= s; }, [&](const T& e, std::size_t) { return e * s; }, "*=");
    check([&](typename TestFixture::S& x) { x /= s; }, [&](const T& e, std::size_t) { return e / s; }, "/=");
  }
}

TYPED_TEST(VecArithTest, SumOfNothingIsTheZeroElement) {
  TypeParam empty;
  EXPECT_EQ(sigma(empty), typename TestFixture::T());
  EXPECT_EQ(sigma(typename TestFixture::S(empty)), typename TestFixture::T());
}

TYPED_TEST(VecArithTest, LengthMismatchNamesTheArithmeticUnit) {
  const TypeParam a = vtest::fromStd<TypeParam>(this->values(3));
  const TypeParam b = vtest::fromStd<TypeParam>(this->values(2));
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(a + b, vtest::reportRegex("a.length()==b.length()", this->arithUnit(), 38));
  } else {
    TypeParam r;
    std::string err = vtest::captureStderr([&] { r = a + b; });
    EXPECT_EQ(err, vtest::report("a.length()==b.length()", this->arithUnit(), 38));
    EXPECT_EQ(r.length(), 3u);
  }
}

// ---------------------------------------------------------------------------------------------
// Double vectors

ERDoubleVec vec(std::initializer_list<double> values) {
  std::vector<double> v(values);
  return ERDoubleVec(v.data(), static_cast<unsigned>(v.size()));
}
std::vector<double> values(const ERDoubleVec& v) {
  return std::vector<double>(v.data(), v.data() + v.length());
}
const char kMa[] = "source/notempl/madouble";

TEST(ERDoubleArithTest, AddsElementByElement) {
  EXPECT_EQ(values(vec({1, 2, 3}) + vec({10, 20, 30})), (std::vector<double>{11, 22, 33}));
}

TEST(ERDoubleArithTest, SubtractsAConstant) {
  EXPECT_EQ(values(vec({1, 2, 3}) - 1.0), (std::vector<double>{0, 1, 2}));
}

TEST(ERDoubleArithTest, ScalingASharedVectorLeavesTheOtherCopy) {
  ERDoubleVec v = vec({1, 2, 3});
  ERDoubleVec w = v;
  v *= 2;
  EXPECT_EQ(values(v), (std::vector<double>{2, 4, 6}));
  EXPECT_EQ(values(w), (std::vector<double>{1, 2, 3}));
}

TEST(ERDoubleArithTest, SumOfEmptySliceAndOfEverySecondElement) {
  ERDoubleVec v = vec({1, 2, 3, 4});
  EXPECT_EQ(sigma(ERDoubleSlice(v, 0, 0, 1)), 0.0);
  EXPECT_EQ(sigma(v.slice(0, 2, 2)), 4.0);
}

TEST(ERDoubleArithTest, AddingVectorsOfDifferentLengthsReports) {
  const ERDoubleVec a = vec({1, 2, 3});
  const ERDoubleVec b = vec({1, 2});
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(a + b, vtest::reportRegex("a.length()==b.length()", kMa, 38));
  } else {
    ERDoubleVec r;
    std::string err = vtest::captureStderr([&] { r = a + b; });
    EXPECT_EQ(err, vtest::report("a.length()==b.length()", kMa, 38));
    // The left's length; the pairs stop at the shorter operand and the rest stays zero.
    EXPECT_EQ(values(r), (std::vector<double>{2, 4, 0}));
  }
}

TEST(ERDoubleArithTest, AddingSlicesOfDifferentLengthsReports) {
  const ERDoubleVec a = vec({1, 2, 3});
  const ERDoubleVec b = vec({1, 2});
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(ERDoubleSlice(a) + ERDoubleSlice(b), vtest::reportRegex("a.length()==b.length()", kMa, 66));
  } else {
    ERDoubleVec r;
    std::string err = vtest::captureStderr([&] { r = ERDoubleSlice(a) + ERDoubleSlice(b); });
    EXPECT_EQ(err, vtest::report("a.length()==b.length()", kMa, 66));
    // Built from the left slice: the elements past the shorter operand keep the left's values.
    EXPECT_EQ(values(r), (std::vector<double>{2, 4, 3}));
  }
}

TEST(ERDoubleArithTest, EveryOtherPairedFormReportsDifferentLengths) {
  const ERDoubleVec a = vec({1, 2, 3});
  const ERDoubleVec b = vec({1, 2});
  const ERDoubleSlice sa(a), sb(b);
  const std::string regex = vtest::reportRegexAnyLine("a.length()==b.length()", kMa);
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(a - b, regex);
    EXPECT_DEATH(sa - sb, regex);
    EXPECT_DEATH(sa + b, regex);
    EXPECT_DEATH(sa - b, regex);
  } else {
    ERDoubleVec r1, r2, r3, r4;
    std::string err = vtest::captureStderr([&] {
      r1 = a - b;
      r2 = sa - sb;
      r3 = sa + b;
      r4 = sa - b;
    });
    EXPECT_TRUE(std::regex_search(err, std::regex("^(" + regex + "){4}$")));
    EXPECT_EQ(values(r1), (std::vector<double>{0, 0, 0}));
    EXPECT_EQ(values(r2), (std::vector<double>{0, 0, 3}));
    EXPECT_EQ(values(r3), (std::vector<double>{2, 4, 3}));
    EXPECT_EQ(values(r4), (std::vector<double>{0, 0, 3}));
  }
}

TEST(ERDoubleArithTest, CompoundSliceFormWithShorterRightReportsOnceAndKeepsTheRest) {
  VTEST_CONTINUING_ONLY();
  ERDoubleVec v = vec({1, 2, 3, 4});
  ERDoubleVec w = vec({10});
  ERDoubleSlice s = v.slice(0, 1, 3);
  std::string err = vtest::captureStderr([&] { s += w; });
  EXPECT_TRUE(std::regex_search(
      err, std::regex("^" + vtest::reportRegexAnyLine("a.length()==b.length()", kMa) + "$")));
  EXPECT_EQ(values(v), (std::vector<double>{11, 2, 3, 4}));
}

#ifdef VELMORA_HAVE_EIGEN
TEST(ERDoubleArithTest, AgreesWithEigenOnRandomVectors) {
  std::mt19937 rng(4242);
  std::uniform_real_distribution<double> value(-100, 100);
  for (int run = 0; run < 20; ++run) {
    const int n = 1 + run;
    Eigen::ArrayXd ea(n), eb(n);
    for (int i = 0; i < n; ++i) {
      ea[i] = value(rng);
      eb[i] = value(rng);
    }
    const double s = value(rng);
    const ERDoubleVec a(ea.data(), n), b(eb.data(), n);
    auto same = [&](const ERDoubleVec& v, const Eigen::ArrayXd& e) {
      ASSERT_EQ(v.length(), static_cast<unsigned>(e.size()));
      for (int i = 0; i < n; ++i) EXPECT_EQ(v[i], e[i]) << i;
    };
    same(a + b, ea + eb);
    same(a - b, ea - eb);
    same(a * s, ea * s);
    same(a / s, ea / s);
    same(a + s, ea + s);
    same(a - s, ea - s);
    // Whole numbers sum exactly in any order.
    Eigen::ArrayXd whole = (ea * 1000).round();
    EXPECT_EQ(sigma(ERDoubleVec(whole.data(), n)), whole.sum());
  }
}
#endif

}  // namespace
