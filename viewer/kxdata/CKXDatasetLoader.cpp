#include "CKXDatasetLoader.h"

#include "CKXDicomReader.h"
#include "CKXMeshReader.h"
#include "CKXNiftiReader.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>

namespace
{
const QString kOriginal = QStringLiteral("Original");

QString nativeName(const QString& strPath)
{
    return QDir::toNativeSeparators(strPath);
}

bool hasSuffix(const QString& strPath, const QStringList& patterns)
{
    const QString strName = QFileInfo(strPath).fileName().toLower();
    for (const QString& strPattern : patterns)
        if (strName.endsWith(strPattern.mid(1))) // "*.ply" -> ".ply"
            return true;
    return false;
}

const QStringList& volumeFilters()
{
    static const QStringList s_list{QStringLiteral("*.nii"), QStringLiteral("*.nii.gz"),
                                    QStringLiteral("*.hdr")};
    return s_list;
}

const QStringList& sceneFilters()
{
    static const QStringList s_list{QStringLiteral("*.json")};
    return s_list;
}

// A DICOM file without the usual suffix: the preamble's magic word.
bool looksLikeDicom(const QString& strPath)
{
    QFile file(strPath);
    if (!file.open(QIODevice::ReadOnly) || !file.seek(128))
        return false;
    return file.read(4) == "DICM";
}

// Loads items one after the other into one description, giving each the role it
// plays.
class CLoad
{
public:
    CLoad(SKXSceneDescription& description, const KXProgress& progress)
        : m_description(description), m_progress(progress)
    {
    }

    bool item(const SKXSceneItem& item, double dStart, double dEnd, QString& strError);

private:
    bool surfaces(const SKXSceneItem& item, std::vector<SKXSurfaceData>& list, QString& strError);
    bool volume(const QString& strPath, std::shared_ptr<const SKXVolumeData>& pVolume,
                QString& strError);
    QString uniqueOrganName(const QString& strName);
    bool source(const SKXSceneItem& item, QString& strError);
    KXProgress part(double dStart, double dEnd) const;

