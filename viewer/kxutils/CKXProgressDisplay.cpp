#include "CKXProgressDisplay.h"

#include "CKXProgressDialog.h"
#include "KXAutomation.h"

#include <QApplication>
#include <QEvent>
#include <QMainWindow>

#include <cstdio>
#include <unistd.h>

namespace
{
// Progress lines on a non-terminal (a CI log) are thinned out to this interval.
constexpr qint64 kPrintIntervalMs = 250;

QWidget* mainWindow()
{
    for (QWidget* pWidget : QApplication::topLevelWidgets())
    {
        if (qobject_cast<QMainWindow*>(pWidget) && pWidget->isVisible())
        {
            return pWidget;
        }
    }
    return QApplication::activeWindow();
}

bool isInputEvent(QEvent::Type eType)
{
    switch (eType)
    {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonRelease:
    case QEvent::MouseButtonDblClick:
    case QEvent::MouseMove:
    case QEvent::Wheel:
    case QEvent::KeyPress:
    case QEvent::KeyRelease:
    case QEvent::Shortcut:
    case QEvent::ShortcutOverride:
    case QEvent::ContextMenu:
    case QEvent::TouchBegin:
        return true;
    default:
        return false;
    }
}
} // namespace

CKXProgressDisplay* CKXProgressDisplay::instance()
{
    static CKXProgressDisplay* s_pInstance = new CKXProgressDisplay;
    return s_pInstance;
}

void CKXProgressDisplay::start(int nSteps, int nType, bool bShowSteps,
                               const QString& strAbortMessage)
{
    if (m_listTypes.isEmpty())
    {
        m_bAborted = false;
        m_strLastMessage.clear();
    }
    m_listTypes.append(nType);
    m_nSteps = bShowSteps ? qMax(0, nSteps) : 0;
    m_nStep = 0;
    m_strAbortMessage = strAbortMessage;
    m_lastPrint.invalidate();

    if (CKXAutomation::isEnabled() || !qApp)
    {
        CKXAutomation::recordProcessType(nType);
        return;
    }
    showDialog();
}

void CKXProgressDisplay::showDialog()
{
    if (!m_pDialog)
    {
        QWidget* pParent = mainWindow();
        m_pDialog = new CKXProgressDialog(pParent);
        connect(m_pDialog, &CKXProgressDialog::signalAbortClicked, this,
                &CKXProgressDisplay::onClickAbort);
        m_pDialog->setWindowTitle(QApplication::applicationDisplayName());
        m_pDialog->adjustSize();
        // Bottom right of the main window, so it does not cover the 3D view being played.
        if (pParent)
        {
            const QRect rcFrame = pParent->frameGeometry();
            m_pDialog->move(rcFrame.right() - m_pDialog->width() - 40,
                            rcFrame.bottom() - m_pDialog->height() - 60);
        }
    }
    m_pDialog->setSteps(m_nSteps);
    m_pDialog->show();
    m_pDialog->raise();
}

void CKXProgressDisplay::setMessage(const QString& strMessage, int nStep)
{
    m_strLastMessage = strMessage;
    if (nStep >= 0)
    {
        m_nStep = nStep;
    }
    if (m_pDialog)
    {
        if (!m_bAborted)
        {
            m_pDialog->setMessage(strMessage);
        }
        if (nStep >= 0)
        {
            m_pDialog->setStep(nStep);
        }
    }
    if (CKXAutomation::isEnabled() && CKXAutomation::echoToStderr())
    {
        QString strLine = strMessage;
        if (m_nSteps > 0 && nStep >= 0)
        {
            strLine = QStringLiteral("[%1/%2] %3").arg(nStep).arg(m_nSteps).arg(strMessage);
        }
        printLine(strLine, false);
    }
    if (m_nAbortAfter > 0 && isRunning())
    {
        if (--m_nAbortAfter == 0)
        {
            abort();
        }
    }
}

void CKXProgressDisplay::end(int nType)
{
    const int nIndex = m_listTypes.lastIndexOf(nType);
    if (nIndex < 0)
    {
        return;
    }
    m_listTypes.removeAt(nIndex);
    if (!m_listTypes.isEmpty())
    {
        return;
    }
    m_nAbortAfter = 0;
    if (m_bLineOpen)
    {
        std::fputc('\n', stderr);
        m_bLineOpen = false;
    }
    if (m_pDialog)
    {
        m_pDialog->hide();
        m_pDialog->deleteLater();
        m_pDialog = nullptr;
    }
}

bool CKXProgressDisplay::abort()
{
    if (!isRunning() || m_bAborted)
    {
        return false;
    }
    m_bAborted = true;
    if (m_pDialog)
    {
        m_pDialog->showAborting(m_strAbortMessage);
    }
    if (CKXAutomation::isEnabled() && CKXAutomation::echoToStderr())
    {
        printLine(m_strAbortMessage.isEmpty() ? QStringLiteral("Aborted.") : m_strAbortMessage,
                  true);
    }
    return true;
}

void CKXProgressDisplay::abortAfterMessages(int nMessages)
{
    m_nAbortAfter = qMax(0, nMessages);
}

void CKXProgressDisplay::onClickAbort()
{
    abort();
}

void CKXProgressDisplay::printLine(const QString& strLine, bool bFinal)
{
    static const bool s_bTerminal = isatty(fileno(stderr)) != 0;
    const QByteArray baLine = strLine.toLocal8Bit();
    if (s_bTerminal)
    {
        // One line that rewrites itself.
        std::fprintf(stderr, "\r\033[K%s%s", baLine.constData(), bFinal ? "\n" : "");
        m_bLineOpen = !bFinal;
    }
    else
    {
        const bool bLastStep = m_nSteps > 0 && m_nStep >= m_nSteps;
        if (!bFinal && !bLastStep && m_lastPrint.isValid() &&
            m_lastPrint.elapsed() < kPrintIntervalMs)
        {
            return;
        }
        std::fprintf(stderr, "%s\n", baLine.constData());
        m_lastPrint.start();
    }
    std::fflush(stderr);
}

void CKXProgressDisplay::setInputBlocked(bool bBlocked)
{
    if (bBlocked == m_bInputBlocked || !qApp)
    {
        return;
    }
    m_bInputBlocked = bBlocked;
    if (bBlocked)
    {
        qApp->installEventFilter(this);
    }
    else
    {
        qApp->removeEventFilter(this);
    }
}

bool CKXProgressDisplay::eventFilter(QObject* pWatched, QEvent* pEvent)
{
    if (m_bInputBlocked && isInputEvent(pEvent->type()) && pWatched->isWidgetType())
    {
        // Only the main window's own input: tool windows (a plug-in's dialog with its Stop
        // button) and the progress window are separate windows and stay usable.
        QWidget* pWindow = static_cast<QWidget*>(pWatched)->window();
        if (qobject_cast<QMainWindow*>(pWindow))
        {
            return true;
        }
    }
    return QObject::eventFilter(pWatched, pEvent);
}
