// The alignment solvers: the degrees-of-freedom alignment system, the best-fit isometry solver, the
// isometry applier they share with the host entry, and the running statistic series.
#include "velmora/slvbstft.h"

#include <cmath>

#include "velmora/ercommon.h"
#include "velmora/ernewton.h"
#include "velmora/matrix.h"
#include "velmora/pseurot.h"
#include "velmora/transf3d.h"
#include "pairpasses.h"

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
  return ERBarycentreOf(length(), [p](unsigned i) { return p[i]; });
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
  double r[9];
  ERPseudoVecteurRotation(x).matrixElements(r);
  return ERDoubleVec(r, 9);
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

int BestFitSolver::converge(ERDoubleVec& x) {
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
  const int code = solveRotation(ERStoredPairs{from, to}, ERPairCentring{nullptr, {}, {}}, bFrom,
                                 bTo, x);
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
  if (from.length() < 3) return 2;
  // The closed form reads the first three points of each set; a shorter to is reported as its checked
  // read reports it, and the solve goes on as after that read.
  for (unsigned i = to.length(); i < 3; ++i) static_cast<void>(to[i]);
  const ERStoredPairs pairs{from, to};
  if (from.length() != to.length()) return solveRigid(pairs, from.GetBarycentre(), to.GetBarycentre(), result);
  // Both barycentres in one pass, each summed in index order as GetBarycentre sums it.
  double sum[6] = {0, 0, 0, 0, 0, 0};
  ER_PAIR_PASS(sumCentred(ERSourceOf(from.data(), to.data()), pairs.size(), ERPairCentring{nullptr, {}, {}}, sum));
  const double n = static_cast<double>(pairs.size());
  return solveRigid(pairs, ERPoint3D(sum[0], sum[1], sum[2]) / n, ERPoint3D(sum[3], sum[4], sum[5]) / n, result);
}

void DegauLibreSystem::composeSolution(const BestFitSolver& refiner, const ERDoubleVec& x,
                                       const ERPoint3D& refinedFrom, const ERPoint3D& refinedTo,
                                       const ERPoint3D& bFrom, const ERPoint3D& bTo,
                                       ERPmIsometrie3D& result) const {
  const ERPmIsometrie3D refinement = refiner.constitute(x, refinedFrom, refinedTo);
  const ERPmIsometrie3D R = refinement * initial;
  const ERTranslation3D translation(bTo - R * bFrom);
  result = translation * refinement * initial;
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
