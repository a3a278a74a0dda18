// Plug-in loading and the notifications a loaded tool plug-in receives from a real main window.
#include "ViewerHostFixture.h"

#include "CKX3DToolsPalette.h"
#include "CKXGLView.h"
#include "CKXSToolInfo.h"
#include "KXLog.h"

#include <QAction>
#include <QApplication>
#include <QFileInfo>
#include <QMdiArea>
#include <QMenu>
#include <QMouseEvent>
#include <QSlider>

TEST_F(CViewerHostTest, LoadsTheToolAndSkipsEveryOtherFileWithItsReason)
{
    CKXLogFile::clearRecentLines();
    CKXToolPluginBase* pPlugin = loadTestPlugins();
    ASSERT_NE(pPlugin, nullptr);
    EXPECT_EQ(m_pManager->plugins().size(), 1);

    QMap<QString, QString> mapReasons;
    for (const SKXSkippedPlugin& skipped : m_pManager->skippedPlugins())
    {
        mapReasons.insert(QFileInfo(skipped.strPath).fileName(), skipped.strReason);
    }
    EXPECT_EQ(mapReasons.size(), 4);
    EXPECT_TRUE(mapReasons.value("libkxtest_foreign.so").contains("org.example.imageformat"));
    EXPECT_TRUE(mapReasons.value("libkxtest_oldiface.so").contains("does not implement"));
    EXPECT_TRUE(mapReasons.value("libkxtest_notaplugin.so").contains("not a Qt plug-in"));
    EXPECT_FALSE(mapReasons.value("notes.txt").isEmpty());

    // Every reason is in the log, next to the file it concerns.
    const QStringList listLog = CKXLogFile::recentLines();
    for (auto it = mapReasons.constBegin(); it != mapReasons.constEnd(); ++it)
    {
        const bool bLogged = std::any_of(
            listLog.begin(), listLog.end(),
            [&](const QString& s) { return s.contains(it.key()) && s.contains(it.value()); });
        EXPECT_TRUE(bLogged) << qPrintable(it.key());
    }

    CKXPluginManager other(m_pMain.get());
    EXPECT_EQ(other.loadPlugins(QStringLiteral("/nonexistent/kx-plugins")), 0);
    EXPECT_TRUE(CKXLogFile::recentLines().last().contains("/nonexistent/kx-plugins"));
}

TEST_F(CViewerHostTest, ToolActionOpensAToolWindowBesideTheWorkspace)
{
    CKXToolPluginBase* pPlugin = loadTestPlugins();
    ASSERT_NE(pPlugin, nullptr);
    QAction* pAction = pPlugin->pluginAction();
    ASSERT_TRUE(m_pMain->pluginMenu(0)->actions().contains(pAction));

    pAction->trigger();
    const QStringList listEvents = events(pPlugin);
    ASSERT_TRUE(listEvents.contains("createObject"));
    EXPECT_LT(listEvents.indexOf("createObject"), listEvents.indexOf("show"));

    QWidget* pTool = nullptr;
    QMetaObject::invokeMethod(pPlugin, "toolWindow", Qt::DirectConnection,
                              Q_RETURN_ARG(QWidget*, pTool));
    ASSERT_NE(pTool, nullptr);
    EXPECT_EQ(pTool->parentWidget(), m_pMain.get());
    EXPECT_TRUE(pTool->isWindow());
    EXPECT_TRUE(pTool->isVisible());
    EXPECT_FALSE(m_pMain->workspace()->isAncestorOf(pTool));
    EXPECT_TRUE(m_pMain->adoptedWidgets().contains(pTool));
}

