#include <orvcommon/Math.h>
#include <orvkernel/collision/TriangleIntersector.h>
#include <orvkernel/geometry/GeometryBuilder.h>
#include <orvcore/collision/CollisionVisitor.h>
#include <orvcore/collision/NodeCollisionDetector.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/ShapeSceneNode.h>

#include <array>
#include <random>
#include <string>
#include <vector>

#include <glm/gtc/matrix_transform.hpp>
#include <glm/gtc/quaternion.hpp>
#include <gtest/gtest.h>

#include "Expect.h"
#include "LogCapture.h"
#include "ShapeFactory.h"
#include "TestNodes.h"

using namespace orvcore;
using orvtest::Translate;

namespace {

std::shared_ptr<PrimitiveSceneNode> Mesh(const std::shared_ptr<BufferGeometry>& geometry, const glm::mat4& transform)
{
    auto node = std::make_shared<PrimitiveSceneNode>(geometry, nullptr);
    node->SetTransform(transform);
    return node;
}

std::shared_ptr<PrimitiveSceneNode> Cube(const glm::mat4& transform)
{
    return Mesh(GeometryBuilder::CreateBox(glm::vec3(1.0f)), transform);
}

// The test spelled out: every triangle item of one node against every one
// of the other's, world corners by Math::transformVec3, item boxes first.
struct WorldItem {
    AxisAlignedBox box;
    std::vector<std::array<glm::vec3, 3>> triangles;
};

std::vector<WorldItem> WorldItems(const std::shared_ptr<SceneNode>& node)
{
    orvtest::RecordingContext context(nullptr);
    CollisionVisitor visitor(context);
    node->Accept(visitor);
    std::vector<WorldItem> items;
    for (const RenderItem& item : context.items) {
        if (item.GetType() != PRIMITIVE_TRIANGLES)
            continue;
        const BufferGeometry& g = *item.GetGeometry();
        WorldItem w;
        w.box = g.GetSafeBoudingBox();
        w.box.transform(item.GetTransform());
        for (std::size_t e = 0; e + 2 < g.GetElementCount(); e += 3) {
            std::array<glm::vec3, 3> t;
            for (int k = 0; k < 3; ++k)
                t[k] = Math::transformVec3(item.GetTransform(), g.GetPositions()->GetVec3(g.GetElementVertex(e + k)));
            w.triangles.push_back(t);
        }
        items.push_back(w);
    }
    return items;
}

bool AllPairs(const std::shared_ptr<SceneNode>& a, const std::shared_ptr<SceneNode>& b)
{
    if (!a->GetWorldBBox().intersects(b->GetWorldBBox()))
        return false;
    for (const WorldItem& ia : WorldItems(a))
        for (const WorldItem& ib : WorldItems(b))
            if (ia.box.intersects(ib.box))
                for (const auto& ta : ia.triangles)
                    for (const auto& tb : ib.triangles)
                        if (TriangleIntersector::Intersect(ta.data(), tb.data()))
                            return true;
    return false;
}

bool Collide(const std::shared_ptr<SceneNode>& a, const std::shared_ptr<SceneNode>& b)
{
    a->UpdateTransform(glm::mat4(1.0f));
    b->UpdateTransform(glm::mat4(1.0f));
    return NodeCollisionDetector(a).Test(b);
}

TEST(NodeCollisionDetector, KnownPairs)
{
    const glm::mat4 turned = glm::rotate(glm::mat4(1.0f), 0.7f, glm::vec3(0.3f, 1.0f, 0.2f));
    struct Case {
        std::string name;
        std::shared_ptr<SceneNode> a, b;
        bool hit;
    } cases[] = {
        {"overlapping", Cube(Translate(0, 0, 0)), Cube(Translate(0.5f, 0.2f, 0.1f)), true},
        {"faces touching", Cube(Translate(0, 0, 0)), Cube(Translate(1, 0.25f, 0)), true},
        {"edges touching", Cube(Translate(0, 0, 0)), Cube(Translate(1, 1, 0)), true},
        {"apart by 1e-5", Cube(Translate(0, 0, 0)), Cube(Translate(1.00001f, 0, 0)), false},
        {"coplanar squares overlapping", Mesh(orvtest::Square(0, 0, 0, 1)->GetGeometry(), glm::mat4(1.0f)),
         Mesh(orvtest::Square(0.5f, 0.5f, 0, 1)->GetGeometry(), glm::mat4(1.0f)), true},
        {"one inside the other", Cube(glm::scale(glm::mat4(1.0f), glm::vec3(4.0f))), Cube(turned), false},
        {"moved by the group", orvtest::Group({Cube(turned)}), orvtest::Group({Cube(Translate(3, 0, 0))}), false},
    };
    for (auto& c : cases)
        EXPECT_EQ(Collide(c.a, c.b), c.hit) << c.name;
    // The group carries its child into the other cube.
    auto& moved = cases[6].a;
    moved->SetTransform(Translate(2.5f, 0, 0));
    EXPECT_TRUE(Collide(moved, cases[6].b));
}

// The key property: the tree walk answers exactly what the all-pairs test
// answers, on random poses (rotated, scaled, sheared, flattened,
// projective) around contact, including poses where the two convex meshes
// meet at a single corner, and through the posed test of detectors
// prepared once.
void CompareOnRandomPoses(const std::shared_ptr<BufferGeometry>& geometryA,
                          const std::shared_ptr<BufferGeometry>& geometryB, unsigned seed)
{
    auto a = Mesh(geometryA, glm::mat4(1.0f)), b = Mesh(geometryB, glm::mat4(1.0f));
    a->UpdateTransform(glm::mat4(1.0f));
    b->UpdateTransform(glm::mat4(1.0f));
    NodeCollisionDetector fixedA(a), fixedB(b);
    fixedA.Prepare();
    fixedB.Prepare();

    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    auto randomPose = [&](float reach) {
        glm::mat4 m = glm::mat4_cast(glm::normalize(glm::quat(u(rng), u(rng), u(rng), u(rng))));
        if (u(rng) > 0.3f) // scaled and sheared
            m = m * glm::mat4(glm::mat3(1 + 0.5f * u(rng), 0.2f * u(rng), 0, 0, 1 + 0.5f * u(rng), 0.2f * u(rng), 0, 0,
                                        1 + 0.5f * u(rng)));
        m[3] = glm::vec4(u(rng) * reach, u(rng) * reach, u(rng) * reach, 1.0f);
        return m;
    };
    // The corner of a mesh placed by m farthest along n.
    auto farthest = [](const NodeCollisionDetector& d, const glm::mat4& m, const glm::vec3& n) {
        glm::vec3 best = Math::transformVec3(m, d.GetItems()[0]->GetVertices()[0]);
        for (const glm::vec3& v : d.GetItems()[0]->GetVertices()) {
            const glm::vec3 w = Math::transformVec3(m, v);
            best = glm::dot(w, n) > glm::dot(best, n) ? w : best;
        }
        return best;
    };
    int hits = 0, misses = 0;
    for (int pose = 0; pose < 300; ++pose) {
        glm::mat4 poseA = randomPose(0.3f);
        glm::mat4 poseB = randomPose(2.0f);
        // Matrices no frame can be built on: flattened (singular) on
        // either or both sides, projective.
        if (pose % 10 == 1 || pose % 20 == 2)
            poseA = poseA * glm::scale(glm::mat4(1.0f), glm::vec3(1.0f, 0.0f, 1.0f));
        if (pose % 20 == 2)
            poseB = poseB * glm::scale(glm::mat4(1.0f), glm::vec3(0.0f, 1.0f, 1.0f));
        if (pose % 5 == 3)
            poseB[1][3] = 0.4f * u(rng);
        if (pose % 3 == 0) {
            // Both meshes are convex: put b's farthest corner along -n on
            // a's farthest along n; they meet at a point, or miss or
            // overlap by a rounding.
            const glm::vec3 n = glm::normalize(glm::vec3(u(rng), u(rng), u(rng)));
            poseB[3] = glm::vec4(0, 0, 0, 1);
            poseB[3] = glm::vec4(farthest(fixedA, poseA, n) - farthest(fixedB, poseB, -n), 1.0f);
        }
        a->SetTransform(poseA);
        b->SetTransform(poseB);
        a->UpdateTransform(glm::mat4(1.0f));
        b->UpdateTransform(glm::mat4(1.0f));
        const bool expected = AllPairs(a, b);
        ASSERT_EQ(NodeCollisionDetector(a).Test(b), expected) << "pose " << pose;
        ASSERT_EQ(NodeCollisionDetector(b).Test(a), expected) << "pose " << pose;
        // World boxes intersect whenever triangles touch, so the posed test
        // (which skips the node boxes) agrees too.
        ASSERT_EQ(fixedA.Test(poseA, fixedB, poseB), expected) << "pose " << pose;
        (expected ? hits : misses)++;
    }
    EXPECT_GT(hits, 50);
    EXPECT_GT(misses, 50);
}

TEST(NodeCollisionDetector, MatchesAllPairsOnRandomPoses)
{
    auto cylinder = GeometryBuilder::CreateCylinder(0.3f, 0.5f, 1.5f, 20);
    CompareOnRandomPoses(GeometryBuilder::CreateSphere(1.0f, 24, 12), cylinder, 11);
    // Flat faces: boxes of coplanar triangles are flat, corners meet exactly.
    CompareOnRandomPoses(cylinder, GeometryBuilder::CreateBox(glm::vec3(1.0f, 0.6f, 0.8f)), 12);
}

TEST(NodeCollisionDetector, DisjointBoxesPrepareNothing)
{
    auto a = Cube(glm::mat4(1.0f)), b = Cube(Translate(5, 0, 0));
    a->UpdateTransform(glm::mat4(1.0f));
    b->UpdateTransform(glm::mat4(1.0f));
    NodeCollisionDetector detector(a);
    EXPECT_FALSE(detector.Test(b));
    EXPECT_TRUE(detector.GetItems().empty());

    // Detector against detector prepares neither; copies share the items.
    NodeCollisionDetector other(Cube(glm::mat4(1.0f)));
    other.GetNode()->UpdateTransform(glm::mat4(1.0f));
    EXPECT_FALSE(detector.Test(other));
    detector.Prepare();
    other.Prepare();
    const NodeCollisionDetector copy = detector;
    EXPECT_EQ(copy.GetItems()[0], detector.GetItems()[0]);
    EXPECT_TRUE(copy.Test(other));
}

// A detector answers for the pose it was prepared at, and its items spell
// out the world triangles of that pose.
TEST(NodeCollisionDetector, AnswersForThePreparedPose)
{
    auto a = Cube(glm::mat4(1.0f)), b = Cube(Translate(0.5f, 0, 0));
    auto root = orvtest::Root({a, b});
    NodeCollisionDetector atRest(a);
    atRest.Prepare();
    const auto& vertices = atRest.GetItems()[0]->GetVertices();
    ASSERT_EQ(vertices.size(), 36u);
    EXPECT_EQ(vertices[0], Math::transformVec3(a->GetWorldTransform(), a->GetPrimitive()->GetPositions()->GetVec3(
                                                                            a->GetPrimitive()->GetGeometry()->GetElementVertex(0))));

    a->SetTransform(Translate(3, 0, 0));
    a->RequstUpdate();
    root->UpdateTransform(glm::mat4(1.0f));
    NodeCollisionDetector prepared(b);
    prepared.Prepare();
    EXPECT_TRUE(atRest.Test(prepared)); // still at the old pose
    EXPECT_FALSE(NodeCollisionDetector(a).Test(prepared));
}

TEST(NodeCollisionDetector, RefusedItems)
{
    orvtest::LogCapture log;
    auto lines = Mesh(GeometryBuilder::CreateBoxEdges(glm::vec3(1.0f)), glm::mat4(1.0f));
    auto cube = Cube(glm::mat4(1.0f));
    EXPECT_FALSE(Collide(lines, cube)); // no items: nothing collides, silently
    EXPECT_TRUE(log.warnings.empty());

    auto loop = Mesh(orvtest::Geometry(PRIMITIVE_LINE_LOOP, {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}), glm::mat4(1.0f));
    auto noPositions = std::make_shared<BufferGeometry>(PRIMITIVE_TRIANGLES);
    auto badIndex = orvtest::Geometry(PRIMITIVE_TRIANGLES, {{-1, -1, 0}, {1, -1, 0}, {0, 1, 0}}, {0, 1, 2, 0, 1, 9});
    auto shape = std::make_shared<ShapeSceneNode>(std::make_shared<CompoundShape>(std::vector<std::shared_ptr<PrimitiveShape>>{
        std::make_shared<PrimitiveShape>(loop->GetPrimitive()->GetGeometry(), nullptr),
        std::make_shared<PrimitiveShape>(noPositions, nullptr), std::make_shared<PrimitiveShape>(badIndex, nullptr)}));
    shape->SetBoundingBox(AxisAlignedBox(glm::vec3(-1), glm::vec3(1)));
    EXPECT_TRUE(Collide(shape, cube)); // the valid triangle still counts
    EXPECT_EQ(log.warnings, (std::vector<std::string>{"Not support shape type!", "Not support!", "Index is out of range!"}));

    log.warnings.clear();
    EXPECT_FALSE(NodeCollisionDetector(nullptr).Test(cube));
    EXPECT_EQ(log.warnings, std::vector<std::string>{"Node is null!"});
}

} // namespace
