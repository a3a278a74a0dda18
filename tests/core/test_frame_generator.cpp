#include "FrameGenerator.h"

#include <gtest/gtest.h>

#include <cmath>
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

// Two key frames, 4 steps (4 s at 1 frame per second): t = 0, 0.25, 0.5, 0.75 and 1 exactly,
// and mid-segment values end in .5, so that truncation is unambiguous.
TEST(FrameGenerator, InterpolatesEveryAnimatedValue)
{
    SSpKeyFrameAttributes a, b;
    b.timeStamp = 100;
    b.rotation = unitquaternion(deg2rad(90.0), Vec3f(0, 0, 1));
    a.translation = Vec3f(0, 10, -100);
    b.translation = Vec3f(20, 10, -300);
    a.controls.meshOpacity = 20;
    b.controls.meshOpacity = 61;
    a.controls.organOpacity = 59; // comes back as 58: single-precision percents
    b.controls.organOpacity = 100;
    a.controls.pdMap.sliderMin = 10;
    b.controls.pdMap.sliderMin = 31;
    b.controls.pdMap.sliderMax = 51;
    a.controls.pdMap.spinBoxValue = 20;  // 0.1 of the image range 0..200
    b.controls.pdMap.spinBoxValue = 121; // 0.605
    a.controls.pdMap.spinBoxMin = 10;
    a.controls.pdMap.spinBoxMax = 50;
    b.controls.pdMap.spinBoxMin = 99; // A's range applies
    tag_s3DSourceControls sa, sb, onlyA;
    sa.surfaceOpacity = 10;
    sa.intensitySlider = 20;
    sa.intensityMin = 10;
    sa.intensityMax = 110;
    sb.surfaceOpacity = 41;
    sb.volumeOpacity = 51;
    sb.intensitySlider = 71;
    sb.intensityMin = 0; // the frame keeps A's bounds
    sb.colorMin = 10;
    sb.colorMax = 50;
    onlyA.volumeOpacity = 81;
    onlyA.surfaceOpacity = 29; // single precision keeps it (a double product would give 28)
    a.controls.sourceControls = {{"Original", sa}, {"SourceVoxels_A", onlyA}};
    b.controls.sourceControls = {{"Original", sb}, {"SourceSurface_B", sb}};
    a.organsVisibility.insert("Heart", true);
    b.organsVisibility.insert("Heart", false);
    a.addnAttributes.multimodalityVolumeVisible = true;
    a.addnAttributes.addnValue = 7;

    SFrameGenerationInput in;
    in.m_listKeyFrames = {a, b};
    in.m_nDuration = 4;
    in.m_nFrameRate = 1;
    in.m_dPDImageMax = 200; // as getPDImageMinMax may leave it
    QList<SSpKeyFrameAttributes> frames;
    ASSERT_TRUE(CFrameGenerator::generate(in, frames).isEmpty());
    ASSERT_EQ(frames.size(), 5);

    const SSpKeyFrameAttributes& mid = frames[2];
    const tag_s3Dcontrols& c = mid.controls;
    EXPECT_EQ(mid.timeStamp, 50.0);
    EXPECT_EQ(mid.translation, Vec3f(10, 10, -200));
    EXPECT_NEAR(std::fabs(mid.rotation.w()), std::cos(deg2rad(22.5)), 1e-6);
    EXPECT_NEAR(std::fabs(mid.rotation.z()), std::sin(deg2rad(22.5)), 1e-6);
    EXPECT_EQ(std::vector<int>({c.meshOpacity, c.organOpacity, c.pdMap.sliderMin, c.pdMap.sliderMax,
                                c.pdMap.sliderExtra}),
              std::vector<int>({40, 79, 20, 75, 35}));
    // min + (percent - min) x range / 100, unlike the volume intensity below
    EXPECT_FLOAT_EQ(c.pdMap.spinBoxValue, 20.0f);
    const tag_s3DSourceControls& s = c.sourceControls["Original"];
    EXPECT_EQ(std::vector<int>({s.surfaceOpacity, s.volumeOpacity, s.intensitySlider}),
              std::vector<int>({25, 25, 45}));
    EXPECT_EQ(s.intensityValue, 55.0); // min + slider x range / 100
    EXPECT_FLOAT_EQ(s.colorMin, 5.0f);
    EXPECT_FLOAT_EQ(s.colorMax, 75.0f);
    EXPECT_EQ(c.sourceControls["SourceVoxels_A"].volumeOpacity, 40); // towards a default
    EXPECT_TRUE(mid.addnAttributes.multimodalityVolumeVisible);
    EXPECT_EQ(mid.addnAttributes.addnValue, 0);

    // Organs and the captured mark only at the segment's ends; no frame shows B's new source.
    for (int i = 0; i < frames.size(); ++i)
    {
        const bool bEnd = i == 0 || i == 4;
        EXPECT_EQ(frames[i].isCaptured, bEnd) << i;
        EXPECT_EQ(frames[i].organsVisibility.isEmpty(), !bEnd) << i;
        EXPECT_FALSE(frames[i].controls.sourceControls.contains("SourceSurface_B")) << i;
    }
    EXPECT_TRUE(frames[0].organsVisibility["Heart"]);
    EXPECT_FALSE(frames[4].organsVisibility["Heart"]);
    EXPECT_EQ(frames[0].controls.organOpacity, 58);
    EXPECT_EQ(frames[0].controls.sourceControls["SourceVoxels_A"].surfaceOpacity, 29);
    EXPECT_EQ(frames[4].controls.meshOpacity, 61);
    EXPECT_EQ(frames[4].translation, b.translation);
}

// Stamps from a file can be anything: the generator refuses before building anything, and
// values that cannot become an int end as 0 instead of undefined behaviour.
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

    // A zero photon density range makes the fraction NaN; it ends as 0.
    SFrameGenerationInput flat = inputFor({0, 100}, 1);
    flat.m_dPDImageMin = flat.m_dPDImageMax = 5;
    CFrameGenerator::generate(flat, frames);
    ASSERT_EQ(frames.size(), 10);
    EXPECT_EQ(frames[3].controls.pdMap.sliderExtra, 0);
}
