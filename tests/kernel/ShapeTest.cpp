#include <orvkernel/device/GfxObject.h>
#include <orvkernel/search/Bvh.h>
#include <orvkernel/search/PrimitiveSearch.h>
#include <orvkernel/shape/PrimitiveShape.h>

#include <random>

#include <gtest/gtest.h>

#include "LogCapture.h"
#include "ShapeFactory.h"

using namespace orvcore;
using orvtest::Geometry;

namespace {

std::vector<glm::vec3> RandomPoints(std::mt19937& rng, std::size_t n, float spread)
{
    std::uniform_real_distribution<float> u(-spread, spread);
    std::vector<glm::vec3> pts(n);
    for (auto& p : pts)
        p = glm::vec3(u(rng), u(rng), u(rng) * 0.3f);
    return pts;
}

// A wavy height-field mesh: a realistic, connected surface.
std::vector<glm::vec3> Grid(int n, std::vector<uint32_t>& index)
{
    std::vector<glm::vec3> pts;
    for (int j = 0; j <= n; ++j)
        for (int i = 0; i <= n; ++i)
            pts.emplace_back(float(i), float(j), std::sin(float(i) * 0.3f) * std::cos(float(j) * 0.2f) * 3.0f);
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i) {
            const uint32_t a = uint32_t(j * (n + 1) + i), b = a + 1, c = a + uint32_t(n + 1), d = c + 1;
            index.insert(index.end(), {a, b, d, a, d, c});
        }
    return pts;
}

Ray RandomRay(std::mt19937& rng, const glm::vec3& lo, const glm::vec3& hi)
{
    std::uniform_real_distribution<float> u(0.0f, 1.0f);
    const glm::vec3 target = lo + (hi - lo) * glm::vec3(u(rng), u(rng), u(rng));
    const glm::vec3 origin = target + glm::vec3(u(rng) - 0.5f, u(rng) - 0.5f, u(rng) + 0.2f) * 40.0f;
    return Ray(origin, target - origin);
}

int SameAnswers(const PrimitiveShape& shape, const std::vector<Ray>& rays);

// Compares the tree's answer with the linear scan's on 1000 random rays
// through the shape's box and, when asked, on rays along the axes (zero
// direction components, some exactly through the lines and vertices of the
// grid below).
void CompareWithScan(const PrimitiveShape& shape, std::mt19937& rng, bool axisRays, int minHits)
{
    const AxisAlignedBox box = shape.GetGeometry()->GetSafeBoudingBox();
    std::vector<Ray> rays;
    for (int r = 0; r < 1000; ++r)
        rays.push_back(RandomRay(rng, box.getMinimum(), box.getMaximum()));
    for (float x = -0.5f; axisRays && x <= 40.5f; x += 0.5f)
        for (float y : {0.0f, 0.25f, 7.0f, 19.5f, 40.0f})
            rays.insert(rays.end(), {Ray(glm::vec3(x, y, 50.0f), glm::vec3(0, 0, -1)),
                                     Ray(glm::vec3(x, y, -50.0f), glm::vec3(0, 0, 1)),
                                     Ray(glm::vec3(-5.0f, y, x * 0.1f - 2.0f), glm::vec3(1, 0, 0)),
                                     Ray(glm::vec3(x, 45.0f, 1.0f), glm::vec3(0, -1, 0))});
    EXPECT_GE(SameAnswers(shape, rays), minHits);
}

// Expects the tree's answers on `rays` to equal the scan's; returns the hits.
int SameAnswers(const PrimitiveShape& shape, const std::vector<Ray>& rays)
{
    int hits = 0;
    for (std::size_t r = 0; r < rays.size(); ++r) {
        const IntersectPoint fast = shape.ComputeNearestPoint(rays[r]);
        const IntersectPoint slow = shape.ComputeNearestPointBruteForce(rays[r]);
        EXPECT_EQ(fast.GetPrimitiveIndex(), slow.GetPrimitiveIndex()) << "ray " << r;
        if (fast.GetPrimitiveIndex() != slow.GetPrimitiveIndex())
            return hits;
        EXPECT_EQ(fast.GetShapeFilter(), slow.GetShapeFilter());
        EXPECT_FLOAT_EQ(fast.GetDistance(), slow.GetDistance()) << "ray " << r;
        EXPECT_EQ(fast.GetLocalPosition(), slow.GetLocalPosition()) << "ray " << r;
        hits += fast.IsHit();
    }
    return hits;
}

} // namespace

