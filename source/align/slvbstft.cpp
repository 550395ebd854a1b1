// The alignment solvers: the degrees-of-freedom alignment system, the best-fit isometry solver, the
// isometry applier they share with the host entry, and the running statistic series.
#include "velmora/slvbstft.h"

#include <cmath>

#include "velmora/ercommon.h"
#include "velmora/ernewton.h"
#include "velmora/matrix.h"
#include "velmora/pseurot.h"
#include "velmora/transf3d.h"

#define ER_THIS_UNIT "source/align/slvbstft"

namespace {

// Makes room for one more element, doubling the capacity when the vector is full. The storage block
// itself grows by a fixed step, so callers that append one element at a time reserve geometrically to
// keep each append amortised constant time.
template <class Vec>
void reserveForAppend(Vec& v) {
  const unsigned length = v.length();
  if (length == v.capacity()) v.capacity(ERMax(2 * length, 16u));
}

// The sum of point(0), ..., point(n - 1) in index order, coordinate by coordinate, divided by n.
template <class PointAt>
ERPoint3D barycentreOf(unsigned n, PointAt point) {
  ERPoint3D sum;
  for (unsigned i = 0; i < n; ++i) sum += point(i);
  return sum / static_cast<double>(n);
}

// The pairs of a solver, as stored.
struct StoredPairs {
  const ERBestFit_Point3DVec& a;
  const ERBestFit_Point3DVec& b;
  unsigned size() const { return ERMin(a.length(), b.length()); }
  const ERPoint3D& from(unsigned i) const { return a.data()[i]; }
  const ERPoint3D& to(unsigned i) const { return b.data()[i]; }
};

// The Newton solver's limits for the rotation parameters.
const double kNewtonStep = 1e-8;
const double kNewtonRatio = 1e-8;
const double kNewtonEps = 1e-8;
const int kNewtonIterations = 500;
const int kNewtonAttempts = 5;

}  // namespace

// ---------------------------------------------------------------------------------------------
// Point vector

ERPoint3D ERBestFit_Point3DVec::GetBarycentre() const {
  const ERPoint3D* p = data();
  return barycentreOf(length(), [p](unsigned i) { return p[i]; });
}

// ---------------------------------------------------------------------------------------------
// Isometry applier

ERIsometrieApplier::ERIsometrieApplier(const ERPmIsometrie3D& iso)
    : iso(iso), isFrame(iso.getRep()->isA() == ERChgRepere3D::desc()), m(), t(iso.getTrans()) {
  const ERDoubleMatrix matrix = iso.getMatrix();
  for (unsigned i = 0; i < 9; ++i) m[i] = matrix.data()[i];
}

// ---------------------------------------------------------------------------------------------
// Best-fit isometry solver

BestFitSolver::BestFitSolver(int kind) : ERCNewtonMDelta(kNewtonStep), m_NbPt(0), cross(3, 9), scale(1.0) {
  RAZ();
  rotationOf = (kind == 0) ? &rotationOfPseudoVecteur : &rotationOfAngles;
}

void BestFitSolver::RAZ() {
  m_NbPt = 0;
  from = ERPoint3DVec();
  to = ERPoint3DVec();
  scale = 1.0;
}

ERDoubleVec BestFitSolver::rotationOfPseudoVecteur(const ERDoubleVec& x) {
  const ERDoubleMatrix r = ERPseudoVecteurRotation(x).GetMatrix();
  return ERDoubleVec(r.data(), 9);
}

ERDoubleVec BestFitSolver::rotationOfAngles(const ERDoubleVec& x) {
  const double c0 = std::cos(x[0]), s0 = std::sin(x[0]);
  const double c1 = std::cos(x[1]), s1 = std::sin(x[1]);
  const double c2 = std::cos(x[2]), s2 = std::sin(x[2]);
  const double r[9] = {c0 * c1,
                       s1 * s2 * c0 - s0 * c2,
                       s0 * s2 + s1 * c0 * c2,
                       s0 * c1,
                       c0 * c2 + s0 * s1 * s2,
                       s0 * s1 * c2 - s2 * c0,
                       -s1,
                       s2 * c1,
                       c1 * c2};
  return ERDoubleVec(r, 9);
}

ERDoubleVec BestFitSolver::f(const ERDoubleVec& x) { return cross * rotationOf(x); }

ERDoubleVec BestFitSolver::SolutionInitiale() { return ERDoubleVec(3); }

