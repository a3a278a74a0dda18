// The volumes of the 3D view's renderer, private to kximage: a light source's voxels (cubes,
// points or spheres whose colours add up, or keep the brightest along each ray with maximum
// intensity projection) and the multimodality volume (slices through a 3D texture, blended
// back to front). They are never peeled: CKXGLRenderer places them among the translucent
// surfaces.
//
// Holds their GL buffers, textures and programs, and the colour tables both look up. A
// volume's buffers are made at its first draw and kept, keyed by the object, which must
// outlive this; the dense texture holds one volume at a time and is remade when another is
// drawn.
#ifndef CKXGLVOLUMES_H
#define CKXGLVOLUMES_H

#include <QMatrix4x4>
#include <QOpenGLFunctions_3_3_Core>

#include <map>
#include <memory>

class CKXVolumeObject;
class QOpenGLShaderProgram;
struct CKXCamera;

class CKXGLVolumes : protected QOpenGLFunctions_3_3_Core
{
public:
    CKXGLVolumes();
    // Call with the context current.
    ~CKXGLVolumes();

    // Compiles the programs and makes the colour tables; false (and a warning) on failure.
    // Context current.
    bool initialize();
    // Both draw into the framebuffer bound now, over what it holds, with blending on and
    // depth writes off; modelView takes the subject frame (millimetres) to eye space.
    // The voxels of a source volume; leaves the blend equation GL_FUNC_ADD.
    void drawVoxels(const CKXCamera& camera, const QMatrix4x4& modelView,
                    const CKXVolumeObject& volume);
    // A dense volume's slices, far to near; nothing for a volume that is not dense.
    void drawDense(const CKXCamera& camera, const QMatrix4x4& modelView,
                   const CKXVolumeObject& volume);

private:
    void ensureDenseTexture(const CKXVolumeObject& volume);

    bool m_bReady = false;
    std::unique_ptr<QOpenGLShaderProgram> m_pVoxelProgram;
    std::unique_ptr<QOpenGLShaderProgram> m_pSliceProgram;
    GLuint m_sphereVbo = 0;
    int m_nSphereVertices = 0;
    // Per voxel volume: the voxels as instances (spheres) and as points, and every voxel's
    // cube written out in one indexed buffer (llvmpipe pays per instance, so one long draw of
    // cubes is much cheaper than instancing them).
    struct GpuVoxels
    {
        GLuint instances = 0, sphereVao = 0, pointVao = 0;
        GLuint cubeVao = 0, cubeVbo = 0, cubeIbo = 0;
        int count = 0;
    };
    std::map<const CKXVolumeObject*, GpuVoxels> m_voxels;
    GLuint m_tableTexture = 0; // every colour table, one row each
    GLuint m_denseTexture = 0;
    const CKXVolumeObject* m_pDenseSource = nullptr;
    GLuint m_sliceVao = 0, m_sliceVbo = 0;
};

#endif // CKXGLVOLUMES_H
