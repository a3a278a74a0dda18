#include "CKXSceneData.h"

#include "CKXSampleSubject.h"
#include "PLConstants.h"

#include <QtMath>

#include <cmath>

namespace
{
const QString kOriginal = QStringLiteral("Original");
const QString kGLVolume = QStringLiteral("GLVolume");

int percent(float f)
{
    return static_cast<int>(std::lround(f * 100.0f));
}

// The index of the last flag set (the plug-in switches modes on in ascending order, so the
// last one wins), or -1 when none is.
int lastSet(bool b0, bool b1, bool b2, bool b3)
{
    return b3 ? 3 : b2 ? 2 : b1 ? 1 : b0 ? 0 : -1;
}

void setOneHot(int nMode, bool& b0, bool& b1, bool& b2, bool& b3)
{
    b0 = nMode == 0;
    b1 = nMode == 1;
    b2 = nMode == 2;
    b3 = nMode == 3;
}

struct VariantSpec
{
    KXSampleSubject::SourceSpec original;
    KXSampleSubject::SourceSpec voxels;
    std::vector<KXSampleSubject::SourceSpec> surfaces;
    int originalTable;
    int voxelTable;
    QColor originalSurfaceColor;
    QColor surfaceColor;
};

VariantSpec variantSpec(int nVariant)
{
    using KXSampleSubject::Lobe;
    VariantSpec v;
    if (nVariant == 1)
    {
        // A lung lesion on the animal's left, a flank source and a pair of nodes by the tail.
        v.original.lobes = {Lobe{{14.0f, 5.0f, 3.6f}, {2.6f, 2.2f, 2.2f}, 1.0f},
                            Lobe{{16.5f, 6.2f, 2.0f}, {1.8f, 1.6f, 1.6f}, 0.55f}};
        v.voxels.lobes = {Lobe{{-17.0f, -6.5f, 0.0f}, {2.8f, 2.2f, 2.4f}, 1.0f},
                          Lobe{{-20.0f, -5.0f, -1.5f}, {1.8f, 1.8f, 1.6f}, 0.5f}};
        v.surfaces = {{{Lobe{{-30.0f, 4.5f, 2.0f}, {1.8f, 1.5f, 1.5f}, 1.0f}}},
                      {{Lobe{{-26.0f, -3.5f, 4.0f}, {1.5f, 1.3f, 1.3f}, 1.0f}}}};
        v.originalTable = CKXPalette::Rainbow;
        v.voxelTable = CKXPalette::Viridis;
        v.originalSurfaceColor = QColor(120, 230, 255);
        v.surfaceColor = QColor(255, 90, 210);
        return v;
    }
    // A tumour on the animal's right flank by the kidney, a source under the back and two
    // lymph nodes in the neck.
    v.original.lobes = {Lobe{{-9.0f, -8.5f, 0.5f}, {3.0f, 2.4f, 2.6f}, 1.0f},
                        Lobe{{-6.5f, -9.5f, 2.0f}, {2.0f, 1.6f, 1.8f}, 0.6f}};
    v.voxels.lobes = {Lobe{{-1.0f, 3.5f, 6.5f}, {2.4f, 2.2f, 2.0f}, 1.0f},
                      Lobe{{1.0f, 2.5f, 5.5f}, {1.6f, 1.5f, 1.5f}, 0.45f}};
    v.surfaces = {{{Lobe{{21.0f, -4.0f, -4.0f}, {1.7f, 1.4f, 1.4f}, 1.0f}}},
                  {{Lobe{{21.5f, 4.0f, -3.8f}, {1.5f, 1.3f, 1.3f}, 1.0f}}}};
    v.originalTable = CKXPalette::HotIron;
    v.voxelTable = CKXPalette::GreenFluor;
    v.originalSurfaceColor = QColor(255, 150, 60);
    v.surfaceColor = QColor(90, 220, 255);
    return v;
}
} // namespace

CKXSceneData::CKXSceneData(int nVariant) : m_nVariant(nVariant == 1 ? 1 : 0)
{
    build();
    applyControls(defaultControls());
}

CKXSceneData::~CKXSceneData() = default;

template <class T, class... Args> T* CKXSceneData::make(Args&&... args)
{
    auto p = std::make_unique<T>(this, std::forward<Args>(args)...);
    T* raw = p.get();
    m_storage.push_back(std::move(p));
    m_nodes.insert(raw->getName(), raw);
    return raw;
}

