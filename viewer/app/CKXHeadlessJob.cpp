#include "CKXHeadlessJob.h"

#include "CKXGLView.h"
#include "CKXMainWindow.h"
#include "CKXPartialMovieFile.h"
#include "CKXPluginManager.h"
#include "CKXSequenceWindowImpl.h"
#include "CKXToolPluginBase.h"
#include "KXAutomation.h"
#include "KXLog.h"

#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QListWidget>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMetaObject>
#include <QScreen>
#include <QSpinBox>

#include <cstdio>

namespace
{

const char* const kToolName = "3D Animation";
const char* const kSavedMessage = "Key frame animation saved.";

// Log lines that mean a recording did not produce the whole movie. The recording reports its
// own failures only to the log, so the job reads them from there.
bool isRecordingFailure(const QString& strLine)
{
    static const char* const kFailures[] = {"Animation export aborted",
                                            "Movie recording support is available only",
                                            "Please select a valid file name"};
    for (const char* pszFailure : kFailures)
    {
        if (strLine.contains(QLatin1String(pszFailure)))
        {
            return true;
        }
    }
    // "date time level source: text": the encoder reports its own errors at level "error".
    return strLine.section(QLatin1Char(' '), 2, 2) == CKXLogFile::levelName(16);
}

} // namespace

CKXHeadlessJob::CKXHeadlessJob(CKXMainWindow& window, CKXPluginManager& plugins,
                               const CKXHeadlessJobOptions& options, const QSize& viewSize)
    : m_window(window), m_plugins(plugins), m_options(options), m_viewSize(viewSize)
{
}

int CKXHeadlessJob::run()
{
    // Nothing may wait for a user, whether or not --headless was given.
    CKXAutomation::setEnabled(true);
    CKXAutomation::setEchoToStderr(true);
    CKXAutomation::reset();
    settle(300); // the views make their GL contexts and first frames

    bool bOk = chooseSequence() && sizeView() && openTool();
    if (bOk && m_options.m_nFrameFactor > 0)
    {
        bOk = setSpinBox("m_pFrameFactorSpinBox", "--frame-factor", m_options.m_nFrameFactor);
    }
    if (bOk && m_options.m_nDuration > 0)
    {
        bOk = setSpinBox("m_pDurationSpinBox", "--duration", m_options.m_nDuration);
    }
    if (bOk && !m_options.m_strLoad.isEmpty())
    {
        bOk = load();
    }
    for (int i = 0; bOk && i < m_options.m_listPresets.size(); ++i)
    {
        bOk = runPreset(m_options.m_listPresets.at(i));
    }
    if (bOk && !m_options.m_strSave.isEmpty())
    {
        bOk = save();
    }
    if (bOk && m_options.m_bPlay)
    {
        bOk = play();
    }
    if (bOk && !m_options.m_strRecord.isEmpty())
    {
        bOk = record();
    }
    if (bOk)
    {
        progress(QStringLiteral("done."));
    }
    return bOk ? 0 : 1;
}

bool CKXHeadlessJob::chooseSequence()
{
    const QList<CKXSequenceWindowImpl*> windows = m_window.sequenceWindows();
    if (m_options.m_nSequence > windows.size())
    {
        return fail(QStringLiteral("--sequence %1: the viewer has %2 sequence windows.")
                        .arg(m_options.m_nSequence)
                        .arg(windows.size()));
    }
    m_pSequence = m_options.m_nSequence > 0 ? windows.at(m_options.m_nSequence - 1)
                                            : m_window.activeSequenceWindow();
    if (!m_pSequence)
    {
        return fail(QStringLiteral("no sequence window is open."));
    }
    m_window.activateSequenceWindow(m_pSequence);
    // The tool works on the 3D view only; its action is enabled on that tab.
    m_pSequence->setCurrentTab(QStringLiteral("3D View"));
    settle(50);
    progress(QStringLiteral("sequence \"%1\"").arg(m_pSequence->windowTitle()));
    return true;
}

