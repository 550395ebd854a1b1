// Linear algebra over the dense matrix: Gaussian elimination with partial pivoting, the LU decomposition
// with solving, determinant, inverse and rank, and the matrix utilities (products, transposition, norms,
// identity and Hilbert matrices, Cholesky factor, symmetrisation).
#ifndef VELMORA_MATRIX_H
#define VELMORA_MATRIX_H

#include <iosfwd>

#include "velmora/notempl/matdbl.h"
#include "velmora/notempl/vcdouble.h"

// ---------------------------------------------------------------------------------------------
// Elimination and LU decomposition

// Eliminates the n x c matrix m (n = rows <= c = cols) in place with partial pivoting: afterwards the
// strictly lower part holds the multipliers of L (unit diagonal implied) and the rest holds U, and
// row i is row perm[i] of the original. Of pivots of equal magnitude the uppermost row is kept. Columns
// beyond n are carried along as right-hand sides and, on success, replaced by their solutions. perm must
// hold n entries; when it is null, an array is allocated with new[] and handed to the caller. nswaps
// receives the number of row exchanges. Returns 1, or 0 as soon as a pivot's magnitude is below
// tolerance (m is then left partly eliminated; a NaN pivot is not caught).
int MatriceGaussPivot(ERDoubleMatrix& m, int*& perm, int& nswaps, double tolerance);

// The LU decomposition with partial pivoting of a square matrix, kept for repeated solving. The inherited
// matrix holds the factors as MatriceGaussPivot leaves them. A pivot below 1e-20 marks the decomposition
// singular (it is not refused: callers test isSingular()); the rank counts diagonal entries of U above
// 1e-11. The decomposition is taken implicitly wherever a matrix is given for one.
class ERLUDecomp : public ERDoubleMatrix {
 public:
  ERLUDecomp();                         // of the 0 x 0 matrix
  ERLUDecomp(const ERDoubleMatrix& m);  // NOLINT: decomposes m
  ERLUDecomp(const ERLUDecomp& lu);
  ~ERLUDecomp() override;
  ERLUDecomp& operator=(const ERLUDecomp& lu);
  ERLUDecomp& operator=(const ERDoubleMatrix& m);  // decomposes m

  int isSingular() const { return m_isSingular; }
  int nbSwaps() const { return nswaps; }
  // Row i of the factors is row permutation()[i] of the source; rows() entries.
  const int* permutation() const { return perm; }
  const ERDoubleMatrix& sourceMatrix() const { return source; }

  ERDoubleMatrix L() const;  // unit lower factor
  ERDoubleMatrix U() const;  // upper factor with the diagonal
  ERDoubleMatrix P() const;  // 1.0 at (i, permutation()[i]): P * source == L * U
  // A singular decomposition answers its order without looking further; this is kept as is. Otherwise
  // the order less the diagonal entries of U at most 1e-11 in magnitude counted from the bottom up to
  // the first larger one.
  unsigned rang() const;

 private:
  void decompose(const ERDoubleMatrix& m);

  ERDoubleMatrix source;
  int* perm;
  int m_isSingular;
  int nswaps;
};

// The solution X of source * X = B, column by column, for B of rows() rows. A singular decomposition is
// not refused: dividing by its tiny or zero pivots is the caller's concern.
ERDoubleMatrix solve(const ERLUDecomp& lu, const ERDoubleMatrix& B);
ERDoubleVec solve(const ERLUDecomp& lu, const ERDoubleVec& b);
// Solves against a vector of zeros: the zero vector unless a pivot is zero or a factor is not a number.
ERDoubleVec solve(const ERLUDecomp& lu);
// The product of the factors' diagonal, negated for an odd number of row exchanges; the singularity
// flag is not consulted.
double determinant(const ERLUDecomp& lu);
ERDoubleMatrix inverse(const ERLUDecomp& m);                       // the decomposition must not be singular
std::ostream& operator<<(std::ostream& os, const ERLUDecomp& lu);  // the factor matrix

// ---------------------------------------------------------------------------------------------
// Products, transposition, norms

// Every sum of products is accumulated from 0.0 in increasing index order.
ERDoubleMatrix operator*(const ERDoubleMatrix& m1, const ERDoubleMatrix& m2);
ERDoubleVec operator*(const ERDoubleMatrix& m1, const ERDoubleVec& v);
ERDoubleVec operator*(const ERDoubleMatrix& m1, const ERDoubleSlice& v);
double operator*(const ERDoubleVec& v1, const ERDoubleVec& v2);  // dot product
// The outer product v1 * v2^T. For the same storage twice (v % v) only the upper triangle is computed and
// mirrored, so the result is exactly symmetric.
ERDoubleMatrix operator%(const ERDoubleVec& v1, const ERDoubleVec& v2);
ERDoubleMatrix operator*(double s, const ERDoubleMatrix& m);
ERDoubleMatrix operator*(const ERDoubleMatrix& m, double s);
ERDoubleMatrix operator/(const ERDoubleMatrix& m, double s);
ERDoubleMatrix transpose(const ERDoubleMatrix& m);
double norme2(const ERDoubleVec& v);    // sum of squares
double norme(const ERDoubleMatrix& m);  // square root of the sum of squares of all elements

// ---------------------------------------------------------------------------------------------
// Identity and Hilbert matrices, Cholesky factor, symmetrisation

ERDoubleMatrix IdentityMatrix(unsigned n);
ERDoubleMatrix Hilbert(unsigned n);  // H(i,j) = 1 / (i + j + 1)
// The lower factor L of a symmetric positive definite a = L * L^T; only a's diagonal and lower triangle
// are read. Definiteness is not tested: a non-positive pivot gives NaN or infinite entries.
ERDoubleMatrix MatrixCholesky(const ERDoubleMatrix& a);
// In place on a square matrix: the upper triangle mirrored downwards, or the lower one upwards.
void CopyTriSupToTriInf(ERDoubleMatrix& m);
void CopyTriInfToTriSup(ERDoubleMatrix& m);
// Symmetric copies: the upper (Sup) or lower (Inf) triangle mirrored. The Old forms give the same results
// element by element through the checked accessor.
ERDoubleMatrix MatSymetrisSup(const ERDoubleMatrix& m);
ERDoubleMatrix MatSymetrisInf(const ERDoubleMatrix& m);
ERDoubleMatrix OldMatSymetrisSup(const ERDoubleMatrix& m);
ERDoubleMatrix OldMatSymetrisInf(const ERDoubleMatrix& m);

#endif
