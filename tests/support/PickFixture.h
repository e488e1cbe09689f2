#pragma once

#include <initializer_list>
#include <memory>

#include <glm/mat4x4.hpp>

#include <orvkernel/camera/Camera.h>
#include <orvcore/scene/GroupSceneNode.h>

namespace orvtest {

/// Orthographic top view of a 200 x 200 window looking down -Z from z = 100.
inline std::shared_ptr<orvcore::Camera> TopOrthoCamera()
{
    auto camera = std::make_shared<orvcore::Camera>(200, 200, glm::vec3(0, 0, 100), glm::vec3(0.0f),
                                                    glm::vec3(0, 1, 0));
    camera->SetProjectionType(orvcore::Camera::PROJECTION_ORTHOGRAPHIC);
    return camera;
}

/// A group holding the nodes, with world transforms and boxes up to date.
inline std::shared_ptr<orvcore::GroupSceneNode> Root(std::initializer_list<std::shared_ptr<orvcore::SceneNode>> nodes)
{
    auto root = std::make_shared<orvcore::GroupSceneNode>();
    for (const auto& n : nodes)
        root->AddNode(n);
    root->UpdateTransform(glm::mat4(1.0f));
    return root;
}

} // namespace orvtest
