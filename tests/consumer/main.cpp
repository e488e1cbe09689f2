// A minimal application: builds a two-level tree, updates it and checks the
// world box that comes back.
#include <cstdio>
#include <memory>

#include <glm/gtc/matrix_transform.hpp>

#include <orvcore/scene/GeneralSceneNode.h>
#include <orvcore/scene/GroupSceneNode.h>

int main()
{
    auto root = std::make_shared<orvcore::GroupSceneNode>();
    auto leaf = std::make_shared<orvcore::GeneralSceneNode>();
    leaf->SetBoundingBox(orvcore::AxisAlignedBox(glm::vec3(-1.0f), glm::vec3(1.0f)));
    leaf->SetTransform(glm::translate(glm::mat4(1.0f), glm::vec3(10.0f, 0.0f, 0.0f)));
    root->AddNode(leaf);
    root->UpdateTransform(glm::mat4(1.0f));
    const glm::vec3 c = root->GetWorldBBox().getCenter();
    std::printf("consumer: world centre %.1f %.1f %.1f\n", c.x, c.y, c.z);
    return (c.x == 10.0f && c.y == 0.0f && c.z == 0.0f) ? 0 : 1;
}
