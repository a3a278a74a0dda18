#include "FrameGenerator.h"

#include <gtest/gtest.h>

#include <limits>

namespace
{

SFrameGenerationInput inputFor(const QList<double>& stamps, int nDuration, int nRate = 10)
{
    SFrameGenerationInput in;
    for (double d : stamps)
    {
        in.m_listKeyFrames.append(SSpKeyFrameAttributes());
        in.m_listKeyFrames.last().timeStamp = d;
    }
    in.m_nDuration = nDuration;
    in.m_nFrameRate = nRate;
    return in;
}

} // namespace

// Single-precision accumulation of t decides the counts; a later segment starts at dt, so a
// key frame shared by two segments is generated once. Expected counts were worked out with
// float32 arithmetic outside the code.
TEST(FrameGenerator, FrameCountsFollowTheFloatAccumulation)
{
    const struct
    {
        QList<double> m_stamps;
        int m_nDuration, m_nFrames;
    } cases[] = {
        {{0, 100}, 30, 301},
        {{0, 100}, 3, 30},
        {{0, 100}, 1, 10},
        {{0, 10}, 7, 8},
        {{0, 50, 100}, 2, 19},
        {{0, 50, 100}, 60, 601},
        {{0, 0.5}, 1, 1},         // steps 0: only t = 0
        {{0, 100, 100.5}, 1, 10}, // a later segment with steps 0 adds nothing
        {{100, 0}, 5, 1},         // descending: at most the frame at t = 0 ...
        {{0, 100, 0}, 1, 10},     // ... and nothing for a later segment
        {{50}, 5, 0},
    };
    for (const auto& c : cases)
    {
        const SFrameGenerationInput in = inputFor(c.m_stamps, c.m_nDuration);
        QList<SSpKeyFrameAttributes> frames;
        EXPECT_TRUE(CFrameGenerator::generate(in, frames).isEmpty());
        EXPECT_EQ(frames.size(), c.m_nFrames) << "duration " << c.m_nDuration;
        EXPECT_EQ(CFrameGenerator::countFrames(in), c.m_nFrames);
        for (int i = 1; i < frames.size(); ++i)
            EXPECT_NE(frames[i].timeStamp, frames[i - 1].timeStamp) << i;
    }
}

// The interpolated values are checked against the kept dump of every frame (FrameGolden), whose
// input has no segment towards a key frame that lacks one of the sources: such a source must
// fade towards a default one, not hold its own values.
TEST(FrameGenerator, ASourceTheNextKeyFrameLacksFadesTowardsTheDefault)
{
    SFrameGenerationInput in = inputFor({0, 100}, 4, 1);
    tag_s3DSourceControls& onlyA = in.m_listKeyFrames[0].controls.sourceControls["SourceVoxels_A"];
    onlyA.volumeOpacity = 81;
    onlyA.intensitySlider = 60;
    QList<SSpKeyFrameAttributes> frames;
    ASSERT_TRUE(CFrameGenerator::generate(in, frames).isEmpty());
    ASSERT_EQ(frames.size(), 5);
    const tag_s3DSourceControls& mid = frames[2].controls.sourceControls["SourceVoxels_A"];
    const tag_s3DSourceControls none;
    EXPECT_EQ(mid.volumeOpacity, (81 + none.volumeOpacity) / 2);
    EXPECT_EQ(mid.intensitySlider, (60 + none.intensitySlider) / 2);
}

// Stamps from a file can be anything: the generator refuses before building anything. (Values
// that cannot become an int, such as the fraction of a zero photon density range, end as 0: the
// golden dump's second run has such a range.)
TEST(FrameGenerator, RefusesAbsurdListsWithoutGenerating)
{
    const double dNaN = std::numeric_limits<double>::quiet_NaN();
    const double dInf = std::numeric_limits<double>::infinity();
    const qint64 nTooMany = CFrameGenerator::MAX_FRAMES + 1;
    const struct
    {
        QList<double> m_stamps;
        int m_nTimeScaleMax;
        qint64 m_nCount; // -1: no valid step count
    } cases[] = {
        {{0, dNaN}, 100, -1},
        {{dInf, 100}, 100, -1},
        {{0, 100}, 0, -1},
        {{0, 1e12}, 100, -1},
        {{0, 1e7}, 100, nTooMany},                    // 10^8 steps
        {{0, 5000, 0, 5000, 0, 5000}, 100, nTooMany}, // too many only in sum
    };
    for (const auto& c : cases)
    {
        SFrameGenerationInput in = inputFor(c.m_stamps, 100);
        in.m_nTimeScaleMax = c.m_nTimeScaleMax;
        EXPECT_EQ(CFrameGenerator::countFrames(in), c.m_nCount);
        QList<SSpKeyFrameAttributes> frames = {SSpKeyFrameAttributes()}; // an older generation
        EXPECT_FALSE(CFrameGenerator::generate(in, frames).isEmpty());
        EXPECT_TRUE(frames.isEmpty());
    }

    // The longest list the dialog can build is generated in full: steps 20, 20 + 49 x 19.
    QList<double> stamps;
    for (int i = 0; i <= 50; ++i)
        stamps.append(i * 2.0);
    QList<SSpKeyFrameAttributes> frames;
    EXPECT_TRUE(CFrameGenerator::generate(inputFor(stamps, 100), frames).isEmpty());
    EXPECT_EQ(frames.size(), 951);
}
