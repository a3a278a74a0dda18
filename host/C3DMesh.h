// A surface mesh, optionally coloured by a photon density map through a colour palette.
#ifndef C3DMESH_H
#define C3DMESH_H

#include "C3DObject.h"

class CXKPalette;

class C3DMesh : public C3DObject
{
public:
    // The mesh carries a photon density field that can colour it.
    virtual bool isPhotonDensityMappingValid() const = 0;
    virtual void showPhotonDensity(bool bShow) = 0;
    // The palette that maps densities to colours; owned by the mesh.
    virtual CXKPalette* getColorPalette() = 0;
    // Recolours the mesh after the palette changed.
    virtual void updateColorData(CXKPalette* pPalette) = 0;
    // The photon density image's value range. Leaves min and max alone when there is no image.
    virtual void getPDImageMinMax(double& dMin, double& dMax) const = 0;
};

#endif // C3DMESH_H
