// Gaussian elimination, the LU decomposition with solving, determinant, inverse and rank, and the matrix
// utilities: constructed cases that pin pivoting, exchanges, singularity and rank; products, transposes and
// norms against plain loops in the same order; solutions, inverses, determinants and Cholesky factors
// against Eigen on seeded random matrices; every report in both builds.
#include "velmora/matrix.h"

#include <gtest/gtest.h>

#include <Eigen/Cholesky>
#include <Eigen/Dense>
#include <Eigen/LU>
#include <cmath>
#include <initializer_list>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "test_support.h"

namespace {

const char kUnit[] = "source/align/matrix";

ERDoubleVec vec(std::initializer_list<double> values) {
  std::vector<double> v(values);
  return ERDoubleVec(v.data(), static_cast<unsigned>(v.size()));
}
ERDoubleMatrix mat(unsigned rows, unsigned cols, std::initializer_list<double> values) {
  std::vector<double> v(values);
  EXPECT_EQ(v.size(), static_cast<size_t>(rows) * cols);
  return ERDoubleMatrix(v.data(), rows, cols);
}
std::vector<double> values(const ERDoubleMatrix& m) {
  return std::vector<double>(m.data(), m.data() + m.elements().length());
}
std::vector<double> values(const ERDoubleVec& v) {
  return std::vector<double>(v.data(), v.data() + v.length());
}
std::vector<int> permutation(const ERLUDecomp& lu) {
  return std::vector<int>(lu.permutation(), lu.permutation() + lu.rows());
}

using vtest::Reports;
Reports parseReports(const std::string& err) { return vtest::parseReports(err, kUnit); }
template <class F>
Reports capture(F f) {
  return parseReports(vtest::captureStderr(f));
}
std::vector<std::string> conds(std::initializer_list<const char*> list) {
  return std::vector<std::string>(list.begin(), list.end());
}
std::string deathRegex(const std::string& condition) { return vtest::reportRegexAnyLine(condition, kUnit); }

// ---------------------------------------------------------------------------------------------
// Independent references

using EMatrix = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

EMatrix toEigen(const ERDoubleMatrix& m) { return Eigen::Map<const EMatrix>(m.data(), m.rows(), m.cols()); }
ERDoubleMatrix fromEigen(const EMatrix& m) {
  return ERDoubleMatrix(m.data(), static_cast<unsigned>(m.rows()), static_cast<unsigned>(m.cols()));
}
ERDoubleMatrix randomMatrix(std::mt19937& rng, unsigned rows, unsigned cols) {
  std::uniform_real_distribution<double> dist(-1.0, 1.0);
  ERDoubleMatrix m(rows, cols);
  double* p = m.mutableData();
  for (unsigned k = 0; k < rows * cols; ++k) p[k] = dist(rng);
  return m;
}
ERDoubleVec randomVector(std::mt19937& rng, unsigned n) { return randomMatrix(rng, 1, n).elements(); }

// The normwise relative difference max|a - b| / max|b|.
double relativeDifference(const EMatrix& a, const EMatrix& b) {
  EXPECT_EQ(a.rows(), b.rows());
  EXPECT_EQ(a.cols(), b.cols());
  if (a.rows() != b.rows() || a.cols() != b.cols()) return std::numeric_limits<double>::infinity();
  const double scale = b.cwiseAbs().maxCoeff();
  return (a - b).cwiseAbs().maxCoeff() / (scale == 0.0 ? 1.0 : scale);
}

// The element-by-element product in the library's order: from 0.0, C(i,j) = a(i,k)*b(k,j) + C(i,j) for
// increasing k, over the first `inner` terms.
std::vector<double> loopProduct(const ERDoubleMatrix& a, const ERDoubleMatrix& b, unsigned inner) {
  std::vector<double> c;
  for (unsigned i = 0; i < a.rows(); ++i)
    for (unsigned j = 0; j < b.cols(); ++j) {
      double s = 0.0;
      for (unsigned k = 0; k < inner; ++k) s = a(i, k) * b(k, j) + s;
      c.push_back(s);
    }
  return c;
}

// Random systems are compared with Eigen only when Eigen's 1-norm condition estimate is at most this
// bound: the two eliminations round differently, and their solutions can differ by about the condition
// number times the rounding unit, which this bound keeps well below the 1e-12 being checked.
const double kMaxCondition = 1e3;
const double kAgreement = 1e-12;

// Draws random square matrices of order 1 to 10 from fixed seeds and calls f on the well-conditioned
// ones; at least half of the draws of every order must be accepted.
template <class F>
void forWellConditionedDraws(unsigned seed, F f) {
  std::mt19937 rng(seed);
  const unsigned draws = 12;
  for (unsigned n = 1; n <= 10; ++n) {
    unsigned accepted = 0;
    for (unsigned d = 0; d < draws; ++d) {
      ERDoubleMatrix a = randomMatrix(rng, n, n);
      Eigen::PartialPivLU<Eigen::MatrixXd> reference(toEigen(a));
      if (1.0 / reference.rcond() > kMaxCondition) continue;
      ++accepted;
      SCOPED_TRACE("order " + std::to_string(n) + ", draw " + std::to_string(d));
      f(a, reference, rng);
    }
    EXPECT_GE(accepted, draws / 2) << "order " << n;
  }
}

// ---------------------------------------------------------------------------------------------
// Elimination

TEST(MatriceGaussPivotTest, AugmentedColumnsAreSolvedInPlace) {
  ERDoubleMatrix m = mat(2, 3, {2, 0, 4, 0, 4, 8});
  int perm[2] = {-1, -1};
  int* p = perm;
  int nswaps = -1;
  EXPECT_EQ(MatriceGaussPivot(m, p, nswaps, 1e-20), 1);
  EXPECT_EQ(m(0, 2), 2.0);
  EXPECT_EQ(m(1, 2), 2.0);
  EXPECT_EQ(nswaps, 0);
  EXPECT_EQ(perm[0], 0);
  EXPECT_EQ(perm[1], 1);
}

TEST(MatriceGaussPivotTest, NullPermutationIsAllocatedForTheCaller) {
  ERDoubleMatrix m = mat(2, 2, {0, 1, 1, 0});
  int* perm = nullptr;
  int nswaps = 0;
  EXPECT_EQ(MatriceGaussPivot(m, perm, nswaps, 1e-20), 1);
  ASSERT_NE(perm, nullptr);
  EXPECT_EQ(perm[0], 1);
  EXPECT_EQ(perm[1], 0);
  delete[] perm;
}

TEST(MatriceGaussPivotTest, SmallPivotStopsAtOnceLeavingThePartialElimination) {
  // Column 0 takes row 2 (pivot 4); the multipliers 1/4 and 2/4 are exact and leave zeros in column 1.
  ERDoubleMatrix m = mat(3, 3, {2, 4, 6, 1, 2, 5, 4, 8, 1});
  int perm[3];
  int* p = perm;
  int nswaps = 0;
  EXPECT_EQ(MatriceGaussPivot(m, p, nswaps, 1e-20), 0);
  EXPECT_EQ(values(m), (std::vector<double>{4, 8, 1, 0.25, 0, 5 - 0.25, 0.5, 0, 6 - 0.5}));
  EXPECT_EQ(std::vector<int>(perm, perm + 3), (std::vector<int>{2, 1, 0}));
  EXPECT_EQ(nswaps, 1);
}

TEST(MatriceGaussPivotTest, AugmentedRandomSystemsMatchEigen) {
  forWellConditionedDraws(
      11, [](const ERDoubleMatrix& a, const Eigen::PartialPivLU<Eigen::MatrixXd>& ref, std::mt19937& rng) {
        const unsigned n = a.rows();
        ERDoubleMatrix b = randomMatrix(rng, n, 2);
        ERDoubleMatrix augmented = a;
        augmented.insertCol(n, b);
        std::vector<int> perm(n);
        int* p = perm.data();
        int nswaps = 0;
        ASSERT_EQ(MatriceGaussPivot(augmented, p, nswaps, 1e-20), 1);
        ERDoubleMatrix left, solution;
        augmented.splitAtCol(n, left, solution);
        const EMatrix expected = ref.solve(toEigen(b));
        EXPECT_LE(relativeDifference(toEigen(solution), expected), kAgreement);
      });
}

TEST(MatriceGaussPivotDeathTest, MoreRowsThanColumnsIsReported) {
  VTEST_CHECKING_ONLY();
  ERDoubleMatrix m(3, 2, 1.0);
  int perm[3];
  int* p = perm;
  int nswaps = 0;
  EXPECT_DEATH(MatriceGaussPivot(m, p, nswaps, 1e-20), deathRegex("m.rows()<=m.cols()"));
}

TEST(MatriceGaussPivotContinueTest, MoreRowsThanColumnsFailsWithoutEliminating) {
  VTEST_CONTINUING_ONLY();
  ERDoubleMatrix m = mat(3, 2, {1, 2, 3, 4, 5, 6});
  int perm[3] = {7, 7, 7};
  int* p = perm;
  int nswaps = 5;
  int result = -1;
  Reports r = capture([&] { result = MatriceGaussPivot(m, p, nswaps, 1e-20); });
  EXPECT_EQ(r.conditions, conds({"m.rows()<=m.cols()"}));
  EXPECT_EQ(result, 0);
  EXPECT_EQ(values(m), (std::vector<double>{1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(std::vector<int>(perm, perm + 3), (std::vector<int>{0, 1, 2}));
  EXPECT_EQ(nswaps, 0);
}

// ---------------------------------------------------------------------------------------------
// LU decomposition: pivots, exchanges, singularity, rank

TEST(ERLUDecompTest, AntiDiagonalExchangesTheRowsOnce) {
  ERLUDecomp lu(mat(2, 2, {0, 1, 1, 0}));
  EXPECT_EQ(permutation(lu), (std::vector<int>{1, 0}));
  EXPECT_EQ(lu.nbSwaps(), 1);
  EXPECT_EQ(lu.isSingular(), 0);
  EXPECT_EQ(determinant(lu), -1.0);
  EXPECT_EQ(values(lu), (std::vector<double>{1, 0, 0, 1}));
}

TEST(ERLUDecompTest, EqualMagnitudePivotsKeepTheUpperRow) {
  ERLUDecomp lu(mat(2, 2, {2, 1, -2, 3}));
  EXPECT_EQ(lu.nbSwaps(), 0);
  EXPECT_EQ(permutation(lu), (std::vector<int>{0, 1}));
  EXPECT_EQ(values(lu), (std::vector<double>{2, 1, -1, 4}));  // multiplier -2/2, then 3 - (-1)*1
  EXPECT_EQ(determinant(lu), 8.0);
}

TEST(ERLUDecompTest, FirstOfEqualLargestCandidatesBelowIsTaken) {
  ERLUDecomp lu(mat(3, 3, {1, 0, 0, 2, 1, 0, -2, 0, 1}));
  EXPECT_EQ(permutation(lu)[0], 1);
  EXPECT_EQ(lu(0, 0), 2.0);
}

TEST(ERLUDecompTest, EveryExchangeIsCountedAndSignsTheDeterminant) {
  // A cyclic permutation: two exchanges, determinant +1.
  ERLUDecomp lu(mat(3, 3, {0, 1, 0, 0, 0, 1, 1, 0, 0}));
  EXPECT_EQ(lu.nbSwaps(), 2);
  EXPECT_EQ(permutation(lu), (std::vector<int>{2, 0, 1}));
  EXPECT_EQ(determinant(lu), 1.0);
  EXPECT_EQ(lu.L(), IdentityMatrix(3));
  EXPECT_EQ(lu.U(), IdentityMatrix(3));
}

TEST(ERLUDecompTest, ZeroMatrixIsSingularAtTheFirstColumn) {
  ERLUDecomp lu(ERDoubleMatrix(3, 3));
  EXPECT_EQ(lu.isSingular(), 1);
  EXPECT_EQ(lu.rang(), 3u);  // the order, without looking further
  EXPECT_EQ(determinant(lu), 0.0);
  EXPECT_EQ(lu.nbSwaps(), 0);
  EXPECT_EQ(permutation(lu), (std::vector<int>{0, 1, 2}));
  EXPECT_EQ(values(lu), std::vector<double>(9, 0.0));
}

TEST(ERLUDecompTest, SingularRankIsTheOrderWithoutLooking) {
  ERLUDecomp lu(mat(2, 2, {1, 2, 2, 4}));
  EXPECT_EQ(lu.isSingular(), 1);
  EXPECT_EQ(lu.rang(), 2u);
  EXPECT_EQ(determinant(lu), 0.0);  // -1 * 2 * 0: the flag is not consulted
}

TEST(ERLUDecompTest, TinyPivotAboveSingularToleranceIsNotSingularButDoesNotCount) {
  ERLUDecomp lu(mat(2, 2, {1, 0, 0, 1e-12}));
  EXPECT_EQ(lu.isSingular(), 0);
  EXPECT_EQ(lu.rang(), 1u);
  EXPECT_EQ(determinant(lu), 1e-12);
}

TEST(ERLUDecompTest, RankCountsNegligibleDiagonalEntriesFromTheBottomOnly) {
  EXPECT_EQ(ERLUDecomp(mat(2, 2, {1e-12, 0, 0, 1})).rang(), 2u);
  EXPECT_EQ(ERLUDecomp(mat(3, 3, {1, 0, 0, 0, 1e-12, 0, 0, 0, 1e-13})).rang(), 1u);
  EXPECT_EQ(ERLUDecomp(mat(2, 2, {1, 0, 0, 1e-11})).rang(), 1u);  // 1e-11 itself is negligible
  EXPECT_EQ(ERLUDecomp(mat(2, 2, {1, 0, 0, -1e-11})).rang(), 1u);
  EXPECT_EQ(ERLUDecomp(mat(2, 2, {1, 0, 0, 2e-11})).rang(), 2u);
  EXPECT_EQ(ERLUDecomp(mat(2, 2, {1, 0, 0, 1e-21})).isSingular(), 1);
}

TEST(ERLUDecompTest, NaNPivotPassesTheSingularTest) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  ERLUDecomp lu(mat(2, 2, {nan, 1, 1, 1}));
  EXPECT_EQ(lu.isSingular(), 0);
  EXPECT_EQ(lu.nbSwaps(), 0);
  EXPECT_TRUE(std::isnan(determinant(lu)));
}

TEST(ERLUDecompTest, FactorsAndPermutationRebuildTheSource) {
  ERDoubleMatrix a = mat(2, 2, {2, 1, -2, 3});
  ERLUDecomp lu(a);
  EXPECT_EQ(values(lu.L()), (std::vector<double>{1, 0, -1, 1}));
  EXPECT_EQ(values(lu.U()), (std::vector<double>{2, 1, 0, 4}));
  EXPECT_EQ(lu.P(), IdentityMatrix(2));
  EXPECT_EQ(lu.L() * lu.U(), a);
  EXPECT_EQ(lu.sourceMatrix(), a);
}

TEST(ERLUDecompTest, RandomFactorsSplitTheEliminatedMatrix) {
  std::mt19937 rng(5);
  for (unsigned n = 1; n <= 6; ++n) {
    ERDoubleMatrix a = randomMatrix(rng, n, n);
    ERLUDecomp lu(a);
    const ERDoubleMatrix L = lu.L(), U = lu.U(), P = lu.P();
    for (unsigned i = 0; i < n; ++i)
      for (unsigned j = 0; j < n; ++j) {
        EXPECT_EQ(L(i, j), j < i ? lu(i, j) : (i == j ? 1.0 : 0.0));
        EXPECT_EQ(U(i, j), j >= i ? lu(i, j) : 0.0);
        EXPECT_EQ(P(i, j), lu.permutation()[i] == static_cast<int>(j) ? 1.0 : 0.0);
      }
    EXPECT_LE(relativeDifference(toEigen(L * U), toEigen(P * a)), 1e-13);
  }
}

TEST(ERLUDecompTest, SolveWithAVectorReturnsTheOrdersLength) {
  ERLUDecomp lu(mat(2, 2, {2, 1, -2, 3}));
  ERDoubleVec x = solve(lu, vec({3, 1}));  // 2x + y = 3, -2x + 3y = 1
  EXPECT_EQ(x.length(), 2u);
  EXPECT_EQ(values(x), (std::vector<double>{1, 1}));
  ERDoubleVec y = solve(ERLUDecomp(mat(2, 2, {0, 1, 1, 0})), vec({5, 7}));
  EXPECT_EQ(values(y), (std::vector<double>{7, 5}));
}

TEST(ERLUDecompTest, SolveWithoutRightHandSideGivesZerosUnlessAPivotIsZero) {
  std::mt19937 rng(3);
  ERLUDecomp lu(randomMatrix(rng, 4, 4));
  EXPECT_EQ(values(solve(lu)), std::vector<double>(4, 0.0));
  ERDoubleVec singular = solve(ERLUDecomp(mat(2, 2, {1, 2, 2, 4})));
  ASSERT_EQ(singular.length(), 2u);
  EXPECT_TRUE(std::isnan(singular[1]));  // 0 / 0
  EXPECT_EQ(solve(ERLUDecomp()).length(), 0u);
}

TEST(ERLUDecompTest, CopiesOwnTheirPermutation) {
  ERLUDecomp lu(mat(2, 2, {0, 1, 1, 0}));
  ERLUDecomp copy(lu);
  EXPECT_NE(copy.permutation(), lu.permutation());
  EXPECT_EQ(permutation(copy), permutation(lu));
  EXPECT_EQ(copy.nbSwaps(), 1);
  EXPECT_EQ(copy.sourceMatrix(), lu.sourceMatrix());
  ERLUDecomp assigned(mat(3, 3, {1, 0, 0, 0, 1, 0, 0, 0, 1}));
  assigned = lu;
  EXPECT_EQ(permutation(assigned), (std::vector<int>{1, 0}));
  EXPECT_EQ(assigned.rows(), 2u);
  assigned = assigned;
  EXPECT_EQ(permutation(assigned), (std::vector<int>{1, 0}));
}

TEST(ERLUDecompTest, AssigningAMatrixDecomposesIt) {
  ERLUDecomp lu(mat(2, 2, {0, 1, 1, 0}));
  lu = mat(3, 3, {0, 0, 0, 0, 0, 0, 0, 0, 0});
  EXPECT_EQ(lu.isSingular(), 1);
  EXPECT_EQ(lu.rows(), 3u);
  lu = mat(2, 2, {2, 1, -2, 3});
  EXPECT_EQ(lu.isSingular(), 0);
  EXPECT_EQ(lu.nbSwaps(), 0);
  EXPECT_EQ(determinant(lu), 8.0);
  lu = lu.sourceMatrix();  // its own source, decomposed again
  EXPECT_EQ(determinant(lu), 8.0);
  EXPECT_EQ(values(lu), (std::vector<double>{2, 1, -1, 4}));
}

TEST(ERLUDecompTest, PrintsTheFactorMatrix) {
  std::ostringstream os;
  os << ERLUDecomp(mat(2, 2, {2, 1, -2, 3}));
  EXPECT_EQ(os.str(), "2\n2\n[2\t1\t]\n[-1\t4\t]\n");
}

TEST(ERLUDecompDeathTest, NonSquareMatrixIsReported) {
  VTEST_CHECKING_ONLY();
  EXPECT_DEATH(ERLUDecomp(ERDoubleMatrix(2, 3)), deathRegex("m.rows()==m.cols()"));
  ERLUDecomp lu;
  EXPECT_DEATH(lu = ERDoubleMatrix(3, 2), deathRegex("m.rows()==m.cols()"));
}

TEST(ERLUDecompContinueTest, NonSquareMatrixIsEliminatedAsGiven) {
  VTEST_CONTINUING_ONLY();
  ERLUDecomp wide, tall;
  Reports r = capture([&] { wide = mat(2, 3, {2, 0, 4, 0, 4, 8}); });
  EXPECT_EQ(r.conditions, conds({"m.rows()==m.cols()"}));
  EXPECT_EQ(wide.isSingular(), 0);
  EXPECT_EQ(wide(0, 2), 2.0);  // the extra column is solved
  EXPECT_EQ(wide(1, 2), 2.0);
  r = capture([&] { tall = ERDoubleMatrix(3, 2, 1.0); });
  EXPECT_EQ(r.conditions, conds({"m.rows()==m.cols()", "m.rows()<=m.cols()"}));
  EXPECT_EQ(tall.isSingular(), 1);
}

TEST(ERLUDecompDeathTest, InverseOfSingularIsReported) {
  VTEST_CHECKING_ONLY();
  ERLUDecomp lu(mat(2, 2, {1, 2, 2, 4}));
  EXPECT_DEATH(inverse(lu), deathRegex("!m.m_isSingular"));
}

TEST(ERLUDecompContinueTest, InverseOfSingularDividesByTheZeroPivot) {
  VTEST_CONTINUING_ONLY();
  ERLUDecomp lu(mat(2, 2, {1, 2, 2, 4}));
  ERDoubleMatrix inv;
  Reports r = capture([&] { inv = inverse(lu); });
  EXPECT_EQ(r.conditions, conds({"!m.m_isSingular"}));
  ASSERT_EQ(inv.rows(), 2u);
  ASSERT_EQ(inv.cols(), 2u);
  EXPECT_FALSE(std::isfinite(inv(1, 0)));
  EXPECT_FALSE(std::isfinite(inv(1, 1)));
}

TEST(ERLUDecompDeathTest, RightHandSideOfAnotherRowCountIsReported) {
  VTEST_CHECKING_ONLY();
  ERLUDecomp lu(IdentityMatrix(3));
  EXPECT_DEATH(solve(lu, ERDoubleMatrix(2, 1)), deathRegex("B.rows()==lu.rows()"));
  EXPECT_DEATH(solve(lu, vec({1, 2})), deathRegex("B.rows()==lu.rows()"));
}

TEST(ERLUDecompContinueTest, RightHandSideOfAnotherRowCountIsReturnedUnsolved) {
  VTEST_CONTINUING_ONLY();
  ERLUDecomp lu(mat(3, 3, {2, 0, 0, 0, 2, 0, 0, 0, 2}));
  ERDoubleVec x;
  Reports r = capture([&] { x = solve(lu, vec({4, 6})); });
  EXPECT_EQ(r.conditions, conds({"B.rows()==lu.rows()"}));
  EXPECT_EQ(values(x), (std::vector<double>{4, 6}));
}

// ---------------------------------------------------------------------------------------------
// LU decomposition against Eigen's partial-pivoting LU

TEST(ERLUDecompEigenTest, PivotsFactorsAndDeterminantMatch) {
  forWellConditionedDraws(
      1, [](const ERDoubleMatrix& a, const Eigen::PartialPivLU<Eigen::MatrixXd>& ref, std::mt19937&) {
        ERLUDecomp lu(a);
        ASSERT_EQ(lu.isSingular(), 0);
        EXPECT_EQ(lu.rang(), a.rows());
        // Eigen's permutation sends source row perm[i] to row i.
        const auto& indices = ref.permutationP().indices();
        for (unsigned i = 0; i < a.rows(); ++i) EXPECT_EQ(indices(lu.permutation()[i]), static_cast<int>(i));
        EXPECT_EQ(lu.nbSwaps() % 2 == 0 ? 1 : -1, static_cast<int>(ref.permutationP().determinant()));
        EXPECT_LE(relativeDifference(toEigen(lu), ref.matrixLU()), kAgreement);
        const double det = determinant(lu), expected = ref.determinant();
        EXPECT_LE(std::fabs(det - expected), kAgreement * std::fabs(expected));
      });
}

TEST(ERLUDecompEigenTest, SolutionsMatch) {
  forWellConditionedDraws(
      2, [](const ERDoubleMatrix& a, const Eigen::PartialPivLU<Eigen::MatrixXd>& ref, std::mt19937& rng) {
        const unsigned n = a.rows();
        ERLUDecomp lu(a);
        ERDoubleVec b = randomVector(rng, n);
        ERDoubleVec x = solve(lu, b);
        ASSERT_EQ(x.length(), n);
        const Eigen::VectorXd expectedX = ref.solve(Eigen::Map<const Eigen::VectorXd>(b.data(), n));
        EXPECT_LE(relativeDifference(Eigen::Map<const EMatrix>(x.data(), n, 1), expectedX), kAgreement);
        ERDoubleMatrix B = randomMatrix(rng, n, 4);
        ERDoubleMatrix X = solve(lu, B);
        ASSERT_EQ(X.rows(), n);
        ASSERT_EQ(X.cols(), 4u);
        EXPECT_LE(relativeDifference(toEigen(X), ref.solve(toEigen(B))), kAgreement);
      });
}

TEST(ERLUDecompEigenTest, InversesMatch) {
  forWellConditionedDraws(
      3, [](const ERDoubleMatrix& a, const Eigen::PartialPivLU<Eigen::MatrixXd>& ref, std::mt19937&) {
        ERDoubleMatrix inv = inverse(ERLUDecomp(a));
        EXPECT_LE(relativeDifference(toEigen(inv), ref.inverse()), kAgreement);
      });
}

TEST(ERLUDecompEigenTest, HilbertOfOrderFourIsSolvedAsEigenDoes) {
  // Condition about 1.6e4: a fixed harder case, checked to the looser tolerance that condition allows.
  ERDoubleMatrix h = Hilbert(4);
  Eigen::PartialPivLU<Eigen::MatrixXd> ref(toEigen(h));
  ERDoubleVec b = vec({1, 2, 3, 4});
  ERDoubleVec x = solve(ERLUDecomp(h), b);
  const Eigen::VectorXd expected = ref.solve(Eigen::Map<const Eigen::VectorXd>(b.data(), 4));
  EXPECT_LE(relativeDifference(Eigen::Map<const EMatrix>(x.data(), 4, 1), expected), 1e-10);
}

// ---------------------------------------------------------------------------------------------
// Products, transposition, norms

TEST(MatrixProductTest, SmallProductsMatchTheOrderedLoopExactly) {
  std::mt19937 rng(21);
  const unsigned shapes[][3] = {{3, 3, 3}, {3, 3, 9}, {1, 1, 1}, {2, 5, 3}, {6, 1, 4}, {4, 7, 1}};
  for (const auto& s : shapes) {
    ERDoubleMatrix a = randomMatrix(rng, s[0], s[1]), b = randomMatrix(rng, s[1], s[2]);
    ERDoubleMatrix c = a * b;
    ASSERT_EQ(c.rows(), s[0]);
    ASSERT_EQ(c.cols(), s[2]);
    EXPECT_EQ(values(c), loopProduct(a, b, s[1]));
    EXPECT_LE(relativeDifference(toEigen(c), toEigen(a) * toEigen(b)), 1e-15);
  }
}

TEST(MatrixProductTest, RandomShapesMatchTheOrderedLoopExactly) {
  std::mt19937 rng(22);
  std::uniform_int_distribution<unsigned> size(1, 8);
  for (int t = 0; t < 40; ++t) {
    const unsigned r = size(rng), k = size(rng), c = size(rng);
    ERDoubleMatrix a = randomMatrix(rng, r, k), b = randomMatrix(rng, k, c);
    EXPECT_EQ(values(a * b), loopProduct(a, b, k));
  }
}

TEST(MatrixProductTest, ProductWithEmptyInnerDimensionIsZero) {
  ERDoubleMatrix c = ERDoubleMatrix(2, 0) * ERDoubleMatrix(0, 3);
  EXPECT_EQ(c, ERDoubleMatrix(2, 3));
}

TEST(MatrixProductDeathTest, ProductOfTwoByThreeMatricesIsReported) {
  VTEST_CHECKING_ONLY();
  EXPECT_DEATH(ERDoubleMatrix(2, 3) * ERDoubleMatrix(2, 3), deathRegex("m1.cols()==m2.rows()"));
}

TEST(MatrixProductContinueTest, MismatchedProductSumsTheTermsBothHave) {
  VTEST_CONTINUING_ONLY();
  ERDoubleMatrix a = mat(2, 3, {1, 2, 3, 4, 5, 6}), b = mat(2, 3, {1, 0, 2, 0, 1, 3});
  ERDoubleMatrix c;
  Reports r = capture([&] { c = a * b; });
  EXPECT_EQ(r.conditions, conds({"m1.cols()==m2.rows()"}));
  ASSERT_EQ(c.rows(), 2u);
  ASSERT_EQ(c.cols(), 3u);
  EXPECT_EQ(values(c), (std::vector<double>{1, 2, 8, 4, 5, 23}));
}

TEST(MatrixProductTest, MatrixTimesVectorAndSlice) {
  std::mt19937 rng(23);
  ERDoubleMatrix m = randomMatrix(rng, 3, 4);
  ERDoubleVec v = randomVector(rng, 4);
  ERDoubleVec mv = m * v;
  ASSERT_EQ(mv.length(), 3u);
  EXPECT_EQ(values(mv), loopProduct(m, ERDoubleMatrix(v, 4, 1), 4));
  // A column of another matrix: a strided slice.
  ERDoubleMatrix other = randomMatrix(rng, 4, 3);
  ERDoubleVec ms = m * other.col(2);
  ERDoubleMatrix column(4, 1);
  for (unsigned k = 0; k < 4; ++k) column(k, 0) = other(k, 2);
  EXPECT_EQ(values(ms), loopProduct(m, column, 4));
}

TEST(MatrixProductDeathTest, VectorOfAnotherLengthIsReported) {
  VTEST_CHECKING_ONLY();
  ERDoubleMatrix m(2, 3);
  EXPECT_DEATH(m * vec({1, 2}), deathRegex("m1.cols()==(unsigned)v.length()"));
  ERDoubleVec v = vec({1, 2, 3, 4});
  EXPECT_DEATH(m * ERDoubleSlice(v, 0, 2, 2), deathRegex("m1.cols()==(unsigned)v.length()"));
}

TEST(MatrixProductContinueTest, VectorOfAnotherLengthSumsTheTermsBothHave) {
  VTEST_CONTINUING_ONLY();
  ERDoubleMatrix m = mat(2, 3, {1, 2, 3, 4, 5, 6});
  ERDoubleVec result;
  Reports r = capture([&] { result = m * vec({1, 10}); });
  EXPECT_EQ(r.conditions, conds({"m1.cols()==(unsigned)v.length()"}));
  EXPECT_EQ(values(result), (std::vector<double>{21, 54}));
}

TEST(MatrixProductTest, DotProductSumsInIndexOrder) {
  std::mt19937 rng(24);
  ERDoubleVec a = randomVector(rng, 7), b = randomVector(rng, 7);
  double expected = 0.0;
  for (unsigned k = 0; k < 7; ++k) expected = a[k] * b[k] + expected;
  EXPECT_EQ(a * b, expected);
  EXPECT_EQ(vec({1, 2, 3}) * vec({4, 5, 6}), 32.0);
  EXPECT_EQ(ERDoubleVec() * ERDoubleVec(), 0.0);
}

TEST(MatrixProductDeathTest, DotProductOfDifferentLengthsIsReported) {
  VTEST_CHECKING_ONLY();
  EXPECT_DEATH(vec({1, 2}) * vec({1, 2, 3}), deathRegex("v1.length()==v2.length()"));
}

TEST(MatrixProductContinueTest, DotProductOfDifferentLengthsUsesTheShorter) {
  VTEST_CONTINUING_ONLY();
  double d = 0;
  Reports r = capture([&] { d = vec({1, 2}) * vec({3, 4, 5}); });
  EXPECT_EQ(r.conditions, conds({"v1.length()==v2.length()"}));
  EXPECT_EQ(d, 11.0);
}

TEST(MatrixProductTest, OuterProductOfAVectorWithItself) {
  ERDoubleVec v = vec({1, 2, 3});
  EXPECT_EQ(values(v % v), (std::vector<double>{1, 2, 3, 2, 4, 6, 3, 6, 9}));
  ERDoubleVec w = vec({1, 2, 3});  // distinct storage, same contents: the general product
  EXPECT_EQ(values(v % w), (std::vector<double>{1, 2, 3, 2, 4, 6, 3, 6, 9}));
  EXPECT_EQ(values(vec({1, 2}) % vec({3, -1})), (std::vector<double>{3, -1, 6, -2}));
}

TEST(MatrixProductTest, OuterProductOfOneStorageIsExactlySymmetric) {
  std::mt19937 rng(25);
  ERDoubleVec v = randomVector(rng, 9);
  ERDoubleMatrix m = v % v;
  ASSERT_EQ(m.rows(), 9u);
  for (unsigned i = 0; i < 9; ++i)
    for (unsigned j = 0; j < 9; ++j) EXPECT_EQ(m(i, j), v[i <= j ? i : j] * v[i <= j ? j : i]);
  ERDoubleVec other = randomVector(rng, 9);
  ERDoubleMatrix g = v % other;
  for (unsigned i = 0; i < 9; ++i)
    for (unsigned j = 0; j < 9; ++j) EXPECT_EQ(g(i, j), v[i] * other[j]);
}

TEST(MatrixProductDeathTest, OuterProductOfDifferentLengthsIsReported) {
  VTEST_CHECKING_ONLY();
  EXPECT_DEATH(vec({1, 2}) % vec({1, 2, 3}), deathRegex("v1.length()==v2.length()"));
}

TEST(MatrixProductContinueTest, OuterProductOfDifferentLengthsIsRectangular) {
  VTEST_CONTINUING_ONLY();
  ERDoubleMatrix m;
  Reports r = capture([&] { m = vec({1, 2}) % vec({1, 2, 3}); });
  EXPECT_EQ(r.conditions, conds({"v1.length()==v2.length()"}));
  ASSERT_EQ(m.rows(), 2u);
  ASSERT_EQ(m.cols(), 3u);
  EXPECT_EQ(values(m), (std::vector<double>{1, 2, 3, 2, 4, 6}));
}

TEST(MatrixProductTest, ScalarProductsAndQuotients) {
  ERDoubleMatrix m = mat(2, 2, {1, -2, 3, 0.5});
  EXPECT_EQ(values(2.0 * m), (std::vector<double>{2, -4, 6, 1}));
  EXPECT_EQ(values(m * 2.0), (std::vector<double>{2, -4, 6, 1}));
  EXPECT_EQ(values(m / 2.0), (std::vector<double>{0.5, -1, 1.5, 0.25}));
  ERDoubleMatrix z = m / 0.0;
  EXPECT_EQ(z(0, 0), std::numeric_limits<double>::infinity());
  EXPECT_EQ(z(0, 1), -std::numeric_limits<double>::infinity());
  EXPECT_EQ(values(m), (std::vector<double>{1, -2, 3, 0.5}));
}

TEST(MatrixTransposeTest, TransposeMatchesEigenExactly) {
  std::mt19937 rng(26);
  for (unsigned r = 1; r <= 5; ++r)
    for (unsigned c = 1; c <= 5; ++c) {
      ERDoubleMatrix m = randomMatrix(rng, r, c);
      ERDoubleMatrix t = transpose(m);
      ASSERT_EQ(t.rows(), c);
      ASSERT_EQ(t.cols(), r);
      EXPECT_TRUE(toEigen(t) == toEigen(m).transpose());
    }
  EXPECT_EQ(transpose(ERDoubleMatrix(0, 3)).rows(), 3u);
  EXPECT_EQ(transpose(ERDoubleMatrix(0, 3)).cols(), 0u);
}

TEST(MatrixNormTest, NormsSumSquaresInIndexOrder) {
  std::mt19937 rng(27);
  ERDoubleMatrix m = randomMatrix(rng, 4, 5);
  double expected = 0.0;
  for (double d : values(m)) expected = expected + d * d;
  EXPECT_EQ(norme2(m.elements()), expected);
  EXPECT_EQ(norme(m), std::sqrt(expected));
  EXPECT_LE(std::fabs(norme(m) - toEigen(m).norm()), 1e-15 * toEigen(m).norm());
  EXPECT_EQ(norme(mat(1, 2, {3, 4})), 5.0);
  EXPECT_EQ(norme2(ERDoubleVec()), 0.0);
}

// ---------------------------------------------------------------------------------------------
// Identity and Hilbert matrices, Cholesky factor, symmetrisation

TEST(MatrixIdentityHilbertTest, IdentityHasOnesOnTheDiagonal) {
  EXPECT_EQ(values(IdentityMatrix(3)), (std::vector<double>{1, 0, 0, 0, 1, 0, 0, 0, 1}));
  EXPECT_EQ(IdentityMatrix(0).rows(), 0u);
}

TEST(MatrixIdentityHilbertTest, HilbertHasReciprocalsOfIPlusJPlusOne) {
  ERDoubleMatrix h = Hilbert(3);
  EXPECT_EQ(h(0, 0), 1.0);
  EXPECT_EQ(h(0, 1), 1.0 / 2.0);
  EXPECT_EQ(h(0, 2), 1.0 / 3.0);
  EXPECT_EQ(h(2, 2), 1.0 / 5.0);
  EXPECT_EQ(h(1, 2), h(2, 1));
  EXPECT_EQ(h(1, 1), 1.0 / 3.0);
}

TEST(MatrixCholeskyTest, FactorOfASmallMatrix) {
  ERDoubleMatrix l = MatrixCholesky(mat(2, 2, {4, 2, 2, 3}));
  EXPECT_EQ(values(l), (std::vector<double>{2, 0, 1, std::sqrt(2.0)}));
}

TEST(MatrixCholeskyTest, UpperOffDiagonalIsNeverRead) {
  EXPECT_EQ(MatrixCholesky(mat(2, 2, {4, 99, 2, 3})), MatrixCholesky(mat(2, 2, {4, 2, 2, 3})));
}

TEST(MatrixCholeskyTest, NonPositivePivotGivesNaN) {
  ERDoubleMatrix l = MatrixCholesky(mat(2, 2, {1, 2, 2, 1}));
  EXPECT_EQ(l(1, 0), 2.0);
  EXPECT_TRUE(std::isnan(l(1, 1)));
  ERDoubleMatrix z = MatrixCholesky(mat(2, 2, {0, 0, 1, 1}));
  EXPECT_EQ(z(0, 0), 0.0);
  EXPECT_EQ(z(1, 0), std::numeric_limits<double>::infinity());
}

TEST(MatrixCholeskyTest, RandomSymmetricPositiveDefiniteMatchesEigenLLT) {
  std::mt19937 rng(31);
  for (unsigned n = 1; n <= 10; ++n)
    for (int d = 0; d < 5; ++d) {
      // B B^T + n I: eigenvalues at least n, so well conditioned for these sizes.
      ERDoubleMatrix b = randomMatrix(rng, n, n);
      const EMatrix a = toEigen(b) * toEigen(b).transpose() + n * EMatrix::Identity(n, n);
      ERDoubleMatrix l = MatrixCholesky(fromEigen(a));
      const EMatrix expected = Eigen::LLT<Eigen::MatrixXd>(a).matrixL();
      EXPECT_LE(relativeDifference(toEigen(l), expected), kAgreement) << "order " << n;
      for (unsigned i = 0; i < n; ++i)
        for (unsigned j = i + 1; j < n; ++j) EXPECT_EQ(l(i, j), 0.0);
    }
}

TEST(MatrixCholeskyDeathTest, NonSquareIsReported) {
  VTEST_CHECKING_ONLY();
  EXPECT_DEATH(MatrixCholesky(ERDoubleMatrix(2, 3)), deathRegex("a.rows()==a.cols()"));
}

TEST(MatrixCholeskyContinueTest, NonSquareFactorsTheLeadingSquare) {
  VTEST_CONTINUING_ONLY();
  ERDoubleMatrix l;
  Reports r = capture([&] { l = MatrixCholesky(mat(2, 3, {4, 7, 7, 2, 3, 7})); });
  EXPECT_EQ(r.conditions, conds({"a.rows()==a.cols()"}));
  EXPECT_EQ(values(l), (std::vector<double>{2, 0, 1, std::sqrt(2.0)}));
}

TEST(MatrixSymmetrisationTest, TriangleCopiesMirrorAndKeepTheDiagonal) {
  ERDoubleMatrix m = mat(3, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9});
  ERDoubleMatrix sup = m, inf = m;
  CopyTriSupToTriInf(sup);
  CopyTriInfToTriSup(inf);
  EXPECT_EQ(values(sup), (std::vector<double>{1, 2, 3, 2, 5, 6, 3, 6, 9}));
  EXPECT_EQ(values(inf), (std::vector<double>{1, 4, 7, 4, 5, 8, 7, 8, 9}));
  EXPECT_EQ(MatSymetrisSup(m), sup);
  EXPECT_EQ(MatSymetrisInf(m), inf);
  EXPECT_EQ(values(m), (std::vector<double>{1, 2, 3, 4, 5, 6, 7, 8, 9}));
}

TEST(MatrixSymmetrisationTest, OneByOneIsUnchanged) {
  ERDoubleMatrix m = mat(1, 1, {5});
  CopyTriSupToTriInf(m);
  EXPECT_EQ(values(m), (std::vector<double>{5}));
  CopyTriInfToTriSup(m);
  EXPECT_EQ(values(m), (std::vector<double>{5}));
}

TEST(MatrixSymmetrisationTest, OldFormsGiveTheSameResults) {
  std::mt19937 rng(41);
  for (unsigned n = 0; n <= 6; ++n) {
    ERDoubleMatrix m = randomMatrix(rng, n, n);
    EXPECT_EQ(OldMatSymetrisSup(m), MatSymetrisSup(m));
    EXPECT_EQ(OldMatSymetrisInf(m), MatSymetrisInf(m));
    const EMatrix e = toEigen(m);
    const EMatrix upper = e.triangularView<Eigen::Upper>();
    const EMatrix expectedSup =
        EMatrix(upper) + EMatrix(upper.transpose()) - EMatrix(e.diagonal().asDiagonal());
    EXPECT_TRUE(toEigen(MatSymetrisSup(m)) == expectedSup);
  }
}

TEST(MatrixSymmetrisationDeathTest, NonSquareIsReported) {
  VTEST_CHECKING_ONLY();
  ERDoubleMatrix m(2, 3);
  EXPECT_DEATH(CopyTriSupToTriInf(m), deathRegex("r==c"));
  EXPECT_DEATH(CopyTriInfToTriSup(m), deathRegex("r==c"));
  EXPECT_DEATH(MatSymetrisSup(m), deathRegex("r==c"));
  EXPECT_DEATH(MatSymetrisInf(m), deathRegex("r==c"));
  EXPECT_DEATH(OldMatSymetrisSup(m), deathRegex("m.cols()==m.rows()"));
  EXPECT_DEATH(OldMatSymetrisInf(m), deathRegex("m.cols()==m.rows()"));
}

TEST(MatrixSymmetrisationContinueTest, NonSquareMirrorsTheLeadingSquare) {
  VTEST_CONTINUING_ONLY();
  const ERDoubleMatrix m = mat(2, 3, {1, 2, 3, 4, 5, 6});
  ERDoubleMatrix sup = m, inf = m, oldSup, oldInf;
  Reports r = capture([&] {
    CopyTriSupToTriInf(sup);
    CopyTriInfToTriSup(inf);
    oldSup = OldMatSymetrisSup(m);
    oldInf = OldMatSymetrisInf(m);
  });
  EXPECT_EQ(r.conditions, conds({"r==c", "r==c", "m.cols()==m.rows()", "m.cols()==m.rows()"}));
  EXPECT_EQ(values(sup), (std::vector<double>{1, 2, 3, 2, 5, 6}));
  EXPECT_EQ(values(inf), (std::vector<double>{1, 4, 3, 4, 5, 6}));
  EXPECT_EQ(oldSup, sup);
  EXPECT_EQ(oldInf, inf);
}

}  // namespace
