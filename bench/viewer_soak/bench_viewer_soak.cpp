// Long use of the 3D Animation plug-in in one viewer process: 1,000 play-and-stop cycles and 200
// movie recordings, driven through the dialog's buttons in automation mode as a user would.
//
// Play-and-stop cycles take turns: a second click on the Play button's Stop face at frame 3,
// the short animation running to its end, and the host's Abort at frame 2. Recordings write a
// 2 key frame, 10 frame animation of a 320x240 view as mp4, mov and mpg in turn (those the
// installed FFmpeg offers) and remove each movie again.
//
// Memory (VmRSS, VmHWM, malloc's bytes in use) and the live instances of Vec3f, quaternion and
// matrix are sampled before each phase, after its warm-up and at its end. Caches of the GL
// driver and of Qt fill during the warm-up; what still grows after it is a leak or a cache that
// has not reached its limit yet (Qt's pixmap cache keeps the buttons' icon pictures, up to
// 10 MB of them). The figures are printed; the exit status is non-zero only when an instance
// counter grew after the warm-up or a cycle did not do what it should (then the figures would
// measure nothing).
//
//   bench_viewer_soak [--cycles N] [--recordings N] [--plugin FILE]
// (defaults 1000, 200 and the plug-in of this build; another build's plug-in compares a fix).
// Needs a display; without one it runs itself under an X server of its own (with-xvfb).
#include "3DMath.h"
#include "CKXGLView.h"
#include "CKXMainWindow.h"
#include "CKXPluginManager.h"
#include "CKXProgressDisplay.h"
#include "CKXSMovieExporter.h"
#include "CKXSequenceWindowImpl.h"
#include "CKXToolPluginBase.h"
#include "KXAutomation.h"
#include "KXBenchDisplay.h"
#include "KXBenchResult.h"
#include "KXLog.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
// Exposes QPixmapCache::totalUsed(), which Qt exports but declares only for its own tests: the
// cache's fill is what tells its bounded growth from a leak.
#define Q_TEST_QPIXMAPCACHE
#include <QPixmapCache>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <malloc.h>
#include <unistd.h>
#include <vector>

