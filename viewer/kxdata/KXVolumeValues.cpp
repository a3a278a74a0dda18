#include "KXVolumeValues.h"

#include <cmath>
#include <limits>

void KXVolumeValues::computeRange(SKXVolumeData& volume)
{
    float fMin = std::numeric_limits<float>::infinity();
    float fMax = -std::numeric_limits<float>::infinity();
    for (const float f : volume.values)
    {
        if (std::isfinite(f))
        {
            fMin = f < fMin ? f : fMin;
            fMax = f > fMax ? f : fMax;
        }
    }
    const bool bAny = fMin <= fMax;
    volume.minimum = bAny ? fMin : 0.0f;
    volume.maximum = bAny ? fMax : 0.0f;
}