TEST(PrimitiveShape, TreeAgreesWithScanForEveryKind)
{
    std::mt19937 rng(1);
    std::vector<uint32_t> index;
    const auto pts = Grid(40, index); // 3200 triangles
    std::vector<glm::vec3> soup;      // the same mesh without an index
    for (uint32_t i : index)
        soup.push_back(pts[i]);
    std::vector<uint32_t> strip; // 20 rows of the grid, zig-zag
    for (int row = 0; row < 20; ++row)
        for (int i = 0; i <= 40; ++i)
            strip.insert(strip.end(), {uint32_t(row * 41 + i), uint32_t((row + 1) * 41 + i)});
    std::vector<glm::vec3> fan{glm::vec3(0.0f)};
    for (int i = 0; i <= 600; ++i) {
        const float a = float(i) * 0.0105f;
        fan.emplace_back(std::cos(a) * 10.0f, std::sin(a) * 10.0f, std::sin(a * 7.0f));
    }
    const auto cloud = RandomPoints(rng, 5000, 50.0f);
    const auto path = RandomPoints(rng, 1200, 20.0f);
    std::vector<uint32_t> picks;
    for (uint32_t i = 0; i < 3000; ++i)
        picks.push_back((i * 7919u) % 5000u);
    auto shortIndexed = Geometry(PRIMITIVE_TRIANGLES, pts);
    shortIndexed->SetIndex(std::make_shared<ElementAttribute>(std::vector<uint16_t>(index.begin(), index.end())));
    // Axis rays through the indexed grid. (The fan's centre lies on one,
    // where its nearly edge-on triangles fool the exact test itself.)
    const struct {
        const char* name;
        std::shared_ptr<BufferGeometry> geometry;
        bool axisRays;
        int minHits; // the comparison must not be all misses
    } cases[] = {{"triangles", Geometry(PRIMITIVE_TRIANGLES, pts, index), true, 1500},
                 {"16-bit index", shortIndexed, true, 1500},
                 {"triangle soup", Geometry(PRIMITIVE_TRIANGLES, soup), false, 500},
                 {"strip", Geometry(PRIMITIVE_TRIANGLE_STRIP, pts, strip), false, 300},
                 {"fan", Geometry(PRIMITIVE_TRIANGLE_FAN, fan), false, 200},
                 {"points", Geometry(PRIMITIVE_POINTS, cloud), false, 1000},
                 {"indexed points", Geometry(PRIMITIVE_POINTS, cloud, picks), false, 1000},
                 {"lines", Geometry(PRIMITIVE_LINES, cloud), false, 1000},
                 {"indexed lines", Geometry(PRIMITIVE_LINES, cloud, picks), false, 1000},
                 {"line strip", Geometry(PRIMITIVE_LINE_STRIP, path), false, 1000},
                 {"line loop", Geometry(PRIMITIVE_LINE_LOOP, path), false, 1000}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        CompareWithScan(PrimitiveShape(c.geometry, nullptr), rng, c.axisRays, c.minHits);
    }
}

