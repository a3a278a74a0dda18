#include "C3DTrackball.h"

#include <algorithm>
#include <cmath>

C3DTrackball::C3DTrackball() : m_nWidth(1), m_nHeight(1)
{
}

void C3DTrackball::setViewport(int nWidth, int nHeight)
{
    m_nWidth = std::max(1, nWidth);
    m_nHeight = std::max(1, nHeight);
}

// Widget pixel -> point on the unit ball (view space: x right, y up, z towards the viewer).
// Outside the ball the point continues on a hyperbolic sheet, so that drags near and beyond the
// rim still rotate smoothly (mostly about the view axis there).
Vec3f C3DTrackball::pointOnBall(int x, int y) const
{
    const double radius = 0.5 * std::min(m_nWidth, m_nHeight);
    const double px = (x - 0.5 * m_nWidth) / radius;
    const double py = (0.5 * m_nHeight - y) / radius;
    const double d2 = px * px + py * py;
    const double pz = d2 <= 0.5 ? std::sqrt(1.0 - d2) : 0.5 / std::sqrt(d2);
    Vec3f p(px, py, pz);
    p.normalize();
    return p;
}

unitquaternion C3DTrackball::dragRotation(int x0, int y0, int x1, int y1) const
{
    if (x0 == x1 && y0 == y1)
        return unitquaternion();
    const Vec3f a = pointOnBall(x0, y0);
    const Vec3f b = pointOnBall(x1, y1);
    const Vec3f axis = (a ^ b);
    const double s = axis.length();
    if (s < 1e-9)
        return unitquaternion();
    const double angle = std::atan2(s, a * b);
    return unitquaternion(angle, axis);
}
