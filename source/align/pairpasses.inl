// The per-pair passes of the rigid solve, written once for a vector of W doubles. pairpasses.cpp
// includes this file once per width, each time inside its own namespace that defines W, under the
// instruction set that width needs; it includes nothing itself. The passes read plain doubles and call no
// in-line function of the library, so that nothing compiled for another instruction set has to be in-lined
// into them.
//
// Every pass has two stages per chunk of W pairs: a vector stage that works out, lane by lane, what
// each pair contributes (points moved, centred, scaled, divided by their counts), and a serial stage
// that folds those contributions into the running sums, maxima and means in pair order. Lanes are
// rounded as scalar operations are, and the serial stage keeps the order of the pairs, so every pass
// gives the results of the one-pair-at-a-time loop bit for bit, whatever W is. Lanes past the last pair
// of a block repeat that pair and are never folded in.

namespace {

typedef double V __attribute__((vector_size(8 * W)));

// The square root of every lane, correctly rounded as std::sqrt is, in one instruction.
template <unsigned Width = W>
[[gnu::always_inline]] inline V squareRoot(V x) {
#if ER_PAIRPASSES_WIDE
  if constexpr (Width == 8)
    // The masked form with every lane selected: _mm512_sqrt_pd without its undefined pass-through.
    return reinterpret_cast<V>(
        __builtin_ia32_sqrtpd512_mask(reinterpret_cast<__v8df>(x), reinterpret_cast<__v8df>(x),
                                      static_cast<__mmask8>(-1), _MM_FROUND_CUR_DIRECTION));
  else if constexpr (Width == 4)
    return reinterpret_cast<V>(_mm256_sqrt_pd(reinterpret_cast<__m256d>(x)));
  else
    return reinterpret_cast<V>(_mm_sqrt_pd(reinterpret_cast<__m128d>(x)));
#else
  V r;
  for (unsigned j = 0; j < Width; ++j) r[j] = std::sqrt(x[j]);
  return r;
#endif
}

typedef long long Index __attribute__((vector_size(8 * W)));

// The lanes where a is equal to b (Equal) or at least b (AtLeast), as the bits of a mask (lane j at bit
// j), from one compare.
enum Comparison { Equal, AtLeast };
template <Comparison C, unsigned Width = W>
[[gnu::always_inline]] inline unsigned lanesWhere(V a, V b) {
#if ER_PAIRPASSES_WIDE
  constexpr int predicate = (C == Equal) ? _CMP_EQ_OQ : _CMP_GE_OQ;
  if constexpr (Width == 8)
    return _mm512_cmp_pd_mask(reinterpret_cast<__m512d>(a), reinterpret_cast<__m512d>(b), predicate);
  else if constexpr (Width == 4)
    return static_cast<unsigned>(_mm256_movemask_pd(
        _mm256_cmp_pd(reinterpret_cast<__m256d>(a), reinterpret_cast<__m256d>(b), predicate)));
  else if constexpr (C == Equal)
    return static_cast<unsigned>(
        _mm_movemask_pd(_mm_cmpeq_pd(reinterpret_cast<__m128d>(a), reinterpret_cast<__m128d>(b))));
  else
    return static_cast<unsigned>(
        _mm_movemask_pd(_mm_cmpge_pd(reinterpret_cast<__m128d>(a), reinterpret_cast<__m128d>(b))));
#else
  unsigned mask = 0;
  for (unsigned j = 0; j < Width; ++j) mask |= ((C == Equal) ? a[j] == b[j] : a[j] >= b[j]) ? 1u << j : 0u;
  return mask;
#endif
}

template <class F, std::size_t... J>
[[gnu::always_inline]] inline V lanesOf(F f, std::index_sequence<J...>) {
  return V{f(static_cast<unsigned>(J))...};
}
// The vector whose lane j is f(j).
template <class F>
[[gnu::always_inline]] inline V lanes(F f) {
  return lanesOf(f, std::make_index_sequence<W>());
}
[[gnu::always_inline]] inline V splat(double x) {
  return lanes([x](unsigned) { return x; });
}
// first, first + 1, ..., first + W - 1: whole numbers, exact in every lane.
[[gnu::always_inline]] inline V counting(double first) {
  return splat(first) + lanes([](unsigned j) { return static_cast<double>(j); });
}

template <std::size_t... J>
constexpr Index interleaveMask(unsigned half, std::index_sequence<J...>) {
  return Index{static_cast<long long>(half * W / 2 + J / 2 + (J % 2) * W)...};
}
// The lanes of x and y taken in turn, x0 y0 x1 y1 ..., over two vectors.
[[gnu::always_inline]] inline void interleave(V x, V y, V out[2]) {
  constexpr Index low = interleaveMask(0, std::make_index_sequence<W>());
  constexpr Index high = interleaveMask(1, std::make_index_sequence<W>());
  out[0] = __builtin_shuffle(x, y, low);
  out[1] = __builtin_shuffle(x, y, high);
}

template <unsigned h, std::size_t... L>
constexpr Index transposeMask(bool second, std::index_sequence<L...>) {
  return Index{static_cast<long long>(second ? (((L & h) == 0) ? L + h : W + L)
                                             : (((L & h) == 0) ? L : W + L - h))...};
}
// One step of the transposition: half-blocks of h lanes exchanged between vectors h apart.
template <unsigned h>
[[gnu::always_inline]] inline void transposeStep(V r[W]) {
  constexpr Index keep = transposeMask<h>(false, std::make_index_sequence<W>());
  constexpr Index take = transposeMask<h>(true, std::make_index_sequence<W>());
  for (unsigned i = 0; i < W; ++i)
    if ((i & h) == 0) {
      const V a = r[i], b = r[i + h];
      r[i] = __builtin_shuffle(a, b, keep);
      r[i + h] = __builtin_shuffle(a, b, take);
    }
}
// Transposes the W x W block r in place: lane j of r[c] becomes lane c of r[j].
[[gnu::always_inline]] inline void transpose(V r[W]) {
  if constexpr (W > 1) transposeStep<1>(r);
  if constexpr (W > 2) transposeStep<2>(r);
  if constexpr (W > 4) transposeStep<4>(r);
}

// Runs f(j) for j = 0, ..., count - 1, unrolled when the chunk is whole.
template <class F>
[[gnu::always_inline]] inline void forEachLane(unsigned count, F f) {
  if (count == W) {
#pragma GCC unroll 8
    for (unsigned j = 0; j < W; ++j) f(j);
  } else {
    for (unsigned j = 0; j < count; ++j) f(j);
  }
}

// The larger and the smaller of a and b as ERMax and ERMin choose them (ties and unordered pairs give
// b and a respectively).
[[gnu::always_inline]] inline double larger(double a, double b) { return (b < a) ? a : b; }
[[gnu::always_inline]] inline double smaller(double a, double b) { return (b < a) ? b : a; }

// W points, coordinate by coordinate.
struct Lanes3 {
  V x, y, z;
};

// Coordinate c of point j sits at 3j + c of the 3W doubles of three vectors: in vector (3j + c) / W, lane
// (3j + c) % W. As 3 and W have no common factor, the lanes of the W points are all different, so the
// coordinate is gathered by two blends, which keep every lane in place, and one permutation.
constexpr unsigned sourceOfLane(unsigned c, unsigned lane) {
  unsigned j = 0;
  while ((3 * j + c) % W != lane) ++j;
  return (3 * j + c) / W;
}
template <std::size_t... L>
constexpr Index blendMask(unsigned c, unsigned from, std::index_sequence<L...>) {
  return Index{static_cast<long long>(sourceOfLane(c, L) == from ? W + L : L)...};
}
template <std::size_t... J>
constexpr Index placeMask(unsigned c, std::index_sequence<J...>) {
  return Index{static_cast<long long>((3 * J + c) % W)...};
}
// Coordinate c of the W points held, three doubles each, by v[0], v[1] and v[2] in turn.
template <unsigned c>
[[gnu::always_inline]] inline V coordinate(const V v[3]) {
  constexpr Index take1 = blendMask(c, 1, std::make_index_sequence<W>());
  constexpr Index take2 = blendMask(c, 2, std::make_index_sequence<W>());
  constexpr Index place = placeMask(c, std::make_index_sequence<W>());
  return __builtin_shuffle(__builtin_shuffle(__builtin_shuffle(v[0], v[1], take1), v[2], take2), place);
}

// W doubles from p, wherever p points.
typedef double Unaligned __attribute__((vector_size(8 * W), aligned(8)));
[[gnu::always_inline]] inline V load(const double* p) { return *reinterpret_cast<const Unaligned*>(p); }

// Points first, ..., first + W - 1 of an array of points (three doubles each); lanes past last repeat
// point last.
[[gnu::always_inline]] inline Lanes3 loadPoints(const double* p, unsigned first, unsigned last) {
  if (first + W - 1 <= last) {
    const double* q = p + 3 * first;
    const V v[3] = {load(q), load(q + W), load(q + 2 * W)};
    return {coordinate<0>(v), coordinate<1>(v), coordinate<2>(v)};
  }
  unsigned at[W];
  for (unsigned j = 0; j < W; ++j) at[j] = 3 * ((first + j < last) ? first + j : last);
  return {lanes([&](unsigned j) { return p[at[j]]; }), lanes([&](unsigned j) { return p[at[j] + 1]; }),
          lanes([&](unsigned j) { return p[at[j] + 2]; })};
}

// p - c, coordinate by coordinate (a point less a point, as ERPoint3D subtracts).
[[gnu::always_inline]] inline Lanes3 less(const Lanes3& p, const double c[3]) {
  return {p.x - splat(c[0]), p.y - splat(c[1]), p.z - splat(c[2])};
}

// The isometry on every lane: for a change of frame its own arithmetic, M.p + O row by row; for any
// other representation the handle itself, lane by lane.
[[gnu::always_inline]] inline Lanes3 moved(const ERPassFrame& f, const Lanes3& p) {
  if (f.isFrame) {
    const double* m = f.m;
    return {((splat(m[0]) * p.x + splat(m[1]) * p.y) + splat(m[2]) * p.z) + splat(f.t[0]),
            ((splat(m[3]) * p.x + splat(m[4]) * p.y) + splat(m[5]) * p.z) + splat(f.t[1]),
            ((splat(m[6]) * p.x + splat(m[7]) * p.y) + splat(m[8]) * p.z) + splat(f.t[2])};
  }
  double r[3][W];
  for (unsigned j = 0; j < W; ++j)
    ERPassFrame::applyHandle(f, p.x[j], p.y[j], p.z[j], r[0][j], r[1][j], r[2][j]);
  return {lanes([&](unsigned j) { return r[0][j]; }), lanes([&](unsigned j) { return r[1][j]; }),
          lanes([&](unsigned j) { return r[2][j]; })};
}

// Where a pass reads its chunks: first(i, last) and second(i, last) are the first and the second points
// of pairs i, ..., i + W - 1, the lanes past pair last holding that pair or the padding of the rows.
struct ArraysOfPoints {
  const double* from;
  const double* to;
  [[gnu::always_inline]] Lanes3 first(unsigned i, unsigned last) const { return loadPoints(from, i, last); }
  [[gnu::always_inline]] Lanes3 second(unsigned i, unsigned last) const { return loadPoints(to, i, last); }
};
struct PairRows {
  const double* rows;
  [[gnu::always_inline]] const double* at(unsigned i) const { return rows + ERRowOffset(i); }
  [[gnu::always_inline]] Lanes3 first(unsigned i, unsigned) const {
    const double* r = at(i);
    return {load(r), load(r + ERRowChunk), load(r + 2 * ERRowChunk)};
  }
  [[gnu::always_inline]] Lanes3 second(unsigned i, unsigned) const {
    const double* r = at(i) + 3 * ERRowChunk;
    return {load(r), load(r + ERRowChunk), load(r + 2 * ERRowChunk)};
  }
};
static_assert(ERRowChunk % W == 0, "a chunk of rows holds whole vectors");

// Runs body(source) with the reader of the pairs of s.
template <class Body>
[[gnu::always_inline]] inline void onSource(const ERPairSource& s, Body body) {
  if (s.rows)
    body(PairRows{s.rows});
  else
    body(ArraysOfPoints{s.from, s.to});
}

// The pairs of c for the pairs first, ... of a source.
template <class Source>
[[gnu::always_inline]] inline void centredChunk(const Source& source, unsigned first, unsigned last,
                                                const ERPairCentring& c, Lanes3& a, Lanes3& b) {
  a = less(source.first(first, last), c.cFrom);
  if (c.frame) a = moved(*c.frame, a);
  b = less(source.second(first, last), c.cTo);
}

// Runs stage(first, count) over the consecutive chunks of n pairs.
template <class Stage>
[[gnu::always_inline]] inline void forEachChunk(unsigned n, Stage stage) {
  for (unsigned first = 0; first < n; first += W) stage(first, (n - first < W) ? n - first : W);
}

// Runs work(first, chunk) then fold(first, count, chunk) over the consecutive chunks of n pairs, working
// out each chunk before folding the one before it: the vector work of a chunk then overlaps the serial
// fold of the previous one instead of waiting for it.
template <class Chunk, class Work, class Fold>
[[gnu::always_inline]] inline void forEachChunkAhead(unsigned n, Work work, Fold fold) {
  if (n == 0) return;
  Chunk chunks[2];
  work(0u, chunks[0]);
  unsigned current = 0;
  for (unsigned first = 0; first < n; first += W) {
    const unsigned next = first + W;
    if (next < n) work(next, chunks[1 - current]);
    fold(first, (n - first < W) ? n - first : W, chunks[current]);
    current = 1 - current;
  }
}

}  // namespace

