// Loading the user's data. Each row writes a file the way a user's program would, then loads it
// with our reader and with the reading library alone (the reference: the least any load of the
// file costs), each in a child process of its own so that the resident memory is the load's
// alone. A row is one SLoadRow in rows(); readers of other kinds of data add theirs there.
//
// Result lines per row: load time (wall, and CPU of all threads) against the library alone, and
// resident memory after the load (the data still held) against the size of the decoded data.
#include "CKXMeshReader.h"
#include "KXBenchChild.h"
#include "KXBenchResult.h"

#include <assimp/Importer.hpp>
#include <assimp/postprocess.h>
#include <assimp/scene.h>

#include <QFile>
#include <QTemporaryDir>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

struct SLoadRow
{
    std::string strName;    // "PLY mesh, 1M triangles, scalar field"
    std::string strLibrary; // the reference's name: "assimp alone"
    std::function<bool(const QString& strDir, QString& strPath)> write;
    // Loads the file and keeps the data until the next call; the decoded data's bytes, 0 when
    // the load failed.
    std::function<double(const QString& strPath)> loadOurs;
    std::function<bool(const QString& strPath)> loadLibrary;
};

// A 708 x 708 grid of vertices with a field, as a binary PLY file: 999,698 triangles.
bool writeGridPly(const QString& strDir, QString& strPath)
{
    constexpr int n = 708;
    strPath = strDir + "/grid.ply";
    QFile file(strPath);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    const int nTriangles = 2 * (n - 1) * (n - 1);
    file.write(QStringLiteral("ply\nformat binary_little_endian 1.0\nelement vertex %1\n"
                              "property float x\nproperty float y\nproperty float z\n"
                              "property float intensity\nelement face %2\n"
                              "property list uchar int vertex_indices\nend_header\n")
                   .arg(n * n)
                   .arg(nTriangles)
                   .toLatin1());
    QByteArray data;
    data.reserve(n * n * 16 + nTriangles * 13);
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i)
        {
            const float v[4] = {0.1f * i, 0.1f * j,
                                2.0f * std::sin(0.05f * i) * std::cos(0.03f * j),
                                float(i * j % 1000)};
            data.append(reinterpret_cast<const char*>(v), sizeof v);
        }
    for (int j = 0; j + 1 < n; ++j)
        for (int i = 0; i + 1 < n; ++i)
        {
            const int a = j * n + i, b = a + 1, c = a + n, d = c + 1;
            const int tris[2][3] = {{a, b, d}, {a, d, c}};
            for (const auto& t : tris)
            {
                data.append(char(3));
                data.append(reinterpret_cast<const char*>(t), 12);
            }
        }
    return file.write(data) == data.size();
}

std::vector<SLoadRow> rows()
{
    std::vector<SLoadRow> list;
    static std::vector<SKXSurfaceData> meshes; // held until the child process measures
    list.push_back(
        {"PLY mesh 1M triangles + field", "assimp alone", writeGridPly,
         [](const QString& strPath)
         {
             QString strError;
             if (!CKXMeshReader::read(strPath, meshes, strError))
             {
                 std::fprintf(stderr, "%s\n", qPrintable(strError));
                 return 0.0;
             }
             double dBytes = 0;
             for (const SKXSurfaceData& s : meshes)
                 dBytes += 4.0 * (s.geometry->positions.size() + s.geometry->normals.size() +
                                  s.geometry->indices.size() + s.scalars.size());
             return dBytes;
         },
         [](const QString& strPath)
         {
             // The same processing the reader asks of it for a PLY file.
             static Assimp::Importer importer;
             return importer.ReadFile(strPath.toStdString(), aiProcess_Triangulate) != nullptr;
         }});
    return list;
}

// The process's CPU time, all threads; and wall time, which is what the user waits for and
// what a second thread lowers. On a machine others share, wall time measures them as much as us:
// both are reported.
double cpuMs()
{
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return t.tv_sec * 1e3 + t.tv_nsec / 1e6;
}

double wallMs()
{
    timespec t{};
    clock_gettime(CLOCK_MONOTONIC, &t);
    return t.tv_sec * 1e3 + t.tv_nsec / 1e6;
}

struct SMeasure
{
    double dMs = -1;          // wall time of the load
    double dCpuMs = -1;       // CPU time of the load, all threads
    double dResidentMiB = -1; // resident memory after the load above the start
    double dDataMiB = -1;     // decoded data, for our reader
};

