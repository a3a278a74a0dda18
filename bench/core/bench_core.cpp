// Key frame file load (read) and save (write) for a 51 key frame list with four sources and for
// a 10,000 key frame list, the peak memory of the large ones, and the time to generate the
// frames of a 51 key frame list over 100 s at 10 frames per second.
//
// Each large measurement runs in a child process, so that its peak resident memory is its own
// and not that of an earlier step.
//
// Result lines: load against QDom parsing the same text, save against QDom serialising the same
// tree, the peak memory of a load against the file's size, and frame generation against the
// least any generator does per frame (copy the key frame record, slerp, append).
#include "FrameGenerator.h"
#include "KXBenchChild.h"
#include "KXBenchResult.h"
#include "KeyFrameFilePreScan.h"
#include "KeyFrameFileReader.h"
#include "KeyFrameFileWriter.h"

#include <QDomDocument>
#include <QElapsedTimer>

#include <fcntl.h>
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <string>

namespace
{

using KeyFrameMap = QMap<QString, SSpKeyFrameAttributes>;

const QStringList FOUR_SOURCES = {"Original", "SourceSurface_1", "SourceVoxels_1",
                                  "SourceVoxels_2"};
const QStringList ONE_SOURCE = {"Original"};

SSpKeyFrameAttributes keyFrame(int n, double dStamp, const QStringList& sources)
{
    SSpKeyFrameAttributes k;
    k.timeStamp = dStamp;
    k.rotation = unitquaternion(0.01 * n, Vec3f(0.3, 0.5, 0.8));
    k.translation = Vec3f(n % 40, -(n % 30), -400.0 - n % 100);
    k.controls.meshColor = QColor(200, 180, 160);
    k.controls.meshOpacity = n % 101;
    k.controls.organOpacity = 100 - n % 101;
    k.controls.pdMap.spinBoxValue = static_cast<float>(n % 100);
    k.controls.name3 = "Original";
    for (const QString& strSource : sources)
    {
        tag_s3DSourceControls& s = k.controls.sourceControls[strSource];
        s.volumeOpacity = (n * 7) % 101;
        s.surfaceOpacity = (n * 3) % 101;
        s.intensitySlider = n % 101;
        s.intensityValue = 0.5 * (n % 101);
        s.surfaceColor = QColor(10, 20, 30);
    }
    for (const char* pszOrgan : {"Brain", "Heart", "Kidneys", "Liver", "Lungs"})
        k.organsVisibility.insert(pszOrgan, n % 2 == 0);
    return k;
}

void makeList(int nCount, const QStringList& sources, QStringList& rows, KeyFrameMap& map)
{
    for (int i = 0; i < nCount; ++i)
    {
        const QString strName = QStringLiteral("Key Frame %1").arg(i + 1);
        rows.append(strName);
        map.insert(strName, keyFrame(i, nCount > 1 ? 100.0 * i / (nCount - 1) : 100.0, sources));
    }
}

tag_s3Dcontrols scene()
{
    tag_s3Dcontrols c;
    for (const QString& strSource : FOUR_SOURCES)
        c.sourceControls.insert(strSource, tag_s3DSourceControls());
    return c;
}

// Returns freed heap pages to the system and restarts the peak resident size, so that the
// peak measured next belongs to the next step alone.
bool resetPeak()
{
    malloc_trim(0);
    const int fd = open("/proc/self/clear_refs", O_WRONLY);
    const bool bOk = fd >= 0 && write(fd, "5", 1) == 1;
    if (fd >= 0)
        close(fd);
    return bOk;
}

struct SMeasure
{
    double m_dMs = -1;
    double m_dPeakMiB = -1; // peak resident memory above the start of the step; -1 unknown
};

// Runs `step` in a child process: its time and its own peak memory.
SMeasure inChild(const std::function<void()>& step)
{
    return kxMeasureInChild<SMeasure>(
        [&step]
        {
            SMeasure m;
            const bool bReset = resetPeak();
            const long nStartKiB = kxStatusKiB("VmRSS");
            QElapsedTimer timer;
            timer.start();
            step();
            m.m_dMs = timer.nsecsElapsed() / 1e6;
            if (bReset)
                m.m_dPeakMiB = (kxStatusKiB("VmHWM") - nStartKiB) / 1024.0;
            return m;
        });
}

// Mean time of `step` over nRepeats, in milliseconds.
double meanMs(int nRepeats, const std::function<void()>& step)
{
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < nRepeats; ++i)
        step();
    return timer.nsecsElapsed() / 1e6 / nRepeats;
}

