// Vectors and slices of space poles: ERPole3DHVec, the growable copy-on-write vector, and ERPole3DHSlice, its
// strided view, with their element-wise arithmetic. Every member is the family's (vcfamily.h, mafamily.h);
// elements compare with ERPole3DH's operator== and isEqual.
#ifndef VELMORA_NOTEMPL_VCPT3DH_H
#define VELMORA_NOTEMPL_VCPT3DH_H

#include "velmora/notempl/mafamily.h"
#include "velmora/notempl/vcfamily.h"
#include "velmora/vector3d.h"

// ERPole3DHVecTraits, ERPole3DHVec and ERPole3DHSlice.
ER_VEC_FAMILY(ERPole3DH, ERPole3DHVec, ERPole3DHSlice, "vcpt3dh", "mapt3dh");

#endif
