#include "KeyFrameFileReader.h"

#include "KeyFrameFileFormat.h"
#include "KeyFrameFilePreScan.h"
#include "NumericConversion.h"

#include <QDomDocument>
#include <QMap>

namespace
{

int readInt(const QDomElement& e, const QString& strName)
{
    return e.attribute(strName).toInt(nullptr, 10);
}

bool readBool(const QDomElement& e, const QString& strName)
{
    return readInt(e, strName) != 0;
}

double readDouble(const QDomElement& e, const QString& strName)
{
    return e.attribute(strName).toDouble();
}

// Components are set one at a time, as the file lists them. Out-of-range values are clamped
// here, as QColor would clamp them, but without a warning per value.
void readColour(const QDomElement& e, QColor& colour)
{
    colour.setRed(qBound(0, readInt(e, QStringLiteral("red")), 255));
    colour.setGreen(qBound(0, readInt(e, QStringLiteral("green")), 255));
    colour.setBlue(qBound(0, readInt(e, QStringLiteral("blue")), 255));
}

unitquaternion readRotation(const QDomElement& e)
{
    // Stored as given, not normalised, so that a written rotation reads back unchanged.
    return unitquaternion(Vec3f(readDouble(e, QStringLiteral("x")),
                                readDouble(e, QStringLiteral("y")),
                                readDouble(e, QStringLiteral("z"))),
                          readDouble(e, QStringLiteral("w")));
}

Vec3f readTranslation(const QDomElement& e)
{
    return Vec3f(readDouble(e, QStringLiteral("x")), readDouble(e, QStringLiteral("y")),
                 readDouble(e, QStringLiteral("z")));
}

// Every child node of the list is one organ, whatever its kind.
void readOrgans(const QDomNode& list, QMap<QString, bool>& organs)
{
    for (QDomNode n = list.firstChild(); !n.isNull(); n = n.nextSibling())
    {
        const QDomElement organ = n.toElement();
        organs.insert(organ.attribute(QStringLiteral("name")),
                      readBool(organ, QStringLiteral("visibility")));
    }
}

// The children of a current-generation key frame that are looked up by name: the first
// element of each name, found in one pass so that a key frame with many children costs
// linear time.
struct SKeyFrameChildren
{
    QDomElement m_meshColour;
    QDomElement m_rotation;
    QDomElement m_translation;
    QMap<int, QDomElement> m_mapSources; // "source_N" by N, for N = QString::number(N) only
};

SKeyFrameChildren indexChildren(const QDomElement& key)
{
    const QString strSourcePrefix = QStringLiteral("source_");
    SKeyFrameChildren children;
    for (QDomElement e = key.firstChildElement(); !e.isNull(); e = e.nextSiblingElement())
    {
        const QString strTag = e.tagName();
        if (strTag == QLatin1String("mesh_color"))
        {
            if (children.m_meshColour.isNull())
            {
                children.m_meshColour = e;
            }
        }
        else if (strTag == QLatin1String("RotationQuaternion"))
        {
            if (children.m_rotation.isNull())
            {
                children.m_rotation = e;
            }
        }
        else if (strTag == QLatin1String("TranslationVector"))
        {
            if (children.m_translation.isNull())
            {
                children.m_translation = e;
            }
        }
        else if (strTag.startsWith(strSourcePrefix))
        {
            // Only the names "source_%1" produces for an index are ever looked up.
            const QString strIndex = strTag.mid(strSourcePrefix.size());
            bool bOk = false;
            const int nIndex = strIndex.toInt(&bOk, 10);
            if (bOk && nIndex >= 0 && QString::number(nIndex) == strIndex &&
                !children.m_mapSources.contains(nIndex))
            {
                children.m_mapSources.insert(nIndex, e);
            }
        }
    }
    return children;
}

// One source element (or a missing one, given as a null element) into the source map.
void readSource(const QDomElement& e, QMap<QString, tag_s3DSourceControls>& sources)
{
    const QString strName = e.attribute(QStringLiteral("source_name"));
    tag_s3DSourceControls s = sources.value(strName);
    s.surfaceOpacity = readInt(e, QStringLiteral("sourcesurf_opacity"));
    s.surfRenderVertices = readBool(e, QStringLiteral("sourcesurf_vertices_state"));
    s.surfRenderWireframe = readBool(e, QStringLiteral("sourcesurf_wireframe_state"));
    s.surfRenderSolid = readBool(e, QStringLiteral("sourcesurf_solid_state"));
    s.surfRenderWireSolid = readBool(e, QStringLiteral("sourcesurf_wiresolid_state"));
    s.surfShadeBox = readBool(e, QStringLiteral("sourcesurf_shadebox_state"));
    s.surfShadeSmoothSolid = readBool(e, QStringLiteral("sourcesurf_shadesmoothsolid_state"));
    s.surfShadeLit = readBool(e, QStringLiteral("sourcesurf_shadelit_state"));
    s.surfShadeSolidLit = readBool(e, QStringLiteral("sourcesurf_solidlit_state"));
    s.surfaceGroupEnabled = readBool(e, QStringLiteral("sourcesurf_group_enable"));
    s.surfaceVisible = readBool(e, QStringLiteral("sourcesurf_group_state"));
    s.drawMode = readInt(e, QStringLiteral("sourcesurf_draw_mode"));
    s.shadeMode = readInt(e, QStringLiteral("sourcesurf_shade_mode"));
    s.volumeOpacity = readInt(e, QStringLiteral("volume_opacity"));
    s.volumeMip = readBool(e, QStringLiteral("volume_mip"));
    s.volumeVisible = readBool(e, QStringLiteral("volume_visibility"));
    s.volumeGroup = readBool(e, QStringLiteral("volume_group"));
    s.volumeThreshold = readBool(e, QStringLiteral("volume_threshold_state"));
    s.volumeLogScale = readBool(e, QStringLiteral("volume_log_state"));
    s.intensitySlider = readInt(e, QStringLiteral("volume_intensity_slider"));
    s.intensityValue = readDouble(e, QStringLiteral("volume_intensity_value"));
    s.voxelType = readInt(e, QStringLiteral("volume_voxel_type"));
    s.volumeReverse() = readBool(e, QStringLiteral("volume_reverse"));
    s.voxelColor = readInt(e, QStringLiteral("volume_voxel_color"));
    readColour(e.firstChildElement(QStringLiteral("sourcesurf_color")), s.surfaceColor);
    sources.insert(strName, s);
}

// The sources of indices 0 .. source_list_count - 1. An index without its element reads a
// source named "" with zeroed values, and reading that twice changes nothing more, so each
// run of missing indices is read once: the result equals the index-by-index loop, while a
// count of two billion costs only the elements present.
void readSources(const QDomElement& key, const QMap<int, QDomElement>& present,
                 QMap<QString, tag_s3DSourceControls>& sources)
{
    const int nCount = readInt(key, QStringLiteral("source_list_count"));
    int nNext = 0; // the first index not read yet
    for (auto it = present.cbegin(); it != present.cend() && it.key() < nCount; ++it)
    {
        if (it.key() > nNext)
        {
            readSource(QDomElement(), sources);
        }
        readSource(it.value(), sources);
        nNext = it.key() + 1;
    }
    if (nNext < nCount)
    {
        readSource(QDomElement(), sources);
    }
}

QString preScanDetail(EPreScanResult result)
{
    switch (result)
    {
    case EPreScanResult::DeclaresEntities:
        return QStringLiteral("The file declares XML entities, which key frame files never do.");
    case EPreScanResult::TooDeep:
        return QStringLiteral("The file's elements are nested more than %1 levels deep.")
            .arg(CKeyFrameFileReader::MAX_NESTING_DEPTH);
    case EPreScanResult::TooManyItems:
        return QStringLiteral("The file holds more than %1 XML nodes and attributes.")
            .arg(CKeyFrameFileReader::MAX_ITEMS);
    case EPreScanResult::Acceptable:
        break;
    }
    return QString();
}

} // namespace

