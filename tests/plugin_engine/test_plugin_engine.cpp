// Presets, playback and movie recording of the 3D Animation plug-in, loaded through
// QPluginLoader into the real viewer and driven through the dialog's widgets and slots.
#include "../common/KXTestGeometry.h"
#include "C3DMesh.h"
#include "CKXPluginTestFixture.h"
#include "CKXSMovieExporter.h"
#include "CKXSampleScene.h"
#include "CKXUtilityFns.h"
#include "KXSceneDescription.h"
#include "PLConstants.h"

#include <QComboBox>
#include <QImage>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTranslator>

namespace
{

const QSize VIEW_SIZE(321, 241); // odd on purpose: the movie must become 322 x 242

// A subject with two organs and one surface source of each given name.
SKXSceneDescription sceneWithSurfaceSources(const QStringList& sourceNames)
{
    SKXSceneDescription d;
    d.subject = std::make_shared<SKXSurfaceData>(
        SKXSurfaceData{"", QColor(), kxTetrahedron(QVector3D(), 30.0f), {}, {}});
    d.organs.push_back({"Heart", QColor(), kxTetrahedron(QVector3D(3, 2, 1), 4.0f), {}, {}});
    d.organs.push_back({"Liver", QColor(), kxTetrahedron(QVector3D(-4, -2, 0), 5.0f), {}, {}});
    float fX = -8.0f;
    for (const QString& strName : sourceNames)
    {
        SKXSourceData source;
        source.name = strName;
        source.surfaces.push_back(
            {"", QColor(), kxTetrahedron(QVector3D(fX += 4.0f, 0, 0), 1.5f), {}, {}});
        d.sources.push_back(source);
    }
    return d;
}

class PluginEngineTest : public CKXPluginTestFixture
{
protected:
    void SetUp() override
    {
        openDialogOnView(VIEW_SIZE);
        if (HasFatalFailure())
        {
            return;
        }
        ASSERT_EQ(m_pView->size(), VIEW_SIZE);
        m_pDuration->setValue(1);
    }

    void preset(const QString& strText, int nFrameFactor = 1)
    {
        m_pDlg->findChild<QSpinBox*>("m_pFrameFactorSpinBox")->setValue(nFrameFactor);
        QComboBox* pCombo = m_pDlg->findChild<QComboBox*>("m_pAnimationsCB");
        pCombo->setCurrentIndex(pCombo->findText(strText));
        ASSERT_EQ(pCombo->currentText(), strText);
        QMetaObject::invokeMethod(m_pDlg, "onActivateAnimationsCB");
    }

    CKXSequenceWindowImpl* openScene(const QStringList& sourceNames, const QString& strName)
    {
        CKXSequenceWindowImpl* pWindow = m_pMain->openSequence(
            new CKXSampleScene(sceneWithSurfaceSources(sourceNames)), strName, "hand-made");
        QApplication::processEvents();
        return pWindow;
    }

    // X shows source A, Y shows A and B. Adds nAdds key frames in X with the time scale at 30,
    // then leaves the dialog on X's list while Y is the active window: the next Add captures
    // Y's view into X's list and binds the dialog to Y.
    void openTwoScenesAndAddInX(CKXSequenceWindowImpl*& pX, CKXSequenceWindowImpl*& pY, int nAdds)
    {
        pX = openScene({"SourceSurface_A"}, "X");
        pY = openScene({"SourceSurface_A", "SourceSurface_B"}, "Y");
        m_pMain->activateSequenceWindow(pX);
        ASSERT_EQ(m_pList->count(), 0);
        m_pTimeSpin->setValue(30);
        setSource(pX, "SourceSurface_A", true, 30);
        for (int i = 0; i < nAdds; ++i)
        {
            click("m_pAddKeyframeButton");
        }
        m_pMain->activateSequenceWindow(pY);
        m_pPlugin->onSignalSequenceChanged(pX->getSequenceDataset());
        ASSERT_EQ(m_pList->count(), nAdds);
    }

    static void setSource(CKXSequenceWindowImpl* pWindow, const QString& strSource, bool bVisible,
                          int nOpacity)
    {
        tag_s3Dcontrols controls = pWindow->scene()->currentControls();
        ASSERT_TRUE(controls.sourceControls.contains(strSource));
        controls.sourceControls[strSource].surfaceVisible = bVisible;
        controls.sourceControls[strSource].surfaceOpacity = nOpacity;
        pWindow->scene()->applyControls(controls);
    }

