// The intrusive singly linked list and the pointer vector.
#include "velmora/islist.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "test_support.h"

namespace {

const char* const kUnit = "source/align/islist";

const std::string kCtorNil = "ERIsvSlist::ERIsvSlist(ERIsvSlink*): Attempt to construct with nil pointer";
const std::string kCtorLinked =
    "ERIsvSlist::ERIsvSlist(ERIsvSlink*): Attempt to add intrusive link to more than one list";
const std::string kInsertAtNil = "ERIsvSlist::insertAt(size_t,ERIsvSlink*): nil pointer";
const std::string kInsertAtLinked =
    "ERIsvSlist::insertAt(size_t,ERIsvSlink*): Attempt to add intrusive link to more than one list";
const std::string kAfterNilLink =
    "ERIsvSlist::insertAfterLink(ERIsvSlink*, ERIsvSlink*): Internal error: attempt to add link after nil link";
const std::string kAfterNil = "ERIsvSlist::insertAfterLink(ERIsvSlink*, ERIsvSlink*): Attempt to add nil link";
const std::string kAfterLinked =
    "ERIsvSlist::insertAfterLink(ERIsvSlink*, ERIsvSlink*): Attempt to add intrusive link to more than one list";
const std::string kRemoveRightNil = "ERIsvSlist::removeRight(ERIsvSlink*): Internal error";
const std::string kRemoveRightNotIn = "ERIsvSlist::removeRight(ERIsvSlink*): attempt to remove link not in list";
const std::string kRemoveRightLast = "ERIsvSlist::removeRight(ERIsvSlink*): Attempt to remove link after last";
const std::string kRemoveReference = "ERIsvSlist::removeReference(ERIsvSlink*): Internal error";
const std::string kContainsNil = "ERIsvSlist::containsReference(const ERIsvSlink*): nil pointer";

// The start of the report of a failed check of this unit, whatever its line.
std::string reportStart(const std::string& condition) {
  return "\n\n" + condition + " failed in " + kUnit + " at line ";
}

// Message lines written before the report of a failed check, as a death-test expression.
std::string messagesThenReport(const std::vector<std::string>& messages, const std::string& condition) {
  std::string lines;
  for (const std::string& m : messages) lines += m + "\n";
  return vtest::regexEscape(lines) + vtest::reportRegexAnyLine(condition, kUnit);
}

struct Item : ERIsvSlink {
  explicit Item(int v = 0) : value(v) {}
  int value;
};

// Opens the list's sentinels and internal operations to the tests.
class ListProbe : public ERIsvSlist {
 public:
  ListProbe() = default;
  explicit ListProbe(ERIsvSlink* a) : ERIsvSlist(a) {}
  using ERIsvSlist::findLeftIsv;
  using ERIsvSlist::insertAfterLink;
  using ERIsvSlist::removeRight;

  ERIsvSlink* head() { return &head_; }
  ERIsvSlink* tail() { return &tail_; }
  ERIsvSlink* last() const { return last_; }
  void setLast(ERIsvSlink* link) { last_ = link; }
  ERIsvSlink*& headNext() { return nextOf(&head_); }
  ERIsvSlink* tailNext() { return nextOf(&tail_); }

  // The links from the first to the tail, at most 100.
  std::vector<ERIsvSlink*> walk() {
    std::vector<ERIsvSlink*> v;
    for (ERIsvSlink* l = head_.next(); l != nullptr && l != &tail_ && v.size() < 100; l = l->next()) v.push_back(l);
    return v;
  }
};

// ---------------------------------------------------------------------------------------------
// ERIsvSlist

TEST(ERIsvSlistTest, EmptyListLinksHeadToTailAndLastToHead) {
  ListProbe list;
  EXPECT_EQ(list.headNext(), list.tail());
  EXPECT_EQ(list.tailNext(), list.tail());
  EXPECT_EQ(list.last(), list.head());
  EXPECT_EQ(list.entries(), 0u);
}

TEST(ERIsvSlistTest, RemoveAtZeroOnEmptyListFailsIndexCheck) {
  ListProbe list;
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(list.removeAt(0), vtest::reportRegexAnyLine("i<entries()", kUnit));
  } else {
    ERIsvSlink* removed = list.head();
    std::string err = vtest::captureStderr([&] { removed = list.removeAt(0); });
    EXPECT_TRUE(vtest::contains(err, reportStart("i<entries()")));
    EXPECT_EQ(removed, nullptr);
    EXPECT_EQ(list.entries(), 0u);
    EXPECT_EQ(list.headNext(), list.tail());
  }
}

