// libFuzzer entry point for the volume readers: the first byte chooses the reader (even: the rest
// is a ".nii" file; odd: the rest is the only file of a DICOM folder), as KXVolumeFuzzInput.h
// does for the test that replays the findings. Besides the sanitizers' findings, these abort:
// - a result that breaks the readers' contract: success with a message, failure without one,
//   values that do not fill the grid, a grid beyond the limits, a range that is not that of the
//   finite values, a voxel-to-world mapping that is not finite.
#include "KXVolumeFuzzInput.h"

#include <QTemporaryDir>
#include <QtGlobal>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace
{

void discardMessage(QtMsgType eType, const QMessageLogContext&, const QString&)
{
    if (eType == QtFatalMsg)
        std::abort();
}

void checkVolume(const SKXVolumeData& v)
{
    if (v.nx < 1 || v.ny < 1 || v.nz < 1 || v.values.size() != v.voxelCount() ||
        std::int64_t(v.voxelCount()) > KXDataLimits::kMaxVoxels)
        std::abort();
    bool bAny = false;
    for (const float f : v.values)
    {
        if (std::isfinite(f))
        {
            bAny = true;
            if (f < v.minimum || f > v.maximum)
                std::abort();
        }
    }
    if (!bAny && (v.minimum != 0.0f || v.maximum != 0.0f))
        std::abort();
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c)
            if (!std::isfinite(v.voxelToWorld(r, c)))
                std::abort();
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    qInstallMessageHandler(discardMessage);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
    static QTemporaryDir dir;
    if (!dir.isValid())
        std::abort();
    SKXVolumeData volume;
    QString strError;
    const bool bRead = kxReadVolumeFuzzInput(pData, nSize, dir.path(), volume, strError);
    if (nSize > 0 && bRead == !strError.isEmpty())
        std::abort();
    if (bRead)
        checkVolume(volume);
    return 0;
}
