// Whole-file reads and writes for the tests that check what stays on disk.
#ifndef KX_TEST_FILES_H
#define KX_TEST_FILES_H

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QString>

#include <gtest/gtest.h>

// The bytes of a file, or "(none)" where there is no readable file, so that a missing file
// never compares equal to an empty one.
inline QByteArray kxFileContents(const QString& strFile)
{
    QFile file(strFile);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(none)");
}

// Replaces the file's contents; a failure fails the calling test.
inline void kxWriteFile(const QString& strFile, const QByteArray& data)
{
    QFile file(strFile);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate) &&
                file.write(data) == data.size())
        << strFile.toStdString();
}

// The hidden files movies are written to until they are complete, in strFolder.
inline QStringList partialFiles(const QString& strFolder)
{
    return QDir(strFolder).entryList({".*kxpart*"}, QDir::Files | QDir::Hidden);
}

#endif // KX_TEST_FILES_H
