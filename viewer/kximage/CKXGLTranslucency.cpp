#include "CKXGLTranslucency.h"

#include "CKXGLShaders.h"

#include <QOpenGLShaderProgram>
#include <QtDebug>

#include <algorithm>
#include <cmath>

CKXGLTranslucency::CKXGLTranslucency() = default;

CKXGLTranslucency::~CKXGLTranslucency()
{
    if (!m_bReady)
        return;
    releaseBuffers();
    glDeleteVertexArrays(1, &m_emptyVao);
    glDeleteQueries(1, &m_query);
}

bool CKXGLTranslucency::initialize()
{
    if (!initializeOpenGLFunctions())
        return false;
    m_pPeelProgram = KXGLShaders::surfaceProgram(true);
    m_pCompositeProgram = KXGLShaders::compositeProgram();
    m_pSplitProgram = KXGLShaders::compositeProgram(true);
    if (!m_pPeelProgram || !m_pCompositeProgram || !m_pSplitProgram)
        return false;
    m_pPeelProgram->bind();
    m_pPeelProgram->setUniformValue("uPeelDepth", kPeelDepthUnit);
    m_pCompositeProgram->bind();
    m_pCompositeProgram->setUniformValue("uImage", 0);
    m_pSplitProgram->bind();
    m_pSplitProgram->setUniformValue("uImage", 0);
    m_pSplitProgram->setUniformValue("uDepth", 1);
    m_pSplitProgram->setUniformValue("uPremultiply", 1);
    m_pCompositeProgram->release();
    glGenVertexArrays(1, &m_emptyVao);
    glGenQueries(1, &m_query);
    m_bReady = true;
    return true;
}

void CKXGLTranslucency::releaseBuffers()
{
    glDeleteFramebuffers(2, m_layerFbo);
    glDeleteFramebuffers(1, &m_sumFbo);
    GLuint textures[5] = {m_layerDepth[0], m_layerDepth[1], m_layerColor, m_sumColor, m_farColor};
    glDeleteTextures(5, textures);
    glDeleteRenderbuffers(1, &m_depthStencil);
    m_layerFbo[0] = m_layerFbo[1] = m_sumFbo = 0;
    m_layerDepth[0] = m_layerDepth[1] = m_layerColor = m_sumColor = m_farColor = 0;
    m_depthStencil = 0;
    m_nWidth = m_nHeight = 0;
}

bool CKXGLTranslucency::ensureBuffers(int w, int h)
{
    if (w == m_nWidth && h == m_nHeight && m_sumFbo)
        return true;
    releaseBuffers();
    auto texture = [this, w, h](GLenum internal, GLenum format, GLenum type)
    {
        GLuint t = 0;
        glGenTextures(1, &t);
        glBindTexture(GL_TEXTURE_2D, t);
        glTexImage2D(GL_TEXTURE_2D, 0, GLint(internal), w, h, 0, format, type, nullptr);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
        return t;
    };
    m_layerColor = texture(GL_RGBA8, GL_RGBA, GL_UNSIGNED_BYTE);
    m_layerDepth[0] = texture(GL_R32F, GL_RED, GL_FLOAT);
    m_layerDepth[1] = texture(GL_R32F, GL_RED, GL_FLOAT);
    // Half floats: the sum of many faint layers keeps its low bits.
    m_sumColor = texture(GL_RGBA16F, GL_RGBA, GL_HALF_FLOAT);
    m_farColor = texture(GL_RGBA16F, GL_RGBA, GL_HALF_FLOAT);
    glBindTexture(GL_TEXTURE_2D, 0);
    // The same format as the view's own depth buffer, so that the opaque depth can be copied.
    glGenRenderbuffers(1, &m_depthStencil);
    glBindRenderbuffer(GL_RENDERBUFFER, m_depthStencil);
    glRenderbufferStorage(GL_RENDERBUFFER, GL_DEPTH24_STENCIL8, w, h);
    glBindRenderbuffer(GL_RENDERBUFFER, 0);

    bool complete = true;
    glGenFramebuffers(2, m_layerFbo);
    const GLenum buffers[2] = {GL_COLOR_ATTACHMENT0, GL_COLOR_ATTACHMENT1};
    for (int k = 0; k < 2; ++k)
    {
        glBindFramebuffer(GL_FRAMEBUFFER, m_layerFbo[k]);
        glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, m_layerColor,
                               0);
        glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT1, GL_TEXTURE_2D, m_layerDepth[k],
                               0);
        glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_DEPTH_STENCIL_ATTACHMENT, GL_RENDERBUFFER,
                                  m_depthStencil);
        glDrawBuffers(2, buffers);
        complete = complete && glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE;
    }
    glGenFramebuffers(1, &m_sumFbo);
    glBindFramebuffer(GL_FRAMEBUFFER, m_sumFbo);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, m_sumColor, 0);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT1, GL_TEXTURE_2D, m_farColor, 0);
    glDrawBuffers(2, buffers);
    complete = complete && glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE;
    // Out of memory for a very large view shows here, not in the completeness.
    complete = glGetError() == GL_NO_ERROR && complete;
    if (!complete)
    {
        qWarning("CKXGLTranslucency: no %d x %d layer buffers; translucent objects are sorted "
                 "whole instead",
                 w, h);
        releaseBuffers();
        return false;
    }
    m_nWidth = w;
    m_nHeight = h;
    return true;
}

