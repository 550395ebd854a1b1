// The double vector and slice: exact text and binary forms, the slice bounds, the editing edge cases,
// and every report of the family with its unit and line.
#include "velmora/notempl/vcdouble.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "test_support.h"
#include "vec_file_support.h"
#include "velmora/dblvec.h"
#include "velmora/erfile.h"
#include "velmora/notempl/vcpt3d.h"
#include "velmora/vecrep.h"

namespace {

using vtest::Bytes;
const char kUnit[] = "source/notempl/vcdouble";
const char kInline[] = "velmora/notempl/vcdouble";

ERDoubleVec vec(std::initializer_list<double> values) {
  std::vector<double> v(values);
  return ERDoubleVec(v.data(), static_cast<unsigned>(v.size()));
}
std::vector<double> values(const ERDoubleVec& v) {
  return std::vector<double>(v.data(), v.data() + v.length());
}
std::string text(const ERDoubleVec& v) {
  std::ostringstream os;
  os << v;
  return os.str();
}
std::string text(const ERDoubleSlice& s) {
  std::ostringstream os;
  os << s;
  return os.str();
}

// The protected members of the vector, for the tests of their own behaviour.
class OpenVec : public ERDoubleVec {
 public:
  using ERDoubleVec::cow;
  using ERDoubleVec::ERDoubleVec;
  using ERDoubleVec::init;
  using ERDoubleVec::polyInsert;
  using ERDoubleVec::polyRemove;
};

// Runs f and checks the report of condition at unit and line: a death test in the checking build, the
// captured standard error in the continuing build (where f then returns).
template <class F>
void expectReport(F f, const std::string& condition, const std::string& unit, int line) {
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(f(), vtest::reportRegex(condition, unit, line));
  } else {
    EXPECT_EQ(vtest::captureStderr(f), vtest::report(condition, unit, line));
  }
}

// ---------------------------------------------------------------------------------------------
// Construction, copy on write, text

TEST(ERDoubleVecTest, WritingACopyLeavesTheOriginal) {
  ERDoubleVec a = vec({1, 2, 3});
  ERDoubleVec b = a;
  b[0] = 5;
  EXPECT_EQ(values(a), (std::vector<double>{1, 2, 3}));
  EXPECT_EQ(values(b), (std::vector<double>{5, 2, 3}));
}

TEST(ERDoubleVecTest, ReadingThroughConstIndexDoesNotCopy) {
  ERDoubleVec a = vec({1, 2, 3});
  ERDoubleVec b = a;
  const ERDoubleVec& cb = b;
  EXPECT_EQ(cb[0], 1.0);
  EXPECT_EQ(b.data(), a.data());
}

TEST(ERDoubleVecTest, SizedVectorIsZerosAndPrintsWithLineEnd) {
  ERDoubleVec v(3);
  EXPECT_EQ(values(v), (std::vector<double>{0, 0, 0}));
  EXPECT_EQ(text(v), "(3)[0,0,0]\n");
}

TEST(ERDoubleVecTest, EmptyVectorPrintsEmptyBrackets) { EXPECT_EQ(text(ERDoubleVec()), "(0)[]\n"); }

TEST(ERDoubleVecTest, PrintsElementsWithTheStreamFormat) {
  EXPECT_EQ(text(vec({1, 2, 3})), "(3)[1,2,3]\n");
  EXPECT_EQ(text(vec({1.5, -2, 0.25})), "(3)[1.5,-2,0.25]\n");
}

TEST(ERDoubleVecTest, PrintingEndsWithAFlushedLineEnd) {
  std::stringstream os;
  vec({7}).printOn(os);
  EXPECT_EQ(os.str(), "(1)[7]\n");
}

TEST(ERDoubleSliceTest, PrintsViewedElements) {
  ERDoubleVec v = vec({1, 2, 3, 4});
  EXPECT_EQ(text(v.slice(3, -2, 2)), "(2)[4,2]\n");
  EXPECT_EQ(text(ERDoubleSlice(v, 0, 0, 1)), "(0)[]\n");
}

TEST(ERDoubleVecTest, DefaultConstructionTakesTheSharedEmptyBlock) {
  const ERVecRep* empty = reinterpret_cast<const ERVecRep*>(ERVecRep::nullref_);
  const int owners = empty->references();
  {
    ERDoubleVec v;
    EXPECT_EQ(empty->references(), owners + 1);
  }
  EXPECT_EQ(empty->references(), owners);
}

