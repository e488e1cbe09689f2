#include <orvkernel/gl/GlRenderDevice.h>

#include <orvcommon/Logger.h>
#include <orvkernel/camera/Camera.h>
#include <orvkernel/device/RenderTarget.h>
#include <orvkernel/gl/GlShaderProgram.h>
#include <orvkernel/texture/TextureTarget.h>
#include <orvkernel/texture/ImageTextureCube.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include <epoxy/gl.h>

#define STB_IMAGE_WRITE_IMPLEMENTATION
#include <stb/stb_image_write.h>

// The device's construction, render targets, clearing, clean-up and
// read-back. Textures are in GlRenderDeviceTextures.cpp, programs and
// materials in GlRenderDeviceMaterials.cpp, geometry and draws in
// GlRenderDeviceGeometry.cpp.

namespace orvcore {

GlRenderDevice::GlRenderDevice(unsigned int defaultFramebuffer, unsigned int width, unsigned int height,
                               const GlRenderDeviceOptions& options)
    : m_Options(options), m_DefaultFramebuffer(defaultFramebuffer), m_Width(std::max(width, 1u)),
      m_Height(std::max(height, 1u))
{
    GLint maxSamples = 0;
    glGetIntegerv(GL_MAX_SAMPLES, &maxSamples);
    m_MaxSamples = unsigned(std::max(maxSamples, 1));
    m_FlushInPieces = options.FlushInPieces < 0 ? PiecesPayOff() : options.FlushInPieces > 0;
    // Fixed state of every draw: nearer-or-equal depth (so that a pass may
    // draw the same geometry again, and the background at the far plane
    // survives a cleared depth buffer), point sizes from the shaders, tight
    // pixel rows.
    glDepthFunc(GL_LEQUAL);
    glEnable(GL_PROGRAM_POINT_SIZE);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    // Values of the attributes a geometry lacks: white vertex colours, a
    // normal facing +Z, no uv, no line distance.
    glVertexAttrib3f(ATTRIBUTE_NORMAL, 0.0f, 0.0f, 1.0f);
    glVertexAttrib2f(ATTRIBUTE_UV, 0.0f, 0.0f);
    glVertexAttrib4f(ATTRIBUTE_COLOR, 1.0f, 1.0f, 1.0f, 1.0f);
    glVertexAttrib1f(ATTRIBUTE_LINE_DISTANCE, 0.0f);
    CreateHelpers();
    BindCurrentFramebuffer();
}

GlRenderDevice::~GlRenderDevice()
{
    m_Programs.clear();
    m_RawPrograms.clear();
    for (auto& entry : m_Geometries)
        FreeGeometry(entry.second);
    for (auto& entry : m_Textures)
        glDeleteTextures(1, &entry.second.texture);
    for (auto& entry : m_TargetObjects)
        FreeTarget(entry.second);
    const GLuint arrays[] = {m_PointArray, m_QuadArray};
    glDeleteVertexArrays(2, arrays);
    const GLuint buffers[] = {m_PointBuffer, m_QuadBuffer, m_InstanceBuffer};
    glDeleteBuffers(3, buffers);
    const GLuint textures[] = {m_WhiteTexture, m_BlackCube};
    glDeleteTextures(2, textures);
    if (m_ReadFramebuffer) {
        glDeleteFramebuffers(1, &m_ReadFramebuffer);
        glDeleteRenderbuffers(1, &m_ReadColorBuffer);
    }
    glUseProgram(0);
    glBindVertexArray(0);
}

void GlRenderDevice::CreateHelpers()
{
    glGenVertexArrays(1, &m_PointArray);
    glGenBuffers(1, &m_PointBuffer);
    m_State.BindVertexArray(m_PointArray);
    m_State.BindArrayBuffer(m_PointBuffer);
    glBufferData(GL_ARRAY_BUFFER, sizeof(float) * 3, nullptr, GL_DYNAMIC_DRAW);
    glVertexAttribPointer(ATTRIBUTE_POSITION, 3, GL_FLOAT, GL_FALSE, 0, nullptr);
    glEnableVertexAttribArray(ATTRIBUTE_POSITION);

    // The screen quad: four corners in normalised device coordinates with
    // their uv, drawn as a strip.
    const float quad[] = {-1.0f, -1.0f, 0.0f, 0.0f, 0.0f, 1.0f, -1.0f, 0.0f, 1.0f, 0.0f,
                          -1.0f, 1.0f,  0.0f, 0.0f, 1.0f, 1.0f, 1.0f,  0.0f, 1.0f, 1.0f};
    glGenVertexArrays(1, &m_QuadArray);
    glGenBuffers(1, &m_QuadBuffer);
    m_State.BindVertexArray(m_QuadArray);
    m_State.BindArrayBuffer(m_QuadBuffer);
    glBufferData(GL_ARRAY_BUFFER, sizeof(quad), quad, GL_STATIC_DRAW);
    const GLsizei stride = sizeof(float) * 5;
    glVertexAttribPointer(ATTRIBUTE_POSITION, 3, GL_FLOAT, GL_FALSE, stride, nullptr);
    glEnableVertexAttribArray(ATTRIBUTE_POSITION);
    glVertexAttribPointer(ATTRIBUTE_UV, 2, GL_FLOAT, GL_FALSE, stride, reinterpret_cast<const void*>(sizeof(float) * 3));
    glEnableVertexAttribArray(ATTRIBUTE_UV);
    m_State.BindVertexArray(0);

    // What an unfilled sampler reads: white for images (a plain tint), black
    // for environment maps.
    const uint8_t white[4] = {255, 255, 255, 255};
    glGenTextures(1, &m_WhiteTexture);
    m_State.BindTexture(0, GL_TEXTURE_2D, m_WhiteTexture);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, 1, 1, 0, GL_RGBA, GL_UNSIGNED_BYTE, white);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    const uint8_t black[4] = {0, 0, 0, 255};
    glGenTextures(1, &m_BlackCube);
    m_State.BindTexture(0, GL_TEXTURE_CUBE_MAP, m_BlackCube);
    for (GLenum face = 0; face < 6; ++face)
        glTexImage2D(GL_TEXTURE_CUBE_MAP_POSITIVE_X + face, 0, GL_RGBA8, 1, 1, 0, GL_RGBA, GL_UNSIGNED_BYTE, black);
    glTexParameteri(GL_TEXTURE_CUBE_MAP, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_CUBE_MAP, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
}

void GlRenderDevice::WarnOnce(uint32_t objectId, const std::string& text)
{
    if (m_Warnings.insert(std::to_string(objectId) + "|" + text).second)
        Logger::Instance().Waring(text);
}

// --- size, targets, clearing ---

void GlRenderDevice::Resize(unsigned int width, unsigned int height)
{
    m_Width = std::max(width, 1u);
    m_Height = std::max(height, 1u);
    // The buffers behind the default framebuffer were made again.
    m_DefaultSamples = 0;
    if (!m_Target)
        BindCurrentFramebuffer();
}

void GlRenderDevice::SetDefaultFramebuffer(unsigned int framebuffer)
{
    m_DefaultFramebuffer = framebuffer;
    m_DefaultSamples = 0;
    if (!m_Target)
        BindCurrentFramebuffer();
}

GlRenderDevice::TargetEntry* GlRenderDevice::BindCurrentFramebuffer()
{
    if (m_Target) {
        if (TargetEntry* entry = SyncTarget(m_Target)) {
            m_State.BindFramebuffer(entry->framebuffer);
            m_State.Viewport(0, 0, GLsizei(entry->width), GLsizei(entry->height));
            m_CurrentSamples = entry->samples;
            UpdatePieceSize(entry->width, entry->height);
            return entry;
        }
    }
    m_State.BindFramebuffer(m_DefaultFramebuffer);
    m_State.Viewport(0, 0, GLsizei(m_Width), GLsizei(m_Height));
    if (m_DefaultSamples == 0) {
        // A window's framebuffer 0 or a context's own: ask what it is.
        GLint samples = 0;
        glGetIntegerv(GL_SAMPLES, &samples);
        m_DefaultSamples = unsigned(std::max(samples, 1));
    }
    m_CurrentSamples = m_DefaultSamples;
    UpdatePieceSize(m_Width, m_Height);
    return nullptr;
}

void GlRenderDevice::BindForDrawing(uint32_t bits)
{
    TargetEntry* entry = BindCurrentFramebuffer();
    if (!entry || entry->textureFramebuffer == 0)
        return;
    entry->colorStale = entry->colorStale || (bits & CLEAR_COLOR) != 0;
    entry->depthStale = entry->depthStale || (bits & (CLEAR_DEPTH | CLEAR_STENCIL)) != 0;
}

unsigned int GlRenderDevice::GetCurrentSamples()
{
    BindCurrentFramebuffer();
    return m_CurrentSamples;
}

void GlRenderDevice::SetTarget(const std::shared_ptr<RenderTarget>& target, const std::shared_ptr<Camera>& camera)
{
    m_PreviousTarget = m_Target;
    m_Target = target;
    if (camera)
        m_Camera = camera;
    BindCurrentFramebuffer();
}

void GlRenderDevice::AddTarget(const std::string& name, const std::shared_ptr<RenderTarget>& target)
{
    if (name.empty() || !target) {
        Logger::Instance().Waring("Render target is invalid!");
        return;
    }
    m_Targets[name] = target;
}

std::shared_ptr<RenderTarget> GlRenderDevice::FindTarget(const std::string& name) const
{
    const auto it = m_Targets.find(name);
    return it == m_Targets.end() ? nullptr : it->second;
}

GlRenderDevice::TargetEntry* GlRenderDevice::SyncTarget(const std::shared_ptr<RenderTarget>& target)
{
    TargetEntry& entry = m_TargetObjects[target->GetObjectId()];
    entry.lastUse = m_GcEpoch;
    if (!entry.hasOwner) {
        // A pointer that owns nothing (a borrowed target) cannot be watched:
        // watch the named target of the same object when there is one.
        std::shared_ptr<RenderTarget> owner = target;
        if (owner.use_count() == 0) {
            owner.reset();
            for (const auto& named : m_Targets)
                if (named.second.get() == target.get())
                    owner = named.second;
        }
        if (owner) {
            entry.owner = owner;
            entry.hasOwner = true;
        }
    }
    const unsigned int width = std::max(target->GetWidth(), 1u);
    const unsigned int height = std::max(target->GetHeight(), 1u);
    unsigned int samples = target->GetSamples() != 0 ? target->GetSamples() : m_Options.TargetSamples;
    if (samples > m_MaxSamples) {
        WarnOnce(target->GetObjectId(), "Render target sample count " + std::to_string(samples) +
                                            " is above the driver's maximum: " + std::to_string(m_MaxSamples) +
                                            " used!");
        samples = m_MaxSamples;
    }
    samples = std::max(samples, 1u);
    if (entry.framebuffer != 0 && entry.width == width && entry.height == height && entry.wantedSamples == samples)
        return entry.complete ? &entry : nullptr;
    entry.desc = TargetDesc(*target);

    GLint maxSize = 0;
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &maxSize);
    if (width > unsigned(maxSize) || height > unsigned(maxSize)) {
        WarnOnce(target->GetObjectId(), "Render target size is invalid!");
        entry.complete = false;
        return nullptr;
    }
    FreeTarget(entry);
    entry.width = width;
    entry.height = height;
    entry.wantedSamples = samples;
    entry.complete = CreateTargetObjects(entry, samples);
    if (!entry.complete && samples > 1) {
        // No multisampled buffers of that kind here: draw single-sampled.
        WarnOnce(target->GetObjectId(), "Multisampled render target is incomplete: drawn single-sampled!");
        FreeTarget(entry);
        entry.complete = CreateTargetObjects(entry, 1);
    }
    if (!entry.complete) {
        WarnOnce(target->GetObjectId(), "Render target is incomplete!");
        return nullptr;
    }
    return &entry;
}

