// How the volume readers' fuzzer turns its bytes into a file, shared with the test that replays
// the inputs it found faults with: an even first byte makes the rest a ".nii" file, an odd one the
// only file of a DICOM folder.
#ifndef KXVOLUMEFUZZINPUT_H
#define KXVOLUMEFUZZINPUT_H

#include "CKXDicomReader.h"
#include "CKXNiftiReader.h"

#include <QDir>
#include <QFile>

#include <cstddef>
#include <cstdint>

// Writes the input into `strDir` (an empty folder the caller owns) and reads it. The result is
// the reader's; false with no message when the file could not even be written.
inline bool kxReadVolumeFuzzInput(const std::uint8_t* pData, std::size_t nSize,
                                  const QString& strDir, SKXVolumeData& volume, QString& strError)
{
    strError.clear();
    if (nSize == 0)
        return false;
    const bool bNifti = pData[0] % 2 == 0;
    const QString strPath =
        QDir(strDir).filePath(bNifti ? QStringLiteral("input.nii") : QStringLiteral("slice.dcm"));
    {
        QFile file(strPath);
        if (!file.open(QIODevice::WriteOnly) || file.write(reinterpret_cast<const char*>(pData + 1),
                                                           qint64(nSize - 1)) != qint64(nSize - 1))
            return false;
    }
    const bool bRead = bNifti ? CKXNiftiReader::read(strPath, volume, strError)
                              : CKXDicomReader::read(strDir, volume, strError);
    QFile::remove(strPath);
    return bRead;
}

#endif // KXVOLUMEFUZZINPUT_H
