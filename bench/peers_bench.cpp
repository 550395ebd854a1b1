// velmora's alignment next to the peer most people would use instead (Eigen's umeyama without
// scaling) and next to two floors that no O(N) method can beat: one pass that reads the 48 bytes of
// every pair, and one pass that accumulates both means and the 3x3 cross-covariance.
//
// Every benchmark runs on the same seeded pairs, in one process, and the table printed at the end
// gives the time per pair and the ratios to Eigen and to the floors, each from the median of the
// repetitions. Run it through scripts/bench.
#include <benchmark/benchmark.h>

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "velmora/fit.h"
#include "velmora/slvbstft.h"
#include "velmora/transf3d.h"
#include "velmora/velAlign.h"

namespace {

// One seeded data set per size: the points to move, the same points moved by a known rigid motion
// with a little noise, in the three layouts the contenders take.
struct PairSet {
  std::vector<double> flat;    // x y z x' y' z' per pair: what the floors read
  giPoint3coPageArr host;      // interleaved host points: what the entry takes
  Eigen::Matrix3Xd src, dst;   // column per point: what umeyama takes
};

const PairSet& pairSet(int n) {
  static std::map<int, std::unique_ptr<PairSet>> cache;
  auto& slot = cache[n];
  if (slot) return *slot;
  slot = std::make_unique<PairSet>();
  PairSet& s = *slot;
  std::mt19937_64 rng(20261124u + static_cast<unsigned>(n));
  std::uniform_real_distribution<double> box(-500.0, 500.0), unit(-1.0, 1.0);
  std::normal_distribution<double> noise(0.0, 1e-3);
  const Eigen::Vector3d axis = Eigen::Vector3d(unit(rng), unit(rng), unit(rng)).normalized();
  const Eigen::Matrix3d rot = Eigen::AngleAxisd(2.0 * unit(rng), axis).toRotationMatrix();
  const Eigen::Vector3d shift(box(rng), box(rng), box(rng));
  s.flat.reserve(6 * static_cast<size_t>(n));
  s.src.resize(3, n);
  s.dst.resize(3, n);
  for (int i = 0; i < n; ++i) {
    const Eigen::Vector3d p(box(rng) + 1000.0, box(rng), box(rng));
    const Eigen::Vector3d q = rot * p + shift + Eigen::Vector3d(noise(rng), noise(rng), noise(rng));
    s.src.col(i) = p;
    s.dst.col(i) = q;
    s.flat.insert(s.flat.end(), {p.x(), p.y(), p.z(), q.x(), q.y(), q.z()});
    s.host.append(giPoint3(p.x(), p.y(), p.z()));
    s.host.append(giPoint3(q.x(), q.y(), q.z()));
  }
  return s;
}

void perPair(benchmark::State& state, int n) {
  state.counters["pairs"] = n;
  state.counters["per_pair"] = benchmark::Counter(static_cast<double>(n),
                                                  benchmark::Counter::kIsIterationInvariantRate |
                                                      benchmark::Counter::kInvert);
}

// The host entry: host array in, transform and mean error out.
void BM_Entry(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const PairSet& s = pairSet(n);
  for (auto _ : state) {
    giXform3 xform;
    double error = 0.0;
    int ok = velAlign::calc_align_transform(s.host, xform, error);
    benchmark::DoNotOptimize(ok);
    benchmark::DoNotOptimize(error);
  }
  perPair(state, n);
}

// The degrees-of-freedom system on vectors filled beforehand: Resoudre alone.
void BM_Resoudre(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const PairSet& s = pairSet(n);
  DegauLibreSystem system(static_cast<DegauLibreSystem::Type>(3));
  for (int i = 0; i < n; ++i) {
    const double* r = &s.flat[6 * static_cast<size_t>(i)];
    system.AddPoint(ERPoint3D(r[0], r[1], r[2]), ERPoint3D(r[3], r[4], r[5]));
  }
  for (auto _ : state) {
    ERPmIsometrie3D result;
    int code = system.Resoudre(result);
    benchmark::DoNotOptimize(code);
  }
  perPair(state, n);
}

// The exact fit on the same points (an Eigen 3 x N matrix is N points of three doubles), rigid model:
// the motion alone, then with the residual statistics (mean, RMS, max, min), which take one more pass.
void fitBenchmark(benchmark::State& state, bool statistics) {
  const int n = static_cast<int>(state.range(0));
  const PairSet& s = pairSet(n);
  velmora::FitOptions options;
  options.statistics = statistics;
  for (auto _ : state) {
    velmora::FitResult r = velmora::fit(s.src.data(), s.dst.data(), static_cast<std::size_t>(n), nullptr, options);
    benchmark::DoNotOptimize(r.motion.matrix);
    benchmark::DoNotOptimize(r.rms);
  }
  perPair(state, n);
}
void BM_Fit(benchmark::State& state) { fitBenchmark(state, false); }
void BM_FitStats(benchmark::State& state) { fitBenchmark(state, true); }

void BM_EigenUmeyama(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const PairSet& s = pairSet(n);
  for (auto _ : state) {
    Eigen::Matrix4d t = Eigen::umeyama(s.src, s.dst, false);
    benchmark::DoNotOptimize(t.data());
  }
  perPair(state, n);
}

// Floor 1: read every byte of every pair once.
void BM_FloorRead(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const PairSet& s = pairSet(n);
  for (auto _ : state) {
    double acc[6] = {0, 0, 0, 0, 0, 0};
    const double* p = s.flat.data();
    for (int i = 0; i < n; ++i, p += 6)
      for (int k = 0; k < 6; ++k) acc[k] += p[k];
    benchmark::DoNotOptimize(acc);
  }
  perPair(state, n);
}

// Floor 2: both means and the 3x3 cross-covariance in one pass, the least any O(N) fit does.
void BM_FloorCovariance(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const PairSet& s = pairSet(n);
  for (auto _ : state) {
    double sp[3] = {0, 0, 0}, sq[3] = {0, 0, 0}, spq[9] = {0, 0, 0, 0, 0, 0, 0, 0, 0};
    const double* r = s.flat.data();
    for (int i = 0; i < n; ++i, r += 6) {
      for (int a = 0; a < 3; ++a) {
        sp[a] += r[a];
        sq[a] += r[3 + a];
        for (int b = 0; b < 3; ++b) spq[3 * a + b] += r[a] * r[3 + b];
      }
    }
    double cov[9];
    for (int a = 0; a < 3; ++a)
      for (int b = 0; b < 3; ++b) cov[3 * a + b] = spq[3 * a + b] / n - (sp[a] / n) * (sq[b] / n);
    benchmark::DoNotOptimize(cov);
  }
  perPair(state, n);
}

void sizes(benchmark::internal::Benchmark* b) {
  for (int n : {1000, 10000, 100000, 1000000}) b->Arg(n);
  b->Repetitions(5)->ReportAggregatesOnly(true)->Unit(benchmark::kMillisecond)->UseRealTime();
}

BENCHMARK(BM_Entry)->Apply(sizes);
BENCHMARK(BM_Resoudre)->Apply(sizes);
BENCHMARK(BM_Fit)->Apply(sizes);
BENCHMARK(BM_FitStats)->Apply(sizes);
BENCHMARK(BM_EigenUmeyama)->Apply(sizes);
BENCHMARK(BM_FloorRead)->Apply(sizes);
BENCHMARK(BM_FloorCovariance)->Apply(sizes);

// Prints the console report as usual and keeps the median time per pair of every benchmark and size
// for the table at the end.
class TableReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& r : runs) {
      if (r.error_occurred || r.run_type != Run::RT_Aggregate || r.aggregate_name != "median") continue;
      auto pairs = r.counters.find("pairs");
      auto per = r.counters.find("per_pair");
      if (pairs == r.counters.end() || per == r.counters.end()) continue;
      nsPerPair[r.run_name.function_name][static_cast<int>(pairs->second.value)] = per->second.value * 1e9;
    }
  }
  std::map<std::string, std::map<int, double>> nsPerPair;
};

