#pragma once

#include <memory>
#include <string>
#include <vector>

#include <orvcore/scene/GeneralSceneNode.h>
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
