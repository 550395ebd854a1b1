// 3D transformations: one class tree from the abstract mapping (apply to points, vectors, point and pole
// vectors, compare, project) through the reversible layer (inverse, matrix, translation, homothety factor)
// to the shared, reference-counted representations (identity, translation, rotation, change of frame,
// scaling, mirror symmetry, similitude) and the value-like handles ERPmSimilitude3D and ERPmIsometrie3D.
// Every reversible transformation maps p to k.M.p + t (TransFrom); TransTo is the inverse mapping.
#ifndef VELMORA_TRANSF3D_H
#define VELMORA_TRANSF3D_H

#include <iosfwd>

#include "velmora/ercommon.h"
#include "velmora/matrix.h"
#include "velmora/notempl/matdbl.h"
#include "velmora/notempl/vcpt3d.h"
#include "velmora/notempl/vcpt3dh.h"
#include "velmora/vector3d.h"

// The members every concrete transformation overrides, declared once: the persistent object's
// copy, text and binary forms, and the second step of the composition's double dispatch (this
// transformation as the right operand of each concrete class).
#define ER_TR3D_PERSISTENT_OVERRIDES()           \
  ERObject* getCopy() const override;            \
  void printOn(std::ostream& os) const override; \
  void saveGuts(ERFile& file) const override;    \
  void restoreGuts(ERFile& file) override;       \
  unsigned long binaryStoreSize() const override
#define ER_TR3D_MULTIPLY_WITH_OVERRIDES()                                                      \
  const ERTr3DRevRep* multiplyWithERTranslation3D(const ERTranslation3D* left) const override; \
  const ERTr3DRevRep* multiplyWithERRotation3D(const ERRotation3D* left) const override;       \
  const ERTr3DRevRep* multiplyWithERChgRepere3D(const ERChgRepere3D* left) const override;     \
  const ERTr3DRevRep* multiplyWithERScaling3D(const ERScaling3D* left) const override;         \
  const ERTr3DRevRep* multiplyWithERSymetrie3D(const ERSymetrie3D* left) const override;       \
  const ERTr3DRevRep* multiplyWithERSimilitude3D(const ERSimilitude3D* left) const override

class ERTr3DRevRep;
class ERIdentity3D;
class ERTranslation3D;
class ERRotation3D;
class ERChgRepere3D;
class ERScaling3D;
class ERSymetrie3D;
class ERSimilitude3D;
class ERAnySimilitude3D;
class ERAnyIsometrie3D;
class ERPmSimilitude3D;
class ERPmIsometrie3D;
class ERPseudoVecteurRotation;

// ---------------------------------------------------------------------------------------------
// Abstract layers

// A forward mapping of space: TransTo takes points, vectors, point vectors and pole vectors in place.
class ERTr3D : public ERObject {
  ER_DECLARE_CLASS(ERTr3D)

  // Vectors: an empty vector is left alone (its storage stays shared); otherwise the storage is made
  // private and each element is mapped in place, in index order. A pole is mapped through its
  // Cartesian point and keeps its weight.
  virtual void TransTo(ERPole3DHVec& v) const;
  virtual void TransTo(ERPoint3DVec& v) const;
  virtual void TransTo(ERVector3D& v) const = 0;
  virtual void TransTo(ERPoint3D& p) const = 0;
  // 1 when other is of the same class (class identity first: a translation by zero is not the identity).
  virtual int isEqual(const ERTr3D& other) const;
  // TransTo, then the Z coordinate dropped.
  virtual ERPole2DH Project(const ERPole3DH& p) const;
  virtual ERPoint2D Project(const ERPoint3D& p) const;
};

// Registered projection kind with no behaviour of its own.
class ERTr3DProj : public ERTr3D {
  ER_DECLARE_CLASS(ERTr3DProj)
};

// A reversible transformation: TransFrom(p) = k.M.p + t for points and k.M.v for vectors, TransTo its
// inverse, and the decomposition into M (getMatrix, 3x3), t (getTrans) and k (getFactHomo).
class ERTr3DRev : public ERTr3D {
  ER_DECLARE_CLASS(ERTr3DRev)

  using ERTr3D::TransTo;
  // A new representation of the inverse (count -1, owned by the caller), or a shared one.
  virtual const ERTr3DRevRep* getInverse() const = 0;
  virtual void TransFrom(ERPole3DHVec& v) const;
  virtual void TransFrom(ERPoint3DVec& v) const;
  virtual void TransFrom(ERVector3D& v) const = 0;
  virtual void TransFrom(ERPoint3D& p) const = 0;
  virtual ERDoubleMatrix getMatrix() const = 0;
  virtual ERPoint3D getTrans() const = 0;
  virtual double getFactHomo() const = 0;
  virtual int isDirect() const = 0;
  // The image of the origin: getTrans().
  virtual ERPoint3D origine() const;
  // The image of the unit vector of axis c: column c of k.M.
  virtual ERVector3D getVector(Coord3D c) const;
  // Same class, then matrices, translations and factors within 1e-11.
  int isEqual(const ERTr3D& other) const override;
};

