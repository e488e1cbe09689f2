// Face hits must lie on the caster's own ray: a measuring application snaps
// and dimensions with the reported points. A large, finely tessellated plane,
// turned and tilted, seen from far away, is picked at many random window
// points; every hit is compared with the exact (double precision)
// intersection of `GetRay()` with the plane.
#include <cmath>
#include <memory>
#include <algorithm>
#include <random>

#include <gtest/gtest.h>

#include <glm/gtc/matrix_transform.hpp>

#include <orvkernel/camera/Camera.h>
#include <orvkernel/geometry/GeometryBuilder.h>
#include <orvkernel/material/MeshPhongMaterial.h>
#include <orvkernel/shape/CompoundShape.h>
#include <orvcore/pick/Raycaster.h>
#include <orvcore/scene/GroupSceneNode.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/ShapeSceneNode.h>

namespace orvcore {
namespace {

// The largest relative deviation (|reported - exact| / distance, and the
// same for the distance key) over random picks; counts the hits.
double WorstDeviation(const std::shared_ptr<SceneNode>& node, const glm::mat4& world, unsigned int projection,
                      int& hits)
{
    auto root = std::make_shared<GroupSceneNode>();
    node->SetParent(nullptr);
    root->AddNode(node);
    root->UpdateTransform(glm::mat4(1.0f));
    auto camera = std::make_shared<Camera>(1280, 720, glm::vec3(300.0f, -700.0f, 800.0f), glm::vec3(20.0f, 10.0f, 0.0f),
                                           glm::vec3(0.0f, 0.0f, 1.0f));
    camera->SetProjectionType(projection);
    // The plane in world space, in double precision.
    const glm::dmat4 w(world);
    const glm::dvec3 p0(w * glm::dvec4(0.0, 0.0, 0.0, 1.0));
    const glm::dvec3 n = glm::normalize(glm::dvec3(glm::transpose(glm::inverse(w)) * glm::dvec4(0.0, 0.0, 1.0, 0.0)));
    std::mt19937 random(7);
    std::uniform_int_distribution<int> px(0, 1279), py(0, 719);
    double worst = 0.0;
    hits = 0;
    for (int i = 0; i < 400; ++i) {
        Raycaster caster(camera, SHAPE_FILTER_FACE, px(random), py(random));
        if (caster.HitTest(root) == 0)
            continue;
        ++hits;
        const glm::dvec3 o(caster.GetRay().getOrigin()), d(caster.GetRay().getDirection());
        const double t = glm::dot(p0 - o, n) / glm::dot(d, n);
        const glm::dvec3 reported(caster.GetTopItem().GetPosition());
        const double distance = std::sqrt(double(caster.GetTopItem().GetPoint().GetDistance())); // key is squared
        worst = std::max({worst, glm::length(reported - (o + t * d)) / t, std::fabs(distance - t) / t});
    }
    return worst;
}

TEST(ExactHit, FacePositionsLieOnTheCastersRay)
{
    // 1000 x 1000 world units in 708 x 708 cells (about a million
    // triangles), stretched unevenly, turned mostly about z, and tilted.
    auto geometry = GeometryBuilder::CreatePlane(500.0f, 2000.0f, 708, 708);
    const glm::mat4 world = glm::scale(glm::rotate(glm::translate(glm::mat4(1.0f), glm::vec3(15.0f, -5.0f, 2.0f)), 0.61f,
                                                   glm::vec3(0.05f, 0.1f, 1.0f)),
                                       glm::vec3(2.0f, 0.5f, 1.0f));
    auto material = std::make_shared<MeshPhongMaterial>();
    auto primitiveNode = std::make_shared<PrimitiveSceneNode>(geometry, material);
    primitiveNode->SetTransform(world);
    auto compound = std::make_shared<CompoundShape>();
    compound->AddPrimitive(std::make_shared<PrimitiveShape>(geometry, material));
    auto shapeNode = std::make_shared<ShapeSceneNode>(compound);
    shapeNode->SetTransform(world);

    for (const unsigned int projection : {Camera::PROJECTION_PERSPECTIVE, Camera::PROJECTION_ORTHOGRAPHIC}) {
        for (const auto& node : {std::shared_ptr<SceneNode>(primitiveNode), std::shared_ptr<SceneNode>(shapeNode)}) {
            SCOPED_TRACE(std::string(projection ? "perspective" : "orthographic") +
                         (node == primitiveNode ? ", primitive node" : ", shape node"));
            int hits = 0;
            EXPECT_LE(WorstDeviation(node, world, projection, hits), 2e-6);
            EXPECT_GT(hits, 200);
        }
    }
}

} // namespace
} // namespace orvcore
