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

// The templated paths read their pairs block by block: a source of pairs has size() and forEachBlock(f),
// which calls f(first, count, from, to) for consecutive blocks in index order, from and to pointing at
// the count points of pairs first, ..., first + count - 1; the sources a full solve starts from also
// read one pair with from(i) and to(i). A block that is worked out on the fly holds at most
// ERPairBlock::capacity pairs.
struct ERPairBlock {
  static constexpr unsigned capacity = 256;
  // Storage only: the points are written before they are read, so none is zero-filled first.
  union {
    ERPoint3D from[capacity];
  };
  union {
    ERPoint3D to[capacity];
  };
  ERPairBlock() {}
};

// The barycentres of the first and of the second points of a source of pairs, each summed in index
// order as ERBarycentreOf does, in one pass over the pairs.
template <class Pairs>
void ERBarycentresOf(const Pairs& pairs, ERPoint3D& bFrom, ERPoint3D& bTo) {
  ERPoint3D sumFrom, sumTo;
  pairs.forEachBlock([&](unsigned, unsigned count, const ERPoint3D* a, const ERPoint3D* b) {
    for (unsigned j = 0; j < count; ++j) {
      sumFrom += a[j];
      sumTo += b[j];
    }
  });
  const double n = static_cast<double>(pairs.size());
  bFrom = sumFrom / n;
  bTo = sumTo / n;
}

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

// The pairs (a[i], b[i]) of two point vectors, as a sequence of pairs for the templated paths: as many
// as the shorter vector holds.
struct ERStoredPairs {
  const ERBestFit_Point3DVec& a;
  const ERBestFit_Point3DVec& b;
  unsigned size() const { return ERMin(a.length(), b.length()); }
  const ERPoint3D& from(unsigned i) const { return a.data()[i]; }
  const ERPoint3D& to(unsigned i) const { return b.data()[i]; }
  template <class F>
  void forEachBlock(F f) const {
    f(0u, size(), a.data(), b.data());
  }
};

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

  // The refinement's pairs: initial * (from(i) - bFrom) and to(i) - bTo, computed as they are read.
  template <class Pairs>
  struct InitialPairs;
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

  // The work of Resoudre on any sequence of pairs (size(), from(i), to(i)), so that pairs computed on
  // the fly need not be stored: leaves the barycentres of both sets and the rotation parameters, and
  // answers Resoudre's code.
  template <class Pairs>
  int solveRotation(const Pairs& pairs, ERPoint3D& bFrom, ERPoint3D& bTo, ERDoubleVec& x);
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
  // The sample variance of a series of n values, from the running means rather than from the stored
  // values (kept as it is); a single value leaves it as it was.
  void settleVariance(double n) {
    if (n > 1) variance = (meanSquare * n - n * mean * mean) / (n - 1);
  }
};

// ---------------------------------------------------------------------------------------------
// The solvers' templated paths, in-line so that any source of pairs can be read in place.

template <class Pairs>
struct DegauLibreSystem::InitialPairs {
  const Pairs& pairs;
  ERPoint3D bFrom, bTo;
  ERIsometrieApplier initial;
  unsigned size() const { return pairs.size(); }
  template <class F>
  void forEachBlock(F f) const {
    ERPairBlock block;
    pairs.forEachBlock([&](unsigned first, unsigned count, const ERPoint3D* a, const ERPoint3D* b) {
      for (unsigned start = 0; start < count; start += ERPairBlock::capacity) {
        const unsigned m = ERMin(ERPairBlock::capacity, count - start);
        for (unsigned j = 0; j < m; ++j) {
          block.from[j] = initial(a[start + j] - bFrom);
          block.to[j] = b[start + j] - bTo;
        }
        f(first + start, m, block.from, block.to);
      }
    });
  }
};

template <class Pairs>
int DegauLibreSystem::solveRigid(const Pairs& pairs, const ERPoint3D& bFrom, const ERPoint3D& bTo,
                                 ERPmIsometrie3D& result) {
  // Only the first three centred points take part in the closed form; the others are centred as the
  // refinement takes them.
  ERBestFit_Point3DVec leadFrom;
  ERBestFit_Point3DVec leadTo;
  for (unsigned i = 0; i < 3; ++i) {
    leadFrom.append(pairs.from(i) - bFrom);
    leadTo.append(pairs.to(i) - bTo);
  }
  initial = SolutionInitiale(leadFrom, leadTo);

  const InitialPairs<Pairs> refined{pairs, bFrom, bTo, ERIsometrieApplier(initial)};
  BestFitSolver refiner(0);
  ERPoint3D refinedFrom, refinedTo;
  ERDoubleVec x;
  if (refiner.solveRotation(refined, refinedFrom, refinedTo, x) != 0) return -1;
  composeSolution(refiner, x, refinedFrom, refinedTo, bFrom, bTo, result);
  return 0;
}