namespace {
[[gnu::flatten]] unsigned gatheredPairs(const double* pairs, unsigned n, double* rows, double* sum) {
  // Each pair is read as `groups` vectors of W of its doubles, from its first; the lanes past its sixth
  // double (the next pair's, or zero past the last pair) are carried along and never used.
  constexpr unsigned groups = (6 + W - 1) / W;
  constexpr unsigned spread = groups * W;
  // A coordinate is unset when it holds max, or -max for the two x: with the sign of the two x dropped
  // and the lanes that are no coordinate zeroed, exactly when it equals max.
  const V top = splat(std::numeric_limits<double>::max());
  Index marked[groups];
  V total[groups];
  for (unsigned g = 0; g < groups; ++g) {
    for (unsigned l = 0; l < W; ++l) {
      const unsigned k = g * W + l;
      marked[g][l] = (k >= 6) ? 0 : (k == 0 || k == 3) ? 0x7fffffffffffffffLL : -1LL;
    }
    total[g] = lanes([&](unsigned l) { return (sum && g * W + l < 6) ? sum[g * W + l] : 0.0; });
  }
  auto marker = [&](unsigned g, V x) { return reinterpret_cast<V>(reinterpret_cast<Index>(x) & marked[g]); };
  if (n == 0) return 0;
  // The last pair, copied so that its reads stay within it.
  double last[spread] = {};
  for (unsigned k = 0; k < 6; ++k) last[k] = pairs[6 * (n - 1) + k];
  for (unsigned first = 0; first < n; first += W) {
    const unsigned count = (n - first < W) ? n - first : W;
    // The pairs a few chunks on asked for ahead of their reads: a pass over a large array then waits less
    // on memory.
    for (unsigned k = 0; k < 6 * W; k += 8) __builtin_prefetch(pairs + 6 * (first + 256) + k);
    V v[groups][W];  // v[g][j]: doubles g * W, ... of pair first + j
    for (unsigned j = 0; j < W; ++j) {
      const unsigned i = first + j;
      const double* p = (i + 1 < n) ? pairs + 6 * i : last;
      for (unsigned g = 0; g < groups; ++g) v[g][j] = load(p + g * W);
    }
    if (sum) {
      // The largest marker view of the chunk reaches max only where a coordinate is unset or infinite (a
      // NaN is passed over); the chunk is then looked at pair by pair.
      V highest = splat(0.0);
      forEachLane(count, [&](unsigned j) {
        for (unsigned g = 0; g < groups; ++g) {
          total[g] += v[g][j];
          const V m = marker(g, v[g][j]);
          highest = (m > highest) ? m : highest;
        }
      });
      if (lanesWhere<AtLeast>(highest, top) != 0)
        for (unsigned j = 0; j < count; ++j)
          for (unsigned g = 0; g < groups; ++g)
            if (lanesWhere<Equal>(marker(g, v[g][j]), top) != 0) return first + j;
    }
    if (rows) {
      double* r = rows + ERRowOffset(first);
      for (unsigned g = 0; g < groups; ++g) transpose(v[g]);
      for (unsigned k = 0; k < 6; ++k) *reinterpret_cast<Unaligned*>(r + k * ERRowChunk) = v[k / W][k % W];
    }
  }
  if (rows) {
    // The rest of the last chunk of rows repeats the last pair.
    const unsigned end = (n + ERRowChunk - 1) / ERRowChunk * ERRowChunk;
    for (unsigned i = (n + W - 1) / W * W; i < end; ++i)
      for (unsigned k = 0; k < 6; ++k) rows[ERRowOffset(i) + k * ERRowChunk] = last[k];
  }
  if (sum)
    for (unsigned k = 0; k < 6; ++k) sum[k] = total[k / W][k % W];
  return n;
}
}  // namespace