void printTable(const TableReporter& rep) {
  auto at = [&](const char* name, int n) {
    auto f = rep.nsPerPair.find(name);
    if (f == rep.nsPerPair.end()) return std::nan("");
    auto g = f->second.find(n);
    return g == f->second.end() ? std::nan("") : g->second;
  };
  std::printf("\nTime per pair (ns, median of 5), ratios measured in this run\n");
  std::printf("| pairs | entry | Resoudre | fit | fit + statistics | Eigen umeyama | read floor | covariance floor | "
              "entry / Eigen | Resoudre / Eigen | fit / covariance floor | fit + statistics / Eigen |\n");
  std::printf("|---:|---:|---:|---:|---:|---:|---:|---:|---:|---:|---:|---:|\n");
  for (int n : {1000, 10000, 100000, 1000000}) {
    const double e = at("BM_Entry", n), r = at("BM_Resoudre", n), u = at("BM_EigenUmeyama", n);
    const double f = at("BM_Fit", n), fs = at("BM_FitStats", n);
    const double fr = at("BM_FloorRead", n), fc = at("BM_FloorCovariance", n);
    std::printf("| %d | %.1f | %.1f | %.2f | %.2f | %.1f | %.2f | %.2f | %.2f | %.2f | %.2f | %.2f |\n", n, e, r, f, fs,
                u, fr, fc, e / u, r / u, f / fc, fs / u);
  }
}

}  // namespace

int main(int argc, char** argv) {
  // The repetitions of every benchmark run in random order, interleaved with the other benchmarks', so that
  // a slow spell of the machine falls on every contender alike; a flag given on the command line wins.
  static char interleaved[] = "--benchmark_enable_random_interleaving=true";
  std::vector<char*> args(argv, argv + argc);
  args.insert(args.begin() + 1, interleaved);
  int count = static_cast<int>(args.size());
  benchmark::Initialize(&count, args.data());
  if (benchmark::ReportUnrecognizedArguments(count, args.data())) return 1;
  TableReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  printTable(reporter);
  return 0;
}
