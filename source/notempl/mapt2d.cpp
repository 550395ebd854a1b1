// Element-wise arithmetic of the ERPoint2D vectors and slices, instantiated for ERPoint2D.
#include "mafamily.inl"
#include "velmora/notempl/vcpt2d.h"

#define ER_THIS_UNIT "source/notempl/mapt2d"

template class ERVecArith<ERPoint2DVecTraits>;
