#include "PresetBuilder.h"

#include "KeyFrameList.h"

#include <algorithm>
#include <climits>
#include <cmath>

namespace
{

// The units the zoom-in presets start behind the captured view.
constexpr double ZOOMIN_DEPTH = 350.0;

struct SZoominCorner
{
    const char* m_pszName;
    int m_nSignX; // -1 left, 0 centre, 1 right
    int m_nSignY; // -1 bottom, 0 centre, 1 top
};

// Tested in this order; the first name the entry text contains wins.
constexpr SZoominCorner ZOOMIN_CORNERS[] = {
    {"Bot-Left", -1, -1},   {"Bot-Center", 0, -1},   {"Bot-Right", 1, -1},
    {"Center-Left", -1, 0}, {"Center-Center", 0, 0}, {"Center-Right", 1, 0},
    {"Top-Left", -1, 1},    {"Top-Center", 0, 1},    {"Top-Right", 1, 1},
};

// The axis of a spin on the current axis: the vector part of the captured rotation. Only an
// axis with three positive components is used; every other one, including (0, 0, 0) and any
// with a negative component, falls back to the X axis. Kept so that the presets spin the way
// existing hosts spin them. (A NaN component falls back as well.)
Vec3f currentSpinAxis(const unitquaternion& captured)
{
    Vec3f axis(captured.x(), captured.y(), captured.z());
    if (axis.x() == 0.0 && axis.y() == 0.0 && axis.z() == 0.0)
    {
        axis.x() = 1.0;
    }
    if (!(axis.x() >= epsilon) || !(axis.y() >= epsilon) || !(axis.z() >= epsilon))
    {
        axis = Vec3f(1.0, 0.0, 0.0);
    }
    return axis;
}

} // namespace

EPresetKind CPresetBuilder::kindOf(const QString& strText)
{
    if (strText.startsWith(QLatin1String("Spin")))
    {
        return EPresetKind::Spin;
    }
    if (strText.startsWith(QLatin1String("Zoomin from")))
    {
        return EPresetKind::Zoomin;
    }
    if (strText.startsWith(QLatin1String("Fade")))
    {
        return EPresetKind::Fade;
    }
    return EPresetKind::Unknown;
}

QList<SSpKeyFrameAttributes> CPresetBuilder::build(const SPresetInput& input)
{
    switch (kindOf(input.m_strText))
    {
    case EPresetKind::Spin:
        return buildSpin(input);
    case EPresetKind::Zoomin:
        return buildZoomin(input);
    case EPresetKind::Fade:
        return buildFade(input);
    case EPresetKind::Unknown:
        break;
    }
    return {};
}

QList<SSpKeyFrameAttributes> CPresetBuilder::buildSpin(const SPresetInput& input)
{
    if (input.m_nFrameFactor < 1)
    {
        return {};
    }
    const QString& strText = input.m_strText;
    const qint64 nKeys = 4 * static_cast<qint64>(input.m_nFrameFactor) + 1;
    double dStep = 360.0 / static_cast<double>(nKeys - 1); // degrees
    if (strText.startsWith(QLatin1String("Spin CW")))
    {
        dStep = -dStep;
    }

    Vec3f axis; // (0, 0, 0) for a spin text naming no axis: the rotations stay about nothing
    double dStartAngle = 0.0; // degrees
    if (strText.contains(QLatin1String("X-Axis")))
    {
        axis = Vec3f(1.0, 0.0, 0.0);
    }
    else if (strText.contains(QLatin1String("Y-Axis")))
    {
        axis = Vec3f(0.0, 1.0, 0.0);
    }
    else if (strText.contains(QLatin1String("Z-Axis")))
    {
        axis = Vec3f(0.0, 0.0, 1.0);
    }
    else if (strText.contains(QLatin1String("Current Axis")))
    {
        // w may stray a rounding error beyond +-1 after many trackball drags; acos would
        // then give NaN instead of the angle 0 or 360.
        const double dW = std::max(-1.0, std::min(1.0, input.m_qView.w()));
        dStartAngle = rad2deg(2.0 * std::acos(dW));
        axis = currentSpinAxis(input.m_sCaptured.rotation);
    }

    const double dMax = input.m_dTimeScaleMax;
    const double dDt = dMax / static_cast<double>(nKeys - 1);
    // The list never holds more than its limit, so building more would only waste memory.
    const qint64 nBuilt = std::min<qint64>(nKeys, KeyFrameList::MAX_KEY_FRAMES);
    QList<SSpKeyFrameAttributes> keys;
    keys.reserve(static_cast<int>(nBuilt));
    for (qint64 i = 0; i < nBuilt; ++i)
    {
        const double dI = static_cast<double>(i);
        const double dAngle = std::fabs(dStep * dI + dStartAngle - 360.0);
        SSpKeyFrameAttributes key = input.m_sCaptured;
        key.rotation = unitquaternion(deg2rad(dAngle), axis);
        key.timeStamp = std::min(dDt * dI, dMax) + dDt;
        key.isCaptured = true;
        keys.append(key);
    }
    return keys;
}

QList<SSpKeyFrameAttributes> CPresetBuilder::buildZoomin(const SPresetInput& input)
{
    SSpKeyFrameAttributes start = input.m_sCaptured;
    Vec3f& translation = start.translation;
    translation.z() = translation.z() - ZOOMIN_DEPTH;
    const int nHalfWidth = input.m_nViewWidth / 2;
    const int nHalfHeight = input.m_nViewHeight / 2;
    for (const SZoominCorner& corner : ZOOMIN_CORNERS)
    {
        if (input.m_strText.contains(QLatin1String(corner.m_pszName)))
        {
            translation.x() = static_cast<double>(corner.m_nSignX * nHalfWidth);
            translation.y() = static_cast<double>(corner.m_nSignY * nHalfHeight);
            break;
        }
    }
    return {start, input.m_sCaptured};
}

QList<SSpKeyFrameAttributes> CPresetBuilder::buildFade(const SPresetInput& input)
{
    const QString& strText = input.m_strText;
    const SSpKeyFrameAttributes& current = input.m_sCaptured;
    SSpKeyFrameAttributes full = current;
    if (strText.endsWith(QLatin1String("- Mesh")))
    {
        full.controls.meshOpacity = 100;
    }
    else if (strText.endsWith(QLatin1String("- Organs")))
    {
        full.controls.organOpacity = 100;
    }
    else if (strText.endsWith(QLatin1String("- Mesh & Organs")))
    {
        full.controls.meshOpacity = 100;
        full.controls.organOpacity = 100;
    }
    // The fade runs between the opacity on screen and 100, never to 0: the user sets the low
    // end before picking the preset.
    if (strText.startsWith(QLatin1String("Fade In")))
    {
        return {current, full};
    }
    if (strText.startsWith(QLatin1String("Fade Out")))
    {
        return {full, current};
    }
    return {};
}

int CPresetBuilder::frameRateAfterPreset(int nKeyFrameCount, int nDuration, int nFrameRate)
{
    if (nDuration < 1)
    {
        return nFrameRate;
    }
    const qint64 nCount = nKeyFrameCount;
    if (nCount > static_cast<qint64>(nDuration) * nFrameRate)
    {
        return static_cast<int>(std::min<qint64>((nCount + 1) / nDuration, INT_MAX));
    }
    return nFrameRate;
}
