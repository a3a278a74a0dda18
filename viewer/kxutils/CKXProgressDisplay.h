// The state behind CKXProcess: the running long processes, their progress and abort, the
// progress window (GUI) or progress lines on standard error (automation with echo), and the
// input block of CKXProcess::disableUserInteraction. GUI thread only.
#ifndef CKXPROGRESSDISPLAY_H
#define CKXPROGRESSDISPLAY_H

#include <QElapsedTimer>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>

class CKXProgressDialog;

class CKXProgressDisplay : public QObject
{
    Q_OBJECT
public:
    static CKXProgressDisplay* instance();

    // Processes nest: the display stays until the outermost one ends. The abort flag is cleared
    // when the outermost process starts. Every process can be aborted; bShowSteps shows a bar
    // over nSteps steps, otherwise a busy indicator.
    void start(int nSteps, int nType, bool bShowSteps, const QString& strAbortMessage);
    // nStep -1: a message without a step count.
    void setMessage(const QString& strMessage, int nStep);
    // Ends the innermost process of type nType; a type that is not running is ignored.
    void end(int nType);
    bool isRunning() const { return !m_listTypes.isEmpty(); }
    bool isAborted() const { return m_bAborted; }
    QString lastMessage() const { return m_strLastMessage; }

    // Abort pressed; false when no process runs or it was already aborted.
    bool abort();
    // Automation: abort after nMessages more messages of the running process (0 disarms).
    void abortAfterMessages(int nMessages);

    // Swallows keyboard and mouse input to the main window (not to tool windows or the progress
    // window) while on.
    void setInputBlocked(bool bBlocked);
    bool isInputBlocked() const { return m_bInputBlocked; }

protected:
    bool eventFilter(QObject* pWatched, QEvent* pEvent) override;

private slots:
    void onClickAbort();

private:
    CKXProgressDisplay() = default;
    void printLine(const QString& strLine, bool bFinal);
    void showDialog();

    QList<int> m_listTypes; // running process types, outermost first
    int m_nSteps = 0;
    int m_nStep = 0;
    bool m_bAborted = false;
    QString m_strAbortMessage;
    QString m_strLastMessage;
    int m_nAbortAfter = 0;
    bool m_bInputBlocked = false;
    bool m_bLineOpen = false; // a progress line without its newline is on the terminal
    QElapsedTimer m_lastPrint;
    QPointer<CKXProgressDialog> m_pDialog;
};

#endif // CKXPROGRESSDISPLAY_H
