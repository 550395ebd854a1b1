// Element-wise arithmetic of the ERPoint3D vectors and slices, instantiated for ERPoint3D.
#include "mafamily.inl"
#include "velmora/notempl/vcpt3d.h"

#define ER_THIS_UNIT "source/notempl/mapt3d"

template class ERVecArith<ERPoint3DVecTraits>;