// A shared, immutable representation. Its ERObject counter holds the number of holders minus one: a
// fresh one (-1) has no holder. Handles take a reference; MPTRANS_REMOVEREF releases one and deletes the
// representation when the last holder lets go. Composition resolves both concrete classes (double
// dispatch) and yields the simplest class that holds the product.
class ERTr3DRevRep : public ERTr3DRev {
  ER_DECLARE_CLASS(ERTr3DRevRep)

  // The one identity of the library, held by this pointer; null before start-up.
  static const ERTr3DRevRep* theIdentity;

  // A new copy (the identity answers the shared identity).
  virtual const ERTr3DRevRep* getReduced() const;
  // The representation of this o right (right applied first): a new one (count -1), the shared
  // identity, or one of the operands itself.
  virtual const ERTr3DRevRep* operator*(const ERTr3DRevRep* right) const = 0;

 protected:
  friend class ERIdentity3D;
  friend class ERTranslation3D;
  friend class ERRotation3D;
  friend class ERChgRepere3D;
  friend class ERScaling3D;
  friend class ERSymetrie3D;
  friend class ERSimilitude3D;

  // Called on the right operand with the left one: the result represents left o this. The base versions
  // answer null; every concrete class answers all of them.
  const ERTr3DRevRep* multiplyWithERIdentity3D(const ERIdentity3D*) const { return this; }
  virtual const ERTr3DRevRep* multiplyWithERTranslation3D(const ERTranslation3D* left) const;
  virtual const ERTr3DRevRep* multiplyWithERRotation3D(const ERRotation3D* left) const;
  virtual const ERTr3DRevRep* multiplyWithERChgRepere3D(const ERChgRepere3D* left) const;
  virtual const ERTr3DRevRep* multiplyWithERScaling3D(const ERScaling3D* left) const;
  virtual const ERTr3DRevRep* multiplyWithERSymetrie3D(const ERSymetrie3D* left) const;
  virtual const ERTr3DRevRep* multiplyWithERSimilitude3D(const ERSimilitude3D* left) const;
};

// Releases one reference: stores the count less one and deletes the representation when the count read
// was 0 (its last holder).
inline void MPTRANS_REMOVEREF(const ERTr3DRevRep* rep) {
  if (rep->removeReference() == 0) delete rep;
}

// Start-up and shut-down of the shared identity. InitTransfo3D creates it when it does not exist yet and
// holds it; GetIdentity does the same and answers it without taking a reference. CloseTransfo3D deletes
// it whatever its count and leaves the pointer as it is: it runs when the library is unloaded.
void InitTransfo3D();
const ERTr3DRevRep* GetIdentity();
void CloseTransfo3D();

// A similitude representation: k > 0, |det M| = 1.
class ERAnySimilitude3D : public ERTr3DRevRep {
  ER_DECLARE_CLASS(ERAnySimilitude3D)
};

// An isometry representation: factor 1.0, always direct.
class ERAnyIsometrie3D : public ERAnySimilitude3D {
  ER_DECLARE_CLASS(ERAnyIsometrie3D)

  double getFactHomo() const override;  // 1.0
  int isDirect() const override;        // 1
};

// ---------------------------------------------------------------------------------------------
// Concrete representations. Copies are deep; assignment is only for objects no handle shares.

// The identity. Its inverse, reduction and products with it are shared representations.
class ERIdentity3D : public ERAnyIsometrie3D {
  ER_DECLARE_CLASS(ERIdentity3D)

  ERIdentity3D() = default;
  ERIdentity3D(const ERIdentity3D&) = default;
  ERIdentity3D& operator=(const ERIdentity3D&) = default;

  using ERTr3DRev::TransFrom;
  using ERTr3DRev::TransTo;
  void TransTo(ERVector3D&) const override {}
  void TransTo(ERPoint3D&) const override {}
  void TransFrom(ERVector3D&) const override {}
  void TransFrom(ERPoint3D&) const override {}
  ERDoubleMatrix getMatrix() const override;  // IdentityMatrix(3)
  ERPoint3D getTrans() const override;        // (0,0,0)
  int isEqual(const ERTr3D& other) const override;
  const ERTr3DRevRep* getInverse() const override;  // the shared identity
  const ERTr3DRevRep* getReduced() const override;  // the shared identity
  // The right operand itself.
  const ERTr3DRevRep* operator*(const ERTr3DRevRep* right) const override;

