// Dense matrices of doubles: ERDoubleMatrix, a rectangular array stored row by row in a copy-on-write
// double vector, and ERDoubleShMatrix, a view that reads part of a matrix (or of a slice) as a row-major
// block of its own and writes through to it. The solvers, the LU decomposition and the transformations
// all exchange matrices of this type.
#ifndef VELMORA_NOTEMPL_MATDBL_H
#define VELMORA_NOTEMPL_MATDBL_H

#include <iosfwd>

#include "velmora/ercommon.h"
#include "velmora/notempl/vcdouble.h"

class ERDoubleShMatrix;
class ERFile;

// A rows x cols matrix of doubles; element (i, j) is element i*cols + j of its element vector. Copies
// share the storage until one of them writes (copy on write), so passing and returning matrices by value
// is cheap. A matrix with no rows or no columns is empty and holds no elements. Every operation that
// changes the shape checks, under the text "nrows*ncols==length()", that the element count still matches.
class ERDoubleMatrix : protected ERDoubleVec {
 public:
  // Construction
  ERDoubleMatrix();                                                   // 0 x 0
  ERDoubleMatrix(unsigned rows, unsigned cols);                       // all 0.0
  ERDoubleMatrix(unsigned rows, unsigned cols, const double& value);  // all value
  ERDoubleMatrix(const double* data, unsigned rows, unsigned cols);   // rows*cols doubles, row-major
  // The elements of v, row-major (shared, not copied, for a vector); v must hold rows*cols elements.
  ERDoubleMatrix(const ERDoubleVec& v, unsigned rows, unsigned cols);
  ERDoubleMatrix(const ERDoubleSlice& v, unsigned rows, unsigned cols);
  ERDoubleMatrix(const ERDoubleMatrix& m);
  ERDoubleMatrix(const ERDoubleShMatrix& s);  // NOLINT: a private copy of the viewed block
  ~ERDoubleMatrix() override;
  ERDoubleMatrix& operator=(const ERDoubleMatrix& m);
  ERDoubleMatrix& operator=(const ERDoubleShMatrix& s);

  // Access and shape
  double operator()(unsigned i, unsigned j) const {
    ER_ASSERT_AT(i < nrows, "i<nrows", "velmora/notempl/matdbl", __LINE__);
    ER_ASSERT_AT(j < ncols, "j<ncols", "velmora/notempl/matdbl", __LINE__);
    return data()[i * ncols + j];
  }
  // Makes the storage private before handing out the element.
  double& operator()(unsigned i, unsigned j) {
    ER_ASSERT_AT(i < nrows, "i<nrows", "velmora/notempl/matdbl", __LINE__);
    ER_ASSERT_AT(j < ncols, "j<ncols", "velmora/notempl/matdbl", __LINE__);
    cow();
    return rawData()[i * ncols + j];
  }
  unsigned rows() const { return nrows; }
  unsigned cols() const { return ncols; }
  // The row-major elements, without copying.
  const double* data() const { return ERDoubleVec::data(); }
  // The row-major elements for writing: the storage is made private first.
  double* mutableData() {
    cow();
    return rawData();
  }
  // The element vector, row-major; a copy of it shares the matrix's storage.
  const ERDoubleVec& elements() const { return *this; }
  // Views of row i, of column j and of the diagonal; writing through them changes this matrix. The
  // diagonal is rows() elements, rows()+1 apart from element 0 (cut at the end of the storage).
  ERDoubleSlice row(unsigned i) const;
  ERDoubleSlice col(unsigned j) const;
  ERDoubleSlice diagonal() const;
  double trace() const;  // the sum of the diagonal
  // A view of nbr*nbc consecutive elements from (startRow, startCol), read as nbr rows of nbc. This is a
  // contiguous run of the storage, not a rectangular block: when nbc is less than cols() and nbr is more
  // than 1, the view's rows run on into the following rows of the matrix. Taking whole rows, a single
  // row or the whole matrix gives the block itself.
  ERDoubleShMatrix subMatrix(unsigned startRow, unsigned startCol, unsigned nbr, unsigned nbc) const;

