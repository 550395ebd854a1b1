// Vectors and slices of space points: the family's members, instantiated for ERPoint3D.
#include "velmora/notempl/vcpt3d.h"

#include "vcfamily.inl"

#define ER_THIS_UNIT "source/notempl/vcpt3d"

template class ERVecT<ERPoint3DVecTraits>;
template class ERSliceT<ERPoint3DVecTraits>;
