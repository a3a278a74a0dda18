// The automation mode, message boxes, errors, file dialogs, long processes and input blocking.
#include "CKXProcess.h"
#include "CKXProgressDialog.h"
#include "CKXProgressDisplay.h"
#include "CKXSErrorHandler.h"
#include "CKXSFileDialog.h"
#include "CKXSMessageBox.h"
#include "CKXUtilityFns.h"
#include "KXAutomation.h"

#include <QApplication>
#include <QDialog>
#include <QLabel>
#include <QMainWindow>
#include <QProgressBar>
#include <QPushButton>
#include <QTest>

#include <gtest/gtest.h>

namespace
{
// Switches the automation mode off for one test and always back on.
struct SInteractiveScope
{
    SInteractiveScope() { CKXAutomation::setEnabled(false); }
    ~SInteractiveScope() { CKXAutomation::setEnabled(true); }
};

CKXProgressDialog* visibleProgressDialog()
{
    for (QWidget* pWidget : QApplication::topLevelWidgets())
    {
        CKXProgressDialog* pDialog = qobject_cast<CKXProgressDialog*>(pWidget);
        if (pDialog && pDialog->isVisible())
        {
            return pDialog;
        }
    }
    return nullptr;
}
} // namespace

TEST(Automation, FileDialogsAnswerFromTheQueueAndCancelWhenEmpty)
{
    CKXAutomation::reset();
    CKXAutomation::enqueueFileName("/tmp/a.vkf");
    CKXAutomation::enqueueFileName("/tmp/movie");
    CKXAutomation::enqueueFileName("/tmp/clip.MOV");
    CKXAutomation::enqueueFileName("/tmp/old.vkf");

    QString strName = "proposed";
    EXPECT_EQ(CKXSFileDialog::getSaveFileName(nullptr, "Save Key Frames", strName,
                                              {"Tessaly Key Frame File (*.vkf)"}, {"vkf"}),
              0);
    EXPECT_EQ(strName, "/tmp/a.vkf");
    EXPECT_EQ(CKXSFileDialog::getSaveFileName(nullptr, "Record", strName,
                                              {"MP4 (*.mp4)", "QuickTime (*.mov)"}, {"mp4", "mov"}),
              0);
    EXPECT_EQ(strName, "/tmp/movie.mp4");
    EXPECT_EQ(CKXSFileDialog::getSaveFileName(nullptr, "Record", strName, {"MP4 (*.mp4)"},
                                              {"mp4", "mov"}),
              0);
    EXPECT_EQ(strName, "/tmp/clip.MOV");
    EXPECT_EQ(CKXSFileDialog::getOpenFileName(nullptr, "Load", strName, {"*.vkf"}, true), 0);
    EXPECT_EQ(strName, "/tmp/old.vkf");
    EXPECT_EQ(CKXAutomation::pendingFileNames(), 0);

    strName = "kept";
    EXPECT_NE(CKXSFileDialog::getSaveFileName(nullptr, "Save", strName, {}, {}), 0);
    EXPECT_NE(CKXSFileDialog::getOpenFileName(nullptr, "Load", strName, {}, true), 0);
    EXPECT_EQ(strName, "kept");

    // A faulty answer: chosen, but no name, which gets no extension either.
    CKXAutomation::enqueueEmptyChoice();
    EXPECT_EQ(CKXSFileDialog::getSaveFileName(nullptr, "Save", strName, {"F (*.f)"}, {"f"}), 0);
    EXPECT_EQ(strName, QString());
}

TEST(Automation, MessageBoxesAndErrorsAreRecordedNotShown)
{
    CKXAutomation::reset();
    EXPECT_EQ(CKXSMessageBox::information(nullptr, "Title", "First", "", "", "", 0, -1), 0);
    CKXSMessageBox::information(nullptr, QString(), "Second");
    CKXSErrorHandler::errorMessage(nullptr, KX_SUCCESS, "nothing to say");
    CKXSErrorHandler::errorMessage(nullptr, KX_FILE_ERROR, "/tmp/out.mp4");

    const QList<SKXRecordedMessage> list = CKXAutomation::messages();
    ASSERT_EQ(list.size(), 3);
    EXPECT_EQ(list[0].strTitle, "Title");
    EXPECT_EQ(list[0].strText, "First");
    EXPECT_TRUE(list[1].strTitle.isEmpty()) << "recorded as passed, not as shown";
    EXPECT_TRUE(list[2].strText.contains("/tmp/out.mp4"));
    EXPECT_EQ(list[2].strTitle, CKXUtilityFns::getAppName());

    // An unattended run keeps only the most recent messages.
    for (int i = 0; i < CKXAutomation::maxRecordedMessages() + 5; ++i)
    {
        CKXSMessageBox::information(nullptr, "T", QString::number(i));
    }
    EXPECT_EQ(CKXAutomation::messages().size(), CKXAutomation::maxRecordedMessages());
    EXPECT_EQ(CKXAutomation::messages().last().strText,
              QString::number(CKXAutomation::maxRecordedMessages() + 4));
    CKXAutomation::clearMessages();
    EXPECT_TRUE(CKXAutomation::messages().isEmpty());
}

