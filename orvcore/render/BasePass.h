#pragma once

namespace orvcore {

class Renderer;
class RenderPassContext;

/// One step of an effect composer's frame. A pass draws into the context's
/// write buffer (or the screen when it is the last enabled pass of a
/// composer that renders to the screen) and may read the read buffer.
class BasePass {
public:
    virtual ~BasePass();
    virtual bool Initialize(Renderer* renderer);
    virtual void Destroy();
    virtual void Resize(unsigned int width, unsigned int height);
    virtual void Render(Renderer* renderer, RenderPassContext& context) = 0;

    bool GetEnabled() const { return m_Enabled; }
    void SetEnabled(bool on) { m_Enabled = on; }
    /// Whether the composer swaps write and read buffers after this pass.
    bool GetNeedSwap() const { return m_NeedSwap; }
    void SetNeedSwap(bool on) { m_NeedSwap = on; }
    bool GetNeedClear() const { return m_NeedClear; }
    void SetNeedClear(bool on) { m_NeedClear = on; }
    bool GetRenderToScenee() const { return m_RenderToScreen; }
    void SetRenderToScenee(bool on) { m_RenderToScreen = on; }

protected:
    bool m_Enabled = true;
    bool m_NeedSwap = true;
    bool m_NeedClear = false;
    bool m_RenderToScreen = false;
};

} // namespace orvcore
