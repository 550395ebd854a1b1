// The host-facing entry: reads the host's interleaved point pairs, runs the rigid alignment and writes
// the rotation and translation into the host's transform, with the mean residual distance. The only
// unit of the library that touches the host's geometry and utility libraries.
#include "velmora/velAlign.h"

#include <new>
#include <type_traits>

#include "../align/pairpasses.h"
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

// The host keeps its points one after another, three doubles each, so that pair i is the six doubles
// from 6i of the array's storage: the passes read them there, in place of the accessors, once every
// point is known to be valid (a valid point's accessors answer its stored coordinates and report nothing).
static_assert(sizeof(giPoint3) == 3 * sizeof(double) && std::is_standard_layout<giPoint3>::value,
              "a host point is three doubles");

// The pairs of the host array: pair i is (points[2i], points[2i + 1]), each point read as the conversion
// reads it. Read only once every point is known to be valid (see ERGatherPairs), so that no read reports.
// The pairs are handed to the passes block by block, at most 256 at a time, each block gathered into
// rows on the stack first, or all at once from the rows of every pair when they were gathered before.
struct HostPairs {
  const giPoint3coPageArr& points;
  unsigned n;
  const double* rows;  // the rows of every pair, or null
  unsigned size() const { return n; }
  ERPoint3D from(unsigned i) const { return validPoint(points[static_cast<int>(2 * i)]); }
  ERPoint3D to(unsigned i) const { return validPoint(points[static_cast<int>(2 * i + 1)]); }
  const double* coordinates() const { return reinterpret_cast<const double*>(&points[0]); }
  template <class F>
  void forEachBlock(F f) const {
    if (rows) {
      f(0u, n, ERPairSource{rows, nullptr, nullptr});
      return;
    }
    static constexpr unsigned capacity = 256;
    alignas(64) double block[6 * capacity];
    for (unsigned start = 0; start < n; start += capacity) {
      const unsigned m = ERMin(capacity, n - start);
      ERGatherPairs(coordinates() + 6 * start, m, block, nullptr);
      f(start, m, ERPairSource{block, nullptr, nullptr});
    }
  }
};

// Storage for rows, not zero-filled: every double is written before it is read.
struct RowStorage {
  explicit RowStorage(unsigned length)
      : data(length ? static_cast<double*>(::operator new[](length * sizeof(double), std::align_val_t(64)))
                    : nullptr) {}
  ~RowStorage() {
    if (data) ::operator delete[](data, std::align_val_t(64));
  }
  RowStorage(const RowStorage&) = delete;
  RowStorage& operator=(const RowStorage&) = delete;
  double* const data;
};

// Up to this many pairs, the entry gathers the host pairs once into rows that every later pass reads;
// above it, each pass gathers them again block by block, so that no array of the size of the input is
// made.
const unsigned kGatheredPairs = 1u << 17;

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
  // The pairs are the points below count - 1, as the conversion reads them.
  const unsigned n = static_cast<unsigned>(count / 2);
  const bool gathered = n <= kGatheredPairs;
  const RowStorage rows(gathered ? ERRowsLength(n) : 0u);
  const HostPairs pairs{points, n, rows.data};
  // The validity of every point and the sums of both sets in pair order, as the conversion and the
  // system's barycentres would see them.
  double sum[6] = {0, 0, 0, 0, 0, 0};
  unsigned valid = 0;
  if (n != 0) valid = ERGatherPairs(pairs.coordinates(), n, rows.data, sum);
  if (valid == n) {
    // Nothing to report: the conversion's values, and the barycentres as the system sums them.
    if (n < 3) return 0;
    const ERPoint3D bFrom = ERPoint3D(sum[0], sum[1], sum[2]) / static_cast<double>(n);
    const ERPoint3D bTo = ERPoint3D(sum[3], sum[4], sum[5]) / static_cast<double>(n);
    if (system.solveRigid(pairs, bFrom, bTo, isometry) != 0) return 0;
    // The mean of the residual series, its only figure the entry hands back.
    error = ERMeanResidual(pairs, isometry);
  } else {
    // The conversion copies the pairs before the first one holding an invalid point without a report,
    // then goes on from it, reporting every invalid point coordinate by coordinate in pair order.
    ERBestFit_Point3DVec first, second;
    first.capacity(n);
    second.capacity(n);
    for (unsigned i = 0; i < valid; ++i) {
      first.append(pairs.from(i));
      second.append(pairs.to(i));
    }
    for (int k = 2 * static_cast<int>(valid); k < checkedCount(points) - 1; k += 2) {
      first.append(toPoint(points[k]));
      second.append(toPoint(points[k + 1]));
    }
    system.AddPoints(first, second);  // every pair in index order
    if (system.Resoudre(isometry) != 0) return 0;
    ERSerieStatistique residuals;
    ERAddResiduals(ERStoredPairs{first, second}, isometry, residuals);
    error = residuals.mean;
  }
  writeTransform(isometry, xform);
  return 1;
}
