// libFuzzer entry point for the mesh reader: the input bytes become a file whose suffix the
// first byte chooses (so that every reader of the import library, and the PLY field reader, get
// their turn) and are read as the viewer reads a file the user opens. Besides the sanitizers'
// findings, a result that breaks the reader's contract aborts: surfaces on failure, none or an
// error message on success, a surface with no triangles, an index beyond its vertices, a scalar
// field that does not have one finite value per vertex, a coordinate that is not finite.
#include "CKXMeshReader.h"

#include <QByteArray>
#include <QFile>
#include <QTemporaryDir>
#include <QtGlobal>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace
{

void discardMessage(QtMsgType eType, const QMessageLogContext&, const QString&)
{
    if (eType == QtFatalMsg)
        std::abort();
}

void checkSurface(const SKXSurfaceData& surface)
{
    const CKXGeometry* pGeometry = surface.geometry.get();
    if (!pGeometry || pGeometry->triangleCount() == 0 ||
        pGeometry->normals.size() != pGeometry->positions.size())
        std::abort();
    for (unsigned i : pGeometry->indices)
        if (i >= static_cast<unsigned>(pGeometry->vertexCount()))
            std::abort();
    for (float f : pGeometry->positions)
        if (!std::isfinite(f))
            std::abort();
    if (!surface.scalars.empty() &&
        surface.scalars.size() != static_cast<size_t>(pGeometry->vertexCount()))
        std::abort();
    for (float f : surface.scalars)
        if (!std::isfinite(f))
            std::abort();
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    qInstallMessageHandler(discardMessage);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
    static const char* const suffixes[] = {"ply", "stl", "obj", "off", "gltf", "glb"};
    if (nSize < 1)
        return 0;
    static QTemporaryDir dir;
    const QString strPath =
        dir.filePath(QStringLiteral("input.") + QLatin1String(suffixes[pData[0] % 6]));
    {
        QFile file(strPath);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
            std::abort();
        file.write(reinterpret_cast<const char*>(pData + 1), static_cast<qint64>(nSize - 1));
    }
    std::vector<SKXSurfaceData> meshes;
    QString strError;
    const bool bOk = CKXMeshReader::read(strPath, meshes, strError);
    if (bOk != !meshes.empty() || bOk != strError.isEmpty())
        std::abort();
    for (const SKXSurfaceData& surface : meshes)
        checkSurface(surface);
    QFile::remove(strPath);
    return 0;
}
