#include <orvcore/animation/NumberKeyframeTrack.h>

namespace orvcore {

NumberKeyframeTrack::NumberKeyframeTrack() { SetValueTypeName("number"); }

NumberKeyframeTrack::NumberKeyframeTrack(const std::string& name, const std::shared_ptr<Float32Buffer>& times,
                                         const std::shared_ptr<Float32Buffer>& values, EnumInterpolationModes mode)
    : KeyframeTrack(name, times, values, mode)
{
}

NumberKeyframeTrack* NumberKeyframeTrack::Cast(KeyframeTrack* track)
{
    return dynamic_cast<NumberKeyframeTrack*>(track);
}

const NumberKeyframeTrack* NumberKeyframeTrack::Cast(const KeyframeTrack* track)
{
    return dynamic_cast<const NumberKeyframeTrack*>(track);
}

} // namespace orvcore
