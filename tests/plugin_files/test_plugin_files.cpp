// Saving and loading key frame files through the 3D Animation dialog of the plug-in, loaded
// through QPluginLoader into the real viewer. Files are chosen through the automation queue and
// messages read from the automation record, as a user at the screen would see them.
#include "CKXPluginTestFixture.h"
#include "CKXSampleScene.h"
#include "CKXUtilityFns.h"
#include "KeyFrameFileReader.h"

#include <csignal>
#include <pwd.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

class PluginFilesTest : public CKXPluginTestFixture
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_dir.isValid());
        startViewer(QSize(1400, 900));
        if (HasFatalFailure())
        {
            return;
        }
        ASSERT_TRUE(openDialog());
        ASSERT_TRUE(m_pList);
    }

    QString path(const QString& strName) const { return m_dir.filePath(strName); }

    // Save or load with the file dialog answering strFile (an empty name cancels).
    QStringList saveAs(const QString& strFile) { return runWithFile("m_pSaveAnimButton", strFile); }
    QStringList loadFrom(const QString& strFile)
    {
        return runWithFile("m_pLoadAnimButton", strFile);
    }

    QStringList runWithFile(const char* pszButton, const QString& strFile)
    {
        CKXAutomation::clearMessages();
        CKXAutomation::clearFileNames();
        CKXAutomation::enqueueFileName(strFile);
        click(pszButton);
        m_bDialogShown = CKXAutomation::pendingFileNames() == 0;
        CKXAutomation::clearFileNames();
        QStringList texts;
        for (const SKXRecordedMessage& message : CKXAutomation::messages())
        {
            texts << message.strText;
            EXPECT_EQ(message.strTitle, CKXUtilityFns::getAppName())
                << message.strText.toStdString();
        }
        return texts;
    }

    // Adds key frames that differ in view and display: rotation, translation, opacities and a
    // source's surface opacity change from one to the next; an organ is hidden in the second.
    void addDistinctKeyFrames(int nCount)
    {
        CKXGLView* pView = m_pA->glView();
        CKXSampleScene* pScene = m_pA->scene();
        for (int i = 0; i < nCount; ++i)
        {
            pView->setCurrentQuaternion(unitquaternion(0.3 + 0.4 * i, Vec3f(1, 2 - i, 0.5)));
            pView->setTranslationVector(Vec3f(10.25 * i, -3.5 * i, -20.0 - i));
            tag_s3Dcontrols controls = pScene->currentControls();
            controls.meshOpacity = 20 + 30 * i;
            controls.organOpacity = 90 - 25 * i;
            controls.meshColor = QColor(10 + i, 100 + i, 200 - i);
            controls.sourceControls[controls.name3].surfaceOpacity = 15 + 20 * i;
            pScene->applyControls(controls);
            pScene->updateMeshVisibility(pScene->organNames().value(0), i != 1);
            click("m_pAddKeyframeButton");
        }
        ASSERT_EQ(m_pList->count(), nCount);
    }

    QTemporaryDir m_dir;
    bool m_bDialogShown = false; // the last save or load asked for a file
};

const QString kSaved = QStringLiteral("Key frame animation saved.");
const QString kCannotLoad = QStringLiteral("Error. Couldn't load file.");
const QString kCannotSave = QStringLiteral("Error. Failed to save the file.");

} // namespace

