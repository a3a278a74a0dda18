// The NIfTI and DICOM readers on files other programs wrote (make_volume_fixtures.py: nibabel and
// pydicom, run by ctest before these tests), on damaged and lying files, and on the inputs the
// volume fuzzer found faults with (tests/data/fuzz-volumes/).
#include "CKXDicomReader.h"
#include "CKXNiftiReader.h"
#include "KXVolumeFuzzInput.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <thread>

namespace
{

QString fixture(const char* pszName)
{
    return QDir(QStringLiteral(KX_VOLUME_FIXTURES)).filePath(QString::fromLatin1(pszName));
}

// The fixtures' voxel values: base + i + 4 j + 12 k on a 4 x 3 x 2 grid.
void expectIndexValues(const SKXVolumeData& v, double dBase, double dSlope, double dTolerance)
{
    ASSERT_EQ(v.nx, 4);
    ASSERT_EQ(v.ny, 3);
    ASSERT_EQ(v.nz, 2);
    ASSERT_EQ(v.values.size(), 24u);
    for (int n = 0; n < 24; ++n)
        EXPECT_NEAR(v.values[n], dBase + dSlope * n, dTolerance) << "voxel " << n;
    EXPECT_NEAR(v.minimum, dBase, dTolerance);
    EXPECT_NEAR(v.maximum, dBase + dSlope * 23, dTolerance);
}

// Rows of the top three rows of voxel-to-world.
void expectMatrix(const QMatrix4x4& m, const float (&afExpected)[3][4])
{
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 4; ++c)
            EXPECT_NEAR(m(r, c), afExpected[r][c], 1e-4) << "row " << r << " column " << c;
    EXPECT_EQ(m.row(3), QVector4D(0, 0, 0, 1));
}

SKXVolumeData untouched()
{
    SKXVolumeData v;
    v.name = QStringLiteral("before");
    v.nx = v.ny = v.nz = 1;
    v.values = {42.0f};
    return v;
}

// Every refusal names the file or folder, says why, and leaves the caller's volume as it was.
template <typename Reader>
void expectRefused(const QString& strPath, const char* pszReason, const KXProgress& progress = {})
{
    SCOPED_TRACE(strPath.toStdString());
    SKXVolumeData volume = untouched();
    QString strError;
    EXPECT_FALSE(Reader::read(strPath, volume, strError, progress));
    const QString strNamed = QFileInfo(strPath).fileName();
    if (!progress)
    {
        EXPECT_TRUE(strError.contains(strNamed)) << strError.toStdString();
    }
    EXPECT_TRUE(strError.contains(QLatin1String(pszReason), Qt::CaseInsensitive))
        << strError.toStdString();
    EXPECT_EQ(volume.name, QStringLiteral("before"));
    EXPECT_EQ(volume.values, std::vector<float>{42.0f});
}

} // namespace

TEST(NiftiReader, ReadsEveryScalarTypeAndScaling)
{
    struct SCase
    {
        const char* m_pszFile;
        double m_dBase, m_dSlope, m_dTolerance;
    } const cases[] = {
        {"type_uint8.nii", 0, 1, 0},
        {"type_int8.nii", -10, 1, 0},
        {"type_int16.nii", -1000, 1, 0},
        {"type_uint16.nii", 60000, 1, 0},
        {"type_int32.nii", -100000, 1, 0},
        {"type_uint32.nii", 3e9, 1, 3e9 * 1e-7},
        {"type_int64.nii", -5e9, 1, 5e9 * 1e-7},
        {"type_uint64.nii", 1e10, 1, 1e10 * 1e-7},
        {"type_float32.nii", 0.5, 1, 0},
        {"type_float64.nii", -0.25, 1, 0},
        {"type_int16.nii.gz", -1000, 1, 0},
        {"type_float32_v2.nii", 0.5, 1, 0}, // NIfTI-2
        {"pair.hdr", 0, 1, 0},
        {"pair.img", 0, 1, 0},
        {"scaled.nii", 1000.5, 0.25, 1e-3}, // int16 with nibabel's slope and intercept
        {"slope_zero.nii", 0, 1, 0},        // slope 0: stored values, intercept ignored
    };
    for (const SCase& c : cases)
    {
        SCOPED_TRACE(c.m_pszFile);
        SKXVolumeData v;
        QString strError;
        ASSERT_TRUE(CKXNiftiReader::read(fixture(c.m_pszFile), v, strError))
            << strError.toStdString();
        EXPECT_TRUE(strError.isEmpty());
        expectIndexValues(v, c.m_dBase, c.m_dSlope, c.m_dTolerance);
    }
}