  ER_TR3D_PERSISTENT_OVERRIDES();

 protected:
  // left o identity is left.
  ER_TR3D_MULTIPLY_WITH_OVERRIDES();
};

ERIdentity3D operator*(const ERIdentity3D& a, const ERIdentity3D& b);

// A translation: p + t; vectors are unchanged.
class ERTranslation3D : public ERAnyIsometrie3D {
  ER_DECLARE_CLASS(ERTranslation3D)

  ERTranslation3D() = default;  // by (0,0,0)
  explicit ERTranslation3D(const ERPoint3D& t) : trans(t) {}
  ERTranslation3D(const ERTranslation3D&) = default;
  ERTranslation3D& operator=(const ERTranslation3D&) = default;

  using ERTr3DRev::TransFrom;
  using ERTr3DRev::TransTo;
  void TransTo(ERVector3D&) const override {}
  void TransTo(ERPoint3D& p) const override { p -= trans; }
  void TransFrom(ERVector3D&) const override {}
  void TransFrom(ERPoint3D& p) const override { p += trans; }
  ERDoubleMatrix getMatrix() const override;  // IdentityMatrix(3)
  ERPoint3D getTrans() const override { return trans; }
  const ERTr3DRevRep* getInverse() const override;
  const ERTr3DRevRep* getReduced() const override;
  const ERTr3DRevRep* operator*(const ERTr3DRevRep* right) const override;

  ER_TR3D_PERSISTENT_OVERRIDES();

 protected:
  ER_TR3D_MULTIPLY_WITH_OVERRIDES();

 private:
  ERPoint3D trans;
};

// A rotation about an axis through the origin: M.p, inverted with the transpose.
class ERRotation3D : public ERAnyIsometrie3D {
  ER_DECLARE_CLASS(ERRotation3D)

  ERRotation3D();  // the identity matrix
  // About a coordinate axis; another axis value leaves the matrix as a fresh 3x3 matrix (zeros).
  ERRotation3D(Coord3D axis, ERRadian angle);
  // About an arbitrary axis; a whole number of turns gives the identity without looking at the axis.
  ERRotation3D(const ERVector3D& axis, ERRadian angle);
  // Copies only the upper-left 2x2 block of the pseudo-vector's matrix: the third row and column stay
  // as a fresh 3x3 matrix has them. Kept that way on purpose.
  explicit ERRotation3D(const ERPseudoVecteurRotation& r);
  ERRotation3D(const ERRotation3D&) = default;
  ERRotation3D& operator=(const ERRotation3D&) = default;

  using ERTr3DRev::TransFrom;
  using ERTr3DRev::TransTo;
  void TransTo(ERVector3D& v) const override;
  void TransTo(ERPoint3D& p) const override;
  void TransFrom(ERVector3D& v) const override;
  void TransFrom(ERPoint3D& p) const override;
  ERDoubleMatrix getMatrix() const override { return m_mat; }
  ERPoint3D getTrans() const override;  // (0,0,0)
  const ERTr3DRevRep* getInverse() const override;
  const ERTr3DRevRep* getReduced() const override;
  const ERTr3DRevRep* operator*(const ERTr3DRevRep* right) const override;

  ER_TR3D_PERSISTENT_OVERRIDES();

 protected:
  // Takes m as it is after checking that it is a 3x3 rotation matrix.
  explicit ERRotation3D(const ERDoubleMatrix& m);

  ER_TR3D_MULTIPLY_WITH_OVERRIDES();

 private:
  friend class ERTranslation3D;
  friend class ERChgRepere3D;

  void DefineRotX(ERRadian a);
  void DefineRotY(ERRadian a);
  void DefineRotZ(ERRadian a);

  ERDoubleMatrix m_mat;
};

// A change of frame: the frame whose axes are the columns of M and whose origin is O. TransFrom takes
// coordinates in that frame to the enclosing one (M.p + O); TransTo the other way (M^T.(p - O)).
class ERChgRepere3D : public ERAnyIsometrie3D {
  ER_DECLARE_CLASS(ERChgRepere3D)

