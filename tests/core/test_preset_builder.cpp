#include "PresetBuilder.h"

#include <gtest/gtest.h>

#include <cmath>

namespace
{

SPresetInput inputFor(const QString& strText, int nFrameFactor = 1)
{
    SPresetInput in;
    in.m_strText = strText;
    in.m_nFrameFactor = nFrameFactor;
    in.m_sCaptured.translation = Vec3f(5, 6, -700);
    in.m_sCaptured.timeStamp = 42;
    in.m_sCaptured.controls.meshOpacity = 30;
    in.m_sCaptured.controls.organOpacity = 40;
    in.m_nViewWidth = 801;
    in.m_nViewHeight = 601;
    return in;
}

void expectRotation(const unitquaternion& q, double dDegrees, const Vec3f& axis)
{
    const unitquaternion e(deg2rad(dDegrees), axis);
    EXPECT_NEAR(q.w(), e.w(), 1e-12) << dDegrees;
    EXPECT_NEAR((q.vec - e.vec).length(), 0.0, 1e-12) << dDegrees;
}

} // namespace

TEST(PresetBuilder, DispatchesOnTheTextCaseSensitively)
{
    const struct
    {
        const char* m_pszText;
        EPresetKind m_eKind;
    } cases[] = {
        {"Spin CCW on Current Axis", EPresetKind::Spin},
        {"Zoomin from Top-Left", EPresetKind::Zoomin},
        {"Fade Out - Mesh & Organs", EPresetKind::Fade},
        {"Zoomin to Top-Left", EPresetKind::Unknown},
        {"spin CW on X-Axis", EPresetKind::Unknown},
        {"", EPresetKind::Unknown},
    };
    for (const auto& c : cases)
    {
        EXPECT_EQ(CPresetBuilder::kindOf(c.m_pszText), c.m_eKind) << c.m_pszText;
        EXPECT_EQ(CPresetBuilder::build(inputFor(c.m_pszText)).isEmpty(),
                  c.m_eKind == EPresetKind::Unknown)
            << c.m_pszText;
    }
}

TEST(PresetBuilder, SpinsTurnInFourTimesTheFrameFactorSteps)
{
    const struct
    {
        const char* m_pszText;
        int m_nFactor;
        double m_dStep; // degrees from 360
        Vec3f m_axis;
    } cases[] = {
        {"Spin CCW on X-Axis", 1, -90, Vec3f(1, 0, 0)}, // 360, 270, 180, 90, 0
        {"Spin CW on X-Axis", 1, 90, Vec3f(1, 0, 0)},   // 360 .. 720
        {"Spin CCW on Y-Axis", 3, -30, Vec3f(0, 1, 0)},
        {"Spin CW on Z-Axis", 3, 30, Vec3f(0, 0, 1)},
    };
    for (const auto& c : cases)
    {
        const QList<SSpKeyFrameAttributes> keys =
            CPresetBuilder::build(inputFor(c.m_pszText, c.m_nFactor));
        const int nKeys = 4 * c.m_nFactor + 1;
        ASSERT_EQ(keys.size(), nKeys) << c.m_pszText;
        const double dDt = 100.0 / (nKeys - 1);
        for (int i = 0; i < nKeys; ++i)
        {
            expectRotation(keys[i].rotation, 360 + c.m_dStep * i, c.m_axis);
            EXPECT_DOUBLE_EQ(keys[i].timeStamp, dDt * (i + 1)); // dt .. M + dt
            EXPECT_TRUE(keys[i].isCaptured);
            EXPECT_EQ(keys[i].translation, Vec3f(5, 6, -700)); // the rest is the capture
        }
    }
    EXPECT_EQ(CPresetBuilder::build(inputFor("Spin CW on X-Axis", 100)).size(), 51); // the limit
    EXPECT_TRUE(CPresetBuilder::build(inputFor("Spin CW on X-Axis", 0)).isEmpty());
}

