// Cost of building one generated frame: copying a key frame record with four sources, and
// copying it and changing the copy (which detaches the shared maps), then appending it.
#include "KeyFrameRecords.h"

#include <benchmark/benchmark.h>

#include <QList>

static SSpKeyFrameAttributes makeKeyFrame()
{
    SSpKeyFrameAttributes key;
    key.controls.meshColor = QColor(200, 180, 160);
    for (const char* name : {"Original", "SourceVoxels_1", "SourceSurface_1", "SourceVoxels_2"})
        key.controls.sourceControls[name].volumeOpacity = 50;
    for (const char* organ : {"Heart", "Lungs", "Liver", "Kidneys", "Brain"})
        key.organsVisibility[organ] = true;
    return key;
}

static void BM_RecordCopy(benchmark::State& state)
{
    const SSpKeyFrameAttributes key = makeKeyFrame();
    for (auto _ : state)
    {
        SSpKeyFrameAttributes copy(key);
        benchmark::DoNotOptimize(copy);
    }
}
BENCHMARK(BM_RecordCopy);

static void BM_RecordCopyDetachAppend(benchmark::State& state)
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
