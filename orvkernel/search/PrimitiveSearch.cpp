#include <orvkernel/search/PrimitiveSearch.h>

#include <orvcommon/Logger.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstring>
#include <utility>

#include <glm/geometric.hpp>

#if defined(__SSE__) || defined(_M_X64)
#include <xmmintrin.h>
#endif

namespace orvcore {

namespace {

// Read access to the elements of a geometry: vertex positions through the
// index, and the vertices of primitive p under the primitive type.
struct GeometryView {
    uint32_t type = PRIMITIVE_UNDEFINED;
    const BufferAttribute* positions = nullptr;
    const ElementAttribute* index = nullptr;
    const uint8_t* base = nullptr;
    uint32_t stride = 0;
    bool packedFloat = false;
    std::size_t vertexCount = 0;
    std::size_t elementCount = 0;
    std::size_t primitiveCount = 0;
    int verticesPerPrimitive = 0;

    explicit GeometryView(const BufferGeometry& g)
    {
        positions = g.GetPositions().get();
        if (!positions || positions->GetCount() == 0 || !positions->GetData())
            return;
        type = g.GetPrimitiveType();
        index = g.GetIndex().get();
        base = positions->GetData();
        stride = positions->GetByteStride();
        packedFloat = positions->GetDataType() == DATA_TYPE_FLOAT && positions->GetItemSize() >= 3;
        vertexCount = positions->GetCount();
        elementCount = g.GetElementCount();
        primitiveCount = g.GetPrimitiveCount();
        verticesPerPrimitive = IsPointPrimitive(type) ? 1 : IsLinePrimitive(type) ? 2 : IsTrianglePrimitive(type) ? 3 : 0;
        if (verticesPerPrimitive == 0)
            primitiveCount = 0;
    }

    bool Position(std::size_t element, glm::vec3& out) const
    {
        const uint32_t v = index ? index->Get(element) : static_cast<uint32_t>(element);
        if (v >= vertexCount)
            return false;
        if (packedFloat)
            std::memcpy(&out, base + std::size_t(v) * stride, sizeof(out));
        else
            out = positions->GetVec3(v);
        return std::isfinite(out.x) && std::isfinite(out.y) && std::isfinite(out.z);
    }

    // Vertices of primitive p; false when one is invalid.
    bool Primitive(std::size_t p, glm::vec3* out) const
    {
        std::size_t e[3] = {0, 0, 0};
        switch (type) {
        case PRIMITIVE_POINTS: e[0] = p; break;
        case PRIMITIVE_LINES: e[0] = 2 * p; e[1] = 2 * p + 1; break;
        case PRIMITIVE_LINE_STRIP: e[0] = p; e[1] = p + 1; break;
        case PRIMITIVE_LINE_LOOP: e[0] = p; e[1] = (p + 1) % elementCount; break;
        case PRIMITIVE_TRIANGLES: e[0] = 3 * p; e[1] = 3 * p + 1; e[2] = 3 * p + 2; break;
        case PRIMITIVE_TRIANGLE_STRIP: e[0] = p; e[1] = p + 1; e[2] = p + 2; break;
        case PRIMITIVE_TRIANGLE_FAN: e[0] = 0; e[1] = p + 1; e[2] = p + 2; break;
        default: return false;
        }
        for (int k = 0; k < verticesPerPrimitive; ++k) {
            if (!Position(e[k], out[k]))
                return false;
        }
        return true;
    }

    // Calls fn(vertexOf), where vertexOf(e) is the vertex number of element
    // e, with the index width resolved once rather than per element.
    template <typename Fn>
    void WithVertexNumbers(Fn&& fn) const
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