  ERChgRepere3D();  // identity matrix, origin (0,0,0)
  // X along VX, Y in the plane of VX and VY, Z completing a direct frame.
  ERChgRepere3D(const ERVector3D& VX, const ERVector3D& VY, const ERPoint3D& O);
  // Z along VZ, X and Y chosen from a helper vector.
  ERChgRepere3D(const ERVector3D& VZ, const ERPoint3D& O);
  ERChgRepere3D(const ERRotation3D& r, const ERTranslation3D& t);
  explicit ERChgRepere3D(const ERAnyIsometrie3D& iso);
  ERChgRepere3D(const ERChgRepere3D&) = default;
  ERChgRepere3D& operator=(const ERChgRepere3D&) = default;

  using ERTr3DRev::TransFrom;
  using ERTr3DRev::TransTo;
  void TransTo(ERVector3D& v) const override;
  void TransTo(ERPoint3D& p) const override;
  void TransFrom(ERVector3D& v) const override;
  void TransFrom(ERPoint3D& p) const override;
  ERDoubleMatrix getMatrix() const override { return m_mat; }
  ERPoint3D getTrans() const override { return origin; }
  const ERTr3DRevRep* getInverse() const override;
  const ERTr3DRevRep* getReduced() const override;
  const ERTr3DRevRep* operator*(const ERTr3DRevRep* right) const override;

  ER_TR3D_PERSISTENT_OVERRIDES();

 protected:
  // Takes m and O after checking that m is a 3x3 rotation matrix.
  ERChgRepere3D(ERDoubleMatrix m, const ERPoint3D& O);

  ER_TR3D_MULTIPLY_WITH_OVERRIDES();

 private:
  friend class ERTranslation3D;
  friend class ERRotation3D;
  friend class ERSymetrie3D;

  ERDoubleMatrix m_mat;
  ERPoint3D origin;
};

// A scaling about the origin by k. Its matrix is the identity (the factor is getFactHomo) and it
// answers direct even for a negative factor.
class ERScaling3D : public ERAnySimilitude3D {
  ER_DECLARE_CLASS(ERScaling3D)

  ERScaling3D() = default;  // factor 1.0
  explicit ERScaling3D(double k) : factor(k) {}
  ERScaling3D(const ERScaling3D&) = default;
  ERScaling3D& operator=(const ERScaling3D&) = default;

  using ERTr3DRev::TransFrom;
  using ERTr3DRev::TransTo;
  void TransTo(ERVector3D& v) const override { v /= factor; }
  void TransTo(ERPoint3D& p) const override { p /= factor; }
  void TransFrom(ERVector3D& v) const override { v *= factor; }
  void TransFrom(ERPoint3D& p) const override { p *= factor; }
  ERDoubleMatrix getMatrix() const override;
  ERPoint3D getTrans() const override;  // (0,0,0)
  double getFactHomo() const override { return factor; }
  int isDirect() const override { return 1; }
  const ERTr3DRevRep* getInverse() const override;
  const ERTr3DRevRep* getReduced() const override;
  const ERTr3DRevRep* operator*(const ERTr3DRevRep* right) const override;

  ER_TR3D_PERSISTENT_OVERRIDES();

 protected:
  ER_TR3D_MULTIPLY_WITH_OVERRIDES();

 private:
  double factor = 1.0;
};

// A mirror symmetry in a plane through the origin (self-inverse). The default object holds the
// identity matrix, which is not a mirror: its getMatrix reports the failed determinant check.
class ERSymetrie3D : public ERAnySimilitude3D {
  ER_DECLARE_CLASS(ERSymetrie3D)

  ERSymetrie3D();
  // In the coordinate plane normal to axis.
  explicit ERSymetrie3D(Coord3D axis);
  // In the plane normal to n.
  explicit ERSymetrie3D(const ERVector3D& n);
  ERSymetrie3D(const ERSymetrie3D&) = default;
  ERSymetrie3D& operator=(const ERSymetrie3D&) = default;

  using ERTr3DRev::TransFrom;
  using ERTr3DRev::TransTo;
  void TransTo(ERVector3D& v) const override;
  void TransTo(ERPoint3D& p) const override;
  void TransFrom(ERVector3D& v) const override;
  void TransFrom(ERPoint3D& p) const override;
  ERDoubleMatrix getMatrix() const override {
    ER_ASSERT_AT(closeToMinusOne(), "::isEqual(determinant(m_mat),-1.0)", "velmora/transf3d", __LINE__);
    return m_mat;
  }
  ERPoint3D getTrans() const override;  // (0,0,0)
  double getFactHomo() const override;  // 1.0
  int isDirect() const override;        // det > 0
  const ERTr3DRevRep* getInverse() const override;
  const ERTr3DRevRep* getReduced() const override;
  const ERTr3DRevRep* operator*(const ERTr3DRevRep* right) const override;

  ER_TR3D_PERSISTENT_OVERRIDES();

