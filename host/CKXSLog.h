// The host log.
#ifndef CKXSLOG_H
#define CKXSLOG_H

#include <QString>

class CKXSLog
{
public:
    virtual ~CKXSLog() = default;
    // Writes one line: strMessage with its level. strSource names the module and nCode a code
    // of its own (both may be empty / 0); strTime is the caller's time stamp text. Levels: 1 debug,
    // 2 information, 3 warning, 16 error. bPopup also shows the message to the user.
    virtual void log(const QString& strMessage, const QString& strSource, int nCode,
                     const QString& strTime, long nLevel, bool bPopup) = 0;
};

// The application's log; never null.
CKXSLog* getLogObject();

#endif // CKXSLOG_H
