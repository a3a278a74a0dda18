// Shared checks for the 3DMath tests.
#ifndef KX_MATH_TEST_UTIL_H
#define KX_MATH_TEST_UTIL_H

#include "3DMath.h"

#include <gtest/gtest.h>

// Component-wise comparison within `tol` (0 means exact).
inline testing::AssertionResult vecNear(Vec3f const& v, double x, double y, double z,
                                        double tol = 1e-12)
{
    if (std::fabs(v.x() - x) <= tol && std::fabs(v.y() - y) <= tol && std::fabs(v.z() - z) <= tol)
        return testing::AssertionSuccess();
    return testing::AssertionFailure()
           << "got " << v << ", expected [ " << x << " ; " << y << " ; " << z << " ]";
}

inline testing::AssertionResult quatNear(quaternion const& q, quaternion const& expected,
                                         double tol = 1e-12)
{
    if (std::fabs(q.w() - expected.w()) <= tol &&
        vecNear(q.vec, expected.x(), expected.y(), expected.z(), tol))
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << "got " << q << ", expected " << expected;
}

#endif // KX_MATH_TEST_UTIL_H
