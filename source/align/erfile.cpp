// Binary file: typed raw transfers through a stdio stream.
#include "velmora/erfile.h"

#include <cstdint>
#include <cstring>

#include "velmora/ercommon.h"

#define ER_THIS_UNIT "source/align/erfile"

namespace {

char* copyName(const char* name) {
  if (name == nullptr) return nullptr;
  size_t n = std::strlen(name) + 1;
  char* copy = new char[n];
  std::memcpy(copy, name, n);
  return copy;
}

template <class T>
int readRaw(FILE* fp, T* data, size_t count) {
  if (fp == nullptr) return 0;
  return std::fread(data, sizeof(T), count, fp) == count ? 1 : 0;
}

template <class T>
int writeRaw(FILE* fp, const T* data, size_t count) {
  if (fp == nullptr) return 0;
  return std::fwrite(data, sizeof(T), count, fp) == count ? 1 : 0;
}

// long is 8 bytes here and 4 in the file: narrow on write, sign-extend on read.
int readLongs(FILE* fp, long* data, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    int32_t v;
    if (!readRaw(fp, &v, 1)) return 0;
    data[i] = v;
  }
  return 1;
}

int writeLongs(FILE* fp, const long* data, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    int32_t v = static_cast<int32_t>(data[i]);
    if (!writeRaw(fp, &v, 1)) return 0;
  }
  return 1;
}

}  // namespace

ERFile::ERFile(const char* fileName, const char* mode) : name(nullptr), fp(nullptr) {
  ER_report(ER_THIS_UNIT, __LINE__, "call to prohibited function | Should not be being called");
  if (fileName != nullptr) {
    if (mode != nullptr) {
      fp = std::fopen(fileName, mode);
    } else {
      fp = std::fopen(fileName, "rb+");
      if (fp == nullptr) fp = std::fopen(fileName, "wb+");
    }
  }
  name = copyName(fileName);
}

ERFile::~ERFile() {
  if (fp != nullptr) std::fclose(fp);
  delete[] name;
}

int ERFile::Open(const char* fileName, const char* mode) {
  // The previous name is released here rather than leaked; the previous stream is left open.
  delete[] name;
  name = copyName(fileName);
  fp = (fileName != nullptr && mode != nullptr) ? std::fopen(fileName, mode) : nullptr;
  return fp != nullptr;
}

int ERFile::Close() {
  if (fp != nullptr) {
    std::fclose(fp);
    fp = nullptr;
  }
  return 1;
}

int ERFile::Erase() {
  if (fp != nullptr) {
    int r = std::fclose(fp);
    fp = nullptr;
    if (r != 0) return 0;
  }
  return name != nullptr && std::remove(name) == 0;
}

int ERFile::Flush() { return fp != nullptr && std::fflush(fp) == 0; }
int ERFile::Error() { return fp != nullptr ? std::ferror(fp) : 1; }
int ERFile::Eof() { return fp != nullptr ? std::feof(fp) : 1; }
long ERFile::CurOffset() { return fp != nullptr ? std::ftell(fp) : -1L; }
int ERFile::SeekTo(long offset) { return fp != nullptr && std::fseek(fp, offset, SEEK_SET) == 0; }
int ERFile::SeekToBegin() { return SeekTo(0); }
int ERFile::SeekToEnd() { return fp != nullptr && std::fseek(fp, 0, SEEK_END) == 0; }
int ERFile::Exists() { return 0; }
int ERFile::Exists(const char*) { return 0; }
int ERFile::IsEmpty() { return 0; }

int ERFile::Read(char& v) { return readRaw(fp, &v, 1); }
int ERFile::Read(unsigned char& v) { return readRaw(fp, &v, 1); }
int ERFile::Read(short& v) { return readRaw(fp, &v, 1); }
int ERFile::Read(int& v) {
  int32_t x;
  if (!readRaw(fp, &x, 1)) return 0;
  v = x;
  return 1;
}
int ERFile::Read(unsigned int& v) {
  uint32_t x;
  if (!readRaw(fp, &x, 1)) return 0;
  v = x;
  return 1;
}
int ERFile::Read(long& v) { return readLongs(fp, &v, 1); }
int ERFile::Read(unsigned long& v) {
  uint32_t x;
  if (!readRaw(fp, &x, 1)) return 0;
  v = x;
  return 1;
}
int ERFile::Read(float& v) { return readRaw(fp, &v, 1); }
int ERFile::Read(double& v) { return readRaw(fp, &v, 1); }

int ERFile::Write(char v) { return writeRaw(fp, &v, 1); }
int ERFile::Write(unsigned char v) { return writeRaw(fp, &v, 1); }
int ERFile::Write(short v) { return writeRaw(fp, &v, 1); }
int ERFile::Write(int v) {
  int32_t x = v;
  return writeRaw(fp, &x, 1);
}
int ERFile::Write(unsigned int v) {
  uint32_t x = v;
  return writeRaw(fp, &x, 1);
}
int ERFile::Write(long v) { return writeLongs(fp, &v, 1); }
int ERFile::Write(unsigned long v) {
  uint32_t x = static_cast<uint32_t>(v);
  return writeRaw(fp, &x, 1);
}
int ERFile::Write(float v) { return writeRaw(fp, &v, 1); }
int ERFile::Write(double v) { return writeRaw(fp, &v, 1); }

int ERFile::Read(char* data, unsigned count) { return readRaw(fp, data, count); }
int ERFile::Read(short* data, unsigned count) { return readRaw(fp, data, count); }
int ERFile::Read(int* data, unsigned count) {
  static_assert(sizeof(int) == 4, "int is stored in 4 bytes");
  return readRaw(fp, data, count);
}
int ERFile::Read(long* data, unsigned count) { return readLongs(fp, data, count); }
int ERFile::Read(float* data, unsigned count) { return readRaw(fp, data, count); }
int ERFile::Read(double* data, unsigned count) { return readRaw(fp, data, count); }
int ERFile::Write(const char* data, unsigned count) { return writeRaw(fp, data, count); }
int ERFile::Write(const short* data, unsigned count) { return writeRaw(fp, data, count); }
int ERFile::Write(const int* data, unsigned count) { return writeRaw(fp, data, count); }
int ERFile::Write(const long* data, unsigned count) { return writeLongs(fp, data, count); }
int ERFile::Write(const float* data, unsigned count) { return writeRaw(fp, data, count); }
int ERFile::Write(const double* data, unsigned count) { return writeRaw(fp, data, count); }

int ERFile::Write(const char* s) { return Write(s, static_cast<unsigned>(std::strlen(s) + 1)); }

int ERFile::Read(char* s) {
  size_t i = 0;
  int c;
  while (fp != nullptr && (c = std::fgetc(fp)) != EOF && c != 0) s[i++] = static_cast<char>(c);
  s[i] = '\0';
  return 1;
}
