// Shared pieces of the fuzz targets: an in-memory file reachable by name (ERFile opens files by name),
// the capture of the library's reports on std::cerr, and the selection of a case by a name prefix.
#ifndef VELMORA_FUZZ_FUZZ_SUPPORT_H
#define VELMORA_FUZZ_FUZZ_SUPPORT_H

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <sstream>
#include <string>
#include <string_view>

#include "velmora/notempl/matdbl.h"

namespace vfuzz {

// A file that lives in memory only, opened by name through /proc/self/fd.
class MemFile {
 public:
  explicit MemFile(const uint8_t* data = nullptr, size_t size = 0) : fd_(memfd_create("velmora-fuzz", 0)) {
    if (fd_ < 0) __builtin_trap();
    size_t done = 0;
    while (done < size) {
      const ssize_t n = write(fd_, data + done, size - done);
      if (n <= 0) __builtin_trap();
      done += static_cast<size_t>(n);
    }
    path_ = "/proc/self/fd/" + std::to_string(fd_);
  }
  ~MemFile() { close(fd_); }
  MemFile(const MemFile&) = delete;
  MemFile& operator=(const MemFile&) = delete;

  const char* path() const { return path_.c_str(); }

  // The whole content, as written through any stream opened on the path (flushed or closed first).
  std::string contents() const {
    std::string out;
    char buffer[4096];
    off_t at = 0;
    for (;;) {
      const ssize_t n = pread(fd_, buffer, sizeof buffer, at);
      if (n <= 0) break;
      out.append(buffer, static_cast<size_t>(n));
      at += n;
    }
    return out;
  }

 private:
  int fd_;
  std::string path_;
};

// Routes std::cerr (where the library writes its assertion reports and the prohibited-call line of
// ERFile) into a string while it lives. Sanitizer reports do not go through std::cerr.
class CerrCapture {
 public:
  CerrCapture() : saved_(std::cerr.rdbuf(text_.rdbuf())) {}
  ~CerrCapture() { std::cerr.rdbuf(saved_); }
  CerrCapture(const CerrCapture&) = delete;
  CerrCapture& operator=(const CerrCapture&) = delete;

  // True when a failed check was reported.
  bool reportedFailure() const { return text_.str().find(" failed in ") != std::string::npos; }

 private:
  std::ostringstream text_;
  std::streambuf* saved_;
};

// Splits "<name>\0<payload>" into its two parts; false when there is no zero byte.
inline bool splitNamed(const uint8_t* data, size_t size, std::string_view& name, std::string_view& payload) {
  const char* text = reinterpret_cast<const char*>(data);
  const void* zero = std::memchr(text, 0, size);
  if (zero == nullptr) return false;
  const size_t n = static_cast<size_t>(static_cast<const char*>(zero) - text);
  name = std::string_view(text, n);
  payload = std::string_view(text + n + 1, size - n - 1);
  return true;
}

// Uses a matrix the library accepted without a report: every element through the checked access, then
// the text form. A matrix with no rows or no columns holds nothing (and may still claim billions of empty
// rows or columns, which are not walked).
inline void useMatrix(const ERDoubleMatrix& m) {
  if (m.rows() == 0 || m.cols() == 0) return;
  volatile double sum = 0;
  for (unsigned i = 0; i < m.rows(); ++i)
    for (unsigned j = 0; j < m.cols(); ++j) sum = sum + m(i, j);
  std::ostringstream os;
  m.printOn(os);
}

// Stops the run as a finding when cond is false (a broken property, not a crash of the library).
#define VFUZZ_CHECK(cond)                                                                     \
  do {                                                                                        \
    if (!(cond)) {                                                                            \
      std::fprintf(stderr, "fuzz property broken at %s:%d: %s\n", __FILE__, __LINE__, #cond); \
      std::abort();                                                                           \
    }                                                                                         \
  } while (0)

}  // namespace vfuzz

#endif
