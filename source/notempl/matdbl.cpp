// Dense matrix of doubles and its view: construction, shape editing through the element vector's
// insertion and removal, comparison, and the text and binary forms.
#include "velmora/notempl/matdbl.h"

#include <cstdint>
#include <iostream>

#include "velmora/erfile.h"

#define ER_THIS_UNIT "source/notempl/matdbl"

namespace {

// The diagonal of an n-row block viewed by s: n elements, n + 1 apart from element 0. A block that is not
// square is reported by the callers; its run is then cut where it would leave the viewed elements.
ERDoubleSlice diagonalOf(const ERDoubleSlice& s, unsigned n) {
  const unsigned available = s.length();
  const unsigned count = (n == 0 || available == 0) ? 0 : ERMin(n, (available - 1) / (n + 1) + 1);
  return ERDoubleSlice(s, 0, count, static_cast<int>(n) + 1);
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Construction

namespace {
// rows x cols elements fill exactly length: the product is taken in 64 bits, so that a shape read from
// a file (65536 x 65536, say) cannot wrap round to the length of a small block.
bool holds(std::uint64_t rows, std::uint64_t cols, std::uint64_t length) { return rows * cols == length; }
}  // namespace

ERDoubleMatrix::ERDoubleMatrix() : ncols(0), nrows(0) {}

ERDoubleMatrix::ERDoubleMatrix(unsigned rows, unsigned cols)
    : ERDoubleVec(rows * cols), ncols(cols), nrows(rows) {}

ERDoubleMatrix::ERDoubleMatrix(unsigned rows, unsigned cols, const double& value)
    : ERDoubleVec(rows * cols, value), ncols(cols), nrows(rows) {}

ERDoubleMatrix::ERDoubleMatrix(const double* data, unsigned rows, unsigned cols)
    : ERDoubleVec(data, rows * cols), ncols(cols), nrows(rows) {}

ERDoubleMatrix::ERDoubleMatrix(const ERDoubleVec& v, unsigned rows, unsigned cols)
    : ERDoubleVec(v), ncols(cols), nrows(rows) {
  ER_ASSERT_T(holds(rows, cols, v.length()), "rows*cols==v.length()");
}

ERDoubleMatrix::ERDoubleMatrix(const ERDoubleSlice& v, unsigned rows, unsigned cols)
    : ERDoubleVec(v), ncols(cols), nrows(rows) {
  ER_ASSERT_T(holds(rows, cols, v.length()), "rows*cols==v.length()");
}

ERDoubleMatrix::ERDoubleMatrix(const ERDoubleMatrix& m) : ERDoubleVec(m), ncols(m.ncols), nrows(m.nrows) {}

ERDoubleMatrix::ERDoubleMatrix(const ERDoubleShMatrix& s)
    : ERDoubleVec(s.rows() * s.cols()), ncols(s.cols()), nrows(s.rows()) {
  for (unsigned i = 0; i < nrows; ++i) row(i) = ERDoubleSlice(s.slice(), i * ncols, ncols, 1);
}

ERDoubleMatrix::~ERDoubleMatrix() = default;

ERDoubleMatrix& ERDoubleMatrix::operator=(const ERDoubleMatrix& m) {
  ERDoubleVec::operator=(m);
  ncols = m.ncols;
  nrows = m.nrows;
  checkShape();
  return *this;
}

ERDoubleMatrix& ERDoubleMatrix::operator=(const ERDoubleShMatrix& s) {
  // Built aside first: the view may look into this very matrix.
  return *this = ERDoubleMatrix(s);
}

// ---------------------------------------------------------------------------------------------
// Access and shape

bool ERDoubleMatrix::checkShape() const {
  const bool ok = holds(nrows, ncols, length());
  ER_ASSERT_T(ok, "nrows*ncols==length()");
  return ok;
}

ERDoubleSlice ERDoubleMatrix::row(unsigned i) const {
  ER_ASSERT_T(i < nrows, "i<nrows");
  return ERDoubleSlice(*this, i * ncols, ncols, 1);
}

ERDoubleSlice ERDoubleMatrix::col(unsigned j) const {
  ER_ASSERT_T(j < ncols, "j<ncols");
  return ERDoubleSlice(*this, j, nrows, static_cast<int>(ncols));
}

ERDoubleSlice ERDoubleMatrix::diagonal() const {
  ER_ASSERT_T(nrows == ncols, "nrows==ncols");
  return diagonalOf(ERDoubleSlice(elements()), nrows);
}

double ERDoubleMatrix::trace() const {
  ER_ASSERT_T(ncols == nrows, "ncols==nrows");
  return sigma(diagonalOf(ERDoubleSlice(elements()), nrows));
}

double trace(const ERDoubleMatrix& m) { return m.trace(); }

ERDoubleShMatrix ERDoubleMatrix::subMatrix(unsigned startRow, unsigned startCol, unsigned nbr,
                                           unsigned nbc) const {
  return ERDoubleShMatrix(*this, startRow, startCol, nbr, nbc);
}

// ---------------------------------------------------------------------------------------------
// Row and column editing

void ERDoubleMatrix::openRows(unsigned pos, unsigned nb, double value) {
  if (nb != 0 && ncols != 0) insertAt(pos * ncols, value, nb * ncols);
  nrows += nb;
}

void ERDoubleMatrix::openCols(unsigned pos, unsigned nb, double value) {
  if (nb != 0 && nrows != 0) {
    if (ncols == 0) {
      ERDoubleVec::operator=(ERDoubleVec(nrows * nb, value));
    } else if (nrows == 1) {
      insertAt(pos, value, nb);
    } else {
      // A gap of nb elements before column pos of every row, then the gaps filled column by column.
      polyInsert(pos, nb, ncols);
      for (unsigned k = 0; k < nb; ++k) init(value, pos + k, nrows, static_cast<int>(ncols + nb));
    }
  }
  ncols += nb;
}

void ERDoubleMatrix::writeBlock(unsigned r0, unsigned c0, unsigned nr, unsigned nc, const double* src,
                                unsigned srcRows, unsigned srcCols) {
  const unsigned rowsCopied = ERMin(nr, srcRows);
  const unsigned colsCopied = ERMin(nc, srcCols);
  if (rowsCopied == 0 || colsCopied == 0) return;
  double* out = mutableData() + r0 * ncols + c0;
  for (unsigned i = 0; i < rowsCopied; ++i, out += ncols, src += srcCols)
    for (unsigned j = 0; j < colsCopied; ++j) out[j] = src[j];
}

void ERDoubleMatrix::insertRow(unsigned pos, const double& value, unsigned nb) {
  ER_ASSERT_T(pos <= nrows, "pos<=nrows");
  openRows(ERMin(pos, nrows), nb, value);
  checkShape();
}

void ERDoubleMatrix::insertRow(unsigned pos, const ERDoubleVec& vec) {
  ER_ASSERT_T(pos <= nrows, "pos<=nrows");
  ER_ASSERT_T(vec.length() == ncols || ncols == 0, "vec.length()==ncols || ncols==0");
  const ERDoubleVec src(vec);  // keeps the elements should vec be this matrix's own storage
  if (ncols == 0) {
    // A matrix without columns holds no element: the row's elements become the storage.
    ERDoubleVec::operator=(src);
    ncols = src.length();
    nrows += 1;
  } else {
    pos = ERMin(pos, nrows);
    openRows(pos, 1, 0.0);
    writeBlock(pos, 0, 1, ncols, src.data(), 1, src.length());
  }
  checkShape();
}

void ERDoubleMatrix::insertRow(unsigned pos, const ERDoubleMatrix& m) {
  ER_ASSERT_T(pos <= nrows, "pos<=nrows");
  ER_ASSERT_T(m.ncols == ncols || ncols == 0, "vec.ncols==ncols || ncols==0");
  const ERDoubleMatrix src(m);
  if (ncols == 0) {
    ERDoubleVec::operator=(src.elements());
    ncols = src.ncols;
    nrows += src.nrows;
  } else {
    pos = ERMin(pos, nrows);
    openRows(pos, src.nrows, 0.0);
    writeBlock(pos, 0, src.nrows, ncols, src.data(), src.nrows, src.ncols);
  }
  checkShape();
}

void ERDoubleMatrix::insertCol(unsigned pos, const double& value, unsigned nb) {
  ER_ASSERT_T(pos <= ncols || ncols == 0, "pos<=ncols || ncols==0");
  openCols(ERMin(pos, ncols), nb, value);
  checkShape();
}

void ERDoubleMatrix::insertCol(unsigned pos, const ERDoubleVec& vec) {
  ER_ASSERT_T(pos <= ncols, "pos<=ncols");
  ER_ASSERT_T(vec.length() == nrows || nrows == 0, "vec.length()==nrows || nrows==0");
  const ERDoubleVec src(vec);
  if (nrows == 0) {
    // A matrix without rows holds no element: the column's elements become the storage.
    ERDoubleVec::operator=(src);
    nrows = src.length();
    ncols += 1;
  } else {
    pos = ERMin(pos, ncols);
    openCols(pos, 1, 0.0);
    writeBlock(0, pos, nrows, 1, src.data(), src.length(), 1);
  }
  checkShape();
}

void ERDoubleMatrix::insertCol(unsigned pos, const ERDoubleMatrix& m) {
  ER_ASSERT_T(pos <= ncols, "pos<=ncols");
  ER_ASSERT_T(m.nrows == nrows || nrows == 0, "vec.nrows==nrows || nrows==0");
  const ERDoubleMatrix src(m);
  if (nrows == 0) {
    ERDoubleVec::operator=(src.elements());
    nrows = src.nrows;
    ncols += src.ncols;
  } else {
    pos = ERMin(pos, ncols);
    openCols(pos, src.ncols, 0.0);
    writeBlock(0, pos, nrows, src.ncols, src.data(), src.nrows, src.ncols);
  }
  checkShape();
}

void ERDoubleMatrix::replaceRow(unsigned pos, unsigned nb, const ERDoubleVec& vec) {
  ER_ASSERT_T(pos <= nrows, "pos<=nrows");
  ER_ASSERT_T(nb + pos <= nrows, "nb+pos<=nrows");
  ER_ASSERT_T(vec.length() == nb * ncols, "vec.length()==nb*ncols");
  pos = ERMin(pos, nrows);
  nb = ERMin(nb, nrows - pos);
  const ERDoubleVec src(vec);  // keeps the elements should vec be this matrix's own storage
  writeBlock(pos, 0, nb, ncols, src.data(), ncols == 0 ? 0 : src.length() / ncols, ncols);
  checkShape();
}

void ERDoubleMatrix::replaceRow(unsigned pos, unsigned nb, const ERDoubleMatrix& m) {
  ER_ASSERT_T(pos <= nrows, "pos<=nrows");
  ER_ASSERT_T(nb + pos <= nrows, "nb+pos<=nrows");
  ER_ASSERT_T(m.nrows == nb && m.ncols == ncols, "m.nrows==nb && m.ncols==ncols");
  pos = ERMin(pos, nrows);
  nb = ERMin(nb, nrows - pos);
  const ERDoubleMatrix src(m);
  writeBlock(pos, 0, nb, ncols, src.data(), src.nrows, src.ncols);
  checkShape();
}

void ERDoubleMatrix::replaceCol(unsigned pos, unsigned nb, const ERDoubleVec& vec) {
  ER_ASSERT_T(pos <= ncols, "pos<=ncols");
  ER_ASSERT_T(nb + pos <= ncols, "nb+pos<=ncols");
  ER_ASSERT_T(vec.length() == nrows * nb, "vec.length()==nrows*nb");
  pos = ERMin(pos, ncols);
  nb = ERMin(nb, ncols - pos);
  const ERDoubleVec src(vec);
  writeBlock(0, pos, nrows, nb, src.data(), nb == 0 ? 0 : src.length() / nb, nb);
  checkShape();
}

void ERDoubleMatrix::replaceCol(unsigned pos, unsigned nb, const ERDoubleMatrix& m) {
  ER_ASSERT_T(pos <= ncols, "pos<=ncols");
  ER_ASSERT_T(nb + pos <= ncols, "nb+pos<=ncols");
  ER_ASSERT_T(m.nrows == nrows && m.ncols == nb, "m.nrows==nrows && m.ncols==nb");
  pos = ERMin(pos, ncols);
  nb = ERMin(nb, ncols - pos);
  const ERDoubleMatrix src(m);
  writeBlock(0, pos, nrows, nb, src.data(), src.nrows, src.ncols);
  checkShape();
}

void ERDoubleMatrix::removeRows(unsigned pos, unsigned nb) {
  if (nb == 0) return;
  if (ncols != 0) remove(pos * ncols, nb * ncols);
  nrows -= nb;
}

void ERDoubleMatrix::removeCols(unsigned pos, unsigned nb) {
  if (nb == 0) return;
  if (pos == 0 && nb == ncols) {
    nrows = 0;
    ncols = 0;
    troncat(0);
    return;
  }
  if (nrows != 0) polyRemove(pos, nb, ncols);
  ncols -= nb;
}

void ERDoubleMatrix::deleteRow(unsigned pos, unsigned nb) {
  ER_ASSERT_T(pos < nrows, "pos<nrows");
  ER_ASSERT_T(nb <= nrows - pos, "nb<=nrows-pos");
  pos = ERMin(pos, nrows);
  removeRows(pos, ERMin(nb, nrows - pos));
  checkShape();
}

void ERDoubleMatrix::deleteCol(unsigned pos, unsigned nb) {
  if (nb == 0) return;
  ER_ASSERT_T(pos < ncols, "pos<ncols");
  ER_ASSERT_T(nb <= ncols - pos, "nb<=ncols-pos");
  pos = ERMin(pos, ncols);
  removeCols(pos, ERMin(nb, ncols - pos));
  if (!checkShape()) std::cerr << "Error\n";
}

void ERDoubleMatrix::swapRow(unsigned a, unsigned b) {
  ER_ASSERT_T(a < nrows && b < nrows, "a<nrows && b<nrows");
  if (a != b && a < nrows && b < nrows) {
    ERDoubleSlice first = row(a), second = row(b);
    swap(first, second);
  }
  checkShape();
}

void ERDoubleMatrix::swapCol(unsigned a, unsigned b) {
  ER_ASSERT_T(a < ncols && b < ncols, "a<ncols && b<ncols");
  if (a != b && a < ncols && b < ncols) {
    ERDoubleSlice first = col(a), second = col(b);
    swap(first, second);
  }
  checkShape();
}

void ERDoubleMatrix::reverseRows() {
  for (unsigned i = 0; i < nrows / 2; ++i) swapRow(i, nrows - 1 - i);
  checkShape();
}

void ERDoubleMatrix::reverseCols() {
  for (unsigned j = 0; j < ncols / 2; ++j) swapCol(j, ncols - 1 - j);
  checkShape();
}

void ERDoubleMatrix::splitAtCol(unsigned pos, ERDoubleMatrix& left, ERDoubleMatrix& right) const {
  ER_ASSERT_T(pos <= ncols, "pos<=ncols");
  pos = ERMin(pos, ncols);
  const ERDoubleMatrix whole(*this);  // left or right may be this matrix
  left = whole;
  left.removeCols(pos, whole.ncols - pos);
  right = whole;
  right.removeCols(0, pos);
  left.checkShape();
  right.checkShape();
}

void ERDoubleMatrix::splitAtRow(unsigned pos, ERDoubleMatrix& top, ERDoubleMatrix& bottom) const {
  ER_ASSERT_T(pos <= nrows, "pos<=nrows");
  pos = ERMin(pos, nrows);
  const ERDoubleMatrix whole(*this);
  top = whole;
  top.removeRows(pos, whole.nrows - pos);
  bottom = whole;
  bottom.removeRows(0, pos);
  top.checkShape();
  bottom.checkShape();
}

// ---------------------------------------------------------------------------------------------
// Arithmetic and comparison

void ERDoubleMatrix::checkSameShape(const ERDoubleMatrix& m) const {
  ER_ASSERT_T((ncols == m.ncols) && (nrows == m.nrows), "(m1.cols()==m2.cols()) && (m1.rows()==m2.rows())");
}

ERDoubleMatrix& ERDoubleMatrix::operator+=(const ERDoubleMatrix& m) {
  checkSameShape(m);
  static_cast<ERDoubleVec&>(*this) += m.elements();
  checkShape();
  return *this;
}

ERDoubleMatrix& ERDoubleMatrix::operator-=(const ERDoubleMatrix& m) {
  checkSameShape(m);
  static_cast<ERDoubleVec&>(*this) -= m.elements();
  checkShape();
  return *this;
}

ERDoubleMatrix& ERDoubleMatrix::operator*=(double s) {
  static_cast<ERDoubleVec&>(*this) *= s;
  checkShape();
  return *this;
}

ERDoubleMatrix& ERDoubleMatrix::operator/=(double s) {
  static_cast<ERDoubleVec&>(*this) /= s;
  checkShape();
  return *this;
}

ERDoubleMatrix operator+(const ERDoubleMatrix& m1, const ERDoubleMatrix& m2) {
  ERDoubleMatrix result(m1);
  return result += m2;
}

ERDoubleMatrix operator-(const ERDoubleMatrix& m1, const ERDoubleMatrix& m2) {
  ERDoubleMatrix result(m1);
  return result -= m2;
}

int ERDoubleMatrix::operator==(const ERDoubleMatrix& m) const {
  if (nrows != m.nrows || ncols != m.ncols) return 0;
  return ERDoubleVec::equal(*this, m);
}

int isEqual(const ERDoubleMatrix& m1, const ERDoubleMatrix& m2, double tolerance) {
  if (m1.rows() != m2.rows() || m1.cols() != m2.cols()) return 0;
  return isEqual(m1.elements(), m2.elements(), tolerance);
}

// ---------------------------------------------------------------------------------------------
// Text and binary forms

void ERDoubleMatrix::printOn(std::ostream& os) const {
  os << ncols << std::endl << nrows << std::endl;
  const double* p = data();
  for (unsigned i = 0; i < nrows; ++i) {
    os << "[";
    for (unsigned j = 0; j < ncols; ++j) os << *p++ << "\t";
    os << "]" << std::endl;
  }
}

void ERDoubleMatrix::readFrom(std::istream& is) {
  is >> ncols >> nrows;
  char c;
  for (unsigned i = 0; i < nrows && is; ++i) {
    is >> c;
    for (unsigned j = 0; j < ncols && is; ++j) is >> c;
  }
  checkShape();
}

unsigned long ERDoubleMatrix::binaryStoreSize() const { return ERDoubleVec::binaryStoreSize() + 8; }

void ERDoubleMatrix::saveGuts(ERFile& file) const {
  file.Write(nrows);
  file.Write(ncols);
  ERDoubleVec::saveGuts(file);
}

void ERDoubleMatrix::restoreGuts(ERFile& file) {
  file.Read(nrows);
  file.Read(ncols);
  ERDoubleVec::restoreGuts(file);
  checkShape();
}

std::ostream& operator<<(std::ostream& os, const ERDoubleMatrix& m) {
  m.printOn(os);
  return os;
}

std::istream& operator>>(std::istream& is, ERDoubleMatrix& m) {
  m.readFrom(is);
  return is;
}

ERFile& operator<<(ERFile& file, const ERDoubleMatrix& m) {
  m.saveGuts(file);
  return file;
}

ERFile& operator>>(ERFile& file, ERDoubleMatrix& m) {
  m.restoreGuts(file);
  return file;
}

// ---------------------------------------------------------------------------------------------
// View

ERDoubleSlice ERDoubleShMatrix::run(const ERDoubleSlice& s, unsigned rows, unsigned cols, unsigned startRow,
                                    unsigned startCol, unsigned nbr, unsigned nbc) {
  ER_ASSERT_T(startRow < rows, "startRow<nrows");
  ER_ASSERT_T(startCol < cols, "startCol<ncols");
  ER_ASSERT_T(startRow + nbr <= rows, "startRow+nbr<=nrows");
  ER_ASSERT_T(startCol + nbc <= cols, "startCol+nbc<=ncols");
  return ERDoubleSlice(s, startRow * cols + startCol, nbr * nbc, 1);
}

ERDoubleShMatrix::ERDoubleShMatrix(const ERDoubleMatrix& m)
    : data(static_cast<const ERDoubleVec&>(m)), nrows(m.nrows), ncols(m.ncols) {}

ERDoubleShMatrix::ERDoubleShMatrix(const ERDoubleMatrix& m, unsigned startRow, unsigned startCol,
                                   unsigned nbr, unsigned nbc)
    : data(run(ERDoubleSlice(static_cast<const ERDoubleVec&>(m)), m.nrows, m.ncols, startRow, startCol, nbr,
               nbc)),
      nrows(nbr),
      ncols(nbc) {}

ERDoubleShMatrix::ERDoubleShMatrix(const ERDoubleShMatrix& v, unsigned startRow, unsigned startCol,
                                   unsigned nbr, unsigned nbc)
    : data(run(v.data, v.nrows, v.ncols, startRow, startCol, nbr, nbc)), nrows(nbr), ncols(nbc) {}

ERDoubleShMatrix::ERDoubleShMatrix(const ERDoubleSlice& s, unsigned rows, unsigned cols)
    : data(s), nrows(rows), ncols(cols) {}

ERDoubleShMatrix::~ERDoubleShMatrix() = default;

ERDoubleShMatrix& ERDoubleShMatrix::operator=(const ERDoubleShMatrix& m) {
  ER_ASSERT_T(m.nrows == nrows && m.ncols == ncols, "m.nrows==nrows && m.ncols==ncols");
  // Exactly the viewed block is copied, also when a slice views more than rows*cols elements; after a
  // shape report, as many elements as both blocks hold.
  const unsigned n = ERMin(nrows * ncols, m.nrows * m.ncols);
  ERDoubleSlice target(data, 0, n, 1);
  target = ERDoubleSlice(m.data, 0, n, 1);
  return *this;
}

ERDoubleSlice ERDoubleShMatrix::diagonal() const {
  ER_ASSERT_T(nrows == ncols, "nrows==ncols");
  return diagonalOf(data, nrows);
}

double ERDoubleShMatrix::trace() const {
  ER_ASSERT_T(ncols == nrows, "ncols==nrows");
  return sigma(diagonalOf(data, nrows));
}

double trace(const ERDoubleShMatrix& m) { return m.trace(); }

int ERDoubleShMatrix::operator==(const ERDoubleShMatrix& m) const {
  if (nrows != m.nrows || ncols != m.ncols) return 0;
  return data == m.data;
}
