// Automation mode: lets tests and headless runs drive the viewer with nobody at the screen.
//
// While it is on, no host dialog blocks: file dialogs answer from a first-in first-out queue of
// file names, message boxes record their title and text instead of waiting for a click, and
// the long-process display shows no window. With echo on (headless runs) recorded messages and
// progress lines also go to standard error. An Abort of the running long process can be
// requested programmatically, as if the user had pressed the display's Abort button.
// GUI thread only.
#ifndef KXAUTOMATION_H
#define KXAUTOMATION_H

#include <QList>
#include <QString>

// One message box shown while automation was on.
struct SKXRecordedMessage
{
    QString strTitle;
    QString strText;
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
    // Removes the oldest queued name into strFileName; false when the queue is empty.
    static bool takeFileName(QString& strFileName);

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

    // Empties the queue and the message list and disarms a pending abort.
    static void reset();
};

#endif // KXAUTOMATION_H
