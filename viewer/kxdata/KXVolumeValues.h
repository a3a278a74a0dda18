// What the volume readers share once the voxels are decoded.
#ifndef KXVOLUMEVALUES_H
#define KXVOLUMEVALUES_H

#include "KXSceneDescription.h"

namespace KXVolumeValues
{
// Sets `volume.minimum` and `volume.maximum` to the range of its finite values (both 0 when it
// has none).
void computeRange(SKXVolumeData& volume);
} // namespace KXVolumeValues

#endif // KXVOLUMEVALUES_H
