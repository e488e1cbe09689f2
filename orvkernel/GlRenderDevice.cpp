#include <orvkernel/GlRenderDevice.h>

#include <orvcommon/Logger.h>
#include <orvkernel/Camera.h>
#include <orvkernel/FontMaterial.h>
#include <orvkernel/GlShaderProgram.h>
#include <orvkernel/GlShaderSources.h>
#include <orvkernel/ImageTextureCube.h>
#include <orvkernel/LineDashedMaterial.h>
#include <orvkernel/MaterialInstance.h>
#include <orvkernel/MaterialTemplate.h>
#include <orvkernel/PrimitiveShape.h>
#include <orvkernel/RawShader.h>
#include <orvkernel/RenderTarget.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <sstream>
#include <vector>

#include <epoxy/gl.h>
#include <glm/mat3x3.hpp>
#include <glm/matrix.hpp>

#define STB_IMAGE_WRITE_IMPLEMENTATION
#include <stb/stb_image_write.h>

namespace orvcore {

namespace {

/// The shader files of a template and whether its line primitives go
/// through the wide-line geometry shader.
struct TemplateShaders {
    const char* name;
    const char* vertex;
    const char* fragment;
    bool wideLines;
};

const TemplateShaders kTemplateShaders[] = {
    {"basic", "basic.vert", "basic.frag", true},
    {"phong", "basic.vert", "phong.frag", true},
    {"points", "basic.vert", "points.frag", false},
    {"dashed", "basic.vert", "dashed.frag", true},
    {"font", "font.vert", "font.frag", false},
    {"background", "screen.vert", "background.frag", false},
    {"cube", "cube.vert", "cube.frag", false},
    {"depth", "basic.vert", "depth.frag", true},
    {"ext/dark_depth", "basic.vert", "dark_depth.frag", true},
    {"ext/HorizontalBlur", "screen.vert", "horizontal_blur.frag", false},
    {"ext/VerticalBlur", "screen.vert", "vertical_blur.frag", false},
};

const TemplateShaders* FindTemplateShaders(const std::string& name)
{
    for (const TemplateShaders& shaders : kTemplateShaders)
        if (name == shaders.name)
            return &shaders;
    return nullptr;
}

std::string ExpandShader(const std::string& name, int depth = 0);

/// GLSL text with its `#include "file"` lines replaced by those files of the
/// library (nested up to a few levels); empty when a file is missing.
std::string ExpandText(const std::string& name, const char* text, int depth)
{
    std::istringstream lines(text);
    std::string line;
    std::string result;
    while (std::getline(lines, line)) {
        const std::size_t start = line.find_first_not_of(" \t");
        if (start != std::string::npos && line.compare(start, 8, "#include") == 0) {
            const std::size_t open = line.find('"', start);
            const std::size_t close = open == std::string::npos ? open : line.find('"', open + 1);
            if (close == std::string::npos) {
                Logger::Instance().Error("Shader include is malformed in " + name);
                return std::string();
            }
            const std::string included = ExpandShader(line.substr(open + 1, close - open - 1), depth + 1);
            if (included.empty())
                return std::string();
            result += included;
        } else {
            result += line;
        }
        result += '\n';
    }
    return result;
}

/// The text of a shader file of the library, includes expanded.
std::string ExpandShader(const std::string& name, int depth)
{
    const char* text = FindGlShaderSource(name);
    if (!text || depth > 4) {
        Logger::Instance().Error("Shader source is missing: " + name);
        return std::string();
    }
    return ExpandText(name, text, depth);
}

GLenum DataType(uint32_t type)
{
    switch (type) {
    case DATA_TYPE_UNSIGNED_BYTE:
        return GL_UNSIGNED_BYTE;
    case DATA_TYPE_UNSIGNED_SHORT:
        return GL_UNSIGNED_SHORT;
    case DATA_TYPE_UNSIGNED_INT:
        return GL_UNSIGNED_INT;
    case DATA_TYPE_FLOAT:
        return GL_FLOAT;
    default:
        return 0;
    }
}

/// Bytes an attribute covers in its store from item 0, or 0 when its layout
/// is unusable (unknown type, item size outside 1..4, past the store).
std::size_t AttributeByteSize(const BufferAttribute& attribute)
{
    const uint32_t componentSize = DataTypeSize(attribute.GetDataType());
    if (componentSize == 0 || DataType(attribute.GetDataType()) == 0 || attribute.GetItemSize() < 1 ||
        attribute.GetItemSize() > 4 || attribute.GetCount() == 0 || !attribute.GetStore())
        return 0;
    const std::size_t itemBytes = std::size_t(attribute.GetItemSize()) * componentSize;
    const std::size_t size = (attribute.GetCount() - 1) * std::size_t(attribute.GetByteStride()) + itemBytes;
    if (std::size_t(attribute.GetByteOffset()) + size > attribute.GetStore()->size())
        return 0;
    return size;
}

template <typename T>
bool SameObject(const std::weak_ptr<T>& watched, const std::shared_ptr<T>& current)
{
    return !watched.owner_before(current) && !current.owner_before(watched) && !watched.expired();
}

glm::mat3 NormalMatrix(const glm::mat4& modelView)
{
    const glm::mat3 linear(modelView);
    const float determinant = glm::determinant(linear);
    if (!std::isfinite(determinant) || std::fabs(determinant) < 1e-20f)
        return linear;
    return glm::transpose(glm::inverse(linear));
}

constexpr unsigned int kColorAttachment = 0x8CE0;
constexpr unsigned int kDepthAttachment = 0x8D00;

} // namespace

GlRenderDevice::GlRenderDevice(unsigned int defaultFramebuffer, unsigned int width, unsigned int height)
    : m_DefaultFramebuffer(defaultFramebuffer), m_Width(std::max(width, 1u)), m_Height(std::max(height, 1u))
{
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
    const GLuint buffers[] = {m_PointBuffer, m_QuadBuffer};
    glDeleteBuffers(2, buffers);
    const GLuint textures[] = {m_WhiteTexture, m_BlackCube};
    glDeleteTextures(2, textures);
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
    if (!m_Target)
        BindCurrentFramebuffer();
}

void GlRenderDevice::SetDefaultFramebuffer(unsigned int framebuffer)
{
    m_DefaultFramebuffer = framebuffer;
    if (!m_Target)
        BindCurrentFramebuffer();
}

void GlRenderDevice::BindCurrentFramebuffer()
{
    if (m_Target) {
        if (TargetEntry* entry = SyncTarget(m_Target)) {
            m_State.BindFramebuffer(entry->framebuffer);
            m_State.Viewport(0, 0, GLsizei(entry->width), GLsizei(entry->height));
            return;
        }
    }
    m_State.BindFramebuffer(m_DefaultFramebuffer);
    m_State.Viewport(0, 0, GLsizei(m_Width), GLsizei(m_Height));
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
    if (entry.framebuffer != 0 && entry.width == width && entry.height == height)
        return entry.complete ? &entry : nullptr;

    GLint maxSize = 0;
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &maxSize);
    if (width > unsigned(maxSize) || height > unsigned(maxSize)) {
        WarnOnce(target->GetObjectId(), "Render target size is invalid!");
        entry.complete = false;
        return nullptr;
    }
    if (entry.framebuffer == 0) {
        glGenFramebuffers(1, &entry.framebuffer);
        glGenTextures(1, &entry.colorTexture);
        glGenTextures(1, &entry.depthTexture);
    }
    entry.width = width;
    entry.height = height;
    // Storage through unit 0's binding; the cache records it.
    m_State.BindTexture(0, GL_TEXTURE_2D, entry.colorTexture);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, GLsizei(width), GLsizei(height), 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    m_State.BindTexture(0, GL_TEXTURE_2D, entry.depthTexture);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_DEPTH24_STENCIL8, GLsizei(width), GLsizei(height), 0, GL_DEPTH_STENCIL,
                 GL_UNSIGNED_INT_24_8, nullptr);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);

    const unsigned int previous = m_State.GetFramebuffer();
    m_State.BindFramebuffer(entry.framebuffer);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, entry.colorTexture, 0);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_DEPTH_STENCIL_ATTACHMENT, GL_TEXTURE_2D, entry.depthTexture, 0);
    entry.complete = glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE;
    if (entry.complete) {
        // New storage is undefined: start transparent black at the far plane.
        const GLfloat clear[4] = {0.0f, 0.0f, 0.0f, 0.0f};
        m_State.SetColorMask(true);
        m_State.SetDepthMask(true);
        glClearBufferfv(GL_COLOR, 0, clear);
        glClearBufferfi(GL_DEPTH_STENCIL, 0, 1.0f, 0);
    }
    if (previous != 0xffffffffu)
        m_State.BindFramebuffer(previous);
    if (!entry.complete) {
        WarnOnce(target->GetObjectId(), "Render target is incomplete!");
        return nullptr;
    }
    return &entry;
}

