// 3D transformations: the registry entries of the tree, reference counting of the shared
// representations and the handles, every cell of the composition table against Eigen, inversion,
// application to points, vectors, point and pole vectors, decomposition, the elementary constructors
// and their kept quirks, comparison, persistence bytes and printing, every assertion report, and long
// random sequences of handle operations.
#include "velmora/transf3d.h"

#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <limits>
#include <map>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "eigen_support.h"
#include "test_support.h"
#include "vec_file_support.h"
#include "velmora/erfile.h"
#include "velmora/matrix.h"
#include "velmora/pseurot.h"

namespace {

const double kPi = 3.141592653589793;
const char* const kSource = "source/align/transf3d";
const char* const kHeader = "velmora/transf3d";

// The identity as the library held it when the test program started (after the library's start-up).
const ERTr3DRevRep* const g_identityAtStart = ERTr3DRevRep::theIdentity;

using vtest::operator+=;

using vtest::RowMat;
using vtest::toEigen;
using vtest::toMatrix;
using vtest::toPoint;
using vtest::toVector;

// Within tol of the reference, relative to the reference's size when that is above 1.
::testing::AssertionResult near(const ERPoint3D& p, const Eigen::Vector3d& ref, double tol = 1e-9) {
  double scale = std::max(1.0, ref.norm());
  if ((toEigen(p) - ref).norm() <= tol * scale) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure()
         << "<" << p[X3D] << "," << p[Y3D] << "," << p[Z3D] << "> vs " << ref.transpose();
}
::testing::AssertionResult near(const ERDoubleMatrix& m, const Eigen::Matrix3d& ref, double tol = 1e-12) {
  if ((toEigen(m) - ref).cwiseAbs().maxCoeff() <= tol) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "\n" << toEigen(m) << "\nvs\n" << ref;
}

// The report of condition at any line of unit, found in text.
bool hasReport(const std::string& text, const std::string& condition, const std::string& unit) {
  const std::string head = "\n\n" + condition + " failed in " + unit + " at line ";
  for (size_t at = text.find(head); at != std::string::npos; at = text.find(head, at + 1)) {
    size_t i = at + head.size();
    size_t digits = 0;
    while (i < text.size() && text[i] >= '0' && text[i] <= '9') ++i, ++digits;
    if (digits > 0 && i < text.size() && text[i] == '\n') return true;
  }
  return false;
}

// Runs f and checks the report of condition in unit: a death test in the checking build; in the
// continuing build f returns, and the caller checks what it did next.
void expectReport(const std::function<void()>& f, const std::string& condition, const std::string& unit) {
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(f(), vtest::reportRegexAnyLine(condition, unit));
  } else {
    std::string err = vtest::captureStderr(f);
    EXPECT_TRUE(hasReport(err, condition, unit)) << err;
  }
}

// ---------------------------------------------------------------------------------------------
// Random samples of every concrete class, each with its mapping built independently with Eigen.

enum Kind { kId, kTr, kRot, kChg, kSc, kSym, kSim, kKinds };
const char* const kNames[kKinds] = {"ERIdentity3D", "ERTranslation3D", "ERRotation3D",  "ERChgRepere3D",
                                    "ERScaling3D",  "ERSymetrie3D",    "ERSimilitude3D"};

struct Sample {
  std::unique_ptr<ERAnySimilitude3D> rep;
  Eigen::Affine3d ref;
};

Eigen::Vector3d randomVector(std::mt19937& rng, double range) {
  std::uniform_real_distribution<double> u(-range, range);
  return Eigen::Vector3d(u(rng), u(rng), u(rng));
}
Eigen::Vector3d randomDirection(std::mt19937& rng) {
  Eigen::Vector3d v;
  do v = randomVector(rng, 1.0);
  while (v.norm() < 0.2);
  return v;
}
double randomAngle(std::mt19937& rng) {
  std::uniform_real_distribution<double> u(-3.0, 3.0);
  double a;
  do a = u(rng);
  while (std::fabs(a) < 0.05);
  return a;
}
Eigen::Matrix3d randomRotation(std::mt19937& rng) {
  return Eigen::AngleAxisd(randomAngle(rng), randomDirection(rng).normalized()).toRotationMatrix();
}

Sample makeSample(Kind kind, std::mt19937& rng, double scaleRange = 0.5) {
  Sample s;
  s.ref = Eigen::Affine3d::Identity();
  switch (kind) {
    case kId:
      s.rep.reset(new ERIdentity3D);
      break;
    case kTr: {
      Eigen::Vector3d t = randomVector(rng, 5.0);
      s.rep.reset(new ERTranslation3D(toPoint(t)));
      s.ref = Eigen::Translation3d(t);
      break;
    }
    case kRot: {
      Eigen::Vector3d axis = randomDirection(rng);
      double a = randomAngle(rng);
      s.rep.reset(new ERRotation3D(toVector(axis), a));
      s.ref = Eigen::AngleAxisd(a, axis.normalized());
      break;
    }
    case kChg: {
      Eigen::Vector3d vx = randomDirection(rng), vy = randomDirection(rng), o = randomVector(rng, 5.0);
      s.rep.reset(new ERChgRepere3D(toVector(vx), toVector(vy), toPoint(o)));
      Eigen::Vector3d x = vx.normalized();
      Eigen::Vector3d z = x.cross(vy.normalized()).normalized();
      Eigen::Vector3d y = z.cross(x);
      Eigen::Matrix3d m;
      m << x, y, z;
      s.ref.linear() = m;
      s.ref.translation() = o;
      break;
    }
    case kSc: {
      std::uniform_real_distribution<double> u(1.0 - scaleRange, 1.0 + scaleRange);
      double k = u(rng);
      s.rep.reset(new ERScaling3D(k));
      s.ref.linear() = k * Eigen::Matrix3d::Identity();
      break;
    }
    case kSym: {
      Eigen::Vector3d n = randomDirection(rng).normalized();
      s.rep.reset(new ERSymetrie3D(toVector(n)));
      s.ref.linear() = Eigen::Matrix3d::Identity() - 2.0 * n * n.transpose();
      break;
    }
    case kSim: {
      Eigen::Matrix3d m = randomRotation(rng);
      if (rng() % 2) m = m * Eigen::Vector3d(1.0, -1.0, 1.0).asDiagonal();
      Eigen::Vector3d t = randomVector(rng, 5.0);
      std::uniform_real_distribution<double> u(1.0 - scaleRange, 1.0 + scaleRange);
      double k = u(rng);
      s.rep.reset(new ERSimilitude3D(toMatrix(m), toPoint(t), k));
      s.ref.linear() = k * m;
      s.ref.translation() = t;
      break;
    }
    default:
      break;
  }
  return s;
}

// A handle on a private copy of the sample, or the default (shared identity) for the identity.
ERPmSimilitude3D handleOf(Kind kind, const Sample& s) {
  if (kind == kId) return ERPmSimilitude3D();
  return ERPmSimilitude3D(*s.rep);
}
ERPmIsometrie3D isoHandleOf(Kind kind, const Sample& s) {
  if (kind == kId) return ERPmIsometrie3D();
  return ERPmIsometrie3D(*ERAnyIsometrie3D::castdown(*s.rep));
}
bool isIsometry(Kind k) { return k == kId || k == kTr || k == kRot || k == kChg; }

// The composition table: the class of left o right and where its representation comes from.
enum Origin { kLeftOperand, kRightOperand, kSharedIdentity, kNewRep };
struct Cell {
  const char* cls;
  Origin origin;
};
Cell expectedCell(Kind l, Kind r) {
  if (l == kId && r == kId) return {"ERIdentity3D", kSharedIdentity};
  if (l == kId) return {kNames[r], kRightOperand};
  if (r == kId) return {kNames[l], kLeftOperand};
  if (l == kTr && r == kTr) return {"ERTranslation3D", kNewRep};
  if (l == kRot && r == kRot) return {"ERRotation3D", kNewRep};
  if (isIsometry(l) && isIsometry(r)) return {"ERChgRepere3D", kNewRep};
  if (l == kSc && r == kSc) return {"ERScaling3D", kNewRep};
  return {"ERSimilitude3D", kNewRep};
}

void expectMapping(const ERTr3DRev& t, const Eigen::Affine3d& ref, std::mt19937& rng, double tol = 1e-9) {
  for (int i = 0; i < 4; ++i) {
    Eigen::Vector3d p = randomVector(rng, 10.0);
    EXPECT_TRUE(near(t >> toPoint(p), ref * p, tol));
    EXPECT_TRUE(near(t << toPoint(ref * p), p, tol));
    EXPECT_TRUE(near(t * toVector(p), ref.linear() * p, tol));
  }
}

// Whatever composition handed back for an operand given as a representation: a private copy.
void expectOrigin(const ERTr3DRevRep* got, Origin origin, const ERTr3DRevRep* left, const ERTr3DRevRep* right,
                  bool leftIsRep, bool rightIsRep) {
  switch (origin) {
    case kSharedIdentity:
      if (leftIsRep && rightIsRep) {
        EXPECT_NE(got, left);
        EXPECT_NE(got, right);
      } else {
        EXPECT_EQ(got, GetIdentity());
      }
      break;
    case kLeftOperand:
      if (leftIsRep)
        EXPECT_NE(got, left);
      else
        EXPECT_EQ(got, left);
      break;
    case kRightOperand:
      if (rightIsRep)
        EXPECT_NE(got, right);
      else
        EXPECT_EQ(got, right);
      break;
    case kNewRep:
      EXPECT_NE(got, left);
      EXPECT_NE(got, right);
      EXPECT_NE(got, GetIdentity());
      EXPECT_EQ(got->references(), 0);  // the result handle is its only holder
      break;
  }
}

// ---------------------------------------------------------------------------------------------
// Test classes: representations that break the handles' expectations.

// A bare representation that is no similitude. Its products hand back an operand.
class TBareRep : public ERTr3DRevRep {
  ER_DECLARE_CLASS(TBareRep)
  void TransTo(ERVector3D&) const override {}
  void TransTo(ERPoint3D&) const override {}
  void TransFrom(ERVector3D&) const override {}
  void TransFrom(ERPoint3D&) const override {}
  const ERTr3DRevRep* getInverse() const override { return new TBareRep; }
  ERDoubleMatrix getMatrix() const override { return IdentityMatrix(3); }
  ERPoint3D getTrans() const override { return ERPoint3D(); }
  double getFactHomo() const override { return 1.0; }
  int isDirect() const override { return 1; }
  const ERTr3DRevRep* operator*(const ERTr3DRevRep* right) const override { return right; }
  void printOn(std::ostream&) const override {}
  ERObject* getCopy() const override { return new TBareRep(*this); }

