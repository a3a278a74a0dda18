#include "KeyFrameRecords.h"

#include <utility>

SSpKeyFrameAttributes::SSpKeyFrameAttributes(unitquaternion rotation_, Vec3f translation_,
                                             double timeStamp_, tag_s3Dcontrols* controls_,
                                             SAddnFrameAttributes* addn_)
{
    rotation = rotation_;
    translation = translation_;
    timeStamp = timeStamp_;
    controls = *controls_;
    addnAttributes = *addn_;
}

SSpKeyFrameAttributes::~SSpKeyFrameAttributes() = default;

sSeqKeyFrameAttributes::sSeqKeyFrameAttributes(QMap<QString, SSpKeyFrameAttributes> keyFrames_,
                                               SSpKeyFrameAttributes viewState_, int frameRate,
                                               int duration, int frameFactor, int timeScalePosition)
    : keyFrames(std::move(keyFrames_)), viewState(std::move(viewState_)), controlValue1(frameRate),
      controlValue2(duration), controlValue3(frameFactor), controlValue4(timeScalePosition)
{
}
