// The scene's display state follows every display call, and a whole tag_s3Dcontrols applied
// to the scene comes back unchanged.
#include "C3DMesh.h"
#include "C3DTrackball.h"
#include "C3DVolume.h"
#include "CKXSampleScene.h"
#include "CKXSceneData.h"
#include "CXKPalette.h"
#include "ControlsText.h"
#include "PLConstants.h"

#include <gtest/gtest.h>

#include <cmath>

namespace
{
struct SceneTest : ::testing::Test
{
    CKXSampleScene scene{0};
    int changes = 0;
    void SetUp() override
    {
        QObject::connect(&scene, &CKXSampleScene::changed, [this] { ++changes; });
    }
    tag_s3Dcontrols controls() const { return scene.currentControls(); }
    tag_s3DSourceControls source(const QString& name) const
    {
        return controls().sourceControls.value(name);
    }
};
} // namespace

TEST_F(SceneTest, EveryNamedNodeIsFound)
{
    for (const QString& name : QStringList{"3DMesh", "Organ Surface", "GLVolume", "Original",
                                           "SourceVoxels_1", "SourceSurface_1"})
        EXPECT_NE(scene.getNode(name), nullptr) << name.toStdString();
    for (const QString& organ : scene.organNames())
        EXPECT_NE(scene.getNode(organ), nullptr) << organ.toStdString();
    EXPECT_GE(scene.organNames().size(), 5);
    EXPECT_EQ(scene.getNode("Nowhere"), nullptr);
    EXPECT_EQ(scene.getNode("3DMesh"), scene.surfaceMesh());
    EXPECT_EQ(scene.getNode("Original"), scene.originalVolume());
    EXPECT_NE(dynamic_cast<C3DVolume*>(scene.getNode("SourceVoxels_1")), nullptr);
    EXPECT_NE(dynamic_cast<C3DVolume*>(scene.getNode("GLVolume")), nullptr);
    EXPECT_GE(scene.getNode("SourceSurface_1")->getChildren().size(), 1);
    ASSERT_NE(scene.get3DSource(), nullptr);
    EXPECT_NE(scene.get3DSource(), scene.getNode("Original"));
    EXPECT_FALSE(scene.getNode("GLVolume")->isDisplayed()); // hidden by default
    EXPECT_EQ(controls().name3, "Original");                // the current source
}

TEST_F(SceneTest, MeshCallsShowInTheControls)
{
    C3DMesh* mesh = scene.surfaceMesh();
    mesh->setOpacity(0.4f);
    EXPECT_EQ(controls().meshOpacity, 40);
    mesh->setFaceSetColor(1.0f, 0.5f, 0.0f);
    EXPECT_EQ(controls().meshColor, QColor(255, 128, 0));
    mesh->show(false);
    EXPECT_FALSE(controls().meshVisible);
    scene.setRenderMode(1, PLConstants::_3DMESH);
    tag_s3Dcontrols c = controls();
    EXPECT_TRUE(!c.meshRenderVertices && c.meshRenderWireframe && !c.meshRenderSolid &&
                !c.meshRenderWireSolid);
    scene.setShadingMode(3, PLConstants::_3DMESH);
    c = controls();
    EXPECT_TRUE(!c.meshShadeBox && !c.meshShadeSmoothSolid && !c.meshShadeLit &&
                c.meshShadeSolidLit);
    mesh->showPhotonDensity(false);
    EXPECT_FALSE(controls().pdMap.visible());
    EXPECT_EQ(changes, 6);
}

