// Opening the user's own data in the viewer: File > Open, Open As, Open Recent and dropped
// files make sequence windows announced like the samples; a file that cannot be read leaves
// everything as it was. End to end, the headless viewer records a movie of opened data.
#include "../common/KXTestFiles.h"
#include "CKXDataMenu.h"
#include "ViewerHostFixture.h"

#include "CKXGLView.h"
#include "CKXSampleScene.h"
#include "CKXUtilityFns.h"

#include "C3DMesh.h"
#include "C3DSGManager.h"

#include <QDir>
#include <QMimeData>
#include <QProcess>
#include <QTemporaryDir>
#include <QUrl>

namespace
{
const QString kModels = QStringLiteral(KX_ASSIMP_MODELS_DIR);

class COpenDataTest : public CViewerHostTest
{
protected:
    QStringList titles() const
    {
        QStringList list;
        for (const CKXSequenceWindowImpl* pWindow : m_pMain->sequenceWindows())
            list << pWindow->windowTitle();
        return list;
    }
    QStringList messages() const
    {
        QStringList list;
        for (const SKXRecordedMessage& message : CKXAutomation::messages())
            list << message.strText;
        return list;
    }
};

TEST_F(COpenDataTest, OpenedFilesBecomeASequenceAnnouncedLikeTheSamples)
{
    CKXToolPluginBase* pPlugin = loadTestPlugins();
    ASSERT_TRUE(pPlugin);
    clearEvents(pPlugin);
    CKXAutomation::enqueueFileName(kModels + "/PLY/Wuson.ply");
    m_pMain->dataMenu()->onClickOpen();
    settle();
    ASSERT_EQ(m_pMain->sequenceWindows().size(), 3);
    CKXSequenceWindowImpl* pOpened = m_pMain->activeSequenceWindow();
    ASSERT_EQ(pOpened, window(2));
    EXPECT_TRUE(pOpened->windowTitle().startsWith("Wuson, sequence 3"));
    EXPECT_TRUE(pOpened->getSGManager()->getNode("3DMesh"));
    const QStringList listEvents = events(pPlugin);
    const QString strId = id(pOpened);
    EXPECT_TRUE(listEvents.contains("added:" + strId) && listEvents.contains("changed:" + strId))
        << qPrintable(listEvents.join(", "));

    // Open As adds an organ to the current dataset: the whole is read again into a window that
    // replaces the old one.
    CKXAutomation::enqueueFileName(kModels + "/OBJ/box.obj");
    m_pMain->dataMenu()->onClickOpenAs(EKXDataRole::Organ);
    settle();
    ASSERT_EQ(m_pMain->sequenceWindows().size(), 3);
    CKXSequenceWindowImpl* pCombined = m_pMain->activeSequenceWindow();
    ASSERT_EQ(pCombined->openRequests().size(), 2);
    EXPECT_EQ(pCombined->getOrgansVisibilityMap().size(), 1);
    EXPECT_TRUE(pCombined->getSGManager()->getNode("3DMesh"));

    // Both datasets are in Open Recent, newest first; opening it again reads it again.
    ASSERT_EQ(m_pMain->dataMenu()->recent().size(), 2);
    EXPECT_EQ(m_pMain->dataMenu()->recent().first().size(), 2);
    EXPECT_TRUE(messages().isEmpty()) << qPrintable(messages().join('\n'));
}

TEST_F(COpenDataTest, AFileThatCannotBeReadIsNamedAndChangesNothing)
{
    QTemporaryDir dir;
    const QString strBroken = dir.filePath("broken.stl");
    kxWriteFile(strBroken, "solid x\n facet normal");
    const QStringList listBefore = titles();
    for (const QString& strPath : {strBroken, dir.filePath("missing.ply")})
    {
        CKXAutomation::clearMessages();
        CKXAutomation::enqueueFileName(strPath);
        m_pMain->dataMenu()->onClickOpen();
        settle();
        EXPECT_EQ(titles(), listBefore);
        ASSERT_EQ(messages().size(), 1);
        EXPECT_TRUE(messages().first().contains(QFileInfo(strPath).fileName()))
            << qPrintable(messages().first());
        EXPECT_EQ(CKXAutomation::messages().first().strTitle, CKXUtilityFns::getAppName());
    }
    EXPECT_TRUE(m_pMain->dataMenu()->recent().isEmpty());
}

TEST_F(COpenDataTest, DroppedFilesOpenAsOneDataset)
{
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile(kModels + "/PLY/cube.ply"),
                  QUrl::fromLocalFile(kModels + "/OBJ/box.obj")});
    const QList<SKXOpenRequest> listRequests = CKXDataMenu::requestsOf(&data);
    ASSERT_EQ(listRequests.size(), 2);
    // As the window system delivers a drop: the window that accepts the drag gets the drop.
    QDragEnterEvent enter(QPoint(10, 10), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(m_pMain.get(), &enter);
    EXPECT_TRUE(enter.isAccepted());
    QDropEvent drop(QPointF(10, 10), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(m_pMain.get(), &drop);
    settle();
    ASSERT_EQ(m_pMain->sequenceWindows().size(), 3) << qPrintable(messages().join('\n'));
    EXPECT_EQ(m_pMain->activeSequenceWindow()->getOrgansVisibilityMap().size(), 1);

    QMimeData remote;
    remote.setUrls({QUrl("https://example.org/a.ply")});
    EXPECT_TRUE(CKXDataMenu::requestsOf(&remote).isEmpty());
}

// The viewer as a user runs it: the sample written out as a scene, opened again, and a
// dataset that is not the sample recorded to a movie whose frames show it.
TEST(OpenDataHeadless, ExportedSampleAndOwnDataRecordMoviesOfWhatWasOpened)
{
    QTemporaryDir dir;
    const QDir out(dir.path());
    auto run = [](const QStringList& listArguments, QString* pOutput = nullptr)
    {
        QProcess process;
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(QStringLiteral(KX_VIEWER_BINARY), listArguments);
        process.waitForFinished(240000);
        if (pOutput)
            *pOutput = QString::fromUtf8(process.readAll());
        return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    };
    QString strOutput;
    ASSERT_EQ(run({"--export-scene", out.filePath("sample")}, &strOutput), 0)
        << qPrintable(strOutput);
    ASSERT_TRUE(QFileInfo::exists(out.filePath("sample/scene.json")));

    const QStringList listJob = {"--headless",         "--size",     "320x240", "--preset",
                                 "Spin CCW on Y-Axis", "--duration", "1",       "--record"};
    ASSERT_EQ(run(QStringList{"--open", out.filePath("sample/scene.json")} + listJob +
                      QStringList{out.filePath("sample.mp4")},
                  &strOutput),
              0)
        << qPrintable(strOutput);
    ASSERT_EQ(run(QStringList{"--open", kModels + "/PLY/Wuson.ply", "--open",
                              "organ/Box=" + kModels + "/OBJ/box.obj"} +
                      listJob + QStringList{out.filePath("own.mp4")},
                  &strOutput),
              0)
        << qPrintable(strOutput);

    // The middle frame of each movie: the own data's is not blank and not the sample's.
    auto frame = [&](const QString& strMovie)
    {
        const QString strPng = strMovie + ".png";
        QProcess::execute("ffmpeg", {"-v", "error", "-y", "-i", strMovie, "-vf", "select=eq(n\\,5)",
                                     "-vframes", "1", strPng});
        return QImage(strPng).convertToFormat(QImage::Format_RGB32);
    };
    const QImage own = frame(out.filePath("own.mp4"));
    const QImage sample = frame(out.filePath("sample.mp4"));
    ASSERT_FALSE(own.isNull() || sample.isNull());
    ASSERT_EQ(own.size(), QSize(320, 240));
    QSet<QRgb> colours;
    double dDifference = 0.0;
    for (int y = 0; y < own.height(); ++y)
        for (int x = 0; x < own.width(); ++x)
        {
            colours.insert(own.pixel(x, y) & 0xf0f0f0);
            dDifference += std::abs(qGray(own.pixel(x, y)) - qGray(sample.pixel(x, y)));
        }
    EXPECT_GT(colours.size(), 20); // shaded geometry, not a flat background
    EXPECT_GT(dDifference / (own.width() * own.height()), 4.0);

    // A file that cannot be read ends the run with a message naming it.
    EXPECT_NE(run({"--headless", "--open", out.filePath("none.ply"), "--record",
                   out.filePath("none.mp4")},
                  &strOutput),
              0);
    EXPECT_TRUE(strOutput.contains("none.ply")) << qPrintable(strOutput);
    EXPECT_FALSE(QFileInfo::exists(out.filePath("none.mp4")));
}

} // namespace
