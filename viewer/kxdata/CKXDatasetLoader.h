// Turns what a user opens (mesh files, NIfTI files, DICOM folders, scene files,
// each with an optional role and name) into one scene description, through the
// readers of the data library.
//
// Roles, when none is given: the first mesh is the subject and later meshes are
// organs (one per mesh of the file); the first volume is the multimodality
// volume and later volumes are voxel sources. A scene file brings its own
// roles. The default view shows the world frame as it is
// (+y up), unless the dataset holds a volume: patient coordinates then show the
// subject from the front, head up (+z up, +y towards the viewer); a scene
// file's "view" overrides both.
#ifndef CKXDATASETLOADER_H
#define CKXDATASETLOADER_H

#include "CKXSceneFile.h"
#include "KXDataReading.h"
#include "KXSceneDescription.h"

#include <QList>
#include <QString>

class CKXDatasetLoader
{
public:
    enum class EKind
    {
        Unknown,
        Mesh,
        Volume, // NIfTI
        Dicom,  // a folder, or a file of a folder, of DICOM images
        Scene
    };
    // By the name (and, for folders and files without a known suffix, a look
    // inside).
    static EKind kindOf(const QString& strPath);
    // The open dialog's filters: all data, then each kind.
    static QStringList nameFilters();

    // Reads every request into `description` (replacing it). False with a message
    // that names the file when any part cannot be read or the parts do not fit
    // together (a second subject, a role the file cannot play); `description` is
    // then unchanged.
    static bool load(const QList<SKXOpenRequest>& requests, SKXSceneDescription& description,
                     QString& strError, const KXProgress& progress = {});
};

#endif // CKXDATASETLOADER_H
