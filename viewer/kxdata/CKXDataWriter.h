// Writes the viewer's data as files other programs read: surfaces as binary PLY
// (with the scalar field as a vertex property), volumes as gzip-compressed
// NIfTI-1 through nifticlib. Used to export the sample subject as a scene, the
// template for a user's own data.
#ifndef CKXDATAWRITER_H
#define CKXDATAWRITER_H

#include "KXSceneDescription.h"

#include <QString>

class CKXDataWriter
{
public:
    // A binary little-endian PLY: vertex x, y, z as floats, the scalar field
    // (when the surface has one) as a float property named after it ("intensity"
    // when it has no name), faces as lists of three ints. The file is replaced
    // only once complete.
    static bool writePly(const QString& strPath, const SKXSurfaceData& surface, QString& strError);
    // The vertex property a field is written under: its name with every character that a PLY
    // header cannot hold (blanks among them) turned into '_'; "intensity" for no name.
    static QString plyPropertyName(const QString& strField);
    // A float32 NIfTI (".nii" or ".nii.gz") whose sform and qform are the
    // volume's voxel-to-world matrix (a rigid rotation with spacing; shears are
    // kept in the sform only).
    static bool writeNifti(const QString& strPath, const SKXVolumeData& volume, QString& strError);
};

#endif // CKXDATAWRITER_H
