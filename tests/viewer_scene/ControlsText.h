// Every field of a tag_s3Dcontrols as text, so that two records compare exactly and a
// difference shows which field it is.
#ifndef CONTROLSTEXT_H
#define CONTROLSTEXT_H

#include "KeyFrameRecords.h"

#include <QString>
#include <QStringList>

namespace kxtest
{
inline QString text(bool b)
{
    return b ? "1" : "0";
}
inline QString text(int i)
{
    return QString::number(i);
}
inline QString text(double d)
{
    return QString::number(d, 'g', 17);
}
inline QString text(float f)
{
    return QString::number(double(f), 'g', 9);
}
inline QString text(const QString& s)
{
    return '"' + s + '"';
}
inline QString text(const QStringList& l)
{
    return '[' + l.join('|') + ']';
}
inline QString text(const QColor& c)
{
    return c.isValid() ? c.name(QColor::HexArgb) + "/" + QString::number(int(c.spec())) + "/" +
                             QString::number(quint64(c.rgba64()), 16)
                       : QStringLiteral("invalid");
}
template <class T, size_t N> QString text(const T (&a)[N])
{
    QStringList parts;
    for (size_t i = 0; i < N; ++i)
        parts << text(a[i]);
    return '{' + parts.join(',') + '}';
}

// "name=value" for every field passed, named as the caller wrote it.
template <class... T> QStringList fields(const char* szNames, const T&... values)
{
    const QStringList names = QString(szNames).split(", ");
    const QStringList texts{text(values)...};
    QStringList out;
    for (int i = 0; i < names.size(); ++i)
        out << names[i] + '=' + texts[i];
    return out;
}
#define KX_FIELDS(...) fields(#__VA_ARGS__, __VA_ARGS__)

inline QString controlsText(const tag_s3Dcontrols& c)
{
    const S3DToolsPDMapData& p = c.pdMap;
    QStringList out = KX_FIELDS(
        c.viewFlags, c.meshColor, c.meshRenderVertices, c.meshRenderWireframe, c.meshRenderSolid,
        c.meshRenderWireSolid, c.organRenderVertices, c.organRenderWireframe, c.organRenderSolid,
        c.organRenderWireSolid, c.meshShadeBox, c.meshShadeSmoothSolid, c.meshShadeLit,
        c.meshShadeSolidLit, c.organShadeBox, c.organShadeSmoothSolid, c.organShadeLit,
        c.organShadeSolidLit, c.extraRenderFlags, c.controlMode, c.meshVisible, c.displayFlags,
        c.intSettings, c.meshOpacity, c.intSettings2, c.doubleSettings, c.name1, c.flagA, c.flagB,
        c.name2, c.organFlag, c.organsVisible, c.organOpacity, c.tailFlags, c.name3);
    out += KX_FIELDS(p.list1, p.list2, p.intValue, p.text1, p.text2, p.mode, p.flags,
                     p.colorBarIndex, p.sliderMin, p.sliderMax, p.sliderExtra, p.spinBoxMax,
                     p.spinBoxMin, p.spinBoxValue, p.intTail, p.percent);
    for (auto it = c.sourceControls.begin(); it != c.sourceControls.end(); ++it)
    {
        const tag_s3DSourceControls& s = it.value();
        const tag_s3DVolMeasurement& m = s.measurement;
        out << "source " + it.key();
        out += KX_FIELDS(
            s.surfaceColor, s.surfRenderVertices, s.surfRenderWireframe, s.surfRenderSolid,
            s.surfRenderWireSolid, s.surfShadeBox, s.surfShadeSmoothSolid, s.surfShadeLit,
            s.surfShadeSolidLit, s.surfExtraFlags, s.volumeOpacity, s.volumeOpacityMin,
            s.volumeOpacityMax, s.surfaceOpacity, s.surfaceOpacityMin, s.surfaceOpacityMax,
            s.surfaceGroupEnabled, s.surfaceVisible, s.volumeMip, s.sourceValue, s.sourceFloatValue,
            s.volumeFlags, s.volumeGroup, s.volumeThreshold, s.volumeLogScale, s.volumeVisible,
            s.intensitySlider, s.intensitySliderMin, s.intensitySliderMax, s.intensityValue,
            s.intensityMin, s.intensityMax, s.intensityExtra, s.voxelFloatValue, s.rangeMin,
            s.rangeMax, s.voxelType, s.voxelFlags, s.voxelColor, s.colorMin, s.colorMax, s.drawMode,
            s.shadeMode, m.active, m.count, m.unit, m.precision, m.label, m.region, m.text1,
            m.text2, m.statistics);
    }
    return out.join('\n');
}

#undef KX_FIELDS
} // namespace kxtest

#endif // CONTROLSTEXT_H
