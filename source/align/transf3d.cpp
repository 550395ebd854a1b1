// The 3D transformation tree: the abstract layers, the shared identity, the concrete representations
// with their double-dispatch composition, the handles' composition and persistence, and the application
// operators.
#include "velmora/transf3d.h"

#include <cmath>
#include <ostream>

#include "velmora/erfile.h"
#include "velmora/matrix.h"
#include "velmora/pseurot.h"

#define ER_THIS_UNIT "source/align/transf3d"

namespace {

// Every tolerance test of the transformations.
const double kTolerance = 1e-11;

bool closeTo(double a, double b) { return std::fabs(a - b) <= kTolerance; }

// The 3x3 matrix whose columns are x, y and z.
ERDoubleMatrix matrixFromColumns(const ERVector3D& x, const ERVector3D& y, const ERVector3D& z) {
  ERDoubleMatrix m(3, 3);
  double* d = m.mutableData();
  for (int i = 0; i < 3; ++i) {
    const Coord3D c = static_cast<Coord3D>(i);
    d[3 * i + 0] = x[c];
    d[3 * i + 1] = y[c];
    d[3 * i + 2] = z[c];
  }
  return m;
}

// A fresh 3x3 matrix (zeros) with its diagonal set to 1.0.
ERDoubleMatrix unitMatrix() {
  ERDoubleMatrix m(3, 3);
  double* d = m.mutableData();
  d[0] = d[4] = d[8] = 1.0;
  return m;
}

// Maps a pole through its Cartesian point; the weight stays.
template <class Map>
void mapPole(ERPole3DH& pole, Map map) {
  ERPoint3D p = pole.castToPoint();
  map(p);
  const double w = pole.weigth();
  pole = ERPole3DH(p * w, w);
}

// Applies map to each element in place after making the storage private; an empty vector is not touched.
template <class Vec, class Map>
void mapEach(Vec& v, Map map) {
  const unsigned n = v.length();
  if (n == 0) return;
  v.cow();
  auto* e = &v[0];
  for (unsigned i = 0; i < n; ++i) map(e[i]);
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Registrations, in base-first order; the shared identity is made after them (see the end of the unit).

ER_DEFINE_CLASS(ERTr3D, ER_ABSTRACT, ERObject)
ER_DEFINE_CLASS(ERTr3DProj, ER_ABSTRACT, ERTr3D)
ER_DEFINE_CLASS(ERTr3DRev, ER_ABSTRACT, ERTr3D)
ER_DEFINE_CLASS(ERTr3DRevRep, ER_ABSTRACT, ERTr3DRev)
ER_DEFINE_CLASS(ERAnySimilitude3D, ER_ABSTRACT, ERTr3DRevRep)
ER_DEFINE_CLASS(ERAnyIsometrie3D, ER_ABSTRACT, ERAnySimilitude3D)
ER_DEFINE_CLASS(ERIdentity3D, ER_CREATABLE, ERAnyIsometrie3D)
ER_DEFINE_CLASS(ERTranslation3D, ER_CREATABLE, ERAnyIsometrie3D)
ER_DEFINE_CLASS(ERRotation3D, ER_CREATABLE, ERAnyIsometrie3D)
ER_DEFINE_CLASS(ERChgRepere3D, ER_CREATABLE, ERAnyIsometrie3D)
ER_DEFINE_CLASS(ERScaling3D, ER_CREATABLE, ERAnySimilitude3D)
ER_DEFINE_CLASS(ERSymetrie3D, ER_CREATABLE, ERAnySimilitude3D)
ER_DEFINE_CLASS(ERSimilitude3D, ER_CREATABLE, ERAnySimilitude3D)
ER_DEFINE_CLASS(ERTr3DRevEnveloppe, ER_ABSTRACT, ERTr3DRev)
ER_DEFINE_CLASS(ERPmSimilitude3D, ER_CREATABLE, ERTr3DRevEnveloppe)
ER_DEFINE_CLASS(ERPmIsometrie3D, ER_CREATABLE, ERPmSimilitude3D)

// ---------------------------------------------------------------------------------------------
// Matrix helpers

namespace {
// 3x3 and holding its nine elements: a matrix restored from a damaged file keeps the shape it read over
// whatever elements were there (its restore has reported the mismatch).
bool holds3x3(const ERDoubleMatrix& mat) {
  return mat.cols() == 3 && mat.rows() == 3 && mat.elements().length() == 9;
}

// Reports a matrix that is not 3x3; past the report the helpers answer the zero point rather than
// reading outside the matrix.
bool check3x3(const ERDoubleMatrix& mat) {
  ER_ASSERT_T(mat.cols() == 3 && mat.rows() == 3, "mat.cols()==3 && mat.rows()==3");
  return holds3x3(mat);
}
}  // namespace

ERPoint3D operator*(const ERDoubleMatrix& mat, const ERPoint3D& p) {
  if (!check3x3(mat)) return ERPoint3D();
  const double* m = mat.data();
  return ERPoint3D(m[0] * p[X3D] + m[1] * p[Y3D] + m[2] * p[Z3D],
                   m[3] * p[X3D] + m[4] * p[Y3D] + m[5] * p[Z3D],
                   m[6] * p[X3D] + m[7] * p[Y3D] + m[8] * p[Z3D]);
}

ERVector3D operator*(const ERDoubleMatrix& mat, const ERVector3D& v) {
  if (!check3x3(mat)) return ERVector3D();
  const double* m = mat.data();
  return ERVector3D(m[0] * v[X3D] + m[1] * v[Y3D] + m[2] * v[Z3D],
                    m[3] * v[X3D] + m[4] * v[Y3D] + m[5] * v[Z3D],
                    m[6] * v[X3D] + m[7] * v[Y3D] + m[8] * v[Z3D]);
}

ERPoint3D mulInverseIsoMat(const ERDoubleMatrix& mat, const ERPoint3D& p) {
  if (!check3x3(mat)) return ERPoint3D();
  const double* m = mat.data();
  return ERPoint3D(m[0] * p[X3D] + m[3] * p[Y3D] + m[6] * p[Z3D],
                   m[1] * p[X3D] + m[4] * p[Y3D] + m[7] * p[Z3D],
                   m[2] * p[X3D] + m[5] * p[Y3D] + m[8] * p[Z3D]);
}

ERVector3D mulInverseIsoMat(const ERDoubleMatrix& mat, const ERVector3D& v) {
  if (!check3x3(mat)) return ERVector3D();
  const double* m = mat.data();
  return ERVector3D(m[0] * v[X3D] + m[3] * v[Y3D] + m[6] * v[Z3D],
                    m[1] * v[X3D] + m[4] * v[Y3D] + m[7] * v[Z3D],
                    m[2] * v[X3D] + m[5] * v[Y3D] + m[8] * v[Z3D]);
}

// ---------------------------------------------------------------------------------------------
// Abstract layers

void ERTr3D::TransTo(ERPole3DHVec& v) const {
  mapEach(v, [this](ERPole3DH& pole) { mapPole(pole, [this](ERPoint3D& p) { TransTo(p); }); });
}

void ERTr3D::TransTo(ERPoint3DVec& v) const {
  mapEach(v, [this](ERPoint3D& p) { TransTo(p); });
}

int ERTr3D::isEqual(const ERTr3D& other) const { return isA() == other.isA(); }

ERPole2DH ERTr3D::Project(const ERPole3DH& p) const { return (*this << p).castToPole2D(Z3D); }

ERPoint2D ERTr3D::Project(const ERPoint3D& p) const { return (*this << p).castToPoint2D(Z3D); }

void ERTr3DRev::TransFrom(ERPole3DHVec& v) const {
  mapEach(v, [this](ERPole3DH& pole) { mapPole(pole, [this](ERPoint3D& p) { TransFrom(p); }); });
}

void ERTr3DRev::TransFrom(ERPoint3DVec& v) const {
  mapEach(v, [this](ERPoint3D& p) { TransFrom(p); });
}

ERPoint3D ERTr3DRev::origine() const { return getTrans(); }

ERVector3D ERTr3DRev::getVector(Coord3D c) const {
  ERVector3D v;
  v[c] = 1.0;
  TransFrom(v);
  return v;
}

int ERTr3DRev::isEqual(const ERTr3D& tr) const {
  if (!ERTr3D::isEqual(tr)) return 0;
  ER_ASSERT_T(tr.isA() == isA(), "tr.isA()==isA()");
  const ERTr3DRev* other = ERTr3DRev::castdown(tr);
  if (other == nullptr) return 0;
  return ::isEqual(getMatrix(), other->getMatrix(), kTolerance) &&
         ::isEqual(getTrans(), other->getTrans(), kTolerance) && closeTo(getFactHomo(), other->getFactHomo());
}

// ---------------------------------------------------------------------------------------------
// Shared representations and the identity

const ERTr3DRevRep* ERTr3DRevRep::theIdentity = nullptr;

const ERTr3DRevRep* ERTr3DRevRep::getReduced() const { return ERTr3DRevRep::castdown(getCopy()); }

const ERTr3DRevRep* ERTr3DRevRep::multiplyWithERTranslation3D(const ERTranslation3D*) const {
  return nullptr;
}
const ERTr3DRevRep* ERTr3DRevRep::multiplyWithERRotation3D(const ERRotation3D*) const { return nullptr; }
const ERTr3DRevRep* ERTr3DRevRep::multiplyWithERChgRepere3D(const ERChgRepere3D*) const { return nullptr; }
const ERTr3DRevRep* ERTr3DRevRep::multiplyWithERScaling3D(const ERScaling3D*) const { return nullptr; }
const ERTr3DRevRep* ERTr3DRevRep::multiplyWithERSymetrie3D(const ERSymetrie3D*) const { return nullptr; }
const ERTr3DRevRep* ERTr3DRevRep::multiplyWithERSimilitude3D(const ERSimilitude3D*) const { return nullptr; }

void InitTransfo3D() {
  if (ERTr3DRevRep::theIdentity != nullptr) return;
  ERTr3DRevRep::theIdentity = new ERIdentity3D;
  ERTr3DRevRep::theIdentity->addReference();
}

const ERTr3DRevRep* GetIdentity() {
  InitTransfo3D();
  return ERTr3DRevRep::theIdentity;
}

void CloseTransfo3D() {
  if (ERTr3DRevRep::theIdentity == nullptr) return;
  // Deleted whatever the count: handles still holding it afterwards dangle. The pointer is kept.
  ERTr3DRevRep::theIdentity->removeReference();
  delete ERTr3DRevRep::theIdentity;
}

double ERAnyIsometrie3D::getFactHomo() const { return 1.0; }
int ERAnyIsometrie3D::isDirect() const { return 1; }

// The general product a o b of two similitudes.
const ERTr3DRevRep* Multiply2Sim(const ERAnySimilitude3D* a, const ERAnySimilitude3D* b) {
  const ERDoubleMatrix ma = a->getMatrix();
  const ERDoubleMatrix prod = ma * b->getMatrix();
  ER_ASSERT_T(closeTo(std::fabs(determinant(prod)), 1.0), "isEqual(fabs(determinant(prod)),1.0)");
  const double ka = a->getFactHomo();
  const double k = ka * b->getFactHomo();
  const ERPoint3D t = a->getTrans() + ma * (ka * b->getTrans());
  return new ERSimilitude3D(prod, t, k);
}

// ---------------------------------------------------------------------------------------------
// ERIdentity3D

ERDoubleMatrix ERIdentity3D::getMatrix() const { return IdentityMatrix(3); }
ERPoint3D ERIdentity3D::getTrans() const { return ERPoint3D(); }

int ERIdentity3D::isEqual(const ERTr3D& other) const {
  if (ERTr3D::isEqual(other)) return 1;
  return ERTr3DRev::isEqual(other);
}

const ERTr3DRevRep* ERIdentity3D::getInverse() const { return GetIdentity(); }
const ERTr3DRevRep* ERIdentity3D::getReduced() const { return GetIdentity(); }
const ERTr3DRevRep* ERIdentity3D::operator*(const ERTr3DRevRep* right) const {
  return right->multiplyWithERIdentity3D(this);
}

const ERTr3DRevRep* ERIdentity3D::multiplyWithERTranslation3D(const ERTranslation3D* left) const {
  return left;
}
const ERTr3DRevRep* ERIdentity3D::multiplyWithERRotation3D(const ERRotation3D* left) const { return left; }
const ERTr3DRevRep* ERIdentity3D::multiplyWithERChgRepere3D(const ERChgRepere3D* left) const { return left; }
const ERTr3DRevRep* ERIdentity3D::multiplyWithERScaling3D(const ERScaling3D* left) const { return left; }
const ERTr3DRevRep* ERIdentity3D::multiplyWithERSymetrie3D(const ERSymetrie3D* left) const { return left; }
const ERTr3DRevRep* ERIdentity3D::multiplyWithERSimilitude3D(const ERSimilitude3D* left) const {
  return left;
}

ERObject* ERIdentity3D::getCopy() const { return new ERIdentity3D(*this); }
void ERIdentity3D::printOn(std::ostream& os) const { os << "Identite" << std::endl; }
void ERIdentity3D::saveGuts(ERFile& file) const { ERObject::saveGuts(file); }
void ERIdentity3D::restoreGuts(ERFile& file) { ERObject::restoreGuts(file); }
unsigned long ERIdentity3D::binaryStoreSize() const { return ERObject::binaryStoreSize(); }

ERIdentity3D operator*(const ERIdentity3D&, const ERIdentity3D&) { return ERIdentity3D(); }

// ---------------------------------------------------------------------------------------------
// ERTranslation3D

ERDoubleMatrix ERTranslation3D::getMatrix() const { return IdentityMatrix(3); }
const ERTr3DRevRep* ERTranslation3D::getInverse() const { return new ERTranslation3D(-1.0 * trans); }
const ERTr3DRevRep* ERTranslation3D::getReduced() const { return new ERTranslation3D(*this); }
const ERTr3DRevRep* ERTranslation3D::operator*(const ERTr3DRevRep* right) const {
  return right->multiplyWithERTranslation3D(this);
}

// Tr a o Tr b: a + b, the shared identity when the sum is the origin.
const ERTr3DRevRep* ERTranslation3D::multiplyWithERTranslation3D(const ERTranslation3D* left) const {
  const ERPoint3D sum = left->getTrans() + trans;
  if (sum == ERPoint3D()) return GetIdentity();
  return new ERTranslation3D(sum);
}
// Rot a o Tr b: (Ma, Ma.tb).
const ERTr3DRevRep* ERTranslation3D::multiplyWithERRotation3D(const ERRotation3D* left) const {
  return new ERChgRepere3D(left->m_mat, left->m_mat * trans);
}
// Chg a o Tr b: (Ma, Ma.tb + ta).
const ERTr3DRevRep* ERTranslation3D::multiplyWithERChgRepere3D(const ERChgRepere3D* left) const {
  return new ERChgRepere3D(left->m_mat, left->m_mat * trans + left->origin);
}
const ERTr3DRevRep* ERTranslation3D::multiplyWithERScaling3D(const ERScaling3D* left) const {
  return Multiply2Sim(left, this);
}
const ERTr3DRevRep* ERTranslation3D::multiplyWithERSymetrie3D(const ERSymetrie3D* left) const {
  return Multiply2Sim(left, this);
}
const ERTr3DRevRep* ERTranslation3D::multiplyWithERSimilitude3D(const ERSimilitude3D* left) const {
  return Multiply2Sim(left, this);
}

ERObject* ERTranslation3D::getCopy() const { return new ERTranslation3D(*this); }
void ERTranslation3D::printOn(std::ostream& os) const {
  os << "Composante Translation : " << trans << std::endl;
}
void ERTranslation3D::saveGuts(ERFile& file) const {
  ERObject::saveGuts(file);
  file << trans;
}
void ERTranslation3D::restoreGuts(ERFile& file) {
  ERObject::restoreGuts(file);
  file >> trans;
}
unsigned long ERTranslation3D::binaryStoreSize() const {
  return ERObject::binaryStoreSize() + trans.binaryStoreSize();
}

// ---------------------------------------------------------------------------------------------
// ERRotation3D

ERRotation3D::ERRotation3D() : m_mat(unitMatrix()) {}

ERRotation3D::ERRotation3D(Coord3D axis, ERRadian angle) : m_mat(3, 3) {
  switch (axis) {
    case X3D:
      DefineRotX(angle);
      break;
    case Y3D:
      DefineRotY(angle);
      break;
    case Z3D:
      DefineRotZ(angle);
      break;
  }
}

ERRotation3D::ERRotation3D(const ERVector3D& axis, ERRadian angle) {
  double turns = 0.0;
  const double f = std::modf((angle / 2.0) / 3.141592653589793, &turns);
  // A whole number of turns: the axis is not looked at, so a zero axis is accepted.
  if (f == 0.0)
    m_mat = unitMatrix();
  else
    m_mat = ERPseudoVecteurRotation(axis, angle).GetMatrix();
}

ERRotation3D::ERRotation3D(const ERPseudoVecteurRotation& r) : m_mat(3, 3) {
  const ERDoubleMatrix g = r.GetMatrix();
  // Only the upper-left 2x2 block is copied; the bound of 2 is deliberate and kept.
  for (unsigned i = 0; i < 2; ++i)
    for (unsigned j = 0; j < 2; ++j) m_mat(i, j) = g(i, j);
}

ERRotation3D::ERRotation3D(const ERDoubleMatrix& theMatrix) : m_mat(theMatrix) {
  ER_ASSERT_T((m_mat.cols() == 3) && (m_mat.rows() == 3), "(m_mat.cols()==3) && (m_mat.rows()==3 )");
  ER_ASSERT_T(closeTo(determinant(theMatrix), 1.0), "::isEqual(determinant(theMatrix),1.0)");
  ER_ASSERT_T(::isEqual(theMatrix * transpose(theMatrix), IdentityMatrix(3), kTolerance),
              "::isEqual(theMatrix*transpose(theMatrix),IdentityMatrix(3))");
}

void ERRotation3D::DefineRotX(ERRadian a) {
  m_mat(0, 0) = 1.0;
  m_mat(1, 1) = std::cos(a);
  m_mat(1, 2) = -std::sin(a);
  m_mat(2, 1) = std::sin(a);
  m_mat(2, 2) = std::cos(a);
}

void ERRotation3D::DefineRotY(ERRadian a) {
  m_mat(1, 1) = 1.0;
  m_mat(0, 0) = std::cos(a);
  m_mat(0, 2) = std::sin(a);
  m_mat(2, 0) = -std::sin(a);
  m_mat(2, 2) = std::cos(a);
}

void ERRotation3D::DefineRotZ(ERRadian a) {
  m_mat(2, 2) = 1.0;
  m_mat(0, 0) = std::cos(a);
  m_mat(0, 1) = -std::sin(a);
  m_mat(1, 0) = std::sin(a);
  m_mat(1, 1) = std::cos(a);
}

void ERRotation3D::TransTo(ERVector3D& v) const { v = mulInverseIsoMat(m_mat, v); }
void ERRotation3D::TransTo(ERPoint3D& p) const { p = mulInverseIsoMat(m_mat, p); }
void ERRotation3D::TransFrom(ERVector3D& v) const { v = m_mat * v; }
void ERRotation3D::TransFrom(ERPoint3D& p) const { p = m_mat * p; }
ERPoint3D ERRotation3D::getTrans() const { return ERPoint3D(); }
const ERTr3DRevRep* ERRotation3D::getInverse() const { return new ERRotation3D(transpose(m_mat)); }
const ERTr3DRevRep* ERRotation3D::getReduced() const { return new ERRotation3D(*this); }
const ERTr3DRevRep* ERRotation3D::operator*(const ERTr3DRevRep* right) const {
  return right->multiplyWithERRotation3D(this);
}

// Tr a o Rot b: (Mb, ta).
const ERTr3DRevRep* ERRotation3D::multiplyWithERTranslation3D(const ERTranslation3D* left) const {
  return new ERChgRepere3D(m_mat, left->getTrans());
}
// Rot a o Rot b: Ma.Mb, never reduced to the identity.
const ERTr3DRevRep* ERRotation3D::multiplyWithERRotation3D(const ERRotation3D* left) const {
  return new ERRotation3D(left->m_mat * m_mat);
}
// Chg a o Rot b: (Ma.Mb, ta).
const ERTr3DRevRep* ERRotation3D::multiplyWithERChgRepere3D(const ERChgRepere3D* left) const {
  return new ERChgRepere3D(left->m_mat * m_mat, left->origin);
}
const ERTr3DRevRep* ERRotation3D::multiplyWithERScaling3D(const ERScaling3D* left) const {
  return Multiply2Sim(left, this);
}
const ERTr3DRevRep* ERRotation3D::multiplyWithERSymetrie3D(const ERSymetrie3D* left) const {
  return Multiply2Sim(left, this);
}
const ERTr3DRevRep* ERRotation3D::multiplyWithERSimilitude3D(const ERSimilitude3D* left) const {
  return Multiply2Sim(left, this);
}

ERObject* ERRotation3D::getCopy() const { return new ERRotation3D(*this); }
void ERRotation3D::printOn(std::ostream& os) const { os << "Matrice de Rotation : " << m_mat; }
void ERRotation3D::saveGuts(ERFile& file) const {
  ERObject::saveGuts(file);
  file << m_mat;
}
void ERRotation3D::restoreGuts(ERFile& file) {
  ERObject::restoreGuts(file);
  file >> m_mat;
}
unsigned long ERRotation3D::binaryStoreSize() const {
  return ERObject::binaryStoreSize() + m_mat.binaryStoreSize();
}

// ---------------------------------------------------------------------------------------------
// ERChgRepere3D

namespace {
// The checks every change of frame built from directions ends with.
void checkFrameMatrix(const ERDoubleMatrix& m_mat) {
  ER_ASSERT_T(m_mat.cols() == 3 && m_mat.rows() == 3, "m_mat.cols()==3 && m_mat.rows()==3");
  ER_ASSERT_T(closeTo(determinant(m_mat), 1.0), "::isEqual(determinant(m_mat),1.0)");
}
}  // namespace

ERChgRepere3D::ERChgRepere3D() : m_mat(unitMatrix()) {}

ERChgRepere3D::ERChgRepere3D(const ERVector3D& VX, const ERVector3D& VY, const ERPoint3D& O) : origin(O) {
  const ERVector3D x = VX.getnormalized();
  const ERVector3D y0 = VY.getnormalized();
  const ERVector3D z = (x ^ y0).getnormalized();
  const ERVector3D y = z ^ x;
  m_mat = matrixFromColumns(x, y, z);
  checkFrameMatrix(m_mat);
}

ERChgRepere3D::ERChgRepere3D(const ERVector3D& VZ, const ERPoint3D& O) : origin(O) {
  ER_ASSERT_T(VZ.norme() != 0.0, "VZ.norme()!=0.0");
  const ERVector3D z = VZ.getnormalized();
  const double zx = z[X3D], zy = z[Y3D], zz = z[Z3D];
  // The first two helpers are deliberately not perpendicular to z: the cross products below make the
  // frame orthonormal all the same.
  ERVector3D h;
  if (std::fabs(zx) <= std::fabs(zz) && std::fabs(zy) <= std::fabs(zz)) {
    h = ERVector3D(1.0, 0.0, -zy / zz);
  } else if (std::fabs(zx) <= std::fabs(zy) && std::fabs(zz) <= std::fabs(zy)) {
    h = ERVector3D(1.0, -zz / zy, 0.0);
  } else if (zx == 0.0) {
    h = ERVector3D(1.0, 1.0, 1.0);
    ER_UNREACHABLE();
  } else {
    h = ERVector3D(-zz / zx, 0.0, 1.0);
  }
  h.normalize();
  const ERVector3D y = (z ^ h).getnormalized();
  const ERVector3D x = y ^ z;
  m_mat = matrixFromColumns(x, y, z);
  checkFrameMatrix(m_mat);
}

ERChgRepere3D::ERChgRepere3D(const ERRotation3D& r, const ERTranslation3D& t)
    : m_mat(r.getMatrix()), origin(t.getTrans()) {
  ER_ASSERT_T(m_mat.cols() == 3 && m_mat.rows() == 3, "m_mat.cols()==3 && m_mat.rows()==3");
}

ERChgRepere3D::ERChgRepere3D(const ERAnyIsometrie3D& iso) : m_mat(iso.getMatrix()), origin(iso.getTrans()) {}

ERChgRepere3D::ERChgRepere3D(ERDoubleMatrix theMatrix, const ERPoint3D& O) : m_mat(theMatrix), origin(O) {
  ER_ASSERT_T(m_mat.cols() == 3 && m_mat.rows() == 3, "m_mat.cols()==3 && m_mat.rows()==3");
  ER_ASSERT_T(closeTo(determinant(m_mat), 1.0), "::isEqual(determinant(m_mat),1.0)");
  ER_ASSERT_T(::isEqual(theMatrix * transpose(theMatrix), IdentityMatrix(3), kTolerance),
              "::isEqual(theMatrix*transpose(theMatrix),IdentityMatrix(3))");
}

void ERChgRepere3D::TransTo(ERVector3D& v) const { v = mulInverseIsoMat(m_mat, v); }
void ERChgRepere3D::TransTo(ERPoint3D& p) const { p = mulInverseIsoMat(m_mat, p - origin); }
void ERChgRepere3D::TransFrom(ERVector3D& v) const { v = m_mat * v; }
void ERChgRepere3D::TransFrom(ERPoint3D& p) const { p = m_mat * p + origin; }

const ERTr3DRevRep* ERChgRepere3D::getInverse() const {
  const ERDoubleMatrix mt = transpose(m_mat);
  return new ERChgRepere3D(mt, -1.0 * (mt * origin));
}
const ERTr3DRevRep* ERChgRepere3D::getReduced() const { return new ERChgRepere3D(*this); }
const ERTr3DRevRep* ERChgRepere3D::operator*(const ERTr3DRevRep* right) const {
  return right->multiplyWithERChgRepere3D(this);
}

// Tr a o Chg b: (Mb, tb + ta).
const ERTr3DRevRep* ERChgRepere3D::multiplyWithERTranslation3D(const ERTranslation3D* left) const {
  return new ERChgRepere3D(m_mat, origin + left->getTrans());
}
// Rot a o Chg b: (Ma.Mb, Ma.tb).
const ERTr3DRevRep* ERChgRepere3D::multiplyWithERRotation3D(const ERRotation3D* left) const {
  return new ERChgRepere3D(left->m_mat * m_mat, left->m_mat * origin);
}
// Chg a o Chg b: (Ma.Mb, Ma.tb + ta).
const ERTr3DRevRep* ERChgRepere3D::multiplyWithERChgRepere3D(const ERChgRepere3D* left) const {
  return new ERChgRepere3D(left->m_mat * m_mat, left->m_mat * origin + left->origin);
}
const ERTr3DRevRep* ERChgRepere3D::multiplyWithERScaling3D(const ERScaling3D* left) const {
  return Multiply2Sim(left, this);
}
const ERTr3DRevRep* ERChgRepere3D::multiplyWithERSymetrie3D(const ERSymetrie3D* left) const {
  return Multiply2Sim(left, this);
}
const ERTr3DRevRep* ERChgRepere3D::multiplyWithERSimilitude3D(const ERSimilitude3D* left) const {
  return Multiply2Sim(left, this);
}

ERObject* ERChgRepere3D::getCopy() const { return new ERChgRepere3D(*this); }
void ERChgRepere3D::printOn(std::ostream& os) const {
  os << "Matrice de Rotation    : " << m_mat;
  os << "Composante Translation : " << origin << std::endl;
}
void ERChgRepere3D::saveGuts(ERFile& file) const {
  ERObject::saveGuts(file);
  file << m_mat;
  file << origin;
}
void ERChgRepere3D::restoreGuts(ERFile& file) {
  ERObject::restoreGuts(file);
  file >> m_mat;
  file >> origin;
}
unsigned long ERChgRepere3D::binaryStoreSize() const {
  return ERObject::binaryStoreSize() + m_mat.binaryStoreSize() + origin.binaryStoreSize();
}

// ---------------------------------------------------------------------------------------------
// ERScaling3D

ERDoubleMatrix ERScaling3D::getMatrix() const { return unitMatrix(); }
ERPoint3D ERScaling3D::getTrans() const { return ERPoint3D(); }
// No guard against a zero factor.
const ERTr3DRevRep* ERScaling3D::getInverse() const { return new ERScaling3D(1.0 / factor); }
const ERTr3DRevRep* ERScaling3D::getReduced() const { return new ERScaling3D(*this); }
const ERTr3DRevRep* ERScaling3D::operator*(const ERTr3DRevRep* right) const {
  return right->multiplyWithERScaling3D(this);
}

const ERTr3DRevRep* ERScaling3D::multiplyWithERTranslation3D(const ERTranslation3D* left) const {
  return Multiply2Sim(left, this);
}
const ERTr3DRevRep* ERScaling3D::multiplyWithERRotation3D(const ERRotation3D* left) const {
  return Multiply2Sim(left, this);
}
const ERTr3DRevRep* ERScaling3D::multiplyWithERChgRepere3D(const ERChgRepere3D* left) const {
  return Multiply2Sim(left, this);
}
// Sc a o Sc b: ka.kb, the shared identity when the product is exactly 1.0.
const ERTr3DRevRep* ERScaling3D::multiplyWithERScaling3D(const ERScaling3D* left) const {
  const double k = left->factor * factor;
  if (k == 1.0) return GetIdentity();
  return new ERScaling3D(k);
}
const ERTr3DRevRep* ERScaling3D::multiplyWithERSymetrie3D(const ERSymetrie3D* left) const {
  return Multiply2Sim(left, this);
}
const ERTr3DRevRep* ERScaling3D::multiplyWithERSimilitude3D(const ERSimilitude3D* left) const {
  return Multiply2Sim(left, this);
}

ERObject* ERScaling3D::getCopy() const { return new ERScaling3D(*this); }
void ERScaling3D::printOn(std::ostream& os) const { os << "Homothetie de rapport :" << factor << std::endl; }
void ERScaling3D::saveGuts(ERFile& file) const {
  ERObject::saveGuts(file);
  file.Write(factor);
}
void ERScaling3D::restoreGuts(ERFile& file) {
  ERObject::restoreGuts(file);
  file.Read(factor);
}
unsigned long ERScaling3D::binaryStoreSize() const { return ERObject::binaryStoreSize() + sizeof(double); }

// ---------------------------------------------------------------------------------------------
// ERSymetrie3D

ERSymetrie3D::ERSymetrie3D() : m_mat(unitMatrix()) {}

ERSymetrie3D::ERSymetrie3D(Coord3D axis) {
  double d[3] = {1.0, 1.0, 1.0};
  // Another axis value is not a coordinate plane: the matrix stays the identity.
  if (axis == X3D || axis == Y3D || axis == Z3D) d[axis] = -1.0;
  m_mat =
      matrixFromColumns(ERVector3D(d[0], 0.0, 0.0), ERVector3D(0.0, d[1], 0.0), ERVector3D(0.0, 0.0, d[2]));
}

ERSymetrie3D::ERSymetrie3D(const ERVector3D& n) {
  const ERDoubleMatrix c = ERChgRepere3D(n, ERPoint3D()).getMatrix();
  const ERDoubleMatrix s = ERSymetrie3D(Z3D).getMatrix();
  m_mat = (c * s) * inverse(ERLUDecomp(c));
}

bool ERSymetrie3D::closeToMinusOne() const { return closeTo(determinant(m_mat), -1.0); }

void ERSymetrie3D::TransTo(ERVector3D& v) const { v = m_mat * v; }
void ERSymetrie3D::TransTo(ERPoint3D& p) const { p = m_mat * p; }
void ERSymetrie3D::TransFrom(ERVector3D& v) const { v = m_mat * v; }
void ERSymetrie3D::TransFrom(ERPoint3D& p) const { p = m_mat * p; }
ERPoint3D ERSymetrie3D::getTrans() const { return ERPoint3D(); }
double ERSymetrie3D::getFactHomo() const { return 1.0; }
int ERSymetrie3D::isDirect() const { return determinant(m_mat) > 0.0; }
const ERTr3DRevRep* ERSymetrie3D::getInverse() const { return new ERSymetrie3D(*this); }
const ERTr3DRevRep* ERSymetrie3D::getReduced() const { return new ERSymetrie3D(*this); }
const ERTr3DRevRep* ERSymetrie3D::operator*(const ERTr3DRevRep* right) const {
  return right->multiplyWithERSymetrie3D(this);
}

const ERTr3DRevRep* ERSymetrie3D::multiplyWithERTranslation3D(const ERTranslation3D* left) const {
  return Multiply2Sim(left, this);
}
const ERTr3DRevRep* ERSymetrie3D::multiplyWithERRotation3D(const ERRotation3D* left) const {
  return Multiply2Sim(left, this);
}
const ERTr3DRevRep* ERSymetrie3D::multiplyWithERChgRepere3D(const ERChgRepere3D* left) const {
  return Multiply2Sim(left, this);
}
const ERTr3DRevRep* ERSymetrie3D::multiplyWithERScaling3D(const ERScaling3D* left) const {
  return Multiply2Sim(left, this);
}
const ERTr3DRevRep* ERSymetrie3D::multiplyWithERSymetrie3D(const ERSymetrie3D* left) const {
  return Multiply2Sim(left, this);
}
const ERTr3DRevRep* ERSymetrie3D::multiplyWithERSimilitude3D(const ERSimilitude3D* left) const {
  return Multiply2Sim(left, this);
}

ERObject* ERSymetrie3D::getCopy() const { return new ERSymetrie3D(*this); }
void ERSymetrie3D::printOn(std::ostream& os) const { os << "Symetrie de matrice : " << m_mat; }
void ERSymetrie3D::saveGuts(ERFile& file) const {
  ERObject::saveGuts(file);
  file << m_mat;
}
void ERSymetrie3D::restoreGuts(ERFile& file) {
  ERObject::restoreGuts(file);
  file >> m_mat;
}
unsigned long ERSymetrie3D::binaryStoreSize() const {
  return ERObject::binaryStoreSize() + m_mat.binaryStoreSize();
}

// ---------------------------------------------------------------------------------------------
// ERSimilitude3D

ERSimilitude3D::ERSimilitude3D() : m_mat(unitMatrix()), factor(1.0) {}

ERSimilitude3D::ERSimilitude3D(const ERAnySimilitude3D& s)
    : m_mat(s.getMatrix()), trans(s.getTrans()), factor(s.getFactHomo()) {}

bool ERSimilitude3D::unitDeterminant() const { return closeTo(std::fabs(determinant(m_mat)), 1.0); }

int ERSimilitude3D::isValid() const {
  if (!holds3x3(m_mat)) return 0;
  return unitDeterminant() && factor > 0.0;
}

void ERSimilitude3D::TransTo(ERVector3D& v) const { v = mulInverseIsoMat(m_mat, v) / factor; }
void ERSimilitude3D::TransTo(ERPoint3D& p) const {
  p -= trans;
  p = mulInverseIsoMat(m_mat, p);
  p *= 1.0 / factor;
}
void ERSimilitude3D::TransFrom(ERVector3D& v) const { v = m_mat * (factor * v); }
void ERSimilitude3D::TransFrom(ERPoint3D& p) const { p = m_mat * (factor * p) + trans; }
int ERSimilitude3D::isDirect() const { return determinant(m_mat) > 0.0; }

const ERTr3DRevRep* ERSimilitude3D::getInverse() const {
  const ERDoubleMatrix mt = transpose(m_mat);
  return new ERSimilitude3D(mt, (-1.0 / factor) * (mt * trans), 1.0 / factor);
}
const ERTr3DRevRep* ERSimilitude3D::getReduced() const { return new ERSimilitude3D(*this); }
const ERTr3DRevRep* ERSimilitude3D::operator*(const ERTr3DRevRep* right) const {
  return right->multiplyWithERSimilitude3D(this);
}

const ERTr3DRevRep* ERSimilitude3D::multiplyWithERTranslation3D(const ERTranslation3D* left) const {
  return Multiply2Sim(left, this);
}
const ERTr3DRevRep* ERSimilitude3D::multiplyWithERRotation3D(const ERRotation3D* left) const {
  return Multiply2Sim(left, this);
}
const ERTr3DRevRep* ERSimilitude3D::multiplyWithERChgRepere3D(const ERChgRepere3D* left) const {
  return Multiply2Sim(left, this);
}
const ERTr3DRevRep* ERSimilitude3D::multiplyWithERScaling3D(const ERScaling3D* left) const {
  return Multiply2Sim(left, this);
}
const ERTr3DRevRep* ERSimilitude3D::multiplyWithERSymetrie3D(const ERSymetrie3D* left) const {
  return Multiply2Sim(left, this);
}
const ERTr3DRevRep* ERSimilitude3D::multiplyWithERSimilitude3D(const ERSimilitude3D* left) const {
  return Multiply2Sim(left, this);
}

ERObject* ERSimilitude3D::getCopy() const { return new ERSimilitude3D(*this); }
void ERSimilitude3D::printOn(std::ostream& os) const {
  os << "Matrice de Rotation    : " << std::endl << m_mat;
  os << "Composante Translation : " << trans << std::endl;
  os << "facteur d'homothetie   : " << factor << std::endl;
}
void ERSimilitude3D::saveGuts(ERFile& file) const {
  ERObject::saveGuts(file);
  file << m_mat;
  file << trans;
  file.Write(factor);
}
void ERSimilitude3D::restoreGuts(ERFile& file) {
  ERObject::restoreGuts(file);
  file >> m_mat;
  file >> trans;
  file.Read(factor);
}
unsigned long ERSimilitude3D::binaryStoreSize() const {
  return ERObject::binaryStoreSize() + m_mat.binaryStoreSize() + trans.binaryStoreSize() + sizeof(double);
}

// ---------------------------------------------------------------------------------------------
// Envelope and handles

int ERTr3DRevEnveloppe::isValid() const {
  return mpTrans->isKindOf(ERTr3DRevRep::desc()) && mpTrans->isValid();
}

int ERTr3DRevEnveloppe::isEqual(const ERTr3D& other) const {
  if (other.isKindOf(ERTr3DRevEnveloppe::desc()))
    return mpTrans->isEqual(*static_cast<const ERTr3DRevEnveloppe&>(other).mpTrans);
  return mpTrans->isEqual(other);
}

void ERTr3DRevEnveloppe::printOn(std::ostream& os) const {
  os << "Class : " << className() << std::endl;
  os << "   contents a " << mpTrans->className() << std::endl;
  os << *mpTrans << std::endl;
}

void ERTr3DRevEnveloppe::saveGuts(ERFile& file) const {
  ERObject::saveGuts(file);
  file << getMatrix();
  file << getTrans();
  file.Write(getFactHomo());
}

void ERTr3DRevEnveloppe::restoreGuts(ERFile& file) {
  ERObject::restoreGuts(file);
  ERDoubleMatrix m;
  ERPoint3D t;
  double k = 0.0;
  file >> m;
  file >> t;
  file.Read(k);
  // Whatever class was saved, the handle comes back holding a similitude.
  *this = new ERSimilitude3D(m, t, k);
  reduce();
}

unsigned long ERTr3DRevEnveloppe::binaryStoreSize() const {
  return getMatrix().binaryStoreSize() + sizeof(double) + getTrans().binaryStoreSize();
}

ERObject* ERPmSimilitude3D::getCopy() const { return new ERPmSimilitude3D(*this); }
ERObject* ERPmIsometrie3D::getCopy() const { return new ERPmIsometrie3D(*this); }

// ---------------------------------------------------------------------------------------------
// Composition and inversion of handles

namespace {
// What a composition hands back, made safe to adopt: when it is one of the operands given as a
// representation and no holder owns it (a caller's object), a private copy replaces it.
const ERTr3DRevRep* adoptable(const ERTr3DRevRep* result, const ERTr3DRevRep* a, const ERTr3DRevRep* b) {
  if ((result == a || result == b) && result->references() == -1)
    return ERTr3DRevRep::castdown(result->getCopy());
  return result;
}
}  // namespace

ERPmSimilitude3D operator*(const ERAnySimilitude3D& a, const ERAnySimilitude3D& b) {
  return ERPmSimilitude3D(adoptable(a * &b, &a, &b));
}

ERPmSimilitude3D operator*(const ERPmSimilitude3D& a, const ERPmSimilitude3D& b) {
  return ERPmSimilitude3D(*a.mpTrans * b.mpTrans);
}

ERPmSimilitude3D operator*(const ERPmSimilitude3D& iso1, const ERAnySimilitude3D& b) {
  ER_ASSERT(iso1.isValid());
  return ERPmSimilitude3D(adoptable(*iso1.mpTrans * &b, nullptr, &b));
}

ERPmSimilitude3D operator*(const ERAnySimilitude3D& a, const ERPmSimilitude3D& iso2) {
  ER_ASSERT(iso2.isValid());
  return ERPmSimilitude3D(adoptable(a * iso2.mpTrans, &a, nullptr));
}

ERPmIsometrie3D operator*(const ERAnyIsometrie3D& a, const ERAnyIsometrie3D& b) {
  return ERPmIsometrie3D(adoptable(a * &b, &a, &b));
}

ERPmIsometrie3D operator*(const ERPmIsometrie3D& a, const ERPmIsometrie3D& b) {
  return ERPmIsometrie3D(*a.mpTrans * b.mpTrans);
}

ERPmIsometrie3D operator*(const ERPmIsometrie3D& a, const ERAnyIsometrie3D& b) {
  return ERPmIsometrie3D(adoptable(*a.mpTrans * &b, nullptr, &b));
}

ERPmIsometrie3D operator*(const ERAnyIsometrie3D& a, const ERPmIsometrie3D& b) {
  return ERPmIsometrie3D(adoptable(a * b.mpTrans, &a, nullptr));
}

ERPmSimilitude3D operator~(const ERAnySimilitude3D& a) { return ERPmSimilitude3D(a.getInverse()); }
ERPmSimilitude3D operator~(const ERPmSimilitude3D& a) { return ERPmSimilitude3D(a.mpTrans->getInverse()); }
ERPmIsometrie3D operator~(const ERAnyIsometrie3D& a) { return ERPmIsometrie3D(a.getInverse()); }
ERPmIsometrie3D operator~(const ERPmIsometrie3D& a) { return ERPmIsometrie3D(a.mpTrans->getInverse()); }

// ---------------------------------------------------------------------------------------------
// Application and comparison

ERPole3DH operator<<(const ERTr3D& t, const ERPole3DH& p) {
  ERPole3DH r(p);
  mapPole(r, [&t](ERPoint3D& q) { t.TransTo(q); });
  return r;
}
ERPoint3DVec operator<<(const ERTr3D& t, const ERPoint3DVec& v) {
  ERPoint3DVec r(v);
  t.TransTo(r);
  return r;
}
ERPole3DHVec operator<<(const ERTr3D& t, const ERPole3DHVec& v) {
  ERPole3DHVec r(v);
  t.TransTo(r);
  return r;
}
ERPole3DH operator>>(const ERTr3DRev& t, const ERPole3DH& p) {
  ERPole3DH r(p);
  mapPole(r, [&t](ERPoint3D& q) { t.TransFrom(q); });
  return r;
}
ERPoint3DVec operator>>(const ERTr3DRev& t, const ERPoint3DVec& v) {
  ERPoint3DVec r(v);
  t.TransFrom(r);
  return r;
}
ERPole3DHVec operator>>(const ERTr3DRev& t, const ERPole3DHVec& v) {
  ERPole3DHVec r(v);
  t.TransFrom(r);
  return r;
}

int operator==(const ERTr3D& a, const ERTr3D& b) { return a.isEqual(b); }

// ---------------------------------------------------------------------------------------------
// Start-up and shut-down: the shared identity exists from the library's load, after every registration
// above, until its unload.

namespace {
struct Transfo3DLifetime {
  Transfo3DLifetime() { InitTransfo3D(); }
  ~Transfo3DLifetime() { CloseTransfo3D(); }
};
Transfo3DLifetime g_transfo3DLifetime;
}  // namespace
