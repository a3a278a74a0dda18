#include "CKXGLView.h"

#include "CKXGLRenderer.h"
#include "CKXSampleScene.h"
#include "CKXSceneData.h"

#include <QFocusEvent>
#include <QGuiApplication>
#include <QMouseEvent>
#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QOpenGLFramebufferObject>
#include <QOpenGLFunctions>
#include <QSurfaceFormat>
#include <QTimerEvent>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>
#include <limits>

namespace
{
constexpr double kFieldOfViewDeg = 30.0; // vertical
constexpr double kSubjectFill = 0.6;     // share of the view height the subject spans
constexpr int kAutoRotateIntervalMs = 30;
constexpr double kAutoRotateStepDeg = 1.0;
// Wheel notches closer together than this are one zoom: only after it the picture is redrawn
// in per-pixel order.
constexpr int kQuietMs = 250;
// The buttons that move the camera while held.
constexpr Qt::MouseButtons kDragButtons = Qt::LeftButton | Qt::RightButton | Qt::MiddleButton;

// GL takes floats; a camera set from a crafted key frame may hold doubles beyond their range,
// whose plain conversion is undefined. They saturate (and then draw nothing), NaN stays NaN.
float toGLFloat(double d)
{
    constexpr double dMax = std::numeric_limits<float>::max();
    return d > dMax ? std::numeric_limits<float>::infinity()
                    : (d < -dMax ? -std::numeric_limits<float>::infinity() : static_cast<float>(d));
}

// The view's rotation as a column-vector matrix. getRotMatrix() documents the row-vector
// convention (v' = v M), so the transpose rotates column vectors: with it a positive rotation
// about +z (towards the viewer) turns the subject counter-clockwise on screen.
QMatrix4x4 rotationMatrix(const unitquaternion& q)
{
    const matrix m = q.getRotMatrix();
    QMatrix4x4 r;
    for (int row = 0; row < 3; ++row)
        for (int col = 0; col < 3; ++col)
            r(row, col) = toGLFloat(m(col, row));
    return r;
}

// fmt made the views' own: OpenGL 3.3 core with depth and stencil buffers.
QSurfaceFormat viewFormat(QSurfaceFormat fmt)
{
    fmt.setRenderableType(QSurfaceFormat::OpenGL);
    fmt.setVersion(3, 3);
    fmt.setProfile(QSurfaceFormat::CoreProfile);
    fmt.setDepthBufferSize(24);
    fmt.setStencilBufferSize(8);
    return fmt;
}

// The widget draws into a texture with a depth and stencil renderbuffer: the smallest of their
// limits and the viewport's bounds the size a view may take. Invalid when GL says nothing.
QSize framebufferLimit(QOpenGLFunctions& gl)
{
    GLint nTexture = 0;
    GLint nRenderbuffer = 0;
    GLint anViewport[2] = {0, 0};
    gl.glGetIntegerv(GL_MAX_TEXTURE_SIZE, &nTexture);
    gl.glGetIntegerv(GL_MAX_RENDERBUFFER_SIZE, &nRenderbuffer);
    gl.glGetIntegerv(GL_MAX_VIEWPORT_DIMS, anViewport);
    const int nSide = std::min(nTexture, nRenderbuffer);
    return nSide > 0
               ? QSize(std::min<int>(nSide, anViewport[0]), std::min<int>(nSide, anViewport[1]))
               : QSize();
}

QSize g_systemLimitOverride;
} // namespace

QSize CKXGLView::systemFramebufferLimit()
{
    if (g_systemLimitOverride.isValid())
        return g_systemLimitOverride;
    static bool s_bAsked = false;
    static QSize s_limit;
    if (!s_bAsked && QGuiApplication::instance())
    {
        s_bAsked = true;
        QOpenGLContext* pPrevious = QOpenGLContext::currentContext();
        QSurface* pPreviousSurface = pPrevious ? pPrevious->surface() : nullptr;
        QOpenGLContext context;
        context.setFormat(viewFormat(QSurfaceFormat::defaultFormat()));
        QOffscreenSurface surface;
        surface.setFormat(context.format());
        surface.create();
        if (context.create() && surface.isValid() && context.makeCurrent(&surface))
        {
            s_limit = framebufferLimit(*context.functions());
            context.doneCurrent();
        }
        if (pPrevious && pPreviousSurface)
            pPrevious->makeCurrent(pPreviousSurface);
    }
    return s_limit;
}

