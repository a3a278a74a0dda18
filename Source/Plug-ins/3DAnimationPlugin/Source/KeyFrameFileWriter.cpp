#include "KeyFrameFileWriter.h"

#include "KeyFrameFileFormat.h"

#include <QDomNamedNodeMap>

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace
{

// The grey that stands for a black mesh colour in files.
constexpr int BLACK_MESH_RED = 160;
constexpr int BLACK_MESH_GREEN = 160;
constexpr int BLACK_MESH_BLUE = 164;

void setFlag(QDomElement& element, const QString& strName, bool bValue)
{
    element.setAttribute(strName, bValue ? 1 : 0);
}

// QDom's escaping of attribute values, so that the text equals its own serialisation.
void appendEscapedAttribute(QString& out, const QString& strValue)
{
    const int nLength = strValue.size();
    for (int i = 0; i < nLength; ++i)
    {
        const QChar c = strValue.at(i);
        switch (c.unicode())
        {
        case '<':
            out += QLatin1String("&lt;");
            break;
        case '"':
            out += QLatin1String("&quot;");
            break;
        case '&':
            out += QLatin1String("&amp;");
            break;
        case '>':
            if (i >= 2 && strValue.at(i - 1) == QLatin1Char(']') &&
                strValue.at(i - 2) == QLatin1Char(']'))
            {
                out += QLatin1String("&gt;");
            }
            else
            {
                out += c;
            }
            break;
        case 0x9:
            out += QLatin1String("&#x9;");
            break;
        case 0xA:
            out += QLatin1String("&#xa;");
            break;
        case 0xD:
            out += QLatin1String("&#xd;");
            break;
        default:
            out += c;
            break;
        }
    }
}

} // namespace

QString CKeyFrameFileWriter::write(const QStringList& rows,
                                   QMap<QString, SSpKeyFrameAttributes>& keyFrames,
                                   const QStringList& sceneSources)
{
    // The same text as toText(buildDocument(...)), but each key frame's elements live only
    // while they are written, so a long list never holds a whole DOM (which costs about 20
    // bytes of memory per byte of text).
    const QLatin1String rootName(KXKeyFrameFile::ROOT_ELEMENT);
    QString out = QLatin1String(KXKeyFrameFile::XML_HEADER);
    out += QLatin1String("<!DOCTYPE ") + QLatin1String(KXKeyFrameFile::DOCTYPE_CURRENT) +
           QLatin1String(">\n");
    if (rows.isEmpty())
    {
        out += QLatin1Char('<') + rootName + QLatin1String("/>\n\n");
        return out;
    }
    out += QLatin1Char('<') + rootName + QLatin1String(">\n");
    for (int nRow = 0; nRow < rows.size(); ++nRow)
    {
        // operator[] inserts a default record for a missing name; that default is written.
        const SSpKeyFrameAttributes key = keyFrames[rows.at(nRow)];
        QDomDocument scratch;
        appendElement(out,
                      keyFrameElement(scratch, key, static_cast<uint>(nRow) + 1u, sceneSources), 1);
    }
    out += QLatin1String("</") + rootName + QLatin1String(">\n\n");
    return out;
}

QDomDocument CKeyFrameFileWriter::buildDocument(const QStringList& rows,
                                                QMap<QString, SSpKeyFrameAttributes>& keyFrames,
                                                const QStringList& sceneSources)
{
    QDomDocument doc(QString::fromLatin1(KXKeyFrameFile::DOCTYPE_CURRENT));
    QDomElement root = doc.createElement(QLatin1String(KXKeyFrameFile::ROOT_ELEMENT));
    for (int nRow = 0; nRow < rows.size(); ++nRow)
    {
        // operator[] inserts a default record for a missing name; that default is written.
        const SSpKeyFrameAttributes key = keyFrames[rows.at(nRow)];
        root.appendChild(keyFrameElement(doc, key, static_cast<uint>(nRow) + 1u, sceneSources));
    }
    doc.appendChild(root);
    return doc;
}

