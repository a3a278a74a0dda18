// Translucent surfaces of the 3D view blended in their true depth order at every pixel, private
// to kximage. Sorting whole objects cannot do that: a surface folded behind itself (the far ear
// behind the head) or two organs that cut through each other have no single right order.
//
// The method is depth peeling: each pass over the surfaces keeps, per pixel, the nearest
// fragment behind the previous pass's, so pass k holds the k-th surface from the eye. The
// layers are summed front to back and the sum is laid over the opaque scene once. It is exact,
// and it keeps each surface's colour and opacity as the sorted drawing had them, so the
// pictures change only where the order was wrong. Weighted blended transparency would take
// one pass, but it averages the colours of all layers by a depth weight: behind the body's
// 84 % skin, which should let 16 % through, the organs, the far wall and the far ear
// would each weigh about as much as the skin itself, which is the fault in another form. The
// price of peeling is one draw of the translucent surfaces per layer (the sample needs 5, see
// docs/performance.md); the layers stop as soon as a pass finds almost nothing more (see
// kFewPixelsPer), and at kMaxLayers, beyond which what is left shows through a few percent.
//
// Volumes (a light source's voxels, the multimodality volume) are not peeled. Every layer is
// summed into one of two sums, near or far of a depth plane between the surfaces, so that the
// surfaces are peeled once however many volumes lie among them: the far sum is laid over the
// opaque scene, the volumes are drawn over it, and the near sum over them.
//
// Memory: per view pixel one RGBA8 layer colour, two R32F layer depths, a 24/8 depth-stencil
// and two RGBA16F sums, 32 bytes (66 MB at 1920x1080), allocated at the first translucent frame
// and again when the size changes.
#ifndef CKXGLTRANSLUCENCY_H
#define CKXGLTRANSLUCENCY_H

#include <QMatrix4x4>
#include <QOpenGLFunctions_3_3_Core>
#include <QRect>
#include <QSize>
#include <QVector3D>

#include <functional>
#include <memory>

class QOpenGLShaderProgram;

class CKXGLTranslucency : protected QOpenGLFunctions_3_3_Core
{
public:
    // Peeled layers per frame at most.
    static constexpr int kMaxLayers = 8;
    // Peeling ends after a layer that covered fewer than one in kFewPixelsPer pixels of the
    // surfaces' screen box: what lies behind it may differ there only. In the sample scene
    // that leaves out a sixth layer of 218 pixels at 1600x1000, none off by more than 1 of 255.
    static constexpr int kFewPixelsPer = 100;
    // The texture unit the peel program's "uPeelDepth" reads.
    static constexpr int kPeelDepthUnit = 2;

    CKXGLTranslucency();
    // Call with the context current.
    ~CKXGLTranslucency();

    // Compiles the programs; false (and a warning) on failure. Context current.
    bool initialize();
    // The program the surfaces are drawn with while a layer is peeled (owned here); its
    // "uPeelDepth" is set to kPeelDepthUnit.
    QOpenGLShaderProgram* peelProgram() const { return m_pPeelProgram.get(); }

    // Lays the surfaces that drawLayer draws over the framebuffer `target` (pixelWidth x
    // pixelHeight, its depth buffer holding the opaque scene), each pixel blended front to
    // back. drawLayer is called once per layer with depth test and depth writes on, blending
    // off, and must draw every surface with peelProgram(). Returns false, having drawn
    // nothing, when the layer buffers cannot be had (the caller then draws its own way). Leaves
    // `target` bound, depth writes off and blending on.
    // Only the pixels of `area` (framebuffer pixels, y up; clipped to the view) are touched:
    // every pass costs per pixel, and the surfaces often cover a fraction of the view.
    // drawBetween (may be empty) is called once, with `target` bound, depth test on, depth
    // writes off and blending on, after the surface fragments at window depths from
    // splitDepth on and before those in front of it; splitDepth above 1 puts all in front.
    bool draw(GLuint target, int pixelWidth, int pixelHeight, const QRect& area,
              const std::function<void()>& drawLayer, float splitDepth = 2.0f,
              const std::function<void()>& drawBetween = {});
    // The framebuffer pixels (y up) that the box [boxMin, boxMax] covers under mvp, a pixel
    // wider on each side; the whole pixelWidth x pixelHeight view when part of the box lies
    // behind the eye or the matrix is not a number.
    static QRect screenArea(const QMatrix4x4& mvp, const QVector3D& boxMin, const QVector3D& boxMax,
                            int pixelWidth, int pixelHeight);
    // Layers the last draw() peeled (1..kMaxLayers), 0 when it drew nothing.
    int lastLayerCount() const { return m_nLastLayers; }

private:
    bool ensureBuffers(int pixelWidth, int pixelHeight);
    void releaseBuffers();
    void composite(GLuint texture, bool premultiply);

    bool m_bReady = false;
    bool m_bUnusable = false; // the depth copy failed once: never again
    QSize m_failedSize;       // the view size whose layer buffers could not be made
    std::unique_ptr<QOpenGLShaderProgram> m_pPeelProgram;
    std::unique_ptr<QOpenGLShaderProgram> m_pCompositeProgram;
    std::unique_ptr<QOpenGLShaderProgram> m_pSplitProgram;
    int m_nWidth = 0, m_nHeight = 0;
    // Two layer framebuffers share the colour and depth-stencil buffers and differ in the
    // depth texture they write; each layer reads the other's.
    GLuint m_layerFbo[2] = {0, 0};
    GLuint m_layerDepth[2] = {0, 0};
    GLuint m_layerColor = 0;
    GLuint m_depthStencil = 0;
    // The sum framebuffer holds the near sum (attachment 0) and the far sum (attachment 1).
    GLuint m_sumFbo = 0, m_sumColor = 0, m_farColor = 0;
    GLuint m_emptyVao = 0;
    GLuint m_query = 0;
    int m_nLastLayers = 0;
};

#endif // CKXGLTRANSLUCENCY_H
