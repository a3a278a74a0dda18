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
    const int n = vertexCount();
    std::vector<double> acc(3 * static_cast<size_t>(n), 0.0);
    for (size_t t = 0; t + 2 < indices.size(); t += 3)
    {
        const QVector3D a = vertex(static_cast<int>(indices[t]));
        const QVector3D b = vertex(static_cast<int>(indices[t + 1]));
        const QVector3D c = vertex(static_cast<int>(indices[t + 2]));
        const QVector3D fn = QVector3D::crossProduct(b - a, c - a); // length = 2 x area
        for (int k = 0; k < 3; ++k)
        {
            const size_t v = indices[t + k];
            acc[3 * v] += fn.x();
            acc[3 * v + 1] += fn.y();
            acc[3 * v + 2] += fn.z();
        }
    }
    normals.assign(3 * static_cast<size_t>(n), 0.0f);
    for (int v = 0; v < n; ++v)
    {
        const double x = acc[3 * v], y = acc[3 * v + 1], z = acc[3 * v + 2];
        const double len = std::sqrt(x * x + y * y + z * z);
        if (len > 0.0)
        {
            normals[3 * v] = static_cast<float>(x / len);
            normals[3 * v + 1] = static_cast<float>(y / len);
            normals[3 * v + 2] = static_cast<float>(z / len);
        }
        else
            normals[3 * v + 2] = 1.0f;
    }
    if (n == 0)
    {
        boxMin = boxMax = QVector3D();
        return;
    }
    boxMin = boxMax = vertex(0);
    for (int v = 1; v < n; ++v)
    {
        const QVector3D p = vertex(v);
        boxMin = QVector3D(std::min(boxMin.x(), p.x()), std::min(boxMin.y(), p.y()),
                           std::min(boxMin.z(), p.z()));
        boxMax = QVector3D(std::max(boxMax.x(), p.x()), std::max(boxMax.y(), p.y()),
                           std::max(boxMax.z(), p.z()));
    }
}
