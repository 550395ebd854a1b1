// Assertion reporting, the shared numeric helpers and the run-time class registry.
#include "velmora/erconfig.h"

// The checking build stops through the standard assertion even when the build type defines NDEBUG:
// only VELMORA_ASSERT_CONTINUE turns the stop off.
#if !VELMORA_ASSERT_CONTINUE
#undef NDEBUG
#endif
#include <cassert>
#include <cstring>
#include <iostream>
#include <new>

#include "velmora/ercommon.h"

#define ER_THIS_UNIT "source/align/ercommon"

void ER_assert(const void* condition, const char* file, int line) {
  std::cerr << std::endl
            << std::endl
            << static_cast<const char*>(condition) << " failed in " << file << " at line " << line
            << std::endl;
#if !VELMORA_ASSERT_CONTINUE
  assert(0);
#endif
}

void ER_report(const char* file, int line, const char* message) {
  std::cerr << file << "(" << line << "): " << message << std::endl;
}

int compareDouble(const double* a, const double* b) {
  if (*a < *b) return -1;
  if (*a > *b) return 1;
  return 0;
}

int ERbsearch(const void* key, const void* base, unsigned count, unsigned width,
              int (*cmp)(const void*, const void*), unsigned& index) {
  const char* elements = static_cast<const char*>(base);
  auto at = [&](unsigned i) { return static_cast<const void*>(elements + static_cast<size_t>(i) * width); };
  index = 0;
  if (count == 0) return 0;
  unsigned bottom = 0;
  unsigned top = count - 1;
  while (bottom < top) {
    index = (top + bottom) / 2;
    int r = cmp(at(index), key);
    if (r == 0) {
      // One extra comparison per hit finds the leftmost of a run of equal keys.
      if (index == 0 || cmp(at(index - 1), key) != 0) return 1;
      top = (index == bottom) ? bottom : index - 1;
    } else if (r < 0) {
      bottom = (index == top) ? top : index + 1;
    } else {
      top = (index == bottom) ? bottom : index - 1;
    }
  }
  ER_ASSERT_T(top == bottom, "top==bottom");
  index = bottom;
  if (cmp(at(index), key) == 0) return 1;
  while (index < count && cmp(at(index), key) < 0) ++index;
  return 0;
}

// ---------------------------------------------------------------------------------------------
// Registry

namespace {

// Head of the list of all registrations; constant-initialised, so it is null before the first
// registration whatever the order of static construction.
const ERClassRegistration* g_registrationHead = nullptr;

void dumpBases(const ERClassRegistration* registration, int depth) {
  const ERClassRegistration* const* bases = registration->getBases();
  if (bases == nullptr) return;
  for (; *bases != nullptr; ++bases) {
    for (int i = 0; i <= depth; ++i) std::cout << '\t';
    std::cout << "+------->" << (*bases)->getName() << std::endl;
    dumpBases(*bases, depth + 1);
  }
}

}  // namespace

ERClassRegistration::ERClassRegistration(const char* name_, unsigned size_,
                                         const ERClassRegistration* const* bases_,
                                         const ERClassRegistration* const* members_, Creator creator_)
    : name(name_),
      size(size_),
      bases(bases_),
      members(members_),
      creator(creator_),
      next(g_registrationHead) {
  g_registrationHead = this;
}

const ERClassRegistration* ERClassRegistration::getHead() { return g_registrationHead; }

bool ERClassRegistration::isKindOf(const ERClassRegistration* other) const {
  if (other == this) return true;
  if (bases == nullptr) return false;
  for (const ERClassRegistration* const* b = bases; *b != nullptr; ++b)
    if ((*b)->isKindOf(other)) return true;
  return false;
}

bool ERClassRegistration::hasMember(const ERClassRegistration* other) const {
  if (other == this) return true;
  // The members array is never null, unlike the bases array.
  for (const ERClassRegistration* const* m = members; *m != nullptr; ++m)
    if ((*m)->hasMember(other)) return true;
  return false;
}

ERClassRegistration::Creator ERClassRegistration::findCreator(const char* name) {
  for (const ERClassRegistration* r = g_registrationHead; r != nullptr; r = r->next)
    if (std::strcmp(r->name, name) == 0) return r->creator;
  return nullptr;
}

void ERClassRegistration::DumpAllClasses() {
  std::cout << "-----------------------------------\n";
  for (const ERClassRegistration* r = g_registrationHead; r != nullptr; r = r->next) {
    std::cout << '\t' << r->name << std::endl;
    dumpBases(r, 0);
    std::cout << std::endl;
  }
}

