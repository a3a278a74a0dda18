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

// KXNumeric::truncateToInt for a float: within int range the cast is the same truncation, and
// the full checks are left to NaN and values beyond the range.
inline int truncateFloat(float f)
{
    return std::fabs(f) < 2147483648.0f ? static_cast<int>(f) : KXNumeric::truncateToInt(f);
}

int percentOf(float fFraction)
{
    return truncateFloat(fFraction * 100.0f);
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

// One source's end points in a segment, converted once: every frame of the segment lerps
// between the same fractions, so they are not converted again per frame. The arithmetic per
// frame is that of lerpPercent and of the intensity threshold, operand for operand.
struct SSourceSegment
{
    SSourceSegment(const tag_s3DSourceControls& a, const tag_s3DSourceControls& b)
        : m_fSurfaceA(fractionOf(a.surfaceOpacity)), m_fSurfaceB(fractionOf(b.surfaceOpacity)),
          m_fVolumeA(fractionOf(a.volumeOpacity)), m_fVolumeB(fractionOf(b.volumeOpacity)),
          m_fIntensityA(fractionOf(a.intensitySlider)),
          m_fIntensityB(fractionOf(b.intensitySlider)), m_dIntensityMin(a.intensityMin),
          m_dIntensityRange(a.intensityMax - a.intensityMin), m_fColorMinA(a.colorMin),
          m_fColorMinB(b.colorMin), m_fColorMaxA(a.colorMax), m_fColorMaxB(b.colorMax)
    {
    }

    SSourceValues at(float fT) const
    {
        SSourceValues v;
        v.m_nSurfaceOpacity = percentOf(lerpFloat(m_fSurfaceA, m_fSurfaceB, fT));
        v.m_nVolumeOpacity = percentOf(lerpFloat(m_fVolumeA, m_fVolumeB, fT));
        v.m_nIntensitySlider = percentOf(lerpFloat(m_fIntensityA, m_fIntensityB, fT));
        v.m_dIntensityValue = m_dIntensityMin + v.m_nIntensitySlider * m_dIntensityRange / 100.0;
        v.m_fColorMin = lerpFloat(m_fColorMinA, m_fColorMinB, fT);
        v.m_fColorMax = lerpFloat(m_fColorMaxA, m_fColorMaxB, fT);
        return v;
    }

    float m_fSurfaceA, m_fSurfaceB;
    float m_fVolumeA, m_fVolumeB;
    float m_fIntensityA, m_fIntensityB;
    double m_dIntensityMin, m_dIntensityRange;
    float m_fColorMinA, m_fColorMinB;
    float m_fColorMaxA, m_fColorMaxB;
};

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
    // The frames being replaced are released one by one as the new ones are built (when no one
    // else shares them), so that each new record reuses memory just given back instead of the
    // allocator's slow path after a release of the whole list at once.
    QList<SSpKeyFrameAttributes> replaced;
    replaced.swap(frames);
    if (!replaced.isDetached())
        replaced = QList<SSpKeyFrameAttributes>();
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
        appendSegment(input, keys.at(i), keys.at(i + 1), nSteps, i == 0, frames, replaced);
    }
    return QString();
}

void CFrameGenerator::appendSegment(const SFrameGenerationInput& input,
                                    const SSpKeyFrameAttributes& a, const SSpKeyFrameAttributes& b,
                                    int nSteps, bool bFirstSegment,
                                    QList<SSpKeyFrameAttributes>& frames,
                                    QList<SSpKeyFrameAttributes>& replaced)
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
    std::vector<SSourceSegment> sources;
    sources.reserve(static_cast<size_t>(sourcesA.size()));
    std::vector<SSourceValues> shared; // the values in `sharedSources`
    shared.reserve(static_cast<size_t>(sourcesA.size()));
    for (auto it = sourcesA.constBegin(); it != sourcesA.constEnd(); ++it)
    {
        const auto itB = sourcesB.constFind(it.key());
        sources.emplace_back(it.value(), itB != sourcesB.constEnd() ? itB.value() : noSource);
        shared.push_back(storedValues(it.value()));
    }
    std::vector<SSourceValues> values(sources.size());
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

    const float fSliderMinA = static_cast<float>(a.controls.pdMap.sliderMin);
    const float fSliderMinB = static_cast<float>(b.controls.pdMap.sliderMin);
    const float fSliderMaxA = static_cast<float>(a.controls.pdMap.sliderMax);
    const float fSliderMaxB = static_cast<float>(b.controls.pdMap.sliderMax);
    const double dStampSpan = b.timeStamp - a.timeStamp;
    unitquaternion scratch; // slerp writes into the object it is called on, then returns it

    float fT = bFirstSegment ? 0.0f : fDt;
    for (qint64 n = 0; n < nFrames; ++n, fT += fDt)
    {
        bool bSame = true;
        for (size_t i = 0; i < sources.size(); ++i)
        {
            values[i] = sources[i].at(fT);
            bSame = bSame && sameValues(values[i], shared[i]);
        }
        if (!bSame)
        {
            // The map is shared with the frame before (or with A): writing through begin()
            // detaches it into a copy of its own, whose other fields equal A's.
            size_t i = 0;
            for (auto it = sharedSources.begin(); it != sharedSources.end(); ++it, ++i)
                store(values[i], it.value());
            shared.swap(values);
        }

        if (!replaced.isEmpty())
            replaced.removeFirst();
        frames.append(segmentBase);
        SSpKeyFrameAttributes& frame = frames.last();
        tag_s3Dcontrols& controls = frame.controls;
        controls.meshOpacity = percentOf(lerpFloat(fMeshA, fMeshB, fT));
        controls.organOpacity = percentOf(lerpFloat(fOrganA, fOrganB, fT));
        S3DToolsPDMapData& pd = controls.pdMap;
        pd.sliderMin = truncateFloat(lerpFloat(fSliderMinA, fSliderMinB, fT));
        pd.sliderMax = truncateFloat(lerpFloat(fSliderMaxA, fSliderMaxB, fT));
        pd.sliderExtra = percentOf(lerpFloat(fPdA, fPdB, fT));
        // Unlike the volume intensity, the minimum is subtracted from the percent before
        // scaling. Kept for compatibility with existing hosts.
        pd.spinBoxValue = pd.spinBoxMin + (static_cast<float>(pd.sliderExtra) - pd.spinBoxMin) *
                                              (pd.spinBoxMax - pd.spinBoxMin) / 100.0f;

        frame.rotation = bSlerp ? scratch.slerp(a.rotation, b.rotation, fT, true) : noRotation();
        frame.translation = Vec3f::LERP(a.translation, b.translation, fT);
        frame.timeStamp = static_cast<double>(fT) * dStampSpan + a.timeStamp;
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
