// Frames per second of the 3D Animation dialog's Play and Record, measured through the real
// plug-in loaded into the viewer's main window (automation mode, as the GUI tests run it), on
// the first sample sequence with the "Spin CCW on Y-Axis" preset over 10 s (101 frames at the
// dialog's 10 frames per second), at three view sizes. Each figure has a reference measured in
// the same run on the same view, without the plug-in:
//   Play    against the bare render rate (paintGL into the view's framebuffer, finished), and
//           against render+show (update() until the frame was composed into the window);
//   Record  against render+grab+encode of the same frames (the same cameras, the same encoder
//           and settings), and against the same loop showing each frame on screen as well.
// Each size is measured three times ("--runs N" for another count): a frame rate of the software
// renderer moves by 10 to 30 % from one run to the next, so each ratio is printed as its median
// and its spread (min-max) over the runs, and the result lines carry the median figures.
// Needs a display with room for a 1920x1080 view beside the palette; without one it runs itself
// under an X server of its own (with-xvfb) with a 2560x1600 screen.
#include "CKXGLView.h"
#include "CKXMainWindow.h"
#include "CKXPluginManager.h"
#include "CKXProgressDisplay.h"
#include "CKXSampleScene.h"
#include "CKXSequenceWindowImpl.h"
#include "CKXToolPluginBase.h"
#include "FrameGenerator.h"
#include "KXAutomation.h"
#include "KXBenchDisplay.h"
#include "KXBenchResult.h"
#include "KXLog.h"
#include "KeyFrameFileReader.h"
#include "VideoEncoderMAC.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QImage>
#include <QListWidget>
#include <QMenu>
#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QRegularExpression>
#include <QScreen>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QToolButton>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>
#include <vector>

namespace
{

const char* const PRESET = "Spin CCW on Y-Axis";
constexpr int DURATION_S = 10;
constexpr double SECONDS_PER_REFERENCE = 1.5;
// The dialog's recording settings (bit rate, key frame interval, quality).
constexpr unsigned MOVIE_BIT_RATE = 1000000;
constexpr unsigned MOVIE_KEY_FRAME_INTERVAL = 20;
constexpr int MOVIE_QUALITY = 25;
// Room around the 3D view in the main window: the tools palette, the sequence window's frame
// and tabs, the menu bar.
const QSize MAIN_EXTRA(620, 330);

// paintGL is protected; a pointer to it taken through a derived class may be called on the
// viewer's own view, so the bare rate is measured on the very view the plug-in plays in.
struct SPaintAccess : CKXGLView
{
    static void renderOnce(CKXGLView& view)
    {
        view.makeCurrent();
        (view.*(&SPaintAccess::paintGL))();
        view.context()->functions()->glFinish();
        view.doneCurrent();
    }
};

struct SCamera
{
    unitquaternion m_rotation;
    Vec3f m_translation;
};

// Frames per wall-clock second of `frame` over nFrames calls (after two warm-up calls).
template <class F> double timedFps(int nFrames, F&& frame)
{
    frame(0);
    frame(1 % nFrames);
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < nFrames; ++i)
        frame(i);
    return nFrames / (timer.nsecsElapsed() * 1e-9);
}

// Repeats timedFps until SECONDS_PER_REFERENCE has passed; the mean rate.
template <class F> double referenceFps(int nFrames, F&& frame)
{
    QElapsedTimer timer;
    timer.start();
    double dSum = 0;
    int nRuns = 0;
    do
    {
        dSum += timedFps(nFrames, frame);
        ++nRuns;
    } while (timer.elapsed() < SECONDS_PER_REFERENCE * 1000.0);
    return dSum / nRuns;
}

// "Playing [i of n] frames." or "Playing and Recording [i of n] frames.": i and n; false when
// the text is neither.
bool progressCounts(int& nDone, int& nTotal)
{
    static const QRegularExpression pattern(QStringLiteral("\\[(\\d+) of (\\d+)\\]"));
    const QRegularExpressionMatch match =
        pattern.match(CKXProgressDisplay::instance()->lastMessage());
    nDone = match.captured(1).toInt();
    nTotal = match.captured(2).toInt();
    return match.hasMatch();
}

