// The double vector: ERDoubleVec and ERDoubleSlice with their arithmetic. The public header of the
// vector under the dense matrix and the solvers.
#ifndef VELMORA_DBLVEC_H
#define VELMORA_DBLVEC_H

#include "velmora/notempl/vcdouble.h"

#endif