TEST(ERIsvSlistTest, AtOutOfRangeFailsIndexCheck) {
  Item a;
  ListProbe list(&a);
  EXPECT_EQ(list.at(0), &a);
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(list.at(1), vtest::reportRegexAnyLine("i<entries()", kUnit));
  } else {
    ERIsvSlink* found = &a;
    std::string err = vtest::captureStderr([&] { found = list.at(1); });
    EXPECT_TRUE(vtest::contains(err, reportStart("i<entries()")));
    EXPECT_EQ(found, nullptr);
  }
}

TEST(ERIsvSlistTest, OneElementConstructorLinksTheElement) {
  Item a;
  ListProbe list(&a);
  EXPECT_EQ(list.headNext(), &a);
  EXPECT_EQ(a.next(), list.tail());
  EXPECT_EQ(list.last(), &a);
  EXPECT_EQ(list.entries(), 1u);
}

TEST(ERIsvSlistTest, ConstructorWithNilWritesMessageAndLeavesListEmpty) {
  std::string err = vtest::captureStderr([] {
    ListProbe list(nullptr);
    EXPECT_EQ(list.entries(), 0u);
    EXPECT_EQ(list.headNext(), list.tail());
    EXPECT_EQ(list.last(), list.head());
  });
  EXPECT_EQ(err, kCtorNil + "\n");
}

TEST(ERIsvSlistTest, ConstructorWithLinkOfAnotherListWritesMessageAndTakesIt) {
  Item a;
  ListProbe first(&a);
  std::string err = vtest::captureStderr([&] {
    ListProbe second(&a);
    EXPECT_EQ(second.entries(), 1u);
    EXPECT_EQ(second.headNext(), &a);
    EXPECT_EQ(a.next(), second.tail());
    EXPECT_EQ(second.last(), &a);
  });
  EXPECT_EQ(err, kCtorLinked + "\n");
}

TEST(ERIsvSlistTest, InsertAtEntriesAppendsAndMovesLast) {
  Item a(1), b(2), c(3);
  ListProbe list;
  list.insertAt(0, &a);
  EXPECT_EQ(list.last(), &a);
  list.insertAt(1, &b);
  EXPECT_EQ(list.last(), &b);
  list.insertAt(list.entries(), &c);
  EXPECT_EQ(list.last(), &c);
  EXPECT_EQ(c.next(), list.tail());
  EXPECT_EQ(list.walk(), (std::vector<ERIsvSlink*>{&a, &b, &c}));
  EXPECT_EQ(list.entries(), 3u);
}

TEST(ERIsvSlistTest, InsertAtPlacesTheLinkAtThatPosition) {
  Item a(1), b(2), c(3), d(4);
  ListProbe list;
  list.insertAt(0, &c);
  list.insertAt(0, &a);  // before the first
  list.insertAt(1, &b);  // between
  list.insertAt(3, &d);
  EXPECT_EQ(list.walk(), (std::vector<ERIsvSlink*>{&a, &b, &c, &d}));
  EXPECT_EQ(static_cast<Item*>(list.at(2))->value, 3);
  EXPECT_EQ(list.last(), &d);
}