// Rays where rounding decides: through the vertices and edge midpoints of a
// tilted grid (several triangles tie there), in the grid's plane, and
// through a soup where every triangle comes twice (the lower number wins).
// All directions oblique, so the fast walk takes them.
TEST(PrimitiveShape, TreeAgreesWithScanOnRaysThroughVerticesEdgesAndPlanes)
{
    std::mt19937 rng(11);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    std::vector<uint32_t> index;
    std::vector<glm::vec3> flat = Grid(30, index);
    const glm::vec3 tiltX = glm::normalize(glm::vec3(1, 0.3f, 0.4f));
    const glm::vec3 tiltY = glm::normalize(glm::cross(glm::vec3(-0.2f, 0.5f, 1), tiltX));
    for (glm::vec3& p : flat)
        p = tiltX * p.x + tiltY * p.y; // the grid flattened into a tilted plane
    std::vector<glm::vec3> twice;
    for (int copy = 0; copy < 2; ++copy)
        for (uint32_t i : index)
            twice.push_back(flat[i]);
    const glm::vec3 normal = glm::cross(tiltX, tiltY);
    auto oblique = [&] {
        // No component near zero, and at least 10 degrees off the plane:
        // rays that graze a shared edge round too far apart on its two
        // sides for any search order to agree with the scan.
        for (;;) {
            glm::vec3 d(u(rng), u(rng), u(rng));
            d += glm::sign(d) * 0.05f;
            if (std::fabs(glm::dot(glm::normalize(d), normal)) > 0.18f)
                return d;
        }
    };
    std::vector<Ray> rays;
    for (int r = 0; r < 600; ++r) {
        const glm::vec3 a = flat[std::size_t(rng() % flat.size())];
        const glm::vec3 target = r % 2 ? a : (a + flat[std::size_t(rng() % flat.size())]) * 0.5f;
        const glm::vec3 d = oblique();
        rays.emplace_back(target - d * 20.0f, d);
    }
    for (int r = 0; r < 200; ++r) {
        // Parallel to the plane, a little off it (rays in it graze every
        // triangle they cross, where the scan's own test only rounds);
        // oblique to the axes.
        const glm::vec3 along = tiltX * u(rng) + tiltY * u(rng) + tiltX * 0.3f + tiltY * 0.2f;
        const glm::vec3 start = flat[std::size_t(rng() % flat.size())] - along * 15.0f;
        rays.emplace_back(start + normal * (r % 2 ? 1e-3f : -0.01f), along);
    }
    const PrimitiveShape grid(Geometry(PRIMITIVE_TRIANGLES, flat, index), nullptr);
    EXPECT_GE(SameAnswers(grid, rays), 350);
    const PrimitiveShape doubled(Geometry(PRIMITIVE_TRIANGLES, twice), nullptr);
    EXPECT_GE(SameAnswers(doubled, rays), 350);
    for (const Ray& ray : rays) // the copy never wins a tie
        EXPECT_LT(doubled.ComputeNearestPoint(ray).GetPrimitiveIndex(), int(index.size() / 3));
}

TEST(PrimitiveShape, HandWorkedAnswers)
{
    // One triangle in the plane z = 0, ray from above: hit at t = 10 on either face.
    PrimitiveShape tri(Geometry(PRIMITIVE_TRIANGLES, {{0, 0, 0}, {4, 0, 0}, {0, 4, 0}}), nullptr);
    IntersectPoint hit = tri.ComputeNearestPoint(Ray(glm::vec3(1, 1, 10), glm::vec3(0, 0, -1)));
    EXPECT_EQ(hit.GetPrimitiveIndex(), 0);
    EXPECT_EQ(hit.GetShapeFilter(), SHAPE_FILTER_FACE);
    EXPECT_FLOAT_EQ(hit.GetDistance(), 10.0f);
    EXPECT_EQ(hit.GetLocalPosition(), glm::vec3(1, 1, 0));
    EXPECT_TRUE(tri.ComputeNearestPoint(Ray(glm::vec3(1, 1, -10), glm::vec3(0, 0, 1))).IsHit()); // back face
    EXPECT_FALSE(tri.ComputeNearestPoint(Ray(glm::vec3(3, 3, 10), glm::vec3(0, 0, -1))).IsHit()); // outside
    EXPECT_FALSE(tri.ComputeNearestPoint(Ray(glm::vec3(1, 1, 10), glm::vec3(0, 0, 1))).IsHit());  // behind

    // Points: the nearest to the ray wins; points behind the origin never do.
    PrimitiveShape pts(Geometry(PRIMITIVE_POINTS, {{0, 0, 20}, {0.5f, 0, -5}, {0, 0.2f, -9}}), nullptr);
    IntersectPoint p = pts.ComputeNearestPoint(Ray(glm::vec3(0.0f), glm::vec3(0, 0, -1)));
    EXPECT_EQ(p.GetPrimitiveIndex(), 2);
    EXPECT_EQ(p.GetShapeFilter(), SHAPE_FILTER_VERTEX);
    EXPECT_FLOAT_EQ(p.GetDistance(), 9.0f);
    EXPECT_EQ(p.GetLocalPosition(), glm::vec3(0, 0.2f, -9));
    // Equal perpendicular distance: the smaller ray parameter wins.
    PrimitiveShape tie(Geometry(PRIMITIVE_POINTS, {{1, 0, -8}, {0, 1, -3}}), nullptr);
    EXPECT_EQ(tie.ComputeNearestPoint(Ray(glm::vec3(0.0f), glm::vec3(0, 0, -1))).GetPrimitiveIndex(), 1);

    // Segments of a loop: the closing segment counts.
    PrimitiveShape loop(Geometry(PRIMITIVE_LINE_LOOP, {{0, 0, -5}, {4, 0, -5}, {4, 4, -5}}), nullptr);
    IntersectPoint e = loop.ComputeNearestPoint(Ray(glm::vec3(1, 1.2f, 0), glm::vec3(0, 0, -1)));
    EXPECT_EQ(e.GetPrimitiveIndex(), 2); // from (4,4) back to (0,0)
    EXPECT_EQ(e.GetShapeFilter(), SHAPE_FILTER_EDGE);
    EXPECT_NEAR(e.GetDistance(), 5.0f, 1e-5f);
}