TextureDesc GlRenderDevice::TargetDesc(const RenderTarget& target)
{
    const TextureTarget* textureTarget = TextureTarget::Cast(&target);
    if (!textureTarget)
        return TextureDesc();
    TextureDesc desc = textureTarget->GetDesc();
    // Sized 8-bit formats with their pixel format; filters and wrap modes
    // that GL takes for a texture that has no mipmaps.
    const bool format = (desc.InternalFormat == GL_RGBA8 && desc.Format == GL_RGBA) ||
                        (desc.InternalFormat == GL_RGB8 && desc.Format == GL_RGB) ||
                        (desc.InternalFormat == GL_R8 && desc.Format == GL_RED);
    const auto filter = [](uint32_t f) { return f == GL_NEAREST || f == GL_LINEAR; };
    const auto wrap = [](uint32_t w) {
        return w == GL_CLAMP_TO_EDGE || w == GL_REPEAT || w == GL_MIRRORED_REPEAT;
    };
    if (desc.Target != GL_TEXTURE_2D || !format || desc.Type != GL_UNSIGNED_BYTE) {
        WarnOnce(target.GetObjectId(), "Texture target format is not supported: RGBA8 used!");
        desc.Target = GL_TEXTURE_2D;
        desc.InternalFormat = GL_RGBA8;
        desc.Format = GL_RGBA;
        desc.Type = GL_UNSIGNED_BYTE;
    }
    if (!filter(desc.MinFilter) || !filter(desc.MagFilter) || !wrap(desc.WrapS) || !wrap(desc.WrapT)) {
        WarnOnce(target.GetObjectId(), "Texture target sampling is not supported: linear, clamped used!");
        desc.MinFilter = desc.MagFilter = GL_LINEAR;
        desc.WrapS = desc.WrapT = GL_CLAMP_TO_EDGE;
    }
    return desc;
}

