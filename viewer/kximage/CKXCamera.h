// Where the 3D view's camera is, as its renderer draws with it; private to kximage.
#ifndef CKXCAMERA_H
#define CKXCAMERA_H

#include <QMatrix4x4>

// View = the scene's rotation and translation in view units (pixels at the focal plane), the
// focal plane `focal` units in front of the eye.
struct CKXCamera
{
    QMatrix4x4 view;       // subject frame -> eye space
    QMatrix4x4 projection; // eye space -> clip space
    float unitsPerMm = 1;  // view units per millimetre of the subject
    int pixelWidth = 1;    // framebuffer size
    int pixelHeight = 1;
};

#endif // CKXCAMERA_H