void CKXSceneData::build()
{
    using namespace KXSampleSubject;
    const VariantSpec spec = variantSpec(m_nVariant);
    m_strVoxelSourceName = QStringLiteral("SourceVoxels_1");
    m_strSurfaceSourceName = QStringLiteral("SourceSurface_1");

    auto body = std::make_shared<CKXGeometry>(makeBody(1));
    m_pMesh = make<CKXMeshObject>(PLConstants::_3DMESH, body,
                                  photonDensity(*body, spec.original, 10000.0f));
    auto farSide = std::make_shared<CKXGeometry>(makeBody(2));
    m_pMesh->setFarSideProxy(farSide, photonDensity(*farSide, spec.original, 10000.0f, body.get()));

    m_pOrganGroup = make<CKXGroupNode>(PLConstants::_3DORGANS, CKXRole::OrganGroup, QString());
    for (const OrganSpec& o : KXSampleSubject::organs())
    {
        auto* organ = make<CKXSurfaceObject>(o.name, CKXRole::Organ, QString(),
                                             std::make_shared<CKXGeometry>(makeOrgan(o)));
        CKXObjectState st;
        st.color = o.color;
        organ->setInitialState(st);
        m_organs.push_back(organ);
        m_pOrganGroup->addChild(organ);
    }

    m_pGLVolume = make<CKXVolumeObject>(kGLVolume, CKXRole::MultimodalityVolume, QString());
    m_pGLVolume->setDense(makeAnatomyGrid());
    CKXObjectState glState;
    glState.visible = false;
    glState.opacity = 0.6f;
    CKXVolumeState glVolume;
    glVolume.voxelOpacity = 0.6f;
    glVolume.colorTable = CKXPalette::Grey;
    glVolume.threshold = 30.0f; // densities 0..255: air and the faintest tissue stay clear
    glVolume.thresholding = true;
    m_pGLVolume->setInitialState(glState, glVolume);

    m_pOriginalVolume = make<CKXVolumeObject>(kOriginal, CKXRole::SourceVolume, kOriginal);
    m_pOriginalVolume->setSparse(makeSourceVoxels(spec.original, 0.9f), 100.0f);
    m_pOriginalSurface = make<CKXSurfaceObject>(
        QStringLiteral("Original_Surface"), CKXRole::SourceSurface, kOriginal,
        std::make_shared<CKXGeometry>(makeSourceSurface(spec.original, 35.0f)));
    m_pOriginalSurface->setEmission(0.35f);

    m_pVoxelSource =
        make<CKXVolumeObject>(m_strVoxelSourceName, CKXRole::SourceVolume, m_strVoxelSourceName);
    m_pVoxelSource->setSparse(makeSourceVoxels(spec.voxels, 0.9f), 100.0f);

    m_pSurfaceSource = make<CKXGroupNode>(m_strSurfaceSourceName, CKXRole::SourceSurfaceGroup,
                                          m_strSurfaceSourceName);
    for (size_t i = 0; i < spec.surfaces.size(); ++i)
    {
        auto* part = make<CKXSurfaceObject>(
            QStringLiteral("%1_Part%2").arg(m_strSurfaceSourceName).arg(i + 1),
            CKXRole::SourceSurface, m_strSurfaceSourceName,
            std::make_shared<CKXGeometry>(makeSourceSurface(spec.surfaces[i], 30.0f)));
        part->setEmission(0.35f);
        m_pSurfaceSource->addChild(part);
    }

    // Pose for the default view: the animal lying along x, seen from above at about 40 degrees
    // and from its right front, head towards the lower right.
    m_pose.setToIdentity();
    m_pose.rotate(-48.0f, 1, 0, 0);
    m_pose.rotate(-48.0f, 0, 0, 1);
    m_pose.translate(-QVector3D(-10.0f, -3.0f, 0.0f));
    m_fSubjectSize = 54.0f;
}

tag_s3DSourceControls CKXSceneData::defaultSourceControls(const QString& strName) const
{
    const VariantSpec spec = variantSpec(m_nVariant);
    tag_s3DSourceControls c;
    c.surfaceColor = strName == kOriginal ? spec.originalSurfaceColor : spec.surfaceColor;
    c.surfRenderSolid = true;
    c.surfShadeLit = true;
    c.drawMode = 2;
    c.shadeMode = 2;
    c.surfaceOpacity = 85;
    c.volumeOpacity = 80;
    c.intensityMin = 0.0;
    c.intensityMax = 100.0;
    c.intensitySlider = 12;
    c.intensityValue = 12.0;
    c.volumeThreshold = true;
    c.colorMin = 0.0f;
    c.colorMax = 100.0f;
    if (strName == kOriginal)
    {
        c.surfaceVisible = false;
        c.volumeVisible = true;
        c.voxelColor = spec.originalTable;
        c.volumeGroup = true;
    }
    else if (strName == m_strVoxelSourceName)
    {
        c.volumeVisible = true;
        c.voxelColor = spec.voxelTable;
        c.intensitySlider = 20;
        c.intensityValue = 20.0;
        c.volumeGroup = true;
    }
    else
    {
        c.surfaceVisible = true;
        c.surfaceGroupEnabled = true;
        c.voxelColor = CKXPalette::Rainbow;
    }
    return c;
}

