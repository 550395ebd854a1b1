// Element-wise arithmetic of the double vectors and slices, instantiated for double.
#include "mafamily.inl"
#include "velmora/notempl/vcdouble.h"

#define ER_THIS_UNIT "source/notempl/madouble"

template class ERVecArith<ERDoubleVecTraits>;
