// The scene file: a small JSON document that puts a dataset together from the files of its
// parts, each in its role, with names and colours. Paths in it are relative to the scene file's
// folder (absolute paths are allowed). Example:
//
//   {
//     "format": "kx3dviewer-scene", "version": 1,
//     "name": "Mouse 12, day 3",
//     "view": { "up": [0, 0, 1], "front": [0, -1, 0] },
//     "items": [
//       { "role": "subject", "file": "body.ply", "scalar": "intensity" },
//       { "role": "organ", "file": "liver.stl", "name": "Liver", "color": "#c8503c" },
//       { "role": "organ", "file": "organs.glb" },
//       { "role": "volume", "file": "ct.nii.gz" },
//       { "role": "source", "name": "Original", "volume": "source.nii.gz",
//         "surface": "source.ply" },
//       { "role": "source", "name": "SourceVoxels_1", "volume": "bladder.nii.gz" },
//       { "role": "source", "name": "SourceSurface_1", "surface": ["a.ply", "b.ply"],
//         "color": "#ff5ad2" }
//     ]
//   }
//
// Roles: "subject" (the surface coloured by its scalar field), "organ" (a named surface; a file
// of several meshes without a "name" gives one organ per mesh), "volume" (the multimodality
// volume, a NIfTI file or a DICOM folder) and "source" (a light source: "Original", or a name
// containing "SourceVoxels" or "SourceSurface", with a "volume" and / or a "surface" file or
// list of files). "view" names the world directions shown up and towards the viewer in the
// default view; without it the world frame is shown as it is.
#ifndef CKXSCENEFILE_H
#define CKXSCENEFILE_H

#include <QColor>
#include <QMatrix4x4>
#include <QString>
#include <QStringList>

#include <vector>

enum class EKXDataRole
{
    Automatic, // decided by the kind of file and what was opened before it
    Subject,
    Organ,
    Volume, // the multimodality volume
    Source
};

// One thing a user opens: a file or folder, with the role and name it is to have.
struct SKXOpenRequest
{
    QString path; // a mesh or NIfTI file, a DICOM folder or file, or a scene file
    EKXDataRole role = EKXDataRole::Automatic;
    QString name; // empty: from the file
};

struct SKXSceneItem
{
    EKXDataRole role = EKXDataRole::Automatic;
    QString name;         // empty: from the file
    QStringList surfaces; // absolute paths of mesh files
    QString volume;       // absolute path of a NIfTI file or a DICOM folder, or empty
    QColor color;         // invalid: the role's default
    QString scalarName;   // subject only: the per-vertex field to show; empty: the default
};

struct SKXSceneFileData
{
    QString name;
    std::vector<SKXSceneItem> items;
    QMatrix4x4 viewOrientation; // world -> default view; identity when the file has no "view"
};

class CKXSceneFile
{
public:
    // Scene files larger than this are refused unread: a real one is a few kilobytes.
    static constexpr qint64 kMaxFileBytes = 4 * 1024 * 1024;
    static constexpr int kMaxItems = 10000;

    // Reads and checks a scene file; paths come back absolute. False with a message that names
    // the file (and the item) when it cannot be used; `data` is then left empty.
    static bool read(const QString& strPath, SKXSceneFileData& data, QString& strError);
    // The same from the document's bytes; strBaseDir resolves relative paths.
    static bool parse(const QByteArray& baJson, const QString& strBaseDir, SKXSceneFileData& data,
                      QString& strError);
    // Writes `data` with every path relative to the scene file's folder when it lies below
    // it. The file is replaced only once the new one is complete.
    static bool write(const QString& strPath, const SKXSceneFileData& data, QString& strError);

    static QString roleName(EKXDataRole eRole);
    // "subject", "organ", "volume" or "source" in any letter case; Automatic for anything else.
    static EKXDataRole roleOf(const QString& strName);
    // The view orientation that shows `up` up and `front` towards the viewer (front is made
    // perpendicular to up). False, and `orientation` untouched, when the two are zero, parallel
    // or not finite.
    static bool orientation(const QVector3D& up, const QVector3D& front, QMatrix4x4& orientation);
};

#endif // CKXSCENEFILE_H