TEST_F(SceneTest, PaletteCallsShowInThePhotonDensityControls)
{
    CXKPalette* palette = scene.surfaceMesh()->getColorPalette();
    palette->setColorTableType(3, 0.1f, 0.9f);
    palette->SetColorTable(3, 100.0f, 5000.0f);
    palette->setReversed(true);
    palette->setLogScale(true);
    scene.surfaceMesh()->updateColorData(palette);
    S3DToolsPDMapData pd = controls().pdMap;
    EXPECT_EQ(pd.colorBarIndex, 3);
    EXPECT_EQ(pd.sliderMin, 10);
    EXPECT_EQ(pd.sliderMax, 90);
    EXPECT_EQ(pd.spinBoxMin, 100.0f);
    EXPECT_EQ(pd.spinBoxMax, 5000.0f);
    EXPECT_TRUE(pd.reverse());
    EXPECT_TRUE(pd.logScale());
    EXPECT_GE(changes, 5);

    // With the value as upper bound, the table's upper end is the value, not the maximum.
    tag_s3Dcontrols c = controls();
    c.pdMap.valueIsUpperBound() = true;
    scene.applyControls(c);
    palette->SetColorTable(3, 100.0f, 2500.0f);
    EXPECT_EQ(controls().pdMap.spinBoxValue, 2500.0f);
    EXPECT_EQ(controls().pdMap.spinBoxMax, 5000.0f);
}

TEST_F(SceneTest, VolumeCallsShowInTheSourceControls)
{
    auto* volume = dynamic_cast<C3DVolume*>(scene.getNode("SourceVoxels_1"));
    ASSERT_NE(volume, nullptr);
    volume->show(false);
    volume->setDymaicOpaque(0.3f);
    volume->setMIP(true);
    volume->setThresholding(false);
    volume->setThreshold(42.5f);
    volume->setVoxelType(2);
    volume->setLogScale(true);
    volume->setColorMapReversed(true);
    volume->setColorTable(4, 0.0, 1.0);
    volume->setColorTable(4, 10.0, 90.0);
    const tag_s3DSourceControls s = source("SourceVoxels_1");
    EXPECT_FALSE(s.volumeVisible);
    EXPECT_EQ(s.volumeOpacity, 30);
    EXPECT_TRUE(s.volumeMip);
    EXPECT_FALSE(s.volumeThreshold);
    EXPECT_DOUBLE_EQ(s.intensityValue, 42.5);
    EXPECT_EQ(s.intensitySlider, 43); // of the 0..100 intensity range
    EXPECT_EQ(s.voxelType, 2);
    EXPECT_TRUE(s.volumeLogScale);
    EXPECT_TRUE(s.volumeReverse());
    EXPECT_EQ(s.voxelColor, 4);
    EXPECT_EQ(s.colorMin, 10.0f);
    EXPECT_EQ(s.colorMax, 90.0f);
    EXPECT_EQ(changes, 10);

    scene.originalVolume()->setDymaicOpaque(0.55f);
    EXPECT_EQ(source("Original").volumeOpacity, 55);
}

TEST_F(SceneTest, SurfaceSourceCallsShowInTheSourceControls)
{
    for (C3DObject* part : scene.getNode("SourceSurface_1")->getChildren())
    {
        part->show(false);
        part->setOpacity(0.25f);
        part->setFaceSetColor(0.0f, 1.0f, 0.0f);
        part->setDrawMode(1);
        part->setShadeMode(3);
    }
    tag_s3DSourceControls s = source("SourceSurface_1");
    EXPECT_FALSE(s.surfaceVisible);
    EXPECT_EQ(s.surfaceOpacity, 25);
    EXPECT_EQ(s.surfaceColor, QColor(0, 255, 0));
    EXPECT_EQ(s.drawMode, 1);
    EXPECT_EQ(s.shadeMode, 3);
    EXPECT_TRUE(s.surfRenderWireframe && !s.surfRenderSolid && s.surfShadeSolidLit);

    scene.get3DSource()->setOpacity(0.5f);
    scene.get3DSource()->show(true);
    EXPECT_EQ(source("Original").surfaceOpacity, 50);
    EXPECT_TRUE(source("Original").surfaceVisible);
}

