// Vectors and slices of plane points: the family's members, instantiated for ERPoint2D.
#include "velmora/notempl/vcpt2d.h"

#include "vcfamily.inl"

#define ER_THIS_UNIT "source/notempl/vcpt2d"

template class ERVecT<ERPoint2DVecTraits>;
template class ERSliceT<ERPoint2DVecTraits>;
