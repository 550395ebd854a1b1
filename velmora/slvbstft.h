// The alignment solvers: the degrees-of-freedom alignment system that brings one set of points onto
// another, the least-squares best-fit isometry solver that refines its rotation, the point vector they
// share, and the running statistic series of residuals.
#ifndef VELMORA_SLVBSTFT_H
#define VELMORA_SLVBSTFT_H

#include <cmath>

#include "velmora/dblvec.h"
#include "velmora/ercommon.h"
#include "velmora/ernewton.h"
#include "velmora/notempl/matdbl.h"
#include "velmora/notempl/vcpt3d.h"
#include "velmora/transf3d.h"
#include "velmora/vector3d.h"

// The sum of point(0), ..., point(n - 1) in index order, coordinate by coordinate, divided by n.
template <class PointAt>
ERPoint3D ERBarycentreOf(unsigned n, PointAt point) {
  ERPoint3D sum;
  for (unsigned i = 0; i < n; ++i) sum += point(i);
  return sum / static_cast<double>(n);
}

// Two doubles worked on together, in one instruction where the target has vector registers. Each lane
// is rounded as the scalar operation rounds it, so the results are those of two scalar operations, bit
// for bit; the per-pair loops use it to halve the number of divisions.
typedef double ERDoublePair __attribute__((vector_size(16)));

// A point vector with its barycentre.
class ERBestFit_Point3DVec : public ERPoint3DVec {
 public:
  using ERPoint3DVec::ERPoint3DVec;
  using ERPoint3DVec::operator=;
  ERBestFit_Point3DVec() = default;

  // The sum of the points, coordinate by coordinate in index order, divided by their number; not a
  // number for an empty vector.
  ERPoint3D GetBarycentre() const;
};

// A source of pairs, as the solvers' templated paths read them: size(), from(i) and to(i) for the two
// points of pair i, and forEachBlock. Here the pairs (a[i], b[i]) of two point vectors, as many as the
// shorter one holds.
struct ERStoredPairs {
  const ERBestFit_Point3DVec& a;
  const ERBestFit_Point3DVec& b;
  unsigned size() const { return ERMin(a.length(), b.length()); }
  const ERPoint3D& from(unsigned i) const { return a.data()[i]; }
  const ERPoint3D& to(unsigned i) const { return b.data()[i]; }
  // f(first, count, from, to) for the consecutive blocks of pairs: here one block of every pair.
  template <class F>
  void forEachBlock(F f) const {
    f(0u, size(), a.data(), b.data());
  }
};

// The pairs a solver's pass works on, made from a source of pairs (defined with the passes).
struct ERPairCentring;

// The interface of every transformation solver: collect pairs, solve, reset. Solvers are local objects
// and are never deleted through this base.
class TransfoSolver {
 public:
  virtual void AddPoint(const ERPoint3D& from, const ERPoint3D& to) = 0;
  // 0 on success, when result is written; otherwise a solver-specific code and result is untouched.
  virtual int Resoudre(ERPmIsometrie3D& result) = 0;
  virtual void RAZ() = 0;

 protected:
  TransfoSolver() = default;
  TransfoSolver(const TransfoSolver&) = default;
  TransfoSolver& operator=(const TransfoSolver&) = default;
  ~TransfoSolver() = default;
};

// The isometry that brings the first point of each pair onto the second. In the full rigid mode both
// sets are centred on their barycentres, a closed-form rotation is built from changes of frame on the
// first three points of each set, refined by least squares (BestFitSolver), and the translation between
// the barycentres restored. The pairs stay until RAZ; Resoudre may be called again. The fields are
// public and read by callers after Resoudre.
class BestFitSolver;

class DegauLibreSystem : public TransfoSolver {
 public:
  // The degrees of freedom solved. Every value other than Translation solves the full rigid motion.
  enum Type : int {
    Translation = 2,  // translation only
    Isometrie = 3     // rotation and translation
  };

  explicit DegauLibreSystem(Type t);

  // Appends a to from and b to to (each append amortised constant time).
  void AddPoint(const ERPoint3D& a, const ERPoint3D& b) override;
  // Adds the pairs (a[i], b[i]) in index order, as AddPoint would one by one; an empty system shares the
  // storage of a and b instead of copying it. Reports "a.length()==b.length()" and then takes the pairs
  // the shorter one holds.
  void AddPoints(const ERBestFit_Point3DVec& a, const ERBestFit_Point3DVec& b);
  // 0 on success (result written); 2 with fewer than three pairs in the full mode; -1 when the best-fit
  // refinement fails. The translation-only mode always answers 0.
  int Resoudre(ERPmIsometrie3D& result) override;
  // Empties both sets; type and initial are kept.
  void RAZ() override;

