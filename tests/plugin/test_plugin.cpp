// The 3D Animation plug-in loaded through QPluginLoader into the real viewer main window with
// its two sample sequences. Everything is driven through the plug-in's action, the dialog's
// widgets and slots, and read back from the viewer's scene and 3D view.
#include "CKXPluginTestFixture.h"
#include "CKXSampleScene.h"

#include <QAbstractItemView>
#include <QComboBox>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPointer>
#include <QSignalSpy>
#include <QStyle>
#include <QStyleFactory>
#include <QStyleOptionComboBox>

#include <memory>

namespace
{

class PluginTest : public CKXPluginTestFixture
{
protected:
    void SetUp() override { startViewer(QSize(1400, 900)); }

    // Selects a row as a click would; the dialog applies the key frame and shows its stamp.
    int selectRow(int nRow)
    {
        CKXPluginTestFixture::selectRow(nRow);
        return m_pTimeSpin->value();
    }

    // Runs the delete slot with an action of that text, as the delete menu would.
    void deleteByText(const QString& strText)
    {
        QAction action(strText);
        QMetaObject::invokeMethod(m_pDlg, "onSelectDeleteKeyframesPopup", Q_ARG(QAction*, &action));
    }

    // Whether a plug-in handler hid the dialog since it was created (hiding a hidden widget
    // changes nothing else that can be seen).
    static bool wasHidden(const QWidget* pDlg)
    {
        return pDlg->testAttribute(Qt::WA_WState_ExplicitShowHide) && pDlg->isHidden();
    }
};

} // namespace

TEST_F(PluginTest, ToolIsEnabledOnlyOnThe3DViewTabWhateverTheLetterCase)
{
    QAction* pAction = m_pPlugin->pluginAction();
    EXPECT_EQ(pAction, m_pPlugin->pluginAction());
    EXPECT_EQ(pAction->text(), "3D Animation");
    EXPECT_TRUE(pAction->isEnabled());

    QWidget* pDlg = openDialog();
    ASSERT_TRUE(pDlg);
    EXPECT_TRUE(pDlg->isVisible());
    emit m_pA->updatePluginPalette("3D View "); // a trailing blank is another tab
    EXPECT_FALSE(pAction->isEnabled());
    EXPECT_FALSE(pDlg->isVisible());
    emit m_pA->updatePluginPalette("3d VIEW");
    EXPECT_TRUE(pAction->isEnabled());

    // Switching to a sequence showing another tab disables the tool, hides the dialog and still
    // binds it. The tab changes are made quietly, so that the sequence handler alone acts.
    ASSERT_EQ(openDialog(), pDlg);
    click("m_pAddKeyframeButton");
    {
        const QSignalBlocker quiet(m_pB);
        m_pB->setCurrentTab("Image");
    }
    m_pMain->activateSequenceWindow(m_pB);
    EXPECT_FALSE(pAction->isEnabled());
    EXPECT_FALSE(pDlg->isVisible());
    EXPECT_EQ(m_pList->count(), 0);
    {
        const QSignalBlocker quiet(m_pB);
        m_pB->setCurrentTab("3d view");
    }
    m_pPlugin->onSignalSequenceChanged(m_pB->getSequenceDataset());
    EXPECT_TRUE(pAction->isEnabled());
}

TEST_F(PluginTest, DatasetChangeDisablesUnbindsAndHidesOnlyAnExactlyMinimisedDialog)
{
    // Created but never shown, and minimised as well as maximised.
    ASSERT_TRUE(m_pPlugin->createObject());
    QWidget* pDlg = m_pMain->adoptedWidgets().value(0);
    ASSERT_TRUE(pDlg);
    ASSERT_FALSE(wasHidden(pDlg));
    pDlg->setWindowState(Qt::WindowMinimized | Qt::WindowMaximized);
    m_pPlugin->onSignalDatasetChanged(nullptr);
    EXPECT_FALSE(m_pPlugin->pluginAction()->isEnabled());
    emit m_pA->updatePluginPalette("Image");
    EXPECT_FALSE(wasHidden(pDlg)); // both test for a state of exactly "minimised"
    m_pA->setCurrentTab("Image");
    m_pPlugin->onSignalSequenceChanged(m_pA->getSequenceDataset());
    EXPECT_TRUE(wasHidden(pDlg)); // the sequence handler takes any minimised state

    // Unbound: what changes now belongs to no sequence.
    m_pA->setCurrentTab("3D View");
    ASSERT_EQ(openDialog(), pDlg);
    m_pDuration->setValue(8);
    m_pPlugin->onSignalDatasetChanged(nullptr);
    EXPECT_FALSE(m_pPlugin->pluginAction()->isEnabled());
    EXPECT_FALSE(pDlg->isVisible());
    m_pDuration->setValue(3);
    m_pMain->activateSequenceWindow(m_pB);
    m_pMain->activateSequenceWindow(m_pA);
    EXPECT_EQ(m_pDuration->value(), 8);
}

