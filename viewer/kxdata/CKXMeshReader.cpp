#include "CKXMeshReader.h"

#include "KXMeshFileCheck.h"

#include <assimp/Importer.hpp>
#include <assimp/ProgressHandler.hpp>
#include <assimp/material.h>
#include <assimp/postprocess.h>
#include <assimp/scene.h>
#include <draco/core/decoder_buffer.h>
#include <draco/io/ply_reader.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <malloc.h>
#include <memory>
#include <sys/mman.h>
#include <unistd.h>
#include <unordered_map>
#include <utility>

namespace
{

const char* const kScalarCandidates[] = {"intensity", "scalar", "value", "quality", "density"};

// Share of the progress range each phase takes.
constexpr double kFieldPhaseEnd = 0.2;
constexpr double kImportPhaseEnd = 0.85;

// Reserves `n` elements and has the system map all of their pages at once. Each page a process
// touches for the first time is otherwise a trap of its own, and on a virtual machine those
// traps cost more than filling the page: the arrays of a surface of a million triangles span
// some 6,000 pages. Where the system cannot, the pages come in as they are touched.
template <class T> void reserveMapped(std::vector<T>& v, size_t n)
{
    v.reserve(n);
#ifdef MADV_POPULATE_WRITE
    static const uintptr_t nPage = uintptr_t(sysconf(_SC_PAGESIZE));
    const uintptr_t nBegin = (uintptr_t(v.data()) + nPage - 1) & ~(nPage - 1);
    const uintptr_t nEnd = uintptr_t(v.data() + v.capacity()) & ~(nPage - 1);
    if (nPage > 0 && nEnd > nBegin)
        madvise(reinterpret_cast<void*>(nBegin), nEnd - nBegin, MADV_POPULATE_WRITE);
#endif
}

// Relays the import library's progress into our callback; remembers an abort, because the
// library does not stop at every report whose answer is "abort".
class CProgressRelay : public Assimp::ProgressHandler
{
public:
    CProgressRelay(const KXProgress& progress, double dFrom, double dTo)
        : m_progress(progress), m_dFrom(dFrom), m_dTo(dTo)
    {
    }
    bool Update(float fPercentage) override
    {
        if (m_bAborted)
            return false;
        const double d = std::clamp(static_cast<double>(fPercentage), 0.0, 1.0);
        if (m_progress && !m_progress(m_dFrom + (m_dTo - m_dFrom) * d))
            m_bAborted = true;
        return !m_bAborted;
    }
    bool isAborted() const { return m_bAborted; }

private:
    const KXProgress& m_progress;
    double m_dFrom, m_dTo;
    bool m_bAborted = false;
};

// A value of a property the PLY library parsed, as a float (the library keeps them packed in
// the file's type); 0 for a type that is no number.
float plyValue(const draco::PlyProperty& property, size_t i)
{
    const void* p = property.GetDataEntryAddress(int(i));
    auto get = [p](auto value)
    {
        std::memcpy(&value, p, sizeof value); // packed, not aligned
        return value;
    };
    switch (property.data_type())
    {
    case draco::DT_INT8:
        return float(get(qint8()));
    case draco::DT_UINT8:
        return float(get(quint8()));
    case draco::DT_INT16:
        return float(get(qint16()));
    case draco::DT_UINT16:
        return float(get(quint16()));
    case draco::DT_INT32:
        return float(get(qint32()));
    case draco::DT_UINT32:
        return float(get(quint32()));
    case draco::DT_FLOAT32:
        return get(float());
    case draco::DT_FLOAT64:
    {
        // Beyond a float's range is not finite, as a float; converting it would be undefined.
        const double d = get(double());
        return std::fabs(d) <= std::numeric_limits<float>::max()
                   ? float(d)
                   : std::numeric_limits<float>::infinity();
    }
    default:
        return 0.0f;
    }
}

bool isPlyNumber(const draco::PlyProperty& property)
{
    const draco::DataType e = property.data_type();
    return e != draco::DT_INVALID && e != draco::DT_INT64 && e != draco::DT_UINT64 &&
           e != draco::DT_BOOL && e < draco::DT_TYPES_COUNT;
}

// A PLY vertex field, with the parsed vertices whose positions it belongs to, for lining it up
// with the vertices the import library returns. The positions are read where the library keeps
// them, not copied: a copy would be as large as the field three times over.
struct SPlyField
{
    QString strName;
    std::vector<float> values;
    std::unique_ptr<draco::PlyReader> pReader; // owns what pXyz point into
    const draco::PlyProperty* pXyz[3] = {nullptr, nullptr, nullptr};

