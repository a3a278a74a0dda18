#include "CKXSceneFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

#include <cmath>

namespace
{
const QString kFormat = QStringLiteral("kx3dviewer-scene");
constexpr int kVersion = 1;

struct SRoleName
{
    EKXDataRole eRole;
    const char* szName;
};
const SRoleName kRoles[] = {{EKXDataRole::Subject, "subject"},
                            {EKXDataRole::Organ, "organ"},
                            {EKXDataRole::Volume, "volume"},
                            {EKXDataRole::Source, "source"}};

bool isFiniteVector(const QVector3D& v)
{
    return std::isfinite(v.x()) && std::isfinite(v.y()) && std::isfinite(v.z());
}

// Reads the members of one item; every message names the item by its position.
class CItemParser
{
public:
    CItemParser(const QJsonObject& object, const QDir& baseDir, int nIndex)
        : m_object(object), m_baseDir(baseDir), m_strWhere(QStringLiteral("item %1").arg(nIndex))
    {
    }

    bool parse(SKXSceneItem& item, QString& strError);

private:
    bool text(const char* szKey, QString& strValue, QString& strError) const;
    bool paths(const char* szKey, QStringList& list, QString& strError) const;
    bool color(QColor& color, QString& strError) const;
    QString absolute(const QString& strPath) const
    {
        return QDir::cleanPath(m_baseDir.absoluteFilePath(strPath));
    }
    bool fail(QString& strError, const QString& strWhat) const
    {
        strError = QStringLiteral("%1: %2").arg(m_strWhere, strWhat);
        return false;
    }

