// The mesh reader on files other programs wrote (the import library's own test models), on PLY
// files with scalar fields, and on broken files, each of which must give a message that names
// the file and no surfaces.
#include "CKXMeshReader.h"

#include <gtest/gtest.h>

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <array>
#include <cmath>
#include <cstring>
#include <map>
#include <vector>

namespace
{

const QString kModels = QStringLiteral(KX_ASSIMP_MODELS_DIR);

struct SRead
{
    bool bOk = false;
    std::vector<SKXSurfaceData> meshes;
    QString strError;
};

SRead readMesh(const QString& strPath, const QString& strScalar = QString(),
               const KXProgress& progress = {})
{
    SRead r;
    SKXMeshReadOptions options;
    options.scalarName = strScalar;
    r.bOk = CKXMeshReader::read(strPath, r.meshes, r.strError, options, progress);
    return r;
}

int triangles(const SRead& r)
{
    int n = 0;
    for (const SKXSurfaceData& s : r.meshes)
        n += s.geometry->triangleCount();
    return n;
}

QString writeFile(const QTemporaryDir& dir, const QString& strName, const QByteArray& data)
{
    const QString strPath = dir.filePath(strName);
    QFile file(strPath);
    file.open(QIODevice::WriteOnly);
    file.write(data);
    return strPath;
}

// A square pyramid: 5 vertices and 6 triangles (the base as a quad in ASCII), plus one vertex no
// face uses, so that the reader's vertex compaction has to carry the field along. Each vertex's
// fields are functions of its position, so a misaligned field shows.
float intensityAt(float x, float y, float z)
{
    return 100.0f * x + 10.0f * y + z;
}
float qualityAt(float x, float y, float z)
{
    return x - 2.0f * y + 3.0f * z;
}
const float kPyramid[6][3] = {{0, 0, 0}, {4, 0, 0}, {4, 4, 0}, {0, 4, 0}, {2, 2, 3}, {9, 9, 9}};
const int kPyramidFaces[6][3] = {{0, 2, 1}, {0, 3, 2}, {0, 1, 4}, {1, 2, 4}, {2, 3, 4}, {3, 0, 4}};

QByteArray pyramidPly(bool bBinary, bool bNanIntensity = false)
{
    QByteArray data = "ply\nformat ";
    data += bBinary ? "binary_little_endian" : "ascii";
    data += " 1.0\ncomment by the mesh reader's test\nelement vertex 6\nproperty float x\n"
            "property float y\nproperty float z\nproperty float quality\n"
            "property double intensity\nelement face 6\nproperty list uchar int vertex_indices\n"
            "end_header\n";
    for (int v = 0; v < 6; ++v)
    {
        const float* p = kPyramid[v];
        const float q = qualityAt(p[0], p[1], p[2]);
        const double i = v == 4 && bNanIntensity ? std::nan("") : intensityAt(p[0], p[1], p[2]);
        if (bBinary)
        {
            data.append(reinterpret_cast<const char*>(p), 12);
            data.append(reinterpret_cast<const char*>(&q), 4);
            data.append(reinterpret_cast<const char*>(&i), 8);
        }
        else
            data += QByteArray::number(p[0]) + ' ' + QByteArray::number(p[1]) + ' ' +
                    QByteArray::number(p[2]) + ' ' + QByteArray::number(q) + ' ' +
                    QByteArray::number(i) + '\n';
    }
    for (const int* f : kPyramidFaces)
    {
        if (bBinary)
        {
            data.append(char(3));
            data.append(reinterpret_cast<const char*>(f), 12);
        }
        else
            data += "3 " + QByteArray::number(f[0]) + ' ' + QByteArray::number(f[1]) + ' ' +
                    QByteArray::number(f[2]) + '\n';
    }
    return data;
}

QByteArray binaryStl(quint32 nDeclared, int nWritten)
{
    QByteArray data(80, ' ');
    data.append(reinterpret_cast<const char*>(&nDeclared), 4);
    for (int t = 0; t < nWritten; ++t)
    {
        const float tri[12] = {0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1, 0};
        data.append(reinterpret_cast<const char*>(tri), 48);
        data.append(2, '\0');
    }
    return data;
}

} // namespace

