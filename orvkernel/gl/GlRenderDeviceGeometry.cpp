#include <orvkernel/gl/GlRenderDevice.h>

#include <orvcommon/Logger.h>
#include <orvkernel/camera/Camera.h>
#include <orvkernel/device/RenderTarget.h>
#include <orvkernel/gl/GlShaderProgram.h>
#include <orvkernel/gl/GlShaderSources.h>
#include <orvkernel/material/MaterialInstance.h>
#include <orvkernel/shape/PrimitiveShape.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include <epoxy/gl.h>

// Vertex arrays and buffers of the OpenGL device, uploaded from geometry
// when it changes, and the draw calls.

namespace orvcore {

namespace {

/// How points.frag finishes the rim of a round point ("pointEdge").
enum EnumPointEdge : int { POINT_EDGE_HARD = 0, POINT_EDGE_ALPHA = 1, POINT_EDGE_COVERAGE = 2 };

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

} // namespace

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
    const uint8_t* data = attribute->GetData();
    // The same attribute at the same size whose writes named their items:
    // only those items are sent. The vertex array keeps its pointer.
    if (buffer.buffer != 0 && buffer.byteSize == byteSize && SameObject(buffer.source, attribute) &&
        attribute->GetChangedByteRanges(buffer.version, m_ItemRanges, m_ByteRanges)) {
        m_State.BindArrayBuffer(buffer.buffer);
        for (const ByteRange& range : m_ByteRanges) {
            if (range.offset >= byteSize)
                continue;
            const std::size_t size = std::min(range.size, byteSize - range.offset);
            glBufferSubData(GL_ARRAY_BUFFER, GLintptr(range.offset), GLsizeiptr(size), data + range.offset);
            m_UploadedBytes += size;
            ++m_UploadCount;
        }
        buffer.version = attribute->GetVersion();
        return true;
    }
    if (buffer.buffer == 0)
        glGenBuffers(1, &buffer.buffer);
    m_State.BindArrayBuffer(buffer.buffer);
    if (buffer.byteSize == byteSize)
        glBufferSubData(GL_ARRAY_BUFFER, 0, GLsizeiptr(byteSize), data);
    else
        glBufferData(GL_ARRAY_BUFFER, GLsizeiptr(byteSize), data, GL_STATIC_DRAW);
    ++m_UploadCount;
    m_UploadedBytes += byteSize;
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
        m_UploadedBytes += byteSize;
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
    // One-pixel lines are drawn as the driver's own lines; wider ones, and
    // lines laid in their plane, as quads from the geometry shader.
    const float dpi = GetSettings().DpiScaling > 0.0f ? GetSettings().DpiScaling : 1.0f;
    const bool thin = float(m_MaterialLineWidth) * dpi <= 1.0f && !m_MaterialLinesInPlane;
    if (IsLinePrimitive(primitiveType) && !thin) {
        const GlTemplateShaders* shaders = FindGlTemplateShaders(m_Program->GetTemplateName());
        if (shaders && shaders->wideLines) {
            if (!m_Program->IsBuilt(GlShaderProgram::VARIANT_LINES)) {
                const std::string vertex = ExpandGlShader(shaders->vertex);
                const std::string geometry = ExpandGlShader("lines.geom");
                const std::string fragment = ExpandGlShader(shaders->fragment);
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
    m_Program->SetUniform(GlShaderProgram::UNIFORM_PROJECTION_MATRIX, projection);
    m_Program->SetUniform(GlShaderProgram::UNIFORM_VIEW_MATRIX, view);
    if (model)
        SetModelUniforms(*m_Program, *model);
    m_Program->SetUniform(GlShaderProgram::UNIFORM_VIEWPORT_SIZE, viewport);
    m_Program->SetUniform(GlShaderProgram::UNIFORM_USE_DASH, hasLineDistance ? 1 : 0);

    // Wide lines are quads whose winding follows the line direction: never
    // culled.
    m_State.SetCullFace(variant == GlShaderProgram::VARIANT_LINES ? 0u : m_MaterialCull);
    BindForDrawing(CLEAR_COLOR | CLEAR_DEPTH | CLEAR_STENCIL);

    // Round points (programs that know "pointEdge") on a multisampled
    // framebuffer get a smooth rim: through alpha to coverage when the
    // material does not blend (the rim alpha picks the samples, which keep
    // alpha 1), else through the rim alpha. Single-sampled, the disc is cut
    // hard at its rim.
    bool coverage = false;
    if (primitiveType == PRIMITIVE_POINTS && m_Program->HasUniform("pointEdge")) {
        int edge = POINT_EDGE_HARD;
        if (m_CurrentSamples > 1) {
            const bool blended = !m_Material || m_Material->BlendingMode == BLENDING_NORMAL ||
                                 m_Material->BlendingMode == BLENDING_TRANSPARENT;
            edge = blended ? POINT_EDGE_ALPHA : POINT_EDGE_COVERAGE;
        }
        coverage = edge == POINT_EDGE_COVERAGE;
        m_Program->SetUniform("pointEdge", edge);
    }
    m_State.SetAlphaToCoverage(coverage);
    m_Program->Use(variant, SpecialisedForm(variant));
}

uint32_t GlRenderDevice::SpecialisedForm(uint32_t which)
{
    const auto variant = static_cast<GlShaderProgram::EnumVariant>(which);
    const uint32_t form = m_Program->GetSpecialisation();
    if (form == GlShaderProgram::kGeneral)
        return form;
    if (!m_Program->IsBuilt(variant, form)) {
        const GlTemplateShaders* shaders = FindGlTemplateShaders(m_Program->GetTemplateName());
        if (!shaders)
            return GlShaderProgram::kGeneral;
        const std::string vertex = ExpandGlShader(shaders->vertex);
        const std::string geometry = variant == GlShaderProgram::VARIANT_LINES ? ExpandGlShader("lines.geom") : "";
        const std::string fragment = ExpandGlShader(shaders->fragment);
        // A failure has logged the compiler's output; the general form draws.
        m_Program->Build(variant, vertex, geometry, fragment, form);
    }
    return m_Program->IsAvailable(variant, form) ? form : GlShaderProgram::kGeneral;
}

void GlRenderDevice::DrawGeometry(BufferGeometry& geometry, const std::shared_ptr<BufferGeometry>& owner,
                                  uint32_t start, uint32_t count, const glm::mat4* model,
                                  const InstanceRun* instances)
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
    if (instances)
        BindInstanceAttributes(instances->offset, true);
    unsigned int indexType = 0;
    if (indexed)
        indexType = geometry.GetIndex()->GetDataType() == DATA_TYPE_UNSIGNED_INT ? GL_UNSIGNED_INT : GL_UNSIGNED_SHORT;
    IssueDraw(type, indexType, start, drawn, instances);
    if (instances)
        BindInstanceAttributes(0, false);
    ++m_DrawCount;
}

bool GlRenderDevice::PiecesPayOff()
{
    // Pieces pay only where rasterising runs on threads of its own:
    // llvmpipe on more than one processor, unless told to use none.
    const auto* renderer = reinterpret_cast<const char*>(glGetString(GL_RENDERER));
    const std::string name = renderer ? renderer : "";
    const char* threads = std::getenv("LP_NUM_THREADS");
    const bool noThreads = threads && *threads && std::strtol(threads, nullptr, 10) == 0;
    return name.find("llvmpipe") != std::string::npos && std::thread::hardware_concurrency() > 1 && !noThreads;
}

void GlRenderDevice::UpdatePieceSize(unsigned int width, unsigned int height)
{
    // Multisampled framebuffers are not drawn in pieces: on llvmpipe each
    // extra flush of one costs more than the overlap gains.
    if (!m_FlushInPieces || m_CurrentSamples > 1) {
        m_PieceElements = 0;
        return;
    }
    m_PieceElements = std::max<std::size_t>(16384, std::size_t(width) * height / 64);
}

void GlRenderDevice::IssueDraw(uint32_t type, unsigned int indexType, std::size_t start, std::size_t count,
                               const InstanceRun* instances)
{
    const uint32_t instanceCount = instances ? instances->count : 1;
    const std::size_t piece = m_PieceElements;
    // Elements of one primitive: a piece ends on a primitive's boundary.
    // Strips, loops and fans are never cut.
    std::size_t unit = 0;
    if (type == PRIMITIVE_TRIANGLES)
        unit = 3;
    else if (type == PRIMITIVE_LINES)
        unit = 2;
    else if (type == PRIMITIVE_POINTS)
        unit = 1;
    // Instances per call and elements per call (a whole run or draw when
    // pieces are off or it fits in one).
    uint32_t perCall = instanceCount;
    std::size_t elementsPerCall = count;
    if (piece != 0 && count * instanceCount > piece) {
        if (count < piece) {
            perCall = uint32_t(piece / count);
        } else {
            perCall = 1;
            if (unit != 0)
                elementsPerCall = std::max(unit, piece / unit * unit);
        }
    }
    const std::size_t indexBytes = indexType == GL_UNSIGNED_INT ? 4 : 2;
    for (uint32_t firstInstance = 0; firstInstance < instanceCount; firstInstance += perCall) {
        const uint32_t calls = std::min(perCall, instanceCount - firstInstance);
        for (std::size_t first = 0; first < count; first += elementsPerCall) {
            const std::size_t elements = std::min(elementsPerCall, count - first);
            const std::size_t queued = elements * calls;
            if (piece != 0) {
                if (m_QueuedElements != 0 && m_QueuedElements + queued > piece) {
                    glFlush();
                    m_QueuedElements = 0;
                }
                m_QueuedElements += queued;
            }
            const std::size_t at = start + first;
            if (instances) {
                // The caller bound the run's first instance.
                if (firstInstance != 0 && first == 0)
                    BindInstanceAttributes(instances->offset + firstInstance * kInstanceBytes, true);
                if (indexType != 0)
                    glDrawElementsInstanced(GLenum(type), GLsizei(elements), GLenum(indexType),
                                            reinterpret_cast<const void*>(at * indexBytes), GLsizei(calls));
                else
                    glDrawArraysInstanced(GLenum(type), GLint(at), GLsizei(elements), GLsizei(calls));
            } else if (indexType != 0) {
                glDrawElements(GLenum(type), GLsizei(elements), GLenum(indexType),
                               reinterpret_cast<const void*>(at * indexBytes));
            } else {
                glDrawArrays(GLenum(type), GLint(at), GLsizei(elements));
            }
        }
    }
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

} // namespace orvcore