TEST(ERIsvSlistTest, InsertAtPastTheEndFailsIndexCheck) {
  Item a, b;
  ListProbe list(&a);
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(list.insertAt(2, &b), vtest::reportRegexAnyLine("i<=entries()", kUnit));
  } else {
    std::string err = vtest::captureStderr([&] { list.insertAt(2, &b); });
    EXPECT_TRUE(vtest::contains(err, reportStart("i<=entries()")));
    EXPECT_EQ(list.entries(), 1u);
    EXPECT_EQ(b.next(), nullptr);
  }
}

TEST(ERIsvSlistTest, InsertAtNilWritesBothMessagesThenFailsNilCheck) {
  Item a;
  ListProbe list(&a);
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(list.insertAt(1, nullptr), messagesThenReport({kInsertAtNil, kAfterNil}, "a!=ernil"));
  } else {
    std::string err = vtest::captureStderr([&] { list.insertAt(1, nullptr); });
    EXPECT_EQ(err.rfind(kInsertAtNil + "\n" + kAfterNil + "\n" + reportStart("a!=ernil"), 0), 0u);
    EXPECT_EQ(list.entries(), 1u);
    EXPECT_EQ(list.last(), &a);
  }
}

TEST(ERIsvSlistTest, InsertAtLinkOfAnotherListWritesBothMessagesThenFailsLinkCheck) {
  Item a, b;
  ListProbe first(&a);
  ListProbe second(&b);
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(second.insertAt(1, &a),
                 messagesThenReport({kInsertAtLinked, kAfterLinked}, "a->next_==ernil"));
  } else {
    std::string err = vtest::captureStderr([&] { second.insertAt(1, &a); });
    EXPECT_EQ(err.rfind(kInsertAtLinked + "\n" + kAfterLinked + "\n" + reportStart("a->next_==ernil"), 0), 0u);
    // The link is taken over all the same.
    EXPECT_EQ(second.entries(), 2u);
    EXPECT_EQ(second.last(), &a);
    EXPECT_EQ(a.next(), second.tail());
    EXPECT_EQ(second.removeAt(1), &a);
  }
}

TEST(ERIsvSlistTest, RemoveAtReturnsTheLinkAndMovesLastBack) {
  Item a, b, c;
  ListProbe list;
  list.insertAt(0, &a);
  list.insertAt(1, &b);
  list.insertAt(2, &c);
  EXPECT_EQ(list.removeAt(2), &c);
  EXPECT_EQ(list.last(), &b);
  EXPECT_EQ(b.next(), list.tail());
  EXPECT_EQ(c.next(), nullptr);
  EXPECT_EQ(list.removeAt(0), &a);
  EXPECT_EQ(list.headNext(), &b);
  EXPECT_EQ(list.removeAt(0), &b);
  EXPECT_EQ(list.last(), list.head());
  EXPECT_EQ(list.headNext(), list.tail());
  EXPECT_EQ(list.entries(), 0u);
}

TEST(ERIsvSlistTest, RemovedLinkIsNilAgainAndJoinsAnotherList) {
  Item a;
  ListProbe first(&a);
  ERIsvSlink* removed = first.removeAt(0);
  EXPECT_EQ(removed, &a);
  EXPECT_EQ(a.next(), ernil);
  ListProbe second;
  std::string err = vtest::captureStderr([&] { second.insertAt(0, &a); });
  EXPECT_EQ(err, "");
  EXPECT_EQ(second.entries(), 1u);
  EXPECT_EQ(a.next(), second.tail());
}

TEST(ERIsvSlistTest, RemoveReferenceRemovesThatLink) {
  Item a, b, c;
  ListProbe list;
  list.insertAt(0, &a);
  list.insertAt(1, &b);
  list.insertAt(2, &c);
  EXPECT_EQ(list.removeReference(&b), &b);
  EXPECT_EQ(list.walk(), (std::vector<ERIsvSlink*>{&a, &c}));
  EXPECT_EQ(list.removeReference(&c), &c);
  EXPECT_EQ(list.last(), &a);
  EXPECT_EQ(b.next(), nullptr);
}

