// The hidden file a movie is written under until it is complete, and the one step that puts it
// in place of the chosen name. An existing movie of that name is therefore untouched until the
// new one is whole: a stopped, failed or killed recording leaves it byte for byte.
//
// Name: ".NAME.kxpart-PID-N.EXT" beside the chosen "NAME.EXT" (hidden; the same extension, so
// tools still see the movie type). PID is the writing process, N counts its movies. A partial
// movie whose process is gone (killed, crashed) is removed when the next movie is created in
// that folder. Processes are told apart by PID only: a folder shared over the network with
// another machine that records into it at the same moment is not supported.
#ifndef CKXPARTIALMOVIEFILE_H
#define CKXPARTIALMOVIEFILE_H

#include <QString>
#include <QStringList>

class CKXPartialMovieFile
{
public:
    // The partial name for the absolute path strTarget; every call gives a new name. The
    // base name is shortened when the name would exceed the file system's 255 bytes.
    static QString nameFor(const QString& strTarget);
    // The process id in a partial movie's file name (no folder), or 0 when it is not one.
    static qint64 ownerOf(const QString& strFileName);
    // Removes the partial movies in strFolder whose process no longer runs on this machine
    // (regular files only). Returns the removed files' paths.
    static QStringList removeStale(const QString& strFolder);
    // Flushes strPartial to the disk, gives it the permission bits of an existing strTarget and
    // renames it onto strTarget in one atomic step. Returns an empty text on success, otherwise
    // the reason (strPartial is then left for the caller to remove).
    static QString commit(const QString& strPartial, const QString& strTarget);
};

#endif // CKXPARTIALMOVIEFILE_H