class CPluginBench
{
public:
    bool start(QString& strReason)
    {
        CKXAutomation::setEnabled(true);
        CKXAutomation::reset();
        CKXLogFile::setFilePath(m_tempDir.filePath(QStringLiteral("bench.log")));
        m_pMain = new CKXMainWindow;
        m_pMain->resize(1280, 800);
        m_pMain->show();
        m_pMain->openDefaultSequences();
        QApplication::processEvents();
        m_pManager = new CKXPluginManager(m_pMain);
        if (!m_pManager->loadPlugin(QStringLiteral(KX_PLUGIN_FILE), &strReason))
            return false;
        CKXToolPluginBase* pPlugin = m_pManager->plugins().value(0);
        if (!pPlugin || m_pMain->sequenceWindows().isEmpty())
        {
            strReason = QStringLiteral("no plug-in or no sequence window");
            return false;
        }
        m_pSequence = m_pMain->sequenceWindows().at(0);
        m_pMain->activateSequenceWindow(m_pSequence);
        m_pView = m_pSequence->glView();
        pPlugin->pluginAction()->trigger();
        QApplication::processEvents();
        for (QWidget* pWidget : m_pMain->adoptedWidgets())
        {
            if (pWidget && pWidget->objectName() == QLatin1String("3D Animation"))
                m_pDlg = pWidget;
        }
        if (!m_pDlg)
        {
            strReason = QStringLiteral("the 3D Animation dialog did not open");
            return false;
        }
        return true;
    }

    ~CPluginBench()
    {
        delete m_pManager; // deletes the plug-in, which deletes its dialog
        delete m_pMain;
    }

    // The view at that size with the preset's key frames and no others.
    bool prepare(const QSize& size)
    {
        // The main window as large as the view needs and no larger: each shown frame is
        // composed with the whole window, so its size is part of the playback cost.
        const QSize screen = m_pMain->screen()->availableSize();
        m_pMain->resize(std::min(size.width() + MAIN_EXTRA.width(), screen.width()),
                        std::min(size.height() + MAIN_EXTRA.height(), screen.height()));
        m_pView->setFixedSize(size);
        QElapsedTimer wait;
        wait.start();
        while ((!m_pView->isValid() || m_pView->size() != size) && wait.elapsed() < 10000)
            QApplication::processEvents();
        if (m_pView->size() != size)
            return false;
        m_pView->resetCamera();
        // "Delete All", the default action of the delete button's menu.
        m_pDlg->findChild<QToolButton*>("m_pDeleteKeyframesButton")
            ->menu()
            ->defaultAction()
            ->trigger();
        m_pDlg->findChild<QSpinBox*>("m_pDurationSpinBox")->setValue(DURATION_S);
        m_pDlg->findChild<QSpinBox*>("m_pFrameFactorSpinBox")->setValue(1);
        QComboBox* pCombo = m_pDlg->findChild<QComboBox*>("m_pAnimationsCB");
        pCombo->setCurrentIndex(pCombo->findText(QLatin1String(PRESET)));
        QMetaObject::invokeMethod(m_pDlg, "onActivateAnimationsCB");
        QApplication::processEvents();
        return m_pDlg->findChild<QListWidget*>("m_pKeyFrameListBox")->count() >= 2;
    }

    // The cameras of the frames the dialog plays: its list saved and generated again.
    std::vector<SCamera> frameCameras()
    {
        const QString strFile = m_tempDir.filePath(QStringLiteral("list.vkf"));
        CKXAutomation::enqueueFileName(strFile);
        m_pDlg->findChild<QAbstractButton*>("m_pSaveAnimButton")->click();
        QFile file(strFile);
        if (!file.open(QIODevice::ReadOnly))
            return {};
        SFrameGenerationInput input;
        input.m_listKeyFrames = CKeyFrameFileReader::read(QString::fromUtf8(file.readAll()),
                                                          m_pSequence->scene()->currentControls())
                                    .m_listKeyFrames;
        input.m_nDuration = DURATION_S;
        input.m_nFrameRate = 10;
        QList<SSpKeyFrameAttributes> frames;
        CFrameGenerator::generate(input, frames);
        std::vector<SCamera> cameras;
        for (const SSpKeyFrameAttributes& frame : frames)
            cameras.push_back({frame.rotation, frame.translation});
        return cameras;
    }

