#include "CKXMeshReader.h"

#include "CKXJoiningThread.h"
#include "KXMeshFileCheck.h"
#include "KXPlyField.h"
#include "KXReserveMapped.h"

#include <assimp/Importer.hpp>
#include <assimp/ProgressHandler.hpp>
#include <assimp/material.h>
#include <assimp/postprocess.h>
#include <assimp/scene.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <condition_variable>
#include <cstring>
#include <exception>
#include <malloc.h>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

namespace
{

const char* const kScalarCandidates[] = {"intensity", "scalar", "value", "quality", "density"};

// Share of the progress range the import library's read takes; the copy takes the rest.
constexpr double kImportPhaseEnd = 0.85;
// Faces of a mesh from which on they are freed on a second thread while they are copied.
constexpr unsigned kReleasedFaces = 65536;

// Relays the import library's progress into our callback; remembers an abort, because the
// library does not stop at every report whose answer is "abort".
class CProgressRelay : public Assimp::ProgressHandler
{
public:
    // `stop` is set on an abort, for the work beside the library's to end too; once `failed`
    // is set, that work has failed and the library's result is not needed: it is asked to stop.
    CProgressRelay(const KXProgress& progress, double dFrom, double dTo, std::atomic<bool>& stop,
                   const std::atomic<bool>& failed)
        : m_progress(progress), m_dFrom(dFrom), m_dTo(dTo), m_stop(stop), m_failed(failed)
    {
    }
    bool Update(float fPercentage) override
    {
        if (m_bAborted || m_failed)
            return false;
        const double d = std::clamp(static_cast<double>(fPercentage), 0.0, 1.0);
        if (m_progress && !m_progress(m_dFrom + (m_dTo - m_dFrom) * d))
        {
            m_bAborted = true;
            m_stop = true;
        }
        return !m_bAborted;
    }
    bool isAborted() const { return m_bAborted; }

private:
    const KXProgress& m_progress;
    double m_dFrom, m_dTo;
    std::atomic<bool>& m_stop;
    const std::atomic<bool>& m_failed;
    bool m_bAborted = false;
};

// Frees a mesh's faces on a second thread, behind a loop that reads them in order. A face is a
// block of its own, and freeing a million of them one by one costs about as much as the loop
// that reads them; the library's scene would free them the same way later. A freed face keeps a
// null block, which the library's own destructor skips; once every face is read, the face array
// goes too, and the mesh is left with none.
class CFaceReleaser
{
public:
    // Frees nothing when no thread can be started: the scene then frees the faces.
    explicit CFaceReleaser(aiMesh& mesh) : m_mesh(mesh), m_nFaces(mesh.mNumFaces)
    {
        m_bRunning = m_thread.tryStart([this] { run(); });
    }
    ~CFaceReleaser() { finish(); }
    CFaceReleaser(const CFaceReleaser&) = delete;
    CFaceReleaser& operator=(const CFaceReleaser&) = delete;

    // The faces before `nFace` are not read again.
    void advance(unsigned nFace)
    {
        if (!m_bRunning)
            return;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_nReadUpTo = nFace;
        }
        m_wake.notify_one();
    }
    // Frees the faces up to the last advance, then ends the thread.
    void finish()
    {
        if (!m_bRunning)
            return;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_bFinishing = true;
        }
        m_wake.notify_one();
        m_thread.join();
        m_bRunning = false;
    }