bool CKXHeadlessJob::sizeView()
{
    CKXGLView* pView = m_pSequence->glView();
    if (!pView)
    {
        return fail(QStringLiteral("the sequence window has no 3D view."));
    }
    if (m_viewSize.isValid())
    {
        // A fixed size makes the layouts grow the sequence window around the view; the
        // sub-window then takes its new minimum and the main window grows to show it whole.
        pView->setFixedSize(m_viewSize);
        QMdiSubWindow* pSub = qobject_cast<QMdiSubWindow*>(m_pSequence->parentWidget());
        QWidget* pFrame = pSub ? static_cast<QWidget*>(pSub) : m_pSequence.data();
        pFrame->showNormal();
        pFrame->adjustSize();
        pFrame->move(0, 0);
        pFrame->raise();
        const QSize extra = pFrame->size() - m_window.workspace()->viewport()->size();
        if (extra.width() > 0 || extra.height() > 0)
        {
            m_window.resize(m_window.size() + extra.expandedTo(QSize(0, 0)));
        }
        settle(100);
        if (pView->size() != m_viewSize)
        {
            return fail(QStringLiteral("the 3D view could not be made %1x%2 pixels (it is %3x%4).")
                            .arg(m_viewSize.width())
                            .arg(m_viewSize.height())
                            .arg(pView->width())
                            .arg(pView->height()));
        }
    }
    progress(QStringLiteral("3D view %1x%2 pixels").arg(pView->width()).arg(pView->height()));
    return true;
}

bool CKXHeadlessJob::openTool()
{
    QAction* pAction = nullptr;
    for (CKXToolPluginBase* pPlugin : m_plugins.plugins())
    {
        QAction* pCandidate = pPlugin ? pPlugin->pluginAction() : nullptr;
        if (pCandidate &&
            pCandidate->text().compare(QLatin1String(kToolName), Qt::CaseInsensitive) == 0)
        {
            pAction = pCandidate;
        }
    }
    if (!pAction)
    {
        QString strSkipped;
        for (const SKXSkippedPlugin& skipped : m_plugins.skippedPlugins())
        {
            strSkipped += QStringLiteral("\n  %1: %2").arg(skipped.strPath, skipped.strReason);
        }
        return fail(QStringLiteral("no plug-in offers the \"%1\" tool (see --plugins).%2")
                        .arg(QLatin1String(kToolName), strSkipped));
    }
    if (!pAction->isEnabled())
    {
        return fail(QStringLiteral("the \"%1\" tool is not enabled for this sequence.")
                        .arg(QLatin1String(kToolName)));
    }
    pAction->trigger();
    settle(50);
    for (QWidget* pWidget : m_window.adoptedWidgets())
    {
        if (pWidget && pWidget->objectName() == QLatin1String(kToolName))
        {
            m_pDialog = pWidget;
        }
    }
    if (!m_pDialog || !m_pDialog->findChild<QListWidget*>(QStringLiteral("m_pKeyFrameListBox")))
    {
        return fail(QStringLiteral("the \"%1\" tool opened no key frame dialog.")
                        .arg(QLatin1String(kToolName)));
    }
    takeMessages();
    progress(QStringLiteral("opened the %1 tool").arg(QLatin1String(kToolName)));
    return true;
}

bool CKXHeadlessJob::setSpinBox(const char* pszObjectName, const char* pszOption, int nValue)
{
    QSpinBox* pSpin = m_pDialog->findChild<QSpinBox*>(QLatin1String(pszObjectName));
    if (!pSpin)
    {
        return fail(QStringLiteral("the dialog has no control for %1.").arg(pszOption));
    }
    if (nValue < pSpin->minimum() || nValue > pSpin->maximum())
    {
        return fail(QStringLiteral("%1 %2 is outside the dialog's range %3..%4.")
                        .arg(QLatin1String(pszOption))
                        .arg(nValue)
                        .arg(pSpin->minimum())
                        .arg(pSpin->maximum()));
    }
    pSpin->setValue(nValue); // emits valueChanged, as typing would
    QApplication::processEvents();
    progress(QStringLiteral("%1 %2").arg(QLatin1String(pszOption)).arg(pSpin->value()));
    return true;
}