    // Clicks the button and times the run; the frame rate, or 0 when it did not run to the end.
    double runButton(const char* pszButton, int& nFrames, int& nShown)
    {
        nShown = 0;
        const QMetaObject::Connection connection =
            QObject::connect(m_pView, &QOpenGLWidget::frameSwapped, [&nShown] { ++nShown; });
        QElapsedTimer timer;
        timer.start();
        m_pDlg->findChild<QAbstractButton*>(pszButton)->click();
        const double dSeconds = timer.nsecsElapsed() * 1e-9;
        QObject::disconnect(connection);
        int nDone = 0;
        if (!progressCounts(nDone, nFrames) || nDone != nFrames || nFrames == 0)
            return 0;
        return nFrames / dSeconds;
    }

    double play(int& nFrames, int& nShown) { return runButton("m_pPlayButton", nFrames, nShown); }

    double record(const QString& strMovie, int& nFrames, int& nShown)
    {
        CKXAutomation::enqueueFileName(strMovie);
        const double dFps = runButton("m_pRecordButton", nFrames, nShown);
        const bool bWritten = QFile::exists(strMovie);
        QFile::remove(strMovie);
        return bWritten ? dFps : 0;
    }

    void apply(const SCamera& camera)
    {
        m_pView->setCurrentQuaternion(camera.m_rotation);
        m_pView->setTranslationVector(camera.m_translation);
    }

    double bareFps(const std::vector<SCamera>& cameras)
    {
        return referenceFps(static_cast<int>(cameras.size()),
                            [&](int i)
                            {
                                apply(cameras[i]);
                                SPaintAccess::renderOnce(*m_pView);
                            });
    }

    // update() until the frame has been composed into the window and swapped; with
    // bReapply the scene's display controls are applied again (unchanged) before each frame,
    // as applying a key frame does.
    double shownFps(const std::vector<SCamera>& cameras, bool bReapply = false)
    {
        CKXSampleScene* pScene = m_pSequence->scene();
        const tag_s3Dcontrols controls = pScene->currentControls();
        QEventLoop loop;
        const QMetaObject::Connection connection =
            QObject::connect(m_pView, &QOpenGLWidget::frameSwapped, &loop, &QEventLoop::quit);
        const double dFps = referenceFps(static_cast<int>(cameras.size()),
                                         [&](int i)
                                         {
                                             apply(cameras[i]);
                                             if (bReapply)
                                                 pScene->applyControls(controls);
                                             m_pView->update();
                                             loop.exec();
                                         });
        QObject::disconnect(connection);
        return dFps;
    }

    // Each frame rendered, read back and encoded with the dialog's settings, through close();
    // with bShow each frame is also shown on screen first, as the dialog's loop does.
    double grabEncodeFps(const std::vector<SCamera>& cameras, const QString& strMovie, bool bShow)
    {
        QEventLoop loop;
        const QMetaObject::Connection connection =
            QObject::connect(m_pView, &QOpenGLWidget::frameSwapped, &loop, &QEventLoop::quit);
        VideoEncoderMAC encoder;
        const QSize size = m_pView->size();
        if (!encoder.createMovieFile(strMovie, size.width(), size.height(), MOVIE_BIT_RATE,
                                     MOVIE_KEY_FRAME_INTERVAL, MOVIE_QUALITY))
            return 0;
        bool bOk = true;
        QElapsedTimer timer;
        timer.start();
        for (const SCamera& camera : cameras)
        {
            apply(camera);
            if (bShow)
            {
                m_pView->update();
                loop.exec();
            }
            bOk = encoder.encodeImage(m_pView->grabFramebuffer()) && bOk;
        }
        bOk = encoder.close() && bOk;
        const double dSeconds = timer.nsecsElapsed() * 1e-9;
        QObject::disconnect(connection);
        QFile::remove(strMovie);
        return bOk ? cameras.size() / dSeconds : 0;
    }

