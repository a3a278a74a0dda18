#include "CKXDataWriter.h"

#include <QDataStream>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <nifti2_io.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace
{
QString nativeName(const QString& strPath)
{
    return QDir::toNativeSeparators(strPath);
}
} // namespace

bool CKXDataWriter::writePly(const QString& strPath, const SKXSurfaceData& surface,
                             QString& strError)
{
    const CKXGeometry* pGeometry = surface.geometry.get();
    if (!pGeometry)
    {
        strError = QStringLiteral("Cannot write \"%1\": the surface has no geometry.")
                       .arg(nativeName(strPath));
        return false;
    }
    const bool bScalars = !surface.scalars.empty() &&
                          surface.scalars.size() == static_cast<size_t>(pGeometry->vertexCount());
    const QString strField = plyPropertyName(surface.scalarName);
    QByteArray baHeader = "ply\nformat binary_little_endian 1.0\ncomment kx3dviewer\n";
    baHeader += "element vertex " + QByteArray::number(pGeometry->vertexCount()) + "\n";
    baHeader += "property float x\nproperty float y\nproperty float z\n";
    if (bScalars)
        baHeader += "property float " + strField.toLatin1() + "\n";
    baHeader += "element face " + QByteArray::number(pGeometry->triangleCount()) + "\n";
    baHeader += "property list uchar int vertex_indices\nend_header\n";

    QSaveFile file(strPath);
    if (file.open(QIODevice::WriteOnly))
    {
        file.write(baHeader);
        QDataStream stream(&file);
        stream.setByteOrder(QDataStream::LittleEndian);
        stream.setFloatingPointPrecision(QDataStream::SinglePrecision);
        for (int v = 0; v < pGeometry->vertexCount(); ++v)
        {
            const float* p = &pGeometry->positions[3 * static_cast<size_t>(v)];
            stream << p[0] << p[1] << p[2];
            if (bScalars)
                stream << surface.scalars[static_cast<size_t>(v)];
        }
        for (size_t t = 0; t + 2 < pGeometry->indices.size(); t += 3)
            stream << quint8(3) << qint32(pGeometry->indices[t])
                   << qint32(pGeometry->indices[t + 1]) << qint32(pGeometry->indices[t + 2]);
        if (stream.status() == QDataStream::Ok && file.commit())
            return true;
    }
    strError =
        QStringLiteral("Cannot write \"%1\": %2.").arg(nativeName(strPath), file.errorString());
    return false;
}

QString CKXDataWriter::plyPropertyName(const QString& strField)
{
    QString strName;
    for (const QChar c : strField)
        strName += c.isLetterOrNumber() && c.unicode() < 128 ? c : QLatin1Char('_');
    return strName.isEmpty() ? QStringLiteral("intensity") : strName;
}

bool CKXDataWriter::writeNifti(const QString& strPath, const SKXVolumeData& volume,
                               QString& strError)
{
    if (volume.voxelCount() == 0 || volume.values.size() != volume.voxelCount())
    {
        strError = QStringLiteral("Cannot write \"%1\": the volume has no voxels.")
                       .arg(nativeName(strPath));
        return false;
    }
    const int64_t dims[8] = {3, volume.nx, volume.ny, volume.nz, 1, 1, 1, 1};
    std::unique_ptr<nifti_image, void (*)(nifti_image*)> pImage(
        nifti_make_new_nim(dims, NIFTI_TYPE_FLOAT32, 0), nifti_image_free);
    // nifticlib writes under its own name: the image goes to a temporary beside
    // the target and is renamed once it reads back, so a failed write never
    // leaves half a file in its place.
    const QFileInfo target(strPath);
    const bool bGzip = strPath.endsWith(QLatin1String(".gz"), Qt::CaseInsensitive);
    const QString strTemporary = target.absoluteDir().filePath(
        QStringLiteral(".%1.part.nii%2").arg(target.fileName(), bGzip ? ".gz" : ""));
    const QByteArray baTemporary = QFile::encodeName(strTemporary);
    if (!pImage || nifti_set_filenames(pImage.get(), baTemporary.constData(), 0, 1) != 0)
    {
        strError = QStringLiteral("Cannot write \"%1\": out of memory.").arg(nativeName(strPath));
        return false;
    }
    nifti_image* p = pImage.get();
    p->data = std::malloc(volume.values.size() * sizeof(float));
    if (!p->data)
    {
        strError = QStringLiteral("Cannot write \"%1\": out of memory.").arg(nativeName(strPath));
        return false;
    }
    std::memcpy(p->data, volume.values.data(), volume.values.size() * sizeof(float));
    nifti_dmat44 m;
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c)
            m.m[r][c] = volume.voxelToWorld(r, c);
    p->sto_xyz = m;
    p->sform_code = NIFTI_XFORM_SCANNER_ANAT;
    p->qto_xyz = m;
    p->qform_code = NIFTI_XFORM_SCANNER_ANAT;
    nifti_dmat44_to_quatern(m, &p->quatern_b, &p->quatern_c, &p->quatern_d, &p->qoffset_x,
                            &p->qoffset_y, &p->qoffset_z, &p->dx, &p->dy, &p->dz, &p->qfac);
    p->pixdim[1] = p->dx;
    p->pixdim[2] = p->dy;
    p->pixdim[3] = p->dz;
    p->xyz_units = NIFTI_UNITS_MM;
    nifti_image_write(p);

    // nifti_image_write reports nothing: the file must read back as what was
    // written.
    std::unique_ptr<nifti_image, void (*)(nifti_image*)> pBack(
        nifti_image_read(baTemporary.constData(), 0), nifti_image_free);
    const bool bWritten = pBack && pBack->nvox == static_cast<int64_t>(volume.voxelCount()) &&
                          QFileInfo(strTemporary).size() > 0;
    if (!bWritten ||
        std::rename(baTemporary.constData(), QFile::encodeName(strPath).constData()) != 0)
    {
        QFile::remove(strTemporary);
        strError = QStringLiteral("Cannot write \"%1\".").arg(nativeName(strPath));
        return false;
    }
    return true;
}
