// Reads NIfTI images into the viewer's volume record, through nifticlib.
#ifndef CKXNIFTIREADER_H
#define CKXNIFTIREADER_H

#include "KXDataReading.h"
#include "KXSceneDescription.h"

#include <QString>

// World frame: NIfTI's own, RAS+ in millimetres (+x towards the subject's right, +y anterior,
// +z superior). Every volume of the viewer meets in this frame; the DICOM reader turns its
// patient frame into it.
class CKXNiftiReader
{
public:
    // Reads a NIfTI-1 or NIfTI-2 image (.nii, .nii.gz, .hdr/.img) into `volume`: values
    // scaled by the header's slope and intercept, voxel-to-world from the sform when its
    // code is set, else the qform, else the pixel dimensions; in millimetres (xyzt units
    // honoured). False with a message that names the file when it cannot be read.
    //
    // Of an image with more than three dimensions (a time series) the first volume is read.
    // Integer, float32 and float64 voxels are read; complex and colour voxels are refused. The
    // header is checked against the file and against KXDataLimits before any voxel memory is
    // allocated. `volume` is only assigned on success; its name is the file's base name.
    static bool read(const QString& strPath, SKXVolumeData& volume, QString& strError,
                     const KXProgress& progress = {});
};

#endif // CKXNIFTIREADER_H
