#include "KXAutomation.h"

#include "CKXProgressDisplay.h"

#include <QQueue>

#include <cstdio>

namespace
{
bool g_bEnabled = false;
bool g_bEcho = false;
QQueue<QString> g_queueFileNames;
QList<SKXRecordedMessage> g_listMessages;
} // namespace

void CKXAutomation::setEnabled(bool bEnabled)
{
    g_bEnabled = bEnabled;
}

bool CKXAutomation::isEnabled()
{
    return g_bEnabled;
}

void CKXAutomation::setEchoToStderr(bool bEcho)
{
    g_bEcho = bEcho;
}

bool CKXAutomation::echoToStderr()
{
    return g_bEcho;
}

void CKXAutomation::enqueueFileName(const QString& strFileName)
{
    g_queueFileNames.enqueue(strFileName);
}

int CKXAutomation::pendingFileNames()
{
    return g_queueFileNames.size();
}

void CKXAutomation::clearFileNames()
{
    g_queueFileNames.clear();
}

bool CKXAutomation::takeFileName(QString& strFileName)
{
    if (g_queueFileNames.isEmpty())
    {
        return false;
    }
    strFileName = g_queueFileNames.dequeue();
    return true;
}

void CKXAutomation::recordMessage(const QString& strTitle, const QString& strText)
{
    // A long unattended run must not grow without bound: the oldest messages go first.
    if (g_listMessages.size() >= maxRecordedMessages())
    {
        g_listMessages.removeFirst();
    }
    g_listMessages.append(SKXRecordedMessage{strTitle, strText});
    if (g_bEcho)
    {
        std::fprintf(stderr, "[%s] %s\n", strTitle.toLocal8Bit().constData(),
                     strText.toLocal8Bit().constData());
        std::fflush(stderr);
    }
}

QList<SKXRecordedMessage> CKXAutomation::messages()
{
    return g_listMessages;
}

void CKXAutomation::clearMessages()
{
    g_listMessages.clear();
}

bool CKXAutomation::requestAbort()
{
    return CKXProgressDisplay::instance()->abort();
}

void CKXAutomation::abortAfterMessages(int nMessages)
{
    CKXProgressDisplay::instance()->abortAfterMessages(nMessages);
}

void CKXAutomation::reset()
{
    g_queueFileNames.clear();
    g_listMessages.clear();
    CKXProgressDisplay::instance()->abortAfterMessages(0);
}