TEST_F(PluginTest, OneFixedSizeDialogThatDiesWithThePlugin)
{
    QPointer<QWidget> pDlg = openDialog();
    ASSERT_TRUE(pDlg);
    pDlg->close(); // only hides
    EXPECT_EQ(openDialog(), pDlg.data());
    EXPECT_EQ(pDlg->size(), QSize(270, 450));
    EXPECT_EQ(pDlg->windowTitle(), "3DAnimation");
    EXPECT_FALSE(m_pFps->isEnabled());
    EXPECT_TRUE(m_pFps->isReadOnly());

    // Every control is shown whole inside the fixed size.
    for (QWidget* pChild : pDlg->findChildren<QWidget*>())
    {
        if (!pChild->isVisible() || pChild->objectName().startsWith("qt_"))
        {
            continue;
        }
        const QRect rect(pChild->mapTo(pDlg, QPoint(0, 0)), pChild->size());
        EXPECT_TRUE(pDlg->rect().contains(rect)) << pChild->objectName().toStdString();
        EXPECT_GE(pChild->width(), pChild->minimumSizeHint().width())
            << pChild->objectName().toStdString();
        EXPECT_GE(pChild->height(), pChild->minimumSizeHint().height())
            << pChild->objectName().toStdString();
    }

    delete m_pPlugin;
    EXPECT_TRUE(pDlg.isNull());
}

TEST_F(PluginTest, EveryPresetReadsWholeInTheClosedComboAndInItsList)
{
    QWidget* pDlg = openDialog();
    ASSERT_TRUE(pDlg);
    ASSERT_EQ(pDlg->size(), QSize(270, 450));
    QComboBox* pCombo = pDlg->findChild<QComboBox*>("m_pAnimationsCB");
    ASSERT_EQ(pCombo->count(), 23);

    // The closed combo draws the current entry into its edit field, less a pixel each side.
    QStyleOptionComboBox option;
    option.initFrom(pCombo);
    option.frame = pCombo->hasFrame();
    const QRect rcText =
        pCombo->style()
            ->subControlRect(QStyle::CC_ComboBox, &option, QStyle::SC_ComboBoxEditField, pCombo)
            .adjusted(1, 0, -1, 0);
    for (int i = 0; i < pCombo->count(); ++i)
    {
        EXPECT_LE(pCombo->fontMetrics().horizontalAdvance(pCombo->itemText(i)), rcText.width())
            << pCombo->itemText(i).toStdString();
    }

    // The open list: every row gets the width its delegate asks for, beside the scroll bar. Some
    // styles widen the list to its entries by themselves, the classic one does not.
    std::unique_ptr<QStyle> pClassic(QStyleFactory::create("Windows"));
    ASSERT_TRUE(pClassic);
    for (QStyle* pStyle : {pCombo->style(), pClassic.get()})
    {
        pCombo->setStyle(pStyle);
        pCombo->view()->setStyle(pStyle);
        pCombo->showPopup();
        QApplication::processEvents();
        QAbstractItemView* pList = pCombo->view();
        ASSERT_TRUE(pList->isVisible());
        const QFontMetrics listMetrics(pList->font());
        for (int i = 0; i < pCombo->count(); ++i)
        {
            const QModelIndex index = pList->model()->index(i, 0);
            EXPECT_LE(pList->sizeHintForIndex(index).width(), pList->viewport()->width())
                << pStyle->objectName().toStdString() << ": " << pCombo->itemText(i).toStdString();
            EXPECT_LT(listMetrics.horizontalAdvance(pCombo->itemText(i)),
                      pList->viewport()->width())
                << pStyle->objectName().toStdString() << ": " << pCombo->itemText(i).toStdString();
        }
        pCombo->hidePopup();
        QApplication::processEvents();
    }
    pCombo->setStyle(nullptr);
    pCombo->view()->setStyle(nullptr);
}

