// Element-wise arithmetic of the ERPole2DH vectors and slices, instantiated for ERPole2DH.
#include "mafamily.inl"
#include "velmora/notempl/vcpt2dh.h"

#define ER_THIS_UNIT "source/notempl/mapt2dh"

template class ERVecArith<ERPole2DHVecTraits>;
