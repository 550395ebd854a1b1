// Assertion reporting and the shared numeric helpers.
#include "velmora/erconfig.h"

// The checking build stops through the standard assertion even when the build type defines NDEBUG:
// only VELMORA_ASSERT_CONTINUE turns the stop off.
#if !VELMORA_ASSERT_CONTINUE
#undef NDEBUG
#endif
#include <cassert>
#include <iostream>

#include "velmora/ercommon.h"

#define ER_THIS_UNIT "source/align/ercommon"

void ER_assert(const void* condition, const char* file, int line) {
  std::cerr << std::endl << std::endl
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