bool GlRenderDevice::CreateTargetObjects(TargetEntry& entry, unsigned int samples)
{
    const GLsizei width = GLsizei(entry.width);
    const GLsizei height = GLsizei(entry.height);
    glGenTextures(1, &entry.colorTexture);
    glGenTextures(1, &entry.depthTexture);
    // Storage through unit 0's binding; the cache records it.
    const TextureDesc& desc = entry.desc;
    m_State.BindTexture(0, GL_TEXTURE_2D, entry.colorTexture);
    glTexImage2D(GL_TEXTURE_2D, 0, GLint(desc.InternalFormat), width, height, 0, desc.Format, desc.Type, nullptr);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GLint(desc.MinFilter));
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GLint(desc.MagFilter));
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GLint(desc.WrapS));
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GLint(desc.WrapT));
    m_State.BindTexture(0, GL_TEXTURE_2D, entry.depthTexture);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_DEPTH24_STENCIL8, width, height, 0, GL_DEPTH_STENCIL, GL_UNSIGNED_INT_24_8,
                 nullptr);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);

    const unsigned int previous = m_State.GetFramebuffer();
    unsigned int textures = 0;
    glGenFramebuffers(1, &textures);
    m_State.BindFramebuffer(textures);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, entry.colorTexture, 0);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_DEPTH_STENCIL_ATTACHMENT, GL_TEXTURE_2D, entry.depthTexture, 0);
    bool complete = glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE;
    entry.framebuffer = textures;
    entry.samples = 1;
    if (complete && samples > 1) {
        glGenRenderbuffers(1, &entry.colorBuffer);
        glGenRenderbuffers(1, &entry.depthBuffer);
        glBindRenderbuffer(GL_RENDERBUFFER, entry.colorBuffer);
        glRenderbufferStorageMultisample(GL_RENDERBUFFER, GLsizei(samples), desc.InternalFormat, width, height);
        GLint obtained = 0;
        glGetRenderbufferParameteriv(GL_RENDERBUFFER, GL_RENDERBUFFER_SAMPLES, &obtained);
        glBindRenderbuffer(GL_RENDERBUFFER, entry.depthBuffer);
        glRenderbufferStorageMultisample(GL_RENDERBUFFER, GLsizei(samples), GL_DEPTH24_STENCIL8, width, height);
        glBindRenderbuffer(GL_RENDERBUFFER, 0);
        entry.textureFramebuffer = textures;
        glGenFramebuffers(1, &entry.framebuffer);
        m_State.BindFramebuffer(entry.framebuffer);
        glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, entry.colorBuffer);
        glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_DEPTH_STENCIL_ATTACHMENT, GL_RENDERBUFFER, entry.depthBuffer);
        complete = obtained > 1 && glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE;
        entry.samples = unsigned(std::max(obtained, 1));
    }
    if (complete) {
        // New storage is undefined: start transparent black at the far
        // plane, the textures too (they are what is read until a resolve).
        const GLfloat clear[4] = {0.0f, 0.0f, 0.0f, 0.0f};
        m_State.SetColorMask(true);
        m_State.SetDepthMask(true);
        for (unsigned int framebuffer : {entry.framebuffer, entry.textureFramebuffer}) {
            if (framebuffer == 0)
                continue;
            m_State.BindFramebuffer(framebuffer);
            glClearBufferfv(GL_COLOR, 0, clear);
            glClearBufferfi(GL_DEPTH_STENCIL, 0, 1.0f, 0);
        }
    }
    entry.colorStale = entry.depthStale = false;
    if (previous != 0xffffffffu)
        m_State.BindFramebuffer(previous);
    return complete;
}

