#include <orvcore/render/RenderList.h>

#include <orvcommon/Logger.h>
#include <orvkernel/device/RenderDevice.h>
#include <orvkernel/light/LightManager.h>
#include <orvcore/render/ModelBatch.h>

#include <algorithm>
#include <cstring>

namespace orvcore {

void RenderList::AddItem(RenderItem&& item)
{
    const auto slot = static_cast<uint32_t>(m_Count);
    const float key = item.GetDistance();
    if (m_Count < m_Items.size()) {
        m_Items[slot] = std::move(item);
        m_Order[slot] = slot;
        m_Keys32[slot] = key;
    } else {
        m_Items.push_back(std::move(item));
        m_Order.push_back(slot);
        m_Keys32.push_back(key);
    }
    ++m_Count;
}

void RenderList::AddItem(PrimitiveShape* primitive, MaterialInstance* overrideMaterial, const glm::mat4& transform,
                         float distance)
{
    AddItem(RenderItem(primitive, overrideMaterial, transform, distance));
}

namespace {

// Order-preserving map of a float onto an unsigned integer: negative values
// have all bits flipped, positive ones only the sign bit.
inline uint32_t SortableBits(float f, bool descending)
{
    uint32_t u;
    std::memcpy(&u, &f, sizeof(u));
    u = (u & 0x80000000u) ? ~u : (u | 0x80000000u);
    return descending ? ~u : u;
}

} // namespace

void RenderList::SortBy(bool descending)
{
    const std::size_t n = static_cast<std::size_t>(m_Count);
    if (n < 2)
        return;
    // Sort small (key, slot) pairs, not the 90-byte items: a least
    // significant digit radix sort in three 11-bit passes that leaves the
    // new order in the index array. No allocation once the scratch has grown.
    m_Keys.resize(std::max(m_Keys.size(), 2 * n));
    std::pair<uint32_t, uint32_t>* src = m_Keys.data();
    std::pair<uint32_t, uint32_t>* dst = m_Keys.data() + n;
    for (std::size_t i = 0; i < n; ++i)
        src[i] = {SortableBits(m_Keys32[m_Order[i]], descending), m_Order[i]};
    // All three digit histograms in one read of the keys; a pass whose digit
    // is the same for every key is skipped.
    uint32_t counts[3][2048] = {};
    for (std::size_t i = 0; i < n; ++i) {
        const uint32_t k = src[i].first;
        ++counts[0][k & 2047u];
        ++counts[1][(k >> 11) & 2047u];
        ++counts[2][k >> 22];
    }
    for (int pass = 0; pass < 3; ++pass) {
        const int shift = pass * 11;
        uint32_t* c = counts[pass];
        if (c[(src[0].first >> shift) & 2047u] == n)
            continue;
        uint32_t sum = 0;
        for (int d = 0; d < 2048; ++d) {
            const uint32_t k = c[d];
            c[d] = sum;
            sum += k;
        }
        for (std::size_t i = 0; i < n; ++i)
            dst[c[(src[i].first >> shift) & 2047u]++] = src[i];
        std::swap(src, dst);
    }
    for (std::size_t i = 0; i < n; ++i)
        m_Order[i] = src[i].second;
}

void RenderList::SortOpaqueItems() { SortBy(false); }

void RenderList::SortTransparentItems() { SortBy(true); }

MaterialInstance* RenderList::ResolveMaterial(const RenderItem& item) const
{
    if (MaterialInstance* m = item.GetOverrideMaterial())
        return m;
    if (MaterialInstance* m = item.GetMaterial())
        return m;
    return m_Material.get();
}

namespace {
void Activate(RenderDevice* device, LightManager* lights, MaterialInstance* material)
{
    if (lights)
        lights->ActiveMaterial(device, material);
    else
        device->_ActiveMaterial(material);
}
} // namespace

std::size_t RenderList::RunLength(std::size_t first, MaterialInstance* material) const
{
    // Only opaque items are drawn as runs; blended ones keep their draws.
    const RenderItem& head = GetAt(first);
    if (!head.GetPrimitive() || !head.GetGeometry() || (material && material->IsTransparent()))
        return 1;
    const BufferGeometry* geometry = head.GetGeometry();
    std::size_t last = first + 1;
    while (last < m_Count) {
        const RenderItem& next = GetAt(last);
        if (!next.GetPrimitive() || next.GetGeometry() != geometry ||
            ResolveMaterial(next) != material)
            break;
        ++last;
    }
    return last - first;
}

std::size_t RenderList::BatchLength(std::size_t first, MaterialInstance* material, bool& tinted) const
{
    tinted = false;
    uint32_t type = 0, attributes = 0;
    std::size_t vertices = 0, total = 0;
    if ((material && material->IsTransparent()) || !ModelBatch::Accepts(GetAt(first), type, attributes, vertices))
        return 0;
    const bool tintable = ModelBatch::CanTint(material);
    std::size_t last = first;
    while (last < m_Count) {
        ModelBatch::Prefetch(*this, last, m_Count);
        const RenderItem& item = GetAt(last);
        MaterialInstance* own = ResolveMaterial(item);
        if (own != material) {
            // Another material that differs only in colour: the batch is tinted.
            if (!tintable || !own || !material->MatchesExceptColor(*own))
                break;
            tinted = true;
        }
        uint32_t itemType = 0, itemAttributes = 0;
        if (!ModelBatch::Accepts(item, itemType, itemAttributes, vertices) || itemType != type ||
            itemAttributes != attributes || total + vertices > ModelBatch::kMaxVertices)
            break; // a full batch ends the stretch; the next one starts after it
        total += vertices;
        // A part whose geometry and material the next one repeats starts an
        // instanced run.
        if (last + 1 < m_Count && GetAt(last + 1).GetGeometry() == item.GetGeometry() &&
            ResolveMaterial(GetAt(last + 1)) == own)
            break;
        ++last;
    }
    return last - first;
}

std::size_t RenderList::DrawFrom(RenderDevice* device, LightManager* lights, std::size_t first,
                                 MaterialInstance* material, std::size_t& batches) const
{
    const std::size_t run = RunLength(first, material);
    if (run == 1 && device->GetSettings().Batching) {
        bool tinted = false;
        const std::size_t parts = BatchLength(first, material, tinted);
        if (parts >= ModelBatch::kMinParts) {
            if (m_Batches.size() <= batches)
                m_Batches.push_back(std::make_shared<ModelBatch>());
            ModelBatch& batch = *m_Batches[batches++];
            if (batch.Update(*this, first, parts, tinted)) {
                if (MaterialInstance* tint = batch.GetTintMaterial())
                    Activate(device, lights, tint);
                batch.Draw(device);
            } else { // not expected (the stretch fits); each part on its own then
                for (std::size_t i = first; i < first + parts; ++i) {
                    if (tinted)
                        Activate(device, lights, ResolveMaterial(GetAt(i)));
                    device->Draw(GetAt(i).GetPrimitive(), GetAt(i).GetTransform());
                }
            }
            return parts;
        }
    }
    DrawRun(device, first, run);
    return run;
}

void RenderList::DrawRun(RenderDevice* device, std::size_t first, std::size_t count) const
{
    const RenderItem& head = GetAt(first);
    if (count == 1) {
        device->Draw(head.GetPrimitive(), head.GetTransform());
        return;
    }
    if (m_RunTransforms.size() < count)
        m_RunTransforms.resize(count);
    for (std::size_t i = 0; i < count; ++i)
        m_RunTransforms[i] = GetAt(first + i).GetTransform();
    device->DrawInstanced(head.GetPrimitive(), m_RunTransforms.data(), static_cast<uint32_t>(count));
}

void RenderList::Render(RenderDevice* device) const { RenderActivating(device, nullptr); }

void RenderList::Render(RenderDevice* device, LightManager* lights) const { RenderActivating(device, lights); }

void RenderList::RenderActivating(RenderDevice* device, LightManager* lights) const
{
    if (!device->SupportsInstancing()) {
        for (uint64_t i = 0; i < m_Count; ++i) {
            const RenderItem& item = GetAt(i);
            Activate(device, lights, ResolveMaterial(item));
            device->Draw(item.GetPrimitive(), item.GetTransform());
        }
        return;
    }
    std::size_t batches = 0;
    for (std::size_t i = 0; i < m_Count;) {
        MaterialInstance* material = ResolveMaterial(GetAt(i));
        Activate(device, lights, material);
        i += DrawFrom(device, lights, i, material, batches);
    }
    DropUnusedBatches(batches);
}

void RenderList::DropUnusedBatches(std::size_t used) const
{
    // Batches this frame did not reach would hold parts that may be gone
    // from the scene (and their memory) until some later frame reached them.
    if (m_Batches.size() > used)
        m_Batches.resize(used);
}

void RenderList::RenderWithDefaultMaterial(RenderDevice* device) const
{
    if (m_Count == 0)
        return;
    if (!m_Material) {
        Logger::Instance().Waring("Default material is null!");
        return;
    }
    device->ActiveMaterial(m_Material);
    RenderWithoutMaterial(device);
}

void RenderList::RenderWithoutMaterial(RenderDevice* device) const
{
    for (uint64_t i = 0; i < m_Count; ++i) {
        const RenderItem& item = GetAt(i);
        device->Draw(item.GetPrimitive(), item.GetTransform());
    }
}

} // namespace orvcore
