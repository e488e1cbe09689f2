#include <orvkernel/collision/CollisionMesh.h>

#include <orvcommon/Math.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include <glm/common.hpp>
#include <glm/geometric.hpp>
#include <glm/ext/vector_double3.hpp>

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
    if (count > kMaxTriangles)
        return mesh;
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
    FitVolumes();
}

namespace {

// Sums over a set of points: count, sum and sum of products (xx, yy, zz,
// xy, xz, yz), in double; a parent's are its children's added.
struct Moments {
    double n = 0.0;
    double s[3] = {0.0, 0.0, 0.0};
    double ss[6] = {0.0, 0.0, 0.0, 0.0, 0.0, 0.0};

    void Add(const glm::vec3& p)
    {
        const double x = p.x, y = p.y, z = p.z;
        n += 1.0;
        s[0] += x, s[1] += y, s[2] += z;
        ss[0] += x * x, ss[1] += y * y, ss[2] += z * z, ss[3] += x * y, ss[4] += x * z, ss[5] += y * z;
    }
    void Add(const Moments& o)
    {
        n += o.n;
        for (int k = 0; k < 3; ++k)
            s[k] += o.s[k];
        for (int k = 0; k < 6; ++k)
            ss[k] += o.ss[k];
    }
};

// Orthonormal eigenvectors (the columns of v) of the symmetric matrix a, by
// cyclic Jacobi rotations. Whatever the convergence, v stays a rotation.
void Eigenvectors(double a[3][3], double v[3][3])
{
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c)
            v[r][c] = r == c ? 1.0 : 0.0;
    // Boxes need the axes only roughly: a few sweeps, to about 1e-6.
    for (int sweep = 0; sweep < 5; ++sweep) {
        const double off = a[0][1] * a[0][1] + a[0][2] * a[0][2] + a[1][2] * a[1][2];
        const double diag = a[0][0] * a[0][0] + a[1][1] * a[1][1] + a[2][2] * a[2][2];
        if (off <= 1e-12 * diag)
            return;
        for (int p = 0; p < 2; ++p) {
            for (int q = p + 1; q < 3; ++q) {
                if (a[p][q] == 0.0)
                    continue;
                const double theta = (a[q][q] - a[p][p]) / (2.0 * a[p][q]);
                const double t = (theta >= 0.0 ? 1.0 : -1.0) / (std::fabs(theta) + std::sqrt(theta * theta + 1.0));
                const double c = 1.0 / std::sqrt(t * t + 1.0), s = t * c;
                for (int k = 0; k < 3; ++k) {
                    const double kp = a[k][p], kq = a[k][q];
                    a[k][p] = c * kp - s * kq;
                    a[k][q] = s * kp + c * kq;
                }
                for (int k = 0; k < 3; ++k) {
                    const double pk = a[p][k], qk = a[q][k];
                    a[p][k] = c * pk - s * qk;
                    a[q][k] = s * pk + c * qk;
                }
                for (int k = 0; k < 3; ++k) {
                    const double kp = v[k][p], kq = v[k][q];
                    v[k][p] = c * kp - s * kq;
                    v[k][q] = s * kp + c * kq;
                }
            }
        }
    }
}

// Axes (columns) for a leaf's few triangles: their summed normal, the
// longest edge of the first made square to it, and the third. False when
// the triangles are degenerate.
bool TriangleAxes(const CollisionMesh::Triangle* t, uint32_t count, double axes[3][3])
{
    glm::dvec3 normal(0.0);
    for (uint32_t k = 0; k < count; ++k) {
        const glm::dvec3 a(t[k].v[0]), b(t[k].v[1]), c(t[k].v[2]);
        const glm::dvec3 n = glm::cross(b - a, c - a);
        // Orient alike so that neighbours do not cancel.
        normal += glm::dot(n, normal) < 0.0 ? -n : n;
    }
    const double length = glm::length(normal);
    if (!(length > 0.0) || !std::isfinite(length))
        return false;
    normal /= length;
    glm::dvec3 edge(0.0);
    for (int i = 0; i < 3; ++i) {
        const glm::dvec3 e = glm::dvec3(t[0].v[(i + 1) % 3]) - glm::dvec3(t[0].v[i]);
        if (glm::dot(e, e) > glm::dot(edge, edge))
            edge = e;
    }
    edge -= normal * glm::dot(edge, normal);
    const double edgeLength = glm::length(edge);
    if (!(edgeLength > 0.0))
        return false;
    const glm::dvec3 u = edge / edgeLength, w = glm::cross(normal, u);
    for (int r = 0; r < 3; ++r) {
        axes[r][0] = normal[r];
        axes[r][1] = u[r];
        axes[r][2] = w[r];
    }
    return true;
}

} // namespace