ERPmIsometrie3D BestFitSolver::ConstitueSolution(const ERDoubleVec& x) {
  return constitute(x, from.GetBarycentre(), to.GetBarycentre());
}

ERPmIsometrie3D BestFitSolver::constitute(const ERDoubleVec& x, const ERPoint3D& bFrom,
                                          const ERPoint3D& bTo) const {
  const ERDoubleVec r = rotationOf(x);
  const ERVector3D c0(r[0], r[3], r[6]);
  const ERVector3D c1(r[1], r[4], r[7]);
  const ERPmIsometrie3D rotation(ERChgRepere3D(c0, c1, ERPoint3D()));
  const ERTranslation3D translation(bTo - rotation * bFrom);
  return translation * rotation;
}

void BestFitSolver::AddPoint(const ERPoint3D& a, const ERPoint3D& b) {
  ER_ASSERT_L(m_NbPt >= 0, "m_NbPt>=0", 104);
  reserveForAppend(from);
  from.append(a);
  reserveForAppend(to);
  to.append(b);
  ++m_NbPt;
}

template <class Pairs>
int BestFitSolver::solveRotation(const Pairs& pairs, ERPoint3D& bFrom, ERPoint3D& bTo, ERDoubleVec& x) {
  const unsigned n = pairs.size();
  if (n < 3) return 2;
  bFrom = barycentreOf(n, [&pairs](unsigned i) { return pairs.from(i); });
  bTo = barycentreOf(n, [&pairs](unsigned i) { return pairs.to(i); });
  // The centred points a[i] = from[i] - bFrom and b[i] = to[i] - bTo are formed as they are used.

  // The largest norm is the square root of the largest squared norm: the square root is monotonic and
  // correctly rounded, so this is the same value with one square root instead of one per point.
  double largest2 = 0;
  for (unsigned i = 0; i < n; ++i) largest2 = ERMax(largest2, ERVector3D(pairs.from(i) - bFrom).norme2());
  scale = std::sqrt(largest2);
  if (scale == 0.0) scale = 1.0;

  // The running mean of the cross-product terms, starting from cross as it stands (not zeroed). It is
  // kept in a local copy during the loop so that the compiler need not reload it after every store.
  double* stored = cross.mutableData();  // 3 x 9, row-major
  double c[27];
  for (int k = 0; k < 27; ++k) c[k] = stored[k];
  double keep = 1.0;
  double add = 1.0;
  for (unsigned i = 0; i < n; ++i) {
    const ERPoint3D A = (pairs.from(i) - bFrom) / scale;
    const ERPoint3D B = (pairs.to(i) - bTo) / scale;
    for (int k = 0; k < 3; ++k) {
      const double ak = A[static_cast<Coord3D>(k)];
      c[9 + k] = keep * c[9 + k] + add * B[Z3D] * ak;            // (1, k)
      c[18 + k] = keep * c[18 + k] - add * B[Y3D] * ak;          // (2, k)
      c[k + 3] = keep * c[k + 3] - add * B[Z3D] * ak;            // (0, k + 3)
      c[18 + k + 3] = keep * c[18 + k + 3] + add * B[X3D] * ak;  // (2, k + 3)
      c[k + 6] = keep * c[k + 6] + add * B[Y3D] * ak;            // (0, k + 6)
      c[9 + k + 6] = keep * c[9 + k + 6] - add * B[X3D] * ak;    // (1, k + 6)
    }
    keep = static_cast<double>(i + 1) / static_cast<double>(i + 2);
    add = 1.0 / static_cast<double>(i + 2);
  }
  for (int k = 0; k < 27; ++k) stored[k] = c[k];

  x = SolutionInitiale();
  ERNewtonMSolver solver(this, 3, kNewtonRatio, 400);
  solver.maxIterations = kNewtonIterations;
  for (int attempt = 0; attempt < kNewtonAttempts; ++attempt) {
    const int r = solver.Resoudre(x, kNewtonEps);
    if (r == 0) break;
    if (r == 2) {
      if (attempt > 3) return 2;
      continue;
    }
    if (r == 3 || r == 4) return 3;
    // 1 (residual small, step not yet): try again from the current x.
  }
  // Attempts that ran out without converging leave the current x in use all the same.
  return 0;
}

int BestFitSolver::Resoudre(ERPmIsometrie3D& result) {
  ERPoint3D bFrom, bTo;
  ERDoubleVec x;
  const int code = solveRotation(StoredPairs{from, to}, bFrom, bTo, x);
  if (code != 0) return code;
  result = ConstitueSolution(x);
  return 0;
}

