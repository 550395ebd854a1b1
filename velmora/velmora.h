// Umbrella header of the velmora class library: includes every public unit. For users; the
// library's own units include only what they use.
#ifndef VELMORA_VELMORA_H
#define VELMORA_VELMORA_H

#include "velmora/erconfig.h"
#include "velmora/ercommon.h"
#include "velmora/erfile.h"
#include "velmora/erpool.h"
#include "velmora/islist.h"
#include "velmora/vector3d.h"
#include "velmora/vecrep.h"
#include "velmora/dblvec.h"
#include "velmora/notempl/vcpt2d.h"
#include "velmora/notempl/vcpt2dh.h"
#include "velmora/notempl/vcpt3d.h"
#include "velmora/notempl/vcpt3dh.h"
#include "velmora/notempl/matdbl.h"
#include "velmora/matrix.h"
#include "velmora/transf3d.h"
#include "velmora/pseurot.h"
#include "velmora/transf2d.h"
#include "velmora/ernewton.h"
#include "velmora/slvbstft.h"
#include "velmora/velAlign.h"
#include "velmora/fit.h"

#endif
