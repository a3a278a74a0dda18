#include "KXVolumeConversion.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace KXVolumeConversion
{
namespace
{
QVector3D column(const QMatrix4x4& m, int k)
{
    return m.column(k).toVector3D();
}
} // namespace

bool isUsable(const SKXVolumeData& v)
{
    if (v.nx <= 0 || v.ny <= 0 || v.nz <= 0 || v.values.size() != v.voxelCount())
        return false;
    for (int i = 0; i < 16; ++i)
        if (!std::isfinite(v.voxelToWorld.constData()[i]))
            return false;
    const double det = v.voxelToWorld.determinant();
    return std::isfinite(det) && std::abs(det) > 1e-12;
}

void worldBounds(const SKXVolumeData& v, QVector3D& boxMin, QVector3D& boxMax)
{
    for (int c = 0; c < 8; ++c)
    {
        const QVector3D p = v.voxelToWorld.map(QVector3D((c & 1) ? v.nx - 0.5f : -0.5f,
                                                         (c & 2) ? v.ny - 0.5f : -0.5f,
                                                         (c & 4) ? v.nz - 0.5f : -0.5f));
        if (c == 0)
            boxMin = boxMax = p;
        boxMin = QVector3D(std::min(boxMin.x(), p.x()), std::min(boxMin.y(), p.y()),
                           std::min(boxMin.z(), p.z()));
        boxMax = QVector3D(std::max(boxMax.x(), p.x()), std::max(boxMax.y(), p.y()),
                           std::max(boxMax.z(), p.z()));
    }
}

CKXVolumeObject::SparseVoxels toSparse(const SKXVolumeData& v, float fCutoff,
                                       std::size_t nMaxVoxels)
{
    CKXVolumeObject::SparseVoxels out;
    if (!isUsable(v) || !std::isfinite(fCutoff) || nMaxVoxels == 0)
        return out;
    const QMatrix4x4& m = v.voxelToWorld;
    const float a = column(m, 0).length(), b = column(m, 1).length(), c = column(m, 2).length();
    out.voxelSize =
        (a == b && b == c) ? a : static_cast<float>(std::cbrt(std::abs(double(m.determinant()))));

    // Too many voxels above the cutoff: raise it to a histogram bin edge that keeps at most
    // nMaxVoxels, so that the list below never grows past it.
    std::size_t nAbove = 0;
    float top = fCutoff;
    for (float x : v.values)
        if (x >= fCutoff)
        {
            ++nAbove;
            top = std::max(top, x);
        }
    if (nAbove > nMaxVoxels && top > fCutoff)
    {
        constexpr int kBins = 4096;
        std::vector<std::size_t> bins(kBins, 0);
        const double width = (double(top) - fCutoff) / kBins;
        for (float x : v.values)
            if (x >= fCutoff)
                ++bins[std::min<std::size_t>(kBins - 1, std::size_t((x - fCutoff) / width))];
        std::size_t kept = 0;
        int b = kBins;
        while (b > 0 && kept + bins[b - 1] <= nMaxVoxels)
            kept += bins[--b];
        fCutoff = static_cast<float>(fCutoff + b * width);
    }

    std::vector<float> raw;
    raw.reserve(4 * std::min(nAbove, nMaxVoxels));
    double wsum = 0.0;
    QVector3D centre;
    std::size_t idx = 0;
    for (int k = 0; k < v.nz; ++k)
        for (int j = 0; j < v.ny; ++j)
            for (int i = 0; i < v.nx; ++i, ++idx)
            {
                const float x = v.values[idx];
                if (!(x >= fCutoff) || raw.size() >= 4 * nMaxVoxels)
                    continue;
                const QVector3D p = m.map(QVector3D(float(i), float(j), float(k)));
                raw.insert(raw.end(), {p.x(), p.y(), p.z(), x});
                centre += x * p;
                wsum += x;
            }
    // Brightest first: a threshold then keeps a prefix, so hidden voxels cost nothing to draw.
    std::vector<std::size_t> order(raw.size() / 4);
    std::iota(order.begin(), order.end(), std::size_t(0));
    std::stable_sort(order.begin(), order.end(),
                     [&raw](std::size_t p, std::size_t q)
                     { return raw[4 * p + 3] > raw[4 * q + 3]; });
    out.voxels.reserve(raw.size());
    for (std::size_t i : order)
        out.voxels.insert(out.voxels.end(), raw.begin() + long(4 * i),
                          raw.begin() + long(4 * i + 4));
    QVector3D lo, hi;
    worldBounds(v, lo, hi);
    out.centre = wsum > 0 ? centre / static_cast<float>(wsum) : 0.5f * (lo + hi);
    float r = 0.0f;
    for (std::size_t i = 0; i < out.voxels.size(); i += 4)
        r = std::max(
            r,
            (QVector3D(out.voxels[i], out.voxels[i + 1], out.voxels[i + 2]) - out.centre).length());
    out.radius = r + out.voxelSize;
    return out;
}

CKXVolumeObject::DenseGrid toDense(const SKXVolumeData& v)
{
    CKXVolumeObject::DenseGrid g;
    if (!isUsable(v))
        return g;
    g.nx = v.nx;
    g.ny = v.ny;
    g.nz = v.nz;
    g.voxelToWorld = v.voxelToWorld;
    worldBounds(v, g.boxMin, g.boxMax);
    g.density.resize(v.voxelCount());
    const double lo = v.minimum, range = double(v.maximum) - lo;
    for (std::size_t i = 0; i < v.values.size(); ++i)
    {
        const float x = v.values[i];
        if (!std::isfinite(x))
            g.density[i] = 0;
        else if (!(range > 0.0))
            g.density[i] = 255;
        else
            g.density[i] = static_cast<unsigned char>(
                std::clamp(std::lround(255.0 * (double(x) - lo) / range), 0L, 255L));
    }
    return g;
}
} // namespace KXVolumeConversion
