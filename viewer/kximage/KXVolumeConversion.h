// Turns the voxel grids of a scene description into what the renderer draws: a light source's
// voxels as a sparse list, the multimodality volume as a dense grid of bytes.
#ifndef KXVOLUMECONVERSION_H
#define KXVOLUMECONVERSION_H

#include "CKXSceneGraph.h"
#include "KXSceneDescription.h"

#include <QVector3D>

#include <cstddef>

namespace KXVolumeConversion
{
// A source is drawn voxel by voxel (about 1 KB of vertex data each): beyond this many only the
// brightest are kept.
constexpr std::size_t kMaxSourceVoxels = std::size_t(1) << 18;

// Whether the grid can be drawn: positive sides, one value per voxel and an invertible, finite
// voxel-to-world matrix.
bool isUsable(const SKXVolumeData& volume);

// The world bounding box of the grid's outer voxel faces (millimetres).
void worldBounds(const SKXVolumeData& volume, QVector3D& boxMin, QVector3D& boxMax);

// The voxels whose value is at least `fCutoff`, at their world centres, brightest first, at
// most `nMaxVoxels` of them (the brightest; among equal values the first in grid order). The
// edge length is the grid's spacing (the cube root of a voxel's volume when it is not cubic).
// An unusable grid gives no voxels.
CKXVolumeObject::SparseVoxels toSparse(const SKXVolumeData& volume, float fCutoff,
                                       std::size_t nMaxVoxels = kMaxSourceVoxels);

// The grid quantised to 0..255 over [minimum, maximum] (a constant grid is all 255; a NaN
// voxel is 0, so a threshold hides it), with its voxel-to-world matrix. An unusable grid gives
// an empty one (nx = 0).
CKXVolumeObject::DenseGrid toDense(const SKXVolumeData& volume);
} // namespace KXVolumeConversion

#endif // KXVOLUMECONVERSION_H