TEST_F(PluginFilesTest, SavedListHoldsTheShownValuesAndLoadsBackIntoTheSequence)
{
    addDistinctKeyFrames(3);
    const tag_s3Dcontrols scene = m_pA->scene()->currentControls();

    const QString strFirst = path("first.vkf");
    EXPECT_EQ(saveAs(strFirst), QStringList(kSaved));
    const QByteArray first = kxFileContents(strFirst);
    ASSERT_TRUE(first.startsWith("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"));

    // The saved values are the ones put on screen.
    const SKeyFrameFileReadResult saved =
        CKeyFrameFileReader::read(QString::fromUtf8(first), scene);
    ASSERT_EQ(saved.m_listKeyFrames.size(), 3);
    for (int i = 0; i < 3; ++i)
    {
        const SSpKeyFrameAttributes& key = saved.m_listKeyFrames.at(i);
        EXPECT_DOUBLE_EQ(key.timeStamp, 50.0 * i);
        EXPECT_DOUBLE_EQ(key.translation.x(), 10.25 * i);
        EXPECT_EQ(key.controls.meshOpacity, 20 + 30 * i);
        EXPECT_EQ(key.controls.organOpacity, 90 - 25 * i);
        EXPECT_EQ(key.controls.meshColor, QColor(10 + i, 100 + i, 200 - i));
        EXPECT_EQ(key.controls.sourceControls.value(scene.name3).surfaceOpacity, 15 + 20 * i);
    }
    EXPECT_TRUE(first.contains("<Organ ")) << "captured organ visibility is written";

    // Load into a list that is first emptied. What a second save keeps and drops is the file
    // reader's and writer's round trip to check.
    deleteAction(1); // Delete All
    ASSERT_EQ(m_pList->count(), 0);
    EXPECT_TRUE(loadFrom(strFirst).isEmpty()) << "a successful load shows no message";
    EXPECT_EQ(rows(), QStringList({"Key Frame 1", "Key Frame 2", "Key Frame 3"}));
    EXPECT_EQ(m_pList->selectedItems().size(), 0);

    // The loaded key frames are what the dialog shows: the second one's camera.
    m_pList->setCurrentRow(1, QItemSelectionModel::ClearAndSelect);
    QApplication::processEvents();
    const unitquaternion shown = m_pA->glView()->getCurrentQuaternion();
    EXPECT_NEAR(shown.w(), saved.m_listKeyFrames.at(1).rotation.w(), 1e-9);
    EXPECT_NEAR(shown.y(), saved.m_listKeyFrames.at(1).rotation.y(), 1e-9);

    // The loaded list belongs to the sequence: it survives switching away and back.
    m_pMain->activateSequenceWindow(m_pMain->sequenceWindows().at(1));
    EXPECT_EQ(m_pList->count(), 0);
    m_pMain->activateSequenceWindow(m_pA);
    EXPECT_EQ(rows(), QStringList({"Key Frame 1", "Key Frame 2", "Key Frame 3"}));
}

TEST_F(PluginFilesTest, SaveRefusesShortListsAndReportsUnwritablePlaces)
{
    const QString strFile = path("refused.vkf");
    EXPECT_EQ(saveAs(strFile), QStringList("Cannot Save Empty Key Frame List."));
    EXPECT_FALSE(m_bDialogShown);
    addDistinctKeyFrames(1);
    EXPECT_EQ(saveAs(strFile),
              QStringList("A Valid Key frame list should have two or more Key frames."));
    EXPECT_FALSE(m_bDialogShown);
    EXPECT_FALSE(QFile::exists(strFile));

    click("m_pAddKeyframeButton");
    EXPECT_TRUE(saveAs(QString()).isEmpty()) << "a cancelled dialog shows nothing";
    EXPECT_TRUE(m_bDialogShown);
    EXPECT_FALSE(QFile::exists(strFile));

    // A folder that is a regular file cannot hold the key frame file, even for root.
    kxWriteFile(path("not-a-folder"), "x");
    EXPECT_EQ(saveAs(path("not-a-folder/keys.vkf")), QStringList(kCannotSave));
    EXPECT_EQ(kxFileContents(path("not-a-folder")), QByteArray("x"));
    EXPECT_EQ(m_pList->count(), 2);
}

TEST_F(PluginFilesTest, FailedSaveLeavesTheExistingFileByteForByte)
{
    addDistinctKeyFrames(3);
    const QString strFile = path("keep.vkf");
    const QByteArray old = QByteArray("<?xml version=\"1.0\"?>\n<!-- older save -->\n");
    kxWriteFile(strFile, old);

    // The file size limit stops the write part way, as a full disk would (root included).
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit original{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &original), 0);
    rlimit limited = original;
    limited.rlim_cur = 512;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limited), 0);
    const QStringList messages = saveAs(strFile);
    setrlimit(RLIMIT_FSIZE, &original);

    EXPECT_EQ(messages, QStringList(kCannotSave));
    EXPECT_EQ(kxFileContents(strFile), old);
    EXPECT_EQ(QDir(m_dir.path()).entryList(QDir::Files), QStringList("keep.vkf"))
        << "no partial file is left behind";

    // Without the limit the same save replaces the whole file.
    EXPECT_EQ(saveAs(strFile), QStringList(kSaved));
    EXPECT_NE(kxFileContents(strFile), old);
    EXPECT_FALSE(kxFileContents(strFile).contains("older save"));
}