    const QJsonObject& m_object;
    const QDir& m_baseDir;
    QString m_strWhere;
};

bool CItemParser::text(const char* szKey, QString& strValue, QString& strError) const
{
    const QJsonValue value = m_object.value(QLatin1String(szKey));
    if (value.isUndefined())
        return true;
    if (!value.isString())
        return fail(strError, QStringLiteral("\"%1\" must be a text.").arg(szKey));
    strValue = value.toString();
    return true;
}

// A path or a list of paths; made absolute against the scene file's folder.
bool CItemParser::paths(const char* szKey, QStringList& list, QString& strError) const
{
    const QJsonValue value = m_object.value(QLatin1String(szKey));
    if (value.isUndefined())
        return true;
    const QJsonArray array = value.isArray() ? value.toArray() : QJsonArray{value};
    for (const QJsonValue& entry : array)
    {
        if (!entry.isString() || entry.toString().trimmed().isEmpty())
            return fail(strError,
                        QStringLiteral("\"%1\" must be a file name or a list of them.").arg(szKey));
        list << absolute(entry.toString());
    }
    return true;
}

bool CItemParser::color(QColor& color, QString& strError) const
{
    const QJsonValue value = m_object.value(QLatin1String("color"));
    if (value.isUndefined())
        return true;
    if (value.isString() && QColor::isValidColor(value.toString()))
    {
        color = QColor(value.toString());
        return true;
    }
    const QJsonArray array = value.toArray();
    if (array.size() == 3)
    {
        int rgb[3];
        for (int i = 0; i < 3; ++i)
        {
            const double d = array.at(i).toDouble(-1.0);
            if (!array.at(i).isDouble() || d < 0.0 || d > 255.0)
                return fail(strError, QStringLiteral("\"color\" components must be 0 to 255."));
            rgb[i] = static_cast<int>(std::lround(d));
        }
        color = QColor(rgb[0], rgb[1], rgb[2]);
        return true;
    }
    return fail(
        strError,
        QStringLiteral("\"color\" must be \"#rrggbb\", a colour name or [red, green, blue]."));
}

bool CItemParser::parse(SKXSceneItem& item, QString& strError)
{
    QString strRole;
    if (!text("role", strRole, strError))
        return false;
    item.role = CKXSceneFile::roleOf(strRole);
    if (item.role == EKXDataRole::Automatic)
        return fail(strError, QStringLiteral("unknown role \"%1\" (subject, organ, volume or "
                                             "source).")
                                  .arg(strRole));
    if (!text("name", item.name, strError) || !text("scalar", item.scalarName, strError) ||
        !color(item.color, strError))
        return false;
    if (!item.name.isEmpty())
        m_strWhere = QStringLiteral("%1 (\"%2\")").arg(m_strWhere, item.name);

    QStringList files;
    QStringList volumes;
    if (!paths("file", files, strError) || !paths("surface", item.surfaces, strError) ||
        !paths("volume", volumes, strError))
        return false;
    if (volumes.size() > 1)
        return fail(strError, QStringLiteral("a source has one \"volume\"."));
    item.volume = volumes.value(0);

    switch (item.role)
    {
    case EKXDataRole::Subject:
    case EKXDataRole::Organ:
        item.surfaces = files + item.surfaces;
        if (item.surfaces.isEmpty() || !item.volume.isEmpty())
            return fail(strError, QStringLiteral("a %1 needs \"file\": one or more mesh files.")
                                      .arg(CKXSceneFile::roleName(item.role)));
        break;
    case EKXDataRole::Volume:
        if (files.size() != 1 || !item.surfaces.isEmpty() || !item.volume.isEmpty())
            return fail(strError, QStringLiteral("a volume needs \"file\": one NIfTI file or "
                                                 "DICOM folder."));
        item.volume = files.first();
        break;
    case EKXDataRole::Source:
    {
        // The plug-in finds a source by its name: the name decides what the source may hold.
        const bool bOriginal =
            item.name.compare(QLatin1String("Original"), Qt::CaseInsensitive) == 0;
        const bool bVoxels = item.name.contains(QLatin1String("SourceVoxels"));
        const bool bSurface = item.name.contains(QLatin1String("SourceSurface"));
        if (!files.isEmpty())
            return fail(strError, QStringLiteral("a source takes \"volume\" and \"surface\", not "
                                                 "\"file\"."));
        if (!bOriginal && !bVoxels && !bSurface)
            return fail(strError, QStringLiteral("a source's name must be \"Original\" or contain "
                                                 "\"SourceVoxels\" or \"SourceSurface\"."));
        if (bOriginal)
            item.name = QStringLiteral("Original");
        if (bOriginal &&
            (item.surfaces.size() > 1 || (item.surfaces.isEmpty() && item.volume.isEmpty())))
            return fail(strError, QStringLiteral("the original source takes a \"volume\" and at "
                                                 "most one \"surface\"."));
        if (!bOriginal && bVoxels && (item.volume.isEmpty() || !item.surfaces.isEmpty()))
            return fail(strError, QStringLiteral("a voxel source takes one \"volume\" and no "
                                                 "\"surface\"."));
        if (!bOriginal && !bVoxels && (item.surfaces.isEmpty() || !item.volume.isEmpty()))
            return fail(strError, QStringLiteral("a surface source takes \"surface\" files and no "
                                                 "\"volume\"."));
        break;
    }
    case EKXDataRole::Automatic:
        break;
    }
    if (!item.scalarName.isEmpty() && item.role != EKXDataRole::Subject)
        return fail(strError, QStringLiteral("only the subject has a \"scalar\" field."));
    return true;
}

QVector3D vectorOf(const QJsonValue& value, bool& bOk)
{
    const QJsonArray array = value.toArray();
    bOk = array.size() == 3 && array.at(0).isDouble() && array.at(1).isDouble() &&
          array.at(2).isDouble();
    return bOk ? QVector3D(float(array.at(0).toDouble()), float(array.at(1).toDouble()),
                           float(array.at(2).toDouble()))
               : QVector3D();
}

QJsonArray arrayOf(const QVector3D& v)
{
    return QJsonArray{double(v.x()), double(v.y()), double(v.z())};
}

} // namespace

EKXDataRole CKXSceneFile::roleOf(const QString& strName)
{
    for (const SRoleName& role : kRoles)
        if (strName.compare(QLatin1String(role.szName), Qt::CaseInsensitive) == 0)
            return role.eRole;
    return EKXDataRole::Automatic;
}