TEST(ERIsvSlistTest, RemoveReferenceOfAbsentLinkWritesInternalError) {
  Item a, outsider;
  ListProbe list(&a);
  ERIsvSlink* removed = &a;
  std::string err = vtest::captureStderr([&] { removed = list.removeReference(&outsider); });
  EXPECT_EQ(err, kRemoveReference + "\n");
  EXPECT_EQ(removed, nullptr);
  EXPECT_EQ(list.entries(), 1u);
}

TEST(ERIsvSlistTest, RemoveReferenceOfSentinelFailsSentinelCheck) {
  Item a;
  ListProbe list(&a);
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(list.removeReference(list.head()), vtest::reportRegexAnyLine("a != &head_ && a != &tail_", kUnit));
    EXPECT_DEATH(list.removeReference(list.tail()), vtest::reportRegexAnyLine("a != &head_ && a != &tail_", kUnit));
  } else {
    for (ERIsvSlink* sentinel : {list.head(), list.tail()}) {
      ERIsvSlink* removed = &a;
      std::string err = vtest::captureStderr([&] { removed = list.removeReference(sentinel); });
      // No link is followed by a sentinel, so the search then finds nothing.
      EXPECT_EQ(err.rfind(reportStart("a != &head_ && a != &tail_"), 0), 0u);
      EXPECT_TRUE(vtest::contains(err, "\n" + kRemoveReference + "\n"));
      EXPECT_EQ(removed, nullptr);
    }
    EXPECT_EQ(list.entries(), 1u);
  }
}

TEST(ERIsvSlistTest, ContainsReferenceFindsOnlyListedLinks) {
  Item a, b, outsider;
  ListProbe list;
  list.insertAt(0, &a);
  list.insertAt(1, &b);
  EXPECT_TRUE(list.containsReference(&a));
  EXPECT_TRUE(list.containsReference(&b));
  EXPECT_FALSE(list.containsReference(&outsider));
  EXPECT_FALSE(list.containsReference(list.head()));
  EXPECT_FALSE(list.containsReference(list.tail()));
}

TEST(ERIsvSlistTest, ContainsReferenceOfNilWritesMessage) {
  ListProbe list;
  bool found = true;
  std::string err = vtest::captureStderr([&] { found = list.containsReference(nullptr); });
  EXPECT_EQ(err, kContainsNil + "\n");
  EXPECT_FALSE(found);
}

TEST(ERIsvSlistTest, NilFirstLinkFailsHeadCheck) {
  Item a;
  ListProbe list(&a);
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(
        {
          list.headNext() = nullptr;
          list.containsReference(&a);
        },
        vtest::reportRegexAnyLine("head_.next_ != 0", kUnit));
    EXPECT_DEATH(
        {
          list.headNext() = nullptr;
          list.findLeftIsv(&a);
        },
        vtest::reportRegexAnyLine("head_.next_ != 0", kUnit));
  } else {
    list.headNext() = nullptr;
    bool found = true;
    ERIsvSlink* left = &a;
    std::string err = vtest::captureStderr([&] {
      found = list.containsReference(&a);
      left = list.findLeftIsv(&a);
    });
    list.headNext() = &a;
    EXPECT_EQ(err.find(reportStart("head_.next_ != 0")), 0u);
    EXPECT_NE(err.rfind(reportStart("head_.next_ != 0")), 0u);  // reported by both calls
    EXPECT_FALSE(found);
    EXPECT_EQ(left, nullptr);
  }
}

TEST(ERIsvSlistTest, FindLeftIsvGivesThePredecessor) {
  Item a, b, outsider;
  ListProbe list;
  list.insertAt(0, &a);
  list.insertAt(1, &b);
  EXPECT_EQ(list.findLeftIsv(&a), list.head());
  EXPECT_EQ(list.findLeftIsv(&b), &a);
  EXPECT_EQ(list.findLeftIsv(&outsider), nullptr);
  EXPECT_EQ(list.findLeftIsv(nullptr), nullptr);
}

