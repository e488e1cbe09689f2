// orvtree: builds a small machine cell as a node tree, moves one part the way
// an application does (SetTransform, then RequstUpdate), updates the world and
// prints the tree with every node's world box.
#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include <glm/gtc/matrix_transform.hpp>

#include <orvcore/scene/GeneralSceneNode.h>
#include <orvcore/scene/GroupSceneNode.h>

using namespace orvcore;

namespace {

std::unordered_map<const SceneNode*, std::string> g_Names;

template <typename T>
std::shared_ptr<T> Named(std::shared_ptr<T> node, const char* name)
{
    g_Names[node.get()] = name;
    return node;
}

std::shared_ptr<GeneralSceneNode> Part(const char* name, const glm::vec3& size, const glm::vec3& at)
{
    auto node = Named(std::make_shared<GeneralSceneNode>(), name);
    node->SetBoundingBox(AxisAlignedBox(-size * 0.5f, size * 0.5f));
    node->SetTransform(glm::translate(glm::mat4(1.0f), at));
    return node;
}

std::string Box(const AxisAlignedBox& box)
{
    if (box.isNull())
        return "null";
    if (box.isInfinite())
        return "infinite";
    char text[160];
    const glm::vec3 lo = box.getMinimum(), hi = box.getMaximum();
    std::snprintf(text, sizeof(text), "[%7.1f %7.1f %7.1f] .. [%7.1f %7.1f %7.1f]", lo.x, lo.y, lo.z, hi.x, hi.y,
                  hi.z);
    return text;
}

void Print(const SceneNode& node, int depth)
{
    const auto* group = GroupSceneNode::Cast(&node);
    const auto it = g_Names.find(&node);
    std::printf("%*s%-*s %-7s id %-3u %s\n", depth * 2, "", 18 - depth * 2,
                it != g_Names.end() ? it->second.c_str() : "?", group ? "group" : "general",
                node.GetObjectId(), Box(node.GetWorldBBox()).c_str());
    if (!group)
        return;
    // Children come in hash order; print them by id for a stable listing.
    std::vector<const SceneNode*> children;
    for (const auto& entry : group->GetChildren())
        children.push_back(entry.second.get());
    std::sort(children.begin(), children.end(),
              [](const SceneNode* a, const SceneNode* b) { return a->GetObjectId() < b->GetObjectId(); });
    for (const SceneNode* child : children)
        Print(*child, depth + 1);
}

} // namespace

int main()
{
    auto cell = Named(std::make_shared<GroupSceneNode>(), "cell");
    cell->AddNode(Part("base plate", glm::vec3(2000, 1200, 20), glm::vec3(0, 0, -10)));

    auto fixture = Named(std::make_shared<GroupSceneNode>(), "fixture");
    fixture->AddNode(Part("clamp left", glm::vec3(60, 100, 80), glm::vec3(-150, 0, 40)));
    fixture->AddNode(Part("clamp right", glm::vec3(60, 100, 80), glm::vec3(150, 0, 40)));
    fixture->AddNode(Part("workpiece", glm::vec3(240, 100, 50), glm::vec3(0, 0, 105)));
    fixture->SetTransform(glm::translate(glm::mat4(1.0f), glm::vec3(400, 0, 0)));
    cell->AddNode(fixture);

    auto robot = Named(std::make_shared<GroupSceneNode>(), "robot");
    robot->AddNode(Part("pedestal", glm::vec3(300, 300, 400), glm::vec3(0, 0, 200)));
    auto arm = Named(std::make_shared<GroupSceneNode>(), "upper arm");
    arm->AddNode(Part("link 1", glm::vec3(600, 120, 120), glm::vec3(300, 0, 0)));
    arm->SetTransform(glm::translate(glm::mat4(1.0f), glm::vec3(0, 0, 460)));
    robot->AddNode(arm);
    robot->SetTransform(glm::translate(glm::mat4(1.0f), glm::vec3(-500, 0, 0)));
    cell->AddNode(robot);

    cell->UpdateTransform(glm::mat4(1.0f));
    std::printf("Machine cell, world boxes after the first update:\n");
    Print(*cell, 0);

    // Swing the arm by 90 degrees about Z: set the transform, then request the update.
    arm->SetTransform(glm::rotate(arm->GetTransform(), glm::radians(90.0f), glm::vec3(0, 0, 1)));
    arm->RequstUpdate();
    std::printf("\nAfter swinging the upper arm (dirty counters: arm %u, robot %u, cell %u):\n",
                arm->GetUpdateVersion(), robot->GetUpdateVersion(), cell->GetUpdateVersion());
    cell->UpdateTransform(glm::mat4(1.0f));
    Print(*cell, 0);
    return 0;
}
