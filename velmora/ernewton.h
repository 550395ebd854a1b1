// Newton-Raphson solvers for one equation in one unknown and for systems of equations. Each solver is
// driven by a function object that supplies the function and, unless a numerical variant is used, its
// derivative; the solvers report their outcome as integer codes, never by exception.
#ifndef VELMORA_ERNEWTON_H
#define VELMORA_ERNEWTON_H

#include "velmora/dblvec.h"
#include "velmora/notempl/matdbl.h"

// ---------------------------------------------------------------------------------------------
// Function objects

// A scalar function with its derivative. Function objects are owned by the caller and never deleted
// through these bases.
class ERCNewtonS {
 public:
  virtual double f(double x) = 0;
  virtual double fprime(double x) = 0;

 protected:
  ~ERCNewtonS() = default;
};

// A scalar function whose derivative is the central difference (f(x + delta) - f(x - delta)) / 2 / delta.
class ERCNewtonSDelta : public ERCNewtonS {
 public:
  explicit ERCNewtonSDelta(double delta) : delta(delta) {}
  double fprime(double x) override;

  double delta;

 protected:
  ~ERCNewtonSDelta() = default;
};

// A vector function of a vector with its Jacobian (rows: components of f, columns: components of x).
class ERCNewtonM {
 public:
  virtual ERDoubleVec f(const ERDoubleVec& x) = 0;
  virtual ERDoubleMatrix fprime(const ERDoubleVec& x) = 0;

 protected:
  ~ERCNewtonM() = default;
};

// A vector function whose Jacobian is taken by central differences of step delta, column by column, and
// then symmetrised: the Jacobian returned is always symmetric, which suits gradients (ERCNewtonH) and is
// kept for every user on purpose.
class ERCNewtonMDelta : public ERCNewtonM {
 public:
  explicit ERCNewtonMDelta(double delta) : delta(delta) {}
  ERDoubleMatrix fprime(const ERDoubleVec& x) override;

  double delta;

 protected:
  ~ERCNewtonMDelta() = default;
};

// A scalar function H to minimise: f is its gradient by forward differences of step delta, fprime the
// symmetrised central-difference Jacobian of that gradient. HDomaine says whether a point is admissible
// for the damping of ERNewtonMSolverEx (non-zero: outside the preferred domain); by default it answers 1.
class ERCNewtonH : public ERCNewtonMDelta {
 public:
  explicit ERCNewtonH(double delta) : ERCNewtonMDelta(delta) {}
  ERDoubleVec f(const ERDoubleVec& x) override;
  virtual double H(const ERDoubleVec& x) = 0;
  virtual int HDomaine(const ERDoubleVec& x);

 protected:
  ~ERCNewtonH() = default;
};

// ---------------------------------------------------------------------------------------------
// Solvers
//
// Return codes of ERNewtonSSolver, ERNewtonMSolver and ERNewtonMSolverEx, also left in status:
// 0 converged (residual within eps and last step within eps relative to the iterate), 1 residual within
// eps but the last step was larger, 2 iteration limit reached, 3 derivative too small against the
// residual (ratio test), 4 singular Jacobian. In every solver x carries the start in and the solution out.

// Newton's method on one equation. It has no constructor: the caller fills function, maxIterations and
// ratio before calling Resoudre; the other fields are results.
class ERNewtonSSolver {
 public:
  int Resoudre(double& x, double eps);

  int status;
  int iterations;
  ERCNewtonS* function;
  double xPrev;
  double fx;
  int maxIterations;
  double dfx;
  double ratio;
};

// Newton's method on n equations in n unknowns, solving each step through the LU decomposition of the
// Jacobian. Norms are Euclidean.
class ERNewtonMSolver {
 public:
  ERNewtonMSolver(ERCNewtonM* function, unsigned n, double ratio, int maxIterations);
  int Resoudre(ERDoubleVec& x, double eps);

  int status;
  int iterations;
  ERCNewtonM* function;
  ERDoubleVec xPrev;
  ERDoubleVec fx;
  int maxIterations;
  ERDoubleMatrix jacobian;
  double ratio;
};

// Damped Newton's method for minimising ERCNewtonH::H, working with squared norms. The damping factor
// is computed at each step but the full Newton step is always taken: this is the defined behaviour.
// Calls hookFuncPtr, when set, at the start of every iteration, and leaves the mean processor time per
// iteration (clock ticks / 1000) in timePerIteration.
class ERNewtonMSolverEx {
 public:
  ERNewtonMSolverEx(ERCNewtonH* function, double ratio, int maxIterations);
  int Resoudre(ERDoubleVec& x, double eps);

  int status;
  int iterations;
  double timePerIteration;
  ERCNewtonH* function;
  ERDoubleVec xPrev;
  ERDoubleVec fx;
  int maxIterations;
  ERDoubleMatrix jacobian;
  double ratio;
};

// Globally convergent Newton's method: each Newton direction is searched backwards until
// 0.5 * f(x) . f(x) decreases enough. Resoudre ignores eps and uses fixed tolerances; it returns
// 1 when the start is already a root (every |f| below 1e-8), 2 converged on the function (below 1e-7),
// 3 when the line search stalls at a minimum of 0.5 * f . f that is not a root, 4 when it stalls
// elsewhere, 5 converged on the step, 0 for a singular Jacobian (written to standard output first) and
// -1 when the iterations run out. The code is left in status as well. iterations and evaluations
// (function calls) count on from their values before the call; ratio is kept but not used.
class ERNewtonMSolverWithBackTracking {
 public:
  ERNewtonMSolverWithBackTracking(ERCNewtonM* function, double ratio, int maxIterations);
  int Resoudre(ERDoubleVec& x, double eps);

  int status;
  int iterations;
  int evaluations;
  ERCNewtonM* function;
  ERDoubleVec x;
  ERDoubleVec fvec;
  int maxIterations;
  ERDoubleMatrix jacobian;
  double ratio;

 private:
  // Searches along p from xold for a sufficient decrease of fValue = 0.5 * fvec . fvec, p being first
  // shortened to stepMax. Leaves the point reached in x (xold when it gives up) with fvec and fValue
  // of the last point tried; returns 0 on success and 1 when the step fell below its lower bound.
  int LinearSearch(const ERDoubleVec& xold, double fold, const ERDoubleVec& g, ERDoubleVec& p, ERDoubleVec& x,
                   double& fValue, double stepMax);
  int finish(int code, ERDoubleVec& xOut);
};

// Called without arguments at the start of every iteration of ERNewtonMSolverEx when not null.
extern void (*hookFuncPtr)();

// The largest absolute value of the elements; 0.0 for an empty vector.
double ERMax(const ERDoubleVec& v);

#endif
