// The host-facing entry of the library: rigid alignment of interleaved point pairs given in the
// host's own geometry types.
#ifndef VELMORA_VELALIGN_H
#define VELMORA_VELALIGN_H

#include "velmora/host.h"

class velAlign {
 public:
  // points: element 2k is the k-th point to move, element 2k+1 the point it must reach. On success
  // (1) xform's linear block is overwritten and xform is then premultiplied by the translation (pass
  // a freshly constructed transform), and error receives the mean residual distance. On failure (0)
  // both are left untouched.
  static int calc_align_transform(const giPoint3coPageArr& points, giXform3& xform, double& error);

  velAlign() = delete;
};

#endif
