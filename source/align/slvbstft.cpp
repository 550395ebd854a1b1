// The alignment solvers: the running statistic series of residuals.
#include "velmora/slvbstft.h"

#include "velmora/ercommon.h"

#define ER_THIS_UNIT "source/align/slvbstft"

namespace {

// Makes room for one more element, doubling the capacity when the vector is full: the storage block
// itself grows by a fixed step, so callers that append one element at a time reserve geometrically to
// keep each append amortised constant time.
template <class Vec>
void reserveForAppend(Vec& v) {
  const unsigned length = v.length();
  if (length == v.capacity()) v.capacity(ERMax(2 * length, 16u));
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Statistic series

void ERSerieStatistique::Reset() {
  values = ERDoubleVec();
  mean = 0.0;
  variance = 0.0;
  meanSquare = 0.0;
  max = 0.0;
  min = 0.0;
}

void ERSerieStatistique::Add(double x) {
  reserveForAppend(values);
  values.append(x);
  const double n = values.length();
  const double w = (n - 1) / n;
  mean = x / n + mean * w;
  meanSquare = x * x / n + meanSquare * w;
  if (n <= 1) {
    max = x;
    min = x;
  } else {
    // From the running mean of squares, not from the stored values: kept as it is.
    variance = (meanSquare * n - n * mean * mean) / (n - 1);
    max = ERMax(max, x);
    min = ERMin(min, x);
  }
}