tag_s3Dcontrols CKXSceneData::defaultControls() const
{
    tag_s3Dcontrols c;
    c.meshColor = QColor(240, 212, 192);
    c.meshVisible = true;
    c.meshOpacity = 40;
    c.meshRenderSolid = true;
    c.meshShadeLit = true;
    c.organsVisible = true;
    c.organOpacity = 80;
    c.organRenderSolid = true;
    c.organShadeLit = true;
    c.pdMap.visible() = true;
    c.pdMap.colorBarIndex = CKXPalette::Rainbow;
    c.pdMap.sliderMin = 0;
    c.pdMap.sliderMax = 100;
    double lo = 0.0, hi = 100.0;
    m_pMesh->getPDImageMinMax(lo, hi);
    c.pdMap.spinBoxMax = static_cast<float>(hi);
    c.pdMap.spinBoxMin = static_cast<float>(std::round(0.12 * hi));
    c.pdMap.spinBoxValue = static_cast<float>(hi);
    c.pdMap.sliderExtra = 100;
    c.name3 = kOriginal;
    for (const QString& name : sourceNames())
        c.sourceControls.insert(name, defaultSourceControls(name));
    return c;
}

QStringList CKXSceneData::sourceNames() const
{
    QStringList names{kOriginal, m_strVoxelSourceName, m_strSurfaceSourceName};
    names.sort();
    return names;
}

QStringList CKXSceneData::organNames() const
{
    QStringList names;
    for (const CKXSurfaceObject* o : m_organs)
        names << o->getName();
    return names;
}

CKXSurfaceObject* CKXSceneData::organ(const QString& strName) const
{
    for (CKXSurfaceObject* o : m_organs)
        if (o->getName() == strName)
            return o;
    return nullptr;
}

std::vector<CKXSurfaceObject*> CKXSceneData::sourceSurfaces() const
{
    std::vector<CKXSurfaceObject*> v{m_pOriginalSurface};
    for (C3DObject* c : m_pSurfaceSource->getChildren())
        v.push_back(static_cast<CKXSurfaceObject*>(c));
    return v;
}

std::vector<CKXVolumeObject*> CKXSceneData::sourceVolumes() const
{
    return {m_pOriginalVolume, m_pVoxelSource};
}

void CKXSceneData::changed()
{
    if (m_bApplying)
        return;
    if (m_nBatch > 0)
    {
        m_bPending = true;
        return;
    }
    m_bPending = false;
    if (notify)
        notify();
}

void CKXSceneData::endBatch()
{
    if (--m_nBatch == 0 && m_bPending)
        changed();
}

