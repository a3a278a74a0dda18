#include "CKXSampleScene.h"

#include "CKXSampleSubject.h"
#include "CKXSceneData.h"

CKXSampleScene::CKXSampleScene(int nVariant, QObject* pParent)
    : CKXSampleScene(KXSampleSubject::makeDescription(nVariant), pParent)
{
}

CKXSampleScene::CKXSampleScene(const SKXSceneDescription& description, QObject* pParent)
    : QObject(pParent), m_pData(new CKXSceneData(description))
{
    m_pData->notify = [this] { emit changed(); };
}

CKXSampleScene::~CKXSampleScene()
{
    m_pData->notify = nullptr;
    delete m_pData;
}

C3DObject* CKXSampleScene::getNode(const QString& strName) const
{
    return m_pData->node(strName);
}

void CKXSampleScene::setOrganOpacity(float fOpacity)
{
    m_pData->organGroup()->setOpacity(fOpacity);
}

C3DObject* CKXSampleScene::get3DSource() const
{
    return m_pData->originalSurface();
}

void CKXSampleScene::updateMeshVisibility(const QString& strOrgan, bool bVisible)
{
    if (CKXSurfaceObject* organ = m_pData->organ(strOrgan))
        organ->show(bVisible);
}

C3DMesh* CKXSampleScene::surfaceMesh() const
{
    return m_pData->mesh();
}

C3DVolume* CKXSampleScene::originalVolume() const
{
    return m_pData->originalVolume();
}

QStringList CKXSampleScene::sourceNames() const
{
    return m_pData->sourceNames();
}

QStringList CKXSampleScene::organNames() const
{
    return m_pData->organNames();
}

QMap<QString, bool> CKXSampleScene::organsVisibility() const
{
    QMap<QString, bool> map;
    for (const CKXSurfaceObject* o : m_pData->organs())
        map.insert(o->getName(), o->isDisplayed());
    return map;
}

tag_s3Dcontrols CKXSampleScene::currentControls() const
{
    return m_pData->controls();
}

void CKXSampleScene::applyControls(const tag_s3Dcontrols& controls)
{
    m_pData->applyControls(controls);
}

void CKXSampleScene::setRenderMode(int nMode, const QString& strObjectClass)
{
    m_pData->setRenderMode(nMode, strObjectClass);
}

void CKXSampleScene::setShadingMode(int nMode, const QString& strObjectClass)
{
    m_pData->setShadingMode(nMode, strObjectClass);
}