    float coordinate(size_t i, int c) const { return plyValue(*pXyz[c], i); }
};

// The part of a PLY file the scalar field needs: its header cut after the vertex element, and
// the vertex entries alone. The faces are most of a mesh file and the field does not need them,
// so the PLY library is not made to parse them. A binary file's part is made in a private
// mapping of the file, the cut header written just before the vertex entries: the entries are
// then not copied, only the header's page is. Empty when the file is not laid out for this (the
// vertex element is not the first, or a binary vertex has a list), and then the whole file is
// read.
struct SPlyPart
{
    QByteArray bytes;      // the part, when it is a copy
    uchar* pMap = nullptr; // the mapping it is in otherwise, unmapped with the file
    const char* pData = nullptr;
    qint64 nSize = 0;
};

SPlyPart plyVertexPart(QFile& file, const QByteArray& header, const SKXMeshFileCheck& check)
{
    SPlyPart none;
    const qint64 nSize = file.size();
    if (check.nVertexDeclEnd < 0 || check.nPlyDataOffset < 0 || check.nDeclaredVertices < 0 ||
        check.nVertexDeclEnd > check.nPlyDataOffset || check.nVertexDeclEnd > header.size() ||
        check.nPlyDataOffset > nSize || !file.seek(check.nPlyDataOffset))
        return none;
    static const char kEnd[] = "end_header\n";
    constexpr qint64 nEnd = sizeof kEnd - 1;
    const qint64 nAvailable = nSize - check.nPlyDataOffset;
    if (!check.bPlyAscii)
    {
        if (check.nVertexEntryBytes <= 0)
            return none;
        // Counts are bounded by the vertex limit, entries by a few hundred bytes: no overflow.
        const qint64 nBlock = check.nDeclaredVertices * check.nVertexEntryBytes;
        const qint64 nCut = check.nVertexDeclEnd + nEnd;
        if (nBlock > nAvailable || nCut + nBlock > std::numeric_limits<int>::max())
            return none; // a header that promises more than the file holds
        // The cut header is never longer than the whole one, which has at least its end line
        // after the vertex element; the check is for a header laid out otherwise.
        if (nCut <= check.nPlyDataOffset)
            if (uchar* pMap =
                    file.map(0, check.nPlyDataOffset + nBlock, QFileDevice::MapPrivateOption))
            {
                char* pStart = reinterpret_cast<char*>(pMap) + (check.nPlyDataOffset - nCut);
                std::memcpy(pStart, header.constData(), size_t(check.nVertexDeclEnd));
                std::memcpy(pStart + check.nVertexDeclEnd, kEnd, size_t(nEnd));
                SPlyPart mapped;
                mapped.pMap = pMap;
                mapped.pData = pStart;
                mapped.nSize = nCut + nBlock;
                return mapped;
            }
        SPlyPart part;
        part.bytes = header.left(int(check.nVertexDeclEnd)) + kEnd;
        const int nPrefix = part.bytes.size();
        part.bytes.resize(int(nPrefix + nBlock));
        if (file.read(part.bytes.data() + nPrefix, nBlock) != nBlock)
            return none;
        part.pData = part.bytes.constData();
        part.nSize = part.bytes.size();
        return part;
    }
    QByteArray part = header.left(int(check.nVertexDeclEnd)) + kEnd;
    const int nPrefix = part.size();
    // One vertex per line, as PLY writers put them; a file that spreads its vertices otherwise
    // fails on this part, and is then read whole.
    constexpr qint64 kChunk = 1 << 20;
    qint64 nLines = 0, nScanned = nPrefix;
    while (nLines < check.nDeclaredVertices && !file.atEnd())
    {
        if (part.size() + kChunk > std::numeric_limits<int>::max())
            return none;
        const QByteArray chunk = file.read(kChunk);
        if (chunk.isEmpty())
            break;
        part += chunk;
        for (const char *p = part.constData() + nScanned, *pEnd = part.constData() + part.size();
             nLines < check.nDeclaredVertices &&
             (p = static_cast<const char*>(std::memchr(p, '\n', size_t(pEnd - p))));
             ++p)
        {
            ++nLines;
            nScanned = p + 1 - part.constData();
        }
        if (nLines < check.nDeclaredVertices)
            nScanned = part.size();
    }
    part.truncate(int(nScanned));
    SPlyPart ascii;
    ascii.bytes = std::move(part);
    ascii.pData = ascii.bytes.constData();
    ascii.nSize = ascii.bytes.size();
    return ascii;
}

// Parses `nSize` bytes of PLY with the PLY library into `reader`; the library's message when it
// cannot.
bool parsePly(const char* pData, qint64 nSize, draco::PlyReader& reader, QString& strWhy)
{
    draco::DecoderBuffer buffer;
    buffer.Init(pData, static_cast<size_t>(nSize));
    const draco::Status status = reader.Read(&buffer);
    strWhy = status.ok() ? QString() : QString::fromStdString(status.error_msg_string());
    return status.ok();
}

// Takes the named vertex property from a parsed file. Empty `strReason` and an empty field when
// the property holds a value that is not a finite number.
bool takePlyField(const draco::PlyReader& reader, const QString& strName, SPlyField& field,
                  QString& strReason)
{
    const draco::PlyElement* pVertices = reader.GetElementByName("vertex");
    const draco::PlyProperty* pValue =
        pVertices ? pVertices->GetPropertyByName(strName.toStdString()) : nullptr;
    const draco::PlyProperty* pXyz[3] = {pVertices ? pVertices->GetPropertyByName("x") : nullptr,
                                         pVertices ? pVertices->GetPropertyByName("y") : nullptr,
                                         pVertices ? pVertices->GetPropertyByName("z") : nullptr};
    if (!pValue || pValue->is_list() || !pXyz[0] || !pXyz[1] || !pXyz[2] || pXyz[0]->is_list() ||
        pXyz[1]->is_list() || pXyz[2]->is_list())
    {
        strReason =
            QStringLiteral("its vertex field \"%1\" is not one number per vertex.").arg(strName);
        return false;
    }
    if (!isPlyNumber(*pValue))
    {
        strReason =
            QStringLiteral("its vertex field \"%1\" is of a type this viewer does not read.")
                .arg(strName);
        return false;
    }
    if (!isPlyNumber(*pXyz[0]) || !isPlyNumber(*pXyz[1]) || !isPlyNumber(*pXyz[2]))
    {
        strReason = QStringLiteral("its vertex coordinates are of a type this viewer does not "
                                   "read.");
        return false;
    }
    const size_t n = static_cast<size_t>(pVertices->num_entries());
    field.strName = strName;
    reserveMapped(field.values, n);
    field.values.resize(n);
    for (size_t i = 0; i < n; ++i)
    {
        field.values[i] = plyValue(*pValue, i);
        if (!std::isfinite(field.values[i]))
        {
            field.values.clear();
            strReason.clear();
            return false;
        }
    }
    std::copy(std::begin(pXyz), std::end(pXyz), std::begin(field.pXyz));
    return true;
}

// For each vertex of `mesh`, the index of the PLY vertex it was read from; left empty when they
// are the same (the import library keeps a PLY file's vertex order when it reads one mesh). When
// it does not (it may drop or repeat vertices), each vertex is found by its exact position.
// False when one is not found.
bool alignField(const aiMesh& mesh, const SPlyField& field, std::vector<int>& toField)
{
    const int n = static_cast<int>(mesh.mNumVertices);
    toField.clear();
    bool bSameOrder = static_cast<size_t>(n) == field.values.size();
    for (int i = 0; bSameOrder && i < n; ++i)
    {
        const aiVector3D& v = mesh.mVertices[i];
        bSameOrder = v.x == field.coordinate(i, 0) && v.y == field.coordinate(i, 1) &&
                     v.z == field.coordinate(i, 2);
    }
    if (bSameOrder)
        return true;
    toField.resize(static_cast<size_t>(n));

    struct SKeyHash
    {
        size_t operator()(const std::pair<quint64, quint32>& k) const
        {
            return std::hash<quint64>()(k.first * 31 + k.second);
        }
    };
    auto key = [](float x, float y, float z)
    {
        quint32 a, b, c;
        std::memcpy(&a, &x, 4);
        std::memcpy(&b, &y, 4);
        std::memcpy(&c, &z, 4);
        return std::make_pair((quint64(a) << 32) | b, c);
    };
    std::unordered_map<std::pair<quint64, quint32>, int, SKeyHash> byPosition;
    byPosition.reserve(field.values.size());
    for (size_t i = 0; i < field.values.size(); ++i)
        byPosition.emplace(
            key(field.coordinate(i, 0), field.coordinate(i, 1), field.coordinate(i, 2)),
            static_cast<int>(i));
    for (int i = 0; i < n; ++i)
    {
        const aiVector3D& v = mesh.mVertices[i];
        const auto it = byPosition.find(key(v.x, v.y, v.z));
        if (it == byPosition.end())
            return false;
        toField[i] = it->second;
    }
    return true;
}

struct SMeshUse
{
    unsigned nMesh;
    aiMatrix4x4 transform; // mesh frame -> world
    QString strNodeName;
};

// Every use of a mesh by a node, with the node's world transform. Iterative, and bounded, so
// that a file whose nodes nest absurdly deep or refer to themselves cannot exhaust the stack.
std::vector<SMeshUse> meshUses(const aiScene& scene)
{
    constexpr size_t kMaxNodes = 1'000'000;
    std::vector<SMeshUse> uses;
    std::vector<bool> used(scene.mNumMeshes, false);
    std::vector<std::pair<const aiNode*, aiMatrix4x4>> stack;
    if (scene.mRootNode)
        stack.emplace_back(scene.mRootNode, aiMatrix4x4());
    size_t nVisited = 0;
    while (!stack.empty() && ++nVisited <= kMaxNodes)
    {
        const auto [pNode, parent] = stack.back();
        stack.pop_back();
        const aiMatrix4x4 transform = parent * pNode->mTransformation;
        for (unsigned i = 0; i < pNode->mNumMeshes; ++i)
        {
            const unsigned nMesh = pNode->mMeshes[i];
            if (nMesh < scene.mNumMeshes)
            {
                used[nMesh] = true;
                uses.push_back({nMesh, transform, QString::fromUtf8(pNode->mName.C_Str())});
            }
        }
        for (unsigned i = pNode->mNumChildren; i > 0; --i)
            if (pNode->mChildren[i - 1])
                stack.emplace_back(pNode->mChildren[i - 1], transform);
    }
    for (unsigned m = 0; m < scene.mNumMeshes; ++m)
        if (!used[m])
            uses.push_back({m, aiMatrix4x4(), QString()});
    return uses;
}

QColor diffuseColour(const aiScene& scene, const aiMesh& mesh)
{
    if (mesh.mMaterialIndex >= scene.mNumMaterials || !scene.mMaterials[mesh.mMaterialIndex])
        return QColor();
    const aiMaterial& material = *scene.mMaterials[mesh.mMaterialIndex];
    aiString name;
    // The library gives files without materials (STL, PLY, OFF, OBJ without a material library)
    // a white or grey material that is unnamed or has one of these names: not the file's colour.
    if (material.Get(AI_MATKEY_NAME, name) != AI_SUCCESS || name.length == 0 ||
        std::strcmp(name.C_Str(), AI_DEFAULT_MATERIAL_NAME) == 0 ||
        std::strcmp(name.C_Str(), "Default") == 0)
        return QColor();
    aiColor4D c;
    if (aiGetMaterialColor(&material, AI_MATKEY_COLOR_DIFFUSE, &c) != AI_SUCCESS)
        return QColor();
    return QColor::fromRgbF(std::clamp<double>(c.r, 0, 1), std::clamp<double>(c.g, 0, 1),
                            std::clamp<double>(c.b, 0, 1), std::clamp<double>(c.a, 0, 1));
}

} // namespace

