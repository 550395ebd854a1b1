// Vectors and slices of space points: ERPoint3DVec, the growable copy-on-write vector, and ERPoint3DSlice,
// its strided view, with their element-wise arithmetic. Every member is the family's (vcfamily.h,
// mafamily.h); elements compare with ERPoint3D's operator== and isEqual.
#ifndef VELMORA_NOTEMPL_VCPT3D_H
#define VELMORA_NOTEMPL_VCPT3D_H

#include "velmora/notempl/mafamily.h"
#include "velmora/notempl/vcfamily.h"
#include "velmora/vector3d.h"

// ERPoint3DVecTraits, ERPoint3DVec and ERPoint3DSlice.
ER_VEC_FAMILY(ERPoint3D, ERPoint3DVec, ERPoint3DSlice, "vcpt3d", "mapt3d");

#endif