TEST(LongProcess, AbortReachesTheLoopAndTheNextProcessStartsClean)
{
    CKXAutomation::reset();
    CKXProcess::startLongProcess(10, 1024, true, "Aborting...");
    CKXAutomation::abortAfterMessages(3);
    int nDone = 0;
    for (int i = 1; i <= 10; ++i)
    {
        CKXProcess::setProcessMessage(QString("Step %1").arg(i), i);
        QCoreApplication::processEvents();
        if (CKXProcess::isProcessAborted())
        {
            break;
        }
        ++nDone;
    }
    EXPECT_EQ(nDone, 2);
    CKXProcess::endLongProcess(1024);

    CKXProcess::startLongProcess(5, 1024, true, "Aborting...");
    EXPECT_FALSE(CKXProcess::isProcessAborted());
    EXPECT_TRUE(CKXAutomation::requestAbort());
    EXPECT_TRUE(CKXProcess::isProcessAborted());
    CKXProcess::endLongProcess(1024);

    // A process without a step bar (playback) can be aborted too, once.
    CKXProcess::startLongProcess(0, 512, false, QString());
    EXPECT_TRUE(CKXAutomation::requestAbort());
    EXPECT_FALSE(CKXAutomation::requestAbort());
    EXPECT_TRUE(CKXProcess::isProcessAborted());
    CKXProcess::endLongProcess(512);
    CKXProcess::startLongProcess(0, 512, false, QString());

    // Nested: ending the inner process (or a type that is not running) keeps the outer one.
    CKXProcess::startLongProcess(3, 1024, true, QString());
    CKXProcess::endLongProcess(1024);
    CKXProcess::endLongProcess(4096);
    EXPECT_TRUE(CKXProgressDisplay::instance()->isRunning());
    CKXProcess::endLongProcess(512);
    EXPECT_FALSE(CKXProgressDisplay::instance()->isRunning());
}

TEST(LongProcess, TheWindowOffersAbortAndGoesAwayAtTheEnd)
{
    SInteractiveScope interactive;
    QMainWindow main;
    main.resize(400, 300);
    main.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&main));

    CKXProcess::startLongProcess(5, 1024, true, "Aborting...");
    CKXProcess::setProcessMessage("Playing and Recording [2 of 5] frames.", 2);
    QCoreApplication::processEvents();
    CKXProgressDialog* pDialog = visibleProgressDialog();
    ASSERT_NE(pDialog, nullptr);
    EXPECT_EQ(pDialog->findChild<QProgressBar*>("progressBar")->value(), 2);
    EXPECT_EQ(pDialog->findChild<QProgressBar*>("progressBar")->maximum(), 5);
    QPushButton* pAbort = pDialog->findChild<QPushButton*>("abortButton");
    ASSERT_TRUE(pAbort->isVisible());
    QTest::mouseClick(pAbort, Qt::LeftButton);
    EXPECT_TRUE(CKXProcess::isProcessAborted());
    EXPECT_EQ(pDialog->message(), "Aborting...");

    CKXProcess::endLongProcess(1024);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_EQ(visibleProgressDialog(), nullptr);
}

TEST(LongProcess, DisabledInteractionBlocksOnlyTheMainWindow)
{
    QMainWindow main;
    QPushButton* pInMain = new QPushButton("main");
    main.setCentralWidget(pInMain);
    main.show();
    QDialog tool(&main);
    QPushButton* pInTool = new QPushButton("tool", &tool);
    tool.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&tool));
    int nMainClicks = 0;
    int nToolClicks = 0;
    QObject::connect(pInMain, &QPushButton::clicked, [&]() { ++nMainClicks; });
    QObject::connect(pInTool, &QPushButton::clicked, [&]() { ++nToolClicks; });

    CKXProcess::disableUserInteraction(true);
    QTest::mouseClick(pInMain, Qt::LeftButton);
    QTest::mouseClick(pInTool, Qt::LeftButton);
    EXPECT_EQ(nMainClicks, 0);
    EXPECT_EQ(nToolClicks, 1);
    CKXProcess::disableUserInteraction(false);
    QTest::mouseClick(pInMain, Qt::LeftButton);
    EXPECT_EQ(nMainClicks, 1);
}

TEST(UtilityFns, CursorRestoreLeavesOtherOverridesAlone)
{
    QApplication::setOverrideCursor(Qt::CrossCursor);
    CKXUtilityFns::setCursor(QCursor(Qt::WaitCursor));
    EXPECT_EQ(QApplication::overrideCursor()->shape(), Qt::WaitCursor);
    // Tools restore once more than they set (inner and outer clean-up).
    CKXUtilityFns::restoreCursor();
    CKXUtilityFns::restoreCursor();
    ASSERT_NE(QApplication::overrideCursor(), nullptr);
    EXPECT_EQ(QApplication::overrideCursor()->shape(), Qt::CrossCursor);
    QApplication::restoreOverrideCursor();

    EXPECT_TRUE(CKXUtilityFns::getAppName().startsWith("Tessaly"));
    EXPECT_FLOAT_EQ(LERP(2.0f, 6.0f, 0.25f), 3.0f);
    EXPECT_FLOAT_EQ(LERP(2.0f, 6.0f, 1.0f), 6.0f);
}
