// Partial movie files: naming, removal of those of dead processes, and the final rename.
#include "CKXPartialMovieFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstring>

namespace
{

const int knMaxNameBytes = 255; // NAME_MAX of the usual Linux file systems

const QRegularExpression& partialPattern()
{
    static const QRegularExpression s_pattern(
        QStringLiteral(R"(^\..+\.kxpart-(\d{1,10})-\d{1,10}\.(mp4|mov|mpg)$)"),
        QRegularExpression::CaseInsensitiveOption);
    return s_pattern;
}

bool isRunning(pid_t nPid)
{
    // EPERM: it exists but belongs to another user, so it still runs.
    return ::kill(nPid, 0) == 0 || errno != ESRCH;
}

// fsync through a read-only descriptor: the data written by the muxer reaches the disk before
// the rename makes it the movie, so a power cut cannot leave an empty file under the name.
// Returns 0 or the errno of the failure.
int syncPath(const QString& strPath)
{
    const int nFd = ::open(QFile::encodeName(strPath).constData(), O_RDONLY | O_CLOEXEC);
    if (nFd < 0)
        return errno;
    const int nError = ::fsync(nFd) == 0 ? 0 : errno;
    ::close(nFd);
    return nError;
}

} // namespace

QString CKXPartialMovieFile::nameFor(const QString& strTarget)
{
    static std::atomic<unsigned> s_nCounter{0};
    const QFileInfo target(strTarget);
    const QString strTail =
        QStringLiteral(".kxpart-%1-%2.%3").arg(::getpid()).arg(++s_nCounter).arg(target.suffix());
    QString strBase = target.completeBaseName();
    while (!strBase.isEmpty() &&
           QFile::encodeName(QLatin1Char('.') + strBase + strTail).size() > knMaxNameBytes)
        strBase.chop(1);
    return target.absoluteDir().filePath(QLatin1Char('.') + strBase + strTail);
}

qint64 CKXPartialMovieFile::ownerOf(const QString& strFileName)
{
    const QRegularExpressionMatch match = partialPattern().match(strFileName);
    if (!match.hasMatch())
        return 0;
    const qint64 nPid = match.captured(1).toLongLong();
    return nPid > 1 && nPid <= INT_MAX ? nPid : 0;
}

QStringList CKXPartialMovieFile::removeStale(const QString& strFolder)
{
    QStringList listRemoved;
    const QDir folder(strFolder);
    const QStringList listNames =
        folder.entryList({QStringLiteral(".*.kxpart-*")},
                         QDir::Files | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    for (const QString& strName : listNames)
    {
        const qint64 nPid = ownerOf(strName);
        if (nPid == 0 || nPid == ::getpid() || isRunning(static_cast<pid_t>(nPid)))
            continue;
        const QString strPath = folder.filePath(strName);
        struct stat info = {};
        if (::lstat(QFile::encodeName(strPath).constData(), &info) == 0 && S_ISREG(info.st_mode) &&
            ::unlink(QFile::encodeName(strPath).constData()) == 0)
            listRemoved << strPath;
    }
    return listRemoved;
}

QString CKXPartialMovieFile::commit(const QString& strPartial, const QString& strTarget)
{
    const QByteArray partial = QFile::encodeName(strPartial);
    const QByteArray target = QFile::encodeName(strTarget);
    if (const int nError = syncPath(strPartial))
        return QString::fromLocal8Bit(std::strerror(nError));
    // The replaced movie's permissions carry over, as they did when movies were overwritten in
    // place (its owner cannot, without privileges).
    struct stat old = {};
    if (::stat(target.constData(), &old) == 0 && S_ISREG(old.st_mode))
        ::chmod(partial.constData(), old.st_mode & 07777);
    if (::rename(partial.constData(), target.constData()) != 0)
        return QString::fromLocal8Bit(std::strerror(errno));
    // The rename itself reaches the disk with the folder; a failure here loses nothing.
    syncPath(QFileInfo(strTarget).absolutePath());
    return QString();
}