namespace
{

const QSize VIEW_SIZE(320, 240);
constexpr int PLAY_WARM_UP = 50;
constexpr int RECORD_WARM_UP = 20;
const char* const PLAY_TEXT = "   Play";
const char* const RECORD_TEXT = "   Record";
const char* const STOP_TEXT = "   Stop";

struct SSample
{
    long nRssKb = 0;
    long nHwmKb = 0;
    size_t nHeapBytes = 0; // malloc's bytes in use
    int nVec3f = 0;
    int nQuaternion = 0;
    int nMatrix = 0;
    int nPixmapCacheMb = 0; // Qt's pixmap cache in use, whole MB rounded up (capped by Qt)
    qint64 nMs = 0;         // since the soak started
};

struct SPhase
{
    const char* pszName;
    int nCount;
    SSample start;
    SSample end;
};

long statusKb(const char* pszKey)
{
    FILE* pFile = std::fopen("/proc/self/status", "r");
    if (!pFile)
        return -1;
    char szLine[256];
    long nValue = -1;
    const size_t nKey = std::strlen(pszKey);
    while (std::fgets(szLine, sizeof szLine, pFile))
    {
        if (std::strncmp(szLine, pszKey, nKey) == 0 && szLine[nKey] == ':')
        {
            nValue = std::strtol(szLine + nKey + 1, nullptr, 10);
            break;
        }
    }
    std::fclose(pFile);
    return nValue;
}

// Deferred deletions and posted events are let through first, so that a sample does not count
// what the event loop was about to free.
SSample sample(const QElapsedTimer& clock)
{
    for (int i = 0; i < 3; ++i)
    {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QApplication::processEvents();
    }
    SSample s;
    s.nRssKb = statusKb("VmRSS");
    s.nHwmKb = statusKb("VmHWM");
    s.nHeapBytes = mallinfo2().uordblks;
    s.nVec3f = Vec3f::counter;
    s.nQuaternion = quaternion::counter;
    s.nMatrix = matrix::counter;
    s.nPixmapCacheMb = QPixmapCache::totalUsed(); // Qt counts costs in kB, reports MB
    s.nMs = clock.elapsed();
    return s;
}

// The dialog and the viewer driven as in the GUI tests: real main window, two sample
// sequences, the plug-in loaded from its library, automation answering the dialogs.
class CSoak
{
public:
    bool start(const QString& strPlugin, QString& strError)
    {
        CKXAutomation::setEnabled(true);
        CKXAutomation::reset();
        m_pMain = new CKXMainWindow;
        m_pMain->resize(1000, 700);
        m_pMain->show();
        m_pMain->openDefaultSequences();
        QApplication::processEvents();
        m_pManager = new CKXPluginManager(m_pMain);
        if (!m_pManager->loadPlugin(strPlugin, &strError))
            return false;
        CKXToolPluginBase* pPlugin = m_pManager->plugins().value(0);
        if (!pPlugin || m_pMain->sequenceWindows().isEmpty())
            return fail(strError, "no plug-in or no sequence window");
        CKXSequenceWindowImpl* pWindow = m_pMain->sequenceWindows().at(0);
        m_pMain->activateSequenceWindow(pWindow);
        m_pView = pWindow->glView();
        m_pView->setFixedSize(VIEW_SIZE);
        pPlugin->pluginAction()->trigger();
        QApplication::processEvents();
        for (QWidget* pWidget : m_pMain->adoptedWidgets())
        {
            if (pWidget && pWidget->objectName() == QLatin1String("3D Animation"))
                m_pDlg = pWidget;
        }
        if (!m_pDlg || m_pView->size() != VIEW_SIZE)
            return fail(strError, "the dialog did not open or the view is not 320x240");
        m_pDlg->findChild<QSpinBox*>("m_pDurationSpinBox")->setValue(1);
        button("m_pAddKeyframeButton")->click();
        m_pView->setCurrentQuaternion(unitquaternion(1.5, Vec3f(0, 1, 0)));
        button("m_pAddKeyframeButton")->click();

        QObject::connect(&m_timer, &QTimer::timeout,
                         [this]
                         {
                             if (m_onTick && m_onTick())
                                 m_timer.stop();
                         });
        m_timer.setInterval(0);
        return true;
    }

    void stop()
    {
        delete m_pManager; // deletes the plug-in, which deletes its dialog
        delete m_pMain;
    }

    // One play-and-stop cycle; false when it did not end where it should have.
    bool playCycle(int nCycle)
    {
        QString strExpected;
        switch (nCycle % 3)
        {
        case 0: // the Stop face clicked while frame 3 shows
            strExpected = QStringLiteral("Playing [3 of 10] frames.");
            whileRunning(
                [this, strExpected]
                {
                    const bool bClick = button("m_pPlayButton")->text() == STOP_TEXT &&
                                        progressText() == strExpected;
                    if (bClick)
                        button("m_pPlayButton")->click();
                    return bClick;
                });
            break;
        case 1: // the short animation ends on its own
            strExpected = QStringLiteral("Playing [10 of 10] frames.");
            break;
        default: // the host's Abort: two frame generation messages, then frames 1 and 2
            strExpected = QStringLiteral("Playing [2 of 10] frames.");
            CKXAutomation::abortAfterMessages(4);
            break;
        }
        button("m_pPlayButton")->click();
        m_timer.stop();
        CKXAutomation::abortAfterMessages(0);
        return progressText() == strExpected && isIdle("m_pPlayButton", PLAY_TEXT);
    }

