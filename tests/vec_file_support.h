// Helpers of the vector storage and vector family tests: a scratch folder for binary files, the raw bytes
// of a file, and little-endian byte images of the values the files hold.
#ifndef VELMORA_TESTS_VEC_FILE_SUPPORT_H
#define VELMORA_TESTS_VEC_FILE_SUPPORT_H

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "test_support.h"

namespace vtest {

using Bytes = std::vector<unsigned char>;

// A folder of its own for the running test, removed afterwards.
class ScratchDir {
 public:
  ScratchDir() {
    const testing::TestInfo* info = testing::UnitTest::GetInstance()->current_test_info();
    std::string name = std::string(info->test_suite_name()) + "-" + info->name();
    for (char& c : name)
      if (c == '/') c = '_';
    dir_ = std::filesystem::temp_directory_path() / ("velmora-vec-" + std::to_string(getpid()) + "-" + name);
    std::filesystem::create_directories(dir_);
  }
  ~ScratchDir() {
    std::error_code ignored;
    std::filesystem::remove_all(dir_, ignored);
  }
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;

  std::string path(const std::string& file) const { return (dir_ / file).string(); }

 private:
  std::filesystem::path dir_;
};

inline Bytes readBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// The four bytes of an unsigned 32-bit value, least significant first.
inline Bytes le32(uint32_t v) {
  return Bytes{static_cast<unsigned char>(v), static_cast<unsigned char>(v >> 8),
               static_cast<unsigned char>(v >> 16), static_cast<unsigned char>(v >> 24)};
}

// The eight bytes of an IEEE 754 double, least significant first.
inline Bytes le64(double d) {
  uint64_t bits = 0;
  std::memcpy(&bits, &d, sizeof bits);
  Bytes out;
  for (int i = 0; i < 8; ++i) out.push_back(static_cast<unsigned char>(bits >> (8 * i)));
  return out;
}

inline Bytes& operator+=(Bytes& a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

}  // namespace vtest

#endif
