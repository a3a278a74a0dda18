// The OpenGL 3.3 core renderer of the viewer's 3D view, private to kximage.
//
// Geometry is uploaded once per mesh; the subject's per-vertex photon density colours are
// re-uploaded only when its palette changed. Drawing order: background, opaque objects with
// depth writes, then every translucent, glowing or volumetric object back to front by its
// centre with depth writes off. A translucent closed surface is drawn as two items, its back
// faces behind and its front faces in front of whatever it encloses, so that organs and
// sources inside a translucent body are blended correctly. That is the order when per-pixel
// order is off. With it on (the default) every translucent surface is blended per pixel in its
// true depth order (CKXGLTranslucency), and the volumes are drawn, back to front, between the
// surface fragments behind and in front of the plane through their mean centre. The volumes
// themselves are drawn by CKXGLVolumes.
#ifndef CKXGLRENDERER_H
#define CKXGLRENDERER_H

#include "CKXCamera.h"

#include <QMatrix4x4>
#include <QOpenGLFunctions_3_3_Core>

#include <map>
#include <memory>
#include <vector>

class CKXSceneData;
class CKXSurfaceObject;
class CKXMeshObject;
struct CKXGeometry;
struct CKXObjectState;
class QOpenGLShaderProgram;
class CKXGLTranslucency;
class CKXGLVolumes;

class CKXGLRenderer : protected QOpenGLFunctions_3_3_Core
{
public:
    explicit CKXGLRenderer(CKXSceneData* pScene);
    // Call with the context current.
    ~CKXGLRenderer();

    // Compiles the shaders and makes the static buffers; false (and a warning) on failure.
    bool initialize();
    // Draws into the framebuffer bound now.
    void render(const CKXCamera& camera);
    // Per-pixel order of translucent surfaces (on by default); off sorts them as whole objects
    // only, as the view did before, for comparisons.
    void setOrderIndependent(bool bOn) { m_bOrderIndependent = bOn; }
    // Layers the last frame peeled, 0 when it had no translucent surfaces or sorted them.
    int lastLayerCount() const { return m_nLastLayers; }

private:
    struct GpuMesh;
    struct Item;

    GpuMesh& gpuMesh(const CKXGeometry& geometry);
    GpuMesh& gpuMesh(const CKXMeshObject& mesh, bool farSide);
    void drawBackground(const CKXCamera& camera);
    void drawSurface(const CKXCamera& camera, const CKXGeometry& geometry, GpuMesh& gpu,
                     const CKXObjectState& state, float opacity, bool useVertexColors,
                     float emission, int pass);
    void drawBox(const CKXCamera& camera, const CKXGeometry& geometry, const QColor& color,
                 float opacity);

    CKXSceneData* m_pScene;
    bool m_bReady = false;
    // This frame's transform of the subject frame (anatomical millimetres) to clip space.
    QMatrix4x4 m_mvp;
    std::unique_ptr<QOpenGLShaderProgram> m_pSurfaceProgram;
    std::unique_ptr<QOpenGLShaderProgram> m_pBackgroundProgram;
    // The program surfaces are drawn with: the surface program, or the peel program while a
    // layer of translucent surfaces is peeled.
    QOpenGLShaderProgram* m_pSurface = nullptr;
    std::unique_ptr<CKXGLTranslucency> m_pTranslucency;
    std::unique_ptr<CKXGLVolumes> m_pVolumes;
    bool m_bOrderIndependent = true;
    int m_nLastLayers = 0;
    std::map<const CKXGeometry*, std::unique_ptr<GpuMesh>> m_meshes;
    // Static buffers.
    GLuint m_emptyVao = 0;
    GLuint m_boxVao = 0, m_boxVbo = 0;
};

#endif // CKXGLRENDERER_H