void gatherPairs(const double* pairs, unsigned n, double* rows, double* sum, unsigned& answer) {
  answer = gatheredPairs(pairs, n, rows, sum);
}

[[gnu::flatten]] void sumCentred(const ERPairSource& s, unsigned n, const ERPairCentring& c, double sum[6]) {
  onSource(s, [&](const auto& source) {
    // The six sums lie along the lanes of `groups` vectors (lanes past the sixth stay zero); each chunk is
    // transposed so that a pair's six coordinates are added to them in one go per vector, every lane still
    // summing its own coordinate in pair order.
    constexpr unsigned groups = (6 + W - 1) / W;
    V total[groups];
    for (unsigned g = 0; g < groups; ++g)
      total[g] = lanes([&](unsigned l) { return (g * W + l < 6) ? sum[g * W + l] : 0.0; });
    forEachChunk(n, [&](unsigned first, unsigned count) {
      Lanes3 a, b;
      centredChunk(source, first, n - 1, c, a, b);
      V rows[groups * W];
      const V coordinates[6] = {a.x, a.y, a.z, b.x, b.y, b.z};
      for (unsigned k = 0; k < groups * W; ++k) rows[k] = (k < 6) ? coordinates[k] : splat(0.0);
      for (unsigned g = 0; g < groups; ++g) transpose(rows + g * W);
      forEachLane(count, [&](unsigned j) {
        for (unsigned g = 0; g < groups; ++g) total[g] += rows[g * W + j];
      });
    });
    for (unsigned k = 0; k < 6; ++k) sum[k] = total[k / W][k % W];
  });
}