TEST(ERIsvSlistTest, InsertAfterNilLinkFailsLinkCheck) {
  Item a;
  ListProbe list;
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(list.insertAfterLink(nullptr, &a), messagesThenReport({kAfterNilLink}, "sl!=ernil"));
  } else {
    std::string err = vtest::captureStderr([&] { list.insertAfterLink(nullptr, &a); });
    EXPECT_EQ(err.rfind(kAfterNilLink + "\n" + reportStart("sl!=ernil"), 0), 0u);
    EXPECT_EQ(list.entries(), 0u);
    EXPECT_EQ(a.next(), nullptr);
  }
}

TEST(ERIsvSlistTest, InsertNilAfterLinkFailsNilCheck) {
  ListProbe list;
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(list.insertAfterLink(list.head(), nullptr), messagesThenReport({kAfterNil}, "a!=ernil"));
  } else {
    std::string err = vtest::captureStderr([&] { list.insertAfterLink(list.head(), nullptr); });
    EXPECT_EQ(err.rfind(kAfterNil + "\n" + reportStart("a!=ernil"), 0), 0u);
    EXPECT_EQ(list.entries(), 0u);
    EXPECT_EQ(list.headNext(), list.tail());
  }
}

TEST(ERIsvSlistTest, InsertLinkedAfterLinkFailsLinkCheck) {
  Item a;
  ListProbe first(&a);
  ListProbe second;
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(second.insertAfterLink(second.head(), &a), messagesThenReport({kAfterLinked}, "a->next_==ernil"));
  } else {
    std::string err = vtest::captureStderr([&] { second.insertAfterLink(second.head(), &a); });
    EXPECT_EQ(err.rfind(kAfterLinked + "\n" + reportStart("a->next_==ernil"), 0), 0u);
    EXPECT_EQ(second.entries(), 1u);
    EXPECT_EQ(second.removeAt(0), &a);
  }
}

TEST(ERIsvSlistTest, InsertionThatLeavesLastBeforeTheEndFailsTailCheck) {
  Item a, b, c;
  ListProbe list;
  list.insertAt(0, &a);
  list.insertAt(1, &b);
  list.setLast(list.head());  // last_ no longer the last link
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(list.insertAfterLink(&b, &c), vtest::reportRegexAnyLine("last_->next_ == &tail_", kUnit));
    list.setLast(&b);
  } else {
    std::string err = vtest::captureStderr([&] { list.insertAfterLink(&b, &c); });
    EXPECT_EQ(err.rfind(reportStart("last_->next_ == &tail_"), 0), 0u);
    EXPECT_EQ(list.walk(), (std::vector<ERIsvSlink*>{&a, &b, &c}));
    EXPECT_EQ(list.entries(), 3u);
    list.setLast(&c);
  }
}

TEST(ERIsvSlistTest, RemoveAfterNilFailsInternalCheck) {
  Item a;
  ListProbe list(&a);
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(list.removeRight(nullptr), messagesThenReport({kRemoveRightNil}, "prev"));
  } else {
    ERIsvSlink* removed = &a;
    std::string err = vtest::captureStderr([&] { removed = list.removeRight(nullptr); });
    EXPECT_EQ(err.rfind(kRemoveRightNil + "\n" + reportStart("prev"), 0), 0u);
    EXPECT_EQ(removed, nullptr);
    EXPECT_EQ(list.entries(), 1u);
  }
}

