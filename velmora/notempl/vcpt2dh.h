// Vectors and slices of plane poles: ERPole2DHVec, the growable copy-on-write vector, and ERPole2DHSlice, its
// strided view, with their element-wise arithmetic. Every member is the family's (vcfamily.h, mafamily.h);
// elements compare with ERPole2DH's operator== and isEqual.
#ifndef VELMORA_NOTEMPL_VCPT2DH_H
#define VELMORA_NOTEMPL_VCPT2DH_H

#include "velmora/notempl/mafamily.h"
#include "velmora/notempl/vcfamily.h"
#include "velmora/vector3d.h"

// ERPole2DHVecTraits, ERPole2DHVec and ERPole2DHSlice.
ER_VEC_FAMILY(ERPole2DH, ERPole2DHVec, ERPole2DHSlice, "vcpt2dh", "mapt2dh");

#endif
