#include "KeyFrameRecords.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <type_traits>
#include <vector>

// The host reads these records with its own declarations, so their members must stay in this
// order: a moved member breaks the host at run time, this breaks the build instead. Only the
// order is pinned; the records hold Qt members and a vtable, which makes offsetof conditionally
// supported, as the compilers we build with support it.
namespace
{
template <typename... T> constexpr bool ascending(std::size_t nFirst, T... nRest)
{
    std::size_t nPrevious = nFirst;
    for (std::size_t nOffset : {nRest...})
    {
        if (nOffset <= nPrevious)
            return false;
        nPrevious = nOffset;
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
static_assert(ascending(KX_AT(rotation), KX_AT(translation), KX_AT(timeStamp), KX_AT(isCaptured),
                        KX_AT(organsVisibility), KX_AT(controls), KX_AT(addnAttributes)),
              "SSpKeyFrameAttributes members out of the host's order");
#undef KX_RECORD

#define KX_RECORD tag_s3Dcontrols
static_assert(!std::is_polymorphic<tag_s3Dcontrols>::value, "the host's controls have no vtable");
static_assert(ascending(KX_AT(viewFlags), KX_AT(meshColor), KX_AT(meshRenderVertices),
                        KX_AT(meshRenderWireframe), KX_AT(meshRenderSolid),
                        KX_AT(meshRenderWireSolid), KX_AT(organRenderVertices),
                        KX_AT(organRenderWireframe), KX_AT(organRenderSolid),
                        KX_AT(organRenderWireSolid), KX_AT(meshShadeBox),
                        KX_AT(meshShadeSmoothSolid), KX_AT(meshShadeLit), KX_AT(meshShadeSolidLit),
                        KX_AT(organShadeBox), KX_AT(organShadeSmoothSolid), KX_AT(organShadeLit),
                        KX_AT(organShadeSolidLit), KX_AT(extraRenderFlags), KX_AT(controlMode),
                        KX_AT(meshVisible), KX_AT(displayFlags), KX_AT(intSettings),
                        KX_AT(meshOpacity), KX_AT(intSettings2), KX_AT(doubleSettings),
                        KX_AT(name1), KX_AT(flagA), KX_AT(flagB), KX_AT(name2), KX_AT(organFlag),
                        KX_AT(organsVisible), KX_AT(organOpacity), KX_AT(tailFlags), KX_AT(pdMap),
                        KX_AT(name3), KX_AT(sourceControls)),
              "tag_s3Dcontrols members out of the host's order");
#undef KX_RECORD

#define KX_RECORD S3DToolsPDMapData
static_assert(ascending(KX_AT(list1), KX_AT(list2), KX_AT(intValue), KX_AT(text1), KX_AT(text2),
                        KX_AT(mode), KX_AT(flags), KX_AT(colorBarIndex), KX_AT(sliderMin),
                        KX_AT(sliderMax), KX_AT(sliderExtra), KX_AT(spinBoxMax), KX_AT(spinBoxMin),
                        KX_AT(spinBoxValue), KX_AT(intTail), KX_AT(percent)),
              "S3DToolsPDMapData members out of the host's order");
#undef KX_RECORD

#define KX_RECORD tag_s3DSourceControls
static_assert(ascending(KX_AT(surfaceColor), KX_AT(surfRenderVertices), KX_AT(surfRenderWireframe),
                        KX_AT(surfRenderSolid), KX_AT(surfRenderWireSolid), KX_AT(surfShadeBox),
                        KX_AT(surfShadeSmoothSolid), KX_AT(surfShadeLit), KX_AT(surfShadeSolidLit),
                        KX_AT(surfExtraFlags), KX_AT(volumeOpacity), KX_AT(volumeOpacityMin),
                        KX_AT(volumeOpacityMax), KX_AT(surfaceOpacity), KX_AT(surfaceOpacityMin),
                        KX_AT(surfaceOpacityMax), KX_AT(surfaceGroupEnabled), KX_AT(surfaceVisible),
                        KX_AT(volumeMip), KX_AT(sourceValue), KX_AT(sourceFloatValue),
                        KX_AT(volumeFlags), KX_AT(volumeGroup), KX_AT(volumeThreshold),
                        KX_AT(volumeLogScale), KX_AT(volumeVisible), KX_AT(intensitySlider),
                        KX_AT(intensitySliderMin), KX_AT(intensitySliderMax), KX_AT(intensityValue),
                        KX_AT(intensityMin), KX_AT(intensityMax), KX_AT(intensityExtra),
                        KX_AT(voxelFloatValue), KX_AT(rangeMin), KX_AT(rangeMax), KX_AT(voxelType),
                        KX_AT(voxelFlags), KX_AT(voxelColor), KX_AT(colorMin), KX_AT(colorMax),
                        KX_AT(measurement), KX_AT(drawMode), KX_AT(shadeMode)),
              "tag_s3DSourceControls members out of the host's order");
#undef KX_RECORD

#define KX_RECORD SAddnFrameAttributes
static_assert(ascending(KX_AT(multimodalityVolumeVisible), KX_AT(addnFlag), KX_AT(addnValue)),
              "SAddnFrameAttributes members out of the host's order");
#undef KX_RECORD

#undef KX_AT
#pragma GCC diagnostic pop

// A new source's draw and shade modes, the host's percent and a new sequence's dialog settings;
// the other defaults the host assumes for what it never set show in the frame generation,
// reader and writer golden files.
TEST(KeyFrameRecords, DefaultsTheGoldenFilesDoNotShow)
{
    const tag_s3DSourceControls source;
    EXPECT_TRUE(source.drawMode == 2 && source.shadeMode == 3);
    EXPECT_EQ(S3DToolsPDMapData().percent, 100);
    const sSeqKeyFrameAttributes seq;
    EXPECT_EQ(std::vector<int>(
                  {seq.controlValue1, seq.controlValue2, seq.controlValue3, seq.controlValue4}),
              std::vector<int>({10, 5, 1, 0}));
}
