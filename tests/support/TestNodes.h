#pragma once

#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include <orvkernel/camera/Camera.h>
#include <orvcore/scene/GeneralSceneNode.h>
#include <orvcore/render/RenderContext.h>
#include <orvcore/scene/GroupSceneNode.h>
#include <orvcore/scene/SceneVisitor.h>

namespace orvtest {

/// A cloneable leaf with a box, standing in for the drawable node kinds.
class TestLeaf : public orvcore::GeneralSceneNode {
public:
    TestLeaf() = default;
    explicit TestLeaf(const orvcore::AxisAlignedBox& box) { SetBoundingBox(box); }

    std::shared_ptr<orvcore::SceneNode> Clone() const override
    {
        auto copy = std::make_shared<TestLeaf>();
        copy->CopyBaseProperties(*this);
        return copy;
    }
};

inline std::shared_ptr<TestLeaf> MakeLeaf(const glm::vec3& lo, const glm::vec3& hi)
{
    return std::make_shared<TestLeaf>(orvcore::AxisAlignedBox(lo, hi));
}

using Nodes = std::initializer_list<std::shared_ptr<orvcore::SceneNode>>;

/// A group holding the nodes.
inline std::shared_ptr<orvcore::GroupSceneNode> Group(Nodes nodes)
{
    auto group = std::make_shared<orvcore::GroupSceneNode>();
    for (const auto& n : nodes)
        group->AddNode(n);
    return group;
}

/// A group holding the nodes, with world transforms and boxes up to date.
inline std::shared_ptr<orvcore::GroupSceneNode> Root(Nodes nodes)
{
    auto root = Group(nodes);
    root->UpdateTransform(glm::mat4(1.0f));
    return root;
}

/// A 200 x 200 view looking down -Z from z = 100 (orthographic unless asked).
inline std::shared_ptr<orvcore::Camera> TopCamera(bool orthographic = true)
{
    auto camera = std::make_shared<orvcore::Camera>(200, 200, glm::vec3(0, 0, 100), glm::vec3(0.0f),
                                                    glm::vec3(0, 1, 0));
    if (orthographic)
        camera->SetProjectionType(orvcore::Camera::PROJECTION_ORTHOGRAPHIC);
    return camera;
}

/// A render context that keeps every item handed in.
class RecordingContext : public orvcore::RenderContext {
public:
    explicit RecordingContext(const std::shared_ptr<orvcore::Camera>& camera) : RenderContext(camera) {}
    void AddItem(orvcore::RenderItem& item) override { items.push_back(item); }
    std::vector<orvcore::RenderItem> items;
};

/// Records the kind of every node it visits and descends into groups.
class RecordingVisitor : public orvcore::SceneVisitor {
public:
    void Visit(orvcore::GeneralSceneNode* node) override { visits.push_back({"general", node}); }
    void Visit(orvcore::GroupSceneNode* node) override
    {
        visits.push_back({"group", node});
        node->Apply(*this);
    }
    void Visit(orvcore::ShapeSceneNode*) override { visits.push_back({"shape", nullptr}); }
    void Visit(orvcore::PrimitiveSceneNode*) override { visits.push_back({"primitive", nullptr}); }

    std::vector<std::pair<std::string, orvcore::SceneNode*>> visits;
};

} // namespace orvtest
