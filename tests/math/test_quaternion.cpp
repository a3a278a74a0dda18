// quaternion and unitquaternion: products, inverses, rotation matrices and slerp.
#include "math_test_util.h"

namespace
{
unitquaternion rotZ(double angle)
{
    return unitquaternion(angle, Z_AXIS);
}

// slerp's weights as single-precision arithmetic gives them, before any sign flip. The
// inputs pass through volatile so that the compiler cannot fold them at higher precision.
void floatWeights(double dot, float t, double& w0, double& w1)
{
    volatile float vd = static_cast<float>(std::fabs(dot)), vt = t;
    float const theta = std::acos(static_cast<float>(vd)), s = std::sin(theta);
    w0 = std::sin(theta * (1.0f - vt)) / s;
    w1 = std::sin(theta * vt) / s;
}
} // namespace

TEST(Quaternion, HamiltonProductAndDivision)
{
    quaternion const i(0, 1, 0, 0), j(0, 0, 1, 0);
    EXPECT_TRUE(quatNear(i * j, quaternion(0, 0, 0, 1), 0));
    EXPECT_TRUE(quatNear(j * i, quaternion(0, 0, 0, -1), 0));
    EXPECT_TRUE(quatNear(quaternion(1, 2, 3, 4) * quaternion(5, 6, 7, 8), {-60, 12, 30, 24}, 0));
    quaternion p(1, 2, 3, 4);
    p *= p; // in place, reading its own old values
    EXPECT_TRUE(quatNear(p, {-28, 4, 6, 8}, 0));

    // Dividing by a number multiplies the inverse by it: (1; 1, 0, 0) has the inverse
    // (0.5; -0.5, 0, 0), so "divided by 2" gives (1; -1, 0, 0).
    EXPECT_TRUE(quatNear(quaternion(2, 0, 0, 0) / 4.0, {2, 0, 0, 0}, 0));
    EXPECT_TRUE(quatNear(quaternion(1, 1, 0, 0) / 2.0, {1, -1, 0, 0}, 0));
    quaternion const a(1, 2, 3, 4), b(0.5, -1, 2, 0.25);
    EXPECT_TRUE(quatNear((a / b) * b, a));
    quaternion r(a);
    r /= b;
    EXPECT_TRUE(r == a / b && !(r != a / b) && a != quaternion(1, 2, 3, 5));
}

TEST(Quaternion, InverseAndNormalizeFallbacks)
{
    quaternion q(1, 1, 1, 1), zero(0, 0, 0, 0), tiny(1e-13, 0, 0, 0), n(0, 0, 3, 4);
    EXPECT_EQ(q.inverse(), 4.0);
    EXPECT_TRUE(quatNear(q, {0.25, -0.25, -0.25, -0.25}, 0));
    EXPECT_TRUE(quatNear(zero.inversed(), zero, 0));
    EXPECT_EQ(zero.inverse(), 0.0);
    EXPECT_TRUE(quatNear(tiny.normalized(), zero, 0));
    EXPECT_EQ(tiny.inverse(), 1e-26); // the squared magnitude is returned
    EXPECT_TRUE(quatNear(tiny, zero, 0));
    EXPECT_EQ(n.normalize(), 5.0);
    EXPECT_TRUE(quatNear(n, {0, 0, 0.6, 0.8}));
    quaternion small(0, 1e-13, 0, 0);
    EXPECT_EQ(small.normalize(), 0.0);
    EXPECT_TRUE(quatNear(small, zero, 0));
}

TEST(UnitQuaternion, ConstructorsAndVectorsOnSphere)
{
    EXPECT_TRUE(quatNear(unitquaternion(quaternion(0, 0, 3, 4)), {0, 0, 0.6, 0.8}));
    EXPECT_TRUE(quatNear(unitquaternion(Vec3f(1, 1, 1), 2.0), {2, 1, 1, 1}, 0)); // as given
    double const h = std::sqrt(0.5);
    EXPECT_TRUE(quatNear(unitquaternion(M_PI / 2, Vec3f(0, 0, 5)), {h, 0, 0, h}));

    // About x by 1 radian: first -> second sweeps the same angle about the same axis.
    Vec3f first, second;
    unitquaternion const aboutX(1.0, X_AXIS);
    aboutX.getVectorsOnSphere(first, second);
    EXPECT_TRUE(vecNear(first, 0, 1, 0) && vecNear(second, 0, std::cos(1.0), std::sin(1.0)));
    // With w < 0, first is mirrored after second has been computed from it.
    unitquaternion(-aboutX).getVectorsOnSphere(first, second);
    EXPECT_TRUE(vecNear(first, 0, -1, 0) && vecNear(second, 0, std::cos(1.0), std::sin(1.0)));
    rotZ(0.8).getVectorsOnSphere(first, second); // no x, y part: first is the y axis
    EXPECT_TRUE(first == Y_AXIS && vecNear(second, -std::sin(0.8), std::cos(0.8), 0));
}

