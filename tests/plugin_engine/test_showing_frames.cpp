// What the main window shows while the plug-in plays or records: the 3D Tools palette follows
// the played frames once per frame at most and repaints only what changed, a recording is shown
// a few times per second, and both end on the last frame.
#include "C3DMesh.h"
#include "CKX3DToolsPalette.h"
#include "CKXPluginTestFixture.h"
#include "CKXSampleScene.h"

#include <QElapsedTimer>
#include <QHash>
#include <QImage>
#include <QLabel>
#include <QPointer>
#include <QRegularExpression>
#include <QScreen>
#include <QThread>

namespace
{

// Paint events per widget while it is installed and, of those that came while m_fnWhile() held,
// the number and the shortest gap between two in milliseconds (-1 for fewer than two).
class CPaintCounter : public QObject
{
public:
    struct SPaints
    {
        int nPaints = 0;
        int nTimed = 0;
        qint64 nLastMs = -1;
        qint64 nShortestGapMs = -1;
        QPointer<QWidget> pLive; // null once the widget is gone
    };
    CPaintCounter()
    {
        m_clock.start();
        qApp->installEventFilter(this);
    }
    ~CPaintCounter() override { qApp->removeEventFilter(this); }
    QHash<const QWidget*, SPaints> m_paints;
    std::function<bool()> m_fnWhile = [] { return false; };

protected:
    bool eventFilter(QObject* pWatched, QEvent* pEvent) override
    {
        if (pEvent->type() != QEvent::Paint || !pWatched->isWidgetType())
            return false;
        SPaints& paints = m_paints[static_cast<QWidget*>(pWatched)];
        ++paints.nPaints;
        paints.pLive = static_cast<QWidget*>(pWatched);
        if (m_fnWhile())
        {
            const qint64 nNowMs = m_clock.elapsed();
            const qint64 nGapMs = nNowMs - paints.nLastMs;
            if (paints.nLastMs >= 0 &&
                (paints.nShortestGapMs < 0 || nGapMs < paints.nShortestGapMs))
                paints.nShortestGapMs = nGapMs;
            paints.nLastMs = nNowMs;
            ++paints.nTimed;
        }
        return false;
    }

private:
    QElapsedTimer m_clock;
};

class ShowingFramesTest : public CKXPluginTestFixture
{
protected:
    void SetUp() override
    {
        openDialogOnView(QSize(200, 150));
        if (HasFatalFailure())
            return;
        m_pPalette = m_pMain->toolsPalette();
        m_pOpacity = m_pPalette->findChild<QSlider*>("meshOpacity");
        ASSERT_TRUE(m_pOpacity);
    }

    // Two key frames: the view as it is with the subject at nOpacityA percent, then turned by
    // dAngle about y at nOpacityB percent; nSeconds at the dialog's 10 frames per second.
    void addKeyFrames(int nOpacityA, int nOpacityB, double dAngle, int nSeconds)
    {
        m_pDuration->setValue(nSeconds);
        C3DMesh* pMesh = m_pView->scene()->surfaceMesh();
        pMesh->setOpacity(nOpacityA / 100.0f);
        button("m_pAddKeyframeButton")->click();
        pMesh->setOpacity(nOpacityB / 100.0f);
        m_pView->setCurrentQuaternion(unitquaternion(dAngle, Vec3f(0, 1, 0)));
        button("m_pAddKeyframeButton")->click();
        ASSERT_EQ(m_pList->count(), 2);
        settle();
    }

    static void settle()
    {
        for (int i = 0; i < 5; ++i)
        {
            QCoreApplication::processEvents();
            QThread::msleep(10);
        }
    }

    // The n of the last "[i of n] frames." progress text.
    static int progressFrames()
    {
        static const QRegularExpression pattern(QStringLiteral("\\[(\\d+) of (\\d+)\\]"));
        return pattern.match(progressText()).captured(2).toInt();
    }

    CKX3DToolsPalette* m_pPalette = nullptr;
    QSlider* m_pOpacity = nullptr;
};

// Colours within a step of rounding: the window's composition may blend the view's picture.
int differingPixels(const QImage& a, const QImage& b)
{
    if (a.size() != b.size())
        return a.width() * a.height() + 1;
    int nDiffering = 0;
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x)
        {
            const QRgb p = a.pixel(x, y);
            const QRgb q = b.pixel(x, y);
            if (qAbs(qRed(p) - qRed(q)) > 2 || qAbs(qGreen(p) - qGreen(q)) > 2 ||
                qAbs(qBlue(p) - qBlue(q)) > 2)
                ++nDiffering;
        }
    return nDiffering;
}

} // namespace

// A played key frame reaches the palette once per light source: the palette takes it in once
// per frame at most. After Play it shows the scene as the last frame left it.
TEST_F(ShowingFramesTest, PlayRefreshesThePaletteOncePerFrameAndEndsOnTheLastFrame)
{
    ASSERT_GE(m_pView->scene()->currentControls().sourceControls.size(), 2);
    addKeyFrames(90, 30, 1.2, 2);
    const int nRefreshes = m_pPalette->refreshCount();
    button("m_pPlayButton")->click();
    settle();
    const int nFrames = progressFrames();
    ASSERT_GE(nFrames, 20);
    EXPECT_LE(m_pPalette->refreshCount() - nRefreshes, nFrames + 2);
    const int nLastOpacity = m_pView->scene()->currentControls().meshOpacity;
    // The last generated frame, 19 of 20 steps from 90 to 30, falls short of the second key frame.
    EXPECT_GT(nLastOpacity, 30);
    EXPECT_LT(nLastOpacity, 40);
    EXPECT_FALSE(m_pPalette->isShowingKeyFrame());
    EXPECT_EQ(m_pOpacity->value(), nLastOpacity);
}

