// Vectors and slices of doubles: ERDoubleVec, the growable copy-on-write vector, and ERDoubleSlice, its
// strided view, with their element-wise arithmetic. Every member is the family's (vcfamily.h, mafamily.h);
// elements compare exactly with == and within a tolerance as abs(a - b) <= tol.
#ifndef VELMORA_NOTEMPL_VCDOUBLE_H
#define VELMORA_NOTEMPL_VCDOUBLE_H

#include "velmora/notempl/mafamily.h"
#include "velmora/notempl/vcfamily.h"

// ERDoubleVecTraits, ERDoubleVec and ERDoubleSlice.
ER_VEC_FAMILY(double, ERDoubleVec, ERDoubleSlice, "vcdouble", "madouble");

#endif
