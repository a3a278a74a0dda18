// Volume loading: a 256^3 float32 NIfTI image and a 300-slice DICOM series of 512 x 512 int16
// images, both written here (NIfTI by nifticlib, the DICOM files by GDCM), read by our readers and
// by the reading library alone (nifti_image_read with its data; DCMTK decoding every slice into
// one buffer).
//
// Each load runs in a child process, so that its time and the memory it leaves resident are its
// own. The files are read once before timing, so both readers find them in the page cache.
//
// Result lines: each reader's load time against the library's, and the resident memory our load
// leaves (the volume it returns) against the decoded data size (one float per voxel).
#include "CKXDicomReader.h"
#include "CKXNiftiReader.h"
#include "KXBenchChild.h"
#include "KXBenchResult.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include <dcmtk/config/osconfig.h> // first of DCMTK's headers
#include <dcmtk/dcmdata/dcfilefo.h>
#include <dcmtk/dcmimgle/dcmimage.h>
#include <dcmtk/oflog/oflog.h>
#include <gdcmAttribute.h>
#include <gdcmImageWriter.h>
#include <gdcmTrace.h>
#include <nifti2_io.h>

#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

namespace
{

constexpr int kNiftiSide = 256;
constexpr int kDicomSide = 512;
constexpr int kDicomSlices = 300;
constexpr int kRuns = 3;

// What a load returns stays alive here until its child exits, so that the resident memory
// measured after the load includes it.
SKXVolumeData g_volume;

struct SLoad
{
    double m_dMs = -1;          // wall time of the load
    double m_dResidentMiB = -1; // resident memory after the load, above the child's start
};

double residentMiB()
{
    long nPages = 0, nResident = 0;
    FILE* pFile = std::fopen("/proc/self/statm", "r");
    if (!pFile)
        return -1;
    const int nRead = std::fscanf(pFile, "%ld %ld", &nPages, &nResident);
    std::fclose(pFile);
    return nRead == 2 ? double(nResident) * double(sysconf(_SC_PAGESIZE)) / (1024.0 * 1024.0) : -1;
}

// Runs `load` in a child; it returns false when the load failed.
SLoad inChild(const std::function<bool()>& load)
{
    return kxMeasureInChild<SLoad>(
        [&load]
        {
            malloc_trim(0);
            const double dBefore = residentMiB();
            QElapsedTimer timer;
            timer.start();
            const bool bOk = load();
            SLoad result;
            result.m_dMs = bOk ? double(timer.nsecsElapsed()) / 1e6 : -1;
            result.m_dResidentMiB = bOk ? residentMiB() - dBefore : -1;
            return result;
        });
}

// The best of a few runs: the one least disturbed by the rest of the machine.
SLoad best(const std::function<bool()>& load)
{
    SLoad result;
    for (int i = 0; i < kRuns; ++i)
    {
        const SLoad run = inChild(load);
        if (run.m_dMs > 0 && (result.m_dMs < 0 || run.m_dMs < result.m_dMs))
            result = run;
    }
    return result;
}

bool writeNifti(const std::string& strPath)
{
    const int64_t anDims[8] = {3, kNiftiSide, kNiftiSide, kNiftiSide, 1, 1, 1, 1};
    nifti_image* pImage = nifti_make_new_nim(anDims, DT_FLOAT32, 1);
    if (!pImage)
        return false;
    float* pValues = static_cast<float*>(pImage->data);
    for (int64_t i = 0; i < pImage->nvox; ++i)
        pValues[i] = float(i % 4096) * 0.5f;
    const bool bOk = nifti_set_filenames(pImage, strPath.c_str(), 0, 1) == 0;
    if (bOk)
        nifti_image_write(pImage);
    nifti_image_free(pImage);
    return bOk && QFile::exists(QString::fromStdString(strPath));
}

bool writeDicomSeries(const QString& strFolder)
{
    std::vector<short> pixels(size_t(kDicomSide) * kDicomSide);
    for (int k = 0; k < kDicomSlices; ++k)
    {
        for (size_t i = 0; i < pixels.size(); ++i)
            pixels[i] = short((i + size_t(k) * 7) % 3000);
        gdcm::ImageWriter writer;
        gdcm::Image& image = writer.GetImage();
        image.SetNumberOfDimensions(2);
        image.SetDimension(0, kDicomSide);
        image.SetDimension(1, kDicomSide);
        image.SetPixelFormat(gdcm::PixelFormat::INT16);
        image.SetPhotometricInterpretation(gdcm::PhotometricInterpretation::MONOCHROME2);
        const double adOrigin[3] = {-128.0, -128.0, 0.7 * k};
        const double adSpacing[3] = {0.5, 0.5, 0.7};
        const double adCosines[6] = {1, 0, 0, 0, 1, 0};
        image.SetOrigin(adOrigin);
        image.SetOrigin(2, adOrigin[2]); // the array form keeps only a 2D image's two components
        image.SetSpacing(adSpacing);
        image.SetDirectionCosines(adCosines);
        image.SetIntercept(-1024);
        image.SetSlope(1);
        gdcm::DataElement pixelData(gdcm::Tag(0x7fe0, 0x0010));
        pixelData.SetByteValue(reinterpret_cast<const char*>(pixels.data()),
                               uint32_t(pixels.size() * sizeof(short)));
        image.SetDataElement(pixelData);
        gdcm::DataSet& dataSet = writer.GetFile().GetDataSet();
        gdcm::Attribute<0x0008, 0x0016> sopClass = {"1.2.840.10008.5.1.4.1.1.2"};
        gdcm::Attribute<0x0020, 0x000e> series = {"1.2.826.0.1.3680043.8.498.77"};
        gdcm::Attribute<0x0008, 0x0060> modality = {"CT"};
        dataSet.Replace(sopClass.GetAsDataElement());
        dataSet.Replace(series.GetAsDataElement());
        dataSet.Replace(modality.GetAsDataElement());
        const QString strFile =
            QDir(strFolder).filePath(QStringLiteral("ct%1.dcm").arg(k, 4, 10, QLatin1Char('0')));
        writer.SetFileName(QFile::encodeName(strFile).constData());
        if (!writer.Write())
            return false;
    }
    return true;
}

// What DCMTK alone does for the same data: decode every slice into one buffer.
bool dcmtkAlone(const QString& strFolder)
{
    const QStringList files = QDir(strFolder).entryList(QDir::Files, QDir::Name);
    std::vector<char> volume(size_t(kDicomSide) * kDicomSide * sizeof(short) *
                             size_t(files.size()));
    size_t nOffset = 0;
    for (const QString& strName : files)
    {
        DcmFileFormat format;
        const QByteArray path = QFile::encodeName(QDir(strFolder).filePath(strName));
        if (format.loadFile(path.constData()).bad())
            return false;
        DicomImage image(&format, format.getDataset()->getOriginalXfer(),
                         CIF_IgnoreModalityTransformation);
        const DiPixel* pInter = image.getInterData();
        if (!pInter)
            return false;
        const size_t nLength = pInter->getCount() * sizeof(short);
        if (nOffset + nLength > volume.size())
            return false;
        std::memcpy(volume.data() + nOffset, pInter->getData(), nLength);
        nOffset += nLength;
    }
    return nOffset == volume.size();
}

void report(const char* pszWhat, const SLoad& ours, const SLoad& library, const char* pszLibrary,
            double dDecodedMiB)
{
    std::printf("%s: ours %.0f ms, %s %.0f ms; resident after our load +%.0f MiB for %.0f MiB "
                "of decoded values\n",
                pszWhat, ours.m_dMs, pszLibrary, library.m_dMs, ours.m_dResidentMiB, dDecodedMiB);
    kxBenchResult(std::string("load ") + pszWhat, ours.m_dMs, "ms", pszLibrary, library.m_dMs,
                  EKXBetter::Lower);
    kxBenchResult(std::string("resident after load ") + pszWhat, ours.m_dResidentMiB, "MiB",
                  "decoded data", dDecodedMiB, EKXBetter::Lower);
}

} // namespace

