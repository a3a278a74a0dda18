// Reads triangle meshes from the user's files (STL, PLY, OBJ, OFF, glTF 2.0 / GLB and what else
// the import library reads) into world-frame surfaces, with a PLY file's per-vertex scalar field.
#ifndef CKXMESHREADER_H
#define CKXMESHREADER_H

#include "KXDataReading.h"
#include "KXSceneDescription.h"

#include <QString>
#include <QStringList>

#include <vector>

struct SKXMeshReadOptions
{
    // The per-vertex scalar field to take; empty: the first of "intensity", "scalar",
    // "value", "quality", "density" that the file has.
    QString scalarName;
};

// Stateless; every call reads one file. Refuses, before reading the data, files whose headers
// declare more than KXDataLimits::kMaxTriangles triangles or kMaxVertices vertices, or more data
// than the file holds.
class CKXMeshReader
{
public:
    // Reads every triangle mesh of the file into world-frame surfaces (node transforms applied,
    // millimetres as given): one SKXSurfaceData per mesh of the file (per use of a mesh when
    // several nodes use it), named after the mesh (or its node, or the file's base name), its
    // material's diffuse colour when the file has one, its per-vertex scalar field when there
    // is one. Points, lines, degenerate triangles and triangles with a non-finite corner are
    // left out. False with a message that names the file when it cannot be read; `meshes` is
    // then left empty.
    static bool read(const QString& strPath, std::vector<SKXSurfaceData>& meshes, QString& strError,
                     const SKXMeshReadOptions& options = {}, const KXProgress& progress = {});
    // File name patterns it reads ("*.stl", "*.ply", ...), for the open dialog's filter.
    static QStringList nameFilters();
};

#endif // CKXMESHREADER_H
