// Renders the sample scene into a PNG, for looking at the picture and for the documentation.
//   scene_snapshot OUT.png [--size WxH] [--variant N] [--rotate DEG,AX,AY,AZ]
//                  [--translate X,Y,Z] [--set KEY=VALUE ...]
// Keys for --set: meshOpacity, meshDraw, meshShade, pdVisible, pdLog, pdReverse, organs,
// organOpacity, glvolume, mip, threshold, voxelType, sources (0 hides them all), sorted (1:
// translucent objects sorted whole, without the per-pixel order). Runs under
// scripts/with-xvfb.
// docs/translucency-before.png and -after.png: --size 440x300 --rotate 180,0,1,0
// --translate 50,-10,250 --set meshOpacity=84, before with --set sorted=1 as well (the
// drawing while the mouse moves the camera), after without (the drawing of Play and Record).
#include "C3DVolume.h"
#include "CKXGLView.h"
#include "CKXSampleScene.h"
#include "PLConstants.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QImage>
#include <QStringList>

#include <cstdio>

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() < 2)
    {
        std::fprintf(stderr, "usage: scene_snapshot OUT.png [options]\n");
        return 2;
    }
    int w = 800, h = 600, variant = 0;
    QStringList sets;
    unitquaternion rotation;
    Vec3f translation;
    for (int i = 2; i + 1 < args.size(); i += 2)
    {
        const QString key = args[i], value = args[i + 1];
        if (key == "--size")
        {
            w = value.section('x', 0, 0).toInt();
            h = value.section('x', 1, 1).toInt();
        }
        else if (key == "--variant")
            variant = value.toInt();
        else if (key == "--set")
            sets << value;
        else if (key == "--rotate")
        {
            const QStringList v = value.split(',');
            rotation = unitquaternion(
                deg2rad(v.value(0).toDouble()),
                Vec3f(v.value(1).toDouble(), v.value(2).toDouble(), v.value(3).toDouble()));
        }
        else if (key == "--translate")
        {
            const QStringList v = value.split(',');
            translation =
                Vec3f(v.value(0).toDouble(), v.value(1).toDouble(), v.value(2).toDouble());
        }
    }
    CKXSampleScene scene(variant);
    tag_s3Dcontrols c = scene.currentControls();
    for (const QString& s : sets)
    {
        const QString key = s.section('=', 0, 0);
        const double v = s.section('=', 1).toDouble();
        if (key == "meshOpacity")
            c.meshOpacity = int(v);
        else if (key == "pdVisible")
            c.pdMap.visible() = v != 0;
        else if (key == "pdLog")
            c.pdMap.logScale() = v != 0;
        else if (key == "pdReverse")
            c.pdMap.reverse() = v != 0;
        else if (key == "organs")
            c.organsVisible = v != 0;
        else if (key == "organOpacity")
            c.organOpacity = int(v);
        else if (key == "mip")
            for (auto& sc : c.sourceControls)
                sc.volumeMip = v != 0;
        else if (key == "threshold")
            for (auto& sc : c.sourceControls)
                sc.intensityValue = v;
        else if (key == "voxelType")
            for (auto& sc : c.sourceControls)
                sc.voxelType = int(v);
        else if (key == "sources" && v == 0)
            for (auto& sc : c.sourceControls)
                sc.surfaceVisible = sc.volumeVisible = false;
    }
    scene.applyControls(c);
    for (const QString& s : sets)
    {
        const QString key = s.section('=', 0, 0);
        const int v = s.section('=', 1).toInt();
        if (key == "meshDraw")
            scene.setRenderMode(v, PLConstants::_3DMESH);
        else if (key == "meshShade")
            scene.setShadingMode(v, PLConstants::_3DMESH);
        else if (key == "glvolume")
            scene.getNode("GLVolume")->show(v != 0);
    }
    CKXGLView view(&scene);
    for (const QString& s : sets)
        if (s == "sorted=1")
            view.setOrderIndependentTranslucency(false);
    view.resize(w, h);
    view.show();
    view.setCurrentQuaternion(rotation);
    view.setTranslationVector(translation);
    QElapsedTimer t;
    t.start();
    while (!view.isValid() && t.elapsed() < 5000)
        app.processEvents();
    const QImage image = view.grabFramebuffer();
    if (image.isNull() || !image.save(args[1]))
    {
        std::fprintf(stderr, "scene_snapshot: could not render or save %s\n", qPrintable(args[1]));
        return 1;
    }
    return 0;
}
