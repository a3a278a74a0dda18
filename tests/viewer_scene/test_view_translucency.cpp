// Translucent surfaces are blended in depth order at every pixel, not by whole objects: checked
// on frames grabbed from a CKXGLView under Xvfb (Mesa llvmpipe). Each case also draws with
// whole-object sorting, to show that its scene does tell the two apart.
#include "../common/KXTestGeometry.h"
#include "C3DVolume.h"
#include "KXSceneDescription.h"
#include "KXViewPictures.h"

#include <QMouseEvent>
#include <QWheelEvent>

#include <gtest/gtest.h>

#include <cmath>

namespace
{
constexpr int kWidth = 320;
constexpr int kHeight = 240;

// Mean grey level of the 5 x 5 pixels around (x, y).
double brightness(const QImage& img, int x, int y)
{
    double sum = 0;
    for (int dy = -2; dy <= 2; ++dy)
        for (int dx = -2; dx <= 2; ++dx)
            sum += qGray(img.pixel(x + dx, y + dy));
    return sum / 25.0;
}

QImage render(CKXSampleScene& scene, bool orderIndependent,
              const unitquaternion& rotation = unitquaternion())
{
    return kxRender(scene, orderIndependent, rotation);
}

// Two half-transparent tetrahedra around the same centre, one the other's point mirror, so
// that each pierces the other's faces: red first or blue first.
SKXSceneDescription crossingOrgans(bool redFirst)
{
    SKXSceneDescription d;
    SKXSurfaceData red{
        "Red", QColor(220, 40, 30), kxTetrahedron(QVector3D(0, 0, 0), 10.0f), {}, {}};
    auto mirrored = std::make_shared<CKXGeometry>(*kxTetrahedron(QVector3D(0, 0, 0), 10.0f));
    for (float& p : mirrored->positions)
        p = -p;
    mirrored->orientOutward();
    mirrored->finish();
    SKXSurfaceData blue{"Blue", QColor(30, 60, 230), mirrored, {}, {}};
    d.organs =
        redFirst ? std::vector<SKXSurfaceData>{red, blue} : std::vector<SKXSurfaceData>{blue, red};
    return d;
}

class TranslucencyTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (!qApp)
            GTEST_SKIP() << "needs a display (run under scripts/with-xvfb)";
    }
};
} // namespace

TEST_F(TranslucencyTest, CrossingOrgansLookTheSameInEitherDrawOrder)
{
    auto scene = [](bool redFirst)
    {
        auto s = std::make_unique<CKXSampleScene>(crossingOrgans(redFirst));
        tag_s3Dcontrols c = s->currentControls();
        c.organsVisible = true;
        c.organOpacity = 50;
        s->applyControls(c);
        return s;
    };
    auto redFirst = scene(true), blueFirst = scene(false);
    // Turned so that both show faces towards the eye and the crossing lines are in view.
    const unitquaternion turn(deg2rad(35.0), Vec3f(1.0, 0.6, 0.2));
    const QImage a = render(*redFirst, true, turn), b = render(*blueFirst, true, turn);
    CKXSampleScene empty(crossingOrgans(true));
    {
        tag_s3Dcontrols c = empty.currentControls();
        c.organsVisible = false;
        empty.applyControls(c);
    }
    ASSERT_GT(kxMeanDifference(a, render(empty, true, turn)), 2.0) << "the organs must be in view";
    EXPECT_LT(kxMeanDifference(a, b), 0.05);
    // Sorted whole, the one drawn last lies on top of the other everywhere.
    EXPECT_GT(kxMeanDifference(render(*redFirst, false, turn), render(*blueFirst, false, turn)),
              0.5);
}

TEST_F(TranslucencyTest, TheFarEarStaysBehindTheHead)
{
    CKXSampleScene scene(0);
    tag_s3Dcontrols c = scene.currentControls();
    c.meshOpacity = 84;
    c.organsVisible = false;
    for (auto& s : c.sourceControls)
        s.surfaceVisible = s.volumeVisible = false;
    scene.applyControls(c);
    // Seen from its other side, the far ear lies behind the head at (112, 144): under two
    // walls of 84 % skin it barely shows. Sorted whole, it was drawn over the near wall, a
    // bright disc on the head.
    const unitquaternion back(deg2rad(180.0), Y_AXIS);
    auto earOverSkin = [](const QImage& img)
    {
        return brightness(img, 112, 144) -
               0.5 * (brightness(img, 125, 135) + brightness(img, 95, 150));
    };
    const QImage peeled = render(scene, true, back);
    const QImage sorted = render(scene, false, back);
    EXPECT_LT(std::abs(earOverSkin(peeled)), 30.0);
    EXPECT_GT(earOverSkin(sorted), 60.0);
    // Elsewhere on the body the two agree: the head's skin beside the ear, the trunk.
    EXPECT_LT(std::abs(brightness(peeled, 95, 150) - brightness(sorted, 95, 150)), 3.0);
}