    // Box of triangle p of a triangle list whose positions are packed
    // floats: the common case of a large mesh, read without the general
    // path's per-element dispatch.
    template <typename VertexOf>
    bool TriangleListBox(const VertexOf& vertexOf, std::size_t p, glm::vec3& lo, glm::vec3& hi) const
    {
        const std::size_t e = 3 * p;
        const uint32_t a = vertexOf(e), b = vertexOf(e + 1), c = vertexOf(e + 2);
        if (std::max(a, std::max(b, c)) >= vertexCount)
            return false;
        glm::vec3 v0, v1, v2;
        std::memcpy(&v0, base + std::size_t(a) * stride, sizeof(v0));
        std::memcpy(&v1, base + std::size_t(b) * stride, sizeof(v1));
        std::memcpy(&v2, base + std::size_t(c) * stride, sizeof(v2));
        lo = glm::min(v0, glm::min(v1, v2));
        hi = glm::max(v0, glm::max(v1, v2));
        // Zero times a finite value is zero; times an infinity or NaN, NaN.
        const glm::vec3 z = v0 * 0.0f + v1 * 0.0f + v2 * 0.0f;
        return z.x == 0.0f && z.y == 0.0f && z.z == 0.0f;
    }

    bool Box(std::size_t p, glm::vec3& lo, glm::vec3& hi) const
    {
        glm::vec3 v[3] = {glm::vec3(0.0f), glm::vec3(0.0f), glm::vec3(0.0f)};
        if (!Primitive(p, v))
            return false;
        lo = hi = v[0];
        for (int k = 1; k < verticesPerPrimitive; ++k) {
            lo = glm::min(lo, v[k]);
            hi = glm::max(hi, v[k]);
        }
        return true;
    }
};

// Cache hints for gathers whose addresses are known early; no effect on
// results, and a vertex number past the end is simply not fetched.
inline void PrefetchIndexEntry(const GeometryView& view, std::size_t e)
{
#if defined(__SSE__) || defined(_M_X64)
    if (view.index && e < view.elementCount) {
        const std::size_t width = view.index->GetDataType() == DATA_TYPE_UNSIGNED_INT ? 4 : 2;
        _mm_prefetch(static_cast<const char*>(view.index->GetData()) + e * width, _MM_HINT_T0);
    }
#else
    (void)view;
    (void)e;
#endif
}

inline void PrefetchVertex(const GeometryView& view, uint32_t v)
{
#if defined(__SSE__) || defined(_M_X64)
    if (v < view.vertexCount)
        _mm_prefetch(reinterpret_cast<const char*>(view.base + std::size_t(v) * view.stride), _MM_HINT_T0);
#else
    (void)view;
    (void)v;
#endif
}

EnumShapeFilter FilterOf(uint32_t type)
{
    if (IsPointPrimitive(type))
        return SHAPE_FILTER_VERTEX;
    if (IsLinePrimitive(type))
        return SHAPE_FILTER_EDGE;
    return SHAPE_FILTER_FACE;
}

// The running best answer. Candidates compare by perpendicular distance
// (zero for triangle hits), then ray parameter, then element number, so that
// every search order agrees on the winner.
struct Best {
    float dist2 = FLT_MAX;
    float t = FLT_MAX;
    int64_t element = -1;
    glm::vec3 position{0.0f};