    // One recording; false when no movie was written or the dialog did not return to idle.
    bool record(int nRecording, const QString& strFolder)
    {
        const QString strMovie =
            QStringLiteral("%1/soak%2.%3")
                .arg(strFolder)
                .arg(nRecording)
                .arg(m_listExtensions.at(nRecording % m_listExtensions.size()));
        CKXAutomation::enqueueFileName(strMovie);
        button("m_pRecordButton")->click();
        const bool bOk =
            QFileInfo(strMovie).size() > 0 && CKXAutomation::pendingFileNames() == 0 &&
            progressText() == QStringLiteral("Playing and Recording [10 of 10] frames.") &&
            isIdle("m_pRecordButton", RECORD_TEXT);
        QFile::remove(strMovie);
        return bOk;
    }

    QStringList m_listExtensions;

private:
    static bool fail(QString& strError, const char* pszReason)
    {
        strError = QString::fromLatin1(pszReason);
        return false;
    }

    QAbstractButton* button(const char* pszName) const
    {
        return m_pDlg->findChild<QAbstractButton*>(pszName);
    }

    static QString progressText() { return CKXProgressDisplay::instance()->lastMessage(); }

    bool isIdle(const char* pszButton, const char* pszFace) const
    {
        return button(pszButton)->text() == QLatin1String(pszFace) && !m_pView->isKFAnimating() &&
               !m_pView->isKFRecording() && !CKXProgressDisplay::instance()->isRunning();
    }

    // onTick runs at each event pass of the playback loop until it returns true.
    void whileRunning(std::function<bool()> onTick)
    {
        m_onTick = std::move(onTick);
        m_timer.start();
    }

    CKXMainWindow* m_pMain = nullptr;
    CKXPluginManager* m_pManager = nullptr;
    CKXGLView* m_pView = nullptr;
    QWidget* m_pDlg = nullptr;
    QTimer m_timer;
    std::function<bool()> m_onTick;
};

double perCycle(double dEnd, double dStart, int nCount)
{
    return nCount > 0 ? (dEnd - dStart) / nCount : 0.0;
}

double ratio(int nEnd, int nStart)
{
    return nStart != 0 ? static_cast<double>(nEnd) / nStart : (nEnd == 0 ? 1.0 : 0.0);
}

void printTable(const std::vector<SPhase>& phases)
{
    std::printf("\n%-15s %6s %9s %9s %9s %11s %11s %9s %8s %8s %8s %8s\n", "phase", "count",
                "RSS kB", "RSS kB", "HWM kB", "heap B", "heap B", "heap B", "Vec3f", "quat",
                "matrix", "time s");
    std::printf("%-15s %6s %9s %9s %9s %11s %11s %9s %8s %8s %8s %8s\n", "", "", "start", "end",
                "end", "start", "end", "/cycle", "st>end", "st>end", "st>end", "");
    for (const SPhase& p : phases)
    {
        std::printf("%-15s %6d %9ld %9ld %9ld %11zu %11zu %9.0f %3d>%-4d %3d>%-4d %3d>%-4d %8.1f\n",
                    p.pszName, p.nCount, p.start.nRssKb, p.end.nRssKb, p.end.nHwmKb,
                    p.start.nHeapBytes, p.end.nHeapBytes,
                    perCycle(double(p.end.nHeapBytes), double(p.start.nHeapBytes), p.nCount),
                    p.start.nVec3f, p.end.nVec3f, p.start.nQuaternion, p.end.nQuaternion,
                    p.start.nMatrix, p.end.nMatrix, (p.end.nMs - p.start.nMs) / 1000.0);
    }
    std::printf("\n%-15s %14s %14s %14s %12s %12s %12s %10s\n", "phase", "RSS B/cycle",
                "heap B/cycle", "ms/cycle", "Vec3f end/st", "quat end/st", "matrix end/st", "");
    for (const SPhase& p : phases)
    {
        std::printf("%-15s %14.0f %14.0f %14.1f %12.3f %12.3f %12.3f\n", p.pszName,
                    perCycle(p.end.nRssKb * 1024.0, p.start.nRssKb * 1024.0, p.nCount),
                    perCycle(double(p.end.nHeapBytes), double(p.start.nHeapBytes), p.nCount),
                    perCycle(double(p.end.nMs), double(p.start.nMs), p.nCount),
                    ratio(p.end.nVec3f, p.start.nVec3f),
                    ratio(p.end.nQuaternion, p.start.nQuaternion),
                    ratio(p.end.nMatrix, p.start.nMatrix));
    }
}

double totalInstances(const SSample& s)
{
    return double(s.nVec3f) + s.nQuaternion + s.nMatrix;
}

bool countersGrew(const SPhase& p)
{
    return p.end.nVec3f > p.start.nVec3f || p.end.nQuaternion > p.start.nQuaternion ||
           p.end.nMatrix > p.start.nMatrix;
}

const char* argText(int argc, char** argv, const char* pszName, const char* pszDefault)
{
    for (int i = 1; i + 1 < argc; ++i)
    {
        if (std::strcmp(argv[i], pszName) == 0)
            return argv[i + 1];
    }
    return pszDefault;
}

int argValue(int argc, char** argv, const char* pszName, int nDefault)
{
    const char* pszValue = argText(argc, argv, pszName, nullptr);
    return pszValue ? std::max(0, std::atoi(pszValue)) : nDefault;
}

} // namespace