TEST_F(PluginTest, AddingNumbersKeyFramesAndSpreadsTheirStamps)
{
    ASSERT_TRUE(openDialog());
    click("m_pAddKeyframeButton");
    EXPECT_EQ(rows(), QStringList({"Key Frame 1"}));
    EXPECT_EQ(selectRow(0), 100);
    // The spread itself is the list's own test; the slider shows a stamp truncated.
    click("m_pAddKeyframeButton");
    click("m_pAddKeyframeButton");
    click("m_pAddKeyframeButton");
    EXPECT_EQ(selectRow(1), 33); // 33.3
    EXPECT_EQ(selectRow(2), 66);

    selectRow(1);
    deleteAction(0); // Delete Current: Key Frame 2
    EXPECT_EQ(rows(), QStringList({"Key Frame 1", "Key Frame 3", "Key Frame 4"}));
    EXPECT_EQ(selectRow(1), 50);
    click("m_pAddKeyframeButton");
    EXPECT_EQ(rows().last(), "Key Frame 5");

    deleteAction(1); // Delete All
    EXPECT_EQ(m_pList->count(), 0);
    click("m_pAddKeyframeButton");
    EXPECT_EQ(rows(), QStringList({"Key Frame 1"}));
}

TEST_F(PluginTest, UpdateIsRefusedOutsideTheNeighboursAndMovingSwapsStamps)
{
    ASSERT_TRUE(openDialog());
    click("m_pUpdateKeyframesButton");
    EXPECT_EQ(lastMessage(), "No key frames selected.");
    for (int i = 0; i < 3; ++i)
    {
        click("m_pAddKeyframeButton");
    }
    const QString strRefused = "Cannot Update. The time stamp should be between those of the "
                               "preceeding and succeeding key frames.";
    for (const auto& [nRow, nStamp] : {std::pair{1, 0}, std::pair{1, 100}, std::pair{0, 50}})
    {
        CKXAutomation::clearMessages();
        selectRow(nRow);
        m_pTimeSpin->setValue(nStamp);
        click("m_pUpdateKeyframesButton");
        EXPECT_EQ(lastMessage(), strRefused) << nRow << " " << nStamp;
    }
    CKXAutomation::clearMessages();
    selectRow(2);
    m_pSlider->setValue(99);
    EXPECT_EQ(m_pTimeSpin->value(), 99);
    click("m_pUpdateKeyframesButton");
    EXPECT_EQ(lastMessage(), "Changing time stamp for the last key frame is not allowed.");
    // With the slider at the end the last key frame takes the new view and keeps its stamp;
    // it cannot move down.
    m_pSlider->setValue(100);
    const unitquaternion qLast(0.7, Vec3f(0, 0, 1));
    m_pA->glView()->setCurrentQuaternion(qLast);
    CKXAutomation::clearMessages();
    click("m_pUpdateKeyframesButton");
    EXPECT_TRUE(CKXAutomation::messages().isEmpty());
    click("m_pMoveKeyFramesDownButton");
    EXPECT_EQ(rows(), QStringList({"Key Frame 1", "Key Frame 2", "Key Frame 3"}));
    selectRow(0);
    EXPECT_EQ(selectRow(2), 100);
    expectRotationNear(m_pA->glView()->getCurrentQuaternion(), qLast, 1e-9);

    selectRow(1);
    m_pTimeSpin->setValue(25);
    CKXAutomation::clearMessages();
    click("m_pUpdateKeyframesButton");
    EXPECT_TRUE(CKXAutomation::messages().isEmpty());
    EXPECT_EQ(selectRow(1), 25);

    // Key Frame 1 moves down: it takes the stamp 25 and Key Frame 2 the stamp 0.
    selectRow(0);
    click("m_pMoveKeyFramesDownButton");
    EXPECT_EQ(rows(), QStringList({"Key Frame 2", "Key Frame 1", "Key Frame 3"}));
    EXPECT_EQ(m_pList->currentRow(), 1);
    EXPECT_EQ(m_pTimeSpin->value(), 25);
    EXPECT_EQ(selectRow(0), 0);
    click("m_pMoveKeyFramesUpButton"); // first row: nothing moves
    EXPECT_EQ(rows(), QStringList({"Key Frame 2", "Key Frame 1", "Key Frame 3"}));
    selectRow(2);
    click("m_pMoveKeyFramesUpButton");
    EXPECT_EQ(rows(), QStringList({"Key Frame 2", "Key Frame 3", "Key Frame 1"}));
    EXPECT_EQ(selectRow(2), 100);
    EXPECT_EQ(selectRow(1), 25);
}

