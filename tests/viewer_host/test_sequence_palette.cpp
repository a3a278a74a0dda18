// Sequence windows, the active child window and the 3D tools palette.
#include "ViewerHostFixture.h"

#include "CKX3DToolsPalette.h"
#include "CKXGLView.h"
#include "CKXSToolInfo.h"
#include "CKXSampleScene.h"
#include "CKXSourceControlsPanel.h"
#include "CKXUtilityFns.h"

#include <QCheckBox>
#include <QLabel>
#include <QListWidget>
#include <QSlider>

// Readable positions in test failures.
inline void PrintTo(const QPoint& point, std::ostream* pStream)
{
    *pStream << '(' << point.x() << ", " << point.y() << ')';
}

TEST_F(CViewerHostTest, WindowsAnswerForTheirOwnSequenceAndScene)
{
    CKXSequenceWindowImpl* pFirst = window(0);
    CKXSequenceWindowImpl* pSecond = window(1);
    EXPECT_NE(id(pFirst), id(pSecond));
    EXPECT_NE(pFirst->scene(), pSecond->scene());

    for (CKXSequenceWindowImpl* pWindow : {pFirst, pSecond})
    {
        EXPECT_EQ(CKXSSequenceWindow::getSequenceWindow(pWindow->getSequenceDataset()), pWindow);
        EXPECT_EQ(pWindow->get3DScene(), pWindow->glView());
        EXPECT_EQ(pWindow->getSGManager(), pWindow->scene());
        EXPECT_NE(pWindow->getSurfaceMesh(), nullptr);
        EXPECT_NE(pWindow->getVolume(), nullptr);
        EXPECT_EQ(pWindow->getCurrentTabName(), QStringLiteral("3D View"));
        EXPECT_EQ(pWindow->tabNames(), QStringList({"3D View", "Image", "Info"}));
        EXPECT_EQ(pWindow->getToolInfo()->get3DControls().sourceControls.keys(),
                  pWindow->scene()->sourceNames());
        EXPECT_FALSE(pWindow->getOrgansVisibilityMap().isEmpty());
        EXPECT_EQ(pWindow->getOrgansVisibilityMap(), pWindow->scene()->organsVisibility());
    }

    CKXSSequenceDataset unknown(QStringLiteral("KX-SEQ-9999"), QStringLiteral("Elsewhere"));
    EXPECT_EQ(CKXSSequenceWindow::getSequenceWindow(&unknown), nullptr);
    EXPECT_EQ(CKXSSequenceWindow::getSequenceWindow(nullptr), nullptr);

    m_pMain->activateSequenceWindow(pSecond);
    EXPECT_EQ(CKXSChildWindow::getActiveChildWnd(), pSecond);
    EXPECT_EQ(m_pMain->toolsPalette()->sequenceWindow(), pSecond);
    m_pMain->activateSequenceWindow(pFirst);
    EXPECT_EQ(CKXSChildWindow::getActiveChildWnd(), pFirst);
}

TEST_F(CViewerHostTest, PaletteEditsReachTheActiveSceneOnly)
{
    CKXSequenceWindowImpl* pWindow = m_pMain->activeSequenceWindow();
    CKXSequenceWindowImpl* pOther = pWindow == window(0) ? window(1) : window(0);
    CKX3DToolsPalette* pPalette = m_pMain->toolsPalette();
    const tag_s3Dcontrols before = pWindow->getToolInfo()->get3DControls();
    const int nOtherOpacity = pOther->getToolInfo()->get3DControls().meshOpacity;

    const int nOpacity = (before.meshOpacity + 23) % 100;
    pPalette->findChild<QSlider*>("meshOpacity")->setValue(nOpacity);
    pPalette->findChild<QCheckBox*>("pdReversed")->click();
    pPalette->findChild<QCheckBox*>("organsVisible")->click();
    CKXSourceControlsPanel* pSources = pPalette->findChild<CKXSourceControlsPanel*>();
    const QString strSource = pSources->selectedSource();
    ASSERT_FALSE(strSource.isEmpty());
    pSources->findChild<QCheckBox*>("sourceMip")->click();
    pSources->findChild<QSlider*>("sourceIntensity")->setValue(40);

    const tag_s3Dcontrols after = pWindow->getToolInfo()->get3DControls();
    EXPECT_EQ(after.meshOpacity, nOpacity);
    EXPECT_NE(after.pdMap.reverse(), before.pdMap.reverse());
    EXPECT_NE(after.organsVisible, before.organsVisible);
    const tag_s3DSourceControls& source = after.sourceControls[strSource];
    EXPECT_NE(source.volumeMip, before.sourceControls[strSource].volumeMip);
    EXPECT_EQ(source.intensitySlider, 40);
    EXPECT_DOUBLE_EQ(source.intensityValue,
                     source.intensityMin + 0.4 * (source.intensityMax - source.intensityMin));

    QListWidget* pOrgans = pPalette->findChild<QListWidget*>("organList");
    ASSERT_GT(pOrgans->count(), 0);
    const QString strOrgan = pOrgans->item(0)->text();
    const bool bShown = pWindow->getOrgansVisibilityMap().value(strOrgan);
    pOrgans->item(0)->setCheckState(bShown ? Qt::Unchecked : Qt::Checked);
    EXPECT_EQ(pWindow->getOrgansVisibilityMap().value(strOrgan), !bShown);

    const bool bVolume = pWindow->isMultimodalityVolumeVisible();
    pPalette->findChild<QCheckBox*>("multimodalityVolume")->click();
    EXPECT_EQ(pWindow->isMultimodalityVolumeVisible(), !bVolume);

    EXPECT_EQ(pOther->getToolInfo()->get3DControls().meshOpacity, nOtherOpacity);
}

