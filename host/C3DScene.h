// The OpenGL widget that renders a child window's 3D scene.
#ifndef C3DSCENE_H
#define C3DSCENE_H

#include <QOpenGLWidget>

class C3DScene : public QOpenGLWidget
{
public:
    explicit C3DScene(QWidget* parent = nullptr) : QOpenGLWidget(parent) {}
    ~C3DScene() override = default;

    // Automatic rotation (a continuous spin the user can switch on).
    virtual bool isAutoRotating() const = 0;
    virtual void stopAutoRotation() = 0;
    // Marks the slices of every object in slice view nSliceView (3 = all views) for redrawing.
    virtual void setAllObjectSlicesDirty(int nSliceView, bool bDirty) = 0;
    virtual void refreshSliceViews() = 0;
};

#endif // C3DSCENE_H