void GlRenderDevice::FreeTarget(TargetEntry& entry)
{
    for (unsigned int framebuffer : {entry.framebuffer, entry.textureFramebuffer}) {
        if (framebuffer) {
            m_State.ForgetFramebuffer(framebuffer);
            glDeleteFramebuffers(1, &framebuffer);
        }
    }
    const GLuint textures[] = {entry.colorTexture, entry.depthTexture};
    for (GLuint texture : textures) {
        if (texture) {
            m_State.ForgetTexture(texture);
            glDeleteTextures(1, &texture);
        }
    }
    const GLuint renderbuffers[] = {entry.colorBuffer, entry.depthBuffer};
    for (GLuint renderbuffer : renderbuffers)
        if (renderbuffer)
            glDeleteRenderbuffers(1, &renderbuffer);
    entry.framebuffer = entry.textureFramebuffer = entry.colorTexture = entry.depthTexture = 0;
    entry.colorBuffer = entry.depthBuffer = 0;
    entry.samples = 1;
    entry.colorStale = entry.depthStale = false;
}

void GlRenderDevice::ResolveTarget(TargetEntry& entry, bool color, bool depth)
{
    if (entry.textureFramebuffer == 0)
        return;
    GLbitfield mask = 0;
    if (color && entry.colorStale)
        mask |= GL_COLOR_BUFFER_BIT;
    if (depth && entry.depthStale)
        mask |= GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT;
    if (mask == 0)
        return;
    // Read and draw bindings apart for the blit; the cache binds both again.
    const unsigned int bound = m_State.GetFramebuffer();
    glBindFramebuffer(GL_READ_FRAMEBUFFER, entry.framebuffer);
    glBindFramebuffer(GL_DRAW_FRAMEBUFFER, entry.textureFramebuffer);
    const GLint width = GLint(entry.width);
    const GLint height = GLint(entry.height);
    glBlitFramebuffer(0, 0, width, height, 0, 0, width, height, mask, GL_NEAREST);
    m_State.InvalidateFramebuffer();
    if (bound != 0xffffffffu)
        m_State.BindFramebuffer(bound);
    if (color)
        entry.colorStale = false;
    if (depth)
        entry.depthStale = false;
}