// ERObject's own registration: no base, no factory.
const ERClassRegistration* const ERObject::m_Inherite_ERObject[] = {nullptr};
const ERClassRegistration* const ERObject::m_Member_ERObject[] = {nullptr};
ERClassRegistration ERObject::m_ClassDef_ERObject("ERObject", sizeof(ERObject), ERObject::m_Inherite_ERObject,
                                                  ERObject::m_Member_ERObject, nullptr);

// The heap mark is deliberately left alone by every constructor: only operator new writes it.
ERObject::ERObject() : ERReference() {}
ERObject::ERObject(const ERObject&) : ERReference() {}
ERObject& ERObject::operator=(const ERObject&) { return *this; }
ERObject::~ERObject() = default;

namespace {
// A concrete ERObject used only to measure where the heap mark lies inside an ERObject.
class HeapMarkProbe : public ERObject {
 public:
  void printOn(std::ostream&) const override {}
  ERObject* getCopy() const override { return nullptr; }
};
}  // namespace

std::ptrdiff_t ERObject::heapMarkOffset() {
  static const std::ptrdiff_t offset = [] {
    HeapMarkProbe probe;
    const ERObject& object = probe;
    return reinterpret_cast<const char*>(&object.heapMark_) - reinterpret_cast<const char*>(&object);
  }();
  return offset;
}

void* ERObject::operator new(std::size_t size) {
  void* p = ::operator new(size);
  // The fresh memory is marked before the constructor runs; the object begins with its ERObject part.
  const int32_t one = 1;
  std::memcpy(static_cast<char*>(p) + heapMarkOffset(), &one, sizeof one);
  return p;
}

void* ERObject::operator new(std::size_t size, const char*, int) { return ERObject::operator new(size); }
void ERObject::operator delete(void* p) { ::operator delete(p); }
void ERObject::operator delete(void* p, const char*, int) { ::operator delete(p); }

const ERClassRegistration* ERObject::isA() const { return desc(); }
const char* ERObject::className() const { return isA()->getName(); }

void* ERObject::_castdown(const ERClassRegistration& target) const {
  return &target == desc() ? const_cast<ERObject*>(this) : nullptr;
}

bool ERObject::isKindOf(const ERClassRegistration* other) const { return isA()->isKindOf(other); }
bool ERObject::isMemberOf(const ERClassRegistration* other) const { return isA()->hasMember(other); }
int ERObject::isValid() const { return 1; }
void ERObject::saveGuts(ERFile&) const {}
void ERObject::restoreGuts(ERFile&) {}
unsigned long ERObject::binaryStoreSize() const { return 0; }
void ERObject::CleanUpTemporaries(int) {}

void ERObject::assertValid(const char* file, int line) const {
  if (!isValid()) ER_assert(className(), file, line);
}

int32_t ERObject::heapMark() const { return heapMark_; }

void* ERObject::castdownTo(const ERObject* p, const ERClassRegistration* target) {
  if (p == nullptr) return nullptr;
  void* r = p->_castdown(*target);
  if (r == nullptr) erreurCastDown(target, p->isA());
  return r;
}

void* ERObject::combineCastdown(void* found1, const ERClassRegistration* path1, void* found2,
                                const ERClassRegistration* path2, const ERClassRegistration& target) {
  if (found1 != nullptr && found2 != nullptr) ambigCheck(found1, found2, target, path1, path2);
  return found1 != nullptr ? found1 : found2;
}

void erreurCastDown(const ERClassRegistration* target, const ERClassRegistration* actual) {
  std::cerr << "Trying to cast a " << actual->getName() << " into a " << target->getName() << std::endl;
}

void ambigCheck(const void* found1, const void* found2, const ERClassRegistration& target,
                const ERClassRegistration* path1, const ERClassRegistration* path2) {
  if (found1 == found2) return;
  auto pathName = [](const void* found, const ERClassRegistration* path) {
    return found != nullptr && path != nullptr ? path->getName() : "NOTHING";
  };
  std::cerr << target.getName() << " from " << pathName(found1, path1) << " or from "
            << pathName(found2, path2) << "?" << std::endl;
}

std::ostream& operator<<(std::ostream& os, const ERObject& object) {
  object.printOn(os);
  return os;
}

ERFile& operator<<(ERFile& file, const ERObject& object) {
  object.saveGuts(file);
  return file;
}

ERFile& operator>>(ERFile& file, ERObject& object) {
  object.restoreGuts(file);
  return file;
}