int main(int argc, char** argv)
{
    kxBenchEnsureDisplay(argc, argv);
    const int nCycles = argValue(argc, argv, "--cycles", 1000);
    const int nRecordings = argValue(argc, argv, "--recordings", 200);
    const QString strPlugin =
        QString::fromLocal8Bit(argText(argc, argv, "--plugin", KX_PLUGIN_FILE));

    QApplication app(argc, argv);
    QTemporaryDir folder;
    if (!folder.isValid())
    {
        std::fprintf(stderr, "bench_viewer_soak: no temporary folder\n");
        return 1;
    }
    // Keeps the soak's log lines out of the user's log and off the terminal.
    CKXLogFile::setFilePath(folder.filePath(QStringLiteral("soak.log")));

    QElapsedTimer clock;
    clock.start();
    const SSample before = sample(clock);
    CSoak soak;
    QString strError;
    if (!soak.start(strPlugin, strError))
    {
        std::fprintf(stderr, "bench_viewer_soak: %s\n", qPrintable(strError));
        return 1;
    }
    soak.m_listExtensions = CKXSMovieExporter::getExtensionList();
    if (soak.m_listExtensions.isEmpty())
    {
        std::fprintf(stderr, "bench_viewer_soak: the encoder offers no movie type\n");
        return 1;
    }
    std::printf("Soak: %d play-and-stop cycles, %d recordings (%s) of a 2 key frame, 10 frame "
                "animation in a %dx%d view, one process.\n",
                nCycles, nRecordings, qPrintable(soak.m_listExtensions.join(QLatin1Char('/'))),
                VIEW_SIZE.width(), VIEW_SIZE.height());
    std::fflush(stdout);

    std::vector<SPhase> phases;
    int nFailed = 0;
    auto runPhase =
        [&](const char* pszName, int nFrom, int nTo, const std::function<bool(int)>& run)
    {
        SPhase phase{pszName, nTo - nFrom, sample(clock), SSample()};
        for (int i = nFrom; i < nTo; ++i)
        {
            if (!run(i))
                ++nFailed;
        }
        phase.end = sample(clock);
        phases.push_back(phase);
        std::fprintf(stderr, "bench_viewer_soak: %s done (%d failed so far)\n", pszName, nFailed);
    };
    const SSample opened = sample(clock);
    const auto play = [&](int i) { return soak.playCycle(i); };
    const auto record = [&](int i) { return soak.record(i, folder.path()); };
    runPhase("play warm-up", 0, std::min(PLAY_WARM_UP, nCycles), play);
    runPhase("play steady", std::min(PLAY_WARM_UP, nCycles), nCycles, play);
    runPhase("record warm-up", 0, std::min(RECORD_WARM_UP, nRecordings), record);
    runPhase("record steady", std::min(RECORD_WARM_UP, nRecordings), nRecordings, record);
    const int nMessages = CKXAutomation::messages().size();
    soak.stop();
    const SSample closed = sample(clock);

    std::printf("\nBefore the viewer: RSS %ld kB, heap %zu B; dialog open with 2 key frames: RSS "
                "%ld kB, heap %zu B, Vec3f %d, quaternion %d, matrix %d.\n",
                before.nRssKb, before.nHeapBytes, opened.nRssKb, opened.nHeapBytes, opened.nVec3f,
                opened.nQuaternion, opened.nMatrix);
    printTable(phases);
    std::printf("\nAfter closing the viewer: RSS %ld kB, peak %ld kB, heap %zu B, Vec3f %d, "
                "quaternion %d, matrix %d (before the viewer: %d, %d, %d).\n",
                closed.nRssKb, closed.nHwmKb, closed.nHeapBytes, closed.nVec3f, closed.nQuaternion,
                closed.nMatrix, before.nVec3f, before.nQuaternion, before.nMatrix);
    const SPhase& playSteady = phases[1];
    const SPhase& recordSteady = phases[3];
    const double dPlayWarm = perCycle(double(phases[0].end.nHeapBytes),
                                      double(phases[0].start.nHeapBytes), phases[0].nCount);
    const double dRecordWarm = perCycle(double(phases[2].end.nHeapBytes),
                                        double(phases[2].start.nHeapBytes), phases[2].nCount);
    const double dPlaySteady = perCycle(double(playSteady.end.nHeapBytes),
                                        double(playSteady.start.nHeapBytes), playSteady.nCount);
    const double dRecordSteady =
        perCycle(double(recordSteady.end.nHeapBytes), double(recordSteady.start.nHeapBytes),
                 recordSteady.nCount);
    std::printf("Heap growth per cycle after / during warm-up: play %.0f / %.0f B, record "
                "%.0f / %.0f B.\n",
                dPlaySteady, dPlayWarm, dRecordSteady, dRecordWarm);
    // Qt's pixmap cache grows up to its limit (10 MB unless changed) and is part of the heap:
    // growth that shows here is bounded, growth beside it is not.
    std::printf("Qt's pixmap cache: %d MB with the dialog open, %d MB at the end (limit %d MB).\n",
                opened.nPixmapCacheMb, recordSteady.end.nPixmapCacheMb,
                QPixmapCache::cacheLimit() / 1024);
    std::printf("Cycles or recordings that did not end as expected: %d; message boxes shown: "
                "%d; total %.1f s.\n",
                nFailed, nMessages, closed.nMs / 1000.0);

    // Growth after the warm-up against growth during it: a cache that filled reads far below
    // 1, a leak near or above it.
    kxBenchResult("soak heap growth per play cycle after warm-up", dPlaySteady, "B",
                  "during warm-up", dPlayWarm, EKXBetter::Lower);
    kxBenchResult("soak heap growth per recording after warm-up", dRecordSteady, "B",
                  "during warm-up", dRecordWarm, EKXBetter::Lower);
    kxBenchResult("soak math instances after recordings", totalInstances(recordSteady.end),
                  "instances", "after play warm-up", totalInstances(playSteady.start),
                  EKXBetter::Lower);
    kxBenchResult(
        "soak play cycle",
        perCycle(double(playSteady.end.nMs), double(playSteady.start.nMs), playSteady.nCount), "ms",
        "", 0, EKXBetter::Lower);
    kxBenchResult(
        "soak recording",
        perCycle(double(recordSteady.end.nMs), double(recordSteady.start.nMs), recordSteady.nCount),
        "ms", "", 0, EKXBetter::Lower);

    int nStatus = 0;
    if (countersGrew(playSteady) || countersGrew(recordSteady))
    {
        std::printf("LEAK: math instances still grow after the warm-up.\n");
        nStatus = 1;
    }
    if (nFailed > 0 || nMessages > 0)
        nStatus = 1;
    return nStatus;
}
