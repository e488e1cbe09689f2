#include <orvkernel/gl/GlStateCache.h>

#include <epoxy/gl.h>

namespace orvcore {

static_assert(sizeof(GLuint) == sizeof(unsigned int) && sizeof(GLenum) == sizeof(unsigned int),
              "GL names are passed as unsigned int");

void GlStateCache::Invalidate() { *this = GlStateCache(); }

void GlStateCache::UseProgram(unsigned int program)
{
    if (m_Program == program)
        return;
    glUseProgram(program);
    m_Program = program;
}

void GlStateCache::BindVertexArray(unsigned int vertexArray)
{
    if (m_VertexArray == vertexArray)
        return;
    glBindVertexArray(vertexArray);
    m_VertexArray = vertexArray;
}

void GlStateCache::BindArrayBuffer(unsigned int buffer)
{
    if (m_ArrayBuffer == buffer)
        return;
    glBindBuffer(GL_ARRAY_BUFFER, buffer);
    m_ArrayBuffer = buffer;
}

void GlStateCache::BindFramebuffer(unsigned int framebuffer)
{
    if (m_Framebuffer == framebuffer)
        return;
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
    m_Framebuffer = framebuffer;
}

void GlStateCache::Viewport(int x, int y, int width, int height)
{
    const std::array<int, 4> viewport{{x, y, width, height}};
    if (m_Viewport == viewport)
        return;
    glViewport(x, y, width, height);
    m_Viewport = viewport;
}

void GlStateCache::ActiveUnit(uint32_t unit)
{
    if (m_ActiveUnit == unit)
        return;
    glActiveTexture(GL_TEXTURE0 + unit);
    m_ActiveUnit = unit;
}

bool GlStateCache::BindTexture(uint32_t unit, unsigned int target, unsigned int texture)
{
    if (unit >= kTextureUnits)
        return false;
    TextureBinding& binding = m_Textures[unit];
    if (binding.target == target && binding.texture == texture)
        return true;
    ActiveUnit(unit);
    // A unit holds one texture per kind: unbind the other kind so that a
    // sampler of either kind never sees a stale texture.
    if (binding.target != 0 && binding.target != target && binding.texture != kUnknown && binding.texture != 0)
        glBindTexture(binding.target, 0);
    glBindTexture(target, texture);
    binding.target = target;
    binding.texture = texture;
    return true;
}

void GlStateCache::ForgetTexture(unsigned int texture)
{
    // GL unbinds a deleted texture from every unit: mirror that.
    for (TextureBinding& binding : m_Textures)
        if (binding.texture == texture)
            binding.texture = 0;
}

void GlStateCache::ForgetVertexArray(unsigned int vertexArray)
{
    if (m_VertexArray == vertexArray)
        m_VertexArray = 0;
}

void GlStateCache::ForgetBuffer(unsigned int buffer)
{
    if (m_ArrayBuffer == buffer)
        m_ArrayBuffer = 0;
}

void GlStateCache::ForgetProgram(unsigned int program)
{
    // A deleted program stays in use until another is installed; the cache
    // must not skip the next glUseProgram of a program that reuses the name.
    if (m_Program == program)
        m_Program = kUnknown;
}

void GlStateCache::ForgetFramebuffer(unsigned int framebuffer)
{
    if (m_Framebuffer == framebuffer)
        m_Framebuffer = 0;
}

void GlStateCache::SetDepthTest(bool on)
{
    if (m_DepthTest == int(on))
        return;
    if (on)
        glEnable(GL_DEPTH_TEST);
    else
        glDisable(GL_DEPTH_TEST);
    m_DepthTest = int(on);
}

void GlStateCache::SetDepthMask(bool on)
{
    if (m_DepthMask == int(on))
        return;
    glDepthMask(on ? GL_TRUE : GL_FALSE);
    m_DepthMask = int(on);
}

void GlStateCache::SetAlphaToCoverage(bool on)
{
    if (m_AlphaToCoverage == int(on))
        return;
    if (on) {
        glEnable(GL_SAMPLE_ALPHA_TO_COVERAGE);
        glEnable(GL_SAMPLE_ALPHA_TO_ONE);
    } else {
        glDisable(GL_SAMPLE_ALPHA_TO_COVERAGE);
        glDisable(GL_SAMPLE_ALPHA_TO_ONE);
    }
    m_AlphaToCoverage = int(on);
}

void GlStateCache::SetColorMask(bool on)
{
    if (m_ColorMask == int(on))
        return;
    const GLboolean value = on ? GL_TRUE : GL_FALSE;
    glColorMask(value, value, value, value);
    m_ColorMask = int(on);
}

void GlStateCache::SetBlending(bool on)
{
    if (m_Blending == int(on))
        return;
    if (on) {
        glEnable(GL_BLEND);
        // Colour: source over; alpha accumulates coverage so that a target
        // read back later holds the combined opacity.
        glBlendFuncSeparate(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA, GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
    } else {
        glDisable(GL_BLEND);
    }
    m_Blending = int(on);
}

void GlStateCache::SetCullFace(unsigned int face)
{
    if (m_CullFace == face)
        return;
    if (face == 0) {
        glDisable(GL_CULL_FACE);
    } else {
        glEnable(GL_CULL_FACE);
        glCullFace(face);
    }
    m_CullFace = face;
}

void GlStateCache::SetPolygonOffset(bool on, float factor, float units)
{
    if (!on) {
        if (m_PolygonOffset == 0)
            return;
        glDisable(GL_POLYGON_OFFSET_FILL);
        m_PolygonOffset = 0;
        return;
    }
    if (m_PolygonOffset != 1) {
        glEnable(GL_POLYGON_OFFSET_FILL);
        m_PolygonOffset = 1;
    } else if (m_OffsetFactor == factor && m_OffsetUnits == units) {
        return;
    }
    glPolygonOffset(factor, units);
    m_OffsetFactor = factor;
    m_OffsetUnits = units;
}

void GlStateCache::SetClearColor(float r, float g, float b, float a)
{
    const std::array<float, 4> color{{r, g, b, a}};
    if (m_ClearColor == color)
        return;
    glClearColor(r, g, b, a);
    m_ClearColor = color;
}

} // namespace orvcore
