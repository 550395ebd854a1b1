// The passes of the exact fit, written once for four pairs at a time (a vector of four doubles) and
// compiled once per instruction set: fitpasses.cpp includes this file inside a namespace of its own for
// each, with FIT_SQRT4 naming the square root of four lanes. Every variant performs the same operations in
// the same order on the same four lanes, so all of them give the same bits.

typedef double v4 __attribute__((vector_size(4 * sizeof(double))));

// Pairs summed into the lane accumulators before those are added to the running totals: the rounding of
// a sum grows with the block length plus the number of blocks, not with the pair count.
constexpr std::size_t kBlock = 256;

inline __attribute__((always_inline)) v4 splat(double v) { return v4{v, v, v, v}; }

// Coordinates c of four points (the points at p, p + ps, p + 2 ps, p + 3 ps).
template <bool Contiguous>
inline __attribute__((always_inline)) void load4(const double* p, std::ptrdiff_t ps, std::ptrdiff_t cs, v4& x,
                                                 v4& y, v4& z) {
  if (Contiguous) {
    x = v4{p[0], p[3], p[6], p[9]};
    y = v4{p[1], p[4], p[7], p[10]};
    z = v4{p[2], p[5], p[8], p[11]};
  } else {
    x = v4{p[0], p[ps], p[2 * ps], p[3 * ps]};
    y = v4{p[cs], p[ps + cs], p[2 * ps + cs], p[3 * ps + cs]};
    z = v4{p[2 * cs], p[ps + 2 * cs], p[2 * ps + 2 * cs], p[3 * ps + 2 * cs]};
  }
}

// The last pairs of a block, fewer than four, copied into a group of four whose missing points are the
// given fill points and whose missing weights are 0.
struct TailGroup {
  double from[12], to[12], w[4];
  TailGroup(const PointsView& s, const PointsView& t, const WeightsView& wv, std::size_t i, std::size_t n,
            const double fillFrom[3], const double fillTo[3]) {
    for (std::size_t l = 0; l < 4; ++l) {
      const bool in = i + l < n;
      for (int c = 0; c < 3; ++c) {
        from[3 * l + c] = in ? s.data[static_cast<std::ptrdiff_t>(i + l) * s.pointStride + c * s.coordStride]
                             : fillFrom[c];
        to[3 * l + c] = in ? t.data[static_cast<std::ptrdiff_t>(i + l) * t.pointStride + c * t.coordStride]
                           : fillTo[c];
      }
      w[l] = !in ? 0.0 : (wv.data != nullptr ? wv.data[static_cast<std::ptrdiff_t>(i + l) * wv.stride] : 1.0);
    }
  }
};

// Lane accumulators of the moments, in the order of RawMoments' fields.
enum { kW, kSx, kSy = kSx + 3, kSxx = kSy + 3, kSyy = kSxx + 6, kSxy = kSyy + 6, kMomentSums = kSxy + 9 };

template <bool Weighted, bool Scaled>
inline __attribute__((always_inline)) void addMoments(v4* acc, v4 x0, v4 x1, v4 x2, v4 y0, v4 y1, v4 y2, v4 w,
                                                      const v4* origin, v4 inverseUnit) {
  v4 d0 = x0 - origin[0], d1 = x1 - origin[1], d2 = x2 - origin[2];
  v4 e0 = y0 - origin[3], e1 = y1 - origin[4], e2 = y2 - origin[5];
  if (Scaled) {
    d0 *= inverseUnit, d1 *= inverseUnit, d2 *= inverseUnit;
    e0 *= inverseUnit, e1 *= inverseUnit, e2 *= inverseUnit;
  }
  v4 wd0 = d0, wd1 = d1, wd2 = d2, we0 = e0, we1 = e1, we2 = e2;
  if (Weighted) {
    acc[kW] += w;
    wd0 = w * d0, wd1 = w * d1, wd2 = w * d2;
    we0 = w * e0, we1 = w * e1, we2 = w * e2;
  }
  acc[kSx] += wd0, acc[kSx + 1] += wd1, acc[kSx + 2] += wd2;
  acc[kSy] += we0, acc[kSy + 1] += we1, acc[kSy + 2] += we2;
  acc[kSxx] += wd0 * d0, acc[kSxx + 1] += wd0 * d1, acc[kSxx + 2] += wd0 * d2;
  acc[kSxx + 3] += wd1 * d1, acc[kSxx + 4] += wd1 * d2, acc[kSxx + 5] += wd2 * d2;
  acc[kSyy] += we0 * e0, acc[kSyy + 1] += we0 * e1, acc[kSyy + 2] += we0 * e2;
  acc[kSyy + 3] += we1 * e1, acc[kSyy + 4] += we1 * e2, acc[kSyy + 5] += we2 * e2;
  acc[kSxy] += wd0 * e0, acc[kSxy + 1] += wd0 * e1, acc[kSxy + 2] += wd0 * e2;
  acc[kSxy + 3] += wd1 * e0, acc[kSxy + 4] += wd1 * e1, acc[kSxy + 5] += wd1 * e2;
  acc[kSxy + 6] += wd2 * e0, acc[kSxy + 7] += wd2 * e1, acc[kSxy + 8] += wd2 * e2;
}