void CKXGLView::overrideSystemFramebufferLimit(const QSize& limit)
{
    g_systemLimitOverride = limit;
}

CKXGLView::CKXGLView(CKXSampleScene* pScene, QWidget* pParent) : C3DView(pParent), m_pScene(pScene)
{
    setFormat(viewFormat(format()));
    setMinimumSize(160, 120);
    setFocusPolicy(Qt::StrongFocus);
    // Keep the framebuffer's content after it was composed: a paint with nothing changed
    // reuses it, and so does a grab.
    setUpdateBehavior(QOpenGLWidget::PartialUpdate);
    // The picture covers the whole widget: an animation frame repaints nothing beneath it (the
    // sequence window, its tabs and sub-window).
    setAttribute(Qt::WA_OpaquePaintEvent);
    connect(m_pScene, &CKXSampleScene::changed, this,
            [this]
            {
                invalidateFrame();
                update();
            });
    // A new framebuffer (resize, pixel ratio) holds nothing worth reusing.
    connect(this, &QOpenGLWidget::resized, this, [this] { invalidateFrame(); });
    connect(this, &QOpenGLWidget::frameSwapped, this, &CKXGLView::adaptRecordingShowInterval);
}

CKXGLView::~CKXGLView()
{
    releaseRenderer();
    // The context goes with QOpenGLWidget's destructor, when this is no CKXGLView any more:
    // its aboutToBeDestroyed must not reach releaseRenderer then.
    if (QOpenGLContext* pContext = context())
        disconnect(pContext, nullptr, this, nullptr);
}

void CKXGLView::releaseRenderer()
{
    if (!m_pRenderer)
        return;
    makeCurrent();
    delete m_pRenderer;
    m_pRenderer = nullptr;
    doneCurrent();
}

void CKXGLView::resetCamera()
{
    m_rotation = unitquaternion();
    m_translation = Vec3f();
    emit cameraChanged();
    update();
}

bool CKXGLView::isAutoRotating() const
{
    return m_nAutoRotateTimer != 0;
}

void CKXGLView::stopAutoRotation()
{
    setAutoRotating(false);
}

void CKXGLView::setAutoRotating(bool bOn)
{
    if (bOn && !m_nAutoRotateTimer)
        m_nAutoRotateTimer = startTimer(kAutoRotateIntervalMs);
    else if (!bOn && m_nAutoRotateTimer)
    {
        killTimer(m_nAutoRotateTimer);
        m_nAutoRotateTimer = 0;
    }
}

// This viewer has no slice views: only the 3D view is redrawn.
void CKXGLView::setAllObjectSlicesDirty(int, bool)
{
    update();
}

void CKXGLView::refreshSliceViews()
{
    update();
}

unitquaternion CKXGLView::getCurrentQuaternion() const
{
    return m_rotation;
}

void CKXGLView::setCurrentQuaternion(unitquaternion rotation)
{
    m_rotation = rotation;
    update();
}

Vec3f CKXGLView::getTranslationVector() const
{
    return m_translation;
}

void CKXGLView::setTranslationVector(Vec3f translation)
{
    m_translation = translation;
    update();
}

void CKXGLView::setRenderMode(int nMode, const QString& strObjectClass)
{
    m_pScene->setRenderMode(nMode, strObjectClass);
}

void CKXGLView::setShadingMode(int nMode, const QString& strObjectClass)
{
    m_pScene->setShadingMode(nMode, strObjectClass);
}

bool CKXGLView::isAnimationEnabled() const
{
    return m_bAnimationEnabled;
}

void CKXGLView::stopAnimation()
{
    m_bAnimationEnabled = false;
}