TEST_F(PluginFilesTest, LoadRefusalsKeepTheList)
{
    addDistinctKeyFrames(2);
    EXPECT_EQ(loadFrom(path("missing.vkf")), QStringList(kCannotLoad));
    EXPECT_EQ(m_pList->count(), 2);

    // Larger than the reader accepts: refused before the list is touched (sparse, so cheap).
    const QString strHuge = path("huge.vkf");
    {
        QFile huge(strHuge);
        ASSERT_TRUE(huge.open(QIODevice::WriteOnly));
        ASSERT_TRUE(huge.resize(CKeyFrameFileReader::MAX_FILE_BYTES + 1));
    }
    EXPECT_EQ(loadFrom(strHuge), QStringList(kCannotLoad));
    EXPECT_EQ(rows(), QStringList({"Key Frame 1", "Key Frame 2"}));

    // A folder is not a key frame file either.
    EXPECT_EQ(loadFrom(m_dir.path()), QStringList(kCannotLoad));
    EXPECT_EQ(m_pList->count(), 2);

    EXPECT_TRUE(loadFrom(QString()).isEmpty());
    EXPECT_EQ(m_pList->count(), 2);
}

TEST_F(PluginFilesTest, LoadReplacesTheListAndRestartsNumbering)
{
    addDistinctKeyFrames(3);
    const QString strFile = path("two.vkf");
    QFile::copy(QStringLiteral(KX_TEST_DATA_DIR "/save_two_keyframes.vkf"), strFile);

    // Leave the list with a gap in its numbering: Key Frame 2 and Key Frame 3.
    m_pList->setCurrentRow(0, QItemSelectionModel::ClearAndSelect);
    deleteAction(0); // Delete Current
    ASSERT_EQ(rows(), QStringList({"Key Frame 2", "Key Frame 3"}));

    EXPECT_TRUE(loadFrom(strFile).isEmpty());
    EXPECT_EQ(rows(), QStringList({"Key Frame 1", "Key Frame 2"}));
}

TEST_F(PluginFilesTest, UnreadableDocumentsEmptyTheListWithoutAMessage)
{
    for (const char* pszName : {"not_xml.vkf", "truncated.vkf", "billion_laughs.vkf"})
    {
        SCOPED_TRACE(pszName);
        addDistinctKeyFrames(2);
        EXPECT_TRUE(loadFrom(QStringLiteral(KX_TEST_DATA_DIR "/") + pszName).isEmpty());
        EXPECT_EQ(m_pList->count(), 0);
    }
    // An older-generation file loads with its own key frames.
    EXPECT_TRUE(loadFrom(QStringLiteral(KX_TEST_DATA_DIR "/older_generation.vkf")).isEmpty());
    EXPECT_GT(m_pList->count(), 0);
}

// The file dialogs as the user sees them: captions, the key frame filter and its extension.
TEST_F(PluginFilesTest, FileDialogsOfferKeyFrameFiles)
{
    addDistinctKeyFrames(2);
    saveAs(QString());
    loadFrom(QString());
    const QList<SKXRecordedFileDialog> dialogs = CKXAutomation::fileDialogs();
    ASSERT_EQ(dialogs.size(), 2);
    EXPECT_TRUE(dialogs[0].bSave);
    EXPECT_EQ(dialogs[0].strCaption, "Save Key Frames");
    EXPECT_EQ(dialogs[0].listExtensions, QStringList("vkf"));
    EXPECT_FALSE(dialogs[1].bSave);
    EXPECT_EQ(dialogs[1].strCaption, "Load Key Frames");
    for (const SKXRecordedFileDialog& dialog : dialogs)
    {
        EXPECT_EQ(dialog.listFilters, QStringList("Tessaly Key Frame File (*.vkf)"));
    }
}