TEST_F(PluginTest, EachSequenceKeepsItsListInTimeOrderAndItsControls)
{
    ASSERT_TRUE(openDialog());
    for (int i = 0; i < 10; ++i)
    {
        click("m_pAddKeyframeButton");
    }
    // Keep Key Frame 2 and Key Frame 10: as text "Key Frame 10" sorts first.
    while (m_pList->count() > 2)
    {
        selectRow(rows().at(0) == "Key Frame 2" ? 1 : 0);
        deleteAction(0);
    }
    ASSERT_EQ(rows(), QStringList({"Key Frame 2", "Key Frame 10"}));
    m_pDuration->setValue(8);
    m_pSlider->setValue(37);

    m_pMain->activateSequenceWindow(m_pB);
    EXPECT_EQ(m_pList->count(), 0);
    EXPECT_EQ(m_pDuration->value(), 5);
    EXPECT_EQ(m_pTimeSpin->value(), 0);
    click("m_pAddKeyframeButton");

    m_pMain->activateSequenceWindow(m_pA);
    EXPECT_EQ(rows(), QStringList({"Key Frame 2", "Key Frame 10"}));
    EXPECT_EQ(m_pDuration->value(), 8);
    EXPECT_EQ(m_pSlider->value(), 37);
    EXPECT_EQ(m_pTimeSpin->value(), 37);
    m_pMain->activateSequenceWindow(m_pB);
    EXPECT_EQ(rows(), QStringList({"Key Frame 1"}));
}

TEST_F(PluginTest, OnlyAViewChangeFromOutsideClearsTheList)
{
    ASSERT_TRUE(openDialog());
    click("m_pAddKeyframeButton");
    click("m_pAddKeyframeButton");
    m_pDuration->setValue(9);
    // Applying a key frame announces a view change of the dialog's own.
    selectRow(1);
    selectRow(0);
    EXPECT_EQ(m_pList->count(), 2);
    m_pA->reloadScene();
    EXPECT_EQ(m_pList->count(), 0);
    EXPECT_EQ(m_pDuration->value(), 5);
}

TEST_F(PluginTest, ClosingASequenceDropsOnlyItsOwnKeyFrames)
{
    QWidget* pDlg = openDialog();
    ASSERT_TRUE(pDlg);
    click("m_pAddKeyframeButton");
    click("m_pAddKeyframeButton");
    EXPECT_FALSE(m_pPlugin->isVisible());
    // Hidden while minimised: the removal still counts it as showing and restores its state.
    pDlg->hide();
    pDlg->setWindowState(Qt::WindowMinimized);
    ASSERT_TRUE(m_pMain->closeSequence(m_pB)); // not the bound one
    EXPECT_EQ(m_pList->count(), 2);
    EXPECT_FALSE(pDlg->isVisible());
    EXPECT_EQ(pDlg->windowState(), Qt::WindowNoState);
    EXPECT_TRUE(m_pPlugin->isVisible()); // the host reopens it later
    ASSERT_TRUE(m_pMain->closeSequence(m_pA));
    EXPECT_EQ(m_pList->count(), 0);
}