// The XML library's own floor for the same text: parsing it, and making a tree of it and
// writing that out again.
double domParseMs(int nRepeats, const QString& strText)
{
    return meanMs(nRepeats,
                  [&]
                  {
                      QDomDocument doc;
                      doc.setContent(strText);
                  });
}

void domParseSerialise(const QString& strText)
{
    QDomDocument doc;
    doc.setContent(strText);
    doc.toString();
}

double fileMiB(const QString& strText)
{
    return strText.toUtf8().size() / (1024.0 * 1024.0);
}

// The peak memory of reading strText, and of QDom parsing it alone, in a child process each.
void loadPeaks(const QString& strText, const tag_s3Dcontrols& sceneControls, SMeasure& load,
               SMeasure& parse)
{
    load = inChild([&] { CKeyFrameFileReader::read(strText, sceneControls); });
    parse = inChild(
        [&]
        {
            QDomDocument doc;
            doc.setContent(strText);
        });
}

// The least a generator does per frame: copy the segment's first key frame, slerp its
// rotation, interpolate its translation, append. Same frame count, same key frames. Not inlined,
// so that a profiler shows its cost beside CFrameGenerator::generate.
Q_NEVER_INLINE void copySlerpAppend(const QList<SSpKeyFrameAttributes>& keys, int nFrames,
                                    QList<SSpKeyFrameAttributes>& frames)
{
    const int nSegments = keys.size() - 1;
    unitquaternion scratch;
    frames.clear();
    for (int i = 0; i < nFrames; ++i)
    {
        const double dPos = double(i) * nSegments / nFrames;
        const int nSegment = static_cast<int>(dPos);
        const float fT = static_cast<float>(dPos - nSegment);
        const SSpKeyFrameAttributes& a = keys.at(nSegment);
        const SSpKeyFrameAttributes& b = keys.at(nSegment + 1);
        SSpKeyFrameAttributes frame(a);
        frame.rotation = scratch.slerp(a.rotation, b.rotation, fT, true);
        frame.translation = a.translation + (b.translation - a.translation) * fT;
        frames.append(frame);
    }
}

// Frame generation of the 51 key frame list over 100 s at 10 frames per second, against
// copySlerpAppend for the same number of frames.
void benchFrameGeneration(const QStringList& rows, const KeyFrameMap& map)
{
    SFrameGenerationInput input;
    for (const QString& strRow : rows)
        input.m_listKeyFrames.append(map[strRow]);
    input.m_nDuration = 100;
    input.m_nFrameRate = 10;
    QList<SSpKeyFrameAttributes> frames;
    const double dGenerate = meanMs(20, [&] { CFrameGenerator::generate(input, frames); });
    std::printf("generate 51 key frames over 100 s at 10 fps: %d frames in %.2f ms (%.2f us per "
                "frame)\n",
                frames.size(), dGenerate, dGenerate * 1000 / frames.size());

    const int nFrames = frames.size();
    QList<SSpKeyFrameAttributes> floorFrames;
    const double dFloor =
        meanMs(20, [&] { copySlerpAppend(input.m_listKeyFrames, nFrames, floorFrames); });
    kxBenchResult("generate frames (51 key frames, 100 s)", dGenerate * 1000 / nFrames, "us/frame",
                  "copy+slerp+append per frame", dFloor * 1000 / nFrames, EKXBetter::Lower);
}

} // namespace