void CKXSceneData::objectEdited(CKXRole eRole, const QString& strSourceKey,
                                const CKXObjectState& st, const CKXVolumeState* pVolume,
                                CKXField eField)
{
    if (m_bApplying)
        return; // applyControls stores the whole record itself
    tag_s3Dcontrols& c = m_controls;
    const QColor color = st.color;
    switch (eRole)
    {
    case CKXRole::Mesh:
        switch (eField)
        {
        case CKXField::Visible:
            c.meshVisible = st.visible;
            break;
        case CKXField::Opacity:
            c.meshOpacity = percent(st.opacity);
            break;
        case CKXField::Color:
            c.meshColor = color;
            break;
        case CKXField::DrawMode:
            setOneHot(st.drawMode, c.meshRenderVertices, c.meshRenderWireframe, c.meshRenderSolid,
                      c.meshRenderWireSolid);
            break;
        case CKXField::ShadeMode:
            setOneHot(st.shadeMode, c.meshShadeBox, c.meshShadeSmoothSolid, c.meshShadeLit,
                      c.meshShadeSolidLit);
            break;
        case CKXField::PhotonDensityVisible:
            c.pdMap.visible() = m_pMesh->isPhotonDensityShown();
            break;
        default:
            break;
        }
        break;
    case CKXRole::Organ:
    case CKXRole::OrganGroup:
        switch (eField)
        {
        case CKXField::Visible:
            if (eRole == CKXRole::OrganGroup)
                c.organsVisible = st.visible;
            break;
        case CKXField::Opacity:
            c.organOpacity = percent(st.opacity);
            break;
        case CKXField::DrawMode:
            setOneHot(st.drawMode, c.organRenderVertices, c.organRenderWireframe,
                      c.organRenderSolid, c.organRenderWireSolid);
            break;
        case CKXField::ShadeMode:
            setOneHot(st.shadeMode, c.organShadeBox, c.organShadeSmoothSolid, c.organShadeLit,
                      c.organShadeSolidLit);
            break;
        default:
            break;
        }
        break;
    case CKXRole::SourceSurface:
    case CKXRole::SourceSurfaceGroup:
    {
        if (!c.sourceControls.contains(strSourceKey))
            break;
        tag_s3DSourceControls& s = c.sourceControls[strSourceKey];
        switch (eField)
        {
        case CKXField::Visible:
            s.surfaceVisible = st.visible;
            break;
        case CKXField::Opacity:
            s.surfaceOpacity = percent(st.opacity);
            break;
        case CKXField::Color:
            s.surfaceColor = color;
            break;
        case CKXField::DrawMode:
            s.drawMode = st.drawMode;
            setOneHot(st.drawMode, s.surfRenderVertices, s.surfRenderWireframe, s.surfRenderSolid,
                      s.surfRenderWireSolid);
            break;
        case CKXField::ShadeMode:
            s.shadeMode = st.shadeMode;
            setOneHot(st.shadeMode, s.surfShadeBox, s.surfShadeSmoothSolid, s.surfShadeLit,
                      s.surfShadeSolidLit);
            break;
        default:
            break;
        }
        break;
    }
    case CKXRole::SourceVolume:
    {
        if (!c.sourceControls.contains(strSourceKey) || !pVolume)
        {
            if (eField == CKXField::Visible && c.sourceControls.contains(strSourceKey))
                c.sourceControls[strSourceKey].volumeVisible = st.visible;
            break;
        }
        tag_s3DSourceControls& s = c.sourceControls[strSourceKey];
        const CKXVolumeState& v = *pVolume;
        switch (eField)
        {
        case CKXField::Visible:
            s.volumeVisible = st.visible;
            break;
        case CKXField::VolumeOpacity:
            s.volumeOpacity = percent(v.voxelOpacity);
            break;
        case CKXField::Mip:
            s.volumeMip = v.mip;
            break;
        case CKXField::Thresholding:
            s.volumeThreshold = v.thresholding;
            break;
        case CKXField::Threshold:
        {
            s.intensityValue = static_cast<double>(v.threshold);
            const double range = s.intensityMax - s.intensityMin;
            if (range > 0.0)
                s.intensitySlider =
                    std::clamp(static_cast<int>(std::lround(
                                   100.0 * (s.intensityValue - s.intensityMin) / range)),
                               s.intensitySliderMin, s.intensitySliderMax);
            break;
        }
        case CKXField::VoxelType:
            s.voxelType = v.voxelType;
            break;
        case CKXField::LogScale:
            s.volumeLogScale = v.logScale;
            break;
        case CKXField::Reversed:
            s.volumeReverse() = v.reversed;
            break;
        case CKXField::ColorTable:
            s.voxelColor = v.colorTable;
            s.colorMin = static_cast<float>(v.colorMin);
            s.colorMax = static_cast<float>(v.colorMax);
            break;
        default:
            break;
        }
        break;
    }
    case CKXRole::MultimodalityVolume:
        break; // not part of the palette's controls
    }
    changed();
}

void CKXSceneData::paletteEdited(CKXPalette* pPalette)
{
    if (m_bApplying || pPalette != &m_pMesh->palette())
    {
        changed();
        return;
    }
    S3DToolsPDMapData& pd = m_controls.pdMap;
    pd.colorBarIndex = pPalette->colorTable();
    pd.sliderMin = percent(pPalette->low());
    pd.sliderMax = percent(pPalette->high());
    pd.spinBoxMin = pPalette->minimum();
    if (pd.valueIsUpperBound())
        pd.spinBoxValue = pPalette->maximum();
    else
        pd.spinBoxMax = pPalette->maximum();
    pd.reverse() = pPalette->isReversed();
    pd.logScale() = pPalette->isLogScale();
    changed();
}

