// Run-time class registry: registrations, kind and member tests, factories, the class tree dump,
// checked down-casts with their reports, ambiguity reports, validity assertion and ERObject's
// reference counter and heap mark.
#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "test_support.h"
#include "velmora/ercommon.h"

namespace {

// A small hierarchy registered with the library's macros, shaped like the transformation tree:
// five abstract levels under ERObject, two concrete leaves with factories, and a concrete class
// straight under ERObject on another branch.
class TShape : public ERObject {
  ER_DECLARE_CLASS(TShape)
};
class TRevShape : public TShape {
  ER_DECLARE_CLASS(TRevShape)
};
class TRep : public TRevShape {
  ER_DECLARE_CLASS(TRep)
};
class TAnySim : public TRep {
  ER_DECLARE_CLASS(TAnySim)
};
class TAnyIso : public TAnySim {
  ER_DECLARE_CLASS(TAnyIso)
};
class TTurn : public TAnyIso {
  ER_DECLARE_CLASS(TTurn)
  TTurn() = default;
  explicit TTurn(double a) : angle(a) {}
  void printOn(std::ostream& os) const override { os << "turn " << angle; }
  ERObject* getCopy() const override { return new TTurn(*this); }
  double angle = 0.0;
};
class TShift : public TAnyIso {
  ER_DECLARE_CLASS(TShift)
  void printOn(std::ostream& os) const override { os << "shift"; }
  ERObject* getCopy() const override { return new TShift(*this); }
  double dx = 0.0, dy = 0.0, dz = 0.0;
};
class TFlat : public ERObject {
  ER_DECLARE_CLASS(TFlat)
  void printOn(std::ostream& os) const override { os << "flat"; }
  ERObject* getCopy() const override { return new TFlat(*this); }
};
// A class whose objects are never valid.
class TBroken : public ERObject {
  ER_DECLARE_CLASS(TBroken)
  int isValid() const override { return 0; }
  void printOn(std::ostream&) const override {}
  ERObject* getCopy() const override { return new TBroken(*this); }
};

// A diamond without virtual inheritance: NBoth holds two distinct NBase parts.
class NBase : public ERObject {
  ER_DECLARE_CLASS(NBase)
};
class NLeft : public NBase {
  ER_DECLARE_CLASS(NLeft)
  int left = 1;
};
class NRight : public NBase {
  ER_DECLARE_CLASS(NRight)
  int right = 2;
};
class NBoth : public NLeft, public NRight {
  ER_DECLARE_CLASS(NBoth)
  void printOn(std::ostream& os) const override { os << "both"; }
  ERObject* getCopy() const override { return static_cast<NLeft*>(new NBoth(*this)); }
};

// The same diamond with virtual inheritance: one VBase part reached by both paths.
class VBase : public ERObject {
  ER_DECLARE_CLASS(VBase)
};
class VLeft : public virtual VBase {
  ER_DECLARE_CLASS(VLeft)
};
class VRight : public virtual VBase {
  ER_DECLARE_CLASS(VRight)
};
class VBoth : public VLeft, public VRight {
  ER_DECLARE_CLASS(VBoth)
  void printOn(std::ostream& os) const override { os << "vboth"; }
  ERObject* getCopy() const override { return new VBoth(*this); }
};

ER_DEFINE_CLASS(TShape, ER_ABSTRACT, ERObject)
ER_DEFINE_CLASS(TRevShape, ER_ABSTRACT, TShape)
ER_DEFINE_CLASS(TRep, ER_ABSTRACT, TRevShape)
ER_DEFINE_CLASS(TAnySim, ER_ABSTRACT, TRep)
ER_DEFINE_CLASS(TAnyIso, ER_ABSTRACT, TAnySim)
ER_DEFINE_CLASS(TTurn, ER_CREATABLE, TAnyIso)
ER_DEFINE_CLASS(TShift, ER_CREATABLE, TAnyIso)
ER_DEFINE_CLASS(TFlat, ER_CREATABLE, ERObject)
ER_DEFINE_CLASS(TBroken, ER_CREATABLE, ERObject)
ER_DEFINE_CLASS(NBase, ER_ABSTRACT, ERObject)
ER_DEFINE_CLASS(NLeft, ER_ABSTRACT, NBase)
ER_DEFINE_CLASS(NRight, ER_ABSTRACT, NBase)
ER_DEFINE_CLASS(NBoth, ER_ABSTRACT, NLeft, NRight)
ER_DEFINE_CLASS(VBase, ER_ABSTRACT, ERObject)
ER_DEFINE_CLASS(VLeft, ER_ABSTRACT, VBase)
ER_DEFINE_CLASS(VRight, ER_ABSTRACT, VBase)
ER_DEFINE_CLASS(VBoth, ER_CREATABLE, VLeft, VRight)

// Registrations made by hand: one without a bases array, and a chain of member classes.
const ERClassRegistration* const kNoMembers[] = {nullptr};
ERClassRegistration g_orphan("TOrphan", 4, nullptr, kNoMembers, nullptr);
const ERClassRegistration* const kHolderMembers[] = {&g_orphan, nullptr};
ERClassRegistration g_holder("THolder", 8, nullptr, kHolderMembers, nullptr);
const ERClassRegistration* const kOuterMembers[] = {&g_holder, nullptr};
ERClassRegistration g_outer("TOuter", 8, nullptr, kOuterMembers, nullptr);

// Two pairs of registrations sharing a name; the second of each pair is registered later and so
// comes first on the list.
ERObject* makeFlat() { return new TFlat; }
ERClassRegistration g_dupWithCreatorFirst("TDupA", 1, nullptr, kNoMembers, &makeFlat);
ERClassRegistration g_dupWithoutCreatorLater("TDupA", 1, nullptr, kNoMembers, nullptr);
ERClassRegistration g_dupWithoutCreatorFirst("TDupB", 1, nullptr, kNoMembers, nullptr);
ERClassRegistration g_dupWithCreatorLater("TDupB", 1, nullptr, kNoMembers, &makeFlat);

std::vector<const ERClassRegistration*> registrationList() {
  std::vector<const ERClassRegistration*> list;
  for (const ERClassRegistration* r = ERClassRegistration::getHead(); r != nullptr; r = r->getNext())
    list.push_back(r);
  return list;
}

std::ptrdiff_t positionOf(const ERClassRegistration* r) {
  auto list = registrationList();
  for (size_t i = 0; i < list.size(); ++i)
    if (list[i] == r) return static_cast<std::ptrdiff_t>(i);
  return -1;
}

std::string dumpOutput() {
  testing::internal::CaptureStdout();
  ERClassRegistration::DumpAllClasses();
  return testing::internal::GetCapturedStdout();
}

// Fills memory through volatile stores, which the compiler may not drop before a construction.
void fillPattern(void* p, size_t n, unsigned char value) {
  volatile unsigned char* bytes = static_cast<volatile unsigned char*>(p);
  for (size_t i = 0; i < n; ++i) bytes[i] = value;
}

// ----------------------------------------------------------------------------------------------
// Registrations

TEST(ERClassRegistrationTest, RecordsNameOwnSizeBasesMembersAndCreator) {
  const ERClassRegistration* r = TTurn::desc();
  EXPECT_STREQ(r->getName(), "TTurn");
  EXPECT_EQ(r->getSize(), sizeof(TTurn));
  ASSERT_NE(r->getBases(), nullptr);
  EXPECT_EQ(r->getBases()[0], TAnyIso::desc());
  EXPECT_EQ(r->getBases()[1], nullptr);
  ASSERT_NE(r->getMembers(), nullptr);
  EXPECT_EQ(r->getMembers()[0], nullptr);
  EXPECT_EQ(r->getCreator(), &create_TTurn);
}

TEST(ERClassRegistrationTest, AbstractClassHasNoCreator) {
  EXPECT_EQ(TShape::desc()->getCreator(), nullptr);
  EXPECT_EQ(TShape::desc()->getSize(), sizeof(TShape));
  EXPECT_EQ(TShape::desc()->getBases()[0], ERObject::desc());
}

TEST(ERClassRegistrationTest, TwoBasesAreRecordedInOrder) {
  const ERClassRegistration* const* bases = NBoth::desc()->getBases();
  EXPECT_EQ(bases[0], NLeft::desc());
  EXPECT_EQ(bases[1], NRight::desc());
  EXPECT_EQ(bases[2], nullptr);
  EXPECT_EQ(NBoth::desc()->getSize(), sizeof(NBoth));
}

TEST(ERClassRegistrationTest, ERObjectIsRegisteredWithoutBaseOrCreator) {
  const ERClassRegistration* r = ERObject::desc();
  EXPECT_STREQ(r->getName(), "ERObject");
  EXPECT_EQ(r->getSize(), sizeof(ERObject));
  EXPECT_TRUE(r->getBases() == nullptr || r->getBases()[0] == nullptr);
  EXPECT_EQ(r->getCreator(), nullptr);
}

TEST(ERClassRegistrationTest, EveryRegistrationIsOnTheGlobalList) {
  for (const ERClassRegistration* r :
       {ERObject::desc(), TShape::desc(), TTurn::desc(), TShift::desc(), TFlat::desc(), NBoth::desc(),
        VBoth::desc(), static_cast<const ERClassRegistration*>(&g_orphan)})
    EXPECT_GE(positionOf(r), 0) << r->getName();
}

TEST(ERClassRegistrationTest, ListStartsWithTheMostRecentRegistration) {
  // Within one unit statics are built in order of definition; the library is loaded before this
  // program, so its ERObject registration is older than all of these.
  EXPECT_LT(positionOf(&g_outer), positionOf(&g_holder));
  EXPECT_LT(positionOf(&g_holder), positionOf(&g_orphan));
  EXPECT_LT(positionOf(TShift::desc()), positionOf(TTurn::desc()));
  EXPECT_LT(positionOf(TTurn::desc()), positionOf(TShape::desc()));
  EXPECT_LT(positionOf(TShape::desc()), positionOf(ERObject::desc()));
  EXPECT_EQ(ERClassRegistration::getHead(), registrationList().front());
}

// ----------------------------------------------------------------------------------------------
// Kind and member tests

TEST(ERClassRegistrationTest, EveryRegistrationIsOfItsOwnKind) {
  for (const ERClassRegistration* r : registrationList()) EXPECT_TRUE(r->isKindOf(r)) << r->getName();
  EXPECT_TRUE(ERObject::desc()->isKindOf(ERObject::desc()));
}

TEST(ERClassRegistrationTest, LeafIsOfKindOfEveryAncestor) {
  for (const ERClassRegistration* ancestor :
       {TAnyIso::desc(), TAnySim::desc(), TRep::desc(), TRevShape::desc(), TShape::desc(), ERObject::desc()})
    EXPECT_TRUE(TTurn::desc()->isKindOf(ancestor)) << ancestor->getName();
}

TEST(ERClassRegistrationTest, OtherBranchIsNotOfKind) {
  EXPECT_FALSE(TFlat::desc()->isKindOf(TShape::desc()));
  EXPECT_TRUE(TFlat::desc()->isKindOf(ERObject::desc()));
  EXPECT_FALSE(TTurn::desc()->isKindOf(TShift::desc()));
  EXPECT_FALSE(TShape::desc()->isKindOf(TTurn::desc()));  // kind goes up the tree only
}

TEST(ERClassRegistrationTest, KindIsFoundThroughTheSecondBase) {
  EXPECT_TRUE(NBoth::desc()->isKindOf(NRight::desc()));
  EXPECT_TRUE(NBoth::desc()->isKindOf(NBase::desc()));
  EXPECT_TRUE(VBoth::desc()->isKindOf(VRight::desc()));
  EXPECT_FALSE(NBoth::desc()->isKindOf(TShape::desc()));
}

TEST(ERClassRegistrationTest, NullBasesMakeOnlyItselfOfKind) {
  EXPECT_TRUE(g_orphan.isKindOf(&g_orphan));
  EXPECT_FALSE(g_orphan.isKindOf(ERObject::desc()));
}

TEST(ERClassRegistrationTest, HasMemberIsRecursiveOverMembers) {
  EXPECT_TRUE(g_orphan.hasMember(&g_orphan));
  EXPECT_TRUE(g_holder.hasMember(&g_orphan));
  EXPECT_TRUE(g_outer.hasMember(&g_orphan));
  EXPECT_FALSE(g_orphan.hasMember(&g_outer));
  EXPECT_FALSE(g_outer.hasMember(ERObject::desc()));
}

TEST(ERClassRegistrationTest, MembersAreNotBases) {
  // Member classes do not count as bases, nor bases as members.
  EXPECT_FALSE(g_outer.isKindOf(&g_holder));
  EXPECT_FALSE(TTurn::desc()->hasMember(TAnyIso::desc()));
}

TEST(ERObjectTest, KindAndMemberTestsUseTheObjectsClass) {
  TTurn turn;
  const ERObject& object = turn;
  EXPECT_EQ(object.isA(), TTurn::desc());
  EXPECT_TRUE(object.isKindOf(TShape::desc()));
  EXPECT_TRUE(object.isKindOf(ERObject::desc()));
  EXPECT_FALSE(object.isKindOf(TShift::desc()));
  EXPECT_TRUE(object.isMemberOf(TTurn::desc()));
  EXPECT_FALSE(object.isMemberOf(TAnyIso::desc()));
}

// ----------------------------------------------------------------------------------------------
// Factories

TEST(ERClassRegistrationTest, FindCreatorOfAbstractClassIsNull) {
  EXPECT_EQ(ERClassRegistration::findCreator("TShape"), nullptr);
  EXPECT_EQ(ERClassRegistration::findCreator("TAnyIso"), nullptr);
  EXPECT_EQ(ERClassRegistration::findCreator("ERObject"), nullptr);
}

TEST(ERClassRegistrationTest, FindCreatorOfUnknownNameIsNull) {
  EXPECT_EQ(ERClassRegistration::findCreator("nothing"), nullptr);
  EXPECT_EQ(ERClassRegistration::findCreator(""), nullptr);
  EXPECT_EQ(ERClassRegistration::findCreator("tturn"), nullptr);  // names compare exactly
}

TEST(ERClassRegistrationTest, FindCreatorGivesTheClassFactory) {
  EXPECT_EQ(ERClassRegistration::findCreator("TTurn"), &create_TTurn);
  std::string name = "TShift";  // a name that is not the registered literal itself
  ERClassRegistration::Creator creator = ERClassRegistration::findCreator(name.c_str());
  ASSERT_NE(creator, nullptr);
  ERObject* made = creator();
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(made->isA(), TShift::desc());
  EXPECT_EQ(made->references(), -1);
  EXPECT_EQ(made->heapMark(), 1);
  delete made;
}

TEST(ERClassRegistrationTest, FindCreatorStopsAtTheFirstMatchingName) {
  EXPECT_EQ(ERClassRegistration::findCreator("TDupA"), nullptr);
  EXPECT_EQ(ERClassRegistration::findCreator("TDupB"), &makeFlat);
}

TEST(ERClassRegistrationTest, FactoryOfAVirtualDiamondMakesTheWholeObject) {
  ERObject* made = ERClassRegistration::findCreator("VBoth")();
  EXPECT_EQ(made->isA(), VBoth::desc());
  EXPECT_EQ(VBoth::castdown(made), dynamic_cast<VBoth*>(made));
  delete made;
}

// ----------------------------------------------------------------------------------------------
// Class tree dump

TEST(ERClassRegistrationTest, DumpStartsWith35Dashes) {
  std::string out = dumpOutput();
  EXPECT_EQ(out.substr(0, 36), std::string(35, '-') + "\n");
}

TEST(ERClassRegistrationTest, DumpShowsEachBaseOneTabDeeperPerGeneration) {
  std::string expected =
      "\tTTurn\n"
      "\t+------->TAnyIso\n"
      "\t\t+------->TAnySim\n"
      "\t\t\t+------->TRep\n"
      "\t\t\t\t+------->TRevShape\n"
      "\t\t\t\t\t+------->TShape\n"
      "\t\t\t\t\t\t+------->ERObject\n"
      "\n";
  EXPECT_TRUE(vtest::contains(dumpOutput(), expected));
}

TEST(ERClassRegistrationTest, DumpShowsBothBasesInOrder) {
  std::string expected =
      "\tNBoth\n"
      "\t+------->NLeft\n"
      "\t\t+------->NBase\n"
      "\t\t\t+------->ERObject\n"
      "\t+------->NRight\n"
      "\t\t+------->NBase\n"
      "\t\t\t+------->ERObject\n"
      "\n";
  EXPECT_TRUE(vtest::contains(dumpOutput(), expected));
}

TEST(ERClassRegistrationTest, DumpOfClassWithoutBasesIsItsNameAndAnEmptyLine) {
  std::string out = dumpOutput();
  EXPECT_TRUE(vtest::contains(out, "\tTOrphan\n\n"));
  EXPECT_TRUE(vtest::contains(out, "\tERObject\n\n"));
}

TEST(ERClassRegistrationTest, DumpListsEveryRegistrationFromTheHead) {
  // The expected text is built from the layout rule over the list as the accessors show it.
  std::string expected = std::string(35, '-') + "\n";
  struct Writer {
    std::string& out;
    void bases(const ERClassRegistration* r, int depth) {
      if (r->getBases() == nullptr) return;
      for (const ERClassRegistration* const* b = r->getBases(); *b != nullptr; ++b) {
        out += std::string(depth + 1, '\t') + "+------->" + (*b)->getName() + "\n";
        bases(*b, depth + 1);
      }
    }
  } writer{expected};
  for (const ERClassRegistration* r : registrationList()) {
    expected += std::string("\t") + r->getName() + "\n";
    writer.bases(r, 0);
    expected += "\n";
  }
  EXPECT_EQ(dumpOutput(), expected);
}

// ----------------------------------------------------------------------------------------------
// ERObject: counter, heap mark, identity, defaults

TEST(ERObjectTest, ConstructionSetsCounterToMinusOne) {
  TTurn turn;
  EXPECT_EQ(turn.references(), -1);
}

TEST(ERObjectTest, CopyConstructionStartsCounterAtMinusOne) {
  TTurn source(30.0);
  source.addReference();
  source.addReference();
  source.addReference();
  ASSERT_EQ(source.references(), 2);
  TTurn copy(source);
  EXPECT_EQ(copy.references(), -1);
  EXPECT_EQ(copy.angle, 30.0);
  EXPECT_EQ(source.references(), 2);
}

TEST(ERObjectTest, AssignmentLeavesTheCounter) {
  TTurn source(30.0), target(10.0);
  source.addReference();
  source.addReference();
  target.addReference();
  target = source;
  EXPECT_EQ(target.angle, 30.0);
  EXPECT_EQ(target.references(), 0);
  EXPECT_EQ(source.references(), 1);
}

TEST(ERObjectTest, RemoveReferenceDecrementsAndAnswersThePreviousValue) {
  TFlat flat;
  flat.addReference();
  EXPECT_EQ(flat.references(), 0);
  EXPECT_EQ(flat.removeReference(), 0);
  EXPECT_EQ(flat.references(), -1);
  EXPECT_EQ(flat.removeReference(), -1);
  EXPECT_EQ(flat.references(), -2);
}

TEST(ERObjectTest, CounterChangesOnConstObjects) {
  const TFlat flat;
  flat.addReference();
  EXPECT_EQ(flat.references(), 0);
}

TEST(ERObjectTest, OperatorNewSetsTheHeapMark) {
  TTurn* plain = new TTurn(1.0);
  EXPECT_EQ(plain->heapMark(), 1);
  TTurn* located = new (__FILE__, __LINE__) TTurn(2.0);
  EXPECT_EQ(located->heapMark(), 1);
  EXPECT_EQ(located->references(), -1);
  delete plain;
  delete located;
}

TEST(ERObjectTest, HeapMarkIsSetOnTheFreshMemoryBeforeTheConstructor) {
  void* memory = ERObject::operator new(sizeof(TTurn));
  TTurn* turn = ::new (memory) TTurn(3.0);
  EXPECT_EQ(turn->heapMark(), 1);
  turn->~TTurn();
  ERObject::operator delete(memory);
}

TEST(ERObjectTest, ConstructorsDoNotWriteTheHeapMark) {
  alignas(TTurn) unsigned char buffer[sizeof(TTurn)];
  fillPattern(buffer, sizeof buffer, 0x5A);
  TTurn* fresh = ::new (buffer) TTurn(4.0);
  EXPECT_EQ(fresh->heapMark(), 0x5A5A5A5A);
  fresh->~TTurn();

  TTurn* onHeap = new TTurn(5.0);
  fillPattern(buffer, sizeof buffer, 0x33);
  TTurn* copy = ::new (buffer) TTurn(*onHeap);  // the copy does not take the source's mark
  EXPECT_EQ(copy->heapMark(), 0x33333333);
  EXPECT_EQ(copy->angle, 5.0);
  copy->~TTurn();
  delete onHeap;
}

TEST(ERObjectTest, AssignmentLeavesTheHeapMark) {
  TTurn* onHeap = new TTurn(5.0);
  alignas(TTurn) unsigned char buffer[sizeof(TTurn)];
  fillPattern(buffer, sizeof buffer, 0x21);
  TTurn* other = ::new (buffer) TTurn(6.0);
  *onHeap = *other;
  EXPECT_EQ(onHeap->heapMark(), 1);
  EXPECT_EQ(onHeap->angle, 6.0);
  other->~TTurn();
  delete onHeap;
}

TEST(ERObjectTest, ClassNameIsTheRegisteredName) {
  TTurn turn;
  TFlat flat;
  const ERObject& a = turn;
  const ERObject& b = flat;
  EXPECT_STREQ(a.className(), "TTurn");
  EXPECT_STREQ(b.className(), "TFlat");
  EXPECT_STREQ(ERObject::desc()->getName(), "ERObject");
}

TEST(ERObjectTest, DefaultsOfTheRoot) {
  TFlat flat;
  EXPECT_EQ(flat.isValid(), 1);
  EXPECT_EQ(flat.binaryStoreSize(), 0u);
  flat.CleanUpTemporaries(1);  // does nothing
  EXPECT_EQ(flat.references(), -1);
  EXPECT_EQ(flat.isA(), TFlat::desc());
}

TEST(ERObjectTest, StreamOperatorPrintsThroughPrintOn) {
  TTurn turn(30.0);
  std::ostringstream os;
  os << static_cast<const ERObject&>(turn) << "|";
  EXPECT_EQ(os.str(), "turn 30|");
}

TEST(ERObjectTest, GetCopyMakesAHeapCopyWithItsOwnCounter) {
  TTurn turn(45.0);
  turn.addReference();
  ERObject* copy = turn.getCopy();
  ASSERT_NE(copy, nullptr);
  EXPECT_NE(copy, &turn);
  EXPECT_EQ(copy->isA(), TTurn::desc());
  EXPECT_EQ(copy->references(), -1);
  EXPECT_EQ(copy->heapMark(), 1);
  EXPECT_EQ(TTurn::castdown(copy)->angle, 45.0);
  delete copy;
}

TEST(ERObjectTest, RootCastdownAnswersOnlyForItself) {
  TFlat flat;
  EXPECT_EQ(flat.ERObject::_castdown(*ERObject::desc()), static_cast<ERObject*>(&flat));
  EXPECT_EQ(flat.ERObject::_castdown(*TFlat::desc()), nullptr);
}

TEST(ERObjectTest, OwnCastdownAnswersForEveryAncestor) {
  TTurn turn;
  EXPECT_EQ(turn._castdown(*TTurn::desc()), static_cast<void*>(&turn));
  EXPECT_EQ(turn._castdown(*TRep::desc()), static_cast<void*>(static_cast<TRep*>(&turn)));
  EXPECT_EQ(turn._castdown(*ERObject::desc()), static_cast<void*>(static_cast<ERObject*>(&turn)));
  EXPECT_EQ(turn._castdown(*TShift::desc()), nullptr);
  EXPECT_EQ(turn._castdown(*TFlat::desc()), nullptr);
}

// ----------------------------------------------------------------------------------------------
// Checked down-casts

TEST(ERCastdownTest, SucceedsToEveryAncestorWithoutReport) {
  TTurn turn;
  ERObject* p = &turn;
  std::string err = vtest::captureStderr([&] {
    EXPECT_EQ(TTurn::castdown(p), &turn);
    EXPECT_EQ(TAnyIso::castdown(p), static_cast<TAnyIso*>(&turn));
    EXPECT_EQ(TShape::castdown(p), static_cast<TShape*>(&turn));
  });
  EXPECT_EQ(err, "");
}

TEST(ERCastdownTest, AllFourFormsAgree) {
  TTurn turn;
  ERObject& object = turn;
  const ERObject& constObject = turn;
  std::string err = vtest::captureStderr([&] {
    TAnySim* a = TAnySim::castdown(&object);
    const TAnySim* b = TAnySim::castdown(&constObject);
    TAnySim* c = TAnySim::castdown(object);
    const TAnySim* d = TAnySim::castdown(constObject);
    EXPECT_EQ(a, static_cast<TAnySim*>(&turn));
    EXPECT_EQ(b, a);
    EXPECT_EQ(c, a);
    EXPECT_EQ(d, a);
  });
  EXPECT_EQ(err, "");
}

TEST(ERCastdownTest, NullGivesNullWithoutReport) {
  std::string err = vtest::captureStderr([] {
    EXPECT_EQ(TTurn::castdown(static_cast<ERObject*>(nullptr)), nullptr);
    EXPECT_EQ(TTurn::castdown(static_cast<const ERObject*>(nullptr)), nullptr);
  });
  EXPECT_EQ(err, "");
}

TEST(ERCastdownTest, SiblingClassGivesNullAndReports) {
  TShift shift;
  const ERObject* p = &shift;
  const TTurn* result = reinterpret_cast<const TTurn*>(&shift);
  std::string err = vtest::captureStderr([&] { result = TTurn::castdown(p); });
  EXPECT_EQ(result, nullptr);
  EXPECT_EQ(err, std::string("Trying to cast a ") + "TShift" + " into a " + "TTurn" + "\n");
}

TEST(ERCastdownTest, OtherBranchGivesNullAndReports) {
  TFlat flat;
  TShape* result = reinterpret_cast<TShape*>(&flat);
  std::string err = vtest::captureStderr([&] { result = TShape::castdown(flat); });
  EXPECT_EQ(result, nullptr);
  EXPECT_EQ(err, "Trying to cast a TFlat into a TShape\n");
}

TEST(ERCastdownTest, ErreurCastDownWritesActualThenTarget) {
  std::string err = vtest::captureStderr([] { erreurCastDown(TTurn::desc(), TFlat::desc()); });
  EXPECT_EQ(err, "Trying to cast a TFlat into a TTurn\n");
}

TEST(ERCastdownTest, SecondBasePartIsAddressedExactly) {
  NBoth both;
  NLeft* asLeft = &both;
  std::string err = vtest::captureStderr([&] {
    NRight* right = NRight::castdown(static_cast<ERObject*>(static_cast<NBase*>(asLeft)));
    EXPECT_EQ(right, static_cast<NRight*>(&both));
    EXPECT_EQ(right->right, 2);
    EXPECT_EQ(NBoth::castdown(static_cast<ERObject*>(static_cast<NBase*>(asLeft))), &both);
  });
  EXPECT_NE(static_cast<void*>(static_cast<NRight*>(&both)), static_cast<void*>(&both));
  EXPECT_EQ(err, "");
}

TEST(ERCastdownTest, OneSidedAnswerThroughTwoBasesIsNotAnAmbiguity) {
  NBoth both;
  ERObject* p = static_cast<NBase*>(static_cast<NRight*>(&both));
  std::string err = vtest::captureStderr([&] { EXPECT_EQ(NLeft::castdown(p), static_cast<NLeft*>(&both)); });
  EXPECT_EQ(err, "");
}

TEST(ERCastdownTest, TwoDistinctPartsReportAnAmbiguityAndGiveTheFirst) {
  NBoth both;
  ERObject* p = static_cast<NBase*>(static_cast<NRight*>(&both));
  NBase* result = nullptr;
  std::string err = vtest::captureStderr([&] { result = NBase::castdown(p); });
  EXPECT_EQ(result, static_cast<NBase*>(static_cast<NLeft*>(&both)));
  EXPECT_EQ(err, std::string("NBase") + " from " + "NLeft" + " or from " + "NRight" + "?\n");
}

TEST(ERCastdownTest, OnePartReachedByBothPathsIsSilent) {
  VBoth both;
  ERObject* p = &both;
  VBase* result = nullptr;
  std::string err = vtest::captureStderr([&] { result = VBase::castdown(p); });
  EXPECT_EQ(result, static_cast<VBase*>(&both));
  EXPECT_EQ(err, "");
}

TEST(ERCastdownTest, NeitherPathFindingIsACastFailureOnly) {
  NBoth both;
  ERObject* p = static_cast<NBase*>(static_cast<NLeft*>(&both));
  TFlat* result = reinterpret_cast<TFlat*>(&both);
  std::string err = vtest::captureStderr([&] { result = TFlat::castdown(p); });
  EXPECT_EQ(result, nullptr);
  EXPECT_EQ(err, "Trying to cast a NBoth into a TFlat\n");
}

// ----------------------------------------------------------------------------------------------
// Ambiguity report

TEST(ERAmbigCheckTest, SameResultsAreSilent) {
  int part = 0;
  std::string err = vtest::captureStderr([&] {
    ambigCheck(&part, &part, *NBase::desc(), NLeft::desc(), NRight::desc());
    ambigCheck(nullptr, nullptr, *NBase::desc(), NLeft::desc(), NRight::desc());
  });
  EXPECT_EQ(err, "");
}

TEST(ERAmbigCheckTest, DifferentResultsNameTargetAndBothPaths) {
  int a = 0, b = 0;
  std::string err =
      vtest::captureStderr([&] { ambigCheck(&a, &b, *NBase::desc(), NLeft::desc(), NRight::desc()); });
  EXPECT_EQ(err, "NBase from NLeft or from NRight?\n");
}

TEST(ERAmbigCheckTest, NullFirstResultIsNothing) {
  int b = 0;
  std::string err =
      vtest::captureStderr([&] { ambigCheck(nullptr, &b, *NBase::desc(), NLeft::desc(), NRight::desc()); });
  EXPECT_EQ(err, std::string("NBase from ") + "NOTHING" + " or from NRight?\n");
}

TEST(ERAmbigCheckTest, NullSecondResultIsNothing) {
  int a = 0;
  std::string err =
      vtest::captureStderr([&] { ambigCheck(&a, nullptr, *VBase::desc(), VLeft::desc(), VRight::desc()); });
  EXPECT_EQ(err, "VBase from VLeft or from NOTHING?\n");
}

// ----------------------------------------------------------------------------------------------
// Validity assertion

TEST(ERObjectTest, AssertValidIsSilentForAValidObject) {
  TTurn turn;
  std::string err = vtest::captureStderr([&] { turn.assertValid("tests/x", 5); });
  EXPECT_EQ(err, "");
}

TEST(ERObjectTest, AssertValidOfAnInvalidObjectReportsItsClassName) {
  VTEST_CHECKING_ONLY();
  TBroken broken;
  EXPECT_DEATH(broken.assertValid("some/unit", 77), vtest::reportRegex("TBroken", "some/unit", 77));
}

TEST(ERObjectTest, AssertValidOfAnInvalidObjectReportsAndContinues) {
  VTEST_CONTINUING_ONLY();
  TBroken broken;
  bool after = false;
  std::string err = vtest::captureStderr([&] {
    broken.assertValid("some/unit", 77);
    after = true;
  });
  EXPECT_EQ(err, vtest::report("TBroken", "some/unit", 77));
  EXPECT_TRUE(after);
}

}  // namespace
