// The 3D view renders the scene as the display state says: checked on real frames grabbed from
// a CKXGLView under Xvfb (Mesa llvmpipe).
#include "C3DMesh.h"
#include "KXViewPictures.h"
#include "PLConstants.h"

#include <QEventLoop>
#include <QMouseEvent>
#include <QTimer>
#include <QWheelEvent>

#include <cmath>

namespace
{
class ViewTest : public CShownViewTest
{
protected:
    // Everything hidden but what `keep` switches on again.
    template <class F> void showOnly(F&& keep)
    {
        tag_s3Dcontrols c = scene.currentControls();
        c.meshVisible = false;
        c.organsVisible = false;
        for (auto& s : c.sourceControls)
            s.surfaceVisible = s.volumeVisible = false;
        keep(c);
        scene.applyControls(c);
    }
    QImage background()
    {
        showOnly([](tag_s3Dcontrols&) {});
        return grab();
    }
    // A small marker: the surface source (two nodes in the neck, well off the view's centre)
    // or the original source's surface (one blob, near the centre).
    void showMarkerOnly(const QString& source)
    {
        showOnly(
            [&source](tag_s3Dcontrols& c)
            {
                c.sourceControls[source].surfaceVisible = true;
                c.sourceControls[source].surfaceOpacity = 100;
            });
    }
    void showMeshOnly(int opacity = 100)
    {
        showOnly(
            [opacity](tag_s3Dcontrols& c)
            {
                c.meshVisible = true;
                c.meshOpacity = opacity;
            });
    }
    template <class F> QImage withControls(F&& change)
    {
        tag_s3Dcontrols c = scene.currentControls();
        change(c);
        scene.applyControls(c);
        return grab();
    }
};
} // namespace

TEST_F(ViewTest, TheDefaultViewShowsTheSubjectLargeAndCentred)
{
    const QImage bg = background();
    scene.applyControls(CKXSampleScene(0).currentControls());
    const SKXMask m = kxMask(grab(), bg);
    // The subject spans about 60% of the view's height, around its middle.
    EXPECT_NEAR(m.bounds.height(), 0.6 * kHeight, 0.15 * kHeight);
    EXPECT_LT(m.bounds.width(), kWidth);
    EXPECT_NEAR(m.centroid.x(), kWidth / 2.0, kWidth * 0.12);
    EXPECT_NEAR(m.centroid.y(), kHeight / 2.0, kHeight * 0.12);
}

TEST_F(ViewTest, PositiveRotationAboutZTurnsTheSubjectCounterClockwise)
{
    const QImage bg = background();
    showMarkerOnly("SourceSurface_1");
    const SKXMask before = kxMask(grab(), bg);
    ASSERT_GT(before.count, 20);
    view->setCurrentQuaternion(unitquaternion(deg2rad(90.0), Z_AXIS));
    const SKXMask after = kxMask(grab(), bg);
    // Offsets from the view centre, y up.
    const QPointF p0(before.centroid.x() - kWidth / 2.0, kHeight / 2.0 - before.centroid.y());
    const QPointF p1(after.centroid.x() - kWidth / 2.0, kHeight / 2.0 - after.centroid.y());
    ASSERT_GT(std::hypot(p0.x(), p0.y()), 15.0) << "the marker must sit off the centre";
    EXPECT_NEAR(p1.x(), -p0.y(), 1.5);
    EXPECT_NEAR(p1.y(), p0.x(), 1.5);
}

