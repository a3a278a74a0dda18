// The 3D Animation plug-in loaded through QPluginLoader into the real viewer main window with its
// two sample sequences, in automation mode (file dialogs answer from a queue, message boxes are
// recorded). Tests drive the tool through its action, the dialog's widgets and slots, and read
// the results back from the viewer's scene and 3D view.
#ifndef CKXPLUGINTESTFIXTURE_H
#define CKXPLUGINTESTFIXTURE_H

#include "../common/KXTestFiles.h"
#include "3DMath.h"
#include "CKXGLView.h"
#include "CKXMainWindow.h"
#include "CKXPluginManager.h"
#include "CKXProgressDisplay.h"
#include "CKXSequenceWindowImpl.h"
#include "CKXToolPluginBase.h"
#include "KXAutomation.h"
#include "KXLog.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QListWidget>
#include <QMap>
#include <QMenu>
#include <QProcess>
#include <QSlider>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QTimer>
#include <QToolButton>

#include <gtest/gtest.h>

#include <functional>

// Frame count, width, height and duration of a movie as ffprobe reads them (none when it
// is no movie).
inline QMap<QString, QString> probeMovie(const QString& strFile)
{
    QProcess process;
    process.start("ffprobe", {"-v", "error", "-select_streams", "v:0", "-count_frames",
                              "-show_entries", "stream=nb_read_frames,width,height:format=duration",
                              "-of", "default=nw=1", strFile});
    process.waitForFinished(20000);
    QMap<QString, QString> values;
    for (const QString& strLine : QString::fromUtf8(process.readAllStandardOutput()).split('\n'))
    {
        values.insert(strLine.section('=', 0, 0), strLine.section('=', 1));
    }
    return values;
}

// The four components of a rotation agree within dTolerance.
inline void expectRotationNear(const unitquaternion& actual, const unitquaternion& expected,
                               double dTolerance)
{
    EXPECT_NEAR(actual.w(), expected.w(), dTolerance);
    EXPECT_NEAR(actual.x(), expected.x(), dTolerance);
    EXPECT_NEAR(actual.y(), expected.y(), dTolerance);
    EXPECT_NEAR(actual.z(), expected.z(), dTolerance);
}

class CKXPluginTestFixture : public ::testing::Test
{
protected:
    // Opens the main window at that size with the default sequences and loads the plug-in; the
    // first sequence window is active.
    void startViewer(const QSize& mainSize)
    {
        CKXAutomation::setEnabled(true);
        CKXAutomation::reset();
        m_pMain = new CKXMainWindow;
        m_pMain->resize(mainSize);
        m_pMain->show();
        m_pMain->openDefaultSequences();
        QApplication::processEvents();
        m_pManager = new CKXPluginManager(m_pMain);
        QString strReason;
        ASSERT_TRUE(m_pManager->loadPlugin(QStringLiteral(KX_PLUGIN_FILE), &strReason))
            << strReason.toStdString();
        m_pPlugin = m_pManager->plugins().value(0);
        ASSERT_TRUE(m_pPlugin);
        ASSERT_EQ(m_pMain->sequenceWindows().size(), 2);
        m_pA = m_pMain->sequenceWindows().at(0);
        m_pB = m_pMain->sequenceWindows().at(1);
        m_pMain->activateSequenceWindow(m_pA);
    }

    void TearDown() override
    {
        delete m_pManager; // deletes the plug-in, which deletes its dialog
        delete m_pMain;
    }

    // Starts the viewer with an empty log, gives sequence A's 3D view a fixed size (recorded
    // movies follow it) and opens the dialog beside it.
    void openDialogOnView(const QSize& viewSize, const QSize& mainSize = QSize(1000, 700))
    {
        CKXLogFile::setFilePath(QString());
        CKXLogFile::clearRecentLines();
        startViewer(mainSize);
        if (HasFatalFailure())
        {
            return;
        }
        m_pView = m_pA->glView();
        m_pView->setFixedSize(viewSize);
        ASSERT_TRUE(openDialog());
    }

    // Opens the tool as the Tools menu would and returns its dialog (null when none appeared).
    QWidget* openDialog()
    {
        m_pPlugin->pluginAction()->trigger();
        QApplication::processEvents();
        QWidget* pFound = nullptr;
        for (QWidget* pWidget : m_pMain->adoptedWidgets())
        {
            if (pWidget && pWidget->objectName() == QLatin1String("3D Animation"))
            {
                EXPECT_EQ(pFound, nullptr) << "more than one dialog";
                pFound = pWidget;
            }
        }
        m_pDlg = pFound;
        if (pFound)
        {
            m_pList = pFound->findChild<QListWidget*>("m_pKeyFrameListBox");
            m_pFps = pFound->findChild<QSpinBox*>("m_pFPSSpinBox");
            m_pDuration = pFound->findChild<QSpinBox*>("m_pDurationSpinBox");
            m_pTimeSpin = pFound->findChild<QSpinBox*>("m_pTimeScaleSpinBox");
            m_pSlider = pFound->findChild<QSlider*>("m_pTimeScaleSlider");
        }
        return pFound;
    }