// The current axis starts at the view's angle and keeps the captured axis only when all three
// components are positive.
TEST(PresetBuilder, SpinOnTheCurrentAxisFallsBackToX)
{
    const Vec3f cases[][2] = {{Vec3f(1, 2, 2), Vec3f(1, 2, 2)},
                              {Vec3f(1, -1, 1), Vec3f(1, 0, 0)},
                              {Vec3f(0, 1, 1), Vec3f(1, 0, 0)},
                              {Vec3f(0, 0, 0), Vec3f(1, 0, 0)}};
    for (const auto& c : cases)
    {
        SPresetInput in = inputFor("Spin CCW on Current Axis");
        in.m_sCaptured.rotation = unitquaternion(c[0] * 0.1, 0.9);
        in.m_qView = unitquaternion(deg2rad(60.0), Vec3f(0, 0, 1));
        const QList<SSpKeyFrameAttributes> keys = CPresetBuilder::build(in);
        ASSERT_EQ(keys.size(), 5);
        for (int i = 0; i < 5; ++i) // |90 i + 60 - 360|: 300, 210, 120, 30, 60
            expectRotation(keys[i].rotation, std::fabs(90.0 * i + 60.0 - 360.0), c[1]);
    }
}

TEST(PresetBuilder, ZoominStartsFromTheNamedCornerBehindTheView)
{
    const struct
    {
        const char* m_pszText;
        double m_dX, m_dY;
    } cases[] = {
        {"Zoomin from Top-Left", -400, 300}, {"Zoomin from Top-Right", 400, 300},
        {"Zoomin from Bot-Center", 0, -300}, {"Zoomin from Center-Left", -400, 0},
        {"Zoomin from Nowhere", 5, 6},
    };
    for (const auto& c : cases)
    {
        const QList<SSpKeyFrameAttributes> keys = CPresetBuilder::build(inputFor(c.m_pszText));
        ASSERT_EQ(keys.size(), 2);
        EXPECT_EQ(keys[0].translation, Vec3f(c.m_dX, c.m_dY, -1050)) << c.m_pszText;
        EXPECT_EQ(keys[0].timeStamp, 42.0);
        EXPECT_EQ(keys[1].translation, Vec3f(5, 6, -700));
    }
}

TEST(PresetBuilder, FadesRunBetweenTheCurrentOpacityAndFull)
{
    const struct
    {
        const char* m_pszText;
        int m_nMesh, m_nOrgan;        // the capture has 30 and 40
        std::vector<int> m_opacities; // mesh, organ of the first, then of the second
    } cases[] = {
        {"Fade In - Mesh", 30, 40, {30, 40, 100, 40}},
        {"Fade In - Organs", 30, 40, {30, 40, 30, 100}},
        {"Fade In - Mesh & Organs", 30, 40, {30, 40, 100, 100}},
        {"Fade Out - Mesh & Organs", 30, 40, {100, 100, 30, 40}},
        {"Fade Out - Mesh", 100, 40, {100, 40, 100, 40}}, // already full: the same twice
        {"Fade Sideways - Mesh", 30, 40, {}},
    };
    for (const auto& c : cases)
    {
        SPresetInput in = inputFor(c.m_pszText);
        in.m_sCaptured.controls.meshOpacity = c.m_nMesh;
        std::vector<int> opacities;
        for (const SSpKeyFrameAttributes& k : CPresetBuilder::build(in))
            opacities.insert(opacities.end(), {k.controls.meshOpacity, k.controls.organOpacity});
        EXPECT_EQ(opacities, c.m_opacities) << c.m_pszText;
    }
}

TEST(PresetBuilder, FrameRateRisesOnlyForMoreKeyFramesThanFrames)
{
    const int cases[][4] = {{50, 5, 10, 10}, {51, 5, 10, 10}, {41, 1, 10, 42}, {5, 0, 10, 10}};
    for (const auto& c : cases)
        EXPECT_EQ(CPresetBuilder::frameRateAfterPreset(c[0], c[1], c[2]), c[3]) << c[0];
}
