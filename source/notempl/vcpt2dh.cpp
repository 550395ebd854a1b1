// Vectors and slices of plane poles: the family's members, instantiated for ERPole2DH.
#include "velmora/notempl/vcpt2dh.h"

#include "vcfamily.inl"

#define ER_THIS_UNIT "source/notempl/vcpt2dh"

template class ERVecT<ERPole2DHVecTraits>;
template class ERSliceT<ERPole2DHVecTraits>;