QDomElement CKeyFrameFileWriter::keyFrameElement(QDomDocument& doc,
                                                 const SSpKeyFrameAttributes& key, uint nId,
                                                 const QStringList& sceneSources)
{
    const tag_s3Dcontrols& c = key.controls;
    const S3DToolsPDMapData& pd = c.pdMap;
    QDomElement e = doc.createElement(QLatin1String(KXKeyFrameFile::KEY_FRAME_ELEMENT));
    e.setAttribute(QStringLiteral("id"), nId);
    e.setAttribute(QStringLiteral("time_stamp"), key.timeStamp);
    setFlag(e, QStringLiteral("mesh_visibility"), c.meshVisible);
    setFlag(e, QStringLiteral("organs_visibility"), c.organsVisible);
    e.setAttribute(QStringLiteral("mesh_opacity"), c.meshOpacity);
    setFlag(e, QStringLiteral("mesh_render_vertices"), c.meshRenderVertices);
    setFlag(e, QStringLiteral("mesh_render_wireframe"), c.meshRenderWireframe);
    setFlag(e, QStringLiteral("mesh_render_solid"), c.meshRenderSolid);
    setFlag(e, QStringLiteral("mesh_render_wiresolid"), c.meshRenderWireSolid);
    setFlag(e, QStringLiteral("mesh_shade_box"), c.meshShadeBox);
    setFlag(e, QStringLiteral("mesh_shade_smoothsolid"), c.meshShadeSmoothSolid);
    setFlag(e, QStringLiteral("mesh_shade_lit"), c.meshShadeLit);
    setFlag(e, QStringLiteral("mesh_shade_solidlit"), c.meshShadeSolidLit);
    setFlag(e, QStringLiteral("pd_map_visibility"), pd.visible());
    // Misspelt on purpose: existing files and hosts use this name.
    e.setAttribute(QStringLiteral("pd_map_clorbar_index"), pd.colorBarIndex);
    e.setAttribute(QStringLiteral("pd_map_slidermin"), pd.sliderMin);
    e.setAttribute(QStringLiteral("pd_map_slidermax"), pd.sliderMax);
    e.setAttribute(QStringLiteral("pd_map_spinbox"), pd.spinBoxValue);
    e.setAttribute(QStringLiteral("pd_map_spinbox_min"), pd.spinBoxMin);
    e.setAttribute(QStringLiteral("pd_map_spinbox_max"), pd.spinBoxMax);
    setFlag(e, QStringLiteral("pd_map_reverse_state"), pd.reverse());
    setFlag(e, QStringLiteral("pd_map_log_state"), pd.logScale());
    e.setAttribute(QStringLiteral("organ_opacity"), c.organOpacity);
    setFlag(e, QStringLiteral("organ_render_vertices"), c.organRenderVertices);
    setFlag(e, QStringLiteral("organ_render_wireframe"), c.organRenderWireframe);
    setFlag(e, QStringLiteral("organ_render_solid"), c.organRenderSolid);
    setFlag(e, QStringLiteral("organ_render_wiresolid"), c.organRenderWireSolid);
    setFlag(e, QStringLiteral("organ_shade_box"), c.organShadeBox);
    setFlag(e, QStringLiteral("organ_shade_smoothsolid"), c.organShadeSmoothSolid);
    setFlag(e, QStringLiteral("organ_shade_lit"), c.organShadeLit);
    setFlag(e, QStringLiteral("organ_shade_solidlit"), c.organShadeSolidLit);
    // Misspelt on purpose: existing files and hosts use this name.
    setFlag(e, QStringLiteral("mulitmodality_volume"),
            key.addnAttributes.multimodalityVolumeVisible);
    e.setAttribute(QStringLiteral("source_list_count"), sceneSources.size());

    // A black mesh never reaches a file; kept for compatibility with existing hosts.
    const QColor& mesh = c.meshColor;
    if (mesh.red() == 0 && mesh.green() == 0 && mesh.blue() == 0)
    {
        e.appendChild(colourElement(doc, QStringLiteral("mesh_color"), BLACK_MESH_RED,
                                    BLACK_MESH_GREEN, BLACK_MESH_BLUE));
    }
    else
    {
        e.appendChild(colourElement(doc, QStringLiteral("mesh_color"), mesh.red(), mesh.green(),
                                    mesh.blue()));
    }

    // One entry, the current source's, stands for every source of the scene; kept for
    // compatibility with existing files and hosts.
    const tag_s3DSourceControls shared = c.sourceControls.value(c.name3);
    for (int k = 0; k < sceneSources.size(); ++k)
    {
        e.appendChild(sourceElement(doc, shared, k, sceneSources.at(k)));
    }

    // Degenerate vector parts are replaced in the file only (the record keeps its rotation);
    // kept for compatibility with existing files and hosts.
    double dX = key.rotation.x();
    double dY = key.rotation.y();
    double dZ = key.rotation.z();
    if (dX == 0.0 && dY == 0.0 && dZ == 0.0)
    {
        dX = 1.0;
    }
    const auto tiny = [](double d) { return d != 0.0 && std::fabs(d) < epsilon; };
    if (tiny(dX) || tiny(dY) || tiny(dZ))
    {
        dX = 1.0;
        dY = 0.0;
        dZ = 0.0;
    }
    QDomElement rotation = doc.createElement(QStringLiteral("RotationQuaternion"));
    rotation.setAttribute(QStringLiteral("x"), dX);
    rotation.setAttribute(QStringLiteral("y"), dY);
    rotation.setAttribute(QStringLiteral("z"), dZ);
    rotation.setAttribute(QStringLiteral("w"), key.rotation.w());
    e.appendChild(rotation);

    QDomElement translation = doc.createElement(QStringLiteral("TranslationVector"));
    translation.setAttribute(QStringLiteral("x"), key.translation.x());
    translation.setAttribute(QStringLiteral("y"), key.translation.y());
    translation.setAttribute(QStringLiteral("z"), key.translation.z());
    e.appendChild(translation);

    QDomElement organs = doc.createElement(QStringLiteral("OrganList"));
    for (auto it = key.organsVisibility.cbegin(); it != key.organsVisibility.cend(); ++it)
    {
        QDomElement organ = doc.createElement(QStringLiteral("Organ"));
        organ.setAttribute(QStringLiteral("name"), it.key());
        setFlag(organ, QStringLiteral("visibility"), it.value());
        organs.appendChild(organ);
    }
    e.appendChild(organs);
    return e;
}

