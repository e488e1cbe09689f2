#pragma once

namespace orvcore {

/// Base of the self-timed animations: stepped once per frame through
/// `Play`, which reports whether anything changed (the host redraws while it
/// does). `Duration` is the kind's running time, -1 while not running.
class Animation {
public:
    Animation() = default;
    virtual ~Animation();

    /// The base does nothing and returns false.
    virtual bool Play(float time);
    /// Duration back to -1 and Enabled to true; Paused and Loop are kept.
    virtual void Reset();

    float GetDuration() const { return m_Duration; }
    bool GetEnabled() const { return m_Enabled; }
    void SetEnabled(bool enabled) { m_Enabled = enabled; }
    bool GetLoop() const { return m_Loop; }
    void SetLoop(bool loop) { m_Loop = loop; }
    bool GetPaused() const { return m_Paused; }
    void SetPaused(bool paused) { m_Paused = paused; }

protected:
    bool m_Enabled = true;
    bool m_Paused = false;
    bool m_Loop = false;
    float m_Duration = -1.0f;
};

} // namespace orvcore
