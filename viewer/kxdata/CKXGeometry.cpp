#include "CKXGeometry.h"

#include <algorithm>
#include <cmath>

int CKXGeometry::addVertex(const QVector3D& p)
{
    positions.push_back(p.x());
    positions.push_back(p.y());
    positions.push_back(p.z());
    return vertexCount() - 1;
}

void CKXGeometry::addTriangle(int a, int b, int c)
{
    indices.push_back(static_cast<unsigned>(a));
    indices.push_back(static_cast<unsigned>(b));
    indices.push_back(static_cast<unsigned>(c));
}

void CKXGeometry::append(const CKXGeometry& other)
{
    const unsigned base = static_cast<unsigned>(vertexCount());
    positions.insert(positions.end(), other.positions.begin(), other.positions.end());
    normals.insert(normals.end(), other.normals.begin(), other.normals.end());
    for (unsigned i : other.indices)
        indices.push_back(base + i);
}

void CKXGeometry::orientOutward()
{
    double volume = 0.0;
    for (size_t t = 0; t + 2 < indices.size(); t += 3)
    {
        const QVector3D a = vertex(static_cast<int>(indices[t]));
        const QVector3D b = vertex(static_cast<int>(indices[t + 1]));
        const QVector3D c = vertex(static_cast<int>(indices[t + 2]));
        volume += QVector3D::dotProduct(a, QVector3D::crossProduct(b, c));
    }
    if (volume < 0.0)
        for (size_t t = 0; t + 2 < indices.size(); t += 3)
            std::swap(indices[t + 1], indices[t + 2]);
}

void CKXGeometry::finish()
{
    // Plain arithmetic on the arrays: this runs over every triangle of a loaded surface, millions
    // of them, and is a good part of what a load costs beyond reading the file.
    const size_t n = positions.size() / 3;
    normals.assign(3 * n, 0.0f);
    const float* p = positions.data();
    float* pNormal = normals.data();
    for (size_t t = 0; t + 2 < indices.size(); t += 3)
    {
        const size_t a = 3 * size_t(indices[t]), b = 3 * size_t(indices[t + 1]),
                     c = 3 * size_t(indices[t + 2]);
        const float u[3] = {p[b] - p[a], p[b + 1] - p[a + 1], p[b + 2] - p[a + 2]};
        const float v[3] = {p[c] - p[a], p[c + 1] - p[a + 1], p[c + 2] - p[a + 2]};
        // The cross product's length is twice the area: larger triangles weigh more.
        const float fn[3] = {u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2],
                             u[0] * v[1] - u[1] * v[0]};
        for (const size_t k : {a, b, c})
        {
            pNormal[k] += fn[0];
            pNormal[k + 1] += fn[1];
            pNormal[k + 2] += fn[2];
        }
    }
    finishFromNormalSums();
}

void CKXGeometry::finishFromNormalSums()
{
    const size_t n = positions.size() / 3;
    const float* p = positions.data();
    float* pNormal = normals.data();
    for (size_t k = 0; k < 3 * n; k += 3)
    {
        const double x = pNormal[k], y = pNormal[k + 1], z = pNormal[k + 2];
        const double len = std::sqrt(x * x + y * y + z * z);
        if (len > 0.0 && std::isfinite(len))
        {
            pNormal[k] = static_cast<float>(x / len);
            pNormal[k + 1] = static_cast<float>(y / len);
            pNormal[k + 2] = static_cast<float>(z / len);
        }
        else
        {
            pNormal[k] = pNormal[k + 1] = 0.0f;
            pNormal[k + 2] = 1.0f;
        }
    }
    if (n == 0)
    {
        boxMin = boxMax = QVector3D();
        return;
    }
    float lo[3] = {p[0], p[1], p[2]}, hi[3] = {p[0], p[1], p[2]};
    for (size_t k = 3; k < 3 * n; k += 3)
        for (int c = 0; c < 3; ++c)
        {
            lo[c] = std::min(lo[c], p[k + c]);
            hi[c] = std::max(hi[c], p[k + c]);
        }
    boxMin = QVector3D(lo[0], lo[1], lo[2]);
    boxMax = QVector3D(hi[0], hi[1], hi[2]);
}