 protected:
  explicit ERSymetrie3D(const ERDoubleMatrix& m) : m_mat(m) {
    ER_ASSERT_AT(m_mat.cols() == 3 && m_mat.rows() == 3, "m_mat.cols()==3&& m_mat.rows()==3",
                 "velmora/transf3d", __LINE__);
  }

  ER_TR3D_MULTIPLY_WITH_OVERRIDES();

 private:
  bool closeToMinusOne() const;  // det(m_mat) within 1e-11 of -1.0

  ERDoubleMatrix m_mat;
};

// A similitude k.M.p + t with k > 0 and |det M| = 1 (orthogonality is not checked, yet the inverse
// mapping uses the transpose).
class ERSimilitude3D : public ERAnySimilitude3D {
  ER_DECLARE_CLASS(ERSimilitude3D)

  ERSimilitude3D();  // identity matrix, (0,0,0), 1.0
  ERSimilitude3D(const ERDoubleMatrix& M, const ERPoint3D& t, double k) : m_mat(M), trans(t), factor(k) {
    ER_ASSERT_AT(isValid(), "isValid()", "velmora/transf3d", __LINE__);
  }
  explicit ERSimilitude3D(const ERDoubleMatrix& M) : m_mat(M), factor(1.0) {
    ER_ASSERT_AT(isValid(), "isValid()", "velmora/transf3d", __LINE__);
  }
  explicit ERSimilitude3D(const ERAnySimilitude3D& s);
  ERSimilitude3D(const ERSimilitude3D&) = default;
  ERSimilitude3D& operator=(const ERSimilitude3D&) = default;

  using ERTr3DRev::TransFrom;
  using ERTr3DRev::TransTo;
  void TransTo(ERVector3D& v) const override;
  void TransTo(ERPoint3D& p) const override;
  void TransFrom(ERVector3D& v) const override;
  void TransFrom(ERPoint3D& p) const override;
  ERDoubleMatrix getMatrix() const override {
    ER_ASSERT_AT(unitDeterminant(), "::isEqual(fabs(determinant(m_mat)),1.0)", "velmora/transf3d", __LINE__);
    return m_mat;
  }
  ERPoint3D getTrans() const override { return trans; }
  double getFactHomo() const override { return factor; }
  int isDirect() const override;  // det > 0
  // 3x3, |det| within 1e-11 of 1.0 and a factor above 0.0.
  int isValid() const override;
  const ERTr3DRevRep* getInverse() const override;
  const ERTr3DRevRep* getReduced() const override;
  const ERTr3DRevRep* operator*(const ERTr3DRevRep* right) const override;

  ER_TR3D_PERSISTENT_OVERRIDES();

 protected:
  ER_TR3D_MULTIPLY_WITH_OVERRIDES();

 private:
  bool unitDeterminant() const;  // |det(m_mat)| within 1e-11 of 1.0

  ERDoubleMatrix m_mat;
  ERPoint3D trans;
  double factor;
};

// ---------------------------------------------------------------------------------------------
// Handles

// The envelope: one pointer to a shared, immutable representation (never null), with the
// representation's whole interface. Copies share the representation; assignment takes the new one
// before releasing the old, so self-assignment is safe.
class ERTr3DRevEnveloppe : public ERTr3DRev {
  ER_DECLARE_CLASS(ERTr3DRevEnveloppe)

  ~ERTr3DRevEnveloppe() override { MPTRANS_REMOVEREF(mpTrans); }

  // The held representation, shared: it lives as long as a holder does.
  const ERTr3DRevRep* getRep() const { return mpTrans; }
  // A hook for replacing the representation by a simpler one; does nothing.
  void reduce() {}

  void TransTo(ERPole3DHVec& v) const override { mpTrans->TransTo(v); }
  void TransTo(ERPoint3DVec& v) const override { mpTrans->TransTo(v); }
  void TransTo(ERVector3D& v) const override { mpTrans->TransTo(v); }
  void TransTo(ERPoint3D& p) const override { mpTrans->TransTo(p); }
  void TransFrom(ERPole3DHVec& v) const override { mpTrans->TransFrom(v); }
  void TransFrom(ERPoint3DVec& v) const override { mpTrans->TransFrom(v); }
  void TransFrom(ERVector3D& v) const override { mpTrans->TransFrom(v); }
  void TransFrom(ERPoint3D& p) const override { mpTrans->TransFrom(p); }
  ERDoubleMatrix getMatrix() const override { return mpTrans->getMatrix(); }
  ERPoint3D getTrans() const override { return mpTrans->getTrans(); }
  double getFactHomo() const override { return mpTrans->getFactHomo(); }
  int isDirect() const override { return mpTrans->isDirect(); }
  ERPoint3D origine() const override { return mpTrans->origine(); }
  ERVector3D getVector(Coord3D c) const override { return mpTrans->getVector(c); }
  ERPole2DH Project(const ERPole3DH& p) const override { return mpTrans->Project(p); }
  ERPoint2D Project(const ERPoint3D& p) const override { return mpTrans->Project(p); }

