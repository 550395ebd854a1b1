// Vectors and slices of doubles: the family's members, instantiated for double.
#include "velmora/notempl/vcdouble.h"

#include "vcfamily.inl"

#define ER_THIS_UNIT "source/notempl/vcdouble"

template class ERVecT<ERDoubleVecTraits>;
template class ERSliceT<ERDoubleVecTraits>;
