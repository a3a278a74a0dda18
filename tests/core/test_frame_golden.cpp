// Every field of every generated frame against a dump kept in tests/data: frame generation may
// get faster, but a recorded movie and the host's palette must see exactly the same frames.
// Floating-point fields are written as their bit patterns, so that even a changed sign of zero
// or NaN shows. Regenerate the dump only for an intended change of the output:
//   KX_WRITE_FRAME_GOLDEN=1 build/bin/test_core --gtest_filter='FrameGolden*'
#include "FrameGenerator.h"
#include "core_test_util.h"

#include <QFile>
#include <QTextStream>

#include <cstring>
#include <limits>

namespace
{

QString bits(double d)
{
    quint64 n = 0;
    std::memcpy(&n, &d, sizeof n);
    return QString::number(n, 16);
}

QString bits(float f)
{
    quint32 n = 0;
    std::memcpy(&n, &f, sizeof n);
    return QString::number(n, 16);
}

template <class T> QString list(const T* p, int nCount)
{
    QStringList parts;
    for (int i = 0; i < nCount; ++i)
        parts << QString::number(p[i]);
    return parts.join(',');
}

QString list(const double* p, int nCount)
{
    QStringList parts;
    for (int i = 0; i < nCount; ++i)
        parts << bits(p[i]);
    return parts.join(',');
}

QString colour(const QColor& c)
{
    return QStringLiteral("%1/%2").arg(c.isValid()).arg(c.rgba(), 0, 16);
}

QString sourceText(const tag_s3DSourceControls& s)
{
    const tag_s3DVolMeasurement& m = s.measurement;
    return QStringList{
        colour(s.surfaceColor),
        coretest::flags({s.surfRenderVertices, s.surfRenderWireframe, s.surfRenderSolid,
                         s.surfRenderWireSolid, s.surfShadeBox, s.surfShadeSmoothSolid,
                         s.surfShadeLit, s.surfShadeSolidLit, s.surfExtraFlags[0],
                         s.surfExtraFlags[1], s.surfaceGroupEnabled, s.surfaceVisible, s.volumeMip,
                         s.volumeGroup, s.volumeThreshold, s.volumeLogScale, s.volumeVisible}),
        list(s.volumeFlags, 8),
        list(s.voxelFlags, 3),
        list(std::initializer_list<int>{s.volumeOpacity, s.volumeOpacityMin, s.volumeOpacityMax,
                                        s.surfaceOpacity, s.surfaceOpacityMin, s.surfaceOpacityMax,
                                        s.intensitySlider, s.intensitySliderMin,
                                        s.intensitySliderMax, s.voxelType, s.voxelColor, s.drawMode,
                                        s.shadeMode}
                 .begin(),
             13),
        bits(s.sourceValue),
        bits(s.sourceFloatValue),
        bits(s.intensityValue),
        bits(s.intensityMin),
        bits(s.intensityMax),
        list(s.intensityExtra, 2),
        bits(s.voxelFloatValue),
        bits(s.rangeMin),
        bits(s.rangeMax),
        bits(s.colorMin),
        bits(s.colorMax),
        QStringLiteral("measure %1 %2 '%3' %4 '%5' %6 '%7' '%8' %9")
            .arg(m.active)
            .arg(m.count)
            .arg(m.unit)
            .arg(m.precision)
            .arg(m.label, list(m.region, 3), m.text1, m.text2, list(m.statistics, 3))}
        .join(' ');
}

// One frame, every member, one line per part.
QString frameText(const SSpKeyFrameAttributes& f)
{
    const tag_s3Dcontrols& c = f.controls;
    const S3DToolsPDMapData& pd = c.pdMap;
    QString out;
    QTextStream s(&out);
    s << "frame " << bits(f.timeStamp) << ' ' << f.isCaptured << " q " << bits(f.rotation.x())
      << ',' << bits(f.rotation.y()) << ',' << bits(f.rotation.z()) << ',' << bits(f.rotation.w())
      << " t " << bits(f.translation.x()) << ',' << bits(f.translation.y()) << ','
      << bits(f.translation.z()) << " addn " << f.addnAttributes.multimodalityVolumeVisible
      << f.addnAttributes.addnFlag << ' ' << f.addnAttributes.addnValue << '\n';
    s << " organs";
    for (auto it = f.organsVisibility.cbegin(); it != f.organsVisibility.cend(); ++it)
        s << " '" << it.key() << "'=" << it.value();
    s << "\n controls " << list(c.viewFlags, 6) << ' ' << colour(c.meshColor) << ' '
      << coretest::flags({c.meshRenderVertices, c.meshRenderWireframe, c.meshRenderSolid,
                          c.meshRenderWireSolid, c.organRenderVertices, c.organRenderWireframe,
                          c.organRenderSolid, c.organRenderWireSolid, c.meshShadeBox,
                          c.meshShadeSmoothSolid, c.meshShadeLit})
      << coretest::flags({c.meshShadeSolidLit, c.organShadeBox, c.organShadeSmoothSolid,
                          c.organShadeLit, c.organShadeSolidLit, c.meshVisible, c.flagA, c.flagB,
                          c.organFlag, c.organsVisible})
      << ' ' << list(c.extraRenderFlags, 8) << ' ' << c.controlMode << ' '
      << list(c.displayFlags, 16) << ' ' << list(c.intSettings, 3) << ' ' << c.meshOpacity << ' '
      << list(c.intSettings2, 2) << ' ' << list(c.doubleSettings, 12) << " '" << c.name1 << "' '"
      << c.name2 << "' '" << c.name3 << "' " << c.organOpacity << ' ' << list(c.tailFlags, 4)
      << '\n';
    s << " pd '" << pd.list1.join('|') << "' '" << pd.list2.join('|') << "' " << pd.intValue << " '"
      << pd.text1 << "' '" << pd.text2 << "' " << pd.mode << ' ' << list(pd.flags, 10) << ' '
      << pd.colorBarIndex << ' ' << pd.sliderMin << ' ' << pd.sliderMax << ' ' << pd.sliderExtra
      << ' ' << bits(pd.spinBoxMax) << ' ' << bits(pd.spinBoxMin) << ' ' << bits(pd.spinBoxValue)
      << ' ' << pd.intTail << ' ' << pd.percent << '\n';
    for (auto it = c.sourceControls.cbegin(); it != c.sourceControls.cend(); ++it)
        s << " source '" << it.key() << "' " << sourceText(it.value()) << '\n';
    return out;
}

// Host fields with values of their own, so that carrying them along is checked too.
void fillHostFields(SSpKeyFrameAttributes& k, int n)
{
    tag_s3Dcontrols& c = k.controls;
    c.viewFlags[n % 6] = true;
    c.extraRenderFlags[n % 8] = true;
    c.controlMode = n + 2;
    c.displayFlags[(3 * n) % 16] = true;
    c.intSettings[1] = 7 * n;
    c.intSettings2[0] = -n;
    c.doubleSettings[n % 12] = 0.1 * n - 0.05;
    c.name1 = QStringLiteral("view %1").arg(n);
    c.name2 = QStringLiteral("ünïcode");
    c.flagA = n % 2 == 1;
    c.organFlag = true;
    c.tailFlags[n % 4] = true;
    c.pdMap.list1 = QStringList{QStringLiteral("a%1").arg(n), QStringLiteral("b")};
    c.pdMap.text1 = QStringLiteral("pd %1").arg(n);
    c.pdMap.intValue = n;
    c.pdMap.intTail = 11 * n;
    c.pdMap.percent = 90 + n;
    c.pdMap.valueIsUpperBound() = n % 2 == 0;
    k.addnAttributes.addnFlag = n % 3 == 0;
    k.addnAttributes.addnValue = 100 + n;
}

// Several sources (one only in later key frames, one that disappears), organs, odd and
// repeated stamps, a descending pair and rotations the slerp cannot take.
SFrameGenerationInput richInput()
{
    const double stamps[] = {0.0, 3.7, 3.7, 17.123, 50.0, 49.5, 61.25, 92.0, 93.5, 99.99, 100.0};
    SFrameGenerationInput in;
    int n = 0;
    for (double dStamp : stamps)
    {
        SSpKeyFrameAttributes k = coretest::makeKeyFrame(dStamp, n);
        fillHostFields(k, n);
        k.controls.meshOpacity = (37 * n) % 101;
        k.controls.organOpacity = (53 * n + 59) % 101;
        k.controls.pdMap.spinBoxValue = 17.5f * n - 3.0f;
        k.controls.pdMap.spinBoxMin = 0.25f * n;
        k.controls.pdMap.spinBoxMax = 200.0f - n;
        k.rotation = unitquaternion(0.4 * n - 1.0, Vec3f(0.3, -0.5 + 0.1 * n, 0.8));
        k.translation = Vec3f(3.3 * n, -1.7 * n, -350.0 + 41.0 * n);
        tag_s3DSourceControls voxels = coretest::makeSource(2 * n + 1);
        voxels.colorMin = 0.5f * n;
        voxels.colorMax = 250.0f - 3.3f * n;
        voxels.intensityMin = n;
        voxels.intensityMax = 300.0 - n;
        voxels.measurement.unit = QStringLiteral("mm3");
        voxels.measurement.region[n % 3] = n;
        k.controls.sourceControls.insert(QStringLiteral("SourceVoxels_1"), voxels);
        if (n >= 3)
            k.controls.sourceControls.insert(QStringLiteral("SourceSurface_1"),
                                             coretest::makeSource(50 - n));
        if (n < 5)
            k.controls.sourceControls.insert(QStringLiteral("SourceVoxels_2"),
                                             coretest::makeSource(n + 20));
        if (n % 4 == 2) // the same source settings on both sides of a segment
            k.controls.sourceControls = in.m_listKeyFrames.last().controls.sourceControls;
        k.organsVisibility.insert(QStringLiteral("Kidneys"), n % 3 == 0);
        if (n == 8) // huge components: no slerp
            k.rotation = unitquaternion(Vec3f(1e300, 1e300, 0.0), 1e300);
        in.m_listKeyFrames.append(k);
        ++n;
    }
    in.m_nTimeScaleMax = 100;
    in.m_nDuration = 7;
    in.m_nFrameRate = 13;
    in.m_dPDImageMin = 1.5;
    in.m_dPDImageMax = 180.0;
    return in;
}

QString generatedText()
{
    QString out;
    SFrameGenerationInput in = richInput();
    for (int nRun = 0; nRun < 2; ++nRun)
    {
        QList<SSpKeyFrameAttributes> frames;
        const QString strError = CFrameGenerator::generate(in, frames);
        out +=
            QStringLiteral("run %1: '%2' %3 frames\n").arg(nRun).arg(strError).arg(frames.size());
        for (const SSpKeyFrameAttributes& f : frames)
            out += frameText(f);
        // The second run: an empty photon density range and another rate.
        in.m_dPDImageMax = in.m_dPDImageMin;
        in.m_nDuration = 3;
        in.m_nFrameRate = 29;
    }
    return out;
}

} // namespace