TEST(PrimitiveShape, TreeFollowsPositionAndIndexChanges)
{
    std::mt19937 rng(3);
    auto geometry = Geometry(PRIMITIVE_POINTS, RandomPoints(rng, 2000, 10.0f));
    PrimitiveShape shape(geometry, nullptr);
    const Ray down(glm::vec3(100, 100, 50), glm::vec3(0, 0, -1));
    const IntersectPoint before = shape.ComputeNearestPoint(down);
    EXPECT_NE(before.GetPrimitiveIndex(), 77);

    // Move one point under the ray: the next query sees it (refit, not rebuild).
    geometry->GetPositions()->SetVec3(77, glm::vec3(100, 100, 0));
    IntersectPoint after = shape.ComputeNearestPoint(down);
    EXPECT_EQ(after.GetPrimitiveIndex(), 77);
    EXPECT_FLOAT_EQ(after.GetDistance(), 50.0f);

    // Writes through a view count once the version is raised.
    Float32Array view = geometry->GetPositions()->GetFloatArray();
    view.SetVec3(3 * 5, glm::vec3(100, 100, 10));
    geometry->GetPositions()->RaiseVersion();
    EXPECT_EQ(shape.ComputeNearestPoint(down).GetPrimitiveIndex(), 5);

    // A new index list rebuilds.
    std::vector<uint32_t> index(400);
    for (uint32_t i = 0; i < 400; ++i)
        index[i] = i + 100;
    geometry->SetIndex(std::make_shared<ElementAttribute>(index));
    const IntersectPoint indexed = shape.ComputeNearestPoint(down);
    EXPECT_EQ(indexed.GetPrimitiveIndex(), shape.ComputeNearestPointBruteForce(down).GetPrimitiveIndex());
    EXPECT_GE(indexed.GetPrimitiveIndex(), 0);

    // Fresh positions at the same version as the old ones: still noticed.
    auto moved = RandomPoints(rng, 2000, 10.0f);
    moved[321] = glm::vec3(100, 100, 0);
    auto fresh = std::make_shared<BufferAttribute>(&moved[0].x, moved.size() * 3, 3);
    while (fresh->GetVersion() < geometry->GetPositions()->GetVersion())
        fresh->RaiseVersion();
    geometry->SetAttribute(ATTRIBUTE_POSITION, fresh);
    EXPECT_EQ(shape.ComputeNearestPoint(down).GetPrimitiveIndex(), 321 - 100); // an element number
}

TEST(PrimitiveShape, BadGeometryIsIgnoredNotFatal)
{
    // Index past the vertex count and a non-finite vertex: those elements are skipped.
    std::vector<glm::vec3> pts{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {NAN, 0, 0}};
    std::vector<uint32_t> index;
    for (int i = 0; i < 300; ++i)
        index.insert(index.end(), {0u, 1u, 2u, 0u, 9u, 2u, 3u, 1u, 2u});
    PrimitiveShape shape(Geometry(PRIMITIVE_TRIANGLES, pts, index), nullptr);
    const Ray ray(glm::vec3(0.2f, 0.2f, 5), glm::vec3(0, 0, -1));
    const IntersectPoint hit = shape.ComputeNearestPoint(ray);
    EXPECT_EQ(hit.GetPrimitiveIndex(), 0);
    EXPECT_EQ(shape.ComputeNearestPointBruteForce(ray).GetPrimitiveIndex(), 0);

    EXPECT_FALSE(PrimitiveShape().ComputeNearestPoint(ray).IsHit());
    PrimitiveShape noPositions(std::make_shared<BufferGeometry>(PRIMITIVE_TRIANGLES), nullptr);
    EXPECT_FALSE(noPositions.ComputeNearestPoint(ray).IsHit());
}

