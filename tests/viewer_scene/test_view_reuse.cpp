// The 3D view draws only when something it shows changed: a paint or grab with nothing changed
// reuses the framebuffer, and every change is drawn by the next paint. Each picture is checked
// against a fresh draw of the same state into a framebuffer object of its own.
#include "C3DMesh.h"
#include "CKXSceneData.h"
#include "KXViewPictures.h"

#include <QFocusEvent>
#include <QMouseEvent>

#include <functional>

using ViewReuseTest = CShownViewTest;

TEST_F(ViewReuseTest, EachChangeIsDrawnByTheNextPaintAndNothingElseIs)
{
    QImage last = grab();
    ASSERT_EQ(kxMeanDifference(last, view->renderFreshFrame()), 0.0);

    // Nothing changed: grabs and repaints reuse the picture, also after it was composed.
    int nRenders = view->renderCount();
    EXPECT_EQ(kxMeanDifference(grab(), last), 0.0);
    view->update();
    QApplication::processEvents();
    view->repaint();
    EXPECT_EQ(kxMeanDifference(grab(), last), 0.0);
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
        {"resize back", [&] { view->resize(kWidth, kHeight); }},
    };
    for (const auto& c : changes)
    {
        nRenders = view->renderCount();
        c.m_change();
        const QImage picture = grab();
        EXPECT_EQ(view->renderCount(), nRenders + 1) << c.m_pszWhat;
        EXPECT_NE(kxMeanDifference(picture, last), 0.0) << c.m_pszWhat << ": nothing changed";
        EXPECT_EQ(kxMeanDifference(picture, view->renderFreshFrame()), 0.0) << c.m_pszWhat;
        // The repaint that follows draws nothing more.
        QApplication::processEvents();
        EXPECT_EQ(view->renderCount(), nRenders + 1) << c.m_pszWhat;
        last = picture;
    }
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
        ASSERT_GT(kxMeanDifference(grab(), view->renderFreshFrame()), 0.0) << "not quick";
        const int nRenders = view->renderCount();
        ending.m_lose();
        QElapsedTimer t;
        t.start();
        while (view->renderCount() == nRenders && t.elapsed() < 5000)
            QApplication::processEvents();
        EXPECT_EQ(view->renderCount(), nRenders + 1) << ending.m_pszWhat << ": not drawn again";
        EXPECT_EQ(kxMeanDifference(grab(), view->renderFreshFrame()), 0.0) << ending.m_pszWhat;
    }
}
