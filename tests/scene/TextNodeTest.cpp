#include <orvcommon/Math.h>
#include <orvkernel/camera/CameraOperator.h>
#include <orvkernel/material/BasicMaterial.h>
#include <orvkernel/text/FontMaterial.h>
#include <orvcore/scene/GroupSceneNode.h>
#include <orvcore/scene/Scene2D.h>
#include <orvcore/scene/TagNode2D.h>
#include <orvcore/scene/TextSceneNode.h>

#include <cmath>
#include <string>

#include <glm/gtc/matrix_transform.hpp>
#include <gtest/gtest.h>

#include "LogCapture.h"
#include "ShapeFactory.h"
#include "TestNodes.h"

using namespace orvcore;
using orvtest::LogCapture;

namespace {

std::shared_ptr<TextSceneNode> Label(const std::wstring& text, bool billboard = false, float background = -1.0f)
{
    return std::make_shared<TextSceneNode>(text, 2.0f, glm::vec3(0, 1, 0), glm::vec3(background, 0, 0), billboard);
}

std::shared_ptr<TextSceneNode> MeshText(const std::wstring& text, float height = 1.0f, bool fit = false)
{
    return TextSceneNode::Create(text, glm::vec3(1.0f), height, fit);
}

FontMaterial* FontOf(const TextSceneNode& node) { return FontMaterial::Cast(node.GetMaterial().get()); }

glm::mat4 Scale2D(float s) { return glm::scale(glm::mat4(1.0f), glm::vec3(s, s, 1.0f)); }

// Where a node's world transform puts a point of its own space.
glm::vec3 World(const SceneNode& node, const glm::vec3& p) { return Math::transformVec3(node.GetWorldTransform(), p); }

void ExpectNear(const glm::vec3& actual, const glm::vec3& expected, float tolerance = 1e-3f)
{
    EXPECT_NEAR(actual.x, expected.x, tolerance);
    EXPECT_NEAR(actual.y, expected.y, tolerance);
    EXPECT_NEAR(actual.z, expected.z, tolerance);
}

// A camera over a width x 100 viewport, 20 units above `target`, looking down -Z.
std::shared_ptr<Camera> ViewCamera(const glm::vec3& target = glm::vec3(0.0f), unsigned int width = 200)
{
    return std::make_shared<Camera>(width, 100, target + glm::vec3(0, 0, 20), target, glm::vec3(0, 1, 0));
}

} // namespace

TEST(TextSceneNode, TextureFormHasAMaterialOfItsOwnAndTheTextureProportions)
{
    auto node = Label(L"Label");
    FontMaterial* material = FontOf(*node);
    ASSERT_NE(material, nullptr);
    EXPECT_EQ(material->GetName(), "sys.font.texture." + std::to_string(node->GetObjectId()));
    EXPECT_NE(FontOf(*Label(L"Label"))->GetName(), material->GetName());
    EXPECT_EQ(material->GetColor(), glm::vec3(0, 1, 0));

    const auto& image = *material->GetImage();
    const AxisAlignedBox& box = node->GetBoundingBox();
    EXPECT_FLOAT_EQ(box.getSize().y, 2.0f);
    EXPECT_FLOAT_EQ(box.getSize().x, 2.0f * float(image.GetWidth()) / float(image.GetHeight()));
    EXPECT_EQ(box.getCenter(), glm::vec3(0.0f));

    // Billboards are never picked; a negative background is none, 0 is black.
    EXPECT_TRUE(node->GetPickable());
    EXPECT_FALSE(material->GetBillboard());
    EXPECT_FALSE(material->HasBackground());
    auto billboard = Label(L"B", true, 0.0f);
    EXPECT_FALSE(billboard->GetPickable());
    EXPECT_TRUE(FontOf(*billboard)->GetBillboard());
    EXPECT_TRUE(FontOf(*billboard)->HasBackground());
    EXPECT_EQ(FontOf(*billboard)->GetBackground(), glm::vec3(0.0f)); // black
}