[[gnu::flatten]] void largestNorme2(const ERPairSource& s, unsigned n, const ERPairCentring& c,
                                    const double centre[3], double& largest) {
  onSource(s, [&](const auto& source) {
    double high = largest;
    forEachChunk(n, [&](unsigned first, unsigned count) {
      Lanes3 a, b;
      centredChunk(source, first, n - 1, c, a, b);
      const Lanes3 d = less(a, centre);
      const V norme2 = (d.x * d.x + d.y * d.y) + d.z * d.z;
      for (unsigned j = 0; j < count; ++j) high = larger(high, norme2[j]);
    });
    largest = high;
  });
}

[[gnu::flatten]] void crossMean(const ERPairSource& s, unsigned n, unsigned base, const ERPairCentring& c,
                                const double cA[3], const double cB[3], double scale, double cross[27]) {
  onSource(s, [&](const auto& source) {
    // Pair i brings nine products t = (add B.z A[k], add B.y A[k], add B.x A[k]) for k = 0, 1, 2, in that
    // order. Each product is added to one entry of cross and subtracted from another, so the 18 entries
    // that move are kept in two rows of nine, plus and minus, lane l of each receiving +t[l] and -t[l]:
    const int plus[9] = {9, 10, 11, 6, 7, 8, 21, 22, 23};    // (1, k), (0, k + 6), (2, k + 3)
    const int minus[9] = {3, 4, 5, 18, 19, 20, 15, 16, 17};  // (0, k + 3), (2, k), (1, k + 6)
    // The first eight lanes of each row in 8 / W vectors, the ninth alone.
    constexpr unsigned groups = 8 / W;
    const V s = splat(scale);
    struct Chunk {
      V rows[8];  // transposed: the first eight products of pair j along rows[j / W * W ... ]
      V last;     // the ninth product of each pair
      V keep;     // the weight of the running mean so far
    };
    auto work = [&](unsigned first, Chunk& out) {
      Lanes3 a, b;
      centredChunk(source, first, n - 1, c, a, b);
      const Lanes3 pa = less(a, cA), pb = less(b, cB);
      const V ax = pa.x / s, ay = pa.y / s, az = pa.z / s;
      // Pair i enters with keep = i / (i + 1) and add = 1 / (i + 1), the very first with keep = 1.
      const V index = counting(static_cast<double>(base) + static_cast<double>(first));
      const V next = index + splat(1.0);
      out.keep = index / next;
      const V add = splat(1.0) / next;
      if (base + first == 0) out.keep[0] = 1.0;
      const V bx = add * (pb.x / s), by = add * (pb.y / s), bz = add * (pb.z / s);
      const V products[9] = {bz * ax, bz * ay, bz * az, by * ax, by * ay, by * az, bx * ax, bx * ay, bx * az};
      for (unsigned k = 0; k < 8; ++k) out.rows[k] = products[k];
      for (unsigned g = 0; g < groups; ++g) transpose(out.rows + g * W);
      out.last = products[8];
    };
    // The running means of both rows; with mirrored, the minus row is not worked out but left to be
    // the negated plus row. Answers whether every entry came out as its row's fold gives it.
    auto fold = [&](auto mirrored) {
      V up[groups], down[groups];
      for (unsigned g = 0; g < groups; ++g) {
        up[g] = lanes([&](unsigned l) { return cross[plus[g * W + l]]; });
        down[g] = lanes([&](unsigned l) { return cross[minus[g * W + l]]; });
      }
      double up8 = cross[plus[8]], down8 = cross[minus[8]];
      forEachChunkAhead<Chunk>(n, work, [&](unsigned, unsigned count, const Chunk& chunk) {
        forEachLane(count, [&](unsigned j) {
          const double k = chunk.keep[j];
          const V kp = splat(k);
          for (unsigned g = 0; g < groups; ++g) {
            // Lanes g * W ... of the rows of pair j: vector j of block g.
            const V t = chunk.rows[g * W + j];
            up[g] = kp * up[g] + t;
            if (!mirrored) down[g] = kp * down[g] - t;
          }
          up8 = k * up8 + chunk.last[j];
          if (!mirrored) down8 = k * down8 - chunk.last[j];
        });
      });
      double ups[9], downs[9];
      for (unsigned l = 0; l < 8; ++l) {
        ups[l] = up[l / W][l % W];
        downs[l] = down[l / W][l % W];
      }
      ups[8] = up8;
      downs[8] = down8;
      if (mirrored) {
        // Every step gives the minus entry as the negated plus entry, rounding being symmetric, except
        // where the entries cancel to zero or turn to NaN: there the signs part, so the fold is
        // worked out again in full.
        for (unsigned l = 0; l < 9; ++l)
          if (ups[l] == 0.0 || ups[l] != ups[l]) return false;
        for (unsigned l = 0; l < 9; ++l) downs[l] = -ups[l];
      }
      for (unsigned l = 0; l < 9; ++l) {
        cross[plus[l]] = ups[l];
        cross[minus[l]] = downs[l];
      }
      return true;
    };
    // The rows start mirrored when each minus entry is the negated plus entry, or both are zero (a zero
    // of either sign turns into -t and t at the first product that is not zero, as a mirrored pair does).
    bool mirrored = true;
    for (unsigned l = 0; l < 9; ++l) {
      const double p = cross[plus[l]], m = cross[minus[l]];
      mirrored &= (p == 0.0 && m == 0.0) || (p != 0.0 && p == -m);
    }
    if (!mirrored || !fold(std::true_type())) fold(std::false_type());
  });
}