TEST(NiftiReader, VoxelToWorldFromSformElseQformElsePixelSizes)
{
    const double c = std::cos(0.5), s = std::sin(0.5);
    struct SCase
    {
        const char* m_pszFile;
        float m_afMatrix[3][4];
    } const cases[] = {
        {"geom_sform.nii", {{0, 0, 1.5f, -5}, {-2, 0, 0.5f, 6}, {0, 2.5f, 0, 7}}},
        {"geom_qform.nii",
         {{float(2 * c), float(-3 * s), 0, 10},
          {float(2 * s), float(3 * c), 0, -20},
          {0, 0, 4, 30}}},
        {"geom_none.nii", {{2, 0, 0, 0}, {0, 3, 0, 0}, {0, 0, 4, 0}}},
        {"geom_metres.nii", {{2, 0, 0, 0}, {0, 3, 0, 0}, {0, 0, 4, 0}}},
    };
    for (const auto& t : cases)
    {
        SCOPED_TRACE(t.m_pszFile);
        SKXVolumeData v;
        QString strError;
        ASSERT_TRUE(CKXNiftiReader::read(fixture(t.m_pszFile), v, strError))
            << strError.toStdString();
        expectMatrix(v.voxelToWorld, t.m_afMatrix);
    }
}

TEST(NiftiReader, RefusesBrokenAndLyingFiles)
{
    const struct
    {
        const char* m_pszFile;
        const char* m_pszReason;
    } cases[] = {
        {"no_such_file.nii", "does not exist"},
        {"bad_folder.nii", "cannot be opened"},
        {"bad_garbage.nii", "not a valid NIfTI"},
        {"bad_header_only.nii", "shorter than its header says"},
        {"bad_truncated.nii", "shorter than its header says"},
        {"bad_truncated.nii.gz", "truncated or its compressed data is corrupt"},
        {"bad_corrupt.nii.gz", "truncated or its compressed data is corrupt"},
        {"bad_promises_more.nii", "shorter than its header says"},
        {"bad_gz_promises_more.nii.gz", "shorter than its header says"},
        {"bad_offset_beyond.nii", "beyond the end of the file"},
        {"bad_dim_zero.nii", "0 voxels along axis 2"},
        {"bad_dim_negative.nii", "-4 voxels along axis 2"},
        {"bad_side_too_long.nii", "1 to 4096 voxels a side"},
        {"bad_too_many_voxels.nii", "more than the"},
        {"bad_nan_sform.nii", "not finite"},
        {"bad_inf_qform.nii", "not finite"},
        {"bad_complex.nii", "COMPLEX64"},
        {"bad_rgb.nii", "RGB24"},
    };
    for (const auto& c : cases)
        expectRefused<CKXNiftiReader>(fixture(c.m_pszFile), c.m_pszReason);
}

TEST(DicomReader, AxialSeriesSortedRescaledInRasMillimetres)
{
    // Files named out of position order; reading the folder or one of its files is the same.
    for (const QString& strPath : {fixture("dcm_axial"), fixture("dcm_axial/img003.dcm")})
    {
        SCOPED_TRACE(strPath.toStdString());
        SKXVolumeData v;
        QString strError;
        int nCalls = 0;
        double dLast = -1.0;
        const auto progress = [&](double d)
        {
            EXPECT_GE(d, dLast);
            dLast = d;
            ++nCalls;
            return true;
        };
        ASSERT_TRUE(CKXDicomReader::read(strPath, v, strError, progress)) << strError.toStdString();
        EXPECT_GE(nCalls, 4); // once per slice at least
        EXPECT_EQ(dLast, 1.0);
        ASSERT_EQ(v.nx, 5); // columns
        ASSERT_EQ(v.ny, 3); // rows
        ASSERT_EQ(v.nz, 4);
        // Stored value 100 k + 10 row + column, rescaled by 2 and -1024.
        for (int k = 0; k < 4; ++k)
            for (int r = 0; r < 3; ++r)
                for (int col = 0; col < 5; ++col)
                    ASSERT_EQ(v.values[(k * 3 + r) * 5 + col], 2 * (100 * k + 10 * r + col) - 1024);
        EXPECT_EQ(v.minimum, -1024);
        EXPECT_EQ(v.maximum, 2 * 324 - 1024);
        EXPECT_EQ(v.name, QStringLiteral("Test series"));
        // LPS position (-10, 20, 5 + 2 k), spacing 0.5 between rows and 0.75 between columns.
        expectMatrix(v.voxelToWorld, {{-0.75f, 0, 0, 10}, {0, -0.5f, 0, -20}, {0, 0, 2, 5}});
    }
}

