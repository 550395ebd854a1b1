// Building a Motion from its parts, shared by the fit and by motionFromMatrix. Internal to the library.
#ifndef VELMORA_SOURCE_FIT_MOTIONFORMS_H
#define VELMORA_SOURCE_FIT_MOTIONFORMS_H

#include "velmora/fit.h"

namespace velmora {
namespace detail {

// Fills every field of m from R (orthogonal, det R = det), the scale and the translation.
void fillMotion(Motion& m, const double rotation[3][3], double scale, double det,
                const double translation[3]);

}  // namespace detail
}  // namespace velmora

#endif