TEST_F(PluginTest, ApplyPutsKeyFramesIntoTheScene)
{
    ASSERT_TRUE(openDialog());
    CKXGLView* pView = m_pA->glView();
    CKXSampleScene* pScene = m_pA->scene();
    const QString strOrgan = pScene->organNames().value(0);
    ASSERT_FALSE(strOrgan.isEmpty());
    ASSERT_FALSE(pScene->currentControls().sourceControls.isEmpty());
    const QString strSource = pScene->currentControls().sourceControls.firstKey();

    const unitquaternion q1(0.5, Vec3f(0, 1, 0));
    pView->setCurrentQuaternion(q1);
    tag_s3Dcontrols controls = pScene->currentControls();
    controls.meshOpacity = 40;
    controls.organsVisible = true;
    pScene->applyControls(controls);
    click("m_pAddKeyframeButton");

    const unitquaternion q2(1.2, Vec3f(1, 0, 0));
    pView->setCurrentQuaternion(q2);
    pView->setTranslationVector(Vec3f(12, -7, -40));
    controls.meshOpacity = 80;
    controls.organOpacity = 30;
    controls.sourceControls[strSource].surfaceOpacity = 65;
    controls.sourceControls[strSource].colorMin = 0.25f;
    controls.sourceControls[strSource].colorMax = 0.75f;
    pScene->applyControls(controls);
    pScene->updateMeshVisibility(strOrgan, false);
    m_pA->setMultimodalityVolumeVisible(false);
    click("m_pAddKeyframeButton");

    // Scramble the scene, then show the second key frame (stamp 100).
    pView->setCurrentQuaternion(unitquaternion());
    controls.meshOpacity = 10;
    controls.organOpacity = 90;
    controls.sourceControls[strSource].surfaceOpacity = 5;
    controls.sourceControls[strSource].colorMin = 0.0f;
    controls.sourceControls[strSource].colorMax = 1.0f;
    pScene->applyControls(controls);
    pScene->updateMeshVisibility(strOrgan, true);
    m_pA->setMultimodalityVolumeVisible(true);
    selectRow(1);
    expectRotationNear(pView->getCurrentQuaternion(), q2, 1e-9);
    EXPECT_DOUBLE_EQ(pView->getTranslationVector().x(), 12);
    EXPECT_EQ(pScene->currentControls().meshOpacity, 80);
    EXPECT_EQ(pScene->currentControls().organOpacity, 30);
    EXPECT_EQ(pScene->currentControls().sourceControls.value(strSource).surfaceOpacity, 65);
    // The colour range is reset first and then set: the frame's range is what stays.
    EXPECT_EQ(pScene->currentControls().sourceControls.value(strSource).colorMin, 0.25f);
    EXPECT_EQ(pScene->currentControls().sourceControls.value(strSource).colorMax, 0.75f);
    EXPECT_FALSE(pScene->organsVisibility().value(strOrgan));
    EXPECT_FALSE(m_pA->isMultimodalityVolumeVisible());

    // A key frame at time 0 moves the camera but keeps the display on screen; its organ map
    // still applies.
    selectRow(0);
    expectRotationNear(pView->getCurrentQuaternion(), q1, 1e-9);
    EXPECT_EQ(pScene->currentControls().meshOpacity, 80);
    EXPECT_TRUE(pScene->organsVisibility().value(strOrgan));

    // Deselecting returns to the view saved with the first key frame.
    m_pList->currentItem()->setSelected(false);
    expectRotationNear(pView->getCurrentQuaternion(), q1, 1e-9);
}

TEST_F(PluginTest, DeleteGoesByTheActionTextInAnyLetterCase)
{
    ASSERT_TRUE(openDialog());
    CKXGLView* pView = m_pA->glView();
    const unitquaternion qInitial(0.4, Vec3f(1, 0, 0));
    pView->setCurrentQuaternion(qInitial);
    for (int i = 0; i < 3; ++i)
    {
        click("m_pAddKeyframeButton");
        pView->setCurrentQuaternion(unitquaternion(0.9 + i, Vec3f(0, 1, 0)));
    }
    m_pList->setCurrentRow(-1);
    ASSERT_EQ(m_pList->currentRow(), -1);
    CKXAutomation::clearMessages();
    deleteAction(0); // Delete Current
    EXPECT_EQ(lastMessage(), "No key frames selected.");
    EXPECT_EQ(m_pList->count(), 3);

    // Another text deletes nothing but stores the dialog's state: a duration set quietly is
    // what binding the same sequence again reads back.
    {
        const QSignalBlocker quiet(m_pDuration);
        m_pDuration->setValue(7);
    }
    deleteByText("Delete Some");
    EXPECT_EQ(m_pList->count(), 3);
    m_pDuration->blockSignals(true);
    m_pDuration->setValue(5);
    m_pDuration->blockSignals(false);
    m_pPlugin->onSignalSequenceChanged(m_pA->getSequenceDataset());
    EXPECT_EQ(m_pDuration->value(), 7);

    m_pSlider->setValue(40);
    deleteByText("DELETE ALL");
    EXPECT_EQ(m_pList->count(), 0);
    EXPECT_EQ(m_pSlider->value(), 0);
    EXPECT_EQ(m_pTimeSpin->value(), 0);
    expectRotationNear(pView->getCurrentQuaternion(), qInitial, 1e-9);
}