QDomElement CKeyFrameFileWriter::sourceElement(QDomDocument& doc, const tag_s3DSourceControls& s,
                                               int nIndex, const QString& strName)
{
    QDomElement e = doc.createElement(QStringLiteral("source_%1").arg(nIndex));
    e.setAttribute(QStringLiteral("source_name"), strName);
    setFlag(e, QStringLiteral("sourcesurf_vertices_state"), s.surfRenderVertices);
    setFlag(e, QStringLiteral("sourcesurf_wireframe_state"), s.surfRenderWireframe);
    setFlag(e, QStringLiteral("sourcesurf_solid_state"), s.surfRenderSolid);
    setFlag(e, QStringLiteral("sourcesurf_wiresolid_state"), s.surfRenderWireSolid);
    setFlag(e, QStringLiteral("sourcesurf_shadebox_state"), s.surfShadeBox);
    setFlag(e, QStringLiteral("sourcesurf_shadesmoothsolid_state"), s.surfShadeSmoothSolid);
    setFlag(e, QStringLiteral("sourcesurf_shadelit_state"), s.surfShadeLit);
    setFlag(e, QStringLiteral("sourcesurf_solidlit_state"), s.surfShadeSolidLit);
    e.setAttribute(QStringLiteral("sourcesurf_opacity"), s.surfaceOpacity);
    setFlag(e, QStringLiteral("sourcesurf_group_enable"), s.surfaceGroupEnabled);
    setFlag(e, QStringLiteral("sourcesurf_group_state"), s.surfaceVisible);
    e.setAttribute(QStringLiteral("sourcesurf_draw_mode"), s.drawMode);
    e.setAttribute(QStringLiteral("sourcesurf_shade_mode"), s.shadeMode);
    e.setAttribute(QStringLiteral("volume_opacity"), s.volumeOpacity);
    setFlag(e, QStringLiteral("volume_mip"), s.volumeMip);
    setFlag(e, QStringLiteral("volume_visibility"), s.volumeVisible);
    setFlag(e, QStringLiteral("volume_group"), s.volumeGroup);
    setFlag(e, QStringLiteral("volume_threshold_state"), s.volumeThreshold);
    setFlag(e, QStringLiteral("volume_log_state"), s.volumeLogScale);
    e.setAttribute(QStringLiteral("volume_intensity_slider"), s.intensitySlider);
    e.setAttribute(QStringLiteral("volume_intensity_value"), s.intensityValue);
    e.setAttribute(QStringLiteral("volume_voxel_type"), s.voxelType);
    setFlag(e, QStringLiteral("volume_reverse"), s.volumeReverse());
    e.setAttribute(QStringLiteral("volume_voxel_color"), s.voxelColor);
    // Source colours are written as stored, black included.
    e.appendChild(colourElement(doc, QStringLiteral("sourcesurf_color"), s.surfaceColor.red(),
                                s.surfaceColor.green(), s.surfaceColor.blue()));
    return e;
}