void CKXGLView::setKFAnimating(bool bAnimating)
{
    m_bKFAnimating = bAnimating;
}

void CKXGLView::setKFRecording(bool bRecording)
{
    if (bRecording == m_bKFRecording)
        return;
    m_bKFRecording = bRecording;
    if (bRecording)
    {
        // Updates stay off between two showings: the plug-in's update() after each grab then
        // costs nothing, and the grab itself draws into the framebuffer as before.
        setUpdatesEnabled(false);
        m_nRecordingShowIntervalMs = kRecordingShowIntervalMs;
        m_nRecordingShowTimer = startTimer(m_nRecordingShowIntervalMs);
    }
    else
    {
        killTimer(m_nRecordingShowTimer);
        m_nRecordingShowTimer = 0;
        setUpdatesEnabled(true); // shows the last recorded frame
        update();
        emit recordingShowing();
    }
}

void CKXGLView::paintEvent(QPaintEvent* pEvent)
{
    if (m_bKFRecording)
        m_showClock.start();
    C3DView::paintEvent(pEvent);
    // A showing during a recording: updates go off again at once, so that no update() until
    // the next showing leaves the view to be painted when something else repaints the window.
    if (m_bKFRecording)
        setUpdatesEnabled(false);
}

void CKXGLView::adaptRecordingShowInterval()
{
    if (!m_bKFRecording || !m_showClock.isValid() || m_nRecordingShowTimer == 0)
        return;
    const qint64 nCostMs = m_showClock.elapsed();
    m_showClock.invalidate();
    const int nIntervalMs = static_cast<int>(std::clamp<qint64>(
        nCostMs * kRecordingShowShare, kRecordingShowIntervalMs, kRecordingShowMaxIntervalMs));
    if (nIntervalMs == m_nRecordingShowIntervalMs)
        return;
    killTimer(m_nRecordingShowTimer);
    m_nRecordingShowIntervalMs = nIntervalMs;
    m_nRecordingShowTimer = startTimer(m_nRecordingShowIntervalMs);
}

void CKXGLView::saveRotationState()
{
    m_savedRotation = m_rotation;
}

double CKXGLView::focalDistance() const
{
    const double halfAngle = 0.5 * kFieldOfViewDeg * 3.14159265358979323846 / 180.0;
    return std::max(1, height()) / (2.0 * std::tan(halfAngle));
}

void CKXGLView::initializeGL()
{
    invalidateFrame();
    // A new context (first show, or the widget moved to another window): fresh GL resources.
    delete m_pRenderer;
    m_pRenderer = new CKXGLRenderer(m_pScene->data());
    if (!m_pRenderer->initialize())
        qWarning("CKXGLView: the 3D view cannot render (OpenGL 3.3 core profile required)");
    m_pRenderer->setOrderIndependent(m_bOrderIndependent);
    connect(context(), &QOpenGLContext::aboutToBeDestroyed, this, &CKXGLView::releaseRenderer,
            Qt::UniqueConnection);
    m_maxFramebuffer = framebufferLimit(*context()->functions());
}

void CKXGLView::resizeGL(int nWidth, int nHeight)
{
    Q_UNUSED(nWidth);
    Q_UNUSED(nHeight);
    invalidateFrame();
    m_trackball.setViewport(width(), height());
}

CKXCamera CKXGLView::camera() const
{
    const double w = std::max(1, width());
    const double h = std::max(1, height());
    const double focal = focalDistance();

    CKXCamera cam;
    // Rotate about the subject's centre, then translate; the focal plane lies `focal` units in
    // front of the eye, where one unit is one pixel.
    cam.view.translate(toGLFloat(m_translation.x()), toGLFloat(m_translation.y()),
                       toGLFloat(m_translation.z() - focal));
    cam.view *= rotationMatrix(m_rotation);
    const double distance = std::max(focal - m_translation.z(), 1.0);
    const float nearPlane = float(std::max(1.0, 0.02 * focal));
    const float farPlane = toGLFloat(distance + 3.0 * focal);
    cam.projection.perspective(float(kFieldOfViewDeg), float(w / h), nearPlane, farPlane);
    cam.unitsPerMm = float(kSubjectFill * h / m_pScene->data()->subjectSize());
    const qreal dpr = devicePixelRatioF();
    cam.pixelWidth = int(std::lround(w * dpr));
    cam.pixelHeight = int(std::lround(h * dpr));
    return cam;
}

