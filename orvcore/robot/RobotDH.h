#pragma once

#include <limits>
#include <memory>

#include <glm/mat4x4.hpp>

#include <orvcommon/ValueRange.h>

namespace orvcore {

/// One set of classic Denavit-Hartenberg parameters, each a value with its
/// allowed range, and the frame they give: `Frame` = `Math::ComputeDH(Alpha,
/// A, D, Theta)` as of the last `Update`. `WorldFrame` is a slot for the
/// owner (a joint keeps its frame in the arm's coordinates there).
///
/// The setters store a value only when its range allows it, and never a
/// value that is not finite (logged as "Value is not finite!"): a frame
/// built from one would carry NaNs into every frame below it.
class RobotDH {
public:
    RobotDH() = default;
    /// Each value unbounded; the frame is computed.
    RobotDH(double alpha, double a, double d, double theta);
    /// The frame is computed.
    RobotDH(const ValueRange& alpha, const ValueRange& a, const ValueRange& d, const ValueRange& theta);

    double GetAlpha() const { return m_Alpha.GetValue(); }
    double GetA() const { return m_A.GetValue(); }
    double GetD() const { return m_D.GetValue(); }
    double GetTheta() const { return m_Theta.GetValue(); }
    bool SetAlpha(double value) { return Set(m_Alpha, value); }
    bool SetA(double value) { return Set(m_A, value); }
    bool SetD(double value) { return Set(m_D, value); }
    bool SetTheta(double value) { return Set(m_Theta, value); }

    const ValueRange& GetAlpha_VR() const { return m_Alpha; }
    const ValueRange& GetA_VR() const { return m_A; }
    const ValueRange& GetD_VR() const { return m_D; }
    const ValueRange& GetTheta_VR() const { return m_Theta; }
    void SetAlpha_VR(const ValueRange& range) { m_Alpha = range; }
    void SetA_VR(const ValueRange& range) { m_A = range; }
    void SetD_VR(const ValueRange& range) { m_D = range; }
    void SetTheta_VR(const ValueRange& range) { m_Theta = range; }

    const glm::mat4& GetFrame() const { return m_Frame; }
    void SetFrame(const glm::mat4& frame) { m_Frame = frame; }
    const glm::mat4& GetWorldFrame() const { return m_WorldFrame; }
    void SetWorldFrame(const glm::mat4& frame) { m_WorldFrame = frame; }

    /// Frame = Math::ComputeDH(Alpha, A, D, Theta), bit for bit; the cosine
    /// and sine of the twist are kept between calls (it rarely changes).
    void Update();
    std::shared_ptr<RobotDH> Clone() const;

private:
    static bool Set(ValueRange& field, double value);

    ValueRange m_Alpha;
    ValueRange m_A;
    ValueRange m_D;
    ValueRange m_Theta;
    glm::mat4 m_Frame{1.0f};
    glm::mat4 m_WorldFrame{1.0f};
    // cos and sin of m_TrigAlpha (NaN: not computed yet).
    double m_TrigAlpha = std::numeric_limits<double>::quiet_NaN();
    double m_CosAlpha = 1.0;
    double m_SinAlpha = 0.0;
};

} // namespace orvcore