TEST_F(ViewTest, TranslationIsInPixelsAtTheFocalPlane)
{
    const QImage bg = background();
    showMarkerOnly("Original");
    const SKXMask m0 = kxMask(grab(), bg);
    const double tx = kWidth / 4.0, ty = kHeight / 4.0;
    view->setTranslationVector(Vec3f(tx, ty, 0.0));
    const SKXMask m1 = kxMask(grab(), bg);
    // A point on the focal plane moves by exactly the translation, in pixels; the marker lies
    // some dz in front of it, so it moves k = D / (D - dz) times as far, the same in x and y (up).
    const double kx = (m1.centroid.x() - m0.centroid.x()) / tx;
    const double ky = (m0.centroid.y() - m1.centroid.y()) / ty;
    EXPECT_NEAR(kx, ky, 0.025); // the marker has depth: not quite one point
    EXPECT_NEAR(kx, 1.0, 0.1);
    // Pushed back by the focal distance D, the same translation moves it D / (2D - dz) times
    // as far: k / (k + 1), which pins down the focal distance as well.
    const double focal = view->focalDistance();
    view->setTranslationVector(Vec3f(0.0, 0.0, -focal));
    const SKXMask back0 = kxMask(grab(), bg);
    view->setTranslationVector(Vec3f(tx, ty, -focal));
    const SKXMask back1 = kxMask(grab(), bg);
    const double k = 0.5 * (kx + ky);
    EXPECT_NEAR((back1.centroid.x() - back0.centroid.x()) / tx, k / (k + 1.0), 0.01);
    EXPECT_NEAR((back0.centroid.y() - back1.centroid.y()) / ty, k / (k + 1.0), 0.01);
}

TEST_F(ViewTest, RenderAndShadingModesChangeThePicture)
{
    showMeshOnly();
    // Close enough for facets to show: the subject fills the view.
    view->setTranslationVector(Vec3f(0.0, 0.0, 0.5 * view->focalDistance()));
    std::vector<QImage> draw, shade;
    for (int mode = 0; mode < 4; ++mode)
    {
        view->setRenderMode(mode, PLConstants::_3DMESH);
        draw.push_back(grab());
    }
    view->setRenderMode(2, PLConstants::_3DMESH);
    for (int mode = 0; mode < 4; ++mode)
    {
        view->setShadingMode(mode, PLConstants::_3DMESH);
        shade.push_back(grab());
    }
    for (int a = 0; a < 4; ++a)
        for (int b = a + 1; b < 4; ++b)
        {
            EXPECT_GT(kxMeanDifference(draw[a], draw[b]), 0.5) << "render modes " << a << ", " << b;
            EXPECT_GT(kxMeanDifference(shade[a], shade[b]), 0.5)
                << "shading modes " << a << ", " << b;
        }
}

TEST_F(ViewTest, ATranslucentBodyShowsTheOrgansInside)
{
    auto organsDifference = [this](int meshOpacity)
    {
        const QImage with = withControls(
            [&](tag_s3Dcontrols& c)
            {
                c.meshOpacity = meshOpacity;
                c.organsVisible = true;
                for (auto& s : c.sourceControls)
                    s.surfaceVisible = s.volumeVisible = false;
            });
        const QImage without = withControls([](tag_s3Dcontrols& c) { c.organsVisible = false; });
        return kxMeanDifference(with, without);
    };
    EXPECT_LT(organsDifference(100), 0.05); // an opaque body hides them
    EXPECT_GT(organsDifference(40), 1.0);
    // One organ hidden changes the picture too.
    const QImage all = grab();
    scene.updateMeshVisibility("Liver", false);
    EXPECT_EQ(kxMeanDifference(all, grab()), 0.0) << "organs are hidden as a whole here";
    scene.getNode(PLConstants::_3DORGANS)->show(true);
    const QImage shown = grab();
    scene.updateMeshVisibility("Liver", true);
    EXPECT_GT(kxMeanDifference(shown, grab()), 0.1);
}

TEST_F(ViewTest, ThePhotonDensityMapAndItsPaletteChangeThePicture)
{
    showMeshOnly();
    const QImage on = grab();
    const QImage off = withControls([](tag_s3Dcontrols& c) { c.pdMap.visible() = false; });
    EXPECT_GT(kxMeanDifference(on, off), 0.5);
    scene.surfaceMesh()->showPhotonDensity(true);
    const QImage reversed = withControls([](tag_s3Dcontrols& c) { c.pdMap.reverse() = true; });
    EXPECT_GT(kxMeanDifference(on, reversed), 0.5);
    const QImage recoloured = withControls(
        [](tag_s3Dcontrols& c)
        {
            c.pdMap.reverse() = false;
            c.meshColor = QColor(60, 160, 90);
        });
    EXPECT_GT(kxMeanDifference(on, recoloured), 1.0);
}

