// Long processes: progress display with an Abort button, run on the GUI thread by a loop that
// processes events between its steps.
#ifndef CKXPROCESS_H
#define CKXPROCESS_H

#include <QString>

class CKXProcess
{
public:
    // Starts a long process of type nType with nSteps steps (0: no step count). The display
    // always offers Abort; strAbortMessage is shown once it was pressed. bShowSteps asks for a
    // progress bar over the nSteps steps (otherwise a busy indicator).
    static void startLongProcess(int nSteps, int nType, bool bShowSteps,
                                 const QString& strAbortMessage);
    // Shows a message (and with nStep the progress, 1..nSteps).
    static void setProcessMessage(const QString& strMessage, bool bLog = false);
    static void setProcessMessage(const QString& strMessage, int nStep, bool bLog = false);
    // The user pressed Abort since the process started.
    static bool isProcessAborted();
    static void endLongProcess(int nType);
    // True disables the main window's input (the process display stays usable).
    static void disableUserInteraction(bool bDisable);
};

#endif // CKXPROCESS_H