QDomElement CKeyFrameFileWriter::colourElement(QDomDocument& doc, const QString& strName, int nRed,
                                               int nGreen, int nBlue)
{
    QDomElement e = doc.createElement(strName);
    e.setAttribute(QStringLiteral("red"), nRed);
    e.setAttribute(QStringLiteral("green"), nGreen);
    e.setAttribute(QStringLiteral("blue"), nBlue);
    return e;
}

QString CKeyFrameFileWriter::toText(const QDomDocument& doc)
{
    QString out = QLatin1String(KXKeyFrameFile::XML_HEADER);
    const QDomDocumentType docType = doc.doctype();
    if (!docType.isNull() && !docType.name().isEmpty())
    {
        out += QLatin1String("<!DOCTYPE ") + docType.name() + QLatin1String(">\n");
    }
    const QDomElement root = doc.documentElement();
    if (!root.isNull())
    {
        appendElement(out, root, 0);
    }
    out += QLatin1Char('\n');
    return out;
}

void CKeyFrameFileWriter::appendElement(QString& out, const QDomElement& element, int nDepth)
{
    out += QString(nDepth, QLatin1Char(' '));
    out += QLatin1Char('<');
    out += element.tagName();

    const QDomNamedNodeMap attributes = element.attributes();
    std::vector<std::pair<QString, QString>> sorted;
    sorted.reserve(static_cast<size_t>(attributes.count()));
    for (int i = 0; i < attributes.count(); ++i)
    {
        const QDomAttr attribute = attributes.item(i).toAttr();
        sorted.emplace_back(attribute.name(), attribute.value());
    }
    std::sort(sorted.begin(), sorted.end());
    for (const auto& attribute : sorted)
    {
        out += QLatin1Char(' ');
        out += attribute.first;
        out += QLatin1String("=\"");
        appendEscapedAttribute(out, attribute.second);
        out += QLatin1Char('"');
    }

    if (!element.hasChildNodes())
    {
        out += QLatin1String("/>\n");
        return;
    }
    out += QLatin1String(">\n");
    for (QDomElement child = element.firstChildElement(); !child.isNull();
         child = child.nextSiblingElement())
    {
        appendElement(out, child, nDepth + 1);
    }
    out += QString(nDepth, QLatin1Char(' '));
    out += QLatin1String("</");
    out += element.tagName();
    out += QLatin1String(">\n");
}
