#include "CKXDicomReader.h"

#include "KXVolumeValues.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QMap>
#include <QStringList>
#include <QVector3D>

#include <gdcmImage.h>
#include <gdcmImageReader.h>
#include <gdcmPixelFormat.h>
#include <gdcmReader.h>
#include <gdcmScanner.h>
#include <gdcmTrace.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace
{

const gdcm::Tag kSeriesUid(0x0020, 0x000e);
const gdcm::Tag kSeriesDescription(0x0008, 0x103e);
const gdcm::Tag kSeriesNumber(0x0020, 0x0011);
const gdcm::Tag kRows(0x0028, 0x0010);
const gdcm::Tag kColumns(0x0028, 0x0011);
const gdcm::Tag kPosition(0x0020, 0x0032);
const gdcm::Tag kOrientation(0x0020, 0x0037);
const gdcm::Tag kPixelSpacing(0x0028, 0x0030);
const gdcm::Tag kSliceThickness(0x0018, 0x0050);
const gdcm::Tag kFrames(0x0028, 0x0008);
const gdcm::Tag kPixelData(0x7fe0, 0x0010);

// Slice positions and orientations come as decimal strings of a few significant digits.
constexpr double kSamePosition = 1e-3;    // mm: closer slices are the same slice twice
constexpr double kSameOrientation = 1e-4; // direction cosine difference
constexpr double kEvenSpacing = 0.05;     // relative deviation of a gap from the mean gap
constexpr double kMaxCoordinate = 1e7;    // mm: beyond, a position is garbage

struct SSlice
{
    std::string m_strFile;
    double m_adPosition[3] = {0, 0, 0};
    double m_dDistance = 0; // along the slice normal
};

QString folderMessage(const QString& strFolder, const QString& strReason)
{
    return QStringLiteral("Cannot read the DICOM series in \"%1\": %2").arg(strFolder, strReason);
}

QString sliceMessage(const std::string& strFile, const QString& strReason)
{
    return QStringLiteral("Cannot read the DICOM image \"%1\": %2")
        .arg(QString::fromLocal8Bit(strFile.c_str()), strReason);
}

QString value(const gdcm::Scanner& scanner, const std::string& strFile, const gdcm::Tag& tag)
{
    const char* psz = scanner.GetValue(strFile.c_str(), tag);
    return psz ? QString::fromLatin1(psz).trimmed() : QString();
}

// A multi-valued decimal string ("a\b\c") with exactly `nCount` finite values.
bool numbers(const QString& strText, int nCount, double* pValues)
{
    const QStringList parts = strText.split(QLatin1Char('\\'));
    if (parts.size() != nCount)
        return false;
    for (int i = 0; i < nCount; ++i)
    {
        bool bOk = false;
        pValues[i] = parts[i].trimmed().toDouble(&bOk);
        if (!bOk || !std::isfinite(pValues[i]) || std::fabs(pValues[i]) > kMaxCoordinate)
            return false;
    }
    return true;
}

int positiveInt(const QString& strText)
{
    bool bOk = false;
    const int n = strText.toInt(&bOk);
    return bOk && n > 0 ? n : 0;
}

QStringList folderFiles(const QString& strFolder, bool& bTooMany)
{
    QStringList files;
    bTooMany = false;
    QDirIterator it(strFolder, QDir::Files | QDir::Hidden | QDir::Readable);
    while (it.hasNext())
    {
        if (files.size() == KXDataLimits::kMaxDicomFiles)
        {
            bTooMany = true;
            break;
        }
        files.append(it.next());
    }
    files.sort();
    return files;
}

QString describeSeries(const gdcm::Scanner& scanner, const QString& strUid,
                       const std::vector<std::string>& files)
{
    const QString strNumber = value(scanner, files.front(), kSeriesNumber);
    const QString strDescription = value(scanner, files.front(), kSeriesDescription);
    QString strText = QStringLiteral("series");
    if (!strNumber.isEmpty())
        strText += QLatin1Char(' ') + strNumber;
    if (!strDescription.isEmpty())
        strText += QStringLiteral(" \"%1\"").arg(strDescription);
    return strText + QStringLiteral(" (%1 images, UID %2)").arg(files.size()).arg(strUid);
}

template <typename T>
void convertSlice(const char* pSource, float* pTarget, std::size_t nCount, double dSlope,
                  double dIntercept)
{
    for (std::size_t i = 0; i < nCount; ++i)
    {
        T raw;
        std::memcpy(&raw, pSource + i * sizeof(T), sizeof(T));
        pTarget[i] = static_cast<float>(static_cast<double>(raw) * dSlope + dIntercept);
    }
}

using ConvertFunction = void (*)(const char*, float*, std::size_t, double, double);

ConvertFunction converterFor(const gdcm::PixelFormat& format)
{
    switch (format.GetScalarType())
    {
    case gdcm::PixelFormat::UINT8:
        return &convertSlice<std::uint8_t>;
    case gdcm::PixelFormat::INT8:
        return &convertSlice<std::int8_t>;
    case gdcm::PixelFormat::UINT16:
        return &convertSlice<std::uint16_t>;
    case gdcm::PixelFormat::INT16:
        return &convertSlice<std::int16_t>;
    case gdcm::PixelFormat::UINT32:
        return &convertSlice<std::uint32_t>;
    case gdcm::PixelFormat::INT32:
        return &convertSlice<std::int32_t>;
    case gdcm::PixelFormat::FLOAT32:
        return &convertSlice<float>;
    case gdcm::PixelFormat::FLOAT64:
        return &convertSlice<double>;
    default:
        return nullptr;
    }
}

// GDCM reads a file whose native pixel data is cut short as if it were whole (padding it), so the
// file's size is held against where the pixel values start. Encapsulated (compressed) pixel data
// is left to the decoder, which fails on a cut stream.
bool pixelDataComplete(const std::string& strFile, std::size_t nBytes)
{
    gdcm::Reader reader;
    reader.SetFileName(strFile.c_str());
    // Skipping the pixel data leaves the stream where its values start.
    if (!reader.ReadUpToTag(kPixelData, {kPixelData}))
        return false;
    const gdcm::TransferSyntax& syntax = reader.GetFile().GetHeader().GetDataSetTransferSyntax();
    if (syntax.IsEncapsulated() || syntax == gdcm::TransferSyntax::DeflatedExplicitVRLittleEndian)
        return true;
    const qint64 nFileSize = QFileInfo(QFile::decodeName(strFile.c_str())).size();
    return nFileSize >= 0 && std::size_t(nFileSize) >= reader.GetStreamCurrentPosition() + nBytes;
}

// Reads one slice's pixels into `pTarget` (rows x columns values), rescaled.
bool readSlice(const std::string& strFile, int nColumns, int nRows, float* pTarget,
               std::vector<char>& buffer, QString& strError)
{
    gdcm::ImageReader reader;
    reader.SetFileName(strFile.c_str());
    if (!reader.Read())
    {
        strError = sliceMessage(strFile, QStringLiteral("the file is truncated or corrupt."));
        return false;
    }
    const gdcm::Image& image = reader.GetImage();
    const gdcm::PixelFormat& format = image.GetPixelFormat();
    const unsigned int* pDims = image.GetDimensions();
    if (image.GetNumberOfDimensions() != 2 || !pDims || pDims[0] != unsigned(nColumns) ||
        pDims[1] != unsigned(nRows))
    {
        strError = sliceMessage(
            strFile,
            QStringLiteral("its pixel data is not one %1 x %2 image.").arg(nColumns).arg(nRows));
        return false;
    }
    const ConvertFunction pConvert = converterFor(format);
    if (format.GetSamplesPerPixel() != 1 || !pConvert)
    {
        strError = sliceMessage(strFile, QStringLiteral("its pixels are not grey values (%1 "
                                                        "samples of %2 bits).")
                                             .arg(format.GetSamplesPerPixel())
                                             .arg(format.GetBitsAllocated()));
        return false;
    }
    const std::size_t nPixels = std::size_t(nColumns) * std::size_t(nRows);
    const std::size_t nBytes = nPixels * format.GetPixelSize();
    if (image.GetBufferLength() != nBytes)
    {
        strError = sliceMessage(strFile, QStringLiteral("its pixel data has the wrong size."));
        return false;
    }
    if (!pixelDataComplete(strFile, nBytes))
    {
        strError = sliceMessage(strFile, QStringLiteral("the file is truncated or corrupt."));
        return false;
    }
    buffer.resize(nBytes);
    if (!image.GetBuffer(buffer.data()))
    {
        strError = sliceMessage(strFile, QStringLiteral("its pixel data cannot be decoded."));
        return false;
    }
    double dSlope = image.GetSlope();
    double dIntercept = image.GetIntercept();
    if (!std::isfinite(dSlope) || dSlope == 0.0 || !std::isfinite(dIntercept))
    {
        strError = sliceMessage(strFile, QStringLiteral("its rescale slope or intercept is not "
                                                        "usable."));
        return false;
    }
    pConvert(buffer.data(), pTarget, nPixels, dSlope, dIntercept);
    return true;
}

} // namespace

