#include "FrameGenerator.h"

#include "NumericConversion.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <utility>
#include <vector>

namespace
{

// CFrameGenerator::lerp, visible to the compiler at every call in the per-frame loop.
inline float lerpFloat(float fA, float fB, float fT)
{
    return fA + fT * (fB - fA);
}

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
    return percentOf(lerpFloat(fractionOf(nA), fractionOf(nB), fT));
}

// The fields frame generation writes into a source's controls; the rest come from key frame A.
struct SSourceValues
{
    int m_nSurfaceOpacity = 0;
    int m_nVolumeOpacity = 0;
    int m_nIntensitySlider = 0;
    double m_dIntensityValue = 0.0;
    float m_fColorMin = 0.0f;
    float m_fColorMax = 0.0f;
};

SSourceValues storedValues(const tag_s3DSourceControls& s)
{
    return {s.surfaceOpacity, s.volumeOpacity, s.intensitySlider,
            s.intensityValue, s.colorMin,      s.colorMax};
}

SSourceValues interpolatedValues(const tag_s3DSourceControls& a, const tag_s3DSourceControls& b,
                                 float fT)
{
    SSourceValues v;
    v.m_nSurfaceOpacity = lerpPercent(a.surfaceOpacity, b.surfaceOpacity, fT);
    v.m_nVolumeOpacity = lerpPercent(a.volumeOpacity, b.volumeOpacity, fT);
    v.m_nIntensitySlider = lerpPercent(a.intensitySlider, b.intensitySlider, fT);
    v.m_dIntensityValue =
        a.intensityMin + v.m_nIntensitySlider * (a.intensityMax - a.intensityMin) / 100.0;
    v.m_fColorMin = lerpFloat(a.colorMin, b.colorMin, fT);
    v.m_fColorMax = lerpFloat(a.colorMax, b.colorMax, fT);
    return v;
}

void store(const SSourceValues& v, tag_s3DSourceControls& s)
{
    s.surfaceOpacity = v.m_nSurfaceOpacity;
    s.volumeOpacity = v.m_nVolumeOpacity;
    s.intensitySlider = v.m_nIntensitySlider;
    s.intensityValue = v.m_dIntensityValue;
    s.colorMin = v.m_fColorMin;
    s.colorMax = v.m_fColorMax;
}

// Bit equality: a map is shared only when no bit of a frame would differ (0 against -0 and
// NaN payloads included).
template <class T> bool sameBits(T a, T b)
{
    return std::memcmp(&a, &b, sizeof(T)) == 0;
}

bool sameValues(const SSourceValues& a, const SSourceValues& b)
{
    return a.m_nSurfaceOpacity == b.m_nSurfaceOpacity && a.m_nVolumeOpacity == b.m_nVolumeOpacity &&
           a.m_nIntensitySlider == b.m_nIntensitySlider &&
           sameBits(a.m_dIntensityValue, b.m_dIntensityValue) &&
           sameBits(a.m_fColorMin, b.m_fColorMin) && sameBits(a.m_fColorMax, b.m_fColorMax);
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
    return lerpFloat(fA, fB, fT);
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

    // Sources only B has are left out: a frame never shows a source A does not know. Per source
    // in A's order: A's settings and B's (defaults where B lacks the source).
    const QMap<QString, tag_s3DSourceControls>& sourcesA = a.controls.sourceControls;
    const QMap<QString, tag_s3DSourceControls>& sourcesB = b.controls.sourceControls;
    const tag_s3DSourceControls noSource;
    std::vector<std::pair<const tag_s3DSourceControls*, const tag_s3DSourceControls*>> pairs;
    pairs.reserve(static_cast<size_t>(sourcesA.size()));
    std::vector<SSourceValues> shared; // the values in `sharedSources`
    for (auto it = sourcesA.constBegin(); it != sourcesA.constEnd(); ++it)
    {
        const auto itB = sourcesB.constFind(it.key());
        pairs.emplace_back(&it.value(), itB != sourcesB.constEnd() ? &itB.value() : &noSource);
        shared.push_back(storedValues(it.value()));
    }
    std::vector<SSourceValues> values(pairs.size());
    // The fields every frame of the segment takes from A; the record is copied per frame. Its
    // source map is shared (Qt's implicit sharing) by every frame whose interpolated source
    // settings equal those of the frame before: a spin leaves the sources alone, and then all
    // frames of the segment share A's map instead of copying it.
    SSpKeyFrameAttributes segmentBase;
    segmentBase.controls = a.controls;
    QMap<QString, tag_s3DSourceControls>& sharedSources = segmentBase.controls.sourceControls;
    segmentBase.addnAttributes.multimodalityVolumeVisible =
        a.addnAttributes.multimodalityVolumeVisible;
    segmentBase.addnAttributes.addnFlag = a.addnAttributes.addnFlag;

    float fT = bFirstSegment ? 0.0f : fDt;
    for (qint64 n = 0; n < nFrames; ++n, fT += fDt)
    {
        bool bSame = true;
        for (size_t i = 0; i < pairs.size(); ++i)
        {
            values[i] = interpolatedValues(*pairs[i].first, *pairs[i].second, fT);
            bSame = bSame && sameValues(values[i], shared[i]);
        }
        if (!bSame)
        {
            QMap<QString, tag_s3DSourceControls> sources = sourcesA;
            size_t i = 0;
            for (auto it = sources.begin(); it != sources.end(); ++it, ++i) // detaches once
                store(values[i], it.value());
            sharedSources = sources;
            shared.swap(values);
        }

        frames.append(segmentBase);
        SSpKeyFrameAttributes& frame = frames.last();
        tag_s3Dcontrols& controls = frame.controls;
        controls.meshOpacity = percentOf(lerpFloat(fMeshA, fMeshB, fT));
        controls.organOpacity = percentOf(lerpFloat(fOrganA, fOrganB, fT));
        S3DToolsPDMapData& pd = controls.pdMap;
        pd.sliderMin =
            KXNumeric::truncateToInt(lerpFloat(static_cast<float>(a.controls.pdMap.sliderMin),
                                               static_cast<float>(b.controls.pdMap.sliderMin), fT));
        pd.sliderMax =
            KXNumeric::truncateToInt(lerpFloat(static_cast<float>(a.controls.pdMap.sliderMax),
                                               static_cast<float>(b.controls.pdMap.sliderMax), fT));
        pd.sliderExtra = percentOf(lerpFloat(fPdA, fPdB, fT));
        // Unlike the volume intensity, the minimum is subtracted from the percent before
        // scaling. Kept for compatibility with existing hosts.
        pd.spinBoxValue = pd.spinBoxMin + (static_cast<float>(pd.sliderExtra) - pd.spinBoxMin) *
                                              (pd.spinBoxMax - pd.spinBoxMin) / 100.0f;

        unitquaternion scratch; // slerp also writes into the object it is called on
        frame.rotation = bSlerp ? scratch.slerp(a.rotation, b.rotation, fT, true) : noRotation();
        frame.translation = Vec3f::LERP(a.translation, b.translation, fT);
        frame.timeStamp = static_cast<double>(fT) * (b.timeStamp - a.timeStamp) + a.timeStamp;
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
    }
}