TEST(Bvh, StructureInvariantsWithAnyCentroidEstimate)
{
    std::mt19937 rng(4);
    // No estimate, a fair one, one far off, one degenerate, one flat and one
    // too large to subtract: only the tree's quality may depend on it. The
    // larger set is sorted into grid cells first, the smaller is not.
    const std::pair<glm::vec3, glm::vec3> estimates[] = {{glm::vec3(INFINITY), glm::vec3(-INFINITY)},
                                                          {glm::vec3(-100.0f), glm::vec3(100.0f)},
                                                          {glm::vec3(500.0f), glm::vec3(900.0f)},
                                                          {glm::vec3(3.0f), glm::vec3(3.0f)},
                                                          {glm::vec3(-100, -100, 0), glm::vec3(100, 100, 0)},
                                                          {glm::vec3(-3e38f), glm::vec3(3e38f)}};
    for (const std::size_t count : {std::size_t(10000), std::size_t(40000)}) {
        for (const auto& [lo, hi] : estimates) {
            SCOPED_TRACE(testing::Message() << count << " points, estimate from " << lo.x);
            auto pts = RandomPoints(rng, count, 100.0f);
            pts.insert(pts.end(), 500, glm::vec3(1, 2, 3)); // coincident points still split
            pts[7] = glm::vec3(1e30f, -1e30f, 2e30f);       // far outside any estimate
            Bvh tree;
            tree.Build(uint32_t(pts.size()), [&](uint32_t i, glm::vec3& a, glm::vec3& b) {
                a = b = pts[i];
                return true;
            }, 8, lo, hi);
            const auto& nodes = tree.GetNodes();
            std::vector<int> seen(pts.size(), 0);
            EXPECT_EQ(reinterpret_cast<uintptr_t>(nodes.data()) % 64, 0u); // sibling pairs share a cache line
            for (std::size_t n = 0; n < nodes.size(); ++n) {
                if (n == 1)
                    continue; // unused slot
                const Bvh::Node& node = nodes[n];
                if (node.IsLeaf()) {
                    EXPECT_LE(node.count, 8u);
                    for (uint32_t k = 0; k < node.count; ++k) {
                        const glm::vec3& p = pts[tree.GetPrimitiveIndices()[node.first + k]];
                        EXPECT_TRUE(AxisAlignedBox(node.min, node.max).containsPoint(p));
                        ++seen[tree.GetPrimitiveIndices()[node.first + k]];
                    }
                } else {
                    ASSERT_GT(node.first, n); // children after parents
                    EXPECT_EQ(node.first % 2, 0u);
                    for (uint32_t c : {node.first, node.first + 1}) {
                        EXPECT_TRUE(AxisAlignedBox(node.min, node.max).containsPoint(nodes[c].min));
                        EXPECT_TRUE(AxisAlignedBox(node.min, node.max).containsPoint(nodes[c].max));
                    }
                }
            }
            for (int s : seen)
                ASSERT_EQ(s, 1); // every primitive in exactly one leaf
            EXPECT_LT(tree.GetDepth(), 40u);
        }
    }
}

// Meshes large enough to be split over grid cells first: the answers stay
// the scan's, including for elements the build must leave out.
TEST(PrimitiveShape, LargeMeshesAgreeWithScan)
{
    std::mt19937 rng(21);
    std::vector<uint32_t> index;
    std::vector<glm::vec3> pts = Grid(100, index); // 20,000 triangles
    // Vertices out of range and not finite in a few triangles, which the
    // tree leaves out and the scan skips.
    std::vector<uint32_t> bad = index;
    for (std::size_t t = 0; t < bad.size() / 3; t += 97)
        bad[3 * t + 1] = uint32_t(pts.size() + t);
    std::vector<glm::vec3> holes = pts;
    for (std::size_t v = 5; v < holes.size(); v += 131)
        holes[v] = glm::vec3(v % 2 ? NAN : INFINITY, 0.0f, 0.0f);
    std::vector<glm::vec3> soup; // unindexed, with degenerate slivers
    for (std::size_t k = 0; k < index.size(); ++k)
        soup.push_back(k % 300 < 3 ? glm::vec3(7.0f, 7.0f, 0.0f) : pts[index[k]]);
    // One triangle repeated 30 times: a leaf no split can shrink, more
    // triangles than one SIMD test takes, every hit a tie for the smallest
    // number.
    std::vector<uint32_t> stacked = index;
    const uint32_t middle = uint32_t(index.size() / 2 / 3 * 3);
    for (int k = 0; k < 30; ++k)
        stacked.insert(stacked.end(), {index[middle], index[middle + 1], index[middle + 2]});
    const glm::vec3 stackCentre = (pts[index[middle]] + pts[index[middle + 1]] + pts[index[middle + 2]]) / 3.0f;
    const struct {
        const char* name;
        std::shared_ptr<BufferGeometry> geometry;
    } cases[] = {{"grid", Geometry(PRIMITIVE_TRIANGLES, pts, index)},
                 {"stacked", Geometry(PRIMITIVE_TRIANGLES, pts, stacked)},
                 {"indices past the end", Geometry(PRIMITIVE_TRIANGLES, pts, bad)},
                 {"non-finite vertices", Geometry(PRIMITIVE_TRIANGLES, holes, index)},
                 {"soup", Geometry(PRIMITIVE_TRIANGLES, soup)},
                 {"points", Geometry(PRIMITIVE_POINTS, RandomPoints(rng, 30000, 50.0f))}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const PrimitiveShape shape(c.geometry, nullptr);
        const AxisAlignedBox box = shape.GetGeometry()->GetSafeBoudingBox();
        std::vector<Ray> rays;
        for (int r = 0; r < 300; ++r)
            rays.push_back(RandomRay(rng, box.getMinimum(), box.getMaximum()));
        for (float x = 0.0f; x <= 100.0f; x += 12.5f) // through grid lines and vertices
            rays.push_back(Ray(glm::vec3(x, 50.0f, 50.0f), glm::vec3(0, 0, -1)));
        for (int r = 0; r < 20; ++r) { // through the repeated triangle
            const Ray towards = RandomRay(rng, stackCentre, stackCentre);
            rays.push_back(Ray(towards.getOrigin(), stackCentre - towards.getOrigin()));
        }
        EXPECT_GE(SameAnswers(shape, rays), 150);
    }
}