bool CKeyFrameFileReader::isFileSizeAcceptable(qint64 nFileBytes)
{
    return nFileBytes >= 0 && nFileBytes <= MAX_FILE_BYTES;
}

SKeyFrameFileReadResult CKeyFrameFileReader::read(const QString& strText,
                                                  const tag_s3Dcontrols& sceneControls)
{
    return keyFrames(parse(strText), sceneControls);
}

SKeyFrameFileDocument CKeyFrameFileReader::parse(const QString& strText)
{
    using EStatus = SKeyFrameFileReadResult::EStatus;
    SKeyFrameFileDocument result;
    // A text of n characters came from at least n bytes.
    if (strText.size() > MAX_FILE_BYTES)
    {
        result.m_eStatus = EStatus::TooLarge;
        result.m_strDetail =
            QStringLiteral("The file is larger than %1 bytes.").arg(MAX_FILE_BYTES);
        return result;
    }
    SPreScanLimits limits;
    limits.m_nMaxDepth = MAX_NESTING_DEPTH;
    limits.m_nMaxItems = MAX_ITEMS;
    const EPreScanResult scan = CKeyFrameFilePreScan::scan(strText, limits);
    if (scan != EPreScanResult::Acceptable)
    {
        result.m_eStatus =
            scan == EPreScanResult::TooManyItems ? EStatus::TooLarge : EStatus::Unparsable;
        result.m_strDetail = preScanDetail(scan);
        return result;
    }

    QString strError;
    int nLine = 0;
    int nColumn = 0;
    if (!result.m_doc.setContent(strText, &strError, &nLine, &nColumn))
    {
        result.m_doc.clear();
        result.m_eStatus = EStatus::Unparsable;
        result.m_strDetail =
            QStringLiteral("%1 (line %2, column %3)").arg(strError).arg(nLine).arg(nColumn);
        return result;
    }

    const QDomElement root = result.m_doc.documentElement();
    int nKeyFrames = 0;
    for (QDomNode node = root.firstChild(); !node.isNull(); node = node.nextSibling())
    {
        if (++nKeyFrames > MAX_KEY_FRAMES)
        {
            result.m_doc.clear();
            result.m_eStatus = EStatus::TooLarge;
            result.m_strDetail =
                QStringLiteral("The file holds more than %1 key frames.").arg(MAX_KEY_FRAMES);
            return result;
        }
    }
    return result;
}

