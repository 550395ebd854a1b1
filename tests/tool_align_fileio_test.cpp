// Whole-file reading of velmora-align.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "align/align_fileio.h"

using valign::readWholeFile;

namespace {

// A scratch directory removed with its files at the end of each test.
class FileIoTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/velmora-align-fileio-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    dir_ = pattern;
  }
  void TearDown() override {
    for (const std::string& f : files_) std::remove(f.c_str());
    rmdir(dir_.c_str());
  }
  std::string write(const std::string& name, const std::string& content) {
    const std::string path = dir_ + "/" + name;
    std::ofstream(path, std::ios::binary) << content;
    files_.push_back(path);
    return path;
  }
  std::string dir_;
  std::vector<std::string> files_;
};

}  // namespace

TEST_F(FileIoTest, ReadsTheWholeFileByteForByte) {
  std::string content;
  for (int i = 0; i < 200000; ++i) content += static_cast<char>(i % 251);
  const std::string path = write("data.bin", content);
  std::string read;
  EXPECT_EQ(readWholeFile(path, read), "");
  EXPECT_EQ(read, content);
}

TEST_F(FileIoTest, EmptyFileGivesEmptyContent) {
  const std::string path = write("empty.txt", "");
  std::string read = "stale";
  EXPECT_EQ(readWholeFile(path, read), "");
  EXPECT_EQ(read, "");
}

TEST_F(FileIoTest, MissingFileCannotBeOpened) {
  std::string read;
  EXPECT_EQ(readWholeFile(dir_ + "/absent.txt", read),
            "cannot open " + dir_ + "/absent.txt: No such file or directory");
}

TEST_F(FileIoTest, DirectoryCannotBeRead) {
  std::string read;
  EXPECT_EQ(readWholeFile(dir_, read), "cannot read " + dir_ + ": Is a directory");
}

TEST_F(FileIoTest, DashReadsStandardInput) {
  const std::string path = write("stdin.txt", "1 2 3 4 5 6\n");
  const int saved = dup(STDIN_FILENO);
  ASSERT_GE(saved, 0);
  ASSERT_NE(std::freopen(path.c_str(), "r", stdin), nullptr);
  std::string read;
  const std::string error = readWholeFile("-", read);
  ASSERT_EQ(dup2(saved, STDIN_FILENO), STDIN_FILENO);
  close(saved);
  EXPECT_EQ(error, "");
  EXPECT_EQ(read, "1 2 3 4 5 6\n");
}

TEST(DisplayNameTest, DashIsStandardInput) { EXPECT_EQ(valign::displayName("-"), "<stdin>"); }

TEST(DisplayNameTest, ControlCharactersAreEscapedAndUtf8Kept) {
  EXPECT_EQ(valign::displayName("a\nb.txt"), "a\\x0ab.txt");
  EXPECT_EQ(valign::displayName("mesures-\xC3\xA9t\xC3\xA9.txt"), "mesures-\xC3\xA9t\xC3\xA9.txt");
}