TEST(ERDoubleVecTest, ValueAssignmentSetsEveryElement) {
  ERDoubleVec v = vec({1, 2, 3});
  v = 2.5;
  EXPECT_EQ(values(v), (std::vector<double>{2.5, 2.5, 2.5}));
}

// ---------------------------------------------------------------------------------------------
// Binary form

TEST(ERDoubleVecTest, SavesLengthInBytesThenLittleEndianDoubles) {
  vtest::ScratchDir dir;
  ERDoubleVec v = vec({1, 2, 3});
  EXPECT_EQ(v.binaryStoreSize(), 28ul);
  std::string name = dir.path("v.bin");
  vtest::captureStderr([&] {
    ERFile file(name.c_str(), "wb");
    file << v;
  });
  Bytes expected{0x18, 0, 0, 0,                     // 24 bytes follow
                 0,    0, 0, 0, 0, 0, 0xF0, 0x3F,   // 1.0
                 0,    0, 0, 0, 0, 0, 0,    0x40,   // 2.0
                 0,    0, 0, 0, 0, 0, 0x08, 0x40};  // 3.0
  EXPECT_EQ(vtest::readBytes(name), expected);
}

TEST(ERDoubleVecTest, EmptyVectorSavesFourZeroBytes) {
  vtest::ScratchDir dir;
  ERDoubleVec v;
  EXPECT_EQ(v.binaryStoreSize(), 4ul);
  std::string name = dir.path("v.bin");
  vtest::captureStderr([&] {
    ERFile file(name.c_str(), "wb");
    v.saveGuts(file);
  });
  EXPECT_EQ(vtest::readBytes(name), Bytes(4, 0));
}

TEST(ERDoubleVecTest, ElementSizeIsNotStoredSoTheReaderDecides) {
  vtest::ScratchDir dir;
  std::string name = dir.path("v.bin");
  ERPoint3DVec points;
  vtest::captureStderr([&] {
    {
      ERFile file(name.c_str(), "wb");
      file << vec({1, 2, 3, 4, 5, 6});
    }
    ERFile file(name.c_str(), "rb");
    file >> points;
  });
  ASSERT_EQ(points.length(), 2u);
  EXPECT_EQ(points[0], ERPoint3D(1, 2, 3));
  EXPECT_EQ(points[1], ERPoint3D(4, 5, 6));
}

// ---------------------------------------------------------------------------------------------
// Slice bounds

TEST(ERDoubleVecTest, SliceBoundsAcceptTheLenientCases) {
  ERDoubleVec v(4);
  std::string err = vtest::captureStderr([&] {
    ERDoubleSlice a = v.slice(0, 1, 4);
    ERDoubleSlice b = v.slice(1, 1, 4);  // last index 4: one past the end, accepted
    ERDoubleSlice c = v.slice(3, -1, 4);
    ERDoubleSlice d = v.slice(2, -1, 4);  // 2 - 3 + 1 = 0: accepted
    EXPECT_EQ(b.start(), 1u);
    EXPECT_EQ(d.start(), 2u);
    EXPECT_EQ(a.length() + c.length(), 8u);
  });
  EXPECT_EQ(err, "");
}

TEST(ERDoubleVecTest, ZeroStrideReports) {
  ERDoubleVec v(4);
  expectReport([&] { v.slice(0, 0, 2); }, "stride!=0", kUnit, 145);
}

TEST(ERDoubleVecTest, ForwardSlicePastTheLenientBoundReports) {
  ERDoubleVec v(4);
  expectReport([&] { v.slice(2, 1, 4); }, "(stride>0)? ( (length()>=size_t(start+stride*(lgt-1)))):1", kUnit,
               146);
}

TEST(ERDoubleVecTest, EmptyForwardSliceAtTheFrontReports) {
  // lgt - 1 wraps for an empty view: the last index is then far past the end.
  ERDoubleVec v(4);
  expectReport([&] { v.slice(0, 1, 0); }, "(stride>0)? ( (length()>=size_t(start+stride*(lgt-1)))):1", kUnit,
               146);
}

TEST(ERDoubleVecTest, BackwardSlicePastTheFrontReports) {
  ERDoubleVec v(4);
  expectReport([&] { v.slice(1, -1, 4); },
               "(stride<0)? ( (start<length()) && ((long)start+stride*((long)lgt-1)+1)>=0):1", kUnit, 147);
}