    // The OpenGL renderer's name (for instance Mesa's llvmpipe), for the record.
    QString glRenderer()
    {
        m_pView->makeCurrent();
        const auto* pszName = m_pView->context()->functions()->glGetString(GL_RENDERER);
        const QString strName = pszName
                                    ? QString::fromLatin1(reinterpret_cast<const char*>(pszName))
                                    : QStringLiteral("unknown");
        m_pView->doneCurrent();
        return strName;
    }

    QSize mainSize() const { return m_pMain->size(); }

    QString tempPath(const char* pszName) const { return m_tempDir.filePath(pszName); }

private:
    QTemporaryDir m_tempDir;
    CKXMainWindow* m_pMain = nullptr;
    CKXPluginManager* m_pManager = nullptr;
    CKXSequenceWindowImpl* m_pSequence = nullptr;
    CKXGLView* m_pView = nullptr;
    QWidget* m_pDlg = nullptr;
};

// One measurement of every rate at one size, frames per second.
struct SRates
{
    double m_dPlay = 0, m_dBare = 0, m_dShown = 0, m_dReapplied = 0;
    double m_dRecord = 0, m_dGrabEncode = 0, m_dShowGrabEncode = 0;
};

// The median and the spread of a list of values.
struct SSpread
{
    double m_dMedian = 0, m_dMin = 0, m_dMax = 0;
};

SSpread spreadOf(std::vector<double> values)
{
    SSpread s;
    if (values.empty())
        return s;
    std::sort(values.begin(), values.end());
    const size_t n = values.size();
    s.m_dMedian = n % 2 == 1 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
    s.m_dMin = values.front();
    s.m_dMax = values.back();
    return s;
}

// One result line with the medians of the figure and of the reference, and the median and
// spread of the ratio of each run (reference / figure, as the result line reads).
void resultOfRuns(const std::string& strName, const std::vector<SRates>& runs,
                  double SRates::*pFigure, const std::string& strReference,
                  double SRates::*pReference)
{
    std::vector<double> figures, references, ratios;
    for (const SRates& r : runs)
    {
        figures.push_back(r.*pFigure);
        references.push_back(r.*pReference);
        ratios.push_back(r.*pFigure > 0 ? r.*pReference / (r.*pFigure) : 0.0);
    }
    const SSpread ratio = spreadOf(ratios);
    std::printf("  %-34s against %-44s ratio median %.2f, spread %.2f-%.2f over %zu run(s)\n",
                strName.c_str(), strReference.c_str(), ratio.m_dMedian, ratio.m_dMin, ratio.m_dMax,
                runs.size());
    kxBenchResult(strName, spreadOf(figures).m_dMedian, "fps", strReference,
                  spreadOf(references).m_dMedian, EKXBetter::Higher);
}

} // namespace

