#include "FrameGenerator.h"

#include "NumericConversion.h"

#include <cmath>
#include <limits>

namespace
{

// Percent values travel as single-precision fractions, the way the host's float LERP sees
// them, and come back truncated: a few percents (53, 59) come back one lower even at a key
// frame. Kept so that generated frames match those of existing hosts.
float fractionOf(int nPercent)
{
    return static_cast<float>(nPercent) / 100.0f;
}

int percentOf(float fFraction)
{
    return KXNumeric::truncateToInt(fFraction * 100.0f);
}

int lerpPercent(int nA, int nB, float fT)
{
    return percentOf(CFrameGenerator::lerp(fractionOf(nA), fractionOf(nB), fT));
}

void interpolateSource(tag_s3DSourceControls& frame, const tag_s3DSourceControls& a,
                       const tag_s3DSourceControls& b, float fT)
{
    frame.surfaceOpacity = lerpPercent(a.surfaceOpacity, b.surfaceOpacity, fT);
    frame.volumeOpacity = lerpPercent(a.volumeOpacity, b.volumeOpacity, fT);
    frame.intensitySlider = lerpPercent(a.intensitySlider, b.intensitySlider, fT);
    frame.intensityValue = frame.intensityMin + frame.intensitySlider *
                                                    (frame.intensityMax - frame.intensityMin) /
                                                    100.0;
    frame.colorMin = CFrameGenerator::lerp(a.colorMin, b.colorMin, fT);
    frame.colorMax = CFrameGenerator::lerp(a.colorMax, b.colorMax, fT);
}

// Whether slerp can take the pair: it narrows their dot product to float, which is undefined
// for a finite value beyond the float range (rotations with huge components, read from a file).
// NaN and infinite products narrow fine and give frames that are not finite, which the view
// does not apply.
bool canSlerp(const unitquaternion& a, const unitquaternion& b)
{
    const double dDot = unitquaternion::dot(a, b);
    return !std::isfinite(dDot) ||
           std::fabs(dDot) <= static_cast<double>(std::numeric_limits<float>::max());
}

// A rotation that describes no camera; applying a frame leaves the view's rotation as it is.
unitquaternion noRotation()
{
    const double dNaN = std::numeric_limits<double>::quiet_NaN();
    return unitquaternion(Vec3f(dNaN, dNaN, dNaN), dNaN);
}

} // namespace

float CFrameGenerator::lerp(float fA, float fB, float fT)
{
    return fA + fT * (fB - fA);
}

QString CFrameGenerator::generatingMessage()
{
    return QStringLiteral("Generating animation frames from key frames.");
}

QString CFrameGenerator::generatedMessage(int nFrameCount)
{
    return QStringLiteral("%1 Animation frames generated.").arg(nFrameCount);
}

bool CFrameGenerator::segmentSteps(const SFrameGenerationInput& input,
                                   const SSpKeyFrameAttributes& a, const SSpKeyFrameAttributes& b,
                                   int& nSteps)
{
    // duration x frame rate is an int product in the dialog; 64 bits keep it exact here.
    const double dTotal = static_cast<double>(static_cast<qint64>(input.m_nDuration) *
                                              static_cast<qint64>(input.m_nFrameRate));
    if (input.m_nTimeScaleMax == 0)
    {
        return false;
    }
    const double dSteps = dTotal * (b.timeStamp - a.timeStamp) / input.m_nTimeScaleMax;
    if (!std::isfinite(dSteps) || dSteps >= 2147483648.0 || dSteps <= -2147483649.0)
    {
        return false;
    }
    nSteps = static_cast<int>(dSteps);
    return true;
}

qint64 CFrameGenerator::segmentFrameCount(int nSteps, bool bFirstSegment, qint64 nBudget)
{
    // No positive step count: only the first segment's frame at t = 0 exists (a later segment
    // would start at an infinite or negative dt).
    if (nSteps <= 0)
    {
        return bFirstSegment ? 1 : 0;
    }
    const float fDt = 1.0f / static_cast<float>(nSteps);
    qint64 nCount = 0;
    // The budget also ends the loop where t stops growing (dt below half an ulp of t).
    for (float fT = bFirstSegment ? 0.0f : fDt; fT <= 1.0f && nCount <= nBudget; fT += fDt)
    {
        ++nCount;
    }
    return nCount;
}

qint64 CFrameGenerator::countFrames(const SFrameGenerationInput& input, qint64 nLimit)
{
    const QList<SSpKeyFrameAttributes>& keys = input.m_listKeyFrames;
    qint64 nTotal = 0;
    for (int i = 0; i + 1 < keys.size(); ++i)
    {
        int nSteps = 0;
        if (!segmentSteps(input, keys.at(i), keys.at(i + 1), nSteps))
        {
            return -1;
        }
        nTotal += segmentFrameCount(nSteps, i == 0, nLimit - nTotal);
        if (nTotal > nLimit)
        {
            return nLimit + 1;
        }
    }
    return nTotal;
}

