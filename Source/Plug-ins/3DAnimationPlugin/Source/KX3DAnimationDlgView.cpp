// Capture of the bound child window's 3D view into a key frame record, and application of a
// record (a key frame or a generated frame) back to the 3D view.
#include "KX3DAnimationDlg.h"

#include "C3DMesh.h"
#include "C3DObject.h"
#include "C3DSGManager.h"
#include "C3DView.h"
#include "C3DVolume.h"
#include "CKXSChildWindow.h"
#include "CKXSSequenceWindow.h"
#include "CKXSToolInfo.h"
#include "CXKPalette.h"
#include "KeyFrameList.h"
#include "NumericConversion.h"
#include "PLConstants.h"

#include <algorithm>
#include <cmath>

namespace
{

// The scene node of the multimodality volume.
const QString MULTIMODALITY_VOLUME_NODE = QStringLiteral("GLVolume");
// Every slice view of the scene.
constexpr int ALL_SLICE_VIEWS = 3;

// The scene objects that display one 3D source.
struct SSourceObjects
{
    C3DObject* pVolumeNode = nullptr; // the voxel volume's node, if any
    C3DVolume* pVolume = nullptr;     // the same node as a volume, if it is one
    QList<C3DObject*> surfaces;       // the source's surface objects
    bool bNodeMissing = false;        // a named voxel or surface source has no scene node
};

// The source name decides where its objects live: the original source belongs to the child
// window, the others are scene-graph nodes named after them.
SSourceObjects findSourceObjects(const QString& strName, CKXSChildWindow* pWindow,
                                 C3DSGManager* pSGManager)
{
    SSourceObjects objects;
    if (strName.toLower() == QStringLiteral("Original").toLower())
    {
        objects.pVolume = pWindow->getVolume();
        objects.pVolumeNode = objects.pVolume;
        C3DObject* pSurface = pSGManager ? pSGManager->get3DSource() : nullptr;
        if (pSurface)
        {
            objects.surfaces.append(pSurface);
        }
    }
    else if (strName.contains(QStringLiteral("SourceVoxels")))
    {
        objects.pVolumeNode = pSGManager ? pSGManager->getNode(strName) : nullptr;
        objects.pVolume = dynamic_cast<C3DVolume*>(objects.pVolumeNode);
        objects.bNodeMissing = !objects.pVolumeNode;
    }
    else if (strName.contains(QStringLiteral("SourceSurface")))
    {
        C3DObject* pNode = pSGManager ? pSGManager->getNode(strName) : nullptr;
        if (pNode)
        {
            for (C3DObject* pChild : pNode->getChildren())
            {
                if (pChild)
                {
                    objects.surfaces.append(pChild);
                }
            }
        }
        objects.bNodeMissing = !pNode;
    }
    return objects;
}

// A record's percentage (0..100) as the fraction the host takes. Records read from a file may
// hold any int; the host only ever sees a fraction of 0..1.
float fractionOfPercent(int nPercent)
{
    return static_cast<float>(std::clamp(nPercent, 0, 100)) / 100.0f;
}

bool isFinite(const unitquaternion& q)
{
    return std::isfinite(q.w()) && std::isfinite(q.x()) && std::isfinite(q.y()) &&
           std::isfinite(q.z());
}

bool isFinite(const Vec3f& v)
{
    return std::isfinite(v.x()) && std::isfinite(v.y()) && std::isfinite(v.z());
}

void setFaceColor(C3DObject* pObject, const QColor& color)
{
    pObject->setFaceSetColor(color.red() / 255.0f, color.green() / 255.0f, color.blue() / 255.0f);
}

// Switches on the render modes (0 vertices .. 3 wire + solid) and then the shading modes
// (0 box .. 3 solid lit) whose flags are set. Clear flags switch nothing off.
void applyModes(C3DView* pView, const QString& strObjectClass, const bool (&renderModes)[4],
                const bool (&shadeModes)[4])
{
    for (int nMode = 0; nMode < 4; ++nMode)
    {
        if (renderModes[nMode])
        {
            pView->setRenderMode(nMode, strObjectClass);
        }
    }
    for (int nMode = 0; nMode < 4; ++nMode)
    {
        if (shadeModes[nMode])
        {
            pView->setShadingMode(nMode, strObjectClass);
        }
    }
}

void applySurface(C3DObject* pSurface, const tag_s3DSourceControls& source)
{
    pSurface->show(source.surfaceVisible);
    pSurface->setOpacity(fractionOfPercent(source.surfaceOpacity));
    setFaceColor(pSurface, source.surfaceColor);
    pSurface->setDrawMode(source.drawMode);
    pSurface->setShadeMode(source.shadeMode);
}

void applyVolume(C3DVolume* pVolume, const tag_s3DSourceControls& source)
{
    pVolume->show(source.volumeVisible);
    pVolume->setDymaicOpaque(fractionOfPercent(source.volumeOpacity));
    pVolume->setMIP(source.volumeMip);
    pVolume->setThresholding(source.volumeThreshold);
    // A threshold that is no number (or beyond float) would hide or show every voxel at
    // random; the volume keeps the threshold it has.
    const float fThreshold = KXNumeric::narrowToFloat(source.intensityValue);
    if (std::isfinite(fThreshold))
    {
        pVolume->setThreshold(fThreshold);
    }
    pVolume->setVoxelType(source.voxelType);
    pVolume->setLogScale(source.volumeLogScale);
    pVolume->setColorMapReversed(source.volumeReverse());
    // The first call resets the table's range; existing hosts only take the second range
    // after it, so both calls are kept.
    pVolume->setColorTable(source.voxelColor, 0.0, 1.0);
    if (std::isfinite(source.colorMin) && std::isfinite(source.colorMax))
    {
        pVolume->setColorTable(source.voxelColor, source.colorMin, source.colorMax);
    }
}

void applyPhotonDensityMap(C3DMesh* pMesh, const S3DToolsPDMapData& pdMap)
{
    pMesh->showPhotonDensity(pdMap.visible());
    CXKPalette* pPalette = pMesh->getColorPalette();
    if (!pPalette)
    {
        return;
    }
    pPalette->setColorTableType(pdMap.colorBarIndex, pdMap.sliderMin / 100.0f,
                                pdMap.sliderMax / 100.0f);
    const float fUpper = pdMap.valueIsUpperBound() ? pdMap.spinBoxValue : pdMap.spinBoxMax;
    pPalette->SetColorTable(pdMap.colorBarIndex, pdMap.spinBoxMin, fUpper);
    pPalette->setReversed(pdMap.reverse());
    pPalette->setLogScale(pdMap.logScale());
    pMesh->updateColorData(pPalette);
}

} // namespace