  // The translation between the barycentres of from and of from again: always the zero translation,
  // whatever the points. Kept on purpose.
  void ResoudreTranslation(ERPmIsometrie3D& result);

  ERBestFit_Point3DVec from;  // the points to be moved
  ERBestFit_Point3DVec to;    // the points they must reach
  Type type;
  ERPmIsometrie3D initial;  // the closed-form rotation of the last full solve

 private:
  friend class velAlign;

  // frameB * ~frameA for the frames of the first three points of each set: a point of a is expressed in
  // the frame of a and carried out of the frame of b. Collinear leading points are not detected here.
  ERPmIsometrie3D SolutionInitiale(const ERBestFit_Point3DVec& a, const ERBestFit_Point3DVec& b);

  // The full rigid solve of Resoudre on any sequence of at least three pairs (size(), from(i), to(i))
  // whose barycentres bFrom and bTo are known, so that pairs read in place need not be copied: sets
  // initial, answers Resoudre's code and writes result on 0.
  template <class Pairs>
  int solveRigid(const Pairs& pairs, const ERPoint3D& bFrom, const ERPoint3D& bTo, ERPmIsometrie3D& result);
  // The last step of the full solve: the refinement of x after initial, with the translation between
  // the barycentres bFrom and bTo restored.
  void composeSolution(const BestFitSolver& refiner, const ERDoubleVec& x, const ERPoint3D& refinedFrom,
                       const ERPoint3D& refinedTo, const ERPoint3D& bFrom, const ERPoint3D& bTo,
                       ERPmIsometrie3D& result) const;
};

// The least-squares rotation between two point sets, with the translation between their barycentres.
// The rotation has three parameters (a rotation pseudo-vector, or three axis angles); the solver is at
// once the function object of the Newton solver: f(x) = cross * rotationOf(x), the mean over the pairs of
// B x R(x) A for the centred, scaled points A and B, which vanishes at the least-squares rotation. Its
// Jacobian is the numerical one of ERCNewtonMDelta, with step 1e-8. The iteration starts at the identity
// rotation: the solver refines sets that are already nearly aligned (the alignment system first applies
// its closed-form estimate), and may fail on sets far apart. The fields are public.
class BestFitSolver : public TransfoSolver, public ERCNewtonMDelta {
 public:
  // kind 0: the parameters are a rotation pseudo-vector; any other value: angles about z, y and x.
  explicit BestFitSolver(int kind);
  ~BestFitSolver() = default;

  // Asserts "m_NbPt>=0", then appends the pair (amortised constant time).
  void AddPoint(const ERPoint3D& a, const ERPoint3D& b) override;
  // 0 on success (result written); 2 with fewer than three pairs or when the Newton solver stops at its
  // iteration limit on the last attempt; 3 when it reports a too small or singular Jacobian.
  int Resoudre(ERPmIsometrie3D& result) override;
  // No pairs, scale 1.0; cross keeps its content.
  void RAZ() override;

  // cross * rotationOf(x): three components.
  ERDoubleVec f(const ERDoubleVec& x) override;

  ERBestFit_Point3DVec from;
  ERBestFit_Point3DVec to;
  int m_NbPt;
  // The running mean of the per-pair cross-product terms (3 x 9), built by Resoudre. It is not cleared
  // between solves: a second Resoudre starts from the previous content, weighted 1.0 for its first pair.
  ERDoubleMatrix cross;
  double scale;  // the largest distance of a point of from to its barycentre; 1.0 when that is 0.0
  // The 9 entries, row-major, of the rotation matrix of the parameters x.
  ERDoubleVec (*rotationOf)(const ERDoubleVec& x);

  // The two parametrisations. The pseudo-vector: the matrix of ERPseudoVecteurRotation(x). The angles:
  // Rz(x0) Ry(x1) Rx(x2).
  static ERDoubleVec rotationOfPseudoVecteur(const ERDoubleVec& x);
  static ERDoubleVec rotationOfAngles(const ERDoubleVec& x);

 private:
  friend class DegauLibreSystem;

