// A voxel volume (a light source reconstruction or a multimodality volume).
#ifndef C3DVOLUME_H
#define C3DVOLUME_H

#include "C3DObject.h"

class C3DVolume : public C3DObject
{
public:
    // Opacity of the voxels, 0..1 (the host's spelling of the name is kept).
    virtual void setDymaicOpaque(float fOpacity) = 0;
    // Maximum intensity projection instead of blending.
    virtual void setMIP(bool bMip) = 0;
    // Hide voxels below the threshold; threshold in the volume's intensity units.
    virtual void setThresholding(bool bOn) = 0;
    virtual void setThreshold(float fThreshold) = 0;
    // 0 cubes, 1 points, 2 spheres.
    virtual void setVoxelType(int nType) = 0;
    virtual void setLogScale(bool bLog) = 0;
    virtual void setColorMapReversed(bool bReversed) = 0;
    // Colour table nTable spread over [dMin, dMax], in percent of the volume's intensity range.
    virtual void setColorTable(int nTable, double dMin, double dMax) = 0;
};

#endif // C3DVOLUME_H