bool CKXHeadlessJob::load()
{
    const QString strFile = QFileInfo(m_options.m_strLoad).absoluteFilePath();
    if (!QFileInfo(strFile).isFile())
    {
        return fail(QStringLiteral("no key frame file \"%1\".").arg(m_options.m_strLoad));
    }
    CKXAutomation::clearFileNames();
    CKXAutomation::enqueueFileName(strFile);
    if (!clickSlot("onClickLoadAnimationButton"))
    {
        return false;
    }
    const QStringList messages = takeMessages();
    if (!messages.isEmpty())
    {
        return fail(
            QStringLiteral("loading \"%1\": %2").arg(m_options.m_strLoad, messages.join(' ')));
    }
    if (keyFrameCount() == 0)
    {
        return fail(QStringLiteral("\"%1\" holds no key frames (not a key frame file?).")
                        .arg(m_options.m_strLoad));
    }
    progress(QStringLiteral("loaded %1 key frames from %2").arg(keyFrameCount()).arg(strFile));
    return true;
}

bool CKXHeadlessJob::runPreset(const QString& strPreset)
{
    QComboBox* pPresets = m_pDialog->findChild<QComboBox*>(QStringLiteral("m_pAnimationsCB"));
    if (!pPresets)
    {
        return fail(QStringLiteral("the dialog has no preset list."));
    }
    const int nIndex = pPresets->findText(strPreset, Qt::MatchExactly | Qt::MatchCaseSensitive);
    if (nIndex < 0)
    {
        QStringList entries;
        for (int i = 0; i < pPresets->count(); ++i)
        {
            entries << QStringLiteral("  \"%1\"").arg(pPresets->itemText(i));
        }
        return fail(QStringLiteral("unknown preset \"%1\". The presets are:\n%2")
                        .arg(strPreset, entries.join('\n')));
    }
    const int nBefore = keyFrameCount();
    pPresets->setCurrentIndex(nIndex);
    if (!clickSlot("onActivateAnimationsCB"))
    {
        return false;
    }
    const QStringList messages = takeMessages();
    if (!messages.isEmpty())
    {
        return fail(QStringLiteral("preset \"%1\": %2").arg(strPreset, messages.join(' ')));
    }
    if (keyFrameCount() <= nBefore)
    {
        return fail(QStringLiteral("preset \"%1\" added no key frames (the list holds %2).")
                        .arg(strPreset)
                        .arg(keyFrameCount()));
    }
    progress(QStringLiteral("preset \"%1\": %2 key frames in the list")
                 .arg(strPreset)
                 .arg(keyFrameCount()));
    return true;
}

bool CKXHeadlessJob::save()
{
    const QString strFile = QFileInfo(m_options.m_strSave).absoluteFilePath();
    QDir().mkpath(QFileInfo(strFile).absolutePath());
    CKXAutomation::clearFileNames();
    CKXAutomation::enqueueFileName(strFile);
    if (!clickSlot("onClickSaveAnimationButton"))
    {
        return false;
    }
    const QStringList messages = takeMessages();
    if (messages != QStringList(QLatin1String(kSavedMessage)))
    {
        return fail(QStringLiteral("saving \"%1\": %2")
                        .arg(m_options.m_strSave, messages.isEmpty()
                                                      ? QStringLiteral("nothing happened.")
                                                      : messages.join(' ')));
    }
    progress(QStringLiteral("saved %1 key frames to %2").arg(keyFrameCount()).arg(strFile));
    return true;
}

bool CKXHeadlessJob::play()
{
    progress(QStringLiteral("playing %1 key frames").arg(keyFrameCount()));
    if (!clickSlot("onClickPlayButton"))
    {
        return false;
    }
    const QStringList messages = takeMessages();
    if (!messages.isEmpty())
    {
        return fail(QStringLiteral("playing: %1").arg(messages.join(' ')));
    }
    progress(QStringLiteral("played"));
    return true;
}

