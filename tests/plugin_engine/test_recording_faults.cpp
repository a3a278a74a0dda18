// Movie recording from the 3D Animation dialog when things go wrong mid-way: a full disk, a
// target folder removed, the view resized, Stop or the host's Abort at the first and the last
// frame. Each must leave no partial movie, keep an older movie of the chosen name byte for
// byte, never touch the user's other files, say why in the log and bring the dialog back to
// idle.
#include "CKXAppState.h"
#include "CKXPluginTestFixture.h"

#include <QIcon>

#include <sys/mount.h>
#include <sys/resource.h>

#include <cerrno>
#include <csignal>
#include <cstring>

namespace
{

const QSize VIEW_SIZE(321, 241);
const int USER_FRAME_RATE = 25; // the recording runs at 10 and must give this back

class RecordingFaultsTest : public CKXPluginTestFixture
{
protected:
    void SetUp() override
    {
        openDialogOnView(VIEW_SIZE);
        if (HasFatalFailure())
        {
            return;
        }
        m_pFps->setMaximum(30);
        m_pFps->setValue(USER_FRAME_RATE);
        addTwoKeyFrames(unitquaternion(1.5, Vec3f(0, 1, 0)));
        m_pDuration->setValue(1);
    }

    void TearDown() override
    {
        if (m_bLimited)
        {
            setrlimit(RLIMIT_FSIZE, &m_oldLimit);
        }
        CKXPluginTestFixture::TearDown();
        if (!m_strMount.isEmpty() && umount2(m_strMount.toLocal8Bit().constData(), 0) != 0)
        {
            umount2(m_strMount.toLocal8Bit().constData(), MNT_DETACH);
        }
    }

    // Records into strFile; onFrame runs once, when frame nFrame of the recording is announced
    // (before it is rendered and encoded).
    void record(const QString& strFile, const QString& strFrame = QString(),
                std::function<void()> onFrame = nullptr)
    {
        CKXLogFile::clearRecentLines();
        if (onFrame)
        {
            whileRunning(
                [strFrame, onFrame]
                {
                    const bool bReached = progressText().startsWith(strFrame);
                    if (bReached)
                    {
                        onFrame();
                    }
                    return bReached;
                });
        }
        CKXAutomation::enqueueFileName(strFile);
        button("m_pRecordButton")->click();
    }

    // Idle again, with Record's tooltip and icon, the user's frame rate, the cursor and the
    // application's permission to close restored.
    void expectRestored() const
    {
        expectIdle();
        QAbstractButton* pRecord = button("m_pRecordButton");
        EXPECT_EQ(pRecord->toolTip(), "Record the currently defined key frame animation");
        const QSize icon(16, 16);
        EXPECT_EQ(pRecord->icon().pixmap(icon).toImage().convertToFormat(QImage::Format_ARGB32),
                  QIcon(":/Resource/record_red.xpm")
                      .pixmap(icon)
                      .toImage()
                      .convertToFormat(QImage::Format_ARGB32));
        EXPECT_EQ(m_pFps->value(), USER_FRAME_RATE);
        EXPECT_EQ(QApplication::overrideCursor(), nullptr);
        EXPECT_TRUE(CKXAppState::canClose());
    }

    // Every later write of this process beyond nBytes fails with EFBIG (no signal).
    void limitFileSize(rlim_t nBytes)
    {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &m_oldLimit);
        rlimit limit = m_oldLimit;
        limit.rlim_cur = nBytes;
        m_bLimited = setrlimit(RLIMIT_FSIZE, &limit) == 0;
        ASSERT_TRUE(m_bLimited) << std::strerror(errno);
    }

    QTemporaryDir m_dir;
    QString m_strMount; // a tmpfs mounted by the test, unmounted in TearDown
    rlimit m_oldLimit{};
    bool m_bLimited = false;
};

} // namespace

