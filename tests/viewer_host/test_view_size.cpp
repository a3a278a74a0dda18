// View > 3D View Size: a fixed framebuffer size for every sequence's 3D view, whatever the size
// of the windows, and back to views that fill their windows. Also run with a device pixel ratio
// of 2 (see CMakeLists.txt): the chosen size is in device pixels there too.
#include "ViewerHostFixture.h"

#include "CKXGLView.h"
#include "CKXViewSizeDialog.h"

#include <QAction>
#include <QApplication>
#include <QMdiSubWindow>
#include <QScrollArea>
#include <QSettings>
#include <QSpinBox>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QTimer>

namespace
{
QSize framebufferSize(CKXSequenceWindowImpl* pWindow)
{
    return pWindow->glView()->grabFramebuffer().size();
}

QAction* sizeAction(CKXMainWindow* pMain, const QString& strText)
{
    for (QAction* pAction : pMain->viewSizeActions())
        if (pAction->text().remove('&').startsWith(strText))
            return pAction;
    return nullptr;
}

QString checkedSize(CKXMainWindow* pMain)
{
    for (QAction* pAction : pMain->viewSizeActions())
        if (pAction->isChecked())
            return pAction->text().remove('&');
    return QString();
}
} // namespace

TEST_F(CViewerHostTest, FixedViewSizesHoldWhateverTheWindowAndFitWindowFollowsItAgain)
{
    QAction* pFit = sizeAction(m_pMain.get(), "Fit Window");
    ASSERT_TRUE(pFit);
    EXPECT_TRUE(pFit->isChecked());
    for (const QSize& size : {QSize(1280, 720), QSize(1920, 1080), QSize(3840, 2160)})
    {
        SCOPED_TRACE(QStringLiteral("%1x%2").arg(size.width()).arg(size.height()).toStdString());
        QAction* pAction =
            sizeAction(m_pMain.get(), QStringLiteral("%1x%2").arg(size.width()).arg(size.height()));
        ASSERT_TRUE(pAction);
        pAction->trigger();
        settle();
        EXPECT_TRUE(pAction->isChecked());
        EXPECT_EQ(m_pMain->viewPixelSize(), size);
        for (CKXSequenceWindowImpl* pWindow : m_pMain->sequenceWindows())
            EXPECT_EQ(framebufferSize(pWindow), size) << pWindow->windowTitle().toStdString();
        // A smaller main window, and one sub-window shrunk by hand: the views keep the size and
        // scroll.
        m_pMain->resize(700, 500);
        window(0)->parentWidget()->resize(330, 270);
        settle();
        EXPECT_LT(window(0)->viewScrollArea()->viewport()->width(), size.width());
        for (CKXSequenceWindowImpl* pWindow : m_pMain->sequenceWindows())
            EXPECT_EQ(framebufferSize(pWindow), size) << pWindow->windowTitle().toStdString();
        m_pMain->resize(1280, 800);
        m_pMain->tileSequenceWindows();
        settle();
    }
    // A window opened now takes the size as well.
    CKXSequenceWindowImpl* pThird = m_pMain->openSampleSequence();
    settle();
    EXPECT_EQ(framebufferSize(pThird), QSize(3840, 2160));

    pFit->trigger();
    settle();
    EXPECT_TRUE(pFit->isChecked());
    EXPECT_FALSE(m_pMain->viewPixelSize().isValid());
    const qreal dRatio = window(0)->glView()->devicePixelRatioF();
    if (qEnvironmentVariableIsSet("QT_SCALE_FACTOR"))
    {
        EXPECT_EQ(dRatio, qEnvironmentVariable("QT_SCALE_FACTOR").toDouble());
    }
    for (const QSize& subSize : {QSize(500, 400), QSize(720, 460)})
    {
        window(0)->parentWidget()->resize(subSize);
        settle();
        const QSize page = window(0)->viewScrollArea()->viewport()->size();
        EXPECT_LT(page.width(), subSize.width());
        EXPECT_EQ(framebufferSize(window(0)), page * dRatio);
    }
}