[[gnu::flatten]] void residuals(const ERPairSource& s, unsigned n, const ERPassFrame& f, ERPassSeries& series,
                                double* values) {
  onSource(s, [&](const auto& source) {
    const double before = series.count;
    ERDoublePair means = {series.mean, series.meanSquare};
    double low = series.min, high = series.max;
    struct Chunk {
      V x;  // the distances
      union {
        V halves[2];
        ERDoublePair pair[W];  // the shares of each distance in the mean and in the mean of squares
      } shares;
      V keep;  // the weight of the running means so far
    };
    auto work = [&](unsigned first, Chunk& out) {
      const Lanes3 p = moved(f, source.first(first, n - 1));
      const Lanes3 b = source.second(first, n - 1);
      const V dx = b.x - p.x, dy = b.y - p.y, dz = b.z - p.z;
      out.x = squareRoot((dx * dx + dy * dy) + dz * dz);
      // The count after each addition, and the shares of the new value and of the running means.
      const V count1 = counting(before + static_cast<double>(first + 1));
      out.keep = (count1 - splat(1.0)) / count1;
      interleave(out.x / count1, (out.x * out.x) / count1, out.shares.halves);
    };
    forEachChunkAhead<Chunk>(n, work, [&](unsigned first, unsigned count, const Chunk& chunk) {
      unsigned j = 0;
      if (before == 0 && first == 0) {
        // The first value of the series is its minimum and its maximum.
        means = chunk.shares.pair[0] + means * ERDoublePair{chunk.keep[0], chunk.keep[0]};
        high = chunk.x[0];
        low = chunk.x[0];
        j = 1;
      }
      auto fold = [&](unsigned i) {
        means = chunk.shares.pair[i] + means * ERDoublePair{chunk.keep[i], chunk.keep[i]};
        high = larger(high, chunk.x[i]);
        low = smaller(low, chunk.x[i]);
      };
      if (j == 0)
        forEachLane(count, fold);
      else
        for (; j < count; ++j) fold(j);
      if (!values) return;
      if (count == W)
        __builtin_memcpy(values + first, &chunk.x, sizeof chunk.x);
      else
        for (unsigned k = 0; k < count; ++k) values[first + k] = chunk.x[k];
    });
    series.count = before + n;
    series.mean = means[0];
    series.meanSquare = means[1];
    series.min = low;
    series.max = high;
  });
}