  // Row and column editing. Inserting rows into a matrix with no columns (or columns into one with no
  // rows) gives it the source's column (row) count while the row (column) count grows as always: start
  // from 0 x 0, since rows counted without columns (or columns without rows) then break the shape check.
  void insertRow(unsigned pos, const double& value, unsigned nb = 1);  // nb rows of value before row pos
  void insertRow(unsigned pos, const ERDoubleVec& vec);                // one row
  void insertRow(unsigned pos, const ERDoubleMatrix& m);               // all rows of m
  void insertCol(unsigned pos, const double& value, unsigned nb = 1);
  void insertCol(unsigned pos, const ERDoubleVec& vec);
  void insertCol(unsigned pos, const ERDoubleMatrix& m);
  // Overwrite rows (columns) pos .. pos+nb-1; a vector holds the replaced block row-major, a matrix has its
  // shape.
  void replaceRow(unsigned pos, unsigned nb, const ERDoubleVec& vec);
  void replaceRow(unsigned pos, unsigned nb, const ERDoubleMatrix& m);
  void replaceCol(unsigned pos, unsigned nb, const ERDoubleVec& vec);
  void replaceCol(unsigned pos, unsigned nb, const ERDoubleMatrix& m);
  void deleteRow(unsigned pos, unsigned nb = 1);
  // Deleting no column does nothing and checks nothing; deleting every column leaves a 0 x 0 matrix.
  void deleteCol(unsigned pos, unsigned nb = 1);
  void swapRow(unsigned a, unsigned b);
  void swapCol(unsigned a, unsigned b);
  void reverseRows();  // an odd middle row stays in place
  void reverseCols();
  // The columns (rows) before pos go to the first result, the rest to the second; a side that gets no
  // columns (rows) is empty.
  void splitAtCol(unsigned pos, ERDoubleMatrix& left, ERDoubleMatrix& right) const;
  void splitAtRow(unsigned pos, ERDoubleMatrix& top, ERDoubleMatrix& bottom) const;

  // Arithmetic and comparison
  // Element-wise; both matrices must have the same shape.
  ERDoubleMatrix& operator+=(const ERDoubleMatrix& m);
  ERDoubleMatrix& operator-=(const ERDoubleMatrix& m);
  ERDoubleMatrix& operator*=(double s);
  ERDoubleMatrix& operator/=(double s);
  // 0 when the shapes differ, else the exact element comparison.
  int operator==(const ERDoubleMatrix& m) const;
  int operator!=(const ERDoubleMatrix& m) const { return !(*this == m); }

  // Text and binary forms
  // cols, a line end, rows, a line end, then each row as "[" elements each followed by a tab "]" and a
  // line end.
  void printOn(std::ostream& os) const override;
  // Reads cols then rows into the shape, then one character per row and one more per column. It stores
  // no element and does not resize the storage: it does not read back what printOn writes, and this
  // asymmetry is kept as is. Build a matrix from text by other means. A shape read that does not fit the
  // elements held is reported by the shape check.
  void readFrom(std::istream& is);
  unsigned long binaryStoreSize() const override;  // the element vector's size + 8
  // rows and cols (unsigned 32-bit each), then the element vector.
  void saveGuts(ERFile& file) const override;
  void restoreGuts(ERFile& file) override;

 private:
  friend class ERDoubleShMatrix;

  // Reports a broken "nrows*ncols==length()"; true when the shape holds.
  bool checkShape() const;
  void checkSameShape(const ERDoubleMatrix& m) const;
  // The element storage of n rows of nb new columns of value before column pos, or of nb new rows of value
  // before row pos; nothing checked.
  void openCols(unsigned pos, unsigned nb, double value);
  void openRows(unsigned pos, unsigned nb, double value);
  void removeRows(unsigned pos, unsigned nb);
  void removeCols(unsigned pos, unsigned nb);
  // Copies the part of the srcRows x srcCols row-major block at src that fits into the nr x nc block of
  // this matrix at (r0, c0); the rest of that block is left as it is.
  void writeBlock(unsigned r0, unsigned c0, unsigned nr, unsigned nc, const double* src, unsigned srcRows,
                  unsigned srcCols);

