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
#include "CKXSequenceWindowImpl.h"
#include "CKXToolPluginBase.h"
#include "KXAutomation.h"
#include "KXLog.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QDir>
#include <QListWidget>
#include <QMap>
#include <QProcess>
#include <QSpinBox>

#include <gtest/gtest.h>

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
        m_pFps = m_pDlg->findChild<QSpinBox*>("m_pFPSSpinBox");
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
        m_pList = pFound ? pFound->findChild<QListWidget*>("m_pKeyFrameListBox") : nullptr;
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

    CKXMainWindow* m_pMain = nullptr;
    CKXPluginManager* m_pManager = nullptr;
    CKXToolPluginBase* m_pPlugin = nullptr;
    CKXSequenceWindowImpl* m_pA = nullptr;
    CKXSequenceWindowImpl* m_pB = nullptr;
    QWidget* m_pDlg = nullptr;
    QListWidget* m_pList = nullptr;
    CKXGLView* m_pView = nullptr; // set by openDialogOnView
    QSpinBox* m_pFps = nullptr;   // the dialog's frame rate box, set by openDialogOnView
};

#endif // CKXPLUGINTESTFIXTURE_H