TEST(DicomReader, ObliqueSeriesKeepsItsSlicePositions)
{
    SKXVolumeData v;
    QString strError;
    ASSERT_TRUE(CKXDicomReader::read(fixture("dcm_oblique"), v, strError))
        << strError.toStdString();
    ASSERT_EQ(v.nz, 3);
    EXPECT_EQ(v.values[(2 * 3 + 1) * 5 + 4], 214.0f); // unsigned, no rescale
    // Rows along (0.6, 0.8, 0) by 0.75 mm, columns along (0, 0, -1) by 0.5 mm, slice k at LPS
    // (3 - 1.2 k, 4 + 0.9 k, 50): x and y negated into RAS.
    expectMatrix(v.voxelToWorld, {{-0.45f, 0, 1.2f, -3}, {-0.6f, 0, -0.9f, -4}, {0, -0.5f, 0, 50}});
}

TEST(DicomReader, RefusesFoldersThatAreNotOneSeries)
{
    const struct
    {
        const char* m_pszFolder;
        const char* m_pszReason;
    } cases[] = {
        {"dcm_missing", "does not exist"},
        {"dcm_no_images", "no DICOM images"},
        {"dcm_mixed", "2 series"},
        {"dcm_sizes", "size differs"},
        {"dcm_orientations", "orientation differs"},
        {"dcm_duplicate", "same position"},
        {"dcm_gap", "not evenly spaced"},
        {"dcm_truncated", "truncated or corrupt"},
        {"dcm_too_many", "more than 5000 files"},
    };
    for (const auto& c : cases)
        expectRefused<CKXDicomReader>(fixture(c.m_pszFolder), c.m_pszReason);

    // The refusal of a mixed folder lists what it holds.
    SKXVolumeData v;
    QString strError;
    CKXDicomReader::read(fixture("dcm_mixed"), v, strError);
    EXPECT_TRUE(strError.contains("\"Head\" (2 images") && strError.contains("\"Neck\" (2 images"))
        << strError.toStdString();
}

TEST(VolumeReaders, ProgressCanAbortEitherReader)
{
    int nCalls = 0;
    const auto abortSecond = [&](double) { return ++nCalls < 2; };
    expectRefused<CKXNiftiReader>(fixture("type_float64.nii"), "Loading was aborted.", abortSecond);
    EXPECT_EQ(nCalls, 2);
    nCalls = 0;
    expectRefused<CKXDicomReader>(fixture("dcm_axial"), "Loading was aborted.", abortSecond);
    EXPECT_EQ(nCalls, 2);
}

TEST(VolumeReaders, FuzzFindingsAreRefusedOrReadWithinLimits)
{
    const QDir dir(QStringLiteral(KX_TEST_DATA_DIR "/fuzz-volumes"));
    const QStringList names = dir.entryList(QDir::Files, QDir::Name);
    ASSERT_FALSE(names.isEmpty());
    for (const QString& strName : names)
    {
        SCOPED_TRACE(strName.toStdString());
        QFile file(dir.filePath(strName));
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        const QByteArray bytes = file.readAll();
        QTemporaryDir temp;
        ASSERT_TRUE(temp.isValid());
        SKXVolumeData v;
        QString strError;
        const bool bRead =
            kxReadVolumeFuzzInput(reinterpret_cast<const std::uint8_t*>(bytes.data()),
                                  std::size_t(bytes.size()), temp.path(), v, strError);
        EXPECT_NE(bRead, !strError.isEmpty()) << strError.toStdString();
        if (bRead)
        {
            EXPECT_EQ(v.values.size(), v.voxelCount());
            EXPECT_LE(std::int64_t(v.voxelCount()), KXDataLimits::kMaxVoxels);
        }
    }
}

// Slices are decoded beside each other; what a load reports is still what reading them in order
// reports. Of two slices that cannot be decoded, the first in position order is named; an abort
// answered at any progress call ends the load there, the last call included. The progress
// callback dawdles, so that the other thread decodes most slices while this one waits in it.
TEST(DicomReader, FailureAndAbortAsInPositionOrder)
{
    const auto dawdle = [] { std::this_thread::sleep_for(std::chrono::milliseconds(20)); };
    expectRefused<CKXDicomReader>(fixture("dcm_bad_pixels"), "s3.dcm",
                                  [&](double)
                                  {
                                      dawdle();
                                      return true;
                                  });
    expectRefused<CKXDicomReader>(fixture("dcm_bad_pixels"), "s3.dcm");
    for (int nAbortAt = 1;; ++nAbortAt)
    {
        SCOPED_TRACE(nAbortAt);
        SKXVolumeData v;
        QString strError;
        int nCalls = 0;
        const bool bOk = CKXDicomReader::read(fixture("dcm_axial"), v, strError,
                                              [&](double)
                                              {
                                                  dawdle();
                                                  return ++nCalls < nAbortAt;
                                              });
        if (bOk)
        {
            EXPECT_EQ(nAbortAt, 6) << "progress is reported at the start and once per slice";
            break;
        }
        EXPECT_EQ(strError, "Loading was aborted.");
        EXPECT_EQ(nCalls, nAbortAt) << "the load went on after it was aborted";
        ASSERT_LT(nAbortAt, 6);
    }
}