int main(int argc, char** argv)
{
    const tag_s3Dcontrols sceneControls = scene();

    QStringList smallRows;
    KeyFrameMap smallMap;
    makeList(51, FOUR_SOURCES, smallRows, smallMap);
    // --frames-only: frame generation alone, short enough to run under a profiler
    // (valgrind --tool=callgrind bench_core --frames-only).
    if (argc > 1 && std::strcmp(argv[1], "--frames-only") == 0)
    {
        benchFrameGeneration(smallRows, smallMap);
        return 0;
    }
    const QString strSmall = CKeyFrameFileWriter::write(smallRows, smallMap, FOUR_SOURCES);
    const double dSmallSave =
        meanMs(50, [&] { CKeyFrameFileWriter::write(smallRows, smallMap, FOUR_SOURCES); });
    int nLoaded = 0;
    const double dSmallLoad = meanMs(
        50, [&]
        { nLoaded = CKeyFrameFileReader::read(strSmall, sceneControls).m_listKeyFrames.size(); });
    std::printf("51 key frames, 4 sources: %.1f KB  save %.2f ms  load %.2f ms (%d key frames)\n",
                strSmall.toUtf8().size() / 1024.0, dSmallSave, dSmallLoad, nLoaded);
    SMeasure smallLoad, smallParse;
    loadPeaks(strSmall, sceneControls, smallLoad, smallParse);
    kxBenchResult("save 51 key frames", dSmallSave, "ms", "QDom parse+serialise, same text",
                  meanMs(50, [&] { domParseSerialise(strSmall); }), EKXBetter::Lower);
    kxBenchResult("load 51 key frames", dSmallLoad, "ms", "QDom parse, same text",
                  domParseMs(50, strSmall), EKXBetter::Lower);
    kxBenchResult("peak RSS load 51 key frames", smallLoad.m_dPeakMiB, "MiB", "file size",
                  fileMiB(strSmall), EKXBetter::Lower);

    for (const QStringList* pSources : {&ONE_SOURCE, &FOUR_SOURCES})
    {
        QStringList largeRows;
        KeyFrameMap largeMap;
        makeList(10000, *pSources, largeRows, largeMap);
        const QString strLarge = CKeyFrameFileWriter::write(largeRows, largeMap, *pSources);
        const double dLargeMiB = strLarge.toUtf8().size() / (1024.0 * 1024.0);
        const SMeasure save =
            inChild([&] { CKeyFrameFileWriter::write(largeRows, largeMap, *pSources); });
        const SMeasure load = inChild(
            [&]
            {
                const SKeyFrameFileReadResult r =
                    CKeyFrameFileReader::read(strLarge, sceneControls);
                if (r.m_listKeyFrames.size() != 10000)
                    std::printf("unexpected: %d key frames loaded\n", r.m_listKeyFrames.size());
            });
        std::printf("10,000 key frames, %d source(s): %.1f MB  save %.0f ms (peak +%.0f MiB)  "
                    "load %.0f ms (peak +%.0f MiB)\n",
                    pSources->size(), dLargeMiB, save.m_dMs, save.m_dPeakMiB, load.m_dMs,
                    load.m_dPeakMiB);
        std::printf("  per key frame: save %.1f us, load %.1f us; load memory per file byte %.1f; "
                    "load / save time %.2f\n",
                    save.m_dMs * 1000 / 10000, load.m_dMs * 1000 / 10000,
                    load.m_dPeakMiB / dLargeMiB, load.m_dMs / save.m_dMs);
        if (pSources == &FOUR_SOURCES)
            std::printf("  per key frame against 51 key frames: save x%.2f, load x%.2f\n",
                        (save.m_dMs / 10000) / (dSmallSave / 51),
                        (load.m_dMs / 10000) / (dSmallLoad / 51));
        const std::string strCase =
            "10,000 key frames, " + std::to_string(pSources->size()) + " source(s)";
        const SMeasure parse = inChild(
            [&]
            {
                QDomDocument doc;
                doc.setContent(strLarge);
            });
        const SMeasure serialise = inChild([&] { domParseSerialise(strLarge); });
        SPreScanLimits limits;
        limits.m_nMaxDepth = CKeyFrameFileReader::MAX_NESTING_DEPTH;
        limits.m_nMaxItems = CKeyFrameFileReader::MAX_ITEMS;
        const double dPreScan = meanMs(3, [&] { CKeyFrameFilePreScan::scan(strLarge, limits); });
        std::printf("  QDom alone: parse %.0f ms (peak +%.0f MiB), parse+serialise %.0f ms; the "
                    "reader's pre-scan alone %.0f ms\n",
                    parse.m_dMs, parse.m_dPeakMiB, serialise.m_dMs, dPreScan);
        kxBenchResult("save " + strCase, save.m_dMs, "ms", "QDom parse+serialise, same text",
                      serialise.m_dMs, EKXBetter::Lower);
        kxBenchResult("load " + strCase, load.m_dMs, "ms", "QDom parse, same text", parse.m_dMs,
                      EKXBetter::Lower);
        kxBenchResult("peak RSS load " + strCase, load.m_dPeakMiB, "MiB", "file size", dLargeMiB,
                      EKXBetter::Lower);
        kxBenchResult("peak RSS QDom parse alone " + strCase, parse.m_dPeakMiB, "MiB", "file size",
                      dLargeMiB, EKXBetter::Lower);
    }

    // The densest text the reader still parses: MAX_KEY_FRAMES comments (each a key frame).
    const QString strDense =
        QStringLiteral("<r>") +
        QStringLiteral("<!---->").repeated(CKeyFrameFileReader::MAX_KEY_FRAMES) +
        QStringLiteral("</r>");
    const SMeasure dense = inChild([&] { CKeyFrameFileReader::read(strDense, sceneControls); });
    std::printf("%d comment key frames (%.1f MB): load %.0f ms (peak +%.0f MiB)\n",
                CKeyFrameFileReader::MAX_KEY_FRAMES, strDense.size() / (1024.0 * 1024.0),
                dense.m_dMs, dense.m_dPeakMiB);
    kxBenchResult("peak RSS load at key frame limit (comments)", dense.m_dPeakMiB, "MiB",
                  "file size", fileMiB(strDense), EKXBetter::Lower);
    // The most the pre-scan lets through: attributes on elements of 200 each, and bare
    // elements.
    QString strElement = QStringLiteral("<a");
    for (int i = 0; i < 200; ++i)
        strElement += QStringLiteral(" b%1=''").arg(i);
    strElement += QStringLiteral("/>");
    const int nWide = static_cast<int>(CKeyFrameFileReader::MAX_ITEMS / 201) - 1;
    const QString strWide =
        QStringLiteral("<r><k>") + strElement.repeated(nWide) + QStringLiteral("</k></r>");
    const QString strBare =
        QStringLiteral("<r><k>") +
        QStringLiteral("<a/>").repeated(static_cast<int>(CKeyFrameFileReader::MAX_ITEMS - 3)) +
        QStringLiteral("</k></r>");
    for (const auto& dense :
         {std::make_pair("attributes", &strWide), std::make_pair("bare elements", &strBare)})
    {
        const SMeasure m = inChild(
            [&]
            {
                if (CKeyFrameFileReader::read(*dense.second, sceneControls).m_eStatus !=
                    SKeyFrameFileReadResult::EStatus::Loaded)
                    std::printf("unexpected: refused\n");
            });
        std::printf("item limit reached with %s (%.1f MB): load %.0f ms (peak +%.0f MiB)\n",
                    dense.first, dense.second->size() / (1024.0 * 1024.0), m.m_dMs, m.m_dPeakMiB);
        kxBenchResult(std::string("peak RSS load at item limit (") + dense.first + ")",
                      m.m_dPeakMiB, "MiB", "file size", fileMiB(*dense.second), EKXBetter::Lower);
    }

    benchFrameGeneration(smallRows, smallMap);
    return 0;
}