void GlRenderDevice::SetClearColor(const glm::vec4& color) { m_State.SetClearColor(color.r, color.g, color.b, color.a); }

void GlRenderDevice::ClearBuffers(uint32_t bits)
{
    bits &= CLEAR_COLOR | CLEAR_DEPTH | CLEAR_STENCIL;
    if (bits == 0)
        return;
    BindForDrawing(bits);
    // Clearing obeys the write masks: open those of the buffers cleared (the
    // next material activation sets its own again).
    if (bits & CLEAR_COLOR)
        m_State.SetColorMask(true);
    if (bits & CLEAR_DEPTH)
        m_State.SetDepthMask(true);
    glClear(bits);
}

void GlRenderDevice::SetDepthTest(bool on) { m_State.SetDepthTest(on); }

void GlRenderDevice::SetPolygonOffset(bool on, float factor, float units)
{
    m_State.SetPolygonOffset(on, factor, units);
}

// --- clean-up and read-back ---

void GlRenderDevice::Finish()
{
    glFinish();
    m_QueuedElements = 0;
}


void GlRenderDevice::Gc()
{
    for (auto it = m_Geometries.begin(); it != m_Geometries.end();) {
        GeometryEntry& entry = it->second;
        const bool alive = entry.hasOwner ? !entry.owner.expired() : entry.lastUse == m_GcEpoch;
        if (alive) {
            ++it;
            continue;
        }
        FreeGeometry(entry);
        it = m_Geometries.erase(it);
    }
    for (auto it = m_Textures.begin(); it != m_Textures.end();) {
        if (!it->second.owner.expired()) {
            ++it;
            continue;
        }
        m_State.ForgetTexture(it->second.texture);
        glDeleteTextures(1, &it->second.texture);
        it = m_Textures.erase(it);
    }
    for (auto it = m_TargetObjects.begin(); it != m_TargetObjects.end();) {
        const TargetEntry& entry = it->second;
        if (entry.hasOwner ? !entry.owner.expired() : entry.lastUse == m_GcEpoch) {
            ++it;
            continue;
        }
        FreeTarget(it->second);
        it = m_TargetObjects.erase(it);
    }
    // The once-only warnings stay bounded; a problem that persists is
    // reported again after this.
    if (m_Warnings.size() > 4096)
        m_Warnings.clear();
    ++m_GcEpoch;
}

