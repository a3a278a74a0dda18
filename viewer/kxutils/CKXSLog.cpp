// The viewer's log file, standard error echo and recent-lines buffer (see KXLog.h).
#include "KXLog.h"

#include "CKXSMessageBox.h"
#include "CKXUtilityFns.h"

#include <QApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMutex>
#include <QMutexLocker>
#include <QThread>

#include <cstdio>

namespace
{

// Shared by every call; guarded by m_mutex because FFmpeg logs from its own threads.
struct SLogState
{
    QMutex m_mutex;
    QString m_strPath = CKXLogFile::defaultFilePath();
    QFile m_file;
    bool m_bFileFailed = false; // the file could not be opened: lines go to stderr
    bool m_bEcho = false;
    QStringList m_listRecent;
};

// Never destroyed: encoders closed by static destructors at exit may still log.
SLogState& state()
{
    static SLogState* s_pState = new SLogState;
    return *s_pState;
}

void writeStderr(const QString& strLine)
{
    const QByteArray bytes = strLine.toLocal8Bit();
    std::fprintf(stderr, "%s\n", bytes.constData());
    std::fflush(stderr);
}

// Opens the file on the first write; false when there is no file to write.
bool ensureFileOpen(SLogState& s)
{
    if (s.m_file.isOpen())
        return true;
    if (s.m_strPath.isEmpty() || s.m_bFileFailed)
        return false;
    const QString strFolder = QFileInfo(s.m_strPath).absolutePath();
    s.m_file.setFileName(s.m_strPath);
    QString strReason;
    if (!QDir().mkpath(strFolder))
        strReason = QStringLiteral("cannot create the folder %1").arg(strFolder);
    else if (!s.m_file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Text))
        strReason = s.m_file.errorString();
    if (!strReason.isEmpty())
    {
        s.m_bFileFailed = true;
        writeStderr(QStringLiteral("log: cannot write %1 (%2); logging to standard error")
                        .arg(s.m_strPath, strReason));
        return false;
    }
    return true;
}

bool isGuiThreadOfApplication()
{
    auto* pApp = qobject_cast<QApplication*>(QCoreApplication::instance());
    return pApp && QThread::currentThread() == pApp->thread();
}

} // namespace

void CKXLogFile::log(const QString& strMessage, const QString& strSource, int nCode,
                     const QString& strTime, long nLevel, bool bPopup)
{
    // One call, one line: embedded line breaks would split a record in the file.
    QString strText = strMessage;
    strText.replace(QLatin1String("\r\n"), QLatin1String(" | "));
    strText.replace(QLatin1Char('\n'), QLatin1String(" | "));
    strText.replace(QLatin1Char('\r'), QLatin1String(" | "));

    QStringList listDetails;
    if (nCode != 0)
        listDetails << QStringLiteral("code %1").arg(nCode);
    if (!strTime.isEmpty())
        listDetails << QStringLiteral("at %1").arg(strTime);

    QString strLine =
        QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz"));
    strLine += QLatin1Char(' ') + levelName(nLevel) + QLatin1Char(' ');
    if (!strSource.isEmpty())
        strLine += strSource + QLatin1String(": ");
    strLine += strText;
    if (!listDetails.isEmpty())
        strLine += QLatin1String(" [") + listDetails.join(QLatin1String(", ")) + QLatin1Char(']');

    {
        SLogState& s = state();
        QMutexLocker lock(&s.m_mutex);
        s.m_listRecent.append(strLine);
        while (s.m_listRecent.size() > maxRecentLines())
            s.m_listRecent.removeFirst();
        const bool bWroteFile = ensureFileOpen(s);
        if (bWroteFile)
        {
            s.m_file.write(strLine.toUtf8() + '\n');
            s.m_file.flush(); // a crash right after must not lose the reason
        }
        if (s.m_bEcho || !bWroteFile)
            writeStderr(strLine);
    }

    // Outside the lock: the message box may log itself.
    if (bPopup && isGuiThreadOfApplication())
        CKXSMessageBox::information(nullptr, CKXUtilityFns::getAppName(), strMessage);
}

void CKXLogFile::setFilePath(const QString& strPath)
{
    SLogState& s = state();
    QMutexLocker lock(&s.m_mutex);
    if (s.m_file.isOpen())
        s.m_file.close();
    s.m_strPath = strPath;
    s.m_bFileFailed = false;
}

QString CKXLogFile::filePath()
{
    SLogState& s = state();
    QMutexLocker lock(&s.m_mutex);
    return s.m_strPath;
}

QString CKXLogFile::defaultFilePath()
{
    QString strBase = QString::fromLocal8Bit(qgetenv("XDG_CACHE_HOME"));
    if (strBase.isEmpty())
        strBase = QDir::homePath() + QLatin1String("/.cache");
    return strBase + QLatin1String("/kx3dviewer/kx3dviewer.log");
}

void CKXLogFile::setEchoToStderr(bool bEcho)
{
    SLogState& s = state();
    QMutexLocker lock(&s.m_mutex);
    s.m_bEcho = bEcho;
}

bool CKXLogFile::echoToStderr()
{
    SLogState& s = state();
    QMutexLocker lock(&s.m_mutex);
    return s.m_bEcho;
}

QStringList CKXLogFile::recentLines()
{
    SLogState& s = state();
    QMutexLocker lock(&s.m_mutex);
    return s.m_listRecent;
}

void CKXLogFile::clearRecentLines()
{
    SLogState& s = state();
    QMutexLocker lock(&s.m_mutex);
    s.m_listRecent.clear();
}

QString CKXLogFile::levelName(long nLevel)
{
    switch (nLevel)
    {
    case 1:
        return QStringLiteral("debug");
    case 2:
        return QStringLiteral("info");
    case 3:
        return QStringLiteral("warning");
    case 16:
        return QStringLiteral("error");
    default:
        return QString::number(nLevel);
    }
}

CKXLogFile* CKXLogFile::instance()
{
    static CKXLogFile* s_pLog = new CKXLogFile;
    return s_pLog;
}

CKXSLog* getLogObject()
{
    return CKXLogFile::instance();
}
