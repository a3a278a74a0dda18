#include "CKXSceneData.h"

#include "KXVolumeConversion.h"
#include "PLConstants.h"

#include <QtMath>

#include <algorithm>
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

// Default colours of organs that come without one.
const QColor kOrganColors[] = {QColor(214, 96, 96),   QColor(222, 170, 90),  QColor(120, 190, 110),
                               QColor(110, 160, 220), QColor(180, 120, 200), QColor(90, 190, 190),
                               QColor(230, 140, 170), QColor(200, 200, 120)};

// Unites `box` with [lo, hi] when both are finite.
void grow(bool& bHas, QVector3D& boxMin, QVector3D& boxMax, const QVector3D& lo,
          const QVector3D& hi)
{
    for (int k = 0; k < 3; ++k)
        if (!std::isfinite(lo[k]) || !std::isfinite(hi[k]))
            return;
    if (!bHas)
    {
        boxMin = lo;
        boxMax = hi;
        bHas = true;
        return;
    }
    boxMin = QVector3D(std::min(boxMin.x(), lo.x()), std::min(boxMin.y(), lo.y()),
                       std::min(boxMin.z(), lo.z()));
    boxMax = QVector3D(std::max(boxMax.x(), hi.x()), std::max(boxMax.y(), hi.y()),
                       std::max(boxMax.z(), hi.z()));
}

bool hasGeometry(const SKXSurfaceData& s)
{
    return s.geometry && s.geometry->triangleCount() > 0;
}
} // namespace