 protected:
  const ERTr3DRevRep* multiplyWithERTranslation3D(const ERTranslation3D* left) const override { return left; }
};

// A similitude whose copies and inverses are bare representations.
class TOddSim : public ERAnySimilitude3D {
  ER_DECLARE_CLASS(TOddSim)
  void TransTo(ERVector3D&) const override {}
  void TransTo(ERPoint3D&) const override {}
  void TransFrom(ERVector3D&) const override {}
  void TransFrom(ERPoint3D&) const override {}
  const ERTr3DRevRep* getInverse() const override { return new TBareRep; }
  ERDoubleMatrix getMatrix() const override { return IdentityMatrix(3); }
  ERPoint3D getTrans() const override { return ERPoint3D(); }
  double getFactHomo() const override { return 1.0; }
  int isDirect() const override { return 1; }
  const ERTr3DRevRep* operator*(const ERTr3DRevRep* right) const override { return right; }
  void printOn(std::ostream&) const override {}
  ERObject* getCopy() const override { return new TBareRep; }
};

// An isometry whose copies and inverses are scalings by 2.
class TOddIso : public ERAnyIsometrie3D {
  ER_DECLARE_CLASS(TOddIso)
  void TransTo(ERVector3D&) const override {}
  void TransTo(ERPoint3D&) const override {}
  void TransFrom(ERVector3D&) const override {}
  void TransFrom(ERPoint3D&) const override {}
  const ERTr3DRevRep* getInverse() const override { return new ERScaling3D(2.0); }
  ERDoubleMatrix getMatrix() const override { return IdentityMatrix(3); }
  ERPoint3D getTrans() const override { return ERPoint3D(); }
  const ERTr3DRevRep* operator*(const ERTr3DRevRep* right) const override { return right; }
  void printOn(std::ostream&) const override {}
  ERObject* getCopy() const override { return new ERScaling3D(2.0); }
};

// A translation whose class changes between the first and the later questions.
class TFickle : public ERTranslation3D {
 public:
  const ERClassRegistration* isA() const override {
    return calls++ == 0 ? ERTranslation3D::desc() : ERRotation3D::desc();
  }
  mutable int calls = 0;
};

// Public doors to the protected constructors of matrices taken as they are.
struct TRotation : ERRotation3D {
  explicit TRotation(const ERDoubleMatrix& m) : ERRotation3D(m) {}
};
struct TChgRepere : ERChgRepere3D {
  TChgRepere(const ERDoubleMatrix& m, const ERPoint3D& o) : ERChgRepere3D(m, o) {}
};
struct TSymetrie : ERSymetrie3D {
  explicit TSymetrie(const ERDoubleMatrix& m) : ERSymetrie3D(m) {}
};

}  // namespace

ER_DEFINE_CLASS(TBareRep, ER_ABSTRACT, ERTr3DRevRep)
ER_DEFINE_CLASS(TOddSim, ER_ABSTRACT, ERAnySimilitude3D)
ER_DEFINE_CLASS(TOddIso, ER_ABSTRACT, ERAnyIsometrie3D)

