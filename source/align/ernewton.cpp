// Newton solvers: the numerical derivatives of the function objects, the scalar and multidimensional
// Newton iterations, the damped variant for minimisation and the back-tracking variant.
#include "velmora/ernewton.h"

#include <cmath>
#include <ctime>
#include <iostream>

#include "velmora/ercommon.h"
#include "velmora/matrix.h"

void (*hookFuncPtr)() = nullptr;

double ERMax(const ERDoubleVec& v) {
  double largest = 0.0;
  const double* p = v.data();
  for (unsigned i = 0; i < v.length(); ++i) largest = ERMax(largest, std::fabs(p[i]));
  return largest;
}

namespace {

double euclidean(const ERDoubleVec& v) { return std::sqrt(norme2(v)); }

}  // namespace

// ---------------------------------------------------------------------------------------------
// Function objects

double ERCNewtonSDelta::fprime(double x) { return (f(x + delta) - f(x - delta)) / 2.0 / delta; }

ERDoubleMatrix ERCNewtonMDelta::fprime(const ERDoubleVec& x) {
  const unsigned n = x.length();
  ERDoubleMatrix jacobian(n, n);
  // Both displaced points made once, each coordinate moved and put back in turn; each column is the
  // difference of the two values divided element by element, as the vector expression
  // (f(xPlus) - f(xMinus)) / (2 delta) gives it.
  ERDoubleVec xMinus(x);
  ERDoubleVec xPlus(x);
  for (unsigned j = 0; j < n; ++j) {
    xMinus[j] = x[j] - delta;
    xPlus[j] = x[j] + delta;
    const ERDoubleVec plus = f(xPlus);
    const ERDoubleVec minus = f(xMinus);
    if (plus.length() == n && minus.length() == n) {
      const double* p = plus.data();
      const double* m = minus.data();
      for (unsigned i = 0; i < n; ++i) jacobian(i, j) = (p[i] - m[i]) / (delta * 2.0);
    } else {
      // A function of another length: the vector expression itself, with its reports.
      const ERDoubleVec column = (plus - minus) / (delta * 2.0);
      for (unsigned i = 0; i < n; ++i) jacobian(i, j) = column[i];
    }
    xMinus[j] = x[j];
    xPlus[j] = x[j];
  }
  // Always symmetric, whatever the function: right for gradients, kept for every user.
  for (unsigned j = 1; j < n; ++j)
    for (unsigned i = 0; i < j; ++i)
      jacobian(i, j) = jacobian(j, i) = (jacobian(j, i) + jacobian(i, j)) / 2.0;
  return jacobian;
}

ERDoubleVec ERCNewtonH::f(const ERDoubleVec& x) {
  const unsigned n = x.length();
  const double h = H(x);
  ERDoubleVec gradient(n);
  for (unsigned i = 0; i < n; ++i) {
    ERDoubleVec moved(x);
    moved[i] += delta;
    gradient[i] = (H(moved) - h) / delta;
  }
  return gradient;
}

int ERCNewtonH::HDomaine(const ERDoubleVec&) { return 1; }

// ---------------------------------------------------------------------------------------------
// One unknown

int ERNewtonSSolver::Resoudre(double& x, double eps) {
  xPrev = x;
  fx = function->f(x);
  iterations = 0;
  status = 2;
  while (iterations < maxIterations && status == 2) {
    dfx = function->fprime(xPrev);
    if (std::fabs(fx) * ratio <= std::fabs(dfx)) {
      iterations += 1;
      x = x - fx / dfx;
      fx = function->f(x);
      if (std::fabs(fx) <= eps) status = (std::fabs(xPrev - x) > std::fabs(x) * eps) ? 1 : 0;
      xPrev = x;
    } else {
      status = 3;
    }
  }
  return status;
}

// ---------------------------------------------------------------------------------------------
// Systems