void CKXSceneData::applyControls(const tag_s3Dcontrols& controls)
{
    m_bApplying = true;
    const tag_s3Dcontrols& c = controls;

    m_pMesh->show(c.meshVisible);
    m_pMesh->setOpacity(c.meshOpacity / 100.0f);
    if (c.meshColor.isValid())
        m_pMesh->setFaceSetColor(c.meshColor.redF(), c.meshColor.greenF(), c.meshColor.blueF());
    if (int m = lastSet(c.meshRenderVertices, c.meshRenderWireframe, c.meshRenderSolid,
                        c.meshRenderWireSolid);
        m >= 0)
        m_pMesh->setDrawMode(m);
    if (int m =
            lastSet(c.meshShadeBox, c.meshShadeSmoothSolid, c.meshShadeLit, c.meshShadeSolidLit);
        m >= 0)
        m_pMesh->setShadeMode(m);
    m_pMesh->showPhotonDensity(c.pdMap.visible());
    CKXPalette& pal = m_pMesh->palette();
    pal.setColorTableType(c.pdMap.colorBarIndex, c.pdMap.sliderMin / 100.0f,
                          c.pdMap.sliderMax / 100.0f);
    pal.SetColorTable(c.pdMap.colorBarIndex, c.pdMap.spinBoxMin,
                      c.pdMap.valueIsUpperBound() ? c.pdMap.spinBoxValue : c.pdMap.spinBoxMax);
    pal.setReversed(c.pdMap.reverse());
    pal.setLogScale(c.pdMap.logScale());

    m_pOrganGroup->show(c.organsVisible);
    m_pOrganGroup->setOpacity(c.organOpacity / 100.0f);
    if (int m = lastSet(c.organRenderVertices, c.organRenderWireframe, c.organRenderSolid,
                        c.organRenderWireSolid);
        m >= 0)
        m_pOrganGroup->setDrawMode(m);
    if (int m = lastSet(c.organShadeBox, c.organShadeSmoothSolid, c.organShadeLit,
                        c.organShadeSolidLit);
        m >= 0)
        m_pOrganGroup->setShadeMode(m);

    tag_s3Dcontrols stored = controls;
    stored.sourceControls.clear();
    for (const QString& name : sourceNames())
    {
        if (!c.sourceControls.contains(name))
        {
            if (m_controls.sourceControls.contains(name))
                stored.sourceControls.insert(name, m_controls.sourceControls.value(name));
            continue;
        }
        const tag_s3DSourceControls& s = c.sourceControls[name];
        stored.sourceControls.insert(name, s);
        std::vector<C3DObject*> surfaces;
        CKXVolumeObject* volume = nullptr;
        if (name == kOriginal)
        {
            surfaces.push_back(m_pOriginalSurface);
            volume = m_pOriginalVolume;
        }
        else if (name == m_strVoxelSourceName)
            volume = m_pVoxelSource;
        else
            for (C3DObject* part : m_pSurfaceSource->getChildren())
                surfaces.push_back(part);
        if (name == m_strSurfaceSourceName)
            m_pSurfaceSource->show(s.surfaceVisible);
        for (C3DObject* o : surfaces)
        {
            o->show(s.surfaceVisible);
            o->setOpacity(s.surfaceOpacity / 100.0f);
            if (s.surfaceColor.isValid())
                o->setFaceSetColor(s.surfaceColor.redF(), s.surfaceColor.greenF(),
                                   s.surfaceColor.blueF());
            o->setDrawMode(s.drawMode);
            o->setShadeMode(s.shadeMode);
        }
        if (volume)
        {
            volume->show(s.volumeVisible);
            volume->setDymaicOpaque(s.volumeOpacity / 100.0f);
            volume->setMIP(s.volumeMip);
            volume->setThresholding(s.volumeThreshold);
            volume->setThreshold(static_cast<float>(s.intensityValue));
            volume->setVoxelType(s.voxelType);
            volume->setLogScale(s.volumeLogScale);
            volume->setColorMapReversed(s.volumeReverse());
            volume->setColorTable(s.voxelColor, s.colorMin, s.colorMax);
        }
    }
    m_controls = stored;
    m_bApplying = false;
    changed();
}

void CKXSceneData::setRenderMode(int nMode, const QString& strObjectClass)
{
    if (strObjectClass == PLConstants::_3DMESH)
        m_pMesh->setDrawMode(nMode);
    else if (strObjectClass == PLConstants::_3DORGANS)
        m_pOrganGroup->setDrawMode(nMode);
}

void CKXSceneData::setShadingMode(int nMode, const QString& strObjectClass)
{
    if (strObjectClass == PLConstants::_3DMESH)
        m_pMesh->setShadeMode(nMode);
    else if (strObjectClass == PLConstants::_3DORGANS)
        m_pOrganGroup->setShadeMode(nMode);
}
