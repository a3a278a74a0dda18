// The 3D view of a child window: camera and display modes.
//
// View space: +x right, +y up, the camera looks down -z. The scene is rotated by the view's unit
// quaternion and then translated; one translation unit is one pixel at the focal plane.
#ifndef C3DVIEW_H
#define C3DVIEW_H

#include "3DMath.h"
#include "C3DScene.h"

#include <QString>

class C3DView : public C3DScene
{
public:
    explicit C3DView(QWidget* parent = nullptr) : C3DScene(parent) {}
    ~C3DView() override = default;

    virtual unitquaternion getCurrentQuaternion() const = 0;
    virtual void setCurrentQuaternion(unitquaternion rotation) = 0;
    virtual Vec3f getTranslationVector() const = 0;
    virtual void setTranslationVector(Vec3f translation) = 0;

    // Switches render mode nMode on for every object of the class strObjectClass
    // (PLConstants::_3DMESH or _3DORGANS): 0 vertices, 1 wireframe, 2 solid, 3 wire + solid.
    virtual void setRenderMode(int nMode, const QString& strObjectClass) = 0;
    // Shading: 0 box, 1 smooth solid, 2 lit, 3 solid lit.
    virtual void setShadingMode(int nMode, const QString& strObjectClass) = 0;

    // The view's own camera animation (a fly-to in progress).
    virtual bool isAnimationEnabled() const = 0;
    virtual void stopAnimation() = 0;
    // A key frame animation is playing / being recorded in this view.
    virtual void setKFAnimating(bool bAnimating) = 0;
    virtual void setKFRecording(bool bRecording) = 0;
    // Remembers the current camera rotation as the view's saved state.
    virtual void saveRotationState() = 0;
};

#endif // C3DVIEW_H