template <class Pairs>
int BestFitSolver::solveRotation(const Pairs& pairs, ERPoint3D& bFrom, ERPoint3D& bTo, ERDoubleVec& x) {
  const unsigned n = pairs.size();
  if (n < 3) return 2;
  ERBarycentresOf(pairs, bFrom, bTo);
  // The centred points a[i] = from[i] - bFrom and b[i] = to[i] - bTo are formed as they are used.

  // The largest norm is the square root of the largest squared norm: the square root is monotonic and
  // correctly rounded, so this is the same value with one square root instead of one per point.
  double largest2 = 0;
  pairs.forEachBlock([&](unsigned, unsigned count, const ERPoint3D* a, const ERPoint3D*) {
    for (unsigned j = 0; j < count; ++j) largest2 = ERMax(largest2, ERVector3D(a[j] - bFrom).norme2());
  });
  scale = std::sqrt(largest2);
  if (scale == 0.0) scale = 1.0;

  // The running mean of the cross-product terms, starting from cross as it stands (not zeroed). Each
  // block works on local copies of the matrix and of the weights, which the compiler can keep in
  // registers since nothing else can write them.
  double* stored = cross.mutableData();  // 3 x 9, row-major
  double c[27];
  for (int k = 0; k < 27; ++k) c[k] = stored[k];
  double keep = 1.0;
  double add = 1.0;
  const double s = scale;
  pairs.forEachBlock([&](unsigned first, unsigned count, const ERPoint3D* a, const ERPoint3D* b) {
    // The 18 entries that move, two to a register: for column group k, u[k] holds (1, k) and (0, k + 6),
    // v[k] holds (2, k) and (0, k + 3), w[k] holds (2, k + 3) and (1, k + 6). A subtracted term is added
    // negated, which is the same operation to the bit.
    ERDoublePair u[3], v[3], w[3];
    for (int k = 0; k < 3; ++k) {
      u[k] = ERDoublePair{c[9 + k], c[k + 6]};
      v[k] = ERDoublePair{c[18 + k], c[k + 3]};
      w[k] = ERDoublePair{c[18 + k + 3], c[9 + k + 6]};
    }
    double kp = keep;
    double ad = add;
    const ERDoublePair scales = {s, s};
    for (unsigned j = 0; j < count; ++j) {
      // A = (a[j] - bFrom) / s and B = (b[j] - bTo) / s, two coordinates a division.
      const ERPoint3D& p = a[j];
      const ERPoint3D& q = b[j];
      const ERDoublePair axy = ERDoublePair{p[X3D] - bFrom[X3D], p[Y3D] - bFrom[Y3D]} / scales;
      const ERDoublePair azbx = ERDoublePair{p[Z3D] - bFrom[Z3D], q[X3D] - bTo[X3D]} / scales;
      const ERDoublePair byz = ERDoublePair{q[Y3D] - bTo[Y3D], q[Z3D] - bTo[Z3D]} / scales;
      const double A[3] = {axy[0], axy[1], azbx[0]};
      const double bx = ad * azbx[1];
      const double by = ad * byz[0];
      const double bz = ad * byz[1];
      const ERDoublePair keepBoth = {kp, kp};
      const ERDoublePair forU = {bz, by};    // + add B.z A[k] into (1, k), + add B.y A[k] into (0, k + 6)
      const ERDoublePair forV = {-by, -bz};  // - add B.y A[k] from (2, k), - add B.z A[k] from (0, k + 3)
      const ERDoublePair forW = {bx, -bx};   // + add B.x A[k] into (2, k + 3), - add B.x A[k] from (1, k + 6)
      for (int k = 0; k < 3; ++k) {
        const ERDoublePair ak = {A[k], A[k]};
        u[k] = keepBoth * u[k] + forU * ak;
        v[k] = keepBoth * v[k] + forV * ak;
        w[k] = keepBoth * w[k] + forW * ak;
      }
      // keep = (i + 1) / (i + 2) and add = 1 / (i + 2) for the next pair, in one division.
      const double next = static_cast<double>(first + j + 2);
      const ERDoublePair weights =
          ERDoublePair{static_cast<double>(first + j + 1), 1.0} / ERDoublePair{next, next};
      kp = weights[0];
      ad = weights[1];
    }
    for (int k = 0; k < 3; ++k) {
      c[9 + k] = u[k][0];
      c[k + 6] = u[k][1];
      c[18 + k] = v[k][0];
      c[k + 3] = v[k][1];
      c[18 + k + 3] = w[k][0];
      c[9 + k + 6] = w[k][1];
    }
    keep = kp;
    add = ad;
  });
  for (int k = 0; k < 27; ++k) stored[k] = c[k];
  return converge(x);
}

#endif