// At the first frame nothing is written yet, at the last frame the new movie is nearly whole:
// either way it is discarded and the older movie of the chosen name stays as it was.
TEST_F(RecordingFaultsTest, StopOrAbortAtTheFirstOrLastFrameLeavesNoPartialMovie)
{
    const QString strMovie = m_dir.filePath("take.mp4");
    const QString strOther = m_dir.filePath("notes.txt");
    kxWriteFile(strOther, "the user's notes");
    for (const bool bAbort : {false, true})
    {
        for (const int nFrame : {1, 10})
        {
            SCOPED_TRACE(testing::Message() << (bAbort ? "abort" : "stop") << " at " << nFrame);
            kxWriteFile(strMovie, "older movie");
            const QString strFrame = QString("Playing and Recording [%1 of 10]").arg(nFrame);
            bool bStopFace = false;
            if (bAbort)
            {
                CKXAutomation::abortAfterMessages(nFrame);
                record(strMovie);
            }
            else
            {
                record(strMovie, strFrame,
                       [&]
                       {
                           bStopFace = button("m_pRecordButton")->text() == "   Stop";
                           button("m_pRecordButton")->click();
                       });
                EXPECT_TRUE(bStopFace);
            }
            EXPECT_TRUE(progressText().startsWith(strFrame)) << progressText().toStdString();
            EXPECT_TRUE(logged("warning Animation export aborted... [at 11:05:38]"));
            EXPECT_EQ(kxFileContents(strMovie), "older movie");
            EXPECT_EQ(partialFiles(m_dir.path()), QStringList());
            EXPECT_EQ(kxFileContents(strOther), "the user's notes");
            expectRestored();
        }
    }
}

TEST_F(RecordingFaultsTest, AResizedViewAbortsAndRemovesThePartialMovie)
{
    const QString strMovie = m_dir.filePath("resized.mov");
    kxWriteFile(strMovie, "older movie");
    record(strMovie, "Playing and Recording [4 of 10]",
           [this] { m_pView->setFixedSize(VIEW_SIZE + QSize(40, 30)); });
    EXPECT_TRUE(progressText().startsWith("Playing and Recording [4 of 10]"));
    EXPECT_TRUE(logged("warning Exported frame dimension changed. Animation export aborted... "
                       "[at 11:05:38]"));
    EXPECT_EQ(kxFileContents(strMovie), "older movie");
    EXPECT_EQ(partialFiles(m_dir.path()), QStringList());
    expectRestored();
}

// The writes into a file whose folder was removed succeed, so only the encoder's check of the
// name stops the recording; nothing may claim a movie that cannot exist, and a file that took
// the name since (the folder made again) is the user's.
TEST_F(RecordingFaultsTest, ARemovedTargetFolderStopsTheRecordingWithAMessage)
{
    m_pDuration->setValue(3);
    const QString strFolder = m_dir.filePath("talk");
    const QString strSibling = m_dir.filePath("keep.txt");
    kxWriteFile(strSibling, "sibling");
    for (const bool bMadeAgain : {false, true})
    {
        SCOPED_TRACE(bMadeAgain ? "folder made again" : "folder removed");
        ASSERT_TRUE(QDir().mkpath(strFolder));
        const QString strMovie = strFolder + (bMadeAgain ? "/spin.mp4" : "/spin.mpg");
        const QString strFrame =
            bMadeAgain ? "Playing and Recording [30 of 30]" : "Playing and Recording [5 of 30]";
        record(strMovie, strFrame,
               [&]
               {
                   QDir(strFolder).removeRecursively();
                   if (bMadeAgain)
                   {
                       QDir().mkpath(strFolder);
                       kxWriteFile(strMovie, "user's file");
                   }
               });
        EXPECT_TRUE(progressText().startsWith(strFrame)) << progressText().toStdString();
        EXPECT_TRUE(logged("was removed or replaced while it was being written"));
        EXPECT_TRUE(logged("error Writing the movie failed; the recording was stopped"));
        EXPECT_EQ(kxFileContents(strMovie), bMadeAgain ? "user's file" : "(none)");
        EXPECT_EQ(QDir(strFolder).exists(), bMadeAgain);
        EXPECT_EQ(kxFileContents(strSibling), "sibling");
        expectRestored();
    }
}

