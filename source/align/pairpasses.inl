// The per-pair passes of the rigid solve, written once for a vector of W doubles. pairpasses.cpp
// includes this file once per width, each time inside its own namespace that defines W, the vector V
// of W doubles and its squareRoot, under the instruction set that width needs; it includes nothing
// itself. The passes read plain doubles and call no in-line function of the library, so that nothing
// compiled for another instruction set has to be in-lined into them.
//
// Every pass has two stages per chunk of W pairs: a vector stage that works out, lane by lane, what
// each pair contributes (points moved, centred, scaled, divided by their counts), and a serial stage
// that folds those contributions into the running sums, maxima and means in pair order. Lanes are
// rounded as scalar operations are, and the serial stage keeps the order of the pairs, so every pass
// gives the results of the one-pair-at-a-time loop bit for bit, whatever W is. Lanes past the last pair
// of a block repeat that pair and are never folded in.

namespace {

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

typedef long long Index __attribute__((vector_size(8 * W)));
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

// Points first, ..., first + W - 1 of an array of points (three doubles each); lanes past last repeat
// point last.
[[gnu::always_inline]] inline Lanes3 loadPoints(const double* p, unsigned first, unsigned last) {
  if (first + W - 1 <= last) {
    typedef double Unaligned __attribute__((vector_size(8 * W), aligned(8)));
    const Unaligned* q = reinterpret_cast<const Unaligned*>(p + 3 * first);
    const V v[3] = {q[0], q[1], q[2]};
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
  for (unsigned j = 0; j < W; ++j) ERPassFrame::applyHandle(f, p.x[j], p.y[j], p.z[j], r[0][j], r[1][j], r[2][j]);
  return {lanes([&](unsigned j) { return r[0][j]; }), lanes([&](unsigned j) { return r[1][j]; }),
          lanes([&](unsigned j) { return r[2][j]; })};
}

// The pairs of c for the points first, ... of a block.
[[gnu::always_inline]] inline void centredChunk(const double* from, const double* to, unsigned first,
                                                unsigned last, const ERPairCentring& c, Lanes3& a, Lanes3& b) {
  a = less(loadPoints(from, first, last), c.cFrom);
  if (c.frame) a = moved(*c.frame, a);
  b = less(loadPoints(to, first, last), c.cTo);
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

void sumCentred(const ERPoint3D* fromPoints, const ERPoint3D* toPoints, unsigned n, const ERPairCentring& c,
                double sum[6]) {
  const double* from = reinterpret_cast<const double*>(fromPoints);
  const double* to = reinterpret_cast<const double*>(toPoints);
  double s[6] = {sum[0], sum[1], sum[2], sum[3], sum[4], sum[5]};
  forEachChunk(n, [&](unsigned first, unsigned count) {
    Lanes3 a, b;
    centredChunk(from, to, first, n - 1, c, a, b);
    for (unsigned j = 0; j < count; ++j) {
      s[0] += a.x[j];
      s[1] += a.y[j];
      s[2] += a.z[j];
      s[3] += b.x[j];
      s[4] += b.y[j];
      s[5] += b.z[j];
    }
  });
  for (int k = 0; k < 6; ++k) sum[k] = s[k];
}

void largestNorme2(const ERPoint3D* fromPoints, const ERPoint3D* toPoints, unsigned n, const ERPairCentring& c,
                   const double centre[3], double& largest) {
  const double* from = reinterpret_cast<const double*>(fromPoints);
  const double* to = reinterpret_cast<const double*>(toPoints);
  double high = largest;
  forEachChunk(n, [&](unsigned first, unsigned count) {
    Lanes3 a, b;
    centredChunk(from, to, first, n - 1, c, a, b);
    const Lanes3 d = less(a, centre);
    const V norme2 = (d.x * d.x + d.y * d.y) + d.z * d.z;
    for (unsigned j = 0; j < count; ++j) high = larger(high, norme2[j]);
  });
  largest = high;
}

void crossMean(const ERPoint3D* fromPoints, const ERPoint3D* toPoints, unsigned n, unsigned base,
               const ERPairCentring& c, const double cA[3], const double cB[3], double scale, double cross[27]) {
  const double* from = reinterpret_cast<const double*>(fromPoints);
  const double* to = reinterpret_cast<const double*>(toPoints);
  // The 18 entries that move, two to a register: for column group k, u[k] holds (1, k) and (0, k + 6),
  // v[k] holds (2, k) and (0, k + 3), w[k] holds (2, k + 3) and (1, k + 6). A subtracted term is added
  // negated, which is the same operation to the bit.
  ERDoublePair u[3], v[3], w[3];
  for (int k = 0; k < 3; ++k) {
    u[k] = ERDoublePair{cross[9 + k], cross[k + 6]};
    v[k] = ERDoublePair{cross[18 + k], cross[k + 3]};
    w[k] = ERDoublePair{cross[18 + k + 3], cross[9 + k + 6]};
  }
  const V s = splat(scale);
  // The terms of each pair in the order the registers take them: pair[3k], pair[3k + 1] and
  // pair[3k + 2] hold, pair after pair, the two terms of u[k], v[k] and w[k]; keep is the weight of the
  // running mean so far.
  union Terms {
    Terms() {}
    V halves[9][2];
    ERDoublePair pair[9][W];
  };
  struct Chunk {
    Chunk() {}
    Terms terms;
    V keep;
  };
  auto work = [&](unsigned first, Chunk& out) {
    Lanes3 a, b;
    centredChunk(from, to, first, n - 1, c, a, b);
    const Lanes3 pa = less(a, cA), pb = less(b, cB);
    const V ax = pa.x / s, ay = pa.y / s, az = pa.z / s;
    // Pair i enters with keep = i / (i + 1) and add = 1 / (i + 1), the very first with keep = 1.
    const V index = counting(static_cast<double>(base) + static_cast<double>(first));
    const V next = index + splat(1.0);
    out.keep = index / next;
    const V add = splat(1.0) / next;
    if (base + first == 0) out.keep[0] = 1.0;
    const V bx = add * (pb.x / s), by = add * (pb.y / s), bz = add * (pb.z / s);
    const V ak[3] = {ax, ay, az};
    for (int k = 0; k < 3; ++k) {
      const V z = bz * ak[k], y = by * ak[k], x = bx * ak[k];
      interleave(z, y, out.terms.halves[3 * k]);
      interleave(-y, -z, out.terms.halves[3 * k + 1]);
      interleave(x, -x, out.terms.halves[3 * k + 2]);
    }
  };
  forEachChunkAhead<Chunk>(n, work, [&](unsigned, unsigned count, const Chunk& chunk) {
    for (unsigned j = 0; j < count; ++j) {
      const ERDoublePair kp = {chunk.keep[j], chunk.keep[j]};
      for (int k = 0; k < 3; ++k) {
        u[k] = kp * u[k] + chunk.terms.pair[3 * k][j];
        v[k] = kp * v[k] + chunk.terms.pair[3 * k + 1][j];
        w[k] = kp * w[k] + chunk.terms.pair[3 * k + 2][j];
      }
    }
  });
  for (int k = 0; k < 3; ++k) {
    cross[9 + k] = u[k][0];
    cross[k + 6] = u[k][1];
    cross[18 + k] = v[k][0];
    cross[k + 3] = v[k][1];
    cross[18 + k + 3] = w[k][0];
    cross[9 + k + 6] = w[k][1];
  }
}

void residuals(const ERPoint3D* fromPoints, const ERPoint3D* toPoints, unsigned n, const ERPassFrame& f,
               ERPassSeries& series, double* values) {
  const double* from = reinterpret_cast<const double*>(fromPoints);
  const double* to = reinterpret_cast<const double*>(toPoints);
  const double before = series.count;
  ERDoublePair means = {series.mean, series.meanSquare};
  double low = series.min, high = series.max;
  forEachChunk(n, [&](unsigned first, unsigned count) {
    const Lanes3 p = moved(f, loadPoints(from, first, n - 1));
    const Lanes3 b = loadPoints(to, first, n - 1);
    const V dx = b.x - p.x, dy = b.y - p.y, dz = b.z - p.z;
    const V x = squareRoot((dx * dx + dy * dy) + dz * dz);
    // The count after each addition, and the shares of the new value and of the running means.
    const V count1 = counting(before + static_cast<double>(first + 1));
    const V keep = (count1 - splat(1.0)) / count1;
    const V share = x / count1, shareSquare = (x * x) / count1;
    for (unsigned j = 0; j < count; ++j) {
      values[first + j] = x[j];
      means = ERDoublePair{share[j], shareSquare[j]} + means * ERDoublePair{keep[j], keep[j]};
      if (count1[j] <= 1) {
        high = x[j];
        low = x[j];
      } else {
        high = larger(high, x[j]);
        low = smaller(low, x[j]);
      }
    }
  });
  series.count = before + n;
  series.mean = means[0];
  series.meanSquare = means[1];
  series.min = low;
  series.max = high;
}