    static tag_s3DSourceControls source(CKXSequenceWindowImpl* pWindow, const QString& strSource)
    {
        return pWindow->scene()->currentControls().sourceControls.value(strSource);
    }
};

// Gives a few texts of the form and of the delete menu another wording.
class CRenamingTranslator : public QTranslator
{
public:
    bool isEmpty() const override { return false; }
    QString translate(const char*, const char* pszSource, const char*, int) const override
    {
        const QString strSource = QString::fromLatin1(pszSource);
        if (strSource == "Spin CW on X-Axis" || strSource == "Delete All" || strSource == "   Play")
        {
            return "<" + strSource + ">";
        }
        return QString();
    }
};

} // namespace

// The key frames' values are the preset builder's to check; here the dialog hands it the view's
// camera, size, display and the frame factor, raises the rate within the box's range and stops
// at the list limit.
TEST_F(PluginEngineTest, PresetsAddKeyFramesBuiltFromTheView)
{
    m_pView->setTranslationVector(Vec3f(5, 5, -900));
    preset("Zoomin from Top-Left");
    ASSERT_EQ(m_pList->count(), 2);
    selectRow(1);
    const Vec3f reset = m_pView->getTranslationVector();
    EXPECT_NE(reset.z(), -900.0);
    selectRow(0);
    EXPECT_EQ(m_pView->getTranslationVector(), Vec3f(-160.0, 120.0, reset.z() - 350.0));

    // Key frames at stamp 0 keep the display on screen, so read the end of the fade.
    tag_s3Dcontrols controls = m_pA->scene()->currentControls();
    controls.meshOpacity = 40;
    m_pA->scene()->applyControls(controls);
    preset("Fade In - Mesh");
    ASSERT_EQ(m_pList->count(), 4);
    selectRow(2);
    EXPECT_EQ(m_pA->scene()->currentControls().meshOpacity, 40);
    EXPECT_EQ(m_pFps->value(), 10);

    // 13 more with frame factor 3: 17 key frames in one second need 18 frames per second.
    m_pFps->setMaximum(60);
    preset("Spin CW on Y-Axis", 3);
    ASSERT_EQ(m_pList->count(), 17);
    EXPECT_EQ(m_pFps->value(), 18);

    // The list limit stops the next spin part-way and keeps what it added; the rate it asks
    // for (52) is clamped by the box's range.
    m_pFps->setMaximum(30);
    preset("Spin CCW on Z-Axis", 10);
    EXPECT_EQ(m_pList->count(), 51);
    EXPECT_EQ(CKXAutomation::messages().size(), 1);
    EXPECT_EQ(m_pFps->value(), 30);
}

TEST_F(PluginEngineTest, PlaybackRunsToTheEndOrStopsAndAlwaysReturnsToIdle)
{
    button("m_pPlayButton")->click();
    EXPECT_EQ(CKXAutomation::messages().value(0).strText,
              "Animation requires two or more keyframes.");

    const unitquaternion q(1.0, Vec3f(0, 1, 0));
    addTwoKeyFrames(q);
    bool bStopFaceSeen = false;
    whileRunning(
        [&]
        {
            bStopFaceSeen = button("m_pPlayButton")->text() == "   Stop";
            return m_pView->isKFAnimating();
        });
    button("m_pPlayButton")->click();
    EXPECT_TRUE(bStopFaceSeen);
    expectIdle();
    EXPECT_EQ(progressText(), "Playing [10 of 10] frames.");
    EXPECT_EQ(m_pList->currentRow(), 1);

    // A second click stops at the next frame; so does the host's Abort.
    m_pDuration->setValue(100);
    whileRunning(
        [&]
        {
            const bool bClick = progressText().startsWith("Playing [3 of ");
            if (bClick)
            {
                button("m_pPlayButton")->click();
            }
            return bClick;
        });
    button("m_pPlayButton")->click();
    EXPECT_TRUE(progressText().startsWith("Playing [3 of ")) << progressText().toStdString();
    expectIdle();

    CKXAutomation::abortAfterMessages(4); // two generation messages, then frames 1 and 2
    button("m_pPlayButton")->click();
    EXPECT_TRUE(progressText().startsWith("Playing [2 of ")) << progressText().toStdString();
    expectIdle();
    EXPECT_EQ(CKXAutomation::messages().size(), 1);
}

