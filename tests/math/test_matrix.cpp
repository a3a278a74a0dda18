// matrix: storage order, identity, algebra, inverse and the point transform.
#include "math_test_util.h"

#include <initializer_list>
#include <limits>

namespace
{
matrix fromRows(std::initializer_list<double> rows)
{
    return matrix(rows.begin(), matrix::ROW_MAJOR);
}

// Not a global: a static matrix would show up in the live-instance counters.
matrix sample()
{
    return fromRows({2, -1, 0, 3, 1, 4, -2, 0.5, 0, 3, 5, -1, 1.5, 0, 2, 6});
}

testing::AssertionResult matrixNear(matrix const& a, matrix const& b, double tol)
{
    for (int i = 0; i < 16; ++i)
        if (!(std::fabs(a.data()[i] - b.data()[i]) <= tol))
            return testing::AssertionFailure() << "storage element " << i << " differs:\n"
                                               << a << b;
    return testing::AssertionSuccess();
}
} // namespace

TEST(Matrix, StorageOrderAndIdentity)
{
    double values[16];
    for (int i = 0; i < 16; ++i)
        values[i] = i;
    matrix const rowMajor(values, matrix::ROW_MAJOR);
    EXPECT_TRUE(rowMajor(0, 1) == 1 && rowMajor(1, 0) == 4 && rowMajor.data()[1] == 4);
    for (matrix::ordermode mode : {matrix::COLUMN_MAJOR, static_cast<matrix::ordermode>(7)})
    {
        matrix const m(values, mode);
        EXPECT_TRUE(m(0, 1) == 4 && m(1, 0) == 1 && m(3, 2) == 11);
    }

    matrix m;
    EXPECT_TRUE(m.loadIdentity().isIdentity());
    m(3, 3) = 1 + 1e-15;
    EXPECT_FALSE(m.isIdentity());
    m.loadIdentity()(0, 3) = 1e-300;
    EXPECT_FALSE(m.isIdentity());
    m.loadIdentity()(2, 1) = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FALSE(m.isIdentity());
    EXPECT_TRUE(m != m && !(m == m)); // NaN never compares equal
    m.loadZero();
    EXPECT_TRUE(m == matrix(0.0));
}

TEST(Matrix, TransposeKeepsReceiverAndUnaryMinusChangesIt)
{
    matrix m = sample();
    matrix const t = m.transpose();
    EXPECT_TRUE(m == sample());
    EXPECT_TRUE(t(0, 3) == m(3, 0) && t(3, 0) == m(0, 3) && t.transpose() == m);
    matrix const negated = -m;
    EXPECT_TRUE(m(0, 0) == -2 && m == negated && m + sample() == matrix(0.0));
}

TEST(Matrix, ProductOrderScalingAndPointTransform)
{
    matrix const translate = fromRows({1, 0, 0, 5, 0, 1, 0, -1, 0, 0, 1, 2, 0, 0, 0, 1});
    matrix const scale = fromRows({2, 0, 0, 0, 0, 3, 0, 0, 0, 0, 4, 0, 0, 0, 0, 1});
    Vec3f const v(1, 2, 3);
    EXPECT_TRUE(vecNear((translate * scale) * v, 7, 5, 14, 0)); // scale first
    EXPECT_TRUE(vecNear((scale * translate) * v, 12, 3, 20, 0));
    EXPECT_TRUE(vecNear(v * translate, 6, 1, 5, 0)); // the same transform from the left

    matrix self = sample();
    self *= self;
    EXPECT_TRUE(self == sample() * sample() && self(0, 0) == 4 - 1 + 0 + 3 * 1.5);
    matrix sum = sample();
    sum += sample();
    sum -= scale;
    sum *= 0.5;
    EXPECT_TRUE(matrixNear(sum, sample() - scale * 0.5, 1e-15));
    EXPECT_TRUE(2.0 * sample() / 2.0 == sample());
    matrix halved = sample();
    halved /= 2.0;
    EXPECT_TRUE(halved * 2.0 == sample());

    // Row 3 is ignored (no perspective division) and v * A is A * v.
    matrix projective = sample();
    projective(3, 3) = 100;
    Vec3f const p(0.5, -2, 3);
    EXPECT_TRUE(p * projective == projective * p);
    EXPECT_TRUE(vecNear(projective * p, 6, -13, 8, 1e-15));
}

TEST(Matrix, DeterminantAdjointInverse)
{
    EXPECT_EQ(fromRows({2, 7, -3, 1, 0, 3, 8, 2, 0, 0, -1, 4, 0, 0, 0, 5}).determinant(), -30);
    matrix const a = sample();
    matrix const swapped = fromRows({1, 4, -2, 0.5, 2, -1, 0, 3, 0, 3, 5, -1, 1.5, 0, 2, 6});
    double const det = a.determinant();
    EXPECT_NEAR(swapped.determinant(), -det, 1e-12);
    EXPECT_NEAR((a * swapped).determinant(), -det * det, 1e-9);

    matrix detIdentity;
    detIdentity.loadIdentity() *= det;
    EXPECT_TRUE(matrixNear(a.adjoint() * a, detIdentity, 1e-11));
    EXPECT_TRUE(matrixNear(a * a.adjoint(), detIdentity, 1e-11));
    EXPECT_TRUE(matrixNear(a.inverse() * a, matrix().loadIdentity(), 1e-14));

    EXPECT_TRUE(matrix(2.0).inverse() == matrix(0.0)); // singular: silently zero
    matrix nearlySingular;
    nearlySingular.loadIdentity()(1, 1) = 1e-13;
    EXPECT_TRUE(nearlySingular.inverse() == matrix(0.0));
    nearlySingular(1, 1) = 1e-11;
    EXPECT_NEAR(nearlySingular.inverse()(1, 1), 1e11, 1e-3);
}