// Files the import library's authors made with other tools, one or more per format.
TEST(MeshReader, ReadsModelsOtherProgramsWrote)
{
    const struct
    {
        const char* pszPath;
        int nTriangles;
    } cases[] = {
        {"STL/Spider_ascii.stl", 1312},
        {"STL/Spider_binary.stl", 1312},
        {"STL/Wuson.stl", 3732},
        {"PLY/Wuson.ply", 3732},
        {"PLY/cube.ply", 12},
        {"PLY/cube_binary.ply", 12},
        {"OFF/Wuson.off", 3732},
        {"OFF/Cube.off", 12},
        {"OBJ/box.obj", 12},
        {"glTF2/BoxTextured-glTF/BoxTextured.gltf", 12},
        {"glTF2/BoxTextured-glTF-Binary/BoxTextured.glb", 12},
        {"STL/triangle_with_two_solids.stl", 2}, // two meshes in one file
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.pszPath);
        const SRead r = readMesh(kModels + QLatin1Char('/') + QLatin1String(c.pszPath));
        ASSERT_TRUE(r.bOk) << r.strError.toStdString();
        EXPECT_EQ(triangles(r), c.nTriangles);
        for (const SKXSurfaceData& s : r.meshes)
        {
            const CKXGeometry& g = *s.geometry;
            EXPECT_FALSE(s.name.isEmpty());
            EXPECT_TRUE(s.scalars.empty());
            ASSERT_EQ(g.normals.size(), g.positions.size());
            for (unsigned i : g.indices)
                ASSERT_LT(i, unsigned(g.vertexCount()));
            const int v = g.vertexCount() / 2;
            EXPECT_NEAR(
                QVector3D(g.normals[3 * v], g.normals[3 * v + 1], g.normals[3 * v + 2]).length(),
                1.0f, 1e-4f);
            EXPECT_GT(g.radius(), 0.0f);
        }
    }
    // The same spider in ASCII and binary: the same box, and shared (joined) corners rather
    // than three vertices per triangle.
    const SRead ascii = readMesh(kModels + "/STL/Spider_ascii.stl");
    const SRead binary = readMesh(kModels + "/STL/Spider_binary.stl");
    ASSERT_TRUE(ascii.bOk && binary.bOk);
    EXPECT_LT((ascii.meshes[0].geometry->boxMax - binary.meshes[0].geometry->boxMax).length(),
              1e-3f);
    EXPECT_LT(binary.meshes[0].geometry->vertexCount(), 3 * 1312);
    // The two solids keep their names; a glTF material's colour is the surface's.
    const SRead two = readMesh(kModels + "/STL/triangle_with_two_solids.stl");
    ASSERT_EQ(two.meshes.size(), 2u);
    EXPECT_NE(two.meshes[0].name, two.meshes[1].name);
    const SRead red = readMesh(kModels + "/glTF2/IndexOutOfRange/IndexOutOfRange.gltf");
    ASSERT_TRUE(red.bOk) << red.strError.toStdString();
    EXPECT_EQ(red.meshes[0].color, QColor::fromRgbF(0.8, 0.0, 0.0));
    EXPECT_FALSE(readMesh(kModels + "/PLY/cube.ply").meshes[0].color.isValid());
    EXPECT_FALSE(readMesh(kModels + "/STL/Wuson.stl").meshes[0].color.isValid());
}

// A node's transform places its mesh in the world frame.
TEST(MeshReader, AppliesNodeTransforms)
{
    QTemporaryDir dir;
    QFile source(kModels + "/glTF2/BoxTextured-glTF-Embedded/BoxTextured.gltf");
    ASSERT_TRUE(source.open(QIODevice::ReadOnly));
    QByteArray text = source.readAll();
    const SRead plain = readMesh(writeFile(dir, "plain.gltf", text));
    // Move the node that holds the box's mesh 100 mm along x.
    const int nMesh = text.indexOf("\"mesh\"", text.indexOf("\"nodes\""));
    ASSERT_GT(nMesh, 0);
    text.insert(text.lastIndexOf('{', nMesh) + 1, "\"translation\": [100, 0, 0], ");
    const SRead moved = readMesh(writeFile(dir, "moved.gltf", text));
    ASSERT_TRUE(plain.bOk && moved.bOk) << moved.strError.toStdString();
    const QVector3D shift = moved.meshes[0].geometry->centre() - plain.meshes[0].geometry->centre();
    EXPECT_NEAR(shift.x(), 100.0f, 1e-3f);
    EXPECT_NEAR(shift.y(), 0.0f, 1e-3f);
}