  // The representation is a kind of ERTr3DRevRep and valid.
  int isValid() const override;
  // Against another envelope: its representation; otherwise other itself.
  int isEqual(const ERTr3D& other) const override;

  // "Class : " and the handle's class, "   contents a " and the representation's class, then the
  // representation.
  void printOn(std::ostream& os) const override;
  // getMatrix(), getTrans(), then getFactHomo(): restoring always makes an ERSimilitude3D.
  void saveGuts(ERFile& file) const override;
  void restoreGuts(ERFile& file) override;
  unsigned long binaryStoreSize() const override;

 protected:
  explicit ERTr3DRevEnveloppe(const ERTr3DRevRep* rep) : mpTrans(rep) {
    mpTrans->addReference();
    reduce();
  }
  ERTr3DRevEnveloppe(const ERTr3DRevEnveloppe& other) : ERTr3DRev(other), mpTrans(other.mpTrans) {
    mpTrans->addReference();
  }
  ERTr3DRevEnveloppe& operator=(const ERTr3DRevEnveloppe& other) { return *this = other.mpTrans; }
  ERTr3DRevEnveloppe& operator=(const ERTr3DRevRep* rep) {
    rep->addReference();
    MPTRANS_REMOVEREF(mpTrans);
    mpTrans = rep;
    return *this;
  }

  const ERTr3DRevRep* getInverse() const override { return mpTrans->getInverse(); }

  const ERTr3DRevRep* mpTrans;
};

// A value-like handle on a similitude representation. The default is the shared identity; building from
// a representation takes a private copy of it; copies share.
class ERPmSimilitude3D : public ERTr3DRevEnveloppe {
  ER_DECLARE_CLASS(ERPmSimilitude3D)

  ERPmSimilitude3D() : ERTr3DRevEnveloppe(GetIdentity()) {}
  ERPmSimilitude3D(const ERAnySimilitude3D& t)  // NOLINT: a representation becomes a handle
      : ERTr3DRevEnveloppe(privateCopy(t)) {
    ER_ASSERT_AT(isValid(), "isValid()", "velmora/transf3d", __LINE__);
  }
  ERPmSimilitude3D(const ERPmSimilitude3D& other) = default;
  ~ERPmSimilitude3D() override = default;
  ERPmSimilitude3D& operator=(const ERPmSimilitude3D& other) {
    ERTr3DRevEnveloppe::operator=(other);
    return *this;
  }
  ERPmSimilitude3D& operator=(const ERAnySimilitude3D& t) {
    ERTr3DRevEnveloppe::operator=(privateCopy(t));
    return *this;
  }

  // The representation is a kind of ERAnySimilitude3D.
  int isValid() const override { return mpTrans->isKindOf(ERAnySimilitude3D::desc()); }
  ERObject* getCopy() const override;

 protected:
  struct Unchecked {};
  // Adopts rep (a new, shared or operand representation) after checking its kind.
  explicit ERPmSimilitude3D(const ERTr3DRevRep* rep) : ERTr3DRevEnveloppe(rep) {
    ER_ASSERT_AT(mpTrans->isKindOf(ERAnySimilitude3D::desc()), "mpTrans->isKindOf(ERAnySimilitude3D::desc())",
                 "velmora/transf3d", __LINE__);
  }
  ERPmSimilitude3D(const ERTr3DRevRep* rep, Unchecked) : ERTr3DRevEnveloppe(rep) {}

  // A new copy of t as a representation (getCopy cast down).
  static const ERTr3DRevRep* privateCopy(const ERTr3DRevRep& t) {
    return ERTr3DRevRep::castdown(t.getCopy());
  }

  friend ERPmSimilitude3D operator*(const ERAnySimilitude3D& a, const ERAnySimilitude3D& b);
  friend ERPmSimilitude3D operator*(const ERPmSimilitude3D& a, const ERPmSimilitude3D& b);
  friend ERPmSimilitude3D operator*(const ERPmSimilitude3D& a, const ERAnySimilitude3D& b);
  friend ERPmSimilitude3D operator*(const ERAnySimilitude3D& a, const ERPmSimilitude3D& b);
  friend ERPmSimilitude3D operator~(const ERAnySimilitude3D& a);
  friend ERPmSimilitude3D operator~(const ERPmSimilitude3D& a);
};

