#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace orvcore {

/// A headless OpenGL 3.3 core context through EGL, current on the thread
/// that made it, drawing into an off-screen framebuffer (RGBA8 colour,
/// depth 24 / stencil 8) of a given size: no window is needed. The
/// framebuffer is multisampled (4 samples unless asked otherwise), like a
/// viewer's window; `GlRenderDevice::ReadPixels` resolves it.
///
/// `Create` tries the EGL devices first (a real GPU; software devices are
/// skipped there) and Mesa's surfaceless platform next (llvmpipe on machines
/// without GPU). In builds without NDEBUG the context is a debug context and
/// every GL error reported through KHR_debug is logged and counted.
///
/// Destroy every GL user of the context (devices, programs) before it.
class EglContext {
public:
    /// A new context made current with an off-screen framebuffer of
    /// width x height (each at least 1) and `samples` samples per pixel (0
    /// or 1: single-sampled; more than the driver's GL_MAX_SAMPLES is cut to
    /// that with a warning); null with the warning "OpenGL context is not
    /// available!" when no display gives a 3.3 core context.
    static std::unique_ptr<EglContext> Create(unsigned int width, unsigned int height, unsigned int samples = 4);
    ~EglContext();
    EglContext(const EglContext&) = delete;
    EglContext& operator=(const EglContext&) = delete;

    /// Makes the context current on the calling thread; false on failure.
    bool MakeCurrent();
    /// GL name of the off-screen framebuffer: the default drawing target.
    unsigned int GetFramebuffer() const { return m_Framebuffer; }
    unsigned int GetWidth() const { return m_Width; }
    unsigned int GetHeight() const { return m_Height; }
    /// Samples per pixel of the off-screen framebuffer as the driver made it
    /// (1 when single-sampled).
    unsigned int GetSamples() const { return m_Samples; }
    /// Reallocates the off-screen buffers (sizes below 1 become 1) with the
    /// same sample count. New buffers start transparent black with depth 1:
    /// the old content is lost.
    void Resize(unsigned int width, unsigned int height);

    /// The GL_RENDERER string ("llvmpipe (...)" on the software rasteriser).
    const std::string& GetRendererName() const { return m_Renderer; }
    /// The GL_VERSION string.
    const std::string& GetVersionName() const { return m_Version; }

    /// Errors reported by the debug output since creation (0 without debug
    /// output).
    uint32_t GetGlErrorCount() const { return m_GlErrors; }
    /// Whether KHR_debug output is on (debug builds with a driver that has it).
    bool HasDebugOutput() const { return m_DebugOutput; }
    /// Takes the pending error flag of the context (glGetError): 0 when none.
    uint32_t TakeGlError();

private:
    EglContext() = default;
    bool Open(void* display, unsigned int width, unsigned int height, unsigned int samples);
    bool AllocateBuffers(unsigned int width, unsigned int height);
    void FreeBuffers();
    static void DebugMessage(unsigned int source, unsigned int type, unsigned int id, unsigned int severity,
                             int length, const char* message, const void* user);

    void* m_Display = nullptr; ///< EGLDisplay
    void* m_Context = nullptr; ///< EGLContext
    unsigned int m_Framebuffer = 0;
    unsigned int m_ColorBuffer = 0;
    unsigned int m_DepthBuffer = 0;
    unsigned int m_Width = 0;
    unsigned int m_Height = 0;
    /// Samples asked for (after the driver's limit) and those obtained.
    unsigned int m_RequestedSamples = 0;
    unsigned int m_Samples = 1;
    std::string m_Renderer;
    std::string m_Version;
    uint32_t m_GlErrors = 0;
    bool m_DebugOutput = false;
};

} // namespace orvcore