// The binary pyramid with a list in every vertex: the field reader cannot step over the
// vertices by one size and has to read them whole.
QByteArray pyramidPlyWithVertexList()
{
    const QByteArray binary = pyramidPly(true);
    const int nData = binary.indexOf("end_header\n") + 11;
    QByteArray withList = binary.left(nData).replace(
        "property double intensity\n", "property double intensity\nproperty list uchar int tags\n");
    for (int v = 0; v < 6; ++v)
    {
        const qint32 tag = 40 + v;
        withList += binary.mid(nData + 24 * v, 24) + '\x01';
        withList.append(reinterpret_cast<const char*>(&tag), 4);
    }
    return withList + binary.mid(nData + 6 * 24);
}

// The scalar field follows the vertices it belongs to, in ASCII, binary and binary beside a
// vertex list, whichever field is taken, also when a vertex that no face uses is left out.
TEST(MeshReader, ScalarFieldLinesUpWithTheVertices)
{
    QTemporaryDir dir;
    const std::pair<const char*, QByteArray> files[] = {{"ascii", pyramidPly(false)},
                                                        {"binary", pyramidPly(true)},
                                                        {"list", pyramidPlyWithVertexList()}};
    for (const auto& [pszKind, data] : files)
    {
        SCOPED_TRACE(pszKind);
        const QString strPath = writeFile(dir, "pyramid.ply", data);
        for (const char* pszField : {"", "quality"})
        {
            const SRead r = readMesh(strPath, QLatin1String(pszField));
            ASSERT_TRUE(r.bOk) << r.strError.toStdString();
            ASSERT_EQ(r.meshes.size(), 1u);
            const SKXSurfaceData& s = r.meshes[0];
            // "intensity" comes before "quality" in the order of preference, not in the file.
            const bool bQuality = *pszField != 0;
            EXPECT_EQ(s.scalarName, bQuality ? "quality" : "intensity");
            EXPECT_EQ(s.name, "pyramid");
            EXPECT_EQ(s.geometry->vertexCount(), 5);
            EXPECT_EQ(s.geometry->triangleCount(), 6);
            ASSERT_EQ(s.scalars.size(), 5u);
            for (int v = 0; v < 5; ++v)
            {
                const QVector3D p = s.geometry->vertex(v);
                EXPECT_FLOAT_EQ(s.scalars[v], bQuality ? qualityAt(p.x(), p.y(), p.z())
                                                       : intensityAt(p.x(), p.y(), p.z()))
                    << "vertex " << v;
            }
        }
    }
}

