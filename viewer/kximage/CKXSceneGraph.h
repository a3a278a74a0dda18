// The concrete scene-graph nodes of the viewer: triangle meshes (the subject's surface, organs,
// source surfaces), voxel volumes (light sources and the multimodality volume) and group nodes.
// Every node keeps its own display state (what the renderer draws) and reports each change to
// its scene (CKXSceneData), which keeps the palette-facing tag_s3Dcontrols in step.
#ifndef CKXSCENEGRAPH_H
#define CKXSCENEGRAPH_H

#include "C3DMesh.h"
#include "C3DVolume.h"
#include "CKXGeometry.h"
#include "CKXPalette.h"
#include "CKXScalarImage.h"

#include <QColor>
#include <QList>
#include <QMatrix4x4>
#include <QString>
#include <QVector3D>

#include <cmath>
#include <memory>
#include <vector>

class CKXSceneData;

// What a node reports to its scene.
enum class CKXField
{
    Visible,
    Opacity,
    Color,
    DrawMode,
    ShadeMode,
    PhotonDensityVisible,
    VolumeOpacity,
    Mip,
    Thresholding,
    Threshold,
    VoxelType,
    LogScale,
    Reversed,
    ColorTable
};

// The part a node plays in the scene: decides which display controls it feeds.
enum class CKXRole
{
    Mesh,
    Organ,
    OrganGroup,
    SourceSurface,      // a surface of a light source (original or "SourceSurface" source)
    SourceSurfaceGroup, // the "SourceSurface" source itself
    SourceVolume,       // the voxels of a light source (original or "SourceVoxels" source)
    MultimodalityVolume // "GLVolume"
};

// Display state shared by every node.
struct CKXObjectState
{
    bool visible = true;
    float opacity = 1.0f;
    QColor color = QColor(200, 200, 200);
    int drawMode = 2;  // 0 vertices, 1 wireframe, 2 solid, 3 wire + solid
    int shadeMode = 2; // 0 box, 1 smooth solid, 2 lit, 3 solid lit
};

// Implements C3DObject (and C3DSGNode) for a node class derived from it.
template <class Base> class CKXObjectImpl : public Base
{
public:
    CKXObjectImpl(CKXSceneData* pScene, QString strName, CKXRole eRole, QString strSourceKey)
        : m_pScene(pScene), m_strName(std::move(strName)), m_eRole(eRole),
          m_strSourceKey(std::move(strSourceKey))
    {
    }

    QString getName() const override { return m_strName; }
    QList<C3DObject*> getChildren() const override { return {}; }

    void show(bool bShow) override
    {
        m_state.visible = bShow;
        edited(CKXField::Visible);
    }
    bool isDisplayed() const override { return m_state.visible; }
    void setOpacity(float fOpacity) override
    {
        m_state.opacity = toOpacity(fOpacity, m_state.opacity);
        edited(CKXField::Opacity);
    }
    void setFaceSetColor(float fRed, float fGreen, float fBlue) override
    {
        m_state.color = QColor(toByte(fRed), toByte(fGreen), toByte(fBlue));
        edited(CKXField::Color);
    }
    void setDrawMode(int nMode) override
    {
        m_state.drawMode = nMode;
        edited(CKXField::DrawMode);
    }
    void setShadeMode(int nMode) override
    {
        m_state.shadeMode = nMode;
        edited(CKXField::ShadeMode);
    }

    const CKXObjectState& state() const { return m_state; }
    CKXRole role() const { return m_eRole; }
    // The key of sourceControls this node feeds (empty for non-source nodes).
    const QString& sourceKey() const { return m_strSourceKey; }

    // Colour components and opacities are fractions 0..1, but callers may pass anything (a
    // key frame read from a file): values are clamped, a NaN colour component counts as 0 and
    // a NaN opacity keeps the current one.
    static int toByte(float f)
    {
        const float c = std::isnan(f) ? 0.0f : (f < 0.0f ? 0.0f : (f > 1.0f ? 1.0f : f));
        return static_cast<int>(c * 255.0f + 0.5f);
    }
    static float toOpacity(float f, float fCurrent)
    {
        return std::isnan(f) ? fCurrent : (f < 0.0f ? 0.0f : (f > 1.0f ? 1.0f : f));
    }

protected:
    void edited(CKXField eField);

    CKXSceneData* m_pScene;
    QString m_strName;
    CKXRole m_eRole;
    QString m_strSourceKey;
    CKXObjectState m_state;
};

extern template class CKXObjectImpl<C3DObject>;
extern template class CKXObjectImpl<C3DMesh>;
extern template class CKXObjectImpl<C3DVolume>;

// A triangle surface: an organ or a light source's surface.
class CKXSurfaceObject : public CKXObjectImpl<C3DObject>
{
public:
    CKXSurfaceObject(CKXSceneData* pScene, const QString& strName, CKXRole eRole,
                     const QString& strSourceKey, std::shared_ptr<const CKXGeometry> pGeometry);
    const CKXGeometry& geometry() const { return *m_pGeometry; }
    // Sources glow a little even where unlit.
    float emission() const { return m_fEmission; }
    void setEmission(float f) { m_fEmission = f; }
    // Organ colours are fixed per organ; the organ group leaves them alone.
    void setInitialState(const CKXObjectState& state) { m_state = state; }

private:
    std::shared_ptr<const CKXGeometry> m_pGeometry;
    float m_fEmission = 0.0f;
};

// The subject's surface mesh ("3DMesh") with its photon density map.
class CKXMeshObject : public CKXObjectImpl<C3DMesh>
{
public:
    CKXMeshObject(CKXSceneData* pScene, const QString& strName,
                  std::shared_ptr<const CKXGeometry> pGeometry, std::vector<float> photonDensity);