// Runs `load` in a child process: its times and the resident memory it leaves.
SMeasure inChild(const std::function<double()>& load)
{
    return kxMeasureInChild<SMeasure>(
        [&load]
        {
            malloc_trim(0);
            SMeasure m;
            const long nStartKiB = kxStatusKiB("VmRSS");
            const double dStartCpuMs = cpuMs(), dStartMs = wallMs();
            const double dBytes = load();
            if (dBytes > 0)
            {
                m.dMs = wallMs() - dStartMs;
                m.dCpuMs = cpuMs() - dStartCpuMs;
            }
            m.dResidentMiB = (kxStatusKiB("VmRSS") - nStartKiB) / 1024.0;
            m.dDataMiB = dBytes / (1024.0 * 1024.0);
            return m;
        });
}

// Keeps in `b` the best of each figure over the runs: the load's own cost, with the least of the
// machine's noise. The resident memory is the one of the run with the least CPU time.
void best(SMeasure& b, const SMeasure& m)
{
    if (m.dMs <= 0)
        return;
    if (b.dMs < 0 || m.dMs < b.dMs)
        b.dMs = m.dMs;
    if (b.dCpuMs < 0 || m.dCpuMs < b.dCpuMs)
    {
        b.dCpuMs = m.dCpuMs;
        b.dResidentMiB = m.dResidentMiB;
        b.dDataMiB = m.dDataMiB;
    }
}

} // namespace

int main(int argc, char** argv)
{
    // --runs N: more runs for a steadier best on a busy machine. --once ours|library: one load
    // of each row's file in this process, no child and no table, for a profiler or time -v.
    int nRuns = 3;
    const char* pszOnce = nullptr;
    for (int i = 1; i + 1 < argc; ++i)
        if (std::strcmp(argv[i], "--runs") == 0)
            nRuns = std::max(1, std::atoi(argv[i + 1]));
        else if (std::strcmp(argv[i], "--once") == 0)
            pszOnce = argv[i + 1];
    QTemporaryDir dir;
    int nStatus = 0;
    for (const SLoadRow& row : rows())
    {
        QString strPath;
        if (!row.write(dir.path(), strPath))
        {
            std::fprintf(stderr, "%s: cannot write the file\n", row.strName.c_str());
            nStatus = 1;
            continue;
        }
        if (pszOnce)
        {
            const bool bOurs = std::strcmp(pszOnce, "ours") == 0;
            const double dStartMs = wallMs(), dStartCpuMs = cpuMs();
            const bool bOk = bOurs ? row.loadOurs(strPath) > 0 : row.loadLibrary(strPath);
            std::printf("%s, %s: %.1f ms, CPU %.1f ms\n", row.strName.c_str(),
                        bOurs ? "ours" : row.strLibrary.c_str(), wallMs() - dStartMs,
                        cpuMs() - dStartCpuMs);
            nStatus |= bOk ? 0 : 1;
            continue;
        }
        // Our loads and the library's alternate, so that a busy spell weighs on both alike.
        SMeasure ours, library;
        for (int i = 0; i < nRuns; ++i)
        {
            best(ours, inChild([&] { return row.loadOurs(strPath); }));
            best(library, inChild([&] { return row.loadLibrary(strPath) ? 1.0 : 0.0; }));
        }
        std::printf("%s: %.1f ms, CPU %.1f ms (%s %.1f ms, CPU %.1f ms), resident after the "
                    "load %.1f MiB for %.1f MiB of data\n",
                    row.strName.c_str(), ours.dMs, ours.dCpuMs, row.strLibrary.c_str(), library.dMs,
                    library.dCpuMs, ours.dResidentMiB, ours.dDataMiB);
        kxBenchResult("load " + row.strName, ours.dMs, "ms", row.strLibrary, library.dMs,
                      EKXBetter::Lower);
        kxBenchResult("CPU time of load " + row.strName, ours.dCpuMs, "ms", row.strLibrary,
                      library.dCpuMs, EKXBetter::Lower);
        kxBenchResult("resident after load " + row.strName, ours.dResidentMiB, "MiB",
                      "decoded data", ours.dDataMiB, EKXBetter::Lower);
        if (ours.dMs < 0 || library.dMs < 0)
            nStatus = 1;
        QFile::remove(strPath);
    }
    return nStatus;
}