QStringList CKXMeshReader::nameFilters()
{
    return {QStringLiteral("*.stl"), QStringLiteral("*.ply"),  QStringLiteral("*.obj"),
            QStringLiteral("*.off"), QStringLiteral("*.gltf"), QStringLiteral("*.glb"),
            QStringLiteral("*.dae"), QStringLiteral("*.fbx"),  QStringLiteral("*.3ds"),
            QStringLiteral("*.x3d")};
}

bool CKXMeshReader::read(const QString& strPath, std::vector<SKXSurfaceData>& meshes,
                         QString& strError, const SKXMeshReadOptions& options,
                         const KXProgress& progress)
{
    meshes.clear();
    strError.clear();
    const QString strShown = QDir::toNativeSeparators(strPath);
    auto fail = [&](const QString& strReason)
    {
        meshes.clear();
        strError = QStringLiteral("Cannot read the mesh file \"%1\": %2").arg(strShown, strReason);
        return false;
    };
    auto aborted = [&]()
    {
        meshes.clear();
        strError = QStringLiteral("Loading was aborted.");
        return false;
    };

    const QFileInfo info(strPath);
    if (!info.exists())
        return fail(QStringLiteral("the file does not exist."));
    if (!info.isFile())
        return fail(QStringLiteral("it is not a file."));
    QFile file(strPath);
    if (!file.open(QIODevice::ReadOnly))
        return fail(QStringLiteral("it cannot be opened (%1).").arg(file.errorString()));
    const qint64 nSize = file.size();
    if (nSize <= 0)
        return fail(QStringLiteral("the file is empty."));
    const QByteArray header = file.read(65536);
    const SKXMeshFileCheck check = kxCheckMeshFileHeader(header, nSize, info.suffix());
    if (!check.bAcceptable)
        return fail(check.strReason);
    if (check.bIsOff || check.bIsGltf)
    {
        const uchar* pData = file.map(0, nSize);
        if (!pData)
            return fail(QStringLiteral("it cannot be read (%1).").arg(file.errorString()));
        const char* pText = reinterpret_cast<const char*>(pData);
        const QString strReason =
            check.bIsOff ? kxCheckOffBody(pText, nSize) : kxCheckGltfBody(pText, nSize);
        file.unmap(const_cast<uchar*>(pData));
        if (!strReason.isEmpty())
            return fail(strReason);
    }

    // The scalar field: the import library drops custom vertex properties, so a PLY file's
    // field is read with the PLY library. A field with a value that is not a finite number is
    // treated as missing.
    QStringList listCandidates;
    if (!options.scalarName.isEmpty())
    {
        if (!check.listVertexProperties.contains(options.scalarName))
            return fail(check.listVertexProperties.isEmpty()
                            ? QStringLiteral("it has no vertex field \"%1\"; it has no vertex "
                                             "fields at all.")
                                  .arg(options.scalarName)
                            : QStringLiteral("it has no vertex field \"%1\"; its vertex fields "
                                             "are: %2.")
                                  .arg(options.scalarName,
                                       check.listVertexProperties.join(QStringLiteral(", "))));
        listCandidates << options.scalarName;
    }
    else
        for (const char* pszName : kScalarCandidates)
            if (check.listVertexProperties.contains(QLatin1String(pszName)))
                listCandidates << QLatin1String(pszName);
    SPlyField field;
    if (!listCandidates.isEmpty())
    {
        if (progress && !progress(0.0))
            return aborted();
        const SPlyPart part = plyVertexPart(file, header, check);
        std::unique_ptr<draco::PlyReader> pReader(new draco::PlyReader);
        QString strWhy;
        const bool bPartRead = part.nSize > 0 && parsePly(part.pData, part.nSize, *pReader, strWhy);
        if (part.pMap)
            file.unmap(part.pMap); // the library keeps copies of the values it parsed
        if (!bPartRead)
        {
            const uchar* pData = file.map(0, nSize);
            if (!pData)
                return fail(QStringLiteral("it cannot be read (%1).").arg(file.errorString()));
            pReader.reset(new draco::PlyReader);
            if (!parsePly(reinterpret_cast<const char*>(pData), nSize, *pReader, strWhy))
                return fail(QStringLiteral("its vertex field \"%1\" cannot be read: %2")
                                .arg(listCandidates.first(), strWhy));
        }
        for (const QString& strName : listCandidates)
        {
            QString strReason;
            if (takePlyField(*pReader, strName, field, strReason))
                break;
            if (!strReason.isEmpty())
                return fail(strReason);
            if (!options.scalarName.isEmpty())
                return fail(QStringLiteral("its vertex field \"%1\" holds values that are not "
                                           "finite numbers.")
                                .arg(strName));
        }
        if (!field.values.empty())
            field.pReader = std::move(pReader); // the positions, until the field is lined up
        if (progress && !progress(kFieldPhaseEnd))
            return aborted();
    }
    file.close();

    Assimp::Importer importer;
    auto* pRelay =
        new CProgressRelay(progress, field.values.empty() ? 0.0 : kFieldPhaseEnd, kImportPhaseEnd);
    importer.SetProgressHandler(pRelay); // the importer owns it
    const aiScene* pScene = importer.ReadFile(QFile::encodeName(strPath).toStdString(), 0);
    if (pRelay->isAborted())
        return aborted();
    if (!pScene)
    {
        const QString strWhy = QString::fromUtf8(importer.GetErrorString()).trimmed();
        return fail(strWhy.isEmpty() ? QStringLiteral("its format is not known or it is corrupt.")
                                     : strWhy);
    }
    // Triangulation reads the vertices the faces name, so indices are checked first. (The
    // library's own validation would also refuse harmless files, such as an STL file with an
    // empty solid beside a full one.) Its loaders may also mislabel a mesh's primitive types,
    // which its triangulation asserts on: they are set here from the faces themselves.
    for (unsigned m = 0; m < pScene->mNumMeshes; ++m)
    {
        aiMesh* pMesh = pScene->mMeshes[m];
        if (!pMesh || (pMesh->mNumFaces > 0 && !pMesh->mFaces) ||
            (pMesh->mNumVertices > 0 && !pMesh->mVertices))
            return fail(QStringLiteral("its mesh %1 is incomplete.").arg(m));
        unsigned nTypes = 0;
        for (unsigned f = 0; f < pMesh->mNumFaces; ++f)
        {
            const aiFace& face = pMesh->mFaces[f];
            if (face.mNumIndices == 0 || !face.mIndices)
                return fail(QStringLiteral("its mesh %1 has a face without corners.").arg(m));
            for (unsigned i = 0; i < face.mNumIndices; ++i)
                if (face.mIndices[i] >= pMesh->mNumVertices)
                    return fail(QStringLiteral("a face refers to vertex %1 of a mesh that has %2.")
                                    .arg(face.mIndices[i])
                                    .arg(pMesh->mNumVertices));
            nTypes |= face.mNumIndices == 1   ? aiPrimitiveType_POINT
                      : face.mNumIndices == 2 ? aiPrimitiveType_LINE
                      : face.mNumIndices == 3 ? aiPrimitiveType_TRIANGLE
                                              : aiPrimitiveType_POLYGON;
        }
        pMesh->mPrimitiveTypes = nTypes;
    }
    // Points and lines are dropped below. PLY files are indexed already, and joining would
    // reorder the vertices their scalar field follows; other formats (STL, OBJ) repeat a
    // vertex per face, which joining makes shared so that normals are smooth.
    pScene = importer.ApplyPostProcessing(check.bIsPly ? aiProcess_Triangulate
                                                       : aiProcess_Triangulate |
                                                             aiProcess_JoinIdenticalVertices);
    if (pRelay->isAborted())
        return aborted();
    if (!pScene)
        return fail(QString::fromUtf8(importer.GetErrorString()).trimmed());

    const std::vector<SMeshUse> uses = meshUses(*pScene);
    std::int64_t nVertices = 0, nFaces = 0;
    for (const SMeshUse& use : uses)
    {
        nVertices += pScene->mMeshes[use.nMesh]->mNumVertices;
        nFaces += pScene->mMeshes[use.nMesh]->mNumFaces;
    }
    if (nVertices > KXDataLimits::kMaxVertices || nFaces > KXDataLimits::kMaxTriangles)
        return fail(QStringLiteral("it holds %1 vertices and %2 faces, more than the %3 and %4 "
                                   "this viewer accepts.")
                        .arg(nVertices)
                        .arg(nFaces)
                        .arg(KXDataLimits::kMaxVertices)
                        .arg(KXDataLimits::kMaxTriangles));

    // Triangles with a corner that is not a finite number are left out, and the rest of the
    // surface is kept: a reconstruction with a few broken vertices is still worth looking at.
    bool bDroppedNonFinite = false;
    std::int64_t nDone = 0;
    const bool bHasField = !field.values.empty(); // the field may be moved into the surface
    std::vector<int> toField;
    std::vector<quint8> state; // per vertex of the mesh: kUnused, kUsed or kNonFinite
    constexpr quint8 kUnused = 0, kUsed = 1, kNonFinite = 2;
    static_assert(sizeof(aiVector3D) == 3 * sizeof(float), "positions are copied in bulk");
    for (const SMeshUse& use : uses)
    {
        const aiMesh& mesh = *pScene->mMeshes[use.nMesh];
        if (!mesh.mVertices || mesh.mNumVertices == 0)
            continue;
        if (bHasField && !alignField(mesh, field, toField))
            return fail(QStringLiteral("its vertex field \"%1\" cannot be matched to the "
                                       "vertices of its mesh.")
                            .arg(field.strName));
        auto geometry = std::make_shared<CKXGeometry>();
        SKXSurfaceData surface;
        const size_t nVertices = mesh.mNumVertices;
        // The mesh's vertices in the file's order, in one copy; the ones no kept triangle uses
        // are squeezed out at the end, which for most files is none. Exact sizes throughout:
        // grown vectors would keep up to twice the memory for the surface's life.
        std::vector<float>& positions = geometry->positions;
        reserveMapped(positions, 3 * nVertices);
        positions.resize(3 * nVertices);
        if (use.transform.IsIdentity())
            std::memcpy(positions.data(), mesh.mVertices, 3 * sizeof(float) * nVertices);
        else
            for (size_t v = 0; v < nVertices; ++v)
            {
                const aiVector3D p = use.transform * mesh.mVertices[v];
                positions[3 * v] = p.x;
                positions[3 * v + 1] = p.y;
                positions[3 * v + 2] = p.z;
            }
        state.assign(nVertices, kUnused);
        const float* pXyz = positions.data();
        for (size_t v = 0; v < nVertices; ++v)
            if (!std::isfinite(pXyz[3 * v]) || !std::isfinite(pXyz[3 * v + 1]) ||
                !std::isfinite(pXyz[3 * v + 2]))
                state[v] = kNonFinite;

        // One pass over the faces keeps the triangles, and sums each one's area-weighted normal
        // (its cross product, which also tells a degenerate one) into its corners.
        reserveMapped(geometry->normals, 3 * nVertices);
        geometry->normals.assign(3 * nVertices, 0.0f);
        float* pSum = geometry->normals.data();
        std::vector<unsigned>& indices = geometry->indices;
        reserveMapped(indices, 3 * size_t(mesh.mNumFaces));
        for (unsigned f = 0; f < mesh.mNumFaces; ++f)
        {
            if ((++nDone & 0xFFFF) == 0 && progress &&
                !progress(kImportPhaseEnd + (1.0 - kImportPhaseEnd) * double(nDone) / nFaces))
                return aborted();
            const aiFace& face = mesh.mFaces[f];
            if (face.mNumIndices != 3 || !face.mIndices)
                continue;
            const unsigned* k = face.mIndices;
            if (k[0] >= nVertices || k[1] >= nVertices || k[2] >= nVertices)
                return fail(QStringLiteral("a face refers to a vertex beyond the %1 its mesh has.")
                                .arg(mesh.mNumVertices));
            if (k[0] == k[1] || k[1] == k[2] || k[0] == k[2])
                continue;
            if (state[k[0]] == kNonFinite || state[k[1]] == kNonFinite || state[k[2]] == kNonFinite)
            {
                bDroppedNonFinite = true;
                continue;
            }
            const float *a = pXyz + 3 * size_t(k[0]), *b = pXyz + 3 * size_t(k[1]),
                        *c = pXyz + 3 * size_t(k[2]);
            const float u[3] = {b[0] - a[0], b[1] - a[1], b[2] - a[2]};
            const float w[3] = {c[0] - a[0], c[1] - a[1], c[2] - a[2]};
            const float n[3] = {u[1] * w[2] - u[2] * w[1], u[2] * w[0] - u[0] * w[2],
                                u[0] * w[1] - u[1] * w[0]};
            if (n[0] * n[0] + n[1] * n[1] + n[2] * n[2] == 0.0f)
                continue;
            for (int j = 0; j < 3; ++j)
            {
                float* pCorner = pSum + 3 * size_t(k[j]);
                pCorner[0] += n[0];
                pCorner[1] += n[1];
                pCorner[2] += n[2];
                state[k[j]] = kUsed;
            }
            // Straight into the array: a call per triangle is felt on a surface of millions.
            indices.insert(indices.end(), k, k + 3);
        }
        if (indices.empty())
            continue;
        if (bHasField && !toField.empty())
        {
            reserveMapped(surface.scalars, nVertices);
            surface.scalars.resize(nVertices);
            for (size_t v = 0; v < nVertices; ++v)
                surface.scalars[v] = field.values[size_t(toField[v])];
        }
        else if (bHasField)
        {
            // The field is the mesh's as it stands; the only use of it takes it whole.
            if (uses.size() == 1)
                surface.scalars = std::move(field.values);
            else
                surface.scalars = field.values;
        }
        const size_t nUsed = size_t(std::count(state.begin(), state.end(), kUsed));
        if (nUsed < nVertices)
        {
            // Squeezes out the vertices no kept triangle uses, keeping the order of the rest.
            std::vector<unsigned> remap(nVertices, 0);
            size_t nNext = 0;
            for (size_t v = 0; v < nVertices; ++v)
            {
                if (state[v] != kUsed)
                    continue;
                remap[v] = unsigned(nNext);
                std::copy_n(&positions[3 * v], 3, &positions[3 * nNext]);
                std::copy_n(&geometry->normals[3 * v], 3, &geometry->normals[3 * nNext]);
                if (!surface.scalars.empty())
                    surface.scalars[nNext] = surface.scalars[v];
                ++nNext;
            }
            for (unsigned& i : indices)
                i = remap[i];
            positions.resize(3 * nUsed);
            positions.shrink_to_fit();
            geometry->normals.resize(3 * nUsed);
            geometry->normals.shrink_to_fit();
            if (!surface.scalars.empty())
            {
                surface.scalars.resize(nUsed);
                surface.scalars.shrink_to_fit();
            }
        }
        if (indices.size() < indices.capacity())
            indices.shrink_to_fit();
        // The winding is kept as the file gives it: a surface need not be closed, and for an
        // open one no inside and outside can be told apart.
        geometry->finishFromNormalSums();
        surface.geometry = std::move(geometry);
        surface.name = QString::fromUtf8(mesh.mName.C_Str());
        // Names in angle brackets are the library's own ("<OFFRoot>"), not the file's.
        if (surface.name.isEmpty() && !use.strNodeName.startsWith(QLatin1Char('<')))
            surface.name = use.strNodeName;
        if (surface.name.isEmpty())
            surface.name = info.completeBaseName();
        surface.color = diffuseColour(*pScene, mesh);
        if (!surface.scalars.empty())
            surface.scalarName = field.strName;
        meshes.push_back(std::move(surface));
    }
    // The library's many small blocks are free now, and the parsed PLY vertices; hand their
    // pages back to the system, so that what a load leaves resident is the surfaces it returns.
    field = SPlyField();
    importer.FreeScene();
    malloc_trim(0);
    if (meshes.empty())
        return fail(bDroppedNonFinite
                        ? QStringLiteral("none of its triangles has finite coordinates.")
                        : QStringLiteral("it holds no triangles."));
    if (progress && !progress(1.0))
        return aborted();
    return true;
}
