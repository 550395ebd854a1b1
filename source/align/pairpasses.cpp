// The per-pair passes of the rigid solve, compiled once per vector width, and the choice of width.
#include "pairpasses.h"

#include <atomic>
#include <cstddef>
#include <limits>
#include <type_traits>
#include <utility>

#if ER_PAIRPASSES_WIDE
#include <immintrin.h>
#endif

// The passes read arrays of points as three doubles each.
static_assert(sizeof(ERPoint3D) == 3 * sizeof(double) && std::is_standard_layout<ERPoint3D>::value,
              "a point is three doubles");

ERPassFrame::ERPassFrame(const ERIsometrieApplier& apply) : isFrame(apply.isFrame), m(), t(), apply(&apply) {
  for (int k = 0; k < 9; ++k) m[k] = apply.m[k];
  ERCoordsOf(apply.t, t);
}

void ERPassFrame::applyHandle(const ERPassFrame& f, double x, double y, double z, double& rx, double& ry,
                              double& rz) {
  const ERPoint3D r = (*f.apply)(ERPoint3D(x, y, z));
  rx = r[X3D];
  ry = r[Y3D];
  rz = r[Z3D];
}

namespace erpasses {

// Each width in its own namespace, compiled for the instruction set it needs.
namespace w2 {
constexpr unsigned W = 2;
#include "pairpasses.inl"
}  // namespace w2

#if ER_PAIRPASSES_WIDE
#pragma GCC push_options
#pragma GCC target("avx2")
namespace w4 {
constexpr unsigned W = 4;
#include "pairpasses.inl"
}  // namespace w4
#pragma GCC pop_options

#pragma GCC push_options
#pragma GCC target("avx512f")
namespace w8 {
constexpr unsigned W = 8;
#include "pairpasses.inl"
}  // namespace w8
#pragma GCC pop_options
#endif

namespace {

unsigned widestOffered() {
#if ER_PAIRPASSES_WIDE
  __builtin_cpu_init();
  if (__builtin_cpu_supports("avx512f")) return 8;
  if (__builtin_cpu_supports("avx2")) return 4;
#endif
  return 2;
}

std::atomic<unsigned> widthCap{0};  // 0: no cap

}  // namespace

unsigned width() {
  static const unsigned offered = widestOffered();
  const unsigned cap = widthCap.load(std::memory_order_relaxed);
  return (cap != 0 && cap < offered) ? cap : offered;
}

}  // namespace erpasses

unsigned ERSetVectorWidth(unsigned widest) {
  erpasses::widthCap.store((widest == 0 || widest >= 8) ? 0 : (widest >= 4 ? 4 : 2), std::memory_order_relaxed);
  return erpasses::width();
}