// A value-like handle on an isometry representation (a mirror symmetry is not one). The alignment
// results are of this type.
class ERPmIsometrie3D : public ERPmSimilitude3D {
  ER_DECLARE_CLASS(ERPmIsometrie3D)

  ERPmIsometrie3D() = default;
  ERPmIsometrie3D(const ERAnyIsometrie3D& t)  // NOLINT: a representation becomes a handle
      : ERPmSimilitude3D(privateCopy(t), Unchecked()) {
    ER_ASSERT_AT(isValid(), "isValid()", "velmora/transf3d", __LINE__);
  }
  ERPmIsometrie3D(const ERPmIsometrie3D& other) : ERPmSimilitude3D(other) {
    ER_ASSERT_AT(isValid(), "isValid()", "velmora/transf3d", __LINE__);
  }
  ~ERPmIsometrie3D() override = default;
  ERPmIsometrie3D& operator=(const ERPmIsometrie3D& other) {
    ERTr3DRevEnveloppe::operator=(other);
    return *this;
  }
  ERPmIsometrie3D& operator=(const ERAnyIsometrie3D& t) {
    ERTr3DRevEnveloppe::operator=(privateCopy(t));
    return *this;
  }

  // The representation is a kind of ERAnyIsometrie3D.
  int isValid() const override { return mpTrans->isKindOf(ERAnyIsometrie3D::desc()); }
  ERObject* getCopy() const override;

 protected:
  explicit ERPmIsometrie3D(const ERTr3DRevRep* rep) : ERPmSimilitude3D(rep) {
    ER_ASSERT_AT(mpTrans->isKindOf(ERAnyIsometrie3D::desc()), "mpTrans->isKindOf(ERAnyIsometrie3D::desc())",
                 "velmora/transf3d", __LINE__);
  }

  friend ERPmIsometrie3D operator*(const ERAnyIsometrie3D& a, const ERAnyIsometrie3D& b);
  friend ERPmIsometrie3D operator*(const ERPmIsometrie3D& a, const ERPmIsometrie3D& b);
  friend ERPmIsometrie3D operator*(const ERPmIsometrie3D& a, const ERAnyIsometrie3D& b);
  friend ERPmIsometrie3D operator*(const ERAnyIsometrie3D& a, const ERPmIsometrie3D& b);
  friend ERPmIsometrie3D operator~(const ERAnyIsometrie3D& a);
  friend ERPmIsometrie3D operator~(const ERPmIsometrie3D& a);
};

// ---------------------------------------------------------------------------------------------
// Composition and inversion: a * b applies b first, ~a is the inverse. The result shares what the
// composition hands back (an operand held by a handle, the shared identity) or adopts the new
// representation; an operand given as a representation that no handle holds is copied, never shared.

ERPmSimilitude3D operator*(const ERAnySimilitude3D& a, const ERAnySimilitude3D& b);
ERPmSimilitude3D operator*(const ERPmSimilitude3D& a, const ERPmSimilitude3D& b);
ERPmSimilitude3D operator*(const ERPmSimilitude3D& a, const ERAnySimilitude3D& b);
ERPmSimilitude3D operator*(const ERAnySimilitude3D& a, const ERPmSimilitude3D& b);
ERPmIsometrie3D operator*(const ERAnyIsometrie3D& a, const ERAnyIsometrie3D& b);
ERPmIsometrie3D operator*(const ERPmIsometrie3D& a, const ERPmIsometrie3D& b);
ERPmIsometrie3D operator*(const ERPmIsometrie3D& a, const ERAnyIsometrie3D& b);
ERPmIsometrie3D operator*(const ERAnyIsometrie3D& a, const ERPmIsometrie3D& b);
ERPmSimilitude3D operator~(const ERAnySimilitude3D& a);
ERPmSimilitude3D operator~(const ERPmSimilitude3D& a);
ERPmIsometrie3D operator~(const ERAnyIsometrie3D& a);
ERPmIsometrie3D operator~(const ERPmIsometrie3D& a);

// The general product of two similitudes (b first), always an ERSimilitude3D (count -1).
const ERTr3DRevRep* Multiply2Sim(const ERAnySimilitude3D* a, const ERAnySimilitude3D* b);

// ---------------------------------------------------------------------------------------------
// Application: each copies its right operand and maps the copy. T << x is TransTo; T >> x and T * x
// are TransFrom (so T * p reads like T << p but brings p back from T's frame).