TEST_F(PluginEngineTest, RecordingKeepsTheUsersRateAndSkipsUnknownTypesSilently)
{
    QTemporaryDir dir;
    dir.setAutoRemove(qEnvironmentVariableIsEmpty("KX_KEEP_TEST_MOVIES"));
    addTwoKeyFrames(unitquaternion(1.5, Vec3f(0, 1, 0)));
    // The user's rate (here widened beyond the form's range) must not make the movie longer.
    m_pFps->setMaximum(30);
    m_pFps->setValue(25);
    QSignalSpy spy(m_pFps, SIGNAL(valueChanged(int)));

    const QString strMovie = dir.filePath("spin.mp4");
    CKXAutomation::enqueueFileName(strMovie);
    button("m_pRecordButton")->click();
    expectIdle();
    EXPECT_EQ(progressText(), "Playing and Recording [10 of 10] frames.");
    EXPECT_EQ(m_pFps->value(), 25);
    EXPECT_EQ(spy.count(), 0);
    // Frame count and size are checked with the encoder's arguments; the rate shows here.
    EXPECT_NEAR(probeMovie(strMovie).value("duration").toDouble(), 1.0, 0.05);

    // Any other extension runs through all frames and writes nothing, silently.
    const QString strAvi = dir.filePath("spin.avi");
    CKXAutomation::enqueueFileName(strAvi);
    button("m_pRecordButton")->click();
    EXPECT_EQ(progressText(), "Playing and Recording [10 of 10] frames.");
    EXPECT_FALSE(QFile::exists(strAvi));
    EXPECT_TRUE(CKXAutomation::messages().isEmpty());
    EXPECT_TRUE(CKXLogFile::recentLines().filter("11:05:38").isEmpty());
}

// Stops and aborts with an older movie of the chosen name are RecordingFaultsTest's; here the
// encoder cannot create the movie at all.
TEST_F(PluginEngineTest, AMovieThatCannotBeCreatedEndsTheRecordingAtTheFirstFrame)
{
    QTemporaryDir dir;
    addTwoKeyFrames(unitquaternion(1.5, Vec3f(0, 1, 0)));
    CKXAutomation::enqueueFileName(dir.filePath("missing/folder.mp4"));
    button("m_pRecordButton")->click();
    EXPECT_EQ(progressText(), "Playing and Recording [1 of 10] frames.");
    EXPECT_TRUE(logged("error The movie file could not be created. [at 11:05:38]"));
    EXPECT_FALSE(QFile::exists(dir.filePath("missing")));
    expectIdle();
}