TEST_F(TranslucencyTest, AnOpaqueSceneDrawsExactlyAsWhenSorted)
{
    // Opaque organs and source surfaces, the voxel glow and the anatomical volume: nothing is
    // peeled, and every pixel is as the sorted drawing makes it.
    CKXSampleScene scene(0);
    tag_s3Dcontrols c = scene.currentControls();
    c.meshVisible = false;
    c.organsVisible = true;
    c.organOpacity = 100;
    for (auto& s : c.sourceControls)
        s.surfaceOpacity = 100;
    scene.applyControls(c);
    scene.getNode("GLVolume")->show(true);
    const QImage peeled = render(scene, true), sorted = render(scene, false);
    EXPECT_EQ(kxMeanDifference(peeled, sorted), 0.0);
}

TEST_F(TranslucencyTest, TheViewSortsWhileTheCameraMovesAndPeelsWhenItStops)
{
    CKXSampleScene scene(0);
    CKXGLView view(&scene);
    ASSERT_TRUE(kxShowView(view, kWidth, kHeight)) << "no GL context";
    // From behind, where the far ear tells the two drawings apart.
    view.setCurrentQuaternion(unitquaternion(deg2rad(180.0), Y_AXIS));
    auto grab = [&] { return kxGrab(view); };
    auto send = [&](QEvent::Type type, QPoint p, Qt::MouseButtons buttons)
    {
        QMouseEvent e(type, p, type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton, buttons,
                      Qt::NoModifier);
        QApplication::sendEvent(&view, &e);
    };
    // Waits for the repaint an event scheduled; false if none came.
    auto repainted = [&]
    {
        const int n = view.renderCount();
        QElapsedTimer w;
        w.start();
        while (view.renderCount() == n && w.elapsed() < 3000)
            QApplication::processEvents();
        return view.renderCount() > n;
    };

    send(QEvent::MouseButtonPress, QPoint(160, 120), Qt::LeftButton);
    send(QEvent::MouseMove, QPoint(163, 121), Qt::LeftButton);
    const QImage dragged = grab();
    EXPECT_GT(kxMeanDifference(dragged, view.renderFreshFrame()), 0.05) << "peeled while dragged";
    // Recording (and Play) draw every frame peeled, even with the mouse held.
    view.setKFRecording(true);
    view.setCurrentQuaternion(unitquaternion(deg2rad(170.0), Y_AXIS));
    EXPECT_EQ(kxMeanDifference(grab(), view.renderFreshFrame()), 0.0) << "recorded unpeeled";
    view.setKFRecording(false);
    send(QEvent::MouseMove, QPoint(166, 122), Qt::LeftButton);
    EXPECT_GT(kxMeanDifference(grab(), view.renderFreshFrame()), 0.05);

    view.repaint(); // the repaint the moves asked for, still sorted
    // Let go: one repaint, peeled, that a grab then reuses.
    send(QEvent::MouseButtonRelease, QPoint(166, 122), Qt::NoButton);
    ASSERT_TRUE(repainted()) << "the picture stays sorted after the drag";
    const int nRenders = view.renderCount();
    EXPECT_EQ(kxMeanDifference(grab(), view.renderFreshFrame()), 0.0);
    EXPECT_EQ(view.renderCount(), nRenders);

    // The wheel: sorted while the notches come, peeled once they stop.
    QWheelEvent wheel(QPointF(160, 120), QPointF(160, 120), QPoint(), QPoint(0, 120), Qt::NoButton,
                      Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(&view, &wheel);
    EXPECT_GT(kxMeanDifference(grab(), view.renderFreshFrame()), 0.05) << "peeled while zoomed";
    ASSERT_TRUE(repainted()) << "the picture stays sorted after the zoom";
    EXPECT_EQ(kxMeanDifference(grab(), view.renderFreshFrame()), 0.0);
}

TEST_F(TranslucencyTest, LightSourceVoxelsGlowBetweenTheFarAndTheNearSkin)
{
    // The voxels sit inside the body: behind its near wall, in front of its far wall, as the
    // whole-object order has them too. Where they glow, both drawings agree.
    CKXSampleScene scene(0);
    tag_s3Dcontrols c = scene.currentControls();
    c.meshOpacity = 84;
    c.organsVisible = false;
    for (auto& s : c.sourceControls)
        s.surfaceVisible = s.volumeVisible = false;
    scene.applyControls(c);
    const QImage dark = render(scene, false);
    for (auto& s : c.sourceControls)
        s.volumeVisible = true;
    scene.applyControls(c);
    const QImage sorted = render(scene, false), peeled = render(scene, true);
    double sum = 0;
    int n = 0;
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x)
            if (qGray(sorted.pixel(x, y)) - qGray(dark.pixel(x, y)) > 4)
            {
                sum += std::abs(qGray(sorted.pixel(x, y)) - qGray(peeled.pixel(x, y)));
                ++n;
            }
    ASSERT_GT(n, 100) << "the glow must be in view";
    EXPECT_LT(sum / n, 1.5) << n << " pixels";
}