SKeyFrameFileReadResult CKeyFrameFileReader::keyFrames(const SKeyFrameFileDocument& document,
                                                       const tag_s3Dcontrols& sceneControls)
{
    SKeyFrameFileReadResult result;
    result.m_eStatus = document.m_eStatus;
    result.m_strDetail = document.m_strDetail;
    if (document.m_eStatus != SKeyFrameFileReadResult::EStatus::Loaded)
    {
        return result;
    }
    const QDomDocument& doc = document.m_doc;
    const QDomElement root = doc.documentElement();
    int nKeyFrames = 0;
    for (QDomNode node = root.firstChild(); !node.isNull(); node = node.nextSibling())
    {
        ++nKeyFrames;
    }
    result.m_listKeyFrames.reserve(nKeyFrames);

    const bool bOlder = doc.doctype().name().toLower() ==
                        QString::fromLatin1(KXKeyFrameFile::DOCTYPE_OLDER).toLower();
    for (QDomNode node = root.firstChild(); !node.isNull(); node = node.nextSibling())
    {
        SSpKeyFrameAttributes key;
        key.controls = sceneControls;
        // A node without children is not read at all: it stays the scene's controls with time
        // stamp 0. Kept for compatibility with existing files.
        if (node.hasChildNodes())
        {
            const QDomElement element = node.toElement();
            key.timeStamp = readDouble(element, QStringLiteral("time_stamp"));
            if (bOlder)
            {
                readOlderGeneration(node, key);
            }
            else
            {
                readCurrentGeneration(element, key);
            }
        }
        key.isCaptured = true;
        result.m_listKeyFrames.append(key);
    }
    return result;
}

void CKeyFrameFileReader::readOlderGeneration(const QDomNode& node, SSpKeyFrameAttributes& key)
{
    const QDomElement e = node.toElement();
    tag_s3Dcontrols& c = key.controls;
    tag_s3DSourceControls& original =
        c.sourceControls[QString::fromLatin1(KXKeyFrameFile::OLDER_SOURCE_NAME)];
    c.meshVisible = readBool(e, QStringLiteral("mesh_visibility"));
    c.organsVisible = readBool(e, QStringLiteral("organs_visibility"));
    original.volumeVisible = readBool(e, QStringLiteral("volume_visibility"));
    c.pdMap.visible() = readBool(e, QStringLiteral("pd_map_visibility"));
    // Fractions 0..1 in these files; single precision, scaled and truncated as they always
    // were (0.759 gives 75).
    c.meshOpacity =
        KXNumeric::truncateToInt(e.attribute(QStringLiteral("mesh_opacity")).toFloat() * 100.0f);
    c.organOpacity =
        KXNumeric::truncateToInt(e.attribute(QStringLiteral("organ_opacity")).toFloat() * 100.0f);
    original.surfaceVisible = readBool(e, QStringLiteral("sourcesurf_visibility"));
    original.surfaceOpacity =
        KXNumeric::truncateToInt(e.attribute(QStringLiteral("sourcesurf_opacity")).toFloat());

    // Children by position, whatever their names or kinds.
    const QDomNode rotation = node.firstChild();
    const QDomNode translation = rotation.nextSibling();
    const QDomNode organs = translation.nextSibling();
    key.rotation = readRotation(rotation.toElement());
    key.translation = readTranslation(translation.toElement());
    readOrgans(organs, key.organsVisibility);
}