// What the host is handed while playing and recording: the Stop faces' tooltips, the long
// process types, input left enabled, the encoder's constant arguments, an even movie size for
// odd frames, the Latin-1 form of the name, and an upper-case extension that still records.
TEST_F(PluginEngineTest, PlayAndRecordHandTheHostItsExpectedArguments)
{
    QTemporaryDir dir;
    addTwoKeyFrames(unitquaternion(1.5, Vec3f(0, 1, 0)));
    QStringList tips;
    QStringList progress;
    bool bInputBlocked = false;
    const auto watch = [&](const char* pszButton)
    {
        whileRunning(
            [&, pszButton]
            {
                tips << button(pszButton)->toolTip();
                progress << progressText();
                bInputBlocked = bInputBlocked || CKXProgressDisplay::instance()->isInputBlocked();
                return !CKXProgressDisplay::instance()->isRunning() && !tips.isEmpty() &&
                       button(pszButton)->text() != "   Stop";
            });
    };

    watch("m_pPlayButton");
    button("m_pPlayButton")->click();
    EXPECT_TRUE(tips.contains(" Stop Playing "));
    EXPECT_TRUE(progress.contains("10 Animation frames generated."));
    EXPECT_EQ(button("m_pPlayButton")->toolTip(), "Play the currently defined key frame animation");
    EXPECT_FALSE(bInputBlocked || CKXProgressDisplay::instance()->isInputBlocked());

    tips.clear();
    const QString strAsked = dir.filePath(QString::fromUtf8("spin\u03a9.MOV"));
    const QString strWritten = dir.filePath("spin?.MOV");
    CKXAutomation::enqueueFileName(strAsked);
    watch("m_pRecordButton");
    button("m_pRecordButton")->click();
    QApplication::processEvents(); // the watchers see the idle faces and stop
    expectIdle();
    EXPECT_TRUE(tips.contains(" Stop Recording "));
    EXPECT_EQ(button("m_pRecordButton")->toolTip(),
              "Record the currently defined key frame animation");
    EXPECT_EQ(CKXAutomation::processTypes(), QList<int>({512, 1024}));

    const QList<SKXRecordedFileDialog> dialogs = CKXAutomation::fileDialogs();
    ASSERT_EQ(dialogs.size(), 1);
    EXPECT_EQ(dialogs[0].strCaption, "Record Animation");
    EXPECT_EQ(dialogs[0].listFilters, CKXSMovieExporter::getFilterList());
    EXPECT_EQ(dialogs[0].listExtensions, CKXSMovieExporter::getExtensionList());

    const QList<SKXRecordedMovie> movies = CKXAutomation::movies();
    ASSERT_EQ(movies.size(), 1);
    EXPECT_EQ(movies[0].strFileName, strWritten);
    EXPECT_EQ(movies[0].size, QSize(322, 242));
    EXPECT_EQ(movies[0].lastFrameSize, VIEW_SIZE) << "the frame itself is not scaled";
    EXPECT_EQ(movies[0].nFrames, 10);
    EXPECT_EQ(movies[0].nBitRate, 1000000u);
    EXPECT_EQ(movies[0].nKeyFrameInterval, 20u);
    EXPECT_EQ(movies[0].nQuality, 25);
    EXPECT_EQ(probeMovie(strWritten).value("nb_read_frames"), "10");
    EXPECT_FALSE(QFile::exists(strAsked));
}

// Each refusal in the host's words, titled with the application's name, and nothing recorded.
TEST_F(PluginEngineTest, RecordRefusalsSayWhyAndWriteNothing)
{
    QTemporaryDir dir;
    button("m_pAddKeyframeButton")->click();
    button("m_pRecordButton")->click();
    CKXAutomation::setNoMovieTypes(true);
    button("m_pRecordButton")->click();
    CKXAutomation::setNoMovieTypes(false);
    const QList<SKXRecordedMessage> messages = CKXAutomation::messages();
    ASSERT_EQ(messages.size(), 2);
    EXPECT_EQ(messages[0].strText, "Animation requires two or more keyframes.");
    EXPECT_EQ(messages[1].strText, "Recording requires .avi or .mov support.");
    for (const SKXRecordedMessage& message : messages)
    {
        EXPECT_EQ(message.strTitle, CKXUtilityFns::getAppName());
    }
    EXPECT_TRUE(CKXAutomation::fileDialogs().isEmpty());

    // Past the dialog: a hidden view, and a host that reports a choice without a name.
    m_pView->setCurrentQuaternion(unitquaternion(1.0, Vec3f(1, 0, 0)));
    button("m_pAddKeyframeButton")->click();
    CKXLogFile::clearRecentLines();
    m_pView->hide();
    CKXAutomation::enqueueFileName(dir.filePath("hidden.mp4"));
    button("m_pRecordButton")->click();
    m_pView->show();
    CKXAutomation::enqueueEmptyChoice();
    button("m_pRecordButton")->click();
    EXPECT_TRUE(
        logged("warning Movie recording support is available only for 3D view. [at 11:05:38]"));
    EXPECT_TRUE(
        logged("error Please select a valid file name to save the movie file [at 11:05:38]"));
    EXPECT_TRUE(CKXAutomation::movies().isEmpty());
    EXPECT_TRUE(QDir(dir.path()).isEmpty());
    expectIdle();
}

