// The viewer's 3D view: renders a CKXSampleScene with OpenGL 3.3 core shaders and moves its
// camera with a trackball (left drag rotates, wheel moves along z, right drag pans).
//
// A paint draws only when something it shows changed since the last draw (the scene, the
// camera, the size or pixel ratio, a new framebuffer or context); otherwise it leaves the
// framebuffer as the last draw left it. A recorded frame is thus drawn once: by the grab, not
// again by the repaint that follows it.
//
// While the plug-in records a movie, the view is composed into the window at most every
// kRecordingShowIntervalMs, and less often where composing costs more than a
// 1/kRecordingShowShare of that time (large views on a software renderer): showing a frame
// composes the whole main window again, and the movie, not the screen, is what a recording is
// for. Every recorded frame is still drawn (once) and grabbed exactly; the window shows the
// latest one a few times per second (at least every kRecordingShowMaxIntervalMs), and the
// last one as soon as the recording ends. Each showing is announced (recordingShowing()), so
// that the window's other widgets that follow the recording change in the same composition.
//
// While the user moves the camera (a mouse button held in the view, or wheel notches less than
// kQuietMs apart) translucent objects are sorted whole: per-pixel order costs several times
// the frame on a software renderer, and a turning subject must follow the mouse. The moment
// the interaction ends the view draws once more in per-pixel order. A drag ends with its
// release, or, when the release goes elsewhere, as soon as the view loses the mouse grab or the
// focus or sees a move with no button held. Play and Record are always drawn in per-pixel
// order, even with the mouse held, so a movie is always drawn right.
#ifndef CKXGLVIEW_H
#define CKXGLVIEW_H

#include "C3DTrackball.h"
#include "C3DView.h"

#include <QElapsedTimer>
#include <QImage>
#include <QMatrix4x4>

class CKXSampleScene;
class CKXGLRenderer; // GL resources, private to kximage
struct CKXCamera;

class CKXGLView : public C3DView
{
    Q_OBJECT
public:
    // The scene is not owned and must outlive the view.
    explicit CKXGLView(CKXSampleScene* pScene, QWidget* pParent = nullptr);
    ~CKXGLView() override;

    CKXSampleScene* scene() const { return m_pScene; }
    // Back to the default camera (identity rotation, default translation).
    void resetCamera();

    // C3DScene
    bool isAutoRotating() const override;
    void stopAutoRotation() override;
    void setAllObjectSlicesDirty(int nSliceView, bool bDirty) override;
    void refreshSliceViews() override;
    // C3DView
    unitquaternion getCurrentQuaternion() const override;
    void setCurrentQuaternion(unitquaternion rotation) override;
    Vec3f getTranslationVector() const override;
    void setTranslationVector(Vec3f translation) override;
    void setRenderMode(int nMode, const QString& strObjectClass) override;
    void setShadingMode(int nMode, const QString& strObjectClass) override;
    bool isAnimationEnabled() const override;
    void stopAnimation() override;
    void setKFAnimating(bool bAnimating) override;
    void setKFRecording(bool bRecording) override;
    void saveRotationState() override;

    void setAutoRotating(bool bOn);
    bool isKFAnimating() const { return m_bKFAnimating; }
    bool isKFRecording() const { return m_bKFRecording; }

    // Added by kximage. Distance from the eye to the focal plane, in view units (pixels at the
    // focal plane): the subject's centre sits there at translation (0, 0, 0).
    double focalDistance() const;
    // The rotation stored by saveRotationState().
    unitquaternion savedRotation() const { return m_savedRotation; }

