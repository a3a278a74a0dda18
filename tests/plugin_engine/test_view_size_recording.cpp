// Recording through the plug-in in the viewer with View > 3D View Size set larger than the
// window: the movie has the chosen size and its frames are the scene as the view drew it.
#include "CKXGLView.h"
#include "CKXPluginTestFixture.h"

#include <QAction>
#include <QApplication>
#include <QImage>
#include <QProcess>
#include <QSpinBox>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cstdlib>

namespace
{
// ffprobe's width, height and decoded frame count of the first video stream.
QMap<QString, QString> probe(const QString& strFile)
{
    QProcess process;
    process.start("ffprobe",
                  {"-v", "error", "-select_streams", "v:0", "-count_frames", "-show_entries",
                   "stream=nb_read_frames,width,height", "-of", "default=nw=1", strFile});
    process.waitForFinished(60000);
    QMap<QString, QString> values;
    for (const QString& strLine : QString::fromUtf8(process.readAllStandardOutput()).split('\n'))
        values.insert(strLine.section('=', 0, 0), strLine.section('=', 1));
    return values;
}

// Frame nFrame (from 0) of the movie decoded by ffmpeg, or a null image.
QImage decodeFrame(const QString& strMovie, int nFrame, const QString& strPng)
{
    QProcess process;
    process.start("ffmpeg", {"-v", "error", "-y", "-i", strMovie, "-vf",
                             QStringLiteral("select=eq(n\\,%1)").arg(nFrame), "-vsync", "0",
                             "-frames:v", "1", strPng});
    process.waitForFinished(60000);
    return QImage(strPng).convertToFormat(QImage::Format_RGB32);
}

int channelDistance(QRgb a, QRgb b)
{
    return std::abs(qRed(a) - qRed(b)) + std::abs(qGreen(a) - qGreen(b)) +
           std::abs(qBlue(a) - qBlue(b));
}
} // namespace

class ViewSizeRecordingTest : public CKXPluginTestFixture
{
protected:
    // Chooses the size from the View menu, then records three frames of a turn into a movie.
    // The main window is smaller than the view.
    void recordAt(const QSize& size, const QString& strMovie)
    {
        startViewer(QSize(1000, 700));
        ASSERT_FALSE(HasFatalFailure());
        m_pView = m_pA->glView();
        ASSERT_TRUE(openDialog());
        const QString strEntry = QStringLiteral("%1x%2").arg(size.width()).arg(size.height());
        QAction* pEntry = nullptr;
        for (QAction* pAction : m_pMain->viewSizeActions())
            if (pAction->text() == strEntry)
                pEntry = pAction;
        ASSERT_TRUE(pEntry) << strEntry.toStdString();
        pEntry->trigger();
        QApplication::processEvents();
        ASSERT_LT(m_pMain->width(), size.width());

        m_pDlg->findChild<QSpinBox*>("m_pDurationSpinBox")->setValue(1);
        click("m_pAddKeyframeButton");
        m_pView->setCurrentQuaternion(unitquaternion(0.6, Vec3f(0, 1, 0)));
        click("m_pAddKeyframeButton");
        ASSERT_EQ(m_pList->count(), 2);
        // The first key frame moved to 80 of 100: one second at 10 frames per second leaves
        // two steps, three frames.
        selectRow(0);
        m_pDlg->findChild<QSpinBox*>("m_pTimeScaleSpinBox")->setValue(80);
        m_pView->setCurrentQuaternion(unitquaternion(-0.3, Vec3f(0, 1, 0)));
        click("m_pUpdateKeyframesButton");

        CKXAutomation::enqueueFileName(strMovie);
        click("m_pRecordButton");
        EXPECT_EQ(button("m_pRecordButton")->text(), "   Record");
        EXPECT_TRUE(CKXAutomation::messages().isEmpty());
    }

    // The movie has the size and frame count, and its last frame is the view's picture (the
    // view keeps the last recorded frame): the subject in place, not black, not cut or scaled.
    void expectMovieOfTheScene(const QString& strMovie, const QSize& size)
    {
        const QMap<QString, QString> movie = probe(strMovie);
        EXPECT_EQ(movie.value("width").toInt(), size.width());
        EXPECT_EQ(movie.value("height").toInt(), size.height());
        ASSERT_EQ(movie.value("nb_read_frames"), "3");

        const QImage shown = m_pView->grabFramebuffer().convertToFormat(QImage::Format_RGB32);
        ASSERT_EQ(shown.size(), size);
        const QImage frame = decodeFrame(strMovie, 2, strMovie + ".png");
        ASSERT_EQ(frame.size(), size);
        const QRgb background = shown.pixel(0, 0);
        qint64 nDistance = 0;
        qint64 nSamples = 0;
        qint64 nSubject = 0;
        for (int y = 0; y < size.height(); y += 3)
        {
            const QRgb* pFrame = reinterpret_cast<const QRgb*>(frame.constScanLine(y));
            const QRgb* pShown = reinterpret_cast<const QRgb*>(shown.constScanLine(y));
            for (int x = 0; x < size.width(); x += 3)
            {
                nDistance += channelDistance(pFrame[x], pShown[x]);
                nSubject += channelDistance(pFrame[x], background) > 60 ? 1 : 0;
                ++nSamples;
            }
        }
        // H.264 in yuv420p changes colours a little, mostly along edges.
        EXPECT_LT(double(nDistance) / nSamples, 6.0) << "mean distance to the view's picture";
        EXPECT_GT(double(nSubject) / nSamples, 0.05) << "share of the frame the subject covers";
    }
};

TEST_F(ViewSizeRecordingTest, A1080pViewRecordsA1080pMovieOfTheScene)
{
    QTemporaryDir dir;
    dir.setAutoRemove(qEnvironmentVariableIsEmpty("KX_KEEP_TEST_MOVIES"));
    const QString strMovie = dir.filePath("talk-1080p.mp4");
    recordAt(QSize(1920, 1080), strMovie);
    ASSERT_FALSE(HasFatalFailure());
    expectMovieOfTheScene(strMovie, QSize(1920, 1080));
}

TEST_F(ViewSizeRecordingTest, A4KViewRecordsA4KMovieOfTheScene)
{
    QTemporaryDir dir;
    dir.setAutoRemove(qEnvironmentVariableIsEmpty("KX_KEEP_TEST_MOVIES"));
    const QString strMovie = dir.filePath("talk-4k.mp4");
    recordAt(QSize(3840, 2160), strMovie);
    ASSERT_FALSE(HasFatalFailure());
    expectMovieOfTheScene(strMovie, QSize(3840, 2160));
}