TEST(ERIsvSlistTest, RemoveAfterLinkNotInListFailsMembershipCheck) {
  Item a, outsider;
  ListProbe list(&a);
  const std::string condition = "prev == &head_ || containsReference(prev)";
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(list.removeRight(&outsider), messagesThenReport({kRemoveRightNotIn}, condition));
  } else {
    ERIsvSlink* removed = &a;
    std::string err = vtest::captureStderr([&] { removed = list.removeRight(&outsider); });
    EXPECT_EQ(err.rfind(kRemoveRightNotIn + "\n" + reportStart(condition), 0), 0u);
    EXPECT_EQ(removed, nullptr);
    EXPECT_EQ(list.entries(), 1u);
    EXPECT_EQ(a.next(), list.tail());
  }
}

TEST(ERIsvSlistTest, RemoveAfterLastFailsLastCheck) {
  Item a;
  ListProbe list(&a);
  ListProbe empty;
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(list.removeRight(&a), messagesThenReport({kRemoveRightLast}, "prev!=last_"));
    EXPECT_DEATH(empty.removeRight(empty.head()), messagesThenReport({kRemoveRightLast}, "prev!=last_"));
  } else {
    ERIsvSlink* removed = &a;
    std::string err = vtest::captureStderr([&] { removed = list.removeRight(&a); });
    EXPECT_EQ(err.rfind(kRemoveRightLast + "\n" + reportStart("prev!=last_"), 0), 0u);
    EXPECT_EQ(removed, nullptr);
    EXPECT_EQ(list.entries(), 1u);
    EXPECT_EQ(list.tailNext(), list.tail());
  }
}

TEST(ERIsvSlistTest, RemoveRightTakesOutTheFollowingLink) {
  Item a, b;
  ListProbe list;
  list.insertAt(0, &a);
  list.insertAt(1, &b);
  EXPECT_EQ(list.removeRight(&a), &b);
  EXPECT_EQ(list.last(), &a);
  EXPECT_EQ(list.removeRight(list.head()), &a);
  EXPECT_EQ(list.entries(), 0u);
}

TEST(ERIsvSlistTest, ClearEmptiesTheListAndFreesTheLinks) {
  Item a, b, c;
  ListProbe list;
  list.insertAt(0, &a);
  list.insertAt(1, &b);
  list.insertAt(2, &c);
  list.clear();
  EXPECT_EQ(list.entries(), 0u);
  EXPECT_EQ(list.headNext(), list.tail());
  EXPECT_EQ(list.last(), list.head());
  for (ERIsvSlink* l : {&a, &b, &c}) EXPECT_EQ(l->next(), nullptr);
  list.insertAt(0, &b);
  EXPECT_EQ(list.walk(), (std::vector<ERIsvSlink*>{&b}));
}

TEST(ERIsvSlistTest, DestroyedListFreesItsLinks) {
  Item a, b;
  {
    ListProbe list(&a);
    list.insertAt(1, &b);
  }
  EXPECT_EQ(a.next(), nullptr);
  EXPECT_EQ(b.next(), nullptr);
}

TEST(ERIsvSlistTest, CopyOfListedLinkIsInNoList) {
  Item a(7), other(8);
  ListProbe list(&a);
  Item copy(a);
  EXPECT_EQ(copy.value, 7);
  EXPECT_EQ(copy.next(), nullptr);
  other = a;  // membership stays with each object
  EXPECT_EQ(other.next(), nullptr);
  EXPECT_EQ(a.next(), list.tail());
}

// ---------------------------------------------------------------------------------------------
// ERPtrVector

TEST(ERPtrVectorTest, NoEntriesOwnsNoArrayAndReshapeGivesThree) {
  int x = 0;
  ERPtrVector v(0, &x);
  EXPECT_EQ(v.entries(), 0u);
  EXPECT_EQ(v.data(), nullptr);
  v.reshape(3);
  EXPECT_EQ(v.entries(), 3u);
  ASSERT_NE(v.data(), nullptr);
  for (unsigned i = 0; i < 3; ++i) EXPECT_EQ(v[i], nullptr) << i;
}

