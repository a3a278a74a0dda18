// Indexed triangle geometry, the currency of every surface in the viewer: the sample subject's
// meshes, surfaces read from files and the light sources' surfaces.
#ifndef CKXGEOMETRY_H
#define CKXGEOMETRY_H

#include <QVector3D>

#include <vector>

// Indexed triangles with per-vertex normals, in millimetres of the frame the owner names (the
// world frame for a scene description, the anatomical frame for the sample subject).
struct CKXGeometry
{
    std::vector<float> positions;  // x, y, z per vertex
    std::vector<float> normals;    // unit normal per vertex
    std::vector<unsigned> indices; // three per triangle
    QVector3D boxMin;
    QVector3D boxMax;

    int vertexCount() const { return static_cast<int>(positions.size() / 3); }
    int triangleCount() const { return static_cast<int>(indices.size() / 3); }
    QVector3D vertex(int i) const
    {
        return QVector3D(positions[3 * i], positions[3 * i + 1], positions[3 * i + 2]);
    }
    QVector3D centre() const { return 0.5f * (boxMin + boxMax); }
    float radius() const { return 0.5f * (boxMax - boxMin).length(); }

    int addVertex(const QVector3D& p);
    void addTriangle(int a, int b, int c);
    void append(const CKXGeometry& other);
    // Reverses every triangle when the enclosed signed volume is negative, so that a closed
    // surface winds counter-clockwise seen from outside (back-face culling relies on it).
    void orientOutward();
    // Area-weighted vertex normals from the triangles, then the bounding box.
    void finish();
    // The last steps of finish(), for a producer that summed the triangles' area-weighted
    // normals (cross products) into `normals` itself: each sum made a unit vector (+z for a
    // zero or non-finite sum), then the bounding box.
    void finishFromNormalSums();
};

#endif // CKXGEOMETRY_H
