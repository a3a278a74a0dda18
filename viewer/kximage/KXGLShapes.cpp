#include "KXGLShapes.h"

#include <QVector3D>

#include <cmath>

// 36 vertices of a unit cube centred on the origin: position, normal.
std::vector<float> KXGLShapes::cubeVertices()
{
    std::vector<float> v;
    const int faces[6][3] = {{0, 0, 1}, {0, 0, -1}, {1, 0, 0}, {-1, 0, 0}, {0, 1, 0}, {0, -1, 0}};
    for (const auto& f : faces)
    {
        const QVector3D n(f[0], f[1], f[2]);
        // Two axes spanning the face, oriented so that the triangles wind counter-clockwise
        // seen from outside.
        QVector3D u = std::abs(n.x()) > 0 ? QVector3D(0, 1, 0) : QVector3D(1, 0, 0);
        QVector3D w = QVector3D::crossProduct(n, u);
        const QVector3D c[4] = {0.5f * (n - u - w), 0.5f * (n + u - w), 0.5f * (n + u + w),
                                0.5f * (n - u + w)};
        // (u, w, n) is right-handed: u x w = n would wind counter-clockwise about n.
        const bool ccw = QVector3D::dotProduct(QVector3D::crossProduct(u, w), n) > 0;
        const int order[6] = {0, 1, 2, 0, 2, 3};
        for (int k = 0; k < 6; ++k)
        {
            const QVector3D& p = c[ccw ? order[k] : order[5 - k]];
            v.insert(v.end(), {p.x(), p.y(), p.z(), n.x(), n.y(), n.z()});
        }
    }
    return v;
}

// A coarse sphere of diameter 1, non-indexed: position, normal.
std::vector<float> KXGLShapes::sphereVertices(int lat, int lon)
{
    const double pi = 3.14159265358979323846;
    auto point = [&](int i, int j)
    {
        const double th = pi * i / lat, ph = 2.0 * pi * j / lon;
        return QVector3D(float(std::sin(th) * std::cos(ph)), float(std::sin(th) * std::sin(ph)),
                         float(std::cos(th)));
    };
    std::vector<float> v;
    auto put = [&v](const QVector3D& n) {
        v.insert(v.end(), {0.5f * n.x(), 0.5f * n.y(), 0.5f * n.z(), n.x(), n.y(), n.z()});
    };
    for (int i = 0; i < lat; ++i)
        for (int j = 0; j < lon; ++j)
        {
            const QVector3D a = point(i, j), b = point(i + 1, j), c = point(i + 1, j + 1),
                            d = point(i, j + 1);
            if (i > 0)
            {
                put(a);
                put(b);
                put(d);
            }
            if (i + 1 < lat)
            {
                put(d);
                put(b);
                put(c);
            }
        }
    return v;
}
