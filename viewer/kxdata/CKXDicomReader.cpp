#include "CKXDicomReader.h"

#include "CKXJoiningThread.h"
#include "KXReserveMapped.h"
#include "KXVolumeValues.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QMap>
#include <QStringList>
#include <QVector3D>

#include <dcmtk/config/osconfig.h> // first of DCMTK's headers
#include <dcmtk/dcmdata/dcdeftag.h>
#include <dcmtk/dcmdata/dcfilefo.h>
#include <dcmtk/dcmdata/dcrledrg.h>
#include <dcmtk/dcmdata/dcxfer.h>
#include <dcmtk/dcmimgle/dcmimage.h>
#include <dcmtk/dcmjpeg/djdecode.h>
#include <dcmtk/oflog/oflog.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace
{

const DcmTagKey kSeriesUid = DCM_SeriesInstanceUID;
const DcmTagKey kSeriesDescription = DCM_SeriesDescription;
const DcmTagKey kSeriesNumber = DCM_SeriesNumber;
const DcmTagKey kRows = DCM_Rows;
const DcmTagKey kColumns = DCM_Columns;
const DcmTagKey kPosition = DCM_ImagePositionPatient;
const DcmTagKey kOrientation = DCM_ImageOrientationPatient;
const DcmTagKey kPixelSpacing = DCM_PixelSpacing;
const DcmTagKey kSliceThickness = DCM_SliceThickness;
const DcmTagKey kFrames = DCM_NumberOfFrames;
const DcmTagKey kScannedTags[] = {
    kSeriesUid, kSeriesDescription, kSeriesNumber, kRows,           kColumns,
    kPosition,  kOrientation,       kPixelSpacing, kSliceThickness, kFrames};

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

// DCMTK loads values longer than this only when they are asked for, so a file that lies about
// its pixel data's length costs nothing while its header is read.
constexpr Uint32 kMaxLoadedLength = 4096;

// What DCMTK could parse of each file: the scanned header values, and the parsed file itself, so
// that its pixels are read without parsing the file again (values longer than kMaxLoadedLength
// stay on disk until they are asked for). The parsed files are kept while the headers they hold
// stay within kMaxKeptHeaderBytes in all; beyond, a slice's file is parsed again when its pixels
// are read, so that a folder of huge headers cannot exhaust the memory.
using HeaderValues = std::map<DcmTagKey, QString>;
using Headers = std::map<std::string, HeaderValues>;
using ParsedFiles = std::map<std::string, std::unique_ptr<DcmFileFormat>>;
constexpr qint64 kMaxKeptHeaderBytes = 256 << 20;

// Files DCMTK cannot parse are skipped (a folder may hold other files), unless what it parsed
// before it failed is an image's header: a damaged slice is named in `strCorrupt`, not dropped.
Headers scanHeaders(const std::vector<std::string>& files, ParsedFiles& parsed,
                    std::string& strCorrupt)
{
    Headers headers;
    strCorrupt.clear();
    qint64 nKeptBytes = 0;
    for (const std::string& strFile : files)
    {
        auto pFormat = std::make_unique<DcmFileFormat>();
        DcmDataset* pDataset = pFormat->getDataset();
        if (pFormat
                ->loadFile(OFFilename(strFile.c_str()), EXS_Unknown, EGL_noChange, kMaxLoadedLength,
                           ERM_autoDetect)
                .bad())
        {
            pDataset = pFormat->getDataset();
            if (pDataset && (pDataset->tagExists(kRows) || pDataset->tagExists(DCM_PixelData)))
            {
                strCorrupt = strFile;
                parsed.clear();
                return {};
            }
            continue;
        }
        pDataset = pFormat->getDataset();
        HeaderValues& values = headers[strFile];
        for (const DcmTagKey& tag : kScannedTags)
        {
            OFString text;
            if (pDataset->findAndGetOFStringArray(tag, text).good())
                values[tag] = QString::fromLatin1(text.c_str()).trimmed();
        }
        // What the parsed file holds in memory: the file less the pixels left on disk.
        qint64 nHeaderBytes = QFileInfo(QFile::decodeName(strFile.c_str())).size();
        DcmElement* pPixels = nullptr;
        if (pDataset->findAndGetElement(DCM_PixelData, pPixels).good() && pPixels &&
            pPixels->getLengthField() > kMaxLoadedLength)
            nHeaderBytes -= std::min<qint64>(nHeaderBytes, pPixels->getLengthField());
        if (nKeptBytes + nHeaderBytes <= kMaxKeptHeaderBytes)
        {
            nKeptBytes += nHeaderBytes;
            parsed[strFile] = std::move(pFormat);
        }
    }
    return headers;
}

QString value(const Headers& headers, const std::string& strFile, const DcmTagKey& tag)
{
    const auto file = headers.find(strFile);
    if (file == headers.end())
        return QString();
    const auto found = file->second.find(tag);
    return found == file->second.end() ? QString() : found->second;
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

QString describeSeries(const Headers& scanner, const QString& strUid,
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

ConvertFunction converterFor(EP_Representation eRepresentation)
{
    switch (eRepresentation)
    {
    case EPR_Uint8:
        return &convertSlice<Uint8>;
    case EPR_Sint8:
        return &convertSlice<Sint8>;
    case EPR_Uint16:
        return &convertSlice<Uint16>;
    case EPR_Sint16:
        return &convertSlice<Sint16>;
    case EPR_Uint32:
        return &convertSlice<Uint32>;
    case EPR_Sint32:
        return &convertSlice<Sint32>;
    default:
        return nullptr;
    }
}

void registerDecoders()
{
    static const bool bRegistered = []
    {
        // DCMTK logs what it refuses; the refusal reaches the user as our message.
        OFLog::configure(OFLogger::FATAL_LOG_LEVEL);
        DJDecoderRegistration::registerCodecs();
        DcmRLEDecoderRegistration::registerCodecs();
        return true;
    }();
    (void)bRegistered;
}

// Reads one slice's pixels into `pTarget` (rows x columns values), rescaled. `pParsed` is the
// file as the scan parsed it, or null to parse it here; its pixels are released afterwards.
bool readSlice(const std::string& strFile, std::unique_ptr<DcmFileFormat> pParsed, int nColumns,
               int nRows, float* pTarget, QString& strError)
{
    const QString strCorrupt = QStringLiteral("the file is truncated or corrupt.");
    if (!pParsed)
    {
        pParsed = std::make_unique<DcmFileFormat>();
        if (pParsed
                ->loadFile(OFFilename(strFile.c_str()), EXS_Unknown, EGL_noChange, kMaxLoadedLength,
                           ERM_autoDetect)
                .bad())
        {
            strError = sliceMessage(strFile, strCorrupt);
            return false;
        }
    }
    DcmFileFormat& format = *pParsed;
    DcmDataset* pDataset = format.getDataset();
    DcmElement* pPixels = nullptr;
    Uint16 nBitsAllocated = 0, nSamples = 0;
    if (pDataset->findAndGetElement(DCM_PixelData, pPixels).bad() || !pPixels ||
        pDataset->findAndGetUint16(DCM_BitsAllocated, nBitsAllocated).bad() ||
        pDataset->findAndGetUint16(DCM_SamplesPerPixel, nSamples).bad())
    {
        strError = sliceMessage(strFile, QStringLiteral("it holds no pixel data."));
        return false;
    }
    const std::size_t nPixels = std::size_t(nColumns) * std::size_t(nRows);
    // Native pixel data must hold the image and no more than the file does; DCMTK allocates its
    // stated length when the value is loaded.
    const qint64 nFileSize = QFileInfo(QFile::decodeName(strFile.c_str())).size();
    const bool bEncapsulated = DcmXfer(pDataset->getOriginalXfer()).isEncapsulated();
    if (!bEncapsulated &&
        (qint64(pPixels->getLengthField()) > nFileSize ||
         pPixels->getLengthField() < nPixels * nSamples * ((nBitsAllocated + 7u) / 8u)))
    {
        strError = sliceMessage(strFile, strCorrupt);
        return false;
    }

    // Stored values: the rescale is applied below in double precision, where DCMTK's modality
    // transform would round a fractional slope to an integer representation.
    DicomImage image(&format, pDataset->getOriginalXfer(), CIF_IgnoreModalityTransformation);
    const DiPixel* pInter = image.getStatus() == EIS_Normal ? image.getInterData() : nullptr;
    if (!pInter)
    {
        strError = sliceMessage(
            strFile, QStringLiteral("its pixel data cannot be decoded (%1).")
                         .arg(QString::fromLatin1(DicomImage::getString(image.getStatus()))));
        return false;
    }
    if (!image.isMonochrome() || image.getFrameCount() != 1 ||
        image.getWidth() != unsigned(nColumns) || image.getHeight() != unsigned(nRows) ||
        pInter->getCount() < nPixels)
    {
        strError = sliceMessage(strFile, QStringLiteral("its pixel data is not one %1 x %2 grey "
                                                        "image.")
                                             .arg(nColumns)
                                             .arg(nRows));
        return false;
    }
    const ConvertFunction pConvert = converterFor(pInter->getRepresentation());
    Float64 dSlope = 1.0, dIntercept = 0.0;
    if (pDataset->tagExists(DCM_RescaleSlope))
        pDataset->findAndGetFloat64(DCM_RescaleSlope, dSlope);
    if (pDataset->tagExists(DCM_RescaleIntercept))
        pDataset->findAndGetFloat64(DCM_RescaleIntercept, dIntercept);
    if (!pConvert || !std::isfinite(dSlope) || dSlope == 0.0 || !std::isfinite(dIntercept))
    {
        strError = sliceMessage(strFile, QStringLiteral("its pixel values or their rescale slope "
                                                        "and intercept are not usable."));
        return false;
    }
    pConvert(static_cast<const char*>(pInter->getData()), pTarget, nPixels, dSlope, dIntercept);
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

    registerDecoders();
    std::vector<std::string> names;
    for (const QString& strFile : files)
        names.push_back(QFile::encodeName(strFile).toStdString());
    std::string strCorrupt;
    ParsedFiles parsed;
    const Headers scanner = scanHeaders(names, parsed, strCorrupt);
    if (!strCorrupt.empty())
    {
        strError = sliceMessage(strCorrupt, QStringLiteral("the file is truncated or corrupt."));
        return false;
    }

    // Images only: a DICOMDIR, a structured report or a stray text file is no slice.
    QMap<QString, std::vector<std::string>> series;
    for (const std::string& strFile : names)
    {
        if (scanner.count(strFile) && positiveInt(value(scanner, strFile, kRows)) > 0 &&
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

    // The slices' pixels are decoded on two threads into their places in the volume, each
    // thread taking the next slice not yet taken. A failure or an abort returns what reading
    // them one after the other returns: the failure of the first slice in order that fails (a
    // thread takes no slice beyond it) when it lies before the count of slices done at the abort,
    // else the abort. Progress is reported and answered on this thread only.
    const std::size_t nSliceValues = std::size_t(nColumns) * std::size_t(nRows);
    std::vector<std::unique_ptr<DcmFileFormat>> sliceFiles(static_cast<std::size_t>(nSlices));
    for (int k = 0; k < nSlices; ++k)
    {
        auto it = parsed.find(slices[k].m_strFile);
        if (it != parsed.end())
            sliceFiles[k] = std::move(it->second);
    }
    parsed.clear();
    std::vector<float> values;
    kxReserveMapped(values, nSliceValues * std::size_t(nSlices));
    values.resize(nSliceValues * std::size_t(nSlices));
    std::atomic<int> nNext{0}, nDone{0}, nFailedAt{nSlices};
    std::atomic<bool> bStop{false};
    std::mutex failureMutex;
    QString strFailure;
    std::exception_ptr pException;
    // Decodes slices until none is left, one before them has failed, or the load is stopped.
    // `afterSlice`, when given, is called after each slice done here; false from it stops.
    auto decodeSlices = [&](const std::function<bool()>& afterSlice)
    {
        try
        {
            for (int k = nNext++; k < nSlices && k < nFailedAt && !bStop; k = nNext++)
            {
                QString strSliceError;
                if (!readSlice(slices[k].m_strFile, std::move(sliceFiles[k]), nColumns, nRows,
                               values.data() + k * nSliceValues, strSliceError))
                {
                    const std::lock_guard<std::mutex> lock(failureMutex);
                    if (k < nFailedAt)
                    {
                        nFailedAt = k;
                        strFailure = strSliceError;
                    }
                    continue;
                }
                ++nDone;
                if (afterSlice && !afterSlice())
                    bStop = true;
            }
        }
        catch (...)
        {
            const std::lock_guard<std::mutex> lock(failureMutex);
            if (!pException)
                pException = std::current_exception();
            bStop = true;
        }
    };
    // Reports each slice done, in order, as reading them one after the other would, up to the
    // first that failed; false once the load is aborted.
    int nReported = 0, nDoneAtAbort = 0;
    bool bAborted = false;
    auto report = [&]
    {
        while (!bAborted && nReported < std::min<int>(nDone, nFailedAt))
        {
            ++nReported;
            if (progress && !progress(double(nReported) / nSlices))
            {
                bAborted = true;
                nDoneAtAbort = nReported;
            }
        }
        return !bAborted;
    };
    {
        CKXJoiningThread helper;
        helper.start([&] { decodeSlices({}); });
        decodeSlices(report);
        // Every slice this thread could take is taken; the helper finishes its last one.
        helper.join();
    }
    if (pException)
        std::rethrow_exception(pException);
    report(); // the slices the helper did last
    if (nFailedAt < nSlices && (!bAborted || nFailedAt < nDoneAtAbort))
    {
        strError = strFailure;
        return false;
    }
    if (bAborted)
    {
        strError = QStringLiteral("Loading was aborted.");
        return false;
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
