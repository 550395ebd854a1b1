// Writes the seeds of fuzz_restore for the 3D transformations into a folder: each file is a class name,
// a zero byte, then one or more records of that class saved by the library itself.
//   fuzz_restore_seeds DIR
#include <cstring>
#include <functional>
#include <iostream>
#include <string>

#include "velmora/erfile.h"
#include "velmora/transf3d.h"

namespace {

// One seed file: the class name and its terminating zero byte, then what save writes.
void writeSeed(const std::string& dir, const char* file, const char* className,
               const std::function<void(ERFile&)>& save) {
  ERFile out((dir + "/" + file).c_str(), "wb");
  if (!out.isValid()) {
    std::cerr << "fuzz_restore_seeds: cannot write " << dir << "/" << file << "\n";
    std::exit(1);
  }
  out.Write(className, static_cast<unsigned>(std::strlen(className) + 1));
  save(out);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: fuzz_restore_seeds DIR\n";
    return 2;
  }
  const std::string dir = argv[1];
  const ERPoint3D t(1.0, -2.0, 3.5);
  const ERRotation3D rotY(Y3D, 0.7);

  writeSeed(dir, "identity3d", "ERIdentity3D", [](ERFile&) {});
  writeSeed(dir, "translation3d_two", "ERTranslation3D", [&](ERFile& f) {
    ERTranslation3D(t).saveGuts(f);
    ERTranslation3D().saveGuts(f);
  });
  writeSeed(dir, "rotation3d_two", "ERRotation3D", [](ERFile& f) {
    ERRotation3D(Z3D, 0.3).saveGuts(f);
    ERRotation3D(ERVector3D(1.0, 1.0, 1.0), 1.2).saveGuts(f);
  });
  writeSeed(dir, "chgrepere3d_two", "ERChgRepere3D", [&](ERFile& f) {
    ERChgRepere3D(ERVector3D(1.0, 1.0, 0.0), ERVector3D(0.0, 1.0, 1.0), t).saveGuts(f);
    ERChgRepere3D(ERVector3D(1.0, 0.0, 0.0), ERPoint3D()).saveGuts(f);
  });
  writeSeed(dir, "scaling3d_two", "ERScaling3D", [](ERFile& f) {
    ERScaling3D(2.5).saveGuts(f);
    ERScaling3D(-0.5).saveGuts(f);
  });
  writeSeed(dir, "symetrie3d_two", "ERSymetrie3D", [](ERFile& f) {
    ERSymetrie3D(X3D).saveGuts(f);
    ERSymetrie3D(ERVector3D(1.0, 1.0, 0.0)).saveGuts(f);
  });
  // The default object holds the identity matrix, which is not a mirror.
  writeSeed(dir, "symetrie3d_default", "ERSymetrie3D", [](ERFile& f) { ERSymetrie3D().saveGuts(f); });
  writeSeed(dir, "similitude3d", "ERSimilitude3D",
            [&](ERFile& f) { ERSimilitude3D(rotY.getMatrix(), t, 2.0).saveGuts(f); });
  writeSeed(dir, "pm_similitude3d_two", "ERPmSimilitude3D", [&](ERFile& f) {
    ERPmSimilitude3D(ERScaling3D(3.0)).saveGuts(f);
    (ERPmSimilitude3D(ERSymetrie3D(Z3D)) * ERPmSimilitude3D(ERTranslation3D(t))).saveGuts(f);
  });
  writeSeed(dir, "pm_isometrie3d_two", "ERPmIsometrie3D", [&](ERFile& f) {
    ERPmIsometrie3D(ERChgRepere3D(ERVector3D(0.0, 0.0, 1.0), t)).saveGuts(f);
    ERPmIsometrie3D().saveGuts(f);
  });
  return 0;
}
