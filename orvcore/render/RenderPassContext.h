#pragma once

#include <memory>

#include <orvkernel/camera/Camera.h>

namespace orvcore {

class RenderTarget;
class SceneManager;

/// The state a frame carries from pass to pass: the view, where the current
/// pass writes, what it may read (the previous result) and the time value.
class RenderPassContext {
public:
    RenderPassContext() = default;
    RenderPassContext(const std::shared_ptr<SceneManager>& manager, RenderTarget* writeBuffer,
                      RenderTarget* readBuffer, float timeTick)
        : m_SceneManager(manager), m_WriteBuffer(writeBuffer), m_ReadBuffer(readBuffer), m_TimeTick(timeTick)
    {
    }

    const std::shared_ptr<SceneManager>& GetSceneManager() const { return m_SceneManager; }
    void SetSceneManager(const std::shared_ptr<SceneManager>& manager) { m_SceneManager = manager; }
    /// The view's camera (empty without a scene manager).
    std::shared_ptr<Camera> GetCamera() const;
    RenderTarget* GetWriteBuffer() const { return m_WriteBuffer; }
    void SetWriteBuffer(RenderTarget* target) { m_WriteBuffer = target; }
    RenderTarget* GetReadBuffer() const { return m_ReadBuffer; }
    void SetReadBuffer(RenderTarget* target) { m_ReadBuffer = target; }
    bool GetMaskActive() const { return m_MaskActive; }
    void SetMaskActive(bool on) { m_MaskActive = on; }
    float GetTimeTick() const { return m_TimeTick; }
    void SetTimeTick(float tick) { m_TimeTick = tick; }
    void SwapBuffers() { std::swap(m_WriteBuffer, m_ReadBuffer); }

private:
    std::shared_ptr<SceneManager> m_SceneManager;
    RenderTarget* m_WriteBuffer = nullptr;
    RenderTarget* m_ReadBuffer = nullptr;
    bool m_MaskActive = false;
    float m_TimeTick = 0.0f;
};

} // namespace orvcore
