// Gaussian elimination, LU decomposition and solving, and the matrix utilities. The kernels walk the
// raw row-major storage: the small products and solves here are the inner loop of the solvers.
#include "velmora/matrix.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <ostream>

#include "velmora/ercommon.h"

#define ER_THIS_UNIT "source/align/matrix"

namespace {

// Singular pivots during elimination; negligible diagonal entries when counting the rank.
const double kSingularPivot = 1e-20;
const double kRankTolerance = 1e-11;

// The sum of a[k]*b[k*strideB] for k = 0 .. n-1, accumulated from 0.0 in increasing k. Every product, dot
// product and sum of squares of this unit goes through it, so they all round alike.
inline double dotRun(const double* a, const double* b, std::ptrdiff_t strideB, unsigned n) {
  double s = 0.0;
  for (unsigned k = 0; k < n; ++k, b += strideB) s = a[k] * *b + s;
  return s;
}

// Solves U x = y in place for one column x (element i at x[i*ldx]); u is the upper factor with row stride
// ldu. Each row's terms are subtracted one by one in increasing column order.
void backSubstitute(const double* u, unsigned ldu, unsigned n, double* x, unsigned ldx) {
  if (n == 0) return;
  const std::size_t last = n - 1;
  x[last * ldx] = x[last * ldx] / u[last * ldu + last];
  for (std::size_t i = last; i-- > 0;) {
    const double* ui = u + i * ldu;
    double s = x[i * ldx];
    for (std::size_t l = i + 1; l < n; ++l) s = s - ui[l] * x[l * ldx];
    x[i * ldx] = s / ui[i];
  }
}

// Elimination with partial pivoting of the n x c row-major array a (n <= c), see MatriceGaussPivot. The
// row exchange keeps the uppermost of equal pivots so that results do not depend on scan order.
int gaussEliminate(double* a, unsigned n, unsigned c, int* perm, int& nswaps, double tolerance) {
  for (std::size_t k = 0; k < n; ++k) {
    double* rowK = a + k * c;
    std::size_t p = k;
    double best = std::fabs(rowK[k]);
    for (std::size_t r = k + 1; r < n; ++r) {
      const double candidate = std::fabs(a[r * c + k]);
      if (candidate > best) {
        best = candidate;
        p = r;
      }
    }
    if (p != k) {
      std::swap(perm[k], perm[p]);
      std::swap_ranges(rowK, rowK + c, a + p * c);
      ++nswaps;
    }
    if (std::fabs(rowK[k]) < tolerance) return 0;
    for (std::size_t i = k + 1; i < n; ++i) {
      double* rowI = a + i * c;
      rowI[k] = rowI[k] / rowK[k];
      const double f = rowI[k];
      for (std::size_t j = k + 1; j < c; ++j) rowI[j] = rowI[j] - f * rowK[j];
    }
  }
  for (unsigned j = n; j < c; ++j) backSubstitute(a, c, n, a + j, c);
  return 1;
}

// The rows x cols product of the rows x inner array a by the inner x cols array b into c (zero on entry).
void multiply(const double* a, const double* b, double* c, unsigned rows, unsigned inner, unsigned cols,
              unsigned aStride, unsigned bStride) {
  for (unsigned i = 0; i < rows; ++i, a += aStride)
    for (unsigned j = 0; j < cols; ++j) *c++ = dotRun(a, b + j, bStride, inner);
}

// Mirrors the strict upper triangle of the leading n x n block of m (row stride ld) downwards, or the lower
// one upwards.
void mirrorUpper(double* m, unsigned n, unsigned ld) {
  for (std::size_t i = 0; i < n; ++i)
    for (std::size_t j = i + 1; j < n; ++j) m[j * ld + i] = m[i * ld + j];
}
void mirrorLower(double* m, unsigned n, unsigned ld) {
  for (std::size_t i = 0; i < n; ++i)
    for (std::size_t j = i + 1; j < n; ++j) m[i * ld + j] = m[j * ld + i];
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Elimination and LU decomposition

int MatriceGaussPivot(ERDoubleMatrix& m, int*& perm, int& nswaps, double tolerance) {
  const unsigned n = m.rows(), c = m.cols();
  ER_ASSERT_T(m.rows() <= m.cols(), "m.rows()<=m.cols()");
  if (perm == nullptr) perm = new int[n == 0 ? 1 : n];
  nswaps = 0;
  for (unsigned i = 0; i < n; ++i) perm[i] = static_cast<int>(i);
  if (n > c) return 0;  // after the report: a system with more rows than columns is not eliminated
  if (n == 0) return 1;
  return gaussEliminate(m.mutableData(), n, c, perm, nswaps, tolerance);
}

namespace {
// The permutation array of an order-n decomposition (never empty, so that it is always an allocation).
int* newPermutation(unsigned n) { return new int[n == 0 ? 1 : n]; }
}  // namespace

ERLUDecomp::ERLUDecomp() : perm(newPermutation(0)), m_isSingular(0), nswaps(0) {}

ERLUDecomp::ERLUDecomp(const ERDoubleMatrix& m) : perm(nullptr), m_isSingular(0), nswaps(0) { decompose(m); }

ERLUDecomp::ERLUDecomp(const ERLUDecomp& lu)
    : ERDoubleMatrix(lu),
      source(lu.source),
      perm(newPermutation(lu.rows())),
      m_isSingular(lu.m_isSingular),
      nswaps(lu.nswaps) {
  std::copy(lu.perm, lu.perm + lu.rows(), perm);
}

ERLUDecomp::~ERLUDecomp() { delete[] perm; }

ERLUDecomp& ERLUDecomp::operator=(const ERLUDecomp& lu) {
  if (this == &lu) return *this;
  int* copy = newPermutation(lu.rows());
  std::copy(lu.perm, lu.perm + lu.rows(), copy);
  delete[] perm;
  perm = copy;
  ERDoubleMatrix::operator=(lu);
  source = lu.source;
  m_isSingular = lu.m_isSingular;
  nswaps = lu.nswaps;
  return *this;
}

ERLUDecomp& ERLUDecomp::operator=(const ERDoubleMatrix& m) {
  decompose(m);
  return *this;
}

void ERLUDecomp::decompose(const ERDoubleMatrix& m) {
  const ERDoubleMatrix given(m);  // m may be this decomposition's own factors or source
  ERDoubleMatrix::operator=(given);
  source = given;
  ER_ASSERT_T(m.rows() == m.cols(), "m.rows()==m.cols()");
  delete[] perm;
  perm = newPermutation(given.rows());
  m_isSingular = MatriceGaussPivot(*this, perm, nswaps, kSingularPivot) == 0 ? 1 : 0;
}

ERDoubleMatrix ERLUDecomp::L() const {
  const unsigned n = rows();
  ERDoubleMatrix l(n, n);
  for (unsigned i = 1; i < n; ++i)
    std::copy(data() + i * cols(), data() + i * cols() + i, l.mutableData() + i * n);
  return l += IdentityMatrix(n);
}

ERDoubleMatrix ERLUDecomp::U() const {
  const unsigned n = rows();
  ERDoubleMatrix u(n, n);
  double* out = u.mutableData();
  for (unsigned i = 0; i < n; ++i)
    std::copy(data() + i * cols() + i, data() + i * cols() + n, out + i * n + i);
  return u;
}

ERDoubleMatrix ERLUDecomp::P() const {
  const unsigned n = rows();
  ERDoubleMatrix p(n, n);
  double* out = p.mutableData();
  for (unsigned i = 0; i < n; ++i) out[i * n + perm[i]] = 1.0;
  return p;
}

unsigned ERLUDecomp::rang() const {
  const unsigned n = rows();
  if (m_isSingular) return n;  // the order, without looking at the factors: kept as is
  unsigned r = n;
  for (unsigned k = n; k-- > 0;) {
    if (std::fabs(data()[k * cols() + k] - 0.0) > kRankTolerance) break;
    --r;
  }
  return r;
}

ERDoubleMatrix solve(const ERLUDecomp& lu, const ERDoubleMatrix& B) {
  const unsigned n = lu.rows(), q = B.cols(), ld = lu.cols();
  ERDoubleMatrix X(B);
  ER_ASSERT_T(B.rows() == lu.rows(), "B.rows()==lu.rows()");
  if (B.rows() != n || n == 0) return X;  // after the report: nothing is solved
  const int* perm = lu.permutation();
  const double* f = lu.data();
  const double* b = B.data();
  double* x = X.mutableData();
  for (std::size_t i = 0; i < n; ++i)
    if (perm[i] != static_cast<int>(i)) std::copy(b + perm[i] * q, b + perm[i] * q + q, x + i * q);
  // Forward substitution with the unit lower factor, then back substitution column by column.
  for (std::size_t k = 0; k < n; ++k) {
    const double* xk = x + k * q;
    for (std::size_t i = k + 1; i < n; ++i) {
      const double lik = f[i * ld + k];
      double* xi = x + i * q;
      for (std::size_t j = 0; j < q; ++j) xi[j] = xi[j] - lik * xk[j];
    }
  }
  for (unsigned j = 0; j < q; ++j) backSubstitute(f, ld, n, x + j, q);
  return X;
}

ERDoubleVec solve(const ERLUDecomp& lu, const ERDoubleVec& b) {
  return solve(lu, ERDoubleMatrix(b, b.length(), 1)).elements();
}

ERDoubleVec solve(const ERLUDecomp& lu) { return solve(lu, ERDoubleVec(lu.rows())); }

double determinant(const ERLUDecomp& lu) {
  double det = (lu.nbSwaps() % 2 != 0) ? -1.0 : 1.0;
  const unsigned n = lu.rows();
  for (unsigned i = 0; i < n; ++i) det *= lu.data()[i * lu.cols() + i];
  return det;
}

ERDoubleMatrix inverse(const ERLUDecomp& m) {
  ER_ASSERT_T(!m.isSingular(), "!m.m_isSingular");
  return solve(m, IdentityMatrix(m.rows()));
}

std::ostream& operator<<(std::ostream& os, const ERLUDecomp& lu) {
  lu.printOn(os);
  return os;
}

// ---------------------------------------------------------------------------------------------
// Products, transposition, norms

ERDoubleMatrix operator*(const ERDoubleMatrix& m1, const ERDoubleMatrix& m2) {
  ER_ASSERT_T(m1.cols() == m2.rows(), "m1.cols()==m2.rows()");
  ERDoubleMatrix result(m1.rows(), m2.cols());
  // After a size report the sums run over the inner length both operands have.
  multiply(m1.data(), m2.data(), result.mutableData(), m1.rows(), ERMin(m1.cols(), m2.rows()), m2.cols(),
           m1.cols(), m2.cols());
  return result;
}

namespace {
// The product of m by the n elements at v, stride apart.
ERDoubleVec timesVector(const ERDoubleMatrix& m, const double* v, int stride, unsigned n) {
  ER_ASSERT_T(m.cols() == n, "m1.cols()==(unsigned)v.length()");
  ERDoubleVec result(m.rows());
  if (m.rows() == 0) return result;
  // The vector's own writable access, once: the fresh result has a single owner.
  double* out = &result[0];
  const unsigned inner = ERMin(m.cols(), n);
  const double* row = m.data();
  for (unsigned i = 0; i < m.rows(); ++i, row += m.cols()) out[i] = dotRun(row, v, stride, inner);
  return result;
}
}  // namespace

ERDoubleVec operator*(const ERDoubleMatrix& m1, const ERDoubleVec& v) {
  return timesVector(m1, v.data(), 1, v.length());
}

ERDoubleVec operator*(const ERDoubleMatrix& m1, const ERDoubleSlice& v) {
  return timesVector(m1, v.data(), v.stride(), v.length());
}

double operator*(const ERDoubleVec& v1, const ERDoubleVec& v2) {
  ER_ASSERT_T(v1.length() == v2.length(), "v1.length()==v2.length()");
  return dotRun(v1.data(), v2.data(), 1, ERMin(v1.length(), v2.length()));
}

ERDoubleMatrix operator%(const ERDoubleVec& v1, const ERDoubleVec& v2) {
  ER_ASSERT_T(v1.length() == v2.length(), "v1.length()==v2.length()");
  if (v1.data() != v2.data()) return ERDoubleMatrix(v1, v1.length(), 1) * ERDoubleMatrix(v2, 1, v2.length());
  // One storage given twice: the upper triangle, mirrored, so that the result is exactly symmetric.
  const unsigned n = v1.length();
  ERDoubleMatrix result(n, n);
  double* out = result.mutableData();
  const double* v = v1.data();
  for (std::size_t i = 0; i < n; ++i)
    for (std::size_t j = i; j < n; ++j) out[i * n + j] = v[i] * v[j];
  CopyTriSupToTriInf(result);
  return result;
}

ERDoubleMatrix operator*(double s, const ERDoubleMatrix& m) { return m * s; }

ERDoubleMatrix operator*(const ERDoubleMatrix& m, double s) {
  ERDoubleMatrix result(m);
  return result *= s;
}

ERDoubleMatrix operator/(const ERDoubleMatrix& m, double s) {
  ERDoubleMatrix result(m);
  return result /= s;
}

ERDoubleMatrix transpose(const ERDoubleMatrix& m) {
  ERDoubleMatrix result(m.cols(), m.rows());
  for (unsigned j = 0; j < m.cols(); ++j) result.row(j) = m.col(j);
  return result;
}

double norme2(const ERDoubleVec& v) { return dotRun(v.data(), v.data(), 1, v.length()); }

double norme(const ERDoubleMatrix& m) { return std::sqrt(norme2(m.elements())); }

// ---------------------------------------------------------------------------------------------
// Identity and Hilbert matrices, Cholesky factor, symmetrisation

ERDoubleMatrix IdentityMatrix(unsigned n) {
  ERDoubleMatrix result(n, n);
  double* out = result.mutableData();
  for (std::size_t i = 0; i < n; ++i) out[i * n + i] = 1.0;
  return result;
}

ERDoubleMatrix Hilbert(unsigned n) {
  ERDoubleMatrix result(n, n);
  double* out = result.mutableData();
  for (unsigned i = 0; i < n; ++i)
    for (unsigned j = 0; j < n; ++j) *out++ = 1.0 / static_cast<double>(i + j + 1);
  return result;
}

ERDoubleMatrix MatrixCholesky(const ERDoubleMatrix& a) {
  ER_ASSERT_T(a.rows() == a.cols(), "a.rows()==a.cols()");
  const unsigned n = ERMin(a.rows(), a.cols()), lda = a.cols();
  ERDoubleMatrix result = IdentityMatrix(n);
  double* l = result.mutableData();
  const double* in = a.data();
  for (std::size_t i = 0; i < n; ++i) {
    const double* li = l + i * n;
    const double s = dotRun(li, li, 1, static_cast<unsigned>(i));
    l[i * n + i] = std::sqrt(in[i * lda + i] - s);
    const double reciprocal = 1.0 / l[i * n + i];
    for (std::size_t j = i + 1; j < n; ++j) {
      const double t = dotRun(l + j * n, li, 1, static_cast<unsigned>(i));
      l[j * n + i] = (in[j * lda + i] - t) * reciprocal;
    }
  }
  return result;
}

void CopyTriSupToTriInf(ERDoubleMatrix& m) {
  const unsigned r = m.rows(), c = m.cols();
  ER_ASSERT_T(r == c, "r==c");
  // After the report only the leading square block is mirrored.
  if (ERMin(r, c) > 1) mirrorUpper(m.mutableData(), ERMin(r, c), c);
}

void CopyTriInfToTriSup(ERDoubleMatrix& m) {
  const unsigned r = m.rows(), c = m.cols();
  ER_ASSERT_T(r == c, "r==c");
  if (ERMin(r, c) > 1) mirrorLower(m.mutableData(), ERMin(r, c), c);
}

ERDoubleMatrix MatSymetrisSup(const ERDoubleMatrix& m) {
  ERDoubleMatrix result(m);
  CopyTriSupToTriInf(result);
  return result;
}

ERDoubleMatrix MatSymetrisInf(const ERDoubleMatrix& m) {
  ERDoubleMatrix result(m);
  CopyTriInfToTriSup(result);
  return result;
}

ERDoubleMatrix OldMatSymetrisSup(const ERDoubleMatrix& m) {
  ER_ASSERT_T(m.cols() == m.rows(), "m.cols()==m.rows()");
  const unsigned n = ERMin(m.rows(), m.cols());
  ERDoubleMatrix result(m);
  for (unsigned i = 0; i < n; ++i)
    for (unsigned j = i; j < n; ++j) result(j, i) = m(i, j);
  return result;
}

ERDoubleMatrix OldMatSymetrisInf(const ERDoubleMatrix& m) {
  ER_ASSERT_T(m.cols() == m.rows(), "m.cols()==m.rows()");
  const unsigned n = ERMin(m.rows(), m.cols());
  ERDoubleMatrix result(m);
  for (unsigned i = 0; i < n; ++i)
    for (unsigned j = i; j < n; ++j) result(i, j) = m(j, i);
  return result;
}