TEST_F(PluginEngineTest, ALanguageChangeRenamesInPlaceAndKeepsTheStopFace)
{
    QComboBox* pCombo = m_pDlg->findChild<QComboBox*>("m_pAnimationsCB");
    QMenu* pMenu = m_pDlg->findChild<QToolButton*>("m_pDeleteKeyframesButton")->menu();
    CRenamingTranslator translator;
    QApplication::installTranslator(&translator);
    QApplication::processEvents(); // the change reaches windows as a posted event
    EXPECT_EQ(pCombo->itemText(0), "<Spin CW on X-Axis>");
    EXPECT_EQ(pCombo->count(), 23);
    EXPECT_EQ(button("m_pPlayButton")->text(), "<   Play>");
    EXPECT_EQ(pMenu->defaultAction()->text(), "<Delete All>");
    addTwoKeyFrames(unitquaternion(1.0, Vec3f(0, 1, 0)));
    pMenu->defaultAction()->trigger(); // the renamed entry still deletes all
    EXPECT_EQ(m_pList->count(), 0);

    // Mid-playback the running button keeps its Stop face, so the next click still stops.
    addTwoKeyFrames(unitquaternion(1.0, Vec3f(0, 1, 0)));
    m_pDuration->setValue(100);
    QString strFace;
    whileRunning(
        [&]
        {
            if (!progressText().startsWith("Playing [3 of "))
            {
                return false;
            }
            QApplication::removeTranslator(&translator);
            QApplication::processEvents();
            strFace = button("m_pPlayButton")->text();
            button("m_pPlayButton")->click();
            return true;
        });
    button("m_pPlayButton")->click();
    EXPECT_EQ(strFace, "   Stop");
    EXPECT_TRUE(progressText().startsWith("Playing [3 of ")) << progressText().toStdString();
    expectIdle();
    EXPECT_EQ(pCombo->itemText(0), "Spin CW on X-Axis");
}

TEST_F(PluginEngineTest, ClosingOrSwitchingSequencesWhileRunning)
{
    addTwoKeyFrames(unitquaternion(1.0, Vec3f(0, 1, 0)));
    m_pDuration->setValue(5);
    // Closing while playing leaves the dialog open; the playback goes on.
    bool bClosed = true;
    whileRunning(
        [&]
        {
            if (!progressText().startsWith("Playing [3 of "))
            {
                return false;
            }
            bClosed = m_pDlg->close();
            return true;
        });
    button("m_pPlayButton")->click();
    EXPECT_FALSE(bClosed);
    EXPECT_TRUE(m_pDlg->isVisible());
    EXPECT_TRUE(QRegularExpression(R"(^Playing \[(\d+) of \1\] frames\.$)")
                    .match(progressText())
                    .hasMatch())
        << progressText().toStdString();

    // Switching the sequence stops playback and recording at the next frame.
    QTemporaryDir dir;
    for (const char* pszButton : {"m_pPlayButton", "m_pRecordButton"})
    {
        m_pMain->activateSequenceWindow(m_pA);
        ASSERT_EQ(m_pList->count(), 2);
        const bool bRecord = QByteArray(pszButton) == "m_pRecordButton";
        const QString strPrefix = bRecord ? "Playing and Recording [3 of " : "Playing [3 of ";
        CKXAutomation::enqueueFileName(dir.filePath("switch.mp4"));
        whileRunning(
            [&]
            {
                const bool bSwitch = progressText().startsWith(strPrefix);
                if (bSwitch)
                {
                    m_pMain->activateSequenceWindow(m_pB);
                }
                return bSwitch;
            });
        button(pszButton)->click();
        EXPECT_TRUE(progressText().startsWith(strPrefix)) << progressText().toStdString();
        expectIdle();
        CKXAutomation::clearFileNames();
    }

    // Closing while idle hides the dialog and keeps it.
    EXPECT_FALSE(m_pDlg->close());
    EXPECT_FALSE(m_pDlg->isVisible());
}