// A file the user may write, in a folder they may not (someone else's shared folder): the
// save rewrites the file in place. Root may write any folder, so the save runs in a child
// process as an unprivileged user; the child only calls the slot and exits, without touching
// the display connection it shares with this process.
TEST_F(PluginFilesTest, SaveRewritesAWritableFileInAFolderTheUserMayNotWrite)
{
    addDistinctKeyFrames(2);
    const passwd* pUser = getpwnam("nobody");
    ASSERT_NE(pUser, nullptr);
    ASSERT_NE(pUser->pw_uid, 0u);
    const uid_t nUid = pUser->pw_uid;
    const gid_t nGid = pUser->pw_gid;
    const QString strFolder = path("shared");
    ASSERT_TRUE(QDir().mkdir(strFolder));
    ASSERT_EQ(chmod(QFile::encodeName(m_dir.path()).constData(), 0755), 0);
    ASSERT_EQ(chmod(QFile::encodeName(strFolder).constData(), 0755), 0);
    const QString strMine = strFolder + "/mine.vkf";
    const QString strTheirs = strFolder + "/theirs.vkf";
    const QByteArray old = "<!-- an older and much longer save -->\n" + QByteArray(100000, ' ');
    kxWriteFile(strMine, old);
    kxWriteFile(strTheirs, old);
    ASSERT_EQ(chown(QFile::encodeName(strMine).constData(), nUid, nGid), 0);

    const pid_t nChild = fork();
    ASSERT_GE(nChild, 0);
    if (nChild == 0)
    {
        if (setgid(nGid) != 0 || setuid(nUid) != 0 ||
            access(QFile::encodeName(strFolder), W_OK) == 0)
        {
            _exit(100);
        }
        int nResult = 0;
        const QString cases[][2] = {{strMine, kSaved}, {strTheirs, kCannotSave}};
        for (int i = 0; i < 2; ++i)
        {
            CKXAutomation::clearMessages();
            CKXAutomation::enqueueFileName(cases[i][0]);
            QMetaObject::invokeMethod(m_pDlg, "onClickSaveAnimationButton", Qt::DirectConnection);
            const QList<SKXRecordedMessage> messages = CKXAutomation::messages();
            if (messages.size() != 1 || messages[0].strText != cases[i][1])
            {
                nResult |= 1 << i;
            }
        }
        _exit(nResult);
    }
    int nStatus = -1;
    ASSERT_EQ(waitpid(nChild, &nStatus, 0), nChild);
    ASSERT_TRUE(WIFEXITED(nStatus));
    EXPECT_EQ(WEXITSTATUS(nStatus), 0) << "1: not saved, 2: saved over a file the user may not "
                                          "write, 100: could not drop privileges";

    // The same list saved where nothing stands in the way: nothing of the older text is left.
    EXPECT_EQ(saveAs(path("reference.vkf")), QStringList(kSaved));
    EXPECT_EQ(kxFileContents(strMine), kxFileContents(path("reference.vkf")));
    struct stat info = {};
    ASSERT_EQ(stat(QFile::encodeName(strMine).constData(), &info), 0);
    EXPECT_EQ(info.st_uid, nUid) << "rewritten in place, not replaced";
    EXPECT_EQ(kxFileContents(strTheirs), old);
    EXPECT_EQ(QDir(strFolder).entryList(QDir::Files), QStringList({"mine.vkf", "theirs.vkf"}));
}

// Loading deletes the list (the view returns to its initial state) and then saves the view as
// the new initial state, even when the list was empty.
TEST_F(PluginFilesTest, LoadDeletesTheListThenSavesTheInitialView)
{
    CKXGLView* pView = m_pA->glView();
    const QString strOlder = QStringLiteral(KX_TEST_DATA_DIR "/older_generation.vkf");

    // An empty list: the view at load time, not the one the dialog opened on, is the new
    // initial state that Delete All returns to.
    const unitquaternion q0(0.7, Vec3f(1, 0, 0));
    pView->setCurrentQuaternion(q0);
    EXPECT_TRUE(loadFrom(strOlder).isEmpty());
    ASSERT_EQ(m_pList->count(), 2);
    selectRow(1);
    deleteAction(1); // Delete All
    expectRotationNear(pView->getCurrentQuaternion(), q0, 1e-9);

    // A list on screen, its second key frame shown: deleted first, so the first key frame's
    // view (the initial one) is back before it is saved again.
    const unitquaternion q1(1.2, Vec3f(0, 1, 0));
    pView->setCurrentQuaternion(q1);
    click("m_pAddKeyframeButton");
    pView->setCurrentQuaternion(unitquaternion(2.0, Vec3f(0, 0, 1)));
    click("m_pAddKeyframeButton");
    selectRow(1);
    EXPECT_TRUE(loadFrom(strOlder).isEmpty());
    ASSERT_EQ(rows(), QStringList({"Key Frame 1", "Key Frame 2"}));
    expectRotationNear(pView->getCurrentQuaternion(), q1, 1e-9);
    selectRow(0);
    deleteAction(1); // Delete All
    expectRotationNear(pView->getCurrentQuaternion(), q1, 1e-9);
}
