// The Newton solvers: numerical derivatives of the function objects, and every return code of each
// solver on constructed cases whose outcome follows from the iteration rules.
#include "velmora/ernewton.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <sstream>
#include <string>

#include "test_support.h"
#include "velmora/matrix.h"

namespace {

ERDoubleVec vec(std::initializer_list<double> values) {
  ERDoubleVec v(static_cast<unsigned>(values.size()));
  unsigned i = 0;
  for (double d : values) v[i++] = d;
  return v;
}

ERDoubleMatrix mat(unsigned n, std::initializer_list<double> rowMajor) {
  ERDoubleMatrix m(n, n);
  unsigned k = 0;
  for (double d : rowMajor) {
    m(k / n, k % n) = d;
    ++k;
  }
  return m;
}

// ---------------------------------------------------------------------------------------------
// Scalar function objects

struct Shifted : ERCNewtonS {  // x - 2
  double f(double x) override { return x - 2.0; }
  double fprime(double) override { return 1.0; }
};
struct SquareMinusTwo : ERCNewtonS {  // x^2 - 2
  double f(double x) override { return x * x - 2.0; }
  double fprime(double x) override { return 2.0 * x; }
};
struct SquarePlusOne : ERCNewtonS {  // x^2 + 1: no root, zero derivative at 0
  double f(double x) override { return x * x + 1.0; }
  double fprime(double x) override { return 2.0 * x; }
};
struct Cube : ERCNewtonSDelta {
  explicit Cube(double delta) : ERCNewtonSDelta(delta) {}
  double f(double x) override { return x * x * x; }
};

ERNewtonSSolver scalarSolver(ERCNewtonS* function, int maxIterations, double ratio) {
  ERNewtonSSolver s{};
  s.function = function;
  s.maxIterations = maxIterations;
  s.ratio = ratio;
  return s;
}

TEST(ERCNewtonSDeltaTest, DerivativeIsTheCentralDifference) {
  Cube cube(0.5);
  // ((2.5)^3 - (1.5)^3) / 2 / 0.5 = 3 * 2^2 + 0.5^2, exact in binary.
  EXPECT_EQ(cube.fprime(2.0), 12.25);
  EXPECT_EQ(cube.delta, 0.5);
}

TEST(ERNewtonSSolverTest, StartingAtTheRootConvergesInOneStep) {
  Shifted fn;
  ERNewtonSSolver s = scalarSolver(&fn, 50, 1e-8);
  double x = 2.0;
  EXPECT_EQ(s.Resoudre(x, 1e-8), 0);
  EXPECT_EQ(s.status, 0);
  EXPECT_EQ(s.iterations, 1);
  EXPECT_EQ(x, 2.0);
}

TEST(ERNewtonSSolverTest, ResidualWithinEpsAfterALongStepGivesOne) {
  Shifted fn;
  ERNewtonSSolver s = scalarSolver(&fn, 50, 1e-8);
  double x = 10.0;  // one exact step of length 8 to the root
  EXPECT_EQ(s.Resoudre(x, 1e-8), 1);
  EXPECT_EQ(s.status, 1);
  EXPECT_EQ(s.iterations, 1);
  EXPECT_EQ(x, 2.0);
  EXPECT_EQ(s.xPrev, 2.0);
  EXPECT_EQ(s.fx, 0.0);
}

TEST(ERNewtonSSolverTest, QuadraticConvergenceStopsAtTheFirstSmallResidual) {
  SquareMinusTwo fn;
  ERNewtonSSolver s = scalarSolver(&fn, 50, 1e-8);
  double x = 1.0;
  // The residual drops below eps while the step that got there is still about 2e-6: code 1.
  EXPECT_EQ(s.Resoudre(x, 1e-8), 1);
  EXPECT_NEAR(x, std::sqrt(2.0), 1e-8);
  EXPECT_LE(std::fabs(s.fx), 1e-8);
  EXPECT_DOUBLE_EQ(s.dfx, 2.0 * 577.0 / 408.0);  // at the iterate before the last: 1, 3/2, 17/12, 577/408
}

TEST(ERNewtonSSolverTest, ZeroMaxIterationsReturnsTwoWithXUnchanged) {
  SquareMinusTwo fn;
  ERNewtonSSolver s = scalarSolver(&fn, 0, 1e-8);
  double x = 1.0;
  EXPECT_EQ(s.Resoudre(x, 1e-8), 2);
  EXPECT_EQ(s.iterations, 0);
  EXPECT_EQ(x, 1.0);
  EXPECT_EQ(s.fx, -1.0);
}

TEST(ERNewtonSSolverTest, IterationLimitReturnsTwo) {
  SquareMinusTwo fn;
  ERNewtonSSolver s = scalarSolver(&fn, 2, 1e-8);
  double x = 1.0;
  EXPECT_EQ(s.Resoudre(x, 1e-8), 2);
  EXPECT_EQ(s.iterations, 2);
  EXPECT_DOUBLE_EQ(x, 17.0 / 12.0);  // 1 -> 3/2 -> 17/12
}

TEST(ERNewtonSSolverTest, ZeroDerivativeFailsTheRatioTest) {
  SquarePlusOne fn;
  ERNewtonSSolver s = scalarSolver(&fn, 50, 1e-8);
  double x = 0.0;
  EXPECT_EQ(s.Resoudre(x, 1e-8), 3);
  EXPECT_EQ(s.status, 3);
  EXPECT_EQ(s.iterations, 0);
  EXPECT_EQ(x, 0.0);
  EXPECT_EQ(s.dfx, 0.0);
}

// ---------------------------------------------------------------------------------------------
// Vector function objects

// f(x) = A x - b with its exact Jacobian A.
struct Linear : ERCNewtonM {
  Linear(const ERDoubleMatrix& a, const ERDoubleVec& b) : a(a), b(b) {}
  ERDoubleVec f(const ERDoubleVec& x) override { return a * x - b; }
  ERDoubleMatrix fprime(const ERDoubleVec&) override { return a; }
  ERDoubleMatrix a;
  ERDoubleVec b;
};

// f(x) = A x - b with the central-difference, symmetrised Jacobian.
struct LinearDelta : ERCNewtonMDelta {
  LinearDelta(const ERDoubleMatrix& a, const ERDoubleVec& b, double delta)
      : ERCNewtonMDelta(delta), a(a), b(b) {}
  ERDoubleVec f(const ERDoubleVec& x) override { return a * x - b; }
  ERDoubleMatrix a;
  ERDoubleVec b;
};

// A constant function: its numerical Jacobian is zero.
struct Constant : ERCNewtonMDelta {
  Constant() : ERCNewtonMDelta(1e-3) {}
  ERDoubleVec f(const ERDoubleVec&) override { return vec({1.0, 2.0}); }
};

// The gradient of sum(x_i^4) / 4 + x.A.x / 2 - b.x: a nonlinear system with a symmetric Jacobian.
struct QuarticGradient : ERCNewtonMDelta {
  QuarticGradient() : ERCNewtonMDelta(1e-6), a(mat(3, {4, 1, 0, 1, 3, 1, 0, 1, 2})), b(vec({1, -2, 3})) {}
  ERDoubleVec f(const ERDoubleVec& x) override {
    ERDoubleVec r = a * x - b;
    for (unsigned i = 0; i < 3; ++i) r[i] += x[i] * x[i] * x[i];
    return r;
  }
  ERDoubleMatrix a;
  ERDoubleVec b;
};

TEST(ERMaxTest, LargestAbsoluteValue) {
  EXPECT_EQ(ERMax(vec({-3.0, 2.0, 1.0})), 3.0);
  EXPECT_EQ(ERMax(vec({0.5, -0.25})), 0.5);
}

TEST(ERMaxTest, EmptyVectorGivesZero) { EXPECT_EQ(ERMax(ERDoubleVec()), 0.0); }

TEST(ERCNewtonMDeltaTest, JacobianOfANonSymmetricLinearMapIsSymmetrised) {
  const ERDoubleMatrix a = mat(3, {1, 2, 0, 5, 3, -1, 4, 7, 2});
  LinearDelta fn(a, vec({0, 0, 0}), 1e-3);
  const ERDoubleMatrix j = fn.fprime(vec({0.3, -1.2, 2.0}));
  ASSERT_EQ(j.rows(), 3u);
  ASSERT_EQ(j.cols(), 3u);
  for (unsigned r = 0; r < 3; ++r)
    for (unsigned c = 0; c < 3; ++c) {
      EXPECT_NEAR(j(r, c), (a(r, c) + a(c, r)) / 2.0, 1e-9) << r << "," << c;
      EXPECT_EQ(j(r, c), j(c, r));
    }
}

// The Jacobian as its definition writes it with the vector operations: columns
// (f(x + delta e_j) - f(x - delta e_j)) / (2 delta), then the symmetrisation.
ERDoubleMatrix literalJacobian(ERCNewtonMDelta& fn, const ERDoubleVec& x, double delta) {
  const unsigned n = x.length();
  ERDoubleMatrix jacobian(n, n);
  for (unsigned j = 0; j < n; ++j) {
    ERDoubleVec xMinus(x), xPlus(x);
    xMinus[j] -= delta;
    xPlus[j] += delta;
    const ERDoubleVec column = (fn.f(xPlus) - fn.f(xMinus)) / (delta * 2.0);
    for (unsigned i = 0; i < n; ++i) jacobian(i, j) = column[i];
  }
  for (unsigned j = 1; j < n; ++j)
    for (unsigned i = 0; i < j; ++i)
      jacobian(i, j) = jacobian(j, i) = (jacobian(j, i) + jacobian(i, j)) / 2.0;
  return jacobian;
}

TEST(ERCNewtonMDeltaTest, JacobianIsItsVectorExpressionBitForBit) {
  // A nonlinear system, and a function with one value more than it has variables (its columns are
  // read as far as the variables go), on seeded points; x itself is left as it was.
  struct Wavy : ERCNewtonMDelta {
    Wavy() : ERCNewtonMDelta(7.3e-6) {}
    ERDoubleVec f(const ERDoubleVec& x) override {
      return vec({std::sin(x[0]) * x[1] + x[2], x[0] / (1.5 + x[1] * x[1]), std::exp(x[2]) - x[0] * x[1]});
    }
  };
  struct Longer : ERCNewtonMDelta {
    Longer() : ERCNewtonMDelta(7.3e-6) {}
    ERDoubleVec f(const ERDoubleVec& x) override {
      return vec({std::sin(x[0]) * x[1], x[0] / (1.5 + x[1] * x[1]), std::exp(x[1]) - x[0]});
    }
  };
  QuarticGradient quartic;
  Wavy wavy;
  Longer longer;
  std::mt19937 rng(29);
  std::uniform_real_distribution<double> u(-3.0, 3.0);
  for (int k = 0; k < 50; ++k) {
    const ERDoubleVec x3 = vec({u(rng), u(rng), u(rng)});
    const ERDoubleVec x2 = vec({u(rng), u(rng)});
    const ERDoubleVec copy3(x3.data(), 3), copy2(x2.data(), 2);
    const ERDoubleMatrix got = quartic.fprime(x3), want = literalJacobian(quartic, x3, 1e-6);
    const ERDoubleMatrix got3 = wavy.fprime(x3), want3 = literalJacobian(wavy, x3, 7.3e-6);
    const ERDoubleMatrix got2 = longer.fprime(x2), want2 = literalJacobian(longer, x2, 7.3e-6);
    ASSERT_EQ(got.rows(), 3u);
    ASSERT_EQ(got3.rows(), 3u);
    ASSERT_EQ(got2.rows(), 2u);
    EXPECT_EQ(std::memcmp(got.data(), want.data(), 9 * sizeof(double)), 0);
    EXPECT_EQ(std::memcmp(got3.data(), want3.data(), 9 * sizeof(double)), 0);
    EXPECT_EQ(std::memcmp(got2.data(), want2.data(), 4 * sizeof(double)), 0);
    EXPECT_EQ(std::memcmp(x3.data(), copy3.data(), 3 * sizeof(double)), 0);
    EXPECT_EQ(std::memcmp(x2.data(), copy2.data(), 2 * sizeof(double)), 0);
  }
}

TEST(ERCNewtonMDeltaTest, JacobianColumnsAreCentralDifferences) {
  // f(x) = (x0^2, x0 x1): the central difference of x0^2 with step 0.5 is exact, 2 x0.
  struct Poly : ERCNewtonMDelta {
    Poly() : ERCNewtonMDelta(0.5) {}
    ERDoubleVec f(const ERDoubleVec& x) override { return vec({x[0] * x[0], x[0] * x[1]}); }
  } fn;
  const ERDoubleMatrix j = fn.fprime(vec({3.0, 5.0}));
  EXPECT_EQ(j(0, 0), 6.0);
  EXPECT_EQ(j(1, 1), 3.0);
  // d(x0^2)/dx1 = 0 and d(x0 x1)/dx0 = 5, averaged.
  EXPECT_EQ(j(0, 1), 2.5);
  EXPECT_EQ(j(1, 0), 2.5);
}

TEST(ERNewtonMSolverTest, ConstructionState) {
  Constant fn;
  ERNewtonMSolver s(&fn, 3, 1e-8, 400);
  EXPECT_EQ(s.status, 2);
  EXPECT_EQ(s.iterations, 0);
  EXPECT_EQ(s.function, &fn);
  EXPECT_EQ(s.xPrev.length(), 3u);
  EXPECT_EQ(s.fx.length(), 3u);
  EXPECT_EQ(s.maxIterations, 400);
  EXPECT_EQ(s.jacobian.rows(), 3u);
  EXPECT_EQ(s.jacobian.cols(), 3u);
  EXPECT_EQ(s.ratio, 1e-8);
}

TEST(ERNewtonMSolverTest, StartingAtARootTakesOneStepAndReturnsZero) {
  // f(x) = A x - A r vanishes exactly at r.
  const ERDoubleMatrix a = mat(2, {2, 1, 1, 3});
  const ERDoubleVec r = vec({1.0, -2.0});
  LinearDelta fn(a, a * r, 1e-4);
  ERNewtonMSolver s(&fn, 2, 1e-8, 50);
  ERDoubleVec x = r;
  EXPECT_EQ(s.Resoudre(x, 1e-8), 0);
  EXPECT_EQ(s.iterations, 1);
  EXPECT_EQ(x[0], 1.0);
  EXPECT_EQ(x[1], -2.0);
}

TEST(ERNewtonMSolverTest, LinearSystemSolvedInOneStepWithResidualCode) {
  const ERDoubleMatrix a = mat(3, {4, 1, 0, 1, 3, 1, 0, 1, 2});
  const ERDoubleVec b = vec({1, 2, 3});
  Linear fn(a, b);
  ERNewtonMSolver s(&fn, 3, 1e-8, 50);
  ERDoubleVec x = vec({0, 0, 0});
  // One exact step: the residual is within eps but the step was long.
  EXPECT_EQ(s.Resoudre(x, 1e-8), 1);
  EXPECT_EQ(s.iterations, 1);
  const ERDoubleVec expected = solve(ERLUDecomp(a), b);
  for (unsigned i = 0; i < 3; ++i) EXPECT_NEAR(x[i], expected[i], 1e-12);
  // A second solve from there converges at once.
  EXPECT_EQ(s.Resoudre(x, 1e-8), 0);
}

TEST(ERNewtonMSolverTest, NonlinearSystemReachesARoot) {
  QuarticGradient fn;
  ERNewtonMSolver s(&fn, 3, 1e-8, 100);
  ERDoubleVec x = vec({0, 0, 0});
  int code = s.Resoudre(x, 1e-8);
  if (code == 1) code = s.Resoudre(x, 1e-8);
  EXPECT_EQ(code, 0);
  // The residual, computed independently of the solver.
  for (unsigned i = 0; i < 3; ++i) {
    double r = x[i] * x[i] * x[i] - fn.b[i];
    for (unsigned k = 0; k < 3; ++k) r += fn.a(i, k) * x[k];
    EXPECT_NEAR(r, 0.0, 1e-8);
  }
}

TEST(ERNewtonMSolverTest, ConstantFunctionIsSingularBeforeTheRatioTest) {
  Constant fn;
  // A ratio no Jacobian could pass: the singularity test comes first all the same.
  ERNewtonMSolver s(&fn, 2, 1e30, 50);
  ERDoubleVec x = vec({0.5, 0.5});
  EXPECT_EQ(s.Resoudre(x, 1e-8), 4);
  EXPECT_EQ(s.status, 4);
  EXPECT_EQ(s.iterations, 0);
  EXPECT_EQ(x[0], 0.5);
}

TEST(ERNewtonMSolverTest, ZeroMaxIterationsReturnsTwoWithXUnchanged) {
  QuarticGradient fn;
  ERNewtonMSolver s(&fn, 3, 1e-8, 0);
  ERDoubleVec x = vec({1, 2, 3});
  EXPECT_EQ(s.Resoudre(x, 1e-8), 2);
  EXPECT_EQ(s.iterations, 0);
  EXPECT_EQ(x[0], 1.0);
  EXPECT_EQ(x[1], 2.0);
  EXPECT_EQ(x[2], 3.0);
}

TEST(ERNewtonMSolverTest, IterationLimitReturnsTwo) {
  QuarticGradient fn;
  ERNewtonMSolver s(&fn, 3, 1e-8, 1);
  ERDoubleVec x = vec({5, 5, 5});
  EXPECT_EQ(s.Resoudre(x, 1e-8), 2);
  EXPECT_EQ(s.iterations, 1);
  EXPECT_NE(x[0], 5.0);
}

TEST(ERNewtonMSolverTest, SmallJacobianFailsTheRatioTest) {
  // ||f|| = 5e-3 at 0 against a Jacobian of norm 1e-3, with ratio 1.
  Linear fn(mat(1, {1e-3}), vec({5e-3}));
  ERNewtonMSolver s(&fn, 1, 1.0, 50);
  ERDoubleVec x = vec({0.0});
  EXPECT_EQ(s.Resoudre(x, 1e-8), 3);
  EXPECT_EQ(s.iterations, 0);
  EXPECT_EQ(x[0], 0.0);
}

// ---------------------------------------------------------------------------------------------
// Damped Newton for minimisation

// H(x) = (x0 - 1)^2 + 2 (x1 + 2)^2; its forward-difference gradient vanishes at (1, -2) - delta / 2.
struct Bowl : ERCNewtonH {
  Bowl() : ERCNewtonH(1e-4) {}
  double H(const ERDoubleVec& x) override {
    return (x[0] - 1.0) * (x[0] - 1.0) + 2.0 * (x[1] + 2.0) * (x[1] + 2.0);
  }
};
// H(x) = sqrt(1 + x^2): the Newton step from x lands at -x^3, where H is larger.
struct Hyperbola : ERCNewtonH {
  Hyperbola() : ERCNewtonH(1e-4) {}
  double H(const ERDoubleVec& x) override { return std::sqrt(1.0 + x[0] * x[0]); }
};
struct QuarticH : ERCNewtonH {
  QuarticH() : ERCNewtonH(1e-4) {}
  double H(const ERDoubleVec& x) override { return x[0] * x[0] * x[0] * x[0] + x[0] * x[0] + x[0]; }
};
struct FlatH : ERCNewtonH {
  FlatH() : ERCNewtonH(1e-3) {}
  double H(const ERDoubleVec&) override { return 7.0; }
};

int g_hookCalls = 0;
void countHook() { ++g_hookCalls; }

TEST(ERCNewtonHTest, GradientIsTheForwardDifferenceOfH) {
  struct Simple : ERCNewtonH {
    Simple() : ERCNewtonH(0.5) {}
    double H(const ERDoubleVec& x) override { return x[0] * x[0] + 3.0 * x[1]; }
  } fn;
  const ERDoubleVec g = fn.f(vec({1.0, 2.0}));
  ASSERT_EQ(g.length(), 2u);
  EXPECT_EQ(g[0], 2.5);  // ((1.5)^2 - 1) / 0.5
  EXPECT_EQ(g[1], 3.0);
  EXPECT_EQ(fn.HDomaine(vec({1.0, 2.0})), 1);
}

TEST(ERNewtonMSolverExTest, ConstructionState) {
  Bowl fn;
  ERNewtonMSolverEx s(&fn, 1e-8, 30);
  EXPECT_EQ(s.status, 2);
  EXPECT_EQ(s.iterations, 0);
  EXPECT_EQ(s.function, &fn);
  EXPECT_EQ(s.xPrev.length(), 0u);
  EXPECT_EQ(s.fx.length(), 0u);
  EXPECT_EQ(s.maxIterations, 30);
  EXPECT_EQ(s.jacobian.rows(), 0u);
  EXPECT_EQ(s.ratio, 1e-8);
}

TEST(ERNewtonMSolverExTest, QuadraticIsMinimisedInOneStepThenConverges) {
  Bowl fn;
  ERNewtonMSolverEx s(&fn, 1e-8, 30);
  ERDoubleVec x = vec({0.0, 0.0});
  // One step reaches the minimum up to the rounding of the numerical derivatives (about 1e-7): the
  // residual is within eps = 1e-5 but the step was long.
  EXPECT_EQ(s.Resoudre(x, 1e-5), 1);
  EXPECT_EQ(s.iterations, 1);
  EXPECT_NEAR(x[0], 1.0 - 0.5e-4, 1e-6);
  EXPECT_NEAR(x[1], -2.0 - 0.5e-4, 1e-6);
  EXPECT_GE(s.timePerIteration, 0.0);
  EXPECT_EQ(s.Resoudre(x, 1e-5), 0);
}

TEST(ERNewtonMSolverExTest, TakesTheFullNewtonStepEvenWhereHGrows) {
  Hyperbola fn;
  ERNewtonMSolverEx s(&fn, 1e-8, 1);
  ERDoubleVec x = vec({2.0});
  EXPECT_EQ(s.Resoudre(x, 1e-8), 2);
  EXPECT_EQ(s.iterations, 1);
  // The undamped step 2 - g / H'' = -2^3; a damped step would stop short of it.
  EXPECT_NEAR(x[0], -8.0, 1e-2);
  EXPECT_GT(fn.H(x), fn.H(vec({2.0})));
}

TEST(ERNewtonMSolverExTest, HookIsCalledAtEveryIteration) {
  QuarticH fn;
  ERNewtonMSolverEx s(&fn, 1e-8, 100);
  ERDoubleVec x = vec({3.0});
  g_hookCalls = 0;
  hookFuncPtr = &countHook;
  const int code = s.Resoudre(x, 1e-6);
  hookFuncPtr = nullptr;
  EXPECT_TRUE(code == 0 || code == 1);
  EXPECT_GT(s.iterations, 1);
  EXPECT_EQ(g_hookCalls, s.iterations);
  // 4 x^3 + 2 x + 1 = 0 (shifted by the forward-difference bias).
  EXPECT_NEAR(4 * x[0] * x[0] * x[0] + 2 * x[0] + 1, 0.0, 1e-3);
}

TEST(ERNewtonMSolverExTest, FlatFunctionIsSingular) {
  FlatH fn;
  ERNewtonMSolverEx s(&fn, 1e-8, 10);
  ERDoubleVec x = vec({1.0, 1.0});
  EXPECT_EQ(s.Resoudre(x, 1e-8), 4);
  EXPECT_EQ(s.status, 4);
  EXPECT_EQ(s.iterations, 0);
  EXPECT_EQ(s.timePerIteration, 0.0);  // returns before the time is taken
}

TEST(ERNewtonMSolverExTest, SmallJacobianFailsTheRatioTest) {
  Bowl fn;
  ERNewtonMSolverEx s(&fn, 1e30, 10);
  ERDoubleVec x = vec({0.0, 0.0});
  EXPECT_EQ(s.Resoudre(x, 1e-8), 3);
  EXPECT_EQ(s.iterations, 0);
  EXPECT_EQ(x[0], 0.0);
}

TEST(ERNewtonMSolverExTest, ZeroMaxIterationsReturnsTwoAndAnUnguardedTime) {
  Bowl fn;
  ERNewtonMSolverEx s(&fn, 1e-8, 0);
  ERDoubleVec x = vec({0.0, 0.0});
  EXPECT_EQ(s.Resoudre(x, 1e-8), 2);
  EXPECT_EQ(x[0], 0.0);
  EXPECT_FALSE(std::isfinite(s.timePerIteration));  // divided by zero iterations
}

// ---------------------------------------------------------------------------------------------
// Back-tracking

// f(x) = c + x^2 (no root, smallest at 0) with a fixed Jacobian given by the caller.
struct NoRootFixedJacobian : ERCNewtonM {
  NoRootFixedJacobian(double c, double slope) : c(c), slope(slope) {}
  ERDoubleVec f(const ERDoubleVec& x) override { return vec({c + x[0] * x[0]}); }
  ERDoubleMatrix fprime(const ERDoubleVec&) override { return mat(1, {slope}); }
  double c;
  double slope;
};

// f(x) = 100 ((x - 1e9) - 1.00000005): from 1e9 the Newton step 1.00000005 lands on the grid point
// 1e9 + 1, a step just under 1e-9 relative to the new iterate, with |f| = 5e-6 left.
struct FarLinear : ERCNewtonM {
  ERDoubleVec f(const ERDoubleVec& x) override { return vec({100.0 * ((x[0] - 1e9) - 1.00000005)}); }
  ERDoubleMatrix fprime(const ERDoubleVec&) override { return mat(1, {100.0}); }
};

TEST(ERNewtonMSolverWithBackTrackingTest, ConstructionState) {
  Constant fn;
  ERNewtonMSolverWithBackTracking s(&fn, 0.5, 20);
  EXPECT_EQ(s.status, 0);
  EXPECT_EQ(s.iterations, 0);
  EXPECT_EQ(s.evaluations, 0);
  EXPECT_EQ(s.function, &fn);
  EXPECT_EQ(s.x.length(), 0u);
  EXPECT_EQ(s.fvec.length(), 0u);
  EXPECT_EQ(s.maxIterations, 20);
  EXPECT_EQ(s.jacobian.rows(), 0u);
  EXPECT_EQ(s.ratio, 0.5);
}

TEST(ERNewtonMSolverWithBackTrackingTest, StartAtARootReturnsOne) {
  Linear fn(mat(1, {1.0}), vec({3.0}));
  ERNewtonMSolverWithBackTracking s(&fn, 0.0, 20);
  ERDoubleVec x = vec({3.0});
  EXPECT_EQ(s.Resoudre(x, 0.0), 1);
  EXPECT_EQ(s.evaluations, 1);
  EXPECT_EQ(s.iterations, 0);
  EXPECT_EQ(x[0], 3.0);
}

TEST(ERNewtonMSolverWithBackTrackingTest, ConvergesOnTheFunctionWithTwo) {
  const ERDoubleMatrix a = mat(3, {4, 1, 0, 1, 3, 1, 0, 1, 2});
  const ERDoubleVec b = vec({1, 2, 3});
  Linear fn(a, b);
  ERNewtonMSolverWithBackTracking s(&fn, 0.0, 20);
  ERDoubleVec x = vec({0, 0, 0});
  EXPECT_EQ(s.Resoudre(x, 1.0), 2);  // eps is ignored
  EXPECT_EQ(s.status, 2);
  EXPECT_EQ(s.iterations, 1);
  EXPECT_EQ(s.evaluations, 2);  // the start and the full step
  const ERDoubleVec expected = solve(ERLUDecomp(a), b);
  for (unsigned i = 0; i < 3; ++i) {
    EXPECT_NEAR(x[i], expected[i], 1e-12);
    EXPECT_EQ(x[i], s.x[i]);
  }
}

TEST(ERNewtonMSolverWithBackTrackingTest, SingularJacobianIsPrintedAndReturnsZero) {
  Constant fn;
  ERNewtonMSolverWithBackTracking s(&fn, 0.0, 20);
  ERDoubleVec x = vec({0.5, 0.5});
  testing::internal::CaptureStdout();
  const int code = s.Resoudre(x, 1e-8);
  const std::string printed = testing::internal::GetCapturedStdout();
  EXPECT_EQ(code, 0);
  std::ostringstream expected;
  expected << ERDoubleMatrix(2, 2);  // the zero Jacobian of a constant function
  EXPECT_EQ(printed, expected.str());
}

TEST(ERNewtonMSolverWithBackTrackingTest, StallAtAMinimumThatIsNoRootReturnsThree) {
  // At 0, 1e-3 + x^2 is smallest; the small Jacobian points far away, no step down to the smallest
  // one (1e-11) decreases 0.5 f^2, and the gradient g = 1e-8 marks a minimum of 0.5 f^2 that is no
  // root (spurious convergence).
  NoRootFixedJacobian fn(1e-3, 1e-5);
  ERNewtonMSolverWithBackTracking s(&fn, 0.0, 20);
  ERDoubleVec x = vec({0.0});
  EXPECT_EQ(s.Resoudre(x, 1e-8), 3);
  EXPECT_EQ(x[0], 0.0);  // the line search gave the step up
  EXPECT_EQ(s.iterations, 1);
  EXPECT_GT(s.evaluations, 2);  // it backtracked
}

TEST(ERNewtonMSolverWithBackTrackingTest, StallWithALargeGradientReturnsFour) {
  // At 0 with the Jacobian 1 the gradient is 1: far from a minimum of 0.5 f^2, yet no step decreases it.
  NoRootFixedJacobian fn(1.0, 1.0);
  ERNewtonMSolverWithBackTracking s(&fn, 0.0, 20);
  ERDoubleVec x = vec({0.0});
  EXPECT_EQ(s.Resoudre(x, 1e-8), 4);
  EXPECT_EQ(x[0], 0.0);
}

TEST(ERNewtonMSolverWithBackTrackingTest, ConvergesOnTheStepWithFive) {
  FarLinear fn;
  ERNewtonMSolverWithBackTracking s(&fn, 0.0, 20);
  ERDoubleVec x = vec({1e9});
  EXPECT_EQ(s.Resoudre(x, 1e-8), 5);
  EXPECT_EQ(s.iterations, 1);
  EXPECT_EQ(x[0], 1e9 + 1.0);
  EXPECT_GE(ERMax(s.fvec), 1e-7);
}

TEST(ERNewtonMSolverWithBackTrackingTest, ZeroMaxIterationsReturnsMinusOne) {
  Linear fn(mat(1, {1.0}), vec({3.0}));
  ERNewtonMSolverWithBackTracking s(&fn, 0.0, 0);
  ERDoubleVec x = vec({0.0});
  EXPECT_EQ(s.Resoudre(x, 1e-8), -1);
  EXPECT_EQ(x[0], 0.0);
}

TEST(ERNewtonMSolverWithBackTrackingTest, IterationsRunningOutReturnsMinusOne) {
  // x^2 - 2 from 1000: one Newton step halves x, far from the root.
  struct Square : ERCNewtonM {
    ERDoubleVec f(const ERDoubleVec& x) override { return vec({x[0] * x[0] - 2.0}); }
    ERDoubleMatrix fprime(const ERDoubleVec& x) override { return mat(1, {2.0 * x[0]}); }
  } fn;
  ERNewtonMSolverWithBackTracking s(&fn, 0.0, 1);
  ERDoubleVec x = vec({1000.0});
  EXPECT_EQ(s.Resoudre(x, 1e-8), -1);
  EXPECT_NEAR(x[0], 500.001, 1e-9);
}

TEST(ERNewtonMSolverWithBackTrackingTest, SolvesANonlinearSystem) {
  QuarticGradient fn;
  ERNewtonMSolverWithBackTracking s(&fn, 0.0, 100);
  ERDoubleVec x = vec({3, -3, 3});
  const int code = s.Resoudre(x, 1e-8);
  EXPECT_TRUE(code == 2 || code == 5) << code;
  for (unsigned i = 0; i < 3; ++i) {
    double r = x[i] * x[i] * x[i] - fn.b[i];
    for (unsigned k = 0; k < 3; ++k) r += fn.a(i, k) * x[k];
    EXPECT_NEAR(r, 0.0, 1e-6);
  }
}

}  // namespace