// A vertex whose coordinates are not numbers takes its triangles out, and nothing else: the
// rest keeps its field, its normals come from the triangles kept, and its box from their
// corners alone. The broken vertex is the first, so every kept one moves.
TEST(MeshReader, NonFiniteCornerDropsOnlyItsTriangles)
{
    QTemporaryDir dir;
    QByteArray data = pyramidPly(true);
    const float fNan = std::nanf("");
    data.replace(data.indexOf("end_header\n") + 11, 4, reinterpret_cast<const char*>(&fNan), 4);
    const SRead r = readMesh(writeFile(dir, "broken.ply", data));
    ASSERT_TRUE(r.bOk) << r.strError.toStdString();
    ASSERT_EQ(r.meshes.size(), 1u);
    const SKXSurfaceData& s = r.meshes[0];
    const CKXGeometry& g = *s.geometry;
    EXPECT_EQ(g.triangleCount(), 2); // two of the four sides
    ASSERT_EQ(g.vertexCount(), 4);
    ASSERT_EQ(s.scalars.size(), 4u);
    ASSERT_EQ(g.normals.size(), g.positions.size());
    // The kept sides' normals, (12, 0, 8) and (0, 12, 8) scaled, summed where they meet.
    const std::map<std::array<float, 3>, QVector3D> normalAt = {{{4, 0, 0}, QVector3D(3, 0, 2)},
                                                                {{4, 4, 0}, QVector3D(3, 3, 4)},
                                                                {{0, 4, 0}, QVector3D(0, 3, 2)},
                                                                {{2, 2, 3}, QVector3D(3, 3, 4)}};
    for (int v = 0; v < 4; ++v)
    {
        const QVector3D p = g.vertex(v);
        SCOPED_TRACE(v);
        EXPECT_FLOAT_EQ(s.scalars[v], intensityAt(p.x(), p.y(), p.z()));
        const auto it = normalAt.find({p.x(), p.y(), p.z()});
        ASSERT_NE(it, normalAt.end());
        const QVector3D n(g.normals[3 * v], g.normals[3 * v + 1], g.normals[3 * v + 2]);
        EXPECT_LT((n - it->second.normalized()).length(), 1e-6f);
    }
    EXPECT_EQ(g.boxMin, QVector3D(0, 0, 0));
    EXPECT_EQ(g.boxMax, QVector3D(4, 4, 3));
}

// A field with a value that is not a number is missing: the next one is taken, and naming it
// fails; naming a field the file lacks lists the fields it has.
TEST(MeshReader, ScalarFieldProblems)
{
    QTemporaryDir dir;
    const QString strNan = writeFile(dir, "nan.ply", pyramidPly(true, true));
    SRead r = readMesh(strNan);
    ASSERT_TRUE(r.bOk) << r.strError.toStdString();
    EXPECT_EQ(r.meshes[0].scalarName, "quality");
    r = readMesh(strNan, "intensity");
    EXPECT_FALSE(r.bOk);
    EXPECT_TRUE(r.strError.contains("nan.ply") && r.strError.contains("intensity"));

    const QString strPath = writeFile(dir, "pyramid.ply", pyramidPly(false));
    r = readMesh(strPath, "temperature");
    EXPECT_FALSE(r.bOk);
    EXPECT_TRUE(r.meshes.empty());
    EXPECT_TRUE(r.strError.contains("temperature") &&
                r.strError.contains("x, y, z, quality, intensity"))
        << r.strError.toStdString();
}

// Every kind of bad input: false, no surfaces, a message naming the file.
TEST(MeshReader, RefusesBadFilesWithAMessageNamingThem)
{
    QTemporaryDir dir;
    // Without a field, so that only the import library would see the missing bytes; short of
    // the vertices themselves (list lengths are only known when read).
    QByteArray truncatedPly = pyramidPly(true);
    truncatedPly.replace("quality", "qualitx").replace("intensity", "intensitx").chop(100);
    QByteArray hugePly = pyramidPly(true);
    hugePly.replace("element vertex 6", "element vertex 40000000");
    QByteArray outOfRange = pyramidPly(false);
    outOfRange.replace("3 0 2 1\n", "3 0 2 77\n");
    QByteArray allNan = pyramidPly(false);
    for (const char* coordinate : {"0 0 0 ", "4 0 0 ", "4 4 0 ", "0 4 0 ", "2 2 3 "})
        allNan.replace(coordinate, "nan nan nan ");
    const struct
    {
        const char* pszName;
        QByteArray data;
        const char* pszReason; // a word the message must hold
    } cases[] = {
        {"empty.stl", "", "empty"},
        {"truncated.stl", binaryStl(1000, 1), "header declares"},
        {"huge.stl", binaryStl(0x7FFFFFFF, 1), "more than"},
        {"truncated.ply", truncatedPly, "header declares"},
        {"huge.ply", hugePly, "more than"},
        {"huge.off", "OFF\n4000000000 1 0\n0 0 0\n", "more than"},
        {"noend.ply", "ply\nformat ascii 1.0\nelement vertex 3\n", "end_header"},
        {"unknown.xyz", "these are not the coordinates you are looking for\n", ""},
        {"corrupt.obj", "v 0 0 0\nv 1 0 0\nf 1 2 x/y/z\n\x01\x02", ""},
        {"lines.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nl 1 2 3\n", "no triangles"},
        {"flat.off", "OFF\n3 1 0\n0 0 0\n1 1 1\n2 2 2\n3 0 1 2\n", "no triangles"},
        {"index.ply", outOfRange, "vertex"},
        {"index.off", "OFF\n3 1 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 7\n", "refers to vertex 7"},
        {"short.off", "OFF\n3 2 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n", "face 2"},
        {"nan.ply", allNan, "finite"},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.pszName);
        const SRead r = readMesh(writeFile(dir, c.pszName, c.data));
        EXPECT_FALSE(r.bOk);
        EXPECT_TRUE(r.meshes.empty());
        EXPECT_TRUE(r.strError.contains(QLatin1String(c.pszName))) << r.strError.toStdString();
        EXPECT_TRUE(r.strError.contains(QLatin1String(c.pszReason))) << r.strError.toStdString();
    }
    for (const QString& strPath : {dir.filePath("missing.ply"), dir.path()})
    {
        const SRead r = readMesh(strPath);
        EXPECT_FALSE(r.bOk);
        EXPECT_TRUE(r.strError.contains(QDir::toNativeSeparators(strPath)));
    }
}

