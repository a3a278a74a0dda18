#include "CKXNiftiReader.h"

#include "KXVolumeValues.h"

#include <QFileInfo>

#include <nifti2_io.h>
#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace
{

// Deflate cannot expand data by more than about 1032 to 1, so a compressed file promising more
// voxel bytes than that ratio allows is lying, whatever its trailer says.
constexpr std::int64_t kMaxDeflateRatio = 1032;
// Voxel bytes read per call: small enough to report progress often and to keep the staging
// buffer in cache, large enough that the calls cost nothing.
constexpr std::int64_t kChunkBytes = std::int64_t(4) << 20;

struct SNiftiImageFree
{
    void operator()(nifti_image* pImage) const { nifti_image_free(pImage); }
};
using NiftiImagePtr = std::unique_ptr<nifti_image, SNiftiImageFree>;

// zlib reads the voxels, compressed or not (it passes plain files through), because it reports
// what nifticlib's reader cannot: a corrupt stream and a failed checksum.
struct SGzFile
{
    gzFile m_file = nullptr;
    ~SGzFile()
    {
        if (m_file)
            gzclose(m_file);
    }
};

QString message(const QString& strPath, const QString& strReason)
{
    return QStringLiteral("Cannot read the volume \"%1\": %2").arg(strPath, strReason);
}

bool isGzipped(const char* pszPath)
{
    return nifti_is_gzfile(pszPath) != 0;
}

// What the stored header says that nifticlib's conversion would quietly repair: dimensions below
// 1 become 1 and non-finite geometry becomes 0, which would show a damaged file as if whole.
template <typename Header>
bool checkStoredFields(const Header& header, const QString& strPath, QString& strError)
{
    const std::int64_t nDims = header.dim[0];
    if (nDims < 1 || nDims > 7)
    {
        strError =
            message(strPath, QStringLiteral("its header declares %1 dimensions.").arg(nDims));
        return false;
    }
    for (int i = 1; i <= std::min<std::int64_t>(nDims, 3); ++i)
    {
        if (header.dim[i] < 1)
        {
            strError = message(strPath, QStringLiteral("its header declares %1 voxels along axis "
                                                       "%2.")
                                            .arg(std::int64_t(header.dim[i]))
                                            .arg(i));
            return false;
        }
    }
    std::vector<double> geometry = {header.pixdim[1], header.pixdim[2], header.pixdim[3]};
    if (header.qform_code > 0)
        geometry.insert(geometry.end(),
                        {header.pixdim[0], header.quatern_b, header.quatern_c, header.quatern_d,
                         header.qoffset_x, header.qoffset_y, header.qoffset_z});
    if (header.sform_code > 0)
        for (int c = 0; c < 4; ++c)
            geometry.insert(geometry.end(), {header.srow_x[c], header.srow_y[c], header.srow_z[c]});
    for (const double d : geometry)
    {
        if (!std::isfinite(d))
        {
            strError = message(strPath, QStringLiteral("its voxel-to-world mapping is not finite "
                                                       "or is degenerate."));
            return false;
        }
    }
    return true;
}

// The header as the file stores it, before nifti_image_read() looks at the extensions: their
// reading allocates up to the data offset, which must first be held against the file's size.
bool checkRawHeader(const QByteArray& path, const QString& strPath, QString& strError)
{
    int nVersion = 0;
    std::unique_ptr<void, decltype(&std::free)> header(
        nifti_read_header(path.constData(), &nVersion, 0), &std::free);
    if (!header || (nVersion != 1 && nVersion != 2))
    {
        strError = message(strPath, QStringLiteral("it is not a valid NIfTI-1 or NIfTI-2 file."));
        return false;
    }
    const auto* pHeader1 = static_cast<const nifti_1_header*>(header.get());
    const auto* pHeader2 = static_cast<const nifti_2_header*>(header.get());
    if (nVersion == 1 ? !checkStoredFields(*pHeader1, strPath, strError)
                      : !checkStoredFields(*pHeader2, strPath, strError))
        return false;
    const double dOffset =
        nVersion == 1 ? pHeader1->vox_offset : static_cast<double>(pHeader2->vox_offset);
    const std::int64_t nFileSize = nifti_get_filesize(path.constData());
    const double dLimit = static_cast<double>(nFileSize) *
                          static_cast<double>(isGzipped(path.constData()) ? kMaxDeflateRatio : 1);
    if (!std::isfinite(dOffset) || dOffset < 0.0 || dOffset > dLimit)
    {
        strError = message(strPath, QStringLiteral("its header places the voxel data beyond the "
                                                   "end of the file."));
        return false;
    }
    return true;
}

// Voxel-to-world in millimetres, before the unit scale: sform, else qform, else the pixel sizes.
bool voxelToWorld(const nifti_image& image, QMatrix4x4& matrix)
{
    const nifti_dmat44* pAffine = nullptr;
    if (image.sform_code > 0)
        pAffine = &image.sto_xyz;
    else if (image.qform_code > 0)
        pAffine = &image.qto_xyz;
    if (pAffine)
    {
        for (int r = 0; r < 4; ++r)
            for (int c = 0; c < 4; ++c)
            {
                const double d = r < 3 ? pAffine->m[r][c] : (c == 3 ? 1.0 : 0.0);
                if (!std::isfinite(d) || std::fabs(d) > 1e12)
                    return false;
                matrix(r, c) = static_cast<float>(d);
            }
    }
    else
    {
        // An Analyze-style header: the grid axes are the world axes.
        const double adSize[3] = {image.dx, image.dy, image.dz};
        matrix.setToIdentity();
        for (int a = 0; a < 3; ++a)
        {
            const double d = std::fabs(adSize[a]);
            if (!std::isfinite(d) || d > 1e12)
                return false;
            matrix(a, a) = d > 0.0 ? static_cast<float>(d) : 1.0f;
        }
    }
    // A grid whose axes collapse onto a plane has no voxel-to-world mapping to show.
    const double dDet = matrix.determinant();
    return std::isfinite(dDet) && dDet != 0.0;
}

double unitToMillimetres(int nUnits)
{
    switch (nUnits)
    {
    case NIFTI_UNITS_METER:
        return 1000.0;
    case NIFTI_UNITS_MICRON:
        return 0.001;
    default: // millimetres, or unknown: millimetres by convention
        return 1.0;
    }
}

template <typename T>
void convertChunk(const unsigned char* pSource, float* pTarget, std::int64_t nCount, double dSlope,
                  double dIntercept)
{
    for (std::int64_t i = 0; i < nCount; ++i)
    {
        T value;
        std::memcpy(&value, pSource + i * sizeof(T), sizeof(T));
        pTarget[i] = static_cast<float>(static_cast<double>(value) * dSlope + dIntercept);
    }
}

template <typename T>
void convertChunkUnscaled(const unsigned char* pSource, float* pTarget, std::int64_t nCount)
{
    for (std::int64_t i = 0; i < nCount; ++i)
    {
        T value;
        std::memcpy(&value, pSource + i * sizeof(T), sizeof(T));
        pTarget[i] = static_cast<float>(value);
    }
}

using ConvertFunction = void (*)(const unsigned char*, float*, std::int64_t, double, double);

template <typename T>
void convert(const unsigned char* pSource, float* pTarget, std::int64_t nCount, double dSlope,
             double dIntercept)
{
    if (dSlope == 1.0 && dIntercept == 0.0)
        convertChunkUnscaled<T>(pSource, pTarget, nCount);
    else
        convertChunk<T>(pSource, pTarget, nCount, dSlope, dIntercept);
}

ConvertFunction converterFor(int nDatatype)
{
    switch (nDatatype)
    {
    case DT_UINT8:
        return &convert<std::uint8_t>;
    case DT_INT8:
        return &convert<std::int8_t>;
    case DT_INT16:
        return &convert<std::int16_t>;
    case DT_UINT16:
        return &convert<std::uint16_t>;
    case DT_INT32:
        return &convert<std::int32_t>;
    case DT_UINT32:
        return &convert<std::uint32_t>;
    case DT_INT64:
        return &convert<std::int64_t>;
    case DT_UINT64:
        return &convert<std::uint64_t>;
    case DT_FLOAT32:
        return &convert<float>;
    case DT_FLOAT64:
        return &convert<double>;
    default:
        return nullptr;
    }
}

} // namespace

