#include "CKXSceneToolInfo.h"

#include "CKXSampleScene.h"

tag_s3Dcontrols CKXSceneToolInfo::get3DControls() const
{
    return m_pScene ? m_pScene->currentControls() : tag_s3Dcontrols();
}