template <bool Contiguous, bool Weighted, bool Scaled>
void momentsOf(const PointsView& s, const PointsView& t, const WeightsView& wv, const double originFrom[3],
               const double originTo[3], double unit, RawMoments& out) {
  const v4 origin[6] = {splat(originFrom[0]), splat(originFrom[1]), splat(originFrom[2]),
                        splat(originTo[0]),   splat(originTo[1]),   splat(originTo[2])};
  const v4 inverseUnit = splat(1.0 / unit);
  const std::size_t n = s.count;
  v4 total[kMomentSums];
  for (v4& v : total) v = splat(0.0);
  std::size_t i = 0;
  while (i < n) {
    const std::size_t end = n - i > kBlock ? i + kBlock : n;
    v4 acc[kMomentSums];
    for (v4& v : acc) v = splat(0.0);
    for (; i + 4 <= end; i += 4) {
      v4 x0, x1, x2, y0, y1, y2, w = splat(1.0);
      load4<Contiguous>(s.data + static_cast<std::ptrdiff_t>(i) * s.pointStride, s.pointStride, s.coordStride,
                        x0, x1, x2);
      load4<Contiguous>(t.data + static_cast<std::ptrdiff_t>(i) * t.pointStride, t.pointStride, t.coordStride,
                        y0, y1, y2);
      if (Weighted) {
        const double* p = wv.data + static_cast<std::ptrdiff_t>(i) * wv.stride;
        w = v4{p[0], p[wv.stride], p[2 * wv.stride], p[3 * wv.stride]};
      }
      addMoments<Weighted, Scaled>(acc, x0, x1, x2, y0, y1, y2, w, origin, inverseUnit);
    }
    if (i < end) {
      // The missing points are the origins, whose differences are 0, and their weights are 0.
      const TailGroup g(s, t, wv, i, end, originFrom, originTo);
      v4 x0, x1, x2, y0, y1, y2;
      load4<true>(g.from, 3, 1, x0, x1, x2);
      load4<true>(g.to, 3, 1, y0, y1, y2);
      addMoments<Weighted, Scaled>(acc, x0, x1, x2, y0, y1, y2, v4{g.w[0], g.w[1], g.w[2], g.w[3]}, origin,
                                   inverseUnit);
      i = end;
    }
    for (int k = 0; k < kMomentSums; ++k) total[k] += acc[k];
  }
  double sums[kMomentSums];
  for (int k = 0; k < kMomentSums; ++k) sums[k] = (total[k][0] + total[k][1]) + (total[k][2] + total[k][3]);
  out.w = Weighted ? sums[kW] : static_cast<double>(n);
  for (int c = 0; c < 3; ++c) {
    out.sx[c] = sums[kSx + c];
    out.sy[c] = sums[kSy + c];
  }
  for (int k = 0; k < 6; ++k) {
    out.sxx[k] = sums[kSxx + k];
    out.syy[k] = sums[kSyy + k];
  }
  for (int a = 0; a < 3; ++a)
    for (int b = 0; b < 3; ++b) out.sxy[a][b] = sums[kSxy + 3 * a + b];
}

// Lane accumulators of the residual pass.
enum { kDistance, kWeightedSquare, kMax, kMin, kResidualSums };