int main()
{
    QTemporaryDir dir;
    // KX_BENCH_KEEP_INPUTS=1 keeps the generated files for a look.
    dir.setAutoRemove(qgetenv("KX_BENCH_KEEP_INPUTS") != "1");
    if (!dir.isValid())
        return 1;
    nifti_set_debug_level(0);
    gdcm::Trace::SetWarning(false);
    OFLog::configure(OFLogger::FATAL_LOG_LEVEL);

    const QString strNifti = dir.filePath(QStringLiteral("volume.nii"));
    const QString strSeries = dir.filePath(QStringLiteral("series"));
    if (!writeNifti(strNifti.toStdString()) || !QDir().mkpath(strSeries) ||
        !writeDicomSeries(strSeries))
    {
        std::fprintf(stderr, "bench_data_volumes: cannot write the input files\n");
        return 1;
    }

    const auto ourNifti = [&]
    {
        QString strError;
        const bool bOk = CKXNiftiReader::read(strNifti, g_volume, strError);
        if (!bOk)
            std::fprintf(stderr, "%s\n", qPrintable(strError));
        return bOk && g_volume.voxelCount() == size_t(kNiftiSide) * kNiftiSide * kNiftiSide;
    };
    const auto libraryNifti = [&]
    {
        nifti_image* pImage = nifti_image_read(QFile::encodeName(strNifti).constData(), 1);
        const bool bOk = pImage && pImage->data;
        nifti_image_free(pImage);
        return bOk;
    };
    const auto ourDicom = [&]
    {
        QString strError;
        const bool bOk = CKXDicomReader::read(strSeries, g_volume, strError);
        if (!bOk)
            std::fprintf(stderr, "%s\n", qPrintable(strError));
        return bOk && g_volume.nz == kDicomSlices;
    };
    const auto libraryDicom = [&] { return dcmtkAlone(strSeries); };

    // Warm the page cache.
    libraryNifti();
    libraryDicom();
    if (qgetenv("KX_BENCH_KEEP_INPUTS") == "1")
        std::printf("inputs kept in %s\n", qPrintable(dir.path()));

    const double dNiftiMiB = double(kNiftiSide) * kNiftiSide * kNiftiSide * 4 / (1024.0 * 1024.0);
    const double dDicomMiB = double(kDicomSide) * kDicomSide * kDicomSlices * 4 / (1024.0 * 1024.0);
    report("NIfTI 256^3 float32", best(ourNifti), best(libraryNifti), "nifti_image_read alone",
           dNiftiMiB);
    report("DICOM 300 x 512^2 int16", best(ourDicom), best(libraryDicom), "DCMTK alone", dDicomMiB);
    return 0;
}
