// The cost of one alignment through the host-facing entry, for 1e3 to 1e6 point pairs, reported per
// pair (the per_pair counter): the alignment is linear in the number of pairs, so the time per pair
// stays flat.
//
//   build/rel/bench/velmora_bench --benchmark_counters_tabular=true [--fresh_memory]
//
// An alignment of n pairs allocates about 56 n bytes (the two point vectors and the residuals), freed
// when it returns. By default the heap is asked to keep freed blocks, as the heap of a host that aligns
// repeatedly does, so that the figures measure the alignment itself. With --fresh_memory every large
// block comes fresh from the kernel instead and each alignment also pays for the first touch of its
// pages, a cost per byte that depends on the machine (on a virtual machine it can exceed the
// alignment's own).
#include <benchmark/benchmark.h>

#include <Eigen/Geometry>
#include <iostream>
#include <random>
#include <string>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include "velmora/host.h"
#include "velmora/velAlign.h"

namespace {

// n pairs: random points of a cube and their images under a fixed rotation and translation, with noise.
giPoint3coPageArr makePairs(int n) {
  std::mt19937 rng(2024);
  std::uniform_real_distribution<double> u(-10.0, 10.0);
  std::normal_distribution<double> noise(0.0, 0.01);
  const Eigen::Matrix3d R =
      Eigen::AngleAxisd(2.0, Eigen::Vector3d(1, -2, 0.5).normalized()).toRotationMatrix();
  const Eigen::Vector3d t(3.0, -7.0, 12.0);
  giPoint3coPageArr points;
  points.reserve(2 * n);
  for (int i = 0; i < n; ++i) {
    const Eigen::Vector3d p(u(rng), u(rng), u(rng));
    const Eigen::Vector3d q = R * p + t + Eigen::Vector3d(noise(rng), noise(rng), noise(rng));
    points.append(giPoint3(p.x(), p.y(), p.z()));
    points.append(giPoint3(q.x(), q.y(), q.z()));
  }
  return points;
}

void BM_CalcAlignTransform(benchmark::State& state) {
  const int pairs = static_cast<int>(state.range(0));
  const giPoint3coPageArr points = makePairs(pairs);
  double error = 0.0;
  for (auto _ : state) {
    giXform3 xform;
    const int ok = velAlign::calc_align_transform(points, xform, error);
    if (ok != 1) state.SkipWithError("alignment failed");
    benchmark::DoNotOptimize(xform);
    benchmark::DoNotOptimize(error);
  }
  // The time of one pair: the counter is inverted and scaled by the pairs of every iteration.
  state.counters["per_pair"] = benchmark::Counter(static_cast<double>(pairs) * state.iterations(),
                                                  benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
  state.counters["pairs"] = pairs;
  state.SetItemsProcessed(static_cast<int64_t>(pairs) * state.iterations());
}

BENCHMARK(BM_CalcAlignTransform)
    ->Arg(1000)
    ->Arg(3000)
    ->Arg(10000)
    ->Arg(30000)
    ->Arg(100000)
    ->Arg(300000)
    ->Arg(1000000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// Keeps freed blocks in the heap (up to the allocator's largest heap block, 32 MiB), or sends every block
// of 128 KiB and more back to the kernel when freed.
void configureHeap(bool freshMemory) {
#if defined(__GLIBC__)
  if (freshMemory) {
    mallopt(M_MMAP_THRESHOLD, 128 * 1024);
  } else {
    mallopt(M_MMAP_THRESHOLD, 32 * 1024 * 1024);
    mallopt(M_TRIM_THRESHOLD, 1024 * 1024 * 1024);
  }
#else
  (void)freshMemory;
#endif
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  bool freshMemory = false;
  for (int i = 1; i < argc; ++i) {
    if (std::string(argv[i]) == "--fresh_memory") {
      freshMemory = true;
    } else {
      std::cerr << "velmora_bench: unknown argument " << argv[i] << std::endl;
      return 1;
    }
  }
  configureHeap(freshMemory);
  benchmark::AddCustomContext("heap", freshMemory ? "fresh blocks from the kernel" : "freed blocks kept");
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