    bool Offer(float d2, float rayT, std::size_t e, const glm::vec3& p)
    {
        if (d2 < dist2 || (d2 == dist2 && (rayT < t || (rayT == t && int64_t(e) < element)))) {
            dist2 = d2;
            t = rayT;
            element = int64_t(e);
            position = p;
            return true;
        }
        return false;
    }
};

// Two-sided ray/triangle test; true with the ray parameter on a hit at t >= 0.
bool RayTriangle(const Ray& ray, const glm::vec3& a, const glm::vec3& b, const glm::vec3& c, float& t)
{
    const glm::vec3 e1 = b - a, e2 = c - a;
    const glm::vec3 p = glm::cross(ray.getDirection(), e2);
    const float det = glm::dot(e1, p);
    if (std::fabs(det) < 1e-20f)
        return false;
    const float inv = 1.0f / det;
    const glm::vec3 s = ray.getOrigin() - a;
    const float u = glm::dot(s, p) * inv;
    if (u < 0.0f || u > 1.0f)
        return false;
    const glm::vec3 q = glm::cross(s, e1);
    const float v = glm::dot(ray.getDirection(), q) * inv;
    if (v < 0.0f || u + v > 1.0f)
        return false;
    t = glm::dot(e2, q) * inv;
    return t >= 0.0f;
}

void TestPoint(const Ray& ray, const glm::vec3& p, std::size_t element, Best& best);
void TestSegment(const Ray& ray, const glm::vec3& a, const glm::vec3& b, std::size_t element, Best& best);

void TestPrimitive(const GeometryView& view, const Ray& ray, std::size_t p, Best& best)
{
    glm::vec3 v[3] = {glm::vec3(0.0f), glm::vec3(0.0f), glm::vec3(0.0f)};
    if (!view.Primitive(p, v))
        return;
    switch (view.verticesPerPrimitive) {
    case 1: TestPoint(ray, v[0], p, best); return;
    case 2: TestSegment(ray, v[0], v[1], p, best); return;
    case 3: {
        float t = 0.0f;
        if (RayTriangle(ray, v[0], v[1], v[2], t))
            best.Offer(0.0f, t, p, ray.getPoint(t));
        return;
    }
    default: return;
    }
}

void TestPoint(const Ray& ray, const glm::vec3& p, std::size_t element, Best& best)
{
    const float t = glm::dot(p - ray.getOrigin(), ray.getDirection());
    if (t < 0.0f)
        return;
    const glm::vec3 d = ray.getPoint(t) - p;
    best.Offer(glm::dot(d, d), t, element, p);
}

void TestSegment(const Ray& ray, const glm::vec3& a, const glm::vec3& b, std::size_t element, Best& best)
{
    glm::vec3 onSegment;
    float t = 0.0f;
    const float d2 = ray.distanceSqToSegment(a, b, nullptr, &onSegment, &t);
    best.Offer(d2, t, element, onSegment);
}

IntersectPoint ToIntersect(const GeometryView& view, const Best& best)
{
    if (best.element < 0)
        return IntersectPoint();
    return IntersectPoint(FilterOf(view.type), static_cast<int32_t>(best.element), best.position, best.t);
}

// Ray direction prepared for slab tests: inverse components, and which
// components are zero (the ray then never leaves or enters that slab).
struct SlabRay {
    glm::vec3 origin;
    glm::vec3 inv;
    bool flat[3];

