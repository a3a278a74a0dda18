// Fixed shapes of the 3D view's renderer as non-indexed triangle lists, six floats per vertex:
// position, then the outward unit normal.
#ifndef KXGLSHAPES_H
#define KXGLSHAPES_H

#include <vector>

namespace KXGLShapes
{
// The unit cube centred on the origin: 36 vertices, counter-clockwise seen from outside, face
// by face in the order +z, -z, +x, -x, +y, -y, each face as corners (c0 c1 c2 c0 c2 c3).
std::vector<float> cubeVertices();
// A sphere of diameter 1 around the origin, lat x lon quads (triangles at the poles).
std::vector<float> sphereVertices(int lat, int lon);
} // namespace KXGLShapes

#endif // KXGLSHAPES_H
