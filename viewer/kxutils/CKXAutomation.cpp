#include "KXAutomation.h"

#include "CKXProgressDisplay.h"

#include <QQueue>

#include <cstdio>

namespace
{
bool g_bEnabled = false;
bool g_bEcho = false;
bool g_bNoMovieTypes = false;
struct SFileAnswer
{
    QString strFileName;
    bool bChosen; // false: the user cancelled
};
QQueue<SFileAnswer> g_queueFileNames;
QList<SKXRecordedMessage> g_listMessages;
QList<SKXRecordedFileDialog> g_listFileDialogs;
QList<int> g_listProcessTypes;
QList<SKXRecordedMovie> g_listMovies;

// A long unattended run must not grow without bound: the oldest entries go first.
template <typename T> void appendBounded(QList<T>& list, const T& value)
{
    if (list.size() >= CKXAutomation::maxRecordedMessages())
    {
        list.removeFirst();
    }
    list.append(value);
}
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
    // An empty name is what a cancelled dialog leaves.
    g_queueFileNames.enqueue(SFileAnswer{strFileName, !strFileName.isEmpty()});
}

void CKXAutomation::enqueueEmptyChoice()
{
    g_queueFileNames.enqueue(SFileAnswer{QString(), true});
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
    const SFileAnswer answer = g_queueFileNames.dequeue();
    if (!answer.bChosen)
    {
        return false;
    }
    strFileName = answer.strFileName;
    return true;
}

void CKXAutomation::recordMessage(const QString& strTitle, const QString& strText)
{
    appendBounded(g_listMessages, SKXRecordedMessage{strTitle, strText});
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

void CKXAutomation::recordFileDialog(const SKXRecordedFileDialog& dialog)
{
    appendBounded(g_listFileDialogs, dialog);
}

QList<SKXRecordedFileDialog> CKXAutomation::fileDialogs()
{
    return g_listFileDialogs;
}

void CKXAutomation::recordProcessType(int nType)
{
    appendBounded(g_listProcessTypes, nType);
}

QList<int> CKXAutomation::processTypes()
{
    return g_listProcessTypes;
}

void CKXAutomation::recordMovie(const SKXRecordedMovie& movie)
{
    appendBounded(g_listMovies, movie);
}

void CKXAutomation::recordMovieFrame(const QSize& frameSize)
{
    if (!g_listMovies.isEmpty())
    {
        ++g_listMovies.last().nFrames;
        g_listMovies.last().lastFrameSize = frameSize;
    }
}

QList<SKXRecordedMovie> CKXAutomation::movies()
{
    return g_listMovies;
}

void CKXAutomation::setNoMovieTypes(bool bNone)
{
    g_bNoMovieTypes = bNone;
}

bool CKXAutomation::noMovieTypes()
{
    return g_bEnabled && g_bNoMovieTypes;
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
    g_listFileDialogs.clear();
    g_listProcessTypes.clear();
    g_listMovies.clear();
    g_bNoMovieTypes = false;
    CKXProgressDisplay::instance()->abortAfterMessages(0);
}
