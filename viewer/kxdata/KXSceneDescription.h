// What one sequence shows, as data: the roles of a scene mapped to geometry, scalar fields and
// voxel grids in one world frame (millimetres). The built-in sample subject and the file readers
// produce descriptions; the scene builder turns one into nodes, display controls and palette
// entries. A description holds no widgets and no GL state.
#ifndef KXSCENEDESCRIPTION_H
#define KXSCENEDESCRIPTION_H

#include "CKXGeometry.h"

#include <QColor>
#include <QMatrix4x4>
#include <QString>

#include <cstddef>
#include <limits>
#include <memory>
#include <vector>

// A triangle surface with an optional per-vertex scalar field.
struct SKXSurfaceData
{
    QString name;
    QColor color; // invalid: the role's default colour
    // World frame, millimetres; never null in a description a reader returns.
    std::shared_ptr<const CKXGeometry> geometry;
    // One finite value per vertex of `geometry`, or empty when the surface has no field.
    std::vector<float> scalars;
    QString scalarName; // the field's name in its file ("intensity", ...), empty when none
};

// A voxel grid. Values are in the file's own units after its scaling (NIfTI's slope and
// intercept, DICOM's rescale), one per voxel, i fastest, then j, then k.
struct SKXVolumeData
{
    QString name;
    int nx = 0, ny = 0, nz = 0;
    std::vector<float> values; // nx * ny * nz entries; a NaN marks a voxel without a value
    QMatrix4x4 voxelToWorld;   // (i, j, k, 1) of a voxel's centre -> world millimetres
    float minimum = 0.0f;      // of the finite values; both 0 when there are none
    float maximum = 0.0f;

    std::size_t voxelCount() const
    {
        return static_cast<std::size_t>(nx) * static_cast<std::size_t>(ny) *
               static_cast<std::size_t>(nz);
    }
};

// A reconstructed light source. Its name decides how the plug-in finds it in the scene graph:
// "Original" is the original source; a name containing "SourceVoxels" is a voxel source, one
// containing "SourceSurface" a surface source.
struct SKXSourceData
{
    QString name;
    std::shared_ptr<const SKXVolumeData> volume; // the original and voxel sources; else null
    std::vector<SKXSurfaceData> surfaces;        // the original (at most one) and surface sources
    QColor color;                                // surface colour; invalid: the default
    // Colour table (CKXPalette's numbering) of its voxels; -1: the role's default.
    int colorTable = -1;
    // Default threshold of its voxels, in the volume's units; NaN: 12% up its intensity range.
    float threshold = std::numeric_limits<float>::quiet_NaN();
};

struct SKXSceneDescription
{
    QString name; // the dataset's name, shown in the sequence window's title

    // The subject's surface ("3DMesh"); its scalar field is the photon density map. Null when
    // the dataset has no subject surface.
    std::shared_ptr<const SKXSurfaceData> subject;
    // Organ surfaces ("Organ Surface"), each with its own name and colour.
    std::vector<SKXSurfaceData> organs;
    // The multimodality volume ("GLVolume"), or null.
    std::shared_ptr<const SKXVolumeData> anatomy;
    std::vector<SKXSourceData> sources;
    // Optional: a coarser copy of the subject's surface with its own field, drawn for the far
    // side of the translucent body (seen only through the near side). Null: the subject itself.
    std::shared_ptr<const SKXSurfaceData> subjectFarSide;

    // World frame -> the frame the default view shows (a rotation about the dataset's centre);
    // identity shows the world frame as it is: +x right, +y up, +z towards the viewer.
    QMatrix4x4 viewOrientation;
    // Optional framing of the default view: the world point it centres and the length (mm) it
    // shows over 60% of its height. viewSize 0: the centre and half the diagonal of the bounds
    // of everything in the scene.
    QVector3D viewCentre;
    float viewSize = 0.0f;

    bool isEmpty() const { return !subject && organs.empty() && !anatomy && sources.empty(); }
};

#endif // KXSCENEDESCRIPTION_H
