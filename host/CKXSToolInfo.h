// Tool information of a child window: what its 3D tools palette shows.
#ifndef CKXSTOOLINFO_H
#define CKXSTOOLINFO_H

#include "KeyFrameRecords.h"

class CKXSToolInfo
{
public:
    virtual ~CKXSToolInfo() = default;
    // A copy of the current 3D display controls. sourceControls is keyed by the scene's source
    // names ("Original" for the original source).
    virtual tag_s3Dcontrols get3DControls() const = 0;
};

#endif // CKXSTOOLINFO_H
