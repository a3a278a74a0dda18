// Frame generation: turns the key frame list into the in-between frames that playback and movie
// recording apply to the 3D view one by one. Pure: no window, no host; the dialog passes the
// key frames, its control values and the photon density image range, and shows the messages.
//
// Each pair of successive key frames (A, B) is a segment with
//   steps = int(duration x frame rate x (B.timeStamp - A.timeStamp) / time scale maximum)
// frames, t running from 0 (first segment) or dt (later segments, so a shared key frame is
// generated once) while t <= 1, with dt = 1 / steps and t accumulated in single precision.
// The accumulation decides the count: steps 300 gives 301 frames, 30 gives 30, 10 gives 10
// and 7 gives 8 for a first segment, and the last frame of a segment need not be B exactly.
// Frames keep these counts because recorded movies and the host's key frame row tracking
// (isCaptured marks the frames at segment ends) depend on them.
//
// Rotations are slerped in single precision; a pair whose dot product lies beyond the float
// range (huge components from a crafted file) gives frames whose rotation is NaN, which the
// dialog does not apply to the view.
#ifndef FRAMEGENERATOR_H
#define FRAMEGENERATOR_H

#include "KeyFrameRecords.h"

#include <QList>
#include <QString>
#include <QtGlobal>

// What one generation needs. Units: time scale units for stamps, seconds, frames per second.
struct SFrameGenerationInput
{
    QList<SSpKeyFrameAttributes> m_listKeyFrames; // in list order (row 0 first)
    int m_nTimeScaleMax = 100;                    // the time scale slider's maximum (M)
    int m_nDuration = 5;   // seconds, the duration spin box (1..100 in the dialog)
    int m_nFrameRate = 10; // frames per second, the frame rate spin box
    // The photon density image range as C3DMesh::getPDImageMinMax leaves it when called with
    // 0 and 100 (the caller passes 0 and 100 through that call and hands over the result).
    double m_dPDImageMin = 0.0;
    double m_dPDImageMax = 100.0;
};

class CFrameGenerator
{
public:
    // Generation refuses lists that would give more frames than this. Every list the dialog
    // can build (stamps 0..100, 1..100 s at 10 frames per second, at most 51 key frames)
    // stays far below it; only key frames read from a file with absurd stamps reach it.
    static constexpr qint64 MAX_FRAMES = 100000;

    // The number of frames generate() gives for `input`, by the same arithmetic, without
    // building any. Counting stops once the count exceeds nLimit and then returns nLimit + 1,
    // so the work is bounded whatever the stamps. Returns -1 when a segment's step count is
    // not a finite number within int range (NaN or infinite stamps, a time scale maximum of
    // 0, stamps absurdly far apart). Fewer than two key frames give 0.
    static qint64 countFrames(const SFrameGenerationInput& input, qint64 nLimit = MAX_FRAMES);

    // Clears `frames` and fills it with the generated frames in time order. Returns an empty
    // string on success; otherwise a message for the user, and `frames` stays empty: nothing
    // is generated and nothing large is allocated for a refused list.
    static QString generate(const SFrameGenerationInput& input,
                            QList<SSpKeyFrameAttributes>& frames);

    // The progress texts the dialog shows before and after generating.
    static QString generatingMessage();
    static QString generatedMessage(int nFrameCount);

    // Linear interpolation a + t (b - a) in single precision, the host's LERP for scalars.
    static float lerp(float fA, float fB, float fT);

private:
    // The step count of segment (A, B); false when it is not finite or out of int range.
    static bool segmentSteps(const SFrameGenerationInput& input, const SSpKeyFrameAttributes& a,
                             const SSpKeyFrameAttributes& b, int& nSteps);
    // Frames of one segment, counting at most nBudget + 1.
    static qint64 segmentFrameCount(int nSteps, bool bFirstSegment, qint64 nBudget);
    // Appends the frames of segment (A, B) to `frames`, releasing one of `replaced` (the list
    // generate() replaces, not shared) before each.
    static void appendSegment(const SFrameGenerationInput& input, const SSpKeyFrameAttributes& a,
                              const SSpKeyFrameAttributes& b, int nSteps, bool bFirstSegment,
                              QList<SSpKeyFrameAttributes>& frames,
                              QList<SSpKeyFrameAttributes>& replaced);
};

#endif // FRAMEGENERATOR_H
