// The passes of the exact fit, compiled for any processor and, on x86-64, once more for AVX2; the AVX2
// variant is taken when the processor offers it. Both give the same bits.
#include "fitpasses.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstddef>

#if defined(__x86_64__) && defined(__GNUC__)
#define VELMORA_FIT_AVX2 1
#include <immintrin.h>
#else
#define VELMORA_FIT_AVX2 0
#endif

namespace velmora {
namespace detail {

// The helpers of the passes take and return vectors of four doubles, but all of them are in-lined: no
// call passes one, so the calling convention for such vectors without AVX never applies.
#if defined(__clang__)
#pragma clang diagnostic ignored "-Wpsabi"
#elif defined(__GNUC__)
#pragma GCC diagnostic ignored "-Wpsabi"
#endif

namespace portable {
// Lane by lane: the library is built without errno from the maths functions, so each is one instruction.
#define FIT_SQRT4(v) \
  v4 { __builtin_sqrt((v)[0]), __builtin_sqrt((v)[1]), __builtin_sqrt((v)[2]), __builtin_sqrt((v)[3]) }
#include "fitpasses.inl"
#undef FIT_SQRT4
}  // namespace portable

#if VELMORA_FIT_AVX2
#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx2"))), apply_to = function)
#else
#pragma GCC push_options
#pragma GCC target("avx2")
#endif
namespace avx2 {
#define FIT_SQRT4(v) static_cast<v4>(_mm256_sqrt_pd(static_cast<__m256d>(v)))
#include "fitpasses.inl"
#undef FIT_SQRT4
}  // namespace avx2
#if defined(__clang__)
#pragma clang attribute pop
#else
#pragma GCC pop_options
#endif

#endif

namespace {
std::atomic<bool> portableOnly{false};

bool avx2InUse() {
#if VELMORA_FIT_AVX2
  static const bool offered = [] {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") != 0;
  }();
  return offered && !portableOnly.load(std::memory_order_relaxed);
#else
  return false;
#endif
}
}  // namespace

bool usePortablePasses(bool portable) { return portableOnly.exchange(portable); }

void sumMoments(const PointsView& source, const PointsView& target, const WeightsView& weights,
                const double originFrom[3], const double originTo[3], double unit, RawMoments& sums) {
#if VELMORA_FIT_AVX2
  if (avx2InUse()) return avx2::sumMoments(source, target, weights, originFrom, originTo, unit, sums);
#endif
  portable::sumMoments(source, target, weights, originFrom, originTo, unit, sums);
}

void sumResiduals(const PointsView& source, const PointsView& target, const WeightsView& weights,
                  const double meanFrom[3], const double meanTo[3], const double a[3][3], double unit,
                  ResidualSums& sums, double* vectors, double* distances) {
#if VELMORA_FIT_AVX2
  if (avx2InUse())
    return avx2::sumResiduals(source, target, weights, meanFrom, meanTo, a, unit, sums, vectors, distances);
#endif
  portable::sumResiduals(source, target, weights, meanFrom, meanTo, a, unit, sums, vectors, distances);
}

}  // namespace detail
}  // namespace velmora
