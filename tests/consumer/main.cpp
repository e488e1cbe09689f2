// A minimal application: builds a two-level tree, updates it and checks the
// world box that comes back; then writes a one-pixel PNG through the OpenGL
// library, so that both link targets are reachable from a consumer.
#include <cstdio>

#include <glm/gtc/matrix_transform.hpp>

#include <orvcore/scene/GeneralSceneNode.h>
#include <orvcore/scene/GroupSceneNode.h>
#include <orvkernel/gl/GlRenderDevice.h>

int main(int argc, char** argv)
{
    auto root = std::make_shared<orvcore::GroupSceneNode>();
    auto leaf = std::make_shared<orvcore::GeneralSceneNode>();
    leaf->SetBoundingBox(orvcore::AxisAlignedBox(glm::vec3(-1.0f), glm::vec3(1.0f)));
    leaf->SetTransform(glm::translate(glm::mat4(1.0f), glm::vec3(10.0f, 0.0f, 0.0f)));
    root->AddNode(leaf);
    root->UpdateTransform(glm::mat4(1.0f));
    const uint8_t pixel[4] = {255, 0, 0, 255};
    const std::string png = std::string(argc > 0 ? argv[0] : "consumer") + ".png";
    const bool saved = orvcore::GlRenderDevice::SavePng(png, 1, 1, pixel);
    std::remove(png.c_str());
    return saved && root->GetWorldBBox().getCenter() == glm::vec3(10.0f, 0.0f, 0.0f) ? 0 : 1;
}