  unsigned ncols;
  unsigned nrows;
};

ERDoubleMatrix operator+(const ERDoubleMatrix& m1, const ERDoubleMatrix& m2);
ERDoubleMatrix operator-(const ERDoubleMatrix& m1, const ERDoubleMatrix& m2);
// 0 when the shapes differ, else 1 when every pair of elements is within tolerance (inclusive).
int isEqual(const ERDoubleMatrix& m1, const ERDoubleMatrix& m2, double tolerance);
double trace(const ERDoubleMatrix& m);
std::ostream& operator<<(std::ostream& os, const ERDoubleMatrix& m);  // printOn
std::istream& operator>>(std::istream& is, ERDoubleMatrix& m);        // readFrom
ERFile& operator<<(ERFile& file, const ERDoubleMatrix& m);            // saveGuts
ERFile& operator>>(ERFile& file, ERDoubleMatrix& m);                  // restoreGuts

// A view of rows x cols doubles of a matrix or of a slice, read row-major: view element (i, j) is element
// i*cols + j of its slice. It shares the viewed storage: writing through it (element access, assignment)
// changes the matrix or vector it was made from, which must outlive it. Copying a view copies the view;
// assigning to a view copies elements into the viewed storage.
class ERDoubleShMatrix {
 public:
  explicit ERDoubleShMatrix(const ERDoubleMatrix& m);  // the whole matrix
  // nbr*nbc consecutive elements from (startRow, startCol), as ERDoubleMatrix::subMatrix.
  ERDoubleShMatrix(const ERDoubleMatrix& m, unsigned startRow, unsigned startCol, unsigned nbr, unsigned nbc);
  // The same within a view, the start counted with the view's column count.
  ERDoubleShMatrix(const ERDoubleShMatrix& v, unsigned startRow, unsigned startCol, unsigned nbr,
                   unsigned nbc);
  // The slice as it stands, read as rows x cols.
  ERDoubleShMatrix(const ERDoubleSlice& s, unsigned rows, unsigned cols);
  ERDoubleShMatrix(const ERDoubleShMatrix& v) = default;
  virtual ~ERDoubleShMatrix();
  // Copies m's elements into the viewed storage; the shapes must agree.
  ERDoubleShMatrix& operator=(const ERDoubleShMatrix& m);

  double operator()(unsigned i, unsigned j) const {
    ER_ASSERT_AT(i < nrows, "i<nrows", "velmora/notempl/matdbl", __LINE__);
    ER_ASSERT_AT(j < ncols, "j<ncols", "velmora/notempl/matdbl", __LINE__);
    return data(i * ncols + j);
  }
  double& operator()(unsigned i, unsigned j) {
    ER_ASSERT_AT(i < nrows, "i<nrows", "velmora/notempl/matdbl", __LINE__);
    ER_ASSERT_AT(j < ncols, "j<ncols", "velmora/notempl/matdbl", __LINE__);
    return data(i * ncols + j);
  }
  unsigned rows() const { return nrows; }
  unsigned cols() const { return ncols; }
  const ERDoubleSlice& slice() const { return data; }
  ERDoubleSlice diagonal() const;
  double trace() const;
  // 0 when the shapes differ, else the slice comparison.
  int operator==(const ERDoubleShMatrix& m) const;
  int operator!=(const ERDoubleShMatrix& m) const { return !(*this == m); }

 private:
  // The run of nbr*nbc elements from (startRow, startCol) of a rows x cols block viewed by s, after the
  // bound checks.
  static ERDoubleSlice run(const ERDoubleSlice& s, unsigned rows, unsigned cols, unsigned startRow,
                           unsigned startCol, unsigned nbr, unsigned nbc);

  ERDoubleSlice data;
  unsigned nrows;
  unsigned ncols;
};

double trace(const ERDoubleShMatrix& m);

#endif
