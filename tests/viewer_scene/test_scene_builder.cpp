// Scenes built from hand-made descriptions: the nodes, names, display controls and palette
// entries follow the data, partial datasets build and draw, and an oblique volume is drawn
// where its voxel-to-world matrix puts it.
#include "../common/KXTestGeometry.h"
#include "C3DVolume.h"
#include "CKXSceneData.h"
#include "KXSceneDescription.h"
#include "KXViewPictures.h"
#include "PLConstants.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace
{
// A 4 x 3 x 2 grid turned 35 degrees about z and tilted 20 degrees about x, 6 x 5 x 4 mm
// voxels: one bright voxel (2, 1, 0), one negative, one NaN, the rest 0.
std::shared_ptr<SKXVolumeData> obliqueVolume()
{
    auto v = std::make_shared<SKXVolumeData>();
    v->nx = 4;
    v->ny = 3;
    v->nz = 2;
    v->values.assign(v->voxelCount(), 0.0f);
    v->values[2 + 4 * 1] = 1000.0f;
    v->values[0] = -200.0f;
    v->values[23] = std::numeric_limits<float>::quiet_NaN();
    v->minimum = -200.0f;
    v->maximum = 1000.0f;
    v->voxelToWorld.translate(10.0f, -5.0f, 3.0f);
    v->voxelToWorld.rotate(35.0f, 0, 0, 1);
    v->voxelToWorld.rotate(20.0f, 1, 0, 0);
    v->voxelToWorld.scale(6.0f, 5.0f, 4.0f);
    return v;
}

SKXSceneDescription handMade()
{
    SKXSceneDescription d;
    auto subject = std::make_shared<SKXSurfaceData>();
    subject->geometry = kxTetrahedron(QVector3D(5, -3, 2), 20.0f);
    subject->scalars = {5.0f, 250.0f, 40.0f, 90.0f};
    d.subject = subject;
    d.organs.push_back(
        {"Heart", QColor(200, 30, 40), kxTetrahedron(QVector3D(3, 2, 1), 4.0f), {}, {}});
    d.organs.push_back({"Liver", QColor(), kxTetrahedron(QVector3D(-4, -2, 0), 5.0f), {}, {}});
    d.anatomy = obliqueVolume();
    SKXSourceData original;
    original.name = "Original";
    original.volume = obliqueVolume();
    original.surfaces.push_back({"", QColor(), kxTetrahedron(QVector3D(1, 1, 1), 2.0f), {}, {}});
    SKXSourceData voxels;
    voxels.name = "SourceVoxels_A";
    voxels.volume = obliqueVolume();
    SKXSourceData surfaces;
    surfaces.name = "SourceSurface_A";
    surfaces.color = QColor(10, 200, 30);
    surfaces.surfaces.push_back({"", QColor(), kxTetrahedron(QVector3D(6, 0, 0), 1.5f), {}, {}});
    surfaces.surfaces.push_back({"", QColor(), kxTetrahedron(QVector3D(-6, 0, 0), 1.5f), {}, {}});
    d.sources = {voxels, surfaces, original};
    return d;
}

SKXSceneDescription volumeOnly()
{
    SKXSceneDescription d;
    d.anatomy = obliqueVolume();
    return d;
}

SKXSceneDescription without(bool bSubject, bool bSources)
{
    SKXSceneDescription d = handMade();
    if (!bSubject)
        d.subject.reset();
    if (!bSources)
        d.sources.clear();
    return d;
}
} // namespace

