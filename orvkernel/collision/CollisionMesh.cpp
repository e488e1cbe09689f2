#include <orvkernel/collision/CollisionMesh.h>

#include <orvcommon/Math.h>

#include <cstring>

#include <glm/common.hpp>

namespace orvcore {

namespace {

inline bool Finite(const CollisionMesh::Triangle& t)
{
    // Zero times a finite value is zero; times an infinity or NaN, NaN.
    const glm::vec3 z = t.v[0] * 0.0f + t.v[1] * 0.0f + t.v[2] * 0.0f;
    return z.x == 0.0f && z.y == 0.0f && z.z == 0.0f;
}

// Calls fn(i, vertexOf) with vertexOf(e) the vertex number of element e, the
// index width resolved once.
template <typename Fn>
void WithVertexNumbers(const ElementAttribute* index, Fn&& fn)
{
    if (index && index->GetDataType() == DATA_TYPE_UNSIGNED_INT) {
        const auto* wide = static_cast<const uint32_t*>(index->GetData());
        fn([wide](std::size_t e) { return wide[e]; });
    } else if (index) {
        const auto* narrow = static_cast<const uint16_t*>(index->GetData());
        fn([narrow](std::size_t e) { return uint32_t(narrow[e]); });
    } else {
        fn([](std::size_t e) { return uint32_t(e); });
    }
}

} // namespace

std::shared_ptr<const CollisionMesh> CollisionMesh::Build(const BufferGeometry& geometry)
{
    auto mesh = std::make_shared<CollisionMesh>();
    const std::shared_ptr<BufferAttribute>& positions = geometry.GetPositions();
    const std::shared_ptr<ElementAttribute>& index = geometry.GetIndex();
    mesh->m_Positions = positions;
    mesh->m_Index = index;
    mesh->m_PositionsVersion = positions ? positions->GetVersion() : 0;
    mesh->m_IndexVersion = index ? index->GetVersion() : 0;
    mesh->m_VertexCount = geometry.GetVertexCount();
    mesh->m_ElementCount = geometry.GetElementCount();
    if (!positions || positions->GetItemSize() != 3 || !positions->GetData())
        return mesh;
    if (index && index->GetDataType() != DATA_TYPE_UNSIGNED_INT && index->GetDataType() != DATA_TYPE_UNSIGNED_SHORT)
        return mesh;

    const std::size_t vertices = positions->GetCount();
    const std::size_t count = (index ? index->GetCount() : vertices) / 3;
    const uint8_t* base = positions->GetData();
    const std::size_t stride = positions->GetByteStride();
    const bool floats = positions->GetDataType() == DATA_TYPE_FLOAT;
    LargeVector<Triangle> byNumber(count);
    LargeVector<uint8_t> valid(count);
    WithVertexNumbers(index.get(), [&](const auto& vertexOf) {
        for (std::size_t i = 0; i < count; ++i) {
            Triangle& t = byNumber[i];
            bool inRange = true;
            for (int k = 0; k < 3; ++k) {
                const uint32_t v = vertexOf(3 * i + std::size_t(k));
                if (v >= vertices) {
                    inRange = false;
                    break;
                }
                if (floats)
                    std::memcpy(&t.v[k], base + std::size_t(v) * stride, sizeof(glm::vec3));
                else
                    t.v[k] = positions->GetVec3(v);
            }
            mesh->m_OutOfRange += inRange ? 0 : 1;
            valid[i] = inRange && Finite(t);
        }
    });
    mesh->Finish(byNumber, valid);
    return mesh;
}

std::shared_ptr<const CollisionMesh> CollisionMesh::Transformed(const CollisionMesh& mesh, const glm::mat4& matrix)
{
    auto moved = std::make_shared<CollisionMesh>();
    const auto& numbers = mesh.GetTriangleNumbers();
    std::size_t count = 0;
    for (uint32_t n : numbers)
        count = std::max(count, std::size_t(n) + 1);
    LargeVector<Triangle> byNumber(count);
    LargeVector<uint8_t> valid(count);
    for (std::size_t slot = 0; slot < mesh.m_Triangles.size(); ++slot) {
        Triangle& t = byNumber[numbers[slot]];
        for (int k = 0; k < 3; ++k)
            t.v[k] = Math::transformVec3(matrix, mesh.m_Triangles[slot].v[k]);
        valid[numbers[slot]] = Finite(t);
    }
    moved->m_OutOfRange = mesh.m_OutOfRange;
    moved->Finish(byNumber, valid);
    return moved;
}

void CollisionMesh::Finish(const LargeVector<Triangle>& byNumber, const LargeVector<uint8_t>& valid)
{
    glm::vec3 lo(INFINITY), hi(-INFINITY);
    for (std::size_t i = 0; i < byNumber.size(); ++i) {
        if (!valid[i])
            continue;
        const Triangle& t = byNumber[i];
        lo = glm::min(lo, glm::min(t.v[0], glm::min(t.v[1], t.v[2])));
        hi = glm::max(hi, glm::max(t.v[0], glm::max(t.v[1], t.v[2])));
    }
    m_Tree.Build(
        static_cast<uint32_t>(byNumber.size()),
        [&](uint32_t i, glm::vec3& boxLo, glm::vec3& boxHi) {
            if (!valid[i])
                return false;
            const Triangle& t = byNumber[i];
            boxLo = glm::min(t.v[0], glm::min(t.v[1], t.v[2]));
            boxHi = glm::max(t.v[0], glm::max(t.v[1], t.v[2]));
            return true;
        },
        kLeafSize, lo, hi);
    const auto& numbers = m_Tree.GetPrimitiveIndices();
    m_Triangles.resize(numbers.size());
    for (std::size_t slot = 0; slot < numbers.size(); ++slot)
        m_Triangles[slot] = byNumber[numbers[slot]];
    if (!m_Triangles.empty())
        m_MaxMagnitude = glm::max(glm::abs(lo), glm::abs(hi));
}

bool CollisionMesh::IsCurrent(const BufferGeometry& geometry) const
{
    // Owner equivalence: the weak reference keeps its control block alive,
    // so no other attribute can share it, even at a reused address.
    auto same = [](const auto& weak, const auto& strong) { return !weak.owner_before(strong) && !strong.owner_before(weak); };
    const std::shared_ptr<BufferAttribute>& positions = geometry.GetPositions();
    const std::shared_ptr<ElementAttribute>& index = geometry.GetIndex();
    return same(m_Positions, positions) && same(m_Index, index) &&
           (positions ? positions->GetVersion() : 0) == m_PositionsVersion &&
           (index ? index->GetVersion() : 0) == m_IndexVersion && geometry.GetVertexCount() == m_VertexCount &&
           geometry.GetElementCount() == m_ElementCount;
}

} // namespace orvcore