// Progress is reported rising to 1, and an abort ends the load at once, without surfaces.
TEST(MeshReader, ReportsProgressAndAborts)
{
    const QString strPath = kModels + "/PLY/Wuson.ply";
    std::vector<double> fractions;
    SRead r = readMesh(strPath, QString(),
                       [&](double d)
                       {
                           fractions.push_back(d);
                           return true;
                       });
    ASSERT_TRUE(r.bOk);
    ASSERT_GE(fractions.size(), 2u);
    EXPECT_DOUBLE_EQ(fractions.back(), 1.0);
    for (size_t i = 1; i < fractions.size(); ++i)
        EXPECT_GE(fractions[i], fractions[i - 1]);
    int nCalls = 0;
    r = readMesh(strPath, QString(), [&](double) { return ++nCalls < 2; });
    EXPECT_FALSE(r.bOk);
    EXPECT_TRUE(r.meshes.empty());
    EXPECT_EQ(r.strError, "Loading was aborted.");
    EXPECT_EQ(nCalls, 2) << "the load went on after it was aborted";
}

// The inputs the fuzzer found faults with come back with a result that agrees with itself. As
// in the fuzzer, the first byte chooses the suffix and the rest is the file.
TEST(MeshReader, ReplaysFuzzFindings)
{
    const char* const suffixes[] = {"ply", "stl", "obj", "off", "gltf", "glb"};
    const QDir dir(QStringLiteral(KX_TEST_DATA_DIR "/fuzz-meshes"));
    QTemporaryDir temp;
    const QStringList names = dir.entryList(QDir::Files);
    EXPECT_FALSE(names.isEmpty());
    for (const QString& strName : names)
    {
        SCOPED_TRACE(strName.toStdString());
        QFile file(dir.filePath(strName));
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        const QByteArray data = file.readAll();
        ASSERT_FALSE(data.isEmpty());
        const SRead r = readMesh(
            writeFile(temp, QStringLiteral("input.") + suffixes[uchar(data[0]) % 6], data.mid(1)));
        EXPECT_EQ(r.bOk, !r.meshes.empty());
        EXPECT_EQ(r.bOk, r.strError.isEmpty());
    }
}