// Each recorded frame is drawn once (by the grab; the repaint after it reuses the picture) and
// is what a fresh draw of the same state gives: no change between frames is missed. At each
// progress step the view still holds the state of the frame recorded last.
TEST_F(PluginEngineTest, EachRecordedFrameIsDrawnOnceAndIsAFreshDrawOfItsState)
{
    QTemporaryDir dir;
    C3DMesh* pMesh = m_pView->scene()->surfaceMesh();
    pMesh->setOpacity(0.9f);
    button("m_pAddKeyframeButton")->click();
    pMesh->setOpacity(0.3f); // each frame changes the scene and the camera
    m_pView->setCurrentQuaternion(unitquaternion(1.5, Vec3f(0, 1, 0)));
    button("m_pAddKeyframeButton")->click();
    ASSERT_EQ(m_pList->count(), 2);

    QString strLastStep;
    int nChecked = 0;
    int nStale = 0;
    int nFirstRenders = -1;
    int nRenders = -1;
    whileRunning(
        [&]
        {
            const QString strStep = progressText();
            if (!m_pView->isKFRecording() || strStep == strLastStep ||
                !strStep.startsWith("Playing and Recording [") ||
                strStep.startsWith("Playing and Recording [1 of"))
            {
                return !m_pView->isKFRecording() && nChecked > 0;
            }
            strLastStep = strStep;
            nRenders = m_pView->renderCount();
            if (nFirstRenders < 0)
                nFirstRenders = nRenders;
            const QImage recorded =
                m_pView->grabFramebuffer().convertToFormat(QImage::Format_RGB32);
            EXPECT_EQ(m_pView->renderCount(), nRenders) << "nothing changed since the grab";
            const QImage fresh = m_pView->renderFreshFrame();
            EXPECT_EQ(recorded.size(), fresh.size());
            for (int y = 0; y < recorded.height() && y < fresh.height(); ++y)
                for (int x = 0; x < recorded.width() && x < fresh.width(); ++x)
                    if (((recorded.pixel(x, y) ^ fresh.pixel(x, y)) & 0xffffff) != 0)
                    {
                        ++nStale;
                        y = recorded.height();
                        break;
                    }
            ++nChecked;
            return false;
        });
    CKXAutomation::enqueueFileName(dir.filePath("once.mp4"));
    button("m_pRecordButton")->click();
    expectIdle();
    EXPECT_EQ(progressText(), "Playing and Recording [10 of 10] frames.");
    EXPECT_EQ(nChecked, 9); // frames 1 to 9, each checked before the next is applied
    EXPECT_EQ(nStale, 0) << "recorded frames that differ from a fresh draw";
    EXPECT_EQ(nRenders - nFirstRenders, 8) << "draws for frames 2 to 9";
}

// The list selection, organ visibility, organ modes and palette update are applied once per
// source entry, so a key frame of a scene without sources applies none of them.
TEST_F(PluginEngineTest, AKeyFrameWithoutSourcesLeavesOrgansSelectionAndPaletteAlone)
{
    CKXSequenceWindowImpl* pWindow = openScene({}, "no sources");
    CKXSampleScene* pScene = pWindow->scene();
    ASSERT_TRUE(pScene->currentControls().sourceControls.isEmpty());
    ASSERT_EQ(m_pList->count(), 0);
    pScene->updateMeshVisibility("Heart", false);
    pScene->setRenderMode(1, PLConstants::_3DORGANS);
    click("m_pAddKeyframeButton");
    m_pView = pWindow->glView();
    m_pView->setCurrentQuaternion(unitquaternion(1.0, Vec3f(0, 1, 0)));
    click("m_pAddKeyframeButton");
    ASSERT_EQ(m_pList->count(), 2);
    pScene->updateMeshVisibility("Heart", true);
    pScene->setRenderMode(2, PLConstants::_3DORGANS);

    QSignalSpy spy(pWindow, SIGNAL(signalUpdate3DToolsPalette(SSpKeyFrameAttributes, bool)));
    selectRow(1);
    expectRotationNear(m_pView->getCurrentQuaternion(), unitquaternion(1.0, Vec3f(0, 1, 0)), 1e-9);
    EXPECT_TRUE(pScene->organsVisibility().value("Heart"));
    EXPECT_TRUE(pScene->currentControls().organRenderSolid);
    EXPECT_EQ(spy.count(), 0);

    // Playback moves no list selection either; the palette only returns to the live settings
    // at its end.
    m_pList->setCurrentRow(-1);
    click("m_pPlayButton");
    expectIdle();
    EXPECT_EQ(m_pList->currentRow(), -1);
    EXPECT_TRUE(pScene->organsVisibility().value("Heart"));
    ASSERT_EQ(spy.count(), 1);
    EXPECT_TRUE(spy.at(0).at(1).toBool());
}

// Applying first hides the sources the scene shows now, whatever the key frame carries.
TEST_F(PluginEngineTest, ApplyHidesTheSourcesOfTheSceneNotOfTheKeyFrame)
{
    CKXSequenceWindowImpl* pX = nullptr;
    CKXSequenceWindowImpl* pY = nullptr;
    openTwoScenesAndAddInX(pX, pY, 2);
    setSource(pY, "SourceSurface_A", false, 80);
    setSource(pY, "SourceSurface_B", true, 80);
    click("m_pAddKeyframeButton"); // captured in Y, which the dialog now applies to
    ASSERT_EQ(m_pList->count(), 3);

    selectRow(1); // X's second key frame, at stamp 50
    EXPECT_FALSE(source(pY, "SourceSurface_B").surfaceVisible) << "only Y's controls name it";
    EXPECT_TRUE(source(pY, "SourceSurface_A").surfaceVisible);
    EXPECT_EQ(source(pY, "SourceSurface_A").surfaceOpacity, 30);
}

