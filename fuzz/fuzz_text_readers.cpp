// The text readers (operator>> of points, vectors, poles and matrices) on arbitrary text, in the
// continuing build. The input is a type name, a zero byte, then the text; values of that type are read
// one after another until the stream fails. A read must never crash or hang; a value read without a
// reported failure must be usable in full (a matrix: every element through the checked access).
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>
#include <string_view>

#include "fuzz_support.h"
#include "velmora/notempl/matdbl.h"
#include "velmora/vector3d.h"

namespace {

template <class T>
void use(const T& value) {
  std::ostringstream os;
  os << value;
}
void use(const ERDoubleMatrix& m) { vfuzz::useMatrix(m); }

template <class T>
void readAll(std::istream& is) {
  T value;
  for (int n = 0; n < 64 && is; ++n) {
    const std::streampos before = is.tellg();
    bool reported = false;
    {
      vfuzz::CerrCapture capture;
      is >> value;
      reported = capture.reportedFailure();
    }
    if (reported) return;  // the value is not to be used after a reported failure
    use(value);
    if (is && is.tellg() == before) return;  // nothing consumed (the 3D pole reads nothing)
  }
}

struct Reader {
  const char* name;
  void (*read)(std::istream& is);
};

// One line per type with a text reader.
const Reader kReaders[] = {
    {"ERPoint2D", &readAll<ERPoint2D>},           {"ERPoint3D", &readAll<ERPoint3D>},
    {"ERVector2D", &readAll<ERVector2D>},         {"ERVector3D", &readAll<ERVector3D>},
    {"ERPole2DH", &readAll<ERPole2DH>},           {"ERPole3DH", &readAll<ERPole3DH>},
    {"ERDoubleMatrix", &readAll<ERDoubleMatrix>},
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string_view name, text;
  if (!vfuzz::splitNamed(data, size, name, text)) return 0;
  for (const Reader& r : kReaders) {
    if (name != r.name) continue;
    std::istringstream is{std::string(text)};
    r.read(is);
    return 0;
  }
  return 0;
}