bool CKXDicomReader::read(const QString& strPath, SKXVolumeData& volume, QString& strError,
                          const KXProgress& progress)
{
    strError.clear();
    const QFileInfo info(strPath);
    if (!info.exists())
    {
        strError = folderMessage(strPath, QStringLiteral("it does not exist."));
        return false;
    }
    const QString strFolder = info.isDir() ? info.absoluteFilePath() : info.absolutePath();
    if (progress && !progress(0.0))
    {
        strError = QStringLiteral("Loading was aborted.");
        return false;
    }

    bool bTooMany = false;
    const QStringList files = folderFiles(strFolder, bTooMany);
    if (bTooMany)
    {
        strError = folderMessage(strFolder, QStringLiteral("the folder holds more than %1 files; "
                                                           "a series folder holds fewer.")
                                                .arg(KXDataLimits::kMaxDicomFiles));
        return false;
    }

    // GDCM reports what it skips on std::cerr; the skipped files are not the user's concern.
    gdcm::Trace::SetWarning(false);
    gdcm::Trace::SetError(false);
    gdcm::Trace::SetDebug(false);

    gdcm::Directory::FilenamesType names;
    for (const QString& strFile : files)
        names.push_back(QFile::encodeName(strFile).toStdString());
    gdcm::Scanner scanner;
    for (const gdcm::Tag& tag : {kSeriesUid, kSeriesDescription, kSeriesNumber, kRows, kColumns,
                                 kPosition, kOrientation, kPixelSpacing, kSliceThickness, kFrames})
        scanner.AddTag(tag);
    if (!names.empty() && !scanner.Scan(names))
    {
        strError = folderMessage(strFolder, QStringLiteral("its files cannot be read."));
        return false;
    }

    // Images only: a DICOMDIR, a structured report or a stray text file is no slice.
    QMap<QString, std::vector<std::string>> series;
    for (const std::string& strFile : names)
    {
        if (scanner.IsKey(strFile.c_str()) && positiveInt(value(scanner, strFile, kRows)) > 0 &&
            positiveInt(value(scanner, strFile, kColumns)) > 0)
            series[value(scanner, strFile, kSeriesUid)].push_back(strFile);
    }
    if (series.isEmpty())
    {
        strError = folderMessage(strFolder, QStringLiteral("the folder holds no DICOM images."));
        return false;
    }
    if (series.size() > 1)
    {
        QStringList listed;
        for (auto it = series.cbegin(); it != series.cend(); ++it)
            listed.append(describeSeries(scanner, it.key(), it.value()));
        strError = folderMessage(
            strFolder, QStringLiteral("the folder holds %1 series; put each in a folder of its "
                                      "own: %2.")
                           .arg(series.size())
                           .arg(listed.join(QStringLiteral("; "))));
        return false;
    }

    const std::vector<std::string>& seriesFiles = series.first();
    const std::string& strFirst = seriesFiles.front();
    const int nColumns = positiveInt(value(scanner, strFirst, kColumns));
    const int nRows = positiveInt(value(scanner, strFirst, kRows));
    double adOrientation[6];
    if (!numbers(value(scanner, strFirst, kOrientation), 6, adOrientation))
    {
        strError = sliceMessage(strFirst, QStringLiteral("it has no usable image orientation."));
        return false;
    }
    const QVector3D rowDir(adOrientation[0], adOrientation[1], adOrientation[2]);
    const QVector3D columnDir(adOrientation[3], adOrientation[4], adOrientation[5]);
    const QVector3D normal = QVector3D::crossProduct(rowDir, columnDir);
    if (std::fabs(rowDir.length() - 1.0f) > 0.01f || std::fabs(columnDir.length() - 1.0f) > 0.01f ||
        normal.length() < 0.99f)
    {
        strError = sliceMessage(strFirst, QStringLiteral("its image orientation is not two "
                                                         "perpendicular unit vectors."));
        return false;
    }

    std::vector<SSlice> slices;
    for (const std::string& strFile : seriesFiles)
    {
        const QString strFrames = value(scanner, strFile, kFrames);
        if (!strFrames.isEmpty() && positiveInt(strFrames) != 1)
        {
            strError = sliceMessage(strFile, QStringLiteral("it holds several frames; only "
                                                            "series of single-frame images are "
                                                            "read."));
            return false;
        }
        if (positiveInt(value(scanner, strFile, kColumns)) != nColumns ||
            positiveInt(value(scanner, strFile, kRows)) != nRows)
        {
            strError = sliceMessage(strFile, QStringLiteral("its size differs from the other "
                                                            "slices' %1 x %2.")
                                                 .arg(nColumns)
                                                 .arg(nRows));
            return false;
        }
        double adOther[6];
        SSlice slice;
        slice.m_strFile = strFile;
        if (!numbers(value(scanner, strFile, kOrientation), 6, adOther) ||
            !numbers(value(scanner, strFile, kPosition), 3, slice.m_adPosition))
        {
            strError = sliceMessage(strFile, QStringLiteral("it has no usable image position or "
                                                            "orientation."));
            return false;
        }
        for (int i = 0; i < 6; ++i)
        {
            if (std::fabs(adOther[i] - adOrientation[i]) > kSameOrientation)
            {
                strError = sliceMessage(strFile, QStringLiteral("its orientation differs from "
                                                                "the other slices'."));
                return false;
            }
        }
        slice.m_dDistance = slice.m_adPosition[0] * normal.x() +
                            slice.m_adPosition[1] * normal.y() + slice.m_adPosition[2] * normal.z();
        slices.push_back(slice);
    }
    std::sort(slices.begin(), slices.end(),
              [](const SSlice& a, const SSlice& b) { return a.m_dDistance < b.m_dDistance; });

    const int nSlices = static_cast<int>(slices.size());
    const double dSpan = slices.back().m_dDistance - slices.front().m_dDistance;
    const double dMeanGap = nSlices > 1 ? dSpan / (nSlices - 1) : 0.0;
    for (int k = 1; k < nSlices; ++k)
    {
        if (slices[k].m_dDistance - slices[k - 1].m_dDistance < kSamePosition)
        {
            strError = folderMessage(
                strFolder, QStringLiteral("\"%1\" and \"%2\" lie at the same position.")
                               .arg(QString::fromLocal8Bit(slices[k - 1].m_strFile.c_str()),
                                    QString::fromLocal8Bit(slices[k].m_strFile.c_str())));
            return false;
        }
    }
    for (int k = 1; k < nSlices; ++k)
    {
        const double dGap = slices[k].m_dDistance - slices[k - 1].m_dDistance;
        if (std::fabs(dGap - dMeanGap) > kEvenSpacing * dMeanGap)
        {
            strError = folderMessage(strFolder, QStringLiteral("its slices are not evenly spaced "
                                                               "(a gap of %1 mm where the mean "
                                                               "is %2 mm); a slice may be "
                                                               "missing.")
                                                    .arg(dGap)
                                                    .arg(dMeanGap));
            return false;
        }
    }

    if (nColumns > KXDataLimits::kMaxVolumeSide || nRows > KXDataLimits::kMaxVolumeSide ||
        nSlices > KXDataLimits::kMaxVolumeSide ||
        std::int64_t(nColumns) * nRows * nSlices > KXDataLimits::kMaxVoxels)
    {
        strError = folderMessage(strFolder, QStringLiteral("its %1 x %2 x %3 voxels exceed the "
                                                           "viewer's limits (%4 a side, %5 in "
                                                           "all).")
                                                .arg(nColumns)
                                                .arg(nRows)
                                                .arg(nSlices)
                                                .arg(KXDataLimits::kMaxVolumeSide)
                                                .arg(KXDataLimits::kMaxVoxels));
        return false;
    }

    // Pixel spacing is (between rows, between columns); missing means 1 mm.
    double adSpacing[2] = {1.0, 1.0};
    const QString strSpacing = value(scanner, strFirst, kPixelSpacing);
    if (!strSpacing.isEmpty() &&
        (!numbers(strSpacing, 2, adSpacing) || !(adSpacing[0] > 0.0) || !(adSpacing[1] > 0.0)))
    {
        strError = sliceMessage(strFirst, QStringLiteral("its pixel spacing is not usable."));
        return false;
    }
    QVector3D sliceStep;
    const QVector3D first(slices.front().m_adPosition[0], slices.front().m_adPosition[1],
                          slices.front().m_adPosition[2]);
    if (nSlices > 1)
    {
        const QVector3D last(slices.back().m_adPosition[0], slices.back().m_adPosition[1],
                             slices.back().m_adPosition[2]);
        // The step between slice origins, not the normal: a tilted gantry shears the grid.
        sliceStep = (last - first) / float(nSlices - 1);
    }
    else
    {
        double dThickness = value(scanner, strFirst, kSliceThickness).toDouble();
        sliceStep =
            normal * float(dThickness > 0.0 && dThickness < kMaxCoordinate ? dThickness : 1.0);
    }
    QMatrix4x4 patient; // (column, row, slice) -> LPS millimetres
    patient.setColumn(0, QVector4D(rowDir * float(adSpacing[1]), 0.0f));
    patient.setColumn(1, QVector4D(columnDir * float(adSpacing[0]), 0.0f));
    patient.setColumn(2, QVector4D(sliceStep, 0.0f));
    patient.setColumn(3, QVector4D(first, 1.0f));
    QMatrix4x4 lpsToRas;
    lpsToRas.scale(-1.0f, -1.0f, 1.0f);

    const std::size_t nSliceValues = std::size_t(nColumns) * std::size_t(nRows);
    std::vector<float> values(nSliceValues * std::size_t(nSlices));
    std::vector<char> buffer;
    for (int k = 0; k < nSlices; ++k)
    {
        if (!readSlice(slices[k].m_strFile, nColumns, nRows, values.data() + k * nSliceValues,
                       buffer, strError))
            return false;
        if (progress && !progress(double(k + 1) / nSlices))
        {
            strError = QStringLiteral("Loading was aborted.");
            return false;
        }
    }

    SKXVolumeData result;
    result.name = value(scanner, strFirst, kSeriesDescription);
    if (result.name.isEmpty())
        result.name = QDir(strFolder).dirName();
    result.nx = nColumns;
    result.ny = nRows;
    result.nz = nSlices;
    result.values = std::move(values);
    result.voxelToWorld = lpsToRas * patient;
    KXVolumeValues::computeRange(result);
    volume = std::move(result);
    return true;
}
