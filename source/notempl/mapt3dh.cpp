// Element-wise arithmetic of the ERPole3DH vectors and slices, instantiated for ERPole3DH.
#include "mafamily.inl"
#include "velmora/notempl/vcpt3dh.h"

#define ER_THIS_UNIT "source/notempl/mapt3dh"

template class ERVecArith<ERPole3DHVecTraits>;