// ---------------------------------------------------------------------------------------------
// Degrees-of-freedom alignment system

DegauLibreSystem::DegauLibreSystem(Type t) {
  RAZ();
  type = t;
}

void DegauLibreSystem::RAZ() {
  from = ERPoint3DVec();
  to = ERPoint3DVec();
}

void DegauLibreSystem::AddPoint(const ERPoint3D& a, const ERPoint3D& b) {
  reserveForAppend(from);
  from.append(a);
  reserveForAppend(to);
  to.append(b);
}

void DegauLibreSystem::AddPoints(const ERBestFit_Point3DVec& a, const ERBestFit_Point3DVec& b) {
  ER_ASSERT_T(a.length() == b.length(), "a.length()==b.length()");
  const unsigned n = ERMin(a.length(), b.length());
  if (from.length() == 0 && to.length() == 0 && a.length() == n && b.length() == n) {
    from = a;  // copy on write: the blocks are shared until one side writes
    to = b;
    return;
  }
  from.capacity(from.length() + n);
  to.capacity(to.length() + n);
  const ERPoint3D* pa = a.data();
  const ERPoint3D* pb = b.data();
  for (unsigned i = 0; i < n; ++i) {
    from.append(pa[i]);
    to.append(pb[i]);
  }
}

void DegauLibreSystem::ResoudreTranslation(ERPmIsometrie3D& result) {
  // Both barycentres of the first set: the zero translation, kept as it is.
  result = ERTranslation3D(from.GetBarycentre() - from.GetBarycentre());
}

ERPmIsometrie3D DegauLibreSystem::SolutionInitiale(const ERBestFit_Point3DVec& a,
                                                   const ERBestFit_Point3DVec& b) {
  const ERChgRepere3D frameA(ERVector3D(a[1] - a[0]), ERVector3D(a[2] - a[0]), a[0]);
  const ERChgRepere3D frameB(ERVector3D(b[1] - b[0]), ERVector3D(b[2] - b[0]), b[0]);
  return frameB * ~frameA;
}

int DegauLibreSystem::Resoudre(ERPmIsometrie3D& result) {
  if (type == Translation) {
    ResoudreTranslation(result);
    return 0;
  }
  const unsigned n = from.length();
  if (n < 3) return 2;
  const ERPoint3D bFrom = from.GetBarycentre();
  const ERPoint3D bTo = to.GetBarycentre();

  // Only the first three centred points take part in the closed form; the others are centred as the
  // refinement takes them.
  const ERBestFit_Point3DVec& cf = from;
  const ERBestFit_Point3DVec& ct = to;
  ERBestFit_Point3DVec leadFrom;
  ERBestFit_Point3DVec leadTo;
  for (unsigned i = 0; i < 3; ++i) {
    leadFrom.append(cf[i] - bFrom);
    leadTo.append(ct[i] - bTo);
  }
  initial = SolutionInitiale(leadFrom, leadTo);

  // The refinement's pairs are initial * (from[i] - bFrom) and to[i] - bTo, computed as the best-fit
  // solver reads them rather than stored in it.
  struct InitialPairs {
    const ERBestFit_Point3DVec& a;
    const ERBestFit_Point3DVec& b;
    ERPoint3D bFrom, bTo;
    ERIsometrieApplier initial;
    unsigned size() const { return ERMin(a.length(), b.length()); }
    ERPoint3D from(unsigned i) const { return initial(a.data()[i] - bFrom); }
    ERPoint3D to(unsigned i) const { return b.data()[i] - bTo; }
  };
  const InitialPairs pairs{from, to, bFrom, bTo, ERIsometrieApplier(initial)};
  BestFitSolver refiner(0);
  ERPoint3D refinedFrom, refinedTo;
  ERDoubleVec x;
  if (refiner.solveRotation(pairs, refinedFrom, refinedTo, x) != 0) return -1;
  const ERPmIsometrie3D refinement = refiner.constitute(x, refinedFrom, refinedTo);

  const ERPmIsometrie3D R = refinement * initial;
  const ERTranslation3D translation(bTo - R * bFrom);
  result = translation * refinement * initial;
  return 0;
}

// ---------------------------------------------------------------------------------------------
// Statistic series

void ERSerieStatistique::Reset() {
  values = ERDoubleVec();
  mean = 0.0;
  variance = 0.0;
  meanSquare = 0.0;
  max = 0.0;
  min = 0.0;
}

void ERSerieStatistique::Add(double x) {
  reserveForAppend(values);
  settleVariance(accumulate(x));
}
