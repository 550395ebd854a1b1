// Foundation of the class library: the one assertion routine every precondition check goes through,
// the small numeric helpers shared by all subsystems (three-way double comparison, first-match
// binary search, ERMin/ERMax), and the run-time class registry with ERObject, the root of every
// polymorphic class of the library.
#ifndef VELMORA_ERCOMMON_H
#define VELMORA_ERCOMMON_H

#include <cstddef>
#include <cstdint>
#include <iosfwd>

#include "velmora/erconfig.h"

// Writes a blank line, then "<condition> failed in <file> at line <line>" on standard error. In the
// checking build (VELMORA_ASSERT_CONTINUE off) it then stops the process through the standard
// assertion, whatever NDEBUG says; in the continuing build it returns and the caller carries on.
void ER_assert(const void* condition, const char* file, int line);

// Reports a misuse that must never stop the caller (used for calls that are present but not meant to
// be used): one line "<file>(<line>): <message>" on standard error.
void ER_report(const char* file, int line, const char* message);

// The checks. Each source unit defines ER_THIS_UNIT (its path without extension) before using
// ER_ASSERT; in-line members in headers name their unit and line explicitly with ER_ASSERT_AT.
// Where the reported condition is spelled differently from the C++ expression, the text is passed.
#define ER_ASSERT_AT(cond, text, unit, line)        \
  do {                                              \
    if (!(cond)) ER_assert((text), (unit), (line)); \
  } while (0)
#define ER_ASSERT(cond) ER_ASSERT_AT(cond, #cond, ER_THIS_UNIT, __LINE__)
#define ER_ASSERT_T(cond, text) ER_ASSERT_AT(cond, text, ER_THIS_UNIT, __LINE__)
#define ER_ASSERT_L(cond, text, line) ER_ASSERT_AT(cond, text, ER_THIS_UNIT, line)

// Marks a branch that must never be reached: always reports.
#define ER_UNREACHABLE_TEXT "!\"Erreur Dans La Fonction\""
#define ER_UNREACHABLE() ER_assert(ER_UNREACHABLE_TEXT, ER_THIS_UNIT, __LINE__)

// -1 when *a < *b, 1 when *a > *b, 0 otherwise (equal, or unordered with a NaN).
int compareDouble(const double* a, const double* b);

// Binary search for the first element equal to key in an array sorted ascending for cmp, which is
// always called as cmp(element, key). Returns 1 when found (index is the first equal element) and 0
// when not (index is then the insertion position).
int ERbsearch(const void* key, const void* base, unsigned count, unsigned width,
              int (*cmp)(const void*, const void*), unsigned& index);

// b when b < a, else a: ties and unordered pairs give a. The asymmetry with ERMax is deliberate.
template <class T>
inline T ERMin(T a, T b) {
  return (b < a) ? b : a;
}
// a when b < a, else b: ties and unordered pairs give b.
template <class T>
inline T ERMax(T a, T b) {
  return (b < a) ? a : b;
}
template <>
inline unsigned int ERMin<unsigned int>(unsigned int a, unsigned int b) {
  return (a <= b) ? a : b;
}

// ---------------------------------------------------------------------------------------------
// Run-time class registry

class ERObject;
class ERFile;

// The description of one registered class: its name, instance size, direct bases, member classes
// and factory. One static instance per class; each prepends itself to one global list when it is
// constructed (at load), and the list is never shrunk.
class ERClassRegistration {
 public:
  using Creator = ERObject* (*)();

  // bases: null-terminated array of the direct bases' registrations, or null for none.
  // members: null-terminated array, never null (an empty one holds only the terminator).
  // creator: returns a new default-constructed instance; null for abstract classes.
  ERClassRegistration(const char* name, unsigned size, const ERClassRegistration* const* bases,
                      const ERClassRegistration* const* members, Creator creator);
  ERClassRegistration(const ERClassRegistration&) = delete;
  ERClassRegistration& operator=(const ERClassRegistration&) = delete;

  const char* getName() const { return name; }
  unsigned getSize() const { return size; }
  const ERClassRegistration* const* getBases() const { return bases; }
  const ERClassRegistration* const* getMembers() const { return members; }
  Creator getCreator() const { return creator; }
  // The registration made just before this one, or null for the first of the process.
  const ERClassRegistration* getNext() const { return next; }
  // The most recent registration: the head of the global list (null before any).
  static const ERClassRegistration* getHead();

  // True for this registration itself and, recursively, for every one of its bases.
  bool isKindOf(const ERClassRegistration* other) const;
  // True for this registration itself and, recursively, for the members of its members.
  bool hasMember(const ERClassRegistration* other) const;