    explicit SlabRay(const Ray& ray) : origin(ray.getOrigin())
    {
        const glm::vec3& d = ray.getDirection();
        for (int a = 0; a < 3; ++a) {
            flat[a] = d[a] == 0.0f;
            inv[a] = flat[a] ? 0.0f : 1.0f / d[a];
        }
    }
};

// Slab test of the ray against a box grown by `margin` on every side, over
// t in [0, tMax]; returns the entry parameter or a negative value on a miss.
inline float EnterBox(const Bvh::Node& n, const SlabRay& r, float margin, float tMax)
{
    float tNear = 0.0f, tFar = tMax;
    for (int a = 0; a < 3; ++a) {
        const float lo = n.min[a] - margin, hi = n.max[a] + margin;
        if (r.flat[a]) {
            if (r.origin[a] < lo || r.origin[a] > hi)
                return -1.0f;
            continue;
        }
        float t1 = (lo - r.origin[a]) * r.inv[a], t2 = (hi - r.origin[a]) * r.inv[a];
        if (t1 > t2)
            std::swap(t1, t2);
        tNear = std::max(tNear, t1);
        tFar = std::min(tFar, t2);
    }
    return tNear <= tFar ? tNear : -1.0f;
}

// How far along the ray boxes are still worth entering once a triangle
// hit is known: a little past it, because a box's entry parameter and a
// triangle's hit parameter are rounded differently. A ray through a vertex
// or edge shared by several triangles then sees all of them, and the tie
// goes to the smallest element whatever the search order.
inline float HitLimit(const Best& best) { return best.t + best.t * 1e-5f; }

// Whether the eight-wide walk may take the ray: a finite origin and no zero
// (or denormal) direction component. A ray parallel to a slab needs the
// inclusive comparison of `SlabRay`, which no finite reciprocal reproduces
// when the origin lies on the slab's far side.
bool FastRay(const Ray& ray)
{
    const glm::vec3& o = ray.getOrigin();
    const glm::vec3& d = ray.getDirection();
    return std::fabs(d.x) >= 1e-30f && std::fabs(d.y) >= 1e-30f && std::fabs(d.z) >= 1e-30f && std::isfinite(o.x) &&
           std::isfinite(o.y) && std::isfinite(o.z);
}

} // namespace

// The running best starts at the largest distance the caller accepts.
static Best Start(float maxDistance)
{
    Best best;
    if (maxDistance < FLT_MAX && maxDistance >= 0.0f)
        best.dist2 = maxDistance * maxDistance;
    return best;
}

IntersectPoint PrimitiveSearch::QueryBruteForce(const BufferGeometry& geometry, const Ray& ray, float maxDistance)
{
    const GeometryView view(geometry);
    Best best = Start(maxDistance);
    for (std::size_t p = 0; p < view.primitiveCount; ++p)
        TestPrimitive(view, ray, p, best);
    return ToIntersect(view, best);
}

void PrimitiveSearch::Refresh(const BufferGeometry& geometry)
{
    const std::shared_ptr<BufferAttribute>& positions = geometry.GetPositions();
    const std::shared_ptr<ElementAttribute>& index = geometry.GetIndex();
    const uint32_t positionsVersion = positions ? positions->GetVersion() : 0;
    const uint32_t indexVersion = index ? index->GetVersion() : 0;
    const std::size_t elements = geometry.GetElementCount();
    const std::size_t vertices = geometry.GetVertexCount();

    // Owner equivalence: the weak reference keeps its control block alive,
    // so no other attribute can share it, even at a reused address.
    auto same = [](const auto& weak, const auto& strong) { return !weak.owner_before(strong) && !strong.owner_before(weak); };
    const bool sameLayout = m_Valid && same(m_Positions, positions) && same(m_Index, index) &&
                            indexVersion == m_IndexVersion && geometry.GetPrimitiveType() == m_Type &&
                            elements == m_ElementCount && vertices == m_VertexCount;
    if (sameLayout && positionsVersion == m_PositionsVersion)
        return;

    const GeometryView view(geometry);
    // A refit must see every primitive of the tree; if one became invalid
    // (a non-finite position) the tree is rebuilt without it.
    bool refitted = false;
    if (sameLayout) {
        bool allValid = true;
        m_Tree.Refit([&](uint32_t p, glm::vec3& lo, glm::vec3& hi) {
            if (!view.Box(p, lo, hi)) {
                allValid = false;
                lo = glm::vec3(FLT_MAX);
                hi = glm::vec3(-FLT_MAX);
            }
        });
        refitted = allValid;
        if (refitted)
            ++m_Refits;
    }
    if (!refitted) {
        const uint32_t primitives = static_cast<uint32_t>(view.primitiveCount);
        const uint32_t leafSize = view.verticesPerPrimitive == 3 ? 4u : 8u;
        // The vertices' box bounds the primitives' centres: the root is
        // binned on it while the boxes are made.
        const AxisAlignedBox& bounds = geometry.GetSafeBoudingBox();
        const glm::vec3 centresLo = bounds.isFinite() ? bounds.getMinimum() : glm::vec3(INFINITY);
        const glm::vec3 centresHi = bounds.isFinite() ? bounds.getMaximum() : glm::vec3(-INFINITY);
        if (view.type == PRIMITIVE_TRIANGLES && view.packedFloat) {
            view.WithVertexNumbers([&](const auto& vertexOf) {
                m_Tree.Build(primitives, [&](uint32_t p, glm::vec3& lo, glm::vec3& hi) {
                    return view.TriangleListBox(vertexOf, p, lo, hi);
                }, leafSize, centresLo, centresHi);
            });
        } else {
            m_Tree.Build(primitives, [&](uint32_t p, glm::vec3& lo, glm::vec3& hi) { return view.Box(p, lo, hi); },
                         leafSize, centresLo, centresHi);
        }
        ++m_Builds;
    }
    m_LeafVertices.clear();
    m_Triangles.Clear();
    if (view.verticesPerPrimitive == 3 && view.type == PRIMITIVE_TRIANGLES && view.packedFloat) {
        // Triangle lists: the fast search walks the eight-wide form of the
        // tree and reads each triangle, ready for the test, in leaf order.
        // Leaf order jumps about the index and vertex arrays, and each
        // vertex load waits on an index load: both are fetched ahead, the
        // index entries 64 slots ahead and the vertices 32, so that the
        // copy streams instead of waiting on one miss after another.
        const auto& prims = m_Tree.GetPrimitiveIndices();
        const std::size_t slots = prims.size();
        view.WithVertexNumbers([&](const auto& vertexOf) {
            m_Triangles.Build(m_Tree, [&](std::size_t k, float* xyz) {
                if (k + 64 < slots)
                    PrefetchIndexEntry(view, 3 * std::size_t(prims[k + 64]));
                if (k + 32 < slots) {
                    const std::size_t ahead = 3 * std::size_t(prims[k + 32]);
                    for (std::size_t v = 0; v < 3; ++v)
                        PrefetchVertex(view, vertexOf(ahead + v));
                }
                const std::size_t e = 3 * std::size_t(prims[k]);
                for (std::size_t v = 0; v < 3; ++v)
                    std::memcpy(xyz + 3 * v, view.base + std::size_t(vertexOf(e + v)) * view.stride, 3 * sizeof(float));
            });
        });
    } else if (view.verticesPerPrimitive == 1 || view.verticesPerPrimitive == 2) {
        const auto& prims = m_Tree.GetPrimitiveIndices();
        m_LeafVertices.resize(prims.size() * std::size_t(view.verticesPerPrimitive));
        glm::vec3 v[3] = {glm::vec3(0.0f), glm::vec3(0.0f), glm::vec3(0.0f)};
        for (std::size_t k = 0; k < prims.size(); ++k) {
            view.Primitive(prims[k], v); // valid: the tree holds valid primitives only
            for (int c = 0; c < view.verticesPerPrimitive; ++c)
                m_LeafVertices[k * std::size_t(view.verticesPerPrimitive) + std::size_t(c)] = v[c];
        }
    }
    m_Valid = true;
    m_Positions = positions;
    m_PositionsVersion = positionsVersion;
    m_Index = index;
    m_IndexVersion = indexVersion;
    m_Type = geometry.GetPrimitiveType();
    m_ElementCount = elements;
    m_VertexCount = vertices;
}

IntersectPoint PrimitiveSearch::Query(const BufferGeometry& geometry, const Ray& ray, float maxDistance)
{
    Refresh(geometry);
    Best best = Start(maxDistance);
    // The packets exist for lists of float triangles only, and are current
    // after the refresh: the geometry need not be looked at again.
    if (!m_Triangles.IsEmpty() && FastRay(ray)) {
        float t = best.t;
        uint32_t primitive = TriangleTree::kNone;
        if (m_Triangles.Nearest(ray.getOrigin(), ray.getDirection(), t, primitive, best.dist2 > 0.0f)) {
            if (primitive != TriangleTree::kNone && best.Offer(0.0f, t, primitive, ray.getPoint(t)))
                return IntersectPoint(SHAPE_FILTER_FACE, static_cast<int32_t>(best.element), best.position, best.t);
            return IntersectPoint();
        }
    }
    const GeometryView view(geometry);
    if (m_Tree.IsEmpty() || view.verticesPerPrimitive == 0)
        return IntersectPoint();

    const Bvh::NodeArray& nodes = m_Tree.GetNodes();
    const auto& prims = m_Tree.GetPrimitiveIndices();
    const SlabRay slab(ray);
    const bool triangles = view.verticesPerPrimitive == 3;

    uint32_t stack[128];
    int top = 0;
    stack[top++] = 0;
    while (top > 0) {
        const Bvh::Node& node = nodes[stack[--top]];
        // Triangles: the box must be entered before the best hit. Points and
        // segments: the ray must pass within the best distance of the box.
        const bool bounded = best.element >= 0 || best.dist2 < FLT_MAX;
        const float margin = triangles ? 0.0f : (bounded ? std::sqrt(best.dist2) : 0.0f);
        if (!bounded && !triangles) {
            // No candidate and no limit yet: every box qualifies.
        } else if (EnterBox(node, slab, margin, triangles ? HitLimit(best) : FLT_MAX) < 0.0f) {
            continue;
        }
        if (node.IsLeaf()) {
            const uint32_t end = node.first + node.count;
            if (view.verticesPerPrimitive == 1) {
                for (uint32_t k = node.first; k < end; ++k)
                    TestPoint(ray, m_LeafVertices[k], prims[k], best);
            } else if (view.verticesPerPrimitive == 2) {
                for (uint32_t k = node.first; k < end; ++k)
                    TestSegment(ray, m_LeafVertices[2 * k], m_LeafVertices[2 * k + 1], prims[k], best);
            } else {
                for (uint32_t k = node.first; k < end; ++k)
                    TestPrimitive(view, ray, prims[k], best);
            }
            continue;
        }
        const Bvh::Node& a = nodes[node.first];
        const Bvh::Node& b = nodes[node.first + 1];
        float ka, kb;
        if (triangles) {
            ka = EnterBox(a, slab, 0.0f, HitLimit(best));
            kb = EnterBox(b, slab, 0.0f, HitLimit(best));
            if (ka < 0.0f && kb < 0.0f)
                continue;
            if (ka < 0.0f)
                ka = FLT_MAX;
            if (kb < 0.0f)
                kb = FLT_MAX;
        } else {
            // Children the ray passes through come first, in the order it
            // enters them, so the first leaves tested hold points close to
            // the ray and the pruning distance shrinks fast; the others
            // follow by how near their centres lie to the ray.
            const float ta = EnterBox(a, slab, 0.0f, FLT_MAX), tb = EnterBox(b, slab, 0.0f, FLT_MAX);
            if (ta >= 0.0f && tb >= 0.0f) {
                ka = ta;
                kb = tb;
            } else if (ta >= 0.0f || tb >= 0.0f) {
                ka = ta >= 0.0f ? 0.0f : 1.0f;
                kb = 1.0f - ka;
            } else {
                ka = ray.distanceSqToPoint((a.min + a.max) * 0.5f);
                kb = ray.distanceSqToPoint((b.min + b.max) * 0.5f);
            }
        }
        if (top + 2 > 128) {
            // Cannot happen for trees of sane depth; fall back to the scan.
            return QueryBruteForce(geometry, ray, maxDistance);
        }
        // Push the farther child first so the nearer one is visited next.
        if (ka <= kb) {
            if (kb != FLT_MAX)
                stack[top++] = node.first + 1;
            stack[top++] = node.first;
        } else {
            if (ka != FLT_MAX)
                stack[top++] = node.first;
            stack[top++] = node.first + 1;
        }
    }
    return ToIntersect(view, best);
}

} // namespace orvcore
