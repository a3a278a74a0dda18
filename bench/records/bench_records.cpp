// Cost of building one generated frame: copying a key frame record with four sources, and
// copying it and changing the copy (which detaches the shared maps), then appending it.
//
// The reference is the same record with its two maps held in standard containers (std::map
// keyed by std::string, frames in a std::vector): what the record would cost without Qt's
// implicit sharing. Prints Google Benchmark's table, then one result line per record case.
#include "KXBenchReporter.h"
#include "KXBenchResult.h"
#include "KeyFrameRecords.h"

#include <benchmark/benchmark.h>

#include <QList>

#include <map>
#include <string>
#include <vector>

namespace
{

const char* const SOURCES[] = {"Original", "SourceVoxels_1", "SourceSurface_1", "SourceVoxels_2"};
const char* const ORGANS[] = {"Heart", "Lungs", "Liver", "Kidneys", "Brain"};

SSpKeyFrameAttributes makeKeyFrame()
{
    SSpKeyFrameAttributes key;
    key.controls.meshColor = QColor(200, 180, 160);
    for (const char* pszName : SOURCES)
        key.controls.sourceControls[pszName].volumeOpacity = 50;
    for (const char* pszOrgan : ORGANS)
        key.organsVisibility[pszOrgan] = true;
    return key;
}

// The same content with the maps in standard containers; the record's own maps stay empty.
struct SStdRecord
{
    SSpKeyFrameAttributes m_sFlat;
    std::map<std::string, tag_s3DSourceControls> m_mapSources;
    std::map<std::string, bool> m_mapOrgans;
};

SStdRecord makeStdRecord()
{
    SStdRecord record;
    record.m_sFlat.controls.meshColor = QColor(200, 180, 160);
    for (const char* pszName : SOURCES)
        record.m_mapSources[pszName].volumeOpacity = 50;
    for (const char* pszOrgan : ORGANS)
        record.m_mapOrgans[pszOrgan] = true;
    return record;
}

void BM_RecordCopy(benchmark::State& state)
{
    const SSpKeyFrameAttributes key = makeKeyFrame();
    for (auto _ : state)
    {
        SSpKeyFrameAttributes copy(key);
        benchmark::DoNotOptimize(copy);
    }
}
BENCHMARK(BM_RecordCopy);

void BM_StdRecordCopy(benchmark::State& state)
{
    const SStdRecord key = makeStdRecord();
    for (auto _ : state)
    {
        SStdRecord copy(key);
        benchmark::DoNotOptimize(copy);
    }
}
BENCHMARK(BM_StdRecordCopy);

void BM_RecordCopyDetachAppend(benchmark::State& state)
{
    const SSpKeyFrameAttributes key = makeKeyFrame();
    QList<SSpKeyFrameAttributes> frames;
    for (auto _ : state)
    {
        SSpKeyFrameAttributes copy(key);
        copy.controls.sourceControls["Original"].volumeOpacity = 60;
        frames.append(copy);
        if (frames.size() == 1000)
            frames.clear();
    }
}
BENCHMARK(BM_RecordCopyDetachAppend);

void BM_StdRecordCopyChangeAppend(benchmark::State& state)
{
    const SStdRecord key = makeStdRecord();
    std::vector<SStdRecord> frames;
    for (auto _ : state)
    {
        SStdRecord copy(key);
        copy.m_mapSources["Original"].volumeOpacity = 60;
        frames.push_back(std::move(copy));
        if (frames.size() == 1000)
            frames.clear();
    }
}
BENCHMARK(BM_StdRecordCopyChangeAppend);

} // namespace

int main(int argc, char** argv)
{
    CKXBenchReporter reporter;
    if (!kxRunBenchmarks(&argc, argv, reporter))
        return 1;
    kxBenchResult("key frame record copy", reporter.nsPerCall("BM_RecordCopy"), "ns",
                  "same record, std containers", reporter.nsPerCall("BM_StdRecordCopy"),
                  EKXBetter::Lower);
    kxBenchResult("frame record copy+change+append",
                  reporter.nsPerCall("BM_RecordCopyDetachAppend"), "ns",
                  "same record, std containers", reporter.nsPerCall("BM_StdRecordCopyChangeAppend"),
                  EKXBetter::Lower);
    return 0;
}