TEST(TextSceneNode, SetTextStretchesIntoTheRectangleAndNeedsAFontMaterial)
{
    LogCapture log;
    auto node = Label(L"ab");
    const AxisAlignedBox box = node->GetBoundingBox();
    const uint32_t version = FontOf(*node)->GetUpdateVersion();
    const unsigned int width = FontOf(*node)->GetImage()->GetWidth();
    node->SetText(L"a much longer text");
    EXPECT_GT(FontOf(*node)->GetUpdateVersion(), version);
    EXPECT_GT(FontOf(*node)->GetImage()->GetWidth(), 3 * width);
    EXPECT_EQ(node->GetBoundingBox(), box);
    EXPECT_TRUE(log.warnings.empty());

    auto mesh = MeshText(L"Mesh");
    const uint32_t meshVersion = mesh->GetMaterial()->GetUpdateVersion();
    mesh->SetText(L"Other");
    ASSERT_EQ(log.warnings.size(), 1u);
    EXPECT_EQ(log.warnings[0], "Material is null!");
    EXPECT_EQ(mesh->GetMaterial()->GetUpdateVersion(), meshVersion);

    // A font height that is no size gives an empty rectangle, still a text node.
    auto bad = std::make_shared<TextSceneNode>(L"x", NAN, glm::vec3(1.0f), glm::vec3(-1.0f), false);
    ASSERT_EQ(log.warnings.size(), 2u);
    EXPECT_EQ(log.warnings[1], "Geometry size must be finite and not negative!");
    EXPECT_EQ(bad->GetBoundingBox().getSize(), glm::vec3(0.0f));
    ASSERT_NE(FontOf(*bad), nullptr);
}

TEST(TextSceneNode, MeshFormFitsGlyphsToTheFontHeight)
{
    // A mesh two units high, font height 10: scaled by 5 in X and Y, not in Z.
    auto fitted = std::make_shared<TextSceneNode>(orvtest::Square(3, 0, 0, 1), 10.0f, true);
    EXPECT_EQ(fitted->GetScale(), Scale2D(5.0f));
    EXPECT_EQ(fitted->GetTransform(), Scale2D(5.0f));
    auto unfitted = std::make_shared<TextSceneNode>(orvtest::Square(3, 0, 0, 1), 10.0f, false);
    EXPECT_EQ(unfitted->GetTransform(), glm::mat4(1.0f));

    auto text = MeshText(L"Hello", 3.0f, true);
    auto* material = BasicMaterial::Cast(text->GetMaterial().get());
    ASSERT_NE(material, nullptr);
    EXPECT_EQ(material->GetName(), "mesh-font-phong");
    text->UpdateTransform(glm::mat4(1.0f));
    EXPECT_NEAR(text->GetWorldBBox().getSize().y, 3.0f, 1e-4f);
    EXPECT_GT(text->GetWorldBBox().getSize().x, 6.0f);

    // Nothing to fit in an empty string; flat meshes and bad heights cannot be fitted.
    LogCapture log;
    EXPECT_EQ(MeshText(L"", 5.0f, true)->GetScale(), glm::mat4(1.0f));
    EXPECT_TRUE(log.warnings.empty());
    auto flat = orvtest::Primitive(PRIMITIVE_LINES, {{0, 0, 0}, {1, 0, 0}});
    EXPECT_EQ(std::make_shared<TextSceneNode>(flat, 5.0f, true)->GetScale(), glm::mat4(1.0f));
    for (float height : {NAN, 0.0f, -4.0f})
        EXPECT_EQ(std::make_shared<TextSceneNode>(orvtest::Square(0, 0, 0, 1), height, true)->GetTransform(),
                  glm::mat4(1.0f));
    ASSERT_EQ(log.warnings.size(), 4u);
    EXPECT_EQ(log.warnings[3], "Text cannot be fitted to its font height!");
}

TEST(TextSceneNode, CloneSharesThePrimitiveAndCastsAreChecked)
{
    auto node = std::make_shared<TextSceneNode>(orvtest::Square(0, 0, 0, 1), 4.0f, true);
    node->SetUserId(77);
    std::shared_ptr<SceneNode> generic = static_cast<const SceneNode&>(*node).Clone();
    auto* copy = TextSceneNode::Cast(generic.get());
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->GetPrimitive(), node->GetPrimitive()); // shared, not copied
    EXPECT_EQ(copy->GetFontHeight(), 4.0f);
    EXPECT_EQ(copy->GetScale(), Scale2D(2.0f));
    EXPECT_EQ(copy->GetTransform(), Scale2D(2.0f));
    EXPECT_EQ(copy->GetUserId(), 77u);

    auto label = Label(L"shared");
    EXPECT_EQ(FontOf(*label->CloneTextSceneNode()), FontOf(*label));

    auto plain = std::make_shared<PrimitiveSceneNode>(orvtest::Square(0, 0, 0, 1));
    EXPECT_EQ(TextSceneNode::Cast(static_cast<PrimitiveSceneNode*>(node.get())), node.get());
    EXPECT_EQ(TextSceneNode::Cast(static_cast<const SceneNode*>(node.get())), node.get());
    EXPECT_EQ(TextSceneNode::Cast(plain.get()), nullptr);
    EXPECT_EQ(TextSceneNode::Cast(static_cast<SceneNode*>(nullptr)), nullptr);
}