inline ERPoint3D operator<<(const ERTr3D& t, const ERPoint3D& p) {
  ERPoint3D r(p);
  t.TransTo(r);
  return r;
}
inline ERVector3D operator<<(const ERTr3D& t, const ERVector3D& v) {
  ERVector3D r(v);
  t.TransTo(r);
  return r;
}
ERPole3DH operator<<(const ERTr3D& t, const ERPole3DH& p);
ERPoint3DVec operator<<(const ERTr3D& t, const ERPoint3DVec& v);
ERPole3DHVec operator<<(const ERTr3D& t, const ERPole3DHVec& v);
inline ERPoint3D operator>>(const ERTr3DRev& t, const ERPoint3D& p) {
  ERPoint3D r(p);
  t.TransFrom(r);
  return r;
}
inline ERVector3D operator>>(const ERTr3DRev& t, const ERVector3D& v) {
  ERVector3D r(v);
  t.TransFrom(r);
  return r;
}
ERPole3DH operator>>(const ERTr3DRev& t, const ERPole3DH& p);
ERPoint3DVec operator>>(const ERTr3DRev& t, const ERPoint3DVec& v);
ERPole3DHVec operator>>(const ERTr3DRev& t, const ERPole3DHVec& v);
inline ERPoint3D operator*(const ERTr3DRev& t, const ERPoint3D& p) {
  ERPoint3D r(p);
  t.TransFrom(r);
  return r;
}
inline ERVector3D operator*(const ERTr3DRev& t, const ERVector3D& v) {
  ERVector3D r(v);
  t.TransFrom(r);
  return r;
}

// With a handle on the left, the held representation does the work (one virtual call per point).
inline ERPoint3D operator<<(const ERTr3DRevEnveloppe& t, const ERPoint3D& p) { return *t.getRep() << p; }
inline ERVector3D operator<<(const ERTr3DRevEnveloppe& t, const ERVector3D& v) { return *t.getRep() << v; }
inline ERPole3DH operator<<(const ERTr3DRevEnveloppe& t, const ERPole3DH& p) { return *t.getRep() << p; }
inline ERPoint3DVec operator<<(const ERTr3DRevEnveloppe& t, const ERPoint3DVec& v) {
  return *t.getRep() << v;
}
inline ERPole3DHVec operator<<(const ERTr3DRevEnveloppe& t, const ERPole3DHVec& v) {
  return *t.getRep() << v;
}
inline ERPoint3D operator>>(const ERTr3DRevEnveloppe& t, const ERPoint3D& p) { return *t.getRep() >> p; }
inline ERVector3D operator>>(const ERTr3DRevEnveloppe& t, const ERVector3D& v) { return *t.getRep() >> v; }
inline ERPole3DH operator>>(const ERTr3DRevEnveloppe& t, const ERPole3DH& p) { return *t.getRep() >> p; }
inline ERPoint3DVec operator>>(const ERTr3DRevEnveloppe& t, const ERPoint3DVec& v) {
  return *t.getRep() >> v;
}
inline ERPole3DHVec operator>>(const ERTr3DRevEnveloppe& t, const ERPole3DHVec& v) {
  return *t.getRep() >> v;
}
inline ERPoint3D operator*(const ERTr3DRevEnveloppe& t, const ERPoint3D& p) { return *t.getRep() * p; }
inline ERVector3D operator*(const ERTr3DRevEnveloppe& t, const ERVector3D& v) { return *t.getRep() * v; }

// isEqual of a with b.
int operator==(const ERTr3D& a, const ERTr3D& b);

// ---------------------------------------------------------------------------------------------
// Matrix helpers: m must be 3x3. m.p, and m^T.p (the inverse of an orthogonal m, without inverting).

ERPoint3D operator*(const ERDoubleMatrix& m, const ERPoint3D& p);
ERVector3D operator*(const ERDoubleMatrix& m, const ERVector3D& v);
ERPoint3D mulInverseIsoMat(const ERDoubleMatrix& m, const ERPoint3D& p);
ERVector3D mulInverseIsoMat(const ERDoubleMatrix& m, const ERVector3D& v);

// Persistence factories: a new default object of the class.
ER_DECLARE_CREATOR(ERPmSimilitude3D);
ER_DECLARE_CREATOR(ERPmIsometrie3D);
ER_DECLARE_CREATOR(ERIdentity3D);
ER_DECLARE_CREATOR(ERTranslation3D);
ER_DECLARE_CREATOR(ERRotation3D);
ER_DECLARE_CREATOR(ERChgRepere3D);
ER_DECLARE_CREATOR(ERScaling3D);
ER_DECLARE_CREATOR(ERSymetrie3D);
ER_DECLARE_CREATOR(ERSimilitude3D);

#endif