struct SFullCase
{
    bool m_bTmpfs; // a small tmpfs (needs root), otherwise a file size limit
    const char* m_szMovie;
    int m_nDuration; // seconds: 20 outgrow the space mid-way, 1 only at the final flush
};
void PrintTo(const SFullCase& c, std::ostream* pStream)
{
    *pStream << (c.m_bTmpfs ? "tmpfs " : "rlimit ") << c.m_szMovie << " " << c.m_nDuration << " s";
}

class RecordingFullDiskTest : public RecordingFaultsTest,
                              public ::testing::WithParamInterface<SFullCase>
{
};

// 8 KiB are left beside the user's files. The writes are buffered and encoded on the encoder's
// thread, so a long recording stops some frames after the space ran out rather than at its
// end, and a short one fails only when the movie is finished; either way no partial movie is
// left and the user's files, an older movie of the chosen name among them, are untouched.
TEST_P(RecordingFullDiskTest, AFullTargetStopsTheRecordingAndKeepsTheOtherFiles)
{
    const SFullCase& c = GetParam();
    QString strFolder = m_dir.path();
    if (c.m_bTmpfs)
    {
        strFolder = m_dir.filePath("small");
        ASSERT_TRUE(QDir().mkpath(strFolder));
        if (mount("tmpfs", strFolder.toLocal8Bit().constData(), "tmpfs", MS_NOSUID | MS_NODEV,
                  "size=64k") != 0)
        {
            GTEST_SKIP() << "cannot mount a tmpfs here: " << std::strerror(errno);
        }
        m_strMount = strFolder;
    }
    const QByteArray notes(52 * 1024, 'n');
    const QString strOther = strFolder + "/notes.txt";
    kxWriteFile(strOther, notes);
    const QString strMovie = strFolder + "/" + c.m_szMovie;
    const QByteArray older(4 * 1024, 'm');
    kxWriteFile(strMovie, older);
    if (!c.m_bTmpfs)
    {
        limitFileSize(8 * 1024);
    }
    m_pDuration->setValue(c.m_nDuration);
    record(strMovie);

    // The frame the recording ended at; H.264 holds up to about 25 frames back.
    const int nLastFrame = progressText().section('[', 1).section(' ', 0, 0).toInt();
    if (c.m_nDuration == 1)
    {
        EXPECT_EQ(nLastFrame, 10);
    }
    else
    {
        EXPECT_GE(nLastFrame, 1);
        EXPECT_LE(nLastFrame, 60) << progressText().toStdString();
    }
    EXPECT_TRUE(logged(c.m_bTmpfs ? "No space left on device" : "File too large"))
        << CKXLogFile::recentLines().join('\n').toStdString();
    EXPECT_TRUE(logged(c.m_nDuration == 1
                           ? "error The movie file could not be finished; the incomplete movie"
                           : "error Writing the movie failed; the recording was stopped"));
    EXPECT_EQ(kxFileContents(strMovie), older);
    EXPECT_EQ(partialFiles(strFolder), QStringList());
    EXPECT_EQ(kxFileContents(strOther), notes);
    expectRestored();
}

INSTANTIATE_TEST_SUITE_P(
    Targets, RecordingFullDiskTest,
    ::testing::Values(SFullCase{true, "full.mpg", 20}, SFullCase{true, "full.mp4", 20},
                      SFullCase{true, "short.mp4", 1}, SFullCase{false, "big.mpg", 20},
                      SFullCase{false, "big.mp4", 20}, SFullCase{false, "short.mov", 1}));
