// Automation mode: lets tests and headless runs drive the viewer with nobody at the screen.
//
// While it is on, no host dialog blocks: file dialogs answer from a first-in first-out queue of
// file names, message boxes record their title and text instead of waiting for a click, and
// the long-process display shows no window. What a tool asked of the host is recorded so that
// tests can check it: each file dialog's caption, filters and extensions, each long process's
// type, each movie's creation arguments and frame size. With echo on (headless runs) recorded
// messages and progress lines also go to standard error. An Abort of the running long process can
// be requested programmatically, as if the user had pressed the display's Abort button. GUI thread
// only.
#ifndef KXAUTOMATION_H
#define KXAUTOMATION_H

#include <QList>
#include <QSize>
#include <QString>
#include <QStringList>

// One message box shown while automation was on.
struct SKXRecordedMessage
{
    QString strTitle;
    QString strText;
};

// One file dialog answered while automation was on, with the arguments the caller passed.
struct SKXRecordedFileDialog
{
    bool bSave = false;
    QString strCaption;
    QStringList listFilters;
    QStringList listExtensions; // save dialogs only
};

// One movie the encoder was asked to create while automation was on. Sizes in pixels.
struct SKXRecordedMovie
{
    QString strFileName; // as passed, before any path resolution
    QSize size;          // the movie's frame size
    unsigned nBitRate = 0;
    unsigned nKeyFrameInterval = 0;
    int nQuality = 0;
    int nFrames = 0;     // frames given to encodeImage, accepted or not
    QSize lastFrameSize; // size of the last image given to encodeImage
};

class CKXAutomation
{
public:
    static void setEnabled(bool bEnabled);
    static bool isEnabled();
    // Print recorded messages and progress to standard error (off by default).
    static void setEchoToStderr(bool bEcho);
    static bool echoToStderr();

    // File dialogs take their answers from this queue, oldest first. An empty queue answers
    // "cancelled".
    static void enqueueFileName(const QString& strFileName);
    static int pendingFileNames();
    static void clearFileNames();
    // Queues an answer that reports a choice but gives no name, a host fault that callers
    // must survive.
    static void enqueueEmptyChoice();
    // Removes the oldest queued answer into strFileName; false when the queue is empty or the
    // oldest answer is a cancel (an empty name). An empty choice gives true and an empty name.
    static bool takeFileName(QString& strFileName);

    // File dialogs, started long processes and movies so far, oldest first; each list keeps
    // at most maxRecordedMessages() entries.
    static void recordFileDialog(const SKXRecordedFileDialog& dialog);
    static QList<SKXRecordedFileDialog> fileDialogs();
    static void recordProcessType(int nType);
    static QList<int> processTypes();
    static void recordMovie(const SKXRecordedMovie& movie);
    // Counts a frame given to the encoder of the most recently recorded movie.
    static void recordMovieFrame(const QSize& frameSize);
    static QList<SKXRecordedMovie> movies();

    // Pretends the installed FFmpeg writes no movie type (the movie exporter offers none) while
    // automation is on. Off after reset().
    static void setNoMovieTypes(bool bNone);
    static bool noMovieTypes();

    // Message boxes shown so far, oldest first; at most maxRecordedMessages() are kept.
    static void recordMessage(const QString& strTitle, const QString& strText);
    static QList<SKXRecordedMessage> messages();
    static void clearMessages();
    static int maxRecordedMessages() { return 1000; }

    // Presses Abort on the running long process; false when none runs or it offers no Abort.
    static bool requestAbort();
    // Presses Abort once nMessages more progress messages have been shown by an abortable long
    // process (1: at the next message). 0 disarms it.
    static void abortAfterMessages(int nMessages);

    // Empties the queue and every record, offers the movie types again and disarms a pending
    // abort.
    static void reset();
};

#endif // KXAUTOMATION_H