TEST(UnitQuaternion, RotationMatrixSignsAndScale)
{
    // 90 degrees about z, row-vector convention: +1 at (0,1), -1 at (1,0).
    matrix const m = rotZ(M_PI / 2).getRotMatrix();
    double const rows[16] = {0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    for (int i = 0; i < 16; ++i)
        EXPECT_NEAR(m(i / 4, i % 4), rows[i], 1e-15) << i;

    quaternion const q(0.3, -0.2, 0.9, 0.4);
    matrix const unit = q.getRotMatrix(), scaled = (q * 7.0).getRotMatrix();
    matrix const orthogonal = unit * unit.transpose();
    for (int i = 0; i < 16; ++i)
    {
        EXPECT_NEAR(unit.data()[i], scaled.data()[i], 1e-15);
        EXPECT_NEAR(orthogonal.data()[i], i % 5 == 0 ? 1 : 0, 1e-15);
    }
    EXPECT_TRUE(quaternion(0, 0, 0, 0).getRotMatrix().isIdentity());
    EXPECT_TRUE(quaternion(2, 0, 0, 0).getRotMatrix().isIdentity());
}

TEST(UnitQuaternionSlerp, EndpointsAndReceiverSideEffect)
{
    unitquaternion const a(0.4, Vec3f(1, 2, 3)), b(1.3, Vec3f(-1, 0, 2));
    unitquaternion receiver;
    EXPECT_TRUE(quatNear(receiver.slerp(a, b, 0.0f, true), a, 1e-15));
    EXPECT_TRUE(quatNear(receiver.slerp(a, b, 1.0f, true), b, 1e-15));
    unitquaternion const r = receiver.slerp(a, b, 0.3f, false);
    EXPECT_TRUE(receiver.vec == r.vec);
    EXPECT_EQ(receiver.w(), 1.0); // only the vector part is overwritten
}

TEST(UnitQuaternionSlerp, SinglePrecisionWeightsAndLinearBranch)
{
    // Half angle 0.55, 0.15 (1 - cos = 0.0112) take the trigonometric branch.
    unitquaternion scratch;
    for (double angle : {1.1, 0.3})
    {
        float const t = 0.37f;
        double w0, w1;
        floatWeights(std::cos(angle / 2), t, w0, w1);
        unitquaternion const r = scratch.slerp(unitquaternion(), rotZ(angle), t, true);
        EXPECT_TRUE(
            quatNear(r, {w0 + w1 * std::cos(angle / 2), 0, 0, w1 * std::sin(angle / 2)}, 1e-15));
        EXPECT_GT(std::fabs(r.z() - std::sin(angle / 2 * t)), 1e-9); // the double result
    }
    // Half angle 0.05: 1 - cos = 0.00125 < 0.01, plain linear weights.
    unitquaternion const r = scratch.slerp(unitquaternion(), rotZ(0.1), 0.25f, true);
    EXPECT_TRUE(quatNear(r, {0.75 + 0.25 * std::cos(0.05), 0, 0, 0.25 * std::sin(0.05)}, 1e-15));
}

TEST(UnitQuaternionSlerp, ShortestPathFlipsTheFirstWeight)
{
    unitquaternion const a(0.5, Y_AXIS), bPositive = rotZ(1.2);
    unitquaternion const b(-bPositive.vec, -bPositive.w());
    ASSERT_LT(unitquaternion::dot(a, b), 0.0);
    float const t = 0.4f;
    unitquaternion s;

    // The rotation of the usual arc to -b, with the overall sign reversed.
    EXPECT_TRUE(quatNear(s.slerp(a, b, t, true), -s.slerp(a, bPositive, t, true)));
    EXPECT_TRUE(quatNear(s.slerp(a, b, 0.0f, true), -a, 1e-15));
    // Without shortestPath the weights keep their sign: only the a-term differs.
    double w0, w1;
    floatWeights(unitquaternion::dot(a, b), t, w0, w1);
    EXPECT_TRUE(quatNear(quaternion(s.slerp(a, b, t, false)) - quaternion(s.slerp(a, b, t, true)),
                         2 * w0 * quaternion(a)));

    // Opposite rotations take the linear branch, and the flip applies there too.
    unitquaternion const minusA(-a.vec, -a.w());
    EXPECT_TRUE(quatNear(s.slerp(a, minusA, 0.3f, true), -a, 1e-7));
    EXPECT_TRUE(quatNear(s.slerp(a, minusA, 0.3f, false), 0.4 * quaternion(a), 1e-7));
}
