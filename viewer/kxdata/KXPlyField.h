// A PLY file's per-vertex scalar field, read with the Draco library's PLY reader: the import
// library drops a PLY file's custom vertex properties. The mesh reader runs it on a thread of its
// own while the import library reads the file, so it shares nothing with its caller but the
// read-only arguments it is given and the record it fills.
#ifndef KXPLYFIELD_H
#define KXPLYFIELD_H

#include "KXMeshFileCheck.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <atomic>
#include <cstddef>
#include <memory>
#include <vector>

namespace draco
{
class PlyReader;
class PlyProperty;
} // namespace draco

// A field as read, with the parsed vertices whose positions it belongs to, for lining it up with
// the vertices the import library returns. The positions are read where the PLY library keeps
// them, not copied: a copy would be as large as the field three times over.
struct SKXPlyField
{
    SKXPlyField();
    ~SKXPlyField();
    SKXPlyField(SKXPlyField&&) noexcept;
    SKXPlyField& operator=(SKXPlyField&&) noexcept;

    QString strName;
    std::vector<float> values;                 // one finite value per PLY vertex; empty: none
    std::unique_ptr<draco::PlyReader> pReader; // owns what pXyz point into
    const draco::PlyProperty* pXyz[3] = {nullptr, nullptr, nullptr};

    // Coordinate `c` (0..2) of PLY vertex `i` (below values.size()).
    float coordinate(std::size_t i, int c) const;
};

enum class EKXPlyFieldRead
{
    Read,    // the field is in the record; its values are empty when no candidate was finite
    Failed,  // the reason is set
    Stopped, // `stop` was set before the field was read
};

// Reads the first of `candidates` (vertex property names the header lists, in the order to try)
// whose values are all finite numbers. `bNamed`: the user named the one candidate, so one that
// is not finite fails instead of being passed over. `header` and `check` are the file's first
// bytes and what kxCheckMeshFileHeader made of them; the file is opened here again by its path.
// `stop` is looked at between steps: once it is set, the read ends as soon as it can. Reasons
// do not name the file ("its vertex field ... cannot be read: ...").
EKXPlyFieldRead kxReadPlyField(const QString& strPath, const QByteArray& header,
                               const SKXMeshFileCheck& check, const QStringList& candidates,
                               bool bNamed, const std::atomic<bool>& stop, SKXPlyField& field,
                               QString& strReason);

// For each of `nVertices` vertices at `pXyz` (x, y, z each), the index of the PLY vertex it was
// read from; left empty when they are the same (the import library keeps a PLY file's vertex
// order when it reads one mesh). When it does not (it may drop or repeat vertices), each vertex
// is found by its exact position. False when one is not found.
bool kxAlignPlyField(const float* pXyz, std::size_t nVertices, const SKXPlyField& field,
                     std::vector<int>& toField);

#endif // KXPLYFIELD_H