ERNewtonMSolver::ERNewtonMSolver(ERCNewtonM* function, unsigned n, double ratio, int maxIterations)
    : status(2),
      iterations(0),
      function(function),
      xPrev(n),
      fx(n),
      maxIterations(maxIterations),
      jacobian(n, n),
      ratio(ratio) {}

int ERNewtonMSolver::Resoudre(ERDoubleVec& x, double eps) {
  xPrev = x;
  fx = function->f(x);
  iterations = 0;
  status = 2;
  while (iterations < maxIterations && status == 2) {
    jacobian = function->fprime(xPrev);
    const ERLUDecomp lu(jacobian);
    if (lu.isSingular()) {
      status = 4;
      return 4;
    }
    if (ratio * euclidean(fx) <= norme(jacobian)) {
      iterations += 1;
      x = x - solve(lu, fx);
      fx = function->f(x);
      if (euclidean(fx) <= eps) status = (euclidean(xPrev - x) > eps * euclidean(x)) ? 1 : 0;
      xPrev = x;
    } else {
      status = 3;
    }
  }
  return status;
}

// ---------------------------------------------------------------------------------------------
// Damped Newton for minimisation

ERNewtonMSolverEx::ERNewtonMSolverEx(ERCNewtonH* function, double ratio, int maxIterations)
    : status(2),
      iterations(0),
      timePerIteration(0.0),
      function(function),
      maxIterations(maxIterations),
      ratio(ratio) {}

int ERNewtonMSolverEx::Resoudre(ERDoubleVec& x, double eps) {
  timePerIteration = 0.0;
  const std::clock_t start = std::clock();
  xPrev = x;
  fx = function->f(x);
  double r2 = norme2(fx);
  iterations = 0;
  status = 2;
  const double eps2 = eps * eps;
  while (iterations < maxIterations && status == 2) {
    if (hookFuncPtr != nullptr) hookFuncPtr();
    jacobian = function->fprime(xPrev);
    const ERLUDecomp lu(jacobian);
    if (lu.isSingular()) {
      status = 4;
      return 4;
    }
    // norme2 of the Jacobian: the sum of the squares of its elements.
    if (ratio * r2 <= norme2(jacobian.elements())) {
      iterations += 1;
      ERDoubleVec d = -1.0 * solve(lu, fx);
      double lambda = 1.0;
      const ERDoubleVec xt = x + d;
      const double slope = fx * d;
      const double h0 = function->H(x);
      const double h1 = function->H(xt);
      if (function->HDomaine(xt) != 0 || !(h0 + 0.0001 * slope > h1)) {
        lambda = (slope / 2.0) / ((h1 - h0) + slope);
        if (lambda < 0.1) lambda = 0.1;
        if (lambda > 1.0) lambda = 1.0;
        if (r2 <= eps2 * 40000.0 && lambda < 0.5) lambda *= 2.0;
        if (r2 <= eps2 * 200.0) lambda = 1.0;
      }
      // The damped direction is computed but the full Newton step is taken: the defined behaviour.
      d = lambda * d;
      x = xt;
      fx = function->f(x);
      r2 = norme2(fx);
      if (r2 <= eps2) status = (norme2(xPrev - x) > norme2(x) * eps2) ? 1 : 0;
      xPrev = x;
    } else {
      status = 3;
    }
  }
  // No guard for zero iterations: the mean is then not a number or infinite.
  timePerIteration = static_cast<double>(std::clock() - start) / (static_cast<double>(iterations) * 1000.0);
  return status;
}

// ---------------------------------------------------------------------------------------------
// Newton with back-tracking

ERNewtonMSolverWithBackTracking::ERNewtonMSolverWithBackTracking(ERCNewtonM* function, double ratio,
                                                                 int maxIterations)
    : status(0),
      iterations(0),
      evaluations(0),
      function(function),
      maxIterations(maxIterations),
      ratio(ratio) {}

int ERNewtonMSolverWithBackTracking::finish(int code, ERDoubleVec& xOut) {
  status = code;
  xOut = x;
  return code;
}