SSpKeyFrameAttributes CKX3DAnimationDlg::getKeyFrameAttributesFromCurrent3DView()
{
    CKXSChildWindow* pWindow = m_pChildWindow;
    if (!pWindow)
    {
        return SSpKeyFrameAttributes();
    }
    const C3DView* pView = pWindow->get3DScene();
    const unitquaternion rotation = pView ? pView->getCurrentQuaternion() : unitquaternion();
    const Vec3f translation = pView ? pView->getTranslationVector() : Vec3f();
    const double dTimeStamp = m_pTimeScaleSpinBox->value();

    SAddnFrameAttributes addn;
    const C3DSGManager* pSGManager = pWindow->getSGManager();
    const C3DObject* pMultimodality =
        pSGManager ? pSGManager->getNode(MULTIMODALITY_VOLUME_NODE) : nullptr;
    if (pMultimodality)
    {
        addn.multimodalityVolumeVisible = pMultimodality->isDisplayed();
    }

    const CKXSToolInfo* pToolInfo = pWindow->getToolInfo();
    tag_s3Dcontrols controls = pToolInfo ? pToolInfo->get3DControls() : tag_s3Dcontrols();
    SSpKeyFrameAttributes keyFrame(rotation, translation, dTimeStamp, &controls, &addn);
    keyFrame.isCaptured = true;

    const CKXSSequenceWindow* pSequenceWindow = qobject_cast<CKXSSequenceWindow*>(pWindow);
    if (pSequenceWindow)
    {
        keyFrame.organsVisibility = KeyFrameList::capturedOrganVisibility(
            pSequenceWindow->getOrgansVisibilityMap(), keyFrame.controls.organsVisible);
    }
    return keyFrame;
}