  // The creator of the first registration of the list (most recent first) named name; null when
  // none is, or when that one has no creator (later matches are not looked at).
  static Creator findCreator(const char* name);
  // Writes the class tree to standard output: 35 dashes, then for each registration from the head
  // a tab and its name, its bases one level deeper per generation ("+------->" after the tabs),
  // and an empty line.
  static void DumpAllClasses();

 private:
  const char* name;
  unsigned size;
  const ERClassRegistration* const* bases;
  const ERClassRegistration* const* members;
  Creator creator;
  const ERClassRegistration* next;
};

// A signed 32-bit reference counter holding "number of holders minus one": -1 means no holder.
// A copy starts again at -1 and assignment leaves the counter alone, so a counter never travels
// with the value. The counter changes on const objects (shared representations are const).
class ERReference {
 public:
  ERReference() = default;
  ERReference(const ERReference&) {}
  ERReference& operator=(const ERReference&) { return *this; }

  int32_t references() const { return refs; }
  void addReference() const { ++refs; }
  // Stores the counter less one and returns the value it had before.
  int32_t removeReference() const { return refs--; }

 private:
  mutable int32_t refs = -1;
};

// Root of the library's polymorphic classes: run-time class identity through the registry,
// checked down-casts, validity, text output and binary persistence hooks, and the reference
// counter used by shared representations. Objects made with ERObject's operator new carry a heap
// mark of 1; constructors never write it, so it says nothing for objects made otherwise.
class ERObject : public ERReference {
 public:
  ERObject();
  ERObject(const ERObject& other);             // the counter starts at -1, not the source's
  ERObject& operator=(const ERObject& other);  // leaves the counter and the heap mark
  virtual ~ERObject();

  // Allocate from the general heap and set the heap mark of the fresh memory to 1; the second form
  // ignores the file and line it is given.
  static void* operator new(std::size_t size);
  static void* operator new(std::size_t size, const char* file, int line);
  static void operator delete(void* p);
  static void operator delete(void* p, const char* file, int line);

  static constexpr const ERClassRegistration* desc() { return &m_ClassDef_ERObject; }
  virtual const ERClassRegistration* isA() const;
  virtual const char* className() const;  // isA()'s name
  // The address of the part of this object that is of class target, or null.
  virtual void* _castdown(const ERClassRegistration& target) const;
  virtual bool isKindOf(const ERClassRegistration* other) const;    // isA()->isKindOf(other)
  virtual bool isMemberOf(const ERClassRegistration* other) const;  // isA()->hasMember(other)
  virtual int isValid() const;                                      // 1
  virtual void printOn(std::ostream& os) const = 0;
  virtual void saveGuts(ERFile& file) const;      // writes nothing
  virtual void restoreGuts(ERFile& file);         // reads nothing
  virtual unsigned long binaryStoreSize() const;  // bytes saveGuts writes: 0
  virtual ERObject* getCopy() const = 0;          // a new heap copy
  virtual void CleanUpTemporaries(int);           // nothing

  // Reports className() as a failed condition at file and line when isValid() is 0.
  void assertValid(const char* file, int line) const;

  // 1 when the object was made by ERObject's operator new; meaningless otherwise.
  int32_t heapMark() const;

  // The checked down-cast behind every Class::castdown: null for a null p; otherwise the part of
  // *p of class target, and when there is none, the "Trying to cast" report and null.
  static void* castdownTo(const ERObject* p, const ERClassRegistration* target);
  // Joins the answers of two base paths of a class with two bases: when both found a part,
  // ambigCheck reports a difference; the result is the first path's part, else the second's.
  static void* combineCastdown(void* found1, const ERClassRegistration* path1, void* found2,
                               const ERClassRegistration* path2, const ERClassRegistration& target);

 protected:
  static ERClassRegistration m_ClassDef_ERObject;
  static const ERClassRegistration* const m_Inherite_ERObject[];
  static const ERClassRegistration* const m_Member_ERObject[];

 private:
  static std::ptrdiff_t heapMarkOffset();

  int32_t heapMark_;  // written by operator new only
};

// Writes "Trying to cast a <actual> into a <target>" and an end-of-line on standard error.
void erreurCastDown(const ERClassRegistration* target, const ERClassRegistration* actual);

// Silent when found1 == found2. Otherwise writes on standard error the target's name, " from ", the
// name of path1 (the base through which found1 was reached) or "NOTHING" when found1 is null,
// " or from ", likewise for path2 and found2, then "?" and an end-of-line.
void ambigCheck(const void* found1, const void* found2, const ERClassRegistration& target,
                const ERClassRegistration* path1, const ERClassRegistration* path2);

std::ostream& operator<<(std::ostream& os, const ERObject& object);  // printOn
ERFile& operator<<(ERFile& file, const ERObject& object);            // saveGuts
ERFile& operator>>(ERFile& file, ERObject& object);                  // restoreGuts