template <bool Weighted, bool Scaled>
inline __attribute__((always_inline)) void addResiduals(v4* acc, v4 x0, v4 x1, v4 x2, v4 y0, v4 y1, v4 y2, v4 w,
                                                        const v4* frame, double* vectors, double* distances,
                                                        unsigned lanes) {
  const v4 c0 = x0 - frame[0], c1 = x1 - frame[1], c2 = x2 - frame[2];
  const v4 r0 = (y0 - frame[3]) - ((frame[6] * c0 + frame[7] * c1) + frame[8] * c2);
  const v4 r1 = (y1 - frame[4]) - ((frame[9] * c0 + frame[10] * c1) + frame[11] * c2);
  const v4 r2 = (y2 - frame[5]) - ((frame[12] * c0 + frame[13] * c1) + frame[14] * c2);
  // Squares are formed in units of frame[16] (a power of two) when the data are very large or very small.
  v4 square, d;
  if (Scaled) {
    const v4 u0 = r0 * frame[15], u1 = r1 * frame[15], u2 = r2 * frame[15];
    square = (u0 * u0 + u1 * u1) + u2 * u2;
    d = FIT_SQRT4(square) * frame[16];
  } else {
    square = (r0 * r0 + r1 * r1) + r2 * r2;
    d = FIT_SQRT4(square);
  }
  if (Weighted) {
    const v4 zero = splat(0.0);
    const auto counts = w != zero;
    acc[kDistance] += counts ? d : zero;
    acc[kWeightedSquare] += w * square;
    acc[kMax] = (counts & (d > acc[kMax])) ? d : acc[kMax];
    acc[kMin] = (counts & (d < acc[kMin])) ? d : acc[kMin];
  } else {
    acc[kDistance] += d;
    acc[kWeightedSquare] += square;
    acc[kMax] = d > acc[kMax] ? d : acc[kMax];
    acc[kMin] = d < acc[kMin] ? d : acc[kMin];
  }
  if (vectors != nullptr)
    for (unsigned l = 0; l < lanes; ++l) {
      vectors[3 * l] = r0[l];
      vectors[3 * l + 1] = r1[l];
      vectors[3 * l + 2] = r2[l];
    }
  if (distances != nullptr)
    for (unsigned l = 0; l < lanes; ++l) distances[l] = d[l];
}

template <bool Contiguous, bool Weighted, bool Scaled>
void residualsOf(const PointsView& s, const PointsView& t, const WeightsView& wv, const double meanFrom[3],
                 const double meanTo[3], const double a[3][3], double unit, ResidualSums& out, double* vectors,
                 double* distances) {
  v4 frame[17] = {splat(meanFrom[0]), splat(meanFrom[1]), splat(meanFrom[2]),
                  splat(meanTo[0]),   splat(meanTo[1]),   splat(meanTo[2])};
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 3; ++c) frame[6 + 3 * r + c] = splat(a[r][c]);
  frame[15] = splat(1.0 / unit);
  frame[16] = splat(unit);
  const std::size_t n = s.count;
  const double infinity = __builtin_inf();
  v4 total[kResidualSums] = {splat(0.0), splat(0.0), splat(-infinity), splat(infinity)};
  std::size_t i = 0;
  while (i < n) {
    const std::size_t end = n - i > kBlock ? i + kBlock : n;
    v4 acc[kResidualSums] = {splat(0.0), splat(0.0), splat(-infinity), splat(infinity)};
    for (; i + 4 <= end; i += 4) {
      v4 x0, x1, x2, y0, y1, y2, w = splat(1.0);
      load4<Contiguous>(s.data + static_cast<std::ptrdiff_t>(i) * s.pointStride, s.pointStride, s.coordStride,
                        x0, x1, x2);
      load4<Contiguous>(t.data + static_cast<std::ptrdiff_t>(i) * t.pointStride, t.pointStride, t.coordStride,
                        y0, y1, y2);
      if (Weighted) {
        const double* p = wv.data + static_cast<std::ptrdiff_t>(i) * wv.stride;
        w = v4{p[0], p[wv.stride], p[2 * wv.stride], p[3 * wv.stride]};
      }
      addResiduals<Weighted, Scaled>(acc, x0, x1, x2, y0, y1, y2, w, frame, vectors ? vectors + 3 * i : nullptr,
                             distances ? distances + i : nullptr, 4);
    }
    if (i < end) {
      // The missing pairs weigh 0, which leaves them out of every sum and extreme.
      const TailGroup g(s, t, wv, i, end, meanFrom, meanTo);
      v4 x0, x1, x2, y0, y1, y2;
      load4<true>(g.from, 3, 1, x0, x1, x2);
      load4<true>(g.to, 3, 1, y0, y1, y2);
      addResiduals<true, Scaled>(acc, x0, x1, x2, y0, y1, y2, v4{g.w[0], g.w[1], g.w[2], g.w[3]}, frame,
                         vectors ? vectors + 3 * i : nullptr, distances ? distances + i : nullptr,
                         static_cast<unsigned>(end - i));
      i = end;
    }
    total[kDistance] += acc[kDistance];
    total[kWeightedSquare] += acc[kWeightedSquare];
    total[kMax] = acc[kMax] > total[kMax] ? acc[kMax] : total[kMax];
    total[kMin] = acc[kMin] < total[kMin] ? acc[kMin] : total[kMin];
  }
  const v4& mx = total[kMax];
  const v4& mn = total[kMin];
  out.sumDistance = (total[kDistance][0] + total[kDistance][1]) + (total[kDistance][2] + total[kDistance][3]);
  out.sumWeightedSquare = (total[kWeightedSquare][0] + total[kWeightedSquare][1]) +
                          (total[kWeightedSquare][2] + total[kWeightedSquare][3]);
  out.max = std::max(std::max(mx[0], mx[1]), std::max(mx[2], mx[3]));
  out.min = std::min(std::min(mn[0], mn[1]), std::min(mn[2], mn[3]));
}

