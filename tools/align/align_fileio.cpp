// Whole-file reading for the velmora-align tool.
#include "align/align_fileio.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "align/align_text.h"

namespace valign {

namespace {

// Reads an open descriptor to its end; 0 on success, else the errno of the failed read.
int readDescriptor(int fd, std::string& content) {
  struct stat info;
  std::size_t chunk = 1 << 16;
  if (fstat(fd, &info) == 0 && S_ISREG(info.st_mode) && info.st_size > 0) {
    content.reserve(static_cast<std::size_t>(info.st_size) + 1);
    chunk = static_cast<std::size_t>(info.st_size) + 1;
  }
  for (;;) {
    const std::size_t used = content.size();
    content.resize(used + chunk);
    const ssize_t got = ::read(fd, &content[used], chunk);
    if (got < 0) {
      const int error = errno;
      content.resize(used);
      if (error == EINTR) continue;
      return error;
    }
    content.resize(used + static_cast<std::size_t>(got));
    if (got == 0) return 0;
    if (chunk < (std::size_t(1) << 24)) chunk *= 2;
  }
}

}  // namespace

std::string displayName(const std::string& path) {
  if (path == kStdinArgument) return kStdinName;
  return printable(path, true);
}

std::string readWholeFile(const std::string& path, std::string& content) {
  content.clear();
  if (path == kStdinArgument) {
    const int error = readDescriptor(STDIN_FILENO, content);
    if (error != 0) return "cannot read " + displayName(path) + ": " + std::strerror(error);
    return std::string();
  }
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return "cannot open " + displayName(path) + ": " + std::strerror(errno);
  const int error = readDescriptor(fd, content);
  ::close(fd);
  if (error != 0) {
    content.clear();
    return "cannot read " + displayName(path) + ": " + std::strerror(error);
  }
  return std::string();
}

}  // namespace valign