bool CKXNiftiReader::read(const QString& strPath, SKXVolumeData& volume, QString& strError,
                          const KXProgress& progress)
{
    strError.clear();
    const QFileInfo info(strPath);
    if (!info.exists())
    {
        strError = message(strPath, QStringLiteral("the file does not exist."));
        return false;
    }
    if (!info.isFile() || !info.isReadable())
    {
        strError = message(strPath, QStringLiteral("the file cannot be opened for reading."));
        return false;
    }
    if (progress && !progress(0.0))
    {
        strError = QStringLiteral("Loading was aborted.");
        return false;
    }

    nifti_set_debug_level(0);
    const QByteArray path = QFile::encodeName(strPath);
    if (!checkRawHeader(path, strPath, strError))
        return false;
    // The header and extensions only; the voxels are read below, once the header is trusted.
    const NiftiImagePtr image(nifti_image_read(path.constData(), 0));
    if (!image || !image->iname)
    {
        strError = message(strPath, QStringLiteral("it is not a valid NIfTI-1 or NIfTI-2 file."));
        return false;
    }

    const ConvertFunction pConvert = converterFor(image->datatype);
    if (!pConvert)
    {
        const char* pszType = nifti_datatype_to_string(image->datatype);
        strError = message(strPath, QStringLiteral("its voxels are of type %1; only integer and "
                                                   "real scalar voxels can be shown.")
                                        .arg(QString::fromLatin1(pszType ? pszType : "unknown")));
        return false;
    }
    const std::int64_t anSide[3] = {image->nx, image->ny, image->nz};
    for (std::int64_t nSide : anSide)
    {
        if (nSide < 1 || nSide > KXDataLimits::kMaxVolumeSide)
        {
            strError =
                message(strPath, QStringLiteral("its dimensions %1 x %2 x %3 are not those of a "
                                                "volume that can be shown (1 to %4 voxels a side).")
                                     .arg(image->nx)
                                     .arg(image->ny)
                                     .arg(image->nz)
                                     .arg(KXDataLimits::kMaxVolumeSide));
            return false;
        }
    }
    const std::int64_t nVoxels = image->nx * image->ny * image->nz;
    if (nVoxels > KXDataLimits::kMaxVoxels)
    {
        strError = message(strPath, QStringLiteral("it holds %1 voxels, more than the %2 the "
                                                   "viewer accepts.")
                                        .arg(nVoxels)
                                        .arg(KXDataLimits::kMaxVoxels));
        return false;
    }

    QMatrix4x4 matrix;
    if (!voxelToWorld(*image, matrix))
    {
        strError = message(strPath, QStringLiteral("its voxel-to-world mapping is not finite or "
                                                   "is degenerate."));
        return false;
    }
    const float fUnit = static_cast<float>(unitToMillimetres(image->xyz_units));
    QMatrix4x4 unitScale;
    unitScale.scale(fUnit);
    matrix = unitScale * matrix;

    // Slope 0 (or not a number) means the values are stored unscaled.
    double dSlope = image->scl_slope;
    double dIntercept = image->scl_inter;
    if (!std::isfinite(dSlope) || dSlope == 0.0)
    {
        dSlope = 1.0;
        dIntercept = 0.0;
    }
    if (!std::isfinite(dIntercept))
        dIntercept = 0.0;

    // Of a time series only the first volume is read, so only its bytes must be in the file.
    const std::int64_t nBytes = nVoxels * image->nbyper;
    const std::int64_t nDataSize = nifti_get_filesize(image->iname);
    const bool bGzipped = isGzipped(image->iname);
    const std::int64_t nCapacity = bGzipped ? nDataSize * kMaxDeflateRatio : nDataSize;
    if (nDataSize < 0 || image->iname_offset < 0 || image->iname_offset > nCapacity ||
        nBytes > nCapacity - image->iname_offset)
    {
        strError = message(strPath, QStringLiteral("the file is shorter than its header says "
                                                   "(%1 x %2 x %3 voxels of %4 bytes).")
                                        .arg(image->nx)
                                        .arg(image->ny)
                                        .arg(image->nz)
                                        .arg(image->nbyper));
        return false;
    }

    SGzFile file;
    file.m_file = gzopen(image->iname, "rb");
    if (!file.m_file || gzbuffer(file.m_file, 1u << 17) != 0 ||
        gzseek(file.m_file, static_cast<z_off_t>(image->iname_offset), SEEK_SET) < 0)
    {
        strError = message(strPath, QStringLiteral("its voxel data cannot be opened."));
        return false;
    }

    const bool bSwap = image->nbyper > 1 && image->byteorder != nifti_short_order();
    std::vector<float> values(static_cast<std::size_t>(nVoxels));
    const std::int64_t nChunkVoxels = std::max<std::int64_t>(1, kChunkBytes / image->nbyper);
    std::vector<unsigned char> staging(
        static_cast<std::size_t>(std::min(nVoxels, nChunkVoxels) * image->nbyper));
    const QString strTruncated =
        QStringLiteral("the file is truncated or its compressed data is corrupt.");
    for (std::int64_t nDone = 0; nDone < nVoxels;)
    {
        const std::int64_t nCount = std::min(nChunkVoxels, nVoxels - nDone);
        const int nChunkBytes = static_cast<int>(nCount * image->nbyper);
        if (gzread(file.m_file, staging.data(), static_cast<unsigned>(nChunkBytes)) != nChunkBytes)
        {
            strError = message(strPath, strTruncated);
            return false;
        }
        if (bSwap)
            nifti_swap_Nbytes(nCount, image->nbyper, staging.data());
        pConvert(staging.data(), values.data() + nDone, nCount, dSlope, dIntercept);
        nDone += nCount;
        if (progress && !progress(static_cast<double>(nDone) / static_cast<double>(nVoxels)))
        {
            strError = QStringLiteral("Loading was aborted.");
            return false;
        }
    }
    // When the voxels read are the whole image, zlib reaches the stream's end and checks its
    // checksum, which a corrupt stream that still inflated to enough bytes fails.
    if (bGzipped && nVoxels == image->nvox)
    {
        int nRead = 0;
        while ((nRead =
                    gzread(file.m_file, staging.data(), static_cast<unsigned>(staging.size()))) > 0)
        {
        }
        int nStatus = Z_OK;
        gzerror(file.m_file, &nStatus);
        if (nRead < 0 || nStatus != Z_OK)
        {
            strError = message(strPath, strTruncated);
            return false;
        }
    }

    SKXVolumeData result;
    result.name = info.completeBaseName();
    if (result.name.endsWith(QLatin1String(".nii"), Qt::CaseInsensitive))
        result.name.chop(4);
    result.nx = static_cast<int>(image->nx);
    result.ny = static_cast<int>(image->ny);
    result.nz = static_cast<int>(image->nz);
    result.values = std::move(values);
    result.voxelToWorld = matrix;
    KXVolumeValues::computeRange(result);
    volume = std::move(result);
    return true;
}