void sumMoments(const PointsView& s, const PointsView& t, const WeightsView& w, const double originFrom[3],
                const double originTo[3], double unit, RawMoments& out) {
  const bool contiguous = s.pointStride == 3 && s.coordStride == 1 && t.pointStride == 3 && t.coordStride == 1;
  const bool weighted = w.data != nullptr;
  const bool scaled = unit != 1.0;
  // Each combination its own loop, so that the common case carries no test and no multiplication it does
  // not need.
  if (contiguous) {
    if (weighted)
      scaled ? momentsOf<true, true, true>(s, t, w, originFrom, originTo, unit, out)
             : momentsOf<true, true, false>(s, t, w, originFrom, originTo, unit, out);
    else
      scaled ? momentsOf<true, false, true>(s, t, w, originFrom, originTo, unit, out)
             : momentsOf<true, false, false>(s, t, w, originFrom, originTo, unit, out);
  } else {
    if (weighted)
      scaled ? momentsOf<false, true, true>(s, t, w, originFrom, originTo, unit, out)
             : momentsOf<false, true, false>(s, t, w, originFrom, originTo, unit, out);
    else
      scaled ? momentsOf<false, false, true>(s, t, w, originFrom, originTo, unit, out)
             : momentsOf<false, false, false>(s, t, w, originFrom, originTo, unit, out);
  }
}

void sumResiduals(const PointsView& s, const PointsView& t, const WeightsView& w, const double meanFrom[3],
                  const double meanTo[3], const double a[3][3], double unit, ResidualSums& out, double* vectors,
                  double* distances) {
  const bool contiguous = s.pointStride == 3 && s.coordStride == 1 && t.pointStride == 3 && t.coordStride == 1;
  const bool weighted = w.data != nullptr;
  if (unit != 1.0)
    weighted ? residualsOf<false, true, true>(s, t, w, meanFrom, meanTo, a, unit, out, vectors, distances)
             : residualsOf<false, false, true>(s, t, w, meanFrom, meanTo, a, unit, out, vectors, distances);
  else if (contiguous)
    weighted ? residualsOf<true, true, false>(s, t, w, meanFrom, meanTo, a, unit, out, vectors, distances)
             : residualsOf<true, false, false>(s, t, w, meanFrom, meanTo, a, unit, out, vectors, distances);
  else
    weighted ? residualsOf<false, true, false>(s, t, w, meanFrom, meanTo, a, unit, out, vectors, distances)
             : residualsOf<false, false, false>(s, t, w, meanFrom, meanTo, a, unit, out, vectors, distances);
}
