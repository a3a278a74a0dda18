// The tool information of a sequence window: the display controls of its scene, which is what
// the 3D tools palette shows and edits.
#ifndef CKXSCENETOOLINFO_H
#define CKXSCENETOOLINFO_H

#include "CKXSToolInfo.h"

class CKXSampleScene;

class CKXSceneToolInfo : public CKXSToolInfo
{
public:
    // The scene is not owned and must outlive this object.
    explicit CKXSceneToolInfo(const CKXSampleScene* pScene) : m_pScene(pScene) {}
    tag_s3Dcontrols get3DControls() const override;

private:
    const CKXSampleScene* m_pScene;
};

#endif // CKXSCENETOOLINFO_H