QString CKXSceneFile::roleName(EKXDataRole eRole)
{
    for (const SRoleName& role : kRoles)
        if (role.eRole == eRole)
            return QLatin1String(role.szName);
    return QString();
}

bool CKXSceneFile::orientation(const QVector3D& up, const QVector3D& front, QMatrix4x4& orientation)
{
    if (!isFiniteVector(up) || !isFiniteVector(front))
        return false;
    const QVector3D y = up.normalized();
    // The front direction is made perpendicular to up, so a slightly tilted pair still works; a
    // pair within about a tenth of a degree of parallel says nothing about the front.
    const QVector3D zRaw = front - QVector3D::dotProduct(front, y) * y;
    if (y.isNull() || zRaw.length() <= 1e-3f * front.length())
        return false;
    const QVector3D z = zRaw.normalized();
    const QVector3D x = QVector3D::crossProduct(y, z);
    // Rows: the world directions that become the view's right, up and towards the viewer.
    orientation = QMatrix4x4(x.x(), x.y(), x.z(), 0, y.x(), y.y(), y.z(), 0, z.x(), z.y(), z.z(), 0,
                             0, 0, 0, 1);
    return true;
}

bool CKXSceneFile::parse(const QByteArray& baJson, const QString& strBaseDir,
                         SKXSceneFileData& data, QString& strError)
{
    data = SKXSceneFileData();
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(baJson, &parseError);
    if (document.isNull())
    {
        strError = QStringLiteral("not a scene file: %1 at character %2.")
                       .arg(parseError.errorString())
                       .arg(parseError.offset);
        return false;
    }
    const QJsonObject root = document.object();
    const QJsonValue format = root.value(QLatin1String("format"));
    if (!document.isObject() || !root.value(QLatin1String("items")).isArray() ||
        (!format.isUndefined() && format.toString() != kFormat))
    {
        strError = QStringLiteral("not a scene file: it needs \"items\" (and \"format\": \"%1\").")
                       .arg(kFormat);
        return false;
    }
    const QJsonValue version = root.value(QLatin1String("version"));
    if (!version.isUndefined() && version.toInt(-1) != kVersion)
    {
        strError = QStringLiteral("scene file version %1 is not supported (this viewer reads "
                                  "version %2).")
                       .arg(version.toVariant().toString())
                       .arg(kVersion);
        return false;
    }
    const QJsonArray items = root.value(QLatin1String("items")).toArray();
    if (items.isEmpty() || items.size() > kMaxItems)
    {
        strError = QStringLiteral("a scene file lists 1 to %1 items; this one lists %2.")
                       .arg(kMaxItems)
                       .arg(items.size());
        return false;
    }
    SKXSceneFileData parsed;
    parsed.name = root.value(QLatin1String("name")).toString();
    const QJsonValue view = root.value(QLatin1String("view"));
    if (!view.isUndefined())
    {
        bool bUp = false, bFront = false;
        const QVector3D up = vectorOf(view.toObject().value(QLatin1String("up")), bUp);
        const QVector3D front = vectorOf(view.toObject().value(QLatin1String("front")), bFront);
        if (!bUp || !bFront || !orientation(up, front, parsed.viewOrientation))
        {
            strError = QStringLiteral("\"view\" needs \"up\" and \"front\": two directions [x, "
                                      "y, z] that are not parallel.");
            return false;
        }
    }

    const QDir baseDir(strBaseDir);
    QStringList listNames; // subject, volume and source names must each be there once
    for (int i = 0; i < items.size(); ++i)
    {
        if (!items.at(i).isObject())
        {
            strError = QStringLiteral("item %1: not an object.").arg(i + 1);
            return false;
        }
        SKXSceneItem item;
        const QJsonObject object = items.at(i).toObject();
        if (!CItemParser(object, baseDir, i + 1).parse(item, strError))
            return false;
        const QString strKey = item.role == EKXDataRole::Source ? item.name
                               : item.role == EKXDataRole::Organ
                                   ? (item.name.isEmpty() ? QString() : "organ " + item.name)
                                   : roleName(item.role);
        if (!strKey.isEmpty() && listNames.contains(strKey))
        {
            strError = QStringLiteral("item %1: a second %2.").arg(i + 1).arg(strKey);
            return false;
        }
        listNames << strKey;
        parsed.items.push_back(std::move(item));
    }
    data = std::move(parsed);
    return true;
}

