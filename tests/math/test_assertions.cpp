// Every check of the library aborts with its fixed identification: expression, function,
// file and line. These texts are how a crash report is traced back to the failed check.
#include "math_test_util.h"

#include <string>

namespace
{
std::string failure(const char* expression, const char* function, const char* file, int line)
{
    std::string const text = std::string("3DMath assertion failed: ") + expression + ", function " +
                             function + ", file " + file + ", line " + std::to_string(line) + ".";
    std::string regex;
    for (char ch : text)
        regex += (std::string("\\^$.|?*+()[]{}").find(ch) != std::string::npos ? "\\" : "") +
                 std::string(1, ch);
    return regex;
}

class MathAssertionDeathTest : public testing::Test
{
protected:
    // Re-executing the binary keeps death tests reliable under the sanitizers.
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};
} // namespace

TEST_F(MathAssertionDeathTest, Vec3fDivisionTestsTheAbsoluteValue)
{
    Vec3f v(1, 2, 3);
    EXPECT_DEATH(v /= 1e-13, failure("fabs(fact) >= epsilon", "operator/=", "3DMath.h", 323));
    EXPECT_DEATH(v /= -1e-13, failure("fabs(fact) >= epsilon", "operator/=", "3DMath.h", 323));
    EXPECT_DEATH((void)(v / 0.0), failure("fabs(fact)>=epsilon", "operator/", "3DMath.cpp", 71));
    EXPECT_TRUE(vecNear(v / 1e-12, 1e12, 2e12, 3e12, 1e-3)); // the threshold itself passes
}

TEST_F(MathAssertionDeathTest, MatrixIndexChecksTheRowFirst)
{
    matrix m(0.0);
    matrix const& cm = m;
    auto const row = failure("row >= 0 && row <= 3", "operator()", "3DMath.h", 548);
    auto const col = failure("col >= 0 && col <= 3", "operator()", "3DMath.h", 549);
    EXPECT_DEATH(m(4, 0) = 1, row);
    EXPECT_DEATH((void)cm(-1, 0), row);
    EXPECT_DEATH(m(4, 4) = 1, row);
    EXPECT_DEATH(m(0, 4) = 1, col);
    EXPECT_DEATH((void)cm(3, -1), col);
}

TEST_F(MathAssertionDeathTest, MatrixDivisionRejectsNegativeDivisors)
{
    matrix m(4.0);
    auto const inPlace = failure("fact>=epsilon", "operator/=", "3DMath.cpp", 734);
    auto const byValue = failure("fact>=epsilon", "operator/", "3DMath.cpp", 603);
    EXPECT_DEATH(m /= -2.0, inPlace);
    EXPECT_DEATH(m /= 1e-13, inPlace);
    EXPECT_DEATH((void)(m / -2.0), byValue);
    EXPECT_DEATH((void)(m / 0.0), byValue);
    EXPECT_TRUE(m / 2.0 == matrix(2.0));
}

TEST_F(MathAssertionDeathTest, ForbiddenUnitQuaternionArithmetic)
{
    unitquaternion const u;
    EXPECT_DEATH((void)(u + u), failure("false", "operator+", "3DMath.cpp", 421));
    EXPECT_DEATH((void)(u - u), failure("false", "operator-", "3DMath.cpp", 429));
    EXPECT_DEATH((void)(u * 2.0), failure("false", "operator*", "3DMath.cpp", 437));
    EXPECT_DEATH((void)(2.0 * u), failure("false", "operator*", "3DMath.cpp", 445));
    EXPECT_DEATH((void)(u / 2.0), failure("false", "operator/", "3DMath.cpp", 453));
    // Products of rotations and the quaternion operators stay available.
    EXPECT_TRUE(quatNear(u * u, u, 0));
    EXPECT_TRUE(quatNear(quaternion(u) * 2.0, {2, 0, 0, 0}, 0));
}
