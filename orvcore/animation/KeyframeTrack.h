#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include <orvcommon/TypedBuffer.h>
#include <orvkernel/animation/Interpolant.h>
#include <orvkernel/device/GfxObject.h>

namespace orvcore {

/// How a track asks to be interpolated. Stored and reported only: every
/// track is evaluated by linear interpolation (a step is written as two keys
/// at the same time).
enum EnumInterpolationModes : uint32_t {
    INTERPOLATION_LINEAR = 0,
    INTERPOLATION_DISCRETE = 1,
    INTERPOLATION_SMOOTH = 2,
};

/// One named, animatable channel of a clip: key times and, per key, a fixed
/// number of float values. The name is the property path the track drives
/// ("position", "lid.quaternion", "lamp.material.color"; see
/// `AnimationMixer`).
///
/// Both buffers are shared with the caller, never copied.
class KeyframeTrack : public GfxObject {
public:
    KeyframeTrack() = default;
    KeyframeTrack(const std::string& name, const std::shared_ptr<Float32Buffer>& times,
                  const std::shared_ptr<Float32Buffer>& values, EnumInterpolationModes mode);
    ~KeyframeTrack() override;

    const std::string& GetName() const { return m_Name; }
    void SetName(const std::string& name) { m_Name = name; }
    const std::shared_ptr<Float32Buffer>& GetTimes() const { return m_Times; }
    void SetTimes(const std::shared_ptr<Float32Buffer>& times) { m_Times = times; }
    const std::shared_ptr<Float32Buffer>& GetValues() const { return m_Values; }
    void SetValues(const std::shared_ptr<Float32Buffer>& values) { m_Values = values; }
    const std::string& GetValueTypeName() const { return m_ValueTypeName; }
    void SetValueTypeName(const std::string& name) { m_ValueTypeName = name; }
    const EnumInterpolationModes& GetInterpolationMode() const { return m_InterpolationMode; }
    void SetInterpolationMode(const EnumInterpolationModes& mode) { m_InterpolationMode = mode; }

    /// Floats per key: count(values) / count(times), the remainder dropped;
    /// 0 without times or values.
    unsigned int GetValueSize() const;
    /// A linear interpolant over the keys writing into `result` (an empty
    /// pointer: into a buffer of its own), whatever the interpolation mode;
    /// an empty pointer when the track has no keys.
    std::shared_ptr<Interpolant> CreateInterpolant(const std::shared_ptr<Float32Buffer>& result);

    /// Multiplies every key time by `factor`; 0 changes nothing. A negative
    /// factor reverses the order of the times, which are kept so.
    void Scale(float factor);
    /// Adds `offset` to every key time; 0 changes nothing.
    void Shift(float offset);

    static KeyframeTrack* Cast(GfxObject* object);
    static const KeyframeTrack* Cast(const GfxObject* object);

private:
    std::string m_Name;
    std::shared_ptr<Float32Buffer> m_Times;
    std::shared_ptr<Float32Buffer> m_Values;
    std::string m_ValueTypeName;
    EnumInterpolationModes m_InterpolationMode = INTERPOLATION_LINEAR;
};

} // namespace orvcore