TEST(ERDoubleVecTest, BackwardSliceStartingAtTheEndReports) {
  ERDoubleVec v(4);
  expectReport([&] { v.slice(4, -1, 1); },
               "(stride<0)? ( (start<length()) && ((long)start+stride*((long)lgt-1)+1)>=0):1", kUnit, 147);
}

TEST(ERDoubleVecTest, ReportedSliceIsMadeAsAsked) {
  VTEST_CONTINUING_ONLY();
  ERDoubleVec v(4);
  unsigned start = 0, length = 0;
  int stride = 0;
  vtest::captureStderr([&] {
    ERDoubleSlice s = v.slice(2, 1, 4);  // a copy of a slice copies the view
    start = s.start();
    length = s.length();
    stride = s.stride();
  });
  EXPECT_EQ(start, 2u);
  EXPECT_EQ(length, 4u);
  EXPECT_EQ(stride, 1);
}

TEST(ERDoubleSliceTest, SliceOfSliceChecksAgainstTheSliceLength) {
  ERDoubleVec v(10);
  ERDoubleSlice s = v.slice(0, 2, 5);
  std::string err = vtest::captureStderr([&] {
    ERDoubleSlice ok = s.slice(2, 1, 4);  // last index 2 + 3 = 5, the slice's length: the lenient bound
    EXPECT_EQ(ok.start(), 4u);
    EXPECT_EQ(ok.stride(), 2);
    ERDoubleSlice back = s.slice(1, -1, 2);
    EXPECT_EQ(back.start(), 2u);
    EXPECT_EQ(back.stride(), -2);
  });
  EXPECT_EQ(err, "");
  expectReport([&] { s.slice(0, 0, 1); }, "stride!=0", kUnit, 153);
  expectReport([&] { s.slice(3, 1, 4); }, "(stride>0)? ( (length()>=(start+stride*(lgt-1)))):1", kUnit, 154);
  expectReport([&] { s.slice(1, -1, 4); },
               "(stride<0)? ((start<length()) && ((long)start+stride*((long)lgt-1)+1)>=0):1", kUnit, 155);
}

// ---------------------------------------------------------------------------------------------
// Editing edge cases

TEST(ERDoubleVecTest, ResizeAppendsCopiesOrTruncates) {
  ERDoubleVec v = vec({1, 2, 3});
  v.resize(5, 7.0);
  EXPECT_EQ(values(v), (std::vector<double>{1, 2, 3, 7, 7}));
  ERDoubleVec w = vec({1, 2, 3});
  w.resize(1, 0);
  EXPECT_EQ(values(w), (std::vector<double>{1}));
}

TEST(ERDoubleVecTest, InsertAtFrontRepeatsTheValue) {
  ERDoubleVec v = vec({1, 2});
  v.insertAt(0, 9.0, 2);
  EXPECT_EQ(values(v), (std::vector<double>{9, 9, 1, 2}));
}

TEST(ERDoubleVecTest, InsertPastTheEndReportsAndAppends) {
  ERDoubleVec v = vec({1, 2});
  expectReport([&] { v.insertAt(3, 9.0, 1); }, "pos<=length()", kUnit, 220);
  if (!VELMORA_CHECKING_BUILD) {
    EXPECT_EQ(values(v), (std::vector<double>{1, 2, 9}));
  }
}

TEST(ERDoubleVecTest, InsertSlicePastTheEndReportsAndAppends) {
  ERDoubleVec v = vec({1, 2});
  ERDoubleVec w = vec({5, 6});
  expectReport([&] { v.insertAt(ERDoubleSlice(w), 3); }, "pos<=length()", kUnit, 231);
  if (!VELMORA_CHECKING_BUILD) {
    EXPECT_EQ(values(v), (std::vector<double>{1, 2, 5, 6}));
  }
}

TEST(ERDoubleVecTest, InsertSliceInTheMiddle) {
  ERDoubleVec v = vec({1, 2, 3});
  ERDoubleVec w = vec({7, 8, 9});
  v.insertAt(w.slice(2, -2, 2), 1);
  EXPECT_EQ(values(v), (std::vector<double>{1, 9, 7, 2, 3}));
}