    bool isPhotonDensityMappingValid() const override;
    void showPhotonDensity(bool bShow) override;
    CXKPalette* getColorPalette() override { return &m_palette; }
    void updateColorData(CXKPalette* pPalette) override;
    void getPDImageMinMax(double& dMin, double& dMax) const override;

    const CKXGeometry& geometry() const { return *m_pGeometry; }
    // A coarser copy of the surface with its own densities, for drawing the far side of the
    // translucent body (seen only through the near side); null when there is none.
    void setFarSideProxy(std::shared_ptr<const CKXGeometry> pGeometry, std::vector<float> density);
    const CKXGeometry* farSideProxy() const { return m_pProxy.get(); }
    CKXPalette& palette() { return m_palette; }
    const CKXPalette& palette() const { return m_palette; }
    const CKXScalarImage& photonDensity() const { return m_image; }
    bool isPhotonDensityShown() const { return m_bShowPD; }
    // RGBA per vertex from the palette (alpha 0 where the density is below the palette's
    // range); recomputed only when the palette changed.
    const std::vector<unsigned char>& vertexColors() const;
    const std::vector<unsigned char>& proxyColors() const;
    unsigned colorVersion() const { return m_palette.version(); }

private:
    void colorize(const std::vector<float>& density, std::vector<unsigned char>& colors) const;

    std::shared_ptr<const CKXGeometry> m_pGeometry;
    std::shared_ptr<const CKXGeometry> m_pProxy;
    std::vector<float> m_proxyDensity;
    mutable std::vector<unsigned char> m_proxyColors;
    mutable unsigned m_nProxyColoredVersion = 0;
    CKXScalarImage m_image;
    CKXPalette m_palette;
    bool m_bShowPD = true;
    mutable std::vector<unsigned char> m_colors;
    mutable unsigned m_nColoredVersion = 0;
};

// Display settings of a voxel volume.
struct CKXVolumeState
{
    float voxelOpacity = 1.0f;
    bool mip = false;
    bool thresholding = false;
    float threshold = 0.0f;
    int voxelType = 0; // 0 cubes, 1 points, 2 spheres
    bool logScale = false;
    bool reversed = false;
    int colorTable = CKXPalette::HotIron;
    double colorMin = 0.0; // percent of the intensity range
    double colorMax = 100.0;
};

// A voxel volume. A light source holds its voxels sparsely (centre and intensity of each voxel
// worth drawing); the multimodality volume holds a dense grid of densities 0..255.
class CKXVolumeObject : public CKXObjectImpl<C3DVolume>
{
public:
    struct SparseVoxels
    {
        std::vector<float> voxels; // x, y, z, intensity per voxel, brightest first
        float voxelSize = 1.0f;    // edge length, mm
        QVector3D centre;          // intensity-weighted centre
        float radius = 0.0f;
    };
    struct DenseGrid
    {
        int nx = 0, ny = 0, nz = 0;
        std::vector<unsigned char> density; // i fastest, then j, then k
        QMatrix4x4 voxelToWorld;            // (i, j, k, 1) of a voxel's centre -> millimetres
        QVector3D boxMin, boxMax;           // world bounds of the grid's outer voxel faces
    };

    CKXVolumeObject(CKXSceneData* pScene, const QString& strName, CKXRole eRole,
                    const QString& strSourceKey);

    void setDymaicOpaque(float fOpacity) override;
    void setMIP(bool bMip) override;
    void setThresholding(bool bOn) override;
    void setThreshold(float fThreshold) override;
    void setVoxelType(int nType) override;
    void setLogScale(bool bLog) override;
    void setColorMapReversed(bool bReversed) override;
    void setColorTable(int nTable, double dMin, double dMax) override;
    // For a volume, the object opacity is the voxel opacity.
    void setOpacity(float fOpacity) override;

    const CKXVolumeState& volumeState() const { return m_volume; }
    // Intensity units of the volume: 0..intensityMax().
    float intensityMax() const { return m_fIntensityMax; }

    bool isDense() const { return m_dense.nx > 0; }
    const SparseVoxels& sparse() const { return m_sparse; }
    // How many voxels (from the brightest) the threshold leaves visible.
    int visibleVoxelCount() const;
    const DenseGrid& dense() const { return m_dense; }
    void setSparse(SparseVoxels voxels, float fIntensityMax);
    void setDense(DenseGrid grid);
    void setInitialState(const CKXObjectState& state, const CKXVolumeState& volume)
    {
        m_state = state;
        m_volume = volume;
    }
    QVector3D centre() const;
    float radius() const;

private:
    CKXVolumeState m_volume;
    SparseVoxels m_sparse;
    DenseGrid m_dense;
    float m_fIntensityMax = 100.0f;
};

// A node that groups objects: the organ surfaces ("Organ Surface") or a surface source. Display
// calls go to every child; for the organ group, show() switches the organs as a whole without
// touching each organ's own visibility.
class CKXGroupNode : public CKXObjectImpl<C3DObject>
{
public:
    CKXGroupNode(CKXSceneData* pScene, const QString& strName, CKXRole eRole,
                 const QString& strSourceKey);

    QList<C3DObject*> getChildren() const override { return m_children; }
    void show(bool bShow) override;
    void setOpacity(float fOpacity) override;
    void setFaceSetColor(float fRed, float fGreen, float fBlue) override;
    void setDrawMode(int nMode) override;
    void setShadeMode(int nMode) override;

    void addChild(C3DObject* pChild) { m_children.append(pChild); }
    void setInitialState(const CKXObjectState& state) { m_state = state; }

private:
    QList<C3DObject*> m_children;
};

#endif // CKXSCENEGRAPH_H
