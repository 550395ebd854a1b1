// Restoring persistent classes from arbitrary bytes through ERFile (continuing build). The input is a
// class name, a zero byte, then the file's bytes; records of that class are restored one after another
// until the file ends. Whatever the bytes, a restore must either report a failed check or give an object
// that can be used in full (every element read, text form written, saved again; a transformation applied,
// decomposed, inverted and composed until its first reported check); a record restored without a report
// from a file that did not run out must save back to exactly the bytes it was read from.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>

#include "fuzz_support.h"
#include "velmora/erfile.h"
#include "velmora/notempl/matdbl.h"
#include "velmora/notempl/vcdouble.h"
#include "velmora/notempl/vcpt2d.h"
#include "velmora/notempl/vcpt2dh.h"
#include "velmora/notempl/vcpt3d.h"
#include "velmora/notempl/vcpt3dh.h"
#include "velmora/transf2d.h"
#include "velmora/transf3d.h"

namespace {

// Uses a restored object in full. The generic form suits every class with a text form.
template <class T>
void use(const T& object) {
  std::ostringstream os;
  object.printOn(os);
}
// Vectors: every element, then the text form.
template <class V>
void useElements(const V& v) {
  std::ostringstream os;
  for (unsigned i = 0; i < v.length(); ++i) os << v[i];
  v.printOn(os);
}
void use(const ERDoubleVec& v) { useElements(v); }
void use(const ERPoint2DVec& v) { useElements(v); }
void use(const ERPoint3DVec& v) { useElements(v); }
void use(const ERPole2DHVec& v) { useElements(v); }
void use(const ERPole3DHVec& v) { useElements(v); }
void use(const ERDoubleMatrix& m) { vfuzz::useMatrix(m); }

// Runs step with the library's reports captured; false when it reported a failed check, after which the
// object is not to be used further (a continuing build goes on with whatever the check found).
template <class Step>
bool unreported(Step&& step) {
  vfuzz::CerrCapture capture;
  step();
  return !capture.reportedFailure();
}

volatile double sink;
void keep(const ERPoint2D& p) { sink = sink + p[X2D] + p[Y2D]; }
void keep(const ERPoint3D& p) { sink = sink + p[X3D] + p[Y3D] + p[Z3D]; }

void use(const ERTransfo2D& t) {
  std::ostringstream os;
  t.printOn(os);
  const ERPoint2D p(1.5, -2);
  const ERVector2D v(0.5, 3);
  if (!unreported([&] {
        keep(t.TransFrom(p));
        keep(t.TransTo(p));
        keep(t.TransFrom(v));
        keep(t.TransTo(v));
      }))
    return;
  unreported([&] { keep((~t).TransFrom(p)); });
}

// 3D transformations, representations and handles alike: H is the handle that can hold T. Applied to a
// point and a vector both ways, decomposed, written as text, then held by a handle, inverted and composed
// with the inverse. The text form comes after the application, which checks that a matrix is 3x3: a
// restored matrix may claim billions of empty rows, and its text form would write them all.
template <class H, class T>
void useTransformation(const T& t) {
  std::ostringstream os;
  const ERPoint3D p(1.5, -2, 0.25);
  const ERVector3D v(0.5, 1, -3);
  if (!unreported([&] {
        keep(t >> p);
        keep(t << p);
        keep(t >> v);
        keep(t << v);
      }))
    return;
  if (!unreported([&] {
        vfuzz::useMatrix(t.getMatrix());
        keep(t.getTrans());
        sink = sink + t.getFactHomo() + t.isDirect() + t.isValid();
        t.printOn(os);
      }))
    return;
  H handle;
  if (!unreported([&] { handle = t; })) return;
  unreported([&] {
    const H inverse = ~handle;
    keep(inverse >> p);
    const H product = handle * inverse;
    keep(product << p);
    product.printOn(os);
  });
}
void use(const ERIdentity3D& t) { useTransformation<ERPmIsometrie3D>(t); }
void use(const ERTranslation3D& t) { useTransformation<ERPmIsometrie3D>(t); }
void use(const ERRotation3D& t) { useTransformation<ERPmIsometrie3D>(t); }
void use(const ERChgRepere3D& t) { useTransformation<ERPmIsometrie3D>(t); }
void use(const ERScaling3D& t) { useTransformation<ERPmSimilitude3D>(t); }
void use(const ERSymetrie3D& t) { useTransformation<ERPmSimilitude3D>(t); }
void use(const ERSimilitude3D& t) { useTransformation<ERPmSimilitude3D>(t); }
void use(const ERPmSimilitude3D& t) { useTransformation<ERPmSimilitude3D>(t); }
void use(const ERPmIsometrie3D& t) { useTransformation<ERPmIsometrie3D>(t); }

// Restores records of class T from file until it ends.
template <class T>
void restoreAll(ERFile& file, const std::string& bytes) {
  for (int record = 0; record < 16; ++record) {
    const long start = file.CurOffset();
    std::unique_ptr<T> object(new T);
    bool reported = false;
    {
      vfuzz::CerrCapture capture;
      object->restoreGuts(file);
      reported = capture.reportedFailure();
    }
    const bool complete = !file.Eof() && !file.Error();
    if (reported) return;  // a reported failure ends the check of this file: the object is not to be used
    use(*object);
    if (complete) {
      const long end = file.CurOffset();
      VFUZZ_CHECK(start >= 0 && end >= start && static_cast<size_t>(end) <= bytes.size());
      vfuzz::MemFile out;
      {
        vfuzz::CerrCapture quiet;
        ERFile saved(out.path(), "wb");
        object->saveGuts(saved);
      }
      VFUZZ_CHECK(out.contents() ==
                  bytes.substr(static_cast<size_t>(start), static_cast<size_t>(end - start)));
    }
    if (!complete || file.CurOffset() == start) return;
  }
}

struct Restorer {
  const char* name;
  void (*restore)(ERFile& file, const std::string& bytes);
};

// One line per persistent class.
const Restorer kRestorers[] = {
    {"ERDoubleVec", &restoreAll<ERDoubleVec>},           {"ERPoint2DVec", &restoreAll<ERPoint2DVec>},
    {"ERPoint3DVec", &restoreAll<ERPoint3DVec>},         {"ERPole2DHVec", &restoreAll<ERPole2DHVec>},
    {"ERPole3DHVec", &restoreAll<ERPole3DHVec>},         {"ERDoubleMatrix", &restoreAll<ERDoubleMatrix>},
    {"ERTransfo2D", &restoreAll<ERTransfo2D>},           {"ERIdentity3D", &restoreAll<ERIdentity3D>},
    {"ERTranslation3D", &restoreAll<ERTranslation3D>},   {"ERRotation3D", &restoreAll<ERRotation3D>},
    {"ERChgRepere3D", &restoreAll<ERChgRepere3D>},       {"ERScaling3D", &restoreAll<ERScaling3D>},
    {"ERSymetrie3D", &restoreAll<ERSymetrie3D>},         {"ERSimilitude3D", &restoreAll<ERSimilitude3D>},
    {"ERPmSimilitude3D", &restoreAll<ERPmSimilitude3D>}, {"ERPmIsometrie3D", &restoreAll<ERPmIsometrie3D>},
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string_view name, payload;
  if (!vfuzz::splitNamed(data, size, name, payload)) return 0;
  for (const Restorer& r : kRestorers) {
    if (name != r.name) continue;
    vfuzz::MemFile in(reinterpret_cast<const uint8_t*>(payload.data()), payload.size());
    std::unique_ptr<ERFile> file;
    {
      vfuzz::CerrCapture quiet;  // the prohibited-call line of every ERFile
      file.reset(new ERFile(in.path(), "rb"));
    }
    if (!file->isValid()) __builtin_trap();
    r.restore(*file, std::string(payload));
    return 0;
  }
  return 0;
}
