// The host-facing entry: reads the host's interleaved point pairs, runs the rigid alignment and writes
// the rotation and translation into the host's transform, with the mean residual distance. The only
// unit of the library that touches the host's geometry and utility libraries.
#include "velmora/velAlign.h"

#include "velmora/host.h"
#include "velmora/slvbstft.h"
#include "velmora/transf3d.h"
#include "velmora/vector3d.h"
#include "../align/pairpasses.h"

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
[[gnu::always_inline]] inline ERPoint3D toPoint(const giPoint3& p) {
  const double z = p.z();
  const double y = p.y();
  const double x = p.x();
  return ERPoint3D(x, y, z);
}

// A point known to be valid, read as toPoint reads it. Telling the compiler that the point is valid lets
// it drop the accessors' own tests, which can then never report.
[[gnu::always_inline]] inline ERPoint3D validPoint(const giPoint3& p) {
  if (p.invalid()) __builtin_unreachable();
  return toPoint(p);
}

// The pairs of the host array read in place: pair i is (points[2i], points[2i + 1]), each point read as
// the conversion reads it. Read only once every point is known to be valid (see sumValidPairs), so that
// no read reports.
struct HostPairs {
  const giPoint3coPageArr& points;
  unsigned n;
  unsigned size() const { return n; }
  ERPoint3D from(unsigned i) const { return validPoint(points[static_cast<int>(2 * i)]); }
  ERPoint3D to(unsigned i) const { return validPoint(points[static_cast<int>(2 * i + 1)]); }
  // Copies the pairs block by block, at most 256 at a time, and hands each block to f(first, count,
  // from, to).
  template <class F>
  void forEachBlock(F f) const {
    static constexpr unsigned capacity = 256;
    // Storage only: the points are written before they are read, so none is zero-filled first.
    union Block {
      Block() {}
      ERPoint3D points[capacity];
    } from, to;
    for (unsigned start = 0; start < n; start += capacity) {
      const unsigned m = ERMin(capacity, n - start);
      for (unsigned j = 0; j < m; ++j) {
        const int k = static_cast<int>(2 * (start + j));
        from.points[j] = validPoint(points[k]);
        to.points[j] = validPoint(points[k + 1]);
      }
      f(start, m, from.points, to.points);
    }
  }
};

// The sums, in pair order, of the first points (sum[0..2]) and of the second points (sum[3..5]) of the
// host pairs, each pair also handed to keep(from, to); 0, with the sums to be thrown away, at the first
// pair holding an invalid point, which is not handed on.
template <class Keep>
int sumValidPairs(const HostPairs& pairs, double sum[6], Keep keep) {
  // Two coordinates to a register, each lane summed in pair order as a scalar sum would be.
  ERDoublePair s01 = {0, 0}, s23 = {0, 0}, s45 = {0, 0};
  for (unsigned i = 0; i < pairs.n; ++i) {
    const giPoint3& a = pairs.points[static_cast<int>(2 * i)];
    const giPoint3& b = pairs.points[static_cast<int>(2 * i + 1)];
    if (a.invalid() || b.invalid()) return 0;
    const ERPoint3D p = validPoint(a), q = validPoint(b);
    keep(p, q);
    s01 += ERDoublePair{p[X3D], p[Y3D]};
    s23 += ERDoublePair{p[Z3D], q[X3D]};
    s45 += ERDoublePair{q[Y3D], q[Z3D]};
  }
  const double s[6] = {s01[0], s01[1], s23[0], s23[1], s45[0], s45[1]};
  for (int k = 0; k < 6; ++k) sum[k] = s[k];
  return 1;
}

// Up to this many pairs, the entry copies the host points once into the library's own vectors (what the
// conversion does) and every later pass reads them there; above it, the pairs are read in place, block
// by block, so that no array of the size of the input is made.
const unsigned kCopiedPairs = 1u << 17;

// The solved isometry written to the host's transform: its linear block
// overwritten, then premultiplied by the translation.
void writeTransform(const ERPmIsometrie3D& isometry, giXform3& xform) {
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

  ERPmIsometrie3D isometry;
  DegauLibreSystem system(DegauLibreSystem::Isometrie);
  ERSerieStatistique residuals;
  // The pairs are the points below count - 1, as the conversion reads them.
  const HostPairs pairs{points, static_cast<unsigned>(count / 2)};
  const bool copied = pairs.size() <= kCopiedPairs;
  // Zero-filled in one go, then overwritten pair by pair.
  ERBestFit_Point3DVec first(copied ? pairs.size() : 0u);
  ERBestFit_Point3DVec second(copied ? pairs.size() : 0u);
  double sum[6];
  int valid;
  if (copied) {
    ERPoint3D* a = pairs.size() != 0 ? &first[0] : nullptr;
    ERPoint3D* b = pairs.size() != 0 ? &second[0] : nullptr;
    unsigned kept = 0;
    valid = sumValidPairs(pairs, sum, [&](const ERPoint3D& p, const ERPoint3D& q) {
      a[kept] = p;
      b[kept] = q;
      ++kept;
    });
    first.troncat(kept);
    second.troncat(kept);
  } else {
    valid = sumValidPairs(pairs, sum, [](const ERPoint3D&, const ERPoint3D&) {});
  }
  if (valid) {
    // Nothing to report: the conversion's values, and the barycentres as the system sums them.
    if (pairs.size() < 3) return 0;
    const double n = static_cast<double>(pairs.size());
    const ERPoint3D bFrom = ERPoint3D(sum[0], sum[1], sum[2]) / n;
    const ERPoint3D bTo = ERPoint3D(sum[3], sum[4], sum[5]) / n;
    residuals.Reset();
    if (copied) {
      const ERStoredPairs stored{first, second};
      if (system.solveRigid(stored, bFrom, bTo, isometry) != 0) return 0;
      ERAddResiduals(stored, isometry, residuals);
    } else {
      if (system.solveRigid(pairs, bFrom, bTo, isometry) != 0) return 0;
      ERAddResiduals(pairs, isometry, residuals);
    }
  } else {
    // The conversion goes on from the first pair holding an invalid point, reporting every invalid point
    // coordinate by coordinate in pair order; the pairs before it were copied without a report.
    first.capacity(static_cast<unsigned>(count / 2));
    second.capacity(static_cast<unsigned>(count / 2));
    for (int k = 2 * static_cast<int>(first.length()); k < checkedCount(points) - 1; k += 2) {
      first.append(toPoint(points[k]));
      second.append(toPoint(points[k + 1]));
    }
    system.AddPoints(first, second);  // every pair in index order
    if (system.Resoudre(isometry) != 0) return 0;
    residuals.Reset();
    ERAddResiduals(ERStoredPairs{first, second}, isometry, residuals);
  }
  error = residuals.mean;
  writeTransform(isometry, xform);
  return 1;
}
