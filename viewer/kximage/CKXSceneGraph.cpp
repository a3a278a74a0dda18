#include "CKXSceneGraph.h"

#include "CKXSceneData.h"

#include <algorithm>
#include <cmath>

// ---------------------------------------------------------------------------------------------
// CKXObjectImpl

template <class Base> void CKXObjectImpl<Base>::edited(CKXField eField)
{
    if (m_pScene)
        m_pScene->objectEdited(m_eRole, m_strSourceKey, m_state, nullptr, eField);
}

template class CKXObjectImpl<C3DObject>;
template class CKXObjectImpl<C3DMesh>;
template class CKXObjectImpl<C3DVolume>;

// ---------------------------------------------------------------------------------------------
// CKXSurfaceObject

CKXSurfaceObject::CKXSurfaceObject(CKXSceneData* pScene, const QString& strName, CKXRole eRole,
                                   const QString& strSourceKey,
                                   std::shared_ptr<const CKXGeometry> pGeometry)
    : CKXObjectImpl<C3DObject>(pScene, strName, eRole, strSourceKey),
      m_pGeometry(std::move(pGeometry))
{
}

// ---------------------------------------------------------------------------------------------
// CKXMeshObject

CKXMeshObject::CKXMeshObject(CKXSceneData* pScene, const QString& strName,
                             std::shared_ptr<const CKXGeometry> pGeometry,
                             std::vector<float> photonDensity)
    : CKXObjectImpl<C3DMesh>(pScene, strName, CKXRole::Mesh, QString()),
      m_pGeometry(std::move(pGeometry)), m_image(std::move(photonDensity))
{
    m_palette.setChangeListener(
        [this](CKXPalette* p)
        {
            if (m_pScene)
                m_pScene->paletteEdited(p);
        });
}

bool CKXMeshObject::isPhotonDensityMappingValid() const
{
    return !m_image.isEmpty();
}

void CKXMeshObject::showPhotonDensity(bool bShow)
{
    m_bShowPD = bShow;
    edited(CKXField::PhotonDensityVisible);
}

void CKXMeshObject::updateColorData(CXKPalette* pPalette)
{
    // Another palette's settings are taken over, so that the colours follow what was passed.
    if (auto* p = dynamic_cast<CKXPalette*>(pPalette); p && p != &m_palette)
    {
        m_palette.setColorTableType(p->colorTable(), p->low(), p->high());
        m_palette.SetColorTable(p->colorTable(), p->minimum(), p->maximum());
        m_palette.setReversed(p->isReversed());
        m_palette.setLogScale(p->isLogScale());
    }
    m_nColoredVersion = 0; // recolour on next use
    m_nProxyColoredVersion = 0;
    edited(CKXField::ColorTable);
}

void CKXMeshObject::getPDImageMinMax(double& dMin, double& dMax) const
{
    m_image.getMinMax(dMin, dMax);
}

void CKXMeshObject::setFarSideProxy(std::shared_ptr<const CKXGeometry> pGeometry,
                                    std::vector<float> density)
{
    m_pProxy = std::move(pGeometry);
    m_proxyDensity = std::move(density);
    m_nProxyColoredVersion = 0;
}

// The colour is the palette's; its weight over the mesh colour (alpha) fades in over the lowest
// tenth of the range, so the map has a soft edge instead of a jagged one.
void CKXMeshObject::colorize(const std::vector<float>& density,
                             std::vector<unsigned char>& colors) const
{
    colors.resize(4 * density.size());
    for (size_t i = 0; i < density.size(); ++i)
    {
        unsigned char* c = &colors[4 * i];
        m_palette.mapToBytes(density[i], c);
        const double f = m_palette.rangeFraction(density[i]);
        if (c[3] && f < 0.1)
            c[3] = static_cast<unsigned char>(std::lround(255.0 * f / 0.1));
    }
}

const std::vector<unsigned char>& CKXMeshObject::vertexColors() const
{
    if (m_nColoredVersion != m_palette.version() || m_colors.empty())
    {
        colorize(m_image.values(), m_colors);
        m_nColoredVersion = m_palette.version();
    }
    return m_colors;
}

const std::vector<unsigned char>& CKXMeshObject::proxyColors() const
{
    if (m_nProxyColoredVersion != m_palette.version() || m_proxyColors.empty())
    {
        colorize(m_proxyDensity, m_proxyColors);
        m_nProxyColoredVersion = m_palette.version();
    }
    return m_proxyColors;
}

// ---------------------------------------------------------------------------------------------
// CKXVolumeObject

CKXVolumeObject::CKXVolumeObject(CKXSceneData* pScene, const QString& strName, CKXRole eRole,
                                 const QString& strSourceKey)
    : CKXObjectImpl<C3DVolume>(pScene, strName, eRole, strSourceKey)
{
}

#define KX_VOLUME_EDIT(field)                                                                      \
    if (m_pScene)                                                                                  \
        m_pScene->objectEdited(m_eRole, m_strSourceKey, m_state, &m_volume, field);

void CKXVolumeObject::setDymaicOpaque(float fOpacity)
{
    m_state.opacity = toOpacity(fOpacity, m_state.opacity);
    m_volume.voxelOpacity = m_state.opacity;
    KX_VOLUME_EDIT(CKXField::VolumeOpacity)
}

