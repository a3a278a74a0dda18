// Every field of a tag_s3Dcontrols as text, so that two records compare exactly and a
// difference shows which field it is.
#ifndef CONTROLSTEXT_H
#define CONTROLSTEXT_H

#include "KeyFrameRecords.h"

#include <QString>
#include <QStringList>

#include <initializer_list>

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

#define KX_FIELD(rec, f) QStringLiteral(#f "=") + text(rec.f)

inline void add(QStringList& out, std::initializer_list<QString> fields)
{
    for (const QString& str : fields)
        out << str;
}

inline QString controlsText(const tag_s3Dcontrols& c)
{
    QStringList out;
    add(out, {KX_FIELD(c, viewFlags), KX_FIELD(c, meshColor), KX_FIELD(c, meshRenderVertices),
              KX_FIELD(c, meshRenderWireframe), KX_FIELD(c, meshRenderSolid),
              KX_FIELD(c, meshRenderWireSolid), KX_FIELD(c, organRenderVertices),
              KX_FIELD(c, organRenderWireframe), KX_FIELD(c, organRenderSolid),
              KX_FIELD(c, organRenderWireSolid), KX_FIELD(c, meshShadeBox),
              KX_FIELD(c, meshShadeSmoothSolid)});
    add(out, {KX_FIELD(c, meshShadeLit), KX_FIELD(c, meshShadeSolidLit), KX_FIELD(c, organShadeBox),
              KX_FIELD(c, organShadeSmoothSolid), KX_FIELD(c, organShadeLit),
              KX_FIELD(c, organShadeSolidLit), KX_FIELD(c, extraRenderFlags),
              KX_FIELD(c, controlMode), KX_FIELD(c, meshVisible), KX_FIELD(c, displayFlags),
              KX_FIELD(c, intSettings), KX_FIELD(c, meshOpacity)});
    add(out, {KX_FIELD(c, intSettings2), KX_FIELD(c, doubleSettings), KX_FIELD(c, name1),
              KX_FIELD(c, flagA), KX_FIELD(c, flagB), KX_FIELD(c, name2), KX_FIELD(c, organFlag),
              KX_FIELD(c, organsVisible), KX_FIELD(c, organOpacity), KX_FIELD(c, tailFlags)});
    const S3DToolsPDMapData& p = c.pdMap;
    add(out, {KX_FIELD(p, list1), KX_FIELD(p, list2), KX_FIELD(p, intValue), KX_FIELD(p, text1),
              KX_FIELD(p, text2), KX_FIELD(p, mode), KX_FIELD(p, flags), KX_FIELD(p, colorBarIndex),
              KX_FIELD(p, sliderMin), KX_FIELD(p, sliderMax), KX_FIELD(p, sliderExtra),
              KX_FIELD(p, spinBoxMax)});
    add(out, {KX_FIELD(p, spinBoxMin), KX_FIELD(p, spinBoxValue), KX_FIELD(p, intTail),
              KX_FIELD(p, percent), KX_FIELD(c, name3)});
    for (auto it = c.sourceControls.begin(); it != c.sourceControls.end(); ++it)
    {
        out << "source " + it.key();
        const tag_s3DSourceControls& s = it.value();
        add(out, {KX_FIELD(s, surfaceColor), KX_FIELD(s, surfRenderVertices),
                  KX_FIELD(s, surfRenderWireframe), KX_FIELD(s, surfRenderSolid),
                  KX_FIELD(s, surfRenderWireSolid), KX_FIELD(s, surfShadeBox),
                  KX_FIELD(s, surfShadeSmoothSolid), KX_FIELD(s, surfShadeLit),
                  KX_FIELD(s, surfShadeSolidLit), KX_FIELD(s, surfExtraFlags),
                  KX_FIELD(s, volumeOpacity), KX_FIELD(s, volumeOpacityMin)});
        add(out,
            {KX_FIELD(s, volumeOpacityMax), KX_FIELD(s, surfaceOpacity),
             KX_FIELD(s, surfaceOpacityMin), KX_FIELD(s, surfaceOpacityMax),
             KX_FIELD(s, surfaceGroupEnabled), KX_FIELD(s, surfaceVisible), KX_FIELD(s, volumeMip),
             KX_FIELD(s, sourceValue), KX_FIELD(s, sourceFloatValue), KX_FIELD(s, volumeFlags),
             KX_FIELD(s, volumeGroup), KX_FIELD(s, volumeThreshold)});
        add(out, {KX_FIELD(s, volumeLogScale), KX_FIELD(s, volumeVisible),
                  KX_FIELD(s, intensitySlider), KX_FIELD(s, intensitySliderMin),
                  KX_FIELD(s, intensitySliderMax), KX_FIELD(s, intensityValue),
                  KX_FIELD(s, intensityMin), KX_FIELD(s, intensityMax), KX_FIELD(s, intensityExtra),
                  KX_FIELD(s, voxelFloatValue), KX_FIELD(s, rangeMin), KX_FIELD(s, rangeMax)});
        add(out, {KX_FIELD(s, voxelType), KX_FIELD(s, voxelFlags), KX_FIELD(s, voxelColor),
                  KX_FIELD(s, colorMin), KX_FIELD(s, colorMax), KX_FIELD(s, drawMode),
                  KX_FIELD(s, shadeMode)});
        const tag_s3DVolMeasurement& m = s.measurement;
        add(out, {KX_FIELD(m, active), KX_FIELD(m, count), KX_FIELD(m, unit),
                  KX_FIELD(m, precision), KX_FIELD(m, label), KX_FIELD(m, region),
                  KX_FIELD(m, text1), KX_FIELD(m, text2), KX_FIELD(m, statistics)});
    }
    return out.join('\n');
}

#undef KX_FIELD
} // namespace kxtest

#endif // CONTROLSTEXT_H