void CollisionMesh::FitVolumes()
{
    const Bvh::NodeArray& nodes = m_Tree.GetNodes();
    m_Volumes.assign(nodes.size(), Volume{});
    if (nodes.empty())
        return;
    // Children follow their parents: walking backwards meets them first.
    // Each node gathers its triangles' slot range and corner moments.
    std::vector<Moments> moments(nodes.size());
    std::vector<std::pair<uint32_t, uint32_t>> ranges(nodes.size());
    for (std::size_t n = nodes.size(); n-- > 0;) {
        if (n == 1)
            continue; // the unused slot that aligns sibling pairs
        const Bvh::Node& node = nodes[n];
        if (node.IsLeaf()) {
            ranges[n] = {node.first, node.first + node.count};
            for (uint32_t k = node.first; k < node.first + node.count; ++k)
                for (const glm::vec3& p : m_Triangles[k].v)
                    moments[n].Add(p);
        } else {
            ranges[n] = {ranges[node.first].first, ranges[node.first + 1].second};
            moments[n] = moments[node.first];
            moments[n].Add(moments[node.first + 1]);
        }
        Volume& box = m_Volumes[n];
        box.link = node.first << 2 | (node.IsLeaf() ? node.count : 0u);
        // The node's own axis-aligned box, unless the principal axes give a
        // smaller one.
        box.axis[0] = glm::vec3(1, 0, 0);
        box.axis[1] = glm::vec3(0, 1, 0);
        box.axis[2] = glm::vec3(0, 0, 1);
        box.center = (node.min + node.max) * 0.5f;
        box.half = (node.max - node.min) * 0.5f;
        double axes[3][3];
        if (!node.IsLeaf() || !TriangleAxes(m_Triangles.data() + node.first, node.count, axes)) {
            const Moments& m = moments[n];
            const double mean[3] = {m.s[0] / m.n, m.s[1] / m.n, m.s[2] / m.n};
            double cov[3][3] = {{m.ss[0] / m.n - mean[0] * mean[0], m.ss[3] / m.n - mean[0] * mean[1],
                                 m.ss[4] / m.n - mean[0] * mean[2]},
                                {0.0, m.ss[1] / m.n - mean[1] * mean[1], m.ss[5] / m.n - mean[1] * mean[2]},
                                {0.0, 0.0, m.ss[2] / m.n - mean[2] * mean[2]}};
            cov[1][0] = cov[0][1];
            cov[2][0] = cov[0][2];
            cov[2][1] = cov[1][2];
            Eigenvectors(cov, axes);
        }
        double lo[3] = {INFINITY, INFINITY, INFINITY}, hi[3] = {-INFINITY, -INFINITY, -INFINITY};
        auto extend = [&](const glm::vec3& p) {
            for (int i = 0; i < 3; ++i) {
                const double d = axes[0][i] * p.x + axes[1][i] * p.y + axes[2][i] * p.z;
                lo[i] = std::min(lo[i], d);
                hi[i] = std::max(hi[i], d);
            }
        };
        for (uint32_t k = ranges[n].first; k < ranges[n].second; ++k)
            for (const glm::vec3& p : m_Triangles[k].v)
                extend(p);
        const double aligned = double(box.half.x) * box.half.y * box.half.z;
        const double oriented = (hi[0] - lo[0]) * (hi[1] - lo[1]) * (hi[2] - lo[2]) * 0.125;
        if (!(oriented < aligned))
            continue;
        glm::dvec3 center(0.0);
        for (int i = 0; i < 3; ++i) {
            const glm::dvec3 axis(axes[0][i], axes[1][i], axes[2][i]);
            center += axis * ((lo[i] + hi[i]) * 0.5);
            box.axis[i] = glm::vec3(axis);
            box.half[i] = float((hi[i] - lo[i]) * 0.5);
        }
        box.center = glm::vec3(center);
    }
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
