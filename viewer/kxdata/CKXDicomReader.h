// Reads a DICOM series (a folder of single-frame CT or MR images) into the viewer's volume record,
// through DCMTK.
#ifndef CKXDICOMREADER_H
#define CKXDICOMREADER_H

#include "KXDataReading.h"
#include "KXSceneDescription.h"

#include <QString>

// World frame: DICOM places images in the patient frame LPS+ (+x towards the patient's left,
// +y posterior, +z superior). The viewer's one world frame is RAS+ millimetres, the frame NIfTI
// images come in, so the reader negates x and y of every voxel-to-world mapping: a CT series and
// a NIfTI image of the same scan then overlap.
class CKXDicomReader
{
public:
    // Reads the single-frame CT or MR series in a folder (or the folder of the given file)
    // into `volume`: slices sorted along the slice normal, spacing from the positions,
    // values rescaled, voxel-to-world from the patient position and orientation. A folder
    // that holds several series is refused with a message that lists them.
    //
    // Only the folder's own files are looked at (not its subfolders), at most
    // KXDataLimits::kMaxDicomFiles of them; files that are not DICOM images are skipped. Slices
    // must share size and orientation, lie at distinct, evenly spaced positions and hold one
    // grey value per pixel. `progress` is called once per slice read. `volume` is only assigned
    // on success; its name is the series description, else the folder's name.
    static bool read(const QString& strPath, SKXVolumeData& volume, QString& strError,
                     const KXProgress& progress = {});
};

#endif // CKXDICOMREADER_H