void CKX3DAnimationDlg::setKeyFrameAttributesTo3DView(SSpKeyFrameAttributes frame,
                                                      int nKeyFrameIndex, bool bKeepListSelection)
{
    // Held through a guarded pointer: the host calls below may run event handlers.
    QPointer<CKXSChildWindow> pWindow = m_pChildWindow.data();
    if (!pWindow)
    {
        return;
    }
    CKXSChildWindow* pActive = CKXSChildWindow::getActiveChildWnd();
    if (!pActive || !pActive->get3DScene())
    {
        return;
    }
    C3DView* pView = pWindow->get3DScene();
    if (!pView || !pView->isVisible())
    {
        return;
    }
    const CKXSToolInfo* pToolInfo = pWindow->getToolInfo();
    C3DSGManager* pSGManager = pWindow->getSGManager();

    // A frame at time zero keeps the display the user has on screen; only its camera is
    // applied. Kept for compatibility with existing hosts and key frame files.
    if (frame.timeStamp == 0.0 && pToolInfo)
    {
        frame.controls = pToolInfo->get3DControls();
    }
    const tag_s3Dcontrols& controls = frame.controls;

    // Stamps read from a file may be anything; the spin box clamps what it is given.
    m_pTimeScaleSpinBox->setValue(KXNumeric::truncateToInt(frame.timeStamp));

    // A rotation or translation with a component that is not a finite number (a crafted file,
    // or frames generated from one) describes no camera: the view would draw nothing, and
    // every later camera move would start from that void. Such a part is not applied, so the
    // view keeps its last finite rotation or translation; the rest of the frame still is.
    if (isFinite(frame.rotation))
    {
        pView->setCurrentQuaternion(frame.rotation);
    }
    if (isFinite(frame.translation))
    {
        pView->setTranslationVector(frame.translation);
    }

    C3DMesh* pMesh = pWindow->getSurfaceMesh();
    if (pMesh)
    {
        pMesh->setOpacity(fractionOfPercent(controls.meshOpacity));
        pMesh->show(controls.meshVisible);
        setFaceColor(pMesh, controls.meshColor);
    }
    const bool meshRender[4] = {controls.meshRenderVertices, controls.meshRenderWireframe,
                                controls.meshRenderSolid, controls.meshRenderWireSolid};
    const bool meshShade[4] = {controls.meshShadeBox, controls.meshShadeSmoothSolid,
                               controls.meshShadeLit, controls.meshShadeSolidLit};
    applyModes(pView, PLConstants::_3DMESH, meshRender, meshShade);

    if (pMesh && pMesh->isPhotonDensityMappingValid())
    {
        applyPhotonDensityMap(pMesh, controls.pdMap);
    }

    if (pSGManager)
    {
        pSGManager->setOrganOpacity(fractionOfPercent(controls.organOpacity));
        C3DObject* pMultimodality = pSGManager->getNode(MULTIMODALITY_VOLUME_NODE);
        if (pMultimodality)
        {
            pMultimodality->show(frame.addnAttributes.multimodalityVolumeVisible);
            // The announcement below comes back to the plug-in, which must not take it for a
            // change from outside and clear the key frames.
            m_bViewChangedByAnimation = true;
            pWindow->onSignal3DViewChanged(false);
            if (!pWindow)
            {
                return;
            }
        }
    }

    // Hide every source shown now; the frame's sources are shown again below.
    const tag_s3Dcontrols current = pToolInfo ? pToolInfo->get3DControls() : tag_s3Dcontrols();
    for (auto it = current.sourceControls.constBegin(); it != current.sourceControls.constEnd();
         ++it)
    {
        const SSourceObjects objects = findSourceObjects(it.key(), pWindow, pSGManager);
        if (objects.pVolumeNode)
        {
            objects.pVolumeNode->show(false);
        }
        for (C3DObject* pSurface : objects.surfaces)
        {
            pSurface->show(false);
        }
    }

    const bool organRender[4] = {controls.organRenderVertices, controls.organRenderWireframe,
                                 controls.organRenderSolid, controls.organRenderWireSolid};
    const bool organShade[4] = {controls.organShadeBox, controls.organShadeSmoothSolid,
                                controls.organShadeLit, controls.organShadeSolidLit};
    const QStringList sourceNames = frame.controls.sourceControls.keys();
    for (const QString& strSource : sourceNames)
    {
        const SSourceObjects objects = findSourceObjects(strSource, pWindow, pSGManager);
        if (objects.bNodeMissing)
        {
            // The frame keeps a default entry for a source the scene no longer has (the
            // palette update below receives it so), as existing hosts expect.
            frame.controls.sourceControls.remove(strSource);
        }
        const tag_s3DSourceControls source = frame.controls.sourceControls[strSource];
        for (C3DObject* pSurface : objects.surfaces)
        {
            applySurface(pSurface, source);
        }
        if (objects.pVolume)
        {
            applyVolume(objects.pVolume, source);
        }

        // The list selection, organs and palette update run once per source, inside this
        // loop: a frame without sources leaves them alone. Kept for compatibility with
        // existing hosts and key frame files.
        if (!bKeepListSelection && nKeyFrameIndex != m_pKeyFrameListBox->currentRow())
        {
            m_pKeyFrameListBox->setCurrentItem(m_pKeyFrameListBox->item(nKeyFrameIndex));
        }
        if (pSGManager)
        {
            for (auto it = frame.organsVisibility.constBegin();
                 it != frame.organsVisibility.constEnd(); ++it)
            {
                pSGManager->updateMeshVisibility(it.key(), it.value());
            }
        }
        if (controls.organsVisible)
        {
            applyModes(pView, PLConstants::_3DORGANS, organRender, organShade);
            pWindow->updateMeshCheckStatus();
        }
        CKXSSequenceWindow* pSequenceWindow = qobject_cast<CKXSSequenceWindow*>(pWindow.data());
        if (pSequenceWindow)
        {
            emit pSequenceWindow->signalUpdate3DToolsPalette(frame, false);
        }
        if (!pWindow)
        {
            return;
        }
    }

    pView->setAllObjectSlicesDirty(ALL_SLICE_VIEWS, true);
    pView->refreshSliceViews();
    pView->update();
}