TEST_F(SceneTest, OrgansHaveTheirOwnVisibilityAndACommonOpacity)
{
    scene.updateMeshVisibility("Heart", false);
    QMap<QString, bool> vis = scene.organsVisibility();
    EXPECT_EQ(vis.keys(),
              [&]
              {
                  QStringList n = scene.organNames();
                  n.sort();
                  return n;
              }());
    EXPECT_FALSE(vis.value("Heart"));
    EXPECT_TRUE(vis.value("Liver"));
    scene.updateMeshVisibility("No such organ", false);
    EXPECT_EQ(scene.organsVisibility(), vis);

    scene.setOrganOpacity(0.35f);
    EXPECT_EQ(controls().organOpacity, 35);
    scene.getNode("Organ Surface")->show(false);
    EXPECT_FALSE(controls().organsVisible);
    EXPECT_EQ(scene.organsVisibility(), vis); // each organ keeps its own flag
    scene.setRenderMode(0, PLConstants::_3DORGANS);
    scene.setShadingMode(1, PLConstants::_3DORGANS);
    EXPECT_TRUE(controls().organRenderVertices && !controls().organRenderSolid);
    EXPECT_TRUE(controls().organShadeSmoothSolid && !controls().organShadeLit);
    EXPECT_EQ(changes, 5); // one per call that changed something, group calls included
}

// Sets every element of an array away from its default: odd positions from nSeed on, so that
// neighbouring elements and arrays differ.
template <class T, size_t N> void fill(T (&values)[N], int nSeed)
{
    for (size_t i = 0; i < N; ++i)
        values[i] = static_cast<T>(i % 2 == 1 ? (nSeed + static_cast<int>(i)) * 1.25 : 0);
}

// Sets each field to the value after it.
inline void set()
{
}
template <class T, class... Rest> void set(T* pField, T value, Rest... rest)
{
    *pField = value;
    set(rest...);
}

TEST_F(SceneTest, AppliedControlsComeBackExactlyIncludingHostFields)
{
    tag_s3Dcontrols c = controls();
    // Two organ render modes set: kept as given, the later one is drawn.
    for (bool* pOn : {&c.meshRenderWireSolid, &c.organRenderVertices, &c.organRenderWireframe,
                      &c.meshShadeBox, &c.flagB})
        *pOn = true;
    for (bool* pOff : {&c.meshRenderSolid, &c.organRenderSolid, &c.meshShadeLit, &c.meshVisible,
                       &c.organsVisible})
        *pOff = false;
    fill(c.viewFlags, 1);
    fill(c.extraRenderFlags, 2);
    fill(c.displayFlags, 3);
    fill(c.intSettings, -9);
    fill(c.doubleSettings, 5);
    fill(c.tailFlags, 6);
    fill(c.pdMap.flags, 0);
    c.pdMap.visible() = false; // the named ones set apart: hidden, reversed, on a log scale
    c.pdMap.reverse() = c.pdMap.logScale() = true;
    S3DToolsPDMapData& pd = c.pdMap;
    set(&c.controlMode, 3, &c.meshOpacity, 29, &c.organOpacity, 63, &pd.mode, 4, &pd.colorBarIndex,
        2, &pd.sliderMin, 7, &pd.sliderMax, 93, &pd.sliderExtra, 55, &pd.intTail, 8, &pd.spinBoxMin,
        123.5f, &pd.spinBoxMax, 4567.25f, &pd.spinBoxValue, 999.0f);
    c.meshColor = QColor(10, 20, 30);
    c.name1 = "first";
    c.name2 = "second";
    c.name3 = "SourceVoxels_1";
    pd.list1 = QStringList{"a", "b"};
    pd.text2 = "t2";
    for (auto it = c.sourceControls.begin(); it != c.sourceControls.end(); ++it)
    {
        tag_s3DSourceControls& s = it.value();
        fill(s.surfExtraFlags, 1);
        fill(s.volumeFlags, 2);
        fill(s.intensityExtra, -3);
        fill(s.voxelFlags, 4);
        fill(s.measurement.statistics, 5);
        set(&s.volumeOpacity, 31, &s.surfaceOpacity, 71, &s.intensitySlider, 66, &s.voxelType, 1,
            &s.voxelColor, 5, &s.drawMode, 3, &s.shadeMode, 1, &s.sourceValue, 2.75,
            &s.intensityValue, 12.345678901234567, &s.rangeMax, 512.0, &s.colorMin, 12.5f,
            &s.colorMax, 80.0f);
        s.surfaceColor = QColor::fromRgbF(0.1, 0.2, 0.3);
        s.surfaceVisible = !s.surfaceVisible;
        s.volumeVisible = !s.volumeVisible;
        s.volumeMip = s.volumeLogScale = s.measurement.active = true;
        s.measurement.unit = "mm3";
    }
    c.sourceControls.insert("NotInThisScene", tag_s3DSourceControls());

    scene.applyControls(c);
    EXPECT_EQ(changes, 1);
    c.sourceControls.remove("NotInThisScene");
    EXPECT_EQ(kxtest::controlsText(controls()).toStdString(),
              kxtest::controlsText(c).toStdString());

    // What the scene draws follows the record.
    CKXSceneData* d = scene.data();
    EXPECT_FALSE(d->mesh()->isDisplayed());
    EXPECT_EQ(d->mesh()->state().drawMode, 3);
    EXPECT_EQ(d->mesh()->state().shadeMode, 0);
    EXPECT_FALSE(d->organGroup()->isDisplayed());
    EXPECT_EQ(d->organs().front()->state().drawMode, 1);
    EXPECT_FLOAT_EQ(d->voxelSource()->volumeState().voxelOpacity, 0.31f);
    EXPECT_FLOAT_EQ(d->voxelSource()->volumeState().threshold, 12.345678901234567f);
    EXPECT_EQ(d->mesh()->palette().colorTable(), 2);
    EXPECT_FLOAT_EQ(d->mesh()->palette().maximum(), 4567.25f);

    // A record that lacks a source leaves that source as it was.
    tag_s3Dcontrols partial = c;
    partial.sourceControls.remove("Original");
    scene.applyControls(partial);
    EXPECT_EQ(kxtest::controlsText(controls()).toStdString(),
              kxtest::controlsText(c).toStdString());
}