int ERNewtonMSolverWithBackTracking::Resoudre(ERDoubleVec& xInOut, double /*eps: fixed tolerances*/) {
  const unsigned n = xInOut.length();
  x = xInOut;
  fvec = function->f(x);
  evaluations += 1;
  double fValue = 0.5 * (fvec * fvec);
  if (ERMax(fvec) < 1e-08) return finish(1, xInOut);

  const double stepMax = 100.0 * ERMax(std::sqrt(x * x), static_cast<double>(n));
  while (++iterations <= maxIterations) {
    jacobian = function->fprime(x);
    const ERDoubleVec g = jacobian * fvec;
    const ERDoubleVec xold = x;
    const double fold = fValue;
    ERDoubleVec p = -1.0 * fvec;
    const ERLUDecomp lu(jacobian);
    if (lu.isSingular()) {
      std::cout << jacobian;
      return finish(0, xInOut);
    }
    p = solve(lu, p);
    const int check = LinearSearch(xold, fold, g, p, x, fValue, stepMax);
    if (ERMax(fvec) < 1e-07) return finish(2, xInOut);
    if (check) {
      double test = 0.0;
      const double den = ERMax(fValue, 0.5 * n);
      for (unsigned i = 0; i < n; ++i)
        test = ERMax(test, std::fabs(g[i]) * ERMax(std::fabs(x[i]), 1.0) / den);
      return finish(test < 1e-06 ? 3 : 4, xInOut);
    }
    double test = 0.0;
    for (unsigned i = 0; i < n; ++i)
      test = ERMax(test, std::fabs(x[i] - xold[i]) / ERMax(std::fabs(x[i]), 1.0));
    if (test < 1e-09) return finish(5, xInOut);
  }
  return finish(-1, xInOut);
}

int ERNewtonMSolverWithBackTracking::LinearSearch(const ERDoubleVec& xold, double fold, const ERDoubleVec& g,
                                                  ERDoubleVec& p, ERDoubleVec& x, double& fValue,
                                                  double stepMax) {
  const unsigned n = xold.length();
  const double length = std::sqrt(p * p);
  if (length > stepMax) p = p * (stepMax / length);
  const double slope = g * p;
  double test = 0.0;
  for (unsigned i = 0; i < n; ++i) test = ERMax(test, std::fabs(p[i]) / ERMax(std::fabs(xold[i]), 1.0));
  const double lambdaMin = 1e-09 / test;
  double lambda = 1.0;
  double lambda2 = 0.0;
  double f2 = 0.0;
  for (;;) {
    x = xold + lambda * p;
    fvec = function->f(x);
    evaluations += 1;
    fValue = 0.5 * (fvec * fvec);
    if (lambda < lambdaMin) {
      x = xold;
      return 1;
    }
    if (fValue <= fold + 0.0001 * lambda * slope) return 0;
    double tmp;
    if (lambda == 1.0) {
      tmp = -slope / ((fValue - fold - slope) * 2.0);
    } else {
      const double rhs1 = fValue - fold - lambda * slope;
      const double rhs2 = f2 - fold - lambda2 * slope;
      const double a = (rhs1 / (lambda * lambda) - rhs2 / (lambda2 * lambda2)) / (lambda - lambda2);
      const double b =
          (-lambda2 * rhs1 / (lambda * lambda) + lambda * rhs2 / (lambda2 * lambda2)) / (lambda - lambda2);
      // The discriminant is not tested: a negative one gives a NaN, which the floor below replaces.
      tmp = (a == 0.0) ? -slope / (b * 2.0) : (std::sqrt(b * b - 3.0 * a * slope) - b) / (3.0 * a);
    }
    if (tmp > 0.5 * lambda) tmp = 0.5 * lambda;
    lambda2 = lambda;
    f2 = fValue;
    lambda = ERMax(tmp, 0.1 * lambda);
  }
}
