// Vec3f, the constants, the scalar helpers, the output formats and the instance counters.
#include "math_test_util.h"

#include <iomanip>
#include <sstream>

namespace
{
// Taken during static initialisation of the test program, after the library's own.
const int g_vec3fCounterAtLoad = Vec3f::counter;
} // namespace

TEST(Vec3f, ArithmeticIndexingAndRangeError)
{
    Vec3f const a(1, 2, 3), b(4, -5, 6);
    EXPECT_TRUE(vecNear(a - b * 2.0 + (-a), -8, 10, -12, 0));
    EXPECT_EQ(a * b, 4 - 10 + 18);
    EXPECT_TRUE(vecNear(a / -2.0, -0.5, -1, -1.5, 0)); // |d| is tested, negatives are fine
    EXPECT_TRUE((X_AXIS ^ Y_AXIS) == Z_AXIS);
    EXPECT_TRUE(vecNear(a ^ b, 27, 6, -13, 0));
    EXPECT_FALSE(Vec3f(1, 2, 3) == Vec3f(1, 2, 3 + 1e-15));
    EXPECT_TRUE(vecNear(Vec3f::LERP(a, b, 0.25f), 1.75, 0.25, 3.75, 0));

    Vec3f v(7, 8, 9);
    v[1] = 42;
    EXPECT_TRUE(vecNear(v, 7, 42, 9, 0));
    for (int bad : {3, -1})
        try
        {
            v[bad] = 0;
            ADD_FAILURE() << "index " << bad << " accepted";
        }
        catch (std::range_error const& e)
        {
            EXPECT_STREQ(e.what(), "Vec3f index out of range.");
        }
}

TEST(Vec3f, NormalizeEpsilonCorrectAndBisectFallbacks)
{
    Vec3f v(3, 4, 0), zero;
    EXPECT_EQ(v.normalize(), 5.0);
    EXPECT_TRUE(vecNear(v, 0.6, 0.8, 0));
    EXPECT_EQ(zero.normalize(), 1e-12); // the tolerance, not 0
    EXPECT_TRUE(vecNear(zero, 0, 0, 0, 0));
    EXPECT_TRUE(vecNear(Vec3f(1e-13, 0, 0).normalized(), 0, 0, 0, 0));

    Vec3f small(1e-13, 0, -1e-13), notSmall(0, 0, -1e-11);
    small.epsilonCorrect(X_AXIS);
    notSmall.epsilonCorrect(X_AXIS);
    EXPECT_TRUE(small == X_AXIS);
    EXPECT_TRUE(vecNear(notSmall, 0, 0, -1e-11, 0));

    EXPECT_TRUE(Bisect(Vec3f(1, 0, 0), Vec3f(-1, 0, 0)) == Z_AXIS);
    EXPECT_TRUE(vecNear(Bisect(X_AXIS, Y_AXIS), std::sqrt(0.5), std::sqrt(0.5), 0));
    // |a + b| = 1e-3 is not small, but its square (1e-6) is below the 1e-5 threshold.
    EXPECT_TRUE(Bisect(Vec3f(1, 0, 0), Vec3f(-1, 1e-3, 0)) == Z_AXIS);
}

TEST(Vec3f, TruncatedPiConstantsAndAngles)
{
    EXPECT_EQ(DOUBLE_PI, 6.28318530718);
    EXPECT_EQ(HALF_PI, 1.570796326795);
    EXPECT_EQ(deg2rad(2.0), 0.03490658503988);
    EXPECT_EQ(rad2deg(2.0), 114.59155902616);
    double const right = X_AXIS.angle(Y_AXIS);
    EXPECT_NEAR(right, 90.0, 1e-9);
    EXPECT_LT(right, 90.0); // 3.14159265359 is slightly above pi
    EXPECT_NEAR(Vec3f(1, 1, 0).angle(Vec3f(-2, 0, 0)), 135.0, 1e-9);
    EXPECT_EQ(simpleabs(-2.5), 2.5);
    EXPECT_FALSE(std::signbit(simpleabs(-0.0)));
}

TEST(Output, VectorQuaternionAndMatrixFormats)
{
    double rows[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0.5, -2, 0, 1};
    std::ostringstream os;
    os << X_AXIS << '|' << unitquaternion() << '|' << matrix(rows, matrix::ROW_MAJOR) << std::fixed
       << std::setprecision(2) << Vec3f(0.5, -1, 2);
    EXPECT_EQ(os.str(), "[ 1 ; 0 ; 0 ]|< 1 , [ 0 ; 0 ; 0 ] >|[ 1 0 0 0 ]\n[ 0 1 0 0 ]\n"
                        "[ 0 0 1 0 ]\n[ 0.5 -2 0 1 ]\n[ 0.50 ; -1.00 ; 2.00 ]");
}

TEST(Counters, CountLiveInstancesIncludingConstants)
{
    EXPECT_EQ(g_vec3fCounterAtLoad, 4);
    EXPECT_TRUE(ORIGIN == Vec3f(0, 0, 0) && Y_AXIS == Vec3f(0, 1, 0));
    int const v0 = Vec3f::counter, q0 = quaternion::counter, m0 = matrix::counter;
    EXPECT_TRUE(v0 == 4 && q0 == 0 && m0 == 0);
    {
        Vec3f a, b(1, 2, 3), c(b);
        a = c; // assignment creates nothing
        unitquaternion u;
        quaternion q(1.0, b);
        matrix m, n(2.0), o(n);
        m = o;
        EXPECT_EQ(Vec3f::counter, v0 + 5); // each quaternion holds a Vec3f
        EXPECT_EQ(quaternion::counter, q0 + 2);
        EXPECT_EQ(matrix::counter, m0 + 3);

        // Temporaries made inside the operations must all be destroyed again.
        unitquaternion scratch;
        Vec3f f, s, corners[8];
        scratch.slerp(u, unitquaternion(q), 0.5f, true).getVectorsOnSphere(f, s);
        (void)((u.getRotMatrix().inverse() * m) * f);
        pointInside3DVolumeBoundingBox(b, corners);
        EXPECT_EQ(Vec3f::counter, v0 + 5 + 1 + 10);
        EXPECT_EQ(quaternion::counter, q0 + 3);
        EXPECT_EQ(matrix::counter, m0 + 3);
    }
    EXPECT_TRUE(Vec3f::counter == v0 && quaternion::counter == q0 && matrix::counter == m0);
}