// A source that only a later key frame brings in joins the initial view, so that returning
// to it sets that source too; the sources it had keep the values saved with it.
TEST_F(PluginEngineTest, ASourceBroughtInLaterJoinsTheInitialView)
{
    // Saved at stamp 30, the initial view is applied with its own display (at stamp 0 it would
    // take the one on screen).
    CKXSequenceWindowImpl* pX = nullptr;
    CKXSequenceWindowImpl* pY = nullptr;
    openTwoScenesAndAddInX(pX, pY, 1);
    setSource(pY, "SourceSurface_A", true, 70);
    setSource(pY, "SourceSurface_B", true, 65);
    click("m_pAddKeyframeButton");
    ASSERT_EQ(m_pList->count(), 2);
    setSource(pY, "SourceSurface_B", true, 10);

    selectRow(0);
    ASSERT_EQ(source(pY, "SourceSurface_B").surfaceOpacity, 10);
    m_pList->currentItem()->setSelected(false);
    EXPECT_TRUE(source(pY, "SourceSurface_B").surfaceVisible);
    EXPECT_EQ(source(pY, "SourceSurface_B").surfaceOpacity, 65);
    EXPECT_EQ(source(pY, "SourceSurface_A").surfaceOpacity, 30);
}

// Saving names the sources of the scene the dialog is bound to, not those of each record: key
// frames captured in a scene without source B still get an element for B.
TEST_F(PluginEngineTest, SaveNamesTheBoundScenesSourcesNotTheRecords)
{
    CKXSequenceWindowImpl* pX = nullptr;
    CKXSequenceWindowImpl* pY = nullptr;
    openTwoScenesAndAddInX(pX, pY, 2); // two records of X, which has source A only
    click("m_pAddKeyframeButton");     // one of Y, with A and B; the dialog is bound to Y now
    ASSERT_EQ(m_pList->count(), 3);
    QTemporaryDir dir;
    const QString strFile = dir.filePath("sources.vkf");
    CKXAutomation::enqueueFileName(strFile);
    click("m_pSaveAnimButton");
    const QString strText = QString::fromUtf8(kxFileContents(strFile));
    EXPECT_EQ(strText.count("source_list_count=\"2\""), 3);
    EXPECT_EQ(strText.count("source_name=\"SourceSurface_A\""), 3);
    EXPECT_EQ(strText.count("source_name=\"SourceSurface_B\""), 3);
}

// Loading starts every key frame from the scene's controls as they are after "Delete All" has
// shown the initial view again: a source the file does not name gets the initial view's
// setting, not the one that was on screen before the load.
TEST_F(PluginEngineTest, LoadedKeyFramesStartFromTheSceneAfterTheDeletion)
{
    CKXSequenceWindowImpl* pX = openScene({"SourceSurface_A", "SourceSurface_B"}, "X");
    m_pMain->activateSequenceWindow(pX);
    m_pTimeSpin->setValue(30);
    setSource(pX, "SourceSurface_B", true, 30);
    click("m_pAddKeyframeButton"); // the initial view: B at 30
    click("m_pAddKeyframeButton");
    setSource(pX, "SourceSurface_B", true, 70); // on screen before the load

    QByteArray keyFrames;
    for (const char* pszStamp : {"0", "100"})
        keyFrames += QByteArray("<KeyFrame time_stamp=\"") + pszStamp +
                     "\" source_list_count=\"1\"><source_0 source_name=\"SourceSurface_A\" "
                     "sourcesurf_group_state=\"1\" sourcesurf_opacity=\"50\"/></KeyFrame>\n";
    loadKeyFrames(keyFrames);
    ASSERT_EQ(m_pList->count(), 2);
    selectRow(1); // stamp 100: its own settings apply
    EXPECT_EQ(source(pX, "SourceSurface_A").surfaceOpacity, 50);
    EXPECT_EQ(source(pX, "SourceSurface_B").surfaceOpacity, 30);
}