int main(int argc, char** argv)
{
    kxBenchEnsureDisplay(argc, argv, "2560x1600x24");
    QApplication app(argc, argv);
    CPluginBench bench;
    QString strReason;
    if (!bench.start(strReason))
    {
        std::fprintf(stderr, "bench_viewer_plugin: %s\n", strReason.toLocal8Bit().constData());
        return 1;
    }
    // "--size WxH" measures that size alone (for a profile of one case); "--runs 1" measures
    // each size once.
    std::vector<QSize> sizes = {{640, 480}, {1280, 720}, {1920, 1080}};
    const QStringList args = QApplication::arguments();
    const int nSizeArg = args.indexOf(QStringLiteral("--size"));
    if (nSizeArg > 0 && nSizeArg + 1 < args.size())
    {
        const QStringList parts = args.at(nSizeArg + 1).split('x');
        sizes = {QSize(parts.value(0).toInt(), parts.value(1).toInt())};
    }
    const int nRunsArg = args.indexOf(QStringLiteral("--runs"));
    const int nRuns = nRunsArg > 0 ? qBound(1, args.value(nRunsArg + 1).toInt(), 99) : 3;
    std::printf("Play and Record of \"%s\" over %d s through the plug-in, frames per second, "
                "%d run(s) per size (OpenGL renderer: %s)\n",
                PRESET, DURATION_S, nRuns, bench.glRenderer().toLocal8Bit().constData());
    std::printf("%-10s %7s %6s %7s %7s | %7s %6s %10s %12s\n", "size", "play", "shown", "bare",
                "render", "record", "shown", "grab+enc", "show+grab+enc");
    int nStatus = 0;
    for (const QSize& size : sizes)
    {
        const std::string strSize =
            std::to_string(size.width()) + "x" + std::to_string(size.height());
        std::vector<SRates> runs;
        for (int nRun = 0; nRun < nRuns; ++nRun)
        {
            if (!bench.prepare(size))
            {
                std::fprintf(stderr, "bench_viewer_plugin: no %s view with key frames\n",
                             strSize.c_str());
                nStatus = 1;
                break;
            }
            const std::vector<SCamera> cameras = bench.frameCameras();
            int nPlayFrames = 0, nPlayShown = 0, nRecordFrames = 0, nRecordShown = 0;
            SRates r;
            r.m_dPlay = bench.play(nPlayFrames, nPlayShown);
            r.m_dRecord = bench.record(bench.tempPath("plugin.mp4"), nRecordFrames, nRecordShown);
            const bool bSameFrames = !cameras.empty() &&
                                     static_cast<int>(cameras.size()) == nPlayFrames &&
                                     nPlayFrames == nRecordFrames;
            if (!bSameFrames)
            {
                std::fprintf(stderr,
                             "bench_viewer_plugin: %s: %zu generated frames, %d played, %d "
                             "recorded\n",
                             strSize.c_str(), cameras.size(), nPlayFrames, nRecordFrames);
                nStatus = 1;
            }
            r.m_dBare = bench.bareFps(cameras);
            r.m_dShown = bench.shownFps(cameras);
            r.m_dReapplied = bench.shownFps(cameras, true);
            r.m_dGrabEncode = bench.grabEncodeFps(cameras, bench.tempPath("ref.mp4"), false);
            r.m_dShowGrabEncode = bench.grabEncodeFps(cameras, bench.tempPath("ref.mp4"), true);
            std::printf("%-10s %7.1f %6d %7.1f %7.1f | %7.1f %6d %10.1f %12.1f   (%d frames, main "
                        "window %dx%d, render with the display re-applied %.1f)\n",
                        strSize.c_str(), r.m_dPlay, nPlayShown, r.m_dBare, r.m_dShown, r.m_dRecord,
                        nRecordShown, r.m_dGrabEncode, r.m_dShowGrabEncode, nPlayFrames,
                        bench.mainSize().width(), bench.mainSize().height(), r.m_dReapplied);
            std::fflush(stdout);
            runs.push_back(r);
        }
        if (runs.empty())
            continue;
        resultOfRuns("Play through plug-in " + strSize, runs, &SRates::m_dPlay,
                     "bare render " + strSize, &SRates::m_dBare);
        resultOfRuns("Play through plug-in " + strSize, runs, &SRates::m_dPlay,
                     "render+show, no plug-in " + strSize, &SRates::m_dShown);
        resultOfRuns("Record mp4 through plug-in " + strSize, runs, &SRates::m_dRecord,
                     "render+grab+encode, no plug-in " + strSize, &SRates::m_dGrabEncode);
        resultOfRuns("Record mp4 through plug-in " + strSize, runs, &SRates::m_dRecord,
                     "render+show+grab+encode, no plug-in " + strSize, &SRates::m_dShowGrabEncode);
    }
    std::printf("shown: frames the view composed on screen during the run (frameSwapped). "
                "render: update() until composed and swapped, without the plug-in.\n");
    return nStatus;
}