unsigned int GlRenderDevice::GetReadResolveFramebuffer(unsigned int width, unsigned int height, unsigned int format)
{
    if (m_ReadFramebuffer != 0 && m_ReadWidth == width && m_ReadHeight == height && m_ReadFormat == format)
        return m_ReadFramebuffer;
    if (m_ReadFramebuffer == 0) {
        glGenFramebuffers(1, &m_ReadFramebuffer);
        glGenRenderbuffers(1, &m_ReadColorBuffer);
    }
    glBindRenderbuffer(GL_RENDERBUFFER, m_ReadColorBuffer);
    glRenderbufferStorage(GL_RENDERBUFFER, format, GLsizei(width), GLsizei(height));
    glBindRenderbuffer(GL_RENDERBUFFER, 0);
    glBindFramebuffer(GL_DRAW_FRAMEBUFFER, m_ReadFramebuffer);
    glFramebufferRenderbuffer(GL_DRAW_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, m_ReadColorBuffer);
    m_State.InvalidateFramebuffer();
    m_ReadWidth = width;
    m_ReadHeight = height;
    m_ReadFormat = format;
    return m_ReadFramebuffer;
}

std::shared_ptr<ImageTexture2D> GlRenderDevice::ReadPixels()
{
    TargetEntry* entry = BindCurrentFramebuffer();
    const unsigned int width = entry ? entry->width : m_Width;
    const unsigned int height = entry ? entry->height : m_Height;
    const unsigned int bound = m_State.GetFramebuffer();
    if (entry && entry->textureFramebuffer != 0) {
        // A multisampled target: read its colour texture, resolved if stale.
        ResolveTarget(*entry, true, false);
        glBindFramebuffer(GL_READ_FRAMEBUFFER, entry->textureFramebuffer);
        m_State.InvalidateFramebuffer();
    } else {
        // Any other framebuffer (the context's, a window's 0): resolve into
        // a single-sampled buffer of the same colour format when it is
        // multisampled, then read that.
        GLint sampleBuffers = 0;
        glGetIntegerv(GL_SAMPLE_BUFFERS, &sampleBuffers);
        if (sampleBuffers > 0) {
            GLint readBuffer = GL_COLOR_ATTACHMENT0;
            glGetIntegerv(GL_READ_BUFFER, &readBuffer);
            // A window's buffers are named by side when queried.
            if (readBuffer == GL_BACK)
                readBuffer = GL_BACK_LEFT;
            else if (readBuffer == GL_FRONT)
                readBuffer = GL_FRONT_LEFT;
            GLint redBits = 8;
            GLint alphaBits = 8;
            GLint encoding = GL_LINEAR;
            if (readBuffer != GL_NONE) {
                const GLenum attachment = GLenum(readBuffer);
                glGetFramebufferAttachmentParameteriv(GL_READ_FRAMEBUFFER, attachment,
                                                      GL_FRAMEBUFFER_ATTACHMENT_RED_SIZE, &redBits);
                glGetFramebufferAttachmentParameteriv(GL_READ_FRAMEBUFFER, attachment,
                                                      GL_FRAMEBUFFER_ATTACHMENT_ALPHA_SIZE, &alphaBits);
                glGetFramebufferAttachmentParameteriv(GL_READ_FRAMEBUFFER, attachment,
                                                      GL_FRAMEBUFFER_ATTACHMENT_COLOR_ENCODING, &encoding);
            }
            GLenum format = GL_RGBA8;
            if (encoding == GL_SRGB)
                format = GL_SRGB8_ALPHA8;
            else if (redBits == 10)
                format = GL_RGB10_A2;
            else if (alphaBits == 0)
                format = GL_RGB8;
            const unsigned int resolved = GetReadResolveFramebuffer(width, height, format);
            glBindFramebuffer(GL_READ_FRAMEBUFFER, bound);
            glBindFramebuffer(GL_DRAW_FRAMEBUFFER, resolved);
            glBlitFramebuffer(0, 0, GLint(width), GLint(height), 0, 0, GLint(width), GLint(height),
                              GL_COLOR_BUFFER_BIT, GL_NEAREST);
            glBindFramebuffer(GL_READ_FRAMEBUFFER, resolved);
            m_State.InvalidateFramebuffer();
        }
    }
    std::vector<uint8_t> pixels(std::size_t(width) * height * 4);
    glReadPixels(0, 0, GLsizei(width), GLsizei(height), GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
    m_State.BindFramebuffer(bound);
    // GL rows run from the bottom.
    const std::size_t rowBytes = std::size_t(width) * 4;
    std::vector<uint8_t> row(rowBytes);
    for (unsigned int y = 0; y < height / 2; ++y) {
        uint8_t* top = &pixels[std::size_t(y) * rowBytes];
        uint8_t* bottom = &pixels[std::size_t(height - 1 - y) * rowBytes];
        std::memcpy(row.data(), top, rowBytes);
        std::memcpy(top, bottom, rowBytes);
        std::memcpy(bottom, row.data(), rowBytes);
    }
    return std::make_shared<ImageTexture2D>(width, height, pixels.data());
}

bool GlRenderDevice::SavePng(const std::string& path, unsigned int width, unsigned int height, const uint8_t* rgba)
{
    if (path.empty() || !rgba || width == 0 || height == 0 || width > ImageTexture2D::kMaxSize ||
        height > ImageTexture2D::kMaxSize) {
        Logger::Instance().Waring("Image to save is invalid!");
        return false;
    }
    if (stbi_write_png(path.c_str(), int(width), int(height), 4, rgba, int(width * 4)) == 0) {
        Logger::Instance().Waring("Image file cannot be written: " + path + "!");
        return false;
    }
    return true;
}

} // namespace orvcore