  // The start of the iteration: three zeros, the identity rotation.
  virtual ERDoubleVec SolutionInitiale();
  // The rotation of x, rebuilt as a change of frame from its first two columns, followed by the
  // translation between the barycentres.
  virtual ERPmIsometrie3D ConstitueSolution(const ERDoubleVec& x);

  // The work of Resoudre on the pairs made by centring from a source of pairs, so that pairs computed
  // on the fly need not be stored: leaves the barycentres of both sets and the rotation parameters, and
  // answers Resoudre's code.
  template <class Pairs>
  int solveRotation(const Pairs& pairs, const ERPairCentring& centring, ERPoint3D& bFrom, ERPoint3D& bTo,
                    ERDoubleVec& x);
  // The Newton attempts from SolutionInitiale on the function cross * rotationOf(x): leaves the
  // parameters in x and answers Resoudre's code.
  int converge(ERDoubleVec& x);
  // ConstitueSolution for the given barycentres.
  ERPmIsometrie3D constitute(const ERDoubleVec& x, const ERPoint3D& bFrom, const ERPoint3D& bTo) const;
};

// An isometry handle taken apart once, to be applied to many points without a virtual call per point.
// For a change of frame, which is what the alignment solvers produce, the arithmetic is the change of
// frame's own, M.p + O in the same order, so the results are those of iso * p bit for bit; any other
// representation is applied through the handle.
class ERIsometrieApplier {
 public:
  explicit ERIsometrieApplier(const ERPmIsometrie3D& iso);

  ERPoint3D operator()(const ERPoint3D& p) const {
    if (!isFrame) return iso * p;
    return ERPoint3D(m[0] * p[X3D] + m[1] * p[Y3D] + m[2] * p[Z3D],
                     m[3] * p[X3D] + m[4] * p[Y3D] + m[5] * p[Z3D],
                     m[6] * p[X3D] + m[7] * p[Y3D] + m[8] * p[Z3D]) +
           t;
  }

 private:
  // The per-pair passes take the matrix and origin over, to apply them many points at a time.
  friend struct ERPassFrame;

  ERPmIsometrie3D iso;
  bool isFrame;
  double m[9];
  ERPoint3D t;
};

// A series of doubles with its running mean, mean of squares, sample variance (divisor n - 1), minimum
// and maximum, all kept up to date by Add. It has no constructor of its own: the five doubles hold
// nothing meaningful until Reset, which every user calls first.
class ERSerieStatistique {
 public:
  // Empties the series and sets the five statistics to 0.0.
  void Reset();
  // Appends x (amortised constant time) and updates the statistics incrementally from their previous
  // values.
  void Add(double x);
  // Adds value(0), ..., value(n - 1) in that order: the same series, to the bit, as n calls of Add. The
  // variance, which each Add overwrites from the running means, is worked out once from the last state.
  template <class ValueAt>
  void AddEach(unsigned int n, ValueAt value) {
    if (n == 0) return;
    if (values.capacity() < values.length() + n) values.capacity(values.length() + n);
    double count = 0.0;
    for (unsigned int i = 0; i < n; ++i) count = accumulate(value(i));
    settleVariance(count);
  }

  ERDoubleVec values;  // every value added, in order
  double mean;
  double variance;
  double meanSquare;
  double min;
  double max;

 private:
  // Appends x and updates the means, the minimum and the maximum; returns the new count.
  double accumulate(double x) {
    values.append(x);
    const double n = values.length();
    const double w = (n - 1) / n;
    const ERDoublePair shares = ERDoublePair{x, x * x} / ERDoublePair{n, n};  // x / n and x * x / n
    mean = shares[0] + mean * w;
    meanSquare = shares[1] + meanSquare * w;
    if (n <= 1) {
      max = x;
      min = x;
    } else {
      max = ERMax(max, x);
      min = ERMin(min, x);
    }
    return n;
  }

 public:
  // The sample variance of a series of n values, from the running means rather than from the stored
  // values (kept as it is); a single value leaves it as it was. For code that updates the running
  // fields itself, as Add does.
  void settleVariance(double n) {
    if (n > 1) variance = (meanSquare * n - n * mean * mean) / (n - 1);
  }
};

// The widest vectors, in doubles, the solvers' per-pair passes may use: 0 (the default) lets the
// processor decide (8 with AVX-512, 4 with AVX2, 2 otherwise); 2, 4 or 8 caps the width, never beyond
// what the processor offers. Every width gives the same results to the bit; the setting is for
// measuring and testing them. Answers the width now in use.
unsigned ERSetVectorWidth(unsigned widest);

#endif