void GlRenderDevice::FreeTarget(TargetEntry& entry)
{
    if (entry.framebuffer) {
        m_State.ForgetFramebuffer(entry.framebuffer);
        glDeleteFramebuffers(1, &entry.framebuffer);
    }
    const GLuint textures[] = {entry.colorTexture, entry.depthTexture};
    for (GLuint texture : textures) {
        if (texture) {
            m_State.ForgetTexture(texture);
            glDeleteTextures(1, &texture);
        }
    }
    entry.framebuffer = entry.colorTexture = entry.depthTexture = 0;
}

void GlRenderDevice::SetClearColor(const glm::vec4& color) { m_State.SetClearColor(color.r, color.g, color.b, color.a); }

void GlRenderDevice::ClearBuffers(uint32_t bits)
{
    bits &= CLEAR_COLOR | CLEAR_DEPTH | CLEAR_STENCIL;
    if (bits == 0)
        return;
    BindCurrentFramebuffer();
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

// --- programs and materials ---

GlShaderProgram* GlRenderDevice::GetProgram(const std::string& templateName)
{
    const auto found = m_Programs.find(templateName);
    if (found != m_Programs.end())
        return found->second->IsAvailable(GlShaderProgram::VARIANT_SURFACE) ? found->second.get() : nullptr;

    auto program = std::make_unique<GlShaderProgram>(templateName, m_State);
    if (const TemplateShaders* shaders = FindTemplateShaders(templateName)) {
        const std::string vertex = ExpandShader(shaders->vertex);
        const std::string fragment = ExpandShader(shaders->fragment);
        if (!vertex.empty() && !fragment.empty())
            program->Build(GlShaderProgram::VARIANT_SURFACE, vertex, std::string(), fragment);
    }
    GlShaderProgram* result = program.get();
    m_Programs[templateName] = std::move(program);
    if (!result->IsAvailable(GlShaderProgram::VARIANT_SURFACE))
        return nullptr;

    // Defaults of the template uniforms (materials override what they own).
    result->SetUniform("color", glm::vec3(1.0f));
    result->SetUniform("opacity", 1.0f);
    result->SetUniform("state", int(MATERIAL_STATE_NORMAL));
    result->SetUniform("pointSize", 1.0f);
    result->SetUniform("lineWidth", 1.0f);
    result->SetUniform("shininess", 30.0f);
    result->SetUniform("lightCount", -1);
    result->SetUniform("ambientLight", glm::vec3(0.35f));
    result->SetUniform("flipEnvMap", 1.0f);
    result->SetUniform("darkness", 1.0f);
    result->SetUniform("h", 1.0f / 512.0f);
    result->SetUniform("v", 1.0f / 512.0f);
    result->SetUniform("dashSize", 1.0f);
    result->SetUniform("gapSize", 0.0f);
    return result;
}

GlShaderProgram* GlRenderDevice::GetRawProgram(const RawShader& shader)
{
    // Programs are shared by the raw shaders of the same sources.
    const std::string key = shader.GetVertexSource() + "\n//fragment\n" + shader.GetFragmentSource();
    const auto found = m_RawPrograms.find(key);
    if (found != m_RawPrograms.end())
        return found->second->IsAvailable(GlShaderProgram::VARIANT_SURFACE) ? found->second.get() : nullptr;
    auto program = std::make_unique<GlShaderProgram>(RawShader::kTemplate, m_State);
    const std::string vertex = ExpandText(shader.GetName(), shader.GetVertexSource().c_str(), 0);
    const std::string fragment = ExpandText(shader.GetName(), shader.GetFragmentSource().c_str(), 0);
    if (!vertex.empty() && !fragment.empty())
        program->Build(GlShaderProgram::VARIANT_SURFACE, vertex, std::string(), fragment);
    GlShaderProgram* result = program.get();
    m_RawPrograms[key] = std::move(program);
    return result->IsAvailable(GlShaderProgram::VARIANT_SURFACE) ? result : nullptr;
}

void GlRenderDevice::SetModelUniforms(GlShaderProgram& program, const glm::mat4& model)
{
    const glm::mat4 identity(1.0f);
    const glm::mat4& view = m_Camera ? m_Camera->GetViewMatrix() : identity;
    const glm::mat4 modelView = view * model;
    program.SetUniform("modelMatrix", model);
    program.SetUniform("modelViewMatrix", modelView);
    program.SetUniform("normalMatrix", NormalMatrix(modelView));
}

void GlRenderDevice::BuildTemplate(const std::shared_ptr<MaterialTemplate>& materialTemplate)
{
    if (!materialTemplate) {
        Logger::Instance().Waring("Material template is null!");
        return;
    }
    // Raw shaders bring their sources with each material.
    if (materialTemplate->GetName() == RawShader::kTemplate)
        return;
    if (!GetProgram(materialTemplate->GetName()))
        WarnOnce(0, "Shader program is not available: " + materialTemplate->GetName() + "!");
}

GpuShaderProgram* GlRenderDevice::ActiveMaterial(const std::shared_ptr<MaterialInstance>& material)
{
    return Activate(material.get(), true);
}

GpuShaderProgram* GlRenderDevice::_ActiveMaterial(MaterialInstance* material) { return Activate(material, true); }

GpuShaderProgram* GlRenderDevice::ActiveShader(MaterialInstance* material)
{
    GpuShaderProgram* program = Activate(material, false);
    // The state of the material was not applied: a later activation of it
    // must not take the shortcut.
    m_MaterialId = 0;
    m_Material = nullptr;
    return program;
}

GpuShaderProgram* GlRenderDevice::Activate(MaterialInstance* material, bool withState)
{
    if (!material) {
        Logger::Instance().Waring("Material is null!");
        m_Program = nullptr;
        m_MaterialId = 0;
        m_Material = nullptr;
        m_ActivationFailed = true;
        return nullptr;
    }
    // The same material, unchanged: its uniforms are in the program already;
    // the fixed state and textures go through the caches (no GL call unless
    // someone changed them in between).
    if (withState && m_Program && m_Material == material && m_MaterialId == material->GetObjectId() &&
        m_MaterialVersion == material->GetUpdateVersion()) {
        ApplyMaterialState(*material);
        if (BindMaterialTextures(*material, *m_Program)) {
            SetModelUniforms(*m_Program, glm::mat4(1.0f));
            return m_Program;
        }
    }

    m_Program = nullptr;
    m_Material = nullptr;
    m_MaterialId = 0;
    m_ActivationFailed = true;
    GlShaderProgram* program = nullptr;
    if (RawShader* raw = RawShader::Cast(material))
        program = GetRawProgram(*raw);
    else if (material->GetTemplate())
        program = GetProgram(material->GetTemplateName());
    if (!program) {
        WarnOnce(material->GetObjectId(), "Shader program is not available: " + material->GetTemplateName() + "!");
        return nullptr;
    }
    if (!BindMaterialTextures(*material, *program))
        return nullptr;
    if (withState)
        ApplyMaterialState(*material);
    ApplyMaterialUniforms(*material, *program);
    SetModelUniforms(*program, glm::mat4(1.0f));

    m_Program = program;
    m_Material = material;
    m_MaterialId = material->GetObjectId();
    m_MaterialVersion = material->GetUpdateVersion();
    m_ActivationFailed = false;
    return program;
}

void GlRenderDevice::ApplyMaterialState(const MaterialInstance& material)
{
    m_State.SetDepthTest(material.GetDepthTest());
    m_State.SetDepthMask(material.DepthWrite);
    m_State.SetColorMask(true);
    m_State.SetBlending(material.BlendingMode == BLENDING_NORMAL || material.BlendingMode == BLENDING_TRANSPARENT);
    switch (material.GetFaceSide()) {
    case FACE_BACK:
        m_MaterialCull = GL_FRONT;
        break;
    case FACE_DOUBLE:
        m_MaterialCull = 0;
        break;
    default:
        m_MaterialCull = GL_BACK;
        break;
    }
}

bool GlRenderDevice::BindMaterialTextures(const MaterialInstance& material, GlShaderProgram& program)
{
    const auto& textures = material.GetTextures();
    // Every sampler reads something defined: the material's texture, or the
    // neutral texture of its kind.
    for (const auto& sampler : program.GetSamplers()) {
        if (textures.count(sampler.first))
            continue;
        uint32_t unit = 0;
        unsigned int type = 0;
        program.FindSampler(sampler.first, unit, type);
        if (type == GL_SAMPLER_CUBE)
            m_State.BindTexture(unit, GL_TEXTURE_CUBE_MAP, m_BlackCube);
        else if (type == GL_SAMPLER_2D)
            m_State.BindTexture(unit, GL_TEXTURE_2D, m_WhiteTexture);
    }
    for (const auto& entry : textures) {
        uint32_t unit = 0;
        unsigned int samplerType = 0;
        if (!program.FindSampler(entry.first, unit, samplerType)) {
            WarnOnce(material.GetObjectId(), "Texture sampler is not found: " + entry.first + "!");
            return false;
        }
        const bool fits = (samplerType == GL_SAMPLER_2D && entry.second->GetTextureType() == TEXTURE_2D) ||
                          (samplerType == GL_SAMPLER_CUBE && entry.second->GetTextureType() == TEXTURE_CUBE_MAP);
        if (!fits || unit >= GlStateCache::kTextureUnits) {
            WarnOnce(material.GetObjectId(), "Texture does not fit the sampler: " + entry.first + "!");
            return false;
        }
        const unsigned int name = SyncTexture(entry.second, unit);
        if (name == 0) {
            WarnOnce(material.GetObjectId(), "Texture is not supported: " + entry.first + "!");
            return false;
        }
        m_State.BindTexture(unit, samplerType == GL_SAMPLER_CUBE ? GL_TEXTURE_CUBE_MAP : GL_TEXTURE_2D, name);
    }
    return true;
}

void GlRenderDevice::ApplyMaterialUniforms(const MaterialInstance& material, GlShaderProgram& program)
{
    program.SetUniform("color", material.GetColor());
    program.SetUniform("opacity", material.GetOpacity());
    program.SetUniform("state", int(material.GetState()));
    program.SetUniform("useVertexColors", material.GetVertexColors() ? 1 : 0);
    program.SetUniform("useMap", material.GetTexture("map") ? 1 : 0);
    program.SetUniform("pointSize", material.GetPointSize());
    program.SetUniform("lineWidth", float(std::max<uint8_t>(material.LineWidth, 1)));
    program.SetUniform("shininess", material.GetShininess());
    program.SetUniform("faceSide", int(material.GetFaceSide()));
    if (material.GetTemplateOptions() & TEMPLATE_OPTION_LIGHTING) {
        // Until a light manager sets its lights on this activation, one
        // light from the eye.
        program.SetUniform("lightCount", -1);
        program.SetUniform("ambientLight", glm::vec3(0.35f));
    }
    MaterialInstance& mutableMaterial = const_cast<MaterialInstance&>(material);
    if (const LineDashedMaterial* dashed = LineDashedMaterial::Cast(&mutableMaterial)) {
        program.SetUniform("dashSize", dashed->GetDashSize());
        program.SetUniform("gapSize", dashed->GetGapSize());
    }
    if (const FontMaterial* font = FontMaterial::Cast(&mutableMaterial)) {
        program.SetUniform("billboard", font->GetBillboard() ? 1 : 0);
        program.SetUniform("hasBackground", font->HasBackground() ? 1 : 0);
        program.SetUniform("background", font->GetBackground());
    }
    for (const auto& uniform : material.GetUniforms().GetValues())
        program.SetUniform(uniform.first, uniform.second);
}

// --- textures ---

unsigned int GlRenderDevice::SyncTexture(const std::shared_ptr<Texture>& texture, uint32_t unit)
{
    const ImageTexture2D* image = dynamic_cast<const ImageTexture2D*>(texture.get());
    const ImageTextureCube* cube = dynamic_cast<const ImageTextureCube*>(texture.get());
    if (!image && !cube)
        return 0;
    TextureEntry& entry = m_Textures[texture->GetObjectId()];
    if (entry.texture != 0 && entry.version == texture->GetVersion())
        return entry.texture;
    if (entry.texture == 0) {
        entry.owner = texture;
        glGenTextures(1, &entry.texture);
    }
    entry.version = texture->GetVersion();
    const GLenum target = image ? GL_TEXTURE_2D : GL_TEXTURE_CUBE_MAP;
    m_State.BindTexture(unit, target, entry.texture);
    const uint8_t clear[4] = {0, 0, 0, 0};
    if (image && image->IsEmpty()) {
        glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, 1, 1, 0, GL_RGBA, GL_UNSIGNED_BYTE, clear);
    } else if (image) {
        // Image rows run from the top; GL rows from the bottom (uv v = 0).
        const unsigned int width = image->GetWidth();
        const unsigned int height = image->GetHeight();
        const std::size_t rowBytes = std::size_t(width) * 4;
        const std::vector<uint8_t>& pixels = image->GetPixels();
        std::vector<uint8_t> flipped(pixels.size());
        for (unsigned int row = 0; row < height; ++row)
            std::memcpy(&flipped[std::size_t(height - 1 - row) * rowBytes], &pixels[std::size_t(row) * rowBytes],
                        rowBytes);
        glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, GLsizei(width), GLsizei(height), 0, GL_RGBA, GL_UNSIGNED_BYTE,
                     flipped.data());
    } else {
        // Cube faces keep their rows from the top: that is how cube-map
        // faces are laid out (t grows downwards on every face).
        const unsigned int size = cube->IsEmpty() ? 0 : cube->GetWidth();
        for (unsigned int face = 0; face < 6; ++face) {
            const std::vector<uint8_t>& pixels = cube->GetFace(face);
            const bool whole = size != 0 && pixels.size() == std::size_t(size) * size * 4;
            glTexImage2D(GL_TEXTURE_CUBE_MAP_POSITIVE_X + face, 0, GL_RGBA8, whole ? GLsizei(size) : 1,
                         whole ? GLsizei(size) : 1, 0, GL_RGBA, GL_UNSIGNED_BYTE, whole ? pixels.data() : clear);
        }
    }
    glTexParameteri(target, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(target, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(target, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(target, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    if (cube)
        glTexParameteri(target, GL_TEXTURE_WRAP_R, GL_CLAMP_TO_EDGE);
    ++m_TextureUploadCount;
    return entry.texture;
}

void GlRenderDevice::ActiveTexture(uint32_t unit, const std::shared_ptr<Texture>& texture)
{
    if (unit >= GlStateCache::kTextureUnits) {
        Logger::Instance().Waring("Texture unit is out of range!");
        return;
    }
    if (!texture) {
        m_State.BindTexture(unit, GL_TEXTURE_2D, 0);
        return;
    }
    const unsigned int name = SyncTexture(texture, unit);
    if (name == 0) {
        WarnOnce(texture->GetObjectId(), "Texture type is not supported!");
        return;
    }
    m_State.BindTexture(unit, texture->GetTextureType() == TEXTURE_CUBE_MAP ? GL_TEXTURE_CUBE_MAP : GL_TEXTURE_2D,
                        name);
}

void GlRenderDevice::ActiveTexture(uint32_t unit, const std::shared_ptr<RenderTarget>& target, uint32_t attachment)
{
    if (unit >= GlStateCache::kTextureUnits) {
        Logger::Instance().Waring("Texture unit is out of range!");
        return;
    }
    if (!target) {
        Logger::Instance().Waring("Render target is null!");
        return;
    }
    if (attachment != kColorAttachment && attachment != kDepthAttachment) {
        Logger::Instance().Waring("Render target attachment is not supported!");
        return;
    }
    TargetEntry* entry = SyncTarget(target);
    if (!entry)
        return;
    m_State.BindTexture(unit, GL_TEXTURE_2D, attachment == kColorAttachment ? entry->colorTexture : entry->depthTexture);
}

// --- geometry ---

bool GlRenderDevice::SyncAttribute(uint32_t slot, const std::shared_ptr<BufferAttribute>& attribute,
                                   AttributeBuffer& buffer, uint32_t geometryId)
{
    if (!attribute) {
        if (buffer.buffer != 0) {
            glDisableVertexAttribArray(slot);
            m_State.ForgetBuffer(buffer.buffer);
            glDeleteBuffers(1, &buffer.buffer);
            buffer = AttributeBuffer();
        }
        return true;
    }
    if (buffer.buffer != 0 && buffer.version == attribute->GetVersion() && SameObject(buffer.source, attribute))
        return true;

    const std::size_t byteSize = AttributeByteSize(*attribute);
    if (byteSize == 0) {
        if (attribute->GetCount() != 0)
            WarnOnce(geometryId, "Vertex attribute layout is invalid: slot " + std::to_string(slot) + "!");
        if (buffer.buffer != 0) {
            glDisableVertexAttribArray(slot);
            m_State.ForgetBuffer(buffer.buffer);
            glDeleteBuffers(1, &buffer.buffer);
        }
        buffer = AttributeBuffer();
        return false;
    }
    if (buffer.buffer == 0)
        glGenBuffers(1, &buffer.buffer);
    m_State.BindArrayBuffer(buffer.buffer);
    const uint8_t* data = attribute->GetData();
    if (buffer.byteSize == byteSize)
        glBufferSubData(GL_ARRAY_BUFFER, 0, GLsizeiptr(byteSize), data);
    else
        glBufferData(GL_ARRAY_BUFFER, GLsizeiptr(byteSize), data, GL_STATIC_DRAW);
    ++m_UploadCount;
    glVertexAttribPointer(slot, GLint(attribute->GetItemSize()), DataType(attribute->GetDataType()),
                          attribute->GetNormalized() ? GL_TRUE : GL_FALSE, GLsizei(attribute->GetByteStride()),
                          nullptr);
    glEnableVertexAttribArray(slot);
    buffer.source = attribute;
    buffer.version = attribute->GetVersion();
    buffer.byteSize = byteSize;
    buffer.count = attribute->GetCount();
    return true;
}

bool GlRenderDevice::SyncGeometry(BufferGeometry& geometry, GeometryEntry& entry)
{
    const uint32_t id = geometry.GetObjectId();
    if (entry.vertexArray == 0)
        glGenVertexArrays(1, &entry.vertexArray);
    m_State.BindVertexArray(entry.vertexArray);

    bool ok = true;
    for (uint32_t slot = 0; slot < ATTRIBUTE_SLOT_COUNT; ++slot)
        ok = SyncAttribute(slot, geometry.GetAttribute(slot), entry.attributes[slot], id) && ok;
    if (!ok)
        return false;

    const std::shared_ptr<ElementAttribute>& index = geometry.GetIndex();
    if (!index) {
        if (entry.indexBuffer != 0) {
            glDeleteBuffers(1, &entry.indexBuffer);
            entry.indexBuffer = 0;
            entry.indexSource.reset();
            entry.indexByteSize = 0;
        }
    } else if (entry.indexBuffer == 0 || entry.indexVersion != index->GetVersion() ||
               !SameObject(entry.indexSource, index)) {
        if (entry.indexBuffer == 0)
            glGenBuffers(1, &entry.indexBuffer);
        // The element binding belongs to the vertex array bound above.
        glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, entry.indexBuffer);
        const std::size_t byteSize = index->GetByteSize();
        if (byteSize != 0 && byteSize == entry.indexByteSize)
            glBufferSubData(GL_ELEMENT_ARRAY_BUFFER, 0, GLsizeiptr(byteSize), index->GetData());
        else
            glBufferData(GL_ELEMENT_ARRAY_BUFFER, GLsizeiptr(byteSize), index->GetData(), GL_STATIC_DRAW);
        ++m_UploadCount;
        entry.indexSource = index;
        entry.indexVersion = index->GetVersion();
        entry.indexByteSize = byteSize;
        entry.maxIndex = index->GetMaxIndex();
    }
    return true;
}

void GlRenderDevice::FreeGeometry(GeometryEntry& entry)
{
    for (AttributeBuffer& buffer : entry.attributes) {
        if (buffer.buffer != 0) {
            m_State.ForgetBuffer(buffer.buffer);
            glDeleteBuffers(1, &buffer.buffer);
        }
    }
    if (entry.indexBuffer != 0)
        glDeleteBuffers(1, &entry.indexBuffer);
    if (entry.vertexArray != 0) {
        m_State.ForgetVertexArray(entry.vertexArray);
        glDeleteVertexArrays(1, &entry.vertexArray);
    }
    entry = GeometryEntry();
}

bool GlRenderDevice::CanDraw()
{
    if (m_Program)
        return true;
    // A failed activation has warned already.
    if (!m_ActivationFailed)
        WarnOnce(0, "No material is active!");
    return false;
}

void GlRenderDevice::PrepareDraw(uint32_t primitiveType, const glm::mat4* model, bool hasLineDistance)
{
    GlShaderProgram::EnumVariant variant = GlShaderProgram::VARIANT_SURFACE;
    if (IsLinePrimitive(primitiveType)) {
        const TemplateShaders* shaders = FindTemplateShaders(m_Program->GetTemplateName());
        if (shaders && shaders->wideLines) {
            if (!m_Program->IsBuilt(GlShaderProgram::VARIANT_LINES)) {
                const std::string vertex = ExpandShader(shaders->vertex);
                const std::string geometry = ExpandShader("lines.geom");
                const std::string fragment = ExpandShader(shaders->fragment);
                if (vertex.empty() || geometry.empty() || fragment.empty() ||
                    !m_Program->Build(GlShaderProgram::VARIANT_LINES, vertex, geometry, fragment))
                    WarnOnce(0, "Wide lines are not available: " + m_Program->GetTemplateName() + "!");
            }
            if (m_Program->IsAvailable(GlShaderProgram::VARIANT_LINES))
                variant = GlShaderProgram::VARIANT_LINES;
        }
    }

    const glm::mat4 identity(1.0f);
    const glm::mat4& view = m_Camera ? m_Camera->GetViewMatrix() : identity;
    const glm::mat4& projection = m_Camera ? m_Camera->GetProjectionMatrix() : identity;
    glm::vec2 viewport{float(m_Width), float(m_Height)};
    if (m_Target)
        viewport = glm::vec2(float(std::max(m_Target->GetWidth(), 1u)), float(std::max(m_Target->GetHeight(), 1u)));
    m_Program->SetUniform("projectionMatrix", projection);
    m_Program->SetUniform("viewMatrix", view);
    if (model)
        SetModelUniforms(*m_Program, *model);
    m_Program->SetUniform("viewportSize", viewport);
    m_Program->SetUniform("useDash", hasLineDistance ? 1 : 0);

    // Wide lines are quads whose winding follows the line direction: never
    // culled.
    m_State.SetCullFace(variant == GlShaderProgram::VARIANT_LINES ? 0u : m_MaterialCull);
    BindCurrentFramebuffer();
    m_Program->Use(variant);
}

void GlRenderDevice::DrawGeometry(BufferGeometry& geometry, const std::shared_ptr<BufferGeometry>& owner,
                                  uint32_t start, uint32_t count, const glm::mat4* model)
{
    if (!CanDraw())
        return;
    const uint32_t id = geometry.GetObjectId();
    const std::shared_ptr<BufferAttribute>& positions = geometry.GetPositions();
    if (!positions) {
        WarnOnce(id, "Geometry has no positions!");
        return;
    }
    const uint32_t type = geometry.GetPrimitiveType();
    if (type > PRIMITIVE_TRIANGLE_FAN) {
        WarnOnce(id, "Primitive type is not supported!");
        return;
    }
    const std::size_t vertexCount = positions->GetCount();
    if (vertexCount == 0)
        return;

    GeometryEntry& entry = m_Geometries[id];
    entry.lastUse = m_GcEpoch;
    if (owner && !entry.hasOwner) {
        entry.owner = owner;
        entry.hasOwner = true;
    }
    if (!SyncGeometry(geometry, entry))
        return;

    // Every vertex an element refers to must exist in every attribute.
    const bool indexed = geometry.GetIndex() != nullptr;
    const std::size_t elementCount = indexed ? geometry.GetIndex()->GetCount() : vertexCount;
    if (indexed && elementCount != 0 && entry.maxIndex >= vertexCount) {
        WarnOnce(id, "Geometry index is past the vertex count!");
        return;
    }
    const std::size_t needed = indexed ? std::size_t(entry.maxIndex) + 1 : vertexCount;
    for (uint32_t slot = 1; slot < ATTRIBUTE_SLOT_COUNT; ++slot) {
        const AttributeBuffer& buffer = entry.attributes[slot];
        if (buffer.buffer != 0 && buffer.count < needed) {
            WarnOnce(id, "Vertex attribute is shorter than the positions: slot " + std::to_string(slot) + "!");
            return;
        }
    }

    if (start >= elementCount)
        return;
    std::size_t drawn = elementCount - start;
    if (count != 0)
        drawn = std::min<std::size_t>(drawn, count);

    PrepareDraw(type, model, entry.attributes[ATTRIBUTE_LINE_DISTANCE].buffer != 0);
    m_State.BindVertexArray(entry.vertexArray);
    if (indexed) {
        const bool wide = geometry.GetIndex()->GetDataType() == DATA_TYPE_UNSIGNED_INT;
        const std::size_t offset = std::size_t(start) * (wide ? 4u : 2u);
        glDrawElements(GLenum(type), GLsizei(drawn), wide ? GL_UNSIGNED_INT : GL_UNSIGNED_SHORT,
                       reinterpret_cast<const void*>(offset));
    } else {
        glDrawArrays(GLenum(type), GLint(start), GLsizei(drawn));
    }
    ++m_DrawCount;
}

void GlRenderDevice::Draw(PrimitiveShape* primitive, const glm::mat4& transform)
{
    if (!primitive) {
        WarnOnce(0, "Primitive is null!");
        return;
    }
    const std::shared_ptr<BufferGeometry>& geometry = primitive->GetGeometry();
    if (!geometry) {
        WarnOnce(primitive->GetObjectId(), "Primitive has no geometry!");
        return;
    }
    DrawGeometry(*geometry, geometry, 0, 0, &transform);
}

void GlRenderDevice::Draw(BufferGeometry* geometry, uint32_t start, uint32_t count)
{
    if (!geometry) {
        WarnOnce(0, "Geometry is null!");
        return;
    }
    DrawGeometry(*geometry, nullptr, start, count, nullptr);
}

void GlRenderDevice::DrawPoint(const glm::vec3& position)
{
    if (!CanDraw())
        return;
    const glm::mat4 identity(1.0f);
    PrepareDraw(PRIMITIVE_POINTS, &identity, false);
    m_State.BindVertexArray(m_PointArray);
    m_State.BindArrayBuffer(m_PointBuffer);
    glBufferSubData(GL_ARRAY_BUFFER, 0, sizeof(float) * 3, &position.x);
    glDrawArrays(GL_POINTS, 0, 1);
    ++m_DrawCount;
}

void GlRenderDevice::DrawScreenQuad()
{
    if (!CanDraw())
        return;
    PrepareDraw(PRIMITIVE_TRIANGLE_STRIP, nullptr, false);
    m_State.SetCullFace(0);
    m_State.BindVertexArray(m_QuadArray);
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    ++m_DrawCount;
}

// --- clean-up and read-back ---

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

std::shared_ptr<ImageTexture2D> GlRenderDevice::ReadPixels()
{
    BindCurrentFramebuffer();
    unsigned int width = m_Width;
    unsigned int height = m_Height;
    if (m_Target && m_TargetObjects.count(m_Target->GetObjectId()) &&
        m_TargetObjects[m_Target->GetObjectId()].complete) {
        width = m_TargetObjects[m_Target->GetObjectId()].width;
        height = m_TargetObjects[m_Target->GetObjectId()].height;
    }
    std::vector<uint8_t> pixels(std::size_t(width) * height * 4);
    glReadPixels(0, 0, GLsizei(width), GLsizei(height), GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
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