TEST(ERDoubleVecTest, AppendOfNothingReports) {
  ERDoubleVec v = vec({1});
  expectReport([&] { v.append(2.0, 0); }, "nb>=1", kUnit, 182);
  if (!VELMORA_CHECKING_BUILD) {
    EXPECT_EQ(values(v), (std::vector<double>{1}));
  }
}

TEST(ERDoubleVecTest, AppendOwnElementCopiesItFirst) {
  ERDoubleVec v = vec({1, 2, 3, 4, 5, 6, 7, 8});  // a full 64-byte block: the append reallocates
  v.append(v[0], 2);
  EXPECT_EQ(values(v), (std::vector<double>{1, 2, 3, 4, 5, 6, 7, 8, 1, 1}));
}

TEST(ERDoubleVecTest, TroncatToMoreThanTheLengthReportsAndKeepsTheVector) {
  ERDoubleVec v = vec({1, 2, 3});
  expectReport([&] { v.troncat(5); }, "size<=length()", kUnit, 524);
  if (!VELMORA_CHECKING_BUILD) {
    EXPECT_EQ(values(v), (std::vector<double>{1, 2, 3}));
  }
}

TEST(ERDoubleVecTest, RemoveLastOfMoreThanTheLengthRemovesNothing) {
  ERDoubleVec v = vec({1, 2});
  v.removeLast(3);
  EXPECT_EQ(values(v), (std::vector<double>{1, 2}));
}

TEST(ERDoubleVecTest, ReplaceBySliceVectorOrValue) {
  ERDoubleVec v = vec({1, 2, 3, 4});
  v.replace(1, 2, vec({8, 9}).slice(1, -1, 2));
  EXPECT_EQ(values(v), (std::vector<double>{1, 9, 8, 4}));
  v.replace(0, 1, vec({5, 6}));
  EXPECT_EQ(values(v), (std::vector<double>{5, 6, 9, 8, 4}));
  v.replace(4, 1, 0.5);
  EXPECT_EQ(values(v), (std::vector<double>{5, 6, 9, 8, 0.5}));
}

TEST(ERDoubleVecTest, FindFirstAndFindLast) {
  EXPECT_EQ(vec({1, 2, 2}).findFirst(2.0), 1u);
  // Element 2 (value 3) is compared first, then element 1, which matches one round later: 4 - 2 + 1.
  EXPECT_EQ(vec({1, 2, 3, 2}).findLast(2.0), 3u);
  // When element 2 matches as well, the scan stops there first.
  EXPECT_EQ(vec({1, 2, 2, 5}).findLast(2.0), 2u);
}

int ascending(const double& a, const double& b) { return compareDouble(&a, &b); }

TEST(ERDoubleVecTest, SortingASharedBlockReordersTheCopy) {
  ERDoubleVec v = vec({3, 1, 2});
  ERDoubleVec copy = v;
  qsort(&ascending, v);
  EXPECT_EQ(values(v), (std::vector<double>{1, 2, 3}));
  EXPECT_EQ(values(copy), (std::vector<double>{1, 2, 3}));
}

int g_outerCalls = 0;
int g_reversedCalls = 0;
int reversedOrder(const double& a, const double& b) {
  ++g_reversedCalls;
  return compareDouble(&b, &a);
}
// A comparison that sorts another double vector on its first call.
int sortingAnother(const double& a, const double& b) {
  if (g_outerCalls++ == 0) {
    ERDoubleVec other = vec({1, 2});
    qsort(&reversedOrder, other);
  }
  return compareDouble(&a, &b);
}

TEST(ERDoubleVecTest, SortIsNotReentrant) {
  // The nested sort replaces the stored comparison: the outer sort goes on with the nested one's.
  g_outerCalls = 0;
  g_reversedCalls = 0;
  ERDoubleVec v = vec({5, 3, 8, 1, 7, 2, 6, 4});
  qsort(&sortingAnother, v);
  EXPECT_EQ(g_outerCalls, 1);
  EXPECT_GE(g_reversedCalls, 1 + 7);  // the nested sort's comparison, then at least n - 1 outer ones
  std::vector<double> sorted = values(v);
  std::sort(sorted.begin(), sorted.end());
  EXPECT_EQ(sorted, (std::vector<double>{1, 2, 3, 4, 5, 6, 7, 8}));  // still a permutation
}

// ---------------------------------------------------------------------------------------------
// Protected strided members

