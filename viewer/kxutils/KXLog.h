// The viewer's log: the one CKXSLog object that getLogObject() returns.
//
// Every line goes to a log file (created on the first write, with its folder) and, when asked,
// to standard error; the most recent lines are also kept in memory for tests and diagnostics.
// If the log file cannot be written, lines go to standard error instead, so none are lost.
// All members are safe to call from any thread (FFmpeg reports from its worker threads).
#ifndef KXLOG_H
#define KXLOG_H

#include "CKXSLog.h"

#include <QStringList>

class CKXLogFile : public CKXSLog
{
public:
    // Line format: "2024-05-17 14:03:12.345 warning VideoEncoderMAC: text [code 3, at 11:05:38]";
    // the bracket lists only the code (when nonzero) and the caller's time text (when not empty).
    // bPopup additionally shows strMessage in a message box, only on the GUI thread of a running
    // QApplication.
    void log(const QString& strMessage, const QString& strSource, int nCode, const QString& strTime,
             long nLevel, bool bPopup) override;

    // The log file. Default: $XDG_CACHE_HOME/kx3dviewer/kx3dviewer.log, or
    // ~/.cache/kx3dviewer/kx3dviewer.log without XDG_CACHE_HOME. With an empty path, as with a
    // file that cannot be written, lines go to standard error only.
    static void setFilePath(const QString& strPath);
    static QString filePath();
    static QString defaultFilePath();
    // Echo every line to standard error as well (headless runs); off by default.
    static void setEchoToStderr(bool bEcho);
    static bool echoToStderr();

    // The last lines written (at most maxRecentLines(), oldest first), as they appear in the file.
    static QStringList recentLines();
    static void clearRecentLines();
    static int maxRecentLines() { return 500; }

    // "debug" (1), "info" (2), "warning" (3), "error" (16); any other level as its number.
    static QString levelName(long nLevel);

    // The single instance; never null, lives until the process ends.
    static CKXLogFile* instance();

private:
    CKXLogFile() = default;
};

#endif // KXLOG_H