    QAbstractButton* button(const char* pszName) const
    {
        return m_pDlg->findChild<QAbstractButton*>(pszName);
    }

    void click(const char* pszButton)
    {
        button(pszButton)->click();
        QApplication::processEvents();
    }

    QStringList rows() const
    {
        QStringList list;
        for (int i = 0; i < m_pList->count(); ++i)
        {
            list << m_pList->item(i)->text();
        }
        return list;
    }

    // The text of the last message box shown, or none.
    static QString lastMessage()
    {
        const QList<SKXRecordedMessage> messages = CKXAutomation::messages();
        return messages.isEmpty() ? QString() : messages.last().strText;
    }

    // Selects a row as a click would; the dialog applies that key frame.
    void selectRow(int nRow)
    {
        m_pList->clearSelection();
        m_pList->setCurrentRow(nRow, QItemSelectionModel::ClearAndSelect);
    }

    // Two key frames in sequence A: the view as it is, then rotated by q (stamps 0 and 100).
    void addTwoKeyFrames(const unitquaternion& q)
    {
        click("m_pAddKeyframeButton");
        m_pA->glView()->setCurrentQuaternion(q);
        click("m_pAddKeyframeButton");
        ASSERT_EQ(m_pList->count(), 2);
    }

    // Triggers an entry of the delete menu: 0 is Delete Current, 1 Delete All.
    void deleteAction(int nIndex)
    {
        m_pDlg->findChild<QToolButton*>("m_pDeleteKeyframesButton")
            ->menu()
            ->actions()
            .at(nIndex)
            ->trigger();
    }

    // Loads a key frame file made of these KeyFrame elements through the dialog's Load.
    void loadKeyFrames(const QByteArray& keyFrames)
    {
        QTemporaryDir dir;
        kxWriteFile(dir.filePath("frames.vkf"),
                    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                    "<!DOCTYPE KX42.KeyFrameAnimation.Data>\n<KeyFrameAnimation>\n" +
                        keyFrames + "</KeyFrameAnimation>\n");
        CKXAutomation::enqueueFileName(dir.filePath("frames.vkf"));
        click("m_pLoadAnimButton");
    }

    // Runs onTick at each event pass of a running loop until it returns true.
    void whileRunning(std::function<bool()> onTick)
    {
        auto* pTimer = new QTimer(m_pDlg);
        QObject::connect(pTimer, &QTimer::timeout,
                         [pTimer, onTick]
                         {
                             if (onTick())
                             {
                                 pTimer->stop();
                             }
                         });
        pTimer->start(0);
    }

    // Play and Record show their idle faces, and the view and the progress display rest.
    void expectIdle() const
    {
        EXPECT_EQ(button("m_pPlayButton")->text(), "   Play");
        EXPECT_EQ(button("m_pRecordButton")->text(), "   Record");
        EXPECT_FALSE(m_pView->isKFAnimating());
        EXPECT_FALSE(m_pView->isKFRecording());
        EXPECT_FALSE(CKXProgressDisplay::instance()->isRunning());
    }

    static QString progressText() { return CKXProgressDisplay::instance()->lastMessage(); }

    // The text appears in exactly one of the log lines since they were last cleared.
    static bool logged(const QString& strText)
    {
        return CKXLogFile::recentLines().filter(strText).size() == 1;
    }

    CKXMainWindow* m_pMain = nullptr;
    CKXPluginManager* m_pManager = nullptr;
    CKXToolPluginBase* m_pPlugin = nullptr;
    CKXSequenceWindowImpl* m_pA = nullptr;
    CKXSequenceWindowImpl* m_pB = nullptr;
    QWidget* m_pDlg = nullptr;
    QListWidget* m_pList = nullptr;
    CKXGLView* m_pView = nullptr; // set by openDialogOnView
    // The dialog's frame rate, duration and time scale controls, set by openDialog.
    QSpinBox* m_pFps = nullptr;
    QSpinBox* m_pDuration = nullptr;
    QSpinBox* m_pTimeSpin = nullptr;
    QSlider* m_pSlider = nullptr;
};

#endif // CKXPLUGINTESTFIXTURE_H