    SKXSceneDescription& m_description;
    const KXProgress& m_progress;
    double m_dStart = 0.0, m_dEnd = 1.0;
};

KXProgress CLoad::part(double dStart, double dEnd) const
{
    if (!m_progress)
        return {};
    return [this, dStart, dEnd](double dFraction)
    { return m_progress(dStart + (dEnd - dStart) * dFraction); };
}

bool CLoad::surfaces(const SKXSceneItem& item, std::vector<SKXSurfaceData>& list, QString& strError)
{
    const int nFiles = item.surfaces.size();
    for (int i = 0; i < nFiles; ++i)
    {
        std::vector<SKXSurfaceData> meshes;
        SKXMeshReadOptions options;
        options.scalarName = item.scalarName;
        const double dStep = (m_dEnd - m_dStart) / (nFiles + (item.volume.isEmpty() ? 0 : 1));
        if (!CKXMeshReader::read(item.surfaces.at(i), meshes, strError, options,
                                 part(m_dStart + i * dStep, m_dStart + (i + 1) * dStep)))
            return false;
        for (SKXSurfaceData& mesh : meshes)
            list.push_back(std::move(mesh));
    }
    return true;
}

bool CLoad::volume(const QString& strPath, std::shared_ptr<const SKXVolumeData>& pVolume,
                   QString& strError)
{
    auto pData = std::make_shared<SKXVolumeData>();
    const KXProgress progress = part(m_dStart + 0.5 * (m_dEnd - m_dStart), m_dEnd);
    const bool bOk = CKXDatasetLoader::kindOf(strPath) == CKXDatasetLoader::EKind::Dicom
                         ? CKXDicomReader::read(strPath, *pData, strError, progress)
                         : CKXNiftiReader::read(strPath, *pData, strError, progress);
    if (bOk && pData->name.isEmpty())
        pData->name = QFileInfo(strPath).completeBaseName();
    pVolume = bOk ? std::move(pData) : nullptr;
    return bOk;
}

// One surface of several: the geometries one after the other; the scalar field
// survives only when every part has one.
SKXSurfaceData merged(std::vector<SKXSurfaceData>& parts, const QString& strName)
{
    if (parts.size() == 1)
    {
        SKXSurfaceData single = std::move(parts.front());
        if (!strName.isEmpty())
            single.name = strName;
        return single;
    }
    SKXSurfaceData whole;
    whole.name = strName.isEmpty() ? parts.front().name : strName;
    whole.color = parts.front().color;
    whole.scalarName = parts.front().scalarName;
    bool bScalars = true;
    for (const SKXSurfaceData& part : parts)
        bScalars = bScalars && !part.scalars.empty();
    auto pGeometry = std::make_shared<CKXGeometry>();
    for (SKXSurfaceData& part : parts)
    {
        pGeometry->append(*part.geometry);
        if (bScalars)
            whole.scalars.insert(whole.scalars.end(), part.scalars.begin(), part.scalars.end());
        part.geometry.reset(); // let the parts' memory go as the whole grows
    }
    pGeometry->finish();
    whole.geometry = std::move(pGeometry);
    if (!bScalars)
        whole.scalarName.clear();
    return whole;
}

QString CLoad::uniqueOrganName(const QString& strName)
{
    QSet<QString> used;
    for (const SKXSurfaceData& organ : m_description.organs)
        used.insert(organ.name);
    const QString strBase = strName.isEmpty() ? QStringLiteral("Organ") : strName;
    QString strUnique = strBase;
    for (int n = 2; used.contains(strUnique); ++n)
        strUnique = QStringLiteral("%1 %2").arg(strBase).arg(n);
    return strUnique;
}

bool CLoad::source(const SKXSceneItem& item, QString& strError)
{
    for (const SKXSourceData& existing : m_description.sources)
        if (existing.name == item.name)
        {
            strError = QStringLiteral("There is a source named \"%1\" already.").arg(item.name);
            return false;
        }
    SKXSourceData source;
    source.name = item.name;
    source.color = item.color;
    std::vector<SKXSurfaceData> parts;
    if (!surfaces(item, parts, strError))
        return false;
    if (item.name == kOriginal && parts.size() > 1)
        parts = {merged(parts, item.name)};
    source.surfaces = std::move(parts);
    if (!item.volume.isEmpty() && !volume(item.volume, source.volume, strError))
        return false;
    m_description.sources.push_back(std::move(source));
    return true;
}

bool CLoad::item(const SKXSceneItem& item, double dStart, double dEnd, QString& strError)
{
    m_dStart = dStart;
    m_dEnd = dEnd;
    switch (item.role)
    {
    case EKXDataRole::Subject:
    {
        if (m_description.subject)
        {
            strError = QStringLiteral("\"%1\" cannot be the subject: the dataset has one already "
                                      "(open it as an organ).")
                           .arg(nativeName(item.surfaces.value(0)));
            return false;
        }
        std::vector<SKXSurfaceData> parts;
        if (!surfaces(item, parts, strError))
            return false;
        SKXSurfaceData subject = merged(parts, item.name);
        if (item.color.isValid())
            subject.color = item.color;
        m_description.subject = std::make_shared<const SKXSurfaceData>(std::move(subject));
        return true;
    }
    case EKXDataRole::Organ:
    {
        std::vector<SKXSurfaceData> parts;
        if (!surfaces(item, parts, strError))
            return false;
        if (!item.name.isEmpty())
            parts = {merged(parts, item.name)};
        for (SKXSurfaceData& organ : parts)
        {
            organ.name = uniqueOrganName(organ.name);
            if (item.color.isValid())
                organ.color = item.color;
            m_description.organs.push_back(std::move(organ));
        }
        return true;
    }
    case EKXDataRole::Volume:
        if (m_description.anatomy)
        {
            strError = QStringLiteral("\"%1\" cannot be the multimodality volume: the dataset has "
                                      "one already (open it as a source).")
                           .arg(nativeName(item.volume));
            return false;
        }
        return volume(item.volume, m_description.anatomy, strError);
    case EKXDataRole::Source:
        return source(item, strError);
    case EKXDataRole::Automatic:
        break;
    }
    return false;
}

// The next free "<stem>_N" among the sources.
QString nextSourceName(const std::vector<SKXSceneItem>& items, const QString& strStem)
{
    for (int n = 1;; ++n)
    {
        const QString strName = QStringLiteral("%1_%2").arg(strStem).arg(n);
        bool bUsed = false;
        for (const SKXSceneItem& item : items)
            bUsed = bUsed || item.name == strName;
        if (!bUsed)
            return strName;
    }
}

// The item a single opened file stands for, its role decided when none was
// given.
bool itemOf(const SKXOpenRequest& request, CKXDatasetLoader::EKind eKind,
            std::vector<SKXSceneItem>& items, QString& strError)
{
    const bool bMesh = eKind == CKXDatasetLoader::EKind::Mesh;
    SKXSceneItem item;
    item.role = request.role;
    item.name = request.name;
    const QString strPath = QFileInfo(request.path).absoluteFilePath();
    bool bHasSubject = false, bHasVolume = false;
    for (const SKXSceneItem& other : items)
    {
        bHasSubject = bHasSubject || other.role == EKXDataRole::Subject;
        bHasVolume = bHasVolume || other.role == EKXDataRole::Volume;
    }
    if (item.role == EKXDataRole::Automatic)
        item.role = bMesh ? (bHasSubject ? EKXDataRole::Organ : EKXDataRole::Subject)
                          : (bHasVolume ? EKXDataRole::Source : EKXDataRole::Volume);
    const bool bSurfaceRole = item.role == EKXDataRole::Subject || item.role == EKXDataRole::Organ;
    if (bSurfaceRole != bMesh && item.role != EKXDataRole::Source)
    {
        strError = QStringLiteral("\"%1\" is a %2 and cannot be opened as the %3.")
                       .arg(nativeName(request.path),
                            bMesh ? QStringLiteral("mesh") : QStringLiteral("volume"),
                            CKXSceneFile::roleName(item.role));
        return false;
    }
    if (item.role == EKXDataRole::Source)
    {
        const QString strStem =
            bMesh ? QStringLiteral("SourceSurface") : QStringLiteral("SourceVoxels");
        if (item.name.isEmpty())
            item.name = nextSourceName(items, strStem);
        const bool bOriginal = item.name.compare(kOriginal, Qt::CaseInsensitive) == 0;
        if (bOriginal)
            item.name = kOriginal;
        if (!bOriginal && !item.name.contains(strStem))
        {
            strError =
                QStringLiteral("\"%1\": a %2 source's name must contain \"%3\" (or be "
                               "\"Original\").")
                    .arg(nativeName(request.path),
                         bMesh ? QStringLiteral("surface") : QStringLiteral("voxel"), strStem);
            return false;
        }
    }
    if (bMesh)
        item.surfaces << strPath;
    else
        item.volume = strPath;
    items.push_back(std::move(item));
    return true;
}

} // namespace

