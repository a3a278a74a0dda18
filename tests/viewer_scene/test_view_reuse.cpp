// The 3D view draws only when something it shows changed: a paint or grab with nothing changed
// reuses the framebuffer, and every change is drawn by the next paint. Each picture is checked
// against a fresh draw of the same state into a framebuffer object of its own.
#include "C3DMesh.h"
#include "CKXGLView.h"
#include "CKXSampleScene.h"
#include "CKXSceneData.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFocusEvent>
#include <QImage>
#include <QMouseEvent>

#include <gtest/gtest.h>

#include <functional>
#include <memory>

namespace
{

// Pixels whose colour differs (alpha ignored: the view's pictures are opaque).
int differingPixels(const QImage& a, const QImage& b)
{
    if (a.size() != b.size())
        return -1;
    int n = 0;
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x)
            n += ((a.pixel(x, y) ^ b.pixel(x, y)) & 0xffffff) != 0;
    return n;
}

class ViewReuseTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (!qApp)
            GTEST_SKIP() << "needs a display (run under xvfb-run)";
        view = std::make_unique<CKXGLView>(&scene);
        view->resize(240, 180);
        view->show();
        QElapsedTimer t;
        t.start();
        while (!view->isValid() && t.elapsed() < 10000)
            QApplication::processEvents();
        ASSERT_TRUE(view->isValid()) << "no GL context";
    }

    QImage grab() { return view->grabFramebuffer().convertToFormat(QImage::Format_RGB32); }

    CKXSampleScene scene{0};
    std::unique_ptr<CKXGLView> view;
};

} // namespace

TEST_F(ViewReuseTest, EachChangeIsDrawnByTheNextPaintAndNothingElseIs)
{
    QImage last = grab();
    ASSERT_EQ(differingPixels(last, view->renderFreshFrame()), 0);

    // Nothing changed: grabs and repaints reuse the picture, also after it was composed.
    int nRenders = view->renderCount();
    EXPECT_EQ(differingPixels(grab(), last), 0);
    view->update();
    QApplication::processEvents();
    view->repaint();
    EXPECT_EQ(differingPixels(grab(), last), 0);
    EXPECT_EQ(view->renderCount(), nRenders);

    const struct
    {
        const char* m_pszWhat;
        std::function<void()> m_change;
    } changes[] = {
        {"palette edit",
         [&] {
             scene.data()->mesh()->palette().setReversed(
                 !scene.data()->mesh()->palette().isReversed());
         }},
        {"rotation", [&] { view->setCurrentQuaternion(unitquaternion(0.4, Vec3f(0, 1, 0))); }},
        {"translation", [&] { view->setTranslationVector(Vec3f(30, -20, -100)); }},
        {"mesh opacity", [&] { scene.surfaceMesh()->setOpacity(0.2f); }},
        {"organ opacity", [&] { scene.setOrganOpacity(0.3f); }},
        {"display controls",
         [&]
         {
             tag_s3Dcontrols c = scene.currentControls();
             c.meshRenderSolid = false;
             c.meshRenderWireframe = true;
             scene.applyControls(c);
         }},
        {"resize", [&] { view->resize(200, 150); }},
        {"resize back", [&] { view->resize(240, 180); }},
    };
    for (const auto& c : changes)
    {
        nRenders = view->renderCount();
        c.m_change();
        const QImage picture = grab();
        EXPECT_EQ(view->renderCount(), nRenders + 1) << c.m_pszWhat;
        EXPECT_NE(differingPixels(picture, last), 0) << c.m_pszWhat << ": nothing changed";
        EXPECT_EQ(differingPixels(picture, view->renderFreshFrame()), 0) << c.m_pszWhat;
        // The repaint that follows draws nothing more.
        QApplication::processEvents();
        EXPECT_EQ(view->renderCount(), nRenders + 1) << c.m_pszWhat;
        last = picture;
    }

    // Without reuse every paint draws.
    view->setFrameReuse(false);
    nRenders = view->renderCount();
    grab();
    grab();
    EXPECT_EQ(view->renderCount(), nRenders + 2);
}

// A drag whose release goes elsewhere (released outside after the grab was lost, a dialog
// opened mid-drag) must not leave the quick sorted picture until the next click.
TEST_F(ViewReuseTest, ADragWhoseReleaseGoesElsewhereEndsInTheExactPicture)
{
    // From behind: the far ear tells the sorted picture from the exact one.
    view->setCurrentQuaternion(unitquaternion(deg2rad(180.0), Y_AXIS));
    auto mouse = [this](QEvent::Type type, int x, Qt::MouseButtons buttons)
    {
        QMouseEvent e(type, QPointF(x, 90),
                      type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton, buttons,
                      Qt::NoModifier);
        QApplication::sendEvent(view.get(), &e);
    };
    const struct
    {
        const char* m_pszWhat;
        std::function<void()> m_lose;
    } endings[] = {
        {"focus lost",
         [&]
         {
             QFocusEvent e(QEvent::FocusOut, Qt::ActiveWindowFocusReason);
             QApplication::sendEvent(view.get(), &e);
         }},
        {"grab lost",
         [&]
         {
             QEvent e(QEvent::UngrabMouse);
             QApplication::sendEvent(view.get(), &e);
         }},
        {"move with no button", [&] { mouse(QEvent::MouseMove, 140, Qt::NoButton); }},
    };
    for (const auto& ending : endings)
    {
        mouse(QEvent::MouseButtonPress, 120, Qt::LeftButton);
        mouse(QEvent::MouseMove, 124, Qt::LeftButton);
        ASSERT_GT(differingPixels(grab(), view->renderFreshFrame()), 100) << "not quick";
        const int nRenders = view->renderCount();
        ending.m_lose();
        QElapsedTimer t;
        t.start();
        while (view->renderCount() == nRenders && t.elapsed() < 5000)
            QApplication::processEvents();
        EXPECT_EQ(view->renderCount(), nRenders + 1) << ending.m_pszWhat << ": not drawn again";
        EXPECT_EQ(differingPixels(grab(), view->renderFreshFrame()), 0) << ending.m_pszWhat;
    }
}