CKXSceneData::CKXSceneData(const SKXSceneDescription& description) : m_strName(description.name)
{
    build(description);
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

// Node names are the plug-in's keys: a name already taken (or empty) gets a suffix instead of
// hiding the node that has it.
QString CKXSceneData::uniqueName(const QString& strWanted, const QString& strFallback) const
{
    const QString base = strWanted.trimmed().isEmpty() ? strFallback : strWanted;
    QString name = base;
    for (int n = 2; m_nodes.contains(name); ++n)
        name = QStringLiteral("%1_%2").arg(base).arg(n);
    return name;
}

void CKXSceneData::build(const SKXSceneDescription& d)
{
    if (d.subject && hasGeometry(*d.subject))
    {
        const SKXSurfaceData& s = *d.subject;
        std::vector<float> field;
        if (s.scalars.size() == size_t(s.geometry->vertexCount()))
            field = s.scalars;
        m_pMesh = make<CKXMeshObject>(PLConstants::_3DMESH, s.geometry, std::move(field));
        const SKXSurfaceData* far = d.subjectFarSide.get();
        if (far && hasGeometry(*far) &&
            (far->scalars.size() == size_t(far->geometry->vertexCount()) ||
             (far->scalars.empty() && s.scalars.empty())))
            m_pMesh->setFarSideProxy(far->geometry, far->scalars);
        m_subjectColor = s.color.isValid() ? s.color : m_subjectColor;
    }

    m_pOrganGroup = make<CKXGroupNode>(PLConstants::_3DORGANS, CKXRole::OrganGroup, QString());
    for (const SKXSurfaceData& o : d.organs)
    {
        if (!hasGeometry(o))
            continue;
        const int n = int(m_organs.size());
        auto* organ =
            make<CKXSurfaceObject>(uniqueName(o.name, QStringLiteral("Organ %1").arg(n + 1)),
                                   CKXRole::Organ, QString(), o.geometry);
        CKXObjectState st;
        st.color = o.color.isValid() ? o.color : kOrganColors[n % std::size(kOrganColors)];
        organ->setInitialState(st);
        m_organs.push_back(organ);
        m_pOrganGroup->addChild(organ);
    }

    if (d.anatomy)
    {
        CKXVolumeObject::DenseGrid grid = KXVolumeConversion::toDense(*d.anatomy);
        if (grid.nx > 0)
        {
            m_pGLVolume = make<CKXVolumeObject>(uniqueName(kGLVolume, kGLVolume),
                                                CKXRole::MultimodalityVolume, QString());
            m_pGLVolume->setDense(std::move(grid));
            CKXObjectState glState;
            // Shown at first only when there is nothing else to see.
            glState.visible = !m_pMesh && m_organs.empty() && d.sources.empty();
            glState.opacity = 0.6f;
            CKXVolumeState glVolume;
            glVolume.voxelOpacity = 0.6f;
            glVolume.colorTable = CKXPalette::Grey;
            // Densities 0..255 over the volume's range: air and the faintest tissue stay clear.
            glVolume.threshold = 30.0f;
            glVolume.thresholding = true;
            m_pGLVolume->setInitialState(glState, glVolume);
        }
    }

    for (const SKXSourceData& source : d.sources)
        addSource(source);
    std::sort(m_sources.begin(), m_sources.end(),
              [](const Source& a, const Source& b) { return a.name < b.name; });
    m_bTranslucentSubject = !m_organs.empty() || !m_sources.empty();
    fitView(d);
}

void CKXSceneData::addSource(const SKXSourceData& data)
{
    const bool bOriginal = data.name == kOriginal;
    if (bOriginal && source(kOriginal))
        return; // there is one original source
    const bool bSurfaceSource =
        !bOriginal && (data.name.contains(QLatin1String("SourceSurface")) || !data.volume);
    Source src;
    src.name = bOriginal ? kOriginal
                         : uniqueName(data.name, bSurfaceSource ? QStringLiteral("SourceSurface")
                                                                : QStringLiteral("SourceVoxels"));
    tag_s3DSourceControls& c = src.defaults;
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

    if (!bSurfaceSource && data.volume && KXVolumeConversion::isUsable(*data.volume))
    {
        // Intensities are light: the range starts at zero unless the data goes below it.
        const SKXVolumeData& v = *data.volume;
        const float lo = std::isfinite(v.minimum) ? std::min(v.minimum, 0.0f) : 0.0f;
        const float hi = std::isfinite(v.maximum) && v.maximum > lo ? v.maximum : lo + 1.0f;
        src.volume = make<CKXVolumeObject>(src.name, CKXRole::SourceVolume, src.name);
        // Voxels below 1% of the range are not worth drawing.
        src.volume->setSparse(KXVolumeConversion::toSparse(v, lo + (hi - lo) / 100.0f), hi);
        const float t = std::isfinite(data.threshold) ? std::clamp(data.threshold, lo, hi)
                                                      : lo + 12.0f * (hi - lo) / 100.0f;
        c.intensityMin = lo;
        c.intensityMax = hi;
        c.intensityValue = t;
        c.intensitySlider = int(std::lround(100.0 * (double(t) - lo) / (double(hi) - lo)));
        c.volumeVisible = true;
        c.volumeGroup = true;
    }

    int nPart = 0;
    for (const SKXSurfaceData& s : data.surfaces)
    {
        if (!hasGeometry(s))
            continue;
        if (bOriginal)
        {
            auto* surface =
                make<CKXSurfaceObject>(uniqueName(QStringLiteral("Original_Surface"), QString()),
                                       CKXRole::SourceSurface, kOriginal, s.geometry);
            surface->setEmission(0.35f);
            src.surfaces.push_back(surface);
            break; // the original has one surface
        }
        if (!bSurfaceSource)
            break; // a voxel source shows its voxels only
        if (!src.group)
            src.group = make<CKXGroupNode>(src.name, CKXRole::SourceSurfaceGroup, src.name);
        auto* part = make<CKXSurfaceObject>(
            uniqueName(QStringLiteral("%1_Part%2").arg(src.name).arg(++nPart), QString()),
            CKXRole::SourceSurface, src.name, s.geometry);
        part->setEmission(0.35f);
        src.group->addChild(part);
        src.surfaces.push_back(part);
    }
    if (!src.volume && src.surfaces.empty())
        return; // nothing to show
    if (bOriginal)
    {
        c.surfaceColor = data.color.isValid() ? data.color : QColor(255, 150, 60);
        c.voxelColor = data.colorTable >= 0 ? data.colorTable : CKXPalette::HotIron;
        c.surfaceVisible = !src.volume; // the voxels show the original when it has them
    }
    else if (src.volume)
    {
        c.surfaceColor = data.color.isValid() ? data.color : QColor(90, 220, 255);
        c.voxelColor = data.colorTable >= 0 ? data.colorTable : CKXPalette::GreenFluor;
    }
    else
    {
        c.surfaceColor = data.color.isValid() ? data.color : QColor(90, 220, 255);
        c.surfaceVisible = true;
        c.surfaceGroupEnabled = true;
        c.voxelColor = data.colorTable >= 0 ? data.colorTable : CKXPalette::Rainbow;
    }
    m_sources.push_back(std::move(src));
}

void CKXSceneData::fitView(const SKXSceneDescription& d)
{
    bool bHas = false;
    QVector3D lo, hi;
    auto addSurface = [&](const SKXSurfaceData& s)
    {
        if (hasGeometry(s))
            grow(bHas, lo, hi, s.geometry->boxMin, s.geometry->boxMax);
    };
    auto addVolume = [&](const SKXVolumeData& v)
    {
        if (!KXVolumeConversion::isUsable(v))
            return;
        QVector3D a, b;
        KXVolumeConversion::worldBounds(v, a, b);
        grow(bHas, lo, hi, a, b);
    };
    if (d.subject)
        addSurface(*d.subject);
    for (const SKXSurfaceData& o : d.organs)
        addSurface(o);
    if (d.anatomy)
        addVolume(*d.anatomy);
    for (const SKXSourceData& s : d.sources)
    {
        if (s.volume)
            addVolume(*s.volume);
        for (const SKXSurfaceData& surface : s.surfaces)
            addSurface(surface);
    }
    QVector3D centre = bHas ? 0.5f * (lo + hi) : QVector3D();
    // About the extent of the box seen along the view: half its diagonal.
    float size = bHas ? 0.5f * (hi - lo).length() : 0.0f;
    const QVector3D& c = d.viewCentre;
    if (d.viewSize > 0.0f && std::isfinite(d.viewSize) && std::isfinite(c.x()) &&
        std::isfinite(c.y()) && std::isfinite(c.z()))
    {
        centre = c;
        size = d.viewSize;
    }
    m_pose = d.viewOrientation;
    m_pose.translate(-centre);
    m_fSubjectSize = std::isfinite(size) && size > 1e-3f ? size : 60.0f;
}

tag_s3Dcontrols CKXSceneData::defaultControls() const
{
    tag_s3Dcontrols c;
    c.meshColor = m_subjectColor;
    c.meshVisible = m_pMesh != nullptr;
    c.meshOpacity = m_bTranslucentSubject ? 40 : 100;
    c.meshRenderSolid = true;
    c.meshShadeLit = true;
    c.organsVisible = true;
    c.organOpacity = 80;
    c.organRenderSolid = true;
    c.organShadeLit = true;
    c.pdMap.colorBarIndex = CKXPalette::Rainbow;
    c.pdMap.sliderMin = 0;
    c.pdMap.sliderMax = 100;
    double lo = 0.0, hi = 100.0;
    c.pdMap.visible() = m_pMesh && m_pMesh->isPhotonDensityMappingValid();
    if (c.pdMap.visible())
        m_pMesh->getPDImageMinMax(lo, hi);
    // The map starts 12% up a zero-based range (photon counts), on a round number when the
    // range is wide enough for one.
    const double zero = std::min(lo, 0.0);
    double from = zero + 0.12 * (hi - zero);
    if (hi - zero >= 100.0)
        from = std::round(from);
    c.pdMap.spinBoxMax = static_cast<float>(hi);
    c.pdMap.spinBoxMin = static_cast<float>(from);
    c.pdMap.spinBoxValue = static_cast<float>(hi);
    c.pdMap.sliderExtra = 100;
    c.name3 = source(kOriginal) || m_sources.empty() ? kOriginal : m_sources.front().name;
    for (const Source& s : m_sources)
        c.sourceControls.insert(s.name, s.defaults);
    return c;
}

const CKXSceneData::Source* CKXSceneData::source(const QString& strName) const
{
    for (const Source& s : m_sources)
        if (s.name == strName)
            return &s;
    return nullptr;
}

CKXVolumeObject* CKXSceneData::originalVolume() const
{
    const Source* s = source(kOriginal);
    return s ? s->volume : nullptr;
}

CKXSurfaceObject* CKXSceneData::originalSurface() const
{
    const Source* s = source(kOriginal);
    return s && !s->surfaces.empty() ? s->surfaces.front() : nullptr;
}

CKXVolumeObject* CKXSceneData::voxelSource() const
{
    for (const Source& s : m_sources)
        if (s.name != kOriginal && s.volume)
            return s.volume;
    return nullptr;
}

CKXGroupNode* CKXSceneData::surfaceSource() const
{
    for (const Source& s : m_sources)
        if (s.group)
            return s.group;
    return nullptr;
}

QStringList CKXSceneData::sourceNames() const
{
    QStringList names;
    for (const Source& s : m_sources)
        names << s.name;
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
    std::vector<CKXSurfaceObject*> v;
    if (CKXSurfaceObject* o = originalSurface())
        v.push_back(o);
    for (const Source& s : m_sources)
        if (s.name != kOriginal)
            v.insert(v.end(), s.surfaces.begin(), s.surfaces.end());
    return v;
}

std::vector<CKXVolumeObject*> CKXSceneData::sourceVolumes() const
{
    std::vector<CKXVolumeObject*> v;
    if (CKXVolumeObject* o = originalVolume())
        v.push_back(o);
    for (const Source& s : m_sources)
        if (s.name != kOriginal && s.volume)
            v.push_back(s.volume);
    return v;
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
    if (m_bApplying || !m_pMesh || pPalette != &m_pMesh->palette())
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

    if (m_pMesh)
    {
        m_pMesh->show(c.meshVisible);
        m_pMesh->setOpacity(c.meshOpacity / 100.0f);
        if (c.meshColor.isValid())
            m_pMesh->setFaceSetColor(c.meshColor.redF(), c.meshColor.greenF(), c.meshColor.blueF());
        if (int m = lastSet(c.meshRenderVertices, c.meshRenderWireframe, c.meshRenderSolid,
                            c.meshRenderWireSolid);
            m >= 0)
            m_pMesh->setDrawMode(m);
        if (int m = lastSet(c.meshShadeBox, c.meshShadeSmoothSolid, c.meshShadeLit,
                            c.meshShadeSolidLit);
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
    }

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
        const Source* src = source(name);
        if (src->group)
            src->group->show(s.surfaceVisible);
        const std::vector<CKXSurfaceObject*>& surfaces = src->surfaces;
        CKXVolumeObject* volume = src->volume;
        for (CKXSurfaceObject* o : surfaces)
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
    if (strObjectClass == PLConstants::_3DMESH && m_pMesh)
        m_pMesh->setDrawMode(nMode);
    else if (strObjectClass == PLConstants::_3DORGANS)
        m_pOrganGroup->setDrawMode(nMode);
}

void CKXSceneData::setShadingMode(int nMode, const QString& strObjectClass)
{
    if (strObjectClass == PLConstants::_3DMESH && m_pMesh)
        m_pMesh->setShadeMode(nMode);
    else if (strObjectClass == PLConstants::_3DORGANS)
        m_pOrganGroup->setShadeMode(nMode);
}