QString CFrameGenerator::generate(const SFrameGenerationInput& input,
                                  QList<SSpKeyFrameAttributes>& frames)
{
    frames.clear();
    const qint64 nCount = countFrames(input, MAX_FRAMES);
    if (nCount < 0)
    {
        return QStringLiteral("Cannot generate the animation: a key frame time stamp is not a "
                              "valid number or lies far outside the time scale.");
    }
    if (nCount > MAX_FRAMES)
    {
        return QStringLiteral("Cannot generate the animation: the key frame time stamps would "
                              "give more than %1 frames.")
            .arg(MAX_FRAMES);
    }
    frames.reserve(static_cast<int>(nCount));
    const QList<SSpKeyFrameAttributes>& keys = input.m_listKeyFrames;
    for (int i = 0; i + 1 < keys.size(); ++i)
    {
        int nSteps = 0;
        segmentSteps(input, keys.at(i), keys.at(i + 1), nSteps); // checked by countFrames
        appendSegment(input, keys.at(i), keys.at(i + 1), nSteps, i == 0, frames);
    }
    return QString();
}

void CFrameGenerator::appendSegment(const SFrameGenerationInput& input,
                                    const SSpKeyFrameAttributes& a, const SSpKeyFrameAttributes& b,
                                    int nSteps, bool bFirstSegment,
                                    QList<SSpKeyFrameAttributes>& frames)
{
    const qint64 nFrames = segmentFrameCount(nSteps, bFirstSegment, MAX_FRAMES);
    // Without a positive step count only the frame at t = 0 is built; an infinite dt makes
    // it the segment's last frame, as 1 / 0 would.
    const float fDt =
        nSteps > 0 ? 1.0f / static_cast<float>(nSteps) : std::numeric_limits<float>::infinity();

    const float fMeshA = fractionOf(a.controls.meshOpacity);
    const float fMeshB = fractionOf(b.controls.meshOpacity);
    const float fOrganA = fractionOf(a.controls.organOpacity);
    const float fOrganB = fractionOf(b.controls.organOpacity);
    // The photon density value as a fraction of the image range; an empty range makes it NaN,
    // which the safe truncation turns into 0.
    const double dRange = input.m_dPDImageMax - input.m_dPDImageMin;
    const auto pdFraction = [&](const SSpKeyFrameAttributes& key)
    {
        return dRange != 0.0 ? KXNumeric::narrowToFloat(
                                   (key.controls.pdMap.spinBoxValue - input.m_dPDImageMin) / dRange)
                             : std::numeric_limits<float>::quiet_NaN();
    };
    const float fPdA = pdFraction(a);
    const float fPdB = pdFraction(b);
    const bool bSlerp = canSlerp(a.rotation, b.rotation);

    float fT = bFirstSegment ? 0.0f : fDt;
    for (qint64 n = 0; n < nFrames; ++n, fT += fDt)
    {
        tag_s3Dcontrols controls = a.controls;
        controls.meshOpacity = percentOf(lerp(fMeshA, fMeshB, fT));
        controls.organOpacity = percentOf(lerp(fOrganA, fOrganB, fT));
        S3DToolsPDMapData& pd = controls.pdMap;
        pd.sliderMin =
            KXNumeric::truncateToInt(lerp(static_cast<float>(a.controls.pdMap.sliderMin),
                                          static_cast<float>(b.controls.pdMap.sliderMin), fT));
        pd.sliderMax =
            KXNumeric::truncateToInt(lerp(static_cast<float>(a.controls.pdMap.sliderMax),
                                          static_cast<float>(b.controls.pdMap.sliderMax), fT));
        pd.sliderExtra = percentOf(lerp(fPdA, fPdB, fT));
        // Unlike the volume intensity below, the minimum is subtracted from the percent before
        // scaling. Kept for compatibility with existing hosts.
        pd.spinBoxValue = pd.spinBoxMin + (static_cast<float>(pd.sliderExtra) - pd.spinBoxMin) *
                                              (pd.spinBoxMax - pd.spinBoxMin) / 100.0f;

        // Sources only B has are left out: a frame never shows a source A does not know.
        const QMap<QString, tag_s3DSourceControls>& sourcesB = b.controls.sourceControls;
        for (auto it = controls.sourceControls.begin(); it != controls.sourceControls.end(); ++it)
        {
            const tag_s3DSourceControls sourceA = it.value();
            interpolateSource(it.value(), sourceA, sourcesB.value(it.key()), fT);
        }

        SAddnFrameAttributes addn;
        addn.multimodalityVolumeVisible = a.addnAttributes.multimodalityVolumeVisible;
        addn.addnFlag = a.addnAttributes.addnFlag;

        unitquaternion scratch; // slerp also writes into the object it is called on
        SSpKeyFrameAttributes frame(
            bSlerp ? scratch.slerp(a.rotation, b.rotation, fT, true) : noRotation(),
            Vec3f::LERP(a.translation, b.translation, fT),
            static_cast<double>(fT) * (b.timeStamp - a.timeStamp) + a.timeStamp, &controls, &addn);
        // Organs change only at key frames: in-between frames carry no organ map, so applying
        // them leaves the organ visibility as it is.
        if (fT == 0.0f)
        {
            frame.isCaptured = true;
            frame.organsVisibility = a.organsVisibility;
        }
        else if (fT + fDt > 1.0f)
        {
            frame.isCaptured = true;
            frame.organsVisibility = b.organsVisibility;
        }
        frames.append(frame);
    }
}