void CKeyFrameFileReader::readCurrentGeneration(const QDomElement& e, SSpKeyFrameAttributes& key)
{
    tag_s3Dcontrols& c = key.controls;
    const SKeyFrameChildren children = indexChildren(e);

    c.meshVisible = readBool(e, QStringLiteral("mesh_visibility"));
    c.meshOpacity = readInt(e, QStringLiteral("mesh_opacity"));
    c.meshRenderVertices = readBool(e, QStringLiteral("mesh_render_vertices"));
    c.meshRenderWireframe = readBool(e, QStringLiteral("mesh_render_wireframe"));
    c.meshRenderSolid = readBool(e, QStringLiteral("mesh_render_solid"));
    c.meshRenderWireSolid = readBool(e, QStringLiteral("mesh_render_wiresolid"));
    c.meshShadeBox = readBool(e, QStringLiteral("mesh_shade_box"));
    c.meshShadeSmoothSolid = readBool(e, QStringLiteral("mesh_shade_smoothsolid"));
    c.meshShadeLit = readBool(e, QStringLiteral("mesh_shade_lit"));
    c.meshShadeSolidLit = readBool(e, QStringLiteral("mesh_shade_solidlit"));
    key.addnAttributes.multimodalityVolumeVisible =
        readBool(e, QStringLiteral("mulitmodality_volume"));
    readColour(children.m_meshColour, c.meshColor);

    S3DToolsPDMapData& pd = c.pdMap;
    pd.visible() = readBool(e, QStringLiteral("pd_map_visibility"));
    pd.sliderMin = readInt(e, QStringLiteral("pd_map_slidermin"));
    pd.sliderMax = readInt(e, QStringLiteral("pd_map_slidermax"));
    pd.colorBarIndex = readInt(e, QStringLiteral("pd_map_clorbar_index"));
    // Integer reads of values written as floats: kept for compatibility with existing hosts.
    pd.spinBoxValue = static_cast<float>(readInt(e, QStringLiteral("pd_map_spinbox")));
    pd.spinBoxMin = static_cast<float>(readInt(e, QStringLiteral("pd_map_spinbox_min")));
    pd.spinBoxMax = static_cast<float>(readInt(e, QStringLiteral("pd_map_spinbox_max")));
    pd.reverse() = readBool(e, QStringLiteral("pd_map_reverse_state"));
    pd.logScale() = readBool(e, QStringLiteral("pd_map_log_state"));

    c.organsVisible = readBool(e, QStringLiteral("organs_visibility"));
    c.organOpacity = readInt(e, QStringLiteral("organ_opacity"));
    c.organRenderVertices = readBool(e, QStringLiteral("organ_render_vertices"));
    c.organRenderWireframe = readBool(e, QStringLiteral("organ_render_wireframe"));
    c.organRenderSolid = readBool(e, QStringLiteral("organ_render_solid"));
    c.organRenderWireSolid = readBool(e, QStringLiteral("organ_render_wiresolid"));
    c.organShadeBox = readBool(e, QStringLiteral("organ_shade_box"));
    c.organShadeSmoothSolid = readBool(e, QStringLiteral("organ_shade_smoothsolid"));
    c.organShadeLit = readBool(e, QStringLiteral("organ_shade_lit"));
    c.organShadeSolidLit = readBool(e, QStringLiteral("organ_shade_solidlit"));

    readSources(e, children.m_mapSources, c.sourceControls);

    key.rotation = readRotation(children.m_rotation);
    key.translation = readTranslation(children.m_translation);
    // Looked up inside TranslationVector, where the writer never puts it: kept for
    // compatibility with existing hosts, so saved organ maps do not come back.
    const QDomElement organs =
        children.m_translation.firstChildElement(QStringLiteral("OrganList"));
    if (!organs.isNull())
    {
        readOrgans(organs, key.organsVisibility);
    }
}
