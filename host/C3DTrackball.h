// Arc-ball rotation: turns a mouse drag across a view into a rotation.
#ifndef C3DTRACKBALL_H
#define C3DTRACKBALL_H

#include "3DMath.h"

class C3DTrackball
{
public:
    C3DTrackball();
    // The view's size in pixels; the ball's radius is half the smaller side.
    void setViewport(int nWidth, int nHeight);
    // The rotation that carries the ball point under (x0, y0) to the one under (x1, y1);
    // widget pixel coordinates, y down.
    unitquaternion dragRotation(int x0, int y0, int x1, int y1) const;

private:
    Vec3f pointOnBall(int x, int y) const;
    int m_nWidth;
    int m_nHeight;
};

#endif // C3DTRACKBALL_H
