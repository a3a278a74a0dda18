// Recording through the plug-in in the viewer with View > 3D View Size set larger than the
// window: the movie has the chosen size and its frames are the scene as the view drew it.
#include "CKXGLView.h"
#include "CKXPluginTestFixture.h"

#include <QImage>
#include <QTemporaryDir>

#include <cstdlib>

class ViewSizeRecordingTest : public CKXPluginTestFixture
{
protected:
    // Chooses the size from the View menu of a smaller main window, records three frames of a
    // turn, and compares the movie's last frame with the view's picture (the view keeps the last
    // recorded frame): the subject in place, not black, not cut or scaled.
    void recordAndCompare(const QSize& size)
    {
        QTemporaryDir dir;
        dir.setAutoRemove(qEnvironmentVariableIsEmpty("KX_KEEP_TEST_MOVIES"));
        const QString strMovie = dir.filePath(QStringLiteral("talk-%1.mp4").arg(size.height()));
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

        const QMap<QString, QString> movie = probeMovie(strMovie);
        EXPECT_EQ(movie.value("width").toInt(), size.width());
        EXPECT_EQ(movie.value("height").toInt(), size.height());
        ASSERT_EQ(movie.value("nb_read_frames"), "3");

        const QImage shown = m_pView->grabFramebuffer().convertToFormat(QImage::Format_RGB32);
        ASSERT_EQ(shown.size(), size);
        QProcess ffmpeg;
        ffmpeg.start("ffmpeg", {"-v", "error", "-y", "-i", strMovie, "-vf", "select=eq(n\\,2)",
                                "-vsync", "0", "-frames:v", "1", strMovie + ".png"});
        ffmpeg.waitForFinished(60000);
        const QImage frame = QImage(strMovie + ".png").convertToFormat(QImage::Format_RGB32);
        ASSERT_EQ(frame.size(), size);
        const auto distance = [](QRgb a, QRgb b)
        {
            return std::abs(qRed(a) - qRed(b)) + std::abs(qGreen(a) - qGreen(b)) +
                   std::abs(qBlue(a) - qBlue(b));
        };
        const QRgb background = shown.pixel(0, 0);
        qint64 nDistance = 0, nSamples = 0, nSubject = 0;
        for (int y = 0; y < size.height(); y += 3)
            for (int x = 0; x < size.width(); x += 3, ++nSamples)
            {
                nDistance += distance(frame.pixel(x, y), shown.pixel(x, y));
                nSubject += distance(frame.pixel(x, y), background) > 60 ? 1 : 0;
            }
        // H.264 in yuv420p changes colours a little, mostly along edges.
        EXPECT_LT(double(nDistance) / nSamples, 6.0) << "mean distance to the view's picture";
        EXPECT_GT(double(nSubject) / nSamples, 0.05) << "share of the frame the subject covers";
    }
};

TEST_F(ViewSizeRecordingTest, A1080pViewRecordsA1080pMovieOfTheScene)
{
    recordAndCompare(QSize(1920, 1080));
}

TEST_F(ViewSizeRecordingTest, A4KViewRecordsA4KMovieOfTheScene)
{
    recordAndCompare(QSize(3840, 2160));
}
