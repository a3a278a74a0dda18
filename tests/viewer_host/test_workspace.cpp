// The workspace: tiling, the tabs of a sequence window, and a main window that goes away with
// its sequences still open.
#include "ViewerHostFixture.h"

#include "CKX3DToolsPalette.h"

#include <QLabel>
#include <QMdiArea>
#include <QMdiSubWindow>

TEST_F(CViewerHostTest, TilingShowsEveryWindowAndFollowsResizesUntilTheUserArranges)
{
    auto checkTiled = [this]()
    {
        const QRect rcArea = m_pMain->workspace()->viewport()->rect();
        const QList<QMdiSubWindow*> listSubs = m_pMain->workspace()->subWindowList();
        for (int i = 0; i < listSubs.size(); ++i)
        {
            const QRect rc = listSubs[i]->geometry();
            EXPECT_TRUE(rcArea.contains(rc)) << i;
            // Landscape cells: the subject lies along the view's width.
            EXPECT_GT(rc.width(), rc.height()) << i;
            for (int j = 0; j < i; ++j)
            {
                EXPECT_FALSE(rc.intersects(listSubs[j]->geometry())) << i << " " << j;
            }
        }
    };
    checkTiled();
    m_pMain->openSampleSequence();
    settle();
    EXPECT_EQ(m_pMain->workspace()->subWindowList().size(), 3);
    checkTiled();

    const QSize sizeBefore = m_pMain->workspace()->subWindowList().first()->size();
    m_pMain->resize(m_pMain->width() + 240, m_pMain->height() + 120);
    settle();
    checkTiled();
    const QSize sizeAfter = m_pMain->workspace()->subWindowList().first()->size();
    EXPECT_GT(sizeAfter.width(), sizeBefore.width());
    EXPECT_GT(sizeAfter.height(), sizeBefore.height());

    // Once the user moved a window, a resize leaves the arrangement alone.
    QMdiSubWindow* pFirst = m_pMain->workspace()->subWindowList().first();
    pFirst->setGeometry(10, 10, 400, 300);
    m_pMain->resize(1200, 760);
    settle();
    EXPECT_EQ(pFirst->geometry(), QRect(10, 10, 400, 300));
}

TEST_F(CViewerHostTest, ImageTabShowsASnapshotOfTheRenderedView)
{
    CKXSequenceWindowImpl* pWindow = window(0);
    QLabel* pSnapshot = pWindow->findChild<QLabel*>("SnapshotLabel");
    ASSERT_NE(pSnapshot, nullptr);
    ASSERT_TRUE(pWindow->setCurrentTab("Image"));
    ASSERT_FALSE(pSnapshot->pixmap(Qt::ReturnByValue).isNull());
    // Not a blank frame: the subject is in it.
    const QImage image = pSnapshot->pixmap(Qt::ReturnByValue).toImage();
    const QRgb rgbCorner = image.pixel(0, 0);
    bool bVaries = false;
    for (int y = 0; y < image.height() && !bVaries; y += 4)
    {
        for (int x = 0; x < image.width() && !bVaries; x += 4)
        {
            bVaries = qGray(image.pixel(x, y)) > qGray(rgbCorner) + 40;
        }
    }
    EXPECT_TRUE(bVaries);
}

TEST_F(CViewerHostTest, ClosingTheMainWindowRemovesEverySequenceFirst)
{
    CKXToolPluginBase* pPlugin = loadTestPlugins();
    ASSERT_NE(pPlugin, nullptr);
    const QString strFirst = id(window(0));
    const QString strSecond = id(window(1));
    clearEvents(pPlugin);

    ASSERT_TRUE(m_pMain->close());
    settle();
    EXPECT_EQ(events(pPlugin),
              QStringList({"removed:" + strFirst, "removed:" + strSecond, "datasetChanged:null"}));
    EXPECT_EQ(m_pMain->toolsPalette()->sequenceWindow(), nullptr);

    // Deleting the window afterwards tells that the study is gone.
    clearEvents(pPlugin);
    m_pMain.reset();
    EXPECT_EQ(events(pPlugin), QStringList({"datasetRemoved:Sample study"}));
}

TEST_F(CViewerHostTest, DeletingTheMainWindowWithOpenSequencesStillAnnouncesTheirRemoval)
{
    CKXToolPluginBase* pPlugin = loadTestPlugins();
    ASSERT_NE(pPlugin, nullptr);
    const QString strFirst = id(window(0));
    const QString strSecond = id(window(1));
    clearEvents(pPlugin);

    m_pMain.reset();
    EXPECT_EQ(events(pPlugin), QStringList({"removed:" + strFirst, "removed:" + strSecond,
                                            "datasetChanged:null", "datasetRemoved:Sample study"}));
    EXPECT_EQ(CKXSChildWindow::getActiveChildWnd(), nullptr);
}