private:
    void run()
    {
        unsigned nFreed = 0;
        for (bool bLast = false; !bLast;)
        {
            unsigned nUpTo;
            {
                std::unique_lock<std::mutex> lock(m_mutex);
                m_wake.wait(lock, [&] { return m_nReadUpTo > nFreed || m_bFinishing; });
                nUpTo = m_nReadUpTo;
                bLast = m_bFinishing;
            }
            for (; nFreed < nUpTo; ++nFreed)
            {
                aiFace& face = m_mesh.mFaces[nFreed];
                delete[] face.mIndices;
                face.mIndices = nullptr;
                face.mNumIndices = 0;
            }
            if (nFreed == m_nFaces && m_mesh.mFaces)
            {
                delete[] m_mesh.mFaces;
                m_mesh.mFaces = nullptr;
                m_mesh.mNumFaces = 0;
            }
        }
    }

    aiMesh& m_mesh;
    const unsigned m_nFaces;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    unsigned m_nReadUpTo = 0;
    bool m_bFinishing = false;
    bool m_bRunning = false;
    CKXJoiningThread m_thread; // last: joined before the members its task uses go
};

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
    // The field is read on a second thread while the import library reads the file: neither
    // needs the other until the field is lined up with the vertices. Progress is reported and
    // answered on this thread only; an abort stops the field's thread at its next step, and a
    // field that fails stops the import library at its next report.
    SKXPlyField field;
    QString strFieldReason;
    EKXPlyFieldRead eField = EKXPlyFieldRead::Read;
    std::exception_ptr pFieldException;
    std::atomic<bool> bStopField{false}, bFieldFailed{false};
    CKXJoiningThread fieldThread; // after what its task uses, which so outlives the join
    if (!listCandidates.isEmpty())
    {
        if (progress && !progress(0.0))
            return aborted();
        fieldThread.start(
            [&]
            {
                try
                {
                    eField = kxReadPlyField(strPath, header, check, listCandidates,
                                            !options.scalarName.isEmpty(), bStopField, field,
                                            strFieldReason);
                    bFieldFailed = eField == EKXPlyFieldRead::Failed;
                }
                catch (...)
                {
                    pFieldException = std::current_exception();
                }
            });
    }

    Assimp::Importer importer;
    auto* pRelay = new CProgressRelay(progress, 0.0, kImportPhaseEnd, bStopField, bFieldFailed);
    importer.SetProgressHandler(pRelay); // the importer owns it
    const aiScene* pScene = importer.ReadFile(QFile::encodeName(strPath).toStdString(), 0);
    fieldThread.join();
    if (pFieldException)
        std::rethrow_exception(pFieldException);
    // A field that cannot be read is told before what the import library made of the file, as
    // when the field was read first; so is an abort while the field was still being read.
    if (eField == EKXPlyFieldRead::Failed)
        return fail(strFieldReason);
    if (pRelay->isAborted() || eField == EKXPlyFieldRead::Stopped)
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
    std::optional<CFaceReleaser> releaser; // after the importer: done with its scene before it
    for (const SMeshUse& use : uses)
    {
        const aiMesh& mesh = *pScene->mMeshes[use.nMesh];
        if (!mesh.mVertices || mesh.mNumVertices == 0)
            continue;
        if (bHasField && !kxAlignPlyField(reinterpret_cast<const float*>(mesh.mVertices),
                                          mesh.mNumVertices, field, toField))
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
        kxReserveMapped(positions, 3 * nVertices);
        if (use.transform.IsIdentity())
        {
            // Straight from the library's array, without filling the copy with zeros first.
            const float* pFrom = &mesh.mVertices[0].x;
            positions.assign(pFrom, pFrom + 3 * nVertices);
        }
        else
        {
            positions.resize(3 * nVertices);
            for (size_t v = 0; v < nVertices; ++v)
            {
                const aiVector3D p = use.transform * mesh.mVertices[v];
                positions[3 * v] = p.x;
                positions[3 * v + 1] = p.y;
                positions[3 * v + 2] = p.z;
            }
        }
        state.assign(nVertices, kUnused);
        const float* pXyz = positions.data();
        for (size_t v = 0; v < nVertices; ++v)
            if (!std::isfinite(pXyz[3 * v]) || !std::isfinite(pXyz[3 * v + 1]) ||
                !std::isfinite(pXyz[3 * v + 2]))
                state[v] = kNonFinite;

        // One pass over the faces keeps the triangles, and sums each one's area-weighted normal
        // (its cross product, which also tells a degenerate one) into its corners.
        kxReserveMapped(geometry->normals, 3 * nVertices);
        geometry->normals.assign(3 * nVertices, 0.0f);
        float* pSum = geometry->normals.data();
        std::vector<unsigned>& indices = geometry->indices;
        kxReserveMapped(indices, 3 * size_t(mesh.mNumFaces));
        // Only a mesh no other use reads again has its faces freed as they are read; a large
        // one, for a small one the thread would cost more than it saves.
        if (uses.size() == 1 && mesh.mNumFaces >= kReleasedFaces)
            releaser.emplace(*pScene->mMeshes[use.nMesh]);
        for (unsigned f = 0; f < mesh.mNumFaces; ++f)
        {
            if ((++nDone & 0xFFFF) == 0)
            {
                if (releaser)
                    releaser->advance(f);
                if (progress &&
                    !progress(kImportPhaseEnd + (1.0 - kImportPhaseEnd) * double(nDone) / nFaces))
                    return aborted();
            }
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
        if (releaser)
            releaser->advance(mesh.mNumFaces); // the rest goes while the surface is finished
        if (indices.empty())
            continue;
        if (bHasField && !toField.empty())
        {
            kxReserveMapped(surface.scalars, nVertices);
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
    field = SKXPlyField();
    releaser.reset();
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
