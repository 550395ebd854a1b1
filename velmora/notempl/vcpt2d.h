// Vectors and slices of plane points: ERPoint2DVec, the growable copy-on-write vector, and ERPoint2DSlice,
// its strided view, with their element-wise arithmetic. Every member is the family's (vcfamily.h,
// mafamily.h); elements compare with ERPoint2D's operator== and isEqual.
#ifndef VELMORA_NOTEMPL_VCPT2D_H
#define VELMORA_NOTEMPL_VCPT2D_H

#include "velmora/notempl/mafamily.h"
#include "velmora/notempl/vcfamily.h"
#include "velmora/vector3d.h"

// ERPoint2DVecTraits, ERPoint2DVec and ERPoint2DSlice.
ER_VEC_FAMILY(ERPoint2D, ERPoint2DVec, ERPoint2DSlice, "vcpt2d", "mapt2d");

#endif
