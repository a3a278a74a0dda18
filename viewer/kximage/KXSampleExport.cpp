#include "KXSampleExport.h"

#include "CKXDataWriter.h"
#include "CKXSampleSubject.h"
#include "CKXSceneFile.h"

#include <QDir>
#include <QRegularExpression>

namespace
{
// A file name from an object's name: letters, digits, '-' and '_' only.
QString fileStem(const QString& strName)
{
    QString strStem = strName;
    strStem.replace(QRegularExpression(QStringLiteral("[^A-Za-z0-9_-]+")), QStringLiteral("_"));
    return strStem.isEmpty() ? QStringLiteral("part") : strStem.toLower();
}
} // namespace

bool KXSampleExport::exportScene(const QString& strFolder, QString& strScene, QString& strError)
{
    const QDir folder(strFolder);
    if (!QDir().mkpath(folder.absolutePath()))
    {
        strError = QStringLiteral("Cannot create the folder \"%1\".")
                       .arg(QDir::toNativeSeparators(strFolder));
        return false;
    }
    const SKXSceneDescription sample = KXSampleSubject::makeDescription(0);
    SKXSceneFileData scene;
    scene.name = QStringLiteral("Sample subject");
    scene.viewOrientation = sample.viewOrientation;

    auto surfaceItem = [&](const SKXSurfaceData& surface, EKXDataRole eRole, const QString& strName,
                           SKXSceneItem& item)
    {
        const QString strPath = folder.absoluteFilePath(fileStem(strName) + ".ply");
        item.role = eRole;
        item.surfaces << strPath;
        return CKXDataWriter::writePly(strPath, surface, strError);
    };
    if (sample.subject)
    {
        SKXSceneItem item;
        if (!surfaceItem(*sample.subject, EKXDataRole::Subject, QStringLiteral("body"), item))
            return false;
        item.scalarName = CKXDataWriter::plyPropertyName(sample.subject->scalarName);
        item.color = sample.subject->color;
        scene.items.push_back(item);
    }
    for (const SKXSurfaceData& organ : sample.organs)
    {
        SKXSceneItem item;
        if (!surfaceItem(organ, EKXDataRole::Organ, "organ_" + organ.name, item))
            return false;
        item.name = organ.name;
        item.color = organ.color;
        scene.items.push_back(item);
    }
    if (sample.anatomy)
    {
        SKXSceneItem item;
        item.role = EKXDataRole::Volume;
        item.volume = folder.absoluteFilePath(QStringLiteral("anatomy.nii.gz"));
        if (!CKXDataWriter::writeNifti(item.volume, *sample.anatomy, strError))
            return false;
        scene.items.push_back(item);
    }
    for (const SKXSourceData& source : sample.sources)
    {
        SKXSceneItem item;
        item.role = EKXDataRole::Source;
        item.name = source.name;
        item.color = source.color;
        const QString strStem = "source_" + fileStem(source.name);
        if (source.volume)
        {
            item.volume = folder.absoluteFilePath(strStem + ".nii.gz");
            if (!CKXDataWriter::writeNifti(item.volume, *source.volume, strError))
                return false;
        }
        for (size_t i = 0; i < source.surfaces.size(); ++i)
        {
            const QString strPath =
                folder.absoluteFilePath(QStringLiteral("%1_surface%2.ply").arg(strStem).arg(i + 1));
            if (!CKXDataWriter::writePly(strPath, source.surfaces[i], strError))
                return false;
            item.surfaces << strPath;
        }
        scene.items.push_back(item);
    }
    strScene = folder.absoluteFilePath(QStringLiteral("scene.json"));
    return CKXSceneFile::write(strScene, scene, strError);
}