TEST_F(CViewerHostTest, CustomViewSizeRefusesSizesOutsideTheLimitsAndKeepsTheLastGoodOne)
{
    sizeAction(m_pMain.get(), "1280x720")->trigger();
    settle();
    // The dialog is modal: it is filled in once it shows, from the event loop it runs.
    QStringList listMessages;
    bool bStillOpenAfterRefusals = true;
    auto fillDialog = [&](const QList<QSize>& listTries, bool bCancel)
    {
        QTimer::singleShot(
            0,
            [&, listTries, bCancel]()
            {
                auto* pDialog = qobject_cast<CKXViewSizeDialog*>(QApplication::activeModalWidget());
                ASSERT_TRUE(pDialog);
                EXPECT_EQ(pDialog->pixelSize(), m_pMain->viewPixelSize());
                for (const QSize& size : listTries)
                {
                    pDialog->widthBox()->setValue(size.width());
                    pDialog->heightBox()->setValue(size.height());
                    pDialog->accept();
                }
                bStillOpenAfterRefusals = pDialog->isVisible();
                for (const SKXRecordedMessage& message : CKXAutomation::messages())
                    listMessages << message.strText;
                if (bCancel)
                    pDialog->reject();
                else if (pDialog->isVisible())
                    pDialog->reject(); // a refused size must not leave the test waiting
            });
    };
    QAction* pCustom = sizeAction(m_pMain.get(), "Custom");
    ASSERT_TRUE(pCustom);

    // Too wide, too tall, too small, nothing: each one refused with the limits named.
    fillDialog({QSize(7681, 1000), QSize(1000, 4321), QSize(15, 100), QSize(0, 0)}, true);
    pCustom->trigger();
    settle();
    EXPECT_TRUE(bStillOpenAfterRefusals);
    ASSERT_EQ(listMessages.size(), 4);
    EXPECT_EQ(listMessages.first(), "The 3D view cannot be 7681 x 1000 pixels: the width must be "
                                    "16 to 7680 and the height 16 to 4320 pixels.");
    EXPECT_TRUE(listMessages.at(3).startsWith("The 3D view cannot be 0 x 0 pixels"));
    EXPECT_EQ(m_pMain->viewPixelSize(), QSize(1280, 720));
    EXPECT_EQ(checkedSize(m_pMain.get()), "1280x720");
    EXPECT_EQ(framebufferSize(window(0)), QSize(1280, 720));

    // The limits themselves are accepted; an odd size is kept as it is.
    for (const QSize& size : {QSize(7680, 16), QSize(16, 4320), QSize(641, 481)})
    {
        CKXAutomation::reset();
        listMessages.clear();
        fillDialog({size}, false);
        pCustom->trigger();
        settle();
        EXPECT_FALSE(bStillOpenAfterRefusals) << size.width() << "x" << size.height();
        EXPECT_TRUE(listMessages.isEmpty());
        EXPECT_EQ(m_pMain->viewPixelSize(), size);
        EXPECT_EQ(framebufferSize(window(1)), size);
    }
    EXPECT_EQ(checkedSize(m_pMain.get()), "Custom (641 x 481)...");

    // The same limits hold for a size set without the dialog.
    QString strError;
    EXPECT_FALSE(m_pMain->setViewPixelSize(QSize(7680, 4321), strError));
    EXPECT_TRUE(strError.startsWith("The 3D view cannot be 7680 x 4321 pixels"));
    EXPECT_EQ(framebufferSize(window(0)), QSize(641, 481));
}

TEST_F(CViewerHostTest, AStoredSizeTheSystemCannotDrawLeavesTheViewsFittingWithAMessage)
{
    // This test's own settings; the size is read from them only outside automation.
    static QTemporaryDir s_settings;
    ASSERT_TRUE(s_settings.isValid());
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, s_settings.path());
    CKXGLView::overrideSystemFramebufferLimit(QSize(1100, 900));
    const struct
    {
        const char* m_pszStored;
        const char* m_pszReason; // empty: the size is taken
    } cases[] = {{"1280x720", "draws at most 1100 x 900"},
                 {"99999x99999", "the width must be 16 to 7680"},
                 {"0x5", "cannot be 0 x 5 pixels"},
                 {"wide", "\"wide\" is no size"},
                 {"1100x900", ""}};
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.m_pszStored);
        QSettings().setValue("viewPixelSize", c.m_pszStored);
        m_pMain.reset();
        CKXAutomation::setEnabled(false);
        m_pMain = std::make_unique<CKXMainWindow>();
        CKXAutomation::setEnabled(true);
        m_pMain->show();
        m_pMain->openDefaultSequences();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(m_pMain.get()));
        settle();
        const QString strStatus = m_pMain->statusBar()->currentMessage();
        const QSize page = window(0)->viewScrollArea()->viewport()->size();
        if (*c.m_pszReason)
        {
            EXPECT_TRUE(strStatus.contains(c.m_pszReason)) << strStatus.toStdString();
            EXPECT_FALSE(m_pMain->viewPixelSize().isValid());
            EXPECT_EQ(framebufferSize(window(0)), page * window(0)->glView()->devicePixelRatioF());
        }
        else
            EXPECT_EQ(framebufferSize(window(0)), QSize(1100, 900));
        EXPECT_EQ(QSettings().value("viewPixelSize").toString(), c.m_pszStored);
    }
    CKXGLView::overrideSystemFramebufferLimit(QSize());
}
