#include <orvkernel/gl/GlRenderDevice.h>

#include <orvkernel/camera/Camera.h>
#include <orvkernel/gl/GlShaderProgram.h>
#include <orvkernel/gl/GlShaderSources.h>
#include <orvkernel/shape/PrimitiveShape.h>

#include <algorithm>
#include <cstring>

#include <epoxy/gl.h>

// Instanced draws of the OpenGL device: a run of one primitive under many
// model matrices in one call. Each instance carries its model-view matrix
// (vertex attribute locations 8 to 11) and its normal matrix (12 to 14),
// computed here as the uniform path computes them, so the instanced and the
// one-by-one draws give the same pixels. vertex_common.glsl reads them
// through ModelViewMatrix() and NormalMatrix() while "instanced" is 1.

namespace orvcore {

namespace {

constexpr GLuint kModelViewLocation = 8;
constexpr GLuint kNormalLocation = 12;
/// The first instance buffer; it grows (doubling) for larger runs.
constexpr std::size_t kMinInstanceCapacity = std::size_t(256) * 1024;

} // namespace

bool GlRenderDevice::CanDrawInstanced(uint32_t primitiveType) const
{
    if (!m_Program || !GetSettings().Instancing)
        return false;
    // Only the library's own programs: a raw shader may read the model-view
    // uniform directly. Programs that read the model matrix itself (text,
    // the view cube) keep their per-draw uniforms.
    if (!FindGlTemplateShaders(m_Program->GetTemplateName()) || !m_Program->HasUniform("instanced") ||
        m_Program->HasUniform("modelMatrix"))
        return false;
    // Wide lines go through the geometry shader, which reads the model-view
    // uniform: only the driver's own one-pixel lines are instanced.
    if (IsLinePrimitive(primitiveType)) {
        const float dpi = GetSettings().DpiScaling > 0.0f ? GetSettings().DpiScaling : 1.0f;
        if (float(m_MaterialLineWidth) * dpi > 1.0f || m_MaterialLinesInPlane)
            return false;
    }
    return true;
}

bool GlRenderDevice::UploadInstances(const glm::mat4* transforms, uint32_t count, std::size_t& offset)
{
    const std::size_t bytes = std::size_t(count) * kInstanceBytes;
    if (m_InstanceBuffer == 0)
        glGenBuffers(1, &m_InstanceBuffer);
    m_State.BindArrayBuffer(m_InstanceBuffer);
    // A run never overwrites what an earlier draw may still read: it goes
    // after the previous one, and a full buffer is orphaned (the driver
    // gives fresh storage and frees the old once its draws are done).
    if (m_InstanceOffset + bytes > m_InstanceCapacity) {
        if (bytes > m_InstanceCapacity)
            m_InstanceCapacity = std::max({bytes, 2 * m_InstanceCapacity, kMinInstanceCapacity});
        glBufferData(GL_ARRAY_BUFFER, GLsizeiptr(m_InstanceCapacity), nullptr, GL_STREAM_DRAW);
        m_InstanceOffset = 0;
    }
    auto* out = static_cast<float*>(glMapBufferRange(
        GL_ARRAY_BUFFER, GLintptr(m_InstanceOffset), GLsizeiptr(bytes),
        GL_MAP_WRITE_BIT | GL_MAP_INVALIDATE_RANGE_BIT | GL_MAP_UNSYNCHRONIZED_BIT));
    if (!out) {
        WarnOnce(0, "Instance buffer cannot be written!");
        return false;
    }
    const glm::mat4 identity(1.0f);
    const glm::mat4& view = m_Camera ? m_Camera->GetViewMatrix() : identity;
    for (uint32_t i = 0; i < count; ++i, out += kInstanceFloats) {
        const glm::mat4 modelView = view * transforms[i];
        const glm::mat3 normal = NormalMatrix(modelView);
        std::memcpy(out, &modelView[0][0], 16 * sizeof(float));
        std::memcpy(out + 16, &normal[0][0], 9 * sizeof(float));
    }
    glUnmapBuffer(GL_ARRAY_BUFFER);
    m_UploadedBytes += bytes;
    offset = m_InstanceOffset;
    m_InstanceOffset += bytes;
    return true;
}

void GlRenderDevice::BindInstanceAttributes(std::size_t offset, bool enable)
{
    if (!enable) {
        for (GLuint location = kModelViewLocation; location < kNormalLocation + 3; ++location)
            glDisableVertexAttribArray(location);
        return;
    }
    m_State.BindArrayBuffer(m_InstanceBuffer);
    for (GLuint column = 0; column < 4; ++column) {
        const GLuint location = kModelViewLocation + column;
        glVertexAttribPointer(location, 4, GL_FLOAT, GL_FALSE, GLsizei(kInstanceBytes),
                              reinterpret_cast<const void*>(offset + column * 4 * sizeof(float)));
        glVertexAttribDivisor(location, 1);
        glEnableVertexAttribArray(location);
    }
    for (GLuint column = 0; column < 3; ++column) {
        const GLuint location = kNormalLocation + column;
        glVertexAttribPointer(location, 3, GL_FLOAT, GL_FALSE, GLsizei(kInstanceBytes),
                              reinterpret_cast<const void*>(offset + (16 + column * 3) * sizeof(float)));
        glVertexAttribDivisor(location, 1);
        glEnableVertexAttribArray(location);
    }
}

void GlRenderDevice::DrawInstanced(PrimitiveShape* primitive, const glm::mat4* transforms, uint32_t count)
{
    if (!primitive) {
        WarnOnce(0, "Primitive is null!");
        return;
    }
    if (count == 0)
        return;
    if (!transforms) {
        WarnOnce(primitive->GetObjectId(), "Instance transforms are null!");
        return;
    }
    const std::shared_ptr<BufferGeometry>& geometry = primitive->GetGeometry();
    std::size_t offset = 0;
    if (count == 1 || !geometry || !CanDrawInstanced(geometry->GetPrimitiveType()) ||
        !UploadInstances(transforms, count, offset)) {
        for (uint32_t i = 0; i < count; ++i)
            Draw(primitive, transforms[i]);
        return;
    }
    InstanceRun run;
    run.offset = offset;
    run.count = count;
    m_Program->SetUniform("instanced", 1);
    DrawGeometry(*geometry, geometry, 0, 0, nullptr, &run);
    // Every other draw with this program reads the model uniforms.
    m_Program->SetUniform("instanced", 0);
}

} // namespace orvcore
