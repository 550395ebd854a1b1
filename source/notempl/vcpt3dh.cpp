// Vectors and slices of space poles: the family's members, instantiated for ERPole3DH.
#include "velmora/notempl/vcpt3dh.h"

#include "vcfamily.inl"

#define ER_THIS_UNIT "source/notempl/vcpt3dh"

template class ERVecT<ERPole3DHVecTraits>;
template class ERSliceT<ERPole3DHVecTraits>;
