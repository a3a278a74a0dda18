// What every reader of the user's data shares: the limits it enforces before it allocates, and
// the progress callback through which a long load reports and can be aborted.
#ifndef KXDATAREADING_H
#define KXDATAREADING_H

#include <cstdint>
#include <functional>

namespace KXDataLimits
{
// Well above real data (a whole-body surface at 0.1 mm, a 512 x 512 x 1000 CT) and below what
// would exhaust the memory of a workstation. A file beyond them is refused before its data is
// read.
constexpr std::int64_t kMaxTriangles = 20'000'000;
constexpr std::int64_t kMaxVertices = 30'000'000;
constexpr std::int64_t kMaxVoxels = std::int64_t(512) * 512 * 1024;
constexpr int kMaxVolumeSide = 4096; // voxels along any one axis
constexpr int kMaxDicomFiles = 5000; // files of one folder looked at for a series
} // namespace KXDataLimits

// Called now and then during a load with the fraction done (0..1); returning false aborts the
// load, which then fails with the message "Loading was aborted.". May be empty.
using KXProgress = std::function<bool(double dFraction)>;

#endif // KXDATAREADING_H