TEST(FrameGolden, EveryFieldOfEveryFrameMatchesTheKeptDump)
{
    const QString strActual = generatedText();
    const QString strPath = coretest::dataPath("frame_generation.golden.txt");
    if (qEnvironmentVariableIsSet("KX_WRITE_FRAME_GOLDEN"))
    {
        QFile file(strPath);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(strActual.toUtf8());
    }
    const QString strExpected = coretest::readData("frame_generation.golden.txt");
    ASSERT_GT(strExpected.size(), 100000) << "the dump is missing or cut short";
    const QStringList expected = strExpected.split('\n');
    const QStringList actual = strActual.split('\n');
    ASSERT_EQ(actual.size(), expected.size());
    int nDiffering = 0;
    for (int i = 0; i < expected.size() && nDiffering < 10; ++i)
    {
        if (actual[i] != expected[i])
        {
            ++nDiffering;
            ADD_FAILURE() << "line " << i + 1 << "\n expected: " << expected[i].toStdString()
                          << "\n actual:   " << actual[i].toStdString();
        }
    }
}

// The dialog generates into the list of its last generation. Frames left in that list, longer
// or shorter than the new one, never show up in the new frames, and a copy of the old list
// taken elsewhere keeps its frames.
TEST(FrameGolden, RegeneratingIntoAnOldListGivesTheFramesOfAnEmptyOne)
{
    const SFrameGenerationInput in = richInput();
    const auto texts = [](const QList<SSpKeyFrameAttributes>& frames)
    {
        QStringList list;
        for (const SSpKeyFrameAttributes& f : frames)
            list << frameText(f);
        return list;
    };
    QList<SSpKeyFrameAttributes> fresh;
    ASSERT_TRUE(CFrameGenerator::generate(in, fresh).isEmpty());
    const QStringList expected = texts(fresh);

    for (int nDuration : {2, 30})
    {
        SFrameGenerationInput other = in;
        other.m_nDuration = nDuration;
        other.m_listKeyFrames.removeFirst();
        QList<SSpKeyFrameAttributes> old;
        ASSERT_TRUE(CFrameGenerator::generate(other, old).isEmpty());
        ASSERT_NE(old.size(), fresh.size());
        const QStringList oldTexts = texts(old);

        QList<SSpKeyFrameAttributes> reused = old; // shared with `old`
        ASSERT_TRUE(CFrameGenerator::generate(in, reused).isEmpty());
        EXPECT_EQ(texts(reused), expected) << "duration " << nDuration << ", shared";
        EXPECT_EQ(texts(old), oldTexts) << "duration " << nDuration;

        ASSERT_TRUE(CFrameGenerator::generate(in, old).isEmpty()); // the only holder
        EXPECT_EQ(texts(old), expected) << "duration " << nDuration << ", not shared";
    }
}