// The field is read beside the import library; what a load reports does not depend on which of
// the two ends first. A field that cannot be read is told even when the rest of the file is bad
// too, as when the field was read first; an abort answered at any progress call of a load with a
// field ends the load there, the fractions rising until then.
TEST(MeshReaderFieldBesideImport, FieldToldFirstAndAbortAtAnyCall)
{
    QTemporaryDir dir;
    QByteArray both = pyramidPly(false, true);
    both.replace("3 0 2 1\n", "3 0 2 77\n");
    const SRead bad = readMesh(writeFile(dir, "both.ply", both), "intensity");
    EXPECT_FALSE(bad.bOk);
    EXPECT_TRUE(bad.meshes.empty());
    EXPECT_TRUE(bad.strError.contains("both.ply") &&
                bad.strError.contains("\"intensity\" holds values that are not finite"))
        << bad.strError.toStdString();

    const QString strPath = writeFile(dir, "pyramid.ply", pyramidPly(true));
    for (int nAbortAt = 1;; ++nAbortAt)
    {
        SCOPED_TRACE(nAbortAt);
        std::vector<double> fractions;
        const SRead r = readMesh(strPath, QString(),
                                 [&](double d)
                                 {
                                     fractions.push_back(d);
                                     return int(fractions.size()) < nAbortAt;
                                 });
        for (size_t i = 1; i < fractions.size(); ++i)
            EXPECT_GE(fractions[i], fractions[i - 1]);
        if (r.bOk)
        {
            EXPECT_EQ(r.meshes[0].scalarName, "intensity");
            EXPECT_DOUBLE_EQ(fractions.back(), 1.0);
            EXPECT_GE(nAbortAt, 3) << "no progress from the import library or the copy";
            break;
        }
        EXPECT_EQ(r.strError, "Loading was aborted.");
        EXPECT_TRUE(r.meshes.empty());
        EXPECT_EQ(int(fractions.size()), nAbortAt) << "the load went on after it was aborted";
        ASSERT_LT(nAbortAt, 100);
    }
}

// A surface large enough that its faces are freed on a second thread while they are copied
// comes out whole, and a load aborted in the middle of that copy frees each face once (the
// sanitizer build tells).
TEST(MeshReaderFieldBesideImport, LargeSurfaceWholeOrAbortedMidCopy)
{
    constexpr int n = 200; // a grid of n x n vertices: 79,202 triangles
    QByteArray data = "ply\nformat binary_little_endian 1.0\nelement vertex " +
                      QByteArray::number(n * n) +
                      "\nproperty float x\nproperty float y\nproperty float z\n"
                      "property float intensity\nelement face " +
                      QByteArray::number(2 * (n - 1) * (n - 1)) +
                      "\nproperty list uchar int vertex_indices\nend_header\n";
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i)
        {
            const float v[4] = {float(i), float(j), float((i * j) % 7), float(i + n * j)};
            data.append(reinterpret_cast<const char*>(v), sizeof v);
        }
    for (int j = 0; j + 1 < n; ++j)
        for (int i = 0; i + 1 < n; ++i)
        {
            const int a = j * n + i, b = a + 1, c = a + n, d = c + 1;
            for (const std::array<int, 3>& t : {std::array<int, 3>{a, b, d}, {a, d, c}})
            {
                data.append(char(3));
                data.append(reinterpret_cast<const char*>(t.data()), 12);
            }
        }
    QTemporaryDir dir;
    const QString strPath = writeFile(dir, "grid.ply", data);
    double dAbortAt = 2.0; // beyond any fraction: no abort
    const auto progress = [&](double d) { return d < dAbortAt; };
    SRead r = readMesh(strPath, QString(), progress);
    ASSERT_TRUE(r.bOk) << r.strError.toStdString();
    const CKXGeometry& g = *r.meshes[0].geometry;
    ASSERT_EQ(g.triangleCount(), 2 * (n - 1) * (n - 1));
    ASSERT_EQ(g.vertexCount(), n * n);
    for (int v = 0; v < n * n; v += 997)
        EXPECT_EQ(r.meshes[0].scalars[v], g.positions[3 * v] + n * g.positions[3 * v + 1]);
    EXPECT_EQ(std::vector<unsigned>(g.indices.end() - 3, g.indices.end()),
              (std::vector<unsigned>{(n - 2) * n + n - 2, n * n - 1, n * n - 2}));

    dAbortAt = 0.9; // in the copy, which reports from 0.85 on every 65,536 faces
    r = readMesh(strPath, QString(), progress);
    EXPECT_FALSE(r.bOk);
    EXPECT_EQ(r.strError, "Loading was aborted.");
}