bool CKXSceneFile::read(const QString& strPath, SKXSceneFileData& data, QString& strError)
{
    data = SKXSceneFileData();
    QFile file(strPath);
    const QString strName = QDir::toNativeSeparators(strPath);
    if (!QFileInfo(strPath).isFile() || !file.open(QIODevice::ReadOnly))
    {
        strError = QStringLiteral("Cannot read the scene file \"%1\": %2.")
                       .arg(strName, QFileInfo::exists(strPath) ? file.errorString()
                                                                : QStringLiteral("no such file"));
        return false;
    }
    if (file.size() > kMaxFileBytes)
    {
        strError = QStringLiteral("The scene file \"%1\" is larger than %2 MiB; it cannot be a "
                                  "scene file.")
                       .arg(strName)
                       .arg(kMaxFileBytes >> 20);
        return false;
    }
    const QByteArray baJson = file.readAll();
    if (!parse(baJson, QFileInfo(strPath).absolutePath(), data, strError))
    {
        strError = QStringLiteral("Scene file \"%1\": %2").arg(strName, strError);
        return false;
    }
    return true;
}

bool CKXSceneFile::write(const QString& strPath, const SKXSceneFileData& data, QString& strError)
{
    const QDir baseDir = QFileInfo(strPath).absoluteDir();
    auto relative = [&baseDir](const QString& strFile)
    {
        const QString strRelative = baseDir.relativeFilePath(strFile);
        return strRelative.startsWith(QLatin1String("../")) ? strFile : strRelative;
    };
    QJsonArray items;
    for (const SKXSceneItem& item : data.items)
    {
        QJsonObject object{{QStringLiteral("role"), roleName(item.role)}};
        if (!item.name.isEmpty())
            object.insert(QStringLiteral("name"), item.name);
        QJsonArray surfaces;
        for (const QString& strFile : item.surfaces)
            surfaces.append(relative(strFile));
        const bool bSource = item.role == EKXDataRole::Source;
        if (!surfaces.isEmpty())
            object.insert(bSource ? QStringLiteral("surface") : QStringLiteral("file"),
                          surfaces.size() == 1 ? surfaces.first() : QJsonValue(surfaces));
        if (!item.volume.isEmpty())
            object.insert(bSource ? QStringLiteral("volume") : QStringLiteral("file"),
                          relative(item.volume));
        if (item.color.isValid())
            object.insert(QStringLiteral("color"), item.color.name());
        if (!item.scalarName.isEmpty())
            object.insert(QStringLiteral("scalar"), item.scalarName);
        items.append(object);
    }
    QJsonObject root{{QStringLiteral("format"), kFormat},
                     {QStringLiteral("version"), kVersion},
                     {QStringLiteral("name"), data.name},
                     {QStringLiteral("items"), items}};
    if (!data.viewOrientation.isIdentity())
        root.insert(
            QStringLiteral("view"),
            QJsonObject{
                {QStringLiteral("up"), arrayOf(data.viewOrientation.row(1).toVector3D())},
                {QStringLiteral("front"), arrayOf(data.viewOrientation.row(2).toVector3D())}});
    QSaveFile file(strPath);
    if (!file.open(QIODevice::WriteOnly) ||
        file.write(QJsonDocument(root).toJson(QJsonDocument::Indented)) < 0 || !file.commit())
    {
        strError = QStringLiteral("Cannot write the scene file \"%1\": %2.")
                       .arg(QDir::toNativeSeparators(strPath), file.errorString());
        return false;
    }
    return true;
}
