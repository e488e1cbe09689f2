#include <orvcore/render/ShadowCasterBatch.h>

#include <cstring>

#include <orvkernel/device/RenderDevice.h>
#include <orvkernel/geometry/BufferAttribute.h>
#include <orvkernel/geometry/BufferGeometry.h>
#include <orvkernel/geometry/ElementAttribute.h>
#include <orvkernel/shape/PrimitiveShape.h>
#include <orvcore/render/RenderList.h>

namespace orvcore {

namespace {

bool Affine(const glm::mat4& m) { return m[0][3] == 0.0f && m[1][3] == 0.0f && m[2][3] == 0.0f && m[3][3] == 1.0f; }

template <typename Run>
bool SameSource(const Run& a, const Run& b)
{
    return a.primitive == b.primitive && a.positions == b.positions && a.index == b.index &&
           a.positionsVersion == b.positionsVersion && a.indexVersion == b.indexVersion && a.elements == b.elements;
}

} // namespace

ShadowCasterBatch::ShadowCasterBatch() = default;
ShadowCasterBatch::~ShadowCasterBatch() = default;

void ShadowCasterBatch::Update(const RenderList& casters)
{
    m_Next.clear();
    m_Separate.clear();
    std::size_t total = 0;
    for (uint64_t i = 0; i < casters.GetItemCount(); ++i) {
        const RenderItem& item = casters.GetAt(i);
        PrimitiveShape* primitive = item.GetPrimitive();
        const BufferGeometry* geometry = primitive ? primitive->GetGeometry().get() : nullptr;
        const BufferAttribute* positions = geometry ? geometry->GetPositions().get() : nullptr;
        const std::size_t elements = geometry ? geometry->GetElementCount() / 3 * 3 : 0;
        const bool mergeable = positions && positions->GetData() && positions->GetDataType() == DATA_TYPE_FLOAT &&
                               positions->GetItemSize() >= 3 && geometry->GetPrimitiveType() == PRIMITIVE_TRIANGLES &&
                               elements <= kMaxCasterVertices && total + elements <= kMaxBatchVertices &&
                               Affine(item.GetTransform());
        if (!mergeable || (!geometry->GetIndex() && elements > positions->GetCount())) {
            if (primitive)
                m_Separate.push_back({primitive, item.GetTransform()});
            continue;
        }
        Run run;
        run.primitive = primitive;
        run.positions = positions;
        run.index = geometry->GetIndex().get();
        run.positionsVersion = positions->GetVersion();
        run.indexVersion = run.index ? run.index->GetVersion() : 0;
        run.elements = uint32_t(elements);
        run.first = uint32_t(total);
        run.transform = item.GetTransform();
        m_Next.push_back(run);
        total += elements;
    }

    bool sameLayout = m_Positions && m_Next.size() == m_Runs.size() && m_Positions->GetCount() == total;
    for (std::size_t r = 0; sameLayout && r < m_Next.size(); ++r)
        sameLayout = SameSource(m_Next[r], m_Runs[r]);
    m_Runs.swap(m_Next);

    if (!sameLayout && total == 0) {
        m_Positions.reset();
        m_Geometry.reset();
        m_Primitive.reset();
        m_Rewritten = 0;
        return;
    }
    if (!sameLayout) {
        // New or changed casters: the merged list is made again, whole.
        std::vector<float> zeros(total * 3, 0.0f);
        m_Positions = std::make_shared<BufferAttribute>(zeros.data(), zeros.size(), 3u);
        m_Geometry = std::make_shared<BufferGeometry>(PRIMITIVE_TRIANGLES);
        m_Geometry->SetAttribute(ATTRIBUTE_POSITION, m_Positions);
        m_Primitive = std::make_shared<PrimitiveShape>(m_Geometry, nullptr);
        float* out = reinterpret_cast<float*>(m_Positions->GetData());
        for (const Run& run : m_Runs)
            Write(run, out);
        m_Positions->RaiseVersion();
        m_Rewritten = m_Runs.size();
        return;
    }
    // The same casters: only those that moved are carried again.
    m_Rewritten = 0;
    float* out = reinterpret_cast<float*>(m_Positions->GetData());
    for (std::size_t r = 0; r < m_Runs.size(); ++r) {
        const Run& run = m_Runs[r];
        if (std::memcmp(&run.transform, &m_Next[r].transform, sizeof(glm::mat4)) == 0)
            continue;
        Write(run, out);
        m_Positions->RaiseVersion(run.first, run.elements);
        ++m_Rewritten;
    }
}

void ShadowCasterBatch::Write(const Run& run, float* out) const
{
    const uint8_t* data = run.positions->GetData();
    const uint32_t stride = run.positions->GetByteStride();
    const glm::mat4& m = run.transform;
    float* dst = out + std::size_t(run.first) * 3;
    const std::size_t count = run.positions->GetCount();
    for (uint32_t e = 0; e < run.elements; e += 3) {
        uint32_t corner[3];
        bool inside = true;
        for (uint32_t k = 0; k < 3; ++k) {
            corner[k] = run.index ? run.index->Get(e + k) : e + k;
            inside = inside && corner[k] < count;
        }
        for (uint32_t k = 0; k < 3; ++k, dst += 3) {
            if (!inside) { // an index past the positions: an empty triangle
                dst[0] = dst[1] = dst[2] = 0.0f;
                continue;
            }
            float p[3];
            std::memcpy(p, data + std::size_t(corner[k]) * stride, sizeof(p));
            // The world point as the vertex shader forms it from the model
            // matrix: columns scaled by the coordinates, then the translation.
            const glm::vec4 world = m[0] * p[0] + m[1] * p[1] + m[2] * p[2] + m[3];
            dst[0] = world.x;
            dst[1] = world.y;
            dst[2] = world.z;
        }
    }
}

void ShadowCasterBatch::Draw(RenderDevice* device) const
{
    if (!device)
        return;
    if (m_Primitive && m_Positions && m_Positions->GetCount() > 0)
        device->Draw(m_Primitive.get(), glm::mat4(1.0f));
    for (const Separate& separate : m_Separate)
        device->Draw(separate.primitive, separate.transform);
}

} // namespace orvcore
