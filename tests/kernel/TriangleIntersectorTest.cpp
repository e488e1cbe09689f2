#include <orvkernel/collision/CollisionMesh.h>
#include <orvkernel/collision/TriangleIntersector.h>
#include <orvkernel/shape/PrimitiveShape.h>

#include <cmath>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ShapeFactory.h"

using namespace orvcore;

namespace {

struct TriangleCase {
    std::string name;
    glm::vec3 a[3];
    glm::vec3 b[3];
    bool touch;
};

const float kStep = std::nextafter(0.5f, 1.0f) - 0.5f; // one float step at 0.5

// The answer must not depend on the order of the triangles or of their
// corners: every case is asked in all 6 x 6 corner orders, both ways round.
TEST(TriangleIntersector, TouchingCountsAndOrderDoesNotMatter)
{
    const std::vector<TriangleCase> cases = {
        {"crossing", {{0, 0, 0}, {2, 0, 0}, {0, 2, 0}}, {{0.5f, 0.5f, -1}, {0.5f, 0.5f, 1}, {1.5f, 0.2f, 0}}, true},
        {"vertex on face", {{0, 0, 0}, {2, 0, 0}, {0, 2, 0}}, {{0.5f, 0.5f, 0}, {0.5f, 0.5f, 1}, {1, 1, 1}}, true},
        {"vertex a step above face", {{0, 0, 0}, {2, 0, 0}, {0, 2, 0}},
         {{0.5f, 0.5f, kStep}, {0.5f, 0.5f, 1}, {1, 1, 1}}, false},
        {"vertex 1e-5 above face", {{0, 0, 0}, {2, 0, 0}, {0, 2, 0}},
         {{0.5f, 0.5f, 1e-5f}, {0.5f, 0.5f, 1}, {1, 1, 1}}, false},
        {"edges crossing at a point", {{0, 0, 0}, {2, 0, 0}, {1, 1, 1}}, {{1, -1, 0}, {1, 1, 0}, {1, 0, -1}}, true},
        {"edges passing a step apart", {{0, 0, 0}, {2, 0, 0}, {1, 1, 1}}, {{1, -1, -kStep}, {1, 1, -kStep}, {1, 0, -1}},
         false},
        {"edge lying in the face", {{0, 0, 0}, {4, 0, 0}, {0, 4, 0}}, {{1, 1, 0}, {2, 1, 0}, {1, 1, 3}}, true},
        {"coplanar overlapping", {{0, 0, 0}, {2, 0, 0}, {0, 2, 0}}, {{0.5f, 0.5f, 0}, {3, 0.5f, 0}, {0.5f, 3, 0}}, true},
        {"coplanar, one inside the other", {{0, 0, 0}, {4, 0, 0}, {0, 4, 0}}, {{1, 1, 0}, {1.5f, 1, 0}, {1, 1.5f, 0}},
         true},
        {"coplanar sharing an edge", {{0, 0, 0}, {2, 0, 0}, {0, 2, 0}}, {{2, 0, 0}, {0, 2, 0}, {2, 2, 0}}, true},
        {"coplanar sharing a vertex", {{0, 0, 0}, {2, 0, 0}, {0, 2, 0}}, {{2, 0, 0}, {3, 0, 0}, {3, 1, 0}}, true},
        {"coplanar a step apart", {{0, 0, 0}, {1, 0, 0}, {0, 0.5f, 0}}, {{0, 0.5f + kStep, 0}, {1, 1, 0}, {0, 1, 0}},
         false},
        {"parallel planes", {{0, 0, 0}, {2, 0, 0}, {0, 2, 0}}, {{0, 0, 1e-5f}, {2, 0, 1e-5f}, {0, 2, 1e-5f}}, false},
        {"segment piercing the face", {{0, 0, 0}, {2, 0, 0}, {0, 2, 0}}, {{0.5f, 0.5f, -1}, {0.5f, 0.5f, 1}, {0.5f, 0.5f, 0.5f}},
         true},
        {"segment ending a step short", {{0, 0, 0}, {2, 0, 0}, {0, 2, 0}},
         {{0.5f, 0.5f, kStep}, {0.5f, 0.5f, 1}, {0.5f, 0.5f, 0.5f}}, false},
        {"point on the edge", {{0, 0, 0}, {2, 0, 0}, {0, 2, 0}}, {{1, 0, 0}, {1, 0, 0}, {1, 0, 0}}, true},
        {"segments crossing", {{0, 0, 0}, {2, 2, 0}, {1, 1, 0}}, {{0, 2, 0}, {2, 0, 0}, {0, 2, 0}}, true},
        {"collinear segments overlapping", {{0, 0, 0}, {2, 2, 2}, {1, 1, 1}}, {{1.5f, 1.5f, 1.5f}, {3, 3, 3}, {3, 3, 3}},
         true},
        {"collinear segments apart", {{0, 0, 0}, {1, 1, 1}, {0.5f, 0.5f, 0.5f}}, {{2, 2, 2}, {3, 3, 3}, {3, 3, 3}},
         false},
        {"non-finite corner", {{0, 0, 0}, {2, 0, 0}, {0, NAN, 0}}, {{0.5f, 0.5f, -1}, {0.5f, 0.5f, 1}, {1.5f, 0.2f, 0}},
         false},
    };
    const int orders[6][3] = {{0, 1, 2}, {1, 2, 0}, {2, 0, 1}, {0, 2, 1}, {2, 1, 0}, {1, 0, 2}};
    for (const TriangleCase& c : cases) {
        for (const auto& oa : orders) {
            for (const auto& ob : orders) {
                const glm::vec3 a[3] = {c.a[oa[0]], c.a[oa[1]], c.a[oa[2]]};
                const glm::vec3 b[3] = {c.b[ob[0]], c.b[ob[1]], c.b[ob[2]]};
                ASSERT_EQ(TriangleIntersector::Intersect(a, b), c.touch) << c.name;
                ASSERT_EQ(TriangleIntersector::Intersect(b, a), c.touch) << c.name << " (swapped)";
            }
        }
    }
}

// The shape builds its collision mesh once and again only when the
// geometry changes; a holder keeps the triangles it was given.
TEST(CollisionMesh, CachedPerGeometryVersion)
{
    auto shape = orvtest::Square(0, 0, 0, 1);
    const auto first = shape->GetCollisionMesh();
    ASSERT_EQ(first->GetTriangleCount(), 2u);
    EXPECT_EQ(shape->GetCollisionMesh(), first);

    auto positions = shape->GetGeometry()->GetPositions();
    positions->SetVec3(0, glm::vec3(-5, -5, 0));
    const auto second = shape->GetCollisionMesh();
    ASSERT_NE(second, first);
    float lowest = 0.0f;
    for (const auto& t : second->GetTriangles())
        for (const auto& v : t.v)
            lowest = std::fmin(lowest, v.x);
    EXPECT_EQ(lowest, -5.0f);
    EXPECT_EQ(first->GetMaxMagnitude(), glm::vec3(1, 1, 0));
}

// Reading rules: whole triangles only, out-of-range and non-finite ones
// left out (and counted when out of range).
TEST(CollisionMesh, LeavesOutBadTriangles)
{
    const std::vector<glm::vec3> points = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {NAN, 0, 0}};
    auto indexed = orvtest::Geometry(PRIMITIVE_TRIANGLES, points, {0, 1, 2, 0, 1, 7, 0, 3, 2, 2, 1});
    const auto mesh = CollisionMesh::Build(*indexed);
    EXPECT_EQ(mesh->GetTriangleCount(), 1u);
    EXPECT_EQ(mesh->GetOutOfRangeCount(), 1u);
    auto plain = orvtest::Geometry(PRIMITIVE_TRIANGLES, {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}});
    EXPECT_EQ(CollisionMesh::Build(*plain)->GetTriangleCount(), 1u);
}

} // namespace
