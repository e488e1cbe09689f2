#include <orvkernel/gl/EglContext.h>

#include <orvcommon/Logger.h>

#include <algorithm>
#include <cstring>
#include <set>
#include <mutex>
#include <vector>

#include <dlfcn.h>
#include <epoxy/egl.h>
#include <epoxy/gl.h>

namespace orvcore {

namespace {

bool HasExtension(const char* list, const char* name)
{
    if (!list)
        return false;
    const std::size_t length = std::strlen(name);
    for (const char* at = std::strstr(list, name); at; at = std::strstr(at + 1, name))
        if ((at == list || at[-1] == ' ') && (at[length] == ' ' || at[length] == '\0'))
            return true;
    return false;
}

/// epoxy ends the process when it cannot find libEGL: look for it first.
bool EglLibraryPresent()
{
    void* library = dlopen("libEGL.so.1", RTLD_LAZY | RTLD_LOCAL);
    if (!library)
        return false;
    dlclose(library);
    return true;
}

/// Displays to try, best first: hardware EGL devices, then Mesa's
/// surfaceless platform.
std::vector<EGLDisplay> CandidateDisplays()
{
    std::vector<EGLDisplay> displays;
    const char* client = eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
    if (!HasExtension(client, "EGL_EXT_platform_base"))
        return displays;
    if (HasExtension(client, "EGL_EXT_device_enumeration") && HasExtension(client, "EGL_EXT_device_query") &&
        HasExtension(client, "EGL_EXT_platform_device")) {
        EGLint count = 0;
        if (eglQueryDevicesEXT(0, nullptr, &count) && count > 0) {
            std::vector<EGLDeviceEXT> devices(static_cast<std::size_t>(count));
            if (eglQueryDevicesEXT(count, devices.data(), &count)) {
                for (EGLint i = 0; i < count; ++i) {
                    // The software device is the surfaceless platform again.
                    const char* extensions = eglQueryDeviceStringEXT(devices[std::size_t(i)], EGL_EXTENSIONS);
                    if (HasExtension(extensions, "EGL_MESA_device_software"))
                        continue;
                    const EGLDisplay display =
                        eglGetPlatformDisplayEXT(EGL_PLATFORM_DEVICE_EXT, devices[std::size_t(i)], nullptr);
                    if (display != EGL_NO_DISPLAY)
                        displays.push_back(display);
                }
            }
        }
    }
    if (HasExtension(client, "EGL_MESA_platform_surfaceless")) {
        const EGLDisplay display = eglGetPlatformDisplayEXT(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
        if (display != EGL_NO_DISPLAY)
            displays.push_back(display);
    }
    return displays;
}

/// Initialises a display once for the process. Displays stay initialised
/// until the process ends: terminating one would end every other context on
/// it, unload the driver while it still holds memory, and make the next
/// context pay for loading it again.
bool InitialiseDisplay(EGLDisplay display)
{
    static std::mutex mutex;
    static std::set<EGLDisplay> initialised;
    std::lock_guard<std::mutex> lock(mutex);
    if (initialised.count(display))
        return true;
    EGLint major = 0;
    EGLint minor = 0;
    if (!eglInitialize(display, &major, &minor))
        return false;
    initialised.insert(display);
    return true;
}

} // namespace

std::unique_ptr<EglContext> EglContext::Create(unsigned int width, unsigned int height, unsigned int samples)
{
    if (EglLibraryPresent()) {
        for (EGLDisplay display : CandidateDisplays()) {
            std::unique_ptr<EglContext> context(new EglContext());
            if (context->Open(display, width, height, samples))
                return context;
        }
    }
    Logger::Instance().Waring("OpenGL context is not available!");
    return nullptr;
}

bool EglContext::Open(void* displayHandle, unsigned int width, unsigned int height, unsigned int samples)
{
    const EGLDisplay display = static_cast<EGLDisplay>(displayHandle);
    if (!InitialiseDisplay(display))
        return false;
    m_Display = display;
    // Contexts without config and without surface: the drawing goes to our
    // own framebuffer object.
    const char* extensions = eglQueryString(display, EGL_EXTENSIONS);
    if (!HasExtension(extensions, "EGL_KHR_surfaceless_context") ||
        !HasExtension(extensions, "EGL_KHR_no_config_context") ||
        !HasExtension(extensions, "EGL_KHR_create_context") || !eglBindAPI(EGL_OPENGL_API))
        return false;

    std::vector<EGLint> attributes = {EGL_CONTEXT_MAJOR_VERSION, 3, EGL_CONTEXT_MINOR_VERSION, 3,
                                      EGL_CONTEXT_OPENGL_PROFILE_MASK, EGL_CONTEXT_OPENGL_CORE_PROFILE_BIT};
#ifndef NDEBUG
    attributes.push_back(EGL_CONTEXT_OPENGL_DEBUG);
    attributes.push_back(EGL_TRUE);
#endif
    attributes.push_back(EGL_NONE);
    const EGLContext context = eglCreateContext(display, EGL_NO_CONFIG_KHR, EGL_NO_CONTEXT, attributes.data());
    if (context == EGL_NO_CONTEXT)
        return false;
    m_Context = context;
    if (!MakeCurrent() || epoxy_gl_version() < 33)
        return false;

    const auto text = [](GLenum name) {
        const GLubyte* value = glGetString(name);
        return value ? std::string(reinterpret_cast<const char*>(value)) : std::string();
    };
    m_Renderer = text(GL_RENDERER);
    m_Version = text(GL_VERSION);

#ifndef NDEBUG
    if (epoxy_gl_version() >= 43 || epoxy_has_gl_extension("GL_KHR_debug")) {
        glEnable(GL_DEBUG_OUTPUT);
        glEnable(GL_DEBUG_OUTPUT_SYNCHRONOUS);
        glDebugMessageCallback(&EglContext::DebugMessage, this);
        glDebugMessageControl(GL_DONT_CARE, GL_DONT_CARE, GL_DONT_CARE, 0, nullptr, GL_TRUE);
        m_DebugOutput = true;
    }
#endif
    GLint maxSamples = 0;
    glGetIntegerv(GL_MAX_SAMPLES, &maxSamples);
    m_RequestedSamples = samples > 1 ? samples : 0;
    if (m_RequestedSamples > unsigned(std::max(maxSamples, 0))) {
        const unsigned int limit = maxSamples > 1 ? unsigned(maxSamples) : 0;
        Logger::Instance().Waring("Sample count " + std::to_string(samples) + " is above the driver's maximum: " +
                                  std::to_string(std::max(limit, 1u)) + " used!");
        m_RequestedSamples = limit;
    }
    return AllocateBuffers(width, height);
}

void EglContext::DebugMessage(unsigned int source, unsigned int type, unsigned int, unsigned int severity, int length,
                              const char* message, const void* user)
{
    EglContext* self = static_cast<EglContext*>(const_cast<void*>(user));
    const std::string text = length >= 0 ? std::string(message, std::size_t(length)) : std::string(message);
    // Compiler diagnostics arrive as errors too; the program builder logs
    // them with its own context, and they are no misuse of the API.
    if (type == GL_DEBUG_TYPE_ERROR && source != GL_DEBUG_SOURCE_SHADER_COMPILER) {
        ++self->m_GlErrors;
        Logger::Instance().Error("OpenGL error: " + text);
    } else if (severity == GL_DEBUG_SEVERITY_HIGH || severity == GL_DEBUG_SEVERITY_MEDIUM) {
        Logger::Instance().Debug("OpenGL: " + text);
    }
}

EglContext::~EglContext()
{
    const EGLDisplay display = static_cast<EGLDisplay>(m_Display);
    if (m_Context) {
        if (MakeCurrent()) {
            FreeBuffers();
            if (m_DebugOutput)
                glDebugMessageCallback(nullptr, nullptr);
        }
        eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
        eglDestroyContext(display, static_cast<EGLContext>(m_Context));
    }
    if (display)
        eglReleaseThread();
}

bool EglContext::MakeCurrent()
{
    if (!m_Context)
        return false;
    return eglMakeCurrent(static_cast<EGLDisplay>(m_Display), EGL_NO_SURFACE, EGL_NO_SURFACE,
                          static_cast<EGLContext>(m_Context)) == EGL_TRUE;
}

bool EglContext::AllocateBuffers(unsigned int width, unsigned int height)
{
    GLint maxSize = 0;
    glGetIntegerv(GL_MAX_RENDERBUFFER_SIZE, &maxSize);
    const unsigned int limit = unsigned(std::max(maxSize, 1));
    m_Width = std::min(std::max(width, 1u), limit);
    m_Height = std::min(std::max(height, 1u), limit);

    if (m_Framebuffer == 0)
        glGenFramebuffers(1, &m_Framebuffer);
    if (m_ColorBuffer == 0)
        glGenRenderbuffers(1, &m_ColorBuffer);
    if (m_DepthBuffer == 0)
        glGenRenderbuffers(1, &m_DepthBuffer);
    GLint previousRenderbuffer = 0;
    glGetIntegerv(GL_RENDERBUFFER_BINDING, &previousRenderbuffer);
    GLint previousFramebuffer = 0;
    glGetIntegerv(GL_FRAMEBUFFER_BINDING, &previousFramebuffer);

    // Both buffers with the same sample count (0: single-sampled storage).
    const GLsizei samples = GLsizei(m_RequestedSamples);
    glBindRenderbuffer(GL_RENDERBUFFER, m_ColorBuffer);
    glRenderbufferStorageMultisample(GL_RENDERBUFFER, samples, GL_RGBA8, GLsizei(m_Width), GLsizei(m_Height));
    GLint obtained = 0;
    glGetRenderbufferParameteriv(GL_RENDERBUFFER, GL_RENDERBUFFER_SAMPLES, &obtained);
    m_Samples = unsigned(std::max(obtained, 1));
    glBindRenderbuffer(GL_RENDERBUFFER, m_DepthBuffer);
    glRenderbufferStorageMultisample(GL_RENDERBUFFER, samples, GL_DEPTH24_STENCIL8, GLsizei(m_Width),
                                     GLsizei(m_Height));
    glBindFramebuffer(GL_FRAMEBUFFER, m_Framebuffer);
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, m_ColorBuffer);
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_DEPTH_STENCIL_ATTACHMENT, GL_RENDERBUFFER, m_DepthBuffer);
    const bool complete = glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE;
    if (complete) {
        // New storage is undefined: start transparent black at the far
        // plane, whatever write masks the user of the context left set.
        GLboolean colorMask[4] = {GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE};
        GLboolean depthMask = GL_TRUE;
        GLfloat clearColor[4] = {0.0f, 0.0f, 0.0f, 0.0f};
        GLfloat clearDepth = 1.0f;
        glGetBooleanv(GL_COLOR_WRITEMASK, colorMask);
        glGetBooleanv(GL_DEPTH_WRITEMASK, &depthMask);
        glGetFloatv(GL_COLOR_CLEAR_VALUE, clearColor);
        glGetFloatv(GL_DEPTH_CLEAR_VALUE, &clearDepth);
        const GLboolean scissor = glIsEnabled(GL_SCISSOR_TEST);
        glDisable(GL_SCISSOR_TEST);
        glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
        glDepthMask(GL_TRUE);
        glClearColor(0.0f, 0.0f, 0.0f, 0.0f);
        glClearDepth(1.0);
        glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT);
        glColorMask(colorMask[0], colorMask[1], colorMask[2], colorMask[3]);
        glDepthMask(depthMask);
        glClearColor(clearColor[0], clearColor[1], clearColor[2], clearColor[3]);
        glClearDepth(clearDepth);
        if (scissor)
            glEnable(GL_SCISSOR_TEST);
    }
    // Leave the new framebuffer bound when nothing else was: it is the
    // default target of this context.
    glBindFramebuffer(GL_FRAMEBUFFER, previousFramebuffer != 0 ? GLuint(previousFramebuffer) : m_Framebuffer);
    glBindRenderbuffer(GL_RENDERBUFFER, GLuint(previousRenderbuffer));
    return complete;
}

void EglContext::FreeBuffers()
{
    if (m_Framebuffer)
        glDeleteFramebuffers(1, &m_Framebuffer);
    if (m_ColorBuffer)
        glDeleteRenderbuffers(1, &m_ColorBuffer);
    if (m_DepthBuffer)
        glDeleteRenderbuffers(1, &m_DepthBuffer);
    m_Framebuffer = m_ColorBuffer = m_DepthBuffer = 0;
}

void EglContext::Resize(unsigned int width, unsigned int height)
{
    if (!MakeCurrent())
        return;
    if (std::max(width, 1u) == m_Width && std::max(height, 1u) == m_Height)
        return;
    if (!AllocateBuffers(width, height))
        Logger::Instance().Waring("Framebuffer is incomplete!");
}

uint32_t EglContext::TakeGlError()
{
    if (!MakeCurrent())
        return 0;
    return uint32_t(glGetError());
}

} // namespace orvcore