TEST(Scene2D, NodesByObjectIdUpdatedOnAdd)
{
    Scene2D scene;
    EXPECT_EQ(scene.GetNodes().max_load_factor(), 1.0f);
    auto leaf = orvtest::MakeLeaf(glm::vec3(0.0f), glm::vec3(1.0f));
    leaf->SetTransform(glm::translate(glm::mat4(1.0f), glm::vec3(5, 6, 0)));
    auto node = std::make_shared<SceneNode2D>(leaf);
    EXPECT_TRUE(node->GetVisible());
    EXPECT_EQ(SceneNode2D::Cast(static_cast<GfxObject*>(node.get())), node.get());
    EXPECT_EQ(SceneNode2D::Cast(static_cast<GfxObject*>(leaf.get())), nullptr);

    EXPECT_EQ(scene.AddNode(node), node->GetObjectId());
    EXPECT_EQ(leaf->GetWorldBBox().getCenter(), glm::vec3(5.5f, 6.5f, 0.5f));
    scene.AddNode(node); // replaces its own entry
    const uint32_t other = scene.AddNode(std::make_shared<SceneNode2D>());
    EXPECT_EQ(scene.GetNodes().size(), 2u);

    Scene2D copy(scene);
    EXPECT_TRUE(copy.RemoveNode(other));
    EXPECT_FALSE(copy.RemoveNode(other));
    EXPECT_EQ(scene.GetNodes().size(), 2u);
    EXPECT_EQ(copy.GetNodes().at(node->GetObjectId()), node);
    scene = copy;
    EXPECT_EQ(scene.GetNodes().size(), 1u);
    scene.Clear();
    EXPECT_TRUE(scene.GetNodes().empty());

    LogCapture log;
    EXPECT_EQ(scene.AddNode(nullptr), 0u);
    EXPECT_EQ(log.warnings, std::vector<std::string>{"Node is null!"});
}

TEST(TagNode2D, CreateGroupsARedLeaderLineAndTheLabel)
{
    auto text = MeshText(L"tag");
    const glm::vec3 position(3, 4, 0), target(1, 1, 0);
    auto tag = TagNode2D::Create(text, position, target);
    EXPECT_TRUE(tag->GetWorldPosition());
    EXPECT_EQ(tag->GetViewportPosition(), glm::vec3(0.0f));
    auto handle = tag->GetHandleNode();
    EXPECT_EQ(handle->GetMaterial()->GetName(), "tag-line");
    EXPECT_EQ(handle->GetMaterial()->GetColor(), glm::vec3(1, 0, 0));
    EXPECT_EQ(handle->GetPrimitive()->GetPrimitiveType(), uint32_t(PRIMITIVE_LINES));
    ExpectNear(Math::transformVec3(handle->GetTransform(), glm::vec3(0.0f)), target);
    ExpectNear(Math::transformVec3(handle->GetTransform(), glm::vec3(1, 0, 0)), position);

    auto* group = GroupSceneNode::Cast(tag->GetNode().get());
    ASSERT_NE(group, nullptr);
    EXPECT_EQ(group->GetCount(), 2u);
    EXPECT_EQ(text->GetParent(), group);
    EXPECT_EQ(handle->GetParent(), group);
    EXPECT_EQ(TagNode2D::Cast(static_cast<SceneNode2D*>(tag.get())), tag.get());

    // The plain constructor keeps the odd defaults and needs a text to draw.
    TagNode2D bare(nullptr, nullptr);
    EXPECT_EQ(bare.GetPosition(), glm::vec3(1, 1, 1));
    EXPECT_FALSE(bare.GetWorldPosition());
    EXPECT_FALSE(bare.GetNode());
}

