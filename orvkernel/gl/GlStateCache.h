#pragma once

#include <array>
#include <cstdint>

namespace orvcore {

/// The OpenGL state that the device changes, as last set: every setter
/// issues its GL call only when the value differs from the cached one. All
/// GL state changes of the device go through here, so the cache stays true
/// as long as nobody else touches the context (call `Invalidate` after
/// foreign GL code ran).
///
/// Names and enums are OpenGL values (`unsigned int` is GLuint/GLenum).
class GlStateCache {
public:
    static constexpr unsigned int kTextureUnits = 16;

    /// Forgets everything: the next setter of every state issues its call.
    void Invalidate();

    void UseProgram(unsigned int program);
    unsigned int GetProgram() const { return m_Program; }
    void BindVertexArray(unsigned int vertexArray);
    unsigned int GetVertexArray() const { return m_VertexArray; }
    void BindArrayBuffer(unsigned int buffer);
    void BindFramebuffer(unsigned int framebuffer);
    unsigned int GetFramebuffer() const { return m_Framebuffer; }
    void Viewport(int x, int y, int width, int height);
    /// Binds a texture of a kind (GL_TEXTURE_2D, GL_TEXTURE_CUBE_MAP) to a
    /// unit; units past `kTextureUnits` are refused (false).
    bool BindTexture(uint32_t unit, unsigned int target, unsigned int texture);
    /// Makes a unit active for texture set-up (uploads) without binding.
    void ActiveUnit(uint32_t unit);
    /// Drops a deleted texture from the binding table.
    void ForgetTexture(unsigned int texture);
    void ForgetVertexArray(unsigned int vertexArray);
    void ForgetBuffer(unsigned int buffer);
    void ForgetProgram(unsigned int program);
    void ForgetFramebuffer(unsigned int framebuffer);
    /// Forgets the framebuffer binding after the read and draw bindings were
    /// set apart (blits): the next `BindFramebuffer` issues its call.
    void InvalidateFramebuffer() { m_Framebuffer = kUnknown; }

    void SetDepthTest(bool on);
    bool GetDepthTest() const { return m_DepthTest == 1; }
    void SetDepthMask(bool on);
    void SetColorMask(bool on);
    /// Alpha blending (source alpha over) on or off.
    void SetBlending(bool on);
    /// Face culling: 0 none, GL_BACK or GL_FRONT.
    void SetCullFace(unsigned int face);
    void SetPolygonOffset(bool on, float factor, float units);
    /// Alpha to coverage with alpha to one (multisampled targets: the
    /// fragment's alpha picks the samples it covers, which then get alpha 1).
    void SetAlphaToCoverage(bool on);
    void SetClearColor(float r, float g, float b, float a);

private:
    // -1 (or all ones) means unknown: the next set always calls GL.
    static constexpr unsigned int kUnknown = 0xffffffffu;
    unsigned int m_Program = kUnknown;
    unsigned int m_VertexArray = kUnknown;
    unsigned int m_ArrayBuffer = kUnknown;
    unsigned int m_Framebuffer = kUnknown;
    std::array<int, 4> m_Viewport{{-1, -1, -1, -1}};
    uint32_t m_ActiveUnit = kUnknown;
    struct TextureBinding {
        unsigned int target = 0;
        unsigned int texture = kUnknown;
    };
    std::array<TextureBinding, kTextureUnits> m_Textures{};
    int m_DepthTest = -1;
    int m_DepthMask = -1;
    int m_ColorMask = -1;
    int m_Blending = -1;
    int m_AlphaToCoverage = -1;
    unsigned int m_CullFace = kUnknown;
    int m_PolygonOffset = -1;
    float m_OffsetFactor = 0.0f;
    float m_OffsetUnits = 0.0f;
    std::array<float, 4> m_ClearColor{{-1.0f, -1.0f, -1.0f, -1.0f}};
};

} // namespace orvcore