bool CKXHeadlessJob::record()
{
    const QFileInfo target(QFileInfo(m_options.m_strRecord).absoluteFilePath());
    if (!QDir().mkpath(target.absolutePath()))
    {
        return fail(
            QStringLiteral("cannot create the folder of \"%1\".").arg(m_options.m_strRecord));
    }
    // The movie is recorded beside the target under a hidden partial name and renamed over it
    // in one step only when the job succeeded, so a job that fails for any reason keeps an older
    // movie. Being a partial movie's name, a killed job's file is removed by the next recording
    // into that folder.
    const QString strPartial = CKXPartialMovieFile::nameFor(target.absoluteFilePath());

    progress(QStringLiteral("recording %1 key frames").arg(keyFrameCount()));
    CKXLogFile::clearRecentLines();
    CKXAutomation::clearFileNames();
    CKXAutomation::enqueueFileName(strPartial);
    QElapsedTimer timer;
    timer.start();
    if (!clickSlot("onClickRecordButton"))
    {
        return false;
    }
    QStringList failures = takeMessages();
    for (const QString& strLine : CKXLogFile::recentLines())
    {
        if (isRecordingFailure(strLine))
        {
            failures << strLine;
        }
    }
    if (CKXAutomation::pendingFileNames() > 0)
    {
        failures << QStringLiteral("the dialog did not ask for a movie file.");
        CKXAutomation::clearFileNames();
    }
    const QFileInfo partial(strPartial);
    if (failures.isEmpty() && (!partial.isFile() || partial.size() == 0))
    {
        failures << QStringLiteral("no movie file was written.");
    }
    if (!failures.isEmpty())
    {
        QFile::remove(strPartial);
        return fail(
            QStringLiteral("recording \"%1\": %2").arg(m_options.m_strRecord, failures.join('\n')));
    }
    const QString strError = CKXPartialMovieFile::commit(strPartial, target.absoluteFilePath());
    if (!strError.isEmpty())
    {
        return fail(QStringLiteral("cannot move the movie to \"%1\" (%2; it is in \"%3\").")
                        .arg(target.absoluteFilePath(), strError, strPartial));
    }
    progress(QStringLiteral("recorded %1 (%2 bytes) in %3 s")
                 .arg(target.absoluteFilePath())
                 .arg(QFileInfo(target.absoluteFilePath()).size())
                 .arg(timer.elapsed() / 1000.0, 0, 'f', 1));
    return true;
}

bool CKXHeadlessJob::clickSlot(const char* pszSlot)
{
    if (!m_pDialog || !QMetaObject::invokeMethod(m_pDialog, pszSlot, Qt::DirectConnection))
    {
        return fail(QStringLiteral("the key frame dialog has no command \"%1\".").arg(pszSlot));
    }
    QApplication::processEvents();
    return true;
}

QStringList CKXHeadlessJob::takeMessages()
{
    QStringList texts;
    for (const SKXRecordedMessage& message : CKXAutomation::messages())
    {
        texts << message.strText;
    }
    CKXAutomation::clearMessages();
    return texts;
}

int CKXHeadlessJob::keyFrameCount() const
{
    const QListWidget* pList =
        m_pDialog ? m_pDialog->findChild<QListWidget*>(QStringLiteral("m_pKeyFrameListBox"))
                  : nullptr;
    return pList ? pList->count() : 0;
}

bool CKXHeadlessJob::fail(const QString& strText)
{
    std::fprintf(stderr, "kx3dviewer: error: %s\n", qPrintable(strText));
    std::fflush(stderr);
    return false;
}

void CKXHeadlessJob::progress(const QString& strText)
{
    std::printf("kx3dviewer: %s\n", qPrintable(strText));
    std::fflush(stdout);
}

void CKXHeadlessJob::settle(int nMilliseconds)
{
    QElapsedTimer timer;
    timer.start();
    do
    {
        QApplication::processEvents(QEventLoop::AllEvents, 20);
    } while (timer.elapsed() < nMilliseconds);
}