CKXDatasetLoader::EKind CKXDatasetLoader::kindOf(const QString& strPath)
{
    const QFileInfo info(strPath);
    if (info.isDir())
        return EKind::Dicom;
    if (hasSuffix(strPath, sceneFilters()))
        return EKind::Scene;
    if (hasSuffix(strPath, volumeFilters()))
        return EKind::Volume;
    if (hasSuffix(strPath, CKXMeshReader::nameFilters()))
        return EKind::Mesh;
    if (info.suffix().compare(QLatin1String("dcm"), Qt::CaseInsensitive) == 0 ||
        looksLikeDicom(strPath))
        return EKind::Dicom;
    return EKind::Unknown;
}

QStringList CKXDatasetLoader::nameFilters()
{
    const QStringList meshes = CKXMeshReader::nameFilters();
    const QStringList volumes = volumeFilters() + QStringList{QStringLiteral("*.dcm")};
    return {QStringLiteral("All data (%1)").arg((sceneFilters() + meshes + volumes).join(' ')),
            QStringLiteral("Scene files (%1)").arg(sceneFilters().join(' ')),
            QStringLiteral("Meshes (%1)").arg(meshes.join(' ')),
            QStringLiteral("Volumes (%1)").arg(volumes.join(' ')), QStringLiteral("All files (*)")};
}

bool CKXDatasetLoader::load(const QList<SKXOpenRequest>& requests, SKXSceneDescription& description,
                            QString& strError, const KXProgress& progress)
{
    // First what each request stands for, so that every file's kind and role is
    // known (and refused if need be) before anything large is read.
    std::vector<SKXSceneItem> items;
    SKXSceneDescription loaded;
    bool bOrientationGiven = false;
    for (const SKXOpenRequest& request : requests)
    {
        const EKind eKind = kindOf(request.path);
        if (eKind == EKind::Scene)
        {
            SKXSceneFileData scene;
            if (!CKXSceneFile::read(request.path, scene, strError))
                return false;
            if (loaded.name.isEmpty())
                loaded.name = scene.name;
            if (!bOrientationGiven && !scene.viewOrientation.isIdentity())
            {
                loaded.viewOrientation = scene.viewOrientation;
                bOrientationGiven = true;
            }
            for (SKXSceneItem& item : scene.items)
                items.push_back(std::move(item));
            continue;
        }
        if (eKind == EKind::Unknown)
        {
            strError =
                QFileInfo::exists(request.path)
                    ? QStringLiteral("\"%1\" is not a kind of file the viewer reads "
                                     "(meshes: %2; volumes: NIfTI files and DICOM "
                                     "folders; scene files: *.json).")
                          .arg(nativeName(request.path), CKXMeshReader::nameFilters().join(' '))
                    : QStringLiteral("\"%1\" does not exist.").arg(nativeName(request.path));
            return false;
        }
        if (!itemOf(request, eKind, items, strError))
            return false;
        if (loaded.name.isEmpty())
            loaded.name = QFileInfo(request.path).completeBaseName();
    }
    if (items.empty())
    {
        strError = QStringLiteral("Nothing to open.");
        return false;
    }

    CLoad load(loaded, progress);
    for (size_t i = 0; i < items.size(); ++i)
    {
        const double dStart = double(i) / items.size();
        if (!load.item(items[i], dStart, double(i + 1) / items.size(), strError))
            return false;
    }
    bool bHasVolume = loaded.anatomy != nullptr;
    for (const SKXSourceData& source : loaded.sources)
        bHasVolume = bHasVolume || source.volume;
    if (!bOrientationGiven && bHasVolume)
    {
        // Patient coordinates: the front of the subject, head up.
        CKXSceneFile::orientation(QVector3D(0, 0, 1), QVector3D(0, 1, 0), loaded.viewOrientation);
    }
    description = std::move(loaded);
    return true;
}