TEST_F(CViewerHostTest, PaletteShowsAKeyFrameUntilToldToShowTheSceneAgain)
{
    CKXSequenceWindowImpl* pWindow = m_pMain->activeSequenceWindow();
    CKXSequenceWindowImpl* pOther = pWindow == window(0) ? window(1) : window(0);
    CKX3DToolsPalette* pPalette = m_pMain->toolsPalette();
    QSlider* pOpacity = pPalette->findChild<QSlider*>("meshOpacity");
    const int nSceneOpacity = pWindow->getToolInfo()->get3DControls().meshOpacity;

    SSpKeyFrameAttributes keyFrame;
    keyFrame.controls = pWindow->getToolInfo()->get3DControls();
    keyFrame.controls.meshOpacity = (nSceneOpacity + 40) % 100;
    keyFrame.timeStamp = 25.0;
    emit pWindow->signalUpdate3DToolsPalette(keyFrame, false);
    settle(); // the widgets follow at the next event loop pass
    EXPECT_TRUE(pPalette->isShowingKeyFrame());
    EXPECT_EQ(pOpacity->value(), keyFrame.controls.meshOpacity);
    EXPECT_EQ(pPalette->displayedControls().meshOpacity, keyFrame.controls.meshOpacity);
    // Showing a key frame does not change the scene.
    EXPECT_EQ(pWindow->getToolInfo()->get3DControls().meshOpacity, nSceneOpacity);

    // Another window's key frame is not this palette's business.
    SSpKeyFrameAttributes otherFrame = keyFrame;
    otherFrame.controls.meshOpacity = (nSceneOpacity + 70) % 100;
    emit pOther->signalUpdate3DToolsPalette(otherFrame, false);
    settle();
    EXPECT_EQ(pOpacity->value(), keyFrame.controls.meshOpacity);

    emit pWindow->signalUpdate3DToolsPalette(SSpKeyFrameAttributes(), true);
    settle();
    EXPECT_FALSE(pPalette->isShowingKeyFrame());
    EXPECT_EQ(pOpacity->value(), nSceneOpacity);
}

TEST_F(CViewerHostTest, PaletteControlsKeepStillWhileAKeyFrameLineComesAndGoes)
{
    CKXSequenceWindowImpl* pWindow = m_pMain->activeSequenceWindow();
    CKX3DToolsPalette* pPalette = m_pMain->toolsPalette();
    // Where the pages and a control on them sit in the palette, once the layout has settled.
    const auto positions = [&]()
    {
        settle();
        return QList<QPoint>{
            pPalette->findChild<QWidget*>("palettePages")->mapTo(pPalette, QPoint(0, 0)),
            pPalette->findChild<QSlider*>("meshOpacity")->mapTo(pPalette, QPoint(0, 0))};
    };
    // The label that tells the key frame's time stamp, if any.
    const auto keyFrameLabel = [&]() -> QLabel*
    {
        for (QLabel* pLabel : pPalette->findChildren<QLabel*>())
        {
            if (pLabel->isVisible() && pLabel->text().contains("key frame at"))
            {
                return pLabel;
            }
        }
        return nullptr;
    };
    const QList<QPoint> sceneShown = positions();
    EXPECT_EQ(keyFrameLabel(), nullptr);

    SSpKeyFrameAttributes keyFrame;
    keyFrame.controls = pWindow->getToolInfo()->get3DControls();
    keyFrame.timeStamp = 37.5;
    emit pWindow->signalUpdate3DToolsPalette(keyFrame, false);
    EXPECT_EQ(positions(), sceneShown);
    // The line is shown whole above the pages.
    const QLabel* pLine = keyFrameLabel();
    ASSERT_TRUE(pLine);
    EXPECT_TRUE(pLine->text().endsWith("key frame at 37.5"));
    EXPECT_GE(pLine->height(), pLine->sizeHint().height());
    EXPECT_LT(pLine->mapTo(pPalette, QPoint(0, pLine->height() - 1)).y(), sceneShown.first().y());

    emit pWindow->signalUpdate3DToolsPalette(SSpKeyFrameAttributes(), true);
    EXPECT_EQ(positions(), sceneShown);
    EXPECT_EQ(keyFrameLabel(), nullptr);
}

TEST_F(CViewerHostTest, ARecordingKeepsTheWindowsOpen)
{
    CKXSequenceWindowImpl* pWindow = window(0);
    CKXUtilityFns::setCanClose(false);
    EXPECT_FALSE(m_pMain->closeSequence(pWindow));
    EXPECT_FALSE(m_pMain->close());
    settle();
    EXPECT_EQ(m_pMain->sequenceWindows().size(), 2);
    EXPECT_TRUE(m_pMain->isVisible());

    CKXUtilityFns::setCanClose(true);
    EXPECT_TRUE(m_pMain->closeSequence(pWindow));
    settle();
    EXPECT_EQ(m_pMain->sequenceWindows().size(), 1);
}
