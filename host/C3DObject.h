// A displayable object of the 3D scene.
#ifndef C3DOBJECT_H
#define C3DOBJECT_H

#include "C3DSGNode.h"

class C3DObject : public C3DSGNode
{
public:
    virtual void show(bool bShow) = 0;
    virtual bool isDisplayed() const = 0;
    // Opacity 0..1.
    virtual void setOpacity(float fOpacity) = 0;
    // Colour of the object's faces, each component 0..1.
    virtual void setFaceSetColor(float fRed, float fGreen, float fBlue) = 0;
    // 0 vertices, 1 wireframe, 2 solid, 3 wire + solid.
    virtual void setDrawMode(int nMode) = 0;
    // 0 box, 1 smooth solid, 2 lit, 3 solid lit.
    virtual void setShadeMode(int nMode) = 0;
};

#endif // C3DOBJECT_H
