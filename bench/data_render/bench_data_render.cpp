// Drawing the user's data: frames per second of the 3D view at 1280x720 for a generated subject
// of about a million triangles with a scalar field, for a generated 256^3 multimodality volume
// and for the sample scene, each beside the sample scene; the same as time per triangle and per
// voxel drawn; and the frame time of interaction: one trackball rotation step (a mouse move with
// the left button down), rendered and shown in the window.
//
//   bare      paintGL into the widget's framebuffer, finished (glFinish), the camera turning;
//   step      a drag step sent to the view as the mouse would, until the frame was swapped.
//
// Needs a display; without one it runs itself under an X server of its own (with-xvfb).
#include "CKXGLView.h"
#include "CKXSampleScene.h"
#include "CKXSceneData.h"
#include "CKXSceneGraph.h"
#include "KXBenchDisplay.h"
#include "KXBenchResult.h"
#include "KXSceneDescription.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QMouseEvent>
#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QTimer>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace
{
constexpr double kSecondsPerMeasurement = 1.5;
constexpr int kWidth = 1280, kHeight = 720;

// Exposes paintGL, so that rendering can be timed without the window's composition.
class CBenchView : public CKXGLView
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
    // The trackball's input, as the window system delivers it.
    void sendMouse(QEvent::Type eType, const QPoint& p)
    {
        QMouseEvent event(eType, p, Qt::LeftButton,
                          eType == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton,
                          Qt::NoModifier);
        QApplication::sendEvent(this, &event);
    }
};

// A closed, bumpy body of revolution (nu x nv quads, two triangles each) with a field that
// varies over it: what a reconstructed subject surface looks like to the renderer.
std::shared_ptr<SKXSurfaceData> generatedSubject(int nu, int nv)
{
    auto geometry = std::make_shared<CKXGeometry>();
    auto surface = std::make_shared<SKXSurfaceData>();
    geometry->positions.reserve(3 * size_t(nu) * (nv + 1));
    geometry->indices.reserve(6 * size_t(nu) * nv);
    surface->scalars.reserve(size_t(nu) * (nv + 1));
    const double pi = std::acos(-1.0);
    for (int j = 0; j <= nv; ++j)
    {
        const double v = pi * j / nv; // pole to pole
        for (int i = 0; i < nu; ++i)
        {
            const double u = 2.0 * pi * i / nu;
            const double r = 40.0 * (1.0 + 0.05 * std::sin(9.0 * u) * std::sin(7.0 * v));
            geometry->addVertex(QVector3D(r * std::sin(v) * std::cos(u),
                                          r * std::sin(v) * std::sin(u), 100.0 * std::cos(v)));
            surface->scalars.push_back(
                float(1000.0 * std::exp(-4.0 * (v - 1.2) * (v - 1.2)) * (1.0 + std::cos(u))));
        }
    }
    for (int j = 0; j < nv; ++j)
        for (int i = 0; i < nu; ++i)
        {
            const int a = j * nu + i, b = j * nu + (i + 1) % nu, c = a + nu, d = b + nu;
            geometry->addTriangle(a, c, d);
            geometry->addTriangle(a, d, b);
        }
    geometry->finish();
    surface->name = QStringLiteral("generated subject");
    surface->scalarName = QStringLiteral("intensity");
    surface->geometry = std::move(geometry);
    return surface;
}

// A 256^3 CT-like volume of 1 mm voxels: a body of soft tissue with a denser core in air.
std::shared_ptr<SKXVolumeData> generatedVolume(int n)
{
    auto volume = std::make_shared<SKXVolumeData>();
    volume->name = QStringLiteral("generated volume");
    volume->nx = volume->ny = volume->nz = n;
    volume->values.resize(volume->voxelCount());
    const double c = 0.5 * (n - 1);
    size_t k = 0;
    for (int z = 0; z < n; ++z)
        for (int y = 0; y < n; ++y)
            for (int x = 0; x < n; ++x, ++k)
            {
                const double r = std::hypot(x - c, 1.3 * (y - c)) / c;
                volume->values[k] = r > 0.9   ? -1000.0f
                                    : r > 0.3 ? float(40.0 + 20.0 * std::sin(0.2 * z))
                                              : 700.0f;
            }
    volume->minimum = -1000.0f;
    volume->maximum = 700.0f;
    volume->voxelToWorld.translate(-float(c), -float(c), -float(c));
    return volume;
}