    // Paints that drew the scene since construction; a paint that reused the framebuffer does
    // not count.
    int renderCount() const { return m_nRenderCount; }
    // Whether a paint may reuse the framebuffer when nothing changed (on by default; off makes
    // every paint draw, for comparisons).
    void setFrameReuse(bool bOn);
    // Least and most time between two compositions of the view while recording, in
    // milliseconds; in between, kRecordingShowShare times what the last composition took.
    static constexpr int kRecordingShowIntervalMs = 250;
    static constexpr int kRecordingShowMaxIntervalMs = 2000;
    static constexpr int kRecordingShowShare = 20;
    // The current state drawn into a fresh framebuffer object, whatever the view's framebuffer
    // holds: what a paint must show now. The view's size in device pixels, Format_RGB32; null
    // before the view has a GL context. Not counted by renderCount().
    QImage renderFreshFrame();
    // The largest framebuffer this view's OpenGL implementation can draw into, in device
    // pixels; invalid before the view has had a GL context.
    QSize maxFramebufferSize() const { return m_maxFramebuffer; }
    // The same limit for any view on this system, asked once of a throw-away context of the
    // views' format, so that a size can be checked before a view of it exists; invalid when no
    // such context can be made.
    static QSize systemFramebufferLimit();
    // For tests: systemFramebufferLimit() answers limit (an invalid size: the system again).
    static void overrideSystemFramebufferLimit(const QSize& limit);
    // Translucent surfaces blended per pixel in depth order (on by default); off sorts them as
    // whole objects, as the view did before, for comparisons.
    void setOrderIndependentTranslucency(bool bOn);
    // Layers of translucent surfaces the last draw peeled (0: none, or sorted whole).
    int lastTranslucentLayers() const;

signals:
    // The user moved the camera (drag, wheel, pan). Not a change of the scene's content.
    void cameraChanged();
    // A recording's latest frame is about to be shown, or the recording ended: widgets that
    // follow the recording change now, so that the window is composed once for them and the
    // view together.
    void recordingShowing();

protected:
    void initializeGL() override;
    void resizeGL(int nWidth, int nHeight) override;
    void paintGL() override;
    void paintEvent(QPaintEvent* pEvent) override;
    void mousePressEvent(QMouseEvent* pEvent) override;
    void mouseMoveEvent(QMouseEvent* pEvent) override;
    void mouseReleaseEvent(QMouseEvent* pEvent) override;
    void focusOutEvent(QFocusEvent* pEvent) override;
    bool event(QEvent* pEvent) override;
    void wheelEvent(QWheelEvent* pEvent) override;
    void timerEvent(QTimerEvent* pEvent) override;

private:
    // Something the camera does not describe changed: the next paint draws.
    void invalidateFrame() { ++m_nGeneration; }
    // The mouse let go of the camera: the next paint draws in per-pixel order.
    void endInteraction();
    // A recording's showing was composed: the next ones come as often as they cost little.
    void adaptRecordingShowInterval();
    // A button that moves the camera went down, or is down again in a move.
    void holdMouse();
    // No such button is down any more, or the view will not hear of its release.
    void letGoOfMouse();

    CKXSampleScene* m_pScene;
    CKXGLRenderer* m_pRenderer = nullptr;
    unitquaternion m_rotation;
    unitquaternion m_savedRotation;
    Vec3f m_translation;
    bool m_bKFAnimating = false;
    bool m_bKFRecording = false;
    int m_nAutoRotateTimer = 0;
    int m_nRecordingShowTimer = 0; // lets the next recorded frame be shown
    int m_nRecordingShowIntervalMs = kRecordingShowIntervalMs;
    QElapsedTimer m_showClock; // from a recording's showing's paint to its composition
    QPoint m_lastMouse;
    C3DTrackball m_trackball;
    bool m_bAnimationEnabled = false;
    // Frame reuse: the generation counts changes of the scene, framebuffer and context; the
    // last draw's generation and camera decide whether a paint must draw.
    bool m_bFrameReuse = true;
    bool m_bOrderIndependent = true;
    // The user is moving the camera (see the top of this file); the wheel's timer ends it.
    bool m_bInteracting = false;
    bool m_bMouseHeld = false;
    int m_nWheelTimer = 0;
    // The last draw sorted translucent objects whole because of an interaction.
    bool m_bDrawnQuick = false;
    quint64 m_nGeneration = 1;
    quint64 m_nDrawnGeneration = 0;
    QMatrix4x4 m_drawnView;
    QMatrix4x4 m_drawnProjection;
    float m_fDrawnUnitsPerMm = 0.0f;
    QSize m_drawnPixels;
    int m_nRenderCount = 0;
    QSize m_maxFramebuffer;

    void releaseRenderer();
    CKXCamera camera() const;
};

#endif // CKXGLVIEW_H
