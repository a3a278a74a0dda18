// Frames per second of the viewer's 3D view at 640x480, 1280x720 and 1920x1080, for the default
// sample scene, for the same scene with its translucent objects sorted whole (no per-pixel
// order: the drawing before depth peeling) and for the opaque subject alone:
//   bare         paintGL into the widget's framebuffer, finished (glFinish);
//   render+grab  grabFramebuffer(), which renders and reads back (what a recording does);
//   grab/bare    their ratio;
//   shown        update() until the frame was composed into the window and swapped.
// Result lines: render+grab and shown against bare, the default scene's bare rate against the
// opaque subject's, and against the sorted drawing's (what the per-pixel order costs).
// Needs a display; without one it runs itself under an X server of its own (with-xvfb).
#include "CKXGLView.h"
#include "CKXSampleScene.h"
#include "CKXSceneData.h"
#include "KXBenchDisplay.h"
#include "KXBenchResult.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QImage>
#include <QOpenGLContext>
#include <QOpenGLFunctions>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>
#include <vector>

namespace
{
constexpr double kSecondsPerMeasurement = 1.5;

// Keeps the frames from being identical, so nothing can be skipped: a slow spin.
void turn(CKXGLView& view, int frame)
{
    view.setCurrentQuaternion(unitquaternion(deg2rad(0.5 * frame), Y_AXIS));
}

// Exposes paintGL, so that rendering can be timed without the window's composition.
class BenchView : public CKXGLView
{
public:
    using CKXGLView::CKXGLView;
    void renderOnce()
    {
        makeCurrent();
        paintGL();
        context()->functions()->glFinish();
        doneCurrent();
    }
};

template <class F> double framesPerSecond(F&& frame)
{
    for (int i = 0; i < 3; ++i)
        frame(i);
    QElapsedTimer t;
    t.start();
    int n = 0;
    while (t.elapsed() < kSecondsPerMeasurement * 1000.0)
        frame(n++);
    return n / (t.nsecsElapsed() * 1e-9);
}

// Rendering alone: the scene drawn into the widget's framebuffer, finished.
double bareFps(BenchView& view)
{
    return framesPerSecond(
        [&](int i)
        {
            turn(view, i);
            view.renderOnce();
        });
}

// What the user sees: update() until the frame has been composed into the window and swapped.
double shownFps(CKXGLView& view)
{
    QEventLoop loop;
    QObject::connect(&view, &QOpenGLWidget::frameSwapped, &loop, &QEventLoop::quit);
    return framesPerSecond(
        [&](int i)
        {
            turn(view, i);
            view.update();
            loop.exec();
        });
}

// What a recording does per frame: render and read the frame back (grabFramebuffer renders).
double grabFps(CKXGLView& view)
{
    qint64 checksum = 0;
    const double fps = framesPerSecond(
        [&](int i)
        {
            turn(view, i);
            const QImage img = view.grabFramebuffer();
            checksum += img.pixel(img.width() / 2, img.height() / 2);
        });
    return checksum == 42 ? fps + 1e-9 : fps; // keeps the grab from being optimised away
}
} // namespace

int main(int argc, char** argv)
{
    kxBenchEnsureDisplay(argc, argv);
    QApplication app(argc, argv);
    CKXSampleScene scene(0);
    int triangles = scene.data()->mesh()->geometry().triangleCount();
    for (const CKXSurfaceObject* o : scene.data()->organs())
        triangles += o->geometry().triangleCount();

    // The subject alone, opaque and lit: comparable with the architecture note's reference of
    // about 56k lit triangles (120 / 95 / 64 fps bare, 113 / 85 / 51 with the grab).
    CKXSampleScene subjectOnly(0);
    {
        tag_s3Dcontrols c = subjectOnly.currentControls();
        c.meshOpacity = 100;
        c.organsVisible = false;
        for (tag_s3DSourceControls& s : c.sourceControls)
            s.surfaceVisible = s.volumeVisible = false;
        subjectOnly.applyControls(c);
    }
    const int meshTriangles = subjectOnly.data()->mesh()->geometry().triangleCount();
    struct Case
    {
        const char* name;
        CKXSampleScene* scene;
        bool sorted;
    };
    const Case cases[] = {{"default scene", &scene, false},
                          {"default sorted", &scene, true},
                          {"subject only", &subjectOnly, false}};
    std::printf("3D view frames per second. Default scene: translucent body, organs, sources "
                "(%d surface triangles); subject only: opaque lit body (%d triangles).\n",
                triangles, meshTriangles);
    std::printf("%-14s %-11s %8s %12s %10s %8s %7s\n", "scene", "size", "bare", "render+grab",
                "grab/bare", "shown", "layers");
    const QSize sizes[] = {{640, 480}, {1280, 720}, {1920, 1080}};
    double bareOf[3][3] = {};
    for (int c = 0; c < 3; ++c)
        for (int z = 0; z < 3; ++z)
        {
            const Case& sc = cases[c];
            const QSize& size = sizes[z];
            BenchView view(sc.scene);
            view.setOrderIndependentTranslucency(!sc.sorted);
            view.resize(size);
            view.show();
            QElapsedTimer wait;
            wait.start();
            while (!view.isValid() && wait.elapsed() < 10000)
                app.processEvents();
            if (!view.isValid() || view.size() != size)
            {
                std::fprintf(stderr, "bench_viewer_render: no %dx%d GL view\n", size.width(),
                             size.height());
                return 1;
            }
            const double bare = bareFps(view);
            const double grab = grabFps(view);
            const double shown = shownFps(view);
            // Translucent layers peeled in the last frame (0 when sorted whole).
            std::printf("%-14s %4dx%-6d %8.1f %12.1f %10.2f %8.1f %7d\n", sc.name, size.width(),
                        size.height(), bare, grab, grab / bare, shown,
                        view.lastTranslucentLayers());
            std::fflush(stdout);
            bareOf[c][z] = bare;
            const std::string strCase = std::string(sc.name) + " " + std::to_string(size.width()) +
                                        "x" + std::to_string(size.height());
            kxBenchResult("render+grab " + strCase, grab, "fps", "bare render " + strCase, bare,
                          EKXBetter::Higher);
            kxBenchResult("render+show " + strCase, shown, "fps", "bare render " + strCase, bare,
                          EKXBetter::Higher);
        }
    for (int z = 0; z < 3; ++z)
    {
        const std::string strSize =
            std::to_string(sizes[z].width()) + "x" + std::to_string(sizes[z].height());
        kxBenchResult("bare render default scene " + strSize, bareOf[0][z], "fps",
                      "bare render subject only " + strSize, bareOf[2][z], EKXBetter::Higher);
        kxBenchResult("bare render default scene " + strSize, bareOf[0][z], "fps",
                      "bare render default sorted " + strSize, bareOf[1][z], EKXBetter::Higher);
    }
    return 0;
}
