// The alignment solvers: the running statistic series of residuals.
#ifndef VELMORA_SLVBSTFT_H
#define VELMORA_SLVBSTFT_H

#include "velmora/dblvec.h"

// A series of doubles with its running mean, mean of squares, sample variance (divisor n - 1), minimum
// and maximum, all kept up to date by Add. It has no constructor of its own: the five doubles hold
// nothing meaningful until Reset, which every user calls first.
class ERSerieStatistique {
 public:
  // Empties the series and sets the five statistics to 0.0.
  void Reset();
  // Appends x and updates the statistics incrementally from their previous values.
  void Add(double x);

  ERDoubleVec values;  // every value added, in order
  double mean;
  double variance;
  double meanSquare;
  double min;
  double max;
};

#endif