// Frames that change no control leave every palette widget unpainted, but the line with the
// played frame's time stamp, and nothing else in the main window is painted for them.
TEST_F(ShowingFramesTest, PlayedFramesRepaintOnlyTheWidgetsWhoseValuesChange)
{
    addKeyFrames(60, 60, 1.2, 2);
    // The first Play leaves the scene at the played values; the second changes no control.
    button("m_pPlayButton")->click();
    settle();
    CPaintCounter counter;
    button("m_pPlayButton")->click();
    settle();
    ASSERT_GE(progressFrames(), 20);
    const QWidget* pLine = m_pPalette->findChild<QLabel*>("paletteKeyFrame");
    ASSERT_TRUE(pLine);
    EXPECT_GE(counter.m_paints.value(m_pView).nPaints, 1);
    EXPECT_GE(counter.m_paints.value(pLine).nPaints, 1);
    QStringList painted;
    for (const CPaintCounter::SPaints& paints : counter.m_paints)
    {
        const QWidget* pWidget = paints.pLive;
        bool bAllowed = !pWidget || pWidget->window() != m_pMain;
        for (const QWidget* pAllowed :
             {static_cast<const QWidget*>(m_pView), pLine, static_cast<const QWidget*>(m_pDlg)})
            bAllowed = bAllowed || pAllowed == pWidget || pAllowed->isAncestorOf(pWidget);
        if (!bAllowed)
            painted << QStringLiteral("%1 '%2' x%3")
                           .arg(pWidget->metaObject()->className(), pWidget->objectName())
                           .arg(paints.nPaints);
    }
    EXPECT_TRUE(painted.isEmpty()) << painted.join(", ").toStdString();
}

// While recording, the view is composed into the window and the palette repainted a few times
// per second, not for every frame, and together: no more showings, paints of the palette's line
// or compositions of the main window than the showing interval fits into the recording's time,
// counted rather than timed one by one, since a busy machine delays single paints (a timer may
// also fire a little early). The movie still gets every frame (the stale-frame test of the
// engine tests checks their content). When the recording ends, the screen shows the last
// recorded frame.
TEST_F(ShowingFramesTest, ARecordingIsShownAFewTimesPerSecondAndEndsOnTheLastFrame)
{
    addKeyFrames(90, 30, 2.0, 6);
    QTemporaryDir dir;
    CKXAutomation::enqueueFileName(dir.filePath("shown.mp4"));
    const QWidget* pLine = m_pPalette->findChild<QLabel*>("paletteKeyFrame");
    ASSERT_TRUE(pLine);
    {
        CPaintCounter counter;
        counter.m_fnWhile = [this] { return m_pView->isKFRecording(); };
        int nCompositions = 0;
        const QMetaObject::Connection composed =
            QObject::connect(m_pView, &QOpenGLWidget::frameSwapped, [&] { ++nCompositions; });
        QElapsedTimer timer;
        timer.start();
        button("m_pRecordButton")->click();
        const qint64 nElapsedMs = timer.elapsed();
        QObject::disconnect(composed);
        ASSERT_GE(progressFrames(), 60);
        ASSERT_TRUE(QFile::exists(dir.filePath("shown.mp4")));
        const qint64 nLeastGapMs = CKXGLView::kRecordingShowIntervalMs * 4 / 5;
        for (const QWidget* pWidget : {static_cast<const QWidget*>(m_pView), pLine})
        {
            const int nPaints = counter.m_paints.value(pWidget).nTimed;
            const qint64 nGap = counter.m_paints.value(pWidget).nShortestGapMs;
            EXPECT_LE(nPaints, nElapsedMs / nLeastGapMs + 2)
                << pWidget->metaObject()->className() << ": " << nPaints << " paints in "
                << nElapsedMs << " ms, the closest two " << nGap << " ms apart";
            if (nElapsedMs > 4 * CKXGLView::kRecordingShowIntervalMs)
            {
                EXPECT_GE(nPaints, 1) << pWidget->metaObject()->className();
            }
        }
        EXPECT_LE(nCompositions, nElapsedMs / nLeastGapMs + 2)
            << nCompositions << " compositions of the main window in " << nElapsedMs << " ms";
    }
    EXPECT_FALSE(m_pView->isKFRecording());

    // The screen beside the main window for the dialog, so that the view is not covered.
    if (m_pDlg->window() != m_pMain)
        m_pDlg->window()->move(m_pMain->frameGeometry().right() + 20, 0);
    // What the screen shows of the view against a fresh draw of its state, once the screen has
    // caught up (a busy machine takes a while to draw and show a frame; a view that never shows
    // it keeps differing).
    const auto differingOnScreen = [this]
    {
        const QImage fresh = m_pView->renderFreshFrame();
        int nDiffering = -1;
        QElapsedTimer waited;
        waited.start();
        while (nDiffering != 0 && waited.elapsed() < 10000)
        {
            settle();
            const QPoint origin = m_pView->mapTo(m_pMain, QPoint(0, 0));
            const QImage shown = QGuiApplication::primaryScreen()
                                     ->grabWindow(m_pMain->winId(), origin.x(), origin.y(),
                                                  m_pView->width(), m_pView->height())
                                     .toImage()
                                     .convertToFormat(QImage::Format_RGB32);
            nDiffering = differingPixels(shown, fresh);
        }
        return nDiffering;
    };
    EXPECT_EQ(differingOnScreen(), 0) << "the last recorded frame";
    EXPECT_EQ(m_pOpacity->value(), m_pView->scene()->currentControls().meshOpacity);
    // And the view follows the camera again.
    m_pView->setCurrentQuaternion(unitquaternion(0.5, Vec3f(1, 0, 0)));
    EXPECT_EQ(differingOnScreen(), 0) << "a camera move after the recording";
}