TEST(ERDoubleVecTest, PolyInsertAndPolyRemoveWorkInElements) {
  OpenVec v(3);
  for (unsigned i = 0; i < 3; ++i) v[i] = i + 1;
  v.polyInsert(0, 1, 1);  // a gap before every element
  ASSERT_EQ(v.length(), 6u);
  v[0] = 10;
  v[2] = 20;
  v[4] = 30;
  EXPECT_EQ(values(v), (std::vector<double>{10, 1, 20, 2, 30, 3}));
  OpenVec shared(v);
  v.polyRemove(1, 1, 2);  // every second element from 1 on
  EXPECT_EQ(values(v), (std::vector<double>{10, 20, 30}));
  EXPECT_EQ(values(shared), (std::vector<double>{10, 1, 20, 2, 30, 3}));
}

TEST(ERDoubleVecTest, InitWritesEveryStepElement) {
  OpenVec v(6);
  v.init(4.0, 1, 3, 2);
  EXPECT_EQ(values(v), (std::vector<double>{0, 4, 0, 4, 0, 4}));
}

// ---------------------------------------------------------------------------------------------
// Index and bound reports

TEST(ERDoubleVecTest, EveryIndexFormReportsItsLine) {
  ERDoubleVec v = vec({1, 2, 3});
  const ERDoubleVec& cv = v;
  expectReport([&] { (void)&cv(3); }, "(size_t)i<length()", kInline, 15);
  expectReport([&] { (void)&v(3); }, "(size_t)i<length()", kInline, 16);
  expectReport([&] { (void)&cv[3]; }, "(size_t)i<length()", kInline, 17);
  expectReport([&] { (void)&v[3]; }, "(size_t)i<length()", kInline, 18);
}

TEST(ERDoubleVecTest, ReportedWritableIndexStillCopiesOnWrite) {
  VTEST_CONTINUING_ONLY();
  ERDoubleVec v = vec({1, 2, 3});
  ERDoubleVec copy = v;
  double* element = nullptr;
  vtest::captureStderr([&] { element = &v[3]; });
  EXPECT_NE(v.data(), copy.data());
  EXPECT_EQ(element, v.data() + 3);  // the index is used as given, inside the block's capacity
}

TEST(ERDoubleVecTest, FirstAndLastOfAnEmptyVectorReport) {
  ERDoubleVec v;
  const ERDoubleVec& cv = v;
  expectReport([&] { (void)&cv.first(); }, "length()>0", kInline, 59);
  expectReport([&] { (void)&v.first(); }, "length()>0", kInline, 60);
  expectReport([&] { (void)&cv.last(); }, "length()>0", kInline, 61);
  expectReport([&] { (void)&v.last(); }, "length()>0", kInline, 62);
}

TEST(ERDoubleSliceTest, EveryIndexFormReportsItsLine) {
  ERDoubleVec v = vec({1, 2, 3, 4});
  ERDoubleSlice s = v.slice(0, 1, 2);
  const ERDoubleSlice& cs = s;
  expectReport([&] { (void)&cs(2); }, "(size_t)i<length()", kInline, 27);
  expectReport([&] { (void)&cs[2]; }, "(size_t)i<sliceLength", kInline, 28);
  expectReport([&] { (void)&s(2); }, "(size_t)i<length()", kInline, 29);
  expectReport([&] { (void)&s[2]; }, "(size_t)i<sliceLength", kInline, 30);
}

TEST(ERDoubleSliceTest, ReportedIndexReachesTheVectorElement) {
  VTEST_CONTINUING_ONLY();
  ERDoubleVec v = vec({1, 2, 3, 4});
  ERDoubleSlice s = v.slice(0, 1, 2);
  double read = 0;
  vtest::captureStderr([&] { read = s[2]; });
  EXPECT_EQ(read, 3.0);
}

TEST(ERDoubleSliceTest, WritableIndexAlsoChecksTheVectorBound) {
  ERDoubleVec v = vec({1, 2, 3, 4});
  ERDoubleSlice s(v, 2, 4, 1);  // unchecked: views past the end
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH((void)&s[2], vtest::reportRegex("(size_t)i<length()", kInline, 18));
  } else {
    std::string err = vtest::captureStderr([&] { (void)&s[2]; });
    EXPECT_EQ(err, vtest::report("(size_t)i<length()", kInline, 18));
  }
}

// ---------------------------------------------------------------------------------------------
// Fill and assignment reports

