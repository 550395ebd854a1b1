// Binary file: the prohibited-call report, opening modes, the exact bytes of every stored type,
// arrays and strings, positioning and indicators, and the object stream operators.
#include "velmora/erfile.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "test_support.h"
#include "velmora/ercommon.h"

namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<unsigned char>;

const char kProhibited[] = "call to prohibited function | Should not be being called";

// An object whose record is two 4-byte dimensions followed by a vector record (its byte length as a
// 4-byte unsigned value, then the raw doubles), the layout of a stored matrix.
class TGrid : public ERObject {
  ER_DECLARE_CLASS(TGrid)
  void printOn(std::ostream& os) const override { os << rows << "x" << cols; }
  ERObject* getCopy() const override { return new TGrid(*this); }
  void saveGuts(ERFile& f) const override {
    ERObject::saveGuts(f);
    f.Write(rows);
    f.Write(cols);
    f.Write(static_cast<unsigned>(values.size() * sizeof(double)));
    f.Write(values.data(), static_cast<unsigned>(values.size()));
  }
  void restoreGuts(ERFile& f) override {
    ERObject::restoreGuts(f);
    unsigned length = 0;
    f.Read(rows);
    f.Read(cols);
    f.Read(length);
    values.assign(length / sizeof(double), 0.0);
    f.Read(values.data(), static_cast<unsigned>(values.size()));
  }
  unsigned long binaryStoreSize() const override { return 8 + 4 + values.size() * sizeof(double); }
  unsigned rows = 0, cols = 0;
  std::vector<double> values;
};
// An object that keeps ERObject's persistence: it stores nothing.
class TPlain : public ERObject {
  ER_DECLARE_CLASS(TPlain)
  void printOn(std::ostream&) const override {}
  ERObject* getCopy() const override { return new TPlain(*this); }
};
ER_DEFINE_CLASS(TGrid, ER_CREATABLE, ERObject)
ER_DEFINE_CLASS(TPlain, ER_CREATABLE, ERObject)

class ERFileTest : public testing::Test {
 protected:
  void SetUp() override {
    const testing::TestInfo* info = testing::UnitTest::GetInstance()->current_test_info();
    dir = fs::temp_directory_path() / ("velmora-erfile-" + std::to_string(getpid()) + "-" + info->name());
    fs::remove_all(dir);
    fs::create_directories(dir);
  }
  void TearDown() override { fs::remove_all(dir); }

  std::string path(const std::string& name) const { return (dir / name).string(); }

  // Opens quietly: the prohibited-call line of the constructor is checked by its own tests.
  static std::unique_ptr<ERFile> open(const std::string& name, const char* mode) {
    std::unique_ptr<ERFile> f;
    vtest::captureStderr([&] { f = std::make_unique<ERFile>(name.c_str(), mode); });
    return f;
  }