struct SSceneFigures
{
    double dBareFps = 0;
    double dStepMs = 0;
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

// Bare rendering and the interaction step of one scene in a 1280x720 view. False when the view
// could not be made.
bool measure(CKXSampleScene& scene, SSceneFigures& figures)
{
    CBenchView view(&scene);
    view.resize(kWidth, kHeight);
    view.show();
    QElapsedTimer wait;
    wait.start();
    while (!view.isValid() && wait.elapsed() < 10000)
        QApplication::processEvents();
    if (!view.isValid() || view.size() != QSize(kWidth, kHeight))
        return false;

    figures.dBareFps = framesPerSecond(
        [&](int i)
        {
            view.setCurrentQuaternion(unitquaternion(deg2rad(0.5 * i), Y_AXIS));
            view.renderOnce();
        });

    // Drag steps of 4 pixels back and forth across the middle, each waited for until shown.
    QEventLoop loop;
    QObject::connect(&view, &QOpenGLWidget::frameSwapped, &loop, &QEventLoop::quit);
    QTimer guard; // a step that is never shown must not hang the benchmark
    guard.setSingleShot(true);
    QObject::connect(&guard, &QTimer::timeout, &loop, &QEventLoop::quit);
    const QPoint centre(kWidth / 2, kHeight / 2);
    QPoint p = centre;
    view.sendMouse(QEvent::MouseButtonPress, p);
    const double dStepsPerSecond = framesPerSecond(
        [&](int i)
        {
            p += QPoint((i / 50) % 2 ? -4 : 4, 0);
            view.sendMouse(QEvent::MouseMove, p);
            guard.start(5000);
            loop.exec();
        });
    view.sendMouse(QEvent::MouseButtonRelease, p);
    figures.dStepMs = 1000.0 / dStepsPerSecond;
    return true;
}

int sceneTriangles(const CKXSceneData& data)
{
    int n = data.mesh() ? data.mesh()->geometry().triangleCount() : 0;
    for (const CKXSurfaceObject* o : data.organs())
        n += o->geometry().triangleCount();
    for (const CKXSurfaceObject* o : data.sourceSurfaces())
        n += o->geometry().triangleCount();
    return n;
}

double sceneVoxels(const CKXSceneData& data)
{
    double d = 0;
    for (const CKXVolumeObject* v : data.sourceVolumes())
        d += v->isDense() ? double(v->dense().nx) * v->dense().ny * v->dense().nz
                          : v->visibleVoxelCount();
    if (const CKXVolumeObject* v = data.multimodalityVolume())
        d += double(v->dense().nx) * v->dense().ny * v->dense().nz;
    return d;
}

} // namespace

int main(int argc, char** argv)
{
    kxBenchEnsureDisplay(argc, argv);
    QApplication app(argc, argv);

    CKXSampleScene sample(0);
    SKXSceneDescription subjectOnly;
    subjectOnly.name = QStringLiteral("generated subject");
    subjectOnly.subject = generatedSubject(708, 706); // 999,696 triangles
    CKXSampleScene subject(subjectOnly);
    SKXSceneDescription volumeOnly;
    volumeOnly.name = QStringLiteral("generated volume");
    volumeOnly.anatomy = generatedVolume(256);
    CKXSampleScene volume(volumeOnly);
    volumeOnly.anatomy.reset(); // the scene holds its own copy

    const int nSampleTriangles = sceneTriangles(*sample.data());
    const double dSampleVoxels = sceneVoxels(*sample.data());
    const int nSubjectTriangles = sceneTriangles(*subject.data());
    const double dVolumeVoxels = sceneVoxels(*volume.data());

    struct SCase
    {
        const char* pszName;
        CKXSampleScene* pScene;
        SSceneFigures figures;
    } cases[] = {{"sample scene", &sample, {}},
                 {"1M-triangle subject", &subject, {}},
                 {"256^3 volume", &volume, {}}};
    std::printf("3D view at %dx%d. Sample scene: %d triangles, %.0f voxels; subject: %d "
                "triangles with a field; volume: %.0f voxels.\n",
                kWidth, kHeight, nSampleTriangles, dSampleVoxels, nSubjectTriangles, dVolumeVoxels);
    std::printf("%-20s %10s %16s\n", "scene", "bare fps", "drag step ms");
    for (SCase& c : cases)
    {
        if (!measure(*c.pScene, c.figures))
        {
            std::fprintf(stderr, "bench_data_render: no %dx%d GL view\n", kWidth, kHeight);
            return 1;
        }
        std::printf("%-20s %10.1f %16.2f\n", c.pszName, c.figures.dBareFps, c.figures.dStepMs);
        std::fflush(stdout);
    }

    const std::string strSize = " " + std::to_string(kWidth) + "x" + std::to_string(kHeight);
    const SSceneFigures& s = cases[0].figures;
    for (int i = 1; i < 3; ++i)
        kxBenchResult(std::string("bare render ") + cases[i].pszName + strSize,
                      cases[i].figures.dBareFps, "fps", "sample scene", s.dBareFps,
                      EKXBetter::Higher);
    // A frame's time spread over what it draws: the sample's frame spread over its triangles,
    // and over its voxels, is the reference.
    const double dSampleFrameNs = 1e9 / s.dBareFps;
    kxBenchResult("frame time per triangle, 1M-triangle subject" + strSize,
                  1e9 / cases[1].figures.dBareFps / nSubjectTriangles, "ns", "sample scene",
                  dSampleFrameNs / nSampleTriangles, EKXBetter::Lower);
    kxBenchResult("frame time per voxel, 256^3 volume" + strSize,
                  1e9 / cases[2].figures.dBareFps / dVolumeVoxels, "ns", "sample scene",
                  dSampleVoxels > 0 ? dSampleFrameNs / dSampleVoxels : 0.0, EKXBetter::Lower);
    for (int i = 1; i < 3; ++i)
        kxBenchResult(std::string("drag step ") + cases[i].pszName + strSize,
                      cases[i].figures.dStepMs, "ms", "sample scene", s.dStepMs, EKXBetter::Lower);
    return 0;
}