TEST(SceneBuilder, AHandMadeDescriptionGivesItsNodesNamesControlsAndPalette)
{
    CKXSampleScene scene(handMade());
    const CKXSceneData* data = scene.data();
    ASSERT_NE(scene.surfaceMesh(), nullptr);
    EXPECT_TRUE(scene.surfaceMesh()->isPhotonDensityMappingValid());
    double lo = 0, hi = 0;
    scene.surfaceMesh()->getPDImageMinMax(lo, hi);
    EXPECT_EQ(lo, 5.0);
    EXPECT_EQ(hi, 250.0);
    const tag_s3Dcontrols c = scene.currentControls();
    EXPECT_TRUE(c.pdMap.visible());
    EXPECT_EQ(c.pdMap.spinBoxMax, 250.0f);
    EXPECT_EQ(c.pdMap.spinBoxMin, 30.0f); // 12% of the zero-based range, rounded
    EXPECT_EQ(c.meshOpacity, 40) << "translucent: there are organs and sources inside";

    EXPECT_EQ(scene.organNames(), QStringList({"Heart", "Liver"}));
    EXPECT_EQ(data->organ("Heart")->state().color, QColor(200, 30, 40));
    EXPECT_TRUE(data->organ("Liver")->state().color.isValid());

    // The anatomy is quantised over its own range: -200 -> 0, 0 -> 43, 1000 -> 255, NaN -> 0.
    ASSERT_NE(scene.getNode("GLVolume"), nullptr);
    const CKXVolumeObject::DenseGrid& g = data->multimodalityVolume()->dense();
    ASSERT_EQ(g.density.size(), 24u);
    EXPECT_EQ(g.density[0], 0);
    EXPECT_EQ(g.density[1], 43);
    EXPECT_EQ(g.density[6], 255);
    EXPECT_EQ(g.density[23], 0);

    EXPECT_EQ(scene.sourceNames(), QStringList({"Original", "SourceSurface_A", "SourceVoxels_A"}));
    ASSERT_NE(scene.get3DSource(), nullptr);
    EXPECT_EQ(scene.get3DSource(), scene.getNode("Original_Surface"));
    EXPECT_EQ(scene.getNode("SourceSurface_A")->getChildren().size(), 2);
    // Voxel sources: the range from zero (or below) to the maximum, the threshold 12% up it,
    // every voxel above 1% of it kept (all but the negative and the NaN one).
    const tag_s3DSourceControls v = c.sourceControls.value("SourceVoxels_A");
    EXPECT_EQ(v.intensityMin, -200.0);
    EXPECT_EQ(v.intensityMax, 1000.0);
    EXPECT_NEAR(v.intensityValue, -56.0, 1e-3);
    EXPECT_EQ(v.intensitySlider, 12);
    EXPECT_TRUE(v.volumeVisible);
    EXPECT_EQ(data->voxelSource()->sparse().voxels.size(), 4u * 22);
    EXPECT_EQ(data->voxelSource()->sparse().voxels[3], 1000.0f) << "brightest first";
    EXPECT_TRUE(c.sourceControls.value("SourceSurface_A").surfaceVisible);
    EXPECT_EQ(c.sourceControls.value("SourceSurface_A").surfaceColor, QColor(10, 200, 30));
    EXPECT_FALSE(c.sourceControls.value("Original").surfaceVisible);

    // Every node follows a record that changes each source.
    tag_s3Dcontrols changed = c;
    changed.sourceControls["SourceVoxels_A"].intensityValue = 500.0;
    changed.sourceControls["SourceSurface_A"].surfaceOpacity = 30;
    scene.applyControls(changed);
    EXPECT_EQ(data->voxelSource()->volumeState().threshold, 500.0f);
    EXPECT_EQ(data->voxelSource()->visibleVoxelCount(), 1);
    EXPECT_FLOAT_EQ(data->sourceSurfaces().back()->state().opacity, 0.3f);
}