void CKXGLTranslucency::composite(GLuint texture, bool premultiply)
{
    m_pCompositeProgram->bind();
    m_pCompositeProgram->setUniformValue("uPremultiply", premultiply ? 1 : 0);
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_2D, texture);
    glBindVertexArray(m_emptyVao);
    glDrawArrays(GL_TRIANGLES, 0, 3);
    glBindVertexArray(0);
    glBindTexture(GL_TEXTURE_2D, 0);
}

bool CKXGLTranslucency::draw(GLuint target, int w, int h, const QRect& area,
                             const std::function<void()>& drawLayer, float splitDepth,
                             const std::function<void()>& drawBetween)
{
    m_nLastLayers = 0;
    if (!m_bReady || m_bUnusable || w <= 0 || h <= 0)
        return false;
    auto between = [&]
    {
        if (!drawBetween)
            return;
        glDisable(GL_SCISSOR_TEST);
        glEnable(GL_DEPTH_TEST);
        glDepthMask(GL_FALSE);
        glEnable(GL_BLEND);
        drawBetween();
        glBindFramebuffer(GL_FRAMEBUFFER, target);
    };
    const QRect r = area & QRect(0, 0, w, h);
    if (r.isEmpty())
    {
        between(); // no surface in view
        return true;
    }
    // Earlier errors are not ours: only the checks below decide.
    while (glGetError() != GL_NO_ERROR)
    {
    }
    // A size whose buffers could not be had is not tried again every frame.
    if (QSize(w, h) == m_failedSize || !ensureBuffers(w, h))
    {
        m_failedSize = QSize(w, h);
        glBindFramebuffer(GL_FRAMEBUFFER, target);
        return false;
    }

    glEnable(GL_SCISSOR_TEST);
    glScissor(r.x(), r.y(), r.width(), r.height());
    const GLfloat transparent[4] = {0, 0, 0, 0};
    const GLfloat nothingAhead[4] = {-1, -1, -1, -1};
    const GLfloat nothingBehind[4] = {2, 2, 2, 2};
    const bool split = splitDepth <= 1.0f;
    glBindFramebuffer(GL_FRAMEBUFFER, m_sumFbo);
    glClearBufferfv(GL_COLOR, 0, transparent);
    if (split)
        glClearBufferfv(GL_COLOR, 1, transparent);
    // The first layer reads the second's depth texture: nothing in front of it.
    glBindFramebuffer(GL_FRAMEBUFFER, m_layerFbo[1]);
    glClearBufferfv(GL_COLOR, 1, nothingAhead);

    glBlendEquation(GL_FUNC_ADD);
    for (int layer = 0; layer < kMaxLayers; ++layer)
    {
        const int k = layer & 1;
        // The opaque scene's depth hides what lies behind it in every layer.
        glBindFramebuffer(GL_READ_FRAMEBUFFER, target);
        glBindFramebuffer(GL_DRAW_FRAMEBUFFER, m_layerFbo[k]);
        const int x1 = r.x() + r.width(), y1 = r.y() + r.height();
        glBlitFramebuffer(r.x(), r.y(), x1, y1, r.x(), r.y(), x1, y1, GL_DEPTH_BUFFER_BIT,
                          GL_NEAREST);
        if (layer == 0 && glGetError() != GL_NO_ERROR)
        {
            // A view depth buffer of another format: the copy is impossible for good.
            qWarning("CKXGLTranslucency: the view's depth cannot be copied; translucent "
                     "objects are sorted whole instead");
            m_bUnusable = true;
            glDisable(GL_SCISSOR_TEST);
            glBindFramebuffer(GL_FRAMEBUFFER, target);
            return false;
        }
        glBindFramebuffer(GL_FRAMEBUFFER, m_layerFbo[k]);
        glClearBufferfv(GL_COLOR, 0, transparent);
        // Where this layer finds nothing, the next must find nothing either (not what lies
        // behind an older layer's depth).
        glClearBufferfv(GL_COLOR, 1, nothingBehind);
        glActiveTexture(GL_TEXTURE0 + kPeelDepthUnit);
        glBindTexture(GL_TEXTURE_2D, m_layerDepth[1 - k]);
        glActiveTexture(GL_TEXTURE0);
        glDisable(GL_BLEND);
        glEnable(GL_DEPTH_TEST);
        glDepthFunc(GL_LEQUAL);
        glDepthMask(GL_TRUE);

        glBeginQuery(GL_SAMPLES_PASSED, m_query);
        drawLayer();
        glEndQuery(GL_SAMPLES_PASSED);
        GLuint samples = 0;
        glGetQueryObjectuiv(m_query, GL_QUERY_RESULT, &samples);
        glActiveTexture(GL_TEXTURE0 + kPeelDepthUnit);
        glBindTexture(GL_TEXTURE_2D, 0);
        glActiveTexture(GL_TEXTURE0);
        if (!samples)
            break;
        ++m_nLastLayers;

        // Under what the nearer layers left: sum += (1 - sum.a) * layer.a * layer.
        glBindFramebuffer(GL_FRAMEBUFFER, m_sumFbo);
        glDisable(GL_DEPTH_TEST);
        glDepthMask(GL_FALSE);
        glEnable(GL_BLEND);
        glBlendFuncSeparate(GL_ONE_MINUS_DST_ALPHA, GL_ONE, GL_ONE_MINUS_DST_ALPHA, GL_ONE);
        if (split)
        {
            // Near and far sums: a layer is the same depth order within each.
            m_pSplitProgram->bind();
            m_pSplitProgram->setUniformValue("uSplit", splitDepth);
            glActiveTexture(GL_TEXTURE1);
            glBindTexture(GL_TEXTURE_2D, m_layerDepth[k]);
            glActiveTexture(GL_TEXTURE0);
            glBindTexture(GL_TEXTURE_2D, m_layerColor);
            glBindVertexArray(m_emptyVao);
            glDrawArrays(GL_TRIANGLES, 0, 3);
            glBindVertexArray(0);
            glBindTexture(GL_TEXTURE_2D, 0);
            glActiveTexture(GL_TEXTURE1);
            glBindTexture(GL_TEXTURE_2D, 0);
            glActiveTexture(GL_TEXTURE0);
        }
        else
            composite(m_layerColor, true);
        // A pixel has a next layer only where it had this one. When this layer covered a few
        // pixels only, whatever lies behind it can change no more than those, faintly through
        // all the layers in front: not worth another pass over every surface.
        if (qint64(samples) < qint64(r.width()) * r.height() / kFewPixelsPer)
            break;
    }

    // The sums, premultiplied, over the opaque scene: far, what lies between, near.
    glBindFramebuffer(GL_FRAMEBUFFER, target);
    glDisable(GL_DEPTH_TEST);
    glDepthMask(GL_FALSE);
    glEnable(GL_BLEND);
    glBlendFuncSeparate(GL_ONE, GL_ONE_MINUS_SRC_ALPHA, GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
    if (m_nLastLayers > 0 && split)
        composite(m_farColor, false);
    between();
    if (m_nLastLayers > 0)
    {
        glEnable(GL_SCISSOR_TEST);
        glDisable(GL_DEPTH_TEST);
        glBlendEquation(GL_FUNC_ADD);
        glBlendFuncSeparate(GL_ONE, GL_ONE_MINUS_SRC_ALPHA, GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
        composite(m_sumColor, false);
    }
    glDisable(GL_SCISSOR_TEST);
    glEnable(GL_DEPTH_TEST);
    return true;
}

QRect CKXGLTranslucency::screenArea(const QMatrix4x4& mvp, const QVector3D& boxMin,
                                    const QVector3D& boxMax, int w, int h)
{
    const QRect all(0, 0, w, h);
    float x0 = 1, y0 = 1, x1 = -1, y1 = -1;
    for (int c = 0; c < 8; ++c)
    {
        const QVector4D p =
            mvp * QVector4D(c & 1 ? boxMax.x() : boxMin.x(), c & 2 ? boxMax.y() : boxMin.y(),
                            c & 4 ? boxMax.z() : boxMin.z(), 1.0f);
        if (!(p.w() > 1e-6f))
            return all;
        x0 = std::min(x0, p.x() / p.w());
        x1 = std::max(x1, p.x() / p.w());
        y0 = std::min(y0, p.y() / p.w());
        y1 = std::max(y1, p.y() / p.w());
    }
    if (!(x0 <= x1 && y0 <= y1))
        return all;
    // Clamped before the conversion: a box far off the view must not overflow the int.
    auto pixel = [](float ndc, int size)
    { return int(std::floor((std::clamp(ndc, -1.0f, 1.0f) * 0.5f + 0.5f) * size)); };
    return QRect(QPoint(pixel(x0, w) - 1, pixel(y0, h) - 1),
                 QPoint(pixel(x1, w) + 1, pixel(y1, h) + 1));
}
