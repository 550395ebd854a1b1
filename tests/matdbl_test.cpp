// The dense matrix and its view: construction, access, the contiguous sub-matrix run, row and column
// editing with the shape check after every change, comparison, and the exact text and binary forms; every
// report in both builds.
#include "velmora/notempl/matdbl.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <initializer_list>
#include <sstream>
#include <string>
#include <vector>

#include "test_support.h"
#include "vec_file_support.h"
#include "velmora/erfile.h"

namespace {

using vtest::Bytes;
using vtest::operator+=;
const char kUnit[] = "source/notempl/matdbl";
const char kInline[] = "velmora/notempl/matdbl";
const char kShape[] = "nrows*ncols==length()";

ERDoubleVec vec(std::initializer_list<double> values) {
  std::vector<double> v(values);
  return ERDoubleVec(v.data(), static_cast<unsigned>(v.size()));
}
ERDoubleMatrix mat(unsigned rows, unsigned cols, std::initializer_list<double> values) {
  std::vector<double> v(values);
  EXPECT_EQ(v.size(), static_cast<size_t>(rows) * cols);
  return ERDoubleMatrix(v.data(), rows, cols);
}
// The rows x cols matrix whose element k (row-major) is k.
ERDoubleMatrix numbered(unsigned rows, unsigned cols) {
  ERDoubleMatrix m(rows, cols);
  double* p = m.mutableData();
  for (unsigned k = 0; k < rows * cols; ++k) p[k] = k;
  return m;
}
std::vector<double> values(const ERDoubleMatrix& m) {
  return std::vector<double>(m.data(), m.data() + m.elements().length());
}
std::vector<double> values(const ERDoubleSlice& s) {
  std::vector<double> out;
  for (unsigned i = 0; i < s.length(); ++i) out.push_back(s[i]);
  return out;
}
std::vector<double> values(const ERDoubleShMatrix& v) {
  std::vector<double> out;
  for (unsigned i = 0; i < v.rows(); ++i)
    for (unsigned j = 0; j < v.cols(); ++j) out.push_back(v(i, j));
  return out;
}
std::string text(const ERDoubleMatrix& m) {
  std::ostringstream os;
  os << m;
  return os.str();
}
void expectShape(const ERDoubleMatrix& m, unsigned rows, unsigned cols) {
  EXPECT_EQ(m.rows(), rows);
  EXPECT_EQ(m.cols(), cols);
  EXPECT_EQ(m.elements().length(), rows * cols);
}

using vtest::Reports;
Reports parseReports(const std::string& err) { return vtest::parseReports(err, kUnit); }
template <class F>
Reports capture(F f) {
  return parseReports(vtest::captureStderr(f));
}
std::vector<std::string> conds(std::initializer_list<const char*> list) {
  return std::vector<std::string>(list.begin(), list.end());
}
std::string deathRegex(const std::string& condition, const char* unit = kUnit) {
  return vtest::reportRegexAnyLine(condition, unit);
}

// ---------------------------------------------------------------------------------------------
// Construction

TEST(ERDoubleMatrixTest, DefaultIsZeroByZero) { expectShape(ERDoubleMatrix(), 0, 0); }

TEST(ERDoubleMatrixTest, SizedConstructorFillsWithZeros) {
  ERDoubleMatrix m(2, 3);
  expectShape(m, 2, 3);
  EXPECT_EQ(values(m), std::vector<double>(6, 0.0));
}

TEST(ERDoubleMatrixTest, ValueConstructorFillsEveryElement) {
  ERDoubleMatrix m(3, 2, 1.5);
  expectShape(m, 3, 2);
  EXPECT_EQ(values(m), std::vector<double>(6, 1.5));
}

TEST(ERDoubleMatrixTest, ArrayConstructorCopiesRowMajor) {
  double data[] = {1, 2, 3, 4, 5, 6};
  ERDoubleMatrix m(data, 2, 3);
  data[0] = 9;
  EXPECT_EQ(m(0, 0), 1.0);
  EXPECT_EQ(m(0, 2), 3.0);
  EXPECT_EQ(m(1, 0), 4.0);
  EXPECT_EQ(m(1, 2), 6.0);
}

TEST(ERDoubleMatrixTest, VectorConstructorReadsRowMajorAndCopiesOnWrite) {
  ERDoubleVec v = vec({1, 2, 3, 4, 5, 6});
  ERDoubleMatrix m(v, 3, 2);
  EXPECT_EQ(m.data(), v.data());  // shared until written
  EXPECT_EQ(m(1, 0), 3.0);
  EXPECT_EQ(m(2, 1), 6.0);
  m(0, 0) = 7;
  EXPECT_EQ(v[0], 1.0);
  EXPECT_EQ(m(0, 0), 7.0);
}

TEST(ERDoubleMatrixTest, SliceConstructorCopiesTheViewedElements) {
  ERDoubleVec v = vec({0, 1, 2, 3, 4, 5, 6, 7});
  ERDoubleMatrix m(ERDoubleSlice(v, 1, 4, 2), 2, 2);  // 1, 3, 5, 7
  EXPECT_EQ(values(m), (std::vector<double>{1, 3, 5, 7}));
  EXPECT_EQ(m(1, 0), 5.0);
}

TEST(ERDoubleMatrixTest, CopySharesStorageUntilOneWrites) {
  ERDoubleMatrix a = numbered(2, 2);
  ERDoubleMatrix b(a);
  EXPECT_EQ(a.data(), b.data());
  b(1, 1) = 9;
  EXPECT_EQ(a(1, 1), 3.0);
  EXPECT_EQ(b(1, 1), 9.0);
}

TEST(ERDoubleMatrixTest, AssignmentTakesElementsAndShape) {
  ERDoubleMatrix a = numbered(2, 3);
  ERDoubleMatrix b(4, 1);
  b = a;
  expectShape(b, 2, 3);
  EXPECT_EQ(values(b), values(a));
}

TEST(ERDoubleMatrixTest, ConstructionFromViewCopiesTheViewedBlock) {
  ERDoubleMatrix parent = numbered(3, 4);
  ERDoubleMatrix m(parent.subMatrix(1, 1, 2, 2));
  expectShape(m, 2, 2);
  EXPECT_EQ(values(m), (std::vector<double>{5, 6, 7, 8}));
  m(0, 0) = 50;
  EXPECT_EQ(parent(1, 1), 5.0);
}

TEST(ERDoubleMatrixTest, AssignmentFromAViewOfItselfKeepsTheViewedRows) {
  ERDoubleMatrix m = numbered(3, 2);
  m = m.subMatrix(1, 0, 2, 2);
  expectShape(m, 2, 2);
  EXPECT_EQ(values(m), (std::vector<double>{2, 3, 4, 5}));
}

TEST(ERDoubleMatrixDeathTest, VectorOfWrongLengthIsReported) {
  VTEST_CHECKING_ONLY();
  ERDoubleVec v = vec({1, 2, 3, 4, 5});
  EXPECT_DEATH(ERDoubleMatrix(v, 2, 3), deathRegex("rows*cols==v.length()"));
  EXPECT_DEATH(ERDoubleMatrix(ERDoubleSlice(v), 3, 2), deathRegex("rows*cols==v.length()"));
}

TEST(ERDoubleMatrixContinueTest, VectorOfWrongLengthKeepsTheGivenShape) {
  VTEST_CONTINUING_ONLY();
  ERDoubleVec v = vec({1, 2, 3, 4, 5});
  Reports r = capture([&] {
    ERDoubleMatrix m(v, 2, 3);
    EXPECT_EQ(m.rows(), 2u);
    EXPECT_EQ(m.cols(), 3u);
    EXPECT_EQ(m.elements().length(), 5u);
    ERDoubleMatrix s(ERDoubleSlice(v), 3, 2);
    EXPECT_EQ(s.rows(), 3u);
    EXPECT_EQ(s.elements().length(), 5u);
  });
  EXPECT_EQ(r.conditions, conds({"rows*cols==v.length()", "rows*cols==v.length()"}));
  EXPECT_EQ(r.rest, "");
}

// ---------------------------------------------------------------------------------------------
// Access

TEST(ERDoubleMatrixTest, ElementIJIsVectorElementICols_PlusJ) {
  ERDoubleMatrix m = numbered(3, 4);
  for (unsigned i = 0; i < 3; ++i)
    for (unsigned j = 0; j < 4; ++j) EXPECT_EQ(m(i, j), static_cast<double>(i * 4 + j));
}

TEST(ERDoubleMatrixDeathTest, RowIndexIsCheckedBeforeColumnIndex) {
  VTEST_CHECKING_ONLY();
  ERDoubleMatrix m = numbered(2, 3);
  const ERDoubleMatrix& cm = m;
  EXPECT_DEATH((void)cm(2, 5), deathRegex("i<nrows", kInline));
  EXPECT_DEATH((void)cm(0, 3), deathRegex("j<ncols", kInline));
  EXPECT_DEATH((void)&m(2, 0), deathRegex("i<nrows", kInline));
  EXPECT_DEATH((void)&m(1, 3), deathRegex("j<ncols", kInline));
}

TEST(ERDoubleMatrixContinueTest, OutOfRangeIndexGoesOnWithTheRowMajorOffset) {
  VTEST_CONTINUING_ONLY();
  ERDoubleMatrix m = numbered(2, 3);
  const ERDoubleMatrix& cm = m;
  const std::string inlineUnit = std::string(kInline) + ": ";
  double read = 0;
  Reports r = capture([&] { read = cm(0, 4); });
  EXPECT_EQ(r.conditions, std::vector<std::string>{inlineUnit + "j<ncols"});
  EXPECT_EQ(read, 4.0);  // element 0*3 + 4
  double* element = nullptr;
  r = capture([&] { element = &m(2, 0); });
  EXPECT_EQ(r.conditions, std::vector<std::string>{inlineUnit + "i<nrows"});
  EXPECT_EQ(element, m.data() + 6);
}

TEST(ERDoubleMatrixTest, DiagonalIsAStridedViewThatWritesThrough) {
  ERDoubleMatrix m = numbered(3, 3);
  ERDoubleSlice d = m.diagonal();
  EXPECT_EQ(d.start(), 0u);
  EXPECT_EQ(d.stride(), 4);
  EXPECT_EQ(values(d), (std::vector<double>{0, 4, 8}));
  d[1] = 40;
  EXPECT_EQ(m(1, 1), 40.0);
}

TEST(ERDoubleMatrixTest, TraceIsTheSumOfTheDiagonal) {
  ERDoubleMatrix m = numbered(3, 3);
  EXPECT_EQ(m.trace(), 0.0 + 4.0 + 8.0);
  EXPECT_EQ(trace(m), 12.0);
  EXPECT_EQ(ERDoubleMatrix().trace(), 0.0);
}

TEST(ERDoubleMatrixDeathTest, DiagonalAndTraceOfNonSquareAreReported) {
  VTEST_CHECKING_ONLY();
  ERDoubleMatrix m = numbered(2, 3);
  EXPECT_DEATH(m.diagonal(), deathRegex("nrows==ncols"));
  EXPECT_DEATH(m.trace(), deathRegex("ncols==nrows"));
  EXPECT_DEATH(trace(m), deathRegex("ncols==nrows"));
}

TEST(ERDoubleMatrixContinueTest, NonSquareDiagonalStepsRowsPlusOne) {
  VTEST_CONTINUING_ONLY();
  ERDoubleMatrix wide = numbered(2, 3), tall = numbered(3, 2);
  std::vector<double> dw, dt;
  int tallStride = 0;
  double tw = 0, tt = 0;
  Reports r = capture([&] {
    dw = values(wide.diagonal());
    dt = values(tall.diagonal());
    tallStride = tall.diagonal().stride();
    tw = wide.trace();
    tt = tall.trace();
  });
  EXPECT_EQ(r.conditions,
            conds({"nrows==ncols", "nrows==ncols", "nrows==ncols", "ncols==nrows", "ncols==nrows"}));
  // rows elements, rows+1 apart; the tall run stops at the end of the storage.
  EXPECT_EQ(dw, (std::vector<double>{0, 3}));
  EXPECT_EQ(tallStride, 4);
  EXPECT_EQ(dt, (std::vector<double>{0, 4}));
  EXPECT_EQ(tw, 3.0);
  EXPECT_EQ(tt, 4.0);
}

// ---------------------------------------------------------------------------------------------
// Sub-matrix view

TEST(ERDoubleShMatrixTest, SubMatrixIsAContiguousRunNotABlock) {
  ERDoubleMatrix m = numbered(3, 4);
  ERDoubleShMatrix v = m.subMatrix(1, 1, 2, 2);
  EXPECT_EQ(v.rows(), 2u);
  EXPECT_EQ(v.cols(), 2u);
  EXPECT_EQ(v.slice().start(), 5u);
  EXPECT_EQ(v.slice().stride(), 1);
  EXPECT_EQ(v.slice().length(), 4u);
  // (1,1), (1,2), (1,3), (2,0) of the parent.
  EXPECT_EQ(v(0, 0), m(1, 1));
  EXPECT_EQ(v(0, 1), m(1, 2));
  EXPECT_EQ(v(1, 0), m(1, 3));
  EXPECT_EQ(v(1, 1), m(2, 0));
  EXPECT_EQ(values(v), (std::vector<double>{5, 6, 7, 8}));
}

TEST(ERDoubleShMatrixTest, WholeRowsAndSingleRowsAreTheBlock) {
  ERDoubleMatrix m = numbered(4, 3);
  EXPECT_EQ(values(m.subMatrix(1, 0, 2, 3)), (std::vector<double>{3, 4, 5, 6, 7, 8}));
  EXPECT_EQ(values(m.subMatrix(2, 1, 1, 2)), (std::vector<double>{7, 8}));
  EXPECT_EQ(values(ERDoubleShMatrix(m)), values(m));
  EXPECT_EQ(values(ERDoubleShMatrix(m, 3, 0, 1, 3)), (std::vector<double>{9, 10, 11}));
}

TEST(ERDoubleShMatrixTest, WritingThroughTheViewChangesTheParent) {
  ERDoubleMatrix m = numbered(3, 4);
  ERDoubleMatrix copy = m;
  ERDoubleShMatrix v = m.subMatrix(1, 1, 2, 2);
  v(1, 0) = 70;
  EXPECT_EQ(m(1, 3), 70.0);
  EXPECT_EQ(copy(1, 3), 7.0);  // the parent's copy is not the parent
}

TEST(ERDoubleShMatrixTest, ViewOfAViewCountsWithTheViewsColumns) {
  ERDoubleMatrix m = numbered(4, 4);
  ERDoubleShMatrix rows = m.subMatrix(1, 0, 2, 4);  // elements 4 .. 11, 2 x 4
  ERDoubleShMatrix inner(rows, 1, 1, 1, 2);         // view element 5 onwards
  EXPECT_EQ(values(inner), (std::vector<double>{9, 10}));
  inner(0, 1) = 100;
  EXPECT_EQ(m(2, 2), 100.0);
}

TEST(ERDoubleShMatrixTest, ViewOfASliceTakesItAsItStands) {
  ERDoubleVec v = vec({0, 1, 2, 3, 4, 5, 6, 7});
  ERDoubleShMatrix s(ERDoubleSlice(v, 1, 4, 2), 2, 2);
  EXPECT_EQ(values(s), (std::vector<double>{1, 3, 5, 7}));
  s(1, 1) = 70;
  EXPECT_EQ(v[7], 70.0);
  ERDoubleShMatrix copy(s);
  EXPECT_EQ(copy.slice(), s.slice());
  EXPECT_EQ(copy.rows(), 2u);
}

TEST(ERDoubleShMatrixTest, AssignmentCopiesIntoTheViewedStorage) {
  ERDoubleMatrix target = numbered(3, 3);
  ERDoubleMatrix source = mat(2, 3, {10, 11, 12, 13, 14, 15});
  target.subMatrix(1, 0, 2, 3) = ERDoubleShMatrix(source);
  EXPECT_EQ(values(target), (std::vector<double>{0, 1, 2, 10, 11, 12, 13, 14, 15}));
  EXPECT_EQ(values(source), (std::vector<double>{10, 11, 12, 13, 14, 15}));
}

TEST(ERDoubleShMatrixTest, EqualityNeedsTheSameShapeAndElements) {
  ERDoubleMatrix a = numbered(2, 3);
  ERDoubleMatrix b = numbered(2, 3);
  ERDoubleMatrix c = numbered(3, 2);
  EXPECT_TRUE(ERDoubleShMatrix(a) == ERDoubleShMatrix(b));
  EXPECT_FALSE(ERDoubleShMatrix(a) == ERDoubleShMatrix(c));
  EXPECT_TRUE(ERDoubleShMatrix(a) != ERDoubleShMatrix(c));
  b(1, 2) = -1;
  EXPECT_FALSE(ERDoubleShMatrix(a) == ERDoubleShMatrix(b));
}

TEST(ERDoubleShMatrixTest, DiagonalAndTraceReadTheViewsOwnBlock) {
  ERDoubleMatrix m = numbered(3, 4);
  ERDoubleShMatrix v = m.subMatrix(0, 1, 2, 2);  // 1, 2, 3, 4
  EXPECT_EQ(values(v.diagonal()), (std::vector<double>{1, 4}));
  EXPECT_EQ(v.trace(), 5.0);
  EXPECT_EQ(trace(v), 5.0);
}

TEST(ERDoubleShMatrixDeathTest, BoundsAreCheckedInOrder) {
  VTEST_CHECKING_ONLY();
  ERDoubleMatrix m = numbered(3, 4);
  EXPECT_DEATH(m.subMatrix(3, 0, 0, 1), deathRegex("startRow<nrows"));
  EXPECT_DEATH(m.subMatrix(0, 4, 1, 0), deathRegex("startCol<ncols"));
  EXPECT_DEATH(m.subMatrix(2, 0, 2, 1), deathRegex("startRow+nbr<=nrows"));
  EXPECT_DEATH(m.subMatrix(0, 3, 1, 2), deathRegex("startCol+nbc<=ncols"));
  EXPECT_DEATH(m.subMatrix(5, 5, 5, 5), deathRegex("startRow<nrows"));
  ERDoubleShMatrix v(m);
  EXPECT_DEATH(ERDoubleShMatrix(v, 1, 2, 3, 1), deathRegex("startRow+nbr<=nrows"));
}

TEST(ERDoubleShMatrixContinueTest, ReportedBoundsStillGiveTheRunFromTheStart) {
  VTEST_CONTINUING_ONLY();
  ERDoubleMatrix m = numbered(3, 4);
  Reports r = capture([&] {
    ERDoubleShMatrix w = m.subMatrix(2, 0, 2, 1);
    EXPECT_EQ(w.slice().start(), 8u);
    EXPECT_EQ(w.slice().length(), 2u);
    EXPECT_EQ(values(w), (std::vector<double>{8, 9}));
  });
  EXPECT_EQ(r.conditions, conds({"startRow+nbr<=nrows"}));
  r = capture([&] {
    ERDoubleShMatrix w = m.subMatrix(3, 0, 0, 1);
    EXPECT_EQ(w.slice().start(), 12u);
    EXPECT_EQ(w.slice().length(), 0u);
  });
  EXPECT_EQ(r.conditions, conds({"startRow<nrows"}));
  r = capture([&] {
    ERDoubleShMatrix w = m.subMatrix(0, 4, 1, 0);
    EXPECT_EQ(w.slice().start(), 4u);
  });
  EXPECT_EQ(r.conditions, conds({"startCol<ncols"}));
  r = capture([&] {
    ERDoubleShMatrix w = m.subMatrix(0, 3, 1, 2);
    EXPECT_EQ(values(w), (std::vector<double>{3, 4}));
  });
  EXPECT_EQ(r.conditions, conds({"startCol+nbc<=ncols"}));
}

TEST(ERDoubleShMatrixDeathTest, AssignmentOfAnotherShapeIsReported) {
  VTEST_CHECKING_ONLY();
  ERDoubleMatrix a = numbered(2, 3), b = numbered(3, 2);
  ERDoubleShMatrix va(a);
  EXPECT_DEATH(va = ERDoubleShMatrix(b), deathRegex("m.nrows==nrows && m.ncols==ncols"));
}

TEST(ERDoubleShMatrixContinueTest, AssignmentOfAnotherShapeCopiesWhatBothHold) {
  VTEST_CONTINUING_ONLY();
  ERDoubleMatrix a(2, 2), b = mat(1, 3, {7, 8, 9});
  ERDoubleShMatrix va(a);
  Reports r = capture([&] { va = ERDoubleShMatrix(b); });
  EXPECT_EQ(r.conditions, conds({"m.nrows==nrows && m.ncols==ncols"}));
  EXPECT_EQ(values(a), (std::vector<double>{7, 8, 9, 0}));
  EXPECT_EQ(va.rows(), 2u);  // the view keeps its shape
}

// ---------------------------------------------------------------------------------------------
// Inserting rows and columns

TEST(ERDoubleMatrixTest, InsertRowOfValueAddsNbRows) {
  ERDoubleMatrix m = numbered(2, 3);
  m.insertRow(1, 7.0, 2);
  expectShape(m, 4, 3);
  EXPECT_EQ(values(m), (std::vector<double>{0, 1, 2, 7, 7, 7, 7, 7, 7, 3, 4, 5}));
  m.insertRow(4, -1.0);
  expectShape(m, 5, 3);
  EXPECT_EQ(m(4, 2), -1.0);
}

TEST(ERDoubleMatrixTest, InsertRowOfValueIntoMatrixWithoutColumnsOnlyCountsRows) {
  ERDoubleMatrix m;
  m.insertRow(0, 1.0, 2);
  expectShape(m, 2, 0);
}

TEST(ERDoubleMatrixTest, RowsAppendedToEmptyMatrixSetItsColumnCount) {
  ERDoubleMatrix m;
  m.insertRow(0, vec({1, 2, 3}));
  expectShape(m, 1, 3);
  m.insertRow(1, vec({4, 5, 6}));
  expectShape(m, 2, 3);
  EXPECT_EQ(values(m), (std::vector<double>{1, 2, 3, 4, 5, 6}));
}

TEST(ERDoubleMatrixTest, InsertRowOfVectorInTheMiddle) {
  ERDoubleMatrix m = numbered(2, 2);
  m.insertRow(1, vec({8, 9}));
  EXPECT_EQ(values(m), (std::vector<double>{0, 1, 8, 9, 2, 3}));
  m.insertRow(0, m.row(1));  // a row of the matrix itself
  EXPECT_EQ(values(m), (std::vector<double>{8, 9, 0, 1, 8, 9, 2, 3}));
}

TEST(ERDoubleMatrixTest, InsertRowOfMatrixInsertsAllItsRows) {
  ERDoubleMatrix m = numbered(2, 2);
  m.insertRow(1, mat(2, 2, {7, 8, 9, 10}));
  expectShape(m, 4, 2);
  EXPECT_EQ(values(m), (std::vector<double>{0, 1, 7, 8, 9, 10, 2, 3}));
  ERDoubleMatrix empty;
  empty.insertRow(0, numbered(2, 3));
  expectShape(empty, 2, 3);
  EXPECT_EQ(values(empty), values(numbered(2, 3)));
  m.insertRow(4, m);  // the matrix after itself
  expectShape(m, 8, 2);
  EXPECT_EQ(m(7, 1), 3.0);
}

TEST(ERDoubleMatrixDeathTest, AppendingARowOfAnotherLengthIsReported) {
  VTEST_CHECKING_ONLY();
  ERDoubleMatrix m = numbered(2, 3);
  EXPECT_DEATH(m.insertRow(0, vec({1, 2})), deathRegex("vec.length()==ncols || ncols==0"));
  EXPECT_DEATH(m.insertRow(3, vec({1, 2, 3})), deathRegex("pos<=nrows"));
  EXPECT_DEATH(m.insertRow(3, 1.0, 1), deathRegex("pos<=nrows"));
  EXPECT_DEATH(m.insertRow(3, numbered(1, 3)), deathRegex("pos<=nrows"));
  EXPECT_DEATH(m.insertRow(0, numbered(1, 2)), deathRegex("vec.ncols==ncols || ncols==0"));
}

TEST(ERDoubleMatrixContinueTest, RowOfAnotherLengthAddsARowWithWhatFits) {
  VTEST_CONTINUING_ONLY();
  ERDoubleMatrix m = numbered(2, 3);
  Reports r = capture([&] { m.insertRow(2, vec({8, 9})); });
  EXPECT_EQ(r.conditions, conds({"vec.length()==ncols || ncols==0"}));
  expectShape(m, 3, 3);
  EXPECT_EQ(values(m), (std::vector<double>{0, 1, 2, 3, 4, 5, 8, 9, 0}));
  r = capture([&] { m.insertRow(0, numbered(1, 4)); });
  EXPECT_EQ(r.conditions, conds({"vec.ncols==ncols || ncols==0"}));
  expectShape(m, 4, 3);
  EXPECT_EQ(values(m.subMatrix(0, 0, 1, 3)), (std::vector<double>{0, 1, 2}));
}

TEST(ERDoubleMatrixContinueTest, RowPositionPastTheEndAppends) {
  VTEST_CONTINUING_ONLY();
  ERDoubleMatrix m = numbered(2, 2);
  Reports r = capture([&] {
    m.insertRow(5, 9.0);
    m.insertRow(7, vec({6, 7}));
    m.insertRow(9, mat(1, 2, {4, 5}));
  });
  EXPECT_EQ(r.conditions, conds({"pos<=nrows", "pos<=nrows", "pos<=nrows"}));
  EXPECT_EQ(values(m), (std::vector<double>{0, 1, 2, 3, 9, 9, 6, 7, 4, 5}));
}

TEST(ERDoubleMatrixDeathTest, RowIntoRowsWithoutColumnsBreaksTheShape) {
  VTEST_CHECKING_ONLY();
  ERDoubleMatrix m(2, 0);
  EXPECT_DEATH(m.insertRow(0, vec({1, 2, 3})), deathRegex(kShape));
}

TEST(ERDoubleMatrixContinueTest, RowIntoRowsWithoutColumnsCountsOneMoreRow) {
  VTEST_CONTINUING_ONLY();
  ERDoubleMatrix m(2, 0);
  Reports r = capture([&] { m.insertRow(0, vec({1, 2, 3})); });
  EXPECT_EQ(r.conditions, conds({kShape}));
  EXPECT_EQ(m.rows(), 3u);
  EXPECT_EQ(m.cols(), 3u);
  EXPECT_EQ(values(m), (std::vector<double>{1, 2, 3}));
}

TEST(ERDoubleMatrixTest, InsertColOfValueAddsNbColumns) {
  ERDoubleMatrix m = numbered(2, 3);
  m.insertCol(1, 9.0, 2);
  expectShape(m, 2, 5);
  EXPECT_EQ(values(m), (std::vector<double>{0, 9, 9, 1, 2, 3, 9, 9, 4, 5}));
  m.insertCol(5, -1.0);
  expectShape(m, 2, 6);
  EXPECT_EQ(m(1, 5), -1.0);
  ERDoubleMatrix empty;
  empty.insertCol(3, 1.0, 2);  // any position when there are no columns
  expectShape(empty, 0, 2);
  ERDoubleMatrix rowsOnly(2, 0);
  rowsOnly.insertCol(0, 5.0);
  expectShape(rowsOnly, 2, 1);
  EXPECT_EQ(values(rowsOnly), (std::vector<double>{5, 5}));
}

TEST(ERDoubleMatrixTest, InsertColOfVectorAndOfMatrix) {
  ERDoubleMatrix m = numbered(2, 2);
  m.insertCol(0, vec({8, 9}));
  EXPECT_EQ(values(m), (std::vector<double>{8, 0, 1, 9, 2, 3}));
  m.insertCol(3, mat(2, 2, {4, 5, 6, 7}));
  expectShape(m, 2, 5);
  EXPECT_EQ(values(m), (std::vector<double>{8, 0, 1, 4, 5, 9, 2, 3, 6, 7}));
  ERDoubleMatrix empty;
  empty.insertCol(0, vec({1, 2, 3}));
  expectShape(empty, 3, 1);
  EXPECT_EQ(values(empty), (std::vector<double>{1, 2, 3}));
  ERDoubleMatrix empty2;
  empty2.insertCol(0, numbered(2, 3));
  expectShape(empty2, 2, 3);
  EXPECT_EQ(values(empty2), values(numbered(2, 3)));
}

TEST(ERDoubleMatrixDeathTest, ColumnInsertionChecks) {
  VTEST_CHECKING_ONLY();
  ERDoubleMatrix m = numbered(2, 3);
  EXPECT_DEATH(m.insertCol(4, 1.0, 1), deathRegex("pos<=ncols || ncols==0"));
  EXPECT_DEATH(m.insertCol(4, vec({1, 2})), deathRegex("pos<=ncols"));
  EXPECT_DEATH(m.insertCol(0, vec({1, 2, 3})), deathRegex("vec.length()==nrows || nrows==0"));
  EXPECT_DEATH(m.insertCol(4, numbered(2, 1)), deathRegex("pos<=ncols"));
  EXPECT_DEATH(m.insertCol(0, numbered(3, 1)), deathRegex("vec.nrows==nrows || nrows==0"));
  ERDoubleMatrix colsOnly(0, 2);
  EXPECT_DEATH(colsOnly.insertCol(0, vec({1, 2})), deathRegex(kShape));
}

TEST(ERDoubleMatrixContinueTest, ColumnInsertionGoesOnAtTheEndWithWhatFits) {
  VTEST_CONTINUING_ONLY();
  ERDoubleMatrix m = numbered(2, 2);
  Reports r = capture([&] {
    m.insertCol(7, 9.0);
    m.insertCol(8, vec({6, 7}));
  });
  EXPECT_EQ(r.conditions, conds({"pos<=ncols || ncols==0", "pos<=ncols"}));
  EXPECT_EQ(values(m), (std::vector<double>{0, 1, 9, 6, 2, 3, 9, 7}));
  r = capture([&] { m.insertCol(0, vec({5, 5, 5})); });
  EXPECT_EQ(r.conditions, conds({"vec.length()==nrows || nrows==0"}));
  EXPECT_EQ(values(m), (std::vector<double>{5, 0, 1, 9, 6, 5, 2, 3, 9, 7}));
  r = capture([&] { m.insertCol(9, numbered(1, 1)); });
  EXPECT_EQ(r.conditions, conds({"pos<=ncols", "vec.nrows==nrows || nrows==0"}));
  expectShape(m, 2, 6);
  EXPECT_EQ(m(0, 5), 0.0);
  EXPECT_EQ(m(1, 5), 0.0);
  ERDoubleMatrix colsOnly(0, 2);
  r = capture([&] { colsOnly.insertCol(0, vec({1, 2})); });
  EXPECT_EQ(r.conditions, conds({kShape}));
  EXPECT_EQ(colsOnly.rows(), 2u);
  EXPECT_EQ(colsOnly.cols(), 3u);
  EXPECT_EQ(values(colsOnly), (std::vector<double>{1, 2}));
}

// ---------------------------------------------------------------------------------------------
// Replacing, deleting, swapping, reversing, splitting

TEST(ERDoubleMatrixTest, ReplaceRowOverwritesRows) {
  ERDoubleMatrix m = numbered(3, 2);
  m.replaceRow(1, 2, vec({6, 7, 8, 9}));
  EXPECT_EQ(values(m), (std::vector<double>{0, 1, 6, 7, 8, 9}));
  m.replaceRow(0, 1, mat(1, 2, {-1, -2}));
  EXPECT_EQ(values(m), (std::vector<double>{-1, -2, 6, 7, 8, 9}));
  m.replaceRow(3, 0, vec({}));  // nothing at the end
  expectShape(m, 3, 2);
}

TEST(ERDoubleMatrixTest, ReplaceColOverwritesColumns) {
  ERDoubleMatrix m = numbered(2, 3);
  m.replaceCol(1, 2, vec({6, 7, 8, 9}));  // the replaced block, row-major
  EXPECT_EQ(values(m), (std::vector<double>{0, 6, 7, 3, 8, 9}));
  m.replaceCol(0, 1, mat(2, 1, {-1, -2}));
  EXPECT_EQ(values(m), (std::vector<double>{-1, 6, 7, -2, 8, 9}));
}

TEST(ERDoubleMatrixDeathTest, ReplacedRangeIsChecked) {
  VTEST_CHECKING_ONLY();
  ERDoubleMatrix m = numbered(3, 2);
  EXPECT_DEATH(m.replaceRow(4, 0, vec({})), deathRegex("pos<=nrows"));
  EXPECT_DEATH(m.replaceRow(2, 2, vec({1, 2, 3, 4})), deathRegex("nb+pos<=nrows"));
  EXPECT_DEATH(m.replaceRow(2, 2, numbered(2, 2)), deathRegex("nb+pos<=nrows"));
  EXPECT_DEATH(m.replaceRow(0, 1, vec({1})), deathRegex("vec.length()==nb*ncols"));
  EXPECT_DEATH(m.replaceRow(0, 1, numbered(1, 3)), deathRegex("m.nrows==nb && m.ncols==ncols"));
  EXPECT_DEATH(m.replaceCol(3, 0, vec({})), deathRegex("pos<=ncols"));
  EXPECT_DEATH(m.replaceCol(1, 2, vec({1, 2, 3, 4, 5, 6})), deathRegex("nb+pos<=ncols"));
  EXPECT_DEATH(m.replaceCol(3, 0, numbered(3, 0)), deathRegex("pos<=ncols"));
  EXPECT_DEATH(m.replaceCol(0, 1, vec({1})), deathRegex("vec.length()==nrows*nb"));
  EXPECT_DEATH(m.replaceCol(0, 1, numbered(2, 1)), deathRegex("m.nrows==nrows && m.ncols==nb"));
}

TEST(ERDoubleMatrixContinueTest, ReplacedRangeIsCutToTheMatrix) {
  VTEST_CONTINUING_ONLY();
  ERDoubleMatrix m = numbered(3, 2);
  Reports r = capture([&] { m.replaceRow(2, 2, vec({6, 7, 8, 9})); });
  EXPECT_EQ(r.conditions, conds({"nb+pos<=nrows"}));
  EXPECT_EQ(values(m), (std::vector<double>{0, 1, 2, 3, 6, 7}));
  r = capture([&] { m.replaceRow(4, 0, vec({})); });
  EXPECT_EQ(r.conditions, conds({"pos<=nrows", "nb+pos<=nrows"}));
  EXPECT_EQ(values(m), (std::vector<double>{0, 1, 2, 3, 6, 7}));
  r = capture([&] { m.replaceCol(1, 2, numbered(3, 2)); });
  EXPECT_EQ(r.conditions, conds({"nb+pos<=ncols"}));
  EXPECT_EQ(values(m), (std::vector<double>{0, 0, 2, 2, 6, 4}));
  r = capture([&] { m.replaceCol(3, 0, vec({})); });
  EXPECT_EQ(r.conditions, conds({"pos<=ncols", "nb+pos<=ncols"}));
  expectShape(m, 3, 2);
}

TEST(ERDoubleMatrixTest, DeleteRowRemovesRows) {
  ERDoubleMatrix m = numbered(4, 2);
  m.deleteRow(1, 2);
  EXPECT_EQ(values(m), (std::vector<double>{0, 1, 6, 7}));
  m.deleteRow(1);
  expectShape(m, 1, 2);
  m.deleteRow(0, 0);
  expectShape(m, 1, 2);
}

TEST(ERDoubleMatrixDeathTest, DeletedRowsAreChecked) {
  VTEST_CHECKING_ONLY();
  ERDoubleMatrix m = numbered(3, 2);
  EXPECT_DEATH(m.deleteRow(3, 1), deathRegex("pos<nrows"));
  EXPECT_DEATH(m.deleteRow(1, 3), deathRegex("nb<=nrows-pos"));
}

TEST(ERDoubleMatrixContinueTest, DeletedRowsAreCutToTheMatrix) {
  VTEST_CONTINUING_ONLY();
  ERDoubleMatrix m = numbered(3, 2);
  Reports r = capture([&] { m.deleteRow(1, 3); });
  EXPECT_EQ(r.conditions, conds({"nb<=nrows-pos"}));
  EXPECT_EQ(values(m), (std::vector<double>{0, 1}));
  r = capture([&] { m.deleteRow(1, 1); });
  EXPECT_EQ(r.conditions, conds({"pos<nrows", "nb<=nrows-pos"}));
  expectShape(m, 1, 2);
}

TEST(ERDoubleMatrixTest, DeleteColRemovesTheColumnsOfEveryRow) {
  ERDoubleMatrix m = numbered(3, 4);
  m.deleteCol(1, 2);
  expectShape(m, 3, 2);
  EXPECT_EQ(values(m), (std::vector<double>{0, 3, 4, 7, 8, 11}));
  m.deleteCol(1);
  EXPECT_EQ(values(m), (std::vector<double>{0, 4, 8}));
}

TEST(ERDoubleMatrixTest, DeletingAllColumnsLeavesZeroByZero) {
  ERDoubleMatrix m = numbered(5, 3);
  m.deleteCol(0, 3);
  expectShape(m, 0, 0);
  ERDoubleMatrix one = numbered(1, 2);
  one.deleteCol(0, 2);
  expectShape(one, 0, 0);
}

TEST(ERDoubleMatrixTest, DeletingNoColumnChangesAndChecksNothing) {
  ERDoubleMatrix m = numbered(2, 3);
  std::string err = vtest::captureStderr([&] {
    m.deleteCol(1, 0);
    m.deleteCol(99, 0);
  });
  EXPECT_EQ(err, "");
  EXPECT_EQ(values(m), values(numbered(2, 3)));
  expectShape(m, 2, 3);
}

TEST(ERDoubleMatrixDeathTest, DeletedColumnsAreChecked) {
  VTEST_CHECKING_ONLY();
  ERDoubleMatrix m = numbered(3, 2);
  EXPECT_DEATH(m.deleteCol(2, 1), deathRegex("pos<ncols"));
  EXPECT_DEATH(m.deleteCol(1, 2), deathRegex("nb<=ncols-pos"));
}

TEST(ERDoubleMatrixContinueTest, DeletedColumnsAreCutToTheMatrix) {
  VTEST_CONTINUING_ONLY();
  ERDoubleMatrix m = numbered(2, 3);
  Reports r = capture([&] { m.deleteCol(1, 5); });
  EXPECT_EQ(r.conditions, conds({"nb<=ncols-pos"}));
  EXPECT_EQ(values(m), (std::vector<double>{0, 3}));
  r = capture([&] { m.deleteCol(1, 1); });
  EXPECT_EQ(r.conditions, conds({"pos<ncols", "nb<=ncols-pos"}));
  expectShape(m, 2, 1);
}

TEST(ERDoubleMatrixContinueTest, BrokenShapeAfterColumnRemovalAlsoWritesError) {
  VTEST_CONTINUING_ONLY();
  ERDoubleVec nine(9);
  Reports r = capture([&] {
    ERDoubleMatrix m(nine, 2, 3);  // reported: 9 elements for 2 x 3
    m.deleteCol(2, 1);             // every third element goes: 6 remain for 2 x 2
  });
  EXPECT_EQ(r.conditions, conds({"rows*cols==v.length()", kShape}));
  EXPECT_EQ(r.rest, "Error\n");
}

TEST(ERDoubleMatrixTest, SwapRowAndSwapColExchangeContents) {
  ERDoubleMatrix m = numbered(3, 3);
  m.swapRow(0, 2);
  EXPECT_EQ(values(m), (std::vector<double>{6, 7, 8, 3, 4, 5, 0, 1, 2}));
  m.swapCol(0, 1);
  EXPECT_EQ(values(m), (std::vector<double>{7, 6, 8, 4, 3, 5, 1, 0, 2}));
  m.swapRow(1, 1);
  EXPECT_EQ(m(1, 0), 4.0);
}

TEST(ERDoubleMatrixDeathTest, SwappedIndicesAreChecked) {
  VTEST_CHECKING_ONLY();
  ERDoubleMatrix m = numbered(2, 3);
  EXPECT_DEATH(m.swapRow(0, 2), deathRegex("a<nrows && b<nrows"));
  EXPECT_DEATH(m.swapCol(3, 0), deathRegex("a<ncols && b<ncols"));
}

TEST(ERDoubleMatrixContinueTest, SwapOutOfRangeChangesNothing) {
  VTEST_CONTINUING_ONLY();
  ERDoubleMatrix m = numbered(2, 3);
  Reports r = capture([&] {
    m.swapRow(0, 2);
    m.swapCol(3, 0);
  });
  EXPECT_EQ(r.conditions, conds({"a<nrows && b<nrows", "a<ncols && b<ncols"}));
  EXPECT_EQ(values(m), values(numbered(2, 3)));
}

TEST(ERDoubleMatrixTest, ReverseRowsLeavesAnOddMiddleRowInPlace) {
  ERDoubleMatrix m = numbered(3, 2);
  m.reverseRows();
  EXPECT_EQ(values(m), (std::vector<double>{4, 5, 2, 3, 0, 1}));
  ERDoubleMatrix even = numbered(4, 1);
  even.reverseRows();
  EXPECT_EQ(values(even), (std::vector<double>{3, 2, 1, 0}));
}

TEST(ERDoubleMatrixTest, ReverseColsLeavesAnOddMiddleColumnInPlace) {
  ERDoubleMatrix m = numbered(2, 3);
  m.reverseCols();
  EXPECT_EQ(values(m), (std::vector<double>{2, 1, 0, 5, 4, 3}));
  ERDoubleMatrix one = numbered(2, 1);
  one.reverseCols();
  EXPECT_EQ(values(one), (std::vector<double>{0, 1}));
}

TEST(ERDoubleMatrixTest, SplitAtColPutsTheColumnsBeforePosFirst) {
  ERDoubleMatrix m = numbered(2, 3), left, right;
  m.splitAtCol(1, left, right);
  expectShape(left, 2, 1);
  expectShape(right, 2, 2);
  EXPECT_EQ(values(left), (std::vector<double>{0, 3}));
  EXPECT_EQ(values(right), (std::vector<double>{1, 2, 4, 5}));
  m.splitAtCol(0, left, right);
  expectShape(left, 0, 0);
  EXPECT_EQ(right, m);
  m.splitAtCol(3, left, right);
  EXPECT_EQ(left, m);
  expectShape(right, 0, 0);
}

TEST(ERDoubleMatrixTest, SplitAtRowPutsTheRowsBeforePosFirst) {
  ERDoubleMatrix m = numbered(3, 2), top, bottom;
  m.splitAtRow(2, top, bottom);
  expectShape(top, 2, 2);
  expectShape(bottom, 1, 2);
  EXPECT_EQ(values(top), (std::vector<double>{0, 1, 2, 3}));
  EXPECT_EQ(values(bottom), (std::vector<double>{4, 5}));
  m.splitAtRow(0, m, bottom);  // a result may be the matrix itself
  EXPECT_EQ(m.rows(), 0u);
  EXPECT_EQ(bottom, numbered(3, 2));
}

TEST(ERDoubleMatrixDeathTest, SplitPositionIsChecked) {
  VTEST_CHECKING_ONLY();
  ERDoubleMatrix m = numbered(2, 3), a, b;
  EXPECT_DEATH(m.splitAtCol(4, a, b), deathRegex("pos<=ncols"));
  EXPECT_DEATH(m.splitAtRow(3, a, b), deathRegex("pos<=nrows"));
}

TEST(ERDoubleMatrixContinueTest, SplitPastTheEndGivesEverythingToTheFirst) {
  VTEST_CONTINUING_ONLY();
  ERDoubleMatrix m = numbered(2, 3), a, b;
  Reports r = capture([&] { m.splitAtCol(4, a, b); });
  EXPECT_EQ(r.conditions, conds({"pos<=ncols"}));
  EXPECT_EQ(a, m);
  expectShape(b, 0, 0);
  r = capture([&] { m.splitAtRow(3, a, b); });
  EXPECT_EQ(r.conditions, conds({"pos<=nrows"}));
  EXPECT_EQ(a, m);
  EXPECT_EQ(b.rows(), 0u);
}

// ---------------------------------------------------------------------------------------------
// Arithmetic and comparison

TEST(ERDoubleMatrixTest, AdditionAndSubtractionAreElementWise) {
  ERDoubleMatrix a = mat(2, 2, {1, 2, 3, 4}), b = mat(2, 2, {0.5, -1, 8, 2});
  EXPECT_EQ(values(a + b), (std::vector<double>{1.5, 1, 11, 6}));
  EXPECT_EQ(values(a - b), (std::vector<double>{0.5, 3, -5, 2}));
  ERDoubleMatrix c = a;
  c += b;
  EXPECT_EQ(values(c), (std::vector<double>{1.5, 1, 11, 6}));
  c -= b;
  EXPECT_EQ(c, a);
  c *= 2.0;
  EXPECT_EQ(values(c), (std::vector<double>{2, 4, 6, 8}));
  c /= 4.0;
  EXPECT_EQ(values(c), (std::vector<double>{0.5, 1, 1.5, 2}));
  EXPECT_EQ(values(a), (std::vector<double>{1, 2, 3, 4}));
}

TEST(ERDoubleMatrixDeathTest, SumsOfDifferentShapesAreReported) {
  VTEST_CHECKING_ONLY();
  ERDoubleMatrix a = numbered(2, 3), b = numbered(3, 2);
  const char* text = "(m1.cols()==m2.cols()) && (m1.rows()==m2.rows())";
  EXPECT_DEATH(a + b, deathRegex(text));
  EXPECT_DEATH(a - b, deathRegex(text));
  EXPECT_DEATH(a += b, deathRegex(text));
  EXPECT_DEATH(a -= b, deathRegex(text));
}

TEST(ERDoubleMatrixContinueTest, SumOfDifferentShapesKeepsTheLeftShape) {
  VTEST_CONTINUING_ONLY();
  ERDoubleMatrix a = numbered(2, 3), b = numbered(3, 2);
  ERDoubleMatrix sum, difference;
  Reports r = capture([&] {
    sum = a + b;
    difference = a - b;
  });
  const char* text = "(m1.cols()==m2.cols()) && (m1.rows()==m2.rows())";
  EXPECT_EQ(r.conditions, conds({text, text}));
  expectShape(sum, 2, 3);
  EXPECT_EQ(values(sum), (std::vector<double>{0, 2, 4, 6, 8, 10}));
  EXPECT_EQ(values(difference), std::vector<double>(6, 0.0));
}

TEST(ERDoubleMatrixTest, EqualityNeedsTheSameShape) {
  ERDoubleMatrix a = numbered(2, 3), b = numbered(3, 2);
  EXPECT_FALSE(a == b);
  EXPECT_TRUE(a != b);
  EXPECT_TRUE(a == numbered(2, 3));
  ERDoubleMatrix c = a;
  c(0, 0) = 0.5;
  EXPECT_FALSE(a == c);
}

TEST(ERDoubleMatrixTest, IsEqualOfTransposedShapesIsZero) {
  ERDoubleMatrix a = numbered(2, 3), b = numbered(3, 2);
  EXPECT_EQ(isEqual(a, b, 1.0), 0);
  ERDoubleMatrix c = a;
  c(1, 2) += 0.25;
  EXPECT_EQ(isEqual(a, c, 0.25), 1);
  EXPECT_EQ(isEqual(a, c, 0.125), 0);
}

// ---------------------------------------------------------------------------------------------
// Text form

TEST(ERDoubleMatrixTest, PrintOnWritesColsRowsThenBracketedTabbedRows) {
  EXPECT_EQ(text(mat(2, 2, {1, 0, 0, 1})), "2\n2\n[1\t0\t]\n[0\t1\t]\n");
  EXPECT_EQ(text(mat(1, 3, {0.5, -2, 3})), "3\n1\n[0.5\t-2\t3\t]\n");
  EXPECT_EQ(text(ERDoubleMatrix()), "0\n0\n");
  std::ostringstream os;
  mat(2, 1, {1, 2}).printOn(os);
  EXPECT_EQ(os.str(), "1\n2\n[1\t]\n[2\t]\n");
}

TEST(ERDoubleMatrixTest, ReadFromTakesTheShapeAndSkipsOneCharacterPerElementAndRow) {
  ERDoubleMatrix m = mat(2, 2, {1, 2, 3, 4});
  std::istringstream is("2\n2\n[5\t6\t]\n[7\t8\t]\n");
  is >> m;
  expectShape(m, 2, 2);
  EXPECT_EQ(values(m), (std::vector<double>{1, 2, 3, 4}));  // no element is stored
  // Read: '[' '5' '6' for row 0, ']' '[' '7' for row 1.
  char next = 0;
  is >> next;
  EXPECT_EQ(next, '8');
}

TEST(ERDoubleMatrixTest, ReadFromSwapsTheDimensionsAsWritten) {
  ERDoubleMatrix m = numbered(2, 3);
  std::istringstream is("2 3 abc def ghi");  // 2 columns, 3 rows
  m.readFrom(is);
  EXPECT_EQ(m.cols(), 2u);
  EXPECT_EQ(m.rows(), 3u);
  EXPECT_EQ(values(m), values(numbered(2, 3)));
  EXPECT_EQ(is.peek(), std::char_traits<char>::eof());
}

TEST(ERDoubleMatrixDeathTest, ReadFromDoesNotResizeSoAnotherShapeIsReported) {
  VTEST_CHECKING_ONLY();
  ERDoubleMatrix m;
  std::istringstream is("2\n2\n[1\t0\t]\n[0\t1\t]\n");
  EXPECT_DEATH(is >> m, deathRegex(kShape));
}

TEST(ERDoubleMatrixContinueTest, ReadFromIntoEmptyMatrixLeavesItWithoutElements) {
  VTEST_CONTINUING_ONLY();
  ERDoubleMatrix m;
  std::istringstream is(text(mat(2, 2, {1, 0, 0, 1})));
  Reports r = capture([&] { is >> m; });
  EXPECT_EQ(r.conditions, conds({kShape}));
  EXPECT_EQ(m.rows(), 2u);
  EXPECT_EQ(m.cols(), 2u);
  EXPECT_EQ(m.elements().length(), 0u);
}

// ---------------------------------------------------------------------------------------------
// Binary form

TEST(ERDoubleMatrixTest, SavesRowsColsThenTheElementVector) {
  vtest::ScratchDir dir;
  const std::string name = dir.path("m.bin");
  ERDoubleMatrix m = mat(2, 3, {1, 2, 3, 4, 5, 6});
  EXPECT_EQ(m.binaryStoreSize(), 4ul + 4ul + 4ul + 48ul);
  vtest::captureStderr([&] {
    ERFile file(name.c_str(), "wb");
    file << m;
  });
  Bytes expected = vtest::le32(2);
  expected += vtest::le32(3);
  expected += vtest::le32(48);  // the vector's byte length
  for (double d : {1, 2, 3, 4, 5, 6}) expected += vtest::le64(d);
  EXPECT_EQ(vtest::readBytes(name), expected);
}

TEST(ERDoubleMatrixTest, EmptyMatrixSavesTwelveZeroBytes) {
  vtest::ScratchDir dir;
  const std::string name = dir.path("m.bin");
  ERDoubleMatrix m;
  EXPECT_EQ(m.binaryStoreSize(), 12ul);
  vtest::captureStderr([&] {
    ERFile file(name.c_str(), "wb");
    m.saveGuts(file);
  });
  EXPECT_EQ(vtest::readBytes(name), Bytes(12, 0));
}

TEST(ERDoubleMatrixTest, RestoreReadsBackWhatWasSaved) {
  vtest::ScratchDir dir;
  const std::string name = dir.path("m.bin");
  ERDoubleMatrix m = mat(3, 2, {0.1, -2, 3e10, 4, 5.5, -0.0});
  ERDoubleMatrix back = numbered(1, 1);
  vtest::captureStderr([&] {
    {
      ERFile file(name.c_str(), "wb");
      file << m;
    }
    ERFile file(name.c_str(), "rb");
    file >> back;
  });
  expectShape(back, 3, 2);
  EXPECT_EQ(back, m);
  EXPECT_TRUE(std::signbit(back(2, 1)));
}

namespace {
void writeBrokenMatrixFile(const std::string& name) {
  Bytes bytes = vtest::le32(2);
  bytes += vtest::le32(2);
  bytes += vtest::le32(24);  // three doubles for a 2 x 2 matrix
  for (double d : {1, 2, 3}) bytes += vtest::le64(d);
  std::ofstream out(name, std::ios::binary);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}
}  // namespace

TEST(ERDoubleMatrixDeathTest, RestoringAnotherElementCountIsReported) {
  VTEST_CHECKING_ONLY();
  vtest::ScratchDir dir;
  const std::string name = dir.path("m.bin");
  writeBrokenMatrixFile(name);
  ERDoubleMatrix m;
  EXPECT_DEATH(
      {
        ERFile file(name.c_str(), "rb");
        m.restoreGuts(file);
      },
      deathRegex(kShape));
}

TEST(ERDoubleMatrixContinueTest, RestoringAnotherElementCountKeepsWhatWasRead) {
  VTEST_CONTINUING_ONLY();
  vtest::ScratchDir dir;
  const std::string name = dir.path("m.bin");
  writeBrokenMatrixFile(name);
  ERDoubleMatrix m;
  std::string err = vtest::captureStderr([&] {
    ERFile file(name.c_str(), "rb");
    file >> m;
  });
  const std::size_t report = err.find("\n\n" + std::string(kShape));
  ASSERT_NE(report, std::string::npos);
  EXPECT_EQ(parseReports(err.substr(report)).conditions, conds({kShape}));
  EXPECT_EQ(m.rows(), 2u);
  EXPECT_EQ(m.cols(), 2u);
  EXPECT_EQ(values(m), (std::vector<double>{1, 2, 3}));
}

// ---------------------------------------------------------------------------------------------
// The shape check after every change

TEST(ERDoubleMatrixContinueTest, EveryMutatingMemberChecksTheShape) {
  VTEST_CONTINUING_ONLY();
  ERDoubleVec five(5);
  ERDoubleMatrix m;
  capture([&] { m = ERDoubleMatrix(five, 2, 2); });  // 5 elements for 2 x 2
  const ERDoubleMatrix broken = m;
  auto check = [&](const char* what, auto f) {
    ERDoubleMatrix target = broken;
    Reports r = capture([&] { f(target); });
    ASSERT_FALSE(r.conditions.empty()) << what;
    EXPECT_EQ(r.conditions.back(), kShape) << what;
  };
  check("swapRow", [](ERDoubleMatrix& t) { t.swapRow(0, 0); });
  check("swapCol", [](ERDoubleMatrix& t) { t.swapCol(1, 1); });
  check("reverseRows", [](ERDoubleMatrix& t) { t.reverseRows(); });
  check("reverseCols", [](ERDoubleMatrix& t) { t.reverseCols(); });
  check("insertRow", [](ERDoubleMatrix& t) { t.insertRow(0, 1.0, 0); });
  check("insertCol", [](ERDoubleMatrix& t) { t.insertCol(0, 1.0, 0); });
  check("deleteRow", [](ERDoubleMatrix& t) { t.deleteRow(0, 0); });
  check("replaceRow", [](ERDoubleMatrix& t) { t.replaceRow(0, 0, ERDoubleVec()); });
  check("*=", [](ERDoubleMatrix& t) { t *= 1.0; });
  check("/=", [](ERDoubleMatrix& t) { t /= 1.0; });
  check("assignment", [&](ERDoubleMatrix& t) { t = broken; });
}

}  // namespace