TEST_F(SceneTest, TheTwoVariantsDifferInTheirSources)
{
    CKXSampleScene other(1);
    EXPECT_EQ(other.sourceNames(), scene.sourceNames());
    const QVector3D a = scene.data()->originalVolume()->centre();
    const QVector3D b = other.data()->originalVolume()->centre();
    EXPECT_GT((a - b).length(), 10.0f);
    EXPECT_NE(source("Original").voxelColor,
              other.currentControls().sourceControls.value("Original").voxelColor);
}

TEST_F(SceneTest, TheSubjectIsARealMeshWithAPhotonDensityBlob)
{
    const CKXMeshObject* mesh = scene.data()->mesh();
    const CKXGeometry& g = mesh->geometry();
    EXPECT_GE(g.triangleCount(), 20000);
    EXPECT_LE(g.triangleCount(), 60000);
    // The brightest skin lies close to the original source, the dimmest far from it.
    const std::vector<float>& pd = mesh->photonDensity().values();
    const auto peak = std::max_element(pd.begin(), pd.end()) - pd.begin();
    const auto low = std::min_element(pd.begin(), pd.end()) - pd.begin();
    const QVector3D src = scene.data()->originalVolume()->centre();
    EXPECT_LT((g.vertex(int(peak)) - src).length(), 12.0f);
    EXPECT_GT((g.vertex(int(low)) - src).length(), 40.0f);
}

TEST(Trackball, DragsRotateAboutTheExpectedAxes)
{
    C3DTrackball ball;
    ball.setViewport(400, 300);
    const unitquaternion none = ball.dragRotation(200, 150, 200, 150);
    EXPECT_DOUBLE_EQ(none.w(), 1.0);
    // Dragging right turns the front of the ball right: a positive turn about +y.
    const unitquaternion right = ball.dragRotation(200, 150, 260, 150);
    EXPECT_GT(right.y(), 0.05);
    EXPECT_NEAR(right.x(), 0.0, 1e-12);
    EXPECT_NEAR(right.z(), 0.0, 1e-12);
    // Dragging up (y decreases in widget pixels) is a negative turn about +x.
    const unitquaternion up = ball.dragRotation(200, 150, 200, 90);
    EXPECT_LT(up.x(), -0.05);
    // Circling the centre at the rim turns about the view axis, counter-clockwise here.
    const unitquaternion spin = ball.dragRotation(340, 150, 200 + 99, 150 - 99);
    EXPECT_GT(spin.z(), 0.05);
}
