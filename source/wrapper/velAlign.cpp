// The host-facing entry: reads the host's interleaved point pairs, runs the rigid alignment and writes
// the rotation and translation into the host's transform, with the mean residual distance. The only
// unit of the library that touches the host's geometry and utility libraries.
#include "velmora/velAlign.h"

#include "velmora/host.h"
#include "velmora/slvbstft.h"
#include "velmora/transf3d.h"
#include "velmora/vector3d.h"

namespace {

const char kUnit[] = "source/wrapper/velAlign";

// The array's element count, read after the array's own validity check, as every read of it is.
int checkedCount(const giPoint3coPageArr& points) {
  utCheckValid().check_ok(&points, GI_PAGEARR_HEADER, GI_PAGEARR_CHECK_LINE);
  return points.count();
}

// 1 when some triple of the points first, first + 2, first + 4, ... defines a plane normal; the triples
// are tried in index order and the search stops at the first that does.
int hasNonCollinearTriple(const giPoint3coPageArr& points, int first) {
  giVector3 normal;
  for (int i = first; i < checkedCount(points); i += 2)
    for (int j = i + 2; j < checkedCount(points); j += 2)
      for (int k = j + 2; k < checkedCount(points); k += 2)
        if (ccMath::calc_norm_3pt(points[i], points[j], points[k], normal) != 0) return 1;
  return 0;
}

// The host point as a library point; the coordinates are read z first, each through the host's checked
// accessor, which reports an invalid point and answers its stored value all the same.
ERPoint3D toPoint(const giPoint3& p) {
  const double z = p.z();
  const double y = p.y();
  const double x = p.x();
  return ERPoint3D(x, y, z);
}

}  // namespace

int velAlign::calc_align_transform(const giPoint3coPageArr& points, giXform3& xform, double& error) {
  const int count = checkedCount(points);
  // Reported, not refused: an odd count above 6 can still be aligned without its last point.
  if (count < 6 || count % 2 != 0)
    ut_report_assert_failure(
        kUnit, 57,
        "argument out of range | velAlign::calc_align_transform - invalid number of points "
        "for alignment");

  if (!hasNonCollinearTriple(points, 0)) return 0;
  if (!hasNonCollinearTriple(points, 1)) return 0;

  ERBestFit_Point3DVec first;
  ERBestFit_Point3DVec second;
  first.capacity(static_cast<unsigned>(count / 2));
  second.capacity(static_cast<unsigned>(count / 2));
  for (int k = 0; k < checkedCount(points) - 1; k += 2) {
    first.append(toPoint(points[k]));
    second.append(toPoint(points[k + 1]));
  }

  ERPmIsometrie3D isometry;
  DegauLibreSystem system(DegauLibreSystem::Isometrie);
  system.AddPoints(first, second);  // every pair in index order
  if (system.Resoudre(isometry) != 0) return 0;

  const unsigned pairs = first.length();
  const ERPoint3D* from = first.data();
  const ERPoint3D* to = second.data();
  ERSerieStatistique residuals;
  residuals.Reset();
  const ERIsometrieApplier apply(isometry);
  residuals.AddEach(pairs, [&](unsigned i) { return distance(to[i], apply(from[i])); });
  error = residuals.mean;

  const ERDoubleMatrix m = isometry.getMatrix();
  for (int row = 0; row < 3; ++row)
    for (int col = 0; col < 3; ++col)
      giXform3Acc::access(&xform)->set_matrix_value(
          row, col, m(static_cast<unsigned>(row), static_cast<unsigned>(col)));

  const ERPoint3D t = isometry.getTrans();
  const giVector3 shift(t[X3D], t[Y3D], t[Z3D]);
  {
    const giXform3 translation(giXformTranslate, shift);
    xform.premultiply(translation);
  }
  return 1;
}
