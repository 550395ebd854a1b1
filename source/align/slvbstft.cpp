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
  ERPoint3D sum;
  const ERPoint3D* p = data();
  const unsigned n = length();
  for (unsigned i = 0; i < n; ++i) sum += p[i];
  return sum / static_cast<double>(n);
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
  const ERDoubleVec r = rotationOf(x);
  const ERVector3D c0(r[0], r[3], r[6]);
  const ERVector3D c1(r[1], r[4], r[7]);
  const ERPmIsometrie3D rotation(ERChgRepere3D(c0, c1, ERPoint3D()));
  const ERTranslation3D translation(to.GetBarycentre() - rotation * from.GetBarycentre());
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

int BestFitSolver::Resoudre(ERPmIsometrie3D& result) {
  const unsigned n = from.length();
  if (n < 3) return 2;
  const ERPoint3D bFrom = from.GetBarycentre();
  const ERPoint3D bTo = to.GetBarycentre();
  // The centred points a[i] = from[i] - bFrom and b[i] = to[i] - bTo are formed as they are used.
  const ERPoint3D* pFrom = from.data();
  const ERPoint3D* pTo = to.data();

  scale = 0;
  for (unsigned i = 0; i < n; ++i) scale = ERMax(scale, ERVector3D(pFrom[i] - bFrom).norme());
  if (scale == 0.0) scale = 1.0;

  // The running mean of the cross-product terms, starting from cross as it stands (not zeroed).
  double* c = cross.mutableData();  // 3 x 9, row-major
  double keep = 1.0;
  double add = 1.0;
  for (unsigned i = 0; i < n; ++i) {
    const ERPoint3D A = (pFrom[i] - bFrom) / scale;
    const ERPoint3D B = (pTo[i] - bTo) / scale;
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

  ERDoubleVec x = SolutionInitiale();
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

  BestFitSolver refiner(0);
  refiner.from.capacity(n);  // one block each for the n pairs
  refiner.to.capacity(n);
  const ERIsometrieApplier applyInitial(initial);
  for (unsigned i = 0; i < n; ++i) refiner.AddPoint(applyInitial(cf[i] - bFrom), ct[i] - bTo);
  ERPmIsometrie3D refinement;
  if (refiner.Resoudre(refinement) != 0) return -1;

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
  values.append(x);
  const double n = values.length();
  const double w = (n - 1) / n;
  mean = x / n + mean * w;
  meanSquare = x * x / n + meanSquare * w;
  if (n <= 1) {
    max = x;
    min = x;
  } else {
    // From the running mean of squares, not from the stored values: kept as it is.
    variance = (meanSquare * n - n * mean * mean) / (n - 1);
    max = ERMax(max, x);
    min = ERMin(min, x);
  }
}