void CKXGLView::setFrameReuse(bool bOn)
{
    m_bFrameReuse = bOn;
    invalidateFrame();
}

void CKXGLView::setOrderIndependentTranslucency(bool bOn)
{
    m_bOrderIndependent = bOn;
    if (m_pRenderer)
        m_pRenderer->setOrderIndependent(bOn);
    invalidateFrame();
    update();
}

int CKXGLView::lastTranslucentLayers() const
{
    return m_pRenderer ? m_pRenderer->lastLayerCount() : 0;
}

void CKXGLView::paintGL()
{
    if (!m_pRenderer)
        return;
    const CKXCamera cam = camera();
    const QSize pixels(cam.pixelWidth, cam.pixelHeight);
    // Exact comparisons: any change of the camera draws (a NaN never compares equal, so a
    // camera that is not a number draws every time, as before).
    const bool bQuick = m_bInteracting && !m_bKFAnimating && !m_bKFRecording;
    // A per-pixel picture may stand in for a quick one, not the other way round.
    if (m_bFrameReuse && m_nDrawnGeneration == m_nGeneration && m_drawnView == cam.view &&
        m_drawnProjection == cam.projection && m_fDrawnUnitsPerMm == cam.unitsPerMm &&
        m_drawnPixels == pixels && (bQuick || !m_bDrawnQuick))
        return;
    m_pRenderer->setOrderIndependent(m_bOrderIndependent && !bQuick);
    m_pRenderer->render(cam);
    m_bDrawnQuick = bQuick && m_bOrderIndependent;
    ++m_nRenderCount;
    m_nDrawnGeneration = m_nGeneration;
    m_drawnView = cam.view;
    m_drawnProjection = cam.projection;
    m_fDrawnUnitsPerMm = cam.unitsPerMm;
    m_drawnPixels = pixels;
}

QImage CKXGLView::renderFreshFrame()
{
    if (!m_pRenderer || !context())
        return QImage();
    makeCurrent();
    const CKXCamera cam = camera();
    QOpenGLFramebufferObjectFormat format;
    format.setAttachment(QOpenGLFramebufferObject::CombinedDepthStencil);
    QImage image;
    {
        QOpenGLFramebufferObject fbo(cam.pixelWidth, cam.pixelHeight, format);
        if (fbo.isValid() && fbo.bind())
        {
            m_pRenderer->setOrderIndependent(m_bOrderIndependent);
            m_pRenderer->render(cam);
            // The bytes as drawn, as a grab of the view reads them: no alpha conversion.
            image = fbo.toImage();
            image.reinterpretAsFormat(QImage::Format_RGB32);
            for (int y = 0; y < image.height(); ++y)
            {
                QRgb* pLine = reinterpret_cast<QRgb*>(image.scanLine(y));
                for (int x = 0; x < image.width(); ++x)
                    pLine[x] |= 0xff000000u;
            }
        }
    }
    context()->functions()->glBindFramebuffer(GL_FRAMEBUFFER, defaultFramebufferObject());
    return image;
}

void CKXGLView::mousePressEvent(QMouseEvent* pEvent)
{
    m_lastMouse = pEvent->pos();
    if (pEvent->button() == Qt::LeftButton)
        stopAutoRotation();
    if (pEvent->buttons() & kDragButtons)
        holdMouse();
    pEvent->accept();
}

void CKXGLView::mouseReleaseEvent(QMouseEvent* pEvent)
{
    if (!(pEvent->buttons() & kDragButtons))
        letGoOfMouse();
    pEvent->accept();
}

