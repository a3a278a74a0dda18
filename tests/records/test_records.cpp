#include "KeyFrameRecords.h"

#include <gtest/gtest.h>

#include <cstring>

TEST(KeyFrameRecords, DefaultsAreThoseTheHostExpects)
{
    SSpKeyFrameAttributes key;
    EXPECT_EQ(key.rotation.w(), 1.0);
    EXPECT_EQ(key.rotation.x(), 0.0);
    EXPECT_EQ(key.translation, Vec3f(0, 0, 0));
    EXPECT_FALSE(key.isCaptured);
    EXPECT_TRUE(key.organsVisibility.isEmpty());
    EXPECT_TRUE(key.controls.sourceControls.isEmpty());
    EXPECT_TRUE(key.controls.meshVisible);
    EXPECT_FALSE(key.controls.meshColor.isValid());
    EXPECT_FALSE(key.addnAttributes.multimodalityVolumeVisible);

    const S3DToolsPDMapData& pd = key.controls.pdMap;
    EXPECT_EQ(pd.mode, 1);
    EXPECT_EQ(pd.sliderMin, 0);
    EXPECT_EQ(pd.sliderMax, 100);
    EXPECT_EQ(pd.spinBoxMin, 0.0f);
    EXPECT_EQ(pd.spinBoxMax, 100.0f);
    EXPECT_EQ(pd.percent, 100);
    for (bool flag : pd.flags)
        EXPECT_FALSE(flag);

    tag_s3DSourceControls source;
    EXPECT_EQ(source.drawMode, 2);
    EXPECT_EQ(source.shadeMode, 3);
    EXPECT_EQ(source.volumeOpacityMax, 100);
    EXPECT_EQ(source.surfaceOpacityMax, 100);
    EXPECT_EQ(source.intensitySliderMin, 0);
    EXPECT_EQ(source.intensitySliderMax, 100);
    EXPECT_EQ(source.intensityMin, 0.0);
    EXPECT_EQ(source.intensityMax, 100.0);
    EXPECT_EQ(source.colorMax, 100.0f);
    EXPECT_FALSE(source.surfaceColor.isValid());

    sSeqKeyFrameAttributes seq;
    EXPECT_EQ(seq.controlValue1, 10);
    EXPECT_EQ(seq.controlValue2, 5);
    EXPECT_EQ(seq.controlValue3, 1);
    EXPECT_EQ(seq.controlValue4, 0);

    sMovieDetails movie;
    EXPECT_EQ(movie.durationMs, 0);
    EXPECT_EQ(movie.frameRate, 25);
}

TEST(KeyFrameRecords, NamedFlagsAreTheHostsArrayElements)
{
    S3DToolsPDMapData pd;
    pd.visible() = true;
    pd.reverse() = true;
    pd.logScale() = true;
    pd.valueIsUpperBound() = true;
    bool expected[10] = {false, true, false, false, true, false, true, false, true, false};
    EXPECT_EQ(std::memcmp(pd.flags, expected, sizeof expected), 0);

    tag_s3DSourceControls source;
    source.volumeReverse() = true;
    EXPECT_FALSE(source.voxelFlags[0]);
    EXPECT_TRUE(source.voxelFlags[1]);
    EXPECT_FALSE(source.voxelFlags[2]);
}

TEST(KeyFrameRecords, FullConstructorCopiesControlsAndLeavesCaptureToTheCaller)
{
    tag_s3Dcontrols controls;
    controls.meshOpacity = 40;
    controls.sourceControls["Original"].volumeOpacity = 70;
    SAddnFrameAttributes addn;
    addn.multimodalityVolumeVisible = true;
    SSpKeyFrameAttributes key(unitquaternion(Vec3f(0, 1, 0), 0.0), Vec3f(1, 2, 3), 42.0, &controls,
                              &addn);
    controls.sourceControls["Original"].volumeOpacity = 10;

    EXPECT_EQ(key.rotation.y(), 1.0);
    EXPECT_EQ(key.translation, Vec3f(1, 2, 3));
    EXPECT_EQ(key.timeStamp, 42.0);
    EXPECT_FALSE(key.isCaptured);
    EXPECT_TRUE(key.organsVisibility.isEmpty());
    EXPECT_EQ(key.controls.meshOpacity, 40);
    EXPECT_EQ(key.controls.sourceControls["Original"].volumeOpacity, 70);
    EXPECT_TRUE(key.addnAttributes.multimodalityVolumeVisible);
}

TEST(KeyFrameRecords, CopiesAreIndependent)
{
    SSpKeyFrameAttributes original;
    original.isCaptured = true;
    original.organsVisibility["Heart"] = true;
    original.controls.sourceControls["Original"].surfaceOpacity = 50;
    original.controls.name3 = "Original";

    SSpKeyFrameAttributes copy(original);
    EXPECT_TRUE(copy.isCaptured);
    copy.organsVisibility["Heart"] = false;
    copy.controls.sourceControls["Original"].surfaceOpacity = 90;
    copy.controls.name3 = "Other";
    EXPECT_TRUE(original.organsVisibility["Heart"]);
    EXPECT_EQ(original.controls.sourceControls["Original"].surfaceOpacity, 50);
    EXPECT_EQ(original.controls.name3, "Original");

    SSpKeyFrameAttributes assigned;
    assigned = original;
    assigned.controls.pdMap.list1 << "changed";
    EXPECT_TRUE(original.controls.pdMap.list1.isEmpty());

    SSpKeyFrameAttributes& self = original;
    original = self;
    EXPECT_EQ(original.controls.sourceControls["Original"].surfaceOpacity, 50);
    EXPECT_TRUE(original.organsVisibility["Heart"]);

    QMap<QString, SSpKeyFrameAttributes> keyFrames;
    keyFrames["Key Frame 1"] = original;
    sSeqKeyFrameAttributes seq(keyFrames, original, 10, 8, 2, 30);
    keyFrames["Key Frame 1"].timeStamp = 99;
    EXPECT_EQ(seq.keyFrames["Key Frame 1"].timeStamp, 0.0);
    EXPECT_EQ(seq.controlValue2, 8);
    EXPECT_EQ(seq.controlValue4, 30);
}