  static Bytes contents(const std::string& name) {
    std::ifstream in(name, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }

  static void create(const std::string& name, const Bytes& bytes) {
    std::ofstream out(name, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  }

  // Writes with f (freshly opened for writing on name), closes, and returns the file's bytes.
  template <class F>
  Bytes written(F write) {
    std::string name = path("w.bin");
    auto f = open(name, "wb");
    EXPECT_TRUE(f->isValid());
    write(*f);
    f->Close();
    return contents(name);
  }

  // Opens a file holding bytes for reading.
  std::unique_ptr<ERFile> reading(const Bytes& bytes) {
    std::string name = path("r.bin");
    create(name, bytes);
    return open(name, "rb");
  }

  fs::path dir;
};

// ----------------------------------------------------------------------------------------------
// Construction and opening

TEST_F(ERFileTest, ConstructionReportsTheProhibitedCallOnce) {
  std::string name = path("a.bin");
  std::unique_ptr<ERFile> f;
  std::string err = vtest::captureStderr([&] { f = std::make_unique<ERFile>(name.c_str(), "wb"); });
  // One line: the unit, the line number in parentheses, then the text.
  const std::string unit = "source/align/erfile(";
  const std::string tail = std::string("): ") + kProhibited + "\n";
  ASSERT_GT(err.size(), unit.size() + tail.size()) << err;
  EXPECT_EQ(err.substr(0, unit.size()), unit) << err;
  EXPECT_EQ(err.substr(err.size() - tail.size()), tail) << err;
  std::string number = err.substr(unit.size(), err.size() - unit.size() - tail.size());
  EXPECT_FALSE(number.empty());
  EXPECT_EQ(number.find_first_not_of("0123456789"), std::string::npos) << err;
}

TEST_F(ERFileTest, TheReportDoesNotStopConstruction) {
  std::string name = path("a.bin");
  auto f = open(name, "wb");
  EXPECT_TRUE(f->isValid());
  EXPECT_NE(f->stream(), nullptr);
  EXPECT_TRUE(fs::exists(name));
}

TEST_F(ERFileTest, KeepsItsOwnCopyOfTheName) {
  std::string name = path("a.bin");
  auto f = open(name, "wb");
  std::string expected = name;
  name[0] = '#';
  EXPECT_STREQ(f->GetName(), expected.c_str());
}

TEST_F(ERFileTest, WithoutModeAMissingFileIsCreated) {
  std::string name = path("new.bin");
  ASSERT_FALSE(fs::exists(name));
  auto f = open(name, nullptr);
  ASSERT_TRUE(f->isValid());
  EXPECT_TRUE(fs::exists(name));
  EXPECT_EQ(fs::file_size(name), 0u);
  // Opened for update: what is written can be read back.
  EXPECT_EQ(f->Write(7), 1);
  EXPECT_EQ(f->SeekToBegin(), 1);
  int v = 0;
  EXPECT_EQ(f->Read(v), 1);
  EXPECT_EQ(v, 7);
}

TEST_F(ERFileTest, WithoutModeAnExistingFileIsUpdatedNotTruncated) {
  std::string name = path("old.bin");
  create(name, {'x', 'y', 'z'});
  auto f = open(name, nullptr);
  ASSERT_TRUE(f->isValid());
  EXPECT_EQ(f->CurOffset(), 0);
  char c = 0;
  EXPECT_EQ(f->Read(c), 1);
  EXPECT_EQ(c, 'x');
  EXPECT_EQ(f->SeekTo(1), 1);
  EXPECT_EQ(f->Write('Y'), 1);
  f->Close();
  EXPECT_EQ(contents(name), (Bytes{'x', 'Y', 'z'}));
}

TEST_F(ERFileTest, AFailedOpenLeavesNoStreamAndReportsNothingMore) {
  std::string name = path("missing-dir/a.bin");
  std::unique_ptr<ERFile> f;
  std::string err = vtest::captureStderr([&] { f = std::make_unique<ERFile>(name.c_str(), "rb"); });
  EXPECT_FALSE(f->isValid());
  EXPECT_EQ(f->stream(), nullptr);
  EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1);
  EXPECT_TRUE(vtest::contains(err, kProhibited));
  int v = 5;
  EXPECT_EQ(f->Read(v), 0);
  EXPECT_EQ(f->Write(v), 0);
  EXPECT_EQ(v, 5);
}

TEST_F(ERFileTest, WithAModeTheModeIsUsed) {
  std::string name = path("old.bin");
  create(name, {1, 2, 3});
  auto f = open(name, "wb");  // truncates
  f->Close();
  EXPECT_TRUE(contents(name).empty());
  auto missing = open(path("none.bin"), "rb");  // no creation for reading
  EXPECT_FALSE(missing->isValid());
  EXPECT_FALSE(fs::exists(path("none.bin")));
}

TEST_F(ERFileTest, OpenTakesTheNewNameAndStream) {
  std::string first = path("first.bin"), second = path("second.bin");
  auto f = open(first, "wb");
  f->Close();
  EXPECT_EQ(f->Open(second.c_str(), "wb"), 1);
  EXPECT_STREQ(f->GetName(), second.c_str());
  EXPECT_EQ(f->Write('s'), 1);
  f->Close();
  EXPECT_EQ(contents(second), (Bytes{'s'}));
  EXPECT_TRUE(contents(first).empty());
}

TEST_F(ERFileTest, OpenThatFailsAnswersZero) {
  auto f = open(path("a.bin"), "wb");
  f->Close();
  std::string name = path("missing-dir/b.bin");
  EXPECT_EQ(f->Open(name.c_str(), "rb"), 0);
  EXPECT_FALSE(f->isValid());
  EXPECT_STREQ(f->GetName(), name.c_str());
}

TEST_F(ERFileTest, ExistsIsAlwaysZero) {
  std::string name = path("a.bin");
  auto f = open(name, "wb");
  ASSERT_TRUE(fs::exists(name));
  EXPECT_EQ(f->Exists(), 0);
  EXPECT_EQ(ERFile::Exists(name.c_str()), 0);
}

// ----------------------------------------------------------------------------------------------
// Close, Erase, Flush

TEST_F(ERFileTest, CloseAlwaysAnswersOneAndWritesTheData) {
  std::string name = path("a.bin");
  auto f = open(name, "wb");
  EXPECT_EQ(f->Write('q'), 1);
  EXPECT_EQ(f->Close(), 1);
  EXPECT_EQ(contents(name), (Bytes{'q'}));
  EXPECT_EQ(f->Close(), 1);
  auto never = open(path("missing-dir/a.bin"), "rb");
  EXPECT_EQ(never->Close(), 1);
}

TEST_F(ERFileTest, EraseClosesAndDeletesTheFile) {
  std::string name = path("a.bin");
  auto f = open(name, "wb");
  f->Write(1.0);
  EXPECT_EQ(f->Erase(), 1);
  EXPECT_FALSE(fs::exists(name));
  EXPECT_EQ(f->Erase(), 0);  // nothing left to delete
}

TEST_F(ERFileTest, EraseAfterCloseDeletesTheFile) {
  std::string name = path("a.bin");
  auto f = open(name, "wb");
  f->Close();
  EXPECT_EQ(f->Erase(), 1);
  EXPECT_FALSE(fs::exists(name));
}

TEST_F(ERFileTest, FlushPushesTheDataOut) {
  std::string name = path("a.bin");
  auto f = open(name, "wb");
  f->Write('z');
  EXPECT_EQ(f->Flush(), 1);
  EXPECT_EQ(contents(name), (Bytes{'z'}));
}

// ----------------------------------------------------------------------------------------------
// Widths and bytes of single values

TEST_F(ERFileTest, CharsTakeOneByte) {
  Bytes b = written([](ERFile& f) {
    EXPECT_EQ(f.Write('A'), 1);
    EXPECT_EQ(f.Write(static_cast<unsigned char>(0xC8)), 1);
    EXPECT_EQ(f.CurOffset(), 2);
  });
  EXPECT_EQ(b, (Bytes{0x41, 0xC8}));
}

TEST_F(ERFileTest, ShortTakesTwoBytesLittleEndian) {
  Bytes b = written([](ERFile& f) {
    EXPECT_EQ(f.Write(static_cast<short>(0x1234)), 1);
    EXPECT_EQ(f.Write(static_cast<short>(-2)), 1);
    EXPECT_EQ(f.CurOffset(), 4);
  });
  EXPECT_EQ(b, (Bytes{0x34, 0x12, 0xFE, 0xFF}));
}

TEST_F(ERFileTest, IntAndUnsignedTakeFourBytes) {
  Bytes b = written([](ERFile& f) {
    EXPECT_EQ(f.Write(0x01020304), 1);
    EXPECT_EQ(f.Write(-1), 1);
    EXPECT_EQ(f.Write(0xA1B2C3D4u), 1);
    EXPECT_EQ(f.CurOffset(), 12);
  });
  EXPECT_EQ(b, (Bytes{0x04, 0x03, 0x02, 0x01, 0xFF, 0xFF, 0xFF, 0xFF, 0xD4, 0xC3, 0xB2, 0xA1}));
}

TEST_F(ERFileTest, LongAndUnsignedLongTakeFourBytes) {
  Bytes b = written([](ERFile& f) {
    EXPECT_EQ(f.Write(0x01020304L), 1);
    EXPECT_EQ(f.Write(-2L), 1);
    EXPECT_EQ(f.Write(0xA1B2C3D4UL), 1);
    EXPECT_EQ(f.CurOffset(), 12);
  });
  EXPECT_EQ(b, (Bytes{0x04, 0x03, 0x02, 0x01, 0xFE, 0xFF, 0xFF, 0xFF, 0xD4, 0xC3, 0xB2, 0xA1}));
}

TEST_F(ERFileTest, LongWiderThan32BitsKeepsItsLowFourBytes) {
  if (sizeof(long) <= 4) GTEST_SKIP() << "long has 4 bytes here";
  Bytes b = written([](ERFile& f) {
    EXPECT_EQ(f.Write(static_cast<long>(0x100000005LL)), 1);
    EXPECT_EQ(f.Write(static_cast<unsigned long>(0xF00000006ULL)), 1);
  });
  EXPECT_EQ(b, (Bytes{0x05, 0x00, 0x00, 0x00, 0x06, 0x00, 0x00, 0x00}));
}

TEST_F(ERFileTest, FloatTakesFourBytesIeeeSingle) {
  Bytes b = written([](ERFile& f) {
    EXPECT_EQ(f.Write(1.0f), 1);
    EXPECT_EQ(f.Write(-2.5f), 1);
  });
  // 1.0f = 0x3F800000, -2.5f = 0xC0200000
  EXPECT_EQ(b, (Bytes{0x00, 0x00, 0x80, 0x3F, 0x00, 0x00, 0x20, 0xC0}));
}

TEST_F(ERFileTest, DoubleOneIsStoredAsItsEightIeeeBytes) {
  Bytes b = written([](ERFile& f) { EXPECT_EQ(f.Write(1.0), 1); });
  EXPECT_EQ(b, (Bytes{0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xF0, 0x3F}));
}

TEST_F(ERFileTest, DoubleNegativeValueBytes) {
  Bytes b = written([](ERFile& f) { EXPECT_EQ(f.Write(-2.5), 1); });  // 0xC004000000000000
  EXPECT_EQ(b, (Bytes{0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x04, 0xC0}));
}

TEST_F(ERFileTest, NothingButTheValuesIsWritten) {
  Bytes b = written([](ERFile& f) {
    f.Write('a');
    f.Write(static_cast<short>(1));
    f.Write(2);
    f.Write(3L);
    f.Write(4.0f);
    f.Write(5.0);
  });
  EXPECT_EQ(b.size(), 1u + 2u + 4u + 4u + 4u + 8u);
}

// ----------------------------------------------------------------------------------------------
// Reading single values

TEST_F(ERFileTest, EveryTypeReadsBackWhatWasWritten) {
  std::string name = path("a.bin");
  auto f = open(name, "wb+");
  f->Write('c');
  f->Write(static_cast<unsigned char>(200));
  f->Write(static_cast<short>(-300));
  f->Write(-70000);
  f->Write(4000000000u);
  f->Write(-123456L);
  f->Write(3000000000UL);
  f->Write(0.15625f);
  f->Write(-1.0e300);
  ASSERT_EQ(f->SeekToBegin(), 1);
  char c = 0;
  unsigned char uc = 0;
  short s = 0;
  int i = 0;
  unsigned u = 0;
  long l = 0;
  unsigned long ul = 0;
  float fl = 0;
  double d = 0;
  EXPECT_EQ(f->Read(c), 1);
  EXPECT_EQ(f->Read(uc), 1);
  EXPECT_EQ(f->Read(s), 1);
  EXPECT_EQ(f->Read(i), 1);
  EXPECT_EQ(f->Read(u), 1);
  EXPECT_EQ(f->Read(l), 1);
  EXPECT_EQ(f->Read(ul), 1);
  EXPECT_EQ(f->Read(fl), 1);
  EXPECT_EQ(f->Read(d), 1);
  EXPECT_EQ(c, 'c');
  EXPECT_EQ(uc, 200);
  EXPECT_EQ(s, -300);
  EXPECT_EQ(i, -70000);
  EXPECT_EQ(u, 4000000000u);
  EXPECT_EQ(l, -123456L);
  EXPECT_EQ(ul, 3000000000UL);
  EXPECT_EQ(fl, 0.15625f);
  EXPECT_EQ(d, -1.0e300);
  EXPECT_EQ(f->CurOffset(), 1 + 1 + 2 + 4 + 4 + 4 + 4 + 4 + 8);
}

TEST_F(ERFileTest, LongReadBackIsSignExtended) {
  auto f = reading({0xFE, 0xFF, 0xFF, 0xFF, 0x00, 0x00, 0x00, 0x80, 0xFF, 0xFF, 0xFF, 0x7F});
  long a = 0, b = 0, c = 0;
  EXPECT_EQ(f->Read(a), 1);
  EXPECT_EQ(f->Read(b), 1);
  EXPECT_EQ(f->Read(c), 1);
  EXPECT_EQ(a, -2L);
  EXPECT_EQ(b, -2147483647L - 1);
  EXPECT_EQ(c, 2147483647L);
}

TEST_F(ERFileTest, UnsignedReadBackIsNotSignExtended) {
  auto f = reading({0x00, 0x00, 0x00, 0x80, 0xFE, 0xFF, 0xFF, 0xFF});
  unsigned long ul = 0;
  unsigned u = 0;
  EXPECT_EQ(f->Read(ul), 1);
  EXPECT_EQ(f->Read(u), 1);
  EXPECT_EQ(ul, 2147483648UL);
  EXPECT_EQ(u, 4294967294u);
}

TEST_F(ERFileTest, ReadIntAtTheEndOfTheFileAnswersZero) {
  auto f = reading({0x01, 0x00, 0x00, 0x00});
  int v = 0;
  EXPECT_EQ(f->Read(v), 1);
  EXPECT_EQ(v, 1);
  EXPECT_EQ(f->Eof(), 0);
  EXPECT_EQ(f->Read(v), 0);
  EXPECT_NE(f->Eof(), 0);
}

TEST_F(ERFileTest, ReadOfATruncatedValueAnswersZero) {
  auto f = reading({0x01, 0x02});
  int i = 0;
  EXPECT_EQ(f->Read(i), 0);
  auto g = reading({0x01, 0x02, 0x03});
  double d = 0;
  EXPECT_EQ(g->Read(d), 0);
  long l = 0;
  auto h = reading({0x01});
  EXPECT_EQ(h->Read(l), 0);
}

TEST_F(ERFileTest, EveryReadAtTheEndAnswersZero) {
  auto f = reading({});
  char c;
  unsigned char uc;
  short s;
  unsigned u;
  unsigned long ul;
  float fl;
  double d;
  EXPECT_EQ(f->Read(c), 0);
  EXPECT_EQ(f->Read(uc), 0);
  EXPECT_EQ(f->Read(s), 0);
  EXPECT_EQ(f->Read(u), 0);
  EXPECT_EQ(f->Read(ul), 0);
  EXPECT_EQ(f->Read(fl), 0);
  EXPECT_EQ(f->Read(d), 0);
}

// ----------------------------------------------------------------------------------------------
// Arrays

TEST_F(ERFileTest, ArraysAreElementsBackToBackWithoutCount) {
  const char chars[] = {'x', 'y', 'z'};
  const short shorts[] = {1, -1};
  const int ints[] = {2, -2};
  const long longs[] = {3, -3};
  const float floats[] = {1.0f, 2.0f};
  const double doubles[] = {1.0, 2.0};
  Bytes b = written([&](ERFile& f) {
    EXPECT_EQ(f.Write(chars, 3), 1);
    EXPECT_EQ(f.Write(shorts, 2), 1);
    EXPECT_EQ(f.Write(ints, 2), 1);
    EXPECT_EQ(f.Write(longs, 2), 1);
    EXPECT_EQ(f.Write(floats, 2), 1);
    EXPECT_EQ(f.Write(doubles, 2), 1);
  });
  Bytes expected = {'x',  'y',  'z',                                 // chars
                    0x01, 0x00, 0xFF, 0xFF,                          // shorts
                    0x02, 0x00, 0x00, 0x00, 0xFE, 0xFF, 0xFF, 0xFF,  // ints
                    0x03, 0x00, 0x00, 0x00, 0xFD, 0xFF, 0xFF, 0xFF,  // longs, 4 bytes each
                    0x00, 0x00, 0x80, 0x3F, 0x00, 0x00, 0x00, 0x40,  // floats
                    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xF0, 0x3F,  // doubles
                    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x40};
  EXPECT_EQ(b, expected);
}

TEST_F(ERFileTest, ArraysReadBack) {
  auto f = reading({'x',  'y',  0x01, 0x00, 0xFF, 0xFF, 0x02, 0x00, 0x00, 0x00, 0xFD, 0xFF, 0xFF,
                    0xFF, 0x00, 0x00, 0x80, 0x3F, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xF0, 0x3F});
  char chars[2];
  short shorts[2];
  int ints[1];
  long longs[1];
  float floats[1];
  double doubles[1];
  EXPECT_EQ(f->Read(chars, 2), 1);
  EXPECT_EQ(f->Read(shorts, 1), 1);
  EXPECT_EQ(f->Read(shorts + 1, 1), 1);
  EXPECT_EQ(f->Read(ints, 1), 1);
  EXPECT_EQ(f->Read(longs, 1), 1);
  EXPECT_EQ(f->Read(floats, 1), 1);
  EXPECT_EQ(f->Read(doubles, 1), 1);
  EXPECT_EQ(chars[0], 'x');
  EXPECT_EQ(chars[1], 'y');
  EXPECT_EQ(shorts[0], 1);
  EXPECT_EQ(shorts[1], -1);
  EXPECT_EQ(ints[0], 2);
  EXPECT_EQ(longs[0], -3L);
  EXPECT_EQ(floats[0], 1.0f);
  EXPECT_EQ(doubles[0], 1.0);
}

TEST_F(ERFileTest, ArrayShorterThanAskedAnswersZero) {
  auto f = reading({0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xF0, 0x3F});
  double d[2];
  EXPECT_EQ(f->Read(d, 2), 0);
  auto g = reading({0x01, 0x00, 0x00, 0x00, 0x02, 0x00});
  long l[2];
  EXPECT_EQ(g->Read(l, 2), 0);
  EXPECT_EQ(l[0], 1L);
  auto h = reading({'a'});
  char c[2];
  EXPECT_EQ(h->Read(c, 2), 0);
}

// ----------------------------------------------------------------------------------------------
// Strings

TEST_F(ERFileTest, StringIsItsCharactersAndOneZero) {
  Bytes b = written([](ERFile& f) { EXPECT_EQ(f.Write("ab"), 1); });
  EXPECT_EQ(b, (Bytes{0x61, 0x62, 0x00}));
  Bytes empty = written([](ERFile& f) { EXPECT_EQ(f.Write(""), 1); });
  EXPECT_EQ(empty, (Bytes{0x00}));
}

TEST_F(ERFileTest, ReadStringStopsAfterTheZero) {
  auto f = reading({0x61, 0x62, 0x00, 0x63, 0x00});
  char s[8];
  std::memset(s, 'X', sizeof s);
  EXPECT_EQ(f->Read(s), 1);
  EXPECT_STREQ(s, "ab");
  EXPECT_EQ(f->CurOffset(), 3);
  EXPECT_EQ(f->Read(s), 1);
  EXPECT_STREQ(s, "c");
}

TEST_F(ERFileTest, ReadStringWithoutTerminatorGivesTheBytesToTheEnd) {
  auto f = reading({'a', 'b', 'c'});
  char s[8];
  std::memset(s, 'X', sizeof s);
  EXPECT_EQ(f->Read(s), 1);
  EXPECT_STREQ(s, "abc");
  EXPECT_NE(f->Eof(), 0);
}

TEST_F(ERFileTest, ReadStringAtTheEndGivesAnEmptyStringAndStillAnswersOne) {
  auto f = reading({});
  char s[4] = {'X', 'X', 'X', 'X'};
  EXPECT_EQ(f->Read(s), 1);
  EXPECT_STREQ(s, "");
}

// ----------------------------------------------------------------------------------------------
// Positioning and indicators

TEST_F(ERFileTest, SeekMovesFromTheBeginningAndToTheEnd) {
  auto f = reading({0, 1, 2, 3, 4, 5, 6, 7, 8, 9});
  EXPECT_EQ(f->CurOffset(), 0);
  EXPECT_EQ(f->SeekTo(4), 1);
  EXPECT_EQ(f->CurOffset(), 4);
  char c = 0;
  EXPECT_EQ(f->Read(c), 1);
  EXPECT_EQ(c, 4);
  EXPECT_EQ(f->SeekToEnd(), 1);
  EXPECT_EQ(f->CurOffset(), 10);
  EXPECT_EQ(f->SeekToBegin(), 1);
  EXPECT_EQ(f->CurOffset(), 0);
  EXPECT_EQ(f->Read(c), 1);
  EXPECT_EQ(c, 0);
}

TEST_F(ERFileTest, SeekBeforeTheBeginningFails) {
  auto f = reading({0, 1});
  EXPECT_EQ(f->SeekTo(1), 1);
  EXPECT_EQ(f->SeekTo(-1), 0);
  EXPECT_EQ(f->CurOffset(), 1);
}

TEST_F(ERFileTest, SeekClearsTheEndOfFileIndicator) {
  auto f = reading({7});
  char c = 0;
  EXPECT_EQ(f->Read(c), 1);
  EXPECT_EQ(f->Eof(), 0);
  EXPECT_EQ(f->Read(c), 0);
  EXPECT_NE(f->Eof(), 0);
  EXPECT_EQ(f->SeekToBegin(), 1);
  EXPECT_EQ(f->Eof(), 0);
}

TEST_F(ERFileTest, WritingToAReadOnlyStreamFailsAndSetsTheErrorIndicator) {
  auto f = reading({1, 2, 3, 4});
  EXPECT_EQ(f->Error(), 0);
  EXPECT_EQ(f->Write(5), 0);
  EXPECT_NE(f->Error(), 0);
}

TEST_F(ERFileTest, ReadingFromAWriteOnlyStreamFailsAndSetsTheErrorIndicator) {
  auto f = open(path("a.bin"), "wb");
  int v = 0;
  EXPECT_EQ(f->Read(v), 0);
  EXPECT_NE(f->Error(), 0);
}

// ----------------------------------------------------------------------------------------------
// Objects

TEST_F(ERFileTest, RootObjectStoresNothing) {
  TPlain plain;
  Bytes b = written([&](ERFile& f) { f << plain; });
  EXPECT_TRUE(b.empty());
  EXPECT_EQ(plain.binaryStoreSize(), 0u);
  auto f = reading({1, 2, 3});
  *f >> plain;
  EXPECT_EQ(f->CurOffset(), 0);
}

TEST_F(ERFileTest, TwoByThreeRecordStartsWithItsDimensions) {
  TGrid grid;
  grid.rows = 2;
  grid.cols = 3;
  grid.values = {1.0, 0.0, 0.0, 0.0, 0.0, 2.0};
  Bytes b = written([&](ERFile& f) { f << grid; });
  Bytes head = {0x02, 0x00, 0x00, 0x00, 0x03, 0x00, 0x00, 0x00, 0x30, 0x00, 0x00, 0x00};
  ASSERT_EQ(b.size(), 12u + 48u);
  EXPECT_EQ(Bytes(b.begin(), b.begin() + 12), head);
  EXPECT_EQ(Bytes(b.begin() + 12, b.begin() + 20), (Bytes{0, 0, 0, 0, 0, 0, 0xF0, 0x3F}));
  EXPECT_EQ(Bytes(b.end() - 8, b.end()), (Bytes{0, 0, 0, 0, 0, 0, 0x00, 0x40}));
  EXPECT_EQ(b.size(), grid.binaryStoreSize());
}

TEST_F(ERFileTest, ObjectRebuiltFromItsClassNameReadsItsRecord) {
  TGrid grid;
  grid.rows = 1;
  grid.cols = 2;
  grid.values = {0.5, -4.0};
  std::string name = path("obj.bin");
  {
    auto f = open(name, "wb");
    f->Write(grid.className());  // the application stores the class name itself
    *f << grid;
  }
  auto f = open(name, "rb");
  char className[32];
  EXPECT_EQ(f->Read(className), 1);
  ERClassRegistration::Creator creator = ERClassRegistration::findCreator(className);
  ASSERT_NE(creator, nullptr);
  std::unique_ptr<ERObject> object(creator());
  *f >> *object;
  const TGrid* restored = TGrid::castdown(object.get());
  ASSERT_NE(restored, nullptr);
  EXPECT_EQ(restored->rows, 1u);
  EXPECT_EQ(restored->cols, 2u);
  EXPECT_EQ(restored->values, grid.values);
}

}  // namespace
