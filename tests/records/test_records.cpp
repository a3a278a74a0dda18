#include "KeyFrameRecords.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <initializer_list>
#include <type_traits>

// The host reads these records with its own declarations, so their members must stay in this
// order: a moved member breaks the host at run time, this breaks the build instead. Only the
// order is pinned; the records hold Qt members and a vtable, which makes offsetof conditionally
// supported, as the compilers we build with support it.
namespace
{
constexpr bool ascending(std::initializer_list<std::size_t> offsets)
{
    std::size_t nPrevious = 0;
    bool bFirst = true;
    for (std::size_t nOffset : offsets)
    {
        if (!bFirst && nOffset <= nPrevious)
        {
            return false;
        }
        nPrevious = nOffset;
        bFirst = false;
    }
    return true;
}
} // namespace

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
#define KX_AT(member) offsetof(KX_RECORD, member)

#define KX_RECORD SSpKeyFrameAttributes
static_assert(std::is_polymorphic<SSpKeyFrameAttributes>::value &&
                  std::has_virtual_destructor<SSpKeyFrameAttributes>::value,
              "the host deletes key frames through their virtual destructor");
static_assert(ascending({KX_AT(rotation), KX_AT(translation), KX_AT(timeStamp), KX_AT(isCaptured),
                         KX_AT(organsVisibility), KX_AT(controls), KX_AT(addnAttributes)}),
              "SSpKeyFrameAttributes members out of the host's order");
#undef KX_RECORD

#define KX_RECORD tag_s3Dcontrols
static_assert(!std::is_polymorphic<tag_s3Dcontrols>::value, "the host's controls have no vtable");
static_assert(ascending({KX_AT(viewFlags),
                         KX_AT(meshColor),
                         KX_AT(meshRenderVertices),
                         KX_AT(meshRenderWireframe),
                         KX_AT(meshRenderSolid),
                         KX_AT(meshRenderWireSolid),
                         KX_AT(organRenderVertices),
                         KX_AT(organRenderWireframe),
                         KX_AT(organRenderSolid),
                         KX_AT(organRenderWireSolid),
                         KX_AT(meshShadeBox),
                         KX_AT(meshShadeSmoothSolid),
                         KX_AT(meshShadeLit),
                         KX_AT(meshShadeSolidLit),
                         KX_AT(organShadeBox),
                         KX_AT(organShadeSmoothSolid),
                         KX_AT(organShadeLit),
                         KX_AT(organShadeSolidLit),
                         KX_AT(extraRenderFlags),
                         KX_AT(controlMode),
                         KX_AT(meshVisible),
                         KX_AT(displayFlags),
                         KX_AT(intSettings),
                         KX_AT(meshOpacity),
                         KX_AT(intSettings2),
                         KX_AT(doubleSettings),
                         KX_AT(name1),
                         KX_AT(flagA),
                         KX_AT(flagB),
                         KX_AT(name2),
                         KX_AT(organFlag),
                         KX_AT(organsVisible),
                         KX_AT(organOpacity),
                         KX_AT(tailFlags),
                         KX_AT(pdMap),
                         KX_AT(name3),
                         KX_AT(sourceControls)}),
              "tag_s3Dcontrols members out of the host's order");
#undef KX_RECORD

#define KX_RECORD S3DToolsPDMapData
static_assert(ascending({KX_AT(list1), KX_AT(list2), KX_AT(intValue), KX_AT(text1), KX_AT(text2),
                         KX_AT(mode), KX_AT(flags), KX_AT(colorBarIndex), KX_AT(sliderMin),
                         KX_AT(sliderMax), KX_AT(sliderExtra), KX_AT(spinBoxMax), KX_AT(spinBoxMin),
                         KX_AT(spinBoxValue), KX_AT(intTail), KX_AT(percent)}),
              "S3DToolsPDMapData members out of the host's order");
#undef KX_RECORD

#define KX_RECORD tag_s3DSourceControls
static_assert(ascending({KX_AT(surfaceColor),
                         KX_AT(surfRenderVertices),
                         KX_AT(surfRenderWireframe),
                         KX_AT(surfRenderSolid),
                         KX_AT(surfRenderWireSolid),
                         KX_AT(surfShadeBox),
                         KX_AT(surfShadeSmoothSolid),
                         KX_AT(surfShadeLit),
                         KX_AT(surfShadeSolidLit),
                         KX_AT(surfExtraFlags),
                         KX_AT(volumeOpacity),
                         KX_AT(volumeOpacityMin),
                         KX_AT(volumeOpacityMax),
                         KX_AT(surfaceOpacity),
                         KX_AT(surfaceOpacityMin),
                         KX_AT(surfaceOpacityMax),
                         KX_AT(surfaceGroupEnabled),
                         KX_AT(surfaceVisible),
                         KX_AT(volumeMip),
                         KX_AT(sourceValue),
                         KX_AT(sourceFloatValue),
                         KX_AT(volumeFlags),
                         KX_AT(volumeGroup),
                         KX_AT(volumeThreshold),
                         KX_AT(volumeLogScale),
                         KX_AT(volumeVisible),
                         KX_AT(intensitySlider),
                         KX_AT(intensitySliderMin),
                         KX_AT(intensitySliderMax),
                         KX_AT(intensityValue),
                         KX_AT(intensityMin),
                         KX_AT(intensityMax),
                         KX_AT(intensityExtra),
                         KX_AT(voxelFloatValue),
                         KX_AT(rangeMin),
                         KX_AT(rangeMax),
                         KX_AT(voxelType),
                         KX_AT(voxelFlags),
                         KX_AT(voxelColor),
                         KX_AT(colorMin),
                         KX_AT(colorMax),
                         KX_AT(measurement),
                         KX_AT(drawMode),
                         KX_AT(shadeMode)}),
              "tag_s3DSourceControls members out of the host's order");
#undef KX_RECORD

#define KX_RECORD SAddnFrameAttributes
static_assert(ascending({KX_AT(multimodalityVolumeVisible), KX_AT(addnFlag), KX_AT(addnValue)}),
              "SAddnFrameAttributes members out of the host's order");
#undef KX_RECORD

#undef KX_AT
#pragma GCC diagnostic pop

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
