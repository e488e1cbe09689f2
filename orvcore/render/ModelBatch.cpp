#include <orvcore/render/ModelBatch.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <typeinfo>

#include <glm/mat3x3.hpp>
#include <glm/matrix.hpp>

#include <orvkernel/device/RenderDevice.h>
#include <orvkernel/geometry/BufferAttribute.h>
#include <orvkernel/geometry/BufferGeometry.h>
#include <orvkernel/geometry/ElementAttribute.h>
#include <orvkernel/material/BasicMaterial.h>
#include <orvkernel/material/MeshPhongMaterial.h>
#include <orvkernel/shape/PrimitiveShape.h>
#include <orvcore/render/RenderItem.h>
#include <orvcore/render/RenderList.h>

namespace orvcore {

namespace {

constexpr uint32_t kNormals = 1u;
constexpr uint32_t kUvs = 2u;
constexpr uint32_t kColors = 4u; // a tinted batch's own: not a part's attribute

// Reads the attribute object alone, not its store: tested for every part
// of every frame, the store would be one more scattered line to fetch.
bool FloatAttribute(const BufferAttribute* attribute, uint32_t minItemSize)
{
    return attribute && attribute->GetStore() && attribute->GetDataType() == DATA_TYPE_FLOAT &&
           attribute->GetItemSize() >= minItemSize && attribute->GetCount() > 0;
}

uint32_t Version(const BufferAttribute* attribute) { return attribute ? attribute->GetVersion() : 0u; }

// The vertices a part adds: whole triangles or whole segments.
std::size_t PartElements(const BufferGeometry& geometry)
{
    const std::size_t per = geometry.GetPrimitiveType() == PRIMITIVE_TRIANGLES ? 3 : 2;
    return geometry.GetElementCount() / per * per;
}

std::shared_ptr<BufferAttribute> ZeroAttribute(std::size_t vertices, uint32_t itemSize)
{
    const std::vector<float> zeros(vertices * itemSize, 0.0f);
    return std::make_shared<BufferAttribute>(zeros.data(), zeros.size(), itemSize);
}

} // namespace

// A copy of the same kind (the device reads some kinds' own fields), or
// null for a kind that is not tinted.
std::shared_ptr<MaterialInstance> CopyOf(const MaterialInstance& material)
{
    if (typeid(material) == typeid(MeshPhongMaterial))
        return std::make_shared<MeshPhongMaterial>(static_cast<const MeshPhongMaterial&>(material));
    if (typeid(material) == typeid(BasicMaterial))
        return std::make_shared<BasicMaterial>(static_cast<const BasicMaterial&>(material));
    return nullptr;
}

ModelBatch::ModelBatch() = default;
ModelBatch::~ModelBatch() = default;

bool ModelBatch::Accepts(const RenderItem& item, uint32_t& type, uint32_t& attributes, std::size_t& vertices)
{
    vertices = 0;
    const PrimitiveShape* primitive = item.GetPrimitive();
    const BufferGeometry* geometry = primitive ? primitive->GetGeometry().get() : nullptr;
    if (!geometry)
        return false;
    type = geometry->GetPrimitiveType();
    if (type != PRIMITIVE_TRIANGLES && type != PRIMITIVE_LINES)
        return false;
    const BufferAttribute* positions = geometry->GetPositions().get();
    if (!FloatAttribute(positions, 3))
        return false;
    attributes = 0;
    for (uint32_t slot = ATTRIBUTE_NORMAL; slot < ATTRIBUTE_SLOT_COUNT; ++slot) {
        const BufferAttribute* attribute = geometry->GetAttribute(slot).get();
        if (!attribute)
            continue;
        if (slot == ATTRIBUTE_NORMAL && FloatAttribute(attribute, 3))
            attributes |= kNormals;
        else if (slot == ATTRIBUTE_UV && FloatAttribute(attribute, 2))
            attributes |= kUvs;
        else
            return false; // colours, line distances, other data: drawn as they are
    }
    const std::size_t elements = PartElements(*geometry);
    const std::size_t own = geometry->GetIndex() ? positions->GetCount() : elements;
    if (elements == 0 || elements > kMaxPartVertices || own > kMaxPartVertices ||
        (!geometry->GetIndex() && elements > positions->GetCount()))
        return false;
    vertices = std::max(own, elements);
    const glm::mat4& m = item.GetTransform();
    if (m[0][3] != 0.0f || m[1][3] != 0.0f || m[2][3] != 0.0f || m[3][3] != 1.0f)
        return false;
    const float determinant = glm::determinant(glm::mat3(m));
    return std::isfinite(determinant) && std::fabs(determinant) >= 1e-20f && std::isfinite(m[3].x) &&
           std::isfinite(m[3].y) && std::isfinite(m[3].z);
}

bool ModelBatch::CanTint(const MaterialInstance* material)
{
    return material && !material->IsTransparent() && !material->GetVertexColors() &&
           (typeid(*material) == typeid(MeshPhongMaterial) || typeid(*material) == typeid(BasicMaterial));
}

bool ModelBatch::UpdateTint(const MaterialInstance& like)
{
    if (m_TintSource && m_Tint && m_TintSource->MatchesExceptColor(like))
        return true;
    m_TintSource = CopyOf(like);
    m_Tint = CopyOf(like);
    if (!m_Tint)
        return false;
    m_Tint->SetColor(glm::vec3(1.0f));
    m_Tint->SetVertexColors(true);
    return true;
}

MaterialInstance* ModelBatch::GetTintMaterial() const { return (m_Attributes & kColors) ? m_Tint.get() : nullptr; }

void ModelBatch::Prefetch(const RenderList& list, std::size_t i, std::size_t count)
{
    if (i + 12 < count)
        if (const PrimitiveShape* p = list.GetAt(i + 12).GetPrimitive())
            __builtin_prefetch(&p->GetGeometry());
    if (i + 8 < count) {
        const PrimitiveShape* p = list.GetAt(i + 8).GetPrimitive();
        if (const BufferGeometry* g = p ? p->GetGeometry().get() : nullptr) {
            __builtin_prefetch(&g->GetPositions());
            __builtin_prefetch(&g->GetIndex());
        }
        if (const MaterialInstance* m = p ? p->GetMaterial().get() : nullptr)
            __builtin_prefetch(m); // compared when a tint may merge it
    }
    if (i + 4 < count)
        if (const BufferGeometry* g = list.GetAt(i + 4).GetGeometry()) {
            for (uint32_t slot : {uint32_t(ATTRIBUTE_POSITION), uint32_t(ATTRIBUTE_NORMAL), uint32_t(ATTRIBUTE_UV)})
                if (const BufferAttribute* a = g->GetAttribute(slot).get())
                    __builtin_prefetch(a);
            if (const ElementAttribute* index = g->GetIndex().get())
                __builtin_prefetch(index);
        }
}

ModelBatch::Part ModelBatch::Describe(const RenderItem& item)
{
    const PrimitiveShape* primitive = item.GetPrimitive();
    const BufferGeometry* geometry = primitive->GetGeometry().get();
    Part part;
    part.key = primitive->GetObjectId();
    part.primitive = primitive;
    part.geometry = geometry;
    part.sources[0] = geometry->GetPositions().get();
    part.sources[1] = geometry->GetNormals().get();
    part.sources[2] = geometry->GetUVs().get();
    part.sources[3] = geometry->GetIndex().get();
    part.positionsVersion = Version(geometry->GetPositions().get());
    part.normalsVersion = Version(geometry->GetNormals().get());
    part.uvVersion = Version(geometry->GetUVs().get());
    part.indexVersion = geometry->GetIndex() ? geometry->GetIndex()->GetVersion() : 0u;
    part.elements = uint32_t(PartElements(*geometry));
    part.vertices = geometry->GetIndex() ? uint32_t(geometry->GetPositions()->GetCount()) : part.elements;
    part.transform = item.GetTransform();
    return part;
}

bool ModelBatch::SameSource(const Part& a, const Part& b)
{
    return a.key == b.key && a.geometry == b.geometry && a.sources[0] == b.sources[0] &&
           a.sources[1] == b.sources[1] && a.sources[2] == b.sources[2] && a.sources[3] == b.sources[3] &&
           a.positionsVersion == b.positionsVersion &&
           a.normalsVersion == b.normalsVersion && a.uvVersion == b.uvVersion && a.indexVersion == b.indexVersion &&
           a.elements == b.elements && a.vertices == b.vertices;
}

bool ModelBatch::Update(const RenderList& list, std::size_t first, std::size_t count, bool tinted)
{
    uint32_t type = 0, attributes = 0;
    std::size_t vertices = 0;
    if (count == 0 || first + count > list.GetItemCount() || !Accepts(list.GetAt(first), type, attributes, vertices))
        return false;
    if (tinted) {
        const MaterialInstance* like = list.ResolveMaterial(list.GetAt(first));
        if (!CanTint(like) || !UpdateTint(*like))
            return false;
        attributes |= kColors;
    }
    m_Next.clear();
    std::size_t room = 0, vertexCount = 0, elementCount = 0;
    for (std::size_t i = first; i < first + count; ++i) {
        Prefetch(list, i, first + count);
        Part part = Describe(list.GetAt(i));
        if (tinted) {
            const MaterialInstance* material = list.ResolveMaterial(list.GetAt(i));
            part.color = material ? material->GetColor() : glm::vec3(1.0f);
        }
        part.first = uint32_t(vertexCount);
        part.firstIndex = uint32_t(elementCount);
        vertexCount += part.vertices;
        elementCount += part.elements;
        room += Room(part);
        if (room > kMaxVertices)
            return false;
        m_Next.push_back(part);
    }
    m_Rewritten = 0;

    // The same parts, in the same order or (every part once) in another.
    bool same = m_Geometry && type == m_Type && attributes == m_Attributes && m_Next.size() == m_Parts.size();
    bool inOrder = same;
    for (std::size_t k = 0; inOrder && k < m_Next.size(); ++k)
        inOrder = SameSource(m_Next[k], m_Parts[k]);
    if (same && !inOrder) {
        same = m_UniqueKeys;
        for (Part& part : m_Parts)
            part.first |= 0x80000000u; // not matched yet
        for (std::size_t k = 0; same && k < m_Next.size(); ++k) {
            const auto found = m_ByKey.find(m_Next[k].key);
            same = found != m_ByKey.end();
            if (!same)
                break;
            Part& old = m_Parts[found->second];
            same = (old.first & 0x80000000u) && SameSource(old, m_Next[k]);
            old.first &= 0x7fffffffu;
            m_Next[k].first = found->second; // now: the part it matched
        }
        for (Part& part : m_Parts)
            part.first &= 0x7fffffffu;
    }
    if (!same) {
        m_Parts.swap(m_Next);
        Rebuild(type, attributes);
        return true;
    }
    // Only the parts that moved, or took another colour, are written again.
    for (std::size_t k = 0; k < m_Next.size(); ++k) {
        Part& old = inOrder ? m_Parts[k] : m_Parts[m_Next[k].first];
        const bool moved = std::memcmp(&old.transform, &m_Next[k].transform, sizeof(glm::mat4)) != 0;
        const bool recoloured = m_Colors && old.color != m_Next[k].color;
        if (!moved && !recoloured)
            continue;
        old.transform = m_Next[k].transform;
        old.color = m_Next[k].color;
        Write(old);
        if (moved) {
            m_Positions->RaiseVersion(old.first, old.vertices);
            if (m_Normals)
                m_Normals->RaiseVersion(old.first, old.vertices);
        }
        if (recoloured)
            m_Colors->RaiseVersion(old.first, old.vertices);
        ++m_Rewritten;
    }
    return true;
}

void ModelBatch::Rebuild(uint32_t type, uint32_t attributes)
{
    m_Type = type;
    m_Attributes = attributes;
    std::size_t vertexCount = 0, elementCount = 0;
    m_ByKey.clear();
    m_Held.clear();
    m_UniqueKeys = true;
    for (uint32_t k = 0; k < m_Parts.size(); ++k) {
        vertexCount += m_Parts[k].vertices;
        elementCount += m_Parts[k].elements;
        m_UniqueKeys = m_ByKey.emplace(m_Parts[k].key, k).second && m_UniqueKeys;
        // The parts are alive during this frame: hold what they are made of.
        const std::shared_ptr<BufferGeometry>& geometry = m_Parts[k].primitive->GetGeometry();
        m_Held.push_back(geometry);
        for (uint32_t slot : {uint32_t(ATTRIBUTE_POSITION), uint32_t(ATTRIBUTE_NORMAL), uint32_t(ATTRIBUTE_UV)})
            if (geometry->GetAttribute(slot))
                m_Held.push_back(geometry->GetAttribute(slot));
        if (geometry->GetIndex())
            m_Held.push_back(geometry->GetIndex());
    }
    m_Positions = ZeroAttribute(vertexCount, 3);
    m_Normals = (attributes & kNormals) ? ZeroAttribute(vertexCount, 3) : nullptr;
    m_Uvs = (attributes & kUvs) ? ZeroAttribute(vertexCount, 2) : nullptr;
    m_Colors = (attributes & kColors) ? ZeroAttribute(vertexCount, 3) : nullptr;
    LargeVector<uint32_t> indices(elementCount);
    for (const Part& part : m_Parts)
        WriteIndex(part, indices.data() + part.firstIndex);
    m_Index = std::make_shared<ElementAttribute>(std::move(indices));
    m_Geometry = std::make_shared<BufferGeometry>(static_cast<EnumPrimitiveType>(type));
    m_Geometry->SetAttribute(ATTRIBUTE_POSITION, m_Positions);
    if (m_Normals)
        m_Geometry->SetAttribute(ATTRIBUTE_NORMAL, m_Normals);
    if (m_Uvs)
        m_Geometry->SetAttribute(ATTRIBUTE_UV, m_Uvs);
    if (m_Colors)
        m_Geometry->SetAttribute(ATTRIBUTE_COLOR, m_Colors);
    m_Geometry->SetIndex(m_Index);
    m_Primitive = std::make_shared<PrimitiveShape>(m_Geometry, nullptr);
    for (const Part& part : m_Parts)
        Write(part);
    m_Positions->RaiseVersion();
    if (m_Normals)
        m_Normals->RaiseVersion();
    if (m_Uvs)
        m_Uvs->RaiseVersion();
    if (m_Colors)
        m_Colors->RaiseVersion();
    m_Rewritten = m_Parts.size();
    ++m_Rebuilds;
}

void ModelBatch::WriteIndex(const Part& part, uint32_t* out) const
{
    const BufferGeometry& geometry = *part.geometry;
    const std::size_t positions = geometry.GetPositions()->GetCount();
    const std::size_t normals = m_Normals ? geometry.GetNormals()->GetCount() : positions;
    const std::size_t uvs = m_Uvs ? geometry.GetUVs()->GetCount() : positions;
    const std::size_t limit = std::min({positions, normals, uvs});
    const ElementAttribute* index = geometry.GetIndex().get();
    const std::size_t per = m_Type == PRIMITIVE_TRIANGLES ? 3 : 2;
    for (uint32_t e = 0; e < part.elements; e += uint32_t(per), out += per) {
        bool inside = true;
        for (std::size_t k = 0; k < per; ++k) {
            out[k] = index ? index->Get(e + k) : uint32_t(e + k);
            inside = inside && out[k] < limit;
        }
        // A vertex number past an attribute: the primitive is kept, empty
        // (all its corners one vertex), so that no read leaves the arrays.
        for (std::size_t k = 0; k < per; ++k)
            out[k] = part.first + (inside ? out[k] : 0u);
    }
}

void ModelBatch::Write(const Part& part)
{
    const BufferGeometry& geometry = *part.geometry;
    const BufferAttribute& positions = *geometry.GetPositions();
    const BufferAttribute* normals = m_Normals ? geometry.GetNormals().get() : nullptr;
    const BufferAttribute* uvs = m_Uvs ? geometry.GetUVs().get() : nullptr;
    const glm::mat4& m = part.transform;
    // Normals as the device's normal matrix carries them: the inverse
    // transpose of the linear part (the draw then applies the view's).
    const glm::mat3 normalMatrix = glm::transpose(glm::inverse(glm::mat3(m)));
    float* p = reinterpret_cast<float*>(m_Positions->GetData()) + std::size_t(part.first) * 3;
    float* n = m_Normals ? reinterpret_cast<float*>(m_Normals->GetData()) + std::size_t(part.first) * 3 : nullptr;
    float* t = m_Uvs ? reinterpret_cast<float*>(m_Uvs->GetData()) + std::size_t(part.first) * 2 : nullptr;
    const std::size_t normalCount = normals ? normals->GetCount() : 0;
    const std::size_t uvCount = uvs ? uvs->GetCount() : 0;
    if (m_Colors) {
        float* c = reinterpret_cast<float*>(m_Colors->GetData()) + std::size_t(part.first) * 3;
        for (uint32_t v = 0; v < part.vertices; ++v, c += 3) {
            c[0] = part.color.r;
            c[1] = part.color.g;
            c[2] = part.color.b;
        }
    }
    // Every vertex of the part is within its positions (see `Accepts`);
    // normals and texture coordinates may be shorter: zeros past their end.
    for (uint32_t v = 0; v < part.vertices; ++v, p += 3) {
        float w[3];
        std::memcpy(w, positions.GetData() + std::size_t(v) * positions.GetByteStride(), sizeof(w));
        // The world point as the vertex shader forms it from the model
        // matrix: columns scaled by the coordinates, then the translation.
        const glm::vec4 world = m[0] * w[0] + m[1] * w[1] + m[2] * w[2] + m[3];
        p[0] = world.x;
        p[1] = world.y;
        p[2] = world.z;
        if (n) {
            glm::vec3 turned(0.0f);
            if (v < normalCount) {
                std::memcpy(w, normals->GetData() + std::size_t(v) * normals->GetByteStride(), sizeof(w));
                turned = normalMatrix * glm::vec3(w[0], w[1], w[2]);
            }
            n[0] = turned.x;
            n[1] = turned.y;
            n[2] = turned.z;
            n += 3;
        }
        if (t) {
            if (v < uvCount)
                std::memcpy(t, uvs->GetData() + std::size_t(v) * uvs->GetByteStride(), 2 * sizeof(float));
            else
                t[0] = t[1] = 0.0f;
            t += 2;
        }
    }
}

void ModelBatch::Draw(RenderDevice* device) const
{
    if (device && m_Primitive && m_Positions && m_Positions->GetCount() > 0)
        device->Draw(m_Primitive.get(), glm::mat4(1.0f));
}

} // namespace orvcore