void CKXVolumeObject::setOpacity(float fOpacity)
{
    setDymaicOpaque(fOpacity);
}

void CKXVolumeObject::setMIP(bool bMip)
{
    m_volume.mip = bMip;
    KX_VOLUME_EDIT(CKXField::Mip)
}

void CKXVolumeObject::setThresholding(bool bOn)
{
    m_volume.thresholding = bOn;
    KX_VOLUME_EDIT(CKXField::Thresholding)
}

void CKXVolumeObject::setThreshold(float fThreshold)
{
    if (!std::isfinite(fThreshold))
    {
        return; // no voxel compares sensibly with it; the volume keeps its threshold
    }
    m_volume.threshold = fThreshold;
    KX_VOLUME_EDIT(CKXField::Threshold)
}

void CKXVolumeObject::setVoxelType(int nType)
{
    m_volume.voxelType = nType;
    KX_VOLUME_EDIT(CKXField::VoxelType)
}

void CKXVolumeObject::setLogScale(bool bLog)
{
    m_volume.logScale = bLog;
    KX_VOLUME_EDIT(CKXField::LogScale)
}

void CKXVolumeObject::setColorMapReversed(bool bReversed)
{
    m_volume.reversed = bReversed;
    KX_VOLUME_EDIT(CKXField::Reversed)
}

void CKXVolumeObject::setColorTable(int nTable, double dMin, double dMax)
{
    if (!std::isfinite(dMin) || !std::isfinite(dMax))
    {
        dMin = 0.0; // the full range, as the reset before a key frame's own range
        dMax = 1.0;
    }
    m_volume.colorTable = nTable;
    m_volume.colorMin = dMin;
    m_volume.colorMax = dMax;
    KX_VOLUME_EDIT(CKXField::ColorTable)
}

#undef KX_VOLUME_EDIT

void CKXVolumeObject::setSparse(SparseVoxels voxels, float fIntensityMax)
{
    m_sparse = std::move(voxels);
    m_fIntensityMax = fIntensityMax;
}

void CKXVolumeObject::setDense(DenseGrid grid)
{
    m_dense = std::move(grid);
    m_fIntensityMax = 255.0f;
}

int CKXVolumeObject::visibleVoxelCount() const
{
    const std::vector<float>& v = m_sparse.voxels;
    const int n = static_cast<int>(v.size() / 4);
    if (!m_volume.thresholding)
        return n;
    int lo = 0, hi = n; // first voxel below the threshold
    while (lo < hi)
    {
        const int mid = (lo + hi) / 2;
        if (v[4 * static_cast<size_t>(mid) + 3] >= m_volume.threshold)
            lo = mid + 1;
        else
            hi = mid;
    }
    return lo;
}

QVector3D CKXVolumeObject::centre() const
{
    return isDense() ? 0.5f * (m_dense.boxMin + m_dense.boxMax) : m_sparse.centre;
}

float CKXVolumeObject::radius() const
{
    return isDense() ? 0.5f * (m_dense.boxMax - m_dense.boxMin).length() : m_sparse.radius;
}

// ---------------------------------------------------------------------------------------------
// CKXGroupNode

CKXGroupNode::CKXGroupNode(CKXSceneData* pScene, const QString& strName, CKXRole eRole,
                           const QString& strSourceKey)
    : CKXObjectImpl<C3DObject>(pScene, strName, eRole, strSourceKey)
{
}

void CKXGroupNode::show(bool bShow)
{
    m_pScene->beginBatch();
    m_state.visible = bShow;
    if (m_eRole != CKXRole::OrganGroup)
        for (C3DObject* c : m_children)
            c->show(bShow);
    edited(CKXField::Visible);
    m_pScene->endBatch();
}

void CKXGroupNode::setOpacity(float fOpacity)
{
    m_pScene->beginBatch();
    m_state.opacity = toOpacity(fOpacity, m_state.opacity);
    for (C3DObject* c : m_children)
        c->setOpacity(fOpacity);
    edited(CKXField::Opacity);
    m_pScene->endBatch();
}

void CKXGroupNode::setFaceSetColor(float fRed, float fGreen, float fBlue)
{
    m_pScene->beginBatch();
    m_state.color = QColor(toByte(fRed), toByte(fGreen), toByte(fBlue));
    for (C3DObject* c : m_children)
        c->setFaceSetColor(fRed, fGreen, fBlue);
    edited(CKXField::Color);
    m_pScene->endBatch();
}

void CKXGroupNode::setDrawMode(int nMode)
{
    m_pScene->beginBatch();
    m_state.drawMode = nMode;
    for (C3DObject* c : m_children)
        c->setDrawMode(nMode);
    edited(CKXField::DrawMode);
    m_pScene->endBatch();
}

void CKXGroupNode::setShadeMode(int nMode)
{
    m_pScene->beginBatch();
    m_state.shadeMode = nMode;
    for (C3DObject* c : m_children)
        c->setShadeMode(nMode);
    edited(CKXField::ShadeMode);
    m_pScene->endBatch();
}