TEST(SceneBuilder, PartialDescriptionsBuildWithoutTheMissingRoles)
{
    CKXSampleScene empty{SKXSceneDescription()};
    EXPECT_EQ(empty.surfaceMesh(), nullptr);
    EXPECT_EQ(empty.get3DSource(), nullptr);
    EXPECT_EQ(empty.originalVolume(), nullptr);
    EXPECT_TRUE(empty.sourceNames().isEmpty());
    EXPECT_EQ(empty.getNode("GLVolume"), nullptr);
    EXPECT_FALSE(empty.currentControls().meshVisible);

    CKXSampleScene noSubject(without(false, true));
    EXPECT_EQ(noSubject.getNode(PLConstants::_3DMESH), nullptr);
    EXPECT_FALSE(noSubject.currentControls().pdMap.visible());
    noSubject.setRenderMode(1, PLConstants::_3DMESH);
    noSubject.applyControls(
        CKXSampleScene(0).currentControls()); // the sample's sources are not here
    EXPECT_EQ(noSubject.sourceNames().size(), 3);

    // A subject without a field has no valid map; without sources it is drawn opaque.
    SKXSceneDescription bare = without(true, false);
    auto subject = std::make_shared<SKXSurfaceData>(*bare.subject);
    subject->scalars.clear();
    bare.subject = subject;
    bare.organs.clear();
    bare.anatomy.reset();
    CKXSampleScene plain(bare);
    EXPECT_FALSE(plain.surfaceMesh()->isPhotonDensityMappingValid());
    EXPECT_FALSE(plain.currentControls().pdMap.visible());
    EXPECT_EQ(plain.currentControls().meshOpacity, 100);
    EXPECT_EQ(plain.get3DSource(), nullptr);
    // The pose centres the bounds; the default view spans half their diagonal.
    EXPECT_LT(plain.data()->pose().map(QVector3D(5, -3, 2)).length(), 1e-4f);
    EXPECT_NEAR(plain.data()->subjectSize(), 20.0f * std::sqrt(3.0f), 1e-3f);

    // Duplicate and reserved names get a suffix instead of hiding a node.
    SKXSceneDescription clash = handMade();
    clash.organs[1].name = "Heart";
    clash.sources[0].name = "SourceSurface_A";
    clash.sources[0].volume.reset();
    clash.sources[0].surfaces = clash.sources[1].surfaces;
    CKXSampleScene named(clash);
    EXPECT_EQ(named.organNames(), QStringList({"Heart", "Heart_2"}));
    EXPECT_EQ(named.sourceNames(),
              QStringList({"Original", "SourceSurface_A", "SourceSurface_A_2"}));
}

TEST(SceneBuilderView, PartialDatasetsDrawSomething)
{
    CKXSampleScene empty{SKXSceneDescription()};
    const QImage bg = kxRender(empty);
    for (const SKXSceneDescription& d : {without(false, true), without(true, false), volumeOnly()})
    {
        CKXSampleScene scene(d);
        EXPECT_GT(kxMask(kxRender(scene), bg).count, 320 * 240 / 50);
    }
}

TEST(SceneBuilderView, AnObliqueVolumeIsDrawnWhereItsMatrixPutsIt)
{
    // The volume with a marker organ at its bright voxel's centre: seen alone, each lands on
    // the same pixels.
    SKXSceneDescription d = volumeOnly();
    d.organs.push_back({"Marker",
                        QColor(255, 255, 255),
                        kxTetrahedron(d.anatomy->voxelToWorld.map(QVector3D(2, 1, 0)), 1.2f),
                        {},
                        {}});
    CKXSampleScene scene(d);
    C3DObject* volume = scene.getNode("GLVolume");
    volume->show(false);
    scene.getNode(PLConstants::_3DORGANS)->show(false);
    const QImage bg = kxRender(scene);
    volume->show(true);
    static_cast<C3DVolume*>(volume)->setThreshold(128.0f); // the bright voxel's own cell
    const SKXMask voxel = kxMask(kxRender(scene), bg);
    volume->show(false);
    scene.getNode(PLConstants::_3DORGANS)->show(true);
    const SKXMask marker = kxMask(kxRender(scene), bg);
    ASSERT_GT(voxel.count, 20);
    ASSERT_GT(marker.count, 5);
    EXPECT_NEAR(voxel.centroid.x(), marker.centroid.x(), 2.5);
    EXPECT_NEAR(voxel.centroid.y(), marker.centroid.y(), 2.5);
}
