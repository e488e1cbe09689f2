#pragma once

#include <orvcore/animation/KeyframeTrack.h>

namespace orvcore {

/// A track of scalar or vector numbers. The default constructor names its
/// value type "number"; the four-argument one leaves the name empty, as the
/// base does (nothing depends on the name: every value is blended as floats).
class NumberKeyframeTrack : public KeyframeTrack {
public:
    NumberKeyframeTrack();
    NumberKeyframeTrack(const std::string& name, const std::shared_ptr<Float32Buffer>& times,
                        const std::shared_ptr<Float32Buffer>& values, EnumInterpolationModes mode);

    static NumberKeyframeTrack* Cast(KeyframeTrack* track);
    static const NumberKeyframeTrack* Cast(const KeyframeTrack* track);
};

} // namespace orvcore
