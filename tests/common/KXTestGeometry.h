// Small closed surfaces for tests that build scenes from hand-made descriptions.
#ifndef KXTESTGEOMETRY_H
#define KXTESTGEOMETRY_H

#include "CKXGeometry.h"

#include <memory>

// A tetrahedron around c, its corners r mm from c along each axis, wound outwards.
inline std::shared_ptr<const CKXGeometry> kxTetrahedron(const QVector3D& c, float r)
{
    auto g = std::make_shared<CKXGeometry>();
    g->addVertex(c + QVector3D(r, r, r));
    g->addVertex(c + QVector3D(r, -r, -r));
    g->addVertex(c + QVector3D(-r, r, -r));
    g->addVertex(c + QVector3D(-r, -r, r));
    g->addTriangle(0, 1, 2);
    g->addTriangle(0, 3, 1);
    g->addTriangle(0, 2, 3);
    g->addTriangle(1, 3, 2);
    g->orientOutward();
    g->finish();
    return g;
}

#endif // KXTESTGEOMETRY_H