TEST(ERDoubleSliceTest, BackwardFillReportsAndFillsAnyway) {
  ERDoubleVec v = vec({1, 2, 3});
  expectReport([&] { v.reversed() = 0.0; }, "(len>0)&&(step>0)", kUnit, 35);
  if (!VELMORA_CHECKING_BUILD) {
    EXPECT_EQ(values(v), (std::vector<double>{0, 0, 0}));
  }
}

TEST(ERDoubleSliceTest, FillPastTheEndReportsAndWritesOnlyTheVectorsElements) {
  ERDoubleVec v = vec({1, 2, 3, 4});
  expectReport([&] { ERDoubleSlice(v, 2, 4, 1) = 9.0; }, "(unsigned)(start+(len-1)*step)<length()", kUnit,
               36);
  if (!VELMORA_CHECKING_BUILD) {
    EXPECT_EQ(values(v), (std::vector<double>{1, 2, 9, 9}));
  }
}

TEST(ERDoubleSliceTest, UnequalSliceAssignmentStopsTheCheckingBuild) {
  VTEST_CHECKING_ONLY();
  ERDoubleVec v = vec({1, 2, 3});
  ERDoubleVec w = vec({7, 8});
  EXPECT_DEATH(v.slice(0, 1, 3) = w.slice(0, 1, 2), "Assertion `s\\.sliceLength==sliceLength' failed");
}

TEST(ERDoubleSliceTest, UnequalSliceAssignmentCopiesTheShorterInTheContinuingBuild) {
  VTEST_CONTINUING_ONLY();
  ERDoubleVec v = vec({1, 2, 3});
  ERDoubleVec w = vec({7, 8});
  std::string err = vtest::captureStderr([&] { v.slice(0, 1, 3) = w.slice(0, 1, 2); });
  EXPECT_EQ(err, "");
  EXPECT_EQ(values(v), (std::vector<double>{7, 8, 3}));
  ERDoubleVec u = vec({1, 2, 3});
  u.slice(0, 1, 1) = w.slice(1, -1, 2);
  EXPECT_EQ(values(u), (std::vector<double>{8, 2, 3}));
}

// ---------------------------------------------------------------------------------------------
// Consistency reports

TEST(ERDoubleVecTest, DefaultConstructionChecksTheSharedEmptyBlock) {
  // A shared empty block that is not empty any more: its capacity, then its length.
  char* header = reinterpret_cast<char*>(ERVecRep::nullref_);
  const uint32_t one = 1, zero = 0;
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(
        {
          std::memcpy(header + 4, &one, 4);
          ERDoubleVec v;
        },
        vtest::reportRegex("((ERVecRep* )ERVecRep::nullref_)->capacity()==0", kUnit, 26));
    EXPECT_DEATH(
        {
          std::memcpy(header + 8, &one, 4);
          ERDoubleVec v;
        },
        vtest::reportRegex("((ERVecRep* )ERVecRep::nullref_)->length()==0", kUnit, 27));
  } else {
    std::string err = vtest::captureStderr([&] {
      std::memcpy(header + 4, &one, 4);
      std::memcpy(header + 8, &one, 4);
      ERDoubleVec v;
      std::memcpy(header + 4, &zero, 4);
      std::memcpy(header + 8, &zero, 4);
    });
    EXPECT_EQ(err, vtest::report("((ERVecRep* )ERVecRep::nullref_)->capacity()==0", kUnit, 26) +
                       vtest::report("((ERVecRep* )ERVecRep::nullref_)->length()==0", kUnit, 27));
  }
}

TEST(ERDoubleVecTest, ReservationOverflowReportsCapacityBelowLength) {
  // 0x20000001 doubles wrap to 8 bytes: the new block is too small for the old length.
  ERDoubleVec v(10);
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(v.capacity(0x20000001u),
                 vtest::reportRegex("newLengthInByte<=m_capacity", "velmora/vecrep", 28));
  } else {
    unsigned capacity = 0;
    std::string err = vtest::captureStderr([&] { capacity = v.capacity(0x20000001u); });
    EXPECT_EQ(err, vtest::report("newLengthInByte<=m_capacity", "velmora/vecrep", 28) +
                       vtest::report("capacity() >= length()", kUnit, 19));
    EXPECT_EQ(capacity, 8u);
    EXPECT_EQ(v.length(), 10u);
  }
}

}  // namespace