// Registering a class derived from ERObject takes two macros.
//
// In the class body, first, ER_DECLARE_CLASS(Class) declares the protected statics
// m_ClassDef_<Class> (the registration), m_Inherite_<Class> (bases) and m_Member_<Class>
// (members, empty), and the public static desc(), isA(), _castdown and the four static checked
// down-casts Class::castdown(ERObject*), (const ERObject*), (ERObject&), (const ERObject&), which
// all return a pointer (null when *p has no part of class Class, after the "Trying to cast" report).
// It leaves the access at public.
//
// In the class's source unit, at namespace scope, ER_DEFINE_CLASS(Class, Kind, Base) or
// ER_DEFINE_CLASS(Class, Kind, Base1, Base2) defines them, registering the name "Class", sizeof(Class)
// and the bases in that order. Kind is written as is: ER_CREATABLE also defines the factory
// `ERObject* create_<Class>()` (a new default-constructed Class) and registers it; ER_ABSTRACT
// registers no factory. _castdown answers the object itself for Class and otherwise asks the base;
// with two bases it asks both and, when both find a part, calls ambigCheck.
// A header may declare the factory with ER_DECLARE_CREATOR(Class).
//
//   class ERShape : public ERObject {             // in the header
//     ER_DECLARE_CLASS(ERShape)
//     ...
//   };
//   ER_DEFINE_CLASS(ERShape, ER_ABSTRACT, ERObject)  // in the source unit
#define ER_DECLARE_CLASS(Class)                                                              \
 protected:                                                                                  \
  static ERClassRegistration m_ClassDef_##Class;                                             \
  static const ERClassRegistration* const m_Inherite_##Class[];                              \
  static const ERClassRegistration* const m_Member_##Class[];                                \
                                                                                             \
 public:                                                                                     \
  static constexpr const ERClassRegistration* desc() { return &m_ClassDef_##Class; }         \
  const ERClassRegistration* isA() const override { return desc(); }                         \
  void* _castdown(const ERClassRegistration& target) const override;                         \
  static Class* castdown(ERObject* p) { return static_cast<Class*>(castdownTo(p, desc())); } \
  static const Class* castdown(const ERObject* p) {                                          \
    return static_cast<const Class*>(castdownTo(p, desc()));                                 \
  }                                                                                          \
  static Class* castdown(ERObject& r) { return castdown(&r); }                               \
  static const Class* castdown(const ERObject& r) { return castdown(&r); }

#define ER_DECLARE_CREATOR(Class) ERObject* create_##Class()

#define ER_DEFINE_CLASS(Class, Kind, ...) \
  ER_PICK_BY_BASES_(__VA_ARGS__, ER_DEFINE_CLASS_2_, ER_DEFINE_CLASS_1_, )(Class, Kind, __VA_ARGS__)

// Implementation of the macros above.
// clang-format off
#define ER_PICK_BY_BASES_(b1, b2, name, ...) name
#define ER_CREATOR_DEF_ER_CREATABLE(Class) \
  ERObject* create_##Class() { return new Class; }
#define ER_CREATOR_DEF_ER_ABSTRACT(Class)
#define ER_CREATOR_PTR_ER_CREATABLE(Class) &create_##Class
#define ER_CREATOR_PTR_ER_ABSTRACT(Class) nullptr
#define ER_REGISTER_CLASS_(Class, Kind, ...)                                                  \
  ER_CREATOR_DEF_##Kind(Class)                                                                \
  const ERClassRegistration* const Class::m_Inherite_##Class[] = {__VA_ARGS__, nullptr};      \
  const ERClassRegistration* const Class::m_Member_##Class[] = {nullptr};                     \
  ERClassRegistration Class::m_ClassDef_##Class(#Class, sizeof(Class), Class::m_Inherite_##Class, \
                                                Class::m_Member_##Class,                      \
                                                ER_CREATOR_PTR_##Kind(Class));
#define ER_DEFINE_CLASS_1_(Class, Kind, Base)                                   \
  ER_REGISTER_CLASS_(Class, Kind, Base::desc())                                 \
  void* Class::_castdown(const ERClassRegistration& target) const {             \
    if (&target == desc()) return const_cast<Class*>(this);                     \
    return Base::_castdown(target);                                             \
  }
#define ER_DEFINE_CLASS_2_(Class, Kind, Base1, Base2)                                            \
  ER_REGISTER_CLASS_(Class, Kind, Base1::desc(), Base2::desc())                                  \
  void* Class::_castdown(const ERClassRegistration& target) const {                              \
    if (&target == desc()) return const_cast<Class*>(this);                                      \
    return combineCastdown(Base1::_castdown(target), Base1::desc(), Base2::_castdown(target),    \
                           Base2::desc(), target);                                               \
  }
// clang-format on

#endif