TEST(ERPtrVectorTest, ConstructorSetsEveryEntry) {
  int x = 0;
  const ERPtrVector v(4, &x);
  EXPECT_EQ(v.entries(), 4u);
  for (unsigned i = 0; i < 4; ++i) EXPECT_EQ(v[i], &x) << i;
}

TEST(ERPtrVectorTest, CopyHasItsOwnArray) {
  int x = 0, y = 0;
  ERPtrVector v(2, &x);
  ERPtrVector copy(v);
  EXPECT_NE(copy.data(), v.data());
  EXPECT_EQ(copy.entries(), 2u);
  copy[1] = &y;
  EXPECT_EQ(v[1], &x);
  EXPECT_EQ(copy[0], &x);
}

TEST(ERPtrVectorTest, AssignmentCopiesEntriesIntoANewArray) {
  int x = 0, y = 0;
  ERPtrVector v(3, &x);
  ERPtrVector w(1, &y);
  w = v;
  EXPECT_EQ(w.entries(), 3u);
  EXPECT_NE(w.data(), v.data());
  for (unsigned i = 0; i < 3; ++i) EXPECT_EQ(w[i], &x);
  const ERPtrVector& same = w;
  w = same;
  EXPECT_EQ(w.entries(), 3u);
  EXPECT_EQ(w[2], &x);
  ERPtrVector empty;
  w = empty;
  EXPECT_EQ(w.entries(), 0u);
  EXPECT_EQ(w.data(), nullptr);
}

TEST(ERPtrVectorTest, AssigningAValueSetsEveryEntry) {
  int x = 0, y = 0;
  ERPtrVector v(3, &x);
  v = static_cast<void*>(&y);
  for (unsigned i = 0; i < 3; ++i) EXPECT_EQ(v[i], &y);
}

TEST(ERPtrVectorTest, ReshapeKeepsTheFirstEntries) {
  int e[5];
  ERPtrVector v(5, nullptr);
  for (unsigned i = 0; i < 5; ++i) v[i] = &e[i];
  void* const* before = v.data();
  v.reshape(5);
  EXPECT_EQ(v.data(), before);  // same count: nothing happens
  v.reshape(2);
  EXPECT_EQ(v.entries(), 2u);
  EXPECT_EQ(v[0], &e[0]);
  EXPECT_EQ(v[1], &e[1]);
  v.reshape(4);
  EXPECT_EQ(v[1], &e[1]);
  EXPECT_EQ(v[2], nullptr);
  EXPECT_EQ(v[3], nullptr);
  v.reshape(0);
  EXPECT_EQ(v.entries(), 0u);
  EXPECT_EQ(v.data(), nullptr);
}

TEST(ERPtrVectorTest, ResizeGrowsWithNullEntries) {
  int x = 0;
  ERPtrVector v(1, &x);
  v.resize(3);
  EXPECT_EQ(v.entries(), 3u);
  EXPECT_EQ(v[0], &x);
  EXPECT_EQ(v[1], nullptr);
  EXPECT_EQ(v[2], nullptr);
}

TEST(ERPtrVectorTest, IndexOutOfRangeFailsIndexCheck) {
  int x = 0;
  ERPtrVector v(2, &x);
  const ERPtrVector& cv = v;
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH((void)v[2], vtest::reportRegexAnyLine("i<entries()", kUnit));
    EXPECT_DEATH((void)cv[2], vtest::reportRegexAnyLine("i<entries()", kUnit));
  } else {
    void* read = &x;
    std::string err = vtest::captureStderr([&] {
      read = cv[2];
      v[5] = &x;  // lands in a scratch entry, not in the vector
    });
    EXPECT_EQ(read, nullptr);
    EXPECT_EQ(err.rfind(reportStart("i<entries()"), 0), 0u);
    EXPECT_NE(err.rfind(reportStart("i<entries()")), 0u);
    EXPECT_EQ(v.entries(), 2u);
    EXPECT_EQ(v[1], &x);
  }
}

}  // namespace