namespace {

ERDoubleMatrix mat(std::initializer_list<double> rowMajor, unsigned rows = 3, unsigned cols = 3) {
  std::vector<double> v(rowMajor);
  return ERDoubleMatrix(v.data(), rows, cols);
}

std::string printed(const ERObject& o) {
  std::ostringstream os;
  os << o;
  return os.str();
}
std::string printed(const ERDoubleMatrix& m) {
  std::ostringstream os;
  os << m;
  return os.str();
}

// ---------------------------------------------------------------------------------------------
// Registry and start-up

TEST(Transf3DRegistryTest, EveryClassIsRegisteredUnderItsNameWithItsBase) {
  struct Entry {
    const ERClassRegistration* reg;
    const char* name;
    const ERClassRegistration* base;
    bool creatable;
  };
  const Entry entries[] = {
      {ERTr3D::desc(), "ERTr3D", ERObject::desc(), false},
      {ERTr3DProj::desc(), "ERTr3DProj", ERTr3D::desc(), false},
      {ERTr3DRev::desc(), "ERTr3DRev", ERTr3D::desc(), false},
      {ERTr3DRevRep::desc(), "ERTr3DRevRep", ERTr3DRev::desc(), false},
      {ERAnySimilitude3D::desc(), "ERAnySimilitude3D", ERTr3DRevRep::desc(), false},
      {ERAnyIsometrie3D::desc(), "ERAnyIsometrie3D", ERAnySimilitude3D::desc(), false},
      {ERIdentity3D::desc(), "ERIdentity3D", ERAnyIsometrie3D::desc(), true},
      {ERTranslation3D::desc(), "ERTranslation3D", ERAnyIsometrie3D::desc(), true},
      {ERRotation3D::desc(), "ERRotation3D", ERAnyIsometrie3D::desc(), true},
      {ERChgRepere3D::desc(), "ERChgRepere3D", ERAnyIsometrie3D::desc(), true},
      {ERScaling3D::desc(), "ERScaling3D", ERAnySimilitude3D::desc(), true},
      {ERSymetrie3D::desc(), "ERSymetrie3D", ERAnySimilitude3D::desc(), true},
      {ERSimilitude3D::desc(), "ERSimilitude3D", ERAnySimilitude3D::desc(), true},
      {ERTr3DRevEnveloppe::desc(), "ERTr3DRevEnveloppe", ERTr3DRev::desc(), false},
      {ERPmSimilitude3D::desc(), "ERPmSimilitude3D", ERTr3DRevEnveloppe::desc(), true},
      {ERPmIsometrie3D::desc(), "ERPmIsometrie3D", ERPmSimilitude3D::desc(), true},
  };
  for (const Entry& e : entries) {
    SCOPED_TRACE(e.name);
    EXPECT_STREQ(e.reg->getName(), e.name);
    ASSERT_NE(e.reg->getBases(), nullptr);
    EXPECT_EQ(e.reg->getBases()[0], e.base);
    EXPECT_EQ(e.reg->getBases()[1], nullptr);
    EXPECT_EQ(e.reg->getCreator() != nullptr, e.creatable);
    bool listed = false;
    for (const ERClassRegistration* r = ERClassRegistration::getHead(); r != nullptr; r = r->getNext())
      if (r == e.reg) listed = true;
    EXPECT_TRUE(listed);
  }
}

TEST(Transf3DRegistryTest, FactoriesMakeDefaultObjectsOfTheirClass) {
  const char* names[] = {"ERPmSimilitude3D", "ERPmIsometrie3D", "ERIdentity3D",
                         "ERTranslation3D",  "ERRotation3D",    "ERChgRepere3D",
                         "ERScaling3D",      "ERSymetrie3D",    "ERSimilitude3D"};
  for (const char* name : names) {
    SCOPED_TRACE(name);
    ERClassRegistration::Creator create = ERClassRegistration::findCreator(name);
    ASSERT_NE(create, nullptr);
    std::unique_ptr<ERObject> o(create());
    EXPECT_STREQ(o->className(), name);
  }
  EXPECT_EQ(ERClassRegistration::findCreator("ERTr3DRevRep"), nullptr);
  std::unique_ptr<ERObject> t(create_ERTranslation3D());
  EXPECT_EQ(ERTranslation3D::castdown(*t)->getTrans(), ERPoint3D());
}

TEST(Transf3DRegistryTest, MirrorIsASimilitudeButNoIsometry) {
  ERSymetrie3D s(X3D);
  EXPECT_TRUE(s.isKindOf(ERAnySimilitude3D::desc()));
  EXPECT_FALSE(s.isKindOf(ERAnyIsometrie3D::desc()));
  EXPECT_TRUE(ERRotation3D().isKindOf(ERAnyIsometrie3D::desc()));
  EXPECT_TRUE(ERPmIsometrie3D().isKindOf(ERTr3DRevEnveloppe::desc()));
  EXPECT_FALSE(ERPmIsometrie3D().isKindOf(ERTr3DRevRep::desc()));
}

TEST(Transf3DRegistryTest, CastdownFindsTheRequestedPart) {
  ERChgRepere3D c;
  const ERObject& o = c;
  EXPECT_EQ(ERAnyIsometrie3D::castdown(o), &c);
  EXPECT_EQ(ERTr3DRevRep::castdown(o), &c);
  EXPECT_EQ(ERTr3D::castdown(o), &c);
  std::string err = vtest::captureStderr([&] { EXPECT_EQ(ERScaling3D::castdown(o), nullptr); });
  EXPECT_EQ(err, "Trying to cast a ERChgRepere3D into a ERScaling3D\n");
}

TEST(Transf3DLifetimeTest, IdentityExistsFromTheLibrarysLoad) {
  ASSERT_NE(g_identityAtStart, nullptr);
  EXPECT_EQ(g_identityAtStart, ERTr3DRevRep::theIdentity);
  EXPECT_STREQ(g_identityAtStart->className(), "ERIdentity3D");
  EXPECT_GE(g_identityAtStart->references(), 0);  // the library holds it
}

TEST(Transf3DLifetimeTest, InitAndGetIdentityKeepTheOneIdentity) {
  const ERTr3DRevRep* before = ERTr3DRevRep::theIdentity;
  int32_t count = before->references();
  InitTransfo3D();
  EXPECT_EQ(ERTr3DRevRep::theIdentity, before);
  EXPECT_EQ(GetIdentity(), before);
  EXPECT_EQ(before->references(), count);  // neither takes a reference
}

TEST(Transf3DLifetimeTest, CloseDeletesTheIdentityAndLeavesThePointer) {
  // In a child process: the identity is gone afterwards.
  EXPECT_EXIT(
      {
        const ERTr3DRevRep* before = ERTr3DRevRep::theIdentity;
        CloseTransfo3D();
        std::_Exit(ERTr3DRevRep::theIdentity == before ? 0 : 1);  // no static destructors
      },
      ::testing::ExitedWithCode(0), "");
}

// ---------------------------------------------------------------------------------------------
// Reference counting

TEST(Transf3DCountTest, FreshRepresentationHasNoHolder) {
  ERTranslation3D t(ERPoint3D(1, 2, 3));
  EXPECT_EQ(t.references(), -1);
}

TEST(Transf3DCountTest, RemoveRefOnCountOneLeavesItAliveWithZero) {
  ERTranslation3D* t = new ERTranslation3D(ERPoint3D(1, 2, 3));
  t->addReference();
  t->addReference();
  ASSERT_EQ(t->references(), 1);
  MPTRANS_REMOVEREF(t);
  EXPECT_EQ(t->references(), 0);
  EXPECT_EQ(t->getTrans(), ERPoint3D(1, 2, 3));
  MPTRANS_REMOVEREF(t);  // the last holder: deleted (the leak checker sees it otherwise)
}

TEST(Transf3DCountTest, HandleTakesAPrivateCopyAndCopiesShareIt) {
  ERTranslation3D t(ERPoint3D(1, 2, 3));
  ERPmIsometrie3D a(t);
  EXPECT_NE(a.getRep(), &t);
  EXPECT_EQ(t.references(), -1);
  EXPECT_EQ(a.getRep()->references(), 0);
  {
    ERPmIsometrie3D b(a);
    ERPmSimilitude3D c(b);
    EXPECT_EQ(b.getRep(), a.getRep());
    EXPECT_EQ(c.getRep(), a.getRep());
    EXPECT_EQ(a.getRep()->references(), 2);
  }
  EXPECT_EQ(a.getRep()->references(), 0);
}

TEST(Transf3DCountTest, DefaultHandlesShareTheIdentity) {
  int32_t count = GetIdentity()->references();
  {
    ERPmSimilitude3D s;
    ERPmIsometrie3D i;
    EXPECT_EQ(s.getRep(), GetIdentity());
    EXPECT_EQ(i.getRep(), GetIdentity());
    EXPECT_EQ(GetIdentity()->references(), count + 2);
  }
  EXPECT_EQ(GetIdentity()->references(), count);
}

TEST(Transf3DCountTest, AssignmentMovesTheReferenceAndSelfAssignmentIsSafe) {
  ERPmIsometrie3D a(ERTranslation3D(ERPoint3D(1, 0, 0)));
  ERPmIsometrie3D b(ERRotation3D(Z3D, 0.3));
  const ERTr3DRevRep* ra = a.getRep();
  const ERTr3DRevRep* rb = b.getRep();
  ERPmIsometrie3D keep(a);
  a = b;
  EXPECT_EQ(a.getRep(), rb);
  EXPECT_EQ(rb->references(), 1);
  EXPECT_EQ(ra->references(), 0);  // keep still holds it
  ERPmIsometrie3D& alias = a;
  a = alias;
  EXPECT_EQ(a.getRep(), rb);
  EXPECT_EQ(rb->references(), 1);
  a = ERChgRepere3D();
  EXPECT_STREQ(a.getRep()->className(), "ERChgRepere3D");
  EXPECT_EQ(rb->references(), 0);
  ERPmSimilitude3D s;
  s = ERScaling3D(2.0);
  EXPECT_STREQ(s.getRep()->className(), "ERScaling3D");
  s = a;
  EXPECT_EQ(s.getRep(), a.getRep());
}

// ---------------------------------------------------------------------------------------------
// Composition table

TEST(Transf3DCompositionTest, HandleTimesHandleFollowsTheTable) {
  std::mt19937 rng(11);
  for (int l = 0; l < kKinds; ++l)
    for (int r = 0; r < kKinds; ++r) {
      SCOPED_TRACE(std::string(kNames[l]) + " o " + kNames[r]);
      Sample a = makeSample(Kind(l), rng), b = makeSample(Kind(r), rng);
      ERPmSimilitude3D ha = handleOf(Kind(l), a), hb = handleOf(Kind(r), b);
      ERPmSimilitude3D h = ha * hb;
      Cell cell = expectedCell(Kind(l), Kind(r));
      EXPECT_STREQ(h.getRep()->className(), cell.cls);
      expectOrigin(h.getRep(), cell.origin, ha.getRep(), hb.getRep(), false, false);
      expectMapping(h, a.ref * b.ref, rng);
    }
}

TEST(Transf3DCompositionTest, HandleTimesRepresentationFollowsTheTable) {
  std::mt19937 rng(12);
  for (int l = 0; l < kKinds; ++l)
    for (int r = 0; r < kKinds; ++r) {
      SCOPED_TRACE(std::string(kNames[l]) + " o " + kNames[r]);
      Sample a = makeSample(Kind(l), rng), b = makeSample(Kind(r), rng);
      ERPmSimilitude3D ha = handleOf(Kind(l), a);
      ERPmSimilitude3D h = ha * *b.rep;
      Cell cell = expectedCell(Kind(l), Kind(r));
      if (cell.origin == kSharedIdentity) cell.origin = kRightOperand;  // the identity given as b
      EXPECT_STREQ(h.getRep()->className(), cell.cls);
      expectOrigin(h.getRep(), cell.origin, ha.getRep(), b.rep.get(), false, true);
      EXPECT_EQ(b.rep->references(), -1);
      expectMapping(h, a.ref * b.ref, rng);
    }
}

TEST(Transf3DCompositionTest, RepresentationTimesHandleFollowsTheTable) {
  std::mt19937 rng(13);
  for (int l = 0; l < kKinds; ++l)
    for (int r = 0; r < kKinds; ++r) {
      SCOPED_TRACE(std::string(kNames[l]) + " o " + kNames[r]);
      Sample a = makeSample(Kind(l), rng), b = makeSample(Kind(r), rng);
      ERPmSimilitude3D hb = handleOf(Kind(r), b);
      ERPmSimilitude3D h = *a.rep * hb;
      Cell cell = expectedCell(Kind(l), Kind(r));
      if (cell.origin == kSharedIdentity) cell.origin = kRightOperand;  // the identity's product is b
      EXPECT_STREQ(h.getRep()->className(), cell.cls);
      expectOrigin(h.getRep(), cell.origin, a.rep.get(), hb.getRep(), true, false);
      EXPECT_EQ(a.rep->references(), -1);
      expectMapping(h, a.ref * b.ref, rng);
    }
}

TEST(Transf3DCompositionTest, RepresentationTimesRepresentationCopiesAReturnedOperand) {
  std::mt19937 rng(14);
  for (int l = 0; l < kKinds; ++l)
    for (int r = 0; r < kKinds; ++r) {
      SCOPED_TRACE(std::string(kNames[l]) + " o " + kNames[r]);
      Sample a = makeSample(Kind(l), rng), b = makeSample(Kind(r), rng);
      ERPmSimilitude3D h = *a.rep * *b.rep;
      Cell cell = expectedCell(Kind(l), Kind(r));
      EXPECT_STREQ(h.getRep()->className(), cell.cls);
      expectOrigin(h.getRep(), cell.origin, a.rep.get(), b.rep.get(), true, true);
      EXPECT_NE(h.getRep(), GetIdentity());
      EXPECT_EQ(h.getRep()->references(), 0);
      EXPECT_EQ(a.rep->references(), -1);
      EXPECT_EQ(b.rep->references(), -1);
      expectMapping(h, a.ref * b.ref, rng);
    }
}

TEST(Transf3DCompositionTest, IsometryHandlesFollowTheTableInEveryShape) {
  std::mt19937 rng(15);
  const Kind isos[] = {kId, kTr, kRot, kChg};
  for (Kind l : isos)
    for (Kind r : isos) {
      SCOPED_TRACE(std::string(kNames[l]) + " o " + kNames[r]);
      Sample a = makeSample(l, rng), b = makeSample(r, rng);
      const ERAnyIsometrie3D& ra = *ERAnyIsometrie3D::castdown(*a.rep);
      const ERAnyIsometrie3D& rb = *ERAnyIsometrie3D::castdown(*b.rep);
      ERPmIsometrie3D ha = isoHandleOf(l, a), hb = isoHandleOf(r, b);
      Cell cell = expectedCell(l, r);
      ERPmIsometrie3D hh = ha * hb;
      EXPECT_STREQ(hh.getRep()->className(), cell.cls);
      expectOrigin(hh.getRep(), cell.origin, ha.getRep(), hb.getRep(), false, false);
      expectMapping(hh, a.ref * b.ref, rng);
      ERPmIsometrie3D hr = ha * rb;
      EXPECT_STREQ(hr.getRep()->className(), cell.cls);
      expectMapping(hr, a.ref * b.ref, rng);
      ERPmIsometrie3D rh = ra * hb;
      EXPECT_STREQ(rh.getRep()->className(), cell.cls);
      expectMapping(rh, a.ref * b.ref, rng);
      ERPmIsometrie3D rr = ra * rb;
      EXPECT_STREQ(rr.getRep()->className(), cell.cls);
      EXPECT_NE(rr.getRep(), &ra);
      EXPECT_NE(rr.getRep(), &rb);
      expectMapping(rr, a.ref * b.ref, rng);
    }
}

TEST(Transf3DCompositionTest, IdentityOnEitherSideSharesTheOtherOperand) {
  std::mt19937 rng(16);
  ERPmSimilitude3D id;
  for (int k = kTr; k < kKinds; ++k) {
    Sample s = makeSample(Kind(k), rng);
    ERPmSimilitude3D h(*s.rep);
    EXPECT_EQ((id * h).getRep(), h.getRep());
    EXPECT_EQ((h * id).getRep(), h.getRep());
    EXPECT_EQ(h.getRep()->references(), 0);  // both temporaries are gone
  }
}

TEST(Transf3DCompositionTest, TwoIdentityValuesMultiplyToAnIdentityValue) {
  ERIdentity3D r = ERIdentity3D() * ERIdentity3D();
  EXPECT_STREQ(r.className(), "ERIdentity3D");
  EXPECT_EQ(r.references(), -1);  // a plain value, no handle
}

TEST(Transf3DCompositionTest, OppositeTranslationsGiveTheSharedIdentity) {
  ERPmIsometrie3D a(ERTranslation3D(ERPoint3D(1.5, -2, 3)));
  ERPmIsometrie3D b(ERTranslation3D(ERPoint3D(-1.5, 2, -3)));
  EXPECT_EQ((a * b).getRep(), GetIdentity());
  EXPECT_EQ((ERTranslation3D(ERPoint3D(1, 0, 0)) * ERTranslation3D(ERPoint3D(-1, 0, 0))).getRep(),
            GetIdentity());
}

TEST(Transf3DCompositionTest, ScalingsMultiplyingToOneGiveTheSharedIdentity) {
  ERPmSimilitude3D a(ERScaling3D(2.0)), b(ERScaling3D(0.5));
  EXPECT_EQ((a * b).getRep(), GetIdentity());
  ERPmSimilitude3D c = ERScaling3D(2.0) * ERScaling3D(3.0);
  EXPECT_STREQ(c.getRep()->className(), "ERScaling3D");
  EXPECT_EQ(c.getFactHomo(), 6.0);
}

TEST(Transf3DCompositionTest, RotationWithItsInverseStaysARotation) {
  ERPmIsometrie3D r(ERRotation3D(ERVector3D(1, 2, 3), 0.7));
  ERPmIsometrie3D p = r * ~r;
  EXPECT_STREQ(p.getRep()->className(), "ERRotation3D");
  EXPECT_TRUE(near(p.getMatrix(), Eigen::Matrix3d::Identity(), 1e-14));
}

TEST(Transf3DCompositionTest, TranslationTimesMirrorIsASimilitude) {
  ERPmSimilitude3D s = ERTranslation3D(ERPoint3D(1, 2, 3)) * ERSymetrie3D(Z3D);
  EXPECT_STREQ(s.getRep()->className(), "ERSimilitude3D");
  EXPECT_EQ(s.isDirect(), 0);
  EXPECT_EQ(s >> ERPoint3D(1, 1, 1), ERPoint3D(2, 3, 2));
}

TEST(Transf3DCompositionTest, Multiply2SimComposesFactorsMatricesAndTranslations) {
  std::mt19937 rng(17);
  for (int i = 0; i < 20; ++i) {
    Sample a = makeSample(kSim, rng), b = makeSample(kSim, rng);
    std::unique_ptr<const ERTr3DRevRep> p(Multiply2Sim(a.rep.get(), b.rep.get()));
    EXPECT_STREQ(p->className(), "ERSimilitude3D");
    EXPECT_EQ(p->references(), -1);
    Eigen::Affine3d ref = a.ref * b.ref;
    EXPECT_NEAR(p->getFactHomo(), a.rep->getFactHomo() * b.rep->getFactHomo(), 1e-15);
    EXPECT_TRUE(near(p->getTrans(), ref.translation()));
    EXPECT_TRUE(near(p->getMatrix(), ref.linear() / p->getFactHomo(), 1e-12));
  }
}

// ---------------------------------------------------------------------------------------------
// Inversion

TEST(Transf3DInverseTest, EveryClassInvertsToTheExpectedClassAndMapping) {
  std::mt19937 rng(21);
  const char* inverseClass[kKinds] = {"ERIdentity3D", "ERTranslation3D", "ERRotation3D",  "ERChgRepere3D",
                                      "ERScaling3D",  "ERSymetrie3D",    "ERSimilitude3D"};
  for (int k = 0; k < kKinds; ++k) {
    SCOPED_TRACE(kNames[k]);
    Sample s = makeSample(Kind(k), rng);
    ERPmSimilitude3D h = handleOf(Kind(k), s);
    ERPmSimilitude3D inv = ~h;
    EXPECT_STREQ(inv.getRep()->className(), inverseClass[k]);
    expectMapping(inv, s.ref.inverse(), rng);
    ERPmSimilitude3D inv2 = ~*s.rep;
    EXPECT_STREQ(inv2.getRep()->className(), inverseClass[k]);
    expectMapping(inv2, s.ref.inverse(), rng);
    if (k == kId) {
      EXPECT_EQ(inv.getRep(), GetIdentity());
      EXPECT_EQ(inv2.getRep(), GetIdentity());
    } else {
      EXPECT_NE(inv.getRep(), h.getRep());
      EXPECT_EQ(inv.getRep()->references(), 0);
    }
  }
}

TEST(Transf3DInverseTest, ChangeOfFrameWithItsInverseIsTheIdentityFrame) {
  std::mt19937 rng(22);
  for (int i = 0; i < 10; ++i) {
    Sample s = makeSample(kChg, rng);
    ERPmIsometrie3D c(*ERAnyIsometrie3D::castdown(*s.rep));
    ERPmIsometrie3D p = ~c * c;
    EXPECT_STREQ(p.getRep()->className(), "ERChgRepere3D");
    EXPECT_TRUE(near(p.getMatrix(), Eigen::Matrix3d::Identity(), 1e-14));
    EXPECT_TRUE(near(p.getTrans(), Eigen::Vector3d::Zero(), 1e-14));
  }
}

TEST(Transf3DInverseTest, IsometryHandlesInvertToIsometries) {
  ERPmIsometrie3D c(ERChgRepere3D(ERVector3D(1, 1, 0), ERVector3D(0, 1, 0), ERPoint3D(1, 2, 3)));
  ERPmIsometrie3D inv = ~c;
  EXPECT_TRUE(inv.isValid());
  EXPECT_TRUE(near(inv >> (c >> ERPoint3D(4, 5, 6)), Eigen::Vector3d(4, 5, 6)));
  ERPmIsometrie3D inv2 = ~ERTranslation3D(ERPoint3D(1, 2, 3));
  EXPECT_EQ(inv2.getTrans(), ERPoint3D(-1, -2, -3));
}

TEST(Transf3DInverseTest, ReducedCopiesAreNewExceptForTheIdentity) {
  std::mt19937 rng(23);
  for (int k = kTr; k < kKinds; ++k) {
    Sample s = makeSample(Kind(k), rng);
    std::unique_ptr<const ERTr3DRevRep> r(s.rep->getReduced());
    EXPECT_NE(r.get(), s.rep.get());
    EXPECT_STREQ(r->className(), kNames[k]);
    EXPECT_TRUE(r->isEqual(*s.rep));
  }
  EXPECT_EQ(ERIdentity3D().getReduced(), GetIdentity());
}

// ---------------------------------------------------------------------------------------------
// Application

TEST(Transf3DApplyTest, EveryClassMapsPointsAndVectorsByItsDefinition) {
  std::mt19937 rng(31);
  for (int k = 0; k < kKinds; ++k) {
    SCOPED_TRACE(kNames[k]);
    for (int i = 0; i < 5; ++i) {
      Sample s = makeSample(Kind(k), rng);
      Eigen::Vector3d p = randomVector(rng, 10.0);
      ERPoint3D q = toPoint(p);
      s.rep->TransFrom(q);
      EXPECT_TRUE(near(q, s.ref * p));
      s.rep->TransTo(q);
      EXPECT_TRUE(near(q, p));
      ERVector3D v = toVector(p);
      s.rep->TransFrom(v);
      EXPECT_TRUE(near(v, s.ref.linear() * p));
      s.rep->TransTo(v);
      EXPECT_TRUE(near(v, p));
    }
  }
}

TEST(Transf3DApplyTest, StarAndShiftRightAgreeAndShiftLeftUndoesThem) {
  std::mt19937 rng(32);
  for (int k = 0; k < kKinds; ++k) {
    Sample s = makeSample(Kind(k), rng);
    ERPmSimilitude3D h = handleOf(Kind(k), s);
    ERPoint3D p = toPoint(randomVector(rng, 10.0));
    ERVector3D v = toVector(randomVector(rng, 10.0));
    EXPECT_EQ(h * p, h >> p);
    EXPECT_EQ(*s.rep * p, *s.rep >> p);
    EXPECT_EQ(h * v, h >> v);
    EXPECT_TRUE(near(h << (h >> p), toEigen(p)));
    EXPECT_TRUE(near(*s.rep << (*s.rep >> p), toEigen(p)));
  }
}

TEST(Transf3DApplyTest, PointVectorsAreMappedElementByElementOnAPrivateCopy) {
  std::mt19937 rng(33);
  Sample s = makeSample(kSim, rng);
  ERPoint3DVec v;
  std::vector<Eigen::Vector3d> ref;
  for (int i = 0; i < 7; ++i) {
    ref.push_back(randomVector(rng, 10.0));
    v.append(toPoint(ref.back()));
  }
  ERPoint3DVec w = *s.rep >> v;
  EXPECT_EQ(v.length(), 7u);
  for (unsigned i = 0; i < 7; ++i) {
    EXPECT_EQ(v[i], toPoint(ref[i]));  // the original is untouched
    EXPECT_TRUE(near(w[i], s.ref * ref[i]));
  }
  ERPmSimilitude3D h(*s.rep);
  ERPoint3DVec back = h << w;
  for (unsigned i = 0; i < 7; ++i) EXPECT_TRUE(near(back[i], ref[i]));
}

TEST(Transf3DApplyTest, EmptyPointVectorKeepsItsStorageShared) {
  ERPoint3DVec a;
  ERPoint3DVec b(a);
  ERRotation3D r(Z3D, 0.5);
  r.TransTo(b);
  EXPECT_EQ(b.data(), a.data());
  r.TransFrom(b);
  EXPECT_EQ(b.data(), a.data());
  ERPoint3DVec c(1, ERPoint3D(1, 0, 0));
  ERPoint3DVec d(c);
  r.TransTo(d);
  EXPECT_NE(d.data(), c.data());
  EXPECT_EQ(c[0], ERPoint3D(1, 0, 0));
}

TEST(Transf3DApplyTest, PolesAreMappedThroughTheirPointAndKeepTheirWeight) {
  std::mt19937 rng(34);
  Sample s = makeSample(kChg, rng);
  ERPole3DHVec v;
  std::vector<std::pair<Eigen::Vector3d, double>> ref;
  for (int i = 0; i < 5; ++i) {
    Eigen::Vector3d p = randomVector(rng, 10.0);
    double w = 0.5 + i;
    ref.push_back({p, w});
    v.append(ERPole3DH(toPoint(p * w), w));
  }
  ERPole3DHVec out = *s.rep >> v;
  for (unsigned i = 0; i < 5; ++i) {
    EXPECT_EQ(out[i].weigth(), ref[i].second);
    EXPECT_TRUE(near(out[i].castToPoint(), s.ref * ref[i].first));
    EXPECT_TRUE(
        near(ERPoint3D(out[i][X3DH], out[i][Y3DH], out[i][Z3DH]), (s.ref * ref[i].first) * ref[i].second));
  }
  ERPole3DHVec back = ERPmIsometrie3D(*ERAnyIsometrie3D::castdown(*s.rep)) << out;
  for (unsigned i = 0; i < 5; ++i) EXPECT_TRUE(near(back[i].castToPoint(), ref[i].first));
  ERPole3DH one = *s.rep >> ERPole3DH(toPoint(ref[0].first * 2.0), 2.0);
  EXPECT_TRUE(near(one.castToPoint(), s.ref * ref[0].first));
  EXPECT_EQ(one.weigth(), 2.0);
  ERPole3DH two = *s.rep << one;
  EXPECT_TRUE(near(two.castToPoint(), ref[0].first));
}

TEST(Transf3DApplyTest, ProjectMapsToTheFrameAndDropsZ) {
  ERChgRepere3D c(ERVector3D(0, 1, 0), ERVector3D(-1, 0, 0), ERPoint3D(1, 2, 3));
  // Frame axes: x = (0,1,0), y = (-1,0,0), z = (0,0,1); TransTo(p) = M^T (p - O).
  ERPoint3D p(4, 7, 9);
  ERPoint2D q = c.Project(p);
  EXPECT_NEAR(q[X2D], 5.0, 1e-15);
  EXPECT_NEAR(q[Y2D], -3.0, 1e-15);
  ERPmIsometrie3D h(c);
  ERPoint2D qh = h.Project(p);
  EXPECT_EQ(qh, q);
  ERPole2DH pole = c.Project(ERPole3DH(ERPoint3D(8, 14, 18), 2.0));
  EXPECT_NEAR(pole[X2DH], 10.0, 1e-14);
  EXPECT_NEAR(pole[Y2DH], -6.0, 1e-14);
  EXPECT_EQ(pole[W2DH], 2.0);
}

// ---------------------------------------------------------------------------------------------
// Decomposition

TEST(Transf3DDecompositionTest, EveryClassReportsItsMatrixTranslationAndFactor) {
  std::mt19937 rng(41);
  for (int k = 0; k < kKinds; ++k) {
    SCOPED_TRACE(kNames[k]);
    Sample s = makeSample(Kind(k), rng);
    double kf = std::cbrt(std::fabs(s.ref.linear().determinant()));
    if (k == kSc) {
      EXPECT_TRUE(near(s.rep->getMatrix(), Eigen::Matrix3d::Identity(), 0.0));
    } else {
      EXPECT_TRUE(near(s.rep->getMatrix(), s.ref.linear() / kf, 1e-12));
    }
    EXPECT_NEAR(s.rep->getFactHomo(), kf, 1e-12);
    EXPECT_TRUE(near(s.rep->getTrans(), s.ref.translation(), 1e-15));
    EXPECT_EQ(s.rep->origine(), s.rep->getTrans());
    for (int c = 0; c < 3; ++c) EXPECT_TRUE(near(s.rep->getVector(Coord3D(c)), s.ref.linear().col(c), 1e-12));
    int direct = k == kSc ? 1 : (s.ref.linear().determinant() > 0.0);
    EXPECT_EQ(s.rep->isDirect(), direct);
  }
}

TEST(Transf3DDecompositionTest, NegativeScalingStillAnswersDirect) {
  ERScaling3D s(-2.0);
  EXPECT_EQ(s.isDirect(), 1);
  EXPECT_EQ(s.getFactHomo(), -2.0);
  EXPECT_EQ(s >> ERPoint3D(1, 2, 3), ERPoint3D(-2, -4, -6));
}

TEST(Transf3DDecompositionTest, HandlesForwardTheDecomposition) {
  ERPmSimilitude3D h(ERSimilitude3D(
      toMatrix(Eigen::Matrix3d(Eigen::AngleAxisd(0.4, Eigen::Vector3d::UnitX()))), ERPoint3D(1, 2, 3), 2.0));
  EXPECT_EQ(h.getFactHomo(), 2.0);
  EXPECT_EQ(h.getTrans(), ERPoint3D(1, 2, 3));
  EXPECT_EQ(h.origine(), ERPoint3D(1, 2, 3));
  EXPECT_EQ(h.isDirect(), 1);
  EXPECT_EQ(h.getMatrix(), h.getRep()->getMatrix());
  EXPECT_EQ(h.getVector(Y3D), h.getRep()->getVector(Y3D));
}

// ---------------------------------------------------------------------------------------------
// Elementary constructors

TEST(ERRotation3DTest, AxisRotationsAreTheRightHandedOnes) {
  std::mt19937 rng(51);
  const Eigen::Vector3d axes[3] = {Eigen::Vector3d::UnitX(), Eigen::Vector3d::UnitY(),
                                   Eigen::Vector3d::UnitZ()};
  for (int c = 0; c < 3; ++c)
    for (int i = 0; i < 5; ++i) {
      double a = randomAngle(rng);
      ERRotation3D r(Coord3D(c), a);
      EXPECT_TRUE(near(r.getMatrix(), Eigen::AngleAxisd(a, axes[c]).toRotationMatrix(), 1e-15));
    }
}

TEST(ERRotation3DTest, OtherAxisValueLeavesAZeroMatrix) {
  ERRotation3D r(Coord3D(3), 0.5);
  EXPECT_TRUE(near(r.getMatrix(), Eigen::Matrix3d::Zero(), 0.0));
}

TEST(ERRotation3DTest, ArbitraryAxisMatchesAngleAxis) {
  std::mt19937 rng(52);
  for (int i = 0; i < 20; ++i) {
    Eigen::Vector3d axis = randomDirection(rng);
    double a = randomAngle(rng);
    ERRotation3D r(toVector(axis), a);
    EXPECT_TRUE(near(r.getMatrix(), Eigen::AngleAxisd(a, axis.normalized()).toRotationMatrix(), 1e-14));
  }
}

TEST(ERRotation3DTest, WholeTurnsGiveTheIdentityEvenForAZeroAxis) {
  for (double a : {0.0, 2 * kPi, -2 * kPi, 4 * kPi}) {
    EXPECT_EQ(ERRotation3D(ERVector3D(), a).getMatrix(), IdentityMatrix(3));
    EXPECT_EQ(ERRotation3D(ERVector3D(1, 2, 3), a).getMatrix(), IdentityMatrix(3));
  }
}

TEST(ERRotation3DTest, HalfTurnGoesThroughThePseudoVector) {
  ERVector3D axis(0, 0, 2);
  ERRotation3D r(axis, kPi);
  EXPECT_EQ(r.getMatrix(), ERPseudoVecteurRotation(axis, kPi).GetMatrix());
  EXPECT_TRUE(
      near(r.getMatrix(), Eigen::AngleAxisd(kPi, Eigen::Vector3d::UnitZ()).toRotationMatrix(), 1e-12));
}

TEST(ERRotation3DTest, PseudoVectorCopiesOnlyTheUpperLeftBlock) {
  ERPseudoVecteurRotation pv(ERVector3D(0.3, -0.2, 0.5));
  ERRotation3D r(pv);
  ERDoubleMatrix g = pv.GetMatrix();
  ERDoubleMatrix m = r.getMatrix();
  for (unsigned i = 0; i < 3; ++i)
    for (unsigned j = 0; j < 3; ++j) {
      if (i < 2 && j < 2)
        EXPECT_EQ(m(i, j), g(i, j));
      else
        EXPECT_EQ(m(i, j), 0.0) << i << "," << j;  // as a fresh 3x3 matrix has it
    }
}

TEST(ERRotation3DTest, DefaultIsTheIdentityMatrix) {
  EXPECT_EQ(ERRotation3D().getMatrix(), IdentityMatrix(3));
  EXPECT_EQ(ERRotation3D().getTrans(), ERPoint3D());
  EXPECT_EQ(ERRotation3D().getFactHomo(), 1.0);
}

TEST(ERChgRepere3DTest, TwoDirectionsBuildAnOrthonormalDirectFrame) {
  std::mt19937 rng(53);
  for (int i = 0; i < 20; ++i) {
    Eigen::Vector3d vx = randomDirection(rng), vy = randomDirection(rng), o = randomVector(rng, 5.0);
    ERChgRepere3D c(toVector(vx), toVector(vy), toPoint(o));
    Eigen::Matrix3d m = toEigen(c.getMatrix());
    EXPECT_TRUE(m.col(0).isApprox(vx.normalized(), 1e-14));
    EXPECT_NEAR(m.col(1).dot(vy.normalized().cross(vx.normalized())), 0.0, 1e-14);  // y in the plane
    EXPECT_GT(m.col(1).dot(vy), 0.0);
    EXPECT_TRUE((m * m.transpose()).isApprox(Eigen::Matrix3d::Identity(), 1e-14));
    EXPECT_NEAR(m.determinant(), 1.0, 1e-14);
    EXPECT_EQ(c.getTrans(), toPoint(o));
  }
}

TEST(ERChgRepere3DTest, ZDirectionAlongZGivesTheCanonicalFrame) {
  ERChgRepere3D c(ERVector3D(0, 0, 1), ERPoint3D(1, 2, 3));
  EXPECT_TRUE(near(c.getMatrix(), Eigen::Matrix3d::Identity(), 0.0));
  EXPECT_EQ(c.getTrans(), ERPoint3D(1, 2, 3));
}

TEST(ERChgRepere3DTest, ZDirectionAlongXTakesTheLastHelper) {
  // h = (0,0,1): y = x ^ h = (0,-1,0), x = y ^ z = (0,0,1).
  ERChgRepere3D c(ERVector3D(1, 0, 0), ERPoint3D());
  Eigen::Matrix3d expected;
  expected << 0, 0, 1, 0, -1, 0, 1, 0, 0;
  EXPECT_TRUE(near(c.getMatrix(), expected, 0.0));
}

TEST(ERChgRepere3DTest, ZDirectionHelpersGiveAnOrthonormalFrameAroundZ) {
  std::mt19937 rng(54);
  const Eigen::Vector3d dirs[] = {{0.1, 0.2, 1.0},   {0.2, 1.0, 0.1},  {1.0, 0.3, 0.2},
                                  {-1.0, 0.3, -0.2}, {0.1, -1.0, 0.3}, {0.3, 0.2, -1.0}};
  std::vector<Eigen::Vector3d> all(std::begin(dirs), std::end(dirs));
  for (int i = 0; i < 20; ++i) all.push_back(randomDirection(rng));
  for (const Eigen::Vector3d& vz : all) {
    ERChgRepere3D c(toVector(vz), ERPoint3D());
    Eigen::Matrix3d m = toEigen(c.getMatrix());
    EXPECT_TRUE(m.col(2).isApprox(vz.normalized(), 1e-14));
    EXPECT_TRUE((m * m.transpose()).isApprox(Eigen::Matrix3d::Identity(), 1e-14));
    EXPECT_NEAR(m.determinant(), 1.0, 1e-14);
  }
}

TEST(ERChgRepere3DTest, FromRotationAndTranslationOrAnyIsometry) {
  ERRotation3D r(Y3D, 0.3);
  ERChgRepere3D c(r, ERTranslation3D(ERPoint3D(1, 2, 3)));
  EXPECT_EQ(c.getMatrix(), r.getMatrix());
  EXPECT_EQ(c.getTrans(), ERPoint3D(1, 2, 3));
  ERChgRepere3D d(c);
  EXPECT_TRUE(d.isEqual(c));
  ERChgRepere3D e(*ERAnyIsometrie3D::castdown(ERTranslation3D(ERPoint3D(4, 5, 6))));
  EXPECT_EQ(e.getMatrix(), IdentityMatrix(3));
  EXPECT_EQ(e.getTrans(), ERPoint3D(4, 5, 6));
  EXPECT_EQ(ERChgRepere3D().getMatrix(), IdentityMatrix(3));
}

TEST(ERSymetrie3DTest, CoordinatePlaneMirrorsNegateOneAxis) {
  for (int c = 0; c < 3; ++c) {
    Eigen::Matrix3d expected = Eigen::Matrix3d::Identity();
    expected(c, c) = -1.0;
    ERSymetrie3D s{Coord3D(c)};
    EXPECT_TRUE(near(s.getMatrix(), expected, 0.0));
    EXPECT_EQ(s.isDirect(), 0);
    ERPoint3D p(1, 2, 3);
    ERPoint3D q = s >> p;
    EXPECT_EQ(s << q, p);  // self-inverse
  }
}

TEST(ERSymetrie3DTest, PlaneMirrorIsTheHouseholderReflection) {
  std::mt19937 rng(55);
  for (int i = 0; i < 20; ++i) {
    Eigen::Vector3d n = randomDirection(rng);
    ERSymetrie3D s{toVector(n)};
    Eigen::Vector3d u = n.normalized();
    EXPECT_TRUE(near(s.getMatrix(), Eigen::Matrix3d::Identity() - 2.0 * u * u.transpose(), 1e-14));
  }
}

TEST(ERScaling3DTest, MapsByTheFactorWithAnIdentityMatrix) {
  ERScaling3D s(2.5);
  EXPECT_EQ(s >> ERPoint3D(1, 2, 4), ERPoint3D(2.5, 5, 10));
  EXPECT_EQ(s << ERPoint3D(2.5, 5, 10), ERPoint3D(1, 2, 4));
  EXPECT_EQ(s.getMatrix(), IdentityMatrix(3));
  EXPECT_EQ(ERScaling3D().getFactHomo(), 1.0);
  std::unique_ptr<const ERTr3DRevRep> inv(s.getInverse());
  EXPECT_EQ(inv->getFactHomo(), 1.0 / 2.5);
}

TEST(ERSimilitude3DTest, ZeroOrNegativeFactorIsNotValid) {
  EXPECT_EQ(ERSimilitude3D(ERScaling3D(0.0)).isValid(), 0);
  EXPECT_EQ(ERSimilitude3D(ERScaling3D(-1.0)).isValid(), 0);
  EXPECT_EQ(ERSimilitude3D(ERScaling3D(0.5)).isValid(), 1);
  EXPECT_EQ(ERSimilitude3D().isValid(), 1);
}

TEST(ERSimilitude3DTest, ValidityAsksForAUnitDeterminantOnly) {
  // A shear of determinant 1 is accepted; its inverse mapping still uses the transpose.
  ERSimilitude3D s(mat({1, 1, 0, 0, 1, 0, 0, 0, 1}));
  EXPECT_EQ(s.isValid(), 1);
  EXPECT_EQ(s >> ERPoint3D(1, 1, 1), ERPoint3D(2, 1, 1));
  EXPECT_EQ(s << ERPoint3D(2, 1, 1), ERPoint3D(2, 3, 1));
  EXPECT_EQ(ERSimilitude3D(mat({1, 0, 0, 0, 1, 0, 0, 0, -1})).isValid(), 1);
}

TEST(ERSimilitude3DTest, CopiesTheDecompositionOfAnySimilitude) {
  ERSimilitude3D s(ERChgRepere3D(ERVector3D(1, 1, 0), ERVector3D(0, 0, 1), ERPoint3D(1, 2, 3)));
  ERChgRepere3D c(ERVector3D(1, 1, 0), ERVector3D(0, 0, 1), ERPoint3D(1, 2, 3));
  EXPECT_EQ(s.getMatrix(), c.getMatrix());
  EXPECT_EQ(s.getTrans(), c.getTrans());
  EXPECT_EQ(s.getFactHomo(), 1.0);
}

// ---------------------------------------------------------------------------------------------
// Comparison

TEST(Transf3DEqualTest, ZeroTranslationIsNotTheIdentity) {
  ERTranslation3D t;
  ERIdentity3D id;
  EXPECT_FALSE(t == id);
  EXPECT_FALSE(id == t);
  EXPECT_TRUE(id == ERIdentity3D());
  EXPECT_TRUE(t == ERTranslation3D(ERPoint3D()));
}

TEST(Transf3DEqualTest, SameClassComparesWithinTolerance) {
  ERTranslation3D a(ERPoint3D(1, 2, 3));
  EXPECT_TRUE(a == ERTranslation3D(ERPoint3D(1, 2, 3 + 1e-12)));
  EXPECT_FALSE(a == ERTranslation3D(ERPoint3D(1, 2, 3 + 1e-10)));
  EXPECT_TRUE(ERScaling3D(2.0) == ERScaling3D(2.0 + 1e-12));
  EXPECT_FALSE(ERScaling3D(2.0) == ERScaling3D(2.0 + 1e-10));
  EXPECT_TRUE(ERRotation3D(Z3D, 0.5) == ERRotation3D(ERVector3D(0, 0, 1), 0.5));
  EXPECT_FALSE(ERRotation3D(Z3D, 0.5) == ERRotation3D(Z3D, 0.5 + 1e-9));
}

TEST(Transf3DEqualTest, HandlesCompareTheirRepresentations) {
  ERPmIsometrie3D a(ERTranslation3D(ERPoint3D(1, 2, 3)));
  ERPmSimilitude3D b(ERTranslation3D(ERPoint3D(1, 2, 3)));
  EXPECT_TRUE(a == b);
  EXPECT_TRUE(a == ERTranslation3D(ERPoint3D(1, 2, 3)));
  EXPECT_FALSE(a == ERChgRepere3D(ERRotation3D(), ERTranslation3D(ERPoint3D(1, 2, 3))));
  EXPECT_FALSE(ERTranslation3D(ERPoint3D(1, 2, 3)) ==
               a);  // a representation against a handle: classes differ
  EXPECT_TRUE(ERPmIsometrie3D() == ERPmSimilitude3D());
}

// ---------------------------------------------------------------------------------------------
// Persistence

vtest::Bytes matrixBytes(const ERDoubleMatrix& m) {
  vtest::Bytes b = vtest::le32(m.rows());
  b += vtest::le32(m.cols());
  b += vtest::le32(8 * m.rows() * m.cols());
  for (unsigned i = 0; i < m.rows() * m.cols(); ++i) b += vtest::le64(m.data()[i]);
  return b;
}
vtest::Bytes pointBytes(const ERPoint3D& p) {
  vtest::Bytes b = vtest::le64(p[X3D]);
  b += vtest::le64(p[Y3D]);
  b += vtest::le64(p[Z3D]);
  return b;
}

void save(const ERObject& o, const std::string& name) {
  vtest::captureStderr([&] {
    ERFile file(name.c_str(), "wb");
    o.saveGuts(file);
  });
}
void restore(ERObject& o, const std::string& name) {
  vtest::captureStderr([&] {
    ERFile file(name.c_str(), "rb");
    o.restoreGuts(file);
  });
}

TEST(Transf3DPersistenceTest, RepresentationsWriteTheirFieldsInOrder) {
  vtest::ScratchDir dir;
  std::string name = dir.path("rep.bin");
  ERDoubleMatrix rot = ERRotation3D(ERVector3D(1, 2, 3), 0.4).getMatrix();
  ERPoint3D t(1.5, -2.25, 3.125);

  struct Case {
    std::unique_ptr<ERAnySimilitude3D> rep;
    std::unique_ptr<ERObject> blank;
    vtest::Bytes bytes;
  };
  std::vector<Case> cases;
  cases.push_back({std::make_unique<ERIdentity3D>(), std::make_unique<ERIdentity3D>(), {}});
  cases.push_back({std::make_unique<ERTranslation3D>(t), std::make_unique<ERTranslation3D>(), pointBytes(t)});
  cases.push_back({std::make_unique<ERRotation3D>(ERVector3D(1, 2, 3), 0.4), std::make_unique<ERRotation3D>(),
                   matrixBytes(rot)});
  {
    vtest::Bytes b = matrixBytes(rot);
    b += pointBytes(t);
    cases.push_back(
        {std::make_unique<ERChgRepere3D>(ERRotation3D(ERVector3D(1, 2, 3), 0.4), ERTranslation3D(t)),
         std::make_unique<ERChgRepere3D>(), b});
  }
  cases.push_back({std::make_unique<ERScaling3D>(2.5), std::make_unique<ERScaling3D>(), vtest::le64(2.5)});
  cases.push_back({std::make_unique<ERSymetrie3D>(Y3D), std::make_unique<ERSymetrie3D>(),
                   matrixBytes(mat({1, 0, 0, 0, -1, 0, 0, 0, 1}))});
  {
    vtest::Bytes b = matrixBytes(rot);
    b += pointBytes(t);
    b += vtest::le64(0.75);
    cases.push_back({std::make_unique<ERSimilitude3D>(rot, t, 0.75), std::make_unique<ERSimilitude3D>(), b});
  }
  for (Case& c : cases) {
    SCOPED_TRACE(c.rep->className());
    save(*c.rep, name);
    EXPECT_EQ(vtest::readBytes(name), c.bytes);
    EXPECT_EQ(c.rep->binaryStoreSize(), c.bytes.size());
    restore(*c.blank, name);
    EXPECT_TRUE(c.rep->isEqual(*static_cast<ERTr3D*>(c.blank.get())));
  }
}

TEST(Transf3DPersistenceTest, HandleWritesMatrixTranslationFactor) {
  vtest::ScratchDir dir;
  std::string name = dir.path("handle.bin");
  ERPmIsometrie3D h(ERTranslation3D(ERPoint3D(1, 2, 3)));
  save(h, name);
  vtest::Bytes expected = matrixBytes(IdentityMatrix(3));
  expected += pointBytes(ERPoint3D(1, 2, 3));
  expected += vtest::le64(1.0);
  EXPECT_EQ(vtest::readBytes(name), expected);
  EXPECT_EQ(h.binaryStoreSize(), expected.size());
}

TEST(Transf3DPersistenceTest, RestoredHandleHoldsASimilitude) {
  vtest::ScratchDir dir;
  std::string name = dir.path("handle.bin");
  std::mt19937 rng(61);
  for (int k = 0; k < kKinds; ++k) {
    SCOPED_TRACE(kNames[k]);
    Sample s = makeSample(Kind(k), rng);
    ERPmSimilitude3D h = handleOf(Kind(k), s);
    save(h, name);
    ERPmSimilitude3D back;
    restore(back, name);
    EXPECT_STREQ(back.getRep()->className(), "ERSimilitude3D");
    EXPECT_EQ(back.getRep()->references(), 0);
    EXPECT_EQ(back.getMatrix(), h.getMatrix());
    EXPECT_EQ(back.getTrans(), h.getTrans());
    EXPECT_EQ(back.getFactHomo(), h.getFactHomo());
    EXPECT_EQ(back == h, k == kSim ? 1 : 0);
  }
}

TEST(Transf3DPersistenceTest, RestoringReleasesTheFormerRepresentation) {
  vtest::ScratchDir dir;
  std::string name = dir.path("handle.bin");
  ERPmIsometrie3D a(ERRotation3D(X3D, 0.2));
  save(a, name);
  ERPmIsometrie3D b(ERTranslation3D(ERPoint3D(1, 1, 1)));
  ERPmIsometrie3D keep(b);
  restore(b, name);
  EXPECT_EQ(keep.getRep()->references(), 0);
  EXPECT_NE(b.getRep(), keep.getRep());
}

// ---------------------------------------------------------------------------------------------
// Printing

TEST(Transf3DPrintTest, EveryClassPrintsItsFrenchLabels) {
  ERDoubleMatrix rot = ERRotation3D(Z3D, 0.5).getMatrix();
  EXPECT_EQ(printed(ERTranslation3D(ERPoint3D(1, 2, 3))), "Composante Translation : <1,2,3>\n");
  EXPECT_EQ(printed(ERRotation3D(Z3D, 0.5)), "Matrice de Rotation : " + printed(rot));
  EXPECT_EQ(printed(ERChgRepere3D(ERRotation3D(Z3D, 0.5), ERTranslation3D(ERPoint3D(1, 2, 3)))),
            "Matrice de Rotation    : " + printed(rot) + "Composante Translation : <1,2,3>\n");
  EXPECT_EQ(printed(ERScaling3D(2.5)), "Homothetie de rapport :2.5\n");
  EXPECT_EQ(printed(ERSymetrie3D(X3D)),
            "Symetrie de matrice : " + printed(mat({-1, 0, 0, 0, 1, 0, 0, 0, 1})));
  EXPECT_EQ(printed(ERSimilitude3D(rot, ERPoint3D(4, 5, 6), 2.0)),
            "Matrice de Rotation    : \n" + printed(rot) + "Composante Translation : <4,5,6>\n" +
                "facteur d'homothetie   : 2\n");
  EXPECT_EQ(printed(ERIdentity3D()), "Identite\n");
}

TEST(Transf3DPrintTest, HandlePrintsItsClassThenTheRepresentation) {
  ERPmIsometrie3D h(ERTranslation3D(ERPoint3D(1, 2, 3)));
  EXPECT_EQ(printed(h),
            "Class : ERPmIsometrie3D\n   contents a ERTranslation3D\nComposante Translation : <1,2,3>\n\n");
  ERPmSimilitude3D s(ERScaling3D(3.0));
  EXPECT_EQ(printed(s), "Class : ERPmSimilitude3D\n   contents a ERScaling3D\nHomothetie de rapport :3\n\n");
}

// ---------------------------------------------------------------------------------------------
// Assertion reports

TEST(Transf3DReportTest, HandleFromAnInvalidCopyReportsIsValid) {
  expectReport([] { ERPmSimilitude3D h{TOddSim()}; }, "isValid()", kHeader);
  expectReport([] { ERPmIsometrie3D h{TOddIso()}; }, "isValid()", kHeader);
}

TEST(Transf3DReportTest, IsometryHandleCopyReportsIsValidAndStillShares) {
  ERPmIsometrie3D h;
  h = TOddIso();  // assigning a representation checks nothing
  EXPECT_EQ(h.isValid(), 0);
  EXPECT_STREQ(h.getRep()->className(), "ERScaling3D");
  const ERTr3DRevRep* shared = nullptr;
  expectReport(
      [&] {
        ERPmIsometrie3D copy(h);
        shared = copy.getRep();
      },
      "isValid()", kHeader);
  if (!VELMORA_CHECKING_BUILD) {
    EXPECT_EQ(shared, h.getRep());
  }
}

TEST(Transf3DReportTest, InvalidLeftHandleReportsIso1AndGoesOn) {
  ERPmSimilitude3D h;
  h = TOddSim();
  EXPECT_EQ(h.isValid(), 0);
  ERPoint3D moved;
  expectReport(
      [&] {
        ERPmSimilitude3D r = h * ERTranslation3D(ERPoint3D(1, 2, 3));
        moved = r >> ERPoint3D();
      },
      "iso1.isValid()", kSource);
  if (!VELMORA_CHECKING_BUILD) {
    EXPECT_EQ(moved, ERPoint3D(1, 2, 3));
  }
}

TEST(Transf3DReportTest, InvalidRightHandleReportsIso2AndGoesOn) {
  ERPmSimilitude3D h;
  h = TOddSim();
  ERPoint3D moved;
  expectReport(
      [&] {
        ERPmSimilitude3D r = ERTranslation3D(ERPoint3D(1, 2, 3)) * h;
        moved = r >> ERPoint3D();
      },
      "iso2.isValid()", kSource);
  if (!VELMORA_CHECKING_BUILD) {
    EXPECT_EQ(moved, ERPoint3D(1, 2, 3));
  }
}

TEST(Transf3DReportTest, NonSimilitudeResultReportsTheSimilitudeKind) {
  ERPmSimilitude3D h;
  h = TOddSim();
  std::string cls;
  expectReport([&] { cls = (~h).getRep()->className(); }, "mpTrans->isKindOf(ERAnySimilitude3D::desc())",
               kHeader);
  if (!VELMORA_CHECKING_BUILD) {
    EXPECT_EQ(cls, "TBareRep");
  }
}

TEST(Transf3DReportTest, NonIsometryResultReportsTheIsometryKind) {
  int valid = -1;
  expectReport([&] { valid = (~TOddIso()).isValid(); }, "mpTrans->isKindOf(ERAnyIsometrie3D::desc())",
               kHeader);
  if (!VELMORA_CHECKING_BUILD) {
    EXPECT_EQ(valid, 0);
  }
}

TEST(Transf3DReportTest, ClassChangingDuringComparisonReportsIsA) {
  int result = -1;
  expectReport(
      [&] {
        TFickle f;
        result = ERTranslation3D().isEqual(f);
      },
      "tr.isA()==isA()", kSource);
  if (!VELMORA_CHECKING_BUILD) {
    EXPECT_EQ(result, 1);
  }  // the comparison goes on: same values
}

TEST(Transf3DReportTest, MatrixHelpersReportANonSquareMatrix) {
  ERDoubleMatrix m(2, 2, 1.0);
  ERPoint3D p(1, 1, 1);
  ERPoint3D r1(9, 9, 9), r2(9, 9, 9);
  ERVector3D r3(9, 9, 9), r4(9, 9, 9);
  expectReport([&] { r1 = m * p; }, "mat.cols()==3 && mat.rows()==3", kSource);
  expectReport([&] { r2 = mulInverseIsoMat(m, p); }, "mat.cols()==3 && mat.rows()==3", kSource);
  expectReport([&] { r3 = m * ERVector3D(1, 1, 1); }, "mat.cols()==3 && mat.rows()==3", kSource);
  expectReport([&] { r4 = mulInverseIsoMat(m, ERVector3D(1, 1, 1)); }, "mat.cols()==3 && mat.rows()==3",
               kSource);
  if (!VELMORA_CHECKING_BUILD) {
    EXPECT_EQ(r1, ERPoint3D());
    EXPECT_EQ(r2, ERPoint3D());
    EXPECT_EQ(r3, ERVector3D());
    EXPECT_EQ(r4, ERVector3D());
  }
}

TEST(Transf3DReportTest, MatrixHelpersMultiplyRowMajorAndByTheTranspose) {
  ERDoubleMatrix m = mat({1, 2, 3, 4, 5, 6, 7, 8, 10});
  EXPECT_EQ(m * ERPoint3D(1, -1, 2), ERPoint3D(5, 11, 19));
  EXPECT_EQ(mulInverseIsoMat(m, ERPoint3D(1, -1, 2)), ERPoint3D(11, 13, 17));
  EXPECT_EQ(m * ERVector3D(1, 0, 0), ERVector3D(1, 4, 7));
  EXPECT_EQ(mulInverseIsoMat(m, ERVector3D(1, 0, 0)), ERVector3D(1, 2, 3));
}

TEST(Transf3DReportTest, ProductOfNonUnitDeterminantReportsInMultiply2Sim) {
  ERRotation3D zero(Coord3D(3), 0.0);  // a zero matrix
  expectReport([&] { ERPmSimilitude3D r = zero * ERScaling3D(2.0); }, "isEqual(fabs(determinant(prod)),1.0)",
               kSource);
}

TEST(Transf3DReportTest, RotationFromANonSquareMatrixReportsTheShape) {
  expectReport(
      [] {
        TRotation r(mat({1, 0, 0, 1}, 2, 2));
      },
      "(m_mat.cols()==3) && (m_mat.rows()==3 )", kSource);
}

TEST(Transf3DReportTest, RotationFromAMirrorMatrixReportsTheDeterminant) {
  expectReport(
      [] {
        TRotation r(mat({1, 0, 0, 0, 1, 0, 0, 0, -1}));
      },
      "::isEqual(determinant(theMatrix),1.0)", kSource);
}

TEST(Transf3DReportTest, RotationFromAShearReportsOrthogonality) {
  expectReport(
      [] {
        TRotation r(mat({1, 1, 0, 0, 1, 0, 0, 0, 1}));
      },
      "::isEqual(theMatrix*transpose(theMatrix),IdentityMatrix(3))", kSource);
}

TEST(Transf3DReportTest, InverseOfAZeroRotationReportsTheDeterminant) {
  ERRotation3D zero(Coord3D(3), 0.0);
  expectReport([&] { delete zero.getInverse(); }, "::isEqual(determinant(theMatrix),1.0)", kSource);
}

TEST(Transf3DReportTest, ChangeOfFrameChecksItsMatrix) {
  expectReport(
      [] {
        TChgRepere c(mat({1, 0, 0, 1}, 2, 2), ERPoint3D());
      },
      "m_mat.cols()==3 && m_mat.rows()==3", kSource);
  expectReport(
      [] {
        TChgRepere c(mat({1, 0, 0, 0, 1, 0, 0, 0, -1}), ERPoint3D());
      },
      "::isEqual(determinant(m_mat),1.0)", kSource);
  expectReport(
      [] {
        TChgRepere c(mat({1, 1, 0, 0, 1, 0, 0, 0, 1}), ERPoint3D());
      },
      "::isEqual(theMatrix*transpose(theMatrix),IdentityMatrix(3))", kSource);
  expectReport([] { ERChgRepere3D c(ERVector3D(1, 0, 0), ERVector3D(2, 0, 0), ERPoint3D()); },
               "::isEqual(determinant(m_mat),1.0)", kSource);
}

TEST(Transf3DReportTest, ChangeOfFrameFromANonSquareRotationReportsTheShape) {
  vtest::ScratchDir dir;
  std::string name = dir.path("rot.bin");
  {  // a rotation whose matrix is 2x2: rows, columns, byte length, elements
    vtest::Bytes b = vtest::le32(2);
    b += vtest::le32(2);
    b += vtest::le32(32);
    for (double d : {1.0, 0.0, 0.0, 1.0}) b += vtest::le64(d);
    std::ofstream out(name, std::ios::binary);
    out.write(reinterpret_cast<const char*>(b.data()), b.size());
  }
  ERRotation3D r;
  restore(r, name);
  ASSERT_EQ(r.getMatrix().rows(), 2u);
  expectReport([&] { ERChgRepere3D c(r, ERTranslation3D()); }, "m_mat.cols()==3 && m_mat.rows()==3", kSource);
}

TEST(Transf3DReportTest, ZeroZDirectionReportsItsNorm) {
  expectReport([] { ERChgRepere3D c{ERVector3D(), ERPoint3D()}; }, "VZ.norme()!=0.0", kSource);
}

TEST(Transf3DReportTest, UnorderableZDirectionReachesTheUnreachableBranch) {
  // (0, inf, 0) normalises to (0, NaN, 0): no comparison holds and zx is zero.
  ERVector3D vz(0.0, std::numeric_limits<double>::infinity(), 0.0);
  expectReport([&] { ERChgRepere3D c(vz, ERPoint3D()); }, "!\"Erreur Dans La Fonction\"", kSource);
}

TEST(Transf3DReportTest, DefaultMirrorReportsItsDeterminantOnGetMatrix) {
  ERSymetrie3D s;
  ERDoubleMatrix m;
  expectReport([&] { m = s.getMatrix(); }, "::isEqual(determinant(m_mat),-1.0)", kHeader);
  if (!VELMORA_CHECKING_BUILD) {
    EXPECT_EQ(m, IdentityMatrix(3));
  }
}

TEST(Transf3DReportTest, MirrorFromANonSquareMatrixReportsTheShape) {
  expectReport([] { TSymetrie s(mat({-1, 0, 0, 1}, 2, 2)); }, "m_mat.cols()==3&& m_mat.rows()==3", kHeader);
}

TEST(Transf3DReportTest, SimilitudeWithAZeroFactorReportsIsValid) {
  int valid = -1;
  expectReport(
      [&] {
        ERSimilitude3D s(IdentityMatrix(3), ERPoint3D(), 0.0);
        valid = s.isValid();
      },
      "isValid()", kHeader);
  if (!VELMORA_CHECKING_BUILD) {
    EXPECT_EQ(valid, 0);
  }
  expectReport([] { ERSimilitude3D s(mat({2, 0, 0, 0, 1, 0, 0, 0, 1})); }, "isValid()", kHeader);
}

TEST(Transf3DReportTest, SimilitudeWithANonUnitDeterminantReportsOnGetMatrix) {
  ERSimilitude3D s{ERRotation3D(Coord3D(3), 0.0)};  // copied without checks: a zero matrix
  EXPECT_EQ(s.isValid(), 0);
  expectReport([&] { s.getMatrix(); }, "::isEqual(fabs(determinant(m_mat)),1.0)", kHeader);
}

// ---------------------------------------------------------------------------------------------
// Long random sequences of handle operations

TEST(Transf3DStressTest, RandomCopiesAssignmentsCompositionsAndInversionsKeepCountsAndMaps) {
  std::mt19937 rng(71);
  const int kSlots = 12;
  std::vector<std::unique_ptr<ERPmSimilitude3D>> slots(kSlots);
  std::vector<Eigen::Affine3d> refs(kSlots, Eigen::Affine3d::Identity());
  for (int i = 0; i < kSlots; ++i) slots[i] = std::make_unique<ERPmSimilitude3D>();
  const int32_t identityBase = GetIdentity()->references() - kSlots;

  for (int step = 0; step < 4000; ++step) {
    int i = rng() % kSlots, j = rng() % kSlots, k = rng() % kSlots;
    switch (rng() % 9) {
      case 0: {  // a fresh representation
        Kind kind = Kind(rng() % kKinds);
        Sample s = makeSample(kind, rng, 0.05);
        *slots[i] = *s.rep;
        refs[i] = s.ref;
        break;
      }
      case 1:  // copy construction replacing a slot
        slots[i] = std::make_unique<ERPmSimilitude3D>(*slots[j]);
        refs[i] = refs[j];
        break;
      case 2:  // assignment, self-assignment included
        *slots[i] = *slots[j];
        refs[i] = refs[j];
        break;
      case 3:
      case 4:  // composition of handles, possibly aliasing the target
        *slots[i] = *slots[j] * *slots[k];
        refs[i] = refs[j] * refs[k];
        break;
      case 5: {  // handle with a representation on either side
        Kind kind = Kind(rng() % kKinds);
        Sample s = makeSample(kind, rng, 0.05);
        if (rng() % 2) {
          *slots[i] = *slots[j] * *s.rep;
          refs[i] = refs[j] * s.ref;
        } else {
          *slots[i] = *s.rep * *slots[j];
          refs[i] = s.ref * refs[j];
        }
        break;
      }
      case 6:
        *slots[i] = ~*slots[j];
        refs[i] = refs[j].inverse();
        break;
      case 7: {  // two representations
        Sample a = makeSample(Kind(rng() % kKinds), rng, 0.05),
               b = makeSample(Kind(rng() % kKinds), rng, 0.05);
        *slots[i] = *a.rep * *b.rep;
        refs[i] = a.ref * b.ref;
        break;
      }
      case 8:  // back to the identity
        *slots[i] = ERPmSimilitude3D();
        refs[i] = Eigen::Affine3d::Identity();
        break;
    }
    // Restart a slot whose factor has drifted far from 1 or whose rounding has grown (repeated
    // squaring doubles it each time).
    double det = std::fabs(refs[i].linear().determinant());
    Eigen::Matrix3d unit = refs[i].linear() / std::cbrt(det);
    if (det > 1e3 || det < 1e-3 || (unit * unit.transpose() - Eigen::Matrix3d::Identity()).norm() > 1e-13) {
      *slots[i] = ERPmSimilitude3D();
      refs[i] = Eigen::Affine3d::Identity();
    }
    if (step % 50 == 0) {
      std::map<const ERTr3DRevRep*, int> holders;
      for (auto& s : slots) ++holders[s->getRep()];
      for (auto& [rep, n] : holders) {
        if (rep == GetIdentity())
          EXPECT_EQ(rep->references(), identityBase + n);
        else
          EXPECT_EQ(rep->references(), n - 1);
      }
      for (int s = 0; s < kSlots; ++s) {
        Eigen::Vector3d p = randomVector(rng, 3.0);
        EXPECT_TRUE(near(*slots[s] >> toPoint(p), refs[s] * p, 1e-7));
      }
    }
  }
}

TEST(Transf3DStressTest, IsometryHandlesSurviveLongChains) {
  std::mt19937 rng(72);
  ERPmIsometrie3D acc;
  Eigen::Affine3d ref = Eigen::Affine3d::Identity();
  for (int step = 0; step < 1000; ++step) {
    Kind kind = Kind(rng() % 4);
    Sample s = makeSample(kind, rng);
    ERPmIsometrie3D h = isoHandleOf(kind, s);
    ERPmIsometrie3D keep = acc;
    if (rng() % 2) {
      acc = acc * h;
      ref = ref * s.ref;
    } else {
      acc = ~h * acc;
      ref = s.ref.inverse() * ref;
    }
    if (step % 100 == 0) {
      Eigen::Vector3d p = randomVector(rng, 3.0);
      EXPECT_TRUE(near(acc >> toPoint(p), ref * p, 1e-7));
    }
  }
}

}  // namespace