TEST(TagNode2D, FollowsItsWorldPositionAsTheCameraMoves)
{
    auto text = MeshText(L"follow", 20.0f, true);
    auto tag = TagNode2D::Create(text, glm::vec3(2, 1, 0), glm::vec3(0.0f));
    auto camera = ViewCamera();
    tag->UpdatePosition(camera);
    const glm::vec3 first = tag->GetViewportPosition();
    ExpectNear(first, CameraOperator::WorldPointToViewportPoint(camera, glm::vec3(2, 1, 0)) - glm::vec3(100, 50, 0));
    EXPECT_GT(first.x, 10.0f);
    // Label at the position with its own scale; leader from the centre (the target) to it.
    EXPECT_EQ(text->GetTransform(), glm::translate(glm::mat4(1.0f), first) * Scale2D(text->GetScale()[0][0]));
    const auto& handle = *tag->GetHandleNode();
    EXPECT_NEAR(World(handle, glm::vec3(0.0f)).x, 0.0f, 1e-3f);
    ExpectNear(World(handle, glm::vec3(1, 0, 0)), first);
    EXPECT_EQ(tag->GetNode()->GetUpdateVersion(), 0u);

    // Looking 2 units to the right mirrors the picture about the centre line.
    camera->LookAt(glm::vec3(2, 0, 20), glm::vec3(2, 0, 0), glm::vec3(0, 1, 0));
    tag->UpdatePosition(camera);
    EXPECT_NEAR(tag->GetViewportPosition().x, 0.0f, 1e-3f);
    EXPECT_NEAR(World(handle, glm::vec3(0.0f)).x, -first.x, 1e-2f);
    ExpectNear(World(*text, glm::vec3(0.0f)), tag->GetViewportPosition());

    // The centre is at the integer half size: 201 pixels put the middle at +0.5.
    tag->SetPosition(glm::vec3(0.0f), true);
    tag->UpdatePosition(ViewCamera(glm::vec3(0.0f), 201));
    EXPECT_NEAR(tag->GetViewportPosition().x, 0.5f, 1e-3f);
}

TEST(TagNode2D, ViewportOffsetAndHiddenHandle)
{
    auto text = MeshText(L"fixed");
    auto tag = TagNode2D::Create(text, glm::vec3(30, -20, 0), glm::vec3(0.0f));
    tag->SetWorldPosition(false); // the same value, now read as pixels from the centre
    auto camera = ViewCamera(glm::vec3(5, 5, 0));
    tag->UpdatePosition(camera);
    EXPECT_EQ(tag->GetViewportPosition(), glm::vec3(30, -20, 0));
    ExpectNear(World(*text, glm::vec3(0.0f)), glm::vec3(30, -20, 0));
    const auto& handle = *tag->GetHandleNode();
    EXPECT_LT(World(handle, glm::vec3(0.0f)).x, -1.0f); // the world target is off-centre now

    // A hidden handle keeps its line while the label moves on.
    const glm::mat4 line = handle.GetTransform();
    tag->GetHandleNode()->SetVisible(false);
    tag->SetPosition(glm::vec3(-50, 10, 0), false);
    camera->LookAt(glm::vec3(-3, 2, 20), glm::vec3(-3, 2, 0), glm::vec3(0, 1, 0));
    tag->UpdatePosition(camera);
    EXPECT_EQ(handle.GetTransform(), line);
    ExpectNear(World(*text, glm::vec3(0.0f)), glm::vec3(-50, 10, 0));
    tag->GetHandleNode()->SetVisible(true);
    tag->UpdatePosition(camera);
    ExpectNear(World(handle, glm::vec3(1, 0, 0)), glm::vec3(-50, 10, 0));
}

TEST(TagNode2D, LineStyleAndMissingPartsWarn)
{
    LogCapture log;
    auto tag = TagNode2D::Create(MeshText(L"w"), glm::vec3(1.0f), glm::vec3(0.0f));
    MaterialInstance& material = *tag->GetHandleNode()->GetMaterial();
    tag->SetLineColor(glm::vec3(0, 0.5f, 1));
    EXPECT_EQ(material.GetColor(), glm::vec3(0, 0.5f, 1));
    const uint32_t version = material.GetUpdateVersion();
    tag->SetLineWidth(2.9f);
    EXPECT_EQ(material.LineWidth, 2u);
    EXPECT_GT(material.GetUpdateVersion(), version);
    EXPECT_TRUE(log.warnings.empty());
    tag->SetLineWidth(1000.0f);
    EXPECT_EQ(material.LineWidth, 255u);
    tag->SetLineWidth(NAN);
    EXPECT_EQ(material.LineWidth, 0u);
    EXPECT_EQ(log.warnings, std::vector<std::string>(2, "Line width is out of range!"));
    log.warnings.clear();

    TagNode2D noHandle(MeshText(L"t"), nullptr);
    ASSERT_TRUE(noHandle.GetNode());
    noHandle.SetLineColor(glm::vec3(0.0f));
    noHandle.UpdatePosition(ViewCamera());
    noHandle.UpdatePosition(nullptr);
    EXPECT_EQ(log.warnings, (std::vector<std::string>{"SceneNode is null!", "Material is null!", "Camera is null!"}));
}
