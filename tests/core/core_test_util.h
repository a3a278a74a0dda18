// Shared helpers of the core unit tests: key frames with distinct values in every field the key
// frame file carries, and those fields as lists, so that one comparison covers them all.
#ifndef CORE_TEST_UTIL_H
#define CORE_TEST_UTIL_H

#include "KeyFrameRecords.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QLocale>
#include <QString>

namespace coretest
{

inline QString dataPath(const char* pszName)
{
    return QStringLiteral(KX_TEST_DATA_DIR "/") + QLatin1String(pszName);
}

inline QString readData(const char* pszName)
{
    QFile file(dataPath(pszName));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << pszName;
    return QString::fromUtf8(file.readAll());
}

// Source settings where every carried field differs from the default; `n` varies them.
inline tag_s3DSourceControls makeSource(int n)
{
    tag_s3DSourceControls s;
    s.surfaceColor = QColor(10 + n, 20 + n, 30 + n);
    s.surfRenderWireframe = s.surfShadeLit = s.surfaceGroupEnabled = s.surfaceVisible = true;
    s.volumeMip = s.volumeVisible = s.volumeGroup = s.volumeThreshold = s.volumeLogScale = true;
    s.volumeReverse() = true;
    s.surfRenderVertices = s.surfRenderSolid = s.surfRenderWireSolid = n % 2 == 1;
    s.surfShadeBox = s.surfShadeSmoothSolid = s.surfShadeSolidLit = n % 2 == 1;
    s.surfaceOpacity = 40 + n;
    s.drawMode = 1;
    s.shadeMode = 0;
    s.volumeOpacity = 60 + n;
    s.intensitySlider = 25 + n;
    s.intensityValue = 12.625 + n;
    s.voxelType = 2;
    s.voxelColor = 3 + n;
    return s;
}

inline SSpKeyFrameAttributes makeKeyFrame(double dTimeStamp, int n)
{
    SSpKeyFrameAttributes k;
    k.timeStamp = dTimeStamp;
    k.rotation = unitquaternion(Vec3f(0.1 * n + 0.1, 0.2, 0.3), 0.9);
    k.translation = Vec3f(1.5 * n, -2.25, -300.125);
    tag_s3Dcontrols& c = k.controls;
    c.meshColor = QColor(200, 150 + n, 100);
    c.meshVisible = n % 2 == 0;
    c.meshRenderSolid = c.meshShadeSmoothSolid = c.organRenderWireframe = c.organShadeLit = true;
    c.organsVisible = c.pdMap.visible() = c.pdMap.reverse() = c.pdMap.logScale() = true;
    // Odd key frames have every mode flag set, so that no flag keeps its default in both.
    c.meshRenderVertices = c.meshRenderWireframe = c.meshRenderWireSolid = n % 2 == 1;
    c.meshShadeBox = c.meshShadeLit = c.meshShadeSolidLit = n % 2 == 1;
    c.organRenderVertices = c.organRenderSolid = c.organRenderWireSolid = n % 2 == 1;
    c.organShadeBox = c.organShadeSmoothSolid = c.organShadeSolidLit = n % 2 == 1;
    c.meshOpacity = 70 + n;
    c.organOpacity = 30 + n;
    c.pdMap.colorBarIndex = 4;
    c.pdMap.sliderMin = 5 + n;
    c.pdMap.sliderMax = 95 - n;
    c.pdMap.spinBoxValue = 3.0f + n;
    c.pdMap.spinBoxMin = 1.0f;
    c.pdMap.spinBoxMax = 250.0f;
    c.name3 = QStringLiteral("Original");
    c.sourceControls.insert(QStringLiteral("Original"), makeSource(n));
    k.addnAttributes.multimodalityVolumeVisible = true;
    k.organsVisibility = {{QStringLiteral("Heart"), true}, {QStringLiteral("Lungs"), false}};
    return k;
}

inline QString text(const char* psz)
{
    return QString::fromUtf8(psz);
}
inline QString text(const QString& str)
{
    return str;
}
inline QString text(double d) // shortest text that reads back as the same double
{
    return QString::number(d, 'g', QLocale::FloatingPointShortest);
}
inline QString text(const QColor& colour)
{
    return colour.name();
}
inline QString flags(std::initializer_list<bool> bits)
{
    QString str;
    for (bool b : bits)
        str += b ? '1' : '0';
    return str;
}

// One line of space-separated fields.
template <typename... T> QString line(const T&... fields)
{
    return QStringList{text(fields)...}.join(' ') + '\n';
}

// Every field a key frame file can set, and the scene's values that loading keeps, as text:
// loaded key frames are compared with the expected dumps beside the files in tests/data.
inline QString dump(const QList<SSpKeyFrameAttributes>& keys)
{
    QString out;
    for (const SSpKeyFrameAttributes& k : keys)
    {
        const tag_s3Dcontrols& c = k.controls;
        const S3DToolsPDMapData& pd = c.pdMap;
        out += line("key stamp", k.timeStamp, "captured", k.isCaptured, "rotation", k.rotation.x(),
                    k.rotation.y(), k.rotation.z(), k.rotation.w(), "translation",
                    k.translation.x(), k.translation.y(), k.translation.z());
        out +=
            line(" mesh", c.meshVisible, "opacity", c.meshOpacity, "colour", c.meshColor, "modes",
                 flags({c.meshRenderVertices, c.meshRenderWireframe, c.meshRenderSolid,
                        c.meshRenderWireSolid, c.meshShadeBox, c.meshShadeSmoothSolid,
                        c.meshShadeLit, c.meshShadeSolidLit}),
                 "volume", k.addnAttributes.multimodalityVolumeVisible, "name3", c.name3);
        QString strOrgans;
        for (auto it = k.organsVisibility.cbegin(); it != k.organsVisibility.cend(); ++it)
            strOrgans += QStringLiteral("%1=%2 ").arg(it.key()).arg(it.value());
        out += line(" organs", c.organsVisible, "opacity", c.organOpacity, "modes",
                    flags({c.organRenderVertices, c.organRenderWireframe, c.organRenderSolid,
                           c.organRenderWireSolid, c.organShadeBox, c.organShadeSmoothSolid,
                           c.organShadeLit, c.organShadeSolidLit}),
                    strOrgans);
        out += line(" pd", flags({pd.visible(), pd.reverse(), pd.logScale()}), "index",
                    pd.colorBarIndex, "sliders", pd.sliderMin, pd.sliderMax, "spin boxes",
                    pd.spinBoxValue, pd.spinBoxMin, pd.spinBoxMax, "mode", pd.mode);
        for (auto it = c.sourceControls.cbegin(); it != c.sourceControls.cend(); ++it)
        {
            const tag_s3DSourceControls& s = it.value();
            out += line(" source", "'" + it.key() + "'", "surface",
                        flags({s.surfaceVisible, s.surfaceGroupEnabled, s.surfRenderVertices,
                               s.surfRenderWireframe, s.surfRenderSolid, s.surfRenderWireSolid,
                               s.surfShadeBox, s.surfShadeSmoothSolid, s.surfShadeLit,
                               s.surfShadeSolidLit}),
                        s.surfaceOpacity, s.surfaceColor, "draw", s.drawMode, s.shadeMode, "volume",
                        flags({s.volumeVisible, s.volumeGroup, s.volumeMip, s.volumeThreshold,
                               s.volumeLogScale, s.volumeReverse()}),
                        s.volumeOpacity, "intensity", s.intensitySlider, s.intensityValue,
                        s.intensityMax, "voxels", s.voxelType, s.voxelColor);
        }
    }
    return out;
}

} // namespace coretest

#endif // CORE_TEST_UTIL_H