TEST_F(CViewerHostTest, WorkspaceChangesReachThePluginInOrder)
{
    CKXToolPluginBase* pPlugin = loadTestPlugins();
    ASSERT_NE(pPlugin, nullptr);
    CKXSequenceWindowImpl* pFirst = window(0);
    CKXSequenceWindowImpl* pSecond = window(1);
    // A plug-in loaded late hears of every open sequence, then of the active one.
    EXPECT_EQ(events(pPlugin), QStringList({"init", "added:" + id(pFirst), "added:" + id(pSecond),
                                            "changed:" + id(m_pMain->activeSequenceWindow())}));

    clearEvents(pPlugin);
    CKXSequenceWindowImpl* pThird = m_pMain->openSampleSequence();
    settle();
    EXPECT_EQ(events(pPlugin), QStringList({"added:" + id(pThird), "changed:" + id(pThird)}));

    clearEvents(pPlugin);
    m_pMain->activateSequenceWindow(pFirst);
    m_pMain->activateSequenceWindow(pFirst);
    settle();
    EXPECT_EQ(events(pPlugin), QStringList({"changed:" + id(pFirst)}));

    // Closing a window that is not active changes no sequence; the window is gone for the
    // plug-in as soon as it hears of the removal.
    clearEvents(pPlugin);
    const QString strThird = id(pThird);
    ASSERT_TRUE(m_pMain->closeSequence(pThird));
    settle();
    EXPECT_EQ(events(pPlugin), QStringList({"removed:" + strThird}));

    clearEvents(pPlugin);
    const QString strFirst = id(pFirst);
    ASSERT_TRUE(m_pMain->closeSequence(pFirst));
    settle();
    EXPECT_EQ(events(pPlugin), QStringList({"removed:" + strFirst, "changed:" + id(pSecond)}));

    clearEvents(pPlugin);
    const QString strSecond = id(pSecond);
    ASSERT_TRUE(m_pMain->closeSequence(pSecond));
    settle();
    EXPECT_EQ(events(pPlugin), QStringList({"removed:" + strSecond, "datasetChanged:null"}));
    EXPECT_EQ(CKXSChildWindow::getActiveChildWnd(), nullptr);
}

TEST_F(CViewerHostTest, TabChangesAnnounceThePaletteOnceAndSwitchTheAction)
{
    CKXToolPluginBase* pPlugin = loadTestPlugins();
    ASSERT_NE(pPlugin, nullptr);
    QAction* pAction = pPlugin->pluginAction();
    CKXSequenceWindowImpl* pWindow = m_pMain->activeSequenceWindow();
    EXPECT_TRUE(pAction->isEnabled());

    clearEvents(pPlugin);
    ASSERT_TRUE(pWindow->setCurrentTab("Image"));
    EXPECT_EQ(pWindow->getCurrentTabName(), QStringLiteral("Image"));
    EXPECT_EQ(events(pPlugin), QStringList({"palette:Image"}));
    EXPECT_FALSE(pAction->isEnabled());
    pWindow->setCurrentTab("3D View");
    EXPECT_TRUE(pAction->isEnabled());

    // A window opened after loading is wired by the plug-in itself, once.
    CKXSequenceWindowImpl* pThird = m_pMain->openSampleSequence();
    settle();
    clearEvents(pPlugin);
    pThird->setCurrentTab("Info");
    EXPECT_EQ(events(pPlugin), QStringList({"palette:Info"}));
}

TEST_F(CViewerHostTest, OnlyAContentChangeAnnouncesA3DViewChange)
{
    CKXToolPluginBase* pPlugin = loadTestPlugins();
    ASSERT_NE(pPlugin, nullptr);
    CKXSequenceWindowImpl* pWindow = m_pMain->activeSequenceWindow();
    CKXGLView* pView = pWindow->glView();
    const int nLoadedOpacity = pWindow->getToolInfo()->get3DControls().meshOpacity;
    clearEvents(pPlugin);

    // A left drag across the view turns the camera.
    const unitquaternion before = pView->getCurrentQuaternion();
    const QPoint ptFrom = pView->rect().center();
    const QPoint ptTo = ptFrom + QPoint(60, 25);
    QMouseEvent press(QEvent::MouseButtonPress, ptFrom, Qt::LeftButton, Qt::LeftButton,
                      Qt::NoModifier);
    QMouseEvent move(QEvent::MouseMove, ptTo, Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
    QMouseEvent release(QEvent::MouseButtonRelease, ptTo, Qt::LeftButton, Qt::NoButton,
                        Qt::NoModifier);
    QApplication::sendEvent(pView, &press);
    QApplication::sendEvent(pView, &move);
    QApplication::sendEvent(pView, &release);
    const unitquaternion after = pView->getCurrentQuaternion();
    EXPECT_LT(unitquaternion::dot(before, after), 0.9999);

    // A palette edit changes the scene.
    QSlider* pOpacity = m_pMain->toolsPalette()->findChild<QSlider*>("meshOpacity");
    ASSERT_NE(pOpacity, nullptr);
    pOpacity->setValue((nLoadedOpacity + 30) % 100);
    settle();
    EXPECT_EQ(pWindow->getToolInfo()->get3DControls().meshOpacity, (nLoadedOpacity + 30) % 100);
    EXPECT_EQ(events(pPlugin), QStringList());

    // Reloading the scene is a change of content: announced once, synchronously.
    m_pMain->onClickReloadScene();
    EXPECT_EQ(events(pPlugin), QStringList({"view:clear"}));
    EXPECT_EQ(pWindow->getToolInfo()->get3DControls().meshOpacity, nLoadedOpacity);
}
