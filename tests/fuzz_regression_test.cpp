// Inputs found by the fuzz targets of fuzz/, kept as regression tests: damaged length prefixes of vector
// records, matrix shapes whose element count overflows 32 bits, and transformations restored over
// matrices that do not hold nine elements.
#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>

#include "test_support.h"
#include "vec_file_support.h"
#include "velmora/erfile.h"
#include "velmora/notempl/matdbl.h"
#include "velmora/notempl/vcdouble.h"
#include "velmora/notempl/vcpt2d.h"
#include "velmora/transf3d.h"

namespace {

using vtest::Bytes;
using vtest::le32;
using vtest::le64;
using vtest::operator+=;

class FuzzRegressionTest : public testing::Test {
 protected:
  // Opens a file holding bytes for reading (quietly: ERFile reports its prohibited construction).
  std::unique_ptr<ERFile> reading(const Bytes& bytes) {
    const std::string name = scratch.path("in.bin");
    {
      auto out = open(name, "wb");
      out->Write(reinterpret_cast<const char*>(bytes.data()), static_cast<unsigned>(bytes.size()));
    }
    return open(name, "rb");
  }
  static std::unique_ptr<ERFile> open(const std::string& name, const char* mode) {
    std::unique_ptr<ERFile> f;
    vtest::captureStderr([&] { f = std::make_unique<ERFile>(name.c_str(), mode); });
    return f;
  }
  vtest::ScratchDir scratch;
};

// ---------------------------------------------------------------------------------------------
// Length prefixes that claim more than the file holds

// Found by fuzz_restore: "ERDoubleVec\0" F0 FF FF FF, then one double. The block was allocated for the
// claimed size (after a capacity overflow, smaller than the claim) and the read ran past it.
TEST_F(FuzzRegressionTest, LengthPrefixBeyondTheFileReadsWhatIsThere) {
  Bytes bytes = le32(0xFFFFFFF0u);
  bytes += le64(1.5);
  auto f = reading(bytes);
  ERDoubleVec v;
  const std::string err = vtest::captureStderr([&] { v.restoreGuts(*f); });
  EXPECT_EQ(err, "");
  ASSERT_EQ(v.length(), 1u);
  EXPECT_EQ(v[0], 1.5);
  EXPECT_TRUE(f->Eof());  // the read of the claimed length failed
}

TEST_F(FuzzRegressionTest, LargeLengthPrefixDoesNotAllocateTheClaim) {
  // 2 GB claimed, 16 bytes present: the vector gets one point and the read fails.
  Bytes bytes = le32(0x7FFFFFF0u);
  bytes += le64(1);
  bytes += le64(2);
  auto f = reading(bytes);
  ERPoint2DVec v;
  v.restoreGuts(*f);
  ASSERT_EQ(v.length(), 1u);
  EXPECT_EQ(v[0], ERPoint2D(1, 2));
  EXPECT_LE(v.capacity(), 64u);
  EXPECT_TRUE(f->Eof());
}

TEST_F(FuzzRegressionTest, ExactLengthPrefixReadsTheRecordAndStaysBeforeTheEnd) {
  Bytes bytes = le32(16);
  bytes += le64(3);
  bytes += le64(4);
  auto f = reading(bytes);
  ERDoubleVec v;
  v.restoreGuts(*f);
  ASSERT_EQ(v.length(), 2u);
  EXPECT_EQ(v[0], 3.0);
  EXPECT_EQ(v[1], 4.0);
  EXPECT_FALSE(f->Eof());
  EXPECT_EQ(f->CurOffset(), 20);
}

TEST_F(FuzzRegressionTest, MissingLengthPrefixGivesAnEmptyVectorAtTheEnd) {
  auto f = reading(Bytes{0x01, 0x02});
  ERDoubleVec v(3u);
  v.restoreGuts(*f);
  EXPECT_EQ(v.length(), 0u);
  EXPECT_TRUE(f->Eof());
}

TEST_F(FuzzRegressionTest, RecordsAfterATruncatedOneAreNotRead) {
  // A record claiming 24 bytes with 8 present: one element, and the file is at its end.
  Bytes bytes = le32(24);
  bytes += le64(7);
  auto f = reading(bytes);
  ERDoubleVec first, second;
  first.restoreGuts(*f);
  second.restoreGuts(*f);
  ASSERT_EQ(first.length(), 1u);
  EXPECT_EQ(first[0], 7.0);
  EXPECT_EQ(second.length(), 0u);
  EXPECT_TRUE(f->Eof());
}

// ---------------------------------------------------------------------------------------------
// Matrix shapes whose element count wraps around 32 bits
//
// Found by fuzz_restore: "ERDoubleMatrix\0" 00 00 01 00, 00 00 01 00, 00 00 00 00 (65536 x 65536 rows
// and columns, no element). A shape check multiplying in 32 bits let 65536 * 65536 pass as 0 elements,
// and the matrix claimed 2^32 elements over an empty storage: m(0, 8) read past the block. The same shape
// comes from the text "65536 65536". The check now counts in 64 bits and reports the shape.

// True when a 64-bit count of the shape matches the stored elements.
bool shapeHolds(const ERDoubleMatrix& m) {
  return static_cast<unsigned long long>(m.rows()) * m.cols() == m.elements().length();
}

Bytes overflowingShapeRecord() {
  Bytes bytes = le32(65536);
  bytes += le32(65536);
  bytes += le32(0);
  return bytes;
}

TEST_F(FuzzRegressionTest, RestoredShapeOverflowingTheElementCountDies) {
  VTEST_CHECKING_ONLY();
  auto f = reading(overflowingShapeRecord());
  ERDoubleMatrix m;
  EXPECT_DEATH(m.restoreGuts(*f),
               vtest::reportRegexAnyLine("nrows*ncols==length()", "source/notempl/matdbl"));
}

TEST_F(FuzzRegressionTest, RestoredShapeOverflowingTheElementCountIsReported) {
  VTEST_CONTINUING_ONLY();
  auto f = reading(overflowingShapeRecord());
  ERDoubleMatrix m;
  const std::string err = vtest::captureStderr([&] { m.restoreGuts(*f); });
  EXPECT_TRUE(vtest::contains(err, "nrows*ncols==length() failed in source/notempl/matdbl") || shapeHolds(m))
      << m.rows() << " x " << m.cols() << " over " << m.elements().length() << " elements, report: " << err;
}

TEST_F(FuzzRegressionTest, TextShapeOverflowingTheElementCountDies) {
  VTEST_CHECKING_ONLY();
  std::istringstream is("65536 65536");
  ERDoubleMatrix m;
  EXPECT_DEATH(is >> m, vtest::reportRegexAnyLine("nrows*ncols==length()", "source/notempl/matdbl"));
}

TEST_F(FuzzRegressionTest, TextShapeOverflowingTheElementCountIsReported) {
  VTEST_CONTINUING_ONLY();
  std::istringstream is("65536 65536");
  ERDoubleMatrix m;
  const std::string err = vtest::captureStderr([&] { is >> m; });
  EXPECT_TRUE(vtest::contains(err, "nrows*ncols==length() failed in source/notempl/matdbl") || shapeHolds(m))
      << m.rows() << " x " << m.cols() << " over " << m.elements().length() << " elements, report: " << err;
}

// ---------------------------------------------------------------------------------------------
// Transformations restored over a matrix that does not hold nine elements

// A matrix record claiming 3 x 3 over no element, as a damaged file gives it.
Bytes emptyThreeByThreeRecord() {
  Bytes bytes = le32(3);
  bytes += le32(3);
  bytes += le32(0);
  return bytes;
}

Bytes handleRecordOverEmptyMatrix() {
  Bytes bytes = emptyThreeByThreeRecord();
  for (double d : {1.0, 2.0, 3.0, 1.0}) bytes += le64(d);
  return bytes;
}

// Found by fuzz_restore: "ERPmIsometrie3D\0" 03000000 03000000 00000000, then a point and a factor. The
// restore builds a similitude on the matrix as read, and its validity check took the determinant of
// nine elements that were not there.
TEST_F(FuzzRegressionTest, HandleOverAMatrixWithoutElementsDies) {
  VTEST_CHECKING_ONLY();
  auto f = reading(handleRecordOverEmptyMatrix());
  ERPmIsometrie3D h;
  EXPECT_DEATH(h.restoreGuts(*f),
               vtest::reportRegexAnyLine("nrows*ncols==length()", "source/notempl/matdbl"));
}

TEST_F(FuzzRegressionTest, HandleOverAMatrixWithoutElementsIsReportedAndInvalid) {
  VTEST_CONTINUING_ONLY();
  auto f = reading(handleRecordOverEmptyMatrix());
  ERPmIsometrie3D h;
  const std::string err = vtest::captureStderr([&] { h.restoreGuts(*f); });
  EXPECT_TRUE(vtest::contains(err, "nrows*ncols==length() failed in source/notempl/matdbl")) << err;
  EXPECT_TRUE(vtest::contains(err, "isValid() failed in velmora/transf3d")) << err;
  EXPECT_TRUE(h.getRep()->isA() == ERSimilitude3D::desc());
  EXPECT_EQ(h.getRep()->isValid(), 0);
}

// The same matrix restored into a rotation: applying it answers the zero point instead of reading the
// nine missing elements; the only report is the restore's.
TEST_F(FuzzRegressionTest, RotationOverAMatrixWithoutElementsAppliesAsZero) {
  VTEST_CONTINUING_ONLY();
  auto f = reading(emptyThreeByThreeRecord());
  ERRotation3D r;
  std::string err = vtest::captureStderr([&] { r.restoreGuts(*f); });
  EXPECT_TRUE(vtest::contains(err, "nrows*ncols==length() failed in source/notempl/matdbl")) << err;
  ERPoint3D from, to;
  err = vtest::captureStderr([&] {
    from = r >> ERPoint3D(1, 2, 3);
    to = r << ERPoint3D(1, 2, 3);
  });
  EXPECT_EQ(err, "");
  EXPECT_EQ(from, ERPoint3D(0, 0, 0));
  EXPECT_EQ(to, ERPoint3D(0, 0, 0));
}

// Found by fuzz_restore (an out-of-memory): a rotation restored over a matrix of 4294967295 rows and no
// column, a shape that holds its zero elements. Its text form would write every empty row; applying it
// reports the shape and answers the zero point.
Bytes tallEmptyMatrixRecord() {
  Bytes bytes = le32(0xFFFFFFFFu);
  bytes += le32(0);
  bytes += le32(0);
  return bytes;
}

TEST_F(FuzzRegressionTest, RotationOverATallEmptyMatrixIsRestoredWithoutReport) {
  auto f = reading(tallEmptyMatrixRecord());
  ERRotation3D r;
  const std::string err = vtest::captureStderr([&] { r.restoreGuts(*f); });
  EXPECT_EQ(err, "");
  EXPECT_EQ(r.getMatrix().rows(), 0xFFFFFFFFu);
  EXPECT_EQ(r.getMatrix().cols(), 0u);
  EXPECT_FALSE(f->Eof());
}

TEST_F(FuzzRegressionTest, ApplyingARotationOverATallEmptyMatrixDies) {
  VTEST_CHECKING_ONLY();
  auto f = reading(tallEmptyMatrixRecord());
  ERRotation3D r;
  r.restoreGuts(*f);
  EXPECT_DEATH(r >> ERPoint3D(1, 2, 3),
               vtest::reportRegexAnyLine("mat.cols()==3 && mat.rows()==3", "source/align/transf3d"));
}

TEST_F(FuzzRegressionTest, ApplyingARotationOverATallEmptyMatrixIsReportedAndGivesZero) {
  VTEST_CONTINUING_ONLY();
  auto f = reading(tallEmptyMatrixRecord());
  ERRotation3D r;
  r.restoreGuts(*f);
  ERPoint3D p(1, 2, 3);
  const std::string err = vtest::captureStderr([&] { p = r >> p; });
  EXPECT_TRUE(vtest::contains(err, "mat.cols()==3 && mat.rows()==3 failed in source/align/transf3d")) << err;
  EXPECT_EQ(p, ERPoint3D(0, 0, 0));
}

}  // namespace