TEST_F(PluginTest, ApplyTakesSourcesByNameAndUpdatesThePaletteOncePerSource)
{
    ASSERT_TRUE(openDialog());
    CKXSampleScene* pScene = m_pA->scene();
    ASSERT_EQ(pScene->sourceNames().size(), 3);
    // The second key frame carries the scene's three sources, "original" in lower case and a
    // voxel source the scene does not have.
    loadKeyFrames("<KeyFrame time_stamp=\"0\"><RotationQuaternion w=\"1\"/></KeyFrame>\n"
                  "<KeyFrame time_stamp=\"100\" source_list_count=\"2\">"
                  "<source_0 source_name=\"original\" volume_opacity=\"23\"/>"
                  "<source_1 source_name=\"Ghost_SourceVoxels\" volume_opacity=\"33\"/>"
                  "<RotationQuaternion w=\"1\"/></KeyFrame>\n");
    ASSERT_EQ(m_pList->count(), 2);
    QSignalSpy spy(m_pA, SIGNAL(signalUpdate3DToolsPalette(SSpKeyFrameAttributes, bool)));
    selectRow(1);
    EXPECT_EQ(pScene->currentControls().sourceControls.value("Original").volumeOpacity, 23);
    ASSERT_EQ(spy.count(), 5);
    // The palette gets a default entry for the source that has no scene node.
    const auto sources =
        qvariant_cast<SSpKeyFrameAttributes>(spy.last().at(0)).controls.sourceControls;
    ASSERT_TRUE(sources.contains("Ghost_SourceVoxels"));
    EXPECT_EQ(sources.value("Ghost_SourceVoxels").volumeOpacity, 0);

    // Captured while the organs are hidden as a whole: every organ is stored hidden.
    deleteAction(1);
    tag_s3Dcontrols controls = pScene->currentControls();
    controls.organsVisible = false;
    pScene->applyControls(controls);
    for (const QString& strOrgan : pScene->organNames())
    {
        pScene->updateMeshVisibility(strOrgan, true);
    }
    click("m_pAddKeyframeButton");
    controls.organsVisible = true;
    pScene->applyControls(controls);
    selectRow(0);
    const QMap<QString, bool> organs = pScene->organsVisibility();
    ASSERT_FALSE(organs.isEmpty());
    for (auto it = organs.cbegin(); it != organs.cend(); ++it)
    {
        EXPECT_FALSE(it.value()) << it.key().toStdString();
    }
}

TEST_F(PluginTest, MetadataAsQtReadsItAndTheInterfacesTheObjectAnswersFor)
{
    QProcess info;
    info.start(QStringLiteral(KX_QTPLUGININFO), {"--full-json", QStringLiteral(KX_PLUGIN_FILE)});
    ASSERT_TRUE(info.waitForFinished(30000)) << KX_QTPLUGININFO;
    EXPECT_EQ(info.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(info.exitCode(), 0) << info.readAllStandardError().toStdString();
    const QJsonObject json = QJsonDocument::fromJson(info.readAllStandardOutput()).object();
    EXPECT_EQ(json.value("IID").toString(), "kxlabs.tessaly.kx3danimation");
    EXPECT_EQ(json.value("className").toString(), "CKX3DAnimationPlugin");
    ASSERT_TRUE(json.value("MetaData").isObject());
    EXPECT_TRUE(json.value("MetaData").toObject().isEmpty());
    // Its default mode reads the user data too, and refuses a plug-in without any.
    info.start(QStringLiteral(KX_QTPLUGININFO), {QStringLiteral(KX_PLUGIN_FILE)});
    ASSERT_TRUE(info.waitForFinished(30000));
    EXPECT_EQ(info.exitCode(), 0) << info.readAllStandardError().toStdString();

    EXPECT_EQ(m_pPlugin->qt_metacast("CKX3DAnimationPlugin"), m_pPlugin);
    EXPECT_EQ(m_pPlugin->qt_metacast("com.kxlabs.tessaly.CKXToolPluginBase/1.0"), m_pPlugin);
    EXPECT_EQ(m_pPlugin->qt_metacast("com.kxlabs.tessaly.CKXToolPluginBase/0.9"), nullptr);
}