void CKXGLView::focusOutEvent(QFocusEvent* pEvent)
{
    // A dialog or another window took over mid-drag: the release goes there.
    if (m_bMouseHeld)
        letGoOfMouse();
    C3DView::focusOutEvent(pEvent);
}

bool CKXGLView::event(QEvent* pEvent)
{
    if (pEvent->type() == QEvent::UngrabMouse && m_bMouseHeld)
        letGoOfMouse();
    return C3DView::event(pEvent);
}

void CKXGLView::holdMouse()
{
    m_bMouseHeld = true;
    m_bInteracting = true;
    // Moves then arrive without a button too, which tells that the release went elsewhere.
    setMouseTracking(true);
}

void CKXGLView::letGoOfMouse()
{
    m_bMouseHeld = false;
    setMouseTracking(false);
    if (!m_nWheelTimer)
        endInteraction();
}

void CKXGLView::endInteraction()
{
    if (!m_bInteracting)
        return;
    m_bInteracting = false;
    // Drawn again only if the last picture was a quick one (a click without a move was not).
    update();
}

void CKXGLView::mouseMoveEvent(QMouseEvent* pEvent)
{
    if (!(pEvent->buttons() & kDragButtons))
    {
        if (m_bMouseHeld) // the release never reached the view
            letGoOfMouse();
        return;
    }
    // Dragging on after the focus went elsewhere: the drag is on again.
    if (!m_bMouseHeld)
        holdMouse();
    const QPoint p = pEvent->pos();
    const QPoint delta = p - m_lastMouse;
    if (delta.isNull())
        return;
    if (pEvent->buttons() & Qt::LeftButton)
    {
        m_trackball.setViewport(width(), height());
        const unitquaternion drag =
            m_trackball.dragRotation(m_lastMouse.x(), m_lastMouse.y(), p.x(), p.y());
        // The drag happens in view space, after the current rotation.
        m_rotation = unitquaternion(static_cast<const quaternion&>(drag) *
                                    static_cast<const quaternion&>(m_rotation));
    }
    else if (pEvent->buttons() & (Qt::RightButton | Qt::MiddleButton))
    {
        // Follow the pointer at the subject's depth: farther away, a pixel is more units.
        const double focal = focalDistance();
        const double scale = std::max(focal - m_translation.z(), 1.0) / focal;
        m_translation.x() += delta.x() * scale;
        m_translation.y() -= delta.y() * scale;
    }
    else
        return;
    m_lastMouse = p;
    emit cameraChanged();
    update();
}

void CKXGLView::wheelEvent(QWheelEvent* pEvent)
{
    const double notches = pEvent->angleDelta().y() / 120.0;
    if (notches == 0.0)
        return;
    const double focal = focalDistance();
    m_translation.z() = std::min(m_translation.z() + notches * 0.06 * focal, 0.85 * focal);
    m_bInteracting = true;
    if (m_nWheelTimer)
        killTimer(m_nWheelTimer);
    m_nWheelTimer = startTimer(kQuietMs);
    pEvent->accept();
    emit cameraChanged();
    update();
}

void CKXGLView::timerEvent(QTimerEvent* pEvent)
{
    if (pEvent->timerId() == m_nRecordingShowTimer && m_nRecordingShowTimer != 0)
    {
        setUpdatesEnabled(true); // schedules the showing of the frame grabbed last
        update();
        emit recordingShowing();
        return;
    }
    if (pEvent->timerId() == m_nWheelTimer && m_nWheelTimer)
    {
        killTimer(m_nWheelTimer);
        m_nWheelTimer = 0;
        if (!m_bMouseHeld)
            endInteraction();
        return;
    }
    if (pEvent->timerId() != m_nAutoRotateTimer)
    {
        C3DView::timerEvent(pEvent);
        return;
    }
    const unitquaternion step(deg2rad(kAutoRotateStepDeg), Y_AXIS);
    m_rotation = unitquaternion(static_cast<const quaternion&>(step) *
                                static_cast<const quaternion&>(m_rotation));
    emit cameraChanged();
    update();
}
