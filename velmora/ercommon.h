// Foundation of the class library: the one assertion routine every precondition check goes through,
// and the small numeric helpers shared by all subsystems (three-way double comparison, first-match
// binary search, ERMin/ERMax).
#ifndef VELMORA_ERCOMMON_H
#define VELMORA_ERCOMMON_H

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
#define ER_ASSERT_AT(cond, text, unit, line)   \
  do {                                         \
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

#endif