TEST(Bvh, ReferencesCarryEveryPrimitiveNumber)
{
    // The number rides in two float lanes; it must survive for all 32 bits.
    for (uint32_t p : {0u, 1u, 0xffffffu, 0x1000000u, 0x1234567u, 0xfffffffeu, 0xffffffffu}) {
        const Bvh::Ref r = Bvh::Ref::Make(p, glm::vec3(-1.0f), glm::vec3(2.0f));
        EXPECT_EQ(r.Primitive(), p);
        EXPECT_EQ(r.min[0], -1.0f);
        EXPECT_EQ(r.max[2], 2.0f);
    }
}

TEST(CompoundShape, MembersBoxAndDeepClone)
{
    auto a = std::make_shared<PrimitiveShape>(Geometry(PRIMITIVE_POINTS, {{0, 0, 0}, {1, 1, 1}}),
                                              MaterialInstance::Create("m"));
    auto b = std::make_shared<PrimitiveShape>(Geometry(PRIMITIVE_LINES, {{-2, 0, 0}, {0, 0, 5}}), nullptr);
    CompoundShape compound({a, b});
    EXPECT_EQ(compound.GetBoundingBox(), AxisAlignedBox(glm::vec3(-2, 0, 0), glm::vec3(1, 1, 5)));
    EXPECT_EQ(compound.GetPrimitive(1), b);

    orvtest::LogCapture log;
    EXPECT_FALSE(compound.GetPrimitive(2));
    compound.AddPrimitive(nullptr);
    EXPECT_EQ(compound.GetCount(), 2u);
    EXPECT_EQ(log.warnings, (std::vector<std::string>{"Index is out of range!", "PrimitiveShape is null!"}));

    auto copy = compound.Clone();
    ASSERT_EQ(copy->GetCount(), 2u);
    EXPECT_NE(copy->GetPrimitive(0), a);
    EXPECT_NE(copy->GetPrimitive(0)->GetGeometry(), a->GetGeometry());
    EXPECT_EQ(copy->GetPrimitive(0)->GetMaterial(), a->GetMaterial()); // materials are shared
    a->GetGeometry()->GetPositions()->SetVec3(0, glm::vec3(9.0f));
    EXPECT_EQ(copy->GetPrimitive(0)->GetPositions()->GetVec3(0), glm::vec3(0.0f));
}

TEST(GfxObject, IdsAreNonZeroNewForCopiesAndNeverReused)
{
    GfxObject a;
    GfxObject b(a);
    EXPECT_TRUE(a.GetObjectId() != 0 && b.GetObjectId() != a.GetObjectId());
    const uint32_t before = b.GetObjectId();
    b = a;
    EXPECT_EQ(b.GetObjectId(), before); // assignment keeps identity
    const uint32_t gone = GfxObject().GetObjectId();
    EXPECT_GT(GfxObject().GetObjectId(), gone);
}
