#include <orvkernel/gl/GlShaderProgram.h>

#include <orvcommon/Logger.h>
#include <orvkernel/gl/GlStateCache.h>

#include <algorithm>
#include <cstring>

#include <epoxy/gl.h>
#include <glm/gtc/type_ptr.hpp>

namespace orvcore {

namespace {

const char* StageName(GLenum stage)
{
    switch (stage) {
    case GL_VERTEX_SHADER:
        return "vertex";
    case GL_GEOMETRY_SHADER:
        return "geometry";
    default:
        return "fragment";
    }
}

/// Compiles one stage; 0 (with the log written) on failure.
GLuint CompileStage(const std::string& templateName, GLenum stage, const std::string& source)
{
    // Sources without a version line are GLSL 3.30 core.
    const std::size_t first = source.find_first_not_of(" \t\r\n");
    const bool versioned = first != std::string::npos && source.compare(first, 8, "#version") == 0;
    const std::string text = versioned ? source : "#version 330 core\n" + source;
    const GLuint shader = glCreateShader(stage);
    const char* pointer = text.c_str();
    const GLint length = GLint(text.size());
    glShaderSource(shader, 1, &pointer, &length);
    glCompileShader(shader);
    GLint ok = GL_FALSE;
    glGetShaderiv(shader, GL_COMPILE_STATUS, &ok);
    if (ok == GL_TRUE)
        return shader;
    GLint logLength = 0;
    glGetShaderiv(shader, GL_INFO_LOG_LENGTH, &logLength);
    std::string log(std::size_t(std::max(logLength, 1)), '\0');
    glGetShaderInfoLog(shader, GLsizei(log.size()), nullptr, &log[0]);
    log.resize(std::strlen(log.c_str()));
    Logger::Instance().Error("Shader compilation failed (" + templateName + ", " + StageName(stage) + "): " + log);
    glDeleteShader(shader);
    return 0;
}

bool IsSamplerType(GLenum type)
{
    switch (type) {
    case GL_SAMPLER_2D:
    case GL_SAMPLER_CUBE:
    case GL_SAMPLER_2D_SHADOW:
    case GL_SAMPLER_3D:
    case GL_SAMPLER_2D_ARRAY:
    case GL_INT_SAMPLER_2D:
    case GL_UNSIGNED_INT_SAMPLER_2D:
        return true;
    default:
        return false;
    }
}

/// Whether a value of this alternative may be written to a uniform of a GL
/// type (ints also go to booleans and samplers; units only to samplers).
bool Fits(const UniformValue& value, GLenum type)
{
    switch (value.index()) {
    case 0:
        return type == GL_INT || type == GL_BOOL || IsSamplerType(type);
    case 1:
        return type == GL_FLOAT;
    case 2:
        return type == GL_FLOAT_VEC2;
    case 3:
        return type == GL_FLOAT_VEC3;
    case 4:
        return type == GL_FLOAT_VEC4;
    case 5:
        return type == GL_FLOAT_MAT3;
    case 6:
        return type == GL_FLOAT_MAT4;
    case 7:
        return IsSamplerType(type);
    default:
        return false;
    }
}

// The feature macros of the fragment shaders and the uniforms they stand
// for in the general form.
struct FeatureName {
    uint32_t bit;
    const char* macro;
    const char* uniform;
};
const FeatureName kFeatureNames[] = {{GlShaderProgram::FEATURE_VERTEX_COLORS, "ORV_VERTEX_COLORS", "useVertexColors"},
                                     {GlShaderProgram::FEATURE_MAP, "ORV_MAP", "useMap"},
                                     {GlShaderProgram::FEATURE_SHADOWS, "ORV_SHADOWS", "shadowMask"}};

// Whether a source tests a feature macro: uses it outside the
// preprocessor lines that define it.
bool TestsFeature(const std::string& source, const char* macro)
{
    for (std::size_t at = source.find(macro); at != std::string::npos; at = source.find(macro, at + 1)) {
        const std::size_t lineStart = source.rfind('\n', at);
        const std::size_t first = source.find_first_not_of(" \t", lineStart == std::string::npos ? 0 : lineStart + 1);
        if (first != std::string::npos && source[first] != '#')
            return true;
    }
    return false;
}

// The light count macro and the uniform it stands for in the general form.
constexpr const char* kLightCountMacro = "ORV_LIGHT_COUNT";
constexpr const char* kLightCountUniform = "lightCount";

// A fragment source with the feature and light count macros defined as
// constants ahead of it (after its version line, if it has one).
std::string Specialised(const std::string& source, uint32_t form)
{
    std::string defines;
    for (const FeatureName& feature : kFeatureNames)
        defines += std::string("#define ") + feature.macro + ((form & feature.bit) ? " true\n" : " false\n");
    defines += std::string("#define ") + kLightCountMacro + " " +
               std::to_string(int(form >> GlShaderProgram::kLightShift) - 1) + "\n";
    const std::size_t first = source.find_first_not_of(" \t\r\n");
    if (first != std::string::npos && source.compare(first, 8, "#version") == 0) {
        const std::size_t end = source.find('\n', first);
        if (end == std::string::npos)
            return source + "\n" + defines;
        return source.substr(0, end + 1) + defines + source.substr(end + 1);
    }
    return defines + source;
}

const char* const kDrawUniformNames[GlShaderProgram::DRAW_UNIFORM_COUNT] = {
    "projectionMatrix", "viewMatrix", "modelMatrix", "modelViewMatrix", "normalMatrix", "viewportSize", "useDash"};

int DrawUniformIndex(const std::string& name)
{
    for (int k = 0; k < int(GlShaderProgram::DRAW_UNIFORM_COUNT); ++k)
        if (name == kDrawUniformNames[k])
            return k;
    return -1;
}

} // namespace

GlShaderProgram::GlShaderProgram(std::string templateName, GlStateCache& state)
    : m_TemplateName(std::move(templateName)), m_State(state)
{
}

GlShaderProgram::~GlShaderProgram()
{
    for (Variant& variant : m_Variants) {
        if (variant.program != 0) {
            m_State.ForgetProgram(variant.program);
            glDeleteProgram(variant.program);
        }
    }
}

bool GlShaderProgram::Build(EnumVariant variant, const std::string& vertex, const std::string& geometry,
                            const std::string& fragment, uint32_t form)
{
    Variant& target = At(variant, form);
    if (target.attempted)
        return target.program != 0;
    target.attempted = true;
    if (form >= kGeneral) {
        for (const FeatureName& feature : kFeatureNames)
            if (TestsFeature(fragment, feature.macro))
                m_Tested |= feature.bit;
        m_TestsLights = m_TestsLights || TestsFeature(fragment, kLightCountMacro);
    }

    GLuint stages[3] = {0, 0, 0};
    stages[0] = CompileStage(m_TemplateName, GL_VERTEX_SHADER, vertex);
    if (!geometry.empty())
        stages[1] = CompileStage(m_TemplateName, GL_GEOMETRY_SHADER, geometry);
    stages[2] = CompileStage(m_TemplateName, GL_FRAGMENT_SHADER, form >= kGeneral ? fragment : Specialised(fragment, form));
    const bool compiled = stages[0] != 0 && (geometry.empty() || stages[1] != 0) && stages[2] != 0;

    GLuint program = 0;
    if (compiled) {
        program = glCreateProgram();
        for (GLuint stage : stages)
            if (stage != 0)
                glAttachShader(program, stage);
        glLinkProgram(program);
        GLint ok = GL_FALSE;
        glGetProgramiv(program, GL_LINK_STATUS, &ok);
        if (ok != GL_TRUE) {
            GLint logLength = 0;
            glGetProgramiv(program, GL_INFO_LOG_LENGTH, &logLength);
            std::string log(std::size_t(std::max(logLength, 1)), '\0');
            glGetProgramInfoLog(program, GLsizei(log.size()), nullptr, &log[0]);
            log.resize(std::strlen(log.c_str()));
            Logger::Instance().Error("Shader program link failed (" + m_TemplateName + "): " + log);
            glDeleteProgram(program);
            program = 0;
        } else {
            for (GLuint stage : stages)
                if (stage != 0)
                    glDetachShader(program, stage);
        }
    }
    for (GLuint stage : stages)
        if (stage != 0)
            glDeleteShader(stage);
    if (program == 0)
        return false;

    target.program = program;
    m_Built.push_back(&target);
    ReadUniforms(target);

    // Samplers get distinct units in name order, the first time they are seen.
    std::vector<std::string> newSamplers;
    for (const auto& entry : m_Samplers)
        if (m_SamplerUnits.find(entry.first) == m_SamplerUnits.end())
            newSamplers.push_back(entry.first);
    std::sort(newSamplers.begin(), newSamplers.end());
    for (const std::string& name : newSamplers) {
        const uint32_t unit = uint32_t(m_SamplerUnits.size());
        m_SamplerUnits[name] = unit;
        if (m_Values.find(name) == m_Values.end())
            m_Values[name] = TextureUnit{int(unit)};
    }
    for (uint32_t k = 0; k < DRAW_UNIFORM_COUNT; ++k) {
        const auto slot = target.byName.find(kDrawUniformNames[k]);
        target.drawSlots[k] = slot == target.byName.end() ? -1 : int(slot->second);
    }
    // Start from every value recorded so far (defaults, materials, lights,
    // the last draw's).
    for (const auto& entry : m_Values)
        for (Variant* each : m_Built)
            Record(*each, entry.first, entry.second);
    for (uint32_t k = 0; k < DRAW_UNIFORM_COUNT; ++k)
        if (m_DrawValuesSet & (1u << k))
            for (Variant* each : m_Built)
                Record(*each, kDrawUniformNames[k], m_DrawValues[k]);
    return true;
}

void GlShaderProgram::ReadUniforms(Variant& variant)
{
    GLint count = 0;
    glGetProgramiv(variant.program, GL_ACTIVE_UNIFORMS, &count);
    GLint maxLength = 0;
    glGetProgramiv(variant.program, GL_ACTIVE_UNIFORM_MAX_LENGTH, &maxLength);
    std::vector<char> buffer(std::size_t(std::max(maxLength, 1)) + 1, '\0');
    for (GLint i = 0; i < count; ++i) {
        GLsizei length = 0;
        GLint size = 0;
        GLenum type = 0;
        glGetActiveUniform(variant.program, GLuint(i), GLsizei(buffer.size()), &length, &size, &type, buffer.data());
        std::string name(buffer.data(), std::size_t(std::max(length, 0)));
        if (name.compare(0, 3, "gl_") == 0)
            continue;
        const auto addSlot = [&](const std::string& slotName) {
            const GLint location = glGetUniformLocation(variant.program, slotName.c_str());
            if (location < 0)
                return; // in a uniform block, or optimised out
            Slot slot;
            slot.location = location;
            slot.type = type;
            variant.byName[slotName] = variant.slots.size();
            variant.slots.push_back(slot);
        };
        // Arrays report "name[0]": give every element its own slot, and the
        // plain name to element 0 (as GL does).
        const std::size_t bracket = name.find('[');
        if (bracket != std::string::npos) {
            const std::string base = name.substr(0, bracket);
            for (GLint element = 0; element < size; ++element)
                addSlot(base + "[" + std::to_string(element) + "]");
            const auto first = variant.byName.find(base + "[0]");
            if (first != variant.byName.end())
                variant.byName[base] = first->second;
        } else {
            addSlot(name);
        }
        if (IsSamplerType(type))
            m_Samplers[bracket == std::string::npos ? name : name.substr(0, bracket)] = type;
    }
}

bool GlShaderProgram::Record(Variant& variant, const std::string& name, const UniformValue& value)
{
    const auto it = variant.byName.find(name);
    if (it == variant.byName.end())
        return true; // not declared by this variant: ignored
    return RecordSlot(variant, it->second, value);
}

bool GlShaderProgram::RecordSlot(Variant& variant, std::size_t index, const UniformValue& value)
{
    Slot& slot = variant.slots[index];
    if (!Fits(value, slot.type))
        return false;
    slot.pending = value;
    if (slot.set && slot.value == value) {
        // Back to what the program holds: nothing to upload. A queued entry
        // is skipped at the next `Use`.
        return true;
    }
    if (!slot.dirty) {
        slot.dirty = true;
        variant.dirty.push_back(index);
    }
    return true;
}

void GlShaderProgram::WarnTypeMismatch(const std::string& name)
{
    if (m_TypeWarnings.insert(name).second)
        Logger::Instance().Waring("Uniform type does not match: " + name + "!");
}

void GlShaderProgram::TrackFeature(const std::string& name, const UniformValue& value)
{
    if (name == kLightCountUniform) {
        if (value.index() == 0)
            m_LightCount = std::get<int>(value);
        return;
    }
    for (const FeatureName& feature : kFeatureNames) {
        if (name != feature.uniform)
            continue;
        const bool on = value.index() == 0 && std::get<int>(value) != 0;
        m_Features = on ? (m_Features | feature.bit) : (m_Features & ~feature.bit);
        return;
    }
}

void GlShaderProgram::SetUniform(const std::string& name, const UniformValue& value)
{
    // The feature and light uniforms' names all start with 'u', 's' or 'l'.
    if ((m_Tested != 0 || m_TestsLights) && !name.empty() && (name[0] == 'u' || name[0] == 's' || name[0] == 'l'))
        TrackFeature(name, value);
    bool fits = true;
    bool declared = false;
    for (Variant* variant : m_Built) {
        declared = declared || variant->byName.count(name) != 0;
        fits = Record(*variant, name, value) && fits;
    }
    if (!fits) {
        WarnTypeMismatch(name);
        return;
    }
    const int draw = DrawUniformIndex(name);
    if (draw >= 0) {
        m_DrawValues[std::size_t(draw)] = value;
        m_DrawValuesSet |= 1u << draw;
        return;
    }
    // Values of undeclared names are kept too: a variant built later may
    // declare them.
    if (declared || m_Values.size() < 1024)
        m_Values[name] = value;
}

void GlShaderProgram::SetUniform(EnumDrawUniform uniform, const UniformValue& value)
{
    if (uniform >= DRAW_UNIFORM_COUNT)
        return;
    bool fits = true;
    for (Variant* variant : m_Built) {
        const int slot = variant->drawSlots[uniform];
        if (slot >= 0)
            fits = RecordSlot(*variant, std::size_t(slot), value) && fits;
    }
    if (!fits) {
        WarnTypeMismatch(kDrawUniformNames[uniform]);
        return;
    }
    m_DrawValues[uniform] = value;
    m_DrawValuesSet |= 1u << uniform;
}

bool GlShaderProgram::HasUniform(const std::string& name) const
{
    for (const Variant* variant : m_Built)
        if (variant->byName.count(name) != 0)
            return true;
    return false;
}

void GlShaderProgram::Use(EnumVariant which, uint32_t form)
{
    Variant& variant = At(which, form);
    if (variant.program == 0)
        return;
    m_State.UseProgram(variant.program);
    for (std::size_t index : variant.dirty) {
        Slot& slot = variant.slots[index];
        slot.dirty = false;
        if (slot.set && slot.value == slot.pending)
            continue;
        slot.value = slot.pending;
        slot.set = true;
        Upload(slot);
    }
    variant.dirty.clear();
}

void GlShaderProgram::Upload(const Slot& slot)
{
    ++m_UniformUploads;
    const GLint location = slot.location;
    switch (slot.value.index()) {
    case 0:
        glUniform1i(location, std::get<int>(slot.value));
        break;
    case 1:
        glUniform1f(location, std::get<float>(slot.value));
        break;
    case 2:
        glUniform2fv(location, 1, glm::value_ptr(std::get<glm::vec2>(slot.value)));
        break;
    case 3:
        glUniform3fv(location, 1, glm::value_ptr(std::get<glm::vec3>(slot.value)));
        break;
    case 4:
        glUniform4fv(location, 1, glm::value_ptr(std::get<glm::vec4>(slot.value)));
        break;
    case 5:
        glUniformMatrix3fv(location, 1, GL_FALSE, glm::value_ptr(std::get<glm::mat3>(slot.value)));
        break;
    case 6:
        glUniformMatrix4fv(location, 1, GL_FALSE, glm::value_ptr(std::get<glm::mat4>(slot.value)));
        break;
    case 7:
        glUniform1i(location, std::get<TextureUnit>(slot.value).unit);
        break;
    default:
        break;
    }
}

bool GlShaderProgram::FindSampler(const std::string& name, uint32_t& unit, unsigned int& samplerType) const
{
    const auto sampler = m_Samplers.find(name);
    if (sampler == m_Samplers.end())
        return false;
    samplerType = sampler->second;
    const auto value = m_Values.find(name);
    if (value != m_Values.end() && value->second.index() == 7)
        unit = uint32_t(std::max(0, std::get<TextureUnit>(value->second).unit));
    else if (value != m_Values.end() && value->second.index() == 0)
        unit = uint32_t(std::max(0, std::get<int>(value->second)));
    else
        unit = m_SamplerUnits.at(name);
    return true;
}

} // namespace orvcore
