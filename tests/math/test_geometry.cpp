// Geometric queries: intersections, projections, plane equation, polygon and box tests.
#include "math_test_util.h"

TEST(Geometry, LinePlaneIntersectionAndProjections)
{
    Vec3f line[2] = {Vec3f(1, 2, 3), Vec3f(1, 2, 5)};
    Vec3f plane[3] = {Vec3f(0, 0, -1), Vec3f(1, 0, -1), Vec3f(0, 1, -1)}; // z = -1
    Vec3f result;
    linePlaneIntersection(line, plane, &result);
    EXPECT_TRUE(vecNear(result, 1, 2, -1, 0)); // beyond the segment: the line is infinite
    linePlaneIntersection(line, Vec3f(0, 0, 4), Vec3f(0, 0, -3), &result);
    EXPECT_TRUE(vecNear(result, 1, 2, 4, 0));
    // Only an exactly parallel line is refused; a nearly parallel one meets far away.
    Vec3f shallow[2] = {Vec3f(0, 0, 0), Vec3f(1, 0, 1e-9)}, parallel[2] = {ORIGIN, Y_AXIS};
    linePlaneIntersection(shallow, plane, &result);
    EXPECT_TRUE(vecNear(result, -1e9, 0, -1, 1e-6));
    result.set(9, 9, 9);
    linePlaneIntersection(parallel, plane, &result);
    linePlaneIntersection(parallel, Vec3f(0, 0, 4), Z_AXIS, &result);
    EXPECT_TRUE(vecNear(result, 9, 9, 9, 0));

    projectPointOnPlane(Vec3f(3, -4, 7), plane, &result);
    EXPECT_TRUE(vecNear(result, 3, -4, -1));
    projectPointOnPlane(Vec3f(1, 1, 1), ORIGIN, Vec3f(1, 1, 0), &result);
    EXPECT_TRUE(vecNear(result, 0, 0, 1));
    Vec3f collinear[3] = {X_AXIS, X_AXIS * 2.0, X_AXIS * 3.0}; // zero normal
    projectPointOnPlane(Vec3f(1, 2, 3), collinear, &result);
    EXPECT_TRUE(vecNear(result, 0, 0, 1, 0));
    projectPointOnLine(Vec3f(1, 0, 7), ORIGIN, Vec3f(2, 2, 0), &result);
    EXPECT_TRUE(vecNear(result, 0.5, 0.5, 0));
}

TEST(Geometry, PlaneEquationDistanceAndClosestPoint)
{
    double a = 9, b = 9, c = 9, d = 9;
    obtainEquationVariablesForPlane(ORIGIN, X_AXIS, Y_AXIS, a, b, c, d);
    EXPECT_TRUE(a == 0 && b == 0 && c == 1 && d == 0);
    obtainEquationVariablesForPlane(X_AXIS, Y_AXIS, Z_AXIS, a, b, c, d); // x + y + z = 1
    EXPECT_TRUE(a == 1 && b == 1 && c == 1 && d == -1);
    EXPECT_EQ(lineDistance(ORIGIN, Vec3f(3, 4, 0)), 5);

    Vec3f result;
    // The x axis and the vertical line through (0, 1, *) are nearest at the origin.
    EXPECT_TRUE(
        lineLineIntersect3D(Vec3f(2, 0, 0), X_AXIS * 3.0, Vec3f(0, 1, 1), Vec3f(0, 1, 2), &result));
    EXPECT_TRUE(vecNear(result, 0, 0, 0));
    EXPECT_TRUE(
        lineLineIntersect3D(ORIGIN, Vec3f(1, 1, 0), Vec3f(4, 0, 3), Vec3f(4, 1, 3), &result));
    EXPECT_TRUE(vecNear(result, 4, 4, 0));

    result.set(9, 9, 9);
    // First line degenerate (the long second line keeps the denominator large), second
    // line degenerate, parallel lines.
    EXPECT_FALSE(lineLineIntersect3D(Vec3f(1, 1, 1), Vec3f(1 + 5e-6, 1, 1 - 5e-6), ORIGIN,
                                     Vec3f(0, 1e6, 0), &result));
    EXPECT_FALSE(lineLineIntersect3D(ORIGIN, Z_AXIS, Vec3f(2, 2, 2), Vec3f(2, 2, 2), &result));
    EXPECT_FALSE(lineLineIntersect3D(ORIGIN, X_AXIS, Y_AXIS, Vec3f(-3, 1, 0), &result));
    EXPECT_TRUE(vecNear(result, 9, 9, 9, 0));
}

TEST(Geometry, PointInsidePolygonAndBox)
{
    Vec3f square[4] = {Vec3f(0, 0, 0), Vec3f(1, 0, 0), Vec3f(1, 1, 0), Vec3f(0, 1, 0)};
    EXPECT_TRUE(pointInsidePlane(Vec3f(0.9, 0.2, 0), square, 4));
    EXPECT_TRUE(pointInsidePlane(Vec3f(1, 1, 0), square, 4));   // a vertex
    EXPECT_TRUE(pointInsidePlane(Vec3f(0.5, 0, 0), square, 4)); // an edge
    EXPECT_FALSE(pointInsidePlane(Vec3f(1.5, 0.5, 0), square, 4));
    EXPECT_FALSE(pointInsidePlane(ORIGIN, square, 0));

    Vec3f cube[8] = {Vec3f(0, 0, 0), Vec3f(1, 0, 0), Vec3f(1, 1, 0), Vec3f(0, 1, 0),
                     Vec3f(0, 0, 1), Vec3f(1, 0, 1), Vec3f(1, 1, 1), Vec3f(0, 1, 1)};
    EXPECT_TRUE(pointInside3DVolumeBoundingBox(Vec3f(0.5, 0.5, 0.5), cube));
    EXPECT_TRUE(pointInside3DVolumeBoundingBox(Vec3f(0.5, 0.5, 1), cube)); // on a face
    EXPECT_FALSE(pointInside3DVolumeBoundingBox(Vec3f(2, 0.5, 0.5), cube));
    EXPECT_FALSE(pointInside3DVolumeBoundingBox(Vec3f(0.5, -0.1, 0.5), cube));
    EXPECT_FALSE(pointInside3DVolumeBoundingBox(Vec3f(0.5, 0.5, 1.2), cube));
    // Sheared along z: here only the third face (corners 0, 3, 7, 4) rejects the point.
    Vec3f sheared[8] = {Vec3f(0, 0, 0), Vec3f(1, 0, 0), Vec3f(1, 1, 1), Vec3f(0, 1, 1),
                        Vec3f(0, 0, 1), Vec3f(1, 0, 1), Vec3f(1, 1, 2), Vec3f(0, 1, 2)};
    EXPECT_TRUE(pointInside3DVolumeBoundingBox(Vec3f(0.5, 0.5, 0.9), sheared));
    EXPECT_FALSE(pointInside3DVolumeBoundingBox(Vec3f(0.5, -0.3, 0.5), sheared));
}
