// Preset animations: the key frames behind the entries of the dialog's presets combo box (spins,
// zoom-ins, fades). Pure: the dialog captures the view, hands over the capture and the values
// of its controls, adds the returned key frames one by one with addNewKeyFrame (stopping at
// the first refusal), respaces the stamps and applies frameRateAfterPreset.
//
// The entry text alone decides (never the combo box index), tested case-sensitively:
//   starts with "Spin"        a full turn in 4 x frame factor + 1 key frames
//   starts with "Zoomin from" a move from a corner or edge of the view to the captured view
//   starts with "Fade"        an opacity ramp between the opacity on screen and 100
// Any other text gives no key frames.
#ifndef PRESETBUILDER_H
#define PRESETBUILDER_H

#include "KeyFrameRecords.h"

#include <QList>
#include <QString>

enum class EPresetKind
{
    Spin,
    Zoomin,
    Fade,
    Unknown
};

// What a preset is built from.
struct SPresetInput
{
    QString m_strText; // the combo box entry, e.g. "Spin CW on X-Axis"
    // A key frame captured from the current view; for a zoom-in, from the view after the
    // dialog reset it (CKXSChildWindow::onReset3DView). Every preset key frame is a copy of it.
    SSpKeyFrameAttributes m_sCaptured;
    unitquaternion m_qView;         // the view's current rotation (spins on the current axis)
    int m_nFrameFactor = 1;         // the frame factor spin box, 1..10
    double m_dTimeScaleMax = 100.0; // the time scale slider's maximum (M)
    int m_nViewWidth = 0;           // the 3D view widget's size in pixels (zoom-ins only)
    int m_nViewHeight = 0;
};

class CPresetBuilder
{
public:
    // Which preset an entry text selects. The dialog resets the view before capturing for a
    // zoom-in, so it needs to know before it builds.
    static EPresetKind kindOf(const QString& strText);

    // The key frames in the order they are to be added; empty for an unknown text.
    // Spin: rotation = unitquaternion(|step x i + start - 360| degrees, axis), stamps
    //   min(dt x i, M) + dt with dt = M / (key frames - 1) (respaced by the dialog), captured.
    //   Frame factors below 1 give nothing; no more than the key frame list limit is built.
    // Zoom-in: the first key frame is moved to the named corner or edge (half the view size,
    //   integer halves) and 350 units back along z; the second is the capture unchanged.
    // Fade: the second key frame gets opacity 100 for the mesh, the organs or both (by the
    //   text's ending); "Fade In" gives (capture, full), "Fade Out" (full, capture).
    static QList<SSpKeyFrameAttributes> build(const SPresetInput& input);

    // The frame rate after a preset: with more key frames than duration x rate frames, the
    // rate becomes (key frames + 1) / duration (integer division; the spin box clamps it),
    // otherwise it stays. A duration below 1 leaves the rate unchanged.
    static int frameRateAfterPreset(int nKeyFrameCount, int nDuration, int nFrameRate);

private:
    static QList<SSpKeyFrameAttributes> buildSpin(const SPresetInput& input);
    static QList<SSpKeyFrameAttributes> buildZoomin(const SPresetInput& input);
    static QList<SSpKeyFrameAttributes> buildFade(const SPresetInput& input);
};

#endif // PRESETBUILDER_H