TEST_F(ViewTest, VoxelThresholdTableMipAndTypeChangeThePicture)
{
    const QImage bg = background();
    auto voxels = [this](int threshold, auto&& more)
    {
        showOnly(
            [&](tag_s3Dcontrols& c)
            {
                tag_s3DSourceControls& s = c.sourceControls["SourceVoxels_1"];
                s.volumeVisible = true;
                s.volumeThreshold = true;
                s.intensityValue = threshold;
                more(s);
            });
        return grab();
    };
    auto none = [](tag_s3DSourceControls&) {};
    const QImage low = voxels(5, none);
    const QImage high = voxels(60, none);
    const SKXMask lowMask = kxMask(low, bg), highMask = kxMask(high, bg);
    EXPECT_GT(lowMask.count, 100);
    EXPECT_LT(highMask.count, lowMask.count * 0.7) << "voxels below the threshold are hidden";
    EXPECT_GT(kxMeanDifference(low, voxels(5, [](auto& s) { s.volumeMip = true; })), 0.1);
    EXPECT_GT(kxMeanDifference(low, voxels(5, [](auto& s) { s.voxelColor = 3; })), 0.1);
    EXPECT_GT(kxMeanDifference(low, voxels(5, [](auto& s) { s.voxelType = 1; })), 0.1);
    EXPECT_GT(kxMeanDifference(low, voxels(5, [](auto& s) { s.volumeOpacity = 20; })), 0.1);
    EXPECT_GT(kxMeanDifference(low, voxels(5, [](auto& s) { s.volumeReverse() = true; })), 0.1);
}

TEST_F(ViewTest, TheTrackballMovesOnlyTheCamera)
{
    int cameraChanges = 0, sceneChanges = 0;
    QObject::connect(view.get(), &CKXGLView::cameraChanged, [&] { ++cameraChanges; });
    QObject::connect(&scene, &CKXSampleScene::changed, [&] { ++sceneChanges; });
    auto mouse =
        [this](QEvent::Type type, QPoint p, Qt::MouseButton button, Qt::MouseButtons buttons)
    {
        QMouseEvent e(type, p, view->mapToGlobal(p), button, buttons, Qt::NoModifier);
        QApplication::sendEvent(view.get(), &e);
    };
    const QPoint c(kWidth / 2, kHeight / 2);
    mouse(QEvent::MouseButtonPress, c, Qt::LeftButton, Qt::LeftButton);
    mouse(QEvent::MouseMove, c + QPoint(40, 0), Qt::NoButton, Qt::LeftButton);
    mouse(QEvent::MouseButtonRelease, c + QPoint(40, 0), Qt::LeftButton, Qt::NoButton);
    const unitquaternion q = view->getCurrentQuaternion();
    EXPECT_GT(q.y(), 0.05); // a turn about the vertical axis

    mouse(QEvent::MouseButtonPress, c, Qt::RightButton, Qt::RightButton);
    mouse(QEvent::MouseMove, c + QPoint(10, 5), Qt::NoButton, Qt::RightButton);
    EXPECT_NEAR(view->getTranslationVector().x(), 10.0, 1e-9);
    EXPECT_NEAR(view->getTranslationVector().y(), -5.0, 1e-9);

    QWheelEvent wheel(QPointF(c), QPointF(view->mapToGlobal(c)), QPoint(), QPoint(0, -120),
                      Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(view.get(), &wheel);
    EXPECT_LT(view->getTranslationVector().z(), 0.0);
    EXPECT_EQ(cameraChanges, 3);
    EXPECT_EQ(sceneChanges, 0);

    view->resetCamera();
    EXPECT_EQ(cameraChanges, 4);
    EXPECT_EQ(view->getCurrentQuaternion(), unitquaternion());
    EXPECT_EQ(view->getTranslationVector(), Vec3f());
}

TEST_F(ViewTest, AutoRotationSpinsUntilStopped)
{
    view->setAutoRotating(true);
    QEventLoop loop;
    QTimer::singleShot(300, &loop, &QEventLoop::quit);
    loop.exec();
    EXPECT_NE(view->getCurrentQuaternion(), unitquaternion());
    view->stopAutoRotation();
    EXPECT_FALSE(view->isAutoRotating());
    EXPECT_FALSE(view->isAnimationEnabled());
}
